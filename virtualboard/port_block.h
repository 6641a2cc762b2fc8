#pragma once
// Registers that lie in I/O space as they are: port base + offset.

#include <cstdint>

#include "cell.h"
#include "port_answer.h"

struct port_block {
    uint16_t base = 0;
    register_map registers; // by offset
};

port_answer block_inb(port_block *block, uint16_t port, double now_s, uint8_t *value);
port_answer block_outb(port_block *block, uint16_t port, uint8_t value);
