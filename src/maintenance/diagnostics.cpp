#include "maintenance/diagnostics.h"

#include "backup/bar.h"
#include "db/schema.h"
#include "maintenance/report_lines.h"
#include "maintenance/table_check.h"
#include "platform/process.h"
#include "startup/locator.h"
#include "startup/registry.h"
#include "util/format.h"
#include "util/paths.h"
#include "util/strings.h"
#include "util/vb_number.h"

#include <algorithm>
#include <array>
#include <exception>
#include <string_view>
#include <utility>

namespace maintenance {

namespace {

using startup::Log;

constexpr const char* ReportName = "Ostrand.log";

// Special-folder numbers of the shell.
constexpr int CommonProgramFilesFolder = 43;
constexpr int SystemFolder = 37;

// The suite's own files in the program folder: what the report calls each,
// and the name it looks for.
constexpr std::array<std::pair<std::string_view, std::string_view>, 9> SuiteFiles = {{
    {"Valorin.exe", "valorin.exe"},
    {"Ostrand.exe", "ostrand.exe"},
    {"Rentora.exe", "rentora.exe"},
    {"startup.bat", "startup.bat"},
    {"Numbrik.exe", "numbrik.exe"},
    {"Ketrova.chm", "ketrova.chm"},
    {"Ketrova.ddf", "ketrova.ddf"},
    {"Catalogs.mdb", "catalogs.mdb"},
    {"Pictavo.exe", "pictavo.exe"},
}};

// Shared components the suite installs into the system folder.
constexpr std::array<std::string_view, 15> SystemComponents = {
    "ciaResSvr20.dll",   "ciaSCls20.dll",        "ciaXPButton30.ocx",
    "ciaXPCombo30.ocx",  "ciaXPDP30.ocx",        "ciaXPFrame30.ocx",
    "ciaXPIML30.ocx",    "ciaXPListView30.ocx",  "ciaXPMultiLinetext30.ocx",
    "ciaXPRegSvr20.dll", "ciaXPSelection30.ocx", "ciaXPSideBarMenu30.ocx",
    "ciaXPTab30.ocx",    "ciaXPText30.ocx",      "Richtx32.ocx"};

// The main application's stored list orders and layouts, which go stale
// when the database changes under them.
constexpr std::string_view ListViewKey = "SOFTWARE\\Ketrova\\Rentora";
constexpr std::array<std::string_view, 5> ListViewSubkeys = {
    "\\SortOrder", "\\PrevOrder", "\\SortField", "\\PrevField", "\\ViewInfo"};

// Owning table and key of a FileObject, by its dbType.
struct Owner {
    int64_t dbType;
    std::string_view table;
    std::string_view key;
};
constexpr std::array<Owner, 7> FileObjectOwners = {{
    {28, "Building", "IdBuilding"},
    {29, "Unit", "IdUnit"},
    {5, "Tenant", "IdTenant"},
    {1, "Account", "IdAccount"},
    {6, "WorkOrder", "IdWorkOrder"},
    {2, "Lease", "IdLease"},
    {3, "Mortgage", "IdMortgage"},
}};

const char* TrueFalse(bool b) {
    return b ? "True" : "False";
}

std::string ErrorText(const std::exception& e) {
    if (const auto* de = dynamic_cast<const db::Error*>(&e)) {
        return "error " + std::to_string(de->code()) + " " + de->what();
    }
    return std::string("error ") + e.what();
}

// Writes over `text` from `at` without making it longer, as a fixed-width
// field is filled.
void Put(std::string& text, size_t at, std::string_view piece) {
    for (size_t i = 0; i < piece.size() && at + i < text.size(); ++i) {
        text[at + i] = piece[i];
    }
}

std::string FixedWidth(std::string text, size_t width) {
    text.resize(width, ' ');
    return text;
}

// A field value as the suite prints it beside a label: Booleans as True or
// False, numbers as the suite writes them, NULL as nothing.
std::string FieldText(const db::Recordset& rs, int index) {
    const db::Value& v = rs.Field(index);
    if (v.IsNull()) {
        return {};
    }
    if (rs.FieldAt(index).Type == db::adBoolean) {
        return TrueFalse(v.AsBool());
    }
    if (v.kind() == db::Value::Kind::Real) {
        return util::DoubleToText(v.AsDouble());
    }
    return v.AsText();
}

class Report {
public:
    Report(startup::RunSettings& settings, db::Connection& connection, util::UiServices& ui,
           DiagnosticsProbe& probe)
        : s_(settings), connection_(connection), ui_(ui), probe_(probe) {}

    void Line(std::string_view text) { Log(s_, text); }
    void System(std::string_view caption, std::string_view value) {
        Line(Labelled(caption, SystemCaptionWidth, value));
    }
    void Config(std::string_view caption, std::string_view value) {
        Line(Labelled(caption, ConfigCaptionWidth, value));
    }

    void Settings(double freeBytes) {
        Line(Ruler("System Information", 31));
        System("Application path", s_.AppPath);
        System("Help File", s_.HelpFile);
        System("Free disk space", util::Format(freeBytes, "#,###"));
        System("Database name tested", s_.AltDB);
        System("Load file", s_.LoadFile);
        System("Expert mode", TrueFalse(s_.Expert));
        System("App Start", s_.AppStart);
        System("Warn", TrueFalse(s_.Warn));
        System("User ID", std::to_string(s_.UserID));
        System("User Name", s_.CurrentUser);
        System("Security Access Level", std::to_string(s_.SecurityLevel));
        Line("");
    }

    void SystemFacts() {
        for (const std::string& line :
             SystemInfoLines(probe_.System(startup::MachineRegistry(s_)))) {
            Line(line);
        }
    }

    void Linux() {
        for (const std::string& line :
             LinuxInfoLines(probe_.Linux(startup::RegisteredDatabaseFolder(s_)))) {
            Line(line);
        }
    }

    void File(std::string_view caption, const std::string& path) {
        System(caption, FileDescription(path, probe_.FindFile(path)));
    }

    void Files() {
        Line(Ruler("Checking Files", 31));
        for (const auto& [caption, name] : SuiteFiles) {
            // The template ships with the program, which an install keeps apart.
            const std::string& folder =
                name == "ketrova.ddf" ? startup::DataFolder(s_) : s_.AppPath;
            File(caption, folder + std::string(name));
        }
        Line(" ");
        const std::string common =
            util::AddBackslash(probe_.SpecialFolder(CommonProgramFilesFolder));
        const std::string system = util::AddBackslash(probe_.SpecialFolder(SystemFolder));
        // Without those folders the shared components are not missing: a
        // system that has no such folder has no use for them.
        if (common == "/") {
            System("msado27.tlb", NotApplicable);
        } else {
            File("msado27.tlb", common + "system/ado/msado27.tlb");
        }
        for (std::string_view name : SystemComponents) {
            if (system == "/") {
                System(name, NotApplicable);
            } else {
                File(name, system + std::string(name));
            }
        }
    }

    void Windows() {
        Line(Ruler("Running Applications", 27));
        for (const std::string& line : WindowLines(probe_.Windows())) {
            Line(line);
        }
    }

    // The locator's verdict; false when there is no database to examine.
    bool CheckDatabase() {
        Line(Ruler("Checking Database", 30));
        const startup::DBStatus status = startup::LocateDatabase(s_, s_.LogFileNo);
        if (status == startup::DBCurrent) {
            Line("{ } Database check result     : OK");
        } else if (status == startup::DBMissing) {
            Line("{*} Database check result     : Database missing");
        } else {
            Line("{*} Database check result     : Upgrade required");
        }
        Line("");
        return status != startup::DBMissing;
    }

    bool OpenDatabase() {
        Line(Ruler("Opening Database", 29));
        const bool opened = db::OpenDB(s_, connection_, "");
        Line(opened ? "{ } Database opened successfully" : "{*} Database open failed");
        Line("");
        return opened;
    }

    // SQLite's own checks, before any repair writes to the file.
    IntegrityResult Integrity() {
        Line(Ruler("Integrity Check", 29));
        const IntegrityResult result = CheckIntegrity(connection_);
        for (const std::string& line : IntegrityLines(result)) {
            Line(line);
        }
        Line("");
        return result;
    }

    void Tables() {
        Line(Ruler("Table Check", 33));
        CheckTables(s_, connection_, ui_);
        Line("");
    }

    void Configuration() {
        Line(Ruler("Configuration Info", 26));
        try {
            db::Recordset rs;
            const int32_t count =
                db::OpenRecordset("SELECT * FROM Configuration", rs, connection_, true);
            if (count <= 0) {
                Line("{*} No configuration records found");
            } else {
                Line("{ } " + std::to_string(count) + " configuration records found");
                static constexpr std::array<std::pair<std::string_view, std::string_view>, 8>
                    fields = {{{"Company Name", "CompanyName"},
                               {"Next ID", "NextId"},
                               {"Enable Advanced", "EnableAdvanced"},
                               {"Show All Accounts", "ShowAllAccounts"},
                               {"Keep Alerts", "KeepAlerts"},
                               {"Receipt Template", "ReceiptTemplate"},
                               {"Rpt Include Graphic", "RptIncludeGraphic"},
                               {"Rpt Graphic Path", "RptGraphicPath"}}};
                for (const auto& [caption, field] : fields) {
                    // A column an older database lacks prints like a NULL.
                    const int index = rs.FieldIndex(field);
                    Config(caption, index < 0 ? std::string() : FieldText(rs, index));
                }
            }
            db::CloseRecordset(rs);
        } catch (const std::exception& e) {
            Line("{*} Error reading the configuration: " + ErrorText(e));
        }
        BackupSettings();
        Line("");
    }

    void BackupSettings() {
        try {
            const backup::BackupSettings b = backup::ReadBackupSettings(s_);
            Line("{ } Backup Configuration");
            // The backup program's record holds fixed-width texts: a default
            // or short value reads padded with blanks, as that program shows it.
            Config("Backup Path", FixedWidth(b.BackupFolder, backup::BackupFolderWidth));
            Config("Backup All Files", TrueFalse(b.AllFiles));
            Config("Last Backup Date", FixedWidth(b.LastBackup, backup::LastBackupWidth));
            Config("Backup Interval", std::to_string(b.BackupInterval));
            Config("Backup Periods", std::to_string(b.BackupPeriods));
            Config("Keep Interval", std::to_string(b.KeepInterval));
            Config("Keep Periods", std::to_string(b.KeepPeriods));
        } catch (const std::exception& e) {
            Line("{*} Error reading the backup settings: " + ErrorText(e));
        }
    }

    void FileObjects() {
        try {
            db::Recordset rs;
            const int32_t count =
                db::OpenRecordset("SELECT * FROM FileObject", rs, connection_, true);
            if (count <= 0) {
                Line("{ } No FileObjects to check");
                return;
            }
            Line("{ } Checking " + std::to_string(count) + " FileObjects");
            for (; !rs.IsEOF(); rs.MoveNext()) {
                const db::Value& type = rs.Field("dbType");
                const auto owner = std::find_if(
                    FileObjectOwners.begin(), FileObjectOwners.end(),
                    [&](const Owner& o) { return !type.IsNull() && o.dbType == type.AsInt(); });
                if (owner == FileObjectOwners.end()) {
                    Line("{*} Unrecognized FileObject DBType (" + type.AsText() + ")");
                    continue;
                }
                const std::string where =
                    std::string(owner->key) + " = " + rs.Field("IdOwner").AsText();
                if (db::CountRecords(connection_, owner->table, where) <= 0) {
                    Line("{*} Unlinked FileObject DBType (" + std::string(owner->table) + ")");
                }
            }
        } catch (const std::exception& e) {
            Line("{*} Error checking the FileObjects: " + ErrorText(e));
        }
    }

    // Deletes the log rows whose owner is gone, one statement per row as the
    // suite's other programs expect to find them removed.
    void StrayLogs(std::string_view what, std::string_view select, std::string_view deleteSql,
                   std::string_view idField) {
        Line("{ } Checking for stray " + std::string(what) + " entries");
        try {
            db::Recordset rs;
            const int32_t count =
                db::OpenRecordset("SELECT" + std::string(select), rs, connection_, true);
            if (count > 0) {
                // The rows go in one transaction: a flush to disk for each
                // would make thousands of strays take minutes.
                db::Transaction transaction(connection_);
                for (; !rs.IsEOF(); rs.MoveNext()) {
                    db::ExecuteSQL(connection_,
                                   std::string(deleteSql) + rs.Field(idField).AsText());
                }
                db::CloseRecordset(rs);
                transaction.Commit();
                Line("{*} " + std::to_string(count) + " stray " + std::string(what) +
                     " entries removed");
            } else {
                Line("{ } no stray " + std::string(what) + " entries found");
            }
            db::CloseRecordset(rs);
        } catch (const std::exception& e) {
            Line("{*} Error removing stray " + std::string(what) + " entries: " + ErrorText(e));
        }
    }

    void StrayRecords() {
        Line(Ruler("Stray Records", 31));
        FileObjects();
        ui_.DoEvents();
        StrayLogs("Rent Log",
                  " * FROM RentLog LEFT JOIN Lease ON RentLog.IdLease = Lease.IdLease WHERE "
                  "Lease.IdLease IS NULL",
                  "DELETE * FROM RentLog WHERE IdRentLog = ", "IdRentLog");
        ui_.DoEvents();
        StrayLogs("Mortgage Log",
                  " * FROM MortgageLog LEFT JOIN Mortgage ON MortgageLog.IdMortgage = "
                  "Mortgage.IdMortgage WHERE Mortgage.IdMortgage IS NULL",
                  "DELETE * FROM MortgageLog WHERE IdMortgageLog = ", "IdMortgageLog");
        Line("");
    }

    void CloseDatabase() {
        Line(Ruler("Closing Database", 28));
        Line(db::CloseDB(connection_) ? "{ } Database closed successfully"
                                      : "{*} Database close failed");
        Line("");
    }

    void CleanRegistry() {
        Line(Ruler("Clean Up Registry", 27));
        const platform::RegistryStore reg = startup::MachineRegistry(s_);
        for (std::string_view sub : ListViewSubkeys) {
            startup::RegDeleteKey(reg, std::string(ListViewKey) + std::string(sub));
        }
        Line("{ } Entries Removed");
        Line("");
    }

private:
    startup::RunSettings& s_;
    db::Connection& connection_;
    util::UiServices& ui_;
    DiagnosticsProbe& probe_;
};

} // namespace

platform::VolumeSpace SystemProbe::FreeSpace(const std::string& folder) {
    return platform::QueryVolume(folder);
}

SystemInfo SystemProbe::System(const platform::RegistryStore& reg) {
    return QuerySystemInfo(reg);
}

LinuxFacts SystemProbe::Linux(const std::string& databaseFolder) {
    return QueryLinuxFacts(databaseFolder, qtVersion_);
}

std::vector<platform::TopWindow> SystemProbe::Windows() {
    return platform::ListTopLevelWindows();
}

std::optional<platform::FileFacts> SystemProbe::FindFile(const std::string& path) {
    return platform::FindNormalFile(path);
}

std::string SystemProbe::SpecialFolder(int folderId) {
    return platform::SpecialFolder(folderId);
}

void SystemProbe::OpenReport(const std::string& path) {
    if (openReport_) {
        platform::OpenDocument(path);
    }
}

std::string LowDiskSpaceQuestion(const std::string& root) {
    return "It appears you are running low on disk space on the " + root +
           " drive. If you are sure that there\r\nis more than 1 meg of free space press OK, "
           "otherwise press Cancel and correct the problem";
}

std::string FileDescription(const std::string& path,
                            const std::optional<platform::FileFacts>& facts) {
    if (!facts) {
        return "Missing/Error with file " + path;
    }
    std::string text(50, ' ');
    text[0] = facts->ReadOnly ? 'R' : '-';
    text[1] = facts->Hidden ? 'H' : '-';
    text[2] = facts->System ? 'S' : '-';
    text[3] = facts->Directory ? 'D' : '-';
    text[4] = facts->Archive ? 'A' : '-';
    Put(text, 6, util::FormatDateTime(facts->Modified, "mm/dd/yyyy"));
    Put(text, 17, util::FormatDateTime(facts->Modified, "hh:mm:ss"));
    std::string size = util::Format(static_cast<double>(facts->Size), "#,###");
    size = size.size() < 14 ? std::string(14 - size.size(), ' ') + size : size.substr(0, 14);
    Put(text, 27, size + " bytes");
    return text;
}

std::vector<std::string> WindowLines(const std::vector<platform::TopWindow>& windows) {
    constexpr size_t Buffer = 250;
    std::vector<platform::TopWindow> kept;
    for (const platform::TopWindow& w : windows) {
        if (w.Title.empty() || w.Title[0] == '\0') {
            continue;
        }
        // The system fills a 250-character buffer: at most 249 of the title
        // (not splitting a character), its terminator and the buffer's NULs.
        size_t length = std::min(w.Title.size(), Buffer - 1);
        while (length < w.Title.size() && length > 0 &&
               (static_cast<unsigned char>(w.Title[length]) & 0xC0) == 0x80) {
            --length;
        }
        std::string buffer = w.Title.substr(0, length);
        buffer.resize(Buffer, '\0');
        kept.push_back({w.Handle, util::Trim(buffer)});
    }
    std::stable_sort(kept.begin(), kept.end(),
                     [](const platform::TopWindow& a, const platform::TopWindow& b) {
                         return a.Handle < b.Handle;
                     });
    std::vector<std::string> lines;
    for (const platform::TopWindow& w : kept) {
        std::string field = "{ } hWnd = " + std::to_string(w.Handle);
        field.resize(30, ' ');
        lines.push_back(field + ": " + w.Title);
    }
    return lines;
}

void RunDiagnostics(startup::RunSettings& settings, db::Connection& connection,
                    util::UiServices& ui, const platform::Clock& clock, DiagnosticsProbe& probe) {
    const std::string reportFile = startup::RunLogPath(settings);
    bool opened = false;
    try {
        const platform::VolumeSpace volume = probe.FreeSpace(startup::RunLogFolder(settings));
        const double freeBytes = volume.ok ? static_cast<double>(volume.freeBytes) : 0.0;
        if (freeBytes < LowDiskSpace) {
            const std::string root = volume.mountPoint.empty() ? "/" : volume.mountPoint;
            if (ui.MessageBox(LowDiskSpaceQuestion(root), util::Buttons::OKCancel, util::Icon::None,
                              TroubleshooterTitle) == util::Answer::Cancel) {
                return;
            }
        }

        ui.SetBusy(true);
        // The report replaces the run log; a log still open would write into the same file.
        startup::CloseFile(settings.Files, settings.LogFileNo);
        settings.LogFileNo = startup::OpenLogFile(settings.Files, reportFile, 1, 0);
        if (settings.LogFileNo == 0) {
            ui.MessageBox("There was an error creating the log file. Please contact support for "
                          "assistance.",
                          util::Buttons::OK, util::Icon::Critical, TroubleshooterTitle);
            ui.SetBusy(false);
            return;
        }
        opened = true;

        Report report(settings, connection, ui, probe);
        report.Line(std::string("Please email the information from this log file to ") +
                    SupportAddress + " for technical");
        report.Line("support. You can cut and paste the contents of this file or attach the "
                    "file located");
        report.Line("at " + util::AddBackslash(startup::RunLogFolder(settings)) + ReportName);
        report.Line("");
        report.Line("If using Notepad to view turn off word wrap for better view.");
        report.Line("");
        report.Line("{ } Testing started at " + util::FormatDateTime(clock.Now(), "hh:mm:ss"));
        report.Settings(freeBytes);
        report.SystemFacts();
        report.Line("");
        report.Linux();
        report.Line("");
        report.Files();
        report.Line("");
        report.Windows();
        report.Line("");
        ui.DoEvents();

        if (report.CheckDatabase() && report.OpenDatabase()) {
            report.Integrity();
            report.Tables();
            ui.DoEvents();
            report.Configuration();
            report.StrayRecords();
            report.CloseDatabase();
        }
        report.CleanRegistry();
        report.Line(ClosingRuler());
        report.Line("{ } Testing completed at " + util::FormatDateTime(clock.Now(), "hh:mm:ss"));
    } catch (const std::exception& e) {
        // Every section traps its own errors; this only keeps a surprise
        // from leaving the report unfinished and the pointer busy.
        Log(settings, "{*} Diagnostics stopped: " + ErrorText(e));
    }
    if (!opened) {
        ui.SetBusy(false);
        return;
    }
    startup::CloseFile(settings.Files, settings.LogFileNo);
    settings.LogFileNo = 0;
    probe.OpenReport(reportFile);
    ui.SetBusy(false);
}

} // namespace maintenance
