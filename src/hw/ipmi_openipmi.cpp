// The kernel's OpenIPMI driver: send, wait, receive.
#include "hw/ipmi_transport.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <linux/ipmi.h>
#include <sys/ioctl.h>

#include "hw/machine_turn.h"
#include "hw/os.h"

// The numbers of the published interface, which the kernel's header must give.
static_assert(IPMICTL_SEND_COMMAND == 0x8028690D);
static_assert(IPMICTL_RECEIVE_MSG == 0xC030690C);
static_assert(IPMICTL_RECEIVE_MSG_TRUNC == 0xC030690B);
static_assert(sizeof(ipmi_addr) == 40);

static int openipmi_fd = -1;
static uint8_t IpmiVersion; // recorded, never asked for

// The address that a message goes to, or comes from. 0, or -1 for a type that there is no address for.
static int fill_address(ipmi_addr *address, int type, int channel, int slave, int lun) {
    *address = {};
    if (type == IPMI_SYSTEM_INTERFACE_ADDR_TYPE) {
        ipmi_system_interface_addr own = {};
        own.addr_type = type;
        own.channel = static_cast<short>(channel);
        own.lun = static_cast<unsigned char>(lun);
        memcpy(address, &own, sizeof own);
        return 0;
    }
    if (type == IPMI_IPMB_ADDR_TYPE || type == IPMI_IPMB_BROADCAST_ADDR_TYPE) {
        ipmi_ipmb_addr bus = {};
        bus.addr_type = type;
        bus.channel = static_cast<short>(channel);
        bus.slave_addr = static_cast<unsigned char>(slave);
        bus.lun = static_cast<unsigned char>(lun);
        memcpy(address, &bus, sizeof bus);
        return 0;
    }
    complain("Error: wrong address type.\n");
    return -1;
}

static int failed_ioctl() {
    int error = errno;
    complain("Error: ioctl(), errno=%d\n", error);
    return error;
}

int ipmi_cmd_req2(int fd, int address_type, int channel, int slave, int lun, int32_t message_id,
                  uint8_t netfn, uint8_t command, size_t length, const uint8_t *data) {
    ipmi_addr address;
    if (fill_address(&address, address_type, channel, slave, lun) != 0)
        return -1;
    ipmi_req request = {};
    request.addr = reinterpret_cast<unsigned char *>(&address);
    request.addr_len = sizeof address;
    request.msgid = message_id;
    request.msg.netfn = netfn;
    request.msg.cmd = command;
    request.msg.data_len = static_cast<unsigned short>(length);
    request.msg.data = const_cast<unsigned char *>(data);
    if (os_ioctl(fd, IPMICTL_SEND_COMMAND, &request) != 0)
        return failed_ioctl();
    return 0;
}

static ipmi_recv room_for_reply(ipmi_addr *address, uint8_t *data, size_t capacity) {
    ipmi_recv received = {};
    received.addr = reinterpret_cast<unsigned char *>(address);
    received.addr_len = sizeof *address;
    received.msg.data = data;
    received.msg.data_len = static_cast<unsigned short>(capacity);
    return received;
}

// A reply that is longer than its room stays in the kernel's queue, where every later command would find it:
// it is taken off, cut to nothing. This call fails as well, for the same reason.
static void take_off_long_reply(int fd, ipmi_addr *address) {
    uint8_t unused;
    ipmi_recv received = room_for_reply(address, &unused, 0);
    os_ioctl(fd, IPMICTL_RECEIVE_MSG_TRUNC, &received);
}

int Ipmip_449000(int fd, int address_type, int channel, int slave, int lun, size_t capacity, uint8_t *data,
                 size_t *length) {
    ipmi_addr address;
    if (fill_address(&address, address_type, channel, slave, lun) != 0)
        return -1;
    bool readable = false;
    int count = os_wait_readable(fd, &readable);
    if (count < 0) {
        int error = errno;
        complain("Error: select(), errno=%d\n", error);
        return error;
    }
    if (!readable)
        return count;
    ipmi_recv received = room_for_reply(&address, data, capacity);
    int result = os_ioctl(fd, IPMICTL_RECEIVE_MSG, &received);
    if (result < 0) {
        int error = failed_ioctl();
        if (error == EMSGSIZE)
            take_off_long_reply(fd, &address);
        return error;
    }
    *length = received.msg.data_len < capacity ? received.msg.data_len : capacity;
    return result;
}

// 0 when the command was sent and something was received, of which `*count` is the number of bytes.
static int exchange(int32_t message_id, uint8_t netfn, uint8_t command, const uint8_t *data, size_t length,
                    uint8_t reply[REPLY_CAPACITY], size_t *count) {
    constexpr int TYPE = IPMI_SYSTEM_INTERFACE_ADDR_TYPE;
    constexpr int CHANNEL = IPMI_BMC_CHANNEL;
    reply[0] = NO_REPLY;
    if (ipmi_cmd_req2(openipmi_fd, TYPE, CHANNEL, BMC_SLAVE, 0, message_id, netfn, command, length, data) !=
        0)
        return -1; // nothing is waited for
    size_t received = 0;
    if (Ipmip_449000(openipmi_fd, TYPE, CHANNEL, BMC_SLAVE, 0, REPLY_CAPACITY, reply, &received) != 0)
        return -1;
    *count = received;
    return 0;
}

bool openipmi_is_open() { return openipmi_fd >= 0; }

size_t openipmi_command(uint8_t netfn, uint8_t command, const uint8_t *data, size_t length,
                        uint8_t reply[REPLY_CAPACITY]) {
    reply[0] = NO_REPLY;
    if (!openipmi_is_open())
        return 0;
    size_t count = 0;
    exchange(seqNo, netfn, command, data, length, reply, &count);
    advance_seqNo_16();
    return count;
}

int open_imb2() {
    openipmi_fd = -1;
    for (const char *path : {"/dev/ipmidev/0", "/dev/ipmi/0", "/dev/ipmi0"}) {
        openipmi_fd = os_open(path, O_RDWR);
        if (openipmi_fd >= 0)
            break;
    }
    if (openipmi_fd < 0)
        return 0;
    constexpr size_t VERSION = 5; // the place of the version in the reply
    uint8_t reply[REPLY_CAPACITY] = {};
    size_t count = 0;
    if (exchange(0, NETFN_APP, CMD_GET_DEVICE_ID, nullptr, 0, reply, &count) != 0) {
        openipmi_fd = -1; // it stays open, but nothing is sent to it
        return 0;
    }
    // A BMC that is busy answers with a completion code alone. It is there all the same: its chips must not
    // be read over the buses while it reads them.
    uint8_t version = count > VERSION ? reply[VERSION] : 0;
    IpmiVersion = version == 0x51 || version == 0x01 ? version : 0x90;
    return 1;
}
