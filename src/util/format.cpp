#include "util/format.h"

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <vector>

namespace util {

namespace {

// A decimal number: value = 0.d1d2d3... * 10^point, that is, the first
// `point` digits are the integer part.
struct Decimal {
    bool negative = false;
    bool zero = true;
    std::string digits;
    int point = 0;
};

// The decimal form of a binary floating value, cut to `significant` digits
// (the last one rounded to nearest by the C library).
Decimal FromBinary(double v, int significant) {
    Decimal d;
    if (!std::isfinite(v) || v == 0.0) {
        d.negative = std::signbit(v) && v != 0.0;
        return d;
    }
    d.negative = v < 0;
    d.zero = false;
    char buf[64];
    std::snprintf(buf, sizeof buf, "%.*e", significant - 1, std::fabs(v));
    // "d.ddddde+XX"
    std::string text(buf);
    size_t e = text.find('e');
    for (size_t i = 0; i < e; ++i) {
        if (text[i] != '.') {
            d.digits.push_back(text[i]);
        }
    }
    d.point = std::atoi(text.c_str() + e + 1) + 1;
    while (d.digits.size() > 1 && d.digits.back() == '0') {
        d.digits.pop_back();
    }
    return d;
}

Decimal FromCurrency(int64_t tenThousandths) {
    Decimal d;
    if (tenThousandths == 0) {
        return d;
    }
    d.zero = false;
    d.negative = tenThousandths < 0;
    uint64_t mag = d.negative ? 0 - static_cast<uint64_t>(tenThousandths)
                              : static_cast<uint64_t>(tenThousandths);
    d.digits = std::to_string(mag);
    d.point = static_cast<int>(d.digits.size()) - 4;
    while (d.digits.size() > 1 && d.digits.back() == '0') {
        d.digits.pop_back();
    }
    return d;
}

// Rounds half away from zero to `places` digits after the point.
void RoundTo(Decimal& d, int places) {
    if (d.zero) {
        return;
    }
    int keep = d.point + places;
    if (keep >= static_cast<int>(d.digits.size())) {
        return;
    }
    if (keep < 0) {
        d.digits.clear();
        return;
    }
    bool up = d.digits[static_cast<size_t>(keep)] >= '5';
    d.digits.resize(static_cast<size_t>(keep));
    if (!up) {
        return;
    }
    int i = keep - 1;
    for (; i >= 0; --i) {
        char& c = d.digits[static_cast<size_t>(i)];
        if (c == '9') {
            c = '0';
        } else {
            ++c;
            break;
        }
    }
    if (i < 0) {
        d.digits.insert(d.digits.begin(), '1');
        ++d.point;
    }
}

struct Section {
    std::string prefix;
    std::string suffix;
    int intZeros = 0;   // "0" placeholders before the point: digits always shown
    int fracZeros = 0;  // "0" placeholders after the point
    int fracDigits = 0; // all placeholders after the point
    bool hasPoint = false;
    bool grouping = false;
    int percent = 0;
    bool empty = true;
};

Section ParseSection(std::string_view s) {
    Section sec;
    sec.empty = s.empty();
    bool seenDigit = false;
    bool afterPoint = false;
    auto literal = [&](char c) {
        if (seenDigit || afterPoint) {
            sec.suffix.push_back(c);
        } else {
            sec.prefix.push_back(c);
        }
    };
    for (size_t i = 0; i < s.size(); ++i) {
        char c = s[i];
        switch (c) {
        case '0':
        case '#':
            if (afterPoint) {
                ++sec.fracDigits;
                if (c == '0') {
                    sec.fracZeros = sec.fracDigits;
                }
            } else {
                if (c == '0') {
                    ++sec.intZeros;
                }
            }
            seenDigit = true;
            break;
        case '.':
            if (!afterPoint) {
                afterPoint = true;
                sec.hasPoint = true;
            } else {
                literal(c);
            }
            break;
        case ',':
            if (!afterPoint && seenDigit && i + 1 < s.size() &&
                (s[i + 1] == '#' || s[i + 1] == '0')) {
                sec.grouping = true;
            } else {
                literal(c);
            }
            break;
        case '%':
            ++sec.percent;
            literal(c);
            break;
        case '\\':
            if (i + 1 < s.size()) {
                literal(s[++i]);
            }
            break;
        case '"': {
            size_t close = s.find('"', i + 1);
            size_t end = close == std::string_view::npos ? s.size() : close;
            for (size_t j = i + 1; j < end; ++j) {
                literal(s[j]);
            }
            i = end;
            break;
        }
        default:
            literal(c);
            break;
        }
    }
    return sec;
}

std::vector<std::string_view> SplitSections(std::string_view pattern) {
    std::vector<std::string_view> out;
    size_t start = 0;
    bool quoted = false;
    for (size_t i = 0; i < pattern.size(); ++i) {
        char c = pattern[i];
        if (c == '"') {
            quoted = !quoted;
        } else if (c == '\\' && !quoted) {
            ++i;
        } else if (c == ';' && !quoted) {
            out.push_back(pattern.substr(start, i - start));
            start = i + 1;
        }
    }
    out.push_back(pattern.substr(start));
    return out;
}

std::string Render(Decimal d, const Section& sec) {
    for (int i = 0; i < sec.percent; ++i) {
        d.point += 2;
    }
    RoundTo(d, sec.fracDigits);

    std::string integer;
    for (int i = 0; i < d.point; ++i) {
        integer.push_back(i < static_cast<int>(d.digits.size()) ? d.digits[static_cast<size_t>(i)]
                                                                : '0');
    }
    size_t nz = integer.find_first_not_of('0');
    integer = nz == std::string::npos ? std::string() : integer.substr(nz);
    if (static_cast<int>(integer.size()) < sec.intZeros) {
        integer.insert(0, static_cast<size_t>(sec.intZeros) - integer.size(), '0');
    }
    if (sec.grouping && integer.size() > 3) {
        std::string grouped;
        size_t lead = integer.size() % 3;
        for (size_t i = 0; i < integer.size(); ++i) {
            if (i != 0 && (i + 3 - lead) % 3 == 0) {
                grouped.push_back(',');
            }
            grouped.push_back(integer[i]);
        }
        integer = std::move(grouped);
    }

    std::string fraction;
    for (int i = 0; i < sec.fracDigits; ++i) {
        int idx = d.point + i;
        fraction.push_back(idx >= 0 && idx < static_cast<int>(d.digits.size())
                               ? d.digits[static_cast<size_t>(idx)]
                               : '0');
    }
    while (static_cast<int>(fraction.size()) > sec.fracZeros && !fraction.empty() &&
           fraction.back() == '0') {
        fraction.pop_back();
    }

    std::string out = sec.prefix + integer;
    if (sec.hasPoint) {
        out += '.';
        out += fraction;
    }
    return out + sec.suffix;
}

std::string FormatDecimal(Decimal d, std::string_view pattern) {
    auto texts = SplitSections(pattern);
    std::vector<Section> sections;
    for (auto t : texts) {
        sections.push_back(ParseSection(t));
    }
    const Section& positive = sections[0];
    if (d.zero && sections.size() >= 3 && !sections[2].empty) {
        return Render(d, sections[2]);
    }
    if (d.negative && !d.zero) {
        if (sections.size() >= 2 && !sections[1].empty) {
            return Render(d, sections[1]);
        }
        return "-" + Render(d, positive);
    }
    return Render(d, positive);
}

} // namespace

std::string Format(double value, std::string_view pattern) {
    return FormatDecimal(FromBinary(value, 15), pattern);
}

std::string FormatSingle(float value, std::string_view pattern) {
    return FormatDecimal(FromBinary(static_cast<double>(value), 7), pattern);
}

std::string FormatCurrency(int64_t tenThousandths, std::string_view pattern) {
    return FormatDecimal(FromCurrency(tenThousandths), pattern);
}

std::string FormatDateTime(const platform::LocalDateTime& t, std::string_view pattern) {
    auto two = [](int n) {
        char b[16];
        std::snprintf(b, sizeof b, "%02d", n);
        return std::string(b);
    };
    std::string out;
    bool afterHour = false; // "m" right after an hour field means minutes
    size_t i = 0;
    while (i < pattern.size()) {
        char c = pattern[i];
        char lc = (c >= 'A' && c <= 'Z') ? static_cast<char>(c - 'A' + 'a') : c;
        size_t run = 1;
        while (i + run < pattern.size()) {
            char n = pattern[i + run];
            char ln = (n >= 'A' && n <= 'Z') ? static_cast<char>(n - 'A' + 'a') : n;
            if (ln != lc) {
                break;
            }
            ++run;
        }
        switch (lc) {
        case 'y':
            if (run >= 3) {
                char b[16];
                std::snprintf(b, sizeof b, "%04d", t.year);
                out += b;
            } else {
                out += two(t.year % 100);
            }
            afterHour = false;
            break;
        case 'm':
            if (afterHour) {
                out += run >= 2 ? two(t.minute) : std::to_string(t.minute);
            } else {
                out += run >= 2 ? two(t.month) : std::to_string(t.month);
            }
            afterHour = false;
            break;
        case 'n':
            out += run >= 2 ? two(t.minute) : std::to_string(t.minute);
            afterHour = false;
            break;
        case 'd':
            out += run >= 2 ? two(t.day) : std::to_string(t.day);
            afterHour = false;
            break;
        case 'h':
            out += run >= 2 ? two(t.hour) : std::to_string(t.hour);
            afterHour = true;
            break;
        case 's':
            out += run >= 2 ? two(t.second) : std::to_string(t.second);
            afterHour = false;
            break;
        default:
            out.append(pattern.substr(i, run)); // separators keep an hour's "m" as minutes
            break;
        }
        i += run;
    }
    return out;
}

} // namespace util
