#include "items/display.h"

#include <cstdlib>

#include "hw/chip_codes.h"
#include "hw/text.h"
#include "items/limits.h"
#include "items/readings.h"
#include "items/thermal_text.h"

item_display *allItemDisps;

void get_item_name(const item_record *item, char name[40]) {
    copy_text(name, sizeof(item_display::name), item->Name);
}

uint32_t get_item_cat(const item_record *item) { return item->Cat; }

uint32_t get_item_monitor(const item_record *item) { return item->Monitor; }

uint32_t get_item_chipcode(const item_record *item) { return item->ChipCode; }

void dumpItemDisplay(const item_display *) {}

// Whatever cannot be read stays 0.
static void fill_display(const system_settings *system, const item_record *items, int32_t item_count,
                         const parameter_record *parameters, int32_t parameter_count, const item_record *item,
                         item_display *display) {
    get_item_name(item, display->name);
    display->monitor = get_item_monitor(item);
    display->cat = get_item_cat(item);
    uint32_t divisor = 0;
    if (item->Cat == CAT_FAN && get_item_divisor(system, item, parameters, parameter_count, &divisor) == 0)
        display->divisor = divisor;
    if (item->ChipCode != CHIP_27)
        get_item_reading(system, items, item_count, parameters, parameter_count, item, &display->value);
    if (item->Cat == CAT_VOLTAGE || item->Cat == CAT_TEMP)
        get_item_limit(HIGH_LIMIT, system, item->ParaIndex1, item, parameters, parameter_count,
                       &display->high_limit);
    if (item->Cat == CAT_FAN || item->Cat == CAT_VOLTAGE)
        get_item_limit(LOW_LIMIT, system, item->ParaIndex2, item, parameters, parameter_count,
                       &display->low_limit);
    get_item_max_reading(system, item, parameters, parameter_count, &display->max_reading);
    get_item_min_reading(system, item, parameters, parameter_count, &display->min_reading);
    display->thermal_text_supported = supportThermalText(system, item);
    if (display->thermal_text_supported != 0)
        getThermalText(system, item, display->thermal_text);
    display->chipcode = get_item_chipcode(item);
    dumpItemDisplay(display);
}

item_display *createItemDisps(const system_settings *system, const item_record *items, int32_t item_count,
                              const parameter_record *parameters, int32_t parameter_count) {
    auto *displays =
        static_cast<item_display *>(calloc(static_cast<size_t>(item_count) + 1, sizeof(item_display)));
    if (displays == nullptr)
        return nullptr;
    for (int32_t i = 0; i < item_count; i++)
        fill_display(system, items, item_count, parameters, parameter_count, &items[i], &displays[i]);
    return displays;
}
