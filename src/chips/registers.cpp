#include "chips/registers.h"

#include "hw/isa.h"
#include "hw/machine_turn.h"
#include "hw/pci.h"
#include "hw/smbus.h"

bool on_smbus(const item_record *item) { return (item->BusType & BUS_SMBUS_ANY) != 0; }

bool on_superio(const item_record *item) { return (item->BusType & BUS_SUPERIO) != 0; }

chip_bus smbus_of(const raw_source &from) {
    return {chip_bus::SMBUS, from.item->ChipCode, from.item->BusType, from.slave, 0, 0};
}

chip_bus ports_of(const raw_source &from) {
    return {chip_bus::PORTS, 0, 0, from.slave, from.system->IndexReg, from.system->DataReg};
}

chip_bus bus_of(const raw_source &from) {
    if (on_smbus(from.item))
        return smbus_of(from);
    if (on_superio(from.item))
        return ports_of(from);
    return {};
}

int read_register(const chip_bus &bus, uint32_t reg, uint32_t *value) {
    if (bus.kind == chip_bus::SMBUS)
        return smbus_byte_data_read(bus.chip_code, bus.bus_type, SMB_BASE_IO_ADDR, bus.slave, reg, value);
    if (bus.kind == chip_bus::PORTS)
        return isa_byte_data_read(bus.index_port, bus.data_port, bus.slave, reg, value);
    return -1;
}

int write_register(const chip_bus &bus, uint32_t reg, uint32_t value) {
    if (bus.kind == chip_bus::SMBUS)
        return smbus_byte_data_write(bus.bus_type, SMB_BASE_IO_ADDR, bus.slave, reg, value);
    if (bus.kind == chip_bus::PORTS)
        return isa_byte_data_write(bus.index_port, bus.data_port, bus.slave, reg, value);
    return -1;
}

int read_two_registers(const chip_bus &bus, uint32_t first_reg, uint32_t second_reg, uint32_t *first,
                       uint32_t *second) {
    int status = read_register(bus, first_reg, first);
    status |= read_register(bus, second_reg, second);
    return status == 0 ? 0 : -1;
}

static int read_and_set(const chip_bus &bus, uint32_t reg, uint8_t bits, uint32_t *value) {
    int status = read_register(bus, reg, value);
    return status != 0 ? status : write_register(bus, reg, *value | bits);
}

int set_bits(const chip_bus &bus, uint32_t reg, uint8_t bits) {
    uint32_t value = 0;
    machine_turn whole;
    return read_and_set(bus, reg, bits, &value);
}

int pulse_bits(const chip_bus &bus, uint32_t reg, uint8_t bits) {
    uint32_t value = 0;
    machine_turn whole;
    int status = read_and_set(bus, reg, bits, &value);
    return status != 0 ? status : write_register(bus, reg, value & (255u - bits));
}

int read_smbus_word(const chip_bus &bus, uint32_t reg, uint32_t *value) {
    return smbus_word_data_read_HL(bus.bus_type, SMB_BASE_IO_ADDR, bus.slave, reg, value);
}

int read_graphics_card(const chip_bus &bus, uint32_t reg, uint32_t *value) {
    return smbus_byte_data_read_GPU(bus.bus_type, SMB_BASE_IO_ADDR, bus.slave, reg, value);
}

int read_port_fan_count(const chip_bus &bus, uint32_t reg, uint32_t *value) {
    return isa_word_data_read_NCT6776F_fan(bus.index_port, bus.data_port, bus.slave, reg, value);
}
