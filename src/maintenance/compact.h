#pragma once
// Compaction of the suite's database in place, in two passes through a
// temporary copy, so that the database ends up compacted under its own name.

#include "startup/run_settings.h"
#include "util/services.h"

#include <cstdint>
#include <string>

namespace maintenance {

// Compacts settings.DBFile. The steps are logged ("{-} ..." each) while a
// run log is open. On success `message` receives the four-line summary for
// the user and the result is true; on any failure the run stops where it
// is, nothing done is undone (a failure after the original was removed
// leaves the database as the temporary copy the log names), `message`
// receives "The following error has occured:" and the error, and the
// result is false. The database must not be in use: a transaction open in
// another connection fails the first pass with the database untouched.
bool CompactDB(startup::RunSettings& settings, util::UiServices& ui, std::string& message);

// The user's summary of a compaction from the old and new sizes in KB:
// sizes as "#,###" (0 prints empty) and the saving, 100 - new / old * 100,
// as "#0". Throws std::domain_error("Division by zero") when the old size is 0.
std::string CompactionSummary(int32_t oldKB, int32_t newKB);

} // namespace maintenance
