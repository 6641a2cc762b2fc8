// Configurations that no one should have written: never a crash, the required messages, the file as it was.
#include <csignal>
#include <filesystem>
#include <gtest/gtest.h>
#include <map>
#include <set>

#include "boards.h"

static const std::string TABLE = "Monitored Item            High Limit  Low Limit     Status \n"
                                 "----------------------------------------------------------------------\n";
static const std::string TIME = "--------------------------------------------- Mon Jan  5 10:00:00 2026\n";
static const std::string WRONG = "Error: something wrong in file Kestrel.ini.\n";

static run_result run_with(const std::string &configuration) {
    std::string kept = scratch_directory() + "/kept";
    run_result result = run_virtual({"--keep", kept, make_board(THE_MAKER, &configuration), "-t"});
    EXPECT_EQ(file_contents(kept + "/etc/Kestrel.ini"), configuration);
    EXPECT_FALSE(std::filesystem::exists(kept + "/etc/Kestrel.ini.old"));
    return result;
}

TEST(BadConfiguration, FilesWithoutAnItemAreRefused) {
    std::string binary;
    for (int i = 0; i < 100000; i++)
        binary += static_cast<char>(i * 37 ^ i >> 3);
    const std::string files[] = {
        "",
        "\n\n\n",
        "[System]\nBUSTYPE=2\n",
        "[System]\r\nBUSTYPE=2\r\n[Item]\r\nITEM_CAT=FAN\r\n", // CR LF is not understood
        "[Item] \nITEM_CAT=FAN\n",
        std::string("\0[Item]\n", 8),
        binary,
        std::string(10000, '='),
    };
    for (const std::string &file : files) {
        run_result result = run_with(file);
        EXPECT_EQ(result.out, BANNER) << file.substr(0, 60);
        EXPECT_EQ(result.err, WRONG) << file.substr(0, 60);
        EXPECT_EQ(result.status, 255) << file.substr(0, 60);
    }
}

TEST(BadConfiguration, ADirectoryInItsPlaceIsRefused) {
    std::string board = make_board(THE_MAKER, nullptr);
    std::filesystem::create_directories(board + "/root/etc/Kestrel.ini");
    run_result result = run_virtual({board, "-t"});
    EXPECT_EQ(result.out, BANNER + "Error: readItemSection().\nError: readParameterSection().\n");
    EXPECT_EQ(result.err, "Error: getSystemSection().\n" + WRONG);
    EXPECT_EQ(result.status, 255);
}

// All bits of its bus type are set, so it is looked for on the SMBus, which this machine has not. Its two
// limits have no name that could be found.
TEST(BadConfiguration, AnItemWithNothingInItWantsABus) {
    run_result result = run_with("[Item]\n");
    EXPECT_EQ(result.out, BANNER);
    EXPECT_EQ(result.err, "Error: Parameter is not found.\nError: Parameter is not found.\n"
                          "Error: Cannot find a proper I2C/SMBus device!\n");
    EXPECT_EQ(result.status, 255);
}

TEST(BadConfiguration, AnItemOnNoBusIsReadAndNotShown) {
    run_result result = run_with("[Item]\nBUSTYPE=0\n");
    EXPECT_EQ(result.out.find(BANNER), 0u);
    EXPECT_NE(result.out.find(TABLE + TIME), std::string::npos) << result.out; // MONITOR was not given
    EXPECT_EQ(result.status, 0);
}

TEST(BadConfiguration, TheLastLineNeedsNoEnd) {
    run_result result = run_with("[Item]\nITEM_CAT=SWITCH\nCHIPCODE=1b\nITEM_NAME=Heat\nMONITOR=TRUE");
    EXPECT_NE(result.out.find("Heat                                                Normal           \n"),
              std::string::npos)
        << result.out;
    EXPECT_EQ(result.status, 0);
}

TEST(BadConfiguration, UnknownNamesAreSaidAndTheRestIsUsed) {
    run_result result = run_with(
        "[System]\nMAILALERT=perhaps\n[Item]\nITEM_NAME=Heat\nBUSTYPE=0\nMONITOR=TRUE\nITEM_CAT=THING\n"
        "[Item]\nITEM_NAME=Chip\nMONITOR=yes\nITEM_CAT=SWITCH\nCHIPCODE=1B\n");
    EXPECT_NE(result.err.find("str2code: Failure! perhaps\n"), std::string::npos);
    EXPECT_NE(result.err.find("str2code: Failure! THING\n"), std::string::npos);
    EXPECT_NE(result.err.find("str2code: Failure! yes\n"), std::string::npos);
    // Category and every cell of the first are unknown; the second is not monitored, as "yes" is not TRUE.
    EXPECT_NE(result.out.find(
                  TABLE + "Heat                         unknown    unknown    unknown   Warning!\n" + TIME),
              std::string::npos)
        << result.out;
    EXPECT_EQ(result.status, 0);
}

TEST(BadConfiguration, LongLinesAndValuesAreCutToTheirFields) {
    run_result result = run_with(
        "[System]\nMACHINENAME=" + std::string(10000, 'm') + "\nMAILBOX=" + std::string(10000, 'b') +
        "\n[Item]\nBUSTYPE=0\nITEM_NAME=" + std::string(10000, 'n') +
        "\n[Item]\nITEM_CAT=SWITCH\nCHIPCODE=1B\nMONITOR=TRUE\nITEM_NAME=" + std::string(68, 'w') + "\n");
    // 68 characters fit the line and the item's name; a record that is shown holds 39 of them.
    EXPECT_NE(
        result.out.find(std::string(39, 'w') + std::string(27, ' ') + "Normal" + std::string(11, ' ') + "\n"),
        std::string::npos)
        << result.out;
    EXPECT_EQ(result.status, 0);
}

#ifndef __SANITIZE_ADDRESS__ // which takes more memory than there is
// With a little more memory each time there is enough for the program, its first texts, the tables, their
// index, the records that are shown.
TEST(BadConfiguration, MemoryThatRunsOutIsSaid) {
    std::string items = "[System]\nBUSTYPE=0\n";
    for (int i = 0; i < 8000; i++)
        items += "[Item]\nITEM_NAME=Switch\nITEM_ID=" + std::to_string(i) +
                 "\nITEM_CAT=SWITCH\nCHIPCODE=1B\nBUSTYPE=0\nPARAINDEX1=P\nPARAINDEX2=P\n\n";
    std::string board = make_board(THE_MAKER, &items);
    std::map<std::string, int> ends; // how often each message was the last one
    for (int kib = 4000; kib < 100000 && ends["whole"] == 0; kib += 100) {
        std::string limit = "ulimit -v " + std::to_string(kib) + "; exec ";
        run_result result = run({"/bin/sh", "-c", limit + KESTREL_VIRTUAL + " " + board + " -t"});
        std::vector<std::string> said = lines_of(result.err);
        ends[result.status == 0 ? "whole" : said.empty() ? "" : said.back() + "\n"]++;
        // 127: the program cannot be loaded; 2: kestrel-virtual cannot make its files. Before main() begins
        // there is a small range in which the C++ library has no memory for its own start, and aborts.
        static const std::set<int> good = {0, 2, 127, 255};
        bool not_begun = result.status == 128 + SIGABRT && result.out.empty();
        EXPECT_TRUE(not_begun || good.count(result.status) == 1)
            << kib << ": " << result.status << result.err;
    }
    EXPECT_GT(ends[WRONG], 0);
    EXPECT_GT(ends["Error: out of memory.\n"], 0);
    EXPECT_EQ(ends["whole"], 1);
    EXPECT_EQ(ends[""], 0);
}
#endif

TEST(BadConfiguration, ManyLinesItemsAndParametersAreRead) {
    std::string lines;
    for (int i = 0; i < 200000; i++)
        lines += "KEY" + std::to_string(i) + "=value\n";
    EXPECT_EQ(run_with("[Item]\nBUSTYPE=0\n" + lines).status, 0);

    std::string items;
    for (int i = 0; i < 1000; i++)
        items += "[Item]\nITEM_NAME=Switch " + std::to_string(i) +
                 "\nITEM_CAT=SWITCH\nCHIPCODE=1B\nMONITOR=TRUE\n"
                 "PARAINDEX1=SWITCH1A\nPARAINDEX2=SWITCH1A\n\n";
    std::string parameters;
    for (int i = 0; i < 5000; i++) // room is for 2000
        parameters += "[Parameter]\nPARAMETER=P" + std::to_string(i) + "\nSLAVE=1\n";
    run_result result = run_with("[System]\nBUSTYPE=0\n" + items + parameters);
    EXPECT_EQ(result.status, 0);
    EXPECT_NE(result.out.find("Switch 0                                            Normal"),
              std::string::npos);
    EXPECT_NE(result.out.find("Switch 999                                          Normal"),
              std::string::npos);
}
