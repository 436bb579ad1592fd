#include "upgrade/upgrade_db.h"

#include "backup/bar.h"
#include "create/create_db.h"
#include "maintenance/table_check.h"
#include "platform/temp_file.h"
#include "startup/locator.h"
#include "upgrade/migration_statements.h"
#include "upgrade/migrations.h"
#include "util/strings.h"

#include <exception>
#include <functional>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace upgrade {

namespace {

// The neutral value of a column type as a literal; null for a type without one.
ExprPtr NeutralLiteral(int16_t dataType) {
    const auto value = db::NeutralValue(dataType);
    if (!value) {
        return nullptr;
    }
    return MakeLiteral(value->kind() == db::Value::Kind::Text ? "'" + value->AsText() + "'"
                                                              : value->AsText());
}

// The upgrade's NULL clean-up logs every NULL as it finds it and leaves the
// repair of a plain table to that table's one pass.
class FoldedNullRepairs final : public maintenance::NullRepairs {
public:
    explicit FoldedNullRepairs(DeferredUpdates& updates) : updates_(updates) {}
    bool Takes(const std::string& table) override { return updates_.Defers(table); }
    void Repair(const std::string& table, const std::vector<db::ColumnInfo>& columns) override {
        for (const db::ColumnInfo& c : columns) {
            updates_.Assign(table, c.Name,
                            MakeIfNull(MakeColumn(c.Name), NeutralLiteral(c.DataType)));
        }
    }

private:
    DeferredUpdates& updates_;
};

// A column name the table does not have yet, for a column that lives only
// during the run.
std::string FreeColumnName(db::Connection& connection, const std::string& table,
                           const std::string& wanted) {
    std::set<std::string> taken;
    for (const auto& c : db::ListColumns(connection, table)) {
        taken.insert(util::UCase(c.Name));
    }
    std::string name = wanted;
    for (int n = 2; taken.contains(util::UCase(name)); ++n) {
        name = wanted + "_" + std::to_string(n);
    }
    return name;
}

// Sets every field the template adds to a plain table from its neutral
// value: `value` makes the expression from the column and that value. A new
// date field gets the empty text, as the mortgage conversion gives its new
// review date: a NULL of the run's own making would be reported as damage in
// every later table check. A Boolean column is never NULL. Other tables keep
// the NULLs of their new fields: a change there would fire what is attached
// to them, which no statement of the upgrade asked for.
void SetAddedFields(const db::SchemaLists& lists, DeferredUpdates& updates,
                    const std::function<ExprPtr(const ExprPtr& column, ExprPtr neutral)>& value) {
    for (const auto& f : lists.Template) {
        ExprPtr neutral =
            f.DataType == db::adDate ? MakeLiteral("''") : NeutralLiteral(f.DataType);
        if (f.Action == db::ActionAdd && f.DataType != db::adBoolean && neutral &&
            updates.Defers(f.TableName))
            updates.Assign(f.TableName, f.FieldName, value(MakeColumn(f.FieldName), neutral));
    }
}

} // namespace

DatabaseUpgradeSteps::DatabaseUpgradeSteps(startup::RunSettings& settings,
                                           db::Connection& connection, util::UiServices& ui,
                                           const platform::Clock& clock,
                                           RecordConversions* conversions)
    : settings_(settings), connection_(connection), ui_(ui), clock_(clock),
      conversions_(conversions ? *conversions : plainConversions_) {}

DeferredUpdates& DatabaseUpgradeSteps::Updates() {
    if (!updates_) {
        updates_ = std::make_unique<DeferredUpdates>(connection_);
    }
    return *updates_;
}

int16_t DatabaseUpgradeSteps::ReadVersion() {
    version_ = startup::ReadDBVersion(settings_);
    return version_;
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
    // One transaction: a repair saved on its own waits for the disk, and an
    // old database can hold many of them.
    db::Transaction transaction(connection_);
    FoldedNullRepairs folded(Updates());
    bool ok = maintenance::CheckTables(settings_, connection_, ui_, &folded);
    transaction.Commit();
    return ok;
}

bool DatabaseUpgradeSteps::DeleteIndexes() {
    // One transaction for all: each index dropped by itself would wait for the disk.
    db::Transaction transaction(connection_);
    const bool ok = db::DeleteIndexes(settings_, connection_);
    transaction.Commit();
    return ok;
}

bool DatabaseUpgradeSteps::ReadSchema() {
    return db::ReadDBSchema(settings_, connection_, lists_);
}

bool DatabaseUpgradeSteps::CompareSchema() {
    return db::CompareSchema(settings_, lists_);
}

bool DatabaseUpgradeSteps::AddFields() {
    std::set<std::string> existed;
    for (const auto& f : lists_.Database)
        existed.insert(util::UCase(f.TableName));
    try {
        db::Transaction transaction(connection_);
        if (!db::AddFields(settings_, connection_, lists_, ui_))
            return false;
        // A table this run has made in place of one the old database never
        // had gets the old columns the statements carry data through.
        for (const RunColumn& c : ColumnsForTheRun(version_)) {
            const std::string table(c.table), column(c.column);
            if (existed.contains(util::UCase(table)) || !db::TableExists(connection_, table) ||
                FreeColumnName(connection_, table, column) != column)
                continue;
            startup::Log(settings_, "{ } Adding field {" + column + "} to {" + table + "}");
            db::AddColumn(connection_, table, column, c.dataType, 0);
        }
        transaction.Commit();
    } catch (const std::exception& e) {
        startup::Log(settings_, "{*} AddFields: " + db::ErrorText(e));
        return false;
    }
    // The rows already there get each new column's neutral value, so that
    // the only NULLs left are those the user's data had.
    DeferredUpdates& updates = Updates();
    updates.Reload();
    SetAddedFields(lists_, updates, [](const ExprPtr&, ExprPtr neutral) { return neutral; });
    return true;
}

bool DatabaseUpgradeSteps::UpdateFields() {
    DeferredUpdates& updates = Updates();
    for (const auto& f : lists_.Template) {
        if (f.Action != db::ActionUpdate)
            continue;
        if (!updates.Defers(f.TableName)) {
            if (!db::UpdateField(settings_, connection_, f))
                return false;
            ui_.DoEvents();
            continue;
        }
        // The new column is made at once; the copy of the data waits for the
        // table's one pass, and the old column goes with the obsolete ones.
        try {
            db::Transaction transaction(connection_);
            updates.Flush(f.TableName);
            const std::string old = FreeColumnName(connection_, f.TableName, "t_Column");
            db::RenameColumn(connection_, f.TableName, f.FieldName, old);
            db::AddColumn(connection_, f.TableName, f.FieldName, f.DataType, f.Size);
            transaction.Commit();
            updates.Reload();
            updates.Assign(f.TableName, f.FieldName, MakeColumn(old));
        } catch (const std::exception& e) {
            startup::Log(settings_, "{*} UpdateFields: field {" + f.FieldName + "} of {" +
                                        f.TableName + "}: " + db::ErrorText(e));
            return false;
        }
        ui_.DoEvents();
    }
    return true;
}

bool DatabaseUpgradeSteps::RunMigrations(int16_t version) {
    return upgrade::RunMigrations(settings_, connection_, Updates(), clock_, ui_, version,
                                  conversions_, failedStatements_);
}

bool DatabaseUpgradeSteps::DeleteObsoleteFields() {
    // A NULL left in a field this run added is of the run's own making (a
    // row a statement inserted without it): it gets the neutral value too, so
    // that what is left for a report to find is the user's.
    DeferredUpdates& updates = Updates();
    SetAddedFields(lists_, updates, [](const ExprPtr& column, ExprPtr neutral) {
        return MakeIfNull(column, std::move(neutral));
    });
    try {
        db::Transaction transaction(connection_);
        updates.Finish(settings_, lists_.Template, ui_);
        transaction.Commit();
        return true;
    } catch (const std::exception& e) {
        startup::Log(settings_, "{*} DeleteObsoleteFields: " + db::ErrorText(e));
        return false;
    }
}

bool DatabaseUpgradeSteps::DeleteObsoleteTables() {
    std::vector<std::string> live, wanted;
    for (const auto& f : lists_.Database)
        live.push_back(f.TableName);
    for (const auto& f : lists_.Template)
        wanted.push_back(f.TableName);
    std::optional<db::Transaction> transaction;
    try {
        transaction.emplace(connection_);
    } catch (const std::exception&) {
        // Each drop then stands alone; the outcome is the same.
    }
    for (const auto& table : ObsoleteTables(live, wanted))
        db::ExecuteSQL(connection_, "DROP TABLE " + table);
    if (transaction) {
        try {
            transaction->Commit();
        } catch (const std::exception& e) {
            startup::Log(settings_, "{*} Deleting obsolete tables: " + db::ErrorText(e));
            return false;
        }
    }
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

std::string FailedStatementsText(int count, const std::string& logFile) {
    if (count <= 0)
        return {};
    return std::to_string(count) +
           (count == 1 ? " upgrade statement was" : " upgrade statements were") +
           " refused by the database and did not convert its data. The log file " + logFile +
           " names each one with the database's message.";
}

bool UpgradeDB(startup::RunSettings& settings, db::Connection& connection, util::Progress& progress,
               util::UiServices& ui, const platform::Clock& clock, UpgradeReport* report,
               RecordConversions* conversions) {
    DatabaseUpgradeSteps steps(settings, connection, ui, clock, conversions);
    const bool ok = RunUpgrade(settings, progress, ui, steps);
    if (report)
        report->FailedStatements = steps.FailedStatements();
    return ok;
}

} // namespace upgrade
