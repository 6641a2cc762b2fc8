#pragma once
// The names of the processor temperatures of the R2M boards, which depend on how their W83793G was set up.

#include <cstdint>

#include "config/settings.h"

// Adjusts them to the chip's mode register, in memory only; a chip that cannot be read changes nothing.
void revise_kestrel_ini_for_R2M(const system_settings *system, item_record *items, int32_t item_count);
