// What the program opens at start for each database state and switch: the
// whole of start-up after the single-instance check, in a program folder and
// registry store of the test's own.

#include "db/connection.h"
#include "safety/operation_guard.h"
#include "safety/recovery.h"
#include "safety/safety_copy.h"
#include "safety/safety_fixture.h"
#include "support/scoped_env.h"
#include "wizard_fixture.h"
#include "wizards/frm_wiz_options.h"
#include "wizards/start_up.h"

namespace {

class StartUpTest : public wizardtest::WizardFixture {
protected:
    // Start-up reads its folders from the environment, as the program does.
    testsupport::ScopedEnv home_{"KETROVA_HOME", settings.AppPath.c_str()};
    testsupport::ScopedEnv registry_{"KETROVA_REGISTRY", settings.RegistryFile.c_str()};
    testsupport::ScopedEnv user_{"KETROVA_USER_SETTINGS", settings.UserSettingsFile.c_str()};

    enum class State { None, Current, Old };

    // Anew for each case of a table.
    void Prepare(State state) {
        std::filesystem::remove_all(home / "db");
        std::filesystem::create_directory(home / "db");
        std::filesystem::remove(home / "registry.reg");
        if (state != State::None) {
            InstallDatabase(8, state == State::Current);
        }
    }

    // The object name of what start-up opened; "none" for no window.
    std::string Opened(const std::string& commandLine) {
        startup::RunSettings fresh;
        wizards::WizardContext ctx{fresh, ui, connection, clock};
        const std::unique_ptr<QWidget> window = wizards::StartUp(ctx, commandLine);
        return window ? window->objectName().toStdString() : "none";
    }
};

TEST_F(StartUpTest, EachDatabaseStateOpensItsWizardAndSwitchesOverrideIt) {
    const struct {
        State state;
        const char* commandLine;
        const char* opens;
    } cases[] = {
        {State::None, "", "frmWizNew"},        {State::Old, "", "frmWizUpgrade"},
        {State::Current, "", "frmWizOptions"}, {State::Current, "/UpgradeDB", "frmWizUpgrade"},
        {State::Old, "/diag", "none"}, // the report, without a window
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.commandLine);
        Prepare(c.state);
        EXPECT_EQ(Opened(c.commandLine), c.opens);
    }
}

TEST_F(StartUpTest, AnInterruptedOperationIsDealtWithBeforeAnyWizardOpens) {
    struct Case {
        const char* what;
        bool copy; // the run kept a safety copy, then wrote into the database itself
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
        Prepare(State::Current);
        const std::string db = settings.AppPath + "db/Ketrova.mdb";
        const int64_t leases = Query(db, "SELECT Count(*) FROM Lease");
        safetytest::SafetyTest::InChildThatDies([&] {
            safety::OperationGuard guard(db, "upgrade", clock);
            safety::SafetyCopy copy;
            std::string error;
            if (!guard.Begin(error))
                ::_exit(1);
            if (c.copy && safety::MakeSafetyCopy(db, "restore", clock, copy, error)) {
                guard.SetSafetyCopy(copy.path);
                guard.SetDatabaseTouched(true);
                Query(db, "DELETE FROM Lease");
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
        EXPECT_EQ(Query(db, "SELECT Count(*) FROM Lease") == leases, c.leasesBack);
    }
}

TEST_F(StartUpTest, ANewerDatabaseOpensNoWizardThatCouldChangeIt) {
    Prepare(State::Current);
    testsupport::WriteFile(home / "db" / "Version", "12\r\n");
    EXPECT_EQ(Opened(""), "none");
    EXPECT_EQ(Opened("/upgradedb"), "none");
    ASSERT_EQ(ui.boxes.size(), 2u);
    EXPECT_NE(ui.boxes[1].text.find("is version 12, newer than version 9,"), std::string::npos);
    EXPECT_EQ(Opened("/nodb"), "frmWizNew");
    EXPECT_EQ(testsupport::ReadFile(home / "db" / "Version"), "12\r\n");
}

} // namespace
