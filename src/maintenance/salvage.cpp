#include "maintenance/salvage.h"

#include "db/catalog.h"
#include "db/connection.h"
#include "platform/disk.h"
#include "util/paths.h"

#include <sqlite3.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <limits>
#include <memory>
#include <optional>
#include <stdexcept>
#include <system_error>

namespace maintenance {

namespace {

namespace fs = std::filesystem;
using startup::Log;

// A reason the salvage stops, worded for the user.
class SalvageError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

struct Finalize {
    void operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }
};
using StatementPtr = std::unique_ptr<sqlite3_stmt, Finalize>;

// How many single-row probes one table may spend on finding its way past
// damage: a damaged stretch costs at most about 130 (a widening search over
// the row numbers, then a narrowing one), so this allows for well over a
// hundred damaged stretches before the rest of the table is given up.
constexpr int ProbesPerTable = 20000;

// How many rows go in between two chances for the window to repaint.
constexpr int64_t RowsPerBreath = 4096;

constexpr int64_t FirstRowid = std::numeric_limits<int64_t>::min();
constexpr int64_t LastRowid = std::numeric_limits<int64_t>::max();

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
        throw db::Error(sqlite3_errcode(db), std::string(sqlite3_errmsg(db)) + ": " + sql);
    }
    return statement;
}

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

// The damaged database, opened with the engine's plain interface.
struct Source {
    sqlite3* db = nullptr;
    Source() = default;
    Source(const Source&) = delete;
    Source& operator=(const Source&) = delete;
    ~Source() { sqlite3_close_v2(db); }
};

struct SchemaEntry {
    std::string Type; // table, index, view, trigger
    std::string Name;
    std::string Sql;
};

std::vector<SchemaEntry> ReadSchema(sqlite3* db) {
    StatementPtr query = TryPrepare(db, "SELECT type, name, sql FROM sqlite_schema "
                                        "WHERE sql IS NOT NULL ORDER BY rowid");
    std::vector<SchemaEntry> entries;
    int rc = query ? sqlite3_step(query.get()) : sqlite3_errcode(db);
    for (; rc == SQLITE_ROW; rc = sqlite3_step(query.get())) {
        auto text = [&](int i) {
            const unsigned char* t = sqlite3_column_text(query.get(), i);
            return std::string(t ? reinterpret_cast<const char*>(t) : "");
        };
        entries.push_back({text(0), text(1), text(2)});
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
    StatementPtr info = Prepare(db, "SELECT name FROM pragma_table_xinfo(?1) WHERE hidden = 0");
    sqlite3_bind_text(info.get(), 1, table.c_str(), -1, SQLITE_TRANSIENT);
    std::vector<std::string> names;
    while (sqlite3_step(info.get()) == SQLITE_ROW) {
        names.emplace_back(reinterpret_cast<const char*>(sqlite3_column_text(info.get(), 0)));
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

// True when the first row at or after `from` reads whole, or there is none.
bool Readable(sqlite3_stmt* probe, int64_t from) {
    sqlite3_bind_int64(probe, 1, from);
    const int rc = sqlite3_step(probe);
    sqlite3_reset(probe);
    return rc == SQLITE_ROW || rc == SQLITE_DONE;
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
    int64_t Rows = 0;
    int Damaged = 0;     // stretches of damage stepped over
    int64_t Refused = 0; // rows the new table's constraints turned away
    bool GaveUp = false; // rows after some damage could not be reached
};

// Copies what reads of `table`, in row-number order. A table without row
// numbers is read in its own order up to its first damage.
TableCopy CopyTable(sqlite3* source, sqlite3* target, const std::string& table,
                    util::UiServices& ui) {
    TableCopy result;
    const std::vector<std::string> columns = WrittenColumns(source, table);
    std::string list;
    std::string marks;
    for (const std::string& c : columns) {
        list += (list.empty() ? "" : ", ") + db::QuoteName(c);
        marks += marks.empty() ? "?" : ", ?";
    }
    const std::string quoted = db::QuoteName(table);
    const std::string rowid = RowidName(columns);
    StatementPtr read;
    StatementPtr probe;
    if (!rowid.empty()) {
        const std::string select = "SELECT " + rowid + ", " + list + " FROM " + quoted + " WHERE " +
                                   rowid + " >= ?1 ORDER BY " + rowid;
        read = TryPrepare(source, select);
        probe = TryPrepare(source, select + " LIMIT 1");
    }
    const bool seeking = read && probe;
    if (!seeking) {
        read = Prepare(source, "SELECT " + list + " FROM " + quoted);
    }
    StatementPtr insert =
        Prepare(target, "INSERT INTO " + quoted + " (" + (seeking ? rowid + ", " : "") + list +
                            ") VALUES (" + (seeking ? "?, " : "") + marks + ")");
    const int width = static_cast<int>(columns.size()) + (seeking ? 1 : 0);

    int probesLeft = ProbesPerTable;
    int64_t from = FirstRowid;
    for (;;) {
        if (seeking) {
            sqlite3_bind_int64(read.get(), 1, from);
        }
        int rc = SQLITE_OK;
        bool atEnd = false;
        while (!atEnd && (rc = sqlite3_step(read.get())) == SQLITE_ROW) {
            if (seeking) {
                const int64_t id = sqlite3_column_int64(read.get(), 0);
                if (id < from) { // a page out of its place
                    rc = SQLITE_CORRUPT;
                    break;
                }
                atEnd = id == LastRowid;
                from = atEnd ? id : id + 1;
            }
            for (int i = 0; i < width; ++i) {
                sqlite3_bind_value(insert.get(), i + 1, sqlite3_column_value(read.get(), i));
            }
            const int written = sqlite3_step(insert.get());
            sqlite3_reset(insert.get());
            if (written == SQLITE_DONE) {
                ++result.Rows;
            } else if ((written & 0xff) == SQLITE_CONSTRAINT) {
                ++result.Refused;
            } else {
                throw db::Error(written & 0xff,
                                "writing table " + table + ": " + sqlite3_errmsg(target));
            }
            if ((result.Rows + result.Refused) % RowsPerBreath == 0) {
                ui.DoEvents();
            }
        }
        sqlite3_reset(read.get());
        if (rc == SQLITE_DONE || atEnd) {
            break;
        }
        if (!IsDamage(rc)) {
            throw db::Error(rc & 0xff, "reading table " + table + ": " + sqlite3_errmsg(source));
        }
        ++result.Damaged;
        const std::optional<int64_t> next =
            seeking ? NextReadable(probe.get(), from, probesLeft) : std::nullopt;
        if (!next) {
            result.GaveUp = !seeking || probesLeft < 0;
            break;
        }
        from = *next;
    }
    return result;
}

// The counters of AUTOINCREMENT tables, so that no number handed out before
// is handed out again.
void CopySequences(sqlite3* source, sqlite3* target) {
    StatementPtr read = TryPrepare(source, "SELECT name, seq FROM sqlite_sequence");
    StatementPtr write =
        TryPrepare(target, "UPDATE sqlite_sequence SET seq = max(seq, ?2) WHERE name = ?1");
    StatementPtr add = TryPrepare(target, "INSERT INTO sqlite_sequence (name, seq) SELECT ?1, ?2 "
                                          "WHERE NOT EXISTS (SELECT 1 FROM sqlite_sequence "
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

std::string WorkingName(const std::string& destination) {
    for (int n = 1;; ++n) {
        const std::string name =
            destination + ".salvage-" + std::to_string(::getpid()) + "-" + std::to_string(n);
        if (!fs::exists(name) && !fs::exists(name + "-journal")) {
            return name;
        }
    }
}

void Remove(const std::string& file) {
    std::error_code ec;
    fs::remove(file, ec);
    fs::remove(file + "-journal", ec);
}

std::string Counted(int64_t rows) {
    return rows < 0 ? "?" : std::to_string(rows);
}

} // namespace

bool SalvageDB(startup::RunSettings& settings, util::Progress& progress, util::UiServices& ui,
               const std::string& destination, SalvageOutcome& outcome) {
    outcome = SalvageOutcome{};
    outcome.File = destination;
    const std::string damaged = settings.DBFile;
    ui.SetBusy(true);
    progress.SetStatus("Reading the database structure ...");
    progress.SetValue(0);
    Log(settings, "{-} SalvageDB started");
    Log(settings, "{ } Damaged database      : " + damaged);
    Log(settings, "{ } New database          : " + destination);

    std::string working;
    bool ok = false;
    try {
        if (!util::FileExists(damaged)) {
            throw SalvageError("There is no database at " + damaged);
        }
        if (fs::exists(destination)) {
            throw SalvageError("A file already exists at " + destination +
                               "; the salvaged database is never written over another file");
        }
        Source source;
        // Never created, and opened without the checks of the suite's own
        // connection: one unreadable table must not keep the others shut.
        if (sqlite3_open_v2(damaged.c_str(), &source.db, SQLITE_OPEN_READWRITE, nullptr) !=
            SQLITE_OK) {
            throw SalvageError("The damaged database cannot be opened at all (" +
                               std::string(sqlite3_errmsg(source.db)) + ")");
        }
        sqlite3* from = source.db;
        // Reading only. A damaged structure still lists its tables, and
        // cells that do not fit their page are damage to step over, not
        // values to copy.
        Exec(from, "PRAGMA query_only = 1");
        Exec(from, "PRAGMA writable_schema = 1");
        Exec(from, "PRAGMA cell_size_check = 1");
        const std::vector<SchemaEntry> schema = ReadSchema(from);

        working = WorkingName(destination);
        std::string error;
        if (!db::CreateDatabaseFile(working, error)) {
            throw SalvageError("The new database cannot be made: " + error);
        }
        db::Connection target;
        target.Open(working);
        sqlite3* to = target.handle();
        outcome.Method = Method(to);
        Log(settings, "{ } Method                : " + outcome.Method);
        // Nothing of the new file counts until it is checked and renamed into
        // place, so its writes need neither a journal nor a flush each.
        Exec(to, "PRAGMA journal_mode = OFF");
        Exec(to, "PRAGMA synchronous = OFF");
        Exec(to, "BEGIN");

        std::vector<const SchemaEntry*> tables;
        for (const SchemaEntry& e : schema) {
            if (e.Type != "table" || IsEngineTable(e.Name)) {
                continue;
            }
            if (IsVirtual(e)) {
                Log(settings, "{*} Table {" + e.Name + "} is a virtual table and is left out");
                continue;
            }
            Exec(to, e.Sql);
            tables.push_back(&e);
        }
        for (size_t i = 0; i < tables.size(); ++i) {
            const std::string& name = tables[i]->Name;
            progress.SetStatus("Salvaging table " + name + " ...");
            progress.SetValue(5.0 + 80.0 * static_cast<double>(i) / tables.size());
            Log(settings, "{-} Salvaging table {" + name + "}");
            SalvagedTable counts{name, CountRows(from, name), 0};
            const TableCopy copy = CopyTable(from, to, name, ui);
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
            if (copy.GaveUp) {
                Log(settings,
                    "{*} The rows of table {" + name + "} after its damage could not be reached");
            }
            outcome.Tables.push_back(counts);
            ui.DoEvents();
        }
        CopySequences(from, to);

        progress.SetStatus("Writing indexes ...");
        progress.SetValue(85);
        Log(settings, "{-} Writing indexes, views and triggers");
        for (const SchemaEntry& e : schema) {
            if (e.Type == "table" || IsEngineTable(e.Name)) {
                continue;
            }
            try {
                Exec(to, e.Sql);
            } catch (const std::exception& x) {
                Log(settings,
                    "{*} The " + e.Type + " {" + e.Name + "} cannot be made: " + x.what());
            }
        }
        Exec(to, "COMMIT");

        progress.SetStatus("Checking the new database ...");
        progress.SetValue(90);
        Log(settings, "{-} Checking the new database");
        const std::string verdict = target.Scalar("PRAGMA integrity_check").AsText();
        if (verdict != "ok") {
            throw SalvageError("The salvaged database fails its integrity check (" + verdict + ")");
        }
        target.Close();
        if (!platform::FlushToDisk(working, error)) {
            throw SalvageError(error);
        }
        std::error_code ec;
        fs::rename(working, destination, ec);
        if (ec) {
            throw SalvageError("The salvaged database cannot be put at " + destination + ": " +
                               ec.message());
        }
        working.clear();
        if (!platform::FlushToDisk(destination, error)) {
            throw SalvageError(error);
        }
        ok = true;
    } catch (const std::exception& e) {
        outcome.Error = e.what();
        Log(settings, std::string("{*} ") + e.what());
    }
    if (!working.empty()) {
        Remove(working);
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

} // namespace maintenance
