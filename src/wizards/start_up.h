#pragma once
// What the program does once it knows it is the only copy running: fill the
// run settings from the command line, ask the locator (without a log) what
// state the database is in, and open exactly one thing: the diagnostics run,
// which has no window, or one of the three wizards.

#include "startup/start_mode.h"
#include "wizards/wizard_context.h"

#include <QWidget>

#include <memory>
#include <string_view>

namespace wizards {

// The wizard for a mode, ready to show; nullptr for the diagnostics mode.
std::unique_ptr<QWidget> MakeStartWindow(startup::StartMode mode, const WizardContext& context);

// InitGlobals with `commandLine`, the locator, an interrupted operation
// dealt with (a box before any wizard), the mode choice; runs the
// diagnostics there and then (returning nullptr), or returns the wizard.
// A database newer than this program knows opens neither the upgrade nor
// the options wizard: a box says why, and nothing is returned.
std::unique_ptr<QWidget> StartUp(const WizardContext& context, std::string_view commandLine);

} // namespace wizards
