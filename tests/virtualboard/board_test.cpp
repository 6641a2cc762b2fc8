// board.toml: what it may hold, and that a mistake is found and said with its line.
#include "board.h"

#include <cerrno>
#include <fstream>
#include <gtest/gtest.h>

#include "support/run.h"

TEST(Board, EveryKindOfEntryIsRead) {
    std::string directory =
        make_board("shows = \"all of it\"\n"
                   "include = [\"more.toml\"]\n"
                   "uid = 1000\n"
                   "absent = [\"/dev/qxbmc\", 0x80]\n"
                   "[refused]\n"
                   "iopl = \"ENOSYS\"\n"
                   "0x295 = \"EPERM\"\n"
                   "[commands]\n"
                   "\"say it\" = { output = \"said\\n\", status = 3 }\n"
                   "[superio]\n"
                   "[superio.global]\n"
                   "0x20 = 0x52\n"
                   "[superio.device12]\n"
                   "0xE1 = 0x64\n"
                   "[[monitor]]\n"
                   "index = 0x295\n"
                   "data = 0x296\n"
                   "bank_register = 0x00\n"
                   "bank_mask = 0x03\n"
                   "[monitor.common]\n"
                   "0x20 = 84\n"
                   "0x21 = [1, 2]\n"
                   "0x22 = { swing = [10, 20], period = 30.5 }\n"
                   "0x23 = { steps = [[0, 1], [2.5, 3]] }\n"
                   "0x24 = { value = 0xF0, clears_on_read = 0x30, read_only = true }\n"
                   "0x25 = { fails = true }\n"
                   "0x26 = { clears = { written = 0x80, bank = 1, register = 0x42, bits = 0x10 } }\n"
                   "[monitor.bank5]\n"
                   "0xFF = 9\n",
                   nullptr);
    std::ofstream(directory + "/more.toml") << "[[ports]]\nbase = 0x600\n[ports.registers]\n0x0F = 0xE0\n";
    virtual_board board;
    std::string error;
    ASSERT_TRUE(load_board(directory, &board, &error)) << error;
    EXPECT_EQ(board.shows, "all of it");
    EXPECT_EQ(board.uid, 1000u);
    EXPECT_EQ(board.absent_files.count("/dev/qxbmc"), 1u);
    EXPECT_EQ(board.absent_ports.count(0x80), 1u);
    EXPECT_EQ(board.iopl_error, ENOSYS);
    EXPECT_EQ(board.ioperm_errors[0x295], EPERM);
    EXPECT_EQ(board.commands["say it"].output, "said\n");
    EXPECT_EQ(board.commands["say it"].status, 3);
    EXPECT_EQ(board.superio.index_port, 0x2E);
    EXPECT_EQ(board.superio.global[0x20].value, 0x52);
    EXPECT_EQ(board.superio.logical_devices[12][0xE1].value, 0x64);
    ASSERT_EQ(board.monitors.size(), 1u);
    monitor_chip &chip = board.monitors[0];
    EXPECT_EQ(chip.index_port, 0x295);
    EXPECT_EQ(chip.data_port, 0x296);
    EXPECT_EQ(chip.bank_reg, 0x00);
    EXPECT_EQ(chip.bank_mask, 0x03);
    EXPECT_EQ(chip.common[0x20].value, 84);
    EXPECT_EQ(chip.common[0x21].successive, (std::vector<uint8_t>{1, 2}));
    EXPECT_EQ(chip.common[0x22].swing_low, 10);
    EXPECT_EQ(chip.common[0x22].swing_high, 20);
    EXPECT_EQ(chip.common[0x22].period_s, 30.5);
    ASSERT_EQ(chip.common[0x23].steps.size(), 2u);
    EXPECT_EQ(chip.common[0x23].steps[1].at_s, 2.5);
    EXPECT_EQ(chip.common[0x23].steps[1].value, 3);
    EXPECT_EQ(chip.common[0x24].value, 0xF0);
    EXPECT_EQ(chip.common[0x24].clears_on_read, 0x30);
    EXPECT_TRUE(chip.common[0x24].read_only);
    EXPECT_TRUE(chip.common[0x25].fails);
    EXPECT_EQ(chip.common[0x26].latch.written_bits, 0x80);
    EXPECT_EQ(chip.common[0x26].latch.bank, 1);
    EXPECT_EQ(chip.common[0x26].latch.reg, 0x42);
    EXPECT_EQ(chip.common[0x26].latch.cleared_bits, 0x10);
    EXPECT_EQ(chip.banks[5][0xFF].value, 9);
    ASSERT_EQ(board.blocks.size(), 1u);
    EXPECT_EQ(board.blocks[0].base, 0x600);
    EXPECT_EQ(board.blocks[0].registers[0x0F].value, 0xE0);
}

TEST(Board, AMistakeIsSaidWithItsLine) {
    const struct {
        const char *toml;
        const char *said; // the end of the message
    } table[] = {
        {"shows = 5\n", "board.toml:1: a text belongs here"},
        {"\nshow = \"x\"\n", "board.toml:2: unknown key \"show\""},
        {"uid = -1\n", "board.toml:1: a whole number from 0 to 4294967295 belongs here"},
        {"absent = 5\n", "board.toml:1: a list belongs here"},
        {"absent = [true]\n", "board.toml:1: a text belongs here"},
        {"absent = [0x10000]\n", "board.toml:1: a whole number from 0 to 65535 belongs here"},
        {"refused = 1\n", "board.toml:1: a table belongs here"},
        {"[refused]\niopl = \"EIO\"\n", "board.toml:2: EPERM or ENOSYS belongs here"},
        {"[refused]\nport = \"EPERM\"\n", "board.toml:2: iopl or a port such as 0x295 belongs here"},
        {"[commands]\nx = { text = \"\" }\n", "board.toml:2: unknown key \"text\""},
        {"[[monitor]]\nindx = 1\n", "board.toml:2: unknown key \"indx\" of a monitor"},
        {"[[monitor]]\nbankx = {}\n", "board.toml:2: unknown key \"bankx\" of a monitor"},
        {"[[monitor]]\n[monitor.common]\n0x100 = 1\n",
         "board.toml:3: \"0x100\" is no register: 0x00 to 0xFF belongs here"},
        {"[[monitor]]\n[monitor.common]\n20 = 1\n",
         "board.toml:3: \"20\" is no register: 0x00 to 0xFF belongs here"},
        {"[[monitor]]\n[monitor.common]\n0x20 = 256\n",
         "board.toml:3: a whole number from 0 to 255 belongs here"},
        {"[[monitor]]\n[monitor.common]\n0x20 = []\n", "board.toml:3: the list is empty"},
        {"[[monitor]]\n[monitor.common]\n0x20 = { swing = [1, 2] }\n",
         "board.toml:3: a swing is { swing = [low, high], period = seconds }"},
        {"[[monitor]]\n[monitor.common]\n0x20 = { steps = [[1]] }\n",
         "board.toml:3: a step is [second, value]"},
        {"[[monitor]]\n[monitor.common]\n0x20 = { fails = 1 }\n", "board.toml:3: true or false belongs here"},
        {"[[monitor]]\n[monitor.common]\n0x20 = { valu = 1 }\n", "board.toml:3: unknown key \"valu\""},
        {"[superio]\nglob = {}\n", "board.toml:2: unknown key \"glob\" of a Super I/O chip"},
        {"[[ports]]\nbas = 1\n", "board.toml:2: unknown key \"bas\""},
        {"include = [\"board.toml\"]\n", "board.toml:1: files include one another without end"},
    };
    for (const auto &row : table) {
        virtual_board board;
        std::string error;
        EXPECT_FALSE(load_board(make_board(row.toml, nullptr), &board, &error)) << row.toml;
        std::string end =
            error.size() < strlen(row.said) ? error : error.substr(error.size() - strlen(row.said));
        EXPECT_EQ(end, row.said) << row.toml;
    }
}

TEST(Board, WhatIsNoTomlIsSaidWithItsLine) {
    virtual_board board;
    std::string error;
    EXPECT_FALSE(load_board(make_board("shows = \"x\"\n= 3\n", nullptr), &board, &error));
    EXPECT_NE(error.find("board.toml:2: "), std::string::npos) << error;
}

TEST(Board, AMissingFileIsSaid) {
    virtual_board board;
    std::string error;
    EXPECT_FALSE(load_board(scratch_directory(), &board, &error));
    EXPECT_NE(error.find("board.toml"), std::string::npos) << error;
}
