#include "ui/desktop.h"

#include <clocale>
#include <cstdarg>
#include <cstring>
#include <dlfcn.h>

#include "hw/environment.h"

// ---- What the display may set

// Any program of the display can be its settings manager, and the toolkit loads modules and theme engines by
// the names that this one gives, by whole paths too: into a program that runs as root. So of its settings
// only fonts, times and names that choose among what the system has count. This takes the place of the
// toolkit's own function, through which it asks for all of them.
static bool is_harmless(const char *name) {
    return g_str_has_prefix(name, "gtk-xft-") || g_str_has_prefix(name, "gtk-double-click-") ||
           g_str_has_prefix(name, "gtk-cursor-blink") || strcmp(name, "gtk-font-name") == 0 ||
           strcmp(name, "gtk-cursor-theme-size") == 0;
}

// A theme of high contrast, a screen reader, a way to type.
static bool is_a_choice(const char *name) {
    for (const char *choice : {"gtk-theme-name", "gtk-icon-theme-name", "gtk-fallback-icon-theme",
                               "gtk-key-theme-name", "gtk-cursor-theme-name", "gtk-modules", "gtk-im-module"})
        if (strcmp(name, choice) == 0)
            return true;
    return false;
}

static bool is_from_the_system(const GValue *value) {
    const char *text = G_VALUE_HOLDS_STRING(value) ? g_value_get_string(value) : nullptr;
    return text != nullptr && chooses_only(text);
}

gboolean gdk_screen_get_setting(GdkScreen *screen, const char *name, GValue *value) {
    using getter = gboolean (*)(GdkScreen *, const char *, GValue *);
    static auto toolkits_own = reinterpret_cast<getter>(dlsym(RTLD_NEXT, "gdk_screen_get_setting"));
    if ((!is_harmless(name) && !is_a_choice(name)) || toolkits_own == nullptr ||
        !toolkits_own(screen, name, value))
        return FALSE;
    if (is_harmless(name) || is_from_the_system(value))
        return TRUE;
    g_value_reset(value);
    return FALSE;
}

// ---- Program

static GnomeProgram the_program;

const GnomeModuleInfo *libgnomeui_module_info_get() {
    static const GnomeModuleInfo info = {"libgnomeui"};
    return &info;
}

static void set_property(GnomeProgram *program, const char *name, const char *value) {
    if (strcmp(name, "app-datadir") != 0)
        return;
    g_free(program->app_datadir);
    program->app_datadir = g_strdup(value);
}

GnomeProgram *gnome_program_init(const char *app_id, const char *app_version, const GnomeModuleInfo *,
                                 int argc, char **argv, const char *first_property, ...) {
    if (!gtk_init_check(&argc, &argv))
        return nullptr;
    setlocale(LC_NUMERIC, "C"); // the toolkit took the user's: "12,10" on the pages, "12.10" in the report
    the_program.app_id = app_id;
    the_program.app_version = app_version;
    va_list arguments;
    va_start(arguments, first_property);
    for (const char *name = first_property; name != nullptr; name = va_arg(arguments, const char *))
        set_property(&the_program, name, va_arg(arguments, const char *));
    va_end(arguments);
    return &the_program;
}

// ---- File locator

// "share" of the place that the program was installed to (or built in): beside the directory of its own file.
static char *own_share_directory() {
    char *executable = g_file_read_link("/proc/self/exe", nullptr);
    if (executable == nullptr)
        return nullptr;
    char *directory = g_path_get_dirname(executable);
    char *share = g_build_filename(directory, "..", "share", nullptr);
    g_free(directory);
    g_free(executable);
    return share;
}

char *gnome_program_locate_file(GnomeProgram *program, GnomeFileDomain, const char *file_name,
                                gboolean only_if_exists, GSList **) {
    if (program == nullptr)
        program = &the_program;
    char *own_share = own_share_directory();
    const char *directories[] = {program->app_datadir, own_share, "/usr/local/share", "/usr/share"};
    char *path = nullptr;
    for (const char *directory : directories) {
        if (directory == nullptr)
            continue;
        path = g_build_filename(directory, "pixmaps", file_name, nullptr);
        if (!only_if_exists || g_file_test(path, G_FILE_TEST_EXISTS))
            break;
        g_free(path);
        path = nullptr;
    }
    g_free(own_share);
    return path;
}

// ---- Application window

static const char *const DOCK = "gnome-app-dock";
static const char *const MENU_BAR = "gnome-app-menu-bar";
static const char *const STATUS_BAR = "gnome-app-status-bar";

static GtkWidget *part_of(GtkWidget *app, const char *part) {
    return static_cast<GtkWidget *>(g_object_get_data(G_OBJECT(app), part));
}

GtkWidget *gnome_app_new(const char *app_id, const char *title) {
    GtkWidget *app = gtk_window_new(GTK_WINDOW_TOPLEVEL);
    gtk_window_set_title(GTK_WINDOW(app), title);
    gtk_window_set_role(GTK_WINDOW(app), app_id);
    GtkWidget *frame = gtk_vbox_new(FALSE, 0);
    GtkWidget *dock = gtk_vbox_new(FALSE, 0);
    gtk_box_pack_start(GTK_BOX(frame), dock, TRUE, TRUE, 0);
    gtk_container_add(GTK_CONTAINER(app), frame);
    gtk_widget_show_all(frame);
    g_object_set_data(G_OBJECT(app), DOCK, dock);
    return app;
}

GtkWidget *gnome_app_get_dock(GtkWidget *app) { return part_of(app, DOCK); }

void gnome_app_set_contents(GtkWidget *app, GtkWidget *contents) {
    gtk_box_pack_end(GTK_BOX(gnome_app_get_dock(app)), contents, TRUE, TRUE, 0);
}

void gnome_app_set_statusbar(GtkWidget *app, GtkWidget *bar) {
    gtk_box_pack_end(GTK_BOX(gtk_bin_get_child(GTK_BIN(app))), bar, FALSE, FALSE, 0);
    g_object_set_data(G_OBJECT(app), STATUS_BAR, bar);
}

// ---- Menus

static GtkWidget *new_menu_item(const GnomeUIInfo *info, GtkAccelGroup *accelerators) {
    if (info->type == GNOME_APP_UI_SEPARATOR)
        return gtk_separator_menu_item_new();
    if (info->stock_id != nullptr)
        return gtk_image_menu_item_new_from_stock(info->stock_id, accelerators);
    return gtk_menu_item_new_with_mnemonic(info->label);
}

static void fill_menu(GtkWidget *shell, GnomeUIInfo *table, GtkAccelGroup *accelerators) {
    for (GnomeUIInfo *info = table; info->type != GNOME_APP_UI_ENDOFINFO; info++) {
        info->widget = new_menu_item(info, accelerators);
        gtk_widget_show(info->widget);
        gtk_menu_shell_append(GTK_MENU_SHELL(shell), info->widget);
        if (info->handler != nullptr)
            g_signal_connect(info->widget, "activate", info->handler, nullptr);
        if (info->subtree == nullptr)
            continue;
        GtkWidget *menu = gtk_menu_new();
        gtk_menu_set_accel_group(GTK_MENU(menu), accelerators);
        gtk_menu_item_set_submenu(GTK_MENU_ITEM(info->widget), menu);
        fill_menu(menu, info->subtree, accelerators);
    }
}

void gnome_app_create_menus(GtkWidget *app, GnomeUIInfo *table) {
    GtkAccelGroup *accelerators = gtk_accel_group_new();
    gtk_window_add_accel_group(GTK_WINDOW(app), accelerators);
    g_object_unref(accelerators);
    GtkWidget *bar = gtk_menu_bar_new();
    fill_menu(bar, table, accelerators);
    gtk_widget_show(bar);
    gtk_box_pack_start(GTK_BOX(gnome_app_get_dock(app)), bar, FALSE, FALSE, 0);
    g_object_set_data(G_OBJECT(app), MENU_BAR, bar);
}

static const char *const HINT = "gnome-app-menu-hint";

static void show_hint(GtkWidget *item, gpointer bar) {
    gnome_appbar_set_status(GTK_WIDGET(bar),
                            static_cast<const char *>(g_object_get_data(G_OBJECT(item), HINT)));
}

static void hide_hint(GtkWidget *, gpointer bar) { gnome_appbar_refresh(GTK_WIDGET(bar)); }

void gnome_app_install_menu_hints(GtkWidget *app, GnomeUIInfo *table) {
    GtkWidget *bar = part_of(app, STATUS_BAR);
    for (GnomeUIInfo *info = table; info->type != GNOME_APP_UI_ENDOFINFO; info++) {
        if (info->hint != nullptr) {
            g_object_set_data_full(G_OBJECT(info->widget), HINT, g_strdup(info->hint), g_free);
            g_signal_connect(info->widget, "select", G_CALLBACK(show_hint), bar);
            g_signal_connect(info->widget, "deselect", G_CALLBACK(hide_hint), bar);
        }
        if (info->subtree != nullptr)
            gnome_app_install_menu_hints(app, info->subtree);
    }
}

// ---- Application bar

static const char *const STATUS_LABEL = "gnome-appbar-status";
static const char *const STATUS_STACK = "gnome-appbar-stack"; // a GSList, the text pushed last first

static GSList *stack_of(GtkWidget *bar) {
    return static_cast<GSList *>(g_object_get_data(G_OBJECT(bar), STATUS_STACK));
}

static void free_stack(GtkWidget *bar, gpointer) {
    g_slist_free_full(stack_of(bar), g_free);
    g_object_set_data(G_OBJECT(bar), STATUS_STACK, nullptr);
}

static GtkWidget *new_status_area(GtkWidget *bar) {
    GtkWidget *frame = gtk_frame_new(nullptr);
    gtk_frame_set_shadow_type(GTK_FRAME(frame), GTK_SHADOW_IN);
    GtkWidget *label = gtk_label_new("");
    gtk_misc_set_alignment(GTK_MISC(label), 0, 0.5);
    gtk_misc_set_padding(GTK_MISC(label), 4, 2);
    gtk_label_set_ellipsize(GTK_LABEL(label), PANGO_ELLIPSIZE_END);
    gtk_container_add(GTK_CONTAINER(frame), label);
    g_object_set_data(G_OBJECT(bar), STATUS_LABEL, label);
    return frame;
}

GtkWidget *gnome_appbar_new(gboolean has_progress, gboolean has_status, GnomePreferencesType) {
    GtkWidget *bar = gtk_hbox_new(FALSE, 4);
    if (has_progress) {
        GtkWidget *progress = gtk_progress_bar_new();
        gtk_widget_set_size_request(progress, 100, 16); // wide enough to be read, no higher than the text
        gtk_box_pack_start(GTK_BOX(bar), progress, FALSE, FALSE, 0);
        gtk_widget_show(progress);
    }
    if (has_status) {
        GtkWidget *status = new_status_area(bar);
        gtk_box_pack_start(GTK_BOX(bar), status, TRUE, TRUE, 0);
        gtk_widget_show_all(status);
    }
    g_signal_connect(bar, "destroy", G_CALLBACK(free_stack), nullptr);
    return bar;
}

void gnome_appbar_set_status(GtkWidget *bar, const char *text) {
    GtkWidget *label = part_of(bar, STATUS_LABEL);
    if (label != nullptr)
        gtk_label_set_text(GTK_LABEL(label), text);
}

void gnome_appbar_refresh(GtkWidget *bar) {
    GSList *stack = stack_of(bar);
    gnome_appbar_set_status(bar, stack != nullptr ? static_cast<const char *>(stack->data) : "");
}

unsigned gnome_appbar_push(GtkWidget *bar, const char *text) {
    GSList *stack = g_slist_prepend(stack_of(bar), g_strdup(text));
    g_object_set_data(G_OBJECT(bar), STATUS_STACK, stack);
    gnome_appbar_refresh(bar);
    return g_slist_length(stack);
}

// ---- About box

// A click on a web address opens nothing: the program runs as root, and a browser should not.
static gboolean open_no_browser(GtkAboutDialog *, char *, gpointer) { return TRUE; }

static void destroy_when_closed(GtkWidget *about, int response, gpointer) {
    if (response < 0)
        gtk_widget_destroy(about);
}

static const char *or_nothing(const char *text) {
    return text != nullptr && text[0] != '\0' ? text : nullptr;
}

static const char **list_or_nothing(const char **list) {
    return list != nullptr && list[0] != nullptr ? list : nullptr;
}

GtkWidget *gnome_about_new(const char *name, const char *version, const char *copyright, const char *comments,
                           const char **authors, const char **documenters, const char *translator_credits,
                           GdkPixbuf *logo) {
    GtkWidget *about = gtk_about_dialog_new();
    GtkAboutDialog *dialog = GTK_ABOUT_DIALOG(about);
    gtk_about_dialog_set_program_name(dialog, name);
    gtk_about_dialog_set_version(dialog, version);
    gtk_about_dialog_set_copyright(dialog, or_nothing(copyright));
    gtk_about_dialog_set_comments(dialog, or_nothing(comments));
    gtk_about_dialog_set_authors(dialog, list_or_nothing(authors));
    gtk_about_dialog_set_documenters(dialog, list_or_nothing(documenters));
    gtk_about_dialog_set_translator_credits(dialog, or_nothing(translator_credits));
    gtk_about_dialog_set_logo(dialog, logo);
    g_signal_connect(about, "activate-link", G_CALLBACK(open_no_browser), nullptr);
    g_signal_connect_after(about, "response", G_CALLBACK(destroy_when_closed), nullptr);
    return about;
}
