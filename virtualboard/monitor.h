#pragma once
// A hardware monitor behind an index and a data port.

#include <cstdint>

#include "banked_chip.h"

struct monitor_chip {
    uint16_t index_port = 0;
    uint16_t data_port = 0;
    banked_chip chip;
    uint8_t index = 0; // the register that was selected last
};

port_answer monitor_inb(monitor_chip *monitor, uint16_t port, double now_s, uint8_t *value);
port_answer monitor_outb(monitor_chip *monitor, uint16_t port, double now_s, uint8_t value);
