#include "items/convert.h"

#include "chips/chips.h"
#include "chips/voltages.h"

int FANConvert(uint32_t count, uint32_t chip_code, uint32_t divisor, int32_t *rpm) {
    const fan_scale *fan = &chip_of(chip_code)->fan;
    *rpm = 0;
    if (fan->uses_divisor && divisor == 0)
        return -1;
    if (count == 0 || count >= fan->valid_below || count == fan->stopped_count)
        return 0;
    if (fan->speed != nullptr)
        *rpm = static_cast<int32_t>(fan->speed(count));
    else
        *rpm = static_cast<int32_t>(fan->numerator / (fan->uses_divisor ? divisor : 1) / count);
    return 0;
}

// As the processor does it: a value that does not fit gives the out-of-range integer.
static int32_t truncated(double value) {
    if (!(value > -2147483649.0 && value < 2147483648.0))
        return INT32_MIN;
    return static_cast<int32_t>(value);
}

int VOLTAGEConvert(uint32_t chip_code, uint32_t function, uint32_t raw, int32_t *millivolts) {
    const voltage_inputs *volts = chip_of(chip_code)->volts;
    if (volts == nullptr) {
        *millivolts = 0;
        return 0;
    }
    const voltage_input *input = input_of(volts, function);
    double exact;
    if (input == nullptr)
        *millivolts = static_cast<int32_t>(raw);
    else if (evaluate(*input, raw, &exact))
        *millivolts = truncated(exact);
    return 0;
}

int TEMPConvert(uint32_t raw, int32_t *degrees) {
    *degrees = raw == 128 ? 0 : static_cast<int8_t>(raw & 0xFF);
    return 0;
}

int SWITCHConvert(uint32_t raw, uint32_t mask, int32_t *state, uint32_t active_level, uint32_t chip_code,
                  int64_t reference) {
    if (chip_code == CHIP_27) {
        *state = raw == 0 ? SWITCH_INACTIVE : SWITCH_ACTIVE;
        return 0;
    }
    bool any_bit = (raw & mask) != 0;
    bool active = active_level == ACTIVE_LOW ? !any_bit : any_bit;
    if (active)
        *state = SWITCH_ACTIVE;
    else
        *state = reference == 0 ? SWITCH_NO_REFERENCE : SWITCH_INACTIVE;
    return 0;
}

int DIVISORConvert(uint32_t raw, uint32_t chip_code, uint32_t mask, uint32_t *divisor) {
    *divisor = 1;
    unsigned shift;
    switch (mask & 0xFF) {
    case 0x03:
        shift = 0;
        break;
    case 0x0C:
        shift = 2;
        break;
    case 0x30:
        shift = 4;
        break;
    case 0xC0:
        shift = 6;
        break;
    default:
        return -1;
    }
    uint32_t field = (raw >> shift) & 3;
    *divisor = chip_of(chip_code)->fan.linear_divisor ? field + 1 : 1u << field;
    return 0;
}

int64_t fahrenheit(int64_t celsius) { return celsius * 9 / 5 + 32; }
