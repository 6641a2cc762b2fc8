#include "signals.h"

#include <csignal>
#include <ctime>
#include <poll.h>
#include <unistd.h>

constexpr int ENDING[] = {SIGINT, SIGTERM, SIGHUP, SIGPIPE};

static volatile sig_atomic_t remembered;
static unsigned holds;
static sigset_t mask_before_hold;

static void remember(int number) { remembered = number; }

void remember_signals() {
    for (int number : ENDING) {
        struct sigaction action = {};
        sigaction(number, nullptr, &action);
        if (action.sa_handler == SIG_IGN)
            continue;
        action = {};
        action.sa_handler = remember; // without SA_RESTART: what waits is woken
        sigaction(number, &action, nullptr);
    }
}

int remembered_signal() { return remembered; }

static void block_signals(sigset_t *before) {
    sigset_t ending;
    sigemptyset(&ending);
    for (int number : ENDING)
        sigaddset(&ending, number);
    sigprocmask(SIG_BLOCK, &ending, before);
}

void hold_signals() {
    if (holds++ == 0)
        block_signals(&mask_before_hold);
}

void release_signals() {
    if (--holds == 0)
        sigprocmask(SIG_SETMASK, &mask_before_hold, nullptr);
}

// The signals are let in only while the process sleeps, so that none comes between the test and the sleep.
void sleep_unless_signalled(double seconds) {
    sigset_t before;
    block_signals(&before);
    if (remembered == 0) {
        timespec time;
        time.tv_sec = static_cast<time_t>(seconds);
        time.tv_nsec = static_cast<long>((seconds - static_cast<double>(time.tv_sec)) * 1e9);
        ppoll(nullptr, 0, &time, &before);
    }
    sigprocmask(SIG_SETMASK, &before, nullptr);
}

void end_by_signal(int number) {
    sigset_t none;
    sigemptyset(&none);
    signal(number, SIG_DFL);
    sigprocmask(SIG_SETMASK, &none, nullptr);
    raise(number);
    _exit(128 + number);
}
