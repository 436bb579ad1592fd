#include "util/vb_number.h"

#include <charconv>
#include <cmath>
#include <cstdlib>
#include <system_error>

namespace util {

namespace {

// The %G form of C with 7 significant digits is the Windows text of a Single
// except for the exponent letter's case and the sign of zero.
std::string SevenDigits(float value) {
    if (!std::isfinite(value) || value == 0) {
        // No Windows program can hold these, and "-0" is never written:
        // a stored text must stay readable by every reader of it.
        return "0";
    }
    char buf[48];
    // Whole numbers below the E-notation limit are common in schedules
    // (terms, rates, zero amounts) and print as plain integers, much faster.
    if (std::fabs(value) < 1e7f && value == std::trunc(value)) {
        auto res = std::to_chars(buf, buf + sizeof buf, static_cast<long long>(value));
        return std::string(buf, res.ptr);
    }
    auto res = std::to_chars(buf, buf + sizeof buf, value, std::chars_format::general, 7);
    std::string text(buf, res.ptr);
    auto e = text.find('e');
    if (e != std::string::npos) {
        text[e] = 'E';
    }
    return text;
}

// Checks a number's shape and rewrites it for from_chars: no blanks, no
// "+", "." as the separator, "e" as the exponent letter. `magnitude` gets
// the power of ten of the leading digit (for telling underflow from
// overflow), `zero` whether every digit is 0.
bool Normalise(std::string_view text, std::string& out, int& magnitude, bool& zero) {
    size_t b = 0;
    size_t e = text.size();
    while (b < e && (text[b] == ' ' || text[b] == '\t')) {
        ++b;
    }
    while (e > b && (text[e - 1] == ' ' || text[e - 1] == '\t')) {
        --e;
    }
    text = text.substr(b, e - b);
    out.clear();
    size_t i = 0;
    if (i < text.size() && (text[i] == '+' || text[i] == '-')) {
        if (text[i] == '-') {
            out.push_back('-');
        }
        ++i;
    }
    int intDigits = 0; // significant digits before the point
    int leadingFracZeros = 0;
    bool seenNonZero = false;
    int digitCount = 0;
    while (i < text.size() && text[i] >= '0' && text[i] <= '9') {
        if (text[i] != '0' || seenNonZero) {
            seenNonZero = true;
            ++intDigits;
        }
        out.push_back(text[i++]);
        ++digitCount;
    }
    if (i < text.size() && (text[i] == '.' || text[i] == ',')) {
        out.push_back('.');
        ++i;
        while (i < text.size() && text[i] >= '0' && text[i] <= '9') {
            if (text[i] != '0') {
                seenNonZero = true;
            } else if (!seenNonZero) {
                ++leadingFracZeros;
            }
            out.push_back(text[i++]);
            ++digitCount;
        }
    }
    if (digitCount == 0) {
        return false;
    }
    long exponent = 0;
    if (i < text.size() && (text[i] == 'e' || text[i] == 'E' || text[i] == 'd' || text[i] == 'D')) {
        out.push_back('e');
        ++i;
        bool negative = false;
        if (i < text.size() && (text[i] == '+' || text[i] == '-')) {
            negative = text[i] == '-';
            if (negative) {
                out.push_back('-');
            }
            ++i;
        }
        size_t start = i;
        while (i < text.size() && text[i] >= '0' && text[i] <= '9') {
            if (exponent < 100000) {
                exponent = exponent * 10 + (text[i] - '0');
            }
            out.push_back(text[i++]);
        }
        if (i == start) {
            return false;
        }
        if (negative) {
            exponent = -exponent;
        }
    }
    if (i != text.size()) {
        return false;
    }
    zero = !seenNonZero;
    magnitude =
        static_cast<int>(exponent) + (intDigits > 0 ? intDigits - 1 : -leadingFracZeros - 1);
    return true;
}

template <class T> std::optional<T> FromText(std::string_view text) {
    // The form this module writes reads directly; every other form is
    // brought to it first.
    if (!text.empty() && ((text[0] >= '0' && text[0] <= '9') || text[0] == '-' || text[0] == '.')) {
        T value{};
        auto res = std::from_chars(text.data(), text.data() + text.size(), value);
        if (res.ec == std::errc() && res.ptr == text.data() + text.size() && std::isfinite(value)) {
            return value;
        }
    }
    std::string norm;
    int magnitude = 0;
    bool zero = false;
    if (!Normalise(text, norm, magnitude, zero)) {
        return std::nullopt;
    }
    if (zero) {
        return T(0);
    }
    T value{};
    auto res = std::from_chars(norm.data(), norm.data() + norm.size(), value);
    if (res.ec == std::errc::result_out_of_range) {
        // Too small to hold reads as 0, as on Windows; too large is an error there too.
        if (magnitude < 0) {
            return T(0);
        }
        return std::nullopt;
    }
    if (res.ec != std::errc() || res.ptr != norm.data() + norm.size() || !std::isfinite(value)) {
        return std::nullopt;
    }
    return value;
}

} // namespace

std::string SingleToText(float value) {
    return SevenDigits(value);
}

std::string DoubleToText(double value) {
    if (!std::isfinite(value) || value == 0) {
        return "0";
    }
    // The shortest digits that read back the same, in the layout above.
    char buf[48];
    auto res =
        std::to_chars(buf, buf + sizeof buf, std::fabs(value), std::chars_format::scientific);
    const std::string_view sci(buf, static_cast<size_t>(res.ptr - buf));
    const size_t e = sci.find('e');
    std::string digits(sci.substr(0, e));
    if (digits.size() > 1) {
        digits.erase(1, 1); // the point after the first digit
    }
    int exponent = 0;
    std::from_chars(sci.data() + e + 1 + (sci[e + 1] == '+'), sci.data() + sci.size(), exponent);
    std::string text = value < 0 ? "-" : "";
    if (exponent >= 15 || exponent < -4) {
        text += digits.substr(0, 1);
        if (digits.size() > 1) {
            text += "." + digits.substr(1);
        }
        const std::string power = std::to_string(std::abs(exponent));
        text += std::string(exponent < 0 ? "E-" : "E+") + (power.size() < 2 ? "0" : "") + power;
    } else if (exponent >= 0) {
        const size_t whole = static_cast<size_t>(exponent) + 1;
        if (digits.size() <= whole) {
            text += digits + std::string(whole - digits.size(), '0');
        } else {
            text += digits.substr(0, whole) + "." + digits.substr(whole);
        }
    } else {
        text += "0." + std::string(static_cast<size_t>(-exponent - 1), '0') + digits;
    }
    return text;
}

std::optional<float> TextToSingle(std::string_view text) {
    return FromText<float>(text);
}

std::optional<double> TextToDouble(std::string_view text) {
    return FromText<double>(text);
}

} // namespace util
