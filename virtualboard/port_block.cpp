#include "port_block.h"

static cell *find_register(port_block *block, uint16_t port) {
    if (port < block->base || port > block->base + 0xFF)
        return nullptr;
    auto found = block->registers.find(static_cast<uint8_t>(port - block->base));
    return found == block->registers.end() ? nullptr : &found->second;
}

port_answer block_inb(port_block *block, uint16_t port, double now_s, uint8_t *value) {
    cell *found = find_register(block, port);
    if (found == nullptr)
        return NOT_MINE;
    return read_cell(found, now_s, value) == 0 ? ANSWERED : FAILED;
}

port_answer block_outb(port_block *block, uint16_t port, uint8_t value) {
    cell *found = find_register(block, port);
    if (found == nullptr)
        return NOT_MINE;
    return write_cell(found, value) == 0 ? ANSWERED : FAILED;
}
