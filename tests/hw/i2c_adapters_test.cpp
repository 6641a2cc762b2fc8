#include "hw/i2c_adapters.h"

#include <cstring>
#include <gtest/gtest.h>
#include <string>

#include "support/os_test.h"

static const char PCI[] = "/proc/bus/pci/devices";
static const char MODULES[] = "/proc/modules";
static const char BUSES[] = "/proc/bus/i2c";
static const char MOUNTS[] = "/proc/mounts";
static const char I2C_DEV_LOADED[] = "i2c_dev 16384 0 - Live 0x0000000000000000\n";
static const char LOAD_I2C_DEV[] = "system modprobe i2c-dev 2>/dev/null\n";

// A machine without PCI devices, loaded modules and buses.
static void start() {
    test_door::reset();
    test_door::put_file("/dev/i2c-0", "");
    test_door::put_file(PCI, "");
    test_door::put_file(MODULES, "");
    i2c_bus_list.clear();
    counter_i2c_bus_list = 0;
}

// A device's line as the kernel writes it: bus 0, device 0x1F.
static std::string pci_line(unsigned vendor, unsigned device, unsigned function) {
    char line[200];
    snprintf(line, sizeof line,
             "%04x\t%04x%04x\t12\t    f7e34004\t       0\t       0\t       0\t    f041\t       0\t       0\t"
             "     100\t       0\t       0\t       0\t      20\t       0\t       0\tsmbus\n",
             0x1Fu << 3 | function, vendor, device);
    return line;
}

static std::string load(const std::string &module) { return "system modprobe " + module + " 2>/dev/null\n"; }

// The commands that the search runs on a machine with these devices and modules.
static std::string commands_for(const std::string &devices, const std::string &modules) {
    start();
    test_door::put_file(PCI, devices);
    test_door::put_file(MODULES, modules);
    EXPECT_EQ(i2cdetect(), 0);
    return test_door::take_log();
}

static std::string errors_of(int expected) {
    return test_door::captured_stderr([expected] { EXPECT_EQ(i2cdetect(), expected); });
}

static void expect_bus(size_t slot, const char *number, const char *type, const std::string &adapter,
                       const std::string &algorithm) {
    ASSERT_LT(slot, i2c_bus_list.size());
    EXPECT_STREQ(i2c_bus_list[slot].number, number) << "slot " << slot;
    EXPECT_STREQ(i2c_bus_list[slot].type, type) << "slot " << slot;
    EXPECT_EQ(i2c_bus_list[slot].adapter, adapter) << "slot " << slot;
    EXPECT_EQ(i2c_bus_list[slot].algorithm, algorithm) << "slot " << slot;
}

static void expect_empty_bus(size_t slot) { expect_bus(slot, "", "", "", ""); }

// ---- Device nodes

TEST(I2cAdaptersNodes, AnyOfTheThreeNodesWillDo) {
    for (const char *node : {"/dev/i2c-0", "/dev/i2c", "/dev/i2c0"}) {
        test_door::reset();
        test_door::put_file(node, "");
        EXPECT_EQ(test_door::captured_stderr([] { EXPECT_EQ(init_conf(), 0); }), "") << node;
    }
}

TEST(I2cAdaptersNodes, NoneIsReportedAndEndsTheSearch) {
    start();
    test_door::reset();
    test_door::put_file(PCI, pci_line(0x8086, 0x2930, 3));
    test_door::put_file(MODULES, "");
    test_door::put_file("/dev/i2c-1", ""); // only bus 0 counts
    const char message[] = "Error: no i2c device files found. Please use mkdev.sh to create them.\n";
    EXPECT_EQ(errors_of(-1), message);
    EXPECT_EQ(test_door::captured_stderr([] { EXPECT_EQ(init_conf(), -1); }), message);
    EXPECT_EQ(test_door::take_log(), "") << "no driver is loaded then";
}

TEST(I2cAdaptersNodes, ModuleConfigurationFileMakesNoDifference) {
    for (const char *file : {"/etc/modules.conf", "/etc/conf.modules"}) {
        start();
        test_door::put_file(file, "alias char-major-89 i2c-dev\n");
        EXPECT_EQ(i2cdetect(), 0) << file;
        EXPECT_EQ(test_door::take_log(), LOAD_I2C_DEV) << file;
    }
}

// ---- Files that are not there

TEST(I2cAdapters, MissingPciListIsReportedTwice) {
    start();
    test_door::fail_call("fopen", 1, ENOENT);
    EXPECT_EQ(errors_of(-1), "Error: cannot open file /proc/bus/pci/devices\n"
                             "Error: cannot access either /proc/bus/pci/ or /proc/pci!\n");
    EXPECT_EQ(test_door::take_log(), "");
    test_door::reset(); // the file itself is missing
    EXPECT_EQ(test_door::captured_stderr([] { EXPECT_EQ(init_proc_pci(), -1); }),
              "Error: cannot open file /proc/bus/pci/devices\n"
              "Error: cannot access either /proc/bus/pci/ or /proc/pci!\n");
}

TEST(I2cAdapters, OlderPciListIsNoHelp) {
    test_door::reset();
    test_door::put_file("/proc/pci", "PCI devices found:\n");
    EXPECT_NE(test_door::captured_stderr([] { EXPECT_EQ(init_proc_pci(), -1); }), "");
}

TEST(I2cAdapters, MissingModuleListFailsSilently) {
    start();
    test_door::put_file(PCI, pci_line(0x8086, 0x2930, 3));
    test_door::fail_call("fopen", 2, ENOENT); // after the PCI list
    EXPECT_EQ(errors_of(-1), "");
    EXPECT_EQ(test_door::take_log(), "") << "no driver is loaded then";
    test_door::reset();
    EXPECT_EQ(init_modules_list(), -1);
}

TEST(I2cAdapters, NoBusIsNoFailure) {
    start();
    EXPECT_EQ(errors_of(0), "");
    EXPECT_EQ(counter_i2c_bus_list, 0);
    EXPECT_EQ(init_i2c_bus_list(), 0);
}

TEST(I2cAdapters, DumpsPrintNothing) {
    start();
    EXPECT_EQ(i2cdetect(), 0);
    EXPECT_EQ(test_door::captured_stdout([] {
                  EXPECT_EQ(dump_modules_list(), 0);
                  EXPECT_EQ(dump_driver_list(), 0);
                  EXPECT_EQ(dump_i2c_bus_list(), 0);
              }),
              "");
}

// ---- Known adapters

static const struct {
    unsigned vendor;
    unsigned device;
    unsigned function;
    const char *module;
    const char *loaded_name;
} known[] = {
    {0x8086, 0x2413, 3, "i2c-i801", "i2c_i801"},       {0x8086, 0x2423, 3, "i2c-i801", "i2c_i801"},
    {0x8086, 0x2443, 3, "i2c-i801", "i2c_i801"},       {0x8086, 0x2483, 3, "i2c-i801", "i2c_i801"},
    {0x8086, 0x24C3, 3, "i2c-i801", "i2c_i801"},       {0x8086, 0x24D3, 3, "i2c-i801", "i2c_i801"},
    {0x8086, 0x25A4, 3, "i2c-i801", "i2c_i801"},       {0x8086, 0x266A, 3, "i2c-i801", "i2c_i801"},
    {0x8086, 0x269B, 3, "i2c-i801", "i2c_i801"},       {0x8086, 0x27DA, 3, "i2c-i801", "i2c_i801"},
    {0x8086, 0x283E, 3, "i2c-i801", "i2c_i801"},       {0x8086, 0x2930, 3, "i2c-i801", "i2c_i801"},
    {0x8086, 0x3A30, 3, "i2c-i801", "i2c_i801"},       {0x8086, 0x3B30, 3, "i2c-i801", "i2c_i801"},
    {0x8086, 0x1C22, 3, "i2c-i801", "i2c_i801"},       {0x8086, 0x1D22, 3, "i2c-i801", "i2c_i801"},
    {0x8086, 0x1E22, 3, "i2c-i801", "i2c_i801"},       {0x1166, 0x0200, 0, "i2c-piix4", "i2c_piix4"},
    {0x1166, 0x0201, 0, "i2c-piix4", "i2c_piix4"},     {0x1166, 0x0203, 0, "i2c-piix4", "i2c_piix4"},
    {0x1166, 0x0205, 0, "i2c-piix4", "i2c_piix4"},     {0x1002, 0x4385, 0, "i2c-piix4", "i2c_piix4"},
    {0x1022, 0x746A, 2, "i2c-amd8111", "i2c_amd8111"}, {0x10DE, 0x0052, 1, "i2c-nforce2", "i2c_nforce2"},
    {0x10DE, 0x0368, 1, "i2c-nforce2", "i2c_nforce2"},
};

TEST(I2cAdaptersKnown, DriverIsLoadedUnlessItIsThere) {
    for (const auto &row : known) {
        std::string device = pci_line(row.vendor, row.device, row.function);
        std::string hyphen = std::string(row.module) + " 20480 0 - Live 0x0\n";
        std::string underscore = std::string(row.loaded_name) + " 20480 0 - Live 0x0\n";
        EXPECT_EQ(commands_for(device, I2C_DEV_LOADED), load(row.module)) << device;
        EXPECT_EQ(commands_for(device, I2C_DEV_LOADED + hyphen), "") << device;
        EXPECT_EQ(commands_for(device, underscore + I2C_DEV_LOADED), "") << device;
        EXPECT_EQ(commands_for(device, ""), load(row.module) + LOAD_I2C_DEV) << device;
    }
}

TEST(I2cAdaptersKnown, EveryOtherFunctionIsAnotherDevice) {
    for (const auto &row : known)
        for (unsigned function = 0; function < 8; function++) {
            std::string device = pci_line(row.vendor, row.device, function);
            EXPECT_EQ(commands_for(device, I2C_DEV_LOADED), function == row.function ? load(row.module) : "")
                << device;
        }
}

TEST(I2cAdaptersKnown, OthersAreNoError) {
    EXPECT_EQ(commands_for(pci_line(0x8086, 0x2931, 3) + pci_line(0x1166, 0x2930, 3) +
                               pci_line(0x2930, 0x8086, 3) + pci_line(0, 0, 0),
                           ""),
              LOAD_I2C_DEV);
}

TEST(I2cAdaptersKnown, BusAndDeviceNumbersDoNotMatter) {
    // Bus 2, device 0x1B, function 1: 2 << 8 | 0x1B << 3 | 1 = 0x2D9.
    EXPECT_EQ(commands_for("02d9 10de0368 0 0 0 0 0 0 0 0\n", I2C_DEV_LOADED), load("i2c-nforce2"));
}

TEST(I2cAdaptersKnown, DriversAreLoadedInTheOrderOfTheDevices) {
    std::string devices = pci_line(0x10DE, 0x0052, 1) + pci_line(0x8086, 0x7000, 0) +
                          pci_line(0x8086, 0x2413, 3) + pci_line(0x1022, 0x746A, 2) +
                          pci_line(0x1002, 0x4385, 0);
    EXPECT_EQ(commands_for(devices, ""), load("i2c-nforce2") + load("i2c-i801") + load("i2c-amd8111") +
                                             load("i2c-piix4") + load("i2c-dev"));
    EXPECT_EQ(commands_for(devices, "i2c_i801 1 0\ni2c_dev 1 0\n"),
              load("i2c-nforce2") + load("i2c-amd8111") + load("i2c-piix4"));
}

// The list of modules is not read again after a load.
TEST(I2cAdaptersKnown, TwoDevicesOfOneDriverLoadItTwice) {
    EXPECT_EQ(commands_for(pci_line(0x8086, 0x2930, 3) + pci_line(0x8086, 0x3A30, 3), I2C_DEV_LOADED),
              load("i2c-i801") + load("i2c-i801"));
}

TEST(I2cAdaptersKnown, OutcomeOfALoadIsIgnored) {
    for (int outcome : {-1, 0, 256, 127 << 8}) {
        start();
        test_door::put_file(PCI, pci_line(0x8086, 0x2930, 3));
        test_door::on_system = [outcome](const char *) { return outcome; };
        EXPECT_EQ(errors_of(0), "") << outcome;
        EXPECT_EQ(test_door::take_log(), load("i2c-i801") + LOAD_I2C_DEV) << outcome;
    }
}

TEST(I2cAdaptersKnown, NewSearchForgetsTheOldDevices) {
    EXPECT_EQ(commands_for(pci_line(0x8086, 0x2930, 3), "i2c_dev 1 0\n"), load("i2c-i801"));
    EXPECT_EQ(commands_for("", ""), LOAD_I2C_DEV);
}

// ---- Loaded modules

TEST(I2cAdaptersModules, NamesMatchWholeAndWithCase) {
    std::string device = pci_line(0x8086, 0x2930, 3);
    for (const char *other : {"I2C_I801", "i2c_i8011", "xi2c_i801", "i2c_i80", "i2c.i801", "snd i2c_i801"})
        EXPECT_EQ(commands_for(device, std::string(other) + " 1 0\n" + I2C_DEV_LOADED), load("i2c-i801"))
            << other;
    EXPECT_EQ(commands_for(device, "i2c_i801\ni2c-dev\n"), "") << "a name alone on its line";
}

TEST(I2cAdaptersModules, GarbageAndLongLinesDoNotHideOthers) {
    std::string device = pci_line(0x8086, 0x2930, 3);
    std::string long_line = "usbcore 1 0 " + std::string(2000, 'x') + "\n";
    std::string long_name = std::string(300, 'm') + " 1 0\n";
    EXPECT_EQ(commands_for(device, "\n   \n" + long_line + "i2c_i801 1 0\n" + long_name + I2C_DEV_LOADED),
              "");
}

static std::string modules(int count) {
    std::string lines;
    for (int i = 0; i < count; i++)
        lines += "module" + std::to_string(i) + " 1 0\n";
    return lines;
}

TEST(I2cAdaptersModules, HundredAreKept) {
    EXPECT_EQ(commands_for("", modules(99) + I2C_DEV_LOADED), "");
    EXPECT_EQ(commands_for("", modules(100) + I2C_DEV_LOADED), LOAD_I2C_DEV) << "the 101st is dropped";
    EXPECT_EQ(commands_for("", I2C_DEV_LOADED + modules(400)), "");
}

// ---- The list of PCI devices

TEST(I2cAdaptersPci, GarbageLinesAreNoDevices) {
    std::string device = pci_line(0x8086, 0x2930, 3);
    for (const char *garbage : {"\n", "   \n", "no such thing\n", "zz\n", "12\n", "\t\t\t\n"})
        EXPECT_EQ(commands_for(garbage + device, I2C_DEV_LOADED), load("i2c-i801")) << garbage;
    EXPECT_EQ(commands_for(std::string("\0\0\0\n", 4) + device, I2C_DEV_LOADED), load("i2c-i801"));
    EXPECT_EQ(commands_for("no such thing", I2C_DEV_LOADED), "");
}

TEST(I2cAdaptersPci, LongLineIsReadInPieces) {
    std::string device = pci_line(0x8086, 0x2930, 3);
    std::string tail = std::string(700, ' ') + "smbus\n";
    device.pop_back();
    EXPECT_EQ(commands_for(device + tail + pci_line(0x1002, 0x4385, 0), I2C_DEV_LOADED),
              load("i2c-i801") + load("i2c-piix4"));
}

TEST(I2cAdaptersPci, LastLineNeedsNoEnd) {
    EXPECT_EQ(commands_for("00fb 80862930 0 0 0 0 0 0 0 0", I2C_DEV_LOADED), load("i2c-i801"));
}

static std::string other_devices(int count) {
    std::string lines;
    for (int i = 0; i < count; i++)
        lines += pci_line(0x8086, 0x7000, 0);
    return lines;
}

TEST(I2cAdaptersPci, HundredDevicesAreKept) {
    std::string device = pci_line(0x8086, 0x2930, 3);
    EXPECT_EQ(commands_for(other_devices(99) + device, I2C_DEV_LOADED), load("i2c-i801"));
    EXPECT_EQ(commands_for(other_devices(100) + device, I2C_DEV_LOADED), "") << "the 101st is dropped";
    EXPECT_EQ(commands_for(device + other_devices(400), I2C_DEV_LOADED), load("i2c-i801"));
}

TEST(I2cAdaptersPci, TenDriversAreKept) {
    std::string devices;
    std::string expected;
    for (int i = 0; i < 10; i++) {
        devices += pci_line(0x8086, 0x2930, 3);
        expected += load("i2c-i801");
    }
    EXPECT_EQ(commands_for(devices, I2C_DEV_LOADED), expected);
    EXPECT_EQ(commands_for(devices + pci_line(0x1002, 0x4385, 0), I2C_DEV_LOADED), expected);
}

// ---- Buses of an old kernel. Fields are separated by tabs and padded with blanks; a blank is part of a
// ---- name, a tab is not.

TEST(I2cAdaptersOldList, FieldsOfALine) {
    start();
    test_door::put_file(BUSES,
                        "i2c-0\tsmbus     \tSMBus I801 adapter at 1100      \tNon-I2C SMBus adapter   \n"
                        "i2c-12\ti2c       \tnv/(bus) -0\tBit-shift algorithm\n");
    EXPECT_EQ(print_i2c_busses(1), 2);
    EXPECT_EQ(counter_i2c_bus_list, 2);
    expect_bus(0, "0", "smbus", "SMBus I801 adapter at 1100      ", "Non-I2C SMBus adapter   ");
    expect_bus(1, "12", "i2c", "nv/(bus) -0", "Bit-shift algorithm");
}

TEST(I2cAdaptersOldList, ItIsTakenBeforeSysfs) {
    start();
    test_door::put_file(BUSES, "i2c-3\tsmbus\tSMBus PIIX4 adapter at 0b00\tNon-I2C SMBus adapter\n");
    test_door::put_file(MOUNTS, "sysfs /sys sysfs rw 0 0\n");
    test_door::put_file("/sys/class/i2c-dev/i2c-0/name", "SMBus I801 adapter at 1100\n");
    EXPECT_EQ(i2cdetect(), 0);
    EXPECT_EQ(counter_i2c_bus_list, 1);
    expect_bus(0, "3", "smbus", "SMBus PIIX4 adapter at 0b00", "Non-I2C SMBus adapter");
}

TEST(I2cAdaptersOldList, EmptyFileIsNoBus) {
    start();
    test_door::put_file(BUSES, "");
    EXPECT_EQ(print_i2c_busses(1), 0);
}

TEST(I2cAdaptersOldList, EveryLineIsCounted) {
    start();
    test_door::put_file(BUSES,
                        "garbage\n\ni2c-1\tsmbus\tSMBus I801 adapter at 1100\tNon-I2C SMBus adapter\n");
    EXPECT_EQ(print_i2c_busses(1), 3);
    expect_bus(2, "1", "smbus", "SMBus I801 adapter at 1100", "Non-I2C SMBus adapter");
}

TEST(I2cAdaptersOldList, LongFieldsStayWithinTheirSlot) {
    for (const std::string &line : {"i2c-" + std::string(300, '1') + "\tsmbus\tname\talgorithm\n",
                                    "i2c-1\t" + std::string(300, 's') + "\tname\talgorithm\n",
                                    "i2c-1\tsmbus\t" + std::string(300, 'n') + "\talgorithm\n",
                                    "i2c-1\tsmbus\tname\t" + std::string(300, 'a') + "\n"}) {
        start();
        test_door::put_file(BUSES, line);
        EXPECT_GE(print_i2c_busses(1), 1) << line;
        EXPECT_EQ(counter_i2c_bus_list, static_cast<int>(i2c_bus_list.size())) << line;
        for (const i2c_bus &bus : i2c_bus_list) {
            EXPECT_LT(strnlen(bus.number, sizeof bus.number), sizeof bus.number) << line;
            EXPECT_LT(strnlen(bus.type, sizeof bus.type), sizeof bus.type) << line;
            EXPECT_LT(strnlen(bus.adapter, sizeof bus.adapter), sizeof bus.adapter) << line;
            EXPECT_LT(strnlen(bus.algorithm, sizeof bus.algorithm), sizeof bus.algorithm) << line;
        }
    }
}

TEST(I2cAdaptersOldList, HundredsOfBusesAreKept) {
    start();
    std::string lines;
    for (int i = 0; i < 300; i++)
        lines += "i2c-" + std::to_string(i) + "\tsmbus\tSMBus\tNon-I2C\n";
    test_door::put_file(BUSES, lines);
    EXPECT_EQ(print_i2c_busses(1), 300);
    EXPECT_EQ(counter_i2c_bus_list, 300);
    for (size_t i = 0; i < 300; i++)
        expect_bus(i, std::to_string(i).c_str(), "smbus", "SMBus", "Non-I2C");
}

TEST(I2cAdaptersOldList, CountingAloneFillsNothing) {
    start();
    test_door::put_file(BUSES, "i2c-1\tsmbus\tSMBus\tNon-I2C\ni2c-2\tsmbus\tSMBus\tNon-I2C\n");
    EXPECT_EQ(print_i2c_busses(0), 2);
    expect_empty_bus(0);
    expect_empty_bus(1);
}

// ---- Buses in sysfs

static const char ONE_NAME[] = "SMBus I801 adapter at 1100";
static const char NO_ALGORITHM[] = "Algorithm unavailable";

static void start_with_sysfs() {
    start();
    test_door::put_file(MOUNTS,
                        "proc /proc proc rw 0 0\nsysfs /sys sysfs rw,nosuid 0 0\nnone /run tmpfs rw 0 0\n");
}

TEST(I2cAdaptersSysfs, NameFileIsFoundInThreePlaces) {
    for (const char *place : {"name", "device/name", "device/i2c-0/name"}) {
        start_with_sysfs();
        test_door::put_file((std::string("/sys/class/i2c-dev/i2c-0/") + place).c_str(),
                            std::string(ONE_NAME) + "\n");
        EXPECT_EQ(print_i2c_busses(1), 1) << place;
        expect_bus(0, "0", "unknown", ONE_NAME, NO_ALGORITHM);
    }
}

TEST(I2cAdaptersSysfs, FirstPlaceThatOpensIsTaken) {
    start_with_sysfs();
    test_door::put_file("/sys/class/i2c-dev/i2c-0/device/i2c-0/name", "third\n");
    EXPECT_EQ(print_i2c_busses(1), 1);
    EXPECT_STREQ(i2c_bus_list[0].adapter, "third");
    test_door::put_file("/sys/class/i2c-dev/i2c-0/device/name", "second\n");
    EXPECT_EQ(print_i2c_busses(1), 1);
    EXPECT_STREQ(i2c_bus_list[0].adapter, "second");
    test_door::put_file("/sys/class/i2c-dev/i2c-0/name", "first\n");
    EXPECT_EQ(print_i2c_busses(1), 1);
    EXPECT_STREQ(i2c_bus_list[0].adapter, "first");
}

TEST(I2cAdaptersSysfs, EntryWithoutANameFileIsNotCounted) {
    start_with_sysfs();
    test_door::put_file("/sys/class/i2c-dev/i2c-0/dev", "89:0\n");
    test_door::put_file("/sys/class/i2c-dev/i2c-1/device/power/name", "no adapter\n"); // no "i2c-" entry
    test_door::put_file("/sys/class/i2c-dev/i2c-2/device/i2c-2/other", "no name\n");
    test_door::put_file("/sys/class/i2c-dev/i2c-3/name", std::string(ONE_NAME) + "\n");
    EXPECT_EQ(print_i2c_busses(1), 1);
    expect_bus(0, "3", "unknown", ONE_NAME, NO_ALGORITHM);
}

TEST(I2cAdaptersSysfs, NameEndsAtTheNewline) {
    const struct {
        std::string contents;
        std::string expected;
    } rows[] = {
        {"SMBus at 1100\nsecond line\n", "SMBus at 1100"},
        {"SMBus at 1100", "SMBus at 1100"},
        {" blanks kept \n", " blanks kept "},
        {"\n", ""},
        {"", ""},
    };
    for (const auto &row : rows) {
        start_with_sysfs();
        test_door::put_file("/sys/class/i2c-dev/i2c-5/name", row.contents);
        EXPECT_EQ(print_i2c_busses(1), 1) << row.contents;
        expect_bus(0, "5", "unknown", row.expected, NO_ALGORITHM);
    }
}

TEST(I2cAdaptersSysfs, LongNameIsCut) {
    start_with_sysfs();
    test_door::put_file("/sys/class/i2c-dev/i2c-0/name", std::string(119, 'n') + "\n");
    EXPECT_EQ(print_i2c_busses(1), 1);
    EXPECT_EQ(i2c_bus_list[0].adapter, std::string(119, 'n'));
    test_door::put_file("/sys/class/i2c-dev/i2c-0/name", std::string(500, 'n') + "\n");
    EXPECT_EQ(print_i2c_busses(1), 1);
    EXPECT_LE(strlen(i2c_bus_list[0].adapter), 120u);
    EXPECT_GE(strlen(i2c_bus_list[0].adapter), 119u);
}

TEST(I2cAdaptersSysfs, NumberIsThatOfTheEntry) {
    const struct {
        const char *entry;
        const char *number;
    } rows[] = {
        {"i2c-0", "0"},   {"i2c-7", "7"},    {"i2c-12", "12"},
        {"i2c-007", "7"}, {"i2c-3abc", "3"}, {"i2c-2147483647", "2147483647"},
    };
    for (const auto &row : rows) {
        start_with_sysfs();
        test_door::put_file((std::string("/sys/class/i2c-dev/") + row.entry + "/name").c_str(), "SMBus\n");
        EXPECT_EQ(print_i2c_busses(1), 1) << row.entry;
        expect_bus(0, row.number, "unknown", "SMBus", NO_ALGORITHM);
    }
}

TEST(I2cAdaptersSysfs, IsaAdapterTakesASlotAndLeavesItAsItWas) {
    start_with_sysfs();
    test_door::put_file("/sys/class/i2c-dev/i2c-0/name", "ISA main adapter\n");
    test_door::put_file("/sys/class/i2c-dev/i2c-1/name", "SMBus\n");
    EXPECT_EQ(print_i2c_busses(1), 2);
    expect_empty_bus(0);
    expect_bus(1, "1", "unknown", "SMBus", NO_ALGORITHM);

    test_door::put_file("/sys/class/i2c-dev/i2c-0/name", "ISAC adapter\n"); // not "ISA "
    EXPECT_EQ(print_i2c_busses(1), 2);
    expect_bus(0, "0", "unknown", "ISAC adapter", NO_ALGORITHM);

    test_door::put_file("/sys/class/i2c-dev/i2c-0/name", "ISA main adapter\n");
    EXPECT_EQ(print_i2c_busses(1), 2);
    expect_bus(0, "0", "unknown", "ISAC adapter", NO_ALGORITHM);
}

TEST(I2cAdaptersSysfs, EntryThatIsNoBusTakesASlotUnfilled) {
    for (const char *entry : {"i2c", "i2c-", "i2c-x", "adapter-0", "I2C-0", "i2c-2147483648",
                              "i2c-4294967296", "i2c-99999999999999999999"}) {
        start_with_sysfs();
        test_door::put_file((std::string("/sys/class/i2c-dev/") + entry + "/name").c_str(), "SMBus\n");
        EXPECT_EQ(print_i2c_busses(1), 1) << entry;
        expect_empty_bus(0);
    }
}

TEST(I2cAdaptersSysfs, CountingAloneFillsNothing) {
    start_with_sysfs();
    test_door::put_file("/sys/class/i2c-dev/i2c-0/name", "SMBus\n");
    test_door::put_file("/sys/class/i2c-dev/i2c-1/name", "ISA main adapter\n");
    EXPECT_EQ(print_i2c_busses(0), 2);
    EXPECT_EQ(counter_i2c_bus_list, 2);
    expect_empty_bus(0);
    expect_empty_bus(1);
}

TEST(I2cAdaptersSysfs, HundredsOfBusesAreKept) {
    start_with_sysfs();
    for (int i = 0; i < 300; i++)
        test_door::put_file(("/sys/class/i2c-dev/i2c-" + std::to_string(i) + "/name").c_str(), "SMBus\n");
    EXPECT_EQ(print_i2c_busses(1), 300);
    EXPECT_EQ(counter_i2c_bus_list, 300);
    EXPECT_EQ(i2c_bus_list.size(), 300u);
    for (const i2c_bus &bus : i2c_bus_list)
        EXPECT_STREQ(bus.adapter, "SMBus");
}

TEST(I2cAdaptersSysfs, MountPointIsThatOfTheFirstSysfs) {
    const struct {
        std::string mounts;
        int buses;
    } rows[] = {
        {"sysfs /mnt/sys sysfs rw 0 0\n", 1},
        {"none /mnt/sys sysfs rw 0 0\n", 1},
        {"sysfs /mnt/sys SysFS rw 0 0\n", 1},
        {"sysfs /mnt/sys SYSFS rw 0 0\nsysfs /nowhere sysfs rw 0 0\n", 1},
        {"sysfs /nowhere sysfs rw 0 0\nsysfs /mnt/sys sysfs rw 0 0\n", 0},
        {"sysfs /mnt/sys tmpfs rw 0 0\n", 0}, // the type counts
        {"sysfs /mnt/sys sysfs2 rw 0 0\n", 0},
        {"tmpfs /tmp tmpfs rw 0 0\n", 0},
        {"", 0},
        {"\n\nword\ntwo words\nsysfs /mnt/sys sysfs rw 0 0\n", 1},
        {std::string(600, 'd') + " /mnt/other overlay rw 0 0\nsysfs /mnt/sys sysfs rw 0 0\n", 1},
        {"overlay / overlay rw,lower=" + std::string(3000, 'o') + " 0 0\nsysfs /mnt/sys sysfs rw 0 0\n", 1},
    };
    for (const auto &row : rows) {
        start();
        test_door::put_file(MOUNTS, row.mounts);
        test_door::put_file("/mnt/sys/class/i2c-dev/i2c-0/name", "SMBus\n");
        EXPECT_EQ(print_i2c_busses(1), row.buses) << row.mounts;
    }
}

TEST(I2cAdaptersSysfs, NoMountsAndNoDirectoryAreNoBuses) {
    start();
    test_door::put_file("/sys/class/i2c-dev/i2c-0/name", "SMBus\n");
    EXPECT_EQ(test_door::captured_stderr([] { EXPECT_EQ(print_i2c_busses(1), 0); }), "");
    start_with_sysfs();
    EXPECT_EQ(test_door::captured_stderr([] { EXPECT_EQ(print_i2c_busses(1), 0); }), "");
}

TEST(I2cAdaptersSysfs, CountBeginsAnew) {
    start_with_sysfs();
    test_door::put_file("/sys/class/i2c-dev/i2c-0/name", "SMBus\n");
    EXPECT_EQ(print_i2c_busses(1), 1);
    EXPECT_EQ(print_i2c_busses(1), 1);
    test_door::put_file(MOUNTS, "");
    EXPECT_EQ(print_i2c_busses(1), 0);
    EXPECT_EQ(counter_i2c_bus_list, 0);
}
