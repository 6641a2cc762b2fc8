#pragma once
// Small makers of monitored display records, as a round of readings leaves them.

#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "items/display.h"

using display_list = std::vector<item_display>;

inline item_display shown_item(uint32_t cat, const std::string &name, int64_t value, int64_t high_limit,
                               int64_t low_limit) {
    item_display display = {};
    snprintf(display.name, sizeof display.name, "%s", name.c_str());
    display.cat = cat;
    display.value = value;
    display.high_limit = high_limit;
    display.low_limit = low_limit;
    display.monitor = 1;
    return display;
}

// Normal above 500 rpm.
inline item_display fan(const std::string &name, int64_t rpm) {
    return shown_item(CAT_FAN, name, rpm, 0, 500);
}

// Normal between -20 V and 20 V.
inline item_display voltage(const std::string &name, int64_t mv) {
    return shown_item(CAT_VOLTAGE, name, mv, 20000, -20000);
}

// Normal below 70 degrees.
inline item_display temperature(const std::string &name, int64_t celsius) {
    return shown_item(CAT_TEMP, name, celsius, 70, 0);
}

inline item_display status(const std::string &name, int64_t value) {
    return shown_item(CAT_SWITCH, name, value, 0, 0);
}

inline item_display unmonitored(item_display display) {
    display.monitor = 0;
    return display;
}

// A temperature whose chip has words for it.
inline item_display worded(item_display display, const char *word) {
    display.thermal_text_supported = 1;
    snprintf(display.thermal_text, sizeof display.thermal_text, "%s", word);
    return display;
}

// `count` items: NAME 0, NAME 1, ... whose values grow by one from `value`.
inline display_list run_of(item_display (*make)(const std::string &name, int64_t value), const char *name,
                           unsigned count, int64_t value) {
    display_list list;
    for (unsigned i = 0; i < count; i++)
        list.push_back(make(name + (" " + std::to_string(i)), value + i));
    return list;
}

inline display_list joined(const std::vector<display_list> &lists) {
    display_list all;
    for (const display_list &list : lists)
        all.insert(all.end(), list.begin(), list.end());
    return all;
}
