// The real door on real files, processes and signals. What needs ports that are granted is right by reading.
#include "hw/os.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <sys/ioctl.h>
#include <sys/resource.h>
#include <sys/select.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <syslog.h>
#include <unistd.h>

#include "support/run.h"

static void put(const std::string &path, const std::string &text) {
    std::ofstream(path, std::ios::binary) << text;
}

static mode_t mode_of(const std::string &path) {
    struct stat status = {};
    EXPECT_EQ(lstat(path.c_str(), &status), 0) << path;
    return status.st_mode;
}

// Makes the file with `text` in it and closes it.
static void create(const std::string &path, const char *text) {
    FILE *stream = os_create_private(path.c_str(), 0600);
    ASSERT_NE(stream, nullptr) << strerror(errno);
    fputs(text, stream);
    EXPECT_EQ(os_fclose(stream), 0);
}

TEST(PrivateFile, IsMadeWithExactlyItsModeWhateverTheUmask) {
    for (mode_t mask : {0000, 0022, 0077, 0200, 0777}) {
        std::string here = scratch_directory();
        mode_t before = umask(mask);
        create(here + "/file", "text");
        umask(before);
        EXPECT_EQ(mode_of(here + "/file"), S_IFREG | 0600u) << mask;
        EXPECT_EQ(file_contents(here + "/file"), "text") << mask;
    }
}

TEST(PrivateFile, TakesThePlaceOfOneThatEverybodyMayWrite) {
    std::string here = scratch_directory();
    put(here + "/file", "a longer text that was here");
    chmod((here + "/file").c_str(), 0666);
    int opened_before = open((here + "/file").c_str(), O_RDWR);
    create(here + "/file", "new");
    EXPECT_EQ(mode_of(here + "/file"), S_IFREG | 0600u);
    EXPECT_EQ(file_contents(here + "/file"), "new");
    EXPECT_EQ(pwrite(opened_before, "bad", 3, 0), 3); // whoever had it open has another file
    close(opened_before);
    EXPECT_EQ(file_contents(here + "/file"), "new");
}

TEST(PrivateFile, NeverFollowsALink) {
    for (bool symbolic : {true, false}) {
        std::string here = scratch_directory();
        put(here + "/victim", "precious");
        chmod((here + "/victim").c_str(), 0640);
        if (symbolic)
            std::filesystem::create_symlink(here + "/victim", here + "/file");
        else
            std::filesystem::create_hard_link(here + "/victim", here + "/file");
        create(here + "/file", "new");
        EXPECT_EQ(file_contents(here + "/victim"), "precious") << symbolic;
        EXPECT_EQ(mode_of(here + "/victim"), S_IFREG | 0640u) << symbolic;
        EXPECT_EQ(file_contents(here + "/file"), "new") << symbolic;
        EXPECT_EQ(mode_of(here + "/file"), S_IFREG | 0600u) << symbolic;
    }
}

TEST(PrivateFile, ALinkToNowhereMakesNothingThere) {
    std::string here = scratch_directory();
    std::filesystem::create_symlink(here + "/nowhere", here + "/file");
    create(here + "/file", "new");
    EXPECT_FALSE(std::filesystem::exists(here + "/nowhere"));
    EXPECT_EQ(mode_of(here + "/file"), S_IFREG | 0600u);
}

// Opened as it is, it would wait for a reader, or hand the text to one.
TEST(PrivateFile, TakesThePlaceOfAPipe) {
    std::string here = scratch_directory();
    ASSERT_EQ(mkfifo((here + "/file").c_str(), 0666), 0);
    create(here + "/file", "new");
    EXPECT_EQ(mode_of(here + "/file"), S_IFREG | 0600u);
}

TEST(PrivateFile, ADirectoryInItsPlaceStays) {
    std::string here = scratch_directory();
    std::filesystem::create_directory(here + "/file");
    errno = 0;
    EXPECT_EQ(os_create_private((here + "/file").c_str(), 0600), nullptr);
    EXPECT_EQ(errno, EEXIST);
    EXPECT_TRUE(std::filesystem::is_directory(here + "/file"));
    EXPECT_EQ(os_create_private((here + "/no/such/directory").c_str(), 0600), nullptr);
    EXPECT_EQ(errno, ENOENT);
}

TEST(PrivateFile, IsNotHandedToOtherPrograms) {
    std::string here = scratch_directory();
    FILE *stream = os_create_private((here + "/file").c_str(), 0600);
    ASSERT_NE(stream, nullptr);
    EXPECT_EQ(fcntl(fileno(stream), F_GETFD), FD_CLOEXEC);
    os_fclose(stream);
}

TEST(Fchmod, ChangesTheOpenFileOnceTheTextIsInIt) {
    std::string here = scratch_directory();
    FILE *stream = os_create_private((here + "/file").c_str(), 0600);
    ASSERT_NE(stream, nullptr);
    fputs("text", stream);
    std::filesystem::rename(here + "/file", here + "/moved");
    put(here + "/file", "of somebody else");
    chmod((here + "/file").c_str(), 0644);
    EXPECT_EQ(os_fchmod(stream, 0400), 0);
    EXPECT_EQ(mode_of(here + "/moved"), S_IFREG | 0400u);
    EXPECT_EQ(file_contents(here + "/moved"), "text");
    EXPECT_EQ(mode_of(here + "/file"), S_IFREG | 0644u);
    os_fclose(stream);
}

TEST(Fchmod, FailsWhenTheTextCannotBeWritten) {
    FILE *full = os_fopen("/dev/full", "w");
    ASSERT_NE(full, nullptr);
    struct stat before = {}, after = {};
    stat("/dev/full", &before);
    fputs("text", full);
    errno = 0;
    EXPECT_EQ(os_fchmod(full, 0100), -1);
    EXPECT_EQ(errno, ENOSPC);
    stat("/dev/full", &after);
    EXPECT_EQ(after.st_mode, before.st_mode);
    os_fclose(full);
}

TEST(Fsync, PutsTheTextIntoTheFile) {
    std::string here = scratch_directory();
    FILE *stream = os_create_private((here + "/file").c_str(), 0600);
    ASSERT_NE(stream, nullptr);
    fputs("text", stream);
    EXPECT_EQ(file_contents(here + "/file"), "");
    EXPECT_EQ(os_fsync(stream), 0);
    EXPECT_EQ(file_contents(here + "/file"), "text");
    EXPECT_EQ(os_fclose(stream), 0);
}

TEST(Fsync, FailsWhenTheTextCannotBeWritten) {
    FILE *full = os_fopen("/dev/full", "w");
    ASSERT_NE(full, nullptr);
    fputs("text", full);
    errno = 0;
    EXPECT_EQ(os_fsync(full), -1);
    EXPECT_EQ(errno, ENOSPC);
    os_fclose(full);
}

TEST(Mode, IsThePermissionBits) {
    std::string file = scratch_directory() + "/file";
    mode_t mode = 01234;
    EXPECT_EQ(os_mode(file.c_str(), &mode), -1);
    EXPECT_EQ(mode, 01234u);
    put(file, "text");
    for (mode_t wanted : {0644, 0600, 0000, 0777}) {
        chmod(file.c_str(), wanted);
        EXPECT_EQ(os_mode(file.c_str(), &mode), 0);
        EXPECT_EQ(mode, wanted);
    }
}

TEST(CopyOwner, GivesTheFileOwnerAndGroupOfTheOther) {
    std::string here = scratch_directory();
    put(here + "/model", "");
    FILE *stream = os_create_private((here + "/file").c_str(), 0640);
    ASSERT_NE(stream, nullptr);
    EXPECT_EQ(os_copy_owner((here + "/none").c_str(), stream), -1);
    EXPECT_EQ(os_copy_owner((here + "/model").c_str(), stream), 0);
    bool may_change = chown((here + "/model").c_str(), 65534, 4) == 0; // root may
    EXPECT_EQ(os_copy_owner((here + "/model").c_str(), stream), 0);
    struct stat status = {};
    EXPECT_EQ(fstat(fileno(stream), &status), 0);
    EXPECT_EQ(status.st_uid, may_change ? 65534 : getuid());
    EXPECT_EQ(status.st_gid, may_change ? 4 : getgid());
    EXPECT_EQ(status.st_mode & 07777, 0640u);
    os_fclose(stream);
}

TEST(LookAt, TellsOfALinkItself) {
    std::string here = scratch_directory();
    put(here + "/file", "");
    chmod((here + "/file").c_str(), 0640);
    ASSERT_EQ(symlink("no such place", (here + "/link").c_str()), 0);
    const struct {
        const char *name;
        mode_t kind;
    } rows[] = {{"/file", S_IFREG}, {"/link", S_IFLNK}, {"", S_IFDIR}};
    for (const auto &row : rows) {
        mode_t mode = 0;
        uid_t owner = 77;
        EXPECT_EQ(os_look_at((here + row.name).c_str(), &mode, &owner), 0) << row.name;
        EXPECT_EQ(mode & S_IFMT, row.kind) << row.name;
        EXPECT_EQ(owner, geteuid()) << row.name;
    }
    mode_t mode = 0;
    uid_t owner = 77;
    EXPECT_EQ(os_look_at((here + "/file").c_str(), &mode, &owner), 0);
    EXPECT_EQ(mode & 07777, 0640u);
    EXPECT_EQ(os_look_at((here + "/none").c_str(), &mode, &owner), -1);
    EXPECT_EQ(errno, ENOENT);
    EXPECT_EQ(mode & 07777, 0640u);
}

TEST(ReadLink, IsWhatTheLinkSays) {
    std::string here = scratch_directory();
    std::string target = "before";
    EXPECT_EQ(os_read_link((here + "/link").c_str(), &target), -1);
    EXPECT_EQ(os_read_link(here.c_str(), &target), -1); // a directory
    EXPECT_EQ(target, "before");
    for (const std::string &said : {std::string("../x"), std::string("/a//b/"), std::string(4095, 'x')}) {
        unlink((here + "/link").c_str());
        ASSERT_EQ(symlink(said.c_str(), (here + "/link").c_str()), 0);
        EXPECT_EQ(os_read_link((here + "/link").c_str(), &target), 0);
        EXPECT_EQ(target, said);
    }
}

TEST(Link, IsASecondNameOfTheFileThatNeverTakesAnothersPlace) {
    std::string here = scratch_directory();
    put(here + "/file", "text");
    put(here + "/other", "precious");
    EXPECT_EQ(os_link((here + "/file").c_str(), (here + "/second").c_str()), 0);
    put(here + "/file", "changed");
    EXPECT_EQ(file_contents(here + "/second"), "changed");
    errno = 0;
    EXPECT_EQ(os_link((here + "/file").c_str(), (here + "/other").c_str()), -1);
    EXPECT_EQ(errno, EEXIST);
    EXPECT_EQ(file_contents(here + "/other"), "precious");
}

// Runs the file at `path` in a child, as the mail script is run.
static int run_script(const std::string &path) {
    pid_t child = os_fork();
    if (child == 0) {
        os_exec(path.c_str());
        _exit(0);
    }
    return os_waitpid(child);
}

TEST(Processes, AScriptIsRunWithoutArgumentsAndWaitedFor) {
    std::string here = scratch_directory();
    put(here + "/script", "#!/bin/bash\n/bin/sleep 0.1\necho \"$0 $#\" >" + here + "/out" + "\n");
    chmod((here + "/script").c_str(), 0700);
    EXPECT_EQ(run_script(here + "/script"), 0);
    EXPECT_EQ(file_contents(here + "/out"), here + "/script" + " 0\n");
}

TEST(Processes, AFileThatCannotBeRunEndsTheChild) {
    std::string here = scratch_directory();
    put(here + "/script", "#!/bin/bash\n>" + here + "/out" + "\n");
    chmod((here + "/script").c_str(), 0600);
    EXPECT_EQ(run_script(here + "/script"), 0);
    EXPECT_EQ(run_script(here + "/nothing"), 0);
    EXPECT_FALSE(std::filesystem::exists(here + "/out"));
}

TEST(Processes, AFileThatCannotBeRunIsComeBackFrom) {
    errno = 0;
    os_exec((scratch_directory() + "/nothing").c_str());
    EXPECT_EQ(errno, ENOENT);
}

TEST(Processes, WaitingForNobodyFails) {
    errno = 0;
    EXPECT_EQ(os_waitpid(getpid()), -1);
    EXPECT_EQ(errno, ECHILD);
}

static volatile sig_atomic_t alarms;

TEST(Processes, SignalsDoNotCutTheWaitShort) {
    struct sigaction action = {}, before = {};
    action.sa_handler = [](int) { alarms = alarms + 1; }; // without SA_RESTART
    sigaction(SIGALRM, &action, &before);
    itimerval often = {{0, 10000}, {0, 10000}};
    setitimer(ITIMER_REAL, &often, nullptr);
    pid_t child = os_fork();
    if (child == 0) {
        usleep(200000);
        _exit(3);
    }
    EXPECT_EQ(os_waitpid(child), 0);
    itimerval never = {};
    setitimer(ITIMER_REAL, &never, nullptr);
    sigaction(SIGALRM, &before, nullptr);
    EXPECT_GT(alarms, 0);
    EXPECT_EQ(os_waitpid(child), -1); // it was taken off the list
}

constexpr int ENDING[] = {SIGTERM, SIGINT, SIGHUP};

// Handlers as those of the window, but for one signal.
static void install_handlers(int ignored, struct sigaction *before) {
    for (int number : ENDING) {
        struct sigaction action = {};
        action.sa_handler = number == ignored ? SIG_IGN : [](int) {};
        action.sa_flags = SA_RESTART;
        sigaction(number, &action, before++);
    }
}

// What it waits for lives as long as the other end of the pipe is open.
[[noreturn]] static void wait_for_child(int pipe_end) {
    pid_t child = os_fork();
    if (child == 0) {
        char byte;
        while (read(pipe_end, &byte, 1) == -1)
            ;
        _exit(0);
    }
    _exit(os_waitpid(child) == 0 ? 0 : 1);
}

struct waiting_process {
    pid_t pid;
    int pipe_end; // closed: what it waits for ends
};

// From its first moment on it has the handlers.
static waiting_process start_waiting(int ignored) {
    int ends[2];
    EXPECT_EQ(pipe2(ends, O_CLOEXEC), 0);
    struct sigaction before[std::size(ENDING)];
    install_handlers(ignored, before);
    pid_t pid = fork();
    if (pid == 0) {
        os_share_signals(); // as the window does when it has its handlers
        close(ends[1]);
        wait_for_child(ends[0]);
    }
    for (size_t i = 0; i < std::size(ENDING); i++)
        sigaction(ENDING[i], &before[i], nullptr);
    close(ends[0]);
    return {pid, ends[1]};
}

static bool has_ended(pid_t pid, int *status) { return waitpid(pid, status, WNOHANG) == pid; }

TEST(Processes, ASignalThatEndsTheProgramEndsTheWaitWhateverItsHandler) {
    for (int number : ENDING) {
        waiting_process waiting = start_waiting(0);
        int status = 0;
        for (int i = 0; i < 1000 && !has_ended(waiting.pid, &status); i++) { // the first ones may come early
            kill(waiting.pid, number);
            usleep(10000);
        }
        close(waiting.pipe_end);
        EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == number) << number << " " << status;
    }
}

TEST(Processes, ASignalThatIsIgnoredStaysSoDuringTheWait) {
    waiting_process waiting = start_waiting(SIGHUP);
    int status = -1;
    for (int i = 0; i < 20; i++) {
        kill(waiting.pid, SIGHUP);
        usleep(10000);
    }
    close(waiting.pipe_end);
    EXPECT_EQ(waitpid(waiting.pid, &status, 0), waiting.pid);
    EXPECT_EQ(status, 0);
}

TEST(Processes, TheHandlersAreBackAfterTheWait) {
    struct sigaction action = {}, before = {}, after = {};
    action.sa_handler = [](int) { alarms = alarms + 1; };
    action.sa_flags = SA_RESTART;
    sigaction(SIGTERM, &action, &before);
    pid_t child = os_fork();
    if (child == 0)
        _exit(0);
    EXPECT_EQ(os_waitpid(child), 0);
    sigaction(SIGTERM, &before, &after);
    EXPECT_EQ(after.sa_handler, action.sa_handler);
    EXPECT_NE(after.sa_flags & SA_RESTART, 0);
}

TEST(Files, WhatCannotBeLookedAtMayBeThere) {
    std::string here = scratch_directory();
    std::ofstream(here + "/file") << "";
    EXPECT_TRUE(os_exists((here + "/file").c_str()));
    EXPECT_FALSE(os_exists((here + "/none").c_str()));
    EXPECT_FALSE(os_exists((here + "/file/none").c_str()));               // ENOTDIR
    EXPECT_TRUE(os_exists((here + "/" + std::string(300, 'x')).c_str())); // ENAMETOOLONG: it cannot be known
}

// ---- Standard streams

// Closes the descriptors 0 to 2 for as long as `body` runs.
template <class Body> static void without_standard_streams(Body body) {
    fflush(nullptr);
    int kept[3];
    for (int fd = 0; fd < 3; fd++)
        kept[fd] = fcntl(fd, F_DUPFD_CLOEXEC, 10);
    for (int fd = 0; fd < 3; fd++)
        close(fd);
    body();
    for (int fd = 0; fd < 3; fd++) {
        dup2(kept[fd], fd);
        close(kept[fd]);
    }
}

TEST(Start, PutsNothingIntoThePlaceOfClosedStreams) {
    struct stat null = {}, found[3] = {};
    int next = -1;
    ASSERT_EQ(stat("/dev/null", &null), 0);
    without_standard_streams([&] {
        os_start(nullptr, nullptr);
        for (int fd = 0; fd < 3; fd++)
            fstat(fd, &found[fd]);
        next = os_open("/dev/zero", O_RDONLY);
        close(next);
        for (int fd = 0; fd < 3; fd++)
            close(fd);
    });
    for (int fd = 0; fd < 3; fd++)
        EXPECT_EQ(found[fd].st_rdev, null.st_rdev) << fd;
    EXPECT_GE(next, 3);
}

TEST(Start, LeavesOpenStreamsAlone) {
    std::string here = scratch_directory();
    int kept = dup(STDIN_FILENO);
    int file = open((here + "/in").c_str(), O_RDWR | O_CREAT, 0600);
    dup2(file, STDIN_FILENO);
    os_start(nullptr, nullptr);
    struct stat expected = {}, found = {};
    fstat(file, &expected);
    fstat(STDIN_FILENO, &found);
    EXPECT_EQ(found.st_ino, expected.st_ino);
    dup2(kept, STDIN_FILENO);
    close(kept);
    close(file);
}

TEST(Start, EndsWhenAStreamCannotBeReplaced) {
    pid_t child = fork();
    if (child == 0) {
        rlimit none = {};
        close(STDIN_FILENO);
        setrlimit(RLIMIT_NOFILE, &none);
        os_start(nullptr, nullptr);
        _exit(0);
    }
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 255) << status;
}

// As on a full disk: the write fails, and nobody is killed.
TEST(Start, AFileThatGrowsTooLongIsAFailedWrite) {
    std::string file = scratch_directory() + "/file";
    pid_t child = fork();
    if (child == 0) {
        rlimit limit = {1, 1};
        setrlimit(RLIMIT_FSIZE, &limit);
        os_start(nullptr, nullptr);
        FILE *stream = os_fopen(file.c_str(), "w");
        fputs("more", stream);
        _exit(os_fclose(stream) == -1 && errno == EFBIG ? 0 : 1);
    }
    int status = -1;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
}

// What is kept of an environment is the matter of environment_test.cpp.
TEST(Start, MakesTheEnvironmentAnew) {
    std::string here = scratch_directory();
    std::string list = "env | grep -v ^PWD= | LC_ALL=C sort >'" + here + "/seen'"; // PWD is the shell's own
    pid_t child = fork();
    if (child == 0) {
        clearenv();
        for (const char *entry :
             {"PATH=/home/joe/bin:/usr/bin:.", "BASH_ENV=/home/joe/orders", "GTK_MODULES=gail:atk-bridge",
              "LANGUAGE=../../home/joe", "HOME=/home/joe", "DISPLAY=:7", "LC_TIME=C", "TZ=UTC"})
            putenv(const_cast<char *>(entry));
        os_start(nullptr, nullptr);
        _exit(os_system(list.c_str()));
    }
    int status = -1;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
    EXPECT_EQ(file_contents(here + "/seen"),
              "DISPLAY=:7\nGTK_MODULES=gail:atk-bridge\nHOME=/root\nLC_TIME=C\nLOGNAME=root\n"
              "PATH=/usr/bin:/usr/local/sbin:/usr/local/bin:/usr/sbin:/sbin:/bin\nTZ=UTC\nUSER=root\n"
              "XAUTHORITY=/home/joe/.Xauthority\n");
}

// Ignored, every mail that was sent would be reported as one that could not be waited for.
TEST(Start, ChildrenCanBeWaitedForWhateverTheCallerIgnores) {
    pid_t child = fork();
    if (child == 0) {
        signal(SIGCHLD, SIG_IGN);
        os_start(nullptr, nullptr);
        pid_t grandchild = os_fork();
        if (grandchild == 0)
            _exit(0);
        _exit(os_waitpid(grandchild) == 0 && os_system("exit 3") == 3 << 8 ? 0 : 1);
    }
    int status = -1;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
}

// ---- Ports. No permission is asked for here: whatever machine runs this keeps its ports.

TEST(Ports, WithoutPermissionNoInstructionIsExecuted) {
    uint8_t byte = 0x5A;
    uint32_t dword = 0x5A5A5A5A;
    for (int call = 0; call < 4; call++) {
        errno = 0;
        int status = call == 0   ? os_inb(0x80, &byte)
                     : call == 1 ? os_outb(0x80, 0)
                     : call == 2 ? os_inl(0x80, &dword)
                                 : os_outl(0x80, 0);
        EXPECT_EQ(status, -1) << call;
        EXPECT_EQ(errno, EPERM) << call;
    }
    EXPECT_EQ(byte, 0x5A);
    EXPECT_EQ(dword, 0x5A5A5A5Au);
}

// As a user who may not: what was refused does not count as granted.
TEST(Ports, RefusedPermissionIsReported) {
    bool root = geteuid() == 0;
    ASSERT_TRUE(!root || seteuid(65534) == 0);
    int level = os_iopl(3);
    int range = os_ioperm(0x80, 1, true);
    ASSERT_TRUE(!root || seteuid(0) == 0);
    EXPECT_EQ(level, -1);
    EXPECT_EQ(range, -1);
    uint8_t byte;
    EXPECT_EQ(os_inb(0x80, &byte), -1);
}

// ---- Signals

static volatile sig_atomic_t caught;

// Counts the signal as long as it lives.
struct counted_signal {
    int number;
    struct sigaction before;
};

static counted_signal count_signal(int number) {
    counted_signal counted = {number, {}};
    struct sigaction action = {};
    action.sa_handler = [](int) { caught = caught + 1; };
    sigaction(number, &action, &counted.before);
    return counted;
}

static void stop_counting(const counted_signal &counted) {
    sigaction(counted.number, &counted.before, nullptr);
}

// ---- Devices, as files and pipes

TEST(Devices, AreNotHandedToOtherPrograms) {
    int fd = os_open("/dev/zero", O_RDONLY);
    ASSERT_GE(fd, 0);
    EXPECT_EQ(fcntl(fd, F_GETFD), FD_CLOEXEC);
    EXPECT_EQ(os_close(fd), 0);
    EXPECT_EQ(os_close(fd), -1);
    EXPECT_EQ(os_open("/no/such/device", O_RDONLY), -1);
}

TEST(Devices, AreReadFromThePlaceSought) {
    std::string here = scratch_directory();
    put(here + "/file", "0123456789");
    int fd = os_open((here + "/file").c_str(), O_RDONLY);
    char bytes[4] = "---";
    EXPECT_EQ(os_seek(fd, 6), 0);
    EXPECT_EQ(os_read(fd, bytes, 3), 3);
    EXPECT_STREQ(bytes, "678");
    EXPECT_EQ(os_read(fd, bytes, 3), 1); // what there is
    EXPECT_EQ(os_seek(fd, -1), -1);
    os_close(fd);
    EXPECT_EQ(os_read(fd, bytes, 3), -1);
}

TEST(Devices, AreMappedSharedAndForReading) {
    std::string here = scratch_directory();
    put(here + "/file", std::string(4096, 'a') + std::string(4096, 'b'));
    int fd = os_open((here + "/file").c_str(), O_RDWR);
    auto *page = static_cast<const char *>(os_map(fd, 4096, 4096));
    ASSERT_NE(page, nullptr);
    EXPECT_EQ(page[0], 'b');
    EXPECT_EQ(page[4095], 'b');
    EXPECT_EQ(pwrite(fd, "c", 1, 4096), 1);
    EXPECT_EQ(page[0], 'c');
    EXPECT_EQ(os_unmap(const_cast<char *>(page), 4096), 0);
    EXPECT_EQ(os_map(fd, 1, 4096), nullptr); // no page begins there
    EXPECT_EQ(os_map(fd, 0, 0), nullptr);
    os_close(fd);
    EXPECT_EQ(os_map(fd, 0, 4096), nullptr);
    EXPECT_EQ(os_unmap(reinterpret_cast<void *>(1), 4096), -1);
}

// What is mapped of a file that is cut short is gone, as physical memory is that a driver claimed.
TEST(Devices, ACopyOfWhatIsGoneFailsAndEndsNothing) {
    std::string here = scratch_directory();
    put(here + "/file", std::string(4096, 'a'));
    int fd = os_open((here + "/file").c_str(), O_RDWR);
    void *page = os_map(fd, 0, 4096);
    ASSERT_NE(page, nullptr);
    struct sigaction before;
    ASSERT_EQ(sigaction(SIGBUS, nullptr, &before), 0);
    char copy[4096] = {};
    EXPECT_EQ(os_copy(copy, page, sizeof copy), 0);
    EXPECT_EQ(std::string(copy, sizeof copy), std::string(4096, 'a'));
    ASSERT_EQ(ftruncate(fd, 0), 0);
    for (int tries = 0; tries < 2; tries++) {
        errno = 0;
        EXPECT_EQ(os_copy(copy, page, sizeof copy), -1);
        EXPECT_EQ(errno, EFAULT);
    }
    struct sigaction after;
    ASSERT_EQ(sigaction(SIGBUS, nullptr, &after), 0);
    EXPECT_EQ(after.sa_handler, before.sa_handler);
    sigset_t blocked;
    ASSERT_EQ(sigprocmask(SIG_BLOCK, nullptr, &blocked), 0);
    EXPECT_EQ(sigismember(&blocked, SIGBUS), 0);
    EXPECT_EQ(os_unmap(page, 4096), 0);
    os_close(fd);
}

TEST(Devices, ATerminalIsKnownAsOne) {
    int terminal = posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
    ASSERT_EQ(grantpt(terminal), 0);
    ASSERT_EQ(unlockpt(terminal), 0);
    const struct {
        const char *path;
        bool is_terminal;
    } rows[] = {{ptsname(terminal), true}, {"/dev/null", false}, {"/proc/self/status", false}};
    for (const auto &row : rows) {
        FILE *stream = os_fopen(row.path, "r");
        ASSERT_NE(stream, nullptr) << row.path;
        EXPECT_EQ(os_is_terminal(stream), row.is_terminal) << row.path;
        os_fclose(stream);
    }
    close(terminal);
}

TEST(Devices, IoctlHandsItsArgumentOn) {
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    EXPECT_EQ(write(ends[1], "abc", 3), 3);
    int waiting = 0;
    EXPECT_EQ(os_ioctl(ends[0], FIONREAD, &waiting), 0);
    EXPECT_EQ(waiting, 3);
    close(ends[0]);
    close(ends[1]);
    EXPECT_EQ(os_ioctl(ends[0], FIONREAD, &waiting), -1);
    EXPECT_EQ(errno, EBADF);
}

TEST(WaitReadable, ComesBackWhenThereIsSomething) {
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    pid_t child = fork();
    if (child == 0) {
        usleep(50000);
        _exit(write(ends[1], "a", 1) == 1 ? 0 : 1);
    }
    bool readable = false;
    EXPECT_EQ(os_wait_readable(ends[0], &readable), 1);
    EXPECT_TRUE(readable);
    char byte = '-';
    EXPECT_EQ(os_read(ends[0], &byte, 1), 1);
    EXPECT_EQ(byte, 'a');
    EXPECT_EQ(os_waitpid(child), 0);
    close(ends[0]);
    close(ends[1]);
}

TEST(WaitReadable, WhatIsNotADescriptorIsRefused) {
    alarm(10); // a wait for it would be one for ever
    for (int fd : {-1, 1000, 1 << 30}) {
        bool readable = false;
        errno = 0;
        EXPECT_EQ(os_wait_readable(fd, &readable), -1) << fd;
        EXPECT_EQ(errno, EBADF) << fd;
        EXPECT_FALSE(readable) << fd;
    }
    alarm(0);
}

// A reply that is not taken would be taken for the next command's. (What ends the program:
// os_turns_test.cpp.)
TEST(WaitReadable, GoesOnAfterASignal) {
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    counted_signal counted = count_signal(SIGALRM);
    caught = 0;
    itimerval often = {{0, 10000}, {0, 10000}};
    setitimer(ITIMER_REAL, &often, nullptr);
    pid_t child = fork();
    if (child == 0) {
        usleep(200000);
        _exit(write(ends[1], "a", 1) == 1 ? 0 : 1);
    }
    bool readable = false;
    EXPECT_EQ(os_wait_readable(ends[0], &readable), 1);
    EXPECT_TRUE(readable);
    EXPECT_GT(caught, 0);
    itimerval never = {};
    setitimer(ITIMER_REAL, &never, nullptr);
    stop_counting(counted);
    os_waitpid(child);
    close(ends[0]);
    close(ends[1]);
}

// ---- Files

TEST(Files, AreOpenedReadAndWritten) {
    std::string path = scratch_directory() + "/file";
    EXPECT_EQ(os_fopen(path.c_str(), "r"), nullptr);
    EXPECT_EQ(errno, ENOENT);
    FILE *stream = os_fopen(path.c_str(), "w");
    ASSERT_NE(stream, nullptr);
    fputs("text", stream);
    EXPECT_EQ(os_fclose(stream), 0);
    EXPECT_EQ(file_contents(path), "text");
}

TEST(Files, ClosingTellsWhatCouldNotBeWritten) {
    FILE *full = os_fopen("/dev/full", "w");
    ASSERT_NE(full, nullptr);
    fputs("text", full);
    EXPECT_EQ(os_fclose(full), -1);
}

TEST(Files, ExistRenameAndUnlink) {
    std::string here = scratch_directory();
    std::string one = here + "/one", two = here + "/two", link = here + "/link";
    put(one, "text");
    std::filesystem::create_symlink(here + "/nowhere", link);
    EXPECT_TRUE(os_exists(one.c_str()));
    EXPECT_TRUE(os_exists(here.c_str()));
    EXPECT_FALSE(os_exists(two.c_str()));
    EXPECT_FALSE(os_exists(link.c_str()));
    EXPECT_EQ(os_rename(one.c_str(), two.c_str()), 0);
    EXPECT_EQ(os_rename(one.c_str(), two.c_str()), -1);
    EXPECT_EQ(file_contents(two), "text");
    EXPECT_EQ(os_unlink(two.c_str()), 0);
    EXPECT_EQ(os_unlink(two.c_str()), -1);
    EXPECT_FALSE(os_exists(two.c_str()));
}

TEST(Files, ADirectoryIsListedWithoutItselfAndTheOneAbove) {
    std::string here = scratch_directory();
    put(here + "/a", "");
    put(here + "/.hidden", "");
    put(here + "/..b", "");
    std::filesystem::create_directory(here + "/c");
    std::vector<std::string> names = {"before"};
    EXPECT_EQ(os_list_directory(here.c_str(), &names), 0);
    std::sort(names.begin(), names.end());
    EXPECT_EQ(names, (std::vector<std::string>{"..b", ".hidden", "a", "before", "c"}));
    names.clear();
    EXPECT_EQ(os_list_directory((here + "/nothing").c_str(), &names), -1);
    EXPECT_EQ(os_list_directory((here + "/a").c_str(), &names), -1);
    EXPECT_TRUE(names.empty());
}

// ---- The shell

TEST(Shell, GivesTheStatusOfTheCommand) {
    int status = os_system("exit 3");
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 3) << status;
    EXPECT_EQ(os_system("test \"$(echo a b)\" = 'a b'"), 0);
}

TEST(Shell, GivesWhatTheCommandPrints) {
    FILE *stream = os_popen("echo one; echo two; exit 2");
    ASSERT_NE(stream, nullptr);
    char text[32] = "";
    EXPECT_EQ(fread(text, 1, sizeof text, stream), 8u);
    EXPECT_STREQ(text, "one\ntwo\n");
    int status = os_pclose(stream);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 2) << status;
}

// ---- Time, user and log

static double now_s() {
    timespec now = {};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) / 1e9;
}

// Runs `sleep` with a signal after 200 ms and returns how long it took.
template <class Sleep> static double interrupted(Sleep sleep) {
    counted_signal counted = count_signal(SIGALRM);
    caught = 0;
    itimerval once = {{0, 0}, {0, 200000}};
    double before = now_s();
    setitimer(ITIMER_REAL, &once, nullptr);
    sleep();
    double took = now_s() - before;
    EXPECT_EQ(caught, 1);
    stop_counting(counted);
    return took;
}

TEST(Sleep, ASignalDoesNotEndItEarly) {
    EXPECT_GE(interrupted([] { os_sleep(1); }), 1.0);
    EXPECT_GE(interrupted([] { os_usleep(550000); }), 0.55); // a chip's wait
}

TEST(Sleep, OfNoTimeIsNone) {
    double before = now_s();
    os_sleep(0);
    os_usleep(0);
    EXPECT_LT(now_s() - before, 0.9);
}

TEST(Time, IsThatOfTheClock) {
    time_t before = time(nullptr);
    time_t now = os_time();
    EXPECT_LE(before, now);
    EXPECT_LE(now, time(nullptr));
}

TEST(User, IsTheRealOne) {
    if (getuid() != 0)
        GTEST_SKIP() << "only root can be somebody else";
    ASSERT_EQ(setresuid(1234, 0, 0), 0);
    uint32_t user = os_getuid();
    EXPECT_EQ(setresuid(0, 0, 0), 0);
    EXPECT_EQ(user, 1234u);
}

// What goes to the log is seen on standard error when it is asked for.
TEST(SystemLog, SaysWhoAndWhat) {
    fflush(stderr);
    std::string path = scratch_directory() + "/errors";
    int kept = dup(STDERR_FILENO);
    int file = open(path.c_str(), O_WRONLY | O_CREAT, 0600);
    dup2(file, STDERR_FILENO);
    os_syslog("kes2", LOG_PID | LOG_PERROR, 0, LOG_INFO, "50% of %s");
    dup2(kept, STDERR_FILENO);
    close(kept);
    close(file);
    EXPECT_EQ(file_contents(path), "kes2[" + std::to_string(getpid()) + "]: 50% of %s\n");
}
