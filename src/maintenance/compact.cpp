#include "maintenance/compact.h"

#include "db/connection.h"
#include "platform/disk.h"
#include "platform/temp_file.h"
#include "util/format.h"

#include <filesystem>
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

// How long the first pass waits for another program to let go of the
// database. The user was asked to close the suite's programs: a database
// still in use after this is reported rather than waited for.
constexpr int kBusyWaitMs = 1000;

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

// One pass: a compacted copy of `source` written to `destination`, which
// must not exist, then forced to the disk (the engine's copy is not).
void CompactInto(const std::string& source, const std::string& destination) {
    db::Connection connection;
    connection.Open(source);
    connection.Execute("PRAGMA busy_timeout = " + std::to_string(kBusyWaitMs));
    // A copy taken while another connection holds a transaction would miss
    // its changes, and removing the original under it would lose them: make
    // sure nobody else has the database before copying it.
    connection.Execute("BEGIN EXCLUSIVE");
    connection.Execute("COMMIT");
    connection.Execute("VACUUM INTO " + Quoted(destination));
    connection.Close();
    std::string error;
    if (!platform::FlushToDisk(destination, error)) {
        throw StepError(0, error);
    }
}

// The first copy is all there is once the original goes: read it back.
void CheckCopy(const std::string& copy) {
    db::Connection connection;
    connection.Open(copy);
    const std::string verdict = connection.Scalar("PRAGMA quick_check").AsText();
    if (verdict != "ok") {
        throw StepError(0, "the compacted copy failed its check (" + verdict + "): " + copy);
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

bool CompactDB(startup::RunSettings& settings, util::UiServices& ui, std::string& message) {
    ui.SetBusy(true);
    bool result = false;
    int number = 0;
    std::string description;
    try {
        const std::string database = settings.DBFile;
        const std::string temp = platform::GetTempFileName("dbtemp");
        Log(settings, "{-} Database compression started");
        Log(settings, "{ } Source                : " + database);
        Log(settings, "{ } Destination           : " + temp);
        if (temp.empty()) {
            throw StepError(0, "no temporary file could be made in " + platform::TempFolder());
        }

        Log(settings, "{-} Removing old destination file");
        RemoveFile(temp); // the engine refuses to write over an existing file
        const int32_t oldKB = SizeInKB(database);

        Log(settings, "{-} First pass compacting");
        CompactInto(database, temp);
        CheckCopy(temp);
        ui.DoEvents();

        Log(settings, "{-} Removing original database file");
        RemoveFile(database);
        // A journal left beside the old file would be replayed into the new one.
        RemoveFile(database + "-journal");

        Log(settings, "{-} Second pass compacting");
        CompactInto(temp, database);
        ui.DoEvents();
        const int32_t newKB = SizeInKB(database);

        Log(settings, "{-} Removing temporary file");
        RemoveFile(temp);
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
    if (!result) {
        Log(settings, "{*} Error " + std::to_string(number) + " " + description);
        message = "The following error has occured:\r\n" + description;
    }
    ui.SetBusy(false);
    return result;
}

} // namespace maintenance
