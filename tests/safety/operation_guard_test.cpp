#include "safety/operation_guard.h"

#include "safety_fixture.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <unistd.h>

namespace {

namespace fs = std::filesystem;

const platform::FixedClock kClock({2026, 11, 23, 19, 2, 12});

using OperationGuardTest = safetytest::SafetyTest;

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

TEST_F(OperationGuardTest, ProcessHoldingTheDatabaseOpenIsNamed) {
    EXPECT_EQ(safety::DescribeOtherHolders(dbFile), "");
    std::string said;
    pid_t holder = 0;
    {
        safetytest::HeldOpenElsewhere other(dbFile);
        holder = other.pid();
        said = safety::DescribeOtherHolders(dbFile);
    }
    EXPECT_NE(said.find("(process " + std::to_string(holder) + ")"), std::string::npos) << said;
    EXPECT_EQ(safety::DescribeOtherHolders(dbFile), "");
}

} // namespace
