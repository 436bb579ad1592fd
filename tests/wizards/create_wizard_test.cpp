// The create-database wizard end to end, and the upgrade wizard it hands an
// older database to: real databases built in a program folder of the test's
// own, and the registry store beside them.

#include "safety/safety_copy.h"
#include "wizard_fixture.h"
#include "wizards/frm_wiz_new.h"
#include "wizards/frm_wiz_upgrade.h"

#include <QLineEdit>
#include <QRadioButton>

#include <chrono>
#include <thread>

namespace {

using wizards::frmWizNew;
using W = wizards::WizardWindow;

const std::string JetFiles = OSTRAND_SOURCE_DIR "/../shared/jet/";

class CreateWizardTest : public wizardtest::WizardFixture {
protected:
    static void SetText(frmWizNew& w, const char* box, const std::string& text) {
        w.findChild<QLineEdit*>(box)->setText(QString::fromStdString(text));
    }
    void Choose(frmWizNew& w, const char* option) {
        w.findChild<QRadioButton*>(option)->click();
        Press(w, W::ActionButton);
    }
    // A database where the user's would be, and the one safety copy of it.
    std::filesystem::path Existing() const { return home / "db" / "Ketrova.mdb"; }
    void ExpectOneCopyOfExisting() const {
        const auto copies = safety::ListSafetyCopies(Existing().string());
        ASSERT_EQ(copies.size(), 1u);
        EXPECT_EQ(testsupport::ReadFile(copies[0].path), "the landlord's only copy");
    }
};

TEST_F(CreateWizardTest, CreatesTheDatabaseRegistersItAndStartsTheSuiteOnFinish) {
    startup::ParseCommandLine(settings, "/altdb=second");
    settings.AppStart = "touch " + (home / "started").string(); // leaves a mark when it runs
    frmWizNew w(context);
    w.show();
    ExpectHelpPage(w, "create.html");
    Choose(w, "optNewDB");
    EXPECT_EQ(Text<QLineEdit>(w, "txtNewPath").toStdString(), settings.AppPath + "db/");
    Press(w, W::ActionButton);
    ASSERT_EQ(w.VisiblePage(), frmWizNew::PageCreate);

    EXPECT_GT(StartLocked(w, [&] { EXPECT_NE(settings.LogFileNo, 0); }), 3);
    EXPECT_EQ(Text<QLabel>(w, "lblCreateStatus"), "Database created successfully.");
    const std::string folder = settings.AppPath + "db/";
    EXPECT_EQ(testsupport::ReadFile(folder + "Version"), "9\r\n");
    EXPECT_EQ(Registered("second"), folder);
    EXPECT_EQ(Registered("Default"), "");

    Press(w, W::ActionButton);
    EXPECT_EQ(w.Tag(W::ActionButton), "EXIT");
    EXPECT_EQ(Text<QLabel>(w, "lblFinish"),
              wizards::SuccessPageText("The Ketrova database is now ready for use.", ""));
    Press(w, W::ActionButton);
    EXPECT_FALSE(w.isVisible());
    for (int i = 0; i < 250 && !std::filesystem::exists(home / "started"); ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    EXPECT_TRUE(std::filesystem::exists(home / "started"));
}

TEST_F(CreateWizardTest, AFolderThatCannotTakeTheDatabaseOrHoldsOneNeedsTheUsersWord) {
    testsupport::WriteFile(Existing(), "the landlord's only copy");
    const struct {
        std::filesystem::path folder;
        util::Answer answer;
        const char* title; // of the one box asked
        int page;          // shown afterwards
    } cases[] = {
        {home / "nowhere", util::Answer::OK, "Invalid Directory", frmWizNew::PageNewPath},
        {home / "db", util::Answer::No, "Database Exists", frmWizNew::PageNewPath},
        {home / "db", util::Answer::Yes, "Database Exists", frmWizNew::PageCreate},
    };
    frmWizNew w(context);
    w.RunCommand("NEWDBPATH");
    for (const auto& c : cases) {
        SCOPED_TRACE(c.folder.string() + " " + std::to_string(int(c.answer)));
        ui.boxes.clear();
        ui.answers = {c.answer};
        SetText(w, "txtNewPath",
                c.folder.string()); // no trailing separator: one is added
        w.RunCommand("CREATEDB_1");
        ASSERT_EQ(ui.boxes.size(), 1u);
        EXPECT_EQ(ui.boxes[0].title, c.title);
        EXPECT_EQ(w.VisiblePage(), c.page);
        EXPECT_EQ(testsupport::ReadFile(Existing()), "the landlord's only copy");
    }
    EXPECT_EQ(ui.boxes[0].buttons, util::Buttons::YesNoDefaultNo);
    EXPECT_TRUE(ui.boxes[0].text.ends_with("\n\nDo you want to continue creating a new database?"));
    EXPECT_FALSE(std::filesystem::exists(home / "nowhere"));

    // The replaced database is kept, and the last page says where.
    w.RunCommand("CREATEDB_2");
    w.RunCommand("FINISH_SUCCESS");
    ExpectOneCopyOfExisting();
    EXPECT_TRUE(Text<QLabel>(w, "lblFinish")
                    .contains("\n\nSafety copy: " +
                              QString::fromStdString(settings.AppPath + "db/SafetyCopies/")));
}

TEST_F(CreateWizardTest, AStoreThatCannotBeReadIsShownAndNoWayOnIsOpen) {
    testsupport::WriteFile(settings.RegistryFile, "[not a store at all");
    frmWizNew w(context);
    EXPECT_FALSE(w.Button(W::ActionButton)->isEnabled());
    EXPECT_TRUE(Text<QLabel>(w, "lblStoreProblem")
                    .startsWith(QString::fromStdString("The settings store " +
                                                       settings.RegistryFile + " is damaged")));
}

TEST_F(CreateWizardTest, ImportsAWindowsDatabaseAndHandsAnOlderOneToTheUpgradeWizard) {
    frmWizNew w(context);
    w.show();
    Choose(w, "optImport");
    EXPECT_FALSE(w.Button(W::ActionButton)->isEnabled()) << "no Windows database chosen yet";
    ui.openAnswer = JetFiles + "DateTestDatabase.mdb"; // no Version file beside it: version 0
    QTest::mouseClick(w.findChild<QPushButton*>("cmdChangeImportFile"), Qt::LeftButton);
    Press(w, W::ActionButton);
    ASSERT_EQ(w.VisiblePage(), frmWizNew::PageImport);

    EXPECT_GT(StartLocked(w), 0);
    const std::string folder = settings.AppPath + "db/";
    EXPECT_EQ(Registered(), folder);
    EXPECT_EQ(testsupport::ReadFile(folder + "Version"), "0\r\n");

    // The upgrade wizard takes over, and runs as when start-up opens it.
    Press(w, W::ActionButton);
    EXPECT_FALSE(w.isVisible());
    wizards::frmWizUpgrade* upgrade = w.UpgradeWindow();
    ASSERT_TRUE(upgrade && upgrade->isVisible());
    Press(*upgrade, W::ActionButton);
    // A second run cannot start inside the first.
    EXPECT_GT(StartLocked(*upgrade, [&] { upgrade->RunCommand("RUNUPGRADE_2"); }), 10);
    EXPECT_EQ(Text<QLabel>(*upgrade, "lblCreateStatus"), "Database upgraded successfully.");
    EXPECT_EQ(testsupport::ReadFile(folder + "Version"), "9\r\n");
    Press(*upgrade, W::ActionButton);
    const auto copies = safety::ListSafetyCopies(settings.DBFile);
    ASSERT_EQ(copies.size(), 1u);
    // (What the upgrade could not convert of a database from elsewhere follows.)
    EXPECT_TRUE(Text<QLabel>(*upgrade, "lblFinish")
                    .startsWith(wizards::SuccessPageText(
                        "The Ketrova database upgrade was successful.", copies[0].path)));
    upgrade->close();
}

TEST_F(CreateWizardTest, AnImportReplacesADatabaseOnlyAfterYesAndNamesItsCopyOrItsCause) {
    testsupport::WriteFile(Existing(), "the landlord's only copy");
    // A current Windows database: nothing to upgrade after the import.
    std::filesystem::create_directory(home / "win");
    std::filesystem::copy_file(JetFiles + "DateTestDatabase.mdb", home / "win" / "Ketrova.mdb");
    testsupport::WriteFile(home / "win" / "Version", "9\r\n");
    testsupport::WriteFile(home / "win" / "notes.mdb", "Version 9 of the rent roll\n");
    const struct {
        const char* file;
        util::Answer answer;
        const char* outcome; // the action's tag after the run; "" when no run was allowed
        const char* finish;  // how the last page begins
    } cases[] = {
        {"Ketrova.mdb", util::Answer::No, "", ""},
        {"notes.mdb", util::Answer::Yes, "FINISH_FAILURE", "Database import failure.\n\n"},
        {"Ketrova.mdb", util::Answer::Yes, "FINISH_SUCCESS",
         "The Ketrova database is now ready for use.\n\n"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(std::string(c.file) + (c.answer == util::Answer::Yes ? " Yes" : " No"));
        frmWizNew w(context);
        ui.boxes.clear();
        ui.answers = {c.answer};
        w.RunCommand("IMPORTPATH");
        SetText(w, "txtImportFile", (home / "win" / c.file).string());
        w.RunCommand("IMPORTDB_1");
        ASSERT_EQ(ui.boxes.size(), 1u);
        EXPECT_EQ(ui.boxes[0].buttons, util::Buttons::YesNoDefaultNo);
        if (!*c.outcome) {
            EXPECT_EQ(w.VisiblePage(), frmWizNew::PageImportPath);
            continue;
        }
        w.RunCommand("IMPORTDB_2");
        ASSERT_EQ(w.Tag(W::ActionButton), c.outcome);
        w.RunCommand(c.outcome);
        const QString text = Text<QLabel>(w, "lblFinish");
        EXPECT_TRUE(text.startsWith(c.finish)) << text.toStdString();
        const bool failed = c.outcome == std::string("FINISH_FAILURE");
        EXPECT_EQ(text.contains("\n\nCause: "), failed) << text.toStdString();
        EXPECT_EQ(text.contains("\n\nSafety copy: "), !failed) << text.toStdString();
        EXPECT_EQ(Registered().empty(), failed);
        EXPECT_EQ(testsupport::ReadFile(Existing()) == "the landlord's only copy", failed);
    }
    ExpectOneCopyOfExisting();
}

using UpgradeWizardTest = wizardtest::WizardFixture;

TEST_F(UpgradeWizardTest, AFailedUpgradeNamesItsCauseAndKeepsTheDatabase) {
    InstallDatabase(4, false);
    const std::string folder = settings.AppPath + "db/";
    ASSERT_EQ(startup::LocateDatabase(settings, 0), startup::DBNeedsUpgrade);
    std::filesystem::remove(home / "Ketrova.ddf"); // the upgrade stops at the template
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
}

} // namespace
