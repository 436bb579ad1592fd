#pragma once
// Temporary files named as the suite's programs have always named them.

#include <string>
#include <string_view>

namespace platform {

// The temporary folder: $TMPDIR when set, else /tmp; always ending in "/".
std::string TempFolder();

// Creates a new, empty file in TempFolder() named with the first three
// characters of `prefix`, a unique upper-case hex number and ".tmp"
// (e.g. "temA3F1.tmp") and returns its full name; "" when none could be made.
// The file exists on return, so no other program can take the name.
std::string GetTempFileName(std::string_view prefix);

} // namespace platform
