// ostrand-cli: the wizards' operations without a window, for scripts, cron
// jobs and support staff.

#include "app/cli_common.h"
#include "build_info.h"

#include <memory>

namespace {

// Opens --help and --help-all, from which the manual page is made.
constexpr const char* kDescription =
    R"(ostrand-cli: create, upgrade, compact, diagnose and restore the Ketrova database
without a window, writing the same run log as the wizards.

Each subcommand prints on standard output what its description names, and
messages, questions answered from its flags and a progress bar (only on a
terminal) on standard error. It exits 0 when it did its work, 1 when the
operation failed or found no database to work on, 2 on a usage error. A
database folder on a network file system is warned about on standard error:
file locking is unreliable there, and two computers writing the database at
once can damage it.
)";

// Closes --help and --help-all.
constexpr const char* kFooter = R"(
Files:
  Ostrand.log  the run log of the last operation, also the troubleshooting
               report: in $XDG_STATE_HOME/ostrand (~/.local/state/ostrand)
               for an installed program, else in the program folder.
  Ketrova.ddf  the database template, in the shared data folder
               (/usr/share/ostrand) or beside the program.

Environment:
  KETROVA_HOME           a portable program folder: log, working folders and,
                         optionally, the template
  KETROVA_REGISTRY       the settings store that names each database's folder
                         (default $XDG_CONFIG_HOME/Ketrova/registry.reg)
  KETROVA_USER_SETTINGS  an older installation's per-user settings, only read
)";

// --help-all gives each subcommand a heading of its own ("archive restore:")
// with its description and one indented line per argument and option: the
// shape from which the manual page gets a section per subcommand.
class ReferenceFormatter final : public CLI::Formatter {
public:
    std::string make_expanded(const CLI::App* sub) const override {
        std::string out = "\n" + CommandPath(sub) + ":\n  " + sub->get_description() + "\n\n";
        for (const CLI::Option* opt : sub->get_options()) {
            if (opt != sub->get_help_ptr() && opt != sub->get_help_all_ptr()) {
                out += make_option(opt, !opt->nonpositional());
            }
        }
        for (const CLI::App* child : sub->get_subcommands({})) {
            out += make_expanded(child);
        }
        return out;
    }

private:
    static std::string CommandPath(const CLI::App* sub) {
        std::string path = sub->get_name();
        for (const CLI::App* up = sub->get_parent(); up && up->get_parent();
             up = up->get_parent()) {
            path = up->get_name() + " " + path;
        }
        return path;
    }
};

} // namespace

int main(int argc, char** argv) {
    CLI::App app{kDescription};
    app.set_version_flag("--version", std::string("ostrand-cli ") + build::Version);
    app.set_help_all_flag("--help-all", "Print this help with every subcommand's options and exit");
    app.footer(kFooter);
    app.formatter(std::make_shared<ReferenceFormatter>());
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
