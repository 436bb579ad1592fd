#include "maint_fixture.h"

#include "maintenance/table_check.h"

namespace {

using TableCheckTest = mainttest::MaintTest;

// The upgrade takes the repairs over and folds them into its own pass over
// each table; what is logged must not change.
class TakenRepairs final : public maintenance::NullRepairs {
public:
    bool Takes(const std::string&) override { return true; }
    void Repair(const std::string& table, const std::vector<db::ColumnInfo>& columns) override {
        for (const auto& c : columns)
            handed += table + "." + c.Name + " ";
    }
    std::string handed;
};

TEST_F(TableCheckTest, WritesOneLinePerSuiteTableInNameOrderAndRepairsNulls) {
    util::UiServices ui;
    Exec("CREATE TABLE Unit (IdUnit INTEGER, Name VARCHAR(50), Rent DOUBLE, Vacant BOOLEAN, "
         "Since DATETIME, Notes MEMO, Paid CURRENCY, Code CHAR(2))");
    Exec("CREATE TABLE Account (IdAccount INTEGER, Title VARCHAR(30))");
    Exec("CREATE TABLE Empty (IdEmpty INTEGER)");
    Exec("CREATE TABLE MSysObjects (Id INTEGER)");
    Exec("INSERT INTO MSysObjects VALUES (NULL)");
    Exec("INSERT INTO Account VALUES (1, 'Rent'), (2, 'Repairs')");
    Exec("INSERT INTO Unit VALUES (1, 'A1', 500, 0, '2020-01-01', 'ok', 1, 'x')");
    Exec("INSERT INTO Unit VALUES (2, NULL, NULL, NULL, NULL, NULL, NULL, NULL)");
    Exec("INSERT INTO Unit VALUES (NULL, 'C3', 700, 0, '2021-05-05', 'ok', 2, 'y')");
    const std::vector<std::string> expected = {
        "{ } Database Table Name  : Account {2 fields, 2 records} ",
        "{ } Database Table Name  : Empty {1 fields, 0 records} ",
        "{ } Database Table Name  : Unit {8 fields, 3 records} ",
        "{*} NULL value detected in field Name",
        "{*} NULL value detected in field Rent",
        "{*} NULL value detected in field Vacant",
        "{*} NULL value detected in field Since",
        "{*} NULL value detected in field Notes",
        "{*} NULL value detected in field Paid",
        "{*} NULL value detected in field Code",
        "{*} NULL value detected in field IdUnit",
    };
    TakenRepairs taken;
    EXPECT_TRUE(maintenance::CheckTables(settings, connection, ui, &taken));
    EXPECT_EQ(LogLines(), expected);
    // Handed over in the table's order, and nothing changed here; a date or a
    // type the suite never declares has no neutral value and is only logged.
    EXPECT_EQ(taken.handed, "Unit.IdUnit Unit.Name Unit.Rent Unit.Vacant Unit.Notes Unit.Paid ");
    EXPECT_EQ(Scalar("SELECT count(*) FROM Unit WHERE Name IS NULL OR IdUnit IS NULL").AsInt(), 2);

    startup::CloseFile(settings.Files, settings.LogFileNo);
    settings.LogFileNo = startup::OpenLogFile(settings.Files, (dir / "Ostrand.log").string(), 1, 0);
    EXPECT_TRUE(maintenance::CheckTables(settings, connection, ui));
    EXPECT_EQ(LogLines(), expected);

    // Numbers and Booleans become 0 and texts "", the rest stays NULL.
    EXPECT_EQ(Scalar("SELECT quote(Name) || quote(Rent) || quote(Vacant) || quote(Since) || "
                     "quote(Notes) || quote(Paid) || quote(Code) FROM Unit WHERE IdUnit = 2")
                  .AsText(),
              "''0.00NULL''0NULL");
    EXPECT_EQ(Scalar("SELECT count(*) FROM Unit WHERE IdUnit = 0 AND Name = 'C3'").AsInt(), 1);
    // Untouched rows and the engine-like table keep what they had.
    EXPECT_EQ(Scalar("SELECT Since FROM Unit WHERE IdUnit = 1").AsText(), "2020-01-01");
    EXPECT_TRUE(Scalar("SELECT Id FROM MSysObjects").IsNull());
}

TEST_F(TableCheckTest, ADamagedTableIsReportedAndTheOthersAreStillChecked) {
    util::UiServices ui;
    Exec("CREATE TABLE Broken (Id INTEGER, Filler VARCHAR(200))");
    Exec("WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 400) "
         "INSERT INTO Broken SELECT i, printf('%.150c', 'x') FROM n");
    Exec("CREATE TABLE Tenant (IdTenant INTEGER, Name VARCHAR(50))");
    Exec("INSERT INTO Tenant VALUES (1, NULL)");
    const int64_t root = Scalar("SELECT rootpage FROM sqlite_master WHERE name = 'Broken'").AsInt();
    connection.Close();
    SpoilPage(root);
    connection.Open(dbFile);

    EXPECT_FALSE(maintenance::CheckTables(settings, connection, ui));
    const auto lines = LogLines();
    ASSERT_EQ(lines.size(), 3u);
    EXPECT_EQ(lines[0].rfind("{*} Error checking table Broken: error ", 0), 0u) << lines[0];
    EXPECT_EQ(lines[1], "{ } Database Table Name  : Tenant {2 fields, 1 records} ");
    EXPECT_EQ(lines[2], "{*} NULL value detected in field Name");
    EXPECT_EQ(Scalar("SELECT Name FROM Tenant").AsText(), "");
}

} // namespace
