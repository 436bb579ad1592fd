// ostrand-cli archive, run as the built program on a private program folder
// and registry store.

#include "archive_builder.h"
#include "support/cli_run.h"
#include "support/temp_dir.h"

#include <gmock/gmock.h>

#include <filesystem>

using testing::HasSubstr;
using testsupport::ReadFile;
using testsupport::WriteFile;

TEST(ArchiveCommand, AddListRestoreAndWhatIsRefused) {
    testsupport::TempDir dir;
    std::filesystem::create_directory(dir / "home");
    const auto run = [&](const std::string& args) {
        return testsupport::RunCli(dir.str(), "archive " + args, "", dir.str());
    };
    WriteFile(dir / "notes.txt", "notes");
    EXPECT_EQ(run("add k.kbx notes.txt --type 3").out, "Success\n");
    // Skipping a file already there is no full success; overwriting it keeps
    // it, and the summary says where.
    const std::string restored = dir.str() + "out" + dir.str() + "notes.txt";
    std::filesystem::create_directories(dir.str() + "out" + dir.str());
    WriteFile(restored, "edited since");
    EXPECT_EQ(run("restore k.kbx --to out --existing skip").exitCode, 1);
    const testsupport::CliResult r = run("restore k.kbx 1 --to out --existing overwrite");
    EXPECT_EQ(r.exitCode, 0);
    EXPECT_THAT(r.out, HasSubstr("Press OK to continue.\nSafety copy: " + dir.str() + "out" +
                                 dir.str() + "SafetyCopies/notes-"));
    EXPECT_EQ(ReadFile(restored), "notes");

    // Only the entries named are restored, whatever selection mark a writer
    // left in the headers; a drive-letter name has no original place here.
    std::string a = backuptest::Archive({{"C:\\k\\f.txt", "f"}, {"C:\\k\\g.txt", "g"}});
    a[304] = 1;
    WriteFile(dir / "w.kbx", a);
    EXPECT_EQ(run("list w.kbx").out, "1\t1\t2\t1\t501\t3/14/2009 4:05:06 PM\tC:\\k\\f.txt\n"
                                     "2\t1\t2\t1\t1002\t3/14/2009 4:05:06 PM\tC:\\k\\g.txt\n");
    EXPECT_EQ(run("restore w.kbx 2 --to out").exitCode, 0);
    EXPECT_TRUE(ReadFile(dir / "out/k/g.txt") == "g" &&
                !std::filesystem::exists(dir / "out/k/f.txt"));
    // A file that is no archive is refused and left as it was.
    // clang-format off
    for (const auto& [args, code] : {std::pair{"restore w.kbx 3 --to out", 2},
             {"restore w.kbx --existing sometimes", 2}, {"add k.kbx missing.txt", 1},
             {"list missing.kbx", 1}, {"restore missing.kbx", 1}, {"restore w.kbx", 1},
             {"list notes.txt", 1}, {"restore notes.txt", 1}, {"add notes.txt k.kbx", 1}}) {
        // clang-format on
        EXPECT_EQ(run(args).exitCode, code) << args;
        EXPECT_EQ(ReadFile(dir / "notes.txt"), "notes");
    }
}
