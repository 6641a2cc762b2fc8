#pragma once
// Text helpers without allocation, for records of fixed size. Case is ASCII case: names in the configuration
// are plain English.

#include <cstddef>

// Copies `text` into `field` of `capacity` bytes (terminator included). What does not fit is cut, never
// inside a UTF-8 character.
void copy_text(char *field, size_t capacity, const char *text);

bool equal_ignoring_case(const char *a, const char *b);
bool begins_ignoring_case(const char *text, const char *prefix);
