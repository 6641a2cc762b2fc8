#pragma once
// What other files need of the Winbond chips: tests their parts, the NCT6776F their kinship.

#include <cstdint>

#include "chips/chip.h"

extern const voltage_inputs VOLTS_W83627DHG_22;

// The bank-select register of the chips behind an index and a data port.
constexpr bank_select bank_at_4e(register_list banked, bool logged) {
    return {.has_register = true, .reg = 0x4E, .mask = 0x07, .banked = banked, .logged = logged};
}

// The id of the chip in configuration mode, device × 256 + revision.
int get_W83627HF_Device_ID(uint32_t *id);

// Clears a latch in the configuration, in two seconds.
int W83627HF_A_Intru_IO_Clear(uint32_t chip_code);

bool supportThermalText_W83627DHG(const system_settings *system, const item_record *item);
int getThermalText_W83627DHG(const system_settings *system, const item_record *item, char *text);
