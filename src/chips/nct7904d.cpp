// NCT7904D (code 30), on the SMBus or behind a BMC that reads its registers with their bank; and its twin
// (32), whose processor temperatures come from the management engine, by the BMC.
//
// The bank is selected by register 0xFF: readings are in bank 0, limits in bank 1. It is not put back.
#include <iterator>

#include "chips/families.h"
#include "chips/guide_words.h"
#include "chips/plain.h"
#include "chips/registers.h"
#include "chips/voltages.h"
#include "hw/ipmi.h"
#include "hw/machine_turn.h"

constexpr int FAILED = -1;
constexpr uint32_t BANK_SELECT = 0xFF;
constexpr uint32_t READING_BANK = 0;
constexpr uint32_t LIMIT_BANK = 1;
constexpr uint32_t CHASSIS = 0xCA; // status with the case-open bit; reading it clears what was latched
constexpr uint32_t CLEAR = 0xD4;
constexpr uint32_t CLEAR_BIT = 0x80;
constexpr uint32_t FIRST_DIGITAL = 0xA0; // processor temperatures, at even registers
constexpr uint32_t LAST_DIGITAL = 0xAE;

static uint32_t bank_of(const raw_source &from) { return from.is_limit ? LIMIT_BANK : READING_BANK; }

// At the item's own slave, though a limit's is read then.
static void select_bank(const raw_source &from) {
    write_register(smbus_of(reading_of(from.system, from.item)), BANK_SELECT, bank_of(from));
}

// ---- Raw values: by the BMC, else over the SMBus

static int read_bmc_count(const raw_source &from, uint32_t *raw) {
    uint32_t high = 0;
    uint32_t low = 0;
    int status = IpmiByteRead_oem_30_90(from.slave, bank_of(from), from.reg, &high);
    status |= IpmiByteRead_oem_30_90(from.slave, bank_of(from), from.reg + 1, &low);
    if (status != 0)
        return FAILED;
    *raw = count_13_bit(high, low);
    return 0;
}

static int read_fan(const raw_source &from, uint32_t *raw) {
    if (!on_smbus(from.item))
        return read_plain(from, raw);
    if (hDevice != 0 && read_bmc_count(from, raw) == 0)
        return 0;
    uint32_t high = 0;
    uint32_t low = 0;
    machine_turn whole;
    select_bank(from);
    if (read_two_registers(smbus_of(from), from.reg, from.reg + 1, &high, &low) != 0)
        return FAILED;
    *raw = count_13_bit(high, low);
    return 0;
}

static int read_byte(const raw_source &from, uint32_t reg, uint32_t *raw) {
    if (hDevice != 0 && IpmiByteRead_oem_30_90(from.slave, bank_of(from), reg, raw) == 0)
        return 0;
    machine_turn whole;
    select_bank(from);
    return read_register(smbus_of(from), reg, raw);
}

static int read_switch(const raw_source &from, uint32_t *raw) { return read_byte(from, CHASSIS, raw); }

static int read_smbus(const raw_source &from, uint32_t *raw) { return read_byte(from, from.reg, raw); }

// The twin has no banks of its own to select.
static int read_twin(const raw_source &from, uint32_t *raw) {
    if (hDevice != 0 && IpmiByteRead_oem_30_93((from.reg & 0x0F) / 2, raw) == 0) {
        if (*raw == 0xFF) // no processor in that socket
            *raw = 0;
        return 0;
    }
    return read_register(smbus_of(from), from.reg, raw);
}

static int read_twin_limit(const raw_source &from, uint32_t *raw) {
    if (hDevice != 0 && IpmiByteRead_oem_30_90(from.slave, LIMIT_BANK, from.reg, raw) == 0)
        return 0;
    return read_register(smbus_of(from), from.reg, raw);
}

static uint32_t wanted_bank(uint32_t kind, uint32_t reg) {
    if (reg == CHASSIS || reg == CLEAR)
        return READING_BANK;
    switch (kind) {
    case 0: // reading
        return READING_BANK;
    case 1: // high limit
    case 2: // low limit
        return LIMIT_BANK;
    default:
        return NO_BANK;
    }
}

// ---- The clear

// True when the BMC carried the clear.
static bool clear_by_bmc(const item_record *item) {
    uint32_t value = 0;
    if (hDevice == 0 || IpmiByteRead_oem_30_90(item->Slave, READING_BANK, CLEAR, &value) != 0)
        return false;
    IpmiByteWrite_oem_30_91(item->Slave, READING_BANK, CLEAR, value | CLEAR_BIT);
    uint32_t ignored;
    IpmiByteRead_oem_30_90(item->Slave, READING_BANK, CHASSIS, &ignored);
    IpmiByteRead_oem_30_90(item->Slave, READING_BANK, CHASSIS, &ignored);
    return true;
}

// Both reads of the status clear what the chip latched; the result is the last one's. What could not be read
// is not written back.
static int clear(const system_settings *system, item_record *item, const parameter_record *) {
    machine_turn whole;
    if (clear_by_bmc(item))
        return 0;
    chip_bus smbus = smbus_of(reading_of(system, item));
    int status = write_register(smbus, BANK_SELECT, READING_BANK);
    if (status == 0)
        status = set_bits(smbus, CLEAR, CLEAR_BIT);
    if (status != 0)
        return status;
    uint32_t ignored;
    read_register(smbus, CHASSIS, &ignored);
    return read_register(smbus, CHASSIS, &ignored);
}

// ---- Words

bool supportThermalText_NCT7904D(const system_settings *, const item_record *item) {
    return item->Offset >= FIRST_DIGITAL && item->Offset <= LAST_DIGITAL && item->Offset % 2 == 0;
}

int getThermalText_NCT7904D(const system_settings *system, const item_record *item, char *text) {
    chip_bus smbus = smbus_of(reading_of(system, item));
    uint32_t temperature = 0;
    machine_turn whole;
    int status = write_register(smbus, BANK_SELECT, READING_BANK);
    status |= read_register(smbus, item->Offset, &temperature);
    if (status != 0)
        return FAILED;
    three_words(temperature, text);
    return 0;
}

// The bank is selected first in every case, also when the BMC answers; kept on purpose.
int getThermalText_ME_NCT7904D(const system_settings *system, const item_record *item, char *text) {
    chip_bus smbus = smbus_of(reading_of(system, item));
    uint32_t temperature = 0;
    machine_turn whole;
    int status = write_register(smbus, BANK_SELECT, READING_BANK);
    if (hDevice != 0) {
        status = IpmiByteRead_oem_30_93((item->Offset & 0x0F) >> 1, &temperature);
        if (temperature == 0xFF) // no processor in that socket
            temperature = 0;
    } else {
        status |= read_register(smbus, item->Offset, &temperature);
    }
    if (status != 0)
        return FAILED;
    three_words(temperature, text);
    return 0;
}

// ---- The rows

static constexpr voltage_inputs VOLTS = {
    .p12v = {.step = 0.016, .over = DIV_56K2_10},
    .p5v = {.step = 0.016, .times = 4},
    .p33v = {.step = 0.048},
    .vccp = {.step = 0.016, .zero_below = 17},
    .n12v = N12V_OF_16_MV,
};

static constexpr chip rows[] = {
    {.code = CHIP_NCT7904D,
     .fan = FAN_13_BIT,
     .volts = &VOLTS,
     // No bank-select register that could be corrected, yet a wanted bank.
     .bank = {.wanted = wanted_bank, .logged = false},
     .read_fan = read_fan,
     .read_switch = read_switch,
     .read_smbus = read_smbus,
     .limit_fan = read_fan,
     .limit_smbus = read_smbus,
     .clear = clear,
     .supports_text = supportThermalText_NCT7904D,
     .text = getThermalText_NCT7904D},
    {.code = CHIP_ME_NCT7904D,
     .read_smbus = read_twin,
     .limit_smbus = read_twin_limit,
     .supports_text = supportThermalText_NCT7904D,
     .text = getThermalText_ME_NCT7904D},
};

const chip_family nct7904d_chips = {rows, std::size(rows)};
