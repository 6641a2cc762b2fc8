// Which handler each widget's signal goes to, and which widgets have no handler.
#include "ui/windows.h"

#include <gtest/gtest.h>
#include <iterator>
#include <string>

#include "support/widget_tree.h"
#include "support/window.h"
#include "ui/alert_window.h"
#include "ui/handlers.h"

using widget_tree::handlers;
using widget_tree::registered;

struct connection {
    const char *widget;
    const char *signal;
    GCallback handler;
};

static const connection app_connections[] = {
    {"app1", "destroy", G_CALLBACK(on_app1_destroy)},
    {"quit1", "activate", G_CALLBACK(on_quit1_activate)},
    {"summary1", "activate", G_CALLBACK(on_summary1_activate)},
    {"fan_speed_charts1", "activate", G_CALLBACK(on_fan_speed_charts1_activate)},
    {"voltage_charts1", "activate", G_CALLBACK(on_voltage_charts1_activate)},
    {"thermal_charts1", "activate", G_CALLBACK(on_thermal_charts1_activate)},
    {"items1", "activate", G_CALLBACK(on_items1_activate)},
    {"alert1", "activate", G_CALLBACK(on_alert1_activate)},
    {"about1", "activate", G_CALLBACK(on_about1_activate)},
    {"buttonSummaryStatus0", "clicked", G_CALLBACK(on_buttonSummaryStatus0_clicked)},
    {"buttonSummaryStatus1", "clicked", G_CALLBACK(on_buttonSummaryStatus1_clicked)},
    {"buttonSummaryStatus2", "clicked", G_CALLBACK(on_buttonSummaryStatus2_clicked)},
    {"buttonSummaryStatus3", "clicked", G_CALLBACK(on_buttonSummaryStatus3_clicked)},
    {"buttonSummaryStatus4", "clicked", G_CALLBACK(on_buttonSummaryStatus4_clicked)},
    {"buttonSummaryStatus5", "clicked", G_CALLBACK(on_buttonSummaryStatus5_clicked)},
    {"buttonSummaryStatus6", "clicked", G_CALLBACK(on_buttonSummaryStatus6_clicked)},
    {"buttonSummaryStatus7", "clicked", G_CALLBACK(on_buttonSummaryStatus7_clicked)},
    {"entryPolling", "changed", G_CALLBACK(on_entryPolling_changed)},
    {"buttonSelectAll", "clicked", G_CALLBACK(on_buttonSelectAll_clicked)},
    {"buttonUnselectAll", "clicked", G_CALLBACK(on_buttonUnselectAll_clicked)},
    {"buttonItemsSave", "clicked", G_CALLBACK(on_buttonItemsSave_clicked)},
    {"treeview1", "row_activated", G_CALLBACK(on_treeview1_row_activated)},
    {"entryMachineName", "changed", G_CALLBACK(on_entryMachineName_changed)},
    {"buttonMailTest", "clicked", G_CALLBACK(on_buttonMailTest_clicked)},
    {"buttonAlertSave", "clicked", G_CALLBACK(on_buttonAlertSave_clicked)},
    {"entryRecipientMailbox", "changed", G_CALLBACK(on_entryRecipientMailbox_changed)},
    {"checkbuttonMailAlert", "toggled", G_CALLBACK(on_checkbuttonEmailAlert_toggled)},
    {"buttonShowAlertMessage", "clicked", G_CALLBACK(on_buttonShowAlertMessage_clicked)},
};

static const connection alert_connections[] = {
    {"buttonAcknowledge", "clicked", G_CALLBACK(on_buttonAcknowledge_clicked)},
    {"buttonDismiss", "clicked", G_CALLBACK(on_buttonDismiss_clicked)},
    {"buttonDown", "clicked", G_CALLBACK(on_buttonDown_clicked)},
    {"buttonUp", "clicked", G_CALLBACK(on_buttonUp_clicked)},
};

template <size_t N> static void check_connections(GtkWidget *window, const connection (&rows)[N]) {
    for (const connection &row : rows) {
        GtkWidget *widget = registered(window, row.widget);
        ASSERT_NE(widget, nullptr) << row.widget;
        EXPECT_EQ(handlers(widget, row.signal, row.handler), 1u) << row.widget;
    }
}

static GtkWidget *new_app() {
    test_window::open_display();
    return create_app1();
}

TEST(Signals, OfTheApplicationWindowGoToTheirHandlersOnce) { check_connections(new_app(), app_connections); }

TEST(Signals, OfTheAlertWindowGoToTheirHandlersOnce) {
    test_window::open_display();
    check_connections(create_windowAlertMessage(), alert_connections);
}

TEST(Signals, OfTheAboutBoxGoToItsHandlerOnce) {
    test_window::open_display();
    EXPECT_EQ(handlers(create_about2(), "response", G_CALLBACK(on_about2_response)), 1u);
}

template <size_t N> static unsigned expected(const connection (&rows)[N], const std::string &name) {
    unsigned count = 0;
    for (const connection &row : rows)
        count += row.widget == name ? 1 : 0;
    return count;
}

static const char *change_of(GtkWidget *widget) {
    if (GTK_IS_TOGGLE_BUTTON(widget))
        return "toggled";
    if (GTK_IS_BUTTON(widget))
        return "clicked";
    if (GTK_IS_ENTRY(widget))
        return "changed";
    if (GTK_IS_TREE_VIEW(widget))
        return "row-activated";
    return nullptr;
}

// Every button, entry and list of a window has the connections of the table and no other.
template <size_t N> static void check_no_others(GtkWidget *window, const connection (&rows)[N]) {
    for (GtkWidget *widget : widget_tree::all(window)) {
        std::string name = gtk_widget_get_name(widget);
        if (change_of(widget) == nullptr || registered(window, name) != widget)
            continue;
        EXPECT_EQ(handlers(widget, change_of(widget), nullptr), expected(rows, name)) << name;
    }
}

TEST(Signals, OfTheApplicationWindowGoNowhereElse) { check_no_others(new_app(), app_connections); }

TEST(Signals, OfTheAlertWindowGoNowhereElse) {
    test_window::open_display();
    check_no_others(create_windowAlertMessage(), alert_connections);
}

static void check_unconnected(GtkWidget *app, const char *prefix, unsigned first, unsigned end) {
    for (unsigned slot = first; slot < end; slot++) {
        std::string name = prefix + std::to_string(slot);
        EXPECT_EQ(handlers(registered(app, name), "clicked", nullptr), 0u) << name;
    }
}

TEST(Signals, OfReadingsAndOfTheLaterSwitchesGoNowhere) {
    GtkWidget *app = new_app();
    check_unconnected(app, "buttonSummaryFan", 0, 16);
    check_unconnected(app, "buttonSummaryVoltage", 0, 60);
    check_unconnected(app, "buttonSummaryThermal", 0, 16);
    check_unconnected(app, "buttonSummaryStatus", 8, 16);
}

TEST(Signals, OfTheMailCheckButtonIsItsChangeOnly) {
    EXPECT_EQ(handlers(registered(new_app(), "checkbuttonMailAlert"), "clicked", nullptr), 0u);
}

TEST(Signals, OfTheInfoDialogsButtonHidesTheDialog) {
    test_window::open_display();
    GtkWidget *dialog = create_dialogInfo();
    GtkWidget *button = registered(dialog, "okbuttonInfo");
    auto match = static_cast<GSignalMatchType>(G_SIGNAL_MATCH_FUNC | G_SIGNAL_MATCH_DATA);
    auto hide = reinterpret_cast<gpointer>(gtk_widget_hide);
    EXPECT_EQ(g_signal_handlers_block_matched(button, match, 0, 0, nullptr, hide, dialog), 1u);
}
