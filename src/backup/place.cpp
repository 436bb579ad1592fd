#include "backup/place.h"

#include "backup/bar.h"
#include "backup/restore.h"
#include "db/connection.h"
#include "platform/disk.h"
#include "platform/scratch.h"
#include "safety/operation_guard.h"
#include "safety/replacement.h"
#include "safety/safety_copy.h"
#include "util/paths.h"
#include "util/strings.h"

#include <filesystem>
#include <optional>
#include <system_error>

namespace fs = std::filesystem;

namespace backup {

namespace {

constexpr std::string_view DatabaseFileName = "ketrova.mdb";
constexpr const char* StepNames[] = {"writing", "flushing", "checking", "keeping the old file",
                                     "renaming"};

// A file of this run's making, removed on every way out unless it was put
// in place; with the journal the engine may have made beside it.
class Scratch {
public:
    explicit Scratch(std::string path) : path_(std::move(path)) {}
    ~Scratch() {
        if (!path_.empty()) {
            std::error_code ec;
            fs::remove(path_, ec);
            fs::remove(path_ + "-journal", ec);
        }
    }
    Scratch(const Scratch&) = delete;
    Scratch& operator=(const Scratch&) = delete;
    const std::string& path() const { return path_; }
    void Release() { path_.clear(); }

private:
    std::string path_;
};

// The engine's verdict on a whole database file: "ok", or what is wrong.
std::string IntegrityVerdict(const std::string& file) {
    try {
        db::Connection c;
        c.Open(file);
        return c.Scalar("PRAGMA integrity_check").AsText();
    } catch (const std::exception& e) {
        return e.what();
    }
}

bool Refuse(Placed& placed, std::string why) {
    placed.error = std::move(why);
    return false;
}

} // namespace

bool IsDatabaseTarget(std::string_view target) {
    return target.size() >= DatabaseFileName.size() &&
           util::EqualsNoCase(target.substr(target.size() - DatabaseFileName.size()),
                              DatabaseFileName);
}

bool PlaceRestoredFile(startup::RunSettings& settings, const std::string& archive,
                       const std::string& target, int32_t start, int32_t length,
                       const platform::Clock& clock, Placed& placed, const PlaceFault& fault) {
    placed = {};
    const auto fails = [&](PlaceStep step) {
        if (!fault || !fault(step)) {
            return false;
        }
        placed.error =
            std::string("Made to fail at ") + StepNames[static_cast<int>(step)] + " for " + target;
        return true;
    };
    std::string why;
    const NameState state = LookAtName(target, &why);
    if (state == NameState::Unusable) {
        return Refuse(placed, why);
    }
    const bool replacing = state == NameState::Taken;
    const bool database = IsDatabaseTarget(target);
    std::error_code ec;
    if (replacing && fs::is_directory(fs::symlink_status(target, ec))) {
        return Refuse(placed, "A folder of that name is in the way: " + target);
    }
    // A database takes its name under the operation lock, so that no other
    // run of Ostrand works on it meanwhile and an interruption leaves a
    // marker behind.
    std::optional<safety::OperationGuard> guard;
    if (database) {
        guard.emplace(target, "restore", clock);
        if (!guard->Begin(placed.error)) {
            return false;
        }
        if (std::string holders = safety::DescribeOtherHolders(target);
            replacing && !holders.empty()) {
            return Refuse(placed, holders);
        }
    }

    Scratch scratch(platform::CreateScratchFile(util::ParentFolder(target), "restore", why));
    if (scratch.path().empty()) {
        return Refuse(placed, why);
    }
    const std::string newFile = scratch.path();
    if (guard && !guard->AddLeftover(newFile)) {
        return Refuse(placed, "The marker beside " + target + " cannot be written.");
    }
    if (fails(PlaceStep::Write) ||
        !RestoreFileInto(settings, archive, target, newFile, start, length, placed.error) ||
        fails(PlaceStep::Flush) || !platform::FlushToDisk(newFile, placed.error)) {
        return false;
    }
    if (replacing && database) {
        if (fails(PlaceStep::Check)) {
            return false;
        }
        const std::string verdict = IntegrityVerdict(newFile);
        if (verdict != "ok") {
            return Refuse(placed, "The restored database did not pass the engine's check (" +
                                      verdict + "); " + target + " was kept as it was.");
        }
    }
    if (replacing) {
        if (fails(PlaceStep::Keep)) {
            return false;
        }
        const bool ok =
            database ? safety::KeepBeforeReplacing(*guard, target, "restore", clock, placed.kept,
                                                   placed.error)
                     : safety::KeepAside(target, "restore", clock, placed.kept, placed.error);
        if (!ok) {
            return false;
        }
        // Told to the user, who may be anywhere by the time they look.
        placed.kept.path = fs::absolute(placed.kept.path).lexically_normal().string();
    }
    bool replaced = false;
    if (fails(PlaceStep::Replace) ||
        !(database ? safety::ReplaceDatabase(*guard, newFile, target, {}, replaced, placed.error)
                   : platform::ReplaceFile(newFile, target, placed.error))) {
        return false;
    }
    scratch.Release();
    return true;
}

} // namespace backup
