#pragma once
// Where chip N is: the row of a code. Used by items.

#include <cstdint>

#include "chips/chip.h"

// A code beyond the table gets the row of a plain chip.
const chip *chip_of(uint32_t code);
