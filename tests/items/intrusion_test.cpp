#include "items/intrusion.h"

#include <cerrno>
#include <gtest/gtest.h>
#include <iterator>
#include <set>
#include <string>

#include "chips/ns87427.h"
#include "chips/plain.h"
#include "chips/winbond.h"
#include "hw/ipmi.h"
#include "items/records.h"
#include "support/hw_recorder.h"
#include "support/os_test.h"

// The switch is bit 4 of register 42 (bank or slave 2d); its clear bits are 6 and 7 of register 46 (bank or
// slave 2c), which contains 55. Only the low byte of a mask is written. 55 | c0 = d5; 55 & 3f = 15.
static const parameter_record parameters[] = {
    make_parameter("SWITCH1A", 0x2D, 0xF0, 0x10),
    make_parameter("SWITCH1C", 0x2C, 0x46, 0x1C0),
    make_parameter("SWITCH2C", 0x2C, 0x46, 0),
};

constexpr uint32_t ACTIVE = 0x10;
constexpr uint32_t INACTIVE = 0;

static item_record intrusion(uint32_t chip, uint32_t bus) {
    item_record item = make_item(CAT_SWITCH, chip, bus, 0x2D, 0x42);
    set_text(item.Name, "Chassis Intrusion");
    set_text(item.ItemId, "Item_SWITCH1");
    set_text(item.ParaIndex1, "SWITCH1A");
    set_text(item.ParaIndex2, "SWITCH1C");
    return item;
}

// The chip's registers, over every route; the ports of the Super I/O chip identify it as `id`.
static void start(const item_record &item, uint32_t state, uint16_t id = 0x5217) {
    test_door::reset();
    hw_recorder::reset();
    unsigned chip = item.ChipCode;
    for (unsigned bus : {1u, 2u, 3u, 8u, 9u}) {
        hw_recorder::answer(call_line("smbus_read %u %x 2d 42", chip, bus), state);
        for (unsigned as : {chip, 1u})
            hw_recorder::answer(call_line("smbus_read %u %x 2c 46", as, bus), 0x55);
        hw_recorder::answer(call_line("smbus_read %u %x 2d d4", chip, bus), 0x55);
        hw_recorder::answer(call_line("smbus_read %u %x 2d ca", chip, bus), state);
        hw_recorder::answer(call_line("smbus_read %u %x 2d f0", chip, bus), 0);
    }
    hw_recorder::answer("isa_read 2d 42", state);
    hw_recorder::answer("isa_read 2c 46", 0x55);
    hw_recorder::answer("isa_read 2d f0", 0);
    for (unsigned gpio : {4u, 5u})
        hw_recorder::answer(call_line("super_gpio %u 2d 42", gpio), state);
    hw_recorder::answer("sb_gpio 11 2d 42", state);
    static uint8_t selected;
    test_door::on_outb = [](uint16_t port, uint8_t value) {
        if (port == 0x2E)
            selected = value;
    };
    test_door::on_inb = [id](uint16_t port) -> uint8_t {
        if (port != 0x2F)
            return 0x55;
        return selected == 0x20 ? id >> 8 : selected == 0x21 ? id & 0xFF : 0x55;
    };
}

struct outcome {
    int result;
    std::string printed;
    std::string errors;
    std::string buses; // the recorder's log
    std::string ports; // the door's log
};

static outcome reset(item_record *item, uint32_t system_bus = 0xB) {
    outcome seen;
    system_settings system = make_system(system_bus);
    seen.errors = test_door::captured_stderr([&] {
        seen.printed = test_door::captured_stdout([&] {
            seen.result = reset_Intrusion(&system, item, 1, parameters, std::size(parameters), item);
        });
    });
    seen.buses = hw_recorder::take_log();
    seen.ports = test_door::take_log();
    return seen;
}

static std::string times(int count, const std::string &text) {
    std::string repeated;
    for (int i = 0; i < count; i++)
        repeated += text;
    return repeated;
}

// One reading of the plain switch: both of its records as limits, then its register. An active switch is
// abnormal and read three times.
static std::string smbus_reading(unsigned chip, unsigned bus) {
    return call_line("smbus_read %u %x 2d f0\n", chip, bus) +
           call_line("smbus_read %u %x 2c 46\n", chip, bus) +
           call_line("smbus_read %u %x 2d 42\n", chip, bus);
}

static const std::string isa_reading = "isa_read 2d f0\nisa_read 2c 46\nisa_read 2d 42\n";

static std::string smbus_reread(unsigned chip, unsigned bus) {
    return times(2, call_line("smbus_read %u %x 2d 42\n", chip, bus));
}

static const std::string isa_reread = "isa_read 2d 42\n";

static void expect_done(const outcome &seen, const std::string &buses, const std::string &ports,
                        const std::string &what) {
    EXPECT_EQ(seen.result, 0) << what;
    EXPECT_EQ(seen.printed, "Done.\n") << what;
    EXPECT_EQ(seen.errors, "") << what;
    EXPECT_EQ(seen.buses, buses) << what;
    EXPECT_EQ(seen.ports, ports) << what;
}

static std::string chip_name(unsigned chip, unsigned bus) {
    return call_line("chip %u on bus %x", chip, bus);
}

// ---- Chips that are cleared in a register

TEST(IntrusionRegister, BitsAreSetOverTheSmbus) {
    for (unsigned chip : {0u, 2u, 7u, 25u})
        for (unsigned bus : {1u, 8u, 9u, 3u}) { // the SMBus goes before the ports
            item_record item = intrusion(chip, bus);
            start(item, ACTIVE);
            outcome seen = reset(&item, bus & BUS_SMBUS_ANY); // no limits over the ports
            expect_done(seen,
                        times(3, smbus_reading(chip, bus)) + call_line("smbus_read 1 %x 2c 46\n", bus) +
                            call_line("smbus_write %x 2c 46 d5\n", bus) + smbus_reread(chip, bus),
                        "", chip_name(chip, bus));
            EXPECT_EQ(item.BusType, bus);
        }
}

TEST(IntrusionRegister, BitsAreSetOverThePorts) {
    for (unsigned chip : {0u, 2u, 7u, 25u}) {
        item_record item = intrusion(chip, 2);
        start(item, ACTIVE);
        expect_done(reset(&item), times(3, isa_reading) + "isa_read 2c 46\nisa_write 2c 46 d5\n" + isa_reread,
                    "", chip_name(chip, 2));
    }
}

// The clear asks the item's bus alone; the reading before it needs the system's too and fails.
TEST(IntrusionRegister, PortsThatTheSystemDoesNotName) {
    item_record item = intrusion(7, 2);
    start(item, ACTIVE);
    expect_done(reset(&item, 1), "isa_read 2c 46\nisa_write 2c 46 d5\n" + isa_reread, "", "system bus 1");
}

TEST(IntrusionRegister, NoBusIsAFailure) {
    for (unsigned chip : {0u, 2u, 7u, 25u, 13u, 15u, 19u, 22u, 24u, 28u}) {
        item_record item = intrusion(chip, 4);
        start(item, ACTIVE);
        outcome seen = reset(&item);
        EXPECT_NE(seen.result, 0) << chip;
        EXPECT_EQ(seen.printed, "Failed.\n") << chip;
        EXPECT_EQ(seen.buses + seen.ports, "") << chip;
    }
}

// ---- Chips that are cleared by a pulse

TEST(IntrusionPulse, BitsAreSetAndClearedOverTheSmbus) {
    for (unsigned chip : {13u, 15u, 19u, 22u, 24u, 28u})
        for (unsigned bus : {1u, 8u, 3u}) {
            item_record item = intrusion(chip, bus);
            start(item, ACTIVE);
            expect_done(reset(&item, bus & BUS_SMBUS_ANY), // no limits over the ports
                        times(3, smbus_reading(chip, bus)) +
                            call_line("smbus_read %u %x 2c 46\n", chip, bus) +
                            call_line("smbus_write %x 2c 46 d5\n", bus) +
                            call_line("smbus_write %x 2c 46 15\n", bus) + smbus_reread(chip, bus),
                        "", chip_name(chip, bus));
        }
}

TEST(IntrusionPulse, BitsAreSetAndClearedOverThePorts) {
    for (unsigned chip : {13u, 15u, 19u, 22u, 24u, 28u}) {
        item_record item = intrusion(chip, 2);
        start(item, ACTIVE);
        expect_done(reset(&item),
                    times(3, isa_reading) + "isa_read 2c 46\nisa_write 2c 46 d5\nisa_write 2c 46 15\n" +
                        isa_reread,
                    "", chip_name(chip, 2));
    }
}

TEST(IntrusionPulse, PortsThatTheSystemDoesNotName) {
    item_record item = intrusion(28, 2);
    start(item, ACTIVE);
    outcome seen = reset(&item, 1);
    EXPECT_NE(seen.result, 0);
    EXPECT_EQ(seen.printed, "Failed.\n");
    EXPECT_EQ(seen.buses, "");
}

// ---- Chips whose clear goes over the SMBus whatever their own bus is

TEST(IntrusionOverSmbus, ItemIsOnBus8Afterwards) {
    for (unsigned chip : {17u, 23u})
        for (unsigned bus : {1u, 2u, 8u}) {
            item_record item = intrusion(chip, bus);
            start(item, ACTIVE);
            expect_done(reset(&item),
                        times(3, bus == 2 ? isa_reading : smbus_reading(chip, bus)) +
                            "smbus_read 1 1 2c 46\nsmbus_write 1 2c 46 d5\n" + smbus_reread(chip, 8),
                        "", chip_name(chip, bus));
            EXPECT_EQ(item.BusType, 8u) << chip_name(chip, bus);
        }
}

TEST(IntrusionOverSmbus, ItemIsOnBus8AfterAFailureToo) {
    for (unsigned chip : {17u, 23u}) {
        item_record item = intrusion(chip, 1);
        start(item, ACTIVE);
        hw_recorder::fail("smbus_write 1 2c 46 d5");
        outcome seen = reset(&item);
        EXPECT_NE(seen.result, 0) << chip;
        EXPECT_EQ(seen.printed, "Failed.\n") << chip;
        EXPECT_EQ(item.BusType, 8u) << chip;
    }
}

// ---- Configuration registers of the Super I/O chip

static const std::string grants = "ioperm 002e 1 1\nioperm 002f 1 1\n";
static const std::string enter = "outb 002e 87\noutb 002e 87\n";
static const std::string leave = "outb 002e aa\n";

static std::string identification(unsigned id) {
    return grants + enter + "outb 002e 07\noutb 002f 00\n" +
           call_line("outb 002e 20\ninb 002f %02x\noutb 002e 21\ninb 002f %02x\n", id >> 8, id & 0xFF) +
           leave;
}

// The register at e6 of logical device 0a is 55; `set` is what the first write sends. 55 & bf = 15.
static std::string configuration_pulse(const std::string &set) {
    return grants + enter + "outb 002e 07\noutb 002f 0a\noutb 002e e6\ninb 002f 55\nsleep 1\noutb 002e e6\n" +
           set + "sleep 1\noutb 002e e6\noutb 002f 15\n" + leave;
}

TEST(IntrusionConfiguration, Chips10And12) {
    const struct {
        unsigned chip;
        std::string set;
    } rows[] = {{10, "outb 002f 55\n"},  // 55 | 40
                {12, "outb 002f 75\n"}}; // 55 | 20
    for (const auto &row : rows) {
        item_record item = intrusion(row.chip, 2);
        start(item, ACTIVE);
        expect_done(reset(&item), times(3, isa_reading) + isa_reread, configuration_pulse(row.set),
                    chip_name(row.chip, 2));
        item = intrusion(row.chip, 1);
        start(item, ACTIVE);
        expect_done(reset(&item), times(3, smbus_reading(row.chip, 1)) + smbus_reread(row.chip, 1),
                    configuration_pulse(row.set), chip_name(row.chip, 1));
    }
}

// What is written for each value of the register: the bit on top of it, then the value without bit 6,
// whatever bit was set.
TEST(IntrusionConfiguration, ValuesWritten) {
    const struct {
        unsigned chip;
        uint8_t saved;
        const char *first;
        const char *second;
    } rows[] = {
        {1, 0x00, "outb 002f 40\n", "outb 002f 00\n"},
        {1, 0xFF, "outb 002f ff\n", "outb 002f bf\n"},
        {10, 0x81, "outb 002f c1\n", "outb 002f 81\n"},
        {10, 0x40, "outb 002f 40\n", "outb 002f 00\n"},
        {12, 0x00, "outb 002f 20\n", "outb 002f 00\n"},
        {12, 0x60, "outb 002f 60\n", "outb 002f 20\n"},
        {12, 0xFF, "outb 002f ff\n", "outb 002f bf\n"},
        {13, 0xF1, "", "outb 002f b1\n"}, // no bit of its own
        {0, 0x40, "", "outb 002f 00\n"},
    };
    for (const auto &row : rows) {
        test_door::reset();
        test_door::on_inb = [&row](uint16_t) { return row.saved; };
        EXPECT_EQ(W83627HF_A_Intru_IO_Clear(row.chip), 0) << row.chip;
        EXPECT_EQ(test_door::take_log(), grants + enter + "outb 002e 07\noutb 002f 0a\noutb 002e e6\n" +
                                             call_line("inb 002f %02x\n", row.saved) +
                                             "sleep 1\noutb 002e e6\n" + row.first +
                                             "sleep 1\noutb 002e e6\n" + row.second + leave)
            << "chip " << row.chip << " value " << int{row.saved};
    }
}

TEST(IntrusionConfiguration, FirstSiliconOfChip1) {
    item_record item = intrusion(1, 2);
    start(item, ACTIVE, 0x5241);
    expect_done(reset(&item), times(3, isa_reading) + isa_reread,
                identification(0x5241) + configuration_pulse("outb 002f 55\n"), "id 5241");
}

TEST(IntrusionConfiguration, LaterSiliconOfChip1) {
    for (unsigned id : {0x5217u, 0x5242u, 0x5141u, 0x4152u, 0xFFFFu, 0u}) {
        item_record item = intrusion(1, 2);
        start(item, ACTIVE, static_cast<uint16_t>(id));
        expect_done(reset(&item), times(3, isa_reading) + "isa_read 2c 46\nisa_write 2c 46 d5\n" + isa_reread,
                    identification(id), call_line("id %x", id));
    }
    item_record item = intrusion(1, 1);
    start(item, ACTIVE);
    expect_done(reset(&item),
                times(3, smbus_reading(1, 1)) + "smbus_read 1 1 2c 46\nsmbus_write 1 2c 46 d5\n" +
                    smbus_reread(1, 1),
                identification(0x5217), "on the SMBus");
}

TEST(IntrusionConfiguration, DeviceId) {
    item_record item = intrusion(1, 2);
    start(item, ACTIVE, 0x5241);
    uint32_t id = 0;
    EXPECT_EQ(get_W83627HF_Device_ID(&id), 0);
    EXPECT_EQ(id, 0x5241u);
    EXPECT_EQ(test_door::take_log(), identification(0x5241));
}

// Each access before the last write, which leaves the configuration mode.
TEST(IntrusionConfiguration, FailingAccess) {
    for (int nth = 1; nth <= 9; nth++) {
        item_record item = intrusion(10, 2);
        start(item, ACTIVE);
        test_door::fail_call("outb", nth, EPERM);
        outcome seen = reset(&item);
        EXPECT_NE(seen.result, 0) << nth;
        EXPECT_EQ(seen.printed, "Failed.\n") << nth;
        EXPECT_EQ(seen.buses, times(3, isa_reading)) << nth << ": no new reading";
    }
    item_record item = intrusion(10, 2);
    start(item, ACTIVE);
    test_door::fail_call("inb", 1, EPERM);
    outcome seen = reset(&item);
    EXPECT_NE(seen.result, 0);
    EXPECT_EQ(seen.printed, "Failed.\n");
    EXPECT_EQ(seen.ports.find("outb 002f 15"), std::string::npos) << "nothing is written that was not read";
}

TEST(IntrusionConfiguration, FailingIdentification) {
    for (int nth = 1; nth <= 6; nth++) {
        item_record item = intrusion(1, 2);
        start(item, ACTIVE, 0x5241);
        test_door::fail_call("outb", nth, EPERM);
        outcome seen = reset(&item);
        EXPECT_NE(seen.result, 0) << nth;
        EXPECT_EQ(seen.printed, "Failed.\n") << nth;
        EXPECT_EQ(seen.buses, times(3, isa_reading)) << nth << ": no clear";
    }
    for (int nth : {1, 2}) {
        item_record item = intrusion(1, 2);
        start(item, ACTIVE, 0x5241);
        test_door::fail_call("inb", nth, EPERM);
        EXPECT_NE(reset(&item).result, 0) << nth;
        uint32_t id = 0x1234;
        start(item, ACTIVE, 0x5241);
        test_door::fail_call("inb", nth, EPERM);
        EXPECT_NE(get_W83627HF_Device_ID(&id), 0) << nth;
        EXPECT_EQ(id, 0x1234u) << nth;
    }
}

TEST(IntrusionConfiguration, PortsThatAreNotGranted) {
    item_record item = intrusion(12, 2);
    start(item, ACTIVE);
    test_door::grant_all_ports(false);
    test_door::fail_call("ioperm", 1, EPERM); // the index port
    outcome seen = reset(&item);
    EXPECT_NE(seen.result, 0);
    EXPECT_EQ(seen.printed, "Failed.\n");
    start(item, ACTIVE);
    test_door::grant_all_ports(false); // the clear grants them itself
    EXPECT_EQ(reset(&item).result, 0);
}

// ---- Chip 8 in I/O space: 42 + c = 4e and 46 + c = 52. Its reading always fails.

TEST(IntrusionIoSpace, Chip8) {
    item_record item = intrusion(8, 0);
    start(item, ACTIVE);
    expect_done(reset(&item), "", "inb 004e 55\ninb 0052 55\noutb 0052 d5\noutb 0051 2d\ninb 004e 55\n",
                "chip 8");
}

TEST(IntrusionIoSpace, FailingAccess) {
    item_record item = intrusion(8, 0);
    start(item, ACTIVE);
    test_door::fail_call("inb", 2, EPERM); // after the reading's
    outcome seen = reset(&item);
    EXPECT_NE(seen.result, 0);
    EXPECT_EQ(seen.printed, "Failed.\n");
    EXPECT_EQ(seen.ports, "inb 004e 55\ninb 0052 failed\n");

    start(item, ACTIVE);
    test_door::fail_call("outb", 1, EPERM);
    seen = reset(&item);
    EXPECT_NE(seen.result, 0);
    EXPECT_EQ(seen.printed, "Failed.\n");
    EXPECT_EQ(seen.ports, "inb 004e 55\ninb 0052 55\noutb 0052 d5 failed\n");
}

TEST(IntrusionIoSpace, NewReadingDoesNotCount) {
    item_record item = intrusion(8, 0);
    start(item, ACTIVE);
    test_door::fail_call("outb", 2, EPERM);
    test_door::fail_call("inb", 3, EPERM);
    outcome seen = reset(&item);
    EXPECT_EQ(seen.result, 0);
    EXPECT_EQ(seen.printed, "Done.\n");
}

TEST(IntrusionIoSpace, SwitchBeyondThePortsIsNotReadAgain) {
    for (uint32_t base : {0xFFF4u, 0x10042u, 0xFFFFFFFFu}) {
        item_record item = intrusion(8, 0);
        item.Offset = base;
        start(item, ACTIVE);
        outcome seen = reset(&item);
        EXPECT_EQ(seen.result, 0) << base;
        EXPECT_EQ(seen.ports, "inb 0052 55\noutb 0052 d5\n") << base; // the clear, at the record's own base
    }
    item_record item = intrusion(8, 0);
    item.Offset = 0xFFF1; // the switch is the port 0xFFFD, but there is no bank at base + 15
    start(item, ACTIVE);
    EXPECT_EQ(reset(&item).ports, "inb fffd 55\ninb 0052 55\noutb 0052 d5\n");
}

TEST(IntrusionIoSpace, ClearAlone) {
    test_door::reset();
    test_door::on_inb = [](uint16_t) { return 0x0F; };
    EXPECT_EQ(NS87427_Intru_IO_Clear(0x21, 0x600), 0);
    EXPECT_EQ(test_door::take_log(), "inb 060c 0f\noutb 060c 2f\n");
}

// ---- Chip 30. Its limits are read in bank 1, its readings in bank 0; the switch is in register ca.

static const std::string smbus_30_reading = "smbus_write 1 2d ff 1\nsmbus_read 30 1 2d f0\n"
                                            "smbus_write 1 2d ff 1\nsmbus_read 30 1 2c 46\n"
                                            "smbus_write 1 2d ff 0\nsmbus_read 30 1 2d ca\n";
static const std::string smbus_30_clear =
    "smbus_write 1 2d ff 0\nsmbus_read 30 1 2d d4\nsmbus_write 1 2d d4 d5\n"
    "smbus_read 30 1 2d ca\nsmbus_read 30 1 2d ca\n";
static const std::string bmc_30_reading = "bmc_30_90 2d 1 f0\nbmc_30_90 2c 1 46\nbmc_30_90 2d 0 ca\n";

static void add_bmc() {
    hDevice = 1;
    hw_recorder::answer("bmc_30_90 2d 1 f0", 0);
    hw_recorder::answer("bmc_30_90 2c 1 46", 0);
    hw_recorder::answer("bmc_30_90 2d 0 ca", ACTIVE);
    hw_recorder::answer("bmc_30_90 2d 0 d4", 0x21);
}

TEST(IntrusionChip30, OverTheSmbus) {
    item_record item = intrusion(30, 1);
    start(item, ACTIVE);
    expect_done(reset(&item), times(3, smbus_30_reading) + smbus_30_clear + smbus_reread(30, 1), "",
                "no BMC");
    EXPECT_EQ(item.BusType, 1u);
}

TEST(IntrusionChip30, OverTheBmc) {
    item_record item = intrusion(30, 1);
    start(item, ACTIVE);
    add_bmc();
    // 21 | 80 = a1. The switch is read again over the SMBus.
    expect_done(reset(&item),
                times(3, bmc_30_reading) + "bmc_30_90 2d 0 d4\nbmc_30_91 2d 0 d4 a1\n" +
                    times(2, "bmc_30_90 2d 0 ca\n") + smbus_reread(30, 1),
                "", "BMC");
}

TEST(IntrusionChip30, BmcsWriteDoesNotCount) {
    item_record item = intrusion(30, 1);
    start(item, ACTIVE);
    add_bmc();
    hw_recorder::fail("bmc_30_91 2d 0 d4 a1");
    outcome seen = reset(&item);
    EXPECT_EQ(seen.result, 0);
    EXPECT_EQ(seen.printed, "Done.\n");
}

TEST(IntrusionChip30, BmcThatDoesNotReadGivesWayToTheSmbus) {
    item_record item = intrusion(30, 1);
    start(item, ACTIVE);
    add_bmc();
    hw_recorder::fail("bmc_30_90 2d 0 d4");
    expect_done(reset(&item),
                times(3, bmc_30_reading) + "bmc_30_90 2d 0 d4\n" + smbus_30_clear + smbus_reread(30, 1), "",
                "failing BMC");
}

TEST(IntrusionChip30, ResultIsThatOfTheLastRead) {
    item_record item = intrusion(30, 1);
    start(item, ACTIVE);
    hw_recorder::fail("smbus_read 30 1 2d ca");
    hw_recorder::answer_once("smbus_read 30 1 2d ca", 0); // first pass: bank 0 reads an open latch
    hw_recorder::answer_once("smbus_read 30 1 2d ca", 0);
    EXPECT_EQ(reset(&item).result, 0) << "the latch was not set";

    start(item, ACTIVE);
    hw_recorder::fail("smbus_read 30 1 2d ca"); // neither the reading nor the last read
    outcome seen = reset(&item);
    EXPECT_NE(seen.result, 0);
    EXPECT_EQ(seen.printed, "Failed.\n");

    start(item, ACTIVE);
    hw_recorder::fail("smbus_read 30 1 2d ca");
    for (int i = 0; i < 4; i++) // three readings and the first of the two reads
        hw_recorder::answer_once("smbus_read 30 1 2d ca", ACTIVE);
    seen = reset(&item);
    EXPECT_NE(seen.result, 0);
    EXPECT_EQ(seen.printed, "Failed.\n");
}

TEST(IntrusionChip30, WhatCannotBeReadIsNotWritten) {
    item_record item = intrusion(30, 1);
    start(item, ACTIVE);
    hw_recorder::fail("smbus_read 30 1 2d d4");
    outcome seen = reset(&item);
    EXPECT_NE(seen.result, 0);
    EXPECT_EQ(seen.printed, "Failed.\n");
    EXPECT_EQ(seen.buses.find("smbus_write 1 2d d4"), std::string::npos) << seen.buses;
}

TEST(IntrusionChip30, BankThatCannotBeSelectedEndsTheClear) {
    item_record item = intrusion(30, 1);
    start(item, ACTIVE);
    hw_recorder::fail("smbus_write 1 2d ff 0");
    outcome seen = reset(&item);
    EXPECT_NE(seen.result, 0);
    EXPECT_EQ(seen.printed, "Failed.\n");
    EXPECT_EQ(seen.buses.find("2d d4"), std::string::npos)
        << seen.buses; // it would be another bank's register
}

// ---- Chips that have no clear

static bool has_clear(unsigned chip) {
    static const std::set<unsigned> supported = {0,  1,  2,  7,  8,  10, 12, 13, 15,
                                                 17, 19, 22, 23, 24, 25, 28, 30};
    return supported.count(chip) != 0;
}

TEST(Intrusion, OtherChipsAreNotSupported) {
    for (unsigned chip = 0; chip <= 40; chip++) {
        if (has_clear(chip) || chip == 27)
            continue;
        for (unsigned bus : {1u, 2u}) {
            item_record item = intrusion(chip, bus);
            start(item, ACTIVE);
            outcome seen = reset(&item);
            EXPECT_EQ(seen.result, -1) << chip_name(chip, bus);
            EXPECT_EQ(seen.printed, "Failed.\n") << chip_name(chip, bus);
            EXPECT_EQ(seen.errors, "Warning: Non-supported chipset \"Chassis Intrusion\".\n")
                << chip_name(chip, bus);
            EXPECT_EQ(seen.buses.find("write"), std::string::npos) << chip_name(chip, bus) << seen.buses;
            EXPECT_EQ(seen.ports, "") << chip_name(chip, bus);
            EXPECT_EQ(item.BusType, bus) << chip_name(chip, bus);
        }
    }
}

TEST(Intrusion, SwitchThatNothingReadsIsNeverLatched) {
    item_record item = intrusion(27, 2);
    start(item, ACTIVE);
    expect_done(reset(&item), "isa_read 2d f0\nisa_read 2c 46\n" + isa_reread, "", "chip 27");
}

// ---- The latch is not set: read once, nothing written, read again

TEST(Intrusion, LatchThatIsNotSetIsLeftAlone) {
    for (unsigned chip = 0; chip <= 34; chip++) {
        // Switches read elsewhere: 8 and 34 cannot be read here, 30 over its banks, 4, 5, 11 by pins, 27
        // never.
        if (chip == 8 || chip == 34 || chip == 30 || chip == 4 || chip == 5 || chip == 11 || chip == 27)
            continue;
        item_record item = intrusion(chip, 1);
        start(item, INACTIVE);
        expect_done(reset(&item), smbus_reading(chip, 1) + smbus_reread(chip, 1), "", chip_name(chip, 1));
        EXPECT_EQ(item.BusType, 1u) << "chips 17 and 23 stay on their bus, too";
        item = intrusion(chip, 2);
        start(item, INACTIVE);
        expect_done(reset(&item), isa_reading + isa_reread, "", chip_name(chip, 2));
    }
}

TEST(Intrusion, UnsetLatchOfSwitchesReadElsewhere) {
    for (unsigned chip : {4u, 5u, 11u}) {
        item_record item = intrusion(chip, 0);
        start(item, INACTIVE);
        expect_done(reset(&item),
                    chip == 11 ? "sb_gpio 11 2d 42\n" : call_line("super_gpio %u 2d 42\n", chip), "",
                    chip_name(chip, 0));
    }
    item_record item = intrusion(30, 1);
    start(item, INACTIVE);
    expect_done(reset(&item), smbus_30_reading + smbus_reread(30, 1), "", "chip 30");
}

TEST(Intrusion, FailedReadingIsClearedAllTheSame) {
    item_record item = intrusion(7, 1);
    start(item, INACTIVE);
    hw_recorder::fail("smbus_read 7 1 2d 42");
    // A failed reading judges 0, which is normal: one pass. The new reading of the switch does not count.
    expect_done(reset(&item),
                smbus_reading(7, 1) + "smbus_read 1 1 2c 46\nsmbus_write 1 2c 46 d5\n" + smbus_reread(7, 1),
                "", "unreadable switch");
}

// State 2, inactive while the item that it refers to reads 0, is not 0.
TEST(Intrusion, StateTwoIsCleared) {
    item_record item = intrusion(7, 1);
    set_text(item.RefItemId, "Item_SWITCH1"); // itself: its reading fails, the reference stays 1
    start(item, INACTIVE);
    EXPECT_EQ(reset(&item).buses.find("write"), std::string::npos);
    set_text(item.RefItemId, "Item_SWITCH9"); // there is no such item: reads as 0
    start(item, INACTIVE);
    outcome seen = reset(&item);
    EXPECT_EQ(seen.result, 0);
    EXPECT_NE(seen.buses.find("smbus_write 1 2c 46 d5\n"), std::string::npos) << seen.buses;
}

// ---- The new reading of the switch

TEST(Intrusion, NewReadingOverThePortsIsTheResult) {
    item_record item = intrusion(7, 2);
    start(item, INACTIVE);
    hw_recorder::fail("isa_read 2d 42");
    hw_recorder::answer_once("isa_read 2d 42", INACTIVE);
    outcome seen = reset(&item);
    EXPECT_NE(seen.result, 0);
    EXPECT_EQ(seen.printed, "Done.\n") << "said before the switch is read again";
}

TEST(Intrusion, NewReadingOverTheSmbusIsDiscarded) {
    item_record item = intrusion(7, 1);
    start(item, INACTIVE);
    hw_recorder::fail("smbus_read 7 1 2d 42");
    hw_recorder::answer_once("smbus_read 7 1 2d 42", INACTIVE);
    outcome seen = reset(&item);
    EXPECT_EQ(seen.result, 0);
    EXPECT_EQ(seen.printed, "Done.\n");
    EXPECT_EQ(seen.buses, smbus_reading(7, 1) + smbus_reread(7, 1));
}

// ---- Failing accesses of the clear

TEST(Intrusion, FailingAccess) {
    const struct {
        unsigned chip;
        unsigned bus;
        const char *failing;
        const char *not_behind; // what must not be done then
    } rows[] = {
        {0, 1, "smbus_read 1 1 2c 46", "smbus_write"},
        {0, 1, "smbus_write 1 2c 46 d5", nullptr},
        {25, 2, "isa_write 2c 46 d5", nullptr},
        {17, 2, "smbus_read 1 1 2c 46", "smbus_write"},
        {13, 1, "smbus_read 13 1 2c 46", "smbus_write"},
        {13, 1, "smbus_write 1 2c 46 d5", "smbus_write 1 2c 46 15"},
        {13, 1, "smbus_write 1 2c 46 15", nullptr},
        {28, 2, "isa_read 2c 46", "isa_write"},
        {28, 2, "isa_write 2c 46 d5", "isa_write 2c 46 15"},
        {28, 2, "isa_write 2c 46 15", nullptr},
        {7, 2, "isa_read 2c 46", "isa_write"},
        {30, 1, "smbus_write 1 2d d4 d5", nullptr},
    };
    for (const auto &row : rows) {
        item_record item = intrusion(row.chip, row.bus);
        start(item, ACTIVE);
        hw_recorder::fail(row.failing);
        outcome seen = reset(&item);
        EXPECT_NE(seen.result, 0) << row.chip << " " << row.failing;
        EXPECT_EQ(seen.printed, "Failed.\n") << row.chip << " " << row.failing;
        EXPECT_NE(seen.buses.find(row.failing), std::string::npos) << seen.buses;
        if (row.not_behind != nullptr) {
            EXPECT_EQ(seen.buses.find(row.not_behind), std::string::npos) << row.chip << " " << seen.buses;
        }
    }
}

// ---- What is refused before any access

static void expect_refused(item_record item, int32_t parameter_count, const char *message) {
    start(item, ACTIVE);
    system_settings system = make_system(0xB);
    std::string printed;
    std::string errors = test_door::captured_stderr([&] {
        printed = test_door::captured_stdout([&] {
            EXPECT_EQ(reset_Intrusion(&system, &item, 1, parameters, parameter_count, &item), -1) << message;
        });
    });
    EXPECT_EQ(errors, message);
    EXPECT_EQ(printed, "") << message;
    EXPECT_EQ(hw_recorder::take_log() + test_door::take_log(), "") << message;
}

TEST(IntrusionRefused, RecordIsMissing) {
    const char message[] = "Error: \"Chassis Intrusion\" is not defined.\n";
    item_record item = intrusion(7, 1);
    expect_refused(item, 0, message);
    expect_refused(item, -1, message);
    expect_refused(item, 1, message); // SWITCH1A alone
    set_text(item.ParaIndex2, "SWITCH9C");
    expect_refused(item, 3, message);
    set_text(item.ParaIndex2, "");
    expect_refused(item, 3, message);
    item.Cat = CAT_FAN; // the record is asked first
    expect_refused(item, 3, message);
}

TEST(IntrusionRefused, NotASwitchOrNoBits) {
    const char message[] = "Warning: To reset \"Chassis Intrusion\" is not allowed.\n";
    for (uint32_t cat : {0u, 1u, 2u, 4u, 255u}) {
        item_record item = intrusion(7, 1);
        item.Cat = cat;
        expect_refused(item, 3, message);
    }
    for (unsigned chip = 0; chip <= 40; chip++) {
        item_record item = intrusion(chip, 1);
        set_text(item.ParaIndex2, "SWITCH2C");
        expect_refused(item, 3, message);
    }
}

TEST(Intrusion, RecordIsFoundInAnyCase) {
    item_record item = intrusion(7, 1);
    set_text(item.ParaIndex2, "switch1c");
    start(item, ACTIVE);
    EXPECT_EQ(reset(&item).result, 0);
}

TEST(Intrusion, FirstOfTwoRecordsCounts) {
    const parameter_record twice[] = {
        make_parameter("SWITCH1A", 0x2D, 0xF0, 0x10),
        make_parameter("SWITCH1C", 0x2C, 0x46, 0xC0),
        make_parameter("SWITCH1C", 0x2C, 0x47, 0x01),
    };
    item_record item = intrusion(7, 1);
    start(item, ACTIVE);
    system_settings system = make_system(1);
    test_door::captured_stdout(
        [&] { EXPECT_EQ(reset_Intrusion(&system, &item, 1, twice, std::size(twice), &item), 0); });
    EXPECT_NE(hw_recorder::take_log().find("smbus_write 1 2c 46 d5\n"), std::string::npos);
}

TEST(IntrusionIoSpace, ABaseBeyondThePortsIsNotTouched) {
    test_door::reset();
    EXPECT_NE(NS87427_Intru_IO_Clear(0x10, 0x10080), 0);
    EXPECT_NE(NS87427_Intru_IO_Clear(0x10, 0xFFF4), 0); // the register lies at base + 12
    EXPECT_EQ(test_door::take_log(), "");
    EXPECT_EQ(NS87427_Intru_IO_Clear(0x10, 0xFFF3), 0);
    EXPECT_EQ(test_door::take_log(), "inb ffff ff\noutb ffff ff\n");
}
