#include "platform/file_lock.h"

#include <cerrno>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <sys/file.h>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

namespace platform {

namespace fs = std::filesystem;

FileLock::~FileLock() {
    Unlock();
}

bool FileLock::TryLock(const std::string& path, std::string& error) {
    Unlock();
    error.clear();
    // The lock file is never removed, so every process locks the same file:
    // removing it would let a late comer lock a name nobody else sees.
    const int fd = ::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0644);
    if (fd < 0) {
        error = std::strerror(errno) + std::string(": ") + path;
        return false;
    }
    if (::flock(fd, LOCK_EX | LOCK_NB) != 0) {
        if (errno != EWOULDBLOCK) {
            error = std::strerror(errno) + std::string(": ") + path;
        }
        ::close(fd);
        return false;
    }
    fd_ = fd;
    return true;
}

void FileLock::Unlock() {
    if (fd_ >= 0) {
        ::close(fd_); // closing lets go of the lock
        fd_ = -1;
    }
}

std::vector<ProcessInfo> ProcessesHoldingOpen(const std::vector<std::string>& paths) {
    // Compared by device and inode, so that any name of the file counts.
    std::vector<std::pair<dev_t, ino_t>> wanted;
    for (const auto& p : paths) {
        struct stat st {};
        if (::stat(p.c_str(), &st) == 0) {
            wanted.emplace_back(st.st_dev, st.st_ino);
        }
    }
    std::vector<ProcessInfo> holders;
    if (wanted.empty()) {
        return holders;
    }
    const int self = static_cast<int>(::getpid());
    std::error_code ec;
    for (const auto& proc : fs::directory_iterator("/proc", ec)) {
        const std::string pidText = proc.path().filename().string();
        if (pidText.empty() || pidText.find_first_not_of("0123456789") != std::string::npos) {
            continue;
        }
        const int pid = std::stoi(pidText);
        if (pid == self) {
            continue;
        }
        std::error_code fdError;
        for (const auto& fd : fs::directory_iterator(proc.path() / "fd", fdError)) {
            struct stat st {};
            if (::stat(fd.path().c_str(), &st) != 0) {
                continue;
            }
            bool match = false;
            for (const auto& [dev, ino] : wanted) {
                match = match || (st.st_dev == dev && st.st_ino == ino);
            }
            if (match) {
                ProcessInfo info{pid, ""};
                std::ifstream comm(proc.path() / "comm");
                std::getline(comm, info.name);
                holders.push_back(info);
                break;
            }
        }
    }
    return holders;
}

bool ProcessAlive(int pid) {
    return pid > 0 && (::kill(pid, 0) == 0 || errno == EPERM);
}

int CurrentProcessId() {
    return static_cast<int>(::getpid());
}

} // namespace platform
