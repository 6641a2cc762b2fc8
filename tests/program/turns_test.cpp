// Copies of the program that run at once take turns at the machine. The calls of a run show when it has the
// lock: at every access, and never while it sleeps between reports.
#include <algorithm>
#include <filesystem>
#include <gtest/gtest.h>

#include "boards.h"
#include "turns.h"

static std::vector<held_call> calls_of(const std::vector<std::string> &words, run_result *result) {
    std::string file = scratch_directory() + "/calls";
    std::vector<std::string> all = {"--calls", file};
    all.insert(all.end(), words.begin(), words.end());
    *result = run_virtual(all);
    return held_calls(file);
}

static bool begins(const std::string &text, const char *with) { return text.rfind(with, 0) == 0; }

// The BMC is looked for before the options are read; each of its commands is complete by itself.
static size_t root_check(const std::vector<held_call> &calls) {
    for (size_t i = 0; i < calls.size(); i++)
        if (calls[i].text == "getuid")
            return i;
    ADD_FAILURE() << "nobody asks who runs it";
    return calls.size();
}

static void expect_held(const std::vector<held_call> &calls, const std::string &what) {
    unsigned accesses = 0;
    for (size_t i = root_check(calls); i < calls.size(); i++) {
        if (!is_access(calls[i]))
            continue;
        EXPECT_GT(calls[i].locks, 0) << what << ": " << calls[i].text;
        accesses++;
    }
    EXPECT_GT(accesses, 0u) << what;
    EXPECT_EQ(calls.back().locks, 0) << what;
}

TEST(Turns, EveryAccessOfAReportIsMadeUnderTheLock) {
    for (const auto &entry : std::filesystem::directory_iterator(BOARDS)) {
        run_result result;
        std::vector<held_call> calls = calls_of({"--sleeps", "3", entry.path(), "-t", "-i", "5"}, &result);
        EXPECT_EQ(result.status, 0);
        expect_held(calls, entry.path());
        int sleeps = 0;
        for (const held_call &call : calls) {
            if (call.text != "sleep 5")
                continue;
            EXPECT_EQ(call.locks, 0) << entry.path();
            sleeps++;
        }
        EXPECT_EQ(sleeps, 3) << entry.path();
    }
}

// Of two copies that start at once the second finds the configuration as the first one leaves it: generated,
// and what is absent hidden.
TEST(Turns, AFirstStartIsOneTurn) {
    run_result result;
    std::vector<held_call> calls = calls_of({"first-start", "-t"}, &result);
    expect_held(calls, "first-start");
    auto find = [&calls](const char *text) {
        return std::find_if(calls.begin(), calls.end(),
                            [text](const held_call &call) { return begins(call.text, text); });
    };
    auto first = find("fopen /etc/Kestrel.ini r");
    auto second = std::find_if(calls.rbegin(), calls.rend(), [](const held_call &call) {
        return begins(call.text, "rename /etc/Kestrel.ini.new");
    });
    ASSERT_LT(first, second.base());
    EXPECT_EQ(std::count_if(first, second.base(), [](const held_call &call) { return call.locks == 0; }), 0);
}

// The first silicon of the W83627HF is in its configuration mode for two seconds.
TEST(Turns, AClearIsOneTurn) {
    std::string toml = changed(shipped("w83627hf"), "0x42 = 0x00", "0x42 = 0x10") +
                       "[superio.global]\n0x20 = 0x52\n0x21 = 0x41\n[superio.device10]\n0xE6 = 0x05\n";
    run_result result;
    std::vector<held_call> calls = calls_of({make_board(toml, nullptr), "-r", "Chassis Intrusion"}, &result);
    EXPECT_EQ(result.status, 0);
    expect_held(calls, result.out);
    auto is_enter = [](const held_call &call) { return call.text == "outb 002e 87"; };
    auto is_leave = [](const held_call &call) { return call.text == "outb 002e aa"; };
    auto enter = std::find_if(calls.begin(), calls.end(), is_enter);
    auto leave = std::find_if(calls.rbegin(), calls.rend(), is_leave).base();
    ASSERT_LT(enter, leave);
    EXPECT_EQ(std::count_if(enter, leave, [](const held_call &call) { return call.text == "sleep 1"; }), 2);
    EXPECT_EQ(std::count_if(enter, leave, [](const held_call &call) { return call.locks == 0; }), 0);
}

// The version is printed without waiting for another copy.
TEST(Turns, WhatTouchesNothingTakesNone) {
    const std::vector<std::vector<std::string>> lines = {
        {"w83627hf", "-v"}, {"w83627hf", "-h"}, {"w83627hf", "report"}, {"--uid", "1000", "w83627hf", "-t"}};
    for (const auto &line : lines) {
        run_result result;
        for (const held_call &call : calls_of(line, &result))
            EXPECT_NE(call.text, "lock_machine") << line.back();
    }
}
