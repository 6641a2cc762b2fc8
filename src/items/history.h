#pragma once
// The last 100 readings of each item that a chart shows, oldest first, as the charts take them: rpm, mV or
// degrees Celsius. Row n belongs to the n-th item of its category in the table, monitored or not.

constexpr unsigned HISTORY_LENGTH = 100;
constexpr unsigned MAX_FANS = 16; // rows and slots that the window has of each category
constexpr unsigned MAX_VOLTAGES = 60;
constexpr unsigned MAX_TEMPERATURES = 16;
constexpr unsigned MAX_SWITCHES = 16;

extern float vectorFan[MAX_FANS][HISTORY_LENGTH];
extern float vectorVoltage[MAX_VOLTAGES][HISTORY_LENGTH];
extern float vectorThermal[MAX_TEMPERATURES][HISTORY_LENGTH];

void clear_histories();

// Drops the oldest value and puts the new one at the end.
void vector_append(float history[HISTORY_LENGTH], float value);
