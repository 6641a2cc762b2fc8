#pragma once
// General-purpose input pins of Super I/O chips and south bridges. Each call returns 0, or -1, `*value`
// untouched, when a port was refused.

#include <cstdint>

int ReadSuperGPIO(uint32_t chip_code, uint32_t logical_device, uint32_t reg, uint32_t *value);
int ReadSBGPIO(uint32_t chip_code, uint32_t ignored, uint32_t reg, uint32_t *value);
