// The restore window over real archives written with the suite's archive
// operations into the program's backup folder.

#include "backup/bar.h"
#include "wizard_fixture.h"
#include "wizards/frm_restore.h"
#include "wizards/pictures.h"

#include <QCheckBox>
#include <QLineEdit>
#include <QRadioButton>
#include <QTreeWidget>
#include <QTreeWidgetItemIterator>

#include <memory>

namespace {

using wizards::frmRestore;

class RestoreWindowTest : public wizardtest::WizardFixture {
protected:
    RestoreWindowTest() {
        data = home / "data";
        std::filesystem::create_directories(data / "db");
        std::filesystem::create_directories(data / "Docs");
        testsupport::WriteFile(data / "db" / "Ketrova.mdb", "database bytes");
        testsupport::WriteFile(data / "db" / "Version", "9\r\n");
        testsupport::WriteFile(data / "Docs" / "lease.txt", std::string(150000, 'L'));
        archive = settings.AppPath + "Backup/Ketrova.20260701.kbx";
        std::string message;
        for (const auto& [file, type] :
             {std::pair{data / "db" / "Ketrova.mdb", 1}, std::pair{data / "db" / "Version", 1},
              std::pair{data / "Docs" / "lease.txt", 4}}) {
            EXPECT_TRUE(
                backup::BaR_AddFile(archive, file.string(), static_cast<int16_t>(type), message))
                << message;
        }
        // Neither is a backup of the suite.
        testsupport::WriteFile(home / "Backup" / "notes.kbx", "x");
        testsupport::WriteFile(home / "Backup" / "Ketrova.cfg", "x");
    }

    // The window as the options wizard opens it, perhaps with the archive chosen.
    frmRestore& Open(bool chooseArchive = true) {
        window = std::make_unique<frmRestore>(context);
        window->Setup();
        if (chooseArchive) {
            window->SelectArchive(0);
        }
        return *window;
    }

    static void ExpectTaggedButtons(frmRestore& r, bool enabled) {
        for (QPushButton* b : r.findChildren<QPushButton*>()) {
            if (b->property("tag").isValid()) {
                EXPECT_EQ(b->isEnabled(), enabled) << b->property("tag").toString().toStdString();
            }
        }
    }

    QTreeWidget* Tree(frmRestore& r) { return r.findChild<QTreeWidget*>("trvFiles"); }

    // The file node of a stored path's last part.
    QTreeWidgetItem* Node(frmRestore& r, const QString& name) {
        for (QTreeWidgetItemIterator it(Tree(r)); *it; ++it) {
            if ((*it)->text(0) == name && (*it)->childCount() == 0) {
                return *it;
            }
        }
        return nullptr;
    }

    void PressTag(frmRestore& r, const char* tag) {
        for (QPushButton* b : r.findChildren<QPushButton*>()) {
            if (b->property("tag").toString() == tag) {
                ASSERT_TRUE(b->isEnabled()) << tag;
                QTest::mouseClick(b, Qt::LeftButton);
                return;
            }
        }
        FAIL() << "no button " << tag;
    }

    std::filesystem::path data;
    std::string archive;
    std::unique_ptr<frmRestore> window;
};

TEST_F(RestoreWindowTest, ListsTheSuitesArchivesAndShowsTheirFilesAsATree) {
    frmRestore& r = Open(false);
    ASSERT_EQ(r.ArchivePaths(), QStringList{QString::fromStdString(archive)});
    auto* list = r.findChild<QTreeWidget*>("lstArchives");
    ASSERT_EQ(list->topLevelItemCount(), 1);
    EXPECT_TRUE(list->topLevelItem(0)->text(0).startsWith("Database backed up: "));
    EXPECT_EQ(r.findChild<QLabel*>("lblPath")->text().toStdString(),
              "Path: " + settings.AppPath + "Backup");
    EXPECT_TRUE(r.SelectedArchive().empty());

    r.SelectArchive(0);
    EXPECT_EQ(r.SelectedArchive(), archive);
    EXPECT_EQ(r.findChild<QLabel*>("lblArchive")->text().toStdString(), "Archive: " + archive);
    ASSERT_EQ(r.Entries().size(), 3u);

    // One folder node per stored folder, shared by the files below it.
    QTreeWidgetItem* mdb = Node(r, "Ketrova.mdb");
    QTreeWidgetItem* version = Node(r, "Version");
    QTreeWidgetItem* lease = Node(r, "lease.txt");
    ASSERT_TRUE(mdb && version && lease);
    EXPECT_EQ(mdb->parent(), version->parent());
    EXPECT_EQ(mdb->parent()->text(0), "db");
    EXPECT_EQ(mdb->parent()->parent(), lease->parent()->parent());
    EXPECT_EQ(Tree(r)->topLevelItemCount(), 1);

    // The suite's database files carry the database picture; others the desktop's.
    const QImage drum = QIcon(wizards::DatabasePicture(16)).pixmap(16, 16).toImage();
    EXPECT_EQ(mdb->icon(0).pixmap(16, 16).toImage(), drum);
    EXPECT_EQ(version->icon(0).pixmap(16, 16).toImage(), drum);
    EXPECT_NE(lease->icon(0).pixmap(16, 16).toImage(), drum);
    EXPECT_FALSE(lease->icon(0).isNull());
}

TEST_F(RestoreWindowTest, TreeButtonsExpandCollapseTickAndUntickEverything) {
    frmRestore& r = Open();
    PressTag(r, "EXPAND_TREE");
    for (QTreeWidgetItemIterator it(Tree(r)); *it; ++it) {
        if ((*it)->childCount() > 0) {
            EXPECT_TRUE((*it)->isExpanded()) << (*it)->text(0).toStdString();
        }
    }
    PressTag(r, "CLOSE_TREE");
    EXPECT_FALSE(Tree(r)->topLevelItem(0)->isExpanded());

    PressTag(r, "SELECT_TREE");
    EXPECT_EQ(Node(r, "lease.txt")->checkState(0), Qt::Checked);
    EXPECT_EQ(Node(r, "Version")->checkState(0), Qt::Checked);
    PressTag(r, "UNSELECT_TREE");
    EXPECT_EQ(Node(r, "Ketrova.mdb")->checkState(0), Qt::Unchecked);

    // Ticking a folder ticks what lies below it, and only that.
    Node(r, "Version")->parent()->setCheckState(0, Qt::Checked);
    EXPECT_EQ(Node(r, "Ketrova.mdb")->checkState(0), Qt::Checked);
    EXPECT_EQ(Node(r, "lease.txt")->checkState(0), Qt::Unchecked);
    EXPECT_EQ(Tree(r)->topLevelItem(0)->checkState(0), Qt::PartiallyChecked);
}

TEST_F(RestoreWindowTest, WindowsNamesSplitAtBackslashesKeepingTheDriveInTheFirstNode) {
    frmRestore r(context);
    QTreeWidgetItem* a = r.Tree_AddPath("C:\\Ketrova\\db\\Ketrova.mdb   ", 0);
    QTreeWidgetItem* b = r.Tree_AddPath("C:\\Ketrova\\Docs\\lease.doc", 1);
    ASSERT_TRUE(a && b);
    EXPECT_EQ(a->text(0), "Ketrova.mdb");
    EXPECT_EQ(a->parent()->text(0), "db");
    EXPECT_EQ(a->parent()->parent()->text(0), "Ketrova");
    EXPECT_EQ(a->parent()->parent()->parent()->text(0), "C:");
    EXPECT_EQ(a->parent()->parent(), b->parent()->parent());
    EXPECT_EQ(Tree(r)->topLevelItemCount(), 1);
}

TEST_F(RestoreWindowTest, TheRestoreButtonFirstNeedsAnArchiveAndATickedFile) {
    frmRestore& r = Open(false);
    PressTag(r, "RESTORE");
    ASSERT_EQ(ui.boxes.size(), 1u);
    EXPECT_EQ(ui.boxes[0].title, "Select Archive");
    EXPECT_EQ(ui.boxes[0].text, "An archive file has not been selected.");

    r.SelectArchive(0);
    PressTag(r, "RESTORE");
    ASSERT_EQ(ui.boxes.size(), 2u);
    EXPECT_EQ(ui.boxes[1].title, "No Files");
    EXPECT_EQ(ui.boxes[1].text, "No files were selected for restore.");

    // An empty backup folder, chosen through the folder dialog, lists nothing.
    std::filesystem::create_directory(home / "empty");
    ui.folderAnswer = (home / "empty").string();
    QTest::mouseClick(r.findChild<QPushButton*>("cmdSelBackupDir"), Qt::LeftButton);
    ASSERT_EQ(ui.folderTitles.size(), 1u);
    EXPECT_EQ(ui.folderTitles.back(),
              "Select the directory where the Ketrova backups are located:");
    EXPECT_TRUE(r.ArchivePaths().isEmpty());
    PressTag(r, "RESTORE");
    EXPECT_EQ(ui.boxes.back().text, "An archive file has not been selected.");

    // A file named like an archive that is none lists nothing, and says so.
    testsupport::WriteFile(home / "empty" / "Ketrova.1.kbx", std::string(600, 'x'));
    r.SetBackupFolder((home / "empty").string());
    r.SelectArchive(0);
    EXPECT_TRUE(r.Entries().empty());
    EXPECT_TRUE(r.findChild<QLabel*>("lblArchive")->text().contains("is no backup archive"));
    PressTag(r, "RESTORE");
    EXPECT_EQ(ui.boxes.back().text, "No files found in currently selected archive file.");
}

TEST_F(RestoreWindowTest, RenameModeRestoresBesideBothExistingNames) {
    const auto lease = data / "Docs" / "lease.txt";
    testsupport::WriteFile(lease, "newer lease");
    testsupport::WriteFile(lease.string() + ".restored", "an earlier restore");
    frmRestore& r = Open();
    r.findChild<QRadioButton*>("optOverwrite_1")->setChecked(true);
    Node(r, "lease.txt")->setCheckState(0, Qt::Checked);

    int locked = 0;
    ui.onEvents = [&] {
        ++locked;
        EXPECT_FALSE(r.findChild<QWidget*>("tabRestore")->isEnabled());
        ExpectTaggedButtons(r, false);
    };
    ui.answers = {util::Answer::Yes};
    PressTag(r, "RESTORE");
    ui.onEvents = nullptr;
    EXPECT_GT(locked, 0);

    ASSERT_EQ(ui.boxes.size(), 2u);
    EXPECT_EQ(ui.boxes[0].title, "Restore Initiated");
    EXPECT_EQ(ui.boxes[0].buttons, util::Buttons::YesNo);
    EXPECT_NE(ui.boxes[0].text.find("Restored files will be renamed if file already exists."),
              std::string::npos);
    EXPECT_EQ(ui.boxes[1].title, "Restore Completed");
    EXPECT_NE(ui.boxes[1].text.find("Files successfully restored : 1"), std::string::npos);
    EXPECT_EQ(testsupport::ReadFile(lease), "newer lease");
    EXPECT_EQ(testsupport::ReadFile(lease.string() + ".restored"), "an earlier restore");
    EXPECT_EQ(testsupport::ReadFile(lease.string() + ".restored.0"), std::string(150000, 'L'));
    ExpectTaggedButtons(r, true);
}

TEST_F(RestoreWindowTest, ARedirectedDatabaseRestoreCanBecomeTheActiveDatabase) {
    frmRestore& r = Open();
    const auto alt = home / "elsewhere";
    std::filesystem::create_directory(alt);
    ui.folderAnswer = alt.string(); // no trailing separator: one is added
    QTest::mouseClick(r.findChild<QPushButton*>("cmdSelDir"), Qt::LeftButton);
    ASSERT_EQ(ui.folderTitles.size(), 1u);
    EXPECT_EQ(ui.folderTitles.back(),
              "Select a directory where the restores will be redirected to:");
    EXPECT_TRUE(r.findChild<QRadioButton*>("optAltPath")->isChecked());
    r.findChild<QCheckBox*>("chkLinkDB")->setChecked(true);
    Node(r, "Ketrova.mdb")->setCheckState(0, Qt::Checked);

    ui.answers = {util::Answer::Yes};
    PressTag(r, "RESTORE");
    ASSERT_EQ(ui.boxes.size(), 2u);
    EXPECT_NE(ui.boxes[0].text.find("If database is restored it will be linked as the active"),
              std::string::npos);
    EXPECT_NE(ui.boxes[0].text.find("Restore will be redirected to " + alt.string()),
              std::string::npos);

    // The stored path lands below the chosen folder, without its leading separator.
    const std::string stored = (data / "db").string().substr(1);
    const auto restored = alt / stored / "Ketrova.mdb";
    EXPECT_EQ(testsupport::ReadFile(restored), "database bytes");
    EXPECT_EQ(Registered(), (alt / stored).string() + "/");
}

TEST_F(RestoreWindowTest, FileDetailsShowTheStoredNameSizeAndType) {
    frmRestore& r = Open();
    Tree(r)->setCurrentItem(Node(r, "lease.txt"));
    r.ShowInfo();
    ASSERT_EQ(ui.boxes.size(), 1u);
    EXPECT_EQ(ui.boxes[0].title, "Archived File Information");
    EXPECT_EQ(ui.boxes[0].icon, util::Icon::Information);
    const std::string& text = ui.boxes[0].text;
    EXPECT_TRUE(text.starts_with(
        "Selected File Details:\n\nPath : " + (data / "Docs" / "lease.txt").string() + "\n"));
    EXPECT_NE(text.find("\nSize  : 150,000 bytes\n"), std::string::npos);
    EXPECT_NE(text.find("\nType : Other File\n\nPress OK to Continue"), std::string::npos);

    // A folder node has no details to show.
    Tree(r)->setCurrentItem(Node(r, "lease.txt")->parent());
    r.ShowInfo();
    EXPECT_EQ(ui.boxes.size(), 1u);
}

TEST_F(RestoreWindowTest, ClosingKeepsTheWindowsPlaceForTheNextRun) {
    {
        frmRestore r(context);
        r.Setup();
        r.show();
        r.move(50, 60);
        r.resize(800, 500);
        PressTag(r, "CANCEL");
        EXPECT_FALSE(r.isVisible());
    }
    frmRestore again(context);
    again.Setup();
    EXPECT_EQ(again.size(), QSize(800, 500));
    EXPECT_EQ(again.pos(), QPoint(50, 60));
}

} // namespace
