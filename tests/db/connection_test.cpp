#include "db/connection.h"
#include "db_fixture.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <optional>

using namespace db;
using dbtest::DbTest;
using testsupport::ReadFile;
using testsupport::WriteFile;

namespace {

class Helpers : public DbTest {
protected:
    void SetUp() override {
        DbTest::SetUp();
        Exec("CREATE TABLE Tenant (IdTenant INTEGER, LastName VARCHAR(50), Hide BOOLEAN NOT NULL "
             "DEFAULT 0)");
        Exec("INSERT INTO Tenant VALUES (1, 'Alder', 0), (2, 'Birch', 1), (3, 'Cedar', 0)");
    }
    int32_t Tenants(const char* where = "") { return CountRecords(connection, "Tenant", where); }
};

} // namespace

TEST_F(Helpers, OpenDBLogsTheFileAndOpensANameWithBlanks) {
    std::filesystem::create_directory(dir / "My Rental Data");
    const std::string file = (dir / "My Rental Data" / "Ketrova.mdb").string();
    std::string error;
    ASSERT_TRUE(CreateDatabaseFile(file, error)) << error;
    Connection c;
    EXPECT_TRUE(OpenDB(settings, c, file));
    EXPECT_TRUE(CloseDB(c));
    EXPECT_FALSE(c.IsOpen());
    settings.DBFile = file; // an empty name means the run settings' database
    EXPECT_TRUE(OpenDB(settings, c, ""));
    EXPECT_EQ(Log(),
              "{ } Opening database at " + file + "\r\n{ } Opening database at " + file + "\r\n");
    // An open connection is not opened again; the first stays usable.
    EXPECT_FALSE(OpenDB(settings, connection, dbFile));
    EXPECT_EQ(Tenants(), 3);
}

// Nothing that is not a database opens, nothing is created in its place,
// and a file that is there is left untouched.
TEST_F(Helpers, OpenDBFailsOnAnythingThatIsNotADatabase) {
    const std::tuple<std::string, std::optional<std::string>, int> cases[] = {
        {"missing.mdb", std::nullopt, 14},                           // cannot open
        {"empty.mdb", "", 26},                                       // zero bytes
        {"text.mdb", std::string(4096, 'x') + "not a database", 26}, // not a database
        {"", std::nullopt, 14}};                                     // the folder itself
    for (const auto& [name, content, code] : cases) {
        SCOPED_TRACE(name);
        const auto path = dir / name;
        if (content) {
            WriteFile(path, *content);
        }
        Connection conn;
        EXPECT_FALSE(OpenDB(settings, conn, path.string()));
        EXPECT_FALSE(conn.IsOpen());
        EXPECT_NE(Log().find("{*} Error " + std::to_string(code) + " opening database {" +
                             path.string() + "}\r\n"),
                  std::string::npos)
            << Log();
        EXPECT_EQ(std::filesystem::exists(path), content || name.empty());
        EXPECT_EQ(ReadFile(path), content.value_or(""));
    }
}

TEST_F(Helpers, CreateDatabaseFileNeverTakesOverAnExistingFile) {
    std::string error;
    EXPECT_FALSE(CreateDatabaseFile(dbFile, error));
    EXPECT_FALSE(error.empty());
    EXPECT_EQ(Tenants(), 3);
    WriteFile(dir / "notes.txt", "keep me");
    EXPECT_FALSE(CreateDatabaseFile((dir / "notes.txt").string(), error));
    EXPECT_EQ(ReadFile(dir / "notes.txt"), "keep me");
    EXPECT_FALSE(CreateDatabaseFile((dir / "no/such/folder/x.mdb").string(), error));
}

// The Jet forms run as written; a statement that fails returns false and
// changes nothing, and so does a text of two statements, as the suite's
// engine refused it whole.
TEST_F(Helpers, StatementsAndCounts) {
    EXPECT_TRUE(ExecuteSQL(connection, "DELETE * FROM Tenant WHERE IdTenant = 2"));
    EXPECT_EQ(Tenants(), 2);
    EXPECT_TRUE(ExecuteSQL(connection, "UPDATE Tenant SET Hide = True WHERE IdTenant = 1"));
    EXPECT_EQ(std::make_pair(Tenants("Hide = True"), Tenants("LastName = 'Cedar'")),
              std::make_pair(1, 1));
    for (const char* bad :
         {"UPDATE Tenant SET Missing = 1", "DELETE FROM Tenant; DELETE FROM Tenant", "",
          "UPDATE Tenant SET Hide = NULL"}) {
        EXPECT_FALSE(ExecuteSQL(connection, bad)) << bad;
    }
    EXPECT_EQ(std::make_pair(Tenants(), Tenants("Hide = 1")), std::make_pair(2, 1));
    EXPECT_EQ(CountRecords(connection, "Nowhere", ""), 0);
    EXPECT_TRUE(ExecuteSQL(connection, "delete   *\n  from Tenant"));
    EXPECT_EQ(Tenants(), 0);
    Connection closed;
    EXPECT_FALSE(ExecuteSQL(closed, "DELETE FROM Tenant"));
    EXPECT_EQ(CountRecords(closed, "Tenant", ""), 0);
}

TEST_F(Helpers, OpenRecordsetCountsAndStandsOnTheFirstRecord) {
    Recordset rs;
    EXPECT_EQ(OpenRecordset("SELECT * FROM Tenant WHERE IdTenant > 1", rs, connection, false), 2);
    EXPECT_EQ(rs.Field("LastName").AsText(), "Birch");
    // Reopening the same recordset closes the first statement.
    EXPECT_EQ(OpenRecordset("SELECT * FROM Tenant WHERE IdTenant > 9", rs, connection, false), 0);
    EXPECT_TRUE(rs.IsEOF());
    // Jet takes a statement ended by ";", and so must the count.
    EXPECT_EQ(OpenRecordset("SELECT * FROM Tenant WHERE IdTenant > 1 ; ", rs, connection, false),
              2);
    EXPECT_EQ(OpenRecordset("SELECT * FROM Nowhere", rs, connection, false), -1);
    EXPECT_FALSE(rs.IsOpen());
}

// A NULL counter is seeded with the minutes from 1 January 2000 to now;
// later calls count on by one whatever the clock says. Inside a caller's
// transaction the counter rolls back with it.
TEST_F(Helpers, NextIdHandsOutOneCounterForTheWholeDatabase) {
    platform::FixedClock clock({2000, 1, 1, 0, 10, 30});
    EXPECT_EQ(NextId(connection, clock), 0); // no Configuration table
    Exec("CREATE TABLE Configuration (IdConfig INTEGER, NextId INTEGER)");
    EXPECT_EQ(NextId(connection, clock), 0); // no row
    Exec("INSERT INTO Configuration (IdConfig) VALUES (1)");
    {
        Transaction t(connection);
        EXPECT_EQ(NextId(connection, clock), 10);
    }
    EXPECT_TRUE(Scalar("SELECT NextId FROM Configuration").IsNull());
    EXPECT_EQ(NextId(connection, clock), 10);
    EXPECT_EQ(Scalar("SELECT NextId FROM Configuration").AsInt(), 11);
    clock.Set({2026, 7, 1, 12, 0, 0});
    EXPECT_EQ(NextId(connection, clock), 11);
    EXPECT_FALSE(connection.InTransaction());
}

TEST_F(Helpers, NestedTransactionsRollBackOnlyTheirOwnPart) {
    {
        Transaction outer(connection);
        Exec("DELETE FROM Tenant WHERE IdTenant = 1");
        {
            Transaction inner(connection);
            Exec("DELETE FROM Tenant WHERE IdTenant = 2");
        } // not committed
        {
            Transaction inner(connection);
            Exec("DELETE FROM Tenant WHERE IdTenant = 3");
            inner.Commit();
        }
        outer.Commit();
    }
    EXPECT_FALSE(connection.InTransaction());
    EXPECT_EQ(Scalar("SELECT group_concat(IdTenant) FROM Tenant").AsText(), "2");
}

TEST_F(Helpers, AWriteAheadLogIsTurnedBackIntoTheRollbackJournal) {
    Exec("PRAGMA journal_mode = WAL");
    connection.Close();
    connection.Open(dbFile);
    EXPECT_EQ(Scalar("PRAGMA journal_mode").AsText(), "delete");
    EXPECT_FALSE(std::filesystem::exists(dbFile + "-wal"));
    EXPECT_EQ(Tenants(), 3);
}

// Only Jet's "DELETE * FROM" is rewritten, wherever it stands; literals,
// quoted names and other words are left alone.
TEST(JetStatements, TranslateOnlyDeleteStar) {
    const std::pair<std::string_view, const char*> cases[] = {
        {"DELETE*FROM x", "DELETE FROM x"},
        {std::string_view("DELETE*FROM x", 6), "DELETE"}}; // a view ends where it ends
    for (const auto& [sql, expected] : cases) {
        EXPECT_EQ(TranslateJet(sql), expected) << sql;
    }
    for (const char* same :
         {"SELECT 'DELETE * FROM x' AS t", "SELECT \"it\"\"s\", [DELETE * FROM x]",
          "UPDATE Undelete SET a = 1", "DELETE FROM x", "DELETE * FROMAGE", "x_DELETE * FROM y"}) {
        EXPECT_EQ(TranslateJet(same), same);
    }
}

// The suite's conversions: ToLong trims and rounds half to even; values
// convert between kinds as the engine does.
TEST(Conversions, ToLongAndValues) {
    EXPECT_EQ(std::make_pair(ToLong(" 2.5 "), ToLong("3.5")), std::make_pair(2, 4));
    EXPECT_EQ(std::make_tuple(Value(2.5).AsInt(), Value(-2.5).AsInt(), Value(1e300).AsInt(),
                              Value(" True ").AsInt(), Value(true).AsInt()),
              std::make_tuple(2, -2, INT64_MAX, -1, 1));
    EXPECT_EQ(std::make_tuple(Value(0.1).AsText(), Value("12.75").AsDouble(), Value(7).AsDouble()),
              std::make_tuple("0.1", 12.75, 7.0));
    EXPECT_EQ(std::make_tuple(Value("True").AsBool(), Value("false").AsBool(), Value(0.5).AsBool(),
                              Value("0").AsBool(), Value().AsBool()),
              std::make_tuple(true, false, true, false, false));
    EXPECT_EQ(Value(3), Value(3.0));
    EXPECT_FALSE(Value("3") == Value(3));
    EXPECT_FALSE(Value() == Value(""));
}
