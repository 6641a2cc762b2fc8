#include "config/revision_rules.h"

#include <cstring>
#include <gtest/gtest.h>
#include <set>
#include <string>
#include <vector>

#include "support/os_test.h"

static const std::string OLD_1 = "/etc/OldRevMB.ini";
static const std::string OLD_2 = "/etc/OldRevMB_2.ini";
static const std::string OLD_3 = "/etc/OldRevMB_3.ini";
static const std::string ALL = "/etc/AllKestrel.ini";

// ---- A machine with a south bridge (mechanism 1 at ports CF8 and CFC) whose GPIO block is at 0480, and
// ---- with the two bytes that the BIOS leaves

struct machine {
    uint32_t bridge; // PCI device id, 0: no bridge
    uint32_t selects_input;
    uint32_t level;
    uint32_t second_level; // of pins 32 to 63
    char options;          // BIOS byte at FFA40
    char board;            // and at FFA41
};

constexpr uint32_t GPIO_BASE = 0x480;

static uint32_t pci_dword(const machine &board, uint32_t address) {
    constexpr uint32_t BRIDGE_AT = 0x8000F800; // bus 0, device 31, function 0
    if (board.bridge == 0 || (address & ~0xFFu) != BRIDGE_AT)
        return 0xFFFFFFFF;
    uint32_t base_register = board.bridge == 0x27B8 ? 0x48 : 0x58;
    if ((address & 0xFF) == 0)
        return board.bridge << 16 | 0x8086;
    return (address & 0xFF) == base_register ? GPIO_BASE | 1 : 0; // bit 0: I/O space
}

static void start(const machine &board) {
    test_door::reset();
    static uint32_t address;
    address = 0;
    test_door::on_outl = [](uint16_t port, uint32_t value) {
        if (port == 0xCF8)
            address = value;
    };
    test_door::on_inl = [board](uint16_t port) -> uint32_t {
        if (port == 0xCFC)
            return pci_dword(board, address);
        if (port == GPIO_BASE + 4)
            return board.selects_input;
        if (port == GPIO_BASE + 12)
            return board.level;
        return port == GPIO_BASE + 0x38 ? board.second_level : 0;
    };
    test_door::put_memory(0xFFA40, {board.options, board.board});
}

constexpr uint32_t BIT_28 = 1u << 28;
constexpr uint32_t BIT_6 = 1u << 6; // pin 38 of the second bank
constexpr uint32_t BIT_7 = 1u << 7; // pin 39

static machine no_bridge() { return {}; }

static machine pin_28(uint32_t selects_input, uint32_t level) {
    return {0x24D0, selects_input, level, 0, 0, 0};
}

static machine second_bank(uint32_t level) { return {0x27B8, 0, 0, level, 0, 0}; }

static machine bios(int options, int board) {
    return {0, 0, 0, 0, static_cast<char>(options), static_cast<char>(board)};
}

static std::string chosen(const machine &board, const char *product, const char *version) {
    start(board);
    return choose_master(product, version);
}

// ---- By the version

TEST(RevisionRules, VersionThatTellsAnOldRevision) {
    const struct {
        const char *product;
        const char *version;
        std::string master;
    } rows[] = {
        {"H2SB-I", "1.0", OLD_1}, {"H2SB-E", "1.1", OLD_1}, {"H3SL-E", "1.2", OLD_1},
        {"R2M-D4", "1.0", OLD_1}, {"H4DG-T", "1.0", OLD_1}, {"H4DG-T", "1.1", OLD_2},
        {"N6DF-T", "2.0", OLD_2}, {"H4DG-T", "1.2", OLD_3}, {"N6DR-6", "1.3", OLD_3},
        {"N6DR-i", "2.1", OLD_3},
    };
    for (const auto &row : rows) {
        EXPECT_EQ(chosen(no_bridge(), row.product, row.version), row.master) << row.product;
        EXPECT_EQ(test_door::take_log(), "") << row.product << ": a version needs no look at the machine";
        std::string version = row.version;
        for (const std::string &other : {std::string(), version + "0", version + " ", " " + version,
                                         version.substr(0, 2), std::string("9.9")})
            EXPECT_EQ(chosen(no_bridge(), row.product, other.c_str()), ALL)
                << row.product << " of version '" << other << "'";
    }
}

TEST(RevisionRules, VersionThatTellsTheCurrentRevision) {
    const struct {
        const char *product;
        const char *version;
        std::string master;
    } rows[] = {
        {"H2DL-8", "2.0", OLD_1},
        {"H2DL-4", "2.1", OLD_1},
        {"H4DG-8", "1.3", OLD_1},
        {"N6DF-L", "1.2", OLD_2},
    };
    for (const auto &row : rows) {
        EXPECT_EQ(chosen(no_bridge(), row.product, row.version), ALL) << row.product;
        std::string version = row.version;
        for (const std::string &other : {std::string(), version + "0", version + " ", std::string("1.0")})
            EXPECT_EQ(chosen(no_bridge(), row.product, other.c_str()), row.master)
                << row.product << " of version '" << other << "'";
        EXPECT_EQ(test_door::take_log(), "") << row.product;
    }
}

// ---- By a pin

TEST(RevisionRules, Pin28MustBeAnInputAndHigh) {
    const struct {
        machine board;
        std::string master;
    } rows[] = {
        {pin_28(BIT_28, BIT_28), OLD_1},
        {pin_28(0xFFFFFFFF, 0xFFFFFFFF), OLD_1},
        {pin_28(0, BIT_28), ALL},
        {pin_28(BIT_28, 0), ALL},
        {pin_28(0, 0), ALL},
        {pin_28(~BIT_28, ~BIT_28), ALL},
        {no_bridge(), ALL},
        {second_bank(0xFFFFFFFF), ALL}, // another bridge
    };
    for (const char *product : {"H3DP-8", "H3DP-i"})
        for (const auto &row : rows)
            for (const char *version : {"1.0", "2.0", ""})
                EXPECT_EQ(chosen(row.board, product, version), row.master)
                    << product << " bridge " << row.board.bridge << " inputs " << row.board.selects_input
                    << " levels " << row.board.level;
}

TEST(RevisionRules, Pins38And39MustBeHigh) {
    const struct {
        const char *product;
        uint32_t bit;
    } rows[] = {{"H5DA-N", BIT_6}, {"H5DA-R", BIT_7}};
    for (const auto &row : rows) {
        EXPECT_EQ(chosen(second_bank(row.bit), row.product, "1.0"), OLD_2) << row.product;
        EXPECT_EQ(chosen(second_bank(0xFFFFFFFF), row.product, "1.0"), OLD_2) << row.product;
        EXPECT_EQ(chosen(second_bank(~row.bit), row.product, "1.0"), ALL) << row.product;
        EXPECT_EQ(chosen(second_bank(0), row.product, "1.0"), ALL) << row.product;
        EXPECT_EQ(chosen(no_bridge(), row.product, "1.0"), ALL) << row.product;
        EXPECT_EQ(chosen(pin_28(0xFFFFFFFF, 0xFFFFFFFF), row.product, "1.0"), ALL) << row.product;
    }
}

// ---- By bits that the BIOS left. Each row has the values of the byte's low three bits for which the rule
// matches; the
// ---- other bits and the other byte do not matter.

TEST(RevisionRules, BitsOfTheBoardByte) {
    const struct {
        const char *product;
        const char *holds; // '1' at the values 0 to 7 for which it does
        std::string master;
    } rows[] = {
        {"H4SC-T", "00000011", OLD_1}, // bits 1 and 2 both set: 6 and 7
        {"H4SC-F", "10101010", OLD_1}, // bit 0 clear
        {"H5QI-8", "01000100", OLD_2}, // bits 0-1 equal to 1
        {"H5QI-4", "10001000", OLD_2}, // bits 0-1 equal to 0
    };
    for (const auto &row : rows)
        for (int value = 0; value < 256; value++)
            EXPECT_EQ(chosen(bios(value ^ 0xFF, value), row.product, "1.0"),
                      row.holds[value & 7] == '1' ? row.master : ALL)
                << row.product << " byte " << value;
}

TEST(RevisionRules, BitsOfTheOptionsByte) {
    const struct {
        const char *product;
        int bit;
        std::string master;
    } rows[] = {{"N6SE-F", 0x01, OLD_2}, {"N6SE-L", 0x02, OLD_3}};
    for (const auto &row : rows)
        for (int value = 0; value < 256; value++)
            EXPECT_EQ(chosen(bios(value, value ^ 0xFF), row.product, "1.0"),
                      (value & row.bit) != 0 ? row.master : ALL)
                << row.product << " byte " << value;
}

// ---- The list

TEST(RevisionRules, OtherProductsTouchNothing) {
    for (const char *product : {"", "H2SB", "H2SB-I2", "X2SB-I", "N6SE-", "R2M-D8", "H4DG-T "}) {
        EXPECT_EQ(chosen(pin_28(0xFFFFFFFF, 0xFFFFFFFF), product, "1.0"), ALL) << product;
        EXPECT_EQ(test_door::take_log(), "") << product;
    }
}

TEST(RevisionRules, AllPinsAndBytesInOneLook) {
    chosen(bios(0, 0), "N6SE-F", "1.0");
    std::string log = test_door::take_log();
    EXPECT_EQ(log.find("outl"), std::string::npos) << "no pin is asked for a rule about the BIOS: " << log;
    EXPECT_NE(log.find("map ff000 1000\n"), std::string::npos) << log;
    chosen(second_bank(0), "H5DA-N", "1.0");
    EXPECT_EQ(test_door::take_log().find("open"), std::string::npos) << "no BIOS byte for a rule about a pin";
}

TEST(RevisionRules, ThereAreTwentyFourInTheOrderOfTheirFiles) {
    EXPECT_EQ(std::size(revision_rules), 24u);
    int place = 1;
    for (const revision_rule &rule : revision_rules) {
        int file = rule.master == OLD_1 ? 1 : rule.master == OLD_2 ? 2 : rule.master == OLD_3 ? 3 : 0;
        EXPECT_GE(file, place) << rule.product;
        place = file;
    }
}

TEST(RevisionRules, EveryKindOfConditionAndEveryVersionIsUsed) {
    std::set<std::string> used;
    for (const revision_rule &rule : revision_rules)
        switch (rule.condition) {
        case VERSION_IS:
        case VERSION_IS_NOT:
            ASSERT_NE(rule.version, nullptr) << rule.product;
            used.insert(rule.condition == VERSION_IS ? "is" : "is not");
            used.insert(rule.version);
            break;
        case GPIO28_HIGH:
            used.insert("pin 28");
            break;
        case GPIO38_HIGH:
            used.insert("pin 38");
            break;
        case GPIO39_HIGH:
            used.insert("pin 39");
            break;
        case BIOS_BITS:
            EXPECT_TRUE(rule.address == 0xFFA40 || rule.address == 0xFFA41) << rule.product;
            EXPECT_EQ(rule.wanted & ~rule.mask, 0) << rule.product << " could never hold";
            used.insert(std::to_string(rule.address & 1) + " mask " + std::to_string(rule.mask) + " = " +
                        std::to_string(rule.wanted));
            break;
        }
    EXPECT_EQ(used, (std::set<std::string>{"is", "is not", "1.0", "1.1", "1.2", "1.3", "2.0", "2.1", "pin 28",
                                           "pin 38", "pin 39", "1 mask 6 = 6", "1 mask 1 = 0", "1 mask 3 = 1",
                                           "1 mask 3 = 0", "0 mask 1 = 1", "0 mask 2 = 2"}));
}
