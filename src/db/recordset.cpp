#include "db/catalog.h"
#include "db/connection.h"
#include "db/statement.h"
#include "util/strings.h"

#include <sqlite3.h>

#include <algorithm>
#include <cctype>
#include <map>

namespace db {

namespace {

bool IsWordChar(char c) {
    return std::isalnum(static_cast<unsigned char>(c)) || c == '_';
}

// Where the select list of a plain "SELECT ..." starts, or npos when the
// statement is something else (DISTINCT would change meaning with a rowid in
// the list; WITH, VALUES and parentheses are left as they are).
size_t SelectListStart(std::string_view sql) {
    size_t i = 0;
    while (i < sql.size() && std::isspace(static_cast<unsigned char>(sql[i]))) {
        ++i;
    }
    if (sql.size() - i < 7 || !util::EqualsNoCase(sql.substr(i, 6), "SELECT") ||
        IsWordChar(sql[i + 6])) {
        return std::string_view::npos;
    }
    size_t start = i + 6;
    size_t j = start;
    while (j < sql.size() && std::isspace(static_cast<unsigned char>(sql[j]))) {
        ++j;
    }
    if (sql.size() - j >= 8 && util::EqualsNoCase(sql.substr(j, 8), "DISTINCT") &&
        (j + 8 == sql.size() || !IsWordChar(sql[j + 8]))) {
        return std::string_view::npos;
    }
    return start;
}

// True when the rows of the statement stand for groups of table rows: a
// GROUP BY or HAVING clause, or an aggregate function called in the select
// list. Only the outermost level counts (a subquery in a condition does not
// group the rows), and literals and quoted names are passed over.
bool GroupsRows(std::string_view sql) {
    static constexpr std::string_view kAggregates[] = {"COUNT", "SUM",   "AVG",         "MIN",
                                                       "MAX",   "TOTAL", "GROUP_CONCAT"};
    int depth = 0;
    std::string_view previous;
    size_t i = 0;
    while (i < sql.size()) {
        char c = sql[i];
        if (c == '\'' || c == '"' || c == '[' || c == '`') {
            char close = c == '[' ? ']' : c;
            size_t end = sql.find(close, i + 1);
            i = end == std::string_view::npos ? sql.size() : end + 1;
            previous = {};
            continue;
        }
        if (c == '(') {
            ++depth;
        } else if (c == ')') {
            --depth;
        }
        if (!IsWordChar(c)) {
            ++i;
            continue;
        }
        size_t start = i;
        while (i < sql.size() && IsWordChar(sql[i])) {
            ++i;
        }
        std::string_view word = sql.substr(start, i - start);
        if (depth == 0) {
            if (util::EqualsNoCase(word, "HAVING") ||
                (util::EqualsNoCase(word, "BY") && util::EqualsNoCase(previous, "GROUP"))) {
                return true;
            }
            size_t next = i;
            while (next < sql.size() && std::isspace(static_cast<unsigned char>(sql[next]))) {
                ++next;
            }
            if (next < sql.size() && sql[next] == '(' &&
                std::any_of(std::begin(kAggregates), std::end(kAggregates),
                            [&](std::string_view a) { return util::EqualsNoCase(word, a); })) {
                return true;
            }
        }
        previous = word;
    }
    return false;
}

// The statement without the blanks and ";" that may end it, so that it can
// stand inside the count's subquery.
std::string_view WithoutEnd(std::string_view sql) {
    while (!sql.empty() &&
           (sql.back() == ';' || std::isspace(static_cast<unsigned char>(sql.back())))) {
        sql.remove_suffix(1);
    }
    return sql;
}

// The name under which the row's key travels in the select list.
constexpr const char* kRowidColumn = "\"ostrand$rowid\"";

} // namespace

struct Recordset::Statement {
    detail::Statement read;
    // Write statements, prepared once per set of changed columns: a scan that
    // repairs rows one by one reuses them.
    std::map<std::string, detail::Statement> updates;
    std::map<std::string, detail::Statement> inserts;
    detail::Statement reload;
    bool streamDone = false; // the read statement returned its last row
    // The row that was current when AddNew began, restored on CancelUpdate.
    std::vector<Value> savedRow;
    int64_t savedRowid = 0;
    bool savedEof = true;
    std::vector<Value> originalRow; // before the edit, restored on CancelUpdate
};

Recordset::Recordset() = default;
Recordset::~Recordset() {
    Close();
}
Recordset::Recordset(Recordset&&) noexcept = default;
Recordset& Recordset::operator=(Recordset&& o) noexcept {
    if (this != &o) {
        Close();
        shared_ = std::move(o.shared_);
        stmt_ = std::move(o.stmt_);
        sql_ = std::move(o.sql_);
        countSql_ = std::move(o.countSql_);
        table_ = std::move(o.table_);
        hasRowid_ = o.hasRowid_;
        eof_ = o.eof_;
        count_ = o.count_;
        fields_ = std::move(o.fields_);
        row_ = std::move(o.row_);
        changed_ = std::move(o.changed_);
        rowid_ = o.rowid_;
        mode_ = o.mode_;
    }
    return *this;
}

bool Recordset::IsOpen() const noexcept {
    return stmt_ && shared_ && shared_->db;
}

bool Recordset::IsUpdatable() const noexcept {
    return IsOpen() && hasRowid_;
}

bool Recordset::IsEOF() const noexcept {
    return !IsOpen() || eof_;
}

void Recordset::Close() noexcept {
    // Statements go before the handle they belong to.
    stmt_.reset();
    shared_.reset();
    sql_.clear();
    countSql_.clear();
    table_.clear();
    hasRowid_ = false;
    eof_ = true;
    count_ = -1;
    fields_.clear();
    row_.clear();
    changed_.clear();
    rowid_ = 0;
    mode_ = Mode::None;
}

void Recordset::RequireOpen() const {
    if (!IsOpen()) {
        throw Error(SQLITE_MISUSE, "the recordset is not open");
    }
}

void Recordset::RequireRow() const {
    RequireOpen();
    if (eof_ && mode_ != Mode::Add) {
        throw Error(SQLITE_MISUSE, "no current record (end of recordset)");
    }
}

void Recordset::Open(Connection& connection, std::string_view sql) {
    Close();
    std::string text(WithoutEnd(TranslateJet(sql)));
    countSql_ = "SELECT count(*) FROM (" + text + ")";
    size_t listStart = SelectListStart(text);
    if (listStart != std::string_view::npos && !GroupsRows(text)) {
        std::string withRowid = text;
        withRowid.insert(listStart, std::string(" rowid AS ") + kRowidColumn + ",");
        try {
            Prepare(connection, withRowid, true);
            return;
        } catch (const Error&) {
            // A join or a view has no single rowid: read-only is all we can offer.
            Close();
            countSql_ = "SELECT count(*) FROM (" + text + ")";
        }
    }
    Prepare(connection, text, false);
}

void Recordset::OpenTable(Connection& connection, std::string_view table) {
    Close();
    if (!TableExists(connection, table)) {
        throw Error(SQLITE_ERROR, "no such table: " + std::string(table));
    }
    std::string name = QuoteName(table);
    countSql_ = "SELECT count(*) FROM " + name;
    Prepare(connection,
            std::string("SELECT rowid AS ") + kRowidColumn + ", * FROM " + name + " ORDER BY rowid",
            true);
}

void Recordset::Prepare(Connection& connection, const std::string& sql, bool withRowid) {
    if (!connection.IsOpen()) {
        throw Error(SQLITE_MISUSE, "the connection is not open");
    }
    auto stmt = std::make_unique<Statement>();
    stmt->read = detail::Statement(connection.handle(), sql);
    sqlite3_stmt* s = stmt->read.get();
    const int columns = sqlite3_column_count(s);
    if (columns == 0) {
        throw Error(SQLITE_MISUSE, "the statement returns no records");
    }
    const int first = withRowid ? 1 : 0;

    std::string table;
    bool single = withRowid;
    if (withRowid) {
        const char* t = sqlite3_column_table_name(s, 0);
        const char* dbName = sqlite3_column_database_name(s, 0);
        if (!t || !dbName || std::string_view(dbName) != "main") {
            single = false;
        } else {
            table = t;
        }
    }
    std::vector<FieldInfo> fields;
    bool anyBase = false;
    for (int i = first; i < columns; ++i) {
        FieldInfo f;
        f.Name = sqlite3_column_name(s, i);
        const char* decl = sqlite3_column_decltype(s, i);
        DeclaredType dt = TypeFromDeclared(decl ? decl : "");
        f.Type = decl ? dt.DataType : adEmpty; // settled from the first row below
        f.DefinedSize = dt.Size;
        const char* t = sqlite3_column_table_name(s, i);
        const char* origin = sqlite3_column_origin_name(s, i);
        if (single && t && origin) {
            if (std::string_view(t) == table) {
                f.BaseColumn = origin;
                anyBase = true;
            } else {
                single = false; // columns of a second table: not one row of one table
            }
        }
        fields.push_back(std::move(f));
    }
    if (!single || !anyBase) {
        if (withRowid) {
            // The rowid came from somewhere that is not one base table.
            throw Error(SQLITE_ERROR, "not a single-table query");
        }
        for (auto& f : fields) {
            f.BaseColumn.clear();
        }
        table.clear();
    }

    shared_ = connection.shared_;
    stmt_ = std::move(stmt);
    sql_ = sql;
    table_ = table;
    hasRowid_ = withRowid;
    fields_ = std::move(fields);
    row_.assign(fields_.size(), Value());
    changed_.assign(fields_.size(), false);
    Fetch();
    // Expressions have no declared type; the first row tells what they hold.
    for (size_t i = 0; i < fields_.size(); ++i) {
        if (fields_[i].Type != adEmpty) {
            continue;
        }
        switch (row_[i].kind()) {
        case Value::Kind::Integer:
            fields_[i].Type = adInteger;
            break;
        case Value::Kind::Real:
            fields_[i].Type = adDouble;
            break;
        case Value::Kind::Text:
            fields_[i].Type = adVarWChar;
            break;
        case Value::Kind::Null:
            fields_[i].Type = adVariant;
            break;
        }
    }
}

void Recordset::Fetch() {
    if (stmt_->streamDone) {
        eof_ = true;
        return;
    }
    bool row = false;
    try {
        row = stmt_->read.Step();
    } catch (...) {
        eof_ = true;
        throw;
    }
    if (!row) {
        stmt_->streamDone = true;
        eof_ = true;
        rowid_ = 0;
        std::fill(row_.begin(), row_.end(), Value());
        return;
    }
    sqlite3_stmt* s = stmt_->read.get();
    const int first = hasRowid_ ? 1 : 0;
    rowid_ = hasRowid_ ? sqlite3_column_int64(s, 0) : 0;
    for (size_t i = 0; i < row_.size(); ++i) {
        row_[i] = detail::ReadColumn(s, static_cast<int>(i) + first);
    }
    eof_ = false;
}

int32_t Recordset::RecordCount() {
    RequireOpen();
    if (count_ < 0) {
        detail::Statement count(shared_->db, countSql_);
        count.Step();
        count_ = static_cast<int32_t>(count.Column(0).AsInt());
    }
    return count_;
}

void Recordset::SaveIfPending() {
    if (mode_ != Mode::None) {
        Update();
    }
}

void Recordset::MoveNext() {
    RequireOpen();
    SaveIfPending();
    if (eof_) {
        throw Error(SQLITE_MISUSE, "no current record (end of recordset)");
    }
    Fetch();
}

void Recordset::MoveFirst() {
    RequireOpen();
    SaveIfPending();
    stmt_->read.Rewind();
    stmt_->streamDone = false;
    Fetch();
}

int Recordset::FieldCount() const noexcept {
    return static_cast<int>(fields_.size());
}

const FieldInfo& Recordset::FieldAt(int index) const {
    if (index < 0 || index >= FieldCount()) {
        throw Error(SQLITE_RANGE, "field index out of range: " + std::to_string(index));
    }
    return fields_[static_cast<size_t>(index)];
}

int Recordset::FieldIndex(std::string_view name) const noexcept {
    for (size_t i = 0; i < fields_.size(); ++i) {
        if (util::EqualsNoCase(fields_[i].Name, name)) {
            return static_cast<int>(i);
        }
    }
    return -1;
}

std::vector<std::string> Recordset::FieldNames() const {
    std::vector<std::string> names;
    names.reserve(fields_.size());
    for (const auto& f : fields_) {
        names.push_back(f.Name);
    }
    return names;
}

const Value& Recordset::Field(int index) const {
    FieldAt(index);
    RequireRow();
    return row_[static_cast<size_t>(index)];
}

const Value& Recordset::Field(std::string_view name) const {
    int index = FieldIndex(name);
    if (index < 0) {
        throw Error(SQLITE_ERROR, "item not found in this recordset: " + std::string(name));
    }
    return Field(index);
}

void Recordset::SetField(int index, Value value) {
    const FieldInfo& f = FieldAt(index);
    RequireRow();
    if (!hasRowid_ || f.BaseColumn.empty()) {
        throw Error(SQLITE_READONLY, "field cannot be updated: " + f.Name);
    }
    if (mode_ == Mode::None) {
        Edit();
    }
    // The engine keeps Booleans as 0 and 1, whatever the caller's True is.
    if (f.Type == adBoolean && !value.IsNull()) {
        value = Value(value.AsBool());
    }
    row_[static_cast<size_t>(index)] = std::move(value);
    changed_[static_cast<size_t>(index)] = true;
}

void Recordset::SetField(std::string_view name, Value value) {
    int index = FieldIndex(name);
    if (index < 0) {
        throw Error(SQLITE_ERROR, "item not found in this recordset: " + std::string(name));
    }
    SetField(index, std::move(value));
}

void Recordset::Edit() {
    RequireRow();
    if (!hasRowid_ || table_.empty()) {
        throw Error(SQLITE_READONLY, "the recordset is read-only");
    }
    if (mode_ != Mode::None) {
        return;
    }
    stmt_->originalRow = row_;
    std::fill(changed_.begin(), changed_.end(), false);
    mode_ = Mode::Edit;
}

void Recordset::AddNew() {
    RequireOpen();
    if (!hasRowid_ || table_.empty()) {
        throw Error(SQLITE_READONLY, "the recordset is read-only");
    }
    SaveIfPending();
    stmt_->savedRow = row_;
    stmt_->savedRowid = rowid_;
    stmt_->savedEof = eof_;
    std::fill(row_.begin(), row_.end(), Value());
    std::fill(changed_.begin(), changed_.end(), false);
    mode_ = Mode::Add;
}

void Recordset::CancelUpdate() {
    if (!IsOpen()) {
        return;
    }
    if (mode_ == Mode::Edit) {
        row_ = stmt_->originalRow;
    } else if (mode_ == Mode::Add) {
        row_ = stmt_->savedRow;
        rowid_ = stmt_->savedRowid;
        eof_ = stmt_->savedEof;
    }
    std::fill(changed_.begin(), changed_.end(), false);
    mode_ = Mode::None;
}

void Recordset::Update() {
    RequireOpen();
    if (mode_ == Mode::None) {
        return;
    }
    std::string key;
    std::vector<size_t> columns;
    for (size_t i = 0; i < changed_.size(); ++i) {
        key += changed_[i] ? '1' : '0';
        if (changed_[i]) {
            columns.push_back(i);
        }
    }
    sqlite3* db = shared_->db;
    if (mode_ == Mode::Edit) {
        if (!columns.empty()) {
            auto it = stmt_->updates.find(key);
            if (it == stmt_->updates.end()) {
                std::string sql = "UPDATE " + QuoteName(table_) + " SET ";
                for (size_t n = 0; n < columns.size(); ++n) {
                    sql += (n ? ", " : "") + QuoteName(fields_[columns[n]].BaseColumn) + " = ?" +
                           std::to_string(n + 1);
                }
                sql += " WHERE rowid = ?" + std::to_string(columns.size() + 1);
                it = stmt_->updates.emplace(key, detail::Statement(db, sql)).first;
            }
            detail::Statement& st = it->second;
            st.Rewind();
            for (size_t n = 0; n < columns.size(); ++n) {
                st.Bind(static_cast<int>(n + 1), row_[columns[n]]);
            }
            st.Bind(static_cast<int>(columns.size() + 1), Value(rowid_));
            st.Step();
            st.Rewind();
            if (sqlite3_changes(db) != 1) {
                // Another writer deleted the row since we read it.
                throw Error(SQLITE_NOTFOUND, "the record to update no longer exists");
            }
        }
        mode_ = Mode::None;
        std::fill(changed_.begin(), changed_.end(), false);
        return;
    }

    // A new row: the columns given, the table's defaults for the others.
    auto it = stmt_->inserts.find(key);
    if (it == stmt_->inserts.end()) {
        std::string sql = "INSERT INTO " + QuoteName(table_);
        if (columns.empty()) {
            sql += " DEFAULT VALUES";
        } else {
            std::string names;
            std::string params;
            for (size_t n = 0; n < columns.size(); ++n) {
                names += (n ? ", " : "") + QuoteName(fields_[columns[n]].BaseColumn);
                params += (n ? ", ?" : "?") + std::to_string(n + 1);
            }
            sql += " (" + names + ") VALUES (" + params + ")";
        }
        it = stmt_->inserts.emplace(key, detail::Statement(db, sql)).first;
    }
    detail::Statement& st = it->second;
    st.Rewind();
    for (size_t n = 0; n < columns.size(); ++n) {
        st.Bind(static_cast<int>(n + 1), row_[columns[n]]);
    }
    st.Step();
    st.Rewind();
    const int64_t newRowid = sqlite3_last_insert_rowid(db);

    // Read the row back so that defaults (a Boolean's 0) show as stored.
    if (!stmt_->reload) {
        std::string sql = "SELECT ";
        for (size_t i = 0; i < fields_.size(); ++i) {
            sql += i ? ", " : "";
            sql += fields_[i].BaseColumn.empty() ? std::string("NULL")
                                                 : QuoteName(fields_[i].BaseColumn);
        }
        sql += " FROM " + QuoteName(table_) + " WHERE rowid = ?1";
        stmt_->reload = detail::Statement(db, sql);
    }
    detail::Statement& rl = stmt_->reload;
    rl.Rewind();
    rl.Bind(1, Value(newRowid));
    if (rl.Step()) {
        for (size_t i = 0; i < row_.size(); ++i) {
            row_[i] = rl.Column(static_cast<int>(i));
        }
    }
    rl.Rewind();
    rowid_ = newRowid;
    eof_ = false;
    count_ = -1;
    mode_ = Mode::None;
    std::fill(changed_.begin(), changed_.end(), false);
}

} // namespace db
