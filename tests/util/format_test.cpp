#include "util/format.h"

#include <gtest/gtest.h>

using util::Format;
using util::FormatCurrency;
using util::FormatDateTime;
using util::FormatSingle;

namespace {
const char* Accounting = "#,###.00;(#,###.00);0.00;0.00";

struct Case {
    double value;
    const char* pattern;
    const char* expected;
};
} // namespace

TEST(Format, NumberPatternsOfTheSuite) {
    const Case cases[] = {
        // "#,###": sizes in the compaction message and the reports; 0 prints nothing.
        {0, "#,###", ""},
        {999, "#,###", "999"},
        {1000, "#,###", "1,000"},
        {999999.5, "#,###", "1,000,000"},
        {-1234, "#,###", "-1,234"},
        {123456789012345.0, "#,###", "123,456,789,012,345"},
        {1e20, "#,###", "100,000,000,000,000,000,000"},
        // "#0" and "0" round half away from zero.
        {2.5, "#0", "3"},
        {-2.5, "#0", "-3"},
        {0, "#0", "0"},
        {-0.4, "#0", "-0"},
        // "#.00": no forced integer digit.
        {0, "#.00", ".00"},
        {2.675, "#.00", "2.68"},
        {0.004, "#.00", ".00"},
        {0.005, "#.00", ".01"},
        // "$#,###.00"
        {1234.5, "$#,###.00", "$1,234.50"},
        {999.995, "$#,###.00", "$1,000.00"},
        {-1234.5, "$#,###.00", "-$1,234.50"},
        // The accounting pattern: parentheses for negatives, zero as 0.00.
        {1234.5, Accounting, "1,234.50"},
        {-1234.5, Accounting, "(1,234.50)"},
        {0, Accounting, "0.00"},
        {-0.25, Accounting, "(.25)"},
        // Literals, percent, optional fraction digits; ";" quoted or escaped
        // splits no section, and an empty negative section falls back.
        {0.256, "0.0%", "25.6%"},
        {5, "#.##", "5."},
        {5.126, "0.0#", "5.13"},
        {42, "\"No. \"0", "No. 42"},
        {42, "0\\x", "42x"},
        {3, "000", "003"},
        {-3, "0;;zero", "-3"},
        {0, "0;(0);\"nil\"", "nil"},
        {1234.5, "#,##0.00 \"a;b\"", "1,234.50 a;b"},
        {-5, "0\\;0;(0)", "(5)"},
        {1234, "#,\"k\"", "1234,k"}, // a comma before no digit groups nothing
    };
    for (const auto& c : cases) {
        EXPECT_EQ(Format(c.value, c.pattern), c.expected) << c.value << " as " << c.pattern;
    }
}

TEST(Format, SingleCountsSevenDigitsAndCurrencyIsExact) {
    // 1234.565f is 1234.56494... in binary; as a Single it is 1234.565.
    EXPECT_EQ(FormatSingle(1234.565f, "#,###.00"), "1,234.57");
    EXPECT_EQ(Format(static_cast<double>(1234.565f), "#,###.00"), "1,234.56");
    EXPECT_EQ(FormatSingle(0.1f, "0.000000000"), "0.100000000");
    EXPECT_EQ(FormatCurrency(12345678, "$#,###.00"), "$1,234.57");
    EXPECT_EQ(FormatCurrency(-50, Accounting), "(.01)");
    EXPECT_EQ(FormatCurrency(-49, Accounting), "(.00)");
    EXPECT_EQ(FormatCurrency(0, Accounting), "0.00");
    EXPECT_EQ(FormatCurrency(INT64_MIN, "#,###"), "-922,337,203,685,478");
}

TEST(Format, DatesAndTimes) {
    const platform::LocalDateTime t{2026, 7, 1, 9, 5, 3};
    const std::pair<const char*, const char*> cases[] = {{"mm/dd/yyyy", "07/01/2026"},
                                                         {"MM/DD/YYYY", "07/01/2026"},
                                                         {"hh:mm:ss", "09:05:03"},
                                                         {"m/d/yyyy h:m:s", "7/1/2026 9:5:3"},
                                                         {"yyyy-mm-dd hh:nn", "2026-07-01 09:05"},
                                                         {"dd.mm.yy n", "01.07.26 5"},
                                                         {"hh yy mm", "09 26 07"}};
    for (const auto& [pattern, expected] : cases) {
        EXPECT_EQ(FormatDateTime(t, pattern), expected) << pattern;
    }
    EXPECT_EQ(FormatDateTime({1999, 12, 31, 23, 59, 58}, "hh:mm:ss"), "23:59:58");
}
