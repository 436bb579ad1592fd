#include "maint_fixture.h"

#include "maintenance/diagnostics.h"
#include "startup/registry.h"

#include <filesystem>
#include <fstream>
#include <map>

namespace {

namespace fs = std::filesystem;
using testsupport::ReadFile;
using testsupport::WriteFile;

class FakeProbe : public maintenance::DiagnosticsProbe {
public:
    FakeProbe() {
        volume.ok = true;
        volume.freeBytes = 123456789012ull;
        volume.mountPoint = "/srv/";
        info.VersionName = "Unable To Get System Informations";
        info.PlatformId = -1;
        info.PlatformType = "Unknown Platform Type";
        info.MajorVersion = 6;
        info.MinorVersion = 1;
        info.BuildNumber = 76;
        info.ServicePack = "n";
        info.ExtendedInfo = "Debian GNU/Linux 12 (bookworm)";
        info.LanguageEnglish = "English";
        info.LanguageNative = "English";
        info.ProductFamily = "Unknown Product Family";
        info.ShortDateFormat = "MM/dd/yy";
        info.ScreenWidth = 1280;
        info.ScreenHeight = 1024;
        facts = {"0.1",
                 "Debian GNU/Linux 12 (bookworm)",
                 "Linux 6.1.0-18-amd64 (x86_64)",
                 "XFCE (x11)",
                 "6.4.2",
                 "3.40.1",
                 "",
                 {true, 5000000000ull, 0, "/srv/", "nfs4", true}};
    }
    platform::VolumeSpace FreeSpace(const std::string& folder) override {
        asked.push_back(folder);
        return volume;
    }
    maintenance::SystemInfo System(const platform::RegistryStore&) override { return info; }
    maintenance::LinuxFacts Linux(const std::string& databaseFolder) override {
        maintenance::LinuxFacts answer = facts;
        answer.DatabaseFolder = databaseFolder;
        return answer;
    }
    std::vector<platform::TopWindow> Windows() override { return windows; }
    std::optional<platform::FileFacts> FindFile(const std::string& path) override {
        auto it = files.find(path);
        if (it == files.end()) {
            return std::nullopt;
        }
        return it->second;
    }
    std::string SpecialFolder(int) override { return ""; }
    void OpenReport(const std::string& path) override { opened.push_back(path); }

    platform::VolumeSpace volume;
    maintenance::SystemInfo info;
    maintenance::LinuxFacts facts;
    std::vector<platform::TopWindow> windows;
    std::map<std::string, platform::FileFacts> files;
    std::vector<std::string> asked;
    std::vector<std::string> opened;
};

class ScriptedUi : public util::UiServices {
public:
    util::Answer MessageBox(const std::string& text, util::Buttons buttons, util::Icon icon,
                            const std::string& title) override {
        boxes.push_back({text, buttons, icon, title});
        return buttons == util::Buttons::OKCancel ? answer : util::Answer::OK;
    }
    void SetBusy(bool on) override { busy.push_back(on); }

    struct Box {
        std::string text;
        util::Buttons buttons;
        util::Icon icon;
        std::string title;
    };
    util::Answer answer = util::Answer::OK;
    std::vector<Box> boxes;
    std::vector<bool> busy;
};

// A program folder with the registry pointing at a database folder beside it.
class DiagnosticsTest : public ::testing::Test {
protected:
    void SetUp() override {
        fs::create_directory(dir / "app");
        fs::create_directory(dir / "db");
        s.AppPath = dir.str() + "app/";
        s.HelpFile = s.AppPath + "Ketrova.chm";
        s.RegistryFile = (dir / "registry.reg").string();
        s.UserSettingsFile = (dir / "settings.ini").string();
        dbFolder = dir.str() + "db/";
        dbFile = dbFolder + "Ketrova.mdb";
        startup::RegWriteString(startup::MachineRegistry(s), startup::DatabasesKey, "Default",
                                dbFolder);
    }

    // The suite's tables as far as the report looks at them.
    void MakeDatabase(const std::string& version = "9\r\n") {
        std::string error;
        ASSERT_TRUE(db::CreateDatabaseFile(dbFile, error)) << error;
        WriteFile(dbFolder + "Version", version);
        db::Connection c;
        c.Open(dbFile);
        for (const char* sql : {
                 "CREATE TABLE Building (IdBuilding INTEGER, Name VARCHAR(50))",
                 "CREATE TABLE Tenant (IdTenant INTEGER, Name VARCHAR(50))",
                 "CREATE TABLE Lease (IdLease INTEGER, IdTenant INTEGER, Rent CURRENCY)",
                 "CREATE TABLE Mortgage (IdMortgage INTEGER, Lender VARCHAR(50))",
                 "CREATE TABLE RentLog (IdRentLog INTEGER, IdLease INTEGER, Paid CURRENCY, "
                 "Memo VARCHAR(50))",
                 "CREATE TABLE MortgageLog (IdMortgageLog INTEGER, IdMortgage INTEGER, "
                 "Paid CURRENCY)",
                 "CREATE TABLE FileObject (IdFileObject INTEGER, dbType INTEGER, IdOwner INTEGER)",
                 "CREATE TABLE Configuration (CompanyName VARCHAR(50), NextId INTEGER, "
                 "EnableAdvanced BOOLEAN NOT NULL DEFAULT 0, ShowAllAccounts BOOLEAN NOT NULL "
                 "DEFAULT 0, KeepAlerts INTEGER, ReceiptTemplate VARCHAR(255), "
                 "RptIncludeGraphic BOOLEAN NOT NULL DEFAULT 0, RptGraphicPath VARCHAR(255), "
                 "LastExport DATETIME)",
                 "INSERT INTO Building VALUES (1, 'Elm Court')",
                 "INSERT INTO Tenant VALUES (7, 'Ada')",
                 "INSERT INTO Lease VALUES (1, 7, 650), (2, 7, 700)",
                 "INSERT INTO Mortgage VALUES (3, 'First Bank')",
                 "INSERT INTO RentLog VALUES (1, 1, 650, 'Jan'), (2, 2, 700, NULL), "
                 "(3, 9, 650, 'stray'), (4, 1, NULL, 'Feb')",
                 "INSERT INTO MortgageLog VALUES (1, 3, 400)",
                 "INSERT INTO FileObject VALUES (1, 28, 1), (2, 4, 1), (3, 5, 8)",
                 "INSERT INTO Configuration VALUES ('Harbour Lets', 5012, 1, 0, 30, "
                 "'receipt.rtf', 0, NULL, NULL)",
                 "INSERT INTO Configuration VALUES ('Second', 1, 0, 0, 0, '', 0, '', NULL)",
             }) {
            c.Execute(sql);
        }
    }

    // BaR.cfg as the backup program writes it: the folder in 255 bytes, the
    // keep and backup intervals and periods, the all-files flag, the last date.
    void WriteBackupSettings(std::string folder, int32_t keepInterval, int32_t keepPeriods,
                             int32_t backupInterval, int32_t backupPeriods, bool allFiles,
                             std::string lastBackup) {
        std::string bytes = folder;
        bytes.resize(255, ' ');
        for (int32_t n : {keepInterval, keepPeriods, backupInterval, backupPeriods}) {
            for (int i = 0; i < 4; ++i) {
                bytes.push_back(static_cast<char>((static_cast<uint32_t>(n) >> (8 * i)) & 0xFF));
            }
        }
        bytes += allFiles ? std::string("\xff\xff", 2) : std::string(2, '\0');
        lastBackup.resize(10, ' ');
        WriteFile(dbFolder + "BaR.cfg", bytes + lastBackup);
    }

    std::vector<std::string> Report() {
        return mainttest::SplitLines(ReadFile(s.AppPath + "Ostrand.log"));
    }

    void Run() { maintenance::RunDiagnostics(s, connection, ui, clock, probe); }

    static bool Has(const std::vector<std::string>& lines, const std::string& line) {
        return std::find(lines.begin(), lines.end(), line) != lines.end();
    }

    testsupport::TempDir dir;
    startup::RunSettings s;
    std::string dbFolder;
    std::string dbFile;
    db::Connection connection;
    ScriptedUi ui;
    FakeProbe probe;
    platform::FixedClock clock{{2026, 7, 1, 9, 5, 3}};
};

// The whole report of a small database, line by line, with the temporary
// folder's name replaced by <DIR>.
TEST_F(DiagnosticsTest, GoldenReport) {
    MakeDatabase();
    s.LoadFile = "lease.rtf";
    s.AppStart = "rentora.exe /x";
    probe.files[s.AppPath + "ketrova.ddf"] = {
        false, false, false, false, true, {2026, 6, 30, 17, 45, 2}, 51234};
    probe.files[s.AppPath + "startup.bat"] = {
        true, false, false, false, false, {2025, 12, 24, 8, 0, 0}, 0};
    probe.windows = {{0x04A00007, "Rentora - Elm Court"},
                     {-2147000000, "  Numbrik"},
                     {0x00200001, ""},
                     {0x01200003, "Ostrand"}};
    startup::RegWriteString(startup::MachineRegistry(s), "SOFTWARE\\Ketrova\\Rentora\\SortOrder",
                            "Units", "Name");
    WriteBackupSettings("/srv/backup", 2, 30, 3, 7, false, "06/30/2026");

    Run();

    const std::string golden = ReadFile(std::string(OSTRAND_SOURCE_DIR) +
                                        "/tests/maintenance/data/diagnostics_report.golden");
    ASSERT_FALSE(golden.empty());
    std::vector<std::string> expected = mainttest::SplitLines(golden);
    std::vector<std::string> actual = Report();
    const std::string root = dir.path().string();
    for (std::string& line : actual) {
        for (size_t at = line.find(root); at != std::string::npos; at = line.find(root)) {
            line.replace(at, root.size(), "<DIR>");
        }
        // The golden file holds the window titles' NUL padding as "\0".
        for (size_t at = line.find('\0'); at != std::string::npos; at = line.find('\0')) {
            line.replace(at, line.size() - at, "\\0*" + std::to_string(line.size() - at));
        }
    }
    for (size_t i = 0; i < std::max(expected.size(), actual.size()); ++i) {
        ASSERT_LT(i, actual.size()) << "report ends early; expected: " << expected[i];
        ASSERT_LT(i, expected.size()) << "report goes on: " << actual[i];
        EXPECT_EQ(actual[i], expected[i]) << "line " << i + 1;
    }

    // The repairs were made and the five keys are gone.
    db::Connection c;
    c.Open(dbFile);
    EXPECT_EQ(c.Scalar("SELECT count(*) FROM RentLog").AsInt(), 3);
    EXPECT_EQ(c.Scalar("SELECT count(*) FROM RentLog WHERE Paid IS NULL OR Memo IS NULL").AsInt(),
              0);
    EXPECT_FALSE(startup::MachineRegistry(s).KeyExists(
        "HKEY_LOCAL_MACHINE\\SOFTWARE\\Ketrova\\Rentora\\SortOrder"));
    EXPECT_EQ(s.LogFileNo, 0);
    EXPECT_FALSE(connection.IsOpen());
    EXPECT_EQ(probe.opened, std::vector<std::string>{s.AppPath + "Ostrand.log"});
    EXPECT_EQ(ui.busy, (std::vector<bool>{true, false}));
    EXPECT_TRUE(ui.boxes.empty());
}

TEST_F(DiagnosticsTest, LowDiskSpaceAsksFirstAndCancelWritesNothing) {
    MakeDatabase();
    WriteFile(s.AppPath + "Ostrand.log", "previous run\r\n");

    probe.volume.freeBytes = 1000000; // exactly the limit: no question
    Run();
    EXPECT_TRUE(ui.boxes.empty());
    EXPECT_TRUE(Has(Report(), "{ } Free disk space           : 1,000,000"));

    probe.volume.freeBytes = 999999;
    ui.answer = util::Answer::OK;
    Run();
    ASSERT_EQ(ui.boxes.size(), 1u);
    EXPECT_EQ(ui.boxes[0].title, "Ketrova Troubleshooter");
    EXPECT_EQ(ui.boxes[0].buttons, util::Buttons::OKCancel);
    EXPECT_EQ(ui.boxes[0].text,
              "It appears you are running low on disk space on the /srv/ drive. If you are sure "
              "that there\r\nis more than 1 meg of free space press OK, otherwise press Cancel "
              "and correct the problem");
    EXPECT_TRUE(Has(Report(), "{ } Free disk space           : 999,999"));

    WriteFile(s.AppPath + "Ostrand.log", "previous run\r\n");
    startup::RegWriteString(startup::MachineRegistry(s), "SOFTWARE\\Ketrova\\Rentora\\ViewInfo",
                            "Units", "x");
    ui.answer = util::Answer::Cancel;
    ui.busy.clear();
    probe.opened.clear();
    Run();
    EXPECT_EQ(ReadFile(s.AppPath + "Ostrand.log"), "previous run\r\n");
    EXPECT_TRUE(ui.busy.empty());
    EXPECT_TRUE(probe.opened.empty());
    EXPECT_TRUE(startup::MachineRegistry(s).KeyExists(
        "HKEY_LOCAL_MACHINE\\SOFTWARE\\Ketrova\\Rentora\\ViewInfo"));

    // A failed query reads as no space at all.
    probe.volume = {};
    ui.answer = util::Answer::OK;
    Run();
    EXPECT_EQ(ui.boxes.back().text.rfind(
                  "It appears you are running low on disk space on the / drive.", 0),
              0u);
    EXPECT_TRUE(Has(Report(), "{ } Free disk space           : "));
}

TEST_F(DiagnosticsTest, AReportThatCannotBeMadeSaysSoAndStops) {
    MakeDatabase();
    s.AppPath = dir.str() + "no-such-folder/";
    Run();
    ASSERT_EQ(ui.boxes.size(), 1u);
    EXPECT_EQ(ui.boxes[0].text, "There was an error creating the log file. Please contact "
                                "support for assistance.");
    EXPECT_EQ(ui.boxes[0].icon, util::Icon::Critical);
    EXPECT_EQ(ui.boxes[0].title, "Ketrova Troubleshooter");
    EXPECT_EQ(ui.busy, (std::vector<bool>{true, false}));
    EXPECT_TRUE(probe.opened.empty());
    EXPECT_EQ(s.LogFileNo, 0);
}

TEST_F(DiagnosticsTest, AMissingDatabaseSkipsToTheRegistry) {
    Run();
    const auto lines = Report();
    EXPECT_TRUE(Has(lines, "{*} Database check result     : Database missing"));
    EXPECT_FALSE(Has(lines, "----------------------------- Opening Database "
                            "-----------------------------"));
    const auto registry = std::find(lines.begin(), lines.end(),
                                    "----------------------------- Clean Up Registry "
                                    "---------------------------");
    ASSERT_NE(registry, lines.end());
    EXPECT_EQ(*(registry - 1), "");
    EXPECT_EQ(*(registry - 2), "{*} Database check result     : Database missing");
    EXPECT_EQ(lines.back().rfind("{ } Testing completed at 09:05:03", 0), 0u);
}

TEST_F(DiagnosticsTest, AnOutOfDateDatabaseIsStillExaminedInFull) {
    MakeDatabase("5\r\n");
    Run();
    const auto lines = Report();
    EXPECT_TRUE(Has(lines, "{*} Database check result     : Upgrade required"));
    EXPECT_TRUE(Has(lines, "{ } Database opened successfully"));
    EXPECT_TRUE(Has(lines, "{ } Database Table Name  : RentLog {4 fields, 4 records} "));
    EXPECT_TRUE(Has(lines, "{ } 2 configuration records found"));
    EXPECT_TRUE(Has(lines, "{*} 1 stray Rent Log entries removed"));
    EXPECT_TRUE(Has(lines, "{ } Database closed successfully"));
}

TEST_F(DiagnosticsTest, TenStrayRentLogRowsAreDeletedOneByOne) {
    MakeDatabase();
    {
        db::Connection c;
        c.Open(dbFile);
        c.Execute("DELETE FROM RentLog");
        c.Execute("WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 25) "
                  "INSERT INTO RentLog SELECT i, CASE WHEN i % 5 < 2 THEN 40 + i ELSE 1 END, "
                  "100, 'x' FROM n");
        c.Execute("DELETE FROM MortgageLog");
        c.Execute("INSERT INTO MortgageLog VALUES (5, 99, 1), (6, 3, 1)");
    }
    Run();
    const auto lines = Report();
    const auto check =
        std::find(lines.begin(), lines.end(), "{ } Checking for stray Rent Log entries");
    ASSERT_NE(check, lines.end());
    EXPECT_EQ(*(check + 1), "{*} 10 stray Rent Log entries removed");
    EXPECT_EQ(*(check + 2), "{ } Checking for stray Mortgage Log entries");
    EXPECT_EQ(*(check + 3), "{*} 1 stray Mortgage Log entries removed");

    db::Connection c;
    c.Open(dbFile);
    EXPECT_EQ(c.Scalar("SELECT count(*) FROM RentLog").AsInt(), 15);
    EXPECT_EQ(c.Scalar("SELECT count(*) FROM RentLog WHERE IdLease <> 1").AsInt(), 0);
    EXPECT_EQ(c.Scalar("SELECT group_concat(IdMortgageLog) FROM MortgageLog").AsText(), "6");
}

TEST_F(DiagnosticsTest, ADamagedDatabaseIsReportedToTheEnd) {
    WriteFile(dbFile, std::string(4096, '\x7f'));
    WriteFile(dbFolder + "Version", "9\r\n");
    Run();
    const auto lines = Report();
    EXPECT_TRUE(Has(lines, "{*} Database open failed"));
    EXPECT_FALSE(Has(lines, "{ } Database closed successfully"));
    EXPECT_TRUE(Has(lines, "{ } Entries Removed"));
    EXPECT_EQ(lines[lines.size() - 2], std::string(75, '-'));
}

TEST_F(DiagnosticsTest, MissingTablesAreReportedAndTheRunGoesOn) {
    std::string error;
    ASSERT_TRUE(db::CreateDatabaseFile(dbFile, error)) << error;
    WriteFile(dbFolder + "Version", "9\r\n");
    Run();
    const auto lines = Report();
    EXPECT_TRUE(Has(lines, "{*} No configuration records found"));
    EXPECT_TRUE(Has(lines, "{ } No FileObjects to check"));
    EXPECT_TRUE(Has(lines, "{ } Database closed successfully"));
    // A statement that cannot be opened counts no rows, so there is nothing to remove.
    EXPECT_TRUE(Has(lines, "{ } no stray Rent Log entries found"));
    EXPECT_TRUE(Has(lines, "{ } no stray Mortgage Log entries found"));
    // Without BaR.cfg the backup lines show the defaults in the record's fixed widths.
    std::string folder = s.AppPath + "Backup";
    folder.resize(255, ' ');
    EXPECT_TRUE(Has(lines, "{ } Backup Path           : " + folder));
    EXPECT_TRUE(Has(lines, "{ } Last Backup Date      : " + std::string(10, ' ')));
}

// Damage SQLite finds in a file that still opens: an index that no longer
// matches its table, and rows whose parent row is gone.
TEST_F(DiagnosticsTest, TheIntegrityChecksReportDamageBeforeAnyRepair) {
    std::string error;
    ASSERT_TRUE(db::CreateDatabaseFile(dbFile, error)) << error;
    {
        db::Connection c;
        c.Open(dbFile);
        c.Execute("CREATE TABLE Lease (IdLease INTEGER PRIMARY KEY)");
        c.Execute("CREATE TABLE RentLog (IdRentLog INTEGER, IdLease INTEGER REFERENCES Lease)");
        c.Execute("CREATE INDEX ixRent ON RentLog (IdRentLog)");
        c.Execute("INSERT INTO RentLog VALUES (1, 7), (2, 8)");
        // Point the index at another column behind SQLite's back.
        c.Execute("PRAGMA writable_schema = ON");
        c.Execute("UPDATE sqlite_master SET sql = 'CREATE INDEX ixRent ON RentLog (IdLease)' "
                  "WHERE name = 'ixRent'");
    }
    db::Connection c;
    c.Open(dbFile);
    const maintenance::IntegrityResult result = maintenance::CheckIntegrity(c);
    EXPECT_FALSE(result.Sound());
    EXPECT_FALSE(result.problems.empty());
    EXPECT_EQ(result.orphans,
              (std::vector<std::string>{"RentLog row 1 refers to a missing Lease",
                                        "RentLog row 2 refers to a missing Lease"}));
    const auto lines = maintenance::IntegrityLines(result);
    EXPECT_EQ(lines[0].rfind("{*} Integrity check           : ", 0), 0u) << lines[0];
    EXPECT_TRUE(Has(lines, "{*} Foreign key check         : 2 rows refer to missing rows"));
    EXPECT_TRUE(Has(lines, "{*}   RentLog row 2 refers to a missing Lease"));
    EXPECT_EQ(lines.back(), "{*} Salvage recommended       : run 'ostrand-cli salvage', or "
                            "choose \"Salvage a damaged database\" in the maintenance wizard, to "
                            "read every row that can still be read into a new database; the "
                            "damaged one is kept");
    c.Close();

    WriteFile(dbFolder + "Version", "9\r\n");
    Run();
    const auto report = Report();
    const auto check = std::find(report.begin(), report.end(), lines[0]);
    const auto tables = std::find(report.begin(), report.end(),
                                  "{ } Database Table Name  : Lease {1 fields, 0 records} ");
    ASSERT_NE(tables, report.end());
    EXPECT_LT(check, tables) << "checked after the repairs began";
}

TEST(WindowLines, TitledWindowsByHandleAsSignedNumbers) {
    const std::vector<platform::TopWindow> windows = {{500, "Five hundred"},
                                                      {-7, " Negative "},
                                                      {12, ""},
                                                      {500, "Second of 500"},
                                                      {3, std::string("\0hidden", 7)},
                                                      {-2147483647 - 1, "Lowest"}};
    const auto lines = maintenance::WindowLines(windows);
    ASSERT_EQ(lines.size(), 4u);
    auto pad = [](const std::string& title) {
        return title + std::string(250 - title.size(), '\0');
    };
    EXPECT_EQ(lines[0], "{ } hWnd = -2147483648        : " + pad("Lowest"));
    // Only blanks are trimmed: the one after the title stays before the NULs.
    EXPECT_EQ(lines[1], "{ } hWnd = -7                 : Negative " + std::string(240, '\0'));
    EXPECT_EQ(lines[2], "{ } hWnd = 500                : " + pad("Five hundred"));
    EXPECT_EQ(lines[3], "{ } hWnd = 500                : " + pad("Second of 500"));

    // Long titles are cut like the system's buffer, even inside a character.
    const std::string title = std::string(248, 'a') + "\xc3\xa9";
    const auto cut = maintenance::WindowLines({{1, title}});
    ASSERT_EQ(cut.size(), 1u);
    EXPECT_EQ(cut[0].substr(32), std::string(248, 'a') + std::string(2, '\0'));
    EXPECT_TRUE(maintenance::WindowLines({}).empty());
}

} // namespace
