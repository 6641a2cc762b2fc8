// The Alert page's entries, and the alerts: what changed between normal and abnormal becomes a message and a
// mail. Mails are recorded here instead of being sent.
#include "ui/alert_page.h"

#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "alert/alert_list.h"
#include "alert/mail.h"
#include "displays.h"
#include "hw/text.h"
#include "support/os_test.h"
#include "support/pages.h"
#include "support/window.h"
#include "ui/windows.h"

using strings = std::vector<std::string>;
using test_window::alert_widget;
using test_window::text_of;
using test_window::widget;

// ---- Mails

static strings mails; // "KIND TO|NAME|BODY"
static mail_outcome outcome;
static std::string shown_when_mailed;

// In the place of the library's.
mail_outcome send_mail(mail_kind kind, const char *recipients, const char *machine_name, const char *body) {
    mails.push_back(std::string(kind == HEALTH_MAIL ? "health " : "test ") + recipients + "|" + machine_name +
                    "|" + body);
    shown_when_mailed = text_of(alert_widget("labelAlertMsg"));
    return outcome;
}

static strings take_mails() {
    strings taken;
    taken.swap(mails);
    return taken;
}

// ---- The page

constexpr time_t NOW = 1794798335;
static const std::string AT_NOW = "at Mon Nov 16 03:05:35 2026\n";
static const std::string HEADING = "This system has the health information:\n\n";

static system_settings *open() {
    test_pages::begin();
    system_settings *system = test_pages::open();
    test_door::now = NOW;
    mails.clear();
    outcome = MAIL_SENT;
    return system;
}

static std::string build(const display_list &list) {
    return test_pages::printed(
        [&] { build_Alert(myapp1, myspKestrel->system, list.data(), static_cast<int32_t>(list.size())); });
}

static std::string message() { return text_of(alert_widget("labelAlertMsg")); }
static std::string counter() { return text_of(alert_widget("labelIndexCount")); }
static bool alert_is_shown() { return gtk_widget_get_visible(mywindowAlertMessage) != FALSE; }

// The change lines of what `build` reported; "" when it reported nothing.
static std::string changes(const display_list &list) {
    alert_msg_node *before = current_alert_msg_node;
    build(list);
    if (current_alert_msg_node == before)
        return "";
    std::string text = message();
    if (text.find(HEADING) != 0 || text.size() < HEADING.size() + AT_NOW.size() ||
        text.substr(text.size() - AT_NOW.size()) != AT_NOW)
        return "not in form: " + text;
    return text.substr(HEADING.size(), text.size() - HEADING.size() - AT_NOW.size());
}

// ---- First states

TEST(Alert, NothingIsReportedWhileAllIsNormal) {
    open();
    EXPECT_EQ(build({fan("F", 1000), voltage("V", 1000), temperature("T", 20), status("S", 0)}), "");
    EXPECT_EQ(counter(), "0 / 0"); // as the window was built
    EXPECT_EQ(message(), "");
    EXPECT_FALSE(alert_is_shown());
    EXPECT_EQ(get_alert_msg_node_count(alert_msg_head), 0);
}

TEST(Alert, FirstCallReportsWhatIsAbnormalThen) {
    open();
    build({fan("F", 100), voltage("V", 1000), temperature("T", 90), status("S", 0), status("R", 2)});
    EXPECT_EQ(message(), HEADING + "F Failed(Bad)!\nT Failed(Bad)!\nR Failed(Bad)!\n" + AT_NOW);
    EXPECT_EQ(counter(), "1/1");
    EXPECT_TRUE(alert_is_shown());
}

// ---- Changes

TEST(Alert, ChangesInBothDirectionsOfEveryCategory) {
    open();
    static const struct {
        item_display good;
        item_display bad;
    } cases[] = {
        {fan("Item", 501), fan("Item", 500)},
        {voltage("Item", 19999), voltage("Item", 20000)},
        {voltage("Item", -19999), voltage("Item", -20000)},
        {temperature("Item", 69), temperature("Item", 70)},
        {worded(temperature("Item", 40), "High"), worded(temperature("Item", 40), "Overheat")},
        {status("Item", 0), status("Item", 1)},
        {status("Item", 0), status("Item", 2)},
    };
    for (const auto &c : cases) {
        EXPECT_EQ(changes({c.good}), "") << c.good.cat;
        EXPECT_EQ(changes({c.bad}), "Item Failed(Bad)!\n") << c.bad.cat << " " << c.bad.value;
        EXPECT_EQ(changes({c.good}), "Item OK(Good)!\n") << c.good.cat;
    }
}

TEST(Alert, StateThatHoldsIsReportedOnce) {
    open();
    EXPECT_EQ(changes({status("Chassis", 1)}), "Chassis Failed(Bad)!\n");
    for (int64_t value : {1, 1, 2, 1}) // 2 is abnormal, too
        EXPECT_EQ(changes({status("Chassis", value)}), "") << value;
    EXPECT_EQ(get_alert_msg_node_count(alert_msg_head), 1);
    EXPECT_EQ(changes({status("Chassis", 0)}), "Chassis OK(Good)!\n");
    EXPECT_EQ(changes({status("Chassis", 0)}), "");
    EXPECT_EQ(get_alert_msg_node_count(alert_msg_head), 2);
}

TEST(Alert, ChangesOfOneRefreshAreOneMessageInTableOrder) {
    open();
    build({voltage("12V", 0), voltage("5V", 0), fan("F", 100)});
    EXPECT_EQ(counter(), "1/1");
    EXPECT_EQ(changes({voltage("12V", 30000), voltage("5V", 30000), fan("F", 100)}),
              "12V Failed(Bad)!\n5V Failed(Bad)!\n");
    EXPECT_EQ(counter(), "2/2");
    EXPECT_EQ(changes({voltage("12V", 0), voltage("5V", 30000), fan("F", 1000)}),
              "12V OK(Good)!\nF OK(Good)!\n");
    EXPECT_EQ(counter(), "3/3");
    EXPECT_EQ(changes({voltage("12V", 30000), voltage("5V", 0), fan("F", 1000)}),
              "12V Failed(Bad)!\n5V OK(Good)!\n");
}

TEST(Alert, ItemsOfDifferentCategoriesDoNotShareAState) {
    open();
    display_list list = {fan("F", 1000), voltage("V", 0), temperature("T", 20), status("S", 0)};
    static const struct {
        unsigned item;
        int64_t bad;
        const char *text;
    } cases[] = {{0, 0, "F Failed(Bad)!\n"},
                 {1, 30000, "V Failed(Bad)!\n"},
                 {2, 90, "T Failed(Bad)!\n"},
                 {3, 1, "S Failed(Bad)!\n"}};
    for (const auto &c : cases) {
        list[c.item].value = c.bad;
        EXPECT_EQ(changes(list), c.text);
    }
}

TEST(Alert, LastItemOfEachCategoryHasItsOwnState) {
    open();
    display_list list = joined({run_of(fan, "F", 16, 1000), run_of(voltage, "V", 60, 1000),
                                run_of(temperature, "T", 16, 20), run_of(status, "S", 16, -20)});
    EXPECT_EQ(changes(list), "");
    list[15].value = 0;
    list[75].value = 30000;
    list[91].value = 90;
    list[107].value = 1;
    EXPECT_EQ(changes(list), "F 15 Failed(Bad)!\nV 59 Failed(Bad)!\nT 15 Failed(Bad)!\nS 15 Failed(Bad)!\n");
    EXPECT_EQ(changes(list), "");
}

// ---- Monitoring

TEST(Alert, ItemThatIsNotMonitoredIsNotReported) {
    open();
    EXPECT_EQ(changes({unmonitored(status("S", 1))}), "");
    item_display other = status("S", 1);
    for (uint32_t flag : {2u, 255u}) {
        other.monitor = flag;
        EXPECT_EQ(changes({other}), "") << flag;
    }
    EXPECT_FALSE(alert_is_shown());
}

TEST(Alert, MonitoringAnAbnormalItemAgainReportsItAgain) {
    open();
    EXPECT_EQ(changes({status("S", 1)}), "S Failed(Bad)!\n");
    EXPECT_EQ(changes({unmonitored(status("S", 1))}), "");
    EXPECT_EQ(changes({status("S", 1)}), "S Failed(Bad)!\n");
    EXPECT_EQ(changes({unmonitored(status("S", 1))}), "");
    EXPECT_EQ(changes({status("S", 0)}), "");
}

// A state belongs to the item's place among all of its category, not among the monitored ones.
TEST(Alert, StatesFollowTheirItems) {
    open();
    EXPECT_EQ(changes({unmonitored(fan("A", 0)), fan("B", 0), fan("C", 1000)}), "B Failed(Bad)!\n");
    EXPECT_EQ(changes({fan("A", 1000), fan("B", 0), fan("C", 1000)}), "");
    EXPECT_EQ(changes({fan("A", 1000), unmonitored(fan("B", 0)), fan("C", 1000)}), "");
    EXPECT_EQ(changes({unmonitored(fan("A", 0)), unmonitored(fan("B", 0)), fan("C", 0)}), "C Failed(Bad)!\n");
}

TEST(Alert, OtherCategoriesAreSkipped) {
    open();
    for (uint32_t cat : {4u, 5u, 6u, 255u, 0xFFFFFFFFu}) {
        item_display other = shown_item(cat, "Other", 1, 2, 0);
        EXPECT_EQ(changes({other, fan("F", 1000), other}), "") << cat;
    }
    // They do not count for the others' places either.
    EXPECT_EQ(changes({fan("F", 0)}), "F Failed(Bad)!\n");
    EXPECT_EQ(changes({shown_item(4, "Other", 1, 2, 0), fan("F", 0)}), "");
}

// ---- Message and list

TEST(Alert, NewestMessageBecomesTheCurrentOne) {
    open();
    build({status("S", 1)});
    alert_msg_node *first = current_alert_msg_node;
    EXPECT_EQ(first, alert_msg_head->next);
    EXPECT_EQ(first->msg, HEADING + "S Failed(Bad)!\n" + AT_NOW);
    build({status("S", 0)});
    build({status("S", 1)});
    EXPECT_EQ(counter(), "3/3");
    current_alert_msg_node = first; // somebody looks at the oldest
    build({status("S", 0)});
    EXPECT_EQ(counter(), "4/4");
    EXPECT_EQ(message(), HEADING + "S OK(Good)!\n" + AT_NOW);
    EXPECT_EQ(
        get_prev_alert_msg_node(get_prev_alert_msg_node(get_prev_alert_msg_node(current_alert_msg_node))),
        first);
    EXPECT_EQ(first->msg, HEADING + "S Failed(Bad)!\n" + AT_NOW); // a copy of its own
}

TEST(Alert, RefreshWithoutAChangeLeavesTheWindowAsItIs) {
    open();
    build({status("S", 1)});
    build({status("S", 0)});
    current_alert_msg_node = alert_msg_head->next;
    gtk_label_set_text(GTK_LABEL(alert_widget("labelAlertMsg")), "looked at");
    gtk_widget_hide(mywindowAlertMessage);
    build({status("S", 0)});
    EXPECT_EQ(message(), "looked at");
    EXPECT_EQ(current_alert_msg_node, alert_msg_head->next);
    EXPECT_FALSE(alert_is_shown());
    build({status("S", 1)});
    EXPECT_TRUE(alert_is_shown());
}

TEST(Alert, TimeOfTheRefreshEndsTheText) {
    open();
    test_door::now = 0;
    build({status("S", 1)});
    EXPECT_EQ(message(), HEADING + "S Failed(Bad)!\nat Thu Jan  1 00:00:00 1970\n");
    test_door::now = NOW + 60;
    build({status("S", 0)});
    EXPECT_EQ(message(), HEADING + "S OK(Good)!\nat Mon Nov 16 03:06:35 2026\n");
}

TEST(Alert, NamesInUtf8AndOthers) {
    open();
    EXPECT_EQ(changes({status("L\xC3\xBC"
                              "fter",
                              1),
                       status("L\xFC"
                              "fter",
                              1)}),
              "L\xC3\xBC"
              "fter Failed(Bad)!\nL\xEF\xBF\xBD"
              "fter Failed(Bad)!\n");
    EXPECT_EQ(test_window::take_warnings(), strings());
}

// 60 lines of 39 + 14 bytes.
TEST(Alert, LongListIsShownAndMailedWhole) {
    system_settings *system = open();
    system->MailAlert = 1;
    copy_text(system->MachineName, sizeof system->MachineName, "Board");
    copy_text(system->MailBox, sizeof system->MailBox, "ops");
    display_list list;
    std::string lines;
    for (int i = 0; i < 60; i++) {
        list.push_back(voltage(std::string(39, 'v'), 30000));
        lines += std::string(39, 'v') + " Failed(Bad)!\n";
    }
    build(list);
    EXPECT_EQ(message(), HEADING + lines + AT_NOW);
    EXPECT_EQ(take_mails(), strings{"health ops|Board|" + lines + AT_NOW});
}

// ---- Too many items

struct crowd_case {
    item_display (*make)(const std::string &name, int64_t value);
    unsigned states;
    int64_t good;
    int64_t bad;
    const char *message;
};

static const crowd_case crowds[] = {
    {fan, 16, 1000, 0, " build_Alert(): idxFan out of range. \n"},
    {voltage, 60, 0, 30000, " build_Alert(): idxVoltage out of range. \n"},
    {temperature, 16, 20, 90, " build_Alert(): idxThermal out of range. \n"},
    {status, 16, 0, 1, " build_Alert(): idxStatus out of range. \n"},
};

TEST(AlertCrowd, OneItemTooManyIsSaidMonitoredOrNotAndNothingIsReported) {
    system_settings *system = open();
    system->MailAlert = 1;
    copy_text(system->MachineName, sizeof system->MachineName, "Board");
    copy_text(system->MailBox, sizeof system->MailBox, "ops");
    for (const crowd_case &c : crowds) {
        display_list list;
        for (unsigned i = 0; i <= c.states; i++)
            list.push_back(c.make("Item", c.good));
        list[0].value = c.bad;
        EXPECT_EQ(build(list), c.message);
        for (unsigned i = 1; i <= c.states; i++)
            list[i].monitor = 0;
        EXPECT_EQ(build(list), c.message) << "not monitored";
        EXPECT_EQ(get_alert_msg_node_count(alert_msg_head), 0) << c.message;
        EXPECT_FALSE(alert_is_shown()) << c.message;
        EXPECT_EQ(take_mails(), strings()) << c.message;
    }
}

TEST(AlertCrowd, AsManyAsThereAreStatesAreNotTooMany) {
    open();
    for (const crowd_case &c : crowds) {
        display_list list;
        for (unsigned i = 0; i < c.states; i++)
            list.push_back(c.make("Item", c.good));
        EXPECT_EQ(build(list), "") << c.message;
    }
}

// The states of those walked before are up to date; what comes after was not looked at.
TEST(AlertCrowd, StatesBeforeTheItemTooManyAreUpToDate) {
    open();
    for (const crowd_case &c : crowds) {
        item_display good = c.make("Item", c.good);
        item_display bad = c.make("Item", c.bad);
        display_list list(c.states + 1, good);
        list[0] = bad;
        build(list);
        list.pop_back();
        EXPECT_EQ(changes(list), "") << c.message;
        list[0] = good;
        EXPECT_EQ(changes(list), "Item OK(Good)!\n") << c.message;
    }
    display_list list(17, fan("F", 1000));
    list.push_back(status("Behind", 1));
    build(list);
    EXPECT_EQ(changes({status("Behind", 1)}), "Behind Failed(Bad)!\n");
}

// ---- Mail

static system_settings *open_with_mail() {
    system_settings *system = open();
    system->MailAlert = 1;
    copy_text(system->MachineName, sizeof system->MachineName, "Board 7");
    copy_text(system->MailBox, sizeof system->MailBox, "ops@example.org boss@example.org");
    return system;
}

TEST(AlertMail, ChangesAreMailedWithoutTheHeading) {
    open_with_mail();
    test_door::captured_stdout([] { build({status("S", 1), status("T", 1)}); });
    EXPECT_EQ(take_mails(), strings{"health ops@example.org boss@example.org|Board 7|S Failed(Bad)!\nT "
                                    "Failed(Bad)!\n" +
                                    AT_NOW});
    EXPECT_EQ(shown_when_mailed, HEADING + "S Failed(Bad)!\nT Failed(Bad)!\n" + AT_NOW);
    test_door::captured_stdout([] { build({status("S", 1), status("T", 1)}); });
    EXPECT_EQ(take_mails(), strings());
    test_door::captured_stdout([] { build({status("S", 1), status("T", 0)}); });
    EXPECT_EQ(take_mails(),
              strings{"health ops@example.org boss@example.org|Board 7|T OK(Good)!\n" + AT_NOW});
}

TEST(AlertMail, OnlyWhenItIsWanted) {
    system_settings *system = open_with_mail();
    system->MailAlert = 0;
    build({status("S", 1)});
    EXPECT_EQ(counter(), "1/1");
    EXPECT_EQ(take_mails(), strings());
    system->MailAlert = 1; // what was not mailed is not made up for
    build({status("S", 1)});
    EXPECT_EQ(take_mails(), strings());
}

TEST(AlertMail, OutcomesAreSaid) {
    open_with_mail();
    static const struct {
        mail_outcome outcome;
        const char *output;  // by printf
        const char *printed; // by the toolkit's print
    } cases[] = {
        {MAIL_SENT, "Send an alert through E-mail successfully.\n", ""},
        {MAIL_NO_FORK, "", "fork() error!\n"},
        {MAIL_NO_WAIT, "", "waitpid() error!\n"},
        {MAIL_NO_SCRIPT, "", ""},
    };
    int64_t value = 0;
    for (const auto &c : cases) {
        outcome = c.outcome;
        value = 1 - value;
        std::string printed;
        EXPECT_EQ(test_door::captured_stdout([&] { printed = build({status("S", value)}); }), c.output);
        EXPECT_EQ(printed, c.printed) << c.outcome;
        EXPECT_EQ(take_mails().size(), 1u) << c.outcome;
        EXPECT_EQ(test_window::messages(), strings()) << c.outcome;
    }
    EXPECT_EQ(get_alert_msg_node_count(alert_msg_head), 4);
}

TEST(AlertMail, NothingIsSaidWithoutAChange) {
    open_with_mail();
    EXPECT_EQ(test_door::captured_stdout([] { EXPECT_EQ(build({status("S", 0)}), ""); }), "");
    EXPECT_EQ(take_mails(), strings());
}

// ---- The settings on the page

static std::string name_entry() { return text_of(widget("entryMachineName")); }
static std::string mailbox_entry() { return text_of(widget("entryRecipientMailbox")); }
static bool mail_is_on() {
    return gtk_toggle_button_get_active(GTK_TOGGLE_BUTTON(widget("checkbuttonMailAlert"))) != FALSE;
}

TEST(AlertSettings, EntriesShowTheSettingsOnEveryRefresh) {
    system_settings *system = open();
    copy_text(system->MachineName, sizeof system->MachineName, "Board");
    copy_text(system->MailBox, sizeof system->MailBox, "ops@example.org");
    build({});
    EXPECT_EQ(name_entry(), "Board");
    EXPECT_EQ(mailbox_entry(), "ops@example.org");
    EXPECT_FALSE(mail_is_on());
    copy_text(system->MachineName, sizeof system->MachineName, "Other");
    copy_text(system->MailBox, sizeof system->MailBox, "");
    build({});
    EXPECT_EQ(name_entry(), "Other");
    EXPECT_EQ(mailbox_entry(), "");
    EXPECT_STREQ(system->MachineName, "Other");
    EXPECT_STREQ(system->MailBox, "");
}

TEST(AlertSettings, AreShownAlsoWithTooManyItems) {
    system_settings *system = open();
    copy_text(system->MachineName, sizeof system->MachineName, "Board");
    build(display_list(17, fan("F", 1000)));
    EXPECT_EQ(name_entry(), "Board");
}

// The entry takes 30 characters; shown in it, a longer name from the file is not cut in memory.
TEST(AlertSettings, ShowingALongNameDoesNotCutIt) {
    system_settings *system = open();
    std::string name = "123456789012345678901234567890abcdefghi";
    copy_text(system->MachineName, sizeof system->MachineName, name.c_str());
    for (int refresh = 0; refresh < 3; refresh++) {
        build({});
        EXPECT_EQ(system->MachineName, name);
        EXPECT_EQ(name_entry(), "123456789012345678901234567890");
    }
}

TEST(AlertSettings, ShowingALongMailboxDoesNotChangeIt) {
    system_settings *system = open();
    std::string mailbox(99, 'm');
    copy_text(system->MailBox, sizeof system->MailBox, mailbox.c_str());
    build({});
    EXPECT_EQ(mailbox_entry(), mailbox);
    EXPECT_EQ(system->MailBox, mailbox);
}

TEST(AlertSettings, TextsInUtf8AndOthers) {
    system_settings *system = open();
    copy_text(system->MachineName, sizeof system->MachineName, "L\xC3\xBCneburg");
    copy_text(system->MailBox, sizeof system->MailBox, "\xE9ole");
    build({});
    EXPECT_EQ(name_entry(), "L\xC3\xBCneburg");
    EXPECT_EQ(mailbox_entry(), "\xEF\xBF\xBDole");
    EXPECT_EQ(test_window::take_warnings(), strings());
}

// Each byte is shown as a character of three bytes, and the entry takes 30 of them.
TEST(AlertSettings, ShowingBrokenTextsDoesNotMendThem) {
    system_settings *system = open();
    std::string broken(39, '\xE9');
    copy_text(system->MachineName, sizeof system->MachineName, broken.c_str());
    copy_text(system->MailBox, sizeof system->MailBox, "\xE9ole");
    build({});
    std::string shown;
    for (int i = 0; i < 30; i++)
        shown += "\xEF\xBF\xBD";
    EXPECT_EQ(name_entry(), shown);
    EXPECT_EQ(system->MachineName, broken);
    EXPECT_STREQ(system->MailBox, "\xE9ole");
    EXPECT_EQ(test_window::take_warnings(), strings());
}

// Somebody may be typing in them.
TEST(AlertSettings, CursorStaysWhileTheTextIsTheSame) {
    system_settings *system = open();
    copy_text(system->MachineName, sizeof system->MachineName, "123456789012345678901234567890abcdefghi");
    copy_text(system->MailBox, sizeof system->MailBox, "ops\xE9@example.org");
    build({});
    for (const char *entry : {"entryMachineName", "entryRecipientMailbox"})
        gtk_editable_set_position(GTK_EDITABLE(widget(entry)), 3);
    build({});
    for (const char *entry : {"entryMachineName", "entryRecipientMailbox"})
        EXPECT_EQ(gtk_editable_get_position(GTK_EDITABLE(widget(entry))), 3) << entry;
}

TEST(AlertSettings, ButtonShowsWhetherMailIsOn) {
    system_settings *system = open_with_mail();
    build({});
    EXPECT_TRUE(mail_is_on());
    EXPECT_EQ(system->MailAlert, 1u);
    system->MailAlert = 0;
    build({});
    EXPECT_FALSE(mail_is_on());
    EXPECT_EQ(system->MailAlert, 0u);
    system->MailAlert = 2; // anything but 0
    build({});
    EXPECT_TRUE(mail_is_on());
    EXPECT_EQ(test_window::messages(), strings());
}

// The file switched mail on and does not say for whom: reported once, and switched off.
TEST(AlertSettings, MailWithoutANameOrRecipientsIsToldOnceAndSwitchedOff) {
    static const struct {
        const char *name;
        const char *mailbox;
        const char *message;
    } cases[] = {
        {"", "ops", "'Name for this system' must be filled!"},
        {"Board", "", "'Recipients' must be filled!"},
        {"", "", "'Name for this system' must be filled!"},
    };
    for (const auto &c : cases) {
        system_settings *system = open();
        system->MailAlert = 1;
        copy_text(system->MachineName, sizeof system->MachineName, c.name);
        copy_text(system->MailBox, sizeof system->MailBox, c.mailbox);
        for (int refresh = 0; refresh < 3; refresh++)
            build({status("S", 1)});
        EXPECT_EQ(test_window::messages(), strings{c.message});
        EXPECT_EQ(system->MailAlert, 0u) << c.message;
        EXPECT_FALSE(mail_is_on()) << c.message;
        EXPECT_EQ(counter(), "1/1") << c.message;
        EXPECT_EQ(take_mails(), strings()) << c.message;
    }
}
