// The calls of the desktop library that are carried here.
#include "ui/desktop.h"

#include <clocale>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <string>
#include <unistd.h>
#include <vector>

#include "support/widget_tree.h"
#include "support/window.h"
#include "ui/windows.h"

namespace fs = std::filesystem;

static GnomeProgram *start(const char *property, const char *value) {
    return gnome_program_init("kestrel", "2.87", libgnomeui_module_info_get(), 0, nullptr, property, value,
                              nullptr);
}

// ---- Program

TEST(Program, IsNoneWithoutADisplay) {
    GTEST_FLAG_SET(death_test_style, "threadsafe"); // a process of its own, whose toolkit was never started
    EXPECT_EXIT(
        {
            unsetenv("DISPLAY");
            exit(start("app-datadir", "/data") == nullptr ? 0 : 1);
        },
        testing::ExitedWithCode(0), "");
}

TEST(Program, KeepsWhatItIsStartedWith) {
    test_window::open_display();
    GnomeProgram *program = start("app-datadir", "/data");
    ASSERT_NE(program, nullptr);
    EXPECT_STREQ(program->app_id, "kestrel");
    EXPECT_STREQ(program->app_version, "2.87");
    EXPECT_STREQ(program->app_datadir, "/data");
}

TEST(Program, PassesOverUnknownProperties) {
    test_window::open_display();
    GnomeProgram *program =
        gnome_program_init("kestrel", "2.87", libgnomeui_module_info_get(), 0, nullptr, "human-readable-name",
                           "Kestrel", "app-datadir", "/data", "app-prefix", "/usr", nullptr);
    ASSERT_NE(program, nullptr);
    EXPECT_STREQ(program->app_datadir, "/data");
}

// ---- What the display may set

static void add_number(std::string *bytes, size_t size, size_t number) { // least significant byte first
    for (; size > 0; size--, number >>= 8)
        *bytes += static_cast<char>(number & 0xFF);
}

// Kind, name and serial number of a setting; its value follows. Texts are filled up to four bytes.
static void add_setting(std::string *bytes, size_t kind, std::string name) {
    add_number(bytes, 2, kind);
    add_number(bytes, 2, name.size());
    name.resize((name.size() + 3) / 4 * 4);
    *bytes += name;
    add_number(bytes, 4, 1);
}

static void add_text_setting(std::string *bytes, const char *name, std::string value) {
    add_setting(bytes, 1, name);
    add_number(bytes, 4, value.size());
    value.resize((value.size() + 3) / 4 * 4);
    *bytes += value;
}

// What names something: in a display's settings, and as the toolkit calls it.
static const struct {
    const char *of_display;
    const char *of_toolkit;
} names[] = {
    {"Net/ThemeName", "gtk-theme-name"},
    {"Net/IconThemeName", "gtk-icon-theme-name"},
    {"Net/FallbackIconTheme", "gtk-fallback-icon-theme"},
    {"Gtk/KeyThemeName", "gtk-key-theme-name"},
    {"Gtk/CursorThemeName", "gtk-cursor-theme-name"},
    {"Gtk/Modules", "gtk-modules"},
    {"Gtk/IMModule", "gtk-im-module"},
};

// Each of the names is `value`.
static std::string settings_with(const std::string &value) {
    std::string settings;
    add_number(&settings, 4, 0); // the byte order
    add_number(&settings, 4, 1);
    add_number(&settings, 4, std::size(names) + 3);
    for (const auto &name : names)
        add_text_setting(&settings, name.of_display, value);
    add_text_setting(&settings, "Gtk/FontName", "Sans 12");
    add_text_setting(&settings, "Gtk/ColorScheme", "fg_color:red");
    add_setting(&settings, 0, "Net/CursorBlinkTime");
    add_number(&settings, 4, 1234);
    return settings;
}

// As any program of the display can: its window holds the settings and owns their selection.
static void become_settings_manager(GdkDisplay *display, const std::string &settings) {
    GdkWindowAttr attributes = {};
    attributes.window_type = GDK_WINDOW_TOPLEVEL;
    attributes.wclass = GDK_INPUT_ONLY;
    GdkWindow *root = gdk_screen_get_root_window(gdk_display_get_default_screen(display));
    GdkWindow *window = gdk_window_new(root, &attributes, 0);
    GdkAtom property = gdk_atom_intern("_XSETTINGS_SETTINGS", FALSE);
    gdk_property_change(window, property, property, 8, GDK_PROP_MODE_REPLACE,
                        reinterpret_cast<const guchar *>(settings.data()), static_cast<int>(settings.size()));
    gdk_selection_owner_set_for_display(display, window, gdk_atom_intern("_XSETTINGS_S0", FALSE),
                                        GDK_CURRENT_TIME, FALSE);
    gdk_display_sync(display);
}

// Two connections to a display whose settings another program makes.
struct set_display {
    GdkDisplay *managers;
    GdkDisplay *ours;
};

static set_display open_with(const std::string &value) {
    test_window::open_display();
    const char *name = gdk_display_get_name(gdk_display_get_default());
    GdkDisplay *managers = gdk_display_open(name);
    become_settings_manager(managers, settings_with(value));
    return {managers, gdk_display_open(name)};
}

static void close(const set_display &display) {
    gdk_display_close(display.ours);
    gdk_display_close(display.managers);
}

static bool get(const set_display &display, const char *setting, GType type, GValue *value) {
    *value = G_VALUE_INIT;
    g_value_init(value, type);
    return gdk_screen_get_setting(gdk_display_get_default_screen(display.ours), setting, value) != FALSE;
}

static std::string text_of(const set_display &display, const char *setting) {
    GValue value;
    bool found = get(display, setting, G_TYPE_STRING, &value);
    const char *text = g_value_get_string(&value);
    EXPECT_EQ(text != nullptr, found) << setting;
    std::string seen = found ? text : "none";
    g_value_unset(&value);
    return seen;
}

TEST(Display, SetsFontsAndTimes) {
    set_display display = open_with("x");
    EXPECT_EQ(text_of(display, "gtk-font-name"), "Sans 12");
    EXPECT_EQ(text_of(display, "gtk-color-scheme"), "none");
    GValue value;
    EXPECT_TRUE(get(display, "gtk-cursor-blink-time", G_TYPE_INT, &value));
    EXPECT_EQ(g_value_get_int(&value), 1234);
    close(display);
}

TEST(Display, ChoosesThemesAndModulesThatTheSystemHas) {
    for (const char *value : {"HighContrast", "gail:atk-bridge", ""}) {
        set_display display = open_with(value);
        for (const auto &name : names)
            EXPECT_EQ(text_of(display, name.of_toolkit), value) << name.of_toolkit;
        close(display);
    }
}

TEST(Display, NamesNoPathsOfThemesAndModules) {
    for (const char *value :
         {"/tmp/somebodys-module.so", "../../../tmp/somebodys-theme", "gail:/tmp/x.so", "a/b", "%n"}) {
        set_display display = open_with(value);
        for (const auto &name : names)
            EXPECT_EQ(text_of(display, name.of_toolkit), "none") << name.of_toolkit << " " << value;
        close(display);
    }
}

// ---- File locator

static std::string locate(const std::string &name, gboolean only_if_exists) {
    char *path = gnome_program_locate_file(nullptr, GNOME_FILE_DOMAIN_APP_PIXMAP, name.c_str(),
                                           only_if_exists, nullptr);
    std::string located = path != nullptr ? path : "none";
    g_free(path);
    return located;
}

// Data directory and "share" directory of the test, the latter beside the directory of its own program; both
// with "pixmaps/FILE" if wanted. Gone at the end.
struct places {
    std::string file = "kestrel-locator-" + std::to_string(getpid());
    fs::path data = testing::TempDir() + file;
    fs::path share = fs::read_symlink("/proc/self/exe").parent_path() / ".." / "share";
    bool had_share = fs::exists(share);
};

static std::string put(const places &at, const fs::path &directory) {
    fs::create_directories(directory / "pixmaps");
    fs::path path = directory / "pixmaps" / at.file;
    std::ofstream(path) << "here";
    return path;
}

static void remove(const places &at) {
    fs::remove_all(at.data);
    fs::remove(at.share / "pixmaps" / at.file);
    std::error_code ignored; // another test may have a file there just now
    if (!at.had_share && fs::remove(at.share / "pixmaps", ignored))
        fs::remove(at.share, ignored);
}

TEST(FileLocator, LooksIntoTheDataDirectoryBeforeTheOwnShareDirectory) {
    test_window::open_display();
    places at;
    start("app-datadir", at.data.c_str());
    EXPECT_EQ(locate(at.file, TRUE), "none");
    std::string in_share = put(at, at.share);
    EXPECT_EQ(locate(at.file, TRUE), in_share);
    std::string in_data = put(at, at.data);
    EXPECT_EQ(locate(at.file, TRUE), in_data);
    remove(at);
    EXPECT_EQ(locate(at.file, TRUE), "none");
}

TEST(FileLocator, LooksIntoTheSystemsDirectoryAtLast) {
    test_window::open_display();
    if (!fs::is_directory("/usr/share/pixmaps"))
        GTEST_SKIP() << "no pictures are installed";
    start("app-datadir", "/nowhere");
    for (const auto &entry : fs::directory_iterator("/usr/share/pixmaps")) {
        if (fs::exists("/usr/local/share/pixmaps" / entry.path().filename()))
            continue;
        EXPECT_EQ(locate(entry.path().filename(), TRUE), entry.path());
    }
}

TEST(FileLocator, GivesTheFirstPlaceForAFileThatNeedNotExist) {
    test_window::open_display();
    start("app-datadir", "/nowhere");
    EXPECT_EQ(locate("kestrel/none.ico", FALSE), "/nowhere/pixmaps/kestrel/none.ico");
    EXPECT_EQ(locate("kestrel/none.ico", TRUE), "none");
}

TEST(FileLocator, TakesAProgramThatIsNamed) {
    GnomeProgram other = {"other", "1", const_cast<char *>("/other")};
    char *path =
        gnome_program_locate_file(&other, GNOME_FILE_DOMAIN_APP_PIXMAP, "picture.png", FALSE, nullptr);
    EXPECT_STREQ(path, "/other/pixmaps/picture.png");
    g_free(path);
}

TEST(FileLocator, DoesWithoutADataDirectory) {
    GnomeProgram other = {"other", "1", nullptr};
    char *path =
        gnome_program_locate_file(&other, GNOME_FILE_DOMAIN_APP_PIXMAP, "picture.png", FALSE, nullptr);
    EXPECT_EQ(std::string(path), places().share / "pixmaps" / "picture.png");
    g_free(path);
}

// ---- Application bar

static unsigned count_of(GtkWidget *bar, GType type) {
    unsigned count = 0;
    for (GtkWidget *widget : widget_tree::all(bar))
        count += G_OBJECT_TYPE(widget) == type && gtk_widget_get_visible(widget) ? 1 : 0;
    return count;
}

static std::string status_of(GtkWidget *bar) { return gtk_label_get_text(widget_tree::labels_in(bar).at(0)); }

static GtkWidget *new_bar() {
    test_window::open_display();
    GtkWidget *bar = gnome_appbar_new(TRUE, TRUE, GNOME_PREFERENCES_NEVER);
    g_object_ref_sink(bar);
    return bar;
}

TEST(ApplicationBar, HasTheAreasThatAreAskedFor) {
    test_window::open_display();
    for (bool progress : {false, true})
        for (bool status : {false, true}) {
            GtkWidget *bar = gnome_appbar_new(progress, status, GNOME_PREFERENCES_NEVER);
            EXPECT_EQ(count_of(bar, GTK_TYPE_PROGRESS_BAR), progress ? 1u : 0u);
            EXPECT_EQ(count_of(bar, GTK_TYPE_LABEL), status ? 1u : 0u);
            EXPECT_EQ(count_of(bar, GTK_TYPE_ENTRY), 0u);
        }
}

TEST(ApplicationBar, OfTheWindowHasBothAreas) {
    test_window::open_display();
    test_window::take_warnings();
    GtkWidget *bar = widget_tree::registered(create_app1(), "appbar1");
    EXPECT_EQ(count_of(bar, GTK_TYPE_PROGRESS_BAR), 1u);
    EXPECT_EQ(count_of(bar, GTK_TYPE_LABEL), 1u);
    EXPECT_EQ(status_of(bar), "");
}

TEST(ApplicationBar, ShowsAndCountsWhatIsPushed) {
    GtkWidget *bar = new_bar();
    EXPECT_EQ(status_of(bar), "");
    EXPECT_EQ(gnome_appbar_push(bar, "first"), 1u);
    EXPECT_EQ(status_of(bar), "first");
    EXPECT_EQ(gnome_appbar_push(bar, "second"), 2u);
    EXPECT_EQ(status_of(bar), "second");
    EXPECT_EQ(gnome_appbar_push(bar, "second"), 3u);
    gtk_widget_destroy(bar);
    g_object_unref(bar);
}

TEST(ApplicationBar, ShowsAStatusUntilTheNextRefresh) {
    GtkWidget *bar = new_bar();
    gnome_appbar_set_status(bar, "early");
    EXPECT_EQ(status_of(bar), "early");
    gnome_appbar_refresh(bar);
    EXPECT_EQ(status_of(bar), "");
    gnome_appbar_push(bar, "Ready");
    gnome_appbar_set_status(bar, "hint");
    EXPECT_EQ(status_of(bar), "hint");
    gnome_appbar_refresh(bar);
    EXPECT_EQ(status_of(bar), "Ready");
    gtk_widget_destroy(bar);
    g_object_unref(bar);
}

TEST(ApplicationBar, KeepsACopyOfItsTexts) {
    GtkWidget *bar = new_bar();
    char text[] = "Ready";
    gnome_appbar_push(bar, text);
    text[0] = 'X';
    gnome_appbar_refresh(bar);
    EXPECT_EQ(status_of(bar), "Ready");
    gtk_widget_destroy(bar);
    g_object_unref(bar);
}

TEST(ApplicationBar, CountsOnWithoutAStatusArea) {
    test_window::open_display();
    GtkWidget *bar = gnome_appbar_new(TRUE, FALSE, GNOME_PREFERENCES_NEVER);
    gnome_appbar_set_status(bar, "nowhere");
    EXPECT_EQ(gnome_appbar_push(bar, "nowhere"), 1u);
    EXPECT_EQ(test_window::take_warnings(), std::vector<std::string>());
}

// ---- Application window: menu bar, contents, status bar, one below the other

static int top_of(GtkWidget *widget) {
    int x, y;
    gtk_widget_translate_coordinates(widget, gtk_widget_get_toplevel(widget), 0, 0, &x, &y);
    return y;
}

TEST(ApplicationWindow, StacksMenusContentsAndStatusBar) {
    test_window::open_display();
    GtkWidget *app = create_app1();
    gtk_widget_show(app);
    test_window::settle();
    GtkWidget *notebook = widget_tree::registered(app, "notebook1");
    GtkAllocation room;
    gtk_widget_get_allocation(notebook, &room);
    EXPECT_LT(top_of(widget_tree::registered(app, "file1")), top_of(notebook));
    EXPECT_GE(top_of(widget_tree::registered(app, "appbar1")), top_of(notebook) + room.height);
    EXPECT_GT(room.height, 500) << "the contents take what the bars leave of 600";
    EXPECT_EQ(room.width, 640);
    gtk_widget_hide(app);
}

// The toolkit takes the user's language when it starts; in many of them "12.10" would be "12,10".
TEST(ProgramInit, NumbersKeepTheirPoint) {
    setenv("LC_ALL", "C.UTF-8", 1);
    test_window::open_display();
    EXPECT_STREQ(setlocale(LC_MESSAGES, nullptr), "C.UTF-8");
    EXPECT_STREQ(setlocale(LC_NUMERIC, nullptr), "C");
}
