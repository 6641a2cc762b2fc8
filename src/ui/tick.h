#pragma once
// The refresh timer, and the one call from here upwards: to the refresh cycle, by a pointer that start-up
// sets.

#include <cstdint>
#include <gtk/gtk.h>

extern guint timer;   // the source id of the running timer; 0: none
extern int (*tick)(); // updateAll

// Starts the timer; a running one must have been removed. A period of 0 ticks back to back.
void start_timer(uint32_t period_s);
void restart_timer(uint32_t period_s); // nothing when none runs
