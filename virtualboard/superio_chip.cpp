#include "superio_chip.h"

constexpr uint8_t ENTRY_KEY = 0x87;
constexpr uint8_t EXIT_KEY = 0xAA;
constexpr uint8_t LOGICAL_DEVICE = 0x07;

static bool is_open(const superio_chip *chip) { return chip->always_open || chip->keys >= 2; }

static cell *find_register(superio_chip *chip, uint8_t reg) {
    register_map *registers = reg < 0x30 ? &chip->global : &chip->logical_devices[chip->logical_device];
    auto found = registers->find(reg);
    return found == registers->end() ? nullptr : &found->second;
}

port_answer superio_inb(superio_chip *chip, uint16_t port, double now_s, uint8_t *value) {
    if (chip->index_port == 0 || (port != chip->index_port && port != chip->data_port))
        return NOT_MINE;
    *value = 0xFF;
    if (!is_open(chip))
        return ANSWERED;
    if (port == chip->index_port) {
        *value = chip->index;
        return ANSWERED;
    }
    if (chip->index == LOGICAL_DEVICE) {
        *value = chip->logical_device;
        return ANSWERED;
    }
    cell *found = find_register(chip, chip->index);
    if (found == nullptr)
        return NO_REGISTER;
    return read_cell(found, now_s, value) == 0 ? ANSWERED : FAILED;
}

static port_answer write_index(superio_chip *chip, uint8_t value) {
    if (!is_open(chip)) {
        chip->keys = value == ENTRY_KEY ? chip->keys + 1 : 0;
        return ANSWERED;
    }
    if (value == EXIT_KEY)
        chip->keys = 0;
    else
        chip->index = value;
    return ANSWERED;
}

port_answer superio_outb(superio_chip *chip, uint16_t port, double now_s, uint8_t value) {
    if (chip->index_port == 0 || (port != chip->index_port && port != chip->data_port))
        return NOT_MINE;
    if (port == chip->index_port)
        return write_index(chip, value);
    if (!is_open(chip))
        return ANSWERED;
    if (chip->index == LOGICAL_DEVICE) {
        chip->logical_device = value;
        return ANSWERED;
    }
    cell *found = find_register(chip, chip->index);
    if (found == nullptr)
        return NO_REGISTER;
    return write_cell(found, now_s, value) == 0 ? ANSWERED : FAILED;
}
