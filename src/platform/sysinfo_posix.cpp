#include "platform/environment.h"
#include "platform/sysinfo.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cstdlib>
#include <ctime>
#include <dirent.h>
#include <fstream>
#include <langinfo.h>
#include <locale.h>
#include <memory>
#include <sstream>
#include <sys/stat.h>
#include <sys/utsname.h>

namespace platform {

namespace {

std::string ReadWholeFile(const char* path) {
    std::ifstream in(path, std::ios::binary);
    if (!in) {
        return {};
    }
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

// A shell-style value of os-release: double or single quotes around it,
// backslash escapes inside double quotes.
std::string Unquote(std::string_view value) {
    if (value.size() >= 2 && value.front() == '\'' && value.back() == '\'') {
        return std::string(value.substr(1, value.size() - 2));
    }
    if (value.size() >= 2 && value.front() == '"' && value.back() == '"') {
        std::string out;
        for (size_t i = 1; i + 1 < value.size(); ++i) {
            if (value[i] == '\\' && i + 2 < value.size()) {
                ++i;
            }
            out.push_back(value[i]);
        }
        return out;
    }
    return std::string(value);
}

struct Language {
    std::string_view code;
    std::string_view english;
    std::string_view native;
};

// The languages a landlord's desktop is likely to run in, with the names the
// suite's home system gives them.
constexpr std::array<Language, 44> kLanguages = {{
    {"af", "Afrikaans", "Afrikaans"},
    {"ar", "Arabic", "العربية"},
    {"bg", "Bulgarian", "български"},
    {"ca", "Catalan", "català"},
    {"cs", "Czech", "čeština"},
    {"cy", "Welsh", "Cymraeg"},
    {"da", "Danish", "dansk"},
    {"de", "German", "Deutsch"},
    {"el", "Greek", "Ελληνικά"},
    {"en", "English", "English"},
    {"es", "Spanish", "español"},
    {"et", "Estonian", "eesti"},
    {"eu", "Basque", "euskara"},
    {"fa", "Persian", "فارسی"},
    {"fi", "Finnish", "suomi"},
    {"fr", "French", "français"},
    {"ga", "Irish", "Gaeilge"},
    {"gl", "Galician", "galego"},
    {"he", "Hebrew", "עברית"},
    {"hi", "Hindi", "हिन्दी"},
    {"hr", "Croatian", "hrvatski"},
    {"hu", "Hungarian", "magyar"},
    {"id", "Indonesian", "Bahasa Indonesia"},
    {"is", "Icelandic", "íslenska"},
    {"it", "Italian", "italiano"},
    {"ja", "Japanese", "日本語"},
    {"ko", "Korean", "한국어"},
    {"lt", "Lithuanian", "lietuvių"},
    {"lv", "Latvian", "latviešu"},
    {"ms", "Malay", "Bahasa Melayu"},
    {"nb", "Norwegian", "norsk"},
    {"nl", "Dutch", "Nederlands"},
    {"nn", "Norwegian (Nynorsk)", "nynorsk"},
    {"pl", "Polish", "polski"},
    {"pt", "Portuguese", "português"},
    {"ro", "Romanian", "română"},
    {"ru", "Russian", "русский"},
    {"sk", "Slovak", "slovenčina"},
    {"sl", "Slovenian", "slovenščina"},
    {"sr", "Serbian", "српски"},
    {"sv", "Swedish", "svenska"},
    {"th", "Thai", "ไทย"},
    {"tr", "Turkish", "Türkçe"},
    {"uk", "Ukrainian", "українська"},
}};

// Conversions of a date format, with and without a leading zero.
std::string DateConversion(char conversion, bool noPad) {
    switch (conversion) {
    case 'd':
        return noPad ? "d" : "dd";
    case 'e':
        return "d";
    case 'm':
        return noPad ? "M" : "MM";
    case 'y':
        return "yy";
    case 'Y':
    case 'G':
        return "yyyy";
    case 'b':
    case 'h':
        return "MMM";
    case 'B':
        return "MMMM";
    case 'a':
        return "ddd";
    case 'A':
        return "dddd";
    case 'D':
        return "MM/dd/yy";
    case 'F':
        return "yyyy-MM-dd";
    default:
        return {};
    }
}

struct LocaleFree {
    void operator()(locale_t l) const noexcept { freelocale(l); }
};

// The entry of `folder` whose name equals `name` without regard to case; the
// first in name order when several do.
std::string FindNoCase(const std::string& folder, const std::string& name) {
    std::unique_ptr<DIR, int (*)(DIR*)> dir(opendir(folder.empty() ? "." : folder.c_str()),
                                            closedir);
    if (!dir) {
        return {};
    }
    auto lower = [](std::string s) {
        for (char& c : s) {
            c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
        }
        return s;
    };
    const std::string wanted = lower(name);
    std::string best;
    while (dirent* entry = readdir(dir.get())) {
        std::string candidate = entry->d_name;
        if (lower(candidate) == wanted && (best.empty() || candidate < best)) {
            best = candidate;
        }
    }
    return best;
}

} // namespace

void ParseKernelRelease(std::string_view release, int32_t& major, int32_t& minor, int32_t& build) {
    int32_t* parts[3] = {&major, &minor, &build};
    for (int32_t* p : parts) {
        *p = 0;
    }
    size_t i = 0;
    for (int n = 0; n < 3; ++n) {
        if (i >= release.size() || !std::isdigit(static_cast<unsigned char>(release[i]))) {
            return;
        }
        int64_t value = 0;
        while (i < release.size() && std::isdigit(static_cast<unsigned char>(release[i]))) {
            value = std::min<int64_t>(value * 10 + (release[i] - '0'), INT32_MAX);
            ++i;
        }
        *parts[n] = static_cast<int32_t>(value);
        if (i >= release.size() || release[i] != '.') {
            return;
        }
        ++i;
    }
}

std::string OsReleaseName(std::string_view text) {
    std::string pretty;
    std::string name;
    size_t start = 0;
    while (start < text.size()) {
        size_t end = text.find('\n', start);
        std::string_view line = text.substr(
            start, end == std::string_view::npos ? std::string_view::npos : end - start);
        start = end == std::string_view::npos ? text.size() : end + 1;
        while (!line.empty() && (line.back() == '\r' || line.back() == ' ')) {
            line.remove_suffix(1);
        }
        if (line.rfind("PRETTY_NAME=", 0) == 0) {
            pretty = Unquote(line.substr(12));
        } else if (line.rfind("NAME=", 0) == 0) {
            name = Unquote(line.substr(5));
        }
    }
    return pretty.empty() ? name : pretty;
}

VersionRecord GetVersionRecord() {
    VersionRecord v;
    v.PlatformId = PlatformOther;
    utsname u{};
    if (uname(&u) == 0) {
        ParseKernelRelease(u.release, v.MajorVersion, v.MinorVersion, v.BuildNumber);
    }
    v.ExtraText = DistributionName();
    if (v.ExtraText.empty() && u.sysname[0] != '\0') {
        v.ExtraText = u.sysname;
    }
    // The Windows record holds 128 characters of this text.
    if (v.ExtraText.size() > 127) {
        v.ExtraText.resize(127);
    }
    return v;
}

std::string DistributionName() {
    std::string osRelease = ReadWholeFile("/etc/os-release");
    if (osRelease.empty()) {
        osRelease = ReadWholeFile("/usr/lib/os-release");
    }
    return OsReleaseName(osRelease);
}

std::string KernelDescription() {
    utsname u{};
    if (uname(&u) != 0) {
        return {};
    }
    return std::string(u.sysname) + " " + u.release + " (" + u.machine + ")";
}

std::string DesktopSession() {
    std::string desktop = GetEnv("XDG_CURRENT_DESKTOP");
    if (desktop.empty()) {
        desktop = GetEnv("DESKTOP_SESSION");
    }
    std::string kind = GetEnv("XDG_SESSION_TYPE");
    if (kind.empty() || kind == "unspecified") {
        kind = !GetEnv("WAYLAND_DISPLAY").empty() ? "wayland"
               : !GetEnv("DISPLAY").empty()       ? "x11"
                                                  : "";
    }
    if (desktop.empty()) {
        return kind.empty() ? "none" : kind;
    }
    return kind.empty() ? desktop : desktop + " (" + kind + ")";
}

std::string LanguageLocale() {
    for (const char* name : {"LC_ALL", "LC_MESSAGES", "LANG"}) {
        const char* value = std::getenv(name);
        if (value && *value) {
            return value;
        }
    }
    return {};
}

std::pair<std::string, std::string> LanguageNames(std::string_view locale) {
    std::string code;
    for (char c : locale) {
        if (c == '_' || c == '.' || c == '@' || c == '-') {
            break;
        }
        code.push_back(static_cast<char>(std::tolower(static_cast<unsigned char>(c))));
    }
    // With no locale set, programs run in the C locale, whose texts are English.
    if (code.empty() || code == "c" || code == "posix") {
        code = "en";
    }
    for (const Language& l : kLanguages) {
        if (l.code == code) {
            return {std::string(l.english), std::string(l.native)};
        }
    }
    return {};
}

std::string DateFormatToPattern(std::string_view format) {
    std::string out;
    std::string quoted; // literal letters waiting for their quotes
    auto flushQuoted = [&] {
        if (!quoted.empty()) {
            out += "'" + quoted + "'";
            quoted.clear();
        }
    };
    for (size_t i = 0; i < format.size(); ++i) {
        char c = format[i];
        if (c != '%') {
            if (std::isalpha(static_cast<unsigned char>(c))) {
                quoted.push_back(c);
            } else {
                flushQuoted();
                out += c == '\'' ? std::string("''") : std::string(1, c);
            }
            continue;
        }
        flushQuoted();
        bool noPad = false;
        // Flags, field widths and the E and O modifiers of the C library.
        while (i + 1 < format.size() &&
               std::string_view("-_0^#EO").find(format[i + 1]) != std::string_view::npos) {
            noPad = noPad || format[i + 1] == '-';
            ++i;
        }
        while (i + 1 < format.size() && std::isdigit(static_cast<unsigned char>(format[i + 1]))) {
            ++i;
        }
        if (i + 1 >= format.size()) {
            break;
        }
        char conversion = format[++i];
        if (conversion == '%') {
            out.push_back('%');
        } else {
            out += DateConversion(conversion, noPad);
        }
    }
    flushQuoted();
    return out;
}

std::string ShortDatePattern() {
    // The user's time locale from the environment, without touching the
    // process's own locale; one that is not installed falls back to C, as
    // every program started in it does.
    std::unique_ptr<std::remove_pointer_t<locale_t>, LocaleFree> loc(
        newlocale(LC_TIME_MASK, "", static_cast<locale_t>(0)));
    if (!loc) {
        loc.reset(newlocale(LC_TIME_MASK, "C", static_cast<locale_t>(0)));
    }
    if (!loc) {
        return {};
    }
    const char* format = nl_langinfo_l(D_FMT, loc.get());
    return format ? DateFormatToPattern(format) : std::string();
}

std::optional<FileFacts> FindNormalFile(const std::string& path) {
    std::string actual = path;
    struct stat st {};
    if (::stat(actual.c_str(), &st) != 0) {
        const size_t slash = path.find_last_of('/');
        const std::string folder = slash == std::string::npos ? "" : path.substr(0, slash + 1);
        const std::string match =
            FindNoCase(folder, slash == std::string::npos ? path : path.substr(slash + 1));
        if (match.empty()) {
            return std::nullopt;
        }
        actual = folder + match;
        if (::stat(actual.c_str(), &st) != 0) {
            return std::nullopt;
        }
    }
    const size_t slash = actual.find_last_of('/');
    const std::string name = slash == std::string::npos ? actual : actual.substr(slash + 1);
    if (!S_ISREG(st.st_mode) || name.empty() || name.front() == '.') {
        return std::nullopt;
    }
    FileFacts f;
    f.ReadOnly = (st.st_mode & (S_IWUSR | S_IWGRP | S_IWOTH)) == 0;
    f.Size = static_cast<uint64_t>(st.st_size);
    std::tm tm{};
    const time_t mtime = st.st_mtime;
    if (localtime_r(&mtime, &tm)) {
        f.Modified = {tm.tm_year + 1900, tm.tm_mon + 1, tm.tm_mday,
                      tm.tm_hour,        tm.tm_min,     tm.tm_sec};
    }
    return f;
}

std::string SpecialFolder(int folderId) {
    // The system folder and the common program files hold the suite's shared
    // components on its home system; nothing here corresponds to them, so the
    // query fails as it would there for an unknown number.
    (void)folderId;
    return {};
}

} // namespace platform
