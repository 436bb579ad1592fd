#include "startup/locator.h"
#include "startup/registry.h"
#include "support/temp_dir.h"

#include <filesystem>
#include <gtest/gtest.h>

using namespace startup;
using testsupport::ReadFile;
using testsupport::TempDir;
using testsupport::WriteFile;
namespace fs = std::filesystem;

namespace {

// A machine with its own registry store, per-user settings and data folder.
struct Machine {
    TempDir dir;
    RunSettings s;
    Machine() {
        s.RegistryFile = (dir / "registry.reg").string();
        s.UserSettingsFile = (dir / "settings.ini").string();
        fs::create_directory(dir / "data");
    }
    std::string Data() const { return dir.str() + "data/"; }
    void Register(const std::string& name, const std::string& folder) {
        RegWriteString(MachineRegistry(s), DatabasesKey, name, folder);
    }
    void Database(const std::string& version) {
        WriteFile(dir / "data/Ketrova.mdb", "db");
        if (!version.empty()) {
            WriteFile(dir / "data/Version", version);
        }
    }
    std::string Registered(const std::string& name) const {
        return RegReadString(MachineRegistry(s), DatabasesKey, name);
    }
};

} // namespace

TEST(Locator, StatusFollowsTheFileAndItsVersion) {
    struct Case {
        const char* what;
        bool registered;
        bool database;
        const char* version; // "" = no version file
        DBStatus status;
        bool newer = false; // told apart from a current one all the same
    };
    const Case cases[] = {
        {"nothing registered", false, false, "", DBMissing},
        {"folder without a database", true, false, "10\r\n", DBMissing},
        {"no version file reads as 0", true, true, "", DBNeedsUpgrade},
        {"older version", true, true, "8\r\n", DBNeedsUpgrade},
        {"current version", true, true, "9\r\n", DBCurrent},
        {"newer version", true, true, "10\r\n", DBCurrent, true},
        {"negative version", true, true, "-3\r\n", DBNeedsUpgrade},
        {"unreadable number", true, true, "nine\r\n", DBNeedsUpgrade},
        {"number beyond 16 bits", true, true, "70000\r\n", DBNeedsUpgrade},
        {"blanks before the number", true, true, "  12  \r\n", DBCurrent, true},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        Machine m;
        if (c.registered) {
            m.Register("Default", m.Data());
        }
        if (c.database) {
            m.Database(c.version);
        } else if (*c.version) {
            WriteFile(m.dir / "data/Version", c.version);
        }
        EXPECT_EQ(LocateDatabase(m.s, 0), c.status);
        EXPECT_EQ(FindDatabase(m.s).newer, c.newer);
        EXPECT_EQ(NewerDatabaseRefusal(m.s).empty(), !c.newer);
        if (c.registered) {
            EXPECT_EQ(m.s.DBPath, m.Data());
            EXPECT_EQ(m.s.DBFile, m.Data() + "Ketrova.mdb");
        } else {
            EXPECT_EQ(m.s.DBPath, "");
            EXPECT_EQ(m.s.DBFile, "");
        }
    }
}

TEST(Locator, WritesItsSixLinesOnlyWhenALogIsOpen) {
    Machine m;
    m.Register("Default", m.Data());
    m.Database("7\r\n");
    auto logPath = (m.dir / "Ostrand.log").string();
    int16_t log = OpenLogFile(m.s.Files, logPath, 1, 0);
    ASSERT_NE(log, 0);
    EXPECT_EQ(LocateDatabase(m.s, log), DBNeedsUpgrade);
    CloseFile(m.s.Files, log);
    const std::string written = ReadFile(logPath);
    EXPECT_EQ(written, "{ } Registry value exists : True\r\n"
                       "{ } Database path         : " +
                           m.Data() +
                           "\r\n"
                           "{ } Database file         : " +
                           m.Data() +
                           "Ketrova.mdb\r\n"
                           "{ } DB File exists        : True\r\n"
                           "{ } DB Current Version    : 9\r\n"
                           "{ } DB Existing Version   : 7\r\n");

    // Without a log the same answer, and a stale log stays untouched.
    EXPECT_EQ(LocateDatabase(m.s, 0), DBNeedsUpgrade);
    EXPECT_EQ(ReadFile(logPath), written);

    RunSettings empty;
    empty.RegistryFile = (m.dir / "other.reg").string();
    auto lines = LocatorLogLines(empty, FindDatabase(empty));
    EXPECT_EQ(lines.front(), "{ } Registry value exists : False");
    EXPECT_EQ(lines[3], "{ } DB File exists        : False");
    EXPECT_EQ(lines.back(), "{ } DB Existing Version   : 0");
}

TEST(Locator, DefaultDatabaseFallsBackToThePerUserSettingAndRecordsIt) {
    Machine m;
    WriteFile(m.s.UserSettingsFile, "[Global]\r\nDBPath=C:\\Data\\Ketrova.mdb\r\n");
    EXPECT_EQ(LocateDatabase(m.s, 0), DBMissing);
    EXPECT_EQ(m.s.DBPath, "C:\\Data\\");
    EXPECT_EQ(m.Registered("Default"), "C:\\Data\\");

    // With a native path the database is found there and the next run reads
    // the registry, even after the per-user file is gone.
    Machine n;
    n.Database("9\r\n");
    WriteFile(n.s.UserSettingsFile, "[global]\ndbpath = " + n.Data() + "Ketrova.mdb\n");
    EXPECT_EQ(LocateDatabase(n.s, 0), DBCurrent);
    fs::remove(n.s.UserSettingsFile);
    EXPECT_EQ(LocateDatabase(n.s, 0), DBCurrent);
    EXPECT_EQ(n.s.DBFile, n.Data() + "Ketrova.mdb");
}

TEST(Locator, ANamedDatabaseNeverLooksAtThePerUserSetting) {
    Machine m;
    m.Database("9\r\n");
    WriteFile(m.s.UserSettingsFile, "[Global]\nDBPath=" + m.Data() + "Ketrova.mdb\n");
    m.s.AltDB = "branch2";
    EXPECT_EQ(LocateDatabase(m.s, 0), DBMissing);
    EXPECT_EQ(m.s.DBPath, "");
    EXPECT_EQ(m.Registered("branch2"), "");
    EXPECT_EQ(m.Registered("Default"), "");

    // Value names compare without regard to case: "Branch2" serves /altdb=branch2.
    m.Register("Branch2", m.Data());
    EXPECT_EQ(LocateDatabase(m.s, 0), DBCurrent);
}

TEST(Locator, AFolderWithoutTrailingSeparatorFindsTheFileButNotTheVersion) {
    Machine m;
    m.Database("9\r\n");
    std::string folder = m.Data().substr(0, m.Data().size() - 1);
    m.Register("Default", folder);
    EXPECT_EQ(LocateDatabase(m.s, 0), DBNeedsUpgrade);
    EXPECT_EQ(m.s.DBFile, m.Data() + "Ketrova.mdb");
    // The version file is looked for beside the folder, as "<folder>Version".
    WriteFile(folder + "Version", "9\r\n");
    EXPECT_EQ(LocateDatabase(m.s, 0), DBCurrent);
}

TEST(VersionFile, WritesNineWithCrLfAddingTheSeparator) {
    TempDir dir;
    WriteFile(dir / "Version", "3\r\n");
    ASSERT_TRUE(WriteVersionFile(dir.path().string())); // no trailing separator
    EXPECT_EQ(ReadFile(dir / "Version"), "9\r\n");
    ASSERT_TRUE(WriteVersionFile(dir.str()));
    EXPECT_EQ(ReadFile(dir / "Version"), "9\r\n");
    EXPECT_FALSE(WriteVersionFile((dir / "missing/folder").string()));
    ASSERT_TRUE(WriteVersionFile(dir.str(), 4)); // a copy's own version, put back
    EXPECT_EQ(ReadFile(dir / "Version"), "4\r\n");
    EXPECT_FALSE(std::filesystem::exists(dir / "Version.new"));
    EXPECT_EQ(NewerDatabaseText("/d/Ketrova.mdb", 12)
                  .rfind("The database /d/Ketrova.mdb is version 12, newer than version 9,", 0),
              0u);

    RunSettings s;
    s.DBPath = dir.str();
    EXPECT_EQ(ReadDBVersion(s), 4);
    s.DBPath = "";
    EXPECT_EQ(ReadDBVersion(s), 0);
}
