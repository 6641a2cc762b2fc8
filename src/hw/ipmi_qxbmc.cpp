// The maker's own BMC driver: a request and a reply record, handed over by one ioctl.
#include "hw/ipmi_transport.h"

#include <algorithm>
#include <cstring>
#include <fcntl.h>

#include "hw/ipmi.h"
#include "hw/os.h"

constexpr unsigned long QXBMC_REQUEST = 0x1082;
constexpr uint32_t GET_DEVICE_ID_TIMEOUT_MS = 400;
constexpr uint32_t ASYNC_TIMEOUT_US = 1000000;
constexpr size_t TIMED_RECORD = 64; // lengths of the records that each sender passes
constexpr size_t ASYNC_RECORD = 34;
constexpr size_t STATUS_AREA = 16;

struct [[gnu::packed]] request_record {
    uint32_t flags;
    uint32_t timeout_us;
    uint8_t slave;
    uint8_t command;
    uint8_t netfn;
    uint8_t lun;
    uint8_t data_length;
    uint8_t data[TIMED_RECORD - 13];
};
static_assert(sizeof(request_record) == TIMED_RECORD);

static uint32_t imb_version; // as IpmiVersion of OpenIPMI; recorded, never asked for

static request_record record_of(const imbp_request *request, uint32_t flags, uint32_t timeout_us) {
    request_record record = {};
    record.flags = flags;
    record.timeout_us = timeout_us;
    record.slave = request->slave;
    record.command = request->command;
    record.netfn = request->netfn;
    record.lun = request->lun;
    record.data_length = static_cast<uint8_t>(std::min<size_t>(request->data_length, sizeof record.data));
    if (record.data_length > 0)
        memcpy(record.data, request->data, record.data_length);
    return record;
}

// Ten 64-bit words: 3 the status area, 4 and 5 the request and its length, 6 and 7 the reply and its
// capacity, 8 where the count of reply bytes goes. Returns that count, 0 for a failure.
static size_t exchange(request_record *request, size_t request_length, uint8_t *reply, size_t capacity) {
    uint8_t status[STATUS_AREA] = {};
    uint64_t count = capacity;
    uint64_t words[10] = {};
    words[3] = reinterpret_cast<uint64_t>(status);
    words[4] = reinterpret_cast<uint64_t>(request);
    words[5] = request_length;
    words[6] = reinterpret_cast<uint64_t>(reply);
    words[7] = capacity;
    words[8] = reinterpret_cast<uint64_t>(&count);
    if (os_ioctl(hDevice, QXBMC_REQUEST, words) != 0)
        return 0;
    return std::min<uint64_t>(count, capacity);
}

int SendTimedImbpRequest(const imbp_request *request, uint32_t timeout_ms, uint8_t *reply,
                         uint32_t *reply_length, uint8_t *completion_code) {
    request_record record = record_of(request, 0, timeout_ms * 1000);
    uint8_t answer[TIMED_RECORD] = {NO_REPLY};
    size_t count = exchange(&record, TIMED_RECORD, answer, sizeof answer);
    if (count == 0)
        return 1;
    *completion_code = answer[0];
    size_t data = reply == nullptr ? 0 : std::min<size_t>(count - 1, *reply_length);
    if (data > 0)
        memcpy(reply, answer + 1, data);
    *reply_length = static_cast<uint32_t>(data);
    return 0;
}

// The sequence number is not placed in the record; kept on purpose.
int SendAsyncImbpRequest(const imbp_request *request, int32_t, uint8_t *reply, uint32_t *reply_length) {
    request_record record = record_of(request, 1, ASYNC_TIMEOUT_US);
    uint8_t answer[ASYNC_RECORD] = {NO_REPLY};
    size_t count = exchange(&record, ASYNC_RECORD, answer, sizeof answer);
    if (count == 0)
        return 1;
    memcpy(reply, answer, std::min<size_t>(count, *reply_length));
    *reply_length = static_cast<uint32_t>(count + 1);
    return 0;
}

int open_imb() {
    if (hDevice != 0)
        return 1;
    int fd = os_open("/dev/qxbmc", O_RDWR);
    if (fd < 0) {
        hDevice = 0;
        return 0;
    }
    hDevice = fd;
    imbp_request request = {CMD_GET_DEVICE_ID, BMC_SLAVE, 0, NETFN_APP, 0, nullptr, 0};
    uint8_t reply[16] = {};
    uint32_t length = sizeof reply;
    uint8_t completion_code = NO_REPLY;
    if (SendTimedImbpRequest(&request, GET_DEVICE_ID_TIMEOUT_MS, reply, &length, &completion_code) != 0 ||
        completion_code != 0) {
        hDevice = 0; // the descriptor stays open, on purpose
        return 0;
    }
    imb_version = 0x90;
    if (length > 10)
        imb_version = reply[4] == 0x51 ? 0x51 : 0x01;
    return 1;
}

// ---- Master Write-Read over this driver

constexpr uint8_t PRIVATE_BUS = 0x05; // bus id 2
constexpr size_t RESPONSE_CAPACITY = 40;

static uint8_t RespBuf[RESPONSE_CAPACITY];
static uint32_t RespBufLen;

// True when a reply with at least `wanted` bytes, completion code 0 included, lies in RespBuf.
static bool master_write_read(const uint8_t *data, uint32_t length, uint32_t wanted) {
    imbp_request request = {CMD_MASTER_WRITE_READ, BMC_SLAVE, 0, NETFN_APP, 0, data, length};
    RespBuf[0] = NO_REPLY;
    RespBufLen = sizeof RespBuf;
    int failed = SendAsyncImbpRequest(&request, seqNo, RespBuf, &RespBufLen);
    advance_seqNo_8();
    return failed == 0 && RespBuf[0] == 0 && RespBufLen - 1 >= wanted;
}

int IpmiRead(uint32_t slave, uint32_t reg, uint32_t *value) {
    uint8_t data[] = {PRIVATE_BUS, static_cast<uint8_t>(slave * 2), 1, static_cast<uint8_t>(reg)};
    if (!master_write_read(data, sizeof data, 2))
        return -1;
    *value = RespBuf[1];
    return 0;
}

int IpmiWrite(uint32_t slave, uint32_t reg, uint32_t value) {
    uint8_t data[] = {PRIVATE_BUS, static_cast<uint8_t>(slave * 2), 0, static_cast<uint8_t>(reg),
                      static_cast<uint8_t>(value)};
    return master_write_read(data, sizeof data, 1) ? 0 : -1;
}
