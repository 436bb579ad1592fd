#pragma once
// The upgrade wizard: an introduction, a page that waits for Start, and the
// page that runs the upgrade and then leads to the outcome.

#include "wizards/wizard_context.h"
#include "wizards/wizard_window.h"

#include <string>

class QLabel;

namespace wizards {

class frmWizUpgrade : public WizardWindow {
    Q_OBJECT
public:
    enum PageIndex { PageIntro = 0, PageReady = 1, PageRun = 2 };

    explicit frmWizUpgrade(const WizardContext& context, QWidget* parent = nullptr);

    void Start_Wizard();
    void RUNUPGRADE_1();
    void RUNUPGRADE_2();
    void Finish_Success();
    void Finish_Failure();

private:
    WizardContext context_;
    RunWidgets run_; // lblDBCreate, pgbMakeDB, lblCreateStatus
    QLabel* lblFinish_ = nullptr;
    int failedStatements_ = 0; // of the last run
    std::string safetyCopy_;   // where the last run kept the database as it was
};

} // namespace wizards
