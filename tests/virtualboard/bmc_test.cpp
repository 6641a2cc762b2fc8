// The BMC: what it answers to each command, and how the two transports carry it.
#include "bmc.h"

#include <cerrno>
#include <cstring>
#include <gtest/gtest.h>
#include <linux/ipmi.h>
#include <sys/ioctl.h>

static bmc_device make_bmc() {
    bmc_device bmc;
    bmc.transport = BMC_OPENIPMI;
    bmc.guid = {'5', '0', '0', '1', 'X', 'Q'};
    bmc.sensors = {61, 50};
    bmc.replies = {{{0x30, 0x92}, {0x00, 0x05, 0x06}}, {{0x30, 0x70, 0x05, 0x01}, {0x00, 55}}};
    bmc.slaves.resize(1);
    bmc.slaves[0].address = 0x2D;
    banked_chip &chip = bmc.slaves[0].chip;
    chip.bank_reg = 0xFF;
    chip.bank_mask = 0x07;
    chip.common[0x20].value = 100;
    chip.common[0x21].value = 101;
    chip.banks[1][0x80].value = 62;
    chip.banks[1][0x81].value = 16;
    bmc.isa.banks[6][0x30].value = 7;
    bmc.isa.banks[6][0x31].value = 0x1A;
    return bmc;
}

// 0x5A is slave 0x2D as it is on the bus.
TEST(Bmc, EveryCommandThatItKnowsHasItsReply) {
    const struct {
        byte_string request; // network function, command, data
        byte_string reply;   // completion code, data
    } table[] = {
        {{0x06, 0x37}, {0x00, '5', '0', '0', '1', 'X', 'Q'}},
        {{0x06, 0x52, 0x05, 0x5A, 0x01, 0x20}, {0x00, 100}},      // Master Write-Read of one byte
        {{0x06, 0x52, 0x07, 0x5A, 0x01, 0x20}, {0x00, 100}},      // over the other bus
        {{0x06, 0x52, 0x05, 0x5A, 0x02, 0x20}, {0x00, 100, 101}}, // of two
        {{0x30, 0x22, 0x05, 0x5A, 0x01, 0x21}, {0x00, 101}},      // its OEM kin
        {{0x30, 0x23, 0x05, 0x5A, 0x01, 0x20}, {0x00, 100, 101}}, // always two bytes
        {{0x30, 0x2C, 0x01, 0x06, 0x30}, {0x00, 7}}, // the board's monitor: count, bank, register
        {{0x30, 0x2C, 0x02, 0x06, 0x30}, {0x00, 7, 0x1A}},
        {{0x30, 0x90, 0x5A, 0x01, 0x80, 0x01}, {0x00, 62}}, // slave, bank, register, count
        {{0x30, 0x90, 0x5A, 0x01, 0x80, 0x02}, {0x00, 62, 16}},
        {{0x30, 0x90, 0x5A, 0x00, 0x20, 0x01}, {0x00, 100}}, // a common register in bank 0
        {{0x30, 0x93, 0x01}, {0x00, 50}},                    // sensor by index
    };
    for (const auto &row : table) {
        bmc_device bmc = make_bmc();
        bool known = true;
        EXPECT_EQ(bmc_answer(&bmc, row.request, 0, &known), row.reply) << int(row.request[1]);
        EXPECT_TRUE(known) << int(row.request[1]);
    }
}

// Byte 5 of the whole reply is the IPMI version; all that matters is the length and the completion code.
TEST(Bmc, ItSaysWhatDeviceItIs) {
    bmc_device bmc = make_bmc();
    bool known = true;
    byte_string reply = bmc_answer(&bmc, {0x06, 0x01}, 0, &known);
    ASSERT_EQ(reply.size(), 12u);
    EXPECT_EQ(reply[0], 0x00);
    EXPECT_EQ(reply[5], 0x02);
}

TEST(Bmc, WritesReachTheChip) {
    bmc_device bmc = make_bmc();
    bool known = true;
    EXPECT_EQ(bmc_answer(&bmc, {0x06, 0x52, 0x05, 0x5A, 0x00, 0x20, 0x77}, 0, &known), byte_string{0x00});
    EXPECT_EQ(bmc.slaves[0].chip.common[0x20].value, 0x77);
    EXPECT_EQ(bmc_answer(&bmc, {0x30, 0x22, 0x05, 0x5A, 0x00, 0x21, 0x78}, 0, &known), byte_string{0x00});
    EXPECT_EQ(bmc.slaves[0].chip.common[0x21].value, 0x78);
    EXPECT_EQ(bmc_answer(&bmc, {0x30, 0x91, 0x5A, 0x01, 0x80, 0x79}, 0, &known), byte_string{0x00});
    EXPECT_EQ(bmc.slaves[0].chip.banks[1][0x80].value, 0x79);
    EXPECT_EQ(bmc_answer(&bmc, {0x30, 0x2C, 0x00, 0x06, 0x30, 0x7A}, 0, &known), byte_string{0x00});
    EXPECT_EQ(bmc.isa.banks[6][0x30].value, 0x7A);
    EXPECT_TRUE(known);
}

TEST(Bmc, TheBoardsOwnRepliesComeFirstAndByTheirBeginning) {
    bmc_device bmc = make_bmc();
    bool known = true;
    const byte_string supply = {0x00, 0x05, 0x06};
    EXPECT_EQ(bmc_answer(&bmc, {0x30, 0x92}, 0, &known), supply);
    EXPECT_EQ(bmc_answer(&bmc, {0x30, 0x92, 0x05, 0x08}, 0, &known), supply);
    EXPECT_EQ(bmc_answer(&bmc, {0x30, 0x70, 0x05, 0x01}, 0, &known), (byte_string{0x00, 55}));
    bmc.replies.insert(bmc.replies.begin(), {{0x06, 0x37}, {0xC1}}); // even before what is built in
    EXPECT_EQ(bmc_answer(&bmc, {0x06, 0x37}, 0, &known), byte_string{0xC1});
    EXPECT_TRUE(known);
}

TEST(Bmc, WhatTheBoardDoesNotKnowIsRefusedAndSaidToBeUnknown) {
    const struct {
        byte_string request;
        uint8_t completion_code;
    } table[] = {
        {{0x30, 0x70, 0x05, 0x02}, 0xC1},             // only register 1 has a reply
        {{0x30, 0x55}, 0xC1},                         // no such command
        {{0x06, 0x52, 0x05, 0x5C, 0x01, 0x20}, 0x83}, // no such slave
        {{0x06, 0x52, 0x05, 0x5A, 0x01, 0x99}, 0x83}, // no such register
        {{0x06, 0x52, 0x05, 0x5A, 0x00, 0x99, 1}, 0x83},
        {{0x30, 0x90, 0x5C, 0x00, 0x20, 0x01}, 0x83},
        {{0x30, 0x90, 0x5A, 0x00, 0x80, 0x01}, 0x83}, // in bank 1 only
        {{0x30, 0x2C, 0x01, 0x05, 0x30}, 0x83},
        {{0x30, 0x93, 0x02}, 0xC1}, // one sensor too far
    };
    for (const auto &row : table) {
        bmc_device bmc = make_bmc();
        bool known = true;
        EXPECT_EQ(bmc_answer(&bmc, row.request, 0, &known), byte_string{row.completion_code})
            << int(row.request[1]);
        EXPECT_FALSE(known) << int(row.request[1]);
    }
}

// Known, and refused all the same.
TEST(Bmc, ShortRequestsFailingChipsAndAMissingGuidAreRefused) {
    bmc_device bmc = make_bmc();
    bool known = true;
    EXPECT_EQ(bmc_answer(&bmc, {0x06, 0x52, 0x05}, 0, &known), byte_string{0xC1});
    EXPECT_EQ(bmc_answer(&bmc, {0x30, 0x90, 0x5A}, 0, &known), byte_string{0xC1});
    EXPECT_EQ(bmc_answer(&bmc, {0x30, 0x2C, 0x01}, 0, &known), byte_string{0xC1});
    EXPECT_EQ(bmc_answer(&bmc, {0x06}, 0, &known), byte_string{0xC1});
    bmc.guid.clear();
    EXPECT_EQ(bmc_answer(&bmc, {0x06, 0x37}, 0, &known), byte_string{0xC1});
    bmc.slaves[0].chip.fails = true;
    EXPECT_EQ(bmc_answer(&bmc, {0x06, 0x52, 0x05, 0x5A, 0x01, 0x20}, 0, &known), byte_string{0x83});
    EXPECT_TRUE(known);
}

// ---- OpenIPMI

static int send_request(bmc_device *bmc, long id, byte_string request) {
    ipmi_req message = {};
    message.msgid = id;
    message.msg.netfn = request[0];
    message.msg.cmd = request[1];
    message.msg.data = request.data() + 2;
    message.msg.data_len = static_cast<unsigned short>(request.size() - 2);
    bool known = true;
    return openipmi_ioctl(bmc, IPMICTL_SEND_COMMAND, &message, 0, &known);
}

TEST(Bmc, OverOpenIPMIAReplyWaitsUntilItIsTaken) {
    bmc_device bmc = make_bmc();
    EXPECT_EQ(send_request(&bmc, 9, {0x30, 0x93, 0x00}), 0);
    ASSERT_EQ(bmc.pending.size(), 1u);
    EXPECT_EQ(bmc.pending[0].bytes, (byte_string{0x00, 61}));
    uint8_t data[80] = {};
    ipmi_recv received = {};
    received.msg.data = data;
    received.msg.data_len = sizeof data;
    bool known = true;
    EXPECT_EQ(openipmi_ioctl(&bmc, IPMICTL_RECEIVE_MSG, &received, 0, &known), 0);
    EXPECT_EQ(received.msg.data_len, 2);
    EXPECT_EQ(received.msgid, 9);
    EXPECT_EQ(data[0], 0x00);
    EXPECT_EQ(data[1], 61);
    EXPECT_TRUE(bmc.pending.empty());
    EXPECT_EQ(openipmi_ioctl(&bmc, IPMICTL_GET_MY_ADDRESS_CMD, data, 0, &known), -1);
    EXPECT_EQ(errno, ENOTTY);
}

TEST(Bmc, OverOpenIPMISendingAndReceivingCanFail) {
    bmc_device bmc = make_bmc();
    bmc.send_fails = true;
    EXPECT_EQ(send_request(&bmc, 2, {0x30, 0x93, 0x00}), -1);
    EXPECT_EQ(errno, EIO);
    EXPECT_TRUE(bmc.pending.empty());

    bmc.send_fails = false;
    bmc.receive_fails = true;
    EXPECT_EQ(send_request(&bmc, 2, {0x30, 0x93, 0x00}), 0);
    uint8_t data[80] = {0xEE};
    ipmi_recv received = {};
    received.msg.data = data;
    received.msg.data_len = sizeof data;
    bool known = true;
    EXPECT_EQ(openipmi_ioctl(&bmc, IPMICTL_RECEIVE_MSG, &received, 0, &known), -1);
    EXPECT_EQ(errno, EIO);
    EXPECT_EQ(data[0], 0xEE);

    bmc.receive_fails = false;
    bmc.silent = true;
    EXPECT_EQ(send_request(&bmc, 2, {0x30, 0x93, 0x00}), 0);
    EXPECT_TRUE(bmc.pending.empty());
}

TEST(Bmc, OverOpenIPMIAReplyThatIsTooLongForItsBufferIsRefused) {
    bmc_device bmc = make_bmc();
    send_request(&bmc, 2, {0x06, 0x37});
    uint8_t data[3];
    ipmi_recv received = {};
    received.msg.data = data;
    received.msg.data_len = sizeof data;
    bool known = true;
    for (int tries = 0; tries < 2; tries++) { // it stays
        EXPECT_EQ(openipmi_ioctl(&bmc, IPMICTL_RECEIVE_MSG, &received, 0, &known), -1);
        EXPECT_EQ(errno, EMSGSIZE);
    }
    EXPECT_EQ(bmc.pending.size(), 1u);
}

TEST(Bmc, OverOpenIPMIAReplyThatIsTooLongCanBeCutAndGoesThen) {
    bmc_device bmc = make_bmc();
    send_request(&bmc, 2, {0x06, 0x37});
    send_request(&bmc, 3, {0x30, 0x93, 0x00});
    uint8_t data[] = {0xEE, 0xEE, 0xEE, 0xEE};
    ipmi_recv received = {};
    received.msg.data = data;
    received.msg.data_len = 3;
    bool known = true;
    EXPECT_EQ(openipmi_ioctl(&bmc, IPMICTL_RECEIVE_MSG_TRUNC, &received, 0, &known), -1);
    EXPECT_EQ(errno, EMSGSIZE);
    EXPECT_EQ(received.msg.data_len, 3);
    EXPECT_EQ(data[0], 0x00);
    EXPECT_EQ(data[3], 0xEE);
    EXPECT_EQ(openipmi_ioctl(&bmc, IPMICTL_RECEIVE_MSG, &received, 0, &known), 0);
    EXPECT_EQ(received.msgid, 3);
    EXPECT_EQ(data[1], 61);
    EXPECT_TRUE(bmc.pending.empty());
}

// ---- The maker's driver

struct qxbmc_call {
    uint8_t status[16] = {};
    uint8_t record[64] = {};
    uint8_t reply[64] = {};
    uint64_t count = 0;
    uint64_t words[10] = {};
};

// Flags and time-out (32 bits each), slave, command, network function, LUN, data length, data.
static int call_qxbmc(bmc_device *bmc, qxbmc_call *call, const byte_string &request, size_t capacity) {
    call->record[8] = 0x20;
    call->record[9] = request[1];
    call->record[10] = request[0];
    call->record[12] = static_cast<uint8_t>(request.size() - 2);
    memcpy(call->record + 13, request.data() + 2, request.size() - 2);
    call->count = capacity;
    call->words[3] = reinterpret_cast<uint64_t>(call->status);
    call->words[4] = reinterpret_cast<uint64_t>(call->record);
    call->words[5] = 34;
    call->words[6] = reinterpret_cast<uint64_t>(call->reply);
    call->words[7] = capacity;
    call->words[8] = reinterpret_cast<uint64_t>(&call->count);
    bool known = true;
    return qxbmc_ioctl(bmc, 0x1082, call->words, 0, &known);
}

TEST(Bmc, OverTheMakersDriverARecordGoesInAndItsReplyComesOut) {
    bmc_device bmc = make_bmc();
    qxbmc_call call;
    EXPECT_EQ(call_qxbmc(&bmc, &call, {0x06, 0x52, 0x05, 0x5A, 0x02, 0x20}, 34), 0);
    EXPECT_EQ(call.count, 3u);
    EXPECT_EQ(call.reply[0], 0x00);
    EXPECT_EQ(call.reply[1], 100);
    EXPECT_EQ(call.reply[2], 101);
}

TEST(Bmc, OverTheMakersDriverAReplyIsCutToItsCapacity) {
    bmc_device bmc = make_bmc();
    qxbmc_call call;
    memset(call.reply, 0xEE, sizeof call.reply);
    EXPECT_EQ(call_qxbmc(&bmc, &call, {0x06, 0x37}, 3), 0); // seven bytes
    EXPECT_EQ(call.count, 3u);
    EXPECT_EQ(call.reply[2], '0');
    EXPECT_EQ(call.reply[3], 0xEE);
}

TEST(Bmc, OverTheMakersDriverSilenceIsAnEmptyReplyAndFailureAFailedCall) {
    bmc_device bmc = make_bmc();
    qxbmc_call call;
    bmc.silent = true;
    EXPECT_EQ(call_qxbmc(&bmc, &call, {0x06, 0x01}, 34), 0);
    EXPECT_EQ(call.count, 0u);
    bmc.send_fails = true;
    EXPECT_EQ(call_qxbmc(&bmc, &call, {0x06, 0x01}, 34), -1);
    EXPECT_EQ(errno, EIO);
    bool known = true;
    EXPECT_EQ(qxbmc_ioctl(&bmc, 0x1083, call.words, 0, &known), -1);
    EXPECT_EQ(errno, ENOTTY);
}
