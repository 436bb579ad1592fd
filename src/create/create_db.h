#pragma once
// Building a new, empty suite database from the template, with its default
// configuration row and transaction categories.

#include "platform/clock.h"
#include "safety/safety_copy.h"
#include "startup/run_settings.h"
#include "util/services.h"

#include <cstdint>
#include <string>

namespace db {
class Connection;
}

namespace create {

// Creates Ketrova.mdb and its Version file in `dbFolder` (a separator is
// added when missing). `shared` is the program's own connection, on which the
// categories are written after a reopen. The new database is built in a
// folder of its own beside the old one and takes its name only when whole;
// an existing database is first kept in the safety-copy folder (`kept`
// receives the copy; its path stays "" when there was none), and the run
// holds the operation lock throughout. A failure at any step leaves the old
// files as they were.
bool CreateNewDB(startup::RunSettings& settings, db::Connection& shared, util::Progress& progress,
                 util::UiServices& ui, const platform::Clock& clock, const std::string& dbFolder,
                 safety::SafetyCopy* kept = nullptr);

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
