#include "pci_functions.h"

constexpr uint16_t CONFIG_ADDRESS = 0xCF8;
constexpr uint16_t CONFIG_DATA = 0xCFC;

static uint32_t dword_at(const pci_space *space) {
    for (const pci_function &function : space->functions) {
        uint32_t address = 0x80000000 | function.bus << 16 | function.device << 11 | function.function << 8;
        if ((space->address & 0xFFFFFF00) != address)
            continue;
        auto found = function.registers.find(static_cast<uint8_t>(space->address & 0xFC));
        return found == function.registers.end() ? 0 : found->second;
    }
    return 0xFFFFFFFF;
}

port_answer pci_inl(pci_space *space, uint16_t port, uint32_t *value) {
    if (!space->present || port != CONFIG_DATA)
        return NOT_MINE;
    *value = dword_at(space);
    return ANSWERED;
}

port_answer pci_outl(pci_space *space, uint16_t port, uint32_t value) {
    if (!space->present || port != CONFIG_ADDRESS)
        return NOT_MINE;
    space->address = value;
    return ANSWERED;
}
