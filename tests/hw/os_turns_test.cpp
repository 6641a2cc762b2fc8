// Copies of the program taking turns, over the real door: processes that begin and end turns as they are
// told. The file lies in a directory of each test (KESTREL_TURN_DIRECTORY is a relative path here), and
// another copy's turn is waited for KESTREL_TURN_PATIENCE_S seconds.
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
#include <sys/syscall.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

#include "hw/held_signals.h"
#include "hw/machine_turn.h"
#include "support/run.h"

static const std::string DIRECTORY = KESTREL_TURN_DIRECTORY;
static const std::string FILE_OF_TURNS = DIRECTORY + "/turn";
static const std::string WAITS =
    "Warning: Another copy of this program is using the hardware; waiting for it.\n";
static const std::string GOES_PAST =
    "Warning: The other copy has not finished; going on without waiting for it.\n";

// Where the file is made from now on: a directory of its own.
static void begin() { std::filesystem::current_path(scratch_directory()); }

// ---- Copies

struct copy {
    pid_t child;
    int answers;
    int orders;
    std::string errors; // file
};

constexpr char TAKE = 'T', GIVE_BACK = 'G', END = 'E';

static volatile sig_atomic_t handled;

static void note_signal(int) { handled = 1; }

// As in the window: a handler of its own for SIGTERM, put in place after the start. SIGHUP is ignored from
// before it.
static void prepare_signals() {
    signal(SIGHUP, SIG_IGN);
    catch_signals();
    struct sigaction action = {};
    action.sa_handler = note_signal;
    action.sa_flags = SA_RESTART;
    sigaction(SIGTERM, &action, nullptr);
    share_signals();
}

// Each order is answered when it is done: with 'h' once a signal was handled, else with itself.
[[noreturn]] static void obey(int orders, int answers) {
    prepare_signals();
    char order;
    while (read(orders, &order, 1) == 1 && order != END) {
        if (order == TAKE)
            os_begin_turn();
        if (order == GIVE_BACK)
            os_end_turn();
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
static char answer(const copy &copy, int at_most_ms = 60000) {
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

// Until the process is in that system call, a minute at most.
static void wait_until_in(pid_t child, int system_call) {
    std::string file = "/proc/" + std::to_string(child) + "/syscall",
                wanted = std::to_string(system_call) + " ";
    for (int waits = 0; waits < 6000 && file_contents(file).rfind(wanted, 0) != 0; waits++)
        usleep(10000);
}

// Until it says something on standard error, a minute at most.
static void wait_for_message(const copy &copy) {
    for (int waits = 0; waits < 3000 && file_contents(copy.errors).empty(); waits++)
        usleep(20000);
}

// It was told to take its turn, and has not got it: it waits in the kernel.
static void expect_waits(const copy &copy) {
    wait_until_in(copy.child, SYS_futex);
    EXPECT_EQ(answer(copy, 50), '-');
}

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

TEST(Turns, AHolderThatIsKilledKeepsNobodyWaiting) {
    begin();
    copy first = start_copy(), second = start_copy();
    make_wait(first, second);
    EXPECT_TRUE(WIFSIGNALED(killed(first, SIGKILL)));
    EXPECT_EQ(answer(second), TAKE);
    end(second);
}

// After three seconds, once, and the wait goes on.
TEST(Turns, ALongWaitIsReported) {
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

// The one that ends a turn and wants the next one at once must not come before the one that waits.
TEST(Turns, WhoWaitsIsNext) {
    begin();
    copy greedy = start_copy(), patient = start_copy();
    for (int turn = 0; turn < 20 && !HasFailure(); turn++) {
        expect_done(greedy, TAKE);
        order(patient, TAKE);
        expect_waits(patient);
        order(greedy, GIVE_BACK);
        order(greedy, TAKE);
        EXPECT_EQ(answer(greedy), GIVE_BACK);
        EXPECT_EQ(answer(patient), TAKE) << turn;
        EXPECT_EQ(answer(greedy, 5), '-') << turn;
        expect_done(patient, GIVE_BACK);
        EXPECT_EQ(answer(greedy), TAKE);
        expect_done(greedy, GIVE_BACK);
    }
    end(greedy);
    end(patient);
}

// Stopped by SIGSTOP, which nobody can hold, it is waited for once; then the others go on without it, and
// take turns among themselves. When it continues it finds them.
TEST(Turns, AHolderThatIsStoppedIsGonePast) {
    begin();
    copy stopped = start_copy(), first = start_copy(), second = start_copy();
    expect_done(stopped, TAKE);
    kill(stopped.child, SIGSTOP);
    auto before = std::chrono::steady_clock::now();
    for (const copy *one : {&first, &second})
        order(*one, TAKE);
    for (int turn = 0; turn < 2; turn++) { // whichever is the first, the other one gets it after it
        char done[2] = {answer(first, 100), answer(second, 100)};
        for (int waits = 0; waits < 300 && done[0] != TAKE && done[1] != TAKE; waits++) {
            done[0] = answer(first, 100);
            done[1] = answer(second, 100);
        }
        EXPECT_TRUE(done[0] == TAKE || done[1] == TAKE);
        EXPECT_FALSE(done[0] == TAKE && done[1] == TAKE) << "both at once";
        expect_done(done[0] == TAKE ? first : second, GIVE_BACK);
    }
    auto waited = std::chrono::steady_clock::now() - before;
    EXPECT_GE(waited, std::chrono::seconds(KESTREL_TURN_PATIENCE_S));
    EXPECT_EQ(file_contents(first.errors).substr(0, WAITS.size()), WAITS);
    EXPECT_NE((file_contents(first.errors) + file_contents(second.errors)).find(GOES_PAST),
              std::string::npos);
    for (int turn = 0; turn < 3; turn++) {
        hand_over(first, second);
        expect_done(second, GIVE_BACK);
    }
    kill(stopped.child, SIGCONT);
    expect_done(stopped, GIVE_BACK);
    usleep(1100000);
    hand_over(first, stopped);
    for (const copy *one : {&stopped, &first, &second})
        killed(*one, SIGKILL);
}

// ---- Signals

// Whether the wait was reported already or not, and though it has a handler.
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

TEST(Turns, AfterTheWaitTheHandlersAreBack) {
    begin();
    copy first = start_copy(), second = start_copy();
    hand_over(first, second);
    kill(second.child, SIGTERM);
    order(second, GIVE_BACK);
    EXPECT_EQ(answer(second), 'h');
    end(first);
    end(second);
}

// By Ctrl-Z, or as what reads or writes in the background, at a bad moment: it stops when its turn ends, and
// the other one gets it.
static void stop_with_the_turn(int signal) {
    begin();
    copy first = start_copy(), second = start_copy();
    expect_done(first, TAKE);
    kill(first.child, signal);
    usleep(50000);
    int status = 0;
    EXPECT_EQ(waitpid(first.child, &status, WUNTRACED | WNOHANG), 0) << "it runs";
    order(first, GIVE_BACK);
    expect_done(second, TAKE);
    for (int waits = 0; waits < 1500 && waitpid(first.child, &status, WUNTRACED | WNOHANG) == 0; waits++)
        usleep(20000);
    EXPECT_TRUE(WIFSTOPPED(status)) << status;
    kill(first.child, SIGCONT);
    EXPECT_EQ(answer(first), GIVE_BACK);
    end(first);
    end(second);
}

TEST(Turns, NobodyStopsInATurn) {
    for (int signal : {SIGTSTP, SIGTTOU, SIGTTIN})
        stop_with_the_turn(signal);
}

// As at a shell's "fg": what would have stopped it is over.
TEST(Turns, WhatContinuesItCancelsTheStop) {
    begin();
    copy only = start_copy();
    expect_done(only, TAKE);
    kill(only.child, SIGTSTP);
    kill(only.child, SIGCONT);
    expect_done(only, GIVE_BACK);
    int status = 0;
    EXPECT_EQ(waitpid(only.child, &status, WUNTRACED | WNOHANG), 0) << "it runs";
    end(only);
}

// Every signal that would end it and can be held, none of them caught by anybody.
TEST(Turns, NoSignalEndsATurn) {
    for (int signal : {SIGINT, SIGQUIT, SIGABRT, SIGUSR1, SIGUSR2, SIGALRM, SIGVTALRM, SIGPROF, SIGPIPE,
                       SIGXCPU, SIGIO, SIGPWR, SIGSTKFLT, SIGRTMIN, SIGRTMAX}) {
        begin();
        copy only = start_copy();
        expect_done(only, TAKE);
        kill(only.child, signal);
        usleep(20000);
        int status = 0;
        EXPECT_EQ(waitpid(only.child, &status, WNOHANG), 0) << "signal " << signal;
        order(only, GIVE_BACK);
        status = status_of(only);
        EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == signal) << signal << ": " << status;
    }
}

// Standard error goes to a pipe that is full, and nobody reads it.
static void stop_reading_of_errors() {
    int ends[2];
    EXPECT_EQ(pipe(ends), 0);
    dup2(ends[1], STDERR_FILENO);
    fcntl(ends[1], F_SETFL, O_NONBLOCK);
    char page[4096] = {};
    while (write(ends[1], page, sizeof page) > 0)
        ;
    fcntl(ends[1], F_SETFL, 0);
}

// It finds something to complain of in its turn, and nobody reads that: it waits, but no other copy does.
TEST(Turns, AStalledReaderOfMessagesKeepsNobodyElseWaiting) {
    begin();
    copy other = start_copy();
    int begun[2];
    ASSERT_EQ(pipe(begun), 0);
    pid_t child = fork();
    if (child == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        prepare_signals();
        signal(SIGTERM, SIG_DFL);
        stop_reading_of_errors();
        {
            machine_turn whole;
            complain("Error: ioctl(), slave=0x2e\n");
            if (write(begun[1], "b", 1) != 1)
                _exit(1);
        }
        _exit(2);
    }
    char byte;
    ASSERT_EQ(read(begun[0], &byte, 1), 1);
    expect_done(other, TAKE);
    expect_done(other, GIVE_BACK);
    usleep(200000);
    int status = 0;
    EXPECT_EQ(waitpid(child, &status, WNOHANG), 0) << "its message is not lost";
    kill(child, SIGTERM);
    waitpid(child, &status, 0);
    EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGTERM) << "a signal ends it: " << status;
    end(other);
    EXPECT_EQ(file_contents(other.errors), "");
}

// Neither may what is said of turns themselves wait for who reads it.
TEST(Turns, AStalledReaderDoesNotHoldTheWarning) {
    begin();
    std::ofstream(DIRECTORY) << ""; // no file to be had
    pid_t child = fork();
    if (child == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        stop_reading_of_errors();
        os_begin_turn();
        os_end_turn();
        _exit(3);
    }
    int status = 0;
    for (int waits = 0; waits < 3000 && waitpid(child, &status, WNOHANG) == 0; waits++)
        usleep(10000);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 3) << status;
}

// In the background of a terminal with "stty tostop" a write raises SIGTTOU, which is held: it must not be
// begun again and again.
TEST(Turns, ATerminalThatStopsTheBackgroundDoesNotStopATurn) {
    begin();
    int terminal = posix_openpt(O_RDWR | O_NOCTTY);
    ASSERT_TRUE(terminal >= 0 && grantpt(terminal) == 0 && unlockpt(terminal) == 0);
    std::string name = ptsname(terminal);
    pid_t leader = fork();
    if (leader == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        setsid();
        int end = open(name.c_str(), O_RDWR); // its terminal from now on
        termios settings;
        tcgetattr(end, &settings);
        settings.c_lflag |= TOSTOP;
        tcsetattr(end, TCSANOW, &settings);
        pid_t background = fork();
        if (background == 0) {
            setpgid(0, 0);
            catch_signals();
            dup2(end, STDERR_FILENO);
            machine_turn whole;
            complain("Error: in the background\n");
            _exit(4);
        }
        int status = 0;
        waitpid(background, &status, 0);
        _exit(WIFEXITED(status) ? WEXITSTATUS(status) : 1);
    }
    int status = 0;
    for (int waits = 0; waits < 3000 && waitpid(leader, &status, WNOHANG) == 0; waits++)
        usleep(10000);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 4) << status;
    char text[100] = "";
    EXPECT_GT(read(terminal, text, sizeof text - 1), 0);
    EXPECT_EQ(std::string(text), "Error: in the background\r\n");
    close(terminal);
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
    copy only = start_copy();
    expect_done(only, TAKE);
    umask(before);
    EXPECT_EQ(mode_of(DIRECTORY), S_IFDIR | 0755u);
    EXPECT_EQ(mode_of(FILE_OF_TURNS), S_IFREG | 0600u);
    end(only);
    EXPECT_EQ(mode_of(FILE_OF_TURNS), S_IFREG | 0600u); // it stays
}

// Where the file is looked for in this process, too: once a second, so a test that is not the first one may
// have to wait.
static void take_and_give_back_here() {
    usleep(1100000);
    os_begin_turn();
    os_end_turn();
}

// What the program starts must not keep it open when the program is gone; and a descriptor is not needed to
// share it.
TEST(TurnsFile, IsNotKeptOpen) {
    begin();
    int before = dup(STDIN_FILENO);
    close(before);
    take_and_give_back_here();
    EXPECT_TRUE(std::filesystem::exists(FILE_OF_TURNS));
    int after = dup(STDIN_FILENO);
    close(after);
    EXPECT_EQ(after, before);
}

// Somebody tidies up while copies run: within a second all share the file that took its place.
TEST(TurnsFile, OneThatIsRemovedIsMadeAnew) {
    begin();
    copy first = start_copy(), second = start_copy();
    for (const copy *one : {&first, &second}) {
        expect_done(*one, TAKE);
        expect_done(*one, GIVE_BACK);
    }
    std::filesystem::remove_all(DIRECTORY);
    usleep(1100000);
    make_wait(first, second);
    EXPECT_TRUE(std::filesystem::exists(FILE_OF_TURNS));
    expect_done(first, GIVE_BACK);
    EXPECT_EQ(answer(second), TAKE);
    end(first);
    end(second);
}

// The copy that made it was killed before it was done.
TEST(TurnsFile, OneThatIsHalfMadeIsMadeWhole) {
    for (size_t size : {0, 88}) {
        begin();
        std::filesystem::create_directory(DIRECTORY);
        std::ofstream(FILE_OF_TURNS) << std::string(size, '\0');
        copy first = start_copy(), second = start_copy();
        hand_over(first, second);
        end(first);
        end(second);
        EXPECT_EQ(file_contents(first.errors) + file_contents(second.errors), "") << size;
    }
}

// Copies that start at once make it once.
TEST(TurnsFile, IsMadeByOneOfMany) {
    for (int round = 0; round < 10; round++) {
        begin();
        copy copies[6];
        for (copy &one : copies)
            one = start_copy();
        for (const copy &one : copies)
            order(one, TAKE);
        int served = 0; // one after the other, in whatever order
        for (int looks = 0; served < 6 && looks < 6000; looks++)
            for (copy &one : copies)
                if (one.child > 0 && answer(one, 1) == TAKE) {
                    expect_done(one, GIVE_BACK);
                    end(one);
                    one.child = -1;
                    served++;
                }
        EXPECT_EQ(served, 6);
    }
}

// ---- No file to be had

static std::string warning(const std::string &cause) {
    return "Warning: " + FILE_OF_TURNS + ": " + cause +
           "; another copy of this program cannot be detected.\n";
}

// It is reported once, and the turns are taken all the same.
static void expect_goes_on_after(const std::string &cause) {
    copy copy = start_copy();
    for (int turn = 0; turn < 2; turn++) {
        expect_done(copy, TAKE);
        expect_done(copy, GIVE_BACK);
        usleep(1100000); // the next one looks again
    }
    EXPECT_EQ(end(copy), 0);
    EXPECT_EQ(file_contents(copy.errors), warning(cause));
}

TEST(TurnsFile, ADirectoryThatCannotBeMadeIsReported) {
    begin();
    std::ofstream(DIRECTORY) << "";
    expect_goes_on_after("Not a directory");
    begin();
    std::filesystem::create_symlink("/nowhere/at/all", DIRECTORY);
    expect_goes_on_after("No such file or directory");
}

TEST(TurnsFile, WhatIsNotAFileIsNotOpened) {
    begin();
    std::filesystem::create_directory(DIRECTORY);
    std::filesystem::create_symlink("victim", FILE_OF_TURNS);
    expect_goes_on_after("Too many levels of symbolic links");
    EXPECT_FALSE(std::filesystem::exists(DIRECTORY + "/victim"));
    begin();
    std::filesystem::create_directories(FILE_OF_TURNS);
    expect_goes_on_after("Is a directory");
}

// A file of another size or with another mark is somebody else's, perhaps a later version's: it is left
// alone.
TEST(TurnsFile, AnotherLayoutIsLeftAlone) {
    for (const std::string &contents :
         {std::string("short"), std::string(1000, '\0'), std::string(88, 'x')}) {
        begin();
        std::filesystem::create_directory(DIRECTORY);
        std::ofstream(FILE_OF_TURNS) << contents;
        expect_goes_on_after("Invalid argument");
        EXPECT_EQ(file_contents(FILE_OF_TURNS), contents);
    }
}

// ---- Waiting for a BMC

static int64_t ms_since(std::chrono::steady_clock::time_point from) {
    auto passed = std::chrono::steady_clock::now() - from;
    return std::chrono::duration_cast<std::chrono::milliseconds>(passed).count();
}

// A process that waits for `fd`, in a turn or not, and then writes what came of it: 'r' readable, 'i'
// interrupted. It handles SIGTERM as the window does, and writes 'h' when that was done.
static pid_t start_waiting(int fd, bool in_turn, int out) {
    pid_t child = fork();
    if (child != 0)
        return child;
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    prepare_signals();
    if (in_turn)
        os_begin_turn();
    bool readable = false;
    int count = os_wait_readable(fd, &readable);
    const char *came = count == 1 && readable ? "r" : errno == EINTR ? "i" : "?";
    if (write(out, came, 1) != 1)
        _exit(1);
    if (in_turn)
        os_end_turn();
    _exit(handled != 0 ? 10 : 0);
}

struct waiting {
    pid_t child;
    int bmc;     // writing here is its answer
    int outcome; // what start_waiting writes
};

static waiting start_waiting(bool in_turn) {
    begin();
    int bmc[2], outcome[2];
    EXPECT_EQ(pipe2(bmc, O_CLOEXEC), 0);
    EXPECT_EQ(pipe2(outcome, O_CLOEXEC), 0);
    pid_t child = start_waiting(bmc[0], in_turn, outcome[1]);
    close(bmc[0]);
    close(outcome[1]);
    wait_until_in(child, SYS_ppoll);
    return {child, bmc[1], outcome[0]};
}

static std::string outcome_of(const waiting &process, int *status) {
    char text[8] = "";
    ssize_t count = read(process.outcome, text, sizeof text - 1);
    waitpid(process.child, status, 0);
    close(process.outcome);
    close(process.bmc);
    return std::string(text, count > 0 ? static_cast<size_t>(count) : 0);
}

// The answer comes in spite of the signal, and is taken: the next command must not find it.
TEST(WaitForBmc, ASignalDoesNotLoseTheAnswer) {
    for (bool in_turn : {false, true}) {
        waiting process = start_waiting(in_turn);
        kill(process.child, SIGTERM);
        usleep(200000);
        EXPECT_EQ(write(process.bmc, "a", 1), 1);
        int status = 0;
        EXPECT_EQ(outcome_of(process, &status), "r") << in_turn;
        EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 10) << "the handler has it: " << status;
    }
}

// Within a second and a bit, though there is a handler that would go on waiting.
TEST(WaitForBmc, ASilentOneDoesNotKeepASignalFromEndingTheProgram) {
    for (bool in_turn : {false, true})
        for (int signal : {SIGTERM, SIGINT}) {
            waiting process = start_waiting(in_turn);
            auto before = std::chrono::steady_clock::now();
            kill(process.child, signal);
            int status = 0;
            std::string outcome = outcome_of(process, &status);
            EXPECT_GE(ms_since(before), 1000);
            EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == signal) << status;
            EXPECT_EQ(outcome, in_turn ? "i" : "") << "a turn goes on to its end";
        }
}

// Whoever it comes from: a timer of "timeout", a limit of processor time.
TEST(WaitForBmc, AnySignalThatEndsProgramsEndsIt) {
    for (int signal : {SIGALRM, SIGUSR1, SIGXCPU}) {
        waiting process = start_waiting(true);
        kill(process.child, signal);
        int status = 0;
        EXPECT_EQ(outcome_of(process, &status), "i");
        EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == signal) << status;
    }
}

// Outside of a turn there is nothing that must not be stopped.
TEST(WaitForBmc, ItCanBeStoppedOutsideOfATurn) {
    waiting process = start_waiting(false);
    setpgid(process.child, process.child);
    kill(process.child, SIGTSTP);
    int status = 0;
    EXPECT_EQ(waitpid(process.child, &status, WUNTRACED), process.child);
    EXPECT_TRUE(WIFSTOPPED(status)) << status;
    kill(process.child, SIGCONT);
    EXPECT_EQ(write(process.bmc, "a", 1), 1);
    EXPECT_EQ(outcome_of(process, &status), "r");
}

// In the window a signal may come in a tick before the wait does, and be taken by the main loop's handler,
// whose turn comes after the tick.
static int status_after_signal(void (*wait)()) {
    begin();
    pid_t child = fork();
    if (child == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        prepare_signals();
        kill(getpid(), SIGTERM);
        if (handled != 0)
            wait();
        _exit(5);
    }
    int status = 0;
    waitpid(child, &status, 0);
    return status;
}

static void wait_for_silence() {
    int ends[2];
    if (pipe(ends) != 0)
        _exit(6);
    alarm(30);
    bool readable;
    os_wait_readable(ends[0], &readable);
}

static void wait_for_a_child_that_hangs() {
    pid_t child = fork();
    if (child == 0) {
        signal(SIGALRM, SIG_DFL);
        alarm(10); // its parent may be gone already
        for (;;)
            pause();
    }
    alarm(30);
    os_waitpid(child);
}

TEST(WaitForBmc, ASignalThatCameEarlierEndsTheWaitToo) {
    for (auto wait : {wait_for_silence, wait_for_a_child_that_hangs}) {
        int status = status_after_signal(wait);
        EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGTERM) << status;
    }
}

TEST(WaitForBmc, AnIgnoredSignalIsNoReasonToStopWaiting) {
    waiting process = start_waiting(true);
    kill(process.child, SIGHUP);
    kill(process.child, SIGWINCH);
    usleep(1500000);
    EXPECT_EQ(waitpid(process.child, nullptr, WNOHANG), 0);
    EXPECT_EQ(write(process.bmc, "a", 1), 1);
    int status = 0;
    EXPECT_EQ(outcome_of(process, &status), "r");
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status;
}
