#include "startup/init.h"
#include "platform/environment.h"
#include "platform/registry_store.h"
#include "platform/user_settings.h"
#include "util/paths.h"
#include "util/strings.h"

#include <filesystem>
#include <system_error>

namespace startup {

void FillStartValues(RunSettings& settings) {
    std::string home = platform::GetEnv("KETROVA_HOME");
    FillStartValues(settings, home.empty() ? platform::ExecutableFolder() : home);
}

void FillStartValues(RunSettings& s, std::string_view appPath) {
    s.AppPath = util::AddBackslash(appPath);
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

void CreateWorkingFolders(const std::string& appPath) {
    for (const char* name : {"db", "Backup", "Docs", "Files"}) {
        std::error_code ec;
        std::filesystem::create_directory(appPath + name, ec);
    }
}

void InitGlobals(RunSettings& settings, std::string_view commandLine) {
    FillStartValues(settings);
    ParseCommandLine(settings, commandLine);
    CreateWorkingFolders(settings.AppPath);
}

} // namespace startup
