#include "wizards/bar_progress.h"

#include <QLabel>
#include <QProgressBar>

#include <cmath>

namespace wizards {

void BarProgress::SetValue(double value) {
    if (!bar_) {
        return;
    }
    if (!(value > 0)) { // NaN included
        value = 0;
    } else if (value > 100) {
        value = 100;
    }
    bar_->setValue(static_cast<int>(std::lround(value)));
}

void BarProgress::SetStatus(const std::string& text) {
    if (status_) {
        status_->setText(QString::fromStdString(text));
    }
}

} // namespace wizards
