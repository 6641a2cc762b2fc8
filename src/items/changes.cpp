#include "items/changes.h"

#include <cstdio>
#include <string>

#include "items/history.h"
#include "items/limits.h"

constexpr int32_t NORMAL = 1;
constexpr int32_t ABNORMAL = 0;

static int32_t fan_states[MAX_FANS];
static int32_t voltage_states[MAX_VOLTAGES];
static int32_t temperature_states[MAX_TEMPERATURES];
static int32_t switch_states[MAX_SWITCHES];
static bool first_run = true;

static const struct {
    int32_t *states;
    unsigned count;
} kinds[] = {
    // by item_category
    {fan_states, MAX_FANS},
    {voltage_states, MAX_VOLTAGES},
    {temperature_states, MAX_TEMPERATURES},
    {switch_states, MAX_SWITCHES},
};

static void set_all_normal() {
    for (const auto &kind : kinds)
        for (unsigned i = 0; i < kind.count; i++)
            kind.states[i] = NORMAL;
}

void time_line(time_t now, char line[TIME_LINE_SIZE]) {
    const char *clock = ctime(&now); // nullptr for a year that has no name
    snprintf(line, TIME_LINE_SIZE, "at %s", clock != nullptr ? clock : "an unknown time\n");
}

// True when the state differs from the one before, which it replaces.
static bool note_state(const item_display *display, int32_t *previous) {
    bool reported = display->monitor == 1;
    int32_t state = !reported || isNormalReading(display) == 1 ? NORMAL : ABNORMAL;
    bool changed = reported && state != *previous;
    *previous = state;
    return changed;
}

change_result note_changes(const item_display *displays, int32_t count, time_t now, std::string *text,
                           uint32_t *category) {
    if (first_run)
        set_all_normal();
    first_run = false;
    std::string list;
    unsigned seen[4] = {};
    for (int32_t i = 0; i < count; i++) {
        const item_display *display = &displays[i];
        if (display->cat > CAT_SWITCH)
            continue;
        unsigned ordinal = seen[display->cat]++;
        if (ordinal >= kinds[display->cat].count) {
            *category = display->cat;
            return TOO_MANY_ITEMS;
        }
        int32_t *state = &kinds[display->cat].states[ordinal];
        if (note_state(display, state))
            list += display->name + std::string(*state == NORMAL ? " OK(Good)!\n" : " Failed(Bad)!\n");
    }
    if (list.empty())
        return NOTHING_CHANGED;
    char end[TIME_LINE_SIZE];
    time_line(now, end);
    *text = list + end;
    return STATES_CHANGED;
}
