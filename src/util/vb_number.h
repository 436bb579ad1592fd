#pragma once
// Numbers as text the way the suite's Windows programs write and read them,
// so that stored texts (amortization schedules, rate lists) pass between the
// platforms unchanged.
//
// A Single is written with up to 7 significant digits, as the suite's
// Windows programs write it; a Double with the fewest digits that read back
// as the very same Double (up to 17), so that a stored Double keeps its exact
// value. Trailing zeros are dropped, there is a leading "0" before the
// point, "-" for negatives and no sign for zero. The decimal separator is
// always ".", whatever the locale, so that a stored text reads the same on
// every machine. Numbers from 1E+07 (a Single) or 1E+15 (a Double) up, and
// below 0.0001, are written in E notation with a signed exponent of at least
// two digits:
//   SingleToText(0.5f)        "0.5"
//   SingleToText(12345678.f)  "1.234568E+07"
//   SingleToText(0.00001f)    "1E-05"
//   DoubleToText(0.1 + 0.2)   "0.30000000000000004"
//   DoubleToText(0.075)       "0.075"
//   DoubleToText(double(7.3f) * 0.01)  "0.07300000190734864"

#include <optional>
#include <string>
#include <string_view>

namespace util {

std::string SingleToText(float value);
std::string DoubleToText(double value);

// Reads a number written as above or as a person types one: blanks around,
// a leading "+" or "-", digits with "." or "," as the decimal separator
// (a Windows machine set to such a locale writes ","), an optional
// exponent "E+07"/"e7". Anything else, an empty text, infinities, NaN and
// numbers beyond the type's range give nothing.
std::optional<float> TextToSingle(std::string_view text);
std::optional<double> TextToDouble(std::string_view text);

} // namespace util
