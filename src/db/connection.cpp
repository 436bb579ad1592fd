#include "db/connection.h"

#include "db/statement.h"

#include <sqlite3.h>

#include <cctype>

namespace db {

namespace {

// The suite's other programs may hold the file briefly; wait for them
// rather than fail at once.
constexpr int kBusyTimeoutMs = 5000;

// Identifies a database made by this system in the file header.
constexpr int kApplicationId = 0x4B455452; // "KETR"

std::string ScalarOn(sqlite3* db, const char* sql) {
    detail::Statement st(db, sql);
    return st.Step() ? st.Column(0).AsText() : std::string();
}

std::string ToUpper(std::string s) {
    for (char& c : s) {
        c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    }
    return s;
}

} // namespace

Connection::Connection() = default;
Connection::~Connection() {
    Close();
}
Connection::Connection(Connection&&) noexcept = default;
Connection& Connection::operator=(Connection&& o) noexcept {
    if (this != &o) {
        Close();
        shared_ = std::move(o.shared_);
        file_ = std::move(o.file_);
    }
    return *this;
}

bool Connection::IsOpen() const noexcept {
    return shared_ && shared_->db;
}

sqlite3* Connection::handle() const {
    return shared_ ? shared_->db : nullptr;
}

void Connection::Open(const std::string& file) {
    if (IsOpen()) {
        throw Error(SQLITE_MISUSE, "the connection is already open");
    }
    if (file.empty()) {
        // The engine would open a private temporary database for "".
        throw Error(SQLITE_CANTOPEN, "no database file name given");
    }
    auto shared = std::make_shared<Shared>();
    // Never SQLITE_OPEN_CREATE: opening a name that is not there must fail,
    // not leave an empty database behind. Plain file names only (no URIs),
    // so any character of a folder name is taken as it is.
    int rc = sqlite3_open_v2(file.c_str(), &shared->db, SQLITE_OPEN_READWRITE, nullptr);
    if (rc != SQLITE_OK) {
        std::string what = shared->db ? sqlite3_errmsg(shared->db) : sqlite3_errstr(rc);
        throw Error(rc & 0xff, what + ": " + file);
    }
    sqlite3_extended_result_codes(shared->db, 0);
    sqlite3_busy_timeout(shared->db, kBusyTimeoutMs);

    // The engine reads the file only on first use: read the catalogue now so
    // that a file that is not a database fails here. A file of zero bytes
    // passes that test (the engine would make it a database on first write),
    // so it is refused by its page count.
    {
        detail::Statement probe(shared->db, "SELECT count(*) FROM sqlite_master");
        probe.Step();
        detail::Statement pages(shared->db, "PRAGMA page_count");
        pages.Step();
        if (pages.Column(0).AsInt() <= 0) {
            throw Error(SQLITE_NOTADB, "file is not a database (it is empty): " + file);
        }
    }
    // A file that another tool switched to write-ahead logging would not be
    // one complete file once closed; bring it back to the rollback journal.
    if (ToUpper(ScalarOn(shared->db, "PRAGMA journal_mode")) == "WAL") {
        sqlite3_exec(shared->db, "PRAGMA journal_mode = DELETE", nullptr, nullptr, nullptr);
    }
    shared_ = std::move(shared);
    file_ = file;
}

void Connection::Close() noexcept {
    if (shared_) {
        shared_->CloseHandle();
        shared_.reset();
    }
    file_.clear();
}

int Connection::Execute(std::string_view sql) {
    std::string text = TranslateJet(sql);
    detail::Statement stmt(handle(), text);
    while (stmt.Step()) {
    }
    return sqlite3_changes(handle());
}

Value Connection::Scalar(std::string_view sql) {
    std::string text = TranslateJet(sql);
    detail::Statement stmt(handle(), text);
    if (!stmt.Step() || sqlite3_column_count(stmt.get()) == 0) {
        return Value();
    }
    return stmt.Column(0);
}

void Connection::Check(std::string_view sql) {
    detail::Statement stmt(handle(), TranslateJet(sql));
}

bool Connection::InTransaction() const {
    return IsOpen() && !sqlite3_get_autocommit(handle());
}

std::string ErrorText(const std::exception& e) {
    if (const auto* de = dynamic_cast<const Error*>(&e)) {
        return "error " + std::to_string(de->code()) + " " + de->what();
    }
    return std::string("error ") + e.what();
}

void StatementFinalizer::operator()(sqlite3_stmt* statement) const noexcept {
    sqlite3_finalize(statement);
}

StatementPtr TryPrepare(sqlite3* db, const std::string& sql) {
    sqlite3_stmt* statement = nullptr;
    if (sqlite3_prepare_v2(db, sql.c_str(), -1, &statement, nullptr) != SQLITE_OK) {
        sqlite3_finalize(statement);
        return nullptr;
    }
    return StatementPtr(statement);
}

StatementPtr Prepare(sqlite3* db, const std::string& sql) {
    StatementPtr statement = TryPrepare(db, sql);
    if (!statement) {
        throw Error(sqlite3_errcode(db), std::string(sqlite3_errmsg(db)) + ": " + sql);
    }
    return statement;
}

bool CreateDatabaseFile(const std::string& file, std::string& error) {
    error.clear();
    sqlite3* db = nullptr;
    // An existing file is never taken over, whatever it holds.
    int rc = sqlite3_open_v2(file.c_str(), &db, SQLITE_OPEN_READONLY, nullptr);
    sqlite3_close_v2(db);
    db = nullptr;
    if (rc == SQLITE_OK) {
        error = "file already exists: " + file;
        return false;
    }
    rc = sqlite3_open_v2(file.c_str(), &db, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE, nullptr);
    if (rc == SQLITE_OK) {
        // Writing the header makes the file a database at once instead of at
        // the first table.
        std::string pragma = "PRAGMA application_id = " + std::to_string(kApplicationId);
        rc = sqlite3_exec(db, pragma.c_str(), nullptr, nullptr, nullptr);
    }
    if (rc != SQLITE_OK) {
        error = db ? sqlite3_errmsg(db) : sqlite3_errstr(rc);
        error += ": " + file;
    }
    sqlite3_close_v2(db);
    return rc == SQLITE_OK;
}

Transaction::Transaction(Connection& connection) : connection_(connection) {
    if (connection.InTransaction()) {
        // Transactions nest strictly (they live in scopes and cannot move), and
        // the engine resolves a savepoint name to the most recent one: one name
        // serves every level.
        name_ = "ostrand_nested";
        connection.Execute("SAVEPOINT " + name_);
    } else {
        // IMMEDIATE takes the write lock now, so a second writer waits or
        // fails here rather than between our read and our write.
        connection.Execute("BEGIN IMMEDIATE");
    }
}

Transaction::~Transaction() {
    Rollback();
}

void Transaction::Commit() {
    if (done_) {
        return;
    }
    connection_.Execute(name_.empty() ? "COMMIT" : "RELEASE " + name_);
    done_ = true;
}

void Transaction::Rollback() noexcept {
    if (done_) {
        return;
    }
    done_ = true;
    sqlite3* db = connection_.handle();
    if (!db || sqlite3_get_autocommit(db)) {
        return; // the engine has already rolled back, or the connection closed
    }
    std::string sql = name_.empty() ? "ROLLBACK" : "ROLLBACK TO " + name_ + "; RELEASE " + name_;
    sqlite3_exec(db, sql.c_str(), nullptr, nullptr, nullptr);
}

// ---- the suite's helpers ----

bool OpenDB(startup::RunSettings& settings, Connection& connection, const std::string& dbFile) {
    const std::string file = dbFile.empty() ? settings.DBFile : dbFile;
    startup::Log(settings, "{ } Opening database at " + file);
    int code = SQLITE_ERROR;
    try {
        connection.Open(file);
        return true;
    } catch (const Error& e) {
        code = e.code();
    } catch (const std::exception&) {
    }
    startup::Log(settings,
                 "{*} Error " + std::to_string(code) + " opening database {" + file + "}");
    return false;
}

bool CloseDB(Connection& connection) {
    connection.Close();
    return true;
}

bool ExecuteSQL(Connection& connection, std::string_view sql) {
    try {
        connection.Execute(sql);
        return true;
    } catch (const std::exception&) {
        return false;
    }
}

void CloseRecordset(Recordset& recordset) {
    recordset.Close();
}

int32_t OpenRecordset(std::string_view sql, Recordset& recordset, Connection& connection,
                      bool flag) {
    (void)flag;
    try {
        recordset.Close();
        recordset.Open(connection, sql);
        return recordset.RecordCount();
    } catch (const std::exception&) {
        recordset.Close();
        return -1;
    }
}

int32_t CountRecords(Connection& connection, std::string_view table, std::string_view where) {
    std::string sql = "SELECT Count(*) AS Result FROM ";
    sql += table;
    if (!where.empty()) {
        sql += " WHERE ";
        sql += where;
    }
    try {
        return static_cast<int32_t>(connection.Scalar(sql).AsInt());
    } catch (const std::exception&) {
        return 0;
    }
}

int32_t NextId(Connection& connection, const platform::Clock& clock) {
    try {
        Transaction transaction(connection);
        Recordset rs;
        rs.Open(connection, "SELECT NextId FROM Configuration");
        if (rs.IsEOF()) {
            return 0;
        }
        // A fresh database has no counter yet: starting from the minutes since
        // 2000 keeps databases made at different times apart.
        const Value current = rs.Field(0);
        int64_t id = current.IsNull() ? MinutesSince2000(clock.Now()) : current.AsInt();
        rs.SetField(0, id + 1);
        rs.Update();
        rs.Close();
        transaction.Commit();
        return static_cast<int32_t>(id);
    } catch (const std::exception&) {
        return 0;
    }
}

int32_t ToLong(std::string_view text) {
    while (!text.empty() && text.front() == ' ') {
        text.remove_prefix(1);
    }
    while (!text.empty() && text.back() == ' ') {
        text.remove_suffix(1);
    }
    if (text.empty()) {
        return 0;
    }
    int64_t v = Value(text).AsInt();
    if (v > INT32_MAX || v < INT32_MIN) {
        return 0;
    }
    return static_cast<int32_t>(v);
}

} // namespace db
