// Winbond's Super I/O chips: the W83627HF (code 1) and its kin (2, 7, 10, 12, 15), the W83627DHG (19, 22,
// 24). Their monitor is behind index and data ports, in banks; the bank-select register is 0x4E. Some boards
// have them on the SMBus.
#include <iterator>

#include "chips/families.h"
#include "chips/guide_words.h"
#include "chips/plain.h"
#include "chips/registers.h"
#include "chips/voltages.h"
#include "chips/winbond.h"
#include "hw/machine_turn.h"
#include "hw/os.h"
#include "hw/superio.h"

constexpr int FAILED = -1;

// ---- Configuration mode, at ports 0x2E and 0x2F

constexpr uint8_t DEVICE_ID = 0x20; // of the chip, whatever device is selected
constexpr uint8_t REVISION = 0x21;
constexpr uint8_t ACPI_DEVICE = 0x0A;
constexpr uint8_t ACPI_CLEAR = 0xE6;
constexpr uint8_t PECI_DEVICE = 0x0C;
constexpr uint8_t PECI_TARGET = 0xE1; // target temperature of agent 1; agent 2 follows

int get_W83627HF_Device_ID(uint32_t *id) {
    superio_grant_ports();
    machine_turn whole;
    if (superio_enter() != 0)
        return FAILED;
    uint8_t device = 0;
    uint8_t revision = 0;
    int status = superio_select(0);
    if (status == 0)
        status = superio_read(DEVICE_ID, &device);
    if (status == 0)
        status = superio_read(REVISION, &revision);
    superio_leave();
    if (status == 0)
        *id = device * 256u | revision;
    return status;
}

// The bit that clears the latch; 0 for a chip code that writes nothing in that step.
static uint8_t clear_bit_of(uint32_t chip_code) {
    switch (chip_code) {
    case CHIP_W83627HF:
    case CHIP_10:
        return 0x40;
    case CHIP_12:
        return 0x20;
    default:
        return 0;
    }
}

// Bit 6 is cleared at the end, whatever bit was set: for chip 12 that leaves its bit set, on purpose.
static int pulse_configuration(uint32_t chip_code) {
    uint8_t saved = 0;
    if (superio_select(ACPI_DEVICE) != 0 || superio_read(ACPI_CLEAR, &saved) != 0)
        return FAILED;
    os_sleep(1);
    uint8_t bit = clear_bit_of(chip_code);
    int status = 0;
    if (bit != 0)
        status = superio_write(ACPI_CLEAR, saved | bit);
    else
        status = superio_choose(ACPI_CLEAR);
    if (status != 0)
        return FAILED;
    os_sleep(1);
    return superio_write(ACPI_CLEAR, saved & 0xBF);
}

int W83627HF_A_Intru_IO_Clear(uint32_t chip_code) {
    superio_grant_ports();
    machine_turn whole;
    if (superio_enter() != 0)
        return FAILED;
    int status = pulse_configuration(chip_code);
    superio_leave();
    return status;
}

static int clear_in_configuration(const system_settings *, item_record *item, const parameter_record *) {
    return W83627HF_A_Intru_IO_Clear(item->ChipCode);
}

// The first silicon of the W83627HF (id 0x5241) clears in its configuration, the later ones in a register.
static int clear_w83627hf(const system_settings *system, item_record *item, const parameter_record *record) {
    constexpr uint32_t FIRST_SILICON = 0x5241;
    uint32_t id = 0;
    int status = get_W83627HF_Device_ID(&id);
    if (status != 0)
        return status;
    if (id == FIRST_SILICON)
        return W83627HF_A_Intru_IO_Clear(CHIP_W83627HF);
    return clear_in_register(system, item, record);
}

// ---- Words of the W83627DHG. Which agent is calibrated is in its configuration.

constexpr uint32_t AGENT_TEMPERATURE = 0x50; // in the bank of the agent's number
constexpr uint32_t MARGIN_BANK = 4;
constexpr uint32_t MARGIN = 0x5F;
constexpr uint32_t LIMIT_BANK = 1;
constexpr uint32_t LIMIT_HIGH = 0x55;
constexpr uint32_t LIMIT_MIDDLE = 0x53;

static int read_in_bank(const system_settings *system, uint32_t bank, uint32_t reg, uint32_t *value) {
    return read_register({chip_bus::PORTS, 0, 0, bank, system->IndexReg, system->DataReg}, reg, value);
}

bool supportThermalText_W83627DHG(const system_settings *system, const item_record *item) {
    uint32_t agent = getPeciAgentIndex(item);
    if (item->Offset != AGENT_TEMPERATURE || !is_agent_1_or_2(agent))
        return false;
    superio_grant_ports();
    uint8_t target = 0;
    if (superio_read_device(PECI_DEVICE, static_cast<uint8_t>(PECI_TARGET + agent - 1), &target) != 0 ||
        target != CALIBRATED)
        return false;
    uint32_t margin;
    return read_in_bank(system, MARGIN_BANK, MARGIN, &margin) == 0 && margin != 0xFF;
}

int getThermalText_W83627DHG(const system_settings *system, const item_record *item, char *text) {
    uint32_t agent = getPeciAgentIndex(item);
    if (!is_agent_1_or_2(agent))
        return FAILED;
    guide_values values = {};
    int status = read_in_bank(system, LIMIT_BANK, LIMIT_HIGH, &values.high);
    status |= read_in_bank(system, LIMIT_BANK, LIMIT_MIDDLE, &values.middle);
    if (is_calibrated(&values))
        status |= read_in_bank(system, MARGIN_BANK, MARGIN, &values.margin);
    status |= read_in_bank(system, agent, AGENT_TEMPERATURE, &values.temperature);
    if (status != 0)
        return FAILED;
    guide_word(system, &values, text);
    return 0;
}

// ---- The rows

// Registers in the item's bank; every other register is in bank 0.
static constexpr uint32_t BANKED_1[] = {0x50, 0x53, 0x55, NO_BANK};
static constexpr uint32_t BANKED_10[] = {0x50, 0x51, 0x53, 0x54, 0x55, 0x56, 0x57, NO_BANK}; // also 24
static constexpr uint32_t BANKED_12[] = {0x50, 0x51, 0x52, 0x53, 0x54, 0x55,                 // also 15
                                         0x56, 0x57, 0x58, 0x59, 0x5C, NO_BANK};
static constexpr uint32_t BANKED_19[] = {0x50, 0x51, 0x53, 0x54, 0x55, 0x56, 0x57, 0x5C, NO_BANK}; // also 22

static constexpr voltage_inputs VOLTS_1 = {
    .p12v = {.step = 0.016, .over = DIV_28_10},
    .p5v = {.step = 0.016, .over = DIV_6K8_10},
    .p33v = STEP_016,
    .vccp = STEP_016,
    .n5v = N5V_120_56,
    .n12v = N12V_240_56,
    .p5vsb = {.step = 0.016, .over = DIV_17_33},
    .function_9 = {.step = 0.016, .over = DIV_232_56, .lift = LIFT_232_56},
};

// It adds 7 to the raw value of its -12 V; kept on purpose.
static constexpr voltage_inputs VOLTS_7 = {
    .p12v = {.step = 0.016, .over = DIV_28_10},
    .p5v = {.step = 0.016, .over = DIV_6K8_10},
    .p33v = STEP_016,
    .vccp = {.step = 0.008, .zero_below = 16},
    .n5v = N5V_120_56,
    .n12v = {.step = 0.016, .over = DIV_240_56, .lift = LIFT_240_56, .raw_offset = 7},
};

// It adds 0.69 mV to its VCCP, which only moves the truncation; kept on purpose.
static constexpr voltage_inputs VOLTS_10 = {
    .p12v = {.step = 0.016, .over = DIV_28_10},
    .p5v = {.step = 0.016, .over = DIV_6K8_10},
    .p33v = STEP_016,
    .vccp = {.step = 0.00488, .offset_mv = 0.69},
    .n5v = N5V_120_56,
    .n12v = N12V_240_56,
};

static constexpr voltage_inputs VOLTS_12 = {
    .p12v = {.step = 0.008, .over = DIV_56_10},
    .p5v = {.step = 0.008, .over = DIV_22_10},
    .p33v = STEP_016,
    .vccp = {.step = 0.008, .zero_below = 16},
    .n12v = N12V_OF_8_MV,
};

static constexpr voltage_inputs VOLTS_19 = {
    .p12v = {.step = 0.008, .times = 16},
    .p5v = {.step = 0.008, .times = 4},
    .p33v = STEP_016,
    .vccp = {.step = 0.008, .zero_below = 17},
    .n12v = N12V_OF_8_MV,
};

const voltage_inputs VOLTS_W83627DHG_22 = {
    .p12v = {.step = 0.008, .over = DIV_56K2_10},
    .p5v = {.step = 0.008, .times = 4},
    .p33v = STEP_016,
    .vccp = {.step = 0.008, .zero_below = 17},
    .n12v = N12V_OF_8_MV,
};

static constexpr voltage_inputs VOLTS_24 = {
    .p12v = {.step = 0.008, .over = DIV_56K2_10},
    .p5v = {.step = 0.008, .times = 4.28},
    .p33v = STEP_016,
    .vccp = {.step = 0.008, .zero_below = 49},
    .n12v = N12V_OF_8_MV,
    .vbat = {.step = 0.008, .times = 4.25},
    .p5vsb = {.step = 0.008, .times = 4.16},
};

static constexpr chip rows[] = {
    {.code = CHIP_W83627HF, .volts = &VOLTS_1, .bank = bank_at_4e(BANKED_1, false), .clear = clear_w83627hf},
    {.code = CHIP_2, .volts = &VOLTS_1, .bank = bank_at_4e(NONE_BANKED, true), .clear = clear_in_register},
    {.code = CHIP_7, .volts = &VOLTS_7, .bank = bank_at_4e(NONE_BANKED, true), .clear = clear_in_register},
    {.code = CHIP_10,
     .volts = &VOLTS_10,
     .bank = bank_at_4e(BANKED_10, false),
     .clear = clear_in_configuration},
    {.code = CHIP_12,
     .volts = &VOLTS_12,
     .bank = bank_at_4e(BANKED_12, false),
     .clear = clear_in_configuration},
    {.code = CHIP_15, .volts = &VOLTS_12, .bank = bank_at_4e(BANKED_12, false), .clear = clear_by_pulse},
    {.code = CHIP_W83627DHG,
     .volts = &VOLTS_19,
     .bank = bank_at_4e(BANKED_19, false),
     .clear = clear_by_pulse,
     .supports_text = supportThermalText_W83627DHG,
     .text = getThermalText_W83627DHG},
    {.code = CHIP_W83627DHG_22,
     .volts = &VOLTS_W83627DHG_22,
     .bank = bank_at_4e(BANKED_19, false),
     .clear = clear_by_pulse,
     .supports_text = supportThermalText_W83627DHG,
     .text = getThermalText_W83627DHG},
    {.code = CHIP_W83627DHG_24,
     .volts = &VOLTS_24,
     .bank = bank_at_4e(BANKED_10, false),
     .clear = clear_by_pulse,
     .supports_text = supportThermalText_W83627DHG,
     .text = getThermalText_W83627DHG},
};

const chip_family winbond_chips = {rows, std::size(rows)};
