#include "ui/tick.h"

#include <algorithm>

guint timer;
int (*tick)();

static gboolean on_timeout(gpointer) { return tick(); }

// Ticks give way to what the user does and to repainting: with a period of 0 they follow each other without a
// pause, and the window would never be drawn.
void start_timer(uint32_t period_s) {
    constexpr uint32_t LONGEST_S = G_MAXUINT / 1000;
    timer = gtk_timeout_add(std::min(period_s, LONGEST_S) * 1000, on_timeout, nullptr);
    g_source_set_priority(g_main_context_find_source_by_id(nullptr, timer), G_PRIORITY_DEFAULT_IDLE);
}

void restart_timer(uint32_t period_s) {
    if (timer == 0)
        return;
    gtk_timeout_remove(timer);
    start_timer(period_s);
}
