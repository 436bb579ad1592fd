// ostrand-cli schema, run as the built program on a private program folder,
// registry store and database.

#include "db/connection.h"
#include "startup/registry.h"
#include "support/cli_run.h"
#include "support/temp_dir.h"

#include <gtest/gtest.h>

#include <filesystem>

using testsupport::CliResult;
using testsupport::RunCli;
using testsupport::TempDir;
using testsupport::WriteFile;
namespace fs = std::filesystem;

namespace {

class SchemaCommand : public ::testing::Test {
protected:
    void SetUp() override {
        fs::create_directory(dir / "home");
        fs::create_directory(dir / "data");
        WriteFile(dir / "home/Ketrova.ddf",
                  "# test template\r\nTenant,IdTenant,LONG,,idx\r\nTenant,LastName,TEXT,50,\r\n"
                  "Tenant,Hide,BOOLEAN,,\r\nContact,IdContact,LONG,,idx\r\n");
        dbFile = dir.str() + "data/Ketrova.mdb";
        std::string error;
        ASSERT_TRUE(db::CreateDatabaseFile(dbFile, error)) << error;
        db::Connection c;
        c.Open(dbFile);
        c.Execute("CREATE TABLE Tenant (IdTenant INTEGER, LastName VARCHAR(20), PermCity "
                  "VARCHAR(30))");
        c.Execute("INSERT INTO Tenant VALUES (1, 'Alder', 'Dayton')");
        platform::RegistryStore reg(dir.str() + "registry.reg");
        startup::RegWriteString(reg, startup::DatabasesKey, "Default", dir.str() + "data/");
    }

    CliResult Run(const std::string& args) const { return RunCli(dir.str(), "schema " + args); }

    TempDir dir;
    std::string dbFile;
};

} // namespace

TEST_F(SchemaCommand, PrintsEveryPlannedChangeAndChangesNothing) {
    const std::string expected =
        "update\tTenant\tLastName\t202\t50\nadd\tTenant\tHide\t11\t0\n"
        "add\tContact\tIdContact\t3\t0\nremove\tTenant\tPermCity\t202\t30\n";
    CliResult first = Run("");
    EXPECT_EQ(first.exitCode, 0);
    EXPECT_EQ(first.out, expected);
    // A dry run: the second run finds the same differences.
    EXPECT_EQ(Run("--db '" + dbFile + "'").out, expected);
    EXPECT_FALSE(fs::exists(dir / "home/Ostrand.log"));

    // Both streams into one file, as support staff capture a run: the steps'
    // lines come first and nothing is written over.
    RunCli(dir.str(), "schema > '" + dir.str() + "both.txt' 2>&1; true");
    const std::string both = testsupport::ReadFile(dir / "both.txt");
    EXPECT_EQ(both.rfind("{-} Loading template\r\n", 0), 0u) << both;
    EXPECT_NE(both.find("{ } Marking field {LastName} for update\r\n" + expected),
              std::string::npos)
        << both;
}

// No template, no database at the path given (none is made there), or no
// such database registered.
TEST_F(SchemaCommand, FailsWithoutTemplateOrDatabase) {
    for (const std::string& args :
         {"--template '" + dir.str() + "none.ddf'", "--db '" + dir.str() + "data/none.mdb'",
          std::string("--altdb Branch2")}) {
        const CliResult r = Run(args);
        EXPECT_EQ(std::make_pair(r.exitCode, r.out), std::make_pair(1, std::string())) << args;
    }
    EXPECT_FALSE(fs::exists(dir / "data/none.mdb"));
}
