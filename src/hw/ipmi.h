#pragma once
// The board management controller: which transport is open, what kind of BMC answered, and one function a
// command. Slave addresses are 7-bit SMBus addresses; values hold a byte, or a word where the name says so.
// A command returns 0; -1 when it could not be carried; 255 for a non-zero completion code. The out-argument
// is untouched on failure.

#include <cstdint>

constexpr int IPMI_NO_DRIVER = 0;
constexpr int IPMI_MAKER_DRIVER = 1;
constexpr int IPMI_OPEN_DRIVER = 2;

extern int32_t hDevice;            // not 0: a BMC interface is open
extern int32_t ipmi_driver_option; // IPMI_..._DRIVER

extern int32_t bPepperconIPMI;
extern int32_t bOBWinbondIPMI;
extern int32_t bAOWinbondIPMI;
extern int32_t bOBWinbondATenIPMI;
extern int32_t bRenesasAMIIPMI;
extern int32_t bRenesasATenIPMI;
extern int32_t bAOWinbondATenIPMI;

// Looks for a BMC: 0 when a transport was opened, -1 otherwise. Called once, before any option is read.
int IpmiInit();

// True when a BMC is open whose kind owns the board's ISA monitor chip.
bool bmc_owns_isa_monitor();

int IpmiByteRead_ISA_30_2C(uint32_t bank, uint32_t reg, uint32_t *value);
int IpmiWordRead_ISA_30_2C(uint32_t bank, uint32_t reg, uint32_t *value);
int IpmiByteWrite_ISA_30_2C(uint32_t bank, uint32_t reg, uint32_t value);
int IpmiByteRead_oem_30_90(uint32_t slave, uint32_t bank, uint32_t reg, uint32_t *value);
int IpmiByteRead_oem_30_93(uint32_t index, uint32_t *value);
int IpmiByteRead_oem_30_95(uint32_t reg, uint32_t *value);
