#include "support/pages.h"

#include "alert/alert_list.h"
#include "items/changes.h"
#include "items/display.h"
#include "items/history.h"
#include "support/os_test.h"
#include "support/window.h"
#include "ui/handlers.h"
#include "ui/items_page.h"
#include "ui/tick.h"
#include "ui/windows.h"

// An item that is not monitored counts as normal, so one look at as many as there are states forgets them.
static void forget_states() {
    constexpr unsigned COUNT = MAX_FANS + MAX_VOLTAGES + MAX_TEMPERATURES + MAX_SWITCHES;
    item_display displays[COUNT] = {};
    unsigned filled = 0;
    for (unsigned i = 0; i < MAX_VOLTAGES; i++)
        displays[filled++].cat = CAT_VOLTAGE;
    for (uint32_t cat : {CAT_FAN, CAT_TEMP, CAT_SWITCH})
        for (unsigned i = 0; i < MAX_FANS; i++)
            displays[filled++].cat = cat;
    std::string text;
    uint32_t category;
    note_changes(displays, COUNT, 0, &text, &category);
}
static_assert(MAX_TEMPERATURES == MAX_FANS && MAX_SWITCHES == MAX_FANS);

static bool is_ours(GtkWidget *window) {
    std::string name = gtk_widget_get_name(window);
    return name == "app1" || name == "windowAlertMessage" || name == "about2" || name == "dialogInfo";
}

// Without ending a main loop, as there is no loop. A menu's window goes with the window it belongs to, so
// each is held.
static void close_windows() {
    if (myapp1 != nullptr)
        g_signal_handlers_disconnect_by_func(myapp1, reinterpret_cast<gpointer>(on_app1_destroy), nullptr);
    GList *windows = gtk_window_list_toplevels();
    for (GList *entry = windows; entry != nullptr; entry = entry->next)
        g_object_ref(entry->data);
    for (GList *entry = windows; entry != nullptr; entry = entry->next)
        if (is_ours(static_cast<GtkWidget *>(entry->data)))
            gtk_widget_destroy(static_cast<GtkWidget *>(entry->data));
    g_list_free_full(windows, g_object_unref);
    myapp1 = mywindowAlertMessage = myabout2 = nullptr;
}

void test_pages::begin() {
    static bool first = true;
    test_door::reset();
    if (first) { // the program's own first state is what is tested
        first = false;
        return;
    }
    if (timer != 0)
        gtk_timeout_remove(timer);
    timer = 0;
    close_windows();
    forget_states();
    clear_histories();
    test_window::take_warnings();
}

static void open_context() {
    static system_settings system;
    static kestrel_context context;
    system = {};
    context = {};
    context.system = &system;
    myspKestrel = &context;
    allItemDisps = nullptr;
}

system_settings *test_pages::open() {
    test_window::open_display();
    open_context();
    myapp1 = create_app1();
    mywindowAlertMessage = create_windowAlertMessage();
    myabout2 = create_about2();
    gtk_widget_show(myapp1);
    create_item_list(myapp1);
    alert_msg_head = new_alert_msg_node();
    current_alert_msg_node = alert_msg_head;
    test_window::settle();
    return myspKestrel->system;
}

bool test_pages::wait_until(const std::function<bool()> &is_so) {
    constexpr int TRIES = 1000;
    for (int i = 0; i < TRIES; i++) {
        gdk_window_raise(gtk_widget_get_window(myapp1)); // another test's window may be above it
        gdk_flush();
        test_window::settle();
        if (is_so())
            return true;
        g_usleep(10000);
    }
    return false;
}

GdkPixbuf *test_pages::picture_of(GdkDrawable *drawable) {
    int width, height;
    gdk_drawable_get_size(drawable, &width, &height);
    return gdk_pixbuf_get_from_drawable(nullptr, drawable, nullptr, 0, 0, 0, 0, width, height);
}

static std::string print_text;

static void note_print(const gchar *text) { print_text += text; }

std::string test_pages::printed(const std::function<void()> &call) {
    print_text.clear();
    GPrintFunc before = g_set_print_handler(note_print);
    call();
    g_set_print_handler(before);
    return print_text;
}
