// What is behind a bus or an address: SMBus adapters, PCI functions, physical memory.
#include <cerrno>
#include <gtest/gtest.h>
#include <linux/i2c-dev.h>
#include <linux/i2c.h>

#include "memory.h"
#include "pci_functions.h"
#include "smbus_adapter.h"

static smbus_adapter make_adapter() {
    smbus_adapter adapter;
    adapter.base = 0x1100;
    adapter.slaves.resize(2);
    adapter.slaves[0].address = 0x2F;
    adapter.slaves[0].chip.common[0x10].value = 148;
    adapter.slaves[1].address = 0x4C;
    return adapter;
}

static int take(smbus_adapter *adapter, unsigned long request, unsigned long address) {
    bool known = true;
    int result = smbus_ioctl(adapter, request, reinterpret_cast<void *>(address), 0, &known);
    EXPECT_TRUE(known);
    return result;
}

static int transfer(smbus_adapter *adapter, uint8_t direction, uint8_t reg, uint8_t *byte, bool *known) {
    i2c_smbus_data data = {};
    data.byte = *byte;
    i2c_smbus_ioctl_data arguments = {direction, reg, I2C_SMBUS_BYTE_DATA, &data};
    *known = true;
    int result = smbus_ioctl(adapter, I2C_SMBUS, &arguments, 0, known);
    *byte = data.byte;
    return result;
}

TEST(SMBusAdapter, BytesAreReadFromAndWrittenToTheSlaveTakenLast) {
    smbus_adapter adapter = make_adapter();
    bool known;
    uint8_t byte = 0xEE;
    EXPECT_EQ(take(&adapter, I2C_SLAVE, 0x2F), 0);
    EXPECT_EQ(transfer(&adapter, I2C_SMBUS_READ, 0x10, &byte, &known), 0);
    EXPECT_EQ(byte, 148);
    byte = 7;
    EXPECT_EQ(take(&adapter, I2C_SLAVE_FORCE, 0x2F), 0);
    EXPECT_EQ(transfer(&adapter, I2C_SMBUS_WRITE, 0x10, &byte, &known), 0);
    EXPECT_EQ(adapter.slaves[0].chip.common[0x10].value, 7);
    EXPECT_TRUE(known);
}

TEST(SMBusAdapter, WhatTheBoardDoesNotKnowFailsAndIsSaidToBeUnknown) {
    smbus_adapter adapter = make_adapter();
    bool known;
    uint8_t byte = 0xEE;
    take(&adapter, I2C_SLAVE, 0x2F);
    EXPECT_EQ(transfer(&adapter, I2C_SMBUS_READ, 0x11, &byte, &known), -1);
    EXPECT_FALSE(known);
    EXPECT_EQ(transfer(&adapter, I2C_SMBUS_WRITE, 0x11, &byte, &known), -1);
    EXPECT_FALSE(known);
    EXPECT_EQ(take(&adapter, I2C_SLAVE, 0x30),
              0); // the kernel lets an address be taken where there is no slave
    EXPECT_EQ(transfer(&adapter, I2C_SMBUS_READ, 0x10, &byte, &known), -1);
    EXPECT_EQ(errno, ENXIO);
    EXPECT_FALSE(known);
    EXPECT_EQ(byte, 0xEE);
}

TEST(SMBusAdapter, ASlaveThatADriverHoldsIsTakenByForceOnly) {
    smbus_adapter adapter = make_adapter();
    adapter.slaves[0].held = true;
    take(&adapter, I2C_SLAVE, 0x4C);
    EXPECT_EQ(take(&adapter, I2C_SLAVE, 0x2F), -1);
    EXPECT_EQ(errno, EBUSY);
    EXPECT_EQ(adapter.taken, 0x4C);
    EXPECT_EQ(take(&adapter, I2C_SLAVE_FORCE, 0x2F), 0);
    EXPECT_EQ(adapter.taken, 0x2F);
}

// A slave that is silent, one whose chip fails, and any slave of a failing adapter: known, and no answer.
TEST(SMBusAdapter, SilentAndFailingOnesDoNotAnswer) {
    for (int kind = 0; kind < 3; kind++) {
        smbus_adapter adapter = make_adapter();
        adapter.slaves[0].silent = kind == 0;
        adapter.slaves[0].chip.fails = kind == 1;
        adapter.fails = kind == 2;
        bool known;
        uint8_t byte = 0xEE;
        EXPECT_EQ(take(&adapter, I2C_SLAVE, 0x2F), 0) << kind;
        EXPECT_EQ(transfer(&adapter, I2C_SMBUS_READ, 0x10, &byte, &known), -1) << kind;
        EXPECT_EQ(errno, ENXIO) << kind;
        EXPECT_TRUE(known) << kind;
        EXPECT_EQ(transfer(&adapter, I2C_SMBUS_WRITE, 0x10, &byte, &known), -1) << kind;
        EXPECT_EQ(adapter.slaves[0].chip.common[0x10].value, 148) << kind;
    }
}

TEST(SMBusAdapter, OtherTransfersAndRequestsAreRefused) {
    smbus_adapter adapter = make_adapter();
    take(&adapter, I2C_SLAVE, 0x2F);
    i2c_smbus_data data = {};
    i2c_smbus_ioctl_data word = {I2C_SMBUS_READ, 0x10, I2C_SMBUS_WORD_DATA, &data};
    bool known = true;
    EXPECT_EQ(smbus_ioctl(&adapter, I2C_SMBUS, &word, 0, &known), -1);
    EXPECT_EQ(errno, EOPNOTSUPP);
    EXPECT_EQ(smbus_ioctl(&adapter, I2C_FUNCS, &data, 0, &known), -1);
    EXPECT_EQ(errno, ENOTTY);
    EXPECT_TRUE(known);
}

TEST(SMBusAdapter, ItsStatusRegisterIsThePortAtItsBase) {
    smbus_adapter adapter = make_adapter();
    EXPECT_EQ(smbus_outb(&adapter, 0x1100, 0x42), ANSWERED);
    EXPECT_EQ(smbus_outb(&adapter, 0x1101, 0x42), NOT_MINE);
    adapter.base = 0;
    EXPECT_EQ(smbus_outb(&adapter, 0, 0x42), NOT_MINE);
}

TEST(PCIFunctions, ADwordIsReadAtTheAddressThatWasWritten) {
    pci_space space;
    space.present = true;
    space.functions = {
        {.bus = 1, .device = 31, .function = 3, .registers = {{0x00, 0x1E228086}, {0x20, 0x1101}}}};
    const struct {
        uint32_t address; // 0x80000000 | bus << 16 | device << 11 | function << 8 | register
        uint32_t dword;
    } table[] = {
        {0x8001FB00, 0x1E228086}, {0x8001FB20, 0x1101},
        {0x8001FB23, 0x1101},     // bits 0 and 1 are not part of the register
        {0x8001FB24, 0},          // a register that was not named
        {0x8001FA00, 0xFFFFFFFF}, // another function
        {0x8000FB00, 0xFFFFFFFF}, // another bus
        {0x0001FB00, 0xFFFFFFFF}, // the enable bit is missing
    };
    for (const auto &row : table) {
        uint32_t dword = 0;
        EXPECT_EQ(pci_outl(&space, 0xCF8, row.address), ANSWERED);
        EXPECT_EQ(pci_inl(&space, 0xCFC, &dword), ANSWERED);
        EXPECT_EQ(dword, row.dword) << std::hex << row.address;
    }
}

TEST(PCIFunctions, OtherPortsAndABoardWithoutAnyAreNotAnswered) {
    pci_space space;
    uint32_t dword = 0;
    EXPECT_EQ(pci_outl(&space, 0xCF8, 0x80000000), NOT_MINE);
    EXPECT_EQ(pci_inl(&space, 0xCFC, &dword), NOT_MINE);
    space.present = true;
    EXPECT_EQ(pci_inl(&space, 0xCF8, &dword), NOT_MINE);
    EXPECT_EQ(pci_outl(&space, 0xCFC, 0), NOT_MINE);
}

static std::vector<uint8_t> bytes_at(const physical_memory *memory, uint64_t address, size_t size) {
    std::vector<uint8_t> bytes(size, 0xEE);
    read_memory(memory, address, bytes.data(), size);
    return bytes;
}

TEST(Memory, WhatNobodyNamedIsZero) {
    physical_memory memory;
    EXPECT_FALSE(memory.present);
    put_memory(&memory, 0xFFA40, {1, 2});
    EXPECT_TRUE(memory.present);
    put_memory(&memory, 0xFFA41, {3}); // the later one wins
    EXPECT_EQ(bytes_at(&memory, 0xFFA3F, 4), (std::vector<uint8_t>{0, 1, 3, 0}));
}

// The entry point, on a 16-byte boundary of the BIOS area: anchor, length (16 bits) at 6, address (32 bits)
// at 8, number of structures (16 bits) at 12.
TEST(Memory, ADMITableHasAnEntryPointAndItsBoardRecord) {
    physical_memory memory;
    put_dmi_table(&memory, {"Brigantine", "H2SB-I", "2.2"});
    int entries = 0;
    std::vector<uint8_t> entry;
    for (uint32_t address = 0xF0000; address < 0x100000; address += 16) {
        std::vector<uint8_t> paragraph = bytes_at(&memory, address, 16);
        if (std::string(paragraph.begin(), paragraph.begin() + 5) != "_DMI_")
            continue;
        entries++;
        entry = paragraph;
    }
    ASSERT_EQ(entries, 1);
    size_t length = entry[6] + entry[7] * 256u;
    uint32_t address =
        entry[8] + (entry[9] << 8) + (entry[10] << 16) + (static_cast<uint32_t>(entry[11]) << 24);
    int count = entry[12] + entry[13] * 256;
    std::vector<uint8_t> table = bytes_at(&memory, address, length);
    size_t at = 0;
    std::string types;
    std::string board;
    for (int i = 0; i < count; i++) {
        types += std::to_string(table.at(at)) + " ";
        size_t strings = at + table.at(at + 1);
        size_t end = strings;
        while (table.at(end) != 0 || table.at(end + 1) != 0)
            end++;
        if (table.at(at) == 2) {
            EXPECT_EQ(table.at(at + 4), 1); // manufacturer, product and version are strings 1, 2 and 3
            EXPECT_EQ(table.at(at + 5), 2);
            EXPECT_EQ(table.at(at + 6), 3);
            board.assign(table.begin() + static_cast<long>(strings), table.begin() + static_cast<long>(end));
        }
        at = end + 2;
    }
    EXPECT_EQ(at, length);
    EXPECT_EQ(types, "0 1 2 127 ");
    EXPECT_EQ(board, std::string("Brigantine\0H2SB-I\0002.2", 21));
}
