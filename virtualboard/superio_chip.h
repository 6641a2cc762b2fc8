#pragma once
// The configuration mode of a Super I/O chip: 0x87 written twice to the index port opens it, 0xAA closes it;
// then register 0x07 selects a logical device. Closed, it answers 0xFF and takes no writes.

#include <cstdint>

#include "cell.h"
#include "port_answer.h"

struct superio_chip {
    uint16_t index_port = 0; // 0: the board has none
    uint16_t data_port = 0;
    register_map global; // below 0x30, the same for every logical device
    std::map<int, register_map> logical_devices;
    uint8_t index = 0;
    uint8_t logical_device = 0;
    unsigned keys = 0;        // entry keys written so far
    bool always_open = false; // its configuration answers without them
};

port_answer superio_inb(superio_chip *chip, uint16_t port, double now_s, uint8_t *value);
port_answer superio_outb(superio_chip *chip, uint16_t port, double now_s, uint8_t value);
