#include "util/vb_number.h"

#include <charconv>
#include <cmath>
#include <cstdlib>
#include <system_error>

namespace util {

namespace {

// The %G form of C with `digits` significant digits is the Windows text of a
// number except for the exponent letter's case and the sign of zero.
template <class T> std::string ToText(T value, int digits) {
    if (!std::isfinite(value) || value == 0) {
        // No Windows program can hold these, and "-0" is never written:
        // a stored text must stay readable by every reader of it.
        return "0";
    }
    char buf[48];
    // Whole numbers below the E-notation limit are common in schedules
    // (terms, rates, zero amounts) and print as plain integers, much faster.
    if (std::fabs(value) < (digits == 7 ? T(1e7) : T(1e15)) && value == std::trunc(value)) {
        auto res = std::to_chars(buf, buf + sizeof buf, static_cast<long long>(value));
        return std::string(buf, res.ptr);
    }
    auto res = std::to_chars(buf, buf + sizeof buf, value, std::chars_format::general, digits);
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
    return ToText(value, 7);
}

std::string DoubleToText(double value) {
    return ToText(value, 15);
}

std::optional<float> TextToSingle(std::string_view text) {
    return FromText<float>(text);
}

std::optional<double> TextToDouble(std::string_view text) {
    return FromText<double>(text);
}

} // namespace util
