// Limits by category, ends of the scales, and the judgement of a reading.
#include "items/limits.h"

#include <cstdint>
#include <functional>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "items/records.h"
#include "support/hw_recorder.h"
#include "support/os_test.h"

using hw_recorder::answer;
using hw_recorder::take_log;
using std::string;

constexpr int64_t UNTOUCHED = 1234567;

struct outcome {
    int status;
    int64_t value;
    string calls;
    string errors; // standard error
    string output; // standard output
};

static outcome run(const std::function<int(int64_t *)> &call, int64_t value = UNTOUCHED) {
    outcome result = {};
    result.value = value;
    result.output = test_door::captured_stdout(
        [&] { result.errors = test_door::captured_stderr([&] { result.status = call(&result.value); }); });
    result.calls = take_log();
    return result;
}

static const std::vector<parameter_record> PARAMETERS = {
    make_parameter("Divisor1", 0x2D, 0x47, 0x30), make_parameter("VOL1H", 0x2D, 0x2B, 0xFF),
    make_parameter("VOL1L", 0x2D, 0x2C, 0xFF), make_parameter("vol1h", 0x2D, 0x5B, 0xFF)};

static outcome read_limit(uint32_t kind, const char *name, const item_record &item,
                          const std::vector<parameter_record> &parameters = PARAMETERS,
                          int64_t value = UNTOUCHED) {
    system_settings system = make_system(3);
    return run(
        [&](int64_t *limit) {
            return get_item_limit(kind, &system, name, &item, parameters.data(),
                                  static_cast<int32_t>(parameters.size()), limit);
        },
        value);
}

static item_record item_of(uint32_t cat, uint32_t chip) {
    item_record item = make_item(cat, chip, BUS_SMBUS, 0x2D, 0x20);
    set_text(item.ParaIndex1, "Divisor1");
    return item;
}

TEST(ItemLimit, VoltageIsConvertedByItsFunction) {
    struct {
        uint32_t chip;
        uint32_t function;
        uint32_t raw;
        int64_t limit;
    } const rows[] = {
        {0, 0, 200, 12500},                     // × 62.5
        {0, 0xFF, 200, 200},                    // no such function: the raw value
        {13, 6, 0, -16000},                     // × 18500 / 256 - 16000
        {13, 7, 0, INT32_MIN}, {32, 0, 200, 0}, // no formulas beyond chip 30
        {7, 4, 15, 0},                          // below its threshold
    };
    for (auto row : rows)
        for (uint32_t kind : {HIGH_LIMIT, LOW_LIMIT}) {
            hw_recorder::reset();
            item_record item = item_of(CAT_VOLTAGE, row.chip);
            item.VolFunc = row.function;
            answer(call_line("smbus_read %u 1 2d 2b", row.chip), row.raw);
            outcome seen = read_limit(kind, "VOL1H", item);
            EXPECT_EQ(seen.status, 0) << "chip " << row.chip;
            EXPECT_EQ(seen.value, row.limit) << "chip " << row.chip << " raw " << row.raw;
            EXPECT_EQ(seen.calls, call_line("smbus_read %u 1 2d 2b\n", row.chip)) << "chip " << row.chip;
        }
}

TEST(ItemLimit, FanIsConvertedWithItsDivisor) {
    hw_recorder::reset();
    answer("smbus_read 0 1 2d 2c", 225);
    answer("smbus_read 0 1 2d 47", 0x10);
    outcome seen = read_limit(LOW_LIMIT, "VOL1L", item_of(CAT_FAN, 0));
    EXPECT_EQ(seen.status, 0);
    EXPECT_EQ(seen.value, 3000); // 1350000 / 2 / 225
    EXPECT_EQ(seen.calls, "smbus_read 0 1 2d 2c\nsmbus_read 0 1 2d 47\n");
    EXPECT_EQ(seen.output, "");

    answer("smbus_read 0 1 2d 2c", 255); // as a reading's: not a valid count
    EXPECT_EQ(read_limit(LOW_LIMIT, "VOL1L", item_of(CAT_FAN, 0)).value, 0);

    item_record item = item_of(CAT_FAN, 0);
    set_text(item.ParaIndex1, "Divisor7"); // without a record the divisor is 1
    answer("smbus_read 0 1 2d 2c", 225);
    seen = read_limit(LOW_LIMIT, "VOL1L", item);
    EXPECT_EQ(seen.status, 0);
    EXPECT_EQ(seen.value, 6000);
    EXPECT_EQ(seen.output, "Error: Cannot get the divisor 'Divisor7'!\n");
}

TEST(ItemLimit, TemperatureOf127IsALimitAnd128IsNone) {
    struct {
        uint32_t raw;
        int64_t limit;
    } const rows[] = {{0, 0},   {70, 70},    {126, 126},  {127, 127},
                      {128, 0}, {129, -127}, {0xF6, -10}, {255, -1}};
    for (auto row : rows) {
        hw_recorder::reset();
        answer("smbus_read 0 1 2d 2b", row.raw);
        outcome seen = read_limit(HIGH_LIMIT, "VOL1H", item_of(CAT_TEMP, 0));
        EXPECT_EQ(seen.status, 0) << "raw " << row.raw;
        EXPECT_EQ(seen.value, row.limit) << "raw " << row.raw;
    }
}

TEST(ItemLimit, SwitchHasNoneAndKeepsTheValue) {
    hw_recorder::reset();
    answer("smbus_read 0 1 2d 2b", 70);
    for (int64_t before : {int64_t{0}, UNTOUCHED, int64_t{-1}}) {
        outcome seen = read_limit(HIGH_LIMIT, "VOL1H", item_of(CAT_SWITCH, 0), PARAMETERS, before);
        EXPECT_EQ(seen.status, 0);
        EXPECT_EQ(seen.value, before);
        EXPECT_EQ(seen.calls, "smbus_read 0 1 2d 2b\n"); // read all the same
        EXPECT_EQ(seen.errors, "");
    }
}

TEST(ItemLimit, SwitchKeepsAValueOfMoreThan32Bits) {
    hw_recorder::reset();
    answer("smbus_read 0 1 2d 2b", 70);
    outcome seen = read_limit(HIGH_LIMIT, "VOL1H", item_of(CAT_SWITCH, 0), PARAMETERS, int64_t{1} << 40);
    EXPECT_EQ(seen.value, int64_t{1} << 40);
}

TEST(ItemLimit, OtherCategoriesAreRefusedAfterTheRead) {
    for (uint32_t cat : {4u, 5u, 6u, 0xFFu}) {
        hw_recorder::reset();
        answer("smbus_read 0 1 2d 2b", 70);
        outcome seen = read_limit(HIGH_LIMIT, "VOL1H", item_of(cat, 0));
        EXPECT_EQ(seen.value, UNTOUCHED) << "category " << cat;
        EXPECT_EQ(seen.calls, "smbus_read 0 1 2d 2b\n") << "category " << cat;
        EXPECT_EQ(seen.errors, "Error: wrong parameter!\n") << "category " << cat;

        hw_recorder::reset(); // unreadable: there is nothing to refuse
        seen = read_limit(HIGH_LIMIT, "VOL1H", item_of(cat, 0));
        EXPECT_EQ(seen.status, -1) << "category " << cat;
        EXPECT_EQ(seen.errors, "") << "category " << cat;
    }
}

TEST(ItemLimit, MissingRecordIsSaid) {
    hw_recorder::reset();
    for (uint32_t cat : {0u, 1u, 2u, 3u, 4u})
        for (const auto &parameters : {PARAMETERS, std::vector<parameter_record>{}}) {
            outcome seen = read_limit(LOW_LIMIT, "VOL9L", item_of(cat, 0), parameters);
            EXPECT_EQ(seen.status, -1) << "category " << cat;
            EXPECT_EQ(seen.value, UNTOUCHED) << "category " << cat;
            EXPECT_EQ(seen.calls, "") << "category " << cat;
            EXPECT_EQ(seen.errors, "Error: Parameter is not found.\n") << "category " << cat;
            EXPECT_EQ(seen.output, "") << "category " << cat;
        }
}

TEST(ItemLimit, FirstRecordOfTheNameIsReadWhateverItsCase) {
    hw_recorder::reset();
    answer("smbus_read 0 1 2d 2b", 70);
    answer("smbus_read 0 1 2d 5b", 60);
    for (const char *name : {"VOL1H", "vol1h", "Vol1H"})
        EXPECT_EQ(read_limit(HIGH_LIMIT, name, item_of(CAT_TEMP, 0)).value, 70) << name;
}

TEST(ItemLimit, UnreadableLimitLeavesTheValueWithoutAWord) {
    hw_recorder::reset();
    outcome seen = read_limit(HIGH_LIMIT, "VOL1H", item_of(CAT_TEMP, 0));
    EXPECT_EQ(seen.status, -1);
    EXPECT_EQ(seen.value, UNTOUCHED);
    EXPECT_EQ(seen.calls, "smbus_read 0 1 2d 2b\n");
    EXPECT_EQ(seen.errors, "");
}

// ---- Ends of the scales

static outcome read_max(const item_record &item) {
    system_settings system = make_system(3);
    return run([&](int64_t *value) {
        return get_item_max_reading(&system, &item, PARAMETERS.data(),
                                    static_cast<int32_t>(PARAMETERS.size()), value);
    });
}

static outcome read_min(const item_record &item) {
    system_settings system = make_system(3);
    return run([&](int64_t *value) {
        return get_item_min_reading(&system, &item, PARAMETERS.data(),
                                    static_cast<int32_t>(PARAMETERS.size()), value);
    });
}

TEST(Scale, VoltageEndsAreRaw255And0) {
    struct {
        uint32_t chip;
        uint32_t function;
        int64_t top;
        int64_t bottom;
    } const rows[] = {
        {0, 0, 15937, 0},    // × 62.5
        {0, 0xFF, 255, 0},   // the raw value
        {1, 5, 5108, -7714}, // (255 × 16 - 2454.5454...) / 0.318181... = 5108.57, -2454.5454... / 0.318181...
        {12, 6, 1854,
         -47513}, // (255 × 8 - 2048) / 0.04132231... + 2048 = 1854.4, -2048 / 0.04132231... + 2048
        {13, 7, 3984, INT32_MIN}, // 127 × 15.625 + 2000; raw 0 is beyond 32 bits
        {10, 4, 1245, 0},         // 255 × 4.88 + 0.69 = 1245.09, 0.69
        {32, 0, 0, 0},            // no formulas beyond chip 30
    };
    for (auto row : rows) {
        hw_recorder::reset();
        item_record item = item_of(CAT_VOLTAGE, row.chip);
        item.VolFunc = row.function;
        outcome top = read_max(item);
        outcome bottom = read_min(item);
        EXPECT_EQ(top.status, 0) << "chip " << row.chip;
        EXPECT_EQ(bottom.status, 0) << "chip " << row.chip;
        EXPECT_EQ(top.value, row.top) << "chip " << row.chip << " function " << row.function;
        EXPECT_EQ(bottom.value, row.bottom) << "chip " << row.chip << " function " << row.function;
        EXPECT_EQ(top.calls + bottom.calls, "") << "chip " << row.chip;
    }
}

TEST(Scale, FanTopIsCount1Or256ForChips3And8) {
    for (uint32_t chip = 0; chip <= 0xFF; chip++) {
        hw_recorder::reset();
        string divisor_line = call_line("smbus_read %u 1 2d 47", chip);
        answer(divisor_line, 0x30); // 2 to the power of 3
        int64_t expected = 168750;  // 1350000 / 8
        bool reads_divisor = false;
        switch (chip) {
        case 3:
        case 8:
            expected = 21093; // 5400000 / 256
            break;
        case 6:
            expected = 114; // 30 / 0.262
            break;
        case 9:
        case 14:
        case 16:
            expected = 5400000;
            break;
        case 17:
        case 28:
        case 30:
            expected = 1350000;
            break;
        case 23:
            expected = 84375;
            break;
        case 25:
            expected = 675000;
            break;
        default:
            reads_divisor = true;
        }
        outcome seen = read_max(item_of(CAT_FAN, chip));
        EXPECT_EQ(seen.status, 0) << "chip " << chip;
        EXPECT_EQ(seen.value, expected) << "chip " << chip;
        EXPECT_EQ(seen.calls, reads_divisor ? divisor_line + "\n" : "") << "chip " << chip;
        EXPECT_EQ(seen.output + seen.errors, "") << "chip " << chip;
    }
}

TEST(Scale, FanTopWithoutADivisorIsThatOfDivisor1AndSaysNothing) {
    for (uint32_t chip : {0u, 22u, 0xFFu}) {
        hw_recorder::reset();
        item_record item = item_of(CAT_FAN, chip);
        outcome unreadable = read_max(item);
        EXPECT_EQ(unreadable.status, 0) << "chip " << chip;
        EXPECT_EQ(unreadable.value, 1350000) << "chip " << chip;
        EXPECT_EQ(unreadable.output + unreadable.errors, "") << "chip " << chip;

        set_text(item.ParaIndex1, "Divisor7"); // no such record
        outcome missing = read_max(item);
        EXPECT_EQ(missing.status, 0) << "chip " << chip;
        EXPECT_EQ(missing.value, 1350000) << "chip " << chip;
        EXPECT_EQ(missing.calls, "") << "chip " << chip;
        EXPECT_EQ(missing.output + missing.errors, "") << "chip " << chip;
    }
}

TEST(Scale, FanBottomIsAlwaysZero) {
    for (uint32_t chip = 0; chip <= 0xFF; chip++)
        for (const char *divisor : {"Divisor1", "Divisor7"}) {
            hw_recorder::reset();
            item_record item = item_of(CAT_FAN, chip);
            set_text(item.ParaIndex1, divisor);
            outcome seen = read_min(item);
            EXPECT_EQ(seen.status, 0) << "chip " << chip;
            EXPECT_EQ(seen.value, 0) << "chip " << chip;
            EXPECT_EQ(seen.output + seen.errors, "") << "chip " << chip;
        }
}

TEST(Scale, TemperatureAndSwitchEnds) {
    struct {
        uint32_t cat;
        int64_t top;
        int64_t bottom;
    } const rows[] = {{CAT_TEMP, 127, -127}, {CAT_SWITCH, 1, 0}};
    for (auto row : rows)
        for (uint32_t chip : {0u, 17u, 27u, 28u, 34u, 0xFFu}) {
            hw_recorder::reset();
            outcome top = read_max(item_of(row.cat, chip));
            outcome bottom = read_min(item_of(row.cat, chip));
            EXPECT_EQ(top.status, 0) << "category " << row.cat << " chip " << chip;
            EXPECT_EQ(bottom.status, 0) << "category " << row.cat << " chip " << chip;
            EXPECT_EQ(top.value, row.top) << "category " << row.cat << " chip " << chip;
            EXPECT_EQ(bottom.value, row.bottom) << "category " << row.cat << " chip " << chip;
            EXPECT_EQ(top.calls + bottom.calls, "") << "category " << row.cat << " chip " << chip;
        }
}

TEST(Scale, OtherCategoriesAreSaidWithTheirOwnCapitals) {
    for (uint32_t cat : {4u, 5u, 6u, 255u}) {
        hw_recorder::reset();
        outcome top = read_max(item_of(cat, 0));
        outcome bottom = read_min(item_of(cat, 0));
        EXPECT_EQ(top.output, call_line("Error: Unknown Cat '%u'!\n", cat));
        EXPECT_EQ(bottom.output, call_line("Error: unknown Cat '%u'!\n", cat));
        EXPECT_EQ(top.errors + bottom.errors, "");
        EXPECT_EQ(top.calls + bottom.calls, "");
    }
}

// ---- Judgement

static int judged(uint32_t cat, int64_t value, int64_t high, int64_t low, uint32_t text_supported = 0,
                  const char *text = "") {
    item_display display = {};
    display.cat = cat;
    display.value = value;
    display.high_limit = high;
    display.low_limit = low;
    display.thermal_text_supported = text_supported;
    set_text(display.thermal_text, text);
    return isNormalReading(&display);
}

TEST(NormalReading, ValuesAgainstTheirLimits) {
    constexpr int64_t WIDE = int64_t{1} << 32;
    struct {
        uint32_t cat;
        int64_t value;
        int64_t high;
        int64_t low;
        int normal;
    } const rows[] = {
        // a fan turns faster than its low limit; it has no high limit
        {CAT_FAN, 3001, 0, 3000, 1},
        {CAT_FAN, 3000, 0, 3000, 0},
        {CAT_FAN, 2999, 0, 3000, 0},
        {CAT_FAN, 0, 0, 0, 0},
        {CAT_FAN, 1, 0, 0, 1},
        {CAT_FAN, 5400000, 100, 0, 1},
        // a voltage is between both
        {CAT_VOLTAGE, 12000, 12600, 11400, 1},
        {CAT_VOLTAGE, 12000, 12000, 11400, 0},
        {CAT_VOLTAGE, 11999, 12000, 11400, 1},
        {CAT_VOLTAGE, 11400, 12600, 11400, 0},
        {CAT_VOLTAGE, 11401, 12600, 11400, 1},
        {CAT_VOLTAGE, 12601, 12600, 11400, 0},
        {CAT_VOLTAGE, 11399, 12600, 11400, 0},
        {CAT_VOLTAGE, -12000, -11400, -12600, 1},
        {CAT_VOLTAGE, -11400, -11400, -12600, 0},
        {CAT_VOLTAGE, -12600, -11400, -12600, 0},
        {CAT_VOLTAGE, 0, 0, 0, 0},
        // a temperature is below its high limit, whatever its low one
        {CAT_TEMP, 69, 70, 0, 1},
        {CAT_TEMP, 70, 70, 0, 0},
        {CAT_TEMP, 71, 70, 0, 0},
        {CAT_TEMP, -10, 70, 0, 1},
        {CAT_TEMP, 20, 70, 50, 1},
        {CAT_TEMP, 0, 0, 0, 0},
        {CAT_TEMP, -1, 0, 0, 1},
        // a switch is normal in state 0 only
        {CAT_SWITCH, 0, 0, 0, 1},
        {CAT_SWITCH, 1, 0, 0, 0},
        {CAT_SWITCH, 2, 0, 0, 0},
        {CAT_SWITCH, -1, 0, 0, 1}, // below 1
        {CAT_SWITCH, 0, 0, 5, 1},
        // nothing else is ever normal
        {4, 0, 100, -100, 0},
        {5, 50, 100, 0, 0},
        {6, 50, 100, 0, 0},
        {0xFF, 50, 100, 0, 0},
        // only the low 32 bits count, as a signed number
        {CAT_FAN, WIDE, 0, 0, 0},
        {CAT_FAN, WIDE + 1, 0, 0, 1},
        {CAT_FAN, 1, 0, WIDE, 1},
        {CAT_FAN, 0x80000000, 0, 0, 0},
        {CAT_FAN, 0, 0, 0xFFFFFFFF, 1}, // a low limit of -1
        {CAT_VOLTAGE, 12000, WIDE + 12600, 11400, 1},
        {CAT_VOLTAGE, 12000, WIDE, 11400, 0},
        {CAT_VOLTAGE, 12000, 12600, WIDE + 11400, 1},
        {CAT_VOLTAGE, 12000, 12600, WIDE - 1, 1},
        {CAT_TEMP, WIDE + 40, 70, 0, 1},
        {CAT_TEMP, 40, WIDE + 30, 0, 0},
        {CAT_TEMP, 0xFFFFFFF6, 0, 0, 1}, // -10
        {CAT_SWITCH, WIDE, 0, 0, 1},
        {CAT_SWITCH, WIDE + 1, 0, 0, 0},
    };
    for (auto row : rows)
        EXPECT_EQ(judged(row.cat, row.value, row.high, row.low), row.normal)
            << "category " << row.cat << " value " << row.value << " high " << row.high << " low " << row.low;
}

TEST(NormalReading, OverheatWordIsAbnormalWhateverTheTemperature) {
    struct {
        uint32_t supported;
        const char *text;
        int64_t value;
        int normal;
    } const rows[] = {
        {1, "Overheat", 40, 0}, {1, "OVERHEAT", 40, 0}, {1, "overheat", -10, 0}, {2, "Overheat", 40, 0},
        {1, "Normal", 40, 1},   {1, "High", 40, 1},     {1, "", 40, 1},          {1, "Overheats", 40, 1},
        {1, "Overhea", 40, 1},  {1, "Normal", 70, 0}, // the word does not save a temperature at its limit
        {0, "Overheat", 40, 1},                       // a word that is not shown does not count
    };
    for (auto row : rows)
        EXPECT_EQ(judged(CAT_TEMP, row.value, 70, 0, row.supported, row.text), row.normal)
            << row.text << " " << row.value << " supported " << row.supported;
    // The word is a temperature's.
    EXPECT_EQ(judged(CAT_VOLTAGE, 12000, 12600, 11400, 1, "Overheat"), 1);
    EXPECT_EQ(judged(CAT_FAN, 4500, 0, 0, 1, "Overheat"), 1);
    EXPECT_EQ(judged(CAT_SWITCH, 0, 0, 0, 1, "Overheat"), 1);
}
