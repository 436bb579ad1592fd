#include "platform/scratch.h"

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace platform {

namespace {

// Tries names until `make` claims one; it claims atomically (O_EXCL,
// mkdir), so two runs never share a name.
template <typename Make>
std::string Claim(const std::string& folder, std::string_view what, std::string& error, Make make) {
    const std::string base = (folder.empty() || folder.back() == '/' ? folder : folder + "/") +
                             ".ostrand-" + std::string(what) + "-";
    auto ticks = std::chrono::steady_clock::now().time_since_epoch().count();
    unsigned seed = static_cast<unsigned>(ticks ^ (static_cast<long long>(::getpid()) << 16));
    for (int tries = 0; tries < 100; ++tries) {
        seed = seed * 1103515245u + 12345u;
        char number[16];
        std::snprintf(number, sizeof number, "%08X", seed);
        const std::string name = base + number;
        if (make(name.c_str())) {
            return name;
        }
        if (errno != EEXIST) {
            break;
        }
    }
    error = std::strerror(errno) + std::string(": ") + base + "...";
    return {};
}

} // namespace

std::string CreateScratchFile(const std::string& folder, std::string_view what,
                              std::string& error) {
    return Claim(folder, what, error, [](const char* name) {
        const int fd = ::open(name, O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
        return fd >= 0 && ::close(fd) == 0;
    });
}

std::string CreateScratchFolder(const std::string& folder, std::string_view what,
                                std::string& error) {
    return Claim(folder, what, error, [](const char* name) { return ::mkdir(name, 0777) == 0; });
}

} // namespace platform
