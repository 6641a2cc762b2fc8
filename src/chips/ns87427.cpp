// NS87427 (code 8), a Super I/O whose monitor is in I/O space: registers are ports, counted from a base that
// the configuration names as the register, and the "slave" is the bank.
#include <iterator>

#include "chips/families.h"
#include "chips/ns87427.h"
#include "hw/machine_turn.h"
#include "hw/os.h"
#include "hw/port_grants.h"

constexpr uint16_t SWITCHES = 0x0C;
constexpr uint16_t BANK_SELECT = 0x0F; // bits 0 to 4; the others are kept
constexpr uint8_t BANK_KEPT_BITS = 0xE0;
constexpr uint16_t FAN_COUNT = 0x12; // its low byte; the high one follows
constexpr uint16_t FAN_LIMIT = 0x14;

static int read_word(const raw_source &from, uint16_t low_at, uint32_t *raw) {
    if (!is_port(from.reg, low_at + 1u))
        return -1;
    uint16_t base = static_cast<uint16_t>(from.reg);
    uint8_t bank = static_cast<uint8_t>(from.slave);
    uint8_t kept;
    uint8_t low;
    uint8_t high;
    machine_turn whole;
    if (os_inb(base + BANK_SELECT, &kept) != 0 ||
        os_outb(base + BANK_SELECT, (kept & BANK_KEPT_BITS) | bank) != 0)
        return -1;
    if (os_inb(base + low_at, &low) != 0 || os_inb(base + low_at + 1, &high) != 0)
        return -1;
    *raw = high * 256u + low;
    return 0;
}

static int read_fan(const raw_source &from, uint32_t *raw) { return read_word(from, FAN_COUNT, raw); }

// One would expect a limit; the ports are read and the limit stays unreadable all the same, on purpose.
static int read_fan_limit(const raw_source &from, uint32_t *) {
    uint32_t ignored;
    read_word(from, FAN_LIMIT, &ignored);
    return -1;
}

// One would expect a reading; the port is read and the reading fails all the same, on purpose.
static int read_switch(const raw_source &from, uint32_t *) {
    uint8_t ignored;
    if (is_port(from.reg, SWITCHES))
        os_inb(static_cast<uint16_t>(from.reg + SWITCHES), &ignored);
    return -1;
}

int NS87427_Intru_IO_Clear(uint8_t mask, uint32_t base) {
    if (!is_port(base, SWITCHES))
        return -1;
    uint16_t port = static_cast<uint16_t>(base + SWITCHES);
    uint8_t value;
    machine_turn whole;
    if (os_inb(port, &value) != 0)
        return -1;
    return os_outb(port, value | mask);
}

void reread_ns87427(const item_record *item) {
    if (!is_port(item->Offset, BANK_SELECT))
        return;
    uint8_t ignored;
    machine_turn whole;
    os_outb(static_cast<uint16_t>(item->Offset + BANK_SELECT), static_cast<uint8_t>(item->Slave));
    os_inb(static_cast<uint16_t>(item->Offset + SWITCHES), &ignored);
}

static int clear(const system_settings *, item_record *, const parameter_record *record) {
    return NS87427_Intru_IO_Clear(static_cast<uint8_t>(record->BitMask), record->Offset);
}

static constexpr chip rows[] = {
    {.code = CHIP_NS87427,
     .fan = {.numerator = 5400000,
             .valid_below = 65532,
             .uses_divisor = false,
             .top_count = 256,
             .bottom_count = 65280},
     // It has a bank-select register, but no bank field that could be corrected.
     .bank = {.has_register = true, .banked = NONE_BANKED, .logged = false},
     .read_fan = read_fan,
     .read_switch = read_switch,
     .limit_fan = read_fan_limit,
     .clear = clear},
};

const chip_family ns87427_chips = {rows, std::size(rows)};
