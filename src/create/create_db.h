#pragma once
// Building a new, empty suite database from the template, with its default
// configuration row and transaction categories.

#include "platform/clock.h"
#include "startup/run_settings.h"
#include "util/services.h"

#include <cstdint>
#include <string>

namespace db {
class Connection;
}

namespace create {

// Creates Ketrova.mdb in `dbFolder` (a separator is added when missing),
// replacing an existing one without a backup. `shared` is the program's own
// connection, on which the categories are written after a reopen.
bool CreateNewDB(startup::RunSettings& settings, db::Connection& shared, util::Progress& progress,
                 util::UiServices& ui, const platform::Clock& clock, const std::string& dbFolder);

// Writes the configuration defaults that a database of `fromVersion` lacks
// (0 for a new database: all of them) into the first Configuration row,
// adding the row when the table is empty. Opens the connection on
// settings.DBFile first when it is not open.
bool WriteDefaultConfiguration(startup::RunSettings& settings, db::Connection& connection,
                               const platform::Clock& clock, int16_t fromVersion);

// Adds the missing default transaction categories.
void WriteDefaultCategories(db::Connection& connection);

// Adds one category unless a category of that name exists.
void AddCategory(db::Connection& connection, const std::string& name, int16_t ien);

} // namespace create
