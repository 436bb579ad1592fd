#include "maintenance/sysinfo.h"

#include "build_info.h"

#include "maintenance/report_lines.h"
#include "platform/environment.h"
#include "startup/network_share.h"
#include "startup/registry.h"
#include "util/format.h"
#include "util/strings.h"

#include <sqlite3.h>

namespace maintenance {

namespace {

constexpr std::string_view ProductOptionsKey = "SYSTEM\\CurrentControlSet\\Control\\ProductOptions";

// Mid$(text, 14, 1): the digit of "Service Pack N".
std::string FourteenthCharacter(const std::string& text) {
    return text.size() >= 14 ? text.substr(13, 1) : std::string();
}

std::string TrimmedExtra(const VersionRecord& v) {
    return util::Trim(v.ExtraText);
}

bool IsNT(const VersionRecord& v, int32_t major, int32_t minor) {
    return v.PlatformId == PlatformNT && v.MajorVersion == major && v.MinorVersion == minor;
}

std::string Windows95LineName(const VersionRecord& v) {
    if (v.MinorVersion < 10) {
        return Windows95Name(v);
    }
    if (v.MinorVersion == 10) {
        return Windows98Name(v);
    }
    if (v.MinorVersion >= 90) {
        return WindowsMEName(v);
    }
    return "No Windows 95 Based System";
}

std::string NTLineName(const VersionRecord& v, std::string_view productType) {
    if (v.MajorVersion == 3 || v.MajorVersion == 4) {
        return WindowsNTName(v, productType);
    }
    if (v.MajorVersion == 5) {
        switch (v.MinorVersion) {
        case 0:
            return Windows2000Name(v);
        case 1:
            return WindowsXPName(v);
        case 2:
            return WindowsDotNetName(v);
        default:
            break;
        }
    }
    return "No Windows NT Based System";
}

} // namespace

std::string VersionName(const VersionRecord& v, std::string_view productType) {
    switch (v.PlatformId) {
    case PlatformWin32s:
        return "Unknown 32 Bit Windows Version";
    case PlatformWindows:
        return Windows95LineName(v);
    case PlatformNT:
        return NTLineName(v, productType);
    case PlatformCE:
        return WindowsCEName(v);
    default:
        return "Unable To Get System Informations";
    }
}

std::string Windows95Name(const VersionRecord& v) {
    if (v.PlatformId != PlatformWindows || v.MinorVersion >= 10) {
        return "No Windows 95 System";
    }
    // The whole build field: on this line its high half holds the version too.
    const int32_t b = v.BuildNumber;
    if (b == 950) {
        return "Windows 95";
    }
    if (b >= 951 && b <= 1080) {
        return "Windows 95 Service Pack 1";
    }
    if (b >= 1111 && b <= 1211) {
        return "Windows 95 OSR-2";
    }
    if (b >= 1212 && b <= 1213) {
        return "Windows 95 OSR-2.1";
    }
    if (b >= 1214) {
        return "Windows 95 OSR-2.5";
    }
    return "Unknown Windows 95 Version";
}

std::string Windows98Name(const VersionRecord& v) {
    if (v.PlatformId != PlatformWindows || v.MinorVersion != 10) {
        return "No Windows 98 System";
    }
    const int32_t b = v.BuildNumber;
    if (b == 1998) {
        return "Windows 98";
    }
    if (b >= 1999 && b <= 2182) {
        return "Windows 98 Service Pack 1";
    }
    if (b > 2182) {
        return "Windows 98 SE";
    }
    return "Unknown Windows 98 Version";
}

std::string WindowsMEName(const VersionRecord& v) {
    if (v.PlatformId != PlatformWindows || v.MinorVersion < 90) {
        return "No Windows ME System";
    }
    return v.BuildNumber > 2493 ? "Windows ME" : "Unknown Windows ME Version";
}

std::string WindowsNTName(const VersionRecord& v, std::string_view productType) {
    if (v.PlatformId != PlatformNT || (v.MajorVersion != 3 && v.MajorVersion != 4)) {
        return "No Windows NT System";
    }
    std::string name;
    if (v.MajorVersion == 4) {
        name = "Windows NT 4.0";
    } else {
        switch (v.MinorVersion) {
        case 0:
            name = "Windows NT 3.0";
            break;
        case 1:
            name = "Windows NT 3.1";
            break;
        case 5:
            name = "Windows NT 3.5";
            break;
        case 51:
            name = "Windows NT 3.51";
            break;
        default:
            name = "Unknown Windows NT 3 Version";
            break;
        }
    }
    if (productType == "WinNT") {
        name += " Workstation";
    } else if (productType == "ServerNT") {
        name += " Server";
    } else {
        name += " Advanced Server";
    }
    const std::string extra = TrimmedExtra(v);
    if (!extra.empty()) {
        const std::string pack = util::Trim(FourteenthCharacter(extra));
        if (pack.size() == 1 && pack[0] >= '1' && pack[0] <= '5') {
            name += " Service Pack " + pack;
        } else if (pack == "6") {
            name += " Service Pack 6/6a";
        } else if (pack == "7") {
            name += " Service Pack 7";
        } else {
            // Also on an NT 3 system: the suite has always printed it so.
            name = "Windows NT 4.0 " + extra;
        }
    }
    return name;
}

std::string Windows2000Name(const VersionRecord& v) {
    if (!IsNT(v, 5, 0) || v.BuildNumber != 2195) {
        return "No Windows 2000 System";
    }
    std::string name;
    if (v.ProductType == ProductWorkstation) {
        name = "Windows 2000 Professional";
    } else if (v.ProductType == ProductServer) {
        // The whole mask is compared here, unlike the product family's bit tests.
        if (v.SuiteMask == 128) {
            name = "Windows 2000 DataCenter Server";
        } else if (v.SuiteMask == 2) {
            name = "Windows 2000 Advanced Server";
        } else {
            name = "Windows 2000 Server";
        }
    }
    if (v.ServicePackMajor >= 1 && v.ServicePackMajor <= 3) {
        name += " Service Pack " + std::to_string(v.ServicePackMajor);
    } else {
        name += " " + TrimmedExtra(v);
    }
    return name;
}

std::string WindowsXPName(const VersionRecord& v) {
    if (!IsNT(v, 5, 1) || v.BuildNumber != 2600) {
        return "No Windows XP System";
    }
    std::string name =
        (v.SuiteMask & SuitePersonal) ? "Windows XP Home" : "Windows XP Professional";
    if (v.ServicePackMajor == 1) {
        name += " Service Pack 1";
    } else {
        name += " " + TrimmedExtra(v);
    }
    return name;
}

std::string WindowsDotNetName(const VersionRecord& v) {
    if (!IsNT(v, 5, 2)) {
        return "No Windows .NET System";
    }
    std::string name = v.SuiteMask == 2 ? "Windows .NET Enterprise Server" : "Windows .NET Server";
    if (v.ServicePackMajor == 1 || v.ServicePackMajor == 2) {
        name += " Service Pack " + std::to_string(v.ServicePackMajor);
    } else {
        name += " " + TrimmedExtra(v);
    }
    return name;
}

std::string WindowsCEName(const VersionRecord& v) {
    if (v.PlatformId != PlatformCE) {
        return "No Windows CE System";
    }
    switch (v.MajorVersion) {
    case 1:
        return "Windows CE 1.0";
    case 2:
        if (v.MinorVersion == 0) {
            return "Windows CE 2.0";
        }
        if (v.MinorVersion == 1) {
            return "Windows CE 2.1";
        }
        return "Unknown Windows CE 2 Version";
    case 3:
        return "Windows CE 3.0";
    case 4:
        return "Windows CE 4.0";
    case 5:
        return "Windows CE .NET";
    default:
        return "Unknown Windows CE Version";
    }
}

std::string PlatformTypeName(int32_t platformId) {
    switch (platformId) {
    case PlatformWin32s:
        return "32 Bit Windows";
    case PlatformWindows:
        return "Windows 95";
    case PlatformNT:
        return "Windows NT";
    case PlatformCE:
        return "Windows CE";
    default:
        return "Unknown Platform Type";
    }
}

std::string ServicePackOf(const VersionRecord& v) {
    return util::Trim(FourteenthCharacter(v.ExtraText));
}

std::string ExtendedInfoOf(const VersionRecord& v) {
    return TrimmedExtra(v);
}

std::string ProductFamily(const VersionRecord& v, std::string_view productType) {
    if (v.PlatformId != PlatformNT) {
        return "Unknown Product Family";
    }
    if (v.MajorVersion < 5) {
        if (productType == "WinNT") {
            return "Workstation";
        }
        if (productType == "ServerNT") {
            return "Server";
        }
        return "Advanced Server";
    }
    // A bit test, so a server (3) reads as a workstation too; the suite has
    // always shown it so.
    if (v.ProductType & 0x1) {
        return "Workstation/Professional/Home";
    }
    if ((v.ProductType & 0x3) == 0) {
        return "Unknown Product Family";
    }
    if (v.SuiteMask & SuiteDataCenter) {
        return "DataCenter Server";
    }
    if (v.SuiteMask & SuiteEnterprise) {
        return "Advanced/Enterprise Server";
    }
    return "Server";
}

std::string GetProductType(const platform::RegistryStore& reg) {
    return startup::RegReadString(reg, ProductOptionsKey, "ProductType");
}

std::string GetVersionName(const platform::RegistryStore& reg) {
    return VersionName(platform::GetVersionRecord(), GetProductType(reg));
}

int16_t GetPlatformId() {
    return static_cast<int16_t>(platform::GetVersionRecord().PlatformId);
}

std::string GetPlatformType() {
    return PlatformTypeName(platform::GetVersionRecord().PlatformId);
}

int16_t GetMajorVersion() {
    return static_cast<int16_t>(platform::GetVersionRecord().MajorVersion);
}

int16_t GetMinorVersion() {
    return static_cast<int16_t>(platform::GetVersionRecord().MinorVersion);
}

int32_t GetBuildNumber() {
    return platform::GetVersionRecord().BuildNumber;
}

std::string GetServicePack() {
    return ServicePackOf(platform::GetVersionRecord());
}

std::string GetExtendedInfo() {
    return ExtendedInfoOf(platform::GetVersionRecord());
}

std::string GetLanguageName(bool english) {
    auto names = platform::LanguageNames(platform::LanguageLocale());
    return english ? names.first : names.second;
}

std::string GetProductFamily(const platform::RegistryStore& reg) {
    return ProductFamily(platform::GetVersionRecord(), GetProductType(reg));
}

std::string GetWindowsFolder() {
    return platform::GetEnv("WINDIR");
}

SystemInfo QuerySystemInfo(const platform::RegistryStore& reg) {
    const VersionRecord v = platform::GetVersionRecord();
    const std::string productType = GetProductType(reg);
    SystemInfo info;
    info.VersionName = VersionName(v, productType);
    info.PlatformId = static_cast<int16_t>(v.PlatformId);
    info.PlatformType = PlatformTypeName(v.PlatformId);
    info.MajorVersion = static_cast<int16_t>(v.MajorVersion);
    info.MinorVersion = static_cast<int16_t>(v.MinorVersion);
    info.BuildNumber = v.BuildNumber;
    info.ServicePack = ServicePackOf(v);
    info.ExtendedInfo = ExtendedInfoOf(v);
    auto names = platform::LanguageNames(platform::LanguageLocale());
    info.LanguageEnglish = names.first;
    info.LanguageNative = names.second;
    info.ProductFamily = ProductFamily(v, productType);
    info.WindowsFolder = GetWindowsFolder();
    if (v.PlatformId == platform::PlatformOther) {
        // A service pack digit read from a distribution's name would be noise.
        info.ServicePack = NotApplicable;
        if (info.WindowsFolder.empty()) {
            info.WindowsFolder = NotApplicable;
        }
    }
    info.ShortDateFormat = platform::ShortDatePattern();
    const platform::ScreenSize screen = platform::GetScreenSize();
    info.ScreenWidth = screen.Width;
    info.ScreenHeight = screen.Height;
    return info;
}

namespace {

// A line of the system blocks.
std::string SystemLine(std::string_view caption, std::string_view value) {
    return Labelled(caption, SystemCaptionWidth, value);
}

} // namespace

std::vector<std::string> SystemInfoLines(const SystemInfo& info) {
    return {
        Ruler("System Information", 27),
        SystemLine("Windows version", info.VersionName),
        SystemLine("Platform ID", std::to_string(info.PlatformId)),
        SystemLine("Platform type", info.PlatformType + " Based"),
        SystemLine("Major number", std::to_string(info.MajorVersion)),
        SystemLine("Minor number", std::to_string(info.MinorVersion)),
        SystemLine("Build number", std::to_string(info.BuildNumber)),
        SystemLine("Service pack", info.ServicePack),
        SystemLine("Extended information", info.ExtendedInfo),
        SystemLine("Language (English)", info.LanguageEnglish),
        SystemLine("Language (Native)", info.LanguageNative),
        SystemLine("Product family", info.ProductFamily),
        SystemLine("Windows folder", info.WindowsFolder),
        SystemLine("Short Date Format", info.ShortDateFormat),
        SystemLine("Screen Width", std::to_string(info.ScreenWidth)),
        SystemLine("Screen Height", std::to_string(info.ScreenHeight)),
    };
}

LinuxFacts QueryLinuxFacts(const std::string& databaseFolder, const std::string& qtVersion) {
    LinuxFacts facts;
    facts.OstrandVersion = build::Version;
    facts.Distribution = platform::DistributionName();
    facts.Kernel = platform::KernelDescription();
    facts.Desktop = platform::DesktopSession();
    facts.QtVersion = qtVersion;
    facts.SQLiteVersion = sqlite3_libversion();
    facts.DatabaseFolder = databaseFolder;
    if (!databaseFolder.empty()) {
        facts.Volume = platform::QueryVolume(databaseFolder);
    }
    return facts;
}

std::vector<std::string> LinuxInfoLines(const LinuxFacts& facts) {
    const platform::VolumeSpace& volume = facts.Volume;
    const std::string freeSpace =
        !volume.ok ? ""
        : volume.freeBytes == 0
            ? "0 bytes"
            : util::Format(static_cast<double>(volume.freeBytes), "#,###") + " bytes";
    std::vector<std::string> lines = {
        Ruler("Linux", 39),
        SystemLine("Ostrand version", facts.OstrandVersion),
        SystemLine("Distribution", facts.Distribution),
        SystemLine("Kernel", facts.Kernel),
        SystemLine("Desktop session", facts.Desktop),
        SystemLine("Qt version", facts.QtVersion),
        SystemLine("SQLite version", facts.SQLiteVersion),
        SystemLine("Database folder", facts.DatabaseFolder),
        SystemLine("File system", volume.fileSystem),
        SystemLine("Free space", freeSpace),
    };
    if (volume.network) {
        lines.push_back(Labelled(
            "Network file system", SystemCaptionWidth,
            startup::NetworkShareWarning(facts.DatabaseFolder, volume.fileSystem), ProblemMarker));
    }
    return lines;
}

} // namespace maintenance
