// Holds the upgrade of a large version-4 database (years of rent logs and
// transactions, thousands of tenants, a thousand mortgages with 30-year
// stored schedules) against a hand-written SQL script that does the same
// work in the sqlite3 shell (upgrade_v4.sql beside this file), both run side
// by side on copies of one database, and prints each step's time, the
// script's, their ratio and the peak memory. The record conversions computed
// in code (tenant contacts, mortgages) run on both sides and are timed apart,
// outside the ratio. The two results are compared table by table; any
// difference is named and ends the run with exit code 1.
//
//   upgrade_bench [SCALE [ROUNDS [FOLDER]]]
//
// SCALE 1 (default) is 500 properties, 20,000 tenants, 1,000,000 rent-log
// rows, 2,000,000 transactions and 1,000 mortgages of 360 periods; 0.1 makes
// a tenth of that for a quick look. ROUNDS (default 3) alternate which side
// goes first; the figures are medians. The files go to FOLDER (default
// $TMPDIR or /tmp) and are removed afterwards.

#include "old_databases.h"

#include "create/create_db.h"
#include "maintenance/table_check.h"
#include "startup/run_log.h"
#include "upgrade/upgrade_db.h"

#include <sys/resource.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

namespace fs = std::filesystem;

namespace {

using Clock = std::chrono::steady_clock;

double Since(Clock::time_point t) {
    return std::chrono::duration<double>(Clock::now() - t).count();
}

long PeakKiB(int who) {
    rusage u{};
    getrusage(who, &u);
    return u.ru_maxrss;
}

double Median(std::vector<double> v) {
    std::sort(v.begin(), v.end());
    return v.empty() ? 0 : v[v.size() / 2];
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
            steps.emplace_back(current_, Since(start_));
        current_.clear();
    }
    std::vector<std::pair<std::string, double>> steps;

private:
    std::string current_;
    Clock::time_point start_;
};

class TimedConversions final : public upgrade::RecordConversions {
public:
    int32_t TenantContacts(db::Connection& c, const platform::Clock& clock) override {
        const auto t = Clock::now();
        const int32_t n = RecordConversions::TenantContacts(c, clock);
        seconds += Since(t);
        return n;
    }
    int32_t Mortgages(db::Connection& c) override {
        const auto t = Clock::now();
        const int32_t n = RecordConversions::Mortgages(c);
        seconds += Since(t);
        return n;
    }
    double seconds = 0;
};

struct Install {
    startup::RunSettings settings;
    Install(const fs::path& app, const fs::path& folder) {
        settings.AppPath = app.string() + "/";
        settings.DBPath = folder.string() + "/";
        settings.DBFile = settings.DBPath + "Ketrova.mdb";
    }
};

void Fresh(const fs::path& original, const fs::path& folder) {
    fs::remove_all(folder);
    fs::create_directories(folder);
    for (const char* name : {"Ketrova.mdb", "Version"})
        fs::copy_file(original / name, folder / name);
}

const platform::FixedClock kClock{{2026, 11, 22, 12, 0, 0}};

struct OstrandRun {
    std::vector<std::pair<std::string, double>> steps;
    double total = 0, conversions = 0;
    int failedStatements = 0;
};

OstrandRun RunOstrand(const fs::path& app, const fs::path& folder) {
    Install in(app, folder);
    in.settings.LogFileNo =
        startup::OpenLogFile(in.settings.Files, in.settings.AppPath + "Ostrand.log", 1, 0);
    StepTimer progress;
    TimedConversions conversions;
    util::UiServices ui;
    db::Connection connection;
    upgrade::UpgradeReport report;
    const auto t = Clock::now();
    const bool ok =
        upgrade::UpgradeDB(in.settings, connection, progress, ui, kClock, &report, &conversions);
    const double total = Since(t);
    progress.Close();
    startup::CloseFile(in.settings.Files, in.settings.LogFileNo);
    if (!ok)
        throw std::runtime_error("the upgrade FAILED; see " + in.settings.AppPath + "Ostrand.log");
    return {progress.steps, total, conversions.seconds, report.FailedStatements};
}

// One part of the script through the sqlite3 shell, stopping at its first error.
void Shell(const fs::path& database, const std::string& sql) {
    const std::string command = "sqlite3 -bail '" + database.string() + "'";
    FILE* shell = popen(command.c_str(), "w");
    if (!shell)
        throw std::runtime_error("cannot start the sqlite3 shell");
    std::fwrite(sql.data(), 1, sql.size(), shell);
    if (pclose(shell) != 0)
        throw std::runtime_error("the hand-written script failed in the sqlite3 shell");
}

struct ScriptRun {
    double total = 0, conversions = 0;
};

ScriptRun RunScript(const fs::path& app, const fs::path& folder, const std::string& before,
                    const std::string& after) {
    Install in(app, folder);
    ScriptRun run;
    const auto t = Clock::now();
    Shell(folder / "Ketrova.mdb", before);
    {
        db::Connection c;
        c.Open(in.settings.DBFile);
        TimedConversions conversions;
        db::Transaction tr(c);
        conversions.TenantContacts(c, kClock);
        conversions.Mortgages(c);
        tr.Commit();
        run.conversions = conversions.seconds;
    }
    Shell(folder / "Ketrova.mdb", after);
    db::Connection c;
    c.Open(in.settings.DBFile);
    if (!create::WriteDefaultConfiguration(in.settings, c, kClock, 4))
        throw std::runtime_error("the configuration defaults could not be written");
    run.total = Since(t);
    return run;
}

// A query's rows of one column, joined into one text.
std::string Joined(db::Connection& c, const std::string& sql) {
    return c.Scalar("SELECT group_concat(x, char(10)) FROM (" + sql + ")").AsText();
}

std::vector<std::string> Lines(const std::string& text) {
    std::vector<std::string> lines;
    std::stringstream in(text);
    for (std::string line; std::getline(in, line);)
        lines.push_back(line);
    return lines;
}

// The first difference between the two databases, "" when there is none.
std::string Difference(const fs::path& ours, const fs::path& theirs) {
    db::Connection a, b;
    a.Open(ours.string());
    b.Open(theirs.string());
    const std::string tables =
        "SELECT name AS x FROM sqlite_master WHERE type = 'table' ORDER BY name";
    if (Joined(a, tables) != Joined(b, tables))
        return "the two have different tables";
    const std::string indexes =
        "SELECT m.name || ' ' || l.name || ' ' || i.name AS x FROM sqlite_master m, "
        "pragma_index_list(m.name) l, pragma_index_info(l.name) i WHERE m.type = 'table' "
        "ORDER BY m.name, l.name, i.seqno";
    if (Joined(a, indexes) != Joined(b, indexes))
        return "the two have different indexes";
    a.Execute("ATTACH DATABASE '" + theirs.string() + "' AS theirs");
    for (const std::string& table : Lines(Joined(a, tables))) {
        const std::string from = " FROM pragma_table_info('" + table + "') ORDER BY cid";
        const std::string info = "SELECT name || ' ' || type || ' ' || \"notnull\" || ' ' || "
                                 "IFNULL(dflt_value, '-') AS x" +
                                 from;
        if (Joined(a, info) != Joined(b, info))
            return "table " + table + ": the columns differ";
        std::string select = "SELECT rowid";
        for (const std::string& column : Lines(Joined(a, "SELECT name AS x" + from))) {
            const std::string name = "\"" + column + "\"";
            select += ", " + name + ", typeof(" + name + ")";
        }
        const auto only = [&](const char* one, const char* other) {
            return a
                .Scalar("SELECT count(*) FROM (" + select + " FROM " + one + ".\"" + table +
                        "\" EXCEPT " + select + " FROM " + other + ".\"" + table + "\")")
                .AsInt();
        };
        const auto size = [&](const char* schema) {
            return a.Scalar(std::string("SELECT count(*) FROM ") + schema + ".\"" + table + "\"")
                .AsInt();
        };
        const int64_t onlyOurs = only("main", "theirs"), onlyTheirs = only("theirs", "main");
        if (onlyOurs || onlyTheirs || size("main") != size("theirs"))
            return "table " + table + ": " + std::to_string(onlyOurs) +
                   " rows only in Ostrand's, " + std::to_string(onlyTheirs) +
                   " only in the script's";
    }
    return {};
}

// What the table check of a diagnostics report run right after the upgrade
// writes: its lines and the NULLs among them.
std::pair<long, long> ReportScan(const fs::path& app, const fs::path& folder) {
    Install in(app, folder);
    const std::string log = in.settings.AppPath + "Table check.log";
    in.settings.LogFileNo = startup::OpenLogFile(in.settings.Files, log, 1, 0);
    db::Connection c;
    c.Open(in.settings.DBFile);
    util::UiServices ui;
    maintenance::CheckTables(in.settings, c, ui);
    startup::CloseFile(in.settings.Files, in.settings.LogFileNo);
    std::ifstream lines(log);
    long nulls = 0;
    for (std::string line; std::getline(lines, line);)
        nulls += line.find("NULL value detected") != std::string::npos;
    return {static_cast<long>(fs::file_size(log)), nulls};
}

std::pair<std::string, std::string> ScriptParts() {
    std::ifstream in(OSTRAND_SOURCE_DIR "/bench/upgrade/upgrade_v4.sql");
    std::stringstream text;
    text << in.rdbuf();
    const std::string sql = text.str();
    const std::string marker = "\n-- @conversions\n";
    const size_t cut = sql.find(marker);
    if (cut == std::string::npos)
        throw std::runtime_error("upgrade_v4.sql has no \"-- @conversions\" line");
    return {sql.substr(0, cut + 1), sql.substr(cut + marker.size())};
}

} // namespace

int main(int argc, char** argv) try {
    const double scale = argc > 1 ? std::atof(argv[1]) : 1.0;
    const int rounds = argc > 2 ? std::max(1, std::atoi(argv[2])) : 3;
    const std::string base =
        argc > 3 ? argv[3] : (std::getenv("TMPDIR") ? std::getenv("TMPDIR") : "/tmp");
    const fs::path root = fs::path(base) / "ostrand_upgrade_bench";
    const auto [before, after] = ScriptParts();
    fs::remove_all(root);
    for (const char* dir : {"app", "original", "tmp"})
        fs::create_directories(root / dir);
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
    std::printf("Building a version-4 database: %d properties, %ld tenants, %ld rent-log rows, "
                "%d transactions, %d mortgages of %d periods\n",
                pop.properties, tenants, tenants * pop.rentLogsPerLease, pop.transactions,
                pop.mortgages, pop.periods);
    auto t0 = Clock::now();
    upgradetest::BuildOldDatabase((root / "original").string() + "/", 4, pop);
    std::printf("  built in %.2f s, %.1f MB\n", Since(t0),
                static_cast<double>(fs::file_size(root / "original" / "Ketrova.mdb")) / 1e6);
    const long peakBefore = PeakKiB(RUSAGE_SELF);

    std::vector<OstrandRun> ours;
    std::vector<double> script, scriptConversions, oursApart, ratios;
    for (int round = 0; round < rounds; ++round) {
        for (int side = 0; side < 2; ++side) {
            fs::remove_all(root / "tmp");
            fs::create_directories(root / "tmp");
            if ((side + round) % 2 == 0) {
                Fresh(root / "original", root / "ostrand");
                ours.push_back(RunOstrand(root / "app", root / "ostrand"));
            } else {
                Fresh(root / "original", root / "script");
                const ScriptRun s = RunScript(root / "app", root / "script", before, after);
                script.push_back(s.total - s.conversions);
                scriptConversions.push_back(s.conversions);
            }
        }
        const OstrandRun& o = ours.back();
        oursApart.push_back(o.total - o.conversions);
        ratios.push_back(oursApart.back() / script.back());
        std::printf("Round %d: Ostrand %.2f s (%.2f s without the conversions), script %.2f s, "
                    "ratio %.2f\n",
                    round + 1, o.total, oursApart.back(), script.back(), ratios.back());
    }

    if (const std::string diff =
            Difference(root / "ostrand" / "Ketrova.mdb", root / "script" / "Ketrova.mdb");
        !diff.empty()) {
        std::fprintf(stderr, "RESULTS DIFFER: %s\n", diff.c_str());
        return 1;
    }
    std::printf("The two results are the same, table by table.\n");

    std::printf("Ostrand's steps (median of %d):\n", rounds);
    for (size_t i = 0; i < ours.front().steps.size(); ++i) {
        std::vector<double> times;
        for (const auto& run : ours)
            times.push_back(i < run.steps.size() ? run.steps[i].second : 0);
        std::printf("  %-32s %8.2f s\n", ours.front().steps[i].first.c_str(), Median(times));
    }
    std::vector<double> totals, conversions;
    for (const auto& run : ours) {
        totals.push_back(run.total);
        conversions.push_back(run.conversions);
    }
    const auto [reportBytes, reportNulls] = ReportScan(root / "app", root / "ostrand");
    std::printf("Ostrand's upgrade                  %8.2f s, of which the record conversions "
                "%.2f s\n"
                "  without the conversions          %8.2f s\n"
                "Hand-written script                %8.2f s, conversions apart %.2f s\n"
                "Ratio (without the conversions)    %8.2f   (target 1.5)\n"
                "Statements the database refused    %8d\n"
                "Table check of a report right after: %.1f KB, %ld NULLs (target under 1 MB)\n"
                "Peak memory: %ld KiB before the upgrade, %ld KiB after (target 262144 KiB); "
                "sqlite3 shell %ld KiB\n",
                Median(totals), Median(conversions), Median(oursApart), Median(script),
                Median(scriptConversions), Median(ratios), ours.back().failedStatements,
                static_cast<double>(reportBytes) / 1024, reportNulls, peakBefore,
                PeakKiB(RUSAGE_SELF), PeakKiB(RUSAGE_CHILDREN));
    fs::remove_all(root);
    return 0;
} catch (const std::exception& e) {
    std::fprintf(stderr, "upgrade_bench: %s\n", e.what());
    return 1;
}
