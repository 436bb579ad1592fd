// ostrand-cli: the wizards' operations without a window, for scripts, cron
// jobs and support staff.

#include "app/cli_common.h"

int main(int argc, char** argv) {
    CLI::App app{"ostrand-cli: create, upgrade, compact, diagnose and restore the Ketrova "
                 "database without a window.\nEnvironment: KETROVA_HOME (program folder), "
                 "KETROVA_REGISTRY (registry store), KETROVA_USER_SETTINGS (per-user settings)."};
    app.require_subcommand(1);
    cli::Context ctx;
    cli::RegisterStartupCommands(app, ctx);
    cli::RegisterDbCommands(app, ctx);
    cli::RegisterCreateCommands(app, ctx);
    cli::RegisterUpgradeCommands(app, ctx);
    cli::RegisterMaintenanceCommands(app, ctx);
    cli::RegisterBackupCommands(app, ctx);
    cli::RegisterLoanCommands(app, ctx);
    cli::RegisterSafetyCommands(app, ctx);
    cli::RegisterImportCommands(app, ctx);
    cli::RegisterSalvageCommands(app, ctx);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& e) {
        int rc = app.exit(e);
        return rc == 0 ? 0 : 2;
    }
    return ctx.exitCode;
}
