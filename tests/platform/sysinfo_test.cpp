#include "platform/disk.h"
#include "platform/sysinfo.h"
#include "support/scoped_env.h"
#include "support/temp_dir.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <tuple>

namespace {

TEST(KernelRelease, TakesTheFirstThreeNumbers) {
    const std::tuple<const char*, int32_t, int32_t, int32_t> cases[] = {
        {"6.1.0-18-amd64", 6, 1, 0}, {"5.15.146.1-microsoft", 5, 15, 146},
        {"4.19", 4, 19, 0},          {"6.8.0rc3", 6, 8, 0},
        {"6-1.2", 6, 0, 0},          {"", 0, 0, 0},
        {"linux", 0, 0, 0},          {"6..3", 6, 0, 0}};
    for (const auto& [release, major, minor, build] : cases) {
        int32_t got[3] = {-1, -1, -1};
        platform::ParseKernelRelease(release, got[0], got[1], got[2]);
        EXPECT_EQ(std::make_tuple(got[0], got[1], got[2]), std::make_tuple(major, minor, build))
            << release;
    }
}

TEST(OsRelease, PrettyNameElseName) {
    EXPECT_EQ(platform::OsReleaseName("NAME=\"Debian GNU/Linux\"\n"
                                      "PRETTY_NAME=\"Debian GNU/Linux 12 (bookworm)\"\n"),
              "Debian GNU/Linux 12 (bookworm)");
    EXPECT_EQ(platform::OsReleaseName("NAME='Alpine Linux'\r\nID=alpine\r\n"), "Alpine Linux");
    EXPECT_EQ(platform::OsReleaseName("PRETTY_NAME=\"Say \\\"hi\\\"\"\nNAME=x"), "Say \"hi\"");
    EXPECT_EQ(platform::OsReleaseName("ID=plain\n"), "");
}

TEST(Language, NamesFromTheLocale) {
    using P = std::pair<std::string, std::string>;
    EXPECT_EQ(platform::LanguageNames("de_DE.UTF-8"), P("German", "Deutsch"));
    EXPECT_EQ(platform::LanguageNames("fr_CA.ISO-8859-1@euro"), P("French", "français"));
    EXPECT_EQ(platform::LanguageNames("ja_JP.UTF-8"), P("Japanese", "日本語"));
    EXPECT_EQ(platform::LanguageNames("C.UTF-8"), P("English", "English"));
    EXPECT_EQ(platform::LanguageNames(""), P("English", "English"));
    EXPECT_EQ(platform::LanguageNames("xx_YY"), P("", ""));
}

TEST(ShortDate, CLibraryFormatsInTheSuitesNotation) {
    EXPECT_EQ(platform::DateFormatToPattern("%m/%d/%Y"), "MM/dd/yyyy");
    EXPECT_EQ(platform::DateFormatToPattern("%-d/%-m/%Y"), "d/M/yyyy");
    EXPECT_EQ(platform::DateFormatToPattern("%e %b %Y"), "d MMM yyyy");
    EXPECT_EQ(platform::DateFormatToPattern("%F"), "yyyy-MM-dd");
    EXPECT_EQ(platform::DateFormatToPattern("%_4Y"), "yyyy"); // a field width
    EXPECT_EQ(platform::DateFormatToPattern("%D"), "MM/dd/yy");
    EXPECT_EQ(platform::DateFormatToPattern("%A, %B %d"), "dddd, MMMM dd");
    EXPECT_EQ(platform::DateFormatToPattern("%Y年%m月%d日"), "yyyy年MM月dd日");
    // Letters outside conversions are literal and must not read as pattern letters.
    EXPECT_EQ(platform::DateFormatToPattern("%d de %B de %Y"), "dd 'de' MMMM 'de' yyyy");
    EXPECT_EQ(platform::DateFormatToPattern("%Ey %Od%%'"), "yy dd%''");
    EXPECT_EQ(platform::DateFormatToPattern("%Q%d"), "dd");
}

TEST(ShortDate, TheCLocaleAnswers) {
    // A locale that is not installed falls back to C.
    for (const char* locale : {"C", "xx_NOWHERE.UTF-8"}) {
        testsupport::ScopedEnv all("LC_ALL", locale);
        EXPECT_EQ(platform::ShortDatePattern(), "MM/dd/yy") << locale;
    }
}

TEST(FindFile, NormalFilesByNameInAnyCaseWithSizeAndReadOnly) {
    testsupport::TempDir dir;
    testsupport::WriteFile(dir / "Ketrova.ddf", std::string(1234, 'x'));
    auto f = platform::FindNormalFile(dir.str() + "ketrova.ddf");
    ASSERT_TRUE(f);
    EXPECT_EQ(f->Size, 1234u);
    EXPECT_FALSE(f->ReadOnly || f->Hidden || f->System || f->Directory);
    EXPECT_GE(f->Modified.year, 2020);
    std::filesystem::permissions(dir / "Ketrova.ddf", std::filesystem::perms::owner_read);
    EXPECT_TRUE(platform::FindNormalFile(dir.str() + "Ketrova.ddf")->ReadOnly);
    // Only the name part: the folder must be spelt as it is. Hidden files,
    // folders and missing ones are not found.
    std::string upperFolder = dir.str();
    for (char& c : upperFolder)
        c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    testsupport::WriteFile(dir / ".ostrand.exe", "abc");
    std::filesystem::create_directory(dir / "valorin.exe");
    for (const std::string& name :
         {upperFolder + "Ketrova.ddf", dir.str() + ".ostrand.exe", dir.str() + "valorin.exe",
          dir.str() + "numbrik.exe", std::string()})
        EXPECT_FALSE(platform::FindNormalFile(name)) << name;

    std::string error;
    EXPECT_TRUE(platform::FlushToDisk(dir.str() + ".ostrand.exe", error)) << error;
    EXPECT_FALSE(platform::FlushToDisk(dir.str() + "gone.tmp", error));
    EXPECT_NE(error.find("gone.tmp"), std::string::npos);
}

} // namespace
