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
#include "platform/clock.h"
#include "safety/safety_copy.h"
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

// What a name holds before a restore writes to it.
enum class NameState {
    Free,     // nothing
    Taken,    // a file, a folder or a link (a dangling one too: writing through
              // it would write wherever it points)
    Unusable, // a name the file system cannot hold (too long) or will not show
};

// Looks at the name itself, never through a link; `why` says what made it unusable.
NameState LookAtName(const std::string& path, std::string* why = nullptr);

// The first of target + ".restored", target + ".restored.0", ".restored.1", ...
// that names nothing, among the first kRenameTries. Nothing when they are all
// taken or the file system cannot hold the names; `why` then says which.
inline constexpr int kRenameTries = 100;
std::optional<std::string> RenamedTarget(const std::string& target, std::string* why = nullptr);

// True when `target` names the archive being read (directly or through a
// link): deleting it first would destroy the data still to be restored.
bool IsTheArchive(const std::string& target, const std::string& archive);

// Number of entries whose selection mark is set.
int CountSelected(const std::vector<ArchiveEntry>& entries);

// The "Restore Initiated" question, with its lines joined by "\n".
std::string RestoreConfirmationText(const std::string& archive,
                                    const std::vector<ArchiveEntry>& entries,
                                    const RestoreOptions& options);

// The "Restore Completed" box, with its lines joined by "\n"; `notes` go
// in as lines of their own before its closing line.
std::string RestoreSummaryText(const std::string& archive, const std::vector<ArchiveEntry>& entries,
                               int attempted, int restored,
                               const std::vector<std::string>& notes = {});

// Restores the entries whose selection mark is set, in order, with the run
// log opened fresh for the run and closed after it. Returns the number
// restored. A failed entry is logged, with why, and counted out; it never
// stops the run. An existing file is never deleted: the restored one takes
// its name by a rename, and in overwrite mode what was there is kept in the
// safety-copy folder beside it first (`safetyCopies` receives them);
// a database is replaced only under the operation lock and when no other
// program holds it open.
int RestoreSelected(startup::RunSettings& settings, const std::string& archive,
                    const std::vector<ArchiveEntry>& entries, const RestoreOptions& options,
                    util::UiServices& ui, const platform::Clock& clock,
                    std::vector<safety::SafetyCopy>* safetyCopies = nullptr);

struct RestoreCounts {
    bool ran = false; // false when a box stopped the command before any restore
    int found = 0;
    int attempted = 0;
    int restored = 0;
    std::vector<safety::SafetyCopy> safetyCopies; // what was overwritten, kept
    std::string cause;                            // the run log's last error when any entry failed
};

// What the summary box adds to its texts: a "Safety copy: PATH" line per
// kept file, and the cause of a failure.
std::vector<std::string> SummaryNotes(const RestoreCounts& counts);

// The whole restore command as the window's Restore button runs it: the
// "Select Archive" and "No Files" boxes, the confirmation (No stops), the busy
// pointer around the restore, and the summary box.
RestoreCounts RunRestoreCommand(startup::RunSettings& settings, const std::string& archive,
                                const std::vector<ArchiveEntry>& entries,
                                const RestoreOptions& options, util::UiServices& ui,
                                const platform::Clock& clock);

} // namespace backup
