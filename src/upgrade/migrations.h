#pragma once
// Running the data migrations of an upgrade on its open connection: the
// statements of the version's groups and the two record conversions.

#include "platform/clock.h"
#include "startup/run_settings.h"
#include "upgrade/conversions.h"
#include "upgrade/deferred_updates.h"
#include "util/services.h"

#include <cstdint>

namespace db {
class Connection;
}

namespace upgrade {

// Runs every migration item that a database of `version` receives, in order,
// through `updates` (which may leave a statement's work to its one pass over
// the table). A statement the database refuses (a column it lacks, a table
// already gone) is passed over: each group is written for the oldest
// database it may meet. Each is logged with the engine's message,
//   "{*} SQL update failed: " + statement + " (" + message + ")",
// and counted in `failedStatements`.
// False, after a "{*}" line, when user data would be lost if the upgrade went
// on to drop the old columns and tables: a record conversion that broke off
// part way, or old properties that did not all arrive as buildings and units.
bool RunMigrations(startup::RunSettings& settings, db::Connection& connection,
                   DeferredUpdates& updates, const platform::Clock& clock, util::UiServices& ui,
                   int16_t version, RecordConversions& conversions, int& failedStatements);

// Number of rows of the old Property table whose identifier is missing from
// Building or from Unit; 0 when the table is gone (nothing left to copy).
int64_t PropertiesNotCopied(db::Connection& connection);

} // namespace upgrade
