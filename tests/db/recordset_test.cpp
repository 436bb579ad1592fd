#include "db/connection.h"
#include "db_fixture.h"

#include <gtest/gtest.h>

using namespace db;
using dbtest::DbTest;

namespace {

class Records : public DbTest {
protected:
    void SetUp() override {
        DbTest::SetUp();
        Exec("CREATE TABLE Lease (IdLease INTEGER, TermType VARCHAR(20), Rent CURRENCY, "
             "Pets BOOLEAN NOT NULL DEFAULT 0, StartDate DATETIME, Notes MEMO TEXT, "
             "Rate DOUBLE, Code CHAR(4))");
        Exec("INSERT INTO Lease VALUES (10, 'Monthly', 950.5, 1, '7/1/2026', 'front unit', 0.25, "
             "'A1')");
        Exec("INSERT INTO Lease VALUES (11, 'Weekly', NULL, 0, NULL, NULL, NULL, NULL)");
        Exec("INSERT INTO Lease VALUES (12, 'Yearly', 1200, 0, NULL, '0012', 1.5, 'B2')");
    }
};

} // namespace

TEST_F(Records, FieldsByNameAndIndexWithTheirAdoTypes) {
    Recordset rs;
    rs.Open(connection, "SELECT * FROM Lease");
    ASSERT_EQ(rs.FieldCount(), 8); // the row key is not one of them
    const int16_t types[] = {adInteger, adVarWChar,     adCurrency, adBoolean,
                             adDate,    adLongVarWChar, adDouble,   adWChar};
    for (int i = 0; i < 8; ++i) {
        EXPECT_EQ(rs.FieldAt(i).Type, types[i]) << rs.FieldAt(i).Name;
    }
    EXPECT_EQ(rs.FieldIndex("termtype"), 1);
    EXPECT_EQ(rs.FieldIndex("Nope"), -1);

    EXPECT_EQ(std::make_tuple(rs.Field(0).AsInt(), rs.Field("TermType").AsText(),
                              rs.Field("Rent").AsDouble(), rs.Field("Pets").AsBool(),
                              rs.Field("StartDate").AsText()),
              std::make_tuple(10, "Monthly", 950.5, true, "7/1/2026"));
    EXPECT_THROW(rs.Field("Nope"), Error);
    EXPECT_THROW(rs.Field(8), Error);

    rs.MoveNext();
    EXPECT_TRUE(rs.IsNull("Rent"));
    rs.MoveNext();
    // A memo of digits stays text: leading zeros survive.
    EXPECT_EQ(rs.Field("Notes").AsText(), "0012");
    rs.MoveNext();
    EXPECT_TRUE(rs.IsEOF());
    EXPECT_THROW(rs.Field(0), Error);
    EXPECT_THROW(rs.MoveNext(), Error);

    rs.MoveFirst();
    EXPECT_EQ(rs.Field(0).AsInt(), 10);
    EXPECT_EQ(rs.RecordCount(), 3);
}

TEST_F(Records, EditsAreWrittenBackByRowAndMovingSavesThem) {
    Recordset rs;
    rs.Open(connection, "SELECT IdLease, TermType FROM Lease ORDER BY IdLease DESC");
    ASSERT_TRUE(rs.IsUpdatable());
    rs.SetField("TermType", "Year(s)"); // starts an edit by itself
    EXPECT_TRUE(rs.EditPending());
    rs.MoveNext(); // saves
    rs.Edit();
    rs.SetField(1, "Week(s)");
    rs.Update();
    rs.SetField(1, "discarded");
    rs.CancelUpdate();
    EXPECT_EQ(rs.Field(1).AsText(), "Week(s)");
    rs.Close();

    EXPECT_EQ(Scalar("SELECT group_concat(TermType) FROM Lease ORDER BY IdLease").AsText(),
              "Monthly,Week(s),Year(s)");

    // The suite's True is stored as the engine compares it.
    rs.Open(connection, "SELECT * FROM Lease WHERE IdLease = 11");
    rs.SetField("Pets", -1);
    rs.Update();
    EXPECT_EQ(CountRecords(connection, "Lease", "Pets = True"), 2);
    // Only the fields set are written: a change made meanwhile to another stays.
    ASSERT_TRUE(ExecuteSQL(connection, "UPDATE Lease SET Notes = 'meanwhile' WHERE IdLease = 11"));
    rs.SetField("Rate", 2.5);
    rs.Update();
    EXPECT_EQ(Scalar("SELECT Notes || Rate FROM Lease WHERE IdLease = 11").AsText(),
              "meanwhile2.5");
    // A row deleted meanwhile is not written back.
    ASSERT_TRUE(ExecuteSQL(connection, "DELETE * FROM Lease WHERE IdLease = 11"));
    rs.SetField("Rent", 1000);
    EXPECT_THROW(rs.Update(), Error);
    rs.CancelUpdate();
    EXPECT_EQ(CountRecords(connection, "Lease", ""), 2);
}

TEST_F(Records, NewRowsTakeDefaultsAndBecomeCurrent) {
    Recordset rs;
    rs.OpenTable(connection, "Lease");
    EXPECT_EQ(rs.Field(0).AsInt(), 10);
    rs.AddNew();
    EXPECT_TRUE(rs.Field("IdLease").IsNull());
    rs.SetField("IdLease", 20);
    rs.SetField("Notes", "new");
    rs.Update();
    EXPECT_EQ(rs.Field("IdLease").AsInt(), 20);
    EXPECT_EQ(rs.Field("Pets").AsInt(), 0); // the column's default, read back
    rs.SetField("Notes", "changed after adding");
    rs.Update();

    // An abandoned new row leaves the position where it was.
    rs.AddNew();
    rs.SetField("IdLease", 99);
    rs.CancelUpdate();
    EXPECT_EQ(rs.Field("IdLease").AsInt(), 20);
    rs.Close();

    EXPECT_EQ(CountRecords(connection, "Lease", ""), 4);
    EXPECT_EQ(Scalar("SELECT Notes FROM Lease WHERE IdLease = 20").AsText(),
              "changed after adding");

    // Adding to an empty result does not restart the scan.
    rs.Open(connection, "SELECT * FROM Lease WHERE IdLease > 99");
    ASSERT_TRUE(rs.IsEOF());
    rs.AddNew();
    rs.SetField("IdLease", 100);
    rs.Update();
    EXPECT_FALSE(rs.IsEOF());
    rs.MoveNext();
    EXPECT_TRUE(rs.IsEOF());
    EXPECT_EQ(CountRecords(connection, "Lease", ""), 5);
}

TEST_F(Records, JoinsAndAggregatesAreReadOnly) {
    Exec("CREATE TABLE RentLog (IdRentLog INTEGER, IdLease INTEGER)");
    Exec("CREATE TABLE Code (Code VARCHAR(4) PRIMARY KEY) WITHOUT ROWID");
    Recordset rs;
    // A grouped row stands for several rows of the table: writing it back to
    // whichever row the engine happened to pick would be wrong. Only the
    // outermost select list counts, and literals are passed over.
    const std::pair<const char*, bool> cases[] = {
        {"SELECT Count(*) AS Result FROM Lease", false},
        {"SELECT * FROM RentLog LEFT JOIN Lease ON RentLog.IdLease = Lease.IdLease", false},
        {"SELECT * FROM RentLog, Code", false}, // only one of them has a row key
        {"SELECT DISTINCT TermType FROM Lease", false},
        {"SELECT TermType, Count(*) AS n FROM Lease GROUP BY TermType", false},
        {"SELECT TermType, sum ( Rent ) FROM Lease", false},
        {"SELECT 'max(' AS t, \"count(\", TermType FROM Lease", true},
        {"SELECT * FROM Lease WHERE Rent = (SELECT Max(Rent) FROM Lease)", true},
        {" select\tTermType FROM Lease;", true}};
    for (const auto& [sql, updatable] : cases) {
        SCOPED_TRACE(sql);
        rs.Open(connection, sql);
        EXPECT_EQ(rs.IsUpdatable(), updatable);
        if (!updatable) {
            EXPECT_THROW(rs.SetField(0, "x"), Error);
            EXPECT_THROW(rs.AddNew(), Error);
        }
    }
    rs.Open(connection, "SELECT Count(*) AS Result FROM Lease");
    EXPECT_EQ(std::make_pair(rs.FieldAt(0).Type, rs.Field("Result").AsInt()),
              std::make_pair(adInteger, int64_t{3}));
}

TEST_F(Records, ClosingTheConnectionClosesItsRecordsets) {
    Recordset rs;
    rs.Open(connection, "SELECT * FROM Lease");
    connection.Close();
    EXPECT_FALSE(rs.IsOpen());
    EXPECT_THROW(rs.MoveNext(), Error);
    // The file is free again: another connection can write to it at once.
    Connection other;
    other.Open(dbFile);
    EXPECT_TRUE(ExecuteSQL(other, "DELETE FROM Lease"));
}

// A table scan streams each row once, in order, and takes edits as it goes;
// as the tenant contacts conversion does, it can meanwhile draw record
// numbers and add rows to another table, all on one connection.
TEST_F(Records, OpenTableStreamsWhileTheScanEditsAndAdds) {
    Exec("CREATE TABLE Unit (IdUnit INTEGER, Rent CURRENCY)");
    Exec("CREATE TABLE Configuration (NextId INTEGER)");
    Exec("INSERT INTO Configuration VALUES (500)");
    Exec("WITH RECURSIVE n(i) AS (SELECT 0 UNION ALL SELECT i + 1 FROM n WHERE i < 4999) "
         "INSERT INTO Unit SELECT i, CASE WHEN i % 3 THEN i END FROM n");
    platform::FixedClock clock({2026, 7, 1, 0, 0, 0});
    Recordset units, leases;
    units.OpenTable(connection, "unit");
    leases.OpenTable(connection, "Lease");
    int seen = 0;
    Transaction t(connection);
    for (; !units.IsEOF(); units.MoveNext(), ++seen) {
        ASSERT_EQ(units.Field("IdUnit").AsInt(), seen) << "each row exactly once, in order";
        if (units.IsNull("Rent")) {
            units.SetField("Rent", 0);
            leases.AddNew();
            leases.SetField("IdLease", NextId(connection, clock));
            leases.SetField("TermType", units.Field("IdUnit").AsText());
            leases.Update();
        }
    }
    t.Commit();
    EXPECT_EQ(seen, 5000);
    EXPECT_EQ(CountRecords(connection, "Unit", "Rent IS NULL"), 0);
    EXPECT_EQ(CountRecords(connection, "Lease", "IdLease = 2166 AND TermType = '4998'"), 1);
    EXPECT_EQ(Scalar("SELECT count(DISTINCT IdLease) FROM Lease WHERE IdLease >= 500").AsInt(),
              1667);
    EXPECT_EQ(Scalar("SELECT NextId FROM Configuration").AsInt(), 2167);
    EXPECT_THROW(units.OpenTable(connection, "Nowhere"), Error);
}
