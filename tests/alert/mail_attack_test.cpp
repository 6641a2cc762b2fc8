// Mails over the real door, while another user does in /tmp whatever he can: every one is sent.
#include <cerrno>
#include <csignal>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <grp.h>
#include <gtest/gtest.h>
#include <sched.h>
#include <sstream>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "alert/mail.h"
#include "hw/os.h"

static const char SCRIPT[] = "/tmp/KestrelMailAlert";
static const char PRECIOUS[] = "/tmp/of-root/precious";
constexpr int MAILS = 400;
constexpr uid_t NOBODY = 65534;

// ---- The attacker

static int create(const char *path, int flags) {
    int fd = open(path, O_WRONLY | O_CREAT | flags, 0777);
    return fd < 0 ? -1 : close(fd);
}

// Whatever can be at the path that the script will have, but a directory.
static int take_the_path(unsigned turn) {
    switch (turn % 6) {
    case 0:
        return create(SCRIPT, O_EXCL);
    case 1:
        return symlink(PRECIOUS, SCRIPT);
    case 2:
        return mkfifo(SCRIPT, 0777);
    case 3:
        return link(PRECIOUS, SCRIPT);
    case 4:
        return create("/tmp/attackers", 0) == 0 ? rename("/tmp/attackers", SCRIPT) : -1;
    default:
        return unlink(SCRIPT);
    }
}

// A name that is chosen by chance can be seen once it is there.
static void take_what_is_seen() {
    DIR *directory = opendir("/tmp");
    while (dirent *entry = readdir(directory)) {
        std::string path = std::string("/tmp/") + entry->d_name;
        if (strncmp(entry->d_name, "KestrelMailAlert.", 17) != 0)
            continue;
        create(path.c_str(), O_TRUNC);
        if (unlink(path.c_str()) == 0 || rename(path.c_str(), "/tmp/stolen") == 0)
            create(path.c_str(), O_EXCL);
    }
    closedir(directory);
}

[[noreturn]] static void attack() {
    if (setgroups(0, nullptr) != 0 || setgid(NOBODY) != 0 || setuid(NOBODY) != 0)
        _exit(1);
    for (unsigned turn = 0;; turn++) {
        take_the_path(turn);
        if (turn % 64 == 0)
            take_what_is_seen();
    }
}

static pid_t start_attack() {
    pid_t attacker = fork();
    if (attacker == 0)
        attack();
    return attacker;
}

static void end_attack(pid_t attacker) {
    int status = 0;
    kill(attacker, SIGKILL);
    waitpid(attacker, &status, 0);
    EXPECT_TRUE(WIFSIGNALED(status)) << "he has not attacked";
}

// ---- The sender

// A /tmp that only this process and its children see, with a mail command that counts.
static bool make_private_tmp() {
    if (unshare(CLONE_NEWNS) != 0 || mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
        mount("none", "/tmp", "tmpfs", 0, "mode=1777") != 0)
        return false;
    std::filesystem::create_directory("/tmp/of-root");
    std::ofstream(PRECIOUS) << "precious";
    std::ofstream("/tmp/of-root/mail") << "#!/bin/sh\necho >>/tmp/of-root/sent\n";
    chmod("/tmp/of-root/mail", 0755);
    setenv("PATH", "/tmp/of-root", 1);
    return true;
}

static std::string contents(const std::string &path) {
    std::ostringstream text;
    text << std::ifstream(path).rdbuf();
    return text.str();
}

// Beside the script; what the attacker has put there does not count.
static int files_left() {
    int count = 0;
    for (const auto &entry : std::filesystem::directory_iterator("/tmp")) {
        struct stat status = {};
        bool ours = lstat(entry.path().c_str(), &status) == 0 && status.st_uid == 0;
        count += ours && entry.path().string().find(std::string(SCRIPT) + ".") == 0 ? 1 : 0;
    }
    return count;
}

static void send_all() {
    pid_t attackers[] = {start_attack(), start_attack()};
    int sent = 0;
    for (int i = 0; i < MAILS; i++)
        sent += send_mail(HEALTH_MAIL, "root", "node 7", "FAN1 Failed(Bad)!\n") == MAIL_SENT ? 1 : 0;
    for (pid_t attacker : attackers)
        end_attack(attacker);
    EXPECT_EQ(sent, MAILS);
    EXPECT_EQ(contents("/tmp/of-root/sent").size(), static_cast<size_t>(MAILS)) << "a line each";
    EXPECT_EQ(contents(PRECIOUS), "precious");
    EXPECT_EQ(files_left(), 0);
}

// In a process of its own, whose /tmp ends with it. What bash says of each mail is not of interest.
TEST(MailAttack, EveryMailIsSent) {
    if (geteuid() != 0)
        GTEST_SKIP() << "only root can become another user";
    pid_t child = fork();
    if (child == 0) {
        if (!make_private_tmp())
            _exit(2);
        int nowhere = open("/dev/null", O_WRONLY | O_CLOEXEC);
        dup2(nowhere, STDERR_FILENO);
        send_all();
        _exit(testing::Test::HasFailure() ? 1 : 0);
    }
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    if (WIFEXITED(status) && WEXITSTATUS(status) == 2)
        GTEST_SKIP() << "no /tmp of its own can be had here";
    EXPECT_EQ(status, 0);
}
