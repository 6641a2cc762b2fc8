// Every call through the door fails once, with each error that is likely for it, and the program is killed
// before every call. Whatever it is, the program ends as it should, and /etc/Kestrel.ini is complete: the one
// before or the new one.
#include <algorithm>
#include <csignal>
#include <fcntl.h>
#include <filesystem>
#include <gtest/gtest.h>
#include <map>
#include <set>
#include <sstream>
#include <sys/wait.h>
#include <unistd.h>

#include "boards.h"

// The sanitizers make a run many times as long: of the accesses to chips, which are hundreds of a kind, only
// some are walked then.
#ifdef __SANITIZE_ADDRESS__
constexpr unsigned ACCESS_STEP = 11;
#else
constexpr unsigned ACCESS_STEP = 1;
#endif

using lines = std::vector<std::string>;

// ---- Calls

struct call {
    unsigned number;
    std::string name;
    std::string text; // with its arguments
};

constexpr bool ACCESS = true;

// What can happen to each kind of call. A call that is not here is a new one.
static const struct {
    const char *name;
    lines errors;
    bool access = false;
} kinds[] = {
    {"begin_turn", {}, ACCESS},
    {"close", {"EIO"}},
    {"copy", {"EFAULT"}},
    {"create", {"EACCES", "ENOSPC"}},
    {"end_turn", {}, ACCESS},
    {"exists", {"EACCES"}},
    {"fclose", {"EIO"}},
    {"fopen", {"EACCES", "EMFILE"}},
    {"fread", {"EIO", "short"}},
    {"fsync", {"EIO"}},
    {"fwrite", {"ENOSPC", "short"}},
    {"getuid", {}},
    {"inb", {"EPERM"}, ACCESS},
    {"inl", {"EPERM"}, ACCESS},
    {"ioctl", {"EIO"}, ACCESS},
    {"ioperm", {"EPERM"}},
    {"iopl", {"EPERM"}, ACCESS},
    {"link", {"EPERM", "ENOSPC"}},
    {"list", {"EMFILE"}},
    {"look", {"EACCES"}},
    {"map", {"EPERM"}},
    {"mode", {"EACCES"}},
    {"open", {"ENOENT", "EACCES"}},
    {"outb", {"EPERM"}, ACCESS},
    {"outl", {"EPERM"}, ACCESS},
    {"owner", {"EPERM"}},
    {"popen", {"EMFILE"}},
    {"read", {"EIO", "short"}, ACCESS},
    {"read_link", {"EIO"}},
    {"rename", {"EACCES", "ENOSPC"}},
    {"seek", {"EINVAL"}},
    {"sleep", {}},
    {"system", {"EAGAIN"}},
    {"time", {}},
    {"unlink", {"EACCES"}},
    {"unmap", {"EINVAL"}},
    {"usleep", {}},
    {"wait_readable", {"EINTR"}, ACCESS},
};

static bool is_access(const call &call) {
    for (const auto &kind : kinds)
        if (call.name == kind.name)
            return kind.access;
    ADD_FAILURE() << "what can happen to " << call.text;
    return false;
}

static lines likely_errors(const call &call) {
    lines errors;
    for (const auto &kind : kinds)
        if (call.name == kind.name)
            errors = kind.errors;
    return errors;
}

static std::vector<call> calls_of(const lines &words) {
    std::string file = scratch_directory() + "/calls";
    lines all = {"--calls", file};
    all.insert(all.end(), words.begin(), words.end());
    run_virtual(all);
    std::vector<call> calls;
    for (const std::string &line : lines_of(file_contents(file))) {
        std::string text = line.substr(line.find(' ') + 1);
        calls.push_back({static_cast<unsigned>(std::stoul(line)), text.substr(0, text.find(' ')), text});
    }
    return calls;
}

// ---- Runs

struct faulty_run {
    std::string what; // for messages
    call at;
    bool died;
    run_result result;
    std::string root; // what it left
};

constexpr unsigned LIMIT_S = 60; // a run takes some milliseconds
constexpr int DIED = 97;
constexpr int HUNG = 128 + SIGALRM;

static void become(const lines &words, const std::string &out, const std::string &err) {
    alarm(LIMIT_S);
    dup2(open("/dev/null", O_RDONLY), 0);
    dup2(open(out.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600), 1);
    dup2(open(err.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600), 2);
    std::vector<char *> arguments;
    for (const std::string &word : words)
        arguments.push_back(const_cast<char *>(word.c_str()));
    arguments.push_back(nullptr);
    execv(arguments[0], arguments.data());
    _exit(127);
}

// As run_virtual, but with an end, without --strict (after a failure other registers may be asked), and with
// its files in one directory.
static run_result run_limited(const lines &words, const std::string &directory) {
    lines all = {KESTREL_VIRTUAL, "--clock", "2026-01-05 10:00:00"};
    all.insert(all.end(), words.begin(), words.end());
    pid_t child = fork();
    if (child == 0)
        become(all, directory + "/out", directory + "/err");
    int status = 0;
    waitpid(child, &status, 0);
    return {WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status),
            file_contents(directory + "/out"), file_contents(directory + "/err")};
}

static faulty_run run_with(const lines &words, const call &at, const std::string &error) {
    static const std::string directory = scratch_directory();
    std::string root = directory + "/root";
    std::filesystem::remove_all(root);
    bool dies = error == "dies";
    lines all = {"--keep", root, dies ? "--die" : "--fail",
                 std::to_string(at.number) + (dies ? "" : ":" + error)};
    all.insert(all.end(), words.begin(), words.end());
    run_result result = run_limited(all, directory);
    return {at.text + " (" + std::to_string(at.number) + "), " + error, at, dies, result, root};
}

static bool has(const faulty_run &run, const std::string &file) {
    return std::filesystem::exists(run.root + "/etc/" + file);
}

static std::string kept(const faulty_run &run, const std::string &file) {
    return file_contents(run.root + "/etc/" + file);
}

// 0: it went on or ended well; 255: a fatal error of the start; 1: no physical memory; 2: hiding could not
// write.
static void check_end(const faulty_run &run) {
    EXPECT_NE(run.result.status, HUNG) << run.what;
    for (const char *report : {"Sanitizer", "runtime error"})
        EXPECT_EQ(run.result.err.find(report), std::string::npos) << run.what << run.result.err;
    if (run.died) {
        EXPECT_EQ(run.result.status, DIED) << run.what;
        return;
    }
    static const std::set<int> ends = {0, 1, 2, 255};
    EXPECT_EQ(ends.count(run.result.status), 1u) << run.what << ": " << run.result.status;
    bool says_file = run.result.err.find("Error: cannot ") == 0;
    EXPECT_TRUE(run.result.status != 2 || says_file) << run.what << run.result.err;
}

using check = void (*)(const faulty_run &run);

// The first failure ends a walk: there may be a thousand like it.
static unsigned walk(const lines &words, const std::vector<call> &calls, bool dies, check check) {
    unsigned runs = 0;
    unsigned accesses = 0;
    for (const call &call : calls) {
        if (is_access(call) && accesses++ % ACCESS_STEP != 0)
            continue;
        for (const std::string &error : dies ? lines{"dies"} : likely_errors(call)) {
            faulty_run run = run_with(words, call, error);
            runs++;
            check_end(run);
            check(run);
            if (testing::Test::HasFailure())
                return runs;
        }
    }
    printf("%zu calls, %u runs\n", calls.size(), runs);
    return runs;
}

// ---- A report

static std::string configuration; // with which the walk began

static void expect_untouched(const faulty_run &run) {
    EXPECT_EQ(kept(run, "Kestrel.ini"), configuration) << run.what;
    for (const char *file : {"Kestrel.ini.old", "Kestrel.ini.new", "Kestrel.ini.old.new"})
        EXPECT_FALSE(has(run, file)) << run.what;
}

static const std::string END_OF_REPORT =
    "--------------------------------------------- Mon Jan  5 10:00:00 2026\n";

static bool ends_with(const std::string &text, const std::string &end) {
    return text.size() >= end.size() && text.compare(text.size() - end.size(), end.size(), end) == 0;
}

static void check_report(const faulty_run &run) {
    expect_untouched(run);
    if (run.died)
        return;
    EXPECT_EQ(run.result.out.find(BANNER), 0u) << run.what;
    EXPECT_EQ(ends_with(run.result.out, END_OF_REPORT), run.result.status == 0) << run.what << run.result.out;
}

// The third column of each row, by the item's name. A fan's is left out: without its divisor, which is read
// apart, it is a multiple, as required.
static std::map<std::string, std::string> values_of(const std::string &report) {
    constexpr size_t NAME = 24, VALUE = 47, WIDTH = 11;
    std::map<std::string, std::string> values;
    for (const std::string &line : lines_of(report))
        if (line.size() > VALUE + WIDTH && line.find("Fan") == std::string::npos && line[0] != '-')
            values[line.substr(0, NAME)] = line.substr(VALUE, WIDTH);
    return values;
}

static std::map<std::string, std::string> true_values;

// What an access fails to read is not shown as something else.
static void check_values(const faulty_run &run) {
    check_report(run);
    if (run.died || run.result.status != 0 || !is_access(run.at))
        return;
    std::map<std::string, std::string> values = values_of(run.result.out);
    EXPECT_EQ(values.size(), true_values.size()) << run.what;
    for (const auto &[name, value] : values) {
        bool failed = value.find("N/A") != std::string::npos;
        EXPECT_TRUE(failed || value == true_values[name]) << name << value << run.what;
    }
}

static void walk_report(const std::string &board, bool dies, check check) {
    lines words = {board, "-t"};
    configuration = section_of(board);
    true_values = values_of(run_virtual(words).out);
    EXPECT_FALSE(true_values.empty());
    EXPECT_GT(walk(words, calls_of(words), dies, check), 40u);
}

TEST(FaultWalk, AReportBehindPorts) { walk_report("w83627hf", false, check_values); }

TEST(FaultWalk, AReportOverTheSMBus) { walk_report("w83793g-i801", false, check_report); }

TEST(FaultWalk, AReportOverABMC) { walk_report("bmc-ob-winbond", false, check_report); }

TEST(FaultWalk, AKilledReport) { walk_report("bmc-maker", true, check_report); }

// ---- A reset. What comes before it are the start-up and the readings, which a report has, too.

static void check_reset(const faulty_run &run) {
    expect_untouched(run);
    if (run.died)
        return;
    EXPECT_EQ(run.result.status, 0) << run.what;
    int said = count_of(run.result.out, "\"Chassis Intrusion\" is reset!\n\n") +
               count_of(run.result.out, "\"Chassis Intrusion\" is NOT reset!\n\n");
    EXPECT_EQ(said, 1) << run.what << run.result.out;
}

static void walk_reset(const std::string &board) {
    size_t before = calls_of({board, "-r", "No Such Switch"}).size();
    lines words = {board, "-r", "Chassis Intrusion"};
    std::vector<call> calls = calls_of(words);
    configuration = section_of(board);
    ASSERT_GT(calls.size(), before) << board;
    calls.erase(calls.begin(), calls.begin() + static_cast<long>(before));
    for (bool dies : {false, true})
        walk(words, calls, dies, check_reset);
}

// The latch of the first one is set.
TEST(FaultWalk, AReset) {
    std::string toml = changed(shipped("w83627hf"), "configuration = \"H2SB-I\"", "");
    toml = changed(toml, "0x42 = 0x00  ", "0x42 = 0x10  ");
    std::string section = section_of("w83627hf");
    walk_reset(make_board(toml, &section));
    for (const char *board : {"adm1026-amd8111", "nct6776f-faults", "bmc-ob-winbond", "ns87427-ports"})
        walk_reset(board);
}

// ---- A first start

static std::string generated; // what it copies from the master file

// The copy with some MONITOR lines changed by hiding.
static bool is_whole(const std::string &text) {
    lines before = lines_of(generated);
    lines after = lines_of(text);
    if (before.size() != after.size() || text.back() != '\n')
        return false;
    for (size_t i = 0; i < before.size(); i++)
        if (before[i] != after[i] && (before[i] != "MONITOR=TRUE" || after[i] != "MONITOR=FALSE"))
            return false;
    return true;
}

// The start says why there is no configuration, except for the adapter search, which prints nothing when it
// cannot read the list of modules.
static void expect_reason(const faulty_run &run) {
    EXPECT_TRUE(run.result.status == 255 || run.result.status == 1) << run.what;
    if (run.at.text == "fopen /proc/modules r")
        return;
    for (const char *reason :
         {"Error: Cannot create the initial file for Kestrel!\n",
          "Warn: This is not Brigantine's motherboard!\n", "Warn: There is no Product name!\n",
          "Error: no i2c device files found. Please use mkdev.sh to create them.\n",
          "Error: cannot access either /proc/bus/pci/ or /proc/pci!\n", "[Permission denied]\n",
          "[No such file or directory]\n", "[Operation not permitted]\n"})
        if (ends_with(run.result.err, reason))
            return;
    ADD_FAILURE() << run.what << run.result.err;
}

static std::set<std::string> seen_states;

static std::string state_of(const faulty_run &run) {
    std::string state;
    for (const char *file : {"Kestrel.ini", "Kestrel.ini.old", "Kestrel.ini.new", "Kestrel.ini.old.new"})
        state += has(run, file) ? kept(run, file) + '\n' : "-\n";
    return state;
}

// Whatever was left, the next start works. Each state is tried once.
static void expect_next_start(const faulty_run &run) {
    if (!seen_states.insert(state_of(run)).second)
        return;
    run_result next = run_limited({"--again", run.root, "first-start", "-t"}, run.root + "/tmp");
    EXPECT_EQ(next.status, 0) << run.what << next.err;
    EXPECT_TRUE(ends_with(next.out, END_OF_REPORT)) << run.what << next.out;
    EXPECT_TRUE(is_whole(kept(run, "Kestrel.ini"))) << run.what;
}

static void check_first_start(const faulty_run &run) {
    bool is_there = has(run, "Kestrel.ini");
    EXPECT_TRUE(!is_there || is_whole(kept(run, "Kestrel.ini"))) << run.what << kept(run, "Kestrel.ini");
    if (!is_there && !run.died)
        expect_reason(run);
    EXPECT_TRUE(is_there || !has(run, "Kestrel.ini.old")) << run.what; // once it is made it never is away
    bool good_copy = !has(run, "Kestrel.ini.old") || kept(run, "Kestrel.ini.old") == generated;
    EXPECT_TRUE(good_copy) << run.what << kept(run, "Kestrel.ini.old");
    bool leftover = has(run, "Kestrel.ini.new") || has(run, "Kestrel.ini.old.new");
    EXPECT_TRUE(run.died || !leftover) << run.what;
    expect_next_start(run);
}

static void walk_first_start(bool dies) {
    generated = file_contents(BOARDS "/first-start/expect/Kestrel.ini.old");
    lines words = {"first-start", "-t"};
    EXPECT_GT(walk(words, calls_of(words), dies, check_first_start), 100u);
    EXPECT_GT(seen_states.size(), 3u);
}

TEST(FaultWalk, AFirstStart) { walk_first_start(false); }

TEST(FaultWalk, AKilledFirstStart) { walk_first_start(true); }

// The `nth` call of this text.
static call find_call(const std::vector<call> &calls, const std::string &text, int nth) {
    for (const call &call : calls)
        if (call.text == text && --nth == 0)
            return call;
    ADD_FAILURE() << text;
    return {};
}

TEST(FaultWalk, StepsOfAFirstStartSayWhatFailed) {
    const std::string no_file = "Error: Cannot create the file '/etc/Kestrel.ini'.\nError: Cannot create the "
                                "initial file for Kestrel!\n";
    const std::string no_old = "Error: cannot open /etc/Kestrel.ini.old\n";
    const std::string no_new = "Error: cannot open /etc/Kestrel.ini\n";
    const std::string not_closed = "Error: cannot close /etc/Kestrel.ini\n";
    const struct {
        const char *call;
        int nth;
        int status;
        std::string err;
    } table[] = {
        {"fopen /etc/AllKestrel.ini r", 1, 255,
         "Error: Cannot find the file '/etc/AllKestrel.ini'. \n"
         "Error: Cannot create the initial file for Kestrel!\n"},
        {"create /etc/Kestrel.ini.new 0644", 1, 255, no_file},
        {"fwrite /etc/Kestrel.ini.new", 1, 255, no_file},
        {"fsync", 1, 255, no_file},
        {"fclose /etc/Kestrel.ini.new", 1, 255, no_file},
        {"rename /etc/Kestrel.ini.new /etc/Kestrel.ini", 1, 255, no_file},
        {"fopen /etc/Kestrel.ini r", 2, 255, "Error: something wrong in file Kestrel.ini.\n"},
        {"look /etc/Kestrel.ini", 1, 2, no_old},
        {"rename /etc/Kestrel.ini.old.new /etc/Kestrel.ini.old", 1, 2, no_old},
        {"fopen /etc/Kestrel.ini.old r", 1, 2, no_old},
        {"mode /etc/Kestrel.ini.old", 1, 2, no_new},
        {"create /etc/Kestrel.ini.new 0644", 2, 2, no_new},
        {"owner /etc/Kestrel.ini.old", 1, 2, no_new},
        {"fread /etc/Kestrel.ini.old", 1, 2, not_closed},
        {"fwrite /etc/Kestrel.ini.new", 2, 2, not_closed},
        {"fclose /etc/Kestrel.ini.old", 1, 2, "Error: cannot close /etc/Kestrel.ini.old\n"},
        {"fsync", 2, 2, not_closed},
        {"fclose /etc/Kestrel.ini.new", 2, 2, not_closed},
        {"rename /etc/Kestrel.ini.new /etc/Kestrel.ini", 2, 2, not_closed},
    };
    lines words = {"first-start", "-t"};
    std::vector<call> calls = calls_of(words);
    for (const auto &row : table) {
        faulty_run run = run_with(words, find_call(calls, row.call, row.nth), "EIO");
        EXPECT_EQ(run.result.err, row.err) << run.what;
        EXPECT_EQ(run.result.status, row.status) << run.what;
    }
}

// A start that cannot open the configuration for once takes it for missing. It does not make a new one over
// it, but finds it when it would, as one that another copy has made; and what it finds it leaves as it is.
TEST(FaultWalk, AConfigurationThatCannotBeOpenedIsNotReplaced) {
    configuration =
        changed(file_contents(BOARDS "/first-start/expect/Kestrel.ini"), "POLLING=5\n", "POLLING=77\n");
    lines words = {make_board(shipped("first-start"), &configuration), "-t"};
    faulty_run run = run_with(words, find_call(calls_of(words), "fopen /etc/Kestrel.ini r", 1), "EMFILE");
    EXPECT_EQ(run.result.out.find(">> Disable"), std::string::npos) << run.result.out;
    EXPECT_NE(run.result.out.find("Monitored Item"), std::string::npos) << run.result.out;
    EXPECT_EQ(run.result.status, 0);
    expect_untouched(run);
}
