// ostrand-cli upgrade: the upgrade wizard's run without a window.

#include "app/cli_common.h"
#include "db/connection.h"
#include "platform/clock.h"
#include "startup/locator.h"
#include "startup/run_log.h"
#include "upgrade/upgrade_db.h"

#include <iostream>

namespace cli {

namespace {

int RunUpgradeCommand(Context& ctx) {
    PrepareSettings(ctx);
    startup::RunSettings& s = ctx.settings;
    if (!LocateRegisteredDatabase(ctx)) {
        return 1;
    }

    bool ok = false;
    std::string status;
    upgrade::UpgradeReport report;
    {
        TerminalProgress bar;
        StatusKeeper progress(bar);
        TerminalUi ui(false);
        platform::SystemClock clock;
        db::Connection connection;
        // The log is opened and closed around the run, as the wizard page does;
        // a log that cannot be opened leaves the run without one.
        s.LogFileNo = startup::OpenLogFile(s.Files, startup::RunLogPath(s), 1, 0);
        ok = upgrade::UpgradeDB(s, connection, progress, ui, clock, &report);
        startup::CloseFile(s.Files, s.LogFileNo);
        s.LogFileNo = 0;
        status = progress.status;
    }
    std::cout << status << "\n";
    if (ok && report.FailedStatements > 0) {
        std::cout << upgrade::FailedStatementsText(report.FailedStatements, startup::RunLogPath(s))
                  << "\n";
    }
    PrintSafetyCopy(report.SafetyCopy);
    if (!ok) {
        PrintCause(s);
    }
    return ok ? 0 : 1;
}

} // namespace

void RegisterUpgradeCommands(CLI::App& app, Context& ctx) {
    CLI::App* sub = app.add_subcommand(
        "upgrade", "Bring the located database up to the current version: convert a copy "
                   "beside it, check it and put it in the database's place with the new version "
                   "file, keeping the database as it was in SafetyCopies; a failure leaves the "
                   "database as it was. Prints the final status text and exits 1 when the "
                   "upgrade failed (log in Ostrand.log)");
    AddAltDbOption(sub, ctx);
    sub->callback([&ctx] { ctx.exitCode = RunUpgradeCommand(ctx); });
}

} // namespace cli
