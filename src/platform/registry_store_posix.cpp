#include "platform/environment.h"
#include "platform/registry_store.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <optional>
#include <sstream>
#include <sys/file.h>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

namespace fs = std::filesystem;

namespace platform {

namespace {

enum class Kind { String, DWord, Other };

struct Value {
    std::string name;
    Kind kind = Kind::String;
    std::string text; // String: the text; Other: the data exactly as written after "="
    uint32_t dword = 0;
};

struct Section {
    std::string name;
    std::vector<Value> values;
};

struct Document {
    std::vector<Section> sections;
    bool readable = true; // false: the file exists but could not be read
    bool damaged = false; // text that is not a store at all, kept aside before a rewrite
    std::string problem;  // why it is either, for the user
};

char Lower(char c) {
    return (c >= 'A' && c <= 'Z') ? static_cast<char>(c - 'A' + 'a') : c;
}

bool SameName(std::string_view a, std::string_view b) {
    if (a.size() != b.size()) {
        return false;
    }
    for (size_t i = 0; i < a.size(); ++i) {
        if (Lower(a[i]) != Lower(b[i])) {
            return false;
        }
    }
    return true;
}

// "Key\" and "Key" name the same key.
std::string_view KeyName(std::string_view key) {
    while (!key.empty() && key.back() == '\\') {
        key.remove_suffix(1);
    }
    return key;
}

bool IsBelow(std::string_view candidate, std::string_view key) {
    return candidate.size() > key.size() + 1 && candidate[key.size()] == '\\' &&
           SameName(candidate.substr(0, key.size()), key);
}

std::string CutAtNul(std::string_view text) {
    size_t nul = text.find('\0');
    return std::string(nul == std::string_view::npos ? text : text.substr(0, nul));
}

// Reads a quoted text starting at line[pos] == '"'; pos ends after the closing quote.
std::optional<std::string> ReadQuoted(std::string_view line, size_t& pos) {
    if (pos >= line.size() || line[pos] != '"') {
        return std::nullopt;
    }
    std::string out;
    for (size_t i = pos + 1; i < line.size(); ++i) {
        char c = line[i];
        if (c == '"') {
            pos = i + 1;
            return out;
        }
        if (c == '\\' && i + 1 < line.size()) {
            char n = line[++i];
            switch (n) {
            case '\\':
            case '"':
                out.push_back(n);
                break;
            case 'n':
                out.push_back('\n');
                break;
            case 'r':
                out.push_back('\r');
                break;
            default:
                // Not an escape we write: keep it as it stands.
                out.push_back('\\');
                out.push_back(n);
                break;
            }
            continue;
        }
        out.push_back(c);
    }
    return std::nullopt; // no closing quote: a damaged line
}

std::string Quote(std::string_view text) {
    std::string out = "\"";
    for (char c : text) {
        switch (c) {
        case '\\':
            out += "\\\\";
            break;
        case '"':
            out += "\\\"";
            break;
        case '\n':
            out += "\\n";
            break;
        case '\r':
            out += "\\r";
            break;
        default:
            out.push_back(c);
        }
    }
    out.push_back('"');
    return out;
}

Section* FindSection(Document& doc, std::string_view key) {
    for (auto& s : doc.sections) {
        if (SameName(s.name, key)) {
            return &s;
        }
    }
    return nullptr;
}

Value* FindValue(Section& s, std::string_view name) {
    for (auto& v : s.values) {
        if (SameName(v.name, name)) {
            return &v;
        }
    }
    return nullptr;
}

void SetValue(Section& s, Value v) {
    if (Value* old = FindValue(s, v.name)) {
        v.name = old->name; // a value keeps the spelling it was created with
        *old = std::move(v);
    } else {
        s.values.push_back(std::move(v));
    }
}

// Parses one value line ("Name"=data or @=data) into the section. Lines that
// do not parse are dropped.
void ParseValueLine(std::string_view line, Section& section) {
    size_t pos = 0;
    std::string name;
    if (line[0] == '@') {
        pos = 1;
    } else {
        auto quoted = ReadQuoted(line, pos);
        if (!quoted) {
            return;
        }
        name = std::move(*quoted);
    }
    while (pos < line.size() && (line[pos] == ' ' || line[pos] == '\t')) {
        ++pos;
    }
    if (pos >= line.size() || line[pos] != '=') {
        return;
    }
    ++pos;
    while (pos < line.size() && (line[pos] == ' ' || line[pos] == '\t')) {
        ++pos;
    }
    std::string_view data = line.substr(pos);
    Value v;
    v.name = std::move(name);
    if (!data.empty() && data[0] == '"') {
        size_t p = 0;
        auto text = ReadQuoted(data, p);
        if (!text) {
            return;
        }
        v.kind = Kind::String;
        v.text = CutAtNul(*text);
    } else if (data.size() > 6 && SameName(data.substr(0, 6), "dword:")) {
        std::string_view hex = data.substr(6);
        while (!hex.empty() && (hex.back() == ' ' || hex.back() == '\t')) {
            hex.remove_suffix(1);
        }
        if (hex.empty() || hex.size() > 8 ||
            hex.find_first_not_of("0123456789abcdefABCDEF") != std::string_view::npos) {
            return;
        }
        v.kind = Kind::DWord;
        v.dword = static_cast<uint32_t>(std::stoul(std::string(hex), nullptr, 16));
    } else if (data == "-") {
        // An export's "remove this value": there is nothing to keep.
        if (auto it = std::find_if(section.values.begin(), section.values.end(),
                                   [&](const Value& x) { return SameName(x.name, v.name); });
            it != section.values.end()) {
            section.values.erase(it);
        }
        return;
    } else if (!data.empty()) {
        v.kind = Kind::Other;
        v.text = std::string(data);
    } else {
        return;
    }
    SetValue(section, std::move(v));
}

Document Parse(const std::string& content) {
    Document doc;
    Section* current = nullptr;
    std::string pending; // a hex value continued over several lines
    std::istringstream in(content);
    std::string raw;
    while (std::getline(in, raw)) {
        if (!raw.empty() && raw.back() == '\r') {
            raw.pop_back();
        }
        if (!pending.empty()) {
            std::string_view cont = raw;
            while (!cont.empty() && (cont.front() == ' ' || cont.front() == '\t')) {
                cont.remove_prefix(1);
            }
            pending += cont;
            if (!pending.empty() && pending.back() == '\\') {
                pending.pop_back();
                continue;
            }
            if (current) {
                ParseValueLine(pending, *current);
            }
            pending.clear();
            continue;
        }
        std::string_view line = raw;
        while (!line.empty() && (line.front() == ' ' || line.front() == '\t')) {
            line.remove_prefix(1);
        }
        while (!line.empty() && (line.back() == ' ' || line.back() == '\t')) {
            line.remove_suffix(1);
        }
        if (line.empty() || line[0] == ';') {
            continue;
        }
        if (line[0] == '[') {
            current = nullptr;
            if (line.back() != ']' || line.size() < 3) {
                continue;
            }
            std::string_view name = KeyName(line.substr(1, line.size() - 2));
            if (name.empty() || name[0] == '-') {
                continue; // "[-KEY]" removes a key in an export; ignore its lines
            }
            current = FindSection(doc, name);
            if (!current) {
                doc.sections.push_back(Section{std::string(name), {}});
                current = &doc.sections.back();
            }
            continue;
        }
        if (!current || (line[0] != '"' && line[0] != '@')) {
            continue; // the header, or a line outside any key
        }
        if (line.back() == '\\' && line.find("=hex") != std::string_view::npos) {
            pending = std::string(line.substr(0, line.size() - 1));
            continue;
        }
        ParseValueLine(line, *current);
    }
    if (!pending.empty() && current) {
        ParseValueLine(pending, *current);
    }
    return doc;
}

std::string Serialize(const Document& doc) {
    std::string out = "REGEDIT4\n";
    for (const auto& s : doc.sections) {
        out += "\n[" + s.name + "]\n";
        for (const auto& v : s.values) {
            out += v.name.empty() ? std::string("@") : Quote(v.name);
            out += '=';
            switch (v.kind) {
            case Kind::String:
                out += Quote(v.text);
                break;
            case Kind::DWord: {
                char hex[16];
                std::snprintf(hex, sizeof hex, "dword:%08x", v.dword);
                out += hex;
                break;
            }
            case Kind::Other:
                out += v.text;
                break;
            }
            out += '\n';
        }
    }
    return out;
}

Document Load(const std::string& path) {
    Document doc;
    std::error_code ec;
    if (!fs::exists(path, ec)) {
        return doc;
    }
    if (!fs::is_regular_file(path, ec)) {
        doc.readable = false;
        doc.problem = fs::is_directory(path, ec) ? "is a folder, not a file" : "is no plain file";
        return doc;
    }
    std::ifstream in(path, std::ios::binary);
    if (!in) {
        doc.readable = false;
        doc.problem = std::string("cannot be read (") + std::strerror(errno) + ")";
        return doc;
    }
    std::ostringstream buf;
    buf << in.rdbuf();
    if (in.bad()) {
        doc.readable = false;
        doc.problem = "cannot be read (a read error)";
        return doc;
    }
    const std::string content = buf.str();
    doc = Parse(content);
    doc.damaged =
        doc.sections.empty() && content.find_first_not_of(" \t\r\n") != std::string::npos &&
        content.rfind("REGEDIT4", 0) != 0 && content.rfind("Windows Registry Editor", 0) != 0;
    if (doc.damaged) {
        // The registry editor of newer Windows exports in UTF-16.
        const bool utf16 = content.starts_with("\xFF\xFE") || content.starts_with("\xFE\xFF");
        doc.problem = utf16 ? "is in UTF-16, as a Windows export may be: save it as plain "
                              "(ANSI or UTF-8) text"
                            : "is damaged: it holds no REGEDIT4 line and no [key] section";
    }
    return doc;
}

class FdGuard {
public:
    explicit FdGuard(int fd) : fd_(fd) {}
    ~FdGuard() {
        if (fd_ >= 0) {
            ::close(fd_);
        }
    }
    FdGuard(const FdGuard&) = delete;
    FdGuard& operator=(const FdGuard&) = delete;
    int get() const { return fd_; }

private:
    int fd_;
};

bool WriteAll(int fd, const std::string& bytes) {
    size_t done = 0;
    while (done < bytes.size()) {
        ssize_t n = ::write(fd, bytes.data() + done, bytes.size() - done);
        if (n < 0) {
            if (errno == EINTR) {
                continue;
            }
            return false;
        }
        done += static_cast<size_t>(n);
    }
    return true;
}

// Loads the store under an exclusive lock, lets `change` edit it and writes
// it back when the edit says so. The lock lives in a file of its own because
// the store's inode is replaced by every rename.
template <typename Change> bool Update(const std::string& path, Change change) {
    if (path.empty()) {
        return false;
    }
    std::error_code ec;
    fs::path store(path);
    if (store.has_parent_path()) {
        fs::create_directories(store.parent_path(), ec);
    }
    FdGuard lock(::open((path + ".lock").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0644));
    if (lock.get() < 0) {
        return false;
    }
    while (::flock(lock.get(), LOCK_EX) != 0) {
        if (errno != EINTR) {
            return false;
        }
    }
    Document doc = Load(path);
    if (!doc.readable) {
        return false; // rewriting what we could not read would lose it
    }
    if (!change(doc)) {
        return true;
    }
    if (doc.damaged) {
        // Whatever this file held, it was not ours to throw away.
        fs::copy_file(path, path + ".damaged", fs::copy_options::overwrite_existing, ec);
    }
    // A sibling temporary file, so the rename stays on one file system and
    // readers see either the old store or the new one, never a part.
    std::string tmp = path + ".XXXXXX";
    FdGuard out(::mkostemp(tmp.data(), O_CLOEXEC));
    if (out.get() < 0) {
        return false;
    }
    struct stat st {};
    mode_t mode = (::stat(path.c_str(), &st) == 0) ? (st.st_mode & 07777) : 0644;
    ::fchmod(out.get(), mode);
    if (!WriteAll(out.get(), Serialize(doc)) || ::fsync(out.get()) != 0) {
        ::unlink(tmp.c_str());
        return false;
    }
    if (::rename(tmp.c_str(), path.c_str()) != 0) {
        ::unlink(tmp.c_str());
        return false;
    }
    return true;
}

} // namespace

std::string DefaultRegistryPath() {
    std::string env = GetEnv("KETROVA_REGISTRY");
    if (!env.empty()) {
        return env;
    }
    std::string config = GetEnv("XDG_CONFIG_HOME");
    if (config.empty() || config[0] != '/') {
        config = HomeFolder() + "/.config";
    }
    return config + "/Ketrova/registry.reg";
}

std::string RegistryStore::Problem() const {
    return Load(path_).problem;
}

std::string RegistryStore::ReadString(std::string_view key, std::string_view name) const {
    Document doc = Load(path_);
    const Section* s = FindSection(doc, KeyName(key));
    if (!s) {
        return {};
    }
    for (const auto& v : s->values) {
        if (SameName(v.name, name)) {
            return v.kind == Kind::String ? v.text : std::string();
        }
    }
    return {};
}

uint32_t RegistryStore::ReadDWord(std::string_view key, std::string_view name) const {
    Document doc = Load(path_);
    const Section* s = FindSection(doc, KeyName(key));
    if (!s) {
        return 0;
    }
    for (const auto& v : s->values) {
        if (SameName(v.name, name)) {
            return v.kind == Kind::DWord ? v.dword : 0;
        }
    }
    return 0;
}

bool RegistryStore::ValueExists(std::string_view key, std::string_view name) const {
    Document doc = Load(path_);
    Section* s = FindSection(doc, KeyName(key));
    return s && FindValue(*s, name);
}

bool RegistryStore::KeyExists(std::string_view key) const {
    key = KeyName(key);
    Document doc = Load(path_);
    for (const auto& s : doc.sections) {
        if (SameName(s.name, key) || IsBelow(s.name, key)) {
            return true;
        }
    }
    return false;
}

std::vector<std::string> RegistryStore::SubKeys(std::string_view key) const {
    key = KeyName(key);
    Document doc = Load(path_);
    std::vector<std::string> names;
    for (const auto& s : doc.sections) {
        if (!IsBelow(s.name, key)) {
            continue;
        }
        std::string_view rest = std::string_view(s.name).substr(key.size() + 1);
        std::string child(rest.substr(0, rest.find('\\')));
        bool known = false;
        for (const auto& n : names) {
            known = known || SameName(n, child);
        }
        if (!known) {
            names.push_back(child);
        }
    }
    return names;
}

std::vector<std::string> RegistryStore::ValueNames(std::string_view key) const {
    Document doc = Load(path_);
    std::vector<std::string> names;
    if (const Section* s = FindSection(doc, KeyName(key))) {
        for (const auto& v : s->values) {
            names.push_back(v.name);
        }
    }
    return names;
}

bool RegistryStore::WriteString(std::string_view key, std::string_view name,
                                std::string_view text) const {
    key = KeyName(key);
    if (key.empty()) {
        return false;
    }
    return Update(path_, [&](Document& doc) {
        Section* s = FindSection(doc, key);
        if (!s) {
            doc.sections.push_back(Section{std::string(key), {}});
            s = &doc.sections.back();
        }
        SetValue(*s, Value{std::string(name), Kind::String, CutAtNul(text), 0});
        return true;
    });
}

bool RegistryStore::WriteDWord(std::string_view key, std::string_view name, uint32_t value) const {
    key = KeyName(key);
    if (key.empty()) {
        return false;
    }
    return Update(path_, [&](Document& doc) {
        Section* s = FindSection(doc, key);
        if (!s) {
            doc.sections.push_back(Section{std::string(key), {}});
            s = &doc.sections.back();
        }
        SetValue(*s, Value{std::string(name), Kind::DWord, {}, value});
        return true;
    });
}

bool RegistryStore::DeleteValue(std::string_view key, std::string_view name) const {
    key = KeyName(key);
    return Update(path_, [&](Document& doc) {
        Section* s = FindSection(doc, key);
        if (!s) {
            return false;
        }
        auto before = s->values.size();
        std::erase_if(s->values, [&](const Value& v) { return SameName(v.name, name); });
        return s->values.size() != before;
    });
}

bool RegistryStore::DeleteKey(std::string_view key) const {
    key = KeyName(key);
    if (key.empty()) {
        return false;
    }
    return Update(path_, [&](Document& doc) {
        auto before = doc.sections.size();
        std::erase_if(doc.sections, [&](const Section& s) {
            return SameName(s.name, key) || IsBelow(s.name, key);
        });
        return doc.sections.size() != before;
    });
}

} // namespace platform
