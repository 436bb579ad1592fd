#pragma once
// Archives built byte by byte, independently of the code under test, the way
// the suite's Windows backup program lays them out: 500-byte headers with
// little-endian numbers and blank-padded texts, each followed by its data.

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace backuptest {

inline void PutLE(std::string& out, size_t at, int64_t value, int width) {
    for (int i = 0; i < width; ++i)
        out[at + static_cast<size_t>(i)] =
            static_cast<char>(static_cast<uint64_t>(value) >> (8 * i));
}

inline void PutBlankPadded(std::string& out, size_t at, const std::string& text, size_t width) {
    for (size_t i = 0; i < width; ++i)
        out[at + i] = i < text.size() ? text[i] : ' ';
}

// One header and its data. The length is the data's and the start follows
// the header unless given, so a damaged header is one argument away.
struct Entry {
    Entry(std::string n, std::string d, int16_t t = 1, std::optional<int32_t> l = {}, int32_t s = 0,
          std::string when = "3/14/2009 4:05:06 PM")
        : name(n), data(d), date(when), type(t), start(s), length(l) {}
    std::string name, data, date;
    int16_t type;
    int32_t start;
    std::optional<int32_t> length;
};

inline std::string Archive(const std::vector<Entry>& entries, std::string archive = "") {
    for (const Entry& e : entries) {
        std::string h(500, '\0');
        PutBlankPadded(h, 0, e.name, 260);
        PutLE(h, 260, e.type, 2);
        PutLE(h, 262, 2, 2);
        PutLE(h, 264, e.length.value_or(static_cast<int32_t>(e.data.size())), 4);
        PutLE(h, 268, e.start != 0 ? e.start : static_cast<int64_t>(archive.size()) + 501, 4);
        PutBlankPadded(h, 272, e.date, 30);
        archive += h + e.data;
    }
    return archive;
}

// Deterministic contents that differ from block to block, so a block copied
// to the wrong place shows.
inline std::string Pattern(size_t size, unsigned seed = 1) {
    std::string s(size, '\0');
    uint32_t x = seed * 2654435761u + 1;
    for (char& c : s)
        c = static_cast<char>((x = x * 1103515245u + 12345u) >> 24);
    return s;
}

} // namespace backuptest
