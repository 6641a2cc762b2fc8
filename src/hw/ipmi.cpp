#include "hw/ipmi.h"

int32_t hDevice;
int32_t ipmi_driver_option;

int32_t bPepperconIPMI;
int32_t bOBWinbondIPMI;
int32_t bAOWinbondIPMI;
int32_t bOBWinbondATenIPMI;
int32_t bRenesasAMIIPMI;
int32_t bRenesasATenIPMI;
int32_t bAOWinbondATenIPMI;

// No transport is supported yet, so no BMC is ever found.
int IpmiInit() {
    hDevice = 0;
    ipmi_driver_option = IPMI_NO_DRIVER;
    return -1;
}

bool bmc_owns_isa_monitor() {
    return hDevice != 0 && (bOBWinbondIPMI != 0 || bAOWinbondIPMI != 0 || bOBWinbondATenIPMI != 0 ||
                            bRenesasAMIIPMI != 0 || bRenesasATenIPMI != 0 || bAOWinbondATenIPMI != 0);
}
