#include "hw/held_signals.h"

#include <cerrno>
#include <cstdio>
#include <ctime>
#include <initializer_list>
#include <poll.h>
#include <pthread.h>
#include <unistd.h>

constexpr int SIGNALS = 65; // numbers 1 to 64
constexpr std::initializer_list<int> ASKING = {SIGHUP, SIGINT, SIGQUIT,
                                               SIGTERM}; // how programs are asked to end
constexpr std::initializer_list<int> STOPS = {SIGTSTP, SIGTTIN, SIGTTOU};

static volatile sig_atomic_t held;           // HOLD_...
static volatile sig_atomic_t noted[SIGNALS]; // came while it was held
static volatile sig_atomic_t any_noted;      // one of them, at least
static volatile sig_atomic_t ends_at_once;   // an ending_at_once lives
static volatile sig_atomic_t asked_to_end;   // a signal that only the window's handler has seen
static volatile sig_atomic_t gave_up;        // no handler is asked any more
static void (*shared[SIGNALS])(int);         // handlers of the window's

static bool is_one_of(int number, std::initializer_list<int> numbers) {
    for (int one : numbers)
        if (number == one)
            return true;
    return false;
}

static bool is_stop(int number) { return is_one_of(number, STOPS); }

static bool is_held(int number) { return (held & (is_stop(number) ? HOLD_STOPS : HOLD_ENDS)) != 0; }

static void on_signal(int number);

static void set_handler(int number, void (*handler)(int)) {
    struct sigaction action = {};
    action.sa_handler = handler;
    action.sa_flags = SA_RESTART;
    sigfillset(&action.sa_mask);
    sigaction(number, &action, nullptr);
}

// As if it had never been caught. Only a signal that stops comes back: the first process of a container would
// survive the others.
static void take_effect(int number) {
    sigset_t it, before;
    sigemptyset(&it);
    sigaddset(&it, number);
    set_handler(number, SIG_DFL);
    pthread_kill(pthread_self(), number);
    sigprocmask(SIG_UNBLOCK, &it, &before); // here, when it is a handler that calls
    sigprocmask(SIG_SETMASK, &before, nullptr);
    if (!is_stop(number))
        _exit(128 + number);
    set_handler(number, on_signal);
}

static void let_go(int number) {
    noted[number] = 0;
    if (shared[number] == nullptr || ends_at_once != 0 || gave_up != 0) {
        take_effect(number);
    } else {
        asked_to_end = number;
        shared[number](number);
    }
}

// What continues the process cancels what would stop it.
static void forget_stops() {
    for (int stop : STOPS)
        noted[stop] = 0;
}

static void on_signal(int number) {
    int error = errno;
    if (number == SIGCONT) {
        forget_stops();
    } else if (is_held(number)) {
        noted[number] = 1;
        any_noted = 1;
    } else {
        let_go(number);
    }
    errno = error;
}

// SIGKILL and SIGSTOP, and those that the C library keeps for itself, are refused and stay as they are.
void catch_signals() {
    for (int number = 1; number < SIGNALS; number++) {
        bool fault = is_one_of(number, {SIGBUS, SIGFPE, SIGILL, SIGSEGV, SIGSYS, SIGTRAP});
        bool without_effect = is_one_of(number, {SIGCHLD, SIGURG, SIGWINCH});
        struct sigaction action = {};
        if (fault || without_effect || sigaction(number, nullptr, &action) != 0)
            continue;
        if (action.sa_handler == SIG_DFL)
            set_handler(number, on_signal);
    }
}

void share_signals() {
    for (int number : ASKING) {
        struct sigaction action = {};
        sigaction(number, nullptr, &action);
        if (action.sa_handler == SIG_IGN || action.sa_handler == SIG_DFL || action.sa_handler == on_signal)
            continue;
        shared[number] = action.sa_handler;
        set_handler(number, on_signal);
    }
}

int hold_signals(int hold) {
    int before = held;
    held = hold;
    if (any_noted == 0)
        return before;
    any_noted = 0;
    for (int number = 1; number < SIGNALS; number++) {
        if (noted[number] != 0 && !is_held(number))
            let_go(number);
        if (noted[number] != 0)
            any_noted = 1;
    }
    return before;
}

// ---- While somebody waits

ending_at_once::ending_at_once() {
    ends_at_once = 1;
    if (asked_to_end != 0)
        take_effect(asked_to_end);
}

ending_at_once::~ending_at_once() { ends_at_once = 0; }

signals_masked::signals_masked() : masked((held & HOLD_ENDS) != 0), before() {
    sigset_t all;
    sigfillset(&all);
    if (masked)
        sigprocmask(SIG_SETMASK, &all, &before);
}

signals_masked::~signals_masked() {
    if (masked)
        sigprocmask(SIG_SETMASK, &before, nullptr);
}

static bool ending_signal_came() {
    for (int number = 1; number < SIGNALS; number++)
        if (noted[number] != 0 && !is_stop(number))
            return true;
    return asked_to_end != 0;
}

static timespec in_ms(int ms) {
    timespec time;
    clock_gettime(CLOCK_MONOTONIC, &time);
    time.tv_sec += ms / 1000;
    time.tv_nsec += ms % 1000 * 1000000L;
    if (time.tv_nsec >= 1000000000) {
        time.tv_nsec -= 1000000000;
        time.tv_sec++;
    }
    return time;
}

// From now on; nothing when it is over.
static timespec left_until(const timespec &end) {
    timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    timespec left = {end.tv_sec - now.tv_sec, end.tv_nsec - now.tv_nsec};
    if (left.tv_nsec < 0) {
        left.tv_nsec += 1000000000;
        left.tv_sec--;
    }
    return left.tv_sec < 0 ? timespec{} : left;
}

static int failed(int error) {
    errno = error;
    return -1;
}

// The signal that ends the process although its handler would not: noted, it does so when it is let go.
static int give_up() {
    if (asked_to_end != 0) {
        noted[asked_to_end] = 1;
        any_noted = 1;
    }
    gave_up = 1;
    return failed(EINTR);
}

// Signals are let in only by ppoll itself, so that none comes between the look for it and the wait. (Of
// several threads each could take one; the window's other threads have all of them blocked.)
int wait_readable_unless_ended(int fd) {
    constexpr int PATIENCE_MS = 1000; // a BMC answers in milliseconds, a busy one within a second
    constexpr int LITTLE_MS = 200;    // for the rest of a sequence whose BMC has not answered once
    signals_masked masked;
    pollfd wanted = {fd, POLLIN, 0};
    bool ending = false;
    timespec end = {};
    for (;;) {
        if (!ending && ending_signal_came()) {
            ending = true;
            end = in_ms(gave_up != 0 ? LITTLE_MS : PATIENCE_MS);
        }
        timespec left = ending ? left_until(end) : timespec{};
        int count = ppoll(&wanted, 1, ending ? &left : nullptr, &masked.before);
        if (count > 0)
            return (wanted.revents & POLLNVAL) != 0 ? failed(EBADF) : count;
        if (count == 0)
            return give_up();
        if (errno != EINTR)
            return -1;
    }
}

bool write_without_waiting(const char *text) {
    pollfd out = {STDERR_FILENO, POLLOUT, 0};
    if (poll(&out, 1, 0) != 1)
        return false;
    sigset_t background,
        before; // caught and held, it would only be noted, and the write begun again for ever
    sigemptyset(&background);
    sigaddset(&background, SIGTTOU);
    sigprocmask(SIG_BLOCK, &background, &before);
    fputs(text, stderr);
    sigprocmask(SIG_SETMASK, &before, nullptr);
    return true;
}
