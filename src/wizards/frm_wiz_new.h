#pragma once
// The create-database wizard: build a new database in a folder the user
// picks, bring over the database the suite kept on Windows, or point the
// suite at a folder that already holds one. Each way the folder ends up in
// the registry under the AltDB name; an imported database older than this
// program knows is then handed to the upgrade wizard.

#include "safety/safety_copy.h"
#include "wizards/wizard_context.h"
#include "wizards/wizard_window.h"

#include <memory>
#include <optional>
#include <string>

class QLabel;
class QLineEdit;
class QRadioButton;

namespace wizards {

class frmWizUpgrade;

class frmWizNew : public WizardWindow {
    Q_OBJECT
public:
    enum PageIndex {
        PageChoice = 0,
        PageNewPath = 1,
        PageCreate = 2,
        PageConnect = 3,
        PageFinish = 4,
        PageImportPath = 5,
        PageImport = 6
    };

    explicit frmWizNew(const WizardContext& context, QWidget* parent = nullptr);
    ~frmWizNew() override;

    // The page procedures, by the words that run them.
    void NODB();
    void NewDBPath();
    void CreateDB_1();
    void CreateDB_2();
    void BROWSECONNECT();
    void MakeConnect();
    void Finish_Success();
    void Finish_Failure();
    // The Windows database and the folder, the check of both, and the run.
    void ImportPath();
    void ImportDB_1();
    void ImportDB_2();
    // Hands an imported database older than this program knows to the upgrade wizard.
    void StartUpgrade();

    // The upgrade wizard once StartUpgrade made it; it outlives this wizard's window.
    frmWizUpgrade* UpgradeWindow() const { return upgrade_.get(); }

private:
    void ChangeNewPath();
    void ChangeConnectPath();
    void ChangeImportFile();
    void ChangeImportPath();
    void ConnectPathChanged();
    void ImportFileChanged();
    void OptionChosen();
    // The folder typed in `box`, ending in "/", once it can take the
    // database and, where one is there already, the user said Yes to
    // `replaceQuestion`; nothing when not, the user having been told why.
    std::optional<std::string> ChosenFolder(const QLineEdit* box, const QString& replaceQuestion);
    // Records `folder` as the database of the run's --altdb name.
    void RecordDatabaseFolder(const std::string& folder);

    WizardContext context_;
    std::string newFolder_;        // the checked folder of the creation or import, ending in "/"
    std::string importFile_;       // the checked Windows database
    bool replaceExisting_ = false; // the user said Yes to replacing the folder's database
    bool importing_ = false;       // the last run was an import, not a creation
    safety::SafetyCopy kept_;      // the replaced database's copy; its path is "" when none
    std::unique_ptr<frmWizUpgrade> upgrade_;

    QRadioButton* optNewDB_ = nullptr;
    QRadioButton* optConnect_ = nullptr;
    QRadioButton* optImport_ = nullptr;
    QLabel* lblStoreProblem_ = nullptr;
    QLineEdit* txtNewPath_ = nullptr;
    QLineEdit* txtConnectPath_ = nullptr;
    QLabel* lblCreateFolder_ = nullptr;
    RunWidgets createRun_; // lblDBCreate, pgbMakeDB, lblCreateStatus
    QLabel* lblFinish_ = nullptr;
    QLineEdit* txtImportFile_ = nullptr;
    QLineEdit* txtImportPath_ = nullptr;
    QLabel* lblImportFrom_ = nullptr;
    RunWidgets importRun_;
    QLabel* lblImportResult_ = nullptr;
};

} // namespace wizards
