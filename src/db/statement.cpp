#include "db/statement.h"

namespace db::detail {

void Throw(sqlite3* db, int rc, std::string_view context) {
    std::string what(context);
    if (!what.empty()) {
        what += ": ";
    }
    what += db ? sqlite3_errmsg(db) : sqlite3_errstr(rc);
    throw Error(rc & 0xff, what);
}

Statement::Statement(sqlite3* db, std::string_view sql) : db_(db) {
    if (!db) {
        throw Error(SQLITE_MISUSE, "the connection is not open");
    }
    const char* tail = nullptr;
    int rc = sqlite3_prepare_v2(db, sql.data(), static_cast<int>(sql.size()), &stmt_, &tail);
    if (rc != SQLITE_OK) {
        Throw(db, rc, "");
    }
    if (!stmt_) {
        throw Error(SQLITE_MISUSE, "empty statement");
    }
    const char* end = sql.data() + sql.size();
    for (const char* p = tail; p && p < end; ++p) {
        if (*p != ' ' && *p != '\t' && *p != '\r' && *p != '\n' && *p != ';') {
            Reset();
            throw Error(SQLITE_MISUSE, "characters found after the end of the statement");
        }
    }
}

Statement& Statement::operator=(Statement&& o) noexcept {
    if (this != &o) {
        Reset();
        db_ = o.db_;
        stmt_ = o.stmt_;
        o.stmt_ = nullptr;
    }
    return *this;
}

void Statement::Reset() noexcept {
    if (stmt_) {
        sqlite3_finalize(stmt_);
        stmt_ = nullptr;
    }
}

void Statement::Bind(int index, const Value& value) {
    int rc = SQLITE_OK;
    switch (value.kind()) {
    case Value::Kind::Null:
        rc = sqlite3_bind_null(stmt_, index);
        break;
    case Value::Kind::Integer:
        rc = sqlite3_bind_int64(stmt_, index, value.AsInt());
        break;
    case Value::Kind::Real:
        rc = sqlite3_bind_double(stmt_, index, value.AsDouble());
        break;
    case Value::Kind::Text: {
        std::string text = value.AsText();
        rc = sqlite3_bind_text(stmt_, index, text.data(), static_cast<int>(text.size()),
                               SQLITE_TRANSIENT);
        break;
    }
    }
    if (rc != SQLITE_OK) {
        Throw(db_, rc, "bind");
    }
}

bool Statement::Step() {
    int rc = sqlite3_step(stmt_);
    if (rc == SQLITE_ROW) {
        return true;
    }
    if (rc == SQLITE_DONE) {
        return false;
    }
    // The statement must not keep its lock or its half-done state after an error.
    sqlite3_reset(stmt_);
    Throw(db_, rc, "");
}

void Statement::Rewind() noexcept {
    if (stmt_) {
        sqlite3_reset(stmt_);
    }
}

Value Statement::Column(int index) const {
    return ReadColumn(stmt_, index);
}

Value ReadColumn(sqlite3_stmt* stmt, int index) {
    switch (sqlite3_column_type(stmt, index)) {
    case SQLITE_INTEGER:
        return Value(static_cast<int64_t>(sqlite3_column_int64(stmt, index)));
    case SQLITE_FLOAT:
        return Value(sqlite3_column_double(stmt, index));
    case SQLITE_NULL:
        return Value();
    default: {
        // Text, and blobs read as their bytes.
        const auto* p = static_cast<const char*>(sqlite3_column_blob(stmt, index));
        int n = sqlite3_column_bytes(stmt, index);
        return Value(std::string(p ? p : "", p ? static_cast<size_t>(n) : 0));
    }
    }
}

} // namespace db::detail
