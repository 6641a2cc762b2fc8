#pragma once
// Signals from outside, and what waits for their effect. Part of the real door alone.
//
// Masking signals costs two system calls each time, more than all that a reading does besides. So those that
// would end or stop the process are caught from the start, and take their effect at once, unless they are
// held: then they are noted, and have it when they are let go. What the caller ignored stays ignored; faults
// of our own (SIGSEGV ...) are not caught.

#include <csignal>
#include <cstddef>
#include <ctime>

enum signal_hold {
    HOLD_NO_SIGNAL,
    HOLD_STOPS,   // Ctrl-Z and its like: what stops while others wait for it keeps them waiting
    HOLD_SIGNALS, // all of them
};

void catch_signals(); // once, at the start

// Holds these from now on. Signals that are let go take effect before it returns. Returns what was held
// before.
signal_hold hold_signals(signal_hold hold);

// While it lives, INT, TERM, HUP and QUIT are caught here even where the window has handlers of its own:
// those only take note, and their main loop does not run while somebody waits. What came is handed to them at
// the end.
struct ending_signals_caught {
    ending_signals_caught();
    ~ending_signals_caught();
    ending_signals_caught(const ending_signals_caught &) = delete;
    ending_signals_caught &operator=(const ending_signals_caught &) = delete;
    struct sigaction before[4];
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

// Waits until the descriptor is readable; signals must be held. Returns 1, or -1 with errno: EINTR when one
// of the ending signals came, at any time, and `patience_ms` later nothing else had. Then that signal ends
// the process for certain when it is let go, whatever handler there is.
int wait_readable_unless_ended(int fd, int patience_ms);
