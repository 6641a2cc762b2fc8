#pragma once
// The item display record: what the pages, the report and the alerts show of an item. One record per item, in
// item-table order; the limits are read when it is built, the value at every reading.

#include <cstdint>

#include "config/settings.h"

struct item_display {
    char name[40];
    uint32_t cat; // item_category
    uint32_t chipcode;
    int64_t value; // rpm, mV, degrees Celsius or switch state
    int64_t high_limit;
    int64_t low_limit;
    int64_t max_reading; // ends of the scale
    int64_t min_reading;
    int64_t divisor; // of a fan
    uint32_t monitor;
    uint32_t thermal_text_supported; // not 0: the word replaces the temperature
    char thermal_text[10];
};

extern item_display *allItemDisps;

void get_item_name(const item_record *item, char name[40]); // cut on a whole UTF-8 character
uint32_t get_item_cat(const item_record *item);
uint32_t get_item_monitor(const item_record *item);
uint32_t get_item_chipcode(const item_record *item);

// A new array of records, each item read once with its limits; never freed in a run. nullptr if there is no
// memory.
item_display *createItemDisps(const system_settings *system, const item_record *items, int32_t item_count,
                              const parameter_record *parameters, int32_t parameter_count);

// A diagnostic hook, called for every record that is built; it does nothing.
void dumpItemDisplay(const item_display *display);
