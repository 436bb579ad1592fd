// Salvage of a database damaged on purpose: pages overwritten or cut away,
// then every row of the undamaged pages expected back, exactly, in a new
// database that passes the integrity check.

#include "db/catalog.h"
#include "maint_fixture.h"
#include "maintenance/salvage.h"
#include "safety/safety_copy.h"
#include "support/cli_run.h"

#include <filesystem>

namespace {

namespace fs = std::filesystem;
using testsupport::ReadFile;

constexpr int Rows = 30000;

// Rent-log rows of a hundred characters each: enough pages for the table's
// tree to have a level of inner pages between its root and its leaves.
void Fill(db::Connection& c) {
    c.Execute("CREATE TABLE RentLog (IdRentLog INTEGER, Notes MEMO TEXT, AmountPaid CURRENCY)");
    c.Execute("CREATE TABLE Lease (IdLease INTEGER PRIMARY KEY, Tenant VARCHAR(20))");
    c.Execute("WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < " +
              std::to_string(Rows) +
              ") INSERT INTO RentLog SELECT i, printf('%0100d', i), i * 1.25 FROM n");
    c.Execute("INSERT INTO Lease VALUES (7, 'Pat'), (9, 'Sam')");
    db::CreateIndex(c, "RentLog", "IdRentLog");
    c.Execute("CREATE VIEW Paid AS SELECT IdRentLog FROM RentLog WHERE AmountPaid > 0");
}

// Cell pointers aimed at two cells written after them: a whole row numbered
// 2^28, far past the table's last, then one whose overflow page lies beyond
// the file, so that the page yields a garbage row and then fails.
std::string GarbageCellPointers() {
    std::string bytes("\x00\x64", 2);
    for (int i = 0; i < 45; ++i) {
        bytes.append("\x00\x6e", 2);
    }
    bytes.append("\x04\x81\x80\x80\x80\x00\x03\x01\x00\x2a\xa7\x08\x81\x80\x80\x80\x01", 17);
    bytes.resize(200, '\0');
    return bytes;
}

class SalvageTest : public mainttest::MaintTest {
protected:
    void SetUp() override {
        MaintTest::SetUp();
        Fill(connection);
    }
    int64_t Number(const std::string& sql) { return Scalar(sql).AsInt(); }
};

TEST_F(SalvageTest, EveryRowOfTheUndamagedPagesComesBack) {
    // Each case damages the file and says, from the engine's own page
    // statistics taken before, how many rent-log rows that costs.
    const std::string leaves = "FROM dbstat WHERE name = 'RentLog' AND pagetype = 'leaf'";
    const std::string inner =
        "(SELECT pageno, path FROM dbstat WHERE name = 'RentLog' AND pagetype = 'internal' "
        "AND path <> '/' ORDER BY pageno LIMIT 1 OFFSET 1)";
    const struct {
        const char* name;
        std::string page; // the page overwritten; "" for none
        std::string lost;
        std::string header = ""; // written over the page's cell pointers; "" for all of it
        int cell = -1;           // or over this cell's record
    } cases[] = {
        {"sound", "", "SELECT 0"},
        {"a leaf page overwritten", "SELECT pageno " + leaves + " LIMIT 1 OFFSET 40",
         "SELECT ncell " + leaves + " LIMIT 1 OFFSET 40"},
        {"an inner page overwritten", "SELECT pageno FROM " + inner,
         "SELECT sum(ncell) " + leaves + " AND path LIKE (SELECT path FROM " + inner + ") || '%'"},
        {"a leaf page's cell pointers overwritten",
         "SELECT pageno " + leaves + " LIMIT 1 OFFSET 400",
         "SELECT ncell " + leaves + " LIMIT 1 OFFSET 400", GarbageCellPointers()},
        // Copied as it lay, the record would spoil the new database.
        {"a record spoiled in a leaf page that reads",
         "SELECT pageno " + leaves + " LIMIT 1 OFFSET 40", "SELECT 1", std::string(4, '\xff'), 10},
    };
    const std::string pristine = ReadFile(dbFile);
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        testsupport::WriteFile(dbFile, pristine);
        const int64_t lost = Number(c.lost);
        if (!c.page.empty()) {
            SpoilPage(Number(c.page), c.header, c.cell);
        }
        const std::string damaged = ReadFile(dbFile);
        const std::string salvaged = dir.str() + "salvaged.mdb";
        fs::remove(salvaged);

        settings.DBFile = dbFile;
        util::NullProgress progress;
        util::UiServices ui;
        maintenance::SalvageOutcome outcome;
        platform::FixedClock clock({});
        ASSERT_TRUE(
            maintenance::SalvageDB(settings, progress, ui, clock, {salvaged, false}, outcome))
            << outcome.Error;
        ASSERT_EQ(outcome.Tables.size(), 2u);
        EXPECT_EQ(outcome.Tables[0].Name, "RentLog");
        EXPECT_EQ(outcome.Tables[0].Before, Rows); // counted on the index, which is whole
        EXPECT_EQ(outcome.Tables[0].After, Rows - lost);
        EXPECT_EQ(outcome.Tables[1].After, 2);
        EXPECT_EQ(ReadFile(dbFile), damaged); // the damaged file is left as it was
        // One stretch of damage stepped over, and none where there was none.
        const std::string log = Log();
        const size_t from = log.rfind("{ } Rows before: 30000");
        EXPECT_EQ(log.substr(from, log.find("{-} Salvaging table {Lease}", from) - from),
                  "{ } Rows before: 30000, after: " + std::to_string(Rows - lost) + "\r\n" +
                      (lost ? "{*} Damage stepped over 1 times in table {RentLog}\r\n" : ""));

        db::Connection back;
        back.Open(salvaged);
        EXPECT_EQ(back.Scalar("PRAGMA integrity_check").AsText(), "ok");
        EXPECT_EQ(back.Scalar("SELECT count(*) FROM RentLog WHERE Notes <> printf('%0100d', "
                              "IdRentLog) OR AmountPaid <> IdRentLog * 1.25")
                      .AsInt(),
                  0);
        EXPECT_EQ(back.Scalar("SELECT group_concat(IdLease || Tenant) FROM Lease").AsText(),
                  "7Pat,9Sam");
        EXPECT_EQ(back.Scalar("SELECT count(*) FROM sqlite_schema WHERE type IN ('index', 'view')")
                      .AsInt(),
                  2);
    }
}

using SalvageCommand = mainttest::CliTest;

TEST_F(SalvageCommand, NeverWritesOverAFileAndReplacesOnlyWithASafetyCopy) {
    Fill(connection);
    connection.Close();
    const std::string counts = "RentLog\t30000\t30000\nLease\t2\t2\n";

    auto r = testsupport::RunCli(dir.str(), "salvage");
    EXPECT_EQ(r.exitCode, 0);
    EXPECT_EQ(r.out, counts + data + "Ketrova.salvaged.mdb\n");
    const std::string first = ReadFile(data + "Ketrova.salvaged.mdb");
    const std::string database = ReadFile(data + "Ketrova.mdb");
    for (const std::string& args : {std::string("salvage"), "salvage --to " + data}) {
        SCOPED_TRACE(args);
        r = testsupport::RunCli(dir.str(), args);
        EXPECT_EQ(r.exitCode, 1);
        EXPECT_TRUE(ReadFile(data + "Ketrova.salvaged.mdb") == first);
        EXPECT_TRUE(ReadFile(data + "Ketrova.mdb") == database);
    }

    r = testsupport::RunCli(dir.str(), "salvage --replace");
    EXPECT_EQ(r.exitCode, 0);
    const auto copies = safety::ListSafetyCopies(data + "Ketrova.mdb");
    ASSERT_EQ(copies.size(), 1u);
    EXPECT_EQ(r.out, counts + data + "Ketrova.mdb\n" + safety::SafetyCopyLine(copies[0]) + "\n");
    for (const std::string& file : {copies[0].path, data + "Ketrova.mdb"}) {
        db::Connection back;
        back.Open(file);
        EXPECT_EQ(back.Scalar("SELECT count(*) FROM RentLog").AsInt(), Rows) << file;
    }
}

} // namespace
