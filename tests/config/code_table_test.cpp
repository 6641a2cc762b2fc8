#include "config/code_table.h"

#include <cctype>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "support/os_test.h"

struct expected_row {
    std::string name;
    uint32_t code;
};

// The groups of the table, each by the formula of its codes.
static std::vector<expected_row> all_rows() {
    std::vector<expected_row> rows = {{"FAN", 0},   {"TEMP", 2},   {"VOLTAGE", 1}, {"SWITCH", 3},
                                      {"DRIVE", 4}, {"MEMORY", 5}, {"DIVISOR", 6}, {"P12V", 0},
                                      {"P5V", 1},   {"P33V", 2},   {"P25V", 3},    {"VCCP", 4},
                                      {"N5V", 5},   {"N12V", 6},   {"VBAT", 7},    {"P5VSB", 8}};
    for (uint32_t n = 1; n <= 16; n++) {
        std::string number = std::to_string(n);
        rows.push_back({"Item_FAN" + number, n - 1});
        rows.push_back({"Item_TEMP" + number, 75 + n});   // 76 to 91
        rows.push_back({"Item_SWITCH" + number, 91 + n}); // 92 to 107
        rows.push_back({"Divisor" + number, n - 1});
        rows.push_back({"VOL" + number + "H", 14 + 2 * n});
        rows.push_back({"VOL" + number + "L", 15 + 2 * n});
        rows.push_back({"TEMP" + number + "H", 134 + 2 * n});
        rows.push_back({"TEMP" + number + "L", 135 + 2 * n});
        rows.push_back({"FAN" + number + "H", 167 + n});
        rows.push_back({"SWITCH" + number + "A", 182 + 2 * n});
        rows.push_back({"SWITCH" + number + "C", 183 + 2 * n});
    }
    for (uint32_t n = 1; n <= 60; n++)
        rows.push_back({"Item_VOL" + std::to_string(n), 15 + n}); // 16 to 75
    rows.push_back({"FALSE", 0});
    rows.push_back({"TRUE", 1});
    return rows;
}

static std::string recased(std::string name, int (*upper_or_lower)(int)) {
    for (char &c : name)
        c = static_cast<char>(upper_or_lower(c));
    return name;
}

static std::string alternating(std::string name) {
    for (size_t i = 0; i < name.size(); i++)
        name[i] = static_cast<char>(i % 2 == 0 ? tolower(name[i]) : toupper(name[i]));
    return name;
}

TEST(CodeTable, EveryNameHasItsCodeInAnyCase) {
    std::vector<expected_row> rows = all_rows();
    ASSERT_EQ(rows.size(), 254u);
    std::string errors = test_door::captured_stderr([&rows] {
        for (const expected_row &row : rows)
            for (const std::string &name :
                 {row.name, recased(row.name, toupper), recased(row.name, tolower), alternating(row.name)})
                EXPECT_EQ(str2code(name.c_str()), row.code) << name;
    });
    EXPECT_EQ(errors, "") << "a found name prints nothing";
}

TEST(CodeTable, NamedExamples) {
    EXPECT_EQ(str2code("divisor3"), 2u);
    EXPECT_EQ(str2code("Item_vol60"), 75u);
    EXPECT_EQ(str2code("vol16l"), 47u);
    EXPECT_EQ(str2code("temp1H"), 136u);
    EXPECT_EQ(str2code("fan16h"), 183u);
    EXPECT_EQ(str2code("SWITCH16c"), 215u);
}

TEST(CodeTable, UnknownNameFailsWithItsLine) {
    const char *names[] = {
        "VOL17H",        "VOL17L",
        "VOL60L",        "TEMP17H",
        "FAN17H",        "FAN1L",
        "SWITCH17A",     "SWITCH1B",
        "Divisor0",      "Divisor17",
        "Item_FAN",      "Item_FAN0",
        "Item_FAN17",    "Item_FAN01",
        "Item_VOL61",    "Item_TEMP17",
        "Item_SWITCH17", "VOL1",
        "TEMP1",         "FAN ",
        " FAN",          "TRUE\r",
        "TRU",           "TRUEE",
        "yes",           "1",
        "%s%d",          "a name of far more than the fifteen characters of a row",
    };
    for (const char *name : names) {
        uint32_t code = 0;
        std::string errors = test_door::captured_stderr([&] { code = str2code(name); });
        EXPECT_EQ(code, 0xFFFFFFFFu) << name;
        EXPECT_EQ(errors, std::string("str2code: Failure! ") + name + "\n") << name;
    }
}

TEST(CodeTable, UnknownNamePrintsNothingOnStandardOutput) {
    std::string output =
        test_door::captured_stdout([] { test_door::captured_stderr([] { str2code("VOL17H"); }); });
    EXPECT_EQ(output, "");
}

// The table ends with an empty name, which is not a row of it.
TEST(CodeTable, EmptyNameFails) {
    uint32_t code = 0;
    EXPECT_EQ(test_door::captured_stderr([&code] { code = str2code(""); }), "str2code: Failure! \n");
    EXPECT_EQ(code, 0xFFFFFFFFu);
}
