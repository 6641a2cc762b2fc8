#pragma once
// PCI configuration space through the legacy configuration ports (mechanism 1), and the SMBus host controller
// found there. A port that is refused reads as an empty bus does, all bits set.

#include <cstdint>

extern uint32_t SMB_BASE_IO_ADDR; // 0: no controller found
extern uint8_t IntelDevice;       // 1: the controller found is an Intel one

constexpr uint32_t PCI_ENABLE = 0x80000000;

// The dword at a configuration address (PCI_ENABLE | bus << 16 | device << 11 | function << 8 | register).
// The caller has raised the I/O privilege level.
uint32_t pci_config_dword(uint32_t address);

uint32_t pci_config_read(uint32_t bus, uint32_t device, uint32_t function, uint32_t reg);

// Looks for a known SMBus controller on bus 0 and 1: returns 1 for an Intel one, otherwise 0. `*base` is
// untouched when no controller is found.
uint8_t scan_device(uint32_t *base);
