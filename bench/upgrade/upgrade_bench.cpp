// Upgrades a large version-4 database (years of rent logs and transactions,
// thousands of tenants, a thousand mortgages with 30-year stored schedules)
// and prints the time of each step, the whole run, and the peak memory.
//
//   upgrade_bench [SCALE] [FOLDER]
//
// SCALE 1 (default) is 500 properties, 20,000 tenants, 1,000,000 rent-log
// rows, 2,000,000 transactions and 1,000 mortgages of 360 periods; 0.1 makes
// a tenth of that for a quick look. The files go to FOLDER (default $TMPDIR
// or /tmp) and are removed afterwards.

#include "old_databases.h"
#include "upgrade/upgrade_db.h"

#include <sys/resource.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

namespace fs = std::filesystem;

namespace {

using Clock = std::chrono::steady_clock;

double Since(Clock::time_point t) {
    return std::chrono::duration<double>(Clock::now() - t).count();
}

long PeakKiB() {
    rusage u{};
    getrusage(RUSAGE_SELF, &u);
    return u.ru_maxrss;
}

// Times the steps by their status texts: a step lasts until the next text.
class StepTimer final : public util::Progress {
public:
    void SetValue(double) override {}
    void SetStatus(const std::string& text) override {
        Close();
        current_ = text;
        start_ = Clock::now();
    }
    void Close() {
        // The outcome text that ends the run is not a step.
        if (!current_.empty() && current_.rfind("Database upgrade", 0) != 0)
            std::printf("  %-32s %8.2f s   peak %7ld KiB\n", current_.c_str(), Since(start_),
                        PeakKiB());
        current_.clear();
    }

private:
    std::string current_;
    Clock::time_point start_;
};

} // namespace

int main(int argc, char** argv) {
    const double scale = argc > 1 ? std::atof(argv[1]) : 1.0;
    const std::string base =
        argc > 2 ? argv[2] : (std::getenv("TMPDIR") ? std::getenv("TMPDIR") : "/tmp");
    const fs::path root = fs::path(base) / "ostrand_upgrade_bench";
    fs::remove_all(root);
    fs::create_directories(root / "app");
    fs::create_directories(root / "db");
    fs::create_directories(root / "tmp");
    fs::copy_file(OSTRAND_SOURCE_DIR "/data/Ketrova.ddf", root / "app" / "Ketrova.ddf");
    // The backup archive is as large as the database: keep it with the rest.
    ::setenv("TMPDIR", (root / "tmp").c_str(), 1);

    auto scaled = [scale](double n) { return n * scale < 1 ? 1 : static_cast<int>(n * scale); };
    upgradetest::Population pop;
    pop.properties = scaled(500);
    pop.tenantsPerProperty = 40;
    pop.rentLogsPerLease = 50;
    pop.transactions = scaled(2000000);
    pop.mortgages = scaled(1000);
    pop.periods = 360;
    const long tenants = static_cast<long>(pop.properties) * pop.tenantsPerProperty;

    startup::RunSettings settings;
    settings.AppPath = (root / "app").string() + "/";
    settings.DBPath = (root / "db").string() + "/";
    settings.DBFile = settings.DBPath + "Ketrova.mdb";

    std::printf("Building a version-4 database: %d properties, %ld tenants, %ld rent-log rows, "
                "%d transactions, %d mortgages of %d periods\n",
                pop.properties, tenants, tenants * pop.rentLogsPerLease, pop.transactions,
                pop.mortgages, pop.periods);
    auto t0 = Clock::now();
    upgradetest::BuildOldDatabase(settings.DBPath, 4, pop);
    std::printf("  built in %.2f s, %.1f MB\n", Since(t0),
                static_cast<double>(fs::file_size(settings.DBFile)) / 1e6);
    const long peakBefore = PeakKiB();

    std::printf("Upgrading\n");
    StepTimer progress;
    util::UiServices ui;
    platform::SystemClock clock;
    db::Connection connection;
    auto t1 = Clock::now();
    const bool ok = upgrade::UpgradeDB(settings, connection, progress, ui, clock);
    const double total = Since(t1);
    progress.Close();
    std::printf("Upgrade %s in %.2f s (target 120 s); peak memory %ld KiB before the upgrade, "
                "%ld KiB after (target 262144 KiB)\n",
                ok ? "succeeded" : "FAILED", total, peakBefore, PeakKiB());
    fs::remove_all(root);
    return ok ? 0 : 1;
}
