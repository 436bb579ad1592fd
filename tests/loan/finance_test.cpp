#include "loan/currency.h"
#include "loan/dates.h"
#include "loan/finance.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

using namespace loan;

TEST(AnnuityFunctions, KnownMortgagePayments) {
    // Published figures for fixed-rate loans, paid monthly.
    EXPECT_NEAR(*Pmt(0.05 / 12, 360, 100000), -536.82, 0.005);
    EXPECT_NEAR(*Pmt(0.06 / 12, 360, 200000), -1199.10, 0.005);
    EXPECT_NEAR(*Pmt(0.07 / 12, 180, 150000), -1348.24, 0.005);
    EXPECT_NEAR(*Pmt(0.10, 10, 1000), -162.75, 0.005);
    // Money received as a payment stream has the opposite sign.
    EXPECT_NEAR(*Pmt(0.05 / 12, 360, -100000), 536.82, 0.005);
    // A future value to be left over lowers the payment.
    EXPECT_NEAR(*Pmt(0.10, 10, 1000, -1000), -100.0, 1e-9);
}

TEST(AnnuityFunctions, FirstPeriodSplit) {
    double r = 0.05 / 12;
    EXPECT_NEAR(*IPmt(r, 1, 360, 100000), -416.67, 0.005);
    EXPECT_NEAR(*PPmt(r, 1, 360, 100000), -120.15, 0.005);
    EXPECT_NEAR(*IPmt(r, 360, 360, 100000), -2.23, 0.005);
    EXPECT_NEAR(*PPmt(r, 360, 360, 100000), -534.59, 0.005);
}

TEST(AnnuityFunctions, IdentitiesHoldEveryPeriod) {
    for (double r : {0.0, 0.001, 0.05 / 12, 0.18 / 12}) {
        for (double n : {12.0, 60.0, 360.0}) {
            double pv = 123456.78;
            double pmt = *Pmt(r, n, pv);
            double principal = 0;
            for (int per = 1; per <= static_cast<int>(n); ++per) {
                double i = *IPmt(r, per, n, pv);
                double p = *PPmt(r, per, n, pv);
                ASSERT_NEAR(i + p, pmt, 1e-8) << r << " " << n << " " << per;
                principal += p;
            }
            EXPECT_NEAR(principal, -pv, 1e-6) << r << " " << n;
            EXPECT_NEAR(*NPer(r, pmt, pv), n, 1e-8) << r << " " << n;
        }
    }
}

TEST(AnnuityFunctions, LongTermsStayAccurate) {
    // Over 20,000 months the balance grows by a factor of about 1e36, so any
    // difference of grown amounts loses every digit.
    double r = 0.05 / 12;
    double n = 20000;
    double pv = 100000;
    double pmt = *Pmt(r, n, pv);
    EXPECT_NEAR(pmt, -pv * r, 1e-9); // the payment is all but the interest alone
    double principal = 0;
    for (int per = 1; per <= 20000; ++per) {
        double i = *IPmt(r, per, n, pv);
        ASSERT_LE(i, 0) << per;
        ASSERT_GE(i, pmt) << per;
        principal += *PPmt(r, per, n, pv);
    }
    EXPECT_NEAR(principal, -pv, 1e-6);
    // The last payment clears what is owed before it with its interest.
    EXPECT_NEAR(*IPmt(r, n, n, pv), pmt * r / (1 + r), 1e-9);
    // At 30 % a year the growth factor itself is beyond a double.
    EXPECT_NEAR(*Pmt(0.3 / 12, 32767, pv), -pv * 0.3 / 12, 1e-9);
    EXPECT_NEAR(*IPmt(0.3 / 12, 32767, 32767, pv), *Pmt(0.3 / 12, 32767, pv) * 0.025 / 1.025, 1e-9);
}

TEST(AnnuityFunctions, ZeroRate) {
    EXPECT_DOUBLE_EQ(*Pmt(0, 12, 1200), -100);
    EXPECT_DOUBLE_EQ(*IPmt(0, 5, 12, 1200), 0);
    EXPECT_DOUBLE_EQ(*PPmt(0, 5, 12, 1200), -100);
    EXPECT_DOUBLE_EQ(*NPer(0, -100, 1000), 10);
}

TEST(AnnuityFunctions, NPerOfAShorterLoan) {
    // Paying 100 a month more than the schedule shortens 360 months to
    // -ln(1 - 416.67 / 636.82) / ln(1 + r), about 255.45.
    double r = 0.05 / 12;
    double n = *NPer(r, -636.82, 100000);
    EXPECT_NEAR(n, 255.45, 0.01);
    EXPECT_NEAR(*Pmt(r, n, 100000), -636.82, 1e-8);
    EXPECT_DOUBLE_EQ(*NPer(r, -536.82, 0), 0); // nothing owed: no periods
}

TEST(AnnuityFunctions, DomainErrorsAreReportedNotComputed) {
    double r = 0.05 / 12;
    EXPECT_FALSE(Pmt(r, 0, 100000));
    EXPECT_FALSE(Pmt(0, 0, 100000));
    EXPECT_FALSE(Pmt(-1, 360, 100000));
    EXPECT_FALSE(IPmt(r, 0, 360, 100000));
    EXPECT_FALSE(IPmt(r, 361, 360, 100000));
    EXPECT_FALSE(PPmt(r, -1, 360, 100000));
    EXPECT_TRUE(IPmt(r, 360.5, 360.2, 100000)); // a fractional term's short last period
    EXPECT_FALSE(NPer(r, -400, 100000));        // less than the interest: never repaid
    EXPECT_FALSE(NPer(0.01, -10, 1000));        // exactly the interest
    EXPECT_FALSE(NPer(0, 0, 1000));
    double nan = std::numeric_limits<double>::quiet_NaN();
    double inf = std::numeric_limits<double>::infinity();
    EXPECT_FALSE(Pmt(nan, 360, 100000));
    EXPECT_FALSE(Pmt(r, inf, 100000));
    EXPECT_FALSE(IPmt(r, 1, 360, nan));
    EXPECT_FALSE(NPer(r, -536.82, inf));
}

TEST(RoundHalfEven, TiesGoToTheEvenNeighbour) {
    const std::pair<double, double> cases[] = {{2.5, 2},    {3.5, 4},    {-2.5, -2}, {-3.5, -4},
                                               {2.4999, 2}, {2.5001, 3}, {0.5, 0},   {7, 7}};
    for (const auto& [x, rounded] : cases) {
        EXPECT_EQ(RoundHalfEven(x), rounded) << x;
    }
}

TEST(CurrencyValue, FourDecimalsTiesToEven) {
    EXPECT_EQ(Currency::FromDouble(536.8216230121398)->tenThousandths, 5368216);
    EXPECT_EQ(Currency::FromDouble(-416.66666)->tenThousandths, -4166667);
    EXPECT_EQ(Currency::FromDouble(0.03125)->tenThousandths, 312); // 312.5 ten-thousandths
    EXPECT_EQ(Currency::FromDouble(0.09375)->tenThousandths, 938); // 937.5
    EXPECT_EQ(Currency::FromDouble(536.8216f)->ToDouble(), 536.8216);
    EXPECT_FALSE(Currency::FromDouble(1e15));
    EXPECT_FALSE(Currency::FromDouble(std::numeric_limits<double>::quiet_NaN()));
    EXPECT_EQ(Currency::FromDoubleOrZero(1e300).tenThousandths, 0);
}

TEST(ScheduleDates, ReadTheStoredForms) {
    // Short and padded forms, ISO, two-digit years and a leap day.
    const std::pair<const char*, Date> good[] = {
        {"7/1/2026", {2026, 7, 1}},   {"07/01/2026", {2026, 7, 1}}, {"7/01/2026 ", {2026, 7, 1}},
        {"2026-07-01", {2026, 7, 1}}, {"12/31/99", {1999, 12, 31}}, {"1/5/05", {2005, 1, 5}},
        {"2/29/2024", {2024, 2, 29}}};
    for (const auto& [text, date] : good) {
        EXPECT_EQ(ParseDateText(text), date) << text;
    }
    for (const char* bad : {"", "          ", "2/29/2023", "13/1/2026", "0/1/2026", "1/32/2026",
                            "7/1", "7/1/2026/1", "7-1-2026", "a/b/c", "7/1/226", "2026-7"}) {
        EXPECT_FALSE(ParseDateText(bad)) << bad;
    }
    EXPECT_EQ(ShortDateText(Date{2026, 7, 1}), "7/1/2026");
    EXPECT_EQ(ShortDateText(Date{}), "");
}

TEST(ScheduleDates, CalendarArithmetic) {
    EXPECT_EQ(AddInterval("m", 1, Date{2026, 1, 31}), (Date{2026, 2, 28}));
    EXPECT_EQ(AddInterval("m", 1, Date{2024, 1, 31}), (Date{2024, 2, 29}));
    EXPECT_EQ(AddInterval("m", 12, Date{2026, 12, 15}), (Date{2027, 12, 15}));
    EXPECT_EQ(AddInterval("M", -1, Date{2026, 1, 15}), (Date{2025, 12, 15}));
    EXPECT_EQ(AddInterval("q", 1, Date{2026, 11, 30}), (Date{2027, 2, 28}));
    EXPECT_EQ(AddInterval("yyyy", 1, Date{2024, 2, 29}), (Date{2025, 2, 28}));
    EXPECT_EQ(AddInterval("ww", 1, Date{2026, 12, 28}), (Date{2027, 1, 4}));
    EXPECT_EQ(AddInterval("d", 1, Date{2024, 2, 28}), (Date{2024, 2, 29}));
    EXPECT_FALSE(AddInterval("x", 1, Date{2026, 1, 1}));
    EXPECT_FALSE(AddInterval("m", 1, Date{}));
    EXPECT_FALSE(AddInterval("m", 1, Date{9999, 12, 1}));
    EXPECT_EQ(MonthDiff(Date{2026, 7, 1}, Date{2026, 7, 31}), 0);
    EXPECT_EQ(MonthDiff(Date{2026, 7, 31}, Date{2026, 8, 1}), 1);
    EXPECT_EQ(MonthDiff(Date{2026, 7, 1}, Date{2025, 12, 1}), -7);
    EXPECT_EQ(FromDaySerial(DaySerial(Date{2026, 3, 1}) - 1), (Date{2026, 2, 28}));
    EXPECT_EQ(DaySerial(Date{2000, 1, 1}), 0);
}
