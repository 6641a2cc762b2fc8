#pragma once
// PCI configuration space behind the ports 0xCF8 and 0xCFC (mechanism 1). A function that the board does not
// have reads as all bits set, a register that its function does not name as 0.

#include <cstdint>
#include <map>
#include <vector>

#include "port_answer.h"

struct pci_function {
    uint32_t bus = 0;
    uint32_t device = 0;
    uint32_t function = 0;
    std::map<uint8_t, uint32_t> registers; // dwords by their offset
};

struct pci_space {
    bool present = false; // whether the ports are answered at all
    uint32_t address = 0; // what was written to 0xCF8 last
    std::vector<pci_function> functions;
};

port_answer pci_inl(pci_space *space, uint16_t port, uint32_t *value);
port_answer pci_outl(pci_space *space, uint16_t port, uint32_t value);
