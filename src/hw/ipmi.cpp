#include "hw/ipmi.h"

#include <cstring>

#include "hw/ipmi_transport.h"

int32_t hDevice;
int32_t ipmi_driver_option;

int32_t bPepperconIPMI;
int32_t bOBWinbondIPMI;
int32_t bAOWinbondIPMI;
int32_t bOBWinbondATenIPMI;
int32_t bRenesasAMIIPMI;
int32_t bRenesasATenIPMI;
int32_t bAOWinbondATenIPMI;

int32_t seqNo;

constexpr int32_t OPENIPMI_IN_USE = 99; // a marker in hDevice, no descriptor
constexpr int32_t FIRST_SEQUENCE = 2;

void advance_seqNo_16() {
    seqNo = static_cast<uint16_t>(seqNo + 1);
    if (seqNo == 0)
        seqNo = FIRST_SEQUENCE;
}

void advance_seqNo_8() {
    seqNo = static_cast<uint8_t>(seqNo + 1);
    if (seqNo == 0)
        seqNo = FIRST_SEQUENCE;
}

int IpmiInit() {
    hDevice = 0;
    ipmi_driver_option = IPMI_NO_DRIVER;
    if (open_imb() != 0) {
        ipmi_driver_option = IPMI_MAKER_DRIVER;
    } else if (open_imb2() != 0) {
        hDevice = OPENIPMI_IN_USE;
        ipmi_driver_option = IPMI_OPEN_DRIVER;
        checkAnyIPMI();
    } else {
        hDevice = 0;
        return -1;
    }
    seqNo = FIRST_SEQUENCE;
    return 0;
}

struct bmc_kind {
    int32_t *flag;
    unsigned length;
    unsigned char guid[8]; // its first bytes
};

static const bmc_kind kinds[] = {
    {&bPepperconIPMI, 8, {0x02, 0x00, 0x00, 0xFF, 0xFE, 0x00, 0x00, 0x00}},
    {&bPepperconIPMI, 6, {'0', '0', '0', '1', 'X', 'Q'}},
    {&bOBWinbondIPMI, 6, {'5', '0', '0', '1', 'X', 'Q'}},
    {&bAOWinbondIPMI, 6, {'4', '0', '0', '1', 'X', 'Q'}},
    {&bOBWinbondATenIPMI, 6, {'7', '0', '0', '1', 'X', 'Q'}},
    {&bRenesasAMIIPMI, 6, {'9', '0', '0', '1', 'X', 'Q'}},
    {&bRenesasATenIPMI, 6, {'a', '0', '0', '1', 'X', 'Q'}},
    {&bRenesasATenIPMI, 6, {'b', '0', '0', '1', 'X', 'Q'}},
};

int checkAnyIPMI() {
    uint8_t reply[REPLY_CAPACITY] = {};
    size_t count = openipmi_command(NETFN_APP, CMD_GET_SYSTEM_GUID, nullptr, 0, reply);
    if (count == 0 || reply[0] != 0)
        return 0;
    bPepperconIPMI = bOBWinbondIPMI = bAOWinbondIPMI = bOBWinbondATenIPMI = 0;
    bRenesasAMIIPMI = bRenesasATenIPMI = bAOWinbondATenIPMI = 0;
    for (const bmc_kind &kind : kinds) {
        if (count - 1 < kind.length || memcmp(reply + 1, kind.guid, kind.length) != 0)
            continue;
        *kind.flag = 1;
        return 1;
    }
    return 0;
}

bool bmc_owns_isa_monitor() {
    return hDevice != 0 && (bOBWinbondIPMI != 0 || bAOWinbondIPMI != 0 || bOBWinbondATenIPMI != 0 ||
                            bRenesasAMIIPMI != 0 || bRenesasATenIPMI != 0 || bAOWinbondATenIPMI != 0);
}
