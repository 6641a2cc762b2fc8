// The start of the graphical mode: what is built, shown and filled, and in what order.
#include "driver/graphical.h"

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <functional>
#include <gtest/gtest.h>
#include <iterator>
#include <string>
#include <thread>
#include <vector>

#include "config/ini_read.h"
#include "config/settings.h"
#include "driver/refresh.h"
#include "items/display.h"
#include "support/os_test.h"
#include "support/widget_tree.h"
#include "support/window.h"
#include "ui/desktop.h"
#include "ui/items_page.h"
#include "ui/tick.h"
#include "ui/windows.h"

extern "C" const graphical_part kestrel_graphical_part;

using widget_tree::registered;

static const char CONFIGURATION[] =
    "[System]\nBUSTYPE=2\nINDEXREG=295\nDATAREG=296\nPOLLING=5\nMACHINENAME=Board\n\n"
    "[Item]\nITEM_NAME=Fan 1\nITEM_CAT=FAN\nITEM_ID=F1\nBUSTYPE=2\nCHIPCODE=1C\nSLAVE=0\n"
    "OFFSET=28\nACTIVATE=1\nMONITOR=TRUE\nPARAINDEX1=Divisor1\nPARAINDEX2=FAN1H\n\n"
    "[Parameter]\nPARAMETER=Divisor1\nSLAVE=0\nOFFSET=47\nBITMASK=30\n\n"
    "[Parameter]\nPARAMETER=FAN1H\nSLAVE=0\nOFFSET=3B\nBITMASK=FF\n\n";

TEST(Window, OpensWithoutAWarning) {
    test_door::reset();
    test_window::open_display();
    test_window::take_warnings(); // of an earlier test
    test_window::open(CONFIGURATION);
    EXPECT_EQ(test_window::take_warnings(), std::vector<std::string>());
    EXPECT_EQ(test_window::text_of(test_window::widget("labelSummaryFan0")), "Fan 1");
    EXPECT_EQ(test_window::text_of(test_window::widget("entryMachineName")), "Board");
    EXPECT_TRUE(test_window::is_shown("labelSummaryFan"));
    EXPECT_FALSE(test_window::is_shown("labelSummaryVoltage"));
}

TEST(GraphicalStart, LooksForDataBelowUsrLocalShare) {
    test_window::open_display();
    ASSERT_TRUE(kestrel_graphical_part.open(0, nullptr));
    char *path =
        gnome_program_locate_file(nullptr, GNOME_FILE_DOMAIN_APP_PIXMAP, "picture.png", FALSE, nullptr);
    EXPECT_STREQ(path, "/usr/local/share/pixmaps/picture.png");
    g_free(path);
}

TEST(GraphicalStart, IsRefusedWithoutADisplay) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(
        {
            unsetenv("DISPLAY");
            exit(kestrel_graphical_part.open(0, nullptr) ? 1 : 0);
        },
        testing::ExitedWithCode(0), "");
}

// ---- Running: a look at the moment when the displays are built, and one from inside the main loop

static std::function<void(bool generated)> at_displays;
static std::function<void()> in_main_loop;

static void build_displays(bool generated) {
    at_displays(generated);
    const kestrel_context *k = myspKestrel;
    allItemDisps = createItemDisps(k->system, k->items, k->item_count, k->parameters, k->parameter_count);
}

static gboolean look_and_quit(gpointer) {
    in_main_loop();
    gtk_main_quit();
    return FALSE;
}

static int run_mode(bool generated) {
    test_window::open_display();
    test_door::reset();
    test_door::put_file(KESTREL_INI, CONFIGURATION);
    static kestrel_context context;
    context.item_count = static_cast<int32_t>(
        loadKestrelINI_and_getItemCount(&context.system, &context.items, &context.parameters));
    context.parameter_count = 2 * context.item_count;
    myspKestrel = &context;
    timer = 0;
    tick = nullptr;
    g_idle_add(look_and_quit, nullptr);
    int status = kestrel_graphical_part.run(build_displays, generated);
    g_source_remove(timer);
    gtk_widget_hide(myapp1);
    gtk_widget_hide(mywindowAlertMessage);
    return status;
}

static void nothing(bool) {}

TEST(GraphicalStart, BuildsTheDisplaysOnceAsItIsTold) {
    for (bool generated : {false, true}) {
        std::vector<bool> calls;
        at_displays = [&calls](bool generated_now) { calls.push_back(generated_now); };
        in_main_loop = [] {};
        EXPECT_EQ(run_mode(generated), 0);
        EXPECT_EQ(calls, std::vector<bool>{generated});
    }
}

TEST(GraphicalStart, HasItsWindowsBeforeTheDisplays) {
    size_t dialogs = widget_tree::windows_named("dialogInfo").size();
    myapp1 = mywindowAlertMessage = myabout2 = nullptr;
    at_displays = [dialogs](bool) {
        ASSERT_NE(myapp1, nullptr);
        ASSERT_NE(mywindowAlertMessage, nullptr);
        ASSERT_NE(myabout2, nullptr);
        EXPECT_TRUE(gtk_widget_get_visible(myapp1));
        EXPECT_FALSE(gtk_widget_get_visible(mywindowAlertMessage));
        EXPECT_FALSE(gtk_widget_get_visible(myabout2));
        EXPECT_EQ(widget_tree::windows_named("dialogInfo").size(), dialogs + 1);
        EXPECT_EQ(test_window::messages(), std::vector<std::string>()) << "none is shown";
        auto *list = GTK_TREE_VIEW(registered(myapp1, "treeview1"));
        EXPECT_EQ(gtk_tree_view_get_model(list), nullptr) << "the list comes after the displays";
        EXPECT_EQ(timer, 0u);
    };
    in_main_loop = [] {};
    run_mode(false);
}

// Of nohup, or of a shell's "&".
TEST(GraphicalStart, ASignalThatIsIgnoredStaysSo) {
    at_displays = nothing;
    signal(SIGHUP, SIG_IGN);
    in_main_loop = [] {
        struct sigaction hangup, end;
        sigaction(SIGHUP, nullptr, &hangup);
        sigaction(SIGTERM, nullptr, &end);
        EXPECT_EQ(hangup.sa_handler, SIG_IGN);
        EXPECT_NE(end.sa_handler, SIG_DFL);
    };
    run_mode(false);
    signal(SIGHUP, SIG_DFL);
}

// ---- Where the windows are

// The X server, and a window manager if there is one, need a moment to place a window.
static bool is_at(GtkWidget *window, int x, int y) {
    int left = -1, top = -1;
    for (int wait = 0; wait < 200 && (left != x || top != y); wait++) {
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
        test_window::settle();
        gtk_window_get_position(GTK_WINDOW(window), &left, &top);
    }
    EXPECT_EQ(left, x);
    EXPECT_EQ(top, y);
    return left == x && top == y;
}

// The alert window: 12 pixels right of the 640 of the main window, its top 200 above the bottom edge at 600.
TEST(GraphicalStart, PlacesItsWindows) {
    at_displays = nothing;
    in_main_loop = [] {
        EXPECT_TRUE(is_at(myapp1, 0, 0)) << "main window";
        gtk_widget_show(mywindowAlertMessage);
        EXPECT_TRUE(is_at(mywindowAlertMessage, 652, 400)) << "alert window";
    };
    run_mode(false);
}

// ---- The list of items

struct column_row {
    GtkTreeViewColumn **column;
    const char *title;
};

static const column_row columns[] = {
    {&checked_column, "Checked"},       {&monitored_item_column, "Monitored Item"},
    {&high_limit_column, "High Limit"}, {&low_limit_column, "Low Limit"},
    {&status_column, "Status"},         {&warning_column, "Warning"},
};

static void check_store() {
    auto *model = GTK_TREE_MODEL(list_store);
    EXPECT_EQ(treeview1, registered(myapp1, "treeview1"));
    EXPECT_EQ(gtk_tree_view_get_model(GTK_TREE_VIEW(treeview1)), model);
    ASSERT_EQ(gtk_tree_model_get_n_columns(model), 6);
    for (int column = 0; column < 6; column++)
        EXPECT_EQ(gtk_tree_model_get_column_type(model, column), G_TYPE_STRING) << column;
}

// The store's column that the renderer's text comes from is seen in what it shows of the first row.
static std::string drawn_text(GtkTreeViewColumn *column) {
    GtkTreeIter row;
    gtk_tree_model_get_iter_first(GTK_TREE_MODEL(list_store), &row);
    gtk_tree_view_column_cell_set_cell_data(column, GTK_TREE_MODEL(list_store), &row, FALSE, FALSE);
    char *text = nullptr;
    g_object_get(text_renderer, "text", &text, nullptr);
    std::string drawn = text != nullptr ? text : "";
    g_free(text);
    return drawn;
}

static void mark_first_row() {
    GtkTreeIter row;
    gtk_list_store_clear(list_store);
    gtk_list_store_append(list_store, &row);
    for (int column = 0; column < 6; column++)
        gtk_list_store_set(list_store, &row, column, std::to_string(column).c_str(), -1);
}

static void check_column(int i) {
    GtkTreeViewColumn *column = gtk_tree_view_get_column(GTK_TREE_VIEW(treeview1), i);
    EXPECT_EQ(column, *columns[i].column) << i;
    EXPECT_STREQ(gtk_tree_view_column_get_title(column), columns[i].title);
    GList *cells = gtk_cell_layout_get_cells(GTK_CELL_LAYOUT(column));
    ASSERT_EQ(g_list_length(cells), 1u) << i;
    EXPECT_EQ(cells->data, text_renderer) << i;
    g_list_free(cells);
    EXPECT_EQ(drawn_text(column), std::to_string(i));
}

TEST(GraphicalStart, GivesTheListItsStoreAndColumns) {
    at_displays = nothing;
    in_main_loop = [] {
        check_store();
        EXPECT_TRUE(GTK_IS_CELL_RENDERER_TEXT(text_renderer));
        mark_first_row();
        EXPECT_EQ(gtk_tree_view_get_column(GTK_TREE_VIEW(treeview1), 6), nullptr);
        for (int i = 0; i < static_cast<int>(std::size(columns)); i++)
            check_column(i);
    };
    run_mode(false);
}

// ---- Pages and timer

TEST(GraphicalStart, FillsThePages) {
    at_displays = nothing;
    in_main_loop = [] {
        EXPECT_EQ(test_window::text_of(test_window::widget("labelSummaryFan0")), "Fan 1");
        EXPECT_EQ(test_window::text_of(test_window::widget("entryMachineName")), "Board");
        EXPECT_EQ(gtk_tree_model_iter_n_children(GTK_TREE_MODEL(list_store), nullptr), 1);
        std::vector<GtkLabel *> status = widget_tree::labels_in(test_window::widget("appbar1"));
        ASSERT_EQ(status.size(), 1u);
        EXPECT_STREQ(gtk_label_get_text(status[0]), "Ready");
    };
    run_mode(false);
}

TEST(GraphicalStart, TicksAfterAPollingIntervalForTheFirstTime) {
    constexpr int64_t SECOND_US = 1000000;
    at_displays = nothing;
    in_main_loop = [] {
        EXPECT_EQ(tick, updateAll);
        ASSERT_NE(timer, 0u);
        GSource *source = g_main_context_find_source_by_id(nullptr, timer);
        ASSERT_NE(source, nullptr);
        int64_t left_us = g_source_get_ready_time(source) - g_get_monotonic_time();
        EXPECT_GT(left_us, 3 * SECOND_US); // of the 5 s of the configuration
        EXPECT_LE(left_us, 5 * SECOND_US);
    };
    run_mode(false);
}
