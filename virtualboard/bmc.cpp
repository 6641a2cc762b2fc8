#include "bmc.h"

#include <algorithm>
#include <cerrno>
#include <linux/ipmi.h>
#include <sys/ioctl.h>

#include "trace.h"

constexpr uint8_t COMPLETED = 0x00;
constexpr uint8_t NO_SLAVE = 0x83; // NAK on write
constexpr uint8_t INVALID_COMMAND = 0xC1;

static int fail_with(int error) {
    errno = error;
    return -1;
}

static std::string hex_of(const byte_string &bytes) {
    std::string text;
    char pair[4];
    for (uint8_t byte : bytes) {
        snprintf(pair, sizeof pair, " %02x", byte);
        text += pair;
    }
    return text;
}

// One at a time: g++ 12 takes a ranged insert after a braced list for an overflow.
static void append(byte_string *bytes, const uint8_t *more, size_t count) {
    for (size_t i = 0; i < count; i++)
        bytes->push_back(more[i]);
}

static bool begins_with(const byte_string &bytes, const byte_string &prefix) {
    return bytes.size() >= prefix.size() && std::equal(prefix.begin(), prefix.end(), bytes.begin());
}

static bmc_slave *find_slave(bmc_device *bmc, uint8_t on_bus) {
    for (bmc_slave &slave : bmc->slaves)
        if (slave.address * 2 == on_bus)
            return &slave;
    return nullptr;
}

static byte_string outcome(port_answer answer, const byte_string &data, bool *known) {
    if (answer == NO_REGISTER)
        *known = false;
    if (answer != ANSWERED)
        return {NO_SLAVE};
    byte_string reply = {COMPLETED};
    append(&reply, data.data(), data.size());
    return reply;
}

// Master Write-Read and its kin: bus, slave, read count, register, value.
static byte_string write_read(bmc_device *bmc, const byte_string &data, size_t read_count, double now_s,
                              bool *known) {
    if (data.size() < 4)
        return {INVALID_COMMAND};
    bmc_slave *slave = find_slave(bmc, data[1]);
    if (slave == nullptr) {
        *known = false;
        return {NO_SLAVE};
    }
    if (read_count == 0 && data.size() > 4)
        return outcome(chip_write(&slave->chip, data[3], now_s, data[4]), {}, known);
    byte_string read(read_count);
    port_answer answer = ANSWERED;
    for (size_t i = 0; i < read_count && answer == ANSWERED; i++)
        answer = chip_read(&slave->chip, static_cast<uint8_t>(data[3] + i), now_s, &read[i]);
    return outcome(answer, read, known);
}

// OEM 0x90 and 0x91: slave, bank, register, then a count to read or a value to write.
static byte_string banked(bmc_device *bmc, bool write, const byte_string &data, double now_s, bool *known) {
    if (data.size() != 4)
        return {INVALID_COMMAND};
    bmc_slave *slave = find_slave(bmc, data[0]);
    if (slave == nullptr) {
        *known = false;
        return {NO_SLAVE};
    }
    if (write)
        return outcome(chip_write_in_bank(&slave->chip, data[1], data[2], now_s, data[3]), {}, known);
    byte_string read(data[3]);
    port_answer answer = ANSWERED;
    for (size_t i = 0; i < read.size() && answer == ANSWERED; i++)
        answer = chip_read_in_bank(&slave->chip, data[1], static_cast<uint8_t>(data[2] + i), now_s, &read[i]);
    return outcome(answer, read, known);
}

// OEM 0x2C: a count to read (0: write), bank, register, value.
static byte_string isa_access(bmc_device *bmc, const byte_string &data, double now_s, bool *known) {
    if (data.size() < 3)
        return {INVALID_COMMAND};
    if (data[0] == 0 && data.size() > 3)
        return outcome(chip_write_in_bank(&bmc->isa, data[1], data[2], now_s, data[3]), {}, known);
    byte_string read(data[0]);
    port_answer answer = ANSWERED;
    for (size_t i = 0; i < read.size() && answer == ANSWERED; i++)
        answer = chip_read_in_bank(&bmc->isa, data[1], static_cast<uint8_t>(data[2] + i), now_s, &read[i]);
    return outcome(answer, read, known);
}

static byte_string guid_reply(const bmc_device *bmc) {
    if (bmc->guid.empty())
        return {INVALID_COMMAND};
    byte_string reply = {COMPLETED};
    append(&reply, bmc->guid.data(), bmc->guid.size());
    return reply;
}

static byte_string sensor_reply(const bmc_device *bmc, const byte_string &data, bool *known) {
    if (data.size() != 1 || data[0] >= bmc->sensors.size()) {
        *known = false;
        return {INVALID_COMMAND};
    }
    return {COMPLETED, bmc->sensors[data[0]]};
}

static byte_string built_in(bmc_device *bmc, int netfn, int command, const byte_string &data, double now_s,
                            bool *known) {
    switch (netfn << 8 | command) {
    case 0x0601: // Get Device ID: IPMI version 2.0 is 0x02 in byte 5
        return {COMPLETED, 0x20, 0x01, 0x01, 0x00, 0x02, 0xBF, 0x00, 0x00, 0x00, 0x00, 0x00};
    case 0x0637:
        return guid_reply(bmc);
    case 0x0652:
    case 0x3022:
        return write_read(bmc, data, data.size() > 2 ? data[2] : 0, now_s, known);
    case 0x3023:
        return write_read(bmc, data, 2, now_s, known);
    case 0x302C:
        return isa_access(bmc, data, now_s, known);
    case 0x3090:
        return banked(bmc, false, data, now_s, known);
    case 0x3091:
        return banked(bmc, true, data, now_s, known);
    case 0x3093:
        return sensor_reply(bmc, data, known);
    default:
        *known = false;
        return {INVALID_COMMAND};
    }
}

byte_string bmc_answer(bmc_device *bmc, const byte_string &request, double now_s, bool *known) {
    for (const bmc_reply &reply : bmc->replies)
        if (begins_with(request, reply.request))
            return reply.reply;
    if (request.size() < 2)
        return {INVALID_COMMAND};
    return built_in(bmc, request[0], request[1], byte_string(request.begin() + 2, request.end()), now_s,
                    known);
}

// ---- OpenIPMI

static int send(bmc_device *bmc, const ipmi_req *request, double now_s, bool *known) {
    byte_string bytes = {request->msg.netfn, request->msg.cmd};
    append(&bytes, request->msg.data, request->msg.data_len);
    trace("ipmi send %ld%s%s", request->msgid, hex_of(bytes).c_str(), bmc->send_fails ? " failed" : "");
    if (bmc->send_fails)
        return fail_with(EIO);
    byte_string reply = bmc->silent ? byte_string() : bmc_answer(bmc, bytes, now_s, known);
    if (!reply.empty())
        bmc->pending.push_back({reply, static_cast<int>(request->msgid)});
    return 0;
}

// As the kernel has it, a reply that is too long stays where it is, unless it may be cut; that is a failure,
// too, but takes it away.
static int receive(bmc_device *bmc, bool cut, ipmi_recv *received) {
    if (bmc->pending.empty())
        return fail_with(EAGAIN);
    bmc_message reply = bmc->pending.front();
    size_t room = received->msg.data_len;
    bool too_long = reply.bytes.size() > room;
    bool failed = bmc->receive_fails || (too_long && !cut);
    trace("ipmi %s%s%s", cut ? "cut reply" : "reply", hex_of(reply.bytes).c_str(), failed ? " failed" : "");
    if (too_long && !cut && !bmc->receive_fails)
        return fail_with(EMSGSIZE);
    bmc->pending.pop_front();
    if (bmc->receive_fails)
        return fail_with(EIO);
    reply.bytes.resize(std::min(reply.bytes.size(), room));
    std::copy(reply.bytes.begin(), reply.bytes.end(), received->msg.data);
    received->msg.data_len = static_cast<unsigned short>(reply.bytes.size());
    received->msgid = reply.id;
    received->recv_type = IPMI_RESPONSE_RECV_TYPE;
    return too_long ? fail_with(EMSGSIZE) : 0;
}

int openipmi_ioctl(bmc_device *bmc, unsigned long request, void *argument, double now_s, bool *known) {
    if (request == IPMICTL_SEND_COMMAND)
        return send(bmc, static_cast<const ipmi_req *>(argument), now_s, known);
    if (request == IPMICTL_RECEIVE_MSG || request == IPMICTL_RECEIVE_MSG_TRUNC)
        return receive(bmc, request == IPMICTL_RECEIVE_MSG_TRUNC, static_cast<ipmi_recv *>(argument));
    return fail_with(ENOTTY);
}

// ---- The maker's driver: a request record of 13 bytes and data, by ten words

constexpr unsigned long QXBMC_REQUEST = 0x1082;
constexpr size_t RECORD_HEAD = 13;

template <typename kind> static kind *pointer_in(uint64_t word) { return reinterpret_cast<kind *>(word); }

int qxbmc_ioctl(bmc_device *bmc, unsigned long request, void *argument, double now_s, bool *known) {
    if (request != QXBMC_REQUEST)
        return fail_with(ENOTTY);
    const auto *words = static_cast<const uint64_t *>(argument);
    const auto *record = pointer_in<const uint8_t>(words[4]);
    size_t length = words[5];
    auto *count = pointer_in<uint64_t>(words[8]);
    byte_string bytes(record, record + std::min<size_t>(length, RECORD_HEAD + record[12]));
    trace("qxbmc %zu%s%s", length, hex_of(bytes).c_str(), bmc->send_fails ? " failed" : "");
    if (bmc->send_fails)
        return fail_with(EIO);
    byte_string command = {record[10], record[9]};
    append(&command, bytes.data() + RECORD_HEAD, bytes.size() - RECORD_HEAD);
    byte_string reply = bmc->silent ? byte_string() : bmc_answer(bmc, command, now_s, known);
    size_t copied = std::min<size_t>(reply.size(), words[7]);
    std::copy_n(reply.data(), copied, pointer_in<uint8_t>(words[6]));
    *count = copied;
    trace("qxbmc reply%s", hex_of(reply).c_str());
    return 0;
}
