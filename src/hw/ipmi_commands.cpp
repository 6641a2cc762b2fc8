// One function a BMC command. Without a transport (see IpmiInit) none can be carried, and each says so.
#include "hw/ipmi.h"

constexpr int NOT_CARRIED = -1;

int IpmiByteRead_ISA_30_2C(uint32_t, uint32_t, uint32_t *) { return NOT_CARRIED; }

int IpmiWordRead_ISA_30_2C(uint32_t, uint32_t, uint32_t *) { return NOT_CARRIED; }

int IpmiByteWrite_ISA_30_2C(uint32_t, uint32_t, uint32_t) { return NOT_CARRIED; }

int IpmiByteRead_oem_30_90(uint32_t, uint32_t, uint32_t, uint32_t *) { return NOT_CARRIED; }

int IpmiByteRead_oem_30_93(uint32_t, uint32_t *) { return NOT_CARRIED; }

int IpmiByteRead_oem_30_95(uint32_t, uint32_t *) { return NOT_CARRIED; }
