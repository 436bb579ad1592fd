// ostrand-cli's maintenance commands: compaction, the troubleshooting report
// and the system information block of that report.

#include "app/cli_common.h"
#include "maintenance/compact.h"
#include "maintenance/diagnostics.h"
#include "maintenance/sysinfo.h"
#include "platform/clock.h"
#include "platform/process.h"
#include "startup/locator.h"
#include "startup/registry.h"
#include "util/strings.h"

#include <iostream>
#include <memory>

namespace cli {

namespace {

// Notes whether the report was given up: the low-space question answered
// Cancel, or the report file could not be made (the only critical message).
class RefusalWatch final : public util::UiServices {
public:
    explicit RefusalWatch(util::UiServices& inner) : inner_(inner) {}
    void DoEvents() override { inner_.DoEvents(); }
    void SetBusy(bool on) override { inner_.SetBusy(on); }
    util::Answer MessageBox(const std::string& text, util::Buttons buttons, util::Icon icon,
                            const std::string& title) override {
        const util::Answer answer = inner_.MessageBox(text, buttons, icon, title);
        refused = refused || answer == util::Answer::Cancel || icon == util::Icon::Critical;
        return answer;
    }
    bool refused = false;

private:
    util::UiServices& inner_;
};

// The report names the Qt the wizards are built with; this program does not load it.
#ifdef OSTRAND_QT_VERSION
constexpr const char* kQtVersion =
    OSTRAND_QT_VERSION " (the wizards' build; ostrand-cli does not use Qt)";
#else
constexpr const char* kQtVersion = "not built";
#endif

} // namespace

void RegisterMaintenanceCommands(CLI::App& app, Context& ctx) {
    CLI::App* compact = app.add_subcommand(
        "compact", "Compact the located database into a copy beside it, check the copy and put "
                   "it in the database's place, keeping the database as it was in SafetyCopies; "
                   "writes Ostrand.log as the options wizard does, prints the outcome and exits 1 "
                   "when it failed");
    AddAltDbOption(compact, ctx);
    compact->callback([&ctx] {
        PrepareSettings(ctx);
        startup::RunSettings& s = ctx.settings;
        if (!LocateRegisteredDatabase(ctx)) {
            ctx.exitCode = 1;
            return;
        }
        s.LogFileNo = startup::OpenLogFile(s.Files, startup::RunLogPath(s), 1, 0);
        TerminalUi ui(false);
        std::string message, safetyCopy;
        platform::SystemClock clock;
        const bool ok = maintenance::CompactDB(s, ui, message, clock, &safetyCopy);
        startup::CloseFile(s.Files, s.LogFileNo);
        s.LogFileNo = 0;
        std::cout << util::Replace(message, "\r\n", "\n") << "\n";
        PrintSafetyCopy(safetyCopy);
        ctx.exitCode = ok ? 0 : 1;
    });

    auto yes = std::make_shared<bool>(false);
    auto view = std::make_shared<bool>(false);
    CLI::App* diag = app.add_subcommand(
        "diag", "Write the troubleshooting report (Ostrand.log in the log folder), "
                "repairing NULL values and stray log rows on the way, and print its path; exit 1 "
                "when the report was not written");
    diag->add_flag("--yes", *yes, "Answer OK when asked about low disk space (else Cancel)");
    diag->add_flag("--view", *view, "Open the finished report in the desktop's viewer");
    AddAltDbOption(diag, ctx);
    diag->callback([&ctx, yes, view] {
        PrepareSettings(ctx);
        startup::RunSettings& s = ctx.settings;
        startup::FindDatabase(s);
        if (InterruptedRunPending(s)) {
            ctx.exitCode = 1;
            return;
        }
        TerminalUi terminal(*yes);
        RefusalWatch ui(terminal);
        // The report itself is opened below, where a failure can be told.
        maintenance::SystemProbe probe(false, kQtVersion);
        platform::SystemClock clock;
        db::Connection connection;
        maintenance::RunDiagnostics(s, connection, ui, clock, probe);
        if (ui.refused) {
            ctx.exitCode = 1;
            return;
        }
        WarnIfOnNetworkShare(ctx, s.DBPath);
        std::cout << startup::RunLogPath(s) << "\n";
        if (*view && !platform::OpenDocument(startup::RunLogPath(s))) {
            std::cerr << "No viewer on this desktop opened the report; read it at "
                      << startup::RunLogPath(s) << "\n";
        }
        ctx.exitCode = 0;
    });

    CLI::App* sysinfo = app.add_subcommand(
        "sysinfo", "Print the system information block of the troubleshooting report "
                   "(version, language, short date pattern, screen size)");
    sysinfo->callback([&ctx] {
        PrepareSettings(ctx);
        const auto info = maintenance::QuerySystemInfo(startup::MachineRegistry(ctx.settings));
        for (const std::string& line : maintenance::SystemInfoLines(info)) {
            std::cout << line << "\n";
        }
        ctx.exitCode = 0;
    });
}

} // namespace cli
