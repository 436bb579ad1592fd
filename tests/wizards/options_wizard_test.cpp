// The options wizard on a current database: compaction end to end, the
// diagnostics report, and the hand-over to the restore window.

#include "db/connection.h"
#include "safety/replacement.h"
#include "safety/safety_copy.h"
#include "startup/locator.h"
#include "upgrade/old_databases.h"
#include "wizard_fixture.h"
#include "wizards/frm_restore.h"
#include "wizards/frm_wiz_options.h"

#include <QRadioButton>
#include <QTreeWidget>

namespace {

using wizards::frmWizOptions;
using W = wizards::WizardWindow;

class OptionsWizardTest : public wizardtest::WizardFixture {
protected:
    OptionsWizardTest() {
        const std::string folder = settings.AppPath + "db/";
        upgradetest::BuildOldDatabase(folder, 8);
        EXPECT_TRUE(startup::WriteVersionFile(folder));
        startup::RegWriteString(startup::MachineRegistry(settings), startup::DatabasesKey,
                                "Default", folder);
        EXPECT_EQ(startup::LocateDatabase(settings, 0), startup::DBCurrent);
    }
    bool Shown(const frmWizOptions& w, const char* name) {
        const QWidget* child = w.findChild<QWidget*>(name);
        return child && child->isVisibleTo(&w);
    }
};

TEST_F(OptionsWizardTest, CompressesTheDatabaseAndReportsTheSizes) {
    frmWizOptions w(context);
    w.show();
    EXPECT_EQ(w.windowTitle(), "Ketrova Database Wizard");
    EXPECT_EQ(w.VisiblePage(), frmWizOptions::PageChoice);
    EXPECT_TRUE(w.findChild<QRadioButton*>("optOptions_0")->isChecked());
    EXPECT_EQ(w.Tag(W::ActionButton), "COMPRESS_1");

    Press(w, W::ActionButton);
    EXPECT_EQ(w.VisiblePage(), frmWizOptions::PageCompress);
    EXPECT_EQ(w.Button(W::ActionButton)->text(), "&Start");
    EXPECT_EQ(w.Tag(W::BackButton), "START_OPTIONS");
    EXPECT_FALSE(Shown(w, "lblResult"));
    EXPECT_FALSE(Shown(w, "imgSuccess"));

    CheckLockedWhileWorking(w);
    Press(w, W::ActionButton);
    ui.onEvents = nullptr;
    EXPECT_GT(lockedChecks, 0);
    EXPECT_EQ(settings.LogFileNo, 0);

    EXPECT_TRUE(Shown(w, "lblResult"));
    EXPECT_TRUE(Shown(w, "imgSuccess"));
    const QString result = Text<QLabel>(w, "lblResult");
    EXPECT_TRUE(result.startsWith("Compression completed.\nOld file size: "))
        << result.toStdString();
    EXPECT_TRUE(result.contains("\nThis realized a saving of "));
    EXPECT_EQ(w.Tag(W::ActionButton), "FINISH_SUCCESS");
    EXPECT_NE(testsupport::ReadFile(home / "Ostrand.log").find("{-} Compaction successful"),
              std::string::npos);
    EXPECT_EQ(startup::LocateDatabase(settings, 0), startup::DBCurrent);

    Press(w, W::ActionButton);
    EXPECT_EQ(w.VisiblePage(), frmWizOptions::PageFinish);
    const auto copies = safety::ListSafetyCopies(settings.DBFile);
    ASSERT_EQ(copies.size(), 1u);
    EXPECT_EQ(Text<QLabel>(w, "lblFinish"),
              wizards::SuccessPageText("The database compression was successful.", copies[0].path));
    EXPECT_EQ(w.Button(W::ActionButton)->text(), "&Finish");
    Press(w, W::ActionButton);
    EXPECT_FALSE(w.isVisible());
}

TEST_F(OptionsWizardTest, PutsBackTheChosenSafetyCopy) {
    safety::SafetyCopy copy;
    std::string error;
    ASSERT_TRUE(safety::MakeSafetyCopy(settings.DBFile, "upgrade", clock, copy, error)) << error;
    const auto leases = [&] {
        db::Connection c;
        c.Open(settings.DBFile);
        return c.Scalar("SELECT Count(*) FROM Lease").AsInt();
    };
    const int64_t before = leases();
    {
        db::Connection c;
        c.Open(settings.DBFile);
        c.Execute("DELETE FROM Lease");
    }
    frmWizOptions w(context);
    w.show();
    w.findChild<QRadioButton*>("optOptions_3")->click();
    Press(w, W::ActionButton);
    EXPECT_EQ(w.VisiblePage(), frmWizOptions::PageCopies);
    EXPECT_EQ(w.Tag(W::BackButton), "START_OPTIONS");
    auto* list = w.findChild<QTreeWidget*>("lstCopies");
    ASSERT_EQ(list->topLevelItemCount(), 1);
    EXPECT_EQ(list->topLevelItem(0)->text(0), "2026-07-01 09:30:00");
    EXPECT_EQ(list->topLevelItem(0)->text(1), "upgrade");
    EXPECT_EQ(list->topLevelItem(0)->text(3).toStdString(), copy.name);
    EXPECT_FALSE(w.Button(W::ActionButton)->isEnabled()) << "nothing chosen yet";
    list->setCurrentItem(list->topLevelItem(0));
    CheckLockedWhileWorking(w);
    Press(w, W::ActionButton);
    ui.onEvents = nullptr;

    EXPECT_EQ(leases(), before);
    const auto copies = safety::ListSafetyCopies(settings.DBFile);
    ASSERT_EQ(copies.size(), 2u);
    EXPECT_EQ(copies[0].operation, "put-back");
    EXPECT_EQ(w.VisiblePage(), frmWizOptions::PageFinish);
    EXPECT_EQ(Text<QLabel>(w, "lblFinish"),
              wizards::SuccessPageText(
                  QString::fromStdString("The safety copy " + copy.name + " was put back."),
                  copies[0].path));
    Press(w, W::ActionButton);
    EXPECT_FALSE(w.isVisible());
}

TEST_F(OptionsWizardTest, AFailedCompactionShowsTheErrorAndTheLogsFolder) {
    std::filesystem::remove(settings.DBFile); // nothing to compact
    frmWizOptions w(context);
    w.show();
    w.RunCommand("COMPRESS_1");
    Press(w, W::ActionButton);
    EXPECT_TRUE(Text<QLabel>(w, "lblResult").startsWith("The following error has occured:\n"));
    EXPECT_FALSE(Shown(w, "imgSuccess"));
    EXPECT_EQ(w.Tag(W::ActionButton), "FINISH_FAILURE");

    Press(w, W::ActionButton);
    EXPECT_TRUE(
        Text<QLabel>(w, "lblFinish")
            .startsWith(wizards::FailureText("Database compression failure.", settings.AppPath) +
                        "\n\nCause: Error "));
    // This wizard starts nothing afterwards: its Finish simply closes.
    EXPECT_EQ(w.Tag(W::ActionButton), "EXIT");
    Press(w, W::ActionButton);
    EXPECT_FALSE(w.isVisible());
}

TEST_F(OptionsWizardTest, TheChosenTaskSurvivesAStepBack) {
    frmWizOptions w(context);
    w.show();
    w.findChild<QRadioButton*>("optOptions_1")->click();
    EXPECT_EQ(w.Tag(W::ActionButton), "DIAGS");
    Press(w, W::ActionButton);
    EXPECT_EQ(w.VisiblePage(), frmWizOptions::PageFinish);
    EXPECT_TRUE(
        Text<QLabel>(w, "lblFinish").startsWith("You have selected to run database diagnostics."));
    EXPECT_EQ(w.Button(W::ActionButton)->text(), "&Finish");
    EXPECT_EQ(w.Tag(W::ActionButton), "RUNDIAGS");

    Press(w, W::BackButton);
    EXPECT_EQ(w.VisiblePage(), frmWizOptions::PageChoice);
    EXPECT_EQ(w.Tag(W::ActionButton), "DIAGS");

    w.findChild<QRadioButton*>("optOptions_2")->click();
    EXPECT_EQ(w.Tag(W::ActionButton), "RESTORE");
    Press(w, W::ActionButton);
    EXPECT_EQ(w.Tag(W::ActionButton), "START_RESTORE");
    Press(w, W::BackButton);
    EXPECT_EQ(w.Tag(W::ActionButton), "RESTORE");
    w.findChild<QRadioButton*>("optOptions_0")->click();
    EXPECT_EQ(w.Tag(W::ActionButton), "COMPRESS_1");
}

TEST_F(OptionsWizardTest, DiagnosticsWriteAndOpenTheReportThenCloseTheWizard) {
    frmWizOptions w(context);
    w.show();
    w.findChild<QRadioButton*>("optOptions_1")->click();
    Press(w, W::ActionButton);
    Press(w, W::ActionButton);
    EXPECT_FALSE(w.isVisible());
    EXPECT_EQ(settings.LogFileNo, 0);
    const std::string report = testsupport::ReadFile(home / "Ostrand.log");
    EXPECT_NE(report.find("{ } Database check result     : OK"), std::string::npos);
    EXPECT_NE(report.find("{ } Testing completed at "), std::string::npos);
    ASSERT_EQ(ui.opened.size(), 1u);
    EXPECT_EQ(ui.opened[0], settings.AppPath + "Ostrand.log");
}

TEST_F(OptionsWizardTest, SalvagesADamagedDatabaseAndPutsItInPlaceWhenAsked) {
    {
        frmWizOptions sound(context);
        EXPECT_FALSE(sound.findChild<QRadioButton*>("optOptions_4")->isVisibleTo(&sound));
    }
    // Rows of a table of their own, one of its leaf pages overwritten.
    int64_t page = 0, pageSize = 0;
    {
        db::Connection c;
        c.Open(settings.DBFile);
        c.Execute("CREATE TABLE Notes (Id INTEGER PRIMARY KEY, Body TEXT)");
        c.Execute("WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 2000) "
                  "INSERT INTO Notes SELECT i, printf('%0100d', i) FROM n");
        page = c.Scalar("SELECT pageno FROM dbstat WHERE name = 'Notes' AND pagetype = 'leaf' "
                        "LIMIT 1 OFFSET 5")
                   .AsInt();
        pageSize = c.Scalar("PRAGMA page_size").AsInt();
    }
    std::string damaged = testsupport::ReadFile(settings.DBFile);
    damaged.replace((page - 1) * pageSize, pageSize, pageSize, '\x13');
    testsupport::WriteFile(settings.DBFile, damaged);

    frmWizOptions w(context);
    w.show();
    w.findChild<QRadioButton*>("optOptions_4")->click();
    Press(w, W::ActionButton);
    EXPECT_EQ(w.VisiblePage(), frmWizOptions::PageSalvage);
    EXPECT_EQ(w.Tag(W::BackButton), "START_OPTIONS");
    CheckLockedWhileWorking(w);
    Press(w, W::ActionButton);
    ui.onEvents = nullptr;
    EXPECT_GT(lockedChecks, 0);
    const auto found =
        w.findChild<QTreeWidget*>("lstSalvaged")->findItems("Notes", Qt::MatchExactly);
    ASSERT_EQ(found.size(), 1);
    const int back = found[0]->text(2).toInt();
    EXPECT_TRUE(back > 1800 && back < 2000) << back; // only the damaged page's rows are lost
    EXPECT_TRUE(testsupport::ReadFile(settings.DBFile) == damaged) << "replaced unasked";

    Press(w, W::ActionButton);
    EXPECT_EQ(w.Tag(W::ActionButton), "SALVAGE_4");
    Press(w, W::ActionButton);
    const auto copies = safety::ListSafetyCopies(settings.DBFile);
    ASSERT_EQ(copies.size(), 1u);
    EXPECT_TRUE(testsupport::ReadFile(copies[0].path) == damaged);
    EXPECT_EQ(Text<QLabel>(w, "lblFinish"),
              wizards::SuccessPageText("The salvaged database is now in place.", copies[0].path));
    EXPECT_EQ(safety::CheckIntegrity(settings.DBFile), "");
    EXPECT_FALSE(std::filesystem::exists(settings.DBPath + "Ketrova.salvaged.mdb"));
}

TEST_F(OptionsWizardTest, RestoreHandsOverToTheRestoreWindow) {
    frmWizOptions w(context);
    w.show();
    w.findChild<QRadioButton*>("optOptions_2")->click();
    Press(w, W::ActionButton);
    EXPECT_TRUE(
        Text<QLabel>(w, "lblFinish").startsWith("You have selected to restore database files."));
    Press(w, W::ActionButton);
    EXPECT_FALSE(w.isVisible());
    ASSERT_NE(w.RestoreWindow(), nullptr);
    EXPECT_TRUE(w.RestoreWindow()->isVisible());
    EXPECT_EQ(w.RestoreWindow()->findChild<QLabel*>("lblPath")->text().toStdString(),
              "Path: " + settings.AppPath + "Backup");
    w.RestoreWindow()->close();
}

} // namespace
