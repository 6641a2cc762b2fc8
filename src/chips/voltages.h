#pragma once
// Millivolts of raw values by the numbers of a chip's row, and the dividers that boards have before the
// inputs.

#include <cstdint>

#include "chips/chip.h"

constexpr unsigned VOLTAGE_FUNCTIONS = 10; // the nine named ones and function 9 of chips 1 and 2

// The input of a voltage function; nullptr when the chip has none.
const voltage_input *input_of(const voltage_inputs *volts, uint32_t function);

// False for a raw value that leaves the caller's as it was; `*millivolts` is untouched then.
bool evaluate(const voltage_input &input, uint32_t raw, double *millivolts);

// Dividers, R2 / (R1 + R2), and what they leave of the reference (1 - divider). A last digit counts: with
// another one some truncated millivolts differ.
constexpr double DIV_28_10 = 0.2631578947368421;   // 10 / (28 + 10)
constexpr double DIV_6K8_10 = 0.5952380952380952;  // 10 / (6.8 + 10)
constexpr double DIV_17_33 = 0.66;                 // 33 / (17 + 33)
constexpr double DIV_120_56 = 0.31818181818181823; // 1 - 120 / (120 + 56)
constexpr double DIV_240_56 = 0.18918918918918914; // 1 - 240 / (240 + 56)
constexpr double DIV_232_56 = 0.19444444444444442; // 1 - 232 / (232 + 56)
constexpr double DIV_56_10 = 0.15151515151515152;  // 10 / (56 + 10)
constexpr double DIV_22_10 = 0.3125;               // 10 / (22 + 10)
constexpr double DIV_232_10 = 0.04132231404958678; // 1 - 232 / (232 + 10), but for the last bit; as required
constexpr double DIV_110_10 = 0.08333333333333333; // 10 / (110 + 10)
constexpr double DIV_232_28 = 0.10769230769230764; // 1 - 232 / (232 + 28)
constexpr double DIV_56K2_10 = 0.1510574018126888; // 10 / (56.2 + 10)
constexpr double DIV_43K2_12K1 = 0.21880650994575043; // 12.1 / (43.2 + 12.1)
constexpr double DIV_40K2_10 = 0.19920318725099603;   // 10 / (40.2 + 10), but for the last bit; as required
constexpr double DIV_30K1_10 = 0.24937655860349126;   // 10 / (30.1 + 10)

// Negative inputs are lifted by a reference: 3.6 V or 2.048 V × (1 - divider), in volts.
constexpr double LIFT_120_56 = 2.4545454545454546;
constexpr double LIFT_240_56 = 2.9189189189189193;
constexpr double LIFT_232_56 = 2.9000000000000004;
constexpr double LIFT_232_28 = 1.827446153846154;

// Inputs that more than one family has. The last two: V = (input - 2.048 V) / divider + 2.048 V.
constexpr voltage_input STEP_016 = {.step = 0.016};
constexpr voltage_input N5V_120_56 = {.step = 0.016, .over = DIV_120_56, .lift = LIFT_120_56};
constexpr voltage_input N12V_240_56 = {.step = 0.016, .over = DIV_240_56, .lift = LIFT_240_56};
constexpr voltage_input N12V_OF_8_MV = {.step = 0.008, .over = DIV_232_10, .lift = 2.048, .offset_mv = 2048};
constexpr voltage_input N12V_OF_16_MV = {.step = 0.016, .over = DIV_232_10, .lift = 2.048, .offset_mv = 2048};
