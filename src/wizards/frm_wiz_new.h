#pragma once
// The create-database wizard: either build a new database in a folder the
// user picks, or point the suite at a folder that already holds one. Either
// way the folder ends up in the registry under the AltDB name.

#include "safety/safety_copy.h"
#include "wizards/wizard_context.h"
#include "wizards/wizard_window.h"

#include <string>

class QLabel;
class QLineEdit;
class QProgressBar;
class QRadioButton;

namespace wizards {

class frmWizNew : public WizardWindow {
    Q_OBJECT
public:
    enum PageIndex {
        PageChoice = 0,
        PageNewPath = 1,
        PageCreate = 2,
        PageConnect = 3,
        PageFinish = 4
    };

    explicit frmWizNew(const WizardContext& context, QWidget* parent = nullptr);

    // The page procedures, by the words that run them.
    void NODB();
    void NewDBPath();
    void CreateDB_1();
    void CreateDB_2();
    void BROWSECONNECT();
    void MakeConnect();
    void Finish_Success();
    void Finish_Failure();

private:
    void ChangeNewPath();
    void ChangeConnectPath();
    void ConnectPathChanged();
    void OptionChosen();
    // The finishing pages' lines about the copy of a replaced database.
    QString KeptCopyText() const;

    WizardContext context_;
    std::string newFolder_;   // the checked folder of the creation, ending in "/"
    safety::SafetyCopy kept_; // the replaced database's copy; its path is "" when none

    QRadioButton* optNewDB_ = nullptr;
    QRadioButton* optConnect_ = nullptr;
    QLabel* lblStoreProblem_ = nullptr;
    QLineEdit* txtNewPath_ = nullptr;
    QLineEdit* txtConnectPath_ = nullptr;
    QLabel* lblCreateFolder_ = nullptr;
    QLabel* lblDBCreate_ = nullptr;
    QProgressBar* pgbMakeDB_ = nullptr;
    QLabel* lblCreateStatus_ = nullptr;
    QLabel* lblFinish_ = nullptr;
};

} // namespace wizards
