#include "hw/text.h"

#include <algorithm>
#include <cstring>
#include <gtest/gtest.h>
#include <string>

#include "support/os_test.h"

// Copies into a field with a guard byte after it and returns what the field then contains.
static std::string copied(const std::string &text, size_t capacity) {
    char field[300];
    memset(field, 0x7E, sizeof field);
    copy_text(field, capacity, text.c_str());
    EXPECT_NE(memchr(field, '\0', capacity), nullptr)
        << "no terminator within " << capacity << " of " << text;
    EXPECT_EQ(field[capacity], 0x7E) << "written beyond " << capacity << " of " << text;
    field[capacity] = '\0';
    return field;
}

TEST(CopyText, CutsAtTheCapacityWhichCountsTheTerminator) {
    const struct {
        const char *text;
        size_t capacity;
        const char *expected;
    } rows[] = {
        {"", 1, ""},
        {"", 40, ""},
        {"a", 1, ""},
        {"a", 2, "a"},
        {"abcdef", 1, ""},
        {"abcdef", 2, "a"},
        {"abcdef", 5, "abcd"},
        {"abcdef", 6, "abcde"},
        {"abcdef", 7, "abcdef"}, // an exact fit: six letters and the terminator
        {"abcdef", 8, "abcdef"},
        {"abcdef", 200, "abcdef"},
    };
    for (const auto &row : rows)
        EXPECT_EQ(copied(row.text, row.capacity), row.expected) << row.text << " into " << row.capacity;
}

// A character of n bytes after "ab" needs a capacity of 2 + n + 1; with less it is dropped as a whole.
TEST(CopyText, NeverCutsInsideAUtf8Character) {
    const struct {
        const char *text;
        size_t capacity;
        const char *expected;
    } rows[] = {
        {"ab\xC3\xA9", 3, "ab"},
        {"ab\xC3\xA9", 4, "ab"},
        {"ab\xC3\xA9", 5, "ab\xC3\xA9"},
        {"ab\xC3\xA9z", 5, "ab\xC3\xA9"},
        {"ab\xE2\x82\xAC", 3, "ab"},
        {"ab\xE2\x82\xAC", 4, "ab"},
        {"ab\xE2\x82\xAC", 5, "ab"},
        {"ab\xE2\x82\xAC", 6, "ab\xE2\x82\xAC"},
        {"ab\xE2\x82\xACz", 6, "ab\xE2\x82\xAC"},
        {"ab\xF0\x9F\x98\x80", 3, "ab"},
        {"ab\xF0\x9F\x98\x80", 4, "ab"},
        {"ab\xF0\x9F\x98\x80", 5, "ab"},
        {"ab\xF0\x9F\x98\x80", 6, "ab"},
        {"ab\xF0\x9F\x98\x80", 7, "ab\xF0\x9F\x98\x80"},
        {"ab\xF0\x9F\x98\x80z", 7, "ab\xF0\x9F\x98\x80"},
        // The first character does not fit at all.
        {"\xF0\x9F\x98\x80", 4, ""},
        {"\xE2\x82\xAC", 3, ""},
        {"\xC3\xA9", 2, ""},
        // Several in a row: the whole ones stay.
        {"\xC3\xA9\xC3\xA9\xC3\xA9", 6, "\xC3\xA9\xC3\xA9"},
        {"\xE2\x82\xAC\xE2\x82\xAC", 6, "\xE2\x82\xAC"},
        {"\xF0\x9F\x98\x80\xF0\x9F\x98\x80", 8, "\xF0\x9F\x98\x80"},
    };
    for (const auto &row : rows)
        EXPECT_EQ(copied(row.text, row.capacity), row.expected) << row.text << " into " << row.capacity;
}

// Twenty continuation bytes are not a character: there is nothing to keep together.
TEST(CopyText, CutsALongRunOfContinuationBytesWhereItStands) {
    EXPECT_EQ(copied(std::string(20, '\x80'), 8), std::string(7, '\x80'));
    EXPECT_EQ(copied("ab" + std::string(20, '\xBF'), 12), "ab" + std::string(9, '\xBF'));
}

// Whatever the bytes are: a prefix of the text, and at most the three bytes short that a whole character may
// cost.
TEST(CopyText, StaysInBoundsOnInvalidUtf8) {
    const char *heads[] = {"", "a", "abc", "\xC3", "\xE2", "\xF0", "\xF0\x9F", "\xFF\xFE", "\xC3\xC3"};
    for (const char *head : heads)
        for (size_t run = 0; run < 12; run++)
            for (size_t capacity = 1; capacity < 20; capacity++) {
                std::string text = head + std::string(run, '\xB0');
                std::string result = copied(text, capacity);
                size_t fitting = std::min(text.size(), capacity - 1);
                EXPECT_EQ(result, text.substr(0, result.size())) << text << " into " << capacity;
                EXPECT_GE(result.size() + 3, fitting) << text << " into " << capacity;
                if (fitting == text.size()) {
                    EXPECT_EQ(result, text) << text << " into " << capacity;
                }
            }
}

TEST(EqualIgnoringCase, FoldsEnglishLettersOnly) {
    const struct {
        const char *a;
        const char *b;
        bool expected;
    } rows[] = {
        {"", "", true},
        {"item", "ITEM", true},
        {"[Item]", "[iTEM]", true},
        {"VOL1H", "vol1h", true},
        {"abcdefghijklmnopqrstuvwxyz", "ABCDEFGHIJKLMNOPQRSTUVWXYZ", true},
        {"item", "items", false},
        {"items", "item", false},
        {"", "a", false},
        {"a", "", false},
        {"item", "idem", false},
        {"item ", "item", false},
        {"item\r", "item", false},
        // Neighbours of the letters that differ by the same bit as the cases of a letter.
        {"@", "`", false},
        {"[", "{", false},
        {"\\", "|", false},
        {"]", "}", false},
        {"^", "~", false},
        {"0", "\x10", false},
        // Beyond ASCII every byte counts: A with diaeresis in both cases.
        {"\xC3\x84", "\xC3\xA4", false},
        {"\xC3\x84", "\xC3\x84", true},
    };
    for (const auto &row : rows)
        EXPECT_EQ(equal_ignoring_case(row.a, row.b), row.expected) << row.a << " against " << row.b;
}

TEST(BeginsIgnoringCase, AsksForTheWholePrefix) {
    const struct {
        const char *text;
        const char *prefix;
        bool expected;
    } rows[] = {
        {"", "", true},        {"abc", "", true},    {"R2M-X7", "R2M", true},   {"r2m-x7", "R2M", true},
        {"R2M", "r2m", true},  {"R2", "R2M", false}, {"", "R2M", false},        {"XR2M", "R2M", false},
        {"R3M", "R2M", false}, {"{_", "[_", false},  {"[_Board_]", "[_", true},
    };
    for (const auto &row : rows)
        EXPECT_EQ(begins_ignoring_case(row.text, row.prefix), row.expected)
            << row.text << " with " << row.prefix;
}

// What a terminal is shown of `text`.
static std::string on_terminal(const std::string &text) {
    test_door::terminal = true;
    return shown_text(stdout, text.c_str());
}

TEST(ShownText, ATerminalGetsQuestionMarksForWhatItWouldObey) {
    const struct {
        const char *text;
        const char *shown;
    } rows[] = {
        {"", ""},
        {"Fan 1 ~ +12V", "Fan 1 ~ +12V"},
        {"Lüfter ヘ 😀", "Lüfter ヘ 😀"},    // two, three and four bytes
        {"\x01\t\r\x1F \x7F!", "???? ?!"}, // C0 and DEL
        {"a\nb\n", "a\nb\n"},              // lines of a message
        {"\x1b[31mred\x1b]0;title\x07", "?[31mred?]0;title?"},
        {"\xC2\x80\xC2\x9B\xC2\x9F|\xC2\xA0", "???|\xC2\xA0"}, // C1; U+00A0 is a blank
        {"\xD8\x9C\xE2\x80\x8E\xE2\x80\x8F", "???"},           // marks of direction
        {"\xE2\x80\xA8\xE2\x80\xA9\xE2\x80\xAA\xE2\x80\xAB\xE2\x80\xAC\xE2\x80\xAD\xE2\x80\xAE", "???????"},
        {"\xE2\x81\xA6\xE2\x81\xA7\xE2\x81\xA8\xE2\x81\xA9", "????"},            // isolates
        {"\xD8\x9B\xE2\x80\x8D\xE2\x80\xA7\xE2\x80\xAF\xE2\x81\xA5\xE2\x81\xAA", // their neighbours
         "\xD8\x9B\xE2\x80\x8D\xE2\x80\xA7\xE2\x80\xAF\xE2\x81\xA5\xE2\x81\xAA"},
        {"\xFF\xFE\x80\xBF", "????"}, // no UTF-8 at all: a mark a byte
        {"\xE9t\xE9", "?t?"},         // Latin-1
        {"\xC3", "?"},                // broken off
        {"\xE2\x80", "??"},
        {"\xF0\x9F\x98", "???"},
        {"\xE2\x80z", "??z"},
        {"\xC0\x9B\xC1\xBF", "????"}, // longer forms of shorter characters
        {"\xE0\x80\x9B\xE0\x9F\xBF", "??????"},
        {"\xF0\x80\x80\x9B\xF0\x8F\xBF\xBF", "????????"},
        {"\xED\xA0\x80\xED\xBF\xBF", "??????"},           // surrogates
        {"\xF4\x90\x80\x80\xF7\xBF\xBF\xBF", "????????"}, // beyond U+10FFFF
        {"\xED\x9F\xBF\xEE\x80\x80\xF4\x8F\xBF\xBF",
         "\xED\x9F\xBF\xEE\x80\x80\xF4\x8F\xBF\xBF"}, // the last ones
    };
    for (const auto &row : rows) {
        test_door::reset();
        EXPECT_EQ(on_terminal(row.text), row.shown) << testing::PrintToString(std::string(row.text));
        test_door::reset();
        EXPECT_EQ(shown_text(stdout, row.text), row.text); // a pipe
    }
}

// Three bytes, one value of 97: no text leaves a control character to a terminal.
TEST(ShownText, NothingSlipsThrough) {
    test_door::reset();
    for (unsigned number = 0; number < 1u << 24; number += 97) {
        const std::string text = {static_cast<char>(number >> 16), static_cast<char>(number >> 8),
                                  static_cast<char>(number)};
        std::string shown = on_terminal(text);
        for (unsigned char c : shown)
            ASSERT_TRUE(c == '\n' || (c >= 0x20 && c != 0x7F)) << number;
        ASSERT_EQ(on_terminal(shown), shown) << number;
        ASSERT_EQ(shown.find("\xC2\x9B"), std::string::npos) << number;
    }
}
