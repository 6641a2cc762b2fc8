// Any bytes as /etc/Kestrel.ini: loaded, its items read over ports that answer anything, and rewritten.
#include <cstdlib>

#include "config/ini_read.h"
#include "config/ini_write.h"
#include "items/display.h"
#include "items/report.h"
#include "os_fuzz.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    fuzz_door::reset();
    fuzz_door::put_file(KESTREL_INI, std::string(reinterpret_cast<const char *>(data), size));
    fuzz_door::put_stream(data, size);
    system_settings *system = nullptr;
    item_record *items = nullptr;
    parameter_record *parameters = nullptr;
    auto count = static_cast<int32_t>(loadKestrelINI_and_getItemCount(&system, &items, &parameters));
    if (count < 0)
        return 0;
    system->BusType &= BUS_SUPERIO; // without an SMBus adapter the program ends, as it has to
    for (int32_t i = 0; i < count; i++)
        items[i].BusType &= BUS_SUPERIO;
    bool touches_smbus = false; // chip 17 and 30 go over the SMBus whatever their bus
    for (int32_t i = 0; i < count; i++)
        touches_smbus = touches_smbus || items[i].ChipCode == 17 || items[i].ChipCode == 30;
    if (!touches_smbus && count < 200) {
        item_display *displays = createItemDisps(system, items, count, parameters, 2 * count);
        text_build_Items(displays, system, items, count, parameters, 2 * count);
        free(displays);
    }
    rewrite_monitor_lines(items, count);
    free(system);
    free(items);
    free(parameters);
    return 0;
}
