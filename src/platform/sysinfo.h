#pragma once
// What the troubleshooting report asks of the operating system: the version
// record, language and date settings, the screen, the top-level windows and
// the suite's files. Every call asks afresh; nothing is cached. None fails:
// a query the system cannot answer gives zeros or empty texts.

#include "platform/clock.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace platform {

// The system's version record as the suite reads it: whole numbers as signed
// 32-bit values, the extra version text cut at its first NUL. Fields a system
// has no counterpart for stay zero, as a failed version query leaves them.
struct VersionRecord {
    int32_t MajorVersion = 0;
    int32_t MinorVersion = 0;
    int32_t BuildNumber = 0;
    int32_t PlatformId = 0;
    std::string ExtraText; // the service pack text on Windows
    int16_t ServicePackMajor = 0;
    int16_t ServicePackMinor = 0;
    int16_t SuiteMask = 0;
    uint8_t ProductType = 0;
};

// The platform id of a system that is none of the four Windows platforms
// (0 to 3), so that the version tables give their texts for an unmatched
// system instead of naming a Windows it is not.
inline constexpr int32_t PlatformOther = -1;

// Here the kernel's release numbers fill major, minor and build, the
// operating system's name is the extra text and the platform is PlatformOther.
VersionRecord GetVersionRecord();

// The first three numbers of a kernel release text ("6.1.0-18-amd64" gives
// 6, 1 and 0); missing or unreadable parts are 0.
void ParseKernelRelease(std::string_view release, int32_t& major, int32_t& minor, int32_t& build);

// PRETTY_NAME of an os-release file's text (quotes and escapes removed),
// else NAME, else "".
std::string OsReleaseName(std::string_view osReleaseText);

// The distribution as /etc/os-release (else /usr/lib/os-release) names it
// ("Debian GNU/Linux 12 (bookworm)"); "" when neither can be read.
std::string DistributionName();

// The kernel's name, release and machine ("Linux 6.1.0-18-amd64 (x86_64)").
std::string KernelDescription();

// The desktop the user is logged in to and its kind of session
// ("GNOME (wayland)", "XFCE (x11)"), from what the session manager puts in
// the environment; "none" outside a desktop session.
std::string DesktopSession();

// The locale that names the user's language: LC_ALL, else LC_MESSAGES, else
// LANG; "" when none is set.
std::string LanguageLocale();

// The English and the native name of a locale's language ("de_DE.UTF-8"
// gives "German" and "Deutsch"). The C and POSIX locales speak English. An
// unknown language gives two empty names.
std::pair<std::string, std::string> LanguageNames(std::string_view locale);

// The user's short date pattern in the suite's notation ("M/d/yyyy",
// "dd.MM.yyyy"), from the date format of the user's time locale.
std::string ShortDatePattern();

// A C library date format ("%d.%m.%Y") in the suite's pattern notation
// ("dd.MM.yyyy"): d dd ddd dddd for the day, M MM MMM MMMM for the month,
// yy yyyy for the year, other letters quoted. Conversions with no
// counterpart are dropped.
std::string DateFormatToPattern(std::string_view format);

struct ScreenSize {
    int32_t Width = 0; // pixels
    int32_t Height = 0;
};

// The default screen of the display named by DISPLAY; 0 by 0 without one.
ScreenSize GetScreenSize();

// One top-level window with a title: its id read as a signed 32-bit number,
// and its title as the window system holds it.
struct TopWindow {
    int32_t Handle = 0;
    std::string Title;
};

// The window manager's client windows (the root's viewable children when no
// manager lists them) in the system's order, each with its title ("" when it
// has none). None without a display.
std::vector<TopWindow> ListTopLevelWindows();

// What a directory search for normal files tells about one file.
struct FileFacts {
    bool ReadOnly = false;
    bool Hidden = false;
    bool System = false;
    bool Directory = false;
    bool Archive = false;
    LocalDateTime Modified; // local time
    uint64_t Size = 0;
};

// The facts of `path` when a search for normal files finds it: a regular
// file whose name does not start with "." (hidden files, folders and special
// files are not found). As on the suite's home system, the name part matches
// without regard to case when no file has exactly that name.
std::optional<FileFacts> FindNormalFile(const std::string& path);

// The folder the shell gives for a special-folder number (37 the system
// folder, 43 the common program files), "" when this system has none.
std::string SpecialFolder(int folderId);

} // namespace platform
