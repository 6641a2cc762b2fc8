#include "faults.h"

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <unistd.h>

#include "private_root.h"
#include "trace.h"

static fault_plan plan;
static unsigned count;
static FILE *calls_file;

void plan_faults(const fault_plan &new_plan) {
    plan = new_plan;
    count = 0;
}

// Line by line: a run that dies leaves the calls before, and a child does not write what its parent wrote.
bool open_calls(const std::string &path) {
    calls_file = fopen(path.c_str(), "we");
    return calls_file != nullptr && setvbuf(calls_file, nullptr, _IOLBF, 0) == 0;
}

// As if killed: nothing that the program has in its buffers is written. What is the board's own goes its way.
[[noreturn]] static void die() {
    flush_trace();
    remove_private_root();
    _exit(DIED_STATUS);
}

static transfer_fault next_call(bool is_transfer, bool can_fail, const char *format, va_list arguments) {
    count++;
    bool is_short = plan.error == SHORT_TRANSFER;
    bool fails = count == plan.fail_at && can_fail && (is_transfer || !is_short);
    if (calls_file == nullptr && count != plan.die_at && !fails)
        return WHOLE_TRANSFER;
    char call[512];
    vsnprintf(call, sizeof call, format, arguments);
    if (calls_file != nullptr)
        fprintf(calls_file, "%u %s\n", count, call);
    if (count == plan.die_at)
        die();
    if (!fails)
        return WHOLE_TRANSFER;
    trace("%s %s", call, is_short ? "short" : "failed");
    if (!is_short)
        errno = plan.error;
    return is_short ? HALF_TRANSFER : FAILED_TRANSFER;
}

bool call_fails(const char *format, ...) {
    va_list arguments;
    va_start(arguments, format);
    bool fails = next_call(false, true, format, arguments) != WHOLE_TRANSFER;
    va_end(arguments);
    return fails;
}

transfer_fault transfer_fails(const char *format, ...) {
    va_list arguments;
    va_start(arguments, format);
    transfer_fault fault = next_call(true, true, format, arguments);
    va_end(arguments);
    return fault;
}

void count_call(const char *format, ...) {
    va_list arguments;
    va_start(arguments, format);
    next_call(false, false, format, arguments);
    va_end(arguments);
}

void leave_number_to_child() { count++; }
