// Plain chips, and what several families share.
#include "chips/plain.h"

#include <iterator>

#include "chips/chips.h"
#include "chips/families.h"
#include "chips/registers.h"
#include "chips/voltages.h"

constexpr int FAILED = -1;

// ---- Raw values

static int read_smbus(const raw_source &from, uint32_t *raw) {
    const chip *row = chip_of(from.item->ChipCode);
    raw_reader own = from.is_limit ? row->limit_smbus : row->read_smbus;
    return own != nullptr ? own(from, raw) : read_register(smbus_of(from), from.reg, raw);
}

int read_plain(const raw_source &from, uint32_t *raw) {
    int status = FAILED;
    if (on_smbus(from.item)) {
        status = read_smbus(from, raw);
        if (!from.is_limit)
            return status;
    }
    if (on_superio(from.item) && (from.system->BusType & BUS_SUPERIO) != 0)
        status = read_register(ports_of(from), from.reg, raw);
    return status;
}

int read_low_high(const raw_source &from, uint32_t *raw) {
    if (!on_smbus(from.item))
        return from.is_limit ? FAILED : read_plain(from, raw);
    uint32_t low = 0;
    uint32_t high = 0;
    if (read_two_registers(smbus_of(from), from.reg, from.reg + 1, &low, &high) != 0)
        return FAILED;
    *raw = high * 256 + low;
    return 0;
}

// ---- Clears

int W83627HF_G_Intru_IO_Clear(uint32_t bus_type, uint32_t slave, uint32_t reg, uint32_t index_port,
                              uint32_t data_port, uint8_t mask) {
    if ((bus_type & BUS_SMBUS_ANY) != 0)
        return set_bits({chip_bus::SMBUS, CHIP_W83627HF, bus_type, slave, 0, 0}, reg, mask);
    if ((bus_type & BUS_SUPERIO) != 0)
        return set_bits({chip_bus::PORTS, 0, 0, slave, index_port, data_port}, reg, mask);
    return FAILED;
}

int ADM1026_Intru_IO_Clear(const system_settings *system, const item_record *item, uint8_t mask,
                           const parameter_record *record) {
    raw_source from = limit_of(system, item, record);
    if (on_smbus(item))
        return pulse_bits(smbus_of(from), record->Offset, mask);
    if ((item->BusType & system->BusType & BUS_SUPERIO) != 0)
        return pulse_bits(ports_of(from), record->Offset, mask);
    return FAILED;
}

static int set_record_bits(const system_settings *system, uint32_t bus_type, const parameter_record *record) {
    return W83627HF_G_Intru_IO_Clear(bus_type, record->Slave, record->Offset, system->IndexReg,
                                     system->DataReg, static_cast<uint8_t>(record->BitMask));
}

int clear_in_register(const system_settings *system, item_record *item, const parameter_record *record) {
    return set_record_bits(system, item->BusType, record);
}

int clear_by_pulse(const system_settings *system, item_record *item, const parameter_record *record) {
    return ADM1026_Intru_IO_Clear(system, item, static_cast<uint8_t>(record->BitMask), record);
}

int clear_over_smbus(const system_settings *system, item_record *item, const parameter_record *record) {
    item->BusType = BUS_SMBUS_HOST;
    return set_record_bits(system, BUS_SMBUS, record);
}

// ---- The rows

static constexpr fan_scale FAN_FROM_256 = {.numerator = 5400000,
                                           .valid_below = 0xFF00,
                                           .uses_divisor = false,
                                           .linear_divisor = true,
                                           .top_count = 256,
                                           .bottom_count = 65280};

// The register counts pulses, two per revolution, during 0.262 s.
static int64_t speed_of_pulses(uint32_t raw) { return static_cast<int64_t>(raw * 30.0 / 0.262); }

static constexpr voltage_inputs VOLTS_0 = {.p12v = {.step = 0.0625},
                                           .p5v = {.step = 0.026},
                                           .p33v = {.step = 0.0172},
                                           .p25v = {.step = 0.013},
                                           .vccp = {.step = 0.0141}};

static constexpr voltage_inputs VOLTS_9 = {.p12v = {.step = 0.0625},
                                           .p5v = {.step = 0.026},
                                           .p33v = {.step = 0.0172},
                                           .p25v = {.step = 0.013},
                                           .vccp = {.step = 0.00625, .keep_below = 16},
                                           .n12v = {.step = 0.024269, .offset_mv = -13299.5}};

static constexpr voltage_inputs VOLTS_16 = {.p12v = {.step = 0.0625},
                                            .p5v = {.step = 0.026},
                                            .p33v = {.step = 0.0172},
                                            .p25v = {.step = 0.013},
                                            .vccp = {.step = 0.0117}};

static constexpr voltage_inputs VOLTS_21 = {
    .p33v = {.step = 0.024}, .p25v = {.step = 0.016}, .vccp = {.step = 0.008, .zero_below = 49}};

static constexpr chip rows[] = {
    {.code = CHIP_0, .volts = &VOLTS_0, .clear = clear_in_register},
    {.code = CHIP_3, .fan = FAN_FROM_256, .read_fan = read_low_high, .limit_fan = read_low_high},
    {.code = CHIP_6, .fan = {.valid_below = ANY_COUNT, .uses_divisor = false, .speed = speed_of_pulses}},
    {.code = CHIP_9,
     .fan = FAN_16_BIT,
     .volts = &VOLTS_9,
     .read_fan = read_low_high,
     .limit_fan = read_low_high},
    {.code = CHIP_14,
     .fan = FAN_16_BIT,
     .volts = &VOLTS_9,
     .read_fan = read_low_high,
     .limit_fan = read_low_high},
    // Its fan counts take two bytes, its fan limits one.
    {.code = CHIP_16,
     .fan = {.numerator = 5400000, .valid_below = 0xFF00, .uses_divisor = false, .linear_divisor = true},
     .volts = &VOLTS_16,
     .read_fan = read_low_high},
    {.code = CHIP_18},
    {.code = CHIP_20},
    {.code = CHIP_21, .volts = &VOLTS_21},
};

const chip_family plain_chips = {rows, std::size(rows)};
