#include "hw/isa.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <gtest/gtest.h>
#include <string>

#include "hw/ipmi.h"
#include "hw/port_grants.h"
#include "support/os_test.h"

constexpr uint32_t INDEX = 0x295;
constexpr uint32_t DATA = 0x296;
constexpr uint32_t UNTOUCHED = 0xABCD1234;

// A chip at the ports above that holds `bank_select`, with register 0x20 selected by somebody else.
static test_door::monitor chip_with(uint8_t bank_select) {
    test_door::monitor chip = {INDEX, DATA};
    chip.bank_select = bank_select;
    chip.selected = 0x20;
    return chip;
}

static bool same_registers(const test_door::monitor &a, const test_door::monitor &b) {
    return a.bank_select == b.bank_select && memcmp(a.registers, b.registers, sizeof a.registers) == 0;
}

TEST(IsaByteRead, TouchesThePortsInTheFixedOrder) {
    test_door::reset();
    test_door::monitor chip = chip_with(0x83);
    chip.registers[2][0x50] = 0x2D;
    test_door::attach(&chip);
    uint32_t value = UNTOUCHED;
    EXPECT_EQ(isa_byte_data_read(INDEX, DATA, 2, 0x50, &value), 0);
    EXPECT_EQ(value, 0x2Du);
    EXPECT_EQ(test_door::take_log(), "outb 0295 4e\n"
                                     "inb 0296 83\n"
                                     "outb 0296 82\n" // (0x83 AND 0xF0) OR 2
                                     "outb 0295 50\n"
                                     "inb 0296 2d\n"
                                     "outb 0295 4e\n"
                                     "outb 0296 83\n");
    EXPECT_EQ(chip.bank_select, 0x83);
}

TEST(IsaByteWrite, TouchesThePortsInTheFixedOrder) {
    test_door::reset();
    test_door::monitor chip = chip_with(0x80);
    test_door::attach(&chip);
    EXPECT_EQ(isa_byte_data_write(INDEX, DATA, 4, 0x5F, 0xC7), 0);
    EXPECT_EQ(test_door::take_log(), "outb 0295 4e\n"
                                     "inb 0296 80\n"
                                     "outb 0296 84\n"
                                     "outb 0295 5f\n"
                                     "outb 0296 c7\n"
                                     "outb 0295 4e\n"
                                     "outb 0296 80\n");
    test_door::monitor expected = chip_with(0x80);
    expected.registers[4][0x5F] = 0xC7;
    EXPECT_TRUE(same_registers(chip, expected)) << "one register of one bank is written, the bank is back";
}

TEST(IsaFanWordRead, TouchesThePortsInTheFixedOrder) {
    test_door::reset();
    test_door::monitor chip = chip_with(0x70);
    chip.registers[6][0x56] = 0x12;
    chip.registers[6][0x57] = 0x34;
    test_door::attach(&chip);
    uint32_t value = UNTOUCHED;
    EXPECT_EQ(isa_word_data_read_NCT6776F_fan(INDEX, DATA, 6, 0x56, &value), 0);
    EXPECT_EQ(value, 596u); // 0x12 × 32 = 576, and 0x34 AND 0x1F = 20
    EXPECT_EQ(test_door::take_log(), "outb 0295 4e\n"
                                     "inb 0296 70\n"
                                     "outb 0296 76\n"
                                     "outb 0295 56\n"
                                     "inb 0296 12\n"
                                     "outb 0295 57\n"
                                     "inb 0296 34\n"
                                     "outb 0295 4e\n"
                                     "outb 0296 70\n");
}

TEST(IsaFanWordRead, JoinsEightHighAndFiveLowBits) {
    const struct {
        uint8_t high;
        uint8_t low;
        uint32_t expected;
    } rows[] = {
        {0x00, 0x00, 0},    {0x00, 0x1F, 31},
        {0x00, 0xE0, 0},                        // the upper three bits of the low part do not count
        {0x01, 0x00, 32},   {0x01, 0x3F, 63},   // 32 + 31
        {0x80, 0x81, 4097},                     // 4096 + 1
        {0xFF, 0x00, 8160}, {0xFF, 0xFF, 8191}, // 8160 + 31, all 13 bits
    };
    for (const auto &row : rows) {
        test_door::reset();
        test_door::monitor chip = chip_with(0);
        chip.registers[6][0x5A] = row.high;
        chip.registers[6][0x5B] = row.low;
        test_door::attach(&chip);
        uint32_t value = UNTOUCHED;
        EXPECT_EQ(isa_word_data_read_NCT6776F_fan(INDEX, DATA, 6, 0x5A, &value), 0);
        EXPECT_EQ(value, row.expected) << "high " << +row.high << ", low " << +row.low;
    }
}

TEST(IsaFanWordRead, LowPartOfTheLastRegisterIsRegisterZero) {
    for (uint32_t reg : {0xFFu, 0x1FFu}) { // a register is cut to its eight bits
        test_door::reset();
        test_door::monitor chip = chip_with(0);
        chip.registers[1][0xFF] = 0x02;
        chip.registers[1][0x00] = 0x03;
        test_door::attach(&chip);
        uint32_t value = UNTOUCHED;
        EXPECT_EQ(isa_word_data_read_NCT6776F_fan(INDEX, DATA, 1, reg, &value), 0) << reg;
        EXPECT_EQ(value, 67u) << reg; // 2 × 32 + 3
    }
}

TEST(Isa, BankSelectComesBackWithItsHighBitsKeptMeanwhile) {
    for (unsigned saved = 0; saved < 0x100; saved += 0x0B)
        for (uint32_t bank : {0u, 1u, 7u, 15u}) {
            test_door::reset();
            test_door::monitor chip = chip_with(static_cast<uint8_t>(saved));
            test_door::attach(&chip);
            char selection[40];
            snprintf(selection, sizeof selection, "outb 0296 %02x\noutb 0295 37\n", (saved & 0xF0) + bank);
            uint32_t value;
            EXPECT_EQ(isa_byte_data_read(INDEX, DATA, bank, 0x37, &value), 0);
            EXPECT_NE(test_door::take_log().find(selection), std::string::npos) << saved << " bank " << bank;
            EXPECT_EQ(chip.bank_select, saved) << "read, bank " << bank;
            EXPECT_EQ(isa_byte_data_write(INDEX, DATA, bank, 0x37, 1), 0);
            EXPECT_NE(test_door::take_log().find(selection), std::string::npos) << saved << " bank " << bank;
            EXPECT_EQ(chip.bank_select, saved) << "write, bank " << bank;
            EXPECT_EQ(isa_word_data_read_NCT6776F_fan(INDEX, DATA, bank, 0x37, &value), 0);
            EXPECT_NE(test_door::take_log().find(selection), std::string::npos) << saved << " bank " << bank;
            EXPECT_EQ(chip.bank_select, saved) << "fan word, bank " << bank;
        }
}

TEST(Isa, BankAboveFifteenIsOredInUnmasked) {
    test_door::reset();
    test_door::monitor chip = chip_with(0x9C);
    test_door::attach(&chip);
    uint32_t value;
    EXPECT_EQ(isa_byte_data_read(INDEX, DATA, 0x25, 0x20, &value), 0);
    EXPECT_NE(test_door::take_log().find("inb 0296 9c\noutb 0296 b5\n"), std::string::npos); // 0x90 OR 0x25
    EXPECT_EQ(chip.bank_select, 0x9C);
}

TEST(Isa, UsesThePortsItIsGiven) {
    test_door::reset();
    test_door::monitor chip = {0x0A05, 0x0A06};
    chip.registers[0][0x27] = 41;
    test_door::attach(&chip);
    test_door::grant_all_ports(false);
    uint32_t value = UNTOUCHED;
    EXPECT_EQ(isa_byte_data_read(0x0A05, 0x0A06, 0, 0x27, &value), -1) << "no permission is acquired here";
    test_door::grant_all_ports(true);
    EXPECT_EQ(isa_byte_data_read(0x0A05, 0x0A06, 0, 0x27, &value), 0);
    EXPECT_EQ(value, 41u);
}

// The selector is put back as it was before the call, even when it is the register that was to be written.
TEST(IsaByteWrite, WriteOfTheBankSelectRegisterIsUndoneByTheRestore) {
    test_door::reset();
    test_door::monitor chip = chip_with(0x83);
    test_door::attach(&chip);
    EXPECT_EQ(isa_byte_data_write(INDEX, DATA, 0, 0x4E, 0x05), 0);
    EXPECT_NE(test_door::take_log().find("outb 0295 4e\noutb 0296 05\n"), std::string::npos);
    EXPECT_EQ(chip.bank_select, 0x83);
}

// None, the index port alone, or the data port alone: the chip keeps every register. With the data port alone
// a write would land in whatever register is selected.
TEST(Isa, RefusedPortsLeaveChipAndValueAlone) {
    const struct {
        const char *name;
        bool index;
        bool data;
    } rows[] = {{"none", false, false}, {"index only", true, false}, {"data only", false, true}};
    for (const auto &row : rows) {
        test_door::reset();
        test_door::monitor chip = chip_with(0x83);
        test_door::monitor before = chip;
        test_door::attach(&chip);
        test_door::grant_all_ports(false);
        if (row.index)
            note_port_range(INDEX, 1, true);
        if (row.data)
            note_port_range(DATA, 1, true);
        uint32_t value = UNTOUCHED;
        EXPECT_EQ(isa_byte_data_read(INDEX, DATA, 2, 0x50, &value), -1) << row.name;
        EXPECT_EQ(isa_word_data_read_NCT6776F_fan(INDEX, DATA, 2, 0x50, &value), -1) << row.name;
        EXPECT_EQ(isa_byte_data_write(INDEX, DATA, 2, 0x50, 0x77), -1) << row.name;
        EXPECT_EQ(value, UNTOUCHED) << row.name;
        EXPECT_TRUE(same_registers(chip, before)) << row.name;
    }
}

// Each row makes one port call fail. Up to the restoring itself the bank is back after the call.
enum isa_operation { BYTE_READ, FAN_WORD, BYTE_WRITE };

static int run(isa_operation operation, uint32_t *value) {
    switch (operation) {
    case BYTE_READ:
        return isa_byte_data_read(INDEX, DATA, 2, 0x50, value);
    case FAN_WORD:
        return isa_word_data_read_NCT6776F_fan(INDEX, DATA, 2, 0x50, value);
    default:
        return isa_byte_data_write(INDEX, DATA, 2, 0x50, 0x77);
    }
}

TEST(Isa, FailureInTheMiddleRestoresTheBank) {
    const struct {
        isa_operation operation;
        const char *call;
        int nth;
    } rows[] = {
        {BYTE_READ, "outb", 1},  {BYTE_READ, "inb", 1},  {BYTE_READ, "outb", 2},  {BYTE_READ, "outb", 3},
        {BYTE_READ, "inb", 2},   {FAN_WORD, "outb", 1},  {FAN_WORD, "inb", 1},    {FAN_WORD, "outb", 2},
        {FAN_WORD, "outb", 3},   {FAN_WORD, "inb", 2},   {FAN_WORD, "outb", 4},   {FAN_WORD, "inb", 3},
        {BYTE_WRITE, "outb", 1}, {BYTE_WRITE, "inb", 1}, {BYTE_WRITE, "outb", 2}, {BYTE_WRITE, "outb", 3},
        {BYTE_WRITE, "outb", 4},
    };
    for (const auto &row : rows) {
        test_door::reset();
        test_door::monitor chip = chip_with(0x83);
        test_door::monitor before = chip;
        test_door::attach(&chip);
        test_door::fail_call(row.call, row.nth, EIO);
        uint32_t value = UNTOUCHED;
        EXPECT_EQ(run(row.operation, &value), -1) << row.operation << ' ' << row.call << ' ' << row.nth;
        EXPECT_EQ(value, UNTOUCHED) << row.operation << ' ' << row.call << ' ' << row.nth;
        EXPECT_TRUE(same_registers(chip, before)) << row.operation << ' ' << row.call << ' ' << row.nth;
        EXPECT_NE(test_door::take_log().find("failed"), std::string::npos) << "the failure was never met";
    }
}

TEST(Isa, FailedRestoringIsAFailedAccess) {
    const struct {
        isa_operation operation;
        int nth; // outb call that restores: its index write or its data write
    } rows[] = {{BYTE_READ, 4}, {BYTE_READ, 5},  {FAN_WORD, 5},
                {FAN_WORD, 6},  {BYTE_WRITE, 5}, {BYTE_WRITE, 6}};
    for (const auto &row : rows) {
        test_door::reset();
        test_door::monitor chip = chip_with(0x83);
        test_door::attach(&chip);
        test_door::fail_call("outb", row.nth, EIO);
        uint32_t value = UNTOUCHED;
        EXPECT_EQ(run(row.operation, &value), -1) << row.operation << ' ' << row.nth;
        EXPECT_EQ(value, UNTOUCHED) << row.operation << ' ' << row.nth;
    }
}

static int32_t *const owner_flags[] = {&bOBWinbondIPMI,  &bAOWinbondIPMI,   &bOBWinbondATenIPMI,
                                       &bRenesasAMIIPMI, &bRenesasATenIPMI, &bAOWinbondATenIPMI};

// The calls as they come back when no BMC command can be carried: a failure, and not one port touched.
TEST(IsaRoute, BmcThatOwnsTheMonitorTakesEveryAccess) {
    for (int32_t *flag : owner_flags) {
        test_door::reset();
        hDevice = 5;
        *flag = 1;
        for (isa_operation operation : {BYTE_READ, FAN_WORD, BYTE_WRITE}) {
            uint32_t value = UNTOUCHED;
            EXPECT_NE(run(operation, &value), 0) << operation;
            EXPECT_EQ(value, UNTOUCHED) << operation;
            EXPECT_EQ(test_door::take_log(), "") << operation;
        }
        *flag = 0;
        hDevice = 0;
    }
}

static void expect_port_route(const char *why) {
    test_door::reset();
    test_door::monitor chip = chip_with(0);
    chip.registers[2][0x50] = 0x21;
    chip.registers[2][0x51] = 0x01;
    test_door::attach(&chip);
    uint32_t value = UNTOUCHED;
    EXPECT_EQ(run(BYTE_READ, &value), 0) << why;
    EXPECT_EQ(value, 0x21u) << why;
    EXPECT_EQ(run(FAN_WORD, &value), 0) << why;
    EXPECT_EQ(value, 1057u) << why; // 33 × 32 + 1
    EXPECT_EQ(run(BYTE_WRITE, &value), 0) << why;
    EXPECT_EQ(chip.registers[2][0x50], 0x77) << why;
}

TEST(IsaRoute, BmcWithoutTheMonitorLeavesThePorts) {
    hDevice = 5;
    expect_port_route("a BMC of no known kind");
    bPepperconIPMI = 1;
    expect_port_route("a kind that does not own the monitor");
    bPepperconIPMI = 0;
    hDevice = 0;
}

TEST(IsaRoute, KindFlagsWithoutAnOpenBmcMeanNothing) {
    hDevice = 0;
    for (int32_t *flag : owner_flags)
        *flag = 1;
    expect_port_route("no BMC is open");
    for (int32_t *flag : owner_flags)
        *flag = 0;
}

// Handles and flags count when they are not zero, whatever their sign.
TEST(IsaRoute, AnyNonZeroHandleAndFlagCount) {
    test_door::reset();
    hDevice = -3;
    bRenesasATenIPMI = -1;
    uint32_t value = UNTOUCHED;
    EXPECT_NE(run(BYTE_READ, &value), 0);
    EXPECT_EQ(test_door::take_log(), "");
    bRenesasATenIPMI = 0;
    hDevice = 0;
}

// Cut to sixteen bits, they would be other devices' ports.
TEST(IsaRoute, NumbersThatAreNoPortsAreNotTouched) {
    const struct {
        uint32_t index;
        uint32_t data;
    } rows[] = {{0x10295, DATA}, {INDEX, 0x10296}, {0x10000, 0x10000}, {0xFFFFFFFF, DATA}};
    for (const auto &row : rows) {
        test_door::reset();
        uint32_t value = UNTOUCHED;
        EXPECT_EQ(isa_byte_data_read(row.index, row.data, 1, 2, &value), -1) << row.index << " " << row.data;
        EXPECT_EQ(isa_word_data_read_NCT6776F_fan(row.index, row.data, 1, 2, &value), -1) << row.index;
        EXPECT_EQ(isa_byte_data_write(row.index, row.data, 1, 2, 3), -1) << row.index << " " << row.data;
        EXPECT_EQ(value, UNTOUCHED) << row.index << " " << row.data;
        EXPECT_EQ(test_door::take_log(), "") << row.index << " " << row.data;
    }
}
