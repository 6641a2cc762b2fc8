#include "ui/handlers.h"

#include <cerrno>
#include <cstring>
#include <gtest/gtest.h>
#include <string>
#include <unistd.h>
#include <vector>

#include "alert/mail.h"
#include "config/settings.h"
#include "driver/refresh.h"
#include "gestures.h"
#include "items/display.h"
#include "support/os_test.h"
#include "support/window.h"
#include "ui/items_page.h"
#include "ui/tick.h"
#include "ui/widgets.h"
#include "ui/windows.h"

// ---- What the handlers call, recorded

struct sent_mail {
    mail_kind kind;
    std::string recipients, name, body;
};
static std::vector<sent_mail> mails;
static mail_outcome outcome_of_mails;

mail_outcome send_mail(mail_kind kind, const char *recipients, const char *machine_name, const char *body) {
    mails.push_back({kind, recipients, machine_name, body});
    return outcome_of_mails;
}

// Monitor of each item and of its display: "1/1 255/0".
static std::string monitored() {
    std::string text;
    for (int32_t i = 0; i < myspKestrel->item_count; i++)
        text += (i > 0 ? " " : "") + std::to_string(myspKestrel->items[i].Monitor) + "/" +
                std::to_string(allItemDisps[i].monitor);
    return text;
}

static std::vector<std::string> ticks; // what was monitored at each

static int record_tick() {
    ticks.push_back(monitored());
    return 1;
}

// ---- Set-up

using texts = std::vector<std::string>;

static const std::string system_lines = "[System]\nBUSTYPE=2\nINDEXREG=295\nDATAREG=296\nPOLLING=5\n";

// Unused ports read as FF: limits and readings that do not matter here.
static std::string item_lines(const std::string &name, const std::string &category,
                              const std::string &monitor, const std::string &clear = "SWITCH1C") {
    return "\n[Item]\nITEM_NAME=" + name + "\nITEM_CAT=" + category +
           "\nBUSTYPE=2\nCHIPCODE=1C\nSLAVE=1\nOFFSET=42\nACTIVATE=1\nMONITOR=" + monitor +
           "\nPARAINDEX1=SWITCH1A\nPARAINDEX2=" + clear + "\n";
}

static const std::string parameter_lines =
    "\n[Parameter]\nPARAMETER=SWITCH1A\nSLAVE=1\nOFFSET=42\nBITMASK=10\n"
    "\n[Parameter]\nPARAMETER=SWITCH1C\nSLAVE=0\nOFFSET=46\nBITMASK=80\n";

static void open_windows(const std::string &configuration) {
    hide_windows();
    test_window::open(configuration);
    mails.clear();
    outcome_of_mails = MAIL_SENT;
    tick = record_tick;
    ticks.clear();
    test_window::take_warnings();
}

static void start(const std::string &configuration) {
    test_door::reset();
    open_windows(configuration);
}

// Three voltages; the last one's MONITOR is not given.
static std::string three_items(const std::string &system = "") {
    std::string last = item_lines("Three", "VOLTAGE", "TRUE");
    last.erase(last.find("MONITOR=TRUE\n"), strlen("MONITOR=TRUE\n"));
    return system_lines + system + item_lines("One", "VOLTAGE", "TRUE") +
           item_lines("Two", "VOLTAGE", "FALSE") + last + parameter_lines;
}

static system_settings *settings() { return myspKestrel->system; }

static void focus(const char *name) { gtk_widget_grab_focus(test_window::widget(name)); }

static std::string focused() {
    GtkWidget *widget = gtk_window_get_focus(GTK_WINDOW(myapp1));
    return widget != nullptr ? gtk_widget_get_name(widget) : "";
}

static void activate(const char *item) { gtk_menu_item_activate(GTK_MENU_ITEM(test_window::widget(item))); }

static int page_of(GtkWidget *window) {
    return gtk_notebook_get_current_page(GTK_NOTEBOOK(lookup_widget(window, "notebook1")));
}

// ---- Menus

static const struct {
    const char *item;
    int page;
} page_items[] = {{"summary1", 0},        {"fan_speed_charts1", 1},
                  {"voltage_charts1", 2}, {"thermal_charts1", 3},
                  {"items1", 4},          {"alert1", 5}};

TEST(Menus, ItemsShowTheirPage) {
    start(three_items());
    for (const auto &row : page_items)
        for (int before = 0; before < 6; before++) {
            gtk_notebook_set_current_page(GTK_NOTEBOOK(test_window::widget("notebook1")), before);
            activate(row.item);
            EXPECT_EQ(page_of(myapp1), row.page) << row.item << " on page " << before;
        }
}

TEST(Menus, ItemsShowThePageOfTheirOwnWindow) {
    start(three_items());
    GtkWidget *other = create_app1();
    for (const auto &row : page_items) {
        activate("items1");
        gtk_menu_item_activate(GTK_MENU_ITEM(lookup_widget(other, row.item)));
        EXPECT_EQ(page_of(other), row.page) << row.item;
        EXPECT_EQ(page_of(myapp1), 4) << row.item;
    }
}

TEST(Menus, AboutShowsTheBoxThatIsThere) {
    start(three_items());
    GtkWidget *about = myabout2;
    ASSERT_NE(about, nullptr);
    EXPECT_FALSE(gtk_widget_get_visible(about));
    for (int time = 0; time < 2; time++) {
        activate("about1");
        EXPECT_EQ(myabout2, about);
        EXPECT_TRUE(gtk_widget_get_visible(about));
    }
}

TEST(Menus, AboutIsForgottenWhenItIsClosedAndMadeAnew) {
    for (int response : std::vector<int>{-1, GTK_RESPONSE_DELETE_EVENT, GTK_RESPONSE_OK, GTK_RESPONSE_CANCEL,
                                         GTK_RESPONSE_CLOSE, G_MININT}) {
        start(three_items());
        activate("about1");
        gtk_dialog_response(GTK_DIALOG(myabout2), response);
        EXPECT_EQ(myabout2, nullptr) << response;
        activate("about1");
        ASSERT_NE(myabout2, nullptr) << response;
        EXPECT_STREQ(gtk_widget_get_name(myabout2), "about2");
        EXPECT_TRUE(gtk_widget_get_visible(myabout2)) << response;
    }
}

TEST(Menus, AboutStaysAtOtherResponses) {
    start(three_items());
    activate("about1");
    GtkWidget *about = myabout2;
    for (int response : {0, 1, 2, G_MAXINT}) {
        gtk_dialog_response(GTK_DIALOG(about), response);
        EXPECT_EQ(myabout2, about) << response;
        EXPECT_TRUE(gtk_widget_get_visible(about)) << response;
    }
}

TEST(Menus, AboutClosedByTheWindowManagerIsForgotten) {
    start(three_items());
    activate("about1");
    test_window::settle();
    EXPECT_FALSE(ends_main_loop([] { close_by_window_manager(myabout2); }));
    EXPECT_EQ(myabout2, nullptr);
    activate("about1");
    ASSERT_NE(myabout2, nullptr);
    EXPECT_TRUE(gtk_widget_get_visible(myabout2));
}

TEST(Menus, QuitEndsTheMainLoop) {
    start(three_items());
    EXPECT_FALSE(ends_main_loop([] { activate("summary1"); }));
    EXPECT_TRUE(ends_main_loop([] { activate("quit1"); }));
}

TEST(Menus, TheEndOfTheMainWindowEndsTheMainLoop) {
    start(three_items());
    EXPECT_TRUE(ends_main_loop([] { gtk_widget_destroy(myapp1); }));
    start(three_items());
    EXPECT_TRUE(ends_main_loop([] { close_by_window_manager(myapp1); }));
}

// ---- Polling interval

static const char *const interval_refused = "Please enter an integer between 1 and 300.";

TEST(PollingEntry, TextsAreTakenPassedOverOrRefused) {
    const struct {
        const char *text;
        unsigned polling; // 5 before
        bool refused;
    } table[] = {
        {"1", 1, false},
        {"9", 9, false},
        {"10", 10, false},
        {"60", 60, false},
        {"299", 299, false},
        {"300", 300, false},
        {"301", 5, true},
        {"310", 5, true},
        {"400", 5, true},
        {"999", 5, true},
        {"", 5, false},
        {"0", 5, false},
        {"00", 5, false},
        {"000", 5, false},
        {"007", 7, false},
        {"010", 10, false},
        {"1a", 5, true},
        {"a1", 5, true},
        {"a", 5, true},
        {" 5", 5, true},
        {"5 ", 5, true},
        {" ", 5, true},
        {"-5", 5, true},
        {"+5", 5, true},
        {"-", 5, true},
        {"1.5", 5, true},
        {"1,5", 5, true},
        {"1e2", 5, true},
        {"0x1", 5, true},
        {"1/2", 5, true},
        {"1:2", 5, true},
        {"\xD9\xA3", 5, true}, // an Arabic 3
        {"\xEF\xBC\x91", 5, true},
        {"2\xC2\xB2", 5, true}, // a wide 1, a raised 2
    };
    for (const auto &row : table) {
        start(three_items());
        set_entry("entryPolling", row.text);
        EXPECT_EQ(settings()->Polling, row.polling) << "'" << row.text << "'";
        EXPECT_EQ(entry_text("entryPolling"), row.refused ? "0" : row.text);
        EXPECT_EQ(test_window::messages(), row.refused ? texts{interval_refused} : texts{}) << row.text;
        EXPECT_EQ(ticks, texts()) << row.text;
    }
}

// Numbers that no entry of three characters takes.
TEST(PollingEntry, NumbersBeyondEveryTypeAreRefused) {
    const struct {
        const char *text;
        unsigned polling;
        bool refused;
    } table[] = {
        {"1000", 5, true},
        {"4294967297", 5, true},           // 2^32 + 1
        {"9223372036854775809", 5, true},  // 2^63 + 1
        {"18446744073709551615", 5, true}, // 2^64 - 1
        {"18446744073709551617", 5, true}, // 2^64 + 1
        {"99999999999999999999999999999999999999999999999999", 5, true},
        {"00000000000000000000000000000000000000000000000007", 7, false},
        {"00000000000000000000000000000000000000000000000000", 5, false},
    };
    for (const auto &row : table) {
        start(three_items());
        gtk_entry_set_max_length(GTK_ENTRY(test_window::widget("entryPolling")), 0);
        set_entry("entryPolling", row.text);
        EXPECT_EQ(settings()->Polling, row.polling) << row.text;
        EXPECT_EQ(entry_text("entryPolling"), row.refused ? "0" : row.text);
        EXPECT_EQ(test_window::messages(), row.refused ? texts{interval_refused} : texts{}) << row.text;
    }
}

TEST(PollingEntry, PastedTextIsCutAtThreeCharacters) {
    const struct {
        const char *pasted;
        unsigned polling;
        const char *text;
        bool refused;
    } table[] = {
        {"18446744073709551616", 184, "184", false}, {"2999", 299, "299", false}, {"3011", 5, "0", true}};
    for (const auto &row : table) {
        start(three_items());
        paste("entryPolling", row.pasted);
        EXPECT_EQ(settings()->Polling, row.polling) << row.pasted;
        EXPECT_EQ(entry_text("entryPolling"), row.text) << row.pasted;
        EXPECT_EQ(test_window::messages(), row.refused ? texts{interval_refused} : texts{}) << row.pasted;
    }
}

// A line break is not a digit, nor is a blank.
TEST(PollingEntry, PastedLineBreakIsRefused) {
    for (const char *pasted : {"12\n", "1\n2", "\n12", "12\r", "1\r\n", "\n", "60\n70", "12 "}) {
        start(three_items());
        paste("entryPolling", pasted);
        EXPECT_EQ(settings()->Polling, 5u) << testing::PrintToString(pasted);
        EXPECT_EQ(entry_text("entryPolling"), "0") << testing::PrintToString(pasted);
        EXPECT_EQ(test_window::messages(), texts{interval_refused}) << testing::PrintToString(pasted);
    }
}

// Every key counts: what is typed before the key that is refused has been stored.
TEST(PollingEntry, TypedTextIsReadAtEveryKey) {
    const struct {
        const char *keys;
        unsigned polling;
        const char *text;
        bool refused;
    } table[] = {{"5", 5, "5", false},     {"60", 60, "60", false}, {"300", 300, "300", false},
                 {"301", 30, "0", true},   {"1a", 1, "0", true},    {"0", 5, "0", false},
                 {"007", 7, "007", false}, {"a", 5, "0", true},     {"3000", 300, "300", false}};
    for (const auto &row : table) {
        start(three_items());
        type_text("entryPolling", row.keys);
        EXPECT_EQ(settings()->Polling, row.polling) << row.keys;
        EXPECT_EQ(entry_text("entryPolling"), row.text) << row.keys;
        EXPECT_EQ(test_window::messages(), row.refused ? texts{interval_refused} : texts{}) << row.keys;
    }
}

TEST(PollingEntry, ARefusedTextGivesTheEntryTheFocus) {
    start(three_items());
    activate("items1");
    for (const char *text : {"301", "1a"}) {
        focus("buttonSelectAll");
        set_entry("entryPolling", text);
        EXPECT_EQ(focused(), "entryPolling") << text;
    }
    for (const char *text : {"30", "0", ""}) {
        focus("buttonSelectAll");
        set_entry("entryPolling", text);
        EXPECT_EQ(focused(), "buttonSelectAll") << "'" << text << "'";
    }
}

TEST(PollingEntry, EveryRefusalIsADialogOfItsOwn) {
    start(three_items());
    set_entry("entryPolling", "301");
    set_entry("entryPolling", "1a");
    EXPECT_EQ(test_window::messages(), (texts{interval_refused, interval_refused}));
    test_window::settle();
    EXPECT_EQ(test_window::take_warnings(), texts());
}

TEST(PollingEntry, TheNextRefreshShowsTheIntervalInForce) {
    start(three_items());
    tick = updateAll;
    for (const char *text : {"301", "0", ""}) {
        set_entry("entryPolling", text);
        tick();
        EXPECT_EQ(entry_text("entryPolling"), "5") << text;
    }
    EXPECT_EQ(test_window::messages(), texts{interval_refused}); // that of 301
    set_entry("entryPolling", "060");
    tick();
    EXPECT_EQ(entry_text("entryPolling"), "60");
    EXPECT_EQ(settings()->Polling, 60u);
}

static void stop_timer() {
    gtk_timeout_remove(timer);
    timer = 0;
}

TEST(PollingEntry, WithoutATimerTheIntervalIsOnlyStored) {
    start(three_items());
    set_entry("entryPolling", "60");
    EXPECT_EQ(settings()->Polling, 60u);
    EXPECT_EQ(timer, 0u);
}

TEST(PollingEntry, ARunningTimerIsReplaced) {
    const struct {
        const char *text;
        gint64 period_us;
    } table[] = {{"1", 1000000}, {"60", 60000000}, {"300", 300000000}, {"05", 5000000}};
    for (const auto &row : table) {
        start(three_items());
        start_timer(5);
        guint old = timer;
        gint64 before = g_get_monotonic_time();
        set_entry("entryPolling", row.text);
        gint64 after = g_get_monotonic_time();
        EXPECT_NE(timer, old) << row.text;
        EXPECT_EQ(g_main_context_find_source_by_id(nullptr, old), nullptr) << row.text;
        GSource *source = g_main_context_find_source_by_id(nullptr, timer);
        ASSERT_NE(source, nullptr) << row.text;
        EXPECT_GE(g_source_get_ready_time(source), before + row.period_us) << row.text;
        EXPECT_LE(g_source_get_ready_time(source), after + row.period_us) << row.text;
        stop_timer();
    }
}

TEST(PollingEntry, TheNewTimerTicksAndGoesOn) {
    start(three_items());
    start_timer(5);
    set_entry("entryPolling", "60");
    GSource *source = g_main_context_find_source_by_id(nullptr, timer);
    ASSERT_NE(source, nullptr);
    for (size_t count = 1; count <= 2; count++) {
        g_source_set_ready_time(source, 0);
        EXPECT_TRUE(wait_until([=] { return ticks.size() == count; }));
    }
    EXPECT_EQ(g_main_context_find_source_by_id(nullptr, timer), source);
    stop_timer();
}

TEST(PollingEntry, ATextThatIsNotStoredLeavesTheTimer) {
    for (const char *text : {"0", "", "000", "301", "1a", "-5"}) {
        start(three_items());
        start_timer(5);
        guint old = timer;
        gint64 due = g_source_get_ready_time(g_main_context_find_source_by_id(nullptr, old));
        set_entry("entryPolling", text);
        EXPECT_EQ(timer, old) << "'" << text << "'";
        GSource *source = g_main_context_find_source_by_id(nullptr, old);
        ASSERT_NE(source, nullptr) << "'" << text << "'";
        EXPECT_EQ(g_source_get_ready_time(source), due) << "'" << text << "'";
        stop_timer();
    }
}

// ---- Which items are monitored

static texts column_of(int column) {
    texts cells;
    GtkTreeModel *model = GTK_TREE_MODEL(list_store);
    GtkTreeIter row;
    for (gboolean more = gtk_tree_model_get_iter_first(model, &row); more;
         more = gtk_tree_model_iter_next(model, &row)) {
        char *cell;
        gtk_tree_model_get(model, &row, column, &cell, -1);
        cells.push_back(cell);
        g_free(cell);
    }
    return cells;
}

TEST(SelectAll, EveryItemIsMonitoredAndOneTickFollows) {
    start(three_items());
    ASSERT_EQ(monitored(), "1/1 0/0 255/255");
    click("buttonSelectAll");
    EXPECT_EQ(ticks, texts{"1/1 1/1 1/1"});
    click("buttonSelectAll");
    EXPECT_EQ(ticks, (texts{"1/1 1/1 1/1", "1/1 1/1 1/1"}));
}

TEST(SelectAll, NoItemIsMonitoredAndOneTickFollows) {
    start(three_items());
    click("buttonUnselectAll");
    EXPECT_EQ(ticks, texts{"0/0 0/0 0/0"});
}

TEST(SelectAll, NothingIsWrittenAndNothingIsSaid) {
    start(three_items());
    test_door::take_log();
    click("buttonSelectAll");
    click("buttonUnselectAll");
    EXPECT_EQ(test_door::take_log(), "");
    EXPECT_EQ(test_door::file(KESTREL_INI), three_items());
    EXPECT_FALSE(test_door::has_file(KESTREL_INI_OLD));
    EXPECT_EQ(test_window::messages(), texts());
}

TEST(SelectAll, TheListShowsItAtOnce) {
    start(three_items());
    tick = updateAll;
    EXPECT_EQ(column_of(CHECKED_COLUMN), (texts{"*", " ", "*"}));
    click("buttonSelectAll");
    EXPECT_EQ(column_of(CHECKED_COLUMN), (texts{"*", "*", "*"}));
    click("buttonUnselectAll");
    EXPECT_EQ(column_of(CHECKED_COLUMN), (texts{" ", " ", " "}));
    EXPECT_EQ(monitored(), "0/0 0/0 0/0");
}

// ---- A row of the list

static void select_row(int row) {
    GtkTreePath *path = gtk_tree_path_new_from_indices(row, -1);
    gtk_tree_selection_select_path(gtk_tree_view_get_selection(GTK_TREE_VIEW(treeview1)), path);
    gtk_tree_path_free(path);
}

static void activate_row(int row) {
    GtkTreePath *path = gtk_tree_path_new_from_indices(row, -1);
    gtk_tree_view_row_activated(GTK_TREE_VIEW(treeview1), path, monitored_item_column);
    gtk_tree_path_free(path);
}

static void toggle_row(int row) {
    select_row(row);
    activate_row(row);
}

static void start_named(const std::vector<std::string> &names) {
    std::string items;
    for (const std::string &name : names)
        items += item_lines(name, "VOLTAGE", "FALSE");
    start(system_lines + items + parameter_lines);
}

TEST(TreeRow, TogglesItsItemAndOneTickFollows) {
    start(three_items());
    toggle_row(0);
    EXPECT_EQ(ticks, texts{"0/0 0/0 255/255"});
    toggle_row(1);
    EXPECT_EQ(ticks.back(), "0/0 1/1 255/255");
    toggle_row(0);
    EXPECT_EQ(ticks.back(), "1/1 1/1 255/255");
    EXPECT_EQ(ticks.size(), 3u);
}

TEST(TreeRow, EveryValueButOneBecomesOne) {
    const struct {
        uint32_t monitor, display;
        const char *after;
    } table[] = {{0, 0, "1/1"},          {1, 1, "0/0"}, {255, 255, "1/1"}, {2, 2, "1/1"},
                 {0xFFFFFFFF, 0, "1/1"}, {1, 0, "0/0"}, {0, 1, "1/1"}};
    for (const auto &row : table) {
        start_named({"Fan"});
        myspKestrel->items[0].Monitor = row.monitor;
        allItemDisps[0].monitor = row.display;
        toggle_row(0);
        EXPECT_EQ(ticks, texts{row.after}) << row.monitor << " shown as " << row.display;
    }
}

TEST(TreeRow, TheSelectedRowCountsNotTheActivatedOne) {
    start(three_items());
    select_row(1);
    activate_row(0);
    EXPECT_EQ(ticks, texts{"1/1 1/1 255/255"});
}

TEST(TreeRow, NothingIsSelected) {
    start(three_items());
    gtk_tree_selection_unselect_all(gtk_tree_view_get_selection(GTK_TREE_VIEW(treeview1)));
    activate_row(1);
    EXPECT_EQ(ticks, texts());
    EXPECT_EQ(monitored(), "1/1 0/0 255/255");
}

TEST(TreeRow, NoItemHasTheName) {
    start(three_items());
    strcpy(myspKestrel->items[1].Name, "two"); // the row still says "Two"
    toggle_row(1);
    EXPECT_EQ(ticks, texts());
    EXPECT_EQ(monitored(), "1/1 0/0 255/255");
}

TEST(TreeRow, TheFirstItemOfTheName) {
    const struct {
        std::vector<std::string> names;
        int row;
        const char *after;
    } table[] = {
        {{"Fan", "Fan", "Fan"}, 2, "1/1 0/0 0/0"},
        {{"Fan", "Case", "Case"}, 2, "0/0 1/1 0/0"},
        {{"FAN", "Fan", "fan"}, 1, "0/0 1/1 0/0"},
        {{"FAN", "Fan", "fan"}, 2, "0/0 0/0 1/1"},
        {{"Fan 10", "Fan 1", "Fan"}, 1, "0/0 1/1 0/0"},
        {{"Fan 10", "Fan 1", "Fan"}, 2, "0/0 0/0 1/1"},
        {{"Fan", "", " "}, 1, "0/0 1/1 0/0"},
        {{"Fan", "Fan ", " Fan"}, 2, "0/0 0/0 1/1"},
        {{"L\xC3\xBC"
          "fter",
          "<b>&amp;", "100%"},
         0,
         "1/1 0/0 0/0"},
        {{"L\xC3\xBC"
          "fter",
          "<b>&amp;", "100%"},
         1,
         "0/0 1/1 0/0"},
    };
    for (const auto &row : table) {
        start_named(row.names);
        toggle_row(row.row);
        EXPECT_EQ(ticks, texts{row.after}) << row.names[0] << ", row " << row.row;
    }
}

// The list shows 39 bytes of a name, and no part of a character.
TEST(TreeRow, NamesThatTheListCuts) {
    const std::string name39(39, 'n'), name49(49, 'o'), name60(60, 'p');
    const std::string split = std::string(38, 'q') + "\xC3\xBC" + std::string(20, 'q');
    start_named({"Fan", name39, name49, name60, split});
    ASSERT_EQ(column_of(NAME_COLUMN),
              (texts{"Fan", name39, std::string(39, 'o'), std::string(39, 'p'), std::string(38, 'q')}));
    const char *after[] = {"1/1 0/0 0/0 0/0 0/0", "1/1 1/1 0/0 0/0 0/0", "1/1 1/1 1/1 0/0 0/0",
                           "1/1 1/1 1/1 1/1 0/0", "1/1 1/1 1/1 1/1 1/1"};
    for (int row = 0; row < 5; row++) {
        toggle_row(row);
        ASSERT_EQ(ticks.size(), row + 1u) << "row " << row;
        EXPECT_EQ(ticks.back(), after[row]) << "row " << row;
    }
    start_named({"Fan", name49 + "1", name49 + "2"}); // shown alike
    toggle_row(2);
    EXPECT_EQ(ticks, texts{"0/0 1/1 0/0"});
}

TEST(TreeRow, NamesThatAreNotUtf8) {
    start_named({"Fan", "Fan \xE9", "Case \xFF", "Case \xFE"});
    EXPECT_EQ(column_of(NAME_COLUMN)[1], "Fan \xEF\xBF\xBD");
    toggle_row(1);
    EXPECT_EQ(ticks.back(), "0/0 1/1 0/0 0/0");
    toggle_row(3); // shown like the one before
    EXPECT_EQ(ticks.back(), "0/0 1/1 1/1 0/0");
    EXPECT_EQ(test_window::take_warnings(), texts());
}

TEST(TreeRow, TheListShowsItAtOnce) {
    start(three_items());
    tick = updateAll;
    toggle_row(1);
    EXPECT_EQ(column_of(CHECKED_COLUMN), (texts{"*", "*", "*"}));
    toggle_row(1);
    EXPECT_EQ(column_of(CHECKED_COLUMN), (texts{"*", " ", "*"}));
    EXPECT_EQ(test_window::messages(), texts());
    EXPECT_EQ(test_door::file(KESTREL_INI), three_items());
}

// ---- Saving

static const char *const saved = "Configuration has been saved.";

static const std::string mail_lines = "MACHINENAME=Board\nMAILBOX=a@x\nMAILALERT=FALSE\nPAGERALERT=FALSE\n";

// The configuration of the save tests, with these values in it.
static std::string saved_file(const std::string &polling, const std::string &name, const std::string &box,
                              const std::string &alert, const std::string &first, const std::string &second) {
    return "[System]\nBUSTYPE=2\nINDEXREG=295\nDATAREG=296\nPOLLING=" + polling + "\nMACHINENAME=" + name +
           "\nMAILBOX=" + box + "\nMAILALERT=" + alert + "\nPAGERALERT=FALSE\n" +
           item_lines("One", "VOLTAGE", first) + item_lines("Two", "VOLTAGE", second) + parameter_lines;
}

static const std::string unsaved_file = saved_file("5", "Board", "a@x", "FALSE", "TRUE", "FALSE");

// Every setting of both pages is changed by its widget.
static void change_settings() {
    start(unsaved_file);
    set_entry("entryPolling", "60");
    toggle_row(0);
    toggle_row(1);
    set_entry("entryMachineName", "Rack 7");
    set_entry("entryRecipientMailbox", "b@x c@x");
    click("checkbuttonMailAlert");
    EXPECT_EQ(test_door::file(KESTREL_INI), unsaved_file);
    EXPECT_FALSE(test_door::has_file(KESTREL_INI_OLD));
}

TEST(Save, EachPageSavesItsOwnSettings) {
    const struct {
        const char *button;
        std::string file;
    } table[] = {{"buttonItemsSave", saved_file("60", "Board", "a@x", "FALSE", "FALSE", "TRUE")},
                 {"buttonAlertSave", saved_file("5", "Rack 7", "b@x c@x", "TRUE", "TRUE", "FALSE")}};
    for (const auto &row : table) {
        change_settings();
        EXPECT_EQ(test_door::captured_stdout(
                      [&] { EXPECT_FALSE(ends_main_loop([&] { click(row.button); })) << row.button; }),
                  "");
        EXPECT_EQ(test_door::file(KESTREL_INI), row.file) << row.button;
        EXPECT_EQ(test_door::file(KESTREL_INI_OLD), unsaved_file) << row.button;
        EXPECT_EQ(test_window::messages(), texts{saved}) << row.button;
        EXPECT_EQ(ticks.size(), 2u) << row.button; // those of the rows
    }
}

TEST(Save, BothPagesInARow) {
    change_settings();
    click("buttonItemsSave");
    click("buttonAlertSave");
    EXPECT_EQ(test_door::file(KESTREL_INI), saved_file("60", "Rack 7", "b@x c@x", "TRUE", "FALSE", "TRUE"));
    EXPECT_EQ(test_door::file(KESTREL_INI_OLD), saved_file("60", "Board", "a@x", "FALSE", "FALSE", "TRUE"));
    EXPECT_EQ(test_window::messages(), (texts{saved, saved}));
}

// A failure is reported, named after the Items page whichever saves, and ends the main loop; the dialog is
// shown all the same, and the configuration is the one that was there.
TEST(Save, FailuresAreSaidAndEndTheMainLoop) {
    const struct {
        const char *call;
        int nth;
        const char *printed;
    } table[] = {{"fopen", 1, "on_buttonSaveItems_clicked(): fopen() error!\n"},
                 {"create", 1, "on_buttonSaveItems_clicked(): fopen(KESTREL_INI) error!\n"},
                 {"fsync", 1, "on_buttonSaveItems_clicked(): fclose() error!\n"},
                 {"fclose", 2, "on_buttonSaveItems_clicked(): fclose() error!\n"},
                 {"rename", 2, "on_buttonSaveItems_clicked(): fclose() error!\n"},
                 {"rename", 1, "on_buttonSaveItems_clicked(): fopen() error!\n"}};
    for (const auto &row : table)
        for (const char *button : {"buttonItemsSave", "buttonAlertSave"}) {
            change_settings();
            test_door::fail_call(row.call, row.nth, EIO);
            EXPECT_EQ(test_door::captured_stdout([&] {
                          EXPECT_TRUE(ends_main_loop([&] { click(button); })) << row.call << " " << row.nth;
                      }),
                      row.printed)
                << button;
            EXPECT_EQ(test_window::messages(), texts{saved}) << row.call << " " << row.nth << " " << button;
            EXPECT_EQ(test_door::file(KESTREL_INI), unsaved_file)
                << row.call << " " << row.nth << " " << button;
        }
}

// By then all is written.
TEST(Save, TheOldFileCannotBeClosed) {
    change_settings();
    test_door::fail_call("fclose", 1, EIO);
    EXPECT_EQ(
        test_door::captured_stdout([&] { EXPECT_TRUE(ends_main_loop([&] { click("buttonItemsSave"); })); }),
        "on_buttonSaveItems_clicked(): fclose() error!\n");
    EXPECT_EQ(test_window::messages(), texts{saved});
    EXPECT_EQ(test_door::file(KESTREL_INI), saved_file("60", "Board", "a@x", "FALSE", "FALSE", "TRUE"));
    EXPECT_EQ(test_door::file(KESTREL_INI_OLD), unsaved_file);
}

TEST(Save, ThereIsNoFile) {
    for (const char *button : {"buttonItemsSave", "buttonAlertSave"}) {
        change_settings();
        unlink(test_door::real_path(KESTREL_INI).c_str());
        EXPECT_EQ(test_door::captured_stdout(
                      [&] { EXPECT_TRUE(ends_main_loop([&] { click(button); })) << button; }),
                  "on_buttonSaveItems_clicked(): fopen() error!\n");
        EXPECT_EQ(test_window::messages(), texts{saved}) << button;
        EXPECT_FALSE(test_door::has_file(KESTREL_INI)) << button;
    }
}

TEST(Save, LineBreaksOfAnEntryNeverReachTheFile) {
    start(unsaved_file);
    set_entry("entryMachineName", "Rack\nPOLLING=1");
    set_entry("entryRecipientMailbox", "b@x\r\n[Item]");
    click("buttonAlertSave");
    EXPECT_EQ(test_door::file(KESTREL_INI),
              saved_file("5", "Rack POLLING=1", "b@x [Item]", "FALSE", "TRUE", "FALSE"));
}

// What a start reads is what the entries show and a save writes.
TEST(Save, WhatNobodyEditedIsWrittenAsItStands) {
    const std::string six = "first.administrator@example.com second.only@example.com third@example.com "
                            "fourth@example.com fifth@example.com sixth@xy.com";
    for (const char *polling : {"-5", "5", "4294967295"}) {
        const std::string file = saved_file(polling, "Board", six, "FALSE", "TRUE", "FALSE");
        start(file);
        const std::string shown = polling[0] == '5' ? "5" : polling[0] == '-' ? "-5" : "-1";
        EXPECT_EQ(entry_text("entryPolling"), shown);
        for (int time = 0; time < 2; time++)
            for (const char *button : {"buttonItemsSave", "buttonAlertSave"})
                click(button);
        const std::string after = saved_file(shown, "Board", six, "FALSE", "TRUE", "FALSE");
        EXPECT_EQ(test_door::file(KESTREL_INI), after);
        EXPECT_EQ(test_door::file(KESTREL_INI_OLD), after);
    }
}

// ---- Name and recipients

static std::string times(size_t count, const std::string &text) {
    std::string repeated;
    while (count-- > 0)
        repeated += text;
    return repeated;
}

static const std::string emoji = "\xF0\x9F\x90\xA6"; // 4 bytes
static const std::string sun = "\xE6\x97\xA5";       // 3 bytes
static const std::string umlaut = "\xC3\xBC";        // 2 bytes

TEST(MachineName, TheWholeTextIsCopied) {
    const char *texts_taken[] = {"A",
                                 "Rack 7",
                                 "  blanks  ",
                                 "100% [x]=y;#",
                                 "L\xC3\xBC"
                                 "beck",
                                 ""};
    start(three_items("MACHINENAME=Board\n"));
    EXPECT_EQ(entry_text("entryMachineName"), "Board");
    for (const char *text : texts_taken) {
        set_entry("entryMachineName", text);
        EXPECT_STREQ(settings()->MachineName, text);
        EXPECT_STREQ(settings()->MailBox, "");
    }
    EXPECT_EQ(test_window::messages(), texts());
    EXPECT_EQ(ticks, texts());
}

TEST(MachineName, EveryKeyIsCopied) {
    start(three_items());
    std::string name;
    for (char key : std::string("Rack")) {
        name += key;
        type_text("entryMachineName", name);
        EXPECT_EQ(settings()->MachineName, name);
    }
    type_text("entryMachineName", "");
    EXPECT_STREQ(settings()->MachineName, "");
}

// 30 characters are taken, and 39 bytes of them fit.
TEST(MachineName, IsCutOnAWholeCharacter) {
    const struct {
        std::string text;
        std::string name;
    } table[] = {{times(30, "n"), times(30, "n")},
                 {times(31, "n"), times(30, "n")},
                 {times(30, umlaut), times(19, umlaut)},
                 {"n" + times(29, umlaut), "n" + times(19, umlaut)},
                 {times(30, sun), times(13, sun)},
                 {"n" + times(29, sun), "n" + times(12, sun)},
                 {"nn" + times(28, sun), "nn" + times(12, sun)},
                 {times(30, emoji), times(9, emoji)},
                 {"nnn" + times(27, emoji), "nnn" + times(9, emoji)},
                 {"nnnn" + times(26, emoji), "nnnn" + times(8, emoji)}};
    for (const auto &row : table) {
        start(three_items("MAILALERT=FALSE\n"));
        settings()->MailAlert = 0x11111111; // the field after the name
        set_entry("entryMachineName", row.text);
        EXPECT_EQ(settings()->MachineName, row.name) << row.text;
        EXPECT_EQ(settings()->MailAlert, 0x11111111u) << row.text;
        type_text("entryMachineName", row.text);
        EXPECT_EQ(settings()->MachineName, row.name) << "typed: " << row.text;
        EXPECT_EQ(settings()->MailAlert, 0x11111111u) << "typed: " << row.text;
    }
}

TEST(MachineName, LineBreaksBecomeBlanks) {
    const struct {
        const char *text;
        const char *name;
    } table[] = {{"Rack\n7", "Rack 7"}, {"Rack\r7", "Rack 7"},    {"Rack\r\n7", "Rack 7"},
                 {"Rack\n", "Rack "},   {"Rack\n\r7", "Rack  7"}, {"\r\n\r\nRack\r\n", "  Rack "}};
    for (const auto &row : table) {
        start(three_items());
        set_entry("entryMachineName", row.text);
        EXPECT_STREQ(settings()->MachineName, row.name) << row.text;
        paste("entryMachineName", row.text);
        EXPECT_STREQ(settings()->MachineName, row.name) << "pasted: " << row.text;
        EXPECT_EQ(entry_text("entryMachineName"), row.name) << row.text;
    }
}

TEST(Recipients, TheWholeTextIsCopied) {
    const char *texts_taken[] = {"a@x", "a@x b@y.example", " a,b ", "100%", ""};
    start(three_items("MAILBOX=root\n"));
    EXPECT_EQ(entry_text("entryRecipientMailbox"), "root");
    for (const char *text : texts_taken) {
        set_entry("entryRecipientMailbox", text);
        EXPECT_STREQ(settings()->MailBox, text);
        EXPECT_STREQ(settings()->MachineName, "");
        type_text("entryRecipientMailbox", text);
        EXPECT_STREQ(settings()->MailBox, text) << "typed";
    }
    EXPECT_EQ(test_window::messages(), texts());
    EXPECT_EQ(ticks, texts());
}

// The entry takes all; 99 bytes of it fit.
TEST(Recipients, AreCutOnAWholeCharacter) {
    const struct {
        std::string text;
        std::string box;
    } table[] = {
        {times(99, "a"), times(99, "a")},        {times(100, "a"), times(99, "a")},
        {times(10000, "a"), times(99, "a")},     {times(10000, umlaut), times(49, umlaut)},
        {times(10000, sun), times(33, sun)},     {"a" + times(10000, sun), "a" + times(32, sun)},
        {times(10000, emoji), times(24, emoji)}, {"aaa" + times(10000, emoji), "aaa" + times(24, emoji)}};
    for (const auto &row : table) {
        start(three_items("MAILSERVER=server\n"));
        set_entry("entryRecipientMailbox", row.text);
        EXPECT_EQ(settings()->MailBox, row.box) << row.text.substr(0, 8);
        EXPECT_STREQ(settings()->MailServer, "server") << row.text.substr(0, 8); // the field after it
        EXPECT_EQ(entry_text("entryRecipientMailbox"), row.text);
    }
}

TEST(Recipients, APastedColumnIsAListOfThem) {
    const struct {
        const char *text;
        const char *box;
    } table[] = {{"a@x\nb@x\nc@x", "a@x b@x c@x"},
                 {"a@x\r\nb@x\r\nc@x\r\n", "a@x b@x c@x "},
                 {"a@x\rb@x", "a@x b@x"},
                 {"a@x\n\nb@x", "a@x  b@x"},
                 {"L\xC3\xBC@x\nb@x", "L\xC3\xBC@x b@x"}};
    for (const auto &row : table) {
        start(three_items());
        set_entry("entryRecipientMailbox", row.text);
        EXPECT_STREQ(settings()->MailBox, row.box) << row.text;
        paste("entryRecipientMailbox", row.text);
        EXPECT_STREQ(settings()->MailBox, row.box) << "pasted: " << row.text;
        EXPECT_EQ(entry_text("entryRecipientMailbox"), row.box) << row.text;
        updateAll();
        EXPECT_EQ(entry_text("entryRecipientMailbox"), row.box) << row.text;
    }
}

// Into the middle of what is there, the cursor after it.
TEST(Recipients, AColumnIsPastedWhereTheCursorStands) {
    start(three_items("MAILBOX=a@x d@x\n"));
    GtkEditable *entry = GTK_EDITABLE(test_window::widget("entryRecipientMailbox"));
    int position = 4;
    gtk_editable_insert_text(entry, "b@x\nc@x\n", -1, &position);
    EXPECT_EQ(position, 12);
    EXPECT_STREQ(settings()->MailBox, "a@x b@x c@x d@x");
}

// A carriage return of the file is shown as it stands: else each refresh would set the text, and the cursor.
TEST(Recipients, ACarriageReturnOfTheFileDoesNotMoveTheCursor) {
    start(three_items("MAILBOX=a@x\r\n"));
    EXPECT_EQ(entry_text("entryRecipientMailbox"), "a@x\r");
    gtk_editable_set_position(GTK_EDITABLE(test_window::widget("entryRecipientMailbox")), 2);
    updateAll();
    EXPECT_EQ(gtk_editable_get_position(GTK_EDITABLE(test_window::widget("entryRecipientMailbox"))), 2);
    EXPECT_STREQ(settings()->MailBox, "a@x\r");
}

// ---- E-mail alerts on and off

static const char *const no_name = "'Name for this system' must be filled!";
static const char *const no_recipients = "'Recipients' must be filled!";

static const struct {
    const char *lines;
    const char *missing; // nullptr: nothing is
} mail_settings[] = {{"", no_name},
                     {"MAILBOX=a@x\n", no_name},
                     {"MACHINENAME=Board\n", no_recipients},
                     {"MACHINENAME=Board\nMAILBOX=a@x\n", nullptr},
                     {"MACHINENAME= \nMAILBOX= \n", nullptr}}; // a blank is a text

static GtkToggleButton *check_button() {
    return GTK_TOGGLE_BUTTON(test_window::widget("checkbuttonMailAlert"));
}

TEST(MailCheckButton, SwitchingOnAsksForNameAndRecipients) {
    for (const auto &row : mail_settings)
        for (bool by_click : {false, true}) {
            start(three_items(row.lines));
            activate("alert1");
            focus("entryMachineName");
            settings()->MailAlert = 7;
            if (by_click)
                click("checkbuttonMailAlert");
            else
                gtk_toggle_button_set_active(check_button(), TRUE);
            bool on = row.missing == nullptr;
            EXPECT_EQ(settings()->MailAlert, on ? 1u : 0u) << row.lines;
            EXPECT_EQ(gtk_toggle_button_get_active(check_button()), on) << row.lines;
            EXPECT_EQ(test_window::messages(), on ? texts{} : texts{row.missing}) << row.lines;
            EXPECT_EQ(focused(), on ? "entryMachineName" : "checkbuttonMailAlert") << row.lines;
        }
}

TEST(MailCheckButton, SwitchingOffAsksForNothing) {
    for (const auto &row : mail_settings) {
        start(three_items("MACHINENAME=Board\nMAILBOX=a@x\nMAILALERT=TRUE\n"));
        ASSERT_TRUE(gtk_toggle_button_get_active(check_button()));
        EXPECT_EQ(settings()->MailAlert, 1u);
        if (row.missing == no_name)
            set_entry("entryMachineName", "");
        if (row.missing == no_recipients)
            set_entry("entryRecipientMailbox", "");
        EXPECT_EQ(settings()->MailAlert, 1u); // emptying a text does not switch it off
        gtk_toggle_button_set_active(check_button(), FALSE);
        EXPECT_EQ(settings()->MailAlert, 0u) << row.lines;
        EXPECT_EQ(test_window::messages(), texts()) << row.lines;
    }
}

TEST(MailCheckButton, CanBeSwitchedOnOnceTheTextsAreFilled) {
    start(three_items());
    click("checkbuttonMailAlert");
    set_entry("entryMachineName", "Board");
    click("checkbuttonMailAlert");
    set_entry("entryRecipientMailbox", "a@x");
    click("checkbuttonMailAlert");
    EXPECT_TRUE(gtk_toggle_button_get_active(check_button()));
    EXPECT_EQ(settings()->MailAlert, 1u);
    EXPECT_EQ(test_window::messages().size(), 2u);
    EXPECT_EQ(mails.size(), 0u);
}

TEST(MailCheckButton, AFileThatSwitchesMailOnWithoutThemIsToldOnce) {
    for (const auto &row : mail_settings) {
        if (row.missing == nullptr)
            continue;
        start(three_items(std::string("MAILALERT=TRUE\n") + row.lines));
        EXPECT_FALSE(gtk_toggle_button_get_active(check_button())) << row.lines;
        EXPECT_EQ(settings()->MailAlert, 0u) << row.lines;
        updateAll();
        EXPECT_EQ(test_window::messages(), texts{row.missing}) << row.lines;
    }
}

// ---- The e-mail test

static std::string test_mail(const char *system, mail_outcome outcome) {
    start(three_items(system));
    outcome_of_mails = outcome;
    test_door::now = 1767607200; // Mon Jan 5 2026, 10:00
    return test_door::captured_stdout([] { click("buttonMailTest"); });
}

TEST(MailTest, SendsTheTestMail) {
    for (const char *alert : {"MAILALERT=FALSE\n", "MAILALERT=TRUE\n"}) {
        EXPECT_EQ(
            test_mail((std::string("MACHINENAME=Rack 100%d\nMAILBOX=a@x b@x\n") + alert).c_str(), MAIL_SENT),
            "");
        ASSERT_EQ(mails.size(), 1u);
        EXPECT_EQ(mails[0].kind, TEST_MAIL);
        EXPECT_EQ(mails[0].recipients, "a@x b@x");
        EXPECT_EQ(mails[0].name, "Rack 100%d");
        EXPECT_EQ(mails[0].body, "E-mail Test!\nat Mon Jan  5 10:00:00 2026\n");
        EXPECT_EQ(test_window::messages(), texts{"Send an alert through E-mail successfully."});
        EXPECT_EQ(settings()->MailAlert, alert == std::string("MAILALERT=TRUE\n")) << alert;
    }
}

TEST(MailTest, TakesTheTextsOfTheEntries) {
    start(three_items("MACHINENAME=Board\nMAILBOX=a@x\n"));
    set_entry("entryMachineName", "Rack");
    set_entry("entryRecipientMailbox", "b@x");
    click("buttonMailTest");
    ASSERT_EQ(mails.size(), 1u);
    EXPECT_EQ(mails[0].recipients, "b@x");
    EXPECT_EQ(mails[0].name, "Rack");
}

TEST(MailTest, NothingIsSentWithoutNameAndRecipients) {
    for (const auto &row : mail_settings) {
        if (row.missing == nullptr)
            continue;
        EXPECT_EQ(test_mail(row.lines, MAIL_SENT), "") << row.lines;
        EXPECT_EQ(mails.size(), 0u) << row.lines;
        EXPECT_EQ(test_window::messages(), texts{row.missing}) << row.lines;
    }
}

TEST(MailTest, OutcomesAreTold) {
    const struct {
        mail_outcome outcome;
        const char *printed;
        texts messages;
    } table[] = {{MAIL_SENT, "", {"Send an alert through E-mail successfully."}},
                 {MAIL_NO_SCRIPT, "", {}},
                 {MAIL_NO_FORK, "fork() error!\n", {}},
                 {MAIL_NO_WAIT, "waitpid() error!\n", {}}};
    for (const auto &row : table) {
        EXPECT_EQ(test_mail("MACHINENAME=Board\nMAILBOX=a@x\n", row.outcome), row.printed) << row.outcome;
        EXPECT_EQ(test_window::messages(), row.messages) << row.outcome;
        EXPECT_EQ(mails.size(), 1u) << row.outcome;
    }
}

// ---- Status buttons

static GtkWidget *status_button(unsigned k) { return lookup_slot(myapp1, "buttonSummaryStatus", k); }

// Switches whose reset ends with their name on standard error, before any access; voltages between them.
static std::string switches(int count) {
    std::string items;
    for (int i = 0; i < count; i++)
        items += item_lines("Volt " + std::to_string(i), "VOLTAGE", "TRUE", "NONE") +
                 item_lines("Switch " + std::to_string(i), "SWITCH", "TRUE", "NONE");
    return system_lines + items + parameter_lines;
}

static std::string errors_of_click(unsigned k) {
    return test_door::captured_stderr([&] { click(status_button(k)); });
}

TEST(StatusButton, ResetsTheSwitchOfItsNumberAndIsBlocked) {
    for (unsigned k = 0; k < 8; k++) {
        start(switches(9));
        test_door::take_log();
        EXPECT_EQ(errors_of_click(k), "Error: \"Switch " + std::to_string(k) + "\" is not defined.\n");
        EXPECT_EQ(test_door::take_log(), "") << k;
        for (unsigned other = 0; other < 16; other++)
            EXPECT_EQ(gtk_widget_get_sensitive(status_button(other)), other != k) << other << " after " << k;
        EXPECT_EQ(ticks, texts()) << k;
        EXPECT_EQ(test_window::messages(), texts()) << k;
    }
}

TEST(StatusButton, TheNextSummaryUnblocksIt) {
    start(switches(9));
    for (unsigned k = 0; k < 8; k++)
        errors_of_click(k);
    updateAll();
    for (unsigned k = 0; k < 8; k++) {
        EXPECT_TRUE(gtk_widget_get_sensitive(status_button(k))) << k;
        EXPECT_NE(errors_of_click(k), "") << k;
    }
}

TEST(StatusButton, ABlockedButtonTakesNoClick) {
    start(switches(2));
    test_window::settle();
    const std::string reset = "Error: \"Switch 1\" is not defined.\n";
    auto clicked = [] { return test_door::captured_stderr([] { click_with_mouse(status_button(1)); }); };
    EXPECT_EQ(clicked(), reset);
    EXPECT_EQ(clicked(), "");
    updateAll();
    EXPECT_EQ(clicked(), reset);
}

TEST(StatusButton, ButtonsFromTheNinthOnDoNothing) {
    start(switches(16));
    test_door::take_log();
    for (unsigned k = 8; k < 16; k++) {
        EXPECT_EQ(errors_of_click(k), "") << k;
        EXPECT_TRUE(gtk_widget_get_visible(status_button(k))) << k;
        EXPECT_TRUE(gtk_widget_get_sensitive(status_button(k))) << k;
    }
    EXPECT_EQ(test_door::take_log(), "");
}

// The page shows monitored switches only, but its buttons count all of them.
TEST(StatusButton, SwitchesAreCountedMonitoredOrNot) {
    start(system_lines + item_lines("Hidden", "SWITCH", "FALSE", "NONE") +
          item_lines("Shown", "SWITCH", "TRUE", "NONE") + parameter_lines);
    EXPECT_EQ(test_window::text_of(test_window::widget("labelSummaryStatus0")), "Shown");
    EXPECT_EQ(errors_of_click(0), "Error: \"Hidden\" is not defined.\n");
    EXPECT_EQ(errors_of_click(1), "Error: \"Shown\" is not defined.\n");
}

// Kept on purpose: without a switch of that number it is the last item, whatever it is.
TEST(StatusButton, WithTooFewSwitchesTheLastItemIsTaken) {
    const std::string fan = item_lines("Last", "FAN", "TRUE");
    const std::string undefined_fan = item_lines("Last", "FAN", "TRUE", "NONE");
    const std::string a_switch = item_lines("Last", "SWITCH", "TRUE", "NONE");
    const struct {
        std::string items;
        unsigned k;
        const char *errors;
    } table[] = {
        {fan, 0, "Warning: To reset \"Last\" is not allowed.\n"},
        {fan, 7, "Warning: To reset \"Last\" is not allowed.\n"},
        {undefined_fan, 0, "Error: \"Last\" is not defined.\n"},
        {switches(2).substr(system_lines.size()) + fan, 2, "Warning: To reset \"Last\" is not allowed.\n"},
        {switches(2).substr(system_lines.size()) + fan, 1, "Error: \"Switch 1\" is not defined.\n"},
        {fan + a_switch, 3, "Error: \"Last\" is not defined.\n"}};
    for (const auto &row : table) {
        start(system_lines + row.items + parameter_lines);
        test_door::take_log();
        EXPECT_EQ(errors_of_click(row.k), row.errors) << row.k << row.items;
        EXPECT_EQ(test_door::take_log(), "");
        EXPECT_FALSE(gtk_widget_get_sensitive(status_button(row.k)));
    }
}

TEST(StatusButton, AnEmptyTableHasNothingToReset) {
    start(switches(1));
    int32_t count = myspKestrel->item_count;
    myspKestrel->item_count = 0;
    test_door::take_log();
    EXPECT_EQ(errors_of_click(0), "");
    EXPECT_EQ(test_door::take_log(), "");
    EXPECT_FALSE(gtk_widget_get_sensitive(status_button(0)));
    myspKestrel->item_count = count;
}

// One register read by the ports: the bank is chosen, the bank-select register (83) put back.
static std::string read_line(const char *bank, const char *reg, const char *value) {
    return std::string("outb 0295 4e\ninb 0296 83\noutb 0296 ") + bank + "\noutb 0295 " + reg +
           "\ninb 0296 " + value + "\noutb 0295 4e\noutb 0296 83\n";
}

static std::string write_line(const char *bank, const char *reg, const char *value) {
    return std::string("outb 0295 4e\ninb 0296 83\noutb 0296 ") + bank + "\noutb 0295 " + reg +
           "\noutb 0296 " + value + "\noutb 0295 4e\noutb 0296 83\n";
}

static test_door::monitor chip;

// A switch at bit 4 of register 42 in bank 1 of chip 28, latched or not; register 46 of bank 0 holds 05, and
// a pulse of its bit 7 clears the latch.
static void start_latch(bool latched) {
    test_door::reset();
    chip = {.index = 0x295, .data = 0x296, .bank_select = 0x83};
    chip.registers[1][0x42] = latched ? 0x10 : 0x00;
    chip.registers[0][0x46] = 0x05;
    test_door::attach(&chip);
    auto write = test_door::on_outb;
    test_door::on_outb = [write](uint16_t port, uint8_t value) {
        write(port, value);
        if (chip.registers[0][0x46] == 0x85)
            chip.registers[1][0x42] = 0;
    };
    open_windows(system_lines + item_lines("Case", "SWITCH", "TRUE") + parameter_lines);
    test_door::take_log();
}

// A reading takes both of its records as limits first; one that is not normal is taken three times.
TEST(StatusButton, AccessesOfAReset) {
    start_latch(true);
    EXPECT_EQ(test_door::captured_stdout([] { click(status_button(0)); }), "Done.\n");
    const std::string reading =
        read_line("81", "42", "10") + read_line("80", "46", "05") + read_line("81", "42", "10");
    EXPECT_EQ(test_door::take_log(), reading + reading + reading + read_line("80", "46", "05") +
                                         write_line("80", "46", "85") + write_line("80", "46", "05") +
                                         read_line("81", "42", "00"));
}

TEST(StatusButton, ALatchThatIsNotSetIsNotCleared) {
    start_latch(false);
    EXPECT_EQ(test_door::captured_stdout([] { click(status_button(0)); }), "Done.\n");
    EXPECT_EQ(test_door::take_log(), read_line("81", "42", "00") + read_line("80", "46", "05") +
                                         read_line("81", "42", "00") + read_line("81", "42", "00"));
    EXPECT_FALSE(gtk_widget_get_sensitive(status_button(0)));
}

TEST(StatusButton, TheClearedSwitchIsGoodAtTheNextRefresh) {
    start_latch(true);
    EXPECT_EQ(test_window::text_of(status_button(0)), "Bad");
    test_door::captured_stdout([] { click(status_button(0)); });
    EXPECT_EQ(test_window::text_of(status_button(0)), "Bad");
    updateAll();
    EXPECT_EQ(test_window::text_of(status_button(0)), "Good");
    EXPECT_TRUE(gtk_widget_get_sensitive(status_button(0)));
}

TEST(StatusButton, AResetThatFailsBlocksTheButtonToo) {
    start_latch(true);
    myspKestrel->items[0].ChipCode = 31; // has no clear
    std::string printed;
    EXPECT_EQ(test_door::captured_stderr(
                  [&] { printed = test_door::captured_stdout([] { click(status_button(0)); }); }),
              "Warning: Non-supported chipset \"Case\".\n");
    EXPECT_EQ(printed, "Failed.\n");
    EXPECT_FALSE(gtk_widget_get_sensitive(status_button(0)));
}
