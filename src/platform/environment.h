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

// True when `folder` is a directory this process may create files in.
bool FolderWritable(const std::string& folder);

} // namespace platform
