#include "loan/mortgage.h"

#include "db/connection.h"
#include "db/schema.h"
#include "support/temp_dir.h"
#include "util/strings.h"

#include <gtest/gtest.h>

#include <cmath>
#include <tuple>

using namespace loan;

namespace {

// The balance after n payments of a level-payment loan, worked out here.
double BalanceAfter(double pv, double annual, int term, int n) {
    const double r = annual / 12;
    const double g = std::pow(1 + r, n);
    return pv * g - pv * r / (1 - std::pow(1 + r, -term)) * (g - 1) / r;
}

class MortgageTest : public ::testing::Test {
protected:
    platform::FixedClock clock{{2026, 7, 15, 9, 30, 0}};
    clsMortgage mtg{clock};
};

} // namespace

// Level payments; a balloon loan is scheduled to its balloon period and what
// is still owed then is the balloon payment; an interest-only loan pays the
// interest alone for the whole term.
TEST_F(MortgageTest, ReCalcLevelBalloonAndInterestOnlyLoans) {
    ASSERT_TRUE(mtg.ReCalc());
    EXPECT_NEAR(mtg.OrigPmt(), 536.82, 0.005);
    EXPECT_EQ(mtg.FirstDue(), "7/01/2026"); // the first of this month
    const auto& s = mtg.Schedule();
    ASSERT_EQ(s.size(), 360u);
    for (int n : {1, 12, 120, 359, 360}) {
        EXPECT_NEAR(s[n - 1].Balance, BalanceAfter(100000, 0.05, 360, n), 0.005) << n;
        EXPECT_NEAR(s[n - 1].Pmt, 536.82, 0.005) << n;
        EXPECT_NEAR(s[n - 1].Int, s[n - 1].BeginBalance * 0.05 / 12, 1e-9) << n;
        EXPECT_EQ(s[n - 1].Remaining, 360 - n);
    }
    EXPECT_NEAR(s.back().IntTTD, 93255.78, 0.05);
    EXPECT_NEAR(s.back().PriTTD, 100000, 0.005);
    EXPECT_EQ(std::tie(s[0].Due, s[6].Due), std::make_tuple(Date{2026, 7, 1}, Date{2027, 1, 1}));
    // The year-to-date sums restart at period 1 and in every January.
    EXPECT_NEAR(s[5].IntYr, s[0].Int + s[1].Int + s[2].Int + s[3].Int + s[4].Int + s[5].Int, 1e-6);
    EXPECT_NEAR(s[7].PriYr, s[6].Pri + s[7].Pri, 1e-9);
    EXPECT_NEAR(s[12].PmtYr, 7 * s[0].Pmt, 1e-6); // January to July 2027
    EXPECT_NEAR(s[12].PmtTTD, 13 * s[0].Pmt, 1e-6);

    mtg.SetBalloon(true);
    ASSERT_EQ(mtg.GetPeriods(), 60);
    EXPECT_NEAR(mtg.BalloonPmt(), BalanceAfter(100000, 0.05, 360, 60), 0.005);
    mtg.SetBalloonPer(400); // beyond the term: no balloon is due
    ASSERT_EQ(mtg.GetPeriods(), 360);
    EXPECT_EQ(mtg.BalloonPmt(), 0);
    mtg.SetIntOnly(true);
    ASSERT_EQ(mtg.GetPeriods(), 360);
    EXPECT_EQ(std::make_tuple(mtg.OrigPmt(), mtg.GetIPMT(360), mtg.GetPPMT(360), s.back().Balance),
              std::make_tuple(100000 * 0.05 / 12, 100000 * 0.05 / 12, 0.0, 100000.0));
}

// The getters read the schedule at a period bounded by the current period
// (for 0 and below) and by the schedule's length.
TEST_F(MortgageTest, GettersReadTheScheduleWithinItsBounds) {
    mtg.SetCurrentPeriod(5);
    ASSERT_EQ(mtg.GetPeriods(), 360);
    for (auto [asked, row] : {std::pair{0, 5}, {-3, 5}, {1, 1}, {360, 360}, {9999, 360}}) {
        const MortgagePeriod& s = mtg.Schedule()[row - 1];
        EXPECT_EQ(std::make_tuple(mtg.GetPeriod(asked), mtg.GetPV(asked), mtg.GetPMT(asked),
                                  mtg.GetPPMT(asked), mtg.GetIPMT(asked), mtg.GetPriTTD(asked),
                                  mtg.GetIntTTD(asked), mtg.GetPriYTD(asked), mtg.GetIntYTD(asked)),
                  std::make_tuple(s.No, s.BeginBalance, s.Pmt, s.Pri, s.Int, s.PriTTD, s.IntTTD,
                                  s.PriYr, s.IntYr))
            << asked;
    }
    EXPECT_EQ(mtg.GetPeriodsRemaining(), 355);
    EXPECT_EQ(mtg.NextDue(), (Date{2026, 11, 1}));
    // BalanceMtg makes the schedule reach a known balance at the current period.
    ASSERT_TRUE(mtg.BalanceMtg(90000));
    EXPECT_NEAR(mtg.GetPV(), 90000, 1e-6);
    EXPECT_NEAR(mtg.GetXPRI(4), mtg.GetPV(4) - mtg.GetPPMT(4) - 90000, 1e-6);
    mtg.SetCurrentPeriod(13);
    EXPECT_FALSE(mtg.BalanceMtg(1e6)); // more than the payment can ever repay
    mtg.SetOrigPer(0);                 // no schedule: every figure is 0
    EXPECT_EQ(
        std::make_tuple(mtg.GetPeriods(), mtg.GetPV(), mtg.GetPeriodsRemaining(), mtg.NextDue()),
        std::make_tuple(0, 0.0, 0, Date{}));
}

// The highest rates the caps allow: up by the periodic cap at each
// adjustment, never past the life cap over the start nor past 30 % a year.
TEST_F(MortgageTest, AdjustableRateTable) {
    const std::tuple<double, int16_t, int16_t, std::vector<std::pair<int, double>>> cases[] = {
        {0.05, 1, 3, {{1, 0.05}, {2, 0.07}, {4, 0.07}, {5, 0.09}}},
        {0.27, 0, 6, {{1, 0.29}, {6, 0.29}, {7, 0.3}, {360, 0.3}}}, // no lock: period 1 adjusts
        {0.05, 12, 12, {{12, 0.05}, {13, 0.07}, {24, 0.07}, {25, 0.09}, {37, 0.11}, {360, 0.11}}}};
    mtg.SetARM(true);
    for (const auto& [rate, locked, every, rates] : cases) {
        SCOPED_TRACE(testing::Message() << rate << " " << locked << " " << every);
        mtg.SetOrigRate(rate);
        mtg.SetARMLockedPer(locked);
        mtg.SetARMAdjPer(every);
        mtg.SetMaxRates();
        for (auto [period, expected] : rates) {
            EXPECT_DOUBLE_EQ(mtg.GetRate(period), expected) << period;
        }
    }
    // The schedule follows the table, re-amortized at each new rate, and
    // takes in a changed entry.
    const double r = 0.07 / 12;
    const double balance12 = mtg.GetPV(13);
    EXPECT_NEAR(mtg.GetPMT(13), balance12 * r / (1 - std::pow(1 + r, -348)), 1e-6);
    EXPECT_NEAR(mtg.Schedule().back().Balance, 0, 0.005);
    mtg.SetRate(13, 0.06);
    EXPECT_NEAR(mtg.GetIPMT(13), balance12 * 0.005, 1e-6);
    // Not an ARM: the table is left alone; only a period takes a rate.
    mtg.ClearRate();
    mtg.SetARM(false);
    mtg.SetMaxRates();
    mtg.SetRate(0, 0.09);
    mtg.SetRate(2, 0.09);
    EXPECT_EQ(std::make_tuple(mtg.XRateText(), mtg.GetRate(1), mtg.GetRate(3)),
              std::make_tuple("0.05,0.09", 0.05, 0.05));
}

// Extra principal shortens the loan and the last payment pays only what is
// left; the penalty is charged once a year, in the period whose prepayments
// pass the trigger, within the first PPMPer periods (0: every period).
TEST_F(MortgageTest, ExtraPrincipalAndThePrepaymentPenalty) {
    mtg.SetPPM(true);
    mtg.SetXPriAll(100);   // every period without an entry of its own
    mtg.SetXPri(3, 25000); // 25 % of the loan: past the 20 % trigger
    mtg.SetXPri(4, 25000); // the same year: not charged again
    mtg.SetXPri(9, 30000); // January 2027 starts a new year
    for (auto [within, charged] : {std::pair<int16_t, double>{0, 5000}, {8, 0}, {9, 5000}}) {
        mtg.SetPPMPer(within);
        ASSERT_GT(mtg.GetPeriods(), 9); // works the schedule out again
        const auto& s = mtg.Schedule();
        EXPECT_EQ(std::make_tuple(s[1].PPMPenalty, s[2].PPMPenalty, s[3].PPMPenalty,
                                  s[8].PPMPenalty, s[0].XtraPri, s[2].XtraPri),
                  std::make_tuple(0.0, 5000.0, 0.0, charged, 100.0, 25000.0))
            << within;
    }
    EXPECT_EQ(std::make_tuple(mtg.GetXPRI(0), mtg.GetXPRI(9), mtg.GetXPRI(10)),
              std::make_tuple(0.0, 30000.0, 0.0));
    EXPECT_LT(mtg.GetPeriods(), 150);
    EXPECT_NEAR(mtg.GetPMT(10), 536.82, 0.005); // the payment stays
    EXPECT_EQ(mtg.Schedule().back().Balance, 0);
    EXPECT_LT(mtg.Schedule().back().Pmt, 536.82);
    EXPECT_NEAR(mtg.GetPriTTD(2), mtg.GetPPMT(1) + mtg.GetPPMT(2) + 200, 1e-6);
}

TEST_F(MortgageTest, StatusByMonthAndTheGrid) {
    const std::pair<Date, const char*> cases[] = {
        {{2026, 6, 30}, "Pending"},
        {{2026, 7, 1}, "Current"},
        {{2056, 6, 30}, "Current"},
        {{2056, 7, 1}, "Closed"}}; // the 360th month, and after
    for (const auto& [asOf, status] : cases) {
        EXPECT_EQ(mtg.GetStatus(asOf), status) << asOf.year << "-" << asOf.month;
    }
    mtg.SetOrigPV(1000000);
    mtg.SetCurrentPeriod(2);
    GridData grid;
    mtg.ShowGrid(grid);
    ASSERT_EQ(grid.rows.size(), 360u);
    EXPECT_EQ(grid.rows[0], (std::vector<std::string>{
                                "1", "07/01/2026", "5.00%", "5,368.22", "5,368.22", "5,368.22",
                                "1,201.55", "0.00", "1,201.55", "1,201.55", "4,166.67", "4,166.67",
                                "4,166.67", "998,798.45", "359", "0.00"}));
    EXPECT_EQ(grid.highlightRow, 1);
}

namespace {

class MortgageDbTest : public MortgageTest {
protected:
    void SetUp() override {
        std::string error;
        ASSERT_TRUE(db::CreateDatabaseFile(file, error)) << error;
        connection.Open(file);
        // The tables as the shipped template builds them, plus the old
        // Balloon column that must not be read.
        startup::RunSettings settings;
        db::SchemaLists lists;
        util::UiServices ui;
        ASSERT_TRUE(db::LoadTemplateFile(
            settings, lists, std::string(OSTRAND_SOURCE_DIR) + "/data/Ketrova.ddf", db::ActionAdd));
        ASSERT_TRUE(db::AddFields(settings, connection, lists, ui));
        db::AddColumn(connection, "Mortgage", "Balloon", db::adInteger, 0);
    }

    testsupport::TempDir dir;
    std::string file = (dir / "Ketrova.mdb").string();
    db::Connection connection;
};

} // namespace

// A row with every term off its default, loaded and saved under another key:
// each term comes back as it was, and the figures worked out are written.
// LoadMtg reads the balloon flag from BalloonMtg, not the old Balloon; a
// null table loads empty.
TEST_F(MortgageDbTest, RowsLoadAndSaveWithEveryTerm) {
    const std::string terms = "Description, CurrentPeriod, OrigPV, OrigPer, OrigRate, IntOnly, "
                              "FirstDue, BalloonMtg, BalloonPer, PPM, PPMPct, PPMTrigger, PPMPer, "
                              "xPri, xPriAll, ARM, ARMLockedPer, ARMAdjPer, ARMLifeCap, ARMPerCap";
    connection.Execute("INSERT INTO Mortgage (IdMortgage, Balloon, xRate, " + terms +
                       ") VALUES (1, 0, '0.0625,0.0625,0.07', 'Elm Street', 3, 250000, 240, "
                       "0.0625, 0, '3/1/2025', 1, 84, 1, 0.04, 0.25, 36, '40,500', 25, 1, 60, 6, "
                       "0.05, 0.01), (7, 1, NULL, 'Old', 1, 50000, 120, 0.04, 0, '', 0, 60, 0, 0, "
                       "0, 0, NULL, 0, 0, 0, 0, 0, 0)");
    auto row = [&](int id) {
        return connection
            .Scalar("SELECT " + util::Replace(terms, ", ", " || '|' || ") +
                    " FROM Mortgage WHERE IdMortgage = " + std::to_string(id))
            .AsText();
    };
    ASSERT_TRUE(mtg.LoadMtg(connection, 1)) << mtg.LastError();
    EXPECT_TRUE(mtg.IsDirty()); // the schedule is worked out again from what was read
    EXPECT_EQ(std::make_tuple(mtg.Balloon(), mtg.GetXPRI(1), mtg.GetRate(3), mtg.XPriAll()),
              std::make_tuple(true, 40.0, 0.07, 25.0));
    ASSERT_TRUE(mtg.SaveMtg(connection, 2)) << mtg.LastError();
    ASSERT_TRUE(mtg.SaveMtg(connection, 2)); // a second save updates the row
    EXPECT_EQ(row(2), row(1));
    EXPECT_EQ(connection.Scalar("SELECT Count(*) FROM Mortgage").AsInt(), 3);
    EXPECT_EQ(connection
                  .Scalar("SELECT NextDue || '|' || RemainingT || '|' || CurrentI || '|' || "
                          "substr(xRate, 1, 25) FROM Mortgage WHERE IdMortgage = 2")
                  .AsText(),
              "5/1/2025|81|0.07|0.0625,0.0625,0.07,0.0625");

    ASSERT_TRUE(mtg.LoadMtg(connection, 7));
    EXPECT_EQ(std::make_tuple(mtg.Balloon(), mtg.XPriText(), mtg.XRateText(), mtg.GetRate(3)),
              std::make_tuple(false, "", "", 0.04)); // empty tables: the loan's own rate
    // A load or save that fails keeps what was read.
    EXPECT_FALSE(mtg.LoadMtg(connection, 99));
    EXPECT_EQ(std::make_tuple(mtg.Description(), mtg.LastError()),
              std::make_tuple("Old", "no mortgage 99"));
    connection.Close();
    EXPECT_FALSE(mtg.SaveMtg(connection, 1));
    EXPECT_FALSE(mtg.LoadMtg(connection, 1));
    EXPECT_EQ(std::make_tuple(mtg.Description(), mtg.LastError()),
              std::make_tuple("Old", "the Mortgage table cannot be read"));
}
