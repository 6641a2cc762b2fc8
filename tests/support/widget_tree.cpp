#include "support/widget_tree.h"

#include "ui/handlers.h"

GtkWidget *widget_tree::registered(GtkWidget *window, const std::string &name) {
    return static_cast<GtkWidget *>(g_object_get_data(G_OBJECT(window), name.c_str()));
}

static void collect(GtkWidget *widget, gpointer list) {
    static_cast<std::vector<GtkWidget *> *>(list)->push_back(widget);
    if (GTK_IS_CONTAINER(widget))
        gtk_container_forall(GTK_CONTAINER(widget), collect, list);
    if (GTK_IS_MENU_ITEM(widget) && gtk_menu_item_get_submenu(GTK_MENU_ITEM(widget)) != nullptr)
        collect(gtk_menu_item_get_submenu(GTK_MENU_ITEM(widget)), list);
}

std::vector<GtkWidget *> widget_tree::all(GtkWidget *window) {
    std::vector<GtkWidget *> found;
    collect(window, &found);
    return found;
}

struct registry_walk {
    std::set<gpointer> widgets;
    std::set<std::string> names;
};

static void note_name(GQuark key, gpointer data, gpointer walk) {
    auto *found = static_cast<registry_walk *>(walk);
    std::string name = g_quark_to_string(key);
    if (found->widgets.count(data) != 0 && name.rfind("gnome-app-", 0) != 0)
        found->names.insert(name);
}

std::set<std::string> widget_tree::registry(GtkWidget *window) {
    registry_walk walk;
    for (GtkWidget *widget : all(window))
        walk.widgets.insert(widget);
    g_datalist_foreach(&G_OBJECT(window)->qdata, note_name, &walk);
    return walk.names;
}

std::vector<GtkLabel *> widget_tree::labels_in(GtkWidget *widget) {
    std::vector<GtkLabel *> found;
    for (GtkWidget *below : all(widget))
        if (GTK_IS_LABEL(below))
            found.push_back(GTK_LABEL(below));
    return found;
}

std::vector<std::string> widget_tree::names_of_children(GtkWidget *container) {
    std::vector<std::string> names;
    GList *children = gtk_container_get_children(GTK_CONTAINER(container));
    for (GList *entry = children; entry != nullptr; entry = entry->next)
        names.push_back(gtk_widget_get_name(static_cast<GtkWidget *>(entry->data)));
    g_list_free(children);
    return names;
}

static GtkWidget *around(GtkWidget *widget) {
    return GTK_IS_MENU(widget) ? gtk_menu_get_attach_widget(GTK_MENU(widget)) : gtk_widget_get_parent(widget);
}

std::string widget_tree::enclosing(GtkWidget *window, GtkWidget *widget) {
    for (widget = around(widget); widget != nullptr; widget = around(widget))
        if (registered(window, gtk_widget_get_name(widget)) == widget)
            return gtk_widget_get_name(widget);
    return "";
}

// Each one that is found is blocked, so that the next is found; all are free again at the end.
unsigned widget_tree::handlers(GtkWidget *widget, const char *signal, GCallback handler) {
    int match = G_SIGNAL_MATCH_ID | G_SIGNAL_MATCH_UNBLOCKED | (handler != nullptr ? G_SIGNAL_MATCH_FUNC : 0);
    guint id = g_signal_lookup(signal, G_OBJECT_TYPE(widget));
    std::vector<gulong> found;
    while (gulong next = g_signal_handler_find(widget, static_cast<GSignalMatchType>(match), id, 0, nullptr,
                                               reinterpret_cast<gpointer>(handler), nullptr)) {
        g_signal_handler_block(widget, next);
        found.push_back(next);
    }
    for (gulong one : found)
        g_signal_handler_unblock(widget, one);
    return static_cast<unsigned>(found.size());
}

void widget_tree::close(GtkWidget *window) {
    GdkEvent *event = gdk_event_new(GDK_DELETE);
    event->any.window = static_cast<GdkWindow *>(g_object_ref(gtk_widget_get_window(window)));
    gtk_main_do_event(event);
    gdk_event_free(event);
}

void widget_tree::destroy(GtkWidget *window) {
    g_signal_handlers_disconnect_by_func(window, reinterpret_cast<gpointer>(on_app1_destroy), nullptr);
    gtk_widget_destroy(window);
}

static gboolean call(gpointer act) {
    (*static_cast<const std::function<void()> *>(act))();
    return FALSE;
}

static gboolean give_up(gpointer gave_up) {
    *static_cast<bool *>(gave_up) = true;
    gtk_main_quit();
    return TRUE; // removed by its number
}

bool widget_tree::ends_main_loop(const std::function<void()> &act) {
    constexpr guint PATIENCE_MS = 5000;
    bool gave_up = false;
    g_idle_add(call, const_cast<std::function<void()> *>(&act));
    guint guard = g_timeout_add(PATIENCE_MS, give_up, &gave_up);
    gtk_main();
    g_source_remove(guard);
    return !gave_up;
}

std::vector<GtkWidget *> widget_tree::windows_named(const std::string &name) {
    std::vector<GtkWidget *> found;
    GList *windows = gtk_window_list_toplevels();
    for (GList *entry = windows; entry != nullptr; entry = entry->next)
        if (name == gtk_widget_get_name(static_cast<GtkWidget *>(entry->data)))
            found.push_back(static_cast<GtkWidget *>(entry->data));
    g_list_free(windows);
    return found;
}
