#pragma once
// Files of a run's own making, kept beside the file they will replace: a
// rename within one folder is the one step that swaps a file's content whole,
// so what is to take a file's place is written next to it first.

#include <string>
#include <string_view>

namespace platform {

// Creates a new, empty file in `folder` under a hidden name of this
// program's own (".ostrand-" + `what` + "-" and a unique number) and returns
// its full name; "" with `error` saying why when none could be made. The
// usual permissions apply (the umask decides), so once renamed into place it
// looks like any other file the user made.
std::string CreateScratchFile(const std::string& folder, std::string_view what, std::string& error);

// The same for a folder.
std::string CreateScratchFolder(const std::string& folder, std::string_view what,
                                std::string& error);

} // namespace platform
