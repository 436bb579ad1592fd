#pragma once
// The process environment and the program's own location.

#include <string>

namespace platform {

// The value of an environment variable; "" when it is unset.
std::string GetEnv(const char* name);

// The folder of the running executable, ending in "/"; "" when it cannot be found.
std::string ExecutableFolder();

// The user's home folder ($HOME, else the password database), without a trailing "/".
std::string HomeFolder();

// A per-user folder of the XDG base directories: the variable's value when it
// is an absolute path (a relative one must be ignored), else the home folder
// followed by `fallback` ("/.local/state"); always ending in "/".
std::string XdgUserFolder(const char* variable, const char* fallback);

// True when `folder` is a directory this process may create files in.
bool FolderWritable(const std::string& folder);

} // namespace platform
