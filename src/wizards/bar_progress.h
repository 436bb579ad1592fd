#pragma once
// The core's progress interface shown on a page's progress bar and status
// label. Nothing here pumps events: the core lets the window repaint after
// each step through WizardUi::DoEvents.

#include "util/services.h"

class QLabel;
class QProgressBar;

namespace wizards {

class BarProgress final : public util::Progress {
public:
    BarProgress(QProgressBar* bar, QLabel* status) : bar_(bar), status_(status) {}
    // Values outside 0..100 are held at the ends; fractions are rounded.
    void SetValue(double value) override;
    void SetStatus(const std::string& text) override;

private:
    QProgressBar* bar_;
    QLabel* status_;
};

} // namespace wizards
