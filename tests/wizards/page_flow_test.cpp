// The page flow every wizard shares, the UI services and the progress adapter,
// driven through a small wizard of two pages built on the shared base.

#include "scripted_ui.h"
#include "support/temp_dir.h"
#include "wizards/bar_progress.h"
#include "wizards/wizard_window.h"

#include <QApplication>
#include <QFrame>
#include <QLabel>
#include <QMessageBox>
#include <QProgressBar>
#include <QPushButton>
#include <QTest>
#include <QTimer>

#include <gtest/gtest.h>

#include <filesystem>

namespace {

using wizards::WizardWindow;
using wizardtest::ScriptedUi;

class TwoPageWizard : public WizardWindow {
public:
    TwoPageWizard(startup::RunSettings& settings, wizards::WizardUi& ui)
        : WizardWindow(settings, ui, "frmTest", "Test Wizard", 2, "options") {
        SetPageHeading(0, "First page");
        SetPageHeading(1, "Second page");
        AddText(0, "Page one");
        AddText(1, "Page two");
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
        Register("WORK", [this] {
            RunLocked([this] {
                ++workRuns;
                if (during) {
                    during();
                }
            });
        });
        Register("CANCEL", [this] { close(); });
        RunCommand("FIRST");
    }
    std::function<void()> during;
    int firstRuns = 0;
    int workRuns = 0;
};

class PageFlowTest : public testing::Test {
protected:
    PageFlowTest() { settings.AppPath = home.str(); }
    testsupport::TempDir home;
    startup::RunSettings settings;
    ScriptedUi ui;
};

TEST_F(PageFlowTest, ResetAllGivesEachFaceItsCaptionTagAndPicture) {
    TwoPageWizard w(settings, ui);
    struct Case {
        int16_t face;
        const char* caption;
        const char* tag;
        const char* style;
    };
    const Case cases[] = {{WizardWindow::FaceNext, "&Next", "NEXT", "NEXT"},
                          {WizardWindow::FaceStart, "&Start", "START", "START"},
                          {WizardWindow::FaceSuccess, "&Finish", "EXIT", "FINISH"},
                          {WizardWindow::FaceFailure, "&Finish", "FAILED", "FINISH"}};
    QList<QImage> pictures;
    for (const Case& c : cases) {
        w.ResetAll(true, true, true, c.face);
        QPushButton* action = w.Button(WizardWindow::ActionButton);
        EXPECT_EQ(action->text(), c.caption) << c.face;
        EXPECT_EQ(w.Tag(WizardWindow::ActionButton), c.tag) << c.face;
        EXPECT_EQ(w.FaceStyle(), c.style) << c.face;
        ASSERT_FALSE(action->icon().isNull()) << c.face;
        pictures.push_back(action->icon().pixmap(16, 16).toImage());
    }
    // Three faces, three different pictures; both finishing faces share one.
    EXPECT_NE(pictures[0], pictures[1]);
    EXPECT_NE(pictures[1], pictures[2]);
    EXPECT_NE(pictures[0], pictures[2]);
    EXPECT_EQ(pictures[2], pictures[3]);

    // A face the flow does not know leaves the button as it was.
    w.ResetAll(true, true, true, 1);
    EXPECT_EQ(w.Button(WizardWindow::ActionButton)->text(), "&Finish");
    EXPECT_EQ(w.Tag(WizardWindow::ActionButton), "FAILED");
}

TEST_F(PageFlowTest, ResetAllSetsTheThreeButtonsInFlagOrderAndHidesEveryPage) {
    TwoPageWizard w(settings, ui);
    ASSERT_EQ(w.VisiblePage(), 0);
    w.Button(WizardWindow::CancelButton)->setEnabled(false);

    w.ResetAll(true, false, false, WizardWindow::FaceNext);
    EXPECT_TRUE(w.Button(WizardWindow::BackButton)->isEnabled());
    EXPECT_FALSE(w.Button(WizardWindow::ActionButton)->isEnabled());
    EXPECT_FALSE(w.Button(WizardWindow::HelpButton)->isEnabled());
    EXPECT_EQ(w.VisiblePage(), -1);

    w.ResetAll(false, true, true, WizardWindow::FaceNext);
    EXPECT_FALSE(w.Button(WizardWindow::BackButton)->isEnabled());
    EXPECT_TRUE(w.Button(WizardWindow::ActionButton)->isEnabled());
    EXPECT_TRUE(w.Button(WizardWindow::HelpButton)->isEnabled());
    // Cancel is not one of the three.
    EXPECT_FALSE(w.Button(WizardWindow::CancelButton)->isEnabled());
}

TEST_F(PageFlowTest, ButtonsRunTheProcedureOfTheirTagAndIgnoreUnknownWords) {
    TwoPageWizard w(settings, ui);
    w.show();
    EXPECT_EQ(w.Button(0)->objectName(), "cmdAction_0");
    EXPECT_EQ(w.Page(1)->objectName(), "fraWiz_1");

    QTest::mouseClick(w.Button(WizardWindow::ActionButton), Qt::LeftButton);
    EXPECT_EQ(w.VisiblePage(), 1);
    EXPECT_EQ(w.findChild<QLabel*>("lblTopMessage")->text(), "Second page");
    EXPECT_EQ(w.Tag(WizardWindow::BackButton), "FIRST");

    // Going back re-runs the page procedure of the back tag.
    QTest::mouseClick(w.Button(WizardWindow::BackButton), Qt::LeftButton);
    EXPECT_EQ(w.VisiblePage(), 0);
    EXPECT_EQ(w.firstRuns, 2);

    w.SetTag(WizardWindow::ActionButton, "NO_SUCH_PAGE");
    QTest::mouseClick(w.Button(WizardWindow::ActionButton), Qt::LeftButton);
    EXPECT_EQ(w.VisiblePage(), 0);
    EXPECT_TRUE(w.isVisible());
    EXPECT_EQ(w.Tag(WizardWindow::ActionButton), "NO_SUCH_PAGE");

    // The program folder's own page first, else the one shipped beside the executable.
    QTest::mouseClick(w.Button(WizardWindow::HelpButton), Qt::LeftButton);
    std::filesystem::create_directory(home / "help");
    testsupport::WriteFile(home / "help" / "options.html", "<p>help</p>");
    QTest::mouseClick(w.Button(WizardWindow::HelpButton), Qt::LeftButton);
    ASSERT_EQ(ui.opened.size(), 2u);
    EXPECT_EQ(ui.opened[0], std::string(OSTRAND_BIN_DIR) + "/help/options.html");
    EXPECT_EQ(ui.opened[1], home.str() + "help/options.html");

    QTest::mouseClick(w.Button(WizardWindow::CancelButton), Qt::LeftButton);
    EXPECT_FALSE(w.isVisible());
}

TEST_F(PageFlowTest, NothingCanBePressedOrClosedWhileWorkRuns) {
    TwoPageWizard w(settings, ui);
    w.show();
    w.RunCommand("SECOND");
    bool checked = false;
    w.during = [&] {
        checked = true;
        EXPECT_TRUE(w.Running());
        for (int i = 0; i < 4; ++i) {
            EXPECT_FALSE(w.Button(i)->isEnabled()) << i;
        }
        // Presses, keys and words arriving through the event loop do nothing.
        QTest::mouseClick(w.Button(WizardWindow::ActionButton), Qt::LeftButton);
        QTest::mouseClick(w.Button(WizardWindow::BackButton), Qt::LeftButton);
        QTest::keyClick(&w, Qt::Key_Return);
        QTest::keyClick(&w, Qt::Key_Escape);
        w.RunCommand("WORK");
        w.RunCommand("FIRST");
        w.close();
        ui.DoEvents();
        EXPECT_TRUE(w.isVisible());
    };
    QTest::mouseClick(w.Button(WizardWindow::ActionButton), Qt::LeftButton);
    ASSERT_TRUE(checked);
    EXPECT_EQ(w.workRuns, 1);
    EXPECT_EQ(w.firstRuns, 1);
    EXPECT_EQ(w.VisiblePage(), 1);
    EXPECT_FALSE(w.Running());
    EXPECT_TRUE(w.Button(WizardWindow::CancelButton)->isEnabled());
    w.close();
    EXPECT_FALSE(w.isVisible());
}

TEST_F(PageFlowTest, RunLogScopeOpensAFreshLogAndAlwaysClosesIt) {
    const auto log = home / "Ostrand.log";
    testsupport::WriteFile(log, "previous run\r\n");
    {
        wizards::RunLogScope scope(settings);
        ASSERT_NE(settings.LogFileNo, 0);
        startup::Log(settings, "{-} step");
    }
    EXPECT_EQ(settings.LogFileNo, 0);
    EXPECT_EQ(testsupport::ReadFile(log), "{-} step\r\n");
    EXPECT_FALSE(settings.Files.IsOpen(1));

    // No log can be made: the work runs without one.
    settings.AppPath = (home / "missing").string() + "/";
    {
        wizards::RunLogScope scope(settings);
        EXPECT_EQ(settings.LogFileNo, 0);
    }
    EXPECT_EQ(settings.LogFileNo, 0);
}

TEST(FailureText, NamesTheLogAndTheProgramFolderExactly) {
    const QString text = wizards::FailureText("Database upgrade failure.", "/opt/ketrova/");
    EXPECT_TRUE(text.startsWith("Database upgrade failure.\n\nA log has been created"));
    EXPECT_TRUE(
        text.contains(QString(" Please contact ") + wizards::kSupportContact + " for assistance"));
    EXPECT_TRUE(text.endsWith(
        "view the log file called Ostrand.log located in the /opt/ketrova/ directory."));

    // The outcome pages add the cause, the log's last error, and the safety copy.
    testsupport::TempDir home;
    startup::RunSettings settings;
    settings.AppPath = home.str();
    const QString failed = wizards::FailureText("Failed.", settings.AppPath);
    const QString advice = wizards::BackupAdvice();
    testsupport::WriteFile(home / "Ostrand.log", "{-} Step\r\n");
    EXPECT_EQ(wizards::FailurePageText("Failed.", settings, ""), failed);
    testsupport::WriteFile(home / "Ostrand.log",
                           "{*} first\r\n{-} Step\r\n{*} Error 5 disk full\r\n{ } detail\r\n");
    EXPECT_EQ(wizards::FailurePageText("Failed.", settings, "/db/SafetyCopies/K.mdb"),
              failed + "\n\nCause: Error 5 disk full\n\nSafety copy: /db/SafetyCopies/K.mdb");
    EXPECT_EQ(wizards::SuccessPageText("Done.", "/db/SafetyCopies/K.mdb"),
              "Done.\n\n" + advice + "\n\nSafety copy: /db/SafetyCopies/K.mdb");
    EXPECT_EQ(wizards::SuccessPageText("Done.", ""), "Done.\n\n" + advice);
}

TEST(BarProgress, ShowsRoundedValuesWithinTheBarAndTheStatusText) {
    QProgressBar bar;
    QLabel label;
    wizards::BarProgress progress(&bar, &label);
    const std::pair<double, int> cases[] = {{0, 0},     {55, 55},   {12.5, 13}, {99.4, 99},
                                            {100, 100}, {150, 100}, {-3, 0}};
    for (const auto& [in, shown] : cases) {
        progress.SetValue(in);
        EXPECT_EQ(bar.value(), shown) << in;
    }
    progress.SetStatus("Loading template ...");
    EXPECT_EQ(label.text(), "Loading template ...");
}

// The real message box, inspected and answered from inside its own event loop.
TEST(WizardUiMessageBox, ShowsTitleTextButtonsAndIconAndReturnsThePress) {
    struct Case {
        util::Buttons buttons;
        util::Icon icon;
        QMessageBox::StandardButtons expectedButtons;
        QMessageBox::Icon expectedIcon;
        QMessageBox::StandardButton press; // NoButton: Esc, which answers the cautious one
        util::Answer answer;
        QMessageBox::StandardButton byDefault = QMessageBox::NoButton;
    };
    const Case cases[] = {
        {util::Buttons::OK, util::Icon::Information, QMessageBox::Ok, QMessageBox::Information,
         QMessageBox::Ok, util::Answer::OK},
        {util::Buttons::YesNo, util::Icon::Question, QMessageBox::Yes | QMessageBox::No,
         QMessageBox::Question, QMessageBox::NoButton, util::Answer::No},
        {util::Buttons::YesNo, util::Icon::Question, QMessageBox::Yes | QMessageBox::No,
         QMessageBox::Question, QMessageBox::Yes, util::Answer::Yes, QMessageBox::Yes},
        {util::Buttons::YesNoDefaultNo, util::Icon::Question, QMessageBox::Yes | QMessageBox::No,
         QMessageBox::Question, QMessageBox::Yes, util::Answer::Yes, QMessageBox::No},
        {util::Buttons::YesNoDefaultNo, util::Icon::Question, QMessageBox::Yes | QMessageBox::No,
         QMessageBox::Question, QMessageBox::NoButton, util::Answer::No},
        {util::Buttons::OKCancel, util::Icon::Exclamation, QMessageBox::Ok | QMessageBox::Cancel,
         QMessageBox::Warning, QMessageBox::NoButton, util::Answer::Cancel},
        {util::Buttons::OK, util::Icon::Critical, QMessageBox::Ok, QMessageBox::Critical,
         QMessageBox::Ok, util::Answer::OK},
    };
    for (const Case& c : cases) {
        wizards::WizardUi ui;
        bool seen = false;
        QTimer::singleShot(0, [&] {
            auto* box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget());
            ASSERT_NE(box, nullptr);
            seen = true;
            EXPECT_EQ(box->windowTitle(), "Some Title");
            EXPECT_EQ(box->text(), "line one\nline two");
            EXPECT_EQ(box->standardButtons(), c.expectedButtons);
            EXPECT_EQ(box->icon(), c.expectedIcon);
            if (c.byDefault != QMessageBox::NoButton) {
                EXPECT_EQ(box->defaultButton(), box->button(c.byDefault));
            }
            if (c.press == QMessageBox::NoButton) {
                QTest::keyClick(box, Qt::Key_Escape);
            } else {
                box->button(c.press)->click();
            }
        });
        const util::Answer answer =
            ui.MessageBox("line one\nline two", c.buttons, c.icon, "Some Title");
        EXPECT_TRUE(seen);
        EXPECT_EQ(answer, c.answer);
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
    EXPECT_EQ(QApplication::overrideCursor(), nullptr);
    ui.SetBusy(false); // one too many changes nothing
    EXPECT_EQ(QApplication::overrideCursor(), nullptr);
}

} // namespace
