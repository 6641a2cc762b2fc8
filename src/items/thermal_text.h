#pragma once
// The word ("Low", "Medium", "High", "Overheat") that some chips give in the place of a CPU temperature.

#include <cstdint>

#include "config/settings.h"

// 1 when the item shows a word, else 0. May select and restore banks of the chip to find out.
uint32_t supportThermalText(const system_settings *system, const item_record *item);

// 0 on success, else non-zero; `text` (at least 9 bytes) is left as it was when no word applies.
int getThermalText(const system_settings *system, const item_record *item, char *text);
