#pragma once
// The database's structure as the engine holds it: listing tables, columns
// and indexes, and the data-definition statements that change them. These
// members throw db::Error; the schema procedures above them catch and log.
//
// Index names: the suite names an index after its column, and two tables may
// both index a column of the same name. Index names in SQLite belong to the
// whole database, so an index is stored as "Table.Column" (a "." cannot be
// part of a table or column name in the suite) and listed under its column's
// name.

#include "db/connection.h"

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace db {

struct ColumnInfo {
    std::string Name;
    std::string Declared; // the declared type as written
    int16_t DataType = adInteger;
    int32_t Size = 0;
    bool NotNull = false;
    std::optional<std::string> Default; // the default's expression as written
};

struct IndexInfo {
    std::string Table;
    std::string Name;         // as the suite knows it: the column's name
    std::string PhysicalName; // as the engine knows it
    std::vector<std::string> Columns;
    bool Unique = false;
    bool EngineOwned = false; // made by the engine for a constraint; cannot be dropped
};

// User tables in name order; the engine's own ("sqlite_...") are left out.
std::vector<std::string> ListTables(Connection& connection);
// True when the table exists (names compare without regard to case).
bool TableExists(Connection& connection, std::string_view table);
std::vector<ColumnInfo> ListColumns(Connection& connection, std::string_view table);
std::vector<IndexInfo> ListIndexes(Connection& connection, std::string_view table);

// The physical name of the index the suite calls `column` on `table`.
std::string IndexPhysicalName(std::string_view table, std::string_view column);

// Creates a table holding one first column.
void CreateTable(Connection& connection, std::string_view table, std::string_view column,
                 int16_t dataType, int32_t size);
void AddColumn(Connection& connection, std::string_view table, std::string_view column,
               int16_t dataType, int32_t size);
void RenameColumn(Connection& connection, std::string_view table, std::string_view from,
                  std::string_view to);
// Drops a column; the indexes on it go first, since the engine refuses to
// drop an indexed column.
void DropColumn(Connection& connection, std::string_view table, std::string_view column);
// An index named after `column`, on that column alone.
void CreateIndex(Connection& connection, std::string_view table, std::string_view column);
void DropIndex(Connection& connection, const IndexInfo& index);

// Re-creates a column with a new type under the same name: renames it to
// `tempName`, adds the new column, runs `copy` (which moves the data across),
// drops `tempName`, and puts back the indexes the column had. Not atomic by
// itself: run it inside a Transaction.
void ReplaceColumn(Connection& connection, std::string_view table, std::string_view column,
                   int16_t dataType, int32_t size, std::string_view tempName,
                   const std::function<void()>& copy);

// The column's definition as a CREATE TABLE lists it: name, declared type,
// NOT NULL and DEFAULT as the table has them.
std::string ColumnDefinition(const ColumnInfo& column);

// True when the table is rows and typed columns only, nothing that names it or
// that its definition holds apart from them: no trigger on it, no view in the
// database, no key, unique, check, collation, reference or generated column,
// no column that hides the rowid, not strict. Such a table can be rebuilt
// from its columns alone.
bool IsPlainTable(Connection& connection, std::string_view table);

// One column of a rebuilt table and the expression over the old table's row
// that fills it.
struct RebuiltColumn {
    ColumnInfo Column;
    std::string Expression;
};

// Replaces a plain table by a new one with `columns`, filled in one pass from
// the old rows, each row keeping its rowid (and so its place in the table's
// order). The old table goes with its indexes. Not atomic by itself: run it
// inside a Transaction.
void RebuildTable(Connection& connection, std::string_view table,
                  const std::vector<RebuiltColumn>& columns);

// Double-quoted identifier for statements this folder writes.
std::string QuoteName(std::string_view name);

} // namespace db
