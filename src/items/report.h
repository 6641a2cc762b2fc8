#pragma once
// The text report: one table of all monitored items on standard output.

#include "config/settings.h"
#include "items/display.h"

void headline(); // the banner

// Reads every monitored item and prints its row; the result is that of the last print.
int text_build_Items(item_display *displays, const system_settings *system, const item_record *items,
                     int32_t item_count, const parameter_record *parameters, int32_t parameter_count);
