#include "upgrade/upgrade_db.h"

#include "backup/bar.h"
#include "create/create_db.h"
#include "maintenance/table_check.h"
#include "platform/disk.h"
#include "platform/temp_file.h"
#include "startup/locator.h"
#include "upgrade/migration_statements.h"
#include "upgrade/migrations.h"
#include "util/paths.h"
#include "util/strings.h"

#include <exception>
#include <filesystem>
#include <functional>
#include <optional>
#include <set>
#include <string>
#include <system_error>
#include <vector>

namespace upgrade {

namespace {

namespace fs = std::filesystem;

uint64_t SizeOf(const std::string& file) {
    std::error_code ec;
    const uintmax_t n = fs::file_size(file, ec);
    return ec ? 0 : static_cast<uint64_t>(n);
}

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
        ExprPtr neutral = f.DataType == db::adDate ? MakeLiteral("''") : NeutralLiteral(f.DataType);
        if (f.Action == db::ActionAdd && f.DataType != db::adBoolean && neutral &&
            updates.Defers(f.TableName))
            updates.Assign(f.TableName, f.FieldName, value(MakeColumn(f.FieldName), neutral));
    }
}

} // namespace

DatabaseUpgradeSteps::DatabaseUpgradeSteps(startup::RunSettings& settings,
                                           db::Connection& connection, util::UiServices& ui,
                                           const platform::Clock& clock,
                                           RecordConversions* conversions, safety::SpaceQuery space)
    : settings_(settings), connection_(connection), ui_(ui), clock_(clock),
      conversions_(conversions ? *conversions : plainConversions_), space_(std::move(space)),
      dbFile_(settings.DBPath + "Ketrova.mdb"), working_(dbFile_ + ".upgrading"),
      guard_(dbFile_, "upgrade", clock) {}

DatabaseUpgradeSteps::~DatabaseUpgradeSteps() {
    Finish();
}

DeferredUpdates& DatabaseUpgradeSteps::Updates() {
    if (!updates_) {
        updates_ = std::make_unique<DeferredUpdates>(connection_);
    }
    return *updates_;
}

bool DatabaseUpgradeSteps::Refuse(const std::string& error) {
    startup::Log(settings_, "{*} " + error);
    return false;
}

bool DatabaseUpgradeSteps::Claim() {
    std::string error;
    if (!guard_.Begin(error)) {
        return Refuse(error);
    }
    // Replacing the file under a program that has it open would lose what it
    // writes afterwards.
    if (error = safety::DescribeOtherHolders(dbFile_); !error.empty()) {
        return Refuse(error);
    }
    return true;
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
    name = name.substr(0, name.find('\0'));
    // Ours to remove, also after a run that was cut off; a file the marker
    // cannot name would be left in the temporary folder.
    if (!name.empty() && !guard_.AddLeftover(name)) {
        std::error_code ec;
        fs::remove(name, ec);
        name.clear();
    }
    archive_ = name;
    return name;
}

bool DatabaseUpgradeSteps::AddToArchive(const std::string& archive, const std::string& file) {
    std::string error;
    if (!safety::EnoughRoom(util::ParentFolder(archive), SizeOf(file), space_, error)) {
        return Refuse(error);
    }
    // Database-type entries are the ones a restore-all puts back.
    std::string message;
    return backup::BaR_AddFile(archive, file, backup::TypeDatabase, message);
}

bool DatabaseUpgradeSteps::MakeWorkingCopy() {
    std::string error;
    if (!hold_.Begin(dbFile_, error)) {
        return Refuse("The database cannot be read: " + error);
    }
    if (!safety::EnoughRoom(util::ParentFolder(dbFile_), SizeOf(dbFile_), space_, error) ||
        !guard_.AddLeftover(working_)) {
        return Refuse(error.empty() ? "The marker of this run cannot be written." : error);
    }
    safety::DiscardWorkingFile(working_); // a cut-off run's, recovered without it: ours
    if (!hold_.CopyTo(working_, error) ||
        !safety::KeepBeforeReplacing(guard_, dbFile_, "upgrade", clock_, kept_, error, &hold_,
                                     space_)) {
        return Refuse(error);
    }
    return true;
}

bool DatabaseUpgradeSteps::OpenDatabase() {
    if (!db::OpenDB(settings_, connection_, working_)) {
        return false;
    }
    // Nothing depends on the working copy until it has been checked and
    // forced to the disk as a whole, so the conversion waits for no disk
    // sync. The journal stays: a statement the database refuses half way
    // must still be undone, or the copy would keep half of it. It stays on
    // the disk, not in memory: rebuilding a table journals pages in
    // proportion to the table, so a journal in memory grew with the database
    // (210 MB on a 300 MB one) where on the disk it costs no more time.
    try {
        connection_.Execute("PRAGMA synchronous = OFF");
        connection_.Execute("PRAGMA journal_mode = TRUNCATE");
    } catch (const std::exception& e) {
        return Refuse(std::string("The working copy cannot be set up: ") + e.what());
    }
    return true;
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

bool DatabaseUpgradeSteps::InstallUpgraded() {
    // Every page, row and rule of the converted copy. Its indexes were all
    // built afresh by the engine in this run, so looking each entry up in its
    // table as well (the thorough check) would find nothing more, and would
    // take as long as the rest of the upgrade.
    const std::string problem = safety::CheckIntegrity(working_, false);
    if (!problem.empty()) {
        return Refuse("The upgraded copy failed its check (" + problem +
                      "); the database was left as it was.");
    }
    std::string error;
    if (!platform::FlushToDisk(working_, error) ||
        !safety::ReplaceDatabase(guard_, working_, dbFile_,
                                 {safety::VersionChange::Kind::Write, startup::CurrentDBVersion},
                                 replaced_, error)) {
        return Refuse(error);
    }
    hold_.Release();
    safety::PruneSafetyCopies(dbFile_);
    return true;
}

bool DatabaseUpgradeSteps::Restore() {
    if (!replaced_) {
        return true; // the database was never changed; Finish removes the copy
    }
    // The upgraded database is in place but the run failed after all: the
    // database as it was goes back with its version file. The copy kept
    // aside is the very file it was, so a second name of it is all that is
    // renamed back, and the database is again byte for byte what it was.
    const std::string back = dbFile_ + ".restoring";
    std::string error;
    bool again = false;
    std::error_code ec;
    if (!guard_.AddLeftover(back)) {
        return Refuse("The marker of this run cannot be written.");
    }
    fs::remove(back, ec);
    const bool restored =
        platform::HardLink(kept_.path, back, error)
            ? safety::ReplaceDatabase(guard_, back, dbFile_, safety::VersionOfCopy(kept_), again,
                                      error)
            : safety::InstallCopy(guard_, kept_.path, dbFile_, safety::VersionOfCopy(kept_), again,
                                  error, space_);
    if (!restored) {
        if (guard_.marker().replacement != back) {
            fs::remove(back, ec);
        }
        return Refuse(error);
    }
    return true;
}

std::string DatabaseUpgradeSteps::Finish() {
    if (finished_) {
        return kept_.path;
    }
    finished_ = true;
    db::CloseDB(connection_);
    if (!guard_.Held()) {
        return kept_.path; // refused: whatever is about belongs to another run
    }
    std::error_code ec;
    if (!archive_.empty()) {
        fs::remove(archive_, ec);
    }
    safety::DropCopyStillLinkedTo(kept_.path, dbFile_);
    if (!kept_.path.empty() && !util::FileExists(kept_.path)) {
        kept_ = {};
    }
    hold_.Release();
    safety::EndRun(guard_, working_);
    if (!kept_.path.empty()) {
        startup::Log(settings_, "{ } Safety copy: " + kept_.path);
    }
    return kept_.path;
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
    const std::string copy = steps.Finish();
    if (report) {
        report->FailedStatements = steps.FailedStatements();
        report->SafetyCopy = copy;
    }
    return ok;
}

} // namespace upgrade
