#include <gtest/gtest.h>

#include "cell.h"
#include "monitor.h"
#include "port_block.h"
#include "superio_chip.h"

static int value_at(cell *c, double second) {
    uint8_t value = 0xEE;
    return read_cell(c, second, &value) == 0 ? value : -1;
}

TEST(Cell, AConstantKeepsWhatIsWritten) {
    cell c;
    c.value = 84;
    EXPECT_EQ(value_at(&c, 0), 84);
    EXPECT_EQ(write_cell(&c, 7), 0);
    EXPECT_EQ(value_at(&c, 100), 7);
}

TEST(Cell, AReadOnlyOneDoesNot) {
    cell c;
    c.value = 84;
    c.read_only = true;
    EXPECT_EQ(write_cell(&c, 7), 0);
    EXPECT_EQ(value_at(&c, 0), 84);
}

TEST(Cell, SuccessiveValuesEndAtTheLast) {
    cell c;
    c.successive = {1, 2, 3};
    for (int expected : {1, 2, 3, 3, 3})
        EXPECT_EQ(value_at(&c, 0), expected);
}

TEST(Cell, ASwingGoesUpAndDown) {
    cell c;
    c.swing_low = 40;
    c.swing_high = 60;
    c.period_s = 80;
    const struct {
        double second;
        int value;
    } table[] = {{0, 40},  {20, 50}, {40, 60},  {60, 50},
                 {80, 40}, {81, 41}, {8020, 50}}; // half a degree a second
    for (const auto &row : table)
        EXPECT_EQ(value_at(&c, row.second), row.value) << row.second;
}

TEST(Cell, StepsComeAtTheirSecond) {
    cell c;
    c.steps = {{0, 10}, {30, 20}, {60, 30}};
    const struct {
        double second;
        int value;
    } table[] = {{0, 10}, {29.9, 10}, {30, 20}, {59, 20}, {60, 30}, {1e6, 30}};
    for (const auto &row : table)
        EXPECT_EQ(value_at(&c, row.second), row.value) << row.second;
}

TEST(Cell, AReadClearsItsLatchedBits) {
    cell c;
    c.value = 0x13;
    c.clears_on_read = 0x03;
    EXPECT_EQ(value_at(&c, 0), 0x13);
    EXPECT_EQ(value_at(&c, 0), 0x10);
}

TEST(Cell, AFailingOneLeavesTheValueAlone) {
    cell c;
    c.fails = true;
    uint8_t value = 0xEE;
    EXPECT_EQ(read_cell(&c, 0, &value), -1);
    EXPECT_EQ(value, 0xEE);
    EXPECT_EQ(write_cell(&c, 1), -1);
}

static monitor_chip make_monitor() {
    monitor_chip chip;
    chip.index_port = 0x295;
    chip.data_port = 0x296;
    chip.common[0x20].value = 1;
    chip.common[0x50].value = 2;
    chip.banks[1][0x50].value = 3;
    return chip;
}

static int monitor_read(monitor_chip *chip, uint8_t reg) {
    EXPECT_EQ(monitor_outb(chip, 0x295, reg), ANSWERED);
    uint8_t value = 0;
    return monitor_inb(chip, 0x296, 0, &value) == ANSWERED ? value : -1;
}

static port_answer monitor_write(monitor_chip *chip, uint8_t reg, uint8_t value) {
    EXPECT_EQ(monitor_outb(chip, 0x295, reg), ANSWERED);
    return monitor_outb(chip, 0x296, value);
}

TEST(Monitor, ABankHidesTheCommonRegister) {
    monitor_chip chip = make_monitor();
    EXPECT_EQ(monitor_read(&chip, 0x50), 2);
    EXPECT_EQ(monitor_write(&chip, 0x4E, 0x81), ANSWERED); // bit 7 is no part of the bank
    EXPECT_EQ(monitor_read(&chip, 0x4E), 0x81);
    EXPECT_EQ(monitor_read(&chip, 0x50), 3);
    EXPECT_EQ(monitor_read(&chip, 0x20), 1);
    monitor_write(&chip, 0x4E, 0x02); // a bank without registers of its own
    EXPECT_EQ(monitor_read(&chip, 0x50), 2);
}

TEST(Monitor, UnknownRegistersAndPortsAreSaidToBe) {
    monitor_chip chip = make_monitor();
    uint8_t value;
    EXPECT_EQ(monitor_read(&chip, 0x99), -1);
    EXPECT_EQ(monitor_inb(&chip, 0x296, 0, &value), NO_REGISTER);
    EXPECT_EQ(monitor_write(&chip, 0x99, 1), NO_REGISTER);
    EXPECT_EQ(monitor_inb(&chip, 0x294, 0, &value), NOT_MINE);
    EXPECT_EQ(monitor_outb(&chip, 0x297, 0), NOT_MINE);
}

TEST(Monitor, ALatchIsClearedByItsBitOnly) {
    monitor_chip chip = make_monitor();
    chip.common[0x42].value = 0x12;
    chip.common[0x46].latch = {.written_bits = 0x80, .bank = 0, .reg = 0x42, .cleared_bits = 0x10};
    monitor_write(&chip, 0x46, 0x01);
    EXPECT_EQ(monitor_read(&chip, 0x42), 0x12);
    monitor_write(&chip, 0x46, 0x81);
    EXPECT_EQ(monitor_read(&chip, 0x42), 0x02);
}

TEST(Monitor, ALatchMayLieInABank) {
    monitor_chip chip = make_monitor();
    chip.banks[1][0x42].value = 0x10;
    chip.common[0x46].latch = {.written_bits = 0x80, .bank = 1, .reg = 0x42, .cleared_bits = 0x10};
    monitor_write(&chip, 0x46, 0x80);
    monitor_write(&chip, 0x4E, 1);
    EXPECT_EQ(monitor_read(&chip, 0x42), 0);
}

static superio_chip make_superio() {
    superio_chip chip;
    chip.index_port = 0x2E;
    chip.data_port = 0x2F;
    chip.global[0x20].value = 0x52;
    chip.logical_devices[10][0xE6].value = 0x40;
    return chip;
}

static int superio_value(superio_chip *chip) {
    uint8_t value = 0;
    return superio_inb(chip, 0x2F, 0, &value) == ANSWERED ? value : -1;
}

static void superio_out(superio_chip *chip, std::initializer_list<uint8_t> index_writes) {
    for (uint8_t value : index_writes)
        EXPECT_EQ(superio_outb(chip, 0x2E, value), ANSWERED);
}

TEST(SuperIO, TwoKeysOpenItAndOneDoesNot) {
    superio_chip chip = make_superio();
    superio_out(&chip, {0x20});
    EXPECT_EQ(superio_value(&chip), 0xFF);
    superio_out(&chip, {0x87, 0x20}); // the second write is no key
    EXPECT_EQ(superio_value(&chip), 0xFF);
    superio_out(&chip, {0x87, 0x87, 0x20});
    EXPECT_EQ(superio_value(&chip), 0x52);
    superio_out(&chip, {0xAA});
    EXPECT_EQ(superio_value(&chip), 0xFF);
}

TEST(SuperIO, RegistersFrom0x30BelongToTheLogicalDevice) {
    superio_chip chip = make_superio();
    superio_out(&chip, {0x87, 0x87, 0xE6});
    EXPECT_EQ(superio_value(&chip), -1); // device 0 has none
    superio_out(&chip, {0x07});
    superio_outb(&chip, 0x2F, 10);
    EXPECT_EQ(superio_value(&chip), 10);
    superio_out(&chip, {0xE6});
    EXPECT_EQ(superio_value(&chip), 0x40);
    superio_outb(&chip, 0x2F, 0x60);
    EXPECT_EQ(superio_value(&chip), 0x60);
    superio_out(&chip, {0xAA});
    superio_outb(&chip, 0x2F, 0x11); // closed: not taken
    EXPECT_EQ(chip.logical_devices[10][0xE6].value, 0x60);
}

TEST(SuperIO, ABoardWithoutOneDoesNotAnswer) {
    superio_chip none;
    uint8_t value;
    EXPECT_EQ(superio_inb(&none, 0x2F, 0, &value), NOT_MINE);
    EXPECT_EQ(superio_outb(&none, 0, 0), NOT_MINE);
}

TEST(PortBlock, AnswersAtBasePlusOffset) {
    port_block block;
    block.base = 0x600;
    block.registers[15].value = 0xE0;
    uint8_t value = 0;
    EXPECT_EQ(block_inb(&block, 0x60F, 0, &value), ANSWERED);
    EXPECT_EQ(value, 0xE0);
    EXPECT_EQ(block_outb(&block, 0x60F, 0xE1), ANSWERED);
    EXPECT_EQ(block.registers[15].value, 0xE1);
    for (uint16_t port : {0x5FF, 0x600, 0x610, 0x70F})
        EXPECT_EQ(block_inb(&block, port, 0, &value), NOT_MINE) << port;
}
