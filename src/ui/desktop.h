#pragma once
// What the program calls of the GNOME 2 desktop library. Debian has no packages of it any more, so these few
// calls are carried here, over GTK+ 2 alone and under their known names. Nothing else in the project knows
// that they are ours. Widgets are returned as the caller's; texts are copied.

#include <gtk/gtk.h>

// ---- Program

struct GnomeProgram {
    const char *app_id;
    const char *app_version;
    char *app_datadir; // where the program's own data lies
};
struct GnomeModuleInfo {
    const char *name;
};

const GnomeModuleInfo *libgnomeui_module_info_get();

// Starts the toolkit. The properties are pairs of name and text, ended by nullptr; "app-datadir" is known,
// any other is passed over. nullptr when no display can be opened.
GnomeProgram *gnome_program_init(const char *app_id, const char *app_version, const GnomeModuleInfo *module,
                                 int argc, char **argv, const char *first_property, ...)
    __attribute__((sentinel));

// ---- File locator

enum GnomeFileDomain { GNOME_FILE_DOMAIN_APP_PIXMAP };

// The path of a file below "pixmaps" in the program's data directory, in the "share" directory that belongs
// to the program's own one, or in the system's, the first that has it; without `only_if_exists` the first at
// all. nullptr when there is none. A null `program` is the one that was started; `all` must be nullptr. Free
// the path with g_free.
char *gnome_program_locate_file(GnomeProgram *program, GnomeFileDomain domain, const char *file_name,
                                gboolean only_if_exists, GSList **all);

// ---- Application window: menu bar, contents, status bar, one below the other

GtkWidget *gnome_app_new(const char *app_id, const char *title);
GtkWidget *gnome_app_get_dock(GtkWidget *app); // holds all but the status bar
void gnome_app_set_contents(GtkWidget *app, GtkWidget *contents);
void gnome_app_set_statusbar(GtkWidget *app, GtkWidget *bar);

// ---- Menus from a table

enum GnomeUIInfoType {
    GNOME_APP_UI_ENDOFINFO, // the last entry of each table
    GNOME_APP_UI_ITEM,
    GNOME_APP_UI_SUBTREE,
    GNOME_APP_UI_SEPARATOR
};

struct GnomeUIInfo {
    GnomeUIInfoType type;
    const char *label = nullptr;    // with a mnemonic; of a stock item nullptr
    const char *hint = nullptr;     // shown in the status bar while the item is highlighted
    const char *stock_id = nullptr; // gives an item its label, picture and accelerator
    GCallback handler = nullptr;    // of an item's "activate"
    GnomeUIInfo *subtree = nullptr; // of a sub-menu
    GtkWidget *widget = nullptr;    // set by gnome_app_create_menus
};

void gnome_app_create_menus(GtkWidget *app, GnomeUIInfo *table);
void gnome_app_install_menu_hints(GtkWidget *app, GnomeUIInfo *table); // after the status bar is set

// ---- Application bar: a progress bar and a line of status text

enum GnomePreferencesType { GNOME_PREFERENCES_NEVER };

GtkWidget *gnome_appbar_new(gboolean has_progress, gboolean has_status, GnomePreferencesType interactivity);

// Puts a text upon those that were pushed before and shows it; returns how many there are now.
unsigned gnome_appbar_push(GtkWidget *bar, const char *text);

void gnome_appbar_set_status(GtkWidget *bar, const char *text); // shown until the next refresh or push
void gnome_appbar_refresh(GtkWidget *bar);                      // shows the text that was pushed last

// ---- About box

// A dialog that destroys itself after a negative response (it was closed), once every other handler has seen
// it. The lists end with nullptr; an empty text or list and a null logo leave their place empty.
GtkWidget *gnome_about_new(const char *name, const char *version, const char *copyright, const char *comments,
                           const char **authors, const char **documenters, const char *translator_credits,
                           GdkPixbuf *logo);
