#include "platform/process.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

namespace platform {

namespace {

// Points standard input, and with `outputToo` also output and errors, at
// /dev/null. Only async-signal-safe calls: it runs between fork and exec.
void ReadFromNull(bool outputToo) {
    int null = ::open("/dev/null", O_RDWR);
    if (null >= 0) {
        ::dup2(null, STDIN_FILENO);
        if (outputToo) {
            ::dup2(null, STDOUT_FILENO);
            ::dup2(null, STDERR_FILENO);
        }
        if (null > STDERR_FILENO) {
            ::close(null);
        }
    }
}

void Spawn(const std::vector<std::string>& argv) {
    if (argv.empty() || argv.front().empty()) {
        return;
    }
    // Everything the children need is built before fork: between fork and
    // exec only async-signal-safe calls are made.
    std::vector<char*> args;
    args.reserve(argv.size() + 1);
    for (const auto& a : argv) {
        args.push_back(const_cast<char*>(a.c_str()));
    }
    args.push_back(nullptr);

    pid_t child = ::fork();
    if (child < 0) {
        return;
    }
    if (child == 0) {
        // The intermediate child starts a new session and forks the program,
        // then ends at once: the program is adopted by init, so it never
        // becomes our zombie and survives our exit.
        ::setsid();
        pid_t grandchild = ::fork();
        if (grandchild == 0) {
            ReadFromNull(false);
            ::execvp(args[0], args.data());
            ::_exit(127);
        }
        ::_exit(0);
    }
    int status = 0;
    while (::waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
}

} // namespace

std::vector<std::string> SplitCommandLine(const std::string& commandText) {
    std::vector<std::string> words;
    size_t i = 0;
    while (i < commandText.size()) {
        while (i < commandText.size() && commandText[i] == ' ') {
            ++i;
        }
        size_t start = i;
        while (i < commandText.size() && commandText[i] != ' ') {
            ++i;
        }
        if (i > start) {
            words.push_back(commandText.substr(start, i - start));
        }
    }
    return words;
}

void StartDetached(const std::vector<std::string>& argv) {
    Spawn(argv);
}

void StartCommand(const std::string& commandText) {
    StartDetached(SplitCommandLine(commandText));
}

bool OpenDocument(const std::string& path, std::chrono::milliseconds patience,
                  const std::function<void()>& whileWaiting) {
    if (path.empty()) {
        return false;
    }
    // The opener's exit status comes back through a pipe from the process
    // that waits for it. That waiter is detached like any started program,
    // so an opener that never ends costs us neither a zombie nor a wait.
    int status[2];
    if (::pipe2(status, O_CLOEXEC) != 0) {
        return false;
    }
    const char* argv[] = {"xdg-open", path.c_str(), nullptr};
    const pid_t child = ::fork();
    if (child == 0) {
        ::close(status[0]);
        ::setsid();
        if (::fork() == 0) {
            ::signal(SIGPIPE, SIG_IGN); // we may have stopped listening
            const pid_t opener = ::fork();
            if (opener == 0) {
                ReadFromNull(true);
                ::execvp(argv[0], const_cast<char* const*>(argv));
                ::_exit(127);
            }
            int code = 0;
            while (opener > 0 && ::waitpid(opener, &code, 0) < 0 && errno == EINTR) {
            }
            const unsigned char exitCode =
                opener > 0 && WIFEXITED(code) ? static_cast<unsigned char>(WEXITSTATUS(code)) : 255;
            [[maybe_unused]] ssize_t written = ::write(status[1], &exitCode, 1);
        }
        ::_exit(0);
    }
    ::close(status[1]);
    if (child > 0) {
        int code = 0;
        while (::waitpid(child, &code, 0) < 0 && errno == EINTR) {
        }
    }
    // Still running when patience runs out means a viewer is showing.
    bool took = child > 0;
    const auto until = std::chrono::steady_clock::now() + patience;
    while (took) {
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
            until - std::chrono::steady_clock::now());
        if (left.count() <= 0) {
            break;
        }
        pollfd fd{status[0], POLLIN, 0};
        const int ready = ::poll(&fd, 1, static_cast<int>(std::min<int64_t>(left.count(), 50)));
        if (ready > 0) {
            unsigned char exitCode = 255;
            took = ::read(status[0], &exitCode, 1) == 1 && exitCode == 0;
            break;
        }
        if (ready < 0 && errno != EINTR) {
            break;
        }
        if (whileWaiting) {
            whileWaiting();
        }
    }
    ::close(status[0]);
    return took;
}

} // namespace platform
