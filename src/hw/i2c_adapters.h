#pragma once
// Finding the board's SMBus adapters and loading their kernel drivers. The lists are filled once, at
// start-up. The list of buses grows; what exceeds the capacity of another one is dropped.

#include <cstddef>
#include <cstdint>
#include <vector>

struct i2c_bus {       // a slot that was counted but not filled stays empty and matches nothing
    char number[16];   // as in i2c-N
    char type[32];     // "smbus", "unknown", ...
    char adapter[121]; // the adapter's name
    char algorithm[100];
};

extern std::vector<i2c_bus> i2c_bus_list; // at least as long as the count
extern int counter_i2c_bus_list;

// Returns 0 when the bus list could be built, -1 otherwise. Called once, at start-up, when items need the
// SMBus and no BMC carries it.
int i2cdetect();

// Its steps, each 0 or -1, for the tests; print_i2c_busses returns the number of buses counted.
int init_conf();
int init_proc_pci();
int init_modules_list();
int adapter_pci_detection();
int init_i2c_bus_list();
int print_i2c_busses(int fill);

// Diagnostic dumps that print nothing and return 0.
int dump_modules_list();
int dump_driver_list();
int dump_i2c_bus_list();
