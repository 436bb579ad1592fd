#include "safety/put_back.h"

#include "safety/operation_guard.h"
#include "safety/replacement.h"
#include "startup/locator.h"
#include "util/paths.h"

namespace safety {

namespace {

bool Run(startup::RunSettings& settings, const std::string& name, const platform::Clock& clock,
         SafetyCopy& kept, std::string& error, const SpaceQuery& space) {
    const std::string& dbFile = settings.DBFile;
    SafetyCopy copy;
    for (const auto& c : ListSafetyCopies(dbFile)) {
        if (c.name == name) {
            copy = c;
        }
    }
    if (copy.path.empty()) {
        error = "There is no safety copy named " + name + " in " + SafetyFolderFor(dbFile) + ".";
        return false;
    }
    startup::Log(settings, "{ } Copy: " + copy.path);
    OperationGuard guard(dbFile, "put-back", clock);
    if (!guard.Begin(error)) {
        return false;
    }
    if (error = startup::NewerDatabaseRefusal(settings); !error.empty()) {
        return false;
    }
    // What is there is kept under the hold where the engine can read it,
    // else byte for byte.
    DatabaseHold hold;
    if (!KeepBeforeReplacing(guard, dbFile, "put-back", clock, kept, error, &hold, space)) {
        return false;
    }
    if (!kept.path.empty()) {
        startup::Log(settings, "{ } Safety copy: " + kept.path);
    }
    bool replaced = false;
    if (InstallCopy(guard, copy.path, dbFile, VersionOfCopy(copy), replaced, error, space)) {
        return true;
    }
    if (!replaced) {
        DropCopyStillLinkedTo(kept.path, dbFile);
        if (!util::FileExists(kept.path)) {
            kept = {};
        }
        return false;
    }
    // In place but its version file could not follow: what was there goes
    // back, whole, with the version file that still belongs to it.
    std::string undo;
    if (!kept.path.empty() && !InstallCopy(guard, kept.path, dbFile, {}, replaced, undo)) {
        error += " Putting back what was there failed too: " + undo;
    }
    return false;
}

} // namespace

bool PutBackSafetyCopy(startup::RunSettings& settings, const std::string& name,
                       const platform::Clock& clock, SafetyCopy& kept, std::string& error,
                       const SpaceQuery& space) {
    kept = {};
    startup::Log(settings, "{-} Putting back the safety copy " + name);
    if (!Run(settings, name, clock, kept, error, space)) {
        startup::Log(settings, "{*} " + error);
        return false;
    }
    PruneSafetyCopies(settings.DBFile);
    startup::Log(settings, "{-} Safety copy put back");
    return true;
}

} // namespace safety
