// Whole upgrades of the old databases the suite meets, and the database as it
// was, kept aside on success and put back byte for byte when a step fails.

#include "old_databases.h"
#include "support/scoped_env.h"
#include "support/temp_dir.h"
#include "upgrade/upgrade_db.h"

#include "db/catalog.h"
#include "db/schema.h"
#include "loan/amort.h"
#include "safety/operation_guard.h"
#include "startup/locator.h"
#include "upgrade/conversions.h"
#include "util/strings.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <map>
#include <memory>
#include <set>
#include <sstream>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <vector>

using namespace upgradetest;
using testsupport::ReadFile;
using testsupport::TempDir;
namespace fs = std::filesystem;

namespace {

struct Recording final : util::Progress, util::UiServices {
    void SetValue(double value) override { events.push_back(std::to_string(int(value))); }
    void SetStatus(const std::string& text) override { events.push_back(text); }
    void SetBusy(bool busy) override { busyChanges.push_back(busy); }
    std::vector<std::string> events;
    std::vector<bool> busyChanges;
};

// A program folder with the template, a database folder with an old database
// of `version` (0: 4 without its version file; 9: 8 that claims to be
// current), and the temporary folder the backup archive goes to.
struct Installation {
    std::string fixture; // built before the run's own temporary folder is set
    TempDir root;
    testsupport::ScopedEnv tmp{"TMPDIR", (root / "tmp").string()};
    startup::RunSettings settings;
    db::Connection connection, checker;
    platform::FixedClock clock{{2026, 11, 22, 12, 0, 0}};
    Recording progress, &ui = progress;
    upgrade::UpgradeReport report;

    explicit Installation(int version) : fixture(Fixture(version)) {
        for (const char* sub : {"app", "db", "tmp"})
            fs::create_directories(root / sub);
        settings.AppPath = root.str() + "app/";
        settings.DBPath = root.str() + "db/";
        settings.DBFile = settings.DBPath + "Ketrova.mdb";
        fs::copy_file(OSTRAND_SOURCE_DIR "/data/Ketrova.ddf", settings.AppPath + "Ketrova.ddf");
        for (const char* name : {"Ketrova.mdb", "Version"}) {
            if (version > 0 || (version == 0 && name[0] == 'K'))
                fs::copy_file(fixture + name, settings.DBPath + name);
        }
    }
    // Each version's database is built once and copied for every run.
    static std::string Fixture(int version) {
        static std::map<int, std::unique_ptr<TempDir>> built;
        if (!built[version]) {
            built[version] = std::make_unique<TempDir>();
            BuildOldDatabase(built[version]->str(), version == 0 ? 4 : std::min(version, 8));
            if (version == 9)
                testsupport::WriteFile(*built[version] / "Version", "9\r\n");
        }
        return built[version]->str();
    }
    std::string Bytes(const char* name) const { return ReadFile(settings.DBPath + name); }
    // Through `steps` when given, whose `real` operations end the run in its log.
    template <typename S = upgrade::DatabaseUpgradeSteps> bool Run(S* steps = nullptr) {
        checker.Close();
        settings.LogFileNo =
            startup::OpenLogFile(settings.Files, settings.AppPath + "Ostrand.log", 1, 0);
        bool ok = steps ? upgrade::RunUpgrade(settings, progress, ui, *steps)
                        : upgrade::UpgradeDB(settings, connection, progress, ui, clock, &report);
        if constexpr (!std::is_same_v<S, upgrade::DatabaseUpgradeSteps>)
            report.SafetyCopy = steps->real.Finish();
        startup::CloseFile(settings.Files, settings.LogFileNo);
        return ok;
    }
    std::string Log() const { return ReadFile(settings.AppPath + "Ostrand.log"); }
    db::Connection& Open() {
        if (!checker.IsOpen())
            checker.Open(settings.DBFile);
        return checker;
    }
    std::string Text(const std::string& sql) { return Open().Scalar(sql).AsText(); }
    double Real(const std::string& sql) { return Open().Scalar(sql).AsDouble(); }
    // Each query with the text it must give.
    void Expect(const std::vector<std::pair<std::string, std::string>>& rows) {
        for (const auto& [sql, wanted] : rows)
            EXPECT_EQ(Text(sql), wanted) << sql;
    }
};

const int kTenants = Population{}.properties * Population{}.tenantsPerProperty;

const auto Id = [](int id) { return std::to_string(id); };

// What the data of each version becomes. From version 6 on it is left as it
// was: the values would change under any migration that ran by mistake.
std::vector<std::pair<std::string, std::string>> ExpectedData(int version) {
    const std::string configuration = "SELECT CompanyName || '|' || IdConfig || '|' || CFAExp1 "
                                      "|| '|' || NextId FROM Configuration";
    const std::string stamp = Id(db::DaysSince2000({2026, 11, 22, 12, 0, 0}));
    const std::string counter = Id(kNextIdStart + 3 * kTenants);
    if (version >= 6)
        return {{configuration, std::string(kCompanyName) + "|7300||" + Id(kNextIdStart)},
                {"SELECT l.Hide || DepositDue || OneTimeFee || Pets || Balance || AccountType || "
                 "Class || Reconciled || Multi || b.Hide || b.Status || ARM || CurrentPeriod || "
                 "w.Notes FROM Lease l, Account, Transactions, Building b, Mortgage, WOItem w",
                 "1300401123.45Property Owner7111Sold07keep"}};
    if (version == 5)
        return {{configuration, std::string(kCompanyName) + "|" + stamp + "|Lawn|" + counter},
                {"SELECT Severity || Exp1 || Exp4 || (SELECT Count(*) FROM Building) || (SELECT "
                 "TermType FROM Lease WHERE IdLease = 20001) FROM Analysis JOIN Incident",
                 "High143Week(s)"},
                {"SELECT InsNextDue || ',' || HOANextDue || ',' || DeprPeriod FROM Building "
                 "WHERE IdBuilding = 1001",
                 "6/1/2019,7/1/2019,27"}};
    return {
        {configuration, std::string(kCompanyName) + "|" + stamp + "|Landscape|" + counter},
        // Each property is a building and a unit of its own identifier; a
        // NULL text of the old property arrives as an empty text.
        {"SELECT Group_Concat(b.IdBuilding || Multi || b.Status || Address || GasAvaliable || "
         "DeprPeriod || Region || u.Status || DepositDamage || DepositClean || Ad) FROM Building "
         "b JOIN Unit u ON u.IdUnit = b.IdBuilding AND u.IdBuilding = b.IdBuilding",
         "10010Owned1 Elm Street127Rented500100Ad 1,10020Owned2 Elm Street127NorthRented500100Ad "
         "2,10030Owned3 Elm Street127NorthRented500100Ad 3"},
        // Every record that pointed at a property points at its building and unit.
        {"SELECT (SELECT Count(*) FROM Transactions WHERE IdBuilding = IdUnit AND IdBuilding > "
         "1000) || (SELECT Count(*) FROM OwnerLink WHERE IdBuilding > 1000) || (SELECT Count(*) "
         "FROM AutoEvent WHERE IdBuilding = IdUnit) || (SELECT Count(*) FROM WorkOrder WHERE "
         "IdUnit > 1000) || (SELECT IdUnit FROM Lease WHERE IdLease = 20005) || (SELECT SelUnit "
         "FROM Doc)",
         Id(Population{}.transactions) + "33310021002"},
        {"SELECT Exp1 || Exp2 || Exp3 || Exp4 || IdBuilding || Severity FROM Analysis JOIN "
         "Incident",
         "1002003004001001"
         "0 - Informational"},
        {"SELECT Group_Concat(AccountType || TaxIDFed) FROM Account",
         "Building Owner11-1111111,Building Manager22-2222222,Bank"},
        // Lease 1 keeps pets but took no deposit; 2 has no pets; 3 has pets.
        {"SELECT Group_Concat(DepositTotal || '/' || DepositDue || TermType || OneTimeFee || "
         "OneTimeDays || DailyFee || DailyDays || Hide || SubsidyType) FROM Lease WHERE "
         "IdLease <= 20003",
         "0/0Month(s)2552300,640/640Week(s)2552300,790/790Year(s)2552300"},
        {"SELECT DefaultMortgageAccount || (SELECT Notes FROM WOItem WHERE IdWOItem = 49001) || "
         "(SELECT Count(*) FROM RentLog WHERE AmountPaid IS NULL) FROM Configuration",
         "770"},
    };
}

// The tenants' details as contacts numbered in tenant order from the record
// counter; the mortgages' new columns from the old ones and the schedules.
void ExpectConvertedRecords(Installation& in) {
    const auto contact = [](int tenant) {
        return "SELECT Group_Concat((IdContact - " + Id(kNextIdStart) +
               ") || dbType || IconFlag || Description || '|' || Company || '|' || LastName || '|' "
               "|| FirstName || '|' || Address1 || Address2 || '|' || City || State || Zip || "
               "Phone || Mobile || FAX || Email || Web || '|' || Notes, ';') FROM Contact WHERE "
               "IdRelated = " +
               Id(tenant);
    };
    in.Expect({{contact(kFirstTenant),
                "050Mother||Mom1||1 Home Rd|DaytonOH45402555-11|;150Previous Address||Landlord1||"
                "1 Old St|XeniaOH45385555-21|Paid late twice;250Employer|Acme1|||1 Works "
                "Ave|KetteringOH45429555-31|Welder"},
               {contact(kFirstTenant + kTenants - 1),
                Id(3 * kTenants - 3) + "50||||||;" + Id(3 * kTenants - 2) +
                    "50Previous Address||||||;" + Id(3 * kTenants - 1) + "50Employer||||||"},
               {"SELECT Count(*) FROM Contact", Id(3 * kTenants)}});
    for (int k = 1; k <= Population{}.mortgages; ++k) {
        SCOPED_TRACE(k);
        const std::string row = " FROM Mortgage WHERE IdMortgage = " + Id(kFirstMortgage + k - 1);
        const double rate = 6.5 + 0.25 * k;
        const char* const rateFractions[] = {"", "0.0675", "0.07", "0.0725"}; // shortest texts
        const int paid = 2 + k % 3;
        loan::cShared_Amort schedule;
        ASSERT_TRUE(schedule.SetDataString(
            ScheduleText(100000 + 1000 * k, rate, Population{}.periods, paid, 250)));
        const bool balloon = k % 2 == 0, intOnly = k % 3 == 0;
        in.Expect(
            {{"SELECT AccountNumber || '|' || NextEscrowReview || EscrowReviewInterval || "
              "EscrowReviewPeriods || '|' || OrigPV || '|' || OrigPer || '|' || OrigRate || '|' || "
              "OrigPmt || '|' || IntOnly || BalloonMtg || PPM || ARM || '|' || BalloonPer || '|' "
              "|| (BalloonPmt + PPMPct + PPMTrigger + PPMPer + xPriAll + ARMLockedPer + ARMAdjPer "
              "+ ARMLifeCap + ARMPerCap) || '|' || CurrentPeriod || '|' || FirstDue" +
                  row,
              "Loan-" + Id(k) + "|31|" + Id(100000 + 1000 * k) + ".0|360.0|" + rateFractions[k] +
                  "|650.25|" + Id(intOnly) + Id(balloon) + Id(balloon) + "1|" +
                  (balloon ? "60" : "0") + "|0.0|" + Id(paid + 1) + "|1/1/2020"},
             {"SELECT xPri || '|' || xRate" + row, schedule.xPri() + "|" + schedule.xRate()}});
        EXPECT_EQ(in.Real("SELECT CurrentPmt" + row), schedule.CurrentPmt().ToDouble());
        EXPECT_EQ(in.Real("SELECT CurrentPPmt" + row), schedule.CurrentPPmt().ToDouble());
        EXPECT_EQ(in.Real("SELECT CurrentIPmt" + row), schedule.CurrentIPmt().ToDouble());
    }
}

// The real operations, recorded; `failing` reports failure after its work (or
// throws, and the restore then fails too), so the backup has work to undo.
class Steps final : public upgrade::UpgradeSteps {
    using S = upgrade::UpgradeSteps;

public:
    Steps(Installation& in, std::string failing = "", bool throws = false)
        : real(in.settings, in.connection, in.ui, in.clock), in_(in), failing_(std::move(failing)),
          throws_(throws) {}
    upgrade::DatabaseUpgradeSteps real;
    std::vector<std::string> calls;

    bool Claim() override { return Do("claim", &S::Claim); }
    int16_t ReadVersion() override { return Do("version", &S::ReadVersion); }
    bool LoadTemplate() override { return Do("template", &S::LoadTemplate); }
    std::string NewArchiveName() override { return Do("archive", &S::NewArchiveName); }
    bool AddToArchive(const std::string& archive, const std::string& file) override {
        return Do(file.ends_with("Version") ? "add Version" : "add database", &S::AddToArchive,
                  archive, file);
    }
    bool MakeWorkingCopy() override { return Do("copy", &S::MakeWorkingCopy); }
    bool OpenDatabase() override { return Do("open", &S::OpenDatabase); }
    bool CleanNullFields() override { return Do("nulls", &S::CleanNullFields); }
    bool DeleteIndexes() override { return Do("drop", &S::DeleteIndexes); }
    bool ReadSchema() override { return Do("schema", &S::ReadSchema); }
    bool CompareSchema() override { return Do("compare", &S::CompareSchema); }
    bool AddFields() override { return Do("add", &S::AddFields); }
    bool UpdateFields() override { return Do("update", &S::UpdateFields); }
    bool RunMigrations(int16_t v) override { return Do("migrations", &S::RunMigrations, v); }
    bool DeleteObsoleteFields() override { return Do("obsolete fields", &S::DeleteObsoleteFields); }
    bool DeleteObsoleteTables() override { return Do("obsolete tables", &S::DeleteObsoleteTables); }
    bool AddIndexes() override { return Do("indexes", &S::AddIndexes); }
    bool WriteConfiguration(int16_t v) override {
        if (failing_ == "damaged copy") {
            // A row that breaks its table's rule: the converted copy's check finds it.
            in_.connection.Execute("PRAGMA ignore_check_constraints = 1");
            in_.connection.Execute("CREATE TABLE Odd (Rent DOUBLE CHECK (Rent >= 0))");
            in_.connection.Execute("INSERT INTO Odd VALUES (-1)");
        }
        return Do("configuration", &S::WriteConfiguration, v);
    }
    // Closed, but the close may report an error.
    void CloseDatabase() override { Do("close", &S::CloseDatabase); }
    bool InstallUpgraded() override { return Do("install", &S::InstallUpgraded); }
    bool Restore() override { return Do("restore", &S::Restore) && !throws_; }

private:
    template <typename R, typename... A, typename... P>
    R Do(const std::string& step, R (S::*op)(A...), P&&... args) {
        calls.push_back(step);
        if constexpr (std::is_void_v<R>) {
            (real.*op)(std::forward<P>(args)...);
            if (step == failing_)
                throw std::runtime_error("disk on fire");
        } else {
            R result = (real.*op)(std::forward<P>(args)...);
            if (step == failing_ && throws_)
                throw std::runtime_error("disk on fire");
            return step == failing_ ? R{} : result;
        }
    }
    Installation& in_;
    std::string failing_;
    bool throws_;
};

const std::vector<std::string> kAllCalls = {
    "claim",           "archive",         "version", "template",      "copy",
    "add database",    "add Version",     "open",    "nulls",         "drop",
    "schema",          "compare",         "add",     "update",        "migrations",
    "obsolete fields", "obsolete tables", "indexes", "configuration", "close",
    "install"};

} // namespace

class UpgradeFromVersion : public ::testing::TestWithParam<int> {};

TEST_P(UpgradeFromVersion, EndsWithTheTemplatesStructureAndKeepsTheOldDatabaseAside) {
    Installation in(GetParam());
    const std::string before = in.Bytes("Ketrova.mdb"), version = in.Bytes("Version");
    std::set<std::string> oldColumns;
    for (const auto& table : db::ListTables(in.Open())) {
        for (const auto& col : db::ListColumns(in.Open(), table))
            oldColumns.insert(util::UCase(table + "." + col.Name));
    }
    Steps steps(in);
    ASSERT_TRUE(in.Run(&steps)) << in.Log();
    EXPECT_EQ(startup::ReadDBVersion(in.settings), 9);
    EXPECT_EQ(steps.calls, kAllCalls);

    // Each step shows its status, moves the bar, then logs its name (none for
    // the first; two the suite has always worded apart).
    const std::vector<std::string> statuses = {
        "Reading version file",     "Loading template",        "Backing up database",
        "Opening database",         "Cleaning up NULL fields", "Deleting indexes",
        "Reading DB Schema",        "Comparing structure",     "Adding new fields",
        "Updating fields",          "Upgrade scripts",         "Deleting obsolete fields",
        "Deleting obsolete tables", "Adding indexes",          "Updating configuration",
        "Closing database",         "Writing version file"};
    const int values[] = {0, 5, 10, 15, 20, 25, 30, 35, 40, 50, 55, 70, 75, 80, 85, 90, 95};
    std::map<std::string, std::string> logAs = {{"Reading DB Schema", "Reading DB schema"},
                                                {"Upgrade scripts", "Starting SQL updates"}};
    std::vector<std::string> progress, stepLog, logged;
    for (size_t i = 0; i < statuses.size(); ++i) {
        progress.insert(progress.end(), {statuses[i] + " ...", std::to_string(values[i])});
        if (i > 0)
            stepLog.push_back("{-} " +
                              (logAs.contains(statuses[i]) ? logAs[statuses[i]] : statuses[i]));
    }
    progress.insert(progress.end(), {"100", "Database upgraded successfully."});
    EXPECT_EQ(in.progress.events, progress);
    EXPECT_EQ(in.progress.busyChanges, (std::vector<bool>{true, false}));
    std::istringstream lines(in.Log());
    for (std::string line; std::getline(lines, line);)
        if (line.starts_with("{-}"))
            logged.push_back(line.substr(0, line.size() - 1));
    EXPECT_EQ(logged, stepLog);

    // Every table, column (of its type and size) and index of the template, no other.
    startup::RunSettings quiet;
    db::SchemaLists lists;
    ASSERT_TRUE(db::LoadTemplateFile(quiet, lists, in.settings.AppPath + "Ketrova.ddf", 0));
    std::set<std::string> wantedIdx, liveIdx;
    for (const auto& f : lists.Template) {
        if (f.Indexed)
            wantedIdx.insert(util::UCase(f.TableName + "." + f.FieldName));
    }
    db::Connection& c = in.Open();
    for (const auto& table : db::ListTables(c)) {
        // The only NULLs left for a report to find are the user's own dates
        // (a date has no neutral value): none of the upgrade's making.
        for (const auto& col : db::ListColumns(c, table)) {
            if (db::NeutralValue(col.DataType) ||
                !oldColumns.contains(util::UCase(table + "." + col.Name))) {
                EXPECT_EQ(in.Text("SELECT count(*) FROM " + table + " WHERE \"" + col.Name +
                                  "\" IS NULL"),
                          "0")
                    << table << "." << col.Name;
            }
        }
        for (const auto& idx : db::ListIndexes(c, table)) {
            if (!idx.EngineOwned)
                liveIdx.insert(util::UCase(table + "." + idx.Name));
        }
    }
    EXPECT_EQ(liveIdx, wantedIdx);
    ASSERT_TRUE(db::ReadDBSchema(quiet, c, lists) && db::CompareSchema(quiet, lists));
    EXPECT_EQ(lists.Database.size(), lists.Template.size());
    for (const auto& f : lists.Template)
        EXPECT_EQ(f.Action, db::ActionNone) << f.TableName << "." << f.FieldName;

    EXPECT_EQ(upgrade::RecalculateMortgages(c), 0) << "converted mortgages are left as they are";
    // A consistent old database takes every statement of its version.
    EXPECT_EQ(steps.real.FailedStatements(), 0) << in.Log();
    in.Expect(ExpectedData(GetParam()));
    in.Expect({{"SELECT LastName FROM Tenant WHERE IdTenant = " + Id(kFirstTenant), "Tenant1"}});
    if (GetParam() <= 5)
        ExpectConvertedRecords(in);

    // The old database is kept byte for byte with its version file; nothing
    // else of the run is left.
    const std::string log = in.Log();
    EXPECT_TRUE(
        log.starts_with("{ } UpgradeDB started\r\n{ } DB File: " + in.settings.DBFile + "\r\n"));
    const auto copies = safety::ListSafetyCopies(in.settings.DBFile);
    ASSERT_EQ(copies.size(), 1u);
    EXPECT_EQ(copies[0].path, in.report.SafetyCopy);
    EXPECT_TRUE(ReadFile(copies[0].path) == before);
    EXPECT_EQ(ReadFile(copies[0].versionPath), version);
    EXPECT_TRUE(log.ends_with("{ } Safety copy: " + copies[0].path + "\r\n"));
    EXPECT_TRUE(fs::is_empty(in.root / "tmp"));
    std::set<std::string> beside;
    for (const auto& e : fs::directory_iterator(in.settings.DBPath))
        beside.insert(e.path().filename().string());
    EXPECT_EQ(beside, (std::set<std::string>{"Ketrova.mdb", "Version", "SafetyCopies",
                                             ".Ketrova.mdb.lock"}));
}

// 0 still gets both groups and keeps its company data and record counter; 9
// is no newer than this program and gets the structure steps.
INSTANTIATE_TEST_SUITE_P(OlderVersions, UpgradeFromVersion, ::testing::Values(0, 4, 5, 6, 7, 8, 9),
                         [](const auto& info) { return "v" + Id(info.param); });

// No Building table, old columns that never existed, schedules empty or
// unreadable: each reads as empty, and everything else comes across.
TEST(UpgradeRun, AnOldDatabaseShortOfPiecesStillComesAcross) {
    Installation in(4);
    for (const char* damage :
         {"DROP TABLE Building", "ALTER TABLE Tenant DROP COLUMN PrevVDiscrepency",
          "ALTER TABLE Mortgage DROP COLUMN InterestOnly",
          "UPDATE Mortgage SET Amortization = 'garbage' WHERE IdMortgage = 30001",
          "UPDATE Mortgage SET Amortization = '' WHERE IdMortgage = 30002"})
        in.Open().Execute(damage);
    ASSERT_TRUE(in.Run()) << in.Log();
    EXPECT_EQ(in.report.FailedStatements, 0) << in.Log();
    in.Expect(ExpectedData(4));
    in.Expect({
        {"SELECT Group_Concat(IdBuilding || ' ' || DeprPeriod || ' ' || Status) FROM Building",
         "1001 27 Owned,1002 27 Owned,1003 27 Owned"},
        {"SELECT Group_Concat(IdMortgage || IntOnly || ARM || OrigPer || CurrentPmt || xPri || "
         "FirstDue) FROM Mortgage WHERE IdMortgage < 30003",
         "3000101360.00,3000201360.00"},
    });
}

// Every step fails by reporting failure and by throwing: the rest is skipped
// up to closing, the backup put back once taken, and the database, its
// version file (or its absence) and the folders are as they were.
TEST(UpgradeSequence, AFailingStepSkipsToClosingAndLeavesTheDatabaseAsItWas) {
    struct Case {
        int version;
        std::string failing;
        bool throws;
        const char* damage = nullptr; // made before the run
        const char* logged = "";
    };
    std::vector<Case> cases = {
        // Data not yet moved out of the old columns is never dropped: a
        // mortgage the engine refuses to save, a property the copy refuses.
        {4, "", false,
         "CREATE TRIGGER Broken BEFORE UPDATE ON Mortgage WHEN OLD.IdMortgage = 30002 BEGIN "
         "SELECT RAISE(ABORT, 'disk full'); END",
         "{*} SQL updates: mortgage recalculation broke off: "},
        {4, "", false, "ALTER TABLE Property DROP COLUMN GasAvaliable",
         "{*} SQL updates: 3 properties were not copied"},
        {8, "migrations", false},
        {8, "install", true},
        {4, "damaged copy", false},
        {0, "install", false},
        {0, "open", true}};
    for (auto step = kAllCalls.begin() + 1; step != kAllCalls.end(); ++step) {
        if (*step != "version" && *step != "add Version")
            cases.insert(cases.end(), {{4, *step, true}, {4, *step, *step == "close"}});
    }
    const auto backedUp = std::find(kAllCalls.begin(), kAllCalls.end(), "add Version");
    for (const Case& c : cases) {
        SCOPED_TRACE(Id(c.version) + " " + c.failing + (c.throws ? " (throws)" : ""));
        Installation in(c.version);
        if (c.damage)
            in.Open().Execute(c.damage);
        const std::string db = in.Bytes("Ketrova.mdb"), versionFile = in.Bytes("Version");
        Steps steps(in, c.failing, c.throws);
        EXPECT_FALSE(in.Run(&steps));

        const auto failing =
            std::find(kAllCalls.begin(), kAllCalls.end(), c.damage ? "migrations" : c.failing);
        const bool restores = failing > backedUp;
        std::vector<std::string> expected(
            kAllCalls.begin(), failing == kAllCalls.end() ? kAllCalls.end() : failing + 1);
        const std::string step = failing == kAllCalls.end() ? "" : *failing;
        if (step == "archive")
            expected.insert(expected.end(), {"version", "template"});
        if (step != "install" && step != "close" && !step.empty())
            expected.push_back("close");
        if (restores)
            expected.push_back("restore");
        EXPECT_EQ(steps.calls, expected);
        EXPECT_EQ(in.report.SafetyCopy, "") << "the database itself is as it was";

        // The restore shows its own step before the outcome.
        const auto& events = in.progress.events;
        const std::vector<std::string> end(events.end() - 4, events.end());
        EXPECT_EQ(end[0] == "Restoring database ..." && end[1] == "95", restores);
        EXPECT_EQ(end[2] + end[3], "100Database upgrade failed.");
        EXPECT_EQ(in.progress.busyChanges, (std::vector<bool>{true, false}));
        const std::string log = in.Log();
        EXPECT_EQ(log.find("{-} Restoring database\r\n") != std::string::npos, restores);
        EXPECT_EQ(log.find(": disk on fire\r\n") != std::string::npos, c.throws);
        EXPECT_NE(log.find(c.logged), std::string::npos) << log;

        EXPECT_TRUE(in.Bytes("Ketrova.mdb") == db) << "database differs after the restore";
        EXPECT_EQ(in.Bytes("Version"), versionFile);
        EXPECT_EQ(fs::exists(in.settings.DBPath + "Version"), c.version > 0);
        EXPECT_TRUE(fs::is_empty(in.root / "tmp"));
        EXPECT_FALSE(fs::exists(steps.real.WorkingCopy()));
        EXPECT_TRUE(safety::ListSafetyCopies(in.settings.DBFile).empty());
        EXPECT_FALSE(safety::FindInterrupted(in.settings.DBFile));
    }
}
