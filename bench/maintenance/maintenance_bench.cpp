// Times the troubleshooting report, compaction and the salvage of a copy
// with one damaged page on a large current database, each beside what the
// engine's own shell needs for the nearest job (an integrity check, one
// VACUUM INTO of the undamaged database), and prints the peak memory.
//
//   maintenance_bench [RENTLOG_ROWS] [TRANSACTION_ROWS] [FOLDER]
//   (defaults 1000000 and 2000000 rows, in $TMPDIR or /tmp)
//
// One rent-log row in a hundred holds NULLs and 1,000 rent-log rows belong
// to no lease. Targets: the report within 3 times the integrity check,
// compaction (two passes) within 2.2 times one VACUUM INTO, salvage within
// 2 times one VACUUM INTO.

#include "db/connection.h"
#include "db/schema.h"
#include "maintenance/compact.h"
#include "maintenance/diagnostics.h"
#include "maintenance/salvage.h"
#include "maintenance/table_check.h"
#include "platform/clock.h"
#include "startup/registry.h"
#include "startup/run_settings.h"

#include <sys/resource.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

namespace {

namespace fs = std::filesystem;

long PeakKiB() {
    rusage u{};
    getrusage(RUSAGE_SELF, &u);
    return u.ru_maxrss;
}

class Timer {
public:
    double Seconds() const {
        return std::chrono::duration<double>(std::chrono::steady_clock::now() - start_).count();
    }

private:
    std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
};

void Line(const char* what, double seconds) {
    std::printf("%-44s %8.2f s   peak %7ld KiB\n", what, seconds, PeakKiB());
    std::fflush(stdout);
}

// A value of the column's template type for row i.
std::string Filler(const db::Field& f) {
    switch (f.DataType) {
    case db::adBoolean:
        return "(i % 2)";
    case db::adDate:
        return "'7/1/2026'";
    case db::adCurrency:
    case db::adDouble:
        return "(i % 1000) * 1.25";
    case db::adVarWChar:
    case db::adWChar:
        return "substr('entry ' || i, 1, " + std::to_string(f.Size > 0 ? f.Size : 20) + ")";
    case db::adLongVarWChar:
        return "'memo of row ' || i";
    default:
        return "i";
    }
}

// Fills `table` with `rows` rows, every template column given a value;
// `overrides` replaces the expression of the named columns.
void Fill(db::Connection& c, const db::SchemaLists& lists, const std::string& table, long rows,
          const std::vector<std::pair<std::string, std::string>>& overrides) {
    std::string columns;
    std::string values;
    for (const db::Field& f : lists.Template) {
        if (f.TableName != table) {
            continue;
        }
        std::string expr = Filler(f);
        for (const auto& [name, e] : overrides) {
            if (name == f.FieldName) {
                expr = e;
            }
        }
        columns += (columns.empty() ? "" : ", ") + f.FieldName;
        values += (values.empty() ? "" : ", ") + expr;
    }
    db::Transaction tx(c);
    c.Execute("WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < " +
              std::to_string(rows) + ") INSERT INTO " + table + " (" + columns + ") SELECT " +
              values + " FROM n");
    tx.Commit();
}

double Shell(const std::string& command) {
    Timer t;
    if (std::system(command.c_str()) != 0) {
        std::fprintf(stderr, "failed: %s\n", command.c_str());
    }
    return t.Seconds();
}

} // namespace

int main(int argc, char** argv) {
    const long rentRows = argc > 1 ? std::atol(argv[1]) : 1000000;
    const long transRows = argc > 2 ? std::atol(argv[2]) : 2000000;
    const std::string base =
        argc > 3 ? argv[3] : (std::getenv("TMPDIR") ? std::getenv("TMPDIR") : "/tmp");
    const std::string folder = base + "/ostrand_maintenance_bench/";
    fs::remove_all(folder);
    fs::create_directories(folder + "db");
    setenv("TMPDIR", folder.c_str(), 1); // the compaction's temporary copy goes here too

    startup::RunSettings settings;
    settings.AppPath = folder;
    settings.RegistryFile = folder + "registry.reg";
    settings.UserSettingsFile = folder + "settings.ini";
    const std::string dbFolder = folder + "db/";
    const std::string file = dbFolder + "Ketrova.mdb";
    startup::RegWriteString(startup::MachineRegistry(settings), startup::DatabasesKey, "Default",
                            dbFolder);
    std::ofstream(dbFolder + "Version") << "9\r\n";

    std::printf("maintenance benchmark: %ld rent-log rows, %ld transactions, in %s\n", rentRows,
                transRows, folder.c_str());
    try {
        Timer build;
        db::SchemaLists lists;
        std::string error;
        if (!db::LoadTemplateFile(settings, lists,
                                  std::string(OSTRAND_SOURCE_DIR) + "/data/Ketrova.ddf",
                                  db::ActionAdd) ||
            !db::CreateDatabaseFile(file, error)) {
            std::fprintf(stderr, "cannot build the database: %s\n", error.c_str());
            return 1;
        }
        db::Connection c;
        c.Open(file);
        util::UiServices quiet;
        if (!db::AddFields(settings, c, lists, quiet) || !db::AddIndexes(settings, c, lists)) {
            std::fprintf(stderr, "cannot create the template's tables\n");
            return 1;
        }
        const long leases = 5000;
        Fill(c, lists, "Configuration", 1, {});
        Fill(c, lists, "Lease", leases, {{"IdLease", "i"}});
        // 1,000 rows point at leases that do not exist; every hundredth has NULLs.
        Fill(c, lists, "RentLog", rentRows,
             {{"IdRentLog", "i"},
              {"IdLease", "CASE WHEN i <= 1000 THEN 900000 + i ELSE i % " + std::to_string(leases) +
                              " + 1 END"},
              {"AmountPaid", "CASE WHEN i % 100 = 0 THEN NULL ELSE (i % 1000) * 1.25 END"},
              {"Notes", "CASE WHEN i % 100 = 0 THEN NULL ELSE 'paid' END"}});
        Fill(c, lists, "Transactions", transRows, {{"IdTransaction", "i"}});
        c.Close();
        Line("build the database", build.Seconds());
        std::printf("database file: %.1f MB\n", fs::file_size(file) / 1e6);

        // The table scan alone, on a copy so the report still finds the NULLs.
        const std::string copy = dbFolder + "scan-copy.mdb";
        fs::copy_file(file, copy);
        {
            startup::RunSettings quietSettings;
            db::Connection scan;
            scan.Open(copy);
            Timer t;
            maintenance::CheckTables(quietSettings, scan, quiet);
            const std::string what =
                "table scan, " + std::to_string(rentRows / 100) + " rows repaired";
            Line(what.c_str(), t.Seconds());
        }
        fs::remove(copy);

        const double check = Shell("sqlite3 '" + file + "' 'PRAGMA integrity_check' > /dev/null");
        Line("sqlite3 shell: PRAGMA integrity_check", check);

        platform::SystemClock clock;
        maintenance::SystemProbe probe(false);
        db::Connection connection;
        Timer diag;
        maintenance::RunDiagnostics(settings, connection, quiet, clock, probe);
        const double report = diag.Seconds();
        Line("RunDiagnostics", report);

        const std::string vacuumed = folder + "shell-vacuum.mdb";
        const double vacuum =
            Shell("sqlite3 '" + file + "' \"VACUUM INTO '" + vacuumed + "'\" > /dev/null");
        fs::remove(vacuumed);
        Line("sqlite3 shell: VACUUM INTO", vacuum);

        settings.DBFile = file;
        std::string message;
        Timer compact;
        const bool ok = maintenance::CompactDB(settings, quiet, message);
        const double compaction = compact.Seconds();
        Line(ok ? "CompactDB (two passes)" : "CompactDB FAILED", compaction);

        // A copy with one rent-log page from the middle of the table overwritten.
        const std::string damaged = dbFolder + "damaged.mdb";
        fs::copy_file(file, damaged);
        int64_t page = 0;
        {
            db::Connection c;
            c.Open(damaged);
            page = c.Scalar("SELECT pageno FROM dbstat WHERE name = 'RentLog' AND pagetype = "
                            "'leaf' LIMIT 1 OFFSET (SELECT count(*) / 2 FROM dbstat WHERE name = "
                            "'RentLog' AND pagetype = 'leaf')")
                       .AsInt();
        }
        {
            std::fstream f(damaged, std::ios::in | std::ios::out | std::ios::binary);
            f.seekp((page - 1) * 4096);
            f << std::string(4096, '\x13');
        }
        startup::RunSettings salvageSettings;
        salvageSettings.DBFile = damaged;
        util::NullProgress progress;
        maintenance::SalvageOutcome outcome;
        Timer salvaging;
        const bool salvaged = maintenance::SalvageDB(salvageSettings, progress, quiet, clock,
                                                     {folder + "salvaged.mdb", false}, outcome);
        const double salvage = salvaging.Seconds();
        Line(salvaged ? "SalvageDB, one damaged page" : "SalvageDB FAILED", salvage);
        for (const maintenance::SalvagedTable& t : outcome.Tables) {
            if (t.Before != t.After) {
                std::printf("  %s: %lld rows before, %lld after\n", t.Name.c_str(),
                            static_cast<long long>(t.Before), static_cast<long long>(t.After));
            }
        }

        std::printf("\nreport / integrity check  %.2f (target 3.0)\n", report / check);
        std::printf("compaction / VACUUM INTO  %.2f (target 2.2)\n", compaction / vacuum);
        std::printf("salvage / VACUUM INTO     %.2f (target 2.0)\n", salvage / vacuum);
        std::printf("report file: %sOstrand.log\n", folder.c_str());
    } catch (const std::exception& e) {
        std::fprintf(stderr, "error: %s\n", e.what());
        return 1;
    }
    return 0;
}
