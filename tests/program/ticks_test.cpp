// What one report costs on every board: its accesses, counted in the trace and worked out by hand.
//
// A try of a reading fetches the high limit, the low limit and the value, whatever the item is; a value that
// is not normal is tried three times. Of a fan each of the three is converted by a divisor, which is a read
// of its own on the chips that have one. Only the monitored items of a report are read.
#include <algorithm>
#include <filesystem>
#include <gtest/gtest.h>

#include "boards.h"

struct tick {
    int i2c;  // bytes over the SMBus, writes included
    int bmc;  // commands to the BMC
    int port; // port accesses
};

static bool begins(const std::string &line, const std::string &with) {
    return line.compare(0, with.size(), with) == 0;
}

// What a report may do besides the accesses that are counted: take slaves, receive replies, and ask for the
// ports that the counted accesses need. No file, no command, no scan, no sleep.
static bool belongs_to_a_report(const std::string &line) {
    for (const char *kind :
         {"i2c-0 read ", "i2c-0 write ", "i2c-0 slave ", "i2c-0 force ", "ipmi send ", "ipmi reply ",
          "qxbmc ", "inb ", "outb ", "iopl 3", "ioperm 002e 1 1", "ioperm 002f 1 1"})
        if (begins(line, kind))
            return true;
    return false;
}

// The accesses between the first and the second sleep.
static tick count_tick(const std::string &board) {
    run_result result;
    std::vector<std::string> lines = trace_of({"--sleeps", "2", board, "-t", "-i", "5"}, &result);
    EXPECT_EQ(result.status, 0) << board << result.err;
    auto first = std::find(lines.begin(), lines.end(), "sleep 5");
    EXPECT_NE(first, lines.end()) << board;
    if (first == lines.end())
        return {};
    auto second = std::find(first + 1, lines.end(), "sleep 5");
    EXPECT_EQ(second, lines.end() - 1) << board;
    tick counted = {};
    for (auto line = first + 1; line != second; line++) {
        EXPECT_TRUE(belongs_to_a_report(*line)) << board << ": " << *line;
        counted.i2c += begins(*line, "i2c-0 read") || begins(*line, "i2c-0 write");
        counted.bmc +=
            begins(*line, "ipmi send") || (begins(*line, "qxbmc ") && !begins(*line, "qxbmc reply"));
        counted.port += begins(*line, "inb ") || begins(*line, "outb ");
    }
    return counted;
}

// Behind an index and a data port a byte takes 7 accesses (bank saved, selected, register read, bank
// restored), a fan's word 9.
constexpr int BYTE = 7;
constexpr int WORD = 9;

struct worked_out {
    const char *board;
    tick expected;
};

static const worked_out boards[] = {
    // 3 fans with a divisor: 6 bytes; 9 voltages, 2 temperatures and a switch: 3.
    {"w83627hf", {0, 0, (3 * 6 + 12 * 3) * BYTE}},
    // 3 fans with a divisor, 9 voltages, 3 temperatures, a switch, and 4 bytes for each of the two words.
    {"w83627dhg", {0, 0, (3 * 6 + 13 * 3 + 2 * 4) * BYTE}},
    // 5 fans without a divisor, one of them stopped: 7 tries of 3 words. Bytes: 9 voltages; processors
    // without
    // a limit register: 1 for the value and 2 for the word, twice; the temperature and the switch in trouble:
    // 3 tries of 3.
    {"nct6776f-faults", {0, 0, 7 * 3 * WORD + (9 * 3 + 2 * (1 + 2) + 2 * 3 * 3) * BYTE}},
    // The same with every item normal.
    {"lively", {0, 0, 5 * 3 * WORD + (9 * 3 + 2 * (1 + 2) + 2 * 3) * BYTE}},
    // 2 fans: bank read and written, two bytes read, for both limits and the value. The chip's switch: one
    // byte, which counts as failed and is not tried again. A switch in configuration mode: two keys, logical
    // device (2), register and value, exit: 7. A pin at the I/O base, which is known by now: it is bad, 3.
    {"ns87427-ports", {0, 0, 2 * 3 * 4 + 1 + 7 + 3}},
    // 2 fans with a divisor: 6; 6 voltages, 2 temperatures, a switch: 3. The slave that is held takes no
    // byte.
    {"adm1026-amd8111", {2 * 6 + 9 * 3, 0, 0}},
    // 3 fans of two bytes, without a divisor, one of them stopped: 5 tries of 6; 5 voltages, 3 temperatures.
    {"chip9-nforce2", {5 * 6 + 8 * 3, 0, 0}},
    // Bytes: 3 fans without a divisor, one of them stopped: 5 tries; 8 voltages, one of them 0: 10 tries;
    // 2 temperatures; the guide: bank read, selected and restored, 4 registers. The bad switch: index and
    // data port, 3 tries.
    {"w83795adg-piix4", {(5 + 10 + 2) * 3 + 7, 0, 3 * 2}},
    // 3 fans of two bytes, one of them stopped: 5 tries of 6; 7 voltages: 3; 5 temperatures: two limits,
    // value, mode and flags; two words: bank read, three times written, 3 registers; the open switch: 3
    // tries.
    // The Intel controller's status is cleared after each byte.
    {"w83793g-i801", {5 * 6 + 7 * 3 + 5 * 5 + 2 * 7 + 3 * 3, 0, 5 * 6 + 7 * 3 + 5 * 5 + 2 * 7 + 3 * 3}},
    // The bank is written before each limit and each value: 3 fans of two bytes: 9; 5 voltages, 3
    // temperatures
    // and a switch: 6; two words: 2.
    {"nct7904d-i801", {3 * 9 + 9 * 6 + 2 * 2, 0, 3 * 9 + 9 * 6 + 2 * 2}},
    // The same with one temperature less: of its items two are hidden.
    {"first-start", {3 * 9 + 8 * 6 + 1 * 2, 0, 3 * 9 + 8 * 6 + 1 * 2}},
    // A fan with a divisor: 6; a fan of a word, by two reads of one register: 6; 3 voltages and a
    // temperature.
    {"bmc-maker", {0, 6 + 6 + 4 * 3, 0}},
    // 77 commands for what is not the board's own monitor, see below; its fan by words, its voltage by bytes,
    // the processor without limits: value and two bytes for the word.
    {"bmc-peppercon", {0, 77, 3 * WORD + (3 + 1 + 2) * BYTE}},
    // The same monitor over the BMC: fan 3, voltage 3, processor's value 1 and word 1.
    {"bmc-ob-winbond", {0, 77 + 8, 0}},
    {"bmc-ao-winbond", {0, 77 + 8, 0}},
    // And with two reads instead of one for each word of the third fan.
    {"bmc-ob-winbond-aten", {0, 77 + 8 + 3, 0}},
    {"bmc-renesas-ami", {0, 77 + 8 + 3, 0}},
    {"bmc-renesas-aten", {0, 77 + 8 + 3, 0}},
};

// The 77: fan 2 with a divisor 6; two voltages and a temperature 9; fan 3 by words 3; fan 4 of two bytes 6;
// processor 2: 3, and 2 for the word (bank and value); processor 3: 3, and 2 (bank, although nothing uses it,
// and value); memory 1, its limits being no commands; graphics card 3; chassis 3; supply 1, two commands a
// read: 6; supply 2: 3; supply 3 is not active while supply 1 reads 0: 3 tries of 3, each with a reading of
// supply 1: 27.
static_assert(6 + 9 + 3 + 6 + 5 + 5 + 1 + 3 + 3 + 6 + 3 + 27 == 77);

TEST(Ticks, AReportTakesTheAccessesThatWereWorkedOutByHand) {
    for (const worked_out &row : boards) {
        tick counted = count_tick(row.board);
        EXPECT_EQ(counted.i2c, row.expected.i2c) << row.board;
        EXPECT_EQ(counted.bmc, row.expected.bmc) << row.board;
        EXPECT_EQ(counted.port, row.expected.port) << row.board;
    }
}

TEST(Ticks, EveryBoardIsCounted) {
    for (const auto &entry : std::filesystem::directory_iterator(BOARDS)) {
        std::string name = entry.path().filename().string();
        bool counted = std::any_of(std::begin(boards), std::end(boards),
                                   [&](const worked_out &row) { return row.board == name; });
        EXPECT_TRUE(counted) << name;
    }
}
