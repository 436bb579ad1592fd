// ostrand-cli salvage: every row that can still be read from a damaged
// database, in a new database beside it (or in a folder of the user's).

#include "app/cli_common.h"
#include "maintenance/salvage.h"
#include "platform/clock.h"
#include "startup/locator.h"
#include "startup/run_log.h"
#include "util/paths.h"

#include <iostream>
#include <memory>

namespace cli {

namespace {

struct SalvageArgs {
    std::string to;
    bool replace = false;
};

int RunSalvage(Context& ctx, const SalvageArgs& args) {
    PrepareSettings(ctx);
    startup::RunSettings& s = ctx.settings;
    if (!LocateRegisteredDatabase(ctx)) {
        return 1;
    }
    // Beside the damaged database by default, under a name the suite never
    // opens by itself; in a folder of its own it is ready to be registered.
    maintenance::SalvageRequest request;
    request.Replace = args.replace;
    request.Destination = args.to.empty() ? s.DBPath + "Ketrova.salvaged.mdb"
                                          : util::AddBackslash(args.to) + "Ketrova.mdb";
    bool ok = false;
    maintenance::SalvageOutcome outcome;
    {
        TerminalProgress progress;
        TerminalUi ui(false);
        platform::SystemClock clock;
        s.LogFileNo = startup::OpenLogFile(s.Files, startup::RunLogPath(s), 1, 0);
        ok = maintenance::SalvageDB(s, progress, ui, clock, request, outcome);
        startup::CloseFile(s.Files, s.LogFileNo);
        s.LogFileNo = 0;
    }
    for (const maintenance::SalvagedTable& t : outcome.Tables) {
        std::cout << t.Name << "\t" << (t.Before < 0 ? "?" : std::to_string(t.Before)) << "\t"
                  << t.After << "\n";
    }
    if (!ok) {
        std::cout << "Database salvage failed.\n";
        std::cerr << outcome.Error << "\nSee " << startup::RunLogPath(s) << " for the steps.\n";
        return 1;
    }
    std::cout << outcome.File << "\n";
    if (!outcome.Kept.path.empty()) {
        std::cout << safety::SafetyCopyLine(outcome.Kept) << "\n";
    }
    return 0;
}

} // namespace

void RegisterSalvageCommands(CLI::App& app, Context& ctx) {
    auto args = std::make_shared<SalvageArgs>();
    CLI::App* sub = app.add_subcommand(
        "salvage",
        "Read every row that can still be read from the located database, when it is damaged, "
        "into a new database (Ketrova.salvaged.mdb beside it, or Ketrova.mdb in --to FOLDER), "
        "and print per table the rows counted before and the rows salvaged (table, before, "
        "after; ? when the damaged table cannot be counted), then the new file (log in "
        "Ostrand.log)");
    CLI::Option* to = sub->add_option("--to", args->to, "Folder for the salvaged Ketrova.mdb");
    sub->add_flag("--replace", args->replace,
                  "Put the salvaged database in place of the damaged one, keeping the damaged "
                  "one as a safety copy")
        ->excludes(to);
    AddAltDbOption(sub, ctx);
    sub->callback([&ctx, args] { ctx.exitCode = RunSalvage(ctx, *args); });
}

} // namespace cli
