#include "wizards/frm_wiz_options.h"

#include "maintenance/compact.h"
#include "maintenance/diagnostics.h"
#include "wizards/frm_restore.h"
#include "wizards/pictures.h"
#include "wizards/report_probe.h"

#include <QButtonGroup>
#include <QHBoxLayout>
#include <QLabel>
#include <QRadioButton>
#include <QVBoxLayout>

#include <string>

namespace wizards {

frmWizOptions::frmWizOptions(const WizardContext& context, QWidget* parent)
    : WizardWindow(context.settings, context.ui, "frmWizOptions", "Ketrova Database Wizard", 3,
                   "options", parent),
      context_(context) {
    SetPageHeading(PageChoice, "Database maintenance");
    AddText(PageChoice,
            "This tool may be used to compress the database to conserve disk space and possibly "
            "increase performance, or to run diagnostics if you suspect there may be a problem "
            "with the database.");
    PageLayout(PageChoice)->addSpacing(6);
    const char* const options[] = {"Compress the Database", "Run Database Diagnostics",
                                   "Restore the Database"};
    auto* group = new QButtonGroup(this);
    for (int i = 0; i < 3; ++i) {
        optOptions_[i] = new QRadioButton(options[i], Page(PageChoice));
        optOptions_[i]->setObjectName(QString("optOptions_%1").arg(i));
        group->addButton(optOptions_[i], i);
        PageLayout(PageChoice)->addWidget(optOptions_[i]);
    }
    optOptions_[0]->setChecked(true);
    connect(group, &QButtonGroup::idClicked, this, [this](int id) { OptionChosen(id); });
    PageLayout(PageChoice)->addStretch(1);

    SetPageHeading(PageCompress, "Compress the database");
    AddText(PageCompress, "Please be sure all other Ketrova programs are closed before beginning "
                          "database compression. Press the Start button when ready.");
    PageLayout(PageCompress)->addSpacing(8);
    lblRunning_ =
        AddText(PageCompress, "Compressing the database, please wait ...", "lblCompressRunning");
    lblRunning_->hide();
    auto* resultRow = new QHBoxLayout;
    resultRow->setSpacing(12);
    imgSuccess_ = new QLabel(Page(PageCompress));
    imgSuccess_->setObjectName("imgSuccess");
    imgSuccess_->setPixmap(SuccessPicture(40));
    imgSuccess_->setAlignment(Qt::AlignTop);
    lblResult_ = new QLabel(Page(PageCompress));
    lblResult_->setObjectName("lblResult");
    lblResult_->setWordWrap(true);
    lblResult_->setAlignment(Qt::AlignTop | Qt::AlignLeft);
    lblResult_->setTextInteractionFlags(Qt::TextSelectableByMouse);
    resultRow->addWidget(imgSuccess_);
    resultRow->addWidget(lblResult_, 1);
    PageLayout(PageCompress)->addLayout(resultRow);
    PageLayout(PageCompress)->addStretch(1);

    SetPageHeading(PageFinish, "Ketrova Database Wizard");
    lblFinish_ = AddText(PageFinish, "Press Finish to close this wizard.", "lblFinish");
    PageLayout(PageFinish)->addStretch(1);

    Register("START_OPTIONS", [this] { Start_Options(); });
    Register("COMPRESS_1", [this] { Compress_1(); });
    Register("COMPRESS_2", [this] { Compress_2(); });
    Register("FINISH_SUCCESS", [this] { Finish_Success(); });
    Register("FINISH_FAILURE", [this] { Finish_Failure(); });
    Register("DIAGS", [this] { Diags(); });
    Register("RUNDIAGS", [this] { RunDiags(); });
    Register("RESTORE", [this] { Restore(); });
    Register("START_RESTORE", [this] { StartRestore(); });
    Register("EXIT", [this] { close(); });
    Register("CANCEL", [this] { close(); });

    Start_Options();
}

frmWizOptions::~frmWizOptions() = default;

void frmWizOptions::Start_Options() {
    ResetAll(false, true, true, FaceNext);
    if (optOptions_[0]->isChecked()) {
        SetTag(ActionButton, "COMPRESS_1");
    } else if (optOptions_[2]->isChecked()) {
        SetTag(ActionButton, "RESTORE");
    } else {
        SetTag(ActionButton, "DIAGS");
    }
    ShowPage(PageChoice);
}

void frmWizOptions::OptionChosen(int index) {
    const char* const words[] = {"COMPRESS_1", "DIAGS", "RESTORE"};
    if (index >= 0 && index < 3) {
        SetTag(ActionButton, words[index]);
    }
}

void frmWizOptions::Compress_1() {
    ResetAll(true, true, true, FaceStart);
    SetTag(BackButton, "START_OPTIONS");
    SetTag(ActionButton, "COMPRESS_2");
    lblResult_->hide();
    imgSuccess_->hide();
    lblRunning_->hide();
    ShowPage(PageCompress);
}

void frmWizOptions::Compress_2() {
    lblResult_->hide();
    imgSuccess_->hide();
    ResetAll(false, false, false, FaceNext);
    ShowPage(PageCompress);
    lblRunning_->show();
    bool compacted = false;
    std::string message;
    RunLocked([&] {
        RunLogScope log(settings_);
        try {
            compacted = maintenance::CompactDB(settings_, ui_, message);
        } catch (const std::exception& e) {
            compacted = false;
            message = std::string("The following error has occured:\r\n") + e.what();
        }
    });
    lblRunning_->hide();
    ResetAll(false, true, true, FaceNext);
    // The core separates lines as the log does; a label wants bare line feeds.
    lblResult_->setText(QString::fromStdString(message).replace("\r\n", "\n"));
    lblResult_->show();
    imgSuccess_->setVisible(compacted);
    SetTag(ActionButton, compacted ? "FINISH_SUCCESS" : "FINISH_FAILURE");
    ShowPage(PageCompress);
}

void frmWizOptions::Diags() {
    lblFinish_->setText(
        QStringLiteral(
            "You have selected to run database diagnostics. When you press the Finish button ") +
        "the diagnostics will begin and may take a few minues. When it has completed " +
        "the results will be displayed for you to review or send to support for help.");
    ResetAll(true, true, true, FaceSuccess);
    SetTag(BackButton, "START_OPTIONS");
    SetTag(ActionButton, "RUNDIAGS");
    SetPageHeading(PageFinish, "Run database diagnostics");
    ShowPage(PageFinish);
}

void frmWizOptions::Restore() {
    lblFinish_->setText(
        QStringLiteral(
            "You have selected to restore database files. When you press the Finish button ") +
        "the restore screen will start. It is recommended you close all other applications " +
        "before initiating a restore.");
    ResetAll(true, true, true, FaceSuccess);
    SetTag(BackButton, "START_OPTIONS");
    SetTag(ActionButton, "START_RESTORE");
    SetPageHeading(PageFinish, "Restore the database");
    ShowPage(PageFinish);
}

void frmWizOptions::Finish_Success() {
    lblFinish_->setText("The database compression was successful.\n\n" + BackupAdvice());
    ResetAll(false, true, true, FaceSuccess);
    SetPageHeading(PageFinish, "Compression complete");
    ShowPage(PageFinish);
}

void frmWizOptions::Finish_Failure() {
    lblFinish_->setText(
        FailureText("Database compression failure.", startup::RunLogFolder(settings_)));
    // The finishing face that closes: this wizard starts nothing afterwards.
    ResetAll(false, true, true, FaceSuccess);
    SetPageHeading(PageFinish, "Compression failed");
    ShowPage(PageFinish);
}

void frmWizOptions::RunDiags() {
    RunLocked([&] {
        try {
            ReportProbe probe(ui_);
            maintenance::RunDiagnostics(settings_, context_.connection, ui_, context_.clock, probe);
        } catch (...) {
            // The report says what it could; the wizard closes either way.
        }
    });
    close();
}

void frmWizOptions::StartRestore() {
    if (!restore_) {
        restore_ = std::make_unique<frmRestore>(context_);
    }
    restore_->Setup();
    restore_->show();
    close();
}

} // namespace wizards
