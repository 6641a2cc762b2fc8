#pragma once
// The texts of values and limits, as the report and the pages show them.

#include <cstddef>
#include <cstdint>

#include "items/display.h"

constexpr size_t CELL_SIZE = 50; // terminator included

void volts_text(int64_t millivolts, char cell[CELL_SIZE]);               // "12.10"
void rpm_text(int64_t rpm, char cell[CELL_SIZE]);                        // "5400"
void temperature_text(int64_t celsius, char cell[CELL_SIZE]);            // "45/113", Celsius and Fahrenheit
void high_limit_text(const item_display *display, char cell[CELL_SIZE]); // empty for fans and switches
void low_limit_text(const item_display *display, char cell[CELL_SIZE]); // empty for temperatures and switches

// The value of a good reading: a number, a word or a switch's state.
void status_text(const item_display *display, char cell[CELL_SIZE]);
