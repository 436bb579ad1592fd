#pragma once
// The per-user application settings of older installations: an INI file
// with sections and key=value lines. Only ever read.

#include <string>
#include <string_view>

namespace platform {

// $KETROVA_USER_SETTINGS, else $XDG_CONFIG_HOME/Ketrova/settings.ini, else
// ~/.config/Ketrova/settings.ini.
std::string DefaultUserSettingsPath();

// The value of `key` in `[section]` of the INI file at `path`, trimmed of
// blanks and of one pair of surrounding double quotes; `defaultValue` when
// the file, section or key is missing. Section and key names compare
// without regard to case; the last of repeated keys wins.
std::string GetSetting(const std::string& path, std::string_view section, std::string_view key,
                       std::string_view defaultValue = "");

} // namespace platform
