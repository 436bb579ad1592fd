#pragma once
// Running the data migrations of an upgrade on its open connection: the
// statements of the version's groups and the two record conversions.

#include "platform/clock.h"
#include "startup/run_settings.h"
#include "util/services.h"

#include <cstdint>

namespace db {
class Connection;
}

namespace upgrade {

// Runs every migration item that a database of `version` receives, in order.
// Best-effort throughout: a statement the database refuses (a column it
// lacks, a table already gone) is passed over, and so is a conversion that
// breaks off; neither stops the upgrade.
void RunMigrations(startup::RunSettings& settings, db::Connection& connection,
                   const platform::Clock& clock, util::UiServices& ui, int16_t version);

} // namespace upgrade
