#pragma once
// Start-up's filling of the run settings: start values, the program folder,
// the command line's switches and the suite's working folders.

#include "startup/run_settings.h"

#include <string>
#include <string_view>
#include <vector>

namespace startup {

// Where a program finds its files and writes its log.
struct ProgramFolders {
    std::string app;  // AppPath: the suite's working folders, settings and data
    std::string data; // DataPath: the template and help pages shipped with it
    std::string log;  // LogPath: Ostrand.log and the troubleshooting report
};

// The folders of a program started from `exeFolder`. A portable home has all
// three in one folder: `ketrovaHome` when it is set (with the installed
// template when it has none of its own), else the executable's folder when
// the template lies beside it (the build tree, an unpacked portable copy) or
// nowhere to be found. A program whose template is in the shared data folder
// relative to it (bin/../share/ostrand/) is installed: its working folders go
// to the user's data folder ($XDG_DATA_HOME/Ketrova/), its log to the user's
// state folder ($XDG_STATE_HOME/ostrand/), each under ~/.local when the
// variable is not set.
ProgramFolders LocateProgramFolders(const std::string& ketrovaHome, const std::string& exeFolder);

// The run settings' start values with everything that derives from the
// program's folders (LocateProgramFolders of $KETROVA_HOME and the
// executable's folder): AppPath, DataPath, LogPath, ReportsPath, HelpFile,
// CatalogsPresent, and where the registry store and the older per-user
// settings are. Open files are kept.
void FillStartValues(RunSettings& settings);

// The same for a portable home in `appPath` (a "/" is added when missing).
void FillStartValues(RunSettings& settings, std::string_view appPath);

// Reads the switches of a command line into the settings. The text is
// lower-cased and trimmed first, so values arrive in lower case. Each "/"
// starts a switch running to the next "/"; an "=" inside it splits name from
// value; both are trimmed. Unknown or malformed switches are ignored; a
// switch given twice keeps its last value.
void ParseCommandLine(RunSettings& settings, std::string_view commandLine);

// The program's arguments joined by blanks: the command line as one text.
std::string JoinCommandLine(const std::vector<std::string>& args);

// Creates "db", "Backup", "Docs" and "Files" under the program folder, and
// the log folder, with any parents they lack. Failures (usually: the folder
// exists) are ignored.
void CreateWorkingFolders(const RunSettings& settings);

// FillStartValues, ParseCommandLine, CreateWorkingFolders.
void InitGlobals(RunSettings& settings, std::string_view commandLine);

} // namespace startup
