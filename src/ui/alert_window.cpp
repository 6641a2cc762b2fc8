#include "ui/alert_window.h"

#include <cstdio>
#include <gdk/gdkkeysyms.h>

#include "alert/alert_list.h"
#include "ui/widgets.h"
#include "ui/windows.h"

// Kept on purpose: no blanks around the slash, though the window is built with "0 / 0".
static void show_counter(GtkWidget *from) {
    char counter[40];
    snprintf(counter, sizeof counter, "%d/%d", get_alert_msg_node_index(current_alert_msg_node),
             get_alert_msg_node_count(alert_msg_head));
    GtkWidget *label = lookup_widget(from, "labelIndexCount");
    gtk_label_set_text(GTK_LABEL(label), counter);
    fit_text(label, ALERT_COLUMN_WIDTH);
}

static void show_message(GtkWidget *from) {
    const char *message = current_alert_msg_node->msg; // nullptr in the head
    gtk_label_set_text(GTK_LABEL(lookup_widget(from, "labelAlertMsg")),
                       message != nullptr ? shown_text(message).c_str() : "No message!");
}

void show_current_message() {
    show_message(mywindowAlertMessage);
    show_counter(mywindowAlertMessage);
}

// ---- Its place. A window that is shown again is placed by the window manager, so it is given its old place.

static bool was_shown;
static int last_x;
static int last_y;

static void hide_alert_window(GtkWidget *window) {
    was_shown = true;
    gtk_window_get_position(GTK_WINDOW(window), &last_x, &last_y);
    gtk_widget_hide(window);
}

void pop_up_alert_window() {
    if (!gtk_widget_get_visible(mywindowAlertMessage) && was_shown)
        gtk_window_move(GTK_WINDOW(mywindowAlertMessage), last_x, last_y);
    gtk_widget_show(mywindowAlertMessage);
}

// ---- Handlers

void on_buttonShowAlertMessage_clicked(GtkButton *, gpointer) {
    if (mywindowAlertMessage == nullptr)
        mywindowAlertMessage = create_windowAlertMessage();
    place_alert_window();
    gtk_window_present(GTK_WINDOW(mywindowAlertMessage)); // shown, and on top: it may be covered
}

void on_buttonAcknowledge_clicked(GtkButton *button, gpointer) {
    alert_msg_node *old = current_alert_msg_node;
    alert_msg_node *next = get_next_alert_msg_node(old);
    if (next == nullptr)
        next = get_prev_alert_msg_node(old);
    if (next == nullptr || old == alert_msg_head)
        return; // nothing to acknowledge: no node at all, or the head, which stays for ever
    current_alert_msg_node = next;
    show_message(GTK_WIDGET(button));
    del_alert_msg_node(old);
    show_counter(GTK_WIDGET(button));
}

void on_buttonDismiss_clicked(GtkButton *button, gpointer) {
    hide_alert_window(lookup_widget(GTK_WIDGET(button), "windowAlertMessage"));
}

static void show_node(GtkButton *button, alert_msg_node *node) {
    current_alert_msg_node = node;
    show_message(GTK_WIDGET(button));
    show_counter(GTK_WIDGET(button));
}

// Towards newer messages.
void on_buttonDown_clicked(GtkButton *button, gpointer) {
    alert_msg_node *next = get_next_alert_msg_node(current_alert_msg_node);
    if (next != nullptr)
        show_node(button, next);
}

// Towards older messages, never to the head's "No message!".
void on_buttonUp_clicked(GtkButton *button, gpointer) {
    alert_msg_node *previous = get_prev_alert_msg_node(current_alert_msg_node);
    if (previous != nullptr && previous != alert_msg_head)
        show_node(button, previous);
}

gboolean on_windowAlertMessage_delete_event(GtkWidget *window, GdkEvent *, gpointer) {
    hide_alert_window(window);
    return TRUE;
}

// Escape closes it, as it closes dialogs. Every other key is the widgets'.
gboolean on_windowAlertMessage_key_press_event(GtkWidget *window, GdkEventKey *key, gpointer) {
    if (key->keyval != GDK_KEY_Escape)
        return FALSE;
    hide_alert_window(window);
    return TRUE;
}
