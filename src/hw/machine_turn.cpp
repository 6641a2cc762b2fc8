#include "hw/machine_turn.h"

#include <cstdarg>
#include <cstdio>
#include <string>
#include <utility>

#include "hw/os.h"

static int depth;
static std::string unwritten; // messages that could not be written without waiting, oldest first

static void end_outermost_turn() {
    os_end_turn();
    std::string text = std::exchange(unwritten, {});
    if (!text.empty())
        fputs(text.c_str(), stderr);
}

machine_turn::machine_turn() {
    if (depth++ == 0)
        os_begin_turn();
}

machine_turn::~machine_turn() {
    if (--depth == 0)
        end_outermost_turn();
}

void end_all_turns() {
    if (std::exchange(depth, 0) > 0)
        end_outermost_turn();
}

// Whether it can be written now: whoever has no turn may wait, and messages keep their order.
static bool can_be_written() { return depth == 0 || (unwritten.empty() && os_is_writable(stderr)); }

void complain(const char *format, ...) {
    constexpr size_t LONGEST = 512; // the longest is some 60 characters
    char text[LONGEST];
    va_list arguments;
    va_start(arguments, format);
    vsnprintf(text, sizeof text, format, arguments);
    va_end(arguments);
    if (can_be_written())
        fputs(text, stderr);
    else
        unwritten += text;
}
