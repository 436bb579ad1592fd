// ostrand-cli's start-up commands, run as the built program against a
// private program folder, registry store and per-user settings.

#include "startup/registry.h"
#include "support/cli_run.h"
#include "support/temp_dir.h"

#include <filesystem>
#include <gmock/gmock.h>

using testing::HasSubstr;
using testsupport::CliResult;
using testsupport::WriteFile;
namespace fs = std::filesystem;

namespace {

struct Cli {
    testsupport::TempDir dir;
    std::string home = dir.str() + "home/", data = dir.str() + "data/";
    Cli() {
        fs::create_directory(home);
        fs::create_directory(data);
    }
    CliResult Run(const std::string& args) const { return testsupport::RunCli(dir.str(), args); }
    void Register(const std::string& name, const std::string& version) const {
        startup::RegWriteString(platform::RegistryStore(dir.str() + "registry.reg"),
                                startup::DatabasesKey, name, data);
        WriteFile(data + "Ketrova.mdb", "db");
        WriteFile(data + "Version", version);
    }
};

} // namespace

TEST(CliStartup, ModeAndLocateShowTheSettingsTheDatabaseAndWhatOpens) {
    Cli cli;
    CliResult r = cli.Run("mode -- /Expert /AppStart=Rentora /loadfile=Lease.doc");
    EXPECT_EQ(r.exitCode, 0);
    EXPECT_THAT(r.out, testing::StartsWith("AppPath = " + cli.home + "\n"));
    EXPECT_THAT(r.out, HasSubstr("\nLoadFile = lease.doc\nExpert = True\nAppStart = rentora\n"));
    EXPECT_THAT(r.out, testing::EndsWith("\nDBPath = \nDBFile = \nUserID = 1\nCurrentUser = "
                                         "Administrator\nSecurityLevel = 9\nDBStatus = 1\n"
                                         "Opens = create\n"));
    cli.Register("Default", "8\r\n");
    r = cli.Run("mode");
    EXPECT_THAT(r.out, HasSubstr("DBPath = " + cli.data + "\n"));
    EXPECT_THAT(r.out, HasSubstr("DBStatus = 2\nOpens = upgrade\n"));
    // The command line's name wins over the option's.
    r = cli.Run("mode --altdb branch2 -- /diag /altdb=Default");
    EXPECT_THAT(r.out, HasSubstr("AltDB = default\n"));
    EXPECT_THAT(r.out, HasSubstr("DBStatus = 2\nOpens = diagnostics\n"));

    cli.Register("Branch2", "10\r\n");
    r = cli.Run("locate --altdb branch2");
    EXPECT_EQ(r.exitCode, 0);
    EXPECT_THAT(r.out, HasSubstr("{ } DB File exists        : True\n{ } DB Current Version    : 9\n"
                                 "{ } DB Existing Version   : 10\nDBStatus = 0\n"));
    // A newer database opens no wizard that could change it.
    EXPECT_EQ(cli.Run("mode --altdb branch2").exitCode, 1);
}

// Without a registered folder a database name would be relative to wherever
// the command runs.
TEST(CliStartup, WithoutARegisteredFolderNothingIsTouched) {
    Cli cli;
    for (const char* command : {"compact", "upgrade", "schema"}) {
        const CliResult r = cli.Run(command);
        EXPECT_EQ(r.exitCode, 1) << command;
        EXPECT_EQ(r.out, "");
    }
    EXPECT_FALSE(fs::exists(cli.home + "Ostrand.log"));
}
