// Millivolts of raw values. The factors of a formula are applied one after the other in the order in which
// they are written: regrouping them changes the last bit, and with it some truncated millivolts.
#include "items/chip_routines.h"

// Dividers before the inputs, R2 / (R1 + R2), and what they leave of the reference (1 - divider).
constexpr double DIV_28_10 = 0.2631578947368421;      // 10 / (28 + 10)
constexpr double DIV_6K8_10 = 0.5952380952380952;     // 10 / (6.8 + 10)
constexpr double DIV_17_33 = 0.66;                    // 33 / (17 + 33)
constexpr double DIV_120_56 = 0.31818181818181823;    // 1 - 120 / (120 + 56)
constexpr double DIV_240_56 = 0.18918918918918914;    // 1 - 240 / (240 + 56)
constexpr double DIV_232_56 = 0.19444444444444442;    // 1 - 232 / (232 + 56)
constexpr double DIV_56_10 = 0.15151515151515152;     // 10 / (56 + 10)
constexpr double DIV_22_10 = 0.3125;                  // 10 / (22 + 10)
constexpr double DIV_232_10 = 0.04132231404958678;    // 1 - 232 / (232 + 10)
constexpr double DIV_110_10 = 0.08333333333333333;    // 10 / (110 + 10)
constexpr double DIV_232_28 = 0.10769230769230764;    // 1 - 232 / (232 + 28)
constexpr double DIV_56K2_10 = 0.1510574018126888;    // 10 / (56.2 + 10)
constexpr double DIV_43K2_12K1 = 0.21880650994575043; // 12.1 / (43.2 + 12.1)
constexpr double DIV_40K2_10 = 0.19920318725099603;   // 10 / (40.2 + 10)
constexpr double DIV_30K1_10 = 0.24937655860349126;   // 10 / (30.1 + 10)

// Negative inputs are lifted by a reference: 3.6 V or 2.048 V × (1 - divider), in volts.
constexpr double LIFT_120_56 = 2.4545454545454546;
constexpr double LIFT_240_56 = 2.9189189189189193;
constexpr double LIFT_232_56 = 2.9000000000000004;
constexpr double LIFT_232_28 = 1.827446153846154;

static bool times(double *mv, uint32_t r, double factor) {
    *mv = r * 1000.0 * factor;
    return true;
}

static bool times_times(double *mv, uint32_t r, double factor, double second) {
    *mv = r * 1000.0 * factor * second;
    return true;
}

static bool times_over(double *mv, uint32_t r, double factor, double divider) {
    *mv = r * 1000.0 * factor / divider;
    return true;
}

// An input below its threshold is an empty socket's noise and reads 0.
static bool times_from(double *mv, uint32_t r, uint32_t threshold, double factor) {
    *mv = r < threshold ? 0 : r * 1000.0 * factor;
    return true;
}

static bool lifted(double *mv, uint32_t r, double factor, double lift, double divider) {
    *mv = (r * factor - lift) * 1000 / divider;
    return true;
}

// Plain steps
static bool step_0625(uint32_t r, double *mv) { return times(mv, r, 0.0625); }
static bool step_026(uint32_t r, double *mv) { return times(mv, r, 0.026); }
static bool step_0172(uint32_t r, double *mv) { return times(mv, r, 0.0172); }
static bool step_013(uint32_t r, double *mv) { return times(mv, r, 0.013); }
static bool step_0141(uint32_t r, double *mv) { return times(mv, r, 0.0141); }
static bool step_0117(uint32_t r, double *mv) { return times(mv, r, 0.0117); }
static bool step_016(uint32_t r, double *mv) { return times(mv, r, 0.016); }
static bool step_024(uint32_t r, double *mv) { return times(mv, r, 0.024); }
static bool step_048(uint32_t r, double *mv) { return times(mv, r, 0.048); }

// Steps of 8 and 16 mV after a divider, or multiplied
static bool step_016_over_28_10(uint32_t r, double *mv) { return times_over(mv, r, 0.016, DIV_28_10); }
static bool step_016_over_6k8_10(uint32_t r, double *mv) { return times_over(mv, r, 0.016, DIV_6K8_10); }
static bool step_016_over_17_33(uint32_t r, double *mv) { return times_over(mv, r, 0.016, DIV_17_33); }
static bool step_016_over_30k1_10(uint32_t r, double *mv) { return times_over(mv, r, 0.016, DIV_30K1_10); }
static bool step_016_over_56k2_10(uint32_t r, double *mv) { return times_over(mv, r, 0.016, DIV_56K2_10); }
static bool step_008_over_56_10(uint32_t r, double *mv) { return times_over(mv, r, 0.008, DIV_56_10); }
static bool step_008_over_22_10(uint32_t r, double *mv) { return times_over(mv, r, 0.008, DIV_22_10); }
static bool step_008_over_110_10(uint32_t r, double *mv) { return times_over(mv, r, 0.008, DIV_110_10); }
static bool step_008_over_56k2_10(uint32_t r, double *mv) { return times_over(mv, r, 0.008, DIV_56K2_10); }
static bool step_008_over_43k2_12k1(uint32_t r, double *mv) {
    return times_over(mv, r, 0.008, DIV_43K2_12K1);
}
static bool step_008_over_40k2_10(uint32_t r, double *mv) { return times_over(mv, r, 0.008, DIV_40K2_10); }
static bool step_008_times_16(uint32_t r, double *mv) { return times_times(mv, r, 0.008, 16); }
static bool step_008_times_4(uint32_t r, double *mv) { return times_times(mv, r, 0.008, 4); }
static bool step_008_times_4_28(uint32_t r, double *mv) { return times_times(mv, r, 0.008, 4.28); }
static bool step_008_times_4_25(uint32_t r, double *mv) { return times_times(mv, r, 0.008, 4.25); }
static bool step_008_times_4_16(uint32_t r, double *mv) { return times_times(mv, r, 0.008, 4.16); }
static bool step_016_times_4(uint32_t r, double *mv) { return times_times(mv, r, 0.016, 4); }

// Inputs with a threshold
static bool step_008_from_16(uint32_t r, double *mv) { return times_from(mv, r, 16, 0.008); }
static bool step_008_from_17(uint32_t r, double *mv) { return times_from(mv, r, 17, 0.008); }
static bool step_008_from_49(uint32_t r, double *mv) { return times_from(mv, r, 49, 0.008); }
static bool step_016_from_17(uint32_t r, double *mv) { return times_from(mv, r, 17, 0.016); }
static bool step_016_from_25(uint32_t r, double *mv) { return times_from(mv, r, 25, 0.016); }
static bool step_024_from_25(uint32_t r, double *mv) { return times_from(mv, r, 25, 0.024); }

// Negative inputs
static bool lifted_120_56(uint32_t r, double *mv) { return lifted(mv, r, 0.016, LIFT_120_56, DIV_120_56); }
static bool lifted_240_56(uint32_t r, double *mv) { return lifted(mv, r, 0.016, LIFT_240_56, DIV_240_56); }
static bool lifted_232_56(uint32_t r, double *mv) { return lifted(mv, r, 0.016, LIFT_232_56, DIV_232_56); }
static bool lifted_232_28(uint32_t r, double *mv) { return lifted(mv, r, 0.016, LIFT_232_28, DIV_232_28); }

// Chip 7 adds 7 to the raw value of its N12V; kept on purpose.
static bool lifted_240_56_plus_7(uint32_t r, double *mv) {
    return lifted(mv, r + 7, 0.016, LIFT_240_56, DIV_240_56);
}

// V = (input - 2.048 V) / divider + 2.048 V
static bool lifted_232_10_of_8mv(uint32_t r, double *mv) {
    *mv = (r * 0.008 - 2.048) * 1000 / DIV_232_10 + 2048;
    return true;
}

static bool lifted_232_10_of_16mv(uint32_t r, double *mv) {
    *mv = (r * 0.016 - 2.048) * 1000 / DIV_232_10 + 2048;
    return true;
}

// Chips 9 and 14 leave the caller's value unchanged for a VCCP below raw 16; kept on purpose.
static bool vccp_9(uint32_t r, double *mv) { return r >= 16 && times(mv, r, 0.00625); }

static bool n12v_9(uint32_t r, double *mv) {
    *mv = static_cast<uint32_t>(r * 1000) * 0.024269 - 13299.5;
    return true;
}

// Chip 10 adds 0.69 mV to its VCCP, which only moves the truncation; kept on purpose.
static bool vccp_10(uint32_t r, double *mv) {
    *mv = r * 1000.0 * 0.00488 + 0.69;
    return true;
}

// ADM1026: full scale over 256 steps (0.00390625 = 1 / 256), the full scales in volts.
static bool full_scale_16(uint32_t r, double *mv) { return times_times(mv, r, 16, 0.00390625); }
static bool full_scale_6_66(uint32_t r, double *mv) { return times_times(mv, r, 6.66, 0.00390625); }
static bool full_scale_4_44(uint32_t r, double *mv) { return times_times(mv, r, 4.44, 0.00390625); }
static bool full_scale_2_5(uint32_t r, double *mv) { return times_times(mv, r, 2.5, 0.00390625); }
static bool full_scale_3(uint32_t r, double *mv) { return times_times(mv, r, 3, 0.00390625); }

static bool n12v_13(uint32_t r, double *mv) {
    *mv = r * 1000.0 * 18.5 * 0.00390625 - 16000;
    return true;
}

// r - 128 is unsigned, so a raw value below 128 overflows into the out-of-range integer; kept on purpose.
static bool vbat_13(uint32_t r, double *mv) {
    *mv = (r - 128) * 1000.0 * 2 * 0.0078125 + 2000;
    return true;
}

// Chip 21 reads a VCCP below raw 49 as 0.
static bool vccp_21(uint32_t r, double *mv) { return times(mv, r < 49 ? 0 : r, 0.008); }

// The places of a set are the voltage functions:
//   0 P12V, 1 P5V, 2 P33V, 3 P25V, 4 VCCP, 5 N5V, 6 N12V, 7 VBAT, 8 P5VSB, 9 unnamed.

const voltage_formulas volts_0 = {{step_0625, step_026, step_0172, step_013, step_0141}};

const voltage_formulas volts_1 = {{step_016_over_28_10, step_016_over_6k8_10, step_016, nullptr, step_016,
                                   lifted_120_56, lifted_240_56, nullptr, step_016_over_17_33,
                                   lifted_232_56}};

const voltage_formulas volts_7 = {{step_016_over_28_10, step_016_over_6k8_10, step_016, nullptr,
                                   step_008_from_16, lifted_120_56, lifted_240_56_plus_7}};

const voltage_formulas volts_9 = {{step_0625, step_026, step_0172, step_013, vccp_9, nullptr, n12v_9}};

const voltage_formulas volts_10 = {
    {step_016_over_28_10, step_016_over_6k8_10, step_016, nullptr, vccp_10, lifted_120_56, lifted_240_56}};

const voltage_formulas volts_12 = {{step_008_over_56_10, step_008_over_22_10, step_016, nullptr,
                                    step_008_from_16, nullptr, lifted_232_10_of_8mv}};

const voltage_formulas volts_13 = {{full_scale_16, full_scale_6_66, full_scale_4_44, full_scale_2_5,
                                    full_scale_3, nullptr, n12v_13, vbat_13}};

const voltage_formulas volts_16 = {{step_0625, step_026, step_0172, step_013, step_0117}};

const voltage_formulas volts_17 = {
    {step_008_over_110_10, step_024, step_016, nullptr, step_008_from_17, nullptr, lifted_232_28}};

const voltage_formulas volts_19 = {{step_008_times_16, step_008_times_4, step_016, nullptr, step_008_from_17,
                                    nullptr, lifted_232_10_of_8mv}};

const voltage_formulas volts_21 = {{nullptr, nullptr, step_024, step_016, vccp_21}};

const voltage_formulas volts_22 = {{step_008_over_56k2_10, step_008_times_4, step_016, nullptr,
                                    step_008_from_17, nullptr, lifted_232_10_of_8mv}};

const voltage_formulas volts_23 = {{step_008_over_56k2_10, step_008_times_4, step_024_from_25,
                                    step_008_over_110_10, step_008_from_49, nullptr, lifted_232_10_of_8mv,
                                    step_008_over_43k2_12k1, step_008_over_40k2_10}};

const voltage_formulas volts_24 = {{step_008_over_56k2_10, step_008_times_4_28, step_016, nullptr,
                                    step_008_from_49, nullptr, lifted_232_10_of_8mv, step_008_times_4_25,
                                    step_008_times_4_16}};

const voltage_formulas volts_25 = {
    {step_016_over_30k1_10, step_016_over_6k8_10, step_016_from_25, nullptr, step_016_from_25}};

const voltage_formulas volts_30 = {{step_016_over_56k2_10, step_016_times_4, step_048, nullptr,
                                    step_016_from_17, nullptr, lifted_232_10_of_16mv}};
