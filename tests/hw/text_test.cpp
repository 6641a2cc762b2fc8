#include "hw/text.h"

#include <algorithm>
#include <cstring>
#include <gtest/gtest.h>
#include <string>

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
