#pragma once
// Thresholds and judgement: limits from the chips' registers, the ends of a category's scale, and whether a
// reading is normal. Units as the readings'.

#include <cstdint>

#include "config/settings.h"
#include "items/display.h"

constexpr uint32_t HIGH_LIMIT = 1; // kinds of limits; KIND_READING is 0
constexpr uint32_t LOW_LIMIT = 2;

// Reads the limit that parameter `name` describes (the item's ParaIndex1 for the high, ParaIndex2 for the low
// one). 0, or -1 with `*value` as it was; a name without a record is said on standard error.
int get_item_limit(uint32_t kind, const system_settings *system, const char *name, const item_record *item,
                   const parameter_record *parameters, int32_t parameter_count, int64_t *value);

// The ends of the item's scale: the status of the conversion. An unknown category is said on standard output.
int get_item_max_reading(const system_settings *system, const item_record *item,
                         const parameter_record *parameters, int32_t parameter_count, int64_t *value);
int get_item_min_reading(const system_settings *system, const item_record *item,
                         const parameter_record *parameters, int32_t parameter_count, int64_t *value);

// 1 for normal, 0 for abnormal; a value equal to a limit is abnormal.
int isNormalReading(const item_display *display);
