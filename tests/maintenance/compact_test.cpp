#include "maint_fixture.h"

#include "maintenance/compact.h"

#include <sqlite3.h>

#include <filesystem>
#include <stdexcept>

namespace {

namespace fs = std::filesystem;

// A whole database of one 512-byte page. The layer never creates one this
// small, so the engine makes it directly.
void MakeTinyDatabase(const std::string& file) {
    sqlite3* db = nullptr;
    ASSERT_EQ(
        sqlite3_open_v2(file.c_str(), &db, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE, nullptr),
        SQLITE_OK);
    EXPECT_EQ(sqlite3_exec(db, "PRAGMA page_size = 512; PRAGMA user_version = 1;", nullptr, nullptr,
                           nullptr),
              SQLITE_OK);
    sqlite3_close(db);
}

class CompactTest : public mainttest::MaintTest {
protected:
    void SetUp() override {
        MaintTest::SetUp();
        fs::create_directory(dir / "tmp");
        if (const char* old = std::getenv("TMPDIR")) {
            oldTmp_ = old;
            hadTmp_ = true;
        }
        setenv("TMPDIR", (dir / "tmp").c_str(), 1);
        settings.DBFile = dbFile;
    }
    void TearDown() override {
        if (hadTmp_) {
            setenv("TMPDIR", oldTmp_.c_str(), 1);
        } else {
            unsetenv("TMPDIR");
        }
    }

    // A database with much free space: 3000 rows written, most deleted.
    void FillAndThin() {
        Exec("CREATE TABLE RentLog (IdRentLog INTEGER, Memo VARCHAR(255))");
        Exec("WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 3000) "
             "INSERT INTO RentLog SELECT i, printf('%.200c', 'm') FROM n");
        Exec("DELETE FROM RentLog WHERE IdRentLog > 100");
        connection.Close();
    }

    std::vector<fs::path> TempFiles() {
        std::vector<fs::path> files;
        for (const auto& e : fs::directory_iterator(dir / "tmp")) {
            files.push_back(e.path());
        }
        return files;
    }

    // A run that failed: the message names the error, and the log ends with
    // the step it broke off in and then the error.
    std::vector<std::string> ExpectFailureIn(const std::string& step) {
        EXPECT_EQ(message.rfind("The following error has occured:\r\n", 0), 0u) << message;
        const auto lines = LogLines();
        if (lines.size() < 2) {
            ADD_FAILURE() << "the log is too short";
            return lines;
        }
        EXPECT_EQ(lines[lines.size() - 2], step);
        EXPECT_EQ(lines.back().rfind("{*} Error ", 0), 0u) << lines.back();
        return lines;
    }

    util::UiServices ui;
    std::string message;

private:
    std::string oldTmp_;
    bool hadTmp_ = false;
};

TEST(CompactionSummary, SizesAndSaving) {
    EXPECT_EQ(maintenance::CompactionSummary(2000, 1000),
              "Compression completed.\r\nOld file size: 2,000kb\r\nNew file size: 1,000kb\r\n"
              "This realized a saving of 50%");
    // A file that grew shows a negative saving.
    EXPECT_EQ(maintenance::CompactionSummary(1000, 1100),
              "Compression completed.\r\nOld file size: 1,000kb\r\nNew file size: 1,100kb\r\n"
              "This realized a saving of -10%");
    // "#0" rounds; "#,###" prints nothing for 0.
    EXPECT_EQ(maintenance::CompactionSummary(3, 1),
              "Compression completed.\r\nOld file size: 3kb\r\nNew file size: 1kb\r\n"
              "This realized a saving of 67%");
    EXPECT_EQ(maintenance::CompactionSummary(1234567, 0),
              "Compression completed.\r\nOld file size: 1,234,567kb\r\nNew file size: kb\r\n"
              "This realized a saving of 100%");
    EXPECT_THROW(maintenance::CompactionSummary(0, 4), std::domain_error);
}

TEST_F(CompactTest, CompactsInTwoPassesUnderTheDatabasesOwnName) {
    FillAndThin();
    const int32_t oldKB = static_cast<int32_t>(fs::file_size(dbFile) / 1024);

    ASSERT_TRUE(maintenance::CompactDB(settings, ui, message)) << message;

    const int32_t newKB = static_cast<int32_t>(fs::file_size(dbFile) / 1024);
    EXPECT_LT(newKB * 4, oldKB);
    EXPECT_EQ(message, maintenance::CompactionSummary(oldKB, newKB));
    EXPECT_TRUE(TempFiles().empty()); // the temporary copy is gone

    const auto lines = LogLines();
    ASSERT_EQ(lines.size(), 11u);
    EXPECT_EQ(lines[0], "{-} Database compression started");
    EXPECT_EQ(lines[1], "{ } Source                : " + dbFile);
    const std::string destPrefix = "{ } Destination           : " + (dir / "tmp" / "dbt").string();
    EXPECT_EQ(lines[2].rfind(destPrefix, 0), 0u) << lines[2];
    EXPECT_EQ(lines[2].substr(lines[2].size() - 4), ".tmp");
    const std::vector<std::string> rest(lines.begin() + 3, lines.end());
    const std::vector<std::string> expected = {
        "{-} Removing old destination file",
        "{-} First pass compacting",
        "{-} Removing original database file",
        "{-} Second pass compacting",
        "{-} Removing temporary file",
        "{ } Old file size         : " + std::to_string(oldKB) + " KB",
        "{ } new file size         : " + std::to_string(newKB) + " KB",
        "{-} Compaction successful",
    };
    EXPECT_EQ(rest, expected);

    // Every row and the file's identity survive both passes.
    db::Connection after;
    after.Open(dbFile);
    EXPECT_EQ(after.Scalar("SELECT count(*) FROM RentLog").AsInt(), 100);
    EXPECT_EQ(after.Scalar("PRAGMA application_id").AsInt(), 0x4B455452);
    EXPECT_EQ(after.Scalar("PRAGMA integrity_check").AsText(), "ok");
}

TEST_F(CompactTest, ADatabaseInUseFailsTheFirstPassAndIsLeftAsItWas) {
    Exec("CREATE TABLE Lease (IdLease INTEGER)");
    Exec("INSERT INTO Lease VALUES (1)");
    connection.Close();
    const std::string before = testsupport::ReadFile(dbFile);

    db::Connection other;
    other.Open(dbFile);
    other.Execute("BEGIN IMMEDIATE");
    other.Execute("INSERT INTO Lease VALUES (2)");

    EXPECT_FALSE(maintenance::CompactDB(settings, ui, message));
    ExpectFailureIn("{-} First pass compacting");
    EXPECT_NE(message.find("locked"), std::string::npos) << message;
    EXPECT_EQ(testsupport::ReadFile(dbFile), before);

    // The other program's transaction is still whole.
    other.Execute("COMMIT");
    EXPECT_EQ(other.Scalar("SELECT count(*) FROM Lease").AsInt(), 2);
}

TEST_F(CompactTest, AFileUnder1024BytesReportsTheDivisionError) {
    connection.Close();
    fs::remove(dbFile);
    MakeTinyDatabase(dbFile);
    ASSERT_LT(fs::file_size(dbFile), 1024u);

    EXPECT_FALSE(maintenance::CompactDB(settings, ui, message));
    EXPECT_EQ(message, "The following error has occured:\r\nDivision by zero");
    EXPECT_EQ(ExpectFailureIn("{ } new file size         : 0 KB").back(),
              "{*} Error 11 Division by zero");
}

// Rows that break their table's CHECK rule: the engine copies them as they
// are, so the first pass's copy fails its check, and the original must then
// stay where it is.
TEST_F(CompactTest, ACopyThatFailsItsCheckStopsBeforeTheOriginalGoes) {
    FillAndThin();
    connection.Open(dbFile);
    Exec("CREATE TABLE Lease (IdLease INTEGER, Rent DOUBLE CHECK (Rent >= 0))");
    Exec("PRAGMA ignore_check_constraints = 1");
    Exec("INSERT INTO Lease VALUES (1, -650)");
    connection.Close();
    const std::string before = testsupport::ReadFile(dbFile);

    EXPECT_FALSE(maintenance::CompactDB(settings, ui, message));
    const auto lines = ExpectFailureIn("{-} First pass compacting");
    EXPECT_NE(message.find("CHECK constraint failed in Lease"), std::string::npos) << message;
    EXPECT_TRUE(testsupport::ReadFile(dbFile) == before) << "the database was changed";
    // The copy is kept where the log's Destination line says.
    ASSERT_EQ(TempFiles().size(), 1u);
    ASSERT_GE(lines.size(), 3u);
    EXPECT_EQ(lines[2], "{ } Destination           : " + TempFiles()[0].string());
}

// Spoils the temporary copy when the first pass hands over to the window
// events, so that the second pass fails after the original is gone.
class SpoilCopyUi : public util::UiServices {
public:
    explicit SpoilCopyUi(fs::path tmp) : tmp_(std::move(tmp)) {}
    void DoEvents() override {
        if (++calls_ == 1) {
            for (const auto& e : fs::directory_iterator(tmp_)) {
                testsupport::WriteFile(e.path(), std::string(8192, 'x'));
            }
        }
    }

private:
    fs::path tmp_;
    int calls_ = 0;
};

TEST_F(CompactTest, AFailedSecondPassIsNotUndoneAndKeepsTheCopy) {
    FillAndThin();
    SpoilCopyUi spoil(dir / "tmp");
    EXPECT_FALSE(maintenance::CompactDB(settings, spoil, message));
    const auto lines = ExpectFailureIn("{-} Second pass compacting");
    EXPECT_FALSE(fs::exists(dbFile));
    ASSERT_EQ(TempFiles().size(), 1u);
    ASSERT_GE(lines.size(), 3u);
    EXPECT_EQ(lines[2], "{ } Destination           : " + TempFiles()[0].string());
}

TEST_F(CompactTest, AMissingDatabaseFailsBeforeTheFirstPass) {
    connection.Close();
    fs::remove(dbFile);
    EXPECT_FALSE(maintenance::CompactDB(settings, ui, message));
    EXPECT_EQ(ExpectFailureIn("{-} Removing old destination file").size(), 5u);
    EXPECT_NE(message.find(dbFile), std::string::npos) << message;
}

} // namespace
