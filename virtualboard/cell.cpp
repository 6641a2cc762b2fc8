#include "cell.h"

#include <cmath>

// From 0 to 1 and back within one period.
static double triangle(double phase) {
    double place = phase - std::floor(phase);
    return place < 0.5 ? 2 * place : 2 - 2 * place;
}

static uint8_t value_at(cell *c, double now_s) {
    if (c->period_s > 0)
        return static_cast<uint8_t>(
            std::lround(c->swing_low + (c->swing_high - c->swing_low) * triangle(now_s / c->period_s)));
    if (!c->successive.empty()) {
        uint8_t value = c->successive[c->next];
        if (c->next + 1 < c->successive.size())
            c->next++;
        return value;
    }
    uint8_t value = c->value;
    for (const cell_step &step : c->steps)
        if (step.at_s <= now_s)
            value = step.value;
    return value;
}

int read_cell(cell *c, double now_s, uint8_t *value) {
    if (c->fails)
        return -1;
    *value = value_at(c, now_s);
    if (c->clears_on_read != 0)
        c->value = static_cast<uint8_t>(*value & ~c->clears_on_read);
    return 0;
}

int write_cell(cell *c, uint8_t value) {
    if (c->fails)
        return -1;
    if (!c->read_only)
        c->value = value;
    return 0;
}
