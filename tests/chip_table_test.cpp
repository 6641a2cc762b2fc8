// The chip table tests itself: a row that contradicts itself fails here, before any machine is near.
#include "items/chips.h"

#include <cstdint>
#include <gtest/gtest.h>
#include <iterator>

#include "items/chip_routines.h"

TEST(ChipTable, RowsStandInOrderOfTheirCodes) {
    ASSERT_EQ(CHIP_COUNT, 35);
    for (uint32_t code = 0; code < CHIP_COUNT; code++) {
        EXPECT_EQ(all_chips()[code].code, code);
        EXPECT_EQ(chip_of(code), &all_chips()[code]);
    }
}

TEST(ChipTable, CodeBeyondTheTableGetsAPlainRow) {
    for (uint32_t code : {35u, 36u, 0xFFu, 0x100u, 0xFFFFFFFFu}) {
        const chip *row = chip_of(code);
        ASSERT_NE(row, nullptr) << code;
        EXPECT_EQ(row->volts, nullptr) << code;
        EXPECT_FALSE(row->bank.has_register) << code;
        EXPECT_EQ(row->bank.mask, 0u) << code;
        EXPECT_EQ(row->bank.banked, nullptr) << code;
        EXPECT_TRUE(row->fan.uses_divisor) << code;
        EXPECT_EQ(row->fan.numerator, 1350000u) << code;
        EXPECT_EQ(row->fan.valid_below, 255u) << code;
        EXPECT_TRUE(row->read_any == nullptr && row->read_fan == nullptr && row->read_temp == nullptr &&
                    row->read_switch == nullptr && row->read_smbus == nullptr)
            << code;
        EXPECT_TRUE(row->limit_fan == nullptr && row->limit_temp == nullptr && row->limit_smbus == nullptr)
            << code;
        EXPECT_TRUE(row->supports_text == nullptr && row->text == nullptr) << code;
    }
}

TEST(ChipTable, BankedRegistersOnlyWithABankField) {
    for (uint32_t code = 0; code < CHIP_COUNT; code++) {
        const bank_select &bank = all_chips()[code].bank;
        if (code == 8) { // a bank-select register without a field that could be corrected
            EXPECT_TRUE(bank.has_register);
            EXPECT_EQ(bank.mask, 0u);
            EXPECT_NE(bank.banked, nullptr);
            continue;
        }
        EXPECT_EQ(bank.banked != nullptr, bank.mask != 0) << "chip " << code;
        EXPECT_EQ(bank.has_register, bank.mask != 0) << "chip " << code;
        EXPECT_TRUE(bank.banked == nullptr || bank.wanted == nullptr) << "chip " << code << " has two rules";
    }
}

TEST(ChipTable, BankFieldIsBits0To2OfRegister4EOr00) {
    for (uint32_t code = 0; code < CHIP_COUNT; code++) {
        const bank_select &bank = all_chips()[code].bank;
        if (bank.mask == 0)
            continue;
        EXPECT_EQ(bank.mask, 0x07u) << "chip " << code;
        EXPECT_EQ(bank.reg, code == 17 || code == 23 ? 0x00u : 0x4Eu) << "chip " << code;
    }
}

TEST(ChipTable, BankedRegistersAreBytesInRisingOrder) {
    for (uint32_t code = 0; code < CHIP_COUNT; code++) {
        register_list banked = all_chips()[code].bank.banked;
        for (; banked != nullptr && *banked != NO_BANK; banked++) {
            EXPECT_LE(*banked, 0xFFu) << "chip " << code;
            if (banked[1] != NO_BANK) {
                EXPECT_LT(banked[0], banked[1]) << "chip " << code;
            }
        }
    }
}

TEST(ChipTable, TextRoutineExactlyWhereASupportTestIs) {
    for (uint32_t code = 0; code < CHIP_COUNT; code++) {
        EXPECT_EQ(all_chips()[code].supports_text != nullptr, all_chips()[code].text != nullptr)
            << "chip " << code;
    }
}

TEST(ChipTable, ChipsWithWordsForTemperatures) {
    struct {
        uint32_t code;
        decltype(chip::supports_text) supports;
        decltype(chip::text) text;
    } const rows[] = {
        {17, supportThermalText_W83793G, getThermalText_W83793G},
        {19, supportThermalText_W83627DHG, getThermalText_W83627DHG},
        {22, supportThermalText_W83627DHG, getThermalText_W83627DHG},
        {24, supportThermalText_W83627DHG, getThermalText_W83627DHG},
        {23, supportThermalText_W83795ADG, getThermalText_W83795ADG},
        {29, supportThermalText_W83795ADG, getThermalText_W83795ADG},
        {25, supportThermalText_IT8720F, getThermalText_IT8720F},
        {28, supportThermalText_NCT6776F, getThermalText_NCT6776F},
        {33, supportThermalText_NCT6776F, getThermalText_ME_NCT6776F},
        {30, supportThermalText_NCT7904D, getThermalText_NCT7904D},
        {32, supportThermalText_NCT7904D, getThermalText_ME_NCT7904D},
    };
    uint32_t with_text = 0;
    for (uint32_t code = 0; code < CHIP_COUNT; code++)
        with_text += all_chips()[code].text != nullptr;
    EXPECT_EQ(with_text, std::size(rows));
    for (auto row : rows) {
        EXPECT_EQ(chip_of(row.code)->supports_text, row.supports) << "chip " << row.code;
        EXPECT_EQ(chip_of(row.code)->text, row.text) << "chip " << row.code;
    }
}

TEST(ChipTable, FanScalesMakeSense) {
    for (uint32_t code = 0; code < CHIP_COUNT; code++) {
        const fan_scale &fan = all_chips()[code].fan;
        EXPECT_GT(fan.numerator, 0u) << "chip " << code;
        EXPECT_GT(fan.top_count, 0u) << "chip " << code;
        EXPECT_LT(fan.top_count, fan.valid_below)
            << "chip " << code << ": the top of its scale is no valid count";
        EXPECT_LE(fan.top_count, fan.bottom_count) << "chip " << code;
        EXPECT_NE(fan.top_count, fan.stopped_count) << "chip " << code;
    }
}

TEST(ChipTable, CountsOfTheBottomOfTheScale) {
    for (uint32_t code = 0; code < CHIP_COUNT; code++) {
        uint32_t expected = 255;
        if (code == 3 || code == 8)
            expected = 65280;
        else if (code == 17)
            expected = 4094;
        else if (code == 25)
            expected = 65535;
        else if (code == 28 || code == 30)
            expected = 8191;
        EXPECT_EQ(all_chips()[code].fan.bottom_count, expected) << "chip " << code;
    }
}
