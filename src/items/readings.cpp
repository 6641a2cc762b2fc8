#include "items/readings.h"

#include <cstdio>

#include "chips/chips.h"
#include "chips/plain.h"
#include "chips/registers.h"
#include "config/name_index.h"
#include "hw/text.h"
#include "items/bank_select.h"
#include "items/convert.h"
#include "items/display.h"
#include "items/limits.h"

constexpr int READING_TRIES = 3;

// The items that are being read for one another by their references, outermost first. Each link reads the
// next up to three times, so a chain is held short; boards have one link.
constexpr int MAX_REFERENCES = 8;
static const item_record *being_read[MAX_REFERENCES];
static int being_read_count;

static bool is_being_read(const item_record *item) {
    for (int i = 0; i < being_read_count; i++)
        if (being_read[i] == item)
            return true;
    return false;
}

static raw_reader reader_of(const item_record *item) {
    const chip *row = chip_of(item->ChipCode);
    raw_reader reader = row->read_any;
    if (reader == nullptr && item->Cat == CAT_FAN)
        reader = row->read_fan;
    if (reader == nullptr && item->Cat == CAT_TEMP)
        reader = row->read_temp;
    if (reader == nullptr && item->Cat == CAT_SWITCH)
        reader = row->read_switch;
    return reader != nullptr ? reader : read_plain;
}

int read_divisor(const system_settings *system, const item_record *item, const parameter_record *parameters,
                 int32_t parameter_count, uint32_t *divisor) {
    const parameter_record *record = find_first_parameter(parameters, parameter_count, item->ParaIndex1);
    if (record == nullptr)
        return -1;
    if (!chip_of(item->ChipCode)->fan.uses_divisor) {
        *divisor = 1;
        return 0;
    }
    uint32_t raw = 0;
    int status = -1;
    raw_source from = limit_of(system, item, record);
    if (on_smbus(item))
        status = read_register(smbus_of(from), from.reg, &raw);
    if ((item->BusType & system->BusType & BUS_SUPERIO) != 0)
        status = read_register(ports_of(from), from.reg, &raw);
    if (status != 0 || !begins_ignoring_case(record->szKeyName, "DIVISOR"))
        return -1;
    return DIVISORConvert(raw, item->ChipCode, record->BitMask, divisor);
}

int get_item_divisor(const system_settings *system, const item_record *item,
                     const parameter_record *parameters, int32_t parameter_count, uint32_t *divisor) {
    if (find_first_parameter(parameters, parameter_count, item->ParaIndex1) == nullptr) {
        printf("Error: Cannot get the divisor '%s'!\n", shown_text(stdout, item->ParaIndex1).c_str());
        return -1;
    }
    return read_divisor(system, item, parameters, parameter_count, divisor);
}

uint32_t get_item_bitmask(const char *name, const parameter_record *parameters, int32_t parameter_count) {
    const parameter_record *record = find_last_parameter(parameters, parameter_count, name);
    return record == nullptr ? 0 : record->BitMask;
}

// The reading of the item that a switch refers to; 1 without a reference or when that item cannot be read.
static int64_t read_reference(const system_settings *system, const item_record *items, int32_t item_count,
                              const parameter_record *parameters, int32_t parameter_count,
                              const item_record *item) {
    int64_t reference = 1;
    if (item->RefItemId[0] == '\0')
        return reference;
    const item_record *referred = find_item_by_id(items, item_count, item->RefItemId);
    if (referred == nullptr) {
        fprintf(stderr, "Error: Unknown Ref_Item_ID '%s'.\n", shown_text(stderr, item->RefItemId).c_str());
        return 0;
    }
    get_item_reading(system, items, item_count, parameters, parameter_count, referred, &reference);
    return reference;
}

bool convert_measure(const system_settings *system, const item_record *item,
                     const parameter_record *parameters, int32_t parameter_count, uint32_t raw,
                     int64_t *value) {
    int32_t converted = static_cast<int32_t>(*value);
    uint32_t divisor = 1;
    switch (item->Cat) {
    case CAT_VOLTAGE:
        VOLTAGEConvert(item->ChipCode, item->VolFunc, raw, &converted);
        break;
    case CAT_FAN:
        if (get_item_divisor(system, item, parameters, parameter_count, &divisor) != 0)
            divisor = 1;
        FANConvert(raw, item->ChipCode, divisor, &converted);
        break;
    case CAT_TEMP:
        TEMPConvert(raw, &converted);
        break;
    default:
        return false;
    }
    *value = converted;
    return true;
}

static int64_t convert_switch(const system_settings *system, const item_record *items, int32_t item_count,
                              const parameter_record *parameters, int32_t parameter_count,
                              const item_record *item, uint32_t raw) {
    uint32_t mask = get_item_bitmask(item->ParaIndex1, parameters, parameter_count);
    int64_t reference = read_reference(system, items, item_count, parameters, parameter_count, item);
    int32_t state;
    SWITCHConvert(raw, mask, &state, item->Activate, item->ChipCode, reference);
    return state;
}

// -1, `*value` untouched, for a category that has no readings.
static int convert_reading(const system_settings *system, const item_record *items, int32_t item_count,
                           const parameter_record *parameters, int32_t parameter_count,
                           const item_record *item, uint32_t raw, int64_t *value) {
    constexpr uint32_t NO_SENSOR = 127; // as is 128, which the conversion knows
    if (item->Cat == CAT_SWITCH) {
        *value = convert_switch(system, items, item_count, parameters, parameter_count, item, raw);
        return 0;
    }
    if (!convert_measure(system, item, parameters, parameter_count, raw, value)) {
        fprintf(stderr, "Error: unknown parameter!\n");
        return -1;
    }
    if (item->Cat == CAT_TEMP && raw == NO_SENSOR)
        *value = 0;
    return 0;
}

int get_item_readingImpl(const system_settings *system, const item_record *items, int32_t item_count,
                         const parameter_record *parameters, int32_t parameter_count, const item_record *item,
                         int64_t *value) {
    bool guarded = bNeedCheckBankSelectRegister != 0 && hasBankSelectRegister(item);
    int passes = guarded ? GUARDED_PASSES : 1;
    if (guarded)
        correctBankSelectRegister(KIND_READING, MODE_BEFORE_READ, system, item, item->Offset);
    int64_t read = *value;
    int status;
    bool moved = false;
    do {
        uint32_t raw = 0;
        if (reader_of(item)(reading_of(system, item), &raw) != 0)
            return -1;
        status = convert_reading(system, items, item_count, parameters, parameter_count, item, raw, &read);
        passes--;
        if (guarded)
            moved = correctBankSelectRegister(KIND_READING, MODE_AFTER_READ, system, item, item->Offset) != 0;
    } while (moved && passes > 0);
    if (status == 0)
        *value = read;
    return status;
}

// Both limits are fetched on every pass, for every category, by the parameter names as they stand (for a fan
// the first is its divisor record): the accesses and the not-found messages are kept on purpose.
static int read_until_normal(const system_settings *system, const item_record *items, int32_t item_count,
                             const parameter_record *parameters, int32_t parameter_count,
                             const item_record *item, int64_t *value) {
    item_display judged = {};
    get_item_name(item, judged.name);
    judged.cat = get_item_cat(item);
    int64_t read = *value;
    int status = -1;
    for (int tries = 0; tries < READING_TRIES; tries++) {
        judged.high_limit = 0; // a limit that cannot be read counts as 0
        judged.low_limit = 0;
        get_item_limit(HIGH_LIMIT, system, item->ParaIndex1, item, parameters, parameter_count,
                       &judged.high_limit);
        get_item_limit(LOW_LIMIT, system, item->ParaIndex2, item, parameters, parameter_count,
                       &judged.low_limit);
        status = get_item_readingImpl(system, items, item_count, parameters, parameter_count, item, &read);
        if (status == 0)
            judged.value = read;
        if (isNormalReading(&judged))
            break;
    }
    if (status == 0) // an earlier pass's value does not count when the last one failed
        *value = read;
    return status;
}

int get_item_reading(const system_settings *system, const item_record *items, int32_t item_count,
                     const parameter_record *parameters, int32_t parameter_count, const item_record *item,
                     int64_t *value) {
    if (is_being_read(item) || being_read_count == MAX_REFERENCES)
        return -1; // a reference that comes back to itself, or a chain without end
    being_read[being_read_count++] = item;
    int status = read_until_normal(system, items, item_count, parameters, parameter_count, item, value);
    being_read_count--;
    return status;
}
