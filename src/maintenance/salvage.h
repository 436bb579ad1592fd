#pragma once
// Getting back every row that can still be read from a damaged database (a
// crash, a full disk, a network share) into a new one. Only the stock engine
// is used: the damaged database's own structure is made again, then each
// table is read in row-number order, and where a read fails the reading
// seeks past the damage to the next row that reads, so that one bad page
// costs only the rows on it.

#include "startup/run_settings.h"
#include "util/services.h"

#include <cstdint>
#include <string>
#include <vector>

namespace maintenance {

struct SalvagedTable {
    std::string Name;
    int64_t Before = -1; // rows the damaged database could count; -1 when it could not
    int64_t After = 0;   // rows in the new database
};

struct SalvageOutcome {
    std::vector<SalvagedTable> Tables;
    std::string File;   // the new database
    std::string Method; // how the rows were read, for the user
    std::string Error;  // why the salvage failed, for the user; "" on success
};

// Reads settings.DBFile, which is left as it is, into a new database at
// `destination` (a file that must not exist yet). The new database is
// written beside its place under a temporary name and renamed into place
// only once it passes the engine's quick check, so a failure or a kill
// leaves nothing half-written at `destination`. Steps and losses go to the
// run log. True when the new database is in place.
bool SalvageDB(startup::RunSettings& settings, util::Progress& progress, util::UiServices& ui,
               const std::string& destination, SalvageOutcome& outcome);

} // namespace maintenance
