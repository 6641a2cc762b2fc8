// The [System] pass of the reader.
#include "config/ini_read.h"

#include <algorithm>
#include <cctype>
#include <cstring>
#include <gtest/gtest.h>
#include <string>

#include "config/records.h"
#include "hw/os.h"
#include "support/os_test.h"

// The settings of a file, what was printed on the way going to `errors`.
static system_settings system_of(const std::string &contents, std::string *errors = nullptr) {
    system_settings system;
    memset(&system, 0xA5, sizeof system);
    initSystemSection(&system);
    FILE *stream = stream_of(contents);
    std::string printed =
        test_door::captured_stderr([&] { EXPECT_EQ(readSystemSection(stream, &system), 0u) << contents; });
    os_fclose(stream);
    if (errors != nullptr)
        *errors = printed;
    else
        EXPECT_EQ(printed, "") << contents;
    return system;
}

TEST(SystemSection, InitialisingClearsEverything) {
    system_settings system;
    memset(&system, 0xA5, sizeof system);
    initSystemSection(&system);
    EXPECT_TRUE(same(system, system_settings{}));
}

struct system_number {
    const char *setting;
    uint32_t system_settings::*field;
    uint32_t expected;
};

TEST(SystemSection, EachNumberKeyFillsItsFieldAlone) {
    const system_number rows[] = {
        {"BUSTYPE=0x3", &system_settings::BusType, 3},
        {"DATAREG=0x296", &system_settings::DataReg, 0x296},
        {"INDEXREG=295", &system_settings::IndexReg, 0x295},
        {"MAILALERT=TRUE", &system_settings::MailAlert, 1},
        {"PAGERALERT=TRUE", &system_settings::PagerAlert, 1},
        {"POLLING=60", &system_settings::Polling, 60}, // the one decimal key
        {"CORETEMPCHIPCODE=0x11", &system_settings::CoreTempChipCode, 17},
        {"W83793GTEMPLEVELTYPE=1F", &system_settings::W83793GTempLevelType, 31},
        {"ThermalGuideChipType=10", &system_settings::ThermalGuideChipType, 16},
        {"bustype=A", &system_settings::BusType, 10},
        {"IndexReg=0X2e", &system_settings::IndexReg, 0x2E},
        {"polling=007", &system_settings::Polling, 7},
        {"THERMALGUIDECHIPTYPE=2", &system_settings::ThermalGuideChipType, 2},
        {"mailalert=true", &system_settings::MailAlert, 1},
    };
    for (const system_number &row : rows) {
        system_settings expected = {};
        expected.*row.field = row.expected;
        EXPECT_TRUE(same(system_of(std::string("[System]\n") + row.setting + "\n"), expected)) << row.setting;
    }
}

// The text fields with their capacities, terminator included.
static const struct {
    const char *key;
    char *(*field)(system_settings *);
    size_t capacity;
} system_texts[] = {
    {"MACHINENAME", [](system_settings *s) -> char * { return s->MachineName; }, 40},
    {"MAILBOX", [](system_settings *s) -> char * { return s->MailBox; }, 100},
    {"MAILSERVER", [](system_settings *s) -> char * { return s->MailServer; }, 40},
    {"OUTLINE", [](system_settings *s) -> char * { return s->Outline; }, 40},
    {"PAGERID", [](system_settings *s) -> char * { return s->PagerId; }, 40},
    {"PHONENUMBER", [](system_settings *s) -> char * { return s->PhoneNumber; }, 40},
    {"SERVERPORT", [](system_settings *s) -> char * { return s->ServerPort; }, 84},
};

TEST(SystemSection, EachTextKeyFillsItsFieldAlone) {
    for (const auto &row : system_texts) {
        system_settings expected = {};
        strcpy(row.field(&expected), " a=b, c ");
        EXPECT_TRUE(same(system_of(std::string("[System]\n") + row.key + "= a=b, c \n"), expected))
            << row.key;
        std::string lower = row.key;
        for (char &c : lower)
            c = static_cast<char>(tolower(c));
        EXPECT_TRUE(same(system_of("[System]\n" + lower + "= a=b, c \n"), expected)) << lower;
    }
}

// A line has 79 characters, so a value has at most 79 less the key and the equals sign.
TEST(SystemSection, LongTextsAreCutToTheirFields) {
    for (const auto &row : system_texts) {
        std::string key = row.key;
        std::string value(78 - key.size(), 'v');
        size_t kept = std::min(value.size(), row.capacity - 1);
        system_settings expected = {};
        memset(row.field(&expected), 'v', kept);
        EXPECT_TRUE(same(system_of("[System]\n" + key + "=" + value + "\n"), expected)) << key;
        std::string fitting(std::min(value.size(), row.capacity - 1), 'f');
        expected = {};
        strcpy(row.field(&expected), fitting.c_str());
        EXPECT_TRUE(same(system_of("[System]\n" + key + "=" + fitting + "\n"), expected)) << key;
    }
}

// 40 characters hold 39 bytes: a character of n bytes stays when its last byte is at most the 39th.
TEST(SystemSection, TextsAreCutOnWholeCharacters) {
    const struct {
        size_t letters;
        const char *end;
        const char *end_kept;
    } rows[] = {
        {37, "\xC3\xA9z", "\xC3\xA9"},
        {38, "\xC3\xA9z", ""},
        {36, "\xE2\x82\xACz", "\xE2\x82\xAC"},
        {37, "\xE2\x82\xACz", ""},
        {38, "\xE2\x82\xACz", ""},
        {35, "\xF0\x9F\x98\x80z", "\xF0\x9F\x98\x80"},
        {36, "\xF0\x9F\x98\x80z", ""},
        {37, "\xF0\x9F\x98\x80z", ""},
        {38, "\xF0\x9F\x98\x80z", ""},
    };
    for (const auto &row : rows)
        for (const auto &text : system_texts) {
            if (text.capacity != 40)
                continue;
            std::string letters(row.letters, 'n');
            system_settings system =
                system_of(std::string("[System]\n") + text.key + "=" + letters + row.end + "\n");
            EXPECT_EQ(text.field(&system), letters + row.end_kept)
                << text.key << ", " << row.letters << " letters";
        }
}

TEST(SystemSection, HexNumbers) {
    const struct {
        const char *value;
        uint32_t expected;
    } rows[] = {
        {"0x2E", 0x2E},
        {"2E", 0x2E},
        {"2e", 0x2E},
        {"0X2e", 0x2E},
        {"0", 0},
        {"00010", 16},
        {"10", 16},
        {"FFFFFFFF", 0xFFFFFFFF},
        {"100000000", 0}, // cut to 32 bits
        {"123456789", 0x23456789},
        {"0x1FFFFFFFF", 0xFFFFFFFF},
        {"", 0}, // not a number
        {"zz", 0},
        {"g5", 0},
        {"0x", 0},
        {"x5", 0},
        {"TRUE", 0},
        {"2E and more", 0x2E}, // up to the first character that is not a digit
        {"2Eh", 0x2E},
        {"2.5", 2},
        {" 2E", 0x2E},
        {"-1", 0xFFFFFFFF},
        {"2E\r", 0x2E},
        {"2=3", 2},
    };
    for (const auto &row : rows)
        EXPECT_EQ(system_of(std::string("[System]\nBUSTYPE=") + row.value + "\n").BusType, row.expected)
            << row.value;
}

TEST(SystemSection, PollingIsDecimal) {
    const struct {
        const char *value;
        uint32_t expected;
    } rows[] = {
        {"5", 5},          {"60", 60}, {"010", 10}, {"0x10", 0},        {"", 0},
        {"abc", 0},        {"FF", 0},  {"5x", 5},   {"60 seconds", 60}, {"4294967295", 4294967295u},
        {"4294967301", 5}, // 2 to the power of 32, and 5
    };
    for (const auto &row : rows)
        EXPECT_EQ(system_of(std::string("[System]\nPOLLING=") + row.value + "\n").Polling, row.expected)
            << row.value;
}

TEST(SystemSection, NamesGoThroughTheCodeTable) {
    const struct {
        const char *value;
        uint32_t expected;
        const char *errors;
    } rows[] = {
        {"TRUE", 1, ""},
        {"true", 1, ""},
        {"True", 1, ""},
        {"FALSE", 0, ""},
        {"false", 0, ""},
        {"yes", 0xFFFFFFFF, "str2code: Failure! yes\n"},
        {"1", 0xFFFFFFFF, "str2code: Failure! 1\n"},
        {"", 0xFFFFFFFF, "str2code: Failure! \n"},
        {"TRUE ", 0xFFFFFFFF, "str2code: Failure! TRUE \n"},
        {" TRUE", 0xFFFFFFFF, "str2code: Failure!  TRUE\n"},
        {"TRUE\r", 0xFFFFFFFF, "str2code: Failure! TRUE\r\n"},
    };
    for (const auto &row : rows) {
        std::string errors;
        EXPECT_EQ(
            system_of(std::string("[System]\nMAILALERT=") + row.value + "\nPOLLING=9\n", &errors).MailAlert,
            row.expected)
            << row.value;
        EXPECT_EQ(errors, row.errors) << row.value;
    }
    std::string errors;
    EXPECT_EQ(system_of("[System]\nMAILALERT=yes\nPOLLING=9\n", &errors).Polling, 9u) << "reading goes on";
}

TEST(SystemSection, OnlySettingsOfTheSectionCount) {
    const struct {
        const char *contents;
        uint32_t bus_type;
        const char *why;
    } rows[] = {
        {"", 0, "empty file"},
        {"BUSTYPE=2\n", 0, "before any head"},
        {"[Item]\nBUSTYPE=2\n", 0, "another section"},
        {"[System]\nbusType=0x2\n", 2, "case of the key"},
        {"[SYSTEM]\nBUSTYPE=2\n", 2, "case of the head"},
        {"[system]\nBUSTYPE=2", 2, "no final newline"},
        {"[System]\nBUSTYPE = 2\n", 0, "a key that ends in a blank"},
        {"[System]\n BUSTYPE=2\n", 0, "a key that begins with a blank"},
        {"[System] \nBUSTYPE=2\n", 0, "a head with a blank after it"},
        {" [System]\nBUSTYPE=2\n", 0, "a head with a blank before it"},
        {"[System]\r\nBUSTYPE=2\r\n", 0, "a head with a carriage return"},
        {"[System]\n\n\nBUSTYPE=2\n", 2, "blank lines do not leave the section"},
        {"[System]\nno setting\n;;\nBUSTYPE=2\n", 2, "lines without an equals sign are skipped"},
        {"[System]\nUNKNOWN=1\nBUSTYPES=4\n=7\nBUSTYPE=2\n", 2, "unknown keys are ignored"},
        {"[System]\nSLAVE=4\nBUSTYPE=2\n", 2, "an item's key means nothing here"},
        {"[System]\n[Item]\nBUSTYPE=2\n", 0, "an item's head leaves"},
        {"[System]\n[Other]\nBUSTYPE=2\n", 0, "any bracket leaves"},
        {"[System]\n[\nBUSTYPE=2\n", 0, "a bracket alone leaves"},
        {"[System]\n[a=b\nBUSTYPE=2\n", 0, "a setting that begins with a bracket leaves"},
        {"[System]\n [Other]\nBUSTYPE=2\n", 2, "a bracket after a blank does not"},
        {"[System]\n[Other]\n[System]\nBUSTYPE=2\n", 2, "entered again"},
        {"[System]\n[System]\nBUSTYPE=2\n", 2, "left and entered by one line"},
        {"[System]\nBUSTYPE=1\nBUSTYPE=2\n", 2, "the later value of two"},
        {"[System]\nBUSTYPE=2\nBUSTYPE=zz\n", 0, "the later value counts when it is not a number, too"},
        {"[System]\nBUSTYPE=1\n[Item]\nBUSTYPE=4\n[System]\nBUSTYPE=2\n", 2, "the later section's value"},
        {"[System]\nBUSTYPE=2\n[Item]\nBUSTYPE=4\n[System]\nPOLLING=1\n", 2,
         "the later section without the key"},
        {"[Parameter]\nSLAVE=1\n[Item]\nSLAVE=1\n\n[System]\nBUSTYPE=2\n", 2, "the last section of the file"},
    };
    for (const auto &row : rows)
        EXPECT_EQ(system_of(row.contents).BusType, row.bus_type) << row.why;
}

TEST(SystemSection, LaterTextReplacesALongerOne) {
    EXPECT_STREQ(system_of("[System]\nMACHINENAME=a long name\nMACHINENAME=ab\n").MachineName, "ab");
    EXPECT_STREQ(system_of("[System]\nMACHINENAME=a long name\nMACHINENAME=\n").MachineName, "");
}

TEST(SystemSection, CarriageReturnStaysInAText) {
    EXPECT_STREQ(system_of("[System]\nMACHINENAME=host\r\n").MachineName, "host\r");
}

// 79 characters of a line are one line, what follows them is the next.
TEST(SystemSection, RestOfALongLineIsALineOfItsOwn) {
    system_settings system =
        system_of("[System]\nMACHINENAME=" + std::string(67, 'm') + "BUSTYPE=9\nPOLLING=4\n");
    EXPECT_EQ(system.MachineName, std::string(39, 'm'));
    EXPECT_EQ(system.BusType, 9u);
    EXPECT_EQ(system.Polling, 4u);
    system = system_of("[System]\nMAILBOX=" + std::string(100, 'b') + "\nPOLLING=4\n");
    EXPECT_EQ(system.MailBox, std::string(71, 'b')); // 79 less "MAILBOX="
    EXPECT_EQ(system.Polling, 4u);
    system = system_of("[System]\nMAILBOX=" + std::string(71, 'b') + "[System\nPOLLING=4\n");
    EXPECT_EQ(system.Polling, 0u) << "the rest began with a bracket and left the section";
}
