#pragma once
// The conversions of a Windows database's stored values that the library
// leaves to its caller, kept apart so they can be checked on their own.

#include <optional>
#include <string>
#include <string_view>

namespace import {

// A stored date and time (days since 30 December 1899; for earlier dates the
// whole part counts back and the fraction still counts forward, so -1.25 is
// 29 December 1899 6:00 AM) in the suite's general date form: "7/1/2026",
// or "7/1/2026 9:05:03 AM" when there is a time of day. Nothing for values
// outside the years 100 to 9999, which no Windows date can hold.
std::optional<std::string> DateText(double days);

// A Single as the decimal it stands for: the shortest decimal that reads
// back as the same Single (0.15, not 0.150000006), widened to a Double.
double SingleValue(float value);

// A Currency amount written with four decimals ("-1234.5600") as a Double.
// Nothing when the text is not such an amount or when the amount is too
// large for a Double to keep its four decimals exactly.
std::optional<double> CurrencyValue(std::string_view text);

} // namespace import
