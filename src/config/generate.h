#pragma once
// Making /etc/Kestrel.ini for the board at a first start, from a master file that holds a section for each
// board.

#include <cstdint>

#include "config/settings.h"

// 0 when the file can be opened for reading, else 0xFFFFFFFF.
uint32_t existFile(const char *path);

// Generates the configuration of the board: 0 on success, else non-zero after a message on standard error; no
// half file is left then. A file that is there is never written over: this is for a start that found none.
// One that another copy of the program made in the meantime is as good; then, without a message,
// INI_FOUND_MADE.
constexpr uint32_t INI_FOUND_MADE = 1;
uint32_t produce_kestrel_ini(const char *product, const char *version);
