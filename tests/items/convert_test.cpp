// Fan counts, temperatures, switches and divisor fields of every chip.
#include "items/convert.h"

#include <cstdint>
#include <gtest/gtest.h>
#include <vector>

constexpr int32_t UNTOUCHED = -77;

struct fan_point {
    uint32_t count;
    int32_t rpm;
};

struct fan_row {
    std::vector<uint32_t> chips;
    std::vector<fan_point> points;
};

// Chips with a scale of their own. The speeds are a numerator over the count, cut to whole rpm; 0 outside the
// valid counts.
static const fan_row OWN_SCALES[] = {
    // 5400000 / count below 0xFF00
    {{3, 16},
     {{0, 0},
      {1, 5400000},
      {2, 2700000},
      {100, 54000},
      {128, 42187},
      {255, 21176},
      {0xFEFF, 82},
      {0xFF00, 0},
      {0xFF01, 0},
      {0xFFFF, 0}}},
    // Not a count but a speed: × 30 / 0.262 whatever the number. 100 × 30 / 0.262 = 11450.38
    {{6},
     {{0, 0},
      {1, 114},
      {2, 229},
      {100, 11450},
      {128, 14656},
      {192, 21984},
      {254, 29083},
      {255, 29198},
      {256, 29312},
      {65535, 7504007}}},
    // 5400000 / count from 1 to 65531
    {{8, 9, 14},
     {{0, 0},
      {1, 5400000},
      {100, 54000},
      {128, 42187},
      {255, 21176},
      {0xFF00, 82},
      {65530, 82},
      {65531, 82},
      {65532, 0},
      {65533, 0},
      {65535, 0}}},
    // 1350000 / count from 1 to 4094
    {{17},
     {{0, 0},
      {1, 1350000},
      {128, 10546},
      {255, 5294},
      {1000, 1350},
      {4093, 329},
      {4094, 329},
      {4095, 0},
      {4096, 0},
      {65535, 0}}},
    // 84375 / count, but for 255
    {{23}, {{0, 0}, {1, 84375}, {2, 42187}, {128, 659}, {254, 332}, {255, 0}, {256, 329}, {257, 328}}},
    // 675000 / count, but for 65535
    {{25},
     {{0, 0}, {1, 675000}, {128, 5273}, {255, 2647}, {1000, 675}, {65534, 10}, {65535, 0}, {65536, 10}}},
    // 1350000 / count, but for 8191
    {{28, 30},
     {{0, 0}, {1, 1350000}, {128, 10546}, {255, 5294}, {1000, 1350}, {8190, 164}, {8191, 0}, {8192, 164}}},
};

// Every other code.
static const uint32_t PLAIN_CHIPS[] = {0,  1,  2,  4,  5,  7,  10, 11, 12, 13, 15, 18,   19,
                                       20, 21, 22, 24, 26, 27, 29, 31, 32, 33, 34, 0xFF, 0xFFFFFFFF};

TEST(FanConvert, ChipsWithTheirOwnScaleIgnoreTheDivisor) {
    for (const fan_row &row : OWN_SCALES)
        for (uint32_t chip : row.chips)
            for (fan_point point : row.points)
                for (uint32_t divisor : {0u, 1u, 8u}) {
                    int32_t rpm = UNTOUCHED;
                    EXPECT_EQ(FANConvert(point.count, chip, divisor, &rpm), 0)
                        << "chip " << chip << " count " << point.count;
                    EXPECT_EQ(rpm, point.rpm)
                        << "chip " << chip << " count " << point.count << " divisor " << divisor;
                }
}

TEST(FanConvert, OtherChipsDivideByDivisorThenCount) {
    struct {
        uint32_t divisor;
        fan_point point;
    } const rows[] = {
        {1, {0, 0}},       {1, {1, 1350000}}, {1, {2, 675000}},  {1, {128, 10546}}, {1, {150, 9000}},
        {1, {253, 5335}},  {1, {254, 5314}},  {1, {255, 0}},     {1, {256, 0}},     {1, {65535, 0}},
        {2, {0, 0}},       {2, {1, 675000}},  {2, {128, 5273}},  {2, {150, 4500}},  {2, {254, 2657}},
        {2, {255, 0}},     {4, {128, 2636}},  {4, {150, 2250}},  {4, {254, 1328}},  {4, {255, 0}},
        {8, {1, 168750}},  {8, {128, 1318}},  {8, {150, 1125}},  {8, {254, 664}},   {8, {255, 0}},
        {7, {1, 192857}},  {7, {128, 1506}},  {7, {254, 759}}, // 1350000 / 7 = 192857
        {128, {1, 10546}}, {128, {100, 105}}, {1350001, {1, 0}},
    };
    for (uint32_t chip : PLAIN_CHIPS)
        for (auto row : rows) {
            int32_t rpm = UNTOUCHED;
            EXPECT_EQ(FANConvert(row.point.count, chip, row.divisor, &rpm), 0);
            EXPECT_EQ(rpm, row.point.rpm)
                << "chip " << chip << " count " << row.point.count << " divisor " << row.divisor;
        }
}

TEST(FanConvert, DivisorOfZeroGivesZeroAndFails) {
    for (uint32_t chip : PLAIN_CHIPS)
        for (uint32_t count : {1u, 150u, 254u}) {
            int32_t rpm = UNTOUCHED;
            EXPECT_EQ(FANConvert(count, chip, 0, &rpm), -1) << "chip " << chip << " count " << count;
            EXPECT_EQ(rpm, 0) << "chip " << chip << " count " << count;
        }
}

// Every code from 0 to 34 is in one of the two groups, so that every code is tested.
TEST(FanConvert, EveryCodeIsCovered) {
    std::vector<int> seen(35);
    for (const fan_row &row : OWN_SCALES)
        for (uint32_t chip : row.chips)
            seen[chip]++;
    for (uint32_t chip : PLAIN_CHIPS)
        if (chip < 35)
            seen[chip]++;
    for (uint32_t chip = 0; chip < 35; chip++)
        EXPECT_EQ(seen[chip], 1) << "chip " << chip;
}

TEST(TempConvert, LowByteIsSignedAnd128IsNoSensor) {
    for (uint32_t raw = 0; raw <= 255; raw++) {
        int32_t expected = static_cast<int32_t>(raw);
        if (raw == 128)
            expected = 0;
        else if (raw > 128)
            expected -= 256;
        int32_t degrees = UNTOUCHED;
        EXPECT_EQ(TEMPConvert(raw, &degrees), 0);
        EXPECT_EQ(degrees, expected) << "raw " << raw;
    }
}

TEST(TempConvert, NamedRawValues) {
    // 127 means no sensor to a reading, not to a limit; of a wider value only the low byte counts.
    struct {
        uint32_t raw;
        int32_t degrees;
    } const rows[] = {
        {0, 0},      {1, 1},    {40, 40},     {127, 127},    {128, 0},     {129, -127},
        {0xF6, -10}, {255, -1}, {0x1F6, -10}, {0x180, -128}, {0x164, 100},
    };
    for (auto row : rows) {
        int32_t degrees = UNTOUCHED;
        EXPECT_EQ(TEMPConvert(row.raw, &degrees), 0);
        EXPECT_EQ(degrees, row.degrees) << "raw " << row.raw;
    }
}

TEST(SwitchConvert, MaskActiveLevelAndReference) {
    struct {
        uint32_t raw;
        uint32_t mask;
        uint32_t active_level;
        int64_t reference;
        int32_t state;
    } const rows[] = {
        // active high
        {0x10, 0x10, 1, 1, 1},
        {0xFF, 0x10, 1, 1, 1},
        {0x30, 0x18, 1, 1, 1}, // one bit of the mask is enough
        {0x00, 0x10, 1, 1, 0},
        {0xEF, 0x10, 1, 1, 0},
        {0x10, 0x10, 0xFF, 1, 1}, // any level but 0 is high
        {0x00, 0x10, 0xFF, 1, 0},
        // active low
        {0x00, 0x10, 0, 1, 1},
        {0xEF, 0x10, 0, 1, 1},
        {0x10, 0x10, 0, 1, 0},
        {0x08, 0x18, 0, 1, 0},
        // without a mask no bit is set: never active high, always active low
        {0xFF, 0x00, 1, 1, 0},
        {0xFF, 0x00, 0, 1, 1},
        // a reference of 0 turns inactive into state 2 and leaves active alone; any other reference is the
        // same
        {0x00, 0x10, 1, 0, 2},
        {0x10, 0x10, 0, 0, 2},
        {0x10, 0x10, 1, 0, 1},
        {0x00, 0x10, 0, 0, 1},
        {0x00, 0x10, 1, 2, 0},
        {0x00, 0x10, 1, 12000, 0},
        {0x00, 0x10, 1, -5, 0},
        {0x00, 0x10, 1, int64_t{1} << 32, 0},
        // a bit beyond the byte
        {0x100, 0x100, 1, 1, 1},
    };
    for (auto row : rows)
        for (uint32_t chip : {0u, 4u, 5u, 8u, 11u, 17u, 28u, 30u, 31u, 34u, 0xFFu}) {
            int32_t state = UNTOUCHED;
            EXPECT_EQ(SWITCHConvert(row.raw, row.mask, &state, row.active_level, chip, row.reference), 0);
            EXPECT_EQ(state, row.state) << "chip " << chip << " raw " << row.raw << " mask " << row.mask
                                        << " level " << row.active_level << " reference " << row.reference;
        }
}

TEST(SwitchConvert, Chip27IsActiveWhenAnythingIsSet) {
    for (uint32_t mask : {0u, 0x10u, 0xFFu})
        for (uint32_t active_level : {0u, 1u})
            for (int64_t reference : {0, 1}) {
                int32_t state = UNTOUCHED;
                EXPECT_EQ(SWITCHConvert(0, mask, &state, active_level, 27, reference), 0);
                EXPECT_EQ(state, 0) << "mask " << mask << " level " << active_level;
                for (uint32_t raw : {1u, 0x10u, 0xEFu}) {
                    EXPECT_EQ(SWITCHConvert(raw, mask, &state, active_level, 27, reference), 0);
                    EXPECT_EQ(state, 1) << "raw " << raw << " mask " << mask << " level " << active_level;
                }
            }
}

// Fields 0 to 3 as divisors: f + 1, or 2 to the power of f.
static const uint32_t LINEAR[] = {1, 2, 3, 4};
static const uint32_t POWERS[] = {1, 2, 4, 8};

TEST(DivisorConvert, EveryFieldOfEveryMaskOfEveryChip) {
    struct {
        uint32_t mask;
        unsigned shift;
    } const fields[] = {{0x03, 0}, {0x0C, 2}, {0x30, 4}, {0xC0, 6}};
    for (uint32_t chip = 0; chip <= 0xFF; chip++)
        for (auto field : fields)
            for (uint32_t f = 0; f < 4; f++)
                for (uint32_t around : {0u, 0xFFu}) { // the register's other bits do not matter
                    uint32_t raw = (around & ~field.mask) | (f << field.shift);
                    uint32_t expected = chip == 3 || chip == 16 ? LINEAR[f] : POWERS[f];
                    uint32_t divisor = 99;
                    EXPECT_EQ(DIVISORConvert(raw, chip, field.mask, &divisor), 0);
                    EXPECT_EQ(divisor, expected)
                        << "chip " << chip << " mask " << field.mask << " raw " << raw;
                }
}

TEST(DivisorConvert, OtherMasksGiveOneAndFail) {
    for (uint32_t chip : {0u, 3u, 16u, 28u, 0xFFu})
        for (uint32_t mask = 0; mask <= 0xFF; mask++) {
            if (mask == 0x03 || mask == 0x0C || mask == 0x30 || mask == 0xC0)
                continue;
            uint32_t divisor = 99;
            EXPECT_EQ(DIVISORConvert(0xFF, chip, mask, &divisor), -1) << "chip " << chip << " mask " << mask;
            EXPECT_EQ(divisor, 1u) << "chip " << chip << " mask " << mask;
        }
}

TEST(DivisorConvert, OnlyTheMasksLowByteCounts) {
    uint32_t divisor = 99;
    EXPECT_EQ(DIVISORConvert(0x20, 0, 0x0130, &divisor), 0);
    EXPECT_EQ(divisor, 4u);
    divisor = 99;
    EXPECT_EQ(DIVISORConvert(0xFF, 0, 0x0300, &divisor), -1);
    EXPECT_EQ(divisor, 1u);
}

TEST(Fahrenheit, WholeDegreesTruncatedTowardsZero) {
    struct {
        int64_t celsius;
        int64_t expected;
    } const rows[] = {
        {0, 32},  {100, 212}, {37, 98}, {1, 33},   {40, 104},  {95, 203},    {127, 260}, // 228.6 + 32
        {-1, 31},                                                                        // -1.8 is cut to -1
        {-3, 27},                                                                        // -5.4 to -5
        {-4, 25},                                                                        // -7.2 to -7
        {-5, 23}, {-10, 14},  {-18, 0}, {-19, -2}, {-40, -40}, {-127, -196},             // -228.6 to -228
    };
    for (auto row : rows)
        EXPECT_EQ(fahrenheit(row.celsius), row.expected) << row.celsius;
}
