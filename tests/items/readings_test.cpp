// Readings: divisor, bit mask, conversion, references of switches, and the retry of abnormal values with its
// limits.
#include "items/readings.h"

#include <cerrno>
#include <cstdint>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "hw/ipmi.h"
#include "items/bank_select.h"
#include "items/records.h"
#include "support/hw_recorder.h"
#include "support/os_test.h"

using hw_recorder::answer;
using hw_recorder::answer_once;
using hw_recorder::take_log;
using std::string;

constexpr int64_t UNTOUCHED = 1234567;
constexpr uint32_t SMBUS = 1;
constexpr uint32_t SUPERIO = 2;

// A board of one or more items; every item's first parameter is its divisor, high limit or mask.
struct board {
    system_settings system = make_system(SMBUS | SUPERIO);
    std::vector<item_record> items;
    std::vector<parameter_record> parameters;
};

struct outcome {
    int status;
    int64_t value;
    string calls;
    string errors; // standard error
    string output; // standard output
};

using reader = decltype(&get_item_reading);

static outcome read_with(reader read, const board &on, size_t item, int64_t value = UNTOUCHED) {
    outcome result = {};
    result.value = value;
    result.output = test_door::captured_stdout([&] {
        result.errors = test_door::captured_stderr([&] {
            result.status =
                read(&on.system, on.items.data(), static_cast<int32_t>(on.items.size()), on.parameters.data(),
                     static_cast<int32_t>(on.parameters.size()), &on.items[item], &result.value);
        });
    });
    result.calls = take_log();
    return result;
}

static outcome read_once(const board &on, size_t item = 0, int64_t value = UNTOUCHED) {
    return read_with(get_item_readingImpl, on, item, value);
}

static outcome read_with_retry(const board &on, size_t item = 0, int64_t value = UNTOUCHED) {
    return read_with(get_item_reading, on, item, value);
}

static item_record item_of(uint32_t cat, uint32_t chip, uint32_t reg, const char *para1, const char *para2) {
    item_record item = make_item(cat, chip, SMBUS, 0x2D, reg);
    set_text(item.ParaIndex1, para1);
    set_text(item.ParaIndex2, para2);
    return item;
}

static string repeated(const string &text, int times) {
    string all;
    for (int i = 0; i < times; i++)
        all += text;
    return all;
}

static const char NOT_FOUND[] = "Error: Parameter is not found.\n";

// ---- Divisors

struct divisor_outcome {
    int status;
    uint32_t divisor;
    string calls;
    string output;
};

static divisor_outcome read_divisor_of(const item_record &item, uint32_t system_bus,
                                       const std::vector<parameter_record> &parameters) {
    system_settings system = make_system(system_bus);
    divisor_outcome result = {};
    result.divisor = 99;
    result.output = test_door::captured_stdout([&] {
        result.status = get_item_divisor(&system, &item, parameters.data(),
                                         static_cast<int32_t>(parameters.size()), &result.divisor);
    });
    result.calls = take_log();
    return result;
}

TEST(ItemDivisor, NoRecordIsSaidOnStandardOutput) {
    hw_recorder::reset();
    const std::vector<parameter_record> other = {make_parameter("Divisor1", 0x2D, 0x47, 0x30)};
    for (uint32_t chip : {0u, 3u, 28u, 0xFFu}) { // chips that need no divisor too
        item_record item = item_of(CAT_FAN, chip, 0x28, "Divisor9", "");
        for (const auto &parameters : {other, std::vector<parameter_record>{}}) {
            divisor_outcome seen = read_divisor_of(item, 3, parameters);
            EXPECT_EQ(seen.status, -1) << "chip " << chip;
            EXPECT_EQ(seen.divisor, 99u) << "chip " << chip;
            EXPECT_EQ(seen.calls, "") << "chip " << chip;
            EXPECT_EQ(seen.output, "Error: Cannot get the divisor 'Divisor9'!\n") << "chip " << chip;
        }
    }
}

TEST(ItemDivisor, ExactlyTheseChipsReadNothing) {
    std::vector<bool> reads_nothing(0x100);
    for (uint32_t chip : {3u, 6u, 8u, 9u, 14u, 16u, 17u, 23u, 25u, 28u, 30u})
        reads_nothing[chip] = true;
    for (uint32_t chip = 0; chip <= 0xFF; chip++) {
        hw_recorder::reset();
        string line = call_line("smbus_read %u 1 2d 47", chip);
        answer(line, 0x20); // field 2 of mask 0x30: 2 to the power of 2
        divisor_outcome seen = read_divisor_of(item_of(CAT_FAN, chip, 0x28, "Divisor1", ""), 3,
                                               {make_parameter("Divisor1", 0x2D, 0x47, 0x30)});
        EXPECT_EQ(seen.status, 0) << "chip " << chip;
        EXPECT_EQ(seen.divisor, reads_nothing[chip] ? 1u : 4u) << "chip " << chip;
        EXPECT_EQ(seen.calls, reads_nothing[chip] ? "" : line + "\n") << "chip " << chip;
        EXPECT_EQ(seen.output, "") << "chip " << chip;
    }
}

TEST(ItemDivisor, RegisterIsReadOnTheItemsBuses) {
    struct {
        uint32_t bus;
        uint32_t system_bus;
        int status;
        uint32_t divisor; // the SMBus gives field 1, the Super I/O field 3
        string calls;
    } const rows[] = {
        {1, 1, 0, 2, "smbus_read 0 1 2d 47\n"},
        {8, 8, 0, 2, "smbus_read 0 8 2d 47\n"},
        {9, 0, 0, 2, "smbus_read 0 9 2d 47\n"}, // the system's SMBus bits are not asked for
        {2, 2, 0, 8, "isa_read 2d 47\n"},
        {2, 3, 0, 8, "isa_read 2d 47\n"},
        {3, 3, 0, 8, "smbus_read 0 3 2d 47\nisa_read 2d 47\n"}, // the Super I/O's answer replaces the SMBus's
        {10, 2, 0, 8, "smbus_read 0 a 2d 47\nisa_read 2d 47\n"},
        {3, 1, 0, 2, "smbus_read 0 3 2d 47\n"}, // the system has no Super I/O
        {2, 1, -1, 99, ""},
        {0, 3, -1, 99, ""},
        {4, 0xF, -1, 99, ""},
    };
    for (const auto &row : rows) {
        hw_recorder::reset();
        answer(call_line("smbus_read 0 %x 2d 47", row.bus), 0x10);
        answer("isa_read 2d 47", 0x30);
        item_record item = item_of(CAT_FAN, 0, 0x28, "Divisor1", "");
        item.BusType = row.bus;
        item.Slave = 0x11; // the record's slave is meant, not the item's
        divisor_outcome seen =
            read_divisor_of(item, row.system_bus, {make_parameter("Divisor1", 0x2D, 0x47, 0x30)});
        string what = call_line("item bus %x system bus %x", row.bus, row.system_bus);
        EXPECT_EQ(seen.status, row.status) << what;
        EXPECT_EQ(seen.divisor, row.divisor) << what;
        EXPECT_EQ(seen.calls, row.calls) << what;
        EXPECT_EQ(seen.output, "") << what;
    }
}

TEST(ItemDivisor, FailedSuperIoReadFailsEvenAfterAGoodSmbusOne) {
    hw_recorder::reset();
    answer("smbus_read 0 3 2d 47", 0x10);
    item_record item = item_of(CAT_FAN, 0, 0x28, "Divisor1", "");
    item.BusType = 3;
    divisor_outcome seen = read_divisor_of(item, 3, {make_parameter("Divisor1", 0x2D, 0x47, 0x30)});
    EXPECT_EQ(seen.status, -1);
    EXPECT_EQ(seen.calls, "smbus_read 0 3 2d 47\nisa_read 2d 47\n");
}

TEST(ItemDivisor, NameMustBeginWithDivisorInAnyCase) {
    struct {
        const char *name;
        int status;
    } const rows[] = {{"Divisor1", 0},  {"DIVISOR1", 0},  {"divisor16", 0}, {"dIvIsOr", 0},
                      {"DivisorX", 0},  {"Divisio1", -1}, {"Diviso", -1},   {"FAN1H", -1},
                      {"XDivisor", -1}, {" Divisor1", -1}};
    for (auto row : rows) {
        hw_recorder::reset();
        answer("smbus_read 0 1 2d 47", 0x10);
        divisor_outcome seen = read_divisor_of(item_of(CAT_FAN, 0, 0x28, row.name, ""), 1,
                                               {make_parameter(row.name, 0x2D, 0x47, 0x30)});
        EXPECT_EQ(seen.status, row.status) << row.name;
        EXPECT_EQ(seen.divisor, row.status == 0 ? 2u : 99u) << row.name;
        EXPECT_EQ(seen.calls, "smbus_read 0 1 2d 47\n") << row.name; // it is read in any case
        EXPECT_EQ(seen.output, "") << row.name;
    }
}

TEST(ItemDivisor, FirstRecordOfTheNameCountsWhateverItsCase) {
    hw_recorder::reset();
    answer("smbus_read 0 1 2d 47", 0x30);
    divisor_outcome seen = read_divisor_of(item_of(CAT_FAN, 0, 0x28, "dIVISOR2", ""), 1,
                                           {make_parameter("Divisor1", 0x2D, 0x45, 0x30),
                                            make_parameter("Divisor2", 0x2D, 0x47, 0x30),
                                            make_parameter("DIVISOR2", 0x2D, 0x4B, 0x30)});
    EXPECT_EQ(seen.status, 0);
    EXPECT_EQ(seen.divisor, 8u);
    EXPECT_EQ(seen.calls, "smbus_read 0 1 2d 47\n");
}

TEST(ItemDivisor, MaskWithoutAFieldGivesOneAndFails) {
    hw_recorder::reset();
    answer("smbus_read 0 1 2d 47", 0xFF);
    divisor_outcome seen = read_divisor_of(item_of(CAT_FAN, 0, 0x28, "Divisor1", ""), 1,
                                           {make_parameter("Divisor1", 0x2D, 0x47, 0xFF)});
    EXPECT_EQ(seen.status, -1);
    EXPECT_EQ(seen.divisor, 1u);
}

TEST(ItemBitmask, LastRecordOfTheNameOrZero) {
    const parameter_record table[] = {
        make_parameter("SWITCH1A", 0, 0, 0x01), make_parameter("SWITCH2A", 0, 0, 0x02),
        make_parameter("switch1a", 0, 0, 0x10), make_parameter("SWITCH3A", 0, 0, 0x40)};
    struct {
        const char *name;
        uint32_t mask;
    } const rows[] = {{"SWITCH1A", 0x10}, {"Switch1a", 0x10}, {"SWITCH2A", 0x02}, {"switch3A", 0x40},
                      {"SWITCH1", 0},     {"SWITCH1AB", 0},   {"SWITCH4A", 0}};
    for (auto row : rows)
        EXPECT_EQ(get_item_bitmask(row.name, table, 4), row.mask) << row.name;
    EXPECT_EQ(get_item_bitmask("SWITCH3A", table, 3), 0u);
    EXPECT_EQ(get_item_bitmask("SWITCH1A", nullptr, 0), 0u);
}

// ---- One reading

TEST(ItemReadingImpl, ConvertsByCategory) {
    board fan = {.items = {item_of(CAT_FAN, 0, 0x28, "Divisor1", "")},
                 .parameters = {make_parameter("Divisor1", 0x2D, 0x47, 0x30)}};
    hw_recorder::reset();
    answer("smbus_read 0 1 2d 28", 150);
    answer("smbus_read 0 1 2d 47", 0x10);
    outcome seen = read_once(fan);
    EXPECT_EQ(seen.status, 0);
    EXPECT_EQ(seen.value, 4500); // 1350000 / 2 / 150
    EXPECT_EQ(seen.calls, "smbus_read 0 1 2d 28\nsmbus_read 0 1 2d 47\n");
    answer("smbus_read 0 1 2d 28", 255);
    EXPECT_EQ(read_once(fan).value, 0);

    board voltage = {.items = {item_of(CAT_VOLTAGE, 0, 0x20, "VOL1H", "VOL1L")}, .parameters = {}};
    hw_recorder::reset();
    answer("smbus_read 0 1 2d 20", 192);
    seen = read_once(voltage);
    EXPECT_EQ(seen.status, 0);
    EXPECT_EQ(seen.value, 12000);                    // 192 × 62.5
    EXPECT_EQ(seen.calls, "smbus_read 0 1 2d 20\n"); // no limit is fetched

    voltage.items[0].ChipCode = 13; // ADM1026: (raw - 128), unsigned
    voltage.items[0].VolFunc = 7;
    answer("smbus_read 13 1 2d 20", 100);
    EXPECT_EQ(read_once(voltage).value, INT32_MIN);
    voltage.items[0].VolFunc = 6;
    answer("smbus_read 13 1 2d 20", 0);
    EXPECT_EQ(read_once(voltage).value, -16000);
}

TEST(ItemReadingImpl, TemperaturesOf127And128AreNoSensor) {
    struct {
        uint32_t raw;
        int64_t value;
    } const rows[] = {{0, 0}, {40, 40}, {126, 126}, {127, 0}, {128, 0}, {129, -127}, {0xF6, -10}, {255, -1}};
    board on = {.items = {item_of(CAT_TEMP, 0, 0x27, "TEMP1H", "")}, .parameters = {}};
    for (auto row : rows) {
        hw_recorder::reset();
        answer("smbus_read 0 1 2d 27", row.raw);
        outcome seen = read_once(on);
        EXPECT_EQ(seen.status, 0) << "raw " << row.raw;
        EXPECT_EQ(seen.value, row.value) << "raw " << row.raw;
    }
}

TEST(ItemReadingImpl, FanWithoutADivisorTakesOne) {
    board on = {.items = {item_of(CAT_FAN, 0, 0x28, "Divisor2", "")},
                .parameters = {make_parameter("Divisor1", 0x2D, 0x47, 0x30)}};
    hw_recorder::reset();
    answer("smbus_read 0 1 2d 28", 150);
    outcome seen = read_once(on);
    EXPECT_EQ(seen.status, 0);
    EXPECT_EQ(seen.value, 9000); // 1350000 / 150
    EXPECT_EQ(seen.calls, "smbus_read 0 1 2d 28\n");
    EXPECT_EQ(seen.output, "Error: Cannot get the divisor 'Divisor2'!\n");
    EXPECT_EQ(seen.errors, "");

    set_text(on.items[0].ParaIndex1, "Divisor1"); // there, but its register cannot be read
    seen = read_once(on);
    EXPECT_EQ(seen.value, 9000);
    EXPECT_EQ(seen.calls, "smbus_read 0 1 2d 28\nsmbus_read 0 1 2d 47\n");
    EXPECT_EQ(seen.output, "");
}

TEST(ItemReadingImpl, FailedFanReadsNoDivisor) {
    board on = {.items = {item_of(CAT_FAN, 0, 0x28, "Divisor9", "")}, .parameters = {}};
    hw_recorder::reset();
    outcome seen = read_once(on);
    EXPECT_EQ(seen.status, -1);
    EXPECT_EQ(seen.value, UNTOUCHED);
    EXPECT_EQ(seen.calls, "smbus_read 0 1 2d 28\n");
    EXPECT_EQ(seen.output, "");
}

TEST(ItemReadingImpl, VccpOfChips9And14KeepsTheCallersValue) {
    for (uint32_t chip : {9u, 14u}) {
        board on = {.items = {item_of(CAT_VOLTAGE, chip, 0x20, "", "")}, .parameters = {}};
        on.items[0].VolFunc = 4;
        hw_recorder::reset();
        string line = call_line("smbus_read %u 1 2d 20", chip);
        answer(line, 15);
        for (int64_t before : {int64_t{0}, int64_t{1150}, int64_t{-3}}) {
            outcome seen = read_once(on, 0, before);
            EXPECT_EQ(seen.status, 0) << "chip " << chip;
            EXPECT_EQ(seen.value, before) << "chip " << chip;
        }
        answer(line, 16);
        EXPECT_EQ(read_once(on, 0, 1150).value, 100) << "chip " << chip; // 16 × 6.25
    }
}

// ---- Readings with their retry

// A voltage of chip 0 (62.5 mV per step): raw 192 is 12000 mV, its limits 12500 (200) and 11250 (180).
static board voltage_board() {
    board on = {
        .items = {item_of(CAT_VOLTAGE, 0, 0x20, "VOL1H", "VOL1L")},
        .parameters = {make_parameter("VOL1H", 0x2D, 0x2B, 0xFF), make_parameter("VOL1L", 0x2D, 0x2C, 0xFF)}};
    hw_recorder::reset();
    answer("smbus_read 0 1 2d 20", 192);
    answer("smbus_read 0 1 2d 2b", 200);
    answer("smbus_read 0 1 2d 2c", 180);
    return on;
}

// The accesses of one pass: high limit, low limit, value.
static const char VOLTAGE_PASS[] = "smbus_read 0 1 2d 2b\nsmbus_read 0 1 2d 2c\nsmbus_read 0 1 2d 20\n";

TEST(ItemReading, NormalValueTakesOnePass) {
    board on = voltage_board();
    outcome seen = read_with_retry(on);
    EXPECT_EQ(seen.status, 0);
    EXPECT_EQ(seen.value, 12000);
    EXPECT_EQ(seen.calls, VOLTAGE_PASS);
    EXPECT_EQ(seen.errors, "");
}

TEST(ItemReading, AbnormalValueIsReadThreeTimes) {
    for (uint32_t raw : {200u, 180u, 0u, 255u}) { // at either limit and beyond them
        board on = voltage_board();
        answer("smbus_read 0 1 2d 20", raw);
        outcome seen = read_with_retry(on);
        EXPECT_EQ(seen.status, 0);
        EXPECT_EQ(seen.value, raw * 125 / 2) << "raw " << raw;
        EXPECT_EQ(seen.calls, repeated(VOLTAGE_PASS, 3)) << "raw " << raw;
    }
}

TEST(ItemReading, StopsAtTheFirstNormalValue) {
    board on = voltage_board();
    answer_once("smbus_read 0 1 2d 20", 255);
    outcome seen = read_with_retry(on);
    EXPECT_EQ(seen.value, 12000);
    EXPECT_EQ(seen.calls, repeated(VOLTAGE_PASS, 2));

    answer_once("smbus_read 0 1 2d 20", 255);
    answer_once("smbus_read 0 1 2d 20", 0);
    seen = read_with_retry(on);
    EXPECT_EQ(seen.value, 12000);
    EXPECT_EQ(seen.calls, repeated(VOLTAGE_PASS, 3));

    answer_once("smbus_read 0 1 2d 20", 255);
    answer_once("smbus_read 0 1 2d 20", 0);
    answer_once("smbus_read 0 1 2d 20", 16); // the last pass's value, normal or not
    seen = read_with_retry(on);
    EXPECT_EQ(seen.value, 1000);
    EXPECT_EQ(seen.calls, repeated(VOLTAGE_PASS, 3));
}

TEST(ItemReading, LimitsAreFetchedAnewOnEveryPass) {
    board on = voltage_board();
    answer_once("smbus_read 0 1 2d 2b", 192); // at first 12000 equals its high limit
    outcome seen = read_with_retry(on);
    EXPECT_EQ(seen.value, 12000);
    EXPECT_EQ(seen.calls, repeated(VOLTAGE_PASS, 2));
}

TEST(ItemReading, LimitThatCannotBeReadCountsAsZero) {
    board on = voltage_board();
    hw_recorder::fail("smbus_read 0 1 2d 2c"); // 12000 is above a low limit of 0
    outcome seen = read_with_retry(on);
    EXPECT_EQ(seen.status, 0);
    EXPECT_EQ(seen.calls, VOLTAGE_PASS);
    EXPECT_EQ(seen.errors, "");

    hw_recorder::fail("smbus_read 0 1 2d 2b"); // and not below a high limit of 0
    seen = read_with_retry(on);
    EXPECT_EQ(seen.status, 0);
    EXPECT_EQ(seen.value, 12000);
    EXPECT_EQ(seen.calls, repeated(VOLTAGE_PASS, 3));
}

TEST(ItemReading, LowLimitOfAnEarlierPassIsForgotten) {
    board on = voltage_board();
    hw_recorder::fail("smbus_read 0 1 2d 2c");
    answer_once("smbus_read 0 1 2d 2c", 255); // 15937: abnormal at first, then unreadable, which counts as 0
    outcome seen = read_with_retry(on);
    EXPECT_EQ(seen.value, 12000);
    EXPECT_EQ(seen.calls, repeated(VOLTAGE_PASS, 2));
}

TEST(ItemReading, HighLimitOfAnEarlierPassIsForgottenToo) {
    board on = voltage_board();
    hw_recorder::fail("smbus_read 0 1 2d 2b");
    answer_once("smbus_read 0 1 2d 2b", 200); // the second pass would be normal under this one
    answer_once("smbus_read 0 1 2d 20", 255);
    outcome seen = read_with_retry(on);
    EXPECT_EQ(seen.value, 12000);
    EXPECT_EQ(seen.calls, repeated(VOLTAGE_PASS, 3));
}

TEST(ItemReading, MissingLimitsAreSaidOnEveryPass) {
    board on = voltage_board();
    set_text(on.items[0].ParaIndex1, "VOL9H");
    set_text(on.items[0].ParaIndex2, "VOL9L");
    outcome seen = read_with_retry(on); // limits of 0: never normal
    EXPECT_EQ(seen.status, 0);
    EXPECT_EQ(seen.value, 12000);
    EXPECT_EQ(seen.calls, repeated("smbus_read 0 1 2d 20\n", 3));
    EXPECT_EQ(seen.errors, repeated(NOT_FOUND, 6));
}

TEST(ItemReading, TemperatureFetchesItsLowLimitToo) {
    board on = {.items = {item_of(CAT_TEMP, 0, 0x27, "TEMP1H", "TEMP1L")},
                .parameters = {make_parameter("TEMP1H", 0x2D, 0x39, 0xFF)}};
    hw_recorder::reset();
    answer("smbus_read 0 1 2d 27", 40);
    answer("smbus_read 0 1 2d 39", 70);
    outcome seen = read_with_retry(on);
    EXPECT_EQ(seen.value, 40);
    EXPECT_EQ(seen.calls, "smbus_read 0 1 2d 39\nsmbus_read 0 1 2d 27\n");
    EXPECT_EQ(seen.errors, NOT_FOUND); // of the low limit, which no judgement needs

    on.parameters.push_back(make_parameter("TEMP1L", 0x2D, 0x3A, 0xFF));
    seen = read_with_retry(on);
    EXPECT_EQ(seen.calls, "smbus_read 0 1 2d 39\nsmbus_read 0 1 2d 3a\nsmbus_read 0 1 2d 27\n");
    EXPECT_EQ(seen.errors, "");

    answer("smbus_read 0 1 2d 27", 70); // equal to the limit
    seen = read_with_retry(on);
    EXPECT_EQ(seen.value, 70);
    EXPECT_EQ(seen.calls, repeated("smbus_read 0 1 2d 39\nsmbus_read 0 1 2d 3a\nsmbus_read 0 1 2d 27\n", 3));
}

TEST(ItemReading, FanFetchesItsDivisorRecordAsAHighLimit) {
    board on = {.items = {item_of(CAT_FAN, 0, 0x28, "Divisor1", "FAN1H")},
                .parameters = {make_parameter("Divisor1", 0x2D, 0x47, 0x30),
                               make_parameter("FAN1H", 0x2D, 0x3B, 0xFF)}};
    hw_recorder::reset();
    answer("smbus_read 0 1 2d 28", 150); // 1350000 / 2 / 150 = 4500 rpm
    answer("smbus_read 0 1 2d 47", 0x10);
    answer("smbus_read 0 1 2d 3b", 225); // 3000 rpm
    // Each count is followed by the divisor that its conversion reads.
    const string pass = "smbus_read 0 1 2d 47\nsmbus_read 0 1 2d 47\n"
                        "smbus_read 0 1 2d 3b\nsmbus_read 0 1 2d 47\n"
                        "smbus_read 0 1 2d 28\nsmbus_read 0 1 2d 47\n";
    outcome seen = read_with_retry(on);
    EXPECT_EQ(seen.status, 0);
    EXPECT_EQ(seen.value, 4500);
    EXPECT_EQ(seen.calls, pass);
    EXPECT_EQ(seen.errors, "");
    EXPECT_EQ(seen.output, "");

    answer("smbus_read 0 1 2d 28", 255); // stopped
    seen = read_with_retry(on);
    EXPECT_EQ(seen.value, 0);
    EXPECT_EQ(seen.calls, repeated(pass, 3));
}

TEST(ItemReading, FanWithoutRecordsSaysSoOnBothOutputs) {
    board on = {.items = {item_of(CAT_FAN, 0, 0x28, "Divisor1", "FAN1H")}, .parameters = {}};
    hw_recorder::reset();
    answer("smbus_read 0 1 2d 28", 150);
    outcome seen = read_with_retry(on); // 9000 rpm above a low limit of 0
    EXPECT_EQ(seen.value, 9000);
    EXPECT_EQ(seen.calls, "smbus_read 0 1 2d 28\n");
    EXPECT_EQ(seen.errors, repeated(NOT_FOUND, 2));
    EXPECT_EQ(seen.output, "Error: Cannot get the divisor 'Divisor1'!\n"); // by the reading alone
}

TEST(ItemReading, SwitchFetchesItsOwnRecordAsALimit) {
    board on = {.items = {item_of(CAT_SWITCH, 0, 0x42, "SWITCH1A", "SWITCH1C")},
                .parameters = {make_parameter("SWITCH1A", 0x2D, 0x42, 0x10),
                               make_parameter("SWITCH1C", 0x2D, 0x46, 0x80)}};
    hw_recorder::reset();
    answer("smbus_read 0 1 2d 42", 0);
    answer("smbus_read 0 1 2d 46", 0xFF);
    const string pass = "smbus_read 0 1 2d 42\nsmbus_read 0 1 2d 46\nsmbus_read 0 1 2d 42\n";
    outcome seen = read_with_retry(on);
    EXPECT_EQ(seen.status, 0);
    EXPECT_EQ(seen.value, 0);
    EXPECT_EQ(seen.calls, pass);
    EXPECT_EQ(seen.errors, "");

    answer("smbus_read 0 1 2d 42", 0x10); // active, so abnormal
    seen = read_with_retry(on);
    EXPECT_EQ(seen.value, 1);
    EXPECT_EQ(seen.calls, repeated(pass, 3));

    set_text(on.items[0].ParaIndex2, "");
    seen = read_with_retry(on);
    EXPECT_EQ(seen.calls, repeated("smbus_read 0 1 2d 42\nsmbus_read 0 1 2d 42\n", 3));
    EXPECT_EQ(seen.errors, repeated(NOT_FOUND, 3));
}

TEST(ItemReading, AbsentSwitchOfChip27IsNormalAndItsRecordsAreFetched) {
    board on = {.items = {item_of(CAT_SWITCH, 27, 0x42, "SWITCH1A", "SWITCH1C")},
                .parameters = {make_parameter("SWITCH1A", 0x2D, 0x42, 0x10)}};
    hw_recorder::reset();
    outcome seen = read_with_retry(on);
    EXPECT_EQ(seen.status, 0);
    EXPECT_EQ(seen.value, 0);
    EXPECT_EQ(seen.calls, "smbus_read 27 1 2d 42\n"); // the limit's access; the switch itself has no access
    EXPECT_EQ(seen.errors, NOT_FOUND);
}

TEST(ItemReading, OtherCategoriesAreRefusedThreeTimes) {
    for (uint32_t cat : {4u, 5u, 6u, 0xFFu}) {
        board on = {.items = {item_of(cat, 0, 0x20, "VOL1H", "VOL9L")},
                    .parameters = {make_parameter("VOL1H", 0x2D, 0x2B, 0xFF)}};
        hw_recorder::reset();
        answer("smbus_read 0 1 2d 20", 192);
        answer("smbus_read 0 1 2d 2b", 200);
        outcome seen = read_with_retry(on);
        EXPECT_EQ(seen.status, -1) << "category " << cat;
        EXPECT_EQ(seen.value, UNTOUCHED) << "category " << cat;
        EXPECT_EQ(seen.calls, repeated("smbus_read 0 1 2d 2b\nsmbus_read 0 1 2d 20\n", 3))
            << "category " << cat;
        EXPECT_EQ(
            seen.errors,
            repeated(string("Error: wrong parameter!\n") + NOT_FOUND + "Error: unknown parameter!\n", 3))
            << "category " << cat;
    }
}

TEST(ItemReading, FailedReadingLeavesTheValue) {
    board on = voltage_board();
    hw_recorder::fail("smbus_read 0 1 2d 20");
    outcome seen = read_with_retry(on); // 0, judged, is below the low limit
    EXPECT_EQ(seen.status, -1);
    EXPECT_EQ(seen.value, UNTOUCHED);
    EXPECT_EQ(seen.calls, repeated(VOLTAGE_PASS, 3));
}

TEST(ItemReading, FailedFirstPassIsJudgedAsZero) {
    // A temperature of 0 is normal below any positive limit, a switch in state 0 too: no second pass.
    board temperature = {.items = {item_of(CAT_TEMP, 0, 0x27, "TEMP1H", "TEMP1H")},
                         .parameters = {make_parameter("TEMP1H", 0x2D, 0x39, 0xFF)}};
    hw_recorder::reset();
    answer("smbus_read 0 1 2d 39", 70);
    outcome seen = read_with_retry(temperature);
    EXPECT_EQ(seen.status, -1);
    EXPECT_EQ(seen.value, UNTOUCHED);
    EXPECT_EQ(seen.calls, "smbus_read 0 1 2d 39\nsmbus_read 0 1 2d 39\nsmbus_read 0 1 2d 27\n");

    board pin = {.items = {item_of(CAT_SWITCH, 4, 0xF1, "", "")}, .parameters = {}};
    hw_recorder::reset();
    seen = read_with_retry(pin);
    EXPECT_EQ(seen.status, -1);
    EXPECT_EQ(seen.calls, "super_gpio 4 2d f1\n");
}

TEST(ItemReading, FailedLaterPassIsJudgedByTheValueSoFar) {
    board on = {.items = {item_of(CAT_TEMP, 0, 0x27, "TEMP1H", "TEMP1H")},
                .parameters = {make_parameter("TEMP1H", 0x2D, 0x39, 0xFF)}};
    hw_recorder::reset();
    answer("smbus_read 0 1 2d 39", 70);
    answer_once("smbus_read 0 1 2d 27", 80); // abnormal; then unreadable, and still judged as 80
    outcome seen = read_with_retry(on);
    EXPECT_EQ(seen.status, -1);
    EXPECT_EQ(seen.calls, repeated("smbus_read 0 1 2d 39\nsmbus_read 0 1 2d 39\nsmbus_read 0 1 2d 27\n", 3));
}

TEST(ItemReading, GoodPassAfterAFailedOneGivesItsValue) {
    board on = {.items = {item_of(CAT_FAN, 8, 0x700, "Divisor1", "Divisor1")}, .parameters = {}};
    hw_recorder::reset();
    test_door::reset();
    test_door::on_inb = [](uint16_t port) -> uint8_t { return port == 0x712 ? 100 : 0; };
    test_door::fail_call("inb", 1, EPERM);
    outcome seen = read_with_retry(on);
    EXPECT_EQ(seen.status, 0);
    EXPECT_EQ(seen.value, 54000); // 5400000 / 100
    EXPECT_EQ(test_door::take_log(), "inb 070f failed\n"
                                     "inb 070f 00\noutb 070f 2d\ninb 0712 64\ninb 0713 00\n");
}

TEST(ItemReading, VccpOfChips9And14IsJudgedByTheCallersValue) {
    for (uint32_t chip : {9u, 14u}) {
        board on = {.items = {item_of(CAT_VOLTAGE, chip, 0x20, "VOL1H", "VOL1L")},
                    .parameters = {make_parameter("VOL1H", 0x2D, 0x2B, 0xFF),
                                   make_parameter("VOL1L", 0x2D, 0x2C, 0xFF)}};
        on.items[0].VolFunc = 4;
        hw_recorder::reset();
        answer(call_line("smbus_read %u 1 2d 20", chip), 3);
        answer(call_line("smbus_read %u 1 2d 2b", chip), 240); // 1500 mV
        answer(call_line("smbus_read %u 1 2d 2c", chip), 160); // 1000 mV
        const string pass = call_line("smbus_read %u 1 2d 2b\nsmbus_read %u 1 2d 2c\nsmbus_read %u 1 2d 20\n",
                                      chip, chip, chip);
        outcome seen = read_with_retry(on, 0, 1150);
        EXPECT_EQ(seen.status, 0) << "chip " << chip;
        EXPECT_EQ(seen.value, 1150) << "chip " << chip;
        EXPECT_EQ(seen.calls, pass) << "chip " << chip;
        seen = read_with_retry(on, 0, 0); // a first reading
        EXPECT_EQ(seen.status, 0) << "chip " << chip;
        EXPECT_EQ(seen.value, 0) << "chip " << chip;
        EXPECT_EQ(seen.calls, repeated(pass, 3)) << "chip " << chip;
    }
}

// ---- Switches with a reference

// Item 0 is a switch of mask 0x10 at register 0x42, item 1 the power supply's fan that it refers to, of
// chip 3.
static board reference_board() {
    board on = {.items = {item_of(CAT_SWITCH, 0, 0x42, "SWITCH1A", "SWITCH1A"),
                          item_of(CAT_FAN, 3, 0x28, "SWITCH1A", "FAN1H")},
                .parameters = {make_parameter("SWITCH1A", 0x2D, 0x42, 0x10)}};
    set_text(on.items[0].RefItemId, "Item_FAN1");
    set_text(on.items[1].ItemId, "ITEM_fan1"); // the same but for its case
    hw_recorder::reset();
    answer("smbus_read 0 1 2d 42", 0);
    answer("smbus_read 3 1 2d 28", 100);
    answer("smbus_read 3 1 2d 29", 0);
    return on;
}

// The reference's own reading: its high limit fails (nothing answers at 0x43), its low limit has no record.
static const char REFERENCE_PASS[] = "smbus_read 3 1 2d 42\nsmbus_read 3 1 2d 43\n"
                                     "smbus_read 3 1 2d 28\nsmbus_read 3 1 2d 29\n";

TEST(SwitchReference, ReferenceThatReadsZeroGivesStateTwo) {
    board on = reference_board();
    answer("smbus_read 3 1 2d 28", 0); // 0 rpm
    outcome seen = read_once(on);
    EXPECT_EQ(seen.status, 0);
    EXPECT_EQ(seen.value, 2);
    EXPECT_EQ(seen.calls, "smbus_read 0 1 2d 42\n" + repeated(REFERENCE_PASS, 3));
    EXPECT_EQ(seen.errors, repeated(NOT_FOUND, 3));
}

TEST(SwitchReference, OtherReferenceGivesStateZero) {
    board on = reference_board();
    outcome seen = read_once(on);
    EXPECT_EQ(seen.status, 0);
    EXPECT_EQ(seen.value, 0);
    EXPECT_EQ(seen.calls, string("smbus_read 0 1 2d 42\n") + REFERENCE_PASS);
}

TEST(SwitchReference, ActiveSwitchReadsItsReferenceAndStaysActive) {
    board on = reference_board();
    answer("smbus_read 0 1 2d 42", 0x10);
    answer("smbus_read 3 1 2d 28", 0);
    outcome seen = read_once(on);
    EXPECT_EQ(seen.value, 1);
    EXPECT_EQ(seen.calls, "smbus_read 0 1 2d 42\n" + repeated(REFERENCE_PASS, 3));
}

TEST(SwitchReference, FailedSwitchReadsNoReference) {
    board on = reference_board();
    hw_recorder::fail("smbus_read 0 1 2d 42");
    outcome seen = read_once(on);
    EXPECT_EQ(seen.status, -1);
    EXPECT_EQ(seen.value, UNTOUCHED);
    EXPECT_EQ(seen.calls, "smbus_read 0 1 2d 42\n");
}

TEST(SwitchReference, UnreadableReferenceCountsAsOne) {
    board on = reference_board();
    hw_recorder::fail("smbus_read 3 1 2d 28");
    outcome seen = read_once(on);
    EXPECT_EQ(seen.status, 0);
    EXPECT_EQ(seen.value, 0);
    EXPECT_EQ(seen.calls, "smbus_read 0 1 2d 42\n" + repeated(REFERENCE_PASS, 3));
}

TEST(SwitchReference, UnknownReferenceIsSaidAndCountsAsZero) {
    board on = reference_board();
    set_text(on.items[0].RefItemId, "Item_FAN7");
    outcome seen = read_once(on);
    EXPECT_EQ(seen.status, 0);
    EXPECT_EQ(seen.value, 2);
    EXPECT_EQ(seen.calls, "smbus_read 0 1 2d 42\n");
    EXPECT_EQ(seen.errors, "Error: Unknown Ref_Item_ID 'Item_FAN7'.\n");
    EXPECT_EQ(seen.output, "");

    answer("smbus_read 0 1 2d 42", 0x10); // reported for an active one too
    seen = read_once(on);
    EXPECT_EQ(seen.value, 1);
    EXPECT_EQ(seen.errors, "Error: Unknown Ref_Item_ID 'Item_FAN7'.\n");

    answer("smbus_read 0 1 2d 42", 0); // state 2 is abnormal: three passes, three messages
    seen = read_with_retry(on);
    EXPECT_EQ(seen.value, 2);
    EXPECT_EQ(seen.errors, repeated("Error: Unknown Ref_Item_ID 'Item_FAN7'.\n", 3));
    EXPECT_EQ(seen.calls, repeated("smbus_read 0 1 2d 42\n", 9)); // two limits and the switch itself
}

TEST(SwitchReference, FirstItemOfTheIdentityIsTaken) {
    board on = reference_board();
    on.items.push_back(on.items[1]);
    on.items[2].Offset = 0x60;
    outcome seen = read_once(on);
    EXPECT_EQ(seen.calls, string("smbus_read 0 1 2d 42\n") + REFERENCE_PASS);
}

TEST(SwitchReference, ActiveLowSwitchWithAReference) {
    board on = reference_board();
    on.items[0].Activate = 0;
    answer("smbus_read 3 1 2d 28", 0);
    EXPECT_EQ(read_once(on).value, 1); // raw 0 AND mask is 0: active
    answer("smbus_read 0 1 2d 42", 0x10);
    EXPECT_EQ(read_once(on).value, 2);
}

TEST(SwitchReference, SwitchWithoutARecordHasAnEmptyMask) {
    board on = reference_board();
    set_text(on.items[0].RefItemId, "");
    set_text(on.items[0].ParaIndex1, "SWITCH9A");
    answer("smbus_read 0 1 2d 42", 0xFF);
    outcome seen = read_once(on);
    EXPECT_EQ(seen.value, 0);
    EXPECT_EQ(seen.errors, ""); // a mask is not missed aloud
    on.items[0].Activate = 0;
    EXPECT_EQ(read_once(on).value, 1);
}

// `count` inactive switches, each referring to the next; the last one refers to item `last_refers_to`, or to
// none.
static board switch_chain(int count, int last_refers_to) {
    board on;
    on.parameters = {make_parameter("SWITCH1A", 0x2D, 0x42, 0x10)};
    for (int i = 0; i < count; i++) {
        item_record item = item_of(CAT_SWITCH, 0, 0x42, "SWITCH1A", "SWITCH1A");
        set_text(item.ItemId, call_line("Item_%d", i).c_str());
        int next = i + 1 < count ? i + 1 : last_refers_to;
        if (next >= 0)
            set_text(item.RefItemId, call_line("Item_%d", next).c_str());
        on.items.push_back(item);
    }
    hw_recorder::reset();
    answer("smbus_read 0 1 2d 42", 0);
    return on;
}

TEST(SwitchReference, StatesAlternateAlongAChain) {
    // The last one, without a reference, reads 0; so the one before reads 2, the one before that 0, and so
    // on.
    for (int count = 1; count <= 6; count++) {
        board on = switch_chain(count, -1);
        outcome seen = read_with_retry(on);
        EXPECT_EQ(seen.status, 0) << count << " switches";
        EXPECT_EQ(seen.value, count % 2 == 1 ? 0 : 2) << count << " switches";
        EXPECT_EQ(seen.errors, "") << count << " switches";
    }
}

TEST(SwitchReference, SwitchThatRefersToItselfIsReadOnce) {
    board on = switch_chain(1, 0);
    for (int i = 0; i < 2; i++) { // the second time as the first: nothing is left over
        outcome seen = read_with_retry(on);
        EXPECT_EQ(seen.status, 0);
        EXPECT_EQ(seen.value, 0); // its own reading inside its reading fails, which counts as 1
        EXPECT_EQ(seen.calls, repeated("smbus_read 0 1 2d 42\n", 3)); // two limits and the switch
    }
    answer("smbus_read 0 1 2d 42", 0x10);
    EXPECT_EQ(read_with_retry(on).value, 1);
}

TEST(SwitchReference, CycleEndsWhereItComesBack) {
    // The last switch finds the first one being read, which counts as 1: it reads 0, the one before it 2, ...
    for (int count = 2; count <= 5; count++)
        for (int i = 0; i < 2; i++) {
            board on = switch_chain(count, 0);
            outcome seen = read_with_retry(on);
            EXPECT_EQ(seen.status, 0) << count << " switches";
            EXPECT_EQ(seen.value, count % 2 == 1 ? 0 : 2) << count << " switches";
        }
}

TEST(SwitchReference, ChainThatRunsIntoACycleEnds) {
    // 0 refers to 1, 1 to 2, 2 to 1: item 2 reads 0, item 1 reads 2, item 0 reads 0.
    board on = switch_chain(3, 1);
    outcome seen = read_with_retry(on);
    EXPECT_EQ(seen.status, 0);
    EXPECT_EQ(seen.value, 0);
}

TEST(SwitchReference, ChainOfFiftyEndsSoon) {
    board on = switch_chain(50, -1);
    outcome seen = read_with_retry(on);
    EXPECT_EQ(seen.status, 0);
    // Every other one reads 2 and is read three times, with all that hangs on it: three times for each link
    // would be more accesses than a run has time for.
    EXPECT_LT(seen.calls.size(), 10'000'000u);
    EXPECT_EQ(read_with_retry(on).calls, seen.calls);
}

TEST(ItemReading, BankSelectRegisterIsNotTouchedWhileItsGuardSleeps) {
    ASSERT_EQ(bNeedCheckBankSelectRegister, 0u);
    for (uint32_t chip : {1u, 10u, 17u, 23u, 28u}) { // chips with a bank-select register, at 0x4E or 0x00
        board on = {.items = {item_of(CAT_VOLTAGE, chip, 0x20, "VOL1H", "VOL1L")},
                    .parameters = {make_parameter("VOL1H", 0x2D, 0x2B, 0xFF),
                                   make_parameter("VOL1L", 0x2D, 0x2C, 0xFF)}};
        hw_recorder::reset();
        answer(call_line("smbus_read %u 1 2d 20", chip), 0);
        outcome seen = read_with_retry(on);
        const string pass = call_line("smbus_read %u 1 2d 2b\nsmbus_read %u 1 2d 2c\nsmbus_read %u 1 2d 20\n",
                                      chip, chip, chip);
        // Whatever the value, only these registers are read.
        EXPECT_EQ(seen.calls.substr(0, pass.size()), pass) << "chip " << chip;
        EXPECT_EQ(seen.calls, repeated(pass, static_cast<int>(seen.calls.size() / pass.size())))
            << "chip " << chip;
    }
}
