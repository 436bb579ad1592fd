#pragma once
// Safety copies. Before Ostrand replaces or rewrites a file that holds a
// user's data, it keeps a whole, checked copy of what is there in the folder
// "SafetyCopies" beside that file, named so that a person can tell what it is
// and when it was taken:
//
//     SafetyCopies/Ketrova-2026-11-23-190212-before-upgrade.mdb
//     SafetyCopies/Ketrova-2026-11-23-190212-before-upgrade.Version
//
// A copy is only ever made, listed, or removed here once a newer one exists;
// nothing in this folder is written over.

#include "platform/clock.h"
#include "platform/volume.h"

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace safety {

// How many copies of one database the pruning keeps, newest first.
inline constexpr int kCopiesKept = 5;

inline constexpr const char* kFolderName = "SafetyCopies";

struct SafetyCopy {
    std::string name;        // file name in the safety-copy folder
    std::string path;        // full path
    std::string operation;   // what was about to happen: "upgrade", "restore", ...
    std::string taken;       // when, as "2026-11-23 19:02:12"
    uint64_t size = 0;       // bytes
    std::string versionPath; // the version file kept with it; "" when there was none
};

// The safety-copy folder for a file: "SafetyCopies/" in the file's folder.
std::string SafetyFolderFor(const std::string& file);

// The free-space query; tests replace it to play a full disk.
using SpaceQuery = std::function<platform::VolumeSpace(const std::string&)>;

// Makes a consistent copy of the database `dbFile` with the engine's online
// backup (under its lock, so a writer elsewhere cannot tear it), checks the
// copy, and keeps the "Version" file of the database's folder beside it.
// A file the engine cannot read as a database is copied byte for byte.
// Refuses, changing nothing, when the volume lacks room for the copy; the
// error then names the space needed. False with `error` saying why.
bool MakeSafetyCopy(const std::string& dbFile, std::string_view operation,
                    const platform::Clock& clock, SafetyCopy& made, std::string& error,
                    const SpaceQuery& space = platform::QueryVolume);

// Keeps the current content of a file that is not a database (a restored
// document, say) in the safety-copy folder beside it; the file itself stays
// where it is. A second name for the same file where the file system allows
// it (the caller then replaces the file by renaming, never by writing into
// it), else a copy.
bool KeepAside(const std::string& file, std::string_view operation, const platform::Clock& clock,
               SafetyCopy& kept, std::string& error,
               const SpaceQuery& space = platform::QueryVolume);

// Writes a consistent copy of the database `source` to `destination` (which
// must not exist) with the engine's online backup and forces it to the disk.
// A failed copy leaves no destination. `raw` says the source was no database
// the engine could read and was copied byte for byte.
bool CopyDatabase(const std::string& source, const std::string& destination, std::string& error,
                  bool* raw = nullptr);

// The safety copies of the file `file` (a database or any other kept file),
// newest first.
std::vector<SafetyCopy> ListSafetyCopies(const std::string& file);

// Removes all but the newest `keep` copies of `file`, with their version
// files. Call it only after an operation succeeded.
void PruneSafetyCopies(const std::string& file, int keep = kCopiesKept);

// The text that tells where the copy is, as every front end shows it.
std::string SafetyCopyLine(const SafetyCopy& copy);

} // namespace safety
