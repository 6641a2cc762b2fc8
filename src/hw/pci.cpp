#include "hw/pci.h"

uint32_t SMB_BASE_IO_ADDR;
uint8_t IntelDevice;

// The scan is not supported yet: no controller is found.
uint8_t scan_device(uint32_t *) { return 0; }
