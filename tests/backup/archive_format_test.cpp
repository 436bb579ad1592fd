// The archive format: headers byte for byte, appending, listing, what damaged
// archives yield, and the backup program's settings record.

#include "archive_builder.h"
#include "backup/bar.h"
#include "support/temp_dir.h"

#include <gtest/gtest.h>

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
        ASSERT_TRUE(BaR_AddFile(archive, f, type, message));
        EXPECT_EQ(message, "Success");
    }
    EXPECT_TRUE(ReadFile(archive) == Archive(expected));
    EXPECT_EQ(GeneralDateText({2026, 7, 1, 0, 0, 0}), "7/1/2026");
    EXPECT_EQ(GeneralDateText({2026, 7, 1, 0, 5, 0}), "7/1/2026 12:05:00 AM");
    EXPECT_EQ(GeneralDateText({2026, 12, 31, 12, 0, 9}), "12/31/2026 12:00:09 PM");
}

TEST(ArchiveAdd, RefusalsLeaveEveryFileAsItWas) {
    TempDir dir;
    const std::string archive = (dir / "a.kbx").string(), src = (dir / "src").string();
    const std::string notes = (dir / "notes.txt").string();
    WriteFile(src, "data");
    WriteFile(notes, "the landlord's notes, longer than nothing");
    std::string message;
    for (const std::string& missing : {(dir / "none").string(), dir.path().string()}) {
        EXPECT_FALSE(BaR_AddFile(archive, missing, 1, message));
        EXPECT_EQ(message, "File not found");
    }
    EXPECT_FALSE(fs::exists(archive));
    EXPECT_FALSE(BaR_AddFile((dir / "no/folder/a.kbx").string(), src, 1, message));
    EXPECT_TRUE(message.starts_with("Error ") && message.find(", ") != std::string::npos)
        << message;
    // Arguments swapped, or the archive as its own source: refused untouched.
    EXPECT_FALSE(BaR_AddFile(notes, src, 1, message));
    EXPECT_TRUE(message.starts_with("Error 22, " + notes + " is no backup archive")) << message;
    EXPECT_EQ(ReadFile(notes), "the landlord's notes, longer than nothing");
    ASSERT_TRUE(BaR_AddFile(archive, src, 1, message));
    const std::string before = ReadFile(archive);
    EXPECT_FALSE(BaR_AddFile(archive, archive, 1, message));
    EXPECT_NE(message.find("cannot be added to itself"), std::string::npos) << message;
    EXPECT_EQ(ReadFile(archive), before);
}

// Positions are stored in 32 bits: an archive may grow to the largest of
// them and not a byte further. The archive is sparse, so this costs no disk.
TEST(ArchiveAdd, AnArchiveGrowsToTheLargestPositionAndNoFurther) {
    TempDir dir;
    const std::string archive = (dir / "big.kbx").string(), src = (dir / "src").string();
    for (const int extra : {0, 1}) {
        SCOPED_TRACE(extra);
        std::string header;
        Append(header, {"/d/big", "", 1, INT32_MAX - 1010});
        WriteFile(archive, header);
        fs::resize_file(archive, INT32_MAX - 1010 + 500);
        WriteFile(src, std::string(10 + static_cast<size_t>(extra), 's'));
        std::string message;
        EXPECT_EQ(BaR_AddFile(archive, src, 1, message), extra == 0) << message;
        EXPECT_EQ(fs::file_size(archive), extra == 0 ? uintmax_t{INT32_MAX} : INT32_MAX - 510u);
    }
}

// Damaged archives: how many entries each lists, that the walk ends, and how
// the check judges them.
TEST(ArchiveList, DamagedArchives) {
    const std::string good = Archive({{"C:\\Ketrova\\db\\Ketrova.mdb", Pattern(1000)}});
    auto withHeader = [&](int32_t length, const std::string& data) {
        std::string a = good;
        Append(a, {"C:\\Ketrova\\db\\Version", data, 1, length});
        return a;
    };
    const std::string z600(600, 'z');
    const char* notOne = "is no backup archive of the suite (";
    const char* afterOne = "is damaged after entry 1 (";
    // Name, bytes, entries listed, whole entries before the damage, and how the
    // problem begins ("" for a sound archive).
    const std::vector<std::tuple<const char*, std::string, int16_t, int, const char*>> cases = {
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
    std::vector<ArchiveEntry> entries(2);
    EXPECT_EQ(BaR_ReadDirectory((dir / "missing.kbx").string(), entries), 0);
    EXPECT_TRUE(entries.empty());
    EXPECT_EQ(BaR_ReadDirectory(dir.path().string(), entries), 0);
}

// BaR.cfg as the backup program writes it: packed, with its own settings
// after the fields read here. A field the file does not wholly hold keeps its
// default.
TEST(BackupSettings, ReadFieldByFieldAsFarAsTheFileReaches) {
    std::string r(255 + 16 + 2 + 10 + 1000, '\0');
    PutBlankPadded(r, 0, "   /srv/backups", 255);
    PutLE(r, 255, 3, 4);
    PutLE(r, 259, 30, 4);
    PutBlankPadded(r, 273, "11/22/2026", 10);
    TempDir dir;
    startup::RunSettings s;
    s.AppPath = dir.str() + "app/";
    s.DBPath = dir.str();
    for (const size_t cut : {size_t{254}, size_t{259}, size_t{273}, r.size()}) {
        SCOPED_TRACE(cut);
        WriteFile(dir / "BaR.cfg", r.substr(0, cut));
        const BackupSettings b = ReadBackupSettings(s);
        EXPECT_EQ(GetBackupFolder(s), cut < 255 ? s.AppPath + "Backup" : "/srv/backups");
        EXPECT_EQ(b.KeepInterval, cut < 259 ? 1 : 3);
        EXPECT_EQ(b.KeepPeriods, cut < 263 ? 14 : 30);
        EXPECT_EQ(b.AllFiles, cut < 273);
        EXPECT_EQ(b.LastBackup, cut < 283 ? "" : "11/22/2026");
    }
    // True is stored as -1; a folder filled with NULs instead of blanks ends at the first.
    PutLE(r, 271, -1, 2);
    std::fill(r.begin() + 6, r.begin() + 255, '\0');
    WriteFile(dir / "BaR.cfg", r);
    EXPECT_TRUE(ReadBackupSettings(s).AllFiles);
    EXPECT_EQ(GetBackupFolder(s), "/sr");
}
