#pragma once
// The annuity functions of the schedule engine, with the suite's sign
// convention: money paid out is negative, money received positive. Payments
// fall at the end of each period.
//
// Every function answers nothing (an empty optional) where the suite's own
// functions raise an error: a period outside the loan, a term of 0, a
// payment that never repays the balance, an argument that is not a finite
// number. Callers decide what a failed calculation means; none of them sees NaN.

#include <optional>

namespace loan {

// The payment per period that repays `pv` (and leaves `fv`) over `nper`
// periods at `rate` per period. Pmt(0.05 / 12, 360, 100000) is about -536.82.
std::optional<double> Pmt(double rate, double nper, double pv, double fv = 0);

// The interest part of the payment of period `per` (1 .. nper).
std::optional<double> IPmt(double rate, double per, double nper, double pv, double fv = 0);

// The principal part of the payment of period `per` (1 .. nper):
// Pmt = IPmt + PPmt for every period.
std::optional<double> PPmt(double rate, double per, double nper, double pv, double fv = 0);

// The number of periods (not necessarily whole) that a payment `pmt`
// takes to bring `pv` to `fv`.
std::optional<double> NPer(double rate, double pmt, double pv, double fv = 0);

// Rounds to a whole number, ties to the even neighbour, as the suite's
// conversions to integer do (2.5 gives 2, 3.5 gives 4).
double RoundHalfEven(double value);

} // namespace loan
