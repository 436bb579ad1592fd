#include "create/create_db.h"

#include "db/connection.h"
#include "db/schema.h"
#include "platform/disk.h"
#include "platform/scratch.h"
#include "safety/operation_guard.h"
#include "safety/replacement.h"
#include "startup/locator.h"
#include "util/paths.h"

#include <array>
#include <exception>
#include <filesystem>
#include <optional>
#include <string_view>
#include <system_error>

namespace create {

namespace {

// Shows and logs one step as it begins, then lets the window repaint before
// the work starts, so the user sees what the program is busy with.
class StepReporter {
public:
    StepReporter(startup::RunSettings& settings, util::Progress& progress, util::UiServices& ui)
        : settings_(settings), progress_(progress), ui_(ui) {}

    void Begin(const std::string& status, double value, const std::string& logLine) {
        progress_.SetStatus(status);
        progress_.SetValue(value);
        startup::Log(settings_, logLine);
        ui_.DoEvents();
    }

private:
    startup::RunSettings& settings_;
    util::Progress& progress_;
    util::UiServices& ui_;
};

// Keeps what is at the database's name before anything else happens: the
// run takes the operation lock, and an existing database, unless another
// program holds it open, is copied whole into the safety-copy folder. The
// database itself stays where it is until the new one takes its name.
bool KeepTheOldFile(startup::RunSettings& settings, const std::string& folder,
                    const std::string& file, const platform::Clock& clock,
                    std::optional<safety::OperationGuard>& guard, safety::SafetyCopy& kept) {
    std::string error;
    if (!util::FolderExists(folder)) {
        return true; // nothing to keep; the next step says what is wrong
    }
    guard.emplace(file, "create", clock);
    if (!guard->Begin(error)) {
        startup::Log(settings, "{*} " + error);
        return false;
    }
    if (!safety::KeepBeforeReplacing(*guard, file, "create", clock, kept, error)) {
        startup::Log(settings, "{*} " + error);
        return false;
    }
    if (!kept.path.empty()) {
        startup::Log(settings, "{ } " + safety::SafetyCopyLine(kept));
    }
    return true;
}

// A folder of the run's own beside the database, where the new database and
// its version file are built, so that the old ones stay whole at their names
// until the new ones are complete. The marker lists what is in it, so that an
// interrupted run's leftovers can be cleared.
std::string MakeBuildingFolder(startup::RunSettings& settings, const std::string& folder,
                               const std::string& file, safety::OperationGuard* guard) {
    std::string error;
    std::string building = platform::CreateScratchFolder(folder, "create", error);
    if (building.empty()) {
        startup::Log(settings, "{*} Error creating database file {" + file + "}: " + error);
        return {};
    }
    building += "/";
    for (const std::string& leftover :
         {building + "Ketrova.mdb", building + "Ketrova.mdb-journal", building}) {
        if (guard && !guard->AddLeftover(leftover)) {
            startup::Log(settings, "{*} The marker beside " + file + " cannot be written.");
            return {};
        }
    }
    return building;
}

// Gives the new database its name, then the version file its number: a
// crash between the two leaves a new database beside the old version file
// (an upgrade with nothing to do), never an old database that claims the new
// version.
bool PutInPlace(startup::RunSettings& settings, const std::string& building,
                const std::string& folder, safety::OperationGuard& guard) {
    std::error_code ec;
    std::string error;
    bool replaced = false;
    if (std::filesystem::is_directory(folder + "Version", ec)) {
        // Found before the database moves, and said as what it is.
        error = "a folder of that name is in the way";
    } else if (safety::ReplaceDatabase(
                   guard, building + "Ketrova.mdb", folder + "Ketrova.mdb",
                   {safety::VersionChange::Kind::Write, startup::CurrentDBVersion}, replaced,
                   error)) {
        return true;
    } else if (!replaced) {
        startup::Log(settings,
                     "{*} Error putting the new database in place in {" + folder + "}: " + error);
        return false;
    }
    startup::Log(settings, "{*} Error writing version file in {" + folder + "}: " + error);
    return false;
}

void LogException(startup::RunSettings& settings, const std::string& where, const char* what) {
    startup::Log(settings, "{*} Error in " + where + ": " + what);
}

// Group values of the configuration record, in column order. Whole numbers
// are 16-bit, as the suite's other programs expect to read them back.
void WriteGroupA(db::Recordset& rs, const platform::Clock& clock) {
    rs.SetField("CompanyName", "Your Company Name");
    rs.SetField("Address", "123 Main Street");
    rs.SetField("City", "Beverly Hills");
    rs.SetField("State", "CA");
    rs.SetField("Zip", "90210");
    rs.SetField("Phone", "800-555-1212");
    rs.SetField("FAX", "888-555-1212");
    rs.SetField("Mobile", "312-555-1212");
    rs.SetField("Email", "info@yourcompanyname.example");
    rs.SetField("Web", "www.yourcompanyname.example");
    rs.SetField("TaxIDFed", "123-56-6789");
    rs.SetField("TaxIDState", "12345678");
    rs.SetField("NextId", db::MinutesSince2000(clock.Now()));
    rs.SetField("DefaultCounty", "");
    rs.SetField("DefaultState", "");
    rs.SetField("DefaultDepositAccount", int16_t{0});
    rs.SetField("DefaultRentAccount", int16_t{0});
    rs.SetField("DefaultMortgageAccount", int16_t{0});
    rs.SetField("DefaultMortgagee", int16_t{0});
    rs.SetField("TermType", "Month(s)");
    rs.SetField("Term", int16_t{12});
    rs.SetField("ExpireOption", "MTM");
    rs.SetField("Discount", int16_t{50});
    rs.SetField("DiscountDays", int16_t{5});
    rs.SetField("OneTimeFee", int16_t{50});
    rs.SetField("OneTimeDays", int16_t{5});
    rs.SetField("DailyFee", int16_t{0});
    rs.SetField("DailyDays", int16_t{10});
    rs.SetField("EvictDays", int16_t{15});
    rs.SetField("BreakFee", int16_t{0});
    rs.SetField("NoticeDays", int16_t{30});
    rs.SetField("ShowAllAccounts", false);
    rs.SetField("KeepAlerts", int16_t{15});
}

void WriteGroupB(db::Recordset& rs, const std::string& appPath) {
    rs.SetField("AssociateDocs", false);
    rs.SetField("DocDirectory", appPath + "Docs");
    rs.SetField("FileDirectory", appPath + "Files");
    rs.SetField("CFAExp1", "Landscape");
    rs.SetField("CFAExp2", "Trash");
    rs.SetField("CFAExp3", "Pest");
    rs.SetField("CFAExp4", "Pool");
    rs.SetField("NoteScoreTable", "500:20|725:15|875:12.5|1000:11");
    rs.SetField("NoteCreditWeight", int16_t{1});
    rs.SetField("NoteEquityWeight", int16_t{10});
    rs.SetField("NoteOnTimeWeight", int16_t{10});
    rs.SetField("CFASaleExpense", int16_t{4});
    rs.SetField("CFADownPayment", int16_t{10});
    rs.SetField("CFASaleCAP", int16_t{10});
    rs.SetField("CFAMgmtFee", int16_t{0});
    rs.SetField("CFAExpEscalator", int16_t{4});
    rs.SetField("CFARentIncEscalator", int16_t{4});
    rs.SetField("CFAVacancyRate", int16_t{5});
}

void WriteGroupC(db::Recordset& rs, const platform::Clock& clock) {
    rs.SetField("IdConfig", db::DaysSince2000(clock.Now()));
}

constexpr std::array<std::string_view, 26> DefaultCategories = {
    "Rent Payment",     "Deposit Charge",  "Other Income",    "Vending",
    "Laundry",          "Insurance",       "Advertising",     "Property Taxes",
    "Mortgage Payment", "Auto and Travel", "Repairs",         "Cleaning and Maint",
    "Commissions",      "Legal Fees",      "Management Fees", "Mortgage Interest",
    "Other Interest",   "Supplies",        "Taxes",           "Other Expenses",
    "HOA Dues",         "Utilities",       "Mortgage Payoff", "Deposit",
    "Deposit Refund",   "Mortgage Escrow"};

} // namespace

bool WriteDefaultConfiguration(startup::RunSettings& settings, db::Connection& connection,
                               const platform::Clock& clock, int16_t fromVersion) {
    if (!connection.IsOpen() && !db::OpenDB(settings, connection, "")) {
        return false;
    }
    db::Recordset rs;
    try {
        rs.Open(connection, "SELECT * FROM Configuration");
        if (rs.IsEOF()) {
            rs.AddNew();
        } else {
            rs.Edit();
        }
        if (fromVersion == 0) {
            WriteGroupA(rs, clock);
        }
        if (fromVersion < 5) {
            WriteGroupB(rs, settings.AppPath);
        }
        if (fromVersion < 6) {
            WriteGroupC(rs, clock);
        }
        rs.Update();
        rs.Close();
        return true;
    } catch (const std::exception& e) {
        rs.Close();
        LogException(settings, "WriteDefaultConfiguration", e.what());
        return false;
    }
}

void AddCategory(db::Connection& connection, const std::string& name, int16_t ien) {
    // The name goes into the statement as it is: every default name is free of quotes.
    if (db::CountRecords(connection, "TransCategory", "Category = '" + name + "'") == 0) {
        db::ExecuteSQL(connection, "INSERT INTO TransCategory (Category,IEN) VALUES ('" + name +
                                       "'," + std::to_string(ien) + ")");
    }
}

void WriteDefaultCategories(db::Connection& connection) {
    // Income and expense categories are deliberately not told apart here.
    for (std::string_view name : DefaultCategories) {
        AddCategory(connection, std::string(name), 0);
    }
}

bool CreateNewDB(startup::RunSettings& settings, db::Connection& shared, util::Progress& progress,
                 util::UiServices& ui, const platform::Clock& clock, const std::string& dbFolder,
                 safety::SafetyCopy* kept) {
    const std::string folder = util::AddBackslash(dbFolder);
    const std::string file = folder + "Ketrova.mdb";
    StepReporter step(settings, progress, ui);

    startup::Log(settings, "{-} CreateNewDB started");
    startup::Log(settings, "{-} DB File: " + file);
    progress.SetStatus("Database Creation");
    ui.SetBusy(true);

    bool ok = false;
    db::Connection connection;
    std::optional<safety::OperationGuard> guard;
    safety::SafetyCopy oldFile;
    std::string building; // the run's own folder, ending in "/"
    try {
        db::SchemaLists lists;
        step.Begin("Loading template ...", 5, "{-} Loading template");
        ok = db::LoadTemplate(settings, lists, 1);

        if (ok) {
            step.Begin("Removing existing files ...", 15, "{-} Checking for old file to delete");
            ok = KeepTheOldFile(settings, folder, file, clock, guard, oldFile);
        }
        if (ok) {
            step.Begin("Creating new database ...", 20, "{-} Creating new database file");
            building = MakeBuildingFolder(settings, folder, file, guard ? &*guard : nullptr);
            std::string error;
            ok = !building.empty() && db::CreateDatabaseFile(building + "Ketrova.mdb", error);
            if (!ok && !building.empty()) {
                startup::Log(settings, "{*} Error creating database file {" + file + "}: " + error);
            }
        }
        if (ok) {
            step.Begin("Opening new database ...", 25, "{-} Opening new database file");
            ok = db::OpenDB(settings, connection, building + "Ketrova.mdb");
        }
        if (ok) {
            step.Begin("Writing new fields ...", 40, "{-} Writing new fields");
            ok = db::AddFields(settings, connection, lists, ui);
        }
        if (ok) {
            step.Begin("Writing new indexes ...", 60, "{-} Writing new indexes");
            ok = db::AddIndexes(settings, connection, lists);
        }
        if (ok) {
            step.Begin("Writing default configuration ...", 75, "{-} Writing new configuration");
            ok = WriteDefaultConfiguration(settings, connection, clock, 0);
        }
    } catch (const std::exception& e) {
        LogException(settings, "CreateNewDB", e.what());
        ok = false;
    }

    step.Begin("Closing database ...", 85, "{-} Closing database");
    db::CloseDB(connection);

    try {
        if (ok) {
            step.Begin("Writing default transaction categories ...", 85,
                       "{-} Writing default transaction categories");
            // The categories go in through the program's own connection; not
            // reaching it leaves a usable database without them, which the
            // suite can fill later, so it does not fail the creation.
            if (!shared.IsOpen() && db::OpenDB(settings, shared, building + "Ketrova.mdb")) {
                WriteDefaultCategories(shared);
                db::CloseDB(shared);
            }
        }
        if (ok) {
            // The version file is written beside its place, then takes it
            // right after the database has taken its own.
            step.Begin("Writing version file ...", 95, "{-} Writing version file");
            ok = guard && PutInPlace(settings, building, folder, *guard);
        }
    } catch (const std::exception& e) {
        db::CloseDB(shared);
        LogException(settings, "CreateNewDB", e.what());
        ok = false;
    }
    if (!building.empty()) {
        // Only what this run built is in there; on success it is empty.
        std::error_code ec;
        std::filesystem::remove_all(building, ec);
    }
    if (ok && !oldFile.path.empty()) {
        safety::PruneSafetyCopies(file);
    }
    if (kept) {
        *kept = oldFile;
    }

    progress.SetValue(100);
    progress.SetStatus(ok ? "Database created successfully." : "Database creation failed.");
    ui.SetBusy(false);
    return ok;
}

} // namespace create
