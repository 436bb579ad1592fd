#pragma once
// Exclusion between processes, and who else has a file open.

#include <string>
#include <vector>

namespace platform {

// An exclusive lock on a lock file, held until the object goes away. The
// system lets go of it when the process ends in any way (kill -9 included),
// so a lock can never outlive the run that took it.
class FileLock {
public:
    FileLock() = default;
    ~FileLock();
    FileLock(const FileLock&) = delete;
    FileLock& operator=(const FileLock&) = delete;

    // Creates the lock file when missing and tries to lock it without
    // waiting. False when another process holds it (`error` empty) or the
    // file cannot be made (`error` says why).
    bool TryLock(const std::string& path, std::string& error);
    bool Held() const { return fd_ >= 0; }
    void Unlock();

private:
    int fd_ = -1;
};

struct ProcessInfo {
    int pid = 0;
    std::string name; // the program's name, as the system lists it
};

// Other processes that have any of `paths` open, as far as this user may see
// (the processes of other users are not visible to an ordinary user).
std::vector<ProcessInfo> ProcessesHoldingOpen(const std::vector<std::string>& paths);

// Whether a process of that number is running.
bool ProcessAlive(int pid);

// This process's number.
int CurrentProcessId();

} // namespace platform
