// States are kept for the life of the process. ctest gives each test one of its own; so that they also run in
// one, tests begin by making all states normal. The first must not.

#include "items/changes.h"

#include <cstdlib>
#include <ctime>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "items/records.h"

// Monday, 16 November 2026, 03:05:35: 20773 days, 3 hours, 5 minutes and 35 seconds after the beginning of
// 1970.
constexpr time_t NOW = 20773 * 86400LL + 11135;

// The weekdays come back every 400 years, that is 146097 days; here 5 million times after 2000.
constexpr time_t YEAR_2000002000 = 946684800 + 5000000LL * 146097 * 86400;

static const char *const AT_NOW = "at Mon Nov 16 03:05:35 2026\n";

static void live_in(const char *zone) {
    setenv("TZ", zone, 1);
    tzset();
}

// Items of each category whose readings decide: rpm above 600, 11400 to 12600 mV, below 75 degrees, a switch.
static item_display item(const char *name, uint32_t cat, int64_t value) {
    item_display display = {};
    set_text(display.name, name);
    display.cat = cat;
    display.value = value;
    display.monitor = 1;
    display.high_limit = cat == CAT_TEMP ? 75 : 12600;
    display.low_limit = cat == CAT_FAN ? 600 : 11400;
    return display;
}

static item_display fan(const char *name, int64_t rpm) { return item(name, CAT_FAN, rpm); }
static item_display voltage(const char *name, int64_t mv) { return item(name, CAT_VOLTAGE, mv); }
static item_display temperature(const char *name, int64_t degrees) { return item(name, CAT_TEMP, degrees); }
static item_display chassis(const char *name, int64_t state) { return item(name, CAT_SWITCH, state); }

static item_display unmonitored(item_display display) {
    display.monitor = 0;
    return display;
}

typedef std::vector<item_display> displays;

struct noted {
    change_result result;
    std::string text; // "before" when it was left alone
    uint32_t category;
};

static noted note(const displays &items) {
    live_in("UTC0");
    std::string text = "before";
    noted got = {NOTHING_CHANGED, "", 77};
    got.result = note_changes(items.data(), static_cast<int32_t>(items.size()), NOW, &text, &got.category);
    got.text = text;
    return got;
}

static void expect_text(const displays &items, const std::string &lines, const std::string &what = "") {
    noted got = note(items);
    EXPECT_EQ(got.result, STATES_CHANGED) << what;
    EXPECT_EQ(got.text, lines + AT_NOW) << what;
    EXPECT_EQ(got.category, 77u) << what;
}

static void expect_nothing(const displays &items, const std::string &what = "") {
    noted got = note(items);
    EXPECT_EQ(got.result, NOTHING_CHANGED) << what;
    EXPECT_EQ(got.text, "before") << what;
    EXPECT_EQ(got.category, 77u) << what;
}

static displays many(const item_display &display, size_t count) { return displays(count, display); }

static displays together(const std::vector<displays> &parts) {
    displays all;
    for (const displays &part : parts)
        all.insert(all.end(), part.begin(), part.end());
    return all;
}

// How many states are kept of each category, and readings that are good and bad.
static const struct {
    uint32_t cat;
    size_t places;
    int64_t good;
    int64_t bad;
} bounds[] = {
    {CAT_FAN, 16, 1000, 0}, {CAT_VOLTAGE, 60, 12000, 0}, {CAT_TEMP, 16, 40, 80}, {CAT_SWITCH, 16, 0, 1}};

// As many unmonitored items as states are kept of.
static void begin_normal() {
    note(together({many(unmonitored(fan("", 0)), 16), many(unmonitored(voltage("", 0)), 60),
                   many(unmonitored(temperature("", 0)), 16), many(unmonitored(chassis("", 0)), 16)}));
}

// ---- First of all: the states of a process that has just begun

TEST(NoteChanges, AtTheStartAllStatesAreNormal) {
    displays items = together({many(fan("Good fan", 601), 15),
                               {fan("Bad fan", 600)},
                               many(voltage("Good voltage", 12000), 59),
                               {voltage("Bad voltage", 12600)},
                               many(temperature("Good temperature", 74), 15),
                               {temperature("Bad temperature", 75)},
                               many(chassis("Good chassis", 0), 15),
                               {chassis("Bad chassis", 1)}});
    expect_text(items, "Bad fan Failed(Bad)!\nBad voltage Failed(Bad)!\nBad temperature Failed(Bad)!\n"
                       "Bad chassis Failed(Bad)!\n");
    expect_nothing(items);
}

// ---- What is a change

TEST(NoteChanges, EachCategoryInBothDirections) {
    const struct {
        uint32_t cat;
        int64_t good;
        int64_t bad;
    } rows[] = {
        {CAT_FAN, 601, 600},     {CAT_VOLTAGE, 12599, 12600}, {CAT_VOLTAGE, 11401, 11400},
        {CAT_VOLTAGE, 12000, 0}, {CAT_TEMP, 74, 75},          {CAT_TEMP, -5, 127},
        {CAT_SWITCH, 0, 1},      {CAT_SWITCH, 0, 2},
    };
    for (const auto &row : rows) {
        const std::string what = std::to_string(row.cat) + " " + std::to_string(row.bad);
        begin_normal();
        expect_nothing({item("It", row.cat, row.good)}, what);
        expect_text({item("It", row.cat, row.bad)}, "It Failed(Bad)!\n", what);
        expect_nothing({item("It", row.cat, row.bad)}, what);
        expect_text({item("It", row.cat, row.good)}, "It OK(Good)!\n", what);
        expect_nothing({item("It", row.cat, row.good)}, what);
    }
}

TEST(NoteChanges, StateThatHoldsIsSaidOnce) {
    begin_normal();
    expect_text({chassis("Chassis", 1)}, "Chassis Failed(Bad)!\n");
    for (int tick = 0; tick < 10; tick++)
        expect_nothing({chassis("Chassis", tick % 2 == 0 ? 2 : 1)}); // both abnormal
    expect_text({chassis("Chassis", 0)}, "Chassis OK(Good)!\n");
}

TEST(NoteChanges, OverheatIsAbnormalWhateverTheDegrees) {
    begin_normal();
    item_display cpu = temperature("CPU", 40);
    set_text(cpu.thermal_text, "Overheat");
    expect_nothing({cpu});
    cpu.thermal_text_supported = 1;
    expect_text({cpu}, "CPU Failed(Bad)!\n");
    set_text(cpu.thermal_text, "High");
    expect_text({cpu}, "CPU OK(Good)!\n");
}

TEST(NoteChanges, LinesStandInTheOrderOfTheTable) {
    begin_normal();
    expect_text({chassis("Door", 1), temperature("CPU", 80), fan("Fan1", 0), voltage("Vcore", 0)},
                "Door Failed(Bad)!\nCPU Failed(Bad)!\nFan1 Failed(Bad)!\nVcore Failed(Bad)!\n");
    expect_text({chassis("Door", 1), temperature("CPU", 70), fan("Fan1", 1000), voltage("Vcore", 12000)},
                "CPU OK(Good)!\nFan1 OK(Good)!\nVcore OK(Good)!\n");
}

TEST(NoteChanges, BothDirectionsInOneText) {
    begin_normal();
    expect_text({voltage("+12V", 0), voltage("+5V", 12000)}, "+12V Failed(Bad)!\n");
    expect_text({voltage("+12V", 12000), voltage("+5V", 0)}, "+12V OK(Good)!\n+5V Failed(Bad)!\n");
}

TEST(NoteChanges, NoItemsNoChange) {
    expect_nothing({});
    std::string text = "before";
    uint32_t category = 77;
    EXPECT_EQ(note_changes(nullptr, 0, NOW, &text, &category), NOTHING_CHANGED);
}

TEST(NoteChanges, NameStandsAsItIs) {
    begin_normal();
    const char *const names[] = {"",
                                 "100% %s %n",
                                 "a  b",
                                 "CPU \xC3\x9C"
                                 "bertemperatur",
                                 "\xFF\xFE",
                                 "\xE6\xB8\xA9\xE5\xBA\xA6",
                                 "123456789012345678901234567890123456789"};
    for (const char *name : names) {
        expect_text({fan(name, 0)}, std::string(name) + " Failed(Bad)!\n", name);
        expect_text({fan(name, 1000)}, std::string(name) + " OK(Good)!\n", name);
    }
}

// ---- Which item a state belongs to

// Its ordinal in the category counts, monitored or not; names and neighbours of other categories do not.
TEST(NoteChanges, StatesFollowTheOrdinalOfTheCategory) {
    begin_normal();
    expect_text({fan("A", 1000), fan("B", 0)}, "B Failed(Bad)!\n");
    expect_nothing({voltage("V", 12000), fan("A", 1000), temperature("T", 20), fan("B", 0)});
    expect_nothing({unmonitored(fan("A", 0)), fan("B", 0)});
    expect_text({fan("A", 0), fan("B", 0)}, "A Failed(Bad)!\n");
    expect_text({fan("B", 0), fan("A", 1000)}, "A OK(Good)!\n");
}

TEST(NoteChanges, EveryPlaceHasAStateOfItsOwn) {
    for (const auto &row : bounds)
        for (size_t place = 0; place < row.places; place++) {
            const std::string what = std::to_string(row.cat) + " " + std::to_string(place);
            begin_normal();
            displays items = many(item("Other", row.cat, row.good), row.places);
            items[place] = item("It", row.cat, row.bad);
            expect_text(items, "It Failed(Bad)!\n", what);
            expect_nothing(items, what);
            items[place].value = row.good;
            expect_text(items, "It OK(Good)!\n", what);
        }
}

TEST(NoteChanges, OtherCategoriesAreSkipped) {
    begin_normal();
    displays items;
    for (uint32_t cat : {4u, 5u, 6u, 0xFFu, 0x100u, 0x80000000u, 0xFFFFFFFFu})
        for (int i = 0; i < 100; i++)
            items.push_back(item("Other", cat, 0));
    expect_nothing(items);
    items.push_back(fan("Fan1", 0));
    expect_text(items, "Fan1 Failed(Bad)!\n");
    items.insert(items.begin(), fan("Fan1", 0));
    expect_text(items, "Fan1 Failed(Bad)!\n"); // the second is new
}

// ---- Items that are not monitored

TEST(NoteChanges, OnlyMonitorOneIsMonitored) {
    for (uint32_t monitor : {0u, 2u, 0xFFu, 0x80000001u, 0xFFFFFFFFu}) {
        begin_normal();
        item_display bad = fan("Fan1", 0);
        bad.monitor = monitor;
        expect_nothing({bad}, std::to_string(monitor));
    }
}

TEST(NoteChanges, TakenOffTheListItIsNormalWithoutAWord) {
    begin_normal();
    expect_text({fan("Fan1", 0)}, "Fan1 Failed(Bad)!\n");
    expect_nothing({unmonitored(fan("Fan1", 0))});
    expect_text({fan("Fan1", 0)}, "Fan1 Failed(Bad)!\n"); // monitored again, still abnormal
    expect_nothing({unmonitored(fan("Fan1", 0))});
    expect_nothing({fan("Fan1", 1000)}); // monitored again when it is well
}

// ---- More items than states

TEST(NoteChanges, FullCategoryIsWatched) {
    for (const auto &row : bounds) {
        begin_normal();
        displays items = many(item("Other", row.cat, row.good), row.places);
        items.back() = item("Last", row.cat, row.bad);
        expect_text(items, "Last Failed(Bad)!\n", std::to_string(row.cat));
    }
}

TEST(NoteChanges, OneItemTooManyIsNamedByItsCategory) {
    for (const auto &row : bounds) {
        begin_normal();
        noted got = note(many(item("It", row.cat, row.bad), row.places + 1));
        EXPECT_EQ(got.result, TOO_MANY_ITEMS) << row.cat;
        EXPECT_EQ(got.category, row.cat);
        EXPECT_EQ(got.text, "before") << row.cat;
    }
}

// Monitored or not, changed or not.
TEST(NoteChanges, OneItemTooManyCountsInAnyState) {
    for (const auto &row : bounds)
        for (int64_t value : {row.good, row.bad}) {
            begin_normal();
            noted got = note(many(unmonitored(item("It", row.cat, value)), row.places + 1));
            EXPECT_EQ(got.result, TOO_MANY_ITEMS) << row.cat << ' ' << value;
            EXPECT_EQ(got.category, row.cat) << value;
        }
}

TEST(NoteChanges, BeforeTheOneTooManyStatesAreUpdatedBehindItNot) {
    for (const auto &row : bounds) {
        const std::string what = std::to_string(row.cat);
        uint32_t other_cat = row.cat == CAT_FAN ? CAT_VOLTAGE : CAT_FAN;
        begin_normal();
        displays items = many(item("Full", row.cat, row.bad), row.places);
        displays crowded = items;
        crowded.push_back(item("Excess", row.cat, row.bad));
        crowded.push_back(item("Behind", other_cat, 0));
        EXPECT_EQ(note(crowded).result, TOO_MANY_ITEMS) << what;
        expect_nothing(items, what); // noted, never to be reported
        items.push_back(item("Behind", other_cat, 0));
        expect_text(items, "Behind Failed(Bad)!\n", what);
    }
}

TEST(NoteChanges, FirstCategoryThatIsFullIsNamed) {
    begin_normal();
    noted got = note(
        together({many(temperature("T", 40), 16), many(fan("F", 1000), 17), many(temperature("T", 40), 1)}));
    EXPECT_EQ(got.result, TOO_MANY_ITEMS);
    EXPECT_EQ(got.category, CAT_FAN);
}

// ---- Long lists

static std::string repeated(size_t count, const std::string &text) {
    std::string all;
    while (count-- > 0)
        all += text;
    return all;
}

TEST(NoteChanges, SixteenSuppliesThatFailAreAllNamed) {
    begin_normal();
    displays items;
    std::string lines;
    for (int i = 1; i <= 16; i++) {
        const std::string name = "Power Supply " + std::to_string(i) + " Failure";
        items.push_back(chassis(name.c_str(), 1));
        lines += name + " Failed(Bad)!\n";
    }
    ASSERT_GT(lines.size(), 512u);
    expect_text(items, lines);
    expect_nothing(items);
}

// All 108 items with the longest names, of 39 bytes: 108 lines of 53, then of 50.
TEST(NoteChanges, LongestListOfAllIsWhole) {
    const std::string name(39, 'x');
    const char *text = name.c_str();
    begin_normal();
    displays items = together({many(fan(text, 0), 16), many(voltage(text, 0), 60),
                               many(temperature(text, 99), 16), many(chassis(text, 1), 16)});
    expect_text(items, repeated(108, name + " Failed(Bad)!\n"));
    expect_nothing(items);
    for (item_display &display : items)
        display.value = display.cat == CAT_FAN ? 1000 : display.cat == CAT_VOLTAGE ? 12000 : 0;
    expect_text(items, repeated(108, name + " OK(Good)!\n"));
}

// ---- The time

TEST(NoteChanges, YearOfTenDigitsStandsAtTheEnd) {
    begin_normal();
    std::string text;
    uint32_t category;
    displays items = {fan("Fan1", 0)};
    EXPECT_EQ(note_changes(items.data(), 1, YEAR_2000002000, &text, &category), STATES_CHANGED);
    EXPECT_EQ(text, "Fan1 Failed(Bad)!\nat Sat Jan  1 00:00:00 2000002000\n");
}

TEST(NoteChanges, TimeWithoutANameIsSaid) {
    begin_normal();
    std::string text;
    uint32_t category;
    displays items = {fan("Fan1", 0)};
    EXPECT_EQ(note_changes(items.data(), 1, INT64_MAX, &text, &category), STATES_CHANGED);
    EXPECT_EQ(text, "Fan1 Failed(Bad)!\nat an unknown time\n");
}

static std::string line_of(time_t now) {
    char line[TIME_LINE_SIZE] = "before";
    time_line(now, line);
    return line;
}

TEST(TimeLine, TimesAsCtimeNamesThem) {
    live_in("UTC0");
    const struct {
        time_t now;
        const char *line;
    } rows[] = {
        {0, "at Thu Jan  1 00:00:00 1970\n"},
        {-1, "at Wed Dec 31 23:59:59 1969\n"},
        {NOW, "at Mon Nov 16 03:05:35 2026\n"},
        {951782400, "at Tue Feb 29 00:00:00 2000\n"},     // 11016 days
        {2147483648, "at Tue Jan 19 03:14:08 2038\n"},    // 2^31
        {253402300800, "at Sat Jan  1 00:00:00 10000\n"}, // 400-year cycles: the weekday of 2000
        {YEAR_2000002000, "at Sat Jan  1 00:00:00 2000002000\n"},
    };
    for (const auto &row : rows)
        EXPECT_EQ(line_of(row.now), row.line) << row.now;
}

TEST(TimeLine, LocalTime) {
    live_in("XXX-5:30");
    EXPECT_EQ(line_of(NOW), "at Mon Nov 16 08:35:35 2026\n");
    live_in("YYY8");
    EXPECT_EQ(line_of(NOW), "at Sun Nov 15 19:05:35 2026\n");
}

// Years beyond 32 bits.
TEST(TimeLine, TimeThatHasNoName) {
    live_in("UTC0");
    for (time_t now :
         {static_cast<time_t>(INT64_MAX), static_cast<time_t>(INT64_MIN), static_cast<time_t>(1) << 60})
        EXPECT_EQ(line_of(now), "at an unknown time\n") << now;
}
