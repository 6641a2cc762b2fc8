#include "config/ini_lines.h"

#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "hw/os.h"
#include "support/os_test.h"

struct expected_line {
    std::string text;
    bool had_newline;
};

// All lines of a file with these contents.
static std::vector<expected_line> lines_of(const std::string &contents) {
    test_door::reset();
    test_door::put_file("/etc/lines", contents);
    FILE *stream = os_fopen("/etc/lines", "r");
    std::vector<expected_line> lines;
    ini_line line;
    while (read_ini_line(stream, &line)) {
        EXPECT_EQ(line.text[line.length], '\0');
        lines.push_back({std::string(line.text, line.length), line.had_newline});
    }
    EXPECT_FALSE(read_ini_line(stream, &line)) << "the end stays the end";
    os_fclose(stream);
    return lines;
}

static void expect_lines(const std::string &name, const std::string &contents,
                         const std::vector<expected_line> &expected) {
    std::vector<expected_line> lines = lines_of(contents);
    ASSERT_EQ(lines.size(), expected.size()) << name;
    for (size_t i = 0; i < lines.size(); i++) {
        EXPECT_EQ(lines[i].text, expected[i].text) << name << ", line " << i;
        EXPECT_EQ(lines[i].had_newline, expected[i].had_newline) << name << ", line " << i;
    }
}

// The buffer takes 79 characters, the newline among them: 79 characters and a newline are two lines, the
// second one empty.
TEST(IniLines, LongLinesComeInPiecesOf79) {
    const struct {
        size_t length;
        std::vector<size_t> pieces;        // with a newline after the line
        std::vector<size_t> pieces_at_end; // as the last line, without one
    } rows[] = {
        {1, {1}, {1}},
        {77, {77}, {77}},
        {78, {78}, {78}},
        {79, {79, 0}, {79}},
        {80, {79, 1}, {79, 1}},
        {81, {79, 2}, {79, 2}},
        {157, {79, 78}, {79, 78}},
        {158, {79, 79, 0}, {79, 79}},
        {159, {79, 79, 1}, {79, 79, 1}},
        {200, {79, 79, 42}, {79, 79, 42}},
    };
    for (const auto &row : rows) {
        std::string text;
        for (size_t i = 0; i < row.length; i++)
            text += static_cast<char>('a' + i % 26);
        std::vector<expected_line> with;
        size_t at = 0;
        for (size_t piece : row.pieces) {
            with.push_back({text.substr(at, piece), false});
            at += piece;
        }
        with.back().had_newline = true;
        std::vector<expected_line> followed = with;
        followed.push_back({"next", true});
        std::vector<expected_line> without;
        at = 0;
        for (size_t piece : row.pieces_at_end) {
            without.push_back({text.substr(at, piece), false});
            at += piece;
        }
        expect_lines(std::to_string(row.length) + " with newline", text + "\n", with);
        expect_lines(std::to_string(row.length) + " with a line behind", text + "\nnext\n", followed);
        expect_lines(std::to_string(row.length) + " at the end", text, without);
    }
}

TEST(IniLines, OnlyTheOneNewlineIsRemoved) {
    expect_lines("no line", "", {});
    expect_lines("blank line", "\n", {{"", true}});
    expect_lines("blank lines", "\n\n\n", {{"", true}, {"", true}, {"", true}});
    expect_lines("no final newline", "a\nb", {{"a", true}, {"b", false}});
    expect_lines("carriage returns", "a\r\n\r\nb\r", {{"a\r", true}, {"\r", true}, {"b\r", false}});
    expect_lines("blanks", "  a = b \t\n", {{"  a = b \t", true}});
    expect_lines("high bytes", "\xFF\xFE\n\xC3\xA9", {{"\xFF\xFE", true}, {"\xC3\xA9", false}});
}

TEST(IniLines, NulBytesCount) {
    const std::string nul(1, '\0');
    expect_lines("alone", nul, {{nul, false}});
    expect_lines("within", "a" + nul + "b\n" + nul + nul + "\nc\n",
                 {{"a" + nul + "b", true}, {nul + nul, true}, {"c", true}});
    expect_lines("100 of them", std::string(100, '\0'),
                 {{std::string(79, '\0'), false}, {std::string(21, '\0'), false}});
}

TEST(IniLines, HeadsEqualTheirLineInAnyCase) {
    const struct {
        const char *text;
        ini_section expected;
    } rows[] = {
        {"[System]", SECTION_SYSTEM},
        {"[SYSTEM]", SECTION_SYSTEM},
        {"[system]", SECTION_SYSTEM},
        {"[sYsTeM]", SECTION_SYSTEM},
        {"[Item]", SECTION_ITEM},
        {"[ITEM]", SECTION_ITEM},
        {"[iTEM]", SECTION_ITEM},
        {"[Parameter]", SECTION_PARAMETER},
        {"[PARAMETER]", SECTION_PARAMETER},
        {"[parametER]", SECTION_PARAMETER},
        {"", NO_SECTION},
        {"[", NO_SECTION},
        {"[]", NO_SECTION},
        {"System", NO_SECTION},
        {"[System", NO_SECTION},
        {"System]", NO_SECTION},
        {"[System] ", NO_SECTION},
        {" [System]", NO_SECTION},
        {"[System]\r", NO_SECTION},
        {"[Item] ", NO_SECTION},
        {"[Item]\r", NO_SECTION},
        {"[Item]\t", NO_SECTION},
        {"[ Item]", NO_SECTION},
        {"[Item]=", NO_SECTION},
        {"[Items]", NO_SECTION},
        {"[Parameter] ", NO_SECTION},
        {"[Parameter]\r", NO_SECTION},
        {"[Parameters]", NO_SECTION},
        {"{Item}", NO_SECTION},
        {"[[Item]]", NO_SECTION},
        {"[_System_]", NO_SECTION},
    };
    for (const auto &row : rows)
        EXPECT_EQ(section_of_head(row.text), row.expected) << '"' << row.text << '"';
}

TEST(IniLines, SettingsSplitAtTheFirstEqualsSign) {
    const struct {
        const char *text;
        const char *key;
        const char *value;
    } rows[] = {
        {"POLLING=60", "POLLING", "60"},
        {"MachineName=my machine", "MachineName", "my machine"},
        {"KEY=a=b==c", "KEY", "a=b==c"},
        {"KEY=", "KEY", ""},
        {"=value", "", "value"},
        {"=", "", ""},
        {"==", "", "="},
        {"KEY = value ", "KEY ", " value "},
        {" KEY=value", " KEY", "value"},
        {"KEY=value\r", "KEY", "value\r"},
        {"[Item]=x", "[Item]", "x"},
    };
    for (const auto &row : rows) {
        char key[INI_LINE_SIZE] = "untouched";
        const char *value = nullptr;
        ASSERT_TRUE(split_setting(row.text, key, &value)) << row.text;
        EXPECT_STREQ(key, row.key) << row.text;
        EXPECT_STREQ(value, row.value) << row.text;
    }
}

TEST(IniLines, LongestKeyFitsItsBuffer) {
    std::string key_text(78, 'k');
    char key[INI_LINE_SIZE];
    const char *value;
    std::string text = key_text + "=";
    ASSERT_TRUE(split_setting(text.c_str(), key, &value));
    EXPECT_EQ(key, key_text);
    EXPECT_STREQ(value, "");
}

TEST(IniLines, LineWithoutEqualsSignIsNoSetting) {
    for (const char *text : {"", " ", "KEY", "[Item]", "KEY:value", "\r", ";;"}) {
        char key[INI_LINE_SIZE] = "untouched";
        const char *value = "untouched too";
        EXPECT_FALSE(split_setting(text, key, &value)) << text;
        EXPECT_STREQ(key, "untouched") << text;
        EXPECT_STREQ(value, "untouched too") << text;
    }
}
