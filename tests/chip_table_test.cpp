// The chip table tests itself: a row that contradicts itself fails here, before any machine is near.
#include "chips/chips.h"

#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <regex>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "chips/families.h"
#include "items/convert.h"

// No code is left out and none is given twice.
TEST(ChipTable, EveryCodeHasOneRow) {
    ASSERT_EQ(CHIP_COUNT, 35);
    size_t rows = 0;
    for (const chip_family *family :
         {&plain_chips, &winbond_chips, &w83793g_chips, &w83795adg_chips, &nct6776f_chips, &nct7904d_chips,
          &it8720f_chips, &ns87427_chips, &adm1026_chips, &switch_chips, &bmc_only_chips})
        rows += family->count;
    EXPECT_EQ(rows, size_t{CHIP_COUNT});
    for (uint32_t code = 0; code < CHIP_COUNT; code++)
        EXPECT_EQ(chip_of(code)->code, code);
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
        const bank_select &bank = chip_of(code)->bank;
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
        const bank_select &bank = chip_of(code)->bank;
        if (bank.mask == 0)
            continue;
        EXPECT_EQ(bank.mask, 0x07u) << "chip " << code;
        EXPECT_EQ(bank.reg, code == 17 || code == 23 ? 0x00u : 0x4Eu) << "chip " << code;
    }
}

TEST(ChipTable, BankedRegistersAreBytesInRisingOrder) {
    for (uint32_t code = 0; code < CHIP_COUNT; code++) {
        register_list banked = chip_of(code)->bank.banked;
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
        EXPECT_EQ(chip_of(code)->supports_text != nullptr, chip_of(code)->text != nullptr) << "chip " << code;
    }
}

TEST(ChipTable, ChipsWithWordsForTemperatures) {
    std::set<uint32_t> with_words;
    for (uint32_t code = 0; code < CHIP_COUNT; code++)
        if (chip_of(code)->text != nullptr)
            with_words.insert(code);
    EXPECT_EQ(with_words, (std::set<uint32_t>{17, 19, 22, 23, 24, 25, 28, 29, 30, 32, 33}));
}

TEST(ChipTable, FanScalesMakeSense) {
    for (uint32_t code = 0; code < CHIP_COUNT; code++) {
        const fan_scale &fan = chip_of(code)->fan;
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
        EXPECT_EQ(chip_of(code)->fan.bottom_count, expected) << "chip " << code;
    }
}

// ---- What docs/adding-a-chip.md says

static std::string contents_of(const std::string &path) {
    std::ifstream file(path);
    EXPECT_TRUE(file.is_open()) << path;
    std::ostringstream contents;
    contents << file.rdbuf();
    return contents.str();
}

static std::string source(const char *name) { return contents_of(std::string(SOURCE_DIR "/src/") + name); }

static const std::string &document() {
    static const std::string contents = contents_of(SOURCE_DIR "/docs/adding-a-chip.md");
    return contents;
}

// Each match's groups from 1 on; one that did not take part is empty.
static std::vector<std::vector<std::string>> matches_of(const std::string &text, const char *expression) {
    std::regex compiled(expression);
    std::vector<std::vector<std::string>> matches;
    for (std::sregex_iterator match(text.begin(), text.end(), compiled), end; match != end; ++match) {
        std::vector<std::string> groups;
        for (size_t i = 1; i < match->size(); i++)
            groups.push_back((*match)[i]);
        matches.push_back(groups);
    }
    return matches;
}

static std::string hexadecimal(unsigned long number) {
    std::ostringstream text;
    text << std::uppercase << std::hex << number;
    return text.str();
}

TEST(ChipDocument, TellsEveryCodeWithItsName) {
    auto codes = matches_of(source("hw/chip_codes.h"), "\n    (CHIP_\\w+) = (\\d+)");
    EXPECT_EQ(codes.size(), size_t{CHIP_COUNT});
    for (const auto &code : codes) {
        std::string row = "\n| " + hexadecimal(std::stoul(code[1])) + " | `" + code[0] + "` | ";
        EXPECT_NE(document().find(row), std::string::npos) << "no row of " << code[0] << ":" << row;
    }
    EXPECT_EQ(matches_of(document(), "\n\\| [0-9A-F]+ \\| `CHIP_").size(), size_t{CHIP_COUNT});
}

TEST(ChipDocument, TellsEveryColumn) {
    const struct {
        const char *record;
        const char *column; // in which it is listed
    } records[] = {
        {"chip", ""}, {"fan_scale", "fan."}, {"bank_select", "bank."}, {"voltage_input", "volts."}};
    std::string header = source("chips/chip.h");
    for (const auto &row : records) {
        size_t begin = header.find(std::string("\nstruct ") + row.record + " {\n");
        ASSERT_NE(begin, std::string::npos) << row.record;
        std::string fields = header.substr(begin, header.find("\n};", begin) - begin);
        // "type name", "type name = default" or "type (*name)(...)"; a comment may follow it
        auto names = matches_of(fields, "\n    \\w[^/;=(]*(?:\\(\\*(\\w+)\\)|\\b(\\w+)(?: =[^;]*)?;)");
        EXPECT_GE(names.size(), 6u) << row.record;
        for (const auto &name : names) {
            std::string column = std::string("`") + row.column + name[0] + name[1] + "`";
            EXPECT_NE(document().find(column), std::string::npos) << "no column " << column;
        }
    }
}

TEST(ChipDocument, ShowsCodeAsItStands) {
    std::string code;
    for (const auto &file : std::filesystem::directory_iterator(SOURCE_DIR "/src/chips"))
        code += contents_of(file.path());
    auto shown = matches_of(document(), "\n```cpp\n([^`]*)```\n");
    EXPECT_EQ(shown.size(), 2u);
    for (const auto &block : shown)
        EXPECT_NE(code.find(block[0]), std::string::npos) << block[0];
}

// A cell of the table: "26.88", "84.57 − 15429", or nothing, and then the raw value is taken.
static double millivolts_told(const std::string &cell, double raw) {
    double step = 0;
    double taken_off = 0;
    if (sscanf(cell.c_str(), "%lf − %lf", &step, &taken_off) < 1)
        return raw;
    return step * raw - taken_off;
}

// Steps are given with two decimals, so 200 of them are right within 1 mV; the result is truncated.
TEST(ChipDocument, TellsMillivoltsOfEveryVoltage) {
    constexpr uint32_t RAW = 200;
    constexpr unsigned NAMED_FUNCTIONS = 9;
    uint32_t told = 0;
    const std::string cell = " \\|([^|\n]*)";
    std::string row = "\n\\| ([0-9A-F, ]+)";
    for (unsigned i = 0; i < NAMED_FUNCTIONS; i++)
        row += cell;
    for (const auto &cells : matches_of(document(), (row + " \\|(?=\n)").c_str()))
        for (const auto &code : matches_of(cells[0], "([0-9A-F]+)")) {
            auto chip_code = static_cast<uint32_t>(std::stoul(code[0], nullptr, 16));
            EXPECT_NE(chip_of(chip_code)->volts, nullptr) << code[0];
            told++;
            for (unsigned function = 0; function < NAMED_FUNCTIONS; function++) {
                int32_t millivolts = 0;
                VOLTAGEConvert(chip_code, function, RAW, &millivolts);
                EXPECT_NEAR(millivolts, millivolts_told(cells[function + 1], RAW), 2.1)
                    << "chip " << code[0] << " function " << function;
            }
        }
    uint32_t with_volts = 0;
    for (uint32_t code = 0; code < CHIP_COUNT; code++)
        with_volts += chip_of(code)->volts != nullptr;
    EXPECT_EQ(told, with_volts);
}
