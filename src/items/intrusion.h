#pragma once
// Clearing of latched switches, such as chassis intrusion: a sequence a chip, then a fresh read of the
// switch.

#include <cstdint>

#include "config/settings.h"

// 0 when the latch was cleared or was not set, else non-zero; says "Done." or "Failed." on standard output.
// The record that the item's ParaIndex2 names gives the register and its bits. For chips 17 and 23 the item's
// bus type is 8 afterwards. Without an item (nullptr) there is nothing to reset: non-zero, not a word.
int reset_Intrusion(const system_settings *system, const item_record *items, int32_t item_count,
                    const parameter_record *parameters, int32_t parameter_count, item_record *item);

// The chips' sequences: 0, or the result of the access that failed.
int W83627HF_G_Intru_IO_Clear(uint32_t bus_type, uint32_t slave, uint32_t reg, uint32_t index_port,
                              uint32_t data_port, uint8_t mask);
int ADM1026_Intru_IO_Clear(const system_settings *system, const item_record *item, uint8_t mask,
                           const parameter_record *record);
int W83627HF_A_Intru_IO_Clear(uint32_t chip_code); // sleeps twice for a second
int NS87427_Intru_IO_Clear(uint8_t mask, uint32_t base);
int get_W83627HF_Device_ID(uint32_t *id); // device id in the high byte, revision in the low one
