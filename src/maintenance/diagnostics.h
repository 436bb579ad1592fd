#pragma once
// The troubleshooting report a user sends to support when the suite
// misbehaves: settings, system facts (the Windows record the suite has always
// shown, then the Linux system it really runs on), the suite's files, open
// windows, the state of the database and whether its file is sound, with
// three repairs on the way (NULL values, stray rent-log and mortgage-log
// rows), and the removal of five stale list-view settings of the main
// application. Written as "Ostrand.log" in the log folder (the program
// folder of a portable home), replacing the previous run log, line for line
// in a layout that support staff read the same way for every user.

#include "db/connection.h"
#include "maintenance/integrity.h"
#include "maintenance/sysinfo.h"
#include "platform/clock.h"
#include "platform/registry_store.h"
#include "platform/sysinfo.h"
#include "platform/volume.h"
#include "startup/run_settings.h"
#include "util/services.h"

#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace maintenance {

inline constexpr const char* SupportAddress = "support@ketrova.example";
inline constexpr const char* TroubleshooterTitle = "Ketrova Troubleshooter";

// Below this many free bytes the report asks before it writes anything.
inline constexpr double LowDiskSpace = 1000000.0;

// What the report asks of the machine it runs on. The real answers come from
// SystemProbe; tests give fixed ones.
class DiagnosticsProbe {
public:
    virtual ~DiagnosticsProbe() = default;
    virtual platform::VolumeSpace FreeSpace(const std::string& folder) = 0;
    virtual SystemInfo System(const platform::RegistryStore& reg) = 0;
    virtual LinuxFacts Linux(const std::string& databaseFolder) = 0;
    virtual std::vector<platform::TopWindow> Windows() = 0;
    virtual std::optional<platform::FileFacts> FindFile(const std::string& path) = 0;
    virtual std::string SpecialFolder(int folderId) = 0;
    // Shows the finished report in the desktop's viewer; failures stay silent.
    virtual void OpenReport(const std::string& path) = 0;
};

class SystemProbe : public DiagnosticsProbe {
public:
    // `openReport` false leaves the finished report unopened (scripts, support
    // tools). `qtVersion` is what the report gives as the Qt version.
    explicit SystemProbe(bool openReport = true, std::string qtVersion = {})
        : openReport_(openReport), qtVersion_(std::move(qtVersion)) {}
    platform::VolumeSpace FreeSpace(const std::string& folder) override;
    SystemInfo System(const platform::RegistryStore& reg) override;
    LinuxFacts Linux(const std::string& databaseFolder) override;
    std::vector<platform::TopWindow> Windows() override;
    std::optional<platform::FileFacts> FindFile(const std::string& path) override;
    std::string SpecialFolder(int folderId) override;
    void OpenReport(const std::string& path) override;

private:
    bool openReport_;
    std::string qtVersion_;
};

// Writes the report. Free space strictly below LowDiskSpace on the program's
// volume first asks OK/Cancel; Cancel ends the run with nothing written. A
// report file that cannot be made gives a critical message and ends the run.
// Everything else is reported in the file, and the run always reaches its
// end, also on a damaged or missing database. Leaves settings.LogFileNo 0.
void RunDiagnostics(startup::RunSettings& settings, db::Connection& connection,
                    util::UiServices& ui, const platform::Clock& clock, DiagnosticsProbe& probe);

// ---- Pieces of the report, exposed for their tests ----

// The low-space question for the volume mounted at `root`.
std::string LowDiskSpaceQuestion(const std::string& root);

// The description of one file line: the 50-character attribute, date, time
// and size text, or "Missing/Error with file " + path when no normal file
// was found.
std::string FileDescription(const std::string& path,
                            const std::optional<platform::FileFacts>& facts);

// The window lines: titled windows only, by handle ascending as signed
// numbers (equal handles keep their order), each "{ } hWnd = " and the handle
// in a 30-character field, ": " and the title as the system's 250-character
// buffer holds it (leading blanks trimmed, the NULs behind the title kept).
std::vector<std::string> WindowLines(const std::vector<platform::TopWindow>& windows);

} // namespace maintenance
