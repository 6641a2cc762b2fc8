#pragma once
// Faults on purpose. Every call through the door is counted; the planned one fails, or is never made because
// the process ends before it.

#include <string>

constexpr int SHORT_TRANSFER = -1; // in place of an errno: half of the bytes
constexpr int DIED_STATUS = 97;

struct fault_plan {
    unsigned fail_at = 0; // the number of a call, from 1 on; 0: none
    int error = 0;        // with which that one fails
    unsigned die_at = 0;
};

void plan_faults(const fault_plan &plan); // the next call is number 1

// Writes every call from now on into the file, one per line. False when it cannot be written.
bool open_calls(const std::string &path);

// Each is to be called once by a call of the door, before it does anything, with its name and arguments.
// True, with errno, when the call is to fail.
[[gnu::format(printf, 1, 2)]] bool call_fails(const char *format, ...);

// By a read or a write.
enum transfer_fault { WHOLE_TRANSFER, FAILED_TRANSFER, HALF_TRANSFER };
[[gnu::format(printf, 1, 2)]] transfer_fault transfer_fails(const char *format, ...);

// By one that cannot fail.
[[gnu::format(printf, 1, 2)]] void count_call(const char *format, ...);

// By the parent, after a fork: the child's only call, its exec, has the next number.
void leave_number_to_child();
