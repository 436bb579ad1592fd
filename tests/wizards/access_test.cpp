// The windows as keyboard and screen-reader users meet them: what Enter and
// Esc do, and that every control is named, described, marked for translation
// and inside the window at its least size.

#include "wizard_fixture.h"
#include "wizards/frm_restore.h"
#include "wizards/frm_wiz_new.h"
#include "wizards/frm_wiz_options.h"
#include "wizards/frm_wiz_upgrade.h"
#include "wizards/text_viewer.h"

#include <QApplication>
#include <QGroupBox>
#include <QLayout>
#include <QLineEdit>
#include <QProgressBar>
#include <QScrollArea>
#include <QTabBar>
#include <QTabWidget>
#include <QTextEdit>
#include <QTranslator>
#include <QTreeWidget>

#include <memory>
#include <tuple>
#include <vector>

namespace {

using W = wizards::WizardWindow;

enum class Window { Create, Upgrade, Options, Restore, Viewer };
constexpr int kClosed = -1;

// Gives back every text it is asked for with a mark in front, so that a text
// shown without the mark never went through tr().
class MarkingTranslator : public QTranslator {
public:
    static constexpr char16_t kMark = u'\u2039';
    bool isEmpty() const override { return false; }
    QString translate(const char*, const char* source, const char*, int) const override {
        return QChar(kMark) + QString::fromUtf8(source);
    }
};

class AccessTest : public wizardtest::WizardFixture {
protected:
    std::unique_ptr<QWidget> Make(Window which) {
        switch (which) {
        case Window::Create:
            return std::make_unique<wizards::frmWizNew>(context);
        case Window::Upgrade:
            return std::make_unique<wizards::frmWizUpgrade>(context);
        case Window::Options:
            return std::make_unique<wizards::frmWizOptions>(context);
        case Window::Restore:
            return std::make_unique<wizards::frmRestore>(context);
        case Window::Viewer:
            break;
        }
        auto viewer = std::make_unique<wizards::TextViewer>(OSTRAND_BIN_DIR "/Ketrova.ddf", ui);
        viewer->setAttribute(Qt::WA_DeleteOnClose, false); // the test owns it
        return viewer;
    }

    // The window with the keyboard's focus in it, after `words` ran as their
    // buttons would.
    std::unique_ptr<QWidget> Open(Window which, const std::vector<QString>& words = {}) {
        std::unique_ptr<QWidget> w = Make(which);
        for (const QString& word : words) {
            static_cast<W*>(w.get())->RunCommand(word);
        }
        w->show();
        w->activateWindow();
        EXPECT_TRUE(QTest::qWaitForWindowActive(w.get()));
        return w;
    }
};

// Enter presses the page's default button; Esc cancels the wizard.
TEST_F(AccessTest, EnterPressesTheDefaultButtonAndEscapeCancels) {
    const std::tuple<std::vector<QString>, Qt::Key, int> cases[] = {
        {{"NEWDBPATH"}, Qt::Key_Enter, wizards::frmWizNew::PageCreate},
        {{}, Qt::Key_Escape, kClosed},
    };
    for (const auto& [words, key, shown] : cases) {
        SCOPED_TRACE(testing::Message() << "key " << key);
        const auto w = Open(Window::Create, words);
        QWidget* focus = QApplication::focusWidget(); // where the user's key lands
        QTest::keyClick(focus ? focus : w.get(), key);
        EXPECT_EQ(w->isVisible() ? static_cast<W*>(w.get())->VisiblePage() : kClosed, shown);
    }
}

// The nearest ancestor of `w` that is a T, or nullptr.
template <typename T> const T* Inside(const QWidget* w) {
    for (const QWidget* p = w->parentWidget(); p; p = p->parentWidget()) {
        if (const auto* a = qobject_cast<const T*>(p)) {
            return a;
        }
    }
    return nullptr;
}

// Controls a user meets, not the inner parts Qt builds them from (a list's
// header and scroll bars, a tab widget's bar), which take their name from them.
bool IsControl(const QWidget* w) {
    const QAbstractScrollArea* area = Inside<QAbstractScrollArea>(w);
    if ((area && !qobject_cast<const QScrollArea*>(area)) || Inside<QTabBar>(w) ||
        Inside<QLineEdit>(w)) {
        return false;
    }
    return qobject_cast<const QAbstractButton*>(w) || qobject_cast<const QLabel*>(w) ||
           qobject_cast<const QLineEdit*>(w) || qobject_cast<const QAbstractItemView*>(w) ||
           qobject_cast<const QTextEdit*>(w) || qobject_cast<const QProgressBar*>(w) ||
           qobject_cast<const QTabWidget*>(w) || qobject_cast<const QGroupBox*>(w) ||
           w->objectName().startsWith("img");
}

TEST_F(AccessTest, EveryControlIsNamedDescribedTranslatedAndInsideTheWindow) {
    for (Window which :
         {Window::Create, Window::Upgrade, Window::Options, Window::Restore, Window::Viewer}) {
        SCOPED_TRACE(testing::Message() << "window " << int(which));
        MarkingTranslator marking;
        QCoreApplication::installTranslator(&marking);
        const auto w = Open(which);
        QCoreApplication::removeTranslator(&marking);
        const QString mark(QChar(MarkingTranslator::kMark));
        EXPECT_TRUE(w->windowTitle().startsWith(mark)) << w->windowTitle().toStdString();
        w->resize(1, 1); // the layouts hold it at their least size
        w->layout()->activate();

        int controls = 0;
        for (const QWidget* c : w->findChildren<QWidget*>()) {
            if (!IsControl(c)) {
                continue;
            }
            ++controls;
            SCOPED_TRACE(testing::Message()
                         << c->metaObject()->className() << " " << c->objectName().toStdString());
            const auto* label = qobject_cast<const QLabel*>(c);
            // A text label's name is its text; a name of its own would hide it.
            if (!label || !label->pixmap().isNull()) {
                EXPECT_TRUE(c->accessibleName().startsWith(mark)) << "name";
            }
            EXPECT_TRUE(c->accessibleDescription().startsWith(mark)) << "description";
            // Whatever does not scroll lies inside the window at its least size.
            if (c->isVisible() && !Inside<QScrollArea>(c)) {
                EXPECT_TRUE(w->rect().contains(QRect(c->mapTo(w.get(), QPoint()), c->size())));
            }
        }
        EXPECT_GE(controls, 5);
    }
}

} // namespace
