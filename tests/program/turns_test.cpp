// Copies of the program that run at the same time take turns at the machine. The calls of a run show when it
// has its turn: in every chip's sequence, for no longer, and never while waiting for anybody.
#include <algorithm>
#include <filesystem>
#include <gtest/gtest.h>

#include "boards.h"
#include "turns.h"

using calls = std::vector<call_in_turn>;

static calls calls_of(const std::vector<std::string> &words, run_result *result) {
    std::string file = scratch_directory() + "/calls";
    std::vector<std::string> all = {"--calls", file};
    all.insert(all.end(), words.begin(), words.end());
    *result = run_virtual(all);
    return calls_in_turns(file);
}

static bool begins(const std::string &text, const char *with) { return text.rfind(with, 0) == 0; }

static void expect_sequences_in_turns(const calls &run, const std::string &what) {
    for (const call_in_turn &call : run) {
        bool waits =
            begins(call.text, "sleep 5") || begins(call.text, "system") || begins(call.text, "popen");
        EXPECT_TRUE(!is_in_sequence(call) || call.turns == 1) << what << ": " << call.text;
        EXPECT_TRUE(!waits || call.turns == 0) << what << ": " << call.text;
    }
    EXPECT_EQ(run.back().turns, 0) << what;
}

TEST(Turns, EverySequenceOfAReportIsInATurn) {
    for (const auto &entry : std::filesystem::directory_iterator(BOARDS)) {
        run_result result;
        calls run = calls_of({"--sleeps", "3", entry.path(), "-t", "-i", "5"}, &result);
        EXPECT_EQ(result.status, 0);
        expect_sequences_in_turns(run, entry.path());
    }
}

static calls::const_iterator next_with(const calls &run, calls::const_iterator from, const char *begin) {
    return std::find_if(from, run.end(),
                        [begin](const call_in_turn &call) { return begins(call.text, begin); });
}

// Everything from the first call that begins like this to the last one that begins like that is one turn.
static void expect_one_turn(const calls &run, const char *first, const char *last) {
    auto from = next_with(run, run.begin(), first);
    auto to = std::find_if(run.rbegin(), run.rend(), [last](const call_in_turn &call) {
                  return begins(call.text, last);
              }).base();
    ASSERT_LT(from, to) << first << " .. " << last;
    for (auto call = from; call < to; ++call)
        EXPECT_TRUE(call->turns == 1 && call->text != "begin_turn") << call->text;
}

// A port's index is followed by its data within one turn.
TEST(Turns, AnAccessInABankIsOneTurn) {
    run_result result;
    calls run = calls_of({"w83627hf", "-t"}, &result);
    auto first = next_with(run, run.begin(), "outb 0295 4e");
    ASSERT_NE(first, run.end());
    const char *const access[] = {"outb 0295 4e", "inb 0296",     "outb 0296", "outb 0295",
                                  "inb 0296",     "outb 0295 4e", "outb 0296", "end_turn"};
    EXPECT_EQ((first - 1)->text, "begin_turn");
    for (const char *expected : access)
        EXPECT_TRUE(begins((first++)->text, expected)) << expected;
}

// The first silicon of the W83627HF is in its configuration mode for two seconds.
TEST(Turns, AClearIsOneTurn) {
    std::string toml = changed(shipped("w83627hf"), "0x42 = 0x00", "0x42 = 0x10") +
                       "[superio.global]\n0x20 = 0x52\n0x21 = 0x41\n[superio.device10]\n0xE6 = 0x05\n";
    run_result result;
    calls run = calls_of({make_board(toml, nullptr), "-r", "Chassis Intrusion"}, &result);
    EXPECT_EQ(result.status, 0);
    expect_sequences_in_turns(run, result.out);
    auto clears = next_with(run, run.begin(), "outb 002f 0a");
    calls clear(clears, run.cend());
    EXPECT_EQ(
        std::count_if(clear.begin(), clear.end(), [](const call_in_turn &c) { return c.text == "sleep 1"; }),
        2);
    expect_one_turn(clear, "outb 002f 0a", "outb 002e aa");
}

// Set, then cleared again: a copy, or a signal, that came in between would leave the latch held open.
TEST(Turns, APulseIsOneTurn) {
    run_result result;
    calls run = calls_of({"nct6776f-faults", "-r", "Chassis Intrusion"}, &result);
    EXPECT_EQ(result.status, 0);
    expect_sequences_in_turns(run, result.out);
    size_t most = 0, writes = 0;
    for (const call_in_turn &call : run) {
        if (call.text == "begin_turn")
            writes = 0;
        writes += begins(call.text, "outb ");
        most = std::max(most, writes);
    }
    // Three accesses in a bank, of five writes to ports each, six when they write.
    EXPECT_EQ(most, 5u + 6u + 6u);
}

// Of two copies that save at once each writes a whole file.
TEST(Turns, WritingTheConfigurationIsOneTurn) {
    run_result result;
    calls run = calls_of({"first-start", "-t"}, &result);
    expect_sequences_in_turns(run, "first-start");
    auto made = next_with(run, run.begin(), "rename /etc/Kestrel.ini.new");
    ASSERT_NE(made, run.end());
    expect_one_turn(calls(run.cbegin(), made + 1), "create /etc/Kestrel.ini.new",
                    "rename /etc/Kestrel.ini.new");
    calls hiding(made + 1, run.cend());
    expect_one_turn(hiding, "link /etc/Kestrel.ini", "rename /etc/Kestrel.ini.new");
}

// The version is printed without waiting for another copy.
TEST(Turns, WhatTouchesNothingTakesNone) {
    const std::vector<std::vector<std::string>> lines = {
        {"w83627hf", "-v"}, {"w83627hf", "-h"}, {"w83627hf", "report"}, {"--uid", "1000", "w83627hf", "-t"}};
    for (const auto &line : lines) {
        run_result result;
        for (const call_in_turn &call : calls_of(line, &result))
            EXPECT_NE(call.text, "begin_turn") << line.back();
    }
}
