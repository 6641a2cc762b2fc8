#pragma once
// The board management controller: which transport is open, what kind of BMC answered, and one function a
// command. Slave addresses are 7-bit SMBus addresses; values hold a byte, or a word where the name says so.
// A command returns 0; 255 for a non-zero completion code, a reply that is too short or one that never came;
// those of the maker's driver -1. The out-argument is untouched on failure.

#include <cstdint>

constexpr int IPMI_NO_DRIVER = 0;
constexpr int IPMI_MAKER_DRIVER = 1;
constexpr int IPMI_OPEN_DRIVER = 2;

extern int32_t hDevice;            // not 0: a BMC interface is open
extern int32_t ipmi_driver_option; // IPMI_..._DRIVER

// What kind of BMC answered over OpenIPMI; at most one is 1.
extern int32_t bPepperconIPMI;
extern int32_t bOBWinbondIPMI;
extern int32_t bAOWinbondIPMI;
extern int32_t bOBWinbondATenIPMI;
extern int32_t bRenesasAMIIPMI;
extern int32_t bRenesasATenIPMI;
extern int32_t bAOWinbondATenIPMI; // tested, but set by no BMC yet; kept on purpose

// Looks for a BMC: 0 when a transport was opened, -1 otherwise. Called once, before any option is read.
int IpmiInit();

// Sets the flag of the BMC's kind by its GUID: 1 when it is a known one, else 0.
int checkAnyIPMI();

// True when a BMC is open whose kind owns the board's ISA monitor chip.
bool bmc_owns_isa_monitor();

// ---- Over OpenIPMI. Without it nothing is sent and the result is a failure.

int IpmiByteRead2_06_52_05(uint32_t slave, uint32_t reg, uint32_t *value);
int IpmiByteWrite2_06_52_05(uint32_t slave, uint32_t reg, uint32_t value);
int IpmiByteRead_OBWinbond_id3_06_52_07(uint32_t slave, uint32_t reg, uint32_t *value);
int IpmiByteWrite_OBWinbond_id3_06_52_07(uint32_t slave, uint32_t reg, uint32_t value);
int IpmiByteRead_Peppercon_oem_30_22_05(uint32_t slave, uint32_t reg, uint32_t *value);
int IpmiByteWrite_Peppercon_oem_30_22_05(uint32_t slave, uint32_t reg, uint32_t value);
int IpmiWordRead_oem_30_23(uint32_t slave, uint32_t reg, uint32_t *value);
int IpmiByteRead2_oem_30_0F(uint32_t slave, uint32_t reg, uint32_t *value); // both are ignored
int IpmiByteRead2_oem_30_70(uint32_t slave, uint32_t reg, uint32_t *value); // the slave is ignored
int IpmiByteRead_ISA_30_2C(uint32_t bank, uint32_t reg, uint32_t *value);
int IpmiWordRead_ISA_30_2C(uint32_t bank, uint32_t reg, uint32_t *value);
int IpmiByteWrite_ISA_30_2C(uint32_t bank, uint32_t reg, uint32_t value);
int IpmiByteRead_oem_30_90(uint32_t slave, uint32_t bank, uint32_t reg, uint32_t *value);
int IpmiWordRead_oem_30_90(uint32_t slave, uint32_t bank, uint32_t reg, uint32_t *value); // without a caller
int IpmiByteWrite_oem_30_91(uint32_t slave, uint32_t bank, uint32_t reg, uint32_t value);
int IpmiByteRead_oem_30_92(uint32_t slave, uint32_t reg, uint32_t *value);
int IpmiByteRead_oem_30_92_PWSFailure(uint32_t slave, uint32_t reg, uint32_t *value); // both are ignored
int IpmiByteRead_oem_30_93(uint32_t index, uint32_t *value);
int IpmiByteRead_oem_30_95(uint32_t reg, uint32_t *value); // register 0: the value is 95, nothing is sent

// ---- Over the maker's driver

int IpmiRead(uint32_t slave, uint32_t reg, uint32_t *value);
int IpmiWrite(uint32_t slave, uint32_t reg, uint32_t value);
