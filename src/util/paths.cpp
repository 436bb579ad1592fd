#include "util/paths.h"

#include <filesystem>
#include <system_error>

namespace util {

std::string AddBackslash(std::string_view path) {
    std::string out(path);
    if (out.empty() || out.back() != '/') {
        out.push_back('/');
    }
    return out;
}

bool FileExists(const std::string& path) {
    if (path.empty()) {
        return false;
    }
    std::error_code ec;
    auto st = std::filesystem::status(path, ec);
    return !ec && std::filesystem::is_regular_file(st);
}

bool FolderExists(const std::string& path) {
    if (path.empty()) {
        return false;
    }
    std::error_code ec;
    auto st = std::filesystem::status(path, ec);
    return !ec && std::filesystem::is_directory(st);
}

std::string ParentFolder(std::string_view path) {
    size_t at = path.find_last_of("/\\");
    return at == std::string_view::npos ? std::string() : std::string(path.substr(0, at + 1));
}

std::string FileNamePart(std::string_view path) {
    size_t at = path.find_last_of("/\\");
    return std::string(at == std::string_view::npos ? path : path.substr(at + 1));
}

} // namespace util
