// Any bytes as the BIOS area with the DMI entry point and, behind it, the table. The first two bytes choose
// where the table lies within the area.
#include <cstring>

#include "hw/board_id.h"
#include "os_fuzz.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    if (size < 2)
        return 0;
    constexpr uint32_t BIOS_AREA = 0xF0000;
    std::string area(reinterpret_cast<const char *>(data + 2), size - 2);
    if (area.size() >= 16 &&
        data[0] % 4 != 0) { // mostly a true anchor, so that the table behind it is reached
        memcpy(area.data(), "_DMI_", 5);
        area[8] = static_cast<char>(data[1]);
        area[9] = area[11] = 0;
        area[10] = 0x0F;
    }
    area.resize(area.size() > 0x10000 ? 0x10000 : area.size());
    fuzz_door::reset();
    fuzz_door::put_memory(BIOS_AREA, area);
    char manufacturer[BOARD_NAME_SIZE] = "";
    char product[BOARD_NAME_SIZE] = "";
    char version[BOARD_NAME_SIZE] = "";
    get_mb_info(manufacturer, product, version);
    get_mb_info_by_force(manufacturer, product, version);
    return 0;
}
