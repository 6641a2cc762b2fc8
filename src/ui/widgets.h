#pragma once
// How the windows are built and how their widgets are found again: every widget has a name, and its top-level
// window keeps a registry of them. Sizes are pixels; NATURAL leaves a side to the widget.

#include <gtk/gtk.h>
#include <string>
#include <vector>

constexpr int NATURAL = -1;

// ---- Building. A new widget is named, shown and remembered until register_widgets.

GtkWidget *name_widget(GtkWidget *widget, const char *name); // shown, too; returns the widget
GtkWidget *size_widget(GtkWidget *widget, int width, int height);
GtkWidget *name_window(GtkWidget *window, const char *name); // not shown

// Members of a family: "labelFan3" is prefix "labelFan" and slot 3.
std::string slot_name(const char *prefix, unsigned slot);

GtkWidget *new_label(const char *name, const char *text, int width, int height);
void justify_label(GtkWidget *label, GtkJustification side); // its lines, and the text in its room

// Sizes are fixed here, but not the user's font: what does not fit is written smaller, as far as it can be
// read. The text of a label or a button has `room` pixels across (OWN_WIDTH: as many as the widget asks for;
// NATURAL: any number) and the height that the widget asks for.
constexpr int OWN_WIDTH = 0;
constexpr int WHOLE = 100;
int fit_text(GtkWidget *widget, int room); // returns the size of the writing, in per cent of the user's font
bool text_fits(GtkWidget *widget, int room);
void scale_text(GtkWidget *widget, int percent);
// All of them as small as the smallest; entries, too.
void fit_alike(const std::vector<GtkWidget *> &row, int room);

GtkWidget *new_button(const char *name, const char *text, int width, int height);
GtkWidget *pack_button(GtkWidget *row, const char *name, const char *text, int width); // 26 high
GtkWidget *new_stock_button(const char *name, const char *stock_id, int width, int height);
GtkWidget *new_entry(const char *name, int most_characters, int width, int height); // 0 characters: no limit
GtkWidget *new_warning_image(const char *name, int width, int height);
GtkWidget *new_separator(const char *name);
GtkWidget *new_table(const char *name, unsigned rows, unsigned columns);

// A scrolled window with automatic bars and a viewport in it; `*viewport` takes the contents.
GtkWidget *new_scrolled_viewport(const char *name, const char *viewport_name, GtkWidget **viewport);

// Puts every widget that was named since the last call into the window's registry: the window without a
// reference, all others with one that is released with the window.
void register_widgets(GtkWidget *window);

struct signal_row {
    const char *widget;
    const char *signal;
    GCallback handler;
};
void connect_signals(GtkWidget *window, const signal_row *rows, size_t count); // after the registration

// ---- Finding

// The widget of that name in the registry of `widget`'s top-level window; nullptr, after a warning, when
// there is none. From a menu the way leads over the widget that it is attached to.
GtkWidget *lookup_widget(GtkWidget *widget, const char *name);
GtkWidget *lookup_slot(GtkWidget *widget, const char *prefix, unsigned slot);

// ---- Pictures, found below "pixmaps" in the data directories

GtkWidget *create_pixmap(GtkWidget *widget, const char *filename); // an empty image when there is none
GdkPixbuf *create_pixbuf(const char *filename);                    // nullptr when there is none

void glade_set_atk_action_description(AtkAction *action, const char *action_name, const char *description);

// ---- Showing

// Text from outside (names in a file, chips) as the toolkit can show it: what is not UTF-8 gives way to
// replacement characters.
std::string shown_text(const char *text);

void show_label(GtkWidget *label, const char *text);   // sets the text, made to fit, and shows the label
void show_button(GtkWidget *button, const char *text); // the same of a button
// The same of a name, which may be of any length: one that cannot be made to fit has dots in its middle (the
// numbers that tell names apart are at their ends) and is shown whole by the pointer.
void show_name(GtkWidget *label, const char *name, int room);
void set_entry_quietly(GtkWidget *entry, const char *text); // without raising its handlers
void set_shown(GtkWidget *widget, bool shown);
