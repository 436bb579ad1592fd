#include "util/vb_number.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <limits>
#include <optional>
#include <tuple>

using util::DoubleToText;
using util::SingleToText;
using util::TextToDouble;
using util::TextToSingle;

// Up to seven digits plain, E notation outside them (the general form is
// held against the C library below). Rounding to seven digits can carry into
// a new digit and so into E notation; whole numbers take a path of their own;
// values no Windows program can hold are written as zero.
TEST(SingleToText, SpecialValues) {
    const std::pair<float, const char*> cases[] = {{0.0f, "0"},
                                                   {-0.0f, "0"},
                                                   {-42.0f, "-42"},
                                                   {9999999.0f, "9999999"},
                                                   {10000000.0f, "1E+07"},
                                                   {9999999.5f, "1E+07"},
                                                   {std::numeric_limits<float>::infinity(), "0"},
                                                   {std::numeric_limits<float>::quiet_NaN(), "0"}};
    for (const auto& [value, text] : cases) {
        EXPECT_EQ(SingleToText(value), text);
    }
}

// The fewest digits that read back as the same Double, laid out as a Single is.
TEST(DoubleToText, ShortestTextThatReadsBackTheSameValue) {
    const std::pair<double, const char*> cases[] = {
        {0.1 + 0.2, "0.30000000000000004"},
        {0.075, "0.075"},
        {static_cast<double>(7.3f) * 0.01, "0.07300000190734864"},
        {-0.0, "0"},
        {123456789012345.0, "123456789012345"},
        {1234567890123456.0, "1.234567890123456E+15"},
        {1e15, "1E+15"},
        {1e100, "1E+100"},
        {0.0001, "0.0001"},
        {0.00001, "1E-05"},
        {-1.5e-7, "-1.5E-07"},
        {std::numeric_limits<double>::infinity(), "0"},
        {std::numeric_limits<double>::quiet_NaN(), "0"}};
    for (const auto& [value, text] : cases) {
        SCOPED_TRACE(text);
        EXPECT_EQ(DoubleToText(value), text);
    }
}

// What the Windows programs write (a machine with "," as its decimal
// separator writes that), what a person types, and the range of the type:
// too small to hold reads as zero, too large as nothing.
TEST(TextToNumber, ReadsTheWrittenAndTypedForms) {
    const std::tuple<const char*, std::optional<float>, std::optional<double>> cases[] = {
        {"1.234568E+07", 12345680.0f, 12345680.0},
        {"0,5", 0.5f, 0.5},
        {"0.07300000190734864", 0.073f, static_cast<double>(7.3f) * 0.01},
        {"1.23456789012346E+15", 1.23456789e15f, 1.23456789012346e15},
        {"  42  ", 42.0f, 42.0},
        {"\t-42\t", -42.0f, -42.0},
        {".5", 0.5f, 0.5},
        {"5.", 5.0f, 5.0},
        {"1D+02", 100.0f, 100.0},
        {"+1,5E-2", 0.015f, 0.015},
        {"1e39", std::nullopt, 1e39},
        {"1e400", std::nullopt, std::nullopt},
        {"1e-50", 0.0f, 1e-50},
        {"1e-400", 0.0f, 0.0},
        {"+0.000e99999999", 0.0f, 0.0},
        {"+1e-99999999", 0.0f, 0.0}};
    for (const auto& [text, single, dbl] : cases) {
        SCOPED_TRACE(text);
        EXPECT_EQ(TextToSingle(text), single);
        EXPECT_EQ(TextToDouble(text), dbl);
    }
    for (const char* junk :
         {"",      " ",   "abc",  "1.2.3", "1e",  "e5",  "-",    "+",     ".",   "nan",  "inf",
          "1,5,0", "12a", "0x10", "1 2",   "--1", "1e+", "+1e+", "+1e-x", "+ 1", "1.5e", "+.e1"}) {
        EXPECT_FALSE(TextToSingle(junk).has_value()) << junk;
        EXPECT_FALSE(TextToDouble(junk).has_value()) << junk;
    }
}

// The C library's %.7G, with the exponent's letter as written, is the text of
// the Windows programs; compared over a wide spread of values. Writing,
// reading and writing again gives the first text, so a schedule loaded and
// saved unchanged keeps its stored text byte for byte; a Double comes back
// exactly.
TEST(SingleToText, AgreesWithTheCLibraryAndReadsBack) {
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
        ASSERT_EQ(SingleToText(TextToSingle(ref).value_or(0)), ref) << i;
    }
    for (double v = 1e-9; v < 1e20; v *= 3.1) {
        for (double d : {v, -v, v / 7}) {
            EXPECT_EQ(TextToDouble(DoubleToText(d)), d) << d;
        }
    }
}
