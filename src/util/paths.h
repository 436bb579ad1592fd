#pragma once
// The suite's small path helpers. Folders are kept as text ending in the
// separator, so a file name is simply appended. The native separator is "/";
// names written on Windows ("C:\Ketrova\db\") still split at "\".

#include <string>
#include <string_view>

namespace util {

// The path followed by "/" unless it already ends in one ("" gives "/").
std::string AddBackslash(std::string_view path);

// True when `path` names an existing file (not a folder); any error gives false.
bool FileExists(const std::string& path);

// True when `path` names an existing folder; any error gives false.
bool FolderExists(const std::string& path);

// The path up to and including its last "/" or "\"; a path ending in a
// separator is returned unchanged; a path without one gives "".
std::string ParentFolder(std::string_view path);

// The part after the last "/" or "\" (the whole path when there is none).
std::string FileNamePart(std::string_view path);

} // namespace util
