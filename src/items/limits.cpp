#include "items/limits.h"

#include <cstdio>

#include "chips/chips.h"
#include "chips/plain.h"
#include "config/name_index.h"
#include "hw/text.h"
#include "items/bank_select.h"
#include "items/convert.h"
#include "items/readings.h"

static raw_reader reader_of_limit(const item_record *item) {
    const chip *row = chip_of(item->ChipCode);
    raw_reader reader = nullptr;
    if (item->Cat == CAT_FAN)
        reader = row->limit_fan;
    if (item->Cat == CAT_TEMP)
        reader = row->limit_temp;
    return reader != nullptr ? reader : read_plain;
}

// The bank is judged by the first record of the table, not by the one that is read; kept on purpose.
static uint32_t register_to_guard(const parameter_record *parameters, int32_t parameter_count) {
    return parameter_count > 0 ? parameters[0].Offset : NOT_GIVEN;
}

int get_item_limit(uint32_t kind, const system_settings *system, const char *name, const item_record *item,
                   const parameter_record *parameters, int32_t parameter_count, int64_t *value) {
    bool guarded = bNeedCheckBankSelectRegister != 0 && hasBankSelectRegister(item);
    int passes = guarded ? GUARDED_PASSES : 1;
    uint32_t guarded_reg = register_to_guard(parameters, parameter_count);
    if (guarded)
        correctBankSelectRegister(kind, MODE_BEFORE_READ, system, item, guarded_reg);
    const parameter_record *record = find_first_parameter(parameters, parameter_count, name);
    if (record == nullptr) {
        fprintf(stderr, "Error: Parameter is not found.\n");
        return -1;
    }
    int64_t limit = *value; // of the last pass; what an earlier one gave does not count when that fails
    bool moved = false;
    do {
        uint32_t raw = 0;
        if (reader_of_limit(item)(limit_of(system, item, record), &raw) != 0)
            return -1;
        bool converted = convert_measure(system, item, parameters, parameter_count, raw, &limit);
        if (!converted && item->Cat != CAT_SWITCH) // a switch has no limit
            fprintf(stderr, "Error: wrong parameter!\n");
        passes--;
        if (guarded)
            moved = correctBankSelectRegister(kind, MODE_AFTER_READ, system, item, guarded_reg) != 0;
    } while (moved && passes > 0);
    *value = limit;
    return 0;
}

int get_item_max_reading(const system_settings *system, const item_record *item,
                         const parameter_record *parameters, int32_t parameter_count, int64_t *value) {
    int status = 0;
    int32_t top = 0;
    uint32_t divisor = 1;
    switch (item->Cat) {
    case CAT_VOLTAGE:
        status = VOLTAGEConvert(item->ChipCode, item->VolFunc, 255, &top);
        break;
    case CAT_FAN:
        if (read_divisor(system, item, parameters, parameter_count, &divisor) != 0)
            divisor = 1;
        status = FANConvert(chip_of(item->ChipCode)->fan.top_count, item->ChipCode, divisor, &top);
        break;
    case CAT_TEMP:
        status = TEMPConvert(127, &top);
        break;
    case CAT_SWITCH:
        top = 1;
        break;
    default:
        printf("Error: Unknown Cat '%d'!\n", static_cast<int>(item->Cat));
        return -1;
    }
    *value = top;
    return status;
}

int get_item_min_reading(const system_settings *, const item_record *item, const parameter_record *, int32_t,
                         int64_t *value) {
    int status = 0;
    int32_t bottom = 0;
    switch (item->Cat) {
    case CAT_VOLTAGE:
        status = VOLTAGEConvert(item->ChipCode, item->VolFunc, 0, &bottom);
        break;
    case CAT_FAN:
        // One would expect the speed of the largest count; it is converted and then overwritten by 0, on
        // purpose.
        status = FANConvert(chip_of(item->ChipCode)->fan.bottom_count, item->ChipCode, 1, &bottom);
        bottom = 0;
        break;
    case CAT_TEMP:
        status = TEMPConvert(129, &bottom); // -127: 128 means no sensor
        break;
    case CAT_SWITCH:
        break;
    default:
        printf("Error: unknown Cat '%d'!\n", static_cast<int>(item->Cat)); // the small "u" is kept on purpose
        return -1;
    }
    *value = bottom;
    return status;
}

int isNormalReading(const item_display *display) {
    int32_t value = static_cast<int32_t>(display->value);
    int32_t high = static_cast<int32_t>(display->high_limit);
    int32_t low = static_cast<int32_t>(display->low_limit);
    switch (display->cat) {
    case CAT_FAN:
        return value > low;
    case CAT_VOLTAGE:
        return value < high && value > low;
    case CAT_TEMP:
        if (display->thermal_text_supported != 0 && equal_ignoring_case(display->thermal_text, "Overheat"))
            return 0;
        return value < high;
    case CAT_SWITCH:
        return value < SWITCH_ACTIVE; // states 1 and 2 are abnormal
    default:
        return 0;
    }
}
