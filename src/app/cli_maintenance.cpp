// ostrand-cli's maintenance commands: the system information block of the
// troubleshooting report.

#include "app/cli_common.h"
#include "maintenance/sysinfo.h"
#include "startup/registry.h"

#include <iostream>

namespace cli {

void RegisterMaintenanceCommands(CLI::App& app, Context& ctx) {
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
