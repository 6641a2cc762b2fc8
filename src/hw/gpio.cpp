#include "hw/gpio.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <initializer_list>

#include "hw/chip_codes.h"
#include "hw/machine_turn.h"
#include "hw/os.h"
#include "hw/pci.h"
#include "hw/port_grants.h"
#include "hw/superio.h"

// ---- Super I/O

// High and low byte of the I/O base of chip code 5, read once; 0, 0: not read yet.
static uint32_t ChipCode5BaseAddr[2];

// Without the entry sequence, on purpose: the chip's configuration is always open.
static int find_chip_5_base(uint32_t logical_device) {
    uint8_t high;
    uint8_t low;
    machine_turn whole;
    if (superio_select(static_cast<uint8_t>(logical_device)) != 0)
        return -1;
    if (superio_read(0x60, &high) != 0 || superio_read(0x61, &low) != 0)
        return -1;
    ChipCode5BaseAddr[0] = high;
    ChipCode5BaseAddr[1] = low;
    return 0;
}

static int read_at_chip_5_base(uint32_t logical_device, uint32_t reg, uint8_t *value) {
    if (ChipCode5BaseAddr[0] == 0 && ChipCode5BaseAddr[1] == 0 && find_chip_5_base(logical_device) != 0)
        return -1;
    uint32_t base = ChipCode5BaseAddr[0] * 256 + ChipCode5BaseAddr[1];
    if (!is_port(base, reg))
        return -1;
    return os_inb(static_cast<uint16_t>(base + reg), value);
}

static int unknown_chip(uint32_t chip_code) {
    fprintf(stderr, "Error: unknown ChipCode=%d(0x%X)\n", static_cast<int>(chip_code), chip_code);
    return -1;
}

int ReadSuperGPIO(uint32_t chip_code, uint32_t logical_device, uint32_t reg, uint32_t *value) {
    superio_grant_ports();
    uint8_t byte = 0;
    int status;
    if (chip_code == CHIP_GPIO_4)
        status = superio_read_device(static_cast<uint8_t>(logical_device), static_cast<uint8_t>(reg), &byte);
    else if (chip_code == CHIP_GPIO_5)
        status = read_at_chip_5_base(logical_device, reg, &byte);
    else
        return unknown_chip(chip_code);
    if (status == 0)
        *value = byte;
    return status;
}

// ---- South bridge

int ReadSBGPIO(uint32_t chip_code, uint32_t, uint32_t reg, uint32_t *value) {
    constexpr uint16_t INDEX = 0xCD6;
    constexpr uint16_t DATA = 0xCD7;
    os_iopl(3);
    if (chip_code != CHIP_GPIO_11)
        return unknown_chip(chip_code);
    uint8_t byte;
    machine_turn whole;
    if (os_outb(INDEX, static_cast<uint8_t>(reg)) != 0 || os_inb(DATA, &byte) != 0)
        return -1;
    *value = byte;
    return 0;
}

constexpr uint32_t INTEL = 0x8086;
constexpr uint32_t DEVICE_STEP = 0x800; // from function 0 of a device to that of the next
constexpr uint32_t MOST_DEVICES = 768;
constexpr uint32_t IO_SPACE_FLAG = 1;

// The GPIO base in `base_register` of the first south bridge with one of these device ids, or 0.
static uint32_t gpio_base(std::initializer_list<uint32_t> devices, uint32_t base_register) {
    os_iopl(3);
    for (uint32_t i = 0; i < MOST_DEVICES; i++) {
        uint32_t address = PCI_ENABLE + i * DEVICE_STEP;
        uint32_t id = pci_config_dword(address);
        for (uint32_t device : devices)
            if (id == (device << 16 | INTEL))
                return pci_config_dword(address | base_register) & ~IO_SPACE_FLAG;
    }
    return 0;
}

constexpr uint32_t LAST_OF_DWORD = 3;

// A port that is refused or does not exist reads as 0: the pin counts as low.
static uint32_t gpio_dword(uint32_t base, uint32_t offset) {
    uint32_t dword = 0;
    if (is_port(base, offset + LAST_OF_DWORD))
        os_inl(static_cast<uint16_t>(base + offset), &dword);
    return dword;
}

static bool bit_is_set(uint32_t base, uint32_t offset, unsigned bit) {
    return (gpio_dword(base, offset) >> bit & 1) != 0;
}

int CheckGPIO28Hi() {
    uint32_t base = gpio_base({0x2480, 0x24C0, 0x24D0}, 0x58);
    if (base == 0)
        return 0;
    bool is_input = bit_is_set(base, 4, 28);
    bool is_high = bit_is_set(base, 12, 28);
    return is_input && is_high ? 1 : 0;
}

static int check_second_bank(unsigned bit) {
    uint32_t base = gpio_base({0x27B8}, 0x48);
    return base != 0 && bit_is_set(base, 0x38, bit) ? 1 : 0;
}

int CheckGPIO38Hi() { return check_second_bank(38 - 32); }

int CheckGPIO39Hi() { return check_second_bank(39 - 32); }

uint32_t findGpioBaseAddress() { return gpio_base({0x27B8, 0x3B14}, 0x48); }

// ---- Physical memory

// The line numbers are part of the messages, whatever the lines are now; kept on purpose.
[[noreturn]] static void end_without_memory(int line) {
    int error = errno;
    fprintf(stderr, "Error at line %d, file %s (%d) [%s]\n", line, "gpio", error, strerror(error));
    exit(1);
}

uint8_t getMemByte(uint32_t address) {
    constexpr uint32_t PAGE = 4096;
    int fd = os_open("/dev/mem", O_RDWR);
    if (fd < 0)
        end_without_memory(272);
    void *page = os_map(fd, address - address % PAGE, PAGE);
    if (page == nullptr)
        end_without_memory(278);
    uint8_t byte = static_cast<const uint8_t *>(page)[address % PAGE];
    os_unmap(page, PAGE);
    os_close(fd);
    return byte;
}

// ---- BIOS self-test complete

static uint32_t level_register(int32_t number) {
    if (number >= 0 && number < 32)
        return 0x0C;
    if (number >= 32 && number < 64)
        return 0x38;
    if (number >= 64 && number < 96)
        return 0x48;
    return 0; // numbers without a register of their own
}

static uint32_t level_bit(int32_t number) { return 1u << (static_cast<uint32_t>(number) % 32); }

uint32_t getIpmiBiosPostCmplGpioState(uint32_t base, int32_t number) {
    os_iopl(3);
    return (gpio_dword(base, level_register(number)) & level_bit(number)) != 0 ? 1 : 0;
}

uint32_t setIpmiBiosPostCmplGpioState(uint32_t base, int32_t number, uint32_t level) {
    os_iopl(3);
    uint32_t dword;
    machine_turn whole;
    if (!is_port(base, level_register(number) + LAST_OF_DWORD))
        return 0;
    uint16_t port = static_cast<uint16_t>(base + level_register(number));
    if (os_inl(port, &dword) != 0)
        return 0; // what could not be read is not written
    dword &= ~level_bit(number);
    if (level != 0)
        dword |= level_bit(number);
    os_outl(port, dword);
    return gpio_dword(base, level_register(number));
}
