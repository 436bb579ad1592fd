#pragma once
// After a run that was cut off (a kill, a crash, a power cut): what it left
// is cleaned up, and the database is whole and at its path again.

#include "platform/clock.h"
#include "safety/operation_guard.h"

#include <optional>
#include <string>

namespace safety {

// What an interrupted run left the database as.
enum class LeftState {
    // As it was before the run: only the run's own files are left.
    Untouched,
    // The run's new, checked database is in place; only the version file
    // may be behind, which recovery writes.
    Replaced,
    // The database itself may have been changed part way: recovery puts the
    // safety copy back.
    MayBeTouched,
};

struct Interruption {
    Marker marker;
    LeftState state = LeftState::Untouched;
};

// The run on the database that was cut off, if any, and what it left.
std::optional<Interruption> FindInterruption(const std::string& dbFile);

// What the user is told: which operation was interrupted and when, and what
// recovery does about it.
std::string DescribeInterruption(const Interruption& interruption);

// Deals with the interrupted run under the lock: finishes a replacement
// whose new database is in place, puts the safety copy back where the
// database may have been touched (first keeping what is there as a safety
// copy of its own) unless `putBack` is false, removes the files the run left
// and then its marker. `done` tells the user what was done. False with
// `error` saying why; the marker then stays for another try.
bool Recover(const std::string& dbFile, const platform::Clock& clock, bool putBack,
             std::string& done, std::string& error);

} // namespace safety
