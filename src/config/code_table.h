#pragma once
// The names that the configuration file uses for numbers, and their codes. Codes repeat between groups on
// purpose: a name's group is known from the key whose value it is.

#include <cstdint>

constexpr uint32_t NO_CODE = 0xFFFFFFFF;

// The code of `name` (case ignored, first match wins); for an unknown name NO_CODE, after a line on standard
// error.
uint32_t str2code(const char *name);
