// The window as a whole: where it is, what it reads and when, its menus and pages, and every way to quit.
#include <algorithm>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <gtest/gtest.h>

#include "boards.h"
#include "user.h"
#include "window_boards.h"

using lines = std::vector<std::string>;

static const std::string EXPECT = BOARDS "/first-start/expect/";

static double seconds() {
    return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

static void expect_good_end(const run_result &result, const std::string &what) {
    EXPECT_EQ(result.status, 0) << what;
    EXPECT_EQ(result.out, BANNER) << what;
    EXPECT_EQ(result.err, "") << what;
}

// ---- Starting

TEST(Window, StandsInTheCornerAloneWhenAllIsWell) {
    window_run run = start({"lively"});
    screen::window_id window = screen::window(MAIN);
    screen::place contents = screen::place_of(window);
    EXPECT_EQ(contents.width, 640);
    EXPECT_EQ(contents.height, 600);
    screen::place frame = screen::place_of_frame(window);
    EXPECT_EQ(frame.x, 0);
    EXPECT_EQ(frame.y, 0);
    EXPECT_TRUE(open_page(ITEMS)); // by now the alert window would be there
    EXPECT_EQ(screen::window(ALERTS), 0u);
    EXPECT_EQ(screen::window(ABOUT), 0u);
    EXPECT_EQ(screen::window(DIALOG), 0u);
    expect_good_end(quit(run), "");
}

// 640 + 12 pixels to the right, 600 - 200 down.
TEST(Window, IsJoinedByTheAlertWindowWhenSomethingIsWrong) {
    window_run run = start({"nct6776f-faults"});
    ASSERT_TRUE(is_shown(ALERTS));
    auto where = [] { return screen::place_of_frame(screen::window(ALERTS)); };
    EXPECT_TRUE(wait_until([&] { return where().x == 652 && where().y == 400; })) << where();
    EXPECT_TRUE(wait_until([] { return screen::has_focus(screen::window(MAIN)); }));
    expect_good_end(quit(run), "");
}

// The period belongs to the text mode; the board is read as often as its configuration says.
TEST(Window, AppearsWithAPeriodAlone) {
    std::string board = small_board("300");
    window_run run = start({board, "-i", "1"});
    EXPECT_TRUE(open_page(ITEMS));
    expect_good_end(quit(run), "");
    EXPECT_EQ(behind_start_up(board, trace(run)), lines());
}

// Fan 4 reads 0 rpm, and nothing answers for the riser.
TEST(Window, IsPrecededByGenerationAndHidingOnAFirstStart) {
    window_run run = start({"first-start"});
    EXPECT_EQ(kept(run, "/etc/Kestrel.ini"), file_contents(EXPECT + "Kestrel.ini"));
    EXPECT_EQ(kept(run, "/etc/Kestrel.ini.old"), file_contents(EXPECT + "Kestrel.ini.old"));
    EXPECT_TRUE(open_page(ITEMS));
    EXPECT_EQ(screen::window(ALERTS), 0u); // what is hidden raises no alert
    run_result result = quit(run);
    EXPECT_EQ(result.out, BANNER + ">> Disable monitoring of non-activated item: Fan 4\n"
                                   ">> Disable monitoring of non-available item: Riser Temperature\n\n");
    EXPECT_EQ(result.err, "");
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(behind_start_up("first-start", trace(run)), lines());
}

// ---- Ticks

TEST(Window, ATickReadsEveryItemOnceInTheOrderOfTheTable) {
    std::string board = small_board("1");
    window_run run = start({board});
    ASSERT_TRUE(trace_grows(run, 4096)); // four of them
    expect_good_end(quit(run), "");
    EXPECT_GE(repetitions(behind_start_up(board, trace(run)), small_tick()), 3);
}

// What is not normal is tried three times, as in a report: 546 accesses, 7 reads of 9 for each of 3 fan words
// and 51 bytes of 7. And whether it is monitored makes no difference.
TEST(Window, ATickTakesTheAccessesOfAReportWhateverIsMonitored) {
    std::string board = troubled_board("300");
    window_run run = start({board});
    ASSERT_TRUE(open_page(ITEMS));
    click(MAIN, UNSELECT_ALL_X, BUTTONS_Y); // a tick
    click(MAIN, UNSELECT_ALL_X, BUTTONS_Y);
    expect_good_end(quit(run), "");

    run_result result;
    lines with_report = trace_of({board, "-t"}, &result);
    lines report = behind_start_up(board, with_report);
    EXPECT_EQ(report.size(), 546u);
    EXPECT_EQ(repetitions(behind_start_up(board, trace(run)), report), 2);
}

// A tick is written in about 6800 bytes. Five of them are four intervals from each other, or nearly so.
TEST(Window, TicksComeAtTheInterval) {
    window_run run = start({troubled_board("1")});
    ASSERT_TRUE(trace_grows(run, 1));
    double begin = seconds();
    ASSERT_TRUE(trace_grows(run, 5 * 6800));
    double took = seconds() - begin;
    EXPECT_GT(took, 2.9);
    EXPECT_LT(took, 9);
    expect_good_end(quit(run), "");
}

// ---- Menus and pages

TEST(Window, MenusOpenPagesByTheKeyboard) {
    const struct {
        lines names;
        page opened;
    } table[] = {
        {{"alt+v", "Down", "Return"}, FAN},
        {{"alt+v", "Down", "Down", "Return"}, VOLTAGE},
        {{"alt+v", "Up", "Return"}, THERMAL}, // from the first entry to the last
        {{"alt+s", "Return"}, ITEMS},
        {{"alt+v", "Return"}, SUMMARY},
        {{"alt+s", "Down", "Return"}, ALERT},
        {{"alt+v", "f"}, FAN}, // the underlined letters
        {{"alt+v", "v"}, VOLTAGE},
        {{"alt+v", "t"}, THERMAL},
        {{"alt+s", "m"}, ITEMS},
        {{"alt+s", "a"}, ALERT},
        {{"alt+f", "Right", "Down", "Return"}, FAN}, // from menu to menu
    };
    window_run run = start({small_board("300")});
    for (const auto &row : table) {
        keys(row.names);
        EXPECT_TRUE(has_opened(row.opened)) << row.names[0] << " " << row.names[1];
    }
    keys({"alt+v", "Down", "Down", "Escape", "Escape"}); // nothing is chosen
    EXPECT_TRUE(wait_until([] { return screen::menu() == 0; }));
    EXPECT_EQ(page_on_top(), FAN);
    expect_good_end(quit(run), "");
}

// The entry is named by where it lies: a part of the menu's height.
static bool choose(int menu_x, double entry) {
    click(MAIN, menu_x, 13);
    if (!wait_until([] { return screen::menu() != 0; }))
        return false;
    screen::window_id menu = screen::menu();
    int height = screen::place_of(menu).height;
    click(menu, 40, static_cast<int>(height * entry));
    return wait_until([] { return screen::menu() == 0; });
}

constexpr int FILE_X = 20;
constexpr int VIEW_X = 65;
constexpr int SETUP_X = 115;
constexpr int HELP_X = 165;

TEST(Window, MenusOpenPagesByTheMouse) {
    const struct {
        int menu_x;
        double entry;
        page opened;
    } table[] = {
        {VIEW_X, 0.9, THERMAL}, // of four entries and a separator below the first one
        {VIEW_X, 0.4, FAN},     {VIEW_X, 0.65, VOLTAGE}, {VIEW_X, 0.1, SUMMARY},
        {SETUP_X, 0.25, ITEMS}, {SETUP_X, 0.75, ALERT},
    };
    window_run run = start({small_board("300")});
    for (const auto &row : table) {
        EXPECT_TRUE(choose(row.menu_x, row.entry));
        EXPECT_TRUE(has_opened(row.opened)) << row.opened;
    }
    expect_good_end(quit(run), "");
}

TEST(Window, TabsAreTurnedByTheKeyboardAndByTheMouse) {
    window_run run = start({small_board("300")});
    for (page page : {FAN, VOLTAGE, THERMAL, ITEMS, ALERT}) {
        keys({"ctrl+Page_Down"});
        EXPECT_TRUE(has_opened(page)) << page;
    }
    for (page page : {ITEMS, THERMAL, VOLTAGE, FAN, SUMMARY}) {
        keys({"ctrl+Page_Up"});
        EXPECT_TRUE(has_opened(page)) << page;
    }
    for (page page : {ALERT, FAN, ITEMS, VOLTAGE, SUMMARY, THERMAL})
        EXPECT_TRUE(open_page(page)) << page;
    expect_good_end(quit(run), "");
}

TEST(Window, TheAboutBoxIsOpenedAsOftenAsItIsClosed) {
    window_run run = start({small_board("300")});
    keys({"alt+h", "Return"});
    ASSERT_TRUE(is_shown(ABOUT));
    keys_into(ABOUT, {"Escape"});
    ASSERT_TRUE(is_gone(ABOUT));
    EXPECT_TRUE(choose(HELP_X, 0.5));
    ASSERT_TRUE(is_shown(ABOUT));
    screen::ask_to_close(screen::window(ABOUT));
    ASSERT_TRUE(is_gone(ABOUT));
    keys({"alt+h", "Return"});
    ASSERT_TRUE(is_shown(ABOUT));
    EXPECT_TRUE(choose(HELP_X, 0.5)); // one is enough
    EXPECT_EQ(screen::windows(ABOUT).size(), 1u);
    expect_good_end(quit(run), "");
}

// ---- Quitting

static void send(const window_run &run, int number) { kill(run.child, number); }

static const struct {
    const char *how;
    void (*quit)(const window_run &run);
} ways[] = {
    {"the menu, by the keyboard",
     [](const window_run &) {
         keys({"alt+f", "Return"});
     }},
    {"the menu, by the mouse", [](const window_run &) { choose(FILE_X, 0.5); }},
    {"the key of its entry", [](const window_run &) { keys({"ctrl+q"}); }},
    {"the window manager's key", [](const window_run &) { keys({"alt+F4"}); }},
    {"the window manager", [](const window_run &) { screen::ask_to_close(screen::window(MAIN)); }},
    {"SIGTERM", [](const window_run &run) { send(run, SIGTERM); }},
    {"SIGINT", [](const window_run &run) { send(run, SIGINT); }},
    {"SIGHUP", [](const window_run &run) { send(run, SIGHUP); }},
};

// Nothing is left, and the chip is in the bank in which it was found.
TEST(Window, EveryWayOfQuittingIsAGoodEnd) {
    std::string board = small_board("300");
    for (const auto &way : ways) {
        std::string trace = scratch_directory() + "/trace";
        window_run run = start_untouched({"--strict", "--trace", trace, board});
        ASSERT_TRUE(has_started()) << way.how;
        way.quit(run);
        expect_good_end(end_of(run), way.how);
        EXPECT_TRUE(std::filesystem::is_empty(temporary_directory(run))) << way.how;
        EXPECT_EQ(behind_start_up(board, lines_of(file_contents(trace))), lines()) << way.how;
    }
}

TEST(Window, QuittingWithOtherWindowsOpenIsAGoodEnd) {
    window_run run = start({troubled_board("300")});
    ASSERT_TRUE(is_shown(ALERTS));
    keys({"alt+h", "Return"});
    ASSERT_TRUE(is_shown(ABOUT));
    expect_good_end(quit(run), "");
}

// Ticks follow each other without a pause, so a signal comes in the middle of one, most likely.
TEST(Window, ASignalEndsItBehindAWholeTick) {
    std::string board = small_board("0");
    for (int number : {SIGTERM, SIGINT, SIGHUP}) {
        window_run run = start({board});
        ASSERT_TRUE(trace_grows(run, 50000));
        kill(run.child, number);
        expect_good_end(end_of(run), std::to_string(number));
        EXPECT_GT(repetitions(behind_start_up(board, trace(run)), small_tick()), 10) << number;
    }
}
