#include "items/r2m_names.h"

#include "chips/registers.h"
#include "hw/chip_codes.h"
#include "hw/text.h"

struct name_pair {
    const char *core; // as the chip measures the cores' own diodes
    const char *peci; // as the processors report by themselves
};

static const name_pair r2m_names[] = {
    {"CPU1 Core A Temperature", "PECI Agent1 Temperature"},
    {"CPU1 Core B Temperature", "PECI Agent2 Temperature"},
    {"CPU2 Core A Temperature", "PECI Agent3 Temperature"},
    {"CPU2 Core B Temperature", "PECI Agent4 Temperature"},
};

static void rename_item(item_record *item, bool to_peci) {
    for (const name_pair &names : r2m_names) {
        const char *from = to_peci ? names.core : names.peci;
        const char *to = to_peci ? names.peci : names.core;
        if (equal_ignoring_case(item->Name, from)) {
            copy_text(item->Name, sizeof item->Name, to);
            return;
        }
    }
}

// Only the first item is asked for the chip's address; kept on purpose. A register that cannot be read
// changes nothing.
void revise_kestrel_ini_for_R2M(const system_settings *system, item_record *items, int32_t item_count) {
    constexpr uint32_t MODE = 0x5E;
    if (item_count < 1)
        return;
    uint32_t slave = items[0].ChipCode == CHIP_W83793G ? items[0].Slave : 0;
    chip_bus smbus = {chip_bus::SMBUS, CHIP_0, system->BusType & BUS_SMBUS, slave, 0, 0};
    uint32_t mode = 0;
    if (read_register(smbus, MODE, &mode) != 0)
        return;
    for (int32_t i = 0; i < item_count; i++)
        rename_item(&items[i], (mode & 3) == 3);
}
