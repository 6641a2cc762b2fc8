#include <algorithm>
#include <deque>
#include <gtest/gtest.h>
#include <memory>

#include "hw/bmc.h"

// ---- The two steps

// Numbers, address and message of what was handed to the kernel last.
struct kernel_call {
    int fd = 0;
    unsigned long request = 0;
    std::string address;
    unsigned address_length = 0;
    int64_t message_id = 0;
    int netfn = 0;
    int command = 0;
    std::string data;
    unsigned char *buffer = nullptr;
    unsigned capacity = 0;
};

static kernel_call last;
static int calls;

static int note_send(int fd, unsigned long request, void *argument) {
    auto *sent = static_cast<ipmi_req *>(argument);
    calls++;
    last = {fd,
            request,
            bmc::hex(sent->addr, sent->addr_len),
            sent->addr_len,
            sent->msgid,
            sent->msg.netfn,
            sent->msg.cmd,
            bmc::hex(sent->msg.data, sent->msg.data_len),
            nullptr,
            0};
    return 0;
}

static void catch_sends() {
    test_door::reset();
    calls = 0;
    last = {};
    test_door::on_ioctl = note_send;
}

// An address of which `head` are the bytes that count: the rest up to 40 is padding.
static std::string head_of(const std::string &address, const std::string &head) {
    return address.substr(0, head.size());
}

TEST(OpenIpmiSend, HandsTheRequestToTheKernel) {
    catch_sends();
    const uint8_t data[] = {0x05, 0x5A, 0x01, 0x20};
    EXPECT_EQ(ipmi_cmd_req2(51, 12, 15, 0x20, 0, 0x1234, 0x06, 0x52, sizeof data, data), 0);
    EXPECT_EQ(calls, 1);
    EXPECT_EQ(last.fd, 51);
    EXPECT_EQ(last.request, 0x8028690Dul);
    EXPECT_EQ(last.address_length, 40u);
    EXPECT_EQ(last.message_id, 0x1234);
    EXPECT_EQ(last.netfn, 0x06);
    EXPECT_EQ(last.command, 0x52);
    EXPECT_EQ(last.data, "05 5a 01 20");
    EXPECT_EQ(test_door::take_log(), "") << "a send does not wait";
}

// The address: type (32 bits), channel (16 bits), then the LUN of the system interface, or the slave and the
// LUN of an IPMB.
TEST(OpenIpmiSend, AddressesByType) {
    struct {
        int type, channel, slave, lun;
        const char *expected;
    } rows[] = {
        {12, 15, 0x20, 0, "0c 00 00 00 0f 00 00"},    {12, 15, 0x20, 3, "0c 00 00 00 0f 00 03"},
        {12, 0x102, 0x20, 1, "0c 00 00 00 02 01 01"}, {1, 6, 0x24, 2, "01 00 00 00 06 00 24 02"},
        {65, 7, 0x2C, 1, "41 00 00 00 07 00 2c 01"},
    };
    for (const auto &row : rows) {
        catch_sends();
        EXPECT_EQ(ipmi_cmd_req2(51, row.type, row.channel, row.slave, row.lun, 2, 6, 1, 0, nullptr), 0);
        EXPECT_EQ(head_of(last.address, row.expected), row.expected) << "type " << row.type;
        EXPECT_EQ(last.address_length, 40u) << "type " << row.type;
        EXPECT_EQ(last.data, "") << "type " << row.type;
    }
}

static const int WRONG_TYPES[] = {-1, 0, 2, 4, 5, 11, 13, 64, 66, 0x10C};

TEST(OpenIpmiSend, WrongAddressTypeIsSaidAndNotSent) {
    for (int type : WRONG_TYPES) {
        catch_sends();
        int result = 0;
        std::string said = test_door::captured_stderr(
            [&] { result = ipmi_cmd_req2(51, type, 15, 0x20, 0, 2, 6, 1, 0, nullptr); });
        EXPECT_EQ(result, -1) << type;
        EXPECT_EQ(said, "Error: wrong address type.\n") << type;
        EXPECT_EQ(calls, 0) << type;
    }
}

TEST(OpenIpmiSend, FailureIsSaidAndReturnedByNumber) {
    for (int error : {EIO, EBUSY, ENOMEM}) {
        catch_sends();
        test_door::fail_call("ioctl", 1, error);
        int result = 0;
        std::string said = test_door::captured_stderr(
            [&] { result = ipmi_cmd_req2(51, 12, 15, 0x20, 0, 2, 6, 1, 0, nullptr); });
        EXPECT_EQ(result, error);
        EXPECT_EQ(said, "Error: ioctl(), errno=" + std::to_string(error) + "\n");
    }
}

// A kernel that has a reply of three bytes, and the receive's record noted in `last`.
static void catch_receives() {
    test_door::reset();
    calls = 0;
    last = {};
    test_door::on_wait = [](int fd, bool *readable) {
        test_door::log("wait " + std::to_string(fd));
        *readable = true;
        return 1;
    };
    test_door::on_ioctl = [](int fd, unsigned long request, void *argument) {
        auto *received = static_cast<ipmi_recv *>(argument);
        calls++;
        last.fd = fd;
        last.request = request;
        last.address_length = received->addr_len;
        memset(received->addr, 0x77, received->addr_len); // the kernel may fill all of it
        last.buffer = received->msg.data;
        last.capacity = received->msg.data_len;
        received->msg.data_len = std::min<unsigned short>(received->msg.data_len, 3);
        memcpy(received->msg.data, "\x00\x11\x22", received->msg.data_len);
        return 0;
    };
}

TEST(OpenIpmiReceive, WaitsThenTakesTheReply) {
    for (int type : {12, 1, 65}) {
        catch_receives();
        auto buffer = std::make_unique<uint8_t[]>(80); // of exactly this size
        size_t length = 0;
        EXPECT_EQ(Ipmip_449000(51, type, 15, 0x20, 0, 80, buffer.get(), &length), 0) << type;
        EXPECT_EQ(test_door::take_log(), "wait 51\n") << type;
        EXPECT_EQ(calls, 1) << type;
        EXPECT_EQ(last.fd, 51);
        EXPECT_EQ(last.request, 0xC030690Cul);
        EXPECT_EQ(last.address_length, 40u) << type;
        EXPECT_EQ(last.buffer, buffer.get());
        EXPECT_EQ(last.capacity, 80u);
        EXPECT_EQ(length, 3u);
        EXPECT_EQ(bmc::hex(buffer.get(), 3), "00 11 22");
    }
}

TEST(OpenIpmiReceive, WrongAddressTypeIsSaidAndNotWaitedFor) {
    for (int type : WRONG_TYPES) {
        catch_receives();
        uint8_t buffer[80];
        size_t length = 0;
        int result = 0;
        std::string said = test_door::captured_stderr(
            [&] { result = Ipmip_449000(51, type, 15, 0x20, 0, sizeof buffer, buffer, &length); });
        EXPECT_EQ(result, -1) << type;
        EXPECT_EQ(said, "Error: wrong address type.\n") << type;
        EXPECT_EQ(test_door::take_log(), "") << type;
        EXPECT_EQ(calls, 0) << type;
    }
}

TEST(OpenIpmiReceive, FailedWaitIsSaidAndReturnedByNumber) {
    for (int error : {EINTR, EBADF}) {
        catch_receives();
        test_door::fail_call("wait", 1, error);
        uint8_t buffer[80];
        size_t length = 0;
        int result = 0;
        std::string said = test_door::captured_stderr(
            [&] { result = Ipmip_449000(51, 12, 15, 0x20, 0, sizeof buffer, buffer, &length); });
        EXPECT_EQ(result, error);
        EXPECT_EQ(said, "Error: select(), errno=" + std::to_string(error) + "\n");
        EXPECT_EQ(calls, 0) << "nothing is received";
        EXPECT_EQ(length, 0u);
    }
}

TEST(OpenIpmiReceive, UnmarkedDescriptorGivesTheCountOfTheWait) {
    for (int count : {0, 1, 2}) {
        catch_receives();
        test_door::on_wait = [count](int, bool *readable) {
            *readable = false;
            return count;
        };
        uint8_t buffer[80];
        size_t length = 0;
        std::string said = test_door::captured_stderr(
            [&] { EXPECT_EQ(Ipmip_449000(51, 12, 15, 0x20, 0, sizeof buffer, buffer, &length), count); });
        EXPECT_EQ(said, "");
        EXPECT_EQ(calls, 0) << "nothing is received";
        EXPECT_EQ(length, 0u);
    }
}

TEST(OpenIpmiReceive, FailureIsSaidAndReturnedByNumber) {
    for (int error : {EIO, EAGAIN, EMSGSIZE}) {
        catch_receives();
        test_door::fail_call("ioctl", 1, error);
        uint8_t buffer[80];
        size_t length = 0;
        int result = 0;
        std::string said = test_door::captured_stderr(
            [&] { result = Ipmip_449000(51, 12, 15, 0x20, 0, sizeof buffer, buffer, &length); });
        EXPECT_EQ(result, error);
        EXPECT_EQ(said, "Error: ioctl(), errno=" + std::to_string(error) + "\n");
        EXPECT_EQ(length, 0u);
    }
}

// A kernel with these replies in its queue, oldest first. What is too long for its room stays there, unless
// it may be cut.
static void queue_replies(std::deque<std::string> *queue) {
    catch_receives();
    test_door::on_ioctl = [queue](int, unsigned long request, void *argument) {
        if (request == 0x8028690D) // sent
            return 0;
        auto *received = static_cast<ipmi_recv *>(argument);
        bool too_long = queue->front().size() > received->msg.data_len;
        test_door::log(request == 0xC030690C ? "receive" : "receive cut");
        EXPECT_TRUE(request == 0xC030690C || request == 0xC030690B) << request;
        EXPECT_EQ(received->addr_len, 40u); // the kernel takes no less
        errno = EMSGSIZE;
        if (too_long && request == 0xC030690C)
            return -1;
        size_t length = std::min<size_t>(queue->front().size(), received->msg.data_len);
        memcpy(received->msg.data, queue->front().data(), length);
        received->msg.data_len = static_cast<unsigned short>(length);
        queue->pop_front();
        return too_long ? -1 : 0;
    };
}

TEST(OpenIpmiReceive, AReplyThatIsTooLongIsTakenOffAndFails) {
    std::deque<std::string> queue = {std::string(81, '\0'), std::string(80, '\x11')};
    queue_replies(&queue);
    auto buffer = std::make_unique<uint8_t[]>(80);
    buffer[0] = 0x77;
    size_t length = 5;
    std::string said = test_door::captured_stderr(
        [&] { EXPECT_EQ(Ipmip_449000(51, 12, 15, 0x20, 0, 80, buffer.get(), &length), EMSGSIZE); });
    EXPECT_EQ(said, "Error: ioctl(), errno=90\n"); // EMSGSIZE is 90; once
    EXPECT_EQ(test_door::take_log(), "wait 51\nreceive\nreceive cut\n");
    EXPECT_EQ(buffer[0], 0x77);
    EXPECT_EQ(length, 5u);
    // The next one is the next command's.
    EXPECT_EQ(Ipmip_449000(51, 12, 15, 0x20, 0, 80, buffer.get(), &length), 0);
    EXPECT_EQ(length, 80u);
    EXPECT_EQ(buffer[0], 0x11);
}

TEST(OpenIpmiReceive, NothingIsTakenOffAfterAnotherFailure) {
    catch_receives();
    test_door::fail_call("ioctl", 1, EIO);
    uint8_t buffer[80];
    size_t length = 0;
    test_door::captured_stderr(
        [&] { EXPECT_EQ(Ipmip_449000(51, 12, 15, 0x20, 0, sizeof buffer, buffer, &length), EIO); });
    EXPECT_EQ(calls, 0);
}

// ---- Opening

static const char *const PATHS[] = {"/dev/ipmidev/0", "/dev/ipmi/0", "/dev/ipmi0"};

TEST(OpenIpmiOpen, TakesTheFirstPathThatOpens) {
    for (size_t opened = 0; opened < std::size(PATHS); opened++) {
        bmc::machine_with(false, true);
        test_door::on_open = [opened](const std::string &path, int) {
            return path == PATHS[opened] ? bmc::OPENIPMI_FD : -1;
        };
        bmc::replies = {{bmc::device_id(0x02)}};
        bmc::message_id = -1;
        EXPECT_EQ(open_imb2(), 1) << PATHS[opened];
        std::string expected; // 2: read-write
        for (size_t i = 0; i < opened; i++)
            expected += std::string("open ") + PATHS[i] + " 2 failed\n";
        expected += std::string("open ") + PATHS[opened] + " 2\nsend 06 01\nwait\n";
        EXPECT_EQ(test_door::take_log(), expected);
        EXPECT_EQ(bmc::message_id, 0);
        EXPECT_TRUE(openipmi_is_open());
    }
}

TEST(OpenIpmiOpen, FailsWithoutADevice) {
    bmc::machine_with(true, false);
    EXPECT_EQ(open_imb2(), 0);
    EXPECT_EQ(test_door::take_log(), "open /dev/ipmidev/0 2 failed\n"
                                     "open /dev/ipmi/0 2 failed\n"
                                     "open /dev/ipmi0 2 failed\n");
    EXPECT_FALSE(openipmi_is_open());
}

// Whatever the BMC's version is: it is only recorded.
TEST(OpenIpmiOpen, AcceptsEveryVersion) {
    for (int version : {0x51, 0x01, 0x02, 0x00, 0x90, 0xFF}) {
        bmc::machine_with(false, true);
        bmc::replies = {{bmc::device_id(version)}};
        EXPECT_EQ(open_imb2(), 1) << version;
    }
}

// The version is byte 5, after the completion code. A BMC that is busy (0xC0) sends that code alone.
TEST(OpenIpmiOpen, AReplyWithoutTheVersionIsABmc) {
    for (int completion : {0x00, 0xC0, 0xC1, 0xFF})
        for (size_t length = 1; length <= 12; length++) {
            bmc::machine_with(false, true);
            std::string reply = bmc::device_id(0x51);
            reply[0] = static_cast<char>(completion);
            bmc::replies = {{reply, length}};
            EXPECT_EQ(open_imb2(), 1) << completion << " " << length;
            EXPECT_TRUE(openipmi_is_open()) << completion << " " << length;
        }
}

TEST(IpmiInit, ABmcThatIsBusyAtTheStartIsUsed) {
    bmc::machine_with(false, true);
    bmc::replies = {{bmc::bytes({0xC0})}, {bmc::bytes({0, '5', '0', '0', '1', 'X', 'Q'})}};
    EXPECT_EQ(IpmiInit(), 0);
    EXPECT_EQ(hDevice, 99);
    EXPECT_EQ(bOBWinbondIPMI, 1);
}

TEST(OpenIpmiOpen, FailsWhenTheDeviceIdCannotBeSentOrReceived) {
    struct {
        const char *call;
        int nth;
        const char *log; // after the three opens
        const char *said;
    } rows[] = {
        {"ioctl", 1, "", "Error: ioctl(), errno=5\n"},                  // EIO is 5
        {"wait", 1, "send 06 01\n", "Error: select(), errno=5\n"},      // nothing is received
        {"ioctl", 2, "send 06 01\nwait\n", "Error: ioctl(), errno=5\n"} // the receive
    };
    for (const auto &row : rows) {
        bmc::machine_with(false, true);
        test_door::fail_call(row.call, row.nth, EIO);
        std::string said = test_door::captured_stderr([] { EXPECT_EQ(open_imb2(), 0); });
        EXPECT_EQ(said, row.said);
        EXPECT_EQ(test_door::take_log(), std::string("open /dev/ipmidev/0 2 failed\n"
                                                     "open /dev/ipmi/0 2 failed\n"
                                                     "open /dev/ipmi0 2\n") +
                                             row.log)
            << row.call << " " << row.nth;
    }
}

TEST(OpenIpmiOpen, OtherPathsAreNotTriedAfterAnUnansweredDeviceId) {
    bmc::machine_with(false, true);
    test_door::on_open = [](const std::string &, int) { return bmc::OPENIPMI_FD; };
    test_door::fail_call("ioctl", 1, EIO);
    test_door::captured_stderr([] { EXPECT_EQ(open_imb2(), 0); });
    EXPECT_EQ(test_door::take_log(), "open /dev/ipmidev/0 2\n");
}

// ---- IpmiInit

static void spoil_state() {
    hDevice = 77;
    ipmi_driver_option = 9;
    seqNo = 1000;
}

TEST(IpmiInit, NoDriverMeansNoBmc) {
    bmc::machine_with(false, false);
    spoil_state();
    EXPECT_EQ(IpmiInit(), -1);
    EXPECT_EQ(hDevice, 0);
    EXPECT_EQ(ipmi_driver_option, 0);
    EXPECT_EQ(test_door::take_log(), "open /dev/qxbmc 2 failed\n"
                                     "open /dev/ipmidev/0 2 failed\n"
                                     "open /dev/ipmi/0 2 failed\n"
                                     "open /dev/ipmi0 2 failed\n");
}

TEST(IpmiInit, TheMakersDriverIsPreferred) {
    bmc::machine_with(true, true);
    spoil_state();
    bAOWinbondIPMI = 1; // the kind is not asked for
    bmc::replies = {{bmc::device_id(0x51)}};
    EXPECT_EQ(IpmiInit(), 0);
    EXPECT_EQ(hDevice, bmc::MAKER_FD);
    EXPECT_EQ(ipmi_driver_option, 1);
    EXPECT_EQ(seqNo, 2);
    EXPECT_EQ(bAOWinbondIPMI, 1);
    EXPECT_EQ(test_door::take_log(), "open /dev/qxbmc 2\n"
                                     "imb 06 01\n");
    bmc::clear_flags();
}

TEST(IpmiInit, OpenIpmiIsTheSecondChoice) {
    bmc::machine_with(false, true);
    spoil_state();
    bmc::replies = {{bmc::device_id(0x02)}, {std::string("\0005001XQ", 7) + "0123456789"}};
    EXPECT_EQ(IpmiInit(), 0);
    EXPECT_EQ(hDevice, 99);
    EXPECT_EQ(ipmi_driver_option, 2);
    EXPECT_EQ(seqNo, 2);
    EXPECT_EQ(bOBWinbondIPMI, 1);
    EXPECT_EQ(test_door::take_log(), "open /dev/qxbmc 2 failed\n"
                                     "open /dev/ipmidev/0 2 failed\n"
                                     "open /dev/ipmi/0 2 failed\n"
                                     "open /dev/ipmi0 2\n"
                                     "send 06 01\n"
                                     "wait\n"
                                     "send 06 37\n"
                                     "wait\n");
    bmc::clear_flags();
}

TEST(IpmiInit, AMakersDriverThatDoesNotAnswerGivesWayAndStaysOpen) {
    struct {
        const char *what;
        bmc::reply device_id;
        bool fails;
    } rows[] = {{"failed ioctl", {}, true},
                {"no reply byte", {bmc::device_id(0x51), 0}, false},
                {"completion code", {bmc::bytes({0xC1, 0, 0}), bmc::ALL}, false}};
    for (const auto &row : rows)
        for (bool openipmi : {true, false}) {
            bmc::machine_with(true, openipmi);
            if (row.fails)
                test_door::fail_call("ioctl", 1, EIO);
            else
                bmc::replies.push_back(row.device_id);
            if (openipmi) {
                bmc::replies.push_back({bmc::device_id(0x02)});
                bmc::replies.push_back({std::string(17, '\0')});
            }
            std::string said =
                test_door::captured_stderr([&] { EXPECT_EQ(IpmiInit(), openipmi ? 0 : -1) << row.what; });
            EXPECT_EQ(said, "") << row.what;
            EXPECT_EQ(hDevice, openipmi ? 99 : 0) << row.what;
            EXPECT_EQ(ipmi_driver_option, openipmi ? 2 : 0) << row.what;
            EXPECT_EQ(test_door::take_log().find("close"), std::string::npos) << row.what;
            EXPECT_TRUE(bmc::replies.empty()) << row.what;
        }
}

TEST(IpmiInit, AnOpenIpmiDeviceThatDoesNotAnswerMeansNoBmc) {
    bmc::machine_with(false, true);
    spoil_state();
    test_door::fail_call("ioctl", 1, EIO);
    test_door::captured_stderr([] { EXPECT_EQ(IpmiInit(), -1); });
    EXPECT_EQ(hDevice, 0);
    EXPECT_EQ(ipmi_driver_option, 0);
}

TEST(IpmiInit, AGuidThatIsNotGivenLeavesABmcOfNoKind) {
    bmc::machine_with(false, true);
    bmc::replies = {{bmc::device_id(0x02)}, {bmc::bytes({0xC1})}};
    EXPECT_EQ(IpmiInit(), 0);
    EXPECT_EQ(hDevice, 99);
    EXPECT_EQ(ipmi_driver_option, 2);
    EXPECT_EQ(seqNo, 2);
    EXPECT_FALSE(bmc_owns_isa_monitor());
}

// ---- The BMC's kind

static std::string kind_flags() {
    std::string flags;
    for (int32_t flag : {bPepperconIPMI, bOBWinbondIPMI, bAOWinbondIPMI, bOBWinbondATenIPMI, bRenesasAMIIPMI,
                         bRenesasATenIPMI, bAOWinbondATenIPMI})
        flags += std::to_string(flag);
    return flags;
}

static void set_all_flags() {
    bPepperconIPMI = bOBWinbondIPMI = bAOWinbondIPMI = bOBWinbondATenIPMI = 1;
    bRenesasAMIIPMI = bRenesasATenIPMI = bAOWinbondATenIPMI = 1;
}

// Flags in the order Peppercon, onboard, add-on, onboard ATen, Renesas AMI, Renesas ATen, add-on ATen. The
// last one stays 0 whatever the GUID.
struct guid_row {
    std::string guid; // completed to 16 bytes by what follows a kind's own bytes
    const char *flags;
};

static const guid_row GUIDS[] = {
    {bmc::bytes({0x02, 0x00, 0x00, 0xFF, 0xFE, 0x00, 0x00, 0x00}), "1000000"},
    {"0001XQ", "1000000"},
    {"5001XQ", "0100000"},
    {"4001XQ", "0010000"},
    {"7001XQ", "0001000"},
    {"9001XQ", "0000100"},
    {"a001XQ", "0000010"},
    {"b001XQ", "0000010"},
    // Near misses: one byte differs, at either end of what is compared and inside.
    {bmc::bytes({0x02, 0x00, 0x00, 0xFF, 0xFE, 0x00, 0x00, 0x01}), "0000000"},
    {bmc::bytes({0x02, 0x00, 0x00, 0xFF, 0xFE, 0x00, 0x01, 0x00}), "0000000"},
    {bmc::bytes({0x02, 0x00, 0x00, 0xFE, 0xFF, 0x00, 0x00, 0x00}), "0000000"},
    {bmc::bytes({0x02, 0x00, 0x01, 0xFF, 0xFE, 0x00, 0x00, 0x00}), "0000000"},
    {bmc::bytes({0x03, 0x00, 0x00, 0xFF, 0xFE, 0x00, 0x00, 0x00}), "0000000"},
    {bmc::bytes({0x02, 0x01, 0x02, 0x03, 0x04, 0x05, 0x06, 0x07}), "0000000"},
    {bmc::bytes({0x00, '0', '0', '1', 'X', 'Q', 0x00, 0x00}), "0000000"},
    {"1001XQ", "0000000"},
    {"2001XQ", "0000000"},
    {"3001XQ", "0000000"},
    {"6001XQ", "0000000"},
    {"8001XQ", "0000000"},
    {"c001XQ", "0000000"},
    {"A001XQ", "0000000"},
    {"B001XQ", "0000000"},
    {"5101XQ", "0000000"},
    {"5011XQ", "0000000"},
    {"5000XQ", "0000000"},
    {"5001xQ", "0000000"},
    {"5001Xq", "0000000"},
    {"5001XR", "0000000"},
    {"x5001XQ", "0000000"},
    {std::string(16, '\0'), "0000000"},
    {std::string(16, '\xFF'), "0000000"},
};

TEST(BmcKind, IsToldByTheGuid) {
    for (const guid_row &row : GUIDS) {
        bmc::open_openipmi();
        set_all_flags(); // of an earlier answer: all are cleared
        std::string guid = row.guid + "zyxwvutsrqponmlk";
        bmc::replies = {{std::string(1, '\0') + guid.substr(0, 16)}};
        EXPECT_EQ(checkAnyIPMI(), strchr(row.flags, '1') != nullptr ? 1 : 0)
            << bmc::hex(row.guid.data(), row.guid.size());
        EXPECT_EQ(kind_flags(), row.flags) << bmc::hex(row.guid.data(), row.guid.size());
        EXPECT_EQ(test_door::take_log(), "send 06 37\nwait\n");
    }
    bmc::clear_flags();
}

TEST(BmcKind, CompletionCodeLeavesTheFlags) {
    for (int code : {0x01, 0x80, 0xC1, 0xFF}) {
        bmc::open_openipmi();
        set_all_flags();
        bmc::replies = {{bmc::bytes({code}) + "5001XQ0123456789"}};
        EXPECT_EQ(checkAnyIPMI(), 0) << code;
        EXPECT_EQ(kind_flags(), "1111111") << code;
    }
    bmc::clear_flags();
}

// Bytes that did not come are not looked at, even where an earlier reply left the right ones.
TEST(BmcKind, ShortGuidIsOfNoKind) {
    for (const guid_row &row : GUIDS) {
        if (strchr(row.flags, '1') == nullptr)
            continue;
        for (size_t length = 0; length <= row.guid.size(); length++) { // with the completion code
            bmc::open_openipmi();
            bmc::replies = {{std::string(1, '\0') + row.guid, length}};
            EXPECT_EQ(checkAnyIPMI(), 0) << row.guid << " cut to " << length;
            EXPECT_EQ(kind_flags(), "0000000") << row.guid << " cut to " << length;
        }
    }
}

// Six bytes identify most kinds; eight the one whose GUID is not text.
TEST(BmcKind, GuidOfJustTheTellingBytesIsEnough) {
    for (const guid_row &row : GUIDS) {
        if (strchr(row.flags, '1') == nullptr)
            continue;
        bmc::open_openipmi();
        bmc::replies = {{std::string(1, '\0') + row.guid}};
        EXPECT_EQ(checkAnyIPMI(), 1) << row.guid;
        EXPECT_EQ(kind_flags(), row.flags) << row.guid;
    }
    bmc::clear_flags();
}

TEST(BmcKind, FailedTransferLeavesTheFlags) {
    for (const char *call : {"ioctl", "wait"}) {
        bmc::open_openipmi();
        set_all_flags();
        test_door::fail_call(call, 1, EIO);
        test_door::captured_stderr([] { EXPECT_EQ(checkAnyIPMI(), 0); });
        EXPECT_EQ(kind_flags(), "1111111") << call;
    }
    bmc::clear_flags();
}

TEST(BmcKind, OwnsTheIsaMonitorByAnyFlagButPeppercon) {
    struct {
        int32_t *flag;
        bool owns;
    } rows[] = {{&bPepperconIPMI, false},    {&bOBWinbondIPMI, true},  {&bAOWinbondIPMI, true},
                {&bOBWinbondATenIPMI, true}, {&bRenesasAMIIPMI, true}, {&bRenesasATenIPMI, true},
                {&bAOWinbondATenIPMI, true}};
    for (const auto &row : rows) {
        bmc::clear_flags();
        *row.flag = 1;
        hDevice = 99;
        EXPECT_EQ(bmc_owns_isa_monitor(), row.owns) << &row - rows;
        hDevice = 0;
        EXPECT_FALSE(bmc_owns_isa_monitor()) << &row - rows;
    }
    bmc::clear_flags();
}

// ---- The sequence number

TEST(SequenceNumber, SixteenBitsWrapToTwo) {
    struct {
        int32_t before, after;
    } rows[] = {{2, 3}, {3, 4}, {255, 256}, {256, 257}, {32767, 32768}, {65534, 65535}, {65535, 2}};
    for (const auto &row : rows) {
        seqNo = row.before;
        advance_seqNo_16();
        EXPECT_EQ(seqNo, row.after) << row.before;
    }
}

TEST(SequenceNumber, EightBitsWrapToTwo) {
    struct {
        int32_t before, after;
    } rows[] = {{2, 3}, {127, 128}, {254, 255}, {255, 2}};
    for (const auto &row : rows) {
        seqNo = row.before;
        advance_seqNo_8();
        EXPECT_EQ(seqNo, row.after) << row.before;
    }
}
