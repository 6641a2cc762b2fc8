#pragma once
// Which I/O ports the kernel has granted to this process. Both doors keep it beside their permission calls
// and ask it before each access, so that a refused port is a failed access and never a fault in an in/out.

#include <cstdint>

// Whether base + offset is a port at all: a sum beyond 0xFFFF, cut to 16 bits, would be somebody else's.
bool is_port(uint32_t base, uint32_t offset);

void note_port_level(int level); // what iopl granted: level 3 is every port
void note_port_range(uint16_t first, unsigned count, bool on);
bool ports_granted(uint16_t first, unsigned count);
