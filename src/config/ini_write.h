#pragma once
// The line-by-line rewrites of /etc/Kestrel.ini. Nothing is printed here: the caller says what happened. The
// file as it was is kept in /etc/Kestrel.ini.old; whatever fails, the previous contents are complete in one
// of the two.

#include <cstdint>

#include "config/settings.h"

enum ini_write_failure { INI_WRITTEN, INI_NOT_OPENED, INI_NOT_CLOSED };

struct ini_write_result {
    ini_write_failure failure;
    const char *path; // of the file that could not be opened or closed
};

// Writes each item's Monitor (1: TRUE, else FALSE) into the MONITOR line of its [Item] section.
ini_write_result rewrite_monitor_lines(const item_record *items, int32_t item_count);
