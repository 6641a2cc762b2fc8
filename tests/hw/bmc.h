#pragma once
// BMCs for the tests, behind either driver. Each answers from `replies` in turn and logs what it was sent:
// "send NETFN CMD DATA..." over OpenIPMI, "imb NETFN CMD DATA..." over the maker's driver, and "wait" for a
// select. A command without a planned reply fails the test.

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <deque>
#include <gtest/gtest.h>
#include <initializer_list>
#include <linux/ipmi.h>
#include <string>

#include "hw/ipmi.h"
#include "hw/ipmi_transport.h"
#include "support/os_test.h"

namespace bmc {

constexpr int MAKER_FD = 50;
constexpr int OPENIPMI_FD = 51;
constexpr size_t ALL = SIZE_MAX;

// What the driver leaves in the buffer, and how many of these bytes it says are the reply: what follows
// them is a lure for whoever reads past the end.
struct reply {
    std::string bytes;
    size_t length = ALL;
};

inline std::deque<reply> replies;
inline int64_t message_id; // of the last command sent over OpenIPMI

inline std::string hex(const void *bytes, size_t size) {
    std::string text;
    for (size_t i = 0; i < size; i++) {
        char byte[4];
        snprintf(byte, sizeof byte, "%s%02x", i == 0 ? "" : " ", static_cast<const uint8_t *>(bytes)[i]);
        text += byte;
    }
    return text;
}

inline std::string command_line(const char *verb, uint8_t netfn, uint8_t command, const void *data,
                                size_t length) {
    uint8_t head[] = {netfn, command};
    std::string line = std::string(verb) + " " + hex(head, sizeof head);
    return length == 0 ? line : line + " " + hex(data, length);
}

inline std::string bytes(std::initializer_list<int> values) {
    std::string text;
    for (int value : values)
        text += static_cast<char>(value);
    return text;
}

// Puts the next reply into `buffer`; the number of bytes that are reported to have come, -1 when none is
// planned.
inline int64_t next_reply(void *buffer, size_t capacity) {
    if (replies.empty()) {
        ADD_FAILURE() << "a command that no reply was planned for";
        errno = EIO;
        return -1;
    }
    reply next = replies.front();
    replies.pop_front();
    memcpy(buffer, next.bytes.data(), std::min(next.bytes.size(), capacity));
    return static_cast<int64_t>(next.length == ALL ? next.bytes.size() : next.length);
}

inline int openipmi_ioctl(unsigned long request, void *argument) {
    if (request == 0x8028690D) {
        auto *sent = static_cast<ipmi_req *>(argument);
        message_id = sent->msgid;
        test_door::log(
            command_line("send", sent->msg.netfn, sent->msg.cmd, sent->msg.data, sent->msg.data_len));
        return 0;
    }
    EXPECT_EQ(request, 0xC030690Cul);
    auto *received = static_cast<ipmi_recv *>(argument);
    int64_t length = next_reply(received->msg.data, received->msg.data_len);
    if (length < 0)
        return -1;
    received->msg.data_len = static_cast<unsigned short>(length);
    return 0;
}

inline int maker_ioctl(unsigned long request, void *argument) {
    EXPECT_EQ(request, 0x1082ul);
    auto *words = static_cast<uint64_t *>(argument);
    auto *record = reinterpret_cast<const uint8_t *>(words[4]); // two words, slave, cmd, netfn, lun, length
    test_door::log(command_line("imb", record[10], record[9], record + 13, record[12]));
    int64_t length = next_reply(reinterpret_cast<void *>(words[6]), words[7]);
    if (length < 0)
        return -1;
    *reinterpret_cast<uint64_t *>(words[8]) = static_cast<uint64_t>(length);
    return 0;
}

inline void clear_flags() {
    bPepperconIPMI = bOBWinbondIPMI = bAOWinbondIPMI = bOBWinbondATenIPMI = 0;
    bRenesasAMIIPMI = bRenesasATenIPMI = bAOWinbondATenIPMI = 0;
}

// A machine with these drivers; nothing is open yet, whatever an earlier test opened.
inline void machine_with(bool maker, bool openipmi) {
    test_door::reset();
    test_door::on_open = [](const std::string &, int) { return -1; };
    open_imb2(); // nothing opens: forgets the descriptor
    test_door::take_log();
    hDevice = 0;
    ipmi_driver_option = IPMI_NO_DRIVER;
    clear_flags();
    replies.clear();
    test_door::on_open = [maker, openipmi](const std::string &path, int) {
        if (maker && path == "/dev/qxbmc")
            return MAKER_FD;
        if (openipmi && path == "/dev/ipmi0")
            return OPENIPMI_FD;
        errno = ENOENT;
        return -1;
    };
    test_door::on_ioctl = [](int fd, unsigned long request, void *argument) {
        EXPECT_TRUE(fd == MAKER_FD || fd == OPENIPMI_FD) << fd;
        return fd == MAKER_FD ? maker_ioctl(request, argument) : openipmi_ioctl(request, argument);
    };
    test_door::on_wait = [](int fd, bool *readable) {
        EXPECT_EQ(fd, OPENIPMI_FD);
        test_door::log("wait");
        *readable = true;
        return 1;
    };
}

// The reply to Get Device ID: completion code, device id, revision, firmware (two bytes), IPMI version, and
// what follows it.
inline std::string device_id(int version) {
    return bytes({0, 0x20, 0x01, 0x01, 0x22, version, 0xBF, 0x7C, 0x2A, 0x00, 0x57, 0x01});
}

// A BMC over OpenIPMI, opened and of no known kind: the next command has message id 2.
inline void open_openipmi() {
    machine_with(false, true);
    replies = {{device_id(0x02)}, {std::string(17, '\0')}};
    EXPECT_EQ(IpmiInit(), 0);
    EXPECT_TRUE(replies.empty());
    test_door::take_log();
}

// A BMC behind the maker's driver, opened.
inline void open_maker() {
    machine_with(true, false);
    replies = {{device_id(0x51)}};
    EXPECT_EQ(IpmiInit(), 0);
    EXPECT_TRUE(replies.empty());
    test_door::take_log();
}

} // namespace bmc
