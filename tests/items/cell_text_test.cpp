#include "items/cell_text.h"

#include <gtest/gtest.h>
#include <string>

#include "hw/chip_codes.h"
#include "items/records.h"

static std::string volts(int64_t millivolts) {
    char cell[CELL_SIZE] = "before";
    volts_text(millivolts, cell);
    return cell;
}

static std::string rpm(int64_t value) {
    char cell[CELL_SIZE] = "before";
    rpm_text(value, cell);
    return cell;
}

static std::string temperature(int64_t celsius) {
    char cell[CELL_SIZE] = "before";
    temperature_text(celsius, cell);
    return cell;
}

static std::string high_limit(const item_display &display) {
    char cell[CELL_SIZE] = "before";
    high_limit_text(&display, cell);
    return cell;
}

static std::string low_limit(const item_display &display) {
    char cell[CELL_SIZE] = "before";
    low_limit_text(&display, cell);
    return cell;
}

static std::string status(const item_display &display) {
    char cell[CELL_SIZE] = "before";
    status_text(&display, cell);
    return cell;
}

static item_display display_of(uint32_t cat, uint32_t chip, int64_t value) {
    item_display display = {};
    display.cat = cat;
    display.chipcode = chip;
    display.value = value;
    return display;
}

struct number_case {
    int64_t value;
    const char *text;
};

TEST(VoltsText, MillivoltsWithTwoDecimals) {
    static const number_case cases[] = {
        {0, "0.00"},      {1, "0.00"},        {4, "0.00"},        {6, "0.01"},        {100, "0.10"},
        {999, "1.00"},    {1000, "1.00"},     {1004, "1.00"},     {1006, "1.01"},     {3300, "3.30"},
        {11400, "11.40"}, {12000, "12.00"},   {12094, "12.09"},   {12096, "12.10"},   {12600, "12.60"},
        {15937, "15.94"}, {-1, "-0.00"},      {-4, "-0.00"},      {-6, "-0.01"},      {-4996, "-5.00"},
        {-5004, "-5.00"}, {-11994, "-11.99"}, {-11996, "-12.00"}, {-12096, "-12.10"}, {100000, "100.00"}};
    for (const number_case &c : cases)
        EXPECT_EQ(volts(c.value), c.text) << c.value;
}

// Half a hundredth: what decides is on which side of it the nearest single-precision number lies. Between 2
// to the power of e and twice that, these numbers are the multiples of 2^(e - 23). The comments give the
// value in such steps: a rounded-up step count is above the half, a rounded-down one below it.
TEST(VoltsText, HalvesGoByTheNearestSinglePrecisionNumber) {
    static const number_case cases[] = {
        {5, "0.00"},      // × 2^31 = 10737418.24: below; in double precision it would be 0.01
        {255, "0.25"},    // × 2^25 = 8556380.16: below; in double precision 0.26
        {995, "1.00"},    // × 2^24 = 16693329.92: above; in double precision 0.99
        {1005, "1.00"},   // × 2^23 = 8430551.04: below
        {1065, "1.07"},   // × 2^23 = 8933867.52: above; in double precision 1.06
        {2005, "2.01"},   // × 2^22 = 8409579.52: above; in double precision 2.00
        {2675, "2.67"},   // × 2^22 = 11219763.2: below
        {3275, "3.28"},   // × 2^22 = 13736345.6: above; in double precision 3.27
        {3305, "3.31"},   // × 2^22 = 13862174.72: above
        {5005, "5.01"},   // × 2^21 = 10496245.76: above; in double precision 5.00
        {12095, "12.10"}, // × 2^20 = 12682526.72: above
        {12105, "12.10"}, // × 2^20 = 12693012.48: below; in double precision 12.11
        {12115, "12.11"}, // × 2^20 = 12703498.24: below; in double precision 12.12
        {12345, "12.35"}, // × 2^20 = 12944670.72: above
        {-12095, "-12.10"},
        {-12105, "-12.10"},
        {-12115, "-12.11"},
        // Eighths are exact, and a tie goes to the even digit.
        {125, "0.12"},
        {375, "0.38"},
        {625, "0.62"},
        {12125, "12.12"},
        {12375, "12.38"},
        {-12125, "-12.12"},
    };
    for (const number_case &c : cases)
        EXPECT_EQ(volts(c.value), c.text) << c.value;
}

// -2147483648 mV, the processor's out-of-range integer: beyond 2^21 single-precision numbers are quarters
// apart, and of -2147483.648's neighbours -2147483.75 is nearer than -2147483.5.
TEST(VoltsText, OutOfRangeIntegerIsRoundedToAQuarter) { EXPECT_EQ(volts(INT32_MIN), "-2147483.75"); }

TEST(RpmText, WholeNumber) {
    static const number_case cases[] = {{0, "0"},   {1, "1"},           {3375, "3375"},
                                        {-1, "-1"}, {675000, "675000"}, {2147483647, "2147483647"}};
    for (const number_case &c : cases)
        EXPECT_EQ(rpm(c.value), c.text) << c.value;
}

// Celsius × 9 / 5 + 32: only the quotient is truncated, towards zero.
TEST(TemperatureText, CelsiusAndFahrenheit) {
    static const number_case cases[] = {
        {45, "45/113"},      {70, "70/158"},      {0, "0/32"}, {-5, "-5/23"}, {1, "1/33"}, // 9 / 5 = 1
        {4, "4/39"},                                                                       // 36 / 5 = 7
        {46, "46/114"},                                                                    // 414 / 5 = 82
        {-1, "-1/31"},                                                                     // -9 / 5 = -1
        {-4, "-4/25"},                                                                     // -36 / 5 = -7
        {-17, "-17/2"},                                                                    // -153 / 5 = -30
        {-18, "-18/0"},                                                                    // -162 / 5 = -32
        {-19, "-19/-2"},                                                                   // -171 / 5 = -34
        {-40, "-40/-40"},    {127, "127/260"},                                             // 1143 / 5 = 228
        {-127, "-127/-196"}, {-128, "-128/-198"},                                          // -1152 / 5 = -230
    };
    for (const number_case &c : cases)
        EXPECT_EQ(temperature(c.value), c.text) << c.value;
}

TEST(LimitText, ByCategory) {
    static const struct {
        uint32_t cat;
        const char *high;
        const char *low;
    } cases[] = {{CAT_FAN, "", "1125"},
                 {CAT_VOLTAGE, "12.60", "1.12"}, // 1125 is nine eighths of a volt: a tie, to the even digit
                 {CAT_TEMP, "12600/22712", ""},  // 12600 × 9 / 5 = 22680
                 {CAT_SWITCH, "", ""},
                 {4, "unknown", "unknown"},
                 {5, "unknown", "unknown"},
                 {6, "unknown", "unknown"},
                 {NOT_GIVEN, "unknown", "unknown"},
                 {0xFFFFFFFF, "unknown", "unknown"}};
    for (const auto &c : cases) {
        item_display display = display_of(c.cat, CHIP_18, 0);
        display.high_limit = 12600;
        display.low_limit = 1125;
        EXPECT_EQ(high_limit(display), c.high) << "category " << c.cat;
        EXPECT_EQ(low_limit(display), c.low) << "category " << c.cat;
    }
}

TEST(LimitText, NegativeLimits) {
    item_display voltage = display_of(CAT_VOLTAGE, CHIP_18, 0);
    voltage.high_limit = -10800;
    voltage.low_limit = -13200;
    EXPECT_EQ(high_limit(voltage), "-10.80");
    EXPECT_EQ(low_limit(voltage), "-13.20");
    item_display temp = display_of(CAT_TEMP, CHIP_18, 0);
    temp.high_limit = -5;
    EXPECT_EQ(high_limit(temp), "-5/23");
}

TEST(StatusText, NumbersOfFansVoltagesAndTemperatures) {
    EXPECT_EQ(status(display_of(CAT_FAN, CHIP_18, 5400)), "5400");
    EXPECT_EQ(status(display_of(CAT_FAN, CHIP_18, 0)), "0");
    EXPECT_EQ(status(display_of(CAT_VOLTAGE, CHIP_18, 12096)), "12.10");
    EXPECT_EQ(status(display_of(CAT_VOLTAGE, CHIP_18, -12096)), "-12.10");
    EXPECT_EQ(status(display_of(CAT_TEMP, CHIP_18, 45)), "45/113");
    EXPECT_EQ(status(display_of(CAT_TEMP, CHIP_18, 0)), "0/32");
    EXPECT_EQ(status(display_of(CAT_TEMP, CHIP_27, 1)), "1/33"); // the chip matters to switches only
}

TEST(StatusText, WordReplacesATemperatureWhereItIsSupported) {
    item_display display = display_of(CAT_TEMP, CHIP_W83793G, 45);
    set_text(display.thermal_text, "Overheat");
    EXPECT_EQ(status(display), "45/113");
    display.thermal_text_supported = 1;
    EXPECT_EQ(status(display), "Overheat");
    display.thermal_text[0] = '\0';
    EXPECT_EQ(status(display), "");
    display.cat = CAT_FAN;
    set_text(display.thermal_text, "Low");
    EXPECT_EQ(status(display), "45");
}

TEST(StatusText, StatesOfSwitches) {
    static const struct {
        uint32_t chip;
        int64_t state;
        const char *word;
    } cases[] = {
        {CHIP_18, 0, "Good"},     {CHIP_18, 1, "Bad"},    {CHIP_18, 2, "N/A"},        {CHIP_18, 3, ""},
        {CHIP_18, -1, ""},        {CHIP_31, 1, "Bad"},    {CHIP_NCT7904D, 0, "Good"}, {CHIP_27, 0, "Normal"},
        {CHIP_27, 1, "Overheat"}, {CHIP_27, 2, "Normal"}, {CHIP_27, 3, "Normal"},     {CHIP_27, -1, "Normal"},
    };
    for (const auto &c : cases)
        EXPECT_EQ(status(display_of(CAT_SWITCH, c.chip, c.state)), c.word)
            << "chip " << c.chip << " state " << c.state;
}

TEST(StatusText, OtherCategoriesAreUnknown) {
    for (uint32_t cat : {4u, 5u, 6u, NOT_GIVEN, 0xFFFFFFFFu})
        EXPECT_EQ(status(display_of(cat, CHIP_18, 1)), "unknown") << cat;
}

// ---- Texts of the window

static std::string summary(const item_display &display) {
    char cell[CELL_SIZE] = "before";
    summary_text(&display, cell);
    return cell;
}

static std::string chart_reading(const item_display &display) {
    char cell[CELL_SIZE] = "before";
    chart_reading_text(&display, cell);
    return cell;
}

static std::string chart_limit(const item_display &display) {
    char line[LIMIT_LINE_SIZE] = "before";
    chart_limit_text(&display, line);
    return line;
}

static std::string list_status(const item_display &display) {
    char cell[CELL_SIZE] = "before";
    list_status_text(&display, cell);
    return cell;
}

static item_display limits_of(uint32_t cat, int64_t high, int64_t low) {
    item_display display = display_of(cat, CHIP_18, 1);
    display.high_limit = high;
    display.low_limit = low;
    return display;
}

static item_display worded(int64_t celsius, uint32_t supported, const char *word) {
    item_display display = display_of(CAT_TEMP, CHIP_W83793G, celsius);
    display.thermal_text_supported = supported;
    set_text(display.thermal_text, word);
    return display;
}

// The pages print 32 bits of a number: 2^32 + 5 reads 5, and 2^63 - 1, whose low bits are all set, -1.
TEST(PageText, FansInWholeTurns) {
    static const number_case cases[] = {
        {0, "0 RPM"},
        {1, "1 RPM"},
        {5000, "5000 RPM"},
        {675000, "675000 RPM"},
        {-1, "-1 RPM"},
        {INT32_MAX, "2147483647 RPM"},
        {INT32_MIN, "-2147483648 RPM"},
        {4294967301, "5 RPM"},
        {INT64_MAX, "-1 RPM"},
        {INT64_MIN, "0 RPM"},
    };
    for (const number_case &c : cases) {
        EXPECT_EQ(summary(display_of(CAT_FAN, CHIP_18, c.value)), c.text) << c.value;
        EXPECT_EQ(chart_reading(display_of(CAT_FAN, CHIP_18, c.value)), c.text) << c.value;
        EXPECT_EQ(chart_limit(limits_of(CAT_FAN, 1, c.value)), std::string("Low Limit: ") + c.text)
            << c.value;
    }
}

// Single precision throughout; the halves go as in HalvesGoByTheNearestSinglePrecisionNumber above.
static const number_case page_volts[] = {
    {1, "0.00 V"},
    {4, "0.00 V"},
    {5, "0.00 V"},
    {6, "0.01 V"},
    {255, "0.25 V"},
    {999, "1.00 V"},
    {995, "1.00 V"},
    {1005, "1.00 V"},
    {1065, "1.07 V"},
    {1125, "1.12 V"}, // a tie, to the even digit
    {1234, "1.23 V"},
    {1236, "1.24 V"},
    {3275, "3.28 V"},
    {3300, "3.30 V"},
    {12095, "12.10 V"},
    {12096, "12.10 V"},
    {12105, "12.10 V"},
    {12115, "12.11 V"},
    {100000, "100.00 V"},
    {-1, "-0.00 V"},
    {-6, "-0.01 V"},
    {-12105, "-12.10 V"},
    {-12115, "-12.11 V"},
    // Quarters of a volt beyond 2^21.
    {INT32_MIN, "-2147483.75 V"},
    // Single-precision numbers are 128 apart below 2^31: 2147483600 is taken as 2147483648, which gives .648,
    // and the nearest quarter is .75. Divided before it is rounded, it would be .600 and .50.
    {2147483600, "2147483.75 V"},
    // Taken as 2^63, which is 8589934.592 × 2^30 V; numbers are 2^30 apart there, so it is rounded up by
    // 0.408 × 2^30 = 438086664.192 to 8589935 × 2^30.
    {INT64_MAX, "9223372474941440.00 V"},
    {INT64_MIN, "-9223372474941440.00 V"},
};

TEST(PageText, VoltagesWithTwoDecimals) {
    for (const number_case &c : page_volts) {
        EXPECT_EQ(summary(display_of(CAT_VOLTAGE, CHIP_18, c.value)), c.text) << c.value;
        EXPECT_EQ(chart_reading(display_of(CAT_VOLTAGE, CHIP_18, c.value)), c.text) << c.value;
        EXPECT_EQ(chart_limit(limits_of(CAT_VOLTAGE, c.value, 0)),
                  std::string("High Limit: ") + c.text + "    Low Limit: 0.00 V")
            << c.value;
        EXPECT_EQ(chart_limit(limits_of(CAT_VOLTAGE, 0, c.value)),
                  std::string("High Limit: 0.00 V    Low Limit: ") + c.text)
            << c.value;
    }
}

// Divided in double precision and rounded then, unlike the pages with charts: .600 and its nearest quarter.
TEST(ListStatusText, VoltagesAreDividedBeforeTheyAreRounded) {
    static const number_case cases[] = {{0, "0.00"},
                                        {1234, "1.23"},
                                        {12105, "12.10"},
                                        {12115, "12.11"},
                                        {-12096, "-12.10"},
                                        {2147483600, "2147483.50"},
                                        {INT64_MIN, "-9223372474941440.00"}};
    for (const number_case &c : cases) {
        EXPECT_EQ(list_status(display_of(CAT_VOLTAGE, CHIP_18, c.value)), c.text) << c.value;
        EXPECT_EQ(high_limit(limits_of(CAT_VOLTAGE, c.value, 0)), c.text) << c.value;
        EXPECT_EQ(low_limit(limits_of(CAT_VOLTAGE, 0, c.value)), c.text) << c.value;
    }
}

TEST(PageText, VoltageOfZeroIsShortOnTheSummaryAlone) {
    EXPECT_EQ(summary(display_of(CAT_VOLTAGE, CHIP_18, 0)), "0");
    EXPECT_EQ(chart_reading(display_of(CAT_VOLTAGE, CHIP_18, 0)), "0.00 V");
    EXPECT_EQ(list_status(display_of(CAT_VOLTAGE, CHIP_18, 0)), "0.00");
    EXPECT_EQ(chart_limit(limits_of(CAT_VOLTAGE, 0, 0)), "High Limit: 0.00 V    Low Limit: 0.00 V");
    EXPECT_EQ(summary(display_of(CAT_FAN, CHIP_18, 0)), "0 RPM");
}

// Celsius × 9 / 5 + 32: only the quotient is truncated, towards zero.
TEST(PageText, TemperaturesInBothUnits) {
    static const struct {
        int64_t celsius;
        const char *page;
        const char *list;
    } cases[] = {
        {40, "40'C / 104'F", "40/104"},
        {50, "50'C / 122'F", "50/122"},
        {1, "1'C / 33'F", "1/33"},         // 9 / 5 = 1
        {4, "4'C / 39'F", "4/39"},         // 36 / 5 = 7
        {46, "46'C / 114'F", "46/114"},    // 414 / 5 = 82
        {-1, "-1'C / 31'F", "-1/31"},      // -9 / 5 = -1
        {-4, "-4'C / 25'F", "-4/25"},      // -36 / 5 = -7
        {-5, "-5'C / 23'F", "-5/23"},      //
        {-17, "-17'C / 2'F", "-17/2"},     // -153 / 5 = -30
        {-18, "-18'C / 0'F", "-18/0"},     // -162 / 5 = -32
        {-19, "-19'C / -2'F", "-19/-2"},   // -171 / 5 = -34
        {-40, "-40'C / -40'F", "-40/-40"}, //
        {127, "127'C / 260'F", "127/260"}, // 1143 / 5 = 228
        {-128, "-128'C / -198'F", "-128/-198"},
    };
    for (const auto &c : cases) {
        EXPECT_EQ(summary(display_of(CAT_TEMP, CHIP_18, c.celsius)), c.page) << c.celsius;
        EXPECT_EQ(chart_reading(display_of(CAT_TEMP, CHIP_18, c.celsius)), c.page) << c.celsius;
        EXPECT_EQ(chart_limit(limits_of(CAT_TEMP, c.celsius, 1)), std::string("High Limit: ") + c.page)
            << c.celsius;
        EXPECT_EQ(list_status(display_of(CAT_TEMP, CHIP_18, c.celsius)), c.list) << c.celsius;
        EXPECT_EQ(high_limit(limits_of(CAT_TEMP, c.celsius, 1)), c.list) << c.celsius;
    }
}

// Fahrenheit is reckoned in 64 bits and cut to 32 when it is printed: 2^31 - 1 gives 19327352823 / 5 + 32 =
// 3865470596, less 2^32. The reading 2^32 is not 0, although its low bits are: 2^32 × 9 / 5 + 32 =
// 7730941164, less 2 × 2^32.
TEST(PageText, TemperaturesBeyond32Bits) {
    static const number_case cases[] = {
        {INT32_MAX, "2147483647'C / -429496700'F"},
        {4294967296, "0'C / -858993428'F"},
        {4294967336, "40'C / -858993356'F"}, // 72 more
    };
    for (const number_case &c : cases) {
        EXPECT_EQ(summary(display_of(CAT_TEMP, CHIP_18, c.value)), c.text) << c.value;
        EXPECT_EQ(chart_reading(display_of(CAT_TEMP, CHIP_18, c.value)), c.text) << c.value;
        EXPECT_EQ(chart_limit(limits_of(CAT_TEMP, c.value, 1)), std::string("High Limit: ") + c.text)
            << c.value;
    }
}

TEST(PageText, TemperatureOfZeroIsNotAvailable) {
    for (uint32_t supported : {0u, 1u}) {
        item_display display = worded(0, supported, "Low");
        display.high_limit = 75;
        EXPECT_EQ(summary(display), "N/A") << supported;
        EXPECT_EQ(chart_reading(display), "N/A") << supported;
        EXPECT_EQ(list_status(display), "N/A") << supported;
        EXPECT_EQ(chart_limit(display), "High Limit: 75'C / 167'F") << supported;
    }
}

TEST(PageText, LimitOfZeroDegreesIsANumber) {
    EXPECT_EQ(chart_limit(limits_of(CAT_TEMP, 0, 1)), "High Limit: 0'C / 32'F");
    EXPECT_EQ(high_limit(limits_of(CAT_TEMP, 0, 1)), "0/32");
}

TEST(PageText, WordsReplaceATemperatureWhereTheyAreSupported) {
    static const struct {
        uint32_t supported;
        const char *word;
        const char *page;
        const char *list;
    } cases[] = {
        {0, "Overheat", "40'C / 104'F", "40/104"},
        {1, "Overheat", "Overheat", "Overheat"},
        {2, "Low", "Low", "Low"},
        {0x80000000, "High", "High", "High"},
        {1, "Tolerable", "Tolerable", "Tolerable"}, // 9 characters fill the field
        {1, "", "", ""},
    };
    for (const auto &c : cases) {
        item_display display = worded(40, c.supported, c.word);
        display.high_limit = 75;
        EXPECT_EQ(summary(display), c.page) << c.word << c.supported;
        EXPECT_EQ(chart_reading(display), c.page) << c.word << c.supported;
        EXPECT_EQ(list_status(display), c.list) << c.word << c.supported;
        EXPECT_EQ(chart_limit(display), "High Limit: 75'C / 167'F") << c.word << c.supported;
    }
}

TEST(PageText, WordsAreOfTemperaturesAlone) {
    item_display display = worded(40, 1, "Overheat");
    display.cat = CAT_FAN;
    EXPECT_EQ(summary(display), "40 RPM");
    EXPECT_EQ(chart_reading(display), "40 RPM");
    EXPECT_EQ(list_status(display), "40");
    display.cat = CAT_VOLTAGE;
    EXPECT_EQ(summary(display), "0.04 V");
    EXPECT_EQ(chart_reading(display), "0.04 V");
    EXPECT_EQ(list_status(display), "0.04");
    display.cat = CAT_SWITCH;
    EXPECT_EQ(summary(display), "Good");
    EXPECT_EQ(list_status(display), "Good");
}

// Bad when it reads exactly 1, whatever the chip: the report's other words are not those of the window.
TEST(PageText, SwitchesAreGoodUnlessTheyReadOne) {
    static const number_case cases[] = {{0, "Good"},         {1, "Bad"},          {2, "Good"},
                                        {3, "Good"},         {-1, "Good"},        {4294967297, "Good"},
                                        {INT64_MAX, "Good"}, {INT64_MIN, "Good"}, {256, "Good"}};
    for (const number_case &c : cases)
        for (uint32_t chip : {CHIP_18, CHIP_27, CHIP_31}) {
            EXPECT_EQ(summary(display_of(CAT_SWITCH, chip, c.value)), c.text) << c.value << " chip " << chip;
            EXPECT_EQ(list_status(display_of(CAT_SWITCH, chip, c.value)), c.text)
                << c.value << " chip " << chip;
        }
}

// The three texts of the list's row.
TEST(ListStatusText, FansAndOtherCategories) {
    static const struct {
        uint32_t cat;
        const char *high;
        const char *low;
        const char *status;
    } cases[] = {
        {CAT_FAN, "", "600", "1"},
        {CAT_VOLTAGE, "75.00", "0.60", "0.00"},
        {CAT_TEMP, "75000/135032", "", "1/33"},
        {CAT_SWITCH, "", "", "Bad"},
        {4, "unknown", "unknown", "unknown"},
        {5, "unknown", "unknown", "unknown"},
        {6, "unknown", "unknown", "unknown"},
        {NOT_GIVEN, "unknown", "unknown", "unknown"},
        {0xFFFFFFFF, "unknown", "unknown", "unknown"},
    };
    for (const auto &c : cases) {
        item_display display = limits_of(c.cat, 75000, 600);
        EXPECT_EQ(high_limit(display), c.high) << "category " << c.cat;
        EXPECT_EQ(low_limit(display), c.low) << "category " << c.cat;
        EXPECT_EQ(list_status(display), c.status) << "category " << c.cat;
    }
}

TEST(ListStatusText, WholeTurnsOfFans) {
    static const number_case cases[] = {{0, "0"}, {5400, "5400"}, {-1, "-1"}, {INT32_MAX, "2147483647"}};
    for (const number_case &c : cases)
        EXPECT_EQ(list_status(display_of(CAT_FAN, CHIP_18, c.value)), c.text) << c.value;
}
