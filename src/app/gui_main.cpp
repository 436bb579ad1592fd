// ostrand: the wizards. One copy per user; a later start brings this one's
// window forward and ends.

#include "db/connection.h"
#include "platform/clock.h"
#include "startup/init.h"
#include "wizards/single_instance.h"
#include "wizards/start_up.h"
#include "wizards/wizard_ui.h"

#include <QApplication>

#include <cstdio>
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

} // namespace

int main(int argc, char** argv) {
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
        return 0; // the diagnostics ran, or a newer database was refused: no window to wait for
    }
    window->show();
    return app.exec();
}
