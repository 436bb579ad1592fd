// Finding the database through the registry store, the older per-user
// settings and the version file beside it.

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
    std::string data = dir.str() + "data/";
    Machine() {
        s.RegistryFile = dir.str() + "registry.reg";
        s.UserSettingsFile = dir.str() + "settings.ini";
        fs::create_directory(data);
    }
    void Register(const std::string& name, const std::string& folder) {
        RegWriteString(MachineRegistry(s), DatabasesKey, name, folder);
    }
    std::string Registered(const std::string& name) const {
        return RegReadString(MachineRegistry(s), DatabasesKey, name);
    }
};

} // namespace

TEST(Locator, StatusFollowsTheFileAndItsVersion) {
    // What is there (registered, database), the version file ("" for none),
    // the status, and whether the database is newer than this program.
    // clang-format off
    const std::tuple<bool, bool, const char*, DBStatus, bool> cases[] = {
        {false, false, "", DBMissing, false}, {true, false, "10\r\n", DBMissing, false},
        {true, true, "", DBNeedsUpgrade, false}, {true, true, "8\r\n", DBNeedsUpgrade, false},
        {true, true, "9\r\n", DBCurrent, false}, {true, true, "10\r\n", DBCurrent, true},
        {true, true, "-3\r\n", DBNeedsUpgrade, false}, {true, true, "nine\r\n", DBNeedsUpgrade, false},
        {true, true, "70000\r\n", DBNeedsUpgrade, false}, {true, true, "  12  \r\n", DBCurrent, true}};
    // clang-format on
    for (const auto& [registered, database, version, status, newer] : cases) {
        SCOPED_TRACE(testing::Message() << registered << database << " version " << version);
        Machine m;
        if (registered)
            m.Register("Default", m.data);
        if (database)
            WriteFile(m.data + "Ketrova.mdb", "db");
        if (*version)
            WriteFile(m.data + "Version", version);
        EXPECT_EQ(LocateDatabase(m.s, 0), status);
        EXPECT_EQ(FindDatabase(m.s).newer, newer);
        EXPECT_EQ(NewerDatabaseRefusal(m.s).empty(), !newer);
        EXPECT_EQ(m.s.DBFile, registered ? m.data + "Ketrova.mdb" : "");
    }
}

TEST(Locator, TheDefaultDatabaseFallsBackToThePerUserSettingANamedOneNever) {
    Machine m;
    WriteFile(m.s.UserSettingsFile, "[Global]\nDBPath=" + m.data + "Ketrova.mdb\n");
    WriteFile(m.data + "Ketrova.mdb", "db");
    WriteFile(m.data + "Version", "9\r\n");
    m.s.AltDB = "branch2";
    EXPECT_EQ(LocateDatabase(m.s, 0), DBMissing);
    EXPECT_EQ(m.Registered("Default") + m.Registered("branch2"), "");
    // Value names compare without regard to case: "Branch2" serves /altdb=branch2.
    m.Register("Branch2", m.data);
    EXPECT_EQ(LocateDatabase(m.s, 0), DBCurrent);

    // The default one is found there and recorded, so that the next run reads
    // the registry even after the per-user file is gone.
    m.s.AltDB = "Default";
    EXPECT_EQ(LocateDatabase(m.s, 0), DBCurrent);
    fs::remove(m.s.UserSettingsFile);
    EXPECT_EQ(LocateDatabase(m.s, 0), DBCurrent);
    EXPECT_EQ(m.Registered("Default"), m.data);
}

TEST(Locator, AFolderWithoutTrailingSeparatorFindsTheFileButNotTheVersion) {
    Machine m;
    WriteFile(m.data + "Ketrova.mdb", "db");
    WriteFile(m.data + "Version", "9\r\n");
    const std::string folder = m.data.substr(0, m.data.size() - 1);
    m.Register("Default", folder);
    EXPECT_EQ(LocateDatabase(m.s, 0), DBNeedsUpgrade);
    EXPECT_EQ(m.s.DBFile, m.data + "Ketrova.mdb");
    // The version file is looked for beside the folder, as "<folder>Version".
    WriteFile(folder + "Version", "9\r\n");
    EXPECT_EQ(LocateDatabase(m.s, 0), DBCurrent);
}
