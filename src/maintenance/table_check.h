#pragma once
// The check of every table that both the troubleshooting report and the
// upgrade run: one line per user table with its field and record counts,
// then every NULL value replaced by its column's neutral value.

#include "db/catalog.h"
#include "db/connection.h"
#include "startup/run_settings.h"
#include "util/services.h"

#include <cstdint>
#include <string>
#include <vector>

namespace maintenance {

// For each user table, in name order (the engine's own tables and names
// starting with "MSys" are not the suite's and are left alone), writes
//   "{ } Database Table Name  : " + table + " {" + fields + " fields, " + records + " records} "
// to the run log, then hands every record that holds a NULL to
// db::RepairNullValues, which logs "{*} NULL value detected in field ..."
// for each NULL and writes the record back once.
//
// A table that cannot be counted or read gets a "{*}" line and the others
// are still checked, so a damaged database is examined to the end. Memory
// does not grow with the size of a table. `ui.DoEvents()` runs between
// tables and during long repairs.
//
// True when every table was counted and scanned without an error.
//
// With `deferred`, a table it takes has its NULLs only logged here, each as
// above and in the same order, and the columns that held them handed over:
// the upgrade folds their repair into the one pass it makes over the table.
class NullRepairs;
bool CheckTables(startup::RunSettings& settings, db::Connection& connection, util::UiServices& ui,
                 NullRepairs* deferred = nullptr);

class NullRepairs {
public:
    virtual ~NullRepairs() = default;
    // True when the repairs of the table are left to this object.
    virtual bool Takes(const std::string& table) = 0;
    // The columns of a taken table that held a NULL the repair replaces, in
    // the table's order (dates and the other types without a neutral value
    // are only logged).
    virtual void Repair(const std::string& table, const std::vector<db::ColumnInfo>& columns) = 0;
};

// The line written for one table, e.g.
// "{ } Database Table Name  : Unit {12 fields, 40 records} ".
std::string TableLine(const std::string& table, int32_t fields, int32_t records);

} // namespace maintenance
