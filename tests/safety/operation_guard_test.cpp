#include "safety/operation_guard.h"

#include "support/temp_dir.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <filesystem>
#include <sys/wait.h>
#include <unistd.h>

namespace {

namespace fs = std::filesystem;

const platform::FixedClock kClock({2026, 11, 23, 19, 2, 12});

class OperationGuardTest : public ::testing::Test {
protected:
    void SetUp() override {
        dbFile = (dir / "Ketrova.mdb").string();
        testsupport::WriteFile(dbFile, "database");
    }

    // Runs `body` in a child process that then dies without cleaning up, as
    // a killed run does.
    template <typename Body> void InChildThatDies(Body body) {
        const pid_t child = ::fork();
        if (child == 0) {
            body();
            ::_exit(0);
        }
        int status = 0;
        ::waitpid(child, &status, 0);
    }

    testsupport::TempDir dir;
    std::string dbFile;
};

TEST_F(OperationGuardTest, SecondRunIsRefusedWithWhatHoldsTheDatabase) {
    safety::OperationGuard first(dbFile, "upgrade", kClock);
    std::string error;
    ASSERT_TRUE(first.Begin(error)) << error;

    safety::OperationGuard second(dbFile, "compact", kClock);
    EXPECT_FALSE(second.Begin(error));
    EXPECT_NE(error.find("the upgrade started on 2026-11-23 19:02:12 by process " +
                         std::to_string(::getpid())),
              std::string::npos)
        << error;
    EXPECT_FALSE(safety::FindInterrupted(dbFile)) << "a running operation is not interrupted";

    first.End();
    EXPECT_FALSE(fs::exists(safety::MarkerPathFor(dbFile)));
    EXPECT_TRUE(second.Begin(error)) << error;
}

TEST_F(OperationGuardTest, RunCutOffLeavesMarkerThatBlocksUntilCleared) {
    const std::string workingCopy = dbFile + ".upgrading";
    InChildThatDies([&] {
        safety::OperationGuard guard(dbFile, "upgrade", kClock);
        std::string error;
        if (!guard.Begin(error))
            return;
        testsupport::WriteFile(workingCopy, "half converted");
        guard.AddLeftover(workingCopy);
        guard.SetSafetyCopy("/copies/Ketrova-before-upgrade.mdb");
        guard.SetDatabaseTouched(true);
        ::_exit(9); // no destructor runs: the marker stays
    });

    const auto marker = safety::FindInterrupted(dbFile);
    ASSERT_TRUE(marker);
    EXPECT_EQ(marker->operation, "upgrade");
    EXPECT_TRUE(marker->databaseTouched);
    EXPECT_EQ(marker->safetyCopy, "/copies/Ketrova-before-upgrade.mdb");
    EXPECT_EQ(marker->leftovers, std::vector<std::string>{workingCopy});
    EXPECT_EQ(safety::DescribeInterrupted(*marker),
              "The upgrade of " + dbFile + " started on 2026-11-23 19:02:12 (process " +
                  std::to_string(marker->pid) + ") was interrupted.");

    safety::OperationGuard next(dbFile, "compact", kClock);
    std::string error;
    EXPECT_FALSE(next.Begin(error));
    EXPECT_NE(error.find("was interrupted"), std::string::npos) << error;

    ASSERT_TRUE(safety::ClearInterrupted(dbFile, error)) << error;
    EXPECT_FALSE(fs::exists(workingCopy));
    EXPECT_EQ(testsupport::ReadFile(dbFile), "database");
    EXPECT_FALSE(safety::FindInterrupted(dbFile));
    EXPECT_TRUE(next.Begin(error)) << error;
}

TEST_F(OperationGuardTest, ProcessHoldingTheDatabaseOpenIsNamed) {
    EXPECT_EQ(safety::DescribeOtherHolders(dbFile), "");
    int ready[2], release[2];
    ASSERT_EQ(::pipe(ready), 0);
    ASSERT_EQ(::pipe(release), 0);
    const pid_t child = ::fork();
    if (child == 0) {
        const int fd = ::open(dbFile.c_str(), O_RDWR);
        char c = fd >= 0 ? 'y' : 'n';
        (void)!::write(ready[1], &c, 1);
        (void)!::read(release[0], &c, 1);
        ::_exit(0);
    }
    char c = 0;
    ASSERT_EQ(::read(ready[0], &c, 1), 1);
    const std::string said = safety::DescribeOtherHolders(dbFile);
    (void)!::write(release[1], "x", 1);
    ::waitpid(child, nullptr, 0);
    EXPECT_NE(said.find("(process " + std::to_string(child) + ")"), std::string::npos) << said;
    EXPECT_EQ(safety::DescribeOtherHolders(dbFile), "");
    for (int fd : {ready[0], ready[1], release[0], release[1]})
        ::close(fd);
}

} // namespace
