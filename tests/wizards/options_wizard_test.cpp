// The options wizard on a current database: compaction, putting back a
// safety copy and salvage end to end, the report, and the restore window.

#include "db/connection.h"
#include "safety/replacement.h"
#include "safety/safety_copy.h"
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
        InstallDatabase(8, true);
        EXPECT_EQ(startup::LocateDatabase(settings, 0), startup::DBCurrent);
    }
    static bool Shown(const frmWizOptions& w, const char* name) {
        return w.findChild<QWidget*>(name)->isVisibleTo(&w);
    }
    // Chooses an option on the first page and presses Next.
    static void Choose(frmWizOptions& w, int option) {
        w.findChild<QRadioButton*>(QString("optOptions_%1").arg(option))->click();
        Press(w, W::ActionButton);
    }
    std::string OnlyCopy() const {
        const auto copies = safety::ListSafetyCopies(settings.DBFile);
        return copies.size() == 1 ? copies[0].path : "<" + std::to_string(copies.size()) + ">";
    }
};

TEST_F(OptionsWizardTest, CompressesTheDatabaseAndFinishesWithoutStartingAnything) {
    frmWizOptions w(context);
    w.show();
    Choose(w, 0);
    StartLocked(w);
    EXPECT_TRUE(Text<QLabel>(w, "lblResult").startsWith("Compression completed.\nOld file size: "));
    Press(w, W::ActionButton);
    EXPECT_TRUE(Text<QLabel>(w, "lblFinish")
                    .startsWith(wizards::SuccessPageText("The database compression was successful.",
                                                         OnlyCopy())));
    Press(w, W::ActionButton); // this wizard starts nothing afterwards: Finish closes it
    EXPECT_FALSE(w.isVisible());
}

TEST_F(OptionsWizardTest, PutsBackTheChosenSafetyCopy) {
    safety::SafetyCopy copy;
    std::string error;
    ASSERT_TRUE(safety::MakeSafetyCopy(settings.DBFile, "upgrade", clock, copy, error)) << error;
    const int64_t before = Query(settings.DBFile, "SELECT Count(*) FROM Lease");
    Query(settings.DBFile, "DELETE FROM Lease");
    frmWizOptions w(context);
    w.show();
    Choose(w, 3);
    auto* list = w.findChild<QTreeWidget*>("lstCopies");
    ASSERT_EQ(list->topLevelItemCount(), 1);
    const QTreeWidgetItem* row = list->topLevelItem(0);
    EXPECT_EQ(row->text(0) + "|" + row->text(1) + "|" + row->text(3),
              QString::fromStdString("2026-07-01 09:30:00|upgrade|" + copy.name));
    EXPECT_FALSE(w.Button(W::ActionButton)->isEnabled()) << "nothing chosen yet";
    list->setCurrentItem(list->topLevelItem(0));
    StartLocked(w);
    EXPECT_EQ(Query(settings.DBFile, "SELECT Count(*) FROM Lease"), before);
    const auto copies = safety::ListSafetyCopies(settings.DBFile);
    ASSERT_EQ(copies.size(), 2u);
    EXPECT_EQ(copies[0].operation, "put-back");
    EXPECT_EQ(Text<QLabel>(w, "lblFinish"),
              wizards::SuccessPageText(
                  QString::fromStdString("The safety copy " + copy.name + " was put back."),
                  copies[0].path));
}

TEST_F(OptionsWizardTest, DiagnosticsWriteAndOpenTheReportAndRestoreOpensItsWindow) {
    frmWizOptions w(context);
    w.show();
    Choose(w, 1);
    Press(w, W::ActionButton);
    EXPECT_EQ(settings.LogFileNo, 0);
    EXPECT_EQ(ui.opened, std::vector<std::string>{settings.AppPath + "Ostrand.log"});

    frmWizOptions again(context);
    again.show();
    Choose(again, 2);
    Press(again, W::ActionButton);
    ASSERT_NE(again.RestoreWindow(), nullptr);
    EXPECT_TRUE(again.RestoreWindow()->isVisible());
    again.RestoreWindow()->close();
}

TEST_F(OptionsWizardTest, SalvagesADamagedDatabaseAndPutsItInPlaceWhenAsked) {
    EXPECT_FALSE(Shown(frmWizOptions(context), "optOptions_4")) << "offered for a sound one";
    // Rows of a table of their own, one of its leaf pages overwritten.
    const std::string& db = settings.DBFile;
    Query(db, "CREATE TABLE Notes (Id INTEGER PRIMARY KEY, Body TEXT)");
    Query(db, "WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 2000) "
              "INSERT INTO Notes SELECT i, printf('%0100d', i) FROM n");
    const int64_t page = Query(db, "SELECT pageno FROM dbstat WHERE name = 'Notes' AND "
                                   "pagetype = 'leaf' LIMIT 1 OFFSET 5");
    const int64_t pageSize = Query(db, "PRAGMA page_size");
    std::string damaged = testsupport::ReadFile(settings.DBFile);
    damaged.replace((page - 1) * pageSize, pageSize, pageSize, '\x13');
    testsupport::WriteFile(settings.DBFile, damaged);

    frmWizOptions w(context);
    w.show();
    Choose(w, 4);
    EXPECT_EQ(w.VisiblePage(), frmWizOptions::PageSalvage);
    StartLocked(w);
    const auto found =
        w.findChild<QTreeWidget*>("lstSalvaged")->findItems("Notes", Qt::MatchExactly);
    ASSERT_EQ(found.size(), 1);
    const int back = found[0]->text(2).toInt();
    EXPECT_TRUE(back > 1800 && back < 2000) << back; // only the damaged page's rows are lost
    EXPECT_TRUE(testsupport::ReadFile(settings.DBFile) == damaged) << "replaced unasked";

    Press(w, W::ActionButton);
    Press(w, W::ActionButton);
    const std::string copy = OnlyCopy();
    EXPECT_TRUE(testsupport::ReadFile(copy) == damaged);
    EXPECT_EQ(Text<QLabel>(w, "lblFinish"),
              wizards::SuccessPageText("The salvaged database is now in place.", copy));
    EXPECT_EQ(safety::CheckIntegrity(settings.DBFile), "");
    EXPECT_FALSE(std::filesystem::exists(settings.DBPath + "Ketrova.salvaged.mdb"));
}

} // namespace
