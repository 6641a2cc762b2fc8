#pragma once
// The menus of the application window.

#include <gtk/gtk.h>

void create_menus(GtkWidget *app);       // and names their items
void install_menu_hints(GtkWidget *app); // after the status bar is set
