#include "app/cli_common.h"

namespace cli {

void RegisterCreateCommands(CLI::App& app, Context& ctx) {
    (void)app;
    (void)ctx;
}

} // namespace cli
