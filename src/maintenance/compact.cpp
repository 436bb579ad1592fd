#include "maintenance/compact.h"

#include "db/connection.h"
#include "platform/disk.h"
#include "safety/operation_guard.h"
#include "safety/replacement.h"
#include "startup/locator.h"
#include "util/format.h"
#include "util/paths.h"

#include <filesystem>
#include <map>
#include <stdexcept>
#include <system_error>

namespace maintenance {

namespace {

namespace fs = std::filesystem;
using startup::Log;

// A failed step: its number (the engine's code, or the system's error
// number) and the description the user is shown.
class StepError : public std::runtime_error {
public:
    StepError(int number, const std::string& what) : std::runtime_error(what), number_(number) {}
    int number() const noexcept { return number_; }

private:
    int number_;
};

// Division by zero, as the suite's other programs number it.
constexpr int kDivisionByZero = 11;

void RemoveFile(const std::string& path) {
    std::error_code ec;
    if (!fs::remove(path, ec) && ec) {
        throw StepError(ec.value(), ec.message() + ": " + path);
    }
}

int32_t SizeInKB(const std::string& path) {
    std::error_code ec;
    const uintmax_t bytes = fs::file_size(path, ec);
    if (ec) {
        throw StepError(ec.value(), ec.message() + ": " + path);
    }
    return static_cast<int32_t>(bytes / 1024);
}

// A literal for the statement text; the path may hold a quote.
std::string Quoted(const std::string& text) {
    std::string out = "'";
    for (char c : text) {
        out += c == '\'' ? std::string("''") : std::string(1, c);
    }
    return out + "'";
}

void Require(bool ok, const std::string& error) {
    if (!ok) {
        throw StepError(0, error);
    }
}

// The compacted copy, read back before it may replace the database: every
// page as the engine expects it, every row and rule, and every table with
// its rows. The engine builds the copy's indexes entry by entry from the
// database's own, so the thorough check's look-up of each index entry in
// its table, which alone takes longer than the whole compaction, would
// find nothing the database itself does not have; and the database as it
// was is kept as a safety copy either way.
void CheckCopy(const std::string& copy, const std::map<std::string, int64_t>& rows) {
    const std::string problem = safety::CheckIntegrity(copy, false);
    Require(problem.empty(), "the compacted copy failed its check (" + problem + "): " + copy);
    std::map<std::string, int64_t> copied;
    std::string error;
    Require(safety::CountRows(copy, copied, error), error);
    for (const auto& [table, count] : rows) {
        const auto it = copied.find(table);
        Require(it != copied.end() && it->second == count,
                "the compacted copy lacks rows of " + table + ": " + copy);
    }
}

std::string Description(const std::exception& e, int& number) {
    if (const auto* s = dynamic_cast<const StepError*>(&e)) {
        number = s->number();
    } else if (const auto* d = dynamic_cast<const db::Error*>(&e)) {
        number = d->code();
    } else if (dynamic_cast<const std::domain_error*>(&e)) {
        number = kDivisionByZero;
    }
    return e.what();
}

} // namespace

std::string CompactionSummary(int32_t oldKB, int32_t newKB) {
    if (oldKB == 0) {
        throw std::domain_error("Division by zero");
    }
    const double saving = 100.0 - (static_cast<double>(newKB) / oldKB) * 100.0;
    return "Compression completed.\r\n"
           "Old file size: " +
           util::Format(oldKB, "#,###") + "kb\r\nNew file size: " + util::Format(newKB, "#,###") +
           "kb\r\nThis realized a saving of " + util::Format(saving, "#0") + "%";
}

bool CompactDB(startup::RunSettings& settings, util::UiServices& ui, std::string& message,
               const platform::Clock& clock, std::string* safetyCopy,
               const safety::SpaceQuery& space) {
    ui.SetBusy(true);
    bool result = false;
    int number = 0;
    std::string description;
    const std::string database = settings.DBFile;
    // Beside the database, on its volume, so that one rename puts it in place.
    const std::string compacted = database + ".compacting";
    safety::OperationGuard guard(database, "compact", clock);
    safety::DatabaseHold hold;
    safety::SafetyCopy kept;
    bool replaced = false;
    try {
        Log(settings, "{-} Database compression started");
        Log(settings, "{ } Source                : " + database);
        Log(settings, "{ } Destination           : " + compacted);
        std::string error;
        Require(guard.Begin(error), error);
        error = startup::NewerDatabaseRefusal(settings);
        Require(error.empty(), error);
        error = safety::DescribeOtherHolders(database);
        Require(error.empty(), error);
        Require(guard.AddLeftover(compacted), "the marker of this run cannot be written");

        Log(settings, "{-} Removing old destination file");
        RemoveFile(compacted); // the engine refuses to write over an existing file
        const int32_t oldKB = SizeInKB(database);

        Log(settings, "{-} First pass compacting");
        Require(safety::EnoughRoom(util::ParentFolder(database),
                                   static_cast<uint64_t>(oldKB) * 1024, space, error),
                error);
        // From here until the rename nobody else can change the database,
        // so the copy and the rows counted are what the file holds.
        std::map<std::string, int64_t> rows;
        Require(hold.Begin(database, error) && hold.CountRows(rows, error), error);
        {
            db::Connection source;
            source.Open(database);
            source.Execute("VACUUM INTO " + Quoted(compacted));
        }
        ui.DoEvents();

        // The original is not removed: it stays at its path until the
        // compacted copy replaces it, and is kept after that as a safety copy.
        Log(settings, "{-} Removing original database file");
        Require(safety::KeepBeforeReplacing(guard, database, "compact", clock, kept, error, &hold,
                                            space),
                error);

        Log(settings, "{-} Second pass compacting");
        CheckCopy(compacted, rows);
        Require(platform::FlushToDisk(compacted, error) &&
                    safety::ReplaceDatabase(guard, compacted, database, {}, replaced, error),
                error);
        hold.Release();
        Log(settings, "{ } Safety copy: " + kept.path);
        ui.DoEvents();
        const int32_t newKB = SizeInKB(database);

        Log(settings, "{-} Removing temporary file");
        ui.DoEvents();

        Log(settings, "{ } Old file size         : " + std::to_string(oldKB) + " KB");
        Log(settings, "{ } new file size         : " + std::to_string(newKB) + " KB");
        message = CompactionSummary(oldKB, newKB);
        Log(settings, "{-} Compaction successful");
        result = true;
    } catch (const std::exception& e) {
        description = Description(e, number);
    } catch (...) {
        description = "unknown error";
    }
    // A name of the database kept aside is no copy while the database is
    // still that file; what the run made for itself goes with its marker.
    if (guard.Held()) {
        safety::DropCopyStillLinkedTo(kept.path, database);
    }
    hold.Release();
    safety::EndRun(guard, compacted);
    if (!result) {
        Log(settings, "{*} Error " + std::to_string(number) + " " + description);
        message = "The following error has occured:\r\n" + description;
    } else {
        safety::PruneSafetyCopies(database);
    }
    if (safetyCopy) {
        *safetyCopy = replaced ? kept.path : "";
    }
    ui.SetBusy(false);
    return result;
}

} // namespace maintenance
