#include "items/thermal_text.h"

#include <cstring>

#include "hw/ipmi.h"
#include "hw/isa.h"
#include "hw/machine_turn.h"
#include "hw/pci.h"
#include "hw/smbus.h"
#include "hw/superio.h"
#include "hw/text.h"
#include "items/chip_routines.h"
#include "items/chips.h"

constexpr uint32_t BANK_AT_00 = 0x00;  // bank-select register of the W83793G and the W83795ADG
constexpr uint32_t BANK_AT_FF = 0xFF;  // and of the NCT7904D
constexpr uint32_t BANK_KEPT = 0xF8;   // its bits that are no bank
constexpr uint32_t CALIBRATED = 0x64;  // 100: the processor's target temperature is known
constexpr uint32_t CALIBRATED_GAP = 5; // between the chip's thresholds when they were set from it

static int smbus_read(const item_record *item, uint32_t reg, uint32_t *value) {
    return smbus_byte_data_read(item->ChipCode, item->BusType, SMB_BASE_IO_ADDR, item->Slave, reg, value);
}

static int smbus_write(const item_record *item, uint32_t reg, uint32_t value) {
    return smbus_byte_data_write(item->BusType, SMB_BASE_IO_ADDR, item->Slave, reg, value);
}

static int isa_read(const system_settings *system, uint32_t bank, uint32_t reg, uint32_t *value) {
    return isa_byte_data_read(system->IndexReg, system->DataReg, bank, reg, value);
}

// A word made from a value that could not be read would be a lie, so every failed access ends in -1; the
// banks are restored all the same.

uint32_t getPeciAgentIndex(const item_record *item) {
    static const struct {
        const char *part;
        uint32_t agent;
    } names[] = {{"CPU1", 1}, {"PECI Agent1", 1}, {"CPU2", 2}, {"PECI Agent2", 2},
                 {"CPU3", 3}, {"PECI Agent3", 3}, {"CPU4", 4}, {"PECI Agent4", 4},
                 {"CPU", 1},  {"PECI Agent", 1}};
    for (const auto &name : names) // in this order: "CPU12" is agent 1
        if (strstr(item->Name, name.part) != nullptr)
            return name.agent;
    return 0;
}

static bool is_agent_1_or_2(uint32_t agent) { return agent == 1 || agent == 2; }

// ---- Classifications; a guide type beyond 1 writes no word

static void put_word(char *text, const char *word) {
    constexpr size_t ROOM = 9; // what a caller's text holds at least: the longest word
    copy_text(text, ROOM, word);
}

static void guide_1_word(uint32_t temperature, char *text) {
    put_word(text, temperature < 46 ? "Low" : temperature <= 60 ? "Medium" : "High");
}

static void calibrated_word(uint32_t temperature, uint32_t margin, char *text) {
    int64_t top = 100 - static_cast<int64_t>(margin);
    put_word(text, temperature <= top - 10 ? "Low" : temperature > top ? "High" : "Medium");
}

static void uncalibrated_word(uint32_t temperature, char *text) {
    put_word(text, temperature < 71 ? "Low" : temperature <= 85 ? "Medium" : "High");
}

struct guide_values {
    uint32_t high; // thresholds
    uint32_t middle;
    uint32_t margin; // below the target temperature
    uint32_t temperature;
};

static bool is_calibrated(const guide_values *values) {
    return values->high - CALIBRATED_GAP == values->middle;
}

static void guide_word(const system_settings *system, const guide_values *values, char *text) {
    if (system->ThermalGuideChipType == 1)
        guide_1_word(values->temperature, text);
    else if (system->ThermalGuideChipType == 0 && is_calibrated(values))
        calibrated_word(values->temperature, values->margin, text);
    else if (system->ThermalGuideChipType == 0)
        uncalibrated_word(values->temperature, text);
}

static void nct7904d_word(uint32_t temperature, char *text) {
    put_word(text, temperature <= 60 ? "Low" : temperature <= 85 ? "Medium" : "High");
}

static void nct6776f_word(uint32_t temperature, char *text) {
    const char *word = "Overheat";
    if (temperature <= 60)
        word = "Low";
    else if (temperature <= 85)
        word = "Medium";
    else if (temperature <= 94)
        word = "High";
    put_word(text, word);
}

// ---- W83793G, over the SMBus

struct agent_registers {
    uint32_t high; // bank 2
    uint32_t middle;
    uint32_t low;
    uint32_t temperature; // bank 0
    uint32_t target;      // bank 0
};

// By agent (1, 2) and level type (0, 1).
static const agent_registers w83793g_agents[2][2] = {
    {{0x36, 0x35, 0x34, 0x1C, 0xD1}, {0x32, 0x31, 0x30, 0x1C, 0xD1}},
    {{0x46, 0x45, 0x44, 0x1D, 0xD2}, {0x42, 0x41, 0x40, 0x1D, 0xD2}},
};

// nullptr for a level type or an agent that has none.
static const agent_registers *w83793g_registers(const system_settings *system, const item_record *item) {
    uint32_t agent = getPeciAgentIndex(item);
    if (system->W83793GTempLevelType > 1 || !is_agent_1_or_2(agent))
        return nullptr;
    return &w83793g_agents[agent - 1][system->W83793GTempLevelType];
}

bool supportThermalText_W83793G(const system_settings *system, const item_record *item) {
    const agent_registers *registers = w83793g_registers(system, item);
    if (item->Offset < 0x1C || item->Offset > 0x1F || registers == nullptr)
        return false;
    uint32_t saved;
    machine_turn whole;
    if (smbus_read(item, BANK_AT_00, &saved) != 0)
        return false;
    uint32_t target = 0;
    uint32_t high = 0;
    uint32_t middle = 0;
    uint32_t low = 0;
    int status = smbus_write(item, BANK_AT_00, saved & BANK_KEPT);
    status |= smbus_read(item, registers->target, &target);
    bool calibrated = status == 0 && target == CALIBRATED;
    if (calibrated) {
        status |= smbus_write(item, BANK_AT_00, (saved & BANK_KEPT) | 2);
        status |= smbus_read(item, registers->high, &high);
        status |= smbus_read(item, registers->middle, &middle);
        status |= smbus_read(item, registers->low, &low);
    }
    smbus_write(item, BANK_AT_00, saved); // whatever was found
    return calibrated && status == 0 && high - 5 == middle && middle - low == 5;
}

int getThermalText_W83793G(const system_settings *system, const item_record *item, char *text) {
    const agent_registers *registers = w83793g_registers(system, item);
    if (registers == nullptr)
        return -1;
    uint32_t saved;
    machine_turn whole;
    if (smbus_read(item, BANK_AT_00, &saved) != 0)
        return -1;
    uint32_t high = 0;
    uint32_t low = 0;
    uint32_t temperature = 0;
    int status = smbus_write(item, BANK_AT_00, (saved & BANK_KEPT) | 2);
    status |= smbus_read(item, registers->high, &high);
    status |= smbus_read(item, registers->low, &low);
    status |= smbus_write(item, BANK_AT_00, saved & BANK_KEPT);
    status |= smbus_read(item, registers->temperature, &temperature);
    int last = smbus_write(item, BANK_AT_00, saved);
    if (status != 0)
        return -1;
    if (system->ThermalGuideChipType == 0)
        put_word(text, temperature <= low ? "Low" : temperature <= high ? "Medium" : "High");
    else if (system->ThermalGuideChipType == 1)
        guide_1_word(temperature, text);
    return last;
}

// ---- W83627DHG, behind index and data ports; which agent is calibrated stands in its configuration

bool supportThermalText_W83627DHG(const system_settings *system, const item_record *item) {
    constexpr uint8_t PECI_DEVICE = 0x0C;
    constexpr uint8_t FIRST_TARGET = 0xE1; // agent 1; agent 2 behind it
    uint32_t agent = getPeciAgentIndex(item);
    if (item->Offset != 0x50 || !is_agent_1_or_2(agent))
        return false;
    superio_grant_ports();
    uint8_t target = 0;
    if (superio_read_device(PECI_DEVICE, static_cast<uint8_t>(FIRST_TARGET + agent - 1), &target) != 0 ||
        target != CALIBRATED)
        return false;
    uint32_t margin;
    return isa_read(system, 4, 0x5F, &margin) == 0 && margin != 0xFF;
}

int getThermalText_W83627DHG(const system_settings *system, const item_record *item, char *text) {
    uint32_t agent = getPeciAgentIndex(item);
    if (!is_agent_1_or_2(agent))
        return -1;
    guide_values values = {};
    int status = isa_read(system, 1, 0x55, &values.high);
    status |= isa_read(system, 1, 0x53, &values.middle);
    if (is_calibrated(&values))
        status |= isa_read(system, 4, 0x5F, &values.margin);
    status |= isa_read(system, agent, 0x50, &values.temperature);
    if (status != 0)
        return -1;
    guide_word(system, &values, text);
    return 0;
}

// ---- W83795ADG, over the SMBus

bool supportThermalText_W83795ADG(const system_settings *, const item_record *item) {
    return item->Offset >= 0x26 && item->Offset <= 0x2D;
}

int getThermalText_W83795ADG(const system_settings *system, const item_record *item, char *text) {
    uint32_t saved;
    machine_turn whole;
    if (smbus_read(item, BANK_AT_00, &saved) != 0)
        return -1;
    guide_values values = {};
    int status = smbus_write(item, BANK_AT_00, saved & BANK_KEPT);
    status |= smbus_read(item, 0xB2, &values.high);
    status |= smbus_read(item, 0xB3, &values.middle);
    status |= smbus_read(item, 0xDF, &values.margin);
    status |= smbus_read(item, item->Offset, &values.temperature);
    int last = smbus_write(item, BANK_AT_00, saved);
    if (status != 0)
        return -1;
    guide_word(system, &values, text);
    return last;
}

// ---- IT8720F, behind index and data ports

bool supportThermalText_IT8720F(const system_settings *, const item_record *item) {
    return item->Offset == 0x2B;
}

int getThermalText_IT8720F(const system_settings *system, const item_record *item, char *text) {
    guide_values values = {};
    int status = isa_read(system, item->Slave, 0x44, &values.high);
    status |= isa_read(system, item->Slave, 0x45, &values.middle);
    status |= isa_read(system, item->Slave, 0x97, &values.margin);
    status |= isa_read(system, item->Slave, item->Offset, &values.temperature);
    if (status != 0)
        return -1;
    guide_word(system, &values, text);
    return 0;
}

// ---- NCT6776F, behind index and data ports, or its twin behind the management engine

bool supportThermalText_NCT6776F(const system_settings *, const item_record *item) {
    return item->Slave == 7 && item->Offset >= 0x17 && item->Offset <= 0x1E;
}

// The digital reading: bit 7 of the high byte is a sign (below the target temperature), the nine bits behind
// it are whole degrees.
static int read_peci(const system_settings *system, const item_record *item, uint32_t *high,
                     uint32_t *degrees) {
    uint32_t low = 0;
    int status = isa_read(system, item->Slave, item->Offset, high);
    status |= isa_read(system, item->Slave, item->Offset + 1, &low);
    if (status != 0)
        return -1;
    *degrees = (low >> 6) + (*high & 0x7F) * 4;
    return 0;
}

// 412 = 512 - 100: the reading is a two's complement below the target temperature, which is taken as 100
// degrees.
static uint32_t below_target(uint32_t degrees) { return (degrees - 412) & 0xFF; }

static uint32_t above_target(uint32_t degrees) { return (degrees + 100) & 0xFF; }

int getThermalText_NCT6776F(const system_settings *system, const item_record *item, char *text) {
    uint32_t high = 0;
    uint32_t degrees = 0;
    if (read_peci(system, item, &high, &degrees) != 0 || high <= 127)
        return -1;
    nct6776f_word(below_target(degrees), text);
    return 0;
}

int getThermalText_ME_NCT6776F(const system_settings *system, const item_record *item, char *text) {
    uint32_t temperature = 0;
    if (bmc_owns_isa_monitor()) {
        if (IpmiByteRead_oem_30_93((item->Offset - 0x17) >> 1, &temperature) != 0)
            return -1;
        nct6776f_word(temperature, text);
        return 0;
    }
    uint32_t high = 0;
    uint32_t degrees = 0;
    if (read_peci(system, item, &high, &degrees) != 0)
        return -1;
    temperature = high > 127 ? below_target(degrees) : above_target(degrees);
    nct6776f_word(temperature, text);
    return 0;
}

// ---- NCT7904D, over the SMBus, or its twin behind the management engine

bool supportThermalText_NCT7904D(const system_settings *, const item_record *item) {
    return item->Offset >= 0xA0 && item->Offset <= 0xAE && item->Offset % 2 == 0;
}

int getThermalText_NCT7904D(const system_settings *, const item_record *item, char *text) {
    uint32_t temperature = 0;
    machine_turn whole;
    int status = smbus_write(item, BANK_AT_FF, 0);
    status |= smbus_read(item, item->Offset, &temperature);
    if (status != 0)
        return -1;
    nct7904d_word(temperature, text);
    return 0;
}

int getThermalText_ME_NCT7904D(const system_settings *, const item_record *item, char *text) {
    uint32_t temperature = 0;
    machine_turn whole;
    int status =
        smbus_write(item, BANK_AT_FF, 0); // first in every case, also when the BMC answers; kept on purpose
    if (hDevice != 0) {
        status = IpmiByteRead_oem_30_93((item->Offset & 0x0F) >> 1, &temperature);
        if (temperature == 0xFF) // no processor in that socket
            temperature = 0;
    } else {
        status |= smbus_read(item, item->Offset, &temperature);
    }
    if (status != 0)
        return -1;
    nct7904d_word(temperature, text);
    return 0;
}

// ---- By chip

uint32_t supportThermalText(const system_settings *system, const item_record *item) {
    const chip *row = chip_of(item->ChipCode);
    if (item->Cat != CAT_TEMP || row->supports_text == nullptr)
        return 0;
    return row->supports_text(system, item) ? 1 : 0;
}

int getThermalText(const system_settings *system, const item_record *item, char *text) {
    const chip *row = chip_of(item->ChipCode);
    if (item->Cat != CAT_TEMP || row->text == nullptr)
        return -1;
    return row->text(system, item, text);
}
