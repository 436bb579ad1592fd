// The report's system block: the names the suite's Windows releases gave
// their systems, at the edges of each family's table, and the Linux facts.

#include "maintenance/sysinfo.h"
#include "support/scoped_env.h"
#include "support/temp_dir.h"

#include <gtest/gtest.h>

#include <string>

namespace {

using maintenance::VersionRecord;

VersionRecord Rec(int32_t platform, int32_t major, int32_t minor, int32_t build,
                  std::string extra = "", int16_t spMajor = 0, int16_t suite = 0,
                  uint8_t product = 0) {
    return {major, minor, build, platform, std::move(extra), spMajor, 0, suite, product};
}

TEST(SystemNames, EveryFamilyAtItsEdges) {
    const struct {
        std::string (*name)(const VersionRecord&, std::string_view);
        VersionRecord v;
        const char* productType;
        const char* expected;
    } cases[] = {
        {maintenance::VersionName, Rec(0, 6, 1, 0), "", "Unknown 32 Bit Windows Version"},
        {maintenance::VersionName, Rec(4, 6, 1, 0), "", "Unable To Get System Informations"},
        {maintenance::VersionName, Rec(1, 4, 0, 949), "", "Unknown Windows 95 Version"},
        {maintenance::VersionName, Rec(1, 4, 0, 950), "", "Windows 95"},
        {maintenance::VersionName, Rec(1, 4, 0, 1081), "", "Unknown Windows 95 Version"},
        {maintenance::VersionName, Rec(1, 4, 0, 1213), "", "Windows 95 OSR-2.1"},
        // The build field is not masked: its high half carries the version.
        {maintenance::VersionName, Rec(1, 4, 9, 0x040003B6), "", "Windows 95 OSR-2.5"},
        {maintenance::VersionName, Rec(1, 4, 10, 1998), "", "Windows 98"},
        {maintenance::VersionName, Rec(1, 4, 10, 2182), "", "Windows 98 Service Pack 1"},
        {maintenance::VersionName, Rec(1, 4, 10, 2183), "", "Windows 98 SE"},
        {maintenance::VersionName, Rec(1, 4, 89, 3000), "", "No Windows 95 Based System"},
        {maintenance::VersionName, Rec(1, 4, 90, 2494), "", "Windows ME"},
        {maintenance::VersionName, Rec(2, 4, 0, 1381, "Service Pack 6"), "ServerNT",
         "Windows NT 4.0 Server Service Pack 6/6a"},
        {maintenance::VersionName, Rec(2, 4, 0, 1381, "Service Pack 1"), "LanmanNT",
         "Windows NT 4.0 Advanced Server Service Pack 1"},
        {maintenance::VersionName, Rec(2, 4, 0, 1381, "  Service Pack 4"), "WinNT",
         "Windows NT 4.0 Workstation Service Pack 4"},
        {maintenance::VersionName, Rec(2, 3, 51, 0, "Service Pack 2"), "WinNT",
         "Windows NT 3.51 Workstation Service Pack 2"},
        // Any other text replaces the whole name.
        {maintenance::VersionName, Rec(2, 3, 51, 0, " RC1 "), "WinNT", "Windows NT 4.0 RC1"},
        {maintenance::VersionName, Rec(2, 5, 0, 2195, "", 3, 128, 3), "",
         "Windows 2000 DataCenter Server Service Pack 3"},
        {maintenance::VersionName, Rec(2, 5, 0, 2195, "", 2, 2, 3), "",
         "Windows 2000 Advanced Server Service Pack 2"},
        // The whole mask is compared: enterprise with another bit is a plain server.
        {maintenance::VersionName, Rec(2, 5, 0, 2195, "", 2, 0x0082, 3), "",
         "Windows 2000 Server Service Pack 2"},
        {maintenance::VersionName, Rec(2, 5, 0, 2194, "", 1, 0, 1), "", "No Windows 2000 System"},
        {maintenance::VersionName, Rec(2, 5, 1, 2600, "", 1, 0x0200, 1), "",
         "Windows XP Home Service Pack 1"},
        {maintenance::VersionName, Rec(2, 5, 1, 2600, "Service Pack 2", 2, 0, 1), "",
         "Windows XP Professional Service Pack 2"},
        {maintenance::VersionName, Rec(2, 5, 2, 3790, "", 1, 2, 3), "",
         "Windows .NET Enterprise Server Service Pack 1"},
        {maintenance::VersionName, Rec(2, 6, 1, 7601), "", "No Windows NT Based System"},
        {maintenance::VersionName, Rec(3, 2, 1, 0), "", "Windows CE 2.1"},
        {maintenance::VersionName, Rec(3, 5, 0, 0), "", "Windows CE .NET"},
        {maintenance::ProductFamily, Rec(1, 4, 10, 2222), "WinNT", "Unknown Product Family"},
        {maintenance::ProductFamily, Rec(2, 4, 0, 1381), "ServerNT", "Server"},
        {maintenance::ProductFamily, Rec(2, 3, 51, 0), "", "Advanced Server"},
        // The test is on the bit, so a server reads as a workstation.
        {maintenance::ProductFamily, Rec(2, 5, 0, 2195, "", 0, 0x80, 3), "",
         "Workstation/Professional/Home"},
        {maintenance::ProductFamily, Rec(2, 5, 0, 2195, "", 0, 0x82, 2), "", "DataCenter Server"},
        {maintenance::ProductFamily, Rec(2, 5, 0, 2195, "", 0, 0x02, 2), "",
         "Advanced/Enterprise Server"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.expected);
        EXPECT_EQ(c.name(c.v, c.productType), c.expected);
    }
    EXPECT_EQ(maintenance::PlatformTypeName(2), "Windows NT");
    EXPECT_EQ(maintenance::PlatformTypeName(4), "Unknown Platform Type");
    EXPECT_EQ(maintenance::ServicePackOf(Rec(2, 5, 0, 0, "Service Pack 10")), "1");
    EXPECT_EQ(maintenance::ServicePackOf(Rec(2, 5, 0, 0, "Service Pack ")), "");
    EXPECT_EQ(maintenance::ExtendedInfoOf(Rec(2, 5, 0, 0, "  Service Pack 3 ")), "Service Pack 3");
}

// Here the Windows-only facts say so rather than stay empty or read noise,
// and the Linux block carries the real ones.
TEST(SystemInfo, WindowsOnlyFactsAreNotApplicableAndTheLinuxFactsAreFilled) {
    testsupport::TempDir dir;
    testsupport::ScopedEnv windir("WINDIR", nullptr);
    platform::RegistryStore reg((dir / "registry.reg").string());
    const auto info = maintenance::QuerySystemInfo(reg);
    EXPECT_EQ(info.ServicePack, "not applicable");
    EXPECT_EQ(info.WindowsFolder, "not applicable");
    reg.WriteString("HKEY_LOCAL_MACHINE\\SYSTEM\\CurrentControlSet\\Control\\ProductOptions",
                    "ProductType", "ServerNT");
    EXPECT_EQ(maintenance::GetProductType(reg), "ServerNT");
    const auto facts = maintenance::QueryLinuxFacts(dir.str(), "6.4.2");
    EXPECT_EQ(facts.Kernel.rfind("Linux ", 0), 0u) << facts.Kernel;
    EXPECT_EQ(facts.SQLiteVersion.substr(0, 2), "3.");
    EXPECT_TRUE(facts.Volume.ok);
    EXPECT_FALSE(maintenance::QueryLinuxFacts("", "").Volume.ok) << "no folder, no volume";
}

} // namespace
