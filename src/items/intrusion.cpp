#include "items/intrusion.h"

#include <cstdio>

#include "config/name_index.h"
#include "hw/chip_codes.h"
#include "hw/ipmi.h"
#include "hw/isa.h"
#include "hw/machine_turn.h"
#include "hw/os.h"
#include "hw/pci.h"
#include "hw/port_grants.h"
#include "hw/smbus.h"
#include "hw/superio.h"
#include "hw/text.h"
#include "items/chip_routines.h"
#include "items/chips.h"
#include "items/readings.h"

constexpr int FAILED = -1;

// ---- Set bits in the chip's clear register

int W83627HF_G_Intru_IO_Clear(uint32_t bus_type, uint32_t slave, uint32_t reg, uint32_t index_port,
                              uint32_t data_port, uint8_t mask) {
    uint32_t value = 0;
    machine_turn whole;
    if ((bus_type & BUS_SMBUS_ANY) != 0) {
        int status = smbus_byte_data_read(CHIP_W83627HF, bus_type, SMB_BASE_IO_ADDR, slave, reg, &value);
        if (status != 0)
            return status;
        return smbus_byte_data_write(bus_type, SMB_BASE_IO_ADDR, slave, reg, value | mask);
    }
    if ((bus_type & BUS_SUPERIO) == 0)
        return FAILED;
    int status = isa_byte_data_read(index_port, data_port, slave, reg, &value);
    if (status != 0)
        return status;
    return isa_byte_data_write(index_port, data_port, slave, reg, value | mask);
}

// ---- Set them, then clear them again: a pulse

static int pulse_smbus(const item_record *item, uint8_t mask, const parameter_record *record) {
    uint32_t value = 0;
    machine_turn whole;
    int status = smbus_byte_data_read(item->ChipCode, item->BusType, SMB_BASE_IO_ADDR, record->Slave,
                                      record->Offset, &value);
    if (status != 0)
        return status;
    status =
        smbus_byte_data_write(item->BusType, SMB_BASE_IO_ADDR, record->Slave, record->Offset, value | mask);
    if (status != 0)
        return status;
    return smbus_byte_data_write(item->BusType, SMB_BASE_IO_ADDR, record->Slave, record->Offset,
                                 value & (255u - mask));
}

static int pulse_isa(const system_settings *system, uint8_t mask, const parameter_record *record) {
    uint32_t value = 0;
    machine_turn whole;
    int status = isa_byte_data_read(system->IndexReg, system->DataReg, record->Slave, record->Offset, &value);
    if (status != 0)
        return status;
    status =
        isa_byte_data_write(system->IndexReg, system->DataReg, record->Slave, record->Offset, value | mask);
    if (status != 0)
        return status;
    return isa_byte_data_write(system->IndexReg, system->DataReg, record->Slave, record->Offset,
                               value & (255u - mask));
}

int ADM1026_Intru_IO_Clear(const system_settings *system, const item_record *item, uint8_t mask,
                           const parameter_record *record) {
    if (on_smbus(item))
        return pulse_smbus(item, mask, record);
    if ((item->BusType & system->BusType & BUS_SUPERIO) != 0)
        return pulse_isa(system, mask, record);
    return FAILED;
}

// ---- Super I/O configuration registers

int get_W83627HF_Device_ID(uint32_t *id) {
    superio_grant_ports();
    machine_turn whole;
    if (superio_enter() != 0)
        return FAILED;
    uint8_t device = 0;
    uint8_t revision = 0;
    int status = superio_select(0);
    if (status == 0)
        status = superio_read(0x20, &device);
    if (status == 0)
        status = superio_read(0x21, &revision);
    superio_leave();
    if (status == 0)
        *id = device * 256u | revision;
    return status;
}

// The bit that clears the latch; 0 for a chip code that writes nothing in that step.
static uint8_t clear_bit_of(uint32_t chip_code) {
    switch (chip_code) {
    case CHIP_W83627HF:
    case CHIP_10:
        return 0x40;
    case CHIP_12:
        return 0x20;
    default:
        return 0;
    }
}

// Bit 6 is cleared at the end, whatever bit was set: for chip 12 that leaves its bit set, on purpose.
static int pulse_configuration(uint32_t chip_code) {
    constexpr uint8_t ACPI_DEVICE = 0x0A;
    constexpr uint8_t CLEAR = 0xE6;
    uint8_t saved = 0;
    if (superio_select(ACPI_DEVICE) != 0 || superio_read(CLEAR, &saved) != 0)
        return FAILED;
    os_sleep(1);
    uint8_t bit = clear_bit_of(chip_code);
    int status = 0;
    if (bit != 0)
        status = superio_write(CLEAR, saved | bit);
    else
        status = superio_choose(CLEAR);
    if (status != 0)
        return FAILED;
    os_sleep(1);
    return superio_write(CLEAR, saved & 0xBF);
}

int W83627HF_A_Intru_IO_Clear(uint32_t chip_code) {
    superio_grant_ports();
    machine_turn whole;
    if (superio_enter() != 0)
        return FAILED;
    int status = pulse_configuration(chip_code);
    superio_leave();
    return status;
}

// ---- I/O space

constexpr uint32_t NS87427_SWITCH = 12;
constexpr uint32_t NS87427_BANK = 15;

int NS87427_Intru_IO_Clear(uint8_t mask, uint32_t base) {
    if (!is_port(base, NS87427_SWITCH))
        return FAILED;
    uint16_t port = static_cast<uint16_t>(base + NS87427_SWITCH);
    uint8_t value;
    machine_turn whole;
    if (os_inb(port, &value) != 0)
        return FAILED;
    return os_outb(port, value | mask);
}

// ---- By chip: the rows of the chip table point here

int clear_in_register(const system_settings *system, item_record *item, const parameter_record *record) {
    return W83627HF_G_Intru_IO_Clear(item->BusType, record->Slave, record->Offset, system->IndexReg,
                                     system->DataReg, static_cast<uint8_t>(record->BitMask));
}

// The first silicon of the chip (id 0x5241) clears in its configuration, the later ones in a register.
int clear_w83627hf(const system_settings *system, item_record *item, const parameter_record *record) {
    constexpr uint32_t FIRST_SILICON = 0x5241;
    uint32_t id = 0;
    int status = get_W83627HF_Device_ID(&id);
    if (status != 0)
        return status;
    if (id == FIRST_SILICON)
        return W83627HF_A_Intru_IO_Clear(CHIP_W83627HF);
    return clear_in_register(system, item, record);
}

int clear_ns87427(const system_settings *, item_record *, const parameter_record *record) {
    return NS87427_Intru_IO_Clear(static_cast<uint8_t>(record->BitMask), record->Offset);
}

int clear_in_configuration(const system_settings *, item_record *item, const parameter_record *) {
    return W83627HF_A_Intru_IO_Clear(item->ChipCode);
}

int clear_by_pulse(const system_settings *system, item_record *item, const parameter_record *record) {
    return ADM1026_Intru_IO_Clear(system, item, static_cast<uint8_t>(record->BitMask), record);
}

// The item's own bus type becomes 8 and stays so, while the clear goes over bus type 1; kept on purpose.
int clear_over_smbus(const system_settings *system, item_record *item, const parameter_record *record) {
    item->BusType = BUS_SMBUS_HOST;
    return W83627HF_G_Intru_IO_Clear(BUS_SMBUS, record->Slave, record->Offset, system->IndexReg,
                                     system->DataReg, static_cast<uint8_t>(record->BitMask));
}

constexpr uint32_t NCT7904D_BANK_SELECT = 0xFF;
constexpr uint32_t NCT7904D_CLEAR = 0xD4;
constexpr uint32_t NCT7904D_STATUS = 0xCA;
constexpr uint32_t NCT7904D_CLEAR_BIT = 0x80;

// True when the BMC carried the clear.
static bool clear_nct7904d_by_bmc(const item_record *item) {
    uint32_t value = 0;
    if (hDevice == 0 || IpmiByteRead_oem_30_90(item->Slave, 0, NCT7904D_CLEAR, &value) != 0)
        return false;
    IpmiByteWrite_oem_30_91(item->Slave, 0, NCT7904D_CLEAR, value | NCT7904D_CLEAR_BIT);
    uint32_t ignored;
    IpmiByteRead_oem_30_90(item->Slave, 0, NCT7904D_STATUS, &ignored);
    IpmiByteRead_oem_30_90(item->Slave, 0, NCT7904D_STATUS, &ignored);
    return true;
}

static int read_item_register(const item_record *item, uint32_t reg, uint32_t *value) {
    return smbus_byte_data_read(item->ChipCode, item->BusType, SMB_BASE_IO_ADDR, item->Slave, reg, value);
}

static int write_item_register(const item_record *item, uint32_t reg, uint32_t value) {
    return smbus_byte_data_write(item->BusType, SMB_BASE_IO_ADDR, item->Slave, reg, value);
}

// Both reads of the status clear what the chip latched; the result is the last one's. What could not be read
// is not written back.
int clear_nct7904d(const system_settings *, item_record *item, const parameter_record *) {
    machine_turn whole;
    if (clear_nct7904d_by_bmc(item))
        return 0;
    uint32_t value = 0;
    int status = write_item_register(item, NCT7904D_BANK_SELECT, 0);
    if (status == 0)
        status = read_item_register(item, NCT7904D_CLEAR, &value);
    if (status == 0)
        status = write_item_register(item, NCT7904D_CLEAR, value | NCT7904D_CLEAR_BIT);
    if (status != 0)
        return status;
    uint32_t ignored;
    read_item_register(item, NCT7904D_STATUS, &ignored);
    return read_item_register(item, NCT7904D_STATUS, &ignored);
}

static int clear_latch(const system_settings *system, item_record *item, const parameter_record *record) {
    latch_clear clear = chip_of(item->ChipCode)->clear;
    if (clear == nullptr) {
        fprintf(stderr, "Warning: Non-supported chipset \"%s\".\n", shown_text(stderr, item->Name).c_str());
        return FAILED;
    }
    return clear(system, item, record);
}

// ---- The switch itself, read again so that what it latched is gone

static void reread_ns87427(const item_record *item) {
    if (!is_port(item->Offset, NS87427_BANK))
        return;
    uint8_t ignored;
    machine_turn whole;
    os_outb(static_cast<uint16_t>(item->Offset + NS87427_BANK), static_cast<uint8_t>(item->Slave));
    os_inb(static_cast<uint16_t>(item->Offset + NS87427_SWITCH), &ignored);
}

// `result` as it is, or that of the read where it counts.
static int reread_switch(const system_settings *system, const item_record *item, int result) {
    uint32_t ignored = 0;
    if (item->ChipCode == CHIP_NS87427) {
        reread_ns87427(item);
    } else if (on_smbus(item)) {
        read_item_register(item, item->Offset, &ignored);
        read_item_register(item, item->Offset, &ignored);
    } else if (on_superio(item)) {
        result = isa_byte_data_read(system->IndexReg, system->DataReg, item->Slave, item->Offset, &ignored);
    }
    return result;
}

// A latch that is not set counts as cleared.
static int clear_and_reread(const system_settings *system, const item_record *items, int32_t item_count,
                            const parameter_record *parameters, int32_t parameter_count, item_record *item,
                            const parameter_record *record) {
    int64_t state = 0;
    int result = 0;
    bool is_clear =
        get_item_reading(system, items, item_count, parameters, parameter_count, item, &state) == 0 &&
        state == 0;
    if (!is_clear)
        result = clear_latch(system, item, record);
    if (result != 0) {
        printf("Failed.\n");
        return result;
    }
    printf("Done.\n");
    return reread_switch(system, item, result);
}

int reset_Intrusion(const system_settings *system, const item_record *items, int32_t item_count,
                    const parameter_record *parameters, int32_t parameter_count, item_record *item) {
    if (item == nullptr)
        return FAILED;
    const parameter_record *record = find_first_parameter(parameters, parameter_count, item->ParaIndex2);
    if (record == nullptr) {
        fprintf(stderr, "Error: \"%s\" is not defined.\n", shown_text(stderr, item->Name).c_str());
        return FAILED;
    }
    if (item->Cat != CAT_SWITCH || record->BitMask == 0) {
        fprintf(stderr, "Warning: To reset \"%s\" is not allowed.\n", shown_text(stderr, item->Name).c_str());
        return FAILED;
    }
    return clear_and_reread(system, items, item_count, parameters, parameter_count, item, record);
}
