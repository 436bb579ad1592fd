// Whole upgrades of real old databases: one suite run against every older
// version, what each version's data becomes, and the backup put back byte for
// byte whenever a step fails.

#include "old_databases.h"
#include "support/temp_dir.h"
#include "upgrade/upgrade_db.h"

#include "db/catalog.h"
#include "db/connection.h"
#include "db/schema.h"
#include "safety/operation_guard.h"
#include "safety/safety_copy.h"
#include "startup/locator.h"
#include "upgrade/migration_statements.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <memory>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

using namespace upgradetest;
using testsupport::ReadFile;
using testsupport::TempDir;
using testsupport::WriteFile;

namespace fs = std::filesystem;

namespace {

std::string Upper(std::string s) {
    for (auto& ch : s)
        ch = static_cast<char>(std::toupper(static_cast<unsigned char>(ch)));
    return s;
}

class CapturedProgress final : public util::Progress {
public:
    void SetValue(double v) override { values.push_back(v); }
    void SetStatus(const std::string& text) override { status = text; }
    std::vector<double> values;
    std::string status;
};

// Each version's fixture is built once and copied for every run that needs it.
void CopyFixture(int version, const std::string& folder) {
    static std::map<int, std::unique_ptr<TempDir>> built;
    auto& dir = built[version];
    if (!dir) {
        dir = std::make_unique<TempDir>();
        BuildOldDatabase(dir->str(), version);
    }
    for (const char* name : {"Ketrova.mdb", "Version"})
        fs::copy_file(*dir / name, folder + name);
}

// A program folder with the shipped template, a database folder, and the
// temporary folder the backup archive goes to, all under one test folder.
struct Installation {
    TempDir root;
    startup::RunSettings settings;
    db::Connection connection;
    platform::FixedClock clock{{2026, 11, 22, 12, 0, 0}};
    CapturedProgress progress;
    util::UiServices ui;
    upgrade::UpgradeReport report;
    std::string oldTmp;

    explicit Installation(int version, bool withTemplate = true) {
        fs::create_directories(root / "app");
        fs::create_directories(root / "db");
        fs::create_directories(root / "tmp");
        settings.AppPath = root.str() + "app/";
        settings.DBPath = root.str() + "db/";
        settings.DBFile = settings.DBPath + "Ketrova.mdb";
        if (withTemplate)
            fs::copy_file(OSTRAND_SOURCE_DIR "/data/Ketrova.ddf", settings.AppPath + "Ketrova.ddf");
        if (version > 0)
            CopyFixture(version, settings.DBPath);
        if (const char* t = std::getenv("TMPDIR"))
            oldTmp = t;
        ::setenv("TMPDIR", (root / "tmp").c_str(), 1);
    }
    ~Installation() {
        if (oldTmp.empty())
            ::unsetenv("TMPDIR");
        else
            ::setenv("TMPDIR", oldTmp.c_str(), 1);
    }

    std::string DbBytes() const { return ReadFile(settings.DBFile); }
    std::string VersionBytes() const { return ReadFile(settings.DBPath + "Version"); }

    bool Run(upgrade::UpgradeSteps* steps = nullptr) {
        settings.LogFileNo =
            startup::OpenLogFile(settings.Files, settings.AppPath + "Ostrand.log", 1, 0);
        bool ok = steps ? upgrade::RunUpgrade(settings, progress, ui, *steps)
                        : upgrade::UpgradeDB(settings, connection, progress, ui, clock, &report);
        startup::CloseFile(settings.Files, settings.LogFileNo);
        settings.LogFileNo = 0;
        return ok;
    }
    std::string Log() const { return ReadFile(settings.AppPath + "Ostrand.log"); }

    // A connection on the upgraded database for the checks.
    db::Connection& Open() {
        if (!checker.IsOpen())
            checker.Open(settings.DBFile);
        return checker;
    }
    int64_t Int(const std::string& sql) { return Open().Scalar(sql).AsInt(); }
    double Real(const std::string& sql) { return Open().Scalar(sql).AsDouble(); }
    std::string Text(const std::string& sql) { return Open().Scalar(sql).AsText(); }

    db::Connection checker;
};

// The real operations, one of which reports failure after doing its work, so
// that the database really has changed when the backup is put back.
class FailingSteps final : public upgrade::DatabaseUpgradeSteps {
public:
    FailingSteps(Installation& in, std::string failing)
        : DatabaseUpgradeSteps(in.settings, in.connection, in.ui, in.clock),
          connection_(in.connection), failing_(std::move(failing)) {}

    bool OpenDatabase() override { return Check("open", DatabaseUpgradeSteps::OpenDatabase()); }
    bool CleanNullFields() override {
        return Check("nulls", DatabaseUpgradeSteps::CleanNullFields());
    }
    bool DeleteIndexes() override {
        return Check("drop indexes", DatabaseUpgradeSteps::DeleteIndexes());
    }
    bool ReadSchema() override { return Check("schema", DatabaseUpgradeSteps::ReadSchema()); }
    bool CompareSchema() override {
        return Check("compare", DatabaseUpgradeSteps::CompareSchema());
    }
    bool AddFields() override { return Check("add fields", DatabaseUpgradeSteps::AddFields()); }
    bool UpdateFields() override {
        return Check("update fields", DatabaseUpgradeSteps::UpdateFields());
    }
    bool RunMigrations(int16_t v) override {
        return Check("migrations", DatabaseUpgradeSteps::RunMigrations(v));
    }
    bool DeleteObsoleteFields() override {
        return Check("obsolete fields", DatabaseUpgradeSteps::DeleteObsoleteFields());
    }
    bool DeleteObsoleteTables() override {
        return Check("obsolete tables", DatabaseUpgradeSteps::DeleteObsoleteTables());
    }
    bool AddIndexes() override { return Check("add indexes", DatabaseUpgradeSteps::AddIndexes()); }
    bool WriteConfiguration(int16_t v) override {
        if (failing_ == "damaged copy") {
            // A row that breaks its table's rule: the converted copy's check finds it.
            connection_.Execute("PRAGMA ignore_check_constraints = 1");
            connection_.Execute("CREATE TABLE Odd (Rent DOUBLE CHECK (Rent >= 0))");
            connection_.Execute("INSERT INTO Odd VALUES (-1)");
        }
        return Check("configuration", DatabaseUpgradeSteps::WriteConfiguration(v));
    }
    // Closed, but the close reports an error.
    void CloseDatabase() override {
        DatabaseUpgradeSteps::CloseDatabase();
        if (failing_ == "close")
            throw std::runtime_error("close failed");
    }
    // In place with its version file, then reported as failed.
    bool InstallUpgraded() override {
        return Check("version file", DatabaseUpgradeSteps::InstallUpgraded());
    }

private:
    bool Check(const char* step, bool result) { return failing_ == step ? false : result; }
    db::Connection& connection_;
    std::string failing_;
};

} // namespace

// ---- One suite, every older version ----

class UpgradeFromVersion : public ::testing::TestWithParam<int> {};

TEST_P(UpgradeFromVersion, EndsWithTheTemplatesStructureAndVersionNine) {
    Installation in(GetParam());
    const std::string before = in.DbBytes(), version = in.VersionBytes();
    std::set<std::string> oldColumns;
    if (GetParam() > 0) {
        db::Connection old;
        old.Open(in.settings.DBFile);
        for (const auto& table : db::ListTables(old)) {
            for (const auto& col : db::ListColumns(old, table))
                oldColumns.insert(Upper(table + "." + col.Name));
        }
    }
    ASSERT_TRUE(in.Run()) << in.Log();
    EXPECT_EQ(in.progress.status, "Database upgraded successfully.");
    EXPECT_EQ(in.progress.values.back(), 100);
    EXPECT_EQ(startup::ReadDBVersion(in.settings), 9);
    EXPECT_FALSE(fs::exists(in.settings.DBFile + "-journal"));

    // Every table and column of the template, with its type and size, and
    // nothing else: the obsolete columns and tables are gone.
    startup::RunSettings quiet;
    db::SchemaLists lists;
    ASSERT_TRUE(
        db::LoadTemplateFile(quiet, lists, in.settings.AppPath + "Ketrova.ddf", db::ActionNone));
    std::map<std::string, std::set<std::string>> wanted, live;
    for (const auto& f : lists.Template)
        wanted[Upper(f.TableName)].insert(Upper(f.FieldName));
    db::Connection& c = in.Open();
    for (const auto& table : db::ListTables(c)) {
        for (const auto& col : db::ListColumns(c, table))
            live[Upper(table)].insert(Upper(col.Name));
    }
    EXPECT_EQ(live, wanted);
    ASSERT_TRUE(db::ReadDBSchema(quiet, c, lists));
    db::CompareSchema(quiet, lists);
    for (const auto& f : lists.Template)
        EXPECT_EQ(f.Action, db::ActionNone) << f.TableName << "." << f.FieldName;

    // Exactly the template's indexes.
    std::set<std::string> wantedIdx, liveIdx;
    for (const auto& f : lists.Template) {
        if (f.Indexed)
            wantedIdx.insert(Upper(f.TableName + "." + f.FieldName));
    }
    for (const auto& table : db::ListTables(c)) {
        for (const auto& idx : db::ListIndexes(c, table)) {
            if (!idx.EngineOwned)
                liveIdx.insert(Upper(table + "." + idx.Name));
        }
    }
    EXPECT_EQ(liveIdx, wantedIdx);

    // A consistent old database takes every statement of its version, and
    // what is left for a report to find is only the user's own NULL dates
    // (a date has no neutral value): no NULL is of the upgrade's making.
    EXPECT_EQ(in.report.FailedStatements, 0) << in.Log();
    for (const auto& table : db::ListTables(c)) {
        for (const auto& col : db::ListColumns(c, table)) {
            if (!db::NeutralValue(col.DataType) &&
                oldColumns.contains(Upper(table + "." + col.Name)))
                continue;
            EXPECT_EQ(
                in.Int("SELECT count(*) FROM " + table + " WHERE \"" + col.Name + "\" IS NULL"), 0)
                << table << "." << col.Name;
        }
    }

    // The user's company data survives whatever the version.
    EXPECT_EQ(in.Text("SELECT CompanyName FROM Configuration"), kCompanyName);
    EXPECT_EQ(in.Int("SELECT Count(*) FROM Configuration"), 1);
    // The text column that was too narrow was widened with its data.
    EXPECT_EQ(
        in.Text("SELECT LastName FROM Tenant WHERE IdTenant = " + std::to_string(kFirstTenant)),
        "Tenant1");

    const std::string log = in.Log();
    EXPECT_EQ(log.rfind("{ } UpgradeDB started\r\n{ } DB File: " + in.settings.DBFile + "\r\n", 0),
              0u);
    EXPECT_NE(log.find("{-} Starting SQL updates\r\n"), std::string::npos);
    EXPECT_NE(log.find("{-} Writing version file\r\n"), std::string::npos);
    EXPECT_EQ(log.find("{-} Restoring database"), std::string::npos);

    // The database as it was is kept, byte for byte, with its version file;
    // nothing of the run is left, in the temporary folder or beside the database.
    const auto copies = safety::ListSafetyCopies(in.settings.DBFile);
    ASSERT_EQ(copies.size(), 1u);
    EXPECT_EQ(copies[0].operation, "upgrade");
    EXPECT_TRUE(ReadFile(copies[0].path) == before);
    EXPECT_EQ(ReadFile(copies[0].versionPath), version);
    EXPECT_TRUE(log.ends_with("{ } Safety copy: " + copies[0].path + "\r\n"));
    EXPECT_TRUE(fs::is_empty(in.root / "tmp"));
    std::set<std::string> beside;
    for (const auto& e : fs::directory_iterator(in.settings.DBPath))
        beside.insert(e.path().filename().string());
    EXPECT_EQ(beside, (std::set<std::string>{"Ketrova.mdb", "Version", "SafetyCopies",
                                             ".Ketrova.mdb.lock"}));

    // From version 6 on the data is left as it was; only the structure changes.
    if (GetParam() >= 6) {
        EXPECT_EQ(in.Text("SELECT Hide || ',' || DepositDue || ',' || OneTimeFee FROM Lease"),
                  "1,300,40");
        EXPECT_EQ(in.Real("SELECT Balance FROM Account"), 123.45);
        EXPECT_EQ(in.Text("SELECT Class || ',' || Reconciled FROM Transactions"), "7,1");
        EXPECT_EQ(in.Text("SELECT Notes FROM WOItem"), "keep");
        EXPECT_EQ(in.Text("SELECT AccountType FROM Account"), "Property Owner");
        EXPECT_EQ(in.Text("SELECT Multi || Hide || Status FROM Building"), "11Sold");
        EXPECT_EQ(in.Int("SELECT Count(*) FROM Contact"), 1);
        EXPECT_EQ(in.Int("SELECT ARM FROM Mortgage"), 0);
        EXPECT_EQ(in.Int("SELECT IdConfig FROM Configuration"), 7300);
        EXPECT_EQ(in.Int("SELECT OneTimeFee FROM Configuration"), 35);
    }
}

INSTANTIATE_TEST_SUITE_P(OlderVersions, UpgradeFromVersion, ::testing::Values(4, 5, 6, 7, 8),
                         [](const auto& info) { return "v" + std::to_string(info.param); });

// ---- What each version's data becomes ----

TEST(UpgradeVersion4, PropertiesBecomeBuildingsAndUnitsAndLeasesTenantsFollow) {
    Installation in(4);
    ASSERT_TRUE(in.Run()) << in.Log();
    const int props = Population{}.properties;
    EXPECT_EQ(in.Int("SELECT Count(*) FROM Building"), props);
    EXPECT_EQ(in.Int("SELECT Count(*) FROM Unit"), props);
    EXPECT_EQ(in.Int("SELECT Count(*) FROM Building b JOIN Unit u ON u.IdUnit = b.IdBuilding "
                     "AND u.IdBuilding = b.IdBuilding"),
              props);
    EXPECT_EQ(in.Int("SELECT Min(IdBuilding) FROM Building"), kFirstProperty);
    EXPECT_EQ(in.Text("SELECT Address || '|' || Status || '|' || Multi || '|' || GasAvaliable || "
                      "'|' || DeprPeriod FROM Building WHERE IdBuilding = 1002"),
              "2 Elm Street|Owned|0|1|27");
    // The selected list's odd spacing does not matter to the engine.
    EXPECT_EQ(in.Text("SELECT Unit || '|' || DepositDamage || '|' || DepositClean || '|' || Ad "
                      "FROM Unit WHERE IdUnit = 1002"),
              "Main|500|100|Ad 2");
    // A NULL text of the old property arrives as an empty text.
    EXPECT_EQ(in.Text("SELECT Region FROM Building WHERE IdBuilding = 1001"), "");

    EXPECT_EQ(in.Int("SELECT IdUnit FROM Lease WHERE IdLease = 20002"), 1002);
    EXPECT_EQ(in.Int("SELECT Count(*) FROM Transactions WHERE IdBuilding = IdUnit AND "
                     "IdBuilding BETWEEN 1001 AND 1003"),
              Population{}.transactions);
    for (const char* t : {"OwnerLink", "ManagerLink", "SvcContract", "Mileage", "AutoEvent"})
        EXPECT_EQ(in.Int(std::string("SELECT Count(*) FROM ") + t + " WHERE IdBuilding > 1000"),
                  props)
            << t;
    for (const char* t : {"Room", "Appliance", "Content", "WorkOrder", "AutoEvent"})
        EXPECT_EQ(in.Int(std::string("SELECT Count(*) FROM ") + t + " WHERE IdUnit > 1000"), props)
            << t;
    EXPECT_EQ(in.Int("SELECT SelUnit FROM Doc"), 1002);
    EXPECT_EQ(in.Text("SELECT Exp1 || ',' || Exp2 || ',' || Exp3 || ',' || Exp4 || ',' || "
                      "IdBuilding FROM Analysis"),
              "100,200,300,400,1001");
    EXPECT_EQ(in.Text("SELECT Group_Concat(AccountType, ',') FROM (SELECT AccountType FROM "
                      "Account ORDER BY IdAccount)"),
              "Building Owner,Building Manager,Bank");
    EXPECT_EQ(in.Text("SELECT Severity FROM Incident"), "0 - Informational");

    // Leases, tenants and the configuration.
    const int tenants = Population{}.properties * Population{}.tenantsPerProperty;

    // Lease 1 keeps pets but took no deposit; 2 has no pets; 3 has pets.
    EXPECT_EQ(in.Text("SELECT DepositTotal || '/' || DepositDue FROM Lease WHERE IdLease = 20001"),
              "0/0");
    EXPECT_EQ(in.Text("SELECT DepositTotal || '/' || DepositDue FROM Lease WHERE IdLease = 20002"),
              "640/640");
    EXPECT_EQ(in.Text("SELECT DepositTotal || '/' || DepositDue FROM Lease WHERE IdLease = 20003"),
              "790/790");
    EXPECT_EQ(in.Text("SELECT Group_Concat(TermType, ',') FROM (SELECT TermType FROM Lease "
                      "WHERE IdLease <= 20003 ORDER BY IdLease)"),
              "Month(s),Week(s),Year(s)");
    EXPECT_EQ(in.Text("SELECT OneTimeFee || ',' || OneTimeDays || ',' || DailyFee || ',' || "
                      "DailyDays || ',' || Hide || ',' || SubsidyType FROM Lease "
                      "WHERE IdLease = 20001"),
              "25,5,2,3,0,0");

    EXPECT_EQ(in.Int("SELECT Count(*) FROM Contact WHERE dbType = 5"), 3 * tenants);
    // The tenant with no details at all: three records of empty texts.
    EXPECT_EQ(in.Text("SELECT Group_Concat(Description || '[' || Address1 || City || Phone || "
                      "Notes || ']', ',') FROM (SELECT * FROM Contact WHERE IdRelated = " +
                      std::to_string(kFirstTenant + tenants - 1) + " ORDER BY IdContact)"),
              "[],Previous Address[],Employer[]");

    EXPECT_EQ(in.Text("SELECT TaxIDFed FROM Account WHERE IdAccount = 4001"), "11-1111111");
    EXPECT_EQ(in.Int("SELECT DefaultMortgageAccount FROM Configuration"), 77);
    EXPECT_EQ(in.Text("SELECT CFAExp1 || ',' || CFAExp4 FROM Configuration"), "Landscape,Pool");
    EXPECT_EQ(in.Int("SELECT IdConfig FROM Configuration"), db::DaysSince2000(in.clock.Now()));
    EXPECT_EQ(in.Int("SELECT NextId FROM Configuration"), kNextIdStart + 3 * tenants);
    EXPECT_EQ(in.Text("SELECT Notes FROM WOItem WHERE IdWOItem = 49001"), "");
    // A NULL amount of the old rent log is 0 now; its dates stay as they were.
    EXPECT_EQ(in.Int("SELECT Count(*) FROM RentLog WHERE AmountPaid IS NULL"), 0);
}

// The suite kept its buildings as properties only: the table the upgrade
// makes gets the old columns the copies move data through, for the run.
TEST(UpgradeVersion4, WithoutABuildingTableThePropertiesStillBecomeBuildings) {
    Installation in(4);
    in.Open().Execute("DROP TABLE Building");
    in.checker.Close();
    ASSERT_TRUE(in.Run()) << in.Log();
    EXPECT_EQ(in.report.FailedStatements, 0) << in.Log();
    EXPECT_EQ(in.Text("SELECT Group_Concat(IdBuilding || ' ' || DeprPeriod || ' ' || Status) FROM "
                      "Building"),
              "1001 27 Owned,1002 27 Owned,1003 27 Owned");
    for (const auto& col : db::ListColumns(in.Open(), "Building")) {
        for (const auto& old : upgrade::ColumnsForTheRun(4))
            EXPECT_NE(col.Name, old.column);
    }
}

TEST(UpgradeVersion5, OnlyTheSecondGroupRuns) {
    Installation in(5);
    ASSERT_TRUE(in.Run()) << in.Log();
    // The first group would have reset the severity and renamed the owner type.
    EXPECT_EQ(in.Text("SELECT Severity FROM Incident"), "High");
    EXPECT_EQ(in.Text("SELECT Exp1 || ',' || Exp4 FROM Analysis"), "1,4");
    EXPECT_EQ(in.Int("SELECT Count(*) FROM Building"), Population{}.properties);
    // The second group did run.
    EXPECT_EQ(in.Int("SELECT Count(*) FROM Contact"),
              3 * Population{}.properties * Population{}.tenantsPerProperty);
    EXPECT_EQ(in.Text("SELECT TermType FROM Lease WHERE IdLease = 20001"), "Week(s)");
    EXPECT_EQ(in.Text("SELECT InsNextDue || ',' || HOANextDue || ',' || DeprPeriod FROM Building "
                      "WHERE IdBuilding = 1001"),
              "6/1/2019,7/1/2019,27");
    // Configuration: the identity stamp only; the analysis captions stay.
    EXPECT_EQ(in.Text("SELECT CFAExp1 FROM Configuration"), "Lawn");
    EXPECT_EQ(in.Int("SELECT IdConfig FROM Configuration"), db::DaysSince2000(in.clock.Now()));
}

// The oldest version (every migration runs) and the newest (structure only).
TEST(UpgradeFailure, AFailureAfterTheBackupPutsBackTheOriginalFiles) {
    for (int version : {4, 8}) {
        for (const char* step :
             {"open", "nulls", "drop indexes", "schema", "compare", "add fields", "update fields",
              "migrations", "obsolete fields", "obsolete tables", "add indexes", "configuration",
              "close", "damaged copy", "version file"}) {
            SCOPED_TRACE(std::to_string(version) + " " + step);
            Installation in(version);
            const std::string db = in.DbBytes();
            const std::string versionFile = in.VersionBytes();
            ASSERT_FALSE(db.empty());
            FailingSteps steps(in, step);
            EXPECT_FALSE(in.Run(&steps));
            EXPECT_EQ(steps.Finish(), "") << "the database itself is as it was";
            EXPECT_EQ(in.progress.status, "Database upgrade failed.");
            EXPECT_TRUE(in.DbBytes() == db) << "database differs after the restore";
            EXPECT_EQ(in.VersionBytes(), versionFile);
            EXPECT_NE(in.Log().find("{-} Restoring database\r\n"), std::string::npos);
            EXPECT_TRUE(fs::is_empty(in.root / "tmp"));
            EXPECT_FALSE(fs::exists(steps.WorkingCopy()));
            EXPECT_TRUE(safety::ListSafetyCopies(in.settings.DBFile).empty());
            EXPECT_FALSE(safety::FindInterrupted(in.settings.DBFile));
        }
    }
}

// ---- Edge cases of the run ----

TEST(UpgradeRun, AMissingTemplateStopsBeforeTheBackupAndChangesNothing) {
    Installation in(4, /*withTemplate=*/false);
    const std::string db = in.DbBytes();
    EXPECT_FALSE(in.Run());
    EXPECT_EQ(in.progress.status, "Database upgrade failed.");
    EXPECT_TRUE(in.DbBytes() == db);
    EXPECT_EQ(in.VersionBytes(), "4\r\n");
    const std::string log = in.Log();
    EXPECT_NE(log.find("{*} Database template file not found: "), std::string::npos);
    EXPECT_EQ(log.find("{-} Backing up database"), std::string::npos);
    EXPECT_NE(log.find("{-} Closing database"), std::string::npos);
    EXPECT_EQ(log.find("{-} Restoring database"), std::string::npos);
}

TEST(UpgradeRun, WithoutAVersionFileTheDatabaseCountsAsVersionZero) {
    Installation in(4);
    fs::remove(in.settings.DBPath + "Version");
    ASSERT_TRUE(in.Run()) << in.Log();
    EXPECT_EQ(startup::ReadDBVersion(in.settings), 9);
    // Both groups ran: the properties became buildings, the tenants got contacts.
    EXPECT_EQ(in.Int("SELECT Count(*) FROM Building"), Population{}.properties);
    const int contacts = 3 * Population{}.properties * Population{}.tenantsPerProperty;
    EXPECT_EQ(in.Int("SELECT Count(*) FROM Contact"), contacts);
    // Still the user's company, and the record counter went on from where it
    // was rather than starting again among numbers already handed out.
    EXPECT_EQ(in.Text("SELECT CompanyName FROM Configuration"), kCompanyName);
    EXPECT_EQ(in.Int("SELECT NextId FROM Configuration"), kNextIdStart + contacts);
    EXPECT_EQ(in.Text("SELECT CFAExp1 FROM Configuration"), "Landscape");
}

TEST(UpgradeRun, AMissingVersionFileIsRestoredAsMissing) {
    for (const char* step : {"add indexes", "version file"}) {
        SCOPED_TRACE(step);
        Installation in(4);
        fs::remove(in.settings.DBPath + "Version");
        const std::string db = in.DbBytes();
        FailingSteps steps(in, step);
        EXPECT_FALSE(in.Run(&steps));
        EXPECT_TRUE(in.DbBytes() == db);
        EXPECT_FALSE(fs::exists(in.settings.DBPath + "Version"));
    }
}

// Going on would drop the old columns and tables with data not yet moved
// out of them; the run fails and the database is put back instead.
TEST(UpgradeRun, DataTheMigrationsCouldNotMoveIsNeverDropped) {
    struct Case {
        const char* damage;
        const char* logged;
    };
    const Case cases[] = {
        // The engine refuses to save the second mortgage, after the first
        // has been recalculated.
        {"CREATE TRIGGER Broken BEFORE UPDATE ON Mortgage WHEN OLD.IdMortgage = 30002 "
         "BEGIN SELECT RAISE(ABORT, 'disk full'); END",
         "{*} SQL updates: mortgage recalculation broke off: "},
        // A property column the building copy names: the copy is refused.
        {"ALTER TABLE Property DROP COLUMN GasAvaliable",
         "{*} SQL updates: 3 properties were not copied"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.damage);
        Installation in(4);
        in.Open().Execute(c.damage);
        in.checker.Close();
        const std::string db = in.DbBytes();
        EXPECT_FALSE(in.Run());
        EXPECT_EQ(in.progress.status, "Database upgrade failed.");
        EXPECT_TRUE(in.DbBytes() == db);
        EXPECT_EQ(in.VersionBytes(), "4\r\n");
        const std::string log = in.Log();
        EXPECT_NE(log.find(c.logged), std::string::npos) << log;
        EXPECT_EQ(log.find("{-} Deleting obsolete fields"), std::string::npos);
    }
}

// An old table short of a column the conversion reads: nothing was kept
// there, so it reads as empty and everything else comes across.
TEST(UpgradeRun, AnOldColumnThatNeverExistedReadsAsEmpty) {
    Installation in(4);
    in.Open().Execute("ALTER TABLE Tenant DROP COLUMN PrevVDiscrepency");
    in.Open().Execute("ALTER TABLE Mortgage DROP COLUMN InterestOnly");
    in.checker.Close();
    ASSERT_TRUE(in.Run()) << in.Log();
    EXPECT_EQ(in.Text("SELECT Group_Concat(LastName || '/' || Notes, ',') FROM (SELECT * FROM "
                      "Contact WHERE IdRelated = " +
                      std::to_string(kFirstTenant) + " ORDER BY IdContact)"),
              "Mom1/,Landlord1/,/Welder");
    EXPECT_EQ(in.Int("SELECT Count(*) FROM Mortgage WHERE IntOnly = 0 AND ARM = 1"),
              Population{}.mortgages);
}

TEST(UpgradeRun, RunningTheFirstGroupTwiceAddsNoSecondBuilding) {
    Installation in(4);
    ASSERT_TRUE(in.Run());
    WriteFile(in.settings.DBPath + "Version", "4\r\n");
    const std::string contacts = in.Text("SELECT Group_Concat(IdContact) FROM Contact");
    const std::string mortgages =
        in.Text("SELECT Group_Concat(CurrentPeriod || xPri || FirstDue) FROM Mortgage");
    ASSERT_TRUE(in.Run()) << in.Log(); // the copies from Property fail quietly now
    EXPECT_EQ(in.Int("SELECT Count(*) FROM Building"), Population{}.properties);
    EXPECT_EQ(in.Int("SELECT Count(*) FROM Unit"), Population{}.properties);
    // The old detail columns are gone: no empty contacts, and the figures
    // taken from the stored schedules stay.
    EXPECT_EQ(in.Text("SELECT Group_Concat(IdContact) FROM Contact"), contacts);
    EXPECT_EQ(in.Text("SELECT Group_Concat(CurrentPeriod || xPri || FirstDue) FROM Mortgage"),
              mortgages);
}

TEST(UpgradeRun, AMissingDatabaseFailsAtTheBackupWithNothingToRestore) {
    Installation in(0);
    EXPECT_FALSE(in.Run());
    EXPECT_FALSE(fs::exists(in.settings.DBFile));
    EXPECT_EQ(in.Log().find("{-} Opening database"), std::string::npos);
    EXPECT_EQ(in.Log().find("{-} Restoring database"), std::string::npos);
}
