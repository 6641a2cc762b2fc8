#pragma once
// Raw register values to readings: rpm, millivolts, degrees Celsius, switch states, fan divisors. Each call
// returns 0, or -1 where its comment says so.

#include <cstdint>

enum switch_state : int32_t {
    SWITCH_INACTIVE = 0,
    SWITCH_ACTIVE = 1,
    SWITCH_NO_REFERENCE = 2, // inactive while the referenced item reads 0
};

constexpr uint32_t ACTIVE_LOW = 0; // an active level: the switch is active while its bits are clear

// A count outside the chip's valid range is a stopped or missing fan and gives 0 rpm. -1 (and 0 rpm) for a
// divisor of 0 where the chip uses one.
int FANConvert(uint32_t count, uint32_t chip_code, uint32_t divisor, int32_t *rpm);

// `*millivolts` keeps its value where a chip's formula requires it; a result beyond 32 bits gives INT32_MIN.
int VOLTAGEConvert(uint32_t chip_code, uint32_t function, uint32_t raw, int32_t *millivolts);

// The low byte as a signed number; raw 128, "no sensor", gives 0.
int TEMPConvert(uint32_t raw, int32_t *degrees);

// `reference` is the reading of the referenced item, 1 if there is no such item.
int SWITCHConvert(uint32_t raw, uint32_t mask, int32_t *state, uint32_t active_level, uint32_t chip_code,
                  int64_t reference);

// The divisor field that the low byte of `mask` selects; divisor 1 and -1 for a mask that selects no field.
int DIVISORConvert(uint32_t raw, uint32_t chip_code, uint32_t mask, uint32_t *divisor);

int64_t fahrenheit(int64_t celsius); // truncated towards zero
