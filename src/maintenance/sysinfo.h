#pragma once
// The system information of the troubleshooting report. The naming of a
// system version is a set of decision tables that support staff rely on; they
// are pure functions of a version record and the registry's product-type
// text, kept exactly as the suite has always printed them ("Informations"
// included). The queries below them ask the running system afresh each time.

#include "platform/registry_store.h"
#include "platform/sysinfo.h"
#include "platform/volume.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace maintenance {

using platform::VersionRecord;

// Platform ids of the version record.
inline constexpr int32_t PlatformWin32s = 0;
inline constexpr int32_t PlatformWindows = 1; // the 95 line
inline constexpr int32_t PlatformNT = 2;
inline constexpr int32_t PlatformCE = 3;

// Bits of the suite mask and the product types of the extended record.
inline constexpr int16_t SuiteEnterprise = 0x0002;
inline constexpr int16_t SuiteDataCenter = 0x0080;
inline constexpr int16_t SuitePersonal = 0x0200;
inline constexpr uint8_t ProductWorkstation = 1;
inline constexpr uint8_t ProductDomainController = 2;
inline constexpr uint8_t ProductServer = 3;

// ---- The decision tables ----

// The system's name in words, by platform id.
std::string VersionName(const VersionRecord& v, std::string_view productType);

// Each family's own table; called on another system each says so
// ("No Windows 95 System", ...).
std::string Windows95Name(const VersionRecord& v);
std::string Windows98Name(const VersionRecord& v);
std::string WindowsMEName(const VersionRecord& v);
std::string WindowsNTName(const VersionRecord& v, std::string_view productType); // NT 3 and 4
std::string Windows2000Name(const VersionRecord& v);
std::string WindowsXPName(const VersionRecord& v);
std::string WindowsDotNetName(const VersionRecord& v);
std::string WindowsCEName(const VersionRecord& v);

// "32 Bit Windows", "Windows 95", "Windows NT", "Windows CE" or "Unknown Platform Type".
std::string PlatformTypeName(int32_t platformId);

// The 14th character of the extra version text, trimmed ("Service Pack 3" gives "3").
std::string ServicePackOf(const VersionRecord& v);

// The extra version text, trimmed.
std::string ExtendedInfoOf(const VersionRecord& v);

// Workstation, server or domain-controller family; NT line only.
std::string ProductFamily(const VersionRecord& v, std::string_view productType);

// ---- The queries ----

// The registry's product type ("WinNT", "ServerNT", ...), "" when it is not set.
std::string GetProductType(const platform::RegistryStore& reg);
std::string GetVersionName(const platform::RegistryStore& reg);
int16_t GetPlatformId();
std::string GetPlatformType();
int16_t GetMajorVersion();
int16_t GetMinorVersion();
int32_t GetBuildNumber();
std::string GetServicePack();
std::string GetExtendedInfo();
// The system language's English (true) or native (false) name.
std::string GetLanguageName(bool english);
std::string GetProductFamily(const platform::RegistryStore& reg);
// The WINDIR variable: the Windows folder, which this system does not have.
std::string GetWindowsFolder();

// Everything the report's second system block shows, read in one go.
struct SystemInfo {
    std::string VersionName;
    int16_t PlatformId = 0;
    std::string PlatformType;
    int16_t MajorVersion = 0;
    int16_t MinorVersion = 0;
    int32_t BuildNumber = 0;
    std::string ServicePack;
    std::string ExtendedInfo;
    std::string LanguageEnglish;
    std::string LanguageNative;
    std::string ProductFamily;
    std::string WindowsFolder;
    std::string ShortDateFormat;
    int32_t ScreenWidth = 0;
    int32_t ScreenHeight = 0;
};

SystemInfo QuerySystemInfo(const platform::RegistryStore& reg);

// The second "System Information" block of the report: its ruler and one
// labelled line per fact.
std::vector<std::string> SystemInfoLines(const SystemInfo& info);

// What the report says of a fact that only a Windows system has.
inline constexpr const char* NotApplicable = "not applicable";

// The facts of the system the program really runs on, and of the volume that
// holds the database, for the report's "Linux" block.
struct LinuxFacts {
    std::string OstrandVersion;
    std::string Distribution;
    std::string Kernel;
    std::string Desktop;
    std::string QtVersion;
    std::string SQLiteVersion;
    std::string DatabaseFolder;   // "" when no database is registered
    platform::VolumeSpace Volume; // of DatabaseFolder
};

// Asks the system afresh. `qtVersion` comes from the caller: the core does
// not load Qt.
LinuxFacts QueryLinuxFacts(const std::string& databaseFolder, const std::string& qtVersion);

// The "Linux" block: its ruler and one labelled line per fact; a database
// folder on a network file system adds a "{*}" line with the warning.
std::vector<std::string> LinuxInfoLines(const LinuxFacts& facts);

} // namespace maintenance
