#include "support/temp_dir.h"

#include "db/connection.h"

#include <cstdlib>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <unistd.h>

namespace testsupport {

TempDir::TempDir() {
    std::string tmpl = (std::filesystem::temp_directory_path() / "ostrand-test-XXXXXX").string();
    if (!::mkdtemp(tmpl.data())) {
        throw std::runtime_error("mkdtemp failed");
    }
    path_ = tmpl;
}

TempDir::~TempDir() {
    std::error_code ec;
    std::filesystem::remove_all(path_, ec);
}

std::vector<std::string> ScratchLeft(const std::filesystem::path& folder) {
    std::vector<std::string> found;
    for (const auto& f : std::filesystem::directory_iterator(folder)) {
        if (f.path().filename().string().starts_with(".ostrand-")) {
            found.push_back(f.path().string());
        }
    }
    return found;
}

std::string ReadFile(const std::filesystem::path& p) {
    std::ifstream in(p, std::ios::binary);
    std::ostringstream s;
    s << in.rdbuf();
    return s.str();
}

void WriteFile(const std::filesystem::path& p, const std::string& bytes) {
    std::ofstream out(p, std::ios::binary | std::ios::trunc);
    out << bytes;
}

void MakeDatabase(const std::string& file, const std::vector<std::string>& statements) {
    std::string error;
    if (!db::CreateDatabaseFile(file, error))
        throw std::runtime_error(error);
    db::Connection c;
    c.Open(file);
    for (const std::string& sql : statements)
        c.Execute(sql);
}

std::string JoinLines(const std::vector<std::string>& lines, const std::string& end, bool endLast) {
    std::string text;
    for (size_t i = 0; i < lines.size(); ++i)
        text += lines[i] + (endLast || i + 1 < lines.size() ? end : "");
    return text;
}

} // namespace testsupport
