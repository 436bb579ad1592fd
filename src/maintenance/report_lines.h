#pragma once
// The layout of the troubleshooting report: labelled lines whose values line
// up, and section rulers whose lengths support staff know by sight.

#include <string>
#include <string_view>

namespace maintenance {

// Caption widths of the labelled lines.
inline constexpr size_t SystemCaptionWidth = 26; // system and file lines
inline constexpr size_t ConfigCaptionWidth = 22; // configuration and backup lines

// The markers of information and of a problem found.
inline constexpr std::string_view InfoMarker = "{ } ";
inline constexpr std::string_view ProblemMarker = "{*} ";

// The marker ("{ } ") + caption padded with blanks to `width` + ": " + value.
// A longer caption is cut to the width, as a fixed-width label is.
std::string Labelled(std::string_view caption, size_t width, std::string_view value,
                     std::string_view marker = InfoMarker);

// 29 hyphens, a blank, the name, a blank and `trailing` hyphens.
std::string Ruler(std::string_view name, size_t trailing);

// The ruler that closes the report: 75 hyphens.
std::string ClosingRuler();

} // namespace maintenance
