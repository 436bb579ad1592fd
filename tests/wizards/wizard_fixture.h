#pragma once
// A program folder of its own for each test: the shipped template beside it,
// a registry store inside it, the run settings filled as start-up fills them,
// and the context the windows are handed.

#include "db/connection.h"
#include "platform/clock.h"
#include "scripted_ui.h"
#include "startup/init.h"
#include "startup/locator.h"
#include "startup/registry.h"
#include "support/temp_dir.h"
#include "upgrade/old_databases.h"
#include "wizards/wizard_context.h"
#include "wizards/wizard_window.h"

#include <QLabel>
#include <QPushButton>
#include <QTest>

#include <gtest/gtest.h>

#include <filesystem>
#include <functional>
#include <string>

namespace wizardtest {

class WizardFixture : public testing::Test {
protected:
    WizardFixture() {
        startup::FillStartValues(settings, home.str());
        settings.RegistryFile = (home / "registry.reg").string();
        settings.UserSettingsFile = (home / "settings.ini").string();
        startup::CreateWorkingFolders(settings);
        std::filesystem::copy_file(std::filesystem::path(OSTRAND_BIN_DIR) / "Ketrova.ddf",
                                   home / "Ketrova.ddf");
    }

    std::string Registered(const std::string& name = "Default") const {
        return startup::RegReadString(startup::MachineRegistry(settings), startup::DatabasesKey,
                                      name);
    }

    static void Press(wizards::WizardWindow& w, int button) {
        QPushButton* b = w.Button(button);
        ASSERT_TRUE(b->isEnabled())
            << "button " << button << " tag " << w.Tag(button).toStdString();
        QTest::mouseClick(b, Qt::LeftButton);
    }

    template <typename T> static QString Text(const QWidget& w, const char* name) {
        const T* child = w.findChild<T*>(name);
        return child ? child->text() : QString("<no %1>").arg(name);
    }

    // Presses the action button to start the page's work. Each time the work
    // lets events through, no button of `w` can be pressed, Esc and closing
    // leave it open, and `also` looks at whatever else; afterwards the run log
    // is closed. How often the work let events through.
    int StartLocked(
        wizards::WizardWindow& w, std::function<void()> also = [] {}) {
        int locked = 0;
        const bool shown = w.isVisible();
        ui.onEvents = [&] {
            ++locked;
            for (int i = 0; i < 4; ++i) {
                EXPECT_FALSE(w.Button(i)->isEnabled()) << "button " << i << " during the run";
            }
            QTest::keyClick(&w, Qt::Key_Escape);
            w.close();
            EXPECT_EQ(w.isVisible(), shown) << "closed during the run";
            also();
        };
        Press(w, wizards::WizardWindow::ActionButton);
        ui.onEvents = nullptr;
        EXPECT_EQ(settings.LogFileNo, 0);
        return locked;
    }

    // A database of `version` in the program's db folder, registered as the
    // default; its version file says it is current only when `current`.
    void InstallDatabase(int version, bool current) {
        const std::string folder = settings.AppPath + "db/";
        upgradetest::BuildOldDatabase(folder, version);
        if (current) {
            EXPECT_TRUE(startup::WriteVersionFile(folder));
        }
        startup::RegWriteString(startup::MachineRegistry(settings), startup::DatabasesKey,
                                "Default", folder);
    }

    // Runs `sql` on the database at `file`; its first value as a number.
    static int64_t Query(const std::string& file, const std::string& sql) {
        db::Connection c;
        c.Open(file);
        return c.Scalar(sql).AsInt();
    }

    // Help opens this window's own page, shipped with the program.
    void ExpectHelpPage(wizards::WizardWindow& w, const char* page) {
        const size_t before = ui.opened.size();
        Press(w, wizards::WizardWindow::HelpButton);
        ASSERT_EQ(ui.opened.size(), before + 1);
        EXPECT_EQ(std::filesystem::path(ui.opened.back()).filename(), page);
        EXPECT_TRUE(std::filesystem::exists(ui.opened.back())) << ui.opened.back();
    }

    testsupport::TempDir home;
    startup::RunSettings settings;
    ScriptedUi ui;
    db::Connection connection;
    platform::FixedClock clock{{2026, 7, 1, 9, 30, 0}};
    wizards::WizardContext context{settings, ui, connection, clock};
};

} // namespace wizardtest
