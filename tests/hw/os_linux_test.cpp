// The real door on real files and processes. What needs ports or devices is right by reading.
#include "hw/os.h"

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/time.h>
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
