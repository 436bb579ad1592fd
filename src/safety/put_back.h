#pragma once
// Putting a safety copy back in the place of the database it was taken of.

#include "platform/clock.h"
#include "safety/safety_copy.h"
#include "startup/run_settings.h"

#include <string>

namespace safety {

// Puts the safety copy named `name` (as ListSafetyCopies names it) of
// settings.DBFile back, database and version file, after keeping what is
// there as a safety copy of its own (`kept`). The copy is written beside the
// database, checked and renamed over it; the copy itself stays. Writes its
// steps to the run log. Refused, changing nothing, while another Ostrand
// works on the database or another program has it open, when the database
// is newer than this program knows, and when the copy fails its check.
// False with `error` saying why.
bool PutBackSafetyCopy(startup::RunSettings& settings, const std::string& name,
                       const platform::Clock& clock, SafetyCopy& kept, std::string& error,
                       const SpaceQuery& space = platform::QueryVolume);

} // namespace safety
