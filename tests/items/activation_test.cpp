#include "items/activation.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <gtest/gtest.h>
#include <iterator>
#include <string>
#include <vector>

#include "hw/chip_codes.h"
#include "items/records.h"
#include "support/hw_recorder.h"
#include "support/os_test.h"

static const char INI[] = "/etc/Kestrel.ini";
static const char OLD[] = "/etc/Kestrel.ini.old";

static const std::string NOT_AVAILABLE = ">> Disable monitoring of non-available item: ";
static const std::string NOT_ACTIVATED = ">> Disable monitoring of non-activated item: ";
static const std::string NOT_SUPPORTED = ">> Disable monitoring of non-supported item: ";

// Limits of the readings; the judgement goes by those of the display records.
static const parameter_record parameters[] = {
    make_parameter("HIGH", 0x2D, 0xF0, 0x10),
    make_parameter("LOW", 0x2D, 0xF1, 0x10),
};

struct board {
    system_settings system = make_system(BUS_SMBUS);
    std::vector<item_record> items;
    std::vector<item_display> displays;
};

static void reset_all() {
    test_door::reset();
    hw_recorder::reset();
    test_door::put_file(INI, "[System]\nBUSTYPE=1\n\n[Item]\nITEM_NAME=First\nMONITOR=TRUE\n");
}

// A monitored item at register `offset` and its display record, as they are when the records were just
// built.
static void add(board *b, const char *name, uint32_t cat, uint32_t chip, uint32_t offset, int64_t high_limit,
                int64_t low_limit) {
    item_record item = make_item(cat, chip, BUS_SMBUS, 0x2D, offset);
    set_text(item.Name, name);
    set_text(item.ParaIndex1, "HIGH");
    set_text(item.ParaIndex2, "LOW");
    b->items.push_back(item);
    b->displays.push_back(make_display(item, 77, high_limit, low_limit));
}

static void set_monitor(board *b, size_t i, uint32_t monitor) {
    b->items[i].Monitor = monitor;
    b->displays[i].monitor = monitor;
}

static int detect(board *b) {
    return detect_and_hide_nonactivated_items(b->displays.data(), &b->system, b->items.data(),
                                              static_cast<int32_t>(b->items.size()), parameters,
                                              std::size(parameters));
}

// What was printed; "" means that nothing was hidden.
static std::string output_of(board *b) {
    return test_door::captured_stdout([b] { EXPECT_EQ(detect(b), 0); });
}

// ---- Which items are hidden

constexpr int UNREADABLE = -1;

struct rule_case {
    const char *what;
    uint32_t cat;
    uint32_t chip;
    int raw;
    int64_t high_limit;
    int64_t low_limit;
    int64_t value; // of the record afterwards; 77 before
    std::string message;
};

// Fans of chip 23 turn at 84375 / raw rpm and stand still at 255; chip 0's P12V has 62.5 mV per step.
static const rule_case rules[] = {
    {"unreadable fan", CAT_FAN, CHIP_W83795ADG, UNREADABLE, 0, 0, 77, NOT_AVAILABLE},
    {"stopped fan, limit 0", CAT_FAN, CHIP_W83795ADG, 255, 0, 0, 0, NOT_ACTIVATED},
    {"stopped fan", CAT_FAN, CHIP_W83795ADG, 255, 0, 1125, 0, NOT_ACTIVATED},
    {"stopped fan that is normal", CAT_FAN, CHIP_W83795ADG, 255, 0, -1, 0, ""},
    {"slow fan", CAT_FAN, CHIP_W83795ADG, 25, 0, 4000, 3375, ""},
    {"good fan", CAT_FAN, CHIP_W83795ADG, 25, 0, 1125, 3375, ""},
    {"unreadable voltage", CAT_VOLTAGE, CHIP_0, UNREADABLE, 12500, 11250, 77, NOT_AVAILABLE},
    {"voltage 0 below its limit", CAT_VOLTAGE, CHIP_0, 0, 12500, 11250, 0, NOT_ACTIVATED},
    {"voltage 0 with limits 0", CAT_VOLTAGE, CHIP_0, 0, 0, 0, 0, NOT_ACTIVATED},
    {"voltage 0 at its low limit", CAT_VOLTAGE, CHIP_0, 0, 100, 0, 0, NOT_ACTIVATED},
    {"voltage 0 that is normal", CAT_VOLTAGE, CHIP_0, 0, 100, -100, 0, ""},
    {"low voltage", CAT_VOLTAGE, CHIP_0, 160, 12500, 11250, 10000, ""},
    {"high voltage", CAT_VOLTAGE, CHIP_0, 208, 12500, 11250, 13000, ""},
    {"good voltage", CAT_VOLTAGE, CHIP_0, 192, 12500, 11250, 12000, ""},
    {"unreadable temperature", CAT_TEMP, CHIP_18, UNREADABLE, 70, 0, 77, NOT_AVAILABLE},
    {"temperature 0 below its limit", CAT_TEMP, CHIP_18, 0, 70, 0, 0, NOT_ACTIVATED},
    {"temperature 0 above its limit", CAT_TEMP, CHIP_18, 0, -10, 0, 0, NOT_ACTIVATED},
    {"temperature without sensor (127)", CAT_TEMP, CHIP_18, 127, 70, 0, 0, NOT_ACTIVATED},
    {"temperature without sensor (128)", CAT_TEMP, CHIP_18, 128, 70, 0, 0, NOT_ACTIVATED},
    {"good temperature", CAT_TEMP, CHIP_18, 45, 70, 0, 45, ""},
    {"temperature of 1", CAT_TEMP, CHIP_18, 1, 70, 0, 1, ""},
    {"frost", CAT_TEMP, CHIP_18, 0xFB, 70, 0, -5, ""},
    {"high temperature", CAT_TEMP, CHIP_18, 70, 70, 0, 70, ""},
    {"unreadable switch", CAT_SWITCH, CHIP_18, UNREADABLE, 0, 0, 77, ""},
    {"inactive switch", CAT_SWITCH, CHIP_18, 0x00, 0, 0, 0, ""},
    {"active switch", CAT_SWITCH, CHIP_18, 0x10, 0, 0, 1, ""},
    {"switch of chip 27", CAT_SWITCH, CHIP_27, 0, 0, 0, 77, NOT_SUPPORTED},
    {"fan of chip 27", CAT_FAN, CHIP_27, 25, 0, 0, 77, NOT_AVAILABLE},
    {"voltage of chip 27", CAT_VOLTAGE, CHIP_27, 192, 300, 100, 77, NOT_AVAILABLE},
    {"temperature of chip 27", CAT_TEMP, CHIP_27, 45, 70, 0, 77, NOT_AVAILABLE},
    {"other category", 4, CHIP_18, UNREADABLE, 0, 0, 77, ""},
};

TEST(Activation, RuleByCategoryReadingAndLimits) {
    for (const rule_case &c : rules) {
        reset_all();
        if (c.raw != UNREADABLE)
            hw_recorder::answer("smbus_read " + std::to_string(c.chip) + " 1 2d 1",
                                static_cast<uint32_t>(c.raw));
        board b;
        add(&b, "Some Item", c.cat, c.chip, 0x01, c.high_limit, c.low_limit);
        EXPECT_EQ(output_of(&b), c.message.empty() ? "" : c.message + "Some Item\n\n") << c.what;
        uint32_t monitor = c.message.empty() ? 1 : 0;
        EXPECT_EQ(b.displays[0].monitor, monitor) << c.what;
        EXPECT_EQ(b.items[0].Monitor, monitor) << c.what;
        EXPECT_EQ(b.displays[0].value, c.value) << c.what;
        if (c.chip == CHIP_27) {
            EXPECT_EQ(hw_recorder::take_log(), "") << c.what;
        }
    }
}

TEST(Activation, OverheatWordDoesNotHide) {
    reset_all();
    hw_recorder::answer("smbus_read 18 1 2d 1", 45);
    board b;
    add(&b, "CPU1 Temperature", CAT_TEMP, CHIP_18, 0x01, 70, 0);
    b.displays[0].thermal_text_supported = 1;
    set_text(b.displays[0].thermal_text, "Overheat"); // abnormal, but not 0
    EXPECT_EQ(output_of(&b), "");
}

TEST(Activation, SwitchWithReferenceThatReads0Stays) {
    reset_all();
    hw_recorder::answer("smbus_read 18 1 2d 1", 0x00);
    board b;
    add(&b, "Power Supply 1", CAT_SWITCH, CHIP_18, 0x01, 0, 0);
    set_text(b.items[0].RefItemId, "Item_SWITCH2");
    add(&b, "Power Supply 2", CAT_SWITCH, CHIP_18, 0x01, 0, 0);
    set_text(b.items[1].ItemId, "Item_SWITCH2");
    EXPECT_EQ(output_of(&b), "");
    EXPECT_EQ(b.displays[0].value, 2);
    EXPECT_EQ(b.displays[0].monitor, 1u);
}

// ---- Temperatures of empty sockets

// A core voltage that is switched off (or, with `voltage_monitor` 1, is not) and a temperature of 45 degrees.
static std::string output_with_core_voltage(const char *voltage, uint32_t voltage_monitor,
                                            const char *temperature) {
    reset_all();
    hw_recorder::answer("smbus_read 0 1 2d 1", 192);
    hw_recorder::answer("smbus_read 18 1 2d 2", 45);
    board b;
    add(&b, voltage, CAT_VOLTAGE, CHIP_0, 0x01, 12500, 11250);
    set_monitor(&b, 0, voltage_monitor);
    add(&b, temperature, CAT_TEMP, CHIP_18, 0x02, 70, 0);
    return output_of(&b);
}

TEST(Activation, TemperatureOfAnEmptySocket) {
    static const struct {
        const char *voltage;
        uint32_t voltage_monitor;
        const char *temperature;
        bool hidden;
    } cases[] = {
        {"CPU Core Voltage", 0, "CPU Temperature", true},
        {"CPU1 Core Voltage", 0, "CPU1 Temperature", true},
        {"CPU2 Core Voltage", 0, "CPU2 Temperature", true},
        {"CPU3 Core Voltage", 0, "CPU3 Temperature", true},
        {"CPU4 Core Voltage", 0, "CPU4 Temperature", true},
        {"cpu core voltage", 0, "CPU TEMPERATURE", true},
        {"CPU2 CORE VOLTAGE", 0, "cpu2 temperature", true},
        {"Cpu4 Core voltage", 0, "cPU4 tEMPERATURE", true},
        {"CPU Core Voltage", 1, "CPU Temperature", false}, // the socket is in use
        {"CPU1 Core Voltage", 1, "CPU1 Temperature", false},
        {"CPU2 Core Voltage", 1, "CPU2 Temperature", false},
        {"CPU3 Core Voltage", 1, "CPU3 Temperature", false},
        {"CPU4 Core Voltage", 1, "CPU4 Temperature", false},
        {"CPU1 Core Voltage", 0, "CPU2 Temperature", false}, // another socket
        {"CPU2 Core Voltage", 0, "CPU1 Temperature", false},
        {"CPU Core Voltage", 0, "CPU1 Temperature", false},
        {"CPU1 Core Voltage", 0, "CPU Temperature", false},
        {"CPU5 Core Voltage", 0, "CPU5 Temperature", false}, // no such names
        {"System Core Voltage", 0, "System Temperature", false},
        {"CPU1 Core Voltage", 0, "CPU1 Temperature 2", false},
        {"CPU1 Core Voltage", 0, "My CPU1 Temperature", false},
        {"CPU1 Core Voltage 2", 0, "CPU1 Temperature", false},
        {"CPU1 Vcore", 0, "CPU1 Temperature", false}, // the voltage does not exist
    };
    for (const auto &c : cases)
        EXPECT_EQ(output_with_core_voltage(c.voltage, c.voltage_monitor, c.temperature),
                  c.hidden ? NOT_ACTIVATED + c.temperature + "\n\n" : "")
            << c.voltage << " monitor " << c.voltage_monitor << ", " << c.temperature;
}

TEST(Activation, OneUnmonitoredVoltageOfTheNameIsEnough) {
    for (size_t unmonitored : {0, 1, 2}) { // of two; 2: neither
        reset_all();
        hw_recorder::answer("smbus_read 0 1 2d 1", 192);
        hw_recorder::answer("smbus_read 18 1 2d 2", 45);
        board b;
        add(&b, "CPU1 Core Voltage", CAT_VOLTAGE, CHIP_0, 0x01, 12500, 11250);
        add(&b, "CPU1 core voltage", CAT_VOLTAGE, CHIP_0, 0x01, 12500, 11250);
        if (unmonitored < 2)
            set_monitor(&b, unmonitored, 0);
        add(&b, "CPU1 Temperature", CAT_TEMP, CHIP_18, 0x02, 70, 0);
        EXPECT_EQ(output_of(&b), unmonitored < 2 ? NOT_ACTIVATED + "CPU1 Temperature\n\n" : "")
            << unmonitored;
    }
}

TEST(Activation, OnlyTemperaturesGoByTheirSocket) {
    reset_all();
    hw_recorder::answer("smbus_read 23 1 2d 2", 25);
    board b;
    add(&b, "CPU1 Core Voltage", CAT_VOLTAGE, CHIP_0, 0x01, 12500, 11250);
    set_monitor(&b, 0, 0);
    add(&b, "CPU1 Temperature", CAT_FAN, CHIP_W83795ADG, 0x02, 0, 1125);
    EXPECT_EQ(output_of(&b), "");
}

TEST(Activation, UnreadableTemperatureOfAnEmptySocketIsNotAvailable) {
    reset_all();
    board b;
    add(&b, "CPU1 Core Voltage", CAT_VOLTAGE, CHIP_0, 0x01, 12500, 11250);
    set_monitor(&b, 0, 0);
    add(&b, "CPU1 Temperature", CAT_TEMP, CHIP_18, 0x02, 70, 0);
    EXPECT_EQ(output_of(&b), NOT_AVAILABLE + "CPU1 Temperature\n\n");
}

// The voltage of socket 2 reads 0 and is hidden in the same pass: before its temperature is looked at, or
// after.
TEST(Activation, OrderOfItemsDecidesWhetherTheVoltageWasHidden) {
    reset_all();
    hw_recorder::answer("smbus_read 0 1 2d 1", 0);
    hw_recorder::answer("smbus_read 18 1 2d 2", 45);
    board voltage_first;
    add(&voltage_first, "CPU2 Core Voltage", CAT_VOLTAGE, CHIP_0, 0x01, 12500, 11250);
    add(&voltage_first, "CPU2 Temperature", CAT_TEMP, CHIP_18, 0x02, 70, 0);
    EXPECT_EQ(output_of(&voltage_first),
              NOT_ACTIVATED + "CPU2 Core Voltage\n" + NOT_ACTIVATED + "CPU2 Temperature\n\n");
    EXPECT_EQ(voltage_first.items[1].Monitor, 0u);

    reset_all();
    hw_recorder::answer("smbus_read 0 1 2d 1", 0);
    hw_recorder::answer("smbus_read 18 1 2d 2", 45);
    board voltage_last;
    add(&voltage_last, "CPU2 Temperature", CAT_TEMP, CHIP_18, 0x02, 70, 0);
    add(&voltage_last, "CPU2 Core Voltage", CAT_VOLTAGE, CHIP_0, 0x01, 12500, 11250);
    EXPECT_EQ(output_of(&voltage_last), NOT_ACTIVATED + "CPU2 Core Voltage\n\n");
    EXPECT_EQ(voltage_last.items[0].Monitor, 1u);
    EXPECT_EQ(voltage_last.displays[0].monitor, 1u);
}

// ---- Which items are looked at

TEST(Activation, ItemsThatAreNotMonitoredAreSkipped) {
    for (uint32_t monitor : {0u, 2u, NOT_GIVEN, 0xFFFFFFFFu}) {
        reset_all();
        board b;
        add(&b, "Rear Fan", CAT_FAN, CHIP_W83795ADG, 0x01, 0, 1125); // unreadable
        set_monitor(&b, 0, monitor);
        EXPECT_EQ(output_of(&b), "") << monitor;
        EXPECT_EQ(hw_recorder::take_log(), "") << monitor;
        EXPECT_EQ(b.displays[0].monitor, monitor);
        EXPECT_EQ(b.items[0].Monitor, monitor);
        EXPECT_EQ(b.displays[0].value, 77) << monitor;
    }
}

TEST(Activation, NothingHiddenLeavesTheFileUntouched) {
    reset_all();
    std::string before = test_door::file(INI);
    hw_recorder::answer("smbus_read 18 1 2d 1", 45);
    board b;
    add(&b, "System Temperature", CAT_TEMP, CHIP_18, 0x01, 70, 0);
    add(&b, "Chassis Intrusion", CAT_SWITCH, CHIP_18, 0x02, 0, 0);
    EXPECT_EQ(output_of(&b), "");
    EXPECT_EQ(test_door::file(INI), before);
    EXPECT_FALSE(test_door::has_file(OLD));
    EXPECT_EQ(test_door::take_log(), "");
}

TEST(Activation, NoItemsNothingHidden) {
    reset_all();
    board b;
    EXPECT_EQ(output_of(&b), "");
    EXPECT_FALSE(test_door::has_file(OLD));
}

// ---- The rewritten file

// `count` monitored switches that are never read (hidden) or good temperatures (kept), as `kinds` has them by
// "h", "k" and "o" (off before).
static board board_of(const char *kinds) {
    board b;
    for (const char *kind = kinds; *kind != '\0'; kind++) {
        std::string name = "Item " + std::to_string(kind - kinds);
        add(&b, name.c_str(), *kind == 'h' ? CAT_SWITCH : CAT_TEMP, *kind == 'h' ? CHIP_27 : CHIP_18, 0x01,
            70, 0);
        if (*kind == 'o')
            set_monitor(&b, b.items.size() - 1, 0);
    }
    hw_recorder::answer("smbus_read 18 1 2d 1", 45);
    return b;
}

struct rewrite_case {
    const char *what;
    const char *kinds;
    std::string before;
    std::string after;
};

static const std::string LONG_TEXT(100, 'x');

static const rewrite_case rewrites[] = {
    {"each item by its own flag", "hkoh",
     "[System]\nBUSTYPE=0x1\nPOLLING=10\n\n"
     "[Item]\nITEM_NAME=Item 0\nMONITOR=TRUE\nSLAVE=2D\n\n"
     "[Item]\nITEM_NAME=Item 1\nMONITOR=TRUE\nSLAVE=2D\n\n"
     "[Item]\nITEM_NAME=Item 2\nMONITOR=FALSE\nSLAVE=2D\n\n"
     "[Item]\nITEM_NAME=Item 3\nMONITOR=TRUE\nSLAVE=2D\n\n"
     "[Parameter]\nPARAMETER=HIGH\nSLAVE=2D\n",
     "[System]\nBUSTYPE=0x1\nPOLLING=10\n\n"
     "[Item]\nITEM_NAME=Item 0\nMONITOR=FALSE\nSLAVE=2D\n\n"
     "[Item]\nITEM_NAME=Item 1\nMONITOR=TRUE\nSLAVE=2D\n\n"
     "[Item]\nITEM_NAME=Item 2\nMONITOR=FALSE\nSLAVE=2D\n\n"
     "[Item]\nITEM_NAME=Item 3\nMONITOR=FALSE\nSLAVE=2D\n\n"
     "[Parameter]\nPARAMETER=HIGH\nSLAVE=2D\n"},
    {"heads and keys without regard to case, the key as written", "hk",
     "[iTEM]\nMonitor=true\n[ITEM]\nmONITOR=tRUE\n", "[iTEM]\nMonitor=FALSE\n[ITEM]\nmONITOR=TRUE\n"},
    {"the value does not matter", "hkh", "[Item]\nMONITOR=\n[Item]\nMONITOR=1\n[Item]\nMONITOR=TRUE=x\n",
     "[Item]\nMONITOR=FALSE\n[Item]\nMONITOR=TRUE\n[Item]\nMONITOR=FALSE\n"},
    {"a section without the line stays without", "hh", "[Item]\nSLAVE=1\n[Item]\nMONITOR=TRUE\n",
     "[Item]\nSLAVE=1\n[Item]\nMONITOR=FALSE\n"},
    {"every such line of a section", "h", "[Item]\nMONITOR=TRUE\nSLAVE=1\nMONITOR=TRUE\n",
     "[Item]\nMONITOR=FALSE\nSLAVE=1\nMONITOR=FALSE\n"},
    {"a blank line and an unknown head end no section", "h",
     "[Item]\n\nMONITOR=TRUE\n[Other]\nMONITOR=TRUE\n", "[Item]\n\nMONITOR=FALSE\n[Other]\nMONITOR=FALSE\n"},
    {"other sections keep theirs", "h",
     "MONITOR=TRUE\n[System]\nMONITOR=TRUE\n[Item]\nMONITOR=TRUE\n[Parameter]\nMONITOR=TRUE\n[System]"
     "\nMONITOR=TRUE\n",
     "MONITOR=TRUE\n[System]\nMONITOR=TRUE\n[Item]\nMONITOR=FALSE\n[Parameter]\nMONITOR=TRUE\n[System]\n"
     "MONITOR=TRUE\n"},
    {"a section after another one", "kh",
     "[Item]\nMONITOR=TRUE\n[Parameter]\nBITMASK=1\n[Item]\nMONITOR=TRUE\n",
     "[Item]\nMONITOR=TRUE\n[Parameter]\nBITMASK=1\n[Item]\nMONITOR=FALSE\n"},
    {"lines that are not quite the key", "h",
     "[Item]\nMONITOR =TRUE\n MONITOR=TRUE\nMONITOR\nMONITORS=TRUE\nMONITO=TRUE\n=TRUE\n; MONITOR=TRUE\n",
     "[Item]\nMONITOR =TRUE\n MONITOR=TRUE\nMONITOR\nMONITORS=TRUE\nMONITO=TRUE\n=TRUE\n; MONITOR=TRUE\n"},
    {"heads that are not quite one", "hk",
     "[Item] \nMONITOR=TRUE\n[Item]\nMONITOR=TRUE\n[Item]\r\nMONITOR=TRUE\n",
     "[Item] \nMONITOR=TRUE\n[Item]\nMONITOR=FALSE\n[Item]\r\nMONITOR=FALSE\n"},
    {"blanks, tabs and empty lines as they stand", "h",
     "\n\n  [Item]\n[Item]\n\t\nMONITOR=TRUE\n  a = b \n\n\n",
     "\n\n  [Item]\n[Item]\n\t\nMONITOR=FALSE\n  a = b \n\n\n"},
    {"a carriage return is part of its line's value", "h", "[Item]\nSLAVE=1\r\nMONITOR=TRUE\r\n",
     "[Item]\nSLAVE=1\r\nMONITOR=FALSE\n"},
    {"a last line without an end", "h", "[Item]\nMONITOR=TRUE", "[Item]\nMONITOR=FALSE"},
    {"another last line without an end", "h", "[Item]\nMONITOR=TRUE\nSLAVE=1",
     "[Item]\nMONITOR=FALSE\nSLAVE=1"},
    {"long lines", "h", "[Item]\nITEM_NAME=" + LONG_TEXT + "\nMONITOR=TRUE\n" + LONG_TEXT + LONG_TEXT + "\n",
     "[Item]\nITEM_NAME=" + LONG_TEXT + "\nMONITOR=FALSE\n" + LONG_TEXT + LONG_TEXT + "\n"},
    {"lines of 78, 79 and 80 characters", "h",
     "[Item]\n" + std::string(78, 'a') + "\n" + std::string(79, 'b') + "\n" + std::string(80, 'c') +
         "\nMONITOR=TRUE\n",
     "[Item]\n" + std::string(78, 'a') + "\n" + std::string(79, 'b') + "\n" + std::string(80, 'c') +
         "\nMONITOR=FALSE\n"},
    // A line is taken in pieces of 79 characters, each a line of its own: here "MONITOR=" and 71 of the 100.
    {"a long line of the key", "h", "[Item]\nMONITOR=" + LONG_TEXT + "\nSLAVE=1\n",
     "[Item]\nMONITOR=FALSE" + std::string(29, 'x') + "\nSLAVE=1\n"},
    {"the key in the second piece of a line", "h", "[Item]\n" + std::string(79, 'y') + "MONITOR=TRUE\n",
     "[Item]\n" + std::string(79, 'y') + "MONITOR=FALSE\n"},
    {"an empty file", "h", "", ""},
};

TEST(ActivationFile, MonitorLinesAreRewrittenAndTheOldFileIsKept) {
    for (const rewrite_case &c : rewrites) {
        reset_all();
        test_door::put_file(INI, c.before);
        std::filesystem::permissions(test_door::real_path(INI), static_cast<std::filesystem::perms>(0600));
        board b = board_of(c.kinds);
        EXPECT_NE(output_of(&b), "") << c.what;
        EXPECT_EQ(test_door::file(INI), c.after) << c.what;
        EXPECT_TRUE(test_door::has_file(INI)) << c.what;
        EXPECT_EQ(test_door::file(OLD), c.before) << c.what;
        EXPECT_EQ(test_door::take_log(), "unlink /etc/Kestrel.ini.old.new\n"
                                         "link /etc/Kestrel.ini /etc/Kestrel.ini.old.new\n"
                                         "rename /etc/Kestrel.ini.old.new /etc/Kestrel.ini.old\n"
                                         "unlink /etc/Kestrel.ini.old.new\n"
                                         "create /etc/Kestrel.ini.new 0600\n"
                                         "owner /etc/Kestrel.ini.old\n"
                                         "fsync\n"
                                         "fclose\n"
                                         "rename /etc/Kestrel.ini.new /etc/Kestrel.ini\n")
            << c.what;
    }
}

TEST(ActivationFile, StoppedFanOfLimit0BecomesFalse) {
    reset_all();
    test_door::put_file(INI, "[Item]\nITEM_NAME=Rear Fan\nMONITOR=TRUE\n");
    hw_recorder::answer("smbus_read 23 1 2d 1", 255);
    board b;
    add(&b, "Rear Fan", CAT_FAN, CHIP_W83795ADG, 0x01, 0, 0);
    EXPECT_EQ(output_of(&b), NOT_ACTIVATED + "Rear Fan\n\n");
    EXPECT_EQ(test_door::file(INI), "[Item]\nITEM_NAME=Rear Fan\nMONITOR=FALSE\n");
}

// One empty line after all messages.
TEST(ActivationFile, MessagesInItemOrder) {
    reset_all();
    board b;
    add(&b, "Rear Fan", CAT_FAN, CHIP_W83795ADG, 0x01, 0, 0);
    add(&b, "PS Failure", CAT_SWITCH, CHIP_27, 0x02, 0, 0);
    add(&b, "System Temperature", CAT_TEMP, CHIP_18, 0x03, 70, 0);
    hw_recorder::answer("smbus_read 18 1 2d 3", 0);
    EXPECT_EQ(output_of(&b), NOT_AVAILABLE + "Rear Fan\n" + NOT_SUPPORTED + "PS Failure\n" + NOT_ACTIVATED +
                                 "System Temperature\n\n");
}

TEST(ActivationFile, OldFileOfAnEarlierTimeIsReplaced) {
    reset_all();
    test_door::put_file(INI, "[Item]\nMONITOR=TRUE\n");
    test_door::put_file(OLD, "[Item]\nMONITOR=TRUE\nSLAVE=99\n[Item]\n");
    board b = board_of("h");
    output_of(&b);
    EXPECT_EQ(test_door::file(INI), "[Item]\nMONITOR=FALSE\n");
    EXPECT_EQ(test_door::file(OLD), "[Item]\nMONITOR=TRUE\n");
}

// Such sections belong to no item.
TEST(ActivationFile, SectionsBeyondTheTableAreCopied) {
    reset_all();
    test_door::put_file(INI, "[Item]\nMONITOR=TRUE\n[Item]\nMONITOR=TRUE\n[Item]\nMONITOR=no\n");
    board b = board_of("h");
    output_of(&b);
    EXPECT_EQ(test_door::file(INI), "[Item]\nMONITOR=FALSE\n[Item]\nMONITOR=TRUE\n[Item]\nMONITOR=no\n");
}

// ---- Failures of the file: a message and exit status 2

static const char ORIGINAL[] = "[Item]\nMONITOR=TRUE\n";

// At the end of the dying program: whether the previous configuration is still there, complete.
static void say_whether_kept() {
    if (test_door::file(INI) == ORIGINAL || test_door::file(OLD) == ORIGINAL)
        fprintf(stderr, "kept\n");
}

static void detect_and_say_whether_kept(board *b) {
    atexit(say_whether_kept);
    detect(b);
}

struct failure_case {
    const char *call;
    int nth;
    const char *output; // the whole of standard error
};

// The copy is made first; it is opened and closed before the new file, which gets its name at the end.
static const failure_case failing_calls[] = {
    {"rename", 1, "^Error: cannot open /etc/Kestrel\\.ini\\.old\nkept\n$"}, // there is nothing to copy from
    {"fopen", 1, "^Error: cannot open /etc/Kestrel\\.ini\\.old\nkept\n$"},
    {"create", 1, "^Error: cannot open /etc/Kestrel\\.ini\nkept\n$"},
    {"fclose", 1, "^Error: cannot close /etc/Kestrel\\.ini\\.old\nkept\n$"},
    {"fsync", 1, "^Error: cannot close /etc/Kestrel\\.ini\nkept\n$"},
    {"fclose", 2, "^Error: cannot close /etc/Kestrel\\.ini\nkept\n$"},
    {"rename", 2, "^Error: cannot close /etc/Kestrel\\.ini\nkept\n$"},
};

TEST(ActivationFailureDeathTest, EachFailedCallEndsTheProgram) {
    for (const failure_case &c : failing_calls) {
        reset_all();
        test_door::put_file(INI, ORIGINAL);
        board b = board_of("h");
        test_door::fail_call(c.call, c.nth, EACCES);
        EXPECT_EXIT(detect_and_say_whether_kept(&b), testing::ExitedWithCode(2), c.output)
            << c.call << " " << c.nth;
    }
}

TEST(ActivationFailureDeathTest, MissingFileEndsTheProgram) {
    test_door::reset();
    hw_recorder::reset();
    board b = board_of("h");
    EXPECT_EXIT(detect(&b), testing::ExitedWithCode(2), "^Error: cannot open /etc/Kestrel\\.ini\\.old\n$");
}

// A file of an earlier time must not become the configuration because the present one could not be renamed.
TEST(ActivationFailureDeathTest, StaleOldFileIsNotTakenForTheConfiguration) {
    reset_all();
    test_door::put_file(INI, ORIGINAL);
    test_door::put_file(OLD, "[Item]\nMONITOR=TRUE\nSLAVE=99\n");
    board b = board_of("h");
    test_door::fail_call("rename", 1, EACCES);
    EXPECT_EXIT(detect_and_say_whether_kept(&b), testing::ExitedWithCode(2),
                "^Error: cannot open /etc/Kestrel\\.ini\\.old\nkept\n$");
}
