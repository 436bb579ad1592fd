#pragma once
// What every ostrand-cli subcommand shares: the run settings filled as the
// GUI fills them at start, terminal adapters of the core's progress and UI
// interfaces, and the exit code (0 done, 1 the operation failed, 2 usage).

#include "startup/run_settings.h"
#include "util/services.h"

#include <CLI/CLI.hpp>

#include <string>

namespace cli {

struct Context {
    startup::RunSettings settings;
    std::string altdb = "Default"; // --altdb of the subcommands that locate the database
    int exitCode = 0;
};

// Fills the run settings as start-up does with an empty command line, then
// takes --altdb. Every subcommand that works on the suite's files calls it first.
void PrepareSettings(Context& ctx);

// False, saying why on stderr, when the settings store exists but cannot be
// read: its silence would read as "no database", and a write would replace it.
bool StoreReadable(const startup::RunSettings& settings);

// Locates the database of --altdb without a log. When no folder is
// registered for it, says so with what to do and returns false: the
// database name would otherwise be taken relative to the working folder.
// A folder on a network file system is warned about on stderr. False too
// while an operation on the database that was cut off has not been
// recovered (InterruptedRunPending).
bool LocateRegisteredDatabase(Context& ctx);

// Warns on stderr, once per run, when `folder` is on a network file system.
void WarnIfOnNetworkShare(Context& ctx, const std::string& folder);

// Whether an operation on the located database was cut off and not yet
// recovered; if so, says on stderr which, when, and what 'ostrand-cli
// recover' does about it. Every command that locates the database then
// exits 1 until recover has run.
bool InterruptedRunPending(const startup::RunSettings& settings);

// What a failed operation's terminal output ends with: the last error line
// of the run log just closed, on stderr, so that nobody needs the log to
// learn why.
void PrintCause(const startup::RunSettings& settings);

// The line that tells where the database as it was is kept; nothing when no
// copy was kept.
void PrintSafetyCopy(const std::string& path);

// A progress bar on stderr, drawn only when stderr is a terminal.
class TerminalProgress final : public util::Progress {
public:
    TerminalProgress();
    ~TerminalProgress() override;
    void SetValue(double value) override;
    void SetStatus(const std::string& text) override;

private:
    void Draw();
    bool tty_;
    double value_ = 0;
    std::string status_;
    bool drawn_ = false;
};

// Keeps the last status text, so that the outcome can be printed once the
// progress bar is gone.
class StatusKeeper final : public util::Progress {
public:
    explicit StatusKeeper(util::Progress& inner) : inner_(inner) {}
    void SetValue(double value) override { inner_.SetValue(value); }
    void SetStatus(const std::string& text) override {
        status = text;
        inner_.SetStatus(text);
    }
    std::string status;

private:
    util::Progress& inner_;
};

// Questions are answered from flags given on the command line; messages go to stderr.
class TerminalUi final : public util::UiServices {
public:
    explicit TerminalUi(bool answerYes) : answerYes_(answerYes) {}
    util::Answer MessageBox(const std::string& text, util::Buttons buttons, util::Icon icon,
                            const std::string& title) override;

private:
    bool answerYes_;
};

// Records `folder` as the database of --altdb, as the create wizard does;
// says so on stderr and returns false when the store did not take it.
bool RegisterFolder(Context& ctx, const std::string& folder);

// Adds the --altdb option to a subcommand.
void AddAltDbOption(CLI::App* sub, Context& ctx);

// One registration function per subsystem, each in its own file.
void RegisterStartupCommands(CLI::App& app, Context& ctx);
void RegisterDbCommands(CLI::App& app, Context& ctx);
void RegisterCreateCommands(CLI::App& app, Context& ctx);
void RegisterUpgradeCommands(CLI::App& app, Context& ctx);
void RegisterMaintenanceCommands(CLI::App& app, Context& ctx);
void RegisterBackupCommands(CLI::App& app, Context& ctx);
void RegisterLoanCommands(CLI::App& app, Context& ctx);
void RegisterSafetyCommands(CLI::App& app, Context& ctx);
void RegisterImportCommands(CLI::App& app, Context& ctx);
void RegisterSalvageCommands(CLI::App& app, Context& ctx);

} // namespace cli
