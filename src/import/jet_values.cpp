#include "import/jet_values.h"

#include "backup/bar.h"
#include "platform/clock.h"

#include <charconv>
#include <chrono>
#include <cmath>
#include <cstdint>

namespace import {

namespace {

// The first and last day a Windows date can hold: 1 January 100 and
// 31 December 9999, counted from 30 December 1899.
constexpr double FirstDay = -657434;
constexpr double LastDay = 2958465;

// Amounts up to a hundred billion keep their four decimals exactly in a
// Double; the suite's amounts are far below.
constexpr int64_t LargestTenThousandths = 1'000'000'000'000'000;

} // namespace

std::optional<std::string> DateText(double days) {
    if (!std::isfinite(days)) {
        return std::nullopt;
    }
    double whole = std::trunc(days);
    long long seconds = std::llround(std::fabs(days - whole) * 86400.0);
    if (seconds >= 86400) { // a time that rounds up to midnight is the next day
        whole += 1;
        seconds -= 86400;
    }
    if (whole < FirstDay || whole > LastDay) {
        return std::nullopt;
    }
    namespace c = std::chrono;
    const c::year_month_day ymd{c::sys_days{c::year{1899} / 12 / 30} +
                                c::days{static_cast<long>(whole)}};
    platform::LocalDateTime t;
    t.year = static_cast<int>(ymd.year());
    t.month = static_cast<int>(static_cast<unsigned>(ymd.month()));
    t.day = static_cast<int>(static_cast<unsigned>(ymd.day()));
    t.hour = static_cast<int>(seconds / 3600);
    t.minute = static_cast<int>(seconds / 60 % 60);
    t.second = static_cast<int>(seconds % 60);
    return backup::GeneralDateText(t);
}

double SingleValue(float value) {
    char text[32];
    const auto written = std::to_chars(text, text + sizeof text, value);
    double result = value;
    std::from_chars(text, written.ptr, result);
    return result;
}

std::optional<double> CurrencyValue(std::string_view text) {
    bool negative = !text.empty() && text.front() == '-';
    if (negative) {
        text.remove_prefix(1);
    }
    const size_t point = text.find('.');
    if (point == std::string_view::npos || point == 0 || text.size() - point - 1 != 4) {
        return std::nullopt;
    }
    int64_t tenThousandths = 0;
    for (size_t i = 0; i < text.size(); ++i) {
        if (i == point) {
            continue;
        }
        const char ch = text[i];
        if (ch < '0' || ch > '9' || tenThousandths > LargestTenThousandths) {
            return std::nullopt;
        }
        tenThousandths = tenThousandths * 10 + (ch - '0');
    }
    if (tenThousandths > LargestTenThousandths) {
        return std::nullopt;
    }
    // One correctly rounded division: the Double nearest the exact amount.
    const double amount = static_cast<double>(tenThousandths) / 10000.0;
    return negative ? -amount : amount;
}

} // namespace import
