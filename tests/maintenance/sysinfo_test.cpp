#include "maintenance/sysinfo.h"
#include "support/scoped_env.h"
#include "support/temp_dir.h"

#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <vector>

namespace {

using maintenance::VersionRecord;

VersionRecord Rec(int32_t platform, int32_t major, int32_t minor, int32_t build,
                  std::string extra = "", int16_t spMajor = 0, int16_t suite = 0,
                  uint8_t product = 0) {
    VersionRecord v;
    v.PlatformId = platform;
    v.MajorVersion = major;
    v.MinorVersion = minor;
    v.BuildNumber = build;
    v.ExtraText = std::move(extra);
    v.ServicePackMajor = spMajor;
    v.SuiteMask = suite;
    v.ProductType = product;
    return v;
}

struct NameCase {
    VersionRecord v;
    std::string productType;
    std::string expected;
};

using NameFunction = std::string (*)(const VersionRecord&, std::string_view);

void ExpectNames(NameFunction name, const std::vector<NameCase>& cases) {
    for (const NameCase& c : cases) {
        EXPECT_EQ(name(c.v, c.productType), c.expected)
            << "platform " << c.v.PlatformId << " " << c.v.MajorVersion << "." << c.v.MinorVersion
            << " build " << c.v.BuildNumber << " extra '" << c.v.ExtraText << "' product "
            << int(c.v.ProductType) << " '" << c.productType << "'";
    }
}

TEST(VersionName, EveryFamilyAtItsEdges) {
    ExpectNames(
        maintenance::VersionName,
        {
            // The platform chooses the table.
            {Rec(0, 6, 1, 0), "", "Unknown 32 Bit Windows Version"},
            {Rec(4, 6, 1, 0), "", "Unable To Get System Informations"},
            {Rec(-1, 4, 0, 950), "", "Unable To Get System Informations"},
            {Rec(3, 3, 0, 0), "", "Windows CE 3.0"},
            // Windows 95 line: by minor version, then build.
            {Rec(1, 4, 0, 949), "", "Unknown Windows 95 Version"},
            {Rec(1, 4, 0, 950), "", "Windows 95"},
            {Rec(1, 4, 0, 951), "", "Windows 95 Service Pack 1"},
            {Rec(1, 4, 0, 1080), "", "Windows 95 Service Pack 1"},
            {Rec(1, 4, 0, 1081), "", "Unknown Windows 95 Version"},
            {Rec(1, 4, 0, 1110), "", "Unknown Windows 95 Version"},
            {Rec(1, 4, 0, 1111), "", "Windows 95 OSR-2"},
            {Rec(1, 4, 0, 1211), "", "Windows 95 OSR-2"},
            {Rec(1, 4, 0, 1212), "", "Windows 95 OSR-2.1"},
            {Rec(1, 4, 0, 1213), "", "Windows 95 OSR-2.1"},
            {Rec(1, 4, 0, 1214), "", "Windows 95 OSR-2.5"},
            // The build field is not masked: its high half carries the version.
            {Rec(1, 4, 9, 0x040003B6), "", "Windows 95 OSR-2.5"},
            {Rec(1, 4, 10, 1997), "", "Unknown Windows 98 Version"},
            {Rec(1, 4, 10, 1998), "", "Windows 98"},
            {Rec(1, 4, 10, 1999), "", "Windows 98 Service Pack 1"},
            {Rec(1, 4, 10, 2182), "", "Windows 98 Service Pack 1"},
            {Rec(1, 4, 10, 2183), "", "Windows 98 SE"},
            {Rec(1, 4, 10, 2222), "", "Windows 98 SE"},
            {Rec(1, 4, 11, 2222), "", "No Windows 95 Based System"},
            {Rec(1, 4, 89, 3000), "", "No Windows 95 Based System"},
            {Rec(1, 4, 90, 2493), "", "Unknown Windows ME Version"},
            {Rec(1, 4, 90, 2494), "", "Windows ME"},
            // NT 3 and 4.
            {Rec(2, 4, 0, 1381, "Service Pack 6"), "ServerNT",
             "Windows NT 4.0 Server Service Pack 6/6a"},
            {Rec(2, 4, 0, 1381, ""), "WinNT", "Windows NT 4.0 Workstation"},
            {Rec(2, 4, 0, 1381, "   "), "ServerNT", "Windows NT 4.0 Server"},
            {Rec(2, 4, 0, 1381, "Service Pack 3"), "",
             "Windows NT 4.0 Advanced Server Service Pack 3"},
            {Rec(2, 4, 0, 1381, "Service Pack 1"), "LanmanNT",
             "Windows NT 4.0 Advanced Server Service Pack 1"},
            {Rec(2, 4, 0, 1381, "Service Pack 5"), "WinNT",
             "Windows NT 4.0 Workstation Service Pack 5"},
            // The digit is read from the trimmed text.
            {Rec(2, 4, 0, 1381, "  Service Pack 4"), "WinNT",
             "Windows NT 4.0 Workstation Service Pack 4"},
            {Rec(2, 4, 0, 1381, "Service Pack 7"), "WinNT",
             "Windows NT 4.0 Workstation Service Pack 7"},
            {Rec(2, 3, 0, 0), "WinNT", "Windows NT 3.0 Workstation"},
            {Rec(2, 3, 1, 0), "WinNT", "Windows NT 3.1 Workstation"},
            {Rec(2, 3, 5, 0), "ServerNT", "Windows NT 3.5 Server"},
            {Rec(2, 3, 51, 0, "Service Pack 2"), "WinNT",
             "Windows NT 3.51 Workstation Service Pack 2"},
            {Rec(2, 3, 2, 0), "WinNT", "Unknown Windows NT 3 Version Workstation"},
            // Any other text replaces the whole name, also on NT 3.
            {Rec(2, 4, 0, 1381, "Service Pack 0"), "WinNT", "Windows NT 4.0 Service Pack 0"},
            {Rec(2, 3, 51, 0, " RC1 "), "WinNT", "Windows NT 4.0 RC1"},
            // 2000.
            {Rec(2, 5, 0, 2195, "Service Pack 4", 4, 0, 1), "",
             "Windows 2000 Professional Service Pack 4"},
            {Rec(2, 5, 0, 2195, "", 1, 0, 1), "", "Windows 2000 Professional Service Pack 1"},
            {Rec(2, 5, 0, 2195, "", 3, 128, 3), "",
             "Windows 2000 DataCenter Server Service Pack 3"},
            {Rec(2, 5, 0, 2195, "", 2, 2, 3), "", "Windows 2000 Advanced Server Service Pack 2"},
            // The whole mask is compared: enterprise together with another bit is a plain server.
            {Rec(2, 5, 0, 2195, "", 2, 0x0082, 3), "", "Windows 2000 Server Service Pack 2"},
            {Rec(2, 5, 0, 2195, "", 0, 0, 3), "", "Windows 2000 Server "},
            // A domain controller has no name of its own: only the service pack part is left.
            {Rec(2, 5, 0, 2195, "", 1, 0, 2), "", " Service Pack 1"},
            {Rec(2, 5, 0, 2194, "", 1, 0, 1), "", "No Windows 2000 System"},
            // XP, .NET and the rest of the NT line.
            {Rec(2, 5, 1, 2600, "", 1, 0x0200, 1), "", "Windows XP Home Service Pack 1"},
            {Rec(2, 5, 1, 2600, "Service Pack 2", 2, 0x0300, 1), "",
             "Windows XP Home Service Pack 2"},
            {Rec(2, 5, 1, 2600, "Service Pack 2", 2, 0, 1), "",
             "Windows XP Professional Service Pack 2"},
            {Rec(2, 5, 1, 2601, "", 1, 0, 1), "", "No Windows XP System"},
            {Rec(2, 5, 2, 3790, "", 1, 2, 3), "", "Windows .NET Enterprise Server Service Pack 1"},
            {Rec(2, 5, 2, 3790, "", 2, 0x0082, 3), "", "Windows .NET Server Service Pack 2"},
            {Rec(2, 5, 2, 3790, " Beta 3 ", 0, 0, 3), "", "Windows .NET Server Beta 3"},
            {Rec(2, 5, 3, 0), "", "No Windows NT Based System"},
            {Rec(2, 6, 1, 7601), "", "No Windows NT Based System"},
            {Rec(2, 2, 0, 0), "", "No Windows NT Based System"},
            // CE.
            {Rec(3, 1, 0, 0), "", "Windows CE 1.0"},
            {Rec(3, 2, 0, 0), "", "Windows CE 2.0"},
            {Rec(3, 2, 1, 0), "", "Windows CE 2.1"},
            {Rec(3, 2, 11, 0), "", "Unknown Windows CE 2 Version"},
            {Rec(3, 4, 2, 0), "", "Windows CE 4.0"},
            {Rec(3, 5, 0, 0), "", "Windows CE .NET"},
            {Rec(3, 6, 0, 0), "", "Unknown Windows CE Version"},
            {Rec(3, 0, 0, 0), "", "Unknown Windows CE Version"},
        });
}

TEST(VersionName, FamilyTablesSayWhenCalledOnAnotherSystem) {
    EXPECT_EQ(maintenance::Windows95Name(Rec(1, 4, 10, 950)), "No Windows 95 System");
    EXPECT_EQ(maintenance::Windows95Name(Rec(2, 4, 0, 950)), "No Windows 95 System");
    EXPECT_EQ(maintenance::Windows98Name(Rec(1, 4, 0, 1998)), "No Windows 98 System");
    EXPECT_EQ(maintenance::WindowsMEName(Rec(1, 4, 10, 3000)), "No Windows ME System");
    EXPECT_EQ(maintenance::WindowsNTName(Rec(2, 5, 0, 2195), "WinNT"), "No Windows NT System");
    EXPECT_EQ(maintenance::WindowsNTName(Rec(1, 4, 0, 950), "WinNT"), "No Windows NT System");
    EXPECT_EQ(maintenance::Windows2000Name(Rec(2, 5, 1, 2195)), "No Windows 2000 System");
    EXPECT_EQ(maintenance::WindowsXPName(Rec(2, 5, 0, 2600)), "No Windows XP System");
    EXPECT_EQ(maintenance::WindowsDotNetName(Rec(2, 5, 1, 3790)), "No Windows .NET System");
    EXPECT_EQ(maintenance::WindowsCEName(Rec(2, 2, 0, 0)), "No Windows CE System");
}

TEST(SystemInfo, PlatformTypeServicePackAndExtendedInfo) {
    EXPECT_EQ(maintenance::PlatformTypeName(0), "32 Bit Windows");
    EXPECT_EQ(maintenance::PlatformTypeName(1), "Windows 95");
    EXPECT_EQ(maintenance::PlatformTypeName(2), "Windows NT");
    EXPECT_EQ(maintenance::PlatformTypeName(3), "Windows CE");
    EXPECT_EQ(maintenance::PlatformTypeName(4), "Unknown Platform Type");

    EXPECT_EQ(maintenance::ServicePackOf(Rec(2, 5, 0, 0, "Service Pack 3")), "3");
    EXPECT_EQ(maintenance::ServicePackOf(Rec(2, 5, 0, 0, "Service Pack 10")), "1");
    EXPECT_EQ(maintenance::ServicePackOf(Rec(2, 5, 0, 0, "")), "");
    EXPECT_EQ(maintenance::ServicePackOf(Rec(2, 5, 0, 0, "Service Pack ")), "");
    EXPECT_EQ(maintenance::ExtendedInfoOf(Rec(2, 5, 0, 0, "  Service Pack 3 ")), "Service Pack 3");
}

TEST(SystemInfo, ProductFamily) {
    ExpectNames(maintenance::ProductFamily,
                {
                    {Rec(1, 4, 10, 2222), "WinNT", "Unknown Product Family"},
                    {Rec(0, 6, 1, 0), "", "Unknown Product Family"},
                    {Rec(2, 4, 0, 1381), "WinNT", "Workstation"},
                    {Rec(2, 4, 0, 1381), "ServerNT", "Server"},
                    {Rec(2, 4, 0, 1381), "LanmanNT", "Advanced Server"},
                    {Rec(2, 3, 51, 0), "", "Advanced Server"},
                    {Rec(2, 5, 1, 2600, "", 0, 0, 1), "ServerNT", "Workstation/Professional/Home"},
                    // The test is on the bit, so a server reads as a workstation.
                    {Rec(2, 5, 0, 2195, "", 0, 0x80, 3), "", "Workstation/Professional/Home"},
                    {Rec(2, 5, 0, 2195, "", 0, 0x82, 2), "", "DataCenter Server"},
                    {Rec(2, 5, 0, 2195, "", 0, 0x02, 2), "", "Advanced/Enterprise Server"},
                    {Rec(2, 5, 2, 3790, "", 0, 0x0200, 2), "", "Server"},
                    {Rec(2, 5, 0, 2195, "", 0, 0x80, 0), "", "Unknown Product Family"},
                    {Rec(2, 5, 0, 2195, "", 0, 0x80, 4), "", "Unknown Product Family"},
                });
}

TEST(SystemInfo, ProductTypeComesFromTheRegistryStore) {
    testsupport::TempDir dir;
    platform::RegistryStore reg((dir / "registry.reg").string());
    EXPECT_EQ(maintenance::GetProductType(reg), "");
    reg.WriteString("HKEY_LOCAL_MACHINE\\SYSTEM\\CurrentControlSet\\Control\\ProductOptions",
                    "ProductType", "ServerNT");
    EXPECT_EQ(maintenance::GetProductType(reg), "ServerNT");
}

// Here the Windows-only facts say so rather than stay empty or read noise,
// and the Linux block carries the real ones.
TEST(SystemInfo, WindowsOnlyFactsAreNotApplicableAndTheLinuxFactsAreFilled) {
    testsupport::TempDir dir;
    testsupport::ScopedEnv windir("WINDIR", nullptr);
    const auto info =
        maintenance::QuerySystemInfo(platform::RegistryStore((dir / "registry.reg").string()));
    EXPECT_EQ(info.ServicePack, "not applicable");
    EXPECT_EQ(info.WindowsFolder, "not applicable");
    const auto facts = maintenance::QueryLinuxFacts(dir.str(), "6.4.2");
    EXPECT_EQ(facts.Kernel.rfind("Linux ", 0), 0u) << facts.Kernel;
    EXPECT_EQ(facts.SQLiteVersion.substr(0, 2), "3.");
    EXPECT_TRUE(facts.Volume.ok);
    EXPECT_FALSE(maintenance::QueryLinuxFacts("", "").Volume.ok) << "no folder, no volume";
}

} // namespace
