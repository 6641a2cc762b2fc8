// Any bytes as the replies of a BMC, to every command, and what every chip's readers make of them. The first
// byte chooses the chip, the second one the item's category and bus; then each reply begins with what goes
// wrong.
#include "hw/ipmi.h"

#include <cstring>

#include "items/intrusion.h"
#include "items/readings.h"
#include "items/thermal_text.h"
#include "os_fuzz.h"

using fuzz_door::expect;

constexpr uint32_t UNTOUCHED = 0xA5A5A5A5;
constexpr uint32_t BYTE = 0xFF;
constexpr uint32_t WORD = 0xFFFF;
static uint32_t value;

// A command that succeeded gave a number of its width, one that failed gave no number.
static void judge(int status, uint32_t most) {
    expect(status == 0 ? value <= most : value == UNTOUCHED, "a value exactly when the command succeeded");
    value = UNTOUCHED;
}

static void ask_every_command() {
    value = UNTOUCHED;
    judge(IpmiByteRead2_06_52_05(0x2D, 1, &value), BYTE);
    judge(IpmiByteRead_OBWinbond_id3_06_52_07(0x2D, 1, &value), BYTE);
    judge(IpmiByteRead_Peppercon_oem_30_22_05(0x2D, 1, &value), BYTE);
    judge(IpmiWordRead_oem_30_23(0x2D, 1, &value), WORD);
    judge(IpmiByteRead2_oem_30_0F(0x2D, 1, &value), BYTE);
    judge(IpmiByteRead2_oem_30_70(0x2D, 1, &value), BYTE);
    judge(IpmiByteRead_ISA_30_2C(1, 2, &value), BYTE);
    judge(IpmiWordRead_ISA_30_2C(1, 2, &value), WORD);
    judge(IpmiByteRead_oem_30_90(0x2D, 1, 2, &value), BYTE);
    judge(IpmiWordRead_oem_30_90(0x2D, 1, 2, &value), WORD);
    for (uint32_t reg : {0U, 1U, 78U, 79U, 80U, 255U, 0xFFFFFFFEU, 0xFFFFFFFFU})
        judge(IpmiByteRead_oem_30_92(0x2D, reg, &value), BYTE);
    judge(IpmiByteRead_oem_30_92_PWSFailure(0x2D, 1, &value), BYTE);
    judge(IpmiByteRead_oem_30_93(1, &value), BYTE);
    judge(IpmiByteRead_oem_30_95(1, &value), BYTE);
    IpmiByteWrite2_06_52_05(0x2D, 1, 2);
    if (ipmi_driver_option != IPMI_MAKER_DRIVER)
        return;
    judge(IpmiRead(0x2D, 1, &value), BYTE);
    IpmiWrite(0x2D, 1, 2);
}

static void read_an_item(uint8_t chip_code, uint8_t kind) {
    constexpr uint32_t BUSES[] = {BUS_SMBUS, BUS_SUPERIO, BUS_SMBUS_HOST, BUS_SUPERIO | BUS_SMBUS};
    system_settings system = {};
    system.BusType = BUS_SUPERIO | BUS_SMBUS | BUS_SMBUS_HOST;
    system.IndexReg = 0x295;
    system.DataReg = 0x296;
    system.ThermalGuideChipType = (kind >> 6) & 1;
    system.W83793GTempLevelType = kind >> 7;
    parameter_record parameters[2] = {{"Divisor1", 0x2F, 1, 0x07}, {"Low", 0x2F, 2, 0xFF}};
    item_record item = {};
    item.Cat = kind & 3;
    item.BusType = BUSES[(kind >> 2) & 3];
    item.ChipCode = chip_code % 36; // one more than there are
    item.Slave = (kind & 0x10) != 0 ? 0x38 : 0x2D;
    item.Offset = (kind & 0x20) != 0 ? 0x4E : 0x20;
    for (char *name : {item.Name, item.ItemId})
        memcpy(name, "CPU1", sizeof "CPU1");
    memcpy(item.ParaIndex1, "Divisor1", sizeof "Divisor1");
    memcpy(item.ParaIndex2, "Low", sizeof "Low");
    int64_t reading = -12345;
    int status = get_item_reading(&system, &item, 1, parameters, 2, &item, &reading);
    expect(status == 0 || (status == -1 && reading == -12345), "a reading exactly when it succeeded");
    char text[10] = "";
    if (supportThermalText(&system, &item) != 0)
        getThermalText(&system, &item, text);
    reset_Intrusion(&system, &item, 1, parameters, 2, &item);
}

// The program looks for a BMC once; here the one before it must not be remembered.
static void forget_the_kind() {
    bPepperconIPMI = bOBWinbondIPMI = bAOWinbondIPMI = bOBWinbondATenIPMI = 0;
    bRenesasAMIIPMI = bRenesasATenIPMI = bAOWinbondATenIPMI = 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    if (size < 2)
        return 0;
    fuzz_door::reset();
    forget_the_kind();
    fuzz_door::put_bmc(true);
    fuzz_door::put_stream(data + 2, size - 2);
    if (IpmiInit() !=
        0) // over the maker's driver when its Get Device ID is answered, otherwise over OpenIPMI
        return 0;
    read_an_item(data[0], data[1]);
    ask_every_command();
    return 0;
}
