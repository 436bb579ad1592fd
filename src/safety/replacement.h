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

// Ends a run (OperationGuard::End) that wrote `working` for itself, and
// removes that file unless it became the database. While the marker names it
// as the replacement it goes only after the marker: until then its absence
// would tell a recovery that the database had been replaced. A run that was
// refused made nothing: a file by that name is another run's.
void EndRun(OperationGuard& guard, const std::string& working);

// A name beside `file` for a file an operation writes for itself
// ("Ketrova.mdb.import-4242-1"), taken by no file and no journal.
std::string WorkingNameBeside(const std::string& file, std::string_view operation);

// The rows of every table of a database file.
bool CountRows(const std::string& file, std::map<std::string, int64_t>& counts, std::string& error);

// What PRAGMA integrity_check finds wrong in a database file; "" when the
// file passes. Not `thorough`: PRAGMA quick_check, which reads every page
// and checks every row and rule but not that each index holds exactly its
// table's rows, and takes a fraction of the time on a large database.
std::string CheckIntegrity(const std::string& file, bool thorough = true);

// Every operation that replaces the database (creation over it, upgrade,
// compaction, restore, import, salvage, putting a copy back) takes the same
// steps, in two calls: KeepBeforeReplacing when it begins to work towards
// the replacement, ReplaceDatabase once its new file is checked and flushed.

// Refused, changing nothing, while another process has the database open:
// that program would go on working in the replaced file, and everything it
// wrote from then on would be lost. Then what is at `dbFile` is kept in the
// safety-copy folder as `kept` (a full path), and the marker names it. With
// `hold`, the database is held still (begun here when it is not yet) and
// kept as a second name of its file, which the hold keeps unchanged until
// the rename; the caller holds it until then. Without one, or when the
// engine cannot hold the file (damaged, or no database), it is copied: by
// the engine, else byte for byte. True with nothing kept when there is no
// file at the path. False with `error` saying why.
bool KeepBeforeReplacing(OperationGuard& guard, const std::string& dbFile,
                         std::string_view operation, const platform::Clock& clock, SafetyCopy& kept,
                         std::string& error, DatabaseHold* hold = nullptr,
                         const SpaceQuery& space = platform::QueryVolume);

// The last steps, each of which the marker announces before it is taken:
// refused, changing nothing, while another process has the database open;
// the new version file is written beside its place (a full disk stops the
// run here, before anything changed); a rollback journal beside the database
// is moved into the safety-copy folder, next to the run's safety copy,
// since the engine would play it back into the new file; `replacement`
// (checked, and flushed to the disk) is renamed over `dbFile` (or to it,
// when there is no database yet); then the version file takes its name, or
// is removed, as `version` says. False with `error` saying why; `replaced`
// tells whether the database had been replaced when it failed (only the
// version file can then be behind).
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
