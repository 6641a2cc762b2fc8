#pragma once
// Which I/O ports the kernel has granted to this process. Both doors keep it beside their permission calls
// and ask it before each access, so that a refused port is a failed access and never a fault in an in/out.

#include <cstdint>

void note_port_level(int level); // what iopl granted: level 3 is every port
void note_port_range(uint16_t first, unsigned count, bool on);
bool ports_granted(uint16_t first, unsigned count);
