#pragma once
// The windows in the X server that the tests share, over the door of function tests or another.

#include <gtk/gtk.h>
#include <string>
#include <vector>

namespace test_window {

void open_display(); // once, before any widget

// All that the graphical mode does before its main loop, with this /etc/Kestrel.ini: loads it, builds the
// windows, shows the main one, builds the displays, fills the pages. A tick is updateAll; no timer runs.
void open(const std::string &configuration); // over the door of function tests alone
void open_configured();                      // with the /etc/Kestrel.ini that the door has, whichever it is

void settle(); // handles events until there are no more

GtkWidget *widget(const std::string &name);       // of the main window
GtkWidget *alert_widget(const std::string &name); // of the alert window
std::string text_of(GtkWidget *widget);           // of a label, a button or an entry
bool is_shown(const std::string &name);           // by its own flag, whatever page is on top

// The information dialogs that are shown, the message of each.
std::vector<std::string> messages();

// Warnings and worse that the toolkit and the program logged since the last call; they are not printed then.
std::vector<std::string> take_warnings();

} // namespace test_window
