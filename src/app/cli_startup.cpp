// ostrand-cli's start-up commands: what the program would open for a given
// command line, and where the database is.

#include "app/cli_common.h"
#include "safety/recovery.h"
#include "startup/init.h"
#include "startup/locator.h"
#include "startup/network_share.h"
#include "startup/registry.h"
#include "startup/start_mode.h"

#include <iostream>
#include <memory>
#include <vector>

namespace cli {

namespace {

const char* TrueFalse(bool b) {
    return b ? "True" : "False";
}

// Every run setting in the order the settings are documented.
void PrintSettings(const startup::RunSettings& s) {
    std::cout << "AppPath = " << s.AppPath << "\n"
              << "ReportsPath = " << s.ReportsPath << "\n"
              << "SysReportName = " << s.SysReportName << "\n"
              << "HelpFile = " << s.HelpFile << "\n"
              << "CatalogsPresent = " << TrueFalse(s.CatalogsPresent) << "\n"
              << "LoadFile = " << s.LoadFile << "\n"
              << "Expert = " << TrueFalse(s.Expert) << "\n"
              << "AppStart = " << s.AppStart << "\n"
              << "AltDB = " << s.AltDB << "\n"
              << "Diag = " << TrueFalse(s.Diag) << "\n"
              << "NoDB = " << TrueFalse(s.NoDB) << "\n"
              << "UpgradeSwitch = " << TrueFalse(s.UpgradeSwitch) << "\n"
              << "Warn = " << TrueFalse(s.Warn) << "\n"
              << "LogFileNo = " << s.LogFileNo << "\n"
              << "DBPath = " << s.DBPath << "\n"
              << "DBFile = " << s.DBFile << "\n"
              << "UserID = " << s.UserID << "\n"
              << "CurrentUser = " << s.CurrentUser << "\n"
              << "SecurityLevel = " << s.SecurityLevel << "\n";
}

// A newer database reads as current, but nothing here may change it.
bool WarnIfNewer(const startup::RunSettings& s, const startup::LocateFindings& f) {
    if (f.newer) {
        std::cerr << startup::NewerDatabaseText(s.DBFile, f.version) << "\n";
    }
    return f.newer;
}

} // namespace

void PrepareSettings(Context& ctx) {
    startup::InitGlobals(ctx.settings, "");
    ctx.settings.AltDB = ctx.altdb;
}

bool InterruptedRunPending(const startup::RunSettings& settings) {
    if (settings.DBFile.empty()) {
        return false;
    }
    const auto interruption = safety::FindInterruption(settings.DBFile);
    if (!interruption) {
        return false;
    }
    std::cerr << safety::DescribeInterruption(*interruption)
              << " Run 'ostrand-cli recover' to do so.\n";
    return true;
}

void PrintCause(const startup::RunSettings& settings) {
    const std::string cause = startup::LastErrorLine(startup::RunLogPath(settings));
    if (!cause.empty()) {
        std::cerr << "Cause: " << cause << "\n";
    }
}

void PrintSafetyCopy(const std::string& path) {
    if (!path.empty()) {
        std::cout << "Safety copy: " << path << "\n";
    }
}

bool StoreReadable(const startup::RunSettings& s) {
    const std::string problem = startup::RegistryStoreProblem(s);
    if (!problem.empty()) {
        std::cerr << problem << "\n";
    }
    return problem.empty();
}

void WarnIfOnNetworkShare(Context& ctx, const std::string& folder) {
    const std::string warning = startup::TakeNetworkShareWarning(ctx.settings, folder);
    if (!warning.empty()) {
        std::cerr << "Warning: " << warning << "\n";
    }
}

bool LocateRegisteredDatabase(Context& ctx) {
    startup::LocateDatabase(ctx.settings, 0);
    if (!ctx.settings.DBPath.empty()) {
        WarnIfOnNetworkShare(ctx, ctx.settings.DBPath);
        return !InterruptedRunPending(ctx.settings);
    }
    if (!StoreReadable(ctx.settings)) {
        return false;
    }
    std::cerr << "No database folder is registered for \"" << ctx.settings.AltDB
              << "\": create one with 'ostrand-cli create FOLDER' or register an existing one "
                 "with 'ostrand-cli connect FOLDER'.\n";
    return false;
}

void RegisterStartupCommands(CLI::App& app, Context& ctx) {
    auto args = std::make_shared<std::vector<std::string>>();
    CLI::App* mode = app.add_subcommand(
        "mode", "Fill the run settings from the program's command line (the ARGS after --, "
                "joined by blanks, e.g. -- /upgradedb /altdb=branch2), locate the database and "
                "print every setting, DBStatus and what start-up opens "
                "(diagnostics, create, upgrade or options)");
    mode->add_option("args", *args, "The command line's words, given after --");
    AddAltDbOption(mode, ctx);
    mode->callback([&ctx, args] {
        startup::RunSettings& s = ctx.settings;
        startup::FillStartValues(s);
        s.AltDB = ctx.altdb; // an /altdb= in ARGS still wins
        startup::ParseCommandLine(s, startup::JoinCommandLine(*args));
        startup::CreateWorkingFolders(s);
        if (!StoreReadable(s)) {
            ctx.exitCode = 1;
            return;
        }
        const startup::LocateFindings f = startup::FindDatabase(s);
        if (InterruptedRunPending(s)) {
            ctx.exitCode = 1;
            return;
        }
        const startup::StartMode opens = startup::ChooseStartMode(s, f.status);
        PrintSettings(s);
        std::cout << "DBStatus = " << f.status << "\n"
                  << "Opens = " << startup::StartModeName(opens) << "\n";
        // The program opens neither wizard that could change a newer database.
        ctx.exitCode = WarnIfNewer(s, f) && (opens == startup::StartMode::Upgrade ||
                                             opens == startup::StartMode::Options)
                           ? 1
                           : 0;
    });

    CLI::App* locate = app.add_subcommand(
        "locate", "Find the database through the registry (and an older installation's "
                  "per-user settings), print the locator's six log lines and DBStatus "
                  "(0 current, 1 missing, 2 needs upgrade)");
    AddAltDbOption(locate, ctx);
    locate->callback([&ctx] {
        PrepareSettings(ctx);
        if (!StoreReadable(ctx.settings)) {
            ctx.exitCode = 1;
            return;
        }
        startup::LocateFindings f = startup::FindDatabase(ctx.settings);
        if (InterruptedRunPending(ctx.settings)) {
            ctx.exitCode = 1;
            return;
        }
        for (const auto& line : startup::LocatorLogLines(ctx.settings, f)) {
            std::cout << line << "\n";
        }
        std::cout << "DBStatus = " << f.status << "\n";
        WarnIfNewer(ctx.settings, f);
        ctx.exitCode = 0;
    });
}

} // namespace cli
