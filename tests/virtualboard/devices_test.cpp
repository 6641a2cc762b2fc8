// What a device answers: registers with their motion, chips behind ports.
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
    EXPECT_EQ(write_cell(&c, 0, 7), 0);
    EXPECT_EQ(value_at(&c, 100), 7);
}

TEST(Cell, AReadOnlyOneDoesNot) {
    cell c;
    c.value = 84;
    c.read_only = true;
    EXPECT_EQ(write_cell(&c, 0, 7), 0);
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

TEST(Cell, StepsSwingsAndListsClearTheirBitsOnReadToo) {
    cell steps;
    steps.steps = {{0, 0x01}, {30, 0x13}, {60, 0x13}};
    steps.clears_on_read = 0x10;
    EXPECT_EQ(value_at(&steps, 0), 0x01);
    EXPECT_EQ(value_at(&steps, 30), 0x13);
    EXPECT_EQ(value_at(&steps, 31), 0x03); // until the next step
    EXPECT_EQ(value_at(&steps, 61), 0x13); // the same value, but it was set again
    EXPECT_EQ(value_at(&steps, 62), 0x03);

    cell list;
    list.successive = {0x10, 0x11};
    list.clears_on_read = 0x01;
    for (int expected : {0x10, 0x11, 0x10, 0x10}) // the last one is what stays
        EXPECT_EQ(value_at(&list, 0), expected);

    cell swing; // a degree a second
    swing.swing_low = 16;
    swing.swing_high = 36;
    swing.period_s = 40;
    swing.clears_on_read = 0x10;
    EXPECT_EQ(value_at(&swing, 0), 16);
    EXPECT_EQ(value_at(&swing, 0.1), 0);
    EXPECT_EQ(value_at(&swing, 1), 17);
}

TEST(Cell, WhatIsWrittenStaysUntilTheRegisterMovesOn) {
    cell steps;
    steps.steps = {{0, 1}, {30, 3}};
    EXPECT_EQ(write_cell(&steps, 10, 9), 0);
    EXPECT_EQ(value_at(&steps, 20), 9);
    EXPECT_EQ(write_cell(&steps, 31, 8), 0); // after the step, not before it
    EXPECT_EQ(value_at(&steps, 40), 8);

    cell list;
    list.successive = {1, 2};
    write_cell(&list, 0, 9);
    EXPECT_EQ(value_at(&list, 0), 1);
    EXPECT_EQ(value_at(&list, 0), 2);
    write_cell(&list, 0, 9);
    EXPECT_EQ(value_at(&list, 0), 9);

    cell swing;
    swing.swing_low = 10;
    swing.swing_high = 30;
    swing.period_s = 40;
    write_cell(&swing, 0, 99);
    EXPECT_EQ(value_at(&swing, 0.1), 99);
    EXPECT_EQ(value_at(&swing, 1), 11);
}

// A latch that is set at second 30, cleared at 40 and set again at 60.
TEST(Cell, AClearedLatchStaysClearedUntilItIsSetAgain) {
    cell c;
    c.steps = {{0, 0}, {30, 0x12}, {60, 0x12}};
    EXPECT_EQ(value_at(&c, 31), 0x12);
    clear_in_cell(&c, 40, 0x10);
    EXPECT_EQ(value_at(&c, 41), 0x02);
    EXPECT_EQ(value_at(&c, 59), 0x02);
    EXPECT_EQ(value_at(&c, 60), 0x12);
}

TEST(Cell, ALatchThatIsClearedBeforeItIsSetIsSetAllTheSame) {
    cell c;
    c.steps = {{0, 0}, {30, 0x10}};
    clear_in_cell(&c, 10, 0x10);
    EXPECT_EQ(value_at(&c, 30), 0x10);
    clear_in_cell(&c, 35, 0x10); // it was set without anybody looking
    EXPECT_EQ(value_at(&c, 36), 0);
}

TEST(Cell, AFailingOneLeavesTheValueAlone) {
    cell c;
    c.fails = true;
    uint8_t value = 0xEE;
    EXPECT_EQ(read_cell(&c, 0, &value), -1);
    EXPECT_EQ(value, 0xEE);
    EXPECT_EQ(write_cell(&c, 0, 1), -1);
}

static monitor_chip make_monitor() {
    monitor_chip chip;
    chip.index_port = 0x295;
    chip.data_port = 0x296;
    chip.chip.bank_mask = 0x07;
    chip.chip.common[0x20].value = 1;
    chip.chip.common[0x50].value = 2;
    chip.chip.banks[1][0x50].value = 3;
    return chip;
}

static int monitor_read(monitor_chip *chip, uint8_t reg) {
    EXPECT_EQ(monitor_outb(chip, 0x295, 0, reg), ANSWERED);
    uint8_t value = 0;
    return monitor_inb(chip, 0x296, 0, &value) == ANSWERED ? value : -1;
}

static port_answer monitor_write(monitor_chip *chip, uint8_t reg, uint8_t value) {
    EXPECT_EQ(monitor_outb(chip, 0x295, 0, reg), ANSWERED);
    return monitor_outb(chip, 0x296, 0, value);
}

TEST(Monitor, ABankHidesTheCommonRegister) {
    monitor_chip chip = make_monitor();
    EXPECT_EQ(monitor_read(&chip, 0x50), 2);
    EXPECT_EQ(monitor_write(&chip, 0x4E, 0x81), ANSWERED); // bit 7 is not part of the bank
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
    EXPECT_EQ(monitor_outb(&chip, 0x297, 0, 0), NOT_MINE);
}

TEST(Monitor, ALatchIsClearedByItsBitOnly) {
    monitor_chip chip = make_monitor();
    chip.chip.common[0x42].value = 0x12;
    chip.chip.common[0x46].latch = {.written_bits = 0x80, .bank = 0, .reg = 0x42, .cleared_bits = 0x10};
    monitor_write(&chip, 0x46, 0x01);
    EXPECT_EQ(monitor_read(&chip, 0x42), 0x12);
    monitor_write(&chip, 0x46, 0x81);
    EXPECT_EQ(monitor_read(&chip, 0x42), 0x02);
}

TEST(Monitor, ALatchMayLieInABank) {
    monitor_chip chip = make_monitor();
    chip.chip.banks[1][0x42].value = 0x10;
    chip.chip.common[0x46].latch = {.written_bits = 0x80, .bank = 1, .reg = 0x42, .cleared_bits = 0x10};
    monitor_write(&chip, 0x46, 0x80);
    monitor_write(&chip, 0x4E, 1);
    EXPECT_EQ(monitor_read(&chip, 0x42), 0);
}

TEST(Monitor, WithoutBanksItHasNoBankSelectRegister) {
    monitor_chip chip = make_monitor();
    chip.chip.bank_mask = 0;
    EXPECT_EQ(monitor_read(&chip, 0x4E), -1);
    EXPECT_EQ(monitor_read(&chip, 0x50), 2);
}

TEST(Monitor, AFailingOneFailsWithEveryRegisterThatItHas) {
    monitor_chip chip = make_monitor();
    chip.chip.fails = true;
    uint8_t value = 0xEE;
    for (uint8_t reg : {0x20, 0x4E, 0x50}) {
        EXPECT_EQ(monitor_outb(&chip, 0x295, 0, reg), ANSWERED);
        EXPECT_EQ(monitor_inb(&chip, 0x296, 0, &value), FAILED) << int(reg);
        EXPECT_EQ(monitor_outb(&chip, 0x296, 0, 7), FAILED) << int(reg);
    }
    EXPECT_EQ(value, 0xEE);
    EXPECT_EQ(chip.chip.common[0x20].value, 1);
    EXPECT_EQ(monitor_write(&chip, 0x99, 1), NO_REGISTER);
}

// An access that names its bank itself neither looks at the bank-select register nor moves it.
TEST(BankedChip, AnAccessInABankLeavesTheSelectedBankAlone) {
    banked_chip chip;
    chip.bank_mask = 0x07;
    chip.common[0x4E].value = 2;
    chip.common[0x20].value = 1;
    chip.banks[1][0x50].value = 3;
    chip.banks[2][0x50].value = 4;
    const struct {
        int bank;
        uint8_t reg;
        port_answer answer;
        int value;
    } table[] = {{1, 0x50, ANSWERED, 3}, {2, 0x50, ANSWERED, 4},   {3, 0x50, NO_REGISTER, 0xEE},
                 {1, 0x20, ANSWERED, 1}, {300, 0x20, ANSWERED, 1}, // common registers answer in whatever bank
                 {1, 0x4E, ANSWERED, 2}};
    for (const auto &row : table) {
        uint8_t value = 0xEE;
        EXPECT_EQ(chip_read_in_bank(&chip, row.bank, row.reg, 0, &value), row.answer)
            << row.bank << " " << int(row.reg);
        EXPECT_EQ(value, row.value) << row.bank << " " << int(row.reg);
    }
    EXPECT_EQ(chip_write_in_bank(&chip, 1, 0x50, 0, 9), ANSWERED);
    EXPECT_EQ(chip_write_in_bank(&chip, 3, 0x50, 0, 9), NO_REGISTER);
    EXPECT_EQ(chip.banks[1][0x50].value, 9);
    EXPECT_EQ(chip.banks[2][0x50].value, 4);
    EXPECT_EQ(chip.common[0x4E].value, 2);
}

TEST(BankedChip, ALatchIsClearedFromAnAccessInABank) {
    banked_chip chip;
    chip.bank_mask = 0x07;
    chip.banks[0][0xCA].steps = {{0, 0x80}};
    chip.banks[0][0xD4].latch = {.written_bits = 0x80, .bank = 0, .reg = 0xCA, .cleared_bits = 0x80};
    uint8_t value = 0;
    EXPECT_EQ(chip_read_in_bank(&chip, 0, 0xCA, 5, &value), ANSWERED);
    EXPECT_EQ(value, 0x80);
    EXPECT_EQ(chip_write_in_bank(&chip, 0, 0xD4, 5, 0x80), ANSWERED);
    chip_read_in_bank(&chip, 0, 0xCA, 6, &value);
    EXPECT_EQ(value, 0);
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
        EXPECT_EQ(superio_outb(chip, 0x2E, 0, value), ANSWERED);
}

TEST(SuperIO, TwoKeysOpenItAndOneDoesNot) {
    superio_chip chip = make_superio();
    superio_out(&chip, {0x20});
    EXPECT_EQ(superio_value(&chip), 0xFF);
    superio_out(&chip, {0x87, 0x20}); // the second write is not a key
    EXPECT_EQ(superio_value(&chip), 0xFF);
    superio_out(&chip, {0x87, 0x87, 0x20});
    EXPECT_EQ(superio_value(&chip), 0x52);
    superio_out(&chip, {0xAA});
    EXPECT_EQ(superio_value(&chip), 0xFF);
}

TEST(SuperIO, RegistersFrom0x30BelongToTheLogicalDevice) {
    superio_chip chip = make_superio();
    superio_out(&chip, {0x87, 0x87, 0xE6});
    EXPECT_EQ(superio_value(&chip), -1); // device 0 has no such register
    superio_out(&chip, {0x07});
    superio_outb(&chip, 0x2F, 0, 10);
    EXPECT_EQ(superio_value(&chip), 10);
    superio_out(&chip, {0xE6});
    EXPECT_EQ(superio_value(&chip), 0x40);
    superio_outb(&chip, 0x2F, 0, 0x60);
    EXPECT_EQ(superio_value(&chip), 0x60);
    superio_out(&chip, {0xAA});
    superio_outb(&chip, 0x2F, 0, 0x11); // closed: not taken
    EXPECT_EQ(chip.logical_devices[10][0xE6].value, 0x60);
}

TEST(SuperIO, ABoardWithoutOneDoesNotAnswer) {
    superio_chip none;
    uint8_t value;
    EXPECT_EQ(superio_inb(&none, 0x2F, 0, &value), NOT_MINE);
    EXPECT_EQ(superio_outb(&none, 0, 0, 0), NOT_MINE);
}

TEST(PortBlock, AnswersAtBasePlusOffset) {
    port_block block;
    block.base = 0x600;
    block.chip.common[15].value = 0xE0;
    uint8_t value = 0;
    EXPECT_EQ(block_inb(&block, 0x60F, 0, &value), ANSWERED);
    EXPECT_EQ(value, 0xE0);
    EXPECT_EQ(block_outb(&block, 0x60F, 0, 0xE1), ANSWERED);
    EXPECT_EQ(block.chip.common[15].value, 0xE1);
    for (uint16_t port : {0x5FF, 0x600, 0x610, 0x70F})
        EXPECT_EQ(block_inb(&block, port, 0, &value), NOT_MINE) << port;
}

TEST(SuperIO, OneThatIsAlwaysOpenNeedsNoKeys) {
    superio_chip chip = make_superio();
    chip.always_open = true;
    superio_out(&chip, {0x20});
    EXPECT_EQ(superio_value(&chip), 0x52);
    superio_out(&chip, {0xAA, 0x20}); // nor does it close
    EXPECT_EQ(superio_value(&chip), 0x52);
}

// Bank-select register and registers by bank, as the NS87427 has them.
static port_block make_banked_block() {
    port_block block;
    block.base = 0x600;
    block.chip.bank_reg = 0x0F;
    block.chip.bank_mask = 0x1F;
    block.chip.common[0x0F].value = 0xA0;
    block.chip.banks[0][0x12].value = 1;
    block.chip.banks[1][0x12].value = 2;
    return block;
}

TEST(PortBlock, ItsBankSelectRegisterChoosesTheRegistersBehindThePorts) {
    port_block block = make_banked_block();
    uint8_t value = 0;
    block_inb(&block, 0x612, 0, &value);
    EXPECT_EQ(value, 1);
    EXPECT_EQ(block_outb(&block, 0x60F, 0, 0xA1), ANSWERED); // bits 5 to 7 are not part of the bank
    block_inb(&block, 0x612, 0, &value);
    EXPECT_EQ(value, 2);
    block_outb(&block, 0x60F, 0, 0x02);
    EXPECT_EQ(block_inb(&block, 0x612, 0, &value), NOT_MINE);
}

TEST(PortBlock, FourNeighboursMakeADwordLowestByteFirst) {
    port_block block;
    block.base = 0x800;
    block.chip.common[4].value = 0x11;
    block.chip.common[5].value = 0x22;
    block.chip.common[6].value = 0x33;
    block.chip.common[7].value = 0x44;
    uint32_t value = 0;
    EXPECT_EQ(block_inl(&block, 0x804, 0, &value), ANSWERED);
    EXPECT_EQ(value, 0x44332211u);
    EXPECT_EQ(block_outl(&block, 0x804, 0, 0x55667788), ANSWERED);
    EXPECT_EQ(block.chip.common[4].value, 0x88);
    EXPECT_EQ(block.chip.common[7].value, 0x55);
    value = 0xEE;
    EXPECT_EQ(block_inl(&block, 0x805, 0, &value), NOT_MINE); // 0x808 belongs to no device
    EXPECT_EQ(value, 0xEEu);
}

TEST(PortBlock, AFailingOneFailsWithItsOwnPortsOnly) {
    port_block block;
    block.base = 0x800;
    block.chip.common[2].value = 0xF7;
    block.chip.fails = true;
    uint8_t value = 0;
    EXPECT_EQ(block_inb(&block, 0x802, 0, &value), FAILED);
    EXPECT_EQ(block_outb(&block, 0x802, 0, 0), FAILED);
    EXPECT_EQ(block_inb(&block, 0x803, 0, &value), NOT_MINE);
}
