// A window's place on the screen survives from one run to the next through
// the registry store, as the suite keeps it for its windows.

#include "startup/registry.h"
#include "support/temp_dir.h"
#include "wizards/form_position.h"

#include <QWidget>

#include <gtest/gtest.h>

namespace {

class FormPositionTest : public testing::Test {
protected:
    testsupport::TempDir home;
    platform::RegistryStore reg{(home / "registry.reg").string()};
};

TEST_F(FormPositionTest, ASizableWindowComesBackWhereAndAsLargeAsItWas) {
    {
        QWidget w;
        w.setObjectName("frmRestore");
        w.move(120, 80);
        w.resize(700, 480);
        wizards::QtFormWindow form(&w);
        EXPECT_EQ(form.Border(), startup::FormBorder::Sizable);
        startup::SaveFormPosition(reg, form);
    }
    EXPECT_EQ(startup::RegReadString(reg, startup::FormPositionKey, "frmRestore"),
              "120,80,700,480");
    EXPECT_EQ(startup::RegReadDWord(reg, startup::FormStateKey, "frmRestore"), startup::FormNormal);

    QWidget again;
    again.setObjectName("frmRestore");
    again.resize(300, 200);
    wizards::QtFormWindow form(&again);
    startup::RestoreFormPosition(reg, form);
    EXPECT_EQ(again.pos(), QPoint(120, 80));
    EXPECT_EQ(again.size(), QSize(700, 480));
}

TEST_F(FormPositionTest, AFixedSizeWindowTakesOnlyItsCorner) {
    startup::RegWriteString(reg, startup::FormPositionKey, "frmFixed", "40,30,900,900");
    QWidget w;
    w.setObjectName("frmFixed");
    w.setFixedSize(320, 240);
    wizards::QtFormWindow form(&w);
    EXPECT_EQ(form.Border(), startup::FormBorder::FixedSingle);
    startup::RestoreFormPosition(reg, form);
    EXPECT_EQ(w.pos(), QPoint(40, 30));
    EXPECT_EQ(w.size(), QSize(320, 240));
}

TEST_F(FormPositionTest, AMaximisedWindowKeepsItsStateAndTheLastNormalPlace) {
    startup::RegWriteString(reg, startup::FormPositionKey, "frmRestore", "10,20,640,400");
    QWidget w;
    w.setObjectName("frmRestore");
    w.setWindowState(Qt::WindowMaximized);
    wizards::QtFormWindow form(&w);
    EXPECT_EQ(form.WindowState(), startup::FormMaximized);
    startup::SaveFormPosition(reg, form);
    EXPECT_EQ(startup::RegReadDWord(reg, startup::FormStateKey, "frmRestore"),
              startup::FormMaximized);
    EXPECT_EQ(startup::RegReadString(reg, startup::FormPositionKey, "frmRestore"), "10,20,640,400");

    QWidget again;
    again.setObjectName("frmRestore");
    wizards::QtFormWindow againForm(&again);
    startup::RestoreFormPosition(reg, againForm);
    EXPECT_TRUE(again.windowState() & Qt::WindowMaximized);
}

} // namespace
