#include "hw/smbus.h"

#include <cerrno>
#include <gtest/gtest.h>
#include <linux/i2c-dev.h>
#include <linux/i2c.h>
#include <vector>

#include "hw/bmc.h"
#include "hw/i2c_adapters.h"
#include "hw/pci.h"
#include "support/os_test.h"

constexpr uint32_t UNTOUCHED = 0xABCD1234;
constexpr int BUS_FD = 60;
constexpr uint32_t BASE = 0x1100;
constexpr uint32_t ANY_CHIP = 17;

// ---- Opening the bus
//
// The first device that opens is kept for the whole run. These tests open it in children of their own, and
// death tests run before the others, so each child begins with nothing open.

static void put_buses(const std::vector<i2c_bus> &buses) {
    i2c_bus_list = buses;
    counter_i2c_bus_list = static_cast<int>(buses.size());
}

static i2c_bus bus_of(const char *number, const char *type, const char *adapter) {
    i2c_bus bus = {};
    snprintf(bus.number, sizeof bus.number, "%s", number);
    snprintf(bus.type, sizeof bus.type, "%s", type);
    snprintf(bus.adapter, sizeof bus.adapter, "%s", adapter);
    return bus;
}

// As on a server with graphics cards.
static std::vector<i2c_bus> thirty_and(const char *adapter) {
    std::vector<i2c_bus> buses;
    for (int i = 0; i < 30; i++)
        buses.push_back(bus_of(std::to_string(i).c_str(), "unknown", "NVIDIA i2c adapter 1 at 3:00.0"));
    buses.push_back(bus_of("30", "unknown", adapter));
    return buses;
}

// Opens the device of `base` and ends with status 0, having printed each path that was tried and the result.
static void open_and_say(uint32_t base) {
    test_door::on_open = [](const std::string &path, int flags) {
        fprintf(stderr, "open %s %d\n", path.c_str(), flags);
        return BUS_FD;
    };
    fprintf(stderr, "got %d\n", openI2CDevice(base));
    exit(0);
}

static const char NOT_FOUND[] = "Error: Cannot find a proper I2C/SMBus device!\n";

TEST(OpenI2cDeviceDeathTest, TakesTheFirstProperBusAtTheBase) {
    const i2c_bus unfilled = {};
    struct {
        const char *what;
        uint32_t base;
        std::vector<i2c_bus> buses;
        const char *number; // nullptr: no bus is found
    } rows[] = {
        {"unknown", 0x1100, {bus_of("3", "unknown", "SMBus I801 adapter at 1100")}, "3"},
        {"smbus", 0x1100, {bus_of("12", "smbus", "SMBus PIIX4 adapter at 1100")}, "12"},
        {"small letters", 0xEFA0, {bus_of("0", "smbus", "SMBus I801 adapter at efa0")}, "0"},
        {"capitals", 0xEFA0, {bus_of("0", "smbus", "SMBus I801 adapter at EFA0")}, "0"},
        {"leading zero", 0x0580, {bus_of("1", "smbus", "SMBus PIIX4 adapter at 0580")}, "1"},
        {"first of two",
         0x1100,
         {bus_of("4", "unknown", "A at 1100"), bus_of("2", "smbus", "B at 1100")},
         "4"},
        {"other base before it",
         0x1100,
         {bus_of("0", "unknown", "A at 1000"), bus_of("1", "smbus", "B at 1100")},
         "1"},
        {"other types before it",
         0x1100,
         {bus_of("0", "i2c", "A at 1100"), bus_of("1", "SMBus", "B at 1100"),
          bus_of("2", "Unknown", "C at 1100"), bus_of("3", "smbus2", "D at 1100"),
          bus_of("4", "", "E at 1100"), bus_of("5", "unknown", "F at 1100")},
         "5"},
        {"unfilled slots before it", 0x1100, {unfilled, unfilled, bus_of("2", "unknown", "A at 1100")}, "2"},
        {"no \" at \"",
         0x1100,
         {bus_of("0", "unknown", "adapter 1100"), bus_of("1", "unknown", "adapter at1100"),
          bus_of("2", "unknown", "B at 1100")},
         "2"},
        {"a name without a number",
         0x1100,
         {bus_of("0", "unknown", "adapter at home"), bus_of("1", "smbus", "B at 1100")},
         "1"},
        {"thirty before it", 0x1100, thirty_and("SMBus I801 adapter at 1100"), "30"},
        {"none at all", 0x1100, {}, nullptr},
        {"none at the base", 0x1100, {bus_of("0", "smbus", "A at 1120")}, nullptr},
        {"only another type", 0x1100, {bus_of("0", "isa", "A at 1100")}, nullptr},
        {"only unfilled slots", 0, {unfilled, unfilled}, nullptr},
        {"a zero number", 0, {bus_of("0", "smbus", "A at 0000"), bus_of("1", "unknown", "B at 0")}, nullptr},
        {"no number, base 0", 0, {bus_of("0", "smbus", "A at home"), bus_of("1", "smbus", "B")}, nullptr},
    };
    for (const auto &row : rows) {
        test_door::reset();
        put_buses(row.buses);
        std::string said = NOT_FOUND;
        if (row.number != nullptr)
            said = std::string("open /dev/i2c-") + row.number + " 2\ngot 60\n"; // 2: read-write
        EXPECT_EXIT(open_and_say(row.base), testing::ExitedWithCode(row.number != nullptr ? 0 : 255),
                    testing::Eq(said))
            << row.what;
    }
    put_buses({});
}

// The bus that was chosen is the only one that is tried.
TEST(OpenI2cDeviceDeathTest, AFailedOpenEndsTheProgram) {
    test_door::reset();
    put_buses({bus_of("3", "unknown", "A at 1100"), bus_of("4", "unknown", "B at 1100")});
    test_door::on_open = [](const std::string &path, int) {
        fprintf(stderr, "open %s\n", path.c_str());
        return -1;
    };
    EXPECT_EXIT(openI2CDevice(BASE), testing::ExitedWithCode(255),
                testing::Eq(std::string("open /dev/i2c-3\n") + NOT_FOUND));
    put_buses({});
}

static void open_twice() {
    test_door::on_open = [](const std::string &path, int) {
        fprintf(stderr, "open %s\n", path.c_str());
        return path == "/dev/i2c-3" ? 60 : 61;
    };
    fprintf(stderr, "got %d\n", openI2CDevice(0x1100));
    fprintf(stderr, "got %d\n", openI2CDevice(0x2200));
    put_buses({});
    fprintf(stderr, "got %d\n", openI2CDevice(0x3300));
    exit(0);
}

TEST(OpenI2cDeviceDeathTest, OtherBasesGetTheFirstDevice) {
    test_door::reset();
    put_buses({bus_of("3", "unknown", "A at 1100"), bus_of("4", "unknown", "B at 2200")});
    EXPECT_EXIT(open_twice(), testing::ExitedWithCode(0),
                testing::Eq("open /dev/i2c-3\ngot 60\ngot 60\ngot 60\n"));
    put_buses({});
}

TEST(OpenI2cDeviceDeathTest, EveryTransferNeedsABus) {
    test_door::reset();
    hDevice = 0;
    put_buses({});
    uint32_t value;
    EXPECT_EXIT(smbus_byte_data_read(ANY_CHIP, 1, BASE, 0x2D, 0x20, &value), testing::ExitedWithCode(255),
                testing::Eq(NOT_FOUND));
    EXPECT_EXIT(smbus_byte_data_write(1, BASE, 0x2D, 0x20, 1), testing::ExitedWithCode(255),
                testing::Eq(NOT_FOUND));
    EXPECT_EXIT(smbus_word_data_read_HL(1, BASE, 0x2D, 0x20, &value), testing::ExitedWithCode(255),
                testing::Eq(NOT_FOUND));
    EXPECT_EXIT(smbus_byte_data_read_GPU(8, BASE, 0x4C, 0, &value), testing::ExitedWithCode(255),
                testing::Eq(NOT_FOUND));
}

// ---- Transfers without a BMC

static std::vector<int> bytes_on_bus; // of the reads in turn, -1: the transfer fails
static int write_result;

static int bus_ioctl(int fd, unsigned long request, void *argument) {
    char line[64];
    EXPECT_EQ(fd, BUS_FD);
    if (request != 0x0720) {
        snprintf(line, sizeof line, "ioctl %04lx %lx", request,
                 static_cast<unsigned long>(reinterpret_cast<uintptr_t>(argument)));
        test_door::log(line);
        return 0;
    }
    auto *transfer = static_cast<i2c_smbus_ioctl_data *>(argument);
    snprintf(line, sizeof line, "ioctl 0720 %s %02x size %u", transfer->read_write == 1 ? "read" : "write",
             transfer->command, transfer->size);
    if (transfer->read_write != 1) {
        char byte[8];
        snprintf(byte, sizeof byte, " %02x", transfer->data->byte);
        test_door::log(std::string(line) + byte);
        return write_result;
    }
    test_door::log(line);
    if (bytes_on_bus.empty()) {
        ADD_FAILURE() << "a read that no byte was planned for";
        return -1;
    }
    int byte = bytes_on_bus.front();
    bytes_on_bus.erase(bytes_on_bus.begin());
    if (byte < 0)
        return -1;
    transfer->data->block[0] = static_cast<uint8_t>(byte);
    transfer->data->block[1] = 0xEE; // a byte transfer gives one byte
    return 0;
}

// A bus at BASE, opened; `bytes` answer its reads.
static void open_bus(uint8_t intel, const std::vector<int> &bytes) {
    test_door::reset();
    hDevice = 0;
    ipmi_driver_option = 0;
    IntelDevice = intel;
    put_buses({bus_of("3", "unknown", "SMBus I801 adapter at 1100")});
    test_door::on_open = [](const std::string &, int) { return BUS_FD; };
    test_door::on_ioctl = bus_ioctl;
    EXPECT_EQ(openI2CDevice(BASE), BUS_FD);
    bytes_on_bus = bytes;
    write_result = 0;
    test_door::take_log();
}

static const std::string CLEAR = "iopl 3\noutb 1100 42\n";

// What clears the controller after a transfer, on Intel controllers only.
static std::string clear_if(uint8_t intel) { return intel != 0 ? CLEAR : ""; }

TEST(SmbusClear, OnlyIntelControllers) {
    open_bus(0, {});
    clearSMBusLastTransaction(BASE);
    EXPECT_EQ(test_door::take_log(), "");
    IntelDevice = 1;
    clearSMBusLastTransaction(0xEFA0);
    EXPECT_EQ(test_door::take_log(), "iopl 3\noutb efa0 42\n");
}

TEST(SmbusClear, ABaseBeyondThePortsIsNotTouched) {
    open_bus(1, {});
    clearSMBusLastTransaction(0xFFFF);
    EXPECT_EQ(test_door::take_log(), "iopl 3\noutb ffff 42\n");
    for (uint32_t base : {0x10000u, 0x11100u, 0xFFFFFFFFu}) {
        clearSMBusLastTransaction(base);
        EXPECT_EQ(test_door::take_log(), "") << base;
    }
}

TEST(SmbusByteRead, TakesTheSlaveAndReads) {
    for (uint8_t intel : {0, 1})
        for (int byte : {0x00, 0x5A, 0xFF}) {
            open_bus(intel, {byte});
            uint32_t value = UNTOUCHED;
            EXPECT_EQ(smbus_byte_data_read(ANY_CHIP, 1, BASE, 0x2D, 0x20, &value), 0);
            EXPECT_EQ(value, static_cast<uint32_t>(byte));
            EXPECT_EQ(test_door::take_log(), "ioctl 0703 2d\nioctl 0720 read 20 size 2\n" + clear_if(intel));
        }
}

TEST(SmbusByteRead, FailedTransferFailsAfterTheClear) {
    for (uint8_t intel : {0, 1}) {
        open_bus(intel, {-1});
        uint32_t value = UNTOUCHED;
        std::string said = test_door::captured_stderr(
            [&] { EXPECT_EQ(smbus_byte_data_read(ANY_CHIP, 1, BASE, 0x2D, 0x20, &value), -1); });
        EXPECT_EQ(said, "");
        EXPECT_EQ(value, UNTOUCHED);
        EXPECT_EQ(test_door::take_log(), "ioctl 0703 2d\nioctl 0720 read 20 size 2\n" + clear_if(intel));
    }
}

TEST(SmbusTransfers, ARefusedSlaveIsSaidAndNothingIsTransferred) {
    uint32_t value = UNTOUCHED;
    for (uint32_t slave : {0x2Du, 0x7Fu, 0x08u}) {
        char said[64];
        snprintf(said, sizeof said, "Error: ioctl(), slave=0x%x\n", slave);
        for (int operation = 0; operation < 3; operation++) {
            open_bus(1, {});
            test_door::fail_call("ioctl", 1, EBUSY);
            int result = 0;
            EXPECT_EQ(test_door::captured_stderr([&] {
                          if (operation == 0)
                              result = smbus_byte_data_read(ANY_CHIP, 8, BASE, slave, 0x44, &value);
                          else if (operation == 1)
                              result = smbus_byte_data_write(1, BASE, slave, 0x20, 1);
                          else
                              result = smbus_word_data_read_HL(1, BASE, slave, 0x20, &value);
                      }),
                      said)
                << operation;
            EXPECT_EQ(result, -1) << operation;
            EXPECT_EQ(value, UNTOUCHED) << operation;
            EXPECT_EQ(test_door::take_log(), "") << operation;
        }
    }
}

TEST(SmbusByteRead, WaitsBeforeRegister44OfTheHostBusAlone) {
    struct {
        uint32_t bus_type, reg;
        bool waits;
    } rows[] = {{8, 0x44, true},  {9, 0x44, false}, {1, 0x44, false}, {0, 0x44, false}, {0x18, 0x44, false},
                {8, 0x43, false}, {8, 0x45, false}, {8, 0x04, false}, {8, 0xC4, false}};
    for (const auto &row : rows) {
        open_bus(1, {0x5A});
        uint32_t value = UNTOUCHED;
        EXPECT_EQ(smbus_byte_data_read(ANY_CHIP, row.bus_type, BASE, 0x2D, row.reg, &value), 0);
        char transfer[64];
        snprintf(transfer, sizeof transfer, "ioctl 0720 read %02x size 2\n", row.reg);
        EXPECT_EQ(test_door::take_log(),
                  std::string("ioctl 0703 2d\n") + (row.waits ? "usleep 550000\n" : "") + transfer + CLEAR)
            << row.bus_type << " " << row.reg;
    }
}

TEST(SmbusByteRead, Chips29And31NeedNoBus) {
    open_bus(1, {});
    struct {
        uint32_t chip_code, value;
    } rows[] = {{29, 0}, {31, 1}};
    for (const auto &row : rows)
        for (uint32_t bus_type : {0u, 1u, 8u, 9u}) {
            uint32_t value = UNTOUCHED;
            EXPECT_EQ(smbus_byte_data_read(row.chip_code, bus_type, BASE, 0x2D, 0x44, &value), 0);
            EXPECT_EQ(value, row.value) << row.chip_code;
            EXPECT_EQ(test_door::take_log(), "") << row.chip_code;
        }
    open_bus(0, {0x5A, 0x5B});
    for (uint32_t chip_code : {28u, 30u}) {
        uint32_t value = UNTOUCHED;
        EXPECT_EQ(smbus_byte_data_read(chip_code, 1, BASE, 0x2D, 0x44, &value), 0);
        EXPECT_EQ(value, chip_code == 28 ? 0x5Au : 0x5Bu) << "neighbours are read";
    }
}

TEST(SmbusByteWrite, ForcesTheSlaveAndIgnoresTheOutcome) {
    for (uint8_t intel : {0, 1})
        for (int result : {0, -1, 1})
            for (uint32_t bus_type : {0u, 1u, 8u}) {
                open_bus(intel, {});
                write_result = result;
                EXPECT_EQ(smbus_byte_data_write(bus_type, BASE, 0x2D, 0x44, 0x9B), 0) << result;
                EXPECT_EQ(test_door::take_log(),
                          "ioctl 0706 2d\nioctl 0720 write 44 size 2 9b\n" + clear_if(intel));
            }
}

TEST(SmbusWordRead, ReadsTwoBytesHighFirst) {
    for (uint8_t intel : {0, 1}) {
        open_bus(intel, {0x12, 0x34});
        uint32_t value = UNTOUCHED;
        EXPECT_EQ(smbus_word_data_read_HL(8, BASE, 0x2D, 0x44, &value), 0);
        EXPECT_EQ(value, 0x1234u);
        EXPECT_EQ(test_door::take_log(), "ioctl 0706 2d\nioctl 0720 read 44 size 2\n" + clear_if(intel) +
                                             "ioctl 0720 read 45 size 2\n" + clear_if(intel));
    }
}

TEST(SmbusWordRead, EitherFailedByteFails) {
    for (uint8_t intel : {0, 1}) {
        open_bus(intel, {-1});
        uint32_t value = UNTOUCHED;
        EXPECT_EQ(smbus_word_data_read_HL(1, BASE, 0x2D, 0x20, &value), -1);
        EXPECT_EQ(value, UNTOUCHED);
        EXPECT_EQ(test_door::take_log(), "ioctl 0706 2d\nioctl 0720 read 20 size 2\n" + clear_if(intel))
            << "the second byte is not asked for";
        open_bus(intel, {0x12, -1});
        EXPECT_EQ(smbus_word_data_read_HL(1, BASE, 0x2D, 0x20, &value), -1);
        EXPECT_EQ(value, UNTOUCHED);
        EXPECT_EQ(test_door::take_log(), "ioctl 0706 2d\nioctl 0720 read 20 size 2\n" + clear_if(intel) +
                                             "ioctl 0720 read 21 size 2\n" + clear_if(intel));
    }
}

TEST(SmbusGpuRead, WithoutABmcNothingIsTransferred) {
    struct {
        uint32_t reg, value;
    } rows[] = {{0, 127}, {1, 0}, {0x44, 0}, {0xFF, 0}};
    for (const auto &row : rows)
        for (uint32_t bus_type : {0u, 1u, 8u, 9u}) {
            open_bus(1, {});
            uint32_t value = UNTOUCHED;
            EXPECT_EQ(smbus_byte_data_read_GPU(bus_type, BASE, 0x4C, row.reg, &value), 0) << row.reg;
            EXPECT_EQ(value, row.value) << row.reg;
            EXPECT_EQ(test_door::take_log(), "") << row.reg;
        }
}

// ---- Routes through a BMC over OpenIPMI

struct kind_row {
    const char *name;
    int32_t *flag;      // nullptr: of no known kind
    const char *inside; // the head of its byte command for slaves of the BMC's own ranges
    bool whole_word;    // words of the host bus come in one command
};

static const kind_row KINDS[] = {
    {"none", nullptr, "06 52 05", false},
    {"Peppercon", &bPepperconIPMI, "30 22 05", true},
    {"OBWinbond", &bOBWinbondIPMI, "06 52 07", true},
    {"AOWinbond", &bAOWinbondIPMI, "06 52 05", true},
    {"OBWinbondATen", &bOBWinbondATenIPMI, "06 52 07", false},
    {"RenesasAMI", &bRenesasAMIIPMI, "06 52 05", false},
    {"RenesasATen", &bRenesasATenIPMI, "06 52 05", false},
    {"AOWinbondATen", &bAOWinbondATenIPMI, "06 52 05", false},
};

// Slaves at both ends of the BMC's ranges, as they are on the bus (doubled).
struct slave_row {
    uint32_t slave;
    const char *on_bus;
    bool inside;
};

static const slave_row SLAVES[] = {
    {0x37, "6e", false}, {0x38, "70", true}, {0x3F, "7e", true}, {0x40, "80", false}, {0x2D, "5a", false},
    {0x57, "ae", false}, {0x58, "b0", true}, {0x5B, "b6", true}, {0x5C, "b8", false},
};

static void set_kind(const kind_row &kind) {
    bmc::clear_flags();
    if (kind.flag != nullptr)
        *kind.flag = 1;
}

static std::string head_of(const kind_row &kind, const slave_row &slave) {
    return std::string("send ") + (slave.inside ? kind.inside : "06 52 05") + " " + slave.on_bus;
}

static const bmc::reply BYTE_5A = {bmc::bytes({0x00, 0x5A})};
static const bmc::reply REFUSAL = {bmc::bytes({0xC1, 0x77, 0x77})};

TEST(BmcRoute, ByteReadsOfTheSmbus) {
    bmc::open_openipmi();
    for (const kind_row &kind : KINDS)
        for (const slave_row &slave : SLAVES)
            for (uint32_t bus_type : {1u, 9u, 5u})
                for (uint32_t chip_code : {17u, 29u, 31u}) {
                    set_kind(kind);
                    bmc::replies = {BYTE_5A};
                    uint32_t value = UNTOUCHED;
                    EXPECT_EQ(smbus_byte_data_read(chip_code, bus_type, BASE, slave.slave, 0x20, &value), 0);
                    EXPECT_EQ(value, 0x5Au);
                    EXPECT_EQ(test_door::take_log(), head_of(kind, slave) + " 01 20\nwait\n")
                        << kind.name << " slave " << slave.on_bus << " bus " << bus_type;
                }
    bmc::clear_flags();
}

TEST(BmcRoute, ByteReadsOfTheHostBus) {
    bmc::open_openipmi();
    for (const kind_row &kind : KINDS)
        for (const slave_row &slave : SLAVES)
            for (uint32_t bus_type : {8u, 0xAu})
                for (uint32_t chip_code : {0u, 17u, 28u, 30u, 32u, 34u}) {
                    set_kind(kind);
                    bmc::replies = {BYTE_5A};
                    uint32_t value = UNTOUCHED;
                    EXPECT_EQ(smbus_byte_data_read(chip_code, bus_type, BASE, slave.slave, 0x20, &value), 0);
                    EXPECT_EQ(value, 0x5Au);
                    EXPECT_EQ(test_door::take_log(), "send 30 0f\nwait\n")
                        << kind.name << " slave " << slave.on_bus << " chip " << chip_code;
                }
    bmc::clear_flags();
}

// The first command's reply of chip 29 is dropped, good or bad.
TEST(BmcRoute, Chip29SendsTwoCommandsAndTakesTheSecond) {
    bmc::open_openipmi();
    for (const bmc::reply &first : {bmc::reply{bmc::bytes({0, 1, 2, 3, 4, 5, 6})}, REFUSAL}) {
        bmc::replies = {first, BYTE_5A};
        uint32_t value = UNTOUCHED;
        EXPECT_EQ(smbus_byte_data_read(29, 8, BASE, 0x3C, 0x02, &value), 0);
        EXPECT_EQ(value, 0x5Au);
        EXPECT_EQ(test_door::take_log(), "send 30 92 03 0c\nwait\nsend 30 0f\nwait\n");
        bmc::replies = {first, REFUSAL};
        EXPECT_EQ(smbus_byte_data_read(29, 8, BASE, 0x3C, 0x02, &value), 255);
        EXPECT_EQ(test_door::take_log(), "send 30 92 03 0c\nwait\nsend 30 0f\nwait\n");
    }
}

TEST(BmcRoute, Chip31AsksForThePowerSupplyAlone) {
    bmc::open_openipmi();
    bmc::replies = {{bmc::bytes({0x00, 0x01})}};
    uint32_t value = UNTOUCHED;
    EXPECT_EQ(smbus_byte_data_read(31, 8, BASE, 0x3C, 0x02, &value), 0);
    EXPECT_EQ(value, 1u);
    EXPECT_EQ(test_door::take_log(), "send 30 92\nwait\n");
    bmc::replies = {REFUSAL};
    EXPECT_EQ(smbus_byte_data_read(31, 8, BASE, 0x3C, 0x02, &value), 255);
    EXPECT_EQ(test_door::take_log(), "send 30 92\nwait\n");
}

TEST(BmcRoute, ByteWritesGoTheSameWayOverEitherBus) {
    bmc::open_openipmi();
    for (const kind_row &kind : KINDS)
        for (const slave_row &slave : SLAVES)
            for (uint32_t bus_type : {1u, 8u, 9u}) {
                set_kind(kind);
                bmc::replies = {{bmc::bytes({0x00})}};
                EXPECT_EQ(smbus_byte_data_write(bus_type, BASE, slave.slave, 0x20, 0x9B), 0);
                EXPECT_EQ(test_door::take_log(), head_of(kind, slave) + " 00 20 9b\nwait\n")
                    << kind.name << " slave " << slave.on_bus << " bus " << bus_type;
            }
    bmc::clear_flags();
}

TEST(BmcRoute, WordReadsOfTheSmbusAreTwoBytes) {
    bmc::open_openipmi();
    for (const kind_row &kind : KINDS)
        for (const slave_row &slave : SLAVES)
            for (uint32_t bus_type : {1u, 9u}) {
                set_kind(kind);
                bmc::replies = {{bmc::bytes({0x00, 0x12})}, {bmc::bytes({0x00, 0x34})}};
                uint32_t value = UNTOUCHED;
                EXPECT_EQ(smbus_word_data_read_HL(bus_type, BASE, slave.slave, 0x20, &value), 0);
                EXPECT_EQ(value, 0x1234u);
                std::string head = head_of(kind, slave);
                EXPECT_EQ(test_door::take_log(), head + " 01 20\nwait\n" + head + " 01 21\nwait\n")
                    << kind.name << " slave " << slave.on_bus << " bus " << bus_type;
            }
    bmc::clear_flags();
}

TEST(BmcRoute, WordReadsOfTheHostBus) {
    bmc::open_openipmi();
    for (const kind_row &kind : KINDS)
        for (const slave_row &slave : SLAVES) {
            set_kind(kind);
            std::string on_bus = slave.on_bus;
            std::string expected;
            if (kind.whole_word) {
                bmc::replies = {{bmc::bytes({0x00, 0x12, 0x34})}};
                expected = "send 30 23 05 " + on_bus + " 01 20\nwait\n";
            } else {
                bmc::replies = {{bmc::bytes({0x00, 0x12})}, {bmc::bytes({0x00, 0x34})}};
                expected =
                    "send 06 52 05 " + on_bus + " 01 20\nwait\nsend 06 52 05 " + on_bus + " 01 21\nwait\n";
            }
            uint32_t value = UNTOUCHED;
            EXPECT_EQ(smbus_word_data_read_HL(8, BASE, slave.slave, 0x20, &value), 0);
            EXPECT_EQ(value, 0x1234u);
            EXPECT_EQ(test_door::take_log(), expected) << kind.name << " slave " << slave.on_bus;
        }
    bmc::clear_flags();
}

// Over either bus: both bytes are asked for, and both must come.
TEST(BmcRoute, EitherFailedByteFailsAWord) {
    struct {
        bmc::reply high, low;
    } rows[] = {{REFUSAL, BYTE_5A}, {BYTE_5A, REFUSAL}, {REFUSAL, REFUSAL}};
    bmc::open_openipmi();
    for (const auto &row : rows)
        for (uint32_t bus_type : {1u, 8u}) {
            bmc::replies = {row.high, row.low};
            uint32_t value = UNTOUCHED;
            EXPECT_EQ(smbus_word_data_read_HL(bus_type, BASE, 0x2D, 0x20, &value), 255);
            EXPECT_EQ(value, UNTOUCHED);
            EXPECT_TRUE(bmc::replies.empty());
        }
}

TEST(BmcRoute, PepperconComesBeforeTheOthers) {
    bmc::open_openipmi();
    bPepperconIPMI = bOBWinbondIPMI = bOBWinbondATenIPMI = 1;
    bmc::replies = {BYTE_5A};
    uint32_t value;
    smbus_byte_data_read(ANY_CHIP, 1, BASE, 0x38, 0x20, &value);
    EXPECT_EQ(test_door::take_log(), "send 30 22 05 70 01 20\nwait\n");
    bmc::clear_flags();
}

TEST(BmcRoute, GpuReadsOfTheHostBus) {
    bmc::open_openipmi();
    for (uint32_t bus_type : {8u, 9u})
        for (uint32_t reg : {0u, 1u}) {
            bmc::replies = {BYTE_5A};
            uint32_t value = UNTOUCHED;
            EXPECT_EQ(smbus_byte_data_read_GPU(bus_type, BASE, 0x4C, reg, &value), 0);
            EXPECT_EQ(value, 0x5Au);
            EXPECT_EQ(test_door::take_log(), "send 30 70 05 0" + std::to_string(reg) + "\nwait\n");
        }
    for (uint32_t bus_type : {0u, 1u, 7u}) {
        uint32_t value = UNTOUCHED;
        EXPECT_EQ(smbus_byte_data_read_GPU(bus_type, BASE, 0x4C, 0, &value), -1) << bus_type;
        EXPECT_EQ(value, UNTOUCHED);
        EXPECT_EQ(test_door::take_log(), "") << bus_type;
    }
}

TEST(BmcRoute, FailuresAreHandedUp) {
    bmc::open_openipmi();
    uint32_t value = UNTOUCHED;
    for (const kind_row &kind : KINDS) {
        set_kind(kind);
        bmc::replies = {REFUSAL, REFUSAL, REFUSAL};
        EXPECT_EQ(smbus_byte_data_read(ANY_CHIP, 1, BASE, 0x38, 0x20, &value), 255) << kind.name;
        EXPECT_EQ(smbus_byte_data_write(1, BASE, 0x38, 0x20, 1), 255) << kind.name;
        EXPECT_EQ(smbus_byte_data_read_GPU(8, BASE, 0x38, 0x20, &value), 255) << kind.name;
    }
    EXPECT_EQ(value, UNTOUCHED);
    bmc::clear_flags();
}

static void expect_nothing_sent(uint32_t bus_type, const char *what) {
    uint32_t value = UNTOUCHED;
    EXPECT_EQ(smbus_byte_data_read(ANY_CHIP, bus_type, BASE, 0x38, 0x20, &value), -1) << what << bus_type;
    EXPECT_EQ(smbus_byte_data_read(29, bus_type, BASE, 0x38, 0x20, &value), -1) << what << bus_type;
    EXPECT_EQ(smbus_byte_data_read(31, bus_type, BASE, 0x38, 0x20, &value), -1) << what << bus_type;
    EXPECT_EQ(smbus_byte_data_write(bus_type, BASE, 0x38, 0x20, 1), -1) << what << bus_type;
    EXPECT_EQ(smbus_word_data_read_HL(bus_type, BASE, 0x38, 0x20, &value), -1) << what << bus_type;
    EXPECT_EQ(smbus_byte_data_read_GPU(bus_type, BASE, 0x38, 0x20, &value), -1) << what << bus_type;
    EXPECT_EQ(value, UNTOUCHED) << what << bus_type;
    EXPECT_EQ(test_door::take_log(), "") << what << bus_type;
}

TEST(BmcRoute, OtherBusesFail) {
    bmc::open_openipmi();
    for (const kind_row &kind : KINDS) {
        set_kind(kind);
        for (uint32_t bus_type : {0u, 2u, 4u, 6u, 0x10u})
            expect_nothing_sent(bus_type, kind.name);
    }
    bmc::clear_flags();
}

TEST(BmcRoute, OtherDriversFail) {
    bmc::open_openipmi();
    for (int32_t option : {0, 3, -1})
        for (uint32_t bus_type : {0u, 1u, 8u, 9u}) {
            ipmi_driver_option = option;
            expect_nothing_sent(bus_type, "bus ");
        }
}

// ---- Routes through the maker's driver

TEST(MakerRoute, BytesOfAnyBus) {
    bmc::open_maker();
    for (uint32_t bus_type : {0u, 1u, 8u, 9u})
        for (uint32_t chip_code : {17u, 29u, 31u})
            for (const slave_row &slave : SLAVES) {
                bmc::replies = {BYTE_5A, {bmc::bytes({0x00})}};
                uint32_t value = UNTOUCHED;
                EXPECT_EQ(smbus_byte_data_read(chip_code, bus_type, BASE, slave.slave, 0x20, &value), 0);
                EXPECT_EQ(value, 0x5Au);
                EXPECT_EQ(smbus_byte_data_write(bus_type, BASE, slave.slave, 0x20, 0x9B), 0);
                std::string head = std::string("imb 06 52 05 ") + slave.on_bus;
                EXPECT_EQ(test_door::take_log(), head + " 01 20\n" + head + " 00 20 9b\n") << bus_type;
            }
}

// Else another copy could have the chip in another bank just then.
TEST(MakerRoute, AChipsRegisterIsReadAndWrittenInATurn) {
    bmc::open_maker();
    auto answer = test_door::on_ioctl;
    test_door::on_ioctl = [answer](int fd, unsigned long request, void *argument) {
        EXPECT_TRUE(test_door::in_turn);
        return answer(fd, request, argument);
    };
    test_door::turns_taken = 0;
    bmc::replies = {BYTE_5A, {bmc::bytes({0x00})}, BYTE_5A, BYTE_5A};
    uint32_t value = UNTOUCHED;
    EXPECT_EQ(smbus_byte_data_read(17, 1, BASE, 0x2D, 0x20, &value), 0);
    EXPECT_EQ(smbus_byte_data_write(1, BASE, 0x2D, 0x20, 0x9B), 0);
    EXPECT_EQ(smbus_word_data_read_HL(1, BASE, 0x2D, 0x20, &value), 0);
    EXPECT_EQ(test_door::turns_taken, 3);
    EXPECT_FALSE(test_door::in_turn);
}

TEST(MakerRoute, AWordIsTheSameRegisterTwice) {
    bmc::open_maker();
    for (uint32_t bus_type : {0u, 1u, 8u, 9u}) {
        bmc::replies = {{bmc::bytes({0x00, 0x12})}, {bmc::bytes({0x00, 0x34})}};
        uint32_t value = UNTOUCHED;
        EXPECT_EQ(smbus_word_data_read_HL(bus_type, BASE, 0x2D, 0x20, &value), 0);
        EXPECT_EQ(value, 0x1234u);
        EXPECT_EQ(test_door::take_log(), "imb 06 52 05 5a 01 20\nimb 06 52 05 5a 01 20\n") << bus_type;
    }
}

TEST(MakerRoute, FailuresAreHandedUp) {
    struct {
        bmc::reply high, low;
    } rows[] = {{REFUSAL, BYTE_5A}, {BYTE_5A, REFUSAL}, {REFUSAL, REFUSAL}};
    bmc::open_maker();
    uint32_t value = UNTOUCHED;
    for (const auto &row : rows) {
        bmc::replies = {row.high, row.low};
        EXPECT_EQ(smbus_word_data_read_HL(1, BASE, 0x2D, 0x20, &value), -1);
        EXPECT_TRUE(bmc::replies.empty()) << "both bytes are asked for";
    }
    bmc::replies = {REFUSAL, REFUSAL};
    EXPECT_EQ(smbus_byte_data_read(ANY_CHIP, 1, BASE, 0x2D, 0x20, &value), -1);
    EXPECT_EQ(smbus_byte_data_write(1, BASE, 0x2D, 0x20, 1), -1);
    EXPECT_EQ(value, UNTOUCHED);
}

TEST(MakerRoute, HasNoGpu) {
    bmc::open_maker();
    for (uint32_t bus_type : {0u, 1u, 8u, 9u}) {
        uint32_t value = UNTOUCHED;
        EXPECT_EQ(smbus_byte_data_read_GPU(bus_type, BASE, 0x4C, 0, &value), -1);
        EXPECT_EQ(value, UNTOUCHED);
        EXPECT_EQ(test_door::take_log(), "");
    }
}
