#pragma once
// A chip's register by the item's bus: the SMBus, or an index and a data port. Used by chips and items; they
// touch a bus in no other way.

#include <cstdint>

#include "chips/chip.h"

bool on_smbus(const item_record *item);
bool on_superio(const item_record *item);

// A chip where its bus reaches it. Made by the calls below.
struct chip_bus {
    enum { NOWHERE, SMBUS, PORTS } kind;
    uint32_t chip_code; // of SMBUS, like the bus type
    uint32_t bus_type;
    uint32_t slave;      // of PORTS: the bank
    uint32_t index_port; // of PORTS
    uint32_t data_port;
};

chip_bus smbus_of(const raw_source &from);
chip_bus ports_of(const raw_source &from);
chip_bus bus_of(const raw_source &from); // by the item's bus type, the SMBus first

// 0, or the access's own failure; -1 of a chip that is nowhere.
int read_register(const chip_bus &bus, uint32_t reg, uint32_t *value);
int write_register(const chip_bus &bus, uint32_t reg, uint32_t value);

// Both bytes are asked for, even after the first failed. -1, outputs unknown, when one did.
int read_two_registers(const chip_bus &bus, uint32_t first_reg, uint32_t second_reg, uint32_t *first,
                       uint32_t *second);

// Reads, and writes back OR `bits`. The result of the access that failed.
int set_bits(const chip_bus &bus, uint32_t reg, uint8_t bits);
// The same, and then without them: a pulse.
int pulse_bits(const chip_bus &bus, uint32_t reg, uint8_t bits);

int read_smbus_word(const chip_bus &bus, uint32_t reg, uint32_t *value); // high byte first
int read_graphics_card(const chip_bus &bus, uint32_t reg, uint32_t *value);
int read_port_fan_count(const chip_bus &bus, uint32_t reg, uint32_t *value); // 13 bits
