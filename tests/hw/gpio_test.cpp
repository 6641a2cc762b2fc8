#include "hw/gpio.h"

#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <map>
#include <string>

#include "support/os_test.h"

constexpr uint32_t UNTOUCHED = 0xABCD1234;

// ---- Super I/O

static std::map<uint16_t, uint8_t> bytes_at; // what single ports give, 0xFF elsewhere
static std::map<uint8_t, uint8_t> superio;   // registers behind 0x2E and 0x2F

static void attach_superio() {
    test_door::reset();
    static uint8_t selected;
    test_door::on_outb = [](uint16_t port, uint8_t value) {
        if (port == 0x2E)
            selected = value;
    };
    test_door::on_inb = [](uint16_t port) -> uint8_t {
        if (port == 0x2F)
            return superio.count(selected) != 0 ? superio[selected] : 0xFF;
        return bytes_at.count(port) != 0 ? bytes_at[port] : 0xFF;
    };
}

static const char GRANTS[] = "ioperm 002e 1 1\nioperm 002f 1 1\n";

TEST(SuperGpio, ChipFourIsReadInConfigurationMode) {
    attach_superio();
    test_door::grant_all_ports(false); // the two ports are granted by the call itself
    superio = {{0xE1, 0x64}};
    uint32_t value = UNTOUCHED;
    ReadSuperGPIO(4, 0x09, 0xE1, &value);
    EXPECT_EQ(value, 0x64u);
    EXPECT_EQ(test_door::take_log(), std::string(GRANTS) + "outb 002e 87\n"
                                                           "outb 002e 87\n"
                                                           "outb 002e 07\n"
                                                           "outb 002f 09\n"
                                                           "outb 002e e1\n"
                                                           "inb 002f 64\n"
                                                           "outb 002e aa\n");
}

TEST(SuperGpio, ChipFourFailsOnRefusedPorts) {
    attach_superio();
    test_door::grant_all_ports(false);
    test_door::fail_call("ioperm", 1, EPERM); // 0x2E
    uint32_t value = UNTOUCHED;
    EXPECT_EQ(ReadSuperGPIO(4, 0x09, 0xE1, &value), -1);
    EXPECT_EQ(value, UNTOUCHED);
    attach_superio();
    test_door::grant_all_ports(false);
    test_door::fail_call("ioperm", 2, EPERM); // 0x2F
    EXPECT_EQ(ReadSuperGPIO(4, 0x09, 0xE1, &value), -1);
    EXPECT_EQ(value, UNTOUCHED);
}

// A chip that is left in configuration mode would answer other programs wrongly.
TEST(SuperGpio, ChipFourIsLeftAfterAFailedRead) {
    attach_superio();
    test_door::fail_call("inb", 1, EIO);
    uint32_t value = UNTOUCHED;
    EXPECT_EQ(ReadSuperGPIO(4, 0x09, 0xE1, &value), -1);
    EXPECT_EQ(value, UNTOUCHED);
    EXPECT_EQ(test_door::take_log(), std::string(GRANTS) + "outb 002e 87\n"
                                                           "outb 002e 87\n"
                                                           "outb 002e 07\n"
                                                           "outb 002f 09\n"
                                                           "outb 002e e1\n"
                                                           "inb 002f failed\n"
                                                           "outb 002e aa\n");
}

// One test, as the base is kept for the whole run: refused, then read by halves, then a base of 0 (neither is
// kept), then 0x0A10 (which is).
TEST(SuperGpio, ChipFiveIsReadAtABaseThatIsReadOnce) {
    const std::string find_base = "outb 002e 07\n" // without the entry sequence
                                  "outb 002f 07\n"
                                  "outb 002e 60\n";
    attach_superio();
    test_door::grant_all_ports(false);
    test_door::fail_call("ioperm", 2, EPERM);
    uint32_t value = UNTOUCHED;
    EXPECT_EQ(ReadSuperGPIO(5, 0x07, 0x03, &value), -1);
    EXPECT_EQ(value, UNTOUCHED);

    for (int half : {1, 2}) { // high and low byte of the base: half a base is not a base
        attach_superio();
        superio = {{0x60, 0x0C}, {0x61, 0x20}};
        test_door::fail_call("inb", half, EIO);
        EXPECT_EQ(ReadSuperGPIO(5, 0x07, 0x03, &value), -1) << half;
        EXPECT_EQ(value, UNTOUCHED) << half;
    }

    attach_superio();
    superio = {{0x60, 0x00}, {0x61, 0x00}};
    bytes_at = {{0x0003, 0x11}, {0x0A13, 0x5A}, {0x0A14, 0xC3}, {0x0B00, 0x77}};
    for (int i = 0; i < 2; i++) {
        value = UNTOUCHED;
        ReadSuperGPIO(5, 0x07, 0x03, &value);
        EXPECT_EQ(value, 0x11u);
        EXPECT_EQ(test_door::take_log(), GRANTS + find_base +
                                             "inb 002f 00\noutb 002e 61\ninb 002f 00\n"
                                             "inb 0003 11\n")
            << "reading " << i;
    }

    superio = {{0x60, 0x0A}, {0x61, 0x10}};
    value = UNTOUCHED;
    ReadSuperGPIO(5, 0x07, 0x03, &value);
    EXPECT_EQ(value, 0x5Au);
    EXPECT_EQ(test_door::take_log(), GRANTS + find_base +
                                         "inb 002f 0a\noutb 002e 61\ninb 002f 10\n"
                                         "inb 0a13 5a\n");

    superio = {{0x60, 0x0B}, {0x61, 0x00}};
    value = UNTOUCHED;
    ReadSuperGPIO(5, 0x08, 0x04, &value);
    EXPECT_EQ(value, 0xC3u) << "at the base that is kept";
    EXPECT_EQ(test_door::take_log(), std::string(GRANTS) + "inb 0a14 c3\n");
    ReadSuperGPIO(5, 0x08, 0xF0, &value);
    EXPECT_EQ(value, 0x77u) << "0x0A10 + 0xF0 = 0x0B00";

    value = UNTOUCHED;
    test_door::fail_call("inb", 1, EIO);
    EXPECT_EQ(ReadSuperGPIO(5, 0x07, 0x03, &value), -1);
    EXPECT_EQ(value, UNTOUCHED);

    // Sums beyond 0xFFFF are not ports: cut to 32 or 16 bits they would be 0x0070 and 0x0000.
    test_door::take_log();
    EXPECT_EQ(ReadSuperGPIO(5, 0x07, 0xFFFFF660, &value), -1);
    EXPECT_EQ(ReadSuperGPIO(5, 0x07, 0xF5F0, &value), -1);
    EXPECT_EQ(value, UNTOUCHED);
    EXPECT_EQ(test_door::take_log().find("inb"), std::string::npos);
    bytes_at[0xFFFF] = 0x66;
    EXPECT_EQ(ReadSuperGPIO(5, 0x07, 0xF5EF, &value), 0);
    EXPECT_EQ(value, 0x66u);
}

struct unknown_row {
    uint32_t chip_code;
    const char *said;
};

TEST(SuperGpio, UnknownChipIsSaid) {
    const unknown_row rows[] = {{0, "Error: unknown ChipCode=0(0x0)\n"},
                                {3, "Error: unknown ChipCode=3(0x3)\n"},
                                {6, "Error: unknown ChipCode=6(0x6)\n"},
                                {11, "Error: unknown ChipCode=11(0xB)\n"},
                                {255, "Error: unknown ChipCode=255(0xFF)\n"}};
    for (const unknown_row &row : rows) {
        attach_superio();
        uint32_t value = UNTOUCHED;
        std::string said = test_door::captured_stderr([&] { ReadSuperGPIO(row.chip_code, 9, 0xE1, &value); });
        EXPECT_EQ(said, row.said);
        EXPECT_EQ(value, UNTOUCHED) << row.chip_code;
        EXPECT_EQ(test_door::take_log(), GRANTS) << row.chip_code;
    }
}

TEST(SouthBridgeGpio, ChipElevenIsReadThroughItsIndex) {
    test_door::reset();
    test_door::on_inb = [](uint16_t port) -> uint8_t { return port == 0xCD7 ? 0x81 : 0; };
    uint32_t value = UNTOUCHED;
    ReadSBGPIO(11, 0x99, 0x52, &value);
    EXPECT_EQ(value, 0x81u);
    EXPECT_EQ(test_door::take_log(), "iopl 3\n"
                                     "outb 0cd6 52\n"
                                     "inb 0cd7 81\n");
}

TEST(SouthBridgeGpio, UnknownChipIsSaid) {
    const unknown_row rows[] = {{0, "Error: unknown ChipCode=0(0x0)\n"},
                                {4, "Error: unknown ChipCode=4(0x4)\n"},
                                {5, "Error: unknown ChipCode=5(0x5)\n"},
                                {12, "Error: unknown ChipCode=12(0xC)\n"},
                                {255, "Error: unknown ChipCode=255(0xFF)\n"}};
    for (const unknown_row &row : rows) {
        test_door::reset();
        uint32_t value = UNTOUCHED;
        std::string said = test_door::captured_stderr([&] { ReadSBGPIO(row.chip_code, 0, 0x52, &value); });
        EXPECT_EQ(said, row.said);
        EXPECT_EQ(value, UNTOUCHED) << row.chip_code;
        EXPECT_EQ(test_door::take_log().find("inb"), std::string::npos) << row.chip_code;
    }
}

TEST(SouthBridgeGpio, RefusedPortsFail) {
    test_door::reset();
    test_door::grant_all_ports(false);
    uint32_t value = UNTOUCHED;
    EXPECT_EQ(ReadSBGPIO(11, 0, 0x52, &value), -1);
    EXPECT_EQ(value, UNTOUCHED);
    for (const char *call : {"outb", "inb"}) {
        test_door::reset();
        test_door::fail_call(call, 1, EIO);
        EXPECT_EQ(ReadSBGPIO(11, 0, 0x52, &value), -1) << call;
        EXPECT_EQ(value, UNTOUCHED) << call;
    }
}

// ---- The south bridge's pins

static std::map<uint32_t, uint32_t> space;  // configuration dwords by address, all bits set elsewhere
static std::map<uint16_t, uint32_t> levels; // dwords of other ports, 0 elsewhere

static void attach_bridge() {
    test_door::reset();
    static uint32_t address;
    test_door::on_outl = [](uint16_t port, uint32_t value) {
        if (port == 0xCF8)
            address = value;
        else
            levels[port] = value;
    };
    test_door::on_inl = [](uint16_t port) {
        if (port != 0xCFC)
            return levels.count(port) != 0 ? levels[port] : 0u;
        return space.count(address) != 0 ? space[address] : 0xFFFFFFFF;
    };
}

static std::string read_of(uint32_t address, uint32_t dword) {
    char lines[64];
    snprintf(lines, sizeof lines, "outl 0cf8 %08x\ninl 0cfc %08x\n", address, dword);
    return lines;
}

// The walk over function 0 of the first devices, which do not exist.
static std::string walk_over(uint32_t devices) {
    std::string log;
    for (uint32_t i = 0; i < devices; i++)
        log += read_of(0x80000000 + i * 0x800, 0xFFFFFFFF);
    return log;
}

static uint32_t check_28() { return static_cast<uint32_t>(CheckGPIO28Hi()); }
static uint32_t check_38() { return static_cast<uint32_t>(CheckGPIO38Hi()); }
static uint32_t check_39() { return static_cast<uint32_t>(CheckGPIO39Hi()); }

struct bridge_check {
    const char *name;
    uint32_t (*call)();
    uint32_t base_register;
    uint32_t found; // with every bit of every level set and a base of 0x0480
    uint32_t devices[4];
};

static const bridge_check CHECKS[] = {
    {"CheckGPIO28Hi", check_28, 0x58, 1, {0x2480, 0x24C0, 0x24D0}},
    {"CheckGPIO38Hi", check_38, 0x48, 1, {0x27B8}},
    {"CheckGPIO39Hi", check_39, 0x48, 1, {0x27B8}},
    {"findGpioBaseAddress", findGpioBaseAddress, 0x48, 0x480, {0x27B8, 0x3B14}},
};

static const uint32_t ANY_DEVICE[] = {0x2480, 0x24C0, 0x24D0, 0x27B8, 0x3B14, 0x2410, 0x24C2, 0x27B9, 0xFFFF};

static bool knows(const bridge_check &check, uint32_t device) {
    for (uint32_t known : check.devices)
        if (known == device)
            return true;
    return false;
}

// The bridge at bus 0, device 31, function 0, with its base in the check's register and another elsewhere.
static void put_bridge(const bridge_check &check, uint32_t id, uint32_t address) {
    space = {{address, id}, {address + 0x48, 0x1001}, {address + 0x58, 0x1001}};
    space[address + check.base_register] = 0x0481; // bit 0 is cleared
    levels = {{0x0484, 0xFFFFFFFF}, {0x048C, 0xFFFFFFFF}, {0x04B8, 0xFFFFFFFF}};
}

TEST(BridgePins, EachCheckKnowsItsOwnBridges) {
    for (const bridge_check &check : CHECKS)
        for (uint32_t device : ANY_DEVICE) {
            attach_bridge();
            put_bridge(check, device << 16 | 0x8086, 0x8000F800);
            EXPECT_EQ(check.call(), knows(check, device) ? check.found : 0)
                << check.name << " " << std::hex << device;
            attach_bridge();
            put_bridge(check, device << 16 | 0x1022, 0x8000F800);
            EXPECT_EQ(check.call(), 0u) << check.name << " another maker's " << std::hex << device;
        }
}

TEST(BridgePins, EveryAccessOfACheck) {
    struct {
        const bridge_check *check;
        std::string behind_the_base;
    } rows[] = {{&CHECKS[0], "inl 0484 ffffffff\ninl 048c ffffffff\n"},
                {&CHECKS[1], "inl 04b8 ffffffff\n"},
                {&CHECKS[2], "inl 04b8 ffffffff\n"},
                {&CHECKS[3], ""}};
    for (const auto &row : rows) {
        uint32_t id = row.check->devices[0] << 16 | 0x8086;
        attach_bridge();
        put_bridge(*row.check, id, 0x8000F800);
        row.check->call();
        EXPECT_EQ(test_door::take_log(), "iopl 3\n" + walk_over(31) + read_of(0x8000F800, id) +
                                             read_of(0x8000F800 + row.check->base_register, 0x0481) +
                                             row.behind_the_base)
            << row.check->name;
    }
}

TEST(BridgePins, TheWalkEndsAfter768Devices) {
    for (const bridge_check &check : CHECKS) {
        uint32_t id = check.devices[0] << 16 | 0x8086;
        attach_bridge();
        put_bridge(check, id, 0x8017F800); // 767 × 0x800 = 0x17F800
        EXPECT_EQ(check.call(), check.found) << check.name;
        attach_bridge();
        put_bridge(check, id, 0x80180000); // the 769th
        EXPECT_EQ(check.call(), 0u) << check.name;
        EXPECT_EQ(test_door::take_log(), "iopl 3\n" + walk_over(768)) << check.name;
    }
}

TEST(BridgePins, OnlyFunctionZeroIsLookedAt) {
    for (const bridge_check &check : CHECKS) {
        attach_bridge();
        put_bridge(check, check.devices[0] << 16 | 0x8086, 0x8000FB00);
        EXPECT_EQ(check.call(), 0u) << check.name;
    }
}

TEST(BridgePins, Pin28NeedsBothBits) {
    struct {
        uint32_t at_4, at_12;
        int high;
    } rows[] = {{0x10000000, 0x10000000, 1}, {0xFFFFFFFF, 0xFFFFFFFF, 1}, {0xEFFFFFFF, 0xFFFFFFFF, 0},
                {0xFFFFFFFF, 0xEFFFFFFF, 0}, {0xEFFFFFFF, 0xEFFFFFFF, 0}, {0, 0, 0}};
    for (const auto &row : rows) {
        attach_bridge();
        put_bridge(CHECKS[0], 0x24C08086, 0x8000F800);
        levels = {{0x0484, row.at_4}, {0x048C, row.at_12}};
        EXPECT_EQ(CheckGPIO28Hi(), row.high) << std::hex << row.at_4 << " " << row.at_12;
    }
}

TEST(BridgePins, Pins38And39AreBits6And7OfTheSecondBank) {
    struct {
        uint32_t at_38;
        int pin_38, pin_39;
    } rows[] = {{0x40, 1, 0},       {0x80, 0, 1},       {0xC0, 1, 1},      {0, 0, 0},
                {0xFFFFFFBF, 0, 1}, {0xFFFFFF7F, 1, 0}, {0xFFFFFF3F, 0, 0}};
    for (const auto &row : rows) {
        attach_bridge();
        put_bridge(CHECKS[1], 0x27B88086, 0x8000F800);
        levels = {{0x04B8, row.at_38}};
        EXPECT_EQ(CheckGPIO38Hi(), row.pin_38) << std::hex << row.at_38;
        EXPECT_EQ(CheckGPIO39Hi(), row.pin_39) << std::hex << row.at_38;
    }
}

TEST(BridgePins, RefusedPortsCountAsLow) {
    for (const bridge_check &check : CHECKS) {
        attach_bridge();
        put_bridge(check, check.devices[0] << 16 | 0x8086, 0x8000F800);
        test_door::grant_all_ports(false);
        EXPECT_EQ(check.call(), 0u) << check.name;
    }
}

// ---- Physical memory

TEST(MemoryByte, IsTakenFromItsPage) {
    struct {
        uint32_t address;
        const char *page;
    } rows[] = {{0x000FE123, "fe000"},
                {0x000FEFFF, "fe000"},
                {0x000FF000, "ff000"},
                {0, "0"},
                {0xFFFFFFFF, "fffff000"}};
    for (const auto &row : rows) {
        test_door::reset();
        test_door::put_memory(row.address, "\x9C");
        int seen_flags = -1;
        auto door = test_door::on_open;
        test_door::on_open = [&](const std::string &path, int flags) {
            EXPECT_EQ(path, "/dev/mem");
            seen_flags = flags;
            return door(path, flags);
        };
        EXPECT_EQ(getMemByte(row.address), 0x9C) << std::hex << row.address;
        EXPECT_EQ(seen_flags & O_ACCMODE, O_RDWR);
        std::string log = test_door::take_log();
        EXPECT_EQ(log.substr(log.find('\n') + 1),
                  std::string("map ") + row.page + " 1000\nunmap 1000\nclose 1000\n")
            << "after " << log.substr(0, log.find('\n'));
    }
}

TEST(MemoryByteDeathTest, MissingMemoryEndsTheProgram) {
    struct {
        const char *call;
        int error;
        const char *said;
    } rows[] = {{"open", EACCES, "Error at line 272, file gpio (13) [Permission denied]\n"},
                {"open", ENOENT, "Error at line 272, file gpio (2) [No such file or directory]\n"},
                {"map", EPERM, "Error at line 278, file gpio (1) [Operation not permitted]\n"},
                {"map", EAGAIN, "Error at line 278, file gpio (11) [Resource temporarily unavailable]\n"}};
    for (const auto &row : rows) {
        test_door::reset();
        test_door::put_memory(0xFE123, "\x9C");
        test_door::fail_call(row.call, 1, row.error);
        EXPECT_EXIT(getMemByte(0xFE123), testing::ExitedWithCode(1), testing::Eq(row.said)) << row.call;
    }
}

// ---- BIOS self-test complete

struct pin_row {
    int32_t number;
    uint16_t port; // of base 0x0500
    uint32_t bit;
};

static const pin_row PINS[] = {{0, 0x050C, 0x00000001},  {5, 0x050C, 0x00000020},  {31, 0x050C, 0x80000000},
                               {32, 0x0538, 0x00000001}, {63, 0x0538, 0x80000000}, {64, 0x0548, 0x00000001},
                               {95, 0x0548, 0x80000000}, {96, 0x0500, 0x00000001}, {97, 0x0500, 0x00000002},
                               {-1, 0x0500, 0x80000000}, {-32, 0x0500, 0x00000001}};

static std::string port_line(const char *verb, uint16_t port, uint32_t dword) {
    char line[64];
    snprintf(line, sizeof line, "%s %04x %08x\n", verb, port, dword);
    return line;
}

TEST(PostComplete, StateIsOneBitOfThePinsRegister) {
    for (const pin_row &row : PINS)
        for (bool high : {true, false}) {
            attach_bridge();
            uint32_t dword = high ? row.bit : ~row.bit;
            levels = {{row.port, dword}};
            EXPECT_EQ(getIpmiBiosPostCmplGpioState(0x500, row.number), high ? 1u : 0u) << row.number;
            EXPECT_EQ(test_door::take_log(), "iopl 3\n" + port_line("inl", row.port, dword)) << row.number;
        }
}

TEST(PostComplete, SettingChangesOneBitAndReadsItAgain) {
    for (const pin_row &row : PINS)
        for (uint32_t level : {0u, 1u, 2u})
            for (uint32_t before : {0u, 0xFFFFFFFFu}) {
                attach_bridge();
                levels = {{row.port, before}};
                uint32_t after = level != 0 ? before | row.bit : before & ~row.bit;
                EXPECT_EQ(setIpmiBiosPostCmplGpioState(0x500, row.number, level), after) << row.number;
                EXPECT_EQ(test_door::take_log(), "iopl 3\n" + port_line("inl", row.port, before) +
                                                     port_line("outl", row.port, after) +
                                                     port_line("inl", row.port, after))
                    << row.number << " to " << level;
            }
}

TEST(PostComplete, SettingReturnsWhatTheRegisterHoldsThen) {
    attach_bridge();
    test_door::on_outl = [](uint16_t, uint32_t) {};
    levels = {{0x050C, 0x00000100}}; // a register that cannot be written
    EXPECT_EQ(setIpmiBiosPostCmplGpioState(0x500, 0, 1), 0x100u);
}

TEST(PostComplete, RefusedPortsAreNotWritten) {
    attach_bridge();
    levels = {{0x050C, 0xFFFFFFFF}};
    test_door::grant_all_ports(false);
    EXPECT_EQ(getIpmiBiosPostCmplGpioState(0x500, 0), 0u);
    EXPECT_EQ(setIpmiBiosPostCmplGpioState(0x500, 0, 0), 0u);
    EXPECT_EQ(levels[0x050C], 0xFFFFFFFFu);
}

// Sums beyond 0xFFFF are not ports: cut to 16 bits they would be another device's.
TEST(GpioNoPort, NothingIsTouched) {
    test_door::reset();
    EXPECT_EQ(getIpmiBiosPostCmplGpioState(0xFFFFFFFE, 5), 0u);
    EXPECT_EQ(setIpmiBiosPostCmplGpioState(0xFFFFFFFE, 5, 1), 0u);
    std::string log = test_door::take_log();
    EXPECT_EQ(log.find("inl"), std::string::npos) << log;
    EXPECT_EQ(log.find("outl"), std::string::npos) << log;
}
