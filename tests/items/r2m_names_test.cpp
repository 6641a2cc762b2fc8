// The chip is on bus 0 behind the adapter at 1100.
#include "items/r2m_names.h"

#include <cstring>
#include <gtest/gtest.h>
#include <linux/i2c-dev.h>
#include <linux/i2c.h>
#include <string>
#include <vector>

#include "hw/i2c_adapters.h"
#include "hw/pci.h"
#include "support/os_test.h"

constexpr int I2C_FD = 50;

// Register 5E of the chip at `slave` is `mode`; every other slave refuses.
static void put_chip(uint32_t slave, uint8_t mode) {
    test_door::reset();
    i2c_bus_list = {{"0", "smbus", "SMBus I801 adapter at 1100", ""}};
    counter_i2c_bus_list = 1;
    SMB_BASE_IO_ADDR = 0x1100;
    IntelDevice = 0;
    test_door::on_open = [](const std::string &path, int) {
        return path == "/dev/i2c-0" ? I2C_FD : test_door::NOT_A_DEVICE;
    };
    test_door::on_ioctl = [slave, mode](int fd, unsigned long request, void *argument) {
        EXPECT_EQ(fd, I2C_FD);
        if (request == I2C_SLAVE) {
            auto wanted = reinterpret_cast<uintptr_t>(argument);
            test_door::log("slave " + std::to_string(wanted));
            return wanted == slave ? 0 : -1;
        }
        const auto *transfer = static_cast<const i2c_smbus_ioctl_data *>(argument);
        test_door::log("register " + std::to_string(transfer->command));
        if (request != I2C_SMBUS || transfer->read_write != I2C_SMBUS_READ || transfer->command != 0x5E)
            return -1;
        transfer->data->byte = mode;
        return 0;
    };
}

static item_record named_item(const char *name) {
    item_record item = {};
    strcpy(item.Name, name);
    item.ChipCode = 17;
    item.Slave = 0x2F;
    return item;
}

static const char *const core_names[] = {
    "CPU1 Core A Temperature",
    "CPU1 Core B Temperature",
    "CPU2 Core A Temperature",
    "CPU2 Core B Temperature",
};
static const char *const peci_names[] = {
    "PECI Agent1 Temperature",
    "PECI Agent2 Temperature",
    "PECI Agent3 Temperature",
    "PECI Agent4 Temperature",
};

static std::vector<item_record> items_named(const char *const (&names)[4]) {
    std::vector<item_record> items = {named_item("CPU1 Fan")};
    for (const char *name : names)
        items.push_back(named_item(name));
    items.push_back(named_item("CPU1 Core A Temperature 2"));
    return items;
}

static void revise(std::vector<item_record> *items, uint32_t bus_type = 1) {
    system_settings system = {};
    system.BusType = bus_type;
    revise_kestrel_ini_for_R2M(&system, items->data(), static_cast<int32_t>(items->size()));
}

static void expect_item_names(const std::vector<item_record> &items, const char *const (&names)[4],
                              const std::string &what) {
    EXPECT_STREQ(items[0].Name, "CPU1 Fan") << what;
    for (size_t i = 0; i < 4; i++)
        EXPECT_STREQ(items[i + 1].Name, names[i]) << what;
    EXPECT_STREQ(items[5].Name, "CPU1 Core A Temperature 2") << what;
}

TEST(ReviseForR2M, ModeDecidesTheNames) {
    const struct {
        uint8_t mode;
        bool peci;
    } rows[] = {{0x00, false}, {0x01, false}, {0x02, false}, {0x03, true},
                {0xFC, false}, {0xFD, false}, {0xFE, false}, {0xFF, true}};
    for (const auto &row : rows)
        for (const auto &before : {core_names, peci_names}) {
            put_chip(0x2F, row.mode);
            std::vector<item_record> items = items_named(before == core_names ? core_names : peci_names);
            revise(&items);
            expect_item_names(items, row.peci ? peci_names : core_names,
                              "mode " + std::to_string(row.mode) + " of " + items[1].Name);
        }
}

TEST(ReviseForR2M, NamesAreFoundInAnyCase) {
    put_chip(0x2F, 3);
    std::vector<item_record> items = {named_item("cpu1 CORE a temperature"),
                                      named_item("CPU2 core B TEMPERATURE"),
                                      named_item("CPU3 Core A Temperature"), named_item("")};
    revise(&items);
    EXPECT_STREQ(items[0].Name, "PECI Agent1 Temperature");
    EXPECT_STREQ(items[1].Name, "PECI Agent4 Temperature");
    EXPECT_STREQ(items[2].Name, "CPU3 Core A Temperature");
    EXPECT_STREQ(items[3].Name, "");
    put_chip(0x2F, 0);
    items = {named_item("peci agent2 temperature")};
    revise(&items);
    EXPECT_STREQ(items[0].Name, "CPU1 Core B Temperature");
}

TEST(ReviseForR2M, NothingElseOfAnItemChanges) {
    put_chip(0x2F, 3);
    std::vector<item_record> items = {named_item("CPU1 Core A Temperature")};
    items[0].Cat = CAT_TEMP;
    items[0].Monitor = 1;
    strcpy(items[0].ItemId, "CPU1 Core A Temperature");
    item_record expected = items[0];
    memset(expected.Name, 0, sizeof expected.Name);
    strcpy(expected.Name, "PECI Agent1 Temperature");
    revise(&items);
    memset(items[0].Name + strlen(items[0].Name), 0, sizeof items[0].Name - strlen(items[0].Name));
    EXPECT_EQ(memcmp(&items[0], &expected, sizeof expected), 0);
}

TEST(ReviseForR2M, SlaveIsTheFirstItems) {
    put_chip(0x2C, 3);
    std::vector<item_record> items = items_named(core_names);
    items[0].Slave = 0x2C; // the others name 2F
    revise(&items);
    expect_item_names(items, peci_names, "slave 2C");
}

TEST(ReviseForR2M, FirstItemOfAnotherChipMeansSlaveZero) {
    put_chip(0x2F, 3);
    std::vector<item_record> items = items_named(core_names);
    items[0].ChipCode = 1; // the items after it are not asked
    EXPECT_EQ(test_door::captured_stderr([&] { revise(&items); }), "Error: ioctl(), slave=0x0\n");
    expect_item_names(items, core_names, "nothing answers at 0");
    put_chip(0, 3);
    revise(&items);
    expect_item_names(items, peci_names, "slave 0");
}

TEST(ReviseForR2M, FailingReadChangesNothing) {
    for (const auto &before : {core_names, peci_names}) {
        const auto &names = before == core_names ? core_names : peci_names;
        put_chip(0x2F, 3);
        auto chip = test_door::on_ioctl;
        test_door::on_ioctl = [chip](int fd, unsigned long request, void *argument) {
            return request == I2C_SMBUS ? -1 : chip(fd, request, argument);
        };
        std::vector<item_record> items = items_named(names);
        revise(&items);
        expect_item_names(items, names, "no answer");
    }
}

TEST(ReviseForR2M, OneReadOfTheModeRegister) {
    put_chip(0x2F, 3);
    std::vector<item_record> items = items_named(core_names);
    revise(&items, 0xB);
    std::string log = test_door::take_log();
    size_t first = log.find("slave "); // after the bus was opened, which is done once
    ASSERT_NE(first, std::string::npos);
    EXPECT_EQ(log.substr(first), "slave 47\nregister 94\n");
    EXPECT_FALSE(test_door::has_file("/etc/Kestrel.ini"));
}

TEST(ReviseForR2M, NoItemsIsNoAccess) {
    put_chip(0x2F, 3);
    std::vector<item_record> items;
    revise(&items);
    EXPECT_EQ(test_door::take_log(), "");
}
