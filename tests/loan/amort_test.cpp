#include "loan/amort.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <string>
#include <tuple>
#include <vector>

using namespace loan;

namespace {

// Records every message box instead of showing it.
class RecordingUi : public util::UiServices {
public:
    util::Answer MessageBox(const std::string& text, util::Buttons buttons, util::Icon,
                            const std::string&) override {
        EXPECT_EQ(buttons, util::Buttons::OK);
        texts.push_back(text);
        return util::Answer::OK;
    }
    std::vector<std::string> texts;
};

const std::string Blank10(10, ' ');
constexpr double R5 = 0.05 / 12;

// The level payment of a loan, worked out here in double precision.
double Payment(double pv, double r, double n) {
    return pv * r / (1 - std::pow(1 + r, -n));
}

class AmortTest : public ::testing::Test {
protected:
    platform::FixedClock clock{{2026, 7, 15, 9, 30, 0}};
    RecordingUi ui;
    cShared_Amort amort{clock, ui};

    // By default 100,000 at 5 % over 30 years, first due 1 July 2026.
    void Build(double pv = 100000, double rate = 5, double periods = 360, int16_t balloon = 0,
               bool intOnly = false, Date first = {2026, 7, 1}, const char* interval = "m") {
        ASSERT_TRUE(amort.CreateAmortization(pv, rate, periods, first, balloon, intOnly, interval));
    }
    // A schedule built fresh on the same terms, to hold a changed one against.
    cShared_Amort Fresh() {
        cShared_Amort fresh(clock, ui);
        EXPECT_TRUE(fresh.CreateAmortization(100000, 5, 360, {2026, 7, 1}, 0, false, "m"));
        return fresh;
    }
};

} // namespace

// The whole schedule against a computation in double precision. Payment and
// its split agree to a hundredth of a cent; the balance is a Single (a
// six-figure one moves in steps of 1/128 dollar), so 360 rounded
// subtractions may drift a few cents, but no more.
TEST_F(AmortTest, ScheduleMatchesAnIndependentComputation) {
    Build();
    ASSERT_EQ(amort.PeriodCount(), 360);
    EXPECT_EQ(amort.CurrentPeriod(), 1);
    double balance = 100000;
    const double payment = Payment(balance, R5, 360);
    double interestToDate = 0;
    for (int i = 1; i <= 360; ++i) {
        const PeriodRecord& p = amort.Period(i);
        const double interest = balance * R5;
        interestToDate += interest;
        ASSERT_NEAR(p.BeginBalance, balance, 0.05) << i;
        balance -= payment - interest;
        ASSERT_NEAR(p.Payment, payment, 1e-4) << i;
        ASSERT_NEAR(p.Interest, interest, 1e-4) << i;
        ASSERT_NEAR(p.Principal, payment - interest, 1e-4) << i;
        ASSERT_NEAR(p.EndBalance, balance, 0.05) << i;
        ASSERT_NEAR(p.InterestToDate, interestToDate, 0.05) << i;
        ASSERT_EQ(p.PaymentsRemaining, 360 - i);
    }
    EXPECT_NEAR(amort.Period(360).PrincipalToDate, 100000, 0.05);
    EXPECT_EQ(amort.Period(360).EndBalance, 0);
}

// A rebuild that fails leaves the object not built, and a schedule that is
// not built refuses every change and totals nothing.
TEST_F(AmortTest, CreateRefusesTermsItCannotSchedule) {
    const std::tuple<double, double, double, Date, bool, const char*> refused[] = {
        {1000, 5, 0.5, {2026, 7, 1}, false, "m"},        {1000, 5, 40000, {2026, 7, 1}, false, "m"},
        {1000, 5, 12, {2026, 7, 1}, false, "fortnight"}, {1000, 5, 12, {2026, 2, 30}, false, "m"},
        {NAN, 5, 12, {2026, 7, 1}, false, "m"},          {1e35, 1e10, 12, {2026, 7, 1}, true, "m"}};
    for (const auto& [pv, rate, periods, first, intOnly, interval] : refused) {
        SCOPED_TRACE(testing::Message() << pv << " " << rate << " " << periods << " " << interval);
        Build();
        EXPECT_FALSE(amort.CreateAmortization(pv, rate, periods, first, 0, intOnly, interval));
        EXPECT_FALSE(amort.IsBuilt());
        const std::string before = amort.DataString();
        EXPECT_FALSE(amort.PayExtra(5, 100));
        EXPECT_FALSE(amort.AdjustI(6, 5));
        EXPECT_FALSE(amort.MakePayment({2026, 7, 1}, "1", 0, 1));
        EXPECT_EQ(amort.TotalIntPaid(""), 0);
        EXPECT_EQ(amort.TotalPriPaid("2026"), 0);
        EXPECT_EQ(amort.DataString(), before);
    }
    EXPECT_TRUE(ui.texts.empty());
    // One period is a loan: paid back with a month's interest.
    ASSERT_TRUE(amort.CreateAmortization(1000, 12, 1, {2026, 7, 1}, 0, false, "m"));
    EXPECT_EQ(std::make_tuple(amort.PeriodCount(), amort.Period(1).Payment),
              std::make_tuple(1, 1010.0f));
    cShared_Amort none; // nothing built: every figure is 0
    EXPECT_EQ(std::make_tuple(none.CurrentPmt().tenThousandths, none.CurrentIPmt().tenThousandths,
                              none.PayOff(), none.DueDate(), none.xRate(), none.DataString()),
              std::make_tuple(0, 0, 0.0f, Date{}, std::string(), std::string()));
}

// A balloon loan is scheduled to its balloon but amortized over the term. The
// running due date moves on from the one before (a month-end cut carries
// forward); no first due date means today, and simple mode keeps no dates.
TEST_F(AmortTest, TermsBalloonsAndDueDates) {
    const std::tuple<int16_t, bool, Date, bool, int, double, double, std::string> cases[] = {
        {60, false, {2026, 1, 31}, false, 60, 536.82, 91828.73, "1/31/2026 2/28/2026 3/28/2026 "},
        {60, true, {2026, 7, 1}, false, 360, 416.67, 100000, "7/1/2026  8/1/2026  9/1/2026  "},
        {400, false, {}, false, 360, 536.82, 0, "7/15/2026 8/15/2026 9/15/2026 "},
        {360, false, {}, true, 360, 536.82, 0, std::string(30, ' ')}};
    for (const auto& [balloon, intOnly, first, simple, count, payment, owed, dues] : cases) {
        SCOPED_TRACE(testing::Message() << balloon << (intOnly ? " interest only" : ""));
        amort.SetSimpleMode(simple);
        Build(100000, 5, 360, balloon, intOnly, first);
        ASSERT_EQ(amort.PeriodCount(), count);
        EXPECT_NEAR(amort.Period(count / 2).Payment, payment, 0.005);
        EXPECT_EQ(amort.Period(count).BalloonPer, balloon);
        EXPECT_NEAR(amort.Period(count).EndBalance, owed, 0.05);
        EXPECT_EQ(amort.Period(count).PaymentsRemaining, 0);
        EXPECT_EQ(amort.Period(1).DueDate + amort.Period(2).DueDate + amort.Period(3).DueDate,
                  dues);
        EXPECT_EQ(amort.FirstDueDate(), ParseDateText(dues.substr(0, 10)).value_or(Date{}));
    }
}

TEST_F(AmortTest, ExtraPrincipalShortensTheLoanAndKeepsThePayment) {
    Build();
    const float payment = amort.Period(13).Payment;
    ASSERT_TRUE(amort.PayExtra(12, 10000));
    const float balance12 = amort.Period(12).EndBalance;
    EXPECT_NEAR(balance12, 88524.63, 0.05);
    // The new term is what the unchanged payment needs for the lower balance.
    const double n = -std::log(1 - balance12 * R5 / payment) / std::log(1 + R5);
    ASSERT_EQ(amort.PeriodCount(), std::lround(12 + n));
    for (int i = 13; i <= amort.PeriodCount(); ++i) {
        const PeriodRecord& p = amort.Period(i);
        ASSERT_NEAR(p.Payment, payment, 0.001) << i;
        ASSERT_NEAR(p.Interest, p.BeginBalance * R5, 0.01) << i;
        ASSERT_NEAR(p.PrincipalToDate, amort.Period(i - 1).PrincipalToDate + p.Principal, 0.01);
        ASSERT_EQ(std::tie(p.BasisPV, p.PaymentsRemaining),
                  std::make_tuple(balance12, float(amort.PeriodCount() - i)));
    }
    const std::string once = amort.DataString();
    ASSERT_TRUE(amort.PayExtra(12, 10000)); // recalculating again changes nothing
    EXPECT_EQ(amort.DataString(), once);
    // Taken back, the periods left are those of the original loan again.
    ASSERT_TRUE(amort.PayExtra(12, 0));
    const cShared_Amort fresh = Fresh();
    for (int i = 1; i <= amort.PeriodCount(); ++i) {
        ASSERT_EQ(amort.Period(i).EndBalance, fresh.Period(i).EndBalance) << i;
    }
    // Everything repaid ends the schedule at once; between half a payment and
    // a whole one left, one more period pays it off and is worked out.
    ASSERT_TRUE(amort.PayExtra(1, 200000));
    EXPECT_EQ(std::make_tuple(amort.PeriodCount(), amort.Period(1).EndBalance,
                              amort.Period(1).PaymentsRemaining),
              std::make_tuple(1, 0.0f, 0.0f));
    Build(1000, 0, 12);
    ASSERT_TRUE(amort.PayExtra(1, 866.67f));
    ASSERT_EQ(amort.PeriodCount(), 2);
    EXPECT_NEAR(amort.Period(2).BeginBalance, 50, 0.01);
    EXPECT_EQ(amort.Period(2).EndBalance, 0);
}

// A balance above the computed one is a negative adjustment: the schedule
// grows from the known balance at the payment it had.
TEST_F(AmortTest, AdjustBalRebasesOnAKnownBalance) {
    Build();
    ASSERT_TRUE(amort.AdjustBal(120000, 5, {2026, 8, 10}));
    const PeriodRecord& first = amort.Period(1);
    EXPECT_EQ(std::tie(first.Paid, first.CheckNumber, first.DatePaid),
              std::make_tuple(true, std::string("Adjustment"), std::string("8/10/2026 ")));
    EXPECT_NEAR(amort.Period(2).BeginBalance, 120000, 0.01);
    EXPECT_NEAR(amort.Period(2).Payment, 536.82, 0.005);
    // The rows it gains continue the one before them.
    const int count = amort.PeriodCount();
    ASSERT_GT(count, 360);
    const PeriodRecord& added = amort.Period(count);
    EXPECT_EQ(std::tie(added.AnnualRate, added.OrigTerm, added.CheckNumber),
              std::make_tuple(5.0f, 360.0f, Blank10));
    EXPECT_EQ(AddInterval("m", 1, *ParseDateText(amort.Period(count - 1).DueDate)),
              ParseDateText(added.DueDate));
    EXPECT_FALSE(amort.AdjustBal(50000, 6, Date{})); // no date to record it on
}

TEST_F(AmortTest, RateChangeReamortizesTheRestOfTheTerm) {
    Build();
    ASSERT_TRUE(amort.AdjustI(6, 13));
    EXPECT_EQ(amort.Period(12).AnnualRate, 5);
    EXPECT_EQ(amort.Period(360).AnnualRate, 6);
    EXPECT_EQ(amort.PeriodCount(), 360);
    EXPECT_NEAR(amort.Period(13).Payment, Payment(amort.Period(12).EndBalance, 0.005, 348), 0.001);
    EXPECT_NEAR(amort.Period(13).Interest, amort.Period(12).EndBalance * 0.005, 0.001);
    EXPECT_EQ(amort.Period(13).BasisTerm, 348);
    // A second change re-bases on the term left at that point.
    ASSERT_TRUE(amort.AdjustI(7, 200));
    EXPECT_EQ(amort.Period(200).BasisTerm, 161);
    EXPECT_NEAR(amort.Period(200).Payment, Payment(amort.Period(199).EndBalance, 0.07 / 12, 161),
                0.001);
    EXPECT_NEAR(amort.Period(360).EndBalance, 0, 0.05);
    const std::string once = amort.DataString();
    ASSERT_TRUE(amort.AdjustI(7, 200));
    EXPECT_EQ(amort.DataString(), once);
    // Taking the changes back gives the schedule that never had them: no
    // period keeps the basis of a change that is gone.
    ASSERT_TRUE(amort.AdjustI(5, 13));
    EXPECT_EQ(amort.DataString(), Fresh().DataString());
}

// Payments record the current period and move on; the totals of all time
// count everything before the current period, extra principal included, a
// year's those paid in it, scheduled principal alone. Changes are validated
// first: complaints are shown in one box and change nothing; AdjustI refuses
// period 0, PayExtra accepts it (naming no period).
TEST_F(AmortTest, PaymentsTotalsAndTheChecksOfAChange) {
    Build(1000, 12, 3, 0, false, {2025, 12, 1});
    EXPECT_EQ(amort.TotalIntPaid(""), 0);
    ASSERT_TRUE(amort.MakePayment({2025, 12, 3}, "1001", 0, 340));
    ASSERT_TRUE(amort.MakePayment({2026, 1, 2}, "A-very-long-check-number", 50, 390));
    EXPECT_EQ(amort.CurrentPeriod(), 3);
    const PeriodRecord &first = amort.Period(1), &second = amort.Period(2),
                       &third = amort.Period(3);
    EXPECT_EQ(
        std::tie(second.Paid, second.DatePaid, second.CheckNumber, second.AmountPaid,
                 second.ExtraPrincipal),
        std::make_tuple(true, std::string("1/2/2026  "), std::string("A-very-lon"), 390.0f, 50.0f));
    EXPECT_NEAR(amort.TotalPriPaid(""), first.Principal + second.Principal + 50, 0.001);
    EXPECT_EQ(amort.TotalIntPaid("2025"), double(first.Interest));

    const std::string rateBad = "Invalid period entered for interest rate change\r\n";
    const std::string ratePaid = "Cannot change interest rate for payment already made.\r\n";
    const std::string extraBad = "Invalid period entered for extra payment.\r\n";
    const std::string amountBad = "Invalid amount entered for extra payment amount.\r\n";
    // clang-format off
    const std::tuple<bool, int16_t, float, std::string> cases[] = {
        {true, 2, 6, ratePaid}, {true, 0, 6, rateBad + ratePaid}, {true, 4, 6, rateBad},
        {false, -1, 100, extraBad}, {false, 2, -0.01f, amountBad}, {false, 4, -1, extraBad + amountBad},
        {false, 2, NAN, amountBad}, {false, 0, 100, ""}, {false, 3, 0, ""}, {true, 3, 12, ""}};
    // clang-format on
    const std::string before = amort.DataString();
    for (const auto& [rate, period, value, complaints] : cases) {
        SCOPED_TRACE(testing::Message() << (rate ? "AdjustI " : "PayExtra ") << period);
        ui.texts.clear();
        EXPECT_EQ(rate ? amort.AdjustI(value, period) : amort.PayExtra(period, value),
                  complaints.empty());
        EXPECT_EQ(ui.texts, std::vector<std::string>(!complaints.empty(),
                                                     "The following errors have occured:\r\n\r\n" +
                                                         complaints));
        EXPECT_EQ(amort.DataString(), before);
    }
    ASSERT_TRUE(amort.AdjustI(6, 3)); // the current period may still change

    // The figures of the current period, as the upgrade carries them over.
    const std::pair<Currency, float> figures[] = {{amort.CurrentPV(), third.BeginBalance},
                                                  {amort.CurrentPmt(), third.Payment},
                                                  {amort.CurrentPPmt(), third.Principal},
                                                  {amort.CurrentIPmt(), third.Interest}};
    for (const auto& [figure, field] : figures) {
        EXPECT_EQ(figure, Currency::FromDouble(field));
    }
}

// A two-period schedule worked by hand: 1,000 at 1 % a month pays
// 10 / (1 - 1.01^-2) = 507.51244 (the nearest Single, 507.512451, is
// written 507.5125); period 1 pays 10 interest, period 2 the rest.
TEST_F(AmortTest, DataStringWritesEveryFieldInOrder) {
    Build(1000, 12, 2);
    EXPECT_EQ(amort.DataString(),
              "1000:1000:2:0:2:1:507.5125:497.5125:0:497.5125:12:0:10:10:502.4875:0:"
              "7/1/2026  :0:          :          |"
              "502.4875:1000:2:0:2:0:507.5125:502.4875:0:1000:12:0:5.024876:15.02488:0:0:"
              "8/1/2026  :0:          :          ");
    // The rate and extra principal lists, as the mortgage record's Doubles read them.
    ASSERT_TRUE(amort.AdjustI(7.25f, 2));
    ASSERT_TRUE(amort.PayExtra(1, 0.1f));
    EXPECT_EQ(amort.xRate(), "0.12,0.0725");
    EXPECT_EQ(amort.xPri(), "0.10000000149011612,0");
}

TEST_F(AmortTest, DataStringReadsBackWhatItWroteAndTheWindowsProgramsText) {
    Build();
    ASSERT_TRUE(amort.MakePayment({2026, 7, 3}, "101", 250, 786.82f));
    ASSERT_TRUE(amort.AdjustI(6.5f, 24));
    cShared_Amort copy;
    ASSERT_TRUE(copy.SetDataString(amort.DataString()));
    EXPECT_TRUE(copy.IsBuilt());
    EXPECT_EQ(copy.CurrentPeriod(), 2); // the first unpaid period
    // With the field order pinned above, the same text back means every
    // field was read into its own place.
    EXPECT_EQ(copy.DataString(), amort.DataString());
    // A schedule read from text can be changed like a built one.
    EXPECT_TRUE(copy.PayExtra(30, 1000));
    EXPECT_LT(copy.PeriodCount(), amort.PeriodCount());

    // Large numbers in E notation, a decimal comma, two-digit-month dates,
    // texts padded or not, the flag written as -1.
    ASSERT_TRUE(amort.SetDataString(
        "1.234568E+07:1.234568E+07:360:0:360:359:66275,34:14835.06:0:14835.06:5:0:51440.28:"
        "51440.28:1.233084E+07:66275.34:07/01/2026:-1:7/3/2026:1234|"
        "1.233084E+07:1.234568E+07:360:0:360:358:66275.34:14896.87:0:29731.93:5:0:51378.47:"
        "102818.8:1.231595E+07:0:08/01/2026  :0:          :          "));
    EXPECT_EQ(std::make_tuple(amort.PeriodCount(), amort.CurrentPeriod(), amort.FirstDueDate(),
                              amort.DueDate(), amort.xRate()),
              std::make_tuple(2, 2, Date{2026, 7, 1}, Date{2026, 8, 1}, std::string("0.05,0.05")));
    EXPECT_EQ(std::tie(amort.Period(1).BeginBalance, amort.Period(1).Payment,
                       amort.Period(1).CheckNumber),
              std::make_tuple(12345680.0f, 66275.34f, std::string("1234      ")));
    EXPECT_EQ(amort.CurrentPmt().tenThousandths, 662753438); // the Single 66275.34375
}

TEST_F(AmortTest, DataStringRefusesMalformedTextAndKeepsTheSchedule) {
    Build(1000, 12, 2);
    const std::string good = amort.DataString();
    const std::string period = good.substr(0, good.find('|'));
    EXPECT_TRUE(amort.SetDataString("")); // nothing to read, nothing changed
    EXPECT_EQ(amort.DataString(), good);
    for (const std::string& bad :
         {std::string("|"), good + "|", "1:2:3|" + period, period.substr(0, period.rfind(':')),
          period + "|1:2:3:4:5:6:7:8:9:10:11:0:13:14:x:16:a:0:b:c"}) {
        EXPECT_FALSE(amort.SetDataString(bad)) << bad;
        EXPECT_EQ(amort.DataString(), good) << bad;
        EXPECT_EQ(amort.CurrentPeriod(), 1);
    }
    // Fields beyond the twentieth are not the schedule's and are ignored.
    cShared_Amort extra;
    ASSERT_TRUE(extra.SetDataString(period + ":more:fields"));
    EXPECT_EQ(extra.DataString(), period);
    // A fresh object that refuses a text stays empty and not built.
    cShared_Amort fresh;
    EXPECT_FALSE(fresh.SetDataString("junk"));
    EXPECT_FALSE(fresh.IsBuilt());
}

// The normal grid is pinned by the schedule command's test.
TEST_F(AmortTest, GridMarksTheCurrentPeriodAndChartAddsUp) {
    GridData grid;
    ChartData chart;
    amort.ShowGrid(grid);
    amort.ShowChart(chart);
    EXPECT_TRUE(grid.rows.empty() && chart.values.empty()); // nothing built
    Build();
    ASSERT_TRUE(amort.MakePayment({2026, 7, 2}, "101", 0, 536.82f));
    amort.ShowGrid(grid);
    ASSERT_EQ(grid.rows.size(), 360u);
    EXPECT_EQ(std::vector(grid.rows[0].begin() + 9, grid.rows[0].end()),
              (std::vector<std::string>{"07/01/2026", "07/02/2026", "101", "359"}));
    EXPECT_EQ(grid.highlightRow, 1);

    amort.ShowChart(chart); // the last row totals
    ASSERT_EQ(chart.values.size(), 361u);
    EXPECT_NEAR(chart.values[360][4], 93255.78, 0.05);
}
