// Raw values and raw limits, chip by chip and bus by bus: which accesses are made, in which order, and what
// of them comes out. Seen through one reading or one limit, so each expected value is the converted one.
#include "chips/chips.h"

#include <cerrno>
#include <cstdint>
#include <gtest/gtest.h>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "hw/ipmi.h"
#include "items/limits.h"
#include "items/readings.h"
#include "items/records.h"
#include "support/hw_recorder.h"
#include "support/os_test.h"

using std::string;

constexpr int64_t UNTOUCHED = 1234567;
constexpr uint32_t SLAVE = 0x2D;
constexpr uint32_t REG = 0x20;
constexpr uint32_t LIMIT_SLAVE = 0x3C; // the slave and register of limits differ from the item's own
constexpr uint32_t LIMIT_REG = 0x40;
constexpr bool NO_BMC = false;
constexpr bool BMC = true;

struct answer {
    string line;
    uint32_t value;
};

struct outcome {
    int status;
    int64_t value;
    string calls;
    string errors; // standard error
};

static void start(bool bmc, const std::vector<answer> &answers) {
    hw_recorder::reset();
    hDevice = bmc ? 1 : 0;
    for (const answer &given : answers)
        hw_recorder::answer(given.line, given.value);
}

// The first record is a fan's divisor (its register is where nothing else is) and a switch's mask.
static const parameter_record DIVISOR = make_parameter("Divisor1", 0x77, 0x99, 0x03);
static const parameter_record LIMIT = make_parameter("VOL1H", LIMIT_SLAVE, LIMIT_REG, 0xFF);

// The same for the chips behind ports of their own; the door's reset takes its time, so the others go
// without.
static void start_ports(bool bmc, const std::vector<answer> &answers) {
    test_door::reset();
    start(bmc, answers);
}

static outcome read_item(const item_record &given, uint32_t system_bus) {
    item_record item = given;
    if (item.ParaIndex1[0] == '\0')
        set_text(item.ParaIndex1, item.Cat == CAT_SWITCH ? "VOL1H" : "Divisor1"); // masks 0xFF and 0x03
    item.VolFunc = 0xFF;                                                          // the raw value as it is
    system_settings system = make_system(system_bus);
    parameter_record parameters[] = {DIVISOR, LIMIT};
    outcome result = {};
    result.value = UNTOUCHED;
    result.errors = test_door::captured_stderr([&] {
        result.status = get_item_readingImpl(&system, &item, 1, parameters, 2, &item, &result.value);
    });
    result.calls = hw_recorder::take_log();
    return result;
}

static outcome read_limit(const item_record &given, uint32_t system_bus, parameter_record record = LIMIT) {
    item_record item = given;
    set_text(item.ParaIndex1, "Divisor1");
    item.VolFunc = 0xFF;
    system_settings system = make_system(system_bus);
    parameter_record parameters[] = {DIVISOR, record};
    outcome result = {};
    result.value = UNTOUCHED;
    result.errors = test_door::captured_stderr([&] {
        result.status =
            get_item_limit(HIGH_LIMIT, &system, record.szKeyName, &item, parameters, 2, &result.value);
    });
    result.calls = hw_recorder::take_log();
    return result;
}

static void expect_read(const outcome &seen, int64_t value, const string &calls, const string &what) {
    EXPECT_EQ(seen.status, 0) << what;
    EXPECT_EQ(seen.value, value) << what;
    EXPECT_EQ(seen.calls, calls) << what;
    EXPECT_EQ(seen.errors, "") << what;
}

static void expect_failed(const outcome &seen, const string &calls, const string &what) {
    EXPECT_EQ(seen.status, -1) << what;
    EXPECT_EQ(seen.value, UNTOUCHED) << what;
    EXPECT_EQ(seen.calls, calls) << what;
    EXPECT_EQ(seen.errors, "") << what;
}

static string chip_on_bus(uint32_t chip, uint32_t bus) { return call_line("chip %u item bus %x", chip, bus); }

// The accesses of one byte by the plain ways.
static string smbus_line(uint32_t chip, uint32_t bus, uint32_t slave, uint32_t reg) {
    return call_line("smbus_read %u %x %x %x", chip, bus, slave, reg);
}

static const uint32_t SMBUS_BITS[] = {1, 8, 9, 3, 10, 11}; // bit 0 or bit 3, with and without bit 1

// ---- Raw values of items

TEST(RawFan, LowByteThenHighByteOverSmbus) {
    for (uint32_t chip : {3u, 9u, 14u, 16u})
        for (uint32_t bus : SMBUS_BITS)
            for (bool bmc : {NO_BMC, BMC}) {
                string low = smbus_line(chip, bus, SLAVE, 0x28);
                string high = smbus_line(chip, bus, SLAVE, 0x29);
                string calls = low + "\n" + high + "\n";
                item_record item = make_item(CAT_FAN, chip, bus, SLAVE, 0x28);
                string what = chip_on_bus(chip, bus);
                start(bmc, {{low, 0x2C}, {high, 0x01}});
                expect_read(read_item(item, 3), 18000, calls, what); // 5400000 / 0x12C
                start(bmc, {{high, 0x01}}); // both bytes are asked for, even if the first fails
                expect_failed(read_item(item, 3), calls, what + ", low byte fails");
                start(bmc, {{low, 0x2C}});
                expect_failed(read_item(item, 3), calls, what + ", high byte fails");
                start(bmc, {});
                expect_failed(read_item(item, 3), calls, what + ", both fail");
            }
}

TEST(RawFan, LowHighChipsOffTheSmbusTakeOneByteFromTheSuperIo) {
    for (uint32_t chip : {3u, 9u, 14u, 16u}) {
        item_record item = make_item(CAT_FAN, chip, 2, SLAVE, 0x28);
        start(NO_BMC, {{"isa_read 2d 28", 100}});
        expect_read(read_item(item, 2), 54000, "isa_read 2d 28\n", chip_on_bus(chip, 2)); // 5400000 / 100
        expect_failed(read_item(item, 1), "", "the system has no Super I/O");
        item.BusType = 4;
        expect_failed(read_item(item, 2), "", "the item has no bus");
    }
}

TEST(RawFan, Chip17TakesAWordOverSmbus) {
    for (uint32_t bus : SMBUS_BITS) {
        string line = call_line("smbus_word %x 2d 23", bus);
        item_record item = make_item(CAT_FAN, 17, bus, SLAVE, 0x23);
        start(NO_BMC, {{line, 1000}});
        expect_read(read_item(item, 3), 1350, line + "\n", chip_on_bus(17, bus));
        start(NO_BMC, {});
        expect_failed(read_item(item, 3), line + "\n", chip_on_bus(17, bus));
    }
    start(NO_BMC, {{"isa_read 2d 23", 100}});
    item_record item = make_item(CAT_FAN, 17, 2, SLAVE, 0x23);
    expect_read(read_item(item, 2), 13500, "isa_read 2d 23\n", "off the SMBus");
    expect_failed(read_item(item, 0), "", "without a bus");
}

TEST(RawFan, Chip30AsksTheBmcFirst) {
    // 0x1F × 32 + (0xE5 AND 31) = 997; 1350000 / 997 = 1354
    const string from_bmc = "bmc_30_90 2d 0 80\nbmc_30_90 2d 0 81\n";
    for (uint32_t bus : SMBUS_BITS) {
        string high = smbus_line(30, bus, SLAVE, 0x80);
        string low = smbus_line(30, bus, SLAVE, 0x81);
        string over_smbus = call_line("smbus_write %x 2d ff 0\n", bus) + high + "\n" + low + "\n";
        item_record item = make_item(CAT_FAN, 30, bus, SLAVE, 0x80);
        string what = chip_on_bus(30, bus);
        const answer bmc_high = {"bmc_30_90 2d 0 80", 0x1F};
        const answer bmc_low = {"bmc_30_90 2d 0 81", 0xE5};

        start(BMC, {bmc_high, bmc_low});
        expect_read(read_item(item, 3), 1354, from_bmc, what + ", BMC");
        start(BMC, {bmc_low, {high, 0x1F}, {low, 0xE5}}); // the second byte is asked for all the same
        expect_read(read_item(item, 3), 1354, from_bmc + over_smbus, what + ", BMC's high byte fails");
        start(BMC, {bmc_high, {high, 0x1F}, {low, 0xE5}});
        expect_read(read_item(item, 3), 1354, from_bmc + over_smbus, what + ", BMC's low byte fails");
        start(BMC, {});
        expect_failed(read_item(item, 3), from_bmc + over_smbus, what + ", all fail");

        start(NO_BMC, {{high, 0x1F}, {low, 0xE5}});
        expect_read(read_item(item, 3), 1354, over_smbus, what + ", no BMC");
        hw_recorder::fail(call_line("smbus_write %x 2d ff 0", bus)); // its result does not count
        expect_read(read_item(item, 3), 1354, over_smbus, what + ", bank not written");
        start(NO_BMC, {{low, 0xE5}});
        expect_failed(read_item(item, 3), over_smbus, what + ", high byte fails");
        start(NO_BMC, {{high, 0x1F}});
        expect_failed(read_item(item, 3), over_smbus, what + ", low byte fails");
    }
}

TEST(RawFan, Chip30OffTheSmbusTakesOneByteFromTheSuperIo) {
    item_record item = make_item(CAT_FAN, 30, 2, SLAVE, 0x80);
    for (bool bmc : {NO_BMC, BMC}) {
        start(bmc, {{"isa_read 2d 80", 100}, {"bmc_30_90 2d 0 80", 1}, {"bmc_30_90 2d 0 81", 1}});
        expect_read(read_item(item, 2), 13500, "isa_read 2d 80\n", "Super I/O");
        expect_failed(read_item(item, 0), "", "no bus");
    }
}

TEST(RawFan, Chip8ReadsItsPortsBehindItsBank) {
    // Base 0x0700: bank at 0x070F, low and high byte at 0x0712 and 0x0713. 0x012C = 300, 5400000 / 300 =
    // 18000.
    for (uint32_t bus : {0u, 1u, 2u, 8u, 11u}) {
        start_ports(NO_BMC, {});
        test_door::on_inb = [](uint16_t port) -> uint8_t {
            return port == 0x70F ? 0xBF : port == 0x712 ? 0x2C : port == 0x713 ? 0x01 : 0xFF;
        };
        // 0xBF AND 0xE0 = 0xA0, OR the low byte of the slave
        expect_read(read_item(make_item(CAT_FAN, 8, bus, 0x503, 0x700), 0), 18000, "", chip_on_bus(8, bus));
        EXPECT_EQ(test_door::take_log(), "inb 070f bf\noutb 070f a3\ninb 0712 2c\ninb 0713 01\n");
    }
}

TEST(RawFan, Chip8BankIsOredInWhole) {
    start_ports(NO_BMC, {});
    test_door::on_inb = [](uint16_t) -> uint8_t { return 0x40; };
    // 0x40 keeps bit 6; the slave's 0x9F is not cut to the bank bits. 0x4040 = 16448, 5400000 / 16448 = 328.
    expect_read(read_item(make_item(CAT_FAN, 8, 2, 0x9F, 0x700), 0), 328, "", "bank 0x9F");
    EXPECT_EQ(test_door::take_log(), "inb 070f 40\noutb 070f df\ninb 0712 40\ninb 0713 40\n");
}

// The last port that a count needs is base + 19, that of a limit base + 21, that of the switch base + 12.
TEST(RawFan, Chip8WithABaseBeyondThePortsIsNotTouched) {
    start_ports(NO_BMC, {});
    test_door::on_inb = [](uint16_t) -> uint8_t { return 0x40; };
    expect_read(read_item(make_item(CAT_FAN, 8, 2, 0, 0xFFEC), 0), 328, "", "0xFFEC"); // 5400000 / 0x4040
    EXPECT_EQ(test_door::take_log(), "inb fffb 40\noutb fffb 40\ninb fffe 40\ninb ffff 40\n");
    for (uint32_t base : {0xFFEDu, 0xFFFFu, 0x10700u, 0xFFFFFFFFu}) {
        expect_failed(read_item(make_item(CAT_FAN, 8, 2, 0, base), 0), "", call_line("%x", base));
        EXPECT_EQ(test_door::take_log(), "") << base;
    }
}

TEST(RawSwitch, Chip8WithABaseBeyondThePortsIsNotTouched) {
    start_ports(NO_BMC, {});
    expect_failed(read_item(make_item(CAT_SWITCH, 8, 2, 0, 0xFFF3), 3), "", "0xFFF3");
    EXPECT_EQ(test_door::take_log(), "inb ffff ff\n");
    for (uint32_t base : {0xFFF4u, 0xFFFFu, 0x10700u, 0xFFFFFFFFu}) {
        expect_failed(read_item(make_item(CAT_SWITCH, 8, 2, 0, base), 3), "", call_line("%x", base));
        EXPECT_EQ(test_door::take_log(), "") << base;
    }
}

TEST(RawFan, Chip8FailsWhenAPortIsRefused) {
    item_record item = make_item(CAT_FAN, 8, 2, 1, 0x700);
    start_ports(NO_BMC, {});
    test_door::grant_all_ports(false);
    expect_failed(read_item(item, 0), "", "all ports refused");
    EXPECT_EQ(test_door::take_log(), "inb 070f failed\n");
    struct {
        const char *call;
        int nth;
    } const refused[] = {{"inb", 1}, {"inb", 2}, {"inb", 3}, {"outb", 1}};
    for (auto one : refused) {
        start_ports(NO_BMC, {});
        test_door::fail_call(one.call, one.nth, EPERM);
        expect_failed(read_item(item, 0), "", call_line("%s %d", one.call, one.nth));
    }
}

TEST(RawFan, Chip25KeepsHighBytesElevenRegistersOnFrom13To18) {
    struct {
        uint32_t low;
        uint32_t high;
    } const rows[] = {{12, 13}, {13, 24}, {14, 25}, {15, 26},    {16, 27},
                      {17, 28}, {18, 29}, {19, 20}, {0x80, 0x81}};
    for (auto row : rows)
        for (uint32_t bus : {2u, 3u, 10u, 11u})
            for (uint32_t system_bus : {0u, 2u}) { // the system's bus does not matter here
                string low = call_line("isa_read 0 %x", row.low);
                string high = call_line("isa_read 0 %x", row.high);
                string calls = low + "\n" + high + "\n";
                item_record item = make_item(CAT_FAN, 25, bus, 0, row.low);
                string what = call_line("low byte at %u bus %x", row.low, bus);
                start(NO_BMC, {{low, 0xE8}, {high, 0x03}});
                expect_read(read_item(item, system_bus), 675, calls, what); // 675000 / 0x3E8
                start(NO_BMC, {{high, 0x03}});
                expect_failed(read_item(item, system_bus), calls, what + ", low byte fails");
                start(NO_BMC, {{low, 0xE8}});
                expect_failed(read_item(item, system_bus), calls, what + ", high byte fails");
            }
}

TEST(RawFan, Chip25OffTheSuperIoFails) {
    for (uint32_t bus : {0u, 1u, 4u, 8u, 9u}) {
        start(NO_BMC, {{smbus_line(25, bus, 0, 13), 100}});
        expect_failed(read_item(make_item(CAT_FAN, 25, bus, 0, 13), 3), "", chip_on_bus(25, bus));
    }
}

TEST(RawFan, Chip28TakesItsWordFromTheSuperIo) {
    for (uint32_t bus : {2u, 3u, 10u, 11u})
        for (uint32_t system_bus : {0u, 2u}) {
            item_record item = make_item(CAT_FAN, 28, bus, 6, 0x56);
            start(NO_BMC, {{"isa_fan 6 56", 1000}});
            expect_read(read_item(item, system_bus), 1350, "isa_fan 6 56\n", chip_on_bus(28, bus));
            start(NO_BMC, {});
            expect_failed(read_item(item, system_bus), "isa_fan 6 56\n", chip_on_bus(28, bus));
        }
}

TEST(RawFan, Chip28OffTheSuperIoTakesOneByteOverSmbus) {
    for (uint32_t bus : {1u, 8u, 9u}) {
        string line = smbus_line(28, bus, SLAVE, 0x56);
        start(NO_BMC, {{line, 100}});
        expect_read(read_item(make_item(CAT_FAN, 28, bus, SLAVE, 0x56), 3), 13500, line + "\n",
                    chip_on_bus(28, bus));
    }
    start(NO_BMC, {});
    expect_failed(read_item(make_item(CAT_FAN, 28, 0, SLAVE, 0x56), 3), "", "no bus");
}

TEST(RawSwitch, Chips4And5AreSuperIoPins) {
    for (uint32_t chip : {4u, 5u})
        for (uint32_t bus : {0u, 1u, 2u, 11u}) {
            string line = call_line("super_gpio %u 8 f1", chip);
            item_record item = make_item(CAT_SWITCH, chip, bus, 8, 0xF1);
            start(BMC, {{line, 0x10}});
            expect_read(read_item(item, 3), 1, line + "\n", chip_on_bus(chip, bus));
            start(BMC, {{line, 0}});
            expect_read(read_item(item, 3), 0, line + "\n", chip_on_bus(chip, bus));
            start(BMC, {}); // its ports were refused
            expect_failed(read_item(item, 3), line + "\n", chip_on_bus(chip, bus));
        }
}

TEST(RawSwitch, Chip11IsASouthBridgePin) {
    for (uint32_t bus : {0u, 1u, 2u, 11u}) {
        item_record item = make_item(CAT_SWITCH, 11, bus, 8, 0x50);
        start(BMC, {{"sb_gpio 11 8 50", 0x10}});
        expect_read(read_item(item, 3), 1, "sb_gpio 11 8 50\n", chip_on_bus(11, bus));
        start(BMC, {}); // its ports were refused
        expect_failed(read_item(item, 3), "sb_gpio 11 8 50\n", chip_on_bus(11, bus));
    }
}

TEST(RawSwitch, Chip8IsReadAndFailsAllTheSame) {
    for (uint32_t bus : {0u, 1u, 2u, 11u}) {
        start_ports(BMC, {});
        expect_failed(read_item(make_item(CAT_SWITCH, 8, bus, 1, 0x700), 3), "", chip_on_bus(8, bus));
        EXPECT_EQ(test_door::take_log(), "inb 070c ff\n");
    }
}

TEST(RawSwitch, Chip27IsNeverRead) {
    for (uint32_t bus : {0u, 1u, 2u, 11u, 0xFFu})
        for (bool bmc : {NO_BMC, BMC}) {
            start_ports(bmc, {{smbus_line(27, bus, SLAVE, REG), 0xFF}, {"isa_read 2d 20", 0xFF}});
            expect_read(read_item(make_item(CAT_SWITCH, 27, bus, SLAVE, REG), 3), 0, "",
                        chip_on_bus(27, bus));
            EXPECT_EQ(test_door::take_log(), "");
        }
}

TEST(RawSwitch, Chip30ReadsRegisterCAWhateverItsOffset) {
    for (uint32_t bus : {0u, 1u, 2u, 8u, 11u}) { // no bus bit is asked for
        string line = smbus_line(30, bus, SLAVE, 0xCA);
        string over_smbus = call_line("smbus_write %x 2d ff 0\n", bus) + line + "\n";
        item_record item = make_item(CAT_SWITCH, 30, bus, SLAVE, REG);
        string what = chip_on_bus(30, bus);
        start(BMC, {{"bmc_30_90 2d 0 ca", 0x10}});
        expect_read(read_item(item, 3), 1, "bmc_30_90 2d 0 ca\n", what + ", BMC");
        start(BMC, {{line, 0x10}});
        expect_read(read_item(item, 3), 1, "bmc_30_90 2d 0 ca\n" + over_smbus, what + ", BMC fails");
        start(BMC, {});
        expect_failed(read_item(item, 3), "bmc_30_90 2d 0 ca\n" + over_smbus, what + ", all fail");
        start(NO_BMC, {{line, 0}});
        expect_read(read_item(item, 3), 0, over_smbus, what + ", no BMC");
    }
}

TEST(RawTemperature, Chip17ReadsItsValueAndItsMode) {
    for (uint32_t bus : SMBUS_BITS) {
        string value = smbus_line(17, bus, SLAVE, 28);
        string mode = smbus_line(17, bus, SLAVE, 0x5E);
        string calls = value + "\n" + mode + "\n";
        item_record item = make_item(CAT_TEMP, 17, bus, SLAVE, 28);
        for (uint32_t number : {0u, 1u, 2u, 4u, 0xFCu}) { // no mode 3: the flags are not read
            start(BMC, {{value, 45}, {mode, number}});
            expect_read(read_item(item, 3), 45, calls, call_line("mode %x", number));
        }
        start(NO_BMC, {{mode, 0}}); // only the mode's read counts
        expect_read(read_item(item, 3), 0, calls, "value fails");
        start(NO_BMC, {{value, 45}});
        expect_failed(read_item(item, 3), calls, "mode fails");
    }
}

TEST(RawTemperature, Chip17InMode3HasOneFlagARegister) {
    for (uint32_t reg = 27; reg <= 32; reg++)
        for (uint32_t number : {3u, 7u, 0xFFu})
            for (unsigned bit = 0; bit < 8; bit++) {
                string value = smbus_line(17, 1, SLAVE, reg);
                start(NO_BMC,
                      {{value, 45}, {"smbus_read 17 1 2d 5e", number}, {"smbus_read 17 1 2d d6", 1u << bit}});
                // Registers 28 to 31 have bits 4 to 7: no sensor, which reads 0.
                bool flagged = reg >= 28 && reg <= 31 && bit == reg - 24;
                expect_read(read_item(make_item(CAT_TEMP, 17, 1, SLAVE, reg), 1), flagged ? 0 : 45,
                            value + "\nsmbus_read 17 1 2d 5e\nsmbus_read 17 1 2d d6\n",
                            call_line("register %u mode %x bit %u", reg, number, bit));
            }
}

TEST(RawTemperature, Chip17StatusIsTheModesEvenWhenTheFlagsFail) {
    start(NO_BMC, {{"smbus_read 17 1 2d 1c", 45}, {"smbus_read 17 1 2d 5e", 3}});
    expect_read(read_item(make_item(CAT_TEMP, 17, 1, SLAVE, 28), 1), 45,
                "smbus_read 17 1 2d 1c\nsmbus_read 17 1 2d 5e\nsmbus_read 17 1 2d d6\n", "flags fail");
}

TEST(RawTemperature, Chip17OffTheSmbusReadsItsModeOnly) {
    for (uint32_t bus : {0u, 2u, 4u}) {
        string mode = smbus_line(17, bus, SLAVE, 0x5E);
        item_record item = make_item(CAT_TEMP, 17, bus, SLAVE, 28);
        start(NO_BMC, {{mode, 0}, {"isa_read 2d 1c", 45}});
        expect_read(read_item(item, 3), 0, mode + "\n",
                    chip_on_bus(17, bus)); // never the plain Super I/O byte
        start(NO_BMC, {{"isa_read 2d 1c", 45}});
        expect_failed(read_item(item, 3), mode + "\n", chip_on_bus(17, bus));
    }
}

TEST(RawTemperature, Chip26IsTheGraphicsCardOnBit3) {
    for (uint32_t bus : {8u, 9u, 10u, 11u}) {
        string line = call_line("gpu %x 2d 20", bus);
        item_record item = make_item(CAT_TEMP, 26, bus, SLAVE, REG);
        start(BMC, {{line, 0x37}});
        expect_read(read_item(item, 3), 55, line + "\n", chip_on_bus(26, bus));
        start(BMC, {});
        expect_failed(read_item(item, 3), line + "\n", chip_on_bus(26, bus));
    }
}

TEST(RawTemperature, Chip26WithoutBit3IsPlain) {
    for (uint32_t bus : {1u, 3u}) {
        string line = smbus_line(26, bus, SLAVE, REG);
        start(BMC, {{line, 0x37}});
        expect_read(read_item(make_item(CAT_TEMP, 26, bus, SLAVE, REG), 3), 55, line + "\n",
                    chip_on_bus(26, bus));
    }
    start(BMC, {{"isa_read 2d 20", 0x37}});
    expect_read(read_item(make_item(CAT_TEMP, 26, 2, SLAVE, REG), 2), 55, "isa_read 2d 20\n", "Super I/O");
    expect_failed(read_item(make_item(CAT_TEMP, 26, 2, SLAVE, REG), 1), "", "no Super I/O in the system");
}

TEST(RawAny, Chip34IsReadByTheBmcOrNotAtAll) {
    struct {
        uint32_t cat;
        int64_t value; // of raw 100
    } const rows[] = {
        {CAT_FAN, 13500}, // 1350000 / 100: its divisor has no bus
        {CAT_VOLTAGE, 0}, // no formula beyond chip 30
        {CAT_TEMP, 100},
        {CAT_SWITCH, 1},
    };
    for (auto row : rows) {
        item_record item = make_item(row.cat, 34, 0, SLAVE, 0x0B);
        start(BMC, {{"bmc_30_95 b", 100}});
        expect_read(read_item(item, 3), row.value, "bmc_30_95 b\n", call_line("category %u", row.cat));
        for (uint32_t bus : {0u, 1u, 2u, 8u, 11u}) {
            item.BusType = bus;
            const std::vector<answer> plain = {{smbus_line(34, bus, SLAVE, 0x0B), 100},
                                               {"isa_read 2d b", 100}};
            start(BMC, plain);
            expect_failed(read_item(item, 3), "bmc_30_95 b\n", call_line("category %u, BMC fails", row.cat));
            start(NO_BMC, plain);
            expect_failed(read_item(item, 3), "", call_line("category %u, no BMC", row.cat));
        }
    }
}

TEST(RawPlain, Chip30OverSmbusAsksTheBmcFirst) {
    for (uint32_t bus : SMBUS_BITS)
        for (uint32_t cat : {1u, 2u}) { // fans and switches have their own ways
            string line = smbus_line(30, bus, SLAVE, REG);
            string over_smbus = call_line("smbus_write %x 2d ff 0\n", bus) + line + "\n";
            item_record item = make_item(cat, 30, bus, SLAVE, REG);
            string what = call_line("category %u item bus %x", cat, bus);
            start(BMC, {{"bmc_30_90 2d 0 20", 45}});
            expect_read(read_item(item, 3), 45, "bmc_30_90 2d 0 20\n", what + ", BMC");
            start(BMC, {{line, 45}});
            expect_read(read_item(item, 3), 45, "bmc_30_90 2d 0 20\n" + over_smbus, what + ", BMC fails");
            start(BMC, {});
            expect_failed(read_item(item, 3), "bmc_30_90 2d 0 20\n" + over_smbus, what + ", all fail");
            start(NO_BMC, {{line, 45}});
            expect_read(read_item(item, 3), 45, over_smbus, what + ", no BMC");
            hw_recorder::fail(call_line("smbus_write %x 2d ff 0", bus));
            expect_read(read_item(item, 3), 45, over_smbus, what + ", bank not written");
        }
}

TEST(RawPlain, Chip30OffTheSmbusNeverAsksTheBmc) {
    for (uint32_t cat : {1u, 2u}) {
        item_record item = make_item(cat, 30, 2, SLAVE, REG);
        start(BMC, {{"bmc_30_90 2d 0 20", 1}, {"isa_read 2d 20", 45}});
        expect_read(read_item(item, 2), 45, "isa_read 2d 20\n", "Super I/O");
        expect_failed(read_item(item, 1), "", "no Super I/O in the system");
    }
}

TEST(RawPlain, Chip32OverSmbusAsksTheBmcForASensorNumber) {
    struct {
        uint32_t offset;
        uint32_t number; // (offset AND 15) / 2
    } const rows[] = {{0, 0}, {1, 0}, {2, 1}, {0x0F, 7}, {0x10, 0}, {0x1A, 5}, {0xFB, 5}};
    for (auto row : rows)
        for (uint32_t bus : SMBUS_BITS) {
            string from_bmc = call_line("bmc_30_93 %x", row.number);
            string line = smbus_line(32, bus, SLAVE, row.offset);
            item_record item = make_item(CAT_TEMP, 32, bus, SLAVE, row.offset);
            string what = call_line("register %x bus %x", row.offset, bus);
            start(BMC, {{from_bmc, 45}});
            expect_read(read_item(item, 3), 45, from_bmc + "\n", what);
            start(BMC, {{from_bmc, 254}});
            expect_read(read_item(item, 3), -2, from_bmc + "\n", what);
            start(BMC, {{from_bmc, 255}}); // nothing in that socket
            expect_read(read_item(item, 3), 0, from_bmc + "\n", what);
            start(BMC, {{line, 45}});
            expect_read(read_item(item, 3), 45, from_bmc + "\n" + line + "\n", what + ", BMC fails");
            start(BMC, {{line, 255}}); // over the SMBus 255 stays what it is
            expect_read(read_item(item, 3), -1, from_bmc + "\n" + line + "\n", what + ", BMC fails");
            start(BMC, {});
            expect_failed(read_item(item, 3), from_bmc + "\n" + line + "\n", what + ", all fail");
            start(NO_BMC, {{line, 45}});
            expect_read(read_item(item, 3), 45, line + "\n", what + ", no BMC");
        }
}

TEST(RawPlain, Chip32AsksTheBmcForEveryCategory) {
    start(BMC, {{"bmc_30_93 0", 255}});
    expect_read(read_item(make_item(CAT_SWITCH, 32, 1, SLAVE, REG), 1), 0, "bmc_30_93 0\n", "switch");
    start(BMC, {{"bmc_30_93 0", 255}});
    expect_read(read_item(make_item(CAT_VOLTAGE, 32, 1, SLAVE, REG), 1), 0, "bmc_30_93 0\n", "voltage");
    start(BMC, {{"bmc_30_93 0", 100}, {"smbus_read 32 1 77 99", 1}});
    expect_read(read_item(make_item(CAT_FAN, 32, 1, SLAVE, REG), 1), 6750,
                "bmc_30_93 0\nsmbus_read 32 1 77 99\n", "fan");
    start(BMC, {{"bmc_30_93 0", 1}, {"isa_read 2d 20", 45}});
    expect_read(read_item(make_item(CAT_TEMP, 32, 2, SLAVE, REG), 2), 45, "isa_read 2d 20\n",
                "off the SMBus");
}

// Category and chip pairs that have a row of their own; every other pair is read the plain way.
static const std::set<std::pair<uint32_t, uint32_t>> OWN_READERS = {
    {CAT_FAN, 3},     {CAT_FAN, 9},     {CAT_FAN, 14},    {CAT_FAN, 16},   {CAT_FAN, 17},    {CAT_FAN, 30},
    {CAT_FAN, 8},     {CAT_FAN, 25},    {CAT_FAN, 28},    {CAT_SWITCH, 4}, {CAT_SWITCH, 5},  {CAT_SWITCH, 8},
    {CAT_SWITCH, 11}, {CAT_SWITCH, 30}, {CAT_TEMP, 17},   {CAT_TEMP, 26},  {CAT_SWITCH, 27}, {CAT_FAN, 34},
    {CAT_TEMP, 34},   {CAT_SWITCH, 34}, {CAT_VOLTAGE, 34}};

static const uint32_t SYSTEM_BUSES[] = {0, 1, 2, 3, 0xB};

static std::vector<uint32_t> all_codes() {
    std::vector<uint32_t> codes;
    for (uint32_t code = 0; code < 35; code++)
        codes.push_back(code);
    codes.push_back(0xFF);
    return codes;
}

// What raw 85 reads as: chips with voltage formulas hand on the raw value of a function that was not given.
static int64_t value_of_85(uint32_t cat, uint32_t chip, bool with_divisor) {
    static const std::set<uint32_t> with_voltages = {0,  1,  2,  7,  9,  10, 12, 13, 14, 15, 16,
                                                     17, 19, 21, 22, 23, 24, 25, 28, 29, 30};
    switch (cat) {
    case CAT_FAN:
        if (chip == 6)
            return 9732; // 85 × 30 / 0.262 = 9732.8
        if (chip == 23)
            return 992;                     // 84375 / 85 = 992.6
        return with_divisor ? 7941 : 15882; // 1350000 / 2 / 85, 1350000 / 85
    case CAT_VOLTAGE:
        return with_voltages.count(chip) != 0 ? 85 : 0;
    case CAT_TEMP:
        return 85;
    default:
        return 1;
    }
}

TEST(RawPlain, EveryOtherChipAndCategoryReadsOneByte) {
    for (uint32_t chip : all_codes())
        for (uint32_t cat : {0u, 1u, 2u, 3u})
            for (uint32_t bus = 0; bus < 16; bus++)
                for (uint32_t system_bus : SYSTEM_BUSES) {
                    bool smbus = (bus & 9) != 0;
                    if (OWN_READERS.count({cat, chip}) != 0 || (smbus && (chip == 30 || chip == 32)))
                        continue;
                    bool isa = (bus & 2) != 0 && (system_bus & 2) != 0;
                    string line = smbus_line(chip, bus, SLAVE, REG);
                    string what =
                        call_line("chip %u category %u bus %x system bus %x", chip, cat, bus, system_bus);
                    // The divisor's register gives field 1, divisor 2; the Super I/O's answer replaces the
                    // SMBus's.
                    start(BMC, {{line, 85},
                                {"isa_read 2d 20", 85},
                                {smbus_line(chip, bus, 0x77, 0x99), isa ? 2u : 1u},
                                {"isa_read 77 99", 1}});
                    outcome seen = read_item(make_item(cat, chip, bus, SLAVE, REG), system_bus);
                    if (!smbus && !isa) {
                        expect_failed(seen, "", what);
                        continue;
                    }
                    string calls = smbus ? line + "\n" : "isa_read 2d 20\n";
                    if (cat == CAT_FAN && chip != 6 && chip != 23) {
                        calls += smbus ? smbus_line(chip, bus, 0x77, 0x99) + "\n" : "";
                        calls += isa ? "isa_read 77 99\n" : "";
                    }
                    expect_read(seen, value_of_85(cat, chip, true), calls, what);
                }
}

TEST(RawPlain, FailedByteFailsTheReadingAndTriesNoOtherBus) {
    for (uint32_t chip : {0u, 1u, 10u, 23u, 28u, 33u, 0xFFu})
        for (uint32_t cat : {1u, 2u, 3u}) {
            start(NO_BMC, {{"isa_read 2d 20", 85}});
            item_record item = make_item(cat, chip, 3, SLAVE, REG); // both buses: only the SMBus is read
            expect_failed(read_item(item, 3), smbus_line(chip, 3, SLAVE, REG) + "\n", chip_on_bus(chip, 3));
            start(NO_BMC, {});
            item.BusType = 2;
            expect_failed(read_item(item, 2), "isa_read 2d 20\n", chip_on_bus(chip, 2));
        }
}

TEST(RawPlain, OtherCategoriesAreReadAndThenRefused) {
    for (uint32_t cat : {4u, 5u, 6u, 7u, 0xFFu}) {
        string what = call_line("category %u", cat);
        start(NO_BMC, {{"smbus_read 0 1 2d 20", 85}});
        item_record item = make_item(cat, 0, 1, SLAVE, REG);
        outcome seen = read_item(item, 1);
        EXPECT_EQ(seen.status, -1) << what;
        EXPECT_EQ(seen.value, UNTOUCHED) << what;
        EXPECT_EQ(seen.calls, "smbus_read 0 1 2d 20\n") << what;
        EXPECT_EQ(seen.errors, "Error: unknown parameter!\n") << what;
        start(NO_BMC, {});
        expect_failed(read_item(item, 1), "smbus_read 0 1 2d 20\n", what + ", no answer: nothing to refuse");
    }
}

TEST(RawPlain, ARowOfOneCategoryIsNotAnotherCategorys) {
    // Chips with a row for fans, temperatures or switches read other categories the plain way, ports and pins
    // too.
    const std::pair<uint32_t, uint32_t> others[] = {{CAT_TEMP, 8},  {CAT_TEMP, 4},  {CAT_TEMP, 11},
                                                    {CAT_TEMP, 27}, {CAT_TEMP, 25}, {CAT_TEMP, 28},
                                                    {CAT_TEMP, 3},  {6, 17}};
    for (auto [cat, chip] : others) {
        string line = smbus_line(chip, 1, SLAVE, REG);
        start_ports(NO_BMC, {{line, 85}});
        outcome seen = read_item(make_item(cat, chip, 1, SLAVE, REG), 1);
        EXPECT_EQ(seen.calls, line + "\n");
        EXPECT_EQ(test_door::take_log(), "");
        EXPECT_EQ(seen.status, cat == 6 ? -1 : 0) << "chip " << chip;
    }
}

// ---- Raw limits

TEST(RawFanLimit, LowByteThenHighByteOverSmbus) {
    for (uint32_t chip : {3u, 9u, 14u})
        for (uint32_t bus : SMBUS_BITS) {
            string low = smbus_line(chip, bus, LIMIT_SLAVE, LIMIT_REG);
            string high = smbus_line(chip, bus, LIMIT_SLAVE, LIMIT_REG + 1);
            string calls = low + "\n" + high + "\n";
            item_record item = make_item(CAT_FAN, chip, bus, SLAVE, REG);
            string what = chip_on_bus(chip, bus);
            start(BMC, {{low, 0x2C}, {high, 0x01}, {"isa_read 3c 40", 1}});
            expect_read(read_limit(item, 3), 18000, calls, what);
            start(BMC, {{high, 0x01}});
            expect_failed(read_limit(item, 3), calls, what + ", low byte fails");
            start(BMC, {{low, 0x2C}});
            expect_failed(read_limit(item, 3), calls, what + ", high byte fails");
        }
}

TEST(RawFanLimit, LowHighChipsOffTheSmbusFail) {
    for (uint32_t chip : {3u, 9u, 14u})
        for (uint32_t bus : {0u, 2u, 4u}) {
            start(NO_BMC, {{"isa_read 3c 40", 100}});
            expect_failed(read_limit(make_item(CAT_FAN, chip, bus, SLAVE, REG), 3), "",
                          chip_on_bus(chip, bus));
        }
}

TEST(RawFanLimit, Chip17TakesAWordOverSmbus) {
    for (uint32_t bus : SMBUS_BITS) {
        string line = call_line("smbus_word %x 3c 40", bus);
        item_record item = make_item(CAT_FAN, 17, bus, SLAVE, REG);
        start(NO_BMC, {{line, 1000}, {"isa_read 3c 40", 1}});
        expect_read(read_limit(item, 3), 1350, line + "\n", chip_on_bus(17, bus));
        start(NO_BMC, {{"isa_read 3c 40", 1}});
        expect_failed(read_limit(item, 3), line + "\n", chip_on_bus(17, bus));
    }
    start(NO_BMC, {{"isa_read 3c 40", 100}});
    expect_read(read_limit(make_item(CAT_FAN, 17, 2, SLAVE, REG), 2), 13500, "isa_read 3c 40\n", "Super I/O");
    expect_failed(read_limit(make_item(CAT_FAN, 17, 2, SLAVE, REG), 1), "", "no Super I/O in the system");
}

TEST(RawFanLimit, Chip8IsReadAndStaysUnreadable) {
    for (uint32_t bus : {0u, 1u, 2u, 11u}) {
        start_ports(BMC, {{"isa_read 3 700", 1}});
        test_door::on_inb = [](uint16_t port) -> uint8_t { return port == 0x70F ? 0xBF : 0x2C; };
        parameter_record record = make_parameter("FAN1H", 0x503, 0x700, 0xFF);
        expect_failed(read_limit(make_item(CAT_FAN, 8, bus, SLAVE, REG), 3, record), "", chip_on_bus(8, bus));
        // the item's ports would be 0x002F and on; the limit's bytes are at base + 20 and + 21
        EXPECT_EQ(test_door::take_log(), "inb 070f bf\noutb 070f a3\ninb 0714 2c\ninb 0715 2c\n");
    }
}

TEST(RawFanLimit, Chip8WithABaseBeyondThePortsIsNotTouched) {
    start_ports(NO_BMC, {});
    test_door::on_inb = [](uint16_t) -> uint8_t { return 0x40; };
    item_record item = make_item(CAT_FAN, 8, 2, SLAVE, REG);
    expect_failed(read_limit(item, 0, make_parameter("FAN1H", 0, 0xFFEA, 0xFF)), "", "0xFFEA");
    EXPECT_EQ(test_door::take_log(), "inb fff9 40\noutb fff9 40\ninb fffe 40\ninb ffff 40\n");
    for (uint32_t base : {0xFFEBu, 0xFFFFu, 0x10700u, 0xFFFFFFFFu}) {
        expect_failed(read_limit(item, 0, make_parameter("FAN1H", 0, base, 0xFF)), "", call_line("%x", base));
        EXPECT_EQ(test_door::take_log(), "") << base;
    }
}

TEST(RawFanLimit, Chip25PlacesTheHighByteByTheItemsOwnRegister) {
    struct {
        uint32_t item_reg;
        uint32_t high_reg; // of a limit's low byte at 0x40
    } const rows[] = {{12, 0x41}, {13, 0x4B}, {16, 0x4B}, {18, 0x4B}, {19, 0x41}, {0x80, 0x41}};
    for (auto row : rows)
        for (uint32_t bus : {2u, 3u, 10u}) {
            string high = call_line("isa_read 3c %x", row.high_reg);
            string calls = "isa_read 3c 40\n" + high + "\n";
            item_record item = make_item(CAT_FAN, 25, bus, SLAVE, row.item_reg);
            string what = call_line("item register %u bus %x", row.item_reg, bus);
            start(NO_BMC, {{"isa_read 3c 40", 0xE8}, {high, 0x03}});
            expect_read(read_limit(item, 0), 675, calls, what);
            start(NO_BMC, {{high, 0x03}});
            expect_failed(read_limit(item, 0), calls, what + ", low byte fails");
            start(NO_BMC, {{"isa_read 3c 40", 0xE8}});
            expect_failed(read_limit(item, 0), calls, what + ", high byte fails");
        }
    // The record's register alone does not move the high byte.
    parameter_record record = make_parameter("FAN1H", LIMIT_SLAVE, 14, 0xFF);
    start(NO_BMC, {{"isa_read 3c e", 0xE8}, {"isa_read 3c f", 0x03}});
    expect_read(read_limit(make_item(CAT_FAN, 25, 2, SLAVE, 0x80), 0, record), 675,
                "isa_read 3c e\nisa_read 3c f\n", "record at 14");
}

TEST(RawFanLimit, Chip25OffTheSuperIoTakesOneByteOverSmbus) {
    for (uint32_t bus : {1u, 8u, 9u}) {
        string line = smbus_line(25, bus, LIMIT_SLAVE, LIMIT_REG);
        item_record item = make_item(CAT_FAN, 25, bus, SLAVE, 13);
        start(NO_BMC, {{line, 100}});
        expect_read(read_limit(item, 3), 6750, line + "\n", chip_on_bus(25, bus)); // 675000 / 100
        start(NO_BMC, {});
        expect_failed(read_limit(item, 3), line + "\n", chip_on_bus(25, bus));
    }
    start(NO_BMC, {});
    expect_failed(read_limit(make_item(CAT_FAN, 25, 0, SLAVE, 13), 3), "", "no bus");
}

TEST(RawFanLimit, Chip28TakesItsWordFromTheSuperIo) {
    for (uint32_t bus : {2u, 3u, 10u, 11u}) {
        item_record item = make_item(CAT_FAN, 28, bus, SLAVE, REG);
        start(NO_BMC, {{"isa_fan 3c 40", 1000}});
        expect_read(read_limit(item, 0), 1350, "isa_fan 3c 40\n", chip_on_bus(28, bus));
        start(NO_BMC, {});
        expect_failed(read_limit(item, 0), "isa_fan 3c 40\n", chip_on_bus(28, bus));
    }
    start(NO_BMC, {{"smbus_read 28 1 3c 40", 100}});
    expect_read(read_limit(make_item(CAT_FAN, 28, 1, SLAVE, REG), 3), 13500, "smbus_read 28 1 3c 40\n",
                "SMBus");
    expect_failed(read_limit(make_item(CAT_FAN, 28, 0, SLAVE, REG), 3), "", "no bus");
}

TEST(RawFanLimit, Chip30AsksTheBmcFirstAndBank1OfTheItemsSlave) {
    const string from_bmc = "bmc_30_90 3c 1 40\nbmc_30_90 3c 1 41\n";
    const answer bmc_high = {"bmc_30_90 3c 1 40", 0x1F};
    const answer bmc_low = {"bmc_30_90 3c 1 41", 0xE5};
    for (uint32_t bus : SMBUS_BITS) {
        string high = smbus_line(30, bus, LIMIT_SLAVE, LIMIT_REG);
        string low = smbus_line(30, bus, LIMIT_SLAVE, LIMIT_REG + 1);
        string over_smbus = call_line("smbus_write %x 2d ff 1\n", bus) + high + "\n" + low + "\n";
        item_record item = make_item(CAT_FAN, 30, bus, SLAVE, REG);
        string what = chip_on_bus(30, bus);
        start(BMC, {bmc_high, bmc_low, {"isa_read 3c 40", 1}});
        expect_read(read_limit(item, 3), 1354, from_bmc, what + ", BMC"); // count 997
        start(BMC, {bmc_low, {high, 0x1F}, {low, 0xE5}});
        expect_read(read_limit(item, 3), 1354, from_bmc + over_smbus, what + ", BMC's high byte fails");
        start(BMC, {bmc_high, {high, 0x1F}, {low, 0xE5}});
        expect_read(read_limit(item, 3), 1354, from_bmc + over_smbus, what + ", BMC's low byte fails");
        start(BMC, {});
        expect_failed(read_limit(item, 3), from_bmc + over_smbus, what + ", all fail");
        start(NO_BMC, {{high, 0x1F}, {low, 0xE5}});
        expect_read(read_limit(item, 3), 1354, over_smbus, what + ", no BMC");
        start(NO_BMC, {{low, 0xE5}});
        expect_failed(read_limit(item, 3), over_smbus, what + ", high byte fails");
        start(NO_BMC, {{high, 0x1F}});
        expect_failed(read_limit(item, 3), over_smbus, what + ", low byte fails");
    }
    start(BMC, {bmc_high, bmc_low, {"isa_read 3c 40", 100}});
    expect_read(read_limit(make_item(CAT_FAN, 30, 2, SLAVE, REG), 2), 13500, "isa_read 3c 40\n", "Super I/O");
}

TEST(RawTemperatureLimit, Chip26IsTheGraphicsCardOnBit3) {
    for (uint32_t bus : {8u, 9u, 10u, 11u}) {
        string line = call_line("gpu %x 3c 40", bus);
        item_record item = make_item(CAT_TEMP, 26, bus, SLAVE, REG);
        start(BMC, {{line, 70}, {"isa_read 3c 40", 1}});
        expect_read(read_limit(item, 3), 70, line + "\n", chip_on_bus(26, bus));
        start(BMC, {{"isa_read 3c 40", 1}});
        expect_failed(read_limit(item, 3), line + "\n", chip_on_bus(26, bus));
    }
    start(BMC, {{"smbus_read 26 1 3c 40", 70}});
    expect_read(read_limit(make_item(CAT_TEMP, 26, 1, SLAVE, REG), 3), 70, "smbus_read 26 1 3c 40\n",
                "SMBus");
    start(BMC, {{"isa_read 3c 40", 70}});
    expect_read(read_limit(make_item(CAT_TEMP, 26, 2, SLAVE, REG), 2), 70, "isa_read 3c 40\n", "Super I/O");
}

TEST(RawTemperatureLimit, Bank7OfChips28And33IsFixedAt95) {
    for (uint32_t chip : {28u, 33u})
        for (uint32_t bus : {2u, 3u, 10u, 11u})
            for (uint32_t system_bus : {0u, 2u}) {
                start(BMC, {{"isa_read 3c 40", 70}, {smbus_line(chip, bus, LIMIT_SLAVE, LIMIT_REG), 70}});
                expect_read(read_limit(make_item(CAT_TEMP, chip, bus, 7, REG), system_bus), 95, "",
                            chip_on_bus(chip, bus));
            }
}

TEST(RawTemperatureLimit, OtherBanksOfChips28And33ArePlain) {
    for (uint32_t chip : {28u, 33u}) {
        for (uint32_t slave : {0u, 1u, 6u, 8u}) {
            start(BMC, {{"isa_read 3c 40", 70}});
            expect_read(read_limit(make_item(CAT_TEMP, chip, 2, slave, REG), 2), 70, "isa_read 3c 40\n",
                        chip_on_bus(chip, 2));
        }
        string line = smbus_line(chip, 1, LIMIT_SLAVE, LIMIT_REG);
        start(BMC, {{line, 70}});
        expect_read(read_limit(make_item(CAT_TEMP, chip, 1, 7, REG), 3), 70, line + "\n",
                    "slave 7 on the SMBus");
        // Only temperatures have the fixed limit, and only these chips (chip 28's raw voltages are the bare
        // register).
        start(BMC, {{"isa_read 3c 40", 70}});
        expect_read(read_limit(make_item(CAT_VOLTAGE, chip, 2, 7, REG), 2), chip == 28 ? 70 : 0,
                    "isa_read 3c 40\n", "voltage");
    }
    start(BMC, {{"isa_read 3c 40", 70}});
    expect_read(read_limit(make_item(CAT_TEMP, 22, 2, 7, REG), 2), 70, "isa_read 3c 40\n", "chip 22");
}

TEST(RawTemperatureLimit, Chip34IsReadByTheBmcOrNotAtAll) {
    for (uint32_t bus : {0u, 1u, 2u, 8u, 11u}) {
        const std::vector<answer> plain = {{smbus_line(34, bus, LIMIT_SLAVE, LIMIT_REG), 70},
                                           {"isa_read 3c 40", 70}};
        item_record item = make_item(CAT_TEMP, 34, bus, SLAVE, REG);
        start(BMC, plain);
        hw_recorder::answer("bmc_30_95 40", 80);
        expect_read(read_limit(item, 3), 80, "bmc_30_95 40\n", chip_on_bus(34, bus));
        start(BMC, plain);
        expect_failed(read_limit(item, 3), "bmc_30_95 40\n", chip_on_bus(34, bus) + ", BMC fails");
        start(NO_BMC, plain);
        expect_failed(read_limit(item, 3), "", chip_on_bus(34, bus) + ", no BMC");
    }
}

TEST(RawPlainLimit, Chips30And32AskTheLimitBankOfTheBmcFirst) {
    for (uint32_t chip : {30u, 32u})
        for (uint32_t bus : {1u, 8u, 9u}) {
            const string from_bmc = "bmc_30_90 3c 1 40\n";
            string line = smbus_line(chip, bus, LIMIT_SLAVE, LIMIT_REG);
            // Chip 30 alone has a bank to select, at the item's own slave.
            string over_smbus = (chip == 30 ? call_line("smbus_write %x 2d ff 1\n", bus) : "") + line + "\n";
            for (uint32_t cat : {1u, 2u}) {
                item_record item = make_item(cat, chip, bus, SLAVE, REG);
                string what = chip_on_bus(chip, bus) + call_line(" category %u", cat);
                int64_t value = cat == CAT_TEMP || chip == 30 ? 70 : 0; // no voltages beyond chip 30
                start(BMC, {{"bmc_30_90 3c 1 40", 70}});
                expect_read(read_limit(item, 3), value, from_bmc, what + ", BMC");
                start(BMC, {{line, 70}});
                expect_read(read_limit(item, 3), value, from_bmc + over_smbus, what + ", BMC fails");
                start(BMC, {});
                expect_failed(read_limit(item, 3), from_bmc + over_smbus, what + ", all fail");
                start(NO_BMC, {{line, 70}});
                expect_read(read_limit(item, 3), value, over_smbus, what + ", no BMC");
            }
        }
}

TEST(RawPlainLimit, TheBmcs255OfChip32StaysWhatItIs) {
    start(BMC, {{"bmc_30_90 3c 1 40", 255}});
    expect_read(read_limit(make_item(CAT_TEMP, 32, 1, SLAVE, REG), 1), -1, "bmc_30_90 3c 1 40\n", "255");
}

TEST(RawPlainLimit, TheSuperIoReplacesTheBmcToo) {
    for (uint32_t chip : {30u, 32u}) {
        item_record item = make_item(CAT_TEMP, chip, 3, SLAVE, REG);
        start(BMC, {{"bmc_30_90 3c 1 40", 70}, {"isa_read 3c 40", 60}});
        expect_read(read_limit(item, 2), 60, "bmc_30_90 3c 1 40\nisa_read 3c 40\n", chip_on_bus(chip, 3));
        start(BMC, {{"bmc_30_90 3c 1 40", 70}});
        expect_failed(read_limit(item, 2), "bmc_30_90 3c 1 40\nisa_read 3c 40\n", chip_on_bus(chip, 3));
    }
}

// Category and chip pairs that have a row of their own for limits.
static const std::set<std::pair<uint32_t, uint32_t>> OWN_LIMITS = {
    {CAT_FAN, 3},  {CAT_FAN, 9},  {CAT_FAN, 14},  {CAT_FAN, 17},  {CAT_FAN, 8},   {CAT_FAN, 25},
    {CAT_FAN, 28}, {CAT_FAN, 30}, {CAT_TEMP, 26}, {CAT_TEMP, 28}, {CAT_TEMP, 33}, {CAT_TEMP, 34}};

TEST(RawPlainLimit, EveryOtherChipAndCategoryReadsOneByteOfEachBus) {
    for (uint32_t chip : all_codes())
        for (uint32_t cat : {0u, 1u, 2u, 3u})
            for (uint32_t bus = 0; bus < 16; bus++)
                for (uint32_t system_bus : SYSTEM_BUSES) {
                    bool smbus = (bus & 9) != 0;
                    if (OWN_LIMITS.count({cat, chip}) != 0 || (smbus && (chip == 30 || chip == 32)))
                        continue;
                    bool isa = (bus & 2) != 0 && (system_bus & 2) != 0;
                    string line = smbus_line(chip, bus, LIMIT_SLAVE, LIMIT_REG);
                    string what =
                        call_line("chip %u category %u bus %x system bus %x", chip, cat, bus, system_bus);
                    start(BMC, {{line, isa ? 1u : 85u},
                                {"isa_read 3c 40", 85},
                                {smbus_line(chip, bus, 0x77, 0x99), isa ? 2u : 1u},
                                {"isa_read 77 99", 1}});
                    outcome seen = read_limit(make_item(cat, chip, bus, SLAVE, REG), system_bus);
                    if (!smbus && !isa) {
                        expect_failed(seen, "", what);
                        continue;
                    }
                    string calls = (smbus ? line + "\n" : "") + (isa ? "isa_read 3c 40\n" : "");
                    int64_t value = cat == CAT_SWITCH ? UNTOUCHED : value_of_85(cat, chip, true);
                    if (cat == CAT_FAN && chip == 16)
                        value = 63529; // 5400000 / 85; its limit is one byte, its reading two
                    else if (cat == CAT_FAN && chip != 6 && chip != 23)
                        calls += (smbus ? smbus_line(chip, bus, 0x77, 0x99) + "\n" : "") +
                                 (isa ? "isa_read 77 99\n" : "");
                    expect_read(seen, value, calls, what);
                }
}

TEST(RawPlainLimit, TheSuperIoDecidesWhetherItWasReadAtAll) {
    item_record item = make_item(CAT_TEMP, 0, 3, SLAVE, REG);
    const string both = "smbus_read 0 3 3c 40\nisa_read 3c 40\n";
    start(NO_BMC, {{"isa_read 3c 40", 70}});
    expect_read(read_limit(item, 2), 70, both, "the SMBus failed");
    start(NO_BMC, {{"smbus_read 0 3 3c 40", 70}});
    expect_failed(read_limit(item, 2), both, "the Super I/O failed");
    start(NO_BMC, {{"smbus_read 0 3 3c 40", 70}});
    expect_read(read_limit(item, 1), 70, "smbus_read 0 3 3c 40\n", "no Super I/O in the system");
}
