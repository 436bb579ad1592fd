#pragma once
// Numbers and dates formatted as the suite's format patterns write them.
//
// Number patterns: up to four sections separated by ";" (positive; negative;
// zero; a fourth, for a missing value, is accepted and never used). In a
// section, "0" is a digit always shown, "#" a digit shown only when
// significant, "." the decimal point (always printed when present), "," between
// integer digits groups thousands, "%" multiplies by 100; "\x" and "..." are
// literal, as is every other character. Literals before the first digit lead
// the number, all others follow it. The separators are "," and "." whatever
// the locale.
//
// Rounding is half away from zero on the decimal value: a Double counts as
// its 15 significant digits (2.675 formats as 2.68), a Single as its 7.
// A negative number takes the negative section without a sign; with no
// negative section the positive one is used behind a "-" (so -0.4 under
// "#0" gives "-0"). The zero section applies to exactly zero only.
//
//   Format(0, "#,###")                            ""
//   Format(1234567, "#,###")                      "1,234,567"
//   Format(37.5, "#0")                            "38"
//   Format(0.5, "#.00")                           ".50"
//   Format(1234.5, "$#,###.00")                   "$1,234.50"
//   Format(-1234.5, "#,###.00;(#,###.00);0.00;0.00")  "(1,234.50)"

#include "platform/clock.h"

#include <cstdint>
#include <string>
#include <string_view>

namespace util {

// A Double (or any whole number that fits one exactly).
std::string Format(double value, std::string_view pattern);

// A Single: its value counts as 7 significant digits before rounding.
std::string FormatSingle(float value, std::string_view pattern);

// A Currency held as a count of ten-thousandths (exact, no binary error).
std::string FormatCurrency(int64_t tenThousandths, std::string_view pattern);

// Date and time patterns: "yyyy" "yy" "mm" "m" "dd" "d" for the date, "hh" "h"
// (24-hour), "nn" "n" and "ss" "s" for the time; "mm"/"m" right after an hour
// means minutes. Every other character is literal ("/" and ":" included).
//   FormatDateTime(t, "mm/dd/yyyy")  "07/01/2026"
//   FormatDateTime(t, "hh:mm:ss")    "09:05:03"
std::string FormatDateTime(const platform::LocalDateTime& t, std::string_view pattern);

} // namespace util
