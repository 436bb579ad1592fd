// The reader of the one statement form that the upgrade composes into a
// single pass per table. A statement it misreads would change the user's
// rows; one it wrongly refuses would only run by itself, so both directions
// are held here.

#include "upgrade/update_statement.h"

#include <gtest/gtest.h>

namespace {

std::string Read(const char* sql) {
    const auto s = upgrade::ParseUpdate(sql);
    if (!s) {
        return "-";
    }
    return s->table + "." + s->column + " = " + upgrade::ToSql(*s->value) +
           (s->condition ? " WHERE " + upgrade::ToSql(*s->condition) : "");
}

} // namespace

TEST(UpdateStatement, ReadsThePlainFormAndNothingElse) {
    const std::pair<const char*, const char*> cases[] = {
        {"UPDATE Lease SET Pets = 0", "Lease.Pets = 0"},
        {"update [Rent Log] set \"Late Fee\" = 12.5 where IdLease >= 10",
         "Rent Log.Late Fee = 12.5 WHERE (\"IdLease\" >= 10)"},
        {"UPDATE T SET a = b + 1 WHERE NOT c IS NULL AND (d = 'x' OR e <> -2)",
         "T.a = (\"b\" + 1) WHERE ((NOT (\"c\" IS NULL)) AND ((\"d\" = 'x') OR (\"e\" <> (- 2))))"},
        {"UPDATE T SET a = NULL WHERE b IS NOT NULL", "T.a = NULL WHERE (\"b\" IS NOT NULL)"},
        {"UPDATE T SET a = TRUE", "T.a = TRUE"},
        {"UPDATE T SET a = Format(b)", "-"},  // a function
        {"UPDATE T SET a = b / 2", "-"},      // division
        {"UPDATE T SET a = (SELECT 1)", "-"}, // a subquery
        {"UPDATE T SET T.a = 1", "-"},        // a qualified name
        {"UPDATE T SET a = 1, b = 2", "-"},   // two columns
        {"UPDATE T SET a = (1", "-"},         // unbalanced
        {"UPDATE 1 SET a = 1", "-"},          // no table name
        {"UPDATE T SET = 1", "-"},            // no column name
        {"DELETE FROM T", "-"},
        {"UPDATE T SET a = 'it''s' WHERE b = 1;", "T.a = 'it''s' WHERE (\"b\" = 1)"}};
    for (const auto& [sql, read] : cases) {
        EXPECT_EQ(Read(sql), read) << sql;
    }
}
