// The refresh cycle and its timer: what start-up fills once, what a tick reads and in which order it shows
// it. The buses are replaced by a recorder that the tests answer for.
#include "driver/refresh.h"

#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "alert/alert_list.h"
#include "hw/chip_codes.h"
#include "items/history.h"
#include "items/records.h"
#include "support/hw_recorder.h"
#include "support/os_test.h"
#include "support/pages.h"
#include "support/window.h"
#include "ui/items_page.h"
#include "ui/palette.h"
#include "ui/tick.h"
#include "ui/windows.h"

using hw_recorder::answer;
using std::string;
using strings = std::vector<string>;
using floats = std::vector<float>;
using test_window::text_of;
using test_window::widget;

// ---- A board behind index and data ports

static std::vector<item_record> items;
static std::vector<parameter_record> parameters;

static item_record make(const char *name, uint32_t cat, uint32_t bank, uint32_t reg, const char *parameter) {
    item_record item = make_item(cat, CHIP_NCT6776F, BUS_SUPERIO, bank, reg);
    set_text(item.Name, name);
    set_text(item.ParaIndex1, parameter);
    set_text(item.ParaIndex2, parameter);
    return item;
}

// Counts are 1350000 / rpm.
static item_record fan_at(const char *name, uint32_t reg) { return make(name, CAT_FAN, 0, reg, "Divisor1"); }

static item_record temperature_at(const char *name, uint32_t reg) {
    return make(name, CAT_TEMP, 0, reg, "TempLimit");
}

// Steps of 8 mV.
static item_record voltage_at(const char *name, uint32_t reg) {
    item_record item = make(name, CAT_VOLTAGE, 0, reg, "VoltLimit");
    item.VolFunc = 4;
    return item;
}

static item_record switch_at(const char *name, uint32_t reg) {
    return make(name, CAT_SWITCH, 0, reg, "SwitchMask"); // active when bit 4 is set
}

// The processor's digital sensor, which has words.
static item_record processor() { return make("CPU1", CAT_TEMP, 7, 0x17, "TempLimit"); }

// A fan is normal above 0 rpm, a temperature below 100 degrees; a voltage never, its limits being the same.
static void answer_limits() {
    answer("isa_fan 0 5e", 8191); // the count of a fan that does not turn
    answer("isa_read 0 50", 100);
    answer("isa_read 0 51", 100);
    answer("isa_read 0 52", 0);
}

// The windows over these items, not filled yet.
static void prepare(const std::vector<item_record> &board) {
    test_pages::begin();
    hw_recorder::reset();
    answer_limits();
    *test_pages::open() = make_system(BUS_SUPERIO);
    items = board;
    parameters = {make_parameter("Divisor1", 0, 0x5E, 0xFF), make_parameter("TempLimit", 0, 0x50, 0xFF),
                  make_parameter("VoltLimit", 0, 0x51, 0xFF), make_parameter("SwitchMask", 0, 0x52, 0x10)};
    myspKestrel->items = items.data();
    myspKestrel->item_count = static_cast<int32_t>(items.size());
    myspKestrel->parameters = parameters.data();
    myspKestrel->parameter_count = static_cast<int32_t>(parameters.size());
    tick = updateAll;
}

static unsigned fill() {
    const kestrel_context *k = myspKestrel;
    item_display *displays =
        createItemDisps(k->system, k->items, k->item_count, k->parameters, k->parameter_count);
    hw_recorder::take_log();
    return build_All(myapp1, displays, k->system, k->items, k->item_count, k->parameters, k->parameter_count);
}

static void open(const std::vector<item_record> &board) {
    prepare(board);
    fill();
}

static floats history(const float row[HISTORY_LENGTH]) { return floats(row, row + HISTORY_LENGTH); }

static floats ends_in(const floats &samples) {
    floats line(HISTORY_LENGTH, 0);
    std::copy(samples.begin(), samples.end(), line.end() - static_cast<long>(samples.size()));
    return line;
}

static string alert_label(const char *name) { return text_of(test_window::alert_widget(name)); }

// ---- Start

// All labels inside a widget.
static void collect_labels(GtkWidget *inside, gpointer texts) {
    if (GTK_IS_LABEL(inside))
        static_cast<strings *>(texts)->push_back(text_of(inside));
    if (GTK_IS_CONTAINER(inside))
        gtk_container_foreach(GTK_CONTAINER(inside), collect_labels, texts);
}

TEST(BuildAll, ReadsNoItemAndShowsTheDisplaysAsTheyStand) {
    prepare({fan_at("Fan", 0x28), temperature_at("Temp", 0x27)});
    answer("isa_fan 0 28", 250); // 5400 rpm
    answer("isa_read 0 27", 40);
    item_display displays[] = {make_display(items[0], 777, 0, 0), make_display(items[1], 33, 70, 0)};
    const kestrel_context *k = myspKestrel;
    hw_recorder::take_log();
    build_All(myapp1, displays, k->system, k->items, 2, k->parameters, k->parameter_count);
    EXPECT_EQ(hw_recorder::take_log(), "");
    EXPECT_EQ(allItemDisps, displays);
    EXPECT_EQ(text_of(widget("buttonSummaryFan0")), "777 RPM");
    EXPECT_EQ(text_of(widget("labelFanReading0")), "777 RPM");
    EXPECT_EQ(text_of(widget("labelThermalReading0")), "33'C / 91'F"); // 297 / 5 = 59
    EXPECT_EQ(gtk_tree_model_iter_n_children(GTK_TREE_MODEL(list_store), nullptr), 2);
}

TEST(BuildAll, EveryPageIsFilled) {
    prepare({fan_at("Fan", 0x28), voltage_at("Volt", 0x20), temperature_at("Temp", 0x27),
             switch_at("Chassis", 0x42)});
    answer("isa_fan 0 28", 250);  // 5400 rpm
    answer("isa_read 0 20", 150); // 1200 mV
    answer("isa_read 0 27", 40);
    answer("isa_read 0 42", 0x10);
    answer("isa_read 0 51", 0);
    myspKestrel->system->Polling = 7;
    set_text(myspKestrel->system->MachineName, "Board");
    fill();
    EXPECT_EQ(text_of(widget("buttonSummaryStatus0")), "Bad");
    EXPECT_EQ(text_of(widget("labelFanReading0")), "5400 RPM");
    EXPECT_EQ(text_of(widget("labelVoltageReading0")), "1.20 V");
    EXPECT_EQ(text_of(widget("labelThermalReading0")), "40'C / 104'F");
    EXPECT_EQ(text_of(widget("entryPolling")), "7");
    EXPECT_EQ(text_of(widget("entryMachineName")), "Board");
    EXPECT_EQ(gtk_tree_model_iter_n_children(GTK_TREE_MODEL(list_store), nullptr), 4);
    EXPECT_EQ(test_window::take_warnings(), strings());
}

// A display has room for 39 bytes of a name; what is cut is whole characters.
TEST(BuildAll, LongNamesAreCutOnEveryPage) {
    item_record wide = fan_at("", 0x2A);
    item_record chassis = switch_at("", 0x42);
    set_text(wide.Name, (string(38, 'w') + "\xC3\xBC" + string(39, 'w')).c_str());
    set_text(chassis.Name, string(79, 's').c_str());
    prepare({wide, chassis});
    answer("isa_fan 0 2a", 250);
    answer("isa_read 0 42", 0x10);
    test_door::now = 0;
    fill();
    EXPECT_EQ(text_of(widget("labelSummaryFan0")), string(38, 'w'));
    EXPECT_EQ(text_of(widget("labelFan0")), string(38, 'w'));
    EXPECT_EQ(text_of(widget("labelSummaryStatus0")), string(39, 's'));
    EXPECT_EQ(alert_label("labelAlertMsg"), "This system has the health information:\n\n" + string(39, 's') +
                                                " Failed(Bad)!\nat Thu Jan  1 00:00:00 1970\n");
    GtkTreeIter row;
    char *name = nullptr;
    ASSERT_TRUE(gtk_tree_model_iter_nth_child(GTK_TREE_MODEL(list_store), &row, nullptr, 1));
    gtk_tree_model_get(GTK_TREE_MODEL(list_store), &row, NAME_COLUMN, &name, -1);
    EXPECT_EQ(name, string(39, 's'));
    g_free(name);
    EXPECT_EQ(test_window::take_warnings(), strings());
}

TEST(BuildAll, HistoriesBeginWithOneSampleBehindZeros) {
    prepare({fan_at("Fan", 0x28), voltage_at("Volt", 0x20), temperature_at("Temp", 0x27)});
    answer("isa_fan 0 28", 250);  // 5400 rpm
    answer("isa_read 0 20", 150); // 1200 mV
    answer("isa_read 0 27", 40);
    for (auto &row : vectorFan)
        std::fill(row, row + HISTORY_LENGTH, 9.f);
    for (auto &row : vectorVoltage)
        std::fill(row, row + HISTORY_LENGTH, 9.f);
    for (auto &row : vectorThermal)
        std::fill(row, row + HISTORY_LENGTH, 9.f);
    fill();
    EXPECT_EQ(history(vectorFan[0]), ends_in({5400}));
    EXPECT_EQ(history(vectorVoltage[0]), ends_in({1200}));
    EXPECT_EQ(history(vectorThermal[0]), ends_in({40}));
    for (int row = 1; row < 16; row++) {
        EXPECT_EQ(history(vectorFan[row]), ends_in({})) << row;
        EXPECT_EQ(history(vectorThermal[row]), ends_in({})) << row;
    }
    for (int row = 1; row < 60; row++)
        EXPECT_EQ(history(vectorVoltage[row]), ends_in({})) << row;
}

TEST(BuildAll, ReadyIsPushedOntoTheStatusBar) {
    open({});
    strings texts;
    collect_labels(widget("appbar1"), &texts);
    EXPECT_EQ(texts, strings{"Ready"});
}

TEST(BuildAll, AlertListBeginsEmpty) {
    prepare({fan_at("Fan", 0x28)});
    answer("isa_fan 0 28", 250);
    alert_msg_node *before = alert_msg_head;
    fill();
    ASSERT_NE(alert_msg_head, before);
    EXPECT_EQ(current_alert_msg_node, alert_msg_head);
    EXPECT_EQ(alert_msg_head->prev, nullptr);
    EXPECT_EQ(alert_msg_head->next, nullptr);
    EXPECT_EQ(alert_label("labelIndexCount"), "0/0");
    EXPECT_EQ(alert_label("labelAlertMsg"), "No message!");
    EXPECT_FALSE(gtk_widget_get_visible(mywindowAlertMessage));
}

TEST(BuildAll, WhatIsAbnormalAtStartIsTheFirstAlert) {
    prepare({fan_at("Fan", 0x28), switch_at("Chassis", 0x42), switch_at("Bay", 0x43)});
    answer("isa_fan 0 28", 250);
    answer("isa_read 0 42", 0x10);
    answer("isa_read 0 43", 0x10);
    items[2].Monitor = 0;
    test_door::now = 1794798335;
    fill();
    EXPECT_EQ(alert_label("labelIndexCount"), "1/1");
    EXPECT_EQ(alert_label("labelAlertMsg"), "This system has the health information:\n\n"
                                            "Chassis Failed(Bad)!\nat Mon Nov 16 03:05:35 2026\n");
    EXPECT_TRUE(gtk_widget_get_visible(mywindowAlertMessage));
    updateAll();
    EXPECT_EQ(alert_label("labelIndexCount"), "1/1");
}

// ---- Colours

static ::testing::AssertionResult has_colours(const string &name) {
    GtkWidget *found = widget(name);
    gtk_widget_ensure_style(found);
    GtkStyle *style = gtk_widget_get_style(found);
    if (!gdk_color_equal(&style->fg[GTK_STATE_NORMAL], &Orange))
        return ::testing::AssertionFailure() << name << " is not orange";
    if (!gdk_color_equal(&style->fg[GTK_STATE_INSENSITIVE], &LightBlue))
        return ::testing::AssertionFailure() << name << " is not light blue when insensitive";
    return ::testing::AssertionSuccess();
}

TEST(Colours, HeadingsAndChartsHaveBoth) {
    open({});
    for (const char *heading :
         {"labelSummaryFan", "labelSummaryVoltage", "labelSummaryThermal", "labelSummaryStatus"})
        EXPECT_TRUE(has_colours(heading));
    for (int i = 0; i < 60; i++) {
        EXPECT_TRUE(has_colours("curveVoltage" + std::to_string(i)));
        if (i < 16) {
            EXPECT_TRUE(has_colours("curveFan" + std::to_string(i)));
            EXPECT_TRUE(has_colours("curveThermal" + std::to_string(i)));
        }
    }
}

TEST(Colours, RowsKeepTheToolkitsOwn) {
    open({});
    for (const char *name : {"labelSummaryFan0", "labelFan0", "labelFanReading0", "buttonSummaryFan0"}) {
        gtk_widget_ensure_style(widget(name));
        GtkStyle *style = gtk_widget_get_style(widget(name));
        EXPECT_FALSE(gdk_color_equal(&style->fg[GTK_STATE_NORMAL], &Orange)) << name;
        EXPECT_FALSE(gdk_color_equal(&style->fg[GTK_STATE_INSENSITIVE], &LightBlue)) << name;
    }
}

// True when any pixel of the drawable has exactly this colour.
static bool is_drawn_in(GdkDrawable *drawable, const GdkColor &colour) {
    GdkPixbuf *picture = test_pages::picture_of(drawable);
    bool found = false;
    for (int y = 0; y < gdk_pixbuf_get_height(picture) && !found; y++)
        for (int x = 0; x < gdk_pixbuf_get_width(picture) && !found; x++) {
            const guchar *pixel = gdk_pixbuf_get_pixels(picture) + y * gdk_pixbuf_get_rowstride(picture) +
                                  x * gdk_pixbuf_get_n_channels(picture);
            found =
                pixel[0] == colour.red >> 8 && pixel[1] == colour.green >> 8 && pixel[2] == colour.blue >> 8;
        }
    g_object_unref(picture);
    return found;
}

// Sensitive headings are drawn in orange, insensitive charts in light blue.
TEST(Colours, AreSeenOnTheScreen) {
    prepare({fan_at("Fan", 0x28)});
    answer("isa_fan 0 28", 30000); // 45 rpm
    fill();
    GdkWindow *summary = gtk_widget_get_window(widget("labelSummaryFan"));
    EXPECT_TRUE(test_pages::wait_until([&] { return is_drawn_in(summary, Orange); }));
    EXPECT_FALSE(is_drawn_in(summary, LightBlue));
    gtk_notebook_set_current_page(GTK_NOTEBOOK(widget("notebook1")), 1);
    GdkWindow *chart = gtk_widget_get_window(widget("curveFan0"));
    EXPECT_TRUE(test_pages::wait_until([&] { return is_drawn_in(chart, LightBlue); }));
    EXPECT_FALSE(is_drawn_in(chart, Orange));
}

// ---- A tick

TEST(Tick, GoesOnForEver) {
    open({});
    EXPECT_EQ(updateAll(), 1);
}

TEST(Tick, EveryItemIsReadOnceInTableOrderMonitoredOrNot) {
    prepare({switch_at("S", 0x42), fan_at("F", 0x28), fan_at("G", 0x2A), temperature_at("T", 0x27)});
    answer("isa_read 0 42", 0);
    answer("isa_fan 0 28", 250);
    answer("isa_fan 0 2a", 250);
    answer("isa_read 0 27", 40);
    items[1].Monitor = 0;
    items[2].Monitor = 255;
    fill();
    for (int round = 0; round < 2; round++) {
        updateAll();
        // Both limits come before each reading.
        EXPECT_EQ(hw_recorder::take_log(), "isa_read 0 52\nisa_read 0 52\nisa_read 0 42\n"
                                           "isa_fan 0 5e\nisa_fan 0 5e\nisa_fan 0 28\n"
                                           "isa_fan 0 5e\nisa_fan 0 5e\nisa_fan 0 2a\n"
                                           "isa_read 0 50\nisa_read 0 50\nisa_read 0 27\n");
    }
    EXPECT_EQ(allItemDisps[1].value, 5400);
}

TEST(Tick, NewReadingsAreOnEveryPage) {
    prepare({fan_at("Fan", 0x28), switch_at("Chassis", 0x42)});
    answer("isa_fan 0 28", 250);
    answer("isa_read 0 42", 0);
    fill();
    answer("isa_fan 0 28", 500); // 2700 rpm
    answer("isa_read 0 42", 0x10);
    test_door::now = 0;
    updateAll();
    EXPECT_EQ(text_of(widget("buttonSummaryFan0")), "2700 RPM");
    EXPECT_EQ(text_of(widget("labelFanReading0")), "2700 RPM");
    EXPECT_EQ(text_of(widget("buttonSummaryStatus0")), "Bad");
    EXPECT_EQ(
        alert_label("labelAlertMsg"),
        "This system has the health information:\n\nChassis Failed(Bad)!\nat Thu Jan  1 00:00:00 1970\n");
    GtkTreeIter first;
    char *text = nullptr;
    ASSERT_TRUE(gtk_tree_model_get_iter_first(GTK_TREE_MODEL(list_store), &first));
    gtk_tree_model_get(GTK_TREE_MODEL(list_store), &first, STATUS_COLUMN, &text, -1);
    EXPECT_STREQ(text, "2700");
    g_free(text);
}

TEST(Tick, OneSampleATickForWhatIsMonitored) {
    prepare({temperature_at("A", 0x27), temperature_at("B", 0x28)});
    answer("isa_read 0 27", 10);
    answer("isa_read 0 28", 50);
    items[1].Monitor = 0;
    fill();
    for (uint32_t degrees : {20, 30, 40}) {
        answer("isa_read 0 27", degrees);
        answer("isa_read 0 28", degrees);
        updateAll();
    }
    EXPECT_EQ(history(vectorThermal[0]), ends_in({10, 20, 30, 40}));
    EXPECT_EQ(history(vectorThermal[1]), ends_in({}));
    allItemDisps[1].monitor = 1;
    updateAll();
    EXPECT_EQ(history(vectorThermal[0]), ends_in({10, 20, 30, 40, 40}));
    EXPECT_EQ(history(vectorThermal[1]), ends_in({40}));
    allItemDisps[1].monitor = 0;
    updateAll();
    EXPECT_EQ(history(vectorThermal[1]), ends_in({40})); // it does not move on
}

// Another label under a known name is filled from the next tick on: nothing is remembered from tick to tick.
TEST(Tick, WidgetsAreLookedUpByNameEveryTime) {
    prepare({fan_at("Fan", 0x28)});
    answer("isa_fan 0 28", 250);
    fill();
    static const char *const names[] = {"labelSummaryFan0", "labelFan0"};
    for (const char *name : names)
        g_object_set_data(G_OBJECT(myapp1), name, g_object_ref_sink(gtk_label_new("new")));
    updateAll();
    for (const char *name : names)
        EXPECT_EQ(text_of(widget(name)), "Fan") << name;
}

// With Enter, or a double click, again and again: the tick in between leaves the row selected.
TEST(Tick, RowOfTheListCanBeActivatedAgain) {
    prepare({fan_at("Fan", 0x28), switch_at("Chassis", 0x42)});
    answer("isa_fan 0 28", 250);
    answer("isa_read 0 42", 0);
    fill();
    GtkTreePath *second = gtk_tree_path_new_from_indices(1, -1);
    gtk_tree_view_set_cursor(GTK_TREE_VIEW(treeview1), second, nullptr, FALSE);
    for (uint32_t flag : {0u, 1u, 0u}) {
        gtk_tree_view_row_activated(GTK_TREE_VIEW(treeview1), second, checked_column);
        EXPECT_EQ(items[1].Monitor, flag);
    }
    gtk_tree_path_free(second);
}

// ---- Readings that fail

TEST(Tick, FailedReadingLeavesTheLastGoodOne) {
    prepare({temperature_at("Temp", 0x27), fan_at("Fan", 0x28)});
    answer("isa_read 0 27", 40);
    answer("isa_fan 0 28", 250);
    fill();
    uint32_t before = errNoNumber;
    hw_recorder::fail("isa_read 0 27");
    answer("isa_fan 0 28", 500);
    EXPECT_EQ(test_pages::printed([] { EXPECT_EQ(updateAll(), 1); }), "");
    EXPECT_EQ(errNoNumber, before + 1);
    EXPECT_EQ(allItemDisps[0].value, 40);
    EXPECT_EQ(text_of(widget("buttonSummaryThermal0")), "40'C / 104'F");
    EXPECT_EQ(text_of(widget("labelThermalReading0")), "40'C / 104'F");
    EXPECT_EQ(text_of(widget("labelFanReading0")), "2700 RPM"); // the next item is read all the same
    EXPECT_EQ(history(vectorThermal[0]), ends_in({40, 40}));
    answer("isa_read 0 27", 41);
    updateAll();
    EXPECT_EQ(errNoNumber, before + 1);
    EXPECT_EQ(history(vectorThermal[0]), ends_in({40, 40, 41}));
}

// Chip 9's formula for a processor's voltage leaves the value as it was below raw 16. That is a good reading.
TEST(Tick, FormulaThatLeavesTheValueIsGivenTheLastOne) {
    item_record item = make_item(CAT_VOLTAGE, CHIP_9, BUS_SUPERIO, 0, 0x20);
    item.VolFunc = 4;
    set_text(item.ParaIndex1, "VoltLimit");
    set_text(item.ParaIndex2, "VoltLimit");
    prepare({item});
    answer("isa_read 0 20", 160); // × 6.25 mV
    fill();
    uint32_t before = errNoNumber;
    answer("isa_read 0 20", 15);
    updateAll();
    EXPECT_EQ(allItemDisps[0].value, 1000);
    EXPECT_EQ(history(vectorVoltage[0]), ends_in({1000, 1000}));
    EXPECT_EQ(errNoNumber, before);
}

// However often a reading was tried, and whether or not the item is monitored.
TEST(Tick, EachFailedItemCountsOnceATick) {
    prepare({temperature_at("A", 0x27), fan_at("B", 0x28), switch_at("C", 0x42), voltage_at("D", 0x20),
             temperature_at("E", 0x29)});
    answer("isa_read 0 29", 40);
    items[1].Monitor = 0;
    fill();
    uint32_t before = errNoNumber;
    updateAll();
    EXPECT_EQ(errNoNumber, before + 4);
    updateAll();
    EXPECT_EQ(errNoNumber, before + 8);
    EXPECT_EQ(test_window::messages(), strings());
}

TEST(BuildAll, CountOfFailuresIsNotReset) {
    prepare({temperature_at("A", 0x27)});
    errNoNumber = 41;
    fill();
    updateAll();
    EXPECT_EQ(errNoNumber, 42u);
}

// ---- Words for temperatures. The sensor's high byte × 4, less 412 and cut to 8 bits: 0xF0 is 36 degrees
// ("Low"), 0xFE 92 ("High"), 0xFF 96 ("Overheat").

static void answer_processor(uint32_t high) {
    answer("isa_read 7 17", high);
    answer("isa_read 7 18", 0);
}

TEST(ThermalWord, IsAskedForOnEveryTickRightBehindTheReading) {
    prepare({processor(), fan_at("Fan", 0x28)});
    answer_processor(0xF0);
    answer("isa_fan 0 28", 250);
    fill();
    EXPECT_EQ(text_of(widget("labelThermalReading0")), "Low");
    answer_processor(0xFE);
    updateAll();
    // The sensor's limit is not a register; its reading is followed by the two of the word.
    EXPECT_EQ(hw_recorder::take_log(), "isa_read 7 17\nisa_read 7 17\nisa_read 7 18\n"
                                       "isa_fan 0 5e\nisa_fan 0 5e\nisa_fan 0 28\n");
    EXPECT_EQ(text_of(widget("labelThermalReading0")), "High");
    EXPECT_EQ(text_of(widget("buttonSummaryThermal0")), "High");
}

TEST(ThermalWord, FailureKeepsTheOldOne) {
    prepare({processor()});
    answer_processor(0xFE);
    fill();
    EXPECT_STREQ(allItemDisps[0].thermal_text, "High");
    answer("isa_read 7 17", 0x7F); // no number of the digital sensor
    updateAll();
    EXPECT_STREQ(allItemDisps[0].thermal_text, "High");
    answer_processor(0xF0);
    hw_recorder::fail("isa_read 7 18");
    updateAll();
    EXPECT_STREQ(allItemDisps[0].thermal_text, "High");
    EXPECT_EQ(allItemDisps[0].value, -16); // the reading itself succeeded
    EXPECT_EQ(text_of(widget("labelThermalReading0")), "High");
    answer_processor(0xF0);
    updateAll();
    EXPECT_STREQ(allItemDisps[0].thermal_text, "Low");
}

// This chip's word is known before the last access, which puts its bank back.
TEST(ThermalWord, FailureOfTheLastAccessKeepsTheOldOneToo) {
    item_record sensor = make_item(CAT_TEMP, CHIP_W83795ADG, BUS_SMBUS, 0x2F, 0x26);
    set_text(sensor.ParaIndex1, "TempLimit");
    set_text(sensor.ParaIndex2, "TempLimit");
    prepare({sensor});
    answer("smbus_read 23 1 0 50", 70);   // limit
    answer("smbus_read 23 1 2f 0", 0x83); // bank 3 is selected
    answer("smbus_read 23 1 2f b2", 90);
    answer("smbus_read 23 1 2f b3", 50);
    answer("smbus_read 23 1 2f df", 0);
    answer("smbus_read 23 1 2f 26", 40);
    fill();
    EXPECT_EQ(text_of(widget("labelThermalReading0")), "Low"); // below 71
    answer("smbus_read 23 1 2f 26", 90);
    hw_recorder::fail("smbus_write 1 2f 0 83");
    updateAll();
    EXPECT_EQ(allItemDisps[0].value, 90);
    EXPECT_EQ(text_of(widget("labelThermalReading0")), "Low");
}

TEST(ThermalWord, FailedWordIsNoFailedReading) {
    prepare({processor()});
    answer_processor(0xF0);
    fill();
    uint32_t before = errNoNumber;
    hw_recorder::fail("isa_read 7 18");
    updateAll();
    EXPECT_EQ(errNoNumber, before);
}

TEST(ThermalWord, IsNotAskedForWithoutTheFlag) {
    prepare({processor()});
    answer_processor(0xFE);
    fill();
    allItemDisps[0].thermal_text_supported = 0;
    updateAll();
    EXPECT_EQ(hw_recorder::take_log(), "isa_read 7 17\n");
    EXPECT_EQ(text_of(widget("labelThermalReading0")), "-2'C / 29'F"); // 0xFE; -18 / 5 = -3
}

TEST(ThermalWord, OverheatIsReportedAsAChange) {
    prepare({processor()});
    answer_processor(0xF0);
    fill();
    answer_processor(0xFF);
    updateAll();
    EXPECT_EQ(alert_label("labelAlertMsg")
                  .find("This system has the health information:\n\n"
                        "CPU1 Failed(Bad)!\n"),
              0u);
}

// ---- Order of the pages

static string order;

static void note_print(const gchar *text) { order += text; }
static void note_text(GObject *, GParamSpec *, gpointer name) { order += static_cast<const char *>(name); }

// Tables with too many items make four of the builders speak; the two pages with entries are heard by them.
TEST(Tick, PagesAreShownInOrder) {
    std::vector<item_record> board;
    for (int i = 0; i < 61; i++) {
        board.push_back(voltage_at("V", 0x20));
        if (i < 17) {
            board.push_back(fan_at("F", 0x28));
            board.push_back(temperature_at("T", 0x27));
        }
    }
    prepare(board);
    g_signal_connect(widget("entryPolling"), "notify::text", G_CALLBACK(note_text),
                     const_cast<char *>("interval\n"));
    g_signal_connect(widget("entryMachineName"), "notify::text", G_CALLBACK(note_text),
                     const_cast<char *>("name\n"));
    answer("isa_read 0 20", 150);
    answer("isa_fan 0 28", 250);
    answer("isa_read 0 27", 40);
    GPrintFunc printer = g_set_print_handler(note_print);
    const string speech = " build_Summary(): idxFan out of range. \n"
                          " build_Fan(): idxMonitingFan out of range. \n"
                          " build_Voltage(): idxMonitingVoltage out of range. \n"
                          " build_Thermal(): idxMonitingThermal out of range. \n"
                          "interval\nname\n"
                          " build_Alert(): idxFan out of range. \n";
    myspKestrel->system->Polling = 7;
    set_text(myspKestrel->system->MachineName, "Board");
    order.clear();
    fill();
    EXPECT_EQ(order, speech);
    myspKestrel->system->Polling = 8;
    set_text(myspKestrel->system->MachineName, "Other");
    order.clear();
    updateAll();
    EXPECT_EQ(order, speech);
    g_set_print_handler(printer);
}

// ---- The timer

static int ticks;

// Microseconds until the timer is due; -1: there is no such source.
static int64_t due_in() {
    GSource *source = g_main_context_find_source_by_id(nullptr, timer);
    return source == nullptr ? -1 : g_source_get_ready_time(source) - g_get_monotonic_time();
}

constexpr int64_t SECOND = 1000000; // in microseconds

static gboolean end_loop(gpointer) {
    gtk_main_quit();
    return TRUE;
}

// For so long, or until somebody ends it.
static void run_loop(unsigned longest_ms) {
    guint end = g_timeout_add(longest_ms, end_loop, nullptr);
    gtk_main();
    g_source_remove(end);
}

static void stop_timer() {
    gtk_timeout_remove(timer);
    timer = 0;
}

TEST(Timer, IsDueAfterItsPeriod) {
    open({});
    EXPECT_EQ(timer, 0u);
    for (uint32_t period_s : {1u, 5u, 60u, 300u, 86400u, 4294967u}) {
        start_timer(period_s);
        EXPECT_NE(timer, 0u);
        EXPECT_LE(due_in(), period_s * SECOND) << period_s;
        EXPECT_GT(due_in(), (period_s - 1) * SECOND) << period_s;
        stop_timer();
    }
}

// Milliseconds of these do not fit into the toolkit's 32 bits; they are the longest that do, 49 days.
TEST(Timer, HugePeriodsAreNoShortOnes) {
    open({});
    for (uint32_t period_s : {4294968u, 5000000u, 0x80000000u, 0xFFFFFFFFu}) {
        start_timer(period_s);
        EXPECT_GT(due_in(), 4294900 * SECOND) << period_s;
        stop_timer();
    }
}

static int end_at_the_second() {
    if (++ticks == 2)
        gtk_main_quit();
    return 1;
}

TEST(Timer, CallsTheTickAgainAndAgain) {
    open({});
    tick = end_at_the_second;
    ticks = 0;
    start_timer(1);
    guint id = timer;
    int64_t start = g_get_monotonic_time();
    run_loop(20000);
    EXPECT_EQ(ticks, 2);
    EXPECT_GE(g_get_monotonic_time() - start, 2 * SECOND - SECOND / 100);
    EXPECT_LT(g_get_monotonic_time() - start, 20 * SECOND);
    EXPECT_EQ(timer, id);
    stop_timer();
}

TEST(Timer, RestartReplacesTheRunningOne) {
    open({});
    start_timer(5);
    guint old = timer;
    restart_timer(60);
    EXPECT_NE(timer, 0u);
    EXPECT_NE(timer, old);
    EXPECT_EQ(g_main_context_find_source_by_id(nullptr, old), nullptr);
    EXPECT_LE(due_in(), 60 * SECOND);
    EXPECT_GT(due_in(), 59 * SECOND);
    stop_timer();
}

TEST(Timer, RestartDoesNothingWhenNoneRuns) {
    open({});
    GSource *probe = g_idle_source_new(); // takes the next number
    guint before = g_source_attach(probe, nullptr);
    restart_timer(60);
    EXPECT_EQ(timer, 0u);
    GSource *second = g_idle_source_new();
    EXPECT_EQ(g_source_attach(second, nullptr), before + 1);
    for (GSource *source : {probe, second}) {
        g_source_destroy(source);
        g_source_unref(source);
    }
}

// From 5 to 60 seconds by the entry; the entry shows what is in force.
TEST(Timer, NewIntervalTakesEffectAtOnce) {
    prepare({});
    myspKestrel->system->Polling = 5;
    fill();
    start_timer(5);
    guint old = timer;
    gtk_entry_set_text(GTK_ENTRY(widget("entryPolling")), "60");
    EXPECT_EQ(myspKestrel->system->Polling, 60u);
    EXPECT_NE(timer, old);
    EXPECT_EQ(g_main_context_find_source_by_id(nullptr, old), nullptr);
    EXPECT_GT(due_in(), 59 * SECOND);
    updateAll();
    EXPECT_EQ(text_of(widget("entryPolling")), "60");
    stop_timer();
}

// ---- A period of 0: one tick after the other

static int count_and_update() {
    ticks++;
    return updateAll();
}

static gboolean count_expose(GtkWidget *, GdkEventExpose *, gpointer count) {
    ++*static_cast<int *>(count);
    return FALSE;
}

static void count_size(GtkWidget *, GtkAllocation *, gpointer count) { ++*static_cast<int *>(count); }

static gboolean draw_anew(gpointer count) {
    ++*static_cast<int *>(count);
    gtk_widget_queue_resize(widget("notebook1"));
    gtk_widget_queue_draw(myapp1);
    return TRUE;
}

TEST(Timer, PeriodOfZeroTicksBackToBackAndTheWindowLivesOn) {
    prepare({fan_at("Fan", 0x28)});
    answer("isa_fan 0 28", 250);
    fill();
    test_window::settle();
    int drawn = 0;
    int sized = 0;
    int timed = 0;
    g_signal_connect(myapp1, "expose-event", G_CALLBACK(count_expose), &drawn);
    g_signal_connect(widget("notebook1"), "size-allocate", G_CALLBACK(count_size), &sized);
    guint own = g_timeout_add(25, draw_anew, &timed);
    tick = count_and_update;
    ticks = 0;
    start_timer(0);
    run_loop(500);
    for (int more = 0; more < 20 && (ticks < 10 || drawn < 3 || sized < 3 || timed < 3); more++)
        run_loop(500); // a slow machine
    stop_timer();
    g_source_remove(own);
    EXPECT_GE(ticks, 10);
    EXPECT_GE(timed, 3);
    EXPECT_GE(drawn, 3);
    EXPECT_GE(sized, 3);
}
