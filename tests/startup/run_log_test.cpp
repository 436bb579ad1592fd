// The run log and the file numbers it is written through.

#include "startup/run_settings.h"
#include "support/temp_dir.h"

#include <gtest/gtest.h>

using namespace startup;
using testsupport::ReadFile;

TEST(RunLog, ModesNumbersAndTheCauseAFailurePageShows) {
    testsupport::TempDir dir;
    const std::string path = dir.str() + "Ostrand.log";
    RunSettings s;
    for (const char* run : {"{-} first run", "{-} second run"}) {
        CloseFile(s.Files, s.LogFileNo);
        s.LogFileNo = OpenLogFile(s.Files, path, 1, 0); // each run replaces the last one's log
        ASSERT_EQ(s.LogFileNo, 1);
        Log(s, run);
    }
    for (const char* line : {"{*} Error 14 {/x}", "{*} Could not back up /x", "{-} Closing"})
        Log(s, line);
    CloseFile(s.Files, s.LogFileNo);
    // The freed number is handed out again; appending keeps what is there.
    ASSERT_EQ(s.LogFileNo = OpenLogFile(s.Files, path, 2, 0), 1);
    Log(s, "{ } appended");
    CloseFile(s.Files, s.LogFileNo);
    s.LogFileNo = 0;
    Log(s, "{*} goes nowhere");
    EXPECT_EQ(ReadFile(path), "{-} second run\r\n{*} Error 14 {/x}\r\n{*} Could not back up /x\r\n"
                              "{-} Closing\r\n{ } appended\r\n");
    // What a failure page shows as the cause: the last error, not a later step.
    EXPECT_EQ(LastErrorLine(path), "Could not back up /x");
    EXPECT_EQ(LastErrorLine(dir.str() + "none.log"), "");

    // Reading needs an existing file; a folder is no file even for reading.
    EXPECT_EQ(OpenLogFile(s.Files, dir.str() + "missing.txt", 0, 0), 0);
    EXPECT_EQ(OpenLogFile(s.Files, dir.str() + "no/such/folder/Ostrand.log", 1, 0), 0);
    EXPECT_EQ(OpenLogFile(s.Files, dir.str(), 0, 0), 0);
}
