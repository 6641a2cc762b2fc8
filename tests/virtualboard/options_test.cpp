#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>

#include "support/run.h"

TEST(VirtualOptions, HelpAndListEndWithStatusZero) {
    run_result help = run({KESTREL_VIRTUAL, "--help"});
    EXPECT_EQ(help.status, 0);
    EXPECT_EQ(help.out.find("Usage: kestrel-virtual [option...] BOARD [options of kestrel]\n"), 0u);
    run_result list = run({KESTREL_VIRTUAL, "--list"});
    EXPECT_EQ(list.status, 0);
    EXPECT_NE(list.out.find("w83627hf             one CPU, W83627HF"), std::string::npos) << list.out;
}

TEST(VirtualOptions, MistakesEndWithStatusTwo) {
    const std::vector<std::vector<std::string>> lines = {
        {},
        {"no-such-board"},
        {"/no/such/board"},
        {"--trace"},
        {"--nonsense", "x", "w83627hf"},
        {"--uid", "root", "w83627hf"},
        {"--sleeps", "-1", "w83627hf"},
        {"--clock", "yesterday", "w83627hf"},
        {"--trace", "/no/such/directory/trace", "w83627hf", "-t"},
        {"--keep", BOARDS, "w83627hf", "-t"}, // not empty
    };
    for (const auto &line : lines) {
        std::vector<std::string> words = {KESTREL_VIRTUAL};
        words.insert(words.end(), line.begin(), line.end());
        run_result result = run(words);
        EXPECT_EQ(result.status, 2) << (line.empty() ? "" : line[0]);
        EXPECT_EQ(result.out, "") << (line.empty() ? "" : line[0]);
        EXPECT_NE(result.err, "") << (line.empty() ? "" : line[0]);
    }
}

TEST(VirtualOptions, AMistakeInABoardIsSaid) {
    run_result result = run({KESTREL_VIRTUAL, make_board("shoes = 1\n", nullptr), "-t"});
    EXPECT_EQ(result.status, 2);
    EXPECT_NE(result.err.find("board.toml:1: unknown key \"shoes\"\n"), std::string::npos) << result.err;
}

TEST(VirtualOptions, ARunLeavesTheBoardAsItWas) {
    std::string board = make_board("[commands]\n", nullptr);
    std::ofstream(board + "/root/etc/hosts") << "localhost\n";
    std::string kept = scratch_directory() + "/kept";
    run_virtual({"--keep", kept, board, "-t"});
    EXPECT_EQ(file_contents(kept + "/etc/hosts"), "localhost\n");
    EXPECT_TRUE(std::filesystem::exists(board + "/root/etc/hosts"));
}

TEST(VirtualOptions, ThePrivateCopyIsRemoved) {
    std::string temporary = scratch_directory();
    setenv("TMPDIR", temporary.c_str(), 1);
    run_virtual({"w83627hf", "-t"});
    unsetenv("TMPDIR");
    EXPECT_TRUE(std::filesystem::is_empty(temporary));
}

// Without a fixed clock the report carries today's time and sleeps last.
TEST(VirtualOptions, ARealClockIsTheDefault) {
    time_t before = time(nullptr);
    run_result result = run({KESTREL_VIRTUAL, "--sleeps", "2", "w83627hf", "-t", "-i", "1"});
    time_t after = time(nullptr);
    EXPECT_EQ(result.status, 0);
    EXPECT_GE(after - before, 1);
    char year[8];
    strftime(year, sizeof year, " %Y\n", gmtime(&before));
    EXPECT_NE(result.out.find(year), std::string::npos) << result.out;
}

TEST(VirtualOptions, FastSleepsMoveTheClockAllTheSame) {
    run_result result =
        run({KESTREL_VIRTUAL, "--fast", "--sleeps", "2", "nct6776f-faults", "-t", "-i", "61"});
    // Fan A stops at second 60.
    EXPECT_NE(result.out.find("Fan A                                       500       3000           \n"),
              std::string::npos);
    EXPECT_NE(result.out.find("Fan A                                       500          0   Warning!\n"),
              std::string::npos);
}
