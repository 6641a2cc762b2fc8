#include "items/thermal_text.h"

#include "chips/chips.h"

uint32_t supportThermalText(const system_settings *system, const item_record *item) {
    const chip *row = chip_of(item->ChipCode);
    if (item->Cat != CAT_TEMP || row->supports_text == nullptr)
        return 0;
    return row->supports_text(system, item) ? 1 : 0;
}

int getThermalText(const system_settings *system, const item_record *item, char *text) {
    const chip *row = chip_of(item->ChipCode);
    if (item->Cat != CAT_TEMP || row->text == nullptr)
        return -1;
    return row->text(system, item, text);
}
