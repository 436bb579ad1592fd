#pragma once
// One operation at a time on a database, and a trace of it while it runs.
//
// Every operation that changes a database holds the lock ".Ketrova.mdb.lock"
// in the database's folder from its first change to its end, so that two
// runs of Ostrand (a wizard and a script, say) never work on one database at
// once. While it runs it also keeps a marker, "Ketrova.mdb.in-progress",
// beside the database: what it is doing, since when, in which process, where
// its safety copy is and which files of its own it has made. The marker goes
// when the operation ends, whatever its outcome; a marker whose operation no
// longer holds the lock is the trace of a run that was cut off.

#include "platform/clock.h"
#include "platform/file_lock.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace safety {

struct Marker {
    std::string operation; // "upgrade", "compact", "restore", ...
    int pid = 0;
    std::string started;    // "2026-11-23 19:02:12"
    std::string database;   // full name of the database file
    std::string safetyCopy; // "" until one was made
    // False while the run works only on copies beside the database; true
    // from the moment the database file itself may change.
    bool databaseTouched = false;
    std::vector<std::string> leftovers; // files of the run's own making
};

std::string LockPathFor(const std::string& dbFile);
std::string MarkerPathFor(const std::string& dbFile);

class OperationGuard {
public:
    OperationGuard(std::string dbFile, std::string_view operation, const platform::Clock& clock);
    ~OperationGuard(); // End()
    OperationGuard(const OperationGuard&) = delete;
    OperationGuard& operator=(const OperationGuard&) = delete;

    // Takes the lock and writes the marker. False, changing nothing, while
    // another process works on the database or an interrupted run has not
    // been recovered; `error` tells the user which.
    bool Begin(std::string& error);

    // Each rewrites the marker at once, so that it is true at every instant.
    // False when it could not be written (a full disk): the operation must
    // then not take the step the marker was to announce.
    bool SetSafetyCopy(const std::string& path);
    bool SetDatabaseTouched(bool touched);
    bool AddLeftover(const std::string& path);
    bool RemoveLeftover(const std::string& path);

    // Removes the marker and lets go of the lock.
    void End();

    const Marker& marker() const { return marker_; }

private:
    bool Write();

    std::string dbFile_;
    Marker marker_;
    platform::FileLock lock_;
};

// The marker of a run that was cut off (its process let go of the lock
// without removing it); nothing when there is no marker or its run goes on.
std::optional<Marker> FindInterrupted(const std::string& dbFile);

// What the user is told of it: "The upgrade of /data/Ketrova.mdb started on
// 2026-11-23 19:02:12 (process 4242) was interrupted."
std::string DescribeInterrupted(const Marker& marker);

// After an interrupted run has been dealt with: removes the files it made
// and its marker, under the lock. False with `error` when the lock is held.
bool ClearInterrupted(const std::string& dbFile, std::string& error);

// Other processes holding the database (or its journal) open, as a sentence
// for a refusal; "" when there are none. Replacing a file under another
// program's open connection loses that program's later writes.
std::string DescribeOtherHolders(const std::string& dbFile);

} // namespace safety
