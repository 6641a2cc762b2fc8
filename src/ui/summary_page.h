#pragma once
// The Summary page: a value on a button and a name below it for each monitored item, in four sections.

#include <cstdint>
#include <gtk/gtk.h>

#include "items/display.h"

GtkWidget *create_summary_page(); // to be put into the notebook

// Shows the displays as they are.
void build_Summary(GtkWidget *window, const item_display *displays, int32_t count);
