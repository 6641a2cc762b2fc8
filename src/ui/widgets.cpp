#include "ui/widgets.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <vector>

#include "ui/desktop.h"

// ---- Building

static std::vector<GtkWidget *> unregistered;

GtkWidget *name_widget(GtkWidget *widget, const char *name) {
    gtk_widget_set_name(widget, name);
    gtk_widget_show(widget);
    unregistered.push_back(widget);
    return widget;
}

GtkWidget *size_widget(GtkWidget *widget, int width, int height) {
    gtk_widget_set_size_request(widget, width, height);
    return widget;
}

GtkWidget *name_window(GtkWidget *window, const char *name) {
    gtk_widget_set_name(window, name);
    return window;
}

std::string slot_name(const char *prefix, unsigned slot) { return prefix + std::to_string(slot); }

GtkWidget *new_label(const char *name, const char *text, int width, int height) {
    return size_widget(name_widget(gtk_label_new(text), name), width, height);
}

void justify_label(GtkWidget *label, GtkJustification side) {
    gtk_label_set_justify(GTK_LABEL(label), side);
    gtk_misc_set_alignment(GTK_MISC(label), side == GTK_JUSTIFY_RIGHT ? 1 : 0, 0.5);
}

// ---- Fitting a text into its room

// 0.7 of a font of 10 points at 96 dpi, for which the sizes are made; below it nobody could read it.
constexpr double SMALLEST_PX = 9.3;
constexpr int STEP = 5; // per cent

static double font_px(GtkWidget *widget) {
    gtk_widget_ensure_style(widget);
    const PangoFontDescription *font = gtk_widget_get_style(widget)->font_desc;
    double size = pango_font_description_get_size(font) / static_cast<double>(PANGO_SCALE);
    if (pango_font_description_get_size_is_absolute(font))
        return size;
    double dpi = gdk_screen_get_resolution(gtk_widget_get_screen(widget));
    return size * (dpi > 0 ? dpi : 96) / 72;
}

// What the widget would ask for without a size request: that is not part of what the toolkit keeps with it.
static GtkRequisition natural_size(GtkWidget *widget) {
    GtkRequisition natural;
    gtk_widget_size_request(widget, &natural);
    gtk_widget_get_requisition(widget, &natural);
    return natural;
}

// The first label in a widget: that of a button with a picture lies deep in it.
static GtkWidget *label_in(GtkWidget *widget) {
    if (GTK_IS_LABEL(widget) || !GTK_IS_CONTAINER(widget))
        return GTK_IS_LABEL(widget) ? widget : nullptr;
    GtkWidget *found = nullptr;
    GList *children = gtk_container_get_children(GTK_CONTAINER(widget));
    for (GList *child = children; child != nullptr && found == nullptr; child = child->next)
        found = label_in(static_cast<GtkWidget *>(child->data));
    g_list_free(children);
    return found;
}

static void scale_label(GtkLabel *label, int percent) {
    PangoAttrList *attributes = pango_attr_list_new();
    pango_attr_list_insert(attributes, pango_attr_scale_new(percent / 100.0));
    gtk_label_set_attributes(label, attributes);
    pango_attr_list_unref(attributes);
}

static void scale_entry(GtkWidget *entry, int percent) {
    if (percent == WHOLE)
        return;
    double px = font_px(entry) * percent / 100;
    PangoFontDescription *font = pango_font_description_copy(gtk_widget_get_style(entry)->font_desc);
    pango_font_description_set_absolute_size(font, px * PANGO_SCALE);
    gtk_widget_modify_font(entry, font);
    pango_font_description_free(font);
}

void scale_text(GtkWidget *widget, int percent) {
    GtkLabel *label = GTK_LABEL(label_in(widget));
    if (percent != WHOLE || gtk_label_get_attributes(label) != nullptr)
        scale_label(label, percent);
}

// How much of the natural size there is room for; 1 and more: the text fits. A line of text is two pixels
// higher than the lowest room here, which its letters do not use.
static double share_with_room(GtkWidget *widget, int room) {
    constexpr int UNUSED = 2;
    int width, height;
    gtk_widget_get_size_request(widget, &width, &height);
    if (room != OWN_WIDTH)
        width = room;
    GtkRequisition natural = natural_size(widget);
    double across = width != NATURAL ? static_cast<double>(width) / natural.width : 1;
    double down = height != NATURAL ? static_cast<double>(height + UNUSED) / natural.height : 1;
    return std::min(across, down);
}

bool text_fits(GtkWidget *widget, int room) { return share_with_room(widget, room) >= 1; }

static int smallest_size(GtkWidget *widget) {
    int percent = static_cast<int>(std::ceil(WHOLE * SMALLEST_PX / font_px(widget) / STEP)) * STEP;
    return std::min(percent, WHOLE);
}

// The share is of the whole widget, borders included: the size that it leads to is never too small, and
// mostly it fits at once.
int fit_text(GtkWidget *widget, int room) {
    int smallest = smallest_size(widget);
    int percent = WHOLE;
    scale_text(widget, percent);
    double share = share_with_room(widget, room);
    while (share < 1 && percent > smallest) {
        int wanted = static_cast<int>(percent * share / STEP) * STEP;
        percent = std::max(smallest, std::min(wanted, percent - STEP));
        scale_text(widget, percent);
        share = share_with_room(widget, room);
    }
    return percent;
}

// An entry is as high as a button without its frame, and its text can be scrolled: it goes by the others.
void fit_alike(const std::vector<GtkWidget *> &row, int room) {
    int percent = WHOLE;
    for (GtkWidget *widget : row)
        if (!GTK_IS_ENTRY(widget))
            percent = std::min(percent, fit_text(widget, room));
    for (GtkWidget *widget : row)
        if (GTK_IS_ENTRY(widget))
            scale_entry(widget, percent);
        else
            scale_text(widget, percent);
}

// ---- More widgets

GtkWidget *new_button(const char *name, const char *text, int width, int height) {
    return size_widget(name_widget(gtk_button_new_with_label(text), name), width, height);
}

GtkWidget *pack_button(GtkWidget *row, const char *name, const char *text, int width) {
    GtkWidget *button = new_button(name, text, width, 26);
    gtk_box_pack_start(GTK_BOX(row), button, FALSE, FALSE, 4);
    return button;
}

GtkWidget *new_stock_button(const char *name, const char *stock_id, int width, int height) {
    return size_widget(name_widget(gtk_button_new_from_stock(stock_id), name), width, height);
}

GtkWidget *new_entry(const char *name, int most_characters, int width, int height) {
    GtkWidget *entry = size_widget(name_widget(gtk_entry_new(), name), width, height);
    gtk_entry_set_max_length(GTK_ENTRY(entry), most_characters);
    return entry;
}

GtkWidget *new_warning_image(const char *name, int width, int height) {
    GtkWidget *image = gtk_image_new_from_stock(GTK_STOCK_DIALOG_ERROR, GTK_ICON_SIZE_DND);
    return size_widget(name_widget(image, name), width, height);
}

GtkWidget *new_separator(const char *name) { return name_widget(gtk_hseparator_new(), name); }

GtkWidget *new_table(const char *name, unsigned rows, unsigned columns) {
    return name_widget(gtk_table_new(rows, columns, FALSE), name);
}

// A viewport takes the requests of what is in it to be laid out anew, but passes over those that come before
// its page is shown for the first time: hiding what is not used. So it lays out once more then.
GtkWidget *new_scrolled_viewport(const char *name, const char *viewport_name, GtkWidget **viewport) {
    GtkWidget *scrolled = name_widget(gtk_scrolled_window_new(nullptr, nullptr), name);
    gtk_scrolled_window_set_policy(GTK_SCROLLED_WINDOW(scrolled), GTK_POLICY_AUTOMATIC, GTK_POLICY_AUTOMATIC);
    *viewport = name_widget(gtk_viewport_new(nullptr, nullptr), viewport_name);
    g_signal_connect(*viewport, "realize", G_CALLBACK(gtk_widget_queue_resize), nullptr);
    gtk_container_add(GTK_CONTAINER(scrolled), *viewport);
    return scrolled;
}

// ---- Registry

// Object data is a list that is searched from its start: with the 850 names of the main window a refresh
// would spend 3 ms in it. So the registry has an index, the first entry of that list, which is asked for by a
// key: by its name it would cost nearly as much as the rest of a look-up.
static GQuark index_key() {
    static const GQuark key = g_quark_from_static_string("kestrel-widget-index");
    return key;
}

static GHashTable *index_of(GtkWidget *window) {
    return static_cast<GHashTable *>(g_object_get_qdata(G_OBJECT(window), index_key()));
}

static GHashTable *new_index(GtkWidget *window) {
    GHashTable *index = g_hash_table_new(g_str_hash, g_str_equal);
    g_object_set_qdata_full(G_OBJECT(window), index_key(), index,
                            reinterpret_cast<GDestroyNotify>(g_hash_table_unref));
    return index;
}

void register_widgets(GtkWidget *window) {
    GHashTable *index = new_index(window);
    g_object_set_data(G_OBJECT(window), gtk_widget_get_name(window), window);
    for (GtkWidget *widget : unregistered) {
        const char *name = g_intern_string(gtk_widget_get_name(widget));
        g_object_set_data_full(G_OBJECT(window), name, g_object_ref(widget), g_object_unref);
        g_hash_table_insert(index, const_cast<char *>(name), widget);
    }
    unregistered.clear();
}

void connect_signals(GtkWidget *window, const signal_row *rows, size_t count) {
    for (size_t i = 0; i < count; i++)
        g_signal_connect(lookup_widget(window, rows[i].widget), rows[i].signal, rows[i].handler, nullptr);
}

// ---- Finding

static GtkWidget *find_indexed(GtkWidget *window, const char *name) {
    GHashTable *index = index_of(window);
    return index != nullptr ? static_cast<GtkWidget *>(g_hash_table_lookup(index, name)) : nullptr;
}

static GtkWidget *data_of(GtkWidget *widget, const char *key) {
    return static_cast<GtkWidget *>(g_object_get_data(G_OBJECT(widget), key));
}

// The index is asked before the way leads on from a window, for that would search its data, too.
GtkWidget *lookup_widget(GtkWidget *widget, const char *name) {
    for (;;) {
        GtkWidget *parent = GTK_IS_MENU(widget) ? gtk_menu_get_attach_widget(GTK_MENU(widget))
                                                : gtk_widget_get_parent(widget);
        GtkWidget *found = parent == nullptr ? find_indexed(widget, name) : nullptr;
        if (found != nullptr)
            return found;
        if (parent == nullptr)
            parent = data_of(widget, "GladeParentKey");
        if (parent == nullptr)
            break;
        widget = parent;
    }
    GtkWidget *found = data_of(widget, name);
    if (found == nullptr)
        g_warning("Widget not found: %s", name);
    return found;
}

GtkWidget *lookup_slot(GtkWidget *widget, const char *prefix, unsigned slot) {
    return lookup_widget(widget, slot_name(prefix, slot).c_str());
}

// ---- Pictures

static char *locate_pixmap(const char *filename) {
    char *path = gnome_program_locate_file(nullptr, GNOME_FILE_DOMAIN_APP_PIXMAP, filename, TRUE, nullptr);
    if (path == nullptr)
        g_warning("Couldn't find pixmap file: %s", filename);
    return path;
}

GtkWidget *create_pixmap(GtkWidget *, const char *filename) {
    if (filename == nullptr || filename[0] == '\0')
        return gtk_image_new();
    char *path = locate_pixmap(filename);
    if (path == nullptr)
        return gtk_image_new();
    GtkWidget *image = gtk_image_new_from_file(path);
    g_free(path);
    return image;
}

GdkPixbuf *create_pixbuf(const char *filename) {
    if (filename == nullptr || filename[0] == '\0')
        return nullptr;
    char *path = locate_pixmap(filename);
    if (path == nullptr)
        return nullptr;
    GError *error = nullptr;
    GdkPixbuf *pixbuf = gdk_pixbuf_new_from_file(path, &error);
    if (pixbuf == nullptr) {
        fprintf(stderr, "Failed to load pixbuf file: %s: %s\n", path, error->message);
        g_error_free(error);
    }
    g_free(path);
    return pixbuf;
}

void glade_set_atk_action_description(AtkAction *action, const char *action_name, const char *description) {
    int count = atk_action_get_n_actions(action);
    for (int i = 0; i < count; i++)
        if (g_strcmp0(atk_action_get_name(action, i), action_name) == 0) // an action may have no name
            atk_action_set_description(action, i, description);
}

// ---- Showing

std::string shown_text(const char *text) {
    if (g_utf8_validate(text, -1, nullptr))
        return text;
    char *valid = g_utf8_make_valid(text, -1);
    std::string shown = valid;
    g_free(valid);
    return shown;
}

// A text that is there already is not set again: that would measure it, lay it out and draw it anew.
void show_label(GtkWidget *label, const char *text) {
    if (strcmp(gtk_label_get_text(GTK_LABEL(label)), text) != 0) {
        gtk_label_set_text(GTK_LABEL(label), text);
        fit_text(label, OWN_WIDTH);
    }
    gtk_widget_show(label);
}

void show_button(GtkWidget *button, const char *text) {
    const char *present = gtk_button_get_label(GTK_BUTTON(button));
    if (present == nullptr || strcmp(present, text) != 0) {
        g_object_set(button, "label", text, nullptr); // which makes a new label
        fit_text(button, OWN_WIDTH);
    }
    gtk_widget_show(button);
}

static void set_name(GtkLabel *label, const char *name, int room) {
    gtk_label_set_ellipsize(label, PANGO_ELLIPSIZE_NONE);
    gtk_label_set_text(label, name);
    fit_text(GTK_WIDGET(label), room);
    bool fits = text_fits(GTK_WIDGET(label), room);
    gtk_label_set_ellipsize(label, fits ? PANGO_ELLIPSIZE_NONE : PANGO_ELLIPSIZE_MIDDLE);
    gtk_widget_set_tooltip_text(GTK_WIDGET(label), fits ? nullptr : name);
}

void show_name(GtkWidget *label, const char *name, int room) {
    if (strcmp(gtk_label_get_text(GTK_LABEL(label)), name) != 0)
        set_name(GTK_LABEL(label), name, room);
    gtk_widget_show(label);
}

// The entry shows no more characters than it takes; a text that is shown already is not set again, for that
// would move the cursor.
static std::string text_for(GtkWidget *entry, const char *text) {
    int most = gtk_entry_get_max_length(GTK_ENTRY(entry));
    if (most == 0 || g_utf8_strlen(text, -1) <= most)
        return text;
    return std::string(text, static_cast<size_t>(g_utf8_offset_to_pointer(text, most) - text));
}

void set_entry_quietly(GtkWidget *entry, const char *text) {
    std::string shown = text_for(entry, text);
    if (shown == gtk_entry_get_text(GTK_ENTRY(entry)))
        return;
    // Every handler of ours is connected without data. GLib blocks nothing when only the signal is given.
    auto ours = static_cast<GSignalMatchType>(G_SIGNAL_MATCH_ID | G_SIGNAL_MATCH_DATA);
    const unsigned signals[] = {g_signal_lookup("changed", GTK_TYPE_EDITABLE),
                                g_signal_lookup("insert-text", GTK_TYPE_EDITABLE)};
    for (unsigned signal : signals)
        g_signal_handlers_block_matched(entry, ours, signal, 0, nullptr, nullptr, nullptr);
    gtk_entry_set_text(GTK_ENTRY(entry), shown.c_str());
    for (unsigned signal : signals)
        g_signal_handlers_unblock_matched(entry, ours, signal, 0, nullptr, nullptr, nullptr);
}

void set_shown(GtkWidget *widget, bool shown) {
    if (shown)
        gtk_widget_show(widget);
    else
        gtk_widget_hide(widget);
}
