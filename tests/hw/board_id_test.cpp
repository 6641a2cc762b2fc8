#include "hw/board_id.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <gtest/gtest.h>
#include <random>
#include <string>
#include <vector>

#include "support/os_test.h"

constexpr uint32_t ENTRY = 0xF1230; // on a 16-byte boundary
constexpr uint32_t TABLE = 0x9F123; // not on a page boundary

// The test is linked with --wrap=malloc: the next allocation of this size fails (0: none does).
static size_t refused_size;
extern "C" void *__real_malloc(size_t size);

extern "C" void *__wrap_malloc(size_t size) {
    if (size == 0 || size != refused_size)
        return __real_malloc(size);
    refused_size = 0;
    errno = ENOMEM;
    return nullptr;
}

struct board_names {
    char manufacturer[BOARD_NAME_SIZE] = "";
    char product[BOARD_NAME_SIZE] = "";
    char version[BOARD_NAME_SIZE] = "";
};

// The legacy entry point: anchor, checksum, table length, address, number of structures, revision.
static std::string entry_point(size_t length, uint32_t address, unsigned count) {
    std::string bytes = "_DMI_\x5A";
    bytes += {static_cast<char>(length), static_cast<char>(length >> 8)};
    for (int shift = 0; shift < 32; shift += 8)
        bytes += static_cast<char>(address >> shift);
    bytes += {static_cast<char>(count), static_cast<char>(count >> 8), '\x23', '\0'};
    return bytes;
}

// A structure: type, length of the formatted area, handle, the rest of that area; then its strings. A
// structure without strings ends in two NULs all the same.
static std::string structure(char type, const std::string &rest, const std::vector<std::string> &strings) {
    std::string bytes = {type, static_cast<char>(4 + rest.size()), '\x34', '\x12'};
    bytes += rest;
    for (const std::string &string : strings)
        bytes += string + '\0';
    return bytes + std::string(strings.empty() ? 2 : 1, '\0');
}

static std::string base_board(const std::string &manufacturer, const std::string &product,
                              const std::string &version) {
    return structure(2, "\x01\x02\x03\x04", {manufacturer, product, version, "0123456789"});
}

static const std::string maker_board = base_board("BRIGANTINE", "H4DG-8", "1.3");
static const std::string bios_structure = structure(0, "\x01\x02", {"A vendor", "2.0"});
static const std::string plain_structure = structure(1, "\x55\x55", {});

static void put_table(uint32_t entry, uint32_t address, const std::string &table, unsigned count) {
    test_door::put_memory(entry, entry_point(table.size(), address, count));
    test_door::put_memory(address, table);
}

// Identifies the board; returns what was written to standard error.
static std::string identify(board_names *names) {
    return test_door::captured_stderr(
        [names] { get_mb_info(names->manufacturer, names->product, names->version); });
}

static void expect_names(const board_names &names, const char *manufacturer, const char *product,
                         const char *version, const std::string &what = "") {
    EXPECT_STREQ(names.manufacturer, manufacturer) << what;
    EXPECT_STREQ(names.product, product) << what;
    EXPECT_STREQ(names.version, version) << what;
}

static std::string hex(uint32_t number) {
    char text[16];
    snprintf(text, sizeof text, "%x", number);
    return text;
}

// A mapping of `size` bytes and its end, as the log shows them.
static std::string mapped(uint32_t address, size_t size) {
    std::string length = hex(static_cast<uint32_t>(size));
    return "map " + hex(address) + " " + length + "\nunmap " + length + "\n";
}

// ---- The DMI table

TEST(BoardIdTable, NamesOfTheBaseBoard) {
    test_door::reset();
    std::string table = bios_structure + maker_board + plain_structure;
    put_table(ENTRY, TABLE, table, 3);
    board_names names;
    EXPECT_EQ(identify(&names), "");
    expect_names(names, "BRIGANTINE", "H4DG-8", "1.3");
    // Mapped from the page that holds the first byte on: 0x123 bytes more.
    EXPECT_EQ(test_door::take_log(),
              "open /dev/mem 0\nseek f0000\n" + mapped(0x9F000, 0x123 + table.size()) + "close 1000\n");
}

TEST(BoardIdTable, AlignedTableIsMappedFromItsStart) {
    test_door::reset();
    put_table(0xF0000, 0x7FFF0000, maker_board, 1);
    board_names names;
    EXPECT_EQ(identify(&names), "");
    expect_names(names, "BRIGANTINE", "H4DG-8", "1.3");
    EXPECT_EQ(test_door::take_log(),
              "open /dev/mem 0\nseek f0000\n" + mapped(0x7FFF0000, maker_board.size()) + "close 1000\n");
}

TEST(BoardIdTable, AnyPlaceAmongTheStructures) {
    for (unsigned before = 0; before < 20; before++) {
        test_door::reset();
        std::string table;
        for (unsigned i = 0; i < before; i++)
            table += i % 2 == 0 ? bios_structure : plain_structure;
        put_table(ENTRY, TABLE, table + maker_board, before + 1);
        board_names names;
        EXPECT_EQ(identify(&names), "") << before;
        expect_names(names, "BRIGANTINE", "H4DG-8", "1.3", std::to_string(before));
    }
}

TEST(BoardIdTable, FirstBaseBoardCounts) {
    test_door::reset();
    put_table(ENTRY, TABLE, maker_board + base_board("BRIGANTINE", "OTHER", "9"), 2);
    board_names names;
    identify(&names);
    expect_names(names, "BRIGANTINE", "H4DG-8", "1.3");
}

TEST(BoardIdTable, MakersNameInAnyCaseIsNotSearchedByForce) {
    for (const char *maker : {"BRIGANTINE", "Brigantine", "brigantine", "bRIGANtine", "  Brigantine\t"}) {
        test_door::reset();
        put_table(ENTRY, TABLE, base_board(maker, "H4DG-8", "1.3"), 1);
        board_names names;
        EXPECT_EQ(identify(&names), "") << maker;
        EXPECT_EQ(test_door::take_log().find("open /dev/mem 2"), std::string::npos) << maker;
    }
}

TEST(BoardIdTable, StringsAreTrimmed) {
    test_door::reset();
    put_table(ENTRY, TABLE, base_board(" \tBRIGANTINE \r\n", "\v\fH4DG 8  ", "   "), 1);
    board_names names;
    identify(&names);
    expect_names(names, "BRIGANTINE", "H4DG 8", "");
}

TEST(BoardIdTable, NumbersSelectStrings) {
    const struct {
        std::string numbers;
        const char *manufacturer;
        const char *product;
        const char *version;
    } rows[] = {
        {std::string("\x01\x02\x03", 3), "BRIGANTINE", "H4DG-8", "1.3"},
        {std::string("\x01\x03\x02", 3), "BRIGANTINE", "1.3", "H4DG-8"},
        {std::string("\x00\x02\x03", 3), "BRIGANTINE", "H4DG-8", "1.3"}, // 0 is the first string too
        {std::string("\x01\x00\x00", 3), "BRIGANTINE", "BRIGANTINE", "BRIGANTINE"},
        {std::string("\x01\x01\x01", 3), "BRIGANTINE", "BRIGANTINE", "BRIGANTINE"},
        {std::string("\x01\x04\x03", 3), "BRIGANTINE", "", "1.3"}, // no fourth string
        {std::string("\x01\x02\xFF", 3), "BRIGANTINE", "H4DG-8", ""},
    };
    for (const auto &row : rows) {
        test_door::reset();
        put_table(ENTRY, TABLE, structure(2, row.numbers, {"BRIGANTINE", "H4DG-8", "1.3"}) + plain_structure,
                  2);
        board_names names;
        EXPECT_EQ(identify(&names), "");
        expect_names(names, row.manufacturer, row.product, row.version, testing::PrintToString(row.numbers));
    }
}

TEST(BoardIdTable, LongNameIsCutToItsBuffer) {
    test_door::reset();
    put_table(ENTRY, TABLE, base_board("BRIGANTINE", std::string(80, 'p'), "1.3"), 1);
    board_names names;
    identify(&names);
    expect_names(names, "BRIGANTINE", std::string(BOARD_NAME_SIZE - 1, 'p').c_str(), "1.3");
}

TEST(BoardIdTable, NothingIsReadBehindTheTable) {
    std::string whole = bios_structure + maker_board;
    for (size_t length = 1; length <= whole.size(); length++) {
        test_door::reset();
        test_door::put_memory(ENTRY, entry_point(length, TABLE, 2));
        test_door::put_memory(TABLE, whole); // the bytes are there, but they are not the table's
        board_names names;
        identify(&names);
        size_t manufacturer_end = bios_structure.size() + 8 + strlen("BRIGANTINE") + 1;
        if (length >= manufacturer_end) {
            EXPECT_STREQ(names.manufacturer, "BRIGANTINE") << length;
        }
        if (length >= manufacturer_end + strlen("H4DG-8") + 1) {
            EXPECT_STREQ(names.product, "H4DG-8") << length;
        }
        if (length <= bios_structure.size())
            expect_names(names, "", "", "", std::to_string(length));
        for (const char *name : {names.manufacturer, names.product, names.version})
            EXPECT_LT(strnlen(name, BOARD_NAME_SIZE), BOARD_NAME_SIZE) << length;
    }
}

TEST(BoardIdTable, BaseBoardWithoutItsTerminators) {
    std::string table = maker_board;
    while (table.back() == '\0')
        table.pop_back();
    test_door::reset();
    put_table(ENTRY, TABLE, table, 1);
    board_names names;
    EXPECT_EQ(identify(&names), "");
    expect_names(names, "BRIGANTINE", "H4DG-8", "1.3"); // the serial number is the one that breaks off
}

// The next structure begins after the first pair of NULs from the end of the formatted area on.
TEST(BoardIdTable, ShortStructuresAreStepped) {
    for (char length : {'\0', '\x01', '\x03', '\x04', '\x05'}) {
        test_door::reset();
        std::string odd = {'\x07', length, '\x34', '\x12', '\x66', '\0', '\0'};
        put_table(ENTRY, TABLE, odd + maker_board, 2);
        board_names names;
        EXPECT_EQ(identify(&names), "") << int{length};
        expect_names(names, "BRIGANTINE", "H4DG-8", "1.3", std::to_string(length));
    }
}

// The formatted area may hold pairs of NULs, and what looks like a base board.
TEST(BoardIdTable, FormattedAreaIsSteppedAsAWhole) {
    test_door::reset();
    std::string rest = std::string("\x55\0\0", 3) + base_board("BRIGANTINE", "DECOY", "0");
    put_table(ENTRY, TABLE, structure(9, rest, {"Slot"}) + maker_board, 2);
    board_names names;
    EXPECT_EQ(identify(&names), "");
    expect_names(names, "BRIGANTINE", "H4DG-8", "1.3");
}

TEST(BoardIdTable, StructureLongerThanTheTableEndsIt) {
    test_door::reset();
    std::string odd = {'\x07', '\xFF', '\x34', '\x12', '\0', '\0'};
    put_table(ENTRY, TABLE, odd + maker_board, 2);
    board_names names;
    EXPECT_EQ(identify(&names), "");
    expect_names(names, "", "", "");
}

TEST(BoardIdTable, BaseBoardOfAnOddLengthIsHarmless) {
    for (int length : {0, 1, 3, 4, 5, 6, 254, 255})
        for (const std::string &behind : {std::string(), std::string("\0\0", 2), std::string(300, 'x'),
                                          std::string("BRIGANTINE\0H4DG-8\0", 18)}) {
            test_door::reset();
            std::string odd = {'\x02', static_cast<char>(length), '\x34', '\x12', '\x01', '\x02', '\x03'};
            put_table(ENTRY, TABLE, odd + behind, 1);
            board_names names;
            identify(&names);
            EXPECT_EQ(names.manufacturer[BOARD_NAME_SIZE - 1], '\0') << length;
            EXPECT_EQ(names.product[BOARD_NAME_SIZE - 1], '\0') << length;
            EXPECT_EQ(names.version[BOARD_NAME_SIZE - 1], '\0') << length;
        }
}

// The string numbers that a base board without room for them would have are beyond the table.
TEST(BoardIdTable, BaseBoardThatIsTheWholeTable) {
    for (size_t length = 4; length <= 8; length++) {
        test_door::reset();
        std::string odd = {'\x02', static_cast<char>(length), '\x34', '\x12'};
        put_table(ENTRY, TABLE, odd + std::string(length - 4, '\x01'), 1);
        board_names names;
        identify(&names);
        expect_names(names, "", "", "", std::to_string(length));
    }
}

TEST(BoardIdTable, OnlyTheAnnouncedNumberOfStructuresCounts) {
    for (unsigned count : {0u, 1u, 2u}) {
        test_door::reset();
        put_table(ENTRY, TABLE, bios_structure + plain_structure + maker_board, count);
        board_names names;
        identify(&names);
        expect_names(names, "", "", "", std::to_string(count));
    }
    for (unsigned count : {3u, 4u, 500u, 65535u}) {
        test_door::reset();
        put_table(ENTRY, TABLE, bios_structure + plain_structure + maker_board, count);
        board_names names;
        identify(&names);
        expect_names(names, "BRIGANTINE", "H4DG-8", "1.3", std::to_string(count));
    }
}

TEST(BoardIdTable, MoreStructuresAnnouncedThanThereAre) {
    test_door::reset();
    put_table(ENTRY, TABLE, bios_structure + plain_structure, 65535);
    board_names names;
    EXPECT_EQ(identify(&names), "");
    expect_names(names, "", "", "");
}

// ---- The entry point

TEST(BoardIdEntry, AnyParagraphOfTheArea) {
    for (uint32_t entry : {0xF0000u, 0xF0010u, 0xF8000u, 0xFFFE0u, 0xFFFF0u}) {
        test_door::reset();
        put_table(entry, TABLE, maker_board, 1);
        board_names names;
        identify(&names);
        expect_names(names, "BRIGANTINE", "H4DG-8", "1.3", hex(entry));
    }
    for (uint32_t entry : {0xEFFF0u, 0xF0001u, 0xF0008u, 0x100000u}) {
        test_door::reset();
        put_table(entry, TABLE, maker_board, 1);
        board_names names;
        identify(&names);
        expect_names(names, "", "", "", hex(entry));
    }
}

TEST(BoardIdEntry, NewerAnchorIsNotUsed) {
    test_door::reset();
    put_table(ENTRY, TABLE, maker_board, 1);
    test_door::put_memory(ENTRY, "_SM_");
    board_names names;
    identify(&names);
    expect_names(names, "", "", "");
}

TEST(BoardIdEntry, AllFiveCharactersOfTheAnchorCount) {
    for (uint32_t i = 0; i < 5; i++) {
        test_door::reset();
        put_table(ENTRY, TABLE, maker_board, 1);
        test_door::put_memory(ENTRY + i, "x");
        board_names names;
        EXPECT_EQ(identify(&names), "") << i;
        expect_names(names, "", "", "", std::to_string(i));
    }
}

TEST(BoardIdEntry, SecondOneIsTakenWhenTheFirstHasNoBaseBoard) {
    for (const std::string &first : {plain_structure, std::string()}) { // no base board; no table at all
        test_door::reset();
        put_table(0xF0100, 0x8F010, first, 4);
        put_table(0xF0200, TABLE, maker_board, 1);
        board_names names;
        EXPECT_EQ(identify(&names), "");
        expect_names(names, "BRIGANTINE", "H4DG-8", "1.3");
        EXPECT_EQ(test_door::take_log(), "open /dev/mem 0\nseek f0000\n" +
                                             mapped(0x8F000, 0x10 + first.size()) +
                                             mapped(0x9F000, 0x123 + maker_board.size()) + "close 1000\n");
    }
}

TEST(BoardIdEntry, FirstBaseBoardEndsTheScan) {
    test_door::reset();
    put_table(0xF0100, 0x8F010, maker_board, 1);
    put_table(0xF0200, TABLE, base_board("BRIGANTINE", "OTHER", "9"), 1);
    board_names names;
    identify(&names);
    expect_names(names, "BRIGANTINE", "H4DG-8", "1.3");
}

// ---- Failures of the machine. Buffers stay as they were.

TEST(BoardIdFailure, Messages) {
    const struct {
        const char *call;
        const char *message;
        const char *log_end;
    } rows[] = {
        {"open", "Error: open (\"/dev/mem\")\n", "open /dev/mem 0 failed\n"},
        {"seek", "Error: seek\n", "seek f0000 failed\nclose 1000\n"},
        {"map", "Error: mmap\n", " failed\nclose 1000\n"},
        {"copy", "Error: memcpy\n", "unmap 14d\nclose 1000\n"}, // 0x123 bytes of the page and the table's 42
        {"unmap", "Error: munmap\n", " failed\nclose 1000\n"},
    };
    for (const auto &row : rows) {
        test_door::reset();
        put_table(ENTRY, TABLE, maker_board, 1);
        test_door::fail_call(row.call, 1, EPERM);
        board_names names;
        EXPECT_EQ(identify(&names), row.message) << row.call;
        expect_names(names, "", "", "", row.call);
        std::string log = test_door::take_log();
        EXPECT_EQ(log.find("popen"), std::string::npos) << log;
        ASSERT_GE(log.size(), strlen(row.log_end)) << log;
        EXPECT_EQ(log.substr(log.size() - strlen(row.log_end)), row.log_end) << row.call;
    }
}

TEST(BoardIdFailure, NoMemoryForTheTable) {
    test_door::reset();
    put_table(ENTRY, TABLE, maker_board, 1);
    board_names names;
    refused_size = maker_board.size();
    EXPECT_EQ(identify(&names), "Error: malloc\n");
    EXPECT_EQ(refused_size, 0u);
    expect_names(names, "", "", "");
    EXPECT_EQ(test_door::take_log(),
              "open /dev/mem 0\nseek f0000\n" + mapped(0x9F000, 0x123 + maker_board.size()) + "close 1000\n");
}

TEST(BoardIdFailure, TableThatCannotBeMappedByItsLength) {
    test_door::reset();
    put_table(ENTRY, 0x9F000, "", 1); // a mapping of no bytes
    board_names names;
    EXPECT_EQ(identify(&names), "Error: mmap\n");
    expect_names(names, "", "", "");
}

// A page that does not come is read again by its paragraphs: nothing was missed, so nothing is reported.
TEST(BoardIdFailure, PageThatDoesNotComeIsReadInParagraphs) {
    test_door::reset();
    put_table(ENTRY, TABLE, maker_board, 1);
    test_door::fail_call("read", 1, EIO);
    board_names names;
    EXPECT_EQ(identify(&names), "");
    expect_names(names, "BRIGANTINE", "H4DG-8", "1.3");
}

// What the reads of an empty BIOS area return, one after the other, the later ones all of it; their sizes.
static std::vector<size_t> sizes_of_reads(const std::vector<ssize_t> &first, const char *message) {
    test_door::reset();
    test_door::on_open = [](const std::string &, int) { return 50; };
    std::vector<size_t> sizes;
    test_door::on_read = [&](int, void *buffer, size_t size) -> ssize_t {
        memset(buffer, 0, size);
        sizes.push_back(size);
        return sizes.size() <= first.size() ? first[sizes.size() - 1] : static_cast<ssize_t>(size);
    };
    board_names names;
    EXPECT_EQ(identify(&names), message);
    return sizes;
}

TEST(BoardIdFailure, ShortReadIsReportedAndTheScanGoesOn) {
    std::vector<size_t> expected = {4096};
    expected.insert(expected.end(), 256, 16);
    expected.insert(expected.end(), 15, 4096);
    EXPECT_EQ(sizes_of_reads({-1, -1}, "Error: read\n"), expected);
    EXPECT_EQ(sizes_of_reads({0, 15}, "Error: read\n"), expected);
}

// Two paragraphs came and half of a third, which is reported; 253 are left of the page.
TEST(BoardIdFailure, PageThatBreaksOff) {
    std::vector<size_t> expected = {4096};
    expected.insert(expected.end(), 253, 16);
    expected.insert(expected.end(), 15, 4096);
    EXPECT_EQ(sizes_of_reads({40}, "Error: read\n"), expected);
}

TEST(BoardIdFailure, OnlyShortReadsAreReportedOneByOne) {
    test_door::reset();
    test_door::on_open = [](const std::string &, int) { return 50; };
    int reads = 0;
    test_door::on_read = [&reads](int fd, void *, size_t size) -> ssize_t {
        EXPECT_EQ(fd, 50);
        EXPECT_EQ(size, reads % 256 == 0 ? 4096u : 16u);
        reads++;
        return 8;
    };
    board_names names;
    std::string expected;
    for (int i = 0; i < 0x10000 / 16; i++)
        expected += "Error: read\n";
    EXPECT_EQ(identify(&names), expected);
    EXPECT_EQ(reads, 0x10000 / 16);
}

// ---- Without a base board: the command. The tab is a tab for sed, too.

static const std::string ask_manufacturer =
    "dmidecode|grep -i 'DMI type 2,' -A 6 | grep Manufacturer | sed 's/Manufacturer: //g' | sed 's/\x09//g'";
static const std::string ask_product =
    "dmidecode|grep -i 'DMI type 2,' -A 6 | grep Product | sed 's/Product Name: //g' | sed 's/\x09//g'";
static const std::string ask_version =
    "dmidecode|grep -i 'DMI type 2,' -A 6 | grep Version | sed 's/Version: //g' | sed 's/\x09//g'";

static std::string answer_of_dmidecode(const char *command) {
    if (command == ask_manufacturer)
        return "Brigantine\n";
    if (command == ask_product)
        return "H4DG-8\n";
    return command == ask_version ? "1.3\n" : "unknown\n";
}

TEST(BoardIdCommand, ThreePipelines) {
    test_door::reset();
    put_table(ENTRY, TABLE, bios_structure + plain_structure, 2);
    test_door::on_popen = answer_of_dmidecode;
    board_names names;
    EXPECT_EQ(identify(&names), "");
    expect_names(names, "Brigantine", "H4DG-8", "1.3");
    EXPECT_EQ(test_door::take_log(),
              "open /dev/mem 0\nseek f0000\n" +
                  mapped(0x9F000, 0x123 + bios_structure.size() + plain_structure.size()) +
                  "close 1000\npopen " + ask_manufacturer + "\npopen " + ask_product + "\npopen " +
                  ask_version + "\n");
}

TEST(BoardIdCommand, AnotherMakerIsNotSearchedByForce) {
    test_door::reset();
    test_door::put_memory(0, "x"); // memory without a table
    test_door::on_popen = [](const char *) { return "Somebody\n"; };
    board_names names;
    identify(&names);
    expect_names(names, "Somebody", "Somebody", "Somebody");
    EXPECT_EQ(test_door::take_log().find("open /dev/mem 2"), std::string::npos);
}

TEST(BoardIdCommand, OneOfThemMayFail) {
    for (int failing : {1, 2, 3}) {
        test_door::reset();
        test_door::put_memory(0, "x");
        test_door::on_popen = answer_of_dmidecode;
        test_door::fail_call("popen", failing, ENOMEM);
        board_names names;
        EXPECT_EQ(identify(&names), "") << failing;
        expect_names(names, failing == 1 ? "" : "Brigantine", failing == 2 ? "" : "H4DG-8",
                     failing == 3 ? "" : "1.3", std::to_string(failing));
    }
}

TEST(BoardIdCommand, NotAskedWhenABufferIsFilled) {
    for (int filled : {0, 1, 2}) {
        test_door::reset();
        test_door::put_memory(0, "x");
        test_door::on_popen = answer_of_dmidecode;
        board_names names;
        char *buffers[] = {names.manufacturer, names.product, names.version};
        strcpy(buffers[filled], "there");
        EXPECT_EQ(identify(&names), "") << filled;
        EXPECT_EQ(test_door::take_log(), "open /dev/mem 0\nseek f0000\nclose 1000\n") << filled;
        EXPECT_STREQ(buffers[filled], "there");
    }
}

// ---- Another manufacturer: the search in the BIOS area

static const std::string other_board = base_board("Other Manufacturer Inc", "LONGPRODUCTNAME", "2.00");

static void put_other_board() {
    test_door::reset();
    put_table(ENTRY, TABLE, other_board, 1);
}

static std::string other_table_log() {
    return "open /dev/mem 0\nseek f0000\n" + mapped(0x9F000, 0x123 + other_board.size()) + "close 1000\n";
}

// The log of one search that looks at so many blocks of the area's eight.
static std::string search_log(int blocks) {
    std::string log = "open /dev/mem 2\n";
    for (int i = 0; i < blocks; i++)
        log += mapped(0xF0000 + static_cast<uint32_t>(i) * 0x2000, 0x2000);
    return log + "close 1000\n";
}

TEST(BoardIdForce, NothingFoundLeavesTheNames) {
    put_other_board();
    board_names names;
    EXPECT_EQ(identify(&names), "");
    expect_names(names, "Other Manufacturer Inc", "LONGPRODUCTNAME", "2.00");
    EXPECT_EQ(test_door::take_log(), other_table_log() + search_log(8) + search_log(8) + search_log(8));
}

// Only the string's own characters are copied: the tail of what was there stays.
TEST(BoardIdForce, ShorterNameLeavesTheTailOfTheLongerOne) {
    put_other_board();
    test_door::put_memory(0xF5000, base_board("BRIGANTINE", "H4DG", "1.3"));
    board_names names;
    EXPECT_EQ(identify(&names), "");
    expect_names(names, "BRIGANTINEfacturer Inc", "H4DGPRODUCTNAME", "1.30");
}

TEST(BoardIdForce, ThreeLetterCasesInTheirOrder) {
    const struct {
        const char *name;
        int full_searches; // before the one that finds it in the third block
    } rows[] = {{"Brigantine", 0}, {"BRIGANTINE", 1}, {"brigantine", 2}};
    for (const auto &row : rows) {
        put_other_board();
        test_door::put_memory(0xF5000, base_board(row.name, "PRODUCT", "1"));
        board_names names;
        EXPECT_EQ(identify(&names), "") << row.name;
        std::string expected = other_table_log();
        for (int i = 0; i < row.full_searches; i++)
            expected += search_log(8);
        EXPECT_EQ(test_door::take_log(), expected + search_log(3)) << row.name;
        EXPECT_EQ(strncmp(names.manufacturer, row.name, 10), 0) << names.manufacturer;
    }
    put_other_board();
    test_door::put_memory(0xF5000, base_board("bRIGANTINE", "PRODUCT", "1"));
    board_names names;
    identify(&names);
    EXPECT_STREQ(names.manufacturer, "Other Manufacturer Inc") << "no other letter case";
}

TEST(BoardIdForce, FirstCaseThatFindsARecordIsTaken) {
    test_door::reset();
    test_door::put_memory(0xF1000, base_board("brigantine", "LOWER", "1"));
    test_door::put_memory(0xF3000, base_board("BRIGANTINE", "UPPER", "2"));
    test_door::put_memory(0xFD000, base_board("Brigantine", "MIXED", "3"));
    board_names names;
    EXPECT_EQ(get_mb_info_by_force(names.manufacturer, names.product, names.version), 1);
    expect_names(names, "Brigantine", "MIXED", "3");
}

TEST(BoardIdForce, NameMayStandInAnyString) {
    const std::vector<std::string> strings[] = {
        {"Brigantine Inc.", "H4DG", "1.3"},
        {"Somebody", "Brigantine H4DG", "1.3"},
        {"Somebody", "H4DG", "for Brigantine"},
        {"Somebody", "H4DG", "1.3", "serial", "Brigantine"},
    };
    for (const auto &set : strings) {
        test_door::reset();
        test_door::put_memory(0xF5000, structure(2, "\x01\x02\x03\x04", set));
        board_names names;
        EXPECT_EQ(get_mb_info_by_force(names.manufacturer, names.product, names.version), 1) << set.back();
        expect_names(names, set[0].c_str(), set[1].c_str(), set[2].c_str());
    }
}

TEST(BoardIdForce, NotARecordOfTheBoard) {
    const std::string rows[] = {
        std::string("Brigantine BIOS\0\0", 17),                      // a mere text
        structure(1, "\x01\x02", {"Brigantine", "H4DG"}),            // another type
        structure(3, "\x01\x02\x03", {"Brigantine", "H4DG", "1.3"}), // and another
        base_board("Brigantin", "H4DG", "1.3"),                      // another name
    };
    for (const std::string &bytes : rows) {
        test_door::reset();
        test_door::put_memory(0xF5000, bytes);
        board_names names;
        EXPECT_EQ(get_mb_info_by_force(names.manufacturer, names.product, names.version), 0)
            << testing::PrintToString(bytes);
        expect_names(names, "", "", "");
        // The search goes on after it, in the same block and in later ones.
        for (uint32_t address : {0xF5400u, 0xFB000u}) {
            test_door::put_memory(address, base_board("Brigantine", "H4DG-8", "1.3"));
            board_names found;
            EXPECT_EQ(get_mb_info_by_force(found.manufacturer, found.product, found.version), 1);
            expect_names(found, "Brigantine", "H4DG-8", "1.3");
            test_door::put_memory(address, std::string(200, '\0'));
        }
    }
}

TEST(BoardIdForce, LastBlockBelongsToTheArea) {
    std::string record = base_board("Brigantine", "H4DG-8", "1.3");
    uint32_t last = static_cast<uint32_t>(0x100000 - record.size()); // less than 128 bytes before its end
    for (uint32_t address : {0xFE002u, 0xFF000u, last}) {
        test_door::reset();
        test_door::put_memory(address, record);
        board_names names;
        EXPECT_EQ(get_mb_info_by_force(names.manufacturer, names.product, names.version), 1) << hex(address);
        expect_names(names, "Brigantine", "H4DG-8", "1.3", hex(address));
        EXPECT_EQ(test_door::take_log(), search_log(8)) << hex(address);
    }
}

TEST(BoardIdForce, StringThatBreaksOffAtTheBlocksEndIsLeft) {
    test_door::reset();
    std::string record = base_board("Brigantine", "H4DG-8", "1.3");
    test_door::put_memory(0xF2000 - 12, record); // the first string begins 4 bytes before the block's end
    board_names names;
    EXPECT_EQ(get_mb_info_by_force(names.manufacturer, names.product, names.version), 0);
    test_door::put_memory(0xFE000, std::string(0x2000, 'x')); // no NUL at all in the last block
    EXPECT_EQ(get_mb_info_by_force(names.manufacturer, names.product, names.version), 0);
}

// The maker's name is in the record's bytes 8 to 17, its NUL in byte 18.
TEST(BoardIdForce, RecordMayCrossTheEndOfABlock) {
    std::string record = structure(2, "\x01\x02\x03\x04", {"Brigantine", "N6SE-F", "1.3", "0123456789"});
    for (int place = -130; place <= 2; place++) { // of the record, against the first block's end
        test_door::reset();
        test_door::put_memory(static_cast<uint32_t>(0xF2000 + place), record);
        board_names names;
        int found = get_mb_info_by_force(names.manufacturer, names.product, names.version);
        bool name_crosses = place > -19 && place < -8; // it is not looked at then, as is required
        EXPECT_EQ(found, name_crosses ? 0 : 1) << place;
        if (name_crosses)
            continue;
        expect_names(names, "Brigantine", "N6SE-F", "1.3", std::to_string(place));
        // The second block is read when 128 bytes from the record on are not all in the first.
        EXPECT_EQ(test_door::take_log(), search_log(place <= -128 ? 1 : 2)) << place;
    }
}

TEST(BoardIdForce, RecordWhoseSecondBlockIsRefusedIsNotUsed) {
    put_other_board();
    test_door::put_memory(0xF2000 - 24, base_board("Brigantine", "N6SE-F", "1.3"));
    test_door::refuse_maps_from(0xF2000);
    board_names names;
    std::string refused = "\tCan't map address 000F2000\n";
    EXPECT_EQ(identify(&names), refused + refused + refused);
    expect_names(names, "Other Manufacturer Inc", "LONGPRODUCTNAME", "2.00");
}

// The copy ends within the product's name: what it has of it is taken, up to its end, and nothing after it.
TEST(BoardIdForce, StringThatTheCopyEndsInIsTakenUpToThere) {
    test_door::reset();
    std::string rest = "\x01\x02\x03" + std::string(93, '\x55'); // a formatted area of 100 bytes
    test_door::put_memory(0xF5000, structure(2, rest, {"Brigantine Computer Sys", "N6SE-F", "1.3"}));
    board_names names;
    EXPECT_EQ(get_mb_info_by_force(names.manufacturer, names.product, names.version), 1);
    expect_names(names, "Brigantine Computer Sys", "N6SE", ""); // 100 + 24 + 4
}

TEST(BoardIdForce, RecordAtTheVeryStartHasNoNulsBeforeIt) {
    test_door::reset();
    test_door::put_memory(0xF0000, base_board("Brigantine", "H4DG-8", "1.3"));
    board_names names;
    EXPECT_EQ(get_mb_info_by_force(names.manufacturer, names.product, names.version), 0);
}

TEST(BoardIdForce, StringsBehindTheCopyAreNotAvailable) {
    // A formatted area of 100 bytes and a string of 27 with its NUL: byte 128 is the next one's first.
    test_door::reset();
    std::string rest = "\x01\x02\x03" + std::string(93, '\x55');
    test_door::put_memory(0xF5000, structure(2, rest, {"Brigantine Computer Systems", "H4DG-8", "1.3"}));
    board_names names;
    EXPECT_EQ(get_mb_info_by_force(names.manufacturer, names.product, names.version), 1);
    expect_names(names, "Brigantine Computer Systems", "", "");
}

TEST(BoardIdForce, NamesAlreadyThereStayWhenNothingIsFound) {
    test_door::reset();
    test_door::put_memory(0xF5000, "x");
    board_names names;
    strcpy(names.product, "there");
    EXPECT_EQ(get_mb_info_by_force(names.manufacturer, names.product, names.version), 0);
    expect_names(names, "", "there", "");
}

TEST(BoardIdForce, BlockThatCannotBeMappedHoldsNoRecord) {
    put_other_board();
    test_door::put_memory(0xF9000, base_board("Brigantine", "H4DG-8", "1.3"));
    test_door::refuse_maps_from(0xF2000);
    board_names names;
    EXPECT_EQ(identify(&names), "\tCan't map address 000F2000\n\tCan't map address 000F2000\n"
                                "\tCan't map address 000F2000\n");
    expect_names(names, "Other Manufacturer Inc", "LONGPRODUCTNAME", "2.00");
    std::string search =
        "open /dev/mem 2\n" + mapped(0xF0000, 0x2000) + "map f2000 2000 failed\nclose 1000\n";
    EXPECT_EQ(test_door::take_log(), other_table_log() + search + search + search);
}

TEST(BoardIdForceDeathTest, NoMemoryDeviceEndsTheProgram) {
    EXPECT_EXIT(
        {
            put_other_board();
            test_door::fail_call("open", 2, EACCES); // the first one reads the table
            board_names names;
            get_mb_info(names.manufacturer, names.product, names.version);
        },
        testing::ExitedWithCode(1), "^Error at line 146, file system \\(13\\) \\[Permission denied\\]\n$");
}

// ---- One search

static std::string search(const char *text, uint32_t start, uint32_t end, uint8_t **found) {
    return test_door::captured_stderr([=] { *found = search_string_in_dmi_type_2(text, start, end); });
}

TEST(BoardIdSearch, CopyOf128Bytes) {
    test_door::reset();
    std::string record = base_board("Brigantine", "H4DG-8", "1.3");
    test_door::put_memory(0xF5000, record + std::string(200, 'x'));
    uint8_t *found = nullptr;
    EXPECT_EQ(search("Brigantine", 0xF0000, 0xFFFFF, &found), "");
    ASSERT_NE(found, nullptr);
    ASSERT_NE(found, MAP_REFUSED);
    std::string expected = record + std::string(200, 'x');
    expected.resize(TYPE_2_COPY_SIZE);
    EXPECT_EQ(std::string(reinterpret_cast<char *>(found), TYPE_2_COPY_SIZE), expected);
    free(found);
}

TEST(BoardIdSearch, NothingFoundIsNull) {
    test_door::reset();
    test_door::put_memory(0xF5000, base_board("Brigantine", "H4DG-8", "1.3"));
    uint8_t *found = MAP_REFUSED;
    EXPECT_EQ(search("brigantine", 0xF0000, 0xFFFFF, &found), "");
    EXPECT_EQ(found, nullptr);
    EXPECT_EQ(test_door::take_log(), search_log(8));
}

TEST(BoardIdSearch, TextBeforeTheStartIsNotLookedAt) {
    test_door::reset();
    test_door::put_memory(0xF1100, base_board("Brigantine", "H4DG-8", "1.3"));
    uint8_t *found = nullptr;
    EXPECT_EQ(search("Brigantine", 0xF1800, 0xF3800, &found), "");
    EXPECT_EQ(found, nullptr);
    std::string log = test_door::take_log();
    EXPECT_EQ(log.find("open /dev/mem 2\n" + mapped(0xF1000, 0x2000)), 0u)
        << "from the start's page on: " << log;
    search("Brigantine", 0xF1080, 0xF3000, &found);
    EXPECT_NE(found, nullptr);
    free(found);
}

TEST(BoardIdSearch, LaterBlocksAreSearchedFromTheirStart) {
    test_door::reset();
    test_door::put_memory(0xF3100, base_board("Brigantine", "H4DG-8", "1.3")); // the second block's 100
    uint8_t *found = nullptr;
    EXPECT_EQ(search("Brigantine", 0xF1800, 0xF5000, &found), "");
    EXPECT_NE(found, nullptr);
    free(found);
}

TEST(BoardIdSearch, RefusedMappingIsAllBitsSet) {
    test_door::reset();
    test_door::put_memory(0xF5000, "x");
    test_door::refuse_maps_from(0);
    uint8_t *found = nullptr;
    EXPECT_EQ(search("Brigantine", 0xF0000, 0xFFFFF, &found), "\tCan't map address 000F0000\n");
    EXPECT_EQ(reinterpret_cast<uintptr_t>(found), UINTPTR_MAX);
    EXPECT_EQ(test_door::take_log(), "open /dev/mem 2\nmap f0000 2000 failed\nclose 1000\n");
}

TEST(BoardIdSearch, BlockThatCannotBeCopiedIsNull) {
    test_door::reset();
    test_door::put_memory(0xF1000, base_board("Brigantine", "H4DG-8", "1.3"));
    test_door::fail_call("copy", 1, EFAULT);
    uint8_t *found = MAP_REFUSED;
    EXPECT_EQ(search("Brigantine", 0xF0000, 0xFFFFF, &found), "Error: memcpy\n");
    EXPECT_EQ(found, nullptr);
    EXPECT_EQ(test_door::take_log(), search_log(1));
}

TEST(BoardIdSearch, NoMemoryForTheAreaIsNull) {
    test_door::reset();
    test_door::put_memory(0xF1000, base_board("Brigantine", "H4DG-8", "1.3"));
    uint8_t *found = MAP_REFUSED;
    refused_size = 0x10000;
    EXPECT_EQ(search("Brigantine", 0xF0000, 0xFFFFF, &found), "Error: malloc\n");
    EXPECT_EQ(found, nullptr);
    EXPECT_EQ(test_door::take_log(), search_log(0));
}

TEST(BoardIdSearch, RefusedUnmappingIsNull) {
    test_door::reset();
    test_door::put_memory(0xF1000, base_board("Brigantine", "H4DG-8", "1.3"));
    test_door::fail_call("unmap", 1, EINVAL);
    uint8_t *found = MAP_REFUSED;
    EXPECT_EQ(search("Brigantine", 0xF0000, 0xFFFFF, &found), "Error: munmap\n");
    EXPECT_EQ(found, nullptr);
}

// ---- Random damage: whatever is in the table, nothing is read beyond it and the walk ends. (The test's
// ---- mappings end where the table ends, so that a sanitizer sees one byte more.)

TEST(BoardIdTable, RandomDamageIsHarmless) {
    const std::string whole = bios_structure + plain_structure +
                              structure(4, "\x01\x02\x03", {"CPU", "x", "y"}) + maker_board +
                              structure(127, "", {});
    std::mt19937 random(20061013);
    auto below = [&random](size_t limit) { return static_cast<size_t>(random() % limit); };
    for (int round = 0; round < 400; round++) {
        test_door::reset();
        std::string table = whole.substr(0, below(8) == 0 ? 1 + below(whole.size()) : whole.size());
        for (size_t changes = 1 + below(8); changes > 0; changes--)
            table[below(table.size())] = static_cast<char>(below(4) == 0 ? below(6) : random());
        std::string entry = entry_point(table.size(), TABLE, 6);
        if (below(4) == 0)
            entry[6 + below(8)] = static_cast<char>(random());
        test_door::put_memory(ENTRY, entry);
        test_door::put_memory(TABLE, table);
        test_door::refuse_maps_from(0xF0000); // the forced search is another test
        board_names names;
        identify(&names);
        for (const char *name : {names.manufacturer, names.product, names.version})
            EXPECT_LT(strnlen(name, BOARD_NAME_SIZE), BOARD_NAME_SIZE) << "round " << round;
    }
}

TEST(BoardIdForce, RandomDamageIsHarmless) {
    std::mt19937 random(20070402);
    std::string whole = base_board("Brigantine", "H4DG-8", "1.3");
    for (int round = 0; round < 300; round++) {
        test_door::reset();
        std::string bytes = whole;
        for (size_t changes = 1 + random() % 8; changes > 0; changes--)
            bytes[random() % bytes.size()] = static_cast<char>(random() % 4 == 0 ? random() % 6 : random());
        test_door::put_memory(static_cast<uint32_t>(0xF2000 - random() % 160), bytes); // about a block's end
        uint8_t *found = nullptr;
        search("Brigantine", 0xF0000, 0xF4000, &found);
        free(found);
    }
}

// ---- trim

TEST(BoardIdTrim, WhiteSpaceAtTheEndsGoes) {
    const struct {
        const char *text;
        const char *expected;
    } rows[] = {
        {"", ""},
        {"word", "word"},
        {"  two words  ", "two words"},
        {" \f\n\r\t\vword", "word"},
        {"word \f\n\r\t\v", "word"},
        {"\v\t\r\n\f word\v\t\r\n\f ", "word"},
        {" ", ""},
        {" \f\n\r\t\v", ""},
        {"a", "a"},
        {" a", "a"},
        {"a ", "a"},
        {"a\tb\nc", "a\tb\nc"},
        {"\x01word\x1F", "\x01word\x1F"}, // other control characters stay
        {"\xA0word\xA0", "\xA0word\xA0"},
    };
    for (const auto &row : rows) {
        char *trimmed = trim(row.text);
        ASSERT_NE(trimmed, nullptr);
        EXPECT_STREQ(trimmed, row.expected) << "'" << row.text << "'";
        EXPECT_NE(static_cast<const void *>(trimmed), row.text) << "a copy";
        free(trimmed);
    }
}

TEST(BoardIdTrim, NullIsNull) { EXPECT_EQ(trim(nullptr), nullptr); }

// ---- get_cmd_output

TEST(BoardIdCommandOutput, NoCommandIsAFailure) {
    test_door::reset();
    char out[10] = "before";
    EXPECT_EQ(get_cmd_output("", out, sizeof out), -1);
    EXPECT_EQ(get_cmd_output(nullptr, out, sizeof out), -1);
    EXPECT_EQ(test_door::take_log(), "");
    EXPECT_STREQ(out, "before");
}

TEST(BoardIdCommandOutput, CommandThatCannotBeStarted) {
    test_door::reset();
    test_door::fail_call("popen", 1, ENOMEM);
    char out[10] = "before";
    EXPECT_EQ(get_cmd_output("dmidecode", out, sizeof out), -1);
    EXPECT_EQ(test_door::take_log(), "popen dmidecode failed\n");
    EXPECT_STREQ(out, "before");
}

TEST(BoardIdCommandOutput, OneNewlineAtTheEndGoes) {
    const std::string x254(254, 'x');
    const std::string x255(255, 'x');
    const struct {
        std::string printed;
        std::string expected;
    } rows[] = {
        {"", ""},
        {"\n", ""},
        {"word", "word"},
        {"word\n", "word"},
        {"word\n\n", "word\n"},
        {"one\ntwo\nthree\n", "one\ntwo\nthree"},
        {" word \n", " word "},
        {x254 + "\n", x254},
        {x254 + "\nmore\n", x254}, // the last of the 255 bytes is the newline
        {x255 + "\n", x255},
        {x255 + "yyyyyyyyyy\n", x255},
        {std::string(300, 'x'), x255},
        {std::string(100000, 'x'), x255},
    };
    for (const auto &row : rows) {
        test_door::reset();
        test_door::on_popen = [&row](const char *) { return row.printed; };
        char out[400];
        memset(out, '?', sizeof out);
        EXPECT_EQ(get_cmd_output("dmidecode -t 2", out, sizeof out), 0);
        EXPECT_EQ(out, row.expected) << row.printed.size() << " bytes: " << row.printed.substr(0, 40);
        EXPECT_EQ(test_door::take_log(), "popen dmidecode -t 2\n");
    }
}

TEST(BoardIdCommandOutput, CutToItsBuffer) {
    test_door::reset();
    test_door::on_popen = [](const char *) { return "0123456789\n"; };
    char out[9] = "????????";
    EXPECT_EQ(get_cmd_output("dmidecode", out, 8), 0);
    EXPECT_STREQ(out, "0123456");
}

// ---- dump_hex_char

static std::string address_of(const uint8_t *row) {
    char text[32];
    snprintf(text, sizeof text, "\n%08lX: ", static_cast<unsigned long>(reinterpret_cast<uintptr_t>(row)));
    return text;
}

static std::string dumped(const uint8_t *start, const uint8_t *end) {
    return test_door::captured_stdout([=] { dump_hex_char(start, end); });
}

TEST(BoardIdDump, WholeRows) {
    alignas(16) uint8_t bytes[32] = {0x00, 0x1F, 0x20, 0x41, 0x5A, 0x61, 0x7A, 0x7B,
                                     0x7E, 0x7F, 0x80, 0xFF, 0x30, 0x39, 0x0A, 0x2E};
    EXPECT_EQ(dumped(bytes, bytes + 32),
              address_of(bytes) + "00 1F 20 41 5A 61 7A 7B 7E 7F 80 FF 30 39 0A 2E    .. AZaz.....09.." +
                  address_of(bytes + 16) +
                  "00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00    ................");
}

TEST(BoardIdDump, PlacesOutsideTheRange) {
    alignas(16) uint8_t bytes[32];
    for (int i = 0; i < 32; i++)
        bytes[i] = static_cast<uint8_t>(0x41 + i); // A, B, C, ...
    EXPECT_EQ(dumped(bytes + 3, bytes + 20),
              address_of(bytes) + "__ __ __ 44 45 46 47 48 49 4A 4B 4C 4D 4E 4F 50       DEFGHIJKLMNOP" +
                  address_of(bytes + 16) +
                  "51 52 53 54 __ __ __ __ __ __ __ __ __ __ __ __    QRST            ");
    EXPECT_EQ(dumped(bytes + 5, bytes + 7),
              address_of(bytes) + "__ __ __ __ __ 46 47 __ __ __ __ __ __ __ __ __         FG         ");
}

TEST(BoardIdDump, NothingBeforeTheStart) {
    alignas(16) uint8_t bytes[16] = {};
    EXPECT_EQ(dumped(bytes, bytes), "");
}
