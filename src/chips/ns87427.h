#pragma once
// What items need of the NS87427, whose switch is read in I/O space.

#include <cstdint>

#include "config/settings.h"

// Sets bits of the switches' register at the base, which clears what they latched.
int NS87427_Intru_IO_Clear(uint8_t mask, uint32_t base);

// Reads an item's switch after a clear, so that what it latched is gone. What it reads is not used.
void reread_ns87427(const item_record *item);
