#include "loan/finance.h"

#include <cmath>

namespace loan {

namespace {

std::optional<double> Finite(double v) {
    if (!std::isfinite(v)) {
        return std::nullopt;
    }
    return v;
}

bool AllFinite(std::initializer_list<double> values) {
    for (double v : values) {
        if (!std::isfinite(v)) {
            return false;
        }
    }
    return true;
}

// A period outside 1 .. nper is an error; a fractional term still has a
// last (short) period, which is why the bound is nper + 1, not nper.
bool PeriodInRange(double per, double nper) {
    return per > 0 && per < nper + 1;
}

} // namespace

double RoundHalfEven(double value) {
    if (!std::isfinite(value)) {
        return value;
    }
    double lower = std::floor(value);
    double diff = value - lower;
    if (diff < 0.5) {
        return lower;
    }
    if (diff > 0.5) {
        return lower + 1;
    }
    return std::fmod(lower, 2.0) == 0 ? lower : lower + 1;
}

std::optional<double> Pmt(double rate, double nper, double pv, double fv) {
    if (!AllFinite({rate, nper, pv, fv}) || nper == 0 || rate <= -1) {
        return std::nullopt;
    }
    if (rate == 0) {
        return Finite(-(pv + fv) / nper);
    }
    const double growthLog = nper * std::log1p(rate);
    if (growthLog == 0) {
        // A rate too small to move the balance within the term.
        return Finite(-(pv + fv) / nper);
    }
    if (growthLog > 0) {
        // Divided through by the growth factor, which a long term takes past
        // the range of a double.
        return Finite(-(pv + fv * std::exp(-growthLog)) * rate / -std::expm1(-growthLog));
    }
    return Finite(-(pv * std::exp(growthLog) + fv) * rate / std::expm1(growthLog));
}

std::optional<double> IPmt(double rate, double per, double nper, double pv, double fv) {
    if (!AllFinite({rate, per, nper, pv, fv}) || !PeriodInRange(per, nper)) {
        return std::nullopt;
    }
    if (!Pmt(rate, nper, pv, fv)) {
        return std::nullopt;
    }
    if (rate == 0 || per == 1) {
        return Finite(-pv * rate);
    }
    // The balance owed after per - 1 payments, in the sign convention of the
    // money received, earns this period's interest. It is worked out from the
    // growth factors of the whole term and of the periods paid, never as the
    // difference of the balance grown and the payments grown: over a long
    // term both are vast and their difference would be lost to rounding.
    const double l = std::log1p(rate);
    const double paidLog = (per - 1) * l;
    const double termLog = nper * l;
    double owed = 0;
    if (termLog == 0) {
        // A rate too small to move the balance: it falls in equal steps.
        owed = pv - (pv + fv) * (per - 1) / nper;
    } else if (termLog > 0) {
        owed = (pv * -std::expm1(paidLog - termLog) -
                fv * (std::exp(paidLog - termLog) - std::exp(-termLog))) /
               -std::expm1(-termLog);
    } else {
        owed = (pv * (std::expm1(termLog) - std::expm1(paidLog)) - fv * std::expm1(paidLog)) /
               std::expm1(termLog);
    }
    return Finite(-owed * rate);
}

std::optional<double> PPmt(double rate, double per, double nper, double pv, double fv) {
    auto pmt = Pmt(rate, nper, pv, fv);
    auto ipmt = IPmt(rate, per, nper, pv, fv);
    if (!pmt || !ipmt) {
        return std::nullopt;
    }
    return Finite(*pmt - *ipmt);
}

std::optional<double> NPer(double rate, double pmt, double pv, double fv) {
    if (!AllFinite({rate, pmt, pv, fv}) || rate <= -1) {
        return std::nullopt;
    }
    if (rate == 0) {
        if (pmt == 0) {
            return std::nullopt;
        }
        return Finite(-(pv + fv) / pmt);
    }
    // pv (1 + rate)^n + pmt ((1 + rate)^n - 1) / rate + fv = 0, solved for n.
    double denominator = pmt + pv * rate;
    if (denominator == 0) {
        return std::nullopt;
    }
    double ratio = (pmt - fv * rate) / denominator;
    if (!(ratio > 0)) {
        return std::nullopt; // the payment never repays the balance
    }
    return Finite(std::log(ratio) / std::log1p(rate));
}

} // namespace loan
