// The texts of the outcome pages every wizard shares, and the real message box
// behind the UI services.

#include "wizard_fixture.h"

#include <QApplication>
#include <QMessageBox>
#include <QTimer>

#include <gtest/gtest.h>

namespace {

using OutcomePages = wizardtest::WizardFixture;

TEST_F(OutcomePages, NameTheLogTheCauseAndTheSafetyCopy) {
    const QString here = wizards::FailureText("Failed.", home.str());
    EXPECT_EQ(here, QString("Failed.\n\nA log has been created that can be used for "
                            "troubleshooting the problem. Please contact ") +
                        wizards::kSupportContact +
                        " for assistance or you can view the log file called Ostrand.log "
                        "located in the " +
                        QString::fromStdString(home.str()) + " directory.");
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

} // namespace
