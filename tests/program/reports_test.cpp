// The reports of the boards that come with the program, byte for byte, and what happens to them over time.
#include <filesystem>
#include <gtest/gtest.h>

#include "support/run.h"

TEST(Reports, EveryBoardGivesTheReportThatWasWorkedOutByHand) {
    int boards = 0;
    for (const auto &entry : std::filesystem::directory_iterator(BOARDS)) {
        std::string board = entry.path().string();
        run_result result = run_virtual({board, "-t"});
        EXPECT_EQ(result.out, file_contents(board + "/expect/report.txt")) << board;
        EXPECT_EQ(result.err, "") << board;
        EXPECT_EQ(result.status, 0) << board;
        EXPECT_TRUE(std::filesystem::exists(board + "/expect/by-hand.md")) << board;
        boards++;
    }
    EXPECT_GE(boards, 3);
}

TEST(Reports, TheListNamesEveryBoard) {
    run_result list = run({KESTREL_VIRTUAL, "--list"});
    EXPECT_EQ(list.status, 0);
    for (const auto &entry : std::filesystem::directory_iterator(BOARDS))
        EXPECT_NE(list.out.find(entry.path().filename().string() + " "), std::string::npos) << list.out;
}

static std::string rows_of(const std::string &report, const std::string &name) {
    std::string rows;
    for (size_t at = 0; at < report.size();) {
        size_t end = report.find('\n', at);
        std::string line = report.substr(at, end - at + 1);
        if (line.compare(0, name.size(), name) == 0)
            rows += line;
        at = end + 1;
    }
    return rows;
}

// Fan A stops at second 60: count 14 * 32 + 2 = 450 gives 1350000 / 450 = 3000 rpm, count 8191 none.
TEST(Reports, AStagedFaultShowsWhenItsTimeComes) {
    run_result result = run_virtual({"--sleeps", "4", "nct6776f-faults", "-t", "-i", "25"});
    EXPECT_EQ(rows_of(result.out, "Fan A"),
              "Fan A                                       500       3000           \n"   // second 0
              "Fan A                                       500       3000           \n"   // second 25
              "Fan A                                       500       3000           \n"   // second 50
              "Fan A                                       500          0   Warning!\n"); // second 75
}

// The board's temperature swings from 34 to 38 degrees and back within 90 seconds: 38 after 45.
TEST(Reports, ReadingsMoveWithTheBoardsClock) {
    run_result result = run_virtual({"--sleeps", "3", "w83627hf", "-t", "-i", "45"});
    EXPECT_EQ(rows_of(result.out, "System Temperature"),
              "System Temperature            60/140                 34/93           \n"
              "System Temperature            60/140                38/100           \n"
              "System Temperature            60/140                 34/93           \n");
}

TEST(Reports, AReadingThatFailsIsShownAsSuch) {
    std::string configuration = file_contents(BOARDS "/w83627hf/root/etc/Kestrel.ini");
    std::string toml = file_contents(BOARDS "/w83627hf/board.toml");
    for (const std::string &line : {std::string("0x28 = 150"), std::string("0x20 = 84 ")})
        toml.replace(toml.find(line), line.size(), line.substr(0, 7) + "{ fails = true } ");
    toml.replace(toml.find("include"), toml.find('\n', toml.find("include")) - toml.find("include"), "");
    run_result result = run_virtual({make_board(toml, &configuration), "-t"});
    EXPECT_EQ(rows_of(result.out, "CPU Fan"),
              "CPU Fan                                    3000        N/A   Warning!\n");
    EXPECT_EQ(rows_of(result.out, "CPU Core"),
              "CPU Core Voltage                1.49       1.20        N/A   Warning!\n");
    EXPECT_EQ(rows_of(result.out, "+3.3V"),
              "+3.3V                           3.47       3.14       3.31           \n");
    EXPECT_EQ(result.status, 0);
}

TEST(Reports, UnmonitoredItemsAreNotShownButKept) {
    std::string configuration = file_contents(BOARDS "/w83627hf/root/etc/Kestrel.ini");
    size_t fan = configuration.find("MONITOR=TRUE");
    configuration.replace(fan, 12, "MONITOR=FALSE");
    std::string toml = file_contents(BOARDS "/w83627hf/board.toml");
    toml.replace(toml.find("include"), toml.find('\n', toml.find("include")) - toml.find("include"), "");
    run_result result = run_virtual({make_board(toml, &configuration), "-t"});
    EXPECT_EQ(rows_of(result.out, "CPU Fan"), "");
    EXPECT_NE(rows_of(result.out, "Chassis Fan 1"), "");
}
