#include "hw/held_signals.h"

#include <cerrno>
#include <initializer_list>
#include <iterator>
#include <poll.h>
#include <pthread.h>

constexpr int ENDING[] = {SIGHUP, SIGINT, SIGQUIT, SIGTERM}; // what people and the system end programs with
static_assert(sizeof ending_signals_caught::before == std::size(ENDING) * sizeof(struct sigaction));

constexpr int SIGNALS = 65; // numbers 1 to 64

static volatile sig_atomic_t held;             // a signal_hold
static volatile sig_atomic_t noted[SIGNALS];   // came while it was held
static volatile sig_atomic_t any_noted;        // one of them, at least
static volatile sig_atomic_t ends_for_certain; // no handler is asked about an ending signal any more

static bool is_one_of(int number, std::initializer_list<int> numbers) {
    for (int one : numbers)
        if (number == one)
            return true;
    return false;
}

static bool is_stop(int number) { return is_one_of(number, {SIGTSTP, SIGTTIN, SIGTTOU}); }

static bool is_held(int number) { return held >= (is_stop(number) ? HOLD_STOPS : HOLD_SIGNALS); }

static void on_signal(int number);

static void set_handler(int number, void (*handler)(int)) {
    struct sigaction action = {};
    action.sa_handler = handler;
    action.sa_flags = SA_RESTART;
    sigfillset(&action.sa_mask);
    sigaction(number, &action, nullptr);
}

// As if it had never been caught. Only a signal that stops comes back.
static void take_effect(int number) {
    sigset_t it, before;
    sigemptyset(&it);
    sigaddset(&it, number);
    set_handler(number, SIG_DFL);
    pthread_kill(pthread_self(), number);
    sigprocmask(SIG_UNBLOCK, &it, &before); // here, when it is a handler that calls
    sigprocmask(SIG_SETMASK, &before, nullptr);
    set_handler(number, on_signal);
}

static void on_signal(int number) {
    int error = errno;
    if (is_held(number)) {
        noted[number] = 1;
        any_noted = 1;
    } else {
        take_effect(number);
    }
    errno = error;
}

static bool is_handled_here(int number) {
    struct sigaction action = {};
    sigaction(number, nullptr, &action);
    return action.sa_handler == on_signal;
}

// The system calls that the C library keeps for itself, and SIGKILL and SIGSTOP, are refused and stay as they
// are.
void catch_signals() {
    for (int number = 1; number < SIGNALS; number++) {
        bool fault = is_one_of(number, {SIGABRT, SIGBUS, SIGFPE, SIGILL, SIGSEGV, SIGSYS, SIGTRAP});
        bool without_effect = is_one_of(number, {SIGCHLD, SIGCONT, SIGURG, SIGWINCH});
        struct sigaction action = {};
        if (fault || without_effect || sigaction(number, nullptr, &action) != 0)
            continue;
        if (action.sa_handler == SIG_DFL)
            set_handler(number, on_signal);
    }
}

// To whoever handles it now: the window may have put a handler of its own in our place.
static void let_go(int number) {
    noted[number] = 0;
    if (ends_for_certain != 0 || is_handled_here(number))
        take_effect(number);
    else
        pthread_kill(pthread_self(), number);
}

signal_hold hold_signals(signal_hold hold) {
    auto before = static_cast<signal_hold>(held);
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

ending_signals_caught::ending_signals_caught() : before() {
    for (size_t i = 0; i < std::size(ENDING); i++) {
        sigaction(ENDING[i], nullptr, &before[i]);
        if (before[i].sa_handler != SIG_IGN && before[i].sa_handler != on_signal)
            set_handler(ENDING[i], on_signal);
    }
}

ending_signals_caught::~ending_signals_caught() {
    for (size_t i = 0; i < std::size(ENDING); i++) {
        if (before[i].sa_handler == SIG_IGN || before[i].sa_handler == on_signal)
            continue;
        sigaction(ENDING[i], &before[i], nullptr);
        if (noted[ENDING[i]] != 0 && ends_for_certain == 0)
            let_go(ENDING[i]);
    }
}

signals_masked::signals_masked() : masked(held == HOLD_SIGNALS), before() {
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
    for (int number : ENDING)
        if (noted[number] != 0)
            return true;
    return false;
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

// Signals are let in only by ppoll itself, so that none comes between the look for it and the wait.
int wait_readable_unless_ended(int fd, int patience_ms) {
    ending_signals_caught caught;
    signals_masked masked;
    pollfd wanted = {fd, POLLIN, 0};
    bool ending = false;
    timespec end = {};
    for (;;) {
        if (!ending && ending_signal_came()) {
            ending = true;
            end = in_ms(patience_ms);
        }
        timespec left = ending ? left_until(end) : timespec{};
        int count = ppoll(&wanted, 1, ending ? &left : nullptr, &masked.before);
        if (count > 0)
            return (wanted.revents & POLLNVAL) != 0 ? failed(EBADF) : count;
        if (count == 0) {
            ends_for_certain = 1;
            return failed(EINTR);
        }
        if (errno != EINTR)
            return -1;
    }
}
