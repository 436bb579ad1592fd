#pragma once
// Numbered files as the suite's programs use them: the run log is addressed
// by its number, 0 meaning "no log", and every write is one whole CR LF line.

#include <cstdint>
#include <cstdio>
#include <map>
#include <memory>
#include <string>
#include <string_view>

namespace startup {

struct FileCloser {
    void operator()(std::FILE* f) const noexcept {
        if (f) {
            std::fclose(f);
        }
    }
};
using FileHandle = std::unique_ptr<std::FILE, FileCloser>;

// The table of open numbered files. Numbers start at 1; 0 is never handed out.
class FileTable {
public:
    FileTable() = default;
    FileTable(const FileTable&) = delete;
    FileTable& operator=(const FileTable&) = delete;
    FileTable(FileTable&&) = default;
    FileTable& operator=(FileTable&&) = default;

    // The lowest free number, or 0 when all 511 are taken.
    int16_t FreeFile() const;
    int16_t Add(FileHandle file); // 0 when no number is free
    std::FILE* Get(int16_t fileNo) const;
    bool IsOpen(int16_t fileNo) const { return Get(fileNo) != nullptr; }
    void Close(int16_t fileNo);

private:
    std::map<int16_t, FileHandle> open_;
};

// Opens `path` and returns its new file number, or 0 on any error.
// mode 0 reading, 1 writing (replacing), 2 appending, 4 binary, any other
// random access with records of `recordLength` bytes.
int16_t OpenLogFile(FileTable& files, const std::string& path, int mode, int recordLength);

// Closes the file if it is open.
void CloseFile(FileTable& files, int16_t fileNo);

// Writes `text` and CR LF to an open file; nothing when fileNo is 0 or not open.
// Write errors are swallowed: the log never stops an operation.
void WriteLine(FileTable& files, int16_t fileNo, std::string_view text);

} // namespace startup
