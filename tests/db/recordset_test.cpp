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
    ASSERT_TRUE(rs.IsUpdatable());
    EXPECT_EQ(rs.TableName(), "Lease");
    ASSERT_EQ(rs.FieldCount(), 8); // the row key is not one of them
    const int16_t types[] = {adInteger, adVarWChar,     adCurrency, adBoolean,
                             adDate,    adLongVarWChar, adDouble,   adWChar};
    for (int i = 0; i < 8; ++i) {
        EXPECT_EQ(rs.FieldAt(i).Type, types[i]) << rs.FieldAt(i).Name;
    }
    EXPECT_EQ(rs.FieldAt(1).DefinedSize, 20);
    EXPECT_EQ(rs.FieldNames().front(), "IdLease");
    EXPECT_EQ(rs.FieldIndex("termtype"), 1);
    EXPECT_EQ(rs.FieldIndex("Nope"), -1);

    EXPECT_EQ(rs.Field(0).AsInt(), 10);
    EXPECT_EQ(rs.Field("TermType").AsText(), "Monthly");
    EXPECT_DOUBLE_EQ(rs.Field("Rent").AsDouble(), 950.5);
    EXPECT_TRUE(rs.Field("Pets").AsBool());
    EXPECT_EQ(rs.Field("StartDate").AsText(), "7/1/2026");
    EXPECT_THROW(rs.Field("Nope"), Error);
    EXPECT_THROW(rs.Field(8), Error);

    rs.MoveNext();
    EXPECT_TRUE(rs.IsNull("Rent"));
    EXPECT_TRUE(rs.IsNull("Notes"));
    rs.MoveNext();
    // A memo of digits stays text: leading zeros survive.
    EXPECT_EQ(rs.Field("Notes").kind(), Value::Kind::Text);
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

    EXPECT_EQ(Scalar("SELECT TermType FROM Lease WHERE IdLease = 12").AsText(), "Year(s)");
    EXPECT_EQ(Scalar("SELECT TermType FROM Lease WHERE IdLease = 11").AsText(), "Week(s)");
    EXPECT_EQ(Scalar("SELECT TermType FROM Lease WHERE IdLease = 10").AsText(), "Monthly");
}

TEST_F(Records, BooleansAreStoredAsTheEngineComparesThem) {
    Recordset rs;
    rs.Open(connection, "SELECT * FROM Lease WHERE IdLease = 11");
    rs.SetField("Pets", -1); // the suite's True
    rs.Update();
    rs.Close();
    EXPECT_EQ(CountRecords(connection, "Lease", "Pets = True"), 2);
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
}

TEST_F(Records, AddingToAnEmptyResultDoesNotRestartTheScan) {
    Exec("CREATE TABLE Configuration (CompanyName VARCHAR(50), KeepAlerts INTEGER)");
    Recordset rs;
    rs.Open(connection, "SELECT * FROM Configuration");
    ASSERT_TRUE(rs.IsEOF());
    rs.AddNew();
    rs.SetField("CompanyName", "Your Company Name");
    rs.SetField("KeepAlerts", 15);
    rs.Update();
    EXPECT_FALSE(rs.IsEOF());
    rs.MoveNext();
    EXPECT_TRUE(rs.IsEOF());
    rs.Close();
    EXPECT_EQ(CountRecords(connection, "Configuration", ""), 1);
}

TEST_F(Records, JoinsAndAggregatesAreReadOnly) {
    Exec("CREATE TABLE RentLog (IdRentLog INTEGER, IdLease INTEGER)");
    Exec("INSERT INTO RentLog VALUES (1, 10), (2, 77), (3, 78)");
    Recordset rs;
    EXPECT_EQ(OpenRecordset("SELECT * FROM RentLog LEFT JOIN Lease ON RentLog.IdLease = "
                            "Lease.IdLease WHERE Lease.IdLease IS NULL",
                            rs, connection, false),
              2);
    EXPECT_FALSE(rs.IsUpdatable());
    // Deleting the rows while walking over them, as the stray-log clean-up does.
    int walked = 0;
    while (!rs.IsEOF()) {
        EXPECT_TRUE(ExecuteSQL(connection, "DELETE * FROM RentLog WHERE IdRentLog = " +
                                               rs.Field("IdRentLog").AsText()));
        EXPECT_THROW(rs.SetField("IdRentLog", 0), Error);
        rs.MoveNext();
        ++walked;
    }
    EXPECT_EQ(walked, 2);
    EXPECT_EQ(CountRecords(connection, "RentLog", ""), 1);

    rs.Open(connection, "SELECT Count(*) AS Result FROM Lease");
    EXPECT_FALSE(rs.IsUpdatable());
    EXPECT_EQ(rs.FieldAt(0).Type, adInteger);
    EXPECT_EQ(rs.Field("Result").AsInt(), 3);
    EXPECT_THROW(rs.AddNew(), Error);

    rs.Open(connection, "SELECT DISTINCT TermType FROM Lease");
    EXPECT_EQ(rs.RecordCount(), 3);

    // A grouped row stands for several rows of the table: writing it back to
    // whichever row the engine happened to pick would be wrong.
    for (const char* sql : {"SELECT TermType, Count(*) AS n FROM Lease GROUP BY TermType",
                            "SELECT TermType FROM Lease GROUP BY TermType HAVING TermType > ''",
                            "SELECT Max(Rent) AS Top, TermType FROM Lease",
                            "SELECT TermType, sum ( Rent ) FROM Lease"}) {
        rs.Open(connection, sql);
        EXPECT_FALSE(rs.IsUpdatable()) << sql;
        EXPECT_THROW(rs.SetField("TermType", "x"), Error) << sql;
    }
    // An aggregate inside a condition still leaves the rows themselves updatable.
    rs.Open(connection, "SELECT * FROM Lease WHERE Rent = (SELECT Max(Rent) FROM Lease)");
    EXPECT_TRUE(rs.IsUpdatable());
    EXPECT_EQ(rs.RecordCount(), 1);
}

TEST_F(Records, ClosingTheConnectionClosesItsRecordsets) {
    Recordset rs;
    rs.Open(connection, "SELECT * FROM Lease");
    connection.Close();
    EXPECT_FALSE(rs.IsOpen());
    EXPECT_TRUE(rs.IsEOF());
    EXPECT_THROW(rs.MoveNext(), Error);
    // The file is free again: another connection can write to it at once.
    Connection other;
    other.Open(dbFile);
    EXPECT_TRUE(ExecuteSQL(other, "DELETE FROM Lease"));
}

TEST_F(Records, OpenTableStreamsAndUpdatesWhileScanning) {
    Exec("CREATE TABLE Unit (IdUnit INTEGER, Rent CURRENCY)");
    {
        Transaction t(connection);
        for (int i = 0; i < 5000; ++i) {
            Exec("INSERT INTO Unit VALUES (" + std::to_string(i) + ", " +
                 (i % 3 ? std::to_string(i) : std::string("NULL")) + ")");
        }
        t.Commit();
    }
    Recordset rs;
    rs.OpenTable(connection, "unit");
    int seen = 0;
    Transaction t(connection);
    for (; !rs.IsEOF(); rs.MoveNext()) {
        ASSERT_EQ(rs.Field("IdUnit").AsInt(), seen) << "each row exactly once, in order";
        if (rs.IsNull("Rent")) {
            rs.SetField("Rent", 0);
        }
        ++seen;
    }
    t.Commit();
    EXPECT_EQ(seen, 5000);
    EXPECT_EQ(CountRecords(connection, "Unit", "Rent IS NULL"), 0);
    EXPECT_THROW(rs.OpenTable(connection, "Nowhere"), Error);
}

TEST_F(Records, ConvertingRowsIntoAnotherTableWhileStreaming) {
    // The shape of the tenant contacts conversion: walk one table, draw record
    // numbers and add rows to a table opened by name, all on one connection.
    Exec("CREATE TABLE Configuration (NextId INTEGER)");
    Exec("INSERT INTO Configuration VALUES (500)");
    Exec("CREATE TABLE Contact (IdContact INTEGER, IdRelated INTEGER, Description VARCHAR(50))");
    platform::FixedClock clock({2026, 7, 1, 0, 0, 0});
    Recordset leases;
    ASSERT_EQ(OpenRecordset("SELECT * FROM Lease", leases, connection, false), 3);
    Recordset contacts;
    contacts.OpenTable(connection, "Contact");
    for (; !leases.IsEOF(); leases.MoveNext()) {
        for (const char* what : {"Permanent", "Previous Address", "Employer"}) {
            contacts.AddNew();
            contacts.SetField("IdContact", NextId(connection, clock));
            contacts.SetField("IdRelated", leases.Field("IdLease"));
            contacts.SetField("Description", what);
            contacts.Update();
        }
    }
    leases.Close();
    contacts.Close();
    EXPECT_EQ(CountRecords(connection, "Contact", ""), 9);
    EXPECT_EQ(Scalar("SELECT min(IdContact) || '-' || max(IdContact) || '-' || "
                     "count(DISTINCT IdContact) FROM Contact")
                  .AsText(),
              "500-508-9");
    EXPECT_EQ(CountRecords(connection, "Contact", "IdRelated = 12 AND Description = 'Employer'"),
              1);
    EXPECT_EQ(Scalar("SELECT NextId FROM Configuration").AsInt(), 509);
}

TEST_F(Records, AnUpdateOfARowDeletedMeanwhileFails) {
    Recordset rs;
    rs.Open(connection, "SELECT * FROM Lease WHERE IdLease = 10");
    ASSERT_TRUE(ExecuteSQL(connection, "DELETE * FROM Lease WHERE IdLease = 10"));
    rs.SetField("Rent", 1000);
    EXPECT_THROW(rs.Update(), Error);
    rs.CancelUpdate();
    EXPECT_EQ(CountRecords(connection, "Lease", ""), 2);
}
