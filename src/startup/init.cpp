#include "startup/init.h"
#include "build_info.h"
#include "platform/environment.h"
#include "platform/registry_store.h"
#include "platform/user_settings.h"
#include "util/paths.h"
#include "util/strings.h"

#include <filesystem>
#include <system_error>

namespace startup {

namespace {

// The template marks where the program's shipped files are.
constexpr const char* kTemplateName = "Ketrova.ddf";

} // namespace

ProgramFolders LocateProgramFolders(const std::string& ketrovaHome, const std::string& exeFolder) {
    const std::string shared = std::filesystem::path(exeFolder + build::SharedDataFromPrograms)
                                   .lexically_normal()
                                   .string();
    const bool installed =
        !util::FileExists(exeFolder + kTemplateName) && util::FileExists(shared + kTemplateName);
    if (!ketrovaHome.empty()) {
        // A home that holds only the user's files still gets the installed template.
        const std::string home = util::AddBackslash(ketrovaHome);
        const bool ownTemplate = util::FileExists(home + kTemplateName);
        return {home, installed && !ownTemplate ? shared : home, home};
    }
    if (!installed) {
        const std::string exe = util::AddBackslash(exeFolder);
        return {exe, exe, exe};
    }
    return {platform::XdgUserFolder("XDG_DATA_HOME", "/.local/share") + "Ketrova/", shared,
            platform::XdgUserFolder("XDG_STATE_HOME", "/.local/state") + "ostrand/"};
}

void FillStartValues(RunSettings& settings) {
    const ProgramFolders folders =
        LocateProgramFolders(platform::GetEnv("KETROVA_HOME"), platform::ExecutableFolder());
    FillStartValues(settings, folders.app);
    settings.DataPath = folders.data;
    settings.LogPath = folders.log;
}

void FillStartValues(RunSettings& s, std::string_view appPath) {
    s.AppPath = util::AddBackslash(appPath);
    s.DataPath.clear();
    s.LogPath.clear();
    s.ReportsPath = s.AppPath + "Reports/";
    s.SysReportName = "SysReport";
    s.HelpFile = s.AppPath + "Ketrova.chm";
    s.CatalogsPresent = util::FileExists(s.AppPath + "Catalogs.mdb");
    s.LoadFile.clear();
    s.Expert = false;
    s.AppStart.clear();
    s.AltDB = "Default";
    s.Diag = false;
    s.NoDB = false;
    s.UpgradeSwitch = false;
    s.Warn = true;
    s.LogFileNo = 0;
    s.DBPath.clear();
    s.DBFile.clear();
    s.UserID = 1;
    s.CurrentUser = "Administrator";
    s.SecurityLevel = 9;
    s.RegistryFile = platform::DefaultRegistryPath();
    s.UserSettingsFile = platform::DefaultUserSettingsPath();
}

void ParseCommandLine(RunSettings& s, std::string_view commandLine) {
    const std::string text = util::Trim(util::LCase(commandLine));
    size_t p = text.find('/');
    while (p != std::string::npos) {
        size_t next = text.find('/', p + 1);
        std::string_view stretch = std::string_view(text).substr(
            p + 1, next == std::string::npos ? std::string::npos : next - p - 1);
        std::string name;
        std::string value;
        size_t eq = stretch.find('=');
        if (eq == std::string_view::npos) {
            name = util::Trim(stretch);
        } else {
            name = util::Trim(stretch.substr(0, eq));
            value = util::Trim(stretch.substr(eq + 1));
        }
        if (name == "nodb") {
            s.NoDB = true;
        } else if (name == "diag") {
            s.Diag = true;
        } else if (name == "upgradedb") {
            s.UpgradeSwitch = true;
        } else if (name == "expert") {
            s.Expert = true;
        } else if (name == "loadfile") {
            s.LoadFile = value;
        } else if (name == "altdb") {
            s.AltDB = value;
        } else if (name == "appstart") {
            s.AppStart = value;
        }
        // "nowarning" is accepted and changes nothing; anything else is ignored.
        p = next;
    }
}

std::string JoinCommandLine(const std::vector<std::string>& args) {
    std::string line;
    for (const auto& a : args) {
        if (!line.empty()) {
            line.push_back(' ');
        }
        line += a;
    }
    return line;
}

void CreateWorkingFolders(const RunSettings& settings) {
    std::error_code ec;
    for (const char* name : {"db", "Backup", "Docs", "Files"}) {
        std::filesystem::create_directories(settings.AppPath + name, ec);
    }
    // The log may tell of the user's data: a state folder of ours is theirs alone.
    const std::string logFolder = RunLogFolder(settings);
    if (std::filesystem::create_directories(logFolder, ec) && logFolder != settings.AppPath) {
        std::filesystem::permissions(logFolder, std::filesystem::perms::owner_all, ec);
    }
}

void InitGlobals(RunSettings& settings, std::string_view commandLine) {
    FillStartValues(settings);
    ParseCommandLine(settings, commandLine);
    CreateWorkingFolders(settings);
}

} // namespace startup
