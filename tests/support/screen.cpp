#include "support/screen.h"

#include <X11/Xatom.h>
#include <X11/Xlib.h>
#include <X11/Xutil.h>
#include <algorithm>
#include <functional>
#include <ostream>
#include <poll.h>
#include <stdexcept>

namespace screen {

static Display *server;
static Window own_window; // which is answered to

// A window that was there a moment ago may be gone: that is an answer, too.
static int pass_over(Display *, XErrorEvent *) { return 0; }

void open(const std::string &display) {
    server = XOpenDisplay(display.c_str());
    if (server == nullptr)
        throw std::runtime_error("no X server at " + display);
    XSetErrorHandler(pass_over);
    own_window = XCreateSimpleWindow(server, DefaultRootWindow(server), 0, 0, 1, 1, 0, 0, 0);
}

void close() {
    XCloseDisplay(server);
    server = nullptr;
}

bool operator==(const place &a, const place &b) {
    return a.x == b.x && a.y == b.y && a.width == b.width && a.height == b.height;
}

std::ostream &operator<<(std::ostream &out, const place &place) {
    return out << place.width << "x" << place.height << " at " << place.x << ", " << place.y;
}

// ---- Windows

static std::vector<Window> children_of(Window window, Window *parent) {
    Window root = 0;
    Window *list = nullptr;
    unsigned count = 0;
    *parent = 0;
    if (XQueryTree(server, window, &root, parent, &list, &count) == 0)
        return {};
    std::vector<Window> children(list, list + count);
    XFree(list);
    return children;
}

static Window parent_of(Window window) {
    Window parent = 0;
    children_of(window, &parent);
    return parent;
}

static bool is_shown(Window window) {
    XWindowAttributes attributes;
    return XGetWindowAttributes(server, window, &attributes) != 0 && attributes.map_state == IsViewable;
}

// A program's window is in the window manager's frame and in another one there; what is below it are the
// parts of the window.
constexpr int LEVELS = 3;

static void collect(Window from, int levels, const std::function<bool(Window)> &wanted,
                    std::vector<window_id> *found) {
    Window parent;
    for (Window window : children_of(from, &parent)) {
        if (wanted(window) && is_shown(window))
            found->push_back(window);
        if (levels > 1)
            collect(window, levels - 1, wanted, found);
    }
}

static std::vector<window_id> all_windows(const std::function<bool(Window)> &wanted) {
    std::vector<window_id> found;
    collect(DefaultRootWindow(server), LEVELS, wanted, &found);
    return found;
}

static std::string title_of(Window window) {
    char *name = nullptr;
    if (XFetchName(server, window, &name) == 0)
        return "";
    std::string title = name;
    XFree(name);
    return title;
}

std::vector<window_id> windows(const std::string &title) {
    return all_windows([&](Window window) { return title_of(window) == title; });
}

static window_id first_of(const std::vector<window_id> &found) { return found.empty() ? 0 : found[0]; }

window_id window(const std::string &title) { return first_of(windows(title)); }

static std::vector<unsigned long> numbers_of(Window window, const char *property) {
    Atom type;
    int format;
    unsigned long count = 0;
    unsigned long left;
    unsigned char *data = nullptr;
    XGetWindowProperty(server, window, XInternAtom(server, property, False), 0, 16, False, AnyPropertyType,
                       &type, &format, &count, &left, &data);
    if (data == nullptr)
        return {};
    auto *longs = reinterpret_cast<unsigned long *>(data); // which a format of 32 comes in
    std::vector<unsigned long> numbers(longs, longs + (format == 32 ? count : 0));
    XFree(data);
    return numbers;
}

window_id menu() {
    Atom dropped = XInternAtom(server, "_NET_WM_WINDOW_TYPE_DROPDOWN_MENU", False);
    return first_of(all_windows([&](Window window) {
        std::vector<unsigned long> types = numbers_of(window, "_NET_WM_WINDOW_TYPE");
        return std::find(types.begin(), types.end(), dropped) != types.end();
    }));
}

place place_of(window_id window) {
    XWindowAttributes attributes = {};
    Window child;
    place found = {};
    if (XGetWindowAttributes(server, window, &attributes) == 0)
        return found;
    XTranslateCoordinates(server, window, DefaultRootWindow(server), 0, 0, &found.x, &found.y, &child);
    found.width = attributes.width;
    found.height = attributes.height;
    return found;
}

place place_of_frame(window_id window) {
    for (Window parent = parent_of(window); parent != 0 && parent != DefaultRootWindow(server);
         parent = parent_of(window))
        window = parent;
    return place_of(window);
}

bool has_focus(window_id window) {
    Window focus = 0;
    int revert;
    XGetInputFocus(server, &focus, &revert);
    while (focus > PointerRoot && focus != window) // the toolkit puts it into a small window of its own
        focus = parent_of(focus);
    return focus == window;
}

picture picture_of(window_id window, const place &part) {
    if (!is_shown(window))
        return {};
    XImage *image = XGetImage(server, window, part.x, part.y, static_cast<unsigned>(part.width),
                              static_cast<unsigned>(part.height), AllPlanes, ZPixmap);
    if (image == nullptr)
        return {};
    picture colours;
    for (int y = 0; y < part.height; y++)
        for (int x = 0; x < part.width; x++)
            colours.push_back(XGetPixel(image, x, y));
    XDestroyImage(image);
    return colours;
}

// ---- The clipboard

// The owner's answer; false when there is no answer within a second.
static bool wait_for_answer(XEvent *event) {
    for (int tries = 0; tries < 100; tries++) {
        if (XCheckTypedWindowEvent(server, own_window, SelectionNotify, event) != 0)
            return event->xselection.property != 0;
        pollfd wait = {ConnectionNumber(server), POLLIN, 0};
        poll(&wait, 1, 10);
    }
    return false;
}

std::string copied_text() {
    Atom property = XInternAtom(server, "COPIED_TEXT", False);
    Atom text_type = XInternAtom(server, "UTF8_STRING", False);
    XConvertSelection(server, XInternAtom(server, "CLIPBOARD", False), text_type, property, own_window,
                      CurrentTime);
    XEvent event;
    if (!wait_for_answer(&event))
        return "";
    Atom type;
    int format;
    unsigned long count = 0;
    unsigned long left;
    unsigned char *data = nullptr;
    XGetWindowProperty(server, own_window, property, 0, 1 << 20, True, text_type, &type, &format, &count,
                       &left, &data);
    std::string text(reinterpret_cast<char *>(data), format == 8 ? count : 0);
    XFree(data);
    return text;
}

// ---- Closing

void ask_to_close(window_id window) {
    XEvent event = {};
    event.xclient.type = ClientMessage;
    event.xclient.window = window;
    event.xclient.message_type = XInternAtom(server, "_NET_CLOSE_WINDOW", False);
    event.xclient.format = 32;
    event.xclient.data.l[1] = 2; // asked for by the user
    XSendEvent(server, DefaultRootWindow(server), False, SubstructureNotifyMask | SubstructureRedirectMask,
               &event);
    XFlush(server);
}

} // namespace screen
