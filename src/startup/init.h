#pragma once
// Start-up's filling of the run settings: start values, the program folder,
// the command line's switches and the suite's working folders.

#include "startup/run_settings.h"

#include <string>
#include <string_view>
#include <vector>

namespace startup {

// The run settings' start values with everything that derives from the
// program folder: AppPath ($KETROVA_HOME, else the executable's folder, always
// ending in "/"), ReportsPath, HelpFile, CatalogsPresent, and where the
// registry store and the older per-user settings are. Open files are kept.
void FillStartValues(RunSettings& settings);

// The same with a given program folder (a "/" is added when missing).
void FillStartValues(RunSettings& settings, std::string_view appPath);

// Reads the switches of a command line into the settings. The text is
// lower-cased and trimmed first, so values arrive in lower case. Each "/"
// starts a switch running to the next "/"; an "=" inside it splits name from
// value; both are trimmed. Unknown or malformed switches are ignored; a
// switch given twice keeps its last value.
void ParseCommandLine(RunSettings& settings, std::string_view commandLine);

// The program's arguments joined by blanks: the command line as one text.
std::string JoinCommandLine(const std::vector<std::string>& args);

// Creates "db", "Backup", "Docs" and "Files" under the program folder.
// Failures (usually: the folder exists) are ignored.
void CreateWorkingFolders(const std::string& appPath);

// FillStartValues, ParseCommandLine, CreateWorkingFolders.
void InitGlobals(RunSettings& settings, std::string_view commandLine);

} // namespace startup
