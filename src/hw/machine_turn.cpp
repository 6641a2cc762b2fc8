#include "hw/machine_turn.h"

#include <cstdarg>
#include <cstdio>
#include <string>
#include <utility>

#include "hw/os.h"

static int depth;
static std::string unwritten; // messages that could not be written without waiting, oldest first

// Tried once more before the turn ends, for a signal may end the program with it.
static void end_outermost_turn() {
    if (!unwritten.empty() && os_complain_at_once(unwritten.c_str()))
        unwritten.clear();
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

void complain(const char *format, ...) {
    constexpr size_t LONGEST = 512; // the longest is some 60 characters
    char text[LONGEST];
    va_list arguments;
    va_start(arguments, format);
    vsnprintf(text, sizeof text, format, arguments);
    va_end(arguments);
    if (depth == 0)
        fputs(text, stderr); // whoever has no turn may wait
    else if (!unwritten.empty() || !os_complain_at_once(text))
        unwritten += text; // in their order
}
