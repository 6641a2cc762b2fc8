#pragma once
// Small makers of the records that a test hands to the engine: zeroed, with the fields that decide what is
// read.

#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <string>

#include "config/settings.h"
#include "items/display.h"

// The ports are those that the recorder of the buses expects.
inline system_settings make_system(uint32_t bus_type) {
    system_settings system = {};
    system.BusType = bus_type;
    system.IndexReg = 0x295;
    system.DataReg = 0x296;
    return system;
}

// An active item without parameters; set Name, VolFunc, ParaIndex1, ... as the test needs them.
inline item_record make_item(uint32_t cat, uint32_t chip, uint32_t bus, uint32_t slave, uint32_t offset) {
    item_record item = {};
    item.Cat = cat;
    item.ChipCode = chip;
    item.BusType = bus;
    item.Slave = slave;
    item.Offset = offset;
    item.Activate = 1;
    item.Monitor = 1;
    return item;
}

inline parameter_record make_parameter(const char *name, uint32_t slave, uint32_t offset, uint32_t mask) {
    parameter_record record = {};
    snprintf(record.szKeyName, sizeof record.szKeyName, "%s", name);
    record.Slave = slave;
    record.Offset = offset;
    record.BitMask = mask;
    return record;
}

// `text` into one of a record's text fields.
template <size_t SIZE> void set_text(char (&field)[SIZE], const char *text) {
    snprintf(field, SIZE, "%s", text);
}

// The display record of a monitored item, as an earlier round left it.
inline item_display make_display(const item_record &item, int64_t value, int64_t high_limit,
                                 int64_t low_limit) {
    item_display display = {};
    snprintf(display.name, sizeof display.name, "%.39s", item.Name);
    display.cat = item.Cat;
    display.chipcode = item.ChipCode;
    display.value = value;
    display.high_limit = high_limit;
    display.low_limit = low_limit;
    display.monitor = 1;
    return display;
}

// A call as the recorder of the buses names it, without the line's end.
[[gnu::format(printf, 1, 2)]] inline std::string call_line(const char *format, ...) {
    char line[200];
    va_list arguments;
    va_start(arguments, format);
    vsnprintf(line, sizeof line, format, arguments);
    va_end(arguments);
    return line;
}
