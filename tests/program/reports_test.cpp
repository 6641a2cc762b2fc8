// The reports of the boards that come with the program, byte for byte, and what happens to them over time.
#include <filesystem>
#include <gtest/gtest.h>

#include "boards.h"

TEST(Reports, EveryBoardGivesTheReportThatWasWorkedOutByHand) {
    int boards = 0;
    for (const auto &entry : std::filesystem::directory_iterator(BOARDS)) {
        std::string board = entry.path().string();
        run_result result = run_virtual({board, "-t"}); // strict: a board answers every access
        EXPECT_EQ(result.out, file_contents(board + "/expect/report.txt")) << board;
        EXPECT_EQ(result.err, file_contents(board + "/expect/errors.txt")) << board; // "" without one
        EXPECT_EQ(result.status, 0) << board;
        EXPECT_TRUE(std::filesystem::exists(board + "/expect/by-hand.md")) << board;
        boards++;
    }
    EXPECT_EQ(boards, 18);
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

// Fan A stops at second 60: count 14 * 32 + 2 = 450 gives 1350000 / 450 = 3000 rpm, count 8191 means 0.
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

// A wrong register of a board's file or of a configuration is named as the trace does.
TEST(Reports, WhatNoSlaveAnswersIsSaid) {
    std::string board =
        make_board(changed(shipped("w83795adg-piix4"), "0x2E = 15  # fan counts\n", ""), nullptr);
    run_result result = run_virtual({board, "-t"});
    EXPECT_EQ(count_of(result.err, "kestrel-virtual: nothing on this board answers i2c-0 read 2f 2e\n"), 1)
        << result.err; // once, though it is read three times
    EXPECT_EQ(result.status, 99);
}

TEST(Reports, AReadingThatFailsIsShownAsSuch) {
    std::string toml = changed(shipped("w83627hf"), "0x28 = 150", "0x28 = { fails = true }");
    toml = changed(toml, "0x20 = 84 ", "0x20 = { fails = true } ");
    run_result result = run_virtual({make_board(toml, nullptr), "-t"});
    EXPECT_EQ(rows_of(result.out, "CPU Fan"),
              "CPU Fan                                    3000        N/A   Warning!\n");
    EXPECT_EQ(rows_of(result.out, "CPU Core"),
              "CPU Core Voltage                1.49       1.20        N/A   Warning!\n");
    EXPECT_EQ(rows_of(result.out, "+3.3V"),
              "+3.3V                           3.47       3.14       3.31           \n");
    EXPECT_EQ(result.status, 0);
}

// Whoever collects reports must learn of it; an interval does not go on writing nowhere.
TEST(Reports, AReportThatCannotBeWrittenEndsTheProgram) {
    for (const char *interval : {"", " -i 5"}) {
        std::string command =
            std::string("exec ") + KESTREL_VIRTUAL + " --fast --sleeps 3 w83627dhg -t" + interval;
        run_result result = run({"/bin/sh", "-c", command + " >/dev/full"});
        EXPECT_EQ(result.err, "Error: The report cannot be written.\n") << command;
        EXPECT_EQ(result.status, 255) << command;
    }
}

TEST(Reports, UnmonitoredItemsAreNotShownButKept) {
    std::string configuration = section_of("w83627hf");
    size_t fan = configuration.find("MONITOR=TRUE");
    ASSERT_NE(fan, std::string::npos);
    configuration.replace(fan, 12, "MONITOR=FALSE");
    std::string toml = changed(shipped("w83627hf"), "configuration = \"H2SB-I\"", "");
    std::string kept = scratch_directory() + "/kept";
    run_result result = run_virtual({"--keep", kept, make_board(toml, &configuration), "-t"});
    EXPECT_EQ(rows_of(result.out, "CPU Fan"), "");
    EXPECT_NE(rows_of(result.out, "Chassis Fan 1"), "");
    EXPECT_EQ(file_contents(kept + "/etc/Kestrel.ini"), configuration);
}

// A whole device that fails: none of its items can be read, and nothing is reported about single transfers.
TEST(Reports, AFailingDeviceFailsItsItems) {
    const struct {
        const char *board;
        const char *device;
        const char *failing;
        int items;
    } table[] = {
        {"w83627hf", "data = 0x296\n", "data = 0x296\nfails = true\n", 15},
        {"chip9-nforce2", "base = 0x2E40\n", "base = 0x2E40\nfails = true\n", 11},
        {"chip9-nforce2", "address = 0x2E\n", "address = 0x2E\nfails = true\n", 11},
        {"ns87427-ports", "base = 0x600\n", "base = 0x600\nfails = true\n", 3}, // not its pins
    };
    for (const auto &row : table) {
        std::string toml = changed(shipped(row.board), row.device, row.failing);
        run_result result = run_virtual({make_board(toml, nullptr), "-t"});
        EXPECT_EQ(result.status, 0) << row.board;
        EXPECT_EQ(result.err, "") << row.board;
        int unread = 0;
        for (const std::string &line : lines_of(result.out))
            unread += line.size() > 14 && line.substr(line.size() - 14) == "N/A   Warning!";
        EXPECT_EQ(unread, row.items) << row.board << result.out;
    }
}

// ---- The family whose processor temperatures are named by what they are

// Register 0x5E is 3: the processors report by themselves.
TEST(Reports, AnR2MBoardNamesItsPECIAgents) {
    std::string peci = "PECI Agent1 Temperature       90/194                   Low           \n"
                       "PECI Agent2 Temperature       90/194                Medium           \n"
                       "PECI Agent3 Temperature       90/194                57/134           \n"
                       "PECI Agent4 Temperature       90/194                  0/32           \n";
    for (const char *product : {"R2M-D4", "r2m"}) {
        std::string toml = changed(shipped("w83793g-i801"), "product = \"R2M-D4\"",
                                   std::string("product = \"") + product + "\"");
        run_result result = run_virtual({make_board(toml, nullptr), "-t"});
        EXPECT_EQ(rows_of(result.out, "PECI"), peci) << product;
        EXPECT_EQ(count_of(result.out, " Core A "), 0) << product;
    }
}

// Under their own names "CPU1 Core B" is the first processor too, and both of the second are agent 2: their
// words are those of registers 0x1C (68 degrees) and 0x1D (82 degrees).
TEST(Reports, AnotherProductKeepsTheNamesOfItsFile) {
    std::string cores = "CPU1 Core A Temperature       90/194                   Low           \n"
                        "CPU1 Core B Temperature       90/194                   Low           \n"
                        "CPU2 Core A Temperature       90/194                Medium           \n"
                        "CPU2 Core B Temperature       90/194                Medium           \n";
    for (const char *product : {"R2", "H2SB-I", "XR2M-D4"}) {
        std::string toml = changed(shipped("w83793g-i801"), "product = \"R2M-D4\"",
                                   std::string("product = \"") + product + "\"");
        run_result result = run_virtual({make_board(toml, nullptr), "-t"});
        EXPECT_EQ(rows_of(result.out, "CPU1 Core A") + rows_of(result.out, "CPU1 Core B") +
                      rows_of(result.out, "CPU2 Core A") + rows_of(result.out, "CPU2 Core B"),
                  cores)
            << product;
        EXPECT_EQ(count_of(result.out, "PECI"), 0) << product;
    }
}

// Both bits of the mode make agents; one does not.
TEST(Reports, AnR2MBoardWithItsOwnDiodesNamesCores) {
    for (const char *mode : {"0x5E = 0 ", "0x5E = 1 ", "0x5E = 2 ", "0x5E = 0xFC "}) {
        std::string toml = changed(shipped("w83793g-i801"), "0x5E = 3 ", mode);
        run_result result = run_virtual({make_board(toml, nullptr), "-t"});
        EXPECT_EQ(count_of(result.out, "\nCPU1 Core A Temperature "), 1) << mode;
        EXPECT_EQ(count_of(result.out, "PECI"), 0) << mode;
    }
}

TEST(Reports, WithoutTheCoreTemperatureChipNothingIsRenamed) {
    std::string section =
        changed(section_of("w83793g-i801"), "CORETEMPCHIPCODE=11\n", "CORETEMPCHIPCODE=10\n");
    std::string toml = changed(shipped("w83793g-i801"), "configuration = \"R2M-D4\"", "");
    run_result result = run_virtual({make_board(toml, &section), "-t"});
    EXPECT_EQ(count_of(result.out, "\nCPU1 Core A Temperature "), 1);
    EXPECT_EQ(count_of(result.out, "PECI"), 0);
}
