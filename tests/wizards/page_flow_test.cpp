// The page flow every wizard shares, the UI services and the progress adapter,
// driven through a small wizard of two pages built on the shared base.

#include "scripted_ui.h"
#include "support/temp_dir.h"
#include "wizards/bar_progress.h"
#include "wizards/wizard_window.h"

#include <QApplication>
#include <QLabel>
#include <QMessageBox>
#include <QProgressBar>
#include <QPushButton>
#include <QTest>
#include <QTimer>

#include <gtest/gtest.h>

namespace {

using W = wizards::WizardWindow;

class TwoPageWizard : public W {
public:
    TwoPageWizard(startup::RunSettings& settings, wizards::WizardUi& ui)
        : W(settings, ui, "frmTest", "Test Wizard", 2, "options") {
        SetPageHeading(0, "First page");
        SetPageHeading(1, "Second page");
        Register("FIRST", [this] {
            ++firstRuns;
            ResetAll(false, true, true, FaceNext);
            SetTag(ActionButton, "SECOND");
            ShowPage(0);
        });
        Register("SECOND", [this] {
            ResetAll(true, true, true, FaceStart);
            SetTag(BackButton, "FIRST");
            SetTag(ActionButton, "WORK");
            ShowPage(1);
        });
        Register("WORK", [this] { RunLocked(during); });
        Register("CANCEL", [this] { close(); });
        RunCommand("FIRST");
    }
    std::function<void()> during = [] {};
    int firstRuns = 0;
};

class PageFlowTest : public testing::Test {
protected:
    PageFlowTest() { settings.AppPath = home.str(); }
    testsupport::TempDir home;
    startup::RunSettings settings;
    wizardtest::ScriptedUi ui;
};

TEST_F(PageFlowTest, ResetAllSetsTheButtonsAndGivesEachFaceItsCaptionAndTag) {
    TwoPageWizard w(settings, ui);
    const struct {
        bool back, action, help;
        int16_t face;
        const char* caption;
        const char* tag;
    } cases[] = {{true, false, false, W::FaceNext, "&Next", "NEXT"},
                 {false, true, true, W::FaceStart, "&Start", "START"},
                 {true, true, false, W::FaceSuccess, "&Finish", "EXIT"},
                 {false, false, true, W::FaceFailure, "&Finish", "FAILED"},
                 // A face the flow does not know leaves the button as it was.
                 {true, true, true, 1, "&Finish", "FAILED"}};
    w.Button(W::CancelButton)->setEnabled(false);
    for (const auto& c : cases) {
        SCOPED_TRACE(c.face);
        w.ResetAll(c.back, c.action, c.help, c.face);
        EXPECT_EQ(w.Button(W::BackButton)->isEnabled(), c.back);
        EXPECT_EQ(w.Button(W::ActionButton)->isEnabled(), c.action);
        EXPECT_EQ(w.Button(W::HelpButton)->isEnabled(), c.help);
        EXPECT_FALSE(w.Button(W::CancelButton)->isEnabled()) << "not one of the three";
        EXPECT_EQ(w.VisiblePage(), -1);
        EXPECT_EQ(w.Button(W::ActionButton)->text(), c.caption);
        EXPECT_EQ(w.Tag(W::ActionButton), c.tag);
    }
}

TEST_F(PageFlowTest, ButtonsRunTheProcedureOfTheirTagAndNothingWhileWorkRuns) {
    TwoPageWizard w(settings, ui);
    w.show();
    QTest::mouseClick(w.Button(W::ActionButton), Qt::LeftButton);
    EXPECT_EQ(w.VisiblePage(), 1);
    EXPECT_EQ(w.findChild<QLabel*>("lblTopMessage")->text(), "Second page");
    QTest::mouseClick(w.Button(W::BackButton), Qt::LeftButton);
    EXPECT_EQ(w.VisiblePage(), 0);
    EXPECT_EQ(w.firstRuns, 2);
    w.SetTag(W::ActionButton, "NO_SUCH_PAGE");
    QTest::mouseClick(w.Button(W::ActionButton), Qt::LeftButton);
    EXPECT_EQ(w.VisiblePage(), 0);

    w.RunCommand("SECOND");
    int runs = 0;
    w.during = [&] {
        ++runs;
        EXPECT_TRUE(w.Running());
        for (int i = 0; i < 4; ++i) {
            EXPECT_FALSE(w.Button(i)->isEnabled()) << i;
        }
        // Presses, keys and words arriving through the event loop do nothing.
        QTest::mouseClick(w.Button(W::ActionButton), Qt::LeftButton);
        QTest::keyClick(&w, Qt::Key_Escape);
        w.RunCommand("WORK");
        w.RunCommand("FIRST");
        w.close();
        ui.DoEvents();
        EXPECT_TRUE(w.isVisible());
    };
    QTest::mouseClick(w.Button(W::ActionButton), Qt::LeftButton);
    EXPECT_EQ(runs, 1);
    EXPECT_EQ(w.firstRuns, 2);
    EXPECT_EQ(w.VisiblePage(), 1);
    EXPECT_FALSE(w.Running());
    QTest::mouseClick(w.Button(W::CancelButton), Qt::LeftButton);
    EXPECT_FALSE(w.isVisible());
}

TEST_F(PageFlowTest, OutcomePagesNameTheLogTheCauseAndTheSafetyCopy) {
    const QString failed = wizards::FailureText("Failed.", "/opt/ketrova/");
    EXPECT_EQ(failed, QString("Failed.\n\nA log has been created that can be used for "
                              "troubleshooting the problem. Please contact ") +
                          wizards::kSupportContact +
                          " for assistance or you can view the log file called Ostrand.log "
                          "located in the /opt/ketrova/ directory.");
    settings.AppPath = home.str();
    const QString here = wizards::FailureText("Failed.", home.str());
    testsupport::WriteFile(home / "Ostrand.log", "{-} Step\r\n");
    EXPECT_EQ(wizards::FailurePageText("Failed.", settings, ""), here);
    testsupport::WriteFile(home / "Ostrand.log",
                           "{*} first\r\n{-} Step\r\n{*} Error 5 disk full\r\n{ } detail\r\n");
    EXPECT_EQ(wizards::FailurePageText("Failed.", settings, "/db/K.mdb"),
              here + "\n\nCause: Error 5 disk full\n\nSafety copy: /db/K.mdb");
    EXPECT_EQ(wizards::SuccessPageText("Done.", "/db/K.mdb"),
              "Done.\n\n" + wizards::BackupAdvice() + "\n\nSafety copy: /db/K.mdb");
    EXPECT_EQ(wizards::SuccessPageText("Done.", ""), "Done.\n\n" + wizards::BackupAdvice());
}

TEST(BarProgress, ShowsRoundedValuesWithinTheBarAndTheStatusText) {
    QProgressBar bar;
    QLabel label;
    wizards::BarProgress progress(&bar, &label);
    for (const auto& [in, shown] : std::initializer_list<std::pair<double, int>>{
             {55, 55}, {12.5, 13}, {99.4, 99}, {100, 100}, {150, 100}, {-3, 0}}) {
        progress.SetValue(in);
        EXPECT_EQ(bar.value(), shown) << in;
    }
    progress.SetStatus("Loading template ...");
    EXPECT_EQ(label.text(), "Loading template ...");
}

// The real message box, inspected and answered from inside its own event loop.
TEST(WizardUiMessageBox, ShowsTitleTextButtonsAndIconAndReturnsThePress) {
    using B = QMessageBox;
    const struct {
        util::Buttons buttons;
        util::Icon icon;
        B::StandardButtons shown;
        B::Icon expectedIcon;
        B::StandardButton press; // NoButton: Esc, which answers the cautious one
        util::Answer answer;
        B::StandardButton byDefault;
    } cases[] = {
        {util::Buttons::OK, util::Icon::Critical, B::Ok, B::Critical, B::Ok, util::Answer::OK,
         B::NoButton},
        {util::Buttons::YesNo, util::Icon::Question, B::Yes | B::No, B::Question, B::Yes,
         util::Answer::Yes, B::Yes},
        {util::Buttons::YesNoDefaultNo, util::Icon::Question, B::Yes | B::No, B::Question,
         B::NoButton, util::Answer::No, B::No},
        {util::Buttons::OKCancel, util::Icon::Exclamation, B::Ok | B::Cancel, B::Warning,
         B::NoButton, util::Answer::Cancel, B::NoButton},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(int(c.answer));
        wizards::WizardUi ui;
        bool seen = false;
        QTimer::singleShot(0, [&] {
            auto* box = qobject_cast<B*>(QApplication::activeModalWidget());
            ASSERT_NE(box, nullptr);
            seen = true;
            EXPECT_EQ(box->windowTitle(), "Some Title");
            EXPECT_EQ(box->text(), "line one\nline two");
            EXPECT_EQ(box->standardButtons(), c.shown);
            EXPECT_EQ(box->icon(), c.expectedIcon);
            if (c.byDefault != B::NoButton) {
                EXPECT_EQ(box->defaultButton(), box->button(c.byDefault));
            }
            if (c.press == B::NoButton) {
                QTest::keyClick(box, Qt::Key_Escape);
            } else {
                box->button(c.press)->click();
            }
        });
        EXPECT_EQ(ui.MessageBox("line one\nline two", c.buttons, c.icon, "Some Title"), c.answer);
        EXPECT_TRUE(seen);
    }
}

TEST(WizardUiBusy, NestedBusyCallsRestoreThePointerOnlyAtTheEnd) {
    wizards::WizardUi ui;
    ui.SetBusy(true);
    ui.SetBusy(true);
    ASSERT_NE(QApplication::overrideCursor(), nullptr);
    EXPECT_EQ(QApplication::overrideCursor()->shape(), Qt::WaitCursor);
    ui.SetBusy(false);
    EXPECT_NE(QApplication::overrideCursor(), nullptr);
    ui.SetBusy(false);
    ui.SetBusy(false); // one too many changes nothing
    EXPECT_EQ(QApplication::overrideCursor(), nullptr);
}

} // namespace
