#include "platform/environment.h"
#include "platform/user_settings.h"

#include <fstream>

namespace platform {

namespace {

std::string_view TrimWs(std::string_view s) {
    while (!s.empty() && (s.front() == ' ' || s.front() == '\t')) {
        s.remove_prefix(1);
    }
    while (!s.empty() && (s.back() == ' ' || s.back() == '\t' || s.back() == '\r')) {
        s.remove_suffix(1);
    }
    return s;
}

bool SameName(std::string_view a, std::string_view b) {
    if (a.size() != b.size()) {
        return false;
    }
    for (size_t i = 0; i < a.size(); ++i) {
        auto lower = [](char c) { return (c >= 'A' && c <= 'Z') ? char(c - 'A' + 'a') : c; };
        if (lower(a[i]) != lower(b[i])) {
            return false;
        }
    }
    return true;
}

} // namespace

std::string DefaultUserSettingsPath() {
    std::string env = GetEnv("KETROVA_USER_SETTINGS");
    if (!env.empty()) {
        return env;
    }
    std::string config = GetEnv("XDG_CONFIG_HOME");
    if (config.empty() || config[0] != '/') {
        config = HomeFolder() + "/.config";
    }
    return config + "/Ketrova/settings.ini";
}

std::string GetSetting(const std::string& path, std::string_view section, std::string_view key,
                       std::string_view defaultValue) {
    std::ifstream in(path, std::ios::binary);
    if (!in) {
        return std::string(defaultValue);
    }
    std::string result(defaultValue);
    bool inSection = false;
    std::string raw;
    bool first = true;
    while (std::getline(in, raw)) {
        std::string_view line = raw;
        // An editor saving as UTF-8 may put a byte-order mark before the first section.
        if (first && line.starts_with("\xEF\xBB\xBF")) {
            line.remove_prefix(3);
        }
        first = false;
        line = TrimWs(line);
        if (line.empty() || line[0] == ';' || line[0] == '#') {
            continue;
        }
        if (line[0] == '[') {
            size_t close = line.find(']');
            inSection = close != std::string_view::npos &&
                        SameName(TrimWs(line.substr(1, close - 1)), section);
            continue;
        }
        if (!inSection) {
            continue;
        }
        size_t eq = line.find('=');
        if (eq == std::string_view::npos || !SameName(TrimWs(line.substr(0, eq)), key)) {
            continue;
        }
        std::string_view value = TrimWs(line.substr(eq + 1));
        if (value.size() >= 2 && value.front() == '"' && value.back() == '"') {
            value = value.substr(1, value.size() - 2);
        }
        result = std::string(value);
    }
    return result;
}

} // namespace platform
