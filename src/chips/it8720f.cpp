// IT8720F (code 25), a Super I/O with a monitor behind index and data ports.
//
// Fan counts have 16 bits. Low bytes are at 0x0D to 0x0F (counts) and 0x10 to 0x12 (limits) with their high
// bytes eleven registers on; those of the fans beyond the third are in pairs, low then high.
#include <iterator>

#include "chips/families.h"
#include "chips/guide_words.h"
#include "chips/plain.h"
#include "chips/registers.h"
#include "chips/voltages.h"

constexpr uint32_t FIRST_LOW = 0x0D;
constexpr uint32_t LAST_LOW = 0x12;
constexpr uint32_t HIGH_AFTER = 11;
constexpr uint32_t LIMIT_HIGH = 0x44; // of the processor's temperature
constexpr uint32_t LIMIT_MIDDLE = 0x45;
constexpr uint32_t MARGIN = 0x97;
constexpr uint32_t CPU_TEMPERATURE = 0x2B;

// Where the high byte is goes by the item's own register, though a limit's is read; kept on purpose. Off the
// Super I/O a count cannot be read, and a limit is a plain one.
static int read_fan(const raw_source &from, uint32_t *raw) {
    if (!on_superio(from.item))
        return from.is_limit ? read_plain(from, raw) : -1;
    bool apart = from.item->Offset >= FIRST_LOW && from.item->Offset <= LAST_LOW;
    uint32_t low = 0;
    uint32_t high = 0;
    if (read_two_registers(ports_of(from), from.reg, from.reg + (apart ? HIGH_AFTER : 1), &low, &high) != 0)
        return -1;
    *raw = high * 256 + low;
    return 0;
}

bool supportThermalText_IT8720F(const system_settings *, const item_record *item) {
    return item->Offset == CPU_TEMPERATURE;
}

int getThermalText_IT8720F(const system_settings *system, const item_record *item, char *text) {
    chip_bus ports = ports_of(reading_of(system, item));
    guide_values values = {};
    int status = read_register(ports, LIMIT_HIGH, &values.high);
    status |= read_register(ports, LIMIT_MIDDLE, &values.middle);
    status |= read_register(ports, MARGIN, &values.margin);
    status |= read_register(ports, item->Offset, &values.temperature);
    if (status != 0)
        return -1;
    guide_word(system, &values, text);
    return 0;
}

static constexpr voltage_inputs VOLTS = {.p12v = {.step = 0.016, .over = DIV_30K1_10},
                                         .p5v = {.step = 0.016, .over = DIV_6K8_10},
                                         .p33v = {.step = 0.016, .zero_below = 25},
                                         .vccp = {.step = 0.016, .zero_below = 25}};

static constexpr chip rows[] = {
    {.code = CHIP_IT8720F,
     .fan = {.numerator = 675000,
             .valid_below = ANY_COUNT,
             .stopped_count = 65535,
             .uses_divisor = false,
             .bottom_count = 65535},
     .volts = &VOLTS,
     .read_fan = read_fan,
     .limit_fan = read_fan,
     .clear = clear_in_register,
     .supports_text = supportThermalText_IT8720F,
     .text = getThermalText_IT8720F},
};

const chip_family it8720f_chips = {rows, std::size(rows)};
