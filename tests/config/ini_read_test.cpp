// Loading as a whole, and the dump. The single passes are in ini_system_test.cpp and ini_tables_test.cpp.
#include "config/ini_read.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <sys/resource.h>

#include "config/records.h"
#include "support/os_test.h"

struct free_block {
    void operator()(void *block) const { free(block); }
};

struct loaded {
    uint32_t count;
    std::unique_ptr<system_settings, free_block> system;
    std::unique_ptr<item_record, free_block> items;
    std::unique_ptr<parameter_record, free_block> parameters;
    std::string output;
    std::string errors;
};

static loaded load() {
    loaded result;
    system_settings *system = nullptr;
    item_record *items = nullptr;
    parameter_record *parameters = nullptr;
    result.errors = test_door::captured_stderr([&] {
        result.output = test_door::captured_stdout(
            [&] { result.count = loadKestrelINI_and_getItemCount(&system, &items, &parameters); });
    });
    result.system.reset(system);
    result.items.reset(items);
    result.parameters.reset(parameters);
    return result;
}

static loaded load(const std::string &contents) {
    test_door::reset();
    test_door::put_file("/etc/Kestrel.ini", contents);
    return load();
}

static void expect_quiet(const loaded &result, uint32_t count, const char *name) {
    EXPECT_EQ(result.count, count) << name;
    EXPECT_EQ(result.output, "") << name;
    EXPECT_EQ(result.errors, "") << name;
}

TEST(Load, FillsTheThreeTablesInAnyOrderOfSections) {
    loaded result = load("[Parameter]\nPARAMETER=VOL1H\nSLAVE=1\nOFFSET=2B\nBITMASK=FF\n\n"
                         "[Item]\nITEM_NAME=Vcore\nITEM_CAT=VOLTAGE\nVOL_FUNC=VCCP\nPARAINDEX1=VOL1H\n\n"
                         "[System]\nBUSTYPE=2\nPOLLING=30\n\n"
                         "[Item]\nITEM_NAME=Fan\nITEM_CAT=FAN\n\n"
                         "[Parameter]\nPARAMETER=Divisor1\n\n");
    expect_quiet(result, 2, "");
    EXPECT_EQ(result.system->BusType, 2u);
    EXPECT_EQ(result.system->Polling, 30u);
    const item_record *items = result.items.get();
    EXPECT_STREQ(items[0].Name, "Vcore");
    EXPECT_EQ(items[0].Cat, CAT_VOLTAGE);
    EXPECT_EQ(items[0].VolFunc, 4u);
    EXPECT_STREQ(items[0].ParaIndex1, "VOL1H");
    EXPECT_STREQ(items[1].Name, "Fan");
    EXPECT_EQ(items[1].Cat, CAT_FAN);
    EXPECT_EQ(items[1].VolFunc, 0xFFu);
    const parameter_record *parameters = result.parameters.get();
    EXPECT_TRUE(same(parameters[0], {"VOL1H", 1, 0x2B, 0xFF}));
    EXPECT_TRUE(same(parameters[1], {"Divisor1", 0xFF, 0xFF, 0xFF}));
    // Room for twice as many records as items; those that the file does not fill have no name.
    EXPECT_STREQ(parameters[2].szKeyName, "");
    EXPECT_STREQ(parameters[3].szKeyName, "");
}

TEST(Load, MissingFile) {
    test_door::reset();
    loaded result = load();
    EXPECT_EQ(result.count, 0xFFFFFFFFu);
    EXPECT_EQ(result.output, "Error: the ini file is not found!\n");
    EXPECT_EQ(result.errors, "");
    EXPECT_EQ(result.system, nullptr);
    EXPECT_EQ(result.items, nullptr);
    EXPECT_EQ(result.parameters, nullptr);
}

TEST(Load, FileThatMayNotBeReadCountsAsMissing) {
    test_door::reset();
    test_door::put_file("/etc/Kestrel.ini", "[Item]\n");
    test_door::fail_call("fopen", 1, EACCES);
    loaded result = load();
    EXPECT_EQ(result.count, 0xFFFFFFFFu);
    EXPECT_EQ(result.output, "Error: the ini file is not found!\n");
}

// A directory can be opened but not read: each pass over it fails.
TEST(Load, Directory) {
    test_door::reset();
    std::filesystem::create_directories(test_door::real_path("/etc/Kestrel.ini"));
    loaded result = load();
    EXPECT_EQ(result.count, 0u);
    EXPECT_EQ(result.errors, "Error: getSystemSection().\n");
    EXPECT_EQ(result.output, "Error: readItemSection().\n"
                             "Error: readParameterSection().\n");
}

TEST(Load, FailedCloseIsSaidAndTheTablesStand) {
    test_door::reset();
    test_door::put_file("/etc/Kestrel.ini", "[Item]\nSLAVE=5\n");
    test_door::fail_call("fclose", 1, EIO);
    loaded result = load();
    EXPECT_EQ(result.count, 1u);
    EXPECT_EQ(result.output, "Error: fclose().\n");
    EXPECT_EQ(result.errors, "");
    EXPECT_EQ(result.items.get()[0].Slave, 5u);
}

TEST(Load, FilesWithoutItems) {
    const struct {
        const char *name;
        std::string contents;
    } rows[] = {
        {"empty", ""},
        {"a newline", "\n"},
        {"carriage returns", "[System]\r\nBUSTYPE=2\r\n[Item]\r\nITEM_NAME=a\r\n[Parameter]\r\nSLAVE=1\r\n"},
        {"heads with a blank after them", "[System] \nBUSTYPE=2\n[Item] \nITEM_NAME=a\n"},
        {"parameters alone", "[Parameter]\nPARAMETER=VOL1H\nSLAVE=1\n"},
        {"NUL bytes", std::string(10000, '\0')},
        {"one line", std::string(100000, '=')},
        {"brackets", std::string(100000, '[')},
    };
    for (const auto &row : rows) {
        loaded result = load(row.contents);
        expect_quiet(result, 0, row.name);
        EXPECT_TRUE(same(*result.system, system_settings{})) << row.name;
    }
}

TEST(Load, BinaryGarbage) {
    uint32_t state =
        1; // a linear congruential generator; its upper bytes take every value, NUL and newline among them
    std::string garbage;
    for (int i = 0; i < 300000; i++) {
        state = state * 1664525 + 1013904223;
        garbage += static_cast<char>(state >> 24);
    }
    expect_quiet(load(garbage), 0, "garbage alone");
    loaded result = load("[System]\nPOLLING=5\n[Item]\nSLAVE=6\n" + garbage + "\n[Item]\nSLAVE=7");
    expect_quiet(result, 2, "garbage between two items");
    EXPECT_EQ(result.system->Polling, 5u);
    EXPECT_EQ(result.items.get()[0].Slave, 6u);
    EXPECT_EQ(result.items.get()[1].Slave, 7u);
}

TEST(Load, WithoutSystemSectionTheSettingsAreEmpty) {
    loaded result = load("[Item]\nITEM_NAME=a");
    expect_quiet(result, 1, "");
    EXPECT_TRUE(same(*result.system, system_settings{}));
    EXPECT_STREQ(result.items->Name, "a");
}

TEST(Load, UnknownNamesAreSaidAndReadingGoesOn) {
    loaded result = load("[System]\nMAILALERT=maybe\n[Item]\nITEM_CAT=PUMP\nMONITOR=yes\nSLAVE=3\n");
    EXPECT_EQ(result.count, 1u);
    EXPECT_EQ(result.output, "");
    EXPECT_EQ(result.errors, "str2code: Failure! maybe\n"
                             "str2code: Failure! PUMP\n"
                             "str2code: Failure! yes\n");
    EXPECT_EQ(result.system->MailAlert, 0xFFFFFFFFu);
    EXPECT_EQ(result.items->Cat, 0xFFFFFFFFu);
    EXPECT_EQ(result.items->Monitor, 0xFFFFFFFFu);
    EXPECT_EQ(result.items->Slave, 3u);
}

TEST(Load, ManyLines) {
    std::string contents = "[System]\nPOLLING=7\n";
    for (int i = 0; i < 200000; i++)
        contents += "UNKNOWN" + std::to_string(i) + "=value\n";
    loaded result = load(contents + "BUSTYPE=3\n[Item]\nSLAVE=1\n");
    expect_quiet(result, 1, "200,000 lines");
    EXPECT_EQ(result.system->Polling, 7u);
    EXPECT_EQ(result.system->BusType, 3u);
    EXPECT_EQ(result.items->Slave, 1u);
}

TEST(Load, ThousandItemsAndTwiceAsManyParameters) {
    std::string contents;
    char text[200];
    for (uint32_t i = 0; i < 1000; i++) {
        snprintf(text, sizeof text, "[Item]\nITEM_NAME=Item %u\nOFFSET=0x%x\n\n", i, i);
        contents += text;
    }
    for (uint32_t i = 0; i < 2001; i++) { // one more than there is room for
        snprintf(text, sizeof text, "[Parameter]\nPARAMETER=P%u\nOFFSET=%x\n\n", i, i);
        contents += text;
    }
    loaded result = load(contents);
    expect_quiet(result, 1000, "");
    for (uint32_t i = 0; i < 1000; i++) {
        EXPECT_EQ(result.items.get()[i].Name, "Item " + std::to_string(i));
        EXPECT_EQ(result.items.get()[i].Offset, i);
    }
    for (uint32_t i = 0; i < 2000; i++) {
        EXPECT_EQ(result.parameters.get()[i].szKeyName, "P" + std::to_string(i));
        EXPECT_EQ(result.parameters.get()[i].Offset, i);
    }
}

// What does not fit on the first line of the value comes in lines without an equals sign: skipped in
// [System], the end of the record in the other sections.
TEST(Load, ValuesOf10000Characters) {
    std::string value(10000, 'w');
    loaded result = load("[System]\nMACHINENAME=" + value + "\nPOLLING=7\n[Item]\nITEM_NAME=" + value +
                         "\nSLAVE=1\n[Parameter]\nPARAMETER=" + value + "\nSLAVE=1\n");
    expect_quiet(result, 1, "");
    EXPECT_EQ(result.system->MachineName, std::string(39, 'w'));
    EXPECT_EQ(result.system->Polling, 7u);
    EXPECT_EQ(result.items->Name, std::string(69, 'w')); // 79 less "ITEM_NAME="
    EXPECT_EQ(result.items->Slave, 0xFFu);
    EXPECT_EQ(result.parameters->szKeyName, std::string(11, 'w'));
    EXPECT_EQ(result.parameters->Slave, 0xFFu);
}

static std::string blanks(size_t count) { return std::string(count, ' '); }

TEST(PrintConf, DumpsTheThreeTables) {
    system_settings system = {};
    system.BusType = 3;
    system.IndexReg = 0x295;
    system.DataReg = 0x12345;
    system.MailAlert = 1;
    system.PagerAlert = 0xFFFFFFFF; // what an unknown name leaves
    system.Polling = 60;

    item_record items[2] = {empty_item(), empty_item()};
    strcpy(items[0].Name, "CPU Temperature");
    strcpy(items[0].ItemId, "Item_TEMP1");
    items[0].Cat = 2;
    items[0].ChipCode = 0x1C;
    items[0].Slave = 0x2D;
    items[0].Offset = 0x50;
    strcpy(items[0].ParaIndex1, "TEMP1H");
    strcpy(items[0].RefItemId, "Item_VOL1");
    items[0].Monitor = 1;
    items[0].BusType = 2;
    items[0].Source = 0;
    // Longer than their columns: printed whole.
    strcpy(items[1].Name, "A name that is longer than its column");
    strcpy(items[1].ItemId, "Item_SWITCH1_and_more");
    strcpy(items[1].ParaIndex2, "SWITCH16AB");
    items[1].Cat = 0xFFFFFFFF;

    const parameter_record parameters[3] = {
        {"TEMP1H", 0x2D, 0x2B, 0xFF}, {"ABCDEFGHIJK", 1, 0x1234567, 0x12345678}, empty_parameter()};

    std::string output = test_door::captured_stdout([&] { print_conf(&system, items, 2, parameters, 3); });

    // Each field in its width, with a blank after it.
    std::string expected = "--- System ---\n"
                           "BusType=3\n"
                           "IndexReg=0x0295\n"
                           "DataReg=0x12345\n"
                           "MAILALERT=1\n"
                           "PAGERALERT=-1\n"
                           "POLLING=60\n"
                           "--- ITEM ---\n";
    expected += blanks(24) + "Name " + blanks(9) + "Item_ID " + " Cat " + "ChipCode " + "Activate " +
                "Slave " + "Offset " + "ParaIndex1 " + "ParaIndex2 " + blanks(5) + "Ref_Item_ID " +
                "Vol_Func " + "Monitor " + "BusType " + "Source " + "\n";
    expected += blanks(13) + "CPU Temperature " + blanks(6) + "Item_TEMP1 " + "0002 " + "001c " + "0ff " +
                "0002d " + "000050 " + "  TEMP1H " + blanks(9) + blanks(7) + "Item_VOL1 " + "000ff " +
                "0000001 " + "0000002 " + "000000 " + "\n";
    expected += std::string("A name that is longer than its column ") + "Item_SWITCH1_and_more " +
                "ffffffff " + "00ff " + "0ff " + "000ff " + "0000ff " + blanks(9) + "SWITCH16AB " +
                blanks(17) + "000ff " + "00000ff " + "00000ff " + "0000ff " + "\n";
    expected += "\n"
                "--- PARAMETER ---\n"
                "Slave Offset BitMask szKeyName\n";
    expected += "0002d 00002b 00000ff     TEMP1H \n";
    expected += "00001 1234567 12345678 ABCDEFGHIJK \n";
    expected += "000ff 0000ff 00000ff " + blanks(10) + " \n";
    expected += "\n";
    EXPECT_EQ(output, expected);
}

TEST(PrintConf, EmptyTablesKeepTheirHeadings) {
    system_settings system = {};
    EXPECT_EQ(
        test_door::captured_stdout([&] { print_conf(&system, nullptr, 0, nullptr, 0); }),
        "--- System ---\nBusType=0\nIndexReg=0x0000\nDataReg=0x0000\nMAILALERT=0\nPAGERALERT=0\nPOLLING=0\n"
        "--- ITEM ---\n"
        "                        Name          Item_ID  Cat ChipCode Activate Slave Offset ParaIndex1 "
        "ParaIndex2 "
        "     Ref_Item_ID Vol_Func Monitor BusType Source \n"
        "\n"
        "--- PARAMETER ---\n"
        "Slave Offset BitMask szKeyName\n"
        "\n");
}

TEST(PrintConf, ATerminalGetsNoControlCharacters) {
    test_door::reset();
    test_door::terminal = true;
    system_settings system = {};
    item_record item = empty_item();
    parameter_record parameter = empty_parameter();
    for (char *text : {item.Name, item.ItemId, item.ParaIndex1, item.ParaIndex2, item.RefItemId})
        strcpy(text, "<\x1b>");
    strcpy(parameter.szKeyName, "<\x1b>");
    std::string output = test_door::captured_stdout([&] { print_conf(&system, &item, 1, &parameter, 1); });
    EXPECT_EQ(output.find('\x1b'), std::string::npos);
    size_t marked = 0;
    for (size_t at = output.find("<?>"); at != std::string::npos; at = output.find("<?>", at + 1))
        marked++;
    EXPECT_EQ(marked, 6u) << output;
}

#ifndef __SANITIZE_ADDRESS__ // which ends a process that gets no memory
// A megabyte of heads is half a gigabyte of records.
TEST(Load, TooManyItemsForTheMemoryCountAsNoFile) {
    test_door::reset();
    constexpr size_t ITEMS = 1000000;
    std::string contents = "[System]\n";
    for (size_t i = 0; i < ITEMS; i++)
        contents += "[Item]\n";
    test_door::put_file(KESTREL_INI, contents);
    rlimit before = {};
    getrlimit(RLIMIT_AS, &before);
    rlimit small = before;
    small.rlim_cur = ITEMS * sizeof(item_record); // and the program itself is not nothing
    ASSERT_EQ(setrlimit(RLIMIT_AS, &small), 0);
    loaded result = load();
    setrlimit(RLIMIT_AS, &before);
    EXPECT_EQ(result.count, 0xFFFFFFFFu);
    EXPECT_EQ(result.system, nullptr);
    EXPECT_EQ(result.items, nullptr);
    EXPECT_EQ(result.parameters, nullptr);
}
#endif
