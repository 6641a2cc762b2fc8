#pragma once
// The windows: the application window, the about box, the information dialog and the alert message window.

#include <gtk/gtk.h>

extern GtkWidget *myapp1;
extern GtkWidget *myabout2;             // nullptr after it was closed
extern GtkWidget *mywindowAlertMessage; // created once, then hidden and shown

// Builders. Only the caller shows a window.
GtkWidget *create_app1();
GtkWidget *create_about2();
GtkWidget *create_dialogInfo();
GtkWidget *create_windowAlertMessage();

// A new information dialog with this message; every message has one of its own. Returned shown.
GtkWidget *show_info(const char *message);

// Moves the alert window right of the main one, its top 200 pixels above the main window's bottom edge.
void place_alert_window();
