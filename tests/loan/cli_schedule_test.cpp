// ostrand-cli schedule, run as the built program.

#include "support/cli_run.h"
#include "support/temp_dir.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <sstream>

namespace {

struct Result {
    int exitCode = -1;
    std::vector<std::string> lines;
};

Result RunSchedule(const std::string& args) {
    testsupport::TempDir dir;
    testsupport::CliResult cli = testsupport::RunCli(dir.str(), "schedule " + args);
    Result r{cli.exitCode, {}};
    std::istringstream in(cli.out);
    for (std::string line; std::getline(in, line);) {
        r.lines.push_back(line);
    }
    return r;
}

} // namespace

TEST(ScheduleCommand, PrintsTheGridTabSeparated) {
    Result r = RunSchedule("--pv 1000 --rate 12 --periods 3 --first-due 7/1/2026");
    ASSERT_EQ(r.exitCode, 0);
    ASSERT_EQ(r.lines.size(), 4u);
    EXPECT_EQ(r.lines[0], "Month #\tBalance\tI Rate\tPayment\tPri Amt\tP Adjust\tPri TTD\tInt "
                          "Amt\tInt TTD\tDate Due\tDate Paid\tCheck Number\tPayments Remaining");
    EXPECT_EQ(r.lines[1], "1\t$669.98\t12.00\t$340.02\t$330.02\t$.00\t$330.02\t$10.00\t$10.00\t"
                          "07/01/2026\t\t\t2");
    EXPECT_EQ(r.lines[3].substr(0, 8), "3\t$.00\t1");
}

TEST(ScheduleCommand, AppliesChangesAndPrintsTheStoredText) {
    Result changed = RunSchedule("--pv 100000 --rate 5 --periods 360 --first-due 7/1/2026 "
                                 "--extra 12=10000 --rate-change 24=6 --extra 30=500");
    ASSERT_EQ(changed.exitCode, 0);
    EXPECT_LT(changed.lines.size(), 300u); // the extra payments shortened it
    EXPECT_NE(changed.lines[24].find("\t6.00\t"), std::string::npos);

    Result text = RunSchedule("--pv 1000 --rate 12 --periods 2 --first-due 2026-07-01 --balloon 0 "
                              "--datastring");
    ASSERT_EQ(text.exitCode, 0);
    ASSERT_EQ(text.lines.size(), 1u);
    EXPECT_EQ(text.lines[0].substr(0, 40), "1000:1000:2:0:2:1:507.5125:497.5125:0:49");
    EXPECT_EQ(std::count(text.lines[0].begin(), text.lines[0].end(), '|'), 1);
}

TEST(ScheduleCommand, ExitCodes) {
    // 2: the command line is wrong; 1: the terms or changes are refused.
    const std::pair<const char*, int> cases[] = {
        {"--pv 1000 --rate 12", 2},                                   // no term
        {"--pv 1000 --rate 12 --periods 3 --extra 2:5", 2},           // not P=AMOUNT
        {"--pv 1000 --rate 12 --periods 3 --first-due 13/1/2026", 2}, // no such date
        {"--pv 1000 --rate 12 --periods 0.4", 1},                     // nothing built
        {"--pv 1000 --rate 12 --periods 3 --rate-change 0=5", 1},     // no period 0
        {"--pv 1000 --rate 12 --periods 3 --extra 2=-5", 1},          // negative amount
    };
    for (const auto& [args, code] : cases) {
        SCOPED_TRACE(args);
        EXPECT_EQ(RunSchedule(args).exitCode, code);
    }
}
