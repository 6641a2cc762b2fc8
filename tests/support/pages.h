#pragma once
// The windows over display records that a test writes itself, and what the program prints with the toolkit.

#include <functional>
#include <gtk/gtk.h>
#include <string>

#include "config/settings.h"

namespace test_pages {

// As in a new process, for programs that run more than one test: an empty door, no windows, all states
// normal.
void begin();

// After `begin`: the windows, shown but not filled, over empty settings and no items. Returns the settings.
system_settings *open();

// Handles events until it is so, at most ten seconds: the X server and the window manager take their time.
bool wait_until(const std::function<bool()> &is_so);

// What is drawn there, red, green and blue from the top left on; release it with g_object_unref.
GdkPixbuf *picture_of(GdkDrawable *drawable);

std::string printed(const std::function<void()> &call); // what `call` printed with g_print

} // namespace test_pages
