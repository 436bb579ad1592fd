// What the program opens at start for each database state and switch: the
// whole of start-up after the single-instance check, in a program folder and
// registry store of the test's own.

#include "db/connection.h"
#include "safety/operation_guard.h"
#include "safety/recovery.h"
#include "safety/safety_copy.h"
#include "safety/safety_fixture.h"
#include "startup/locator.h"
#include "upgrade/old_databases.h"
#include "wizard_fixture.h"
#include "wizards/frm_wiz_options.h"
#include "wizards/start_up.h"
#include "wizards/text_viewer.h"

#include <QApplication>
#include <QClipboard>

#include <cstdlib>

namespace {

class StartUpTest : public wizardtest::WizardFixture {
protected:
    StartUpTest() {
        // Start-up reads its folders from the environment, as the program does.
        setenv("KETROVA_HOME", settings.AppPath.c_str(), 1);
        setenv("KETROVA_REGISTRY", settings.RegistryFile.c_str(), 1);
        setenv("KETROVA_USER_SETTINGS", settings.UserSettingsFile.c_str(), 1);
    }
    ~StartUpTest() override {
        unsetenv("KETROVA_HOME");
        unsetenv("KETROVA_REGISTRY");
        unsetenv("KETROVA_USER_SETTINGS");
    }

    enum class State { None, Current, Old };

    void Prepare(State state) {
        if (state == State::None) {
            return;
        }
        const std::string folder = settings.AppPath + "db/";
        upgradetest::BuildOldDatabase(folder, 8);
        if (state == State::Current) {
            ASSERT_TRUE(startup::WriteVersionFile(folder));
        }
        startup::RegWriteString(startup::MachineRegistry(settings), startup::DatabasesKey,
                                "Default", folder);
    }

    // The object name of what start-up opened; "none" for no window.
    std::string Opened(const std::string& commandLine) {
        startup::RunSettings fresh;
        wizards::WizardContext ctx{fresh, ui, connection, clock};
        const std::unique_ptr<QWidget> window = wizards::StartUp(ctx, commandLine);
        seen = std::move(fresh.AltDB);
        return window ? window->objectName().toStdString() : "none";
    }
    std::string seen;

    static QWidget* ViewerWindow() {
        for (QWidget* w : QApplication::topLevelWidgets()) {
            if (w->objectName() == "frmViewer" && w->isVisible()) {
                return w;
            }
        }
        return nullptr;
    }
};

TEST_F(StartUpTest, EachDatabaseStateOpensItsWizardAndSwitchesOverrideIt) {
    struct Case {
        State state;
        const char* commandLine;
        const char* opens;
    };
    const Case cases[] = {
        {State::None, "", "frmWizNew"},
        {State::Old, "", "frmWizUpgrade"},
        {State::Current, "", "frmWizOptions"},
        {State::Current, "/nodb", "frmWizNew"},
        {State::Current, "/UpgradeDB", "frmWizUpgrade"},
        {State::Old, "/nodb /upgradedb", "frmWizNew"},
        {State::None, "/upgradedb", "frmWizNew"},
        {State::Current, "nodb", "frmWizOptions"}, // no "/": no switch
    };
    for (const Case& c : cases) {
        std::filesystem::remove_all(home / "db");
        std::filesystem::create_directory(home / "db");
        std::filesystem::remove(home / "registry.reg");
        Prepare(c.state);
        EXPECT_EQ(Opened(c.commandLine), c.opens) << "\"" << c.commandLine << "\"";
    }
}

TEST_F(StartUpTest, TheAltdbSwitchChoosesWhichRegisteredDatabaseIsLocated) {
    Prepare(State::Current);
    // "second" is not registered: the create wizard, for that name.
    EXPECT_EQ(Opened("/altdb=Second"), "frmWizNew");
    EXPECT_EQ(seen, "second");
    // Value names compare without regard to case, as on Windows.
    EXPECT_EQ(Opened("/altdb=default"), "frmWizOptions");
    EXPECT_EQ(seen, "default");
    EXPECT_EQ(Opened(""), "frmWizOptions");
}

TEST_F(StartUpTest, TheDiagSwitchRunsTheReportWithoutAWindowWhateverTheState) {
    for (const char* line : {"/diag", "/diag /nodb"}) {
        std::filesystem::remove(home / "Ostrand.log");
        EXPECT_EQ(Opened(line), "none") << line;
        const std::string report = testsupport::ReadFile(home / "Ostrand.log");
        EXPECT_NE(report.find("{ } Testing completed at "), std::string::npos) << line;
    }
}

// Without a viewer on the desktop the report comes up in a window of
// Ostrand's own, which keeps the program alive and can save and copy it.
TEST_F(StartUpTest, AReportNoViewerOpensIsShownInOstrandsOwnWindow) {
    ui.viewerTakes = false;
    EXPECT_EQ(Opened("/diag"), "none");
    ASSERT_TRUE(ui.ShowingDocument());
    auto* viewer = qobject_cast<wizards::TextViewer*>(ViewerWindow());
    ASSERT_NE(viewer, nullptr);
    EXPECT_EQ(viewer->Path(), settings.AppPath + "Ostrand.log");
    const std::string report = testsupport::ReadFile(home / "Ostrand.log");
    EXPECT_TRUE(viewer->Text().contains("Testing completed at"));
    EXPECT_FALSE(viewer->Text().contains(QChar(u'\0')));

    QTest::mouseClick(viewer->findChild<QPushButton*>("cmdCopy"), Qt::LeftButton);
    EXPECT_EQ(QApplication::clipboard()->text(), viewer->Text());
    ui.saveAnswer = (home / "sent-to-support.log").string();
    QTest::mouseClick(viewer->findChild<QPushButton*>("cmdSave"), Qt::LeftButton);
    EXPECT_EQ(testsupport::ReadFile(home / "sent-to-support.log"), report) << "byte for byte";

    QTest::mouseClick(viewer->findChild<QPushButton*>("cmdClose"), Qt::LeftButton);
    EXPECT_FALSE(ui.ShowingDocument());

    // A help page is shown formatted, not as its markup.
    ui.OpenDocument(wizards::HelpPage(settings.AppPath, "options"));
    viewer = qobject_cast<wizards::TextViewer*>(ViewerWindow());
    ASSERT_NE(viewer, nullptr);
    EXPECT_FALSE(viewer->Text().contains("<p>"));
    EXPECT_FALSE(viewer->Text().isEmpty());
}

} // namespace

namespace {

int64_t Leases(const std::string& db) {
    db::Connection c;
    c.Open(db);
    return c.Scalar("SELECT Count(*) FROM Lease").AsInt();
}

} // namespace

TEST_F(StartUpTest, AnInterruptedOperationIsDealtWithBeforeAnyWizardOpens) {
    struct Case {
        const char* what;
        bool touched; // the run wrote into the database itself
        util::Answer answer;
        size_t boxes;
        bool leasesBack;
    };
    const Case cases[] = {
        {"only its own files left", false, util::Answer::OK, 1, true},
        {"written into, copy put back", true, util::Answer::Yes, 2, true},
        {"written into, kept as it is", true, util::Answer::No, 2, false},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        std::filesystem::remove_all(home / "db");
        std::filesystem::create_directory(home / "db");
        Prepare(State::Current);
        const std::string db = settings.AppPath + "db/Ketrova.mdb";
        const int64_t leases = Leases(db);
        safetytest::SafetyTest::InChildThatDies([&] {
            safety::OperationGuard guard(db, "upgrade", clock);
            safety::SafetyCopy copy;
            std::string error;
            if (!guard.Begin(error))
                ::_exit(1);
            if (c.touched && safety::MakeSafetyCopy(db, "restore", clock, copy, error)) {
                guard.SetSafetyCopy(copy.path);
                guard.SetDatabaseTouched(true);
                db::Connection w;
                w.Open(db);
                w.Execute("DELETE FROM Lease");
            } else if (guard.AddLeftover(db + ".upgrading")) {
                testsupport::WriteFile(db + ".upgrading", "half converted");
            }
            ::_exit(9);
        });
        ui.boxes.clear();
        ui.answers = {c.answer};
        EXPECT_EQ(Opened(""), "frmWizOptions");
        ASSERT_EQ(ui.boxes.size(), c.boxes);
        EXPECT_EQ(ui.boxes.front().text.rfind("The upgrade of " + db + " started on ", 0), 0u);
        EXPECT_EQ(ui.boxes.back().title, "Interrupted Operation");
        EXPECT_FALSE(safety::FindInterruption(db));
        EXPECT_FALSE(std::filesystem::exists(db + ".upgrading"));
        EXPECT_EQ(Leases(db) == leases, c.leasesBack);
    }
}

TEST_F(StartUpTest, ANewerDatabaseOpensNoWizardThatCouldChangeIt) {
    Prepare(State::Current);
    testsupport::WriteFile(home / "db" / "Version", "12\r\n");
    for (const char* line : {"", "/upgradedb"}) {
        ui.boxes.clear();
        EXPECT_EQ(Opened(line), "none") << line;
        ASSERT_EQ(ui.boxes.size(), 1u);
        EXPECT_NE(ui.boxes[0].text.find("is version 12, newer than version 9,"), std::string::npos);
    }
    EXPECT_EQ(Opened("/nodb"), "frmWizNew");
    EXPECT_EQ(testsupport::ReadFile(home / "db" / "Version"), "12\r\n");
}
