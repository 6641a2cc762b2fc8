// Copies of the program taking turns, over the real door: processes that lock and unlock as they are told.
// The lock is in a directory of each test (KESTREL_LOCK_DIRECTORY is a relative path here).
#include "hw/os.h"

#include <cerrno>
#include <chrono>
#include <csignal>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "support/run.h"

static const std::string DIRECTORY = KESTREL_LOCK_DIRECTORY;
static const std::string LOCK = DIRECTORY + "/lock";
static const std::string WAITS =
    "Warning: Another copy of this program uses the machine; it is waited for.\n";

// Where the lock is made from now on: a directory of its own.
static void begin() { std::filesystem::current_path(scratch_directory()); }

// ---- Copies

struct copy {
    pid_t child;
    int answers;
    int orders;
    std::string errors; // file
};

constexpr char TAKE = 'T', GIVE_BACK = 'G', COMPLAIN = 'C', END = 'E';

static volatile sig_atomic_t handled;

static void note_signal(int) { handled = 1; }

// As the window: its own handler for SIGTERM, while SIGHUP is ignored.
static void prepare_signals() {
    struct sigaction action = {};
    action.sa_handler = note_signal;
    action.sa_flags = SA_RESTART;
    sigaction(SIGTERM, &action, nullptr);
    signal(SIGHUP, SIG_IGN);
}

// Each order is answered when it is done: with 'h' once a signal was handled, else with itself.
[[noreturn]] static void obey(int orders, int answers) {
    prepare_signals();
    char order;
    while (read(orders, &order, 1) == 1 && order != END) {
        if (order == TAKE)
            os_lock_machine();
        if (order == GIVE_BACK)
            os_unlock_machine();
        if (order == COMPLAIN)
            fprintf(stderr, "Error: something\n");
        char answer = handled != 0 ? 'h' : order;
        if (write(answers, &answer, 1) != 1)
            break;
    }
    _exit(0);
}

static copy start_copy() {
    int orders[2], answers[2];
    EXPECT_EQ(pipe2(orders, O_CLOEXEC), 0);
    EXPECT_EQ(pipe2(answers, O_CLOEXEC), 0);
    std::string errors = scratch_directory() + "/errors";
    pid_t child = fork();
    if (child == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        setpgid(0, 0); // else Ctrl-Z means nothing where nobody could continue it
        dup2(open(errors.c_str(), O_WRONLY | O_CREAT, 0600), STDERR_FILENO);
        close(orders[1]);
        close(answers[0]);
        obey(orders[0], answers[1]);
    }
    close(orders[0]);
    close(answers[1]);
    return {child, answers[0], orders[1], errors};
}

static void order(const copy &copy, char what) { EXPECT_EQ(write(copy.orders, &what, 1), 1); }

// What it answers within the time; '-': nothing.
static char answer(const copy &copy, int at_most_ms = 30000) {
    pollfd from = {copy.answers, POLLIN, 0};
    char what = '-';
    if (poll(&from, 1, at_most_ms) == 1 && read(copy.answers, &what, 1) != 1)
        return '-';
    return what;
}

static void expect_done(const copy &copy, char what) {
    order(copy, what);
    EXPECT_EQ(answer(copy), what);
}

// Until it says something on standard error, a minute at most.
static void wait_for_message(const copy &copy) {
    for (int waits = 0; waits < 3000 && file_contents(copy.errors).empty(); waits++)
        usleep(20000);
}

// It was told to take the lock, and has not got it.
static void expect_waits(const copy &copy) { EXPECT_EQ(answer(copy, 200), '-'); }

// The second one waits for the first one's turn to end.
static void make_wait(const copy &first, const copy &second) {
    expect_done(first, TAKE);
    order(second, TAKE);
    expect_waits(second);
}

static void hand_over(const copy &first, const copy &second) {
    make_wait(first, second);
    expect_done(first, GIVE_BACK);
    EXPECT_EQ(answer(second), TAKE);
}

// How it ends, which it must within half a minute.
static int status_of(const copy &copy) {
    close(copy.orders);
    close(copy.answers);
    int status = 0;
    for (int waits = 0; waits < 1500; waits++) {
        if (waitpid(copy.child, &status, WNOHANG) == copy.child)
            return status;
        usleep(20000);
    }
    ADD_FAILURE() << "it does not end";
    kill(copy.child, SIGKILL);
    waitpid(copy.child, &status, 0);
    return status;
}

static int end(const copy &copy) {
    order(copy, END);
    return status_of(copy);
}

static int killed(const copy &copy, int signal) {
    kill(copy.child, signal);
    return status_of(copy);
}

// ---- Turns

TEST(Turns, TheSecondOneWaitsForTheFirst) {
    begin();
    copy first = start_copy(), second = start_copy();
    hand_over(first, second);
    order(first, TAKE);
    expect_waits(first);
    expect_done(second, GIVE_BACK);
    EXPECT_EQ(answer(first), TAKE);
    end(first);
    end(second);
    EXPECT_EQ(file_contents(first.errors) + file_contents(second.errors), "");
}

TEST(Turns, TheLastReleaseOfSeveralCounts) {
    begin();
    copy first = start_copy(), second = start_copy();
    expect_done(first, TAKE);
    expect_done(first, TAKE);
    expect_done(first, GIVE_BACK);
    order(second, TAKE);
    expect_waits(second);
    expect_done(first, GIVE_BACK);
    EXPECT_EQ(answer(second), TAKE);
    end(first);
    end(second);
}

TEST(Turns, AHolderThatIsKilledKeepsNobodyWaiting) {
    begin();
    copy first = start_copy(), second = start_copy();
    make_wait(first, second);
    EXPECT_TRUE(WIFSIGNALED(killed(first, SIGKILL)));
    EXPECT_EQ(answer(second), TAKE);
    end(second);
}

// After three seconds, once, and the wait goes on.
TEST(Turns, ALongWaitIsTold) {
    begin();
    copy first = start_copy(), second = start_copy();
    expect_done(first, TAKE);
    auto before = std::chrono::steady_clock::now();
    order(second, TAKE);
    wait_for_message(second);
    EXPECT_GE(std::chrono::steady_clock::now() - before, std::chrono::seconds(3));
    expect_waits(second);
    expect_done(first, GIVE_BACK);
    EXPECT_EQ(answer(second), TAKE);
    end(first);
    end(second);
    EXPECT_EQ(file_contents(second.errors), WAITS);
}

// ---- Signals

// Whether the wait was reported already or not.
TEST(Turns, ASignalEndsTheOneThatWaits) {
    for (bool told : {false, true}) {
        begin();
        copy first = start_copy(), second = start_copy();
        make_wait(first, second);
        if (told)
            wait_for_message(second);
        kill(second.child, SIGHUP); // ignored: it goes on waiting
        expect_waits(second);
        int status = killed(second, SIGTERM);
        EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGTERM) << status;
        expect_done(first, GIVE_BACK);
        end(first);
    }
}

TEST(Turns, BehindTheWaitTheHandlersAreBack) {
    begin();
    copy first = start_copy(), second = start_copy();
    hand_over(first, second);
    kill(second.child, SIGTERM);
    order(second, GIVE_BACK);
    EXPECT_EQ(answer(second), 'h');
    end(first);
    end(second);
}

// By Ctrl-Z, or as what writes in the background, at a bad moment: it stops when the lock is given back, and
// the other one gets it.
static void stop_with_the_lock(int signal) {
    begin();
    copy first = start_copy(), second = start_copy();
    expect_done(first, TAKE);
    kill(first.child, signal);
    expect_done(first, TAKE); // it runs
    expect_done(first, GIVE_BACK);
    order(first, GIVE_BACK);
    expect_done(second, TAKE);
    int status = 0;
    for (int waits = 0; waits < 1500 && waitpid(first.child, &status, WUNTRACED | WNOHANG) == 0; waits++)
        usleep(20000);
    EXPECT_TRUE(WIFSTOPPED(status)) << status;
    kill(first.child, SIGCONT);
    EXPECT_EQ(answer(first), GIVE_BACK);
    end(first);
    end(second);
}

TEST(Turns, NobodyStopsWithTheLock) {
    for (int signal : {SIGTSTP, SIGTTOU})
        stop_with_the_lock(signal);
}

// Whoever reads the complaints may be slow.
TEST(Turns, ComplaintsAreWrittenBehindTheTurn) {
    begin();
    copy only = start_copy();
    expect_done(only, TAKE);
    expect_done(only, TAKE);
    expect_done(only, COMPLAIN);
    expect_done(only, GIVE_BACK);
    EXPECT_EQ(file_contents(only.errors), "");
    expect_done(only, GIVE_BACK);
    EXPECT_EQ(file_contents(only.errors), "Error: something\n");
    expect_done(only, COMPLAIN);
    EXPECT_EQ(file_contents(only.errors), "Error: something\nError: something\n");
    end(only);
}

// ---- The file

static mode_t mode_of(const std::string &path) {
    struct stat status = {};
    EXPECT_EQ(lstat(path.c_str(), &status), 0) << path;
    return status.st_mode;
}

TEST(TurnsFile, CanBeOpenedByItsOwnerAlone) {
    begin();
    mode_t before = umask(0);
    os_lock_machine();
    umask(before);
    EXPECT_EQ(mode_of(DIRECTORY), S_IFDIR | 0755u);
    EXPECT_EQ(mode_of(LOCK), S_IFREG | 0600u);
    os_unlock_machine();
    EXPECT_EQ(mode_of(LOCK), S_IFREG | 0600u); // it stays
}

// What the program starts under the lock must not hold it when the program is gone.
TEST(TurnsFile, IsNotHandedToOtherPrograms) {
    begin();
    os_lock_machine();
    FILE *stream = os_popen("ls -l /proc/self/fd");
    ASSERT_NE(stream, nullptr);
    char listed[4096] = "";
    fread(listed, 1, sizeof listed - 1, stream);
    os_pclose(stream);
    EXPECT_EQ(std::string(listed).find(LOCK), std::string::npos) << listed;
    EXPECT_NE(std::string(listed).find(" 0 -> "), std::string::npos) << listed;
    os_unlock_machine();
}

TEST(TurnsFile, NothingIsOpenBetweenTwoTurns) {
    begin();
    int before = dup(STDIN_FILENO);
    close(before);
    for (int turn = 0; turn < 3; turn++) {
        os_lock_machine();
        os_unlock_machine();
    }
    int behind = dup(STDIN_FILENO);
    close(behind);
    EXPECT_EQ(behind, before);
}

// Somebody tidies up while one copy holds the lock and another waits for it: that one would hold a lock that
// nobody else can find.
TEST(TurnsFile, OneThatIsRemovedIsMadeAnew) {
    begin();
    copy first = start_copy(), second = start_copy(), third = start_copy();
    make_wait(first, second);
    std::filesystem::remove_all(DIRECTORY);
    expect_done(first, GIVE_BACK);
    EXPECT_EQ(answer(second), TAKE);
    order(third, TAKE);
    expect_waits(third);
    expect_done(second, GIVE_BACK);
    EXPECT_EQ(answer(third), TAKE);
    end(first);
    end(second);
    end(third);
}

// ---- No lock to be had

static std::string warning(const std::string &cause) {
    return "Warning: " + LOCK + ": " + cause + "; another copy of this program would not be noticed.\n";
}

// It is reported once, and the turns are taken all the same.
static void expect_goes_on_after(const std::string &cause) {
    copy copy = start_copy();
    for (int turn = 0; turn < 2; turn++) {
        expect_done(copy, TAKE);
        expect_done(copy, GIVE_BACK);
    }
    EXPECT_EQ(end(copy), 0);
    EXPECT_EQ(file_contents(copy.errors), warning(cause));
}

TEST(TurnsFile, ADirectoryThatCannotBeMadeIsTold) {
    begin();
    std::ofstream(DIRECTORY) << "";
    expect_goes_on_after("Not a directory");
    begin();
    std::filesystem::create_symlink("/nowhere/at/all", DIRECTORY);
    expect_goes_on_after("No such file or directory");
}

TEST(TurnsFile, WhatIsNoFileIsNotOpened) {
    begin();
    std::filesystem::create_directory(DIRECTORY);
    std::filesystem::create_symlink("victim", LOCK);
    expect_goes_on_after("Too many levels of symbolic links");
    EXPECT_FALSE(std::filesystem::exists(DIRECTORY + "/victim"));
    begin();
    std::filesystem::create_directories(LOCK);
    expect_goes_on_after("Is a directory");
}
