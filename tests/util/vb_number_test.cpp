#include "util/vb_number.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <limits>

using util::DoubleToText;
using util::SingleToText;
using util::TextToDouble;
using util::TextToSingle;

TEST(SingleToText, PlainDecimalsUpToSevenDigits) {
    EXPECT_EQ(SingleToText(0.0f), "0");
    EXPECT_EQ(SingleToText(-0.0f), "0");
    EXPECT_EQ(SingleToText(0.5f), "0.5");
    EXPECT_EQ(SingleToText(-0.5f), "-0.5");
    EXPECT_EQ(SingleToText(0.1f), "0.1"); // the binary value is 0.10000000149...
    EXPECT_EQ(SingleToText(1.0f / 3.0f), "0.3333333");
    EXPECT_EQ(SingleToText(536.8216f), "536.8216");
    EXPECT_EQ(SingleToText(99879.51f), "99879.51");
    EXPECT_EQ(SingleToText(1234567.0f), "1234567");
    EXPECT_EQ(SingleToText(0.0001f), "0.0001");
}

TEST(SingleToText, ENotationOutsideSevenDigits) {
    EXPECT_EQ(SingleToText(12345678.0f), "1.234568E+07");
    EXPECT_EQ(SingleToText(10000000.0f), "1E+07");
    EXPECT_EQ(SingleToText(-12345678.0f), "-1.234568E+07");
    EXPECT_EQ(SingleToText(0.00001f), "1E-05");
    EXPECT_EQ(SingleToText(0.000012345f), "1.2345E-05");
    EXPECT_EQ(SingleToText(1e-30f), "1E-30");
    EXPECT_EQ(SingleToText(3.4e38f), "3.4E+38");
    // Rounding to seven digits can carry into a new digit and so into E notation.
    EXPECT_EQ(SingleToText(9999999.5f), "1E+07");
}

TEST(SingleToText, NonFiniteValuesAreWrittenAsZero) {
    EXPECT_EQ(SingleToText(std::numeric_limits<float>::infinity()), "0");
    EXPECT_EQ(SingleToText(std::numeric_limits<float>::quiet_NaN()), "0");
}

// The fewest digits that read back as the same Double, laid out as a Single is.
TEST(DoubleToText, ShortestTextThatReadsBackTheSameValue) {
    const std::pair<double, const char*> cases[] = {
        {0.1 + 0.2, "0.30000000000000004"},
        {0.075, "0.075"},
        {static_cast<double>(7.3f) * 0.01, "0.07300000190734864"},
        {static_cast<double>(6.875f) * 0.01, "0.06875"},
        {1.0 / 3.0, "0.3333333333333333"},
        {-2.5, "-2.5"},
        {0.0, "0"},
        {-0.0, "0"},
        {123456789012345.0, "123456789012345"},
        {100.0, "100"},
        {1234567890123456.0, "1.234567890123456E+15"},
        {1e15, "1E+15"},
        {1e100, "1E+100"},
        {0.0001, "0.0001"},
        {0.00001, "1E-05"},
        {-1.5e-7, "-1.5E-07"},
    };
    for (const auto& [value, text] : cases) {
        SCOPED_TRACE(text);
        EXPECT_EQ(DoubleToText(value), text);
    }
}

TEST(TextToNumber, ReadsWhatTheWindowsProgramsWrite) {
    EXPECT_EQ(TextToSingle("1.234568E+07"), 12345680.0f);
    EXPECT_EQ(TextToSingle("1E-05"), 0.00001f);
    EXPECT_EQ(TextToSingle("536.8216"), 536.8216f);
    EXPECT_EQ(TextToSingle("-0.5"), -0.5f);
    EXPECT_EQ(TextToSingle("0,5"), 0.5f); // a machine with "," as its decimal separator
    EXPECT_EQ(TextToDouble("0.075"), 0.075);
    EXPECT_EQ(TextToDouble("1.23456789012346E+15"), 1.23456789012346e15);
    EXPECT_EQ(TextToDouble("0.07300000190734864"), static_cast<double>(7.3f) * 0.01);
}

TEST(TextToNumber, AcceptsTypedForms) {
    EXPECT_EQ(TextToSingle("  42  "), 42.0f);
    EXPECT_EQ(TextToSingle(".5"), 0.5f);
    EXPECT_EQ(TextToSingle("5."), 5.0f);
    EXPECT_EQ(TextToSingle("+3"), 3.0f);
    EXPECT_EQ(TextToSingle("1e7"), 1e7f);
    EXPECT_EQ(TextToSingle("1D+02"), 100.0f);
    EXPECT_EQ(TextToDouble("2.5e-3"), 0.0025);
}

TEST(TextToNumber, RejectsWhatIsNoNumber) {
    for (const char* junk : {"", " ", "abc", "1.2.3", "1e", "e5", "-", "+", ".", "nan", "inf",
                             "1,5,0", "12a", "0x10", "1 2", "--1", "1e+"}) {
        EXPECT_FALSE(TextToSingle(junk).has_value()) << junk;
        EXPECT_FALSE(TextToDouble(junk).has_value()) << junk;
    }
}

TEST(TextToNumber, RangeOfTheType) {
    EXPECT_FALSE(TextToSingle("1e39").has_value());
    EXPECT_FALSE(TextToSingle("-1e39").has_value());
    EXPECT_EQ(TextToDouble("1e39"), 1e39);
    EXPECT_FALSE(TextToDouble("1e400").has_value());
    EXPECT_EQ(TextToSingle("1e-50"), 0.0f); // too small to hold reads as zero
    EXPECT_EQ(TextToDouble("1e-400"), 0.0);
    EXPECT_EQ(TextToSingle("0e999"), 0.0f);
}

// Writing, reading and writing again gives the first text: a schedule that
// is loaded and saved unchanged keeps its stored text byte for byte.
TEST(TextToNumber, SecondWriteRepeatsTheFirst) {
    for (float v = 1e-6f; v < 1e9f; v *= 1.37f) {
        for (float s : {v, -v, v + 0.123f}) {
            std::string first = SingleToText(s);
            auto back = TextToSingle(first);
            ASSERT_TRUE(back.has_value()) << first;
            EXPECT_EQ(SingleToText(*back), first);
            EXPECT_NEAR(*back, s, std::fabs(s) * 1e-6f);
        }
    }
    // A Double comes back exactly.
    for (double v = 1e-9; v < 1e20; v *= 3.1) {
        for (double d : {v, -v, v / 7}) {
            std::string first = DoubleToText(d);
            EXPECT_EQ(TextToDouble(first), d) << first;
        }
    }
}

// The C library's %.7G, with the exponent's letter as written, is the text of
// the Windows programs; compared over a wide spread of values.
TEST(SingleToText, AgreesWithTheCLibrarysGeneralForm) {
    char ref[64];
    uint32_t state = 12345;
    for (int i = 0; i < 200000; ++i) {
        state = state * 1664525u + 1013904223u;
        float v;
        uint32_t bits = state & 0x7FFFFFFFu;
        std::memcpy(&v, &bits, sizeof v);
        if (!std::isfinite(v) || v == 0) {
            continue;
        }
        v = (i % 2) ? -v : v;
        std::snprintf(ref, sizeof ref, "%.7G", static_cast<double>(v));
        ASSERT_EQ(SingleToText(v), ref) << i;
    }
}
