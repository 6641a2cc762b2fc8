// What of a caller's environment is kept for a program of root.
#include "hw/environment.h"

#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/wait.h>
#include <unistd.h>

#include "support/run.h"

#define SYSTEM "/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin"

// A system with a few directories of root: "/link" leads to one of them, "/colon" to one with a colon.
static std::string own(const std::string &directory) {
    for (const char *roots : {"/opt/bin", "/usr/games", "/usr/bin", "/usr/sbin", "/bin"})
        if (directory == roots)
            return roots;
    if (directory == "/link")
        return "/opt/bin";
    return directory == "/colon" ? "/opt/a:b" : "";
}

TEST(Path, KeepsRootsOwnDirectoriesInTheirOrderBeforeTheSystems) {
    const struct {
        const char *callers;
        const char *made;
    } table[] = {
        {"", SYSTEM},
        {SYSTEM, "/usr/sbin:/usr/bin:/bin:/usr/local/sbin:/usr/local/bin:/sbin"},
        {"/opt/bin", "/opt/bin:" SYSTEM},
        {"/home/joe/bin:/opt/bin:/usr/games", "/opt/bin:/usr/games:" SYSTEM},
        {"/usr/games:/opt/bin:/usr/games", "/usr/games:/opt/bin:" SYSTEM},
        {"/link", "/opt/bin:" SYSTEM}, // the place itself: the link may be anybody's
        {"/link:/opt/bin", "/opt/bin:" SYSTEM},
        {"/colon", SYSTEM}, // it would make two of itself, one of them relative
        {":", SYSTEM},
        {"::/opt/bin::", "/opt/bin:" SYSTEM},
        {".:bin:opt/bin:~/bin", SYSTEM},
        {"/usr/bin:/home/joe", "/usr/bin:/usr/local/sbin:/usr/local/bin:/usr/sbin:/sbin:/bin"},
    };
    for (const auto &row : table)
        EXPECT_EQ(safe_path(row.callers, own), row.made) << row.callers;
}

TEST(Path, OnlyRootChangesItsDirectoriesThatNobodyElseMayWrite) {
    const struct {
        mode_t mode;
        uid_t owner;
        bool expected;
    } table[] = {
        {S_IFDIR | 0755, 0, true},      {S_IFDIR | 0700, 0, true},     {S_IFDIR | 0555, 0, true},
        {S_IFDIR | 01755, 0, true},     {S_IFDIR | 0755, 1000, false}, {S_IFDIR | 0775, 0, false},
        {S_IFDIR | 0757, 0, false},     {S_IFDIR | 0777, 0, false},    {S_IFDIR | S_ISVTX | 0777, 0, false},
        {S_IFDIR | 02775, 0, false},    {S_IFREG | 0755, 0, false},    {S_IFLNK | 0755, 0, false},
        {S_IFDIR | 0755, 65534, false},
    };
    for (const auto &row : table) {
        struct stat status = {};
        status.st_mode = row.mode;
        status.st_uid = row.owner;
        EXPECT_EQ(only_root_changes(status), row.expected) << std::oct << row.mode << " " << row.owner;
    }
}

TEST(Path, ADirectoryOfTheSystemIsRoots) {
    EXPECT_EQ(roots_own_directory("/"), "/");
    EXPECT_EQ(roots_own_directory("/usr/bin"), "/usr/bin");
    EXPECT_EQ(roots_own_directory("/usr/bin/"), "/usr/bin");
    EXPECT_EQ(roots_own_directory("//usr/lib/../bin/."), "/usr/bin");
    EXPECT_EQ(roots_own_directory("/usr/bin/env"), ""); // a file
    EXPECT_EQ(roots_own_directory("/nonexistent"), "");
}

// Whatever it belongs to: everybody may write into what it lies in.
TEST(Path, WhatLiesBelowADirectoryOfEverybodyIsNotRoots) {
    EXPECT_EQ(roots_own_directory("/tmp"), "");
    EXPECT_EQ(roots_own_directory(scratch_directory()), ""); // below /tmp
}

TEST(Path, NothingRelativeIsRoots) {
    std::filesystem::path before = std::filesystem::current_path();
    std::filesystem::current_path("/usr");
    for (const char *relative : {"", ".", "..", "bin", "./bin", "~", "~/bin"})
        EXPECT_EQ(roots_own_directory(relative), "") << relative;
    std::filesystem::current_path(before);
}

TEST(Path, LinksAreFollowedToTheirEnds) {
    std::string here = scratch_directory();
    std::filesystem::create_symlink("/usr/bin", here + "/systems");
    std::filesystem::create_symlink(here, here + "/ours");
    std::filesystem::create_symlink("loop", here + "/loop");
    EXPECT_EQ(roots_own_directory(here + "/systems"), "/usr/bin");
    EXPECT_EQ(roots_own_directory(here + "/ours/systems/../bin"), "/usr/bin");
    EXPECT_EQ(roots_own_directory(here + "/ours"), "");
    EXPECT_EQ(roots_own_directory(here + "/loop"), "");
    EXPECT_EQ(roots_own_directory("/proc/self/root/usr/bin"), "/usr/bin");
    EXPECT_EQ(roots_own_directory("/proc/self/cwd/" + here), "");
}

// 0: as expected, 1: not, 2: nothing can be mounted here.
static int look_at_mounted(unsigned long flags, const char *expected) {
    pid_t child = fork();
    if (child == 0) {
        if (unshare(CLONE_NEWNS) != 0 || mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
            mount("none", "/mnt", "tmpfs", flags, "mode=0755") != 0)
            _exit(2);
        _exit(roots_own_directory("/mnt") == expected ? 0 : 1);
    }
    int status = 0;
    waitpid(child, &status, 0);
    return WEXITSTATUS(status);
}

// He has made the files on it, whatever their owner is.
TEST(Path, AUsersMediumIsNotRoots) {
    int of_root = look_at_mounted(0, "/mnt");
    if (of_root == 2)
        GTEST_SKIP() << "nothing can be mounted here";
    EXPECT_EQ(of_root, 0);
    EXPECT_EQ(look_at_mounted(MS_NOSUID | MS_NODEV, ""), 0);
}

// ---- Values

TEST(Environment, AValueWithoutAPathOrAConversionIsAChoice) {
    for (const char *choice : {"", "de_DE.UTF-8", "de:en", "gail:atk-bridge", "xterm-256color", "UTC",
                               "CET-1CEST", "@im=ibus", "..", ".", "a b\n", "\x1B\xFF"})
        EXPECT_TRUE(chooses_only(choice)) << choice;
    for (const char *refused : {"/", "/home/joe", "a/b", "../x", ":/fifo", "de%n", "%", "Europe/Berlin"})
        EXPECT_FALSE(chooses_only(refused)) << refused;
}

static std::string joined(const std::vector<std::string> &entries) {
    std::string text;
    for (const std::string &entry : entries)
        text += entry + "\n";
    return text;
}

static std::string made(std::vector<const char *> callers) {
    callers.push_back(nullptr);
    return joined(safe_environment(callers.data(), own));
}

#define ROOTS "PATH=" SYSTEM "\nHOME=/root\nUSER=root\nLOGNAME=root\n"

TEST(Environment, IsRootsWhateverTheCallersIs) {
    EXPECT_EQ(made({}), ROOTS);
    EXPECT_EQ(joined(safe_environment(nullptr, own)), ROOTS);
    EXPECT_EQ(made({"USER=joe", "LOGNAME=joe", "SHELL=/home/joe/sh", "MAIL=/home/joe/mail"}), ROOTS);
    EXPECT_EQ(made({"PATH=/home/joe:/opt/bin"}),
              "PATH=/opt/bin:" SYSTEM "\nHOME=/root\nUSER=root\nLOGNAME=root\n");
}

TEST(Environment, ChoicesAreKept) {
    for (const char *kept : {"LANG=de_DE.UTF-8", "LANGUAGE=de:en", "LC_ALL=C", "LC_TIME=ja_JP.eucJP",
                             "LC_MESSAGES=", "TERM=xterm", "TZ=CET-1CEST", "GTK_MODULES=gail:atk-bridge",
                             "GTK_IM_MODULE=ibus", "XMODIFIERS=@im=ibus"})
        EXPECT_EQ(made({kept}), std::string(kept) + "\n" ROOTS);
}

TEST(Environment, ChoicesThatNamePathsOrConversionsAreNot) {
    for (const char *name : {"LANG", "LANGUAGE", "LC_ALL", "LC_MESSAGES", "TERM", "TZ", "GTK_MODULES",
                             "GTK_IM_MODULE", "XMODIFIERS"})
        for (const char *value : {"/home/joe/x", "../../home/joe/x", "de:/home/joe", "%n%n", ":/fifo"}) {
            std::string entry = std::string(name) + "=" + value;
            EXPECT_EQ(made({entry.c_str()}), ROOTS) << entry;
        }
}

TEST(Environment, WhatNamesFilesAndProgramsIsNot) {
    for (const char *entry : {"BASH_ENV=x",
                              "ENV=x",
                              "BASH_FUNC_mail%%=() { id; }",
                              "IFS=x",
                              "SHELLOPTS=xtrace",
                              "PS4=x",
                              "LOCPATH=x",
                              "NLSPATH=x",
                              "GCONV_PATH=x",
                              "TZDIR=x",
                              "TERMINFO=x",
                              "TERMINFO_DIRS=x",
                              "LD_LIBRARY_PATH=x",
                              "GTK_PATH=x",
                              "GTK2_RC_FILES=x",
                              "GTK_RC_FILES=x",
                              "GTK_IM_MODULE_FILE=x",
                              "GDK_PIXBUF_MODULE_FILE=x",
                              "GTK_EXE_PREFIX=x",
                              "GTK_DATA_PREFIX=x",
                              "XDG_DATA_DIRS=x",
                              "XDG_DATA_HOME=x",
                              "FONTCONFIG_FILE=x",
                              "XLOCALEDIR=x",
                              "XCURSOR_PATH=x",
                              "XENVIRONMENT=x",
                              "MAILRC=x",
                              "DEAD=x",
                              "EDITOR=x",
                              "PAGER=x",
                              "MALLOC_TRACE=x",
                              "TMPDIR=x",
                              "LCX=no",
                              "LC=no",
                              "DISPLAYED=no",
                              "LANGUAGES=no",
                              "GTK_MODULES_TOO=no",
                              "no value",
                              "LANG",
                              "=",
                              "=x",
                              ""})
        EXPECT_EQ(made({entry}), ROOTS) << entry;
}

TEST(Environment, TheDisplayAndItsKeyAreKept) {
    EXPECT_EQ(made({"DISPLAY=:7", "XAUTHORITY=/run/user/7/key", "HOME=/home/joe"}),
              "DISPLAY=:7\nXAUTHORITY=/run/user/7/key\n" ROOTS);
}

// It is that of whom the display belongs to, though HOME becomes root's.
TEST(Environment, TheDisplaysKeyLiesInTheCallersHome) {
    EXPECT_EQ(made({"HOME=/home/joe"}), "XAUTHORITY=/home/joe/.Xauthority\n" ROOTS);
    EXPECT_EQ(made({"HOME=/home/joe", "XAUTHORITY="}), "XAUTHORITY=\n" ROOTS);
}

// With execve anything can be handed on. The first value counts, as for whoever asks for it.
TEST(Environment, OfTwoValuesTheFirstOneCounts) {
    EXPECT_EQ(made({"LANG=de", "LANG=/home/joe"}), "LANG=de\n" ROOTS);
    EXPECT_EQ(made({"LANG=/home/joe", "LANG=de"}), ROOTS);
    EXPECT_EQ(made({"DISPLAY=:7", "DISPLAY=:8"}), "DISPLAY=:7\n" ROOTS);
    EXPECT_EQ(made({"PATH=/home/joe", "PATH=/opt/bin"}), ROOTS);
}
