#pragma once
// The options wizard for a current database: compress it, run the
// diagnostics report, hand over to the restore window, or put back one of
// the safety copies kept before earlier operations; and, when the database
// fails the engine's check as the wizard opens, salvage what can still be
// read from it.

#include "wizards/wizard_context.h"
#include "wizards/wizard_window.h"

#include <memory>
#include <string>

class QLabel;
class QRadioButton;
class QTreeWidget;

namespace wizards {

class frmRestore;

class frmWizOptions : public WizardWindow {
    Q_OBJECT
public:
    enum PageIndex {
        PageChoice = 0,
        PageCompress = 1,
        PageFinish = 2,
        PageCopies = 3,
        PageSalvage = 4
    };

    explicit frmWizOptions(const WizardContext& context, QWidget* parent = nullptr);
    ~frmWizOptions() override;

    void Start_Options();
    void Compress_1();
    void Compress_2();
    void Diags();
    void Restore();
    void Finish_Success();
    void Finish_Failure();
    // The safety copies to choose from, and the put-back of the chosen one.
    void Copies_1();
    void Copies_2();
    // Salvage of a damaged database: ready, the run with the rows per table,
    // the offer to put the salvaged database in place, and doing so.
    void Salvage_1();
    void Salvage_2();
    void Salvage_3();
    void Salvage_4();

    // The restore window once START_RESTORE made it; it outlives this wizard's window.
    frmRestore* RestoreWindow() const { return restore_.get(); }

private:
    void OptionChosen(int index);
    void RunDiags();
    void StartRestore();

    WizardContext context_;
    QRadioButton* optOptions_[5] = {};
    QLabel* lblRunning_ = nullptr;
    QLabel* lblResult_ = nullptr;
    QLabel* imgSuccess_ = nullptr;
    QLabel* lblFinish_ = nullptr;
    QTreeWidget* lstCopies_ = nullptr;
    QLabel* lblNoCopies_ = nullptr;
    std::string safetyCopy_; // where the last compaction kept the database as it was
    std::string damage_;     // what the engine's check found as the wizard opened; "" when sound
    std::string salvaged_;   // the salvaged database beside the damaged one
    QLabel* lblSalvageIntro_ = nullptr;
    RunWidgets salvageRun_;
    QTreeWidget* lstSalvaged_ = nullptr;
    QLabel* lblSalvageResult_ = nullptr;
    std::unique_ptr<frmRestore> restore_;
};

} // namespace wizards
