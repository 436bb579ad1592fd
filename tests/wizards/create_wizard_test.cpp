// The create-database wizard end to end: real databases built in a program
// folder of the test's own, and the registry store beside them.

#include "wizard_fixture.h"
#include "wizards/frm_wiz_new.h"
#include "wizards/frm_wiz_upgrade.h"

#include <QLineEdit>
#include <QProgressBar>
#include <QRadioButton>

namespace {

using wizards::frmWizNew;
using W = wizards::WizardWindow;

const std::string JetFiles = OSTRAND_SOURCE_DIR "/../shared/jet/";

class CreateWizardTest : public wizardtest::WizardFixture {
protected:
    static void SetText(frmWizNew& w, const char* box, const std::string& text) {
        w.findChild<QLineEdit*>(box)->setText(QString::fromStdString(text));
    }
    void SetFolder(frmWizNew& w, const std::string& folder) { SetText(w, "txtNewPath", folder); }
    // The import's pages up to Start, with `file` to import into db/.
    static void ReadyToImport(frmWizNew& w, const std::string& file) {
        w.RunCommand("IMPORTPATH");
        SetText(w, "txtImportFile", file);
        w.RunCommand("IMPORTDB_1");
    }
};

TEST_F(CreateWizardTest, CreatesTheDatabaseRegistersItAndStartsTheSuiteOnFinish) {
    settings.AppStart = MarkerCommand();
    frmWizNew w(context);
    w.show();
    EXPECT_EQ(w.windowTitle(), "Ketrova Database Wizard");
    EXPECT_EQ(w.VisiblePage(), frmWizNew::PageChoice);
    EXPECT_EQ(w.Tag(W::ActionButton), "NEWDBPATH");
    EXPECT_FALSE(w.Button(W::BackButton)->isEnabled());

    Press(w, W::ActionButton);
    EXPECT_EQ(w.VisiblePage(), frmWizNew::PageNewPath);
    EXPECT_EQ(Text<QLineEdit>(w, "txtNewPath").toStdString(), settings.AppPath + "db/");
    EXPECT_EQ(w.Tag(W::BackButton), "NODB");

    Press(w, W::ActionButton);
    ASSERT_EQ(w.VisiblePage(), frmWizNew::PageCreate);
    EXPECT_EQ(w.Button(W::ActionButton)->text(), "&Start");
    EXPECT_EQ(w.Tag(W::ActionButton), "CREATEDB_2");
    EXPECT_FALSE(w.findChild<QProgressBar*>("pgbMakeDB")->isVisibleTo(&w));

    CheckLockedWhileWorking(w, [&] { EXPECT_NE(settings.LogFileNo, 0); });
    Press(w, W::ActionButton);
    ui.onEvents = nullptr;
    EXPECT_GT(lockedChecks, 3);
    EXPECT_EQ(settings.LogFileNo, 0);

    EXPECT_EQ(w.Tag(W::ActionButton), "FINISH_SUCCESS");
    EXPECT_EQ(w.findChild<QProgressBar*>("pgbMakeDB")->value(), 100);
    EXPECT_EQ(Text<QLabel>(w, "lblCreateStatus"), "Database created successfully.");
    const std::string folder = settings.AppPath + "db/";
    EXPECT_TRUE(std::filesystem::exists(folder + "Ketrova.mdb"));
    EXPECT_EQ(testsupport::ReadFile(folder + "Version"), "9\r\n");
    EXPECT_EQ(Registered(), folder);
    const std::string log = testsupport::ReadFile(home / "Ostrand.log");
    EXPECT_NE(log.find("{-} CreateNewDB started"), std::string::npos);

    Press(w, W::ActionButton);
    EXPECT_EQ(w.VisiblePage(), frmWizNew::PageFinish);
    EXPECT_EQ(w.Button(W::ActionButton)->text(), "&Finish");
    EXPECT_EQ(w.Tag(W::ActionButton), "EXIT");
    EXPECT_TRUE(Text<QLabel>(w, "lblFinish")
                    .startsWith("The Ketrova database is now ready for use.\n\n"
                                "Performing regular backups"));

    Press(w, W::ActionButton);
    EXPECT_FALSE(w.isVisible());
    EXPECT_TRUE(MarkerAppears(std::chrono::seconds(5)));
}

TEST_F(CreateWizardTest, AnAlternativeDatabaseNameIsWhatTheRegistryRecords) {
    startup::ParseCommandLine(settings, "/altdb=second");
    frmWizNew w(context);
    w.RunCommand("NEWDBPATH");
    w.RunCommand("CREATEDB_1");
    w.RunCommand("CREATEDB_2");
    ASSERT_EQ(w.Tag(W::ActionButton), "FINISH_SUCCESS");
    EXPECT_EQ(Registered("second"), settings.AppPath + "db/");
    EXPECT_EQ(Registered("Default"), "");
}

TEST_F(CreateWizardTest, AFolderThatCannotTakeTheDatabaseKeepsTheUserOnThePage) {
    frmWizNew w(context);
    w.RunCommand("NEWDBPATH");
    for (const std::string& bad : {(home / "nowhere").string(), (home / "Ketrova.ddf").string()}) {
        ui.boxes.clear();
        SetFolder(w, bad);
        w.RunCommand("CREATEDB_1");
        EXPECT_EQ(w.VisiblePage(), frmWizNew::PageNewPath) << bad;
        ASSERT_EQ(ui.boxes.size(), 1u) << bad;
        EXPECT_EQ(ui.boxes[0].title, "Invalid Directory");
        EXPECT_EQ(ui.boxes[0].text,
                  "The directory path selected is not valid. Please select a directory\n"
                  "that exists and you have access rights to, and also make sure\n"
                  "there is disk space avaliable.\n\nPress OK to continue.");
    }
    EXPECT_FALSE(std::filesystem::exists(home / "nowhere"));
}

TEST_F(CreateWizardTest, AnExistingDatabaseIsReplacedOnlyAfterYes) {
    const auto existing = home / "db" / "Ketrova.mdb";
    testsupport::WriteFile(existing, "the landlord's only copy");
    frmWizNew w(context);
    w.RunCommand("NEWDBPATH");
    SetFolder(w, (home / "db").string()); // no trailing separator: one is added

    ui.answers = {util::Answer::No};
    w.RunCommand("CREATEDB_1");
    ASSERT_EQ(ui.boxes.size(), 1u);
    EXPECT_EQ(ui.boxes[0].title, "Database Exists");
    EXPECT_EQ(ui.boxes[0].buttons, util::Buttons::YesNoDefaultNo);
    EXPECT_EQ(ui.boxes[0].icon, util::Icon::Question);
    EXPECT_TRUE(
        ui.boxes[0].text.starts_with("A database already exists at the selected location."));
    EXPECT_TRUE(ui.boxes[0].text.ends_with("\n\nDo you want to continue creating a new database?"));
    EXPECT_EQ(w.VisiblePage(), frmWizNew::PageNewPath);
    EXPECT_EQ(testsupport::ReadFile(existing), "the landlord's only copy");

    ui.answers = {util::Answer::Yes};
    w.RunCommand("CREATEDB_1");
    EXPECT_EQ(w.VisiblePage(), frmWizNew::PageCreate);
    EXPECT_EQ(testsupport::ReadFile(existing), "the landlord's only copy"); // nothing until Start
    EXPECT_EQ(Text<QLabel>(w, "lblCreateFolder").toStdString(), settings.AppPath + "db/");

    // The replaced database is kept, and the last page says where.
    w.RunCommand("CREATEDB_2");
    w.RunCommand("FINISH_SUCCESS");
    const QString text = Text<QLabel>(w, "lblFinish");
    const QString copy = QString::fromStdString(settings.AppPath + "db/SafetyCopies/Ketrova-");
    ASSERT_TRUE(text.contains("\nSafety copy: " + copy)) << text.toStdString();
    const QString path = text.mid(text.indexOf(copy)).trimmed();
    EXPECT_EQ(testsupport::ReadFile(path.toStdString()), "the landlord's only copy");
}

TEST_F(CreateWizardTest, AFailedCreationNamesTheLogAndFinishStartsNothing) {
    std::filesystem::remove(home / "Ketrova.ddf");
    settings.AppStart = MarkerCommand();
    frmWizNew w(context);
    w.RunCommand("NEWDBPATH");
    w.RunCommand("CREATEDB_1");
    w.RunCommand("CREATEDB_2");
    EXPECT_EQ(w.Tag(W::ActionButton), "FINISH_FAILURE");
    EXPECT_EQ(Text<QLabel>(w, "lblCreateStatus"), "Database creation failed.");
    EXPECT_EQ(Registered(), "");

    Press(w, W::ActionButton);
    EXPECT_EQ(w.Tag(W::ActionButton), "FAILED");
    EXPECT_EQ(w.Button(W::ActionButton)->text(), "&Finish");
    const QString text = Text<QLabel>(w, "lblFinish");
    EXPECT_TRUE(text.startsWith("Database creation failure.\n\n"));
    // The log's place, then what went wrong: its last error line.
    EXPECT_TRUE(text.contains(QString::fromStdString(
        "located in the " + settings.AppPath +
        " directory.\n\nCause: " + startup::LastErrorLine(settings.AppPath + "Ostrand.log"))));
    EXPECT_TRUE(text.contains("Ketrova.ddf")) << text.toStdString();

    Press(w, W::ActionButton);
    EXPECT_FALSE(w.isVisible());
    EXPECT_FALSE(MarkerAppears(std::chrono::milliseconds(400)));
}

TEST_F(CreateWizardTest, ConnectingNeedsAFolderThatHoldsTheDatabase) {
    frmWizNew w(context);
    w.show();
    w.findChild<QRadioButton*>("optConnect")->click();
    EXPECT_EQ(w.Tag(W::ActionButton), "BROWSECONNECT");
    w.findChild<QRadioButton*>("optNewDB")->click();
    EXPECT_EQ(w.Tag(W::ActionButton), "NEWDBPATH");
    w.findChild<QRadioButton*>("optConnect")->click();

    Press(w, W::ActionButton);
    EXPECT_EQ(w.VisiblePage(), frmWizNew::PageConnect);
    EXPECT_EQ(Text<QLineEdit>(w, "txtConnectPath").toStdString(), settings.AppPath + "db");
    EXPECT_FALSE(w.Button(W::ActionButton)->isEnabled()); // db/ holds no database yet

    const auto other = home / "Data";
    std::filesystem::create_directory(other);
    testsupport::WriteFile(other / "Ketrova.mdb", "");
    ui.folderAnswer = other.string();
    QTest::mouseClick(w.findChild<QPushButton*>("cmdChangeConnectPath"), Qt::LeftButton);
    ASSERT_EQ(ui.folderTitles.size(), 1u);
    EXPECT_EQ(ui.folderTitles[0], "Select directory where database is located:");
    EXPECT_EQ(ui.folderStarts[0], settings.AppPath + "db");
    EXPECT_TRUE(w.Button(W::ActionButton)->isEnabled());

    // Typing a folder without the database takes the button away again.
    w.findChild<QLineEdit*>("txtConnectPath")->setText(QString::fromStdString(home.str()));
    EXPECT_FALSE(w.Button(W::ActionButton)->isEnabled());
    w.findChild<QLineEdit*>("txtConnectPath")->setText(QString::fromStdString(other.string()));

    Press(w, W::ActionButton);
    EXPECT_EQ(Registered(), other.string() + "/");
    EXPECT_EQ(w.VisiblePage(), frmWizNew::PageFinish);
    EXPECT_EQ(w.Tag(W::ActionButton), "FINISH_SUCCESS");
    Press(w, W::ActionButton);
    EXPECT_EQ(w.Tag(W::ActionButton), "EXIT");

    // Back from the folder page refills the defaults: the connect box was changed above.
    w.RunCommand("BROWSECONNECT");
    EXPECT_EQ(Text<QLineEdit>(w, "txtConnectPath").toStdString(), settings.AppPath + "db");
}

TEST_F(CreateWizardTest, TheNewFolderCanBeChosenAndACancelledDialogChangesNothing) {
    frmWizNew w(context);
    w.RunCommand("NEWDBPATH");
    ui.folderAnswer = std::nullopt;
    w.RunCommand("CHANGENEWPATH");
    EXPECT_EQ(Text<QLineEdit>(w, "txtNewPath").toStdString(), settings.AppPath + "db/");
    ui.folderAnswer = home.str() + "Files";
    w.RunCommand("CHANGENEWPATH");
    EXPECT_EQ(ui.folderTitles.back(), "Select directory for new database:");
    EXPECT_EQ(Text<QLineEdit>(w, "txtNewPath").toStdString(), home.str() + "Files");
}

TEST_F(CreateWizardTest, AStoreThatCannotBeReadIsShownAndNoWayOnIsOpen) {
    testsupport::WriteFile(settings.RegistryFile, "[not a store at all");
    frmWizNew w(context);
    w.show();
    EXPECT_FALSE(w.Button(W::ActionButton)->isEnabled());
    EXPECT_TRUE(Text<QLabel>(w, "lblStoreProblem")
                    .startsWith(QString::fromStdString("The settings store " +
                                                       settings.RegistryFile + " is damaged")));
}

TEST_F(CreateWizardTest, ImportsAWindowsDatabaseAndHandsAnOlderOneToTheUpgradeWizard) {
    frmWizNew w(context);
    w.show();
    w.findChild<QRadioButton*>("optImport")->click();
    EXPECT_EQ(w.Tag(W::ActionButton), "IMPORTPATH");
    Press(w, W::ActionButton);
    EXPECT_EQ(w.VisiblePage(), frmWizNew::PageImportPath);
    EXPECT_EQ(Text<QLineEdit>(w, "txtImportPath").toStdString(), settings.AppPath + "db/");
    EXPECT_FALSE(w.Button(W::ActionButton)->isEnabled()) << "no Windows database chosen yet";
    ui.openAnswer = JetFiles + "DateTestDatabase.mdb"; // no Version file beside it: version 0
    QTest::mouseClick(w.findChild<QPushButton*>("cmdChangeImportFile"), Qt::LeftButton);
    Press(w, W::ActionButton);
    ASSERT_EQ(w.VisiblePage(), frmWizNew::PageImport);
    EXPECT_EQ(w.Tag(W::ActionButton), "IMPORTDB_2");

    QStringList statuses;
    CheckLockedWhileWorking(w, [&] { statuses << Text<QLabel>(*w.Page(6), "lblCreateStatus"); });
    Press(w, W::ActionButton);
    ui.onEvents = nullptr;
    EXPECT_TRUE(statuses.contains("Importing table DateTest ..."))
        << statuses.join('|').toStdString();
    const std::string folder = settings.AppPath + "db/";
    EXPECT_EQ(Registered(), folder);
    EXPECT_EQ(testsupport::ReadFile(folder + "Version"), "0\r\n");
    EXPECT_EQ(w.Tag(W::ActionButton), "RUNUPGRADE");

    Press(w, W::ActionButton);
    EXPECT_FALSE(w.isVisible());
    wizards::frmWizUpgrade* upgrade = w.UpgradeWindow();
    ASSERT_NE(upgrade, nullptr);
    EXPECT_TRUE(upgrade->isVisible());
    upgrade->RunCommand("RUNUPGRADE_1");
    upgrade->RunCommand("RUNUPGRADE_2");
    EXPECT_EQ(upgrade->Tag(W::ActionButton), "FINISH_SUCCESS");
    EXPECT_EQ(testsupport::ReadFile(folder + "Version"), "9\r\n");
    upgrade->close();
}

TEST_F(CreateWizardTest, AnImportReplacesADatabaseOnlyAfterYesAndNamesItsCopyOrItsCause) {
    const auto existing = home / "db" / "Ketrova.mdb";
    testsupport::WriteFile(existing, "the landlord's only copy");
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
        ReadyToImport(w, (home / "win" / c.file).string());
        ASSERT_EQ(ui.boxes.size(), 1u);
        EXPECT_EQ(ui.boxes[0].title, "Database Exists");
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
        EXPECT_EQ(testsupport::ReadFile(existing) == "the landlord's only copy", failed);
    }
    const auto copies = safety::ListSafetyCopies(existing.string());
    ASSERT_EQ(copies.size(), 1u);
    EXPECT_EQ(testsupport::ReadFile(copies[0].path), "the landlord's only copy");
}

TEST_F(CreateWizardTest, HelpOpensTheShippedPageOfThisWizard) {
    frmWizNew w(context);
    w.show();
    ExpectHelpPage(w, "create.html");
}

} // namespace
