#include "backup/restore.h"

#include "backup/place.h"
#include "safety/safety_copy.h"
#include "startup/registry.h"
#include "startup/run_log.h"
#include "util/format.h"
#include "util/paths.h"
#include "util/strings.h"

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <system_error>

namespace fs = std::filesystem;

namespace backup {

namespace {

constexpr std::string_view DatabaseFileName = "ketrova.mdb";

bool IsSeparator(char c) {
    return c == '\\' || c == '/';
}

// The pieces between separators; empty pieces stay, so "a//b" has three.
std::vector<std::string> PathParts(std::string_view path) {
    std::vector<std::string> parts(1);
    for (char c : path) {
        if (IsSeparator(c)) {
            parts.emplace_back();
        } else {
            parts.back().push_back(c);
        }
    }
    return parts;
}

bool HasDrivePrefix(std::string_view name) {
    return name.size() >= 2 && std::isalpha(static_cast<unsigned char>(name[0])) != 0 &&
           name[1] == ':';
}

// True when `target`'s folder, with every link on the way resolved, lies at
// or below the redirect folder resolved the same way.
bool StaysInside(const std::string& target, const std::string& redirectFolder) {
    std::error_code ec;
    fs::path root = fs::weakly_canonical(fs::absolute(redirectFolder), ec);
    if (ec) {
        return false;
    }
    fs::path folder = fs::weakly_canonical(fs::absolute(fs::path(target).parent_path()), ec);
    if (ec) {
        return false;
    }
    // A trailing separator leaves an empty last element that no folder has.
    if (!root.empty() && root.filename().empty()) {
        root = root.parent_path();
    }
    auto r = root.begin();
    auto f = folder.begin();
    for (; r != root.end(); ++r, ++f) {
        if (f == folder.end() || *r != *f) {
            return false;
        }
    }
    return true;
}

std::string Number(size_t n) {
    return std::to_string(n);
}

} // namespace

std::optional<std::string> RestoreTargetName(const std::string& storedName,
                                             const std::string& redirectFolder) {
    // Some writers fill names with NULs rather than blanks.
    const std::string name = util::Trim(util::CutAtNul(storedName));
    if (name.empty() || IsSeparator(name.back())) {
        return std::nullopt;
    }
    for (const std::string& part : PathParts(name)) {
        if (part == "..") {
            return std::nullopt;
        }
    }
    if (redirectFolder.empty()) {
        // The stored place itself: only a full path of this system has one.
        if (name.front() != '/') {
            return std::nullopt;
        }
        return name;
    }
    std::string_view rest = name;
    if (HasDrivePrefix(rest)) {
        rest.remove_prefix(2);
    }
    while (!rest.empty() && IsSeparator(rest.front())) {
        rest.remove_prefix(1);
    }
    if (rest.empty() || HasDrivePrefix(rest)) {
        return std::nullopt;
    }
    std::string relative(rest);
    // Folders written on Windows become folders here.
    std::replace(relative.begin(), relative.end(), '\\', '/');
    return util::AddBackslash(redirectFolder) + relative;
}

NameState LookAtName(const std::string& path, std::string* why) {
    std::error_code ec;
    const fs::file_status st = fs::symlink_status(path, ec);
    if (!ec) {
        return st.type() == fs::file_type::not_found ? NameState::Free : NameState::Taken;
    }
    if (ec == std::errc::no_such_file_or_directory || ec == std::errc::not_a_directory) {
        return NameState::Free;
    }
    // Never "something is there": a name that cannot be looked at cannot be
    // written either, and a search for a free one would never end.
    if (why) {
        *why = ec.message() + ": " + path;
    }
    return NameState::Unusable;
}

std::optional<std::string> RenamedTarget(const std::string& target, std::string* why) {
    std::string candidate = target + ".restored";
    for (int n = 0; n <= kRenameTries; ++n) {
        switch (LookAtName(candidate, why)) {
        case NameState::Free:
            return candidate;
        case NameState::Unusable:
            return std::nullopt;
        case NameState::Taken:
            break;
        }
        candidate = target + ".restored." + std::to_string(n);
    }
    if (why) {
        *why = "No free name for the restored file: " + target + ".restored.0 to .restored." +
               std::to_string(kRenameTries - 1) + " are all taken";
    }
    return std::nullopt;
}

bool IsTheArchive(const std::string& target, const std::string& archive) {
    std::error_code ec;
    return fs::equivalent(util::Trim(target), util::Trim(archive), ec) && !ec;
}

int CountSelected(const std::vector<ArchiveEntry>& entries) {
    return static_cast<int>(std::count_if(entries.begin(), entries.end(),
                                          [](const ArchiveEntry& e) { return e.Selected != 0; }));
}

std::string RestoreConfirmationText(const std::string& archive,
                                    const std::vector<ArchiveEntry>& entries,
                                    const RestoreOptions& options) {
    std::string text = "Starting restore from " + archive + "\n\n";
    text += "Total files in found in archive : " + Number(entries.size()) + "\n";
    text +=
        "Total files attempting to restore : " + std::to_string(CountSelected(entries)) + "\n\n";
    text += options.LinkDatabase
                ? "If database is restored it will be linked as the active database.\n"
                : "If database is restored it will NOT be linked as the active database.\n";
    switch (options.Existing) {
    case ExistingFiles::Skip:
        text += "Existing files will be skipped.\n";
        break;
    case ExistingFiles::Rename:
        text += "Restored files will be renamed if file already exists.\n";
        break;
    case ExistingFiles::Overwrite:
        text += "Existing files will be overwrittten.\n";
        break;
    }
    text += options.RedirectFolder.empty()
                ? std::string("Files will be restored to original location.\n")
                : "Restore will be redirected to " + options.RedirectFolder + "\n";
    text += "\nDo you wish to proceed with this restore?";
    return text;
}

std::string RestoreSummaryText(const std::string& archive, const std::vector<ArchiveEntry>& entries,
                               int attempted, int restored, const std::vector<std::string>& notes) {
    double percent = attempted > 0 ? static_cast<double>(restored) / attempted * 100.0 : 0.0;
    std::string text = "Restore completed from " + archive + "\n\n";
    text += "Files in found in archive : " + Number(entries.size()) + "\n";
    text += "Files attempted for restore : " + std::to_string(attempted) + "\n";
    text += "Files successfully restored : " + std::to_string(restored) + "\n";
    text += "Percent Successful: " + util::Format(percent, "0") + "\n\n";
    for (const std::string& note : notes) {
        text += note + "\n";
    }
    text += notes.empty() ? "" : "\n";
    text += "Press OK to continue.";
    return text;
}

std::vector<std::string> SummaryNotes(const RestoreCounts& counts) {
    std::vector<std::string> notes;
    for (const safety::SafetyCopy& copy : counts.safetyCopies) {
        notes.push_back(safety::SafetyCopyLine(copy));
    }
    if (!counts.cause.empty()) {
        notes.push_back("Cause: " + counts.cause);
    }
    return notes;
}

namespace {

// Logs a failed entry, then why it failed: the last error line of the log
// is what the user is shown as the cause.
bool Failed(startup::RunSettings& settings, const std::string& target, const std::string& why) {
    startup::Log(settings, "{*} Restore failed for    : " + target);
    if (!why.empty()) {
        startup::Log(settings, "{*} " + why);
    }
    return false;
}

// What one run of the restore shares between its entries.
struct Run {
    startup::RunSettings& settings;
    const std::string& archive;
    const RestoreOptions& options;
    util::UiServices& ui;
    const platform::Clock& clock;
    std::vector<safety::SafetyCopy>& safetyCopies;
};

// One ticked entry; true when it was restored (a skipped entry was not).
bool RestoreEntry(Run& run, const ArchiveEntry& entry) {
    startup::RunSettings& settings = run.settings;
    const RestoreOptions& options = run.options;
    std::optional<std::string> named = RestoreTargetName(entry.FileName, options.RedirectFolder);
    if (!named || IsTheArchive(*named, run.archive) ||
        (!options.RedirectFolder.empty() && !StaysInside(*named, options.RedirectFolder))) {
        run.ui.DoEvents();
        return Failed(settings, util::Trim(entry.FileName), "");
    }
    std::string target = *named;
    std::string why;
    switch (LookAtName(target, &why)) {
    case NameState::Unusable:
        run.ui.DoEvents();
        return Failed(settings, target, why);
    case NameState::Free:
        break;
    case NameState::Taken:
        switch (options.Existing) {
        case ExistingFiles::Skip:
            run.ui.DoEvents();
            return false;
        case ExistingFiles::Rename:
            if (std::optional<std::string> renamed = RenamedTarget(target, &why)) {
                target = *renamed;
            } else {
                run.ui.DoEvents();
                return Failed(settings, target, why);
            }
            break;
        case ExistingFiles::Overwrite:
            break;
        }
    }
    run.ui.DoEvents();
    std::error_code ec;
    const fs::path folder = fs::path(target).parent_path();
    if (!folder.empty()) {
        fs::create_directories(folder, ec);
    }
    if (ec) {
        return Failed(settings, target, ec.message() + ": " + folder.string());
    }
    Placed placed;
    if (!PlaceRestoredFile(settings, run.archive, target, entry.StartPos, entry.FileLength,
                           run.clock, placed)) {
        return Failed(settings, target, placed.error);
    }
    startup::Log(settings, "{ } Restore succeeded for : " + target);
    if (!placed.kept.path.empty()) {
        startup::Log(settings, "{ } " + safety::SafetyCopyLine(placed.kept));
        run.safetyCopies.push_back(placed.kept);
        safety::PruneSafetyCopies(target);
    }
    if (options.LinkDatabase && IsDatabaseTarget(target)) {
        // The suite finds its database from any folder, so a redirect folder
        // typed as a relative path must not be registered as one.
        const std::string full = fs::absolute(target).lexically_normal().string();
        startup::RegWriteString(startup::MachineRegistry(settings), startup::DatabasesKey,
                                settings.AltDB,
                                full.substr(0, full.size() - DatabaseFileName.size()));
    }
    return true;
}

} // namespace

int RestoreSelected(startup::RunSettings& settings, const std::string& archive,
                    const std::vector<ArchiveEntry>& entries, const RestoreOptions& options,
                    util::UiServices& ui, const platform::Clock& clock,
                    std::vector<safety::SafetyCopy>* safetyCopies) {
    // A log already open belongs to a caller that closes it itself.
    const bool ownLog = settings.LogFileNo == 0;
    if (ownLog) {
        settings.LogFileNo =
            startup::OpenLogFile(settings.Files, startup::RunLogPath(settings), 1, 0);
    }
    std::vector<safety::SafetyCopy> kept;
    Run run{settings, archive, options, ui, clock, safetyCopies ? *safetyCopies : kept};
    int restored = 0;
    try {
        for (const ArchiveEntry& entry : entries) {
            if (entry.Selected == 0) {
                continue;
            }
            if (RestoreEntry(run, entry)) {
                ++restored;
            }
        }
    } catch (const std::exception& e) {
        startup::Log(settings, std::string("{*} Restore stopped: ") + e.what());
    }
    if (ownLog) {
        startup::CloseFile(settings.Files, settings.LogFileNo);
        settings.LogFileNo = 0;
    }
    return restored;
}

RestoreCounts RunRestoreCommand(startup::RunSettings& settings, const std::string& archive,
                                const std::vector<ArchiveEntry>& entries,
                                const RestoreOptions& options, util::UiServices& ui,
                                const platform::Clock& clock) {
    RestoreCounts counts;
    counts.found = static_cast<int>(entries.size());
    if (archive.empty()) {
        ui.MessageBox("An archive file has not been selected.", util::Buttons::OK,
                      util::Icon::Information, "Select Archive");
        return counts;
    }
    if (entries.empty()) {
        ui.MessageBox("No files found in currently selected archive file.", util::Buttons::OK,
                      util::Icon::Information, "No Files");
        return counts;
    }
    counts.attempted = CountSelected(entries);
    if (counts.attempted == 0) {
        ui.MessageBox("No files were selected for restore.", util::Buttons::OK,
                      util::Icon::Information, "No Files");
        return counts;
    }
    if (ui.MessageBox(RestoreConfirmationText(archive, entries, options), util::Buttons::YesNo,
                      util::Icon::Question, "Restore Initiated") != util::Answer::Yes) {
        return counts;
    }
    ui.SetBusy(true);
    counts.restored =
        RestoreSelected(settings, archive, entries, options, ui, clock, &counts.safetyCopies);
    ui.SetBusy(false);
    counts.ran = true;
    if (counts.restored < counts.attempted) {
        counts.cause = startup::LastErrorLine(startup::RunLogPath(settings));
    }
    ui.MessageBox(RestoreSummaryText(archive, entries, counts.attempted, counts.restored,
                                     SummaryNotes(counts)),
                  util::Buttons::OK, util::Icon::Information, "Restore Completed");
    return counts;
}

} // namespace backup
