#pragma once
// The line-by-line rewrites of /etc/Kestrel.ini. Nothing is printed here: the caller says what happened. The
// file as it was is kept in /etc/Kestrel.ini.old; whatever fails, and wherever the process is killed,
// /etc/Kestrel.ini is the previous file or the whole new one. That has the mode, the owner and the group of
// the previous one.

#include <cstdint>

#include "config/settings.h"

enum ini_write_failure { INI_WRITTEN, INI_NOT_OPENED, INI_NOT_CLOSED };

struct ini_write_result {
    ini_write_failure failure;
    const char *path; // of the file that could not be opened or closed
};

// What the Save button of the Items page writes: the interval, and which items are monitored. The n-th
// MONITOR line belongs to item n.
ini_write_result rewrite_items_page(const system_settings *system, const item_record *items,
                                    int32_t item_count);

// What the Save button of the Alert page writes: the settings of mail and pager. A key that the file lacks is
// not added.
ini_write_result rewrite_alert_page(const system_settings *system);

// Writes each item's Monitor (1: TRUE, else FALSE) into the MONITOR line of its [Item] section.
ini_write_result rewrite_monitor_lines(const item_record *items, int32_t item_count);
