#pragma once
// What a chip is: the columns of its row. A row names only what differs from a plain chip; numbers differ as
// data, behaviour as a small function. The rows are last in the file of their family, chips.h finds one by
// its code.

#include <cstddef>
#include <cstdint>

#include "config/settings.h"
#include "hw/chip_codes.h"

// ---- Fans

constexpr uint32_t ANY_COUNT = 0xFFFFFFFF; // as `valid_below`: every count is valid
constexpr uint32_t NO_COUNT = 0xFFFFFFFF;  // as `stopped_count`: no single count means a stopped fan

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

// Scales that more than one family has. The numerators are the counters' clocks × 60 s: 90 kHz gives
// 5400000, 22.5 kHz 1350000, 11.25 kHz 675000, 1.40625 kHz 84375.
constexpr fan_scale FAN_16_BIT = {.numerator = 5400000, .valid_below = 65532, .uses_divisor = false};
constexpr fan_scale FAN_13_BIT = {
    .valid_below = ANY_COUNT, .stopped_count = 8191, .uses_divisor = false, .bottom_count = 8191};

// ---- Voltages

// One input, raw r to millivolts (voltages.h evaluates it):
//   r × 1000 × step × times / over + offset_mv, or with a lift (r × step - lift) × 1000 / over + offset_mv.
struct voltage_input {
    double step = 0;      // of the converter; 0: the chip has no such input, and the raw value is the result
    double times = 1;     // a second factor, in place of a divider
    double over = 1;      // the divider before the input (chips/voltages.h names them)
    double lift = 0;      // by which a negative input is lifted into the converter's range, in its own unit
    double offset_mv = 0; // added at the end
    uint32_t raw_offset = 0; // added to r first; a sum below 0 wraps
    uint32_t zero_below = 0; // an r below it is the noise of an empty socket: 0 mV
    uint32_t keep_below = 0; // an r below it leaves the caller's value as it was; kept on purpose
};

// The voltage functions of a chip; `function_9` has no name in configurations.
struct voltage_inputs {
    voltage_input p12v = {};
    voltage_input p5v = {};
    voltage_input p33v = {};
    voltage_input p25v = {};
    voltage_input vccp = {};
    voltage_input n5v = {};
    voltage_input n12v = {};
    voltage_input vbat = {};
    voltage_input p5vsb = {};
    voltage_input function_9 = {};
};

// ---- Banks

constexpr uint32_t NO_BANK = 0xFFFFFFFF;

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

constexpr uint32_t NONE_BANKED[] = {NO_BANK};

// ---- Raw values

// The register of a raw value: an item's own, or that of one of its limits.
struct raw_source {
    const system_settings *system;
    const item_record *item;
    uint32_t slave; // on the SMBus; behind ports the bank, on the NS87427 too
    uint32_t reg;
    bool is_limit;
};

raw_source reading_of(const system_settings *system, const item_record *item);
raw_source limit_of(const system_settings *system, const item_record *item, const parameter_record *record);

// 0 and `*raw`, or non-zero with `*raw` untouched unless the reader says otherwise. A reader's first line is
// what it does off its chip's bus.
using raw_reader = int (*)(const raw_source &from, uint32_t *raw);

// Clears a latched switch by the register that `record` describes: 0, or the result of the access that
// failed.
using latch_clear = int (*)(const system_settings *system, item_record *item, const parameter_record *record);

// ---- The row

struct chip {
    chip_code code;
    fan_scale fan = {};
    const voltage_inputs *volts = nullptr; // nullptr: 0 mV
    bank_select bank = {};

    // A null reader means the plain way: one byte over the SMBus or the Super I/O ports.
    raw_reader read_any = nullptr; // for every category, before the readers below
    raw_reader read_fan = nullptr;
    raw_reader read_temp = nullptr;
    raw_reader read_switch = nullptr;
    raw_reader read_smbus = nullptr; // in place of the plain SMBus byte

    raw_reader limit_fan = nullptr;
    raw_reader limit_temp = nullptr;
    raw_reader limit_smbus = nullptr;

    latch_clear clear = nullptr; // null: not supported

    // Words in place of a temperature; null: the chip has no words.
    bool (*supports_text)(const system_settings *system, const item_record *item) = nullptr;
    int (*text)(const system_settings *system, const item_record *item, char *text) = nullptr;
};

// The rows of one family's file.
struct chip_family {
    const chip *rows;
    size_t count;
};
