#include "loan/mortgage.h"

#include "db/connection.h"
#include "db/schema.h"
#include "support/temp_dir.h"

#include <gtest/gtest.h>

#include <cmath>
#include <tuple>

using namespace loan;

namespace {

class MortgageTest : public ::testing::Test {
protected:
    platform::FixedClock clock{{2026, 7, 15, 9, 30, 0}};
    clsMortgage mtg{clock};

    // The balance after n payments of a level-payment loan, worked out here.
    static double BalanceAfter(double pv, double annual, int term, int n) {
        double r = annual / 12;
        double pmt = pv * r / (1 - std::pow(1 + r, -term));
        double g = std::pow(1 + r, n);
        return pv * g - pmt * (g - 1) / r;
    }
};

} // namespace

TEST_F(MortgageTest, NewMortgageTakesTheDefaults) {
    EXPECT_EQ(mtg.Description(), "New Mortgage");
    EXPECT_EQ(mtg.OrigPV(), 100000);
    EXPECT_EQ(mtg.OrigPer(), 360);
    EXPECT_EQ(mtg.OrigRate(), 0.05);
    EXPECT_EQ(mtg.OrigPmt(), 0);
    EXPECT_EQ(mtg.CurrentPeriod(), 1);
    EXPECT_EQ(mtg.FirstDue(), "7/01/2026");
    EXPECT_FALSE(mtg.IntOnly() || mtg.Balloon() || mtg.PPM() || mtg.ARM() || mtg.IsDirty());
    EXPECT_EQ(mtg.BalloonPer(), 60);
    EXPECT_EQ(mtg.PPMPct(), 0.05);
    EXPECT_EQ(mtg.PPMTrigger(), 0.2);
    EXPECT_EQ(mtg.PPMPer(), 60);
    EXPECT_EQ(mtg.ARMLockedPer(), 12);
    EXPECT_EQ(mtg.ARMAdjPer(), 12);
    EXPECT_EQ(mtg.ARMLifeCap(), 0.06);
    EXPECT_EQ(mtg.ARMPerCap(), 0.02);
    EXPECT_GE(mtg.Key(), 0.0f);
    EXPECT_LT(mtg.Key(), 1.0f);

    clock.Set({2026, 12, 31, 23, 0, 0});
    mtg.SetDescription("Elm Street");
    mtg.CreateMtg();
    EXPECT_EQ(mtg.FirstDue(), "12/01/2026");
    EXPECT_EQ(mtg.Description(), "New Mortgage");
    EXPECT_NEAR(mtg.OrigPmt(), 536.82, 0.005); // CreateMtg computes the schedule
}

TEST_F(MortgageTest, ReCalcLevelPaymentLoan) {
    ASSERT_TRUE(mtg.ReCalc());
    EXPECT_NEAR(mtg.OrigPmt(), 536.82, 0.005);
    ASSERT_EQ(mtg.GetPeriods(), 360);
    const auto& s = mtg.Schedule();
    for (int n : {1, 12, 120, 359}) {
        EXPECT_NEAR(s[n - 1].Balance, BalanceAfter(100000, 0.05, 360, n), 0.005) << n;
        EXPECT_NEAR(s[n - 1].Pmt, 536.82, 0.005) << n;
        EXPECT_NEAR(s[n - 1].Int, s[n - 1].BeginBalance * 0.05 / 12, 1e-9) << n;
    }
    EXPECT_NEAR(s.back().Balance, 0, 0.005);
    EXPECT_NEAR(s.back().IntTTD, 93255.78, 0.05);
    EXPECT_EQ(s.back().Remaining, 0);
    EXPECT_EQ(s[0].Due, (Date{2026, 7, 1}));
    EXPECT_EQ(s[6].Due, (Date{2027, 1, 1}));

    // The year-to-date sums restart at period 1 and in every January.
    EXPECT_NEAR(mtg.GetIntYTD(6), s[0].Int + s[1].Int + s[2].Int + s[3].Int + s[4].Int + s[5].Int,
                1e-6);
    EXPECT_NEAR(mtg.GetIntYTD(7), s[6].Int, 1e-9);
    EXPECT_NEAR(mtg.GetPriYTD(8), s[6].Pri + s[7].Pri, 1e-9);
    EXPECT_NEAR(s[12].PmtYr, 7 * s[0].Pmt, 1e-6); // January to July 2027
    EXPECT_NEAR(mtg.GetPriTTD(360), 100000, 0.005);
}

TEST_F(MortgageTest, GettersReadTheCurrentPeriodWithinTheSchedule) {
    mtg.SetCurrentPeriod(5);
    ASSERT_EQ(mtg.GetPeriods(), 360); // works the schedule out
    const MortgagePeriod row5 = mtg.Schedule()[4];
    EXPECT_EQ(mtg.GetPeriod(), 5);
    EXPECT_EQ(mtg.GetPV(), row5.BeginBalance);
    EXPECT_EQ(mtg.GetPMT(), row5.Pmt);
    EXPECT_EQ(mtg.GetPPMT(), row5.Pri);
    EXPECT_EQ(mtg.GetIPMT(), row5.Int);
    EXPECT_EQ(mtg.GetPeriodsRemaining(), 355);
    EXPECT_EQ(mtg.NextDue(), (Date{2026, 11, 1}));
    EXPECT_EQ(mtg.GetPeriod(9999), 360); // bounded by the schedule
    EXPECT_EQ(mtg.GetPV(9999), mtg.Schedule().back().BeginBalance);
    mtg.SetCurrentPeriod(0);
    EXPECT_EQ(mtg.GetPeriod(), 1);

    // No schedule: every figure is 0.
    mtg.SetOrigPer(0);
    EXPECT_EQ(mtg.GetPeriods(), 0);
    EXPECT_EQ(mtg.GetPV(), 0);
    EXPECT_EQ(mtg.NextDue(), Date{});
}

TEST_F(MortgageTest, InterestOnlyAndBalloon) {
    mtg.SetIntOnly(true);
    ASSERT_TRUE(mtg.ReCalc());
    EXPECT_NEAR(mtg.OrigPmt(), 416.67, 0.005);
    EXPECT_EQ(mtg.GetPeriods(), 360);
    EXPECT_NEAR(mtg.GetPMT(200), 416.67, 0.005);
    EXPECT_EQ(mtg.GetPPMT(200), 0);
    EXPECT_EQ(mtg.Schedule().back().Balance, 100000);

    mtg.SetIntOnly(false);
    mtg.SetBalloon(true);
    ASSERT_TRUE(mtg.ReCalc());
    EXPECT_EQ(mtg.GetPeriods(), 60);
    EXPECT_NEAR(mtg.GetPMT(60), 536.82, 0.005);
    EXPECT_NEAR(mtg.BalloonPmt(), BalanceAfter(100000, 0.05, 360, 60), 0.005);
    mtg.SetBalloonPer(400); // beyond the term: no balloon is due
    ASSERT_TRUE(mtg.ReCalc());
    EXPECT_EQ(mtg.GetPeriods(), 360);
    EXPECT_EQ(mtg.BalloonPmt(), 0);
}

TEST_F(MortgageTest, ExtraPrincipalShortensTheLoan) {
    mtg.SetXPri(12, 10000);
    EXPECT_TRUE(mtg.IsDirty());
    ASSERT_TRUE(mtg.ReCalc());
    EXPECT_FALSE(mtg.IsDirty());
    EXPECT_EQ(mtg.GetXPRI(12), 10000);
    EXPECT_EQ(mtg.Schedule()[11].XtraPri, 10000);
    EXPECT_LT(mtg.GetPeriods(), 300);
    EXPECT_NEAR(mtg.GetPMT(13), 536.82, 0.005); // the payment stays
    EXPECT_EQ(mtg.Schedule().back().Balance, 0);
    EXPECT_LE(mtg.Schedule().back().Pmt, 536.83); // the last pays only what is left

    // The all-periods amount fills every period without an entry of its own.
    mtg.SetXPriAll(100);
    ASSERT_TRUE(mtg.ReCalc());
    EXPECT_EQ(mtg.Schedule()[0].XtraPri, 100);
    EXPECT_EQ(mtg.Schedule()[11].XtraPri, 10000);
    EXPECT_NEAR(mtg.GetPriTTD(2), mtg.GetPPMT(1) + mtg.GetPPMT(2) + 200, 1e-6);

    mtg.ClearXPri();
    mtg.SetXPriAll(0);
    EXPECT_EQ(mtg.GetXPRI(12), 0);
    EXPECT_EQ(mtg.GetPeriods(), 360);
}

// BalanceMtg makes the schedule reach a known balance at the current period.
TEST_F(MortgageTest, BalanceMtgRebasesOnAKnownBalance) {
    mtg.SetCurrentPeriod(13);
    ASSERT_TRUE(mtg.BalanceMtg(90000));
    EXPECT_NEAR(mtg.GetPV(), 90000, 1e-6);
    EXPECT_GT(mtg.GetXPRI(12), 0);
    mtg.SetCurrentPeriod(1);
    ASSERT_TRUE(mtg.BalanceMtg(80000));
    EXPECT_EQ(mtg.OrigPV(), 80000);
}

TEST_F(MortgageTest, AdjustableRateTable) {
    mtg.SetARM(true);
    mtg.SetMaxRates();
    EXPECT_DOUBLE_EQ(mtg.GetRate(12), 0.05);
    EXPECT_DOUBLE_EQ(mtg.GetRate(13), 0.07);
    EXPECT_DOUBLE_EQ(mtg.GetRate(24), 0.07);
    EXPECT_DOUBLE_EQ(mtg.GetRate(25), 0.09);
    EXPECT_DOUBLE_EQ(mtg.GetRate(37), 0.11); // capped at the life cap over the start
    EXPECT_DOUBLE_EQ(mtg.GetRate(360), 0.11);
    ASSERT_TRUE(mtg.ReCalc());
    double balance12 = mtg.Schedule()[11].Balance;
    double r = 0.07 / 12;
    EXPECT_NEAR(mtg.GetPMT(13), balance12 * r / (1 - std::pow(1 + r, -348)), 1e-6);
    EXPECT_NEAR(mtg.Schedule().back().Balance, 0, 0.005);

    // The ceiling never passes 30 % a year; no lock means period 1 adjusts.
    mtg.SetOrigRate(0.27);
    mtg.SetARMLockedPer(0);
    mtg.SetARMAdjPer(6);
    mtg.SetMaxRates();
    EXPECT_DOUBLE_EQ(mtg.GetRate(1), 0.29);
    EXPECT_DOUBLE_EQ(mtg.GetRate(6), 0.29);
    EXPECT_DOUBLE_EQ(mtg.GetRate(7), 0.3);
    EXPECT_DOUBLE_EQ(mtg.GetRate(360), 0.3);

    // Not an ARM: the table is left alone and the loan keeps its rate.
    mtg.ClearRate();
    mtg.SetARM(false);
    mtg.SetMaxRates();
    EXPECT_EQ(mtg.XRateText(), "");
    mtg.SetRate(2, 0.09);
    EXPECT_EQ(mtg.XRateText(), "0.27,0.09");
    ASSERT_TRUE(mtg.ReCalc());
    EXPECT_EQ(mtg.Schedule()[1].Rate, 0.27);
}

TEST_F(MortgageTest, PrepaymentPenaltyOncePassingTheTriggerInAYear) {
    mtg.SetPPM(true);
    mtg.SetXPri(3, 25000); // 25 % of the loan: past the 20 % trigger
    mtg.SetXPri(4, 25000); // the same year: not charged again
    mtg.SetXPri(9, 30000); // January 2027 starts a new year
    ASSERT_TRUE(mtg.ReCalc());
    const auto& s = mtg.Schedule();
    EXPECT_EQ(s[1].PPMPenalty, 0);
    EXPECT_DOUBLE_EQ(s[2].PPMPenalty, 5000);
    EXPECT_EQ(s[3].PPMPenalty, 0);
    EXPECT_DOUBLE_EQ(s[8].PPMPenalty, 5000);
    mtg.SetPPMPer(8); // only within the first eight periods
    ASSERT_TRUE(mtg.ReCalc());
    EXPECT_DOUBLE_EQ(mtg.Schedule()[2].PPMPenalty, 5000);
    EXPECT_EQ(mtg.Schedule()[8].PPMPenalty, 0);
    mtg.SetPPM(false);
    ASSERT_TRUE(mtg.ReCalc());
    EXPECT_EQ(mtg.Schedule()[2].PPMPenalty, 0);
}

TEST_F(MortgageTest, StatusByMonth) {
    EXPECT_EQ(mtg.GetStatus(Date{2026, 6, 30}), "Pending");
    EXPECT_EQ(mtg.GetStatus(Date{2026, 7, 1}), "Current");
    EXPECT_EQ(mtg.GetStatus(Date{2026, 7, 31}), "Current");
    EXPECT_EQ(mtg.GetStatus(Date{2056, 6, 30}), "Current"); // the 360th month
    EXPECT_EQ(mtg.GetStatus(Date{2056, 7, 1}), "Closed");
    mtg.SetFirstDue("");
    EXPECT_EQ(mtg.GetStatus(Date{2026, 7, 1}), "Pending");
}

TEST_F(MortgageTest, GridColumnsAndFormats) {
    mtg.SetOrigPV(1000000);
    mtg.SetCurrentPeriod(2);
    GridData grid = mtg.GetAmortization();
    ASSERT_EQ(grid.headers.size(), 16u);
    EXPECT_EQ(grid.headers[0], "No.");
    EXPECT_EQ(grid.headers[15], "PPM Penalty");
    EXPECT_EQ(grid.formats[3], "#,###.00;(#,###.00);0.00;0.00");
    ASSERT_EQ(grid.rows.size(), 360u);
    EXPECT_EQ(grid.rows[0], (std::vector<std::string>{
                                "1", "07/01/2026", "5.00%", "5,368.22", "5,368.22", "5,368.22",
                                "1,201.55", "0.00", "1,201.55", "1,201.55", "4,166.67", "4,166.67",
                                "4,166.67", "998,798.45", "359", "0.00"}));
    EXPECT_EQ(grid.highlightRow, 1);
    GridData shown;
    mtg.ShowGrid(shown);
    EXPECT_EQ(shown.rows, grid.rows);
}

namespace {

class MortgageDbTest : public MortgageTest {
protected:
    void SetUp() override {
        file = (dir / "Ketrova.mdb").string();
        std::string error;
        ASSERT_TRUE(db::CreateDatabaseFile(file, error)) << error;
        connection.Open(file);
        // The tables as the shipped template builds them, plus the old
        // Balloon column that LoadRS still reads.
        startup::RunSettings settings;
        db::SchemaLists lists;
        util::UiServices ui;
        ASSERT_TRUE(db::LoadTemplateFile(
            settings, lists, std::string(OSTRAND_SOURCE_DIR) + "/data/Ketrova.ddf", db::ActionAdd));
        ASSERT_TRUE(db::AddFields(settings, connection, lists, ui));
        db::AddColumn(connection, "Mortgage", "Balloon", db::adInteger, 0);
    }

    testsupport::TempDir dir;
    std::string file;
    db::Connection connection;
};

} // namespace

TEST_F(MortgageDbTest, SaveAndLoadKeepEveryTerm) {
    mtg.SetDescription("Elm Street");
    mtg.SetOrigPV(250000);
    mtg.SetOrigRate(0.0625);
    mtg.SetFirstDue("3/1/2025");
    mtg.SetBalloon(true);
    mtg.SetBalloonPer(84);
    mtg.SetPPM(true);
    mtg.SetARM(true);
    mtg.SetARMLockedPer(60);
    mtg.SetXPri(2, 500);
    mtg.SetXPriAll(25);
    mtg.SetRate(1, 0.0625);
    mtg.SetRate(3, 0.07);
    mtg.SetCurrentPeriod(3);
    ASSERT_TRUE(mtg.SaveMtg(connection, 42)) << mtg.LastError();
    EXPECT_EQ(connection.Scalar("SELECT Count(*) FROM Mortgage").AsInt(), 1);
    EXPECT_EQ(connection.Scalar("SELECT xPri FROM Mortgage").AsText(), "0,500");
    EXPECT_EQ(connection.Scalar("SELECT NextDue FROM Mortgage").AsText(), "5/1/2025");
    EXPECT_EQ(connection.Scalar("SELECT RemainingT FROM Mortgage").AsInt(), 81);
    EXPECT_NEAR(connection.Scalar("SELECT CurrentPmt FROM Mortgage").AsDouble(), mtg.GetPMT(),
                0.00005);
    EXPECT_DOUBLE_EQ(connection.Scalar("SELECT CurrentI FROM Mortgage").AsDouble(), 0.07);
    EXPECT_EQ(connection.Scalar("SELECT BalloonMtg FROM Mortgage").AsInt(), 1);

    clsMortgage loaded(clock);
    ASSERT_TRUE(loaded.LoadMtg(connection, 42)) << loaded.LastError();
    // Every term, and the figures worked out from them, as saved (braces:
    // in order, so the payment is worked out before the balloon is read).
    auto terms = [](clsMortgage& m) {
        return std::tuple{m.Description(), m.OrigPV(),        m.OrigPer(),   m.OrigRate(),
                          m.FirstDue(),    m.IntOnly(),       m.Balloon(),   m.BalloonPer(),
                          m.PPM(),         m.PPMPer(),        m.PPMPct(),    m.PPMTrigger(),
                          m.ARM(),         m.ARMLockedPer(),  m.ARMAdjPer(), m.ARMLifeCap(),
                          m.ARMPerCap(),   m.CurrentPeriod(), m.XPriText(),  m.XPriAll(),
                          m.XRateText(),   m.GetPMT(),        m.BalloonPmt()};
    };
    EXPECT_EQ(terms(loaded), terms(mtg));

    // Saving again updates the row instead of adding one.
    loaded.SetDescription("Elm Street 2");
    ASSERT_TRUE(loaded.SaveMtg(connection, 42));
    EXPECT_EQ(connection.Scalar("SELECT Count(*) FROM Mortgage").AsInt(), 1);
    EXPECT_EQ(connection.Scalar("SELECT Description FROM Mortgage").AsText(), "Elm Street 2");
}

TEST_F(MortgageDbTest, NullTablesAndTheTwoBalloonColumns) {
    connection.Execute("INSERT INTO Mortgage (IdMortgage, Description, OrigPV, OrigPer, OrigRate, "
                       "BalloonMtg, Balloon, BalloonPer, xPri, xRate) VALUES (7, 'Old', 50000, "
                       "120, 0.04, 1, 0, 60, NULL, NULL)");
    mtg.SetXPri(3, 100);
    mtg.SetRate(3, 0.1);
    ASSERT_TRUE(mtg.LoadMtg(connection, 7)) << mtg.LastError();
    EXPECT_TRUE(mtg.Balloon()); // LoadMtg reads BalloonMtg
    EXPECT_EQ(mtg.XPriText(), "");
    EXPECT_EQ(mtg.GetXPRI(3), 0);
    EXPECT_EQ(mtg.GetRate(3), 0.04); // empty table: the loan's own rate

    db::Recordset rs;
    ASSERT_EQ(db::OpenRecordset("SELECT * FROM Mortgage", rs, connection, false), 1);
    clsMortgage fromRs(clock);
    ASSERT_TRUE(fromRs.LoadRS(rs)) << fromRs.LastError();
    EXPECT_FALSE(fromRs.Balloon()); // LoadRS reads Balloon
    EXPECT_EQ(fromRs.Description(), "Old");

    // SaveRS writes into the caller's row, which moving off it saves.
    fromRs.SetDescription("Renamed");
    ASSERT_TRUE(fromRs.SaveRS(rs)) << fromRs.LastError();
    rs.MoveNext();
    rs.Close();
    EXPECT_EQ(connection.Scalar("SELECT Description FROM Mortgage").AsText(), "Renamed");
    EXPECT_EQ(connection.Scalar("SELECT BalloonMtg FROM Mortgage").AsInt(), 0);
}

TEST_F(MortgageDbTest, LoadFailuresKeepWhatWasRead) {
    EXPECT_FALSE(mtg.LoadMtg(connection, 99)); // no such row
    EXPECT_EQ(mtg.Description(), "New Mortgage");
    EXPECT_FALSE(mtg.LastError().empty());

    // A table missing a later column: the earlier ones are kept.
    connection.Execute("CREATE TABLE Short (IdMortgage INTEGER, Description VARCHAR(50), "
                       "CurrentPeriod INTEGER, OrigPV DOUBLE)");
    connection.Execute("INSERT INTO Short VALUES (1, 'Partial', 4, 75000)");
    db::Recordset rs;
    ASSERT_EQ(db::OpenRecordset("SELECT * FROM Short", rs, connection, false), 1);
    EXPECT_FALSE(mtg.LoadRS(rs));
    EXPECT_EQ(mtg.Description(), "Partial");
    EXPECT_EQ(mtg.CurrentPeriod(), 4);
    EXPECT_EQ(mtg.OrigPV(), 75000);
    EXPECT_EQ(mtg.OrigPer(), 360);

    connection.Close();
    EXPECT_FALSE(mtg.SaveMtg(connection, 1));
}
