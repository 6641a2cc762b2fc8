// What must be whole at a chip is one turn at the machine, from its first access to its last: neither a
// signal nor another copy of the program comes in between.
#include <algorithm>
#include <cstdio>
#include <gtest/gtest.h>
#include <set>
#include <string>

#include "chips/chips.h"
#include "chips/ns87427.h"
#include "chips/winbond.h"
#include "hw/chip_codes.h"
#include "hw/ipmi.h"
#include "items/bank_select.h"
#include "items/intrusion.h"
#include "items/limits.h"
#include "items/readings.h"
#include "items/records.h"
#include "items/thermal_text.h"
#include "support/hw_recorder.h"
#include "support/os_test.h"

constexpr uint32_t SLAVE = 0x2D;
constexpr uint32_t BUS_BOTH = BUS_SMBUS | BUS_SUPERIO;

static const system_settings settings = make_system(BUS_BOTH);
static const parameter_record clear_record = make_parameter("SWITCH1C", SLAVE, 0x46, 0x80);

// Bank-select and data registers of every chip here answer 0x40, whoever asks.
static void answer_everything() {
    test_door::reset();
    hw_recorder::reset();
    for (uint32_t chip = 0; chip <= 34; chip++)
        for (uint32_t bus : {1, 8})
            for (uint32_t reg = 0; reg <= 0xFF; reg++) {
                char line[80];
                snprintf(line, sizeof line, "smbus_read %u %x %x %x", chip, bus, SLAVE, reg);
                hw_recorder::answer(line, 0x40);
            }
    for (const char *line : {"isa_read 2d 46", "isa_read 2d 4e", "bmc_30_90 2d 0 d4", "bmc_30_90 2d 0 ca"})
        hw_recorder::answer(line, 0x40);
}

static item_record item_on(uint32_t bus, uint32_t cat, uint32_t chip, uint32_t offset) {
    item_record item = make_item(cat, chip, bus, SLAVE, offset);
    set_text(item.Name, "PECI Agent1 Temperature");
    return item;
}

static void word(uint32_t chip, uint32_t offset) {
    item_record item = item_on(BUS_SMBUS, CAT_TEMP, chip, offset);
    char text[9] = "";
    getThermalText(&settings, &item, text);
}

static void clear(uint32_t bus, uint32_t chip) {
    item_record item = item_on(bus, CAT_SWITCH, chip, 0x42);
    chip_of(chip)->clear(&settings, &item, &clear_record);
}

static void read(uint32_t cat, uint32_t chip, uint32_t offset) {
    item_record item = item_on(BUS_SMBUS, cat, chip, offset);
    item.VolFunc = 0;
    int64_t value = 0;
    get_item_readingImpl(&settings, &item, 1, nullptr, 0, &item, &value);
}

static void read_limit(uint32_t cat, uint32_t chip) {
    item_record item = item_on(BUS_SMBUS, cat, chip, 0x10);
    int64_t value = 0;
    get_item_limit(HIGH_LIMIT, &settings, clear_record.szKeyName, &item, &clear_record, 1, &value);
}

static void correct_bank(uint32_t bus) {
    item_record item = item_on(bus, CAT_VOLTAGE, CHIP_W83627HF, 0x50);
    correctBankSelectRegister(KIND_READING, MODE_BEFORE_READ, &settings, &item, item.Offset);
}

static const struct {
    const char *what;
    unsigned least; // accesses
    void (*call)();
} sequences[] = {
    {"word of the W83793G", 7, [] { word(CHIP_W83793G, 0x1C); }},
    {"calibration of the W83793G", 4,
     [] {
         item_record item = item_on(BUS_SMBUS, CAT_TEMP, CHIP_W83793G, 0x1C);
         supportThermalText(&settings, &item);
     }},
    {"word of the W83795ADG", 7, [] { word(CHIP_W83795ADG, 0x26); }},
    {"word of chip 29", 7, [] { word(CHIP_W83795ADG_29, 0x26); }},
    {"word of the NCT7904D", 2, [] { word(CHIP_NCT7904D, 0xA0); }},
    {"word of chip 32", 2, [] { word(CHIP_ME_NCT7904D, 0xA0); }},
    {"bits set over the SMBus", 2, [] { clear(BUS_SMBUS, CHIP_0); }},
    {"bits set over the ports", 2, [] { clear(BUS_SUPERIO, CHIP_0); }},
    {"pulse over the SMBus", 3, [] { clear(BUS_SMBUS, CHIP_ADM1026); }},
    {"pulse over the ports", 3, [] { clear(BUS_SUPERIO, CHIP_ADM1026); }},
    {"clear of the W83793G", 2, [] { clear(BUS_SMBUS, CHIP_W83793G); }},
    {"clear of the NCT7904D", 5, [] { clear(BUS_SMBUS, CHIP_NCT7904D); }},
    {"clear of the NCT7904D by the BMC", 4,
     [] {
         hDevice = 99;
         clear(BUS_SMBUS, CHIP_NCT7904D);
     }},
    {"clear of the NS87427", 2, [] { NS87427_Intru_IO_Clear(0x10, 0x600); }},
    {"identification of the W83627HF", 9,
     [] {
         uint32_t id = 0;
         get_W83627HF_Device_ID(&id);
     }},
    {"clear in the configuration", 13, [] { W83627HF_A_Intru_IO_Clear(CHIP_W83627HF); }},
    {"fan of the NCT7904D", 3, [] { read(CAT_FAN, CHIP_NCT7904D, 0x80); }},
    {"switch of the NCT7904D", 2, [] { read(CAT_SWITCH, CHIP_NCT7904D, 0xCA); }},
    {"voltage of the NCT7904D", 2, [] { read(CAT_VOLTAGE, CHIP_NCT7904D, 0x40); }},
    {"limit of the NCT7904D", 2, [] { read_limit(CAT_VOLTAGE, CHIP_NCT7904D); }},
    {"fan limit of the NCT7904D", 3, [] { read_limit(CAT_FAN, CHIP_NCT7904D); }},
    {"fan of the NS87427", 4,
     [] {
         item_record item = make_item(CAT_FAN, CHIP_NS87427, 0, 1, 0x600);
         int64_t value = 0;
         get_item_readingImpl(&settings, &item, 1, nullptr, 0, &item, &value);
     }},
    {"correction of a bank over the SMBus", 2, [] { correct_bank(BUS_SMBUS); }},
    {"correction of a bank over the ports", 2, [] { correct_bank(BUS_SUPERIO); }},
};

TEST(Sequences, AreOneTurnEach) {
    for (const auto &sequence : sequences) {
        answer_everything();
        test_door::captured_stdout(sequence.call);
        EXPECT_EQ(test_door::turns_of_accesses, std::set<int>{1}) << sequence.what;
        EXPECT_FALSE(test_door::in_turn) << sequence.what;
        std::string log = hw_recorder::take_log() + test_door::take_log();
        EXPECT_GE(std::count(log.begin(), log.end(), '\n'), sequence.least) << sequence.what << ":\n" << log;
    }
}
