// One function a BMC command, over OpenIPMI.
#include "hw/ipmi.h"

#include <initializer_list>

#include "hw/ipmi_transport.h"

constexpr int COMMAND_FAILED = 255;
constexpr uint8_t BUS_2_PRIVATE = 0x05;
constexpr uint8_t BUS_3_PRIVATE = 0x07;
constexpr uint8_t READ_NONE = 0;
constexpr uint8_t READ_ONE = 1;
constexpr uint8_t READ_TWO = 2;

// The byte of an argument: of what is longer only the low byte is sent.
static uint8_t low(uint32_t value) { return static_cast<uint8_t>(value & 0xFF); }

// A slave's address as it is sent on the bus, with room for the read bit.
static uint8_t on_bus(uint32_t slave) { return static_cast<uint8_t>((slave & 0xFF) * 2); }

// Sends the request and hands back `taken` bytes of the reply from byte `first` on, the first of them
// highest. A reply that is shorter than that is a failure.
static int bmc_command(uint8_t netfn, uint8_t command, std::initializer_list<uint8_t> request, size_t first,
                       size_t taken, uint32_t *value) {
    uint8_t reply[REPLY_CAPACITY] = {};
    size_t count = openipmi_command(netfn, command, request.begin(), request.size(), reply);
    if (count == 0 || reply[0] != 0 || count < first + taken)
        return COMMAND_FAILED;
    uint32_t word = 0;
    for (size_t i = first; i < first + taken; i++)
        word = word * 256 + reply[i];
    if (taken > 0)
        *value = word;
    return 0;
}

static int read_byte(uint8_t netfn, uint8_t command, std::initializer_list<uint8_t> request,
                     uint32_t *value) {
    return bmc_command(netfn, command, request, 1, 1, value);
}

static int read_word(uint8_t netfn, uint8_t command, std::initializer_list<uint8_t> request,
                     uint32_t *value) {
    return bmc_command(netfn, command, request, 1, 2, value);
}

static int send_only(uint8_t netfn, uint8_t command, std::initializer_list<uint8_t> request) {
    return bmc_command(netfn, command, request, 1, 0, nullptr);
}

int IpmiByteRead2_06_52_05(uint32_t slave, uint32_t reg, uint32_t *value) {
    return read_byte(NETFN_APP, CMD_MASTER_WRITE_READ, {BUS_2_PRIVATE, on_bus(slave), READ_ONE, low(reg)},
                     value);
}

int IpmiByteWrite2_06_52_05(uint32_t slave, uint32_t reg, uint32_t value) {
    return send_only(NETFN_APP, CMD_MASTER_WRITE_READ,
                     {BUS_2_PRIVATE, on_bus(slave), READ_NONE, low(reg), low(value)});
}

int IpmiByteRead_OBWinbond_id3_06_52_07(uint32_t slave, uint32_t reg, uint32_t *value) {
    return read_byte(NETFN_APP, CMD_MASTER_WRITE_READ, {BUS_3_PRIVATE, on_bus(slave), READ_ONE, low(reg)},
                     value);
}

int IpmiByteWrite_OBWinbond_id3_06_52_07(uint32_t slave, uint32_t reg, uint32_t value) {
    return send_only(NETFN_APP, CMD_MASTER_WRITE_READ,
                     {BUS_3_PRIVATE, on_bus(slave), READ_NONE, low(reg), low(value)});
}

int IpmiByteRead_Peppercon_oem_30_22_05(uint32_t slave, uint32_t reg, uint32_t *value) {
    return read_byte(NETFN_OEM, 0x22, {BUS_2_PRIVATE, on_bus(slave), READ_ONE, low(reg)}, value);
}

int IpmiByteWrite_Peppercon_oem_30_22_05(uint32_t slave, uint32_t reg, uint32_t value) {
    return send_only(NETFN_OEM, 0x22, {BUS_2_PRIVATE, on_bus(slave), READ_NONE, low(reg), low(value)});
}

int IpmiWordRead_oem_30_23(uint32_t slave, uint32_t reg, uint32_t *value) {
    return read_word(NETFN_OEM, 0x23, {BUS_2_PRIVATE, on_bus(slave), READ_ONE, low(reg)}, value);
}

int IpmiByteRead2_oem_30_0F(uint32_t, uint32_t, uint32_t *value) {
    return read_byte(NETFN_OEM, 0x0F, {}, value);
}

int IpmiByteRead2_oem_30_70(uint32_t, uint32_t reg, uint32_t *value) {
    return read_byte(NETFN_OEM, 0x70, {BUS_2_PRIVATE, low(reg)}, value);
}

int IpmiByteRead_ISA_30_2C(uint32_t bank, uint32_t reg, uint32_t *value) {
    return read_byte(NETFN_OEM, 0x2C, {READ_ONE, low(bank), low(reg)}, value);
}

int IpmiWordRead_ISA_30_2C(uint32_t bank, uint32_t reg, uint32_t *value) {
    return read_word(NETFN_OEM, 0x2C, {READ_TWO, low(bank), low(reg)}, value);
}

int IpmiByteWrite_ISA_30_2C(uint32_t bank, uint32_t reg, uint32_t value) {
    return send_only(NETFN_OEM, 0x2C, {READ_NONE, low(bank), low(reg), low(value)});
}

int IpmiByteRead_oem_30_90(uint32_t slave, uint32_t bank, uint32_t reg, uint32_t *value) {
    return read_byte(NETFN_OEM, 0x90, {on_bus(slave), low(bank), low(reg), READ_ONE}, value);
}

int IpmiWordRead_oem_30_90(uint32_t slave, uint32_t bank, uint32_t reg, uint32_t *value) {
    return read_word(NETFN_OEM, 0x90, {on_bus(slave), low(bank), low(reg), READ_TWO}, value);
}

int IpmiByteWrite_oem_30_91(uint32_t slave, uint32_t bank, uint32_t reg, uint32_t value) {
    return send_only(NETFN_OEM, 0x91, {on_bus(slave), low(bank), low(reg), low(value)});
}

// The reply lists the registers of a power supply from byte 1 on.
int IpmiByteRead_oem_30_92(uint32_t slave, uint32_t reg, uint32_t *value) {
    uint8_t high_nibble = static_cast<uint8_t>((slave >> 4) & 0x0F);
    uint8_t low_nibble = static_cast<uint8_t>(slave & 0x0F);
    return bmc_command(NETFN_OEM, 0x92, {high_nibble, low_nibble}, reg + 1ul, 1, value);
}

int IpmiByteRead_oem_30_92_PWSFailure(uint32_t, uint32_t, uint32_t *value) {
    return read_byte(NETFN_OEM, 0x92, {}, value);
}

int IpmiByteRead_oem_30_93(uint32_t index, uint32_t *value) {
    return read_byte(NETFN_OEM, 0x93, {low(index)}, value);
}

// Register 0 means the limit, which has no register in the BMC: 95 degrees, kept on purpose.
int IpmiByteRead_oem_30_95(uint32_t reg, uint32_t *value) {
    if (reg == 0) {
        *value = 0x5F;
        return 0;
    }
    return read_byte(NETFN_OEM, 0x95, {}, value);
}
