#include "startup/run_settings.h"
#include "support/temp_dir.h"

#include <gtest/gtest.h>

using namespace startup;
using testsupport::ReadFile;
using testsupport::TempDir;

TEST(RunLog, LinesEndInCrLfAndModeOneReplacesTheOldLog) {
    TempDir dir;
    auto path = (dir / "Ostrand.log").string();
    RunSettings s;
    s.LogFileNo = OpenLogFile(s.Files, path, 1, 0);
    ASSERT_NE(s.LogFileNo, 0);
    Log(s, "{-} first run");
    CloseFile(s.Files, s.LogFileNo);
    s.LogFileNo = OpenLogFile(s.Files, path, 1, 0);
    Log(s, "{-} second run");
    Log(s, "{ } detail");
    Log(s, "{*} Error 14 opening database {/x}");
    Log(s, "{*} Could not back up the database file /x");
    Log(s, "{-} Closing database");
    CloseFile(s.Files, s.LogFileNo);
    s.LogFileNo = 0;
    EXPECT_EQ(ReadFile(path), "{-} second run\r\n{ } detail\r\n{*} Error 14 opening database "
                              "{/x}\r\n{*} Could not back up the database file /x\r\n{-} "
                              "Closing database\r\n");
    // What a failure page shows as the cause: the last error, not a later step.
    EXPECT_EQ(LastErrorLine(path), "Could not back up the database file /x");
    EXPECT_EQ(LastErrorLine((dir / "none.log").string()), "");
}

TEST(RunLog, NumberZeroWritesNothingAndAnUnopenableLogYieldsZero) {
    TempDir dir;
    RunSettings s;
    EXPECT_EQ(OpenLogFile(s.Files, (dir / "no/such/folder/Ostrand.log").string(), 1, 0), 0);
    Log(s, "{*} goes nowhere"); // LogFileNo is 0: must not crash
    EXPECT_FALSE(s.Files.IsOpen(0));
}

TEST(RunLog, AppendModeKeepsEarlierLinesAndNumbersAreReused) {
    TempDir dir;
    auto path = (dir / "a.log").string();
    FileTable files;
    int16_t a = OpenLogFile(files, path, 1, 0);
    EXPECT_EQ(a, 1);
    WriteLine(files, a, "one");
    CloseFile(files, a);
    int16_t b = OpenLogFile(files, path, 2, 0);
    EXPECT_EQ(b, 1); // the freed number is handed out again
    WriteLine(files, b, "two");
    CloseFile(files, b);
    CloseFile(files, b); // closing twice is harmless
    EXPECT_EQ(ReadFile(path), "one\r\ntwo\r\n");
}

TEST(RunLog, ReadingNeedsAnExistingFileWhileBinaryAndRandomModesCreateOne) {
    TempDir dir;
    FileTable files;
    EXPECT_EQ(OpenLogFile(files, (dir / "missing.txt").string(), 0, 0), 0);
    for (int mode : {0, 1, 2, 4, 3}) {
        EXPECT_EQ(OpenLogFile(files, dir.str(), mode, 0), 0) << "a folder, mode " << mode;
    }
    for (int mode : {4, 3, 8}) {
        auto path = dir / ("f" + std::to_string(mode));
        int16_t n = OpenLogFile(files, path.string(), mode, 128);
        ASSERT_NE(n, 0) << "mode " << mode;
        WriteLine(files, n, "x");
        CloseFile(files, n);
        EXPECT_EQ(ReadFile(path), "x\r\n");
        int16_t again = OpenLogFile(files, path.string(), 0, 0); // now it can be read
        EXPECT_NE(again, 0);
        CloseFile(files, again);
    }
}
