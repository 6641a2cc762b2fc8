// The chart pages: rows, texts, separators, images, and the two numberings of slots and histories.
#include "ui/chart_pages.h"

#include <algorithm>
#include <cmath>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "displays.h"
#include "items/history.h"
#include "support/pages.h"
#include "support/window.h"
#include "ui/windows.h"

using strings = std::vector<std::string>;
using floats = std::vector<float>;
using test_window::is_shown;
using test_window::text_of;
using test_window::widget;

struct page_case {
    std::string kind;
    void (*build)(GtkWidget *window, const item_display *displays, int32_t count);
    item_display (*make)(const std::string &name, int64_t value);
    uint32_t cat;
    unsigned slots;
    float (*histories)[HISTORY_LENGTH];
    const char *message; // with one item too many
};

static const page_case pages[] = {
    {"Fan", build_Fan, fan, CAT_FAN, 16, vectorFan, " build_Fan(): idxMonitingFan out of range. \n"},
    {"Voltage", build_Voltage, voltage, CAT_VOLTAGE, 60, vectorVoltage,
     " build_Voltage(): idxMonitingVoltage out of range. \n"},
    {"Thermal", build_Thermal, temperature, CAT_TEMP, 16, vectorThermal,
     " build_Thermal(): idxMonitingThermal out of range. \n"},
};
static const page_case &fan_page = pages[0];
static const page_case &voltage_page = pages[1];
static const page_case &thermal_page = pages[2];

static void open() {
    test_pages::begin();
    test_pages::open();
    clear_histories();
}

static std::string build(const page_case &page, const display_list &list) {
    return test_pages::printed([&] { page.build(myapp1, list.data(), static_cast<int32_t>(list.size())); });
}

static std::string member(const page_case &page, const char *prefix, const char *suffix, unsigned slot) {
    return prefix + page.kind + suffix + std::to_string(slot);
}

// Of a slot of which all that belongs to a row is shown, otherwise what is: "!" after an abnormal one.
static std::string row(const page_case &page, unsigned slot) {
    std::string name = member(page, "label", "", slot);
    std::string reading = member(page, "label", "Reading", slot);
    std::string limit = member(page, "label", "Limit", slot);
    std::string curve = member(page, "curve", "", slot);
    std::string image = member(page, "image", "", slot);
    int shown = is_shown(name) + is_shown(reading) + is_shown(limit) + is_shown(curve);
    if (shown == 0)
        return is_shown(image) ? "an image alone" : "";
    if (shown != 4)
        return "half shown";
    return text_of(widget(name)) + ": " + text_of(widget(reading)) + ", " + text_of(widget(limit)) +
           (is_shown(image) ? " !" : "");
}

// Line n is slot n; what follows the last row must be hidden.
static strings rows(const page_case &page) {
    strings found;
    for (unsigned slot = 0; slot < page.slots; slot++)
        found.push_back(row(page, slot));
    while (!found.empty() && found.back().empty())
        found.pop_back();
    return found;
}

static strings separators(const page_case &page) {
    strings found;
    for (unsigned slot = 0; slot < page.slots; slot++)
        if (is_shown(member(page, "hseparator", "", slot)))
            found.push_back(std::to_string(slot));
    return found;
}

static std::string reading_of(const page_case &page, const item_display &display) {
    build(page, {display});
    return text_of(widget(member(page, "label", "Reading", 0)));
}

static std::string limit_of(const page_case &page, const item_display &display) {
    build(page, {display});
    return text_of(widget(member(page, "label", "Limit", 0)));
}

// ---- Rows

TEST(Charts, NothingOfTheCategoryShowsNothing) {
    open();
    for (const page_case &page : pages) {
        EXPECT_EQ(build(page, {}), "") << page.kind;
        EXPECT_EQ(rows(page), strings()) << page.kind;
        EXPECT_EQ(separators(page), strings()) << page.kind;
        EXPECT_EQ(build(page, {status("S", 1), shown_item(4, "X", 1, 2, 0)}), "") << page.kind;
        EXPECT_EQ(rows(page), strings()) << page.kind;
    }
}

TEST(Charts, EachPageShowsItsCategoryAlone) {
    open();
    display_list list = {status("S", 0), fan("F", 5400), shown_item(4, "X", 1, 2, 0), voltage("V", 12096),
                         temperature("T", 40)};
    for (const page_case &page : pages)
        EXPECT_EQ(build(page, list), "") << page.kind;
    EXPECT_EQ(rows(fan_page), strings{"F: 5400 RPM, Low Limit: 500 RPM"});
    EXPECT_EQ(rows(voltage_page), strings{"V: 12.10 V, High Limit: 20.00 V    Low Limit: -20.00 V"});
    EXPECT_EQ(rows(thermal_page), strings{"T: 40'C / 104'F, High Limit: 70'C / 158'F"});
}

TEST(Charts, SlotsArePackedWithMonitoredItemsAlone) {
    open();
    for (const page_case &page : pages) {
        display_list list = run_of(page.make, "Item", 5, 10);
        list[0].monitor = list[2].monitor = 0;
        list[4].monitor = 255; // not 1: not monitored
        build(page, list);
        ASSERT_EQ(rows(page).size(), 2u) << page.kind;
        EXPECT_EQ(rows(page)[0].substr(0, 7), "Item 1:") << page.kind;
        EXPECT_EQ(rows(page)[1].substr(0, 7), "Item 3:") << page.kind;
        list[1].monitor = 0;
        build(page, list);
        ASSERT_EQ(rows(page).size(), 1u) << page.kind;
        EXPECT_EQ(rows(page)[0].substr(0, 7), "Item 3:") << page.kind;
    }
}

TEST(Charts, EverySlotCanBeUsed) {
    open();
    for (const page_case &page : pages) {
        EXPECT_EQ(build(page, run_of(page.make, "Item", page.slots, 10)), "") << page.kind;
        ASSERT_EQ(rows(page).size(), page.slots) << page.kind;
        for (unsigned slot = 0; slot < page.slots; slot++)
            EXPECT_EQ(rows(page)[slot].find("Item " + std::to_string(slot) + ":"), 0u)
                << page.kind << " " << slot;
    }
}

TEST(Charts, SeparatorsStandBetweenRowsOnly) {
    open();
    for (const page_case &page : pages) {
        strings between;
        for (unsigned count : {1u, 2u, 3u, 4u}) {
            build(page, run_of(page.make, "Item", count, 10));
            EXPECT_EQ(separators(page), between) << page.kind << " " << count;
            between.push_back(std::to_string(count - 1));
        }
        build(page, run_of(page.make, "Item", page.slots, 10));
        EXPECT_EQ(separators(page).size(), page.slots - 1) << page.kind;
        EXPECT_EQ(separators(page).back(), std::to_string(page.slots - 2)) << page.kind;
        build(page, run_of(page.make, "Item", 2, 10));
        EXPECT_EQ(separators(page), strings{"0"}) << page.kind << ", fewer than before";
        build(page, {});
        EXPECT_EQ(separators(page), strings()) << page.kind << ", no longer any";
    }
}

TEST(Charts, AbnormalItemShowsItsOwnImage) {
    open();
    for (const page_case &page : pages) {
        display_list list = run_of(page.make, "Item", 3, 0);
        for (item_display &display : list) {
            display.high_limit = 100;
            display.low_limit = 20;
            display.value = 60;
        }
        list[1].value = page.cat == CAT_FAN ? 20 : 100; // equal to the limit
        build(page, list);
        ASSERT_EQ(rows(page).size(), 3u) << page.kind;
        EXPECT_EQ(rows(page)[0].back() == '!', false) << page.kind;
        EXPECT_EQ(rows(page)[1].back() == '!', true) << page.kind;
        EXPECT_EQ(rows(page)[2].back() == '!', false) << page.kind;
        list[1].value = 60;
        build(page, list);
        EXPECT_EQ(rows(page)[1].back() == '!', false) << page.kind << ", well again";
    }
}

TEST(Charts, ImageDoesNotStayInASlotThatIsEmptyOrAnothersNow) {
    open();
    for (const page_case &page : pages) {
        item_display bad = page.make("Bad", 30000);
        if (page.cat == CAT_FAN)
            bad.value = 0;
        build(page, {bad, page.make("Good", 600)});
        item_display good = page.make("Good", page.cat == CAT_TEMP ? 60 : 600);
        build(page, {unmonitored(bad), good});
        ASSERT_EQ(rows(page).size(), 1u) << page.kind;
        EXPECT_NE(rows(page)[0].back(), '!') << page.kind;
        build(page, {});
        EXPECT_EQ(rows(page), strings()) << page.kind;
    }
}

TEST(Charts, NamesInUtf8AndOthers) {
    open();
    std::string longest(39, 'n');
    for (const page_case &page : pages) {
        build(page, {page.make("L\xC3\xBC"
                               "fter",
                               600),
                     page.make("L\xFC"
                               "fter",
                               600),
                     page.make(longest, 600), page.make("<b>&", 600)});
        EXPECT_EQ(text_of(widget(member(page, "label", "", 0))), "L\xC3\xBC"
                                                                 "fter");
        EXPECT_EQ(text_of(widget(member(page, "label", "", 1))), "L\xEF\xBF\xBD"
                                                                 "fter");
        EXPECT_EQ(text_of(widget(member(page, "label", "", 2))), longest);
        EXPECT_EQ(text_of(widget(member(page, "label", "", 3))), "<b>&");
    }
    EXPECT_EQ(test_window::take_warnings(), strings());
}

// ---- Texts

struct text_case {
    int64_t value;
    const char *text;
};

TEST(ChartText, Fans) {
    open();
    static const text_case readings[] = {{0, "0 RPM"}, {5400, "5400 RPM"}, {1350000, "1350000 RPM"}};
    for (const text_case &c : readings)
        EXPECT_EQ(reading_of(fan_page, fan("Fan", c.value)), c.text) << c.value;
    static const text_case limits[] = {
        {0, "Low Limit: 0 RPM"}, {712, "Low Limit: 712 RPM"}, {675000, "Low Limit: 675000 RPM"}};
    for (const text_case &c : limits)
        EXPECT_EQ(limit_of(fan_page, shown_item(CAT_FAN, "Fan", 5400, 9999, c.value)), c.text) << c.value;
}

// Half a hundredth goes by the single-precision number nearest to the quotient: of 1.065 and 12.095 it lies
// above, of 0.005 and 12.105 below.
TEST(ChartText, Voltages) {
    open();
    static const text_case readings[] = {{0, "0.00 V"},    {1234, "1.23 V"},   {-12000, "-12.00 V"},
                                         {1065, "1.07 V"}, {12095, "12.10 V"}, {12105, "12.10 V"},
                                         {5, "0.00 V"},    {-1, "-0.00 V"}};
    for (const text_case &c : readings)
        EXPECT_EQ(reading_of(voltage_page, voltage("Volt", c.value)), c.text) << c.value;
    static const struct {
        int64_t high;
        int64_t low;
        const char *text;
    } limits[] = {
        {12600, 11400, "High Limit: 12.60 V    Low Limit: 11.40 V"},
        {0, 0, "High Limit: 0.00 V    Low Limit: 0.00 V"},
        {-10800, -13200, "High Limit: -10.80 V    Low Limit: -13.20 V"},
        {12095, 12105, "High Limit: 12.10 V    Low Limit: 12.10 V"},
        {1065, 5, "High Limit: 1.07 V    Low Limit: 0.00 V"},
    };
    for (const auto &c : limits)
        EXPECT_EQ(limit_of(voltage_page, shown_item(CAT_VOLTAGE, "Volt", 0, c.high, c.low)), c.text)
            << c.high;
}

// Celsius × 9 / 5 + 32, the quotient truncated towards zero.
TEST(ChartText, Temperatures) {
    open();
    static const text_case readings[] = {{0, "N/A"},         {40, "40'C / 104'F"}, {-5, "-5'C / 23'F"},
                                         {4, "4'C / 39'F"},  {-18, "-18'C / 0'F"}, {127, "127'C / 260'F"},
                                         {-1, "-1'C / 31'F"}};
    for (const text_case &c : readings)
        EXPECT_EQ(reading_of(thermal_page, temperature("Temp", c.value)), c.text) << c.value;
    static const text_case limits[] = {{70, "High Limit: 70'C / 158'F"},
                                       {0, "High Limit: 0'C / 32'F"},
                                       {-5, "High Limit: -5'C / 23'F"},
                                       {4, "High Limit: 4'C / 39'F"}};
    for (const text_case &c : limits)
        for (int64_t value : {0, 40}) // "N/A" changes nothing in the limit
            EXPECT_EQ(limit_of(thermal_page, shown_item(CAT_TEMP, "Temp", value, c.value, 99)), c.text)
                << c.value;
}

TEST(ChartText, WordOfTheChipReplacesDegreesButNotNA) {
    open();
    EXPECT_EQ(reading_of(thermal_page, worded(temperature("CPU", 40), "Medium")), "Medium");
    EXPECT_EQ(reading_of(thermal_page, worded(temperature("CPU", 40), "Lo\xFF")), "Lo\xEF\xBF\xBD");
    EXPECT_EQ(reading_of(thermal_page, worded(temperature("CPU", 0), "Low")), "N/A");
    EXPECT_EQ(limit_of(thermal_page, worded(temperature("CPU", 40), "Low")), "High Limit: 70'C / 158'F");
    item_display silent = worded(temperature("CPU", 40), "Medium");
    silent.thermal_text_supported = 0;
    EXPECT_EQ(reading_of(thermal_page, silent), "40'C / 104'F");
    // A word is the temperatures' alone.
    EXPECT_EQ(reading_of(fan_page, worded(fan("Fan", 600), "Low")), "600 RPM");
}

TEST(ChartText, OverheatIsAbnormalAtAnyTemperature) {
    open();
    build(thermal_page, {worded(temperature("CPU", 40), "Overheat"), worded(temperature("CPU", 40), "High")});
    EXPECT_EQ(rows(thermal_page),
              (strings{"CPU: Overheat, High Limit: 70'C / 158'F !", "CPU: High, High Limit: 70'C / 158'F"}));
}

// ---- Histories

static floats history(const page_case &page, unsigned ordinal) {
    return floats(page.histories[ordinal], page.histories[ordinal] + HISTORY_LENGTH);
}

// A line of zeros that ends in these samples.
static floats ends_in(const floats &samples) {
    floats line(HISTORY_LENGTH, 0);
    std::copy(samples.begin(), samples.end(), line.end() - static_cast<long>(samples.size()));
    return line;
}

TEST(History, AppendDropsTheOldest) {
    float row[HISTORY_LENGTH + 1];
    for (unsigned i = 0; i < HISTORY_LENGTH; i++)
        row[i] = static_cast<float>(i);
    row[HISTORY_LENGTH] = -7; // after the history
    vector_append(row, 1000.5);
    for (unsigned i = 0; i < 99; i++)
        EXPECT_EQ(row[i], static_cast<float>(i + 1)) << i;
    EXPECT_EQ(row[99], 1000.5f);
    EXPECT_EQ(row[100], -7);
}

TEST(History, SizesOfTheBuffers) {
    EXPECT_EQ(sizeof vectorFan, 6400u);
    EXPECT_EQ(sizeof vectorVoltage, 24000u);
    EXPECT_EQ(sizeof vectorThermal, 6400u);
}

TEST(Charts, EveryRefreshAppendsTheReadingAsItIs) {
    open();
    for (const page_case &page : pages) {
        for (int64_t value : {5000, -12096, 0, 60})
            build(page, {page.make("Item", value)});
        EXPECT_EQ(history(page, 0), ends_in({5000, -12096, 0, 60})) << page.kind;
        EXPECT_EQ(history(page, 1), ends_in({})) << page.kind;
    }
}

TEST(Charts, HistoryHoldsTheLastHundred) {
    open();
    floats last_hundred;
    for (int value = 21; value <= 120; value++)
        last_hundred.push_back(static_cast<float>(value));
    for (const page_case &page : pages) {
        for (int value = 1; value <= 120; value++)
            build(page, {page.make("Item", value)});
        EXPECT_EQ(history(page, 0), last_hundred) << page.kind;
    }
}

// ---- The charts as the widget has them: a sample is as many of its points, and values are whole pixels of
// its height.

static bool is_seen(const page_case &page, unsigned slot) {
    std::string name = member(page, "curve", "", slot);
    return !is_shown(name) || GTK_CURVE(widget(name))->pixmap != nullptr; // made when it is drawn first
}

// The first three slots fit into the window.
static void put_on_top(const page_case &page) {
    int number = static_cast<int>(&page - pages) + 1; // after the Summary page
    gtk_notebook_set_current_page(GTK_NOTEBOOK(widget("notebook1")), number);
    ASSERT_TRUE(test_pages::wait_until([&] {
        return is_seen(page, 0) && is_seen(page, 1) && is_seen(page, 2);
    })) << page.kind;
}

// The charts of the first slots on the screen, their histories empty.
static void show_charts(const page_case &page) {
    build(page, run_of(page.make, "Item", 3, 10));
    put_on_top(page);
    clear_histories();
}

static floats drawn(const page_case &page, unsigned slot) {
    auto *chart = GTK_CURVE(widget(member(page, "curve", "", slot)));
    auto points = static_cast<unsigned>(chart->num_points);
    floats line(points);
    gtk_curve_get_vector(chart, static_cast<int>(points), line.data());
    floats samples;
    for (unsigned i = 0; i < HISTORY_LENGTH; i++)
        samples.push_back(line[(2 * i + 1) * points / (2 * HISTORY_LENGTH)]);
    return samples;
}

// Within a pixel; only the first sample that is not is reported.
static void expect_drawn(const page_case &page, unsigned slot, const floats &samples) {
    floats line = drawn(page, slot);
    floats wanted = ends_in(samples);
    unsigned i = 0;
    while (i < HISTORY_LENGTH - 1 && std::abs(line[i] - wanted[i]) < 1.1f)
        i++;
    EXPECT_NEAR(line[i], wanted[i], 1.1) << page.kind << " slot " << slot << " sample " << i;
}

TEST(Charts, ChartTakesTheWholeHistoryClippedToItsRange) {
    open();
    for (const page_case &page : pages) {
        show_charts(page);
        for (int64_t value : {30, 5000, -5, 60, 100, 101})
            build(page, {page.make("Item", value)});
        expect_drawn(page, 0, {30, 100, 0, 60, 100, 100});
        float last = drawn(page, 0)[HISTORY_LENGTH - 1];
        EXPECT_EQ(last, 100) << page.kind; // and not a pixel above
    }
}

TEST(Charts, FirstSampleIsTheRightEndOfALineOfZeros) {
    open();
    for (const page_case &page : pages) {
        build(page, {page.make("Item", 60)});
        expect_drawn(page, 0, {60});
        put_on_top(page);
        expect_drawn(page, 0, {60});
    }
}

// Refreshes while another page is on top, then a look at this one.
TEST(Charts, PageInTheBackTakesTheSame) {
    open();
    for (const page_case &page : pages) {
        for (int64_t value : {10, 60, 100, 20})
            build(page, {page.make("Item", value)});
        expect_drawn(page, 0, {10, 60, 100, 20});
        put_on_top(page);
        expect_drawn(page, 0, {10, 60, 100, 20});
        build(page, {page.make("Item", 30)});
        expect_drawn(page, 0, {10, 60, 100, 20, 30});
    }
}

// ---- The layout when a page comes on top for the first time: nothing is laid out again after that, unless a
// text changes.

// A row is 32 + 100 + 16 pixels high, and a separator 2.
TEST(Charts, FirstShowingHasRoomForTheRowsThatAreShownAlone) {
    open();
    for (const page_case &page : pages) {
        build(page, run_of(page.make, "Item", 5, 10));
        put_on_top(page);
        GtkAllocation table;
        gtk_widget_get_allocation(widget("table" + page.kind), &table);
        EXPECT_EQ(table.height, 5 * 148 + 4 * 2) << page.kind;
    }
}

static int left_of_reading(const page_case &page) {
    int x, y;
    gtk_label_get_layout_offsets(GTK_LABEL(widget(member(page, "label", "Reading", 0))), &x, &y);
    return x;
}

// Digits are equally wide, so the text is, too.
TEST(Charts, ReadingStaysWhereItIsWhenItsTextChanges) {
    open();
    for (const page_case &page : pages) {
        build(page, {page.make("Item", 62)});
        put_on_top(page);
        int left = left_of_reading(page);
        build(page, {page.make("Item", 66)});
        test_window::settle();
        EXPECT_EQ(left_of_reading(page), left) << page.kind;
    }
}

// Height, from the bottom, of the light blue line above a sample; -1: no line.
static int line_height(GtkCurve *chart, unsigned sample) {
    GdkPixbuf *picture = test_pages::picture_of(chart->pixmap);
    constexpr int MARGIN = 3; // around the line's room
    int x = MARGIN + static_cast<int>((2 * sample + 1) * static_cast<unsigned>(chart->num_points) / 200);
    int found = -1;
    for (int y = 0; y < gdk_pixbuf_get_height(picture) && found < 0; y++) {
        const guchar *pixel = gdk_pixbuf_get_pixels(picture) + y * gdk_pixbuf_get_rowstride(picture) +
                              x * gdk_pixbuf_get_n_channels(picture);
        if (pixel[0] == 0x00 && pixel[1] == 0x80 && pixel[2] == 0xFF)
            found = gdk_pixbuf_get_height(picture) - MARGIN - 1 - y;
    }
    g_object_unref(picture);
    return found;
}

// 5000 rpm at the top, 60 at 60 % of the height, in the colour of insensitive text.
TEST(Charts, LineIsDrawnAtTheHeightOfItsSamples) {
    open();
    auto *chart = GTK_CURVE(widget("curveFan0"));
    GdkColor light_blue = {0, 0x0000, 0x8000, 0xFFFF};
    gtk_widget_modify_fg(GTK_WIDGET(chart), GTK_STATE_INSENSITIVE, &light_blue);
    show_charts(fan_page);
    for (int i = 0; i < 50; i++)
        build(fan_page, {fan("Fan", 5000)});
    for (int i = 0; i < 50; i++)
        build(fan_page, {fan("Fan", 60)});
    test_window::settle();
    int highest = chart->height - 1;
    EXPECT_NEAR(line_height(chart, 20), highest, 1);
    EXPECT_NEAR(line_height(chart, 80), highest * 0.6, 1);
}

// ---- Two numberings

TEST(Charts, SlotCountsMonitoredItemsAndHistoryAllOfTheCategory) {
    open();
    for (const page_case &page : pages) {
        show_charts(page);
        // Another category between them counts for neither.
        build(page,
              {unmonitored(page.make("A", 10)), status("S", 0), page.make("B", 20), page.make("C", 30)});
        EXPECT_EQ(history(page, 0), ends_in({})) << page.kind;
        EXPECT_EQ(history(page, 1), ends_in({20})) << page.kind;
        EXPECT_EQ(history(page, 2), ends_in({30})) << page.kind;
        ASSERT_EQ(rows(page).size(), 2u) << page.kind;
        EXPECT_EQ(rows(page)[0].substr(0, 2), "B:") << page.kind;
        EXPECT_EQ(rows(page)[1].substr(0, 2), "C:") << page.kind;
        expect_drawn(page, 0, {20});
        expect_drawn(page, 1, {30});
    }
}

TEST(Charts, HistoryFollowsItsItemIntoAnotherSlot) {
    open();
    for (const page_case &page : pages) {
        show_charts(page);
        display_list list = {page.make("A", 10), page.make("B", 20)};
        build(page, list);
        expect_drawn(page, 1, {20});
        list[0].monitor = 0;
        list[0].value = 15;
        list[1].value = 25;
        build(page, list);
        expect_drawn(page, 0, {20, 25});
        EXPECT_EQ(history(page, 0), ends_in({10})) << page.kind << ": frozen";
        EXPECT_EQ(history(page, 1), ends_in({20, 25})) << page.kind;
        list[0].monitor = 1;
        build(page, list);
        expect_drawn(page, 0, {10, 15});
        expect_drawn(page, 1, {20, 25, 25});
    }
}

TEST(Charts, OtherPagesHistoriesAreLeftAlone) {
    open();
    display_list list = {fan("F", 1), voltage("V", 2), temperature("T", 3)};
    for (const page_case &page : pages) {
        clear_histories();
        build(page, list);
        for (const page_case &other : pages)
            EXPECT_EQ(history(other, 0)[99] != 0, page.kind == other.kind) << page.kind << other.kind;
    }
}

// ---- More items than slots

TEST(Charts, OneItemTooManyIsSaidOnEveryRefreshAndThePageStaysFilled) {
    open();
    for (const page_case &page : pages) {
        display_list list = run_of(page.make, "Item", page.slots + 2, 600);
        EXPECT_EQ(build(page, list), page.message);
        EXPECT_EQ(build(page, list), page.message) << "again";
        ASSERT_EQ(rows(page).size(), page.slots) << page.kind;
        std::string last = "Item " + std::to_string(page.slots - 1) + ":";
        EXPECT_EQ(rows(page)[page.slots - 1].find(last), 0u) << rows(page)[page.slots - 1];
        EXPECT_EQ(separators(page).size(), page.slots - 1) << page.kind;
        for (unsigned i = 0; i < page.slots; i++)
            EXPECT_EQ(history(page, i),
                      ends_in({600.f + static_cast<float>(i), 600.f + static_cast<float>(i)}))
                << page.kind << " " << i;
    }
}

// Items beyond the histories have no history; those before them keep theirs, whatever is monitored.
TEST(Charts, ItemsBeyondTheHistoriesAreShownWithoutOne) {
    open();
    for (const page_case &page : pages) {
        display_list list = run_of(page.make, "Item", page.slots + 3, 10);
        for (item_display &display : list)
            display.monitor = 0;
        list[0].monitor = list[page.slots].monitor = list[page.slots + 2].monitor = 1;
        EXPECT_EQ(build(page, list), "") << page.kind;
        ASSERT_EQ(rows(page).size(), 3u) << page.kind;
        EXPECT_EQ(rows(page)[2].find("Item " + std::to_string(page.slots + 2) + ":"), 0u) << page.kind;
        EXPECT_EQ(history(page, 0), ends_in({10})) << page.kind;
        for (unsigned i = 1; i < page.slots; i++)
            EXPECT_EQ(history(page, i), ends_in({})) << page.kind << " " << i;
    }
    // Nothing ran over into the buffers' neighbours either.
    for (const page_case &page : pages)
        EXPECT_EQ(history(page, 0), ends_in({10})) << page.kind;
}

// The slot was another item's before.
TEST(Charts, ItemBeyondTheHistoriesDoesNotShowAnothersLine) {
    open();
    for (const page_case &page : pages) {
        show_charts(page);
        display_list list = run_of(page.make, "Item", page.slots + 1, 50);
        for (item_display &display : list)
            display.monitor = 0;
        list[0].monitor = 1;
        build(page, list);
        expect_drawn(page, 0, {50});
        list[0].monitor = 0;
        list[page.slots].monitor = 1;
        build(page, list);
        expect_drawn(page, 0, {});
    }
}

TEST(Charts, ItemsThatAreNotMonitoredAreNotTooMany) {
    open();
    for (const page_case &page : pages) {
        display_list list = run_of(page.make, "Item", page.slots + 1, 600);
        list[5].monitor = 0;
        EXPECT_EQ(build(page, list), "") << page.kind;
        EXPECT_EQ(rows(page).size(), page.slots) << page.kind;
        EXPECT_EQ(history(page, 5), ends_in({})) << page.kind;
        EXPECT_EQ(history(page, page.slots - 1)[99], 600 + page.slots - 1) << page.kind;
        list.push_back(list.back());
        list.push_back(unmonitored(list.back()));
        EXPECT_EQ(build(page, list), page.message);
    }
}
