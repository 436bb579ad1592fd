#include "safety/replacement.h"

#include "platform/disk.h"
#include "platform/file_lock.h"
#include "startup/locator.h"
#include "util/paths.h"

#include <sqlite3.h>

#include <filesystem>
#include <system_error>

namespace safety {

namespace {

namespace fs = std::filesystem;

// Pages the thorough check may keep in memory, in KiB (the engine's negative
// form): it looks up every index entry in its table, and the default cache
// makes it read many pages more than once.
constexpr const char* kCheckCache = "PRAGMA cache_size = -65536";

// How long a hold waits for another program's write to finish. The user was
// asked to close the suite's programs first: a database still being written
// after this is reported rather than waited for.
constexpr int kHoldWaitMs = 1000;

bool Counts(db::Connection& c, std::map<std::string, int64_t>& counts) {
    std::vector<std::string> tables;
    db::Recordset rs;
    rs.Open(c, "SELECT name FROM sqlite_master WHERE type = 'table'");
    for (; !rs.IsEOF(); rs.MoveNext()) {
        tables.push_back(rs.Field(0).AsText());
    }
    rs.Close();
    counts.clear();
    for (const auto& t : tables) {
        std::string quoted = "\"";
        for (char ch : t) {
            quoted += ch == '"' ? std::string("\"\"") : std::string(1, ch);
        }
        counts[t] = c.Scalar("SELECT count(*) FROM " + quoted + "\"").AsInt();
    }
    return true;
}

std::string FolderOf(const std::string& file) {
    return util::ParentFolder(file);
}

// Whether anything, a dangling link included, has the name.
bool Taken(const std::string& path) {
    std::error_code ec;
    return fs::symlink_status(path, ec).type() != fs::file_type::not_found;
}

// A rollback journal beside the database belongs to the file about to be
// replaced, and the engine would play it back into the new one. It is kept
// in the safety-copy folder, beside the run's copy when there is one: never
// deleted, as it may hold the only trace of a change cut short.
bool MoveJournalAside(const std::string& dbFile, const std::string& safetyCopy,
                      std::string& error) {
    const std::string journal = dbFile + "-journal";
    if (!Taken(journal)) {
        return true;
    }
    const std::string folder = SafetyFolderFor(dbFile);
    std::error_code ec;
    fs::create_directories(folder, ec);
    // Not "-journal": the engine would take it for the copy's own.
    const std::string base =
        (safetyCopy.empty() ? folder + util::FileNamePart(dbFile) : safetyCopy) + ".journal";
    std::string aside = base;
    for (int n = 2; n < 100 && Taken(aside); ++n) {
        aside = base + "." + std::to_string(n);
    }
    if (Taken(aside)) {
        error = "The journal beside " + dbFile + " cannot be kept in " + folder + ".";
        return false;
    }
    return platform::ReplaceFile(journal, aside, error);
}

std::string MarkerError(const std::string& dbFile) {
    return "The marker of this run cannot be written beside " + dbFile + ".";
}

} // namespace

void DiscardWorkingFile(const std::string& path) {
    std::error_code ec;
    fs::remove(path, ec);
    fs::remove(path + "-journal", ec);
}

void EndRun(OperationGuard& guard, const std::string& working) {
    const bool ours = guard.Held() && !working.empty();
    const bool claimed = ours && guard.marker().replacement == working;
    if (ours && !claimed) {
        DiscardWorkingFile(working);
    }
    guard.End();
    if (claimed) {
        DiscardWorkingFile(working);
    }
}

std::string WorkingNameBeside(const std::string& file, std::string_view operation) {
    const std::string stem = file + "." + std::string(operation) + "-" +
                             std::to_string(platform::CurrentProcessId()) + "-";
    for (int n = 1;; ++n) {
        const std::string name = stem + std::to_string(n);
        if (!Taken(name) && !Taken(name + "-journal")) {
            return name;
        }
    }
}

bool DatabaseHold::Begin(const std::string& dbFile, std::string& error) {
    Release();
    try {
        connection_.Open(dbFile);
        connection_.Execute("PRAGMA busy_timeout = " + std::to_string(kHoldWaitMs));
        // The writer's lock: other programs may still read, but one that
        // starts to write is told at once that the database is busy, rather
        // than when its work is done. A write already under way elsewhere
        // makes this fail instead.
        connection_.Execute("BEGIN IMMEDIATE");
        connection_.Scalar("SELECT count(*) FROM sqlite_master");
        return true;
    } catch (const std::exception& e) {
        error = e.what();
        Release();
        return false;
    }
}

void DatabaseHold::Release() noexcept {
    if (connection_.IsOpen()) {
        sqlite3_exec(connection_.handle(), "ROLLBACK", nullptr, nullptr, nullptr);
    }
    connection_.Close();
}

bool DatabaseHold::CopyTo(const std::string& destination, std::string& error) {
    std::error_code ec;
    if (!Held() || fs::exists(destination, ec)) {
        error = "no copy can be made at " + destination;
        return false;
    }
    // The engine copies only from a connection that is not writing: a
    // reader of its own, which the hold lets read and nobody else may change.
    db::Connection from;
    try {
        from.Open(connection_.FileName());
    } catch (const std::exception& e) {
        error = e.what();
        return false;
    }
    sqlite3* to = nullptr;
    int rc = sqlite3_open_v2(destination.c_str(), &to, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE,
                             nullptr);
    if (rc == SQLITE_OK) {
        sqlite3_backup* backup = sqlite3_backup_init(to, "main", from.handle(), "main");
        if (backup) {
            rc = sqlite3_backup_step(backup, -1);
            sqlite3_backup_finish(backup);
        } else {
            rc = sqlite3_errcode(to);
        }
    }
    if (rc != SQLITE_DONE) {
        error = std::string(to ? sqlite3_errmsg(to) : sqlite3_errstr(rc)) + ": " + destination;
    }
    sqlite3_close_v2(to);
    if (rc != SQLITE_DONE) {
        fs::remove(destination, ec); // this call's own half-made copy
        return false;
    }
    return true;
}

bool DatabaseHold::CountRows(std::map<std::string, int64_t>& counts, std::string& error) {
    try {
        return Counts(connection_, counts);
    } catch (const std::exception& e) {
        error = e.what();
        return false;
    }
}

bool CountRows(const std::string& file, std::map<std::string, int64_t>& counts,
               std::string& error) {
    try {
        db::Connection c;
        c.Open(file);
        return Counts(c, counts);
    } catch (const std::exception& e) {
        error = e.what();
        return false;
    }
}

std::string CheckIntegrity(const std::string& file, bool thorough) {
    try {
        db::Connection c;
        c.Open(file);
        if (thorough) {
            c.Execute(kCheckCache); // it looks up every index entry in its table
        }
        std::string found;
        db::Recordset rs;
        rs.Open(c, thorough ? "PRAGMA integrity_check" : "PRAGMA quick_check");
        for (; !rs.IsEOF(); rs.MoveNext()) {
            const std::string line = rs.Field(0).AsText();
            if (line != "ok") {
                found += (found.empty() ? "" : "; ") + line;
            }
        }
        return found;
    } catch (const std::exception& e) {
        return e.what();
    }
}

bool KeepBeforeReplacing(OperationGuard& guard, const std::string& dbFile,
                         std::string_view operation, const platform::Clock& clock, SafetyCopy& kept,
                         std::string& error, DatabaseHold* hold, const SpaceQuery& space) {
    kept = {};
    if (error = DescribeOtherHolders(dbFile); !error.empty()) {
        return false;
    }
    if (!util::FileExists(dbFile)) {
        return true;
    }
    std::string unreadable;
    const bool held = hold && (hold->Held() || hold->Begin(dbFile, unreadable));
    if (!(held ? KeepDatabaseAside(dbFile, operation, clock, kept, error, space)
               : MakeSafetyCopy(dbFile, operation, clock, kept, error, space))) {
        kept = {};
        error = "No safety copy of " + dbFile + " could be made, so it is left as it was: " + error;
        return false;
    }
    // Told to the user, who may be anywhere by the time they look.
    std::error_code ec;
    kept.path = fs::absolute(kept.path, ec).lexically_normal().string();
    if (!guard.SetSafetyCopy(kept.path)) {
        DropCopyStillLinkedTo(kept.path, dbFile);
        if (!util::FileExists(kept.path)) {
            kept = {};
        }
        error = MarkerError(dbFile);
        return false;
    }
    return true;
}

bool ReplaceDatabase(OperationGuard& guard, const std::string& replacement,
                     const std::string& dbFile, const VersionChange& version, bool& replaced,
                     std::string& error) {
    replaced = false;
    if (const std::string holders = DescribeOtherHolders(dbFile); !holders.empty()) {
        error = holders;
        return false;
    }
    const std::string versionFile = FolderOf(dbFile) + "Version";
    std::error_code ec;
    if (version.kind != VersionChange::Kind::Keep && fs::is_directory(versionFile, ec)) {
        error = "A folder is in the way of the version file " + versionFile + ".";
        return false;
    }
    const std::string staged = versionFile + ".replacing";
    const bool staging = version.kind == VersionChange::Kind::Write;
    if (staging && !guard.AddLeftover(staged)) {
        error = MarkerError(dbFile);
        return false;
    }
    if (staging && !startup::WriteVersionFileAt(staged, version.number)) {
        fs::remove(staged, ec);
        error = "The version file " + versionFile + " cannot be written.";
        return false;
    }
    const auto undo = [&] {
        if (staging) {
            fs::remove(staged, ec);
        }
        return false;
    };
    if (!MoveJournalAside(dbFile, guard.marker().safetyCopy, error)) {
        return undo();
    }
    if (!guard.SetReplacement(replacement, version)) {
        error = MarkerError(dbFile);
        return undo();
    }
    if (!platform::ReplaceFile(replacement, dbFile, error)) {
        guard.SetReplacement("", {});
        return undo();
    }
    replaced = true;
    if (staging) {
        if (!platform::ReplaceFile(staged, versionFile, error)) {
            error = "The version file " + versionFile + " cannot be written: " + error;
            return false;
        }
        guard.RemoveLeftover(staged);
        return true;
    }
    return ApplyVersionChange(dbFile, version, error);
}

bool ApplyVersionChange(const std::string& dbFile, const VersionChange& version,
                        std::string& error) {
    const std::string versionFile = FolderOf(dbFile) + "Version";
    switch (version.kind) {
    case VersionChange::Kind::Write:
        if (!startup::WriteVersionFile(FolderOf(dbFile), version.number)) {
            error = "The version file " + versionFile + " cannot be written.";
            return false;
        }
        break;
    case VersionChange::Kind::Remove: {
        std::error_code ec;
        fs::remove(versionFile, ec);
        if (ec || !platform::FlushFolder(FolderOf(dbFile), error)) {
            error = "The version file " + versionFile +
                    " cannot be removed: " + (ec ? ec.message() : error);
            return false;
        }
        break;
    }
    case VersionChange::Kind::Keep:
        break;
    }
    return true;
}

bool InstallCopy(OperationGuard& guard, const std::string& copyPath, const std::string& dbFile,
                 const VersionChange& version, bool& replaced, std::string& error,
                 const SpaceQuery& space) {
    replaced = false;
    const std::string working = dbFile + ".putting-back";
    std::error_code ec;
    if (!EnoughRoom(FolderOf(dbFile), fs::file_size(copyPath, ec), space, error)) {
        return false;
    }
    if (!guard.AddLeftover(working)) {
        error = MarkerError(dbFile);
        return false;
    }
    DiscardWorkingFile(working); // left by an earlier run that was cut off: ours
    bool raw = false;
    if (!CopyDatabase(copyPath, working, error, &raw)) {
        return false;
    }
    const std::string problem = raw ? "it is no database" : CheckIntegrity(working);
    if (!problem.empty()) {
        DiscardWorkingFile(working);
        error = "The copy " + copyPath + " fails the database check (" + problem +
                "); the database was left as it is.";
        return false;
    }
    if (!ReplaceDatabase(guard, working, dbFile, version, replaced, error)) {
        // While the marker still names it, its absence would tell a recovery
        // that the database had been replaced.
        if (!replaced && guard.marker().replacement != working) {
            DiscardWorkingFile(working);
        }
        return false;
    }
    return true;
}

VersionChange VersionOfCopy(const SafetyCopy& copy) {
    if (copy.versionPath.empty()) {
        return {VersionChange::Kind::Remove, 0};
    }
    return {VersionChange::Kind::Write, startup::ReadVersionFile(copy.versionPath)};
}

} // namespace safety
