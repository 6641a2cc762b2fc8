#include "monitor.h"

static cell *bank_select_cell(monitor_chip *chip) {
    cell &c = chip->common[chip->bank_reg]; // there is one in every chip, whether the board names it or not
    return &c;
}

static cell *find_in(register_map *registers, uint8_t reg) {
    auto found = registers->find(reg);
    return found == registers->end() ? nullptr : &found->second;
}

// The register of the selected bank, else the one that all banks share.
static cell *find_register(monitor_chip *chip, uint8_t reg) {
    if (reg == chip->bank_reg)
        return bank_select_cell(chip);
    auto bank = chip->banks.find(bank_select_cell(chip)->value & chip->bank_mask);
    if (bank != chip->banks.end())
        if (cell *found = find_in(&bank->second, reg))
            return found;
    return find_in(&chip->common, reg);
}

port_answer monitor_inb(monitor_chip *chip, uint16_t port, double now_s, uint8_t *value) {
    if (port == chip->index_port) {
        *value = chip->index;
        return ANSWERED;
    }
    if (port != chip->data_port)
        return NOT_MINE;
    cell *found = find_register(chip, chip->index);
    if (found == nullptr)
        return NO_REGISTER;
    return read_cell(found, now_s, value) == 0 ? ANSWERED : FAILED;
}

// A latch lies in the common registers or in the bank that it names.
static void clear_latched(monitor_chip *chip, const cell_latch *latch) {
    cell *latched = find_in(&chip->common, latch->reg);
    auto bank = chip->banks.find(latch->bank);
    if (bank != chip->banks.end())
        if (cell *in_bank = find_in(&bank->second, latch->reg))
            latched = in_bank;
    if (latched != nullptr)
        latched->value = static_cast<uint8_t>(latched->value & ~latch->cleared_bits);
}

port_answer monitor_outb(monitor_chip *chip, uint16_t port, uint8_t value) {
    if (port == chip->index_port) {
        chip->index = value;
        return ANSWERED;
    }
    if (port != chip->data_port)
        return NOT_MINE;
    cell *found = find_register(chip, chip->index);
    if (found == nullptr)
        return NO_REGISTER;
    if (write_cell(found, value) != 0)
        return FAILED;
    if ((value & found->latch.written_bits) != 0)
        clear_latched(chip, &found->latch);
    return ANSWERED;
}
