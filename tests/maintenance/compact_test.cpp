#include "maint_fixture.h"

#include "maintenance/compact.h"
#include "safety/operation_guard.h"
#include "safety/safety_fixture.h"

#include <filesystem>
#include <optional>
#include <utility>

namespace {

namespace fs = std::filesystem;

class CompactTest : public mainttest::MaintTest {
protected:
    void SetUp() override {
        MaintTest::SetUp();
        settings.DBPath = dir.str();
        settings.DBFile = dbFile;
    }

    // Starts again in an empty folder, for the next case of a table.
    void Fresh() {
        connection.Close();
        startup::CloseFile(settings.Files, settings.LogFileNo);
        settings = {};
        fs::remove_all(dir.path());
        fs::create_directory(dir.path());
        ui = {};
        SetUp();
    }

    // A database with much free space: 3000 rows written, most deleted; and
    // an empty table with a rule its rows must keep.
    void FillAndThin() {
        Exec("CREATE TABLE RentLog (IdRentLog INTEGER, Memo VARCHAR(255))");
        Exec("WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 3000) "
             "INSERT INTO RentLog SELECT i, printf('%.200c', 'm') FROM n");
        Exec("DELETE FROM RentLog WHERE IdRentLog > 100");
        Exec("CREATE TABLE Lease (IdLease INTEGER, Rent DOUBLE CHECK (Rent >= 0))");
    }

    bool Compact(const safety::SpaceQuery& space = platform::QueryVolume) {
        return maintenance::CompactDB(settings, ui, message, clock, &safetyCopy, space);
    }

    // A run that failed: the message names the error, the log ends with the
    // step it broke off in (the line begins so) and then the error, and
    // nothing of the run is left.
    std::vector<std::string> ExpectFailureIn(const std::string& step) {
        EXPECT_EQ(message.rfind("The following error has occured:\r\n", 0), 0u) << message;
        EXPECT_FALSE(fs::exists(dbFile + ".compacting"));
        EXPECT_FALSE(safety::FindInterrupted(dbFile));
        const auto lines = LogLines();
        EXPECT_GE(lines.size(), 2u);
        if (lines.size() < 2) {
            return lines;
        }
        EXPECT_EQ(lines[lines.size() - 2].rfind(step, 0), 0u) << lines[lines.size() - 2];
        EXPECT_EQ(lines.back().rfind("{*} Error ", 0), 0u) << lines.back();
        return lines;
    }

    mainttest::ScriptedUi ui;
    platform::FixedClock clock{{2026, 11, 23, 19, 2, 12}};
    std::string message;
    std::string safetyCopy;
};

// A file that grew saves less than nothing.
TEST(CompactionSummary, SizesAndSaving) {
    EXPECT_EQ(maintenance::CompactionSummary(1000, 1100),
              "Compression completed.\r\nOld file size: 1,000kb\r\nNew file size: 1,100kb\r\n"
              "This realized a saving of -10%");
}

TEST_F(CompactTest, CompactsBesideTheDatabaseAndKeepsTheOriginalAsASafetyCopy) {
    FillAndThin();
    connection.Close();
    const std::string before = testsupport::ReadFile(dbFile);
    const int32_t oldKB = static_cast<int32_t>(before.size() / 1024);

    ASSERT_TRUE(Compact()) << message;
    EXPECT_EQ(ui.busy, (std::vector<bool>{true, false}));

    const int32_t newKB = static_cast<int32_t>(fs::file_size(dbFile) / 1024);
    EXPECT_LT(newKB * 4, oldKB);
    EXPECT_EQ(message, maintenance::CompactionSummary(oldKB, newKB));
    ASSERT_EQ(safety::ListSafetyCopies(dbFile).size(), 1u);
    EXPECT_EQ(safetyCopy, safety::ListSafetyCopies(dbFile)[0].path);
    EXPECT_TRUE(testsupport::ReadFile(safetyCopy) == before);
    EXPECT_FALSE(fs::exists(dbFile + ".compacting"));
    EXPECT_FALSE(safety::FindInterrupted(dbFile));

    const std::vector<std::string> expected = {
        "{-} Database compression started",
        "{ } Source                : " + dbFile,
        "{ } Destination           : " + dbFile + ".compacting",
        "{-} Removing old destination file",
        "{-} First pass compacting",
        "{-} Removing original database file",
        "{-} Second pass compacting",
        "{ } Safety copy: " + safetyCopy,
        "{-} Removing temporary file",
        "{ } Old file size         : " + std::to_string(oldKB) + " KB",
        "{ } new file size         : " + std::to_string(newKB) + " KB",
        "{-} Compaction successful",
    };
    EXPECT_EQ(LogLines(), expected);

    // Every row and the file's identity survive.
    db::Connection after;
    after.Open(dbFile);
    EXPECT_EQ(after.Scalar("SELECT count(*) FROM RentLog").AsInt(), 100);
    EXPECT_EQ(after.Scalar("PRAGMA application_id").AsInt(), 0x4B455452);
    EXPECT_EQ(after.Scalar("PRAGMA integrity_check").AsText(), "ok");
}

// Refused, or failed before the compacted copy could replace it: the
// database stays as it was, byte for byte.
TEST_F(CompactTest, ARunThatCannotFinishLeavesTheDatabaseAsItWas) {
    struct Case {
        const char* what;
        const char* step; // the last step logged
        const char* said; // in the message
    };
    const Case cases[] = {
        {"another program writing", "{-} First pass compacting", "locked"},
        {"another program has it open", "{ } Destination           : ", " is open in "},
        {"another Ostrand", "{ } Destination           : ", "Another Ostrand is working on"},
        {"newer database", "{ } Destination           : ", "is version 12, newer than version 9"},
        {"no room", "{-} First pass compacting", "bytes are needed"},
        // Rows that break their table's CHECK rule are copied as they are.
        {"copy fails its check", "{-} Second pass compacting", "CHECK constraint failed in Lease"},
        {"copy spoiled on the way", "{-} Second pass compacting", "failed its check"},
        {"no database", "{-} Removing old destination file", "Ketrova.mdb"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        const std::string what = c.what;
        Fresh();
        FillAndThin();
        if (what == "copy fails its check") {
            Exec("PRAGMA ignore_check_constraints = 1");
            Exec("INSERT INTO Lease VALUES (1, -650)");
        }
        connection.Close();
        if (what == "newer database") {
            testsupport::WriteFile(dir / "Version", "12\r\n");
        } else if (what == "no database") {
            fs::remove(dbFile);
        }
        const std::string before = testsupport::ReadFile(dbFile);

        db::Connection writer;
        std::optional<safetytest::HeldOpenElsewhere> other;
        safety::OperationGuard busy(dbFile, "upgrade", clock);
        std::string error;
        if (what == "another program writing") {
            writer.Open(dbFile);
            writer.Execute("BEGIN IMMEDIATE");
            writer.Execute("INSERT INTO Lease VALUES (2, 1)");
        } else if (what == "another program has it open") {
            other.emplace(dbFile);
        } else if (what == "another Ostrand") {
            ASSERT_TRUE(busy.Begin(error)) << error;
            testsupport::WriteFile(dbFile + ".compacting", "the other run's");
        }
        if (what == "copy spoiled on the way") { // as a disk that garbles what it was given
            ui.onEvents = [this, first = true]() mutable {
                if (std::exchange(first, false)) {
                    testsupport::WriteFile(dbFile + ".compacting", std::string(8192, 'x'));
                }
            };
        }
        EXPECT_FALSE(Compact(what == "no room" ? safety::SpaceQuery(safetytest::FullDisk)
                                               : platform::QueryVolume));
        if (what == "another Ostrand") {
            EXPECT_EQ(testsupport::ReadFile(dbFile + ".compacting"), "the other run's");
            busy.End();
            fs::remove(dbFile + ".compacting");
        }
        ExpectFailureIn(c.step);
        EXPECT_NE(message.find(c.said), std::string::npos) << message;
        EXPECT_TRUE(testsupport::ReadFile(dbFile) == before) << "the database was changed";
        EXPECT_EQ(safetyCopy, "");
        EXPECT_TRUE(safety::ListSafetyCopies(dbFile).empty());
        if (writer.IsOpen()) {
            // The other program's transaction is still whole.
            writer.Execute("COMMIT");
            EXPECT_EQ(writer.Scalar("SELECT count(*) FROM Lease").AsInt(), 1);
        }
    }
}

TEST_F(CompactTest, AFileUnder1024BytesReportsTheDivisionError) {
    // A whole database of one 512-byte page: the layer never makes one this small.
    Exec("PRAGMA page_size = 512");
    Exec("VACUUM");
    connection.Close();
    ASSERT_LT(fs::file_size(dbFile), 1024u);
    EXPECT_FALSE(Compact());
    EXPECT_EQ(message, "The following error has occured:\r\nDivision by zero");
    EXPECT_EQ(ExpectFailureIn("{ } new file size         : 0 KB").back(),
              "{*} Error 11 Division by zero");
    // Compacted and in place all the same: the copy of what was there stays.
    EXPECT_TRUE(fs::exists(safetyCopy));
}

} // namespace
