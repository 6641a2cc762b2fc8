#include "hw/smbus.h"

constexpr int NO_ADAPTER = -1; // no adapter is supported yet

int smbus_byte_data_read(uint32_t, uint32_t, uint32_t, uint32_t, uint32_t, uint32_t *) { return NO_ADAPTER; }

int smbus_byte_data_write(uint32_t, uint32_t, uint32_t, uint32_t, uint32_t) { return NO_ADAPTER; }

int smbus_word_data_read_HL(uint32_t, uint32_t, uint32_t, uint32_t, uint32_t *) { return NO_ADAPTER; }

int smbus_byte_data_read_GPU(uint32_t, uint32_t, uint32_t, uint32_t, uint32_t *) { return NO_ADAPTER; }
