#include "platform/disk.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
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

bool Fail(const std::string& path, std::string& error) {
    error = std::strerror(errno) + std::string(": ") + path;
    return false;
}

bool Sync(const std::string& path, int flags, std::string& error) {
    Fd fd(::open(path.c_str(), flags | O_CLOEXEC));
    if (fd.get() < 0 || ::fsync(fd.get()) != 0) {
        return Fail(path, error);
    }
    return true;
}

std::string FolderOf(const std::string& path) {
    const size_t slash = path.find_last_of('/');
    return slash == std::string::npos ? "." : path.substr(0, slash + 1);
}

bool CopyBytes(int in, int out, const std::string& source, const std::string& destination,
               std::string& error) {
    // The kernel's own copy first: it shares blocks where the file system can.
    for (;;) {
        const ssize_t n = ::copy_file_range(in, nullptr, out, nullptr, 1 << 30, 0);
        if (n == 0) {
            return true;
        }
        if (n < 0) {
            if (errno == EINTR) {
                continue;
            }
            if (errno == EXDEV || errno == ENOSYS || errno == EOPNOTSUPP || errno == EINVAL) {
                break;
            }
            return Fail(destination, error);
        }
    }
    char buffer[1 << 16];
    for (;;) {
        const ssize_t n = ::read(in, buffer, sizeof buffer);
        if (n == 0) {
            return true;
        }
        if (n < 0) {
            if (errno == EINTR) {
                continue;
            }
            return Fail(source, error);
        }
        for (ssize_t done = 0; done < n;) {
            const ssize_t w = ::write(out, buffer + done, static_cast<size_t>(n - done));
            if (w < 0) {
                if (errno == EINTR) {
                    continue;
                }
                return Fail(destination, error);
            }
            done += w;
        }
    }
}

} // namespace

bool FlushToDisk(const std::string& path, std::string& error) {
    if (!Sync(path, O_RDONLY, error)) {
        return false;
    }
    // A new file is only safe once the folder that names it is on disk too.
    return FlushFolder(FolderOf(path), error);
}

bool FlushFolder(const std::string& folder, std::string& error) {
    return Sync(folder, O_RDONLY | O_DIRECTORY, error);
}

bool ReplaceFile(const std::string& from, const std::string& to, std::string& error) {
    if (::rename(from.c_str(), to.c_str()) != 0) {
        return Fail(to, error);
    }
    std::string ignored;
    FlushFolder(FolderOf(to), ignored);
    if (FolderOf(from) != FolderOf(to)) {
        FlushFolder(FolderOf(from), ignored);
    }
    return true;
}

bool CopyFileDurably(const std::string& source, const std::string& destination,
                     std::string& error) {
    Fd in(::open(source.c_str(), O_RDONLY | O_CLOEXEC));
    if (in.get() < 0) {
        return Fail(source, error);
    }
    bool ok = false;
    {
        Fd out(::open(destination.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0644));
        if (out.get() < 0) {
            return Fail(destination, error);
        }
        ok = CopyBytes(in.get(), out.get(), source, destination, error) &&
             (::fsync(out.get()) == 0 || Fail(destination, error));
    }
    if (!ok) {
        ::unlink(destination.c_str()); // ours alone: made with O_EXCL above
        return false;
    }
    return FlushFolder(FolderOf(destination), error);
}

bool HardLink(const std::string& target, const std::string& link, std::string& error) {
    if (::link(target.c_str(), link.c_str()) != 0) {
        return Fail(link, error);
    }
    return FlushFolder(FolderOf(link), error);
}

} // namespace platform
