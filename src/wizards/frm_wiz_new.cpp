#include "wizards/frm_wiz_new.h"

#include "create/create_db.h"
#include "import/import_jet.h"
#include "platform/environment.h"
#include "startup/locator.h"
#include "startup/registry.h"
#include "startup/start_mode.h"
#include "util/paths.h"
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

const char* const kInvalidDirectory =
    "The directory path selected is not valid. Please select a directory\n"
    "that exists and you have access rights to, and also make sure\n"
    "there is disk space avaliable.\n\nPress OK to continue.";

const char* const kDatabaseExists =
    "A database already exists at the selected location. If you choose to\n"
    "create a new database the old one will be overwritten and you will lose \n"
    "all existing data.\n\nDo you want to continue creating a new database?";

// Asked before an import replaces a database; No, the default, keeps it.
std::string ImportOverwriteText(const std::string& folder) {
    return "A database already exists at the selected location:\n" + util::AddBackslash(folder) +
           "Ketrova.mdb\n\nIf you continue, the imported database takes its place. The "
           "database that is there now is kept in the SafetyCopies folder beside it.\n\nDo "
           "you want to replace it with the imported database?";
}

// A folder the new database can be written into: it exists and we may create
// files there. The same test as ostrand-cli's, so both refuse the same folders.
bool UsableFolder(const std::string& folder) {
    return util::FolderExists(folder) && platform::FolderWritable(folder);
}

} // namespace

frmWizNew::frmWizNew(const WizardContext& context, QWidget* parent)
    : WizardWindow(context.settings, context.ui, "frmWizNew", "Ketrova Database Wizard", 7,
                   "create", parent),
      context_(context) {
    SetPageHeading(PageChoice, "Welcome to the Ketrova Database Wizard");
    AddText(PageChoice,
            "No Ketrova database was found for this computer. You can create a new, empty "
            "database, bring over the database Ketrova kept on Windows, or tell Ketrova where an "
            "existing database is kept.");
    optNewDB_ = new QRadioButton("&Create a new database", Page(PageChoice));
    optNewDB_->setObjectName("optNewDB");
    optImport_ = new QRadioButton("&Import a database from Windows", Page(PageChoice));
    optImport_->setObjectName("optImport");
    optConnect_ = new QRadioButton("C&onnect to an existing database", Page(PageChoice));
    optConnect_->setObjectName("optConnect");
    auto* group = new QButtonGroup(this);
    PageLayout(PageChoice)->addSpacing(6);
    for (QRadioButton* option : {optNewDB_, optImport_, optConnect_}) {
        group->addButton(option);
        PageLayout(PageChoice)->addWidget(option);
        connect(option, &QRadioButton::toggled, this, [this] { OptionChosen(); });
    }
    optNewDB_->setChecked(true);
    PageLayout(PageChoice)->addSpacing(12);
    lblStoreProblem_ = AddText(PageChoice, {}, "lblStoreProblem");
    lblStoreProblem_->setTextInteractionFlags(Qt::TextSelectableByMouse);
    PageLayout(PageChoice)->addStretch(1);

    SetPageHeading(PageNewPath, "Location of the new database");
    AddText(PageNewPath, "Choose the folder in which the new database will be created. The "
                         "folder must already exist.");
    txtNewPath_ = AddFolderRow(PageNewPath, "txtNewPath", "cmdChangeNewPath", "CHANGENEWPATH");
    PageLayout(PageNewPath)->addStretch(1);

    SetPageHeading(PageCreate, "Ready to create the database");
    AddText(PageCreate, "The new database will be created in:");
    lblCreateFolder_ = AddText(PageCreate, {}, "lblCreateFolder");
    lblCreateFolder_->setTextInteractionFlags(Qt::TextSelectableByMouse);
    QFont bold = lblCreateFolder_->font();
    bold.setBold(true);
    lblCreateFolder_->setFont(bold);
    lblCreateFolder_->setContentsMargins(12, 0, 0, 0);
    AddText(PageCreate, "Press Start to create it.");
    PageLayout(PageCreate)->addSpacing(12);
    createRun_ = AddRunWidgets(PageCreate, "Creating the database ...");
    PageLayout(PageCreate)->addStretch(1);

    SetPageHeading(PageConnect, "Connect to an existing database");
    AddText(PageConnect, "Choose the folder that holds the Ketrova database (Ketrova.mdb). Next "
                         "becomes available once the database is found there.");
    txtConnectPath_ =
        AddFolderRow(PageConnect, "txtConnectPath", "cmdChangeConnectPath", "CHANGECONNECTPATH");
    PageLayout(PageConnect)->addStretch(1);
    connect(txtConnectPath_, &QLineEdit::textChanged, this, [this] { ConnectPathChanged(); });

    SetPageHeading(PageFinish, "Ketrova Database Wizard");
    lblFinish_ = AddText(PageFinish, {}, "lblFinish");
    PageLayout(PageFinish)->addStretch(1);

    SetPageHeading(PageImportPath, "Import a database from Windows");
    AddText(PageImportPath,
            "Choose the database Ketrova kept on Windows (Ketrova.mdb, or an .accdb file) and "
            "the folder for the database on this computer. The Version file beside it comes "
            "along; an older database is brought up to date by the upgrade wizard next.");
    AddText(PageImportPath, "Windows database:");
    txtImportFile_ =
        AddFolderRow(PageImportPath, "txtImportFile", "cmdChangeImportFile", "CHANGEIMPORTFILE");
    txtImportFile_->setAccessibleName("Windows database");
    // The folder row below has the other browse button, and "&B" with it.
    findChild<QPushButton*>("cmdChangeImportFile")->setText("Bro&wse...");
    AddText(PageImportPath, "Folder for the database:");
    txtImportPath_ =
        AddFolderRow(PageImportPath, "txtImportPath", "cmdChangeImportPath", "CHANGEIMPORTPATH");
    txtImportPath_->setAccessibleName("Folder for the database");
    PageLayout(PageImportPath)->addStretch(1);
    connect(txtImportFile_, &QLineEdit::textChanged, this, [this] { ImportFileChanged(); });

    SetPageHeading(PageImport, "Ready to import the database");
    lblImportFrom_ = AddText(PageImport, {}, "lblImportFrom");
    AddText(PageImport, "Press Start to import it.");
    PageLayout(PageImport)->addSpacing(12);
    importRun_ = AddRunWidgets(PageImport, "Importing the database ...");
    lblImportResult_ = AddText(PageImport, {}, "lblImportResult");
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
                                                   const std::string& replaceQuestion) {
    const std::string folder = util::AddBackslash(box->text().toStdString());
    if (!UsableFolder(folder)) {
        ui_.MessageBox(kInvalidDirectory, util::Buttons::OK, util::Icon::Exclamation,
                       "Invalid Directory");
        return std::nullopt;
    }
    if (util::FileExists(folder + "Ketrova.mdb") &&
        // Yes replaces the user's data: only a deliberate click may give it.
        ui_.MessageBox(replaceQuestion, util::Buttons::YesNoDefaultNo, util::Icon::Question,
                       "Database Exists") != util::Answer::Yes) {
        return std::nullopt;
    }
    WarnIfOnNetworkShare(folder);
    return folder;
}

void frmWizNew::CreateDB_1() {
    const std::optional<std::string> folder = ChosenFolder(txtNewPath_, kDatabaseExists);
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
        startup::RegWriteString(startup::MachineRegistry(settings_), startup::DatabasesKey,
                                settings_.AltDB, newFolder_);
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

void frmWizNew::MakeConnect() {
    const std::string folder = util::AddBackslash(txtConnectPath_->text().toStdString());
    startup::RegWriteString(startup::MachineRegistry(settings_), startup::DatabasesKey,
                            settings_.AltDB, folder);
    WarnIfOnNetworkShare(folder);
    ResetAll(false, true, true, FaceNext);
    SetTag(ActionButton, "FINISH_SUCCESS");
    SetPageHeading(PageFinish, "Database connected");
    lblFinish_->setText("Ketrova will now use the database in " + QString::fromStdString(folder) +
                        "\n\nPress Next to continue.");
    ShowPage(PageFinish);
}

void frmWizNew::Finish_Success() {
    ResetAll(false, true, true, FaceSuccess);
    SetPageHeading(PageFinish, "The database is ready");
    lblFinish_->setText(SuccessPageText("The Ketrova database is now ready for use.", kept_.path));
    ShowPage(PageFinish);
}

void frmWizNew::Finish_Failure() {
    ResetAll(false, true, true, FaceFailure);
    SetPageHeading(PageFinish, importing_ ? "The database could not be imported"
                                          : "The database could not be created");
    lblFinish_->setText(
        FailurePageText(importing_ ? "Database import failure." : "Database creation failure.",
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
    const std::optional<std::string> folder =
        ChosenFolder(txtImportPath_, ImportOverwriteText(txtImportPath_->text().toStdString()));
    if (!folder) {
        return;
    }
    newFolder_ = *folder;
    replaceExisting_ = util::FileExists(newFolder_ + "Ketrova.mdb");
    importFile_ = txtImportFile_->text().toStdString();
    ResetAll(true, true, true, FaceStart);
    SetTag(BackButton, "IMPORTPATH");
    SetTag(ActionButton, "IMPORTDB_2");
    lblImportFrom_->setText("The Windows database " + QString::fromStdString(importFile_) +
                            " will be imported into " + QString::fromStdString(newFolder_));
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
        startup::RegWriteString(startup::MachineRegistry(settings_), startup::DatabasesKey,
                                settings_.AltDB, newFolder_);
        // The database the upgrade wizard, and the suite, work on from now.
        settings_.DBPath = newFolder_;
        settings_.DBFile = newFolder_ + "Ketrova.mdb";
    }
    if (older) {
        lblImportResult_->setText(
            "The imported database is version " + QString::number(outcome.Version) +
            ". Press Next: the upgrade wizard brings it up to date." + SafetyCopyNote(kept_.path));
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
    if (auto folder = ui_.BrowseFolder(
            this, "Select directory for new database:", txtNewPath_->text().toStdString())) {
        txtNewPath_->setText(QString::fromStdString(*folder));
    }
}

void frmWizNew::ChangeImportFile() {
    const std::string typed = txtImportFile_->text().toStdString();
    if (auto file = ui_.ChooseOpenFile(this, "Select the Windows database to import:",
                                       typed.empty() ? settings_.AppPath : typed,
                                       "Windows databases (*.mdb *.accdb);;All files (*)")) {
        txtImportFile_->setText(QString::fromStdString(*file));
    }
}

void frmWizNew::ChangeImportPath() {
    if (auto folder = ui_.BrowseFolder(this, "Select directory for the imported database:",
                                       txtImportPath_->text().toStdString())) {
        txtImportPath_->setText(QString::fromStdString(*folder));
    }
}

void frmWizNew::ChangeConnectPath() {
    if (auto folder = ui_.BrowseFolder(this, "Select directory where database is located:",
                                       txtConnectPath_->text().toStdString())) {
        txtConnectPath_->setText(QString::fromStdString(*folder));
    }
}

} // namespace wizards
