#include "items/bank_select.h"

#include <syslog.h>

#include "alert/system_log.h"
#include "chips/chips.h"
#include "chips/registers.h"
#include "hw/machine_turn.h"

uint32_t bNeedCheckBankSelectRegister = 0;

bool hasBankSelectRegister(const item_record *item) { return chip_of(item->ChipCode)->bank.has_register; }

bool useOtherBankSelection(const item_record *item) { return !chip_of(item->ChipCode)->bank.logged; }

uint32_t whichBankSelection(uint32_t kind, const item_record *item, uint32_t reg) {
    const bank_select *bank = &chip_of(item->ChipCode)->bank;
    if (bank->wanted != nullptr)
        return bank->wanted(kind, reg);
    if (bank->banked == nullptr)
        return NO_BANK;
    for (register_list banked = bank->banked; *banked != NO_BANK; banked++)
        if (*banked == reg)
            return item->Slave;
    return 0;
}

// True when the chip was in another bank than the wanted one, and was told to change; `*found` is its
// register then.
static bool change_bank(const chip_bus &bus, const bank_select *bank, uint32_t wanted, uint32_t *found) {
    machine_turn whole;
    uint32_t value = 0;
    if (read_register(bus, bank->reg, &value) != 0 || (value & bank->mask) == wanted)
        return false;
    write_register(bus, bank->reg, (value & ~bank->mask) | wanted);
    *found = value;
    return true;
}

int correctBankSelectRegister(uint32_t kind, uint32_t, const system_settings *system, const item_record *item,
                              uint32_t reg) {
    const bank_select *bank = &chip_of(item->ChipCode)->bank;
    if (bank->mask == 0)
        return 0;
    uint32_t wanted = whichBankSelection(kind, item, reg);
    uint32_t value = 0;
    if (!change_bank(bus_of(reading_of(system, item)), bank, wanted, &value))
        return 0;
    if (bUseSysLog != 0 && !useOtherBankSelection(item))
        logInSysLog(
            LOG_WARNING,
            "Correct wrong bank select register, 0x%02x, of chipcode[%d] from bank (%d) to bank (%d) for "
            "'%s' monitor item's reading or threshold (offset=0x%02x).",
            bank->reg, static_cast<int>(item->ChipCode), static_cast<int>(value & bank->mask),
            0, // always 0 in the "to" place, kept on purpose
            item->Name, item->Offset);
    return 1;
}
