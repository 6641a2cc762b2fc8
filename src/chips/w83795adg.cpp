// W83795ADG, on the SMBus (code 23) or behind a BMC that reads it by commands of its own (29). The bank is in
// the low three bits of register 0x00.
#include <iterator>

#include "chips/families.h"
#include "chips/guide_words.h"
#include "chips/plain.h"
#include "chips/registers.h"
#include "chips/voltages.h"
#include "hw/machine_turn.h"

constexpr uint32_t BANK_SELECT = 0x00;
constexpr uint32_t BANK_KEPT_BITS = 0xF8;
constexpr uint32_t FIRST_AGENT = 0x26; // temperatures of the processors
constexpr uint32_t LAST_AGENT = 0x2D;
constexpr uint32_t LIMIT_HIGH = 0xB2;
constexpr uint32_t LIMIT_MIDDLE = 0xB3;
constexpr uint32_t MARGIN = 0xDF;

bool supportThermalText_W83795ADG(const system_settings *, const item_record *item) {
    return item->Offset >= FIRST_AGENT && item->Offset <= LAST_AGENT;
}

int getThermalText_W83795ADG(const system_settings *system, const item_record *item, char *text) {
    chip_bus smbus = smbus_of(reading_of(system, item));
    uint32_t saved;
    machine_turn whole;
    if (read_register(smbus, BANK_SELECT, &saved) != 0)
        return -1;
    guide_values values = {};
    int status = write_register(smbus, BANK_SELECT, saved & BANK_KEPT_BITS);
    status |= read_register(smbus, LIMIT_HIGH, &values.high);
    status |= read_register(smbus, LIMIT_MIDDLE, &values.middle);
    status |= read_register(smbus, MARGIN, &values.margin);
    status |= read_register(smbus, item->Offset, &values.temperature);
    int last = write_register(smbus, BANK_SELECT, saved);
    if (status != 0)
        return -1;
    guide_word(system, &values, text);
    return last;
}

static constexpr voltage_inputs VOLTS = {
    .p12v = {.step = 0.008, .over = DIV_56K2_10},
    .p5v = {.step = 0.008, .times = 4},
    .p33v = {.step = 0.024, .zero_below = 25},
    .p25v = {.step = 0.008, .over = DIV_110_10},
    .vccp = {.step = 0.008, .zero_below = 49},
    .n12v = N12V_OF_8_MV,
    .vbat = {.step = 0.008, .over = DIV_43K2_12K1},
    .p5vsb = {.step = 0.008, .over = DIV_40K2_10},
};

static constexpr chip rows[] = {
    {.code = CHIP_W83795ADG,
     .fan = {.numerator = 84375, .valid_below = ANY_COUNT, .stopped_count = 255, .uses_divisor = false},
     .volts = &VOLTS,
     .bank = {.has_register = true, .reg = BANK_SELECT, .mask = 0x07, .banked = NONE_BANKED},
     .clear = clear_over_smbus,
     .supports_text = supportThermalText_W83795ADG,
     .text = getThermalText_W83795ADG},
    {.code = CHIP_W83795ADG_29,
     .volts = &VOLTS,
     .supports_text = supportThermalText_W83795ADG,
     .text = getThermalText_W83795ADG},
};

const chip_family w83795adg_chips = {rows, std::size(rows)};
