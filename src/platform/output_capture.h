#pragma once
// Keeping a library's chatter off the user's terminal: some C libraries the
// core uses print warnings (and stray lines) straight to the process's
// standard output and error, where they would bury the one message that
// matters and mix into what a script reads.

#include <cstdio>
#include <string>

namespace platform {

// While it lives, whatever the process writes to its standard output or
// standard error goes to an unnamed temporary file instead. Release() (or
// the destructor) puts both back; Release() returns what was written.
class OutputCapture {
public:
    OutputCapture();
    ~OutputCapture();
    OutputCapture(const OutputCapture&) = delete;
    OutputCapture& operator=(const OutputCapture&) = delete;

    std::string Release();

private:
    int savedOut_ = -1;
    int savedErr_ = -1;
    std::FILE* file_ = nullptr;
};

} // namespace platform
