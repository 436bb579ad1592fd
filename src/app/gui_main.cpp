// ostrand: the wizards. One copy per user; a later start brings this one's
// window forward and ends.

#include "build_info.h"
#include "db/connection.h"
#include "platform/clock.h"
#include "startup/init.h"
#include "wizards/single_instance.h"
#include "wizards/start_up.h"
#include "wizards/wizard_ui.h"

#include <QApplication>

#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

namespace {

// The copy's visible window (the wizard, or the restore window it handed over to).
void BringForward() {
    for (QWidget* w : QApplication::topLevelWidgets()) {
        if (w->isVisible() && w->isWindow() && !w->parentWidget()) {
            w->setWindowState((w->windowState() & ~Qt::WindowMinimized) | Qt::WindowActive);
            w->raise();
            w->activateWindow();
        }
    }
}

// What --help prints; the manual page is made from it, so it is the
// program's whole reference.
constexpr const char* kHelp = R"(Usage: ostrand [/SWITCH[=VALUE]]...
The Ketrova database wizard. Creates the suite's database, brings an older
database up to the current structure, compacts it, writes a troubleshooting
report and restores files from the suite's backup archives. Which wizard opens
depends on the state of the database and on the switches; only one copy runs
at a time, and a second start brings the first one's window forward.
ostrand-cli does the same work without a window.

Options:
  /nodb              open the create-database wizard, even for a current database
  /upgradedb         open the upgrade wizard, even for a current database
  /diag              write the troubleshooting report and show it, without a wizard
  /altdb=NAME        work on the database registered under NAME (default: Default)
  /appstart=PROGRAM  start PROGRAM, found on PATH, when a wizard finishes successfully
  /expert            pass /expert on to PROGRAM
  /loadfile=NAME     accepted and kept for the suite's programs
  /nowarning         accepted and ignored
  --help             print this help and exit
  --version          print the version and exit

Every "/" begins a new switch, and switches and values are read in lower case,
so a value can be neither a path nor contain "/". Without switches, a missing
database opens the create wizard, an older one the upgrade wizard, and a
current one the maintenance wizard (compress, diagnose, restore).

Files:
  Ostrand.log        the run log of the last operation and the troubleshooting
                     report: in $XDG_STATE_HOME/ostrand (~/.local/state/ostrand)
                     for an installed program, else in the program folder
  Ketrova.ddf        the database template, in the shared data folder
                     (/usr/share/ostrand) or beside the program

Environment:
  KETROVA_HOME           a portable program folder holding the log, the working
                         folders and, optionally, the template
  KETROVA_REGISTRY       the settings store that names each database's folder
                         (default $XDG_CONFIG_HOME/Ketrova/registry.reg)
  KETROVA_USER_SETTINGS  an older installation's per-user settings, only read
)";

} // namespace

int main(int argc, char** argv) {
    // Answered before anything needs a display: these also make the manual page.
    if (argc == 2 && std::strcmp(argv[1], "--help") == 0) {
        std::fputs(kHelp, stdout);
        return 0;
    }
    if (argc == 2 && std::strcmp(argv[1], "--version") == 0) {
        std::printf("ostrand %s\n", build::Version);
        return 0;
    }
    // Qt would abort with a core dump here; say instead what does work.
    if (qEnvironmentVariableIsEmpty("DISPLAY") && qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY") &&
        qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM")) {
        std::fputs("ostrand: no display. Run it under a virtual one (xvfb-run -a ostrand ...),\n"
                   "or use ostrand-cli, which does the same work without a window.\n",
                   stderr);
        return 2;
    }
    QApplication app(argc, argv);
    QApplication::setApplicationName("Ostrand");
    QApplication::setApplicationVersion(build::Version);
    // Lets the desktop match the windows to the menu entry and its icon.
    QGuiApplication::setDesktopFileName("org.ketrova.Ostrand");

    wizards::SingleInstance instance(QApplication::applicationName());
    if (!instance.Claim()) {
        return 0;
    }
    QObject::connect(&instance, &wizards::SingleInstance::activationRequested, &BringForward);

    startup::RunSettings settings;
    wizards::WizardUi ui;
    db::Connection connection;
    platform::SystemClock clock;
    const wizards::WizardContext context{settings, ui, connection, clock};

    // Qt has taken its own options out of argv; the rest is the suite's
    // "/switch=value" command line.
    const std::vector<std::string> args(argv + 1, argv + argc);
    const std::unique_ptr<QWidget> window =
        wizards::StartUp(context, startup::JoinCommandLine(args));
    if (!window) {
        // The diagnostics ran, or a newer database was refused; wait only for a
        // window showing the report.
        return ui.ShowingDocument() ? app.exec() : 0;
    }
    window->show();
    return app.exec();
}
