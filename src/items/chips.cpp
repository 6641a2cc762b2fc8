#include "items/chips.h"

#include <iterator>

#include "items/chip_routines.h"

// Fan scales that more than one chip has. The numerators are the chips' counter clocks × 60 s: 90 kHz gives
// 5400000, 22.5 kHz 1350000, 11.25 kHz 675000, 1.40625 kHz 84375.
static constexpr fan_scale FAN_16_BIT = {.numerator = 5400000, .valid_below = 65532, .uses_divisor = false};
static constexpr fan_scale FAN_13_BIT = {
    .valid_below = ANY_COUNT, .stopped_count = 8191, .uses_divisor = false, .bottom_count = 8191};

// Registers in the item's bank; every other register is in bank 0.
static constexpr uint32_t none_banked[] = {NO_BANK};
static constexpr uint32_t banked_1[] = {80, 83, 85, NO_BANK};
static constexpr uint32_t banked_10[] = {80, 81, 83, 84, 85, 86, 87, NO_BANK};                 // also 24
static constexpr uint32_t banked_12[] = {80, 81, 82, 83, 84, 85, 86, 87, 88, 89, 92, NO_BANK}; // also 15
static constexpr uint32_t banked_19[] = {80, 81, 83, 84, 85, 86, 87, 92, NO_BANK};             // also 22
static constexpr uint32_t banked_28[] = {23, 25, 27,  29,  43,  44,  45,  48,  50,     52, 54,
                                         56, 58, 60,  62,  64,  66,  80,  81,  83,     84, 85,
                                         86, 87, 114, 115, 119, 120, 124, 125, NO_BANK};

// Most chips keep the bank-select register at 0x4E, the SMBus chips W83793G and W83795ADG at 0x00.
static constexpr bank_select bank_at_4e(register_list banked, bool logged) {
    return {.has_register = true, .reg = 0x4E, .mask = 0x07, .banked = banked, .logged = logged};
}

static constexpr bank_select BANK_AT_00 = {
    .has_register = true, .reg = 0x00, .mask = 0x07, .banked = none_banked};

static constexpr chip chips[] = {
    {.code = CHIP_0, .volts = &volts_0, .clear = clear_in_register},
    {.code = CHIP_W83627HF, .volts = &volts_1, .bank = bank_at_4e(banked_1, false), .clear = clear_w83627hf},
    {.code = CHIP_2, .volts = &volts_1, .bank = bank_at_4e(none_banked, true), .clear = clear_in_register},
    {.code = CHIP_3,
     .fan = {.numerator = 5400000,
             .valid_below = 0xFF00,
             .uses_divisor = false,
             .linear_divisor = true,
             .top_count = 256,
             .bottom_count = 65280},
     .read_fan = read_fan_low_high,
     .limit_fan = limit_fan_low_high},
    {.code = CHIP_GPIO_4, .read_switch = read_switch_superio_gpio},
    {.code = CHIP_GPIO_5, .read_switch = read_switch_superio_gpio},
    {.code = CHIP_6, .fan = {.valid_below = ANY_COUNT, .uses_divisor = false, .speed = speed_chip_6}},
    {.code = CHIP_7, .volts = &volts_7, .bank = bank_at_4e(none_banked, true), .clear = clear_in_register},
    {.code = CHIP_NS87427,
     .fan = {.numerator = 5400000,
             .valid_below = 65532,
             .uses_divisor = false,
             .top_count = 256,
             .bottom_count = 65280},
     // It has a bank-select register, but no bank field that could be corrected.
     .bank = {.has_register = true, .banked = none_banked, .logged = false},
     .read_fan = read_fan_ns87427,
     .read_switch = read_switch_ns87427,
     .limit_fan = limit_fan_ns87427,
     .clear = clear_ns87427},
    {.code = CHIP_9,
     .fan = FAN_16_BIT,
     .volts = &volts_9,
     .read_fan = read_fan_low_high,
     .limit_fan = limit_fan_low_high},
    {.code = CHIP_10,
     .volts = &volts_10,
     .bank = bank_at_4e(banked_10, false),
     .clear = clear_in_configuration},
    {.code = CHIP_GPIO_11, .read_switch = read_switch_southbridge_gpio},
    {.code = CHIP_12,
     .volts = &volts_12,
     .bank = bank_at_4e(banked_12, false),
     .clear = clear_in_configuration},
    {.code = CHIP_ADM1026, .volts = &volts_13, .clear = clear_by_pulse},
    {.code = CHIP_14,
     .fan = FAN_16_BIT,
     .volts = &volts_9,
     .read_fan = read_fan_low_high,
     .limit_fan = limit_fan_low_high},
    {.code = CHIP_15, .volts = &volts_12, .bank = bank_at_4e(banked_12, false), .clear = clear_by_pulse},
    // Its fan counts take two bytes, its fan limits one.
    {.code = CHIP_16,
     .fan = {.numerator = 5400000, .valid_below = 0xFF00, .uses_divisor = false, .linear_divisor = true},
     .volts = &volts_16,
     .read_fan = read_fan_low_high},
    {.code = CHIP_W83793G,
     .fan = {.valid_below = 4095, .uses_divisor = false, .bottom_count = 4094},
     .volts = &volts_17,
     .bank = BANK_AT_00,
     .read_fan = read_fan_w83793g,
     .read_temp = read_temp_w83793g,
     .limit_fan = limit_fan_w83793g,
     .clear = clear_over_smbus,
     .supports_text = supportThermalText_W83793G,
     .text = getThermalText_W83793G},
    {.code = CHIP_18},
    {.code = CHIP_W83627DHG,
     .volts = &volts_19,
     .bank = bank_at_4e(banked_19, false),
     .clear = clear_by_pulse,
     .supports_text = supportThermalText_W83627DHG,
     .text = getThermalText_W83627DHG},
    {.code = CHIP_20},
    {.code = CHIP_21, .volts = &volts_21},
    {.code = CHIP_W83627DHG_22,
     .volts = &volts_22,
     .bank = bank_at_4e(banked_19, false),
     .clear = clear_by_pulse,
     .supports_text = supportThermalText_W83627DHG,
     .text = getThermalText_W83627DHG},
    {.code = CHIP_W83795ADG,
     .fan = {.numerator = 84375, .valid_below = ANY_COUNT, .stopped_count = 255, .uses_divisor = false},
     .volts = &volts_23,
     .bank = BANK_AT_00,
     .clear = clear_over_smbus,
     .supports_text = supportThermalText_W83795ADG,
     .text = getThermalText_W83795ADG},
    {.code = CHIP_W83627DHG_24,
     .volts = &volts_24,
     .bank = bank_at_4e(banked_10, false),
     .clear = clear_by_pulse,
     .supports_text = supportThermalText_W83627DHG,
     .text = getThermalText_W83627DHG},
    {.code = CHIP_IT8720F,
     .fan = {.numerator = 675000,
             .valid_below = ANY_COUNT,
             .stopped_count = 65535,
             .uses_divisor = false,
             .bottom_count = 65535},
     .volts = &volts_25,
     .read_fan = read_fan_it8720f,
     .limit_fan = limit_fan_it8720f,
     .clear = clear_in_register,
     .supports_text = supportThermalText_IT8720F,
     .text = getThermalText_IT8720F},
    {.code = CHIP_26, .read_temp = read_temp_graphics_card, .limit_temp = limit_temp_graphics_card},
    {.code = CHIP_27, .read_switch = read_switch_absent},
    {.code = CHIP_NCT6776F,
     .fan = FAN_13_BIT,
     .volts = &volts_22,
     .bank = bank_at_4e(banked_28, false),
     .read_fan = read_fan_nct6776f,
     .limit_fan = limit_fan_nct6776f,
     .limit_temp = limit_temp_bank_7,
     .clear = clear_by_pulse,
     .supports_text = supportThermalText_NCT6776F,
     .text = getThermalText_NCT6776F},
    {.code = CHIP_W83795ADG_29,
     .volts = &volts_23,
     .supports_text = supportThermalText_W83795ADG,
     .text = getThermalText_W83795ADG},
    {.code = CHIP_NCT7904D,
     .fan = FAN_13_BIT,
     .volts = &volts_30,
     // No bank-select register that could be corrected, yet a wanted bank.
     .bank = {.wanted = wanted_bank_nct7904d, .logged = false},
     .read_fan = read_fan_nct7904d,
     .read_switch = read_switch_nct7904d,
     .read_smbus = read_smbus_nct7904d,
     .limit_fan = limit_fan_nct7904d,
     .limit_smbus = limit_smbus_nct7904d,
     .clear = clear_nct7904d,
     .supports_text = supportThermalText_NCT7904D,
     .text = getThermalText_NCT7904D},
    {.code = CHIP_31},
    {.code = CHIP_ME_NCT7904D,
     .read_smbus = read_smbus_me_nct7904d,
     .limit_smbus = limit_smbus_me_nct7904d,
     .supports_text = supportThermalText_NCT7904D,
     .text = getThermalText_ME_NCT7904D},
    {.code = CHIP_ME_NCT6776F,
     .limit_temp = limit_temp_bank_7,
     .supports_text = supportThermalText_NCT6776F,
     .text = getThermalText_ME_NCT6776F},
    {.code = CHIP_34, .read_any = read_bmc_sensor, .limit_temp = limit_temp_bmc_sensor},
};

static constexpr chip plain_chip = {.code = CHIP_COUNT};

static constexpr bool rows_stand_at_their_codes() {
    for (uint32_t i = 0; i < std::size(chips); i++)
        if (chips[i].code != i)
            return false;
    return std::size(chips) == CHIP_COUNT;
}
static_assert(rows_stand_at_their_codes());

const chip *chip_of(uint32_t code) { return code < CHIP_COUNT ? &chips[code] : &plain_chip; }

const chip *all_chips() { return chips; }
