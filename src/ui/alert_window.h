#pragma once
// The alert message window: one message of the list at a time, with its place and their number.

#include <gtk/gtk.h>

void show_current_message(); // of the list: its text and the counter; "No message!" for the head
void pop_up_alert_window();  // where it was, if it was hidden

constexpr int ALERT_COLUMN_WIDTH = 318 / 3; // of its table, which is wider than what is in it asks for

void on_buttonShowAlertMessage_clicked(GtkButton *button, gpointer data);
void on_buttonAcknowledge_clicked(GtkButton *button, gpointer data);
void on_buttonDismiss_clicked(GtkButton *button, gpointer data);
void on_buttonDown_clicked(GtkButton *button, gpointer data);
void on_buttonUp_clicked(GtkButton *button, gpointer data);
// Both hide it: closing by the window manager, and Escape.
gboolean on_windowAlertMessage_delete_event(GtkWidget *window, GdkEvent *event, gpointer data);
gboolean on_windowAlertMessage_key_press_event(GtkWidget *window, GdkEventKey *key, gpointer data);
