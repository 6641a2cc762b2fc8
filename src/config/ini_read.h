#pragma once
// Loading of /etc/Kestrel.ini into the records of settings.h. Each reader rewinds the stream and makes its
// own pass over the whole file, so the order of sections does not matter. Called once, at start-up.

#include <cstdint>
#include <cstdio>

#include "config/settings.h"

// Allocates and fills the three tables and returns the number of items, or 0xFFFFFFFF, out-arguments
// untouched, when the file cannot be opened or there is no memory for it.
uint32_t loadKestrelINI_and_getItemCount(system_settings **system, item_record **items,
                                         parameter_record **parameters);

void initSystemSection(system_settings *system);
uint32_t readSystemSection(FILE *stream, system_settings *system);
uint32_t get_item_count(FILE *stream);
uint32_t readItemSection(FILE *stream, item_record *items, uint32_t count);
uint32_t readParameterSection(FILE *stream, parameter_record *parameters, uint32_t capacity);

// Diagnostic dump of the tables to standard output; nothing in the normal flow calls it.
void print_conf(const system_settings *system, const item_record *items, int32_t item_count,
                const parameter_record *parameters, int32_t parameter_count);
