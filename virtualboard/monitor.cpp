#include "monitor.h"

port_answer monitor_inb(monitor_chip *monitor, uint16_t port, double now_s, uint8_t *value) {
    if (port == monitor->index_port) {
        *value = monitor->index;
        return ANSWERED;
    }
    return port == monitor->data_port ? chip_read(&monitor->chip, monitor->index, now_s, value) : NOT_MINE;
}

port_answer monitor_outb(monitor_chip *monitor, uint16_t port, double now_s, uint8_t value) {
    if (port == monitor->index_port) {
        monitor->index = value;
        return ANSWERED;
    }
    return port == monitor->data_port ? chip_write(&monitor->chip, monitor->index, now_s, value) : NOT_MINE;
}
