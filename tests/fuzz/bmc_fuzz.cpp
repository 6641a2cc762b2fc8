// Any bytes as the replies of a BMC, to every command.
#include "hw/ipmi.h"
#include "os_fuzz.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    fuzz_door::reset();
    fuzz_door::put_bmc(true);
    fuzz_door::put_stream(data, size);
    IpmiInit(); // over the maker's driver when its Get Device ID is answered, else over OpenIPMI
    uint32_t value = 0;
    IpmiByteRead2_06_52_05(0x2D, 1, &value);
    IpmiByteWrite2_06_52_05(0x2D, 1, 2);
    IpmiByteRead_OBWinbond_id3_06_52_07(0x2D, 1, &value);
    IpmiByteRead_Peppercon_oem_30_22_05(0x2D, 1, &value);
    IpmiWordRead_oem_30_23(0x2D, 1, &value);
    IpmiByteRead2_oem_30_0F(0x2D, 1, &value);
    IpmiByteRead2_oem_30_70(0x2D, 1, &value);
    IpmiByteRead_ISA_30_2C(1, 2, &value);
    IpmiWordRead_ISA_30_2C(1, 2, &value);
    IpmiByteRead_oem_30_90(0x2D, 1, 2, &value);
    IpmiWordRead_oem_30_90(0x2D, 1, 2, &value);
    for (uint32_t reg : {0u, 1u, 78u, 79u, 80u, 255u, 0xFFFFFFFEu, 0xFFFFFFFFu})
        IpmiByteRead_oem_30_92(0x2D, reg, &value);
    IpmiByteRead_oem_30_92_PWSFailure(0x2D, 1, &value);
    IpmiByteRead_oem_30_93(1, &value);
    IpmiByteRead_oem_30_95(1, &value);
    if (ipmi_driver_option == IPMI_MAKER_DRIVER) {
        IpmiRead(0x2D, 1, &value);
        IpmiWrite(0x2D, 1, 2);
    }
    return 0;
}
