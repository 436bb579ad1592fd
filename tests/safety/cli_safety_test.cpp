// ostrand-cli's safety-copy and recovery commands, run as the built program
// on a database registered in a registry store of the test's own.

#include "safety/operation_guard.h"
#include "safety/safety_copy.h"
#include "startup/registry.h"
#include "support/cli_run.h"

#include "safety_fixture.h"

#include <filesystem>
#include <gmock/gmock.h>

namespace {

namespace fs = std::filesystem;
using safetytest::At;
using testsupport::CliResult;

class CliSafetyTest : public safetytest::SafetyTest {
public:
    void SetUp() override {
        SafetyTest::SetUp();
        fs::create_directory(dir / "home");
        fs::copy_file(OSTRAND_SOURCE_DIR "/data/Ketrova.ddf", dir / "home/Ketrova.ddf");
        platform::RegistryStore reg(dir.str() + "registry.reg");
        startup::RegWriteString(reg, startup::DatabasesKey, "Default", dir.str());
    }
    CliResult Run(const std::string& args) const {
        return testsupport::RunCli(dir.str(), args, "DISPLAY=");
    }
};

TEST_F(CliSafetyTest, ListsTheCopiesAndPutsOneBack) {
    safety::SafetyCopy copy;
    std::string error;
    ASSERT_TRUE(safety::MakeSafetyCopy(dbFile, "upgrade", At(9, 0, 0), copy, error)) << error;
    Exec("INSERT INTO Tenant VALUES (3, 'Cy')");

    CliResult r = Run("copies");
    EXPECT_EQ(r.exitCode, 0);
    EXPECT_EQ(r.out, copy.name + "\t2026-11-23 09:00:00\tupgrade\t" + std::to_string(copy.size) +
                         "\t" + copy.path + "\n");

    r = Run("copies restore " + copy.name);
    EXPECT_EQ(r.exitCode, 0) << r.err;
    const auto copies = safety::ListSafetyCopies(dbFile);
    ASSERT_EQ(copies.size(), 2u);
    EXPECT_EQ(r.out, "The safety copy " + copy.name +
                         " was put back.\nSafety copy: " + copies[0].path + "\n");
    EXPECT_EQ(Count(dbFile), 2);
}

TEST_F(CliSafetyTest, AnInterruptedRunStopsEveryCommandOnTheDatabaseUntilRecovered) {
    const std::string working = dbFile + ".upgrading";
    InChildThatDies([&] {
        safety::OperationGuard guard(dbFile, "upgrade", At(9, 0, 0));
        std::string error;
        if (guard.Begin(error) && guard.AddLeftover(working))
            testsupport::WriteFile(working, "half converted");
        ::_exit(9);
    });
    const std::string before = testsupport::ReadFile(dbFile);
    for (const char* command :
         {"mode", "locate", "upgrade", "compact", "diag --yes", "schema", "copies"}) {
        SCOPED_TRACE(command);
        const CliResult r = Run(command);
        EXPECT_EQ(r.exitCode, 1);
        EXPECT_EQ(r.out, "");
        EXPECT_THAT(r.err, testing::HasSubstr("The upgrade of " + dbFile +
                                              " started on 2026-11-23 09:00:00"));
        EXPECT_THAT(r.err, testing::HasSubstr("Run 'ostrand-cli recover'"));
    }
    EXPECT_TRUE(testsupport::ReadFile(dbFile) == before);

    CliResult r = Run("recover");
    EXPECT_EQ(r.exitCode, 0) << r.err;
    EXPECT_THAT(r.out, testing::HasSubstr("was interrupted.\nThe database was not changed."));
    EXPECT_FALSE(fs::exists(working));
    EXPECT_TRUE(testsupport::ReadFile(dbFile) == before);
    EXPECT_EQ(Run("locate").exitCode, 0);
    EXPECT_THAT(Run("recover").out, testing::StartsWith("Nothing to recover"));
}

} // namespace
