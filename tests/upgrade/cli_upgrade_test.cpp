// ostrand-cli upgrade, run as the built program on a private program folder,
// registry store, database and temporary folder.

#include "db/connection.h"
#include "old_databases.h"
#include "safety/operation_guard.h"
#include "safety/safety_copy.h"
#include "safety/safety_fixture.h"
#include "startup/registry.h"
#include "support/cli_run.h"
#include "support/temp_dir.h"
#include "upgrade/upgrade_db.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <optional>

using testsupport::ReadFile;
namespace fs = std::filesystem;

namespace {

struct UpgradeCommand {
    testsupport::TempDir dir;
    const std::string db = dir.str() + "data/Ketrova.mdb";

    UpgradeCommand() {
        for (const char* sub : {"home", "data", "tmp"})
            fs::create_directory(dir / sub);
        fs::copy_file(OSTRAND_SOURCE_DIR "/data/Ketrova.ddf", dir / "home/Ketrova.ddf");
        upgradetest::BuildOldDatabase(dir.str() + "data/", 5);
        platform::RegistryStore reg(dir.str() + "registry.reg");
        startup::RegWriteString(reg, startup::DatabasesKey, "Default", dir.str() + "data/");
    }
    testsupport::CliResult Run() const {
        return testsupport::RunCli(dir.str(), "upgrade", "TMPDIR='" + dir.str() + "tmp'");
    }
};

} // namespace

// The leases cannot be changed: 21 statements fail, the run goes on, and the
// user learns how many failed, where to look, and where the old database is.
TEST(UpgradeCommand, RefusedStatementsAreCountedAfterTheStatusAndListedInTheLog) {
    UpgradeCommand u;
    {
        db::Connection c;
        c.Open(u.db);
        c.Execute("CREATE TRIGGER Locked BEFORE UPDATE ON Lease "
                  "BEGIN SELECT RAISE(ABORT, 'lease is locked'); END");
    }
    testsupport::CliResult r = u.Run();
    EXPECT_EQ(r.exitCode, 0);
    const auto copies = safety::ListSafetyCopies(u.db);
    ASSERT_EQ(copies.size(), 1u);
    EXPECT_EQ(r.out, "Database upgraded successfully.\n" +
                         upgrade::FailedStatementsText(21, u.dir.str() + "home/Ostrand.log") +
                         "\nSafety copy: " + copies[0].path + "\n");
    EXPECT_EQ(ReadFile(u.dir / "data/Version").substr(0, 1), "9");
    EXPECT_TRUE(fs::is_empty(u.dir / "tmp"));
    EXPECT_NE(
        ReadFile(u.dir / "home/Ostrand.log")
            .find("{*} SQL update failed: UPDATE Lease SET Hide = False (lease is locked)\r\n"),
        std::string::npos);
}

// Failed or refused: the database stays as it was, and the terminal says why.
TEST(UpgradeCommand, AFailedRunExitsWithOneAndLeavesTheDatabaseAsItWas) {
    const std::pair<std::string, const char*> cases[] = {
        {"newer database", "is version 12, newer than version 9,"},
        {"another Ostrand", "Another Ostrand is working on "},
        {"another program has it open", " is open in "},
    };
    for (const auto& [what, said] : cases) {
        SCOPED_TRACE(what);
        UpgradeCommand u;
        if (what == "newer database")
            testsupport::WriteFile(u.dir / "data/Version", "12\r\n");
        platform::FixedClock clock({2026, 11, 23, 9, 0, 0});
        safety::OperationGuard other(u.db, "compact", clock);
        std::optional<safetytest::HeldOpenElsewhere> holder;
        std::string error;
        if (what == "another Ostrand") {
            ASSERT_TRUE(other.Begin(error)) << error;
            testsupport::WriteFile(u.db + ".upgrading", "the other run's");
        }
        if (what == "another program has it open")
            holder.emplace(u.db);
        const std::string before = ReadFile(u.db), version = ReadFile(u.dir / "data/Version");
        testsupport::CliResult r = u.Run();
        EXPECT_EQ(r.exitCode, 1);
        EXPECT_EQ(r.out, "Database upgrade failed.\n");
        EXPECT_NE(r.err.find(said), std::string::npos) << r.err;
        EXPECT_TRUE(ReadFile(u.db) == before);
        EXPECT_EQ(ReadFile(u.dir / "data/Version"), version);
        EXPECT_TRUE(safety::ListSafetyCopies(u.db).empty());
        EXPECT_TRUE(fs::is_empty(u.dir / "tmp"));
        EXPECT_EQ(fs::exists(u.db + ".upgrading"), what == "another Ostrand");
        EXPECT_TRUE(fs::exists(u.dir / "home/Ostrand.log"));
    }
}
