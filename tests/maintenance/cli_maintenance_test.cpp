// ostrand-cli's maintenance commands, run as the built program against a
// private program folder and registry store.

#include "maint_fixture.h"
#include "support/cli_run.h"

#include "startup/registry.h"

#include <filesystem>

namespace {

namespace fs = std::filesystem;
using testsupport::ReadFile;

TEST(MaintenanceCommands, PrintWhatTheyDidAndLogIt) {
    testsupport::TempDir dir;
    for (const char* sub : {"home", "data", "tmp"}) {
        fs::create_directory(dir / sub);
    }
    const std::string home = dir.str() + "home/", data = dir.str() + "data/";
    // A current database with one stray rent-log row, registered as "Default".
    platform::RegistryStore reg(dir.str() + "registry.reg");
    startup::RegWriteString(reg, startup::DatabasesKey, "Default", data);
    std::string error;
    ASSERT_TRUE(db::CreateDatabaseFile(data + "Ketrova.mdb", error)) << error;
    {
        db::Connection c;
        c.Open(data + "Ketrova.mdb");
        c.Execute("CREATE TABLE Lease (IdLease INTEGER)");
        c.Execute("CREATE TABLE RentLog (IdRentLog INTEGER, IdLease INTEGER, Memo VARCHAR(20))");
        c.Execute("INSERT INTO Lease VALUES (1)");
        c.Execute("INSERT INTO RentLog VALUES (1, 1, 'Jan'), (2, 4, 'stray')");
    }
    testsupport::WriteFile(data + "Version", "9\r\n");

    const struct {
        const char* args;
        int exitCode;
        std::string out;     // how standard output begins
        const char* logLine; // a line of the log afterwards; "" for none
    } cases[] = {
        {"diag --yes", 0, home + "Ostrand.log\n", "{*} 1 stray Rent Log entries removed"},
        {"compact", 0, "Compression completed.\nOld file size: ", "{-} Compaction successful"},
        // No display here: the screen's size reads as 0.
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
        if (std::string(c.args) == "sysinfo") {
            EXPECT_TRUE(r.out.ends_with("{ } Screen Width              : 0\n"
                                        "{ } Screen Height             : 0\n"));
        }
    }
}

} // namespace
