#pragma once
// Clearing of latched switches, such as chassis intrusion.

#include "config/settings.h"

// 0 when the latch was cleared or was not set, else non-zero; says "Done." or "Failed." on standard output.
int reset_Intrusion(const system_settings *system, const item_record *items, int32_t item_count,
                    const parameter_record *parameters, int32_t parameter_count, item_record *item);
