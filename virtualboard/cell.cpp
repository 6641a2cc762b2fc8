#include "cell.h"

#include <cmath>

// From 0 to 1 and back within one period.
static double triangle(double phase) {
    double place = phase - std::floor(phase);
    return place < 0.5 ? 2 * place : 2 - 2 * place;
}

static void swing(cell *c, double now_s) {
    double low = c->swing_low;
    double high = c->swing_high;
    int own = static_cast<int>(std::lround(low + (high - low) * triangle(now_s / c->period_s)));
    if (own != c->swung_to)
        c->value = static_cast<uint8_t>(own);
    c->swung_to = own;
}

// What the board's time did to the register since the last access.
static void catch_up(cell *c, double now_s) {
    if (c->period_s > 0)
        swing(c, now_s);
    for (; c->next < c->steps.size() && c->steps[c->next].at_s <= now_s; c->next++)
        c->value = c->steps[c->next].value;
}

int read_cell(cell *c, double now_s, uint8_t *value) {
    if (c->fails)
        return -1;
    catch_up(c, now_s);
    if (c->next < c->successive.size())
        c->value = c->successive[c->next++];
    *value = c->value;
    c->value = static_cast<uint8_t>(c->value & ~c->clears_on_read);
    return 0;
}

int write_cell(cell *c, double now_s, uint8_t value) {
    if (c->fails)
        return -1;
    catch_up(c, now_s);
    if (!c->read_only)
        c->value = value;
    return 0;
}

void clear_in_cell(cell *c, double now_s, uint8_t bits) {
    catch_up(c, now_s);
    c->value = static_cast<uint8_t>(c->value & ~bits);
}
