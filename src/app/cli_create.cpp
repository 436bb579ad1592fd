// ostrand-cli create and connect: the create wizard's two ways without a
// window: build a new database in a folder, or point the suite at a folder
// that already holds one.

#include "app/cli_common.h"
#include "create/create_db.h"
#include "db/connection.h"
#include "platform/clock.h"
#include "platform/environment.h"
#include "safety/safety_copy.h"
#include "startup/registry.h"
#include "startup/run_log.h"
#include "util/paths.h"

#include <iostream>
#include <memory>

namespace cli {

namespace {} // namespace

bool RegisterFolder(Context& ctx, const std::string& folder) {
    startup::RunSettings& s = ctx.settings;
    startup::RegWriteString(startup::MachineRegistry(s), startup::DatabasesKey, s.AltDB, folder);
    // The store reports no failure: read the value back to know it is there.
    if (startup::RegReadString(startup::MachineRegistry(s), startup::DatabasesKey, s.AltDB) !=
        folder) {
        std::cerr << "The folder could not be recorded in " << s.RegistryFile << "\n";
        return false;
    }
    return true;
}

namespace {

int RunCreate(Context& ctx, std::string folderArg, bool overwrite) {
    PrepareSettings(ctx);
    startup::RunSettings& s = ctx.settings;
    if (!StoreReadable(ctx.settings)) {
        return 1;
    }
    if (folderArg.empty()) {
        folderArg = s.AppPath + "db";
    }
    const std::string folder = util::AddBackslash(folderArg);
    const std::string file = folder + "Ketrova.mdb";

    // The same checks the wizard's folder page makes, before anything is touched.
    if (!util::FolderExists(folder) || !platform::FolderWritable(folder)) {
        std::cerr << "The folder " << folder
                  << " does not exist or cannot be written; choose a folder that exists and "
                     "that you have access rights to.\n";
        return 1;
    }
    if (util::FileExists(file) && !overwrite) {
        std::cerr << "A database already exists at " << file
                  << "; nothing was changed. Give --overwrite to replace it (a safety copy of it "
                     "is kept in "
                  << safety::SafetyFolderFor(file) << ").\n";
        return 1;
    }

    WarnIfOnNetworkShare(ctx, folder);
    bool ok = false;
    std::string status;
    safety::SafetyCopy kept;
    {
        TerminalProgress bar;
        StatusKeeper progress(bar);
        TerminalUi ui(false);
        platform::SystemClock clock;
        db::Connection shared;
        // The log is opened and closed around the run, as the wizard page
        // does; a log that cannot be opened leaves the run without one.
        s.LogFileNo = startup::OpenLogFile(s.Files, startup::RunLogPath(s), 1, 0);
        ok = create::CreateNewDB(s, shared, progress, ui, clock, folder, &kept);
        startup::CloseFile(s.Files, s.LogFileNo);
        s.LogFileNo = 0;
        status = progress.status;
    }
    std::cout << status << "\n";
    if (!kept.path.empty()) {
        std::cout << safety::SafetyCopyLine(kept) << "\n";
    }
    if (!ok) {
        std::cerr << startup::LastErrorLine(startup::RunLogPath(s)) << "\n(the run log is "
                  << startup::RunLogPath(s) << ")\n";
        return 1;
    }
    return RegisterFolder(ctx, folder) ? 0 : 1;
}

int RunConnect(Context& ctx, const std::string& folderArg) {
    PrepareSettings(ctx);
    if (!StoreReadable(ctx.settings)) {
        return 1;
    }
    const std::string folder = util::AddBackslash(folderArg);
    if (!util::FileExists(folder + "Ketrova.mdb")) {
        std::cerr << "There is no Ketrova.mdb in " << folder << "; nothing was recorded.\n";
        return 1;
    }
    if (!RegisterFolder(ctx, folder)) {
        return 1;
    }
    WarnIfOnNetworkShare(ctx, folder);
    std::cout << folder << "\n";
    return 0;
}

} // namespace

void RegisterCreateCommands(CLI::App& app, Context& ctx) {
    auto folder = std::make_shared<std::string>();
    auto overwrite = std::make_shared<bool>(false);
    CLI::App* create = app.add_subcommand(
        "create", "Create a new, empty database (Ketrova.mdb and its Version file) in FOLDER "
                  "(default: db among the working folders, ~/.local/share/Ketrova/db when "
                  "installed), then record FOLDER as the database of "
                  "--altdb and print the final status text (log in Ostrand.log)");
    create->add_option("folder", *folder, "Folder for the new database");
    create->add_flag("--overwrite", *overwrite,
                     "Replace an existing Ketrova.mdb in FOLDER, keeping a safety copy of it in "
                     "FOLDER/SafetyCopies (printed as 'Safety copy: PATH')");
    AddAltDbOption(create, ctx);
    create->callback(
        [&ctx, folder, overwrite] { ctx.exitCode = RunCreate(ctx, *folder, *overwrite); });

    auto connectFolder = std::make_shared<std::string>();
    CLI::App* connect = app.add_subcommand(
        "connect", "Record FOLDER, which must hold Ketrova.mdb, as the database of --altdb, and "
                   "print the folder as recorded");
    connect->add_option("folder", *connectFolder, "Folder of an existing database")->required();
    AddAltDbOption(connect, ctx);
    connect->callback([&ctx, connectFolder] { ctx.exitCode = RunConnect(ctx, *connectFolder); });
}

} // namespace cli
