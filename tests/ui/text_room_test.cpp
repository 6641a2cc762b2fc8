// No text is cut off: with the default font, every label and button of the shown windows has the room that
// its text takes.
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <gtest/gtest.h>
#include <string>
#include <unistd.h>
#include <vector>

#include "items/display.h"
#include "support/os_test.h"
#include "support/widget_tree.h"
#include "support/window.h"
#include "ui/chart_pages.h"
#include "ui/summary_page.h"
#include "ui/windows.h"

using widget_tree::registered;

static std::string item(const std::string &name, const char *category) {
    return "[Item]\nITEM_NAME=" + name + "\nITEM_CAT=" + category +
           "\nVOL_FUNC=P12V\nITEM_ID=F1\nBUSTYPE=2\nCHIPCODE=1C\nSLAVE=0\nOFFSET=28\nACTIVATE=1\n"
           "MONITOR=TRUE\nPARAINDEX1=P\nPARAINDEX2=P\n\n";
}

static std::string configuration(const std::string &items) {
    return "[System]\nBUSTYPE=2\nINDEXREG=295\nDATAREG=296\nPOLLING=300\nMACHINENAME=Board\n\n" + items +
           "[Parameter]\nPARAMETER=P\nSLAVE=0\nOFFSET=2B\nBITMASK=FF\n\n";
}

// Five of each kind: more than a row of the Summary, its every column is used.
static std::string items_of_all_kinds() {
    std::string items;
    for (const char *category : {"FAN", "VOLTAGE", "TEMP", "SWITCH"})
        for (int i = 0; i < 5; i++)
            items += item("A name of as many characters as fit in " + std::to_string(i), category);
    return items;
}

// The widest readings that sensors give.
static int64_t wide_value(uint32_t category) {
    static const int64_t values[] = {99999, -12345, 127, 0}; // rpm, mV, degrees Celsius, "Good"
    return values[category];
}

static void open_with_wide_texts() {
    test_door::reset();
    test_window::open(configuration(items_of_all_kinds()));
    constexpr int32_t ITEMS = 20;
    for (int32_t i = 0; i < ITEMS; i++) {
        item_display *display = &allItemDisps[i];
        display->value = display->high_limit = display->low_limit = wide_value(display->cat);
    }
    build_Summary(myapp1, allItemDisps, ITEMS);
    build_Fan(myapp1, allItemDisps, ITEMS);
    build_Voltage(myapp1, allItemDisps, ITEMS);
    build_Thermal(myapp1, allItemDisps, ITEMS);
}

static std::string name_around(GtkWidget *window, GtkWidget *widget) {
    std::string name = gtk_widget_get_name(widget);
    return registered(window, name) == widget ? name : widget_tree::enclosing(window, widget);
}

// Names on the Summary and the line of the status bar end in dots where they are too long, on purpose.
static bool may_end_in_dots(const std::string &name) {
    return name.rfind("labelSummary", 0) == 0 || name == "appbar1";
}

static void check_room(GtkLabel *label, const std::string &name) {
    int width, height, padding_across, padding_down;
    pango_layout_get_pixel_size(gtk_label_get_layout(label), &width, &height);
    gtk_misc_get_padding(GTK_MISC(label), &padding_across, &padding_down);
    GtkAllocation room;
    gtk_widget_get_allocation(GTK_WIDGET(label), &room);
    std::string text = name + ": \"" + gtk_label_get_text(label) + '"';
    EXPECT_LE(width + 2 * padding_across, room.width) << text;
    EXPECT_TRUE(may_end_in_dots(name) || !pango_layout_is_ellipsized(gtk_label_get_layout(label))) << text;
}

// Returns how many there were.
static unsigned check_labels_in(GtkWidget *part) {
    unsigned checked = 0;
    GtkWidget *window = gtk_widget_get_toplevel(part);
    for (GtkLabel *label : widget_tree::labels_in(part)) {
        if (!gtk_widget_get_mapped(GTK_WIDGET(label)) || gtk_label_get_text(label)[0] == '\0')
            continue;
        check_room(label, name_around(window, GTK_WIDGET(label)));
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

TEST(TextRoom, IsEnoughOnEveryPage) {
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
    open_with_wide_texts();
    for (int page = 0; page < 6; page++)
        EXPECT_EQ(check_labels_in(show_page(page)), rows[page].labels) << rows[page].page;
}

TEST(TextRoom, IsEnoughAroundThePages) {
    open_with_wide_texts();
    GtkWidget *bar = gtk_widget_get_parent(registered(myapp1, "file1"));
    EXPECT_EQ(check_labels_in(bar), 4u);
    EXPECT_EQ(check_labels_in(registered(myapp1, "appbar1")), 1u);
    for (const char *tab :
         {"labelSummary", "labelFan", "labelVoltage", "labelThermal", "labelItems", "labelAlert"})
        EXPECT_EQ(check_labels_in(registered(myapp1, tab)), 1u) << tab;
}

TEST(TextRoom, IsEnoughInTheAlertWindow) {
    test_window::open_display();
    GtkWidget *window = create_windowAlertMessage();
    gtk_widget_show(window);
    test_window::settle();
    EXPECT_EQ(check_labels_in(window), 5u); // the counter and four buttons
    gtk_label_set_text(GTK_LABEL(registered(window, "labelIndexCount")), "9999/9999");
    test_window::settle();
    check_labels_in(window);
    gtk_widget_hide(window);
}

TEST(TextRoom, IsEnoughInTheInfoDialog) {
    static const char *const messages[] = {
        "Configuration has been saved.",
        "Please enter an integer between 1 and 300.",
        "'Name for this system' must be filled!",
        "'Recipients' must be filled!",
        "Send an alert through E-mail successfully.",
    };
    test_window::open_display();
    for (const char *message : messages) {
        GtkWidget *dialog = show_info(message);
        test_window::settle();
        EXPECT_EQ(check_labels_in(dialog), 2u) << message;
        gtk_widget_hide(dialog);
    }
}

// For a process of its own: the toolkit takes the font when it starts.
[[noreturn]] static void check_fixed_texts(const char *font) {
    std::string path = testing::TempDir() + "kestrel-font-" + std::to_string(getpid());
    std::ofstream(path) << "gtk-font-name=\"" << font << "\"\n";
    char *files[] = {path.data(), nullptr};
    gtk_rc_set_default_files(files);
    open_with_wide_texts();
    for (int page : {4, 5})
        check_labels_in(show_page(page));
    gtk_widget_show(mywindowAlertMessage);
    test_window::settle();
    check_labels_in(mywindowAlertMessage);
    remove(path.c_str());
    exit(testing::Test::HasFailure() ? 1 : 0);
}

// Sizes are fixed, the user's font is not.
TEST(TextRoom, IsEnoughForAFontATenthLarger) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(check_fixed_texts("Sans 11"), testing::ExitedWithCode(0), "");
}

// What is wider than the window could only be seen by scrolling.
TEST(TextRoom, NeedsNoScrollingToTheSide) {
    open_with_wide_texts();
    for (int page = 0; page < 6; page++) {
        GtkAdjustment *across = gtk_scrolled_window_get_hadjustment(GTK_SCROLLED_WINDOW(show_page(page)));
        EXPECT_LE(gtk_adjustment_get_upper(across), gtk_adjustment_get_page_size(across)) << page;
    }
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
