// Any bytes as /proc/bus/i2c, or (first byte odd) as /proc/mounts and an adapter's name.
#include "hw/i2c_adapters.h"
#include "os_fuzz.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    if (size < 1)
        return 0;
    std::string text(reinterpret_cast<const char *>(data + 1), size - 1);
    fuzz_door::reset();
    if (data[0] % 2 == 0) {
        fuzz_door::put_file("/proc/bus/i2c", text);
    } else {
        fuzz_door::put_file("/proc/mounts", "sysfs /sys sysfs rw 0 0\n" + text);
        fuzz_door::put_file("/sys/class/i2c-dev/i2c-0/name", text);
        fuzz_door::put_file("/sys/class/i2c-dev/i2c-1/device/name", text);
        fuzz_door::put_file("/sys/class/i2c-dev/i2c-2/device/i2c-7/name", text);
    }
    print_i2c_busses(1);
    print_i2c_busses(0);
    return 0;
}
