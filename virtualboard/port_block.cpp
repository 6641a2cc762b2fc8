#include "port_block.h"

static bool is_mine(const port_block *block, uint16_t port) {
    return port >= block->base && port <= block->base + 0xFF;
}

static uint8_t offset_of(const port_block *block, uint16_t port) {
    return static_cast<uint8_t>(port - block->base);
}

static port_answer none_is_not_mine(port_answer answer) { return answer == NO_REGISTER ? NOT_MINE : answer; }

port_answer block_inb(port_block *block, uint16_t port, double now_s, uint8_t *value) {
    if (!is_mine(block, port))
        return NOT_MINE;
    return none_is_not_mine(chip_read(&block->chip, offset_of(block, port), now_s, value));
}

port_answer block_outb(port_block *block, uint16_t port, double now_s, uint8_t value) {
    if (!is_mine(block, port))
        return NOT_MINE;
    return none_is_not_mine(chip_write(&block->chip, offset_of(block, port), now_s, value));
}

port_answer block_inl(port_block *block, uint16_t port, double now_s, uint32_t *value) {
    uint32_t dword = 0;
    for (unsigned i = 0; i < 4; i++) {
        uint8_t byte = 0;
        port_answer answer = block_inb(block, static_cast<uint16_t>(port + i), now_s, &byte);
        if (answer != ANSWERED)
            return answer;
        dword |= static_cast<uint32_t>(byte) << (8 * i);
    }
    *value = dword;
    return ANSWERED;
}

port_answer block_outl(port_block *block, uint16_t port, double now_s, uint32_t value) {
    for (unsigned i = 0; i < 4; i++) {
        port_answer answer =
            block_outb(block, static_cast<uint16_t>(port + i), now_s, static_cast<uint8_t>(value >> (8 * i)));
        if (answer != ANSWERED)
            return answer;
    }
    return ANSWERED;
}
