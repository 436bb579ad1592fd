#pragma once
// The run of an upgrade as a fixed sequence of operations. The sequence
// (texts, progress, log lines, when to stop, when to put the backup back) is
// kept apart from the operations themselves so that it can be driven against
// real databases and, in tests, against operations that fail on purpose at a
// chosen step.

#include "startup/run_settings.h"
#include "util/services.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace upgrade {

// One operation per step. Each reports success; none may be relied on to throw
// or not: the sequence treats an escaping exception as that step's failure.
//
// The database itself is never converted in place: the backup step makes a
// working copy beside it, the structure and data steps convert that copy,
// and only a converted copy that passed its check replaces the database, in
// one rename. Until then a failure, or a kill, leaves the database as it was.
class UpgradeSteps {
public:
    virtual ~UpgradeSteps() = default;

    // Takes the database for this run: no other Ostrand may work on it, and
    // no other program may have it open. False refuses the run with nothing
    // changed.
    virtual bool Claim() = 0;
    virtual int16_t ReadVersion() = 0;
    virtual bool LoadTemplate() = 0;
    // A fresh, empty temporary file that becomes the backup archive.
    virtual std::string NewArchiveName() = 0;
    // Appends `file` to the archive as a database-type entry.
    virtual bool AddToArchive(const std::string& archive, const std::string& file) = 0;
    // Holds the database still for the rest of the run, keeps it aside as a
    // safety copy, and makes the working copy the later steps convert.
    virtual bool MakeWorkingCopy() = 0;
    // Opens the working copy.
    virtual bool OpenDatabase() = 0;
    virtual bool CleanNullFields() = 0;
    virtual bool DeleteIndexes() = 0;
    virtual bool ReadSchema() = 0;
    virtual bool CompareSchema() = 0;
    virtual bool AddFields() = 0;
    virtual bool UpdateFields() = 0;
    // False only when going on would lose data the migrations had still to
    // move; a statement the database refuses is not a failure.
    virtual bool RunMigrations(int16_t version) = 0;
    virtual bool DeleteObsoleteFields() = 0;
    virtual bool DeleteObsoleteTables() = 0;
    virtual bool AddIndexes() = 0;
    virtual bool WriteConfiguration(int16_t version) = 0;
    // Must be harmless when the database was never opened.
    virtual void CloseDatabase() = 0;
    // Checks the converted working copy, forces it to the disk, renames it
    // over the database, and writes the new version file.
    virtual bool InstallUpgraded() = 0;
    // After a failure: discards the working copy, and puts the database as
    // it was back should it already have been replaced.
    virtual bool Restore() = 0;
};

// Runs the whole upgrade of the database in settings.DBPath through `steps`.
// True when every step succeeded and the new version file was written. A
// database newer than this program knows is refused before anything is
// done; on failure after the backup the run's own files are discarded.
bool RunUpgrade(startup::RunSettings& settings, util::Progress& progress, util::UiServices& ui,
                UpgradeSteps& steps);

// Tables of the live database that the template no longer has: the distinct
// live names (compared without regard to case, first spelling kept, in order
// of first appearance) that match no template table name.
std::vector<std::string> ObsoleteTables(const std::vector<std::string>& liveTableNames,
                                        const std::vector<std::string>& templateTableNames);

} // namespace upgrade
