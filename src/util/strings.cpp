#include "util/strings.h"

namespace util {

namespace {
char Lower(char c) {
    return (c >= 'A' && c <= 'Z') ? static_cast<char>(c - 'A' + 'a') : c;
}
char Upper(char c) {
    return (c >= 'a' && c <= 'z') ? static_cast<char>(c - 'a' + 'A') : c;
}
} // namespace

std::string LTrim(std::string_view text) {
    size_t b = text.find_first_not_of(' ');
    return b == std::string_view::npos ? std::string() : std::string(text.substr(b));
}

std::string RTrim(std::string_view text) {
    size_t e = text.find_last_not_of(' ');
    return e == std::string_view::npos ? std::string() : std::string(text.substr(0, e + 1));
}

std::string Trim(std::string_view text) {
    size_t b = text.find_first_not_of(' ');
    if (b == std::string_view::npos) {
        return {};
    }
    size_t e = text.find_last_not_of(' ');
    return std::string(text.substr(b, e - b + 1));
}

std::string LCase(std::string_view text) {
    std::string out(text);
    for (char& c : out) {
        c = Lower(c);
    }
    return out;
}

std::string UCase(std::string_view text) {
    std::string out(text);
    for (char& c : out) {
        c = Upper(c);
    }
    return out;
}

bool EqualsNoCase(std::string_view a, std::string_view b) {
    if (a.size() != b.size()) {
        return false;
    }
    for (size_t i = 0; i < a.size(); ++i) {
        if (Lower(a[i]) != Lower(b[i])) {
            return false;
        }
    }
    return true;
}

std::vector<std::string> Split(std::string_view text, std::string_view delimiter) {
    std::vector<std::string> pieces;
    if (text.empty()) {
        return pieces;
    }
    if (delimiter.empty()) {
        pieces.emplace_back(text);
        return pieces;
    }
    size_t start = 0;
    for (;;) {
        size_t at = text.find(delimiter, start);
        if (at == std::string_view::npos) {
            pieces.emplace_back(text.substr(start));
            return pieces;
        }
        pieces.emplace_back(text.substr(start, at - start));
        start = at + delimiter.size();
    }
}

std::string Replace(std::string_view text, std::string_view find, std::string_view with) {
    if (find.empty()) {
        return std::string(text);
    }
    std::string out;
    size_t start = 0;
    for (;;) {
        size_t at = text.find(find, start);
        if (at == std::string_view::npos) {
            out.append(text.substr(start));
            return out;
        }
        out.append(text.substr(start, at - start));
        out.append(with);
        start = at + find.size();
    }
}

std::string CutAtNul(std::string_view text) {
    size_t nul = text.find('\0');
    return std::string(nul == std::string_view::npos ? text : text.substr(0, nul));
}

} // namespace util
