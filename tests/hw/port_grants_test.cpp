#include "hw/port_grants.h"

#include <gtest/gtest.h>

static void revoke_all() {
    note_port_level(0);
    note_port_range(0, 0x10000, false);
}

TEST(PortGrants, NothingIsGrantedAfterRevokingAll) {
    revoke_all();
    for (unsigned port = 0; port < 0x10000; port++)
        EXPECT_FALSE(ports_granted(static_cast<uint16_t>(port), 1)) << port;
}

TEST(PortGrants, OnlyLevelThreeIsEveryPort) {
    revoke_all();
    for (int level : {0, 1, 2}) {
        note_port_level(level);
        EXPECT_FALSE(ports_granted(0x295, 1)) << "level " << level;
    }
    note_port_level(3);
    EXPECT_TRUE(ports_granted(0, 1));
    EXPECT_TRUE(ports_granted(0x295, 4));
    EXPECT_TRUE(ports_granted(0xFFFF, 1));
    note_port_level(0);
    EXPECT_FALSE(ports_granted(0x295, 1));
}

TEST(PortGrants, SinglePortGrantsItselfAlone) {
    revoke_all();
    note_port_range(0x2E, 1, true);
    EXPECT_TRUE(ports_granted(0x2E, 1));
    EXPECT_FALSE(ports_granted(0x2D, 1));
    EXPECT_FALSE(ports_granted(0x2F, 1));
    EXPECT_FALSE(ports_granted(0x2E, 2)) << "the second port was not granted";
    note_port_range(0x2F, 1, true);
    EXPECT_TRUE(ports_granted(0x2E, 2));
    note_port_range(0x2E, 1, false);
    EXPECT_FALSE(ports_granted(0x2E, 1));
    EXPECT_TRUE(ports_granted(0x2F, 1)) << "revoking one port takes no other";
    revoke_all();
}

TEST(PortGrants, RangeNeedsEveryPortOfAnAccess) {
    revoke_all();
    note_port_range(0xCF8, 8, true); // 0xCF8 to 0xCFF
    EXPECT_TRUE(ports_granted(0xCF8, 4));
    EXPECT_TRUE(ports_granted(0xCFC, 4));
    EXPECT_FALSE(ports_granted(0xCFD, 4));
    EXPECT_FALSE(ports_granted(0xCF7, 1));
    EXPECT_FALSE(ports_granted(0xD00, 1));
    note_port_range(0xCFA, 1, false);
    EXPECT_FALSE(ports_granted(0xCF8, 4)) << "a hole at 0xCFA";
    EXPECT_TRUE(ports_granted(0xCFC, 4));
    revoke_all();
}

// Singly granted ports outlive the level.
TEST(PortGrants, DroppingTheLevelKeepsSinglePorts) {
    revoke_all();
    note_port_level(3);
    note_port_range(0x295, 2, true);
    note_port_level(0);
    EXPECT_TRUE(ports_granted(0x295, 2));
    EXPECT_FALSE(ports_granted(0x297, 1));
    revoke_all();
}

TEST(PortGrants, LastPortIsTheEnd) {
    revoke_all();
    note_port_range(0xFFFF, 1, true);
    EXPECT_TRUE(ports_granted(0xFFFF, 1));
    EXPECT_FALSE(ports_granted(0xFFFE, 2));
    note_port_range(0xFFFE, 8, true); // reaches beyond the last port and does not wrap to the first
    EXPECT_TRUE(ports_granted(0xFFFE, 2));
    EXPECT_FALSE(ports_granted(0, 1));
    EXPECT_FALSE(ports_granted(0xFFFE, 3)) << "there is no third port";
    EXPECT_FALSE(ports_granted(0xFFFD, 4));
    revoke_all();
}

TEST(PortGrants, ASumBeyondTheLastPortIsNoPort) {
    const struct {
        uint32_t base;
        uint32_t offset;
        bool port;
    } table[] = {{0, 0, true},           {0xFFFF, 0, true},     {0xFFFF, 1, false}, {0x10000, 0, false},
                 {0xFFF0, 15, true},     {0xFFF0, 16, false},   {0, 0xFFFF, true},  {0, 0x10000, false},
                 {0xFFFFFFFE, 4, false}, {4, 0xFFFFFFFE, false}};
    for (const auto &row : table)
        EXPECT_EQ(is_port(row.base, row.offset), row.port) << std::hex << row.base << " + " << row.offset;
}
