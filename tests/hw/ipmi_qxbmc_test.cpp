#include <gtest/gtest.h>
#include <memory>

#include "hw/bmc.h"

// What the driver was handed last: the ten words' lengths and the part of the request record that was filled.
struct handed_over {
    int fd = 0;
    unsigned long request = 0;
    uint64_t request_length = 0;
    uint64_t capacity = 0;
    uint64_t count_before = 0;
    uint64_t word_9 = 1;
    std::string record;
};

static handed_over last;
static int calls;

// A driver that answers with `bytes`, of which it reports that `count` came, and returns `result`.
static void attach_driver(const std::string &bytes, uint64_t count, int result = 0) {
    test_door::reset();
    last = {};
    calls = 0;
    test_door::on_ioctl = [=](int fd, unsigned long request, void *argument) {
        auto *words = static_cast<uint64_t *>(argument);
        auto *record = reinterpret_cast<const char *>(words[4]);
        calls++;
        std::string whole(record, words[5]); // all of it can be read
        last = {fd,
                request,
                words[5],
                words[7],
                *reinterpret_cast<uint64_t *>(words[8]),
                words[9],
                bmc::hex(whole.data(), 13 + static_cast<uint8_t>(whole[12]))};
        memset(reinterpret_cast<void *>(words[3]), 0xEE, 16); // the status area
        memcpy(reinterpret_cast<void *>(words[6]), bytes.data(), std::min<size_t>(bytes.size(), words[7]));
        *reinterpret_cast<uint64_t *>(words[8]) = count;
        errno = result != 0 ? EIO : errno;
        return result;
    };
    hDevice = bmc::MAKER_FD;
}

static void attach_driver(const std::string &bytes) { attach_driver(bytes, bytes.size()); }

static const uint8_t DATA[] = {0x05, 0x5A, 0x01, 0x20};

static imbp_request master_read() { return {0x52, 0x20, 0, 0x06, 0, DATA, sizeof DATA}; }

// `count` bytes of a reply: completion code 0, then 1, 2, 3, ...
static std::string counting(size_t count) {
    std::string bytes;
    for (size_t i = 0; i < count; i++)
        bytes += static_cast<char>(i);
    return bytes;
}

// ---- With a time-out

TEST(TimedRequest, HandsOverTheRecord) {
    attach_driver(counting(3));
    imbp_request request = master_read();
    uint8_t reply[16];
    uint32_t length = sizeof reply;
    uint8_t code = 0xAB;
    EXPECT_EQ(SendTimedImbpRequest(&request, 400, reply, &length, &code), 0);
    EXPECT_EQ(calls, 1);
    EXPECT_EQ(last.fd, bmc::MAKER_FD);
    EXPECT_EQ(last.request, 0x1082ul);
    EXPECT_EQ(last.request_length, 64u);
    EXPECT_EQ(last.capacity, 64u);
    EXPECT_EQ(last.count_before, 64u);
    EXPECT_EQ(last.word_9, 0u);
    // Flags 0, 400 ms = 400000 us = 0x00061A80, slave, command, network function, LUN, length, data
    EXPECT_EQ(last.record, "00 00 00 00 80 1a 06 00 20 52 06 00 04 05 5a 01 20");
}

TEST(TimedRequest, TakesEachFieldFromTheDescriptor) {
    attach_driver(counting(1));
    const uint8_t one = 0x99;
    imbp_request request = {0xA1, 0xB2, 0xC3, 0xD4, 0x03, &one, 1}; // the bus type is not in the record
    uint32_t length = 0;
    uint8_t code;
    EXPECT_EQ(SendTimedImbpRequest(&request, 1, nullptr, &length, &code), 0);
    EXPECT_EQ(last.record, "00 00 00 00 e8 03 00 00 b2 a1 d4 03 01 99"); // 1 ms = 1000 us = 0x3E8
}

TEST(TimedRequest, SeparatesTheCompletionCodeFromTheData) {
    for (size_t count : {1, 2, 3, 16, 17, 64}) {
        attach_driver("\xC1" + counting(64).substr(1), count);
        imbp_request request = master_read();
        auto reply = std::make_unique<uint8_t[]>(63); // of exactly the size of the most data
        memset(reply.get(), 0xEE, 63);
        uint32_t length = 63;
        uint8_t code = 0;
        EXPECT_EQ(SendTimedImbpRequest(&request, 400, reply.get(), &length, &code), 0) << count;
        EXPECT_EQ(code, 0xC1) << count;
        EXPECT_EQ(length, count - 1) << count;
        for (size_t i = 0; i < 63; i++)
            EXPECT_EQ(reply[i], i < count - 1 ? i + 1 : 0xEE) << "byte " << i << " of " << count;
    }
}

TEST(TimedRequest, WithoutAReplyBufferThereIsNoData) {
    for (size_t count : {1, 2, 64}) {
        attach_driver(counting(64), count);
        imbp_request request = master_read();
        uint32_t length = 16;
        uint8_t code = 0xAB;
        EXPECT_EQ(SendTimedImbpRequest(&request, 400, nullptr, &length, &code), 0) << count;
        EXPECT_EQ(code, 0) << count;
        EXPECT_EQ(length, 0u) << count;
    }
}

TEST(TimedRequest, NeverWritesBeyondTheReplyBuffer) {
    for (size_t count : {18, 64, 100}) { // 100: a driver that claims more than it was given room for
        attach_driver(counting(64), count);
        imbp_request request = master_read();
        auto reply = std::make_unique<uint8_t[]>(16);
        uint32_t length = 16;
        uint8_t code = 0xAB;
        EXPECT_EQ(SendTimedImbpRequest(&request, 400, reply.get(), &length, &code), 0) << count;
        EXPECT_EQ(bmc::hex(reply.get(), 3), "01 02 03") << count;
        EXPECT_EQ(reply[15], 16) << count;
        EXPECT_LE(length, 16u) << count;
    }
}

TEST(TimedRequest, FailsWhenTheDriverFailsOrNothingCameBack) {
    struct {
        uint64_t count;
        int result;
    } rows[] = {{0, 0}, {3, -1}, {3, 1}, {0, -1}};
    for (const auto &row : rows) {
        attach_driver(counting(3), row.count, row.result);
        imbp_request request = master_read();
        uint8_t reply[16];
        uint32_t length = sizeof reply;
        uint8_t code = 0xAB;
        EXPECT_EQ(SendTimedImbpRequest(&request, 400, reply, &length, &code), 1)
            << row.count << " bytes, result " << row.result;
    }
}

// ---- Async

TEST(AsyncRequest, HandsOverTheRecordWithoutTheSequenceNumber) {
    for (int32_t sequence : {2, 0x77, 0x12345678}) {
        attach_driver(counting(2));
        imbp_request request = master_read();
        uint8_t reply[40];
        uint32_t length = sizeof reply;
        EXPECT_EQ(SendAsyncImbpRequest(&request, sequence, reply, &length), 0);
        EXPECT_EQ(calls, 1);
        EXPECT_EQ(last.fd, bmc::MAKER_FD);
        EXPECT_EQ(last.request, 0x1082ul);
        EXPECT_EQ(last.request_length, 34u);
        EXPECT_EQ(last.capacity, 34u);
        EXPECT_EQ(last.count_before, 34u);
        EXPECT_EQ(last.word_9, 0u);
        // Flags 1, 1000000 us = 0x000F4240
        EXPECT_EQ(last.record, "01 00 00 00 40 42 0f 00 20 52 06 00 04 05 5a 01 20") << sequence;
    }
}

TEST(AsyncRequest, ReportsOneByteMoreThanItCopies) {
    for (size_t count : {1, 2, 3, 33, 34}) {
        attach_driver("\xC1" + counting(34).substr(1), count);
        imbp_request request = master_read();
        auto reply = std::make_unique<uint8_t[]>(40);
        memset(reply.get(), 0xEE, 40);
        uint32_t length = 40;
        EXPECT_EQ(SendAsyncImbpRequest(&request, 2, reply.get(), &length), 0) << count;
        EXPECT_EQ(length, count + 1) << count;
        EXPECT_EQ(reply[0], 0xC1) << count;
        for (size_t i = 1; i < 40; i++)
            EXPECT_EQ(reply[i], i < count ? i : 0xEE) << "byte " << i << " of " << count;
    }
}

TEST(AsyncRequest, FailsWhenTheDriverFailsOrNothingCameBack) {
    struct {
        uint64_t count;
        int result;
    } rows[] = {{0, 0}, {3, -1}, {3, 1}, {0, -1}};
    for (const auto &row : rows) {
        attach_driver(counting(3), row.count, row.result);
        imbp_request request = master_read();
        uint8_t reply[40];
        uint32_t length = sizeof reply;
        EXPECT_EQ(SendAsyncImbpRequest(&request, 2, reply, &length), 1)
            << row.count << " bytes, result " << row.result;
    }
}

TEST(AsyncRequest, NeverReadsBeyondTheReplyRecord) {
    attach_driver(counting(34), 100);
    imbp_request request = master_read();
    auto reply = std::make_unique<uint8_t[]>(40);
    uint32_t length = 40;
    EXPECT_EQ(SendAsyncImbpRequest(&request, 2, reply.get(), &length), 0);
    EXPECT_EQ(reply[33], 33);
    EXPECT_LE(length, 35u);
}

// ---- Opening

static void attach_device(bool there) {
    test_door::on_open = [there](const std::string &, int) { return there ? bmc::MAKER_FD : -1; };
}

TEST(MakerOpen, AnOpenDeviceIsKept) {
    attach_driver(counting(12));
    attach_device(true);
    hDevice = 77;
    EXPECT_EQ(open_imb(), 1);
    EXPECT_EQ(hDevice, 77);
    EXPECT_EQ(calls, 0);
    EXPECT_EQ(test_door::take_log(), "");
}

TEST(MakerOpen, FailsWithoutTheDevice) {
    attach_driver(counting(12));
    attach_device(false);
    hDevice = 0;
    EXPECT_EQ(open_imb(), 0);
    EXPECT_EQ(hDevice, 0);
    EXPECT_EQ(calls, 0);
    EXPECT_EQ(test_door::take_log(), "open /dev/qxbmc 2 failed\n");
}

// The version, if it came at all, is only recorded.
TEST(MakerOpen, AsksForTheDeviceId) {
    for (size_t count : {1, 2, 10, 11, 12, 16, 17}) {
        attach_driver(bmc::device_id(0x51) + std::string(5, '\0'), count);
        attach_device(true);
        hDevice = 0;
        EXPECT_EQ(open_imb(), 1) << count;
        EXPECT_EQ(hDevice, bmc::MAKER_FD) << count;
        EXPECT_EQ(calls, 1) << count;
        EXPECT_EQ(last.fd, bmc::MAKER_FD);
        EXPECT_EQ(last.request_length, 64u);
        EXPECT_EQ(last.record, "00 00 00 00 80 1a 06 00 20 01 06 00 00"); // 400 ms, no data
        EXPECT_EQ(test_door::take_log(), "open /dev/qxbmc 2\n");
    }
}

TEST(MakerOpen, AnAnswerLongerThanItsBufferIsCut) {
    attach_driver(counting(64));
    attach_device(true);
    hDevice = 0;
    EXPECT_EQ(open_imb(), 1);
}

TEST(MakerOpen, FailsWithoutAGoodAnswerAndDoesNotClose) {
    struct {
        std::string bytes;
        uint64_t count;
        int result;
    } rows[] = {{bmc::device_id(0x51), 12, -1},
                {bmc::device_id(0x51), 0, 0},
                {bmc::bytes({0xC1}) + counting(11), 12, 0},
                {bmc::bytes({0x01}), 1, 0}};
    for (const auto &row : rows) {
        attach_driver(row.bytes, row.count, row.result);
        attach_device(true);
        hDevice = 0;
        EXPECT_EQ(open_imb(), 0) << &row - rows;
        EXPECT_EQ(hDevice, 0) << &row - rows;
        EXPECT_EQ(test_door::take_log(), "open /dev/qxbmc 2\n") << &row - rows;
    }
}

// ---- Master Write-Read

constexpr uint32_t UNTOUCHED = 0xABCD1234;

TEST(MakerRead, SendsAMasterWriteReadOfOneByte) {
    attach_driver(bmc::bytes({0x00, 0xC3}));
    uint32_t value = UNTOUCHED;
    EXPECT_EQ(IpmiRead(0x2D, 0x20, &value), 0);
    EXPECT_EQ(value, 0xC3u);
    EXPECT_EQ(calls, 1);
    EXPECT_EQ(last.request_length, 34u);
    EXPECT_EQ(last.capacity, 34u);
    EXPECT_EQ(last.record, "01 00 00 00 40 42 0f 00 20 52 06 00 04 05 5a 01 20"); // 0x2D × 2 = 0x5A
}

TEST(MakerWrite, SendsAMasterWriteReadOfNoByte) {
    attach_driver(bmc::bytes({0x00}));
    EXPECT_EQ(IpmiWrite(0x2D, 0x20, 0x9B), 0);
    EXPECT_EQ(calls, 1);
    EXPECT_EQ(last.request_length, 34u);
    EXPECT_EQ(last.capacity, 34u);
    EXPECT_EQ(last.record, "01 00 00 00 40 42 0f 00 20 52 06 00 05 05 5a 00 20 9b");
}

TEST(MakerRead, CompletionCodeFails) {
    for (int code : {0x01, 0x83, 0xC1, 0xFF}) {
        attach_driver(bmc::bytes({code, 0xC3}));
        uint32_t value = UNTOUCHED;
        EXPECT_EQ(IpmiRead(0x2D, 0x20, &value), -1) << code;
        EXPECT_EQ(value, UNTOUCHED) << code;
        EXPECT_EQ(IpmiWrite(0x2D, 0x20, 1), -1) << code;
    }
}

TEST(MakerRead, ShortReplyFails) {
    for (size_t count : {0, 1}) {
        attach_driver(bmc::bytes({0x00, 0xC3}), count);
        uint32_t value = UNTOUCHED;
        EXPECT_EQ(IpmiRead(0x2D, 0x20, &value), -1) << count;
        EXPECT_EQ(value, UNTOUCHED) << count;
    }
    attach_driver(bmc::bytes({0x00}), 0);
    EXPECT_EQ(IpmiWrite(0x2D, 0x20, 1), -1);
}

TEST(MakerRead, FailedTransferNeverGivesThePreviousReply) {
    attach_driver(bmc::bytes({0x00, 0x33}));
    uint32_t value = UNTOUCHED;
    EXPECT_EQ(IpmiRead(0x2D, 0x20, &value), 0);
    EXPECT_EQ(value, 0x33u);
    value = UNTOUCHED;
    attach_driver("", 0, -1);
    EXPECT_EQ(IpmiRead(0x2D, 0x20, &value), -1);
    EXPECT_EQ(value, UNTOUCHED);
    EXPECT_EQ(IpmiWrite(0x2D, 0x20, 1), -1);
    attach_driver("", 2); // reports two bytes, writes nothing
    EXPECT_EQ(IpmiRead(0x2D, 0x20, &value), -1);
    EXPECT_EQ(value, UNTOUCHED);
}

TEST(MakerRead, EachCommandAdvancesTheSequenceNumberByEightBits) {
    attach_driver(bmc::bytes({0x00, 0x33}));
    uint32_t value;
    seqNo = 2;
    IpmiRead(0x2D, 0x20, &value);
    EXPECT_EQ(seqNo, 3);
    IpmiWrite(0x2D, 0x20, 0);
    EXPECT_EQ(seqNo, 4);
    seqNo = 255;
    IpmiRead(0x2D, 0x20, &value);
    EXPECT_EQ(seqNo, 2);
    attach_driver("", 0, -1);
    IpmiRead(0x2D, 0x20, &value);
    EXPECT_EQ(seqNo, 3) << "after a failed transfer as well";
}
