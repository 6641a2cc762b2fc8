#pragma once
// What the menus and the widgets of the pages do. Changes are made in memory at once; only the two Save
// buttons write them to the configuration file.

#include <gtk/gtk.h>

// Menus
void on_quit1_activate(GtkMenuItem *item, gpointer data);
void on_summary1_activate(GtkMenuItem *item, gpointer data);
void on_fan_speed_charts1_activate(GtkMenuItem *item, gpointer data);
void on_voltage_charts1_activate(GtkMenuItem *item, gpointer data);
void on_thermal_charts1_activate(GtkMenuItem *item, gpointer data);
void on_items1_activate(GtkMenuItem *item, gpointer data);
void on_alert1_activate(GtkMenuItem *item, gpointer data);
void on_about1_activate(GtkMenuItem *item, gpointer data);

// Windows
void on_app1_destroy(GtkObject *window, gpointer data);
void on_about2_response(GtkDialog *dialog, int response, gpointer data);

// Items page
void on_entryPolling_changed(GtkEditable *entry, gpointer data);
void on_buttonSelectAll_clicked(GtkButton *button, gpointer data);
void on_buttonUnselectAll_clicked(GtkButton *button, gpointer data);
void on_buttonItemsSave_clicked(GtkButton *button, gpointer data);
void on_treeview1_row_activated(GtkTreeView *view, GtkTreePath *path, GtkTreeViewColumn *column,
                                gpointer data);

// Alert page. The first is of both entries.
void on_entry_insert_text(GtkEditable *entry, const char *text, int length, int *position, gpointer data);
void on_entryMachineName_changed(GtkEditable *entry, gpointer data);
void on_entryRecipientMailbox_changed(GtkEditable *entry, gpointer data);
void on_checkbuttonEmailAlert_toggled(GtkToggleButton *button, gpointer data);
void on_buttonMailTest_clicked(GtkButton *button, gpointer data);
void on_buttonAlertSave_clicked(GtkButton *button, gpointer data);

// Summary page: clears the latch of the k-th switch of the item table
void on_buttonSummaryStatus_clicked(int k);
void on_buttonSummaryStatus0_clicked(GtkButton *button, gpointer data);
void on_buttonSummaryStatus1_clicked(GtkButton *button, gpointer data);
void on_buttonSummaryStatus2_clicked(GtkButton *button, gpointer data);
void on_buttonSummaryStatus3_clicked(GtkButton *button, gpointer data);
void on_buttonSummaryStatus4_clicked(GtkButton *button, gpointer data);
void on_buttonSummaryStatus5_clicked(GtkButton *button, gpointer data);
void on_buttonSummaryStatus6_clicked(GtkButton *button, gpointer data);
void on_buttonSummaryStatus7_clicked(GtkButton *button, gpointer data);
