#include "items/display.h"

#include <cstdlib>
#include <gtest/gtest.h>
#include <iterator>
#include <memory>
#include <string>
#include <sys/resource.h>

#include "hw/chip_codes.h"
#include "items/records.h"
#include "support/hw_recorder.h"
#include "support/os_test.h"

using display_array = std::unique_ptr<item_display[], decltype(&free)>;

static void reset_all() {
    test_door::reset();
    hw_recorder::reset();
}

// What every item here may name: high limits at 0xF0, low limits at 0xF1, divisors and masks at 0xF2.
static const parameter_record parameters[] = {
    make_parameter("VOL1H", 0x2D, 0xF0, 0xFF),    make_parameter("VOL1L", 0x2D, 0xF1, 0xFF),
    make_parameter("Divisor1", 0x2D, 0xF2, 0x30), make_parameter("FAN1H", 0x2D, 0xF1, 0xFF),
    make_parameter("TEMP1H", 0x2D, 0xF0, 0xFF),   make_parameter("TEMP1L", 0x2D, 0xF1, 0xFF),
    make_parameter("SWITCH1A", 0x2D, 0xF2, 0x10), make_parameter("SWITCH1C", 0x2D, 0xF2, 0xFF),
};

static item_record smbus_item(const char *name, uint32_t cat, uint32_t chip, const char *first,
                              const char *second) {
    item_record item = make_item(cat, chip, BUS_SMBUS, 0x2D, 0x27);
    set_text(item.Name, name);
    set_text(item.ParaIndex1, first);
    set_text(item.ParaIndex2, second);
    return item;
}

static display_array created(const system_settings &system, const item_record *items, int32_t count) {
    return {createItemDisps(&system, items, count, parameters, std::size(parameters)), free};
}

static item_display created_one(const item_record &item) {
    system_settings system = make_system(BUS_SMBUS);
    return created(system, &item, 1)[0];
}

// ---- Fields by category

// A field of 1 in bits 4 and 5 is divisor 2: 1350000 / 2 = 675000, and 675000 / 150 = 4500, 675000 / 225 =
// 3000.
static void answer_fan() {
    hw_recorder::answer("smbus_read 18 1 2d 27", 150);
    hw_recorder::answer("smbus_read 18 1 2d f1", 225);
    hw_recorder::answer("smbus_read 18 1 2d f2", 0x10);
}

TEST(DisplayRecord, Fan) {
    reset_all();
    answer_fan();
    item_display display = created_one(smbus_item("CPU1 Fan", CAT_FAN, CHIP_18, "Divisor1", "FAN1H"));
    EXPECT_STREQ(display.name, "CPU1 Fan");
    EXPECT_EQ(display.cat, CAT_FAN);
    EXPECT_EQ(display.chipcode, 18u);
    EXPECT_EQ(display.value, 4500);
    EXPECT_EQ(display.high_limit, 0); // a fan has no high limit
    EXPECT_EQ(display.low_limit, 3000);
    EXPECT_EQ(display.max_reading, 675000); // of count 1
    EXPECT_EQ(display.min_reading, 0);
    EXPECT_EQ(display.divisor, 2);
    EXPECT_EQ(display.monitor, 1u);
    EXPECT_EQ(display.thermal_text_supported, 0u);
    EXPECT_STREQ(display.thermal_text, "");
}

TEST(DisplayRecord, FanIsReadInTheOrderOfItsFields) {
    reset_all();
    answer_fan();
    created_one(smbus_item("CPU1 Fan", CAT_FAN, CHIP_18, "Divisor1", "FAN1H"));
    // Each conversion to rpm reads the divisor again.
    EXPECT_EQ(hw_recorder::take_log(),
              "smbus_read 18 1 2d f2\n"                        // the divisor
              "smbus_read 18 1 2d f2\nsmbus_read 18 1 2d f2\n" // reading: its high limit,
              "smbus_read 18 1 2d f1\nsmbus_read 18 1 2d f2\n" // its low limit,
              "smbus_read 18 1 2d 27\nsmbus_read 18 1 2d f2\n" // its count
              "smbus_read 18 1 2d f1\nsmbus_read 18 1 2d f2\n" // the low limit
              "smbus_read 18 1 2d f2\n");                      // the top of the scale
}

TEST(DisplayRecord, FanOfAChipWithoutDivisorsHasDivisor1) {
    reset_all();
    hw_recorder::answer("smbus_read 23 1 2d 27", 25); // 84375 / 25
    hw_recorder::answer("smbus_read 23 1 2d f1", 75); // 84375 / 75
    item_display display = created_one(smbus_item("CPU1 Fan", CAT_FAN, CHIP_W83795ADG, "Divisor1", "FAN1H"));
    EXPECT_EQ(display.value, 3375);
    EXPECT_EQ(display.low_limit, 1125);
    EXPECT_EQ(display.max_reading, 84375);
    EXPECT_EQ(display.divisor, 1);
}

// Chip 0's P12V: 62.5 mV per step.
TEST(DisplayRecord, Voltage) {
    reset_all();
    hw_recorder::answer("smbus_read 0 1 2d 27", 192);
    hw_recorder::answer("smbus_read 0 1 2d f0", 200);
    hw_recorder::answer("smbus_read 0 1 2d f1", 180);
    item_display display = created_one(smbus_item("+12V", CAT_VOLTAGE, CHIP_0, "VOL1H", "VOL1L"));
    EXPECT_STREQ(display.name, "+12V");
    EXPECT_EQ(display.cat, CAT_VOLTAGE);
    EXPECT_EQ(display.chipcode, 0u);
    EXPECT_EQ(display.value, 12000);
    EXPECT_EQ(display.high_limit, 12500);
    EXPECT_EQ(display.low_limit, 11250);
    EXPECT_EQ(display.max_reading, 15937); // 255 × 62.5 = 15937.5
    EXPECT_EQ(display.min_reading, 0);
    EXPECT_EQ(display.divisor, 0);
    EXPECT_EQ(display.monitor, 1u);
    EXPECT_EQ(display.thermal_text_supported, 0u);
    EXPECT_STREQ(display.thermal_text, "");
    // The reading's own two limits and its value, then the record's limits.
    EXPECT_EQ(hw_recorder::take_log(), "smbus_read 0 1 2d f0\nsmbus_read 0 1 2d f1\nsmbus_read 0 1 2d 27\n"
                                       "smbus_read 0 1 2d f0\nsmbus_read 0 1 2d f1\n");
}

// Chip 13's N12V: r × 1000 × 18.5 / 256 - 16000.
TEST(DisplayRecord, ScaleOfANegativeVoltage) {
    reset_all();
    item_record item = smbus_item("-12V", CAT_VOLTAGE, CHIP_ADM1026, "VOL1H", "VOL1L");
    item.VolFunc = 6;
    hw_recorder::answer("smbus_read 13 1 2d 27", 64); // 64000 × 18.5 / 256 = 4625
    item_display display = created_one(item);
    EXPECT_EQ(display.value, -11375);
    EXPECT_EQ(display.max_reading, 2427); // 255000 × 18.5 / 256 = 18427.7
    EXPECT_EQ(display.min_reading, -16000);
}

TEST(DisplayRecord, TemperatureWithoutAWord) {
    reset_all();
    hw_recorder::answer("smbus_read 18 1 2d 27", 45);
    hw_recorder::answer("smbus_read 18 1 2d f0", 70);
    hw_recorder::answer("smbus_read 18 1 2d f1", 10);
    item_display display = created_one(smbus_item("CPU1 Temperature", CAT_TEMP, CHIP_18, "TEMP1H", "TEMP1L"));
    EXPECT_STREQ(display.name, "CPU1 Temperature");
    EXPECT_EQ(display.cat, CAT_TEMP);
    EXPECT_EQ(display.chipcode, 18u);
    EXPECT_EQ(display.value, 45);
    EXPECT_EQ(display.high_limit, 70);
    EXPECT_EQ(display.low_limit, 0); // a temperature has no low limit
    EXPECT_EQ(display.max_reading, 127);
    EXPECT_EQ(display.min_reading, -127);
    EXPECT_EQ(display.divisor, 0);
    EXPECT_EQ(display.thermal_text_supported, 0u);
    EXPECT_STREQ(display.thermal_text, "");
    EXPECT_EQ(hw_recorder::take_log(), "smbus_read 18 1 2d f0\nsmbus_read 18 1 2d f1\nsmbus_read 18 1 2d 27\n"
                                       "smbus_read 18 1 2d f0\n");
}

// Calibrated (80 - 5 = 75) with margin 20: Medium from 71 to 80.
static void answer_word() {
    hw_recorder::answer("smbus_read 23 1 2d 0", 0x85);
    hw_recorder::answer("smbus_read 23 1 2d b2", 80);
    hw_recorder::answer("smbus_read 23 1 2d b3", 75);
    hw_recorder::answer("smbus_read 23 1 2d df", 20);
    hw_recorder::answer("smbus_read 23 1 2d 27", 75);
    hw_recorder::answer("smbus_read 23 1 2d f0", 90);
    hw_recorder::answer("smbus_read 23 1 2d f1", 10);
}

TEST(DisplayRecord, TemperatureWithAWord) {
    reset_all();
    answer_word();
    item_display display =
        created_one(smbus_item("CPU1 Temperature", CAT_TEMP, CHIP_W83795ADG, "TEMP1H", "TEMP1L"));
    EXPECT_EQ(display.chipcode, 23u);
    EXPECT_EQ(display.value, 75);
    EXPECT_EQ(display.high_limit, 90);
    EXPECT_EQ(display.low_limit, 0);
    EXPECT_EQ(display.max_reading, 127);
    EXPECT_EQ(display.min_reading, -127);
    EXPECT_NE(display.thermal_text_supported, 0u);
    EXPECT_STREQ(display.thermal_text, "Medium");
    // The reading, the limit, and the word last.
    EXPECT_EQ(hw_recorder::take_log(), "smbus_read 23 1 2d f0\nsmbus_read 23 1 2d f1\nsmbus_read 23 1 2d 27\n"
                                       "smbus_read 23 1 2d f0\n"
                                       "smbus_read 23 1 2d 0\nsmbus_write 1 2d 0 80\n"
                                       "smbus_read 23 1 2d b2\nsmbus_read 23 1 2d b3\nsmbus_read 23 1 2d df\n"
                                       "smbus_read 23 1 2d 27\nsmbus_write 1 2d 0 85\n");
}

TEST(DisplayRecord, SupportedWordThatCannotBeReadIsEmpty) {
    reset_all();
    answer_word();
    hw_recorder::fail("smbus_read 23 1 2d df");
    item_display display =
        created_one(smbus_item("CPU1 Temperature", CAT_TEMP, CHIP_W83795ADG, "TEMP1H", "TEMP1L"));
    EXPECT_NE(display.thermal_text_supported, 0u);
    EXPECT_STREQ(display.thermal_text, "");
    EXPECT_EQ(display.value, 75);
}

TEST(DisplayRecord, SupportedWordOfAnotherGuideTypeIsEmpty) {
    reset_all();
    answer_word();
    system_settings system = make_system(BUS_SMBUS);
    system.ThermalGuideChipType = 2;
    item_record item = smbus_item("CPU1 Temperature", CAT_TEMP, CHIP_W83795ADG, "TEMP1H", "TEMP1L");
    display_array displays = created(system, &item, 1);
    EXPECT_NE(displays[0].thermal_text_supported, 0u);
    EXPECT_STREQ(displays[0].thermal_text, "");
}

TEST(DisplayRecord, Switch) {
    reset_all();
    hw_recorder::answer("smbus_read 18 1 2d 27", 0x10); // bit 4 is the mask
    item_display display =
        created_one(smbus_item("Chassis Intrusion", CAT_SWITCH, CHIP_18, "SWITCH1A", "SWITCH1C"));
    EXPECT_STREQ(display.name, "Chassis Intrusion");
    EXPECT_EQ(display.cat, CAT_SWITCH);
    EXPECT_EQ(display.chipcode, 18u);
    EXPECT_EQ(display.value, 1);
    EXPECT_EQ(display.high_limit, 0);
    EXPECT_EQ(display.low_limit, 0);
    EXPECT_EQ(display.max_reading, 1);
    EXPECT_EQ(display.min_reading, 0);
    EXPECT_EQ(display.divisor, 0);
    EXPECT_EQ(display.thermal_text_supported, 0u);
    EXPECT_STREQ(display.thermal_text, "");
}

TEST(DisplayRecord, Chip27IsNotRead) {
    reset_all();
    hw_recorder::answer("smbus_read 27 1 2d 27", 1);
    item_display display = {};
    // Its parameters name nothing: a reading would report that.
    std::string errors = test_door::captured_stderr(
        [&] { display = created_one(smbus_item("PS Failure", CAT_SWITCH, CHIP_27, "none", "none")); });
    EXPECT_EQ(errors, "");
    EXPECT_EQ(hw_recorder::take_log(), "");
    EXPECT_EQ(display.chipcode, 27u);
    EXPECT_EQ(display.value, 0);
    EXPECT_EQ(display.max_reading, 1);
    EXPECT_EQ(display.min_reading, 0);
    EXPECT_EQ(display.monitor, 1u);
}

TEST(DisplayRecord, AbnormalValueIsReadAgain) {
    reset_all();
    hw_recorder::answer_once("smbus_read 18 1 2d 27", 95);
    hw_recorder::answer("smbus_read 18 1 2d 27", 45);
    hw_recorder::answer("smbus_read 18 1 2d f0", 70);
    item_display display = created_one(smbus_item("CPU1 Temperature", CAT_TEMP, CHIP_18, "TEMP1H", "TEMP1L"));
    EXPECT_EQ(display.value, 45);
}

TEST(DisplayRecord, MonitorIsTakenAsItStands) {
    for (uint32_t monitor : {0u, 1u, NOT_GIVEN, 0xFFFFFFFFu}) {
        reset_all();
        item_record item = smbus_item("CPU1 Fan", CAT_FAN, CHIP_18, "Divisor1", "FAN1H");
        item.Monitor = monitor;
        answer_fan();
        item_display display = created_one(item);
        EXPECT_EQ(display.monitor, monitor);
        EXPECT_EQ(display.value, 4500) << monitor; // an item that is not monitored is read all the same
    }
}

// ---- Failures

TEST(DisplayRecord, UnreadableFanKeepsZeros) {
    reset_all();
    item_display display = created_one(smbus_item("CPU1 Fan", CAT_FAN, CHIP_18, "Divisor1", "FAN1H"));
    EXPECT_EQ(display.value, 0);
    EXPECT_EQ(display.low_limit, 0);
    EXPECT_EQ(display.divisor, 0);
    EXPECT_EQ(display.max_reading, 1350000); // with divisor 1
    EXPECT_EQ(display.min_reading, 0);
}

TEST(DisplayRecord, FanWithoutADivisorRecordHasDivisor0AndIsConvertedWith1) {
    reset_all();
    answer_fan();
    item_display display = {};
    std::string errors;
    std::string output = test_door::captured_stdout([&] {
        errors = test_door::captured_stderr(
            [&] { display = created_one(smbus_item("CPU1 Fan", CAT_FAN, CHIP_18, "Divisor9", "FAN1H")); });
    });
    EXPECT_EQ(display.divisor, 0);
    EXPECT_EQ(display.value, 9000);     // 1350000 / 150
    EXPECT_EQ(display.low_limit, 6000); // 1350000 / 225
    // For the divisor, the reading's low limit, its count and the low limit; the scale says nothing.
    std::string line = "Error: Cannot get the divisor 'Divisor9'!\n";
    EXPECT_EQ(output, line + line + line + line);
    EXPECT_EQ(errors, "Error: Parameter is not found.\n"); // the reading's high limit
}

TEST(DisplayRecord, UnreadableVoltageKeepsZeros) {
    reset_all();
    item_display display = created_one(smbus_item("+12V", CAT_VOLTAGE, CHIP_0, "VOL1H", "VOL1L"));
    EXPECT_EQ(display.value, 0);
    EXPECT_EQ(display.high_limit, 0);
    EXPECT_EQ(display.low_limit, 0);
    EXPECT_EQ(display.max_reading, 15937);
}

TEST(DisplayRecord, LimitWithoutARecordIsZeroAndSaid) {
    reset_all();
    hw_recorder::answer("smbus_read 0 1 2d 27", 192);
    hw_recorder::answer("smbus_read 0 1 2d f0", 200);
    item_display display = {};
    std::string errors = test_door::captured_stderr(
        [&] { display = created_one(smbus_item("+12V", CAT_VOLTAGE, CHIP_0, "VOL1H", "VOL9L")); });
    EXPECT_EQ(display.value, 12000);
    EXPECT_EQ(display.high_limit, 12500);
    EXPECT_EQ(display.low_limit, 0);
    // A missing limit counts as 0, so the reading is normal at once: one line from it, one from the record.
    EXPECT_EQ(errors, "Error: Parameter is not found.\nError: Parameter is not found.\n");
}

TEST(DisplayRecord, UnreadableTemperatureKeepsZeros) {
    reset_all();
    item_display display =
        created_one(smbus_item("CPU1 Temperature", CAT_TEMP, CHIP_W83795ADG, "TEMP1H", "TEMP1L"));
    EXPECT_EQ(display.value, 0);
    EXPECT_EQ(display.high_limit, 0);
    EXPECT_EQ(display.low_limit, 0);
    EXPECT_EQ(display.max_reading, 127);
    EXPECT_EQ(display.min_reading, -127);
    EXPECT_NE(display.thermal_text_supported, 0u);
    EXPECT_STREQ(display.thermal_text, "");
}

TEST(DisplayRecord, UnreadableSwitchIsInactive) {
    reset_all();
    item_display display =
        created_one(smbus_item("Chassis Intrusion", CAT_SWITCH, CHIP_18, "SWITCH1A", "SWITCH1C"));
    EXPECT_EQ(display.value, 0);
}

// Below raw 16 the formula leaves the previous value; at first there is no previous value.
TEST(DisplayRecord, FirstCoreVoltageBelowTheThresholdIsZero) {
    reset_all();
    item_record item = smbus_item("CPU1 Core Voltage", CAT_VOLTAGE, CHIP_9, "VOL1H", "VOL1L");
    item.VolFunc = 4;
    hw_recorder::answer("smbus_read 9 1 2d 27", 15);
    EXPECT_EQ(created_one(item).value, 0);
}

TEST(DisplayRecord, UnknownCategoryKeepsZerosAndIsSaid) {
    reset_all();
    item_display display = {};
    std::string output = test_door::captured_stdout([&] {
        test_door::captured_stderr(
            [&] { display = created_one(smbus_item("Disk", 4, CHIP_18, "VOL1H", "VOL1L")); });
    });
    EXPECT_EQ(output, "Error: Unknown Cat '4'!\nError: unknown Cat '4'!\n");
    EXPECT_STREQ(display.name, "Disk");
    EXPECT_EQ(display.cat, 4u);
    EXPECT_EQ(display.chipcode, 18u);
    EXPECT_EQ(display.monitor, 1u);
    EXPECT_EQ(display.value, 0);
    EXPECT_EQ(display.high_limit, 0);
    EXPECT_EQ(display.low_limit, 0);
    EXPECT_EQ(display.max_reading, 0);
    EXPECT_EQ(display.min_reading, 0);
    EXPECT_EQ(display.divisor, 0);
}

// ---- Names

TEST(DisplayName, CutTo39BytesOnAWholeCharacter) {
    static const std::string x35(35, 'x');
    static const struct {
        std::string name;
        std::string shown;
    } cases[] = {
        {"", ""},
        {"CPU1 Temperature", "CPU1 Temperature"},
        {x35 + "abcd", x35 + "abcd"},
        {x35 + "abcde", x35 + "abcd"},
        {x35 + std::string(44, 'y'), x35 + "yyyy"},      // all 79 characters that an item has room for
        {x35 + "abc\u00E9" + "defghi", x35 + "abc"},     // two bytes, one of them beyond
        {x35 + "ab\u00E9" + "defghi", x35 + "ab\u00E9"}, // both inside
        {x35 + "ab\u00E9", x35 + "ab\u00E9"},
        {x35 + "abc\u20AC" + "d", x35 + "abc"}, // three bytes
        {x35 + "ab\u20AC" + "d", x35 + "ab"},
        {x35 + "a\u20AC" + "d", x35 + "a\u20AC"},
        {x35 + "abc\U0001F600" + "d", x35 + "abc"}, // four bytes
        {x35 + "ab\U0001F600" + "d", x35 + "ab"},
        {x35 + "a\U0001F600" + "d", x35 + "a"},
        {x35 + "\U0001F600" + "d", x35 + "\U0001F600"},
    };
    for (const auto &c : cases) {
        item_record item = make_item(CAT_SWITCH, CHIP_27, BUS_SMBUS, 0x2D, 0x27);
        set_text(item.Name, c.name.c_str());
        reset_all();
        EXPECT_EQ(created_one(item).name, c.shown) << c.name;
        char name[40];
        get_item_name(&item, name);
        EXPECT_EQ(name, c.shown) << c.name;
    }
}

TEST(DisplayAccessors, GiveTheItemsFields) {
    item_record item = make_item(CAT_TEMP, CHIP_34, BUS_SMBUS, 0x2D, 0x27);
    item.Monitor = NOT_GIVEN;
    EXPECT_EQ(get_item_cat(&item), 2u);
    EXPECT_EQ(get_item_chipcode(&item), 34u);
    EXPECT_EQ(get_item_monitor(&item), 0xFFu);
}

// ---- The array

TEST(DisplayArray, OneRecordAnItemInTheItemsOrder) {
    reset_all();
    item_record items[] = {
        smbus_item("CPU1 Temperature", CAT_TEMP, CHIP_18, "TEMP1H", "TEMP1L"),
        smbus_item("PS Failure", CAT_SWITCH, CHIP_27, "", ""),
        smbus_item("+12V", CAT_VOLTAGE, CHIP_0, "VOL1H", "VOL1L"),
    };
    hw_recorder::answer("smbus_read 18 1 2d 27", 45);
    hw_recorder::answer("smbus_read 18 1 2d f0", 70);
    hw_recorder::answer("smbus_read 0 1 2d 27", 192);
    hw_recorder::answer("smbus_read 0 1 2d f0", 200);
    system_settings system = make_system(BUS_SMBUS);
    display_array displays = created(system, items, 3);
    EXPECT_STREQ(displays[0].name, "CPU1 Temperature");
    EXPECT_EQ(displays[0].value, 45);
    EXPECT_STREQ(displays[1].name, "PS Failure");
    EXPECT_EQ(displays[1].cat, CAT_SWITCH);
    EXPECT_STREQ(displays[2].name, "+12V");
    EXPECT_EQ(displays[2].value, 12000);
    std::string log = hw_recorder::take_log();
    EXPECT_LT(log.rfind("smbus_read 18"), log.find("smbus_read 0 ")) << log; // one item after the other
}

TEST(DisplayArray, NoItemsNoAccess) {
    reset_all();
    system_settings system = make_system(BUS_SMBUS);
    display_array displays = created(system, nullptr, 0);
    EXPECT_NE(displays, nullptr);
    EXPECT_EQ(hw_recorder::take_log(), "");
}

#ifndef __SANITIZE_ADDRESS__ // which ends a process that gets no memory
TEST(DisplayRecords, WithoutMemoryThereAreNone) {
    reset_all();
    constexpr int32_t ITEMS = 1000000;
    rlimit before = {};
    getrlimit(RLIMIT_AS, &before);
    rlimit small = before;
    small.rlim_cur = ITEMS * sizeof(item_display); // and the program itself is not nothing
    ASSERT_EQ(setrlimit(RLIMIT_AS, &small), 0);
    system_settings system = make_system(BUS_SMBUS);
    item_display *displays = createItemDisps(&system, nullptr, ITEMS, nullptr, 0); // no item is looked at
    setrlimit(RLIMIT_AS, &before);
    EXPECT_EQ(displays, nullptr);
    EXPECT_EQ(hw_recorder::take_log(), "");
}
#endif
