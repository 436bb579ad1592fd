// The upgrade wizard against databases of older versions, built afresh for
// each test in a program folder of its own.

#include "db/connection.h"
#include "safety/safety_copy.h"
#include "startup/locator.h"
#include "upgrade/old_databases.h"
#include "wizard_fixture.h"
#include "wizards/frm_wiz_upgrade.h"

#include <QProgressBar>

namespace {

using wizards::frmWizUpgrade;
using W = wizards::WizardWindow;

class UpgradeWizardTest : public wizardtest::WizardFixture {
protected:
    // A version-4 database registered as the suite's, located as start-up does.
    void OldDatabase() {
        const std::string folder = settings.AppPath + "db/";
        upgradetest::BuildOldDatabase(folder, 4);
        startup::RegWriteString(startup::MachineRegistry(settings), startup::DatabasesKey,
                                "Default", folder);
        ASSERT_EQ(startup::LocateDatabase(settings, 0), startup::DBNeedsUpgrade);
    }
};

TEST_F(UpgradeWizardTest, UpgradesAVersionFourDatabaseAndStartsTheSuiteOnFinish) {
    OldDatabase();
    settings.AppStart = MarkerCommand();
    frmWizUpgrade w(context);
    w.show();
    EXPECT_EQ(w.windowTitle(), "Ketrova Database Wizard");
    EXPECT_EQ(w.VisiblePage(), frmWizUpgrade::PageIntro);
    EXPECT_TRUE(w.Button(W::BackButton)->isEnabled());
    EXPECT_FALSE(w.Button(W::HelpButton)->isEnabled());
    EXPECT_EQ(w.Tag(W::ActionButton), "RUNUPGRADE_1");

    Press(w, W::ActionButton);
    EXPECT_EQ(w.VisiblePage(), frmWizUpgrade::PageReady);
    EXPECT_EQ(w.Button(W::ActionButton)->text(), "&Start");
    EXPECT_EQ(w.Tag(W::BackButton), "START_WIZARD");
    EXPECT_TRUE(w.Button(W::HelpButton)->isEnabled());
    ExpectHelpPage(w, "upgrade.html");
    EXPECT_EQ(w.VisiblePage(), frmWizUpgrade::PageReady);

    // "Previous" leads back to the introduction and forward again.
    Press(w, W::BackButton);
    EXPECT_EQ(w.VisiblePage(), frmWizUpgrade::PageIntro);
    Press(w, W::ActionButton);

    CheckLockedWhileWorking(w, [&] {
        EXPECT_EQ(w.VisiblePage(), frmWizUpgrade::PageRun);
        w.RunCommand("RUNUPGRADE_2"); // a second run cannot start inside the first
    });
    Press(w, W::ActionButton);
    ui.onEvents = nullptr;
    EXPECT_GT(lockedChecks, 10);

    EXPECT_EQ(settings.LogFileNo, 0);
    EXPECT_EQ(w.Tag(W::ActionButton), "FINISH_SUCCESS");
    EXPECT_EQ(w.Button(W::ActionButton)->text(), "&Next");
    EXPECT_FALSE(w.Button(W::BackButton)->isEnabled());
    EXPECT_EQ(w.findChild<QProgressBar*>("pgbMakeDB")->value(), 100);
    EXPECT_EQ(Text<QLabel>(w, "lblCreateStatus"), "Database upgraded successfully.");
    EXPECT_EQ(startup::ReadDBVersion(settings), startup::CurrentDBVersion);
    const std::string log = testsupport::ReadFile(home / "Ostrand.log");
    EXPECT_NE(log.find("{ } UpgradeDB started"), std::string::npos);
    EXPECT_NE(log.find("{-} Writing version file"), std::string::npos);

    Press(w, W::ActionButton);
    EXPECT_EQ(w.Tag(W::ActionButton), "EXIT");
    const auto copies = safety::ListSafetyCopies(settings.DBFile);
    ASSERT_EQ(copies.size(), 1u);
    EXPECT_EQ(
        Text<QLabel>(w, "lblFinish"),
        wizards::SuccessPageText("The Ketrova database upgrade was successful.", copies[0].path));
    Press(w, W::ActionButton);
    EXPECT_FALSE(w.isVisible());
    EXPECT_TRUE(MarkerAppears(std::chrono::seconds(5)));
}

TEST_F(UpgradeWizardTest, AFailedUpgradeNamesTheProgramFolderAndFinishStartsNothing) {
    OldDatabase();
    std::filesystem::remove(home / "Ketrova.ddf"); // the upgrade stops at the template
    settings.AppStart = MarkerCommand();
    const std::string before = testsupport::ReadFile(home / "db" / "Ketrova.mdb");
    frmWizUpgrade w(context);
    w.RunCommand("RUNUPGRADE_1");
    w.RunCommand("RUNUPGRADE_2");
    EXPECT_EQ(w.Tag(W::ActionButton), "FINISH_FAILURE");
    EXPECT_EQ(Text<QLabel>(w, "lblCreateStatus"), "Database upgrade failed.");
    EXPECT_EQ(testsupport::ReadFile(home / "db" / "Ketrova.mdb"), before);

    w.RunCommand("FINISH_FAILURE");
    EXPECT_EQ(w.Tag(W::ActionButton), "FAILED");
    EXPECT_EQ(w.Button(W::ActionButton)->text(), "&Finish");
    EXPECT_EQ(Text<QLabel>(w, "lblFinish"),
              wizards::FailureText("Database upgrade failure.", settings.AppPath) +
                  "\n\nCause: Database template file not found: " +
                  QString::fromStdString(settings.AppPath) + "Ketrova.ddf");
    EXPECT_TRUE(
        Text<QLabel>(w, "lblFinish")
            .contains(QString::fromStdString(" in the " + settings.AppPath + " directory.")));
    w.show();
    Press(w, W::ActionButton);
    EXPECT_FALSE(w.isVisible());
    EXPECT_FALSE(MarkerAppears(std::chrono::milliseconds(400)));
}

} // namespace
