#pragma once
// A fresh folder under the system's temporary folder, removed with everything
// in it when the test ends. Tests never write into the source tree.

#include <filesystem>
#include <string>
#include <vector>

namespace testsupport {

class TempDir {
public:
    TempDir();
    ~TempDir();
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;

    const std::filesystem::path& path() const { return path_; }
    // The folder as text with a trailing "/", as the suite keeps folders.
    std::string str() const { return path_.string() + "/"; }
    std::filesystem::path operator/(const std::string& name) const { return path_ / name; }

private:
    std::filesystem::path path_;
};

// The files an operation made for itself in `folder` (".ostrand-..."):
// none may outlive it, whatever its outcome.
std::vector<std::string> ScratchLeft(const std::filesystem::path& folder);

// Whole file as bytes; "" when it cannot be read.
std::string ReadFile(const std::filesystem::path& p);
void WriteFile(const std::filesystem::path& p, const std::string& bytes);

// A whole database made by the engine at `file`, with the statements run in it.
void MakeDatabase(const std::string& file, const std::vector<std::string>& statements);

// The lines joined by `end`, which also follows the last unless `endLast` is false:
// expected texts with interpolated paths, one line of text to a line of code.
std::string JoinLines(const std::vector<std::string>& lines, const std::string& end = "\r\n",
                      bool endLast = true);

} // namespace testsupport
