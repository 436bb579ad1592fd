#pragma once
// Archives built byte by byte, independently of the code under test, the way
// the suite's Windows backup program lays them out: 500-byte headers with
// little-endian numbers and blank-padded texts, each followed by its data.

#include <cstdint>
#include <string>
#include <vector>

namespace backuptest {

inline void PutLE(std::string& out, size_t at, int64_t value, int width) {
    auto u = static_cast<uint64_t>(value);
    for (int i = 0; i < width; ++i) {
        out[at + static_cast<size_t>(i)] = static_cast<char>((u >> (8 * i)) & 0xFF);
    }
}

inline void PutBlankPadded(std::string& out, size_t at, const std::string& text, size_t width) {
    for (size_t i = 0; i < width; ++i) {
        out[at + i] = i < text.size() ? text[i] : ' ';
    }
}

struct RawHeader {
    std::string name;
    int16_t type = 1;
    int16_t kind = 2;
    int32_t length = 0;
    int32_t start = 0; // 0: computed from the header's position
    std::string date = "3/14/2009 4:05:06 PM";
};

// Appends one header (and `data`, which need not match the header's length)
// to `archive`.
inline void AppendRaw(std::string& archive, const RawHeader& h, const std::string& data) {
    const size_t at = archive.size();
    std::string header(500, '\0');
    PutBlankPadded(header, 0, h.name, 260);
    PutLE(header, 260, h.type, 2);
    PutLE(header, 262, h.kind, 2);
    PutLE(header, 264, h.length, 4);
    PutLE(header, 268, h.start != 0 ? h.start : static_cast<int64_t>(at) + 501, 4);
    PutBlankPadded(header, 272, h.date, 30);
    archive += header;
    archive += data;
}

// A well-formed entry whose header length matches its data.
inline void AppendFile(std::string& archive, const std::string& name, const std::string& data,
                       int16_t type = 1) {
    RawHeader h;
    h.name = name;
    h.type = type;
    h.length = static_cast<int32_t>(data.size());
    AppendRaw(archive, h, data);
}

// Well-formed entries laid one after the other; the type is 1 (database)
// unless given.
struct Entry {
    std::string name;
    std::string data;
    int16_t type = 1;
};
inline std::string Archive(const std::vector<Entry>& entries) {
    std::string archive;
    for (const Entry& e : entries) {
        AppendFile(archive, e.name, e.data, e.type);
    }
    return archive;
}

// Deterministic contents that differ from block to block, so a block copied
// to the wrong place shows.
inline std::string Pattern(size_t size, unsigned seed = 1) {
    std::string s(size, '\0');
    uint32_t x = seed * 2654435761u + 1;
    for (size_t i = 0; i < size; ++i) {
        x = x * 1103515245u + 12345u;
        s[i] = static_cast<char>(x >> 24);
    }
    return s;
}

} // namespace backuptest
