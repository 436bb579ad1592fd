#include "app/cli_common.h"

namespace cli {

void RegisterMaintenanceCommands(CLI::App& app, Context& ctx) {
    (void)app;
    (void)ctx;
}

} // namespace cli
