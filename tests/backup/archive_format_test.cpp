// The archive format: headers byte for byte, appending, listing, and what
// damaged archives yield.

#include "archive_builder.h"
#include "backup/bar.h"
#include "support/temp_dir.h"

#include <gmock/gmock.h>

#include <chrono>
#include <ctime>
#include <filesystem>
#include <tuple>

using namespace backup;
using namespace backuptest;
using testsupport::ReadFile;
using testsupport::TempDir;
using testsupport::WriteFile;
namespace fs = std::filesystem;

TEST(ArchiveAdd, FilesFollowEachOtherBehindHeadersLaidOutByteForByte) {
    TempDir dir;
    const std::string archive = (dir / "a.kbx").string();
    // Sizes around the block size: a short file, an empty one, exactly one
    // block, a block and a byte, and several blocks with a remainder. Modified
    // on 2026-07-01 21:05:03, local time.
    std::tm tm{};
    strptime("2026-07-01 21:05:03", "%Y-%m-%d %H:%M:%S", &tm);
    tm.tm_isdst = -1;
    const auto modified = std::chrono::system_clock::from_time_t(std::mktime(&tm));
    std::vector<Entry> expected;
    std::string message;
    for (const size_t size : {10, 0, 100000, 100001, 345678}) {
        const auto type = static_cast<int16_t>(expected.size());
        const std::string f = dir.str() + "f" + std::to_string(type);
        expected.push_back(
            {f, Pattern(size, static_cast<unsigned>(type)), type, {}, 0, "7/1/2026 9:05:03 PM"});
        WriteFile(f, expected.back().data);
        fs::last_write_time(f, std::chrono::file_clock::from_sys(modified));
        ASSERT_TRUE(BaR_AddFile(archive, f, type, message) && message == "Success") << message;
    }
    EXPECT_TRUE(ReadFile(archive) == Archive(expected));
}

TEST(ArchiveAdd, RefusalsLeaveEveryFileAsItWas) {
    TempDir dir;
    const std::string arc = dir.str() + "a.kbx", src = dir.str() + "s", notes = dir.str() + "n";
    WriteFile(src, "data");
    WriteFile(notes, "the landlord's notes, longer than nothing");
    std::string message;
    EXPECT_FALSE(BaR_AddFile(arc, dir.path().string(), 1, message)); // a folder is no file
    EXPECT_EQ(message, "File not found");
    EXPECT_FALSE(fs::exists(arc));
    EXPECT_FALSE(BaR_AddFile((dir / "no/folder/a.kbx").string(), src, 1, message));
    EXPECT_THAT(message, testing::MatchesRegex("Error [0-9]+, .+"));
    // Arguments swapped, or the arc as its own source: refused untouched.
    EXPECT_FALSE(BaR_AddFile(notes, src, 1, message));
    EXPECT_TRUE(message.starts_with("Error 22, " + notes + " is no backup arc")) << message;
    EXPECT_EQ(ReadFile(notes), "the landlord's notes, longer than nothing");
    ASSERT_TRUE(BaR_AddFile(arc, src, 1, message));
    const std::string before = ReadFile(arc);
    EXPECT_FALSE(BaR_AddFile(arc, arc, 1, message));
    EXPECT_THAT(message, testing::HasSubstr("cannot be added to itself"));
    EXPECT_EQ(ReadFile(arc), before);

    // Positions are stored in 32 bits: an arc grows to the largest of them
    // and not a byte further. It is sparse, so this costs no disk.
    for (const size_t extra : {0, 1}) {
        WriteFile(arc, Archive({{"/d/big", "", 1, INT32_MAX - 1010}}));
        fs::resize_file(arc, INT32_MAX - 1010 + 500);
        WriteFile(src, std::string(10 + extra, 's'));
        EXPECT_EQ(BaR_AddFile(arc, src, 1, message), extra == 0) << message;
        EXPECT_EQ(fs::file_size(arc), INT32_MAX - 510u * extra);
    }
}

// Damaged archives: how many entries each lists, that the walk ends, and how
// the check judges them.
TEST(ArchiveList, DamagedArchives) {
    const std::string good = Archive({{"C:\\Ketrova\\db\\Ketrova.mdb", Pattern(1000)}});
    auto withHeader = [&](int32_t length, const std::string& data) {
        return Archive({{"C:\\Ketrova\\db\\Version", data, 1, length}}, good);
    };
    const std::string z600(600, 'z');
    const char* notOne = "is no backup archive of the suite (";
    const char* afterOne = "is damaged after entry 1 (";
    // Name, bytes, entries listed, whole entries before the damage, and how the
    // problem begins ("" for a sound archive).
    // clang-format off
    const std::vector<std::tuple<const char*, std::string, int16_t, int, const char*>> cases = {
        {"empty", "", 0, 0, ""}, {"one whole entry", good, 1, 1, ""}, {"one byte", "x", 0, 0, notOne},
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
        {"32770 bare headers", std::string(500u * 32770u, '\0'), 32767, 0, notOne}};
    // clang-format on
    TempDir dir;
    const std::string archive = (dir / "a.kbx").string();
    for (const auto& [name, bytes, listed, sound, problem] : cases) {
        SCOPED_TRACE(name);
        WriteFile(archive, bytes);
        std::vector<ArchiveEntry> entries;
        EXPECT_EQ(BaR_ReadDirectory(archive, entries), listed);
        const ArchiveCheck check = CheckArchive(archive);
        EXPECT_EQ(check.soundEntries, sound);
        EXPECT_TRUE(*problem ? check.problem.starts_with(problem) : check.problem.empty())
            << check.problem;
        EXPECT_EQ(check.isArchive, problem != notOne);
    }
}
