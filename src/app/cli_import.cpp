// ostrand-cli import-jet: a database the suite kept on Windows brought over
// into a new Ketrova.mdb, upgraded when older, and registered on request.

#include "app/cli_common.h"
#include "db/connection.h"
#include "import/import_jet.h"
#include "platform/clock.h"
#include "startup/run_log.h"
#include "util/paths.h"

#include <iostream>
#include <memory>

namespace cli {

namespace {

struct ImportArgs {
    import::ImportRequest request;
    bool registerFolder = false;
};

int RunImport(Context& ctx, const ImportArgs& args) {
    PrepareSettings(ctx);
    startup::RunSettings& s = ctx.settings;
    // Asked before the import: a database imported but not recorded would
    // leave the user to find out why afterwards.
    if (args.registerFolder && !StoreReadable(s)) {
        return 1;
    }
    bool ok = false;
    import::ImportOutcome outcome;
    {
        TerminalProgress progress;
        TerminalUi ui(false);
        platform::SystemClock clock;
        db::Connection connection;
        s.LogFileNo = startup::OpenLogFile(s.Files, startup::RunLogPath(s), 1, 0);
        ok = import::ImportJet(s, connection, progress, ui, clock, args.request, outcome);
        startup::CloseFile(s.Files, s.LogFileNo);
        s.LogFileNo = 0;
    }
    std::cout << outcome.Status << "\n";
    if (!outcome.Kept.path.empty()) {
        std::cout << safety::SafetyCopyLine(outcome.Kept) << "\n";
    }
    if (!ok) {
        const bool refused =
            !args.request.Overwrite && outcome.Tables == 0 && util::FileExists(outcome.Database);
        std::cerr << outcome.Error
                  << (refused ? ".\nGive --overwrite to replace it; a safety copy of it is kept."
                              : "")
                  << "\nSee " << startup::RunLogPath(s) << " for the steps.\n";
        return 1;
    }
    if (args.registerFolder && !RegisterFolder(ctx, util::ParentFolder(outcome.Database))) {
        return 1;
    }
    return 0;
}

} // namespace

void RegisterImportCommands(CLI::App& app, Context& ctx) {
    auto args = std::make_shared<ImportArgs>();
    CLI::App* sub = app.add_subcommand(
        "import-jet",
        "Bring a database the suite kept on Windows (a Jet 3, Jet 4 or ACE .mdb/.accdb) over "
        "into a new Ketrova.mdb in FOLDER (default: the folder of FILE), with the Version file "
        "beside FILE; an older version is then upgraded (log in Ostrand.log)");
    sub->add_option("file", args->request.Source, "The Windows database file")->required();
    sub->add_option("folder", args->request.Folder, "Folder for the new Ketrova.mdb");
    sub->add_flag("--overwrite", args->request.Overwrite,
                  "Replace a Ketrova.mdb already in FOLDER (a safety copy of it is kept)");
    sub->add_flag("--register", args->registerFolder,
                  "Record FOLDER as the database of --altdb once the import has succeeded");
    AddAltDbOption(sub, ctx);
    sub->callback([&ctx, args] { ctx.exitCode = RunImport(ctx, *args); });
}

} // namespace cli
