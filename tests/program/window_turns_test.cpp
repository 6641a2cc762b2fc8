// The window takes its turn at the machine like any copy of the program: for each sequence, and for no
// longer. See turns_test.cpp for the other modes.
#include <gtest/gtest.h>

#include "boards.h"
#include "turns.h"
#include "user.h"
#include "window_boards.h"

static size_t count_of_calls(const std::vector<call_in_turn> &calls, const std::string &begin) {
    size_t count = 0;
    for (const call_in_turn &call : calls)
        count += call.text.rfind(begin, 0) == 0;
    return count;
}

static void expect_turns_for_the_machine_alone(const std::vector<call_in_turn> &calls) {
    for (const call_in_turn &call : calls) {
        bool waits = call.text == "fork" || call.text == "waitpid" || call.text == "time";
        bool saves = call.text.rfind("rename /etc/", 0) == 0 || call.text.rfind("link ", 0) == 0;
        EXPECT_TRUE(!(is_in_sequence(call) || saves) || call.turns == 1) << call.text;
        EXPECT_TRUE(!waits || call.turns == 0) << call.text;
    }
}

// The first page is painted and nothing is due for five minutes.
TEST(WindowTurns, NobodyHasATurnWhileNothingIsDue) {
    std::string file = scratch_directory() + "/calls";
    window_run run = start({"--calls", file, small_board("300")});
    EXPECT_TRUE(open_page(ITEMS));
    std::vector<call_in_turn> calls = calls_in_turns(file);
    EXPECT_GT(count_of_calls(calls, "begin_turn"), 0u);
    EXPECT_EQ(count_of_calls(calls, "begin_turn"), count_of_calls(calls, "end_turn"));
    quit(run);
}

// A mail at the start, a clear, a tick, a save.
TEST(WindowTurns, EverySequenceAndEverySaveIsInATurnAndNoMailIs) {
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
    std::vector<call_in_turn> calls = calls_in_turns(file);
    expect_turns_for_the_machine_alone(calls);
    EXPECT_EQ(calls.back().turns, 0);
    EXPECT_GT(count_of_calls(calls, "outb 0296 "), 100u);
    EXPECT_EQ(count_of_calls(calls, "rename /etc/Kestrel.ini.new"), 1u);
    EXPECT_EQ(count_of_calls(calls, "waitpid"), 2u); // trouble at the start, and the chassis that is closed
}
