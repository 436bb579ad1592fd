#include "loan/currency.h"
#include "loan/dates.h"
#include "loan/finance.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <optional>
#include <tuple>

using namespace loan;

namespace {
constexpr double NaN = std::numeric_limits<double>::quiet_NaN();
constexpr double Inf = std::numeric_limits<double>::infinity();
constexpr double R5 = 0.05 / 12; // 5 % a year, monthly
} // namespace

// Loans paid monthly, with the split of the first and the last payment; money
// paid out is negative. In every period the parts add up to the payment, the
// principal parts repay the loan, and NPer gives the term back. Over 20,000
// months the balance grows by about 1e36, so a difference of grown amounts
// would lose every digit.
TEST(AnnuityFunctions, KnownLoansSplitEveryPayment) {
    const struct {
        double rate, nper, pv, fv, pmt, firstInterest, lastInterest;
    } cases[] = {{R5, 360, -100000, 0, 536.8216, 416.6667, 2.2275},
                 {0.10, 10, 1000, -1000, -100, -100, -100}, // a future value left over
                 {0, 12, 1200, 0, -100, 0, 0},
                 {R5, 20000, 100000, 0, -416.6667, -416.6667, -1.7289}};
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::Message() << c.rate << " " << c.nper << " " << c.pv << " " << c.fv);
        const double pmt = *Pmt(c.rate, c.nper, c.pv, c.fv);
        EXPECT_NEAR(pmt, c.pmt, 5e-5);
        EXPECT_NEAR(*IPmt(c.rate, 1, c.nper, c.pv, c.fv), c.firstInterest, 5e-5);
        EXPECT_NEAR(*IPmt(c.rate, c.nper, c.nper, c.pv, c.fv), c.lastInterest, 5e-5);
        double principal = 0;
        for (int per = 1; per <= c.nper; ++per) {
            const double part = *PPmt(c.rate, per, c.nper, c.pv, c.fv);
            ASSERT_NEAR(*IPmt(c.rate, per, c.nper, c.pv, c.fv) + part, pmt, 1e-8) << per;
            principal += part;
        }
        EXPECT_NEAR(principal, -c.pv - c.fv, 1e-6);
        // Beyond 360 the payment is the interest to 36 digits; paying only the
        // interest on a future value, any term fits.
        if (c.nper <= 360 && c.fv == 0) {
            EXPECT_NEAR(*NPer(c.rate, pmt, c.pv, c.fv), c.nper, 1e-8);
        }
    }
    // At 30 % a year the growth factor itself is beyond a double.
    const double pmt = *Pmt(0.025, 32767, 100000);
    EXPECT_NEAR(pmt, -2500, 1e-9);
    EXPECT_NEAR(*IPmt(0.025, 32767, 32767, 100000), pmt * 0.025 / 1.025, 1e-9);
}

TEST(AnnuityFunctions, NPerAndTheArgumentsNoLoanHas) {
    // Paying 100 a month more than the schedule shortens 360 months.
    EXPECT_NEAR(*NPer(R5, -636.82, 100000), 255.45, 0.01);
    EXPECT_DOUBLE_EQ(*NPer(0, -100, 1000), 10);
    const std::optional<double> refused[] = {
        Pmt(R5, 0, 100000),      Pmt(-1, 360, 100000),  Pmt(R5, Inf, 100000),
        IPmt(R5, 361, 360, 1e5), IPmt(R5, 1, 360, NaN), PPmt(R5, -1, 360, 100000),
        NPer(R5, -400, 100000),  NPer(0, 0, 1000),      NPer(-1, -536.82, 100000)};
    for (size_t i = 0; i < std::size(refused); ++i) {
        EXPECT_FALSE(refused[i]) << "case " << i << " gave " << *refused[i];
    }
}

TEST(Rounding, HalfToEvenAndCurrencyOfFourDecimals) {
    const std::pair<double, double> halves[] = {{2.5, 2}, {3.5, 4}, {-3.5, -4}, {2.5001, 3}};
    for (const auto& [x, rounded] : halves) {
        EXPECT_EQ(RoundHalfEven(x), rounded) << x;
    }
    const std::pair<double, std::optional<int64_t>> money[] = {
        {536.8216230121398, 5368216}, {0.03125, 312}, {-1e15, std::nullopt}, {NaN, std::nullopt}};
    for (const auto& [x, units] : money) {
        auto c = Currency::FromDouble(x);
        EXPECT_EQ(c ? std::optional(c->tenThousandths) : std::nullopt, units) << x;
    }
    EXPECT_EQ(Currency::FromDouble(536.8216f)->ToDouble(), 536.8216);
    EXPECT_EQ(Currency::FromDoubleOrZero(1e300).tenThousandths, 0);
}

TEST(ScheduleDates, ReadTheStoredFormsAndNothingElse) {
    const std::pair<const char*, Date> good[] = {
        {"7/1/2026", {2026, 7, 1}},   {"07/01/2026", {2026, 7, 1}},   {"7/01/2026 ", {2026, 7, 1}},
        {"2026-07-01", {2026, 7, 1}}, {"12/31/99", {1999, 12, 31}},   {"1/5/05", {2005, 1, 5}},
        {"2/29/2024", {2024, 2, 29}}, {"12/31/9999", {9999, 12, 31}}, {"0100-01-01", {100, 1, 1}}};
    for (const auto& [text, date] : good) {
        EXPECT_EQ(ParseDateText(text), date) << text;
    }
    for (const char* bad :
         {"", "          ", "2/29/2023", "13/1/2026", "0/1/2026", "1/32/2026", "7/1", "7/1/2026/1",
          "7-1-2026", "a/b/c", "7/1/226", "2026-7", "0099-12-31"}) {
        EXPECT_FALSE(ParseDateText(bad)) << bad;
    }
    EXPECT_EQ(ShortDateText(Date{2026, 7, 1}), "7/1/2026");
    EXPECT_EQ(ShortDateText(Date{}), "");
}

// Only the schedule's own intervals and the month arithmetic of its status.
TEST(ScheduleDates, CalendarArithmetic) {
    const std::tuple<const char*, int, Date, std::optional<Date>> cases[] = {
        {"m", 1, {2024, 1, 31}, Date{2024, 2, 29}},
        {"q", 1, {2026, 11, 30}, Date{2027, 2, 28}},
        {"ww", 1, {2026, 12, 28}, Date{2027, 1, 4}},
        {"x", 1, {2026, 1, 1}, std::nullopt},
        {"m", 1, {9999, 12, 1}, std::nullopt}};
    for (const auto& [interval, count, from, to] : cases) {
        EXPECT_EQ(AddInterval(interval, count, from), to) << interval << count << " " << from.year;
    }
    EXPECT_EQ(MonthDiff(Date{2026, 7, 31}, Date{2026, 8, 1}), 1);
}
