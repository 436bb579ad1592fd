#pragma once
// Replacing a database without a moment when its path holds less than a
// whole database.
//
// An operation that replaces the database (upgrade, compaction, putting a
// safety copy back) holds the database still for its whole run, writes the
// new database as a file of its own beside it, checks that file, and only
// then renames it over the database. A rename is one step of the file
// system: before it the old database is at the path, after it the new one.

#include "db/connection.h"
#include "platform/clock.h"
#include "safety/operation_guard.h"
#include "safety/safety_copy.h"

#include <cstdint>
#include <map>
#include <string>
#include <string_view>

namespace safety {

// The engine's write lock on the database for as long as an operation works
// from it, without writing. No other program can change the database
// meanwhile (its change would go into a file about to be replaced, and be
// lost), so what the operation copied is what the file still holds when it
// is replaced; they can still read it. Refused while another program is
// writing. Opening it plays back a journal an interrupted write left, so
// from then on the file is whole.
class DatabaseHold {
public:
    DatabaseHold() = default;
    ~DatabaseHold() { Release(); }
    DatabaseHold(const DatabaseHold&) = delete;
    DatabaseHold& operator=(const DatabaseHold&) = delete;

    bool Begin(const std::string& dbFile, std::string& error);
    void Release() noexcept;
    bool Held() const { return connection_.IsOpen(); }

    // A copy of the held database, made with the engine's backup, at
    // `destination`, which must not exist. Not forced to the disk: the
    // caller works on it, checks it and flushes it before it counts.
    bool CopyTo(const std::string& destination, std::string& error);

    // The rows of every table, read inside the hold.
    bool CountRows(std::map<std::string, int64_t>& counts, std::string& error);

private:
    db::Connection connection_;
};

// Removes a file an operation wrote for itself beside the database, with
// the journal the engine may have left beside it when the run was cut off.
// Never the database: callers pass only names of their own making.
void DiscardWorkingFile(const std::string& path);

// The rows of every table of a database file.
bool CountRows(const std::string& file, std::map<std::string, int64_t>& counts, std::string& error);

// What PRAGMA integrity_check finds wrong in a database file; "" when the
// file passes. Not `thorough`: PRAGMA quick_check, which reads every page
// and checks every row and rule but not that each index holds exactly its
// table's rows, and takes a fraction of the time on a large database.
std::string CheckIntegrity(const std::string& file, bool thorough = true);

// The last steps of a replacement, each of which the marker announces before
// it is taken: `replacement` (checked, and flushed to the disk) is renamed
// over `dbFile`, then the version file changes as `version` says. Refused,
// changing nothing, while another process has the database open or an
// unfinished write of another program left its journal beside it. False with
// `error` saying why; `replaced` tells whether the database had been
// replaced when it failed (only the version file can then be behind).
bool ReplaceDatabase(OperationGuard& guard, const std::string& replacement,
                     const std::string& dbFile, const VersionChange& version, bool& replaced,
                     std::string& error);

// Writes or removes the version file beside `dbFile` as `version` says.
bool ApplyVersionChange(const std::string& dbFile, const VersionChange& version,
                        std::string& error);

// Puts the database `copyPath` (a safety copy) in the place of `dbFile`: a
// copy of it is written beside the database, checked, and renamed over it,
// then the version file changes as `version` says. The copy itself stays as
// it is. False with `error` saying why; `replaced` as for ReplaceDatabase.
bool InstallCopy(OperationGuard& guard, const std::string& copyPath, const std::string& dbFile,
                 const VersionChange& version, bool& replaced, std::string& error,
                 const SpaceQuery& space = platform::QueryVolume);

// The version file kept with a safety copy, as the change that puts it back:
// its number written, or no file when the copy had none.
VersionChange VersionOfCopy(const SafetyCopy& copy);

} // namespace safety
