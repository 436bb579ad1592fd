#include "app/cli_common.h"

namespace cli {

void PrepareSettings(Context& ctx) { ctx.settings.AltDB = ctx.altdb; }

void RegisterStartupCommands(CLI::App& app, Context& ctx) {
    (void)app;
    (void)ctx;
}

} // namespace cli
