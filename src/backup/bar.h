#pragma once
// The suite's backup archives (mShared_BaR): any number of files, each stored
// whole behind a 500-byte header saying where it came from. There is no file
// header, trailer or count, so an archive is read by walking from header to
// header; the suite's own backup program writes these archives on Windows, and
// the upgrade writes and reads its temporary backup with the same operations.
//
// Positions are 1-based as the suite computes them: the first byte of the
// archive is position 1, and a stored file's start position is always its
// header's position plus 500.

#include "platform/clock.h"
#include "startup/run_settings.h"

#include <array>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace backup {

inline constexpr int32_t HeaderSize = 500;
// Files move in blocks of this size, so memory never holds more than one; the
// log's "100k chunks" counts these blocks.
inline constexpr int32_t BlockSize = 100000;

// Widths of the header's text fields, in bytes.
inline constexpr size_t NameWidth = 260;
inline constexpr size_t DateWidth = 30;
inline constexpr size_t SpareWidth = 194;

// File types as the archive records them.
inline constexpr int16_t TypeDatabase = 1;
inline constexpr int16_t TypeAutoFill = 2;
inline constexpr int16_t TypeRelated = 3;
inline constexpr int16_t TypeOther = 4;

// The kind this program writes for every file it appends.
inline constexpr int16_t KindAppended = 2;

// One entry's header, field by field in the order they are stored. Texts keep
// their stored width and bytes (blank padding, and NULs where the writer never
// set the field); callers trim them. An empty text is written as NULs, the way
// a field that was never set looks; any other text is blank-padded or cut.
struct ArchiveEntry {
    std::string FileName; // full path when stored; "\" or "/" separated
    int16_t FileType = 0;
    int16_t Kind = 0;
    int32_t FileLength = 0;
    int32_t StartPos = 0; // 1-based position of the first stored byte
    std::string FileDate; // the source's modification time as text
    int16_t Reserved = 0; // written as 0
    int16_t Selected = 0; // in memory: ticked for restore (non-zero)
    std::string Spare;    // never set
};

using EntryBytes = std::array<char, HeaderSize>;

// The 500 bytes of a header: little-endian integers, texts padded or cut to
// their width.
EntryBytes EncodeEntry(const ArchiveEntry& entry);
// The header held in `bytes` (exactly 500 of them).
ArchiveEntry DecodeEntry(const EntryBytes& bytes);

// "Ketrova Database", "AutoFill Document", "Related File", "Other File", or
// "Unknown" for any other number.
std::string_view FileTypeName(int16_t fileType);

// A date and time in the general date form the suite's archives carry,
// e.g. "7/1/2026 9:05:03 AM"; midnight shows the date alone.
std::string GeneralDateText(const platform::LocalDateTime& t);

// Appends `source` to `archive` (created when missing) behind a header of the
// given type. `message` receives "Success", "File not found" when there is no
// such file, or "Error " with the error's number and description. An
// existing file that is no sound archive (CheckArchive), or the archive
// itself as the source, is refused untouched.
bool BaR_AddFile(const std::string& archive, const std::string& source, int16_t fileType,
                 std::string& message);

// Lists the archive's entries into `entries` (replacing what it held) and
// returns their number: 0 for a missing or empty archive. The walk ends at
// the last whole header, and at a header whose length is negative or runs
// past the end of the archive, so a damaged archive yields what precedes the
// damage and never a loop.
int16_t BaR_ReadDirectory(const std::string& archive, std::vector<ArchiveEntry>& entries);

// What a walk from header to header finds in a file. Sound: every header's
// start position is its own position plus 500, and the last entry's data
// ends at the file's last byte; an empty file is a sound, empty archive.
struct ArchiveCheck {
    bool isArchive = true; // false: not even its first header is an archive's
    int soundEntries = 0;  // whole entries before any damage
    // "" for a sound archive; else the end of a sentence that begins with the
    // file's name: "is no backup archive of the suite (...)", "is damaged
    // after entry 2 (...)", "cannot be read (...)".
    std::string problem;
};
ArchiveCheck CheckArchive(const std::string& archive);

// Copies `length` bytes from archive position `start` into `target`, written
// in place from its first byte without truncating it (callers delete an
// existing target first). Names are trimmed; the block of "{ }" lines goes to
// the run log when one is open. False on any error, including a short read.
bool BaR_Restore_File(startup::RunSettings& settings, const std::string& archive,
                      const std::string& target, int32_t start, int32_t length);

// BaR_Restore_File for a file that is to take `target`'s place: the log block
// names `target` while the bytes go into `into`, a file of the caller's
// beside it. `error` says why it failed.
bool RestoreFileInto(startup::RunSettings& settings, const std::string& archive,
                     const std::string& target, const std::string& into, int32_t start,
                     int32_t length, std::string& error);

// Restores every database-type entry to its stored name. A file of that name
// is never deleted: the restored one takes its place by a rename, and what
// was there is kept in the safety-copy folder beside it (see place.h). The
// others are still restored when one fails; the result is false when any
// failed. The clock names the safety copies.
bool BaR_RestoreAll(startup::RunSettings& settings, const std::string& archive,
                    const platform::Clock& clock = platform::SystemClock());

// The settings record the suite's backup program keeps in "BaR.cfg" in the
// database folder. Only its leading fields are read; the rest belongs to that
// program.
struct BackupSettings {
    std::string BackupFolder; // as stored (255 bytes) or the default
    int32_t KeepInterval = 1;
    int32_t KeepPeriods = 14;
    int32_t BackupInterval = 1;
    int32_t BackupPeriods = 2;
    bool AllFiles = true;
    std::string LastBackup; // 10 bytes as stored, "" when never read
};

inline constexpr size_t BackupFolderWidth = 255;
inline constexpr size_t LastBackupWidth = 10;

// Reads settings.DBPath + "BaR.cfg". Fields the file does not reach (it is
// missing or short) keep their defaults; the folder's default is AppPath +
// "Backup".
BackupSettings ReadBackupSettings(const startup::RunSettings& settings);

// The backup folder from "BaR.cfg" (or its default), without surrounding blanks.
std::string GetBackupFolder(const startup::RunSettings& settings);

} // namespace backup
