// ostrand-cli's maintenance commands, run as the built program against a
// private program folder and registry store.

#include "maint_fixture.h"
#include "support/cli_run.h"

#include <filesystem>

namespace {

namespace fs = std::filesystem;
using testsupport::ReadFile;

using MaintenanceCommands = mainttest::CliTest;

TEST_F(MaintenanceCommands, PrintWhatTheyDidAndLogIt) {
    // One stray rent-log row.
    connection.Execute("CREATE TABLE Lease (IdLease INTEGER)");
    connection.Execute(
        "CREATE TABLE RentLog (IdRentLog INTEGER, IdLease INTEGER, Memo VARCHAR(20))");
    connection.Execute("INSERT INTO Lease VALUES (1)");
    connection.Execute("INSERT INTO RentLog VALUES (1, 1, 'Jan'), (2, 4, 'stray')");
    connection.Close();

    const struct {
        const char* args;
        int exitCode;
        std::string out;     // how standard output begins
        const char* logLine; // a line of the log afterwards; "" for none
    } cases[] = {
        {"diag --yes", 0, home + "Ostrand.log\n", "{*} 1 stray Rent Log entries removed"},
        {"compact", 0, "Compression completed.\nOld file size: ", "{-} Compaction successful"},
        {"sysinfo", 0,
         "----------------------------- System Information ---------------------------\n", ""},
        {"compact", 1, "The following error has occured:\n", ""}, // the database removed
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.args);
        if (c.exitCode != 0) {
            fs::remove(data + "Ketrova.mdb");
        }
        const auto r =
            testsupport::RunCli(dir.str(), c.args, "DISPLAY= TMPDIR='" + dir.str() + "tmp'");
        EXPECT_EQ(r.exitCode, c.exitCode);
        EXPECT_EQ(r.out.rfind(c.out, 0), 0u) << r.out;
        if (*c.logLine) {
            const auto log = mainttest::SplitLines(ReadFile(home + "Ostrand.log"));
            EXPECT_NE(std::find(log.begin(), log.end(), c.logLine), log.end());
        }
    }
}

} // namespace
