// What a reader at the other end of a pipe sees, and when: each line when it is made. In real time; a program
// that held its lines back would be waited for in vain, so no test is decided by how fast this machine is.
#include <csignal>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include "boards.h"

struct piped_run {
    pid_t child;
    int output; // to read from
};

static void become(const std::vector<std::string> &words, int output) {
    dup2(output, STDOUT_FILENO);
    std::vector<char *> arguments;
    for (const std::string &word : words)
        arguments.push_back(const_cast<char *>(word.c_str()));
    arguments.push_back(nullptr);
    execv(KESTREL_VIRTUAL, arguments.data());
    _exit(127);
}

static piped_run start(const std::vector<std::string> &words) {
    std::vector<std::string> all = {KESTREL_VIRTUAL};
    all.insert(all.end(), words.begin(), words.end());
    int ends[2];
    EXPECT_EQ(pipe2(ends, O_CLOEXEC), 0);
    pid_t child = fork();
    if (child == 0)
        become(all, ends[1]);
    close(ends[1]);
    return {child, ends[0]};
}

// What comes until `wanted` is among it, or nothing more comes for `patience_s`.
static std::string read_until(const piped_run &run, const std::string &wanted, int patience_s) {
    std::string text;
    pollfd from = {run.output, POLLIN, 0};
    char bytes[4096];
    while (text.find(wanted) == std::string::npos && poll(&from, 1, patience_s * 1000) == 1) {
        ssize_t count = read(run.output, bytes, sizeof bytes);
        if (count <= 0)
            break;
        text.append(bytes, static_cast<size_t>(count));
    }
    return text;
}

static void end(const piped_run &run) {
    kill(run.child, SIGTERM);
    close(run.output);
    waitpid(run.child, nullptr, 0);
}

static const std::string LAST_LINE = "--------------------------------------------- ";

// The second one is due after a quarter of an hour.
TEST(Pipe, AReportIsThereBeforeTheNextIsDue) {
    piped_run run = start({"w83627hf", "-t", "-i", "900"});
    std::string text = read_until(run, LAST_LINE, 60);
    std::string expected = file_contents(BOARDS "/w83627hf/expect/report.txt");
    EXPECT_EQ(text.substr(0, text.find(LAST_LINE)), expected.substr(0, expected.find(LAST_LINE)));
    EXPECT_EQ(count_of(text, "Monitored Item"), 1);
    end(run);
}

// Registers that need 0.55 s for a reading; thirty of them take 16 s.
static std::string slow_configuration() {
    std::string configuration = "[System]\nBUSTYPE=1\n";
    for (int i = 0; i < 30; i++)
        configuration += "\n[Item]\nITEM_NAME=Slow " + std::to_string(i) +
                         "\nITEM_CAT=SWITCH\nBUSTYPE=8\nCHIPCODE=11\nSLAVE=2f\nOFFSET=44\nACTIVATE=1\n"
                         "MONITOR=TRUE\nPARAINDEX1=Bits\nPARAINDEX2=Bits\n";
    return configuration + "\n[Parameter]\nPARAMETER=Bits\nSLAVE=2f\nOFFSET=46\nBITMASK=80\n";
}

TEST(Pipe, ALineIsThereBeforeTheReportIs) {
    std::string configuration = slow_configuration();
    std::string toml = changed(shipped("w83793g-i801"), "configuration = \"R2M-D4\"", "");
    piped_run run = start({make_board(toml, &configuration), "-t"});
    EXPECT_EQ(read_until(run, "boards\n", 60), BANNER);
    end(run);
}
