// What a terminal is shown of a configuration whose names hold control characters, and what a pipe gets of
// them.
#include <cstdlib>
#include <fcntl.h>
#include <fstream>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

#include "boards.h"

// A title that would be set, a bell, an override of direction, a C1 introducer, a byte that is not UTF-8.
static const std::string NAME = "A\x1b]2;\x07\xE2\x80\xAE\xC2\x9B\xFF é";
static const std::string SHOWN = "A?]2;???? é";

// ---- Streams

struct stream {
    int reads;        // a terminal's; -1 for a file
    int writes;       // the program's
    std::string path; // a file's
};

// A pseudo terminal that hands on what is written byte for byte.
static stream open_terminal() {
    int reads = posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
    EXPECT_EQ(grantpt(reads), 0);
    EXPECT_EQ(unlockpt(reads), 0);
    int writes = open(ptsname(reads), O_RDWR | O_NOCTTY | O_CLOEXEC);
    termios settings;
    EXPECT_EQ(tcgetattr(writes, &settings), 0);
    cfmakeraw(&settings);
    EXPECT_EQ(tcsetattr(writes, TCSANOW, &settings), 0);
    return {reads, writes, ""};
}

static stream open_file() {
    std::string path = scratch_directory() + "/stream";
    return {-1, open(path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600), path};
}

// All that a terminal was given until the program and this one had closed it.
static std::string drain(const stream &from) {
    std::string text;
    char bytes[4096];
    for (ssize_t count; from.reads != -1 && (count = read(from.reads, bytes, sizeof bytes)) > 0;)
        text.append(bytes, static_cast<size_t>(count));
    close(from.reads);
    return text;
}

[[noreturn]] static void become(const std::vector<std::string> &words, int out, int err) {
    dup2(open("/dev/null", O_RDONLY), STDIN_FILENO);
    dup2(out, STDOUT_FILENO);
    dup2(err, STDERR_FILENO);
    setenv("TZ", "UTC", 1);
    std::vector<char *> arguments;
    for (const std::string &word : words)
        arguments.push_back(const_cast<char *>(word.c_str()));
    arguments.push_back(nullptr);
    execv(KESTREL_VIRTUAL, arguments.data());
    _exit(127);
}

struct shown {
    std::string out;
    std::string err;
};

static shown run_on(const stream &out, const stream &err, const std::vector<std::string> &words) {
    std::vector<std::string> all = {KESTREL_VIRTUAL, "--strict", "--clock", "2026-01-05 10:00:00"};
    all.insert(all.end(), words.begin(), words.end());
    pid_t child = fork();
    if (child == 0)
        become(all, out.writes, err.writes);
    close(out.writes);
    close(err.writes);
    shown on_terminals = {drain(out), drain(err)}; // one of them, so that neither waits for the other
    int status = 0;
    waitpid(child, &status, 0);
    EXPECT_EQ(status, 0);
    return {on_terminals.out + file_contents(out.path), on_terminals.err + file_contents(err.path)};
}

// ---- Texts: "@" is the name, "@@@" the name in its column of 25 bytes

static std::string with_name(std::string text, const std::string &name) {
    std::string column = name + std::string(25 - name.size(), ' ');
    for (size_t at; (at = text.find("@@@")) != std::string::npos;)
        text.replace(at, 3, column);
    for (size_t at; (at = text.find('@')) != std::string::npos;)
        text.replace(at, 1, name);
    return text;
}

// A terminal shows the name without what it would obey; the stream beside it, a file, has it as it is.
static void expect_shown(const std::vector<std::string> &words, const std::string &out,
                         const std::string &err) {
    shown on_out = run_on(open_terminal(), open_file(), words);
    EXPECT_EQ(on_out.out, with_name(out, SHOWN));
    EXPECT_EQ(on_out.err, with_name(err, NAME));
    shown on_err = run_on(open_file(), open_terminal(), words);
    EXPECT_EQ(on_err.out, with_name(out, NAME));
    EXPECT_EQ(on_err.err, with_name(err, SHOWN));
}

// No item has a bus. The switch of chip 27 is read without an access and always inactive.
static const std::string SWITCH = with_name("[System]\nBUSTYPE=0\n\n"
                                            "[Item]\nITEM_NAME=@\nITEM_CAT=SWITCH\nVOL_FUNC=@\nBUSTYPE=0\n"
                                            "CHIPCODE=1B\nMONITOR=TRUE\nPARAINDEX1=Bits\nPARAINDEX2=Bits\n"
                                            "REF_ITEM_ID=@\n\n"
                                            "[Parameter]\nPARAMETER=Bits\nBITMASK=10\n",
                                            NAME);

static const std::string HEADING = BANNER +
                                   "Monitored Item            High Limit  Low Limit     Status \n"
                                   "----------------------------------------------------------------------\n";
static const std::string CLOSING = "--------------------------------------------- Mon Jan  5 10:00:00 2026\n";
static const std::string NO_CODE = "str2code: Failure! @\n";
static const std::string NO_REFERENCE = "Error: Unknown Ref_Item_ID '@'.\n";

TEST(Terminal, ShowsItemsWithoutTheirControlCharacters) {
    expect_shown({make_board(THE_MAKER, &SWITCH), "-t"},
                 HEADING + "@@@                           Normal           \n" + CLOSING,
                 NO_CODE + NO_REFERENCE);
}

static void expect_reset(const std::string &from, const std::string &to, const std::string &name,
                         const std::string &out, const std::string &err) {
    std::string configuration = from.empty() ? SWITCH : changed(SWITCH, from, to);
    expect_shown({make_board(THE_MAKER, &configuration), "-r", name}, BANNER + out, NO_CODE + err);
}

TEST(Terminal, ShowsResetsWithoutTheirControlCharacters) {
    const std::string failed = "\"@\" is NOT reset!\n\n";
    expect_reset("", "", NAME, "Done.\n\"@\" is reset!\n\n", NO_REFERENCE);
    expect_reset("", "", NAME + "2", "", "Warning! \"@2\" is not found.\n\n");
    expect_reset("CHIPCODE=1B", "CHIPCODE=3", NAME, "Failed.\n" + failed, // it cannot be read
                 "Warning: Non-supported chipset \"@\".\n");
    expect_reset("BITMASK=10", "BITMASK=0", NAME, failed, "Warning: To reset \"@\" is not allowed.\n");
    expect_reset("PARAINDEX2=Bits", "PARAINDEX2=None", NAME, failed, "Error: \"@\" is not defined.\n");
}

// The limits are asked for three times for its record and three times for its row.
TEST(Terminal, ShowsParametersWithoutTheirControlCharacters) {
    std::string configuration =
        with_name("[System]\nBUSTYPE=0\n\n"
                  "[Item]\nITEM_NAME=Fan\nITEM_CAT=FAN\nBUSTYPE=0\nCHIPCODE=1\nMONITOR=TRUE\nPARAINDEX1=@\n"
                  "PARAINDEX2=Bits\n\n"
                  "[Parameter]\nPARAMETER=Bits\nBITMASK=10\n",
                  NAME);
    std::string missing;
    for (int i = 0; i < 6; i++)
        missing += "Error: Parameter is not found.\n";
    expect_shown({make_board(THE_MAKER, &configuration), "-t"},
                 changed(HEADING, BANNER, BANNER + "Error: Cannot get the divisor '@'!\n") +
                     "Fan                                           0        N/A   Warning!\n" + CLOSING,
                 missing);
}

TEST(Terminal, ShowsHiddenItemsWithoutTheirControlCharacters) {
    std::string board = make_board(THE_MAKER, nullptr);
    std::ofstream(board + "/root/etc/AllKestrel.ini", std::ios::binary) << "[_H2SB-I_]\n" + SWITCH;
    expect_shown({board, "-t"},
                 changed(HEADING, BANNER, BANNER + ">> Disable monitoring of non-supported item: @\n\n") +
                     CLOSING,
                 NO_CODE);
}
