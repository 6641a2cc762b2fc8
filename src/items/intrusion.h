#pragma once
// Clearing of latched switches, such as chassis intrusion: a sequence a chip, then a fresh read of the
// switch.

#include <cstdint>

#include "config/settings.h"

// 0 when the latch was cleared or was not set, else non-zero; says "Done." or "Failed." on standard output.
// The record that the item's ParaIndex2 names gives the register and its bits. For chips 17 and 23 the item's
// bus type is 8 afterwards. Without an item (nullptr) there is nothing to reset: non-zero, not a word.
int reset_Intrusion(const system_settings *system, const item_record *items, int32_t item_count,
                    const parameter_record *parameters, int32_t parameter_count, item_record *item);
