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

// ---- The window

// Numbers of the pages are printed as 32 bits.
static int shown_number(int64_t value) { return static_cast<int>(value); }

// Divided in single precision, unlike the report's and the list's.
static double shown_volts(int64_t millivolts) {
    return static_cast<double>(static_cast<float>(millivolts) / 1000);
}

static void page_rpm_text(int64_t rpm, char cell[CELL_SIZE]) {
    snprintf(cell, CELL_SIZE, "%d RPM", shown_number(rpm));
}

static void page_volts_text(int64_t millivolts, char cell[CELL_SIZE]) {
    snprintf(cell, CELL_SIZE, "%.2f V", shown_volts(millivolts));
}

static void degrees_text(int64_t celsius, char cell[CELL_SIZE]) {
    snprintf(cell, CELL_SIZE, "%d'C / %d'F", shown_number(celsius), shown_number(fahrenheit(celsius)));
}

// "N/A" and the chip's words come before the degrees, which each page writes in its own way.
static void page_temperature_text(const item_display *display, char cell[CELL_SIZE],
                                  void (*write_degrees)(int64_t, char *)) {
    if (display->value == 0)
        copy_text(cell, CELL_SIZE, "N/A");
    else if (display->thermal_text_supported != 0)
        copy_text(cell, CELL_SIZE, display->thermal_text);
    else
        write_degrees(display->value, cell);
}

static const char *page_switch_word(const item_display *display) {
    return display->value == SWITCH_ACTIVE ? "Bad" : "Good";
}

void chart_reading_text(const item_display *display, char cell[CELL_SIZE]) {
    switch (display->cat) {
    case CAT_FAN:
        page_rpm_text(display->value, cell);
        break;
    case CAT_VOLTAGE:
        page_volts_text(display->value, cell);
        break;
    default:
        page_temperature_text(display, cell, degrees_text);
    }
}

// The Summary page writes a voltage of 0 as "0", the chart page as "0.00 V": kept on purpose.
void summary_text(const item_display *display, char cell[CELL_SIZE]) {
    if (display->cat == CAT_SWITCH)
        copy_text(cell, CELL_SIZE, page_switch_word(display));
    else if (display->cat == CAT_VOLTAGE && display->value == 0)
        copy_text(cell, CELL_SIZE, "0");
    else
        chart_reading_text(display, cell);
}

// Fans show only their low limit, temperatures only their high one: kept on purpose.
void chart_limit_text(const item_display *display, char line[LIMIT_LINE_SIZE]) {
    switch (display->cat) {
    case CAT_FAN:
        snprintf(line, LIMIT_LINE_SIZE, "Low Limit: %d RPM", shown_number(display->low_limit));
        break;
    case CAT_VOLTAGE:
        snprintf(line, LIMIT_LINE_SIZE, "High Limit: %.2f V    Low Limit: %.2f V",
                 shown_volts(display->high_limit), shown_volts(display->low_limit));
        break;
    default:
        snprintf(line, LIMIT_LINE_SIZE, "High Limit: %d'C / %d'F", shown_number(display->high_limit),
                 shown_number(fahrenheit(display->high_limit)));
    }
}

void list_status_text(const item_display *display, char cell[CELL_SIZE]) {
    switch (display->cat) {
    case CAT_TEMP:
        page_temperature_text(display, cell, temperature_text);
        break;
    case CAT_SWITCH:
        copy_text(cell, CELL_SIZE, page_switch_word(display));
        break;
    default:
        status_text(display, cell);
    }
}
