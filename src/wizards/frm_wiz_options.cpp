#include "wizards/frm_wiz_options.h"

#include "maintenance/compact.h"
#include "maintenance/diagnostics.h"
#include "maintenance/salvage.h"
#include "safety/put_back.h"
#include "safety/replacement.h"
#include "safety/safety_copy.h"
#include "util/format.h"
#include "util/paths.h"
#include "wizards/access.h"
#include "wizards/bar_progress.h"
#include "wizards/frm_restore.h"
#include "wizards/pictures.h"
#include "wizards/report_probe.h"

#include <QButtonGroup>
#include <QCoreApplication>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QRadioButton>
#include <QTreeWidget>
#include <QVBoxLayout>

#include <string>

namespace wizards {

namespace {

// The engine lists every broken cell of a damaged page, a screenful for one
// page; the first few say what is wrong.
constexpr qsizetype kFindingsShown = 3;

QString FirstFindings(const std::string& findings) {
    QStringList lines = QString::fromStdString(findings).split('\n', Qt::SkipEmptyParts);
    const qsizetype more = lines.size() - kFindingsShown;
    if (more <= 0) {
        return lines.join('\n');
    }
    lines.resize(kFindingsShown);
    return lines.join('\n') + '\n' +
           QCoreApplication::translate("wizards::frmWizOptions", "(%1 more lines)").arg(more);
}

} // namespace

frmWizOptions::frmWizOptions(const WizardContext& context, QWidget* parent)
    : WizardWindow(context.settings, context.ui, "frmWizOptions", tr("Ketrova Database Wizard"), 5,
                   "options", parent),
      context_(context) {
    SetPageHeading(PageChoice, tr("Database maintenance"));
    AddText(PageChoice,
            tr("This tool may be used to compress the database to conserve disk space and "
               "possibly increase performance, or to run diagnostics if you suspect there may be "
               "a problem with the database."));
    PageLayout(PageChoice)->addSpacing(6);
    const char* const options[] = {
        QT_TR_NOOP("Compress the Database"), QT_TR_NOOP("Run Database Diagnostics"),
        QT_TR_NOOP("Restore the Database"), QT_TR_NOOP("Put back a safety copy"),
        QT_TR_NOOP("Salvage a damaged database")};
    const char* const effects[] = {
        QT_TR_NOOP("Makes the database file smaller and faster; a safety copy is kept"),
        QT_TR_NOOP("Checks the database and writes a report to read or send to support"),
        QT_TR_NOOP("Opens the restore window, to bring back files from a backup archive"),
        QT_TR_NOOP("Puts back the database as it was before an earlier operation"),
        QT_TR_NOOP("Reads every row that can still be read into a new database")};
    auto* group = new QButtonGroup(this);
    for (int i = 0; i < 5; ++i) {
        optOptions_[i] = new QRadioButton(tr(options[i]), Page(PageChoice));
        optOptions_[i]->setObjectName(QString("optOptions_%1").arg(i));
        Describe(optOptions_[i], {}, tr(effects[i]));
        group->addButton(optOptions_[i], i);
        PageLayout(PageChoice)->addWidget(optOptions_[i]);
    }
    optOptions_[0]->setChecked(true);
    connect(group, &QButtonGroup::idClicked, this, [this](int id) { OptionChosen(id); });
    // Salvage is offered only for a database the engine finds damaged.
    if (util::FileExists(settings_.DBFile)) {
        ui_.SetBusy(true);
        damage_ = safety::CheckIntegrity(settings_.DBFile, false);
        ui_.SetBusy(false);
    }
    optOptions_[4]->setVisible(!damage_.empty());
    if (!damage_.empty()) {
        PageLayout(PageChoice)->addSpacing(8);
        AddText(PageChoice,
                tr("The database fails the engine's check. Salvage reads every row that can "
                   "still be read into a new database, and can then put it in the damaged one's "
                   "place."),
                "lblDamaged");
    }
    PageLayout(PageChoice)->addStretch(1);

    SetPageHeading(PageCompress, tr("Compress the database"));
    AddText(PageCompress,
            tr("Please be sure all other Ketrova programs are closed before beginning "
               "database compression. Press the Start button when ready."));
    PageLayout(PageCompress)->addSpacing(8);
    lblRunning_ = AddText(PageCompress, tr("Compressing the database, please wait ..."),
                          "lblCompressRunning", tr("Shown while the compression runs"));
    lblRunning_->hide();
    auto* resultRow = new QHBoxLayout;
    resultRow->setSpacing(12);
    imgSuccess_ = new QLabel(Page(PageCompress));
    imgSuccess_->setObjectName("imgSuccess");
    imgSuccess_->setPixmap(SuccessPicture(40));
    imgSuccess_->setAlignment(Qt::AlignTop);
    Describe(imgSuccess_, tr("Success"), tr("A green tick: the compression succeeded"));
    lblResult_ = new QLabel(Page(PageCompress));
    lblResult_->setObjectName("lblResult");
    lblResult_->setWordWrap(true);
    lblResult_->setAlignment(Qt::AlignTop | Qt::AlignLeft);
    lblResult_->setTextInteractionFlags(Qt::TextSelectableByMouse);
    Describe(lblResult_, {}, tr("How the compression ended, with the sizes before and after"));
    resultRow->addWidget(imgSuccess_);
    resultRow->addWidget(lblResult_, 1);
    PageLayout(PageCompress)->addLayout(resultRow);
    PageLayout(PageCompress)->addStretch(1);

    SetPageHeading(PageFinish, tr("Ketrova Database Wizard"));
    lblFinish_ = AddText(PageFinish, tr("Press Finish to close this wizard."), "lblFinish",
                         tr("What pressing Finish does, or how the wizard ended"));
    PageLayout(PageFinish)->addStretch(1);

    SetPageHeading(PageCopies, tr("Put back a safety copy"));
    AddText(PageCopies,
            tr("Before each upgrade, compression or put-back Ketrova keeps the database as it "
               "was. Choose the copy to put back and press Start: it takes the database's place "
               "with its version file, and the database as it is now is kept as a safety copy of "
               "its own."));
    lstCopies_ = new QTreeWidget(Page(PageCopies));
    lstCopies_->setObjectName("lstCopies");
    Describe(lstCopies_, tr("Safety copies"),
             tr("The copies kept of this database, by when and before what they were made"));
    // The name last: it is long, and the time and operation tell the copies apart.
    lstCopies_->setHeaderLabels({tr("Date and time"), tr("Operation"), tr("Size"), tr("Name")});
    lstCopies_->setRootIsDecorated(false);
    lstCopies_->setSelectionMode(QAbstractItemView::SingleSelection);
    PageLayout(PageCopies)->addWidget(lstCopies_, 1);
    lblNoCopies_ =
        AddText(PageCopies, tr("There are no safety copies of this database yet."), "lblNoCopies");
    connect(lstCopies_, &QTreeWidget::itemSelectionChanged, this, [this] {
        if (Tag(ActionButton) == "COPIES_2") {
            Button(ActionButton)->setEnabled(!lstCopies_->selectedItems().isEmpty());
        }
    });

    SetPageHeading(PageSalvage, tr("Salvage a damaged database"));
    lblSalvageIntro_ = AddText(PageSalvage, {}, "lblSalvageIntro",
                               tr("What the check found and where the salvage writes"));
    salvageRun_ = AddRunWidgets(PageSalvage, tr("Salvaging the database ..."));
    lstSalvaged_ = new QTreeWidget(Page(PageSalvage));
    lstSalvaged_->setObjectName("lstSalvaged");
    Describe(lstSalvaged_, tr("Rows per table"),
             tr("For each table, the rows the damaged database could count and the rows read "
                "back"));
    lstSalvaged_->setHeaderLabels({tr("Table"), tr("Rows before"), tr("Rows salvaged")});
    lstSalvaged_->setRootIsDecorated(false);
    lstSalvaged_->setSelectionMode(QAbstractItemView::NoSelection);
    PageLayout(PageSalvage)->addWidget(lstSalvaged_, 1);
    lblSalvageResult_ = AddText(PageSalvage, {}, "lblSalvageResult",
                                tr("How many rows came back, and where they are"));

    Register("START_OPTIONS", [this] { Start_Options(); });
    Register("COMPRESS_1", [this] { Compress_1(); });
    Register("COMPRESS_2", [this] { Compress_2(); });
    Register("FINISH_SUCCESS", [this] { Finish_Success(); });
    Register("FINISH_FAILURE", [this] { Finish_Failure(); });
    Register("DIAGS", [this] { Diags(); });
    Register("RUNDIAGS", [this] { RunDiags(); });
    Register("RESTORE", [this] { Restore(); });
    Register("START_RESTORE", [this] { StartRestore(); });
    Register("COPIES", [this] { Copies_1(); });
    Register("COPIES_2", [this] { Copies_2(); });
    Register("SALVAGE_1", [this] { Salvage_1(); });
    Register("SALVAGE_2", [this] { Salvage_2(); });
    Register("SALVAGE_3", [this] { Salvage_3(); });
    Register("SALVAGE_4", [this] { Salvage_4(); });
    Register("SALVAGE_FAILURE", [this] {
        lblFinish_->setText(FailurePageText(tr("Database salvage failure."), settings_, ""));
        ResetAll(false, true, true, FaceSuccess);
        SetPageHeading(PageFinish, tr("Salvage failed"));
        ShowPage(PageFinish);
    });
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
    } else if (optOptions_[3]->isChecked()) {
        SetTag(ActionButton, "COPIES");
    } else if (optOptions_[4]->isChecked()) {
        SetTag(ActionButton, "SALVAGE_1");
    } else {
        SetTag(ActionButton, "DIAGS");
    }
    ShowPage(PageChoice);
}

void frmWizOptions::OptionChosen(int index) {
    const char* const words[] = {"COMPRESS_1", "DIAGS", "RESTORE", "COPIES", "SALVAGE_1"};
    if (index >= 0 && index < 5) {
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
    safetyCopy_.clear();
    RunLocked([&] {
        RunLogScope log(settings_);
        try {
            compacted =
                maintenance::CompactDB(settings_, ui_, message, context_.clock, &safetyCopy_);
        } catch (const std::exception& e) {
            compacted = false;
            message = tr("The following error has occured:\r\n%1").arg(e.what()).toStdString();
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
        tr("You have selected to run database diagnostics. When you press the Finish button the "
           "diagnostics will begin and may take a few minues. When it has completed the results "
           "will be displayed for you to review or send to support for help."));
    ResetAll(true, true, true, FaceSuccess);
    SetTag(BackButton, "START_OPTIONS");
    SetTag(ActionButton, "RUNDIAGS");
    SetPageHeading(PageFinish, tr("Run database diagnostics"));
    ShowPage(PageFinish);
}

void frmWizOptions::Restore() {
    lblFinish_->setText(
        tr("You have selected to restore database files. When you press the Finish button the "
           "restore screen will start. It is recommended you close all other applications "
           "before initiating a restore."));
    ResetAll(true, true, true, FaceSuccess);
    SetTag(BackButton, "START_OPTIONS");
    SetTag(ActionButton, "START_RESTORE");
    SetPageHeading(PageFinish, tr("Restore the database"));
    ShowPage(PageFinish);
}

void frmWizOptions::Finish_Success() {
    lblFinish_->setText(
        SuccessPageText(tr("The database compression was successful."), safetyCopy_));
    ResetAll(false, true, true, FaceSuccess);
    SetPageHeading(PageFinish, tr("Compression complete"));
    ShowPage(PageFinish);
}

void frmWizOptions::Finish_Failure() {
    lblFinish_->setText(
        FailurePageText(tr("Database compression failure."), settings_, safetyCopy_));
    // The finishing face that closes: this wizard starts nothing afterwards.
    ResetAll(false, true, true, FaceSuccess);
    SetPageHeading(PageFinish, tr("Compression failed"));
    ShowPage(PageFinish);
}

void frmWizOptions::Copies_1() {
    lstCopies_->clear();
    for (const auto& copy : safety::ListSafetyCopies(settings_.DBFile)) {
        auto* item = new QTreeWidgetItem(
            lstCopies_, {QString::fromStdString(copy.taken), QString::fromStdString(copy.operation),
                         QString::fromStdString(util::Format(double(copy.size), "#,###")),
                         QString::fromStdString(copy.name)});
        item->setTextAlignment(2, Qt::AlignRight | Qt::AlignVCenter);
        item->setData(0, Qt::UserRole, QString::fromStdString(copy.name));
    }
    for (int column = 0; column < lstCopies_->columnCount(); ++column) {
        lstCopies_->resizeColumnToContents(column);
    }
    lblNoCopies_->setVisible(lstCopies_->topLevelItemCount() == 0);
    ResetAll(true, false, true, FaceStart);
    SetTag(BackButton, "START_OPTIONS");
    SetTag(ActionButton, "COPIES_2");
    ShowPage(PageCopies);
}

void frmWizOptions::Copies_2() {
    const auto selected = lstCopies_->selectedItems();
    if (selected.isEmpty()) {
        return;
    }
    const std::string name = selected.front()->data(0, Qt::UserRole).toString().toStdString();
    ResetAll(false, false, false, FaceNext);
    ShowPage(PageCopies);
    safety::SafetyCopy kept;
    std::string error;
    const bool ok = RunLogged(
        [&] { return safety::PutBackSafetyCopy(settings_, name, context_.clock, kept, error); });
    const QString first = tr("The safety copy %1 was put back.").arg(QString::fromStdString(name));
    lblFinish_->setText(
        ok ? SuccessPageText(first, kept.path)
           : FailurePageText(tr("The safety copy could not be put back."), settings_, kept.path));
    ResetAll(false, true, true, FaceSuccess);
    SetPageHeading(PageFinish, ok ? tr("Safety copy put back") : tr("Putting back failed"));
    ShowPage(PageFinish);
}

void frmWizOptions::Salvage_1() {
    salvaged_ = maintenance::FreeSalvageName(settings_.DBPath);
    lblSalvageIntro_->setText(
        tr("The engine's check of the database found: %1\n\nSalvage reads every row that can "
           "still be read into a new database, %2; the damaged database stays as it is until you "
           "choose to replace it. Press Start when ready.")
            .arg(FirstFindings(damage_), QString::fromStdString(salvaged_)));
    salvageRun_.Hide();
    lstSalvaged_->clear();
    lstSalvaged_->hide();
    lblSalvageResult_->clear();
    ResetAll(true, true, true, FaceStart);
    SetTag(BackButton, "START_OPTIONS");
    SetTag(ActionButton, "SALVAGE_2");
    ShowPage(PageSalvage);
}

void frmWizOptions::Salvage_2() {
    ResetAll(false, false, false, FaceNext);
    ShowPage(PageSalvage);
    salvageRun_.ShowEmpty();
    maintenance::SalvageOutcome outcome;
    const bool ok = RunLogged([&] {
        BarProgress progress(salvageRun_.bar, salvageRun_.status);
        return maintenance::SalvageDB(settings_, progress, ui_, context_.clock, {salvaged_, false},
                                      outcome);
    });
    int64_t rows = 0;
    for (const maintenance::SalvagedTable& t : outcome.Tables) {
        auto* item = new QTreeWidgetItem(lstSalvaged_,
                                         {QString::fromStdString(t.Name),
                                          t.Before < 0 ? QString("?") : QString::number(t.Before),
                                          QString::number(t.After)});
        item->setTextAlignment(1, Qt::AlignRight | Qt::AlignVCenter);
        item->setTextAlignment(2, Qt::AlignRight | Qt::AlignVCenter);
        rows += t.After;
    }
    for (int column = 0; column < lstSalvaged_->columnCount(); ++column) {
        lstSalvaged_->resizeColumnToContents(column);
    }
    lstSalvaged_->show();
    if (ok) {
        lblSalvageResult_->setText(
            tr("%1 rows of %2 tables were read into %3. Press Next to choose whether it replaces "
               "the damaged database.")
                .arg(rows)
                .arg(outcome.Tables.size())
                .arg(QString::fromStdString(salvaged_)));
    }
    ResetAll(false, true, true, FaceNext);
    SetTag(ActionButton, ok ? "SALVAGE_3" : "SALVAGE_FAILURE");
    ShowPage(PageSalvage);
}

void frmWizOptions::Salvage_3() {
    lblFinish_->setText(
        tr("The salvaged database is ready at %1.\n\nPress Start to put it in the place of the "
           "damaged database. The damaged database is kept in the SafetyCopies folder beside "
           "it.\n\nPress Cancel to leave both as they are.")
            .arg(QString::fromStdString(salvaged_)));
    ResetAll(false, true, true, FaceStart);
    SetTag(ActionButton, "SALVAGE_4");
    SetPageHeading(PageFinish, tr("Put the salvaged database in place"));
    ShowPage(PageFinish);
}

void frmWizOptions::Salvage_4() {
    ResetAll(false, false, false, FaceNext);
    ShowPage(PageFinish);
    safety::SafetyCopy kept;
    std::string error;
    const bool ok = RunLogged([&] {
        return maintenance::PutSalvagedInPlace(settings_, salvaged_, context_.clock, kept, error);
    });
    lblFinish_->setText(
        ok ? SuccessPageText(tr("The salvaged database is now in place."), kept.path)
           : FailurePageText(tr("The salvaged database could not be put in place."), settings_,
                             kept.path));
    ResetAll(false, true, true, FaceSuccess);
    SetPageHeading(PageFinish,
                   ok ? tr("Salvaged database in place") : tr("Putting it in place failed"));
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
