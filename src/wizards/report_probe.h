#pragma once
// The machine as the troubleshooting report sees it, with the finished report
// shown through the windows' own document viewer, so that the wizards and
// the window-less diagnostics run open it the same way.

#include "maintenance/diagnostics.h"
#include "wizards/wizard_ui.h"

#include <QtGlobal>

#include <string>

namespace wizards {

class ReportProbe final : public maintenance::SystemProbe {
public:
    explicit ReportProbe(WizardUi& ui) : maintenance::SystemProbe(true, qVersion()), ui_(ui) {}
    void OpenReport(const std::string& path) override { ui_.OpenDocument(path); }

private:
    WizardUi& ui_;
};

} // namespace wizards
