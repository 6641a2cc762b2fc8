#pragma once
// What the user and the window manager do to the windows, for tests of the handlers.

#include <functional>
#include <gdk/gdkx.h>
#include <gtk/gtk.h>
#include <string>

#include "support/window.h"

// The windows that earlier tests of this process left disappear: their dialogs would be counted.
inline void hide_windows() {
    GList *windows = gtk_window_list_toplevels();
    for (GList *entry = windows; entry != nullptr; entry = entry->next)
        gtk_widget_hide(static_cast<GtkWidget *>(entry->data));
    g_list_free(windows);
}

// Of the main window's, or of another window's.
inline void click(GtkWidget *button) { gtk_button_clicked(GTK_BUTTON(button)); }
inline void click(const std::string &name) { click(test_window::widget(name)); }

inline void send_event(GtkWidget *widget, GdkWindow *window, GdkEventType type) {
    GdkEvent *event = gdk_event_new(type);
    event->any.window = static_cast<GdkWindow *>(g_object_ref(window));
    event->any.send_event = TRUE;
    if (type == GDK_BUTTON_PRESS || type == GDK_BUTTON_RELEASE) {
        event->button.button = 1;
        event->button.device = gdk_device_get_core_pointer();
    }
    gtk_widget_realize(widget);
    gtk_main_do_event(event);
    gdk_event_free(event);
}

// Unlike `click` this asks for a button that takes clicks: an insensitive one does not.
inline void click_with_mouse(GtkWidget *button) {
    GdkWindow *window = GTK_BUTTON(button)->event_window;
    for (GdkEventType type : {GDK_ENTER_NOTIFY, GDK_BUTTON_PRESS, GDK_BUTTON_RELEASE, GDK_LEAVE_NOTIFY})
        send_event(button, window, type);
}

inline void close_by_window_manager(GtkWidget *window) {
    send_event(window, gtk_widget_get_window(window), GDK_DELETE);
}

inline void press_key(GtkWidget *window, guint keyval) {
    GdkEvent *event = gdk_event_new(GDK_KEY_PRESS);
    event->key.window = static_cast<GdkWindow *>(g_object_ref(gtk_widget_get_window(window)));
    event->key.send_event = TRUE;
    event->key.keyval = keyval;
    gtk_main_do_event(event);
    gdk_event_free(event);
}

// Replaces an entry's text key by key.
inline void type_text(const std::string &name, const std::string &text) {
    GtkEditable *entry = GTK_EDITABLE(test_window::widget(name));
    gtk_editable_delete_text(entry, 0, -1);
    for (const char *key = text.c_str(); *key != '\0'; key = g_utf8_next_char(key)) {
        int position = gtk_editable_get_position(entry);
        gtk_editable_insert_text(entry, key, static_cast<int>(g_utf8_next_char(key) - key), &position);
        gtk_editable_set_position(entry, position);
    }
}

// Replaces an entry's text at once.
inline void set_entry(const std::string &name, const std::string &text) {
    gtk_entry_set_text(GTK_ENTRY(test_window::widget(name)), text.c_str());
}

// Replaces it from the clipboard, which the tests share with the server: no other may fill it meanwhile.
inline void paste(const std::string &name, const std::string &text) {
    GtkEditable *entry = GTK_EDITABLE(test_window::widget(name));
    gtk_editable_delete_text(entry, 0, -1);
    gdk_x11_grab_server();
    gtk_clipboard_set_text(gtk_clipboard_get(GDK_SELECTION_CLIPBOARD), text.c_str(), -1);
    gtk_editable_paste_clipboard(entry);
    gdk_x11_ungrab_server();
    test_window::settle();
}

inline std::string entry_text(const std::string &name) {
    return test_window::text_of(test_window::widget(name));
}

// Handles events until `done`, for at most five seconds; whether it came to be.
inline bool wait_until(const std::function<bool()> &done) {
    gint64 end = g_get_monotonic_time() + 5 * G_USEC_PER_SEC;
    while (!done()) {
        if (g_get_monotonic_time() > end)
            return false;
        if (!gtk_main_iteration_do(FALSE))
            g_usleep(1000);
    }
    return true;
}

// Does this in the main loop; whether that ended the loop.
inline bool ends_main_loop(const std::function<void()> &action) {
    static const std::function<void()> *to_do;
    static bool went_on;
    to_do = &action;
    went_on = false;
    g_idle_add(
        [](gpointer) -> gboolean {
            (*to_do)();
            return FALSE;
        },
        nullptr);
    guint after = g_idle_add_full(
        G_PRIORITY_LOW,
        [](gpointer) -> gboolean {
            went_on = true;
            gtk_main_quit();
            return FALSE;
        },
        nullptr, nullptr);
    gtk_main();
    if (!went_on)
        g_source_remove(after);
    return !went_on;
}
