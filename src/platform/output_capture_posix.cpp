#include "platform/output_capture.h"

#include <unistd.h>

namespace platform {

namespace {

// Points `fd` at `target`, keeping a duplicate of what it was; -1 when that fails.
int Redirect(int fd, int target) {
    const int saved = ::dup(fd);
    if (saved >= 0 && ::dup2(target, fd) < 0) {
        ::close(saved);
        return -1;
    }
    return saved;
}

void PutBack(int fd, int& saved) {
    if (saved >= 0) {
        ::dup2(saved, fd);
        ::close(saved);
        saved = -1;
    }
}

} // namespace

OutputCapture::OutputCapture() {
    std::fflush(stdout);
    std::fflush(stderr);
    file_ = std::tmpfile();
    if (file_) {
        // What cannot be redirected simply stays on the terminal.
        savedOut_ = Redirect(STDOUT_FILENO, ::fileno(file_));
        savedErr_ = Redirect(STDERR_FILENO, ::fileno(file_));
    }
}

OutputCapture::~OutputCapture() {
    Release();
}

std::string OutputCapture::Release() {
    std::string text;
    if (!file_) {
        return text;
    }
    std::fflush(stdout);
    std::fflush(stderr);
    PutBack(STDOUT_FILENO, savedOut_);
    PutBack(STDERR_FILENO, savedErr_);
    std::rewind(file_);
    char buffer[4096];
    size_t n = 0;
    while ((n = std::fread(buffer, 1, sizeof buffer, file_)) > 0) {
        text.append(buffer, n);
    }
    std::fclose(file_);
    file_ = nullptr;
    return text;
}

} // namespace platform
