#include "hw/pci.h"

#include <cstdio>
#include <gtest/gtest.h>
#include <map>
#include <string>

#include "support/os_test.h"

constexpr uint32_t UNTOUCHED = 0xABCD1234;

// A configuration space: dwords by their address, all bits set elsewhere.
static std::map<uint32_t, uint32_t> space;

static void attach_space(const std::map<uint32_t, uint32_t> &dwords) {
    test_door::reset();
    space = dwords;
    static uint32_t address;
    test_door::on_outl = [](uint16_t port, uint32_t value) {
        if (port == 0xCF8)
            address = value;
    };
    test_door::on_inl = [](uint16_t port) {
        auto found = space.find(address);
        return port == 0xCFC && found != space.end() ? found->second : 0xFFFFFFFF;
    };
}

static std::string read_of(uint32_t address, uint32_t dword) {
    char lines[64];
    snprintf(lines, sizeof lines, "outl 0cf8 %08x\ninl 0cfc %08x\n", address, dword);
    return lines;
}

TEST(PciConfigRead, WritesTheAddressAndReadsTheData) {
    struct {
        uint32_t bus, device, function, reg;
        const char *address; // 80000000 | bus << 16 | device << 11 | function << 8 | register
    } rows[] = {{0, 0, 0, 0, "80000000"},     {0, 1, 0, 0, "80000800"},       {0, 0, 1, 0, "80000100"},
                {1, 0, 0, 0, "80010000"},     {0, 31, 3, 0x20, "8000fb20"},   {1, 31, 7, 0xFC, "8001fffc"},
                {2, 30, 5, 0x48, "8002f548"}, {0xFF, 20, 0, 0x90, "80ffa090"}};
    for (const auto &row : rows) {
        test_door::reset();
        test_door::on_inl = [](uint16_t) { return 0x24C38086u; };
        EXPECT_EQ(pci_config_read(row.bus, row.device, row.function, row.reg), 0x24C38086u) << row.address;
        EXPECT_EQ(test_door::take_log(),
                  std::string("iopl 3\noutl 0cf8 ") + row.address + "\ninl 0cfc 24c38086\n");
    }
}

TEST(PciConfigRead, RefusedPortsReadAsAnEmptyBus) {
    test_door::reset();
    test_door::grant_all_ports(false);
    test_door::on_inl = [](uint16_t) { return 0x24C38086u; };
    EXPECT_EQ(pci_config_read(0, 31, 3, 0), 0xFFFFFFFFu);
}

TEST(ScanDevice, LooksAtBusDeviceAndFunctionInThisOrder) {
    attach_space({});
    uint32_t base = UNTOUCHED;
    EXPECT_EQ(scan_device(&base), 0);
    EXPECT_EQ(base, UNTOUCHED);
    std::string expected = "iopl 3\n";
    for (uint32_t bus = 0; bus < 2; bus++)
        for (uint32_t device = 0; device < 32; device++)
            for (uint32_t function = 0; function < 8; function++)
                expected +=
                    read_of(0x80000000 + bus * 0x10000 + device * 0x800 + function * 0x100, 0xFFFFFFFF);
    EXPECT_EQ(test_door::take_log(), expected); // 512 reads, the last one at 8001ff00
}

struct controller_row {
    uint32_t vendor, device, base_register;
    int intel;
};

static const controller_row CONTROLLERS[] = {
    {0x8086, 0x2483, 0x20, 1}, {0x8086, 0x24C3, 0x20, 1}, {0x8086, 0x24D3, 0x20, 1},
    {0x8086, 0x25A4, 0x20, 1}, {0x8086, 0x266A, 0x20, 1}, {0x8086, 0x269B, 0x20, 1},
    {0x8086, 0x27DA, 0x20, 1}, {0x8086, 0x283E, 0x20, 1}, {0x8086, 0x2930, 0x20, 1},
    {0x8086, 0x3A30, 0x20, 1}, {0x8086, 0x3B30, 0x20, 1}, {0x8086, 0x1C22, 0x20, 1},
    {0x8086, 0x1D22, 0x20, 1}, {0x8086, 0x1E22, 0x20, 1}, {0x1166, 0x0200, 0x90, 0},
    {0x1166, 0x0201, 0x90, 0}, {0x1166, 0x0203, 0x90, 0}, {0x1166, 0x0205, 0x90, 0},
    {0x1002, 0x4385, 0x90, 0}, {0x10DE, 0x0052, 0x24, 0}, {0x10DE, 0x0368, 0x24, 0},
    {0x1022, 0x746A, 0x10, 0},
};

// At bus 0, device 0, function 2; every register but the row's has another base.
TEST(ScanDevice, KnowsEachController) {
    for (const controller_row &row : CONTROLLERS) {
        uint32_t id = row.device << 16 | row.vendor;
        std::map<uint32_t, uint32_t> dwords = {{0x80000200, id},
                                               {0x80000210, 0x9001},
                                               {0x80000220, 0x9001},
                                               {0x80000224, 0x9001},
                                               {0x80000290, 0x9001}};
        dwords[0x80000200 + row.base_register] = 0x1101;
        attach_space(dwords);
        uint32_t base = UNTOUCHED;
        EXPECT_EQ(scan_device(&base), row.intel) << std::hex << id;
        EXPECT_EQ(base, 0x1100u) << std::hex << id;
        EXPECT_EQ(test_door::take_log(), "iopl 3\n" + read_of(0x80000000, 0xFFFFFFFF) +
                                             read_of(0x80000100, 0xFFFFFFFF) + read_of(0x80000200, id) +
                                             read_of(0x80000200 + row.base_register, 0x1101))
            << std::hex << id << ": the scan ends here";
    }
}

TEST(ScanDevice, ClearsBitZeroOfTheBaseAlone) {
    struct {
        uint32_t dword, base;
    } rows[] = {{0x1101, 0x1100}, {0x1100, 0x1100}, {0xF0E3, 0xF0E2},
                {0x00000001, 0},  {0, 0},           {0xFFFFFFFF, 0xFFFFFFFE}};
    for (const auto &row : rows) {
        attach_space({{0x8000FB00, 0x24C38086}, {0x8000FB20, row.dword}}); // bus 0, device 31, function 3
        uint32_t base = UNTOUCHED;
        EXPECT_EQ(scan_device(&base), 1) << std::hex << row.dword;
        EXPECT_EQ(base, row.base) << std::hex << row.dword;
    }
}

TEST(ScanDevice, LowerBusDeviceAndFunctionWins) {
    struct {
        uint32_t first, second;
    } rows[] = {{0x80000000, 0x80000100},  // function
                {0x80000700, 0x80000800},  // device before function
                {0x8000FF00, 0x80010000},  // bus before device
                {0x8000FB00, 0x8001FF00}}; // bus 0 and bus 1
    for (const auto &row : rows) {
        attach_space({{row.first, 0x43851002}, // not an Intel one
                      {row.first + 0x90, 0x0B01},
                      {row.second, 0x27DA8086},
                      {row.second + 0x20, 0x1101}});
        uint32_t base = UNTOUCHED;
        EXPECT_EQ(scan_device(&base), 0) << std::hex << row.first;
        EXPECT_EQ(base, 0x0B00u) << std::hex << row.first;
        attach_space({{row.first, 0x27DA8086},
                      {row.first + 0x20, 0x1101},
                      {row.second, 0x43851002},
                      {row.second + 0x90, 0x0B01}});
        EXPECT_EQ(scan_device(&base), 1) << std::hex << row.first;
        EXPECT_EQ(base, 0x1100u) << std::hex << row.first;
    }
}

TEST(ScanDevice, UnknownControllersLeaveTheBaseAlone) {
    const uint32_t ids[] = {
        0x24138086, 0x24238086, 0x24438086,             // known to the drivers' table only
        0x43858086, 0x27DA1002, 0x02001002, 0x746A10DE, // another vendor's device
        0x24C48086, 0x80862483, 0x00008086, 0,
    };
    for (uint32_t id : ids) {
        attach_space({{0x8000FB00, id}, {0x8000FB10, 0x1101}, {0x8000FB20, 0x1101}, {0x8000FB90, 0x1101}});
        uint32_t base = UNTOUCHED;
        EXPECT_EQ(scan_device(&base), 0) << std::hex << id;
        EXPECT_EQ(base, UNTOUCHED) << std::hex << id;
    }
}

TEST(ScanDevice, FindsTheLastFunctionOfBusOneAndNothingBeyond) {
    attach_space({{0x8001FF00, 0x27DA8086}, {0x8001FF20, 0x1101}});
    uint32_t base = UNTOUCHED;
    EXPECT_EQ(scan_device(&base), 1);
    EXPECT_EQ(base, 0x1100u);
    attach_space({{0x80020000, 0x27DA8086}, {0x80020020, 0x1101}});
    base = UNTOUCHED;
    EXPECT_EQ(scan_device(&base), 0);
    EXPECT_EQ(base, UNTOUCHED);
}

TEST(ScanDevice, RefusedPortsFindNothing) {
    attach_space({{0x8000FB00, 0x27DA8086}, {0x8000FB20, 0x1101}});
    test_door::grant_all_ports(false);
    uint32_t base = UNTOUCHED;
    EXPECT_EQ(scan_device(&base), 0);
    EXPECT_EQ(base, UNTOUCHED);
}
