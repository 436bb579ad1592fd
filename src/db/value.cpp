// Field values, the mapping between declared column types and ADO codes,
// the Jet statement forms, and the date arithmetic of record numbers.

#include "db/connection.h"
#include "util/strings.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <charconv>
#include <cmath>
#include <limits>

namespace db {

namespace {

std::string_view TrimBlanks(std::string_view s) {
    while (!s.empty() && (s.front() == ' ' || s.front() == '\t')) {
        s.remove_prefix(1);
    }
    while (!s.empty() && (s.back() == ' ' || s.back() == '\t')) {
        s.remove_suffix(1);
    }
    return s;
}

// The number a text starts with, as the suite's conversions read it: blanks
// around it are ignored; a text that does not start with a number gives
// nothing.
bool ParseNumber(std::string_view text, double& out) {
    text = TrimBlanks(text);
    if (!text.empty() && text.front() == '+') {
        text.remove_prefix(1);
    }
    if (text.empty()) {
        return false;
    }
    auto [ptr, ec] = std::from_chars(text.data(), text.data() + text.size(), out);
    return ec == std::errc() && ptr != text.data();
}

int64_t RoundHalfEven(double d) {
    if (std::isnan(d)) {
        return 0;
    }
    double r = std::nearbyint(d); // the default rounding mode rounds half to even
    if (r >= 9.2233720368547758e18) {
        return std::numeric_limits<int64_t>::max();
    }
    if (r <= -9.2233720368547758e18) {
        return std::numeric_limits<int64_t>::min();
    }
    return static_cast<int64_t>(r);
}

} // namespace

int64_t Value::AsInt() const {
    switch (kind_) {
    case Kind::Null:
        return 0;
    case Kind::Integer:
        return i_;
    case Kind::Real:
        return RoundHalfEven(d_);
    case Kind::Text: {
        if (util::EqualsNoCase(TrimBlanks(s_), "True")) {
            return -1;
        }
        double d = 0;
        return ParseNumber(s_, d) ? RoundHalfEven(d) : 0;
    }
    }
    return 0;
}

double Value::AsDouble() const {
    switch (kind_) {
    case Kind::Null:
        return 0;
    case Kind::Integer:
        return static_cast<double>(i_);
    case Kind::Real:
        return d_;
    case Kind::Text: {
        double d = 0;
        return ParseNumber(s_, d) ? d : 0;
    }
    }
    return 0;
}

bool Value::AsBool() const {
    if (kind_ == Kind::Text) {
        std::string_view t = TrimBlanks(s_);
        if (util::EqualsNoCase(t, "True")) {
            return true;
        }
        if (util::EqualsNoCase(t, "False")) {
            return false;
        }
    }
    return kind_ == Kind::Real ? d_ != 0 : AsInt() != 0;
}

std::string Value::AsText() const {
    switch (kind_) {
    case Kind::Null:
        return {};
    case Kind::Integer:
        return std::to_string(i_);
    case Kind::Real: {
        std::array<char, 32> buf{};
        auto [ptr, ec] = std::to_chars(buf.data(), buf.data() + buf.size(), d_);
        return ec == std::errc() ? std::string(buf.data(), ptr) : std::string();
    }
    case Kind::Text:
        return s_;
    }
    return {};
}

bool Value::operator==(const Value& other) const {
    if (kind_ == Kind::Text || other.kind_ == Kind::Text || kind_ == Kind::Null ||
        other.kind_ == Kind::Null) {
        return kind_ == other.kind_ && s_ == other.s_;
    }
    if (kind_ == Kind::Integer && other.kind_ == Kind::Integer) {
        return i_ == other.i_;
    }
    return AsDouble() == other.AsDouble();
}

DeclaredType TypeFromDeclared(std::string_view declared) {
    // Upper-case, blanks collapsed, and the "(n)" or "(p,s)" part read apart.
    std::string name;
    int32_t size = 0;
    bool inArgs = false;
    bool sizeRead = false;
    for (char c : declared) {
        if (c == '(') {
            inArgs = true;
            continue;
        }
        if (inArgs) {
            if (c == ')') {
                inArgs = false;
                sizeRead = true;
            } else if (c == ',') {
                sizeRead = true; // the scale of (p,s) is not a size
            } else if (!sizeRead && c >= '0' && c <= '9' && size < 100000000) {
                size = size * 10 + (c - '0');
            }
            continue;
        }
        if (c == ' ' || c == '\t' || c == '\r' || c == '\n') {
            if (!name.empty() && name.back() != ' ') {
                name += ' ';
            }
            continue;
        }
        name += static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    }
    // A column definition may follow the type with its constraints.
    static constexpr std::string_view kStops[] = {
        "NOT",        "NULL",    "DEFAULT",    "PRIMARY",   "UNIQUE", "CHECK",
        "REFERENCES", "COLLATE", "CONSTRAINT", "GENERATED", "AS"};
    std::string cut;
    size_t pos = 0;
    while (pos < name.size()) {
        size_t end = name.find(' ', pos);
        std::string_view word = std::string_view(name).substr(pos, end - pos);
        if (std::find(std::begin(kStops), std::end(kStops), word) != std::end(kStops)) {
            break;
        }
        if (!cut.empty()) {
            cut += ' ';
        }
        cut += word;
        pos = end == std::string::npos ? name.size() : end + 1;
    }
    name = std::move(cut);

    struct Entry {
        std::string_view name;
        int16_t type;
    };
    static constexpr Entry kNames[] = {
        {"INTEGER", adInteger},
        {"INT", adInteger},
        {"LONG", adInteger},
        {"INT4", adInteger},
        {"INTEGER4", adInteger},
        {"MEDIUMINT", adInteger},
        {"COUNTER", adInteger},
        {"AUTOINCREMENT", adInteger},
        {"SMALLINT", adSmallInt},
        {"SHORT", adSmallInt},
        {"INT2", adSmallInt},
        {"INTEGER2", adSmallInt},
        {"BIGINT", adBigInt},
        {"INT8", adBigInt},
        {"DOUBLE", adDouble},
        {"DOUBLE PRECISION", adDouble},
        {"FLOAT", adDouble},
        {"FLOAT8", adDouble},
        {"IEEEDOUBLE", adDouble},
        {"NUMBER", adDouble},
        {"REAL", adDouble}, // the engine's REAL is eight bytes
        {"SINGLE", adSingle},
        {"FLOAT4", adSingle},
        {"IEEESINGLE", adSingle},
        {"CURRENCY", adCurrency},
        {"MONEY", adCurrency},
        {"DATETIME", adDate},
        {"DATE", adDate},
        {"TIME", adDate},
        {"TIMESTAMP", adDate},
        {"BOOLEAN", adBoolean},
        {"BOOL", adBoolean},
        {"BIT", adBoolean},
        {"YESNO", adBoolean},
        {"LOGICAL", adBoolean},
        {"VARCHAR", adVarWChar},
        {"NVARCHAR", adVarWChar},
        {"TEXT", adVarWChar},
        {"STRING", adVarWChar},
        {"ALPHANUMERIC", adVarWChar},
        {"CHARACTER VARYING", adVarWChar},
        {"NATIONAL VARCHAR", adVarWChar},
        {"VARYING CHARACTER", adVarWChar},
        {"CHAR", adWChar},
        {"NCHAR", adWChar},
        {"CHARACTER", adWChar},
        {"NATIONAL CHAR", adWChar},
        {"NATIONAL CHARACTER", adWChar},
        {"MEMO", adLongVarWChar},
        {"MEMO TEXT", adLongVarWChar},
        {"LONGTEXT", adLongVarWChar},
        {"LONGCHAR", adLongVarWChar},
        {"NOTE", adLongVarWChar},
        {"CLOB", adLongVarWChar},
        {"BLOB", adLongVarBinary},
        {"LONGBINARY", adLongVarBinary},
        {"IMAGE", adLongVarBinary},
        {"OLEOBJECT", adLongVarBinary},
        {"NUMERIC", adNumeric},
        {"DECIMAL", adNumeric},
    };
    auto sized = [&](int16_t type) {
        bool text = type == adVarWChar || type == adWChar;
        return DeclaredType{type, text ? size : 0};
    };
    for (const auto& e : kNames) {
        if (name == e.name) {
            return sized(e.type);
        }
    }
    if (name.empty()) {
        return {adVariant, 0};
    }
    // Names this table does not know take the engine's affinity rules.
    auto has = [&](std::string_view part) { return name.find(part) != std::string::npos; };
    if (has("INT")) {
        return {adInteger, 0};
    }
    if (has("MEMO") || has("CLOB")) {
        return {adLongVarWChar, 0};
    }
    if (has("CHAR") || has("TEXT")) {
        return sized(adVarWChar);
    }
    if (has("BLOB")) {
        return {adLongVarBinary, 0};
    }
    if (has("REAL") || has("FLOA") || has("DOUB")) {
        return {adDouble, 0};
    }
    return {adNumeric, 0};
}

Affinity AffinityOf(std::string_view declared) {
    std::string name;
    for (char c : declared) {
        name += static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    }
    auto has = [&](std::string_view part) { return name.find(part) != std::string::npos; };
    if (has("INT")) {
        return Affinity::Integer;
    }
    if (has("CHAR") || has("CLOB") || has("TEXT")) {
        return Affinity::Text;
    }
    if (has("BLOB") || TrimBlanks(declared).empty()) {
        return Affinity::Blob;
    }
    if (has("REAL") || has("FLOA") || has("DOUB")) {
        return Affinity::Real;
    }
    return Affinity::Numeric;
}

std::string DeclaredFromType(int16_t dataType, int32_t size) {
    switch (dataType) {
    case adInteger:
        return "INTEGER";
    case adSmallInt:
        return "SMALLINT";
    case adBigInt:
        return "BIGINT";
    case adSingle:
        return "SINGLE";
    case adDouble:
        return "DOUBLE";
    case adCurrency:
        return "CURRENCY";
    case adDate:
        return "DATETIME";
    case adBoolean:
        return "BOOLEAN NOT NULL DEFAULT 0";
    case adVarWChar:
        return size > 0 ? "VARCHAR(" + std::to_string(size) + ")" : "VARCHAR";
    case adWChar:
        return size > 0 ? "CHAR(" + std::to_string(size) + ")" : "CHAR";
    case adLongVarWChar:
        // "MEMO" alone would give the column numeric affinity, and the engine
        // would store a note such as "0012" as the number 12.
        return "MEMO TEXT";
    case adLongVarBinary:
        return "BLOB";
    case adNumeric:
        return "NUMERIC";
    default:
        return "";
    }
}

std::string TranslateJet(std::string_view sql) {
    std::string out;
    out.reserve(sql.size());
    auto isWord = [](char c) {
        return std::isalnum(static_cast<unsigned char>(c)) || c == '_' || c == '$';
    };
    auto skipBlanks = [&](size_t p) {
        while (p < sql.size() && std::isspace(static_cast<unsigned char>(sql[p]))) {
            ++p;
        }
        return p;
    };
    size_t i = 0;
    while (i < sql.size()) {
        char c = sql[i];
        // Literals and quoted names are copied untouched.
        if (c == '\'' || c == '"' || c == '[' || c == '`') {
            char close = c == '[' ? ']' : c;
            size_t j = i + 1;
            while (j < sql.size()) {
                if (sql[j] == close) {
                    if (close != ']' && j + 1 < sql.size() && sql[j + 1] == close) {
                        j += 2; // a doubled quote inside the literal
                        continue;
                    }
                    break;
                }
                ++j;
            }
            size_t end = std::min(j + 1, sql.size());
            out.append(sql.substr(i, end - i));
            i = end;
            continue;
        }
        if (isWord(c) && (i == 0 || !isWord(sql[i - 1])) && sql.size() - i >= 6 &&
            util::EqualsNoCase(sql.substr(i, 6), "DELETE") &&
            (i + 6 == sql.size() || !isWord(sql[i + 6]))) {
            // Jet's "DELETE * FROM" (and "DELETE Table.* FROM" is not used):
            // drop the star, keep the rest as written.
            size_t star = skipBlanks(i + 6);
            if (star < sql.size() && sql[star] == '*') {
                size_t from = skipBlanks(star + 1);
                if (sql.size() - from >= 4 && util::EqualsNoCase(sql.substr(from, 4), "FROM") &&
                    (from + 4 == sql.size() || !isWord(sql[from + 4]))) {
                    out.append(sql.substr(i, 6));
                    out += ' ';
                    i = from;
                    continue;
                }
            }
        }
        out += c;
        ++i;
    }
    return out;
}

namespace {

// Days from 1 January 2000 to a civil date (proleptic Gregorian).
int64_t DaysFromCivil(int64_t y, unsigned m, unsigned d) {
    y -= m <= 2;
    const int64_t era = (y >= 0 ? y : y - 399) / 400;
    const unsigned yoe = static_cast<unsigned>(y - era * 400);
    const unsigned doy = (153 * (m > 2 ? m - 3 : m + 9) + 2) / 5 + d - 1;
    const unsigned doe = yoe * 365 + yoe / 4 - yoe / 100 + doy;
    return era * 146097 + static_cast<int64_t>(doe) - 719468; // days since 1970-01-01
}

} // namespace

int64_t DaysSince2000(const platform::LocalDateTime& t) {
    static const int64_t base = DaysFromCivil(2000, 1, 1);
    return DaysFromCivil(t.year, static_cast<unsigned>(t.month), static_cast<unsigned>(t.day)) -
           base;
}

int64_t MinutesSince2000(const platform::LocalDateTime& t) {
    return DaysSince2000(t) * 1440 + t.hour * 60 + t.minute;
}

} // namespace db
