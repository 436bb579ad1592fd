#pragma once
// The check of every table that both the troubleshooting report and the
// upgrade run: one line per user table with its field and record counts,
// then every NULL value replaced by its column's neutral value.

#include "db/connection.h"
#include "startup/run_settings.h"
#include "util/services.h"

#include <cstdint>
#include <string>

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
bool CheckTables(startup::RunSettings& settings, db::Connection& connection, util::UiServices& ui);

// The line written for one table, e.g.
// "{ } Database Table Name  : Unit {12 fields, 40 records} ".
std::string TableLine(const std::string& table, int32_t fields, int32_t records);

} // namespace maintenance
