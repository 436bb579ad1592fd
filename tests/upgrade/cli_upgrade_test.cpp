// ostrand-cli upgrade, run as the built program on a private program folder,
// registry store, database and temporary folder.

#include "db/connection.h"
#include "old_databases.h"
#include "startup/locator.h"
#include "startup/registry.h"
#include "support/cli_run.h"
#include "support/temp_dir.h"
#include "upgrade/upgrade_db.h"

#include <gtest/gtest.h>

#include <filesystem>

using testsupport::CliResult;
using testsupport::ReadFile;
using testsupport::TempDir;
namespace fs = std::filesystem;

namespace {

class UpgradeCommand : public ::testing::Test {
protected:
    void SetUp() override {
        fs::create_directory(dir / "home");
        fs::create_directory(dir / "data");
        fs::create_directory(dir / "tmp");
        fs::copy_file(OSTRAND_SOURCE_DIR "/data/Ketrova.ddf", dir / "home/Ketrova.ddf");
        upgradetest::BuildOldDatabase(dir.str() + "data/", 5);
        platform::RegistryStore reg(dir.str() + "registry.reg");
        startup::RegWriteString(reg, startup::DatabasesKey, "Default", dir.str() + "data/");
    }

    // The backup archive goes to a private temporary folder.
    CliResult Run(const std::string& args) const {
        return testsupport::RunCli(dir.str(), "upgrade " + args, "TMPDIR='" + dir.str() + "tmp'");
    }

    TempDir dir;
};

} // namespace

TEST_F(UpgradeCommand, UpgradesTheRegisteredDatabaseAndLogsTheRun) {
    CliResult r = Run("");
    EXPECT_EQ(r.exitCode, 0);
    EXPECT_EQ(r.out, "Database upgraded successfully.\n");
    EXPECT_EQ(ReadFile(dir / "data/Version").substr(0, 1), "9");
    const std::string log = ReadFile(dir / "home/Ostrand.log");
    EXPECT_EQ(
        log.rfind("{ } UpgradeDB started\r\n{ } DB File: " + dir.str() + "data/Ketrova.mdb\r\n", 0),
        0u);
}

// The leases cannot be changed: each statement of the second group that
// would change one fails (23, less the two term types no lease has), the run
// goes on, and the user learns how many failed and where to look.
TEST_F(UpgradeCommand, RefusedStatementsAreCountedAfterTheStatusAndListedInTheLog) {
    {
        db::Connection c;
        c.Open(dir.str() + "data/Ketrova.mdb");
        c.Execute("CREATE TRIGGER Locked BEFORE UPDATE ON Lease "
                  "BEGIN SELECT RAISE(ABORT, 'lease is locked'); END");
    }
    CliResult r = Run("");
    EXPECT_EQ(r.exitCode, 0);
    EXPECT_EQ(r.out, "Database upgraded successfully.\n" +
                         upgrade::FailedStatementsText(21, dir.str() + "home/Ostrand.log") + "\n");
    EXPECT_NE(
        ReadFile(dir / "home/Ostrand.log")
            .find("{*} SQL update failed: UPDATE Lease SET Hide = False (lease is locked)\r\n"),
        std::string::npos);
}

TEST_F(UpgradeCommand, AFailedRunExitsWithOneAndLeavesTheDatabaseAsItWas) {
    fs::remove(dir / "home/Ketrova.ddf");
    const std::string before = ReadFile(dir / "data/Ketrova.mdb");
    CliResult r = Run("");
    EXPECT_EQ(r.exitCode, 1);
    EXPECT_EQ(r.out, "Database upgrade failed.\n");
    EXPECT_TRUE(ReadFile(dir / "data/Ketrova.mdb") == before);
    EXPECT_NE(ReadFile(dir / "home/Ostrand.log").find("{*} Database template file not found: "),
              std::string::npos);
}

TEST_F(UpgradeCommand, AnUnregisteredDatabaseNameIsAFailureWithoutARun) {
    CliResult r = Run("--altdb Branch2");
    EXPECT_EQ(r.exitCode, 1);
    EXPECT_EQ(r.out, "");
    EXPECT_FALSE(fs::exists(dir / "home/Ostrand.log"));
}
