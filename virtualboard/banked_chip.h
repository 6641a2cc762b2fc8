#pragma once
// The registers of a chip, with banks. Registers of no bank answer in every bank.

#include <cstdint>
#include <map>

#include "cell.h"
#include "port_answer.h"

struct banked_chip {
    uint8_t bank_reg = 0x4E;
    uint8_t bank_mask = 0; // 0: the chip has no banks, and no register that selects one
    bool fails = false;    // every access to its registers fails
    register_map common;
    std::map<int, register_map> banks;
};

port_answer chip_read(banked_chip *chip, uint8_t reg, double now_s, uint8_t *value);
port_answer chip_write(banked_chip *chip, uint8_t reg, double now_s, uint8_t value);

// The same in a bank that the access names itself, whatever is selected.
port_answer chip_read_in_bank(banked_chip *chip, int bank, uint8_t reg, double now_s, uint8_t *value);
port_answer chip_write_in_bank(banked_chip *chip, int bank, uint8_t reg, double now_s, uint8_t value);
