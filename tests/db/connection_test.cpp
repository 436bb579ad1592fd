#include "db/connection.h"
#include "db_fixture.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <unistd.h>

using namespace db;
using dbtest::DbTest;
using testsupport::ReadFile;
using testsupport::TempDir;
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
};

} // namespace

TEST_F(Helpers, OpenDBLogsTheFileAndOpensANameWithBlanks) {
    auto folder = dir / "My Rental Data";
    std::filesystem::create_directory(folder);
    std::string file = (folder / "Ketrova.mdb").string();
    std::string error;
    ASSERT_TRUE(CreateDatabaseFile(file, error)) << error;

    Connection c;
    EXPECT_TRUE(OpenDB(settings, c, file));
    EXPECT_TRUE(c.IsOpen());
    EXPECT_TRUE(CloseDB(c));
    EXPECT_FALSE(c.IsOpen());
    EXPECT_TRUE(CloseDB(c)); // closing twice is harmless

    // An empty name means the run settings' database.
    settings.DBFile = file;
    EXPECT_TRUE(OpenDB(settings, c, ""));
    EXPECT_EQ(Log(),
              "{ } Opening database at " + file + "\r\n{ } Opening database at " + file + "\r\n");
}

TEST_F(Helpers, OpenDBFailsOnAnythingThatIsNotADatabaseAndNeverCreatesOne) {
    struct Case {
        std::string name;
        std::string content; // "-" : no file at all
        int code;
    };
    const Case cases[] = {
        {"missing.mdb", "-", 14},                                    // cannot open
        {"empty.mdb", "", 26},                                       // zero bytes
        {"text.mdb", std::string(4096, 'x') + "not a database", 26}, // not a database
    };
    for (const auto& c : cases) {
        auto path = dir / c.name;
        if (c.content != "-") {
            WriteFile(path, c.content);
        }
        Connection conn;
        EXPECT_FALSE(OpenDB(settings, conn, path.string())) << c.name;
        EXPECT_FALSE(conn.IsOpen());
        EXPECT_NE(Log().find("{*} Error " + std::to_string(c.code) + " opening database {" +
                             path.string() + "}\r\n"),
                  std::string::npos)
            << c.name << "\n"
            << Log();
        if (c.content == "-") {
            EXPECT_FALSE(std::filesystem::exists(path));
        } else {
            EXPECT_EQ(ReadFile(path), c.content); // untouched
        }
    }
    // A folder is no database either.
    Connection conn;
    EXPECT_FALSE(OpenDB(settings, conn, dir.str()));
}

TEST_F(Helpers, AFileThatCannotBeReadFails) {
    if (::geteuid() == 0) {
        GTEST_SKIP() << "root reads every file";
    }
    auto path = dir / "locked.mdb";
    std::string error;
    ASSERT_TRUE(CreateDatabaseFile(path.string(), error));
    std::filesystem::permissions(path, std::filesystem::perms::none);
    Connection conn;
    EXPECT_FALSE(OpenDB(settings, conn, path.string()));
    EXPECT_NE(Log().find("{*} Error "), std::string::npos);
    std::filesystem::permissions(path, std::filesystem::perms::owner_all);
}

TEST_F(Helpers, OpeningAnOpenConnectionAgainFails) {
    EXPECT_FALSE(OpenDB(settings, connection, dbFile));
    EXPECT_TRUE(connection.IsOpen()); // the first open stays usable
    EXPECT_EQ(CountRecords(connection, "Tenant", ""), 3);
}

TEST_F(Helpers, CreateDatabaseFileNeverTakesOverAnExistingFile) {
    std::string error;
    EXPECT_FALSE(CreateDatabaseFile(dbFile, error));
    EXPECT_FALSE(error.empty());
    EXPECT_EQ(CountRecords(connection, "Tenant", ""), 3);

    auto other = dir / "notes.txt";
    WriteFile(other, "keep me");
    EXPECT_FALSE(CreateDatabaseFile(other.string(), error));
    EXPECT_EQ(ReadFile(other), "keep me");

    EXPECT_FALSE(CreateDatabaseFile((dir / "no/such/folder/x.mdb").string(), error));
}

TEST_F(Helpers, JetStatementsRunAsWritten) {
    EXPECT_TRUE(ExecuteSQL(connection, "DELETE * FROM Tenant WHERE IdTenant = 2"));
    EXPECT_EQ(CountRecords(connection, "Tenant", ""), 2);
    EXPECT_TRUE(ExecuteSQL(connection, "UPDATE Tenant SET Hide = True WHERE IdTenant = 1"));
    EXPECT_EQ(CountRecords(connection, "Tenant", "Hide = True"), 1);
    EXPECT_EQ(CountRecords(connection, "Tenant", "Hide = False"), 1);
    EXPECT_TRUE(ExecuteSQL(connection, "delete   *\n  from Tenant"));
    EXPECT_EQ(CountRecords(connection, "Tenant", ""), 0);
}

TEST_F(Helpers, AFailingStatementReturnsFalseAndChangesNothing) {
    EXPECT_FALSE(ExecuteSQL(connection, "UPDATE Tenant SET Missing = 1"));
    EXPECT_FALSE(ExecuteSQL(connection, "UPDATE Nowhere SET Hide = False"));
    EXPECT_FALSE(ExecuteSQL(connection, "INSERT INTO Tenant (IdTenant, Nope) VALUES (9, 1)"));
    // Two statements in one text are refused whole, as the suite's engine did.
    EXPECT_FALSE(ExecuteSQL(connection, "DELETE FROM Tenant; DELETE FROM Tenant"));
    EXPECT_FALSE(ExecuteSQL(connection, ""));
    // A constraint failure in the middle of a statement undoes its earlier rows.
    EXPECT_FALSE(ExecuteSQL(connection, "UPDATE Tenant SET Hide = NULL"));
    EXPECT_EQ(CountRecords(connection, "Tenant", ""), 3);
    EXPECT_EQ(CountRecords(connection, "Tenant", "Hide = 1"), 1);

    Connection closed;
    EXPECT_FALSE(ExecuteSQL(closed, "DELETE FROM Tenant"));
    EXPECT_EQ(CountRecords(closed, "Tenant", ""), 0);
}

TEST_F(Helpers, TranslateJetLeavesLiteralsAndOtherStatementsAlone) {
    EXPECT_EQ(TranslateJet("DELETE * FROM RentLog WHERE IdRentLog = 5"),
              "DELETE FROM RentLog WHERE IdRentLog = 5");
    EXPECT_EQ(TranslateJet("SELECT 'DELETE * FROM x' AS t"), "SELECT 'DELETE * FROM x' AS t");
    EXPECT_EQ(TranslateJet("SELECT * FROM Tenant"), "SELECT * FROM Tenant");
    EXPECT_EQ(TranslateJet("UPDATE Undelete SET a = 1"), "UPDATE Undelete SET a = 1");
    EXPECT_EQ(TranslateJet("DELETE FROM x"), "DELETE FROM x");
}

TEST_F(Helpers, OpenRecordsetCountsAndStandsOnTheFirstRecord) {
    Recordset rs;
    EXPECT_EQ(OpenRecordset("SELECT * FROM Tenant WHERE IdTenant > 1", rs, connection, false), 2);
    ASSERT_FALSE(rs.IsEOF());
    EXPECT_EQ(rs.Field("LastName").AsText(), "Birch");

    // Reopening the same recordset closes the first statement.
    EXPECT_EQ(OpenRecordset("SELECT * FROM Tenant WHERE IdTenant > 9", rs, connection, false), 0);
    EXPECT_TRUE(rs.IsEOF());
    // Jet takes a statement ended by ";", and so must the count.
    EXPECT_EQ(OpenRecordset("SELECT * FROM Tenant WHERE IdTenant > 1 ; ", rs, connection, false),
              2);
    EXPECT_TRUE(rs.IsUpdatable());
    EXPECT_EQ(OpenRecordset("SELECT * FROM Nowhere", rs, connection, false), -1);
    EXPECT_FALSE(rs.IsOpen());
    CloseRecordset(rs);
    CloseRecordset(rs);
}

TEST_F(Helpers, CountRecordsWithAndWithoutCondition) {
    EXPECT_EQ(CountRecords(connection, "Tenant", ""), 3);
    EXPECT_EQ(CountRecords(connection, "Tenant", "LastName = 'Cedar'"), 1);
    EXPECT_EQ(CountRecords(connection, "Nowhere", ""), 0);
}

TEST_F(Helpers, NextIdSeedsANullCounterWithMinutesSince2000) {
    Exec("CREATE TABLE Configuration (IdConfig INTEGER, NextId INTEGER)");
    Exec("INSERT INTO Configuration (IdConfig) VALUES (1)");
    platform::FixedClock clock({2000, 1, 1, 0, 10, 30});
    EXPECT_EQ(NextId(connection, clock), 10);
    EXPECT_EQ(Scalar("SELECT NextId FROM Configuration").AsInt(), 11);
    // Later calls count on by one, whatever the clock says.
    clock.Set({2026, 7, 1, 12, 0, 0});
    EXPECT_EQ(NextId(connection, clock), 11);
    EXPECT_EQ(NextId(connection, clock), 12);
    EXPECT_EQ(Scalar("SELECT NextId FROM Configuration").AsInt(), 13);
    EXPECT_FALSE(connection.InTransaction());
}

TEST_F(Helpers, NextIdInsideACallersTransactionAndWithoutACounter) {
    platform::FixedClock clock({2026, 7, 1, 8, 30, 0});
    EXPECT_EQ(NextId(connection, clock), 0); // no Configuration table
    Exec("CREATE TABLE Configuration (NextId INTEGER)");
    EXPECT_EQ(NextId(connection, clock), 0); // no row
    Exec("INSERT INTO Configuration VALUES (NULL)");
    const int32_t seed = static_cast<int32_t>(MinutesSince2000(clock.Now()));
    {
        Transaction t(connection);
        EXPECT_EQ(NextId(connection, clock), seed);
        EXPECT_EQ(NextId(connection, clock), seed + 1);
        // rolled back with the caller's transaction
    }
    EXPECT_TRUE(Scalar("SELECT NextId FROM Configuration").IsNull());
    EXPECT_EQ(NextId(connection, clock), seed);
}

TEST(DateArithmetic, MinutesAndDaysSince2000) {
    EXPECT_EQ(MinutesSince2000({2000, 1, 1, 0, 10, 59}), 10);
    EXPECT_EQ(DaysSince2000({2000, 3, 1, 23, 59, 0}), 60); // 2000 is a leap year
    EXPECT_EQ(DaysSince2000({2026, 7, 1, 0, 0, 0}), 9678);
    EXPECT_EQ(MinutesSince2000({2001, 1, 1, 1, 0, 0}), 366 * 1440 + 60);
    EXPECT_EQ(DaysSince2000({1999, 12, 31, 0, 0, 0}), -1);
}

TEST(ToLongConversion, TrimsAndRoundsLikeTheSuite) {
    EXPECT_EQ(ToLong(""), 0);
    EXPECT_EQ(ToLong("   "), 0);
    EXPECT_EQ(ToLong(" 42 "), 42);
    EXPECT_EQ(ToLong("-7"), -7);
    EXPECT_EQ(ToLong("2.5"), 2); // half to even
    EXPECT_EQ(ToLong("3.5"), 4);
    EXPECT_EQ(ToLong("abc"), 0);
    EXPECT_EQ(ToLong("99999999999"), 0); // does not fit
}

TEST(Values, ConversionsBetweenKinds) {
    EXPECT_TRUE(Value().IsNull());
    EXPECT_EQ(Value().AsText(), "");
    EXPECT_EQ(Value(2.5).AsInt(), 2);
    EXPECT_EQ(Value(-2.5).AsInt(), -2);
    EXPECT_EQ(Value(0.1).AsText(), "0.1");
    EXPECT_EQ(Value("12.75").AsDouble(), 12.75);
    EXPECT_TRUE(Value("True").AsBool());
    EXPECT_FALSE(Value("false").AsBool());
    EXPECT_TRUE(Value(0.5).AsBool());
    EXPECT_EQ(Value(true).AsInt(), 1);
    EXPECT_EQ(Value(3), Value(3.0));
    EXPECT_FALSE(Value("3") == Value(3));
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
    EXPECT_EQ(CountRecords(connection, "Tenant", ""), 3);
}
