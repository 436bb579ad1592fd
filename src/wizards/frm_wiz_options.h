#pragma once
// The options wizard for a current database: compress it, run the
// diagnostics report, or hand over to the restore window.

#include "wizards/wizard_context.h"
#include "wizards/wizard_window.h"

#include <memory>

class QLabel;
class QRadioButton;

namespace wizards {

class frmRestore;

class frmWizOptions : public WizardWindow {
    Q_OBJECT
public:
    enum PageIndex { PageChoice = 0, PageCompress = 1, PageFinish = 2 };

    explicit frmWizOptions(const WizardContext& context, QWidget* parent = nullptr);
    ~frmWizOptions() override;

    void Start_Options();
    void Compress_1();
    void Compress_2();
    void Diags();
    void Restore();
    void Finish_Success();
    void Finish_Failure();

    // The restore window once START_RESTORE made it; it outlives this wizard's window.
    frmRestore* RestoreWindow() const { return restore_.get(); }

private:
    void OptionChosen(int index);
    void RunDiags();
    void StartRestore();

    WizardContext context_;
    QRadioButton* optOptions_[3] = {};
    QLabel* lblRunning_ = nullptr;
    QLabel* lblResult_ = nullptr;
    QLabel* imgSuccess_ = nullptr;
    QLabel* lblFinish_ = nullptr;
    std::unique_ptr<frmRestore> restore_;
};

} // namespace wizards
