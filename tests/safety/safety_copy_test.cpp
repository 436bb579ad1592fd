// Safety copies: what one holds, that there is room for it, how they are
// listed and pruned; and the lock that keeps a second run off the database.

#include "safety/operation_guard.h"
#include "safety/safety_copy.h"

#include "safety_fixture.h"

#include <gmock/gmock.h>

#include <filesystem>

namespace {

namespace fs = std::filesystem;
using safetytest::At;
using testing::HasSubstr;
using testsupport::ReadFile;

using SafetyCopyTest = safetytest::SafetyTest;

TEST_F(SafetyCopyTest, ACopyHoldsWhatWasCommittedOrTheBytesTheEngineCannotRead) {
    // Another program is half way through a write: its rows are not the
    // database's yet and must not be in the copy.
    db::Connection writer;
    writer.Open(dbFile);
    writer.Execute("BEGIN");
    writer.Execute("INSERT INTO Tenant VALUES (3, 'Cy')");
    safety::SafetyCopy copy;
    std::string error;
    ASSERT_TRUE(safety::MakeSafetyCopy(dbFile, "upgrade", At(19, 2, 12), copy, error)) << error;
    writer.Execute("ROLLBACK");
    EXPECT_EQ(copy.path, dir.str() + "SafetyCopies/Ketrova-2026-11-23-190212-before-upgrade.mdb");
    EXPECT_EQ(copy.size, fs::file_size(copy.path));
    EXPECT_EQ(Count(copy.path), 2);
    EXPECT_EQ(ReadFile(copy.versionPath), "8\r\n");
    EXPECT_FALSE(fs::exists(copy.path + ".partial"));
    // A version file left alone still holds its copy's name.
    const std::string first = copy.path;
    fs::remove(first);
    ASSERT_TRUE(safety::MakeSafetyCopy(dbFile, "upgrade", At(19, 2, 12), copy, error)) << error;
    EXPECT_NE(copy.path, first);

    // No room: refused, and nothing left.
    EXPECT_FALSE(
        safety::MakeSafetyCopy(dbFile, "compact", At(8, 0, 0), copy, error, safetytest::FullDisk));
    EXPECT_THAT(error, HasSubstr("bytes are needed"));
    EXPECT_EQ(safety::ListSafetyCopies(dbFile).size(), 1u);

    const std::string damaged(5000, '\x5a');
    testsupport::WriteFile(dbFile, damaged);
    ASSERT_TRUE(safety::MakeSafetyCopy(dbFile, "salvage", At(8, 0, 0), copy, error)) << error;
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
        ASSERT_TRUE(safety::MakeSafetyCopy(dbFile, op, At(h, m, s), copy, error)) << error;
    }
    // Files of the user's own that only look like copies are never listed, so never pruned.
    for (const char* other : {"notes.txt", "Ketrova-2026-11-23-09x000-before-upgrade.mdb",
                              "Ketrova-2026-11-23-090000-before--3.mdb"})
        testsupport::WriteFile(dir / "SafetyCopies" / other, "not a copy");
    std::vector<std::string> names;
    for (const auto& c : safety::ListSafetyCopies(dbFile))
        names.push_back(c.name + " " + c.operation);
    const std::vector<std::string> newestFirst = {
        "Ketrova-2026-11-23-103000-before-put-back.mdb put-back",
        "Ketrova-2026-11-23-090001-before-restore-2.mdb restore",
        "Ketrova-2026-11-23-090001-before-compact.mdb compact",
        "Ketrova-2026-11-23-090000-before-upgrade.mdb upgrade",
        "Ketrova-2026-11-23-085959-before-create.mdb create",
        "Ketrova-2026-11-23-070000-before-upgrade.mdb upgrade"};
    EXPECT_EQ(names, newestFirst);

    safety::PruneSafetyCopies(dbFile, 5);
    const auto kept = safety::ListSafetyCopies(dbFile);
    ASSERT_EQ(kept.size(), 5u);
    EXPECT_EQ(kept.back().name + " create", newestFirst[4]);
    EXPECT_FALSE(fs::exists(dir / "SafetyCopies/Ketrova-2026-11-23-070000-before-upgrade.Version"));
    EXPECT_TRUE(fs::exists(kept.back().versionPath));
    EXPECT_TRUE(fs::exists(dir / "SafetyCopies" / "notes.txt"));
    EXPECT_TRUE(fs::exists(dir / "SafetyCopies" / "Ketrova-2026-11-23-09x000-before-upgrade.mdb"));
}

TEST_F(SafetyCopyTest, ASecondRunIsRefusedAndTheOtherHolderIsNamed) {
    const auto clock = At(19, 2, 12);
    safety::OperationGuard first(dbFile, "upgrade", clock), second(dbFile, "compact", clock);
    std::string error;
    ASSERT_TRUE(first.Begin(error)) << error;
    EXPECT_FALSE(second.Begin(error));
    EXPECT_THAT(error, HasSubstr("the upgrade started on 2026-11-23 19:02:12 by process " +
                                 std::to_string(::getpid())));
    EXPECT_FALSE(safety::FindInterrupted(dbFile)) << "a running operation is not interrupted";
    first.End();
    EXPECT_FALSE(fs::exists(safety::MarkerPathFor(dbFile)));
    EXPECT_TRUE(second.Begin(error)) << error;

    EXPECT_EQ(safety::DescribeOtherHolders(dbFile), "");
    std::string said;
    pid_t holder = 0;
    {
        safetytest::HeldOpenElsewhere other(dbFile);
        holder = other.pid();
        said = safety::DescribeOtherHolders(dbFile);
    }
    EXPECT_THAT(said, HasSubstr("(process " + std::to_string(holder) + ")"));
    EXPECT_EQ(safety::DescribeOtherHolders(dbFile), "");
}

} // namespace
