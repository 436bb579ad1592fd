#include "upgrade/upgrade_db.h"

#include "backup/bar.h"
#include "create/create_db.h"
#include "maintenance/table_check.h"
#include "platform/temp_file.h"
#include "startup/locator.h"
#include "upgrade/migrations.h"

#include <string>
#include <vector>

namespace upgrade {

DatabaseUpgradeSteps::DatabaseUpgradeSteps(startup::RunSettings& settings,
                                           db::Connection& connection, util::UiServices& ui,
                                           const platform::Clock& clock)
    : settings_(settings), connection_(connection), ui_(ui), clock_(clock) {}

int16_t DatabaseUpgradeSteps::ReadVersion() {
    return startup::ReadDBVersion(settings_);
}

bool DatabaseUpgradeSteps::LoadTemplate() {
    return db::LoadTemplate(settings_, lists_, db::ActionNone);
}

std::string DatabaseUpgradeSteps::NewArchiveName() {
    // Only the first three characters of the prefix make it into the name.
    std::string name = platform::GetTempFileName("temp.backup");
    return name.substr(0, name.find('\0'));
}

bool DatabaseUpgradeSteps::AddToArchive(const std::string& archive, const std::string& file) {
    // Database-type entries are the ones a restore-all puts back.
    std::string message;
    return backup::BaR_AddFile(archive, file, backup::TypeDatabase, message);
}

bool DatabaseUpgradeSteps::OpenDatabase() {
    return db::OpenDB(settings_, connection_, "");
}

bool DatabaseUpgradeSteps::CleanNullFields() {
    // One transaction: a repaired row saved on its own waits for the disk,
    // and an old database can hold many of them.
    db::Transaction transaction(connection_);
    bool ok = maintenance::CheckTables(settings_, connection_, ui_);
    transaction.Commit();
    return ok;
}

bool DatabaseUpgradeSteps::DeleteIndexes() {
    return db::DeleteIndexes(settings_, connection_);
}

bool DatabaseUpgradeSteps::ReadSchema() {
    return db::ReadDBSchema(settings_, connection_, lists_);
}

bool DatabaseUpgradeSteps::CompareSchema() {
    return db::CompareSchema(settings_, lists_);
}

bool DatabaseUpgradeSteps::AddFields() {
    return db::AddFields(settings_, connection_, lists_, ui_);
}

bool DatabaseUpgradeSteps::UpdateFields() {
    return db::UpdateFields(settings_, connection_, lists_, ui_);
}

bool DatabaseUpgradeSteps::RunMigrations(int16_t version) {
    return upgrade::RunMigrations(settings_, connection_, clock_, ui_, version);
}

bool DatabaseUpgradeSteps::DeleteObsoleteFields() {
    return db::DeleteObsoleteFields(settings_, connection_, lists_);
}

bool DatabaseUpgradeSteps::DeleteObsoleteTables() {
    std::vector<std::string> live, wanted;
    for (const auto& f : lists_.Database)
        live.push_back(f.TableName);
    for (const auto& f : lists_.Template)
        wanted.push_back(f.TableName);
    for (const auto& table : ObsoleteTables(live, wanted))
        db::ExecuteSQL(connection_, "DROP TABLE " + table);
    return true;
}

bool DatabaseUpgradeSteps::AddIndexes() {
    return db::AddIndexes(settings_, connection_, lists_);
}

bool DatabaseUpgradeSteps::WriteConfiguration(int16_t version) {
    // To the writer, version 0 means a new database: placeholder company data
    // and a record counter started afresh. A database that lost its version
    // file but has its configuration row is an old one all the same; it keeps
    // the user's company data and the counter its record numbers come from
    // (restarting it could hand out numbers already in use), and gets what
    // any old version lacks.
    int16_t from = version;
    if (version == 0 && db::CountRecords(connection_, "Configuration", "") > 0)
        from = 1;
    return create::WriteDefaultConfiguration(settings_, connection_, clock_, from);
}

void DatabaseUpgradeSteps::CloseDatabase() {
    db::CloseDB(connection_);
}

bool DatabaseUpgradeSteps::WriteVersionFile(const std::string& folder) {
    return startup::WriteVersionFile(folder);
}

bool DatabaseUpgradeSteps::RestoreArchive(const std::string& archive) {
    return backup::BaR_RestoreAll(settings_, archive);
}

bool UpgradeDB(startup::RunSettings& settings, db::Connection& connection, util::Progress& progress,
               util::UiServices& ui, const platform::Clock& clock) {
    DatabaseUpgradeSteps steps(settings, connection, ui, clock);
    return RunUpgrade(settings, progress, ui, steps);
}

} // namespace upgrade
