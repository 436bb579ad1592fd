#pragma once
// Putting a restored file at its name without ever deleting what was there.
// The bytes go into a new file beside the target first and are forced to the
// disk; a database that is to replace another must pass the engine's
// integrity check; what held the name is kept in the safety-copy folder
// beside it (a database as a checked copy, any other file under a second
// name); only then does the new file take the name, in one rename. A failure
// at any step, a full disk among them, leaves the name as it was and no file
// of ours behind; a crash leaves the old file or the new one, whole.

#include "platform/clock.h"
#include "safety/safety_copy.h"
#include "startup/run_settings.h"

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

namespace backup {

// True for the suite's database ("Ketrova.mdb", in any case).
bool IsDatabaseTarget(std::string_view target);

// The steps in their order, named so that a test can make one of them fail.
enum class PlaceStep { Write, Flush, Check, Keep, Replace };

// For tests: a step for which it returns true fails before it is taken, as if
// the system had refused it.
using PlaceFault = std::function<bool(PlaceStep)>;

struct Placed {
    safety::SafetyCopy kept; // what was at the name; its path is "" when nothing was
    std::string error;       // why it failed, naming the file
};

// Restores `length` bytes from archive position `start` to `target` (whose
// folder exists), writing BaR_Restore_File's log block. A database target is
// placed under the operation lock, and one held open by another program is
// refused, since it would go on writing into the file that is moved away.
bool PlaceRestoredFile(startup::RunSettings& settings, const std::string& archive,
                       const std::string& target, int32_t start, int32_t length,
                       const platform::Clock& clock, Placed& placed, const PlaceFault& fault = {});

} // namespace backup
