#include "ui/handlers.h"

#include <cstdlib>
#include <cstring>
#include <string>

#include "alert/mail.h"
#include "config/settings.h"
#include "hw/os.h"
#include "hw/text.h"
#include "items/changes.h"
#include "items/display.h"
#include "items/intrusion.h"
#include "ui/alert_page.h"
#include "ui/items_page.h"
#include "ui/save.h"
#include "ui/tick.h"
#include "ui/widgets.h"
#include "ui/windows.h"

// ---- Menus

enum { SUMMARY_PAGE, FAN_PAGE, VOLTAGE_PAGE, THERMAL_PAGE, ITEMS_PAGE, ALERT_PAGE };

static void show_page(GtkMenuItem *item, int page) {
    gtk_notebook_set_current_page(GTK_NOTEBOOK(lookup_widget(GTK_WIDGET(item), "notebook1")), page);
}

void on_summary1_activate(GtkMenuItem *item, gpointer) { show_page(item, SUMMARY_PAGE); }

void on_fan_speed_charts1_activate(GtkMenuItem *item, gpointer) { show_page(item, FAN_PAGE); }

void on_voltage_charts1_activate(GtkMenuItem *item, gpointer) { show_page(item, VOLTAGE_PAGE); }

void on_thermal_charts1_activate(GtkMenuItem *item, gpointer) { show_page(item, THERMAL_PAGE); }

void on_items1_activate(GtkMenuItem *item, gpointer) { show_page(item, ITEMS_PAGE); }

void on_alert1_activate(GtkMenuItem *item, gpointer) { show_page(item, ALERT_PAGE); }

void on_about1_activate(GtkMenuItem *, gpointer) {
    if (myabout2 == nullptr)
        myabout2 = create_about2();
    gtk_window_present(GTK_WINDOW(myabout2)); // shown, and on top: it may be covered
}

// A negative response: the box was closed, and is gone. Others (its list of authors) change nothing.
void on_about2_response(GtkDialog *, int response, gpointer) {
    if (response < 0)
        myabout2 = nullptr;
}

void on_quit1_activate(GtkMenuItem *, gpointer) { gtk_main_quit(); }

void on_app1_destroy(GtkObject *, gpointer) { gtk_main_quit(); }

// ---- Items page

constexpr unsigned long LONGEST_INTERVAL_S = 300;

static bool all_digits(const char *text) { return text[strspn(text, "0123456789")] == '\0'; }

static void refuse_interval(GtkEditable *entry) {
    gtk_entry_set_text(GTK_ENTRY(entry), "0"); // raises this handler again, which then passes over the 0
    gtk_widget_grab_focus(GTK_WIDGET(entry));
    show_info("Please enter an integer between 1 and 300.");
}

void on_entryPolling_changed(GtkEditable *entry, gpointer) {
    const char *text = gtk_entry_get_text(GTK_ENTRY(entry));
    unsigned long interval_s = strtoul(text, nullptr, 10);
    if (!all_digits(text) || interval_s > LONGEST_INTERVAL_S) {
        refuse_interval(entry);
        return;
    }
    if (interval_s == 0)
        return; // empty, or the beginning of a number
    myspKestrel->system->Polling = static_cast<uint32_t>(interval_s);
    restart_timer(myspKestrel->system->Polling);
}

static void monitor_item(int32_t i, uint32_t monitor) {
    myspKestrel->items[i].Monitor = monitor;
    allItemDisps[i].monitor = monitor;
}

static void monitor_all(uint32_t monitor) {
    for (int32_t i = 0; i < myspKestrel->item_count; i++)
        monitor_item(i, monitor);
    tick();
}

void on_buttonSelectAll_clicked(GtkButton *, gpointer) { monitor_all(1); }

void on_buttonUnselectAll_clicked(GtkButton *, gpointer) { monitor_all(0); }

// The name in the selected row; nullptr when none is selected. Free it with g_free.
static char *selected_name(GtkTreeView *view) {
    GtkTreeModel *model;
    GtkTreeIter row;
    if (!gtk_tree_selection_get_selected(gtk_tree_view_get_selection(view), &model, &row))
        return nullptr;
    char *name = nullptr;
    gtk_tree_model_get(model, &row, NAME_COLUMN, &name, -1);
    return name;
}

// The first item whose name, as the list shows it, is this one: a long name is cut there. -1: none.
static int32_t find_shown_item(const char *shown) {
    for (int32_t i = 0; i < myspKestrel->item_count; i++) {
        char name[sizeof(item_display::name)];
        get_item_name(&myspKestrel->items[i], name);
        if (shown_text(name) == shown)
            return i;
    }
    return -1;
}

void on_treeview1_row_activated(GtkTreeView *view, GtkTreePath *, GtkTreeViewColumn *, gpointer) {
    char *name = selected_name(view);
    int32_t i = name != nullptr ? find_shown_item(name) : -1;
    g_free(name);
    if (i == -1)
        return;
    monitor_item(i, myspKestrel->items[i].Monitor == 1 ? 0 : 1);
    tick();
}

void on_buttonItemsSave_clicked(GtkButton *, gpointer) {
    save_INI_File(SAVE_ITEMS_PAGE);
    show_info("Configuration has been saved.");
}

// ---- Alert page

// A line break would end the setting's line in the file. A column of addresses is a list of them, so it
// becomes a blank.
static std::string on_one_line(const std::string &text) {
    std::string line;
    for (size_t i = 0; i < text.size(); i++) {
        if (text[i] == '\r' && text[i + 1] == '\n')
            i++;
        line += text[i] == '\r' || text[i] == '\n' ? ' ' : text[i];
    }
    return line;
}

// What is pasted, dropped or typed is put in as one line instead, so that the entry shows what is stored.
// That raises this handler again, which then lets it pass.
void on_entry_insert_text(GtkEditable *entry, const char *text, int length, int *position, gpointer) {
    std::string given(text, static_cast<size_t>(length));
    std::string line = on_one_line(given);
    if (line == given)
        return;
    gtk_editable_insert_text(entry, line.c_str(), static_cast<int>(line.size()), position);
    g_signal_stop_emission_by_name(entry, "insert-text");
}

static void copy_line(char *field, size_t capacity, GtkEditable *entry) {
    copy_text(field, capacity, on_one_line(gtk_entry_get_text(GTK_ENTRY(entry))).c_str());
}

void on_entryMachineName_changed(GtkEditable *entry, gpointer) {
    copy_line(myspKestrel->system->MachineName, sizeof(system_settings::MachineName), entry);
}

void on_entryRecipientMailbox_changed(GtkEditable *entry, gpointer) {
    copy_line(myspKestrel->system->MailBox, sizeof(system_settings::MailBox), entry);
}

// What mail still wants; nullptr when nothing is missing.
static const char *missing_for_mail(const system_settings *system) {
    if (system->MachineName[0] == '\0')
        return "'Name for this system' must be filled!";
    if (system->MailBox[0] == '\0')
        return "'Recipients' must be filled!";
    return nullptr;
}

void on_checkbuttonEmailAlert_toggled(GtkToggleButton *button, gpointer) {
    system_settings *system = myspKestrel->system;
    if (!gtk_toggle_button_get_active(button)) {
        system->MailAlert = 0;
        return;
    }
    const char *missing = missing_for_mail(system);
    if (missing == nullptr) {
        system->MailAlert = 1;
        return;
    }
    gtk_toggle_button_set_active(button, FALSE); // raises this handler again
    show_info(missing);
    gtk_widget_grab_focus(GTK_WIDGET(button));
}

void on_buttonMailTest_clicked(GtkButton *, gpointer) {
    const system_settings *system = myspKestrel->system;
    char at[TIME_LINE_SIZE];
    time_line(os_time(), at);
    std::string body = std::string("E-mail Test!\n") + at;
    const char *missing = missing_for_mail(system);
    if (missing != nullptr) {
        show_info(missing);
        return;
    }
    if (was_mailed(send_mail(TEST_MAIL, system->MailBox, system->MachineName, body.c_str())))
        show_info("Send an alert through E-mail successfully.");
}

void on_buttonAlertSave_clicked(GtkButton *, gpointer) {
    save_INI_File(SAVE_ALERT_PAGE);
    show_info("Configuration has been saved.");
}

// ---- Summary page

// Without a k-th switch the last item is taken; kept on purpose: buttons are shown for switches only.
static item_record *kth_switch(int k) {
    item_record *item = nullptr;
    for (int32_t i = 0; i < myspKestrel->item_count; i++) {
        item = &myspKestrel->items[i];
        if (item->Cat == CAT_SWITCH && k-- == 0)
            break;
    }
    return item;
}

void on_buttonSummaryStatus_clicked(int k) {
    const kestrel_context *c = myspKestrel;
    reset_Intrusion(c->system, c->items, c->item_count, c->parameters, c->parameter_count, kth_switch(k));
}

// Until the next refresh the button cannot be clicked again.
static void reset_and_block(GtkButton *button, int k) {
    on_buttonSummaryStatus_clicked(k);
    gtk_widget_set_sensitive(GTK_WIDGET(button), FALSE);
}

void on_buttonSummaryStatus0_clicked(GtkButton *button, gpointer) { reset_and_block(button, 0); }

void on_buttonSummaryStatus1_clicked(GtkButton *button, gpointer) { reset_and_block(button, 1); }

void on_buttonSummaryStatus2_clicked(GtkButton *button, gpointer) { reset_and_block(button, 2); }

void on_buttonSummaryStatus3_clicked(GtkButton *button, gpointer) { reset_and_block(button, 3); }

void on_buttonSummaryStatus4_clicked(GtkButton *button, gpointer) { reset_and_block(button, 4); }

void on_buttonSummaryStatus5_clicked(GtkButton *button, gpointer) { reset_and_block(button, 5); }

void on_buttonSummaryStatus6_clicked(GtkButton *button, gpointer) { reset_and_block(button, 6); }

void on_buttonSummaryStatus7_clicked(GtkButton *button, gpointer) { reset_and_block(button, 7); }
