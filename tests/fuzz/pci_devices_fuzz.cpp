// Any bytes as /proc/bus/pci/devices and as /proc/modules.
#include "hw/i2c_adapters.h"
#include "os_fuzz.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    std::string text(reinterpret_cast<const char *>(data), size);
    fuzz_door::reset();
    fuzz_door::put_file("/dev/i2c-0", "");
    fuzz_door::put_file("/proc/bus/pci/devices", text);
    fuzz_door::put_file("/proc/modules", text);
    i2cdetect();
    return 0;
}
