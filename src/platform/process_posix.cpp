#include "platform/process.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace platform {

namespace {

void Spawn(const std::vector<std::string>& argv, bool quiet) {
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
            int null = ::open("/dev/null", O_RDWR);
            if (null >= 0) {
                ::dup2(null, STDIN_FILENO);
                if (quiet) {
                    ::dup2(null, STDOUT_FILENO);
                    ::dup2(null, STDERR_FILENO);
                }
                if (null > STDERR_FILENO) {
                    ::close(null);
                }
            }
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
    Spawn(argv, false);
}

void StartCommand(const std::string& commandText) {
    StartDetached(SplitCommandLine(commandText));
}

void OpenDocument(const std::string& path) {
    if (path.empty()) {
        return;
    }
    Spawn({"xdg-open", path}, true);
}

} // namespace platform
