#pragma once
// Registers of a monitor chip behind an index and a data port, bank by bank; the BMC's route is taken when
// the BMC owns that chip. Each call returns 0, 255 when the BMC answered with a completion code, or -1 when a
// port was refused; `*value` is then untouched. The port route restores the chip's bank-select register.

#include <cstdint>

int isa_byte_data_read(uint32_t index_port, uint32_t data_port, uint32_t bank, uint32_t reg, uint32_t *value);

// A 13-bit fan count: high eight bits at `reg`, low five at `reg` + 1.
int isa_word_data_read_NCT6776F_fan(uint32_t index_port, uint32_t data_port, uint32_t bank, uint32_t reg,
                                    uint32_t *value);

int isa_byte_data_write(uint32_t index_port, uint32_t data_port, uint32_t bank, uint32_t reg, uint32_t value);
