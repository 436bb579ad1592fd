// ostrand-cli archive, run as the built program on a private program folder
// and registry store.

#include "archive_builder.h"
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

class ArchiveCommand : public ::testing::Test {
protected:
    void SetUp() override { fs::create_directory(dir / "home"); }

    CliResult Run(const std::string& args) const {
        return RunCli(dir.str(), "archive " + args, "", dir.str());
    }

    TempDir dir;
};

} // namespace

TEST_F(ArchiveCommand, AddListAndRestoreRoundTrip) {
    WriteFile(dir / "Ketrova.mdb", backuptest::Pattern(120000));
    WriteFile(dir / "notes.txt", "notes");
    CliResult r = Run("add k.kbx Ketrova.mdb --type 1");
    EXPECT_EQ(r.exitCode, 0);
    EXPECT_EQ(r.out, "Success\n");
    EXPECT_EQ(Run("add k.kbx notes.txt").out, "Success\n");
    r = Run("add k.kbx missing.txt");
    EXPECT_EQ(r.exitCode, 1);
    EXPECT_EQ(r.out, "File not found\n");

    r = Run("list k.kbx");
    EXPECT_EQ(r.exitCode, 0);
    // Fields: number, type, kind, length, start, date, name.
    const std::string first = "1\t1\t2\t120000\t501\t";
    const std::string second = "2\t4\t2\t5\t121001\t";
    ASSERT_EQ(r.out.compare(0, first.size(), first), 0) << r.out;
    EXPECT_NE(r.out.find("\t" + dir.str() + "Ketrova.mdb\n"), std::string::npos) << r.out;
    EXPECT_NE(r.out.find("\n" + second), std::string::npos) << r.out;
    EXPECT_NE(r.out.find("\t" + dir.str() + "notes.txt\n"), std::string::npos) << r.out;

    r = Run("restore k.kbx 2 --to out --link");
    EXPECT_EQ(r.exitCode, 0);
    EXPECT_EQ(r.out, "Restore completed from k.kbx\n\n"
                     "Files in found in archive : 2\n"
                     "Files attempted for restore : 1\n"
                     "Files successfully restored : 1\n"
                     "Percent Successful: 100\n\n"
                     "Press OK to continue.\n");
    const std::string restored = dir.str() + "out" + dir.str() + "notes.txt";
    EXPECT_EQ(ReadFile(restored), "notes");
    EXPECT_NE(ReadFile(dir / "home/Ostrand.log").find("{ } Restore succeeded for : "),
              std::string::npos);

    // Skipping the file now there is not a full success.
    r = Run("restore k.kbx --to out --existing skip");
    EXPECT_EQ(r.exitCode, 1);
    EXPECT_NE(r.out.find("Percent Successful: 50\n"), std::string::npos) << r.out;
    EXPECT_EQ(ReadFile(dir.str() + "out" + dir.str() + "Ketrova.mdb"), backuptest::Pattern(120000));

    // Overwriting keeps what was there, and says where after the summary.
    WriteFile(restored, "edited since");
    r = Run("restore k.kbx 2 --to out --existing overwrite");
    EXPECT_EQ(r.exitCode, 0);
    const std::string kept = dir.str() + "out" + dir.str() + "SafetyCopies/notes-";
    EXPECT_NE(r.out.find("Press OK to continue.\nSafety copy: " + kept), std::string::npos)
        << r.out;
    EXPECT_EQ(ReadFile(restored), "notes");

    // A file that is no archive is refused and left as it was.
    for (const char* args : {"list notes.txt", "restore notes.txt", "add notes.txt Ketrova.mdb"}) {
        SCOPED_TRACE(args);
        EXPECT_EQ(Run(args).exitCode, 1);
        EXPECT_EQ(ReadFile(dir / "notes.txt"), "notes");
    }
}

TEST_F(ArchiveCommand, UsageErrorsAndMissingArchives) {
    std::string a;
    backuptest::AppendFile(a, "C:\\k\\f.txt", "f");
    WriteFile(dir / "w.kbx", a);
    EXPECT_EQ(Run("restore w.kbx 2 --to out").exitCode, 2);
    EXPECT_EQ(Run("restore w.kbx --existing sometimes").exitCode, 2);
    EXPECT_EQ(Run("list missing.kbx").exitCode, 1);
    EXPECT_EQ(Run("restore missing.kbx").exitCode, 1);
    // A drive-letter name has no original place here: refused, not written.
    CliResult r = Run("restore w.kbx");
    EXPECT_EQ(r.exitCode, 1);
    EXPECT_NE(r.out.find("Files successfully restored : 0\n"), std::string::npos) << r.out;
    EXPECT_EQ(Run("list w.kbx").out, "1\t1\t2\t1\t501\t3/14/2009 4:05:06 PM\tC:\\k\\f.txt\n");

    // Only the entries named are restored, whatever selection mark a writer
    // left in the headers.
    backuptest::AppendFile(a, "C:\\k\\g.txt", "g");
    a[304] = 1;
    WriteFile(dir / "m.kbx", a);
    r = Run("restore m.kbx 2 --to out");
    EXPECT_EQ(r.exitCode, 0) << r.out;
    EXPECT_EQ(ReadFile(dir / "out/k/g.txt"), "g");
    EXPECT_FALSE(fs::exists(dir / "out/k/f.txt"));
}
