#pragma once
// Replaces the buses (isa, smbus, gpio, ipmi, pci): each call is logged and answered by the
// test, so that a reading's choice of route and order of calls can be tested whatever the routes themselves
// do.
//
// A call's line, numbers in hexadecimal, the chip code in decimal:
//   isa_read BANK REG        isa_fan BANK REG         isa_write BANK REG VALUE
//   smbus_read CHIP BUS SLAVE REG   smbus_write BUS SLAVE REG VALUE   smbus_word BUS SLAVE REG   gpu BUS
//   SLAVE REG super_gpio CHIP DEVICE REG      sb_gpio CHIP DEVICE REG bmc_30_90 SLAVE BANK REG bmc_30_93
//   INDEX                   bmc_30_95 REG
// A read is answered by the value that the test gave for its line; a line without an answer fails. Writes
// succeed unless they were made to fail. The index and data ports and the SMBus base are checked to be those
// of the board: INDEX_PORT, DATA_PORT and SMBUS_BASE.

#include <cstdint>
#include <string>

namespace hw_recorder {

constexpr uint32_t INDEX_PORT = 0x295;
constexpr uint32_t DATA_PORT = 0x296;
constexpr uint32_t SMBUS_BASE = 0x1100;

void reset(); // no answers, an empty log, no BMC
void answer(const std::string &line, uint32_t value);
void fail(const std::string &line);                        // takes an answer back, or makes a write fail
void answer_once(const std::string &line, uint32_t value); // the next such call only, before `answer`
std::string take_log();                                    // the calls since the last time, one per line

} // namespace hw_recorder
