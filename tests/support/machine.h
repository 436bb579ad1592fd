#pragma once
// Stand-ins for the rest of the machine: another program that holds a file
// open, and a disk that takes no more than so many bytes per file.

#include <gtest/gtest.h>

#include <csignal>
#include <fcntl.h>
#include <string>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace testsupport {

// Another process with `file` open for writing until this object goes, as a
// program of the suite working on the database would have it.
class HeldOpenElsewhere {
public:
    explicit HeldOpenElsewhere(const std::string& file) {
        int ready[2];
        if (::pipe(ready) != 0 || ::pipe(release_) != 0) {
            ADD_FAILURE() << "no pipe";
            return;
        }
        pid_ = ::fork();
        if (pid_ == 0) {
            char c = ::open(file.c_str(), O_RDWR) >= 0 ? 'y' : 'n';
            (void)!::write(ready[1], &c, 1);
            (void)!::read(release_[0], &c, 1);
            ::_exit(0);
        }
        char c = 0;
        EXPECT_EQ(::read(ready[0], &c, 1), 1);
        EXPECT_EQ(c, 'y') << "the other process could not open " << file;
        ::close(ready[0]);
        ::close(ready[1]);
    }
    ~HeldOpenElsewhere() {
        (void)!::write(release_[1], "x", 1);
        ::waitpid(pid_, nullptr, 0);
        ::close(release_[0]);
        ::close(release_[1]);
    }
    HeldOpenElsewhere(const HeldOpenElsewhere&) = delete;
    HeldOpenElsewhere& operator=(const HeldOpenElsewhere&) = delete;
    pid_t pid() const { return pid_; }

private:
    int release_[2] = {-1, -1};
    pid_t pid_ = -1;
};

// While it lives, a write that would make any file of this process longer
// than `bytes` fails as it does on a full disk.
class FullDiskAt {
public:
    explicit FullDiskAt(rlim_t bytes) {
        ::getrlimit(RLIMIT_FSIZE, &was_);
        rlimit low = was_;
        low.rlim_cur = bytes;
        std::signal(SIGXFSZ, SIG_IGN);
        ::setrlimit(RLIMIT_FSIZE, &low);
    }
    ~FullDiskAt() { ::setrlimit(RLIMIT_FSIZE, &was_); }
    FullDiskAt(const FullDiskAt&) = delete;
    FullDiskAt& operator=(const FullDiskAt&) = delete;

private:
    rlimit was_{};
};

} // namespace testsupport
