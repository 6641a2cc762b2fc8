#include "hw/superio.h"

#include "hw/machine_turn.h"
#include "hw/os.h"

constexpr uint16_t CONFIG_INDEX = 0x2E;
constexpr uint16_t CONFIG_DATA = 0x2F;
constexpr uint8_t LOGICAL_DEVICE = 0x07;
constexpr uint8_t ENTRY_KEY = 0x87; // written twice
constexpr uint8_t EXIT_KEY = 0xAA;

int superio_grant_ports() {
    int index = os_ioperm(CONFIG_INDEX, 1, true);
    int data = os_ioperm(CONFIG_DATA, 1, true);
    return index != 0 || data != 0 ? -1 : 0;
}

int superio_enter() {
    for (int times = 0; times < 2; times++)
        if (os_outb(CONFIG_INDEX, ENTRY_KEY) != 0)
            return -1;
    return 0;
}

int superio_select(uint8_t logical_device) { return superio_write(LOGICAL_DEVICE, logical_device); }

int superio_choose(uint8_t reg) { return os_outb(CONFIG_INDEX, reg); }

int superio_read(uint8_t reg, uint8_t *value) {
    if (superio_choose(reg) != 0)
        return -1;
    return os_inb(CONFIG_DATA, value);
}

int superio_write(uint8_t reg, uint8_t value) {
    if (superio_choose(reg) != 0)
        return -1;
    return os_outb(CONFIG_DATA, value);
}

int superio_leave() { return os_outb(CONFIG_INDEX, EXIT_KEY); }

int superio_read_device(uint8_t logical_device, uint8_t reg, uint8_t *value) {
    machine_turn whole;
    if (superio_enter() != 0)
        return -1;
    int status = superio_select(logical_device);
    if (status == 0)
        status = superio_read(reg, value);
    superio_leave();
    return status;
}
