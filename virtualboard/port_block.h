#pragma once
// Registers directly in I/O space: port base + offset, with banks if the board names some.

#include <cstdint>

#include "banked_chip.h"
#include "port_answer.h"

struct port_block {
    uint16_t base = 0;
    banked_chip chip; // its registers by their offset
};

// A port between two registers is nobody's.
port_answer block_inb(port_block *block, uint16_t port, double now_s, uint8_t *value);
port_answer block_outb(port_block *block, uint16_t port, double now_s, uint8_t value);

// Four registers, lowest byte first.
port_answer block_inl(port_block *block, uint16_t port, double now_s, uint32_t *value);
port_answer block_outl(port_block *block, uint16_t port, double now_s, uint32_t value);
