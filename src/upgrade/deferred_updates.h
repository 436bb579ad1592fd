#pragma once
// The upgrade's changes to the rows of its tables, gathered per table and
// written in one pass instead of one pass per statement.
//
// An old database's large tables (years of transactions and rent logs) meet
// a dozen whole-table changes in an upgrade: NULLs cleared, new columns
// filled, migration statements, obsolete columns dropped. Each of them alone
// rewrites every row. Here each change that is a plain
//   UPDATE table SET column = value [WHERE condition]
// is only composed into one expression per column over the row as it is
// stored, and the table is rewritten once: either by a single UPDATE when
// something must read the table's true state, or, at the end, by rebuilding
// the table with its final columns from those expressions.
//
// The outcome is that of running every statement by itself in order. A
// statement is first compiled against the live database, so one that the
// engine refuses (a column or table the database lacks) fails here with the
// engine's own message and changes nothing. A change is composed only where
// that is exact: on a plain table (db::IsPlainTable: nothing like a trigger
// or a constraint could make the single pass differ from the statements),
// where no NOT NULL column could be refused a value, and where no value read
// would be converted differently by the column it is stored in. Anything
// else is run as it stands, after the pending changes of every table it
// names are written.

#include "db/catalog.h"
#include "db/connection.h"
#include "db/schema.h"
#include "startup/run_settings.h"
#include "upgrade/update_statement.h"
#include "util/services.h"

#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace upgrade {

class DeferredUpdates {
public:
    explicit DeferredUpdates(db::Connection& connection);

    // Runs (or composes) one migration statement. "" when it succeeded or
    // will, else the engine's error text (nothing was changed). Throws when
    // pending work could not be written first: that is no statement's
    // failure but the database's.
    std::string Run(std::string_view sql);

    // Sets `column` of every row of `table` to `value`, an expression over
    // the row: the upgrade's own work (NULLs cleared, new columns filled).
    // Only for a table it defers, and a column that takes any value; throws
    // std::logic_error otherwise.
    void Assign(const std::string& table, const std::string& column, const ExprPtr& value);

    // True when changes to the table are composed (it is plain).
    bool Defers(const std::string& table);

    // Writes the table's pending changes to its rows, so that what reads it
    // next (a record conversion, a count) sees its true state.
    void Flush(const std::string& table);

    // The structure changed: columns and tables are read afresh. Pending
    // changes stay; they never name a column that was renamed (a table is
    // flushed before one of its columns is).
    void Reload();

    // Ends the run's work on the rows: every table the template keeps gets
    // its final columns (those the template names, in the table's order),
    // filled from its pending changes in one pass; the others are dropped
    // whole by the next step and only have their pending changes written.
    // A table that is not plain has its pending changes written and each
    // obsolete column dropped by itself ("{ } Field {...} kept as the last
    // column of {...}" when it is the table's last one). Throws on failure.
    void Finish(startup::RunSettings& settings, const std::vector<db::Field>& templateFields,
                util::UiServices& ui);

private:
    struct Table {
        std::string name; // as stored
        bool plain = false;
        std::vector<db::ColumnInfo> columns;
    };
    struct PendingColumn {
        std::string name; // as stored
        ExprPtr value;    // over the row as it is stored
    };
    using Pending = std::map<std::string, PendingColumn>; // by upper-case column name

    void ReadNames();
    Table* Find(std::string_view table);
    const db::ColumnInfo* Column(const Table& table, std::string_view column) const;
    bool Compose(Table& table, const UpdateStatement& statement);
    bool ReadsExactly(const Table& table, const UpdateStatement& statement);
    bool Stable(const Table& table, const ExprPtr& value, db::Affinity affinity) const;
    void Flush(const Table& table);

    db::Connection& connection_;
    std::map<std::string, Table> tables_; // by upper-case name; read on first use
    std::map<std::string, Pending> pending_;
};

} // namespace upgrade
