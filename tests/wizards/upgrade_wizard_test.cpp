// The upgrade wizard when the upgrade fails: the database stays as it was.
// (The create wizard's import hands a successful one over to it.)

#include "startup/locator.h"
#include "upgrade/old_databases.h"
#include "wizard_fixture.h"
#include "wizards/frm_wiz_upgrade.h"

namespace {

using W = wizards::WizardWindow;
using UpgradeWizardTest = wizardtest::WizardFixture;

TEST_F(UpgradeWizardTest, AFailedUpgradeNamesItsCauseKeepsTheDatabaseAndStartsNothing) {
    const std::string folder = settings.AppPath + "db/";
    upgradetest::BuildOldDatabase(folder, 4);
    startup::RegWriteString(startup::MachineRegistry(settings), startup::DatabasesKey, "Default",
                            folder);
    ASSERT_EQ(startup::LocateDatabase(settings, 0), startup::DBNeedsUpgrade);
    std::filesystem::remove(home / "Ketrova.ddf"); // the upgrade stops at the template
    settings.AppStart = MarkerCommand();
    const std::string before = testsupport::ReadFile(folder + "Ketrova.mdb");
    wizards::frmWizUpgrade w(context);
    w.show();
    w.RunCommand("RUNUPGRADE_1");
    ExpectHelpPage(w, "upgrade.html");
    w.RunCommand("RUNUPGRADE_2");
    EXPECT_EQ(Text<QLabel>(w, "lblCreateStatus"), "Database upgrade failed.");
    EXPECT_EQ(testsupport::ReadFile(folder + "Ketrova.mdb"), before);
    Press(w, W::ActionButton);
    EXPECT_EQ(w.Tag(W::ActionButton), "FAILED");
    EXPECT_FALSE(w.Button(W::BackButton)->isEnabled()) << "no way back into a failed run";
    EXPECT_EQ(Text<QLabel>(w, "lblFinish"),
              wizards::FailureText("Database upgrade failure.", settings.AppPath) +
                  "\n\nCause: Database template file not found: " +
                  QString::fromStdString(settings.AppPath) + "Ketrova.ddf");
    Press(w, W::ActionButton);
    EXPECT_FALSE(w.isVisible());
    EXPECT_FALSE(MarkerAppears(std::chrono::milliseconds(400)));
}

} // namespace
