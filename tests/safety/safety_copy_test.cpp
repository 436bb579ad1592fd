#include "safety/safety_copy.h"

#include "safety_fixture.h"

#include <gtest/gtest.h>

#include <filesystem>

namespace {

namespace fs = std::filesystem;
using safetytest::At;
using testsupport::ReadFile;
using testsupport::WriteFile;

using SafetyCopyTest = safetytest::SafetyTest;

TEST_F(SafetyCopyTest, CopyHoldsWhatWasCommittedWithTheVersionFileBesideIt) {
    // Another program is half way through a write: its rows are not the
    // database's yet and must not be in the copy.
    db::Connection writer;
    writer.Open(dbFile);
    writer.Execute("BEGIN");
    writer.Execute("INSERT INTO Tenant VALUES (3, 'Cy')");

    safety::SafetyCopy copy;
    std::string error;
    const auto clock = At(19, 2, 12);
    ASSERT_TRUE(safety::MakeSafetyCopy(dbFile, "upgrade", clock, copy, error)) << error;
    writer.Execute("ROLLBACK");

    EXPECT_EQ(copy.name, "Ketrova-2026-11-23-190212-before-upgrade.mdb");
    EXPECT_EQ(copy.path, dir.str() + "SafetyCopies/" + copy.name);
    EXPECT_EQ(copy.taken, "2026-11-23 19:02:12");
    EXPECT_EQ(copy.operation, "upgrade");
    EXPECT_EQ(copy.size, fs::file_size(copy.path));
    EXPECT_EQ(Count(copy.path, "Tenant"), 2);
    EXPECT_EQ(ReadFile(copy.versionPath), "8\r\n");
    EXPECT_EQ(safety::SafetyCopyLine(copy), "Safety copy: " + copy.path);
    EXPECT_FALSE(fs::exists(copy.path + ".partial"));
}

TEST_F(SafetyCopyTest, NoRoomForTheCopyRefusesAndLeavesNothing) {
    safety::SafetyCopy copy;
    std::string error;
    const auto clock = At(8, 0, 0);
    EXPECT_FALSE(
        safety::MakeSafetyCopy(dbFile, "upgrade", clock, copy, error, safetytest::FullDisk));
    EXPECT_NE(error.find("bytes are needed"), std::string::npos) << error;
    EXPECT_TRUE(safety::ListSafetyCopies(dbFile).empty());
    EXPECT_EQ(Count(dbFile, "Tenant"), 2);
}

TEST_F(SafetyCopyTest, FileTheEngineCannotReadIsKeptByteForByte) {
    const std::string damaged(5000, '\x5a');
    WriteFile(dir / "Ketrova.mdb", damaged);
    safety::SafetyCopy copy;
    std::string error;
    const auto clock = At(8, 0, 0);
    ASSERT_TRUE(safety::MakeSafetyCopy(dbFile, "salvage", clock, copy, error)) << error;
    EXPECT_EQ(ReadFile(copy.path), damaged);
}

TEST_F(SafetyCopyTest, ListsNewestFirstAndPruningKeepsTheNewestWithTheirVersionFiles) {
    // Two copies in one second are told apart by a number, the later one first.
    const std::vector<std::tuple<int, int, int, const char*>> taken = {
        {9, 0, 0, "upgrade"},  {9, 0, 1, "compact"},    {9, 0, 1, "restore"},
        {8, 59, 59, "create"}, {10, 30, 0, "put-back"}, {7, 0, 0, "upgrade"}};
    for (const auto& [h, m, s, op] : taken) {
        safety::SafetyCopy copy;
        std::string error;
        const auto clock = At(h, m, s);
        ASSERT_TRUE(safety::MakeSafetyCopy(dbFile, op, clock, copy, error)) << error;
    }
    WriteFile(dir / "SafetyCopies" / "notes.txt", "not a copy");

    std::vector<std::string> names;
    for (const auto& c : safety::ListSafetyCopies(dbFile))
        names.push_back(c.name);
    const std::vector<std::string> newestFirst = {"Ketrova-2026-11-23-103000-before-put-back.mdb",
                                                  "Ketrova-2026-11-23-090001-before-restore-2.mdb",
                                                  "Ketrova-2026-11-23-090001-before-compact.mdb",
                                                  "Ketrova-2026-11-23-090000-before-upgrade.mdb",
                                                  "Ketrova-2026-11-23-085959-before-create.mdb",
                                                  "Ketrova-2026-11-23-070000-before-upgrade.mdb"};
    EXPECT_EQ(names, newestFirst);
    EXPECT_EQ(safety::ListSafetyCopies(dbFile)[1].operation, "restore");

    safety::PruneSafetyCopies(dbFile, 5);
    const auto kept = safety::ListSafetyCopies(dbFile);
    ASSERT_EQ(kept.size(), 5u);
    EXPECT_EQ(kept.back().name, newestFirst[4]);
    EXPECT_FALSE(
        fs::exists(dir / "SafetyCopies" / "Ketrova-2026-11-23-070000-before-upgrade.Version"));
    EXPECT_TRUE(fs::exists(kept.back().versionPath));
    EXPECT_TRUE(fs::exists(dir / "SafetyCopies" / "notes.txt"));
}

TEST_F(SafetyCopyTest, FileKeptAsideSurvivesItsReplacement) {
    const auto doc = dir / "lease.doc";
    WriteFile(doc, "signed lease");
    safety::SafetyCopy kept;
    std::string error;
    const auto clock = At(12, 0, 0);
    ASSERT_TRUE(safety::KeepAside(doc.string(), "restore", clock, kept, error)) << error;
    EXPECT_EQ(kept.name, "lease-2026-11-23-120000-before-restore.doc");

    WriteFile(dir / "lease.new", "restored lease");
    fs::rename(dir / "lease.new", doc);
    EXPECT_EQ(ReadFile(doc), "restored lease");
    EXPECT_EQ(ReadFile(kept.path), "signed lease");
}

} // namespace
