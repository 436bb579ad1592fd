#pragma once
// The suite's Currency: a fixed-point amount with four decimals, held as a
// whole count of ten-thousandths so that sums of money carry no binary error.

#include <cstdint>
#include <optional>

namespace loan {

struct Currency {
    int64_t tenThousandths = 0;

    // The amount nearest to `value` at four decimals, ties to even as the
    // suite's conversion to currency rounds. Not a number, infinity and
    // amounts beyond the type's range (about 9.2e14) give nothing.
    static std::optional<Currency> FromDouble(double value);
    // As FromDouble, 0 where FromDouble gives nothing.
    static Currency FromDoubleOrZero(double value);

    double ToDouble() const { return static_cast<double>(tenThousandths) / 10000.0; }

    friend bool operator==(Currency, Currency) = default;
    friend auto operator<=>(Currency, Currency) = default;
};

} // namespace loan
