#include "hw/pci.h"

#include "hw/machine_turn.h"
#include "hw/os.h"

uint32_t SMB_BASE_IO_ADDR;
uint8_t IntelDevice;

constexpr uint16_t CONFIG_ADDRESS = 0xCF8;
constexpr uint16_t CONFIG_DATA = 0xCFC;
constexpr uint32_t IO_SPACE_FLAG = 1; // bit 0 of a base register

uint32_t pci_config_dword(uint32_t address) {
    uint32_t dword = 0xFFFFFFFF;
    machine_turn whole; // from the address to the data
    if (os_outl(CONFIG_ADDRESS, address) == 0)
        os_inl(CONFIG_DATA, &dword);
    return dword;
}

static uint32_t config_address(uint32_t bus, uint32_t device, uint32_t function, uint32_t reg) {
    return PCI_ENABLE | bus << 16 | device << 11 | function << 8 | reg;
}

uint32_t pci_config_read(uint32_t bus, uint32_t device, uint32_t function, uint32_t reg) {
    os_iopl(3);
    return pci_config_dword(config_address(bus, device, function, reg));
}

struct smbus_controller {
    uint16_t vendor;
    uint16_t device;
    uint8_t base_register;
    uint8_t intel;
};

// The oldest Intel controllers (0x2413, 0x2423, 0x2443), whose drivers are known, are missing here on
// purpose.
static const smbus_controller controllers[] = {
    {0x8086, 0x2483, 0x20, 1}, {0x8086, 0x24C3, 0x20, 1}, {0x8086, 0x24D3, 0x20, 1},
    {0x8086, 0x25A4, 0x20, 1}, {0x8086, 0x266A, 0x20, 1}, {0x8086, 0x269B, 0x20, 1},
    {0x8086, 0x27DA, 0x20, 1}, {0x8086, 0x283E, 0x20, 1}, {0x8086, 0x2930, 0x20, 1},
    {0x8086, 0x3A30, 0x20, 1}, {0x8086, 0x3B30, 0x20, 1}, {0x8086, 0x1C22, 0x20, 1},
    {0x8086, 0x1D22, 0x20, 1}, {0x8086, 0x1E22, 0x20, 1}, {0x1166, 0x0200, 0x90, 0},
    {0x1166, 0x0201, 0x90, 0}, {0x1166, 0x0203, 0x90, 0}, {0x1166, 0x0205, 0x90, 0},
    {0x1002, 0x4385, 0x90, 0}, {0x10DE, 0x0052, 0x24, 0}, {0x10DE, 0x0368, 0x24, 0},
    {0x1022, 0x746A, 0x10, 0},
};

// nullptr for an id (device << 16 | vendor) that is not listed.
static const smbus_controller *controller_of(uint32_t id) {
    for (const smbus_controller &controller : controllers)
        if (id == (static_cast<uint32_t>(controller.device) << 16 | controller.vendor))
            return &controller;
    return nullptr;
}

uint8_t scan_device(uint32_t *base) {
    constexpr uint32_t BUSES = 2;
    constexpr uint32_t DEVICES = 32;
    constexpr uint32_t FUNCTIONS = 8;
    os_iopl(3);
    for (uint32_t slot = 0; slot < BUSES * DEVICES * FUNCTIONS; slot++) {
        uint32_t address =
            config_address(slot / (DEVICES * FUNCTIONS), slot / FUNCTIONS % DEVICES, slot % FUNCTIONS, 0);
        const smbus_controller *found = controller_of(pci_config_dword(address));
        if (found == nullptr)
            continue;
        *base = pci_config_dword(address | found->base_register) & ~IO_SPACE_FLAG;
        return found->intel;
    }
    return 0;
}
