#include "startup/start_mode.h"
#include "platform/process.h"

namespace startup {

StartMode ChooseStartMode(const RunSettings& s, DBStatus status) {
    if (s.Diag) {
        return StartMode::Diagnostics;
    }
    if (s.NoDB || status == DBMissing) {
        return StartMode::Create;
    }
    if (s.UpgradeSwitch || status == DBNeedsUpgrade) {
        return StartMode::Upgrade;
    }
    if (status != DBCurrent) {
        return StartMode::Diagnostics;
    }
    return StartMode::Options;
}

std::string_view StartModeName(StartMode mode) {
    switch (mode) {
    case StartMode::Diagnostics:
        return "diagnostics";
    case StartMode::Create:
        return "create";
    case StartMode::Upgrade:
        return "upgrade";
    case StartMode::Options:
        return "options";
    }
    return "options";
}

std::string AppStartCommand(const RunSettings& s) {
    if (s.AppStart.empty()) {
        return {};
    }
    std::string command = s.AppStart;
    if (s.AltDB != "Default") {
        command += " /altdb " + s.AltDB;
    }
    if (s.Expert) {
        command += " /expert";
    }
    return command;
}

void LaunchAppStart(const RunSettings& s, util::UiServices& ui) {
    std::string command = AppStartCommand(s);
    if (!command.empty()) {
        platform::StartCommand(command);
    }
    ui.DoEvents();
}

} // namespace startup
