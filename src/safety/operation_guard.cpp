#include "safety/operation_guard.h"

#include "platform/disk.h"
#include "util/paths.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <system_error>

namespace safety {

namespace {

namespace fs = std::filesystem;

std::string Pad2(int n) {
    return (n < 10 ? "0" : "") + std::to_string(n);
}

std::string Timestamp(const platform::LocalDateTime& t) {
    return std::to_string(t.year) + "-" + Pad2(t.month) + "-" + Pad2(t.day) + " " + Pad2(t.hour) +
           ":" + Pad2(t.minute) + ":" + Pad2(t.second);
}

std::string VersionChangeText(const VersionChange& v) {
    switch (v.kind) {
    case VersionChange::Kind::Write:
        return std::to_string(v.number);
    case VersionChange::Kind::Remove:
        return "none";
    case VersionChange::Kind::Keep:
        break;
    }
    return "keep";
}

VersionChange ParseVersionChange(const std::string& text) {
    if (text == "none") {
        return {VersionChange::Kind::Remove, 0};
    }
    if (!text.empty() && text.find_first_not_of("0123456789") == std::string::npos) {
        return {VersionChange::Kind::Write, static_cast<int16_t>(std::atoi(text.c_str()))};
    }
    return {};
}

std::optional<Marker> ReadMarker(const std::string& dbFile) {
    std::ifstream in(MarkerPathFor(dbFile));
    if (!in) {
        return std::nullopt;
    }
    Marker m;
    m.database = dbFile;
    std::string line;
    while (std::getline(in, line)) {
        const size_t eq = line.find('=');
        if (eq == std::string::npos) {
            continue;
        }
        const std::string key = line.substr(0, eq);
        const std::string value = line.substr(eq + 1);
        if (key == "operation") {
            m.operation = value;
        } else if (key == "pid") {
            m.pid = std::atoi(value.c_str());
        } else if (key == "started") {
            m.started = value;
        } else if (key == "safety-copy") {
            m.safetyCopy = value;
        } else if (key == "database-touched") {
            m.databaseTouched = value == "yes";
        } else if (key == "leftover") {
            m.leftovers.push_back(value);
        } else if (key == "replacement") {
            m.replacement = value;
        } else if (key == "version-after") {
            m.versionAfter = ParseVersionChange(value);
        }
    }
    // A marker cut short by a crash while it was written still says that
    // something ran; what it cannot say is assumed the worst.
    if (m.operation.empty()) {
        m.operation = "operation";
        m.databaseTouched = true;
    }
    return m;
}

std::string Busy(const std::string& dbFile) {
    const std::optional<Marker> m = ReadMarker(dbFile);
    if (!m) {
        return "Another Ostrand is working on " + dbFile + "; wait until it has finished.";
    }
    return "Another Ostrand is working on " + dbFile + ": the " + m->operation + " started on " +
           m->started + " by process " + std::to_string(m->pid) +
           " is still running; wait until it has finished.";
}

} // namespace

std::string LockPathFor(const std::string& dbFile) {
    return util::ParentFolder(dbFile) + "." + util::FileNamePart(dbFile) + ".lock";
}

std::string MarkerPathFor(const std::string& dbFile) {
    return dbFile + ".in-progress";
}

OperationGuard::OperationGuard(std::string dbFile, std::string_view operation,
                               const platform::Clock& clock)
    : dbFile_(std::move(dbFile)) {
    marker_.operation = std::string(operation);
    marker_.pid = platform::CurrentProcessId();
    marker_.started = Timestamp(clock.Now());
    marker_.database = dbFile_;
}

OperationGuard::~OperationGuard() {
    End();
}

bool OperationGuard::Begin(std::string& error) {
    if (!lock_.TryLock(LockPathFor(dbFile_), error)) {
        if (error.empty()) {
            error = Busy(dbFile_);
        } else {
            error = "The database's folder cannot be locked (" + error + ").";
        }
        return false;
    }
    if (const std::optional<Marker> old = ReadMarker(dbFile_)) {
        error = DescribeInterrupted(*old) +
                " Put things right first (ostrand-cli recover, or start Ostrand).";
        lock_.Unlock();
        return false;
    }
    if (!Write()) {
        error = "The marker of this run cannot be written beside " + dbFile_ + ".";
        End();
        return false;
    }
    return true;
}

bool OperationGuard::Adopt(Marker& interrupted, std::string& error) {
    if (!lock_.TryLock(LockPathFor(dbFile_), error)) {
        if (error.empty()) {
            error = Busy(dbFile_);
        }
        return false;
    }
    const std::optional<Marker> old = ReadMarker(dbFile_);
    if (!old) {
        error = "No operation on " + dbFile_ + " was interrupted.";
        lock_.Unlock();
        return false;
    }
    interrupted = *old;
    Marker adopted = *old;
    adopted.operation = marker_.operation;
    adopted.pid = marker_.pid;
    adopted.started = marker_.started;
    marker_ = adopted;
    if (!Write()) {
        error = "The marker of this run cannot be written beside " + dbFile_ + ".";
        lock_.Unlock(); // the interrupted run's marker stays as it was
        return false;
    }
    return true;
}

bool OperationGuard::SetSafetyCopy(const std::string& path) {
    marker_.safetyCopy = path;
    return Write();
}

bool OperationGuard::SetDatabaseTouched(bool touched) {
    marker_.databaseTouched = touched;
    return Write();
}

bool OperationGuard::AddLeftover(const std::string& path) {
    marker_.leftovers.push_back(path);
    return Write();
}

bool OperationGuard::RemoveLeftover(const std::string& path) {
    std::erase(marker_.leftovers, path);
    return Write();
}

bool OperationGuard::SetReplacement(const std::string& path, const VersionChange& version) {
    marker_.replacement = path;
    marker_.versionAfter = version;
    return Write();
}

void OperationGuard::End() {
    if (!lock_.Held()) {
        return;
    }
    std::error_code ec;
    fs::remove(MarkerPathFor(dbFile_), ec);
    // Half of a marker being written when a run was cut off: ours, since only
    // the holder of the lock writes one.
    fs::remove(MarkerPathFor(dbFile_) + ".new", ec);
    std::string ignored;
    platform::FlushFolder(util::ParentFolder(dbFile_), ignored);
    lock_.Unlock();
}

bool OperationGuard::Write() {
    if (!lock_.Held()) {
        return false;
    }
    std::ostringstream text;
    text << "operation=" << marker_.operation << "\n"
         << "pid=" << marker_.pid << "\n"
         << "started=" << marker_.started << "\n"
         << "database=" << marker_.database << "\n"
         << "safety-copy=" << marker_.safetyCopy << "\n"
         << "database-touched=" << (marker_.databaseTouched ? "yes" : "no") << "\n";
    for (const auto& l : marker_.leftovers) {
        text << "leftover=" << l << "\n";
    }
    if (!marker_.replacement.empty()) {
        text << "replacement=" << marker_.replacement << "\n"
             << "version-after=" << VersionChangeText(marker_.versionAfter) << "\n";
    }
    // Written beside and renamed, so that a crash leaves the old marker or
    // the new one, never half of one.
    const std::string path = MarkerPathFor(dbFile_);
    const std::string temp = path + ".new";
    bool written = false;
    {
        std::ofstream out(temp, std::ios::binary | std::ios::trunc);
        out << text.str();
        out.flush();
        written = out.good();
    }
    std::string error;
    return written && platform::FlushToDisk(temp, error) &&
           platform::ReplaceFile(temp, path, error);
}

std::optional<Marker> FindInterrupted(const std::string& dbFile) {
    const std::string marker = MarkerPathFor(dbFile);
    const bool half = util::FileExists(marker + ".new");
    if (!half && !util::FileExists(marker)) {
        return std::nullopt;
    }
    platform::FileLock probe;
    std::string error;
    if (!probe.TryLock(LockPathFor(dbFile), error)) {
        return std::nullopt; // its run is still going on
    }
    if (half && !util::FileExists(marker)) {
        // The first marker of a run cut off while writing it: the run had
        // done nothing yet, so there is nothing to recover, only this to go.
        std::error_code ec;
        fs::remove(marker + ".new", ec);
        return std::nullopt;
    }
    return ReadMarker(dbFile);
}

std::string DescribeInterrupted(const Marker& m) {
    return "The " + m.operation + " of " + m.database + " started on " + m.started + " (process " +
           std::to_string(m.pid) + ") was interrupted.";
}

std::string DescribeOtherHolders(const std::string& dbFile) {
    const auto holders = platform::ProcessesHoldingOpen({dbFile, dbFile + "-journal"});
    if (holders.empty()) {
        return "";
    }
    std::string names;
    for (const auto& h : holders) {
        names += (names.empty() ? "" : ", ") + h.name + " (process " + std::to_string(h.pid) + ")";
    }
    return dbFile + " is open in " + names +
           "; close it there first, or its later changes would be lost.";
}

} // namespace safety
