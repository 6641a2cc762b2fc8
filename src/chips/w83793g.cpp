// W83793G (code 17), on the SMBus. Registers are in banks, selected by the low three bits of register 0x00;
// readings and limits are in bank 0, the thresholds of the processors' words in bank 2.
#include <iterator>

#include "chips/families.h"
#include "chips/guide_words.h"
#include "chips/plain.h"
#include "chips/registers.h"
#include "chips/voltages.h"
#include "hw/machine_turn.h"

constexpr int FAILED = -1;
constexpr uint32_t BANK_SELECT = 0x00;
constexpr uint32_t BANK_KEPT_BITS = 0xF8;
constexpr uint32_t THRESHOLD_BANK = 2;
constexpr uint32_t FIRST_AGENT = 0x1C; // temperatures of agents 1 to 4
constexpr uint32_t LAST_AGENT = 0x1F;
constexpr uint32_t AGENT_MODE = 0x5E;  // bits 0 and 1; 3: digital temperatures, with flags
constexpr uint32_t AGENT_FLAGS = 0xD6; // bits 4 to 7: the agent's reading is not valid

static int read_fan(const raw_source &from, uint32_t *raw) {
    if (!on_smbus(from.item))
        return read_plain(from, raw);
    return read_smbus_word(smbus_of(from), from.reg, raw);
}

// The status is that of the mode's read, whatever became of the temperature's own; kept on purpose.
static int read_temp(const raw_source &from, uint32_t *raw) {
    constexpr uint32_t NO_SENSOR = 128;
    chip_bus smbus = smbus_of(from);
    uint32_t value = 0;
    if (on_smbus(from.item))
        read_register(smbus, from.reg, &value);
    uint32_t mode = 0;
    if (read_register(smbus, AGENT_MODE, &mode) != 0)
        return FAILED;
    if ((mode & 3) == 3) {
        uint32_t flags = 0;
        read_register(smbus, AGENT_FLAGS, &flags);
        bool agent = from.reg >= FIRST_AGENT && from.reg <= LAST_AGENT;
        if (agent && (flags & (0x10u << (from.reg - FIRST_AGENT))) != 0)
            value = NO_SENSOR;
    }
    *raw = value;
    return 0;
}

// ---- Words

struct agent_registers {
    uint32_t high; // bank 2
    uint32_t middle;
    uint32_t low;
    uint32_t temperature; // bank 0
    uint32_t target;      // bank 0
};

// By agent (1, 2) and level type (0, 1).
static const agent_registers agents[2][2] = {
    {{0x36, 0x35, 0x34, 0x1C, 0xD1}, {0x32, 0x31, 0x30, 0x1C, 0xD1}},
    {{0x46, 0x45, 0x44, 0x1D, 0xD2}, {0x42, 0x41, 0x40, 0x1D, 0xD2}},
};

// nullptr for a level type or an agent that has none.
static const agent_registers *registers_of(const system_settings *system, const item_record *item) {
    uint32_t agent = getPeciAgentIndex(item);
    if (system->W83793GTempLevelType > 1 || !is_agent_1_or_2(agent))
        return nullptr;
    return &agents[agent - 1][system->W83793GTempLevelType];
}

bool supportThermalText_W83793G(const system_settings *system, const item_record *item) {
    const agent_registers *registers = registers_of(system, item);
    if (item->Offset < FIRST_AGENT || item->Offset > LAST_AGENT || registers == nullptr)
        return false;
    chip_bus smbus = smbus_of(reading_of(system, item));
    uint32_t saved;
    machine_turn whole;
    if (read_register(smbus, BANK_SELECT, &saved) != 0)
        return false;
    uint32_t target = 0;
    uint32_t high = 0;
    uint32_t middle = 0;
    uint32_t low = 0;
    int status = write_register(smbus, BANK_SELECT, saved & BANK_KEPT_BITS);
    status |= read_register(smbus, registers->target, &target);
    bool calibrated = status == 0 && target == CALIBRATED;
    if (calibrated) {
        status |= write_register(smbus, BANK_SELECT, (saved & BANK_KEPT_BITS) | THRESHOLD_BANK);
        status |= read_register(smbus, registers->high, &high);
        status |= read_register(smbus, registers->middle, &middle);
        status |= read_register(smbus, registers->low, &low);
    }
    write_register(smbus, BANK_SELECT, saved); // whatever was found
    return calibrated && status == 0 && high - 5 == middle && middle - low == 5;
}

int getThermalText_W83793G(const system_settings *system, const item_record *item, char *text) {
    const agent_registers *registers = registers_of(system, item);
    if (registers == nullptr)
        return FAILED;
    chip_bus smbus = smbus_of(reading_of(system, item));
    uint32_t saved;
    machine_turn whole;
    if (read_register(smbus, BANK_SELECT, &saved) != 0)
        return FAILED;
    uint32_t high = 0;
    uint32_t low = 0;
    uint32_t temperature = 0;
    int status = write_register(smbus, BANK_SELECT, (saved & BANK_KEPT_BITS) | THRESHOLD_BANK);
    status |= read_register(smbus, registers->high, &high);
    status |= read_register(smbus, registers->low, &low);
    status |= write_register(smbus, BANK_SELECT, saved & BANK_KEPT_BITS);
    status |= read_register(smbus, registers->temperature, &temperature);
    int last = write_register(smbus, BANK_SELECT, saved);
    if (status != 0)
        return FAILED;
    if (system->ThermalGuideChipType == 0)
        put_word(text, temperature <= low ? "Low" : temperature <= high ? "Medium" : "High");
    else if (system->ThermalGuideChipType == 1)
        guide_1_word(temperature, text);
    return last;
}

// ---- The row

static constexpr voltage_inputs VOLTS = {
    .p12v = {.step = 0.008, .over = DIV_110_10},
    .p5v = {.step = 0.024},
    .p33v = STEP_016,
    .vccp = {.step = 0.008, .zero_below = 17},
    .n12v = {.step = 0.016, .over = DIV_232_28, .lift = LIFT_232_28},
};

static constexpr chip rows[] = {
    {.code = CHIP_W83793G,
     .fan = {.valid_below = 4095, .uses_divisor = false, .bottom_count = 4094},
     .volts = &VOLTS,
     .bank = {.has_register = true, .reg = BANK_SELECT, .mask = 0x07, .banked = NONE_BANKED},
     .read_fan = read_fan,
     .read_temp = read_temp,
     .limit_fan = read_fan,
     .clear = clear_over_smbus,
     .supports_text = supportThermalText_W83793G,
     .text = getThermalText_W83793G},
};

const chip_family w83793g_chips = {rows, std::size(rows)};
