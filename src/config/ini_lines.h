#pragma once
// The lines of a configuration file, as every pass over it sees them: an 80-character buffer, the one
// trailing newline removed and nothing else.

#include <cstdio>

constexpr unsigned INI_LINE_SIZE = 80; // terminator included

struct ini_line {
    char text[INI_LINE_SIZE];
    unsigned length;  // bytes in `text`; NUL bytes of a damaged file count
    bool had_newline; // false for a piece of a line too long for the buffer, and for a last line without an
                      // end
};

enum ini_section { NO_SECTION, SECTION_SYSTEM, SECTION_ITEM, SECTION_PARAMETER };

// Reads the next line, or the next 79 characters of a longer one. False at the end of the file.
bool read_ini_line(FILE *stream, ini_line *line);

// The section that a line is the head of, NO_SECTION for any other line.
ini_section section_of_head(const char *text);

// Splits "KEY=value" at its first "=". False, arguments untouched, if there is no "=".
bool split_setting(const char *text, char key[INI_LINE_SIZE], const char **value);
