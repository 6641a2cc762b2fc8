// NCT6776F (code 28), a Super I/O with a monitor behind index and data ports, in banks; and its twin (33),
// whose processor temperatures come from the management engine, by the BMC.
//
// Fan counts and their limits have 13 bits: eight at the register, five in the next. Digital processor
// temperatures are in bank 7, two registers each.
#include <iterator>

#include "chips/families.h"
#include "chips/guide_words.h"
#include "chips/plain.h"
#include "chips/registers.h"
#include "chips/winbond.h"
#include "hw/ipmi.h"

constexpr uint32_t DIGITAL_BANK = 7;
constexpr uint32_t FIRST_DIGITAL = 0x17;
constexpr uint32_t LAST_DIGITAL = 0x1E;

static int read_fan(const raw_source &from, uint32_t *raw) {
    if (!on_superio(from.item))
        return read_plain(from, raw);
    return read_port_fan_count(ports_of(from), from.reg, raw);
}

// Digital temperatures have no limit register: 95 degrees.
static int read_temp_limit(const raw_source &from, uint32_t *raw) {
    if (!on_superio(from.item) || from.item->Slave != DIGITAL_BANK)
        return read_plain(from, raw);
    *raw = 95;
    return 0;
}

// ---- Words

bool supportThermalText_NCT6776F(const system_settings *, const item_record *item) {
    return item->Slave == DIGITAL_BANK && item->Offset >= FIRST_DIGITAL && item->Offset <= LAST_DIGITAL;
}

// The digital reading: bit 7 of the high byte is a sign (below the target temperature), the nine bits after
// it are whole degrees.
static int read_peci(const system_settings *system, const item_record *item, uint32_t *high,
                     uint32_t *degrees) {
    uint32_t low = 0;
    if (read_two_registers(ports_of(reading_of(system, item)), item->Offset, item->Offset + 1, high, &low) !=
        0)
        return -1;
    *degrees = (low >> 6) + (*high & 0x7F) * 4;
    return 0;
}

// 412 = 512 - 100: the reading is a two's complement below the target temperature, which is taken as 100
// degrees.
static uint32_t below_target(uint32_t degrees) { return (degrees - 412) & 0xFF; }

static uint32_t above_target(uint32_t degrees) { return (degrees + 100) & 0xFF; }

int getThermalText_NCT6776F(const system_settings *system, const item_record *item, char *text) {
    uint32_t high = 0;
    uint32_t degrees = 0;
    if (read_peci(system, item, &high, &degrees) != 0 || high <= 127)
        return -1;
    four_words(below_target(degrees), text);
    return 0;
}

int getThermalText_ME_NCT6776F(const system_settings *system, const item_record *item, char *text) {
    uint32_t temperature = 0;
    if (bmc_owns_isa_monitor()) {
        if (IpmiByteRead_oem_30_93((item->Offset - FIRST_DIGITAL) >> 1, &temperature) != 0)
            return -1;
        four_words(temperature, text);
        return 0;
    }
    uint32_t high = 0;
    uint32_t degrees = 0;
    if (read_peci(system, item, &high, &degrees) != 0)
        return -1;
    temperature = high > 127 ? below_target(degrees) : above_target(degrees);
    four_words(temperature, text);
    return 0;
}

// ---- The rows

static constexpr uint32_t BANKED[] = {0x17, 0x19, 0x1B, 0x1D, 0x2B, 0x2C, 0x2D, 0x30, 0x32,   0x34, 0x36,
                                      0x38, 0x3A, 0x3C, 0x3E, 0x40, 0x42, 0x50, 0x51, 0x53,   0x54, 0x55,
                                      0x56, 0x57, 0x72, 0x73, 0x77, 0x78, 0x7C, 0x7D, NO_BANK};

static constexpr chip rows[] = {
    {.code = CHIP_NCT6776F,
     .fan = FAN_13_BIT,
     .volts = &VOLTS_W83627DHG_22,
     .bank = bank_at_4e(BANKED, false),
     .read_fan = read_fan,
     .limit_fan = read_fan,
     .limit_temp = read_temp_limit,
     .clear = clear_by_pulse,
     .supports_text = supportThermalText_NCT6776F,
     .text = getThermalText_NCT6776F},
    {.code = CHIP_ME_NCT6776F,
     .limit_temp = read_temp_limit,
     .supports_text = supportThermalText_NCT6776F,
     .text = getThermalText_ME_NCT6776F},
};

const chip_family nct6776f_chips = {rows, std::size(rows)};
