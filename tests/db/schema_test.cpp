#include "db/schema.h"
#include "db_fixture.h"

#include <gtest/gtest.h>

#include <algorithm>

using namespace db;
using dbtest::DbTest;
using testsupport::WriteFile;

namespace {

class Schema : public DbTest {
protected:
    // Writes the template beside the "program" and loads it.
    bool Load(const std::string& text, int16_t action = ActionNone) {
        WriteFile(dir / "Ketrova.ddf", text);
        return LoadTemplate(settings, lists, action);
    }

    const Field* Find(const std::vector<Field>& list, const std::string& table,
                      const std::string& column) {
        for (const auto& f : list) {
            if (f.TableName == table && f.FieldName == column) {
                return &f;
            }
        }
        return nullptr;
    }

    // Builds the database from the template as creation does.
    void Build(const std::string& text) {
        ASSERT_TRUE(Load(text, ActionAdd));
        ASSERT_TRUE(AddFields(settings, connection, lists, ui));
        ASSERT_TRUE(AddIndexes(settings, connection, lists));
    }

    // Reads the live structure and compares it with a new template.
    void Compare(const std::string& text) {
        ASSERT_TRUE(Load(text));
        ASSERT_TRUE(ReadDBSchema(settings, connection, lists));
        ASSERT_TRUE(CompareSchema(settings, lists));
    }

    std::vector<std::string> IndexNames(const std::string& table) {
        std::vector<std::string> names;
        for (const auto& ix : ListIndexes(connection, table)) {
            names.push_back(ix.Name);
        }
        return names;
    }

    SchemaLists lists;
    util::UiServices ui;
};

} // namespace

TEST_F(Schema, TemplateLineRules) {
    ASSERT_TRUE(Load("# Tenant area\r\n"
                     "# Tenant,Notes,MEMO,,\r\n"
                     "Tenant\r\n"
                     "\r\n"
                     "     \r\n"
                     " Tenant , Phone ,text, 20 ,\r\n"
                     "Unit,Rooms,INTEGER,,\r\n"
                     "Unit,Baths,,,\r\n"
                     "Unit,Garage,yes-no,,\r\n"
                     "Lease,LeaseID,LONG,,idx\r\n"
                     "Lease,LeaseKey,LONG,,IDX\r\n"
                     "Lease,Other,LONG,, idx\r\n"
                     "Lease,Notes,Memo,99,\r\n"
                     "Lease,Start,date,,\r\n"
                     "Lease,Rate,Float,,\r\n"
                     "Lease,Rent,CURRENCY,,\r\n"
                     "Lease,Pets,boolean,,\r\n"
                     "Lease,Code,TEXT,,\r\n"
                     " ,NoTable,TEXT,5,\r\n"
                     "Lease, ,TEXT,5,\r\n"
                     "Lease,Extra,TEXT,8,idx,ignored\n",
                     ActionAdd));
    struct Want {
        const char* table;
        const char* column;
        int16_t type;
        int32_t size;
        bool indexed;
    };
    const Want want[] = {
        {"Tenant", "Phone", adVarWChar, 20, false}, {"Unit", "Rooms", adInteger, 0, false},
        {"Unit", "Baths", adInteger, 0, false},     {"Unit", "Garage", adInteger, 0, false},
        {"Lease", "LeaseID", adInteger, 0, true},   {"Lease", "LeaseKey", adInteger, 0, false},
        {"Lease", "Other", adInteger, 0, false},    {"Lease", "Notes", adLongVarWChar, 0, false},
        {"Lease", "Start", adDate, 0, false},       {"Lease", "Rate", adDouble, 0, false},
        {"Lease", "Rent", adCurrency, 0, false},    {"Lease", "Pets", adBoolean, 0, false},
        {"Lease", "Code", adVarWChar, 0, false},    {"Lease", "Extra", adVarWChar, 8, true},
    };
    ASSERT_EQ(lists.Template.size(), std::size(want));
    for (size_t i = 0; i < std::size(want); ++i) {
        const Field& f = lists.Template[i];
        SCOPED_TRACE(f.TableName + "." + f.FieldName);
        EXPECT_EQ(f.TableName, want[i].table);
        EXPECT_EQ(f.FieldName, want[i].column);
        EXPECT_EQ(f.DataType, want[i].type);
        EXPECT_EQ(f.Size, want[i].size);
        EXPECT_EQ(f.Indexed, want[i].indexed);
        EXPECT_EQ(f.Action, ActionAdd);
    }
    EXPECT_EQ(Log(), "");

    // Each read starts from an empty list; a byte-order mark does not hide a comment.
    ASSERT_TRUE(Load("\xEF\xBB\xBF# Table,Column,Type,Size,Index\r\nA,B,,,\r\n"));
    EXPECT_EQ(lists.Template.size(), 1u);
}

TEST_F(Schema, MissingEmptyAndMalformedTemplatesFailWithTheirLines) {
    const std::string file = dir.str() + "Ketrova.ddf";
    EXPECT_FALSE(LoadTemplate(settings, lists, ActionNone));
    EXPECT_EQ(Log(), "{*} Database template file not found: " + file + "\r\n");

    EXPECT_FALSE(Load("# only comments\r\n\r\nno commas here\r\n"));
    EXPECT_NE(Log().find("{*} No fields found in template file: " + file + "\r\n"),
              std::string::npos);

    EXPECT_FALSE(Load("Tenant,Phone,TEXT,20,\r\n# fine\r\nTenant,Notes,MEMO\r\n"));
    EXPECT_NE(Log().find("line 3"), std::string::npos) << Log();
    EXPECT_TRUE(lists.Template.empty());

    EXPECT_FALSE(Load("Tenant,Phone,TEXT,twenty,\r\n"));
    EXPECT_NE(Log().find("line 1"), std::string::npos) << Log();
}

TEST_F(Schema, DeclaredTypesMapBothWays) {
    const std::pair<int16_t, int32_t> types[] = {
        {adInteger, 0},   {adDouble, 0}, {adCurrency, 0},     {adDate, 0},     {adBoolean, 0},
        {adVarWChar, 50}, {adWChar, 4},  {adLongVarWChar, 0}, {adSmallInt, 0}, {adVarWChar, 0},
    };
    for (auto [type, size] : types) {
        DeclaredType back = TypeFromDeclared(DeclaredFromType(type, size));
        EXPECT_EQ(back.DataType, type) << DeclaredFromType(type, size);
        EXPECT_EQ(back.Size, size) << DeclaredFromType(type, size);
    }
    EXPECT_EQ(DeclaredFromType(adBoolean, 0), "BOOLEAN NOT NULL DEFAULT 0");
    EXPECT_EQ(DeclaredFromType(adVarWChar, 50), "VARCHAR(50)");
    EXPECT_EQ(DeclaredFromType(adWChar, 4), "CHAR(4)");

    const std::pair<const char*, int16_t> synonyms[] = {
        {"int", adInteger},           {"LONG", adInteger},       {"unsigned big int", adInteger},
        {"REAL", adDouble},           {"float", adDouble},       {"double precision", adDouble},
        {"money", adCurrency},        {"date", adDate},          {"timestamp", adDate},
        {"bit", adBoolean},           {"BOOL", adBoolean},       {"text", adVarWChar},
        {"nvarchar(30)", adVarWChar}, {"character(2)", adWChar}, {"memo", adLongVarWChar},
        {"LONGTEXT", adLongVarWChar}, {"clob", adLongVarWChar},  {"blob", adLongVarBinary},
        {"decimal(10,2)", adNumeric}, {"", adVariant},
    };
    for (auto [name, type] : synonyms) {
        EXPECT_EQ(TypeFromDeclared(name).DataType, type) << name;
    }
    EXPECT_EQ(TypeFromDeclared("nvarchar( 30 )").Size, 30);
    EXPECT_EQ(TypeFromDeclared("decimal(10,2)").Size, 0);
}

TEST_F(Schema, ReadingTheLiveSchemaSkipsTheEnginesTables) {
    Exec("CREATE TABLE Tenant (IdTenant INTEGER, LastName VARCHAR(40), Notes MEMO TEXT)");
    Exec("CREATE TABLE MSysObjects (Id INTEGER)");
    Exec("CREATE TABLE msysAccess (Id INTEGER)");
    Exec("CREATE TABLE Seq (Id INTEGER PRIMARY KEY AUTOINCREMENT)"); // makes sqlite_sequence
    ASSERT_TRUE(ReadDBSchema(settings, connection, lists));
    ASSERT_EQ(lists.Database.size(), 4u);
    const Field* last = Find(lists.Database, "Tenant", "LastName");
    ASSERT_NE(last, nullptr);
    EXPECT_EQ(last->DataType, adVarWChar);
    EXPECT_EQ(last->Size, 40);
    EXPECT_EQ(Find(lists.Database, "Tenant", "Notes")->DataType, adLongVarWChar);
    EXPECT_NE(Find(lists.Database, "Seq", "Id"), nullptr);

    Connection closed;
    EXPECT_FALSE(ReadDBSchema(settings, closed, lists));
    EXPECT_TRUE(lists.Database.empty());
}

TEST_F(Schema, ComparisonMarksAddsUpdatesAndRemovals) {
    Exec("CREATE TABLE Tenant (IdTenant INTEGER, LASTNAME VARCHAR(50), Phone VARCHAR(20), "
         "Rating INTEGER, Old VARCHAR(10))");
    Exec("CREATE TABLE Property (IdProperty INTEGER)");
    Compare("tenant,IdTenant,LONG,,idx\r\n"
            "Tenant,LastName,TEXT,100,\r\n" // wider: re-created
            "Tenant,Phone,TEXT,20,\r\n"     // same size
            "Tenant,Rating,FLOAT,,\r\n"     // other type, no size: left alone
            "Tenant,Email,TEXT,60,\r\n"     // new
            "Contact,IdContact,LONG,,idx\r\n");
    auto action = [&](const std::vector<Field>& list, const char* t, const char* c) {
        const Field* f = Find(list, t, c);
        return f ? f->Action : int16_t(-1);
    };
    EXPECT_EQ(action(lists.Template, "tenant", "IdTenant"), ActionNone);
    EXPECT_EQ(action(lists.Template, "Tenant", "LastName"), ActionUpdate);
    EXPECT_EQ(action(lists.Template, "Tenant", "Phone"), ActionNone);
    EXPECT_EQ(action(lists.Template, "Tenant", "Rating"), ActionNone);
    EXPECT_EQ(action(lists.Template, "Tenant", "Email"), ActionAdd);
    EXPECT_EQ(action(lists.Template, "Contact", "IdContact"), ActionAdd);
    EXPECT_EQ(action(lists.Database, "Tenant", "Old"), ActionRemove);
    EXPECT_EQ(action(lists.Database, "Property", "IdProperty"), ActionRemove);
    EXPECT_EQ(action(lists.Database, "Tenant", "LASTNAME"), ActionNone);
    EXPECT_EQ(Log(), "{ } Marking field {LastName} for update\r\n");
}

TEST_F(Schema, AddWidenAndRemoveKeepEveryValue) {
    Build("Tenant,IdTenant,LONG,,idx\r\n"
          "Tenant,LastName,TEXT,10,idx\r\n"
          "Tenant,Notes,MEMO,,\r\n"
          "Tenant,Balance,CURRENCY,,\r\n"
          "Tenant,Obsolete,TEXT,20,\r\n");
    const std::string longName = "Featherstonehaugh-Cholmondeley"; // longer than 10
    Exec("INSERT INTO Tenant VALUES (1, 'Alder', 'first', 12.34, 'x')");
    Exec("INSERT INTO Tenant VALUES (2, '" + longName + "', NULL, -5, 'y')");
    Exec("INSERT INTO Tenant VALUES (3, '00042', '0012', 0, NULL)");

    Compare("Tenant,IdTenant,LONG,,idx\r\n"
            "Tenant,LastName,TEXT,50,idx\r\n"
            "Tenant,Notes,MEMO,,\r\n"
            "Tenant,Balance,CURRENCY,,\r\n"
            "Tenant,Hide,BOOLEAN,,\r\n"
            "Tenant,Email,TEXT,60,\r\n"
            "WorkOrder,IdWorkOrder,LONG,,idx\r\n"
            "WorkOrder,IdTenant,LONG,,idx\r\n");
    ASSERT_TRUE(AddFields(settings, connection, lists, ui));
    ASSERT_TRUE(UpdateFields(settings, connection, lists, ui));
    ASSERT_TRUE(DeleteObsoleteFields(settings, connection, lists));
    ASSERT_TRUE(DeleteIndexes(settings, connection));
    ASSERT_TRUE(AddIndexes(settings, connection, lists));

    // The structure now equals the template.
    ASSERT_TRUE(LoadTemplate(settings, lists, ActionNone));
    ASSERT_TRUE(ReadDBSchema(settings, connection, lists));
    ASSERT_TRUE(CompareSchema(settings, lists));
    for (const auto& f : lists.Template) {
        EXPECT_EQ(f.Action, ActionNone) << f.TableName << "." << f.FieldName;
    }
    for (const auto& f : lists.Database) {
        EXPECT_EQ(f.Action, ActionNone) << f.TableName << "." << f.FieldName;
    }
    EXPECT_EQ(Find(lists.Database, "Tenant", "LastName")->Size, 50);

    Recordset rs;
    ASSERT_EQ(OpenRecordset("SELECT * FROM Tenant ORDER BY IdTenant", rs, connection, false), 3);
    const std::string names[] = {"Alder", longName, "00042"};
    const Value notes[] = {Value("first"), Value(), Value("0012")};
    const double balances[] = {12.34, -5, 0};
    for (int i = 0; i < 3; ++i, rs.MoveNext()) {
        EXPECT_EQ(rs.Field("IdTenant").AsInt(), i + 1);
        EXPECT_EQ(rs.Field("LastName"), Value(names[i]));
        EXPECT_EQ(rs.Field("Notes"), notes[i]);
        EXPECT_DOUBLE_EQ(rs.Field("Balance").AsDouble(), balances[i]);
        EXPECT_EQ(rs.Field("Hide").AsInt(), 0); // a new Boolean column holds false, not NULL
        EXPECT_TRUE(rs.IsNull("Email"));
    }
    EXPECT_EQ(rs.FieldIndex("Obsolete"), -1);
    EXPECT_EQ(rs.FieldIndex("t_Column"), -1);
    rs.Close();

    auto idx = IndexNames("Tenant");
    EXPECT_EQ(idx, (std::vector<std::string>{"IdTenant", "LastName"}));
    EXPECT_EQ(IndexNames("WorkOrder"), (std::vector<std::string>{"IdTenant", "IdWorkOrder"}));
    EXPECT_NE(Log().find("{ } Table {WorkOrder} being created\r\n"), std::string::npos);
    EXPECT_NE(Log().find("{ } Adding field {Hide} to {Tenant}\r\n"), std::string::npos);
}

TEST_F(Schema, AFailedAddLeavesTheStructureAsItWas) {
    Exec("CREATE TABLE Tenant (IdTenant INTEGER)");
    ASSERT_TRUE(Load("Tenant,A,LONG,,\r\nUnit,IdUnit,LONG,,\r\nTenant,IdTenant,LONG,,\r\n",
                     ActionAdd)); // the last one exists already
    EXPECT_FALSE(AddFields(settings, connection, lists, ui));
    EXPECT_NE(Log().find("{*} AddFields: "), std::string::npos);
    EXPECT_FALSE(TableExists(connection, "Unit"));
    EXPECT_EQ(ListColumns(connection, "Tenant").size(), 1u);
}

TEST_F(Schema, AFailedWideningKeepsTheColumnAndItsData) {
    Exec("CREATE TABLE Tenant (IdTenant INTEGER, LastName VARCHAR(10), t_Column INTEGER)");
    Exec("INSERT INTO Tenant VALUES (1, 'Alder', 7)");
    Compare("Tenant,IdTenant,LONG,,\r\nTenant,LastName,TEXT,40,\r\n");
    EXPECT_FALSE(UpdateFields(settings, connection, lists, ui)); // "t_Column" is taken
    EXPECT_EQ(Scalar("SELECT LastName FROM Tenant").AsText(), "Alder");
    EXPECT_EQ(ListColumns(connection, "Tenant")[1].Declared, "VARCHAR(10)");
}

TEST_F(Schema, TwoTablesIndexingTheSameColumnNameBothKeepTheirIndex) {
    Build("Building,IdBuilding,LONG,,idx\r\n"
          "Unit,IdUnit,LONG,,idx\r\n"
          "Unit,IdBuilding,LONG,,idx\r\n"
          "Mortgage,IdMortgage,LONG,,idx\r\n"
          "Mortgage,IdBuilding,LONG,,idx\r\n");
    EXPECT_EQ(IndexNames("Building"), (std::vector<std::string>{"IdBuilding"}));
    EXPECT_EQ(IndexNames("Unit"), (std::vector<std::string>{"IdBuilding", "IdUnit"}));
    EXPECT_EQ(IndexNames("Mortgage"), (std::vector<std::string>{"IdBuilding", "IdMortgage"}));
    for (const auto& ix : ListIndexes(connection, "Mortgage")) {
        EXPECT_EQ(ix.Columns, std::vector<std::string>{ix.Name});
    }
    // The engine uses them.
    Recordset rs;
    rs.Open(connection, "EXPLAIN QUERY PLAN SELECT * FROM Unit WHERE IdBuilding = 3");
    EXPECT_NE(rs.Field("detail").AsText().find("Unit.IdBuilding"), std::string::npos);
    rs.Close();

    ASSERT_TRUE(DeleteIndexes(settings, connection));
    for (const char* t : {"Building", "Unit", "Mortgage"}) {
        EXPECT_TRUE(IndexNames(t).empty()) << t;
    }
    // Dropping an indexed column takes its index along; the other table's stays.
    ASSERT_TRUE(AddIndexes(settings, connection, lists));
    DropColumn(connection, "Unit", "IdBuilding");
    EXPECT_EQ(IndexNames("Unit"), (std::vector<std::string>{"IdUnit"}));
    EXPECT_EQ(IndexNames("Mortgage"), (std::vector<std::string>{"IdBuilding", "IdMortgage"}));
}

TEST_F(Schema, DeleteIndexesGoesOnPastWhatItCannotDrop) {
    Exec("CREATE TABLE Tenant (IdTenant INTEGER UNIQUE, LastName VARCHAR(20))");
    Exec("CREATE INDEX LastName ON Tenant (LastName)");
    Exec("CREATE TABLE MSysIndexes (Id INTEGER)");
    Exec("CREATE INDEX MSysIdx ON MSysIndexes (Id)");
    EXPECT_TRUE(DeleteIndexes(settings, connection));
    auto left = ListIndexes(connection, "Tenant");
    ASSERT_EQ(left.size(), 1u); // the constraint's own index stays with its constraint
    EXPECT_TRUE(left[0].EngineOwned);
    EXPECT_EQ(ListIndexes(connection, "MSysIndexes").size(), 1u);
    EXPECT_EQ(Log(), "");

    // Each index that cannot be dropped is logged and the others are still tried.
    Exec("CREATE INDEX \"Tenant.LastName\" ON Tenant (LastName)");
    Exec("CREATE TABLE Unit (IdUnit INTEGER)");
    Exec("CREATE INDEX \"Unit.IdUnit\" ON Unit (IdUnit)");
    Exec("PRAGMA query_only = 1");
    EXPECT_TRUE(DeleteIndexes(settings, connection));
    EXPECT_EQ(Log(), "{*} prv_DeleteIndexes: error deleting database index\r\n"
                     "{*} prv_DeleteIndexes: error deleting database index\r\n");
}

TEST_F(Schema, ObsoleteColumnsGoButATableKeepsItsLastOne) {
    Exec("CREATE TABLE Property (IdProperty INTEGER, Address VARCHAR(50))");
    Exec("CREATE INDEX \"Property.Address\" ON Property (Address)");
    Exec("INSERT INTO Property VALUES (4, '1 Elm')");
    Compare("Building,IdBuilding,LONG,,\r\n");
    ASSERT_TRUE(DeleteObsoleteFields(settings, connection, lists));
    auto cols = ListColumns(connection, "Property");
    ASSERT_EQ(cols.size(), 1u);
    EXPECT_EQ(cols[0].Name, "Address");
    EXPECT_NE(Log().find("{ } Field {Address} kept as the last column of {Property}"),
              std::string::npos);
    EXPECT_EQ(DistinctTables(lists.Database), std::vector<std::string>{"Property"});
}

TEST_F(Schema, RepairNullValuesByType) {
    Exec("CREATE TABLE Mixed (I INTEGER, F DOUBLE, C CURRENCY, B BOOLEAN, T VARCHAR(10), "
         "M MEMO TEXT, D DATETIME, S SMALLINT, W CHAR(2))");
    Exec("INSERT INTO Mixed VALUES (NULL, NULL, NULL, NULL, NULL, NULL, NULL, NULL, NULL)");
    Exec("INSERT INTO Mixed VALUES (5, 1.5, 2, 1, 'a', 'b', '7/1/2026', 3, 'xy')");
    Recordset rs;
    ASSERT_EQ(OpenRecordset("SELECT * FROM Mixed", rs, connection, false), 2);
    EXPECT_EQ(RepairNullValues(rs, settings), 9);
    rs.MoveNext();
    EXPECT_EQ(RepairNullValues(rs, settings), 0);
    rs.MoveNext();
    EXPECT_EQ(RepairNullValues(rs, settings), 0); // at the end: nothing to do
    rs.Close();

    std::string expected;
    for (const char* f : {"I", "F", "C", "B", "T", "M", "D", "S", "W"}) {
        expected += std::string("{*} NULL value detected in field ") + f + "\r\n";
    }
    EXPECT_EQ(Log(), expected);
    rs.Open(connection, "SELECT * FROM Mixed");
    EXPECT_EQ(rs.Field("I"), Value(0));
    EXPECT_EQ(rs.Field("F"), Value(0));
    EXPECT_EQ(rs.Field("C"), Value(0));
    EXPECT_EQ(rs.Field("B"), Value(0));
    EXPECT_EQ(rs.Field("T"), Value(""));
    EXPECT_EQ(rs.Field("M"), Value(""));
    EXPECT_TRUE(rs.IsNull("D"));
    EXPECT_TRUE(rs.IsNull("S"));
    EXPECT_TRUE(rs.IsNull("W"));
    rs.MoveNext();
    EXPECT_EQ(rs.Field("T"), Value("a")); // untouched
}

TEST_F(Schema, WithoutALogTheOperationsGiveTheSameResults) {
    settings.LogFileNo = 0;
    Build("Tenant,IdTenant,LONG,,idx\r\nTenant,Name,TEXT,5,\r\n");
    Compare("Tenant,IdTenant,LONG,,idx\r\nTenant,Name,TEXT,9,\r\n");
    EXPECT_EQ(Find(lists.Template, "Tenant", "Name")->Action, ActionUpdate);
    EXPECT_TRUE(UpdateFields(settings, connection, lists, ui));
    EXPECT_FALSE(Load("nothing"));
}

TEST_F(Schema, TheShippedTemplateBuildsTheSuitesDatabase) {
    const std::string shipped = std::string(OSTRAND_SOURCE_DIR) + "/data/Ketrova.ddf";
    ASSERT_TRUE(LoadTemplateFile(settings, lists, shipped, ActionAdd)) << Log();
    ASSERT_TRUE(AddFields(settings, connection, lists, ui)) << Log();
    ASSERT_TRUE(AddIndexes(settings, connection, lists)) << Log();

    // Every line is CR LF, as the suite writes text files.
    std::string raw = testsupport::ReadFile(shipped);
    EXPECT_EQ(std::count(raw.begin(), raw.end(), '\n'), std::count(raw.begin(), raw.end(), '\r'));

    // Read back, the database equals the template: an upgrade of a fresh
    // database has nothing to do.
    SchemaLists fresh;
    ASSERT_TRUE(LoadTemplateFile(settings, fresh, shipped, ActionNone));
    ASSERT_TRUE(ReadDBSchema(settings, connection, fresh));
    ASSERT_TRUE(CompareSchema(settings, fresh));
    for (const auto& f : fresh.Template) {
        EXPECT_EQ(f.Action, ActionNone) << f.TableName << "." << f.FieldName;
    }
    for (const auto& f : fresh.Database) {
        EXPECT_EQ(f.Action, ActionNone) << f.TableName << "." << f.FieldName;
    }
    // No column twice, and no table split into two runs.
    std::vector<std::string> seen;
    std::string last;
    for (const auto& f : fresh.Template) {
        std::string key = f.TableName + "." + f.FieldName;
        EXPECT_EQ(std::count(seen.begin(), seen.end(), key), 0) << key;
        seen.push_back(key);
        if (f.TableName != last) {
            EXPECT_EQ(std::count_if(
                          seen.begin(), seen.end() - 1,
                          [&](const std::string& s) { return s.rfind(f.TableName + ".", 0) == 0; }),
                      0)
                << f.TableName << " appears in two runs";
            last = f.TableName;
        }
    }
}
