#include "wizards/start_up.h"

#include "maintenance/diagnostics.h"
#include "safety/recovery.h"
#include "startup/init.h"
#include "startup/locator.h"
#include "util/paths.h"
#include "wizards/frm_wiz_new.h"
#include "wizards/frm_wiz_options.h"
#include "wizards/frm_wiz_upgrade.h"
#include "wizards/report_probe.h"

#include <QCoreApplication>

#include <optional>
#include <string>

namespace wizards {

namespace {

// The boxes here come before any window, so their texts are translated in a
// context of their own.
std::string InterruptedTitle() {
    return QCoreApplication::translate("wizards::StartUp", "Interrupted Operation").toStdString();
}

// An operation on the database that was cut off is dealt with before any
// wizard opens: the user learns which one and when, and decides whether a
// database it may have changed part way gets its safety copy back.
void DealWithInterruption(const WizardContext& c) {
    const std::string& db = c.settings.DBFile;
    const auto interruption = db.empty() ? std::nullopt : safety::FindInterruption(db);
    if (!interruption) {
        return;
    }
    const safety::Marker& m = interruption->marker;
    const std::string what = safety::DescribeInterrupted(m);
    bool putBack = false;
    if (interruption->state == safety::LeftState::MayBeTouched && !m.safetyCopy.empty() &&
        util::FileExists(m.safetyCopy)) {
        const QString question =
            QCoreApplication::translate(
                "wizards::StartUp",
                "%1\n\nThe database may have been changed part way. Put the safety copy "
                "back?\n\nYes puts %2 back and keeps what is there now as a safety copy of its "
                "own. No keeps the database as it is.")
                .arg(QString::fromStdString(what), QString::fromStdString(m.safetyCopy));
        putBack = c.ui.MessageBox(question.toStdString(), util::Buttons::YesNo,
                                  util::Icon::Exclamation, InterruptedTitle()) == util::Answer::Yes;
    }
    std::string done, error;
    if (safety::Recover(db, c.clock, putBack, done, error)) {
        c.ui.MessageBox(what + "\n\n" + done, util::Buttons::OK, util::Icon::Information,
                        InterruptedTitle());
    } else {
        const QString failed =
            QCoreApplication::translate("wizards::StartUp", "%1\n\nIt could not be put right: %2")
                .arg(QString::fromStdString(what), QString::fromStdString(error));
        c.ui.MessageBox(failed.toStdString(), util::Buttons::OK, util::Icon::Critical,
                        InterruptedTitle());
    }
}

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
    startup::LocateDatabase(context.settings, 0);
    DealWithInterruption(context);
    const startup::LocateFindings found = startup::FindDatabase(context.settings);
    const startup::StartMode mode = startup::ChooseStartMode(context.settings, found.status);
    // A newer program's database: the wizards that would change it do not open.
    if (found.newer &&
        (mode == startup::StartMode::Upgrade || mode == startup::StartMode::Options)) {
        context.ui.MessageBox(
            startup::NewerDatabaseText(context.settings.DBFile, found.version), util::Buttons::OK,
            util::Icon::Exclamation,
            QCoreApplication::translate("wizards::StartUp", "Newer Database").toStdString());
        return nullptr;
    }
    if (mode == startup::StartMode::Diagnostics) {
        ReportProbe probe(context.ui);
        maintenance::RunDiagnostics(context.settings, context.connection, context.ui, context.clock,
                                    probe);
        return nullptr;
    }
    return MakeStartWindow(mode, context);
}

} // namespace wizards
