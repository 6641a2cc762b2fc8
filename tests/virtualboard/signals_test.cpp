// Signals that end a run: the private copy goes, the trace ends with a complete line, nothing is half done,
// and the run ends as the signal would have ended it.
#include <csignal>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <sstream>
#include <sys/wait.h>
#include <unistd.h>

#include "support/run.h"

struct started_run {
    pid_t child;
    int out; // where its output can be read
};

// kestrel-virtual in a process of its own, its temporary files below `temporary`.
static started_run start(const std::string &temporary, std::vector<std::string> words) {
    words.insert(words.begin(), KESTREL_VIRTUAL);
    std::vector<char *> arguments;
    for (std::string &word : words)
        arguments.push_back(word.data());
    arguments.push_back(nullptr);
    int ends[2];
    EXPECT_EQ(pipe(ends), 0);
    pid_t child = fork();
    if (child == 0) {
        for (int number : {SIGINT, SIGTERM, SIGHUP, SIGPIPE})
            signal(number, SIG_DFL);
        setenv("TMPDIR", temporary.c_str(), 1);
        dup2(ends[1], 1);
        close(ends[0]);
        close(ends[1]);
        execv(arguments[0], arguments.data());
        _exit(127);
    }
    close(ends[1]);
    return {child, ends[0]};
}

// Until the program has printed its first report, which it does when all is set up. The last line has the
// time after its dashes.
static void wait_for_report(int out) {
    std::string seen;
    char buffer[512];
    while (seen.find("----- ") == std::string::npos) {
        ssize_t count = read(out, buffer, sizeof buffer);
        ASSERT_GT(count, 0) << seen;
        seen.append(buffer, static_cast<size_t>(count));
    }
}

static int status_of(const started_run &run) {
    int status = 0;
    waitpid(run.child, &status, 0);
    return status;
}

static std::string last_line(const std::string &text) {
    if (text.empty() || text.back() != '\n')
        return "cut short: " + text.substr(text.rfind('\n') + 1);
    size_t before = text.rfind('\n', text.size() - 2);
    return text.substr(before + 1, text.size() - before - 2);
}

TEST(VirtualSignals, ASleepingRunIsEndedAtOnceAndCleansUp) {
    for (int number : {SIGINT, SIGTERM, SIGHUP}) {
        std::string temporary = scratch_directory();
        std::string trace = scratch_directory() + "/trace";
        started_run run = start(temporary, {"--trace", trace, "w83627hf", "-t", "-i", "1000"});
        wait_for_report(run.out);
        kill(run.child, number);
        int status = status_of(run);
        close(run.out);
        EXPECT_TRUE(WIFSIGNALED(status)) << number;
        EXPECT_EQ(WTERMSIG(status), number);
        EXPECT_TRUE(std::filesystem::is_empty(temporary)) << number;
        EXPECT_EQ(last_line(file_contents(trace)), "sleep 1000") << number;
    }
}

// The monitor's bank-select register (0x80) is back whenever the run ends.
TEST(VirtualSignals, ABusyRunIsEndedBetweenTwoSequences) {
    for (int i = 0; i < 20; i++) {
        std::string temporary = scratch_directory();
        std::string trace = scratch_directory() + "/trace";
        started_run run = start(temporary, {"--fast", "--trace", trace, "w83627hf", "-t", "-i", "1"});
        wait_for_report(run.out);
        usleep(static_cast<useconds_t>(i * 211));
        kill(run.child, SIGTERM);
        char buffer[4096];
        while (read(run.out, buffer, sizeof buffer) > 0) {
        }
        int status = status_of(run);
        close(run.out);
        EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGTERM) << status;
        EXPECT_TRUE(std::filesystem::is_empty(temporary));
        std::string last = last_line(file_contents(trace));
        EXPECT_TRUE(last == "outb 0296 80" || last == "sleep 1") << last;
    }
}

TEST(VirtualSignals, AReaderThatGoesAwayEndsTheRun) {
    std::string temporary = scratch_directory();
    started_run run = start(temporary, {"--fast", "w83627hf", "-t", "-i", "1"});
    wait_for_report(run.out);
    close(run.out);
    int status = status_of(run);
    EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGPIPE) << status;
    EXPECT_TRUE(std::filesystem::is_empty(temporary));
}

TEST(VirtualSignals, OneThatIsIgnoredStaysIgnored) {
    std::string temporary = scratch_directory();
    signal(SIGHUP, SIG_IGN);
    setenv("TMPDIR", temporary.c_str(), 1);
    pid_t child = fork();
    if (child == 0) {
        int out = open("/dev/null", O_WRONLY);
        dup2(out, 1);
        execl(KESTREL_VIRTUAL, KESTREL_VIRTUAL, "--sleeps", "2", "w83627hf", "-t", "-i", "1", nullptr);
        _exit(127);
    }
    unsetenv("TMPDIR");
    signal(SIGHUP, SIG_DFL);
    for (int i = 0; i < 5; i++) {
        usleep(100000);
        kill(child, SIGHUP);
    }
    int status = 0;
    waitpid(child, &status, 0);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status;
    EXPECT_TRUE(std::filesystem::is_empty(temporary));
}
