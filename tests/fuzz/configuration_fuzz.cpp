// Any bytes as /etc/Kestrel.ini: loaded, its items read over ports and a bus that answer anything, and
// rewritten.
#include "config/ini_read.h"

#include <cstdlib>

#include "config/ini_write.h"
#include "hw/i2c_adapters.h"
#include "hw/pci.h"
#include "hw/smbus.h"
#include "items/display.h"
#include "items/report.h"
#include "os_fuzz.h"

// The first SMBus device that opens is kept for the whole run, and without any the program ends.
static void open_the_bus() {
    static bool open = false;
    if (open)
        return;
    fuzz_door::put_file("/proc/bus/i2c", "i2c-0 smbus SMBus I801 adapter at 1100\tNon-I2C SMBus adapter\n");
    print_i2c_busses(1);
    SMB_BASE_IO_ADDR = 0x1100;
    openI2CDevice(SMB_BASE_IO_ADDR);
    open = true;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    constexpr int32_t MOST_ITEMS = 200; // each is read up to three times, for the time that it takes
    fuzz_door::reset();
    open_the_bus();
    fuzz_door::put_file(KESTREL_INI, std::string(reinterpret_cast<const char *>(data), size));
    fuzz_door::put_stream(data, size);
    system_settings *system = nullptr;
    item_record *items = nullptr;
    parameter_record *parameters = nullptr;
    auto count = static_cast<int32_t>(loadKestrelINI_and_getItemCount(&system, &items, &parameters));
    if (count < 0)
        return 0;
    if (count < MOST_ITEMS) {
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
