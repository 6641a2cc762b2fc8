// Sensors that only a BMC reaches: the graphics card (code 26), power supplies (31), a sensor of the BMC's
// own (34).
#include <iterator>

#include "chips/families.h"
#include "chips/plain.h"
#include "chips/registers.h"
#include "hw/ipmi.h"

static int read_card(const raw_source &from, uint32_t *raw) {
    if ((from.item->BusType & BUS_SMBUS_HOST) == 0)
        return read_plain(from, raw);
    return read_graphics_card(smbus_of(from), from.reg, raw);
}

static int read_sensor(const raw_source &from, uint32_t *raw) {
    if (hDevice == 0)
        return -1;
    return IpmiByteRead_oem_30_95(from.reg, raw);
}

static constexpr chip rows[] = {
    {.code = CHIP_26, .read_temp = read_card, .limit_temp = read_card},
    {.code = CHIP_31}, // hw/smbus.cpp knows its command
    {.code = CHIP_34, .read_any = read_sensor, .limit_temp = read_sensor},
};

const chip_family bmc_only_chips = {rows, std::size(rows)};
