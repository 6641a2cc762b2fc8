// The Summary page: its rows, headings, separators and images, from display records as they are.
#include "ui/summary_page.h"

#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "displays.h"
#include "support/pages.h"
#include "support/window.h"
#include "ui/palette.h"
#include "ui/windows.h"

using strings = std::vector<std::string>;
using test_window::is_shown;
using test_window::text_of;
using test_window::widget;

static void open() {
    test_pages::begin();
    test_pages::open();
}

static std::string build(const display_list &list) {
    return test_pages::printed(
        [&] { build_Summary(myapp1, list.data(), static_cast<int32_t>(list.size())); });
}

static int slots_of(const std::string &kind) { return kind == "Voltage" ? 60 : 16; }

// A line for each slot of which anything is shown.
static strings rows(const std::string &kind) {
    strings found;
    for (int slot = 0; slot < slots_of(kind); slot++) {
        std::string number = std::to_string(slot);
        std::string label = "labelSummary" + kind + number;
        std::string button = "buttonSummary" + kind + number;
        if (is_shown(label) && is_shown(button))
            found.push_back(number + " " + text_of(widget(label)) + ": " + text_of(widget(button)));
        else if (is_shown(label) || is_shown(button))
            found.push_back(number + " is half shown");
    }
    return found;
}

static strings shown_of(const std::string &prefix) {
    strings found;
    for (const char *kind : {"Fan", "Voltage", "Thermal", "Status"})
        if ((prefix != "hseparatorSummary" || kind != std::string("Status")) && is_shown(prefix + kind))
            found.push_back(kind);
    return found;
}

static strings headings() { return shown_of("labelSummary"); }
static strings separators() { return shown_of("hseparatorSummary"); }
static strings images() { return shown_of("imageSummary"); }

// The text on the button of one item.
static std::string value_of(const item_display &display) {
    static const char *const kinds[] = {"Fan", "Voltage", "Thermal", "Status"};
    build({display});
    return text_of(widget(std::string("buttonSummary") + kinds[display.cat] + "0"));
}

// ---- Rows

TEST(Summary, NothingMonitoredShowsNothing) {
    open();
    EXPECT_EQ(build({}), "");
    for (const char *kind : {"Fan", "Voltage", "Thermal", "Status"})
        EXPECT_EQ(rows(kind), strings()) << kind;
    EXPECT_EQ(headings(), strings());
    EXPECT_EQ(separators(), strings());
    EXPECT_EQ(images(), strings());
}

TEST(Summary, OneRowAnItemInItsSection) {
    open();
    EXPECT_EQ(build({status("Chassis", 0), voltage("12V", 12096), fan("Fan 1", 5400), temperature("CPU", 40),
                     fan("Fan 2", 600)}),
              "");
    EXPECT_EQ(rows("Fan"), (strings{"0 Fan 1: 5400 RPM", "1 Fan 2: 600 RPM"}));
    EXPECT_EQ(rows("Voltage"), strings{"0 12V: 12.10 V"});
    EXPECT_EQ(rows("Thermal"), strings{"0 CPU: 40'C / 104'F"});
    EXPECT_EQ(rows("Status"), strings{"0 Chassis: Good"});
    EXPECT_EQ(headings(), (strings{"Fan", "Voltage", "Thermal", "Status"}));
    EXPECT_EQ(separators(), (strings{"Fan", "Voltage", "Thermal"}));
    EXPECT_EQ(images(), strings());
}

TEST(Summary, SlotsArePackedWithMonitoredItemsAlone) {
    open();
    display_list list = {unmonitored(fan("A", 1000)), fan("B", 2000),
                         unmonitored(fan("C", 3000)), fan("D", 4000),
                         unmonitored(status("E", 0)), status("F", 0)};
    build(list);
    EXPECT_EQ(rows("Fan"), (strings{"0 B: 2000 RPM", "1 D: 4000 RPM"}));
    EXPECT_EQ(rows("Status"), strings{"0 F: Good"});
}

TEST(Summary, FlagsOtherThanOneAreNotMonitored) {
    open();
    for (uint32_t flag : {0u, 2u, 255u}) {
        item_display other = fan("Other", 100);
        other.monitor = flag;
        build({other});
        EXPECT_EQ(rows("Fan"), strings()) << flag;
        EXPECT_EQ(images(), strings()) << flag;
    }
}

TEST(Summary, ItemThatIsNotMonitoredAnyMoreLeavesNoGap) {
    open();
    display_list list = {voltage("A", 1000), voltage("B", 2000), voltage("C", 3000)};
    build(list);
    EXPECT_EQ(rows("Voltage"), (strings{"0 A: 1.00 V", "1 B: 2.00 V", "2 C: 3.00 V"}));
    list[1].monitor = 0;
    build(list);
    EXPECT_EQ(rows("Voltage"), (strings{"0 A: 1.00 V", "1 C: 3.00 V"}));
    list[0].monitor = list[2].monitor = 0;
    build(list);
    EXPECT_EQ(rows("Voltage"), strings());
    EXPECT_EQ(headings(), strings());
}

TEST(Summary, CategoriesBeyondTheFourAreSkipped) {
    open();
    for (uint32_t cat : {4u, 5u, 6u, 255u, 0xFFFFFFFFu}) {
        EXPECT_EQ(build({shown_item(cat, "Other", 1, 2, 0), fan("A", 1000)}), "") << cat;
        EXPECT_EQ(rows("Fan"), strings{"0 A: 1000 RPM"}) << cat;
        EXPECT_EQ(headings(), strings{"Fan"}) << cat;
        EXPECT_EQ(images(), strings()) << cat;
    }
}

TEST(Summary, EverySlotCanBeUsed) {
    open();
    EXPECT_EQ(build(joined({run_of(fan, "F", 16, 1000), run_of(voltage, "V", 60, 1000),
                            run_of(temperature, "T", 16, 20), run_of(status, "S", 16, -20)})),
              "");
    strings fans, voltages, temperatures, states;
    for (int i = 0; i < 16; i++) {
        std::string slot = std::to_string(i);
        fans.push_back(slot + " F " + slot + ": " + std::to_string(1000 + i) + " RPM");
        states.push_back(slot + " S " + slot + ": Good");
    }
    EXPECT_EQ(rows("Fan"), fans);
    EXPECT_EQ(rows("Voltage").size(), 60u);
    EXPECT_EQ(rows("Voltage").back(), "59 V 59: 1.06 V"); // 1059 mV
    EXPECT_EQ(rows("Thermal").size(), 16u);
    EXPECT_EQ(rows("Thermal").back(), "15 T 15: 35'C / 95'F");
    EXPECT_EQ(rows("Status"), states);
}

// ---- Texts

struct text_case {
    int64_t value;
    const char *text;
};

TEST(SummaryText, Fans) {
    open();
    static const text_case cases[] = {
        {0, "0 RPM"}, {1, "1 RPM"}, {5400, "5400 RPM"}, {1350000, "1350000 RPM"}};
    for (const text_case &c : cases)
        EXPECT_EQ(value_of(fan("Fan", c.value)), c.text) << c.value;
}

// Half a hundredth goes by the single-precision number nearest to the quotient: of 1.065 and 12.095 it lies
// above, of 0.005 and 12.105 below.
TEST(SummaryText, Voltages) {
    open();
    static const text_case cases[] = {
        {0, "0"},           {1, "0.00 V"},      {4, "0.00 V"},      {6, "0.01 V"},        {-1, "-0.00 V"},
        {1234, "1.23 V"},   {999, "1.00 V"},    {12000, "12.00 V"}, {-12000, "-12.00 V"}, {1065, "1.07 V"},
        {12095, "12.10 V"}, {12105, "12.10 V"}, {5, "0.00 V"},      {-6, "-0.01 V"}};
    for (const text_case &c : cases)
        EXPECT_EQ(value_of(voltage("Volt", c.value)), c.text) << c.value;
}

// Celsius × 9 / 5 + 32, the quotient truncated towards zero.
TEST(SummaryText, Temperatures) {
    open();
    static const text_case cases[] = {{0, "N/A"},
                                      {40, "40'C / 104'F"},
                                      {-5, "-5'C / 23'F"},
                                      {1, "1'C / 33'F"},    // 9 / 5 = 1
                                      {4, "4'C / 39'F"},    // 36 / 5 = 7
                                      {-1, "-1'C / 31'F"},  // -9 / 5 = -1
                                      {-18, "-18'C / 0'F"}, // -162 / 5 = -32
                                      {127, "127'C / 260'F"}};
    for (const text_case &c : cases)
        EXPECT_EQ(value_of(temperature("Temp", c.value)), c.text) << c.value;
}

TEST(SummaryText, WordOfTheChipReplacesDegreesButNotNA) {
    open();
    EXPECT_EQ(value_of(worded(temperature("CPU", 40), "Medium")), "Medium");
    EXPECT_EQ(value_of(worded(temperature("CPU", -40), "Low")), "Low");
    EXPECT_EQ(value_of(worded(temperature("CPU", 0), "Low")), "N/A");
    item_display silent = worded(temperature("CPU", 40), "Medium");
    silent.thermal_text_supported = 0;
    EXPECT_EQ(value_of(silent), "40'C / 104'F");
}

TEST(SummaryText, StatusIsBadForOneAlone) {
    open();
    static const text_case cases[] = {{1, "Bad"}, {0, "Good"}, {2, "Good"}, {3, "Good"}, {-1, "Good"}};
    for (const text_case &c : cases)
        EXPECT_EQ(value_of(status("Chassis", c.value)), c.text) << c.value;
}

TEST(SummaryText, NewValuesAndNamesReplaceTheOldOnes) {
    open();
    build({fan("A", 1000), status("S", 0)});
    build({fan("B", 2000), status("T", 1)});
    EXPECT_EQ(rows("Fan"), strings{"0 B: 2000 RPM"});
    EXPECT_EQ(rows("Status"), strings{"0 T: Bad"});
}

TEST(SummaryText, NamesInUtf8AndOthers) {
    open();
    std::string longest(39, 'n');
    build({fan("L\xC3\xBC"
               "fter",
               1000),
           fan("L\xFC"
               "fter",
               1000),
           fan(longest, 1000), status("<b>&", 0)});
    EXPECT_EQ(rows("Fan"), (strings{"0 L\xC3\xBC"
                                    "fter: 1000 RPM",
                                    "1 L\xEF\xBF\xBD"
                                    "fter: 1000 RPM",
                                    "2 " + longest + ": 1000 RPM"}));
    EXPECT_EQ(rows("Status"), strings{"0 <b>&: Good"});
    build({worded(temperature("CPU", 40), "Lo\xFF")});
    EXPECT_EQ(rows("Thermal"), strings{"0 CPU: Lo\xEF\xBF\xBD"});
    EXPECT_EQ(test_window::take_warnings(), strings());
}

// ---- Buttons

static bool is_sensitive(const char *name) { return gtk_widget_get_sensitive(widget(name)) != FALSE; }

TEST(Summary, RefreshMakesShownStatusButtonsSensitiveAgain) {
    open();
    build({status("A", 0), status("B", 1), status("C", 2)});
    for (const char *button : {"buttonSummaryStatus0", "buttonSummaryStatus1", "buttonSummaryStatus2"})
        gtk_widget_set_sensitive(widget(button), FALSE);
    build({status("A", 0), status("B", 1), status("C", 2)});
    for (const char *button : {"buttonSummaryStatus0", "buttonSummaryStatus1", "buttonSummaryStatus2"})
        EXPECT_TRUE(is_sensitive(button)) << button;
}

TEST(Summary, ButtonsOfOtherSectionsAreLeftAsTheyAre) {
    open();
    static const char *const buttons[] = {"buttonSummaryFan0", "buttonSummaryVoltage0",
                                          "buttonSummaryThermal0"};
    for (const char *button : buttons)
        gtk_widget_set_sensitive(widget(button), FALSE);
    build({fan("A", 1000), voltage("B", 1000), temperature("C", 40)});
    for (const char *button : buttons)
        EXPECT_FALSE(is_sensitive(button)) << button;
}

// ---- Headings, separators, images

// Which sections have a row, and between which of them there is a separator.
TEST(Summary, SeparatorsStandOnlyBetweenSectionsWithRows) {
    open();
    static const struct {
        strings sections;
        strings separators;
    } cases[] = {
        {{"Fan"}, {}},
        {{"Voltage"}, {}},
        {{"Thermal"}, {}},
        {{"Status"}, {}},
        {{"Fan", "Voltage"}, {"Fan"}},
        {{"Fan", "Thermal"}, {"Fan"}},
        {{"Fan", "Status"}, {"Fan"}},
        {{"Voltage", "Thermal"}, {"Voltage"}},
        {{"Voltage", "Status"}, {"Voltage"}},
        {{"Thermal", "Status"}, {"Thermal"}},
        {{"Fan", "Voltage", "Thermal"}, {"Fan", "Voltage"}},
        {{"Fan", "Voltage", "Status"}, {"Fan", "Voltage"}},
        {{"Fan", "Thermal", "Status"}, {"Fan", "Thermal"}},
        {{"Voltage", "Thermal", "Status"}, {"Voltage", "Thermal"}},
        {{"Fan", "Voltage", "Thermal", "Status"}, {"Fan", "Voltage", "Thermal"}},
        {{}, {}},
    };
    for (const auto &c : cases) {
        display_list list;
        std::string input;
        for (const std::string &section : c.sections) {
            uint32_t cat = section == "Fan"       ? CAT_FAN
                           : section == "Voltage" ? CAT_VOLTAGE
                           : section == "Thermal" ? CAT_TEMP
                                                  : CAT_SWITCH;
            list.push_back(shown_item(cat, "Item", 0, 20, -20));
            input += section + " ";
        }
        build(list);
        EXPECT_EQ(headings(), c.sections) << input;
        EXPECT_EQ(separators(), c.separators) << input;
    }
}

TEST(Summary, ItemsThatAreNotMonitoredCallForNoSeparator) {
    open();
    build({fan("A", 1000), unmonitored(voltage("B", 1000)), unmonitored(temperature("C", 20)),
           unmonitored(status("D", 0))});
    EXPECT_EQ(headings(), strings{"Fan"});
    EXPECT_EQ(separators(), strings());
}

// Each has one item; a value equal to a limit is abnormal.
TEST(Summary, AbnormalItemShowsItsSectionsImage) {
    open();
    static const struct {
        item_display display;
        strings images;
    } cases[] = {
        {fan("Fan", 500), {"Fan"}},
        {fan("Fan", 501), {}},
        {voltage("Volt", 20000), {"Voltage"}},
        {voltage("Volt", 19999), {}},
        {voltage("Volt", -20000), {"Voltage"}},
        {temperature("Temp", 70), {"Thermal"}},
        {temperature("Temp", 69), {}},
        {worded(temperature("Temp", 40), "OVERheat"), {"Thermal"}},
        {worded(temperature("Temp", 40), "High"), {}},
        {status("State", 0), {}},
        {status("State", 1), {"Status"}},
        {status("State", 2), {"Status"}}, // abnormal, though the button says "Good"
    };
    for (const auto &c : cases) {
        build({c.display});
        EXPECT_EQ(images(), c.images) << c.display.name << " " << c.display.value;
    }
}

TEST(Summary, OneAbnormalItemAmongNormalOnesIsEnough) {
    open();
    build({fan("A", 100), fan("B", 1000), voltage("C", 1000), voltage("D", 20001), status("E", 0)});
    EXPECT_EQ(images(), (strings{"Fan", "Voltage"}));
}

TEST(Summary, ImageGoesWhenAllIsWellAgainOrNotMonitored) {
    open();
    build({fan("A", 100), status("B", 1)});
    EXPECT_EQ(images(), (strings{"Fan", "Status"}));
    build({fan("A", 1000), unmonitored(status("B", 1))});
    EXPECT_EQ(images(), strings());
}

// ---- More items than slots

struct crowd_case {
    item_display (*make)(const std::string &name, int64_t value);
    const char *kind;
    unsigned slots;
    const char *message;
};

static const crowd_case crowds[] = {
    {fan, "Fan", 16, " build_Summary(): idxFan out of range. \n"},
    {voltage, "Voltage", 60, " build_Summary(): idxVoltage out of range. \n"},
    {temperature, "Thermal", 16, " build_Summary(): idxThermal out of range. \n"},
    {status, "Status", 16, " build_Summary(): idxStatus out of range. \n"},
};

TEST(Summary, OneItemTooManyIsSaidOnEveryRefreshAndItsSectionStaysFilled) {
    open();
    for (const crowd_case &c : crowds) {
        display_list list = run_of(c.make, "Item", c.slots + 2, 0);
        EXPECT_EQ(build(list), c.message);
        EXPECT_EQ(build(list), c.message) << "again";
        EXPECT_EQ(rows(c.kind).size(), c.slots) << c.kind;
        EXPECT_EQ(headings(), strings()) << c.kind;
        EXPECT_EQ(separators(), strings()) << c.kind;
        list.resize(c.slots);
        EXPECT_EQ(build(list), "") << c.kind;
        EXPECT_EQ(headings(), strings{c.kind});
        build({});
    }
}

TEST(Summary, ItemsThatAreNotMonitoredAreNotTooMany) {
    open();
    for (const crowd_case &c : crowds) {
        display_list list = run_of(c.make, "Item", c.slots + 4, 0);
        for (unsigned i : {0u, 3u, 7u, c.slots})
            list[i].monitor = 0;
        EXPECT_EQ(build(list), "") << c.kind;
        EXPECT_EQ(rows(c.kind).size(), c.slots) << c.kind;
        EXPECT_EQ(rows(c.kind)[0].substr(0, 9), "0 Item 1:") << c.kind;
        build({});
    }
}

TEST(Summary, RefreshEndsAtTheFirstItemTooMany) {
    open();
    build({fan("Old", 1000), voltage("Old volt", 1000), status("Old state", 0), status("Another", 0)});
    EXPECT_EQ(headings(), (strings{"Fan", "Voltage", "Status"}));
    display_list list = joined({{status("Before", 1)},
                                run_of(fan, "Fan", 17, 1000),
                                {voltage("Behind", 30000), status("Behind", 0)}});
    EXPECT_EQ(build(list), " build_Summary(): idxFan out of range. \n");
    EXPECT_EQ(rows("Fan").size(), 16u);
    EXPECT_EQ(rows("Fan")[15], "15 Fan 15: 1015 RPM");
    EXPECT_EQ(rows("Status"), (strings{"0 Before: Bad", "1 Another: Good"})); // the second one as it was
    EXPECT_EQ(rows("Voltage"), strings{"0 Old volt: 1.00 V"});
    EXPECT_EQ(images(), strings{"Status"}); // of what was walked; the voltage after it was not judged
    EXPECT_EQ(headings(), strings());
    EXPECT_EQ(separators(), strings());
}

TEST(Summary, ImagesOfTheRefreshBeforeDoNotOutliveATooLongTable) {
    open();
    build({voltage("V", 30000)});
    EXPECT_EQ(images(), strings{"Voltage"});
    build(run_of(fan, "Fan", 17, 1000));
    EXPECT_EQ(images(), strings());
}

// ---- Palette

TEST(Palette, Colours) {
    static const struct {
        const char *name;
        const GdkColor &colour;
        unsigned red, green, blue;
    } cases[] = {
        {"LightBlue", LightBlue, 0x0000, 0x8000, 0xFFFF},
        {"Orange", Orange, 0xFFFF, 0x8000, 0x0000},
        {"Yellow", Yellow, 0xFFFF, 0xFFFF, 0x0000},
        {"LightYellow", LightYellow, 0xD903, 0xD903, 0x0000},
        {"White", White, 0xFFFF, 0xFFFF, 0xFFFF},
        {"Black", Black, 0x0000, 0x0000, 0x0000},
    };
    for (const auto &c : cases) {
        EXPECT_EQ(c.colour.pixel, 0u) << c.name;
        EXPECT_EQ(c.colour.red, c.red) << c.name;
        EXPECT_EQ(c.colour.green, c.green) << c.name;
        EXPECT_EQ(c.colour.blue, c.blue) << c.name;
    }
}

TEST(Summary, NoColourDependsOnAState) {
    open();
    for (const char *heading :
         {"labelSummaryFan", "labelSummaryVoltage", "labelSummaryThermal", "labelSummaryStatus"}) {
        build({fan("A", 1000), voltage("B", 1000), temperature("C", 20), status("D", 0)});
        GdkColor before = gtk_widget_get_style(widget(heading))->fg[GTK_STATE_NORMAL];
        build({fan("A", 0), voltage("B", 90000), temperature("C", 90), status("D", 1)});
        GdkColor after = gtk_widget_get_style(widget(heading))->fg[GTK_STATE_NORMAL];
        EXPECT_TRUE(gdk_color_equal(&before, &after)) << heading;
    }
}

// ---- Tooltips

static std::string tooltip_of(const std::string &name) {
    char *text = gtk_widget_get_tooltip_text(widget(name));
    std::string found = text != nullptr ? text : "none";
    g_free(text);
    return found;
}

TEST(SummaryTooltip, SaysWhatAClickOnAStatusDoes) {
    open();
    for (unsigned slot = 0; slot < 16; slot++) {
        std::string number = std::to_string(slot);
        EXPECT_EQ(tooltip_of("buttonSummaryStatus" + number), slot < 8 ? "A click clears the latch" : "none");
        EXPECT_EQ(tooltip_of("buttonSummaryFan" + number), "none");
    }
}

TEST(SummaryTooltip, TellsANameThatIsCut) {
    open();
    const std::string long_name = "A name of thirty-nine characters, no. 1";
    build({fan(long_name, 1000), fan("CPU1 Core A Temperature", 1000)});
    EXPECT_EQ(tooltip_of("labelSummaryFan0"), long_name);
    EXPECT_EQ(tooltip_of("labelSummaryFan1"), "none");
    build({fan("Fan 1", 1000), fan(long_name, 1000)});
    EXPECT_EQ(tooltip_of("labelSummaryFan0"), "none");
    EXPECT_EQ(tooltip_of("labelSummaryFan1"), long_name);
}
