// The board's mail command, and processes over the virtual door.
#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "support/run.h"

#define HEALTH_MAIL_TO "-s\nAlert: system health warning!\n"
#define TEXT                                                                                                 \
    "The system 'node 7' has the following health information:\n"                                            \
    "FAN1 Failed(Bad)!\nat Mon Jan  5 10:00:00 2026\n"

struct mail_run {
    run_result result;
    std::string root; // what was left
    std::string trace;
};

// A health mail to `words[0]`, under `words[1]`, on a board with `toml`; `before` is put before the command.
static mail_run send(const std::string &toml, const std::vector<std::string> &words,
                     const std::vector<std::string> &before = {}) {
    std::string root = scratch_directory() + "/kept";
    std::string trace = scratch_directory() + "/trace";
    std::vector<std::string> all = before;
    for (const std::string &word :
         {std::string(SEND_MAIL), std::string("--clock"), std::string("2026-01-05 10:00:00"),
          std::string("--keep"), root, std::string("--trace"), trace, make_board(toml, nullptr),
          std::string("health")})
        all.push_back(word);
    all.insert(all.end(), words.begin(), words.end());
    return {run(all), root, file_contents(trace)};
}

static bool ends_with(const std::string &text, const std::string &end) {
    return text.size() >= end.size() && text.compare(text.size() - end.size(), end.size(), end) == 0;
}

static mode_t mode_of(const std::string &path) {
    struct stat status = {};
    EXPECT_EQ(lstat(path.c_str(), &status), 0) << path;
    return status.st_mode & 07777;
}

#define ASIDE "/tmp/KestrelMailAlert.00000000000000000000000000000000"
#define MADE "create " ASIDE " 0600\nfchmod 0100\n"
#define PUT "rename " ASIDE " /tmp/KestrelMailAlert"
#define WRITTEN MADE PUT "\n"

TEST(VirtualMail, IsKeptAsItWasGiven) {
    mail_run sent = send("", {"root a@b", "node 7"});
    EXPECT_EQ(sent.result.status, 0);
    EXPECT_EQ(sent.result.out, "begin, sent\n");
    EXPECT_EQ(file_contents(sent.root + "/var/mail/1"), HEALTH_MAIL_TO "root\na@b\n\n" TEXT);
    EXPECT_TRUE(ends_with(sent.result.err,
                          "\nkestrel-virtual: mail to root a@b kept in " + sent.root + "/var/mail/1\n"))
        << sent.result.err;
    EXPECT_EQ(sent.trace, WRITTEN "fork\nexec /tmp/KestrelMailAlert\nwaitpid\n");
    EXPECT_EQ(mode_of(sent.root + "/tmp/KestrelMailAlert"), 0100u);
}

// As with every text from a file: a pipe gets the recipients byte for byte.
TEST(VirtualMail, RecipientsAreHarmlessOnATerminal) {
    const std::string recipient = "M\xC3\xBCller\xC2\x9B\xE2\x80\xAE";
    int reads = posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
    ASSERT_EQ(grantpt(reads), 0);
    ASSERT_EQ(unlockpt(reads), 0);
    // Open here too, so that what is written stays until it is read.
    int writes = open(ptsname(reads), O_RDWR | O_NOCTTY | O_CLOEXEC);
    mail_run sent = send("", {recipient, "node 7"},
                         {"/bin/sh", "-c", "exec \"$@\" 2>" + std::string(ptsname(reads)), "sh"});
    char shown[4096];
    ssize_t count = read(reads, shown, sizeof shown);
    EXPECT_NE(std::string(shown, std::max<ssize_t>(count, 0))
                  .find("kestrel-virtual: mail to M\xC3\xBCller?? kept in " + sent.root),
              std::string::npos);
    close(writes);
    close(reads);
    sent = send("", {recipient, "node 7"});
    EXPECT_NE(sent.result.err.find("kestrel-virtual: mail to " + recipient + " kept in "), std::string::npos);
}

// Each in a file of its own; the child's copy of what the trace and standard output hold is not written.
TEST(VirtualMail, SeveralAreKept) {
    mail_run sent = send("", {"root", "node 7", "3"});
    EXPECT_EQ(sent.result.out, "begin, sent, sent, sent\n");
    for (const char *number : {"1", "2", "3"})
        EXPECT_EQ(file_contents(sent.root + "/var/mail/" + number), HEALTH_MAIL_TO "root\n\n" TEXT) << number;
    std::string one = WRITTEN "fork\nexec /tmp/KestrelMailAlert\nwaitpid\n";
    EXPECT_EQ(sent.trace, one + one + one);
}

TEST(VirtualMail, ARunThatKeepsNothingOnlySaysIt) {
    std::string temporary = scratch_directory();
    run_result result = run({"/usr/bin/env", "TMPDIR=" + temporary, SEND_MAIL, make_board("", nullptr),
                             "test", "root", "node 7"});
    EXPECT_EQ(result.out, "begin, sent\n");
    EXPECT_TRUE(ends_with(result.err, "\nkestrel-virtual: mail to root\n")) << result.err;
    EXPECT_TRUE(std::filesystem::is_empty(temporary));
}

// Root may read a file of mode 0100, other users may not.
TEST(VirtualMail, NeedsNoRightsOfRoot) {
    std::vector<std::string> without_rights;
    if (geteuid() == 0)
        without_rights = {"/usr/bin/setpriv", "--bounding-set=-dac_override,-dac_read_search"};
    mail_run sent = send("", {"root", "node 7"}, without_rights);
    if (sent.result.err.find("setpriv: ") == 0)
        GTEST_SKIP() << sent.result.err;
    EXPECT_EQ(file_contents(sent.root + "/var/mail/1"), HEALTH_MAIL_TO "root\n\n" TEXT) << sent.result.err;
    EXPECT_EQ(mode_of(sent.root + "/tmp/KestrelMailAlert"), 0100u);
}

// Neither by its place nor by a function or a start-up file that the environment brings.
TEST(VirtualMail, TheMachinesOwnCommandIsNeverRun) {
    std::string own = scratch_directory();
    std::string shout = "#!/bin/bash\necho run >" + own + "/run\n";
    std::ofstream(own + "/mail") << shout;
    std::filesystem::permissions(own + "/mail", std::filesystem::perms::owner_all);
    for (const char *toml : {"", "[mail]\nmissing = true\n"})
        for (const std::string &brought : {"PATH=" + own, "BASH_ENV=" + own + "/mail",
                                           "BASH_FUNC_mail%%=() { echo run >" + own + "/run; }"})
            EXPECT_EQ(send(toml, {"root", "node 7"}, {"/usr/bin/env", brought}).result.out, "begin, sent\n");
    EXPECT_FALSE(std::filesystem::exists(own + "/run"));
}

TEST(VirtualMail, ACommandThatIsMissingIsNotNoticed) {
    mail_run sent = send("[mail]\nmissing = true\n", {"root", "node 7"});
    EXPECT_EQ(sent.result.out, "begin, sent\n");
    EXPECT_TRUE(ends_with(sent.result.err, ": mail: command not found\n")) << sent.result.err;
    EXPECT_FALSE(std::filesystem::exists(sent.root + "/var/mail/1"));
}

TEST(VirtualMail, ACommandThatFailsTakesTheMessageFirst) {
    mail_run sent = send("[mail]\nstatus = 1\n", {"root", "node 7"});
    EXPECT_EQ(sent.result.out, "begin, sent\n");
    EXPECT_EQ(file_contents(sent.root + "/var/mail/1"), HEALTH_MAIL_TO "root\n\n" TEXT);
    run_result command = run({"/usr/bin/env", "-C", sent.root, "usr/bin/mail", "-s", "x", "root"});
    EXPECT_EQ(command.status, 1);
}

// The board's own clock does not move while it is waited for.
TEST(VirtualMail, ACommandThatHangsIsWaitedFor) {
    auto begin = std::chrono::steady_clock::now();
    mail_run sent = send("[mail]\nhangs_s = 1\n", {"root", "node 7", "2"});
    std::chrono::duration<double> passed = std::chrono::steady_clock::now() - begin;
    EXPECT_GE(passed.count(), 2.0);
    EXPECT_EQ(sent.result.out, "begin, sent, sent\n");
    EXPECT_EQ(file_contents(sent.root + "/var/mail/2"), HEALTH_MAIL_TO "root\n\n" TEXT);
}

TEST(VirtualMail, AForkThatIsRefusedFails) {
    for (const char *error : {"EAGAIN", "ENOMEM"}) {
        mail_run sent = send(std::string("[refused]\nfork = \"") + error + "\"\n", {"root", "node 7"});
        EXPECT_EQ(sent.result.out, "begin, no fork\n");
        EXPECT_EQ(sent.trace, WRITTEN "fork failed\n");
        EXPECT_FALSE(std::filesystem::exists(sent.root + "/var/mail/1"));
    }
}

TEST(VirtualMail, AWaitThatFailsComesAfterTheMail) {
    mail_run sent = send("[refused]\nwaitpid = \"ECHILD\"\n", {"root", "node 7"});
    EXPECT_EQ(sent.result.out, "begin, no wait\n");
    EXPECT_EQ(sent.trace, WRITTEN "fork\nexec /tmp/KestrelMailAlert\nwaitpid failed\n");
    EXPECT_EQ(file_contents(sent.root + "/var/mail/1"), HEALTH_MAIL_TO "root\n\n" TEXT);
}

TEST(VirtualMail, IsWaitedForWhateverTheCallerIgnores) {
    EXPECT_EQ(send("", {"root", "node 7"}, {"/usr/bin/env", "--ignore-signal=CHLD"}).result.out,
              "begin, sent\n");
}

TEST(VirtualMail, AScriptThatCannotBeMadeIsNotRun) {
    mail_run sent = send("[files]\n\"/tmp/KestrelMailAlert/x\" = \"\"\n", {"root", "node 7"}); // a directory
    EXPECT_EQ(sent.result.out, "begin, no script\n");
    EXPECT_EQ(sent.trace, MADE PUT " failed\nunlink " ASIDE "\n");
    EXPECT_EQ(sent.result.err, "Warning: /tmp/KestrelMailAlert is a directory; no mail can be sent.\n");
}

static void wait_for_line(const std::string &path, const std::string &line) {
    for (int i = 0; i < 500 && file_contents(path).find(line + "\n") == std::string::npos; i++)
        usleep(10000);
    EXPECT_NE(file_contents(path).find(line + "\n"), std::string::npos) << line;
}

TEST(VirtualMail, ASignalEndsARunThatWaits) {
    std::string temporary = scratch_directory();
    std::string trace = scratch_directory() + "/trace";
    std::string board = make_board("[mail]\nhangs_s = 20\n", nullptr);
    pid_t child = fork();
    if (child == 0) {
        setpgid(0, 0);
        setenv("TMPDIR", temporary.c_str(), 1);
        int nowhere = open("/dev/null", O_WRONLY);
        dup2(nowhere, 1);
        dup2(nowhere, 2);
        execl(SEND_MAIL, SEND_MAIL, "--trace", trace.c_str(), board.c_str(), "health", "root", "node 7",
              nullptr);
        _exit(127);
    }
    wait_for_line(trace, "exec /tmp/KestrelMailAlert");
    kill(child, SIGTERM);
    int status = 0;
    EXPECT_EQ(waitpid(child, &status, 0), child);
    kill(-child, SIGKILL); // the mail command that still hangs
    EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGTERM) << status;
    EXPECT_TRUE(std::filesystem::is_empty(temporary));
    EXPECT_EQ(file_contents(trace), WRITTEN "fork\nexec /tmp/KestrelMailAlert\n");
}
