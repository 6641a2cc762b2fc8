// Faults on purpose: calls are numbered, the planned one fails or is the last.
#include "faults.h"

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <sstream>

#include "streams.h"
#include "support/run.h"

static std::vector<std::string> lines_of(const std::string &path) {
    std::vector<std::string> lines;
    std::istringstream text(file_contents(path));
    for (std::string line; std::getline(text, line);)
        lines.push_back(line);
    return lines;
}

// ---- By themselves

TEST(Faults, OnlyThePlannedCallFails) {
    plan_faults({.fail_at = 2, .error = EACCES});
    EXPECT_FALSE(call_fails("one"));
    errno = 0;
    EXPECT_TRUE(call_fails("two"));
    EXPECT_EQ(errno, EACCES);
    EXPECT_FALSE(call_fails("three"));
    plan_faults({.fail_at = 1, .error = EIO}); // starts counting again
    errno = 0;
    EXPECT_EQ(transfer_fails("one"), FAILED_TRANSFER);
    EXPECT_EQ(errno, EIO);
    plan_faults({});
    EXPECT_FALSE(call_fails("one"));
}

TEST(Faults, CallsThatCannotFailAreCounted) {
    plan_faults({.fail_at = 2, .error = EIO});
    count_call("one");
    count_call("two");
    EXPECT_FALSE(call_fails("three"));
    plan_faults({.fail_at = 2, .error = EIO});
    count_call("one");
    EXPECT_TRUE(call_fails("two"));
}

TEST(Faults, AShortTransferIsOneOfReadsAndWritesAlone) {
    plan_faults({.fail_at = 1, .error = SHORT_TRANSFER});
    EXPECT_FALSE(call_fails("one"));
    plan_faults({.fail_at = 1, .error = SHORT_TRANSFER});
    EXPECT_EQ(transfer_fails("one"), HALF_TRANSFER);
    EXPECT_EQ(transfer_fails("two"), WHOLE_TRANSFER);
}

TEST(Faults, TheNumberBehindAForkIsTheChilds) {
    plan_faults({.fail_at = 2, .error = ECHILD});
    EXPECT_FALSE(call_fails("fork"));
    leave_number_to_child();
    EXPECT_FALSE(call_fails("waitpid"));
    plan_faults({.fail_at = 3, .error = ECHILD});
    EXPECT_FALSE(call_fails("fork"));
    leave_number_to_child();
    EXPECT_TRUE(call_fails("waitpid"));
}

TEST(Faults, DyingEndsTheProcessWithoutAnything) {
    plan_faults({.die_at = 2});
    EXPECT_EXIT(
        {
            printf("in the buffer");
            count_call("one");
            count_call("two");
            exit(0);
        },
        testing::ExitedWithCode(97), "^$");
}

// ---- Streams

static FILE *stream_of(const std::string &contents, std::string *path, const char *mode) {
    *path = scratch_directory() + "/file";
    std::ofstream(*path, std::ios::binary) << contents;
    return make_stream(fopen(path->c_str(), mode), "NAME", mode);
}

static std::string rest_of(FILE *stream) {
    std::string text;
    for (int c; (c = getc(stream)) != EOF;)
        text += static_cast<char>(c);
    return text;
}

TEST(Streams, ReadWriteAndRewindAsFilesDo) {
    plan_faults({});
    std::string path;
    FILE *in = stream_of("twelve bytes", &path, "r");
    EXPECT_EQ(rest_of(in), "twelve bytes");
    rewind(in);
    EXPECT_EQ(rest_of(in), "twelve bytes");
    EXPECT_EQ(ferror(in), 0);
    EXPECT_EQ(fclose(in), 0);
    FILE *out = stream_of("before", &path, "w");
    fputs("after", out);
    EXPECT_GE(descriptor_of(out), 0);
    EXPECT_EQ(fclose(out), 0);
    EXPECT_EQ(file_contents(path), "after");
    EXPECT_EQ(make_stream(nullptr, "NAME", "r"), nullptr);
}

TEST(Streams, AReadThatFailsIsAnError) {
    std::string path;
    FILE *in = stream_of("twelve bytes", &path, "r");
    plan_faults({.fail_at = 1, .error = EIO});
    EXPECT_EQ(rest_of(in), "");
    EXPECT_NE(ferror(in), 0);
    EXPECT_EQ(fclose(in), 0);
}

// As of a pipe, or of a file while a signal comes: the next read goes on after it.
TEST(Streams, AShortReadIsFollowedByTheRest) {
    std::string path;
    FILE *in = stream_of("twelve bytes", &path, "r");
    plan_faults({.fail_at = 1, .error = SHORT_TRANSFER});
    EXPECT_EQ(getc(in), 't');
    EXPECT_EQ(in->_IO_read_end - in->_IO_read_base, 6); // what stdio has got so far
    EXPECT_EQ(rest_of(in), "welve bytes");
    EXPECT_EQ(ferror(in), 0);
    EXPECT_EQ(fclose(in), 0);
}

TEST(Streams, AShortReadOfALongFile) {
    std::string path;
    std::string text;
    for (int i = 0; i < 20000; i++)
        text += std::to_string(i) + "\n";
    FILE *in = stream_of(text, &path, "r");
    plan_faults({.fail_at = 2, .error = SHORT_TRANSFER});
    EXPECT_EQ(rest_of(in), text);
    EXPECT_EQ(fclose(in), 0);
}

TEST(Streams, AWriteThatFailsWritesNothing) {
    std::string path;
    FILE *out = stream_of("", &path, "w");
    plan_faults({.fail_at = 1, .error = EIO});
    fputs("twelve bytes", out);
    EXPECT_NE(fflush(out), 0);
    EXPECT_NE(ferror(out), 0);
    fclose(out);
    EXPECT_EQ(file_contents(path), "");
}

TEST(Streams, AShortWriteIsTheLastOne) {
    std::string path;
    FILE *out = stream_of("", &path, "w");
    plan_faults({.fail_at = 1, .error = SHORT_TRANSFER});
    fputs("twelve bytes", out);
    errno = 0;
    EXPECT_NE(fflush(out), 0);
    EXPECT_EQ(errno, ENOSPC);
    fputs("more", out);
    EXPECT_NE(fflush(out), 0);
    fclose(out);
    EXPECT_EQ(file_contents(path), "twelve");
}

TEST(Streams, ACloseThatFailsHasClosed) {
    std::string path;
    FILE *out = stream_of("", &path, "w");
    plan_faults({.fail_at = 2, .error = ENOSPC});
    fputs("twelve bytes", out);
    errno = 0;
    EXPECT_NE(fclose(out), 0);
    EXPECT_EQ(errno, ENOSPC);
    EXPECT_EQ(file_contents(path), "twelve bytes");
}

// ---- By kestrel-virtual's options

TEST(FaultOptions, CallsAreListed) {
    std::string board = make_board("uid = 5\nabsent = [\"/dev/qxbmc\", \"/dev/ipmidev/0\", \"/dev/ipmi/0\", "
                                   "\"/dev/ipmi0\"]\n",
                                   nullptr);
    std::string calls = scratch_directory() + "/calls";
    run_virtual({"--calls", calls, board, "-t"});
    EXPECT_EQ(lines_of(calls),
              (std::vector<std::string>{"1 open /dev/qxbmc", "2 open /dev/ipmidev/0", "3 open /dev/ipmi/0",
                                        "4 open /dev/ipmi0", "5 getuid"}));
}

static unsigned number_of(const std::string &calls, const std::string &call) {
    for (const std::string &line : lines_of(calls))
        if (line.substr(line.find(' ') + 1) == call)
            return static_cast<unsigned>(std::stoul(line));
    ADD_FAILURE() << "no " << call;
    return 0;
}

static std::string planned(unsigned number, const std::string &error) {
    return std::to_string(number) + ":" + error;
}

// The second time the file is opened it is read; the first time it was only looked for.
TEST(FaultOptions, ACallFailsAndTheTraceSaysSo) {
    std::string calls = scratch_directory() + "/calls";
    std::string trace = scratch_directory() + "/trace";
    run_virtual({"--calls", calls, "w83627hf", "-t"});
    unsigned second = number_of(calls, "fclose /etc/Kestrel.ini") + 1;
    run_result result =
        run_virtual({"--fail", planned(second, "EACCES"), "--trace", trace, "w83627hf", "-t"});
    EXPECT_EQ(result.err, "Error: something wrong in file Kestrel.ini.\n");
    EXPECT_EQ(result.status, 255);
    std::vector<std::string> lines = lines_of(trace);
    EXPECT_EQ(lines.back(), "fopen /etc/Kestrel.ini r failed");
    EXPECT_EQ(std::count(lines.begin(), lines.end(), "fopen /etc/Kestrel.ini r"), 1);
}

// The error in the message is the one that was asked for.
TEST(FaultOptions, AnErrorHasItsName) {
    std::string calls = scratch_directory() + "/calls";
    run_virtual({"--calls", calls, "first-start", "-t"});
    unsigned map = number_of(calls, "map ff000 1000");
    const struct {
        const char *name;
        const char *said;
    } table[] = {{"ENOMEM", "Error at line 278, file gpio (12) [Cannot allocate memory]\n"},
                 {"EPERM", "Error at line 278, file gpio (1) [Operation not permitted]\n"}};
    for (const auto &row : table) {
        run_result result = run_virtual({"--fail", planned(map, row.name), "first-start", "-t"});
        EXPECT_EQ(result.err, row.said);
        EXPECT_EQ(result.status, 1) << row.name;
    }
}

// Nothing is printed any more but what had gone out by then: the banner, before the user is asked for.
TEST(FaultOptions, ARunDiesBeforeACall) {
    std::string temporary = scratch_directory();
    setenv("TMPDIR", temporary.c_str(), 1);
    run_result result = run_virtual({"--die", "5", "w83627hf", "-t"});
    unsetenv("TMPDIR");
    EXPECT_EQ(result.status, 97);
    EXPECT_EQ(result.out, "Kestrel II hardware-health monitor\n"
                          "Kestrel II watches Brigantine server boards\n");
    EXPECT_EQ(result.err, "");
    EXPECT_TRUE(std::filesystem::is_empty(temporary));
}

// The second run finds what the first one left, not what the board has, and leaves it there.
TEST(FaultOptions, ARunGoesOnWithWhatAnotherLeft) {
    std::string kept = scratch_directory() + "/kept";
    EXPECT_EQ(run_virtual({"--keep", kept, "--die", "5", "w83627hf", "-t"}).status, 97);
    std::ofstream(kept + "/etc/Kestrel.ini") << "[System]\n";
    run_result result = run_virtual({"--again", kept, "w83627hf", "-t"});
    EXPECT_EQ(result.err, "Error: something wrong in file Kestrel.ini.\n");
    EXPECT_EQ(file_contents(kept + "/etc/Kestrel.ini"), "[System]\n");
    run_result lost = run_virtual({"--again", kept + "/nothing", "w83627hf", "-t"});
    EXPECT_EQ(lost.err, "kestrel-virtual: " + kept + "/nothing: no run has left its files here\n");
    EXPECT_EQ(lost.status, 2);
}

// The child's exec has the number between them, whichever of the two comes first.
TEST(FaultOptions, AChildsCallHasANumberOfItsOwn) {
    std::string calls = scratch_directory() + "/calls";
    run({SEND_MAIL, "--calls", calls, make_board("", nullptr), "health", "root", "node 7"});
    unsigned fork = number_of(calls, "fork");
    EXPECT_EQ(number_of(calls, "exec /tmp/KestrelMailAlert"), fork + 1);
    EXPECT_EQ(number_of(calls, "waitpid"), fork + 2);
    run_result no_exec = run({SEND_MAIL, "--fail", planned(fork + 1, "ENOENT"), make_board("", nullptr),
                              "health", "root", "node 7"});
    EXPECT_EQ(no_exec.out, "begin, sent\n");
    EXPECT_EQ(no_exec.err, ""); // no mail
    run_result no_wait = run({SEND_MAIL, "--fail", planned(fork + 2, "ECHILD"), make_board("", nullptr),
                              "health", "root", "node 7"});
    EXPECT_EQ(no_wait.out, "begin, no wait\n");
    EXPECT_NE(no_wait.err.find("kestrel-virtual: mail to root\n"), std::string::npos) << no_wait.err;
}
