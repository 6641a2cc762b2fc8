#pragma once
// INT, TERM, HUP and PIPE end a run, but not in the middle of something: they are remembered, and whoever is
// at a place where nothing is half done cleans up and ends the run by them.

#include <sys/types.h>

void remember_signals(); // from now on; one that is ignored stays ignored, but for a child's end
int remembered_signal(); // 0: none came
void sleep_unless_signalled(double seconds);

// Until the child has ended. The window has handlers of its own; meanwhile these signals are remembered here.
void wait_unless_signalled(pid_t child);

// Between these two no signal is let in, not even to cut a sleep short. They nest.
void hold_signals();
void release_signals();

// Ends the process as the signal would have done.
[[noreturn]] void end_by_signal(int number);
