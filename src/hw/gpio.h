#pragma once
// General-purpose I/O pins of Super I/O chips and south bridges, and single bytes of physical memory: they
// distinguish board revisions, and some switches are wired to them.

#include <cstdint>

// Each returns 0, or -1, `*value` untouched, when a port was refused or, after a message on standard error,
// for a chip code that has no such pins.
int ReadSuperGPIO(uint32_t chip_code, uint32_t logical_device, uint32_t reg, uint32_t *value);
int ReadSBGPIO(uint32_t chip_code, uint32_t ignored, uint32_t reg, uint32_t *value);

// 1 when the south bridge's pin is high, 0 when it is low or there is no such south bridge.
int CheckGPIO28Hi();
int CheckGPIO38Hi();
int CheckGPIO39Hi();

// The GPIO I/O base of the south bridge, 0 if there is no south bridge.
uint32_t findGpioBaseAddress();

// The byte at a physical address. Ends the program with status 1 when /dev/mem cannot be used.
uint8_t getMemByte(uint32_t address);

// The pin by which the BIOS tells the BMC that its self-test is complete: its level (0 or 1), and the
// register's new value after it was set. Nothing calls them; kept as part of the interface.
uint32_t getIpmiBiosPostCmplGpioState(uint32_t base, int32_t number);
uint32_t setIpmiBiosPostCmplGpioState(uint32_t base, int32_t number, uint32_t level);
