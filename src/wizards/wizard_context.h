#pragma once
// What every window of the program is handed by start-up: the run settings,
// the UI services, the program's shared database connection and the clock
// that dates what the operations write.

#include "platform/clock.h"
#include "startup/run_settings.h"
#include "wizards/wizard_ui.h"

namespace db {
class Connection;
}

namespace wizards {

struct WizardContext {
    startup::RunSettings& settings;
    WizardUi& ui;
    db::Connection& connection;
    const platform::Clock& clock;
};

} // namespace wizards
