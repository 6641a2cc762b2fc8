#include "items/report.h"

#include <cstdlib>
#include <ctime>
#include <gtest/gtest.h>
#include <initializer_list>
#include <iterator>
#include <string>
#include <vector>

#include "hw/chip_codes.h"
#include "items/records.h"
#include "support/hw_recorder.h"
#include "support/os_test.h"

constexpr time_t SATURDAY_NOON = 1335011696; // Sat Apr 21 12:34:56 2012 in UTC

static const std::string HEADING = "Monitored Item            High Limit  Low Limit     Status \n"
                                   "----------------------------------------------------------------------\n";
static const std::string CLOSING = "--------------------------------------------- Sat Apr 21 12:34:56 2012\n";

// The limits of readings; those of the rows are in the display records.
static const parameter_record parameters[] = {
    make_parameter("HIGH", 0x2D, 0xF0, 0x10),
    make_parameter("LOW", 0x2D, 0xF1, 0x10),
};

struct report_table {
    system_settings system = make_system(BUS_SMBUS | BUS_SUPERIO);
    std::vector<item_record> items;
    std::vector<item_display> displays;
};

static void reset_all(const char *zone) {
    test_door::reset();
    hw_recorder::reset();
    test_door::now = SATURDAY_NOON;
    setenv("TZ", zone, 1);
    tzset();
}

// An item of chip `chip` at register `offset` of the SMBus, and its record as an earlier round left it.
static void add(report_table *table, const char *name, uint32_t cat, uint32_t chip, uint32_t offset,
                int64_t high_limit, int64_t low_limit) {
    item_record item = make_item(cat, chip, BUS_SMBUS, 0x2D, offset);
    set_text(item.Name, name);
    set_text(item.ParaIndex1, "HIGH");
    set_text(item.ParaIndex2, "LOW");
    table->items.push_back(item);
    table->displays.push_back(make_display(item, 77, high_limit, low_limit));
}

static std::string report_of(report_table *table, int *result = nullptr) {
    return test_door::captured_stdout([&] {
        int status =
            text_build_Items(table->displays.data(), &table->system, table->items.data(),
                             static_cast<int32_t>(table->items.size()), parameters, std::size(parameters));
        if (result != nullptr)
            *result = status;
    });
}

// The five cells at their full widths, a blank between them.
static std::string row(std::initializer_list<const char *> cells) {
    std::string line;
    for (const char *cell : cells)
        line += (line.empty() ? "" : " ") + std::string(cell);
    return line + "\n";
}

static const char EMPTY[] = "          ";
static const char NORMAL[] = "          ";
static const char WARNING[] = "  Warning!";
static const char NOT_READ[] = "       N/A";

TEST(Report, RowsOfAllKinds) {
    reset_all("UTC");
    report_table table;
    add(&table, "CPU1 Fan", CAT_FAN, CHIP_W83795ADG, 0x01, 0, 1125);
    add(&table, "Rear Fan", CAT_FAN, CHIP_W83795ADG, 0x02, 0, 1125);
    add(&table, "Front Fan", CAT_FAN, CHIP_W83795ADG, 0x03, 0, 1125);
    add(&table, "+12V", CAT_VOLTAGE, CHIP_W83793G, 0x04, 12600, 11400);
    add(&table, "+12V Standby", CAT_VOLTAGE, CHIP_W83793G, 0x05, 12600, 11400);
    add(&table, "+12V Rear", CAT_VOLTAGE, CHIP_W83793G, 0x06, 12600, 11400);
    add(&table, "System Temperature", CAT_TEMP, CHIP_18, 0x07, 70, 0);
    add(&table, "Front Temperature", CAT_TEMP, CHIP_18, 0x08, 70, 0);
    add(&table, "Rear Temperature", CAT_TEMP, CHIP_18, 0x09, 70, 0);
    add(&table, "Absent Temperature", CAT_TEMP, CHIP_18, 0x0A, 70, 0);
    add(&table, "Inlet Temperature", CAT_TEMP, CHIP_18, 0x0B, -5, 0);
    add(&table, "Chassis Intrusion", CAT_SWITCH, CHIP_18, 0x0C, 0, 0);
    add(&table, "Power Supply 1", CAT_SWITCH, CHIP_18, 0x0D, 0, 0);
    add(&table, "Power Supply 2", CAT_SWITCH, CHIP_18, 0x0D, 0, 0);
    add(&table, "Power Supply 3", CAT_SWITCH, CHIP_18, 0x0E, 0, 0);
    add(&table, "Thermal Trip", CAT_SWITCH, CHIP_27, 0x0F, 0, 0);
    add(&table, "Disk", 4, CHIP_18, 0x10, 5, 6);
    set_text(table.items[2].ItemId, "Item_FAN3");
    set_text(table.items[13].RefItemId, "Item_FAN3");
    hw_recorder::answer("smbus_read 23 1 2d 1", 25);  // 84375 / 25 = 3375 rpm
    hw_recorder::answer("smbus_read 23 1 2d 3", 255); // stopped
    hw_recorder::answer("smbus_read 17 1 2d 4", 126); // 126 × 8 mV × 12 = 12096 mV
    hw_recorder::answer("smbus_read 17 1 2d 6", 100); // 9600 mV
    hw_recorder::answer("smbus_read 18 1 2d 7", 45);
    hw_recorder::answer("smbus_read 18 1 2d 8", 0xFB); // -5
    hw_recorder::answer("smbus_read 18 1 2d 9", 70);   // just the limit
    hw_recorder::answer("smbus_read 18 1 2d a", 128);  // no sensor: 0
    hw_recorder::answer("smbus_read 18 1 2d c", 0x10); // the mask is bit 4
    hw_recorder::answer("smbus_read 18 1 2d d", 0xEF);
    std::string report;
    test_door::captured_stderr([&] { report = report_of(&table); });
    EXPECT_EQ(
        report,
        HEADING + //
            row({"CPU1 Fan                 ", EMPTY, "      1125", "      3375", NORMAL}) +
            row({"Rear Fan                 ", EMPTY, "      1125", NOT_READ, WARNING}) +
            row({"Front Fan                ", EMPTY, "      1125", "         0", WARNING}) +
            row({"+12V                     ", "     12.60", "     11.40", "     12.10", NORMAL}) +
            row({"+12V Standby             ", "     12.60", "     11.40", NOT_READ, WARNING}) +
            row({"+12V Rear                ", "     12.60", "     11.40", "      9.60", WARNING}) +
            row({"System Temperature       ", "    70/158", EMPTY, "    45/113", NORMAL}) +
            row({"Front Temperature        ", "    70/158", EMPTY, "     -5/23", NORMAL}) +
            row({"Rear Temperature         ", "    70/158", EMPTY, "    70/158", WARNING}) +
            row({"Absent Temperature       ", "    70/158", EMPTY, "      0/32", NORMAL}) +
            row({"Inlet Temperature        ", "     -5/23", EMPTY, NOT_READ, WARNING}) +
            row({"Chassis Intrusion        ", EMPTY, EMPTY, "       Bad", WARNING}) +
            row({"Power Supply 1           ", EMPTY, EMPTY, "      Good", NORMAL}) +
            row({"Power Supply 2           ", EMPTY, EMPTY, "       N/A", WARNING}) + // Front Fan reads 0
            row({"Power Supply 3           ", EMPTY, EMPTY, NOT_READ, WARNING}) +
            row({"Thermal Trip             ", EMPTY, EMPTY, "    Normal", NORMAL}) +
            row({"Disk                     ", "   unknown", "   unknown", "   unknown", WARNING}) + CLOSING);
}

TEST(Report, NoItems) {
    reset_all("UTC");
    report_table table;
    int result = 0;
    EXPECT_EQ(report_of(&table, &result), HEADING + CLOSING);
    EXPECT_EQ(result, 71); // characters of the closing line: 45 dashes, a blank, 24 of the time, its newline
    EXPECT_EQ(hw_recorder::take_log(), "");
}

TEST(Report, TimeIsTheLocalOne) {
    reset_all("KST-9"); // nine hours east
    test_door::now = SATURDAY_NOON + 12 * 3600;
    report_table table;
    EXPECT_EQ(report_of(&table),
              HEADING + "--------------------------------------------- Sun Apr 22 09:34:56 2012\n");
}

// A clock that was never set, or a broken one: the years have no four digits any more.
TEST(Report, TimeThatHasNoName) {
    for (time_t now : {static_cast<time_t>(INT64_MAX), static_cast<time_t>(INT64_MIN)}) {
        reset_all("UTC");
        test_door::now = now;
        report_table table;
        EXPECT_EQ(report_of(&table), HEADING + "--------------------------------------------- ?\n") << now;
    }
}

TEST(Report, OnlyMonitoredItemsAppearAndAreRead) {
    reset_all("UTC");
    report_table table;
    for (uint32_t monitor : {0u, 1u, 2u, NOT_GIVEN, 0xFFFFFFFFu}) {
        add(&table, ("Temperature " + std::to_string(monitor)).c_str(), CAT_TEMP, CHIP_18, monitor & 0xFF, 70,
            0);
        table.displays.back().monitor = monitor;
    }
    for (const char *line :
         {"smbus_read 18 1 2d 0", "smbus_read 18 1 2d 1", "smbus_read 18 1 2d 2", "smbus_read 18 1 2d ff"})
        hw_recorder::answer(line, 45);
    hw_recorder::answer("smbus_read 18 1 2d f0", 70);
    EXPECT_EQ(report_of(&table),
              HEADING + row({"Temperature 1            ", "    70/158", EMPTY, "    45/113", NORMAL}) +
                  CLOSING);
    EXPECT_EQ(hw_recorder::take_log(),
              "smbus_read 18 1 2d f0\nsmbus_read 18 1 2d f1\nsmbus_read 18 1 2d 1\n");
    EXPECT_EQ(table.displays[0].value, 77);
    EXPECT_EQ(table.displays[1].value, 45);
    EXPECT_EQ(table.displays[3].value, 77);
}

// The record decides, not the item.
TEST(Report, ItemSwitchedOffInItsRecordDoesNotAppear) {
    reset_all("UTC");
    report_table table;
    add(&table, "System Temperature", CAT_TEMP, CHIP_18, 0x01, 70, 0);
    table.displays[0].monitor = 0;
    EXPECT_EQ(report_of(&table), HEADING + CLOSING);
    table.displays[0].monitor = 1;
    table.items[0].Monitor = 0;
    hw_recorder::answer("smbus_read 18 1 2d 1", 45);
    EXPECT_EQ(report_of(&table),
              HEADING + row({"System Temperature       ", "    70/158", EMPTY, "    45/113", NORMAL}) +
                  CLOSING);
}

TEST(Report, FailedReadingKeepsTheRecordsValue) {
    reset_all("UTC");
    report_table table;
    add(&table, "CPU1 Fan", CAT_FAN, CHIP_W83795ADG, 0x01, 0, 1125);
    report_of(&table);
    EXPECT_EQ(table.displays[0].value, 77);
    hw_recorder::answer("smbus_read 23 1 2d 1", 25);
    report_of(&table);
    EXPECT_EQ(table.displays[0].value, 3375);
    hw_recorder::fail("smbus_read 23 1 2d 1");
    EXPECT_EQ(report_of(&table),
              HEADING + row({"CPU1 Fan                 ", EMPTY, "      1125", NOT_READ, WARNING}) + CLOSING);
    EXPECT_EQ(table.displays[0].value, 3375);
}

TEST(Report, LongNameIsPrintedWhole) {
    reset_all("UTC");
    report_table table;
    add(&table, "Temperature of the northern memory bank", CAT_TEMP, CHIP_18, 0x01, 70, 0); // 39 characters
    hw_recorder::answer("smbus_read 18 1 2d 1", 45);
    EXPECT_EQ(report_of(&table), HEADING +
                                     row({"Temperature of the northern memory bank", "    70/158", EMPTY,
                                          "    45/113", NORMAL}) +
                                     CLOSING);
}

// ---- Words

// A W83795ADG temperature at register 0x27 with thresholds 80 and 75 and margin 20: Medium from 71 to 80.
static void add_worded(report_table *table, const char *word) {
    add(table, "CPU1 Temperature", CAT_TEMP, CHIP_W83795ADG, 0x27, 90, 0);
    table->displays.back().thermal_text_supported = 1;
    set_text(table->displays.back().thermal_text, word);
    hw_recorder::answer("smbus_read 23 1 2d 0", 0x85);
    hw_recorder::answer("smbus_read 23 1 2d b2", 80);
    hw_recorder::answer("smbus_read 23 1 2d b3", 75);
    hw_recorder::answer("smbus_read 23 1 2d df", 20);
    hw_recorder::answer("smbus_read 23 1 2d 27", 75);
}

static std::string worded_report(const char *status, const char *warning) {
    return HEADING + row({"CPU1 Temperature         ", "    90/194", EMPTY, status, warning}) + CLOSING;
}

TEST(ReportWords, FreshWordIsShownAndKept) {
    reset_all("UTC");
    report_table table;
    add_worded(&table, "Low");
    EXPECT_EQ(report_of(&table), worded_report("    Medium", NORMAL));
    EXPECT_STREQ(table.displays[0].thermal_text, "Medium");
    EXPECT_EQ(table.displays[0].value, 75);
    hw_recorder::answer("smbus_read 23 1 2d 27", 81);
    EXPECT_EQ(report_of(&table), worded_report("      High", NORMAL));
    EXPECT_STREQ(table.displays[0].thermal_text, "High");
}

TEST(ReportWords, FailedWordKeepsTheOldOne) {
    for (const char *line : {"smbus_read 23 1 2d b2", "smbus_read 23 1 2d 0", "smbus_write 1 2d 0 85"}) {
        reset_all("UTC");
        report_table table;
        add_worded(&table, "Low");
        hw_recorder::fail(line);
        EXPECT_EQ(report_of(&table), worded_report("       Low", NORMAL)) << line;
        EXPECT_STREQ(table.displays[0].thermal_text, "Low") << line;
        EXPECT_EQ(table.displays[0].value, 75) << line;
    }
}

TEST(ReportWords, OtherGuideTypesKeepTheOldWord) {
    reset_all("UTC");
    report_table table;
    add_worded(&table, "");
    table.system.ThermalGuideChipType = 2;
    EXPECT_EQ(report_of(&table), worded_report(EMPTY, NORMAL));
    set_text(table.displays[0].thermal_text, "High");
    EXPECT_EQ(report_of(&table), worded_report("      High", NORMAL));
}

TEST(ReportWords, OverheatWarnsWhateverTheValue) {
    reset_all("UTC");
    report_table table;
    add_worded(&table, "Overheat"); // an old word that cannot be renewed
    hw_recorder::fail("smbus_read 23 1 2d b2");
    EXPECT_EQ(report_of(&table), worded_report("  Overheat", WARNING));

    report_table fresh;
    add(&fresh, "CPU1 Temperature", CAT_TEMP, CHIP_NCT6776F, 0x17, 90, 0);
    fresh.items[0].BusType = BUS_SUPERIO;
    fresh.items[0].Slave = 7;
    fresh.displays[0].thermal_text_supported = 1;
    hw_recorder::answer("isa_read 7 17", 0xFE); // 126 × 4 + 3 - 412 = 95; the plain reading is -2
    hw_recorder::answer("isa_read 7 18", 0xC0);
    EXPECT_EQ(report_of(&fresh), worded_report("  Overheat", WARNING));
    EXPECT_STREQ(fresh.displays[0].thermal_text, "Overheat");
}

TEST(ReportWords, WordOfAValueAtTheLimitWarns) {
    reset_all("UTC");
    report_table table;
    add_worded(&table, "Low");
    hw_recorder::answer("smbus_read 23 1 2d 27", 90);
    EXPECT_EQ(report_of(&table), worded_report("      High", WARNING));
}

TEST(ReportWords, FailedReadingShowsNoWord) {
    reset_all("UTC");
    report_table table;
    add_worded(&table, "Low");
    hw_recorder::fail("smbus_read 23 1 2d 27");
    EXPECT_EQ(report_of(&table), worded_report(NOT_READ, WARNING));
    EXPECT_STREQ(table.displays[0].thermal_text, "Low");
}

TEST(ReportWords, RecordWithoutSupportShowsTheNumber) {
    reset_all("UTC");
    report_table table;
    add_worded(&table, "Low");
    table.displays[0].thermal_text_supported = 0;
    EXPECT_EQ(report_of(&table), worded_report("    75/167", NORMAL));
    EXPECT_STREQ(table.displays[0].thermal_text, "Low");
    EXPECT_EQ(hw_recorder::take_log().find("smbus_write"), std::string::npos); // no bank was touched
}

// ---- The banner

TEST(Headline, TwoLinesThatBeginWithTheProductsName) {
    std::string banner = test_door::captured_stdout(headline);
    std::vector<std::string> lines;
    for (size_t start = 0, end; (end = banner.find('\n', start)) != std::string::npos; start = end + 1)
        lines.push_back(banner.substr(start, end - start));
    ASSERT_EQ(lines.size(), 2u) << banner;
    EXPECT_EQ(banner.back(), '\n');
    for (const std::string &line : lines)
        EXPECT_EQ(line.rfind("Kestrel II", 0), 0u) << line;
}
