#include "items/thermal_text.h"

#include <cerrno>
#include <gtest/gtest.h>
#include <string>

#include "chips/guide_words.h"
#include "hw/chip_codes.h"
#include "hw/ipmi.h"
#include "items/records.h"
#include "support/hw_recorder.h"
#include "support/os_test.h"

constexpr uint32_t SMBUS_SLAVE = 0x2D;
constexpr uint32_t LAST_CODE = 34;
constexpr uint32_t UNKNOWN_CODE = 0xFF;

static void reset_all() {
    test_door::reset();
    hw_recorder::reset();
}

static item_record smbus_item(const char *name, uint32_t chip, uint32_t offset) {
    item_record item = make_item(CAT_TEMP, chip, BUS_SMBUS, SMBUS_SLAVE, offset);
    set_text(item.Name, name);
    return item;
}

static item_record isa_item(const char *name, uint32_t chip, uint32_t bank, uint32_t offset) {
    item_record item = make_item(CAT_TEMP, chip, BUS_SUPERIO, bank, offset);
    set_text(item.Name, name);
    return item;
}

static system_settings settings(uint32_t level_type, uint32_t guide_type) {
    system_settings system = make_system(BUS_SMBUS | BUS_SUPERIO);
    system.W83793GTempLevelType = level_type;
    system.ThermalGuideChipType = guide_type;
    return system;
}

struct word_result {
    int status;
    std::string text; // "before" when it was left as it was
};

// Into a buffer of just the size that callers must give.
static word_result word_of(const system_settings &system, const item_record &item) {
    char text[9] = "before";
    int status = getThermalText(&system, &item, text);
    return {status, text};
}

static void expect_word(const system_settings &system, const item_record &item, const char *word,
                        const std::string &input) {
    word_result result = word_of(system, item);
    EXPECT_EQ(result.status, 0) << input;
    EXPECT_EQ(result.text, word) << input;
}

static void expect_failure(const system_settings &system, const item_record &item, const std::string &input) {
    word_result result = word_of(system, item);
    EXPECT_EQ(result.status, -1) << input;
    EXPECT_EQ(result.text, "before") << input;
}

static bool ends_with(const std::string &log, const std::string &line) {
    return log.size() >= line.size() && log.compare(log.size() - line.size(), line.size(), line) == 0;
}

// ---- The agent in a name

TEST(PeciAgentIndex, FirstFoundPartOfTheNameDecides) {
    static const struct {
        const char *name;
        uint32_t agent;
    } cases[] = {
        {"CPU1 Temperature", 1},
        {"PECI Agent1", 1},
        {"CPU2 Temperature", 2},
        {"PECI Agent2", 2},
        {"CPU3 Temperature", 3},
        {"PECI Agent3", 3},
        {"CPU4 Temperature", 4},
        {"PECI Agent4", 4},
        {"CPU Temperature", 1},
        {"PECI Agent", 1},
        {"My CPU2", 2},          // anywhere in the name
        {"CPU12", 1},            // "CPU1" is in it
        {"CPU21", 2},            // "CPU1" does not
        {"CPU5", 1},             // "CPU"
        {"PECI Agent9", 1},      // "PECI Agent"
        {"PECI Agent2 CPU1", 1}, // "CPU1" is looked for first, wherever it is
        {"CPU2 PECI Agent1", 1}, // "PECI Agent1" comes before "CPU2"
        {"PECI Agent3 CPU2", 2},
        {"CPU4 CPU3", 3},
        {"CPU4 PECI Agent3", 3},
        {"PECI Agent4 CPU", 4}, // the bare names come last
        {"CPU PECI Agent4", 4},
        {"PECI Agent CPU4", 4},
        {"System Temperature", 0},
        {"cpu1 Temperature", 0},
        {"Cpu2", 0},
        {"peci agent1", 0},
        {"PECI agent1", 0},
        {"PECIAgent1", 0},
        {"CP U1", 0},
        {"", 0},
    };
    for (const auto &c : cases) {
        item_record item = smbus_item(c.name, CHIP_W83793G, 0x1C);
        EXPECT_EQ(getPeciAgentIndex(&item), c.agent) << "'" << c.name << "'";
    }
}

// ---- By chip

static bool has_words(uint32_t code) {
    for (uint32_t chip : {17, 19, 22, 24, 23, 29, 25, 28, 33, 30, 32})
        if (chip == code)
            return true;
    return false;
}

static void expect_no_words(const system_settings &system, const item_record &item) {
    std::string input = "chip " + std::to_string(item.ChipCode) + " category " + std::to_string(item.Cat) +
                        " offset " + std::to_string(item.Offset);
    EXPECT_EQ(supportThermalText(&system, &item), 0u) << input;
    expect_failure(system, item, input);
    EXPECT_EQ(hw_recorder::take_log(), "") << input;
    EXPECT_EQ(test_door::take_log(), "") << input;
}

// A slave and a register with which one or another chip has a word.
static const struct {
    uint32_t slave;
    uint32_t offset;
} worded_registers[] = {{SMBUS_SLAVE, 0x1C}, {0, 0x50}, {SMBUS_SLAVE, 0x26}, {0, 0x2B}, {7, 0x17}, {7, 0xA0}};

TEST(ThermalTextChips, ChipWithoutWordsIsNeverTouched) {
    reset_all();
    system_settings system = settings(0, 0);
    for (uint32_t code = 0; code <= UNKNOWN_CODE; code++) {
        if (has_words(code))
            continue;
        for (const auto &place : worded_registers) {
            item_record item = isa_item("CPU1 Temperature", code, place.slave, place.offset);
            item.BusType = BUS_SMBUS | BUS_SUPERIO;
            expect_no_words(system, item);
        }
    }
}

TEST(ThermalTextChips, OtherCategoriesAreNeverTouched) {
    reset_all();
    system_settings system = settings(0, 0);
    for (uint32_t cat :
         {uint32_t{CAT_FAN}, uint32_t{CAT_VOLTAGE}, uint32_t{CAT_SWITCH}, 4u, 5u, 6u, NOT_GIVEN}) {
        for (uint32_t code = 0; code <= LAST_CODE + 1; code++) {
            for (const auto &place : worded_registers) {
                item_record item = isa_item("CPU1 Temperature", code, place.slave, place.offset);
                item.BusType = BUS_SMBUS | BUS_SUPERIO;
                item.Cat = cat;
                expect_no_words(system, item);
            }
        }
    }
}

struct support_case {
    uint32_t chip;
    uint32_t slave;
    uint32_t offset;
    uint32_t supported;
};

TEST(ThermalTextSupport, RegisterAloneDecidesWithoutAnAccess) {
    static const support_case cases[] = {
        {CHIP_W83795ADG, SMBUS_SLAVE, 0x25, 0},
        {CHIP_W83795ADG, SMBUS_SLAVE, 0x26, 1},
        {CHIP_W83795ADG, SMBUS_SLAVE, 0x2D, 1},
        {CHIP_W83795ADG, SMBUS_SLAVE, 0x2E, 0},
        {CHIP_W83795ADG_29, SMBUS_SLAVE, 0x25, 0},
        {CHIP_W83795ADG_29, SMBUS_SLAVE, 0x26, 1},
        {CHIP_W83795ADG_29, SMBUS_SLAVE, 0x2D, 1},
        {CHIP_W83795ADG_29, SMBUS_SLAVE, 0x2E, 0},
        {CHIP_IT8720F, 0, 0x2A, 0},
        {CHIP_IT8720F, 0, 0x2B, 1},
        {CHIP_IT8720F, 0, 0x2C, 0},
        {CHIP_NCT6776F, 7, 0x16, 0},
        {CHIP_NCT6776F, 7, 0x17, 1},
        {CHIP_NCT6776F, 7, 0x1E, 1},
        {CHIP_NCT6776F, 7, 0x1F, 0},
        {CHIP_NCT6776F, 6, 0x17, 0},
        {CHIP_NCT6776F, 8, 0x17, 0},
        {CHIP_NCT6776F, 0, 0x17, 0},
        {CHIP_ME_NCT6776F, 7, 0x16, 0},
        {CHIP_ME_NCT6776F, 7, 0x17, 1},
        {CHIP_ME_NCT6776F, 7, 0x1E, 1},
        {CHIP_ME_NCT6776F, 7, 0x1F, 0},
        {CHIP_ME_NCT6776F, 6, 0x17, 0},
        {CHIP_ME_NCT6776F, 8, 0x17, 0},
    };
    reset_all();
    system_settings system = settings(0, 0);
    for (const support_case &c : cases) {
        item_record item = isa_item("System Temperature", c.chip, c.slave, c.offset); // any name will do
        EXPECT_EQ(supportThermalText(&system, &item), c.supported)
            << "chip " << c.chip << " slave " << c.slave << " offset " << c.offset;
        EXPECT_EQ(hw_recorder::take_log(), "") << "chip " << c.chip;
        EXPECT_EQ(test_door::take_log(), "") << "chip " << c.chip;
    }
}

TEST(ThermalTextSupport, EvenRegistersFromA0ToAEOfTheNct7904d) {
    reset_all();
    system_settings system = settings(0, 0);
    for (uint32_t chip : {CHIP_NCT7904D, CHIP_ME_NCT7904D}) {
        for (uint32_t offset = 0; offset <= 0xFF; offset++) {
            item_record item = smbus_item("System Temperature", chip, offset);
            uint32_t supported = 0;
            for (uint32_t worded : {0xA0, 0xA2, 0xA4, 0xA6, 0xA8, 0xAA, 0xAC, 0xAE})
                if (offset == worded)
                    supported = 1;
            EXPECT_EQ(supportThermalText(&system, &item), supported)
                << "chip " << chip << " offset " << offset;
        }
    }
    EXPECT_EQ(hw_recorder::take_log(), "");
}

// ---- W83793G. Its bank-select register reads 0x85: bits 3 to 7 are 0x80, so bank 0 is 0x80 and bank 2 is
// 0x82.

struct w83793g_case {
    const char *name;
    uint32_t level_type;
    std::string target; // register of the target temperature, bank 0
    std::string high;   // bank 2
    std::string middle;
    std::string low;
    std::string temperature; // bank 0
};

static const w83793g_case w83793g_cases[] = {
    {"CPU1 Temperature", 1, "d1", "32", "31", "30", "1c"},
    {"CPU1 Temperature", 0, "d1", "36", "35", "34", "1c"},
    {"PECI Agent2", 1, "d2", "42", "41", "40", "1d"},
    {"PECI Agent2", 0, "d2", "46", "45", "44", "1d"},
};

static const char W83793G_BANK_READ[] = "smbus_read 17 1 2d 0";
static const char W83793G_BANK_0[] = "smbus_write 1 2d 0 80";
static const char W83793G_BANK_2[] = "smbus_write 1 2d 0 82";
static const char W83793G_RESTORED[] = "smbus_write 1 2d 0 85";

static std::string w83793g_read(const std::string &reg) { return "smbus_read 17 1 2d " + reg; }

static std::string described(const w83793g_case &c) {
    return std::string(c.name) + " level type " + std::to_string(c.level_type);
}

// All of the agent's registers answer: a calibrated agent (100), thresholds 70, 65, 60.
static void answer_w83793g(const w83793g_case &c, uint32_t temperature) {
    reset_all();
    hw_recorder::answer(W83793G_BANK_READ, 0x85);
    hw_recorder::answer(w83793g_read(c.target), 100);
    hw_recorder::answer(w83793g_read(c.high), 70);
    hw_recorder::answer(w83793g_read(c.middle), 65);
    hw_recorder::answer(w83793g_read(c.low), 60);
    hw_recorder::answer(w83793g_read(c.temperature), temperature);
}

TEST(ThermalTextW83793g, SupportReadsTheAgentsThresholdsAndRestoresTheBank) {
    for (const w83793g_case &c : w83793g_cases) {
        answer_w83793g(c, 0);
        system_settings system = settings(c.level_type, 0);
        item_record item = smbus_item(c.name, CHIP_W83793G, 0x1C);
        EXPECT_EQ(supportThermalText(&system, &item), 1u) << described(c);
        EXPECT_EQ(hw_recorder::take_log(), std::string(W83793G_BANK_READ) + "\n" + W83793G_BANK_0 + "\n" +
                                               w83793g_read(c.target) + "\n" + W83793G_BANK_2 + "\n" +
                                               w83793g_read(c.high) + "\n" + w83793g_read(c.middle) + "\n" +
                                               w83793g_read(c.low) + "\n" + W83793G_RESTORED + "\n")
            << described(c);
    }
}

TEST(ThermalTextW83793g, SupportNeedsThresholdsFiveDegreesApart) {
    static const struct {
        uint32_t high;
        uint32_t middle;
        uint32_t low;
        uint32_t supported;
    } cases[] = {{70, 65, 60, 1}, {10, 5, 0, 1},      {255, 250, 245, 1}, {71, 65, 60, 0},
                 {69, 65, 60, 0}, {70, 65, 61, 0},    {70, 65, 59, 0},    {70, 66, 60, 0},
                 {0, 0, 0, 0},    {255, 255, 255, 0}, {60, 65, 70, 0}};
    system_settings system = settings(1, 0);
    item_record item = smbus_item("CPU1 Temperature", CHIP_W83793G, 0x1C);
    for (const auto &c : cases) {
        answer_w83793g(w83793g_cases[0], 0);
        hw_recorder::answer(w83793g_read("32"), c.high);
        hw_recorder::answer(w83793g_read("31"), c.middle);
        hw_recorder::answer(w83793g_read("30"), c.low);
        EXPECT_EQ(supportThermalText(&system, &item), c.supported)
            << c.high << " " << c.middle << " " << c.low;
        EXPECT_TRUE(ends_with(hw_recorder::take_log(), "smbus_write 1 2d 0 85\n"))
            << c.high << " " << c.middle << " " << c.low;
    }
}

TEST(ThermalTextW83793g, SupportWithoutTargetOf100OnlyRestoresTheBank) {
    for (const w83793g_case &c : w83793g_cases) {
        for (uint32_t target : {0, 99, 101, 255}) {
            answer_w83793g(c, 0);
            hw_recorder::answer(w83793g_read(c.target), target);
            system_settings system = settings(c.level_type, 0);
            item_record item = smbus_item(c.name, CHIP_W83793G, 0x1C);
            EXPECT_EQ(supportThermalText(&system, &item), 0u) << described(c) << " target " << target;
            EXPECT_EQ(hw_recorder::take_log(), std::string(W83793G_BANK_READ) + "\n" + W83793G_BANK_0 + "\n" +
                                                   w83793g_read(c.target) + "\n" + W83793G_RESTORED + "\n")
                << described(c) << " target " << target;
        }
    }
}

TEST(ThermalTextW83793g, SupportRestoresTheBankAfterAnyFailedAccess) {
    for (const w83793g_case &c : w83793g_cases) {
        for (const std::string &line :
             {w83793g_read(c.target), w83793g_read(c.high), w83793g_read(c.middle), w83793g_read(c.low),
              std::string(W83793G_BANK_0), std::string(W83793G_BANK_2)}) {
            answer_w83793g(c, 0);
            hw_recorder::fail(line);
            system_settings system = settings(c.level_type, 0);
            item_record item = smbus_item(c.name, CHIP_W83793G, 0x1C);
            EXPECT_EQ(supportThermalText(&system, &item), 0u) << described(c) << " without " << line;
            EXPECT_TRUE(ends_with(hw_recorder::take_log(), "smbus_write 1 2d 0 85\n"))
                << described(c) << " without " << line;
        }
    }
}

TEST(ThermalTextW83793g, SupportWritesNothingWhenTheBankIsUnknown) {
    answer_w83793g(w83793g_cases[0], 0);
    hw_recorder::fail(W83793G_BANK_READ);
    system_settings system = settings(1, 0);
    item_record item = smbus_item("CPU1 Temperature", CHIP_W83793G, 0x1C);
    EXPECT_EQ(supportThermalText(&system, &item), 0u);
    EXPECT_EQ(hw_recorder::take_log(), "smbus_read 17 1 2d 0\n");
}

TEST(ThermalTextW83793g, SupportByRegisterNameAndLevelType) {
    static const struct {
        const char *name;
        uint32_t offset;
        uint32_t level_type;
        uint32_t supported;
    } cases[] = {
        {"CPU1", 0x1B, 1, 0},          {"CPU1", 0x1C, 1, 1},  {"CPU1", 0x1D, 1, 1},
        {"CPU1", 0x1F, 1, 1},          {"CPU1", 0x20, 1, 0},  {"CPU1", 0x1C, 2, 0},
        {"CPU1", 0x1C, 0xFF, 0},       {"CPU12", 0x1C, 1, 1}, {"CPU", 0x1C, 1, 1},
        {"CPU3", 0x1C, 1, 0},          {"CPU4", 0x1C, 1, 0},  {"PECI Agent3", 0x1C, 1, 0},
        {"Temperature 1", 0x1C, 1, 0}, {"cpu1", 0x1C, 1, 0},
    };
    for (const auto &c : cases) {
        answer_w83793g(w83793g_cases[0], 0);
        system_settings system = settings(c.level_type, 0);
        item_record item = smbus_item(c.name, CHIP_W83793G, c.offset);
        EXPECT_EQ(supportThermalText(&system, &item), c.supported)
            << c.name << " offset " << c.offset << " level type " << c.level_type;
        if (c.supported == 0) {
            EXPECT_EQ(hw_recorder::take_log(), "") << c.name << " offset " << c.offset;
        }
    }
}

TEST(ThermalTextW83793g, TextReadsHighAndLowInBank2AndTheAgentInBank0) {
    for (const w83793g_case &c : w83793g_cases) {
        answer_w83793g(c, 65);
        system_settings system = settings(c.level_type, 0);
        item_record item =
            smbus_item(c.name, CHIP_W83793G, 0x1E); // the agent's register, not the item's, is read
        expect_word(system, item, "Medium", described(c));
        EXPECT_EQ(hw_recorder::take_log(), std::string(W83793G_BANK_READ) + "\n" + W83793G_BANK_2 + "\n" +
                                               w83793g_read(c.high) + "\n" + w83793g_read(c.low) + "\n" +
                                               W83793G_BANK_0 + "\n" + w83793g_read(c.temperature) + "\n" +
                                               W83793G_RESTORED + "\n")
            << described(c);
    }
}

TEST(ThermalTextW83793g, WordByTemperature) {
    static const struct {
        uint32_t guide_type;
        uint32_t temperature;
        const char *word;
    } cases[] = {
        {0, 0, "Low"},     {0, 59, "Low"},    {0, 60, "Low"},     {0, 61, "Medium"},    {0, 69, "Medium"},
        {0, 70, "Medium"}, {0, 71, "High"},   {0, 255, "High"},   {1, 0, "Low"},        {1, 45, "Low"},
        {1, 46, "Medium"}, {1, 47, "Medium"}, {1, 59, "Medium"},  {1, 60, "Medium"},    {1, 61, "High"},
        {1, 255, "High"},  {2, 0, "before"},  {2, 255, "before"}, {0xFF, 65, "before"},
    };
    for (const auto &c : cases) {
        answer_w83793g(w83793g_cases[0], c.temperature);
        item_record item = smbus_item("CPU1", CHIP_W83793G, 0x1C);
        expect_word(settings(1, c.guide_type), item, c.word,
                    "guide type " + std::to_string(c.guide_type) + " at " + std::to_string(c.temperature));
        EXPECT_TRUE(ends_with(hw_recorder::take_log(), "smbus_write 1 2d 0 85\n")) << c.guide_type;
    }
}

TEST(ThermalTextW83793g, TextNeedsLevelTypeAndAgent) {
    static const struct {
        const char *name;
        uint32_t level_type;
    } cases[] = {{"CPU1", 2}, {"CPU1", 0xFF},       {"CPU3", 1},
                 {"CPU4", 0}, {"Temperature 1", 1}, {"peci agent1", 0}};
    for (const auto &c : cases) {
        answer_w83793g(w83793g_cases[0], 65);
        item_record item = smbus_item(c.name, CHIP_W83793G, 0x1C);
        expect_failure(settings(c.level_type, 0), item, c.name);
        EXPECT_EQ(hw_recorder::take_log(), "") << c.name << " level type " << c.level_type;
    }
}

TEST(ThermalTextW83793g, TextRestoresTheBankAfterAnyFailedAccess) {
    for (const w83793g_case &c : w83793g_cases) {
        for (const std::string &line :
             {w83793g_read(c.high), w83793g_read(c.low), w83793g_read(c.temperature),
              std::string(W83793G_BANK_0), std::string(W83793G_BANK_2)}) {
            answer_w83793g(c, 65);
            hw_recorder::fail(line);
            item_record item = smbus_item(c.name, CHIP_W83793G, 0x1C);
            expect_failure(settings(c.level_type, 0), item, described(c) + " without " + line);
            EXPECT_TRUE(ends_with(hw_recorder::take_log(), "smbus_write 1 2d 0 85\n"))
                << described(c) << " without " << line;
        }
    }
}

TEST(ThermalTextW83793g, TextFailsWhenTheBankIsUnknownOrNotRestored) {
    item_record item = smbus_item("CPU1", CHIP_W83793G, 0x1C);
    answer_w83793g(w83793g_cases[0], 65);
    hw_recorder::fail(W83793G_BANK_READ);
    expect_failure(settings(1, 0), item, "no bank");
    EXPECT_EQ(hw_recorder::take_log(), "smbus_read 17 1 2d 0\n");

    answer_w83793g(w83793g_cases[0], 65);
    hw_recorder::fail(W83793G_RESTORED);
    EXPECT_NE(word_of(settings(1, 0), item).status, 0); // the result is that of the last write
}

// ---- W83627DHG: the target temperature is in the Super I/O configuration, device 0x0C, registers 0xE1,
// 0xE2

struct superio_configuration {
    uint8_t selected = 0;
    uint8_t device = 0;
    uint8_t target_1 = 0x64;
    uint8_t target_2 = 0x64;
};
static superio_configuration configuration;

static void write_configuration(uint16_t port, uint8_t value) {
    if (port == 0x2E)
        configuration.selected = value;
    else if (port == 0x2F && configuration.selected == 0x07)
        configuration.device = value;
    if (port == 0x2E && value == 0xAA) {
        EXPECT_EQ(hw_recorder::take_log(), ""); // the monitor's registers are asked only afterwards
    }
}

static uint8_t read_configuration(uint16_t port) {
    if (port != 0x2F || configuration.device != 0x0C)
        return 0xFF;
    if (configuration.selected == 0xE1)
        return configuration.target_1;
    return configuration.selected == 0xE2 ? configuration.target_2 : 0xFF;
}

// A calibrated agent with a margin; no port is granted by the level.
static void attach_w83627dhg() {
    reset_all();
    configuration = {};
    test_door::on_outb = write_configuration;
    test_door::on_inb = read_configuration;
    test_door::grant_all_ports(false);
    hw_recorder::answer("isa_read 4 5f", 20);
}

TEST(ThermalTextW83627dhg, SupportAsksTheConfigurationAndThenTheMargin) {
    static const struct {
        const char *name;
        uint8_t target_1;
        uint8_t target_2;
        const char *ports;
    } cases[] = {
        {"CPU1 Temperature", 0x64, 0,
         "ioperm 002e 1 1\nioperm 002f 1 1\noutb 002e 87\noutb 002e 87\noutb 002e 07\noutb 002f 0c\n"
         "outb 002e e1\ninb 002f 64\noutb 002e aa\n"},
        {"PECI Agent2", 0, 0x64,
         "ioperm 002e 1 1\nioperm 002f 1 1\noutb 002e 87\noutb 002e 87\noutb 002e 07\noutb 002f 0c\n"
         "outb 002e e2\ninb 002f 64\noutb 002e aa\n"},
    };
    system_settings system = settings(0, 0);
    for (uint32_t chip : {CHIP_W83627DHG, CHIP_W83627DHG_22, CHIP_W83627DHG_24}) {
        for (const auto &c : cases) {
            attach_w83627dhg();
            configuration.target_1 = c.target_1;
            configuration.target_2 = c.target_2;
            item_record item = isa_item(c.name, chip, 1, 0x50);
            EXPECT_EQ(supportThermalText(&system, &item), 1u) << "chip " << chip << " " << c.name;
            EXPECT_EQ(test_door::take_log(), c.ports) << "chip " << chip << " " << c.name;
            EXPECT_EQ(hw_recorder::take_log(), "isa_read 4 5f\n") << "chip " << chip << " " << c.name;
        }
    }
}

TEST(ThermalTextW83627dhg, SupportNeedsTargetOf100) {
    system_settings system = settings(0, 0);
    item_record item = isa_item("CPU1", CHIP_W83627DHG, 1, 0x50);
    for (int target : {0, 0x63, 0x65, 0xFF}) {
        attach_w83627dhg();
        configuration.target_1 = static_cast<uint8_t>(target);
        EXPECT_EQ(supportThermalText(&system, &item), 0u) << target;
        EXPECT_TRUE(ends_with(test_door::take_log(), "outb 002e aa\n")) << target;
        EXPECT_EQ(hw_recorder::take_log(), "") << target;
    }
}

TEST(ThermalTextW83627dhg, SupportNeedsMarginOtherThanFF) {
    static const struct {
        uint32_t margin;
        uint32_t supported;
    } cases[] = {{0, 1}, {0xFE, 1}, {0xFF, 0}};
    system_settings system = settings(0, 0);
    item_record item = isa_item("CPU1", CHIP_W83627DHG, 1, 0x50);
    for (const auto &c : cases) {
        attach_w83627dhg();
        hw_recorder::answer("isa_read 4 5f", c.margin);
        EXPECT_EQ(supportThermalText(&system, &item), c.supported) << c.margin;
    }
    attach_w83627dhg();
    hw_recorder::fail("isa_read 4 5f");
    EXPECT_EQ(supportThermalText(&system, &item), 0u) << "no margin";
}

TEST(ThermalTextW83627dhg, SupportByRegisterAndName) {
    static const struct {
        const char *name;
        uint32_t offset;
        uint32_t supported;
    } cases[] = {{"CPU1", 0x50, 1}, {"CPU1", 0x4F, 0}, {"CPU1", 0x51, 0},          {"CPU3", 0x50, 0},
                 {"CPU4", 0x50, 0}, {"CPU", 0x50, 1},  {"Temperature 1", 0x50, 0}, {"cpu2", 0x50, 0}};
    system_settings system = settings(0, 0);
    for (const auto &c : cases) {
        attach_w83627dhg();
        item_record item = isa_item(c.name, CHIP_W83627DHG, 1, c.offset);
        EXPECT_EQ(supportThermalText(&system, &item), c.supported) << c.name << " " << c.offset;
        if (c.supported != 0)
            continue;
        EXPECT_EQ(test_door::take_log(), "") << c.name << " " << c.offset;
        EXPECT_EQ(hw_recorder::take_log(), "") << c.name << " " << c.offset;
    }
}

TEST(ThermalTextW83627dhg, RefusedPortMeansNoSupport) {
    system_settings system = settings(0, 0);
    item_record item = isa_item("CPU1", CHIP_W83627DHG, 1, 0x50);
    attach_w83627dhg();
    test_door::fail_call("ioperm", 1, EPERM); // the index port: configuration mode cannot be entered
    EXPECT_EQ(supportThermalText(&system, &item), 0u);
    EXPECT_EQ(hw_recorder::take_log(), "");

    attach_w83627dhg();
    test_door::fail_call("ioperm", 2, EPERM); // the data port: configuration mode is entered, and left
    EXPECT_EQ(supportThermalText(&system, &item), 0u);
    EXPECT_TRUE(ends_with(test_door::take_log(), "outb 002e aa\n"));
    EXPECT_EQ(hw_recorder::take_log(), "");

    attach_w83627dhg();
    test_door::fail_call("inb", 1, EIO);
    EXPECT_EQ(supportThermalText(&system, &item), 0u);
    EXPECT_TRUE(ends_with(test_door::take_log(), "outb 002e aa\n"));
    EXPECT_EQ(hw_recorder::take_log(), "");
}

TEST(ThermalTextW83627dhg, TextReadsTheMarginOnlyWhenCalibrated) {
    static const struct {
        const char *name;
        uint32_t middle; // the high threshold is 80
        uint32_t guide_type;
        const char *word;
        const char *log;
    } cases[] = {
        {"CPU1", 75, 0, "Low", "isa_read 1 55\nisa_read 1 53\nisa_read 4 5f\nisa_read 1 50\n"},
        {"CPU2", 75, 0, "Medium", "isa_read 1 55\nisa_read 1 53\nisa_read 4 5f\nisa_read 2 50\n"},
        {"CPU1", 74, 0, "Low", "isa_read 1 55\nisa_read 1 53\nisa_read 1 50\n"},
        {"CPU2", 74, 0, "Medium", "isa_read 1 55\nisa_read 1 53\nisa_read 2 50\n"},
        {"CPU1", 75, 1, "Medium", "isa_read 1 55\nisa_read 1 53\nisa_read 4 5f\nisa_read 1 50\n"},
        {"CPU2", 75, 1, "High", "isa_read 1 55\nisa_read 1 53\nisa_read 4 5f\nisa_read 2 50\n"},
        {"CPU2", 74, 1, "High", "isa_read 1 55\nisa_read 1 53\nisa_read 2 50\n"},
    };
    for (uint32_t chip : {CHIP_W83627DHG, CHIP_W83627DHG_22, CHIP_W83627DHG_24}) {
        for (const auto &c : cases) {
            reset_all();
            hw_recorder::answer("isa_read 1 55", 80);
            hw_recorder::answer("isa_read 1 53", c.middle);
            hw_recorder::answer("isa_read 4 5f", 20); // Low up to 70, High above 80
            hw_recorder::answer("isa_read 1 50", 55);
            hw_recorder::answer("isa_read 2 50", 75);
            item_record item = isa_item(c.name, chip, 5, 0x50); // the agent, not the item's bank, is the bank
            std::string input = std::string(c.name) + " chip " + std::to_string(chip) + " middle " +
                                std::to_string(c.middle) + " guide type " + std::to_string(c.guide_type);
            expect_word(settings(0, c.guide_type), item, c.word, input);
            EXPECT_EQ(hw_recorder::take_log(), c.log) << input;
            EXPECT_EQ(test_door::take_log(), "") << input;
        }
    }
}

TEST(ThermalTextW83627dhg, TextNeedsAgent) {
    reset_all();
    for (const char *name : {"CPU3", "PECI Agent4", "Temperature 1", "cpu1"}) {
        item_record item = isa_item(name, CHIP_W83627DHG, 1, 0x50);
        expect_failure(settings(0, 0), item, name);
        EXPECT_EQ(hw_recorder::take_log(), "") << name;
    }
}

// ---- The words of the W83627DHG, the W83795ADG and the IT8720F

struct guide_case {
    uint32_t guide_type;
    uint32_t high;
    uint32_t middle;
    uint32_t margin;
    uint32_t temperature;
    const char *word;
};

static const guide_case guide_cases[] = {
    // Calibrated (high - 5 = middle). Margin 20: Low up to (100 - 20) - 10 = 70, High above 80.
    {0, 80, 75, 20, 0, "Low"},
    {0, 80, 75, 20, 69, "Low"},
    {0, 80, 75, 20, 70, "Low"},
    {0, 80, 75, 20, 71, "Medium"},
    {0, 80, 75, 20, 79, "Medium"},
    {0, 80, 75, 20, 80, "Medium"},
    {0, 80, 75, 20, 81, "High"},
    {0, 80, 75, 20, 255, "High"},
    // Margin 0: Low up to 90, High above 100.
    {0, 80, 75, 0, 89, "Low"},
    {0, 80, 75, 0, 90, "Low"},
    {0, 80, 75, 0, 91, "Medium"},
    {0, 80, 75, 0, 99, "Medium"},
    {0, 80, 75, 0, 100, "Medium"},
    {0, 80, 75, 0, 101, "High"},
    // Margin 90: Low up to 0, High above 10.
    {0, 80, 75, 90, 0, "Low"},
    {0, 80, 75, 90, 1, "Medium"},
    {0, 80, 75, 90, 10, "Medium"},
    {0, 80, 75, 90, 11, "High"},
    // Margin 100: Low up to -10, High above 0; margin 255: High above -155.
    {0, 80, 75, 100, 0, "Medium"},
    {0, 80, 75, 100, 1, "High"},
    {0, 80, 75, 255, 0, "High"},
    {0, 80, 75, 255, 255, "High"},
    {0, 5, 0, 20, 80, "Medium"}, // calibrated at the ends of a byte, too
    {0, 255, 250, 20, 80, "Medium"},
    // Not calibrated: Low below 71, High above 85, whatever the margin.
    {0, 80, 74, 20, 0, "Low"},
    {0, 80, 74, 20, 70, "Low"},
    {0, 80, 74, 20, 71, "Medium"},
    {0, 80, 74, 20, 72, "Medium"},
    {0, 80, 74, 20, 84, "Medium"},
    {0, 80, 74, 20, 85, "Medium"},
    {0, 80, 74, 20, 86, "High"},
    {0, 80, 74, 20, 255, "High"},
    {0, 80, 76, 20, 70, "Low"},
    {0, 80, 76, 20, 85, "Medium"},
    {0, 0, 0, 20, 71, "Medium"},
    {0, 75, 80, 20, 71, "Medium"},
    {0, 3, 0xFE, 20, 80, "Medium"}, // 3 - 5 is not 0xFE: Medium up to 85, not up to 80
    {0, 3, 0xFE, 20, 85, "Medium"},
    {0, 80, 74, 255, 70, "Low"},
    // Guide type 1, calibrated or not.
    {1, 80, 75, 20, 0, "Low"},
    {1, 80, 75, 20, 45, "Low"},
    {1, 80, 75, 20, 46, "Medium"},
    {1, 80, 75, 20, 47, "Medium"},
    {1, 80, 75, 20, 59, "Medium"},
    {1, 80, 75, 20, 60, "Medium"},
    {1, 80, 75, 20, 61, "High"},
    {1, 80, 75, 20, 255, "High"},
    {1, 80, 74, 20, 45, "Low"},
    {1, 80, 74, 20, 46, "Medium"},
    {1, 80, 74, 20, 60, "Medium"},
    {1, 80, 74, 20, 61, "High"},
    {1, 80, 75, 255, 45, "Low"},
    // Any other guide type writes no word.
    {2, 80, 75, 20, 50, "before"},
    {2, 80, 74, 20, 255, "before"},
    {0xFF, 80, 75, 20, 50, "before"},
    {0xFFFFFFFF, 80, 74, 20, 50, "before"},
};

// A chip's calls for the five values, for an item named "CPU1".
struct guide_chip {
    uint32_t chip;
    uint32_t bus;
    uint32_t slave;
    uint32_t offset;
    std::string high;
    std::string middle;
    std::string margin;
    std::string temperature;
    std::string bank; // "" without a bank to select and to restore
};

static const guide_chip guide_chips[] = {
    {CHIP_W83627DHG, BUS_SUPERIO, 1, 0x50, "isa_read 1 55", "isa_read 1 53", "isa_read 4 5f", "isa_read 1 50",
     ""},
    {CHIP_W83627DHG_22, BUS_SUPERIO, 1, 0x50, "isa_read 1 55", "isa_read 1 53", "isa_read 4 5f",
     "isa_read 1 50", ""},
    {CHIP_W83627DHG_24, BUS_SUPERIO, 1, 0x50, "isa_read 1 55", "isa_read 1 53", "isa_read 4 5f",
     "isa_read 1 50", ""},
    {CHIP_W83795ADG, BUS_SMBUS, SMBUS_SLAVE, 0x27, "smbus_read 23 1 2d b2", "smbus_read 23 1 2d b3",
     "smbus_read 23 1 2d df", "smbus_read 23 1 2d 27", "smbus_read 23 1 2d 0"},
    {CHIP_W83795ADG_29, BUS_SMBUS, SMBUS_SLAVE, 0x2D, "smbus_read 29 1 2d b2", "smbus_read 29 1 2d b3",
     "smbus_read 29 1 2d df", "smbus_read 29 1 2d 2d", "smbus_read 29 1 2d 0"},
    {CHIP_IT8720F, BUS_SUPERIO, 3, 0x2B, "isa_read 3 44", "isa_read 3 45", "isa_read 3 97", "isa_read 3 2b",
     ""},
};

static item_record guided_item(const guide_chip &c) {
    item_record item = make_item(CAT_TEMP, c.chip, c.bus, c.slave, c.offset);
    set_text(item.Name, "CPU1");
    return item;
}

static void answer_guide(const guide_chip &c, const guide_case &values) {
    reset_all();
    hw_recorder::answer(c.high, values.high);
    hw_recorder::answer(c.middle, values.middle);
    hw_recorder::answer(c.margin, values.margin);
    hw_recorder::answer(c.temperature, values.temperature);
    if (c.bank != "")
        hw_recorder::answer(c.bank, 0x85);
}

TEST(ThermalTextGuide, WordByGuideTypeThresholdsAndTemperature) {
    for (const guide_chip &chip : guide_chips) {
        for (const guide_case &c : guide_cases) {
            answer_guide(chip, c);
            expect_word(settings(0, c.guide_type), guided_item(chip), c.word,
                        "chip " + std::to_string(chip.chip) + " guide type " + std::to_string(c.guide_type) +
                            " high " + std::to_string(c.high) + " middle " + std::to_string(c.middle) +
                            " margin " + std::to_string(c.margin) + " at " + std::to_string(c.temperature));
        }
    }
}

TEST(ThermalTextGuide, FailedReadLeavesTheTextAndRestoresTheBank) {
    static const guide_case values = {0, 80, 75, 20, 75, "Medium"};
    for (const guide_chip &chip : guide_chips) {
        for (const std::string &line : {chip.high, chip.middle, chip.margin, chip.temperature}) {
            // Without a threshold the W83627DHG cannot know that there is a margin: 0 high and 0 middle, and
            // the temperature answers. No word may come of it all the same.
            answer_guide(chip, values);
            hw_recorder::fail(line);
            expect_failure(settings(0, 0), guided_item(chip),
                           "chip " + std::to_string(chip.chip) + " without " + line);
            if (chip.bank != "") {
                EXPECT_TRUE(ends_with(hw_recorder::take_log(), "smbus_write 1 2d 0 85\n"))
                    << "chip " << chip.chip << " without " << line;
            }
        }
    }
}

// ---- W83795ADG

TEST(ThermalTextW83795adg, ReadsInBank0AndRestoresTheBank) {
    answer_guide(guide_chips[3], {0, 80, 75, 20, 75, "Medium"});
    expect_word(settings(0, 0), guided_item(guide_chips[3]), "Medium", "chip 23");
    EXPECT_EQ(hw_recorder::take_log(), "smbus_read 23 1 2d 0\n"
                                       "smbus_write 1 2d 0 80\n"
                                       "smbus_read 23 1 2d b2\n"
                                       "smbus_read 23 1 2d b3\n"
                                       "smbus_read 23 1 2d df\n"
                                       "smbus_read 23 1 2d 27\n"
                                       "smbus_write 1 2d 0 85\n");
    answer_guide(guide_chips[4], {1, 80, 74, 20, 75, "High"});
    expect_word(settings(0, 1), guided_item(guide_chips[4]), "High", "chip 29");
    EXPECT_EQ(hw_recorder::take_log(), "smbus_read 29 1 2d 0\n"
                                       "smbus_write 1 2d 0 80\n"
                                       "smbus_read 29 1 2d b2\n"
                                       "smbus_read 29 1 2d b3\n"
                                       "smbus_read 29 1 2d df\n"
                                       "smbus_read 29 1 2d 2d\n"
                                       "smbus_write 1 2d 0 85\n");
}

TEST(ThermalTextW83795adg, FailsWhenTheBankIsUnknownNotSelectedOrNotRestored) {
    item_record item = guided_item(guide_chips[3]);
    answer_guide(guide_chips[3], {0, 80, 75, 20, 75, "Medium"});
    hw_recorder::fail("smbus_read 23 1 2d 0");
    expect_failure(settings(0, 0), item, "no bank");
    EXPECT_EQ(hw_recorder::take_log(), "smbus_read 23 1 2d 0\n"); // what is unknown cannot be restored

    answer_guide(guide_chips[3], {0, 80, 75, 20, 75, "Medium"});
    hw_recorder::fail("smbus_write 1 2d 0 80");
    expect_failure(settings(0, 0), item, "bank 0 not selected");
    EXPECT_TRUE(ends_with(hw_recorder::take_log(), "smbus_write 1 2d 0 85\n"));

    answer_guide(guide_chips[3], {0, 80, 75, 20, 75, "Medium"});
    hw_recorder::fail("smbus_write 1 2d 0 85");
    EXPECT_NE(word_of(settings(0, 0), item).status, 0); // its result is returned
}

// ---- IT8720F

TEST(ThermalTextIt8720f, ReadsInTheItemsBank) {
    answer_guide(guide_chips[5], {0, 80, 75, 20, 75, "Medium"});
    expect_word(settings(0, 0), guided_item(guide_chips[5]), "Medium", "bank 3");
    EXPECT_EQ(hw_recorder::take_log(), "isa_read 3 44\nisa_read 3 45\nisa_read 3 97\nisa_read 3 2b\n");
}

// ---- NCT6776F: X = (second >> 6) + (first & 0x7F) × 4. Below the target temperature (first above 127) the
// temperature is (X - 412) & 0xFF.

struct digital_case {
    uint32_t first;
    uint32_t second;
    const char *word;
};

static const digital_case below_target_cases[] = {
    {0xE7, 0x00, "Low"},      // X = 103 × 4 = 412: 0
    {0xF6, 0x00, "Low"},      // X = 118 × 4 = 472: 60
    {0xF6, 0x3F, "Low"},      // the low six bits of the second register do not count
    {0xF6, 0x40, "Medium"},   // X = 473: 61
    {0xFC, 0x00, "Medium"},   // X = 124 × 4 = 496: 84
    {0xFC, 0x40, "Medium"},   // X = 497: 85
    {0xFC, 0x80, "High"},     // X = 498: 86
    {0xFE, 0x40, "High"},     // X = 126 × 4 + 1 = 505: 93
    {0xFE, 0x80, "High"},     // X = 506: 94
    {0xFE, 0xC0, "Overheat"}, // X = 507: 95
    {0xFF, 0x00, "Overheat"}, // X = 508: 96
    {0xFF, 0xFF, "Overheat"}, // X = 127 × 4 + 3 = 511: 99
    {0xE6, 0xC0, "Overheat"}, // X = 102 × 4 + 3 = 411: -1, that is 255
    {0x80, 0x00, "Overheat"}, // X = 0: -412 + 512 = 100
    {0xA7, 0x00, "Low"},      // X = 39 × 4 = 156: -256, that is 0
    {0xB6, 0x00, "Low"},      // X = 54 × 4 = 216: -196 + 256 = 60
    {0xB6, 0x40, "Medium"},   // X = 217: 61
};

static void answer_digital(const digital_case &c) {
    reset_all();
    hw_recorder::answer("isa_read 7 17", c.first);
    hw_recorder::answer("isa_read 7 18", c.second);
}

static std::string described(const digital_case &c) {
    return "registers " + std::to_string(c.first) + ", " + std::to_string(c.second);
}

TEST(ThermalTextNct6776f, WordByTemperatureBelowTheTarget) {
    item_record item = isa_item("CPU1", CHIP_NCT6776F, 7, 0x17);
    for (const digital_case &c : below_target_cases) {
        for (uint32_t guide_type : {0, 1, 2}) { // it plays no part
            answer_digital(c);
            expect_word(settings(0, guide_type), item, c.word, described(c));
            EXPECT_EQ(hw_recorder::take_log(), "isa_read 7 17\nisa_read 7 18\n") << described(c);
        }
    }
}

TEST(ThermalTextNct6776f, FirstRegisterUpTo127Fails) {
    item_record item = isa_item("CPU1", CHIP_NCT6776F, 7, 0x17);
    for (uint32_t first : {0, 1, 60, 126, 127}) {
        answer_digital({first, 0x00, ""});
        expect_failure(settings(0, 0), item, "register " + std::to_string(first));
    }
}

TEST(ThermalTextNct6776f, BothReadsMustSucceed) {
    item_record item = isa_item("CPU1", CHIP_NCT6776F, 7, 0x17);
    for (const char *line : {"isa_read 7 17", "isa_read 7 18"}) {
        answer_digital({0xF6, 0x00, "Low"});
        hw_recorder::fail(line);
        expect_failure(settings(0, 0), item, line);
    }
}

TEST(ThermalTextNct6776f, ReadsTheItemsBankAndRegister) {
    reset_all();
    hw_recorder::answer("isa_read 6 1e", 0xFC);
    hw_recorder::answer("isa_read 6 1f", 0x80);
    expect_word(settings(0, 0), isa_item("", CHIP_NCT6776F, 6, 0x1E), "High", "bank 6 register 1e");
}

// ---- The NCT6776F behind the management engine

TEST(ThermalTextMeNct6776f, WithoutBmcWordByTemperatureBelowAndAboveTheTarget) {
    static const digital_case above_target_cases[] = {
        // (X + 100) & 0xFF
        {0x00, 0x00, "Overheat"}, // X = 0: 100
        {0x26, 0xC0, "Overheat"}, // X = 38 × 4 + 3 = 155: 255
        {0x27, 0x00, "Low"},      // X = 156: 256, that is 0
        {0x36, 0x00, "Low"},      // X = 54 × 4 = 216: 316 - 256 = 60
        {0x36, 0x40, "Medium"},   // X = 217: 61
        {0x3C, 0x40, "Medium"},   // X = 60 × 4 + 1 = 241: 85
        {0x3C, 0x80, "High"},     // X = 242: 86
        {0x3E, 0x80, "High"},     // X = 62 × 4 + 2 = 250: 94
        {0x3E, 0xC0, "Overheat"}, // X = 251: 95
        {0x7F, 0xC0, "Overheat"}, // X = 511: 611 - 512 = 99
    };
    item_record item = isa_item("CPU1", CHIP_ME_NCT6776F, 7, 0x17);
    auto check = [&](const digital_case &c) {
        answer_digital(c);
        expect_word(settings(0, 0), item, c.word, described(c));
        EXPECT_EQ(hw_recorder::take_log(), "isa_read 7 17\nisa_read 7 18\n") << described(c);
    };
    for (const digital_case &c : below_target_cases)
        check(c);
    for (const digital_case &c : above_target_cases)
        check(c);
}

TEST(ThermalTextMeNct6776f, WithoutBmcBothReadsMustSucceed) {
    item_record item = isa_item("CPU1", CHIP_ME_NCT6776F, 7, 0x17);
    for (const char *line : {"isa_read 7 17", "isa_read 7 18"}) {
        answer_digital({0xF6, 0x00, "Low"});
        hw_recorder::fail(line);
        expect_failure(settings(0, 0), item, line);
    }
}

static const struct {
    const char *name;
    int32_t *flag;
} monitor_owners[] = {
    {"bOBWinbondIPMI", &bOBWinbondIPMI},         {"bAOWinbondIPMI", &bAOWinbondIPMI},
    {"bOBWinbondATenIPMI", &bOBWinbondATenIPMI}, {"bRenesasAMIIPMI", &bRenesasAMIIPMI},
    {"bRenesasATenIPMI", &bRenesasATenIPMI},     {"bAOWinbondATenIPMI", &bAOWinbondATenIPMI},
};

TEST(ThermalTextMeNct6776f, EachBmcThatOwnsTheMonitorIsAsked) {
    static const struct {
        uint32_t offset;
        const char *line;
    } cases[] = {{0x17, "bmc_30_93 0"}, {0x18, "bmc_30_93 0"}, {0x19, "bmc_30_93 1"},
                 {0x1B, "bmc_30_93 2"}, {0x1D, "bmc_30_93 3"}, {0x1E, "bmc_30_93 3"}};
    for (const auto &owner : monitor_owners) {
        for (const auto &c : cases) {
            reset_all();
            hDevice = 5;
            *owner.flag = 1;
            hw_recorder::answer(c.line, 86);
            item_record item = isa_item("CPU1", CHIP_ME_NCT6776F, 7, c.offset);
            expect_word(settings(0, 0), item, "High", std::string(owner.name) + " " + c.line);
            EXPECT_EQ(hw_recorder::take_log(), std::string(c.line) + "\n") << owner.name;
        }
    }
}

TEST(ThermalTextMeNct6776f, WordByTheBmcsTemperature) {
    static const struct {
        uint32_t temperature;
        const char *word;
    } cases[] = {{0, "Low"},   {60, "Low"},  {61, "Medium"},   {85, "Medium"},
                 {86, "High"}, {94, "High"}, {95, "Overheat"}, {0xFF, "Overheat"}};
    for (const auto &c : cases) {
        reset_all();
        hDevice = 5;
        bAOWinbondIPMI = 1;
        hw_recorder::answer("bmc_30_93 0", c.temperature);
        expect_word(settings(0, 0), isa_item("CPU1", CHIP_ME_NCT6776F, 7, 0x17), c.word,
                    std::to_string(c.temperature));
    }
}

TEST(ThermalTextMeNct6776f, FailedBmcReadFails) {
    reset_all();
    hDevice = 5;
    bAOWinbondIPMI = 1;
    expect_failure(settings(0, 0), isa_item("CPU1", CHIP_ME_NCT6776F, 7, 0x17), "no answer");
    EXPECT_EQ(hw_recorder::take_log(), "bmc_30_93 0\n");
}

TEST(ThermalTextMeNct6776f, OtherBmcsAndAbsentOnesAreNotAsked) {
    item_record item = isa_item("CPU1", CHIP_ME_NCT6776F, 7, 0x17);
    auto check = [&](const std::string &input) {
        expect_word(settings(0, 0), item, "Low", input);
        EXPECT_EQ(hw_recorder::take_log(), "isa_read 7 17\nisa_read 7 18\n") << input;
    };
    answer_digital({0xF6, 0x00, ""});
    hDevice = 5; // a BMC of no kind
    check("hDevice alone");
    bPepperconIPMI = 1; // a kind that owns no monitor
    check("bPepperconIPMI");
    for (const auto &owner : monitor_owners) {
        answer_digital({0xF6, 0x00, ""});
        *owner.flag = 1; // without a BMC
        check(owner.name);
    }
}

// ---- NCT7904D: bank 0 is selected first

struct three_word_case {
    uint32_t temperature;
    const char *word;
};

static const three_word_case three_word_cases[] = {
    {0, "Low"},     {59, "Low"},  {60, "Low"},  {61, "Medium"}, {62, "Medium"}, {84, "Medium"},
    {85, "Medium"}, {86, "High"}, {87, "High"}, {95, "High"},   {255, "High"}};

TEST(ThermalTextNct7904d, SelectsBank0AndReadsTheItemsRegister) {
    for (const three_word_case &c : three_word_cases) {
        for (uint32_t guide_type : {0, 1, 2}) { // it plays no part
            reset_all();
            hw_recorder::answer("smbus_read 30 1 2d a2", c.temperature);
            expect_word(settings(0, guide_type), smbus_item("CPU1", CHIP_NCT7904D, 0xA2), c.word,
                        std::to_string(c.temperature));
            EXPECT_EQ(hw_recorder::take_log(), "smbus_write 1 2d ff 0\nsmbus_read 30 1 2d a2\n")
                << c.temperature;
        }
    }
}

TEST(ThermalTextNct7904d, BmcIsNotAsked) {
    reset_all();
    hDevice = 5;
    bAOWinbondIPMI = 1;
    hw_recorder::answer("smbus_read 30 1 2d a0", 61);
    expect_word(settings(0, 0), smbus_item("CPU1", CHIP_NCT7904D, 0xA0), "Medium", "with a BMC");
    EXPECT_EQ(hw_recorder::take_log(), "smbus_write 1 2d ff 0\nsmbus_read 30 1 2d a0\n");
}

TEST(ThermalTextNct7904d, FailedReadFails) {
    reset_all();
    expect_failure(settings(0, 0), smbus_item("CPU1", CHIP_NCT7904D, 0xA0), "no answer");
}

// The register of another bank is not a temperature.
TEST(ThermalTextNct7904d, BankThatIsNotSelectedFails) {
    reset_all();
    hw_recorder::answer("smbus_read 30 1 2d a0", 61);
    hw_recorder::fail("smbus_write 1 2d ff 0");
    expect_failure(settings(0, 0), smbus_item("CPU1", CHIP_NCT7904D, 0xA0), "bank 0 not selected");
}

// ---- The NCT7904D behind the management engine

TEST(ThermalTextMeNct7904d, WithoutBmcOverTheSmbus) {
    for (const three_word_case &c : three_word_cases) {
        reset_all();
        for (const auto &owner : monitor_owners) // kinds of a BMC that is not there
            *owner.flag = 1;
        hw_recorder::answer("smbus_read 32 1 2d ac", c.temperature);
        expect_word(settings(0, 0), smbus_item("CPU1", CHIP_ME_NCT7904D, 0xAC), c.word,
                    std::to_string(c.temperature));
        EXPECT_EQ(hw_recorder::take_log(), "smbus_write 1 2d ff 0\nsmbus_read 32 1 2d ac\n") << c.temperature;
    }
}

TEST(ThermalTextMeNct7904d, AnyBmcIsAskedAfterBank0WasSelected) {
    static const struct {
        uint32_t offset;
        const char *line;
    } cases[] = {{0xA0, "bmc_30_93 0"}, {0xA2, "bmc_30_93 1"}, {0xA4, "bmc_30_93 2"}, {0xA6, "bmc_30_93 3"},
                 {0xA8, "bmc_30_93 4"}, {0xAA, "bmc_30_93 5"}, {0xAC, "bmc_30_93 6"}, {0xAE, "bmc_30_93 7"}};
    for (const auto &c : cases) {
        reset_all();
        hDevice = 5; // its kind plays no part
        hw_recorder::answer(c.line, 86);
        expect_word(settings(0, 0), smbus_item("CPU1", CHIP_ME_NCT7904D, c.offset), "High", c.line);
        EXPECT_EQ(hw_recorder::take_log(), std::string("smbus_write 1 2d ff 0\n") + c.line + "\n") << c.line;
    }
}

TEST(ThermalTextMeNct7904d, WordByTheBmcsTemperatureWithFFAs0) {
    static const three_word_case cases[] = {{0, "Low"},   {60, "Low"},   {61, "Medium"}, {85, "Medium"},
                                            {86, "High"}, {254, "High"}, {255, "Low"}};
    for (const three_word_case &c : cases) {
        reset_all();
        hDevice = 5;
        hw_recorder::answer("bmc_30_93 1", c.temperature);
        expect_word(settings(0, 0), smbus_item("CPU1", CHIP_ME_NCT7904D, 0xA2), c.word,
                    std::to_string(c.temperature));
    }
}

TEST(ThermalTextMeNct7904d, FailedReadFails) {
    item_record item = smbus_item("CPU1", CHIP_ME_NCT7904D, 0xA0);
    reset_all();
    expect_failure(settings(0, 0), item, "no SMBus answer");
    EXPECT_EQ(hw_recorder::take_log(), "smbus_write 1 2d ff 0\nsmbus_read 32 1 2d a0\n");
    hDevice = 5;
    hw_recorder::answer("smbus_read 32 1 2d a0", 61); // which is not asked for after a silent BMC
    expect_failure(settings(0, 0), item, "no BMC answer");
    EXPECT_EQ(hw_recorder::take_log(), "smbus_write 1 2d ff 0\nbmc_30_93 0\n");
}

TEST(ThermalTextMeNct7904d, WithoutBmcBankThatIsNotSelectedFails) {
    reset_all();
    hw_recorder::answer("smbus_read 32 1 2d a0", 61);
    hw_recorder::fail("smbus_write 1 2d ff 0");
    expect_failure(settings(0, 0), smbus_item("CPU1", CHIP_ME_NCT7904D, 0xA0), "bank 0 not selected");
}
