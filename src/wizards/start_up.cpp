#include "wizards/start_up.h"

#include "maintenance/diagnostics.h"
#include "startup/init.h"
#include "startup/locator.h"
#include "wizards/frm_wiz_new.h"
#include "wizards/frm_wiz_options.h"
#include "wizards/frm_wiz_upgrade.h"
#include "wizards/report_probe.h"

namespace wizards {

namespace {

// The wizards that open the located database warn when it lies on a network share.
std::unique_ptr<QWidget> WarningAboutItsFolder(std::unique_ptr<WizardWindow> window,
                                               const WizardContext& context) {
    window->WarnAboutFolderWhenShown(context.settings.DBPath);
    return window;
}

} // namespace

std::unique_ptr<QWidget> MakeStartWindow(startup::StartMode mode, const WizardContext& context) {
    switch (mode) {
    case startup::StartMode::Create:
        return std::make_unique<frmWizNew>(context);
    case startup::StartMode::Upgrade:
        return WarningAboutItsFolder(std::make_unique<frmWizUpgrade>(context), context);
    case startup::StartMode::Options:
        return WarningAboutItsFolder(std::make_unique<frmWizOptions>(context), context);
    case startup::StartMode::Diagnostics:
        break;
    }
    return nullptr;
}

std::unique_ptr<QWidget> StartUp(const WizardContext& context, std::string_view commandLine) {
    startup::InitGlobals(context.settings, commandLine);
    const startup::DBStatus status = startup::LocateDatabase(context.settings, 0);
    const startup::StartMode mode = startup::ChooseStartMode(context.settings, status);
    if (mode == startup::StartMode::Diagnostics) {
        ReportProbe probe(context.ui);
        maintenance::RunDiagnostics(context.settings, context.connection, context.ui, context.clock,
                                    probe);
        return nullptr;
    }
    return MakeStartWindow(mode, context);
}

} // namespace wizards
