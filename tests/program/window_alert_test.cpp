// The Alert page, mails, the alert window, and the status buttons of the Summary page.
#include <algorithm>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include "boards.h"
#include "user.h"
#include "window_boards.h"

using lines = std::vector<std::string>;

static void expect_good_end(const window_run &run, const std::string &out = "", const std::string &err = "") {
    run_result result = quit(run);
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.out, BANNER + out);
    EXPECT_EQ(result.err, err);
}

// ---- The page

static void enter(int x, int y, const std::string &text) {
    click(MAIN, x, y);
    keys({"ctrl+a", "Delete"});
    type(text);
}

static void enter_name(const std::string &text) { enter(NAME_X, NAME_Y, text); }

static void enter_recipients(const std::string &text) { enter(NAME_X, RECIPIENTS_Y, text); }

static void switch_mail() { click(MAIN, CHECK_X, CHECK_Y); }

static bool save() {
    click(MAIN, ALERT_SAVE_X, NAME_Y);
    return confirm_dialog();
}

TEST(WindowAlertPage, ANameAndRecipientsAreSaved) {
    std::string name = "node 7 (rack B)";
    std::string recipients = "root admin@example.org o'neil@example.org";
    std::string configuration =
        changed(small_configuration(), "MAILBOX=root\n",
                "mailBox=root\nMAILSERVER=here\nSERVERPORT=25\nOUTLINE=9\nPHONENUMBER=1\nPAGERID=p\n"
                "PAGERALERT=TRUE\nMAILBOX2=root\n");
    std::string expected = changed(configuration, "mailBox=root\n", "mailBox=" + recipients + "\n");
    expected = changed(expected, "MACHINENAME=small\n", "MACHINENAME=" + name + "\n");

    window_run run = start({small_board_with(configuration)});
    ASSERT_TRUE(open_page(ALERT));
    enter_name(name);
    enter_recipients(recipients);
    EXPECT_TRUE(save());
    EXPECT_EQ(kept(run, "/etc/Kestrel.ini"), expected);
    EXPECT_EQ(kept(run, "/etc/Kestrel.ini.old"), configuration);
    switch_mail();
    EXPECT_TRUE(save());
    EXPECT_EQ(kept(run, "/etc/Kestrel.ini"), changed(expected, "MAILALERT=FALSE\n", "MAILALERT=TRUE\n"));
    EXPECT_EQ(kept(run, "/etc/Kestrel.ini.old"), expected);
    switch_mail();
    EXPECT_TRUE(save());
    EXPECT_EQ(kept(run, "/etc/Kestrel.ini"), expected);
    expect_good_end(run);
}

// What is typed is in force, but not in the file, until the page is saved; the other page does not save it.
TEST(WindowAlertPage, OnlyItsOwnButtonSavesIt) {
    window_run run = start({small_board("300")});
    ASSERT_TRUE(open_page(ALERT));
    enter_name("other");
    ASSERT_TRUE(open_page(ITEMS));
    click(MAIN, ITEMS_SAVE_X, BUTTONS_Y);
    EXPECT_TRUE(confirm_dialog());
    EXPECT_EQ(kept(run, "/etc/Kestrel.ini"), small_configuration());
    click(MAIN, UNSELECT_ALL_X, BUTTONS_Y); // a tick, which fills the entries
    ASSERT_TRUE(open_page(ALERT));
    click(MAIN, NAME_X, NAME_Y);
    EXPECT_TRUE(entry_shows("other"));
    EXPECT_TRUE(save());
    EXPECT_EQ(kept(run, "/etc/Kestrel.ini"),
              changed(small_configuration(), "MACHINENAME=small\n", "MACHINENAME=other\n"));
    expect_good_end(run);
}

TEST(WindowAlertPage, ANameTakes30Characters) {
    window_run run = start({small_board("300")});
    ASSERT_TRUE(open_page(ALERT));
    enter_name("123456789 123456789 123456789 123456789");
    EXPECT_TRUE(entry_shows("123456789 123456789 123456789 "));
    expect_good_end(run);
}

// Switched on, tested, and with what was missing filled in: each time what is missing is reported.
TEST(WindowAlertPage, MailWantsANameAndRecipients) {
    window_run run = start({small_board("300")});
    ASSERT_TRUE(open_page(ALERT));
    for (int y : {NAME_Y, RECIPIENTS_Y}) {
        enter(NAME_X, y, "");
        switch_mail();
        EXPECT_TRUE(confirm_dialog()) << y;
        click(MAIN, MAIL_TEST_X, NAME_Y);
        EXPECT_TRUE(confirm_dialog()) << y;
        EXPECT_TRUE(save()) << y;
        EXPECT_EQ(count_of(kept(run, "/etc/Kestrel.ini"), "\nMAILALERT=FALSE\n"), 1) << y;
        enter(NAME_X, y, "x");
    }
    switch_mail();
    EXPECT_TRUE(save());
    EXPECT_EQ(screen::window(DIALOG), 0u);
    std::string expected =
        changed(small_configuration(), "MACHINENAME=small\nMAILALERT=FALSE\nMAILBOX=root\n",
                "MACHINENAME=x\nMAILALERT=TRUE\nMAILBOX=x\n");
    EXPECT_EQ(kept(run, "/etc/Kestrel.ini"), expected);
    expect_good_end(run);
    lines accesses = trace(run);
    EXPECT_EQ(std::count(accesses.begin(), accesses.end(), "fork"), 0);
}

// 300 boards of one kind would send mails of one name.
TEST(WindowAlertPage, ABoardOfTheMasterFileHasNoNameBeforeItIsGivenOne) {
    std::string configuration = changed(section_of("nct6776f-faults"), "\nPOLLING=5\n", "\nPOLLING=300\n");
    window_run run = start({board_in_trouble(configuration)});
    ASSERT_TRUE(open_page(ALERT));
    switch_mail();
    EXPECT_TRUE(confirm_dialog());
    EXPECT_TRUE(save());
    EXPECT_EQ(kept(run, "/etc/Kestrel.ini"), configuration);
    enter_name("rack 7");
    switch_mail();
    EXPECT_TRUE(save());
    std::string expected = changed(configuration, "\nMACHINENAME=\n", "\nMACHINENAME=rack 7\n");
    EXPECT_EQ(kept(run, "/etc/Kestrel.ini"), changed(expected, "MAILALERT=FALSE\n", "MAILALERT=TRUE\n"));
    expect_good_end(run);
}

TEST(WindowAlertPage, MailThatTheFileSwitchesOnWithoutRecipientsIsRefusedOnce) {
    std::string configuration =
        changed(small_configuration(), "MAILALERT=FALSE\nMAILBOX=root\n", "MAILALERT=TRUE\nMAILBOX=\n");
    window_run run = start({small_board_with(configuration)});
    EXPECT_TRUE(confirm_dialog());
    ASSERT_TRUE(open_page(ITEMS));
    click(MAIN, SELECT_ALL_X, BUTTONS_Y); // a tick
    ASSERT_TRUE(open_page(ALERT));
    EXPECT_EQ(screen::window(DIALOG), 0u);
    EXPECT_TRUE(save());
    EXPECT_EQ(kept(run, "/etc/Kestrel.ini"), changed(configuration, "MAILALERT=TRUE\n", "MAILALERT=FALSE\n"));
    expect_good_end(run);
}

// ---- Mail

static const char SCRIPT[] = "/tmp/KestrelMailAlert";

static mode_t mode_of(const std::string &path) {
    struct stat status = {};
    EXPECT_EQ(stat(path.c_str(), &status), 0) << path;
    return status.st_mode & 07777;
}

static void tick_by_select_all() {
    ASSERT_TRUE(open_page(ITEMS));
    click(MAIN, UNSELECT_ALL_X, BUTTONS_Y);
    click(MAIN, SELECT_ALL_X, BUTTONS_Y); // what is in trouble is reported again
}

// Of eight lines: interpreter, command, name, four items, time.
TEST(WindowMail, AnAlertIsMailedWhenMailIsSwitchedOn) {
    window_run run = start({troubled_board("300")});
    ASSERT_TRUE(open_page(ALERT));
    enter_recipients("root a@b.example");
    switch_mail();
    tick_by_select_all();
    std::string text = "The system 'trouble' has the following health information:\n" + TROUBLE;
    EXPECT_TRUE(wait_until([&] { return !kept(run, "/var/mail/1").empty(); }));
    expect_good_end(run, MAIL_SENT, mail_said(run, 1, 8, "root a@b.example"));
    EXPECT_EQ(kept(run, SCRIPT),
              "#!/bin/bash\nmail -s \"Alert: system health warning!\" root a@b.example <<EOT\n" + text);
    EXPECT_EQ(mode_of(kept_path(run, SCRIPT)), 0100u);
    EXPECT_EQ(kept(run, "/var/mail/1"), "-s\nAlert: system health warning!\nroot\na@b.example\n\n" + text);
    EXPECT_EQ(kept(run, "/var/mail/2"), "");
}

TEST(WindowMail, ANameThatIsTakenAwayIsMissingInTheMail) {
    window_run run = start({troubled_board("300")});
    ASSERT_TRUE(open_page(ALERT));
    switch_mail();
    enter_name("");
    tick_by_select_all();
    EXPECT_TRUE(wait_until([&] { return !kept(run, "/var/mail/1").empty(); }));
    expect_good_end(run, MAIL_SENT, mail_said(run, 1, 8, "root"));
    EXPECT_EQ(kept(run, "/var/mail/1"), "-s\nAlert: system health warning!\nroot\n\n"
                                        "The system '' has the following health information:\n" +
                                            TROUBLE);
}

// One at the start, and then not before something changes.
TEST(WindowMail, WhatIsWrongAtTheStartIsMailedOnce) {
    std::string configuration =
        changed(troubled_configuration("300"), "MAILALERT=FALSE\n", "MAILALERT=TRUE\n");
    window_run run = start({board_in_trouble(configuration)});
    EXPECT_EQ(kept(run, "/var/mail/1"), "-s\nAlert: system health warning!\nroot\n\n"
                                        "The system 'trouble' has the following health information:\n" +
                                            TROUBLE);
    ASSERT_TRUE(open_page(ITEMS));
    click(MAIN, SELECT_ALL_X, BUTTONS_Y); // a tick on which nothing changes
    expect_good_end(run, MAIL_SENT, mail_said(run, 1, 8, "root"));
}

TEST(WindowMail, ATestIsSentByItsButton) {
    window_run run = start({small_board("300")});
    ASSERT_TRUE(open_page(ALERT));
    enter_name("100% node");
    click(MAIN, MAIL_TEST_X, NAME_Y);
    EXPECT_TRUE(confirm_dialog());
    std::string text = "The system '100% node' has the following health information:\nE-mail Test!\n"
                       "at Mon Jan  5 10:00:00 2026\n";
    expect_good_end(run, "", mail_said(run, 1, 5, "root"));
    EXPECT_EQ(kept(run, SCRIPT), "#!/bin/bash\nmail -s \"Alert: E-mail Test!\" root <<EOT\n" + text);
    EXPECT_EQ(mode_of(kept_path(run, SCRIPT)), 0100u);
    EXPECT_EQ(kept(run, "/var/mail/1"), "-s\nAlert: E-mail Test!\nroot\n\n" + text);
}

// The switch reads its register twice a reading: once at the start and on the first tick it is closed.
TEST(WindowMail, AnItemThatFailsLaterIsShownAndMailed) {
    std::string chip = changed(SMALL_CHIP, "0x42 = 0x00\n", "0x42 = [0, 0, 0, 0, 0x10]\n");
    std::string configuration = changed(small_configuration(), "MAILALERT=FALSE\n", "MAILALERT=TRUE\n");
    window_run run = start({make_board(THE_MAKER + chip, &configuration)});
    ASSERT_TRUE(open_page(ITEMS));
    click(MAIN, SELECT_ALL_X, BUTTONS_Y);
    ASSERT_TRUE(open_page(ALERT));
    EXPECT_EQ(screen::window(ALERTS), 0u);
    ASSERT_TRUE(open_page(ITEMS));
    click(MAIN, SELECT_ALL_X, BUTTONS_Y);
    EXPECT_TRUE(is_shown(ALERTS));
    EXPECT_TRUE(screen::has_focus(screen::window(MAIN))); // keys go where they went
    expect_good_end(run, MAIL_SENT, mail_said(run, 1, 5, "root"));
    EXPECT_EQ(kept(run, "/var/mail/1"), "-s\nAlert: system health warning!\nroot\n\n"
                                        "The system 'small' has the following health information:\n"
                                        "Chassis Intrusion Failed(Bad)!\nat Mon Jan  5 10:00:00 2026\n");
}

// ---- The alert window

struct shown_alert {
    screen::picture message;
    screen::picture counter;
};

static bool operator==(const shown_alert &a, const shown_alert &b) {
    return a.message == b.message && a.counter == b.counter;
}

static shown_alert look() {
    screen::window_id window = screen::window(ALERTS);
    return {screen::picture_of(window, {0, 0, 300, 120}), screen::picture_of(window, {110, 148, 100, 28})};
}

// Until both are others, and then as they are.
static shown_alert next_after(const shown_alert &before) {
    EXPECT_TRUE(wait_until([&] {
        shown_alert now = look();
        return now.message != before.message && now.counter != before.counter;
    }));
    return look();
}

static bool shows(const shown_alert &expected) {
    return wait_until([&] { return look() == expected; });
}

static void press_up() { click(ALERTS, 265, 163); }
static void press_down() { click(ALERTS, 265, 200); }
static void press_acknowledge() { click(ALERTS, 52, 200); }
static void press_dismiss() { click(ALERTS, 158, 200); }

// An item in trouble is taken off the list and put on it again, which reports it again. It is the one that
// the keys lead to from the first row; the two clicks are not a double-click.
static void raise_alert_of(const lines &way) {
    for (int x : {LIST_X, LIST_OTHER_X}) {
        click(MAIN, x, FIRST_ROW_Y);
        keys(way);
        keys({"Return"});
    }
}

// One of all four items, one of fan 3, one of the chassis.
static bool raise_three(shown_alert *first, shown_alert *second, shown_alert *third) {
    if (!is_shown(ALERTS) || !wait_until([] { return !look().message.empty(); }) || !open_page(ITEMS))
        return false;
    *first = look();
    raise_alert_of({"Down", "Down"});
    *second = next_after(*first);
    raise_alert_of({"End"});
    *third = next_after(*second);
    return true;
}

TEST(WindowAlerts, AreSteppedThroughByTheButtons) {
    window_run run = start({troubled_board("300")});
    shown_alert first, second, third; // as 1/1, 2/2 and 3/3
    ASSERT_TRUE(raise_three(&first, &second, &third));
    press_down(); // nothing is newer
    press_up();
    shown_alert second_of_three = next_after(third);
    EXPECT_EQ(second_of_three.message, second.message);
    press_up();
    shown_alert first_of_three = next_after(second_of_three);
    EXPECT_EQ(first_of_three.message, first.message);
    press_up(); // nothing is older
    press_down();
    EXPECT_TRUE(shows(second_of_three));
    press_acknowledge();
    EXPECT_TRUE(shows({third.message, second.counter}));
    press_acknowledge(); // the newest: the next older one comes
    EXPECT_TRUE(shows(first));
    press_acknowledge();
    shown_alert none = next_after(first);
    for (const shown_alert &seen : {first, second, third, first_of_three, second_of_three}) {
        EXPECT_NE(none.message, seen.message);
        EXPECT_NE(none.counter, seen.counter);
    }
    press_acknowledge();
    press_up();
    press_down();
    press_dismiss();
    EXPECT_TRUE(is_gone(ALERTS));
    ASSERT_TRUE(open_page(ALERT));
    click(MAIN, SHOW_X, SHOW_Y);
    ASSERT_TRUE(is_shown(ALERTS));
    EXPECT_TRUE(shows(none));
    expect_good_end(run);
}

static bool stands_at(int x, int y) {
    return wait_until([=] {
        screen::place place = screen::place_of_frame(screen::window(ALERTS));
        return place.x == x && place.y == y;
    });
}

static void hide_alerts(bool by_window_manager) {
    if (by_window_manager)
        screen::ask_to_close(screen::window(ALERTS));
    else
        press_dismiss();
}

static bool moves_alerts() { // by its title bar
    move_window(ALERTS, 700, 300);
    return stands_at(700, 300);
}

static void show_alerts() {
    ASSERT_TRUE(open_page(ALERT));
    click(MAIN, SHOW_X, SHOW_Y);
}

// By its button it comes beside the main window, wherever it was and whether it was shown or not.
TEST(WindowAlerts, TheWindowIsShownByItsButton) {
    window_run run = start({troubled_board("300")});
    ASSERT_TRUE(is_shown(ALERTS));
    ASSERT_TRUE(wait_until([] { return !look().message.empty(); }));
    shown_alert first = look();
    for (bool by_window_manager : {false, true}) {
        ASSERT_TRUE(moves_alerts());
        hide_alerts(by_window_manager);
        ASSERT_TRUE(is_gone(ALERTS));
        show_alerts();
        ASSERT_TRUE(is_shown(ALERTS));
        EXPECT_TRUE(stands_at(652, 400)) << by_window_manager;
        EXPECT_TRUE(shows(first));
    }
    ASSERT_TRUE(moves_alerts());
    show_alerts();
    EXPECT_TRUE(stands_at(652, 400));
    expect_good_end(run);
}

TEST(WindowAlerts, ANewAlertShowsTheWindowWhereItWas) {
    window_run run = start({troubled_board("300")});
    for (bool by_window_manager : {false, true}) {
        ASSERT_TRUE(is_shown(ALERTS));
        ASSERT_TRUE(moves_alerts());
        hide_alerts(by_window_manager);
        ASSERT_TRUE(is_gone(ALERTS));
        tick_by_select_all();
        ASSERT_TRUE(is_shown(ALERTS));
        EXPECT_TRUE(stands_at(700, 300)) << by_window_manager;
    }
    expect_good_end(run);
}

// ---- Status buttons

static void press_status_button() { click(MAIN, 79, 536); }

// As "-r" does it, and only once before the next tick.
TEST(WindowStatus, AButtonClearsItsLatchAndIsBlockedUntilTheNextTick) {
    std::string board = troubled_board("300");
    run_result reset;
    lines cleared = behind_start_up(board, trace_of({board, "-r", "Chassis Intrusion"}, &reset));
    ASSERT_EQ(reset.out, BANNER + "Done.\n\"Chassis Intrusion\" is reset!\n\n");
    ASSERT_FALSE(cleared.empty());
    window_run run = start({board});
    press_status_button();
    press_status_button();
    press_status_button();
    expect_good_end(run, "Done.\n");
    EXPECT_EQ(behind_start_up(board, trace(run)), cleared);
}

// After a tick it can be pressed again: the switch is closed now, so it is read, and again at the end.
TEST(WindowStatus, AButtonCanBePressedAgainAfterATick) {
    std::string board = troubled_board("300");
    window_run run = start({board});
    press_status_button();
    ASSERT_TRUE(open_page(ITEMS));
    click(MAIN, SELECT_ALL_X, BUTTONS_Y);
    ASSERT_TRUE(open_page(SUMMARY));
    press_status_button();
    expect_good_end(run, "Done.\nDone.\n");
    lines accesses = trace(run);
    ASSERT_GE(accesses.size(), 4 * 7u);
    lines expected;
    for (const char *register_and_value : {"42 00", "46 00", "42 00", "42 00"})
        expected.insert(expected.end(), {"outb 0295 4e", "inb 0296 80", "outb 0296 80",
                                         std::string("outb 0295 ") + std::string(register_and_value, 2),
                                         std::string("inb 0296 ") + (register_and_value + 3), "outb 0295 4e",
                                         "outb 0296 80"});
    EXPECT_EQ(lines(accesses.end() - 4 * 7, accesses.end()), expected);
    EXPECT_EQ(count_of(text_of(accesses), "outb 0296 80\noutb 0295 46\noutb 0296 80\n"), 1); // one clear
}

// There is nothing to clear: reported on standard error, and the program goes on.
TEST(WindowStatus, ASwitchWithoutALatchIsRefused) {
    std::string configuration =
        changed(troubled_configuration("300"), "PARAMETER=SWITCH1C\nSLAVE=0\nOFFSET=46\nBITMASK=80\n",
                "PARAMETER=SWITCH1C\nSLAVE=0\nOFFSET=46\nBITMASK=0\n");
    std::string board = board_in_trouble(configuration);
    window_run run = start({board});
    press_status_button();
    expect_good_end(run, "", "Warning: To reset \"Chassis Intrusion\" is not allowed.\n");
    EXPECT_EQ(behind_start_up(board, trace(run)), lines());
}
