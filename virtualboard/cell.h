#pragma once
// One register of a virtual board: a constant, a list of successive values, or a motion over the board's
// time. What is written or cleared stays until the register moves on by itself; a read-only one takes no
// writes.

#include <cstddef>
#include <cstdint>
#include <map>
#include <vector>

struct cell_step {
    double at_s; // seconds since the board was switched on
    uint8_t value;
};

// Bits of another register that are cleared by writing a one into some bits of this one, as a latch is.
struct cell_latch {
    uint8_t written_bits = 0; // 0: none
    int bank = 0;
    uint8_t reg = 0;
    uint8_t cleared_bits = 0;
};

struct cell {
    uint8_t value = 0;               // what it holds at present
    std::vector<uint8_t> successive; // one a read; the last one stays
    std::vector<cell_step> steps;    // in order of time
    size_t next = 0;                 // the value or the step that comes next
    double swing_low = 0;            // a swing from low to high and back within a period
    double swing_high = 0;
    double period_s = 0;        // 0: no swing
    int swung_to = -1;          // the swing's own value at the last access; -1: none yet
    uint8_t clears_on_read = 0; // bits that a read clears
    bool read_only = false;
    bool fails = false; // every access fails
    cell_latch latch;
};

using register_map = std::map<uint8_t, cell>;

// -1 for a cell that fails; `*value` is then untouched.
int read_cell(cell *c, double now_s, uint8_t *value);
int write_cell(cell *c, double now_s, uint8_t value);

// Clears bits from outside, as a latch is cleared.
void clear_in_cell(cell *c, double now_s, uint8_t bits);
