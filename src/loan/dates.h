#pragma once
// Calendar dates as the schedules keep them. Dates that go into data are
// written as the US short date M/D/YYYY, whatever the user's locale, so that
// a schedule written on one machine reads back on any other.

#include "platform/clock.h"

#include <optional>
#include <string>
#include <string_view>

namespace loan {

// A calendar date; all zero is "no date" (the suite's date 0).
struct Date {
    int year = 0;
    int month = 0; // 1..12
    int day = 0;   // 1..31

    bool IsNull() const { return year == 0 && month == 0 && day == 0; }
    friend bool operator==(const Date&, const Date&) = default;
    friend auto operator<=>(const Date&, const Date&) = default;
};

// True for a real date of the Gregorian calendar (years 100..9999).
bool IsValidDate(const Date& d);

// The date part of the clock's local time.
Date Today(const platform::Clock& clock);

// "7/1/2026"; "" for no date.
std::string ShortDateText(const Date& d);

// Reads M/D/YYYY, MM/DD/YYYY (two-digit years too: 00-29 are 2000-2029,
// 30-99 are 1930-1999) and YYYY-MM-DD, with blanks around ignored. Anything
// else, or a day the calendar lacks, gives nothing.
std::optional<Date> ParseDateText(std::string_view text);

// Adds `count` units of a calendar interval: "yyyy" years, "q" quarters,
// "m" months, "ww" weeks, "d"/"y"/"w" days. Adding months keeps the day
// and cuts it to the month's last day (31 January + 1 month is the last
// of February). Unknown intervals and results outside the calendar give nothing.
std::optional<Date> AddInterval(std::string_view interval, int count, const Date& d);

// Calendar months from `from` to `to` (the days are ignored): 0 within one month.
int MonthDiff(const Date& from, const Date& to);

// Whole days from 1 January 2000 (negative before), and back.
long DaySerial(const Date& d);
Date FromDaySerial(long serial);

} // namespace loan
