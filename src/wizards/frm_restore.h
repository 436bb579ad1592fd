#pragma once
// The restore window: pick one of the suite's backup archives, tick the files
// to bring back in a tree of their stored paths, say where they go and what
// happens to files already there, and restore them.

#include "backup/bar.h"
#include "wizards/wizard_context.h"

#include <QWidget>

#include <string>
#include <vector>

class QCheckBox;
class QLabel;
class QLineEdit;
class QPushButton;
class QRadioButton;
class QTabWidget;
class QTreeWidget;
class QTreeWidgetItem;

namespace wizards {

class frmRestore : public QWidget {
    Q_OBJECT
public:
    explicit frmRestore(const WizardContext& context, QWidget* parent = nullptr);
    ~frmRestore() override;

    // Finds the backup folder and lists its archives; the window's place on
    // the screen comes back from the last run.
    void Setup();
    // Adds an entry's stored path to the tree, folder by folder; the file
    // node leads back to entry `entryIndex`.
    QTreeWidgetItem* Tree_AddPath(const std::string& storedPath, int entryIndex);
    // The details of the selected file node in a message box.
    void ShowInfo();
    // The restore command: checks, confirmation, the restore, the summary.
    void Init_Restore();

    // What a press of a button with this tag does; unknown words do nothing.
    void RunCommand(const QString& word);

    // The archive list's rows and the selected archive ("" when none).
    QStringList ArchivePaths() const;
    std::string SelectedArchive() const { return archive_; }
    void SelectArchive(int row);
    void SetBackupFolder(const std::string& folder);
    const std::vector<backup::ArchiveEntry>& Entries() const { return entries_; }

protected:
    void closeEvent(QCloseEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;

private:
    void ListArchives();
    void LoadArchive(const std::string& archive);
    void MarkSelection();
    void ChooseBackupFolder();
    void ChooseRedirectFolder();
    void SetAllChecks(Qt::CheckState state);
    QPushButton* AddButton(const QString& caption, const QString& tag, int index,
                           const QString& description);

    WizardContext context_;
    std::string backupFolder_;
    std::string archive_;
    std::vector<std::string> archivePaths_;
    std::vector<backup::ArchiveEntry> entries_;
    bool running_ = false;

    QTabWidget* tabRestore_ = nullptr;
    QLabel* lblPath_ = nullptr;
    QLabel* lblArchive_ = nullptr;
    QTreeWidget* lstArchives_ = nullptr;
    QTreeWidget* trvFiles_ = nullptr;
    QRadioButton* optLocation_ = nullptr;
    QRadioButton* optAltPath_ = nullptr;
    QLineEdit* txtAltPath_ = nullptr;
    QPushButton* cmdSelDir_ = nullptr;
    QRadioButton* optOverwrite_[3] = {};
    QCheckBox* chkLinkDB_ = nullptr;
    std::vector<QPushButton*> buttons_;
};

} // namespace wizards
