#include "maintenance/salvage.h"

#include "db/catalog.h"
#include "db/connection.h"
#include "platform/disk.h"
#include "safety/operation_guard.h"
#include "safety/replacement.h"
#include "util/paths.h"

#include <sqlite3.h>

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <limits>
#include <memory>
#include <optional>
#include <stdexcept>
#include <system_error>
#include <utility>

namespace maintenance {

namespace {

namespace fs = std::filesystem;
using db::Prepare;
using db::StatementPtr;
using db::TryPrepare;
using startup::Log;

// A reason the salvage stops, worded for the user.
class SalvageError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// How many single-row probes one table may spend on finding its way past
// damage: a damaged stretch costs at most about 130 (a widening search over
// the row numbers, then a narrowing one) and one for each garbage row it
// yielded, so this allows for well over a hundred damaged stretches before
// the rest of the table is given up.
constexpr int ProbesPerTable = 20000;

constexpr int64_t FirstRowid = std::numeric_limits<int64_t>::min();
constexpr int64_t LastRowid = std::numeric_limits<int64_t>::max();

void Exec(sqlite3* db, const std::string& sql) {
    char* message = nullptr;
    const int rc = sqlite3_exec(db, sql.c_str(), nullptr, nullptr, &message);
    if (rc != SQLITE_OK) {
        const std::string text = message ? message : sqlite3_errstr(rc);
        sqlite3_free(message);
        throw db::Error(rc & 0xff, text);
    }
}

// Results that say the file's content is bad (or the disk under it), as
// opposed to the engine refusing the work.
bool IsDamage(int rc) {
    switch (rc & 0xff) {
    case SQLITE_CORRUPT:
    case SQLITE_NOTADB:
    case SQLITE_IOERR:
    case SQLITE_FORMAT:
        return true;
    default:
        return false;
    }
}

// The damaged database on a connection of its own, for reading only: an
// error of a damaged page ends the transaction it happens in, so it must
// never happen inside the new database's.
struct Source {
    sqlite3* db = nullptr;
    Source() = default;
    Source(const Source&) = delete;
    Source& operator=(const Source&) = delete;
    ~Source() { Close(); }
    void Close() {
        sqlite3_close_v2(db);
        db = nullptr;
    }
};

struct SchemaEntry {
    std::string Type; // table, index, view, trigger
    std::string Name;
    std::string Table; // the table it belongs to
    std::string Sql;
};

std::vector<SchemaEntry> ReadSchema(sqlite3* db) {
    StatementPtr query = TryPrepare(db, "SELECT type, name, tbl_name, sql FROM sqlite_schema "
                                        "WHERE sql IS NOT NULL ORDER BY rowid");
    std::vector<SchemaEntry> entries;
    int rc = query ? sqlite3_step(query.get()) : sqlite3_errcode(db);
    for (; rc == SQLITE_ROW; rc = sqlite3_step(query.get())) {
        auto text = [&](int i) {
            const unsigned char* t = sqlite3_column_text(query.get(), i);
            return std::string(t ? reinterpret_cast<const char*>(t) : "");
        };
        entries.push_back({text(0), text(1), text(2), text(3)});
    }
    if (rc != SQLITE_DONE) {
        throw SalvageError("The structure of the damaged database cannot be read (" +
                           std::string(sqlite3_errmsg(db)) +
                           "); there is nothing the stock engine can salvage from it");
    }
    return entries;
}

bool IsEngineTable(const std::string& name) {
    return name.size() >= 7 && std::equal(name.begin(), name.begin() + 7, "sqlite_",
                                          [](char a, char b) { return std::tolower(a) == b; });
}

bool IsVirtual(const SchemaEntry& e) {
    return e.Sql.size() >= 20 &&
           std::equal(e.Sql.begin(), e.Sql.begin() + 20, "CREATE VIRTUAL TABLE",
                      [](char a, char b) { return std::toupper(a) == b; });
}

int64_t CountRows(sqlite3* db, const std::string& table) {
    StatementPtr count = TryPrepare(db, "SELECT count(*) FROM " + db::QuoteName(table));
    if (!count || sqlite3_step(count.get()) != SQLITE_ROW) {
        return -1;
    }
    return sqlite3_column_int64(count.get(), 0);
}

// The columns a row is written with: generated columns and the hidden ones
// of virtual tables make themselves.
std::vector<std::string> WrittenColumns(sqlite3* db, const std::string& table) {
    StatementPtr info = Prepare(db, "PRAGMA table_xinfo(" + db::QuoteName(table) + ")");
    std::vector<std::string> names;
    while (sqlite3_step(info.get()) == SQLITE_ROW) {
        if (sqlite3_column_int(info.get(), 6) == 0) { // hidden
            names.emplace_back(reinterpret_cast<const char*>(sqlite3_column_text(info.get(), 1)));
        }
    }
    return names;
}

// A name for the row number that no column of the table has taken.
std::string RowidName(const std::vector<std::string>& columns) {
    for (const char* alias : {"rowid", "_rowid_", "oid"}) {
        bool taken = false;
        for (const std::string& c : columns) {
            taken = taken || sqlite3_stricmp(c.c_str(), alias) == 0;
        }
        if (!taken) {
            return alias;
        }
    }
    return "";
}

// Whether the table's tree leads to row `id`. A page whose header was
// overwritten still reads, but its cells are whatever bytes lie where the
// broken pointers go: their row numbers are garbage, and a seek through the
// intact pages above finds no such row. A seek that meets damage on the way
// cannot tell.
enum class Place { Found, Absent, Unknown };

Place PlaceOf(sqlite3_stmt* probe, int64_t id) {
    sqlite3_bind_int64(probe, 1, id);
    const int rc = sqlite3_step(probe);
    const Place place = rc == SQLITE_ROW
                            ? (sqlite3_column_int64(probe, 0) == id ? Place::Found : Place::Absent)
                            : (rc == SQLITE_DONE ? Place::Absent : Place::Unknown);
    sqlite3_reset(probe);
    return place;
}

// True when the first row at or after `from` reads whole and is where the
// tree puts it, or there is none.
bool Readable(sqlite3_stmt* probe, int64_t from) {
    sqlite3_bind_int64(probe, 1, from);
    const int rc = sqlite3_step(probe);
    const int64_t id = rc == SQLITE_ROW ? sqlite3_column_int64(probe, 0) : from;
    sqlite3_reset(probe);
    return rc == SQLITE_DONE ||
           (rc == SQLITE_ROW && id >= from && (id == from || PlaceOf(probe, id) == Place::Found));
}

// The first row number past `bad` (where reading fails) from which reading
// works again: the step past it doubles until a start reads, then halves
// back towards the damage. Nothing when no start up to the last row number
// reads, or when the table's probes are spent.
std::optional<int64_t> NextReadable(sqlite3_stmt* probe, int64_t bad, int& probesLeft) {
    int64_t good = 0;
    for (uint64_t step = 1;; step = step > (uint64_t{1} << 62) ? step : step * 2) {
        int64_t candidate = 0;
        if (__builtin_add_overflow(bad, static_cast<int64_t>(step), &candidate)) {
            candidate = LastRowid;
        }
        if (--probesLeft < 0) {
            return std::nullopt;
        }
        if (Readable(probe, candidate)) {
            good = candidate;
            break;
        }
        if (candidate == LastRowid) {
            return std::nullopt;
        }
        bad = candidate;
    }
    while (static_cast<uint64_t>(good) - static_cast<uint64_t>(bad) > 1 && --probesLeft >= 0) {
        const int64_t mid =
            bad +
            static_cast<int64_t>((static_cast<uint64_t>(good) - static_cast<uint64_t>(bad)) / 2);
        (Readable(probe, mid) ? good : bad) = mid;
    }
    return good;
}

struct TableCopy {
    std::vector<std::pair<std::string, std::string>> IndexErrors; // name, why: not made again
    int64_t Rows = 0;
    int Damaged = 0;     // stretches of damage stepped over
    int64_t Refused = 0; // rows the new table's constraints turned away
    bool GaveUp = false; // rows after some damage could not be reached
};

// Copies what reads of one table from `source` into the new database `db`,
// where the damaged database is attached as "damaged" too.
//
// A table that reads whole goes across in one statement, which takes each
// row apart and builds it and its index entries again: copied as they lie
// (the engine's shortcut for a plain "SELECT *"), a record spoiled in a page
// that still reads would go across spoiled, the damaged file's indexes with
// it, and the new database would fail its check at the end. One that does not
// goes across in row-number order, in runs of rows that each take one
// statement; a run that meets damage is undone by the engine (no statement
// runs inside a transaction here, so an error of a damaged page ends nothing
// but its own statement) and read again row by row on the source's own
// connection, until the damage is stepped over. A damaged page can also
// yield rows with garbage numbers before it fails, or instead: a run or pass
// goes on only from the last row the table's tree leads to, so that a high
// garbage number does not pass over the rows after the page. A table without row numbers
// is read row by row in its own order, up to its first damage. The indexes
// of a table that goes row by row are made afresh after its rows: kept up
// row by row they would cost more than the copy.
class TableCopier {
public:
    TableCopier(sqlite3* db, sqlite3* source, const std::string& table,
                std::vector<const SchemaEntry*> indexes, util::UiServices& ui)
        : db_(db), source_(source), table_(table), quoted_(db::QuoteName(table)),
          indexes_(std::move(indexes)), ui_(ui) {}

    TableCopy Run() {
        const std::string wholeTable = PrepareRows();
        if (sqlite3_exec(db_, wholeTable.c_str(), nullptr, nullptr, nullptr) == SQLITE_OK) {
            result_.Rows = sqlite3_changes64(db_);
            return result_;
        }
        for (const SchemaEntry* index : indexes_) {
            sqlite3_exec(db_, ("DROP INDEX IF EXISTS main." + db::QuoteName(index->Name)).c_str(),
                         nullptr, nullptr, nullptr);
        }
        CopyByRows();
        for (const SchemaEntry* index : indexes_) {
            if (sqlite3_exec(db_, index->Sql.c_str(), nullptr, nullptr, nullptr) != SQLITE_OK) {
                result_.IndexErrors.emplace_back(index->Name, sqlite3_errmsg(db_));
            }
        }
        return result_;
    }

private:
    void CopyByRows() {
        if (!seeking_) {
            InTransaction([&] { RowByRow(std::numeric_limits<int64_t>::max()); });
            return;
        }
        while (!atEnd_) {
            if (!NextRun()) {
                InTransaction([&] { RowByRow(RowsPerRun); });
            }
            ui_.DoEvents();
        }
    }

    // A run read row by row is at most this long; the next goes in one statement again.
    static constexpr int64_t RowsPerRun = 10000;

    template <class F> void InTransaction(F&& work) {
        Exec(db_, "BEGIN");
        work();
        Exec(db_, "COMMIT");
    }

    // Also gives the statement that copies the whole table at once.
    std::string PrepareRows() {
        const std::vector<std::string> columns = WrittenColumns(source_, table_);
        std::string list;
        std::string marks;
        for (const std::string& c : columns) {
            list += (list.empty() ? "" : ", ") + db::QuoteName(c);
            marks += ", ?";
        }
        const std::string rowid = RowidName(columns);
        if (!rowid.empty()) {
            const std::string select = "SELECT " + rowid + ", " + list + " FROM " + quoted_ +
                                       " WHERE " + rowid + " >= ?1 ORDER BY " + rowid;
            read_ = TryPrepare(source_, select);
            probe_ = TryPrepare(source_, select + " LIMIT 1");
            run_ = TryPrepare(db_, "INSERT INTO main." + quoted_ + " (" + rowid + ", " + list +
                                       ") SELECT " + rowid + ", " + list + " FROM damaged." +
                                       quoted_ + " WHERE " + rowid + " >= ?1 ORDER BY " + rowid +
                                       " LIMIT " + std::to_string(RowsPerRun));
            last_ = TryPrepare(db_, "SELECT max(" + rowid + ") FROM main." + quoted_ + " WHERE " +
                                        rowid + " >= ?1");
            drop_ = TryPrepare(db_, "DELETE FROM main." + quoted_ + " WHERE " + rowid + " = ?1");
            undo_ = TryPrepare(db_, "DELETE FROM main." + quoted_ + " WHERE " + rowid + " >= ?1");
        }
        seeking_ = read_ && probe_ && run_ && last_ && drop_ && undo_;
        if (!seeking_) {
            read_ = Prepare(source_, "SELECT " + list + " FROM " + quoted_);
        }
        insert_ = Prepare(db_, "INSERT INTO main." + quoted_ + " (" +
                                   (seeking_ ? rowid + ", " : "") + list + ") VALUES (" +
                                   (seeking_ ? "?" : "") + marks.substr(seeking_ ? 0 : 2) + ")");
        width_ = static_cast<int>(columns.size()) + (seeking_ ? 1 : 0);
        // Named columns (and a WHERE) keep the engine from copying the records
        // as they lie; the row numbers go across as the other paths keep them.
        const std::string kept = (seeking_ ? rowid + ", " : "") + list;
        return "INSERT INTO main." + quoted_ + " (" + kept + ") SELECT " + kept + " FROM damaged." +
               quoted_ + " WHERE 1";
    }

    // One run of rows in one statement; false when it met damage or a row
    // the new table refuses, or when its last row is not where the tree puts
    // it (a damaged page read through), and was undone.
    bool NextRun() {
        sqlite3_bind_int64(run_.get(), 1, from_);
        const int rc = sqlite3_step(run_.get());
        sqlite3_reset(run_.get());
        if (rc != SQLITE_DONE) {
            if (!IsDamage(rc) && (rc & 0xff) != SQLITE_CONSTRAINT) {
                throw db::Error(rc & 0xff, "copying table " + table_ + ": " + sqlite3_errmsg(db_));
            }
            return false;
        }
        const int64_t copied = sqlite3_changes64(db_);
        if (copied == 0) {
            atEnd_ = true;
            return true;
        }
        sqlite3_bind_int64(last_.get(), 1, from_);
        const bool found = sqlite3_step(last_.get()) == SQLITE_ROW;
        const int64_t last = found ? sqlite3_column_int64(last_.get(), 0) : LastRowid;
        sqlite3_reset(last_.get());
        if (PlaceOf(probe_.get(), last) != Place::Found) {
            // Not inside a savepoint: an error of a damaged page would end it.
            WriteAt(undo_.get(), from_);
            result_.Rows -= sqlite3_changes64(db_) - copied; // rows kept by earlier passes
            return false;
        }
        result_.Rows += copied;
        atEnd_ = copied < RowsPerRun || last == LastRowid;
        from_ = atEnd_ ? last : last + 1;
        return true;
    }

    // Runs a statement of the new table at row number `id`; its failure is
    // no damage of the source, and ends the salvage.
    void WriteAt(sqlite3_stmt* statement, int64_t id) {
        sqlite3_bind_int64(statement, 1, id);
        const int rc = sqlite3_step(statement);
        sqlite3_reset(statement);
        if (rc != SQLITE_DONE) {
            throw db::Error(rc & 0xff, "writing table " + table_ + ": " + sqlite3_errmsg(db_));
        }
    }

    // Copies row by row from `from_` until the table ends, its damage has
    // been stepped over, or `most` rows have been copied.
    void RowByRow(int64_t most) {
        const int64_t start = from_;
        passed_.clear();
        if (seeking_) {
            sqlite3_bind_int64(read_.get(), 1, from_);
        }
        int rc = SQLITE_OK;
        for (int64_t n = 0; n < most && (rc = sqlite3_step(read_.get())) == SQLITE_ROW; ++n) {
            const int64_t id = seeking_ ? sqlite3_column_int64(read_.get(), 0) : 0;
            if (seeking_) {
                if (id < from_) { // a page out of its place
                    rc = SQLITE_CORRUPT;
                    break;
                }
                atEnd_ = id == LastRowid;
                from_ = atEnd_ ? id : id + 1;
            }
            for (int i = 0; i < width_; ++i) {
                sqlite3_bind_value(insert_.get(), i + 1, sqlite3_column_value(read_.get(), i));
            }
            const int written = sqlite3_step(insert_.get());
            sqlite3_reset(insert_.get());
            if (seeking_) {
                passed_.emplace_back(id, written == SQLITE_DONE);
            }
            if (written == SQLITE_DONE) {
                ++result_.Rows;
            } else if ((written & 0xff) == SQLITE_CONSTRAINT) {
                ++result_.Refused;
            } else {
                throw db::Error(written & 0xff,
                                "writing table " + table_ + ": " + sqlite3_errmsg(db_));
            }
            if (atEnd_) {
                break;
            }
        }
        sqlite3_reset(read_.get());
        const bool ended = rc == SQLITE_DONE || atEnd_ || rc == SQLITE_ROW;
        if (!ended && !IsDamage(rc)) {
            throw db::Error(rc & 0xff, "reading table " + table_ + ": " + sqlite3_errmsg(source_));
        }
        const std::optional<int64_t> inPlace = seeking_ ? DropAstray() : std::nullopt;
        if (rc == SQLITE_DONE || (ended && !astray_)) {
            atEnd_ = atEnd_ || rc == SQLITE_DONE;
            return;
        }
        ++result_.Damaged;
        atEnd_ = true;
        // From the last row read where it belongs, not from the garbage
        // number of a damaged page: the rows after that page have lower ones.
        const std::optional<int64_t> next =
            seeking_ && probesLeft_ >= 0
                ? NextReadable(probe_.get(), inPlace.value_or(start), probesLeft_)
                : std::nullopt;
        if (!next) {
            result_.GaveUp = !seeking_ || probesLeft_ < 0;
            return;
        }
        atEnd_ = false;
        from_ = *next;
    }

    // Takes the rows of the last pass that the tree does not lead to back out
    // of the new table, from the end of the pass back to the last row that is
    // where it belongs, which it returns. Rows whose place cannot be told stay.
    std::optional<int64_t> DropAstray() {
        astray_ = false;
        while (!passed_.empty()) {
            const auto [id, copied] = passed_.back();
            const Place place = PlaceOf(probe_.get(), id);
            if (place == Place::Found) {
                return id;
            }
            passed_.pop_back();
            if (place == Place::Absent) {
                astray_ = true;
                if (copied) {
                    WriteAt(drop_.get(), id);
                    --result_.Rows;
                } else {
                    --result_.Refused;
                }
            }
            if (--probesLeft_ < 0) {
                break;
            }
        }
        return std::nullopt;
    }

    sqlite3* db_;
    sqlite3* source_;
    std::string table_;
    std::string quoted_;
    std::vector<const SchemaEntry*> indexes_;
    util::UiServices& ui_;
    TableCopy result_;
    StatementPtr read_;   // row by row, on the source's connection
    StatementPtr probe_;  // one row, to find where reading works again
    StatementPtr run_;    // a run of rows in one statement
    StatementPtr last_;   // the last row number copied from a start on
    StatementPtr drop_;   // takes a row out of the new table again
    StatementPtr undo_;   // takes a run out of the new table again
    StatementPtr insert_; // one row into the new table
    bool seeking_ = false;
    int width_ = 0;
    bool atEnd_ = false;
    int64_t from_ = FirstRowid;
    int probesLeft_ = ProbesPerTable;
    std::vector<std::pair<int64_t, bool>> passed_; // the pass's rows in order: number, copied
    bool astray_ = false;                          // the pass read rows out of place
};

// The counters of AUTOINCREMENT tables, so that no number handed out before
// is handed out again.
void CopySequences(sqlite3* db) {
    StatementPtr read = TryPrepare(db, "SELECT name, seq FROM damaged.sqlite_sequence");
    StatementPtr write =
        TryPrepare(db, "UPDATE main.sqlite_sequence SET seq = max(seq, ?2) WHERE name = ?1");
    StatementPtr add = TryPrepare(db, "INSERT INTO main.sqlite_sequence (name, seq) SELECT ?1, ?2 "
                                      "WHERE NOT EXISTS (SELECT 1 FROM main.sqlite_sequence "
                                      "WHERE name = ?1)");
    if (!read || !write || !add) {
        return; // no AUTOINCREMENT table, or its counters are beyond reading
    }
    while (sqlite3_step(read.get()) == SQLITE_ROW) {
        for (sqlite3_stmt* s : {write.get(), add.get()}) {
            sqlite3_bind_value(s, 1, sqlite3_column_value(read.get(), 0));
            sqlite3_bind_value(s, 2, sqlite3_column_value(read.get(), 1));
            sqlite3_step(s);
            sqlite3_reset(s);
        }
    }
}

std::string Method(sqlite3* db) {
    const bool pages = TryPrepare(db, "SELECT 1 FROM sqlite_dbpage") != nullptr;
    return std::string("table by table with the stock SQLite library, stepping over damaged "
                       "pages (") +
           (pages ? "this build has sqlite_dbpage, but the engine's recovery interface is not "
                    "part of the library"
                  : "this build has no sqlite_dbpage, so the engine's own recovery cannot run") +
           ")";
}

std::string Counted(int64_t rows) {
    return rows < 0 ? "?" : std::to_string(rows);
}

} // namespace

bool SalvageDB(startup::RunSettings& settings, util::Progress& progress, util::UiServices& ui,
               const platform::Clock& clock, const SalvageRequest& request,
               SalvageOutcome& outcome) {
    outcome = SalvageOutcome{};
    const std::string damaged = settings.DBFile;
    const std::string destination = request.Replace ? damaged : request.Destination;
    outcome.File = destination;
    ui.SetBusy(true);
    progress.SetStatus("Reading the database structure ...");
    progress.SetValue(0);
    Log(settings, "{-} SalvageDB started");
    Log(settings, "{ } Damaged database      : " + damaged);
    Log(settings, "{ } New database          : " + destination);

    // No other run may change the damaged database while it is read, and a
    // run cut off leaves a marker naming the file it was writing.
    safety::OperationGuard guard(damaged, "salvage", clock);
    std::string working;
    bool ok = false;
    try {
        if (!util::FileExists(damaged)) {
            throw SalvageError("There is no database at " + damaged);
        }
        if (!request.Replace && fs::exists(destination)) {
            throw SalvageError("A file already exists at " + destination +
                               "; the salvaged database is never written over another file");
        }
        std::string error;
        if (!guard.Begin(error)) {
            throw SalvageError(error);
        }
        if (request.Replace &&
            !safety::KeepBeforeReplacing(guard, damaged, "salvage", clock, outcome.Kept, error)) {
            throw SalvageError(error);
        }
        working = safety::WorkingNameBeside(destination, "salvage");
        if (!guard.AddLeftover(working) || !db::CreateDatabaseFile(working, error)) {
            throw SalvageError("The new database cannot be made: " + error);
        }
        db::Connection target;
        target.Open(working);
        sqlite3* db = target.handle();
        // Nothing of the new file counts until it is checked and renamed into
        // place, so its writes need no journal on disk and no flush each.
        Exec(db, "PRAGMA journal_mode = MEMORY");
        Exec(db, "PRAGMA synchronous = OFF");
        // Rows that go in one by one update every index of their table at
        // scattered places; a larger cache keeps those pages at hand.
        Exec(db, "PRAGMA cache_size = -65536");
        // A damaged structure still lists its tables, and cells that do not
        // fit their page are damage to step over, not values to copy.
        const auto lenient = [](sqlite3* on) {
            Exec(on, "PRAGMA writable_schema = 1");
            Exec(on, "PRAGMA cell_size_check = 1");
        };
        lenient(db);
        // The damaged database beside the new one on the same connection, so
        // that a table that reads whole crosses in one statement. Nothing is
        // ever written to it.
        {
            StatementPtr attach = Prepare(db, "ATTACH ?1 AS damaged");
            sqlite3_bind_text(attach.get(), 1, damaged.c_str(), -1, SQLITE_TRANSIENT);
            if (sqlite3_step(attach.get()) != SQLITE_DONE) {
                throw SalvageError("The damaged database cannot be opened at all (" +
                                   std::string(sqlite3_errmsg(db)) + ")");
            }
        }
        Source source;
        if (sqlite3_open_v2(damaged.c_str(), &source.db, SQLITE_OPEN_READWRITE, nullptr) !=
            SQLITE_OK) {
            throw SalvageError("The damaged database cannot be opened at all (" +
                               std::string(sqlite3_errmsg(source.db)) + ")");
        }
        Exec(source.db, "PRAGMA query_only = 1");
        lenient(source.db);
        const std::vector<SchemaEntry> schema = ReadSchema(source.db);
        outcome.Method = Method(db);
        Log(settings, "{ } Method                : " + outcome.Method);

        // Tables and their indexes first: a table copied whole brings its
        // index entries along, already in order.
        Exec(db, "BEGIN");
        std::vector<const SchemaEntry*> tables;
        for (const SchemaEntry& e : schema) {
            if (IsEngineTable(e.Name) || (e.Type != "table" && e.Type != "index")) {
                continue;
            }
            if (IsVirtual(e)) {
                Log(settings, "{*} Table {" + e.Name + "} is a virtual table and is left out");
                continue;
            }
            try {
                Exec(db, e.Sql);
            } catch (const std::exception& x) {
                if (e.Type == "table") {
                    throw;
                }
                Log(settings, "{*} The index {" + e.Name + "} cannot be made: " + x.what());
            }
            if (e.Type == "table") {
                tables.push_back(&e);
            }
        }
        Exec(db, "COMMIT");
        for (size_t i = 0; i < tables.size(); ++i) {
            const std::string& name = tables[i]->Name;
            progress.SetStatus("Salvaging table " + name + " ...");
            progress.SetValue(5.0 + 80.0 * static_cast<double>(i) / tables.size());
            Log(settings, "{-} Salvaging table {" + name + "}");
            SalvagedTable counts{name, CountRows(source.db, name), 0};
            std::vector<const SchemaEntry*> indexes;
            for (const SchemaEntry& e : schema) {
                if (e.Type == "index" && e.Table == name) {
                    indexes.push_back(&e);
                }
            }
            const TableCopy copy = TableCopier(db, source.db, name, indexes, ui).Run();
            counts.After = copy.Rows;
            Log(settings, "{ } Rows before: " + Counted(counts.Before) +
                              ", after: " + std::to_string(counts.After));
            if (copy.Damaged > 0) {
                Log(settings, "{*} Damage stepped over " + std::to_string(copy.Damaged) +
                                  " times in table {" + name + "}");
            }
            if (copy.Refused > 0) {
                Log(settings, "{*} " + std::to_string(copy.Refused) + " rows of table {" + name +
                                  "} broke its constraints and were left out");
            }
            for (const auto& [index, why] : copy.IndexErrors) {
                Log(settings, "{*} The index {" + index + "} cannot be made: " + why);
            }
            if (copy.GaveUp) {
                Log(settings,
                    "{*} The rows of table {" + name + "} after its damage could not be reached");
            }
            outcome.Tables.push_back(counts);
            ui.DoEvents();
        }
        Exec(db, "BEGIN");
        CopySequences(db);

        progress.SetStatus("Writing views and triggers ...");
        progress.SetValue(85);
        Log(settings, "{-} Writing views and triggers");
        for (const SchemaEntry& e : schema) {
            if (e.Type == "table" || e.Type == "index" || IsEngineTable(e.Name)) {
                continue;
            }
            try {
                Exec(db, e.Sql);
            } catch (const std::exception& x) {
                Log(settings,
                    "{*} The " + e.Type + " {" + e.Name + "} cannot be made: " + x.what());
            }
        }
        Exec(db, "COMMIT");
        Exec(db, "DETACH damaged");

        progress.SetStatus("Checking the new database ...");
        progress.SetValue(90);
        Log(settings, "{-} Checking the new database");
        // The quick check walks every page of every table and index, as the
        // integrity check does, but does not match each index entry against
        // its row: the indexes were written by the engine from those rows
        // in this run, and matching them would take longer than the copy.
        const std::string verdict = target.Scalar("PRAGMA quick_check").AsText();
        if (verdict != "ok") {
            throw SalvageError("The salvaged database fails the engine's check (" + verdict + ")");
        }
        target.Close();
        source.Close();
        if (!platform::FlushToDisk(working, error)) {
            throw SalvageError(error);
        }
        bool replaced = false;
        if (request.Replace) {
            if (!safety::ReplaceDatabase(guard, working, damaged, {}, replaced, error)) {
                throw SalvageError("The salvaged database cannot be put at " + destination + ": " +
                                   error);
            }
        } else if (fs::exists(destination)) {
            throw SalvageError("A file appeared at " + destination +
                               " meanwhile; it is left alone");
        } else if (!platform::ReplaceFile(working, destination, error)) {
            throw SalvageError("The salvaged database cannot be put at " + destination + ": " +
                               error);
        }
        working.clear();
        ok = true;
    } catch (const std::exception& e) {
        outcome.Error = e.what();
        Log(settings, std::string("{*} ") + e.what());
    }
    safety::EndRun(guard, working);
    if (ok && !outcome.Kept.path.empty()) {
        Log(settings, "{ } Safety copy           : " + outcome.Kept.path);
        safety::PruneSafetyCopies(damaged);
    }
    int64_t rows = 0;
    for (const SalvagedTable& t : outcome.Tables) {
        rows += t.After;
    }
    const std::string status = ok ? "Database salvaged: " + std::to_string(rows) + " rows in " +
                                        std::to_string(outcome.Tables.size()) + " tables."
                                  : "Database salvage failed.";
    Log(settings, (ok ? "{-} " : "{*} ") + status);
    progress.SetStatus(status);
    progress.SetValue(100);
    ui.SetBusy(false);
    return ok;
}

std::string FreeSalvageName(const std::string& folder) {
    const std::string first = util::AddBackslash(folder) + "Ketrova.salvaged";
    std::string name = first + ".mdb";
    std::error_code ec;
    for (int n = 2; fs::exists(fs::symlink_status(name, ec)); ++n) {
        name = first + "-" + std::to_string(n) + ".mdb";
    }
    return name;
}

bool PutSalvagedInPlace(startup::RunSettings& settings, const std::string& salvaged,
                        const platform::Clock& clock, safety::SafetyCopy& kept,
                        std::string& error) {
    kept = {};
    const std::string damaged = settings.DBFile;
    Log(settings, "{-} Putting the salvaged database in place");
    Log(settings, "{ } Salvaged database     : " + salvaged);
    Log(settings, "{ } Damaged database      : " + damaged);
    safety::OperationGuard guard(damaged, "salvage", clock);
    bool replaced = false;
    const bool ok = guard.Begin(error) &&
                    safety::KeepBeforeReplacing(guard, damaged, "salvage", clock, kept, error) &&
                    safety::InstallCopy(guard, salvaged, damaged, {}, replaced, error);
    guard.End();
    if (!ok) {
        Log(settings, "{*} " + error);
        return false;
    }
    if (!kept.path.empty()) {
        Log(settings, "{ } Safety copy           : " + kept.path);
    }
    std::error_code ec;
    fs::remove(salvaged, ec); // its rows are the database's now
    safety::PruneSafetyCopies(damaged);
    Log(settings, "{-} Salvaged database in place");
    return true;
}

} // namespace maintenance
