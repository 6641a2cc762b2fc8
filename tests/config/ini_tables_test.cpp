// The passes of the reader that count and fill the item and parameter tables.
#include "config/ini_read.h"

#include <cctype>
#include <cstring>
#include <gtest/gtest.h>
#include <string>

#include "config/records.h"
#include "hw/os.h"
#include "support/os_test.h"

// A table of `N` items, of whom the file may fill fewer: those keep their garbage of 0xA5.
template <size_t N>
static void read_items(const std::string &contents, item_record (&items)[N], std::string *errors = nullptr) {
    memset(items, 0xA5, sizeof items);
    FILE *stream = stream_of(contents);
    std::string printed =
        test_door::captured_stderr([&] { EXPECT_EQ(readItemSection(stream, items, N), 0u) << contents; });
    os_fclose(stream);
    if (errors != nullptr)
        *errors = printed;
    else
        EXPECT_EQ(printed, "") << contents;
}

static item_record item_of(const std::string &contents, std::string *errors = nullptr) {
    item_record items[1];
    read_items(contents, items, errors);
    return items[0];
}

template <size_t N>
static void read_parameters(const std::string &contents, parameter_record (&parameters)[N]) {
    memset(parameters, 0xA5, sizeof parameters);
    FILE *stream = stream_of(contents);
    EXPECT_EQ(readParameterSection(stream, parameters, N), 0u) << contents;
    os_fclose(stream);
}

TEST(ItemCount, CountsTheHeads) {
    const struct {
        const char *contents;
        uint32_t expected;
    } rows[] = {
        {"", 0},
        {"[System]\nBUSTYPE=2\n", 0},
        {"[Item]", 1},
        {"[Item]\n", 1},
        {"[Item]\n[ITEM]\n[item]\n[iTeM]\n", 4},
        {"[Item] \n[Item]\t\n [Item]\n", 0},
        {"[Item]\r\nITEM_NAME=a\r\n[Item]\r\n", 0},
        {"[Items]\n[Item\nItem]\nItem\n[Item]x\n[Item]=\n", 0},
        {"[System]\n[Item]\n\nSLAVE=1\n\n[Parameter]\n[Item]\n", 2},
    };
    for (const auto &row : rows) {
        FILE *stream = stream_of(row.contents);
        EXPECT_EQ(get_item_count(stream), row.expected) << row.contents;
        os_fclose(stream);
    }
    // At the 80th character of a line a new one begins.
    FILE *stream = stream_of(std::string(79, 'x') + "[Item]\n" + std::string(78, 'x') + "[Item]\n");
    EXPECT_EQ(get_item_count(stream), 1u);
    os_fclose(stream);
}

TEST(Readers, EachRewindsTheStream) {
    FILE *stream = stream_of("[System]\nPOLLING=3\n[Item]\nSLAVE=4\n[Parameter]\nSLAVE=5\n");
    for (int pass = 0; pass < 2; pass++) {
        system_settings system = {};
        item_record items[1];
        parameter_record parameters[2];
        fseek(stream, 0, SEEK_END);
        EXPECT_EQ(readParameterSection(stream, parameters, 2), 0u);
        EXPECT_EQ(parameters[0].Slave, 5u);
        fseek(stream, 12, SEEK_SET);
        EXPECT_EQ(readSystemSection(stream, &system), 0u);
        EXPECT_EQ(system.Polling, 3u);
        EXPECT_EQ(get_item_count(stream), 1u);
        EXPECT_EQ(readItemSection(stream, items, 1), 0u);
        EXPECT_EQ(items[0].Slave, 4u);
    }
    os_fclose(stream);
}

TEST(ItemSection, KeysNotGivenKeepTheirDefaults) {
    EXPECT_TRUE(same(item_of("[Item]\n"), empty_item()));
    EXPECT_TRUE(same(item_of("[Item]\nUNKNOWN=1\n=2\nPOLLING=3\nBITMASK=4\n"), empty_item()));
}

TEST(ItemSection, EachNumberKeyFillsItsFieldAlone) {
    const struct {
        const char *setting;
        uint32_t item_record::*field;
        uint32_t expected;
    } rows[] = {
        {"ITEM_CAT=VOLTAGE", &item_record::Cat, 1},
        {"ITEM_CAT=FAN", &item_record::Cat, 0},
        {"ITEM_CAT=temp", &item_record::Cat, 2},
        {"ITEM_CAT=Switch", &item_record::Cat, 3},
        {"ITEM_CAT=MEMORY", &item_record::Cat, 5},
        {"VOL_FUNC=P5VSB", &item_record::VolFunc, 8},
        {"VOL_FUNC=n12v", &item_record::VolFunc, 6},
        {"BUSTYPE=0x8", &item_record::BusType, 8},
        {"CHIPCODE=1C", &item_record::ChipCode, 28},
        {"SLAVE=0x2D", &item_record::Slave, 45},
        {"OFFSET=50", &item_record::Offset, 80},
        {"ACTIVATE=1", &item_record::Activate, 1},
        {"MONITOR=TRUE", &item_record::Monitor, 1},
        {"MONITOR=false", &item_record::Monitor, 0},
        {"SOURCE=0x12345678", &item_record::Source, 0x12345678},
        {"item_cat=drive", &item_record::Cat, 4},
        {"chipCode=0x0a", &item_record::ChipCode, 10},
        {"Slave=zz", &item_record::Slave, 0},
        {"OFFSET=", &item_record::Offset, 0},
        {"OFFSET=1000000FF", &item_record::Offset, 0xFF},
    };
    for (const auto &row : rows) {
        item_record expected = empty_item();
        expected.*row.field = row.expected;
        EXPECT_TRUE(same(item_of(std::string("[Item]\n") + row.setting + "\n"), expected)) << row.setting;
    }
}

TEST(ItemSection, UnknownNamesPrintTheirLineAndReadingGoesOn) {
    const struct {
        const char *setting;
        uint32_t item_record::*field;
        const char *errors;
    } rows[] = {
        {"MONITOR=yes", &item_record::Monitor, "str2code: Failure! yes\n"},
        {"MONITOR=", &item_record::Monitor, "str2code: Failure! \n"},
        {"ITEM_CAT=PUMP", &item_record::Cat, "str2code: Failure! PUMP\n"},
        {"VOL_FUNC=P48V", &item_record::VolFunc, "str2code: Failure! P48V\n"},
    };
    for (const auto &row : rows) {
        std::string errors;
        item_record expected = empty_item();
        expected.*row.field = 0xFFFFFFFF;
        expected.Slave = 7;
        EXPECT_TRUE(same(item_of(std::string("[Item]\n") + row.setting + "\nSLAVE=7\n", &errors), expected))
            << row.setting;
        EXPECT_EQ(errors, row.errors) << row.setting;
    }
}

static const struct {
    const char *key;
    char *(*field)(item_record *);
} item_texts[] = {
    {"ITEM_NAME", [](item_record *item) -> char * { return item->Name; }},
    {"ITEM_ID", [](item_record *item) -> char * { return item->ItemId; }},
    {"PARAINDEX1", [](item_record *item) -> char * { return item->ParaIndex1; }},
    {"PARAINDEX2", [](item_record *item) -> char * { return item->ParaIndex2; }},
    {"REF_ITEM_ID", [](item_record *item) -> char * { return item->RefItemId; }},
};

// The texts of an item hold whatever fits on a line: with its newline that is 78 characters.
TEST(ItemSection, EachTextKeyFillsItsFieldAlone) {
    for (const auto &row : item_texts) {
        std::string key = row.key;
        for (const std::string &value :
             {std::string(" CPU1=Fan "), std::string(), std::string(77 - key.size(), 'v')}) {
            item_record expected = empty_item();
            strcpy(row.field(&expected), value.c_str());
            EXPECT_TRUE(same(item_of("[Item]\n" + key + "=" + value + "\n"), expected))
                << key << '=' << value;
        }
        for (char &c : key)
            c = static_cast<char>(tolower(c));
        item_record item = item_of("[Item]\n" + key + "=CPU1 Fan\n");
        EXPECT_STREQ(row.field(&item), "CPU1 Fan") << key;
    }
}

TEST(ItemSection, WhichLinesTheRecordTakes) {
    const struct {
        const char *contents;
        uint32_t slave; // of the last of the records, 0xFF: never given
        const char *why;
    } rows[] = {
        {"[Item]\nSLAVE=1\n", 1, "plain"},
        {"[ITEM]\nSLAVE=1", 1, "case of the head, no final newline"},
        {"[Item]\nSLAVE=1\nSLAVE=2\n", 2, "the later value of two"},
        {"[Item]\nSLAVE = 1\n", 0xFF, "a key that ends in a blank"},
        {"[Item]\nITEM_NAME=a\n\nSLAVE=1\n", 0xFF, "after a blank line"},
        {"[Item]\n\nSLAVE=1\n", 0xFF, "a blank line after the head"},
        {"[Item]\nno setting\nSLAVE=1\n", 0xFF, "after a line without an equals sign"},
        {"[Item]\n[Parameter]\nSLAVE=1\n", 0xFF, "another head"},
        {"[Item]\n[System]\nSLAVE=1\n", 0xFF, "another head"},
        {"[Item]\n[Item] \nSLAVE=1\n", 0xFF, "a head with a blank after it is a line without an equals sign"},
        {"[Item]\n[Item]\r\nSLAVE=1\n", 0xFF, "so is one with a carriage return"},
        {"[Item]\n\r\nSLAVE=1\n", 0xFF, "and a carriage return alone"},
        {"[Item]\n[Item]=x\nSLAVE=1\n", 1, "a bracket does not leave when the line is a setting"},
        {"[Item]\nUNKNOWN=x\nSLAVE=1\n", 1, "unknown keys stay inside"},
        {"SLAVE=1\n[Item]\n", 0xFF, "before the head"},
        {"[Item]\nSLAVE=1\r\n", 1, "a number ends before the carriage return"},
    };
    for (const auto &row : rows)
        EXPECT_EQ(item_of(row.contents).Slave, row.slave) << row.why;
}

TEST(ItemSection, RecordsComeInFileOrder) {
    item_record items[4];
    read_items("[Item]\n"
               "ITEM_NAME=first\n"
               "SLAVE=1\n"
               "[Item]\n" // right after the other
               "ITEM_NAME=second\n"
               "\n"
               "SLAVE=99\n" // in no section
               "[System]\n"
               "SLAVE=98\n"
               "[item]\n"
               "[ITEM]\n"
               "ITEM_NAME=fourth\n"
               "OFFSET=4\n",
               items);
    EXPECT_STREQ(items[0].Name, "first");
    EXPECT_EQ(items[0].Slave, 1u);
    EXPECT_STREQ(items[1].Name, "second");
    EXPECT_EQ(items[1].Slave, 0xFFu);
    EXPECT_TRUE(same(items[2], empty_item())) << "an item without a key is an item";
    EXPECT_STREQ(items[3].Name, "fourth");
    EXPECT_EQ(items[3].Slave, 0xFFu);
    EXPECT_EQ(items[3].Offset, 4u);
}

TEST(ItemSection, CountBoundsTheTable) {
    item_record items[3];
    memset(items, 0xA5, sizeof items);
    item_record guard = items[2];
    FILE *stream = stream_of("[Item]\nSLAVE=1\n[Item]\nSLAVE=2\n[Item]\nSLAVE=3\n");
    EXPECT_EQ(readItemSection(stream, items, 2), 0u);
    os_fclose(stream);
    EXPECT_EQ(items[0].Slave, 1u);
    EXPECT_EQ(items[1].Slave, 2u) << "the third record's keys go nowhere";
    EXPECT_TRUE(same(items[2], guard));
}

// 79 characters and a newline: the newline comes as a blank line of its own, and that ends the record.
TEST(ItemSection, FullLineEndsTheRecord) {
    item_record item = item_of("[Item]\nITEM_NAME=" + std::string(68, 'n') + "\nSLAVE=1\n");
    EXPECT_EQ(item.Name, std::string(68, 'n'));
    EXPECT_EQ(item.Slave, 1u);
    item = item_of("[Item]\nITEM_NAME=" + std::string(69, 'n') + "\nSLAVE=1\n");
    EXPECT_EQ(item.Name, std::string(69, 'n'));
    EXPECT_EQ(item.Slave, 0xFFu);
    item = item_of("[Item]\nITEM_NAME=" + std::string(69, 'n')); // at the end of the file
    EXPECT_EQ(item.Name, std::string(69, 'n'));
    item = item_of("[Item]\nITEM_NAME=" + std::string(69, 'n') + "SLAVE=2\nOFFSET=3\n");
    EXPECT_EQ(item.Slave, 2u) << "the rest of the line is a setting";
    EXPECT_EQ(item.Offset, 3u);
}

TEST(ParameterSection, KeysNotGivenKeepTheirDefaults) {
    parameter_record parameters[1];
    read_parameters("[Parameter]\nUNKNOWN=1\nITEM_NAME=x\n", parameters);
    EXPECT_TRUE(same(parameters[0], empty_parameter()));
}

TEST(ParameterSection, KeysFillTheirFields) {
    parameter_record parameters[6];
    read_parameters("[Parameter]\nPARAMETER=Divisor1\nSLAVE=0x2D\nOFFSET=47\nBITMASK=0x30\n"
                    "[PARAMETER]\nparameter=VOL1H\n"
                    "[parameter]\nslave=2\n"
                    "[Parameter]\nOffset=0x1FFFFFFFF\n"
                    "[Parameter]\nbitmask=zz\n"
                    "[Parameter]\nPARAMETER=a=b\nSLAVE=1\nSLAVE=2\n",
                    parameters);
    const parameter_record expected[6] = {
        {"Divisor1", 0x2D, 0x47, 0x30}, {"VOL1H", 0xFF, 0xFF, 0xFF}, {"", 2, 0xFF, 0xFF},
        {"", 0xFF, 0xFFFFFFFF, 0xFF},   {"", 0xFF, 0xFF, 0},         {"a=b", 2, 0xFF, 0xFF},
    };
    for (int i = 0; i < 6; i++)
        EXPECT_TRUE(same(parameters[i], expected[i])) << "record " << i;
}

TEST(ParameterSection, LineWithoutEqualsSignEndsTheRecord) {
    for (const char *line : {"", "text", "[Item]", "[System]", "[Parameter] ", "\r"}) {
        parameter_record parameters[1];
        read_parameters(std::string("SLAVE=9\n[Parameter]\nSLAVE=1\n") + line + "\nOFFSET=2\n", parameters);
        EXPECT_EQ(parameters[0].Slave, 1u) << '"' << line << '"';
        EXPECT_EQ(parameters[0].Offset, 0xFFu) << '"' << line << '"';
    }
}

// 12 characters hold 11 bytes and the terminator.
TEST(ParameterSection, LongNamesAreCutOnWholeCharacters) {
    const struct {
        const char *value;
        const char *expected;
    } rows[] = {
        {"SWITCH16A", "SWITCH16A"},
        {"ABCDEFGHIJK", "ABCDEFGHIJK"},
        {"ABCDEFGHIJKL", "ABCDEFGHIJK"},
        {"ABCDEFGHIJKLMNOPQRSTUVWXYZ", "ABCDEFGHIJK"},
        {"ABCDEFGHI\xC3\xA9z", "ABCDEFGHI\xC3\xA9"},
        {"ABCDEFGHIJ\xC3\xA9", "ABCDEFGHIJ"},
        {"ABCDEFGH\xE2\x82\xAC", "ABCDEFGH\xE2\x82\xAC"},
        {"ABCDEFGHI\xE2\x82\xAC", "ABCDEFGHI"},
        {"ABCDEFGHIJ\xE2\x82\xAC", "ABCDEFGHIJ"},
        {"ABCDEFG\xF0\x9F\x98\x80", "ABCDEFG\xF0\x9F\x98\x80"},
        {"ABCDEFGH\xF0\x9F\x98\x80", "ABCDEFGH"},
        {"ABCDEFGHI\xF0\x9F\x98\x80", "ABCDEFGHI"},
        {"ABCDEFGHIJ\xF0\x9F\x98\x80", "ABCDEFGHIJ"},
    };
    for (const auto &row : rows) {
        parameter_record parameters[1];
        read_parameters(std::string("[Parameter]\nSLAVE=1\nPARAMETER=") + row.value + "\n", parameters);
        EXPECT_STREQ(parameters[0].szKeyName, row.expected) << row.value;
        EXPECT_EQ(parameters[0].Slave, 1u) << row.value;
    }
}

TEST(ParameterSection, RecordsBeyondTheCapacityAreDropped) {
    parameter_record parameters[3];
    memset(parameters, 0xA5, sizeof parameters);
    parameter_record guard = parameters[2];
    FILE *stream = stream_of("[Parameter]\nPARAMETER=P1\n[Parameter]\nPARAMETER=P2\nSLAVE=2\n"
                             "[Parameter]\nPARAMETER=P3\nSLAVE=3\nOFFSET=3\n[Parameter]\nPARAMETER=P4\n");
    EXPECT_EQ(readParameterSection(stream, parameters, 2), 0u);
    EXPECT_STREQ(parameters[0].szKeyName, "P1");
    EXPECT_TRUE(same(parameters[1], {"P2", 2, 0xFF, 0xFF})) << "the third record's keys go nowhere";
    EXPECT_TRUE(same(parameters[2], guard));
    EXPECT_EQ(readParameterSection(stream, nullptr, 0), 0u);
    os_fclose(stream);
}
