#include "platform/registry_store.h"
#include "platform/user_settings.h"
#include "support/temp_dir.h"

#include <filesystem>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

using platform::RegistryStore;
using testsupport::ReadFile;
using testsupport::TempDir;
using testsupport::WriteFile;
namespace fs = std::filesystem;

namespace {
const std::string Databases = "HKEY_LOCAL_MACHINE\\SOFTWARE\\Ketrova\\Global\\Databases";
const std::string Rentora = "HKEY_LOCAL_MACHINE\\SOFTWARE\\Ketrova\\Rentora";
const std::string Forms = "HKEY_LOCAL_MACHINE\\SOFTWARE\\Ketrova\\FormState";
} // namespace

TEST(RegistryStore, WritesTheExportSyntaxAndReadsItBack) {
    TempDir dir;
    RegistryStore reg((dir / "sub/registry.reg").string()); // the folder is made on first write
    ASSERT_TRUE(reg.WriteString(Databases, "Default", "C:\\Data\\ \"quoted\""));
    ASSERT_TRUE(reg.WriteDWord(Forms, "frmRestore", 10));
    EXPECT_FALSE(reg.WriteDWord("\\", "x", 1)) << "no key: nothing is written";
    EXPECT_EQ(ReadFile(dir / "sub/registry.reg"),
              "REGEDIT4\n"
              "\n[HKEY_LOCAL_MACHINE\\SOFTWARE\\Ketrova\\Global\\Databases]\n"
              "\"Default\"=\"C:\\\\Data\\\\ \\\"quoted\\\"\"\n"
              "\n[HKEY_LOCAL_MACHINE\\SOFTWARE\\Ketrova\\FormState]\n"
              "\"frmRestore\"=dword:0000000a\n");
    EXPECT_EQ(reg.ReadString(Databases, "Default"), "C:\\Data\\ \"quoted\"");
    EXPECT_EQ(reg.ReadDWord(Forms, "frmRestore"), 10u);
    EXPECT_EQ(reg.ReadDWord(Databases, "Default"), 0u) << "a string never reads as a dword";
    EXPECT_EQ(reg.ReadString(Forms, "frmRestore"), "") << "a dword never reads as a string";
    // Rewriting a value replaces it in place and may change its type.
    ASSERT_TRUE(reg.WriteDWord(Databases, "DEFAULT", 0xFFFFFFFFu));
    EXPECT_EQ(reg.ReadDWord(Databases, "Default"), 0xFFFFFFFFu);
    EXPECT_EQ(reg.ValueNames(Databases), (std::vector<std::string>{"Default"}));

    // Key and value names ignore case; a text stops at a NUL.
    reg.WriteString(Databases, "Branch2", std::string("/srv/b2/\0tail", 13));
    EXPECT_EQ(
        reg.ReadString("hkey_local_machine\\software\\ketrova\\global\\DATABASES\\", "branch2"),
        "/srv/b2/");
    reg.WriteString("HKEY_LOCAL_MACHINE\\software\\KETROVA\\Global\\Databases", "BRANCH2", "/x/");
    EXPECT_EQ(reg.SubKeys("HKEY_LOCAL_MACHINE\\SOFTWARE\\Ketrova\\Global"),
              (std::vector<std::string>{"Databases"}));
    EXPECT_EQ(reg.ValueNames(Databases).size(), 2u);
    EXPECT_EQ(reg.ReadString(Databases, "Branch2"), "/x/");
    // Line ends in a value survive the trip through a line-based file.
    reg.WriteString(Databases, "multi", "a\r\nb\\n");
    EXPECT_EQ(reg.ReadString(Databases, "multi"), "a\r\nb\\n");
}

TEST(RegistryStore, MissingEmptyAndGarbageStoresReadAsEmptyAndSayWhy) {
    TempDir dir;
    RegistryStore missing((dir / "none.reg").string());
    EXPECT_EQ(missing.ReadString(Databases, "Default"), "");
    EXPECT_FALSE(missing.KeyExists(Databases));
    EXPECT_TRUE(missing.DeleteKey(Databases)) << "deleting what is not there succeeds";
    EXPECT_FALSE(RegistryStore("").WriteString(Databases, "Default", "/x/"))
        << "no store, no success";
    EXPECT_FALSE(fs::exists(dir / "none.reg")) << "nothing to change, nothing written";

    WriteFile(dir / "empty.reg", "");
    EXPECT_EQ(missing.Problem(), "");
    EXPECT_EQ(RegistryStore((dir / "empty.reg").string()).Problem(), "");
    // A Windows export of newer systems, which is UTF-16: its keys do not read.
    WriteFile(dir / "wide.reg", std::string("\xFF\xFEW\0i\0n\0", 8));
    EXPECT_TRUE(RegistryStore((dir / "wide.reg").string()).Problem().starts_with("is in UTF-16"));

    std::string garbage("\x7f"
                        "ELF\0\0\x01\x02[broken\n\"x\"=\"\xff",
                        17);
    WriteFile(dir / "bad.reg", garbage);
    RegistryStore bad((dir / "bad.reg").string());
    EXPECT_EQ(bad.ReadString(Databases, "Default"), "");
    EXPECT_TRUE(bad.Problem().starts_with("is damaged")) << bad.Problem();
    ASSERT_TRUE(bad.WriteString(Databases, "Default", "/data/"));
    EXPECT_EQ(bad.ReadString(Databases, "Default"), "/data/");
    EXPECT_EQ(ReadFile(dir / "bad.reg.damaged"), garbage) << "unknown content is kept aside";
}

TEST(RegistryStore, DamagedLinesAreDroppedButEveryGoodKeySurvivesAWrite) {
    TempDir dir;
    WriteFile(dir / "r.reg", "REGEDIT4\r\n"
                             "\r\n"
                             "[HKEY_LOCAL_MACHINE\\SOFTWARE\\Ketrova\\Global\\Databases]\r\n"
                             "\"Default\"=\"C:\\\\Ketrova\\\\db\\\\\"\r\n"
                             "\"Unclosed\"=\"no end\r\n"
                             "\"Bad\"=dword:xyz\r\n"
                             "@=\"the default value\"\r\n"
                             "[HKEY_LOCAL_MACHINE\\SOFTWARE\\Other\r\n"
                             "\"Orphan\"=\"outside any key\"\r\n"
                             "[a]\r\n\"One\"=\"letter\"\r\n[]\r\n\"Empty\"=\"name\"\r\n"
                             "[HKEY_LOCAL_MACHINE\\SOFTWARE\\Ketrova\\Bin]\r\n"
                             "\"Blob\"=hex:01,02,\\\r\n"
                             "  03,04\r\n"
                             "\"After\" = dword:00000002\r\n");
    RegistryStore reg((dir / "r.reg").string());
    EXPECT_EQ(reg.ReadString(Databases, "Default"), "C:\\Ketrova\\db\\");
    EXPECT_EQ(reg.ReadString(Databases, ""), "the default value");
    EXPECT_FALSE(reg.ValueExists(Databases, "Unclosed"));
    EXPECT_FALSE(reg.ValueExists(Databases, "Bad"));
    const std::string bin = "HKEY_LOCAL_MACHINE\\SOFTWARE\\Ketrova\\Bin";
    EXPECT_TRUE(reg.ValueExists(bin, "Blob"));
    EXPECT_EQ(reg.ReadString(bin, "Blob"), "") << "binary values read as neither type";
    EXPECT_EQ(reg.ReadDWord(bin, "After"), 2u);
    EXPECT_EQ(reg.ReadString("a", "One"), "letter") << "a key of one letter is a key";

    ASSERT_TRUE(reg.WriteDWord(bin, "New", 7));
    std::string after = ReadFile(dir / "r.reg");
    EXPECT_NE(after.find("\"Default\"=\"C:\\\\Ketrova\\\\db\\\\\""), std::string::npos);
    EXPECT_NE(after.find("@=\"the default value\""), std::string::npos);
    EXPECT_NE(after.find("\"Blob\"=hex:01,02,03,04"), std::string::npos);
    EXPECT_EQ(after.find("Orphan"), std::string::npos);
    EXPECT_EQ(after.find("Empty"), std::string::npos);
    EXPECT_EQ(reg.ReadDWord(bin, "New"), 7u);
}

TEST(RegistryStore, DeleteKeyTakesItsSubkeysButNotKeysThatMerelyShareAPrefix) {
    TempDir dir;
    RegistryStore reg((dir / "r.reg").string());
    reg.WriteString(Rentora + "\\SortOrder", "lvwTenants", "1");
    reg.WriteString(Rentora + "\\SortOrder\\Deeper", "x", "2");
    reg.WriteString(Rentora + "\\SortOrderOld", "lvwTenants", "3");
    reg.WriteString(Rentora + "\\ViewInfo", "lvwUnits", "4");
    ASSERT_TRUE(reg.DeleteKey(Rentora + "\\sortorder"));
    EXPECT_FALSE(reg.KeyExists(Rentora + "\\SortOrder"));
    EXPECT_FALSE(reg.KeyExists(Rentora + "\\SortOrder\\Deeper"));
    EXPECT_EQ(reg.ReadString(Rentora + "\\SortOrderOld", "lvwTenants"), "3");
    EXPECT_EQ(reg.ReadString(Rentora + "\\ViewInfo", "lvwUnits"), "4");
}

TEST(RegistryStore, AStoreThatCannotBeReadIsNeverOverwritten) {
    TempDir dir;
    {
        // A folder where the file should be: unreadable as a store, never replaced.
        fs::create_directory(dir / "folder.reg");
        WriteFile(dir / "folder.reg/inside", "x");
        RegistryStore reg((dir / "folder.reg").string());
        EXPECT_EQ(reg.ReadString(Databases, "Default"), "");
        EXPECT_EQ(reg.Problem(), "is a folder, not a file");
        EXPECT_FALSE(reg.WriteString(Databases, "Default", "/x/"));
        EXPECT_TRUE(fs::exists(dir / "folder.reg/inside"));
    }
    if (::geteuid() == 0) {
        GTEST_SKIP() << "permissions do not bind root";
    }
    auto path = dir / "r.reg";
    RegistryStore reg(path.string());
    reg.WriteString(Databases, "Default", "/keep/");
    ::chmod(path.c_str(), 0);
    EXPECT_EQ(reg.ReadString(Databases, "Default"), "");
    EXPECT_EQ(reg.Problem(), "cannot be read (Permission denied)");
    EXPECT_FALSE(reg.WriteString(Databases, "Other", "/lost/"));
    ::chmod(path.c_str(), 0644);
    EXPECT_EQ(reg.ReadString(Databases, "Default"), "/keep/");
    EXPECT_FALSE(reg.ValueExists(Databases, "Other"));
}

TEST(RegistryStore, ConcurrentWritersLoseNothingAndLeaveNoTemporaryFiles) {
    TempDir dir;
    const std::string path = (dir / "r.reg").string();
    std::vector<std::thread> writers;
    for (int t = 0; t < 6; ++t) {
        writers.emplace_back([&, t] {
            RegistryStore reg(path);
            for (int i = 0; i < 15; ++i) {
                reg.WriteDWord(Databases, "w" + std::to_string(t) + "_" + std::to_string(i),
                               static_cast<uint32_t>(t * 100 + i));
            }
        });
    }
    for (auto& w : writers) {
        w.join();
    }
    RegistryStore reg(path);
    EXPECT_EQ(reg.ValueNames(Databases).size(), 90u);
    EXPECT_EQ(reg.ReadDWord(Databases, "w5_14"), 514u);
    for (const auto& entry : fs::directory_iterator(dir.path())) {
        std::string name = entry.path().filename().string();
        EXPECT_TRUE(name == "r.reg" || name == "r.reg.lock") << "left behind: " << name;
    }
}

TEST(UserSettings, ReadsAKeyOfASectionIgnoringCase) {
    TempDir dir;
    auto ini = (dir / "settings.ini").string();
    WriteFile(ini, "; older installation\r\n"
                   "[Locals]\r\nDBPath=/wrong/\r\n"
                   "[ global ]\r\n  dbpath  =  \"C:\\Data\\Ketrova.mdb\"  \r\nDBPart=/neither/\r\n"
                   "Broken line\r\n"
                   "[Next]\r\nDBPath=/also/wrong/\r\n");
    EXPECT_EQ(platform::GetSetting(ini, "Global", "DBPath"), "C:\\Data\\Ketrova.mdb");
    EXPECT_EQ(platform::GetSetting(ini, "Global", "Missing", "dflt"), "dflt");
    EXPECT_EQ(platform::GetSetting((dir / "none.ini").string(), "Global", "DBPath"), "");
    // Saved by an editor that marks its files as UTF-8: the first section still counts.
    WriteFile(ini, "\xEF\xBB\xBF[Global]\r\nDBPath=/data/Ketrova.mdb\r\n");
    EXPECT_EQ(platform::GetSetting(ini, "Global", "DBPath"), "/data/Ketrova.mdb");
}
