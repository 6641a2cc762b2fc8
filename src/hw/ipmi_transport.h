#pragma once
// The two ways to a BMC: the maker's own driver (/dev/qxbmc, ipmi_qxbmc.cpp) and the kernel's OpenIPMI driver
// (ipmi_openipmi.cpp). Used by ipmi.cpp and ipmi_commands.cpp only.

#include <cstddef>
#include <cstdint>

constexpr uint8_t BMC_SLAVE = 0x20;
constexpr uint8_t NETFN_APP = 0x06;
constexpr uint8_t NETFN_OEM = 0x30;
constexpr uint8_t CMD_GET_DEVICE_ID = 0x01;
constexpr uint8_t CMD_GET_SYSTEM_GUID = 0x37;
constexpr uint8_t CMD_MASTER_WRITE_READ = 0x52;

// Completion code in byte 0, data after it. Byte 0 is set to NO_REPLY before a command, so that a transfer
// that failed is never taken for the reply before it.
constexpr size_t REPLY_CAPACITY = 80;
constexpr uint8_t NO_REPLY = 0xFF;

// The request sequence number, handed to OpenIPMI as the message's id; replies are not matched against it.
extern int32_t seqNo;
void advance_seqNo_16(); // after 65535 comes 2
void advance_seqNo_8();  // after 255 comes 2

// ---- The maker's driver

struct imbp_request {
    uint8_t command;
    uint8_t slave;
    uint8_t bus_type;
    uint8_t netfn;
    uint8_t lun;
    const uint8_t *data;
    uint32_t data_length;
};

int open_imb(); // 1: open (or already open), 0: failure

// 0, or 1 for a failure. `*reply_length` is the capacity of `reply` going in and the number of data bytes
// coming out; the completion code is returned apart.
int SendTimedImbpRequest(const imbp_request *request, uint32_t timeout_ms, uint8_t *reply,
                         uint32_t *reply_length, uint8_t *completion_code);

// 0, or 1 for a failure. The completion code is `reply` byte 0. `*reply_length` is the capacity going in;
// coming out it is one more than the bytes that came back, on purpose.
int SendAsyncImbpRequest(const imbp_request *request, int32_t sequence, uint8_t *reply,
                         uint32_t *reply_length);

// ---- OpenIPMI

int open_imb2(); // 1: open, 0: failure

// Whether there is a descriptor to send commands to.
bool openipmi_is_open();

// One command to the BMC and its reply, `seqNo` advanced. Returns the number of reply bytes, the completion
// code included; 0 when nothing was sent or nothing came back.
size_t openipmi_command(uint8_t netfn, uint8_t command, const uint8_t *data, size_t length,
                        uint8_t reply[REPLY_CAPACITY]);

// Its two steps. 0, or an errno (reported on standard error); -1 for a wrong address type. The receive waits
// for ever.
int ipmi_cmd_req2(int fd, int address_type, int channel, int slave, int lun, int32_t message_id,
                  uint8_t netfn, uint8_t command, size_t length, const uint8_t *data);
int Ipmip_449000(int fd, int address_type, int channel, int slave, int lun, size_t capacity, uint8_t *data,
                 size_t *length);
