// "-r": what is reported, and every access of the reset as the chips see it, board by board.
#include <algorithm>
#include <fstream>
#include <gtest/gtest.h>

#include "boards.h"

using lines = std::vector<std::string>;

static const std::string SWITCH = "Chassis Intrusion";
static const std::string IS_RESET = "Done.\n\"Chassis Intrusion\" is reset!\n\n";

static lines joined(std::initializer_list<lines> parts) {
    lines all;
    for (const lines &part : parts)
        all.insert(all.end(), part.begin(), part.end());
    return all;
}

static lines times(int count, const lines &part) {
    lines all;
    for (; count > 0; count--)
        all.insert(all.end(), part.begin(), part.end());
    return all;
}

// The message ids of a BMC are left out.
static std::string without_id(const std::string &line) {
    const std::string head = "ipmi send ";
    if (line.compare(0, head.size(), head) != 0)
        return line;
    return head + line.substr(line.find(' ', head.size()) + 1);
}

// The accesses of the reset alone: those after what a reset of nothing takes, which is the start-up.
static lines reset_of(const std::string &board, run_result *result) {
    run_result nothing;
    lines start_up = trace_of({board, "-r", "No Such Switch"}, &nothing);
    lines all = trace_of({board, "-r", SWITCH}, result);
    EXPECT_EQ(result->status, 0) << board << result->err;
    if (all.size() < start_up.size() || !std::equal(start_up.begin(), start_up.end(), all.begin())) {
        ADD_FAILURE() << board << ": the start-up differs";
        return {};
    }
    lines reset(all.begin() + static_cast<long>(start_up.size()), all.end());
    std::transform(reset.begin(), reset.end(), reset.begin(), without_id);
    return reset;
}

// ---- Accesses, as they are in a trace

struct index_data {
    std::string index;
    std::string data;
};

static const index_data AT_295 = {"0295", "0296"};
static const index_data AT_A15 = {"0a15", "0a16"};

// Registers of bank 0 with 0x80 in the bank-select register: saved, selected, restored.
static lines isa_read(const index_data &at, const std::string &reg, const std::string &value) {
    return {"outb " + at.index + " 4e",     "inb " + at.data + " 80",       "outb " + at.data + " 80",
            "outb " + at.index + " " + reg, "inb " + at.data + " " + value, "outb " + at.index + " 4e",
            "outb " + at.data + " 80"};
}

static lines isa_write(const index_data &at, const std::string &reg, const std::string &value) {
    return {"outb " + at.index + " 4e",     "inb " + at.data + " 80",        "outb " + at.data + " 80",
            "outb " + at.index + " " + reg, "outb " + at.data + " " + value, "outb " + at.index + " 4e",
            "outb " + at.data + " 80"};
}

static lines i2c_read(const std::string &slave, const std::string &reg, const std::string &value) {
    return {"i2c-0 slave " + slave, "i2c-0 read " + slave + " " + reg + " " + value};
}

static lines i2c_write(const std::string &slave, const std::string &reg, const std::string &value) {
    return {"i2c-0 force " + slave, "i2c-0 write " + slave + " " + reg + " " + value};
}

// Behind an Intel controller at 0x1100 its status is cleared after each byte.
static lines intel(const lines &transfer) { return joined({transfer, {"iopl 3", "outb 1100 42"}}); }

static lines intel_read(const std::string &slave, const std::string &reg, const std::string &value) {
    return intel(i2c_read(slave, reg, value));
}

static lines intel_write(const std::string &slave, const std::string &reg, const std::string &value) {
    return intel(i2c_write(slave, reg, value));
}

static lines command(const std::string &request, const std::string &reply) {
    return {"ipmi send " + request, "ipmi reply " + reply};
}

// ---- A switch that is not set is reset without a write: limits (its own register and the clearing one) and
// value, then the value again

TEST(Reset, AClosedChassisBehindPortsIsReadAndNotWritten) {
    const struct {
        const char *board;
        index_data at;
    } table[] = {{"w83627hf", AT_295}, {"w83627dhg", AT_A15}};
    for (const auto &row : table) {
        run_result result;
        EXPECT_EQ(reset_of(row.board, &result),
                  joined({isa_read(row.at, "42", "00"), isa_read(row.at, "46", "00"),
                          isa_read(row.at, "42", "00"), isa_read(row.at, "42", "00")}))
            << row.board;
        EXPECT_EQ(result.out, BANNER + IS_RESET) << row.board;
        EXPECT_EQ(result.err, "") << row.board;
    }
}

TEST(Reset, AClosedChassisOnTheSMBusIsReadTwiceAtTheEnd) {
    run_result result;
    EXPECT_EQ(reset_of("adm1026-amd8111", &result),
              joined({i2c_read("2c", "23", "00"), i2c_read("2c", "00", "01"), i2c_read("2c", "23", "00"),
                      times(2, i2c_read("2c", "23", "00"))}));
    EXPECT_EQ(result.out, BANNER + IS_RESET);
}

// On the NCT7904D the bank (1 for limits, 0 for values) goes before each.
static lines nct7904d_try(const std::string &state) {
    return joined({intel_write("2d", "ff", "01"), intel_read("2d", "ca", "00"), intel_write("2d", "ff", "01"),
                   intel_read("2d", "d4", "00"), intel_write("2d", "ff", "00"),
                   intel_read("2d", "ca", state)});
}

TEST(Reset, AClosedChassisOfTheNCT7904DOnlySeesItsBanksSelected) {
    run_result result;
    lines closed = joined({nct7904d_try("00"), times(2, intel_read("2d", "ca", "00"))});
    EXPECT_EQ(reset_of("nct7904d-i801", &result), closed);
    EXPECT_EQ(result.out, BANNER + IS_RESET);
    EXPECT_EQ(result.err, "");

    // A first start generates and hides before it resets.
    EXPECT_EQ(reset_of("first-start", &result), closed);
    EXPECT_EQ(result.out, BANNER +
                              ">> Disable monitoring of non-activated item: Fan 4\n"
                              ">> Disable monitoring of non-available item: Riser Temperature\n\n" +
                              IS_RESET);
}

// By OEM 0x90 (slave 0x2B, bank, register, one byte); the value at the end by Master Write-Read.
static lines bmc_try(const std::string &state) {
    return joined({command("30 90 56 01 ca 01", "00 00"), command("30 90 56 01 d4 01", "00 00"),
                   command("30 90 56 00 ca 01", "00 " + state)});
}

static const char *const bmc_boards[] = {"bmc-peppercon",       "bmc-ob-winbond",  "bmc-ao-winbond",
                                         "bmc-ob-winbond-aten", "bmc-renesas-ami", "bmc-renesas-aten"};

TEST(Reset, AClosedChassisBehindABMCIsReadByItsCommands) {
    for (const char *board : bmc_boards) {
        run_result result;
        EXPECT_EQ(reset_of(board, &result),
                  joined({bmc_try("00"), times(2, command("06 52 05 56 01 ca", "00 00"))}))
            << board;
        EXPECT_EQ(result.out, BANNER + IS_RESET) << board;
        EXPECT_EQ(result.err, "") << board;
    }
}

// ---- One that is set is tried three times, cleared as its chip requires, and is clear when it is read again

static std::string board_with(const std::string &toml) { return make_board(toml, nullptr); }

TEST(Reset, TheW83627HFSetsABitInItsClearRegister) {
    std::string toml = changed(shipped("w83627hf"), "0x42 = 0x00", "0x42 = 0x10") +
                       "[superio.global]\n0x20 = 0x52\n0x21 = 0x17\n";
    run_result result;
    lines id = {"ioperm 002e 1 1", "ioperm 002f 1 1", "outb 002e 87", "outb 002e 87",
                "outb 002e 07",    "outb 002f 00",    "outb 002e 20", "inb 002f 52",
                "outb 002e 21",    "inb 002f 17",     "outb 002e aa"};
    EXPECT_EQ(reset_of(board_with(toml), &result),
              joined({times(3, joined({isa_read(AT_295, "42", "10"), isa_read(AT_295, "46", "00"),
                                       isa_read(AT_295, "42", "10")})),
                      id, isa_read(AT_295, "46", "00"), isa_write(AT_295, "46", "80"),
                      isa_read(AT_295, "42", "00")}));
    EXPECT_EQ(result.out, BANNER + IS_RESET);
    EXPECT_EQ(result.err, "");
}

// Bit 6 of register 0xE6 of logical device 10 is set for a second and cleared: 0x05, 0x45, 0x05.
TEST(Reset, ItsFirstSiliconPulsesABitOfItsConfiguration) {
    std::string toml = changed(shipped("w83627hf"), "0x42 = 0x00", "0x42 = 0x10") +
                       "[superio.global]\n0x20 = 0x52\n0x21 = 0x41\n[superio.device10]\n0xE6 = 0x05\n";
    run_result result;
    lines id = {"ioperm 002e 1 1", "ioperm 002f 1 1", "outb 002e 87", "outb 002e 87",
                "outb 002e 07",    "outb 002f 00",    "outb 002e 20", "inb 002f 52",
                "outb 002e 21",    "inb 002f 41",     "outb 002e aa"};
    lines pulse = {"ioperm 002e 1 1", "ioperm 002f 1 1", "outb 002e 87", "outb 002e 87", "outb 002e 07",
                   "outb 002f 0a",    "outb 002e e6",    "inb 002f 05",  "sleep 1",      "outb 002e e6",
                   "outb 002f 45",    "sleep 1",         "outb 002e e6", "outb 002f 05", "outb 002e aa"};
    EXPECT_EQ(reset_of(board_with(toml), &result),
              joined({times(3, joined({isa_read(AT_295, "42", "10"), isa_read(AT_295, "46", "00"),
                                       isa_read(AT_295, "42", "10")})),
                      id, pulse, isa_read(AT_295, "42", "10")})); // nothing on this board clears it then
    EXPECT_EQ(result.out, BANNER + IS_RESET);
}

// The same on two chips: bit 7 of the clear register set and cleared again.
TEST(Reset, TheW83627DHGAndTheNCT6776FPulseABitOfTheirClearRegister) {
    const struct {
        std::string board;
        index_data at;
    } table[] = {{board_with(changed(shipped("w83627dhg"), "0x42 = 0x00", "0x42 = 0x10")), AT_A15},
                 {"nct6776f-faults", AT_295}};
    for (const auto &row : table) {
        run_result result;
        EXPECT_EQ(reset_of(row.board, &result),
                  joined({times(3, joined({isa_read(row.at, "42", "10"), isa_read(row.at, "46", "00"),
                                           isa_read(row.at, "42", "10")})),
                          isa_read(row.at, "46", "00"), isa_write(row.at, "46", "80"),
                          isa_write(row.at, "46", "00"), isa_read(row.at, "42", "00")}))
            << row.board;
        EXPECT_EQ(result.out, BANNER + IS_RESET) << row.board;
        EXPECT_EQ(result.err, "") << row.board;
    }
}

// Configuration register 0x00 is 0x01; bit 4 is set and cleared again.
TEST(Reset, TheADM1026PulsesABitOverTheSMBus) {
    std::string toml = changed(shipped("adm1026-amd8111"), "0x23 = 0  #", "0x23 = 0x40  #");
    run_result result;
    EXPECT_EQ(reset_of(board_with(toml), &result),
              joined({times(3, joined({i2c_read("2c", "23", "40"), i2c_read("2c", "00", "01"),
                                       i2c_read("2c", "23", "40")})),
                      i2c_read("2c", "00", "01"), i2c_write("2c", "00", "11"), i2c_write("2c", "00", "01"),
                      times(2, i2c_read("2c", "23", "00"))}));
    EXPECT_EQ(result.out, BANNER + IS_RESET);
}

// The item's bus type is 8 from the clear on, and over that type register 0x44 is waited for.
TEST(Reset, TheW83793GIsReadAgainAsASlowRegister) {
    run_result result;
    lines slow = intel({"i2c-0 slave 2f", "usleep 550000", "i2c-0 read 2f 44 00"});
    EXPECT_EQ(reset_of("w83793g-i801", &result),
              joined({times(3, joined({intel_read("2f", "44", "40"), intel_read("2f", "46", "00"),
                                       intel_read("2f", "44", "40")})),
                      intel_read("2f", "46", "00"), intel_write("2f", "46", "80"), slow, slow}));
    EXPECT_EQ(result.out, BANNER + IS_RESET);
    EXPECT_EQ(result.err, "");
}

TEST(Reset, TheNCT7904DIsClearedInItsReadingBank) {
    std::string chip = changed(shared_file("nct7904d-i801.toml"), "0xCA = 0  #", "0xCA = 0x80  #");
    std::string board = board_with("configuration = \"N6DR-i\"\n" + chip +
                                   "[dmi]\nmanufacturer = \"Brigantine\"\nproduct = \"N6DR-i\"\n");
    run_result result;
    EXPECT_EQ(reset_of(board, &result),
              joined({times(3, nct7904d_try("80")), intel_write("2d", "ff", "00"),
                      intel_read("2d", "d4", "00"), intel_write("2d", "d4", "80"),
                      times(2, intel_read("2d", "ca", "00")), times(2, intel_read("2d", "ca", "00"))}));
    EXPECT_EQ(result.out, BANNER + IS_RESET);
    EXPECT_EQ(result.err, "");
}

// OEM 0x91 writes 0x80 into register 0xD4 of bank 0.
TEST(Reset, TheNCT7904DBehindABMCIsClearedByOEMCommands) {
    std::string chips = changed(shared_file("bmc-chips.toml"), "0xCA = 0  #", "0xCA = 0x80  #");
    for (const char *name : bmc_boards) {
        std::string board = board_with(changed(shipped(name), "include = [\"../../shared/bmc-chips.toml\"]",
                                               "include = [\"chips.toml\"]"));
        run_result result;
        std::ofstream(board + "/chips.toml") << chips;
        EXPECT_EQ(reset_of(board, &result),
                  joined({times(3, bmc_try("80")), command("30 90 56 00 d4 01", "00 00"),
                          command("30 91 56 00 d4 80", "00"), times(2, command("30 90 56 00 ca 01", "00 00")),
                          times(2, command("06 52 05 56 01 ca", "00 00"))}))
            << name;
        EXPECT_EQ(result.out, BANNER + IS_RESET) << name;
        EXPECT_EQ(result.err, "") << name;
    }
}

// Its reading fails, as ever, after one try (nothing that was read is abnormal), so it is cleared; its limits
// are on no bus. Bank 2 is selected for the last look.
TEST(Reset, TheNS87427IsClearedInItsSwitchRegister) {
    run_result result;
    EXPECT_EQ(reset_of("ns87427-ports", &result),
              (lines{"inb 060c 10", "inb 060c 10", "outb 060c 10", "outb 060f 02", "inb 060c 10"}));
    EXPECT_EQ(result.out, BANNER + IS_RESET);
    EXPECT_EQ(result.err, "");
}

// ---- What does not work

TEST(Reset, AClearThatFailsIsSaidAndTheSwitchNotReadAgain) {
    std::string toml = changed(changed(shipped("w83627dhg"), "0x42 = 0x00", "0x42 = 0x10"),
                               "0x46 = { value = 0x00, ", "0x46 = { fails = true, ");
    run_result result;
    lines reset = reset_of(board_with(toml), &result);
    EXPECT_EQ(result.out, BANNER + "Failed.\n\"Chassis Intrusion\" is NOT reset!\n\n");
    EXPECT_EQ(result.err, "");
    // What failed was the read of 0x46, after which only the bank is restored.
    ASSERT_GE(reset.size(), 3u);
    EXPECT_EQ(lines(reset.end() - 3, reset.end()),
              (lines{"inb 0a16 failed", "outb 0a15 4e", "outb 0a16 80"}));
}

// Its clear record has no bits.
TEST(Reset, ASwitchWithoutALatchIsRefused) {
    run_result nothing;
    run_result result;
    lines start_up = trace_of({"ns87427-ports", "-r", "No Such Switch"}, &nothing);
    EXPECT_EQ(trace_of({"ns87427-ports", "-r", "power supply 2 failure"}, &result), start_up);
    EXPECT_EQ(result.out, BANNER + "\"power supply 2 failure\" is NOT reset!\n\n");
    EXPECT_EQ(result.err, "Warning: To reset \"Power Supply 2 Failure\" is not allowed.\n");
    EXPECT_EQ(result.status, 0);
}

TEST(Reset, ASwitchWithoutAClearRecordIsRefused) {
    std::string section = changed(section_of("w83627hf"), "PARAINDEX2=SWITCH1C", "PARAINDEX2=SWITCH2C");
    std::string toml = changed(shipped("w83627hf"), "configuration = \"H2SB-I\"", "");
    run_result result = run_virtual({make_board(toml, &section), "-r", SWITCH});
    EXPECT_EQ(result.out, BANNER + "\"Chassis Intrusion\" is NOT reset!\n\n");
    // Reading it for its record fetches the limit by that name: once at the start-up, then it is refused.
    EXPECT_EQ(result.err, "Error: Parameter is not found.\nError: \"Chassis Intrusion\" is not defined.\n");
    EXPECT_EQ(result.status, 0);
}

// Both streams in one place, as on a terminal or with "2>&1".
static std::string all_of(std::vector<std::string> words) {
    const std::vector<std::string> shell = {"/bin/sh",       "-c",      "exec \"$0\" \"$@\" 2>&1",
                                            KESTREL_VIRTUAL, "--clock", "2026-01-05 10:00:00"};
    words.insert(words.begin(), shell.begin(), shell.end());
    return run(words).out;
}

// A chip whose code has no way to clear: chip 9 in place of chip 1, its switch set.
TEST(Reset, AChipThatCannotBeClearedIsSaid) {
    std::string section = section_of("w83627hf");
    size_t item = section.find("ITEM_NAME=Chassis Intrusion");
    ASSERT_NE(item, std::string::npos);
    size_t code = section.find("CHIPCODE=1\n", item);
    ASSERT_NE(code, std::string::npos);
    std::string toml =
        changed(changed(shipped("w83627hf"), "configuration = \"H2SB-I\"", ""), "0x42 = 0x00", "0x42 = 0x10");
    for (const char *chip : {"CHIPCODE=9\n", "CHIPCODE=1f\n"}) { // 31 is refused by its number alone
        std::string other = section;
        other.replace(code, 11, chip);
        run_result result = run_virtual({make_board(toml, &other), "-r", SWITCH});
        EXPECT_EQ(result.out, BANNER + "Failed.\n\"Chassis Intrusion\" is NOT reset!\n\n") << chip;
        EXPECT_EQ(result.err, "Warning: Non-supported chipset \"Chassis Intrusion\".\n") << chip;
        EXPECT_EQ(all_of({make_board(toml, &other), "-r", SWITCH}),
                  BANNER + "Warning: Non-supported chipset \"Chassis Intrusion\".\nFailed.\n"
                           "\"Chassis Intrusion\" is NOT reset!\n\n");
    }
}

// Each message is whole and comes when it is made: that of the access before that of the reset which it
// failed.
TEST(Reset, MessagesComeWholeAndInTheirOrder) {
    std::string section = changed(section_of("adm1026-amd8111"), "PARAMETER=SWITCH1C\nSLAVE=2c\n",
                                  "PARAMETER=SWITCH1C\nSLAVE=2d\n");
    std::string toml = changed(changed(shipped("adm1026-amd8111"), "configuration = \"H3DP-8\"", ""),
                               "0x23 = 0  #", "0x23 = 0x40  #");
    std::string text = all_of({make_board(toml, &section), "-r", SWITCH});
    const std::string refused = "Error: ioctl(), slave=0x2d\n";
    std::string last; // the clear's, after those of a reading's three tries for the limit of that name
    for (int messages = 0; messages < 4; messages++)
        last += refused;
    last += "Failed.\n\"Chassis Intrusion\" is NOT reset!\n\n";
    EXPECT_EQ(text.substr(text.size() - std::min(text.size(), last.size())), last);
    for (const std::string &line : lines_of(text))
        EXPECT_TRUE(line.find("ioctl") == std::string::npos || line + "\n" == refused) << line;
}
