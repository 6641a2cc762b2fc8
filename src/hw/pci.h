#pragma once
// PCI configuration space, for the SMBus host controller's I/O base.

#include <cstdint>

extern uint32_t SMB_BASE_IO_ADDR; // 0: no controller found
extern uint8_t IntelDevice;       // 1: the controller found is an Intel one

// Looks for a known SMBus controller: returns 1 for an Intel one, else 0. `*base` is untouched when none is
// found.
uint8_t scan_device(uint32_t *base);
