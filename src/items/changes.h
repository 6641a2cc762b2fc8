#pragma once
// Which monitored items changed between normal and abnormal since the last look, as the text of an alert.

#include <cstddef>
#include <cstdint>
#include <ctime>
#include <string>

#include "items/display.h"

enum change_result { NOTHING_CHANGED, STATES_CHANGED, TOO_MANY_ITEMS };

// Compares every monitored item with its state at the last call; before the first one all are normal, and so
// is an item that is not monitored. After STATES_CHANGED `*text` has a line for each change, however many,
// then that of the time; otherwise it is untouched. TOO_MANY_ITEMS: `*category` has more items than states
// are kept of; the states of those before it are up to date, nothing is to be reported.
change_result note_changes(const item_display *displays, int32_t count, time_t now, std::string *text,
                           uint32_t *category);

// "at Mon Nov 16 03:05:35 2026\n", local time.
constexpr size_t TIME_LINE_SIZE = 40;
void time_line(time_t now, char line[TIME_LINE_SIZE]);
