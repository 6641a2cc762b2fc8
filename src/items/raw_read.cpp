// Readers of raw values and raw limits, one an access pattern; the rows of the chip table point here. A
// reader returns 0, or non-zero with `*raw` untouched, unless it says otherwise.
#include "items/chip_routines.h"

#include "hw/gpio.h"
#include "hw/ipmi.h"
#include "hw/isa.h"
#include "hw/machine_turn.h"
#include "hw/os.h"
#include "hw/pci.h"
#include "hw/port_grants.h"
#include "hw/smbus.h"

constexpr int NOT_READ = -1;
constexpr uint32_t READING_BANK = 0; // banks of the NCT7904D and of the BMC in front of it
constexpr uint32_t LIMIT_BANK = 1;
constexpr uint32_t NCT7904D_BANK_SELECT = 0xFF;
constexpr uint32_t NCT7904D_CHASSIS = 0xCA; // status register with the case-open bit

bool on_smbus(const item_record *item) { return (item->BusType & BUS_SMBUS_ANY) != 0; }

bool on_superio(const item_record *item) { return (item->BusType & BUS_SUPERIO) != 0; }

static int smbus_byte(const item_record *item, uint32_t slave, uint32_t reg, uint32_t *value) {
    return smbus_byte_data_read(item->ChipCode, item->BusType, SMB_BASE_IO_ADDR, slave, reg, value);
}

static int isa_byte(const system_settings *system, uint32_t bank, uint32_t reg, uint32_t *value) {
    return isa_byte_data_read(system->IndexReg, system->DataReg, bank, reg, value);
}

static int select_nct7904d_bank(const item_record *item, uint32_t bank) {
    return smbus_byte_data_write(item->BusType, SMB_BASE_IO_ADDR, item->Slave, NCT7904D_BANK_SELECT, bank);
}

// The 13-bit count of the Nuvoton chips.
static uint32_t count_13_bit(uint32_t high, uint32_t low) { return high * 32 + (low & 31); }

// Two bytes over the SMBus. Both are asked for, even after the first failed.
static int smbus_two_bytes(const item_record *item, uint32_t slave, uint32_t first_reg, uint32_t second_reg,
                           uint32_t *first, uint32_t *second) {
    int status = smbus_byte(item, slave, first_reg, first);
    return status | smbus_byte(item, slave, second_reg, second);
}

static int smbus_low_high(const item_record *item, uint32_t slave, uint32_t reg, uint32_t *raw) {
    uint32_t low = 0;
    uint32_t high = 0;
    if (smbus_two_bytes(item, slave, reg, reg + 1, &low, &high) != 0)
        return NOT_READ;
    *raw = high * 256 + low;
    return 0;
}

static int isa_low_high(const system_settings *system, uint32_t bank, uint32_t low_reg, uint32_t high_reg,
                        uint32_t *raw) {
    uint32_t low = 0;
    uint32_t high = 0;
    int status = isa_byte(system, bank, low_reg, &low);
    status |= isa_byte(system, bank, high_reg, &high);
    if (status != 0)
        return NOT_READ;
    *raw = high * 256 + low;
    return 0;
}

static int bmc_fan_count(uint32_t slave, uint32_t bank, uint32_t reg, uint32_t *raw) {
    uint32_t high = 0;
    uint32_t low = 0;
    int status = IpmiByteRead_oem_30_90(slave, bank, reg, &high);
    status |= IpmiByteRead_oem_30_90(slave, bank, reg + 1, &low);
    if (status != 0)
        return NOT_READ;
    *raw = count_13_bit(high, low);
    return 0;
}

// A fan count of the NCT7904D in `bank`: by the BMC, else over the SMBus behind its bank-select register.
static int nct7904d_fan_count(const item_record *item, uint32_t slave, uint32_t bank, uint32_t reg,
                              uint32_t *raw) {
    if (hDevice != 0 && bmc_fan_count(slave, bank, reg, raw) == 0)
        return 0;
    machine_turn whole;
    select_nct7904d_bank(item, bank);
    uint32_t high = 0;
    uint32_t low = 0;
    if (smbus_two_bytes(item, slave, reg, reg + 1, &high, &low) != 0)
        return NOT_READ;
    *raw = count_13_bit(high, low);
    return 0;
}

// High bytes of the IT8720F's fan counts: fans 1 to 3 (low bytes at 13 to 18) keep theirs 11 registers on.
static uint32_t it8720f_high_reg(const item_record *item, uint32_t low_reg) {
    return item->Offset >= 13 && item->Offset <= 18 ? low_reg + 11 : low_reg + 1;
}

constexpr uint16_t NS87427_BANK = 15; // the NS87427's ports, counted from its base
constexpr uint16_t NS87427_SWITCH = 12;
constexpr uint16_t NS87427_COUNT = 18; // its low byte; the high one follows
constexpr uint16_t NS87427_LIMIT = 20;

// The NS87427's monitor lies in I/O space: its bank in the low bits of base + 15 (bits 5 to 7 are kept), the
// fan's words from there on.
static int ns87427_word(uint32_t offset, uint32_t slave, uint16_t low_at, uint32_t *raw) {
    if (!is_port(offset, low_at + 1u))
        return NOT_READ;
    uint16_t base = static_cast<uint16_t>(offset);
    uint8_t bank = static_cast<uint8_t>(slave);
    uint8_t kept;
    uint8_t low;
    uint8_t high;
    machine_turn whole;
    if (os_inb(base + NS87427_BANK, &kept) != 0 || os_outb(base + NS87427_BANK, (kept & 0xE0) | bank) != 0)
        return NOT_READ;
    if (os_inb(base + low_at, &low) != 0 || os_inb(base + low_at + 1, &high) != 0)
        return NOT_READ;
    *raw = high * 256u + low;
    return 0;
}

// ---- Raw values of items

int read_plain(const system_settings *system, const item_record *item, uint32_t *raw) {
    item_reader over_smbus = chip_of(item->ChipCode)->read_smbus;
    if (on_smbus(item))
        return over_smbus != nullptr ? over_smbus(system, item, raw)
                                     : smbus_byte(item, item->Slave, item->Offset, raw);
    if (on_superio(item) && (system->BusType & BUS_SUPERIO) != 0)
        return isa_byte(system, item->Slave, item->Offset, raw);
    return NOT_READ;
}

int read_fan_low_high(const system_settings *system, const item_record *item, uint32_t *raw) {
    if (!on_smbus(item))
        return read_plain(system, item, raw);
    return smbus_low_high(item, item->Slave, item->Offset, raw);
}

int read_fan_w83793g(const system_settings *system, const item_record *item, uint32_t *raw) {
    if (!on_smbus(item))
        return read_plain(system, item, raw);
    return smbus_word_data_read_HL(item->BusType, SMB_BASE_IO_ADDR, item->Slave, item->Offset, raw);
}

int read_fan_nct7904d(const system_settings *system, const item_record *item, uint32_t *raw) {
    if (!on_smbus(item))
        return read_plain(system, item, raw);
    return nct7904d_fan_count(item, item->Slave, READING_BANK, item->Offset, raw);
}

int read_fan_ns87427(const system_settings *, const item_record *item, uint32_t *raw) {
    return ns87427_word(item->Offset, item->Slave, NS87427_COUNT, raw);
}

int read_fan_it8720f(const system_settings *system, const item_record *item, uint32_t *raw) {
    if (!on_superio(item))
        return NOT_READ;
    return isa_low_high(system, item->Slave, item->Offset, it8720f_high_reg(item, item->Offset), raw);
}

int read_fan_nct6776f(const system_settings *system, const item_record *item, uint32_t *raw) {
    if (!on_superio(item))
        return read_plain(system, item, raw);
    return isa_word_data_read_NCT6776F_fan(system->IndexReg, system->DataReg, item->Slave, item->Offset, raw);
}

int read_switch_superio_gpio(const system_settings *, const item_record *item, uint32_t *raw) {
    return ReadSuperGPIO(item->ChipCode, item->Slave, item->Offset, raw);
}

// One would expect a reading; the port is read and the reading fails all the same, on purpose.
int read_switch_ns87427(const system_settings *, const item_record *item, uint32_t *) {
    uint8_t ignored;
    if (is_port(item->Offset, NS87427_SWITCH))
        os_inb(static_cast<uint16_t>(item->Offset + NS87427_SWITCH), &ignored);
    return NOT_READ;
}

int read_switch_southbridge_gpio(const system_settings *, const item_record *item, uint32_t *raw) {
    return ReadSBGPIO(CHIP_GPIO_11, item->Slave, item->Offset, raw);
}

int read_switch_nct7904d(const system_settings *, const item_record *item, uint32_t *raw) {
    if (hDevice != 0 && IpmiByteRead_oem_30_90(item->Slave, READING_BANK, NCT7904D_CHASSIS, raw) == 0)
        return 0;
    machine_turn whole;
    select_nct7904d_bank(item, READING_BANK);
    return smbus_byte(item, item->Slave, NCT7904D_CHASSIS, raw);
}

// Nothing reads this switch: it is always inactive.
int read_switch_absent(const system_settings *, const item_record *, uint32_t *raw) {
    *raw = 0;
    return 0;
}

// Digital temperatures: in mode 3 a flag says that the agent's reading is not valid. The status is that of
// the mode's read, whatever became of the temperature's own; kept on purpose.
int read_temp_w83793g(const system_settings *, const item_record *item, uint32_t *raw) {
    constexpr uint32_t MODE = 0x5E;
    constexpr uint32_t FLAGS = 0xD6;
    constexpr uint32_t FIRST_AGENT = 28; // registers 28 to 31 have flag bits 4 to 7
    constexpr uint32_t LAST_AGENT = 31;
    constexpr uint32_t NO_SENSOR = 128;

    uint32_t value = 0;
    if (on_smbus(item))
        smbus_byte(item, item->Slave, item->Offset, &value);
    uint32_t mode = 0;
    if (smbus_byte(item, item->Slave, MODE, &mode) != 0)
        return NOT_READ;
    if ((mode & 3) == 3) {
        uint32_t flags = 0;
        smbus_byte(item, item->Slave, FLAGS, &flags);
        bool agent = item->Offset >= FIRST_AGENT && item->Offset <= LAST_AGENT;
        if (agent && (flags & (0x10u << (item->Offset - FIRST_AGENT))) != 0)
            value = NO_SENSOR;
    }
    *raw = value;
    return 0;
}

int read_temp_graphics_card(const system_settings *system, const item_record *item, uint32_t *raw) {
    if ((item->BusType & BUS_SMBUS_HOST) == 0)
        return read_plain(system, item, raw);
    return smbus_byte_data_read_GPU(item->BusType, SMB_BASE_IO_ADDR, item->Slave, item->Offset, raw);
}

int read_bmc_sensor(const system_settings *, const item_record *item, uint32_t *raw) {
    if (hDevice == 0)
        return NOT_READ;
    return IpmiByteRead_oem_30_95(item->Offset, raw);
}

int read_smbus_nct7904d(const system_settings *, const item_record *item, uint32_t *raw) {
    if (hDevice != 0 && IpmiByteRead_oem_30_90(item->Slave, READING_BANK, item->Offset, raw) == 0)
        return 0;
    machine_turn whole;
    select_nct7904d_bank(item, READING_BANK);
    return smbus_byte(item, item->Slave, item->Offset, raw);
}

int read_smbus_me_nct7904d(const system_settings *, const item_record *item, uint32_t *raw) {
    if (hDevice != 0 && IpmiByteRead_oem_30_93((item->Offset & 15) / 2, raw) == 0) {
        if (*raw == 255) // no processor in that socket
            *raw = 0;
        return 0;
    }
    return smbus_byte(item, item->Slave, item->Offset, raw);
}

// ---- Raw limits: the same patterns on the register that the parameter record names

int limit_plain(const system_settings *system, const item_record *item, const parameter_record *record,
                uint32_t *raw) {
    int status = NOT_READ;
    limit_reader over_smbus = chip_of(item->ChipCode)->limit_smbus;
    if (on_smbus(item))
        status = over_smbus != nullptr ? over_smbus(system, item, record, raw)
                                       : smbus_byte(item, record->Slave, record->Offset, raw);
    if (on_superio(item) && (system->BusType & BUS_SUPERIO) != 0) // replaces what the SMBus gave
        status = isa_byte(system, record->Slave, record->Offset, raw);
    return status;
}

int limit_fan_low_high(const system_settings *, const item_record *item, const parameter_record *record,
                       uint32_t *raw) {
    if (!on_smbus(item))
        return NOT_READ;
    return smbus_low_high(item, record->Slave, record->Offset, raw);
}

int limit_fan_w83793g(const system_settings *system, const item_record *item, const parameter_record *record,
                      uint32_t *raw) {
    if (!on_smbus(item))
        return limit_plain(system, item, record, raw);
    return smbus_word_data_read_HL(item->BusType, SMB_BASE_IO_ADDR, record->Slave, record->Offset, raw);
}

// One would expect a limit; the ports are read and the limit stays unreadable all the same, on purpose.
int limit_fan_ns87427(const system_settings *, const item_record *, const parameter_record *record,
                      uint32_t *) {
    uint32_t ignored;
    ns87427_word(record->Offset, record->Slave, NS87427_LIMIT, &ignored);
    return NOT_READ;
}

// Where the high byte lies is judged by the item's own register, though the record's is read; kept on
// purpose.
int limit_fan_it8720f(const system_settings *system, const item_record *item, const parameter_record *record,
                      uint32_t *raw) {
    if (!on_superio(item)) // unlike its reading, which fails then
        return limit_plain(system, item, record, raw);
    return isa_low_high(system, record->Slave, record->Offset, it8720f_high_reg(item, record->Offset), raw);
}

int limit_fan_nct6776f(const system_settings *system, const item_record *item, const parameter_record *record,
                       uint32_t *raw) {
    if (!on_superio(item))
        return limit_plain(system, item, record, raw);
    return isa_word_data_read_NCT6776F_fan(system->IndexReg, system->DataReg, record->Slave, record->Offset,
                                           raw);
}

int limit_fan_nct7904d(const system_settings *system, const item_record *item, const parameter_record *record,
                       uint32_t *raw) {
    if (!on_smbus(item))
        return limit_plain(system, item, record, raw);
    return nct7904d_fan_count(item, record->Slave, LIMIT_BANK, record->Offset, raw);
}

int limit_temp_graphics_card(const system_settings *system, const item_record *item,
                             const parameter_record *record, uint32_t *raw) {
    if ((item->BusType & BUS_SMBUS_HOST) == 0)
        return limit_plain(system, item, record, raw);
    return smbus_byte_data_read_GPU(item->BusType, SMB_BASE_IO_ADDR, record->Slave, record->Offset, raw);
}

// Bank 7 holds digital temperatures, which have no limit register: 95 degrees.
int limit_temp_bank_7(const system_settings *system, const item_record *item, const parameter_record *record,
                      uint32_t *raw) {
    if (!on_superio(item) || item->Slave != 7)
        return limit_plain(system, item, record, raw);
    *raw = 95;
    return 0;
}

int limit_temp_bmc_sensor(const system_settings *, const item_record *, const parameter_record *record,
                          uint32_t *raw) {
    if (hDevice == 0)
        return NOT_READ;
    return IpmiByteRead_oem_30_95(record->Offset, raw);
}

int limit_smbus_nct7904d(const system_settings *, const item_record *item, const parameter_record *record,
                         uint32_t *raw) {
    if (hDevice != 0 && IpmiByteRead_oem_30_90(record->Slave, LIMIT_BANK, record->Offset, raw) == 0)
        return 0;
    machine_turn whole;
    select_nct7904d_bank(item, LIMIT_BANK);
    return smbus_byte(item, record->Slave, record->Offset, raw);
}

int limit_smbus_me_nct7904d(const system_settings *, const item_record *item, const parameter_record *record,
                            uint32_t *raw) {
    if (hDevice != 0 && IpmiByteRead_oem_30_90(record->Slave, LIMIT_BANK, record->Offset, raw) == 0)
        return 0;
    return smbus_byte(item, record->Slave, record->Offset, raw);
}
