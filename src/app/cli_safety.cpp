// ostrand-cli's commands around the safety copies: list them, put one back,
// and recover after an operation that was cut off.

#include "app/cli_common.h"
#include "platform/clock.h"
#include "safety/put_back.h"
#include "safety/recovery.h"
#include "safety/safety_copy.h"
#include "startup/locator.h"

#include <iostream>
#include <memory>

namespace cli {

namespace {

// Opens the run log afresh around one operation, as a wizard page does.
class RunLog {
public:
    explicit RunLog(startup::RunSettings& s) : s_(s) {
        s_.LogFileNo = startup::OpenLogFile(s_.Files, startup::RunLogPath(s_), 1, 0);
    }
    ~RunLog() {
        startup::CloseFile(s_.Files, s_.LogFileNo);
        s_.LogFileNo = 0;
    }
    RunLog(const RunLog&) = delete;
    RunLog& operator=(const RunLog&) = delete;

private:
    startup::RunSettings& s_;
};

int ListCopies(Context& ctx) {
    for (const auto& c : safety::ListSafetyCopies(ctx.settings.DBFile)) {
        std::cout << c.name << "\t" << c.taken << "\t" << c.operation << "\t" << c.size << "\t"
                  << c.path << "\n";
    }
    return 0;
}

int PutBack(Context& ctx, const std::string& name) {
    startup::RunSettings& s = ctx.settings;
    platform::SystemClock clock;
    safety::SafetyCopy kept;
    std::string error;
    bool ok = false;
    {
        RunLog log(s);
        ok = safety::PutBackSafetyCopy(s, name, clock, kept, error);
    }
    std::cout << (ok ? "The safety copy " + name + " was put back."
                     : std::string("The safety copy could not be put back."))
              << "\n";
    PrintSafetyCopy(kept.path);
    if (!ok) {
        std::cerr << "Cause: " << error << "\n";
    }
    return ok ? 0 : 1;
}

int Recover(Context& ctx) {
    startup::RunSettings& s = ctx.settings;
    startup::LocateDatabase(s, 0);
    if (s.DBPath.empty()) {
        std::cerr << "No database folder is registered for \"" << s.AltDB << "\".\n";
        return 1;
    }
    const auto interruption = safety::FindInterruption(s.DBFile);
    if (!interruption) {
        std::cout << "Nothing to recover: no operation on " << s.DBFile << " was interrupted.\n";
        return 0;
    }
    platform::SystemClock clock;
    std::string done, error;
    bool ok = false;
    {
        RunLog log(s);
        startup::Log(s, "{-} Recovering from an interrupted operation");
        startup::Log(s, "{ } " + safety::DescribeInterruption(*interruption));
        ok = safety::Recover(s.DBFile, clock, true, done, error);
        startup::Log(s, ok ? "{ } " + done : "{*} " + error);
    }
    if (!ok) {
        std::cerr << "Recovery failed: " << error << "\n";
        return 1;
    }
    std::cout << safety::DescribeInterrupted(interruption->marker) << "\n" << done << "\n";
    return 0;
}

} // namespace

void RegisterSafetyCommands(CLI::App& app, Context& ctx) {
    CLI::App* copies = app.add_subcommand(
        "copies", "List the safety copies of the located database, newest first, tab-separated: "
                  "name, date and time, operation it was taken before, size in bytes, path; "
                  "'copies restore NAME' puts one back (database and version file), keeping "
                  "what it replaces as a safety copy of its own");
    AddAltDbOption(copies, ctx);
    auto name = std::make_shared<std::string>();
    CLI::App* restore =
        copies->add_subcommand("restore", "Put the safety copy NAME back in the database's place");
    restore->add_option("name", *name, "The copy's name, as 'ostrand-cli copies' lists it")
        ->required();
    AddAltDbOption(restore, ctx);
    copies->callback([&ctx, restore, name] {
        PrepareSettings(ctx);
        if (!LocateRegisteredDatabase(ctx)) {
            ctx.exitCode = 1;
            return;
        }
        ctx.exitCode = restore->parsed() ? PutBack(ctx, *name) : ListCopies(ctx);
    });

    CLI::App* recover = app.add_subcommand(
        "recover", "After an operation on the located database was cut off (a kill, a crash, a "
                   "power cut): remove what it left, finish a replacement that was already in "
                   "place, or put the safety copy back where the database may have been "
                   "changed part way; then every command works again");
    AddAltDbOption(recover, ctx);
    recover->callback([&ctx] {
        PrepareSettings(ctx);
        ctx.exitCode = Recover(ctx);
    });
}

} // namespace cli
