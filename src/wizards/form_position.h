#pragma once
// A Qt window seen as the kind of window whose place on the screen the suite
// keeps in the registry between runs.

#include "startup/registry.h"

class QWidget;

namespace wizards {

class QtFormWindow final : public startup::FormWindow {
public:
    explicit QtFormWindow(QWidget* widget) : widget_(widget) {}
    std::string FormName() const override;
    bool IsMainWindow() const override { return false; }
    startup::FormBorder Border() const override;
    int32_t WindowState() const override;
    void SetWindowState(int32_t state) override;
    startup::FormGeometry Geometry() const override;
    void Move(int32_t left, int32_t top) override;
    void Move(const startup::FormGeometry& geometry) override;

private:
    QWidget* widget_;
};

} // namespace wizards
