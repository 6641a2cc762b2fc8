#pragma once
// A hardware monitor behind an index and a data port, with banks. Registers of no bank answer in every bank.

#include <cstdint>

#include "cell.h"
#include "port_answer.h"

struct monitor_chip {
    uint16_t index_port = 0;
    uint16_t data_port = 0;
    uint8_t bank_reg = 0x4E;
    uint8_t bank_mask = 0x07;
    register_map common;
    std::map<int, register_map> banks;
    uint8_t index = 0; // the register that was selected last
};

port_answer monitor_inb(monitor_chip *chip, uint16_t port, double now_s, uint8_t *value);
port_answer monitor_outb(monitor_chip *chip, uint16_t port, uint8_t value);
