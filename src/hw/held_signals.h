#pragma once
// Signals from outside, and what waits for their effect. Part of the real door alone.
//
// Masking signals costs two system calls each time, more than all that a reading does besides. So those that
// would end or stop the process are caught from the start, and take their effect at once, unless they are
// held: then they are noted, and have it when they are let go. What the caller ignored stays ignored; faults
// of our own (SIGSEGV ...) are not caught.

#include <csignal>

// What is held, bit by bit.
constexpr int HOLD_NOTHING = 0;
constexpr int HOLD_STOPS = 1; // Ctrl-Z and its like: what stops while others wait for it keeps them waiting
constexpr int HOLD_ENDS = 2;  // all that end the process
constexpr int HOLD_SIGNALS = HOLD_STOPS | HOLD_ENDS;

void catch_signals(); // once, at the start

// The window puts handlers of its own in the place of ours for some signals that end programs. From this call
// on they are called by ours, so that what waits knows of the signals, too.
void share_signals();

// Holds these from now on. Signals that are let go take effect before it returns. Returns what was held
// before.
int hold_signals(int hold);

// While it lives, nothing is half done and somebody may be waited for without end: HUP, INT, TERM and QUIT
// end the process at once, also where the window handles them, for its main loop does not run; one that came
// before it, too.
struct ending_at_once {
    ending_at_once();
    ~ending_at_once();
    ending_at_once(const ending_at_once &) = delete;
    ending_at_once &operator=(const ending_at_once &) = delete;
};

// While it lives, no signal interrupts a system call; nothing when signals take effect at once anyway.
struct signals_masked {
    signals_masked();
    ~signals_masked();
    signals_masked(const signals_masked &) = delete;
    signals_masked &operator=(const signals_masked &) = delete;
    bool masked;
    sigset_t before;
};

// Waits until the descriptor is readable; HOLD_ENDS must be held. Returns 1, or -1 with errno: EINTR when a
// signal that ends the process came, at any time, and a second later nothing else had. Then that signal ends
// it for certain when it is let go, whatever handler there is, and each later wait until then is a short one.
int wait_readable_unless_ended(int fd);

// Writes to standard error if that can be done without waiting for who reads it; false when it is not
// written. A terminal that stops what writes in the background does not stop this.
bool write_without_waiting(const char *text);
