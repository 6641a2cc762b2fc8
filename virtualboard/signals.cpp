#include "signals.h"

#include <cerrno>
#include <csignal>
#include <ctime>
#include <iterator>
#include <poll.h>
#include <sys/syscall.h>
#include <unistd.h>

constexpr int ENDING[] = {SIGINT, SIGTERM, SIGHUP, SIGPIPE};

static volatile sig_atomic_t remembered;
static unsigned holds;
static sigset_t mask_before_hold;

static void remember(int number) { remembered = number; }

// `*before` is what was done about it so far.
static void remember_signal(int number, struct sigaction *before) {
    sigaction(number, nullptr, before);
    if (before->sa_handler == SIG_IGN)
        return;
    struct sigaction action = {};
    action.sa_handler = remember; // without SA_RESTART: what waits is woken
    sigaction(number, &action, nullptr);
}

void remember_signals() {
    struct sigaction before;
    for (int number : ENDING)
        remember_signal(number, &before);
    signal(SIGCHLD, SIG_DFL); // ignored, no child could be waited for
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

// Returns when the child has ended or a signal was let in; at once where the kernel cannot wait for both.
static void wait_for_either(pid_t child, const sigset_t *let_in) {
    pollfd process = {static_cast<int>(syscall(SYS_pidfd_open, child, 0)), POLLIN, 0};
    if (process.fd < 0)
        return;
    while (remembered == 0 && ppoll(&process, 1, nullptr, let_in) == -1 && errno == EINTR)
        ;
    close(process.fd);
}

void wait_unless_signalled(pid_t child) {
    struct sigaction handlers[std::size(ENDING)];
    sigset_t before;
    block_signals(&before);
    for (size_t i = 0; i < std::size(ENDING); i++)
        remember_signal(ENDING[i], &handlers[i]);
    wait_for_either(child, &before);
    for (size_t i = 0; i < std::size(ENDING); i++)
        sigaction(ENDING[i], &handlers[i], nullptr);
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
