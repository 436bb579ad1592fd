// ostrand-cli's start-up commands, run as the built program against a
// private program folder, registry store and per-user settings.

#include "startup/registry.h"
#include "support/cli_run.h"
#include "support/temp_dir.h"

#include <filesystem>
#include <gtest/gtest.h>

using testsupport::CliResult;
using testsupport::RunCli;
using testsupport::TempDir;
using testsupport::WriteFile;
namespace fs = std::filesystem;

namespace {

class Cli {
public:
    Cli() {
        fs::create_directory(dir.path() / "home");
        fs::create_directory(dir.path() / "data");
    }
    std::string Home() const { return dir.str() + "home/"; }
    std::string Data() const { return dir.str() + "data/"; }
    std::string Registry() const { return dir.str() + "registry.reg"; }

    CliResult Run(const std::string& args) const { return RunCli(dir.str(), args); }

    void RegisterDatabase(const std::string& name, const std::string& version) {
        platform::RegistryStore reg(Registry());
        startup::RegWriteString(reg, startup::DatabasesKey, name, Data());
        WriteFile(dir.path() / "data/Ketrova.mdb", "db");
        WriteFile(dir.path() / "data/Version", version);
    }

    TempDir dir;
};

} // namespace

TEST(CliStartup, ModePrintsEverySettingInOrderThenStatusAndChoice) {
    Cli cli;
    CliResult r = cli.Run("mode -- /Expert /AppStart=Rentora /loadfile=Lease.doc");
    EXPECT_EQ(r.exitCode, 0);
    const std::string h = cli.Home();
    EXPECT_EQ(r.out, "AppPath = " + h +
                         "\n"
                         "ReportsPath = " +
                         h +
                         "Reports/\n"
                         "SysReportName = SysReport\n"
                         "HelpFile = " +
                         h +
                         "Ketrova.chm\n"
                         "CatalogsPresent = False\n"
                         "LoadFile = lease.doc\n"
                         "Expert = True\n"
                         "AppStart = rentora\n"
                         "AltDB = Default\n"
                         "Diag = False\n"
                         "NoDB = False\n"
                         "UpgradeSwitch = False\n"
                         "Warn = True\n"
                         "LogFileNo = 0\n"
                         "DBPath = \n"
                         "DBFile = \n"
                         "UserID = 1\n"
                         "CurrentUser = Administrator\n"
                         "SecurityLevel = 9\n"
                         "DBStatus = 1\n"
                         "Opens = create\n");
    for (const char* f : {"db", "Backup", "Docs", "Files"}) {
        EXPECT_TRUE(fs::is_directory(cli.dir.path() / "home" / f)) << f;
    }
}

TEST(CliStartup, ModeTakesTheLocatedDatabaseAndLetsTheCommandLineNameWin) {
    Cli cli;
    cli.RegisterDatabase("Default", "8\r\n");
    std::string out = cli.Run("mode").out;
    EXPECT_NE(out.find("DBPath = " + cli.Data() + "\n"), std::string::npos) << out;
    EXPECT_NE(out.find("DBStatus = 2\nOpens = upgrade\n"), std::string::npos) << out;
    out = cli.Run("mode --altdb branch2 -- /diag /altdb=Default").out;
    EXPECT_NE(out.find("AltDB = default\n"), std::string::npos) << out;
    EXPECT_NE(out.find("DBStatus = 2\nOpens = diagnostics\n"), std::string::npos) << out;
}

TEST(CliStartup, LocatePrintsTheSixLinesAndTheStatus) {
    Cli cli;
    cli.RegisterDatabase("Branch2", "10\r\n");
    CliResult r = cli.Run("locate --altdb branch2");
    EXPECT_EQ(r.exitCode, 0);
    EXPECT_EQ(r.out, "{ } Registry value exists : True\n"
                     "{ } Database path         : " +
                         cli.Data() +
                         "\n"
                         "{ } Database file         : " +
                         cli.Data() +
                         "Ketrova.mdb\n"
                         "{ } DB File exists        : True\n"
                         "{ } DB Current Version    : 9\n"
                         "{ } DB Existing Version   : 10\n"
                         "DBStatus = 0\n");
    CliResult missing = cli.Run("locate");
    EXPECT_EQ(missing.exitCode, 0);
    EXPECT_NE(missing.out.find("{ } Registry value exists : False\n"), std::string::npos);
    EXPECT_NE(missing.out.find("DBStatus = 1\n"), std::string::npos);
    EXPECT_EQ(cli.Run("locate --no-such-option").exitCode, 2);
}

TEST(CliStartup, CommandsOnTheDatabaseRefuseWhenNoneIsRegistered) {
    // Without a registered folder the database name would be relative to
    // wherever the command runs: nothing may be opened, compacted or logged.
    Cli cli;
    for (const char* command : {"compact", "upgrade", "schema"}) {
        SCOPED_TRACE(command);
        CliResult r = cli.Run(command);
        EXPECT_EQ(r.exitCode, 1);
        EXPECT_EQ(r.out, "");
    }
    EXPECT_FALSE(fs::exists(cli.Home() + "Ostrand.log"));
}
