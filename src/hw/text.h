#pragma once
// Text helpers for records of fixed size, and for printing them. Case is ASCII case: names in the
// configuration are plain English.

#include <cstddef>
#include <cstdio>
#include <string>

// Copies `text` into `field` of `capacity` bytes (terminator included). What does not fit is cut, never
// inside a UTF-8 character.
void copy_text(char *field, size_t capacity, const char *text);

bool equal_ignoring_case(const char *a, const char *b);
bool begins_ignoring_case(const char *text, const char *prefix);

// `text`, which comes from a file or another user, as it is printed to `stream`. A terminal would obey what
// is in it: there each control character (a line end excepted), each character that turns the direction of
// writing and each byte that is not UTF-8 is "?". Into a pipe or a file it goes byte for byte.
std::string shown_text(FILE *stream, const char *text);
