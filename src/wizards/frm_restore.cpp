#include "wizards/frm_restore.h"

#include "backup/bar.h"
#include "backup/restore.h"
#include "startup/registry.h"
#include "util/format.h"
#include "util/paths.h"
#include "util/strings.h"
#include "wizards/access.h"
#include "wizards/form_position.h"
#include "wizards/pictures.h"
#include "wizards/wizard_window.h"

#include <QCheckBox>
#include <QCloseEvent>
#include <QDateTime>
#include <QDir>
#include <QFileInfo>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QLocale>
#include <QMimeDatabase>
#include <QPushButton>
#include <QRadioButton>
#include <QSplitter>
#include <QStyle>
#include <QTabWidget>
#include <QTreeWidget>
#include <QVBoxLayout>

namespace wizards {

namespace {

constexpr int kEntryRole = Qt::UserRole;      // file nodes: index into the entries
constexpr int kFolderRole = Qt::UserRole + 1; // folder nodes: true

enum ButtonIndex {
    ExpandButton,
    CollapseButton,
    SelectButton,
    UnselectButton,
    HelpButton,
    CancelButton,
    RestoreButton
};

QString Q(const std::string& text) {
    return QString::fromStdString(text);
}

bool IsDatabaseFile(const std::string& name) {
    const std::string upper = util::UCase(name);
    return upper == "KETROVA.MDB" || upper == "VERSION";
}

// The picture the desktop shows for files of this name's type.
QIcon FileTypeIcon(const QString& name, QStyle* style) {
    static QMimeDatabase mimes;
    const QMimeType type = mimes.mimeTypeForFile(name, QMimeDatabase::MatchExtension);
    QIcon icon = QIcon::fromTheme(type.iconName());
    if (icon.isNull()) {
        icon = QIcon::fromTheme(type.genericIconName());
    }
    return icon.isNull() ? style->standardIcon(QStyle::SP_FileIcon) : icon;
}

} // namespace

frmRestore::frmRestore(const WizardContext& context, QWidget* parent)
    : QWidget(parent, Qt::Window), context_(context) {
    setObjectName("frmRestore");
    setWindowTitle(tr("Ketrova Database Restore"));
    // No least size of our own: the layouts' keeps every control whole, in
    // any font, scale or language.
    resize(760, 520);

    auto* outer = new QVBoxLayout(this);
    outer->setContentsMargins(12, 12, 12, 12);
    outer->setSpacing(10);
    tabRestore_ = new QTabWidget(this);
    tabRestore_->setObjectName("tabRestore");
    Describe(tabRestore_, tr("Restore"),
             tr("The archives and their files, and the options of the restore"));
    outer->addWidget(tabRestore_, 1);

    // "Data": the archives and the files they hold.
    auto* fraData = new QWidget;
    fraData->setObjectName("fraData");
    auto* data = new QVBoxLayout(fraData);
    data->setContentsMargins(10, 10, 10, 10);
    auto* pathRow = new QHBoxLayout;
    lblPath_ = new QLabel(tr("Path: %1").arg(QString()), fraData);
    lblPath_->setObjectName("lblPath");
    // A long path wraps rather than widening the window past the screen.
    lblPath_->setWordWrap(true);
    lblPath_->setTextInteractionFlags(Qt::TextSelectableByMouse);
    Describe(lblPath_, {}, tr("The folder whose backup archives are listed"));
    auto* cmdSelBackupDir = new QPushButton(tr("Backup &Folder..."), fraData);
    cmdSelBackupDir->setObjectName("cmdSelBackupDir");
    cmdSelBackupDir->setAutoDefault(true);
    Describe(cmdSelBackupDir, {}, tr("Chooses another folder of backup archives"));
    connect(cmdSelBackupDir, &QPushButton::clicked, this, [this] { ChooseBackupFolder(); });
    pathRow->addWidget(lblPath_, 1);
    pathRow->addWidget(cmdSelBackupDir);
    data->addLayout(pathRow);

    auto* split = new QSplitter(Qt::Horizontal, fraData);
    lstArchives_ = new QTreeWidget(split);
    lstArchives_->setObjectName("lstArchives");
    lstArchives_->setColumnCount(1);
    lstArchives_->setHeaderLabels({tr("Backup archives")});
    Describe(lstArchives_, tr("Backup archives"),
             tr("The backup archives in the folder, by the time they were made"));
    lstArchives_->setRootIsDecorated(false);
    lstArchives_->setUniformRowHeights(true);
    connect(lstArchives_, &QTreeWidget::currentItemChanged, this, [this](QTreeWidgetItem* item) {
        if (item) {
            SelectArchive(lstArchives_->indexOfTopLevelItem(item));
        }
    });
    trvFiles_ = new QTreeWidget(split);
    trvFiles_->setObjectName("trvFiles");
    trvFiles_->setColumnCount(1);
    trvFiles_->setHeaderLabels({tr("Files in the archive")});
    Describe(trvFiles_, tr("Files in the archive"),
             tr("The files of the chosen archive by folder; tick those to restore with Space"));
    // Folders show themselves open while expanded; files keep their own picture.
    const auto folderIcon = [](QTreeWidgetItem* item, bool open) {
        if (item && item->data(0, kFolderRole).toBool()) {
            item->setIcon(0, QIcon(FolderPicture(16, open)));
        }
    };
    connect(trvFiles_, &QTreeWidget::itemExpanded, this,
            [folderIcon](QTreeWidgetItem* item) { folderIcon(item, true); });
    connect(trvFiles_, &QTreeWidget::itemCollapsed, this,
            [folderIcon](QTreeWidgetItem* item) { folderIcon(item, false); });
    connect(trvFiles_, &QTreeWidget::itemDoubleClicked, this, [this](QTreeWidgetItem* item) {
        if (item && !item->data(0, kFolderRole).toBool()) {
            ShowInfo();
        }
    });
    lstArchives_->header()->setSectionResizeMode(QHeaderView::ResizeToContents);
    lstArchives_->header()->setStretchLastSection(false);
    split->setChildrenCollapsible(false);
    split->setStretchFactor(0, 1);
    split->setStretchFactor(1, 1);
    split->setSizes({340, 380});
    data->addWidget(split, 1);
    lblArchive_ = new QLabel(tr("Archive: %1").arg(QString()), fraData);
    lblArchive_->setObjectName("lblArchive");
    lblArchive_->setWordWrap(true);
    lblArchive_->setTextInteractionFlags(Qt::TextSelectableByMouse);
    Describe(lblArchive_, {}, tr("The chosen archive, and what is wrong with it if anything"));
    data->addWidget(lblArchive_);
    auto* treeRow = new QHBoxLayout;
    tabRestore_->addTab(fraData, tr("Data"));

    // "Options": where the files go and what happens to files already there.
    auto* fraOptions = new QWidget;
    fraOptions->setObjectName("fraOptions");
    auto* options = new QVBoxLayout(fraOptions);
    options->setContentsMargins(10, 10, 10, 10);
    options->setSpacing(12);
    auto* where = new QGroupBox(tr("Restore files to"), fraOptions);
    Describe(where, tr("Restore files to"), tr("Where the restored files are written"));
    auto* whereBox = new QVBoxLayout(where);
    optLocation_ = new QRadioButton(tr("Their &original location"), where);
    optLocation_->setObjectName("optLocation");
    Describe(optLocation_, {}, tr("Each file goes back to the path it was saved from"));
    optAltPath_ = new QRadioButton(tr("&Another folder, keeping their folder structure:"), where);
    optAltPath_->setObjectName("optAltPath");
    Describe(optAltPath_, {}, tr("The files go into the folder below, in their own folders"));
    optLocation_->setChecked(true);
    auto* altRow = new QHBoxLayout;
    txtAltPath_ = new QLineEdit(where);
    txtAltPath_->setObjectName("txtAltPath");
    Describe(txtAltPath_, tr("Another folder"), tr("The folder the files are restored into"));
    cmdSelDir_ = new QPushButton(tr("&Browse..."), where);
    cmdSelDir_->setObjectName("cmdSelDir");
    cmdSelDir_->setAutoDefault(true);
    Describe(cmdSelDir_, {}, tr("Chooses that folder in a folder dialog"));
    connect(cmdSelDir_, &QPushButton::clicked, this, [this] { ChooseRedirectFolder(); });
    altRow->addSpacing(22);
    altRow->addWidget(txtAltPath_, 1);
    altRow->addWidget(cmdSelDir_);
    whereBox->addWidget(optLocation_);
    whereBox->addWidget(optAltPath_);
    whereBox->addLayout(altRow);
    // Naming a folder is choosing to redirect; the radio button need not come first.
    connect(txtAltPath_, &QLineEdit::textEdited, this, [this] { optAltPath_->setChecked(true); });
    options->addWidget(where);

    auto* existing = new QGroupBox(tr("When a file of the same name already exists"), fraOptions);
    Describe(existing, existing->title(), tr("What happens to a file the restore would replace"));
    auto* existingBox = new QVBoxLayout(existing);
    const char* const choices[] = {QT_TR_NOOP("&Skip it and keep the existing file"),
                                   QT_TR_NOOP("&Rename the restored file (\".restored\" is added)"),
                                   QT_TR_NOOP("O&verwrite the existing file")};
    const char* const effects[] = {
        QT_TR_NOOP("The file already there stays, and the archived one is not restored"),
        QT_TR_NOOP("Both stay: the archived file is restored under a new name beside it"),
        QT_TR_NOOP("The archived file replaces the one already there")};
    for (int i = 0; i < 3; ++i) {
        optOverwrite_[i] = new QRadioButton(tr(choices[i]), existing);
        optOverwrite_[i]->setObjectName(QString("optOverwrite_%1").arg(i));
        Describe(optOverwrite_[i], {}, tr(effects[i]));
        existingBox->addWidget(optOverwrite_[i]);
    }
    // Renaming restores every file and still loses none of those already there.
    optOverwrite_[1]->setChecked(true);
    options->addWidget(existing);

    chkLinkDB_ =
        new QCheckBox(tr("&Make a restored database the active Ketrova database"), fraOptions);
    chkLinkDB_->setObjectName("chkLinkDB");
    Describe(chkLinkDB_, {}, tr("Ketrova then works on the restored database"));
    options->addWidget(chkLinkDB_);
    options->addStretch(1);
    tabRestore_->addTab(fraOptions, tr("Options"));

    auto* fraCmd = new QWidget(this);
    fraCmd->setObjectName("fraCmd");
    auto* cmd = new QHBoxLayout(fraCmd);
    cmd->setContentsMargins(0, 0, 0, 0);
    cmd->setSpacing(8);
    treeRow->addWidget(AddButton(tr("E&xpand All"), "EXPAND_TREE", ExpandButton,
                                 tr("Opens every folder of the file tree")));
    treeRow->addWidget(AddButton(tr("C&ollapse All"), "CLOSE_TREE", CollapseButton,
                                 tr("Closes every folder of the file tree")));
    treeRow->addWidget(AddButton(tr("Selec&t All"), "SELECT_TREE", SelectButton,
                                 tr("Ticks every file of the archive")));
    treeRow->addWidget(AddButton(tr("U&nselect All"), "UNSELECT_TREE", UnselectButton,
                                 tr("Unticks every file of the archive")));
    treeRow->addStretch(1);
    data->addLayout(treeRow);
    cmd->addWidget(
        AddButton(tr("&Help"), "HELP", HelpButton, tr("Opens the help page of this window")));
    cmd->addStretch(1);
    QPushButton* restore = AddButton(tr("&Restore"), "RESTORE", RestoreButton,
                                     tr("Restores the ticked files, after asking"));
    QPushButton* close = AddButton(tr("&Close"), "CANCEL", CancelButton, tr("Closes this window"));
    restore->setIcon(FacePicture("START"));
    restore->setDefault(true);
    cmd->addWidget(restore);
    cmd->addSpacing(10);
    cmd->addWidget(close);
    outer->addWidget(fraCmd);
    SetTabOrderByLayout(this);
    KeepLeastHeightForWidth(this);
}

frmRestore::~frmRestore() {
    if (context_.ui.Owner() == this) {
        context_.ui.SetOwner(nullptr);
    }
}

QPushButton* frmRestore::AddButton(const QString& caption, const QString& tag, int index,
                                   const QString& description) {
    auto* button = new QPushButton(caption, this);
    button->setObjectName(QString("cmdAction_%1").arg(index));
    button->setProperty("tag", tag);
    button->setMinimumWidth(96);
    // A button that has the focus takes Enter itself, as in a dialog.
    button->setAutoDefault(true);
    Describe(button, {}, description);
    connect(button, &QPushButton::clicked, this,
            [this, button] { RunCommand(button->property("tag").toString()); });
    if (buttons_.size() <= static_cast<size_t>(index)) {
        buttons_.resize(static_cast<size_t>(index) + 1, nullptr);
    }
    buttons_[static_cast<size_t>(index)] = button;
    return button;
}

void frmRestore::RunCommand(const QString& word) {
    if (running_) {
        return;
    }
    if (word == "EXPAND_TREE") {
        trvFiles_->expandAll();
    } else if (word == "CLOSE_TREE") {
        trvFiles_->collapseAll();
    } else if (word == "SELECT_TREE") {
        SetAllChecks(Qt::Checked);
    } else if (word == "UNSELECT_TREE") {
        SetAllChecks(Qt::Unchecked);
    } else if (word == "HELP") {
        context_.ui.OpenDocument(HelpPage(startup::DataFolder(context_.settings), "restore"));
    } else if (word == "CANCEL") {
        close();
    } else if (word == "RESTORE") {
        Init_Restore();
    }
}

void frmRestore::Setup() {
    // From here on the questions belong to this window, not to the wizard that opened it.
    context_.ui.SetOwner(this);
    QtFormWindow form(this);
    startup::RestoreFormPosition(startup::MachineRegistry(context_.settings), form);
    SetBackupFolder(backup::GetBackupFolder(context_.settings));
}

void frmRestore::SetBackupFolder(const std::string& folder) {
    backupFolder_ = folder;
    lblPath_->setText(tr("Path: %1").arg(Q(folder)));
    ListArchives();
}

void frmRestore::ListArchives() {
    lstArchives_->clear();
    archivePaths_.clear();
    archive_.clear();
    entries_.clear();
    trvFiles_->clear();
    lblArchive_->setText(tr("Archive: %1").arg(QString()));
    const QDir dir(Q(util::AddBackslash(backupFolder_)));
    // Unsorted: the rows follow the folder's own order, as the directory search gives it.
    const QFileInfoList found =
        dir.entryInfoList({"Ketrova.*.kbx"}, QDir::Files | QDir::Hidden, QDir::Unsorted);
    const QLocale locale;
    for (const QFileInfo& file : found) {
        auto* row = new QTreeWidgetItem(lstArchives_);
        row->setText(0, tr("Database backed up: %1")
                            .arg(locale.toString(file.lastModified(), QLocale::ShortFormat)));
        row->setToolTip(0, file.filePath());
        row->setIcon(0, QIcon(DatabasePicture(16)));
        archivePaths_.push_back(file.filePath().toStdString());
    }
}

QStringList frmRestore::ArchivePaths() const {
    QStringList paths;
    for (const std::string& p : archivePaths_) {
        paths << Q(p);
    }
    return paths;
}

void frmRestore::SelectArchive(int row) {
    if (row < 0 || row >= static_cast<int>(archivePaths_.size())) {
        return;
    }
    if (lstArchives_->currentItem() != lstArchives_->topLevelItem(row)) {
        lstArchives_->setCurrentItem(lstArchives_->topLevelItem(row)); // comes back here
        return;
    }
    LoadArchive(archivePaths_[static_cast<size_t>(row)]);
}

void frmRestore::LoadArchive(const std::string& archive) {
    archive_ = archive;
    entries_.clear();
    // A file that only looks like an archive by its name lists nonsense;
    // a damaged one still gives what comes before the damage.
    const backup::ArchiveCheck check = backup::CheckArchive(archive);
    lblArchive_->setText(
        tr("Archive: %1").arg(Q(archive)) +
        (check.problem.empty() ? QString() : "\n" + tr("This file %1").arg(Q(check.problem))));
    if (check.isArchive) {
        backup::BaR_ReadDirectory(archive, entries_);
    }
    trvFiles_->clear();
    for (size_t i = 0; i < entries_.size(); ++i) {
        Tree_AddPath(entries_[i].FileName, static_cast<int>(i));
    }
}

QTreeWidgetItem* frmRestore::Tree_AddPath(const std::string& storedPath, int entryIndex) {
    const std::string path = util::Trim(storedPath);
    // Separators are looked for from the third character on, so that a drive
    // such as "C:" stays in the first node.
    std::vector<std::string> parts;
    size_t start = 0;
    for (size_t i = 2; i < path.size(); ++i) {
        if (path[i] == '\\' || path[i] == '/') {
            parts.push_back(path.substr(start, i - start));
            start = i + 1;
        }
    }
    parts.push_back(path.substr(start));

    QTreeWidgetItem* parent = nullptr;
    for (size_t n = 0; n < parts.size(); ++n) {
        const QString text = Q(parts[n]);
        const bool isFile = n + 1 == parts.size();
        QTreeWidgetItem* node = nullptr;
        if (!isFile) {
            const int count = parent ? parent->childCount() : trvFiles_->topLevelItemCount();
            for (int c = 0; c < count && !node; ++c) {
                QTreeWidgetItem* child = parent ? parent->child(c) : trvFiles_->topLevelItem(c);
                if (child->data(0, kFolderRole).toBool() && child->text(0) == text) {
                    node = child;
                }
            }
        }
        if (!node) {
            node = parent ? new QTreeWidgetItem(parent) : new QTreeWidgetItem(trvFiles_);
            node->setText(0, text);
            if (isFile) {
                node->setData(0, kEntryRole, entryIndex);
                node->setFlags(node->flags() | Qt::ItemIsUserCheckable);
                node->setIcon(0, IsDatabaseFile(parts[n]) ? QIcon(DatabasePicture(16))
                                                          : FileTypeIcon(text, style()));
                node->setToolTip(0, Q(path));
            } else {
                node->setData(0, kFolderRole, true);
                node->setFlags(node->flags() | Qt::ItemIsUserCheckable | Qt::ItemIsAutoTristate);
                node->setIcon(0, QIcon(FolderPicture(16, false)));
            }
            node->setCheckState(0, Qt::Unchecked);
        }
        parent = node;
    }
    return parent;
}

void frmRestore::SetAllChecks(Qt::CheckState state) {
    for (int i = 0; i < trvFiles_->topLevelItemCount(); ++i) {
        trvFiles_->topLevelItem(i)->setCheckState(0, state); // children follow their folder
    }
}

void frmRestore::MarkSelection() {
    for (auto& entry : entries_) {
        entry.Selected = 0;
    }
    for (QTreeWidgetItemIterator it(trvFiles_); *it; ++it) {
        const QVariant index = (*it)->data(0, kEntryRole);
        if (index.isValid() && (*it)->checkState(0) == Qt::Checked) {
            entries_[static_cast<size_t>(index.toInt())].Selected = 1;
        }
    }
}

void frmRestore::ShowInfo() {
    QTreeWidgetItem* item = trvFiles_->currentItem();
    if (!item || !item->data(0, kEntryRole).isValid()) {
        return;
    }
    const backup::ArchiveEntry& e =
        entries_[static_cast<size_t>(item->data(0, kEntryRole).toInt())];
    const QString text = tr("Selected File Details:\n\nPath : %1\nSize  : %2 bytes\nDate : "
                            "%3\nType : %4\n\nPress OK to Continue")
                             .arg(Q(util::Trim(e.FileName)), Q(util::Format(e.FileLength, "#,###")),
                                  Q(e.FileDate), Q(std::string(backup::FileTypeName(e.FileType))));
    context_.ui.MessageBox(text.toStdString(), util::Buttons::OK, util::Icon::Information,
                           tr("Archived File Information").toStdString());
}

void frmRestore::Init_Restore() {
    MarkSelection();
    backup::RestoreOptions options;
    options.Existing = optOverwrite_[0]->isChecked()   ? backup::ExistingFiles::Skip
                       : optOverwrite_[2]->isChecked() ? backup::ExistingFiles::Overwrite
                                                       : backup::ExistingFiles::Rename;
    options.LinkDatabase = chkLinkDB_->isChecked();
    if (optAltPath_->isChecked()) {
        options.RedirectFolder = util::Trim(txtAltPath_->text().toStdString());
    }

    // From the first question to the summary nothing else may be pressed: the
    // restore lets events through between files.
    // The command works on its own copy: choosing another archive while it
    // runs must not change the list under its feet.
    const std::string archive = archive_;
    const std::vector<backup::ArchiveEntry> entries = entries_;
    running_ = true;
    tabRestore_->setEnabled(false);
    for (QPushButton* b : buttons_) {
        b->setEnabled(false);
    }
    try {
        backup::RunRestoreCommand(context_.settings, archive, entries, options, context_.ui,
                                  context_.clock);
    } catch (...) {
        // The command reports through its boxes and the log; nothing may escape a click.
    }
    for (QPushButton* b : buttons_) {
        b->setEnabled(true);
    }
    tabRestore_->setEnabled(true);
    running_ = false;
}

void frmRestore::ChooseBackupFolder() {
    if (auto folder = context_.ui.BrowseFolder(
            this, tr("Select the directory where the Ketrova backups are located:").toStdString(),
            backupFolder_)) {
        SetBackupFolder(*folder);
    }
}

void frmRestore::ChooseRedirectFolder() {
    if (auto folder = context_.ui.BrowseFolder(
            this, tr("Select a directory where the restores will be redirected to:").toStdString(),
            txtAltPath_->text().toStdString())) {
        txtAltPath_->setText(Q(*folder));
        optAltPath_->setChecked(true);
    }
}

void frmRestore::keyPressEvent(QKeyEvent* event) {
    // Enter restores and Esc closes, as a dialog's default and escape buttons
    // would; both are off while a restore runs.
    QPushButton* button = nullptr;
    switch (ReadWindowKey(event)) {
    case WindowKey::Enter:
        button = buttons_[RestoreButton];
        break;
    case WindowKey::Escape:
        button = buttons_[CancelButton];
        break;
    case WindowKey::Other:
        QWidget::keyPressEvent(event);
        return;
    }
    if (button->isEnabled()) {
        button->click();
    }
}

void frmRestore::closeEvent(QCloseEvent* event) {
    if (running_) {
        event->ignore();
        return;
    }
    QtFormWindow form(this);
    startup::SaveFormPosition(startup::MachineRegistry(context_.settings), form);
    QWidget::closeEvent(event);
}

} // namespace wizards
