// A window's place kept in the registry store between runs, for the kinds of
// window and the stored values the windows' own tests do not meet.

#include "startup/registry.h"
#include "support/temp_dir.h"

#include <gtest/gtest.h>

#include <tuple>

using namespace startup;

namespace {

struct FakeForm final : FormWindow {
    FakeForm(bool m, FormBorder b) : main(m), border(b) {}
    std::string FormName() const override { return "frmX"; }
    bool IsMainWindow() const override { return main; }
    FormBorder Border() const override { return border; }
    int32_t WindowState() const override { return state; }
    void SetWindowState(int32_t s) override { state = s; }
    FormGeometry Geometry() const override { return g; }
    void Move(int32_t left, int32_t top) override { g.left = left, g.top = top; }
    void Move(const FormGeometry& geometry) override { g = geometry; }
    bool main;
    FormBorder border;
    int32_t state = FormMinimized;
    FormGeometry g{100, 200, 640, 480};
};

} // namespace

TEST(FormPosition, WhatComesBackByWindowKindAndStoredValues) {
    testsupport::TempDir dir;
    platform::RegistryStore reg((dir / "r.reg").string());
    // Main window?, border, stored position and state, and the place expected.
    // clang-format off
    const std::tuple<bool, FormBorder, const char*, int32_t, std::tuple<int, int, int, int, int>> cases[] = {
        {true, FormBorder::FixedSingle, "10,20,800,600", FormNormal, {10, 20, 800, 600, FormNormal}},
        {false, FormBorder::SizableToolWindow, "10,20,800,600", FormNormal, {10, 20, 800, 600, FormNormal}},
        {false, FormBorder::FixedDialog, " -5 , 7,800 ,600 ", FormNormal, {-5, 7, 640, 480, FormNormal}},
        // A state the window cannot take (a hand-edited store) is not applied.
        {false, FormBorder::Sizable, "10,20,800,600", 3, {100, 200, 640, 480, FormMinimized}},
        {false, FormBorder::Sizable, "10,20,800,600", -1, {100, 200, 640, 480, FormMinimized}},
        {true, FormBorder::Sizable, "a,b,c,d", FormNormal, {100, 200, 640, 480, FormNormal}}};
    // clang-format on
    for (const auto& [main, border, position, state, expected] : cases) {
        SCOPED_TRACE(testing::Message() << position << " state " << state);
        RegWriteString(reg, FormPositionKey, "frmX", position);
        RegWriteDWord(reg, FormStateKey, "frmX", state);
        FakeForm form(main, border);
        RestoreFormPosition(reg, form);
        EXPECT_EQ(std::make_tuple(form.g.left, form.g.top, form.g.width, form.g.height, form.state),
                  expected);
    }
}
