#pragma once
// The options of the program and its usage page.

#include <cstdint>

extern int32_t text; // 1 in text and reset mode, 0 in graphical mode

struct command_line {
    unsigned period_s; // of the text report; 0: once
    bool reset;
    const char *reset_name; // of the switch to reset
};

void usage(const char *program);

// Reads the options. Those that only print (the version, the usage page) end the program with status 0; so
// does anything that cannot be read.
command_line parse_command_line(int argc, char **argv);
