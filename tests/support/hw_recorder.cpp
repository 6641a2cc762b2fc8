#include "support/hw_recorder.h"

#include <cstdarg>
#include <cstdio>
#include <deque>
#include <gtest/gtest.h>
#include <map>
#include <set>

#include "hw/gpio.h"
#include "hw/ipmi.h"
#include "hw/isa.h"
#include "hw/pci.h"
#include "hw/smbus.h"
#include "support/os_test.h"

int32_t hDevice;
int32_t ipmi_driver_option;
int32_t bPepperconIPMI;
int32_t bOBWinbondIPMI;
int32_t bAOWinbondIPMI;
int32_t bOBWinbondATenIPMI;
int32_t bRenesasAMIIPMI;
int32_t bRenesasATenIPMI;
int32_t bAOWinbondATenIPMI;
uint32_t SMB_BASE_IO_ADDR;
uint8_t IntelDevice;

namespace hw_recorder {

static std::string log_text;
static std::map<std::string, uint32_t> answers;
static std::map<std::string, std::deque<uint32_t>> single_answers;
static std::set<std::string> failing_writes;

void reset() {
    log_text.clear();
    answers.clear();
    single_answers.clear();
    failing_writes.clear();
    hDevice = 0;
    ipmi_driver_option = 0;
    bPepperconIPMI = bOBWinbondIPMI = bAOWinbondIPMI = bOBWinbondATenIPMI = 0;
    bRenesasAMIIPMI = bRenesasATenIPMI = bAOWinbondATenIPMI = 0;
    SMB_BASE_IO_ADDR = SMBUS_BASE;
    IntelDevice = 0;
}

void answer(const std::string &line, uint32_t value) { answers[line] = value; }

void answer_once(const std::string &line, uint32_t value) { single_answers[line].push_back(value); }

void fail(const std::string &line) {
    answers.erase(line);
    single_answers.erase(line);
    failing_writes.insert(line);
}

std::string take_log() {
    std::string taken = log_text;
    log_text.clear();
    return taken;
}

static std::string logged(const char *format, va_list arguments) {
    test_door::note_access();
    char line[200];
    vsnprintf(line, sizeof line, format, arguments);
    log_text += line;
    log_text += '\n';
    return line;
}

[[gnu::format(printf, 2, 3)]] static int read_call(uint32_t *value, const char *format, ...) {
    va_list arguments;
    va_start(arguments, format);
    std::string line = logged(format, arguments);
    va_end(arguments);
    auto single = single_answers.find(line);
    if (single != single_answers.end() && !single->second.empty()) {
        *value = single->second.front();
        single->second.pop_front();
        return 0;
    }
    auto found = answers.find(line);
    if (found == answers.end())
        return -1;
    *value = found->second;
    return 0;
}

[[gnu::format(printf, 1, 2)]] static int write_call(const char *format, ...) {
    va_list arguments;
    va_start(arguments, format);
    std::string line = logged(format, arguments);
    va_end(arguments);
    return failing_writes.count(line) != 0 ? -1 : 0;
}

static void check_ports(uint32_t index, uint32_t data) {
    EXPECT_EQ(index, INDEX_PORT);
    EXPECT_EQ(data, DATA_PORT);
}

static void check_base(uint32_t base) { EXPECT_EQ(base, SMBUS_BASE); }

} // namespace hw_recorder

using namespace hw_recorder;

int isa_byte_data_read(uint32_t index, uint32_t data, uint32_t bank, uint32_t reg, uint32_t *value) {
    check_ports(index, data);
    return read_call(value, "isa_read %x %x", bank, reg);
}

int isa_word_data_read_NCT6776F_fan(uint32_t index, uint32_t data, uint32_t bank, uint32_t reg,
                                    uint32_t *value) {
    check_ports(index, data);
    return read_call(value, "isa_fan %x %x", bank, reg);
}

int isa_byte_data_write(uint32_t index, uint32_t data, uint32_t bank, uint32_t reg, uint32_t value) {
    check_ports(index, data);
    return write_call("isa_write %x %x %x", bank, reg, value);
}

int smbus_byte_data_read(uint32_t chip, uint32_t bus, uint32_t base, uint32_t slave, uint32_t reg,
                         uint32_t *value) {
    check_base(base);
    return read_call(value, "smbus_read %u %x %x %x", chip, bus, slave, reg);
}

int smbus_byte_data_write(uint32_t bus, uint32_t base, uint32_t slave, uint32_t reg, uint32_t value) {
    check_base(base);
    return write_call("smbus_write %x %x %x %x", bus, slave, reg, value);
}

int smbus_word_data_read_HL(uint32_t bus, uint32_t base, uint32_t slave, uint32_t reg, uint32_t *value) {
    check_base(base);
    return read_call(value, "smbus_word %x %x %x", bus, slave, reg);
}

int smbus_byte_data_read_GPU(uint32_t bus, uint32_t base, uint32_t slave, uint32_t reg, uint32_t *value) {
    check_base(base);
    return read_call(value, "gpu %x %x %x", bus, slave, reg);
}

int ReadSuperGPIO(uint32_t chip, uint32_t device, uint32_t reg, uint32_t *value) {
    return read_call(value, "super_gpio %u %x %x", chip, device, reg);
}

int ReadSBGPIO(uint32_t chip, uint32_t ignored, uint32_t reg, uint32_t *value) {
    return read_call(value, "sb_gpio %u %x %x", chip, ignored, reg);
}

int IpmiByteRead_oem_30_90(uint32_t slave, uint32_t bank, uint32_t reg, uint32_t *value) {
    return read_call(value, "bmc_30_90 %x %x %x", slave, bank, reg);
}

int IpmiByteWrite_oem_30_91(uint32_t slave, uint32_t bank, uint32_t reg, uint32_t value) {
    return write_call("bmc_30_91 %x %x %x %x", slave, bank, reg, value);
}

int IpmiByteRead_oem_30_93(uint32_t index, uint32_t *value) {
    return read_call(value, "bmc_30_93 %x", index);
}

int IpmiByteRead_oem_30_95(uint32_t reg, uint32_t *value) { return read_call(value, "bmc_30_95 %x", reg); }

bool bmc_owns_isa_monitor() {
    return hDevice != 0 && (bOBWinbondIPMI != 0 || bAOWinbondIPMI != 0 || bOBWinbondATenIPMI != 0 ||
                            bRenesasAMIIPMI != 0 || bRenesasATenIPMI != 0 || bAOWinbondATenIPMI != 0);
}

uint8_t scan_device(uint32_t *) { return 0; }
