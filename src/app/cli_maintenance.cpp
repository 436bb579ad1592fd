// ostrand-cli's maintenance commands: compaction, the troubleshooting report
// and the system information block of that report.

#include "app/cli_common.h"
#include "maintenance/compact.h"
#include "maintenance/sysinfo.h"
#include "startup/locator.h"
#include "startup/registry.h"
#include "util/strings.h"

#include <iostream>

namespace cli {

void RegisterMaintenanceCommands(CLI::App& app, Context& ctx) {
    CLI::App* compact = app.add_subcommand(
        "compact", "Compact the located database in two passes through a temporary copy, "
                   "writing Ostrand.log as the options wizard does, and print the outcome");
    AddAltDbOption(compact, ctx);
    compact->callback([&ctx] {
        PrepareSettings(ctx);
        startup::RunSettings& s = ctx.settings;
        startup::LocateDatabase(s, 0);
        s.LogFileNo = startup::OpenLogFile(s.Files, s.AppPath + "Ostrand.log", 1, 0);
        TerminalUi ui(false);
        std::string message;
        const bool ok = maintenance::CompactDB(s, ui, message);
        startup::CloseFile(s.Files, s.LogFileNo);
        s.LogFileNo = 0;
        std::cout << util::Replace(message, "\r\n", "\n") << "\n";
        ctx.exitCode = ok ? 0 : 1;
    });

    CLI::App* sysinfo = app.add_subcommand(
        "sysinfo", "Print the system information block of the troubleshooting report "
                   "(version, language, short date pattern, screen size)");
    sysinfo->callback([&ctx] {
        PrepareSettings(ctx);
        const auto info = maintenance::QuerySystemInfo(startup::MachineRegistry(ctx.settings));
        for (const std::string& line : maintenance::SystemInfoLines(info)) {
            std::cout << line << "\n";
        }
        ctx.exitCode = 0;
    });
}

} // namespace cli
