// The window takes its turn at the machine like any copy of the program: for what touches it, and for no
// longer. See turns_test.cpp for the other modes.
#include <gtest/gtest.h>

#include "boards.h"
#include "turns.h"
#include "user.h"
#include "window_boards.h"

static size_t count_of_calls(const std::vector<held_call> &calls, const std::string &begin) {
    size_t count = 0;
    for (const held_call &call : calls)
        count += call.text.rfind(begin, 0) == 0;
    return count;
}

// Of whatever comes after the start-up's first look at its configuration.
static void expect_held_for_the_machine_alone(const std::vector<held_call> &calls) {
    bool started = false;
    for (const held_call &call : calls) {
        started = started || call.text == "fopen /etc/Kestrel.ini r";
        bool waits = call.text == "fork" || call.text == "waitpid" || call.text == "time";
        bool saves = call.text.rfind("rename ", 0) == 0 || call.text.rfind("link ", 0) == 0;
        EXPECT_TRUE(!started || !(is_access(call) || saves) || call.locks > 0) << call.text;
        EXPECT_TRUE(!waits || call.locks == 0) << call.text;
    }
}

// The first page is painted and nothing is due for five minutes.
TEST(WindowTurns, TheLockIsFreeWhileNothingIsDue) {
    std::string file = scratch_directory() + "/calls";
    window_run run = start({"--calls", file, small_board("300")});
    EXPECT_TRUE(open_page(ITEMS));
    std::vector<held_call> calls = held_calls(file);
    EXPECT_GT(count_of_calls(calls, "lock_machine"), 0u);
    EXPECT_EQ(count_of_calls(calls, "lock_machine"), count_of_calls(calls, "unlock_machine"));
    quit(run);
}

// A mail at the start, a clear, a tick, a save.
TEST(WindowTurns, EveryAccessAndEverySaveIsUnderTheLockAndNoMailIs) {
    std::string file = scratch_directory() + "/calls";
    std::string configuration =
        changed(troubled_configuration("300"), "MAILALERT=FALSE\n", "MAILALERT=TRUE\n");
    window_run run = start({"--calls", file, board_in_trouble(configuration)});
    click(MAIN, 79, 536); // the chassis
    ASSERT_TRUE(open_page(ITEMS));
    click(MAIN, SELECT_ALL_X, BUTTONS_Y);
    click(MAIN, ITEMS_SAVE_X, BUTTONS_Y);
    EXPECT_TRUE(confirm_dialog());
    EXPECT_EQ(quit(run).status, 0);
    std::vector<held_call> calls = held_calls(file);
    expect_held_for_the_machine_alone(calls);
    EXPECT_EQ(calls.back().locks, 0);
    EXPECT_GT(count_of_calls(calls, "outb 0296 "), 100u);
    EXPECT_EQ(count_of_calls(calls, "rename /etc/Kestrel.ini.new"), 1u);
    EXPECT_EQ(count_of_calls(calls, "waitpid"), 2u); // trouble at the start, and the chassis that is closed
}
