#include "ui/alert_window.h"

#include <cstring>
#include <gdk/gdkkeysyms.h>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "alert/alert_list.h"
#include "config/settings.h"
#include "gestures.h"
#include "items/display.h"
#include "support/os_test.h"
#include "support/window.h"
#include "ui/tick.h"
#include "ui/widgets.h"
#include "ui/windows.h"

static test_door::monitor chip;

static alert_msg_node *node_at(int index) {
    alert_msg_node *node = alert_msg_head;
    while (index-- > 0)
        node = node->next;
    return node;
}

// The windows with these messages in the list, one of them shown (0: the head) as by the refresh. The one
// switch, bit 4 of register 42, is off and not monitored.
static void start(const std::vector<const char *> &messages, int shown) {
    test_door::reset();
    chip = {.index = 0x295, .data = 0x296};
    test_door::attach(&chip);
    hide_windows();
    test_window::open("[System]\nBUSTYPE=2\nINDEXREG=295\nDATAREG=296\nPOLLING=5\n\n"
                      "[Item]\nITEM_NAME=Case\nITEM_CAT=SWITCH\nBUSTYPE=2\nCHIPCODE=1C\nSLAVE=0\nOFFSET=42\n"
                      "ACTIVATE=1\nMONITOR=FALSE\nPARAINDEX1=SWITCH1A\nPARAINDEX2=SWITCH1C\n\n"
                      "[Parameter]\nPARAMETER=SWITCH1A\nSLAVE=0\nOFFSET=42\nBITMASK=10\n\n"
                      "[Parameter]\nPARAMETER=SWITCH1C\nSLAVE=0\nOFFSET=46\nBITMASK=80\n");
    for (const char *message : messages) {
        alert_msg_node *node = new_alert_msg_node();
        node->msg = strdup(message);
        append_alert_msg_node(alert_msg_head, node);
    }
    current_alert_msg_node = node_at(shown);
    show_current_message();
}

// Counter and message, as "2/3 b".
static std::string shown_in(GtkWidget *window) {
    return test_window::text_of(lookup_widget(window, "labelIndexCount")) + " " +
           test_window::text_of(lookup_widget(window, "labelAlertMsg"));
}

static std::string shown() { return shown_in(mywindowAlertMessage); }

static void write_labels(const char *counter, const char *message) {
    gtk_label_set_text(GTK_LABEL(test_window::alert_widget("labelIndexCount")), counter);
    gtk_label_set_text(GTK_LABEL(test_window::alert_widget("labelAlertMsg")), message);
}

// The list, checked in both directions: "a b c".
static std::string listed() {
    EXPECT_EQ(alert_msg_head->msg, nullptr);
    EXPECT_EQ(alert_msg_head->prev, nullptr);
    std::string text;
    for (const alert_msg_node *node = alert_msg_head; node->next != nullptr; node = node->next) {
        EXPECT_EQ(node->next->prev, node);
        text += (text.empty() ? "" : " ") + std::string(node->next->msg);
    }
    return text;
}

static void press(const std::string &button) { click(test_window::alert_widget(button)); }

static bool is_window_shown() { return gtk_widget_get_visible(mywindowAlertMessage); }

// Flips the switch and refreshes: an alert.
static void raise_alert() {
    chip.registers[0][0x42] ^= 0x10;
    myspKestrel->items[0].Monitor = 1;
    allItemDisps[0].monitor = 1;
    tick();
}

// ---- Up, Down, Acknowledge

struct step {
    std::vector<const char *> messages;
    int from; // the message shown before
    const char *shown;
    const char *listed; // afterwards
};

static void expect_steps(const char *button, const std::vector<step> &steps) {
    for (const step &row : steps) {
        start(row.messages, row.from);
        press(button);
        EXPECT_EQ(shown(), row.shown) << button << " at " << row.from << " of " << row.messages.size();
        EXPECT_EQ(listed(), row.listed) << button << " at " << row.from << " of " << row.messages.size();
    }
}

TEST(AlertWindow, DownGoesTowardsNewerMessages) {
    expect_steps("buttonDown", {{{}, 0, "0/0 No message!", ""},
                                {{"a"}, 1, "1/1 a", "a"},
                                {{"a", "b"}, 1, "2/2 b", "a b"},
                                {{"a", "b"}, 2, "2/2 b", "a b"},
                                {{"a", "b", "c"}, 1, "2/3 b", "a b c"},
                                {{"a", "b", "c"}, 2, "3/3 c", "a b c"},
                                {{"a", "b", "c"}, 3, "3/3 c", "a b c"}});
}

TEST(AlertWindow, UpGoesTowardsOlderMessagesAndNeverToTheHead) {
    expect_steps("buttonUp", {{{}, 0, "0/0 No message!", ""},
                              {{"a"}, 1, "1/1 a", "a"},
                              {{"a", "b"}, 1, "1/2 a", "a b"},
                              {{"a", "b"}, 2, "1/2 a", "a b"},
                              {{"a", "b", "c"}, 1, "1/3 a", "a b c"},
                              {{"a", "b", "c"}, 2, "1/3 a", "a b c"},
                              {{"a", "b", "c"}, 3, "2/3 b", "a b c"}});
}

TEST(AlertWindow, AcknowledgeShowsTheNextNewerMessageElseTheOlder) {
    expect_steps("buttonAcknowledge", {{{}, 0, "0/0 No message!", ""},
                                       {{"a"}, 1, "0/0 No message!", ""},
                                       {{"a", "b"}, 1, "1/1 b", "b"},
                                       {{"a", "b"}, 2, "1/1 a", "a"},
                                       {{"a", "b", "c"}, 1, "1/2 b", "b c"},
                                       {{"a", "b", "c"}, 2, "2/2 c", "a c"},
                                       {{"a", "b", "c"}, 3, "2/2 b", "a b"}});
}

TEST(AlertWindow, UpStopsAtTheOldestMessage) {
    start({"a", "b", "c"}, 3);
    press("buttonDown");
    EXPECT_EQ(shown(), "3/3 c");
    press("buttonUp");
    EXPECT_EQ(shown(), "2/3 b");
    press("buttonUp");
    press("buttonUp");
    EXPECT_EQ(shown(), "1/3 a");
    press("buttonDown");
    EXPECT_EQ(shown(), "2/3 b");
}

TEST(AlertWindow, MessagesAreAcknowledgedToTheLast) {
    const struct {
        int from;
        std::vector<const char *> shown;
    } table[] = {{1, {"1/2 b", "1/1 c", "0/0 No message!", "0/0 No message!"}},
                 {2, {"2/2 c", "1/1 a", "0/0 No message!", "0/0 No message!"}},
                 {3, {"2/2 b", "1/1 a", "0/0 No message!", "0/0 No message!"}}};
    for (const auto &row : table) {
        start({"a", "b", "c"}, row.from);
        for (const char *expected : row.shown) {
            press("buttonAcknowledge");
            EXPECT_EQ(shown(), expected) << "from " << row.from;
        }
        EXPECT_EQ(current_alert_msg_node, alert_msg_head) << "from " << row.from;
        EXPECT_EQ(listed(), "") << "from " << row.from;
    }
}

// Nothing happens: the labels are not even written again.
TEST(AlertWindow, WhereNothingIsToBeDoneTheLabelsStay) {
    const struct {
        std::vector<const char *> messages;
        int from; // -1: no node at all
        const char *button;
    } table[] = {{{}, 0, "buttonAcknowledge"},    {{}, 0, "buttonUp"},
                 {{}, 0, "buttonDown"},           {{"a", "b"}, -1, "buttonAcknowledge"},
                 {{"a", "b"}, -1, "buttonUp"},    {{"a", "b"}, -1, "buttonDown"},
                 {{"a", "b"}, 1, "buttonUp"},     {{"a", "b"}, 2, "buttonDown"},
                 {{"a", "b"}, 2, "buttonDismiss"}};
    for (const auto &row : table) {
        start(row.messages, row.from == -1 ? 0 : row.from);
        if (row.from == -1)
            current_alert_msg_node = nullptr;
        alert_msg_node *current = current_alert_msg_node;
        write_labels("here", "before");
        press(row.button);
        EXPECT_EQ(shown(), "here before") << row.button << " at " << row.from;
        EXPECT_EQ(current_alert_msg_node, current) << row.button << " at " << row.from;
        EXPECT_EQ(listed(), row.messages.empty() ? "" : "a b") << row.button << " at " << row.from;
    }
}

TEST(AlertWindow, TheLabelsAreThoseOfTheButtonsWindow) {
    const struct {
        const char *button;
        const char *shown;
    } table[] = {{"buttonDown", "3/3 c"}, {"buttonUp", "1/3 a"}, {"buttonAcknowledge", "2/2 c"}};
    for (const auto &row : table) {
        start({"a", "b", "c"}, 2);
        GtkWidget *other = create_windowAlertMessage();
        click(lookup_widget(other, row.button));
        EXPECT_EQ(shown_in(other), row.shown) << row.button;
        EXPECT_EQ(shown(), "2/3 b") << row.button;
    }
}

TEST(AlertWindow, ANewMessageIsBehindTheOthersAndShown) {
    start({"a", "b"}, 1);
    test_door::now = 1767607200; // Mon Jan 5 2026, 10:00
    raise_alert();
    const std::string text =
        "This system has the health information:\n\nCase Failed(Bad)!\nat Mon Jan  5 10:00:00 2026\n";
    EXPECT_EQ(shown(), "3/3 " + text);
    press("buttonDown");
    EXPECT_EQ(shown(), "3/3 " + text);
    press("buttonUp");
    EXPECT_EQ(shown(), "2/3 b");
    press("buttonDown");
    press("buttonAcknowledge");
    EXPECT_EQ(shown(), "2/2 b");
}

TEST(AlertWindow, BytesThatAreNotUtf8AreReplaced) {
    const char *bad = "Fan \xE9 Failed(Bad)!";
    start({bad, "b", bad}, 2);
    test_window::take_warnings();
    press("buttonDown");
    EXPECT_EQ(shown(), "3/3 Fan \xEF\xBF\xBD Failed(Bad)!");
    press("buttonUp");
    press("buttonUp");
    EXPECT_EQ(shown(), "1/3 Fan \xEF\xBF\xBD Failed(Bad)!");
    press("buttonDown");
    press("buttonAcknowledge");
    EXPECT_EQ(shown(), "2/2 Fan \xEF\xBF\xBD Failed(Bad)!");
    EXPECT_EQ(test_window::take_warnings(), std::vector<std::string>());
    EXPECT_STREQ(node_at(1)->msg, bad); // the message itself stays as it was
}

TEST(AlertWindow, MarkupAndConversionsAreShownAsTheyStand) {
    start({"a", "<b>&amp; 100%s _x</b>"}, 1);
    press("buttonDown");
    EXPECT_EQ(shown(), "2/2 <b>&amp; 100%s _x</b>");
}

// ---- Shown and hidden

TEST(AlertWindow, DismissHidesAndKeepsTheMessages) {
    start({"a", "b", "c"}, 3);
    press("buttonUp");
    click("buttonShowAlertMessage");
    EXPECT_TRUE(is_window_shown());
    GtkWidget *window = mywindowAlertMessage;
    press("buttonDismiss");
    EXPECT_FALSE(is_window_shown());
    EXPECT_EQ(listed(), "a b c");
    click("buttonShowAlertMessage");
    EXPECT_TRUE(is_window_shown());
    EXPECT_EQ(mywindowAlertMessage, window);
    EXPECT_EQ(shown(), "2/3 b");
}

TEST(AlertWindow, DismissHidesTheButtonsWindow) {
    start({}, 0);
    click("buttonShowAlertMessage");
    GtkWidget *other = create_windowAlertMessage();
    gtk_widget_show(other);
    click(lookup_widget(other, "buttonDismiss"));
    EXPECT_FALSE(gtk_widget_get_visible(other));
    EXPECT_TRUE(is_window_shown());
}

TEST(AlertWindow, ShowRefreshesNothing) {
    start({"a", "b"}, 2);
    current_alert_msg_node = node_at(1);
    click("buttonShowAlertMessage");
    EXPECT_EQ(shown(), "2/2 b");
    write_labels("here", "before");
    click("buttonShowAlertMessage");
    EXPECT_EQ(shown(), "here before");
}

TEST(AlertWindow, ShowCreatesTheWindowThatIsMissing) {
    start({"a"}, 1);
    mywindowAlertMessage = nullptr;
    click("buttonShowAlertMessage");
    ASSERT_NE(mywindowAlertMessage, nullptr);
    EXPECT_TRUE(is_window_shown());
    EXPECT_EQ(shown(), "0 / 0 "); // as it is built
    GtkWidget *window = mywindowAlertMessage;
    press("buttonDismiss");
    click("buttonShowAlertMessage");
    EXPECT_EQ(mywindowAlertMessage, window);
}

TEST(AlertWindow, ClosedByTheWindowManagerItIsHidden) {
    start({"a", "b"}, 2);
    click("buttonShowAlertMessage");
    test_window::settle();
    GtkWidget *window = mywindowAlertMessage;
    EXPECT_FALSE(ends_main_loop([&] { close_by_window_manager(window); }));
    ASSERT_EQ(mywindowAlertMessage, window);
    EXPECT_FALSE(is_window_shown());
    EXPECT_EQ(listed(), "a b");
    click("buttonShowAlertMessage");
    EXPECT_TRUE(is_window_shown());
    EXPECT_EQ(shown(), "2/2 b");
    press("buttonUp");
    EXPECT_EQ(shown(), "1/2 a");
}

TEST(AlertWindow, EscapeHidesItAndNoOtherKeyDoes) {
    start({"a", "b"}, 2);
    click("buttonShowAlertMessage");
    test_window::settle();
    for (guint key : {GDK_KEY_Up, GDK_KEY_x, GDK_KEY_Tab}) {
        press_key(mywindowAlertMessage, key);
        EXPECT_TRUE(is_window_shown()) << key;
    }
    press_key(mywindowAlertMessage, GDK_KEY_Escape);
    EXPECT_FALSE(is_window_shown());
    EXPECT_EQ(listed(), "a b");
    click("buttonShowAlertMessage");
    EXPECT_EQ(shown(), "2/2 b");
}

TEST(AlertWindow, AnAlertShowsTheWindow) {
    start({}, 0);
    EXPECT_FALSE(is_window_shown());
    raise_alert();
    EXPECT_TRUE(is_window_shown());
    press("buttonDismiss");
    tick();
    EXPECT_FALSE(is_window_shown()) << "without a new alert";
    raise_alert();
    EXPECT_TRUE(is_window_shown());
}

// ---- Its place

struct place {
    int x, y;
};

static place place_of(GtkWidget *window) {
    place at;
    gtk_window_get_position(GTK_WINDOW(window), &at.x, &at.y);
    return at;
}

static bool is_at(place expected) {
    place at = place_of(mywindowAlertMessage);
    return at.x == expected.x && at.y == expected.y;
}

// A window manager takes its time and may come back to it: the place counts that stays for a while.
static bool comes_to(place expected) {
    constexpr gint64 A_WHILE_US = 100000;
    gint64 arrival = 0;
    return wait_until([&] {
        gint64 now = g_get_monotonic_time();
        if (!is_at(expected))
            arrival = 0;
        else if (arrival == 0)
            arrival = now;
        return arrival != 0 && now - arrival >= A_WHILE_US;
    });
}

static void expect_place(place expected, const char *when) {
    bool came = comes_to(expected);
    place at = place_of(mywindowAlertMessage);
    EXPECT_TRUE(came) << when << ": at " << at.x << ", " << at.y << ", not " << expected.x << ", "
                      << expected.y;
}

static void wait_until_shown() {
    wait_until([] { return is_window_shown() && gtk_widget_get_mapped(mywindowAlertMessage); });
    test_window::settle();
}

// As the user does: behind the toolkit's back.
static void move_to(place to) {
    gdk_window_move(gtk_widget_get_window(mywindowAlertMessage), to.x, to.y);
    expect_place(to, "moved by the user");
}

// 12 pixels right of the main window, its top 200 above the main window's bottom edge.
static place beside_main_window() {
    GtkAllocation main;
    gtk_widget_get_allocation(myapp1, &main);
    EXPECT_GE(main.width, 640);
    EXPECT_GE(main.height, 600);
    return {main.x + main.width + 12, main.y + main.height - 200};
}

TEST(AlertWindowPlace, TheButtonPlacesItBesideTheMainWindow) {
    start({}, 0);
    click("buttonShowAlertMessage");
    wait_until_shown();
    expect_place(beside_main_window(), "shown first");
    move_to({100, 120});
    click("buttonShowAlertMessage");
    expect_place(beside_main_window(), "shown while it is shown");
    press("buttonDismiss");
    test_window::settle();
    click("buttonShowAlertMessage");
    wait_until_shown();
    expect_place(beside_main_window(), "dismissed before");
}

TEST(AlertWindowPlace, TheButtonPlacesItAnewAfterItWasMovedAndHidden) {
    start({}, 0);
    click("buttonShowAlertMessage");
    wait_until_shown();
    move_to({100, 120});
    press("buttonDismiss");
    test_window::settle();
    click("buttonShowAlertMessage");
    wait_until_shown();
    expect_place(beside_main_window(), "moved and dismissed before");
}

TEST(AlertWindowPlace, TheButtonAsksForTheMainWindowsSize) {
    start({}, 0);
    click("buttonShowAlertMessage");
    wait_until_shown();
    place before = beside_main_window();
    gtk_widget_set_size_request(myapp1, 740, 650);
    ASSERT_TRUE(wait_until([&] { return myapp1->allocation.width == 740; }));
    place after = beside_main_window();
    EXPECT_NE(after.x, before.x);
    EXPECT_NE(after.y, before.y);
    click("buttonShowAlertMessage");
    expect_place(after, "beside a larger window");
}

TEST(AlertWindowPlace, AWindowThatTheButtonCreatesIsPlacedToo) {
    start({}, 0);
    mywindowAlertMessage = nullptr;
    click("buttonShowAlertMessage");
    wait_until_shown();
    expect_place(beside_main_window(), "created");
}

TEST(AlertWindowPlace, AnAlertLeavesItWhereItWas) {
    start({}, 0);
    click("buttonShowAlertMessage");
    wait_until_shown();
    move_to({100, 120});
    raise_alert();
    test_window::settle();
    expect_place({100, 120}, "shown already");
    press("buttonDismiss");
    test_window::settle();
    raise_alert();
    wait_until_shown();
    expect_place({100, 120}, "dismissed before");
    move_to({140, 150});
    close_by_window_manager(mywindowAlertMessage);
    test_window::settle();
    raise_alert();
    wait_until_shown();
    expect_place({140, 150}, "closed before");
}
