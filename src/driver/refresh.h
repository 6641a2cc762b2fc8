#pragma once
// The refresh cycle: everything is read once a tick, then every page is shown anew.

#include <cstdint>
#include <gtk/gtk.h>

#include "config/settings.h"
#include "items/display.h"

extern uint32_t errNoNumber; // readings that failed since the start

// Once, before the first tick: colours, empty histories, every page filled from the displays as they are,
// the list of alert messages begun. Reads no item. Returns what pushing "Ready" onto the status bar returned.
unsigned build_All(GtkWidget *window, item_display *displays, const system_settings *system,
                   const item_record *items, int32_t item_count, const parameter_record *parameters,
                   int32_t parameter_count);

// One tick. A reading that fails leaves the last good one in its display. Returns 1: the timer keeps running.
int updateAll();
