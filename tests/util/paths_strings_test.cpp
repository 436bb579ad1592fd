#include "support/temp_dir.h"
#include "util/paths.h"
#include "util/strings.h"

#include <filesystem>
#include <gtest/gtest.h>

using namespace util;
using testsupport::TempDir;
using testsupport::WriteFile;

TEST(Paths, AddBackslashAddsTheSeparatorOnlyWhenMissing) {
    EXPECT_EQ(AddBackslash("/data/ketrova"), "/data/ketrova/");
    EXPECT_EQ(AddBackslash("/data/ketrova/"), "/data/ketrova/");
    EXPECT_EQ(AddBackslash(""), "/");
    // A Windows-style folder gets the native separator: it is not ours to rewrite.
    EXPECT_EQ(AddBackslash("C:\\Data\\"), "C:\\Data\\/");
}

TEST(Paths, ParentFolderKeepsTheLastSeparatorOfEitherKind) {
    EXPECT_EQ(ParentFolder("/data/Ketrova.mdb"), "/data/");
    EXPECT_EQ(ParentFolder("/data/"), "/data/");
    EXPECT_EQ(ParentFolder("Ketrova.mdb"), "");
    EXPECT_EQ(ParentFolder(""), "");
    EXPECT_EQ(ParentFolder("C:\\Data\\Ketrova.mdb"), "C:\\Data\\");
    EXPECT_EQ(ParentFolder("C:\\Data/sub\\x"), "C:\\Data/sub\\");
    EXPECT_EQ(FileNamePart("C:\\Ketrova\\db\\Ketrova.mdb"), "Ketrova.mdb");
    EXPECT_EQ(FileNamePart("plain"), "plain");
}

TEST(Paths, FileExistsIsTrueForFilesOnly) {
    TempDir dir;
    WriteFile(dir / "Ketrova.mdb", "x");
    std::filesystem::create_directory(dir / "db");
    EXPECT_TRUE(FileExists((dir / "Ketrova.mdb").string()));
    EXPECT_FALSE(FileExists((dir / "missing.mdb").string()));
    EXPECT_FALSE(FileExists((dir / "db").string()));
    EXPECT_FALSE(FileExists(""));
    EXPECT_TRUE(FolderExists((dir / "db").string()));
    EXPECT_FALSE(FolderExists((dir / "Ketrova.mdb").string()));
}

TEST(Strings, TrimRemovesBlanksButNotOtherWhitespace) {
    EXPECT_EQ(Trim("  a b  "), "a b");
    EXPECT_EQ(Trim("    "), "");
    EXPECT_EQ(Trim(""), "");
    EXPECT_EQ(Trim("\ta\t"), "\ta\t");
}

TEST(Strings, CaseFoldingIsAsciiOnly) {
    EXPECT_EQ(LCase("D:\\Data\\Rent"), "d:\\data\\rent");
    EXPECT_EQ(UCase("abc-\xE9"), "ABC-\xE9");
    EXPECT_TRUE(EqualsNoCase("HKEY_Local_Machine", "hkey_local_machine"));
    EXPECT_FALSE(EqualsNoCase("abc", "abd"));
    EXPECT_FALSE(EqualsNoCase("abc", "ab"));
}

TEST(Strings, SplitKeepsEmptyPiecesButAnEmptyTextHasNone) {
    EXPECT_EQ(Split("10,20,300,400", ","), (std::vector<std::string>{"10", "20", "300", "400"}));
    EXPECT_EQ(Split("a,,b,", ","), (std::vector<std::string>{"a", "", "b", ""}));
    EXPECT_TRUE(Split("", ",").empty());
    EXPECT_EQ(Split("a||b", "||"), (std::vector<std::string>{"a", "b"}));
    EXPECT_EQ(Split("abc", ""), (std::vector<std::string>{"abc"}));
}

TEST(Strings, CutAtNulKeepsTheTextBeforeTheFirstNul) {
    EXPECT_EQ(CutAtNul(std::string("C:\\Temp\\tem1.tmp\0\0junk", 23)), "C:\\Temp\\tem1.tmp");
    EXPECT_EQ(Replace("aaa", "aa", "b"), "ba");
}
