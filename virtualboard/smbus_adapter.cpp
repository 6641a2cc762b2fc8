#include "smbus_adapter.h"

#include <cerrno>
#include <linux/i2c-dev.h>
#include <linux/i2c.h>

#include "trace.h"

static int fail_with(int error) {
    errno = error;
    return -1;
}

static smbus_slave *find_slave(smbus_adapter *adapter, uint8_t address) {
    for (smbus_slave &slave : adapter->slaves)
        if (slave.address == address)
            return &slave;
    return nullptr;
}

static int take_slave(smbus_adapter *adapter, bool force, void *argument) {
    auto address = static_cast<uint8_t>(reinterpret_cast<uintptr_t>(argument));
    smbus_slave *slave = find_slave(adapter, address);
    bool refused = !force && slave != nullptr && slave->held;
    trace("i2c-%d %s %02x%s", adapter->number, force ? "force" : "slave", address, refused ? " failed" : "");
    if (refused)
        return fail_with(EBUSY);
    adapter->taken = address;
    return 0;
}

static port_answer transfer(smbus_slave *slave, const i2c_smbus_ioctl_data *transfer, double now_s) {
    if (transfer->read_write == I2C_SMBUS_READ)
        return chip_read(&slave->chip, transfer->command, now_s, &transfer->data->byte);
    return chip_write(&slave->chip, transfer->command, now_s, transfer->data->byte);
}

static int transfer_byte(smbus_adapter *adapter, const i2c_smbus_ioctl_data *arguments, double now_s,
                         bool *known) {
    if (arguments->size != I2C_SMBUS_BYTE_DATA)
        return fail_with(EOPNOTSUPP);
    smbus_slave *slave = find_slave(adapter, adapter->taken);
    *known = slave != nullptr;
    port_answer answer = NOT_MINE;
    if (slave != nullptr && !slave->silent && !adapter->fails)
        answer = transfer(slave, arguments, now_s);
    if (answer == NO_REGISTER)
        *known = false;
    const char *direction = arguments->read_write == I2C_SMBUS_READ ? "read" : "write";
    if (answer != ANSWERED) {
        trace("i2c-%d %s %02x %02x failed", adapter->number, direction, adapter->taken, arguments->command);
        return fail_with(ENXIO);
    }
    trace("i2c-%d %s %02x %02x %02x", adapter->number, direction, adapter->taken, arguments->command,
          arguments->data->byte);
    return 0;
}

int smbus_ioctl(smbus_adapter *adapter, unsigned long request, void *argument, double now_s, bool *known) {
    switch (request) {
    case I2C_SLAVE:
        return take_slave(adapter, false, argument);
    case I2C_SLAVE_FORCE:
        return take_slave(adapter, true, argument);
    case I2C_SMBUS:
        return transfer_byte(adapter, static_cast<const i2c_smbus_ioctl_data *>(argument), now_s, known);
    default:
        return fail_with(ENOTTY);
    }
}

port_answer smbus_outb(smbus_adapter *adapter, uint16_t port, uint8_t) {
    return adapter->base != 0 && port == adapter->base ? ANSWERED : NOT_MINE;
}
