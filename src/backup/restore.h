#pragma once
// The restore window's work without the window: where each ticked entry of an
// archive goes, what happens to a file already there, the database link, and
// the texts of the confirmation and summary boxes. The restore window and
// `ostrand-cli archive restore` both run it.
//
// Archives come from anywhere (an old Windows machine, a support mail), so a
// redirected restore only ever writes below the folder the user chose: a
// stored name that climbs out of it is refused and counted as failed.

#include "backup/bar.h"
#include "startup/run_settings.h"
#include "util/services.h"

#include <optional>
#include <string>
#include <vector>

namespace backup {

enum class ExistingFiles { Skip, Rename, Overwrite };

struct RestoreOptions {
    std::string RedirectFolder; // "" restores to the stored (original) location
    ExistingFiles Existing = ExistingFiles::Rename;
    bool LinkDatabase = false; // register a restored Ketrova.mdb's folder under AltDB
};

// Where an entry stored as `storedName` is restored, or nothing when the name
// may not be written. The stored name is trimmed. With a redirect folder the
// result is that folder (with a trailing separator) followed by the stored
// path without its drive ("C:") or leading separators; "\" and "/" both
// separate. Refused: a name with a ".." part, an empty name, a name ending in a
// separator, and in the original location a name that is not a full path of
// this system (a drive-letter name has no original location here).
std::optional<std::string> RestoreTargetName(const std::string& storedName,
                                             const std::string& redirectFolder);

// The first of target + ".restored", target + ".restored.0", ".restored.1", ...
// that names no existing file.
std::string RenamedTarget(const std::string& target);

// Makes room for a restore to `target`: deletes whatever is there (a link
// itself, never what it points to) and, for the suite's database, a leftover
// rollback journal, which the database engine would otherwise play back into
// the restored file. True when nothing is left in the way.
bool ClearRestoreTarget(const std::string& target);

// True when `target` names the archive being read (directly or through a
// link): deleting it first would destroy the data still to be restored.
bool IsTheArchive(const std::string& target, const std::string& archive);

// Number of entries whose selection mark is set.
int CountSelected(const std::vector<ArchiveEntry>& entries);

// The "Restore Initiated" question, with its lines joined by "\n".
std::string RestoreConfirmationText(const std::string& archive,
                                    const std::vector<ArchiveEntry>& entries,
                                    const RestoreOptions& options);

// The "Restore Completed" box, with its lines joined by "\n".
std::string RestoreSummaryText(const std::string& archive, const std::vector<ArchiveEntry>& entries,
                               int attempted, int restored);

// Restores the entries whose selection mark is set, in order, with the run
// log "Ostrand.log" in LogFolder opened fresh for the run and closed after it.
// Returns the number restored. A failed entry is logged and counted out; it
// never stops the run.
int RestoreSelected(startup::RunSettings& settings, const std::string& archive,
                    const std::vector<ArchiveEntry>& entries, const RestoreOptions& options,
                    util::UiServices& ui);

struct RestoreCounts {
    bool ran = false; // false when a box stopped the command before any restore
    int found = 0;
    int attempted = 0;
    int restored = 0;
};

// The whole restore command as the window's Restore button runs it: the
// "Select Archive" and "No Files" boxes, the confirmation (No stops), the busy
// pointer around the restore, and the summary box.
RestoreCounts RunRestoreCommand(startup::RunSettings& settings, const std::string& archive,
                                const std::vector<ArchiveEntry>& entries,
                                const RestoreOptions& options, util::UiServices& ui);

} // namespace backup
