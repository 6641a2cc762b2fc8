#pragma once
// What several families do in the same way: readers and clears that rows point to.

#include <cstdint>

#include "chips/chip.h"

// One byte. An item is read over its own bus, of SMBus and Super I/O the SMBus; a limit over both, and what
// the Super I/O gives counts. The Super I/O must be the system's, too.
int read_plain(const raw_source &from, uint32_t *raw);

int read_low_high(const raw_source &from,
                  uint32_t *raw); // low byte at the register, high byte in the next one

// The count of the Nuvoton chips: eight high bits, five low ones.
constexpr uint32_t count_13_bit(uint32_t high, uint32_t low) { return high * 32 + (low & 31); }

// Clears: bits set in the record's register, and bits set and cleared again.
int W83627HF_G_Intru_IO_Clear(uint32_t bus_type, uint32_t slave, uint32_t reg, uint32_t index_port,
                              uint32_t data_port, uint8_t mask);
int ADM1026_Intru_IO_Clear(const system_settings *system, const item_record *item, uint8_t mask,
                           const parameter_record *record);
int clear_in_register(const system_settings *system, item_record *item, const parameter_record *record);
int clear_by_pulse(const system_settings *system, item_record *item, const parameter_record *record);
// The item's own bus type becomes 8 and stays so, while the clear goes over bus type 1; kept on purpose.
int clear_over_smbus(const system_settings *system, item_record *item, const parameter_record *record);
