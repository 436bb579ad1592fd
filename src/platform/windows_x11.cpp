// The screen and the top-level windows, from the X server named by DISPLAY.

#include "platform/sysinfo.h"

#include <X11/Xatom.h>
#include <X11/Xlib.h>
#include <X11/Xutil.h>

#include <climits>
#include <cstdlib>
#include <memory>

namespace platform {

namespace {

struct DisplayCloser {
    void operator()(Display* d) const noexcept { XCloseDisplay(d); }
};
using DisplayHandle = std::unique_ptr<Display, DisplayCloser>;

struct XFreer {
    void operator()(void* p) const noexcept {
        if (p) {
            XFree(p);
        }
    }
};
template <typename T> using XPtr = std::unique_ptr<T, XFreer>;

// A window may close while we read it; its errors must not end this process
// (Xlib's default handler exits), so they are ignored while we ask.
int IgnoreXError(Display*, XErrorEvent*) {
    return 0;
}

class ErrorGuard {
public:
    ErrorGuard() : previous_(XSetErrorHandler(IgnoreXError)) {}
    ~ErrorGuard() { XSetErrorHandler(previous_); }
    ErrorGuard(const ErrorGuard&) = delete;
    ErrorGuard& operator=(const ErrorGuard&) = delete;

private:
    int (*previous_)(Display*, XErrorEvent*);
};

DisplayHandle OpenDisplay() {
    const char* name = std::getenv("DISPLAY");
    if (!name || !*name) {
        return nullptr;
    }
    return DisplayHandle(XOpenDisplay(name));
}

// The window manager's list of its client windows, in mapping order.
bool ClientList(Display* d, Window root, std::vector<Window>& windows) {
    Atom list = XInternAtom(d, "_NET_CLIENT_LIST", True);
    if (list == None) {
        return false;
    }
    Atom type = None;
    int format = 0;
    unsigned long count = 0;
    unsigned long after = 0;
    unsigned char* raw = nullptr;
    if (XGetWindowProperty(d, root, list, 0, LONG_MAX / 4, False, XA_WINDOW, &type, &format, &count,
                           &after, &raw) != Success) {
        return false;
    }
    XPtr<unsigned char> data(raw);
    if (type != XA_WINDOW || format != 32 || !data) {
        return false;
    }
    // Format 32 items come as longs, whatever the width of a long.
    const auto* ids = reinterpret_cast<const unsigned long*>(data.get());
    windows.assign(ids, ids + count);
    return true;
}

// The root's children that are mapped and visible, bottom to top.
std::vector<Window> ViewableChildren(Display* d, Window root) {
    Window rootReturn = 0;
    Window parent = 0;
    Window* children = nullptr;
    unsigned int count = 0;
    std::vector<Window> windows;
    if (!XQueryTree(d, root, &rootReturn, &parent, &children, &count)) {
        return windows;
    }
    XPtr<Window> owned(children);
    for (unsigned int i = 0; i < count; ++i) {
        XWindowAttributes attributes{};
        if (XGetWindowAttributes(d, children[i], &attributes) &&
            attributes.map_state == IsViewable) {
            windows.push_back(children[i]);
        }
    }
    return windows;
}

std::string Title(Display* d, Window w) {
    Atom netName = XInternAtom(d, "_NET_WM_NAME", True);
    Atom utf8 = XInternAtom(d, "UTF8_STRING", True);
    if (netName != None && utf8 != None) {
        Atom type = None;
        int format = 0;
        unsigned long count = 0;
        unsigned long after = 0;
        unsigned char* raw = nullptr;
        if (XGetWindowProperty(d, w, netName, 0, 1024, False, utf8, &type, &format, &count, &after,
                               &raw) == Success) {
            XPtr<unsigned char> data(raw);
            if (type == utf8 && format == 8 && data && count > 0) {
                return std::string(reinterpret_cast<const char*>(data.get()), count);
            }
        }
    }
    XTextProperty property{};
    if (!XGetWMName(d, w, &property) || !property.value) {
        return {};
    }
    XPtr<unsigned char> value(property.value);
    char** list = nullptr;
    int count = 0;
    std::string title;
    if (Xutf8TextPropertyToTextList(d, &property, &list, &count) >= Success && list) {
        if (count > 0 && list[0]) {
            title = list[0];
        }
        XFreeStringList(list);
    } else {
        title.assign(reinterpret_cast<const char*>(property.value), property.nitems);
    }
    return title;
}

} // namespace

ScreenSize GetScreenSize() {
    DisplayHandle d = OpenDisplay();
    if (!d) {
        return {};
    }
    const int screen = DefaultScreen(d.get());
    return {DisplayWidth(d.get(), screen), DisplayHeight(d.get(), screen)};
}

std::vector<TopWindow> ListTopLevelWindows() {
    std::vector<TopWindow> result;
    DisplayHandle d = OpenDisplay();
    if (!d) {
        return result;
    }
    ErrorGuard guard;
    const Window root = DefaultRootWindow(d.get());
    std::vector<Window> windows;
    if (!ClientList(d.get(), root, windows)) {
        windows = ViewableChildren(d.get(), root);
    }
    for (Window w : windows) {
        std::string title = Title(d.get(), w);
        // The id's low 32 bits, read as a signed number as the suite keeps handles.
        const auto handle = static_cast<int32_t>(static_cast<uint32_t>(w & 0xFFFFFFFFul));
        result.push_back({handle, std::move(title)});
    }
    XSync(d.get(), False); // collect the errors of vanished windows before the guard goes
    return result;
}

} // namespace platform
