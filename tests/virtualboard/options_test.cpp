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
        {"--uid", "4294967295", "w83627hf", "-t"},
        {"--uid", "99999999999999999999", "w83627hf", "-t"},
        {"--sleeps", "-1", "w83627hf"},
        {"--sleeps", "0", "w83627hf", "-t"},
        {"--sleeps", "4294967296", "w83627hf", "-t"},
        {"--speed", "0", "w83627hf", "-t"},
        {"--speed", "1001", "w83627hf", "-t"},
        {"--speed", "fast", "w83627hf", "-t"},
        {"--clock", "yesterday", "w83627hf"},
        {"--clock", "2026-02-30 10:00:00", "w83627hf", "-t"}, // no such day
        {"--clock", "2026-04-31 10:00:00", "w83627hf", "-t"},
        {"--clock", "2025-02-29 10:00:00", "w83627hf", "-t"},
        {"--clock", "2026-01-05 10:00:60", "w83627hf", "-t"},
        {"--clock", "2026-01-05 10:00:00 ", "w83627hf", "-t"},
        {"--trace", "/no/such/directory/trace", "w83627hf", "-t"},
        {"--keep", BOARDS, "w83627hf", "-t"}, // not empty
        {"--again", "/no/such/directory", "w83627hf", "-t"},
        {"--calls", "/no/such/directory/calls", "w83627hf", "-t"},
        {"--fail", "w83627hf", "-t"},
        {"--fail", "3", "w83627hf", "-t"},
        {"--fail", ":EIO", "w83627hf", "-t"},
        {"--fail", "0:EIO", "w83627hf", "-t"},
        {"--fail", "3:", "w83627hf", "-t"},
        {"--fail", "3:EFOO", "w83627hf", "-t"},
        {"--fail", "3:5", "w83627hf", "-t"},
        {"--fail", "3:eio", "w83627hf", "-t"},
        {"--die", "0", "w83627hf", "-t"},
    };
    for (const auto &line : lines) {
        std::vector<std::string> words = {KESTREL_VIRTUAL};
        words.insert(words.end(), line.begin(), line.end());
        run_result result = run(words);
        std::string shown;
        for (const std::string &word : line)
            shown += "[" + word + "]";
        EXPECT_EQ(result.status, 2) << shown;
        EXPECT_EQ(result.out, "") << shown;
        EXPECT_NE(result.err, "") << shown;
    }
}

TEST(VirtualOptions, TheLargestNumbersAreTaken) {
    run_result result = run_virtual({"--uid", "4294967294", "--sleeps", "4294967295", "w83627hf", "-t"});
    EXPECT_NE(result.out.find("Error: Can only be run as root.\n"), std::string::npos);
    EXPECT_EQ(run_virtual({"--clock", "2024-02-29 23:59:59", "w83627hf", "-t"}).status, 0);
}

// A second is forty: the fan that stops from second 30 to 60 does so in the second report alone.
TEST(VirtualOptions, TheBoardsClockCanRunFast) {
    run_result result = run({KESTREL_VIRTUAL, "--speed", "40", "--sleeps", "3", "lively", "-t", "-i", "1"});
    std::vector<std::string> states;
    for (size_t at = result.out.find("Fan 3 "); at != std::string::npos;
         at = result.out.find("Fan 3 ", at + 1)) {
        std::string row = result.out.substr(at, result.out.find('\n', at) - at);
        states.push_back(row.find("Warning!") != std::string::npos ? "failed" : "good");
    }
    EXPECT_EQ(states, (std::vector<std::string>{"good", "failed", "good"})) << result.out;
}

TEST(VirtualOptions, AnUnknownOptionSaysThatTheBoardComesFirst) {
    for (const std::vector<std::string> &words :
         {std::vector<std::string>{"-t"}, {"-t", "w83627hf"}, {"--strict", "-t"}}) {
        std::vector<std::string> all = {KESTREL_VIRTUAL};
        all.insert(all.end(), words.begin(), words.end());
        run_result result = run(all);
        EXPECT_EQ(result.err, "kestrel-virtual: unknown option: -t\n"
                              "BOARD comes first, then the options of kestrel.\n"
                              "Try: kestrel-virtual --help\n");
        EXPECT_EQ(result.status, 2);
    }
}

TEST(VirtualOptions, AListThatCannotBeMadeIsSaid) {
    run_result result = run({LIST_NOWHERE, "--list"});
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(result.err, "kestrel-virtual: the boards cannot be listed: /no/such/boards: No such file or "
                          "directory\nTry: kestrel-virtual --help\n");
    EXPECT_EQ(result.status, 2);
}

// What is not a board that comes with the program is looked for here.
TEST(VirtualOptions, ADirectoryHereNeedsNoSlash) {
    std::filesystem::path board = make_board("uid = 5\n", nullptr);
    std::filesystem::path before = std::filesystem::current_path();
    std::filesystem::current_path(board.parent_path());
    run_result result = run({KESTREL_VIRTUAL, board.filename(), "-v"});
    run_result lost = run({KESTREL_VIRTUAL, "no-such-board", "-v"});
    std::filesystem::current_path(before);
    EXPECT_NE(result.out.find("kestrel-virtual " + board.filename().string() + " version 2.87"),
              std::string::npos)
        << result.out;
    EXPECT_EQ(lost.err, "kestrel-virtual: no such board: no-such-board\nTry: kestrel-virtual --help\n");
}

// Everything of a shipped board is in its directory or among what the program brings along.
TEST(VirtualOptions, ACopiedBoardWorksElsewhere) {
    for (const char *name : {"first-start", "w83627dhg", "bmc-ob-winbond"}) {
        std::string copy = scratch_directory() + "/copy";
        std::filesystem::copy(std::string(BOARDS "/") + name, copy, std::filesystem::copy_options::recursive);
        run_result result = run_virtual({copy, "-t"});
        EXPECT_EQ(result.out, file_contents(copy + "/expect/report.txt")) << name;
        EXPECT_EQ(result.status, 0) << name;
    }
}

static const std::string NO_BMC =
    "absent = [\"/dev/qxbmc\", \"/dev/ipmidev/0\", \"/dev/ipmi/0\", \"/dev/ipmi0\"]\n";

TEST(VirtualOptions, FilesAndCopiesComeOnTopOfTheBoardsOwn) {
    std::string configuration = "what root/ has";
    std::string board = make_board(NO_BMC + "uid = 5\n[files]\n\"/etc/deep/er/x\" = \"one\\n\"\n"
                                            "[copies]\n\"/etc/Kestrel.ini\" = \"mine.ini\"\n",
                                   &configuration);
    std::ofstream(board + "/mine.ini") << "two\n";
    std::string kept = scratch_directory() + "/kept";
    run_virtual({"--keep", kept, board, "-t"});
    EXPECT_EQ(file_contents(kept + "/etc/deep/er/x"), "one\n");
    EXPECT_EQ(file_contents(kept + "/etc/Kestrel.ini"), "two\n");
}

// The section comes without its head and without the master file's own comments.
TEST(VirtualOptions, TheConfigurationIsTheProductsSectionOfTheMasterFile) {
    std::string kept = scratch_directory() + "/kept";
    std::string board = make_board(NO_BMC + "uid = 5\nconfiguration = \"H2SB-I\"\n", nullptr);
    run_virtual({"--keep", kept, board, "-t"});
    std::string section = file_contents(kept + "/etc/Kestrel.ini");
    EXPECT_EQ(section.find("[System]\nBUSTYPE=2\n"), 0u) << section.substr(0, 100);
    EXPECT_NE(section.find("MACHINENAME=\n"), std::string::npos);
    EXPECT_EQ(section.find("[_"), std::string::npos);
    EXPECT_EQ(section.find(";;"), std::string::npos);
}

TEST(VirtualOptions, WhatCannotBeSetUpIsSaidAndLeavesNothingBehind) {
    const struct {
        std::string toml;
        std::string said;
    } table[] = {
        {"configuration = \"H9XX\"\n", "the master file has no section of H9XX\n"},
        {"[copies]\n\"/etc/x\" = \"no-such-file\"\n", "/no-such-file: it cannot be copied\n"},
        {"[files]\n\"/etc\" = \"a directory's name\"\n", "/etc: it cannot be written\n"},
    };
    std::string temporary = scratch_directory();
    for (const auto &row : table) {
        std::string board = make_board(row.toml, nullptr);
        setenv("TMPDIR", temporary.c_str(), 1);
        run_result result = run({KESTREL_VIRTUAL, board, "-t"});
        unsetenv("TMPDIR");
        EXPECT_EQ(result.status, 2) << row.toml;
        EXPECT_EQ(result.out, "") << row.toml;
        EXPECT_NE(result.err.find(row.said), std::string::npos) << result.err;
        EXPECT_TRUE(std::filesystem::is_empty(temporary)) << row.toml;
    }
}

TEST(VirtualOptions, ATraceThatCannotBeWrittenLeavesNothingBehind) {
    std::string temporary = scratch_directory();
    setenv("TMPDIR", temporary.c_str(), 1);
    run_result result = run({KESTREL_VIRTUAL, "--trace", "/no/such/directory/trace", "w83627hf", "-t"});
    unsetenv("TMPDIR");
    EXPECT_EQ(result.err, "kestrel-virtual: /no/such/directory/trace: No such file or directory\n");
    EXPECT_EQ(result.status, 2);
    EXPECT_TRUE(std::filesystem::is_empty(temporary));
}

TEST(VirtualOptions, ATemporaryDirectoryThatIsNotThereIsNamed) {
    setenv("TMPDIR", "/no/such/place", 1);
    run_result result = run({KESTREL_VIRTUAL, "w83627hf", "-t"});
    unsetenv("TMPDIR");
    EXPECT_EQ(result.err,
              "kestrel-virtual: /no/such/place: no directory can be made there: No such file or directory\n");
    EXPECT_EQ(result.status, 2);
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
