#include "wizards/access.h"

#include <QAbstractButton>
#include <QKeyEvent>
#include <QLayout>
#include <QScrollArea>
#include <QSplitter>
#include <QTabWidget>
#include <QWidget>

namespace wizards {

namespace {

void CollectLayout(const QLayout* layout, QWidgetList& controls);

void CollectWidget(QWidget* widget, QWidgetList& controls) {
    if (widget->isWindow()) {
        return;
    }
    if (widget->focusPolicy() & Qt::TabFocus) {
        controls << widget;
    }
    if (auto* tabs = qobject_cast<QTabWidget*>(widget)) {
        for (int i = 0; i < tabs->count(); ++i) {
            CollectWidget(tabs->widget(i), controls);
        }
    } else if (auto* split = qobject_cast<QSplitter*>(widget)) {
        for (int i = 0; i < split->count(); ++i) {
            CollectWidget(split->widget(i), controls);
        }
    } else if (auto* area = qobject_cast<QScrollArea*>(widget)) {
        if (area->widget()) {
            CollectWidget(area->widget(), controls);
        }
    } else if (widget->layout()) {
        // Lists, editors and the like arrange their insides themselves.
        CollectLayout(widget->layout(), controls);
    }
}

void CollectLayout(const QLayout* layout, QWidgetList& controls) {
    for (int i = 0; i < layout->count(); ++i) {
        QLayoutItem* item = layout->itemAt(i);
        if (QWidget* widget = item->widget()) {
            CollectWidget(widget, controls);
        } else if (const QLayout* inner = item->layout()) {
            CollectLayout(inner, controls);
        }
    }
}

// A caption as it is read: "&Next" reads "Next", and "&&" is one "&".
QString Spoken(const QString& caption) {
    QString spoken;
    for (qsizetype i = 0; i < caption.size(); ++i) {
        if (caption[i] == u'&' && i + 1 < caption.size()) {
            ++i;
        }
        spoken += caption[i];
    }
    return spoken;
}

class LeastHeight final : public QObject {
public:
    explicit LeastHeight(QWidget* window) : QObject(window), window_(window) {
        window->installEventFilter(this);
    }

protected:
    bool eventFilter(QObject*, QEvent* event) override {
        // A new width, or new texts that may wrap otherwise.
        if (event->type() == QEvent::Resize || event->type() == QEvent::LayoutRequest) {
            if (const QLayout* layout = window_->layout()) {
                const int least = layout->totalMinimumHeightForWidth(window_->width());
                if (least != window_->minimumHeight()) {
                    window_->setMinimumHeight(least);
                }
            }
        }
        return false;
    }

private:
    QWidget* window_;
};

} // namespace

WindowKey ReadWindowKey(const QKeyEvent* event) {
    if (event->matches(QKeySequence::Cancel)) {
        return WindowKey::Escape;
    }
    const auto modifiers = event->modifiers();
    if ((event->key() == Qt::Key_Return && modifiers == Qt::NoModifier) ||
        (event->key() == Qt::Key_Enter && (modifiers & ~Qt::KeypadModifier) == Qt::NoModifier)) {
        return WindowKey::Enter;
    }
    return WindowKey::Other;
}

void Describe(QWidget* control, const QString& name, const QString& description) {
    if (!name.isEmpty()) {
        control->setAccessibleName(name);
    } else if (auto* button = qobject_cast<QAbstractButton*>(control)) {
        control->setAccessibleName(Spoken(button->text()));
    }
    control->setAccessibleDescription(description);
}

void SetTabOrderByLayout(QWidget* window) {
    QWidgetList controls;
    if (window->layout()) {
        CollectLayout(window->layout(), controls);
    }
    for (qsizetype i = 1; i < controls.size(); ++i) {
        QWidget::setTabOrder(controls[i - 1], controls[i]);
    }
}

void KeepLeastHeightForWidth(QWidget* window) {
    new LeastHeight(window);
}

} // namespace wizards
