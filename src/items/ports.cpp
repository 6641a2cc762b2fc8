#include "items/ports.h"

#include <cstdio>

#include "hw/os.h"
#include "hw/pci.h"
#include "hw/port_grants.h"

static int set_port_level(int level) {
    if (os_iopl(level) == 0)
        return 0;
    fprintf(stderr, "Error: Could not iopl()!\n");
    return -1;
}

// A number that is not a port counts as a refused port.
static int set_port(uint32_t port, bool on) {
    return is_port(port, 0) ? os_ioperm(static_cast<uint16_t>(port), 1, on) : -1;
}

// A refused index register is remembered in `status`; a refused data register ends the call with -1.
static int set_superio_ports(const system_settings *system, bool on, int status) {
    if (set_port(system->IndexReg, on) != 0) {
        fprintf(stderr, "Error: Could not ioperm() Index Register!\n");
        status = -1;
    }
    if (set_port(system->DataReg, on) != 0) {
        fprintf(stderr, "Error: Could not ioperm() Data Register!\n");
        return -1;
    }
    return status;
}

int io_open(const system_settings *system) {
    if ((system->BusType & BUS_SMBUS_ANY) != 0) {
        SMB_BASE_IO_ADDR = 0;
        IntelDevice = scan_device(&SMB_BASE_IO_ADDR);
        if (SMB_BASE_IO_ADDR == 0)
            return -1;
    }
    int status = set_port_level(3);
    if ((system->BusType & BUS_SUPERIO) == 0)
        return status;
    return set_superio_ports(system, true, status);
}

int io_close(const system_settings *system) {
    int status = set_port_level(0);
    if ((system->BusType & BUS_SUPERIO) == 0)
        return status;
    return set_superio_ports(system, false, status);
}
