#pragma once
// One item of the table to one number: rpm, millivolts, degrees Celsius or a switch state.

#include <cstdint>

#include "config/settings.h"

// Reads an item, up to three times while the value looks abnormal. 0, or -1 with `*value` as it was; the
// voltage formulas of chips 9 and 14 may leave it as it was after a good reading too, so it holds the
// previous one.
int get_item_reading(const system_settings *system, const item_record *items, int32_t item_count,
                     const parameter_record *parameters, int32_t parameter_count, const item_record *item,
                     int64_t *value);

// The same once, whatever the value.
int get_item_readingImpl(const system_settings *system, const item_record *items, int32_t item_count,
                         const parameter_record *parameters, int32_t parameter_count, const item_record *item,
                         int64_t *value);

// The divisor of a fan by the record that its ParaIndex1 names; -1 when there is no such record (said on
// standard output) or it cannot be read.
int get_item_divisor(const system_settings *system, const item_record *item,
                     const parameter_record *parameters, int32_t parameter_count, uint32_t *divisor);

// The same without a word.
int read_divisor(const system_settings *system, const item_record *item, const parameter_record *parameters,
                 int32_t parameter_count, uint32_t *divisor);

// A raw value or limit of a fan, a voltage or a temperature in its unit; false, `*value` untouched, for other
// categories.
bool convert_measure(const system_settings *system, const item_record *item,
                     const parameter_record *parameters, int32_t parameter_count, uint32_t raw,
                     int64_t *value);

// The BitMask of the last parameter of that name, 0 when there is none.
uint32_t get_item_bitmask(const char *name, const parameter_record *parameters, int32_t parameter_count);
