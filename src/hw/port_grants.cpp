#include "hw/port_grants.h"

#include <bitset>

static constexpr unsigned PORT_COUNT = 0x10000;

static bool all_ports;
static std::bitset<PORT_COUNT> single_ports;

bool is_port(uint32_t base, uint32_t offset) { return base < PORT_COUNT && offset < PORT_COUNT - base; }

void note_port_level(int level) { all_ports = level == 3; }

void note_port_range(uint16_t first, unsigned count, bool on) {
    for (unsigned port = first; port < first + count && port < PORT_COUNT; port++)
        single_ports[port] = on;
}

bool ports_granted(uint16_t first, unsigned count) {
    if (all_ports)
        return true;
    for (unsigned port = first; port < first + count; port++)
        if (port >= PORT_COUNT || !single_ports[port])
            return false;
    return true;
}
