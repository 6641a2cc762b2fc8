#include "hw/isa.h"

#include "hw/ipmi.h"
#include "hw/machine_turn.h"
#include "hw/os.h"
#include "hw/port_grants.h"

constexpr uint8_t BANK_SELECT = 0x4E; // the same for every chip behind an index and a data port
constexpr uint8_t BANK_KEPT_BITS = 0xF0;

struct isa_ports {
    uint16_t index;
    uint16_t data;
};

// False for numbers that are not ports.
static bool ports_of(uint32_t index_port, uint32_t data_port, isa_ports *ports) {
    *ports = {static_cast<uint16_t>(index_port), static_cast<uint16_t>(data_port)};
    return is_port(index_port, 0) && is_port(data_port, 0);
}

static int read_register(isa_ports ports, uint8_t reg, uint8_t *value) {
    if (os_outb(ports.index, reg) != 0)
        return -1;
    return os_inb(ports.data, value);
}

static int write_register(isa_ports ports, uint8_t reg, uint8_t value) {
    if (os_outb(ports.index, reg) != 0)
        return -1;
    return os_outb(ports.data, value);
}

// Selects `bank` and hands back the whole bank-select register as it was. A bank above 15 is OR-ed in
// unmasked, on purpose; callers pass 0 to 15.
static int select_bank(isa_ports ports, uint32_t bank, uint8_t *saved) {
    if (read_register(ports, BANK_SELECT, saved) != 0)
        return -1;
    return os_outb(ports.data, static_cast<uint8_t>((*saved & BANK_KEPT_BITS) | bank));
}

static int read_byte(isa_ports ports, uint8_t reg, uint32_t *value) {
    uint8_t byte;
    if (read_register(ports, reg, &byte) != 0)
        return -1;
    *value = byte;
    return 0;
}

static int read_fan(isa_ports ports, uint8_t reg, uint32_t *value) {
    uint8_t high;
    uint8_t low;
    if (read_register(ports, reg, &high) != 0)
        return -1;
    if (read_register(ports, static_cast<uint8_t>(reg + 1), &low) != 0) // register 0xFF is followed by 0x00
        return -1;
    *value = high * 32u + (low & 0x1Fu);
    return 0;
}

static int write_byte(isa_ports ports, uint8_t reg, uint32_t *value) {
    return write_register(ports, reg, static_cast<uint8_t>(*value));
}

// One access in a bank; `written` is for an access that writes, `*value` for one that reads. The bank goes
// back even after the access failed.
static int in_bank(uint32_t index_port, uint32_t data_port, uint32_t bank, uint32_t reg, uint32_t written,
                   uint32_t *value, int (*access)(isa_ports ports, uint8_t reg, uint32_t *value)) {
    isa_ports ports;
    if (!ports_of(index_port, data_port, &ports))
        return -1;
    uint8_t saved;
    uint32_t result = written;
    int status = -1;
    machine_turn whole;
    if (select_bank(ports, bank, &saved) == 0) {
        status = access(ports, static_cast<uint8_t>(reg), &result);
        status |= write_register(ports, BANK_SELECT, saved);
    }
    if (status == 0)
        *value = result;
    return status;
}

int isa_byte_data_read(uint32_t index_port, uint32_t data_port, uint32_t bank, uint32_t reg,
                       uint32_t *value) {
    if (bmc_owns_isa_monitor())
        return IpmiByteRead_ISA_30_2C(bank, reg, value);
    return in_bank(index_port, data_port, bank, reg, 0, value, read_byte);
}

// Of the two bytes that the BMC hands over (as high × 256 + low), the same 13 bits as over the ports.
static int read_fan_from_bmc(uint32_t bank, uint32_t reg, uint32_t *value) {
    uint32_t word = 0;
    int status = IpmiWordRead_ISA_30_2C(bank, reg, &word);
    if (status != 0)
        return status;
    *value = ((word >> 8) & 0xFF) * 32 + (word & 0x1F);
    return 0;
}

int isa_word_data_read_NCT6776F_fan(uint32_t index_port, uint32_t data_port, uint32_t bank, uint32_t reg,
                                    uint32_t *value) {
    if (bmc_owns_isa_monitor())
        return read_fan_from_bmc(bank, reg, value);
    return in_bank(index_port, data_port, bank, reg, 0, value, read_fan);
}

int isa_byte_data_write(uint32_t index_port, uint32_t data_port, uint32_t bank, uint32_t reg,
                        uint32_t value) {
    if (bmc_owns_isa_monitor())
        return IpmiByteWrite_ISA_30_2C(bank, reg, value);
    return in_bank(index_port, data_port, bank, reg, value, &value, write_byte);
}
