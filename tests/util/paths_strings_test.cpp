#include "support/temp_dir.h"
#include "util/paths.h"
#include "util/strings.h"

#include <filesystem>
#include <gtest/gtest.h>

using namespace util;

// A Windows-style folder gets the native separator: it is not ours to rewrite;
// names written on Windows still split at their last separator of either kind.
TEST(Paths, SeparatorsOfEitherKind) {
    const std::tuple<const char*, const char*, const char*, const char*> cases[] = {
        // path, AddBackslash, ParentFolder, FileNamePart
        {"/data/ketrova", "/data/ketrova/", "/data/", "ketrova"},
        {"/data/", "/data/", "/data/", ""},
        {"", "/", "", ""},
        {"Ketrova.mdb", "Ketrova.mdb/", "", "Ketrova.mdb"},
        {"C:\\Data\\", "C:\\Data\\/", "C:\\Data\\", ""},
        {"C:\\Data/sub\\x", "C:\\Data/sub\\x/", "C:\\Data/sub\\", "x"}};
    for (const auto& [path, added, parent, name] : cases) {
        SCOPED_TRACE(path);
        EXPECT_EQ(AddBackslash(path), added);
        EXPECT_EQ(ParentFolder(path), parent);
        EXPECT_EQ(FileNamePart(path), name);
    }
}

TEST(Paths, FileExistsIsTrueForFilesOnly) {
    testsupport::TempDir dir;
    testsupport::WriteFile(dir / "Ketrova.mdb", "x");
    std::filesystem::create_directory(dir / "db");
    EXPECT_TRUE(FileExists((dir / "Ketrova.mdb").string()));
    EXPECT_FALSE(FileExists((dir / "db").string()));
    EXPECT_TRUE(FolderExists((dir / "db").string()));
    EXPECT_FALSE(FolderExists((dir / "Ketrova.mdb").string()));
}

// Only blanks are trimmed and only ASCII letters change case, as the suite's
// Windows programs did; an empty text splits into nothing.
TEST(Strings, TrimCaseSplitReplace) {
    const std::pair<const char*, const char*> trimmed[] = {
        {"  a b  ", "a b"}, {"    ", ""}, {"", ""}, {"\ta\t", "\ta\t"}, {"a", "a"}};
    for (const auto& [text, expected] : trimmed) {
        EXPECT_EQ(Trim(text), expected) << text;
    }
    EXPECT_EQ(LTrim("  a  ") + "|" + RTrim("  a  ") + "|" + LTrim("  ") + RTrim("  "), "a  |  a|");
    EXPECT_EQ(LCase("D:\\Data\\Rent@[Z]"), "d:\\data\\rent@[z]");
    EXPECT_EQ(UCase("abc-\xE9`{z}"), "ABC-\xE9`{Z}");
    EXPECT_TRUE(EqualsNoCase("HKEY_Local_Machine", "hkey_local_machine"));
    EXPECT_FALSE(EqualsNoCase("abc", "ab"));
    EXPECT_FALSE(EqualsNoCase("@", "`"));

    using V = std::vector<std::string>;
    EXPECT_EQ(Split("a,,b,", ","), (V{"a", "", "b", ""}));
    EXPECT_EQ(Split("", ","), V{});
    EXPECT_EQ(Split("a||b", "||"), (V{"a", "b"}));
    EXPECT_EQ(Split("abc", ""), V{"abc"});
    EXPECT_EQ(Replace("a.b.c", ".", "::"), "a::b::c");
    EXPECT_EQ(Replace("abc", "", "x"), "abc");
    EXPECT_EQ(CutAtNul(std::string("C:\\Temp\\tem1.tmp\0\0junk", 23)), "C:\\Temp\\tem1.tmp");
    EXPECT_EQ(CutAtNul("no nul"), "no nul");
}
