#pragma once
// Switching off the monitoring of items that the board does not really have, after its configuration was
// generated.

#include "config/settings.h"
#include "items/display.h"

// Says each hidden item on standard output and rewrites /etc/Kestrel.ini when there is one. Returns 0; ends
// the program with status 2 when the file cannot be rewritten.
int detect_and_hide_nonactivated_items(item_display *displays, const system_settings *system,
                                       item_record *items, int32_t item_count,
                                       const parameter_record *parameters, int32_t parameter_count);
