#include "items/cell_text.h"

#include <cstdio>

#include "hw/chip_codes.h"
#include "hw/text.h"
#include "items/convert.h"

// Divided as a double and rounded to single precision before it is printed, on purpose.
void volts_text(int64_t millivolts, char cell[CELL_SIZE]) {
    snprintf(cell, CELL_SIZE, "%.2f",
             static_cast<double>(static_cast<float>(static_cast<double>(millivolts) / 1000)));
}

void rpm_text(int64_t rpm, char cell[CELL_SIZE]) { snprintf(cell, CELL_SIZE, "%ld", static_cast<long>(rpm)); }

void temperature_text(int64_t celsius, char cell[CELL_SIZE]) {
    snprintf(cell, CELL_SIZE, "%ld/%ld", static_cast<long>(celsius), static_cast<long>(fahrenheit(celsius)));
}

void high_limit_text(const item_display *display, char cell[CELL_SIZE]) {
    cell[0] = '\0';
    switch (display->cat) {
    case CAT_VOLTAGE:
        volts_text(display->high_limit, cell);
        break;
    case CAT_TEMP:
        temperature_text(display->high_limit, cell);
        break;
    case CAT_FAN:
    case CAT_SWITCH:
        break;
    default:
        copy_text(cell, CELL_SIZE, "unknown");
    }
}

void low_limit_text(const item_display *display, char cell[CELL_SIZE]) {
    cell[0] = '\0';
    switch (display->cat) {
    case CAT_VOLTAGE:
        volts_text(display->low_limit, cell);
        break;
    case CAT_FAN:
        rpm_text(display->low_limit, cell);
        break;
    case CAT_TEMP:
    case CAT_SWITCH:
        break;
    default:
        copy_text(cell, CELL_SIZE, "unknown");
    }
}

static const char *switch_word(const item_display *display) {
    if (display->chipcode == CHIP_27)
        return display->value == SWITCH_ACTIVE ? "Overheat" : "Normal";
    switch (display->value) {
    case SWITCH_INACTIVE:
        return "Good";
    case SWITCH_ACTIVE:
        return "Bad";
    case SWITCH_NO_REFERENCE:
        return "N/A";
    default:
        return "";
    }
}

void status_text(const item_display *display, char cell[CELL_SIZE]) {
    switch (display->cat) {
    case CAT_VOLTAGE:
        volts_text(display->value, cell);
        break;
    case CAT_FAN:
        rpm_text(display->value, cell);
        break;
    case CAT_TEMP:
        if (display->thermal_text_supported != 0)
            copy_text(cell, CELL_SIZE, display->thermal_text);
        else
            temperature_text(display->value, cell);
        break;
    case CAT_SWITCH:
        copy_text(cell, CELL_SIZE, switch_word(display));
        break;
    default:
        copy_text(cell, CELL_SIZE, "unknown");
    }
}
