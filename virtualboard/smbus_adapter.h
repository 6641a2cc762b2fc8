#pragma once
// An SMBus host controller as the kernel shows it: /dev/i2c-N, with slaves behind it. Its status register
// is in I/O space at the controller's base.

#include <cstdint>
#include <vector>

#include "banked_chip.h"

struct smbus_slave {
    uint8_t address = 0;
    bool held = false;   // a kernel driver holds it: only I2C_SLAVE_FORCE takes it
    bool silent = false; // it does not answer
    banked_chip chip;
};

struct smbus_adapter {
    int number = 0;     // N of /dev/i2c-N
    uint16_t base = 0;  // 0: no status register
    bool fails = false; // every transfer fails
    uint8_t taken = 0;  // the slave that was taken last
    std::vector<smbus_slave> slaves;
};

// The ioctls of the i2c-dev interface that the board understands; -1 with errno. `known` is cleared for a
// slave or a register that the board does not describe.
int smbus_ioctl(smbus_adapter *adapter, unsigned long request, void *argument, double now_s, bool *known);

// The controller's status register: what is written to it clears its bits.
port_answer smbus_outb(smbus_adapter *adapter, uint16_t port, uint8_t value);
