#include "maint_fixture.h"

#include "maintenance/diagnostics.h"
#include "startup/registry.h"

#include <sqlite3.h>

#include <filesystem>
#include <map>

namespace {

namespace fs = std::filesystem;
using testsupport::ReadFile;
using testsupport::WriteFile;

class FakeProbe : public maintenance::DiagnosticsProbe {
public:
    platform::VolumeSpace FreeSpace(const std::string&) override { return volume; }
    maintenance::SystemInfo System(const platform::RegistryStore&) override { return info; }
    maintenance::LinuxFacts Linux(const std::string& databaseFolder) override {
        maintenance::LinuxFacts answer = facts;
        answer.DatabaseFolder = databaseFolder;
        return answer;
    }
    std::vector<platform::TopWindow> Windows() override { return windows; }
    std::optional<platform::FileFacts> FindFile(const std::string& path) override {
        const auto it = files.find(path);
        return it == files.end() ? std::nullopt : std::optional(it->second);
    }
    std::string SpecialFolder(int) override { return ""; }
    void OpenReport(const std::string& path) override { opened.push_back(path); }

    platform::VolumeSpace volume{true, 123456789012ull, 0, "/srv/", "", false};
    // clang-format off
    maintenance::SystemInfo info{"Unable To Get System Informations", -1, "Unknown Platform Type",
        6, 1, 76, "n", "Debian GNU/Linux 12 (bookworm)", "English", "English",
        "Unknown Product Family", "", "MM/dd/yy", 1280, 1024};
    maintenance::LinuxFacts facts{"0.1", "Debian GNU/Linux 12 (bookworm)",
        "Linux 6.1.0-18-amd64 (x86_64)", "XFCE (x11)", "6.4.2", "3.40.1", "",
        {true, 5000000000ull, 0, "/srv/", "nfs4", true}};
    // clang-format on
    std::vector<platform::TopWindow> windows;
    std::map<std::string, platform::FileFacts> files;
    std::vector<std::string> opened;
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
        const std::string script = ReadFile(std::string(OSTRAND_SOURCE_DIR) +
                                            "/tests/maintenance/data/report_database.sql");
        ASSERT_EQ(sqlite3_exec(c.handle(), script.c_str(), nullptr, nullptr, nullptr), SQLITE_OK);
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
    mainttest::ScriptedUi ui;
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
    // Backup folder /srv/backup, keep 2/30, back up 3/7, not all files, last 06/30/2026.
    fs::copy_file(std::string(OSTRAND_SOURCE_DIR) + "/tests/maintenance/data/BaR.cfg",
                  dbFolder + "BaR.cfg");

    Run();

    const std::string golden = ReadFile(std::string(OSTRAND_SOURCE_DIR) +
                                        "/tests/maintenance/data/diagnostics_report.golden");
    ASSERT_FALSE(golden.empty());
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
    EXPECT_EQ(testsupport::JoinLines(actual, "\n"),
              testsupport::JoinLines(mainttest::SplitLines(golden), "\n"));

    // The repairs were made and the five keys are gone.
    db::Connection c;
    c.Open(dbFile);
    EXPECT_EQ(c.Scalar("SELECT group_concat(IdRentLog) FROM RentLog").AsText(), "1,2,4");
    EXPECT_EQ(c.Scalar("SELECT group_concat(IdMortgageLog) FROM MortgageLog").AsText(), "1");
    EXPECT_EQ(c.Scalar("SELECT count(*) FROM RentLog WHERE Paid IS NULL OR Memo IS NULL").AsInt(),
              0);
    EXPECT_FALSE(startup::MachineRegistry(s).KeyExists(
        "HKEY_LOCAL_MACHINE\\SOFTWARE\\Ketrova\\Rentora\\SortOrder"));
    EXPECT_FALSE(connection.IsOpen());
    EXPECT_EQ(probe.opened, std::vector<std::string>{s.AppPath + "Ostrand.log"});
    EXPECT_EQ(ui.busy, (std::vector<bool>{true, false}));
}

// Cancel to the low-disk question, or no report file: nothing is written or opened.
TEST_F(DiagnosticsTest, LowDiskSpaceAsksFirstAndAReportThatCannotBeMadeSaysSo) {
    MakeDatabase();
    const struct {
        uint64_t free;
        util::Answer answer;
        bool folderMissing;
        const char* box; // how the one box begins; "" for none
        bool written;
    } cases[] = {
        {1000000, util::Answer::Cancel, false, "", true}, // exactly the limit: no question
        {999999, util::Answer::OK, false,
         "It appears you are running low on disk space on the /srv/ drive.", true},
        {999999, util::Answer::Cancel, false, "It appears", false},
        {5000000, util::Answer::OK, true,
         "There was an error creating the log file. Please contact support for assistance.", false},
    };
    const std::string home = s.AppPath;
    for (const auto& c : cases) {
        SCOPED_TRACE(c.free);
        WriteFile(home + "Ostrand.log", "previous run\r\n");
        startup::RegWriteString(startup::MachineRegistry(s), "SOFTWARE\\Ketrova\\Rentora\\ViewInfo",
                                "Units", "x");
        s.AppPath = c.folderMissing ? dir.str() + "no-such-folder/" : home;
        probe.volume.freeBytes = c.free;
        probe.opened.clear();
        ui = {};
        ui.answer = c.answer;
        Run();
        ASSERT_EQ(ui.boxes.size(), *c.box ? 1u : 0u);
        if (*c.box) {
            EXPECT_EQ(ui.boxes[0].text.rfind(c.box, 0), 0u) << ui.boxes[0].text;
            EXPECT_EQ(ui.boxes[0].buttons,
                      c.folderMissing ? util::Buttons::OK : util::Buttons::OKCancel);
            EXPECT_EQ(ui.boxes[0].title, "Ketrova Troubleshooter");
        }
        EXPECT_EQ(probe.opened.size(), c.written ? 1u : 0u);
        EXPECT_EQ(ui.busy.empty(), !c.written && !c.folderMissing);
        EXPECT_EQ(s.LogFileNo, 0);
        EXPECT_EQ(startup::MachineRegistry(s).KeyExists(
                      "HKEY_LOCAL_MACHINE\\SOFTWARE\\Ketrova\\Rentora\\ViewInfo"),
                  !c.written);
        EXPECT_EQ(ReadFile(home + "Ostrand.log") == "previous run\r\n", !c.written);
    }
    EXPECT_EQ(ui.boxes[0].icon, util::Icon::Critical);
}

// Whatever state the database is in, the report runs to its end and says it.
TEST_F(DiagnosticsTest, EveryDatabaseStateIsReportedToTheEnd) {
    std::string folder = s.AppPath + "Backup";
    folder.resize(255, ' ');
    const struct {
        const char* state;
        std::vector<std::string> present;
        std::vector<std::string> absent;
    } cases[] = {
        {"missing",
         {"{*} Database check result     : Database missing"},
         {"----------------------------- Opening Database -----------------------------"}},
        {"old",
         {"{*} Database check result     : Upgrade required",
          "{ } Database Table Name  : RentLog {4 fields, 13 records} "},
         {}},
        {"damaged",
         {"{*} Database open failed", "{ } Entries Removed"},
         {"{ } Database closed successfully"}},
        // An index that no longer matches its table, and rows whose parent is gone.
        {"index damaged",
         {"{*} Foreign key check         : 2 rows refer to missing rows",
          "{*}   RentLog row 2 refers to a missing Lease",
          "{*} Salvage recommended       : run 'ostrand-cli salvage', or choose \"Salvage a "
          "damaged database\" in the maintenance wizard, to read every row that can still be "
          "read into a new database; the damaged one is kept"},
         {}},
        // A statement that cannot be opened counts no rows: nothing to remove.
        // Without BaR.cfg the backup lines show the defaults in the record's widths.
        {"empty",
         {"{*} No configuration records found", "{ } No FileObjects to check",
          "{ } Database closed successfully", "{ } no stray Rent Log entries found",
          "{ } Backup Path           : " + folder,
          "{ } Last Backup Date      : " + std::string(10, ' ')},
         {}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.state);
        fs::remove_all(dbFolder);
        fs::create_directory(dbFolder);
        const std::string state = c.state;
        if (state == "old") {
            MakeDatabase("5\r\n");
        } else if (state != "missing") {
            WriteFile(dbFolder + "Version", "9\r\n");
            if (state == "damaged") {
                WriteFile(dbFile, std::string(4096, '\x7f'));
            } else if (state == "empty") {
                testsupport::MakeDatabase(dbFile, {});
            } else { // the index pointed at another column behind the engine's back
                testsupport::MakeDatabase(
                    dbFile,
                    {"CREATE TABLE Lease (IdLease INTEGER PRIMARY KEY)",
                     "CREATE TABLE RentLog (IdRentLog INTEGER, IdLease INTEGER REFERENCES Lease)",
                     "CREATE INDEX ixRent ON RentLog (IdRentLog)",
                     "INSERT INTO RentLog VALUES (1, 7), (2, 8)", "PRAGMA writable_schema = ON",
                     "UPDATE sqlite_master SET sql = 'CREATE INDEX ixRent ON RentLog (IdLease)' "
                     "WHERE name = 'ixRent'"});
            }
        }
        Run();
        const auto lines = Report();
        for (const std::string& line : c.present) {
            EXPECT_TRUE(Has(lines, line)) << line;
        }
        for (const std::string& line : c.absent) {
            EXPECT_FALSE(Has(lines, line)) << line;
        }
        ASSERT_GT(lines.size(), 2u);
        EXPECT_EQ(lines[lines.size() - 2], std::string(75, '-'));
        EXPECT_EQ(lines.back().rfind("{ } Testing completed at 09:05:03", 0), 0u);
    }
}

// Beyond the golden report's windows: titles the system's buffer cuts, even
// inside a character and never further back than the title's start; a title
// that starts with NUL is no title.
TEST(WindowLines, TitlesAreCutAndPaddedLikeTheSystemsBuffer) {
    const struct {
        std::string title, shown;
    } cases[] = {
        {std::string(248, 'a') + "\xc3\xa9", std::string(248, 'a') + std::string(2, '\0')},
        {std::string(300, '\x80'), std::string(250, '\0')},
    };
    for (const auto& c : cases) {
        const auto lines = maintenance::WindowLines({{1, c.title}});
        ASSERT_EQ(lines.size(), 1u);
        EXPECT_EQ(lines[0].substr(32), c.shown);
    }
    EXPECT_TRUE(maintenance::WindowLines({{3, std::string("\0hidden", 7)}}).empty());
}

} // namespace
