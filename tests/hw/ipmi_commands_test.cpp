#include <gtest/gtest.h>

#include "hw/bmc.h"

constexpr uint32_t UNTOUCHED = 0xABCD1234;

// Commands on slave 0x2D (0x5A on the bus, nibbles 2 and D), bank 4, register 0x20 and value 0x9B where they
// take them. `shortest` is the reply's least length, completion code included.
struct command_row {
    const char *name;
    int (*call)(uint32_t *value);
    const char *sent;
    size_t shortest;
    uint32_t value; // of the reply 00 11 22 33 ...; UNTOUCHED for a write
};

static const command_row COMMANDS[] = {
    {"IpmiByteRead2_06_52_05", [](uint32_t *value) { return IpmiByteRead2_06_52_05(0x2D, 0x20, value); },
     "send 06 52 05 5a 01 20", 2, 0x11},
    {"IpmiByteWrite2_06_52_05", [](uint32_t *) { return IpmiByteWrite2_06_52_05(0x2D, 0x20, 0x9B); },
     "send 06 52 05 5a 00 20 9b", 1, UNTOUCHED},
    {"IpmiByteRead_OBWinbond_id3_06_52_07",
     [](uint32_t *value) { return IpmiByteRead_OBWinbond_id3_06_52_07(0x2D, 0x20, value); },
     "send 06 52 07 5a 01 20", 2, 0x11},
    {"IpmiByteWrite_OBWinbond_id3_06_52_07",
     [](uint32_t *) { return IpmiByteWrite_OBWinbond_id3_06_52_07(0x2D, 0x20, 0x9B); },
     "send 06 52 07 5a 00 20 9b", 1, UNTOUCHED},
    {"IpmiByteRead_Peppercon_oem_30_22_05",
     [](uint32_t *value) { return IpmiByteRead_Peppercon_oem_30_22_05(0x2D, 0x20, value); },
     "send 30 22 05 5a 01 20", 2, 0x11},
    {"IpmiByteWrite_Peppercon_oem_30_22_05",
     [](uint32_t *) { return IpmiByteWrite_Peppercon_oem_30_22_05(0x2D, 0x20, 0x9B); },
     "send 30 22 05 5a 00 20 9b", 1, UNTOUCHED},
    {"IpmiWordRead_oem_30_23", [](uint32_t *value) { return IpmiWordRead_oem_30_23(0x2D, 0x20, value); },
     "send 30 23 05 5a 01 20", 3, 0x1122},
    {"IpmiByteRead2_oem_30_0F", [](uint32_t *value) { return IpmiByteRead2_oem_30_0F(0x2D, 0x20, value); },
     "send 30 0f", 2, 0x11},
    {"IpmiByteRead2_oem_30_70", [](uint32_t *value) { return IpmiByteRead2_oem_30_70(0x2D, 0x20, value); },
     "send 30 70 05 20", 2, 0x11},
    {"IpmiByteRead_ISA_30_2C", [](uint32_t *value) { return IpmiByteRead_ISA_30_2C(4, 0x20, value); },
     "send 30 2c 01 04 20", 2, 0x11},
    {"IpmiWordRead_ISA_30_2C", [](uint32_t *value) { return IpmiWordRead_ISA_30_2C(4, 0x20, value); },
     "send 30 2c 02 04 20", 3, 0x1122},
    {"IpmiByteWrite_ISA_30_2C", [](uint32_t *) { return IpmiByteWrite_ISA_30_2C(4, 0x20, 0x9B); },
     "send 30 2c 00 04 20 9b", 1, UNTOUCHED},
    {"IpmiByteRead_oem_30_90", [](uint32_t *value) { return IpmiByteRead_oem_30_90(0x2D, 4, 0x20, value); },
     "send 30 90 5a 04 20 01", 2, 0x11},
    {"IpmiWordRead_oem_30_90", [](uint32_t *value) { return IpmiWordRead_oem_30_90(0x2D, 4, 0x20, value); },
     "send 30 90 5a 04 20 02", 3, 0x1122},
    {"IpmiByteWrite_oem_30_91", [](uint32_t *) { return IpmiByteWrite_oem_30_91(0x2D, 4, 0x20, 0x9B); },
     "send 30 91 5a 04 20 9b", 1, UNTOUCHED},
    {"IpmiByteRead_oem_30_92 register 0",
     [](uint32_t *value) { return IpmiByteRead_oem_30_92(0x2D, 0, value); }, "send 30 92 02 0d", 2, 0x11},
    {"IpmiByteRead_oem_30_92 register 5", // byte 6
     [](uint32_t *value) { return IpmiByteRead_oem_30_92(0x2D, 5, value); }, "send 30 92 02 0d", 7, 0x66},
    {"IpmiByteRead_oem_30_92_PWSFailure",
     [](uint32_t *value) { return IpmiByteRead_oem_30_92_PWSFailure(0x2D, 0x20, value); }, "send 30 92", 2,
     0x11},
    {"IpmiByteRead_oem_30_93", [](uint32_t *value) { return IpmiByteRead_oem_30_93(7, value); },
     "send 30 93 07", 2, 0x11},
    {"IpmiByteRead_oem_30_95", [](uint32_t *value) { return IpmiByteRead_oem_30_95(1, value); }, "send 30 95",
     2, 0x11},
    // The byte of what is longer: 0x12D AND 0xFF is 0x2D; a slave's eighth bit falls off when it is doubled.
    {"IpmiByteRead_oem_30_90 long slave",
     [](uint32_t *value) { return IpmiByteRead_oem_30_90(0x12D, 4, 0x20, value); }, "send 30 90 5a 04 20 01",
     2, 0x11},
    {"IpmiByteWrite_oem_30_91 long slave",
     [](uint32_t *) { return IpmiByteWrite_oem_30_91(0xFF2D, 4, 0x20, 0x9B); }, "send 30 91 5a 04 20 9b", 1,
     UNTOUCHED},
    {"IpmiByteRead_oem_30_92 other nibbles",
     [](uint32_t *value) { return IpmiByteRead_oem_30_92(0xE4, 1, value); }, "send 30 92 0e 04", 3, 0x22},
};

static const std::string REPLY =
    bmc::bytes({0x00, 0x11, 0x22, 0x33, 0x44, 0x55, 0x66, 0x77, 0x88, 0x99, 0xAA, 0xBB});

TEST(BmcCommands, SendTheirBytesAndTakeTheirValue) {
    bmc::open_openipmi();
    int64_t message_id = 2;
    for (const command_row &row : COMMANDS) {
        bmc::replies = {{REPLY}};
        uint32_t value = UNTOUCHED;
        EXPECT_EQ(row.call(&value), 0) << row.name;
        EXPECT_EQ(value, row.value) << row.name;
        EXPECT_EQ(test_door::take_log(), std::string(row.sent) + "\nwait\n") << row.name;
        EXPECT_EQ(bmc::message_id, message_id++) << row.name;
    }
}

TEST(BmcCommands, CompletionCodeFails) {
    bmc::open_openipmi();
    for (const command_row &row : COMMANDS)
        for (int code : {0x01, 0x80, 0xC1, 0xFF}) {
            bmc::replies = {{bmc::bytes({code}) + REPLY.substr(1)}};
            uint32_t value = UNTOUCHED;
            EXPECT_EQ(row.call(&value), 255) << row.name << " code " << code;
            EXPECT_EQ(value, UNTOUCHED) << row.name << " code " << code;
        }
}

// The bytes that are missing are in the buffer all the same, as an earlier reply's would.
TEST(BmcCommands, ShortReplyFails) {
    bmc::open_openipmi();
    for (const command_row &row : COMMANDS)
        for (size_t length = 0; length <= row.shortest + 1; length++) {
            bmc::replies = {{REPLY, length}};
            uint32_t value = UNTOUCHED;
            bool enough = length >= row.shortest;
            EXPECT_EQ(row.call(&value), enough ? 0 : 255) << row.name << " with " << length;
            EXPECT_EQ(value, enough ? row.value : UNTOUCHED) << row.name << " with " << length;
        }
}

// 80 bytes is the most that can come: byte 79 is the last one.
TEST(BmcCommands, PowerSupplyRegisterBeyondTheReplyFails) {
    struct {
        uint32_t reg;
        int result;
        uint32_t value;
    } rows[] = {{77, 0, 78},
                {78, 0, 79},
                {79, 255, UNTOUCHED},
                {0xFE, 255, UNTOUCHED},
                {0xFF, 255, UNTOUCHED},
                {0xFFFFFFFF, 255, UNTOUCHED}};
    std::string longest;
    for (int i = 0; i < 80; i++)
        longest += static_cast<char>(i);
    bmc::open_openipmi();
    for (const auto &row : rows) {
        bmc::replies = {{longest}};
        uint32_t value = UNTOUCHED;
        EXPECT_EQ(IpmiByteRead_oem_30_92(0x2D, row.reg, &value), row.result) << row.reg;
        EXPECT_EQ(value, row.value) << row.reg;
    }
}

TEST(BmcCommands, FailedSendWaitsForNothingAndNeverGivesThePreviousReply) {
    bmc::open_openipmi();
    for (const command_row &row : COMMANDS) {
        bmc::replies = {{REPLY}};
        uint32_t value = UNTOUCHED;
        EXPECT_EQ(row.call(&value), 0) << row.name;
        test_door::take_log();
        value = UNTOUCHED;
        test_door::fail_call("ioctl", 1, EIO);
        std::string said = test_door::captured_stderr([&] { EXPECT_EQ(row.call(&value), 255) << row.name; });
        EXPECT_EQ(said, "Error: ioctl(), errno=5\n") << row.name; // EIO
        EXPECT_EQ(value, UNTOUCHED) << row.name;
        EXPECT_EQ(test_door::take_log(), "") << row.name;
    }
}

TEST(BmcCommands, FailedWaitOrReceiveNeverGivesThePreviousReply) {
    struct {
        const char *call;
        int nth;
        const char *said;
    } rows[] = {{"wait", 1, "Error: select(), errno=5\n"}, {"ioctl", 2, "Error: ioctl(), errno=5\n"}};
    bmc::open_openipmi();
    for (const command_row &command : COMMANDS)
        for (const auto &row : rows) {
            bmc::replies = {{REPLY}};
            uint32_t value = UNTOUCHED;
            EXPECT_EQ(command.call(&value), 0) << command.name;
            value = UNTOUCHED;
            test_door::fail_call(row.call, row.nth, EIO);
            std::string said =
                test_door::captured_stderr([&] { EXPECT_EQ(command.call(&value), 255) << command.name; });
            EXPECT_EQ(said, row.said) << command.name;
            EXPECT_EQ(value, UNTOUCHED) << command.name << " " << row.call;
        }
}

// A receive that claims a reply but writes nothing.
TEST(BmcCommands, ReplyThatWasNotWrittenFails) {
    bmc::open_openipmi();
    for (const command_row &row : COMMANDS) {
        bmc::replies = {{"", 12}};
        uint32_t value = UNTOUCHED;
        EXPECT_EQ(row.call(&value), 255) << row.name;
        EXPECT_EQ(value, UNTOUCHED) << row.name;
    }
}

TEST(BmcCommands, UnmarkedWaitFails) {
    for (int count : {0, 1}) {
        bmc::open_openipmi();
        test_door::on_wait = [count](int, bool *readable) {
            *readable = false;
            return count;
        };
        for (const command_row &row : COMMANDS) {
            uint32_t value = UNTOUCHED;
            EXPECT_EQ(row.call(&value), 255) << row.name << " " << count;
            EXPECT_EQ(value, UNTOUCHED) << row.name << " " << count;
        }
    }
}

TEST(BmcCommands, MessageIdsRunFromTwoAndWrapToTwo) {
    bmc::open_openipmi();
    struct {
        int32_t before; // 0: as it is
        int64_t id;
        int32_t after;
    } rows[] = {{0, 2, 3}, {0, 3, 4}, {255, 255, 256}, {65534, 65534, 65535}, {0, 65535, 2}, {0, 2, 3}};
    for (const auto &row : rows) {
        if (row.before != 0)
            seqNo = row.before;
        bmc::replies = {{REPLY}};
        uint32_t value;
        EXPECT_EQ(IpmiByteRead_oem_30_93(0, &value), 0);
        EXPECT_EQ(bmc::message_id, row.id);
        EXPECT_EQ(seqNo, row.after);
    }
}

TEST(BmcCommands, FailedCommandsAdvanceTheSequenceNumber) {
    bmc::open_openipmi();
    uint32_t value;
    test_door::fail_call("ioctl", 1, EIO);
    test_door::captured_stderr([&] { IpmiByteRead_oem_30_93(0, &value); });
    EXPECT_EQ(seqNo, 3);
    bmc::replies = {{bmc::bytes({0xC1})}};
    IpmiByteRead_oem_30_93(0, &value);
    EXPECT_EQ(seqNo, 4);
}

TEST(BmcCommands, LimitOfRegisterZeroIsNotAskedFor) {
    bmc::open_openipmi();
    uint32_t value = UNTOUCHED;
    EXPECT_EQ(IpmiByteRead_oem_30_95(0, &value), 0);
    EXPECT_EQ(value, 95u);
    EXPECT_EQ(test_door::take_log(), "");
    EXPECT_EQ(seqNo, 2);
}

TEST(BmcCommands, OfOpenIpmiAreNotSentOverTheMakersDriver) {
    bmc::open_maker();
    for (const command_row &row : COMMANDS) {
        uint32_t value = UNTOUCHED;
        std::string said = test_door::captured_stderr([&] { EXPECT_NE(row.call(&value), 0) << row.name; });
        EXPECT_EQ(said, "") << row.name;
        EXPECT_EQ(value, UNTOUCHED) << row.name;
        EXPECT_EQ(test_door::take_log(), "") << row.name;
    }
    EXPECT_EQ(checkAnyIPMI(), 0);
    EXPECT_EQ(test_door::take_log(), "");
}
