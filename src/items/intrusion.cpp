#include "items/intrusion.h"

#include <cstdio>

#include "chips/chips.h"
#include "chips/ns87427.h"
#include "chips/registers.h"
#include "config/name_index.h"
#include "hw/text.h"
#include "items/readings.h"

constexpr int FAILED = -1;

static int clear_latch(const system_settings *system, item_record *item, const parameter_record *record) {
    latch_clear clear = chip_of(item->ChipCode)->clear;
    if (clear == nullptr) {
        fprintf(stderr, "Warning: Non-supported chipset \"%s\".\n", shown_text(stderr, item->Name).c_str());
        return FAILED;
    }
    return clear(system, item, record);
}

// ---- The switch itself, read again so that what it latched is gone

// `result` as it is, or that of the read where it counts.
static int reread_switch(const system_settings *system, const item_record *item, int result) {
    uint32_t ignored = 0;
    raw_source from = reading_of(system, item);
    if (item->ChipCode == CHIP_NS87427) {
        reread_ns87427(item);
    } else if (on_smbus(item)) {
        read_register(smbus_of(from), item->Offset, &ignored);
        read_register(smbus_of(from), item->Offset, &ignored);
    } else if (on_superio(item)) {
        result = read_register(ports_of(from), item->Offset, &ignored);
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
