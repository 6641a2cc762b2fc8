#include "ui/alert_page.h"

#include <cstdio>
#include <cstring>
#include <string>

#include "alert/alert_list.h"
#include "hw/os.h"
#include "items/changes.h"
#include "ui/alert_window.h"
#include "ui/widgets.h"

// ---- Building

static GtkWidget *create_name_row() {
    GtkWidget *row = size_widget(name_widget(gtk_hbox_new(FALSE, 0), "hbox2"), 600, 32);
    GtkBox *box = GTK_BOX(row);
    GtkWidget *label = new_label("labelNameForThisSystem", "Name for this system:", 150, 16);
    gtk_box_pack_start(box, label, FALSE, FALSE, 8);
    GtkWidget *entry = new_entry("entryMachineName", 30, 220, 24);
    gtk_box_pack_start(box, entry, FALSE, TRUE, 0);
    gtk_box_pack_start(box, new_label("label5", "", 30, 26), FALSE, FALSE, 8);
    GtkWidget *test = pack_button(row, "buttonMailTest", "E-mail Test", 100);
    GtkWidget *save = pack_button(row, "buttonAlertSave", "Save", 60);
    fit_alike({label, entry, test, save}, OWN_WIDTH);
    return row;
}

static void attach(GtkWidget *table, GtkWidget *widget, unsigned left, unsigned right, unsigned row) {
    gtk_table_attach(GTK_TABLE(table), widget, left, right, row, row + 1, GTK_FILL, GTK_FILL, 0, 0);
}

static GtkWidget *create_mail_table() {
    GtkWidget *table = new_table("table8", 3, 2);
    GtkWidget *check = name_widget(gtk_check_button_new_with_label("E-mail Alert"), "checkbuttonMailAlert");
    attach(table, size_widget(check, 100, 20), 0, 1, 0);
    GtkWidget *hint = new_label(
        "labelInOrderTo",
        "* In order to send alerts by e-mail, this system needs to be connected to a network.", 500, 20);
    justify_label(hint, GTK_JUSTIFY_LEFT);
    fit_text(hint, 600); // across both columns
    attach(table, hint, 0, 2, 1);
    GtkWidget *recipients = new_label("label7", "Recipients:", 100, 16);
    justify_label(recipients, GTK_JUSTIFY_RIGHT);
    gtk_misc_set_padding(GTK_MISC(recipients), 4, 0); // from the entry
    attach(table, recipients, 0, 1, 2);
    GtkWidget *entry = new_entry("entryRecipientMailbox", 0, 500, 24);
    attach(table, entry, 1, 2, 2);
    fit_alike({check, recipients, entry}, OWN_WIDTH);
    return table;
}

static GtkWidget *create_show_row() {
    GtkWidget *row = size_widget(name_widget(gtk_hbox_new(FALSE, 0), "hbox3"), 198, 32);
    GtkWidget *button = new_button("buttonShowAlertMessage", "Show Alert messages", 150, 26);
    fit_text(button, OWN_WIDTH);
    gtk_box_pack_start(GTK_BOX(row), button, FALSE, FALSE, 8);
    return row;
}

GtkWidget *create_alert_page() {
    GtkWidget *viewport;
    GtkWidget *page = new_scrolled_viewport("scrolledwindowAlert", "viewport6", &viewport);
    GtkWidget *box = name_widget(gtk_vbox_new(FALSE, 0), "vbox2");
    gtk_container_add(GTK_CONTAINER(viewport), box);
    gtk_box_pack_start(GTK_BOX(box), create_name_row(), FALSE, TRUE, 10);
    gtk_box_pack_start(GTK_BOX(box), new_separator("hseparator1"), FALSE, FALSE, 0);
    gtk_box_pack_start(GTK_BOX(box), create_mail_table(), FALSE, TRUE, 10);
    gtk_box_pack_start(GTK_BOX(box), new_separator("hseparator2"), FALSE, FALSE, 0);
    gtk_box_pack_start(GTK_BOX(box), create_show_row(), FALSE, FALSE, 10);
    return page;
}

// ---- Refresh

static void show_settings(GtkWidget *window, const system_settings *system) {
    set_entry_quietly(lookup_widget(window, "entryMachineName"), shown_text(system->MachineName).c_str());
    set_entry_quietly(lookup_widget(window, "entryRecipientMailbox"), shown_text(system->MailBox).c_str());
    // Unlike the entries' handlers the button's is raised: mail switched on in the file without a name or
    // recipients is reported once, and switched off.
    GtkWidget *check = lookup_widget(window, "checkbuttonMailAlert");
    gtk_toggle_button_set_active(GTK_TOGGLE_BUTTON(check), system->MailAlert != 0);
}

static const char *const counters[] = {"idxFan", "idxVoltage", "idxThermal", "idxStatus"}; // by item_category

static void add_message(const std::string &changes) {
    std::string message = "This system has the health information:\n\n" + changes;
    alert_msg_node *node = new_alert_msg_node();
    node->msg = strdup(message.c_str());
    append_alert_msg_node(alert_msg_head, node);
    current_alert_msg_node = node;
}

bool was_mailed(mail_outcome outcome) {
    if (outcome == MAIL_NO_FORK)
        g_print("fork() error!\n");
    if (outcome == MAIL_NO_WAIT)
        g_print("waitpid() error!\n");
    return outcome == MAIL_SENT;
}

static void mail_changes(const system_settings *system, const std::string &changes) {
    if (!was_mailed(send_mail(HEALTH_MAIL, system->MailBox, system->MachineName, changes.c_str())))
        return;
    printf("Send an alert through E-mail successfully.\n");
}

void build_Alert(GtkWidget *window, const system_settings *system, const item_display *displays,
                 int32_t count) {
    show_settings(window, system);
    std::string changes;
    uint32_t category;
    switch (note_changes(displays, count, os_time(), &changes, &category)) {
    case TOO_MANY_ITEMS:
        g_print(" build_Alert(): %s out of range. \n", counters[category]);
        return;
    case NOTHING_CHANGED:
        return;
    case STATES_CHANGED:
        break;
    }
    add_message(changes);
    show_current_message();
    pop_up_alert_window();
    if (system->MailAlert != 0)
        mail_changes(system, changes);
}
