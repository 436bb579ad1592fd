// ostrand-cli schedule, run as the built program.

#include "loan/amort.h"
#include "support/cli_run.h"
#include "support/temp_dir.h"

#include <gtest/gtest.h>

namespace {

testsupport::CliResult Schedule(const std::string& args) {
    testsupport::TempDir dir;
    return testsupport::RunCli(dir.str(), "schedule --pv 1000 --rate 12 " + args);
}

} // namespace

TEST(ScheduleCommand, PrintsTheGridTabSeparated) {
    const auto r = Schedule("--periods 3 --first-due 7/1/2026");
    EXPECT_EQ(r.exitCode, 0);
    EXPECT_EQ(r.out, "Month #\tBalance\tI Rate\tPayment\tPri Amt\tP Adjust\tPri TTD\tInt Amt\t"
                     "Int TTD\tDate Due\tDate Paid\tCheck Number\tPayments Remaining\n"
                     "1\t$669.98\t12.00\t$340.02\t$330.02\t$.00\t$330.02\t$10.00\t$10.00\t"
                     "07/01/2026\t\t\t2\n"
                     "2\t$336.66\t12.00\t$340.02\t$333.32\t$.00\t$663.34\t$6.70\t$16.70\t"
                     "08/01/2026\t\t\t1\n"
                     "3\t$.00\t12.00\t$340.02\t$336.66\t$.00\t$1,000.00\t$3.37\t$20.07\t"
                     "09/01/2026\t\t\t0\n");
}

// The stored text is the engine's own after the same calls.
TEST(ScheduleCommand, AppliesTheChangesAndPrintsTheStoredText) {
    const auto r = Schedule("--periods 24 --first-due 2026-07-01 --balloon 20 --extra 3=100 "
                            "--rate-change 6=9.5 --datastring");
    platform::FixedClock clock({2026, 7, 1, 0, 0, 0});
    util::UiServices ui;
    loan::cShared_Amort amort(clock, ui);
    ASSERT_TRUE(amort.CreateAmortization(1000, 12, 24, {2026, 7, 1}, 20, false, "m"));
    ASSERT_TRUE(amort.PayExtra(3, 100) && amort.AdjustI(9.5f, 6));
    EXPECT_EQ(r.exitCode, 0);
    EXPECT_EQ(r.out, amort.DataString() + "\n");
}

// 2: the command line is wrong; 1: the terms or changes are refused. The
// changes apply in the order given: an extra payment that shortens the loan
// first leaves no period 20 for the rate change.
TEST(ScheduleCommand, ExitCodes) {
    const std::pair<const char*, int> cases[] = {
        {"", 2},                                // no term
        {"--periods 3 --extra 2:5", 2},         // not P=AMOUNT
        {"--periods 3 --rate-change 2.5=5", 2}, // not a period
        {"--periods 0.4", 1},                   // nothing built
        {"--periods 3 --rate-change 0=5", 1},   // no period 0
        {"--periods 24 --extra 2=500 --rate-change 20=6", 1},
        {"--periods 24 --rate-change 20=6 --extra 2=500", 0}};
    for (const auto& [args, code] : cases) {
        SCOPED_TRACE(args);
        EXPECT_EQ(Schedule(args).exitCode, code);
    }
}
