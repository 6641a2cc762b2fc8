#include "items/report.h"

#include <cstdio>
#include <cstring>
#include <ctime>
#include <string>

#include "hw/os.h"
#include "hw/text.h"
#include "items/cell_text.h"
#include "items/limits.h"
#include "items/readings.h"
#include "items/thermal_text.h"

void headline() {
    printf("Kestrel II hardware-health monitor\n");
    printf("Kestrel II watches Brigantine server boards\n");
}

static bool is_known_category(uint32_t cat) { return cat <= CAT_SWITCH; }

static void print_row(const item_display *display, bool valid) {
    char high[CELL_SIZE];
    char low[CELL_SIZE];
    char status[CELL_SIZE];
    high_limit_text(display, high);
    low_limit_text(display, low);
    if (valid || !is_known_category(display->cat))
        status_text(display, status);
    else
        copy_text(status, sizeof status, "N/A");
    bool normal = valid && isNormalReading(display);
    std::string name = shown_text(stdout, display->name);
    printf("%-25s %10s %10s %10s %10s\n", name.c_str(), high, low, status, normal ? "        " : "Warning!");
}

// A reading that fails leaves the record unchanged: the pages keep showing the last good value.
static bool refresh_display(item_display *display, const system_settings *system, const item_record *items,
                            int32_t item_count, const parameter_record *parameters, int32_t parameter_count,
                            const item_record *item) {
    if (get_item_reading(system, items, item_count, parameters, parameter_count, item, &display->value) != 0)
        return false;
    if (display->cat == CAT_TEMP && display->thermal_text_supported != 0) {
        char word[sizeof display->thermal_text];
        copy_text(word, sizeof word, display->thermal_text);
        if (getThermalText(system, item, word) == 0)
            copy_text(display->thermal_text, sizeof display->thermal_text, word);
    }
    return true;
}

static int print_time() {
    time_t now = os_time();
    char text[64];
    if (ctime_r(&now, text) == nullptr) // a clock beyond the year 9999
        strcpy(text, "?\n");
    return printf("--------------------------------------------- %s", text);
}

int text_build_Items(item_display *displays, const system_settings *system, const item_record *items,
                     int32_t item_count, const parameter_record *parameters, int32_t parameter_count) {
    printf("%-25s %10s %10s %10s \n", "Monitored Item", "High Limit", "Low Limit", "Status");
    printf("----------------------------------------------------------------------\n");
    for (int32_t i = 0; i < item_count; i++) {
        if (displays[i].monitor != 1)
            continue;
        bool valid =
            refresh_display(&displays[i], system, items, item_count, parameters, parameter_count, &items[i]);
        print_row(&displays[i], valid);
    }
    return print_time();
}
