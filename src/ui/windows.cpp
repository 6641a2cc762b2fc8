#include "ui/windows.h"

#include <iterator>
#include <vector>

#include "config/version.h"
#include "ui/alert_page.h"
#include "ui/alert_window.h"
#include "ui/chart_pages.h"
#include "ui/desktop.h"
#include "ui/handlers.h"
#include "ui/items_page.h"
#include "ui/menu.h"
#include "ui/summary_page.h"
#include "ui/widgets.h"

#define KESTREL_TITLE "Kestrel II"
#define KESTREL_ICON "kestrel/idr_main.ico" // below the pixmap directories

GtkWidget *myapp1;
GtkWidget *myabout2;
GtkWidget *mywindowAlertMessage;

// ---- Application window

// In the order of their numbers, which the menus use.
static const struct {
    const char *tab_name;
    const char *tab_text;
    GtkWidget *(*create)();
} pages[] = {
    {"labelSummary", "Summary", create_summary_page}, {"labelFan", "Fan", create_fan_page},
    {"labelVoltage", "Voltage", create_voltage_page}, {"labelThermal", "Thermal", create_thermal_page},
    {"labelItems", "Items", create_items_page},       {"labelAlert", "Alert", create_alert_page},
};

static const signal_row app_signals[] = {
    {"app1", "destroy", G_CALLBACK(on_app1_destroy)},
    {"buttonSummaryStatus0", "clicked", G_CALLBACK(on_buttonSummaryStatus0_clicked)},
    {"buttonSummaryStatus1", "clicked", G_CALLBACK(on_buttonSummaryStatus1_clicked)},
    {"buttonSummaryStatus2", "clicked", G_CALLBACK(on_buttonSummaryStatus2_clicked)},
    {"buttonSummaryStatus3", "clicked", G_CALLBACK(on_buttonSummaryStatus3_clicked)},
    {"buttonSummaryStatus4", "clicked", G_CALLBACK(on_buttonSummaryStatus4_clicked)},
    {"buttonSummaryStatus5", "clicked", G_CALLBACK(on_buttonSummaryStatus5_clicked)},
    {"buttonSummaryStatus6", "clicked", G_CALLBACK(on_buttonSummaryStatus6_clicked)},
    {"buttonSummaryStatus7", "clicked", G_CALLBACK(on_buttonSummaryStatus7_clicked)},
    // Kept on purpose: buttons 8 to 15 are shown like these, but do nothing.
    {"entryPolling", "changed", G_CALLBACK(on_entryPolling_changed)},
    {"buttonSelectAll", "clicked", G_CALLBACK(on_buttonSelectAll_clicked)},
    {"buttonUnselectAll", "clicked", G_CALLBACK(on_buttonUnselectAll_clicked)},
    {"buttonItemsSave", "clicked", G_CALLBACK(on_buttonItemsSave_clicked)},
    {"treeview1", "row_activated", G_CALLBACK(on_treeview1_row_activated)},
    {"entryMachineName", "insert-text", G_CALLBACK(on_entry_insert_text)},
    {"entryMachineName", "changed", G_CALLBACK(on_entryMachineName_changed)},
    {"buttonMailTest", "clicked", G_CALLBACK(on_buttonMailTest_clicked)},
    {"buttonAlertSave", "clicked", G_CALLBACK(on_buttonAlertSave_clicked)},
    {"entryRecipientMailbox", "insert-text", G_CALLBACK(on_entry_insert_text)},
    {"entryRecipientMailbox", "changed", G_CALLBACK(on_entryRecipientMailbox_changed)},
    {"checkbuttonMailAlert", "toggled", G_CALLBACK(on_checkbuttonEmailAlert_toggled)},
    {"buttonShowAlertMessage", "clicked", G_CALLBACK(on_buttonShowAlertMessage_clicked)},
};

static GtkWidget *create_notebook() {
    GtkWidget *notebook = name_widget(gtk_notebook_new(), "notebook1");
    std::vector<GtkWidget *> tabs;
    for (const auto &page : pages) {
        GtkWidget *content = page.create();
        tabs.push_back(new_label(page.tab_name, page.tab_text, 70, 16));
        gtk_notebook_append_page(GTK_NOTEBOOK(notebook), content, tabs.back());
    }
    fit_alike(tabs, OWN_WIDTH);
    return notebook;
}

GtkWidget *create_app1() {
    GtkWidget *app = name_window(gnome_app_new(KESTREL_TITLE, KESTREL_TITLE), "app1");
    size_widget(app, 640, 600);
    gtk_window_set_default_size(GTK_WINDOW(app), 640, 560);
    gtk_window_set_resizable(GTK_WINDOW(app), FALSE);
    name_widget(gnome_app_get_dock(app), "bonobodock1");
    create_menus(app);
    gnome_app_set_contents(app, create_notebook());
    GtkWidget *bar = name_widget(gnome_appbar_new(TRUE, TRUE, GNOME_PREFERENCES_NEVER), "appbar1");
    gnome_app_set_statusbar(app, bar);
    install_menu_hints(app);
    register_widgets(app);
    connect_signals(app, app_signals, std::size(app_signals));
    return app;
}

// The boxes lie above it, and the one that was opened last above the others.
static void stay_above_main_window(GtkWidget *box) {
    if (myapp1 != nullptr)
        gtk_window_set_transient_for(GTK_WINDOW(box), GTK_WINDOW(myapp1));
}

// ---- About box

static const char *const COPYRIGHT = "Copyright \xC2\xA9 2026 The Kestrel II maintainers\n"
                                     "Hardware-health monitor for Brigantine server boards\n"
                                     "MIT licence";

GtkWidget *create_about2() {
    static const char *authors[] = {"Brigantine", "http://www.brigantine.example/", nullptr};
    static const char *documenters[] = {nullptr};
    GdkPixbuf *logo = create_pixbuf(KESTREL_ICON);
    GtkWidget *about = name_window(
        gnome_about_new(KESTREL_TITLE, KESTREL_VERSION, COPYRIGHT, "", authors, documenters, nullptr, logo),
        "about2");
    if (logo != nullptr)
        g_object_unref(logo);
    GdkPixbuf *icon = create_pixbuf(KESTREL_ICON);
    if (icon != nullptr) {
        gtk_window_set_icon(GTK_WINDOW(about), icon);
        gtk_window_set_default_icon(icon); // that of the other windows, too
        g_object_unref(icon);
    }
    stay_above_main_window(about);
    register_widgets(about);
    g_signal_connect(about, "response", G_CALLBACK(on_about2_response), nullptr);
    return about;
}

// ---- Information dialog

GtkWidget *create_dialogInfo() {
    GtkWidget *dialog = name_window(gtk_dialog_new(), "dialogInfo");
    gtk_window_set_title(GTK_WINDOW(dialog), "Information / Warning");
    GtkWidget *box = name_widget(gtk_dialog_get_content_area(GTK_DIALOG(dialog)), "dialog_vboxInfo");
    size_widget(box, 260, 80);
    GtkWidget *label = new_label("labelInfo", "Information / Warning", NATURAL, NATURAL);
    justify_label(label, GTK_JUSTIFY_LEFT);
    gtk_misc_set_padding(GTK_MISC(label), 12, 0);
    gtk_box_pack_start(GTK_BOX(box), label, FALSE, FALSE, 8);
    GtkWidget *actions =
        name_widget(gtk_dialog_get_action_area(GTK_DIALOG(dialog)), "dialog_action_areaInfo");
    gtk_button_box_set_layout(GTK_BUTTON_BOX(actions), GTK_BUTTONBOX_END);
    GtkWidget *button = new_stock_button("okbuttonInfo", GTK_STOCK_OK, NATURAL, NATURAL);
    gtk_dialog_add_action_widget(GTK_DIALOG(dialog), button, GTK_RESPONSE_OK);
    gtk_widget_set_can_default(button, TRUE);
    register_widgets(dialog);
    g_signal_connect_swapped(button, "clicked", G_CALLBACK(gtk_widget_hide), dialog);
    g_signal_connect(dialog, "delete-event", G_CALLBACK(gtk_widget_hide_on_delete), nullptr);
    return dialog;
}

// The dialog's box asks for the same size whatever the message; a longer one makes the dialog wider.
static void widen_to(GtkWidget *dialog, GtkWidget *label) {
    GtkRequisition natural;
    gtk_widget_size_request(label, &natural);
    int border = 0;
    gtk_widget_ensure_style(dialog);
    gtk_widget_style_get(dialog, "content-area-border", &border, nullptr);
    gtk_window_set_default_size(GTK_WINDOW(dialog), natural.width + 2 * border, -1);
}

// Kept on purpose: every message is a dialog of its own, and one that was confirmed stays hidden in memory.
GtkWidget *show_info(const char *message) {
    GtkWidget *dialog = create_dialogInfo();
    stay_above_main_window(dialog);
    GtkWidget *label = lookup_widget(dialog, "labelInfo");
    gtk_label_set_text(GTK_LABEL(label), message);
    widen_to(dialog, label);
    gtk_widget_show(dialog);
    return dialog;
}

// ---- Alert message window

static const signal_row alert_signals[] = {
    {"buttonAcknowledge", "clicked", G_CALLBACK(on_buttonAcknowledge_clicked)},
    {"buttonDismiss", "clicked", G_CALLBACK(on_buttonDismiss_clicked)},
    {"buttonDown", "clicked", G_CALLBACK(on_buttonDown_clicked)},
    {"buttonUp", "clicked", G_CALLBACK(on_buttonUp_clicked)},
    {"windowAlertMessage", "delete-event", G_CALLBACK(on_windowAlertMessage_delete_event)},
    {"windowAlertMessage", "key-press-event", G_CALLBACK(on_windowAlertMessage_key_press_event)},
};

static void attach(GtkWidget *table, GtkWidget *widget, unsigned column, unsigned row) {
    constexpr auto AS_WIDE_AS_COLUMN = static_cast<GtkAttachOptions>(GTK_EXPAND | GTK_FILL);
    gtk_table_attach(GTK_TABLE(table), widget, column, column + 1, row, row + 1, AS_WIDE_AS_COLUMN,
                     GTK_EXPAND, 0, 0);
}

static GtkWidget *create_message_area() {
    GtkWidget *viewport;
    GtkWidget *scrolled = new_scrolled_viewport("scrolledwindow2", "viewport7", &viewport);
    GtkWidget *label = new_label("labelAlertMsg", "", NATURAL, NATURAL);
    justify_label(label, GTK_JUSTIFY_LEFT);
    gtk_misc_set_alignment(GTK_MISC(label), 0, 0);
    gtk_misc_set_padding(GTK_MISC(label), 6, 2);
    gtk_container_add(GTK_CONTAINER(viewport), label);
    return scrolled;
}

static GtkWidget *create_alert_buttons() {
    GtkWidget *table = size_widget(new_table("table9", 2, 3), 318, 76);
    GtkWidget *counter = new_label("labelIndexCount", "0 / 0", 26, 16);
    justify_label(counter, GTK_JUSTIFY_RIGHT);
    gtk_misc_set_padding(GTK_MISC(counter), 6, 0);
    GtkWidget *up = new_stock_button("buttonUp", GTK_STOCK_GO_UP, 90, 30);
    GtkWidget *acknowledge = new_button("buttonAcknowledge", "Acknowledge", 90, 30);
    GtkWidget *dismiss = new_button("buttonDismiss", "Dismiss", 90, 30);
    GtkWidget *down = new_stock_button("buttonDown", GTK_STOCK_GO_DOWN, 90, 30);
    fit_text(counter, ALERT_COLUMN_WIDTH);
    fit_alike({up, acknowledge, dismiss, down}, ALERT_COLUMN_WIDTH);
    attach(table, counter, 1, 0);
    attach(table, up, 2, 0);
    attach(table, acknowledge, 0, 1);
    attach(table, dismiss, 1, 1);
    attach(table, down, 2, 1);
    return table;
}

GtkWidget *create_windowAlertMessage() {
    GtkWidget *window = name_window(gtk_window_new(GTK_WINDOW_TOPLEVEL), "windowAlertMessage");
    gtk_window_set_title(GTK_WINDOW(window), "Alert Messages");
    gtk_window_set_position(GTK_WINDOW(window), GTK_WIN_POS_CENTER);
    gtk_window_set_resizable(GTK_WINDOW(window), FALSE);
    gtk_window_set_focus_on_map(GTK_WINDOW(window), FALSE); // it comes by itself: keys go where they went
    GtkWidget *box = size_widget(name_widget(gtk_vbox_new(FALSE, 0), "vbox3"), 320, 220);
    gtk_container_add(GTK_CONTAINER(window), box);
    gtk_box_pack_start(GTK_BOX(box), create_message_area(), TRUE, TRUE, 0);
    gtk_box_pack_start(GTK_BOX(box), create_alert_buttons(), FALSE, TRUE, 0);
    register_widgets(window);
    connect_signals(window, alert_signals, std::size(alert_signals));
    return window;
}

void place_alert_window() {
    GtkAllocation main;
    gtk_widget_get_allocation(myapp1, &main);
    gtk_window_move(GTK_WINDOW(mywindowAlertMessage), main.x + main.width + 12, main.y + main.height - 200);
    gtk_widget_queue_resize(mywindowAlertMessage); // else a hidden window is not moved when it is shown again
}
