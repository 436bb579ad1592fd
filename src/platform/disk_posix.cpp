#include "platform/disk.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>

namespace platform {

namespace {

class Fd {
public:
    explicit Fd(int fd) : fd_(fd) {}
    ~Fd() {
        if (fd_ >= 0) {
            ::close(fd_);
        }
    }
    Fd(const Fd&) = delete;
    Fd& operator=(const Fd&) = delete;
    int get() const { return fd_; }

private:
    int fd_;
};

bool Sync(const std::string& path, int flags, std::string& error) {
    Fd fd(::open(path.c_str(), flags | O_CLOEXEC));
    if (fd.get() < 0 || ::fsync(fd.get()) != 0) {
        error = std::strerror(errno) + std::string(": ") + path;
        return false;
    }
    return true;
}

} // namespace

bool FlushToDisk(const std::string& path, std::string& error) {
    if (!Sync(path, O_RDONLY, error)) {
        return false;
    }
    // A new file is only safe once the folder that names it is on disk too.
    const size_t slash = path.find_last_of('/');
    const std::string folder = slash == std::string::npos ? "." : path.substr(0, slash + 1);
    return Sync(folder, O_RDONLY | O_DIRECTORY, error);
}

} // namespace platform
