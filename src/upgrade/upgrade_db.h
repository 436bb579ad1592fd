#pragma once
// Bringing the suite's database up to the current version: backup into a
// temporary archive, structure steps against the template, the version's
// data migrations, the configuration defaults and the new version file.
// The steps convert a working copy beside the database, which replaces the
// database only once it is whole and checked; the database as it was is
// kept in the safety-copy folder.

#include "db/connection.h"
#include "db/schema.h"
#include "platform/clock.h"
#include "safety/operation_guard.h"
#include "safety/replacement.h"
#include "safety/safety_copy.h"
#include "startup/run_settings.h"
#include "upgrade/conversions.h"
#include "upgrade/deferred_updates.h"
#include "upgrade/upgrade_steps.h"
#include "util/services.h"

#include <cstdint>
#include <memory>
#include <string>

namespace upgrade {

// The upgrade's operations on the real database, archive and files. Kept
// public so that tests can make a chosen step fail after it has done its work.
class DatabaseUpgradeSteps : public UpgradeSteps {
public:
    // `conversions` (when given) runs the record conversions instead of the
    // plain ones.
    DatabaseUpgradeSteps(startup::RunSettings& settings, db::Connection& connection,
                         util::UiServices& ui, const platform::Clock& clock,
                         RecordConversions* conversions = nullptr,
                         safety::SpaceQuery space = platform::QueryVolume);
    // Finish()
    ~DatabaseUpgradeSteps() override;

    bool Claim() override;
    int16_t ReadVersion() override;
    bool LoadTemplate() override;
    std::string NewArchiveName() override;
    bool AddToArchive(const std::string& archive, const std::string& file) override;
    bool MakeWorkingCopy() override;
    bool OpenDatabase() override;
    bool CleanNullFields() override;
    bool DeleteIndexes() override;
    bool ReadSchema() override;
    bool CompareSchema() override;
    bool AddFields() override;
    bool UpdateFields() override;
    bool RunMigrations(int16_t version) override;
    bool DeleteObsoleteFields() override;
    bool DeleteObsoleteTables() override;
    bool AddIndexes() override;
    bool WriteConfiguration(int16_t version) override;
    void CloseDatabase() override;
    bool InstallUpgraded() override;
    bool Restore() override;

    // Removes what the run made for itself (the archive, the working copy),
    // lets go of the database and ends the run's marker. The safety copy is
    // kept where the database was replaced; where it was not, the database
    // itself is the copy. Returns the safety copy's path, "" when none.
    std::string Finish();

    // The working copy the steps convert.
    const std::string& WorkingCopy() const { return working_; }

    // Migration statements the database refused in this run.
    int FailedStatements() const { return failedStatements_; }

private:
    bool Refuse(const std::string& error);
    DeferredUpdates& Updates();

    startup::RunSettings& settings_;
    db::Connection& connection_;
    util::UiServices& ui_;
    const platform::Clock& clock_;
    RecordConversions plainConversions_;
    RecordConversions& conversions_;
    safety::SpaceQuery space_;
    db::SchemaLists lists_;
    int16_t version_ = 0;
    int failedStatements_ = 0;
    // The changes to rows that wait for each table's one pass (made once the
    // database is open).
    std::unique_ptr<DeferredUpdates> updates_;
    std::string dbFile_;
    std::string working_;
    std::string archive_;
    safety::OperationGuard guard_;
    safety::DatabaseHold hold_;
    safety::SafetyCopy kept_;
    bool replaced_ = false;
    bool finished_ = false;
};

// What a run has to tell besides its status text.
struct UpgradeReport {
    // Migration statements the database refused; each is in the run log.
    int FailedStatements = 0;
    // The database as it was before, where the run replaced it; "" when the
    // database was not changed.
    std::string SafetyCopy;
};

// Upgrades the database of settings.DBPath on `connection` (which must not be
// open; it is closed again at the end). The caller opens and closes the run
// log around it. True when the database is now current. `report` (when
// given) receives what the run has to tell besides the status; `conversions`
// as for DatabaseUpgradeSteps.
bool UpgradeDB(startup::RunSettings& settings, db::Connection& connection, util::Progress& progress,
               util::UiServices& ui, const platform::Clock& clock, UpgradeReport* report = nullptr,
               RecordConversions* conversions = nullptr);

// What to tell beside the status of a run in which `count` statements were
// refused, pointing to the run log `logFile`; "" when there were none.
std::string FailedStatementsText(int count, const std::string& logFile);

} // namespace upgrade
