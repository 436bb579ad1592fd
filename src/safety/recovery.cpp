#include "safety/recovery.h"

#include "safety/replacement.h"
#include "safety/safety_copy.h"
#include "util/paths.h"

#include <filesystem>
#include <system_error>

namespace safety {

namespace {

namespace fs = std::filesystem;

LeftState StateOf(const Marker& m) {
    // The rename is one step: the replacement's file is gone exactly when
    // it has become the database.
    if (!m.replacement.empty() && !util::FileExists(m.replacement)) {
        return LeftState::Replaced;
    }
    return m.databaseTouched ? LeftState::MayBeTouched : LeftState::Untouched;
}

bool HasCopy(const Marker& m) {
    return !m.safetyCopy.empty() && util::FileExists(m.safetyCopy);
}

// Removes a file the run made, never the database or its safety copy.
void RemoveOwnFile(const std::string& path, const Marker& m) {
    std::error_code ec;
    if (path.empty() || fs::equivalent(path, m.database, ec) ||
        (!m.safetyCopy.empty() && fs::equivalent(path, m.safetyCopy, ec))) {
        return;
    }
    DiscardWorkingFile(path);
}

} // namespace

std::optional<Interruption> FindInterruption(const std::string& dbFile) {
    std::optional<Marker> m = FindInterrupted(dbFile);
    if (!m) {
        return std::nullopt;
    }
    return Interruption{*m, StateOf(*m)};
}

std::string DescribeInterruption(const Interruption& i) {
    const std::string what = DescribeInterrupted(i.marker);
    switch (i.state) {
    case LeftState::Replaced:
        return what + " The new database it made was already checked and in place; recovery "
                      "finishes what was left to do.";
    case LeftState::MayBeTouched:
        if (HasCopy(i.marker)) {
            return what +
                   " The database may have been changed part way; recovery puts the "
                   "safety copy " +
                   i.marker.safetyCopy + " back.";
        }
        return what + " The database may have been changed part way and there is no safety "
                      "copy to put back; recovery keeps it as it is. Check it with the "
                      "diagnostics.";
    case LeftState::Untouched:
        break;
    }
    return what + " The database was not changed; recovery removes the files the run left.";
}

bool Recover(const std::string& dbFile, const platform::Clock& clock, bool putBack,
             std::string& done, std::string& error) {
    OperationGuard guard(dbFile, "recovery", clock);
    Marker old;
    if (!guard.Adopt(old, error)) {
        return false;
    }
    const LeftState state = StateOf(old);
    // Once the replacement's file is removed below, a marker still naming it
    // would tell the next look that the database had been replaced.
    if (state != LeftState::Replaced && !old.replacement.empty() && !guard.SetReplacement("", {})) {
        error = "The marker cannot be written beside " + dbFile + ".";
        return false;
    }
    switch (state) {
    case LeftState::Replaced:
        if (!ApplyVersionChange(dbFile, old.versionAfter, error)) {
            return false;
        }
        done = "The database the " + old.operation + " had put in place is kept.";
        break;
    case LeftState::MayBeTouched: {
        SafetyCopy copy;
        if (!putBack || !HasCopy(old) || !DescribeSafetyCopy(dbFile, old.safetyCopy, copy)) {
            done = "The database was kept as it is.";
            break;
        }
        SafetyCopy kept;
        if (util::FileExists(dbFile) && !MakeSafetyCopy(dbFile, "recovery", clock, kept, error)) {
            return false;
        }
        bool replaced = false;
        if (!InstallCopy(guard, copy.path, dbFile, VersionOfCopy(copy), replaced, error)) {
            return false;
        }
        done = "The safety copy " + copy.path + " was put back" +
               (kept.path.empty() ? "" : "; what was there is kept as " + kept.path) + ".";
        break;
    }
    case LeftState::Untouched:
        done = "The database was not changed.";
        break;
    }
    for (const auto& leftover : old.leftovers) {
        RemoveOwnFile(leftover, old);
    }
    if (state != LeftState::Replaced) {
        RemoveOwnFile(old.replacement, old);
    }
    // A second name of the database made just before the run was cut off,
    // before its marker could name it, is no copy either.
    for (const auto& copy : ListSafetyCopies(dbFile)) {
        DropCopyStillLinkedTo(copy.path, dbFile);
    }
    guard.End();
    done += " What the interrupted " + old.operation + " left was cleaned up.";
    return true;
}

} // namespace safety
