#include "loan/dates.h"

#include "util/strings.h"

#include <charconv>
#include <chrono>

namespace loan {

namespace {

int DaysInMonth(int y, int m) {
    namespace c = std::chrono;
    c::year_month_day_last last{c::year(y), c::month_day_last(c::month(static_cast<unsigned>(m)))};
    return static_cast<int>(static_cast<unsigned>(last.day()));
}

std::optional<Date> Checked(Date d) {
    if (!IsValidDate(d)) {
        return std::nullopt;
    }
    return d;
}

// A run of 1..maxDigits decimal digits at the whole of `text`.
std::optional<int> Digits(std::string_view text, size_t minDigits, size_t maxDigits) {
    if (text.size() < minDigits || text.size() > maxDigits) {
        return std::nullopt;
    }
    int value = 0;
    auto res = std::from_chars(text.data(), text.data() + text.size(), value);
    if (res.ec != std::errc() || res.ptr != text.data() + text.size()) {
        return std::nullopt;
    }
    return value;
}

} // namespace

bool IsValidDate(const Date& d) {
    return d.year >= 100 && d.year <= 9999 && d.month >= 1 && d.month <= 12 && d.day >= 1 &&
           d.day <= DaysInMonth(d.year, d.month);
}

Date Today(const platform::Clock& clock) {
    platform::LocalDateTime now = clock.Now();
    return Date{now.year, now.month, now.day};
}

std::string ShortDateText(const Date& d) {
    if (d.IsNull()) {
        return "";
    }
    return std::to_string(d.month) + "/" + std::to_string(d.day) + "/" + std::to_string(d.year);
}

std::optional<Date> ParseDateText(std::string_view text) {
    std::string trimmed = util::Trim(text);
    std::string_view t = trimmed;
    if (t.find('-') != std::string_view::npos) {
        auto parts = util::Split(t, "-");
        if (parts.size() != 3) {
            return std::nullopt;
        }
        auto y = Digits(parts[0], 4, 4);
        auto m = Digits(parts[1], 1, 2);
        auto d = Digits(parts[2], 1, 2);
        if (!y || !m || !d) {
            return std::nullopt;
        }
        return Checked(Date{*y, *m, *d});
    }
    auto parts = util::Split(t, "/");
    if (parts.size() != 3) {
        return std::nullopt;
    }
    auto m = Digits(parts[0], 1, 2);
    auto d = Digits(parts[1], 1, 2);
    auto y = Digits(parts[2], 2, 4);
    if (!y || !m || !d || parts[2].size() == 3) {
        return std::nullopt;
    }
    int year = *y;
    if (parts[2].size() == 2) {
        // The Windows programs' two-digit year window.
        year += year < 30 ? 2000 : 1900;
    }
    return Checked(Date{year, *m, *d});
}

std::optional<Date> AddInterval(std::string_view interval, int count, const Date& d) {
    if (!IsValidDate(d)) {
        return std::nullopt;
    }
    std::string code = util::LCase(interval);
    int months = 0;
    long days = 0;
    if (code == "yyyy") {
        months = 12 * count;
    } else if (code == "q") {
        months = 3 * count;
    } else if (code == "m") {
        months = count;
    } else if (code == "ww") {
        days = 7L * count;
    } else if (code == "d" || code == "y" || code == "w") {
        days = count;
    } else {
        return std::nullopt;
    }
    if (days != 0) {
        return Checked(FromDaySerial(DaySerial(d) + days));
    }
    long total = static_cast<long>(d.year) * 12 + (d.month - 1) + months;
    Date r;
    r.year = static_cast<int>(total / 12);
    r.month = static_cast<int>(total % 12) + 1;
    if (r.year < 100 || r.year > 9999) {
        return std::nullopt;
    }
    int last = DaysInMonth(r.year, r.month);
    r.day = d.day > last ? last : d.day;
    return Checked(r);
}

int MonthDiff(const Date& from, const Date& to) {
    return (to.year - from.year) * 12 + (to.month - from.month);
}

namespace {
std::chrono::sys_days SysDays(int y, int m, int d) {
    namespace c = std::chrono;
    return c::sys_days{c::year_month_day{c::year(y), c::month(static_cast<unsigned>(m)),
                                         c::day(static_cast<unsigned>(d))}};
}
} // namespace

long DaySerial(const Date& d) {
    return static_cast<long>((SysDays(d.year, d.month, d.day) - SysDays(2000, 1, 1)).count());
}

Date FromDaySerial(long serial) {
    namespace c = std::chrono;
    c::year_month_day ymd{SysDays(2000, 1, 1) + c::days(serial)};
    return Date{static_cast<int>(ymd.year()), static_cast<int>(static_cast<unsigned>(ymd.month())),
                static_cast<int>(static_cast<unsigned>(ymd.day()))};
}

} // namespace loan
