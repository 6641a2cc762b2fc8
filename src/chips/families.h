#pragma once
// The families of chips, one file each, for chips.cpp and the tests.

#include "chips/chip.h"

extern const chip_family plain_chips;
extern const chip_family winbond_chips;
extern const chip_family w83793g_chips;
extern const chip_family w83795adg_chips;
extern const chip_family nct6776f_chips;
extern const chip_family nct7904d_chips;
extern const chip_family it8720f_chips;
extern const chip_family ns87427_chips;
extern const chip_family adm1026_chips;
extern const chip_family switch_chips;
extern const chip_family bmc_only_chips;
