#include "wizards/frm_wiz_upgrade.h"

#include "startup/start_mode.h"
#include "upgrade/upgrade_db.h"
#include "wizards/bar_progress.h"

#include <QLabel>
#include <QProgressBar>
#include <QVBoxLayout>

namespace wizards {

frmWizUpgrade::frmWizUpgrade(const WizardContext& context, QWidget* parent)
    : WizardWindow(context.settings, context.ui, "frmWizUpgrade", tr("Ketrova Database Wizard"), 3,
                   "upgrade", parent),
      context_(context) {
    SetPageHeading(PageIntro, tr("Your Ketrova database needs an upgrade"));
    AddText(PageIntro,
            tr("This version of Ketrova keeps its data in a newer database structure. This wizard "
               "brings your database up to date and converts its data; nothing is lost."));
    AddText(PageIntro, tr("The upgrade converts a copy beside your database, and puts it in the "
                          "database's place only once it has passed its checks. Your database as "
                          "it was is kept in the SafetyCopies folder beside it."));
    PageLayout(PageIntro)->addStretch(1);

    SetPageHeading(PageReady, tr("Ready to upgrade"));
    AddText(PageReady, tr("Please close all other Ketrova programs before the upgrade begins. "
                          "Depending on the size of the database this may take a few minutes."));
    AddText(PageReady, tr("Press Start when ready."));
    PageLayout(PageReady)->addStretch(1);

    SetPageHeading(PageRun, tr("Upgrading the database"));
    run_ = AddRunWidgets(PageRun, tr("Upgrade progress:"));
    PageLayout(PageRun)->addSpacing(8);
    lblFinish_ = AddText(PageRun, {}, "lblFinish", tr("How the upgrade ended"));
    PageLayout(PageRun)->addStretch(1);

    Register("START_WIZARD", [this] { Start_Wizard(); });
    Register("RUNUPGRADE_1", [this] { RUNUPGRADE_1(); });
    Register("RUNUPGRADE_2", [this] { RUNUPGRADE_2(); });
    Register("FINISH_SUCCESS", [this] { Finish_Success(); });
    Register("FINISH_FAILURE", [this] { Finish_Failure(); });
    Register("EXIT", [this] {
        startup::LaunchAppStart(settings_, ui_);
        close();
    });
    Register("FAILED", [this] { close(); });
    Register("CANCEL", [this] { close(); });

    Start_Wizard();
}

void frmWizUpgrade::Start_Wizard() {
    ResetAll(true, true, false, FaceNext);
    // Nothing comes before the introduction, whichever way it was reached;
    // Esc then closes the wizard rather than showing this page again.
    SetTag(BackButton, {});
    SetTag(ActionButton, "RUNUPGRADE_1");
    ShowPage(PageIntro);
}

void frmWizUpgrade::RUNUPGRADE_1() {
    run_.caption->hide();
    run_.status->hide();
    ResetAll(true, true, true, FaceStart);
    SetTag(BackButton, "START_WIZARD");
    SetTag(ActionButton, "RUNUPGRADE_2");
    ShowPage(PageReady);
}

void frmWizUpgrade::RUNUPGRADE_2() {
    run_.ShowEmpty();
    lblFinish_->clear();
    ResetAll(false, false, false, FaceNext);
    ShowPage(PageRun);
    upgrade::UpgradeReport report;
    const bool upgraded = RunLogged([&] {
        BarProgress progress(run_.bar, run_.status);
        return upgrade::UpgradeDB(settings_, context_.connection, progress, ui_, context_.clock,
                                  &report);
    });
    failedStatements_ = report.FailedStatements;
    safetyCopy_ = report.SafetyCopy;
    ResetAll(false, true, false, FaceNext);
    SetTag(ActionButton, upgraded ? "FINISH_SUCCESS" : "FINISH_FAILURE");
    ShowPage(PageRun);
}

void frmWizUpgrade::Finish_Success() {
    QString text = SuccessPageText(tr("The Ketrova database upgrade was successful."), safetyCopy_);
    const std::string failed =
        upgrade::FailedStatementsText(failedStatements_, startup::RunLogPath(settings_));
    if (!failed.empty()) {
        text += "\n\n" + QString::fromStdString(failed);
    }
    lblFinish_->setText(text);
    ResetAll(false, true, false, FaceSuccess);
    SetPageHeading(PageRun, tr("The database is up to date"));
    ShowPage(PageRun);
}

void frmWizUpgrade::Finish_Failure() {
    lblFinish_->setText(FailurePageText(tr("Database upgrade failure."), settings_, safetyCopy_));
    ResetAll(false, true, false, FaceFailure);
    SetPageHeading(PageRun, tr("The database could not be upgraded"));
    ShowPage(PageRun);
}

} // namespace wizards
