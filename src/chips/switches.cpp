// Switches on pins: of the Super I/O (codes 4 and 5), of the south bridge (11), and one that nothing reads
// (27).
#include <iterator>

#include "chips/families.h"
#include "hw/gpio.h"

static int read_superio_pin(const raw_source &from, uint32_t *raw) {
    return ReadSuperGPIO(from.item->ChipCode, from.slave, from.reg, raw);
}

static int read_southbridge_pin(const raw_source &from, uint32_t *raw) {
    return ReadSBGPIO(CHIP_GPIO_11, from.slave, from.reg, raw);
}

// It is always inactive.
static int read_absent(const raw_source &, uint32_t *raw) {
    *raw = 0;
    return 0;
}

static constexpr chip rows[] = {
    {.code = CHIP_GPIO_4, .read_switch = read_superio_pin},
    {.code = CHIP_GPIO_5, .read_switch = read_superio_pin},
    {.code = CHIP_GPIO_11, .read_switch = read_southbridge_pin},
    {.code = CHIP_27, .read_switch = read_absent},
};

const chip_family switch_chips = {rows, std::size(rows)};
