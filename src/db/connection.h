#pragma once
// The suite's database: one SQLite file (named Ketrova.mdb for the suite's
// other programs), reached through a Connection and streaming Recordsets.
//
// Two layers:
//  - Connection / Recordset / Transaction: C++ objects whose members throw
//    db::Error on failure, for code that keeps its own error trap.
//  - The helpers at the bottom (OpenDB, ExecuteSQL, OpenRecordset, ...): the
//    suite's small toolbox that never throws and answers with a flag or a
//    neutral value, as every procedure of the suite expects.
//
// Statement texts are written in the suite's Jet dialect; the connection
// rewrites the few forms SQLite does not take before running them.

#include "platform/clock.h"
#include "startup/run_settings.h"

#include <concepts>
#include <cstdint>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

struct sqlite3;
struct sqlite3_stmt;

namespace db {

// ADO data type codes: the suite's field lists and recordsets speak them.
inline constexpr int16_t adEmpty = 0;
inline constexpr int16_t adSmallInt = 2;
inline constexpr int16_t adInteger = 3;
inline constexpr int16_t adSingle = 4;
inline constexpr int16_t adDouble = 5;
inline constexpr int16_t adCurrency = 6;
inline constexpr int16_t adDate = 7;
inline constexpr int16_t adBoolean = 11;
inline constexpr int16_t adVariant = 12;
inline constexpr int16_t adBigInt = 20;
inline constexpr int16_t adNumeric = 131;
inline constexpr int16_t adWChar = 130;
inline constexpr int16_t adVarWChar = 202;
inline constexpr int16_t adLongVarWChar = 203;
inline constexpr int16_t adLongVarBinary = 205;

// Raised by the members of Connection, Recordset and Transaction. `code` is
// the engine's result code (SQLITE_...), or 0 for a misuse caught here.
class Error : public std::runtime_error {
public:
    Error(int code, const std::string& what) : std::runtime_error(what), code_(code) {}
    int code() const noexcept { return code_; }

private:
    int code_;
};

// One field value: NULL, a whole number, a floating number or a text.
// Booleans are whole numbers 0 and 1; dates are kept as text; currency
// amounts are floating numbers.
class Value {
public:
    enum class Kind { Null, Integer, Real, Text };

    Value() = default;
    Value(bool b) : kind_(Kind::Integer), i_(b ? 1 : 0) {}
    template <std::integral T>
    requires(!std::same_as<T, bool>) Value(T v)
        : kind_(Kind::Integer), i_(static_cast<int64_t>(v)) {}
    Value(double v) : kind_(Kind::Real), d_(v) {}
    Value(float v) : kind_(Kind::Real), d_(v) {}
    Value(std::string v) : kind_(Kind::Text), s_(std::move(v)) {}
    Value(std::string_view v) : kind_(Kind::Text), s_(v) {}
    Value(const char* v) : kind_(Kind::Text), s_(v) {}

    Kind kind() const noexcept { return kind_; }
    bool IsNull() const noexcept { return kind_ == Kind::Null; }

    // Conversions as the suite's code expects them: NULL gives 0, "" or
    // false; a text gives the number it starts with; a floating number
    // becomes whole by rounding half to even.
    int64_t AsInt() const;
    double AsDouble() const;
    bool AsBool() const;        // nonzero, or the text "True"
    std::string AsText() const; // numbers as the engine prints them

    bool operator==(const Value& other) const;

private:
    Kind kind_ = Kind::Null;
    int64_t i_ = 0;
    double d_ = 0;
    std::string s_;
};

// An error as the run log tells it: "error " + the engine's code + " " + its
// message for a db::Error, "error " + the message for anything else.
std::string ErrorText(const std::exception& e);

// The ADO type and size of a declared SQLite column type ("VARCHAR(50)" is
// adVarWChar of 50). Unknown names follow the engine's affinity rules.
struct DeclaredType {
    int16_t DataType = adInteger;
    int32_t Size = 0;
};
DeclaredType TypeFromDeclared(std::string_view declared);
// The declared type written for an ADO type and size, as the catalog creates
// columns: BOOLEAN columns are NOT NULL DEFAULT 0 (the engine stores no NULL
// for a Boolean).
std::string DeclaredFromType(int16_t dataType, int32_t size);

// How the engine stores a value written into a column of the declared type
// (its column affinity), by the engine's own rules: "INT" anywhere makes it
// whole numbers, "CHAR", "CLOB" or "TEXT" text, "BLOB" or no type none,
// "REAL", "FLOA" or "DOUB" floating numbers, anything else numeric.
enum class Affinity { Integer, Text, Blob, Real, Numeric };
Affinity AffinityOf(std::string_view declared);

// Rewrites the Jet-only forms of a statement into SQLite's: "DELETE * FROM"
// becomes "DELETE FROM". Everything else is passed through as written.
std::string TranslateJet(std::string_view sql);

class Recordset;

// Owns one open database file. Recordsets opened on it share its handle:
// closing the connection closes them too (they report not open afterwards).
class Connection {
public:
    Connection();
    ~Connection();
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;
    Connection(Connection&&) noexcept;
    Connection& operator=(Connection&&) noexcept;

    bool IsOpen() const noexcept;
    // The file the connection has open ("" when closed).
    const std::string& FileName() const noexcept { return file_; }

    // Opens an existing database file for reading and writing. Never creates
    // a file: a missing file, one that cannot be read and one that is not a
    // database (an empty file included) all throw.
    void Open(const std::string& file);
    // Resets every open statement, then closes the file. Harmless when closed.
    void Close() noexcept;

    // Runs one statement that returns no rows (Jet forms accepted).
    // Returns the number of rows changed.
    int Execute(std::string_view sql);
    // The first column of the first row of a query, NULL when there is none.
    Value Scalar(std::string_view sql);
    // Compiles a statement (Jet forms accepted) without running it: throws
    // what running it would throw before touching a row (a column or table
    // the database lacks, a syntax error).
    void Check(std::string_view sql);

    // True while a transaction or savepoint is open on the connection.
    bool InTransaction() const;

    // The raw handle, for the catalog and recordset code of this folder.
    sqlite3* handle() const;

    struct Shared; // the handle and what the recordsets need of it

private:
    friend class Recordset;
    std::shared_ptr<Shared> shared_;
    std::string file_;
};

// For code that steps the engine's statements itself, row by row at the
// speed of the engine (the import's and the salvage's copies): one owner
// per statement, finalized on every path.
struct StatementFinalizer {
    void operator()(sqlite3_stmt* statement) const noexcept;
};
using StatementPtr = std::unique_ptr<sqlite3_stmt, StatementFinalizer>;

// One statement prepared on `db` as it is (no Jet forms); nullptr when the
// engine refuses it.
StatementPtr TryPrepare(sqlite3* db, const std::string& sql);
// The same, throwing Error with the engine's message and the statement.
StatementPtr Prepare(sqlite3* db, const std::string& sql);

// Creates a new, empty database file; fails when the file already exists.
// The only place in the system where a database file comes into being.
bool CreateDatabaseFile(const std::string& file, std::string& error);

// A transaction that is rolled back unless committed. Nests: inside another
// transaction it is a savepoint of that one.
class Transaction {
public:
    explicit Transaction(Connection& connection);
    ~Transaction();
    Transaction(const Transaction&) = delete;
    Transaction& operator=(const Transaction&) = delete;
    void Commit();
    void Rollback() noexcept;

private:
    Connection& connection_;
    std::string name_;
    bool done_ = false;
};

// One column of a recordset.
struct FieldInfo {
    std::string Name;
    int16_t Type = adInteger; // ADO type from the declared column type
    int32_t DefinedSize = 0;  // for text columns
    std::string BaseColumn;   // column of the base table, "" for expressions
};

// A forward-streaming, updatable view of a query or of a whole table. Rows
// are read one at a time from the engine; a table of millions of rows never
// sits in memory. When the query reads one table, each row carries that
// table's rowid and Edit/Update write the row back by it; a join or an
// aggregate gives a read-only recordset.
//
// As in the suite's other programs, changing a field of the current row
// starts an edit, and moving off the row saves it. Writing rows while the
// recordset streams over the same table is safe for the columns it does not
// sort or filter on.
class Recordset {
public:
    Recordset();
    ~Recordset();
    Recordset(const Recordset&) = delete;
    Recordset& operator=(const Recordset&) = delete;
    Recordset(Recordset&&) noexcept;
    Recordset& operator=(Recordset&&) noexcept;

    // Opens a statement (Jet forms accepted) and moves to its first row.
    void Open(Connection& connection, std::string_view sql);
    // Opens a table by name, all columns, in rowid order.
    void OpenTable(Connection& connection, std::string_view table);
    // Discards a pending edit or new row, and releases the statement.
    void Close() noexcept;
    bool IsOpen() const noexcept;
    bool IsUpdatable() const noexcept;
    // The base table ("" when read-only).
    const std::string& TableName() const noexcept { return table_; }

    // Number of rows of the query, counted by the engine on first call.
    int32_t RecordCount();

    bool IsEOF() const noexcept;
    bool IsBOF() const noexcept { return IsEOF(); } // a forward cursor has no "before first"
    void MoveNext();
    void MoveFirst();

    int FieldCount() const noexcept;
    const FieldInfo& FieldAt(int index) const;
    int FieldIndex(std::string_view name) const noexcept; // -1 when absent; case-insensitive
    std::vector<std::string> FieldNames() const;

    // Values of the current row (or of the row being edited or added).
    const Value& Field(int index) const;
    const Value& Field(std::string_view name) const;
    bool IsNull(std::string_view name) const { return Field(name).IsNull(); }

    void SetField(int index, Value value);
    void SetField(std::string_view name, Value value);

    void Edit();         // starts an edit of the current row (implicit on SetField)
    void AddNew();       // starts a new row, all fields NULL until set
    void Update();       // writes the edit or new row; a new row becomes current
    void CancelUpdate(); // drops the pending edit or new row
    bool EditPending() const noexcept { return mode_ != Mode::None; }

private:
    enum class Mode { None, Edit, Add };
    struct Statement;
    void Prepare(Connection& connection, const std::string& sql, bool withRowid);
    void Fetch();
    void RequireOpen() const;
    void RequireRow() const;
    void SaveIfPending();

    std::shared_ptr<Connection::Shared> shared_;
    std::unique_ptr<Statement> stmt_;
    std::string sql_; // the query as run (rowid column included)
    std::string countSql_;
    std::string table_;
    bool hasRowid_ = false;
    bool eof_ = true;
    int32_t count_ = -1;
    std::vector<FieldInfo> fields_;
    std::vector<Value> row_;
    std::vector<bool> changed_;
    int64_t rowid_ = 0;
    Mode mode_ = Mode::None;
};

// Whole minutes and whole days from midnight, 1 January 2000, to a local time
// (negative before). The record-number seed and the database identity stamp.
int64_t MinutesSince2000(const platform::LocalDateTime& t);
int64_t DaysSince2000(const platform::LocalDateTime& t);

// ---- The suite's helpers: none of them throws. ----

// Opens `dbFile` (settings.DBFile when empty) on `connection`. Logs
// "{ } Opening database at " + file; on failure "{*} Error " + the engine's
// code + " opening database {" + file + "}" and returns false. A connection
// that is already open fails too.
bool OpenDB(startup::RunSettings& settings, Connection& connection, const std::string& dbFile);

// Closes the connection if it is open; always true.
bool CloseDB(Connection& connection);

// Runs a statement that returns no rows; false when the engine refused it
// (nothing is changed then).
bool ExecuteSQL(Connection& connection, std::string_view sql);

// Closes the recordset if it is open.
void CloseRecordset(Recordset& recordset);

// Closes `recordset` if open, opens `sql` on it, moves to the first row and
// returns the number of rows; -1 when the statement cannot be opened. The
// flag is kept for the suite's callers and has no effect. The count is not
// cut to 16 bits: a large table must not read as an empty or failed one.
int32_t OpenRecordset(std::string_view sql, Recordset& recordset, Connection& connection,
                      bool flag);

// "SELECT Count(*) AS Result FROM " + table (+ " WHERE " + where); 0 when the
// statement fails.
int32_t CountRecords(Connection& connection, std::string_view table, std::string_view where);

// Hands out the next record number from Configuration.NextId and stores the
// one after it, in one transaction. A NULL counter is first seeded with the
// minutes since 1 January 2000 by `clock`. 0 when the counter cannot be
// read or written (nothing is changed then).
int32_t NextId(Connection& connection, const platform::Clock& clock);

// Trims blanks; "" gives 0, otherwise the whole number the text holds
// (rounded half to even, as the suite converts; 0 when it is not a number).
int32_t ToLong(std::string_view text);

} // namespace db
