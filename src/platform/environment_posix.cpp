#include "platform/environment.h"

#include <cstdlib>
#include <filesystem>
#include <pwd.h>
#include <system_error>
#include <unistd.h>

namespace platform {

std::string GetEnv(const char* name) {
    const char* v = std::getenv(name);
    return v ? std::string(v) : std::string();
}

std::string ExecutableFolder() {
    std::error_code ec;
    auto exe = std::filesystem::read_symlink("/proc/self/exe", ec);
    if (ec || exe.empty()) {
        return {};
    }
    std::string folder = exe.parent_path().string();
    if (folder.empty() || folder.back() != '/') {
        folder.push_back('/');
    }
    return folder;
}

std::string HomeFolder() {
    std::string home = GetEnv("HOME");
    if (home.empty()) {
        if (const passwd* pw = ::getpwuid(::getuid()); pw && pw->pw_dir) {
            home = pw->pw_dir;
        }
    }
    while (home.size() > 1 && home.back() == '/') {
        home.pop_back();
    }
    return home;
}

std::string XdgUserFolder(const char* variable, const char* fallback) {
    std::string folder = GetEnv(variable);
    if (folder.empty() || folder.front() != '/') {
        folder = HomeFolder() + fallback;
    }
    if (folder.back() != '/') {
        folder.push_back('/');
    }
    return folder;
}

bool FolderWritable(const std::string& folder) {
    // Creating a file needs both write and search permission on the folder.
    return ::access(folder.c_str(), W_OK | X_OK) == 0;
}

} // namespace platform
