#include "startup/locator.h"
#include "platform/disk.h"
#include "platform/user_settings.h"
#include "startup/registry.h"
#include "util/paths.h"

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <fstream>

namespace startup {

namespace {

const char* TrueFalse(bool b) {
    return b ? "True" : "False";
}

// Reads the first number of the file as a list-input read would: leading
// blanks and line ends skipped, the number ends at a blank, comma or line end.
int16_t ParseVersion(const std::string& content) {
    size_t b = content.find_first_not_of(" \t\r\n");
    if (b == std::string::npos) {
        return 0;
    }
    size_t e = content.find_first_of(" \t\r\n,", b);
    std::string token = content.substr(b, e == std::string::npos ? std::string::npos : e - b);
    const char* start = token.c_str();
    char* end = nullptr;
    double v = std::strtod(start, &end);
    if (end == start || !std::isfinite(v)) {
        return 0;
    }
    v = std::nearbyint(v); // a whole-number variable rounds half to even
    if (v < -32768.0 || v > 32767.0) {
        return 0;
    }
    return static_cast<int16_t>(v);
}

} // namespace

std::string RegisteredDatabaseFolder(const RunSettings& settings) {
    std::string folder = RegReadString(MachineRegistry(settings), DatabasesKey, settings.AltDB);
    // Older installations kept the database's full name per user. Only the
    // default database ever lived there; a named one never falls back to it.
    if (folder.empty() && settings.AltDB == "Default") {
        folder = util::ParentFolder(
            platform::GetSetting(settings.UserSettingsFile, "Global", "DBPath", ""));
    }
    return folder;
}

LocateFindings FindDatabase(RunSettings& settings) {
    LocateFindings f;
    settings.DBFile.clear();
    const platform::RegistryStore reg = MachineRegistry(settings);
    settings.DBPath = RegisteredDatabaseFolder(settings);
    f.found = !settings.DBPath.empty();
    if (f.found && RegReadString(reg, DatabasesKey, settings.AltDB).empty()) {
        RegWriteString(reg, DatabasesKey, settings.AltDB, settings.DBPath);
    }

    if (f.found) {
        settings.DBFile = util::AddBackslash(settings.DBPath) + "Ketrova.mdb";
        f.exists = util::FileExists(settings.DBFile);
        f.version = ReadDBVersion(settings);
    }

    f.newer = f.exists && f.version > CurrentDBVersion;
    if (!f.exists) {
        f.status = DBMissing;
    } else if (f.version >= CurrentDBVersion) {
        f.status = DBCurrent;
    } else {
        f.status = DBNeedsUpgrade;
    }
    return f;
}

std::vector<std::string> LocatorLogLines(const RunSettings& settings, const LocateFindings& f) {
    return {
        std::string("{ } Registry value exists : ") + TrueFalse(f.found),
        "{ } Database path         : " + settings.DBPath,
        "{ } Database file         : " + settings.DBFile,
        std::string("{ } DB File exists        : ") + TrueFalse(f.exists),
        "{ } DB Current Version    : " + std::to_string(CurrentDBVersion),
        "{ } DB Existing Version   : " + std::to_string(f.version),
    };
}

DBStatus LocateDatabase(RunSettings& settings, int16_t logFileNo) {
    LocateFindings f = FindDatabase(settings);
    if (logFileNo != 0) {
        for (const auto& line : LocatorLogLines(settings, f)) {
            WriteLine(settings.Files, logFileNo, line);
        }
    }
    return f.status;
}

int16_t ReadDBVersion(const RunSettings& settings) {
    if (settings.DBPath.empty()) {
        return 0; // no folder: never look in whatever the current folder is
    }
    return ReadVersionFile(settings.DBPath + "Version");
}

int16_t ReadVersionFile(const std::string& name) {
    if (!util::FileExists(name)) {
        return 0;
    }
    std::ifstream in(name, std::ios::binary);
    if (!in) {
        return 0;
    }
    std::string content(4096, '\0');
    in.read(content.data(), static_cast<std::streamsize>(content.size()));
    content.resize(static_cast<size_t>(in.gcount()));
    return ParseVersion(content);
}

bool WriteVersionFile(const std::string& folder, int16_t version) {
    return WriteVersionFileAt(util::AddBackslash(folder) + "Version", version);
}

bool WriteVersionFileAt(const std::string& name, int16_t version) {
    const std::string temp = name + ".new";
    {
        std::ofstream out(temp, std::ios::binary | std::ios::trunc);
        if (!out) {
            return false;
        }
        out << version << "\r\n";
        out.close();
        if (out.fail()) {
            std::remove(temp.c_str());
            return false;
        }
    }
    std::string error;
    if (!platform::FlushToDisk(temp, error) || !platform::ReplaceFile(temp, name, error)) {
        std::remove(temp.c_str());
        return false;
    }
    return true;
}

std::string NewerDatabaseText(const std::string& dbFile, int16_t version) {
    return "The database " + dbFile + " is version " + std::to_string(version) +
           ", newer than version " + std::to_string(CurrentDBVersion) +
           ", the newest this program knows. It is left as it is: use the Ostrand that came "
           "with the newer Ketrova.";
}

std::string NewerDatabaseRefusal(const RunSettings& settings) {
    const int16_t version = ReadDBVersion(settings);
    return version > CurrentDBVersion && util::FileExists(settings.DBFile)
               ? NewerDatabaseText(settings.DBFile, version)
               : "";
}

} // namespace startup
