#include "chips/voltages.h"

const voltage_input *input_of(const voltage_inputs *volts, uint32_t function) {
    static constexpr voltage_input voltage_inputs::*by_function[VOLTAGE_FUNCTIONS] = {
        &voltage_inputs::p12v,  &voltage_inputs::p5v,       &voltage_inputs::p33v, &voltage_inputs::p25v,
        &voltage_inputs::vccp,  &voltage_inputs::n5v,       &voltage_inputs::n12v, &voltage_inputs::vbat,
        &voltage_inputs::p5vsb, &voltage_inputs::function_9};
    if (function >= VOLTAGE_FUNCTIONS)
        return nullptr;
    const voltage_input *input = &(volts->*by_function[function]);
    return input->step != 0 ? input : nullptr;
}

// The factors are applied one after the other in this order: regrouping them changes the last bit, and with
// it some truncated millivolts. A factor of 1 and an offset of 0 change nothing.
bool evaluate(const voltage_input &input, uint32_t raw, double *millivolts) {
    if (raw < input.keep_below)
        return false;
    uint32_t r = raw + input.raw_offset;
    if (raw < input.zero_below)
        *millivolts = 0;
    else if (input.lift != 0)
        *millivolts = (r * input.step - input.lift) * 1000 / input.over + input.offset_mv;
    else
        *millivolts = r * 1000.0 * input.step * input.times / input.over + input.offset_mv;
    return true;
}
