// ostrand-cli create and connect, run as the built program on a private
// program folder and registry store.

#include "db/connection.h"
#include "startup/registry.h"
#include "support/cli_run.h"
#include "support/temp_dir.h"

#include <gtest/gtest.h>

#include <filesystem>

using testsupport::ReadFile;
using testsupport::WriteFile;
namespace fs = std::filesystem;

namespace {

struct Cli {
    testsupport::TempDir dir;
    Cli() {
        fs::create_directories(dir / "home");
        fs::create_directories(dir / "data");
        fs::copy_file(OSTRAND_SOURCE_DIR "/data/Ketrova.ddf", dir / "home/Ketrova.ddf");
    }
    testsupport::CliResult Run(const std::string& args) const {
        return testsupport::RunCli(dir.str(), args);
    }
    std::string Registered(const std::string& name) const {
        return startup::RegReadString(platform::RegistryStore(dir.str() + "registry.reg"),
                                      startup::DatabasesKey, name);
    }
};

} // namespace

// A command that fails records nothing; one that succeeds records its
// folder, and an existing database is replaced only when asked to.
TEST(CreateCommand, OnlyWhatSucceededIsRecordedAndNoDatabaseIsWipedUnasked) {
    Cli cli;
    const std::string data = " '" + cli.dir.str() + "data'";
    EXPECT_EQ(cli.Run("create '" + cli.dir.str() + "nowhere'").exitCode, 1);
    EXPECT_FALSE(fs::exists(cli.dir / "home/Ostrand.log")); // refused before anything ran
    EXPECT_EQ(cli.Run("connect" + data).exitCode, 1);       // no database there
    fs::rename(cli.dir / "home/Ketrova.ddf", cli.dir / "home/moved.ddf");
    EXPECT_EQ(cli.Run("create").out, "Database creation failed.\n");
    EXPECT_EQ(cli.Registered("Default"), "");

    // By default in the program's db folder; the log is closed again after.
    fs::rename(cli.dir / "home/moved.ddf", cli.dir / "home/Ketrova.ddf");
    auto r = cli.Run("create");
    EXPECT_EQ(r.out, "Database created successfully.\n");
    EXPECT_EQ(cli.Registered("Default"), cli.dir.str() + "home/db/");
    EXPECT_TRUE(ReadFile(cli.dir / "home/Ostrand.log").ends_with("{-} Writing version file\r\n"));
    db::Connection c;
    c.Open(cli.dir.str() + "home/db/Ketrova.mdb");
    EXPECT_EQ(c.Scalar("SELECT (SELECT Count(*) FROM TransCategory) || Sum(IEN) || "
                       "Group_Concat(Category) FROM TransCategory WHERE rowid IN (1, 13, 26)")
                  .AsText(),
              "260Rent Payment,Commissions,Mortgage Escrow");

    WriteFile(cli.dir / "data/Ketrova.mdb", "the landlord's data");
    r = cli.Run("create" + data);
    EXPECT_EQ(r.exitCode, 1);
    EXPECT_EQ(r.out, "");
    EXPECT_EQ(ReadFile(cli.dir / "data/Ketrova.mdb"), "the landlord's data");
    r = cli.Run("connect" + data + " --altdb Branch2");
    EXPECT_EQ(r.out, cli.dir.str() + "data/\n");
    EXPECT_EQ(cli.Registered("Branch2"), cli.dir.str() + "data/");

    r = cli.Run("create" + data + " --overwrite --altdb second");
    EXPECT_EQ(r.exitCode, 0);
    const std::string line = "Database created successfully.\nSafety copy: ";
    ASSERT_TRUE(r.out.starts_with(line + cli.dir.str() + "data/SafetyCopies/Ketrova-")) << r.out;
    EXPECT_EQ(ReadFile(r.out.substr(line.size(), r.out.size() - line.size() - 1)),
              "the landlord's data");
    EXPECT_EQ(cli.Registered("second"), cli.dir.str() + "data/");
    EXPECT_EQ(cli.Registered("Default"), cli.dir.str() + "home/db/");

    // A store that cannot be read is reported, never taken for an empty one
    // that a new database could be registered in.
    const std::string damaged = "\x7f"
                                "ELF[broken\n\"x\"=\"\xff";
    WriteFile(cli.dir / "registry.reg", damaged);
    for (const std::string& args :
         {"create '" + cli.dir.str() + "fresh'", "connect" + data, std::string("locate"),
          std::string("mode"), std::string("compact"), std::string("archive restore x.kbx --link"),
          "import-jet nowhere.mdb" + data + " --overwrite --register"}) {
        SCOPED_TRACE(args);
        r = cli.Run(args);
        EXPECT_EQ(r.exitCode, 1);
        EXPECT_EQ(r.out, "");
        EXPECT_NE(r.err.find("registry.reg is damaged"), std::string::npos) << r.err;
        EXPECT_NE(r.err.find("Until it is put right, Ostrand cannot tell where the database is"),
                  std::string::npos);
        EXPECT_EQ(ReadFile(cli.dir / "registry.reg"), damaged);
    }
    EXPECT_FALSE(fs::exists(cli.dir / "fresh"));
}
