#include "startup/run_log.h"
#include "startup/run_settings.h"

#include <filesystem>
#include <fstream>
#include <system_error>

namespace startup {

namespace {
constexpr int16_t MaxFileNo = 511;
}

int16_t FileTable::FreeFile() const {
    for (int16_t n = 1; n <= MaxFileNo; ++n) {
        if (!open_.contains(n)) {
            return n;
        }
    }
    return 0;
}

int16_t FileTable::Add(FileHandle file) {
    int16_t n = FreeFile();
    if (n != 0 && file) {
        open_[n] = std::move(file);
        return n;
    }
    return 0;
}

std::FILE* FileTable::Get(int16_t fileNo) const {
    auto it = open_.find(fileNo);
    return it == open_.end() ? nullptr : it->second.get();
}

void FileTable::Close(int16_t fileNo) {
    open_.erase(fileNo);
}

int16_t OpenLogFile(FileTable& files, const std::string& path, int mode, int recordLength) {
    (void)recordLength; // random access is positioned by the caller; the stream is the same
    // The C library opens a folder for reading without complaint; only the
    // first read fails. A folder is no file in any mode.
    std::error_code ec;
    if (std::filesystem::is_directory(path, ec)) {
        return 0;
    }
    const char* how = nullptr;
    switch (mode) {
    case 0:
        how = "rb";
        break;
    case 1:
        how = "wb";
        break;
    case 2:
        how = "ab";
        break;
    default:
        // Binary and random access read and write in place, creating the file
        // when it is missing, as those modes do.
        how = "r+b";
        break;
    }
    FileHandle f(std::fopen(path.c_str(), how));
    if (!f && (mode != 0 && mode != 1 && mode != 2)) {
        f.reset(std::fopen(path.c_str(), "w+b"));
    }
    if (!f) {
        return 0;
    }
    return files.Add(std::move(f));
}

void CloseFile(FileTable& files, int16_t fileNo) {
    files.Close(fileNo);
}

void WriteLine(FileTable& files, int16_t fileNo, std::string_view text) {
    if (fileNo == 0) {
        return;
    }
    std::FILE* f = files.Get(fileNo);
    if (!f) {
        return;
    }
    std::fwrite(text.data(), 1, text.size(), f);
    std::fwrite("\r\n", 1, 2, f);
    // A crash later in the run must not cost the lines that explain it.
    std::fflush(f);
}

void Log(RunSettings& settings, std::string_view line) {
    WriteLine(settings.Files, settings.LogFileNo, line);
}

std::string RunLogFolder(const RunSettings& settings) {
    return settings.LogPath.empty() ? settings.AppPath : settings.LogPath;
}

std::string RunLogPath(const RunSettings& settings) {
    return RunLogFolder(settings) + "Ostrand.log";
}

std::string LastErrorLine(const std::string& logPath) {
    std::ifstream in(logPath, std::ios::binary);
    std::string line, last;
    while (std::getline(in, line)) {
        if (!line.empty() && line.back() == '\r') {
            line.pop_back();
        }
        if (line.starts_with("{*} ")) {
            last = line.substr(4);
        }
    }
    return last;
}

} // namespace startup
