#include "wizards/frm_wiz_new.h"

#include "create/create_db.h"
#include "platform/environment.h"
#include "startup/registry.h"
#include "startup/start_mode.h"
#include "util/paths.h"
#include "wizards/access.h"
#include "wizards/bar_progress.h"

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
    : WizardWindow(context.settings, context.ui, "frmWizNew", tr("Ketrova Database Wizard"), 5,
                   "create", parent),
      context_(context) {
    SetPageHeading(PageChoice, tr("Welcome to the Ketrova Database Wizard"));
    AddText(PageChoice, tr("No Ketrova database was found for this computer. You can create a new, "
                           "empty database, or tell Ketrova where an existing database is kept."));
    optNewDB_ = new QRadioButton(tr("&Create a new database"), Page(PageChoice));
    optNewDB_->setObjectName("optNewDB");
    Describe(optNewDB_, {}, tr("Builds a new, empty database in a folder you choose"));
    optConnect_ = new QRadioButton(tr("C&onnect to an existing database"), Page(PageChoice));
    optConnect_->setObjectName("optConnect");
    Describe(optConnect_, {}, tr("Tells Ketrova the folder of a database it already has"));
    auto* group = new QButtonGroup(this);
    group->addButton(optNewDB_);
    group->addButton(optConnect_);
    optNewDB_->setChecked(true);
    PageLayout(PageChoice)->addSpacing(6);
    PageLayout(PageChoice)->addWidget(optNewDB_);
    PageLayout(PageChoice)->addWidget(optConnect_);
    PageLayout(PageChoice)->addSpacing(12);
    lblStoreProblem_ =
        AddText(PageChoice, {}, "lblStoreProblem", tr("Why the settings store cannot be used"));
    lblStoreProblem_->setTextInteractionFlags(Qt::TextSelectableByMouse);
    PageLayout(PageChoice)->addStretch(1);
    connect(optNewDB_, &QRadioButton::toggled, this, [this] { OptionChosen(); });

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
    const RunWidgets run = AddRunWidgets(PageCreate, tr("Creating the database ..."));
    lblDBCreate_ = run.caption;
    pgbMakeDB_ = run.bar;
    lblCreateStatus_ = run.status;
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
    Register("EXIT", [this] {
        startup::LaunchAppStart(settings_, ui_);
        close();
    });
    Register("FAILED", [this] { close(); });
    Register("CANCEL", [this] { close(); });

    NODB();
}

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
    SetTag(ActionButton, optConnect_->isChecked() ? "BROWSECONNECT" : "NEWDBPATH");
}

void frmWizNew::NewDBPath() {
    ResetAll(true, true, true, FaceNext);
    txtNewPath_->setText(QString::fromStdString(settings_.AppPath + "db/"));
    SetTag(BackButton, "NODB");
    SetTag(ActionButton, "CREATEDB_1");
    ShowPage(PageNewPath);
}

void frmWizNew::CreateDB_1() {
    const std::string folder = util::AddBackslash(txtNewPath_->text().toStdString());
    if (!UsableFolder(folder)) {
        ui_.MessageBox(tr(kInvalidDirectory).toStdString(), util::Buttons::OK,
                       util::Icon::Exclamation, tr("Invalid Directory").toStdString());
        return;
    }
    if (util::FileExists(folder + "Ketrova.mdb") &&
        // Yes replaces the user's data: only a deliberate click may give it.
        ui_.MessageBox(tr(kDatabaseExists).toStdString(), util::Buttons::YesNoDefaultNo,
                       util::Icon::Question,
                       tr("Database Exists").toStdString()) != util::Answer::Yes) {
        return;
    }
    WarnIfOnNetworkShare(folder);
    newFolder_ = folder;
    ResetAll(true, true, true, FaceStart);
    SetTag(BackButton, "NEWDBPATH");
    SetTag(ActionButton, "CREATEDB_2");
    lblCreateFolder_->setText(QString::fromStdString(folder));
    lblDBCreate_->hide();
    pgbMakeDB_->hide();
    lblCreateStatus_->hide();
    ShowPage(PageCreate);
}

void frmWizNew::CreateDB_2() {
    lblDBCreate_->show();
    pgbMakeDB_->setValue(0);
    pgbMakeDB_->show();
    lblCreateStatus_->clear();
    lblCreateStatus_->show();
    bool created = false;
    kept_ = {};
    RunLocked([&] {
        RunLogScope log(settings_);
        BarProgress progress(pgbMakeDB_, lblCreateStatus_);
        try {
            created = create::CreateNewDB(settings_, context_.connection, progress, ui_,
                                          context_.clock, newFolder_, &kept_);
        } catch (...) {
            // Whatever escaped the creation, the user must land on the failure page.
            created = false;
        }
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
    SetPageHeading(PageFinish, tr("Database connected"));
    lblFinish_->setText(tr("Ketrova will now use the database in %1\n\nPress Next to continue.")
                            .arg(QString::fromStdString(folder)));
    ShowPage(PageFinish);
}

void frmWizNew::Finish_Success() {
    ResetAll(false, true, true, FaceSuccess);
    SetPageHeading(PageFinish, tr("The database is ready"));
    lblFinish_->setText(tr("The Ketrova database is now ready for use.") + "\n\n" + BackupAdvice() +
                        KeptCopyText());
    ShowPage(PageFinish);
}

void frmWizNew::Finish_Failure() {
    ResetAll(false, true, true, FaceFailure);
    SetPageHeading(PageFinish, tr("The database could not be created"));
    const std::string cause = startup::LastErrorLine(startup::RunLogPath(settings_));
    lblFinish_->setText(
        FailureText(tr("Database creation failure."), startup::RunLogFolder(settings_)) +
        (cause.empty() ? QString() : "\n\n" + tr("Cause: %1").arg(QString::fromStdString(cause))) +
        KeptCopyText());
    ShowPage(PageFinish);
}

QString frmWizNew::KeptCopyText() const {
    if (kept_.path.empty()) {
        return {};
    }
    return "\n\n" + tr("The database that was there before is kept:\n%1")
                        .arg(QString::fromStdString(safety::SafetyCopyLine(kept_)));
}

void frmWizNew::ChangeNewPath() {
    if (auto folder = ui_.BrowseFolder(this, tr("Select directory for new database:").toStdString(),
                                       txtNewPath_->text().toStdString())) {
        txtNewPath_->setText(QString::fromStdString(*folder));
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
