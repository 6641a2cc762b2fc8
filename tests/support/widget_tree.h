#pragma once
// The widgets of a window as the toolkit has them, found without the program's own look-up.

#include <functional>
#include <gtk/gtk.h>
#include <set>
#include <string>
#include <vector>

namespace widget_tree {

// The window's registry; nullptr when it has no such name.
GtkWidget *registered(GtkWidget *window, const std::string &name);

// The window and all below it: named or not, shown or not, with the menus that hang on menu items.
std::vector<GtkWidget *> all(GtkWidget *window);

// The names under which the window's data has widgets of its tree, the desktop library's own keys left out.
std::set<std::string> registry(GtkWidget *window);

// All labels below a widget, itself included.
std::vector<GtkLabel *> labels_in(GtkWidget *widget);

std::vector<std::string> names_of_children(GtkWidget *container); // in their order, as names for themes

// The name of the nearest registered widget around this one: through helpers without a name, from a menu
// through the item that it hangs on. "" if there is no such widget.
std::string enclosing(GtkWidget *window, GtkWidget *widget);

// How many times `handler` is connected to the signal; a null one counts all that are connected.
unsigned handlers(GtkWidget *widget, const char *signal, GCallback handler);

void close(GtkWidget *window);   // as the window manager does; the window must have been shown
void destroy(GtkWidget *window); // without ending a main loop that does not run

// Runs `act` inside a main loop. False when the loop went on for seconds after it and had to be ended.
bool ends_main_loop(const std::function<void()> &act);

// The top-level windows of that name that exist.
std::vector<GtkWidget *> windows_named(const std::string &name);

} // namespace widget_tree
