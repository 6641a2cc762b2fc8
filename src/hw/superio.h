#pragma once
// Super I/O configuration mode at ports 0x2E/0x2F: enter, select a logical device, read and write its
// registers, leave. From the enter to the leave its caller has a turn at the machine. Used by the thermal
// guide text, the GPIO reads and the intrusion clears. Each call returns 0, or -1 at the first refused port.

#include <cstdint>

int superio_grant_ports();
int superio_enter();
int superio_select(uint8_t logical_device);
int superio_choose(uint8_t reg); // the register that is read or written next
int superio_read(uint8_t reg, uint8_t *value);
int superio_write(uint8_t reg, uint8_t value);
int superio_leave();

// One register of a logical device, from enter to leave.
int superio_read_device(uint8_t logical_device, uint8_t reg, uint8_t *value);
