#include "wizards/frm_wiz_new.h"

#include "create/create_db.h"
#include "import/import_jet.h"
#include "platform/environment.h"
#include "startup/locator.h"
#include "startup/registry.h"
#include "startup/start_mode.h"
#include "util/paths.h"
#include "wizards/access.h"
#include "wizards/bar_progress.h"
#include "wizards/frm_wiz_upgrade.h"

#include <QButtonGroup>
#include <QLabel>
#include <QLineEdit>
#include <QProgressBar>
#include <QPushButton>
#include <QRadioButton>
#include <QVBoxLayout>

namespace wizards {

namespace {

const char* const kInvalidDirectory = QT_TRANSLATE_NOOP(
    "wizards::frmWizNew", "The directory path selected is not valid. Please select a directory\n"
                          "that exists and you have access rights to, and also make sure\n"
                          "there is disk space avaliable.\n\nPress OK to continue.");

const char* const kDatabaseExists =
    QT_TRANSLATE_NOOP("wizards::frmWizNew",
                      "A database already exists at the selected location. If you choose to\n"
                      "create a new database the old one will be overwritten and you will lose \n"
                      "all existing data.\n\nDo you want to continue creating a new database?");

// A folder the new database can be written into: it exists and we may create
// files there. The same test as ostrand-cli's, so both refuse the same folders.
bool UsableFolder(const std::string& folder) {
    return util::FolderExists(folder) && platform::FolderWritable(folder);
}

} // namespace

frmWizNew::frmWizNew(const WizardContext& context, QWidget* parent)
    : WizardWindow(context.settings, context.ui, "frmWizNew", tr("Ketrova Database Wizard"), 7,
                   "create", parent),
      context_(context) {
    SetPageHeading(PageChoice, tr("Welcome to the Ketrova Database Wizard"));
    AddText(PageChoice,
            tr("No Ketrova database was found for this computer. You can create a new, empty "
               "database, bring over the database Ketrova kept on Windows, or tell Ketrova where "
               "an existing database is kept."));
    optNewDB_ = new QRadioButton(tr("&Create a new database"), Page(PageChoice));
    optNewDB_->setObjectName("optNewDB");
    Describe(optNewDB_, {}, tr("Builds a new, empty database in a folder you choose"));
    optImport_ = new QRadioButton(tr("&Import a database from Windows"), Page(PageChoice));
    optImport_->setObjectName("optImport");
    Describe(optImport_, {},
             tr("Brings the database Ketrova kept on Windows over into a folder you choose"));
    optConnect_ = new QRadioButton(tr("C&onnect to an existing database"), Page(PageChoice));
    optConnect_->setObjectName("optConnect");
    Describe(optConnect_, {}, tr("Tells Ketrova the folder of a database it already has"));
    auto* group = new QButtonGroup(this);
    PageLayout(PageChoice)->addSpacing(6);
    for (QRadioButton* option : {optNewDB_, optImport_, optConnect_}) {
        group->addButton(option);
        PageLayout(PageChoice)->addWidget(option);
        connect(option, &QRadioButton::toggled, this, [this] { OptionChosen(); });
    }
    optNewDB_->setChecked(true);
    PageLayout(PageChoice)->addSpacing(12);
    lblStoreProblem_ =
        AddText(PageChoice, {}, "lblStoreProblem", tr("Why the settings store cannot be used"));
    lblStoreProblem_->setTextInteractionFlags(Qt::TextSelectableByMouse);
    PageLayout(PageChoice)->addStretch(1);

    SetPageHeading(PageNewPath, tr("Location of the new database"));
    AddText(PageNewPath, tr("Choose the folder in which the new database will be created. The "
                            "folder must already exist."));
    txtNewPath_ = AddFolderRow(PageNewPath, "txtNewPath", "cmdChangeNewPath", "CHANGENEWPATH",
                               tr("Folder of the new database"));
    PageLayout(PageNewPath)->addStretch(1);

    SetPageHeading(PageCreate, tr("Ready to create the database"));
    AddText(PageCreate, tr("The new database will be created in:"));
    lblCreateFolder_ =
        AddText(PageCreate, {}, "lblCreateFolder", tr("The folder the database goes into"));
    lblCreateFolder_->setTextInteractionFlags(Qt::TextSelectableByMouse);
    QFont bold = lblCreateFolder_->font();
    bold.setBold(true);
    lblCreateFolder_->setFont(bold);
    lblCreateFolder_->setContentsMargins(12, 0, 0, 0);
    AddText(PageCreate, tr("Press Start to create it."));
    PageLayout(PageCreate)->addSpacing(12);
    createRun_ = AddRunWidgets(PageCreate, tr("Creating the database ..."));
    PageLayout(PageCreate)->addStretch(1);

    SetPageHeading(PageConnect, tr("Connect to an existing database"));
    AddText(PageConnect, tr("Choose the folder that holds the Ketrova database (Ketrova.mdb). Next "
                            "becomes available once the database is found there."));
    txtConnectPath_ = AddFolderRow(PageConnect, "txtConnectPath", "cmdChangeConnectPath",
                                   "CHANGECONNECTPATH", tr("Folder of the existing database"));
    PageLayout(PageConnect)->addStretch(1);
    connect(txtConnectPath_, &QLineEdit::textChanged, this, [this] { ConnectPathChanged(); });

    SetPageHeading(PageFinish, tr("Ketrova Database Wizard"));
    lblFinish_ = AddText(PageFinish, {}, "lblFinish", tr("How the wizard ended"));
    PageLayout(PageFinish)->addStretch(1);

    SetPageHeading(PageImportPath, tr("Import a database from Windows"));
    AddText(PageImportPath,
            tr("Choose the database Ketrova kept on Windows (Ketrova.mdb, or an .accdb file) and "
               "the folder for the database on this computer. The Version file beside it comes "
               "along; an older database is brought up to date by the upgrade wizard next."));
    AddText(PageImportPath, tr("Windows database:"));
    txtImportFile_ = AddFolderRow(PageImportPath, "txtImportFile", "cmdChangeImportFile",
                                  "CHANGEIMPORTFILE", tr("Windows database"));
    // The folder row below has the other browse button, and "&B" with it.
    auto* browseFile = findChild<QPushButton*>("cmdChangeImportFile");
    browseFile->setText(tr("Bro&wse..."));
    Describe(browseFile, {}, tr("Chooses the Windows database file"));
    AddText(PageImportPath, tr("Folder for the database:"));
    txtImportPath_ = AddFolderRow(PageImportPath, "txtImportPath", "cmdChangeImportPath",
                                  "CHANGEIMPORTPATH", tr("Folder for the database"));
    PageLayout(PageImportPath)->addStretch(1);
    connect(txtImportFile_, &QLineEdit::textChanged, this, [this] { ImportFileChanged(); });

    SetPageHeading(PageImport, tr("Ready to import the database"));
    lblImportFrom_ =
        AddText(PageImport, {}, "lblImportFrom", tr("The file imported and the folder it goes to"));
    AddText(PageImport, tr("Press Start to import it."));
    PageLayout(PageImport)->addSpacing(12);
    importRun_ = AddRunWidgets(PageImport, tr("Importing the database ..."));
    lblImportResult_ =
        AddText(PageImport, {}, "lblImportResult", tr("What the import brought and what is next"));
    PageLayout(PageImport)->addStretch(1);

    Register("NODB", [this] { NODB(); });
    Register("NEWDBPATH", [this] { NewDBPath(); });
    Register("CREATEDB_1", [this] { CreateDB_1(); });
    Register("CREATEDB_2", [this] { CreateDB_2(); });
    Register("BROWSECONNECT", [this] { BROWSECONNECT(); });
    Register("CONNECTDB", [this] { MakeConnect(); });
    Register("FINISH_SUCCESS", [this] { Finish_Success(); });
    Register("FINISH_FAILURE", [this] { Finish_Failure(); });
    Register("CHANGENEWPATH", [this] { ChangeNewPath(); });
    Register("CHANGECONNECTPATH", [this] { ChangeConnectPath(); });
    Register("IMPORTPATH", [this] { ImportPath(); });
    Register("IMPORTDB_1", [this] { ImportDB_1(); });
    Register("IMPORTDB_2", [this] { ImportDB_2(); });
    Register("RUNUPGRADE", [this] { StartUpgrade(); });
    Register("CHANGEIMPORTFILE", [this] { ChangeImportFile(); });
    Register("CHANGEIMPORTPATH", [this] { ChangeImportPath(); });
    Register("EXIT", [this] {
        startup::LaunchAppStart(settings_, ui_);
        close();
    });
    Register("FAILED", [this] { close(); });
    Register("CANCEL", [this] { close(); });

    NODB();
}

frmWizNew::~frmWizNew() = default;

void frmWizNew::NODB() {
    // A settings store that cannot be read may well name a database: neither
    // way on may write over it until the user has put it right.
    const std::string problem = startup::RegistryStoreProblem(settings_);
    ResetAll(false, problem.empty(), true, FaceNext);
    lblStoreProblem_->setText(QString::fromStdString(problem));
    lblStoreProblem_->setVisible(!problem.empty());
    OptionChosen();
    ShowPage(PageChoice);
}

void frmWizNew::OptionChosen() {
    SetTag(ActionButton, optConnect_->isChecked()  ? "BROWSECONNECT"
                         : optImport_->isChecked() ? "IMPORTPATH"
                                                   : "NEWDBPATH");
}

void frmWizNew::NewDBPath() {
    ResetAll(true, true, true, FaceNext);
    txtNewPath_->setText(QString::fromStdString(settings_.AppPath + "db/"));
    SetTag(BackButton, "NODB");
    SetTag(ActionButton, "CREATEDB_1");
    ShowPage(PageNewPath);
}

std::optional<std::string> frmWizNew::ChosenFolder(const QLineEdit* box,
                                                   const QString& replaceQuestion) {
    const std::string folder = util::AddBackslash(box->text().toStdString());
    if (!UsableFolder(folder)) {
        ui_.MessageBox(tr(kInvalidDirectory).toStdString(), util::Buttons::OK,
                       util::Icon::Exclamation, tr("Invalid Directory").toStdString());
        return std::nullopt;
    }
    if (util::FileExists(folder + "Ketrova.mdb") &&
        // Yes replaces the user's data: only a deliberate click may give it.
        ui_.MessageBox(replaceQuestion.toStdString(), util::Buttons::YesNoDefaultNo,
                       util::Icon::Question,
                       tr("Database Exists").toStdString()) != util::Answer::Yes) {
        return std::nullopt;
    }
    WarnIfOnNetworkShare(folder);
    return folder;
}

void frmWizNew::CreateDB_1() {
    const std::optional<std::string> folder = ChosenFolder(txtNewPath_, tr(kDatabaseExists));
    if (!folder) {
        return;
    }
    newFolder_ = *folder;
    ResetAll(true, true, true, FaceStart);
    SetTag(BackButton, "NEWDBPATH");
    SetTag(ActionButton, "CREATEDB_2");
    lblCreateFolder_->setText(QString::fromStdString(newFolder_));
    createRun_.Hide();
    ShowPage(PageCreate);
}

void frmWizNew::CreateDB_2() {
    createRun_.ShowEmpty();
    importing_ = false;
    kept_ = {};
    const bool created = RunLogged([&] {
        BarProgress progress(createRun_.bar, createRun_.status);
        return create::CreateNewDB(settings_, context_.connection, progress, ui_, context_.clock,
                                   newFolder_, &kept_);
    });
    if (created) {
        RecordDatabaseFolder(newFolder_);
    }
    ResetAll(false, true, false, FaceNext);
    SetTag(ActionButton, created ? "FINISH_SUCCESS" : "FINISH_FAILURE");
    ShowPage(PageCreate);
}

void frmWizNew::BROWSECONNECT() {
    ResetAll(true, false, true, FaceNext);
    txtConnectPath_->setText(QString::fromStdString(settings_.AppPath + "db"));
    ConnectPathChanged(); // the text may not have changed, the folder's content may have
    SetTag(BackButton, "NODB");
    SetTag(ActionButton, "CONNECTDB");
    ShowPage(PageConnect);
}

void frmWizNew::ConnectPathChanged() {
    const std::string file =
        util::AddBackslash(txtConnectPath_->text().toStdString()) + "Ketrova.mdb";
    Button(ActionButton)->setEnabled(util::FileExists(file));
}

void frmWizNew::RecordDatabaseFolder(const std::string& folder) {
    startup::RegWriteString(startup::MachineRegistry(settings_), startup::DatabasesKey,
                            settings_.AltDB, folder);
}

void frmWizNew::MakeConnect() {
    const std::string folder = util::AddBackslash(txtConnectPath_->text().toStdString());
    RecordDatabaseFolder(folder);
    WarnIfOnNetworkShare(folder);
    ResetAll(false, true, true, FaceNext);
    SetTag(ActionButton, "FINISH_SUCCESS");
    SetPageHeading(PageFinish, tr("Database connected"));
    lblFinish_->setText(tr("Ketrova will now use the database in %1\n\nPress Next to continue.")
                            .arg(QString::fromStdString(folder)));
    ShowPage(PageFinish);
}

void frmWizNew::Finish_Success() {
    ResetAll(false, true, true, FaceSuccess);
    SetPageHeading(PageFinish, tr("The database is ready"));
    lblFinish_->setText(
        SuccessPageText(tr("The Ketrova database is now ready for use."), kept_.path));
    ShowPage(PageFinish);
}

void frmWizNew::Finish_Failure() {
    ResetAll(false, true, true, FaceFailure);
    SetPageHeading(PageFinish, importing_ ? tr("The database could not be imported")
                                          : tr("The database could not be created"));
    lblFinish_->setText(FailurePageText(importing_ ? tr("Database import failure.")
                                                   : tr("Database creation failure."),
                                        settings_, kept_.path));
    ShowPage(PageFinish);
}

void frmWizNew::ImportPath() {
    ResetAll(true, false, true, FaceNext);
    txtImportPath_->setText(QString::fromStdString(settings_.AppPath + "db/"));
    ImportFileChanged(); // the file may have come or gone since the page was last shown
    SetTag(BackButton, "NODB");
    SetTag(ActionButton, "IMPORTDB_1");
    ShowPage(PageImportPath);
}

void frmWizNew::ImportFileChanged() {
    Button(ActionButton)->setEnabled(util::FileExists(txtImportFile_->text().toStdString()));
}

void frmWizNew::ImportDB_1() {
    // Asked before an import replaces a database; No, the default, keeps it.
    const QString replaceQuestion =
        tr("A database already exists at the selected location:\n%1Ketrova.mdb\n\nIf you "
           "continue, the imported database takes its place. The database that is there now is "
           "kept in the SafetyCopies folder beside it.\n\nDo you want to replace it with the "
           "imported database?")
            .arg(QString::fromStdString(util::AddBackslash(txtImportPath_->text().toStdString())));
    const std::optional<std::string> folder = ChosenFolder(txtImportPath_, replaceQuestion);
    if (!folder) {
        return;
    }
    newFolder_ = *folder;
    replaceExisting_ = util::FileExists(newFolder_ + "Ketrova.mdb");
    importFile_ = txtImportFile_->text().toStdString();
    ResetAll(true, true, true, FaceStart);
    SetTag(BackButton, "IMPORTPATH");
    SetTag(ActionButton, "IMPORTDB_2");
    lblImportFrom_->setText(
        tr("The Windows database %1 will be imported into %2")
            .arg(QString::fromStdString(importFile_), QString::fromStdString(newFolder_)));
    importRun_.Hide();
    lblImportResult_->clear();
    ShowPage(PageImport);
}

void frmWizNew::ImportDB_2() {
    importRun_.ShowEmpty();
    importing_ = true;
    kept_ = {};
    import::ImportOutcome outcome;
    const bool imported = RunLogged([&] {
        BarProgress progress(importRun_.bar, importRun_.status);
        return import::ImportJet(settings_, context_.connection, progress, ui_, context_.clock,
                                 {importFile_, newFolder_, replaceExisting_, false}, outcome);
    });
    kept_ = outcome.Kept;
    const bool older = imported && outcome.Version < startup::CurrentDBVersion;
    if (imported) {
        RecordDatabaseFolder(newFolder_);
        // The database the upgrade wizard, and the suite, work on from now.
        settings_.DBPath = newFolder_;
        settings_.DBFile = newFolder_ + "Ketrova.mdb";
    }
    if (older) {
        lblImportResult_->setText(
            tr("The imported database is version %1. Press Next: the upgrade wizard brings it up "
               "to date.")
                .arg(outcome.Version) +
            SafetyCopyNote(kept_.path));
    }
    ResetAll(false, true, false, FaceNext);
    SetTag(ActionButton, !imported ? "FINISH_FAILURE" : older ? "RUNUPGRADE" : "FINISH_SUCCESS");
    ShowPage(PageImport);
}

void frmWizNew::StartUpgrade() {
    if (!upgrade_) {
        upgrade_ = std::make_unique<frmWizUpgrade>(context_);
    }
    upgrade_->show();
    close();
}

void frmWizNew::ChangeNewPath() {
    if (auto folder = ui_.BrowseFolder(this, tr("Select directory for new database:").toStdString(),
                                       txtNewPath_->text().toStdString())) {
        txtNewPath_->setText(QString::fromStdString(*folder));
    }
}

void frmWizNew::ChangeImportFile() {
    const std::string typed = txtImportFile_->text().toStdString();
    if (auto file = ui_.ChooseOpenFile(
            this, tr("Select the Windows database to import:").toStdString(),
            typed.empty() ? settings_.AppPath : typed,
            tr("Windows databases (*.mdb *.accdb);;All files (*)").toStdString())) {
        txtImportFile_->setText(QString::fromStdString(*file));
    }
}

void frmWizNew::ChangeImportPath() {
    if (auto folder =
            ui_.BrowseFolder(this, tr("Select directory for the imported database:").toStdString(),
                             txtImportPath_->text().toStdString())) {
        txtImportPath_->setText(QString::fromStdString(*folder));
    }
}

void frmWizNew::ChangeConnectPath() {
    if (auto folder =
            ui_.BrowseFolder(this, tr("Select directory where database is located:").toStdString(),
                             txtConnectPath_->text().toStdString())) {
        txtConnectPath_->setText(QString::fromStdString(*folder));
    }
}

} // namespace wizards
