#pragma once
// Prepared statements of this folder: one owner per sqlite3_stmt, finalized on
// every path. Not part of the layer's interface.

#include "db/connection.h"

#include <sqlite3.h>

#include <string>
#include <string_view>

namespace db {

// The handle outlives a Close() only as long as a recordset still holds one
// of its statements: the engine keeps a closed connection with unfinalized
// statements as a "zombie" and frees it when the last one is finalized.
struct Connection::Shared {
    sqlite3* db = nullptr;
    ~Shared() { CloseHandle(); }
    void CloseHandle() noexcept {
        if (!db) {
            return;
        }
        // A statement that has stepped but not finished holds a read lock on
        // the file; reset them all so the file is free the moment we return.
        for (sqlite3_stmt* s = sqlite3_next_stmt(db, nullptr); s; s = sqlite3_next_stmt(db, s)) {
            sqlite3_reset(s);
        }
        if (!sqlite3_get_autocommit(db)) {
            sqlite3_exec(db, "ROLLBACK", nullptr, nullptr, nullptr);
        }
        sqlite3_close_v2(db);
        db = nullptr;
    }
};

namespace detail {

[[noreturn]] void Throw(sqlite3* db, int rc, std::string_view context);

class Statement {
public:
    Statement() = default;
    // Prepares one statement; throws when the engine refuses it or when text
    // other than blanks and ";" follows it (one statement per call, as the
    // suite's statements are).
    Statement(sqlite3* db, std::string_view sql);
    ~Statement() { Reset(); }
    Statement(const Statement&) = delete;
    Statement& operator=(const Statement&) = delete;
    Statement(Statement&& o) noexcept : db_(o.db_), stmt_(o.stmt_) { o.stmt_ = nullptr; }
    Statement& operator=(Statement&& o) noexcept;

    sqlite3_stmt* get() const noexcept { return stmt_; }
    explicit operator bool() const noexcept { return stmt_ != nullptr; }
    void Reset() noexcept;

    void Bind(int index, const Value& value);
    // Steps once: true on a row, false when done; throws on an error.
    bool Step();
    void Rewind() noexcept; // back to before the first row, bindings kept
    Value Column(int index) const;

private:
    sqlite3* db_ = nullptr;
    sqlite3_stmt* stmt_ = nullptr;
};

// The value of a column of the current row as a Value.
Value ReadColumn(sqlite3_stmt* stmt, int index);

} // namespace detail
} // namespace db
