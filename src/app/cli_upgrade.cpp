#include "app/cli_common.h"

namespace cli {

void RegisterUpgradeCommands(CLI::App& app, Context& ctx) {
    (void)app;
    (void)ctx;
}

} // namespace cli
