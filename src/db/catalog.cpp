#include "db/catalog.h"

#include "db/statement.h"
#include "util/strings.h"

#include <algorithm>
#include <cctype>

namespace db {

namespace {

sqlite3* Handle(Connection& connection) {
    if (!connection.IsOpen()) {
        throw Error(SQLITE_MISUSE, "the connection is not open");
    }
    return connection.handle();
}

void Run(Connection& connection, const std::string& sql) {
    detail::Statement st(Handle(connection), sql);
    while (st.Step()) {
    }
}

// Creates an index as it was listed: used to put back the indexes of a
// column that is re-created under the same name.
void CreateIndexAs(Connection& connection, const IndexInfo& index) {
    std::string sql = index.Unique ? "CREATE UNIQUE INDEX " : "CREATE INDEX ";
    sql += QuoteName(index.PhysicalName) + " ON " + QuoteName(index.Table) + " (";
    for (size_t i = 0; i < index.Columns.size(); ++i) {
        sql += (i ? ", " : "") + QuoteName(index.Columns[i]);
    }
    sql += ")";
    Run(connection, sql);
}

} // namespace

std::string QuoteName(std::string_view name) {
    std::string out = "\"";
    for (char c : name) {
        out += c;
        if (c == '"') {
            out += '"';
        }
    }
    out += '"';
    return out;
}

std::string IndexPhysicalName(std::string_view table, std::string_view column) {
    return std::string(table) + "." + std::string(column);
}

std::vector<std::string> ListTables(Connection& connection) {
    detail::Statement st(Handle(connection),
                         "SELECT name FROM sqlite_master WHERE type = 'table' AND name NOT LIKE "
                         "'sqlite\\_%' ESCAPE '\\' ORDER BY name");
    std::vector<std::string> tables;
    while (st.Step()) {
        tables.push_back(st.Column(0).AsText());
    }
    return tables;
}

bool TableExists(Connection& connection, std::string_view table) {
    detail::Statement st(Handle(connection),
                         "SELECT 1 FROM sqlite_master WHERE type = 'table' AND name = ?1 "
                         "COLLATE NOCASE");
    st.Bind(1, Value(table));
    return st.Step();
}

std::vector<ColumnInfo> ListColumns(Connection& connection, std::string_view table) {
    detail::Statement st(Handle(connection),
                         "SELECT name, type, \"notnull\", dflt_value FROM pragma_table_info(?1) "
                         "ORDER BY cid");
    st.Bind(1, Value(table));
    std::vector<ColumnInfo> columns;
    while (st.Step()) {
        ColumnInfo c;
        c.Name = st.Column(0).AsText();
        c.Declared = st.Column(1).AsText();
        DeclaredType t = TypeFromDeclared(c.Declared);
        c.DataType = t.DataType;
        c.Size = t.Size;
        c.NotNull = st.Column(2).AsInt() != 0;
        const Value dflt = st.Column(3);
        if (!dflt.IsNull()) {
            c.Default = dflt.AsText();
        }
        columns.push_back(std::move(c));
    }
    return columns;
}

std::vector<IndexInfo> ListIndexes(Connection& connection, std::string_view table) {
    sqlite3* db = Handle(connection);
    // The table's name as stored, so that "Table." prefixes compare exactly.
    std::string stored(table);
    {
        detail::Statement st(db, "SELECT name FROM sqlite_master WHERE type = 'table' AND "
                                 "name = ?1 COLLATE NOCASE");
        st.Bind(1, Value(table));
        if (st.Step()) {
            stored = st.Column(0).AsText();
        }
    }
    detail::Statement list(db, "SELECT name, \"unique\", origin FROM pragma_index_list(?1) "
                               "ORDER BY name");
    list.Bind(1, Value(stored));
    std::vector<IndexInfo> indexes;
    while (list.Step()) {
        IndexInfo ix;
        ix.Table = stored;
        ix.PhysicalName = list.Column(0).AsText();
        ix.Unique = list.Column(1).AsInt() != 0;
        ix.EngineOwned = list.Column(2).AsText() != "c";
        const std::string prefix = stored + ".";
        if (ix.PhysicalName.size() > prefix.size() &&
            util::EqualsNoCase(std::string_view(ix.PhysicalName).substr(0, prefix.size()),
                               prefix)) {
            ix.Name = ix.PhysicalName.substr(prefix.size());
        } else {
            ix.Name = ix.PhysicalName;
        }
        indexes.push_back(std::move(ix));
    }
    for (auto& ix : indexes) {
        detail::Statement info(db, "SELECT name FROM pragma_index_info(?1) ORDER BY seqno");
        info.Bind(1, Value(ix.PhysicalName));
        while (info.Step()) {
            ix.Columns.push_back(info.Column(0).AsText());
        }
    }
    return indexes;
}

void CreateTable(Connection& connection, std::string_view table, std::string_view column,
                 int16_t dataType, int32_t size) {
    Run(connection, "CREATE TABLE " + QuoteName(table) + " (" + QuoteName(column) + " " +
                        DeclaredFromType(dataType, size) + ")");
}

void AddColumn(Connection& connection, std::string_view table, std::string_view column,
               int16_t dataType, int32_t size) {
    Run(connection, "ALTER TABLE " + QuoteName(table) + " ADD COLUMN " + QuoteName(column) + " " +
                        DeclaredFromType(dataType, size));
}

void RenameColumn(Connection& connection, std::string_view table, std::string_view from,
                  std::string_view to) {
    Run(connection, "ALTER TABLE " + QuoteName(table) + " RENAME COLUMN " + QuoteName(from) +
                        " TO " + QuoteName(to));
}

void DropColumn(Connection& connection, std::string_view table, std::string_view column) {
    for (const auto& ix : ListIndexes(connection, table)) {
        bool onColumn =
            std::any_of(ix.Columns.begin(), ix.Columns.end(),
                        [&](const std::string& c) { return util::EqualsNoCase(c, column); });
        if (onColumn && !ix.EngineOwned) {
            DropIndex(connection, ix);
        }
    }
    Run(connection, "ALTER TABLE " + QuoteName(table) + " DROP COLUMN " + QuoteName(column));
}

void CreateIndex(Connection& connection, std::string_view table, std::string_view column) {
    Run(connection, "CREATE INDEX IF NOT EXISTS " + QuoteName(IndexPhysicalName(table, column)) +
                        " ON " + QuoteName(table) + " (" + QuoteName(column) + ")");
}

void DropIndex(Connection& connection, const IndexInfo& index) {
    Run(connection, "DROP INDEX " + QuoteName(index.PhysicalName));
}

std::string ColumnDefinition(const ColumnInfo& column) {
    std::string def = QuoteName(column.Name);
    if (!column.Declared.empty()) {
        def += " " + column.Declared;
    }
    if (column.NotNull) {
        def += " NOT NULL";
    }
    if (column.Default) {
        def += " DEFAULT " + *column.Default;
    }
    return def;
}

bool IsPlainTable(Connection& connection, std::string_view table) {
    sqlite3* db = Handle(connection);
    auto count = [&](const char* sql) {
        detail::Statement st(db, sql);
        st.Bind(1, Value(table));
        return st.Step() ? st.Column(0).AsInt() : 0;
    };
    // A view may name the table; replacing it under the view would break it.
    if (count("SELECT count(*) FROM sqlite_master WHERE type = 'view' OR (type = 'trigger' AND "
              "tbl_name = ?1 COLLATE NOCASE)") > 0 ||
        count("SELECT count(*) FROM pragma_table_list(?1) WHERE wr OR strict") > 0 ||
        count("SELECT count(*) FROM pragma_index_list(?1) WHERE origin <> 'c'") > 0 ||
        count("SELECT count(*) FROM pragma_foreign_key_list(?1)") > 0 ||
        count("SELECT count(*) FROM pragma_table_xinfo(?1) WHERE hidden <> 0 OR pk <> 0 OR "
              "name = 'rowid' COLLATE NOCASE") > 0) {
        return false;
    }
    // Checks and collations live only in the definition's text.
    detail::Statement st(db, "SELECT sql FROM sqlite_master WHERE type = 'table' AND "
                             "name = ?1 COLLATE NOCASE");
    st.Bind(1, Value(table));
    if (!st.Step()) {
        return false;
    }
    const std::string sql = st.Column(0).AsText();
    for (size_t i = 0; i < sql.size();) {
        const char c = sql[i];
        if (c == '\'' || c == '"' || c == '[' || c == '`') {
            const size_t end = sql.find(c == '[' ? ']' : c, i + 1);
            i = end == std::string::npos ? sql.size() : end + 1;
            continue;
        }
        if (!std::isalpha(static_cast<unsigned char>(c))) {
            ++i;
            continue;
        }
        size_t end = i;
        while (end < sql.size() &&
               (std::isalnum(static_cast<unsigned char>(sql[end])) || sql[end] == '_')) {
            ++end;
        }
        const std::string_view word = std::string_view(sql).substr(i, end - i);
        for (std::string_view kept : {"CHECK", "COLLATE", "CONSTRAINT", "REFERENCES"}) {
            if (util::EqualsNoCase(word, kept)) {
                return false;
            }
        }
        i = end;
    }
    return true;
}

void RebuildTable(Connection& connection, std::string_view table,
                  const std::vector<RebuiltColumn>& columns) {
    // A "." is never part of a suite table's name, so this one is free.
    const std::string rebuilt = QuoteName(std::string(table) + ".rebuild");
    std::string create = "CREATE TABLE " + rebuilt + " (";
    std::string names = "rowid";
    std::string values = "rowid";
    for (size_t i = 0; i < columns.size(); ++i) {
        create += (i ? ", " : "") + ColumnDefinition(columns[i].Column);
        names += ", " + QuoteName(columns[i].Column.Name);
        values += ", " + columns[i].Expression;
    }
    Run(connection, create + ")");
    Run(connection, "INSERT INTO " + rebuilt + " (" + names + ") SELECT " + values + " FROM " +
                        QuoteName(table));
    Run(connection, "DROP TABLE " + QuoteName(table));
    Run(connection, "ALTER TABLE " + rebuilt + " RENAME TO " + QuoteName(table));
}

void ReplaceColumn(Connection& connection, std::string_view table, std::string_view column,
                   int16_t dataType, int32_t size, std::string_view tempName,
                   const std::function<void()>& copy) {
    std::vector<IndexInfo> kept;
    for (const auto& ix : ListIndexes(connection, table)) {
        bool onColumn =
            std::any_of(ix.Columns.begin(), ix.Columns.end(),
                        [&](const std::string& c) { return util::EqualsNoCase(c, column); });
        if (onColumn && !ix.EngineOwned) {
            kept.push_back(ix);
        }
    }
    RenameColumn(connection, table, column, tempName);
    AddColumn(connection, table, column, dataType, size);
    copy();
    DropColumn(connection, table, tempName);
    for (auto ix : kept) {
        for (auto& c : ix.Columns) {
            if (util::EqualsNoCase(c, column)) {
                c = std::string(column);
            }
        }
        CreateIndexAs(connection, ix);
    }
}

} // namespace db
