// Statements composed into one pass per table give what they give run one by
// one: the same rows, values and storage classes, the same failures with the
// same messages, whatever the columns convert or the table has attached.

#include "support/temp_dir.h"
#include "upgrade/deferred_updates.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

// Each table's columns and every row with its rowid, each value quoted as
// the engine gives it (so 10, 10.0 and '10' differ).
std::string Dump(db::Connection& c) {
    std::string out;
    for (const std::string& table : db::ListTables(c)) {
        std::string row = "rowid";
        for (const db::ColumnInfo& col : db::ListColumns(c, table)) {
            out += db::ColumnDefinition(col) + "; ";
            row += " || '|' || quote(" + db::QuoteName(col.Name) + ")";
        }
        out +=
            "\n" + c.Scalar("SELECT group_concat(" + row + ", '\n') FROM " + table).AsText() + "\n";
    }
    return out;
}

void Build(db::Connection& c, const std::string& file, const std::vector<const char*>& extra) {
    std::string error;
    ASSERT_TRUE(db::CreateDatabaseFile(file, error)) << error;
    c.Open(file);
    c.Execute("CREATE TABLE T (a INTEGER, t VARCHAR(10), n CURRENCY, b BOOLEAN NOT NULL DEFAULT 0, "
              "d DATETIME, r DOUBLE)");
    c.Execute("INSERT INTO T VALUES (1, 'Weekly', 10, 1, '1/2/2020', 1.5), "
              "(2, NULL, NULL, 0, NULL, NULL), (NULL, 'Monthly', 'abc', 1, '3/4/2021', 2), "
              "(4, '12', 7.5, 0, NULL, 3)");
    c.Execute("CREATE TABLE U (v INTEGER)");
    c.Execute("INSERT INTO U VALUES (0)");
    for (const char* sql : extra)
        c.Execute(sql);
}

} // namespace

TEST(DeferredUpdates, ComposedStatementsEndAsTheStatementsRunOneByOne) {
    const std::vector<const char*> lease = {
        "UPDATE T SET n = 0 WHERE b = True",
        "UPDATE T SET t = 'Week(s)' WHERE t = 'Weekly'",
        "UPDATE T SET t = 'Month(s)' WHERE t = 'Monthly'",
        "UPDATE T SET a = n + a * 2 WHERE NOT b = False",
        "UPDATE T SET n = a - n",
        "UPDATE T SET d = NULL WHERE a IS NOT NULL",
    };
    struct Case {
        const char* name;
        std::vector<const char*> extra;
        std::vector<const char*> statements;
    };
    const Case cases[] = {
        {"reads of earlier results, in values and conditions", {}, lease},
        // Each column converts what it stores: 5 becomes '5' in a text
        // column, '12' becomes 12 in a numeric one, and comparisons with a
        // column convert the other side. Between them, statements the
        // engine refuses and others of no composable form.
        {"what the columns convert",
         {},
         {"UPDATE T SET t = 5", "UPDATE T SET b = NULL", "UPDATE T SET a = 7 WHERE t = '5'",
          "UPDATE Missing SET a = 1", "UPDATE T SET n = a + 0", "UPDATE T SET a = 'x' WHERE",
          "UPDATE T SET d = 2 WHERE n = '7'", "INSERT INTO U SELECT r FROM T",
          "UPDATE T SET b = 1 WHERE d = t", "UPDATE T SET n = abs(-a)", "UPDATE T SET b = a > 1"}},
        {"a table with a trigger",
         {"CREATE TRIGGER Counted AFTER UPDATE ON T BEGIN UPDATE U SET v = v + 1; END"},
         lease},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        testsupport::TempDir dir;
        db::Connection one, folded;
        Build(one, (dir / "one.mdb").string(), c.extra);
        Build(folded, (dir / "folded.mdb").string(), c.extra);

        upgrade::DeferredUpdates updates(folded);
        for (const char* sql : c.statements) {
            SCOPED_TRACE(sql);
            std::string refused;
            try {
                one.Execute(sql);
            } catch (const std::exception& e) {
                refused = e.what();
            }
            EXPECT_EQ(updates.Run(sql), refused);
        }
        // The end of the run: the template keeps every column of T but r.
        one.Execute("ALTER TABLE T DROP COLUMN r");
        std::vector<db::Field> wanted;
        for (const char* column : {"a", "t", "n", "b", "d"})
            wanted.push_back({"T", column});
        wanted.push_back({"U", "v"});
        startup::RunSettings quiet;
        util::UiServices ui;
        updates.Finish(quiet, wanted, ui);
        EXPECT_EQ(Dump(folded), Dump(one));
    }
}
