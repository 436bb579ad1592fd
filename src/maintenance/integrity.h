#pragma once
// Whether the database file is sound, by SQLite's own checks: the structure
// of every page and index (integrity_check), and rows whose declared parent
// row is missing (foreign_key_check). The report shows the result before it
// repairs anything, and what follows a failed check hangs on Sound().

#include "db/connection.h"

#include <string>
#include <vector>

namespace maintenance {

// The most findings of each check the report lists.
inline constexpr int IntegrityFindingsShown = 100;

struct IntegrityResult {
    bool ran = false;                  // false when the checks could not be run at all
    std::string error;                 // why they could not
    std::vector<std::string> problems; // integrity_check's findings, none when the file is sound
    std::vector<std::string> orphans;  // "RentLog row 12 refers to a missing Lease"
    bool Sound() const { return ran && problems.empty() && orphans.empty(); }
};

// Runs both checks on the open connection; changes nothing. Never throws.
IntegrityResult CheckIntegrity(db::Connection& connection);

// The report's lines for the result: one labelled line per check, "{*}"
// where it failed, each finding on a line of its own below it, and
// SalvageAdvice when the file itself is damaged (rows whose parent is
// missing are the data's own matter, which salvage would copy as they are).
std::vector<std::string> IntegrityLines(const IntegrityResult& result);

// The line that points the user to salvage: the command and the wizard's choice.
std::string SalvageAdvice();

} // namespace maintenance
