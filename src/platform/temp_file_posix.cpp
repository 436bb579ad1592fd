#include "platform/environment.h"
#include "platform/temp_file.h"

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <fcntl.h>
#include <unistd.h>

namespace platform {

std::string TempFolder() {
    std::string dir = GetEnv("TMPDIR");
    if (dir.empty()) {
        dir = "/tmp";
    }
    if (dir.back() != '/') {
        dir.push_back('/');
    }
    return dir;
}

std::string GetTempFileName(std::string_view prefix) {
    const std::string dir = TempFolder();
    const std::string stem(prefix.substr(0, 3));
    // Start from a number that differs between processes and calls, then walk
    // the 16-bit space; O_EXCL makes the claim on a name atomic.
    auto ticks = std::chrono::steady_clock::now().time_since_epoch().count();
    unsigned start = static_cast<unsigned>(ticks ^ (static_cast<long long>(::getpid()) << 8));
    for (unsigned i = 0; i < 0xFFFF; ++i) {
        unsigned n = (start + i) & 0xFFFF;
        if (n == 0) {
            continue; // 0 asks the system for a number; it is never a name
        }
        char hex[8];
        std::snprintf(hex, sizeof hex, "%X", n);
        std::string name = dir + stem + hex + ".tmp";
        int fd = ::open(name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
        if (fd >= 0) {
            ::close(fd);
            return name;
        }
        if (errno != EEXIST) {
            return {}; // the folder is missing or not writable: no name will do
        }
    }
    return {};
}

} // namespace platform
