#pragma once
// Look-up of parameter records and items by their names (case ignored). A name that is empty names nothing: a
// key that was not given matches no record, least of all the unused ones at the end of the table.

#include "config/settings.h"

// The first, or the last, parameter of that name; nullptr when there is none.
const parameter_record *find_first_parameter(const parameter_record *parameters, int32_t count,
                                             const char *name);
const parameter_record *find_last_parameter(const parameter_record *parameters, int32_t count,
                                            const char *name);

// The first item whose ItemId is `id`; nullptr when there is none.
const item_record *find_item_by_id(const item_record *items, int32_t count, const char *id);

// Indexes the tables of the loaded configuration, so that a look-up in them does not walk the table. Their
// names must not change afterwards. Tables that were not indexed are searched in order. False, and nothing is
// indexed any more, when there is no memory for it.
bool index_names(const item_record *items, int32_t item_count, const parameter_record *parameters,
                 int32_t parameter_count);
