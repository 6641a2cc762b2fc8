// ADM1026 (code 13), on the SMBus. Its inputs are full scales, in volts, over 256 steps.
#include <iterator>

#include "chips/families.h"
#include "chips/plain.h"

constexpr double OVER_256 = 0.00390625;

// r - 128 is unsigned: a raw value below 128 overflows into the out-of-range integer; kept on purpose. -12 V
// is lifted by 16 V.
static constexpr voltage_inputs VOLTS = {
    .p12v = {.step = 16, .times = OVER_256},
    .p5v = {.step = 6.66, .times = OVER_256},
    .p33v = {.step = 4.44, .times = OVER_256},
    .p25v = {.step = 2.5, .times = OVER_256},
    .vccp = {.step = 3, .times = OVER_256},
    .n12v = {.step = 18.5, .times = OVER_256, .offset_mv = -16000},
    .vbat = {.step = 2, .times = 0.0078125, .offset_mv = 2000, .raw_offset = -128u},
};

static constexpr chip rows[] = {
    {.code = CHIP_ADM1026, .volts = &VOLTS, .clear = clear_by_pulse},
};

const chip_family adm1026_chips = {rows, std::size(rows)};
