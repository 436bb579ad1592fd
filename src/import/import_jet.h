#pragma once
// Bringing a database the suite kept on Windows (Jet 3, Jet 4 or ACE) over
// into a new database of the suite, then up to the current version.

#include "db/connection.h"
#include "platform/clock.h"
#include "safety/safety_copy.h"
#include "startup/run_settings.h"
#include "util/services.h"

#include <cstdint>
#include <string>

namespace import {

struct ImportRequest {
    std::string Source; // the Windows database file
    std::string Folder; // where Ketrova.mdb is made; "" for the folder of Source
    bool Overwrite = false;
    // False leaves an older database at its version, for the upgrade
    // wizard to take on with the user watching.
    bool Upgrade = true;
};

struct ImportOutcome {
    std::string Database; // the new Ketrova.mdb
    int Tables = 0;
    int64_t Rows = 0;
    int16_t Version = 0;     // of the Windows database, from the Version file beside it
    bool Upgraded = false;   // the upgrade ran and succeeded
    safety::SafetyCopy Kept; // the database it replaced; path "" when there was none
    std::string Error;       // why the import failed, for the user; "" on success
    std::string Status;      // the final status text
};

// Reads every user table of request.Source and writes it, names and values
// kept, into a new Ketrova.mdb in the folder. The new database is written
// under a temporary name beside its place and renamed into place only when
// every row of every table came over, so a failure or a kill leaves no
// half-written Ketrova.mdb. The Version file beside the source is carried
// over (none reads as 0); an older version is then upgraded, unless
// request.Upgrade is false, with upgrade::UpgradeDB, which works on
// settings.DBPath and DBFile (they are set to the new database). An existing Ketrova.mdb is only
// replaced with request.Overwrite, and only once a safety copy of it is kept (see outcome.Kept).
// The folder's database is locked against other operations while the import works. Steps and
// problems go to the run log; progress is shown per table. True when the database was imported and,
// if it was older, upgraded.
bool ImportJet(startup::RunSettings& settings, db::Connection& connection, util::Progress& progress,
               util::UiServices& ui, const platform::Clock& clock, const ImportRequest& request,
               ImportOutcome& outcome);

} // namespace import
