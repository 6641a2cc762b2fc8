#include "items/history.h"

#include <algorithm>
#include <cstring>

float vectorFan[MAX_FANS][HISTORY_LENGTH];
float vectorVoltage[MAX_VOLTAGES][HISTORY_LENGTH];
float vectorThermal[MAX_TEMPERATURES][HISTORY_LENGTH];

void clear_histories() {
    memset(vectorFan, 0, sizeof vectorFan);
    memset(vectorVoltage, 0, sizeof vectorVoltage);
    memset(vectorThermal, 0, sizeof vectorThermal);
}

void vector_append(float history[HISTORY_LENGTH], float value) {
    std::move(history + 1, history + HISTORY_LENGTH, history);
    history[HISTORY_LENGTH - 1] = value;
}
