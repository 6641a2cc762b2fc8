// No text is cut off: with the fonts and screens that administrators have, every text of the shown windows
// has the room that it takes.
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <gtest/gtest.h>
#include <set>
#include <string>
#include <unistd.h>
#include <vector>

#include "config/settings.h"
#include "gestures.h"
#include "items/display.h"
#include "support/os_test.h"
#include "support/widget_tree.h"
#include "support/window.h"
#include "ui/alert_window.h"
#include "ui/chart_pages.h"
#include "ui/items_page.h"
#include "ui/summary_page.h"
#include "ui/windows.h"

using widget_tree::registered;

// ---- Items: those of a board, named as a test wants, with the widest readings that sensors give

static std::string item(const std::string &name, const std::string &category) {
    return "[Item]\nITEM_NAME=" + name + "\nITEM_CAT=" + category +
           "\nVOL_FUNC=P12V\nITEM_ID=F1\nBUSTYPE=2\nCHIPCODE=1C\nSLAVE=0\nOFFSET=28\nACTIVATE=1\n"
           "MONITOR=TRUE\nPARAINDEX1=P\nPARAINDEX2=P\n\n";
}

static std::string configuration(const std::string &items) {
    return "[System]\nBUSTYPE=2\nINDEXREG=295\nDATAREG=296\nPOLLING=300\nMACHINENAME=Board\n\n" + items +
           "[Parameter]\nPARAMETER=P\nSLAVE=0\nOFFSET=2B\nBITMASK=FF\n\n";
}

// Five of each kind: more than a row of the Summary, its every column is used.
static std::string items_with_long_names() {
    std::string items;
    for (const char *category : {"FAN", "VOLTAGE", "TEMP", "SWITCH"})
        for (int i = 0; i < 5; i++)
            items += item("A name of as many characters as fit in " + std::to_string(i), category);
    return items;
}

// One item of every name that our boards give to theirs; there are fewer of each kind than slots.
static std::string items_of_all_boards() {
    std::ifstream file(KESTREL_MASTER_FILE);
    std::set<std::string> items;
    std::string name;
    for (std::string line; std::getline(file, line);)
        if (line.rfind("ITEM_NAME=", 0) == 0)
            name = line.substr(10);
        else if (line.rfind("ITEM_CAT=", 0) == 0)
            items.insert(item(name, line.substr(9)));
    EXPECT_GT(items.size(), 40u);
    std::string all;
    for (const std::string &one : items)
        all += one;
    return all;
}

static int64_t wide_value(uint32_t category) {
    static const int64_t values[] = {99999, -12345, 127, 0}; // rpm, mV, degrees Celsius, "Good"
    return values[category];
}

static void open_with(const std::string &items) {
    test_door::reset();
    test_window::open(configuration(items));
    int32_t count = myspKestrel->item_count;
    for (int32_t i = 0; i < count; i++) {
        item_display *display = &allItemDisps[i];
        display->monitor = 1;
        display->value = display->high_limit = display->low_limit = wide_value(display->cat);
    }
    build_Summary(myapp1, allItemDisps, count);
    build_Fan(myapp1, allItemDisps, count);
    build_Voltage(myapp1, allItemDisps, count);
    build_Thermal(myapp1, allItemDisps, count);
    build_Items(myapp1, allItemDisps, myspKestrel->system, nullptr, count, nullptr);
}

// ---- Screens and fonts: that of the X server, others as a display sets them, and a larger font

// They are many, and the toolkit lays out each of them again for the next screen.
static void close_windows() {
    for (GtkWidget **window : {&myapp1, &mywindowAlertMessage}) {
        if (*window != nullptr)
            widget_tree::destroy(*window);
        *window = nullptr;
    }
}

// Calls `check` with no window open, once for each.
static void on_each_screen(void (*check)()) {
    test_window::open_display();
    GtkSettings *settings = gtk_settings_get_default();
    int as_it_is;
    g_object_get(settings, "gtk-xft-dpi", &as_it_is, nullptr);
    for (int dpi : {as_it_is, 96 * 1024, 120 * 1024, 144 * 1024}) {
        g_object_set(settings, "gtk-xft-dpi", dpi, nullptr);
        SCOPED_TRACE(std::to_string(dpi / 1024) + " dpi");
        check();
        hide_windows();
        close_windows();
    }
    g_object_set(settings, "gtk-xft-dpi", as_it_is, nullptr);
}

// The toolkit takes the font when it starts, so this is for a process of its own.
[[noreturn]] static void check_with_font(const char *font, const std::vector<void (*)()> &checks) {
    std::string path = testing::TempDir() + "kestrel-font-" + std::to_string(getpid());
    std::ofstream(path) << "gtk-font-name=\"" << font << "\"\n";
    char *files[] = {path.data(), nullptr};
    gtk_rc_set_default_files(files);
    for (void (*check)() : checks)
        on_each_screen(check);
    remove(path.c_str());
    exit(testing::Test::HasFailure() ? 1 : 0);
}

// ---- What is checked

static std::string name_around(GtkWidget *window, GtkWidget *widget) {
    std::string name = gtk_widget_get_name(widget);
    return registered(window, name) == widget ? name : widget_tree::enclosing(window, widget);
}

// The line of the status bar ends in dots where it is too long, on purpose; names have them in the middle.
static bool may_be_cut(const std::string &name, bool names_too) {
    return name == "appbar1" || (names_too && name.rfind("labelSummary", 0) == 0);
}

// A line of text is higher than its letters, by two pixels at least.
static void check_room(GtkLabel *label, const std::string &name, bool names_may_be_cut) {
    int width, height, padding_across, padding_down;
    pango_layout_get_pixel_size(gtk_label_get_layout(label), &width, &height);
    gtk_misc_get_padding(GTK_MISC(label), &padding_across, &padding_down);
    GtkAllocation room;
    gtk_widget_get_allocation(GTK_WIDGET(label), &room);
    std::string text = name + ": \"" + gtk_label_get_text(label) + '"';
    EXPECT_LE(width + 2 * padding_across, room.width) << text;
    EXPECT_LE(height, room.height + 2) << text;
    EXPECT_TRUE(may_be_cut(name, names_may_be_cut) ||
                !pango_layout_is_ellipsized(gtk_label_get_layout(label)))
        << text;
}

// Returns how many there were.
static unsigned check_labels_in(GtkWidget *part, bool names_may_be_cut = false) {
    unsigned checked = 0;
    GtkWidget *window = gtk_widget_get_toplevel(part);
    for (GtkLabel *label : widget_tree::labels_in(part)) {
        if (!gtk_widget_get_mapped(GTK_WIDGET(label)) || gtk_label_get_text(label)[0] == '\0')
            continue;
        check_room(label, name_around(window, GTK_WIDGET(label)), names_may_be_cut);
        checked++;
    }
    return checked;
}

static GtkWidget *show_page(int page) {
    auto *notebook = GTK_NOTEBOOK(registered(myapp1, "notebook1"));
    gtk_notebook_set_current_page(notebook, page);
    test_window::settle();
    return gtk_notebook_get_nth_page(notebook, page);
}

static bool scrolls_sideways(GtkWidget *scrolled) {
    GtkAdjustment *across = gtk_scrolled_window_get_hadjustment(GTK_SCROLLED_WINDOW(scrolled));
    return gtk_adjustment_get_upper(across) > gtk_adjustment_get_page_size(across);
}

// ---- The main window

static void check_pages() {
    static const struct {
        const char *page;
        unsigned labels;
    } rows[] = {
        {"Summary", 4 + 4 * 2 * 5}, // headings; a name and a value of each item
        {"Fan", 3 * 5},             // a name, a limit line and a reading of each
        {"Voltage", 3 * 5},
        {"Thermal", 3 * 5},
        {"Items", 5 + 6}, // two labels and three buttons; the titles of the columns
        {"Alert", 7},     // three labels, three buttons and the check button
    };
    open_with(items_with_long_names());
    for (int page = 0; page < 6; page++)
        EXPECT_EQ(check_labels_in(show_page(page), true), rows[page].labels) << rows[page].page;
}

TEST(TextRoom, IsEnoughForLongNamesOnEveryPage) { on_each_screen(check_pages); }

static void check_names_of_our_boards() {
    open_with(items_of_all_boards());
    for (int page = 0; page < 4; page++)
        EXPECT_GT(check_labels_in(show_page(page)), 30u) << page;
}

TEST(TextRoom, IsEnoughForTheNamesOfOurBoardsWithoutDots) { on_each_screen(check_names_of_our_boards); }

static void check_frame() {
    open_with(items_with_long_names());
    GtkWidget *bar = gtk_widget_get_parent(registered(myapp1, "file1"));
    EXPECT_EQ(check_labels_in(bar), 4u);
    EXPECT_EQ(check_labels_in(registered(myapp1, "appbar1")), 1u);
    for (const char *tab :
         {"labelSummary", "labelFan", "labelVoltage", "labelThermal", "labelItems", "labelAlert"})
        EXPECT_EQ(check_labels_in(registered(myapp1, tab)), 1u) << tab;
}

TEST(TextRoom, IsEnoughAroundThePages) { on_each_screen(check_frame); }

// Around the text in an entry are two pixels of its own. Longer texts than the interval's can be scrolled.
static void check_entry(const char *name) {
    constexpr int BORDERS = 2 * 2;
    GtkEntry *entry = GTK_ENTRY(registered(myapp1, name));
    int width, height, room, room_down;
    pango_layout_get_pixel_size(gtk_entry_get_layout(entry), &width, &height);
    gdk_drawable_get_size(gtk_entry_get_text_window(entry), &room, &room_down);
    EXPECT_LE(width + BORDERS, room) << name;
    EXPECT_LE(height, room_down) << name;
}

static void check_entries() {
    open_with(item("Fan", "FAN"));
    show_page(4);
    set_entry("entryPolling", "300");
    check_entry("entryPolling");
    show_page(5);
    check_entry("entryMachineName");
    check_entry("entryRecipientMailbox");
}

TEST(TextRoom, IsEnoughInTheEntries) { on_each_screen(check_entries); }

// What is wider than the window could only be seen by scrolling; so could the warnings of a list with long
// names.
static void check_scrolling() {
    open_with(items_with_long_names());
    for (int page = 0; page < 6; page++)
        EXPECT_FALSE(scrolls_sideways(show_page(page))) << page;
    show_page(4);
    EXPECT_FALSE(scrolls_sideways(registered(myapp1, "scrolledwindow1")));
}

TEST(TextRoom, NeedsNoScrollingToTheSide) { on_each_screen(check_scrolling); }

static std::string width_of_column(GtkTreeViewColumn *column, const char *text) {
    GtkWidget *label = gtk_label_new(text);
    double scale;
    g_object_get(text_renderer, "scale", &scale, nullptr);
    PangoLayout *layout = gtk_widget_create_pango_layout(label, text);
    PangoAttrList *attributes = pango_attr_list_new();
    pango_attr_list_insert(attributes, pango_attr_scale_new(scale));
    pango_layout_set_attributes(layout, attributes);
    int width, height;
    pango_layout_get_pixel_size(layout, &width, &height);
    int column_width = gtk_tree_view_column_get_width(column);
    return width <= column_width ? "enough"
                                 : std::to_string(column_width) + " instead of " + std::to_string(width);
}

static void check_list() {
    open_with(items_of_all_boards());
    show_page(4);
    EXPECT_EQ(width_of_column(monitored_item_column, "CPU1 Core A Temperature"), "enough");
    EXPECT_EQ(width_of_column(high_limit_column, "127/260"), "enough");
    EXPECT_EQ(width_of_column(status_column, "127/260"), "enough");
    EXPECT_EQ(width_of_column(warning_column, "Warning!"), "enough");
}

TEST(TextRoom, IsEnoughInTheListForTheNamesOfOurBoards) { on_each_screen(check_list); }

// Long names are side by side on the Summary, with four pixels between them.
static void check_gaps() {
    open_with(items_with_long_names());
    show_page(0);
    int end_of_last = -4;
    for (unsigned slot = 0; slot < 4; slot++) {
        GtkLabel *label = GTK_LABEL(registered(myapp1, "labelSummaryFan" + std::to_string(slot)));
        int x, y, width, height;
        gtk_label_get_layout_offsets(label, &x, &y);
        pango_layout_get_pixel_size(gtk_label_get_layout(label), &width, &height);
        EXPECT_GE(x - end_of_last, 4) << slot;
        end_of_last = x + width;
    }
}

TEST(TextRoom, KeepsNamesApart) { on_each_screen(check_gaps); }

static double height_of_text(const char *name) {
    int width, height;
    pango_layout_get_pixel_size(gtk_label_get_layout(widget_tree::labels_in(registered(myapp1, name))[0]),
                                &width, &height);
    return height;
}

static void check_rows_of_buttons() {
    open_with(item("Fan", "FAN"));
    show_page(4);
    EXPECT_EQ(height_of_text("buttonSelectAll"), height_of_text("buttonUnselectAll"));
    EXPECT_EQ(height_of_text("buttonItemsSave"), height_of_text("buttonUnselectAll"));
    show_page(5);
    EXPECT_EQ(height_of_text("buttonMailTest"), height_of_text("buttonAlertSave"));
}

TEST(TextRoom, ButtonsOfARowAreWrittenAlike) { on_each_screen(check_rows_of_buttons); }

// The window's edge and the entries do not touch the labels before them.
static void check_air() {
    open_with(item("Fan", "FAN"));
    static const struct {
        int page;
        const char *label;
        const char *entry;
    } rows[] = {{4, "label1", "entryPolling"}, {5, "label7", "entryRecipientMailbox"}};
    for (const auto &row : rows) {
        show_page(row.page);
        GtkLabel *label = GTK_LABEL(registered(myapp1, row.label));
        int x, y, width, height;
        gtk_label_get_layout_offsets(label, &x, &y);
        pango_layout_get_pixel_size(gtk_label_get_layout(label), &width, &height);
        GtkAllocation room, entry;
        gtk_widget_get_allocation(GTK_WIDGET(label), &room);
        gtk_widget_get_allocation(registered(myapp1, row.entry), &entry);
        EXPECT_GE(x - room.x, 4) << row.label;
        EXPECT_GE(entry.x - (x + width), 4) << row.label;
    }
}

TEST(TextRoom, KeepsLabelsFromTheirEntries) { on_each_screen(check_air); }

// ---- Other windows

static void check_alert_window() {
    open_with(item("Fan", "FAN"));
    GtkWidget *window = mywindowAlertMessage;
    gtk_widget_show(window);
    test_window::settle();
    EXPECT_EQ(check_labels_in(window), 6u); // the message, the counter and four buttons
    gtk_label_set_text(GTK_LABEL(registered(window, "labelIndexCount")), "9999/9999");
    test_window::settle();
    check_labels_in(window);
}

TEST(TextRoom, IsEnoughInTheAlertWindow) { on_each_screen(check_alert_window); }

static void check_dialogs() {
    static const char *const messages[] = {
        "Configuration has been saved.",
        "Please enter an integer between 1 and 300.",
        "'Name for this system' must be filled!",
        "'Recipients' must be filled!",
        "Send an alert through E-mail successfully.",
    };
    for (const char *message : messages) {
        GtkWidget *dialog = show_info(message);
        test_window::settle();
        EXPECT_EQ(check_labels_in(dialog), 2u) << message;
        gtk_widget_hide(dialog);
    }
}

TEST(TextRoom, IsEnoughInTheInfoDialog) { on_each_screen(check_dialogs); }

// Sizes are fixed, the user's font is not.
TEST(TextRoom, IsEnoughForAFontATenthLarger) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(
        check_with_font("Sans 11", {check_pages, check_names_of_our_boards, check_frame, check_entries,
                                    check_scrolling, check_list, check_gaps, check_rows_of_buttons, check_air,
                                    check_alert_window, check_dialogs}),
        testing::ExitedWithCode(0), "");
}

// ---- Sections of the Summary

static int left_of(const char *name) {
    int x = -1, y = -1;
    GtkWidget *widget = registered(myapp1, name);
    gtk_widget_translate_coordinates(widget, myapp1, 0, 0, &x, &y);
    return x;
}

// A section with one item is as wide as one with four: its columns do not spread.
TEST(SummaryPage, HasItsSectionsBelowEachOther) {
    test_door::reset();
    test_window::open(configuration(item("1", "FAN") + item("1", "VOLTAGE") + item("2", "VOLTAGE") +
                                    item("3", "VOLTAGE") + item("4", "VOLTAGE") + item("1", "SWITCH") +
                                    item("2", "SWITCH")));
    EXPECT_EQ(left_of("buttonSummaryFan0"), left_of("buttonSummaryVoltage0"));
    EXPECT_EQ(left_of("buttonSummaryStatus0"), left_of("buttonSummaryVoltage0"));
    EXPECT_EQ(left_of("buttonSummaryStatus1"), left_of("buttonSummaryVoltage1"));
    EXPECT_EQ(left_of("labelSummaryFan"), left_of("labelSummaryVoltage"));
}
