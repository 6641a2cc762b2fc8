#pragma once
// Making /etc/Kestrel.ini for the board at a first start.

#include <cstdint>

#include "config/settings.h"

// 0 when the file can be opened for reading, else 0xFFFFFFFF.
uint32_t existFile(const char *path);

// Generates the configuration of the board from the master file: 0 on success.
uint32_t produce_kestrel_ini(const char *product, const char *version);

// Adjusts the CPU temperature names of the R2M family, in memory only.
void revise_kestrel_ini_for_R2M(const system_settings *system, item_record *items, int32_t item_count);
