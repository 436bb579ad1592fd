#include "wizards/form_position.h"

#include <QWidget>

namespace wizards {

std::string QtFormWindow::FormName() const {
    return widget_->objectName().toStdString();
}

startup::FormBorder QtFormWindow::Border() const {
    const bool fixed = widget_->minimumSize() == widget_->maximumSize();
    return fixed ? startup::FormBorder::FixedSingle : startup::FormBorder::Sizable;
}

int32_t QtFormWindow::WindowState() const {
    if (widget_->isMinimized()) {
        return startup::FormMinimized;
    }
    if (widget_->isMaximized()) {
        return startup::FormMaximized;
    }
    return startup::FormNormal;
}

void QtFormWindow::SetWindowState(int32_t state) {
    switch (state) {
    case startup::FormMinimized:
        widget_->setWindowState(Qt::WindowMinimized);
        break;
    case startup::FormMaximized:
        widget_->setWindowState(Qt::WindowMaximized);
        break;
    default:
        widget_->setWindowState(Qt::WindowNoState);
        break;
    }
}

startup::FormGeometry QtFormWindow::Geometry() const {
    // The frame's corner, as the window manager places it, and the inner size,
    // as the window is resized: the pair that puts it back where it was.
    const QPoint corner = widget_->pos();
    return {corner.x(), corner.y(), widget_->width(), widget_->height()};
}

void QtFormWindow::Move(int32_t left, int32_t top) {
    widget_->move(left, top);
}

void QtFormWindow::Move(const startup::FormGeometry& g) {
    if (g.width <= 0 || g.height <= 0) {
        widget_->move(g.left, g.top);
        return;
    }
    widget_->move(g.left, g.top);
    widget_->resize(g.width, g.height);
}

} // namespace wizards
