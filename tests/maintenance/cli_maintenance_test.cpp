// ostrand-cli's maintenance commands, run as the built program against a
// private program folder and registry store.

#include "maint_fixture.h"
#include "support/cli_run.h"

#include "startup/registry.h"

#include <filesystem>

namespace {

using testsupport::CliResult;
using testsupport::RunCli;
namespace fs = std::filesystem;
using testsupport::ReadFile;
using testsupport::WriteFile;

class CliTest : public ::testing::Test {
protected:
    void SetUp() override {
        fs::create_directory(dir / "home");
        fs::create_directory(dir / "data");
        fs::create_directory(dir / "tmp");
    }
    std::string Home() const { return dir.str() + "home/"; }
    std::string Data() const { return dir.str() + "data/"; }

    CliResult Run(const std::string& args) const {
        return RunCli(dir.str(), args, "DISPLAY= TMPDIR='" + dir.str() + "tmp'");
    }

    // A current database with one stray rent-log row, registered as "Default".
    void MakeDatabase() {
        platform::RegistryStore reg(dir.str() + "registry.reg");
        startup::RegWriteString(reg, startup::DatabasesKey, "Default", Data());
        std::string error;
        ASSERT_TRUE(db::CreateDatabaseFile(Data() + "Ketrova.mdb", error)) << error;
        db::Connection c;
        c.Open(Data() + "Ketrova.mdb");
        c.Execute("CREATE TABLE Lease (IdLease INTEGER)");
        c.Execute("CREATE TABLE RentLog (IdRentLog INTEGER, IdLease INTEGER, Memo VARCHAR(20))");
        c.Execute("INSERT INTO Lease VALUES (1)");
        c.Execute("INSERT INTO RentLog VALUES (1, 1, 'Jan'), (2, 4, 'stray')");
        WriteFile(Data() + "Version", "9\r\n");
    }

    testsupport::TempDir dir;
};

TEST_F(CliTest, DiagWritesTheReportAndPrintsItsPath) {
    MakeDatabase();
    const CliResult r = Run("diag --yes");
    EXPECT_EQ(r.exitCode, 0);
    EXPECT_EQ(r.out, Home() + "Ostrand.log\n");
    const auto lines = mainttest::SplitLines(ReadFile(Home() + "Ostrand.log"));
    ASSERT_GT(lines.size(), 10u);
    EXPECT_NE(std::find(lines.begin(), lines.end(), "{*} 1 stray Rent Log entries removed"),
              lines.end());
    EXPECT_EQ(lines.back().rfind("{ } Testing completed at ", 0), 0u);
}

TEST_F(CliTest, CompactPrintsTheSummaryOrTheError) {
    MakeDatabase();
    CliResult r = Run("compact");
    EXPECT_EQ(r.exitCode, 0);
    EXPECT_EQ(r.out.rfind("Compression completed.\nOld file size: ", 0), 0u) << r.out;
    EXPECT_NE(r.out.find("\nThis realized a saving of "), std::string::npos);
    const auto log = mainttest::SplitLines(ReadFile(Home() + "Ostrand.log"));
    ASSERT_FALSE(log.empty());
    EXPECT_EQ(log.back(), "{-} Compaction successful");

    fs::remove(Data() + "Ketrova.mdb");
    r = Run("compact");
    EXPECT_EQ(r.exitCode, 1);
    EXPECT_EQ(r.out.rfind("The following error has occured:\n", 0), 0u) << r.out;
}

TEST_F(CliTest, SysinfoPrintsTheReportsSystemBlock) {
    const CliResult r = Run("sysinfo");
    EXPECT_EQ(r.exitCode, 0);
    std::vector<std::string> lines;
    for (size_t start = 0; start < r.out.size();) {
        const size_t end = r.out.find('\n', start);
        lines.push_back(r.out.substr(start, end - start));
        start = end == std::string::npos ? r.out.size() : end + 1;
    }
    ASSERT_EQ(lines.size(), 16u);
    EXPECT_EQ(lines[0],
              "----------------------------- System Information ---------------------------");
    EXPECT_EQ(lines[14], "{ } Screen Width              : 0"); // no display
    EXPECT_EQ(lines[15], "{ } Screen Height             : 0");
}

} // namespace
