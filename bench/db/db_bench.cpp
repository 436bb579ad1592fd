// Scans a table of a few million rows through the database layer and prints
// the time and memory each pass takes. Memory must stay flat: a recordset
// streams its rows.
//
//   db_bench [ROWS] [FOLDER]     (default 3000000 rows in $TMPDIR or /tmp)

#include "db/connection.h"
#include "db/schema.h"
#include "startup/run_settings.h"

#include <sys/resource.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

namespace {

long PeakKiB() {
    rusage u{};
    getrusage(RUSAGE_SELF, &u);
    return u.ru_maxrss;
}

long CurrentKiB() {
    std::ifstream statm("/proc/self/statm");
    long pages = 0, resident = 0;
    statm >> pages >> resident;
    return resident * 4;
}

class Timer {
public:
    double Seconds() const {
        return std::chrono::duration<double>(std::chrono::steady_clock::now() - start_).count();
    }

private:
    std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
};

void Report(const char* pass, long rows, double seconds) {
    std::printf("%-34s %9ld rows %8.2f s %11.0f rows/s   rss %7ld KiB   peak %7ld KiB\n", pass,
                rows, seconds, seconds > 0 ? rows / seconds : 0.0, CurrentKiB(), PeakKiB());
}

} // namespace

int main(int argc, char** argv) {
    const long rows = argc > 1 ? std::atol(argv[1]) : 3000000;
    std::string folder =
        argc > 2 ? argv[2] : (std::getenv("TMPDIR") ? std::getenv("TMPDIR") : "/tmp");
    const std::string file = folder + "/ostrand_db_bench.mdb";
    std::filesystem::remove(file);
    std::filesystem::remove(file + "-journal");

    std::string error;
    if (!db::CreateDatabaseFile(file, error)) {
        std::fprintf(stderr, "cannot create %s: %s\n", file.c_str(), error.c_str());
        return 1;
    }
    try {
        db::Connection c;
        c.Open(file);
        std::printf("database layer scan, %ld rows, %s\n", rows, file.c_str());
        Report("start", 0, 0);

        c.Execute("CREATE TABLE Transactions (IdTransaction INTEGER, IdBuilding INTEGER, "
                  "TransDate DATETIME, Category VARCHAR(50), Description VARCHAR(100), "
                  "Amount CURRENCY, Reconciled BOOLEAN NOT NULL DEFAULT 0, Notes MEMO TEXT)");
        {
            Timer t;
            db::Transaction tx(c);
            // One row in a hundred has NULLs for the repair pass to find.
            c.Execute("WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < " +
                      std::to_string(rows) +
                      ") INSERT INTO Transactions SELECT i, i % 250, '7/1/2026', 'Rent Payment', "
                      "'Rent for unit ' || (i % 4000), CASE WHEN i % 100 = 0 THEN NULL ELSE "
                      "(i % 5000) * 1.25 END, i % 2, CASE WHEN i % 100 = 0 THEN NULL ELSE "
                      "'paid on time' END FROM n");
            tx.Commit();
            Report("fill (one statement)", rows, t.Seconds());
        }

        {
            Timer t;
            db::Recordset rs;
            rs.OpenTable(c, "Transactions");
            long n = 0;
            double sum = 0;
            for (; !rs.IsEOF(); rs.MoveNext()) {
                sum += rs.Field(5).AsDouble();
                ++n;
            }
            Report("OpenTable scan, one field", n, t.Seconds());
            std::printf("  (sum of Amount %.2f)\n", sum);
        }
        {
            Timer t;
            db::Recordset rs;
            int32_t count = db::OpenRecordset("SELECT * FROM Transactions", rs, c, false);
            long n = 0;
            size_t bytes = 0;
            for (; !rs.IsEOF(); rs.MoveNext()) {
                for (int i = 0; i < rs.FieldCount(); ++i) {
                    bytes += rs.Field(i).AsText().size();
                }
                ++n;
            }
            Report("OpenRecordset count + all fields", n, t.Seconds());
            std::printf("  (count %d, %zu bytes of text)\n", count, bytes);
        }
        {
            // The diagnostics' table check: every row through the NULL repair.
            startup::RunSettings settings; // no log open: the repair's lines go nowhere
            Timer t;
            db::Transaction tx(c);
            db::Recordset rs;
            db::OpenRecordset("SELECT * FROM Transactions", rs, c, false);
            long n = 0, repaired = 0;
            for (; !rs.IsEOF(); rs.MoveNext()) {
                repaired += db::RepairNullValues(rs, settings) > 0;
                ++n;
            }
            rs.Close();
            tx.Commit();
            Report("NULL repair scan (one transaction)", n, t.Seconds());
            std::printf("  (%ld rows repaired, %d NULL left)\n", repaired,
                        db::CountRecords(c, "Transactions", "Amount IS NULL OR Notes IS NULL"));
        }
        {
            Timer t;
            int32_t n = db::CountRecords(c, "Transactions", "");
            Report("CountRecords", n, t.Seconds());
        }
    } catch (const std::exception& e) {
        std::fprintf(stderr, "benchmark failed: %s\n", e.what());
        return 1;
    }
    std::filesystem::remove(file);
    return 0;
}
