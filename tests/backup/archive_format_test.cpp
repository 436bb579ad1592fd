// The archive format: headers byte for byte, appending, listing, and what
// damaged archives yield.

#include "archive_builder.h"
#include "backup/bar.h"
#include "platform/clock.h"
#include "support/temp_dir.h"

#include <gtest/gtest.h>

#include <chrono>
#include <ctime>
#include <filesystem>
#include <random>

using namespace backup;
using namespace backuptest;
using testsupport::ReadFile;
using testsupport::TempDir;
using testsupport::WriteFile;
namespace fs = std::filesystem;

namespace {

int64_t LE(const std::string& b, size_t at, int width) {
    uint64_t u = 0;
    for (int i = 0; i < width; ++i) {
        u |= static_cast<uint64_t>(static_cast<uint8_t>(b[at + static_cast<size_t>(i)])) << (8 * i);
    }
    return width == 2 ? static_cast<int16_t>(u) : static_cast<int32_t>(u);
}

// Sets a file's modification time to a local wall-clock time.
void SetLocalMTime(const fs::path& p, int y, int mo, int d, int h, int mi, int s) {
    std::tm tm{};
    tm.tm_year = y - 1900;
    tm.tm_mon = mo - 1;
    tm.tm_mday = d;
    tm.tm_hour = h;
    tm.tm_min = mi;
    tm.tm_sec = s;
    tm.tm_isdst = -1;
    auto sys = std::chrono::system_clock::from_time_t(std::mktime(&tm));
    fs::last_write_time(p, std::chrono::file_clock::from_sys(sys));
}

std::string Add(const std::string& archive, const fs::path& source, int16_t type = 1) {
    std::string message;
    BaR_AddFile(archive, source.string(), type, message);
    return message;
}

} // namespace

TEST(ArchiveHeader, AppendedHeaderIsLaidOutByteForByte) {
    TempDir dir;
    fs::path source = dir / "Ketrova.mdb";
    WriteFile(source, "0123456789");
    SetLocalMTime(source, 2026, 7, 1, 21, 5, 3);
    std::string archive = (dir / "Ketrova.1.kbx").string();
    ASSERT_EQ(Add(archive, source, 3), "Success");

    std::string b = ReadFile(archive);
    ASSERT_EQ(b.size(), 510u);
    std::string name = source.string();
    EXPECT_EQ(b.substr(0, name.size()), name);
    EXPECT_EQ(b.substr(name.size(), 260 - name.size()), std::string(260 - name.size(), ' '));
    EXPECT_EQ(LE(b, 260, 2), 3);
    EXPECT_EQ(LE(b, 262, 2), 2);
    EXPECT_EQ(LE(b, 264, 4), 10);
    EXPECT_EQ(LE(b, 268, 4), 501);
    std::string date = "7/1/2026 9:05:03 PM";
    EXPECT_EQ(b.substr(272, 30), date + std::string(30 - date.size(), ' '));
    EXPECT_EQ(b.substr(302, 198), std::string(198, '\0'));
    EXPECT_EQ(b.substr(500), "0123456789");
}

TEST(ArchiveHeader, OutOfRangeFieldsSurviveAndTextsAreCut) {
    ArchiveEntry e;
    e.FileName = std::string(300, 'n');
    e.FileType = -2;
    e.FileLength = INT32_MAX;
    e.StartPos = INT32_MIN;
    EntryBytes b = EncodeEntry(e);
    std::string s(b.begin(), b.end());
    EXPECT_EQ(s.substr(0, 261), std::string(260, 'n') + '\xFE');
    EXPECT_EQ(s.substr(272, 30), std::string(30, '\0')) << "a date never set stays NUL";
    ArchiveEntry d = DecodeEntry(b);
    EXPECT_EQ(d.FileType, -2);
    EXPECT_EQ(d.FileLength, INT32_MAX);
    EXPECT_EQ(d.StartPos, INT32_MIN);
    EXPECT_EQ(EncodeEntry(d), b);

    EXPECT_EQ(GeneralDateText({2026, 7, 1, 0, 0, 0}), "7/1/2026");
    EXPECT_EQ(GeneralDateText({2026, 7, 1, 0, 5, 0}), "7/1/2026 12:05:00 AM");
    EXPECT_EQ(GeneralDateText({2026, 12, 31, 12, 0, 9}), "12/31/2026 12:00:09 PM");
    EXPECT_EQ(FileTypeName(4), "Other File");
    EXPECT_EQ(FileTypeName(5), "Unknown");
}

TEST(ArchiveAdd, FilesFollowEachOtherAtTheStatedPositions) {
    TempDir dir;
    std::string archive = (dir / "a.kbx").string();
    // Sizes around the block size: one short file, an empty file, exactly one
    // block, a block and one byte, and several blocks with a remainder.
    const std::vector<size_t> sizes = {7, 0, 100000, 100001, 345678};
    for (size_t i = 0; i < sizes.size(); ++i) {
        WriteFile(dir / ("f" + std::to_string(i)), Pattern(sizes[i], static_cast<unsigned>(i)));
        ASSERT_EQ(Add(archive, dir / ("f" + std::to_string(i)), static_cast<int16_t>(i)),
                  "Success");
    }
    std::vector<ArchiveEntry> entries;
    ASSERT_EQ(BaR_ReadDirectory(archive, entries), 5);
    const std::string bytes = ReadFile(archive);
    int64_t header = 1;
    for (size_t i = 0; i < sizes.size(); ++i) {
        SCOPED_TRACE(i);
        EXPECT_EQ(entries[i].FileLength, static_cast<int32_t>(sizes[i]));
        EXPECT_EQ(entries[i].StartPos, header + 500);
        EXPECT_EQ(entries[i].FileType, static_cast<int16_t>(i));
        EXPECT_EQ(entries[i].Kind, 2);
        EXPECT_EQ(bytes.substr(static_cast<size_t>(entries[i].StartPos) - 1, sizes[i]),
                  Pattern(sizes[i], static_cast<unsigned>(i)));
        header += 500 + static_cast<int64_t>(sizes[i]);
    }
    EXPECT_EQ(static_cast<int64_t>(fs::file_size(archive)), header - 1);
}

TEST(ArchiveAdd, MessagesForMissingSourceAndUnwritableArchive) {
    TempDir dir;
    std::string archive = (dir / "a.kbx").string();
    std::string message;
    EXPECT_FALSE(BaR_AddFile(archive, (dir / "none").string(), 1, message));
    EXPECT_EQ(message, "File not found");
    EXPECT_FALSE(fs::exists(archive));
    // A folder is not a file to store.
    EXPECT_FALSE(BaR_AddFile(archive, dir.path().string(), 1, message));
    EXPECT_EQ(message, "File not found");

    WriteFile(dir / "src", "data");
    EXPECT_FALSE(
        BaR_AddFile((dir / "no/such/folder/a.kbx").string(), (dir / "src").string(), 1, message));
    EXPECT_EQ(message.rfind("Error ", 0), 0u) << message;
    EXPECT_NE(message.find(", "), std::string::npos) << message;

    // Arguments swapped, or the archive as its own source: refused untouched.
    const std::string notes = (dir / "notes.txt").string();
    WriteFile(notes, "the landlord's notes, longer than nothing");
    EXPECT_FALSE(BaR_AddFile(notes, (dir / "src").string(), 1, message));
    EXPECT_TRUE(message.starts_with("Error 22, " + notes + " is no backup archive")) << message;
    EXPECT_EQ(ReadFile(notes), "the landlord's notes, longer than nothing");
    ASSERT_TRUE(BaR_AddFile(archive, (dir / "src").string(), 1, message));
    const std::string before = ReadFile(archive);
    EXPECT_FALSE(BaR_AddFile(archive, archive, 1, message));
    EXPECT_NE(message.find("cannot be added to itself"), std::string::npos) << message;
    EXPECT_EQ(ReadFile(archive), before);
}

// Damaged archives: how many entries each lists, that the walk ends, and how
// the check judges them.
TEST(ArchiveList, DamagedArchives) {
    struct Case {
        const char* name;
        std::string bytes;
        int16_t expected;
        int sound;           // whole entries before the damage
        const char* problem; // how the problem begins; "" for a sound archive
    };
    const std::string good = Archive({{"C:\\Ketrova\\db\\Ketrova.mdb", Pattern(1000)}});
    auto withHeader = [&](int32_t length, const std::string& data) {
        std::string a = good;
        RawHeader h;
        h.name = "C:\\Ketrova\\db\\Version";
        h.length = length;
        AppendRaw(a, h, data);
        return a;
    };
    const std::string z600(600, 'z');
    const char* notOne = "is no backup archive of the suite (";
    const char* afterOne = "is damaged after entry 1 (";
    const Case cases[] = {
        {"empty", "", 0, 0, ""},
        {"one whole entry", good, 1, 1, ""},
        {"one byte", "x", 0, 0, notOne},
        {"half a header", good.substr(0, 250), 0, 0, notOne},
        {"header cut in the second entry", good + std::string(499, ' '), 1, 1, afterOne},
        {"data cut short", good.substr(0, 900), 1, 0, "is damaged (the data of entry 1"},
        {"second entry's data cut short", withHeader(5000, "abc"), 2, 1, afterOne},
        {"length reaching far past the end", withHeader(0x7FFFFFFF, ""), 2, 1, afterOne},
        {"negative length", withHeader(-1, z600), 1, 1, afterOne},
        {"length that would stand still", withHeader(-500, z600), 1, 1, afterOne},
        {"most negative length", withHeader(INT32_MIN, z600), 1, 1, afterOne},
        {"bare zero header", std::string(500, '\0'), 1, 0, notOne},
        {"zero headers and nothing else", std::string(5000, '\0'), 10, 0, notOne},
        // More entries than a 16-bit count holds: the count stops at its largest value.
        {"32770 bare headers", std::string(500u * 32770u, '\0'), 32767, 0, notOne},
    };
    TempDir dir;
    const std::string archive = (dir / "a.kbx").string();
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        WriteFile(archive, c.bytes);
        std::vector<ArchiveEntry> entries;
        EXPECT_EQ(BaR_ReadDirectory(archive, entries), c.expected);
        const ArchiveCheck check = CheckArchive(archive);
        EXPECT_EQ(check.soundEntries, c.sound);
        EXPECT_TRUE(check.problem.starts_with(c.problem)) << check.problem;
        EXPECT_EQ(check.problem.empty(), std::string(c.problem).empty()) << check.problem;
        EXPECT_EQ(check.isArchive, c.problem != notOne);
    }
    std::vector<ArchiveEntry> entries(2);
    EXPECT_EQ(BaR_ReadDirectory((dir / "missing.kbx").string(), entries), 0);
    EXPECT_TRUE(entries.empty());
    EXPECT_EQ(BaR_ReadDirectory(dir.path().string(), entries), 0);
}

// Random truncations and overwritten bytes: listing and restoring every
// listed entry must end, stay within the archive and never crash.
TEST(ArchiveList, RandomDamageNeverHangsOrReadsOutside) {
    const std::string original = Archive({{"C:\\Ketrova\\db\\Ketrova.mdb", Pattern(3000, 1)},
                                          {"/home/anna/Version", "9"},
                                          {"C:\\x", Pattern(700, 2), 3}});
    std::mt19937 rng(20261122);
    TempDir dir;
    const std::string archive = (dir / "a.kbx").string();
    const std::string target = (dir / "out").string();
    startup::RunSettings settings;
    for (int round = 0; round < 400; ++round) {
        std::string bytes = original;
        if (round % 2 == 0) {
            bytes.resize(rng() % bytes.size());
        }
        int flips = 1 + static_cast<int>(rng() % 8);
        for (int i = 0; i < flips && !bytes.empty(); ++i) {
            // Mostly the numeric fields of the three headers, where damage changes the walk.
            const size_t headers[] = {0, 3500, 4001};
            size_t header = headers[rng() % 3];
            size_t at = rng() % 4 == 0 ? rng() % bytes.size() : header + 260 + rng() % 12;
            if (at < bytes.size()) {
                bytes[at] = static_cast<char>(rng());
            }
        }
        WriteFile(archive, bytes);
        std::vector<ArchiveEntry> entries;
        int16_t n = BaR_ReadDirectory(archive, entries);
        ASSERT_LE(n, 4) << "round " << round;
        for (const ArchiveEntry& e : entries) {
            ASSERT_GE(e.FileLength, 0);
            std::error_code ec;
            fs::remove(target, ec);
            bool ok = BaR_Restore_File(settings, archive, target, e.StartPos, e.FileLength);
            bool inside = e.StartPos >= 1 && static_cast<int64_t>(e.StartPos) - 1 + e.FileLength <=
                                                 static_cast<int64_t>(bytes.size());
            ASSERT_EQ(ok, inside) << "round " << round;
            if (ok) {
                ASSERT_EQ(ReadFile(target), bytes.substr(static_cast<size_t>(e.StartPos) - 1,
                                                         static_cast<size_t>(e.FileLength)));
            } else {
                ASSERT_FALSE(fs::exists(target)) << "a failed restore left a file behind";
            }
        }
    }
}
