#include "hw/smbus.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <linux/i2c-dev.h>
#include <linux/i2c.h>
#include <string>

#include "hw/chip_codes.h"
#include "hw/i2c_adapters.h"
#include "hw/ipmi.h"
#include "hw/machine_turn.h"
#include "hw/os.h"
#include "hw/pci.h"
#include "hw/port_grants.h"

constexpr int FAILED = -1;
constexpr uint32_t BUS_SMBUS = 1; // bits of a bus type
constexpr uint32_t BUS_HOST = 8;

// ---- Without a BMC: i2c-dev

constexpr int NOT_OPENED = -1;
static int open_state = NOT_OPENED; // 1 once a device is open
static int open_fd;

// The base that stands behind " at " in an adapter's name, 0 when there is none.
static uint32_t base_in_name(const char *adapter) {
    const char *at = strstr(adapter, " at ");
    return at == nullptr ? 0 : static_cast<uint32_t>(strtoul(at + strlen(" at "), nullptr, 16));
}

// The first bus at `base`, nullptr when there is none. A slot that was never filled has no " at ".
static const i2c_bus *bus_at(uint32_t base) {
    for (int i = 0; i < counter_i2c_bus_list; i++) {
        const i2c_bus *bus = &i2c_bus_list[i];
        uint32_t found = base_in_name(bus->adapter);
        if (found == 0 || found != base)
            continue;
        if (strcmp(bus->type, "smbus") == 0 || strcmp(bus->type, "unknown") == 0)
            return bus;
    }
    return nullptr;
}

int openI2CDevice(uint32_t base) {
    if (open_state != NOT_OPENED)
        return open_fd;
    const i2c_bus *bus = bus_at(base);
    if (bus != nullptr) {
        std::string path = std::string("/dev/i2c-") + bus->number;
        int fd = os_open(path.c_str(), O_RDWR);
        if (fd >= 0) {
            open_state = 1;
            open_fd = fd;
            return fd;
        }
    }
    end_all_turns(); // nothing was begun without a device
    fprintf(stderr, "Error: Cannot find a proper I2C/SMBus device!\n");
    exit(-1);
}

void clearSMBusLastTransaction(uint32_t base) {
    constexpr uint8_t IN_USE_AND_INTERRUPT = 0x42; // bits of the host status register that a one clears
    if (IntelDevice == 0 || !is_port(base, 0))
        return;
    os_iopl(3);
    os_outb(static_cast<uint16_t>(base), IN_USE_AND_INTERRUPT);
}

static int take_slave(int fd, unsigned long request, uint32_t slave) {
    if (os_ioctl(fd, request, reinterpret_cast<void *>(static_cast<uintptr_t>(slave))) >= 0)
        return 0;
    complain("Error: ioctl(), slave=0x%x\n", slave);
    return FAILED;
}

// With what the controller is told afterwards: another copy's transfer must not come in between.
static int transfer_byte(int fd, uint32_t base, uint8_t direction, uint32_t reg, uint8_t *byte) {
    i2c_smbus_data data = {};
    data.byte = *byte;
    i2c_smbus_ioctl_data arguments = {};
    arguments.read_write = direction;
    arguments.command = static_cast<uint8_t>(reg);
    arguments.size = I2C_SMBUS_BYTE_DATA;
    arguments.data = &data;
    machine_turn whole;
    int status = os_ioctl(fd, I2C_SMBUS, &arguments) == 0 ? 0 : FAILED;
    clearSMBusLastTransaction(base);
    if (status == 0)
        *byte = data.byte;
    return status;
}

static int read_byte(int fd, uint32_t base, uint32_t reg, uint32_t *value) {
    uint8_t byte = 0;
    int status = transfer_byte(fd, base, I2C_SMBUS_READ, reg, &byte);
    if (status == 0)
        *value = byte;
    return status;
}

static int bus_byte_read(uint32_t chip_code, uint32_t bus_type, uint32_t base, uint32_t slave, uint32_t reg,
                         uint32_t *value) {
    constexpr uint32_t SLOW_REGISTER = 0x44;
    constexpr unsigned SLOW_REGISTER_US = 550000;
    if (chip_code == CHIP_W83795ADG_29 || chip_code == CHIP_31) { // only a BMC reads these two
        *value = chip_code == CHIP_31 ? 1 : 0;
        return 0;
    }
    int fd = openI2CDevice(base);
    if (fd == -1 || take_slave(fd, I2C_SLAVE, slave) != 0)
        return FAILED;
    if (bus_type == BUS_HOST && reg == SLOW_REGISTER)
        os_usleep(SLOW_REGISTER_US);
    return read_byte(fd, base, reg, value);
}

// Writes and word reads force the slave, byte reads do not; the difference is kept on purpose.
static int bus_byte_write(uint32_t base, uint32_t slave, uint32_t reg, uint32_t value) {
    int fd = openI2CDevice(base);
    if (fd == -1 || take_slave(fd, I2C_SLAVE_FORCE, slave) != 0)
        return FAILED;
    uint8_t byte = static_cast<uint8_t>(value);
    transfer_byte(fd, base, I2C_SMBUS_WRITE, reg, &byte); // its result is not looked at, on purpose
    return 0;
}

static int bus_word_read(uint32_t base, uint32_t slave, uint32_t reg, uint32_t *value) {
    int fd = openI2CDevice(base);
    if (fd == -1 || take_slave(fd, I2C_SLAVE_FORCE, slave) != 0)
        return FAILED;
    uint32_t high = 0;
    uint32_t low = 0;
    if (read_byte(fd, base, reg, &high) != 0 || read_byte(fd, base, reg + 1, &low) != 0)
        return FAILED;
    *value = high * 256 + low;
    return 0;
}

// ---- With a BMC over OpenIPMI: by the bus type's bits, the BMC's kind and the slave

static bool in_bmc_slave_ranges(uint32_t slave) {
    return (slave >= 0x38 && slave <= 0x3F) || (slave >= 0x58 && slave <= 0x5B);
}

static bool is_onboard_winbond() { return bOBWinbondIPMI != 0 || bOBWinbondATenIPMI != 0; }

static int bmc_bus_read(uint32_t slave, uint32_t reg, uint32_t *value) {
    if (bPepperconIPMI != 0 && in_bmc_slave_ranges(slave))
        return IpmiByteRead_Peppercon_oem_30_22_05(slave, reg, value);
    if (is_onboard_winbond() && in_bmc_slave_ranges(slave))
        return IpmiByteRead_OBWinbond_id3_06_52_07(slave, reg, value);
    return IpmiByteRead2_06_52_05(slave, reg, value);
}

static int bmc_bus_write(uint32_t slave, uint32_t reg, uint32_t value) {
    if (bPepperconIPMI != 0 && in_bmc_slave_ranges(slave))
        return IpmiByteWrite_Peppercon_oem_30_22_05(slave, reg, value);
    if (is_onboard_winbond() && in_bmc_slave_ranges(slave))
        return IpmiByteWrite_OBWinbond_id3_06_52_07(slave, reg, value);
    return IpmiByteWrite2_06_52_05(slave, reg, value);
}

// Sensors that only the BMC reaches. Chip 29 sends two commands and the first one's outcome is dropped; kept
// on purpose.
static int bmc_sensor_read(uint32_t chip_code, uint32_t slave, uint32_t reg, uint32_t *value) {
    if (chip_code == CHIP_31)
        return IpmiByteRead_oem_30_92_PWSFailure(slave, reg, value);
    if (chip_code == CHIP_W83795ADG_29) {
        uint32_t dropped;
        IpmiByteRead_oem_30_92(slave, reg, &dropped);
    }
    return IpmiByteRead2_oem_30_0F(slave, reg, value);
}

static int bmc_byte_read(uint32_t chip_code, uint32_t bus_type, uint32_t slave, uint32_t reg,
                         uint32_t *value) {
    if ((bus_type & BUS_SMBUS) != 0)
        return bmc_bus_read(slave, reg, value);
    if ((bus_type & BUS_HOST) != 0)
        return bmc_sensor_read(chip_code, slave, reg, value);
    return FAILED;
}

using byte_reader = int (*)(uint32_t slave, uint32_t reg, uint32_t *value);

// Both bytes are asked for, even after the first failed.
static int two_bytes(byte_reader reader, uint32_t slave, uint32_t high_reg, uint32_t low_reg,
                     uint32_t *value) {
    uint32_t high = 0;
    uint32_t low = 0;
    int status = reader(slave, high_reg, &high);
    status |= reader(slave, low_reg, &low);
    if (status == 0)
        *value = high * 256 + low;
    return status;
}

static int bmc_word_read(uint32_t bus_type, uint32_t slave, uint32_t reg, uint32_t *value) {
    if ((bus_type & BUS_SMBUS) != 0)
        return two_bytes(bmc_bus_read, slave, reg, reg + 1, value);
    if ((bus_type & BUS_HOST) == 0)
        return FAILED;
    if (bPepperconIPMI != 0 || bOBWinbondIPMI != 0 || bAOWinbondIPMI != 0)
        return IpmiWordRead_oem_30_23(slave, reg, value);
    return two_bytes(IpmiByteRead2_06_52_05, slave, reg, reg + 1, value);
}

// ---- The choice

int smbus_byte_data_read(uint32_t chip_code, uint32_t bus_type, uint32_t base, uint32_t slave, uint32_t reg,
                         uint32_t *value) {
    if (hDevice == 0)
        return bus_byte_read(chip_code, bus_type, base, slave, reg, value);
    machine_turn whole; // not while another copy has the chip in another bank
    if (ipmi_driver_option == IPMI_MAKER_DRIVER)
        return IpmiRead(slave, reg, value);
    if (ipmi_driver_option == IPMI_OPEN_DRIVER)
        return bmc_byte_read(chip_code, bus_type, slave, reg, value);
    return FAILED;
}

int smbus_byte_data_write(uint32_t bus_type, uint32_t base, uint32_t slave, uint32_t reg, uint32_t value) {
    if (hDevice == 0)
        return bus_byte_write(base, slave, reg, value);
    machine_turn whole; // not while another copy has the chip in another bank
    if (ipmi_driver_option == IPMI_MAKER_DRIVER)
        return IpmiWrite(slave, reg, value);
    if (ipmi_driver_option == IPMI_OPEN_DRIVER && (bus_type & (BUS_SMBUS | BUS_HOST)) != 0)
        return bmc_bus_write(slave, reg, value);
    return FAILED;
}

int smbus_word_data_read_HL(uint32_t bus_type, uint32_t base, uint32_t slave, uint32_t reg, uint32_t *value) {
    if (hDevice == 0)
        return bus_word_read(base, slave, reg, value);
    machine_turn whole;                          // not while another copy has the chip in another bank
    if (ipmi_driver_option == IPMI_MAKER_DRIVER) // both halves from the same register, on purpose
        return two_bytes(IpmiRead, slave, reg, reg, value);
    if (ipmi_driver_option == IPMI_OPEN_DRIVER)
        return bmc_word_read(bus_type, slave, reg, value);
    return FAILED;
}

int smbus_byte_data_read_GPU(uint32_t bus_type, uint32_t base, uint32_t slave, uint32_t reg,
                             uint32_t *value) {
    if (hDevice == 0) { // the card is not read: its register 0 is "no sensor"
        if (openI2CDevice(base) == -1)
            return FAILED;
        *value = reg == 0 ? 127 : 0;
        return 0;
    }
    if (ipmi_driver_option == IPMI_OPEN_DRIVER && (bus_type & BUS_HOST) != 0)
        return IpmiByteRead2_oem_30_70(slave, reg, value);
    return FAILED;
}
