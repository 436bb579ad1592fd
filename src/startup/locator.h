#pragma once
// Where the suite's database lives and what state it is in: the registry
// names the folder (per database name, AltDB), the folder holds Ketrova.mdb
// and a "Version" file.

#include "startup/run_settings.h"

#include <cstdint>
#include <string>
#include <vector>

namespace startup {

// What the locator found, before it is written to a log.
struct LocateFindings {
    bool found = false;  // the registry (or the per-user fallback) named a folder
    bool exists = false; // DBFile exists
    int16_t version = 0; // the version file's number, 0 when there is none
    DBStatus status = DBMissing;
    // The database was made by a newer program than this one. It still counts
    // as current, but nothing here may change its structure.
    bool newer = false;
};

// The database folder the registry names for AltDB, or for the "Default"
// database an older installation's per-user settings; "" when neither does.
// Reads only: FindDatabase is what records the older setting in the registry.
std::string RegisteredDatabaseFolder(const RunSettings& settings);

// Fills DBPath and DBFile from settings.RegistryFile (and, for the "Default"
// database only, from the per-user settings of an older installation, which
// is then recorded in the registry) and judges the database. Writes no log.
LocateFindings FindDatabase(RunSettings& settings);

// The six "{ } " lines the locator writes about its findings.
std::vector<std::string> LocatorLogLines(const RunSettings& settings, const LocateFindings& f);

// FindDatabase, and when logFileNo is not 0, its six lines into that file.
DBStatus LocateDatabase(RunSettings& settings, int16_t logFileNo);

// The number in DBPath + "Version" (no separator is put between them: the
// registry value ends in one); 0 when the file is missing or unreadable.
int16_t ReadDBVersion(const RunSettings& settings);

// The number a version file holds (wherever it lies, a safety copy's
// included); 0 when the file is missing or unreadable.
int16_t ReadVersionFile(const std::string& path);

// Writes "Version" holding `version` into the folder (a separator is added
// when missing), replacing any older file. Written beside and renamed, so
// that a crash leaves the old file or the new one: an empty file would read
// as version 0 and send a current database through the oldest conversions.
// True on success.
bool WriteVersionFile(const std::string& folder, int16_t version = CurrentDBVersion);

// The same for a version file at `path`, under whatever name it has there.
bool WriteVersionFileAt(const std::string& path, int16_t version);

// What every operation that would change a newer database's structure says
// instead, naming both versions.
std::string NewerDatabaseText(const std::string& dbFile, int16_t version);

// NewerDatabaseText for the database of the run settings when its version
// file says it is newer than this program; "" when it is not.
std::string NewerDatabaseRefusal(const RunSettings& settings);

} // namespace startup
