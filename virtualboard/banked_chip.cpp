#include "banked_chip.h"

static cell *find_in(register_map *registers, uint8_t reg) {
    auto found = registers->find(reg);
    return found == registers->end() ? nullptr : &found->second;
}

// The register of the bank, else the one that all banks share.
static cell *find_in_bank(banked_chip *chip, int number, uint8_t reg) {
    auto bank = chip->banks.find(number);
    if (bank != chip->banks.end())
        if (cell *found = find_in(&bank->second, reg))
            return found;
    return find_in(&chip->common, reg);
}

// There is a bank-select register in every chip with banks, whether the board names it or not.
static cell *find_register(banked_chip *chip, uint8_t reg) {
    if (chip->bank_mask == 0)
        return find_in(&chip->common, reg);
    if (reg == chip->bank_reg)
        return &chip->common[reg];
    return find_in_bank(chip, chip->common[chip->bank_reg].value & chip->bank_mask, reg);
}

static port_answer read_found(const banked_chip *chip, cell *found, double now_s, uint8_t *value) {
    if (found == nullptr)
        return NO_REGISTER;
    return !chip->fails && read_cell(found, now_s, value) == 0 ? ANSWERED : FAILED;
}

static port_answer write_found(banked_chip *chip, cell *found, double now_s, uint8_t value) {
    if (found == nullptr)
        return NO_REGISTER;
    if (chip->fails || write_cell(found, now_s, value) != 0)
        return FAILED;
    if ((value & found->latch.written_bits) == 0)
        return ANSWERED;
    if (cell *latched = find_in_bank(chip, found->latch.bank, found->latch.reg))
        clear_in_cell(latched, now_s, found->latch.cleared_bits);
    return ANSWERED;
}

port_answer chip_read(banked_chip *chip, uint8_t reg, double now_s, uint8_t *value) {
    return read_found(chip, find_register(chip, reg), now_s, value);
}

port_answer chip_write(banked_chip *chip, uint8_t reg, double now_s, uint8_t value) {
    return write_found(chip, find_register(chip, reg), now_s, value);
}

port_answer chip_read_in_bank(banked_chip *chip, int bank, uint8_t reg, double now_s, uint8_t *value) {
    return read_found(chip, find_in_bank(chip, bank, reg), now_s, value);
}

port_answer chip_write_in_bank(banked_chip *chip, int bank, uint8_t reg, double now_s, uint8_t value) {
    return write_found(chip, find_in_bank(chip, bank, reg), now_s, value);
}
