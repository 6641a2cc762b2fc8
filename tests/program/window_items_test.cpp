// The Items page: the polling interval, what is monitored, and what Save makes of the configuration.
#include <filesystem>
#include <gtest/gtest.h>

#include "boards.h"
#include "user.h"
#include "window_boards.h"

using lines = std::vector<std::string>;

// The n-th MONITOR line of a configuration, counted from 0, set to `flag`.
static std::string with_monitor(const std::string &configuration, int n, const std::string &flag) {
    const std::string key = "MONITOR=";
    size_t at = configuration.find(key);
    for (; n > 0; n--)
        at = configuration.find(key, at + 1);
    at += key.size();
    std::string result = configuration;
    return result.replace(at, configuration.find('\n', at) - at, flag);
}

// All of them.
static std::string with_monitors(std::string configuration, const std::string &flag) {
    int count = count_of(configuration, "MONITOR=");
    for (int n = 0; n < count; n++)
        configuration = with_monitor(configuration, n, flag);
    return configuration;
}

static bool save() {
    click(MAIN, ITEMS_SAVE_X, BUTTONS_Y);
    return confirm_dialog();
}

static void enter_interval(const std::string &text) {
    click(MAIN, ENTRY_X, BUTTONS_Y);
    keys({"ctrl+a"});
    type(text);
}

static void expect_good_end(const window_run &run) {
    run_result result = quit(run);
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.out, BANNER);
    EXPECT_EQ(result.err, "");
}

// ---- The polling interval

TEST(WindowItems, AShorterIntervalIsInForceAtOnce) {
    window_run run = start({troubled_board("300")});
    ASSERT_TRUE(open_page(ITEMS));
    enter_interval("1");
    EXPECT_TRUE(trace_grows(run, 3 * 6800)); // nothing would come within the 300 seconds
    EXPECT_TRUE(entry_shows("1"));
    EXPECT_TRUE(save());
    EXPECT_EQ(kept(run, "/etc/Kestrel.ini"), troubled_configuration("1"));
    EXPECT_EQ(kept(run, "/etc/Kestrel.ini.old"), troubled_configuration("300"));
    expect_good_end(run);
}

TEST(WindowItems, ALongerIntervalIsInForceAtOnce) {
    window_run run = start({troubled_board("1")});
    ASSERT_TRUE(trace_grows(run, 1));
    ASSERT_TRUE(open_page(ITEMS));
    enter_interval("300");
    EXPECT_TRUE(entry_shows("300"));
    EXPECT_FALSE(trace_grows(run, 1, 3));
    expect_good_end(run);
}

// The digits before the last are a number, too: 30 is in force when 301 is refused.
TEST(WindowItems, AnIntervalAbove300IsRefused) {
    window_run run = start({small_board("5")});
    ASSERT_TRUE(open_page(ITEMS));
    enter_interval("301");
    ASSERT_TRUE(is_shown(DIALOG));
    EXPECT_TRUE(entry_shows("0"));
    EXPECT_TRUE(confirm_dialog());
    click(MAIN, SELECT_ALL_X, BUTTONS_Y); // a tick
    click(MAIN, ENTRY_X, BUTTONS_Y);
    EXPECT_TRUE(entry_shows("30"));
    EXPECT_TRUE(save());
    EXPECT_EQ(count_of(kept(run, "/etc/Kestrel.ini"), "\nPOLLING=30\n"), 1);
    expect_good_end(run);
}

TEST(WindowItems, WhatIsNoNumberIsRefusedAndNothingIsIgnored) {
    const struct {
        const char *typed;
        const char *shown; // before the next tick
        bool refused;
    } table[] = {
        {"a", "0", true}, {"99a", "0", true}, {"-", "0", true}, {"0", "0", false}, {"00", "00", false}};
    window_run run = start({small_board("300")});
    ASSERT_TRUE(open_page(ITEMS));
    for (const auto &row : table) {
        enter_interval(row.typed);
        EXPECT_TRUE(entry_shows(row.shown)) << row.typed;
        EXPECT_TRUE(!row.refused || confirm_dialog()) << row.typed;
        EXPECT_EQ(screen::window(DIALOG), 0u) << row.typed;
    }
    keys({"ctrl+a", "Delete"});
    EXPECT_TRUE(save()); // one dialog, which says that it was saved
    EXPECT_EQ(screen::window(DIALOG), 0u);
    EXPECT_EQ(count_of(kept(run, "/etc/Kestrel.ini"), "\nPOLLING=99\n"), 1);
    expect_good_end(run);
}

// ---- What is monitored

TEST(WindowItems, ARowIsToggledByADoubleClick) {
    window_run run = start({small_board("300")});
    ASSERT_TRUE(open_page(ITEMS));
    click(MAIN, LIST_X, FIRST_ROW_Y, 2);
    EXPECT_TRUE(save());
    EXPECT_EQ(kept(run, "/etc/Kestrel.ini"), with_monitor(small_configuration(), 0, "FALSE"));
    EXPECT_EQ(kept(run, "/etc/Kestrel.ini.old"), small_configuration());
    click(MAIN, LIST_OTHER_X, FIRST_ROW_Y, 2);
    EXPECT_TRUE(save());
    EXPECT_EQ(kept(run, "/etc/Kestrel.ini"), small_configuration());
    EXPECT_EQ(kept(run, "/etc/Kestrel.ini.old"), with_monitor(small_configuration(), 0, "FALSE"));
    expect_good_end(run);
}

// The second row's item is not monitored, the fourth one's is. A tick clears the list, and so what is
// selected.
TEST(WindowItems, ARowIsToggledByEnter) {
    window_run run = start({small_board("300")});
    ASSERT_TRUE(open_page(ITEMS));
    click(MAIN, LIST_X, FIRST_ROW_Y);
    keys({"Down", "Return"});
    click(MAIN, LIST_OTHER_X, FIRST_ROW_Y);
    keys({"Down", "Down", "Down", "Return"});
    EXPECT_TRUE(save());
    std::string expected = with_monitor(with_monitor(small_configuration(), 1, "TRUE"), 3, "FALSE");
    EXPECT_EQ(kept(run, "/etc/Kestrel.ini"), expected);
    expect_good_end(run);
}

TEST(WindowItems, AllItemsAreSelectedAndUnselected) {
    window_run run = start({small_board("300")});
    ASSERT_TRUE(open_page(ITEMS));
    click(MAIN, UNSELECT_ALL_X, BUTTONS_Y);
    EXPECT_TRUE(save());
    EXPECT_EQ(kept(run, "/etc/Kestrel.ini"), with_monitors(small_configuration(), "FALSE"));
    EXPECT_EQ(kept(run, "/etc/Kestrel.ini.old"), small_configuration());
    click(MAIN, SELECT_ALL_X, BUTTONS_Y);
    EXPECT_TRUE(save());
    EXPECT_EQ(kept(run, "/etc/Kestrel.ini"), with_monitors(small_configuration(), "TRUE"));
    EXPECT_EQ(kept(run, "/etc/Kestrel.ini.old"), with_monitors(small_configuration(), "FALSE"));
    expect_good_end(run);
}

// ---- Saving

// Of a file written by hand only the values of two keys change.
TEST(WindowItems, SaveLeavesEverythingElseAsItStands) {
    std::string configuration = "# of my own\r\n\n" + small_settings("300") + SMALL_ITEMS;
    configuration = changed(configuration, "POLLING=300\n", "pollIng=300\nPOLLING = 7\n; a note = 5\n");
    configuration =
        changed(configuration, "MACHINENAME=small\n", "MACHINENAME=" + std::string(200, 'x') + "\n");
    configuration =
        changed(configuration, "[Item]\nITEM_NAME=Fan 1\n", "[iTeM]\nITEM_NAME=Fan 1\nCOLOUR=red\n");
    configuration = changed(configuration, "OFFSET=30\nACTIVATE=1\nMONITOR=TRUE\n",
                            "OFFSET=30\nACTIVATE=1\nmonitor=true\n");
    configuration += "MONITOR=no item's\nPOLLING=9"; // and no end of line
    std::string expected = changed(configuration, "pollIng=300\n", "pollIng=45\n");
    expected = changed(expected, "monitor=true\n", "monitor=FALSE\n");

    window_run run = start({make_board(THE_MAKER + SMALL_CHIP, &configuration)});
    ASSERT_TRUE(open_page(ITEMS));
    click(MAIN, LIST_X, FIRST_ROW_Y, 2);
    enter_interval("45");
    EXPECT_TRUE(save());
    EXPECT_EQ(kept(run, "/etc/Kestrel.ini"), expected);
    EXPECT_EQ(kept(run, "/etc/Kestrel.ini.old"), configuration);
    expect_good_end(run);
}

// Each message is a dialog of its own.
TEST(WindowItems, TwoSavesGiveTwoDialogs) {
    window_run run = start({small_board("300")});
    ASSERT_TRUE(open_page(ITEMS));
    click(MAIN, ITEMS_SAVE_X, BUTTONS_Y);
    ASSERT_TRUE(is_shown(DIALOG));
    click(MAIN, ITEMS_SAVE_X, BUTTONS_Y);
    auto shown = [](size_t count) {
        return wait_until([=] { return screen::windows(DIALOG).size() == count; });
    };
    ASSERT_TRUE(shown(2));
    screen::window_id dialog = screen::window(DIALOG);
    screen::place place = screen::place_of(dialog);
    click(dialog, place.width - 50, place.height - 22); // its button
    EXPECT_TRUE(shown(1));
    screen::ask_to_close(screen::window(DIALOG));
    EXPECT_TRUE(shown(0));
    EXPECT_EQ(kept(run, "/etc/Kestrel.ini"), small_configuration());
    EXPECT_EQ(kept(run, "/etc/Kestrel.ini.old"), small_configuration());
    expect_good_end(run);
}
