// The guard of the bank-select registers: its tables, its corrections, and the repeated reads after them.
#include "items/bank_select.h"

#include <cstdint>
#include <functional>
#include <gtest/gtest.h>
#include <set>
#include <string>
#include <vector>

#include "alert/system_log.h"
#include "items/limits.h"
#include "items/readings.h"
#include "items/records.h"
#include "support/hw_recorder.h"
#include "support/os_test.h"

using hw_recorder::answer;
using hw_recorder::answer_once;
using hw_recorder::take_log;
using std::string;

constexpr uint32_t NO_WANTED_BANK = 0xFFFFFFFF;

static item_record item_of_chip(uint32_t chip) { return make_item(CAT_VOLTAGE, chip, BUS_SMBUS, 5, 0x20); }

static std::vector<uint32_t> all_codes() {
    std::vector<uint32_t> codes;
    for (uint32_t code = 0; code <= 0xFF; code++)
        codes.push_back(code);
    codes.push_back(0x110); // not 16 or 17
    codes.push_back(0xFFFFFFFF);
    return codes;
}

TEST(BankSelectTables, ChipsWithABankSelectRegister) {
    const std::set<uint32_t> with = {1, 2, 7, 8, 10, 12, 15, 17, 19, 22, 23, 24, 28};
    for (uint32_t code : all_codes()) {
        item_record item = item_of_chip(code);
        EXPECT_EQ(hasBankSelectRegister(&item), with.count(code) != 0) << "chip " << code;
    }
}

TEST(BankSelectTables, ChipsWhoseCorrectionsAreNotLogged) {
    const std::set<uint32_t> silent = {1, 8, 10, 12, 15, 19, 22, 24, 28, 30};
    for (uint32_t code : all_codes()) {
        item_record item = item_of_chip(code);
        EXPECT_EQ(useOtherBankSelection(&item), silent.count(code) != 0) << "chip " << code;
    }
}

// The registers of a chip that are in the item's own bank; every other one is in bank 0.
static std::set<uint32_t> registers_in_own_bank(uint32_t chip) {
    switch (chip) {
    case 1:
        return {80, 83, 85};
    case 10:
    case 24:
        return {80, 81, 83, 84, 85, 86, 87}; // 82 is not among them
    case 12:
    case 15:
        return {80, 81, 82, 83, 84, 85, 86, 87, 88, 89, 92};
    case 19:
    case 22:
        return {80, 81, 83, 84, 85, 86, 87, 92};
    case 28:
        return {23, 25, 27, 29, 43, 44, 45, 48, 50, 52,  54,  56,  58,  60,  62,
                64, 66, 80, 81, 83, 84, 85, 86, 87, 114, 115, 119, 120, 124, 125};
    default:
        return {};
    }
}

TEST(WantedBank, EveryRegisterOfEveryChip) {
    const std::set<uint32_t> banked_chips = {1, 2, 7, 8, 10, 12, 15, 17, 19, 22, 23, 24, 28};
    for (uint32_t code : all_codes()) {
        if (code == 30)
            continue; // below
        std::set<uint32_t> own = registers_in_own_bank(code);
        for (uint32_t slave : {1u, 5u})
            for (uint32_t reg = 0; reg <= 255; reg++)
                for (uint32_t kind = 0; kind <= 3; kind++) {
                    item_record item = item_of_chip(code);
                    item.Slave = slave;
                    uint32_t expected = banked_chips.count(code) == 0 ? NO_WANTED_BANK
                                        : own.count(reg) != 0         ? slave
                                                                      : 0;
                    ASSERT_EQ(whichBankSelection(kind, &item, reg), expected)
                        << "chip " << code << " register " << reg << " kind " << kind;
                }
    }
}

TEST(WantedBank, Chip30KeepsReadingsInBank0AndLimitsInBank1) {
    item_record item = item_of_chip(30);
    const uint32_t by_kind[] = {0, 1, 1, NO_WANTED_BANK, NO_WANTED_BANK};
    for (uint32_t reg = 0; reg <= 255; reg++)
        for (uint32_t kind = 0; kind <= 4; kind++) {
            uint32_t expected = reg == 202 || reg == 212 ? 0 : by_kind[kind];
            EXPECT_EQ(whichBankSelection(kind, &item, reg), expected)
                << "register " << reg << " kind " << kind;
        }
}

// ---- Corrections

struct correction {
    int corrected;
    string calls;
    string log; // of the door: the system log's lines
};

static correction correct(const item_record &item, uint32_t reg, uint32_t kind = KIND_READING,
                          uint32_t mode = MODE_BEFORE_READ, uint32_t system_bus = 3) {
    system_settings system = make_system(system_bus);
    correction result = {};
    result.corrected = correctBankSelectRegister(kind, mode, &system, &item, reg);
    result.calls = take_log();
    result.log = test_door::take_log();
    return result;
}

static void start() {
    hw_recorder::reset();
    test_door::reset();
}

// Chips whose bank field is bits 0 to 2 of register 0x4E or 0x00.
struct banked_chip {
    uint32_t code;
    uint32_t reg;
};

static const banked_chip BANKED_CHIPS[] = {{1, 0x4E},  {2, 0x4E},  {7, 0x4E},  {10, 0x4E},
                                           {12, 0x4E}, {15, 0x4E}, {19, 0x4E}, {22, 0x4E},
                                           {24, 0x4E}, {28, 0x4E}, {17, 0x00}, {23, 0x00}};

TEST(BankCorrection, RightBankIsReadAndLeftAlone) {
    for (auto chip : BANKED_CHIPS) {
        start();
        string read = call_line("smbus_read %u 1 5 %x", chip.code, chip.reg);
        answer(read, 0xF8); // bank 0 under the other bits
        correction seen = correct(item_of_chip(chip.code), 0x20);
        EXPECT_EQ(seen.corrected, 0) << "chip " << chip.code;
        EXPECT_EQ(seen.calls, read + "\n") << "chip " << chip.code;
        EXPECT_EQ(seen.log, "") << "chip " << chip.code;
    }
}

TEST(BankCorrection, WrongBankIsWrittenBackOverTheSmbus) {
    for (auto chip : BANKED_CHIPS)
        for (uint32_t bus : {1u, 8u, 3u, 11u}) { // the SMBus comes first
            start();
            string read = call_line("smbus_read %u %x 5 %x", chip.code, bus, chip.reg);
            answer(read, 0xA3); // bank 3
            item_record item = item_of_chip(chip.code);
            item.BusType = bus;
            correction seen = correct(item, 0x20);
            EXPECT_EQ(seen.corrected, 1) << "chip " << chip.code;
            EXPECT_EQ(seen.calls, read + "\n" + call_line("smbus_write %x 5 %x a0\n", bus, chip.reg))
                << "chip " << chip.code;
        }
}

TEST(BankCorrection, WrongBankIsWrittenBackOverTheSuperIo) {
    for (auto chip : BANKED_CHIPS)
        for (uint32_t system_bus : {0u, 2u}) { // the item's bit decides
            start();
            string read = call_line("isa_read 5 %x", chip.reg);
            answer(read, 0xA3);
            item_record item = item_of_chip(chip.code);
            item.BusType = BUS_SUPERIO;
            correction seen = correct(item, 0x20, KIND_READING, MODE_BEFORE_READ, system_bus);
            EXPECT_EQ(seen.corrected, 1) << "chip " << chip.code;
            EXPECT_EQ(seen.calls, read + "\n" + call_line("isa_write 5 %x a0\n", chip.reg))
                << "chip " << chip.code;
        }
}

TEST(BankCorrection, ItemsOwnBankIsWanted) {
    // Chip 10: register 80 is in the item's bank 5, register 82 in bank 0.
    struct {
        uint32_t reg;
        uint32_t value;
        const char *written; // "" when the bank is right
    } const rows[] = {
        {80, 0x80, "smbus_write 1 5 4e 85\n"}, {80, 0x85, ""}, {80, 0x07, "smbus_write 1 5 4e 5\n"},
        {82, 0x85, "smbus_write 1 5 4e 80\n"}, {82, 0x80, ""}, {80, 0xFF, "smbus_write 1 5 4e fd\n"},
    };
    for (auto row : rows)
        for (uint32_t kind : {0u, 1u, 2u})
            for (uint32_t mode : {MODE_BEFORE_READ, MODE_AFTER_READ}) { // neither changes anything
                start();
                answer("smbus_read 10 1 5 4e", row.value);
                correction seen = correct(item_of_chip(10), row.reg, kind, mode);
                EXPECT_EQ(seen.corrected, row.written[0] != '\0') << "register " << row.reg;
                EXPECT_EQ(seen.calls, string("smbus_read 10 1 5 4e\n") + row.written)
                    << "register " << row.reg;
            }
}

TEST(BankCorrection, FailedReadWritesNothing) {
    for (auto chip : BANKED_CHIPS)
        for (uint32_t bus : {1u, 2u}) {
            start();
            item_record item = item_of_chip(chip.code);
            item.BusType = bus;
            correction seen = correct(item, 0x20);
            EXPECT_EQ(seen.corrected, 0) << "chip " << chip.code;
            EXPECT_EQ(seen.calls, bus == 1 ? call_line("smbus_read %u 1 5 %x\n", chip.code, chip.reg)
                                           : call_line("isa_read 5 %x\n", chip.reg))
                << "chip " << chip.code;
            EXPECT_EQ(seen.log, "") << "chip " << chip.code;
        }
}

TEST(BankCorrection, ItemWithoutABusIsLeftAlone) {
    for (auto chip : BANKED_CHIPS) {
        start();
        item_record item = item_of_chip(chip.code);
        item.BusType = 4;
        correction seen = correct(item, 0x20);
        EXPECT_EQ(seen.corrected, 0) << "chip " << chip.code;
        EXPECT_EQ(seen.calls, "") << "chip " << chip.code;
    }
}

TEST(BankCorrection, Chip8HasNoFieldToCorrect) {
    for (uint32_t bus : {1u, 2u}) {
        start();
        for (uint32_t reg : {0x00u, 0x4Eu}) {
            answer(call_line("smbus_read 8 1 5 %x", reg), 0x07);
            answer(call_line("isa_read 5 %x", reg), 0x07);
        }
        item_record item = item_of_chip(8);
        item.BusType = bus;
        correction seen = correct(item, 80);
        EXPECT_EQ(seen.corrected, 0);
        EXPECT_EQ(seen.calls, ""); // no register to read, either
        EXPECT_EQ(seen.log, "");
    }
}

TEST(BankCorrection, LoggedForChipsThatAreNotSilent) {
    ASSERT_EQ(bUseSysLog, 1u); // as it starts
    const std::set<uint32_t> logged = {2, 7, 17, 23};
    for (auto chip : BANKED_CHIPS) {
        start();
        answer(call_line("smbus_read %u 1 5 %x", chip.code, chip.reg), 0xA3);
        item_record item = item_of_chip(chip.code);
        set_text(item.Name, "CPU Core Voltage");
        item.Offset = 0xAB; // the item's register is reported, not the one that is guarded
        string expected;
        if (logged.count(chip.code) != 0)
            expected =
                call_line("syslog kes2 1 0 4 Correct wrong bank select register, 0x%02x, of chipcode[%u] "
                          "from bank (3) to bank (0) for 'CPU Core Voltage' monitor item's reading or "
                          "threshold (offset=0xab).\n",
                          chip.reg, chip.code);
        EXPECT_EQ(correct(item, 0x20).log, expected) << "chip " << chip.code;
    }
}

TEST(BankCorrection, LogLineInFull) {
    start();
    answer("isa_read 2 4e", 0x86);
    item_record item = make_item(CAT_TEMP, 7, BUS_SUPERIO, 2, 5);
    set_text(item.Name, "System Temperature");
    correction seen = correct(item, 0x50, LOW_LIMIT);
    EXPECT_EQ(seen.calls, "isa_read 2 4e\nisa_write 2 4e 80\n");
    EXPECT_EQ(seen.log,
              "syslog kes2 1 0 4 Correct wrong bank select register, 0x4e, of chipcode[7] from bank (6) to "
              "bank (0) for 'System Temperature' monitor item's reading or threshold (offset=0x05).\n");
}

TEST(BankCorrection, NotLoggedWithoutTheSystemLog) {
    start();
    answer("smbus_read 2 1 5 4e", 0xA3);
    bUseSysLog = 0;
    correction seen = correct(item_of_chip(2), 0x20);
    bUseSysLog = 1;
    EXPECT_EQ(seen.corrected, 1);
    EXPECT_EQ(seen.calls, "smbus_read 2 1 5 4e\nsmbus_write 1 5 4e a0\n");
    EXPECT_EQ(seen.log, "");
}

// ---- The guard around readings and limits

struct outcome {
    int status;
    int64_t value;
    string calls;
    string errors;
};

static const std::vector<parameter_record> PARAMETERS = {make_parameter("VOL1H", 5, 80, 0xFF),
                                                         make_parameter("VOL1L", 5, 0x2C, 0xFF)};

static outcome guarded(bool on, const std::function<int(int64_t *)> &call) {
    outcome result = {};
    result.value = 77;
    bNeedCheckBankSelectRegister = on ? 1 : 0;
    result.errors = test_door::captured_stderr([&] { result.status = call(&result.value); });
    bNeedCheckBankSelectRegister = 0;
    result.calls = take_log();
    return result;
}

static outcome guarded_reading(const item_record &item, bool on = true) {
    system_settings system = make_system(3);
    return guarded(on, [&](int64_t *value) {
        return get_item_readingImpl(&system, &item, 1, PARAMETERS.data(), 2, &item, value);
    });
}

static outcome guarded_limit(uint32_t kind, const char *name, const item_record &item, bool on = true) {
    system_settings system = make_system(3);
    return guarded(on, [&](int64_t *value) {
        return get_item_limit(kind, &system, name, &item, PARAMETERS.data(), 2, value);
    });
}

// A temperature of chip 10 at register 80, which is in the item's bank 5.
static item_record banked_temperature() { return make_item(CAT_TEMP, 10, BUS_SMBUS, 5, 80); }

static const char READ_BANK[] = "smbus_read 10 1 5 4e\n";
static const char WRITE_BANK[] = "smbus_write 1 5 4e 5\n";
static const char READ_VALUE[] = "smbus_read 10 1 5 50\n";

TEST(BankGuard, SleepsUnlessSwitchedOn) {
    start();
    EXPECT_EQ(bNeedCheckBankSelectRegister, 0u);
    answer("smbus_read 10 1 5 4e", 0);
    answer("smbus_read 10 1 5 50", 40);
    EXPECT_EQ(guarded_reading(banked_temperature(), false).calls, READ_VALUE);
    EXPECT_EQ(guarded_limit(HIGH_LIMIT, "VOL1H", banked_temperature(), false).calls, READ_VALUE);
}

TEST(BankGuard, ChipWithoutABankSelectRegisterIsNotGuarded) {
    for (uint32_t chip : {0u, 3u, 29u, 32u, 33u, 0xFFu}) {
        start();
        item_record item = banked_temperature();
        item.ChipCode = chip;
        string line = call_line("smbus_read %u 1 5 50", chip);
        answer(line, 40);
        EXPECT_EQ(guarded_reading(item).calls, line + "\n") << "chip " << chip;
        EXPECT_EQ(guarded_limit(HIGH_LIMIT, "VOL1H", item).calls, line + "\n") << "chip " << chip;
    }
}

TEST(BankGuard, RightBankIsCheckedBeforeAndAfterOneRead) {
    start();
    answer("smbus_read 10 1 5 4e", 5);
    answer("smbus_read 10 1 5 50", 40);
    outcome seen = guarded_reading(banked_temperature());
    EXPECT_EQ(seen.status, 0);
    EXPECT_EQ(seen.value, 40);
    EXPECT_EQ(seen.calls, string(READ_BANK) + READ_VALUE + READ_BANK);
    seen = guarded_limit(HIGH_LIMIT, "VOL1H", banked_temperature());
    EXPECT_EQ(seen.status, 0);
    EXPECT_EQ(seen.value, 40);
    EXPECT_EQ(seen.calls, string(READ_BANK) + READ_VALUE + READ_BANK);
}

TEST(BankGuard, CorrectionBeforeTheReadRepeatsNothing) {
    start();
    answer("smbus_read 10 1 5 4e", 5);
    answer("smbus_read 10 1 5 50", 40);
    answer_once("smbus_read 10 1 5 4e", 0);
    EXPECT_EQ(guarded_reading(banked_temperature()).calls,
              string(READ_BANK) + WRITE_BANK + READ_VALUE + READ_BANK);
    answer_once("smbus_read 10 1 5 4e", 0);
    EXPECT_EQ(guarded_limit(HIGH_LIMIT, "VOL1H", banked_temperature()).calls,
              string(READ_BANK) + WRITE_BANK + READ_VALUE + READ_BANK);
}

TEST(BankGuard, CorrectionAfterTheReadReadsAgain) {
    start();
    answer("smbus_read 10 1 5 4e", 5);
    answer("smbus_read 10 1 5 50", 40);
    for (bool limit : {false, true}) {
        answer_once("smbus_read 10 1 5 4e", 5);
        answer_once("smbus_read 10 1 5 4e", 0); // moved while the value was read
        answer_once("smbus_read 10 1 5 50", 99);
        outcome seen = limit ? guarded_limit(HIGH_LIMIT, "VOL1H", banked_temperature())
                             : guarded_reading(banked_temperature());
        EXPECT_EQ(seen.status, 0);
        EXPECT_EQ(seen.value, 40);
        EXPECT_EQ(seen.calls,
                  string(READ_BANK) + READ_VALUE + READ_BANK + WRITE_BANK + READ_VALUE + READ_BANK);
    }
}

TEST(BankGuard, RegisterThatKeepsMovingIsReadThreeTimes) {
    start();
    answer("smbus_read 10 1 5 4e", 0);
    answer("smbus_read 10 1 5 50", 40);
    const string corrected = string(READ_BANK) + WRITE_BANK;
    const string expected =
        corrected + READ_VALUE + corrected + READ_VALUE + corrected + READ_VALUE + corrected;
    for (bool limit : {false, true}) {
        answer_once("smbus_read 10 1 5 50", 97);
        answer_once("smbus_read 10 1 5 50", 98);
        answer_once("smbus_read 10 1 5 50", 99); // the last pass's value is taken
        outcome seen = limit ? guarded_limit(HIGH_LIMIT, "VOL1H", banked_temperature())
                             : guarded_reading(banked_temperature());
        EXPECT_EQ(seen.status, 0);
        EXPECT_EQ(seen.value, 99);
        EXPECT_EQ(seen.calls, expected);
    }
}

TEST(BankGuard, FailedReadEndsAtOnce) {
    start();
    answer("smbus_read 10 1 5 4e", 0);
    for (bool limit : {false, true}) {
        outcome seen = limit ? guarded_limit(HIGH_LIMIT, "VOL1H", banked_temperature())
                             : guarded_reading(banked_temperature());
        EXPECT_EQ(seen.status, -1);
        EXPECT_EQ(seen.value, 77);
        EXPECT_EQ(seen.calls, string(READ_BANK) + WRITE_BANK + READ_VALUE);
    }
}

// The chip goes away between the passes: what the first one gave was read in the wrong bank.
TEST(BankGuard, APassThatGaveAValueDoesNotCountWhenTheNextFails) {
    start();
    answer("smbus_read 10 1 5 4e", 5);
    for (bool limit : {false, true}) {
        answer_once("smbus_read 10 1 5 4e", 5);
        answer_once("smbus_read 10 1 5 4e", 0); // moved while the value was read
        answer_once("smbus_read 10 1 5 50", 99);
        outcome seen = limit ? guarded_limit(HIGH_LIMIT, "VOL1H", banked_temperature())
                             : guarded_reading(banked_temperature());
        EXPECT_EQ(seen.status, -1);
        EXPECT_EQ(seen.value, 77);
        EXPECT_EQ(seen.calls, string(READ_BANK) + READ_VALUE + READ_BANK + WRITE_BANK + READ_VALUE);
    }
}

TEST(BankGuard, BankThatCannotBeReadStopsNoReading) {
    start();
    answer("smbus_read 10 1 5 50", 40);
    outcome seen = guarded_reading(banked_temperature());
    EXPECT_EQ(seen.status, 0);
    EXPECT_EQ(seen.value, 40);
    EXPECT_EQ(seen.calls, string(READ_BANK) + READ_VALUE + READ_BANK);
}

TEST(BankGuard, LimitIsGuardedByTheFirstRecordsRegister) {
    start();
    // The limit is at 0x2C, in bank 0; guarded is register 80 of the table's first record, in the item's
    // bank.
    answer("smbus_read 10 1 5 4e", 0);
    answer("smbus_read 10 1 5 2c", 40);
    const string corrected = string(READ_BANK) + WRITE_BANK;
    const string value = "smbus_read 10 1 5 2c\n";
    outcome seen = guarded_limit(LOW_LIMIT, "VOL1L", banked_temperature());
    EXPECT_EQ(seen.status, 0);
    EXPECT_EQ(seen.calls, corrected + value + corrected + value + corrected + value + corrected);
    answer("smbus_read 10 1 5 4e", 5);
    EXPECT_EQ(guarded_limit(LOW_LIMIT, "VOL1L", banked_temperature()).calls, READ_BANK + value + READ_BANK);
}

TEST(BankGuard, LimitIsGuardedBeforeItsRecordIsMissed) {
    start();
    answer("smbus_read 10 1 5 4e", 0);
    outcome seen = guarded_limit(HIGH_LIMIT, "VOL9H", banked_temperature());
    EXPECT_EQ(seen.status, -1);
    EXPECT_EQ(seen.value, 77);
    EXPECT_EQ(seen.calls, string(READ_BANK) + WRITE_BANK);
    EXPECT_EQ(seen.errors, "Error: Parameter is not found.\n");
}

TEST(BankGuard, ReadingOfAnotherCategoryIsCheckedAfterwardsToo) {
    start();
    answer("smbus_read 10 1 5 4e", 5);
    answer("smbus_read 10 1 5 50", 40);
    item_record item = banked_temperature();
    item.Cat = 5;
    outcome seen = guarded_reading(item);
    EXPECT_EQ(seen.status, -1);
    EXPECT_EQ(seen.value, 77);
    EXPECT_EQ(seen.calls, string(READ_BANK) + READ_VALUE + READ_BANK);
    EXPECT_EQ(seen.errors, "Error: unknown parameter!\n");
}

TEST(BankGuard, Chip8IsReadOnceWithoutACorrection) {
    start();
    test_door::on_inb = [](uint16_t port) -> uint8_t { return port == 0x712 ? 100 : 0; };
    item_record item = make_item(CAT_FAN, 8, BUS_SUPERIO, 1, 0x700);
    set_text(item.ParaIndex1, "VOL1H");
    outcome seen = guarded_reading(item);
    EXPECT_EQ(seen.status, 0);
    EXPECT_EQ(seen.value, 54000); // 5400000 / 100
    EXPECT_EQ(seen.calls, "");
    EXPECT_EQ(test_door::take_log(), "inb 070f 00\noutb 070f 01\ninb 0712 64\ninb 0713 00\n");
}
