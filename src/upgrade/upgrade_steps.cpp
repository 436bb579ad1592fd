#include "upgrade/upgrade_steps.h"

#include "startup/locator.h"
#include "util/strings.h"

#include <cctype>
#include <exception>

namespace upgrade {

namespace {

class Sequence {
public:
    Sequence(startup::RunSettings& settings, util::Progress& progress, util::UiServices& ui)
        : settings_(settings), progress_(progress), ui_(ui) {}

    // Every step announces itself the same way: status, then progress, then
    // the log line (some steps have none).
    void Begin(std::string_view status, double value, std::string_view logLine = {}) {
        progress_.SetStatus(std::string(status));
        progress_.SetValue(value);
        if (!logLine.empty())
            startup::Log(settings_, logLine);
    }

    // Runs one operation. An exception out of an operation counts as its
    // failure, so the database is still closed and the backup still put back:
    // leaving a half-converted database behind is the one thing an upgrade
    // must never do.
    template <typename Op> auto Run(std::string_view what, Op&& op) -> decltype(op()) {
        using Result = decltype(op());
        Result result{};
        try {
            result = op();
        } catch (const std::exception& e) {
            startup::Log(settings_, "{*} UpgradeDB: " + std::string(what) + ": " + e.what());
        } catch (...) {
            startup::Log(settings_, "{*} UpgradeDB: " + std::string(what) + ": unknown error");
        }
        ui_.DoEvents();
        return result;
    }

    void Log(std::string_view line) { startup::Log(settings_, line); }

private:
    startup::RunSettings& settings_;
    util::Progress& progress_;
    util::UiServices& ui_;
};

// The working copy first: it is what the run converts, and holding the
// database for it makes the archive's raw copy one of a file nobody writes.
// The database file's addition alone decides the rest, since an old
// database may have no version file.
bool Backup(Sequence& seq, UpgradeSteps& steps, const std::string& archive,
            const std::string& versionFile, const std::string& dbFile) {
    if (!steps.MakeWorkingCopy()) {
        return false;
    }
    if (!steps.AddToArchive(archive, dbFile)) {
        seq.Log("{*} Could not back up the database file " + dbFile);
        return false;
    }
    steps.AddToArchive(archive, versionFile);
    return true;
}

// The outcome as the user sees it, whichever way the run ended.
bool Finish(util::Progress& progress, util::UiServices& ui, bool result) {
    progress.SetValue(100);
    progress.SetStatus(result ? "Database upgraded successfully." : "Database upgrade failed.");
    ui.SetBusy(false);
    return result;
}

} // namespace

std::vector<std::string> ObsoleteTables(const std::vector<std::string>& liveTableNames,
                                        const std::vector<std::string>& templateTableNames) {
    std::vector<std::string> distinct;
    for (const auto& name : liveTableNames) {
        bool seen = false;
        for (const auto& kept : distinct)
            seen = seen || util::EqualsNoCase(kept, name);
        if (!seen)
            distinct.push_back(name);
    }
    std::vector<std::string> obsolete;
    for (const auto& name : distinct) {
        bool inTemplate = false;
        for (const auto& t : templateTableNames)
            inTemplate = inTemplate || util::EqualsNoCase(t, name);
        if (!inTemplate)
            obsolete.push_back(name);
    }
    return obsolete;
}

bool RunUpgrade(startup::RunSettings& settings, util::Progress& progress, util::UiServices& ui,
                UpgradeSteps& steps) {
    Sequence seq(settings, progress, ui);
    ui.SetBusy(true);

    const std::string dbFile = settings.DBPath + "Ketrova.mdb";
    const std::string versionFile = settings.DBPath + "Version";
    bool backupTaken = false;
    seq.Log("{ } UpgradeDB started");
    seq.Log("{ } DB File: " + dbFile);
    if (!seq.Run("claim", [&] { return steps.Claim(); })) {
        return Finish(progress, ui, false);
    }
    const std::string archive =
        seq.Run("temporary archive", [&] { return steps.NewArchiveName(); });

    seq.Begin("Reading version file ...", 0);
    const int16_t version = seq.Run("version file", [&] { return steps.ReadVersion(); });
    // A newer program made it: its structure is one this program does not
    // know, and the template would take away what it does not know.
    if (version > startup::CurrentDBVersion) {
        seq.Log("{*} " + startup::NewerDatabaseText(dbFile, version));
        return Finish(progress, ui, false);
    }

    bool result = false;
    // Each structure step may stop the run; whatever happens, the database is
    // closed below. The loop only gives "stop" a single place to go.
    do {
        seq.Begin("Loading template ...", 5, "{-} Loading template");
        if (!(result = seq.Run("template", [&] { return steps.LoadTemplate(); })))
            break;

        seq.Begin("Backing up database ...", 10, "{-} Backing up database");
        if (archive.empty()) {
            seq.Log("{*} No temporary file for the backup");
            result = false;
        } else {
            result =
                seq.Run("backup", [&] { return Backup(seq, steps, archive, versionFile, dbFile); });
        }
        backupTaken = result;
        if (!result)
            break;

        seq.Begin("Opening database ...", 15, "{-} Opening database");
        if (!(result = seq.Run("open", [&] { return steps.OpenDatabase(); })))
            break;
        seq.Begin("Cleaning up NULL fields ...", 20, "{-} Cleaning up NULL fields");
        if (!(result = seq.Run("NULL fields", [&] { return steps.CleanNullFields(); })))
            break;
        seq.Begin("Deleting indexes ...", 25, "{-} Deleting indexes");
        if (!(result = seq.Run("delete indexes", [&] { return steps.DeleteIndexes(); })))
            break;
        seq.Begin("Reading DB Schema ...", 30, "{-} Reading DB schema");
        if (!(result = seq.Run("schema", [&] { return steps.ReadSchema(); })))
            break;
        seq.Begin("Comparing structure ...", 35, "{-} Comparing structure");
        if (!(result = seq.Run("compare", [&] { return steps.CompareSchema(); })))
            break;
        seq.Begin("Adding new fields ...", 40, "{-} Adding new fields");
        if (!(result = seq.Run("add fields", [&] { return steps.AddFields(); })))
            break;
        seq.Begin("Updating fields ...", 50, "{-} Updating fields");
        if (!(result = seq.Run("update fields", [&] { return steps.UpdateFields(); })))
            break;

        // The statements are best-effort; what stops the run here is a
        // conversion that broke off, since the next steps drop the columns
        // and tables it had still to read.
        seq.Begin("Upgrade scripts ...", 55, "{-} Starting SQL updates");
        if (!(result = seq.Run("migrations", [&] { return steps.RunMigrations(version); })))
            break;

        seq.Begin("Deleting obsolete fields ...", 70, "{-} Deleting obsolete fields");
        if (!(result = seq.Run("obsolete fields", [&] { return steps.DeleteObsoleteFields(); })))
            break;
        seq.Begin("Deleting obsolete tables ...", 75, "{-} Deleting obsolete tables");
        if (!(result = seq.Run("obsolete tables", [&] { return steps.DeleteObsoleteTables(); })))
            break;
        seq.Begin("Adding indexes ...", 80, "{-} Adding indexes");
        if (!(result = seq.Run("add indexes", [&] { return steps.AddIndexes(); })))
            break;
        seq.Begin("Updating configuration ...", 85, "{-} Updating configuration");
        result = seq.Run("configuration", [&] { return steps.WriteConfiguration(version); });
    } while (false);

    seq.Begin("Closing database ...", 90, "{-} Closing database");
    // A close that broke off may have left the file half written.
    const bool closed = seq.Run("close", [&] {
        steps.CloseDatabase();
        return true;
    });
    result = result && closed;

    // The version file is what tells the suite the database is current, so it
    // is written only once the converted copy has replaced the database.
    if (result) {
        seq.Begin("Writing version file ...", 95, "{-} Writing version file");
        result = seq.Run("version file", [&] { return steps.InstallUpgraded(); });
    }

    if (!result && backupTaken) {
        seq.Begin("Restoring database ...", 95, "{-} Restoring database");
        // The outcome stays a failure whether or not the restore worked.
        if (!seq.Run("restore", [&] { return steps.Restore(); }))
            seq.Log("{*} The database could not be restored");
    }
    return Finish(progress, ui, result);
}

} // namespace upgrade
