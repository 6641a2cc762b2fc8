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

// ---- Texts of the window. A temperature of 0 is "N/A" there; a switch is "Bad" when it reads 1, otherwise
// "Good".

constexpr size_t LIMIT_LINE_SIZE = 100;

void summary_text(const item_display *display, char cell[CELL_SIZE]);       // "12.10 V", "45'C / 113'F"
void chart_reading_text(const item_display *display, char cell[CELL_SIZE]); // of a fan, voltage, temperature
void chart_limit_text(const item_display *display, char line[LIMIT_LINE_SIZE]); // "Low Limit: 2000 RPM"
void list_status_text(const item_display *display, char cell[CELL_SIZE]);       // "12.10", "45/113", "Bad"
