// How many 360-period schedules a second the engine builds, recalculates
// after an extra payment, and writes to and reads back from its stored text.
// The upgrade converts every stored mortgage through these paths.
//
// Usage: loan_bench [ROUNDS]   (default 10000)

#include "loan/amort.h"

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>

namespace {

using Clock = std::chrono::steady_clock;

void Report(const char* what, int rounds, Clock::duration spent) {
    double seconds = std::chrono::duration<double>(spent).count();
    std::printf("%-34s %8d schedules  %9.1f us each  %10.0f schedules/s\n", what, rounds,
                seconds * 1e6 / rounds, rounds / seconds);
}

} // namespace

int main(int argc, char** argv) {
    int rounds = argc > 1 ? std::atoi(argv[1]) : 10000;
    if (rounds < 1) {
        rounds = 1;
    }
    platform::FixedClock clock({2026, 7, 1, 0, 0, 0});
    util::UiServices ui;
    loan::cShared_Amort amort(clock, ui);
    const loan::Date first{2026, 7, 1};
    double sink = 0;

    auto start = Clock::now();
    for (int i = 0; i < rounds; ++i) {
        amort.CreateAmortization(100000 + i, 5, 360, first, 0, false, "m");
        sink += amort.Period(360).InterestToDate;
    }
    Report("build (CreateAmortization)", rounds, Clock::now() - start);

    start = Clock::now();
    for (int i = 0; i < rounds; ++i) {
        // Alternating amounts, so that every call really changes the schedule.
        amort.PayExtra(12, (i % 2) ? 1000.0f : 2000.0f);
        sink += amort.PeriodCount();
    }
    Report("recalculate after an extra payment", rounds, Clock::now() - start);

    amort.CreateAmortization(100000, 5, 360, first, 0, false, "m");
    std::string text;
    loan::cShared_Amort copy;
    start = Clock::now();
    for (int i = 0; i < rounds; ++i) {
        text = amort.DataString();
        copy.SetDataString(text);
        sink += copy.PeriodCount();
    }
    Report("DataString write + read", rounds, Clock::now() - start);
    std::printf("(text of one schedule: %zu bytes; checksum %.0f)\n", text.size(), sink);
    return 0;
}
