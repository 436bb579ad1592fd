#pragma once
// Getting back every row that can still be read from a damaged database (a
// crash, a full disk, a network share) into a new one. Only the stock engine
// is used: the damaged database's own structure is made again, then each
// table is read in row-number order, and where a read fails the reading
// seeks past the damage to the next row that reads, so that one bad page
// costs only the rows on it.

#include "platform/clock.h"
#include "safety/safety_copy.h"
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

struct SalvageRequest {
    std::string Destination; // the new database: a file that must not exist yet
    bool Replace = false;    // instead, put it in place of the damaged database
};

struct SalvageOutcome {
    std::vector<SalvagedTable> Tables;
    std::string File;        // the new database
    std::string Method;      // how the rows were read, for the user
    std::string Error;       // why the salvage failed, for the user; "" on success
    safety::SafetyCopy Kept; // the damaged database, when it was replaced
};

// Reads settings.DBFile into a new database at request.Destination, leaving
// the damaged one as it is; or, with request.Replace, keeps a safety copy of
// the damaged database (byte for byte, as the engine cannot read it whole)
// and puts the new one in its place. The new database is written beside its
// place under a temporary name and renamed into place only once it passes
// the engine's quick check, so a failure or a kill leaves nothing
// half-written there. The damaged database is locked against other
// operations meanwhile. Steps and losses go to the run log. True when the
// new database is in place.
bool SalvageDB(startup::RunSettings& settings, util::Progress& progress, util::UiServices& ui,
               const platform::Clock& clock, const SalvageRequest& request,
               SalvageOutcome& outcome);

// A name in `folder` for a salvaged database that no file has taken:
// "Ketrova.salvaged.mdb", else "Ketrova.salvaged-2.mdb", and so on.
std::string FreeSalvageName(const std::string& folder);

// Puts a database that SalvageDB wrote (`salvaged`, beside the damaged one)
// in the place of settings.DBFile: the damaged database is kept as a safety
// copy (`kept`), the salvaged one is copied beside it, checked and renamed
// over it, and once it is in place its own file, now a second copy of the
// database, goes. Refused, changing nothing, while another run works on the
// database or another program has it open. Steps go to the run log. False
// with `error` saying why.
bool PutSalvagedInPlace(startup::RunSettings& settings, const std::string& salvaged,
                        const platform::Clock& clock, safety::SafetyCopy& kept, std::string& error);

} // namespace maintenance
