#include "ui/items_page.h"

#include <cstdio>
#include <cstdlib>

#include "hw/text.h"
#include "items/cell_text.h"
#include "items/limits.h"
#include "ui/widgets.h"

GtkListStore *list_store;
GtkWidget *treeview1;
GtkCellRenderer *text_renderer;
GtkTreeViewColumn *checked_column;
GtkTreeViewColumn *monitored_item_column;
GtkTreeViewColumn *high_limit_column;
GtkTreeViewColumn *low_limit_column;
GtkTreeViewColumn *status_column;
GtkTreeViewColumn *warning_column;

// ---- Building

static GtkWidget *create_polling_row() {
    GtkWidget *row = size_widget(name_widget(gtk_hbox_new(FALSE, 0), "hbox1"), 500, 32);
    GtkWidget *label = new_label("label1", "Polling Interval:", 110, 16);
    gtk_misc_set_padding(GTK_MISC(label), 4, 0); // from the window's edge, and from the entry
    gtk_box_pack_start(GTK_BOX(row), label, FALSE, FALSE, 0);
    GtkWidget *entry = new_entry("entryPolling", 3, 40, 24);
    gtk_box_pack_start(GTK_BOX(row), entry, FALSE, FALSE, 0);
    GtkWidget *unit = new_label("label2", "Seconds", 70, 16);
    gtk_box_pack_start(GTK_BOX(row), unit, FALSE, FALSE, 0);
    gtk_box_pack_start(GTK_BOX(row), new_label("label3", "", 100, 16), FALSE, FALSE, 0);
    GtkWidget *select = pack_button(row, "buttonSelectAll", "Select All", 90);
    GtkWidget *unselect = pack_button(row, "buttonUnselectAll", "Unselect All", 90);
    GtkWidget *save = pack_button(row, "buttonItemsSave", "Save", 60);
    fit_alike({label, entry, unit, select, unselect, save}, OWN_WIDTH);
    return row;
}

static GtkWidget *create_list_area() {
    GtkWidget *scrolled = name_widget(gtk_scrolled_window_new(nullptr, nullptr), "scrolledwindow1");
    gtk_scrolled_window_set_policy(GTK_SCROLLED_WINDOW(scrolled), GTK_POLICY_AUTOMATIC, GTK_POLICY_AUTOMATIC);
    size_widget(scrolled, 500, 400);
    GtkWidget *list = name_widget(gtk_tree_view_new(), "treeview1");
    gtk_tree_view_set_enable_search(GTK_TREE_VIEW(list), FALSE);
    gtk_container_add(GTK_CONTAINER(scrolled), list);
    return scrolled;
}

GtkWidget *create_items_page() {
    GtkWidget *viewport;
    GtkWidget *page = new_scrolled_viewport("scrolledwindowItems", "viewport5", &viewport);
    size_widget(viewport, 500, 130);
    GtkWidget *box = size_widget(name_widget(gtk_vbox_new(FALSE, 0), "vbox1"), 500, 130);
    gtk_container_add(GTK_CONTAINER(viewport), box);
    gtk_box_pack_start(GTK_BOX(box), create_polling_row(), FALSE, TRUE, 10);
    gtk_box_pack_start(GTK_BOX(box), create_list_area(), TRUE, TRUE, 0);
    return page;
}

// The renderer is one for all columns, but the name's alone gives way: a long one has dots in its middle, and
// the other columns stay in the window.
static void shorten_names(GtkTreeViewColumn *column, GtkCellRenderer *cell, GtkTreeModel *, GtkTreeIter *,
                          gpointer) {
    bool is_name = column == monitored_item_column;
    g_object_set(cell, "ellipsize", is_name ? PANGO_ELLIPSIZE_MIDDLE : PANGO_ELLIPSIZE_NONE, nullptr);
}

static GtkTreeViewColumn *append_column(const char *title, int store_column, int percent) {
    GtkTreeViewColumn *column =
        gtk_tree_view_column_new_with_attributes(title, text_renderer, "text", store_column, nullptr);
    gtk_tree_view_column_set_cell_data_func(column, text_renderer, shorten_names, nullptr, nullptr);
    gtk_tree_view_column_set_expand(column, store_column == NAME_COLUMN);
    GtkWidget *header = gtk_label_new(title);
    scale_text(header, percent);
    gtk_widget_show(header);
    gtk_tree_view_column_set_widget(column, header);
    gtk_tree_view_append_column(GTK_TREE_VIEW(treeview1), column);
    return column;
}

// Of a row of the longest texts that are usual, so that it is as wide as the list beside its scroll bar.
static int fitting_size() {
    constexpr int LIST_WIDTH = 590;
    constexpr int AROUND_A_TITLE = 14;
    GtkWidget *row = gtk_label_new("Checked CPU1 Core A Temperature High Limit Low Limit Overheat Warning!");
    g_object_ref_sink(row);
    int percent = fit_text(row, LIST_WIDTH - LIST_COLUMNS * AROUND_A_TITLE);
    g_object_unref(row);
    return percent;
}

static int text_width(const char *text) {
    double scale;
    g_object_get(text_renderer, "scale", &scale, nullptr);
    GtkWidget *label = gtk_label_new(text);
    g_object_ref_sink(label);
    scale_text(label, static_cast<int>(scale * WHOLE + 0.5));
    GtkRequisition asked;
    gtk_widget_size_request(label, &asked);
    g_object_unref(label);
    return asked.width;
}

static bool is_cut(GtkTreeView *list, GtkTreePath *row, const char *name) {
    GdkRectangle cell;
    gtk_tree_view_get_cell_area(list, row, gtk_tree_view_get_column(list, NAME_COLUMN), &cell);
    int padding_across, padding_down;
    gtk_cell_renderer_get_padding(text_renderer, &padding_across, &padding_down);
    return text_width(name) > cell.width - 2 * padding_across;
}

// The whole name, where it is cut.
static gboolean on_query_tooltip(GtkWidget *widget, int x, int y, gboolean by_keyboard, GtkTooltip *tooltip,
                                 gpointer) {
    GtkTreeView *list = GTK_TREE_VIEW(widget);
    GtkTreeModel *model;
    GtkTreePath *path;
    GtkTreeIter row;
    if (!gtk_tree_view_get_tooltip_context(list, &x, &y, by_keyboard, &model, &path, &row))
        return FALSE;
    char *name;
    gtk_tree_model_get(model, &row, NAME_COLUMN, &name, -1);
    bool cut = is_cut(list, path, name);
    gtk_tooltip_set_text(tooltip, name);
    gtk_tree_view_set_tooltip_row(list, tooltip, path);
    g_free(name);
    gtk_tree_path_free(path);
    return cut;
}

void create_item_list(GtkWidget *window) {
    list_store = gtk_list_store_new(LIST_COLUMNS, G_TYPE_STRING, G_TYPE_STRING, G_TYPE_STRING, G_TYPE_STRING,
                                    G_TYPE_STRING, G_TYPE_STRING);
    treeview1 = lookup_widget(window, "treeview1");
    gtk_tree_view_set_model(GTK_TREE_VIEW(treeview1), GTK_TREE_MODEL(list_store));
    text_renderer = gtk_cell_renderer_text_new(); // one for all columns
    int percent = fitting_size();
    g_object_set(text_renderer, "scale", percent / static_cast<double>(WHOLE), nullptr);
    checked_column = append_column("Checked", CHECKED_COLUMN, percent);
    monitored_item_column = append_column("Monitored Item", NAME_COLUMN, percent);
    high_limit_column = append_column("High Limit", HIGH_LIMIT_COLUMN, percent);
    low_limit_column = append_column("Low Limit", LOW_LIMIT_COLUMN, percent);
    status_column = append_column("Status", STATUS_COLUMN, percent);
    warning_column = append_column("Warning", WARNING_COLUMN, percent);
    gtk_widget_set_has_tooltip(treeview1, TRUE);
    g_signal_connect(treeview1, "query-tooltip", G_CALLBACK(on_query_tooltip), nullptr);
}

// ---- Refresh

static GtkTreeIter iter;
static bool on_old_row; // `iter` is on a row of the refresh before

static void set_row(char *const myrecord[LIST_COLUMNS], const item_display *display) {
    for (int column = 0; column < LIST_COLUMNS; column++)
        myrecord[column][0] = '\0';
    copy_text(myrecord[CHECKED_COLUMN], CELL_SIZE, display->monitor != 0 ? "*" : " ");
    copy_text(myrecord[NAME_COLUMN], CELL_SIZE, display->name);
    high_limit_text(display, myrecord[HIGH_LIMIT_COLUMN]);
    low_limit_text(display, myrecord[LOW_LIMIT_COLUMN]);
    list_status_text(display, myrecord[STATUS_COLUMN]);
    if (isNormalReading(display) != 1)
        copy_text(myrecord[WARNING_COLUMN], CELL_SIZE, "Warning!");
    if (!on_old_row)
        gtk_list_store_append(list_store, &iter);
    gtk_list_store_set(list_store, &iter, CHECKED_COLUMN, myrecord[CHECKED_COLUMN], NAME_COLUMN,
                       shown_text(myrecord[NAME_COLUMN]).c_str(), HIGH_LIMIT_COLUMN,
                       myrecord[HIGH_LIMIT_COLUMN], LOW_LIMIT_COLUMN, myrecord[LOW_LIMIT_COLUMN],
                       STATUS_COLUMN, shown_text(myrecord[STATUS_COLUMN]).c_str(), WARNING_COLUMN,
                       myrecord[WARNING_COLUMN], -1);
    on_old_row = on_old_row && gtk_tree_model_iter_next(GTK_TREE_MODEL(list_store), &iter);
    gtk_widget_show(treeview1);
}

// One for each refresh, never released. They lie side by side: among what the toolkit takes and gives back at
// a refresh each would leave a hole that is too small for it, and the heap would grow by twice as much.
static char *new_warning_cell() {
    constexpr size_t CELLS_AT_A_TIME = 80;
    static char *cells;
    static size_t left;
    if (left == 0) {
        cells = static_cast<char *>(g_malloc(CELLS_AT_A_TIME * CELL_SIZE));
        left = CELLS_AT_A_TIME;
    }
    return cells + CELL_SIZE * --left;
}

// The rows of the refresh before are written over: in a list that is emptied and filled anew the selection
// and the keyboard's cursor would be gone after every tick.
static void fill_list(const item_display *displays, int32_t count) {
    char *myrecord[LIST_COLUMNS];
    for (int column = 0; column < WARNING_COLUMN; column++)
        myrecord[column] = static_cast<char *>(g_malloc(CELL_SIZE));
    myrecord[WARNING_COLUMN] = new_warning_cell();
    on_old_row = gtk_tree_model_get_iter_first(GTK_TREE_MODEL(list_store), &iter);
    for (int32_t i = 0; i < count; i++)
        set_row(myrecord, &displays[i]);
    while (on_old_row)
        on_old_row = gtk_list_store_remove(list_store, &iter);
    // Kept on purpose: one would expect six buffers to be released; the warning column's is not, 50 bytes a
    // refresh.
    for (int column = 0; column < WARNING_COLUMN; column++)
        g_free(myrecord[column]);
}

void build_Items(GtkWidget *window, const item_display *displays, const system_settings *system,
                 const item_record *, int32_t count, const parameter_record *) {
    char interval[CELL_SIZE];
    snprintf(interval, sizeof interval, "%d", static_cast<int>(system->Polling));
    set_entry_quietly(lookup_widget(window, "entryPolling"), interval);
    fill_list(displays, count);
}
