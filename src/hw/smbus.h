#pragma once
// Byte and word transfers on the board's SMBus, through i2c-dev or through the BMC. `base` is the host
// controller's I/O base (SMB_BASE_IO_ADDR), `slave` a 7-bit address. Each call returns 0, or non-zero with
// the out-argument untouched.

#include <cstdint>

int smbus_byte_data_read(uint32_t chip_code, uint32_t bus_type, uint32_t base, uint32_t slave, uint32_t reg,
                         uint32_t *value);
int smbus_byte_data_write(uint32_t bus_type, uint32_t base, uint32_t slave, uint32_t reg, uint32_t value);

// High byte at `reg`, low byte at `reg` + 1.
int smbus_word_data_read_HL(uint32_t bus_type, uint32_t base, uint32_t slave, uint32_t reg, uint32_t *value);

// The graphics card's sensor.
int smbus_byte_data_read_GPU(uint32_t bus_type, uint32_t base, uint32_t slave, uint32_t reg, uint32_t *value);

// The descriptor of the bus whose adapter sits at `base`; the first that opens is kept for the whole run.
// Ends the program with status 255 when there is none.
int openI2CDevice(uint32_t base);

// Clears the host controller's status after a transfer of the kernel's, on Intel controllers.
void clearSMBusLastTransaction(uint32_t base);
