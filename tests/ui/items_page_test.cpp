// The Items page: the polling interval, and the list of all items.
#include "ui/items_page.h"

#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "displays.h"
#include "support/pages.h"
#include "support/window.h"
#include "ui/tick.h"
#include "ui/windows.h"

using strings = std::vector<std::string>;
using test_window::text_of;
using test_window::widget;

static system_settings *open() {
    test_pages::begin();
    return test_pages::open();
}

static std::string build(const display_list &list) {
    return test_pages::printed([&] {
        build_Items(myapp1, list.data(), myspKestrel->system, nullptr, static_cast<int32_t>(list.size()),
                    nullptr);
    });
}

static int row_count() { return gtk_tree_model_iter_n_children(GTK_TREE_MODEL(list_store), nullptr); }

static std::string cell(int row, int column) {
    GtkTreeIter place;
    if (!gtk_tree_model_iter_nth_child(GTK_TREE_MODEL(list_store), &place, nullptr, row))
        return "no such row";
    char *text = nullptr;
    gtk_tree_model_get(GTK_TREE_MODEL(list_store), &place, column, &text, -1);
    std::string found = text == nullptr ? "null" : text;
    g_free(text);
    return found;
}

static strings row(int number) {
    strings cells;
    for (int column = 0; column < 6; column++)
        cells.push_back(cell(number, column));
    return cells;
}

// ---- The list

TEST(ItemList, SixColumnsInOrder) {
    open();
    static const char *const titles[] = {"Checked",   "Monitored Item", "High Limit",
                                         "Low Limit", "Status",         "Warning"};
    GtkTreeViewColumn *const columns[] = {checked_column,   monitored_item_column, high_limit_column,
                                          low_limit_column, status_column,         warning_column};
    EXPECT_EQ(treeview1, widget("treeview1"));
    EXPECT_EQ(gtk_tree_view_get_model(GTK_TREE_VIEW(treeview1)), GTK_TREE_MODEL(list_store));
    EXPECT_EQ(gtk_tree_model_get_n_columns(GTK_TREE_MODEL(list_store)), 6);
    for (int i = 0; i < 6; i++) {
        EXPECT_EQ(gtk_tree_model_get_column_type(GTK_TREE_MODEL(list_store), i), G_TYPE_STRING) << i;
        EXPECT_EQ(gtk_tree_view_get_column(GTK_TREE_VIEW(treeview1), i), columns[i]) << i;
        EXPECT_STREQ(gtk_tree_view_column_get_title(columns[i]), titles[i]);
    }
    EXPECT_EQ(gtk_tree_view_get_column(GTK_TREE_VIEW(treeview1), 6), nullptr);
}

// The one renderer takes its text from the store's column of the same number.
TEST(ItemList, EachColumnShowsItsOwnCells) {
    open();
    build({shown_item(CAT_VOLTAGE, "12V", 12000, 11000, 10000)});
    static const char *const texts[] = {"*", "12V", "11.00", "10.00", "12.00", "Warning!"};
    GtkTreeIter first;
    ASSERT_TRUE(gtk_tree_model_get_iter_first(GTK_TREE_MODEL(list_store), &first));
    for (int i = 0; i < 6; i++) {
        GtkTreeViewColumn *column = gtk_tree_view_get_column(GTK_TREE_VIEW(treeview1), i);
        gtk_tree_view_column_cell_set_cell_data(column, GTK_TREE_MODEL(list_store), &first, FALSE, FALSE);
        GList *renderers = gtk_cell_layout_get_cells(GTK_CELL_LAYOUT(column));
        ASSERT_EQ(g_list_length(renderers), 1u) << i;
        EXPECT_EQ(renderers->data, text_renderer) << i;
        g_list_free(renderers);
        char *text = nullptr;
        g_object_get(text_renderer, "text", &text, nullptr);
        EXPECT_STREQ(text, texts[i]);
        g_free(text);
    }
}

TEST(ItemList, EveryItemHasARowInTableOrder) {
    open();
    EXPECT_EQ(build({status("S", 0), unmonitored(fan("F", 5400)), voltage("V", 12096), temperature("T", 50),
                     shown_item(5, "X", 1, 2, 0)}),
              "");
    ASSERT_EQ(row_count(), 5);
    EXPECT_EQ(row(0), (strings{"*", "S", "", "", "Good", ""}));
    EXPECT_EQ(row(1), (strings{" ", "F", "", "500", "5400", ""}));
    EXPECT_EQ(row(2), (strings{"*", "V", "20.00", "-20.00", "12.10", ""}));
    EXPECT_EQ(row(3), (strings{"*", "T", "70/158", "", "50/122", ""}));
    EXPECT_EQ(row(4), (strings{"*", "X", "unknown", "unknown", "unknown", "Warning!"}));
}

TEST(ItemList, CountHasNoLimit) {
    open();
    display_list list = joined({run_of(fan, "F", 100, 1000), run_of(voltage, "V", 100, 1000),
                                run_of(temperature, "T", 100, 1), run_of(status, "S", 100, 0)});
    EXPECT_EQ(build(list), "");
    ASSERT_EQ(row_count(), 400);
    EXPECT_EQ(row(99), (strings{"*", "F 99", "", "500", "1099", ""}));
    EXPECT_EQ(row(399), (strings{"*", "S 99", "", "", "Good", "Warning!"})); // state 99 is not a good one
}

TEST(ItemList, RowsAreRebuiltOnEveryRefresh) {
    open();
    build({fan("A", 1000), fan("B", 2000), fan("C", 100)});
    build({unmonitored(fan("A", 1001)), fan("B", 100), fan("C", 3000)});
    ASSERT_EQ(row_count(), 3);
    EXPECT_EQ(row(0), (strings{" ", "A", "", "500", "1001", ""}));
    EXPECT_EQ(row(1), (strings{"*", "B", "", "500", "100", "Warning!"}));
    EXPECT_EQ(row(2), (strings{"*", "C", "", "500", "3000", ""}));
    build({fan("A", 1000)});
    EXPECT_EQ(row_count(), 1);
    build({fan("A", 1000), status("D", 1)});
    ASSERT_EQ(row_count(), 2);
    EXPECT_EQ(row(1), (strings{"*", "D", "", "", "Bad", "Warning!"}));
    build({});
    EXPECT_EQ(row_count(), 0);
}

TEST(ItemList, RefreshShowsTheList) {
    open();
    gtk_widget_hide(treeview1);
    build({fan("A", 1000)});
    EXPECT_TRUE(gtk_widget_get_visible(treeview1));
}

// ---- Cells

TEST(ItemCells, StarForAnyFlagButZero) {
    open();
    static const struct {
        uint32_t flag;
        const char *text;
    } cases[] = {{0, " "}, {1, "*"}, {2, "*"}, {255, "*"}};
    for (const auto &c : cases) {
        item_display display = fan("Fan", 1000);
        display.monitor = c.flag;
        build({display});
        EXPECT_EQ(cell(0, 0), c.text) << c.flag;
    }
}

// Half a hundredth goes by the single-precision number nearest to the quotient: of 1.065 it is above, of
// 0.005 and 12.105 below.
TEST(ItemCells, LimitsByCategory) {
    open();
    static const struct {
        uint32_t cat;
        int64_t high_limit;
        int64_t low_limit;
        const char *high;
        const char *low;
    } cases[] = {
        {CAT_FAN, 9000, 712, "", "712"},
        {CAT_FAN, 9000, 0, "", "0"},
        {CAT_VOLTAGE, 12600, 11400, "12.60", "11.40"},
        {CAT_VOLTAGE, -10800, -13200, "-10.80", "-13.20"},
        {CAT_VOLTAGE, 12105, 1065, "12.10", "1.07"},
        {CAT_VOLTAGE, 5, 0, "0.00", "0.00"},
        {CAT_TEMP, 70, 5, "70/158", ""},
        {CAT_TEMP, 0, 5, "0/32", ""},
        {CAT_TEMP, -5, 5, "-5/23", ""},
        {CAT_SWITCH, 1, 2, "", ""},
        {4, 1, 2, "unknown", "unknown"},
        {255, 1, 2, "unknown", "unknown"},
        {0xFFFFFFFF, 1, 2, "unknown", "unknown"},
    };
    for (const auto &c : cases) {
        build({shown_item(c.cat, "Item", 1, c.high_limit, c.low_limit)});
        EXPECT_EQ(cell(0, 2), c.high) << c.cat << " " << c.high_limit;
        EXPECT_EQ(cell(0, 3), c.low) << c.cat << " " << c.low_limit;
    }
}

TEST(ItemCells, StatusByCategory) {
    open();
    static const struct {
        uint32_t cat;
        int64_t value;
        const char *text;
    } cases[] = {
        {CAT_FAN, 0, "0"},
        {CAT_FAN, 5400, "5400"},
        {CAT_VOLTAGE, 0, "0.00"},
        {CAT_VOLTAGE, 1234, "1.23"},
        {CAT_VOLTAGE, -12000, "-12.00"},
        {CAT_VOLTAGE, 1065, "1.07"},
        {CAT_VOLTAGE, 12105, "12.10"},
        {CAT_TEMP, 0, "N/A"},
        {CAT_TEMP, 50, "50/122"},
        {CAT_TEMP, -5, "-5/23"},
        {CAT_TEMP, 4, "4/39"}, // 36 / 5 = 7
        {CAT_SWITCH, 0, "Good"},
        {CAT_SWITCH, 1, "Bad"},
        {CAT_SWITCH, 2, "Good"},
        {CAT_SWITCH, -1, "Good"},
        {4, 1, "unknown"},
        {255, 0, "unknown"},
    };
    for (const auto &c : cases) {
        build({shown_item(c.cat, "Item", c.value, 20000, -20000)});
        EXPECT_EQ(cell(0, 4), c.text) << c.cat << " " << c.value;
    }
}

TEST(ItemCells, WordOfTheChipReplacesDegreesButNotNA) {
    open();
    item_display silent = worded(temperature("CPU", 40), "Medium");
    silent.thermal_text_supported = 0;
    build({worded(temperature("CPU", 40), "Medium"), worded(temperature("CPU", 0), "Low"), silent,
           worded(temperature("CPU", 40), "Overheat")});
    EXPECT_EQ(row(0), (strings{"*", "CPU", "70/158", "", "Medium", ""}));
    EXPECT_EQ(row(1), (strings{"*", "CPU", "70/158", "", "N/A", ""}));
    EXPECT_EQ(row(2), (strings{"*", "CPU", "70/158", "", "40/104", ""}));
    EXPECT_EQ(row(3), (strings{"*", "CPU", "70/158", "", "Overheat", "Warning!"}));
}

TEST(ItemCells, WarningOfAnAbnormalItemMonitoredOrNot) {
    open();
    static const struct {
        item_display display;
        const char *text;
    } cases[] = {
        {fan("Fan", 500), "Warning!"},
        {fan("Fan", 501), ""},
        {voltage("Volt", 20000), "Warning!"},
        {voltage("Volt", 19999), ""},
        {temperature("Temp", 70), "Warning!"},
        {temperature("Temp", 69), ""},
        {status("State", 1), "Warning!"},
        {status("State", 0), ""},
        {status("State", 2), "Warning!"},
        {shown_item(4, "Other", 1, 2, 0), "Warning!"},
        {unmonitored(fan("Fan", 0)), "Warning!"},
    };
    for (const auto &c : cases) {
        build({c.display});
        EXPECT_EQ(cell(0, 5), c.text) << c.display.name << " " << c.display.value;
    }
}

TEST(ItemCells, NamesInUtf8AndOthers) {
    open();
    std::string longest(39, 'n');
    build({fan("L\xC3\xBC"
               "fter",
               1000),
           fan("L\xFC"
               "fter",
               1000),
           fan(longest, 1000), fan("<b>&", 1000)});
    EXPECT_EQ(cell(0, 1), "L\xC3\xBC"
                          "fter");
    EXPECT_EQ(cell(1, 1), "L\xEF\xBF\xBD"
                          "fter");
    EXPECT_EQ(cell(2, 1), longest);
    EXPECT_EQ(cell(3, 1), "<b>&");
    build({worded(temperature("CPU", 40), "Lo\xFF")});
    EXPECT_EQ(cell(0, 4), "Lo\xEF\xBF\xBD");
    EXPECT_EQ(test_window::take_warnings(), strings());
}

// The widest numbers that a record can hold fit into the cells' 50 bytes.
TEST(ItemCells, WidestNumbers) {
    open();
    build({shown_item(CAT_TEMP, "T", INT32_MIN, INT32_MIN, 0),
           shown_item(CAT_FAN, "F", INT32_MAX, 0, INT32_MIN),
           shown_item(CAT_VOLTAGE, "V", INT32_MIN, INT32_MAX, INT32_MIN)});
    // -2147483648 × 9 / 5 = -19327352832 / 5 = -3865470566, + 32: computed in 64 bits.
    EXPECT_EQ(row(0),
              (strings{"*", "T", "-2147483648/-3865470534", "", "-2147483648/-3865470534", "Warning!"}));
    EXPECT_EQ(row(1), (strings{"*", "F", "", "-2147483648", "2147483647", ""}));
    // Single-precision numbers are quarters apart there; the nearest one of 2147483.648 is .75.
    EXPECT_EQ(row(2), (strings{"*", "V", "2147483.75", "-2147483.75", "-2147483.75", "Warning!"}));
}

// ---- The polling interval

TEST(PollingEntry, ShowsTheIntervalInForce) {
    system_settings *system = open();
    static const struct {
        uint32_t interval_s;
        const char *text;
    } cases[] = {{5, "5"}, {300, "300"}, {0, "0"}, {60, "60"}};
    for (const auto &c : cases) {
        system->Polling = c.interval_s;
        build({});
        EXPECT_EQ(text_of(widget("entryPolling")), c.text);
    }
}

// What was typed and not accepted gives way to the interval in force.
TEST(PollingEntry, IsRewrittenOnEveryRefresh) {
    system_settings *system = open();
    system->Polling = 45;
    build({});
    for (const char *typed : {"", "0"}) {
        gtk_entry_set_text(GTK_ENTRY(widget("entryPolling")), typed);
        build({});
        EXPECT_EQ(text_of(widget("entryPolling")), "45") << "after '" << typed << "'";
    }
    EXPECT_EQ(system->Polling, 45u);
}

// The handler would refuse it with a dialog, on every refresh.
TEST(PollingEntry, IntervalThatNobodyCouldTypeOpensNoDialog) {
    system_settings *system = open();
    for (uint32_t interval_s : {301u, 999u, 1000u, 86400u, 0xFFFFFFFFu}) {
        system->Polling = interval_s;
        build({});
        build({});
        EXPECT_EQ(test_window::messages(), strings()) << interval_s;
        EXPECT_EQ(system->Polling, interval_s);
    }
    system->Polling = 999;
    build({});
    EXPECT_EQ(text_of(widget("entryPolling")), "999");
}

TEST(PollingEntry, ShowingTheIntervalDoesNotRestartTheTimer) {
    system_settings *system = open();
    start_timer(200);
    guint before = timer;
    for (uint32_t interval_s : {100u, 7u}) {
        system->Polling = interval_s;
        build({});
        EXPECT_EQ(timer, before) << interval_s;
    }
    gtk_timeout_remove(timer);
    timer = 0;
}

// Somebody may be typing in it.
TEST(PollingEntry, CursorStaysWhileTheTextIsTheSame) {
    system_settings *system = open();
    system->Polling = 120;
    build({});
    gtk_editable_set_position(GTK_EDITABLE(widget("entryPolling")), 2);
    build({fan("A", 1000)});
    EXPECT_EQ(gtk_editable_get_position(GTK_EDITABLE(widget("entryPolling"))), 2);
    gtk_editable_select_region(GTK_EDITABLE(widget("entryPolling")), 0, 2);
    build({fan("A", 1000)});
    gint start, end;
    EXPECT_TRUE(gtk_editable_get_selection_bounds(GTK_EDITABLE(widget("entryPolling")), &start, &end));
    EXPECT_EQ(start, 0);
    EXPECT_EQ(end, 2);
}

// ---- The place in the list: a refresh comes every few seconds, while somebody looks for a row

static GtkTreeView *list() { return GTK_TREE_VIEW(treeview1); }

static int index_of(GtkTreePath *path) {
    int index = path == nullptr ? -1 : gtk_tree_path_get_indices(path)[0];
    gtk_tree_path_free(path);
    return index;
}

// Numbers of rows; -1: no row.
static int selected_row() {
    GtkTreeIter place;
    GtkTreeModel *model;
    if (!gtk_tree_selection_get_selected(gtk_tree_view_get_selection(list()), &model, &place))
        return -1;
    return index_of(gtk_tree_model_get_path(model, &place));
}

static int cursor_row() {
    GtkTreePath *path;
    gtk_tree_view_get_cursor(list(), &path, nullptr);
    return index_of(path);
}

static void put_cursor(int row) { // selects the row, too, and brings it into view
    GtkTreePath *path = gtk_tree_path_new_from_indices(row, -1);
    gtk_tree_view_set_cursor(list(), path, nullptr, FALSE);
    gtk_tree_path_free(path);
}

static void select_row(int row) {
    GtkTreePath *path = gtk_tree_path_new_from_indices(row, -1);
    gtk_tree_selection_select_path(gtk_tree_view_get_selection(list()), path);
    gtk_tree_path_free(path);
}

static GtkAdjustment *scroll_bar() {
    return gtk_scrolled_window_get_vadjustment(GTK_SCROLLED_WINDOW(widget("scrolledwindow1")));
}

// A hundred fans, more than the page is high, on the screen.
static display_list open_long_list() {
    open();
    gtk_notebook_set_current_page(GTK_NOTEBOOK(widget("notebook1")), 4);
    display_list fans = run_of(fan, "Fan", 100, 1000);
    build(fans);
    test_pages::wait_until([] {
        return gtk_adjustment_get_upper(scroll_bar()) > 2 * gtk_adjustment_get_page_size(scroll_bar());
    });
    return fans;
}

TEST(PlaceInList, SelectionAndCursorStayOnTheirRow) {
    display_list fans = open_long_list();
    for (int row : {0, 7, 99}) {
        put_cursor(row);
        for (item_display &display : fans)
            display.value++;
        build(fans);
        test_window::settle();
        EXPECT_EQ(selected_row(), row);
        EXPECT_EQ(cursor_row(), row);
    }
    EXPECT_EQ(cell(7, 4), "1010"); // and the rows are the new ones
}

TEST(PlaceInList, SelectionIsNotDrawnToTheCursor) {
    display_list fans = open_long_list();
    put_cursor(5);
    select_row(2);
    build(fans);
    EXPECT_EQ(selected_row(), 2);
    EXPECT_EQ(cursor_row(), 5);
}

TEST(PlaceInList, NothingSelectedStaysSo) {
    display_list fans = open_long_list();
    build(fans);
    EXPECT_EQ(selected_row(), -1);
    EXPECT_EQ(cursor_row(), -1);
    put_cursor(5);
    gtk_tree_selection_unselect_all(gtk_tree_view_get_selection(list()));
    build(fans);
    EXPECT_EQ(selected_row(), -1);
    EXPECT_EQ(cursor_row(), 5);
}

// To the pixel, also while the selected row is out of sight.
TEST(PlaceInList, ViewStaysWhereItWasScrolledTo) {
    display_list fans = open_long_list();
    for (int row : {-1, 0, 20, 99}) {
        if (row >= 0)
            put_cursor(row);
        test_window::settle();
        for (double place : {333.0, 1201.0, 0.0}) {
            gtk_adjustment_set_value(scroll_bar(), place);
            test_window::settle();
            build(fans);
            EXPECT_EQ(gtk_adjustment_get_value(scroll_bar()), place) << "cursor on " << row;
            test_window::settle();
            EXPECT_EQ(gtk_adjustment_get_value(scroll_bar()), place) << "later, cursor on " << row;
        }
    }
}

TEST(PlaceInList, SelectionGoesWithItsRow) {
    display_list fans = open_long_list();
    put_cursor(60);
    fans.resize(60);
    build(fans);
    test_window::settle();
    EXPECT_EQ(row_count(), 60);
    EXPECT_EQ(selected_row(), -1);
    put_cursor(59);
    fans.push_back(fan("Another", 1000));
    build(fans);
    EXPECT_EQ(row_count(), 61);
    EXPECT_EQ(selected_row(), 59);
    build({});
    EXPECT_EQ(selected_row(), -1);
    EXPECT_EQ(test_window::take_warnings(), strings());
}

// ---- Names that are too long

// Whether the pointer on that row's name brings a tooltip.
static bool has_tooltip(int row) {
    GtkTreeView *view = GTK_TREE_VIEW(treeview1);
    GtkTreePath *path = gtk_tree_path_new_from_indices(row, -1);
    GdkRectangle area;
    gtk_tree_view_get_cell_area(view, path, monitored_item_column, &area);
    gtk_tree_path_free(path);
    int x, y;
    gtk_tree_view_convert_bin_window_to_widget_coords(view, area.x + 2, area.y + 2, &x, &y);
    GObject *tooltip = G_OBJECT(g_object_new(GTK_TYPE_TOOLTIP, nullptr));
    gboolean shown = FALSE;
    g_signal_emit_by_name(treeview1, "query-tooltip", x, y, FALSE, tooltip, &shown);
    g_object_unref(tooltip);
    return shown;
}

TEST(ItemList, TellsANameThatIsCutByThePointer) {
    open();
    build({fan(std::string(39, 'W'), 1000), fan("CPU1 Core A Temperature", 1000)});
    gtk_notebook_set_current_page(GTK_NOTEBOOK(widget("notebook1")), 4);
    test_window::settle();
    EXPECT_TRUE(has_tooltip(0));
    EXPECT_FALSE(has_tooltip(1));
}

TEST(ItemList, NamesAloneGiveWay) {
    open();
    build({fan(std::string(39, 'W'), 100)});
    gtk_notebook_set_current_page(GTK_NOTEBOOK(widget("notebook1")), 4);
    test_window::settle();
    int width = 0;
    for (GtkTreeViewColumn *column : {checked_column, monitored_item_column, high_limit_column,
                                      low_limit_column, status_column, warning_column})
        width += gtk_tree_view_column_get_width(column);
    GtkAllocation list;
    gtk_widget_get_allocation(treeview1, &list);
    EXPECT_EQ(width, list.width);
    GtkAdjustment *across =
        gtk_scrolled_window_get_hadjustment(GTK_SCROLLED_WINDOW(widget("scrolledwindow1")));
    EXPECT_LE(gtk_adjustment_get_upper(across), gtk_adjustment_get_page_size(across));
}
