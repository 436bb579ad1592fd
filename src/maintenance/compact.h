#pragma once
// Compaction of the suite's database in place. The compacted copy is
// written beside the database, checked, and renamed over it in one step, so
// that the database's path always holds a whole database; the database as it
// was is kept as a safety copy.

#include "platform/clock.h"
#include "safety/safety_copy.h"
#include "startup/run_settings.h"
#include "util/services.h"

#include <cstdint>
#include <string>

namespace maintenance {

// Compacts settings.DBFile. The steps are logged ("{-} ..." each) while a
// run log is open; the "Destination" line names the compacted copy beside
// the database. On success `message` receives the four-line summary for the
// user and the result is true; on any failure the run stops where it is,
// `message` receives "The following error has occured:" and the error, and
// the result is false, with the database as it was. Refused while another
// Ostrand works on the database, another program has it open or writes it,
// and when it is newer than this program knows. `safetyCopy`, when given,
// receives where the database as it was is kept ("" when it was not
// replaced).
bool CompactDB(startup::RunSettings& settings, util::UiServices& ui, std::string& message,
               const platform::Clock& clock, std::string* safetyCopy = nullptr,
               const safety::SpaceQuery& space = platform::QueryVolume);

// The user's summary of a compaction from the old and new sizes in KB:
// sizes as "#,###" (0 prints empty) and the saving, 100 - new / old * 100,
// as "#0". Throws std::domain_error("Division by zero") when the old size is 0.
std::string CompactionSummary(int32_t oldKB, int32_t newKB);

} // namespace maintenance
