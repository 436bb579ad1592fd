#include "backup/bar.h"

#include "backup/place.h"
#include "backup/restore.h"
#include "platform/clock.h"
#include "startup/run_log.h"
#include "util/paths.h"
#include "util/strings.h"

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <exception>
#include <filesystem>
#include <limits>
#include <system_error>

namespace fs = std::filesystem;

namespace backup {

namespace {

// An I/O failure with the number and text the add operation reports.
class IoError : public std::exception {
public:
    IoError(int number, std::string text) : number_(number), text_(std::move(text)) {}
    int number() const { return number_; }
    const char* what() const noexcept override { return text_.c_str(); }

private:
    int number_;
    std::string text_;
};

[[noreturn]] void ThrowErrno(int fallback) {
    int e = errno != 0 ? errno : fallback;
    throw IoError(e, std::strerror(e));
}

// Streams are unbuffered: every transfer is a whole header or a whole block,
// which is its own buffer, so a stream buffer would only split each block
// into more calls and copy it once more.
startup::FileHandle OpenUnbuffered(const std::string& path, const char* mode) {
    startup::FileHandle f(std::fopen(path.c_str(), mode));
    if (f) {
        std::setvbuf(f.get(), nullptr, _IONBF, 0);
    }
    return f;
}

startup::FileHandle OpenOrThrow(const std::string& path, const char* mode) {
    errno = 0;
    startup::FileHandle f = OpenUnbuffered(path, mode);
    if (!f) {
        ThrowErrno(ENOENT);
    }
    return f;
}

int64_t FileLength(std::FILE* f) {
    if (std::fseek(f, 0, SEEK_END) != 0) {
        ThrowErrno(EIO);
    }
    long end = std::ftell(f);
    if (end < 0) {
        ThrowErrno(EIO);
    }
    return end;
}

void SeekTo(std::FILE* f, int64_t offset) {
    errno = 0;
    if (offset < 0 || offset > std::numeric_limits<long>::max() ||
        std::fseek(f, static_cast<long>(offset), SEEK_SET) != 0) {
        ThrowErrno(EINVAL);
    }
}

void ReadExactly(std::FILE* f, char* into, size_t count) {
    errno = 0;
    if (std::fread(into, 1, count, f) != count) {
        if (!std::ferror(f)) {
            throw IoError(EIO, "the file ends early");
        }
        ThrowErrno(EIO);
    }
}

void WriteExactly(std::FILE* f, const char* from, size_t count) {
    errno = 0;
    if (std::fwrite(from, 1, count, f) != count) {
        ThrowErrno(EIO);
    }
}

// Closes explicitly so that a failure to flush the last block is an error of
// the operation and not lost in a destructor.
void CloseOrThrow(startup::FileHandle& f) {
    errno = 0;
    int rc = std::fclose(f.release());
    if (rc != 0) {
        ThrowErrno(EIO);
    }
}

// Copies `length` bytes from the current position of `from` to the current
// position of `to`, one block at a time.
void CopyBlocks(std::FILE* from, std::FILE* to, int64_t length, std::vector<char>& block) {
    int64_t left = length;
    while (left > 0) {
        size_t now = static_cast<size_t>(left < BlockSize ? left : BlockSize);
        ReadExactly(from, block.data(), now);
        WriteExactly(to, block.data(), now);
        left -= static_cast<int64_t>(now);
    }
}

void PutInt16(char* at, int16_t v) {
    auto u = static_cast<uint16_t>(v);
    at[0] = static_cast<char>(u & 0xFF);
    at[1] = static_cast<char>(u >> 8);
}

void PutInt32(char* at, int32_t v) {
    auto u = static_cast<uint32_t>(v);
    for (int i = 0; i < 4; ++i) {
        at[i] = static_cast<char>((u >> (8 * i)) & 0xFF);
    }
}

int16_t GetInt16(const char* at) {
    auto u = static_cast<uint16_t>(static_cast<uint8_t>(at[0]) |
                                   (static_cast<uint16_t>(static_cast<uint8_t>(at[1])) << 8));
    return static_cast<int16_t>(u);
}

int32_t GetInt32(const char* at) {
    uint32_t u = 0;
    for (int i = 0; i < 4; ++i) {
        u |= static_cast<uint32_t>(static_cast<uint8_t>(at[i])) << (8 * i);
    }
    return static_cast<int32_t>(u);
}

// A fixed-length text field: NULs for a field never set (empty), else the text
// blank-padded or cut to its width.
void PutText(char* at, size_t width, const std::string& text) {
    if (text.empty()) {
        std::memset(at, 0, width);
        return;
    }
    size_t n = text.size() < width ? text.size() : width;
    std::memcpy(at, text.data(), n);
    std::memset(at + n, ' ', width - n);
}

platform::LocalDateTime ModifiedTime(const std::string& path) {
    auto ft = fs::last_write_time(path);
    auto sys = std::chrono::file_clock::to_sys(ft);
    std::time_t t = std::chrono::system_clock::to_time_t(
        std::chrono::time_point_cast<std::chrono::system_clock::duration>(sys));
    std::tm tm{};
    if (const std::tm* local = std::localtime(&t)) {
        tm = *local;
    }
    return {tm.tm_year + 1900, tm.tm_mon + 1, tm.tm_mday, tm.tm_hour, tm.tm_min, tm.tm_sec};
}

std::string Pad2(int n) {
    return n < 10 ? "0" + std::to_string(n) : std::to_string(n);
}

} // namespace

EntryBytes EncodeEntry(const ArchiveEntry& entry) {
    EntryBytes b{};
    PutText(b.data(), NameWidth, entry.FileName);
    PutInt16(b.data() + 260, entry.FileType);
    PutInt16(b.data() + 262, entry.Kind);
    PutInt32(b.data() + 264, entry.FileLength);
    PutInt32(b.data() + 268, entry.StartPos);
    PutText(b.data() + 272, DateWidth, entry.FileDate);
    PutInt16(b.data() + 302, entry.Reserved);
    PutInt16(b.data() + 304, entry.Selected);
    PutText(b.data() + 306, SpareWidth, entry.Spare);
    return b;
}

ArchiveEntry DecodeEntry(const EntryBytes& bytes) {
    const char* b = bytes.data();
    ArchiveEntry e;
    e.FileName.assign(b, NameWidth);
    e.FileType = GetInt16(b + 260);
    e.Kind = GetInt16(b + 262);
    e.FileLength = GetInt32(b + 264);
    e.StartPos = GetInt32(b + 268);
    e.FileDate.assign(b + 272, DateWidth);
    e.Reserved = GetInt16(b + 302);
    e.Selected = GetInt16(b + 304);
    e.Spare.assign(b + 306, SpareWidth);
    return e;
}

std::string_view FileTypeName(int16_t fileType) {
    switch (fileType) {
    case TypeDatabase:
        return "Ketrova Database";
    case TypeAutoFill:
        return "AutoFill Document";
    case TypeRelated:
        return "Related File";
    case TypeOther:
        return "Other File";
    default:
        return "Unknown";
    }
}

std::string GeneralDateText(const platform::LocalDateTime& t) {
    std::string text =
        std::to_string(t.month) + "/" + std::to_string(t.day) + "/" + std::to_string(t.year);
    if (t.hour == 0 && t.minute == 0 && t.second == 0) {
        return text;
    }
    int hour12 = t.hour % 12 == 0 ? 12 : t.hour % 12;
    return text + " " + std::to_string(hour12) + ":" + Pad2(t.minute) + ":" + Pad2(t.second) +
           (t.hour < 12 ? " AM" : " PM");
}

bool BaR_AddFile(const std::string& archive, const std::string& source, int16_t fileType,
                 std::string& message) {
    if (!util::FileExists(source)) {
        message = "File not found";
        return false;
    }
    // Appending to a file that is no archive would spoil it for its owner,
    // and an archive read while it grows would hold itself without end.
    std::error_code same;
    std::string problem = fs::equivalent(archive, source, same) && !same
                              ? "an archive cannot be added to itself: " + archive
                              : "";
    if (problem.empty() && util::FileExists(archive)) {
        const ArchiveCheck check = CheckArchive(archive);
        problem = check.problem.empty() ? "" : archive + " " + check.problem;
    }
    if (!problem.empty()) {
        message = "Error " + std::to_string(EINVAL) + ", " + problem + "; nothing was added";
        return false;
    }
    int64_t archiveLength = -1;
    try {
        ArchiveEntry entry;
        // The name must lead back to the file from anywhere, so a relative
        // source is stored as the full path it stands for.
        entry.FileName = fs::absolute(source).lexically_normal().string();
        entry.FileType = fileType;
        entry.Kind = KindAppended;
        entry.FileDate = GeneralDateText(ModifiedTime(source));

        startup::FileHandle src = OpenOrThrow(source, "rb");
        // Appending: every write lands at the end whatever else moves the
        // position, and a missing archive is created.
        startup::FileHandle arc = OpenOrThrow(archive, "ab");
        archiveLength = FileLength(arc.get());
        int64_t length = FileLength(src.get());
        // Lengths and positions are stored as signed 32-bit numbers.
        if (archiveLength + HeaderSize + length > std::numeric_limits<int32_t>::max()) {
            throw IoError(EFBIG, std::strerror(EFBIG));
        }
        entry.FileLength = static_cast<int32_t>(length);
        entry.StartPos = static_cast<int32_t>(archiveLength + HeaderSize + 1);

        EntryBytes header = EncodeEntry(entry);
        WriteExactly(arc.get(), header.data(), header.size());
        SeekTo(src.get(), 0);
        std::vector<char> block(static_cast<size_t>(BlockSize));
        CopyBlocks(src.get(), arc.get(), length, block);
        CloseOrThrow(arc);
        message = "Success";
        return true;
    } catch (const IoError& e) {
        message = "Error " + std::to_string(e.number()) + ", " + e.what();
    } catch (const fs::filesystem_error& e) {
        message = "Error " + std::to_string(e.code().value()) + ", " + e.code().message();
    } catch (const std::exception& e) {
        message = "Error " + std::to_string(EIO) + ", " + e.what();
    }
    // A half-written entry would be listed as damaged forever; the archive
    // goes back to what it was before this call.
    if (archiveLength >= 0) {
        std::error_code ec;
        fs::resize_file(archive, static_cast<uintmax_t>(archiveLength), ec);
    }
    return false;
}

ArchiveCheck CheckArchive(const std::string& archive) {
    ArchiveCheck check;
    std::string why;
    bool badHeader = false;
    try {
        startup::FileHandle arc = OpenOrThrow(archive, "rb");
        const int64_t size = FileLength(arc.get());
        EntryBytes bytes{};
        for (int64_t at = 0; at < size;) {
            const std::string which = "entry " + std::to_string(check.soundEntries + 1);
            if (at + HeaderSize > size) {
                why = "the header of " + which + " is cut short";
                badHeader = true;
                break;
            }
            SeekTo(arc.get(), at);
            ReadExactly(arc.get(), bytes.data(), bytes.size());
            const ArchiveEntry e = DecodeEntry(bytes);
            if (e.StartPos != at + HeaderSize + 1 || e.FileLength < 0) {
                why = "the 500 bytes at position " + std::to_string(at + 1) +
                      " are no entry's header";
                badHeader = true;
                break;
            }
            if (at + HeaderSize + e.FileLength > size) {
                why = "the data of " + which + " is cut short";
                break;
            }
            at += HeaderSize + e.FileLength;
            ++check.soundEntries;
        }
    } catch (const std::exception& e) {
        check.isArchive = false;
        check.problem = std::string("cannot be read (") + e.what() + ")";
        return check;
    }
    check.isArchive = !(badHeader && check.soundEntries == 0);
    if (why.empty()) {
        return check;
    }
    check.problem =
        !check.isArchive ? "is no backup archive of the suite (" + why + ")"
        : check.soundEntries == 0
            ? "is damaged (" + why + ")"
            : "is damaged after entry " + std::to_string(check.soundEntries) + " (" + why + ")";
    return check;
}

int16_t BaR_ReadDirectory(const std::string& archive, std::vector<ArchiveEntry>& entries) {
    entries.clear();
    if (!util::FileExists(archive)) {
        return 0;
    }
    try {
        startup::FileHandle arc = OpenOrThrow(archive, "rb");
        const int64_t size = FileLength(arc.get());
        int64_t p = 1;
        EntryBytes bytes{};
        while (p < size && entries.size() < static_cast<size_t>(INT16_MAX)) {
            if (p - 1 + HeaderSize > size) {
                break; // a truncated archive ends at the last whole header
            }
            SeekTo(arc.get(), p - 1);
            ReadExactly(arc.get(), bytes.data(), bytes.size());
            ArchiveEntry entry = DecodeEntry(bytes);
            if (entry.FileLength < 0) {
                break; // would walk backwards or stand still
            }
            p += HeaderSize + static_cast<int64_t>(entry.FileLength);
            // An entry running past the end stays listed (its restore fails
            // short); the walk ends with it since p is now past the end.
            entries.push_back(std::move(entry));
        }
        return static_cast<int16_t>(entries.size());
    } catch (const std::exception&) {
        entries.clear();
        return 0;
    }
}

namespace {

void LogRestoreBlock(startup::RunSettings& settings, const std::string& archive,
                     const std::string& target, int32_t start, int32_t length) {
    startup::Log(settings, "--- BaR_Restore_File ------------------------------");
    startup::Log(settings, "{ } Restoring from        : " + archive);
    startup::Log(settings, "{ } Restoring file        : " + target);
    startup::Log(settings, "{ } Start position        : " + std::to_string(start));
    startup::Log(settings, "{ } File length           : " + std::to_string(length));
    startup::Log(settings, "{ } 100k chunks           : " + std::to_string(length / BlockSize));
    startup::Log(settings, "{ } Remainder             : " + std::to_string(length % BlockSize));
}

// Copies the stored bytes into `into`, in place from its first byte and
// without truncating it; a file this call had to make and could not fill is
// removed again. The error names `target`, the file the user asked for.
bool CopyOut(const std::string& archive, const std::string& target, const std::string& into,
             int32_t start, int32_t length, std::string& error) {
    bool created = false;
    try {
        if (start < 1 || length < 0 || into.empty()) {
            throw IoError(EINVAL, "the entry's start or length is not possible");
        }
        startup::FileHandle arc = OpenOrThrow(archive, "rb");
        errno = 0;
        startup::FileHandle out = OpenUnbuffered(into, "r+b");
        if (!out) {
            out = OpenOrThrow(into, "wb");
            created = true;
        }
        SeekTo(arc.get(), static_cast<int64_t>(start) - 1);
        std::vector<char> block(static_cast<size_t>(length < BlockSize ? length : BlockSize));
        CopyBlocks(arc.get(), out.get(), length, block);
        CloseOrThrow(out);
        return true;
    } catch (const std::exception& e) {
        error = std::string(e.what()) + " while restoring " + target + " from " + archive;
        if (created) {
            std::error_code ec;
            fs::remove(into, ec);
        }
        return false;
    }
}

} // namespace

bool BaR_Restore_File(startup::RunSettings& settings, const std::string& archive,
                      const std::string& target, int32_t start, int32_t length) {
    const std::string targetName = util::Trim(target);
    std::string error;
    return RestoreFileInto(settings, archive, targetName, targetName, start, length, error);
}

bool RestoreFileInto(startup::RunSettings& settings, const std::string& archive,
                     const std::string& target, const std::string& into, int32_t start,
                     int32_t length, std::string& error) {
    const std::string arcName = util::Trim(archive);
    const std::string targetName = util::Trim(target);
    LogRestoreBlock(settings, arcName, targetName, start, length);
    return CopyOut(arcName, targetName, into, start, length, error);
}

bool BaR_RestoreAll(startup::RunSettings& settings, const std::string& archive,
                    const platform::Clock& clock) {
    std::vector<ArchiveEntry> entries;
    BaR_ReadDirectory(archive, entries);
    bool allRestored = true;
    for (const ArchiveEntry& entry : entries) {
        if (entry.FileType != TypeDatabase) {
            continue;
        }
        std::optional<std::string> target = RestoreTargetName(entry.FileName, "");
        Placed placed;
        if (!target || IsTheArchive(*target, archive) ||
            !PlaceRestoredFile(settings, archive, *target, entry.StartPos, entry.FileLength, clock,
                               placed)) {
            startup::Log(settings, "{*} Restore failed for    : " +
                                       target.value_or(util::Trim(entry.FileName)));
            if (!placed.error.empty()) {
                startup::Log(settings, "{*} " + placed.error);
            }
            allRestored = false;
        } else if (!placed.kept.path.empty()) {
            startup::Log(settings, "{ } " + safety::SafetyCopyLine(placed.kept));
        }
    }
    return allRestored;
}

BackupSettings ReadBackupSettings(const startup::RunSettings& settings) {
    BackupSettings out;
    out.BackupFolder = settings.AppPath + "Backup";
    try {
        const std::string path = settings.DBPath + "BaR.cfg";
        if (!util::FileExists(path)) {
            return out;
        }
        startup::FileHandle f = OpenOrThrow(path, "rb");
        // The record is packed: no field is aligned. Each field is taken only
        // when the file holds all of its bytes; a short file keeps the rest
        // at their defaults.
        constexpr size_t recordSize = BackupFolderWidth + 4 * 4 + 2 + LastBackupWidth;
        char record[recordSize] = {};
        size_t got = std::fread(record, 1, recordSize, f.get());
        size_t at = 0;
        auto has = [&](size_t width) { return at + width <= got; };
        if (!has(BackupFolderWidth)) {
            return out;
        }
        out.BackupFolder.assign(record, BackupFolderWidth);
        at += BackupFolderWidth;
        for (int32_t* field :
             {&out.KeepInterval, &out.KeepPeriods, &out.BackupInterval, &out.BackupPeriods}) {
            if (!has(4)) {
                return out;
            }
            *field = GetInt32(record + at);
            at += 4;
        }
        if (!has(2)) {
            return out;
        }
        out.AllFiles = GetInt16(record + at) != 0;
        at += 2;
        if (has(LastBackupWidth)) {
            out.LastBackup.assign(record + at, LastBackupWidth);
        }
    } catch (const std::exception&) {
        // Unreadable: what was read so far, defaults for the rest.
    }
    return out;
}

std::string GetBackupFolder(const startup::RunSettings& settings) {
    // A writer that fills with NULs instead of blanks must not leave them in a path.
    return util::Trim(util::CutAtNul(ReadBackupSettings(settings).BackupFolder));
}

} // namespace backup
