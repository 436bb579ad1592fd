// The restore window over real archives written with the suite's archive
// operations into the program's backup folder.

#include "backup/bar.h"
#include "wizard_fixture.h"
#include "wizards/frm_restore.h"

#include <QCheckBox>
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
        for (const auto& [file, type] : {std::pair{data / "db" / "Ketrova.mdb", 1},
                                         {data / "db" / "Version", 1},
                                         {data / "Docs" / "lease.txt", 4}}) {
            EXPECT_TRUE(backup::BaR_AddFile(archive, file.string(), int16_t(type), message))
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
    QTreeWidget* Tree() { return window->findChild<QTreeWidget*>("trvFiles"); }
    // The file node of a stored path's last part.
    QTreeWidgetItem* Node(const QString& name) {
        for (QTreeWidgetItemIterator it(Tree()); *it; ++it) {
            if ((*it)->text(0) == name && (*it)->childCount() == 0) {
                return *it;
            }
        }
        return nullptr;
    }
    QPushButton* Tagged(const char* tag) {
        for (QPushButton* b : window->findChildren<QPushButton*>()) {
            if (b->property("tag").toString() == tag) {
                return b;
            }
        }
        return nullptr;
    }

    std::filesystem::path data;
    std::string archive;
    std::unique_ptr<frmRestore> window;
};

// Restore first needs an archive, then a ticked file.
TEST_F(RestoreWindowTest, ListsTheSuitesArchivesAndNeedsOneWithATickedFileToRestore) {
    frmRestore& r = Open(false);
    ASSERT_EQ(r.ArchivePaths(), QStringList{QString::fromStdString(archive)});
    r.RunCommand("RESTORE");
    r.SelectArchive(0);
    ASSERT_EQ(r.Entries().size(), 3u);
    r.RunCommand("RESTORE");
    std::vector<std::string> said;
    for (const auto& box : ui.boxes) {
        said.push_back(box.title + ": " + box.text);
    }
    EXPECT_EQ(said,
              (std::vector<std::string>{"Select Archive: An archive file has not been selected.",
                                        "No Files: No files were selected for restore."}));

    // Ticking a folder ticks what lies below it, and only that.
    Node("Version")->parent()->setCheckState(0, Qt::Checked);
    EXPECT_EQ(Node("Ketrova.mdb")->checkState(0), Qt::Checked);
    EXPECT_EQ(Node("lease.txt")->checkState(0), Qt::Unchecked);
}

TEST_F(RestoreWindowTest, RenameModeRestoresBesideBothExistingNames) {
    const auto lease = data / "Docs" / "lease.txt";
    testsupport::WriteFile(lease, "newer lease");
    testsupport::WriteFile(lease.string() + ".restored", "an earlier restore");
    frmRestore& r = Open();
    r.findChild<QRadioButton*>("optOverwrite_1")->setChecked(true);
    Node("lease.txt")->setCheckState(0, Qt::Checked);
    int locked = 0;
    ui.onEvents = [&] {
        ++locked;
        EXPECT_FALSE(r.findChild<QWidget*>("tabRestore")->isEnabled());
        EXPECT_FALSE(Tagged("CANCEL")->isEnabled());
    };
    ui.answers = {util::Answer::Yes};
    r.RunCommand("RESTORE");
    ui.onEvents = nullptr;
    EXPECT_GT(locked, 0);
    ASSERT_EQ(ui.boxes.size(), 2u);
    EXPECT_EQ(ui.boxes[0].buttons, util::Buttons::YesNo);
    EXPECT_NE(ui.boxes[1].text.find("Files successfully restored : 1"), std::string::npos);
    EXPECT_EQ(testsupport::ReadFile(lease), "newer lease");
    EXPECT_EQ(testsupport::ReadFile(lease.string() + ".restored"), "an earlier restore");
    EXPECT_EQ(testsupport::ReadFile(lease.string() + ".restored.0"), std::string(150000, 'L'));
    EXPECT_TRUE(Tagged("CANCEL")->isEnabled());
}

TEST_F(RestoreWindowTest, ARedirectedDatabaseRestoreCanBecomeTheActiveDatabase) {
    frmRestore& r = Open();
    const auto alt = home / "elsewhere";
    std::filesystem::create_directory(alt);
    ui.folderAnswer = alt.string(); // no trailing separator: one is added
    QTest::mouseClick(r.findChild<QPushButton*>("cmdSelDir"), Qt::LeftButton);
    EXPECT_TRUE(r.findChild<QRadioButton*>("optAltPath")->isChecked());
    r.findChild<QCheckBox*>("chkLinkDB")->setChecked(true);
    Node("Ketrova.mdb")->setCheckState(0, Qt::Checked);
    ui.answers = {util::Answer::Yes};
    r.RunCommand("RESTORE");
    ASSERT_EQ(ui.boxes.size(), 2u);
    EXPECT_NE(ui.boxes[0].text.find("Restore will be redirected to " + alt.string()),
              std::string::npos);
    // The stored path lands below the chosen folder, without its leading separator.
    const auto stored = alt / (data / "db").string().substr(1);
    EXPECT_EQ(testsupport::ReadFile(stored / "Ketrova.mdb"), "database bytes");
    EXPECT_EQ(Registered(), stored.string() + "/");
}

} // namespace
