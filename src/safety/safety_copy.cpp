#include "safety/safety_copy.h"

#include "platform/disk.h"
#include "util/format.h"
#include "util/paths.h"

#include <sqlite3.h>

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <system_error>

namespace safety {

namespace {

namespace fs = std::filesystem;

// "2026-11-23-190212": sorts as text in time order.
constexpr size_t kStampLength = 17;
constexpr std::string_view kBefore = "-before-";
// Room the copy must leave on the volume, so that the operation it guards
// (and the suite) can still write its log and journal.
constexpr uint64_t kHeadroom = 1024 * 1024;
// How long a copy waits for another program's write to finish.
constexpr int kBusyWaitMs = 5000;

struct Closer {
    void operator()(sqlite3* db) const { sqlite3_close_v2(db); }
};
using Handle = std::unique_ptr<sqlite3, Closer>;

Handle OpenFile(const std::string& path, int flags, std::string& error) {
    sqlite3* raw = nullptr;
    const int rc = sqlite3_open_v2(path.c_str(), &raw, flags, nullptr);
    Handle db(raw);
    if (rc != SQLITE_OK) {
        error = (raw ? sqlite3_errmsg(raw) : sqlite3_errstr(rc)) + std::string(": ") + path;
        return nullptr;
    }
    sqlite3_busy_timeout(db.get(), kBusyWaitMs);
    return db;
}

std::string Pad2(int n) {
    return (n < 10 ? "0" : "") + std::to_string(n);
}

std::string Stamp(const platform::LocalDateTime& t) {
    return std::to_string(t.year) + "-" + Pad2(t.month) + "-" + Pad2(t.day) + "-" + Pad2(t.hour) +
           Pad2(t.minute) + Pad2(t.second);
}

// The file name split at its last dot: "Ketrova.mdb" gives "Ketrova" and ".mdb".
std::pair<std::string, std::string> StemAndExtension(const std::string& file) {
    const std::string name = util::FileNamePart(file);
    const size_t dot = name.find_last_of('.');
    if (dot == std::string::npos || dot == 0) {
        return {name, ""};
    }
    return {name.substr(0, dot), name.substr(dot)};
}

bool IsStamp(std::string_view s) {
    static constexpr std::string_view shape = "0000-00-00-000000";
    if (s.size() != shape.size()) {
        return false;
    }
    for (size_t i = 0; i < s.size(); ++i) {
        const bool digit = std::isdigit(static_cast<unsigned char>(s[i])) != 0;
        if ((shape[i] == '0') != digit || (!digit && s[i] != '-')) {
            return false;
        }
    }
    return true;
}

struct Parsed {
    std::string operation;
    std::string stamp;
    int sequence = 0; // copies taken in the same second are numbered from 2
};

// Reads back a name made by NewName; false for anything else in the folder.
bool ParseName(const std::string& name, const std::string& stem, const std::string& ext,
               Parsed& out) {
    const std::string head = stem + "-";
    if (name.size() <= head.size() + kStampLength + kBefore.size() + ext.size() ||
        name.compare(0, head.size(), head) != 0 ||
        name.compare(name.size() - ext.size(), ext.size(), ext) != 0) {
        return false;
    }
    const std::string_view rest(name.data() + head.size(), name.size() - head.size() - ext.size());
    if (!IsStamp(rest.substr(0, kStampLength)) ||
        rest.substr(kStampLength, kBefore.size()) != kBefore) {
        return false;
    }
    std::string op(rest.substr(kStampLength + kBefore.size()));
    const size_t dash = op.find_last_of('-');
    if (dash != std::string::npos && dash + 1 < op.size() &&
        std::all_of(op.begin() + static_cast<long>(dash) + 1, op.end(),
                    [](unsigned char c) { return std::isdigit(c) != 0; })) {
        out.sequence = std::stoi(op.substr(dash + 1));
        op.resize(dash);
    }
    if (op.empty()) {
        return false;
    }
    out.operation = op;
    out.stamp = std::string(rest.substr(0, kStampLength));
    return true;
}

// A name not yet taken in the folder. Copies taken within one second are
// numbered from 2, whatever their operation, so that they still list in the
// order they were made.
std::string NewName(const std::string& folder, const std::string& file, std::string_view operation,
                    const platform::Clock& clock) {
    const auto [stem, ext] = StemAndExtension(file);
    const std::string stamp = Stamp(clock.Now());
    int last = 0;
    std::error_code ec;
    for (const auto& entry : fs::directory_iterator(folder, ec)) {
        std::string name = entry.path().filename().string();
        for (const std::string_view tail :
             {std::string_view(".partial"), std::string_view(".Version")}) {
            if (name.size() > tail.size() && name.ends_with(tail)) {
                name.resize(name.size() - tail.size());
                if (tail == ".Version") {
                    name += ext;
                }
            }
        }
        Parsed parsed;
        if (ParseName(name, stem, ext, parsed) && parsed.stamp == stamp) {
            last = std::max(last, std::max(parsed.sequence, 1));
        }
    }
    const std::string base = stem + "-" + stamp + std::string(kBefore) + std::string(operation);
    return base + (last == 0 ? "" : "-" + std::to_string(last + 1)) + ext;
}

std::string VersionNameOf(const std::string& copyName, const std::string& ext) {
    return copyName.substr(0, copyName.size() - ext.size()) + ".Version";
}

bool PrepareFolder(const std::string& folder, uint64_t needed, const SpaceQuery& space,
                   std::string& error) {
    std::error_code ec;
    fs::create_directories(folder, ec);
    if (ec) {
        error = "The safety-copy folder " + folder + " cannot be made: " + ec.message();
        return false;
    }
    const platform::VolumeSpace volume = space(folder);
    if (volume.ok && volume.freeBytes < needed + kHeadroom) {
        error = "There is not enough free space for a safety copy in " + folder + ": " +
                util::Format(static_cast<double>(needed + kHeadroom), "#,###") +
                " bytes are needed and " +
                util::Format(static_cast<double>(volume.freeBytes), "#,###") + " are free.";
        return false;
    }
    return true;
}

uint64_t SizeOf(const std::string& path) {
    std::error_code ec;
    const uintmax_t n = fs::file_size(path, ec);
    return ec ? 0 : static_cast<uint64_t>(n);
}

// What a copy's name and file tell of it; false for a name not made here.
bool Describe(const std::string& folder, const std::string& name, const std::string& stem,
              const std::string& ext, SafetyCopy& copy, Parsed* parsedOut = nullptr) {
    Parsed parsed;
    if (!ParseName(name, stem, ext, parsed)) {
        return false;
    }
    const std::string& st = parsed.stamp;
    copy = SafetyCopy{name,
                      folder + name,
                      parsed.operation,
                      st.substr(0, 10) + " " + st.substr(11, 2) + ":" + st.substr(13, 2) + ":" +
                          st.substr(15, 2),
                      SizeOf(folder + name),
                      ""};
    const std::string version = folder + VersionNameOf(name, ext);
    if (!ext.empty() && util::FileExists(version)) {
        copy.versionPath = version;
    }
    if (parsedOut) {
        *parsedOut = parsed;
    }
    return true;
}

// Checks a copy the engine made; what it cannot vouch for is not kept.
bool CheckCopy(const std::string& copy, std::string& error) {
    Handle db = OpenFile(copy, SQLITE_OPEN_READONLY, error);
    if (!db) {
        return false;
    }
    sqlite3_stmt* stmt = nullptr;
    std::string verdict = "no answer";
    if (sqlite3_prepare_v2(db.get(), "PRAGMA quick_check", -1, &stmt, nullptr) == SQLITE_OK &&
        sqlite3_step(stmt) == SQLITE_ROW) {
        const auto* text = sqlite3_column_text(stmt, 0);
        verdict = text ? reinterpret_cast<const char*>(text) : "";
    }
    sqlite3_finalize(stmt);
    if (verdict != "ok") {
        error = "the copy failed its check (" + verdict + "): " + copy;
        return false;
    }
    return true;
}

bool Discard(const std::string& partial) {
    std::error_code ec;
    fs::remove(partial, ec); // a half-made copy of ours, never the user's file
    return false;
}

// A byte copy taken while holding the engine's read lock on the source, so
// that no writer can change it half way; for files the online backup cannot
// vouch for (damaged, or no database at all).
bool CopyUnderReadLock(sqlite3* source, const std::string& sourcePath,
                       const std::string& destination, std::string& error) {
    const bool locked =
        source && sqlite3_exec(source, "BEGIN", nullptr, nullptr, nullptr) == SQLITE_OK &&
        sqlite3_exec(source, "SELECT 1 FROM sqlite_master LIMIT 1", nullptr, nullptr, nullptr) ==
            SQLITE_OK;
    const bool ok = platform::CopyFileDurably(sourcePath, destination, error);
    if (locked) {
        sqlite3_exec(source, "COMMIT", nullptr, nullptr, nullptr);
    }
    return ok;
}

} // namespace

std::string SafetyFolderFor(const std::string& file) {
    return util::ParentFolder(file) + kFolderName + "/";
}

bool CopyDatabase(const std::string& source, const std::string& destination, std::string& error,
                  bool* raw) {
    if (raw) {
        *raw = false;
    }
    std::error_code ec;
    if (fs::exists(destination, ec)) {
        error = "the copy's name is taken: " + destination;
        return false;
    }
    if (!util::FileExists(source)) {
        error = "no such file: " + source;
        return false;
    }
    // Opened for writing, so that a journal left by an interrupted write is
    // played back before anything is read: the copy is of a whole database.
    Handle from = OpenFile(source, SQLITE_OPEN_READWRITE, error);
    if (!from) {
        return false;
    }
    int rc = SQLITE_OK;
    {
        Handle to = OpenFile(destination, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE, error);
        if (!to) {
            return Discard(destination);
        }
        // The copy is forced to disk as a whole below; until it is renamed
        // into place nothing depends on it.
        sqlite3_exec(to.get(), "PRAGMA journal_mode=OFF; PRAGMA synchronous=OFF", nullptr, nullptr,
                     nullptr);
        sqlite3_backup* backup = sqlite3_backup_init(to.get(), "main", from.get(), "main");
        if (!backup) {
            error = sqlite3_errmsg(to.get()) + std::string(": ") + destination;
            return Discard(destination);
        }
        do {
            rc = sqlite3_backup_step(backup, -1);
        } while (rc == SQLITE_OK || rc == SQLITE_BUSY || rc == SQLITE_LOCKED);
        sqlite3_backup_finish(backup);
        if (rc != SQLITE_DONE && rc != SQLITE_NOTADB && rc != SQLITE_CORRUPT) {
            error = sqlite3_errstr(rc) + std::string(" while copying ") + source;
            to.reset();
            return Discard(destination);
        }
    }
    if (rc == SQLITE_DONE && CheckCopy(destination, error)) {
        return platform::FlushToDisk(destination, error) || Discard(destination);
    }
    // No database the engine can read whole: keep its bytes as they are.
    Discard(destination);
    if (raw) {
        *raw = true;
    }
    return CopyUnderReadLock(from.get(), source, destination, error);
}

bool MakeSafetyCopy(const std::string& dbFile, std::string_view operation,
                    const platform::Clock& clock, SafetyCopy& made, std::string& error,
                    const SpaceQuery& space) {
    const std::string folder = SafetyFolderFor(dbFile);
    const std::string versionFile = util::ParentFolder(dbFile) + "Version";
    const uint64_t needed = SizeOf(dbFile) + SizeOf(dbFile + "-journal") + SizeOf(versionFile);
    if (!PrepareFolder(folder, needed, space, error)) {
        return false;
    }
    const std::string name = NewName(folder, dbFile, operation, clock);
    const std::string path = folder + name;
    if (!CopyDatabase(dbFile, path + ".partial", error) ||
        !platform::ReplaceFile(path + ".partial", path, error)) {
        return Discard(path + ".partial");
    }
    const auto [stem, ext] = StemAndExtension(dbFile);
    if (util::FileExists(versionFile) &&
        !platform::CopyFileDurably(versionFile, folder + VersionNameOf(name, ext), error)) {
        return false;
    }
    return Describe(folder, name, stem, ext, made);
}

bool KeepAside(const std::string& file, std::string_view operation, const platform::Clock& clock,
               SafetyCopy& kept, std::string& error, const SpaceQuery& space) {
    const std::string folder = SafetyFolderFor(file);
    if (!PrepareFolder(folder, 0, space, error)) {
        return false;
    }
    const std::string name = NewName(folder, file, operation, clock);
    const std::string path = folder + name;
    std::string linkError;
    if (!platform::HardLink(file, path, linkError)) {
        if (!PrepareFolder(folder, SizeOf(file), space, error) ||
            !platform::CopyFileDurably(file, path, error)) {
            return false;
        }
    }
    const auto [stem, ext] = StemAndExtension(file);
    return Describe(folder, name, stem, ext, kept);
}

std::vector<SafetyCopy> ListSafetyCopies(const std::string& file) {
    const std::string folder = SafetyFolderFor(file);
    const auto [stem, ext] = StemAndExtension(file);
    std::vector<std::pair<Parsed, SafetyCopy>> found;
    std::error_code ec;
    for (const auto& entry : fs::directory_iterator(folder, ec)) {
        std::error_code ignored;
        if (!entry.is_regular_file(ignored)) {
            continue;
        }
        const std::string name = entry.path().filename().string();
        Parsed parsed;
        SafetyCopy copy;
        if (Describe(folder, name, stem, ext, copy, &parsed)) {
            found.emplace_back(parsed, copy);
        }
    }
    std::sort(found.begin(), found.end(), [](const auto& a, const auto& b) {
        if (a.first.stamp != b.first.stamp) {
            return a.first.stamp > b.first.stamp;
        }
        return a.first.sequence > b.first.sequence;
    });
    std::vector<SafetyCopy> copies;
    for (auto& [parsed, copy] : found) {
        copies.push_back(std::move(copy));
    }
    return copies;
}

void PruneSafetyCopies(const std::string& file, int keep) {
    const std::vector<SafetyCopy> copies = ListSafetyCopies(file);
    for (size_t i = static_cast<size_t>(std::max(keep, 1)); i < copies.size(); ++i) {
        std::error_code ec;
        fs::remove(copies[i].path, ec);
        if (!copies[i].versionPath.empty()) {
            fs::remove(copies[i].versionPath, ec);
        }
    }
}

std::string SafetyCopyLine(const SafetyCopy& copy) {
    return "Safety copy: " + copy.path;
}

} // namespace safety
