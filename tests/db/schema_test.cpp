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

    // "Table.Column type size action" for each field of a list, in order;
    // " idx" marks an indexed one.
    static std::string Describe(const std::vector<Field>& list) {
        std::string out;
        for (const Field& f : list) {
            out += f.TableName + "." + f.FieldName + " " + std::to_string(f.DataType) + " " +
                   std::to_string(f.Size) + " " + std::to_string(f.Action) +
                   (f.Indexed ? " idx|" : "|");
        }
        return out;
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
    ASSERT_TRUE(
        Load("# Tenant area\r\n# Tenant,Notes,MEMO,,\r\nTenant\r\n\r\n     \r\n"
             " Tenant , Phone ,text, 20 ,\r\nUnit,Rooms,INTEGER,,\r\nUnit,Baths,,,\r\n"
             "Unit,Garage,yes-no,,\r\nLease,LeaseID,LONG,,idx\r\nLease,LeaseKey,LONG,,IDX\r\n"
             "Lease,Other,LONG,, idx\r\nLease,Notes,Memo,99,\r\nLease,Start,date,,\r\n"
             "Lease,Rate,Float,,\r\nLease,Rent,CURRENCY,,\r\nLease,Pets,boolean,,\r\n"
             "Lease,Code,TEXT,,\r\n ,NoTable,TEXT,5,\r\nLease, ,TEXT,5,\r\n"
             "Lease,Extra,TEXT,8,idx,ignored\n",
             ActionAdd));
    EXPECT_EQ(Describe(lists.Template),
              "Tenant.Phone 202 20 1|Unit.Rooms 3 0 1|Unit.Baths 3 0 1|Unit.Garage 3 0 1|"
              "Lease.LeaseID 3 0 1 idx|Lease.LeaseKey 3 0 1|Lease.Other 3 0 1|Lease.Notes 203 0 1|"
              "Lease.Start 7 0 1|Lease.Rate 5 0 1|Lease.Rent 6 0 1|Lease.Pets 11 0 1|"
              "Lease.Code 202 0 1|Lease.Extra 202 8 1 idx|");
    EXPECT_EQ(Log(), "");

    // Each read starts from an empty list; a byte-order mark does not hide a comment.
    ASSERT_TRUE(Load("\xEF\xBB\xBF# Table,Column,Type,Size,Index\r\nA,B,,,\r\n"));
    EXPECT_EQ(lists.Template.size(), 1u);
}

TEST_F(Schema, MissingEmptyAndMalformedTemplatesFailWithTheirLines) {
    const std::string file = dir.str() + "Ketrova.ddf";
    EXPECT_FALSE(LoadTemplate(settings, lists, ActionNone));
    EXPECT_EQ(Log(), "{*} Database template file not found: " + file + "\r\n");

    // A template the run cannot use fails with a line that says why, and no half of it is kept.
    const std::pair<const char*, std::string> bad[] = {
        {"# only comments\r\n\r\nno commas here\r\n",
         "{*} No fields found in template file: " + file + "\r\n"},
        {"Tenant,Phone,TEXT,20,\r\n# fine\r\nTenant,Notes,MEMO\r\n", "line 3"},
        {"Tenant,Phone,TEXT,twenty,\r\n", "line 1"}};
    for (const auto& [text, said] : bad) {
        EXPECT_FALSE(Load(text)) << text;
        EXPECT_NE(Log().find(said), std::string::npos) << Log();
        EXPECT_TRUE(lists.Template.empty());
    }
}

TEST_F(Schema, DeclaredTypesMapBothWays) {
    const std::pair<int16_t, int32_t> types[] = {
        {adInteger, 0},   {adDouble, 0}, {adCurrency, 0},     {adDate, 0},     {adBoolean, 0},
        {adVarWChar, 50}, {adWChar, 4},  {adLongVarWChar, 0}, {adSmallInt, 0}, {adVarWChar, 0}};
    for (auto [type, size] : types) {
        DeclaredType back = TypeFromDeclared(DeclaredFromType(type, size));
        EXPECT_EQ(back.DataType, type) << DeclaredFromType(type, size);
        EXPECT_EQ(back.Size, size) << DeclaredFromType(type, size);
    }

    // Names outside the suite's own fall back on the engine's rules; blanks
    // collapse and constraints after the type are not part of it.
    const std::pair<const char*, int16_t> synonyms[] = {
        {"unsigned big int", adInteger}, {"double precision", adDouble},
        {"bigmemo", adLongVarWChar},     {"clob", adLongVarWChar},
        {"nvarchar(30)", adVarWChar},    {"national\t\r\n  character", adWChar},
        {"decimal(10,2)", adNumeric},    {"", adVariant}};
    for (auto [name, type] : synonyms) {
        EXPECT_EQ(TypeFromDeclared(name).DataType, type) << name;
    }
    EXPECT_EQ(TypeFromDeclared("nvarchar( 30 )").Size, 30);
    // The engine's affinity of a declared type, by its own rules.
    const std::pair<const char*, Affinity> affinities[] = {
        {"INTEGER", Affinity::Integer},  {"VARCHAR(5)", Affinity::Text},
        {"MEMO TEXT", Affinity::Text},   {"CLOB", Affinity::Text},
        {"BLOB", Affinity::Blob},        {" ", Affinity::Blob},
        {"DOUBLE", Affinity::Real},      {"float", Affinity::Real},
        {"CURRENCY", Affinity::Numeric}, {"BOOLEAN NOT NULL DEFAULT 0", Affinity::Numeric}};
    for (auto [declared, affinity] : affinities) {
        EXPECT_EQ(AffinityOf(declared), affinity) << declared;
    }
    EXPECT_EQ(TypeFromDeclared("decimal(10,2)").Size, 0);
}

TEST_F(Schema, ComparisonMarksAddsUpdatesAndRemovals) {
    Exec("CREATE TABLE Tenant (IdTenant INTEGER, LASTNAME VARCHAR(50), Phone VARCHAR(20), "
         "Rating INTEGER, Old VARCHAR(10))");
    Exec("CREATE TABLE Property (IdProperty INTEGER)");
    // The engine's own tables and those named like the suite's system tables are not read.
    Exec("CREATE TABLE MSysObjects (Id INTEGER)");
    Exec("CREATE TABLE Seq (Id INTEGER PRIMARY KEY AUTOINCREMENT)"); // makes sqlite_sequence
    Compare("tenant,IdTenant,LONG,,idx\r\n"
            "Tenant,LastName,TEXT,100,\r\n" // wider: re-created
            "Tenant,Phone,TEXT,20,\r\n"     // same size
            "Tenant,Rating,FLOAT,,\r\n"     // other type, no size: left alone
            "Tenant,Email,TEXT,60,\r\n"     // new
            "Contact,IdContact,LONG,,idx\r\n");
    // Names compare without regard to case.
    EXPECT_EQ(Describe(lists.Template),
              "tenant.IdTenant 3 0 0 idx|Tenant.LastName 202 100 3|Tenant.Phone 202 20 0|"
              "Tenant.Rating 5 0 0|Tenant.Email 202 60 1|Contact.IdContact 3 0 1 idx|");
    EXPECT_EQ(Describe(lists.Database),
              "Property.IdProperty 3 0 2|Seq.Id 3 0 2|Tenant.IdTenant 3 0 0|"
              "Tenant.LASTNAME 202 50 0|Tenant.Phone 202 20 0|Tenant.Rating 3 0 0|"
              "Tenant.Old 202 10 2|");
    EXPECT_EQ(Log(), "{ } Marking field {LastName} for update\r\n");
    Connection closed;
    EXPECT_FALSE(ReadDBSchema(settings, closed, lists));
    EXPECT_TRUE(lists.Database.empty());
}

TEST_F(Schema, AddWidenAndRemoveKeepEveryValue) {
    ASSERT_TRUE(
        Load("Tenant,IdTenant,LONG,,idx\r\nTenant,LastName,TEXT,10,idx\r\n"
             "Tenant,Notes,MEMO,,\r\nTenant,Balance,CURRENCY,,\r\nTenant,Obsolete,TEXT,20,\r\n",
             ActionAdd));
    ASSERT_TRUE(AddFields(settings, connection, lists, ui));
    ASSERT_TRUE(AddIndexes(settings, connection, lists));
    Exec("INSERT INTO Tenant VALUES (1, 'Alder', 'first', 12.34, 'x'), (2, "
         "'Featherstonehaugh-Cholmondeley', NULL, -5, 'y'), (3, '00042', '0012', 0, NULL)");
    const std::string wanted =
        "Tenant,IdTenant,LONG,,idx\r\nTenant,LastName,TEXT,50,idx\r\nTenant,Notes,MEMO,,\r\n"
        "Tenant,Balance,CURRENCY,,\r\nTenant,Hide,BOOLEAN,,\r\nTenant,Email,TEXT,60,\r\n"
        "WorkOrder,IdWorkOrder,LONG,,idx\r\nWorkOrder,IdTenant,LONG,,idx\r\n";
    Compare(wanted);
    ASSERT_TRUE(AddFields(settings, connection, lists, ui));
    ASSERT_TRUE(UpdateFields(settings, connection, lists, ui));
    ASSERT_TRUE(DeleteObsoleteFields(settings, connection, lists));
    ASSERT_TRUE(DeleteIndexes(settings, connection));
    ASSERT_TRUE(AddIndexes(settings, connection, lists));

    // The structure now equals the template; a new Boolean column holds
    // false, not NULL, and no value is lost or cut.
    Compare(wanted);
    for (const auto* list : {&lists.Template, &lists.Database}) {
        for (const auto& f : *list) {
            EXPECT_EQ(f.Action, ActionNone) << f.TableName << "." << f.FieldName;
        }
    }
    EXPECT_EQ(Scalar("SELECT group_concat(quote(IdTenant) || quote(LastName) || quote(Notes) || "
                     "quote(Balance) || quote(Hide) || quote(Email), '|') FROM Tenant")
                  .AsText(),
              "1'Alder''first'12.340NULL|2'Featherstonehaugh-Cholmondeley'NULL-50NULL|"
              "3'00042''0012'00NULL");
    const auto columns = ListColumns(connection, "Tenant"); // no Obsolete, no t_Column
    ASSERT_EQ(columns.size(), 6u);
    for (const auto& c : columns) {
        EXPECT_EQ(c.NotNull, c.Name == "Hide") << c.Name; // Booleans hold no NULL
    }
    EXPECT_EQ(IndexNames("Tenant"), (std::vector<std::string>{"IdTenant", "LastName"}));
    EXPECT_EQ(IndexNames("WorkOrder"), (std::vector<std::string>{"IdTenant", "IdWorkOrder"}));
    EXPECT_NE(Log().find("{ } Table {WorkOrder} being created\r\n"), std::string::npos);
    EXPECT_NE(Log().find("{ } Adding field {Hide} to {Tenant}\r\n"), std::string::npos);
    // Dropping an indexed column takes its index along; the other table's
    // index of the same name stays.
    DropColumn(connection, "WorkOrder", "IdTenant");
    EXPECT_EQ(IndexNames("WorkOrder"), std::vector<std::string>{"IdWorkOrder"});
    EXPECT_EQ(IndexNames("Tenant"), (std::vector<std::string>{"IdTenant", "LastName"}));
}

TEST_F(Schema, AFailedAddOrWideningLeavesTheStructureAndDataAsTheyWere) {
    Exec("CREATE TABLE Tenant (IdTenant INTEGER, LastName VARCHAR(10), t_Column INTEGER)");
    Exec("INSERT INTO Tenant VALUES (1, 'Alder', 7)");
    ASSERT_TRUE(Load("Tenant,A,LONG,,\r\nUnit,IdUnit,LONG,,\r\nTenant,IdTenant,LONG,,\r\n",
                     ActionAdd)); // the last one exists already
    EXPECT_FALSE(AddFields(settings, connection, lists, ui));
    EXPECT_NE(Log().find("{*} AddFields: "), std::string::npos);
    EXPECT_FALSE(TableExists(connection, "Unit"));
    EXPECT_EQ(ListColumns(connection, "Tenant").size(), 3u);

    Compare("Tenant,IdTenant,LONG,,\r\nTenant,LastName,TEXT,40,\r\n");
    EXPECT_FALSE(UpdateFields(settings, connection, lists, ui)); // "t_Column" is taken
    EXPECT_EQ(Scalar("SELECT LastName FROM Tenant").AsText(), "Alder");
    EXPECT_EQ(ListColumns(connection, "Tenant")[1].Declared, "VARCHAR(10)");
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

// The upgrade rebuilds a table from its columns alone only when nothing else
// holds to it or lives in its definition; a word inside a literal or a quoted
// name does not count.
TEST_F(Schema, OnlyAPlainTableMayBeRebuiltFromItsColumns) {
    const char* plain =
        "(a INTEGER, b VARCHAR(5) DEFAULT 'check', \"collate\" TEXT, [references] INT)";
    for (const char* definition :
         {plain, "(a INTEGER PRIMARY KEY)", "(a INTEGER UNIQUE)", "(a INTEGER CHECK (a > 0))",
          "(a TEXT COLLATE NOCASE)", "(a INTEGER REFERENCES U (b))",
          "(a INTEGER, b INTEGER AS (a + 1))", "(a INTEGER) STRICT",
          "(a INTEGER PRIMARY KEY, b TEXT) WITHOUT ROWID", "(rowid INTEGER)"}) {
        SCOPED_TRACE(definition);
        Exec("DROP TABLE IF EXISTS T");
        Exec(std::string("CREATE TABLE T ") + definition);
        EXPECT_EQ(IsPlainTable(connection, "t"), definition == plain);
    }
    Exec("CREATE TABLE Plain (a INTEGER)");
    Exec("CREATE TRIGGER Tr AFTER INSERT ON plain BEGIN SELECT 1; END");
    EXPECT_FALSE(IsPlainTable(connection, "Plain"));
    Exec("DROP TRIGGER Tr");
    EXPECT_TRUE(IsPlainTable(connection, "Plain"));
    EXPECT_FALSE(IsPlainTable(connection, "Nowhere"));
    Exec("CREATE VIEW V AS SELECT 1"); // any view: it may name the table
    EXPECT_FALSE(IsPlainTable(connection, "Plain"));
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
