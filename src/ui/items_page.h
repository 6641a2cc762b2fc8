#pragma once
// The Items page: the polling interval, and a list of all items with their limits, readings and warnings.

#include <cstdint>
#include <gtk/gtk.h>

#include "config/settings.h"
#include "items/display.h"

// Columns of the list, and of its store.
enum {
    CHECKED_COLUMN,
    NAME_COLUMN,
    HIGH_LIMIT_COLUMN,
    LOW_LIMIT_COLUMN,
    STATUS_COLUMN,
    WARNING_COLUMN,
    LIST_COLUMNS
};

extern GtkListStore *list_store;
extern GtkWidget *treeview1;
extern GtkCellRenderer *text_renderer;
extern GtkTreeViewColumn *checked_column;
extern GtkTreeViewColumn *monitored_item_column;
extern GtkTreeViewColumn *high_limit_column;
extern GtkTreeViewColumn *low_limit_column;
extern GtkTreeViewColumn *status_column;
extern GtkTreeViewColumn *warning_column;

GtkWidget *create_items_page();           // to be put into the notebook
void create_item_list(GtkWidget *window); // gives the list its store and columns

// Shows the interval and every item, monitored or not. The item and parameter tables are not looked at.
void build_Items(GtkWidget *window, const item_display *displays, const system_settings *system,
                 const item_record *items, int32_t count, const parameter_record *parameters);
