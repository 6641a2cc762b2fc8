#pragma once
// The chip codes of the configuration file. The file carries only numbers; a name is given here where the
// chip's own routines carry it.

#include <cstdint>

enum chip_code : uint32_t {
    CHIP_0 = 0,
    CHIP_W83627HF = 1,
    CHIP_2 = 2,
    CHIP_3 = 3,
    CHIP_GPIO_4 = 4, // Super I/O GPIO, read in configuration mode
    CHIP_GPIO_5 = 5, // Super I/O GPIO, read through its own I/O base
    CHIP_6 = 6,
    CHIP_7 = 7,
    CHIP_NS87427 = 8,
    CHIP_9 = 9,
    CHIP_10 = 10,
    CHIP_GPIO_11 = 11, // south-bridge GPIO
    CHIP_12 = 12,
    CHIP_ADM1026 = 13,
    CHIP_14 = 14,
    CHIP_15 = 15,
    CHIP_16 = 16,
    CHIP_W83793G = 17,
    CHIP_18 = 18,
    CHIP_W83627DHG = 19,
    CHIP_20 = 20,
    CHIP_21 = 21,
    CHIP_W83627DHG_22 = 22,
    CHIP_W83795ADG = 23,
    CHIP_W83627DHG_24 = 24,
    CHIP_IT8720F = 25,
    CHIP_26 = 26, // graphics card
    CHIP_27 = 27, // a switch that nothing reads
    CHIP_NCT6776F = 28,
    CHIP_W83795ADG_29 = 29,
    CHIP_NCT7904D = 30,
    CHIP_31 = 31, // power-supply failure
    CHIP_ME_NCT7904D = 32,
    CHIP_ME_NCT6776F = 33,
    CHIP_34 = 34, // sensor that only a BMC reads
    CHIP_COUNT
};
