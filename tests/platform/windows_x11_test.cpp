#include "platform/sysinfo.h"
#include "support/scoped_env.h"

#include <gtest/gtest.h>
// After the test framework: Xlib defines macros (None, Bool) that clash with its names.
#include <X11/Xlib.h>
#include <X11/Xutil.h>

#include <algorithm>
#include <cstdlib>
#include <string>

namespace {

TEST(X11NoDisplay, NoWindowsAndNoScreen) {
    for (const char* value : {static_cast<const char*>(nullptr), "", ":4711"}) {
        testsupport::ScopedEnv display("DISPLAY", value);
        EXPECT_TRUE(platform::ListTopLevelWindows().empty());
        const platform::ScreenSize s = platform::GetScreenSize();
        EXPECT_EQ(s.Width, 0);
        EXPECT_EQ(s.Height, 0);
    }
}

// Runs under a virtual X server (see the CMake file); without DISPLAY there
// is nothing to look at.
TEST(X11Display, ListsMappedWindowsWithTheirTitles) {
    if (!std::getenv("DISPLAY")) {
        GTEST_SKIP() << "no X display";
    }
    Display* d = XOpenDisplay(nullptr);
    ASSERT_NE(d, nullptr);
    const Window root = DefaultRootWindow(d);
    const Window titled = XCreateSimpleWindow(d, root, 0, 0, 50, 40, 0, 0, 0);
    XStoreName(d, titled, "Rentora - Buildings");
    const Window hidden = XCreateSimpleWindow(d, root, 120, 0, 50, 40, 0, 0, 0);
    XStoreName(d, hidden, "Hidden helper");
    XMapWindow(d, titled);
    XSync(d, False);

    const auto windows = platform::ListTopLevelWindows();
    auto find = [&](Window w) {
        return std::find_if(windows.begin(), windows.end(), [&](const platform::TopWindow& t) {
            return t.Handle == static_cast<int32_t>(static_cast<uint32_t>(w));
        });
    };
    ASSERT_NE(find(titled), windows.end());
    EXPECT_EQ(find(titled)->Title, "Rentora - Buildings");
    EXPECT_EQ(find(hidden), windows.end());

    const platform::ScreenSize s = platform::GetScreenSize();
    EXPECT_EQ(s.Width, DisplayWidth(d, DefaultScreen(d)));
    EXPECT_EQ(s.Height, DisplayHeight(d, DefaultScreen(d)));
    XCloseDisplay(d);
}

} // namespace
