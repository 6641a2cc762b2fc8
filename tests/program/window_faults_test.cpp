// The window where something is wrong: with the configuration, with mail, with the disk, with the display.
#include <chrono>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/wait.h>

#include "boards.h"
#include "user.h"
#include "window_boards.h"

using lines = std::vector<std::string>;

static void expect_end(const run_result &result, const std::string &out, const std::string &err,
                       const std::string &what = "") {
    EXPECT_EQ(result.status, 0) << what;
    EXPECT_EQ(result.out, BANNER + out) << what;
    EXPECT_EQ(result.err, err) << what;
}

static bool open_every_page() {
    for (page page : {FAN, VOLTAGE, THERMAL, ITEMS, ALERT, SUMMARY})
        if (!open_page(page))
            return false;
    return true;
}

static void select_all() { // a tick
    ASSERT_TRUE(open_page(ITEMS));
    click(MAIN, SELECT_ALL_X, BUTTONS_Y);
}

// ---- The configuration

// `count` items like the one of that name.
static std::string with_many(const std::string &name, int count) {
    size_t begin = SMALL_ITEMS.find("[Item]\nITEM_NAME=" + name + "\n");
    size_t end = SMALL_ITEMS.find("\n\n", begin) + 2;
    std::string item = SMALL_ITEMS.substr(begin, end - begin);
    std::string all;
    for (int i = 0; i < count; i++)
        all += item;
    std::string items = SMALL_ITEMS;
    return items.replace(begin, end - begin, all);
}

// Said by each page that has no room, at the start and on every tick.
TEST(WindowFaults, MoreItemsThanThePagesHaveRoomForAreSaid) {
    const struct {
        const char *item;
        int count;
        std::string said;
    } table[] = {
        {"Fan 1", 17,
         " build_Summary(): idxFan out of range. \n build_Fan(): idxMonitingFan out of range. \n"
         " build_Alert(): idxFan out of range. \n"},
        {"+3.3V", 61,
         " build_Summary(): idxVoltage out of range. \n build_Voltage(): idxMonitingVoltage out of range. \n"
         " build_Alert(): idxVoltage out of range. \n"},
        {"System Temperature", 17,
         " build_Summary(): idxThermal out of range. \n build_Thermal(): idxMonitingThermal out of range. \n"
         " build_Alert(): idxThermal out of range. \n"},
        {"Chassis Intrusion", 17,
         " build_Summary(): idxStatus out of range. \n build_Alert(): idxStatus out of range. \n"},
    };
    for (const auto &row : table) {
        std::string items = with_many(row.item, row.count);
        for (size_t at; (at = items.find("MONITOR=FALSE")) != std::string::npos;)
            items.replace(at, 13, "MONITOR=TRUE");
        window_run run = start({small_board_with(small_settings("300") + items)});
        EXPECT_TRUE(open_every_page()) << row.item;
        select_all();
        expect_end(quit(run), row.said + row.said, "", row.item);
    }
}

// As many as there is room for are shown, and nothing is reported.
TEST(WindowFaults, FullPagesAreFull) {
    std::string items = with_many("+3.3V", 60);
    window_run run = start({small_board_with(small_settings("300") + items)});
    select_all();
    EXPECT_TRUE(open_every_page());
    expect_end(quit(run), "", "");
}

// It is never normal, so each reading is tried three times: two limits and a value that cannot be converted.
// The two ends of its scale are reported when the window is built.
TEST(WindowFaults, AnUnknownCategoryIsSaidAndListed) {
    std::string items = changed(SMALL_ITEMS, "ITEM_CAT=VOLTAGE\n", "ITEM_CAT=PRESSURE\n");
    window_run run = start({small_board_with(small_settings("300") + items)});
    EXPECT_TRUE(open_every_page());
    select_all();
    std::string tried = "Error: wrong parameter!\nError: wrong parameter!\nError: unknown parameter!\n";
    std::string reading = tried + tried + tried;
    EXPECT_EQ(screen::window(ALERTS), 0u); // it raises no alert
    run_result result = quit(run);
    // Once by the start, and once more if the click came before the end.
    std::string err = "str2code: Failure! PRESSURE\n" + reading;
    if (result.err != err)
        err += reading;
    expect_end(result, "Error: Unknown Cat '-1'!\nError: unknown Cat '-1'!\n", err);
}

// UTF-8 and, in the fan's name, the bytes of another encoding. They are shown somehow, and saved and mailed
// as they are.
TEST(WindowFaults, NamesInOtherEncodingsAreKept) {
    std::string items = changed(SMALL_ITEMS, "ITEM_NAME=Fan 1\n",
                                "ITEM_NAME=L\xFC"
                                "fter 1\n");
    items = changed(items, "ITEM_NAME=Chassis Intrusion\n", "ITEM_NAME=Geh\xC3\xA4use \xE2\x82\xAC\n");
    std::string settings =
        changed(small_settings("300"), "MACHINENAME=small\nMAILALERT=FALSE\nMAILBOX=root\n",
                "MACHINENAME=B\xE4r\nMAILALERT=TRUE\nMAILBOX=r\xC3\xB6t\n");
    std::string chip = changed(SMALL_CHIP, "0x42 = 0x00\n", "0x42 = 0x10\n");
    chip = changed(chip, "0x30 = 7\n", "0x30 = 255\n");
    std::string configuration = settings + items;
    window_run run = start({make_board(THE_MAKER + chip, &configuration)});
    EXPECT_TRUE(is_shown(ALERTS));
    EXPECT_TRUE(open_every_page());
    ASSERT_TRUE(open_page(ITEMS));
    click(MAIN, ITEMS_SAVE_X, BUTTONS_Y);
    EXPECT_TRUE(confirm_dialog());
    EXPECT_EQ(kept(run, "/etc/Kestrel.ini"), configuration);
    ASSERT_TRUE(open_page(ALERT));
    click(MAIN, ALERT_SAVE_X, NAME_Y);
    EXPECT_TRUE(confirm_dialog());
    EXPECT_EQ(kept(run, "/etc/Kestrel.ini"), configuration);
    expect_end(quit(run), MAIL_SENT, mail_said(run, 1, 6, "r\xC3\xB6t"));
    EXPECT_EQ(kept(run, "/var/mail/1"),
              "-s\nAlert: system health warning!\nr\xC3\xB6t\n\n"
              "The system 'B\xE4r' has the following health information:\nL\xFC"
              "fter 1 Failed(Bad)!\n"
              "Geh\xC3\xA4use \xE2\x82\xAC Failed(Bad)!\nat Mon Jan  5 10:00:00 2026\n");
}

// The entries take 30 characters and 3 digits, and 300 seconds at most: the file may have more.
TEST(WindowFaults, WhatTheFileHasIsNotCutByBeingShown) {
    std::string configuration = changed(small_configuration(), "MACHINENAME=small\n",
                                        "MACHINENAME=a name that has thirty-nine characters.\n");
    configuration = changed(configuration, "POLLING=300\n", "POLLING=1000\n");
    window_run run = start({small_board_with(configuration)});
    select_all();
    click(MAIN, ITEMS_SAVE_X, BUTTONS_Y);
    EXPECT_TRUE(confirm_dialog()); // the only one
    EXPECT_EQ(screen::window(DIALOG), 0u);
    ASSERT_TRUE(open_page(ALERT));
    click(MAIN, NAME_X, NAME_Y);
    EXPECT_TRUE(entry_shows("a name that has thirty-nine ch"));
    click(MAIN, ALERT_SAVE_X, NAME_Y);
    EXPECT_TRUE(confirm_dialog());
    EXPECT_EQ(kept(run, "/etc/Kestrel.ini"), changed(configuration, "MONITOR=FALSE\n", "MONITOR=TRUE\n"));
    expect_end(quit(run), "", "");
}

// Ten characters, doubled ten times by copying and pasting. 99 fit into the setting, and that is what the
// entry shows from the next tick on.
TEST(WindowFaults, TenThousandRecipientsAreCutToTheirField) {
    std::string ten = "abcdefghi ";
    std::string cut;
    for (int i = 0; i < 10; i++)
        cut += ten;
    cut.resize(99);
    window_run run = start({small_board("300")});
    ASSERT_TRUE(open_page(ALERT));
    click(MAIN, NAME_X, RECIPIENTS_Y);
    keys({"ctrl+a", "Delete"});
    type(ten);
    for (int i = 0; i < 10; i++)
        keys({"ctrl+a", "ctrl+c", "End", "ctrl+v"});
    keys({"ctrl+a", "ctrl+c"});
    EXPECT_TRUE(wait_until([] { return screen::copied_text().size() == 10240; }));
    click(MAIN, ALERT_SAVE_X, NAME_Y);
    EXPECT_TRUE(confirm_dialog());
    EXPECT_EQ(kept(run, "/etc/Kestrel.ini"),
              changed(small_settings("300"), "MAILBOX=root\n", "MAILBOX=" + cut + "\n") + SMALL_ITEMS);
    select_all();
    ASSERT_TRUE(open_page(ALERT));
    click(MAIN, NAME_X, RECIPIENTS_Y);
    EXPECT_TRUE(entry_shows(cut));
    expect_end(quit(run), "", "");
}

// Of a line of the file 79 characters are read, and "MAILBOX=" are 8 of them.
TEST(WindowFaults, RecipientsInTheFileAreCutToTheirLine) {
    std::string settings =
        changed(small_settings("300"), "MAILBOX=root\n", "MAILBOX=" + std::string(10000, 'r') + "\n");
    window_run run = start({small_board_with(settings + SMALL_ITEMS)});
    ASSERT_TRUE(open_page(ALERT));
    click(MAIN, NAME_X, RECIPIENTS_Y);
    EXPECT_TRUE(entry_shows(std::string(71, 'r')));
    expect_end(quit(run), "", "");
}

// Ticks follow each other without a pause, but not before whatever the user does.
TEST(WindowFaults, WithoutAnIntervalTheWindowAnswers) {
    for (const std::string &polling : {std::string("POLLING=0\n"), std::string()}) {
        std::string settings = changed(small_settings("300"), "POLLING=300\n", polling);
        std::string board = small_board_with(settings + SMALL_ITEMS);
        window_run run = start({board});
        EXPECT_TRUE(trace_grows(run, 100000)) << polling;
        keys({"alt+v"});
        EXPECT_TRUE(wait_until([] { return screen::menu() != 0; })) << polling;
        EXPECT_TRUE(trace_grows(run, 100000)) << polling; // the menu does not stop them
        keys({"Escape"});
        EXPECT_TRUE(wait_until([] { return screen::menu() == 0; })) << polling;
        EXPECT_TRUE(open_every_page()) << polling;
        EXPECT_TRUE(open_page(ITEMS)) << polling;
        click(MAIN, ENTRY_X, BUTTONS_Y);
        EXPECT_TRUE(entry_shows("0")) << polling;
        expect_end(quit(run), "", "", polling);
        EXPECT_GT(repetitions(behind_start_up(board, trace(run)), small_tick()), 100) << polling;
    }
}

TEST(WindowFaults, AnIntervalIsGivenToAFileWithoutOne) {
    window_run run = start({small_board("0")});
    ASSERT_TRUE(open_page(ITEMS));
    click(MAIN, ENTRY_X, BUTTONS_Y);
    keys({"ctrl+a", "3", "0", "0"});
    EXPECT_TRUE(entry_shows("300"));
    EXPECT_FALSE(trace_grows(run, 1, 2));
    expect_end(quit(run), "", "");
}

// ---- Mail

static void click_test() {
    ASSERT_TRUE(open_page(ALERT));
    click(MAIN, MAIL_TEST_X, NAME_Y);
}

static const std::string DELIMITED =
    ": warning: here-document at line 2 delimited by end-of-file (wanted `EOT')\n";

TEST(WindowFaults, AMailCommandThatIsMissingIsSaidByTheShellAlone) {
    window_run run = start({small_board("300", "[mail]\nmissing = true\n")});
    click_test();
    EXPECT_TRUE(confirm_dialog());
    expect_end(quit(run), "",
               "/tmp/KestrelMailAlert: line 5" + DELIMITED +
                   "/tmp/KestrelMailAlert: line 2: mail: command not found\n");
}

TEST(WindowFaults, AMailCommandThatFailsIsNotNoticed) {
    std::string configuration =
        changed(troubled_configuration("300"), "MAILALERT=FALSE\n", "MAILALERT=TRUE\n");
    window_run run = start({board_in_trouble(configuration, "[mail]\nstatus = 1\n")});
    click_test();
    EXPECT_TRUE(confirm_dialog());
    expect_end(quit(run), MAIL_SENT, mail_said(run, 1, 8, "root") + mail_said(run, 2, 5, "root"));
}

// The window does not respond for that long, and then goes on.
TEST(WindowFaults, AMailCommandThatHangsIsWaitedFor) {
    window_run run = start({small_board("300", "[mail]\nhangs_s = 2\n")});
    auto begin = std::chrono::steady_clock::now();
    click_test();
    EXPECT_TRUE(confirm_dialog());
    EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::seconds(2));
    EXPECT_TRUE(open_every_page());
    expect_end(quit(run), "", mail_said(run, 1, 5, "root"));
}

static bool has_ended(const window_run &run) {
    siginfo_t info = {};
    return waitid(P_PID, static_cast<id_t>(run.child), &info, WEXITED | WNOHANG | WNOWAIT) == 0 &&
           info.si_pid == run.child;
}

// Not after it: nobody knows when that is.
TEST(WindowFaults, ASignalWhileMailHangsEndsTheProgram) {
    for (int number : {SIGTERM, SIGINT, SIGHUP}) {
        window_run run = start({small_board("300", "[mail]\nhangs_s = 600\n")});
        click_test();
        ASSERT_TRUE(wait_until([&] { return std::filesystem::exists(kept_path(run, "/usr/bin/mail")); }));
        EXPECT_TRUE(wait_until([&] { // the first one may come before it is waited for
            kill(run.child, number);
            return has_ended(run);
        }));
        run_result result = end_of(run);
        kill(-run.child, SIGKILL); // the mail command that still hangs
        EXPECT_EQ(result.status, 128 + number) << result.err;
        EXPECT_EQ(kept(run, "/var/mail/1"), "");
    }
}

// An alert at the start, and a test by the button. Neither says that a mail was sent.
TEST(WindowFaults, WithoutAProcessOrAScriptNothingIsSent) {
    const struct {
        const char *toml;
        const char *said;
        const char *warned;
    } table[] = {
        {"[refused]\nfork = \"EAGAIN\"\n", "fork() error!\n", ""},
        {"[refused]\nfork = \"ENOMEM\"\n", "fork() error!\n", ""},
        {"[files]\n\"/tmp/KestrelMailAlert/x\" = \"\"\n", "",
         "Warning: /tmp/KestrelMailAlert is a directory; no mail can be sent.\n"},
    };
    std::string configuration =
        changed(troubled_configuration("300"), "MAILALERT=FALSE\n", "MAILALERT=TRUE\n");
    for (const auto &row : table) {
        window_run run = start({board_in_trouble(configuration, row.toml)});
        click_test();
        EXPECT_TRUE(open_every_page()) << row.toml;
        EXPECT_EQ(screen::window(DIALOG), 0u) << row.toml;
        expect_end(quit(run), std::string(row.said) + row.said, std::string(row.warned) + row.warned,
                   row.toml);
        EXPECT_EQ(kept(run, "/var/mail/1"), "") << row.toml;
    }
}

TEST(WindowFaults, AWaitThatFailsIsSaid) {
    window_run run = start({small_board("300", "[refused]\nwaitpid = \"ECHILD\"\n")});
    click_test();
    EXPECT_TRUE(open_every_page());
    EXPECT_EQ(screen::window(DIALOG), 0u);
    expect_end(quit(run), "waitpid() error!\n", mail_said(run, 1, 5, "root"));
}

// ---- Saving

static void click_save() {
    ASSERT_TRUE(open_page(ITEMS));
    click(MAIN, UNSELECT_ALL_X, BUTTONS_Y);
    click(MAIN, ITEMS_SAVE_X, BUTTONS_Y);
}

// The program ends, and reports why; the file stays as it was.
TEST(WindowFaults, ACopyThatCannotBeMadeEndsTheProgram) {
    window_run run = start({small_board("300")});
    std::filesystem::create_directory(kept_path(run, "/etc/Kestrel.ini.old"));
    click_save();
    expect_end(end_of(run), "on_buttonSaveItems_clicked(): fopen() error!\n", "");
    EXPECT_EQ(kept(run, "/etc/Kestrel.ini"), small_configuration());
}

TEST(WindowFaults, AConfigurationThatIsGoneEndsTheProgram) {
    window_run run = start({small_board("300")});
    std::filesystem::remove(kept_path(run, "/etc/Kestrel.ini"));
    click_save();
    expect_end(end_of(run), "on_buttonSaveItems_clicked(): fopen() error!\n", "");
    EXPECT_FALSE(std::filesystem::exists(kept_path(run, "/etc/Kestrel.ini")));
}

// Nothing can be created any more.
TEST(WindowFaults, ADirectoryThatIsGoneEndsTheProgram) {
    window_run run = start({small_board("300")});
    std::filesystem::rename(kept_path(run, "/etc"), kept_path(run, "/elsewhere"));
    click_save();
    expect_end(end_of(run), "on_buttonSaveItems_clicked(): fopen() error!\n", "");
    EXPECT_EQ(kept(run, "/elsewhere/Kestrel.ini"), small_configuration());
}

// From the moment on when the window is there no file may grow beyond 1000 bytes.
TEST(WindowFaults, AFullDiskEndsTheProgram) {
    window_run run = start({small_board("300")});
    rlimit limit = {1000, 1000};
    ASSERT_EQ(prlimit(run.child, RLIMIT_FSIZE, &limit, nullptr), 0);
    click_save();
    expect_end(end_of(run), "on_buttonSaveItems_clicked(): fclose() error!\n", "");
    EXPECT_EQ(kept(run, "/etc/Kestrel.ini"), small_configuration());
    EXPECT_EQ(kept(run, "/etc/Kestrel.ini.old"), small_configuration());
    EXPECT_FALSE(std::filesystem::exists(kept_path(run, "/etc/Kestrel.ini.new")));
}

// ---- The display

// An X server of its own, without a window manager, that is taken away under the window.
TEST(WindowFaults, ADisplayThatGoesAwayEndsTheProgram) {
    std::string file = scratch_directory() + "/display";
    ASSERT_EQ(run({DISPLAY_SCRIPT, "start", file}).status, 0);
    std::string name;
    pid_t server = 0;
    std::ifstream(file) >> name >> server;
    ASSERT_GT(server, 0);
    std::string here = set_display(name);
    screen::close();
    screen::open(name);
    window_run started = start_untouched({"--strict", "w83627hf"});
    EXPECT_TRUE(has_started());
    screen::close();
    kill(server, SIGTERM);
    run_result result = end_of(started);
    set_display(here);
    screen::open(here);
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.out, BANNER);
    // The toolkit's own words, with an error number of the moment.
    std::string said = "kestrel-virtual w83627hf: Fatal IO error ";
    EXPECT_EQ(result.err.substr(0, said.size()), said);
    EXPECT_EQ(lines_of(result.err).size(), 1u) << result.err;
    EXPECT_NE(result.err.find(" on X server " + name), std::string::npos) << result.err;
    EXPECT_TRUE(std::filesystem::is_empty(temporary_directory(started)));
}

TEST(WindowFaults, ADisplayThatIsNotThereIsSaid) {
    for (const char *name : {":4711", "nonsense", ""}) {
        std::string here = set_display(name);
        run_result result = end_of(start_untouched({"w83627hf"}));
        set_display(here);
        EXPECT_EQ(result.status, 255) << name;
        EXPECT_EQ(result.out, BANNER) << name;
        EXPECT_EQ(result.err, NO_DISPLAY) << name;
    }
}

// What is beside the program's directory is not a module.
TEST(WindowFaults, AModuleThatIsBrokenIsSaid) {
    std::string directory = std::filesystem::canonical(scratch_directory()).string();
    std::string module = directory + "/lib/kestrel/kestrel-gtk.so";
    std::filesystem::create_directory(directory + "/bin");
    std::filesystem::create_directories(directory + "/lib/kestrel");
    std::filesystem::copy(KESTREL_VIRTUAL, directory + "/bin/kestrel-virtual");
    std::ofstream(module) << std::string(100, 'x');
    run_result result = run({directory + "/bin/kestrel-virtual", BOARDS "/lively"});
    EXPECT_EQ(result.status, 255);
    EXPECT_EQ(result.out, BANNER);
    EXPECT_EQ(result.err, "Error: The graphical mode cannot be started: " + module +
                              ": invalid ELF header; use -t for the text report.\n");
}
