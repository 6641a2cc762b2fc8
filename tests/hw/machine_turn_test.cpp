#include "hw/machine_turn.h"

#include <cstdlib>
#include <gtest/gtest.h>
#include <optional>

#include "support/os_test.h"

using test_door::captured_stderr;

TEST(MachineTurn, LastsToTheEndOfTheOutermostScope) {
    test_door::reset();
    {
        machine_turn outer;
        EXPECT_TRUE(test_door::in_turn);
        { machine_turn inner; }
        EXPECT_TRUE(test_door::in_turn);
    }
    EXPECT_FALSE(test_door::in_turn);
    EXPECT_EQ(test_door::turns_taken, 1);
}

TEST(Complaints, AreWrittenAtOnceOutsideOfTurns) {
    test_door::reset();
    test_door::stderr_is_writable = false; // it may be waited for
    EXPECT_EQ(captured_stderr([] { complain("Error: ioctl(), slave=0x%x\n", 0x2e); }),
              "Error: ioctl(), slave=0x2e\n");
}

// Should the process hang or be killed in its turn, they have been read.
TEST(Complaints, AreWrittenAtOnceInATurn) {
    test_door::reset();
    machine_turn whole;
    EXPECT_EQ(captured_stderr([] { complain("Error: ioctl(), errno=%d\n", 11); }),
              "Error: ioctl(), errno=11\n");
    EXPECT_TRUE(test_door::in_turn);
}

// A reader who is slow keeps no other copy waiting: the turn is over when he is waited for.
TEST(Complaints, ThatWouldWaitComeAfterTheTurnInTheirOrder) {
    test_door::reset();
    std::optional<machine_turn> outer, inner;
    outer.emplace();
    inner.emplace();
    EXPECT_EQ(captured_stderr([&inner] {
                  test_door::stderr_is_writable = false;
                  complain("first\n");
                  test_door::stderr_is_writable = true;
                  complain("second\n");
                  inner.reset();
              }),
              "");
    EXPECT_EQ(captured_stderr([&outer] { outer.reset(); }), "first\nsecond\n");
    EXPECT_EQ(captured_stderr([] { complain("third\n"); }), "third\n");
}

static void end_in_a_turn() {
    machine_turn outer;
    machine_turn inner;
    test_door::stderr_is_writable = false;
    complain("why\n");
    end_all_turns();
    exit(test_door::in_turn ? 1 : 3);
}

TEST(Complaints, AreNotLostWhereTheProgramEndsInATurn) {
    test_door::reset();
    EXPECT_EXIT(end_in_a_turn(), testing::ExitedWithCode(3), "^why\n$");
}
