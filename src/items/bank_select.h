#pragma once
// The guard of the chips' bank-select registers: it selects the bank of an item's register again when
// another program has moved it.

#include <cstdint>

#include "config/settings.h"

// Not 0: the guard is on. It starts at 0 and nothing sets it; the guard is kept ready on purpose.
extern uint32_t bNeedCheckBankSelectRegister;

constexpr uint32_t KIND_READING = 0; // HIGH_LIMIT and LOW_LIMIT (limits.h) are the other kinds
constexpr uint32_t MODE_AFTER_READ = 0;
constexpr uint32_t MODE_BEFORE_READ = 1; // the mode makes no difference

constexpr int GUARDED_PASSES = 3; // reads at most while the register keeps being moved

bool hasBankSelectRegister(const item_record *item);
bool useOtherBankSelection(const item_record *item); // true: corrections are not logged

// The bank of `reg`, 0xFFFFFFFF for a chip without banks.
uint32_t whichBankSelection(uint32_t kind, const item_record *item, uint32_t reg);

// 1 when the bank-select register was rewritten, otherwise 0.
int correctBankSelectRegister(uint32_t kind, uint32_t mode, const system_settings *system,
                              const item_record *item, uint32_t reg);
