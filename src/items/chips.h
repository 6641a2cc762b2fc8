#pragma once
// The chip table: one row per chip code, listing only what differs from a plain chip. Numbers
// differ as data, behaviour as a small function (chip_routines.h).

#include <cstdint>

#include "config/settings.h"
#include "hw/chip_codes.h"

constexpr uint32_t ANY_COUNT = 0xFFFFFFFF; // as `valid_below`: every count is valid
constexpr uint32_t NO_COUNT = 0xFFFFFFFF;  // as `stopped_count`: no single count means a stopped fan
constexpr uint32_t NO_BANK = 0xFFFFFFFF;

// rpm = numerator / divisor / count for the counts that are valid, 0 for the others and for a count of 0.
struct fan_scale {
    uint32_t numerator = 1350000;             // the counter's clock, 22.5 kHz, × 60 s
    uint32_t valid_below = 255;               // first count that is not valid
    uint32_t stopped_count = NO_COUNT;        // one more invalid count
    bool uses_divisor = true;                 // false: the divisor is 1 and is never read
    bool linear_divisor = false;              // a divisor field f means f + 1, not 2 to the power of f
    uint32_t top_count = 1;                   // the count of the top of the scale
    uint32_t bottom_count = 255;              // the count of its bottom
    int64_t (*speed)(uint32_t raw) = nullptr; // not null: the register holds a speed, not a count
};

// Millivolts of a raw value; on false the caller's value is unchanged.
using voltage_formula = bool (*)(uint32_t raw, double *millivolts);

constexpr unsigned VOLTAGE_FUNCTIONS = 10; // the nine named ones and function 9 of chips 1 and 2

// One formula per voltage function; without a formula the raw value is the result.
struct voltage_formulas {
    voltage_formula function[VOLTAGE_FUNCTIONS] = {};
};

// A list of registers ended by NO_BANK.
using register_list = const uint32_t *;

struct bank_select {
    bool has_register = false;
    uint32_t reg = 0;
    uint32_t mask = 0; // bits of the bank field; 0: the register is never corrected
    // The registers in the item's bank, all others being in bank 0; nullptr: the chip has no wanted bank.
    register_list banked = nullptr;
    uint32_t (*wanted)(uint32_t kind, uint32_t reg) = nullptr; // instead of `banked`
    bool logged = true;                                        // corrections are reported to the system log
};

// Raw value of an item: 0 and `*raw`, or non-zero.
using item_reader = int (*)(const system_settings *system, const item_record *item, uint32_t *raw);

// Raw value of the limit that `record` describes.
using limit_reader = int (*)(const system_settings *system, const item_record *item,
                             const parameter_record *record, uint32_t *raw);

// Clears a latched switch by the register that `record` describes: 0, or the result of the access that
// failed.
using latch_clear = int (*)(const system_settings *system, item_record *item, const parameter_record *record);

struct chip {
    chip_code code;
    fan_scale fan = {};
    const voltage_formulas *volts = nullptr; // nullptr: 0 mV
    bank_select bank = {};

    // A null reader means the plain way: one byte over the SMBus or the Super I/O ports.
    item_reader read_any = nullptr; // for every category, before the readers below
    item_reader read_fan = nullptr;
    item_reader read_temp = nullptr;
    item_reader read_switch = nullptr;
    item_reader read_smbus = nullptr; // in place of the plain SMBus byte

    limit_reader limit_fan = nullptr;
    limit_reader limit_temp = nullptr;
    limit_reader limit_smbus = nullptr;

    latch_clear clear = nullptr; // null: not supported

    // Words in place of a temperature; null: the chip has no words.
    bool (*supports_text)(const system_settings *system, const item_record *item) = nullptr;
    int (*text)(const system_settings *system, const item_record *item, char *text) = nullptr;
};

// The row of a code; a code beyond the table gets a plain row.
const chip *chip_of(uint32_t code);

// For tests: all rows, CHIP_COUNT of them.
const chip *all_chips();
