#pragma once
// What start-up opens, and what a finishing wizard starts afterwards.

#include "startup/run_settings.h"
#include "util/services.h"

#include <string>
#include <string_view>

namespace startup {

enum class StartMode { Diagnostics, Create, Upgrade, Options };

// The first rule that holds wins: the diag switch; the nodb switch or a
// missing database; the upgradedb switch or an old database; any state that
// is not current; otherwise the options wizard.
StartMode ChooseStartMode(const RunSettings& settings, DBStatus status);

// "diagnostics", "create", "upgrade" or "options".
std::string_view StartModeName(StartMode mode);

// The command a finishing wizard starts: AppStart, then " /altdb " and the
// name unless it is "Default", then " /expert" when set. "" when AppStart is empty.
std::string AppStartCommand(const RunSettings& settings);

// Starts AppStartCommand() detached (failures ignored), then lets pending
// window events run. With no AppStart only the events run.
void LaunchAppStart(const RunSettings& settings, util::UiServices& ui);

} // namespace startup
