#pragma once
// Databases of the suite's older versions (structures in tests/upgrade/data
// and the current template) with sample rows the upgrade must carry over.

#include <cstdint>
#include <string>

namespace upgradetest {

// How much sample data to write: the benchmark asks for a large database.
struct Population {
    int properties = 3;         // buildings and units from version 5 on
    int tenantsPerProperty = 2; // one lease each
    int rentLogsPerLease = 3;
    int transactions = 12;
    int mortgages = 3;
    int periods = 12; // of each stored schedule
};

// Writes Ketrova.mdb of `version` (4 to 8) and its "Version" file into
// `folder` (ending in "/"). Throws on any error.
void BuildOldDatabase(const std::string& folder, int version, const Population& population = {});

// A stored schedule as the suite's loan engine writes it: `periods` monthly
// periods of an annuity of `pv` at `ratePercent`, due from 1/1/2020 on, the
// first `paid` of them marked paid, `extra` extra principal in period 2.
std::string ScheduleText(double pv, double ratePercent, int periods, int paid, double extra);

// Identifiers the sample rows use.
inline constexpr int32_t kFirstTenant = 5001;
inline constexpr int32_t kFirstMortgage = 30001;
inline constexpr int32_t kNextIdStart = 50000000; // Configuration.NextId of every fixture
inline constexpr const char* kCompanyName = "Lakeside Rentals";

} // namespace upgradetest
