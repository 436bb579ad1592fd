#pragma once
// The process-wide run settings: filled once at start (InitGlobals), read by
// every subsystem. The one record of its kind; everything else is passed in.

#include "startup/run_log.h"

#include <array>
#include <cstdint>
#include <string>
#include <string_view>

namespace startup {

// The database version Ostrand creates and upgrades to.
inline constexpr int16_t CurrentDBVersion = 9;

// The locator's verdict on the database.
using DBStatus = int16_t;
inline constexpr DBStatus DBCurrent = 0;
inline constexpr DBStatus DBMissing = 1;
inline constexpr DBStatus DBNeedsUpgrade = 2;

// Names shown wherever a record type is given by number. 21 is kept free.
inline constexpr std::array<std::string_view, 31> RecordTypeNames = {"None",
                                                                     "Account",
                                                                     "Lease",
                                                                     "Mortgage",
                                                                     "Alert",
                                                                     "Tenant",
                                                                     "Work Order",
                                                                     "Incident",
                                                                     "Appliance",
                                                                     "Room",
                                                                     "Transaction",
                                                                     "User",
                                                                     "Mileage",
                                                                     "Activities",
                                                                     "Invoices",
                                                                     "Owner",
                                                                     "Deposit",
                                                                     "Transaction Category",
                                                                     "Manager",
                                                                     "Auto Event",
                                                                     "Content",
                                                                     "",
                                                                     "Service Contract",
                                                                     "Mortgage Log",
                                                                     "Configuration",
                                                                     "Work Order History",
                                                                     "File Object",
                                                                     "Document",
                                                                     "Building",
                                                                     "Unit",
                                                                     "Rent Log"};

inline constexpr std::array<std::string_view, 3> CategoryGroupNames = {"Income", "Expenses",
                                                                       "Unclassified"};

struct RunSettings {
    std::string AppPath;     // program folder, always ending in the separator
    std::string ReportsPath; // AppPath + "Reports" + separator
    std::string SysReportName = "SysReport";
    std::string HelpFile; // AppPath + "Ketrova.chm"
    bool CatalogsPresent = false;
    std::string LoadFile;
    bool Expert = false;
    std::string AppStart;
    std::string AltDB = "Default";
    bool Diag = false;
    bool NoDB = false;
    bool UpgradeSwitch = false;
    bool Warn = true; // no switch changes it; the report shows it
    int16_t LogFileNo = 0;
    std::string DBPath;
    std::string DBFile;
    int32_t UserID = 1;
    std::string CurrentUser = "Administrator";
    int16_t SecurityLevel = 9;

    // Where the files that ship with the program are (the template, the help
    // pages), and where this run writes its log and the report; "" means
    // AppPath, as in a portable home. An installed program reads its shared
    // data folder and writes to the user's state folder, never beside itself.
    // Read them through DataFolder and RunLogFolder.
    std::string DataPath;
    std::string LogPath;

    // Set once this run has warned that the database folder is on a network
    // file system, so the warning is given only once.
    bool NetworkWarningGiven = false;

    // Where this run keeps the machine-wide settings (the registry store) and
    // where an older installation left its per-user settings. Not shown: the
    // environment decides them (InitGlobals).
    std::string RegistryFile;
    std::string UserSettingsFile;

    // The process's open files by number; LogFileNo is one of them.
    FileTable Files;
};

// The folder of the template and help pages.
inline const std::string& DataFolder(const RunSettings& settings) {
    return settings.DataPath.empty() ? settings.AppPath : settings.DataPath;
}

// Writes one line to the open run log; does nothing while no log is open.
void Log(RunSettings& settings, std::string_view line);

// The folder that holds the run log and the report, ending in the separator,
// and the log's full name ("Ostrand.log" there). Every operation writes its
// log here and every message that sends the user to the log names it.
std::string RunLogFolder(const RunSettings& settings);
std::string RunLogPath(const RunSettings& settings);

// The last error line ("{*} ...") of a log file, without its marker: what a
// failure page shows as the cause. "" when the log has none.
std::string LastErrorLine(const std::string& logPath);

} // namespace startup
