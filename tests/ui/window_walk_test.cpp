// A save and a mail of the window: every call that it makes fails once, with each error that is likely for
// it, and the program is killed before every call. Each run is a process with a window of its own.
#include <cerrno>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <sstream>
#include <sys/wait.h>
#include <unistd.h>

#include "config/settings.h"
#include "driver/refresh.h"
#include "faults.h"
#include "gestures.h"
#include "hw/os.h"
#include "items/display.h"
#include "private_root.h"
#include "support/run.h"
#include "support/window.h"

using lines = std::vector<std::string>;

// ---- The board: a voltage that is well, and an open chassis that nobody watches

static const char *const BOARD =
    "absent = [\"/dev/qxbmc\", \"/dev/ipmidev/0\", \"/dev/ipmi/0\", \"/dev/ipmi0\"]\n"
    "[[monitor]]\nindex = 0x295\ndata = 0x296\n[monitor.common]\n0x4E = 0x80\n"
    "[monitor.bank0]\n0x22 = 206\n0x2F = 217\n0x30 = 196\n0x42 = 0x10\n0x46 = 0x00\n";

static std::string configuration(const char *name, const char *polling, const char *first) {
    return std::string("[System]\nBUSTYPE=2\nINDEXREG=295\nDATAREG=296\nMACHINENAME=") + name +
           "\nMAILALERT=FALSE\nMAILBOX=root\nPOLLING=" + polling +
           "\n\n[Item]\nITEM_NAME=+3.3V\nITEM_CAT=VOLTAGE\nVOL_FUNC=P33V\nBUSTYPE=2\nCHIPCODE=1c\nSLAVE=0\n"
           "OFFSET=22\nACTIVATE=1\nMONITOR=" +
           first +
           "\nPARAINDEX1=VOL1H\nPARAINDEX2=VOL1L\n\n"
           "[Item]\nITEM_NAME=Chassis "
           "Intrusion\nITEM_CAT=SWITCH\nBUSTYPE=2\nCHIPCODE=1c\nSLAVE=0\nOFFSET=42\n"
           "ACTIVATE=1\nMONITOR=FALSE\nPARAINDEX1=SWITCH1A\nPARAINDEX2=SWITCH1C\n\n"
           "[Parameter]\nPARAMETER=VOL1H\nSLAVE=0\nOFFSET=2f\nBITMASK=ff\n\n"
           "[Parameter]\nPARAMETER=VOL1L\nSLAVE=0\nOFFSET=30\nBITMASK=ff\n\n"
           "[Parameter]\nPARAMETER=SWITCH1A\nSLAVE=0\nOFFSET=42\nBITMASK=10\n\n"
           "[Parameter]\nPARAMETER=SWITCH1C\nSLAVE=0\nOFFSET=46\nBITMASK=80\n";
}

static const std::string BEFORE = configuration("small", "300", "TRUE");

// ---- What is done in the window

static void change_settings() {
    myspKestrel->system->Polling = 60;
    myspKestrel->items[0].Monitor = 0;
    strcpy(myspKestrel->system->MachineName, "rack 7");
}

static void save_items_page() { click("buttonItemsSave"); }
static void save_alert_page() { click("buttonAlertSave"); }

static void watch_chassis() {
    myspKestrel->system->MailAlert = 1;
    myspKestrel->items[1].Monitor = 1;
    allItemDisps[1].monitor = 1;
}

static void raise_alert() { updateAll(); }

struct deed {
    void (*prepare)();
    void (*act)();
};

// ---- Runs

struct planned_fault {
    unsigned number;
    std::string call;
    std::string error; // "": the process is killed
};

struct window_run {
    std::string what;
    planned_fault fault;
    int status;
    std::string out; // then a line for each dialog, and whether the main loop has ended
    std::string err;
    std::string root;
};

constexpr unsigned LIMIT_S = 60;
constexpr int HUNG = 128 + SIGALRM;

static int error_of(const std::string &name) {
    static const struct {
        const char *name;
        int error;
    } errors[] = {{"EACCES", EACCES}, {"EAGAIN", EAGAIN}, {"ECHILD", ECHILD}, {"EIO", EIO},
                  {"ENOENT", ENOENT}, {"ENOSPC", ENOSPC}, {"EPERM", EPERM},   {"short", SHORT_TRANSFER}};
    for (const auto &row : errors)
        if (name == row.name)
            return row.error;
    return 0;
}

static fault_plan plan_of(const planned_fault &fault) {
    if (fault.error.empty())
        return {.die_at = fault.number};
    return {.fail_at = fault.number, .error = error_of(fault.error)};
}

static void open_window(const std::string &board, const std::string &root) {
    std::string words[] = {"kestrel-virtual", "--clock", "2026-01-05 10:00:00", "--keep", root, board};
    char *arguments[] = {words[0].data(), words[1].data(), words[2].data(), words[3].data(),
                         words[4].data(), words[5].data(), nullptr};
    int count = 6;
    char **first = arguments;
    os_start(&count, &first);
    os_iopl(3);
    test_window::open_configured();
}

static void redirect(int fd, const std::string &path) {
    dup2(open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600), fd);
}

// In a process of its own. The clean-up of the test is its parent's.
[[noreturn]] static void live(const deed &deed, const planned_fault &fault, const std::string &board,
                              const std::string &directory) {
    alarm(LIMIT_S);
    redirect(1, directory + "/out");
    redirect(2, directory + "/err");
    open_window(board, directory + "/root");
    deed.prepare();
    test_window::take_warnings();
    open_calls(directory + "/calls");
    plan_faults(plan_of(fault));
    bool ended = ends_main_loop(deed.act);
    plan_faults({});
    for (const std::string &message : test_window::messages())
        printf("dialog: %s\n", message.c_str());
    for (const std::string &warning : test_window::take_warnings())
        printf("warning: %s\n", warning.c_str());
    printf(ended ? "ended\n" : "");
    fflush(stdout);
    _exit(0);
}

static window_run run_with(const deed &deed, const planned_fault &fault) {
    std::string board = make_board(BOARD, &BEFORE);
    std::string directory = scratch_directory();
    fflush(stdout); // or the child would print it, too
    pid_t child = fork();
    if (child == 0)
        live(deed, fault, board, directory);
    int status = 0;
    waitpid(child, &status, 0);
    return {fault.call + " (" + std::to_string(fault.number) + ") " + fault.error,
            fault,
            WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status),
            file_contents(directory + "/out"),
            file_contents(directory + "/err"),
            directory + "/root"};
}

static bool has(const window_run &run, const std::string &path) {
    return std::filesystem::exists(run.root + path);
}

static std::string kept(const window_run &run, const std::string &path) {
    return file_contents(run.root + path);
}

// ---- The walk

static lines likely_errors(const std::string &call) {
    static const struct {
        const char *name;
        lines errors;
    } kinds[] = {
        {"create", {"EACCES", "ENOSPC"}},
        {"exec", {"ENOENT"}},
        {"fchmod", {"EPERM"}},
        {"fclose", {"EIO"}},
        {"fopen", {"EACCES"}},
        {"fork", {"EAGAIN"}},
        {"fread", {"EIO", "short"}},
        {"fsync", {"EIO"}},
        {"fwrite", {"ENOSPC", "short"}},
        {"link", {"EPERM", "ENOSPC"}},
        {"look", {"EACCES"}},
        {"mode", {"EACCES"}},
        {"owner", {"EPERM"}},
        {"random", {"ENOSYS"}},
        {"read_link", {"EIO"}},
        {"rename", {"EACCES", "ENOSPC"}},
        {"time", {}},
        {"unlink", {"EACCES"}},
        {"end_turn", {}},
        {"waitpid", {"ECHILD"}},
    };
    for (const auto &kind : kinds)
        if (call.compare(0, call.find(' '), kind.name) == 0)
            return kind.errors;
    ADD_FAILURE() << "what can happen to " << call;
    return {};
}

// The calls of the deed itself, from the one that begins so on.
static std::vector<planned_fault> calls_of(const deed &deed, const std::string &first) {
    window_run run = run_with(deed, {0, "nothing fails", "EIO"});
    EXPECT_EQ(run.status, 0) << run.err;
    std::vector<planned_fault> calls;
    std::istringstream text(file_contents(run.root + "/../calls"));
    for (std::string line; std::getline(text, line);) {
        std::string call = line.substr(line.find(' ') + 1);
        if (!calls.empty() || call.compare(0, first.size(), first) == 0)
            calls.push_back({static_cast<unsigned>(std::stoul(line)), call, ""});
    }
    EXPECT_FALSE(calls.empty()) << first;
    return calls;
}

static void check_end(const window_run &run) {
    constexpr int DIED = 97;
    bool of_child = run.fault.call == "exec /tmp/KestrelMailAlert"; // it alone dies then
    EXPECT_NE(run.status, HUNG) << run.what;
    EXPECT_EQ(run.status, run.fault.error.empty() && !of_child ? DIED : 0) << run.what << run.err;
    EXPECT_EQ(run.err.find("Sanitizer"), std::string::npos) << run.what << run.err;
    EXPECT_EQ(run.err.find("runtime error"), std::string::npos) << run.what << run.err;
}

using check = void (*)(const window_run &run);

static void walk(const deed &deed, const std::string &first, check check) {
    unsigned runs = 0;
    for (planned_fault fault : calls_of(deed, first)) {
        lines errors = likely_errors(fault.call);
        errors.push_back("");
        for (const std::string &error : errors) {
            fault.error = error;
            window_run run = run_with(deed, fault);
            check_end(run);
            check(run);
            runs++;
        }
    }
    printf("%u runs\n", runs);
}

static bool begins(const std::string &text, const std::string &with) {
    return text.compare(0, with.size(), with) == 0;
}

// ---- A save

static std::string after; // what is to be saved

// What is reported, by the step that failed. A second name that no file can have, or that cannot be removed,
// is not a failure, and after a short read comes the rest; a disk without room for the second name is one.
static std::string save_message(const planned_fault &fault) {
    const std::string saving = "on_buttonSaveItems_clicked(): ";
    const std::string &call = fault.call;
    if (begins(call, "unlink") || (begins(call, "link") && fault.error == "EPERM"))
        return "";
    if (begins(call, "fread") && fault.error == "short")
        return "";
    if (begins(call, "look") || begins(call, "link") || begins(call, "rename /etc/Kestrel.ini.old.new") ||
        begins(call, "fopen"))
        return saving + "fopen() error!\n";
    if (begins(call, "mode") || begins(call, "create") || begins(call, "owner"))
        return saving + "fopen(KESTREL_INI) error!\n";
    return saving + "fclose() error!\n";
}

// The old file was read when it is closed, so the new one is complete then.
static bool is_saved(const window_run &run) {
    return save_message(run.fault).empty() || run.fault.call == "fclose /etc/Kestrel.ini.old";
}

static void check_save(const window_run &run) {
    std::string file = kept(run, "/etc/Kestrel.ini");
    EXPECT_TRUE(file == BEFORE || file == after) << run.what << file;
    bool good_copy = !has(run, "/etc/Kestrel.ini.old") || kept(run, "/etc/Kestrel.ini.old") == BEFORE;
    EXPECT_TRUE(good_copy) << run.what << kept(run, "/etc/Kestrel.ini.old");
    EXPECT_TRUE(file == BEFORE || has(run, "/etc/Kestrel.ini.old")) << run.what;
    if (run.fault.error.empty())
        return;
    EXPECT_EQ(file, is_saved(run) ? after : BEFORE) << run.what;
    EXPECT_FALSE(has(run, "/etc/Kestrel.ini.new")) << run.what;
    EXPECT_FALSE(has(run, "/etc/Kestrel.ini.old.new")) << run.what;
    std::string message = save_message(run.fault);
    EXPECT_EQ(run.out,
              message + "dialog: Configuration has been saved.\n" + (message.empty() ? "" : "ended\n"))
        << run.what;
}

TEST(WindowWalk, ASaveOfTheItemsPage) {
    after = configuration("small", "60", "FALSE");
    walk({change_settings, save_items_page}, "look", check_save);
}

TEST(WindowWalk, ASaveOfTheAlertPage) {
    after = configuration("rack 7", "300", "TRUE");
    walk({change_settings, save_alert_page}, "look", check_save);
}

// The configuration lies elsewhere, and a link leads to it.
static void change_linked_settings() {
    change_settings();
    std::filesystem::create_directory(real_path("/srv"));
    std::filesystem::rename(real_path("/etc/Kestrel.ini"), real_path("/srv/board.ini"));
    std::filesystem::create_symlink("../srv/board.ini", real_path("/etc/Kestrel.ini"));
}

// Its copy is one of its bytes: what fails before that is complete leaves no trace, and a save never touches
// the link.
static void check_linked_save(const window_run &run) {
    std::string file = kept(run, "/srv/board.ini");
    EXPECT_TRUE(std::filesystem::is_symlink(run.root + "/etc/Kestrel.ini")) << run.what;
    EXPECT_TRUE(file == BEFORE || file == after) << run.what << file;
    bool has_copy = has(run, "/etc/Kestrel.ini.old");
    EXPECT_TRUE(has_copy ? kept(run, "/etc/Kestrel.ini.old") == BEFORE : file == BEFORE) << run.what;
    if (run.fault.error.empty())
        return;
    for (const char *path : {"/srv/board.ini.new", "/etc/Kestrel.ini.old.new"})
        EXPECT_FALSE(has(run, path)) << run.what << path;
    bool is_said = begins(run.out, "on_buttonSaveItems_clicked(): f");
    EXPECT_EQ(is_said, run.out.find("ended\n") != std::string::npos) << run.what << run.out;
    bool is_read_only = run.fault.call == "fclose /etc/Kestrel.ini.old"; // the new file is whole by then
    EXPECT_EQ(file, is_said && !is_read_only ? BEFORE : after) << run.what << run.out;
}

TEST(WindowWalk, ASaveThroughALink) {
    after = configuration("small", "60", "FALSE");
    walk({change_linked_settings, save_items_page}, "look", check_linked_save);
}

// ---- An alert with mail. The readings before it are those of a report.

static const char *const MAIL = "-s\nAlert: system health warning!\nroot\n\n"
                                "The system 'small' has the following health information:\n"
                                "Chassis Intrusion Failed(Bad)!\nat Mon Jan  5 10:00:00 2026\n";

static const std::string SCRIPT = "#!/bin/bash\nmail -s \"Alert: system health warning!\" root <<EOT\n"
                                  "The system 'small' has the following health information:\n"
                                  "Chassis Intrusion Failed(Bad)!\nat Mon Jan  5 10:00:00 2026\n";

// A part of the script is never one that could be run. (It may not be readable to who tests.)
static bool is_harmless(const std::string &script) {
    std::error_code missing;
    std::filesystem::perms mode = std::filesystem::status(script, missing).permissions();
    bool executable = (mode & std::filesystem::perms::owner_exec) != std::filesystem::perms::none;
    return missing || !executable || std::filesystem::file_size(script) == SCRIPT.size();
}

// A script that cannot be written is not run, silently. One that cannot be run ends its process, which nobody
// asks how.
static std::string mail_message(const std::string &call) {
    if (begins(call, "fork"))
        return "fork() error!\n";
    if (begins(call, "waitpid"))
        return "waitpid() error!\n";
    return begins(call, "exec") ? "Send an alert through E-mail successfully.\n" : "";
}

static void check_mail(const window_run &run) {
    EXPECT_EQ(kept(run, "/etc/Kestrel.ini"), BEFORE) << run.what;
    EXPECT_FALSE(has(run, "/etc/Kestrel.ini.old")) << run.what;
    EXPECT_TRUE(is_harmless(run.root + "/tmp/KestrelMailAlert")) << run.what;
    if (run.fault.error.empty()) // a mail that was begun may still be under way
        return;
    EXPECT_EQ(run.out, mail_message(run.fault.call)) << run.what;
    bool sent = begins(run.fault.call, "waitpid");
    EXPECT_EQ(kept(run, "/var/mail/1"), sent ? MAIL : "") << run.what;
    bool written = sent || begins(run.fault.call, "fork") || begins(run.fault.call, "exec");
    EXPECT_EQ(has(run, "/tmp/KestrelMailAlert"), written) << run.what;
    EXPECT_FALSE(has(run, "/tmp/KestrelMailAlert." + std::string(32, '0'))) << run.what; // the virtual chance
}

TEST(WindowWalk, AnAlertWithMail) { walk({watch_chassis, raise_alert}, "random", check_mail); }
