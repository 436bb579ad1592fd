#pragma once
// Text helpers with the semantics the suite's procedures were written
// against: "blank" means the space character only, case folding is ASCII,
// and splitting an empty text yields no pieces at all.

#include <string>
#include <string_view>
#include <vector>

namespace util {

// Removes blanks (spaces only; tabs and line ends stay) at both ends.
std::string Trim(std::string_view text);
std::string LTrim(std::string_view text);
std::string RTrim(std::string_view text);

// ASCII case folding; bytes above 127 pass unchanged.
std::string LCase(std::string_view text);
std::string UCase(std::string_view text);

// Case-insensitive (ASCII) comparison, as key and value names compare.
bool EqualsNoCase(std::string_view a, std::string_view b);

// The pieces between occurrences of `delimiter`. An empty text gives no
// pieces; "a,,b" gives three with an empty middle one; an empty delimiter
// gives the whole text as the one piece.
std::vector<std::string> Split(std::string_view text, std::string_view delimiter);

// Every occurrence of `find` replaced by `with`, scanning left to right.
std::string Replace(std::string_view text, std::string_view find, std::string_view with);

// The text cut at its first NUL character (fixed buffers filled by the system).
std::string CutAtNul(std::string_view text);

} // namespace util
