#include "loan/currency.h"

#include "loan/finance.h"

#include <cmath>

namespace loan {

std::optional<Currency> Currency::FromDouble(double value) {
    if (!std::isfinite(value)) {
        return std::nullopt;
    }
    double scaled = RoundHalfEven(value * 10000.0);
    // 2^63 is the first count the type cannot hold.
    if (std::fabs(scaled) >= 9223372036854775808.0) {
        return std::nullopt;
    }
    return Currency{static_cast<int64_t>(scaled)};
}

Currency Currency::FromDoubleOrZero(double value) {
    return FromDouble(value).value_or(Currency{});
}

} // namespace loan
