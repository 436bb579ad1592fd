#include "startup/registry.h"
#include "support/temp_dir.h"

#include <gtest/gtest.h>

using namespace startup;
using testsupport::TempDir;

namespace {

class FakeForm final : public FormWindow {
public:
    FakeForm(std::string name, bool main, FormBorder border)
        : name_(std::move(name)), main_(main), border_(border) {}
    std::string FormName() const override { return name_; }
    bool IsMainWindow() const override { return main_; }
    FormBorder Border() const override { return border_; }
    int32_t WindowState() const override { return state; }
    void SetWindowState(int32_t s) override { state = s; }
    FormGeometry Geometry() const override { return g; }
    void Move(int32_t left, int32_t top) override {
        g.left = left;
        g.top = top;
    }
    void Move(const FormGeometry& geometry) override { g = geometry; }

    int32_t state = FormNormal;
    FormGeometry g{100, 200, 640, 480};

private:
    std::string name_;
    bool main_;
    FormBorder border_;
};

bool Same(const FormGeometry& a, const FormGeometry& b) {
    return a.left == b.left && a.top == b.top && a.width == b.width && a.height == b.height;
}

} // namespace

TEST(FormPosition, SavedPositionComesBackByBorderKind) {
    TempDir dir;
    platform::RegistryStore reg((dir / "r.reg").string());
    struct Case {
        const char* what;
        bool main;
        FormBorder border;
        FormGeometry expected; // stored 10,20,800,600 onto a window at 100,200,640,480
    };
    const Case cases[] = {
        {"main window takes all four", true, FormBorder::FixedSingle, {10, 20, 800, 600}},
        {"sizable takes all four", false, FormBorder::Sizable, {10, 20, 800, 600}},
        {"sizable tool window takes all four",
         false,
         FormBorder::SizableToolWindow,
         {10, 20, 800, 600}},
        {"fixed border keeps its size", false, FormBorder::FixedSingle, {10, 20, 640, 480}},
        {"fixed dialog keeps its size", false, FormBorder::FixedDialog, {10, 20, 640, 480}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        FakeForm saved("frmRestore", c.main, c.border);
        saved.g = {10, 20, 800, 600};
        SaveFormPosition(reg, saved);
        EXPECT_EQ(RegReadString(reg, FormPositionKey, "frmRestore"), "10,20,800,600");
        FakeForm opened("frmRestore", c.main, c.border);
        RestoreFormPosition(reg, opened);
        EXPECT_TRUE(Same(opened.g, c.expected)) << opened.g.left << "," << opened.g.top << ","
                                                << opened.g.width << "," << opened.g.height;
    }
}

TEST(FormPosition, OnlyTheNormalStateStoresAndRestoresAPosition) {
    TempDir dir;
    platform::RegistryStore reg((dir / "r.reg").string());
    FakeForm form("frmRestore", false, FormBorder::Sizable);
    form.g = {1, 2, 300, 400};
    SaveFormPosition(reg, form);
    form.state = FormMaximized;
    form.g = {0, 0, 1920, 1080};
    SaveFormPosition(reg, form);
    EXPECT_EQ(RegReadString(reg, FormPositionKey, "frmRestore"), "1,2,300,400")
        << "the last normal position is kept";
    EXPECT_EQ(RegReadDWord(reg, FormStateKey, "frmRestore"), FormMaximized);

    FakeForm maximised("frmRestore", false, FormBorder::Sizable);
    RestoreFormPosition(reg, maximised);
    EXPECT_EQ(maximised.state, FormMaximized);
    EXPECT_TRUE(Same(maximised.g, {100, 200, 640, 480}));

    RegWriteDWord(reg, FormStateKey, "frmRestore", FormNormal);
    FakeForm normal("frmRestore", false, FormBorder::Sizable);
    normal.state = FormMinimized;
    RestoreFormPosition(reg, normal);
    EXPECT_EQ(normal.state, FormNormal);
    EXPECT_TRUE(Same(normal.g, {1, 2, 300, 400}));
}

TEST(FormPosition, MissingOrMalformedPositionsLeaveTheWindowAlone) {
    TempDir dir;
    platform::RegistryStore reg((dir / "r.reg").string());
    for (const char* stored : {"", "   ", "1,2,3", "a,b,c,d", "1,2,,4"}) {
        SCOPED_TRACE(stored);
        RegWriteString(reg, FormPositionKey, "frmX", stored);
        FakeForm form("frmX", true, FormBorder::Sizable);
        RestoreFormPosition(reg, form);
        EXPECT_EQ(form.state, FormNormal);
        EXPECT_TRUE(Same(form.g, {100, 200, 640, 480}));
    }
    RegWriteString(reg, FormPositionKey, "frmX", " -5 , 7,800 ,600 ");
    FakeForm form("frmX", true, FormBorder::Sizable);
    RestoreFormPosition(reg, form);
    EXPECT_TRUE(Same(form.g, {-5, 7, 800, 600}));
}
