// ostrand-cli upgrade, run as the built program on a private program folder,
// registry store, database and temporary folder.

#include "db/connection.h"
#include "old_databases.h"
#include "safety/operation_guard.h"
#include "safety/safety_copy.h"
#include "safety/safety_fixture.h"
#include "startup/locator.h"
#include "startup/registry.h"
#include "support/cli_run.h"
#include "support/temp_dir.h"
#include "upgrade/upgrade_db.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <optional>

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
    const auto copies = safety::ListSafetyCopies(dir.str() + "data/Ketrova.mdb");
    ASSERT_EQ(copies.size(), 1u);
    EXPECT_EQ(r.out, "Database upgraded successfully.\nSafety copy: " + copies[0].path + "\n");
    EXPECT_TRUE(fs::is_empty(dir / "tmp"));
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
    const auto copies = safety::ListSafetyCopies(dir.str() + "data/Ketrova.mdb");
    ASSERT_EQ(copies.size(), 1u);
    EXPECT_EQ(r.out, "Database upgraded successfully.\n" +
                         upgrade::FailedStatementsText(21, dir.str() + "home/Ostrand.log") +
                         "\nSafety copy: " + copies[0].path + "\n");
    EXPECT_NE(
        ReadFile(dir / "home/Ostrand.log")
            .find("{*} SQL update failed: UPDATE Lease SET Hide = False (lease is locked)\r\n"),
        std::string::npos);
}

// Failed or refused: the database stays as it was, and the terminal says why.
TEST_F(UpgradeCommand, AFailedRunExitsWithOneAndLeavesTheDatabaseAsItWas) {
    struct Case {
        const char* what;
        const char* out;
        const char* said; // on stderr
    };
    const Case cases[] = {
        {"no template", "Database upgrade failed.\n", "Cause: Database template file not found: "},
        {"newer database", "Database upgrade failed.\n", "is version 12, newer than version 9,"},
        {"another Ostrand", "Database upgrade failed.\n", "Another Ostrand is working on "},
        {"another program has it open", "Database upgrade failed.\n", " is open in "},
        {"an interrupted run", "", "Run 'ostrand-cli recover'"},
    };
    const std::string db = dir.str() + "data/Ketrova.mdb";
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        const std::string what = c.what;
        fs::copy_file(OSTRAND_SOURCE_DIR "/data/Ketrova.ddf", dir / "home/Ketrova.ddf",
                      fs::copy_options::overwrite_existing);
        testsupport::WriteFile(dir / "data/Version", what == "newer database" ? "12\r\n" : "5\r\n");
        if (what == "no template")
            fs::remove(dir / "home/Ketrova.ddf");
        platform::FixedClock clock({2026, 11, 23, 9, 0, 0});
        safety::OperationGuard other(db, "compact", clock);
        std::optional<safetytest::HeldOpenElsewhere> holder;
        std::string error;
        if (what == "another Ostrand") {
            ASSERT_TRUE(other.Begin(error)) << error;
            testsupport::WriteFile(db + ".upgrading", "the other run's");
        } else if (what == "another program has it open") {
            holder.emplace(db);
        } else if (what == "an interrupted run") {
            testsupport::WriteFile(safety::MarkerPathFor(db), "operation=upgrade\npid=1\n");
        }
        const std::string before = ReadFile(db), version = ReadFile(dir / "data/Version");
        CliResult r = Run("");
        EXPECT_EQ(r.exitCode, 1);
        EXPECT_EQ(r.out, c.out);
        EXPECT_NE(r.err.find(c.said), std::string::npos) << r.err;
        EXPECT_TRUE(ReadFile(db) == before);
        EXPECT_EQ(ReadFile(dir / "data/Version"), version);
        EXPECT_TRUE(safety::ListSafetyCopies(db).empty());
        EXPECT_TRUE(fs::is_empty(dir / "tmp"));
        EXPECT_EQ(fs::exists(db + ".upgrading"), what == "another Ostrand");
        fs::remove(safety::MarkerPathFor(db));
        fs::remove(db + ".upgrading");
    }
}

TEST_F(UpgradeCommand, AnUnregisteredDatabaseNameIsAFailureWithoutARun) {
    CliResult r = Run("--altdb Branch2");
    EXPECT_EQ(r.exitCode, 1);
    EXPECT_EQ(r.out, "");
    EXPECT_FALSE(fs::exists(dir / "home/Ostrand.log"));
}
