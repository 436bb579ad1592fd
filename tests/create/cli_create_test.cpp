// ostrand-cli create and connect, run as the built program on a private
// program folder and registry store.

#include "startup/registry.h"
#include "support/cli_run.h"
#include "support/temp_dir.h"

#include <gtest/gtest.h>

#include <filesystem>

using testsupport::CliResult;
using testsupport::ReadFile;
using testsupport::RunCli;
using testsupport::TempDir;
using testsupport::WriteFile;
namespace fs = std::filesystem;

namespace {

class CreateCommand : public ::testing::Test {
protected:
    void SetUp() override {
        fs::create_directory(dir / "home");
        fs::create_directory(dir / "data");
        fs::copy_file(OSTRAND_SOURCE_DIR "/data/Ketrova.ddf", dir / "home/Ketrova.ddf");
    }

    CliResult Run(const std::string& args) const { return RunCli(dir.str(), args); }

    std::string Registered(const std::string& name) const {
        return startup::RegReadString(platform::RegistryStore(dir.str() + "registry.reg"),
                                      startup::DatabasesKey, name);
    }

    TempDir dir;
};

TEST_F(CreateCommand, CreatesInTheProgramsDbFolderByDefaultAndRegistersIt) {
    CliResult r = Run("create");
    EXPECT_EQ(r.exitCode, 0);
    EXPECT_EQ(r.out, "Database created successfully.\n");
    EXPECT_TRUE(fs::exists(dir / "home/db/Ketrova.mdb"));
    EXPECT_EQ(Registered("Default"), dir.str() + "home/db/");
    // The run is logged, and the log is closed again for the next program.
    EXPECT_EQ(ReadFile(dir / "home/Ostrand.log").rfind("{-} CreateNewDB started\r\n", 0), 0u);
}

TEST_F(CreateCommand, AnExistingDatabaseIsReplacedOnlyWhenAskedTo) {
    WriteFile(dir / "data/Ketrova.mdb", "the landlord's data");
    CliResult r = Run("create '" + dir.str() + "data'");
    EXPECT_EQ(r.exitCode, 1);
    EXPECT_EQ(r.out, "");
    EXPECT_EQ(ReadFile(dir / "data/Ketrova.mdb"), "the landlord's data");
    EXPECT_EQ(Registered("Default"), "");

    r = Run("create '" + dir.str() + "data' --overwrite --altdb second");
    EXPECT_EQ(r.exitCode, 0);
    const std::string line = "Database created successfully.\nSafety copy: ";
    ASSERT_EQ(r.out.rfind(line + dir.str() + "data/SafetyCopies/Ketrova-", 0), 0u) << r.out;
    EXPECT_EQ(ReadFile(r.out.substr(line.size(), r.out.size() - line.size() - 1)),
              "the landlord's data");
    EXPECT_EQ(ReadFile(dir / "data/Version"), "9\r\n");
    EXPECT_EQ(Registered("second"), dir.str() + "data/");
    EXPECT_EQ(Registered("Default"), "");
}

TEST_F(CreateCommand, FailuresLeaveTheRegistryAlone) {
    // No such folder: refused before anything runs.
    CliResult r = Run("create '" + dir.str() + "nowhere'");
    EXPECT_EQ(r.exitCode, 1);
    EXPECT_FALSE(fs::exists(dir / "home/Ostrand.log"));

    // A creation that fails on the way says so and records nothing.
    fs::remove(dir / "home/Ketrova.ddf");
    r = Run("create '" + dir.str() + "data'");
    EXPECT_EQ(r.exitCode, 1);
    EXPECT_EQ(r.out, "Database creation failed.\n");
    EXPECT_EQ(Registered("Default"), "");
}

TEST_F(CreateCommand, ConnectRecordsOnlyAFolderHoldingADatabase) {
    CliResult r = Run("connect '" + dir.str() + "data'");
    EXPECT_EQ(r.exitCode, 1);
    EXPECT_EQ(Registered("Default"), "");

    WriteFile(dir / "data/Ketrova.mdb", "");
    r = Run("connect '" + dir.str() + "data' --altdb Branch2");
    EXPECT_EQ(r.exitCode, 0);
    EXPECT_EQ(r.out, dir.str() + "data/\n");
    EXPECT_EQ(Registered("Branch2"), dir.str() + "data/");
}

TEST_F(CreateCommand, AStoreThatCannotBeReadIsReportedNeverTakenForNoDatabase) {
    const std::string damaged = "[not a store at all";
    WriteFile(dir / "registry.reg", damaged);
    WriteFile(dir / "data/Ketrova.mdb", "");
    for (const std::string& args : std::vector<std::string>{
             "create '" + dir.str() + "fresh'", "connect '" + dir.str() + "data'", "locate", "mode",
             "archive restore x.kbx --link",
             "import-jet nowhere.mdb '" + dir.str() + "data' --overwrite --register"}) {
        SCOPED_TRACE(args);
        CliResult r = Run(args);
        EXPECT_EQ(r.exitCode, 1);
        EXPECT_EQ(r.out, "");
        EXPECT_EQ(ReadFile(dir / "registry.reg"), damaged);
    }
    EXPECT_FALSE(fs::exists(dir / "fresh"));
}

} // namespace
