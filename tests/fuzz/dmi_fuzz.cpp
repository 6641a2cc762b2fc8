// A BIOS area whose entry point may be in every field. An input is twelve bytes, then the bytes of the
// table:
//   0      what fails behind the door (memory_fault)
//   1      CHOICE_... bits
//   2-3    the paragraph of the BIOS area with the entry point
//   4-5    the table's length     6-9    its address     10-11  the number of structures, as the entry point
//   says
#include "hw/board_id.h"

#include <algorithm>
#include <cstring>

#include "os_fuzz.h"

constexpr size_t HEADER = 12;
constexpr uint32_t BIOS_AREA = 0xF0000;
constexpr uint32_t BIOS_AREA_SIZE = 0x10000;

enum choice : unsigned {
    CHOICE_RAW = 0x01,       // no entry point is made: the bytes are the BIOS area from the paragraph on
    CHOICE_ASTRAY = 0x02,    // the bytes follow the entry point, whatever it says
    CHOICE_TWICE = 0x04,     // an entry point without structures comes before the other
    CHOICE_DMIDECODE = 0x08, // the bytes are what dmidecode says, too
    CHOICE_ZEROED =
        0x10, // the memory beside them is 0, not that of an erased flash; the search takes longer then
    CHOICE_FORCED = 0x20, // the forced search follows in any case
};

static void put_entry_point(uint32_t at, const uint8_t *data, bool has_structures) {
    std::string entry = "_DMI_";
    entry += '\0';
    entry.append(reinterpret_cast<const char *>(data + 4), 6);
    entry.append(reinterpret_cast<const char *>(data + 10), has_structures ? 2 : 0);
    fuzz_door::put_memory(at, entry);
}

static void put_area(const uint8_t *data, const std::string &bytes) {
    uint32_t at = BIOS_AREA + static_cast<uint32_t>(data[2] | data[3] << 8) * 16 % BIOS_AREA_SIZE;
    uint32_t said = data[6] | data[7] << 8 | data[8] << 16 | static_cast<uint32_t>(data[9]) << 24;
    if ((data[1] & CHOICE_RAW) != 0) {
        fuzz_door::put_memory(at, bytes);
        return;
    }
    fuzz_door::put_memory((data[1] & CHOICE_ASTRAY) != 0 ? at + 16 : said, bytes);
    put_entry_point(at, data, true);
    if ((data[1] & CHOICE_TWICE) != 0 && at > BIOS_AREA)
        put_entry_point(BIOS_AREA, data, false);
}

// A name is at most 29 bytes, and always ended.
static void judge(const char *name) {
    fuzz_door::expect(memchr(name, 0, BOARD_NAME_SIZE) != nullptr, "a name ends within its field");
}

static void identify(bool by_force) {
    char names[3][BOARD_NAME_SIZE] = {};
    if (by_force)
        get_mb_info_by_force(names[0], names[1], names[2]);
    else
        get_mb_info(names[0], names[1], names[2]);
    for (const char *name : names)
        judge(name);
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    if (size < HEADER)
        return 0;
    std::string bytes(reinterpret_cast<const char *>(data + HEADER), size - HEADER);
    fuzz_door::reset();
    fuzz_door::put_memory_between((data[1] & CHOICE_ZEROED) != 0 ? 0x00 : 0xFF);
    put_area(data, bytes);
    fuzz_door::put_memory_faults(data[0]);
    if ((data[1] & CHOICE_DMIDECODE) != 0)
        fuzz_door::put_command_output(bytes);
    identify(false);
    bool opens = (data[0] & fuzz_door::FAULT_OPEN) == 0;
    if (opens && (data[1] & CHOICE_FORCED) != 0) // without the device the forced search ends the program
        identify(true);
    return 0;
}
