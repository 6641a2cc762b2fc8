#include "hw/superio.h"

#include <cerrno>
#include <gtest/gtest.h>

#include "support/os_test.h"

TEST(SuperIo, GrantsBothConfigurationPortsOneByOne) {
    test_door::reset();
    test_door::grant_all_ports(false);
    EXPECT_EQ(superio_grant_ports(), 0);
    EXPECT_EQ(test_door::take_log(), "ioperm 002e 1 1\n"
                                     "ioperm 002f 1 1\n");
    EXPECT_EQ(superio_enter(), 0) << "the ports are granted";
    EXPECT_EQ(superio_write(0xE6, 0), 0) << "the ports are granted";
}

TEST(SuperIo, RefusedGrantOfEitherPortFails) {
    for (int nth : {1, 2}) {
        test_door::reset();
        test_door::grant_all_ports(false);
        test_door::fail_call("ioperm", nth, EPERM);
        EXPECT_EQ(superio_grant_ports(), -1) << "call " << nth;
    }
}

TEST(SuperIo, EntersByWritingTheKeyTwice) {
    test_door::reset();
    EXPECT_EQ(superio_enter(), 0);
    EXPECT_EQ(test_door::take_log(), "outb 002e 87\n"
                                     "outb 002e 87\n");
}

TEST(SuperIo, SelectsALogicalDeviceThroughRegisterSeven) {
    test_door::reset();
    EXPECT_EQ(superio_select(0x0C), 0);
    EXPECT_EQ(test_door::take_log(), "outb 002e 07\n"
                                     "outb 002f 0c\n");
}

TEST(SuperIo, ReadsARegister) {
    test_door::reset();
    test_door::on_inb = [](uint16_t port) -> uint8_t { return port == 0x2F ? 0x64 : 0x11; };
    uint8_t value = 0;
    EXPECT_EQ(superio_read(0xE1, &value), 0);
    EXPECT_EQ(value, 0x64);
    EXPECT_EQ(test_door::take_log(), "outb 002e e1\n"
                                     "inb 002f 64\n");
}

TEST(SuperIo, WritesARegister) {
    test_door::reset();
    EXPECT_EQ(superio_write(0xE6, 0x5A), 0);
    EXPECT_EQ(test_door::take_log(), "outb 002e e6\n"
                                     "outb 002f 5a\n");
}

TEST(SuperIo, LeavesByTheExitKey) {
    test_door::reset();
    EXPECT_EQ(superio_leave(), 0);
    EXPECT_EQ(test_door::take_log(), "outb 002e aa\n");
}

TEST(SuperIo, RefusedPortsFailEveryCall) {
    test_door::reset();
    test_door::grant_all_ports(false);
    int written = 0;
    test_door::on_outb = [&written](uint16_t, uint8_t) { written++; };
    uint8_t value = 0x3C;
    EXPECT_EQ(superio_enter(), -1);
    EXPECT_EQ(superio_select(0x0B), -1);
    EXPECT_EQ(superio_read(0x20, &value), -1);
    EXPECT_EQ(superio_write(0x30, 1), -1);
    EXPECT_EQ(superio_leave(), -1);
    EXPECT_EQ(value, 0x3C);
    EXPECT_EQ(written, 0);
}

// A data write without its index would land in whatever register was selected before.
TEST(SuperIo, RefusedIndexKeepsTheDataPortUntouched) {
    test_door::reset();
    test_door::fail_call("outb", 1, EPERM);
    EXPECT_EQ(superio_write(0xE6, 0x40), -1);
    EXPECT_EQ(test_door::take_log(), "outb 002e e6 failed\n");
    test_door::fail_call("outb", 1, EPERM);
    EXPECT_EQ(superio_select(0x0A), -1);
    EXPECT_EQ(test_door::take_log(), "outb 002e 07 failed\n");
}

TEST(SuperIo, FailureInTheMiddleIsReported) {
    test_door::reset();
    uint8_t value = 0x3C;
    test_door::fail_call("inb", 1, EIO);
    EXPECT_EQ(superio_read(0x20, &value), -1);
    EXPECT_EQ(value, 0x3C);
    test_door::fail_call("outb", 2, EIO);
    EXPECT_EQ(superio_enter(), -1);
    test_door::fail_call("outb", 2, EIO);
    EXPECT_EQ(superio_write(0xE6, 1), -1);
}
