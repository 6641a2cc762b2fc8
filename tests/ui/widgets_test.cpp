// Finding widgets by name, loading pictures, the small helpers around texts.
#include "ui/widgets.h"

#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <string>
#include <unistd.h>
#include <vector>

#include "support/os_test.h"
#include "support/widget_tree.h"
#include "support/window.h"
#include "ui/desktop.h"
#include "ui/windows.h"

namespace fs = std::filesystem;

using widget_tree::registered;

static GtkWidget *new_app() {
    test_window::open_display();
    test_window::take_warnings();
    return create_app1();
}

using warnings = std::vector<std::string>;

// ---- Finding

TEST(LookupWidget, FindsFromEveryWidgetOfTheWindow) {
    GtkWidget *app = new_app();
    GtkWidget *notebook = registered(app, "notebook1");
    for (GtkWidget *widget : widget_tree::all(app))
        EXPECT_EQ(lookup_widget(widget, "notebook1"), notebook) << gtk_widget_get_name(widget);
    EXPECT_EQ(lookup_widget(app, "app1"), app);
    EXPECT_EQ(test_window::take_warnings(), warnings());
}

TEST(LookupWidget, FindsFromAMenuItemThroughTheMenusAbove) {
    GtkWidget *app = new_app();
    EXPECT_EQ(lookup_widget(registered(app, "voltage_charts1"), "curveVoltage59"),
              registered(app, "curveVoltage59"));
    EXPECT_EQ(lookup_widget(registered(app, "buttonItemsSave"), "about1"), registered(app, "about1"));
}

TEST(LookupWidget, FindsFromAPopUpMenuThroughTheWidgetItHangsOn) {
    GtkWidget *app = new_app();
    GtkWidget *menu = gtk_menu_new();
    GtkWidget *item = gtk_menu_item_new_with_label("Details");
    gtk_menu_shell_append(GTK_MENU_SHELL(menu), item);
    gtk_menu_attach_to_widget(GTK_MENU(menu), registered(app, "treeview1"), nullptr);
    EXPECT_EQ(lookup_widget(item, "entryPolling"), registered(app, "entryPolling"));
    EXPECT_EQ(lookup_widget(menu, "app1"), app);
}

TEST(LookupWidget, FindsThroughTheParentKeyWhereNoParentIs) {
    GtkWidget *app = new_app();
    GtkWidget *menu = gtk_menu_new(); // hangs on nothing; the toolkit's window around it is not a parent
    GtkWidget *item = gtk_menu_item_new_with_label("Details");
    gtk_menu_shell_append(GTK_MENU_SHELL(menu), item);
    g_object_set_data(G_OBJECT(menu), "GladeParentKey", registered(app, "vbox1"));
    EXPECT_EQ(lookup_widget(item, "entryPolling"), registered(app, "entryPolling"));
    GtkWidget *dialog = create_dialogInfo();
    g_object_set_data(G_OBJECT(dialog), "GladeParentKey", app);
    EXPECT_EQ(lookup_widget(registered(dialog, "okbuttonInfo"), "app1"), app);
}

// The key counts only where there is no parent.
TEST(LookupWidget, PrefersTheParentToTheParentKey) {
    GtkWidget *app = new_app();
    GtkWidget *dialog = create_dialogInfo();
    g_object_set_data(G_OBJECT(registered(dialog, "labelInfo")), "GladeParentKey", app);
    EXPECT_EQ(lookup_widget(registered(dialog, "labelInfo"), "okbuttonInfo"),
              registered(dialog, "okbuttonInfo"));
}

TEST(LookupWidget, WarnsOfAnUnknownName) {
    GtkWidget *app = new_app();
    EXPECT_EQ(lookup_widget(registered(app, "curveFan0"), "curveFan16"), nullptr);
    EXPECT_EQ(test_window::take_warnings(), warnings{"Widget not found: curveFan16"});
    EXPECT_EQ(lookup_widget(app, "curveFan00"), nullptr); // no leading zeros
    EXPECT_EQ(lookup_widget(app, "labelInfo"), nullptr);  // of another window
    EXPECT_EQ(test_window::take_warnings(),
              (warnings{"Widget not found: curveFan00", "Widget not found: labelInfo"}));
}

static void note_level(const char *, GLogLevelFlags level, const char *, gpointer noted) {
    *static_cast<int *>(noted) = level;
}

TEST(LookupWidget, LogsAtTheLevelOfWarnings) {
    GtkWidget *app = new_app();
    int level = 0;
    g_log_set_default_handler(note_level, &level);
    lookup_widget(app, "unknown");
    EXPECT_EQ(level & G_LOG_LEVEL_MASK, G_LOG_LEVEL_WARNING);
    test_window::open_display(); // its own handler again
}

TEST(LookupSlot, FindsTheMemberOfAFamily) {
    GtkWidget *app = new_app();
    EXPECT_EQ(slot_name("curveFan", 0), "curveFan0");
    EXPECT_EQ(slot_name("curveVoltage", 59), "curveVoltage59");
    EXPECT_EQ(lookup_slot(registered(app, "hbox1"), "curveFan", 15), registered(app, "curveFan15"));
}

// ---- Pictures

// A program whose pictures are below this directory.
static std::string start_with_pictures() {
    test_window::open_display();
    std::string directory = testing::TempDir() + "kestrel-pictures-" + std::to_string(getpid());
    fs::create_directories(directory + "/pixmaps/kestrel");
    gnome_program_init("kestrel", "2.87", libgnomeui_module_info_get(), 0, nullptr, "app-datadir",
                       directory.c_str(), nullptr);
    test_window::take_warnings();
    return directory;
}

static void put_icon(const std::string &directory) {
    fs::copy_file(KESTREL_ICON_FILE, directory + "/pixmaps/kestrel/test.ico",
                  fs::copy_options::overwrite_existing);
}

static bool is_empty_image(GtkWidget *image) {
    return GTK_IS_IMAGE(image) && gtk_image_get_storage_type(GTK_IMAGE(image)) == GTK_IMAGE_EMPTY;
}

TEST(CreatePixmap, GivesAnEmptyImageForNoName) {
    test_window::open_display();
    test_window::take_warnings();
    EXPECT_TRUE(is_empty_image(create_pixmap(nullptr, "")));
    EXPECT_TRUE(is_empty_image(create_pixmap(nullptr, nullptr)));
    EXPECT_EQ(test_window::take_warnings(), warnings());
}

TEST(CreatePixmap, WarnsOfAMissingFile) {
    std::string directory = start_with_pictures();
    EXPECT_TRUE(is_empty_image(create_pixmap(nullptr, "kestrel/missing.png")));
    EXPECT_EQ(test_window::take_warnings(), warnings{"Couldn't find pixmap file: kestrel/missing.png"});
    fs::remove_all(directory);
}

TEST(CreatePixmap, LoadsTheFile) {
    std::string directory = start_with_pictures();
    put_icon(directory);
    GtkWidget *image = create_pixmap(nullptr, "kestrel/test.ico");
    ASSERT_EQ(gtk_image_get_storage_type(GTK_IMAGE(image)), GTK_IMAGE_PIXBUF);
    EXPECT_EQ(gdk_pixbuf_get_width(gtk_image_get_pixbuf(GTK_IMAGE(image))), 128);
    EXPECT_EQ(test_window::take_warnings(), warnings());
    fs::remove_all(directory);
}

TEST(CreatePixbuf, GivesNullForNoNameWithoutAMessage) {
    test_window::open_display();
    test_window::take_warnings();
    std::string said = test_door::captured_stderr([] {
        EXPECT_EQ(create_pixbuf(""), nullptr);
        EXPECT_EQ(create_pixbuf(nullptr), nullptr);
    });
    EXPECT_EQ(said, "");
    EXPECT_EQ(test_window::take_warnings(), warnings());
}

TEST(CreatePixbuf, WarnsOfAMissingFile) {
    std::string directory = start_with_pictures();
    std::string said =
        test_door::captured_stderr([] { EXPECT_EQ(create_pixbuf("kestrel/missing.ico"), nullptr); });
    EXPECT_EQ(said, "");
    EXPECT_EQ(test_window::take_warnings(), warnings{"Couldn't find pixmap file: kestrel/missing.ico"});
    fs::remove_all(directory);
}

TEST(CreatePixbuf, TellsOfAFileThatIsNoPicture) {
    std::string directory = start_with_pictures();
    std::string path = directory + "/pixmaps/kestrel/test.ico";
    std::ofstream(path) << "no picture";
    GError *error = nullptr;
    EXPECT_EQ(gdk_pixbuf_new_from_file(path.c_str(), &error), nullptr);
    std::string said =
        test_door::captured_stderr([] { EXPECT_EQ(create_pixbuf("kestrel/test.ico"), nullptr); });
    EXPECT_EQ(said, "Failed to load pixbuf file: " + path + ": " + error->message + "\n");
    EXPECT_EQ(test_window::take_warnings(), warnings());
    g_error_free(error);
    fs::remove_all(directory);
}

TEST(CreatePixbuf, LoadsTheProgramsIcon) {
    test_window::open_display(); // its data directory is that of the sources
    test_window::take_warnings();
    GdkPixbuf *icon = create_pixbuf("kestrel/idr_main.ico");
    ASSERT_NE(icon, nullptr);
    EXPECT_EQ(gdk_pixbuf_get_width(icon), 128);
    EXPECT_EQ(gdk_pixbuf_get_height(icon), 128);
    EXPECT_EQ(test_window::take_warnings(), warnings());
    g_object_unref(icon);
}

// ---- Actions of an accessible object

struct described_actions {
    GObject object;
    char *descriptions[4];
};

static const char *const action_names[] = {"click", "press", "click", "clicked"};

static int count_actions(AtkAction *) { return 4; }

static const char *name_action(AtkAction *, int i) { return action_names[i]; }

static gboolean describe_action(AtkAction *action, int i, const char *description) {
    reinterpret_cast<described_actions *>(action)->descriptions[i] = g_strdup(description);
    return TRUE;
}

static void fill_interface(gpointer interface, gpointer) {
    auto *action = static_cast<AtkActionIface *>(interface);
    action->get_n_actions = count_actions;
    action->get_name = name_action;
    action->set_description = describe_action;
}

static AtkAction *new_actions() {
    static const GInterfaceInfo interface = {fill_interface, nullptr, nullptr};
    static const GType type =
        g_type_register_static_simple(G_TYPE_OBJECT, "DescribedActions", sizeof(GObjectClass), nullptr,
                                      sizeof(described_actions), nullptr, GTypeFlags{});
    static const bool added = (g_type_add_interface_static(type, ATK_TYPE_ACTION, &interface), true);
    return added ? static_cast<AtkAction *>(g_object_new(type, nullptr)) : nullptr;
}

TEST(ActionDescription, IsGivenToEveryActionOfTheName) {
    AtkAction *action = new_actions();
    glade_set_atk_action_description(action, "click", "presses the button");
    char *const *descriptions = reinterpret_cast<described_actions *>(action)->descriptions;
    EXPECT_STREQ(descriptions[0], "presses the button");
    EXPECT_STREQ(descriptions[1], nullptr);
    EXPECT_STREQ(descriptions[2], "presses the button");
    EXPECT_STREQ(descriptions[3], nullptr);
}

// ---- Fitting a text into its room

static int text_width(GtkWidget *label) {
    int width, height;
    pango_layout_get_pixel_size(gtk_label_get_layout(GTK_LABEL(label)), &width, &height);
    return width;
}

static GtkWidget *new_text() { return gtk_label_new("This system needs to be connected to a network."); }

TEST(FitText, LeavesATextThatFits) {
    test_window::open_display();
    GtkWidget *label = new_text();
    int width = text_width(label);
    fit_text(label, width);
    EXPECT_EQ(text_width(label), width);
}

TEST(FitText, WritesALongerTextSmallerAndNoSmallerThanNeeded) {
    test_window::open_display();
    GtkWidget *label = new_text();
    int room = text_width(label) * 92 / 100;
    fit_text(label, room);
    EXPECT_LE(text_width(label), room);
    EXPECT_GT(text_width(label), room * 90 / 100); // steps of 5 % of the font, drawn in whole pixels
}

TEST(FitText, KeepsATextLegible) {
    test_window::open_display();
    GtkWidget *label = new_text();
    int width = text_width(label);
    fit_text(label, 1);
    EXPECT_LT(text_width(label), width * 85 / 100);
    EXPECT_GT(text_width(label), width * 65 / 100);
}

TEST(FitText, GoesByTheWholeButton) {
    test_window::open_display();
    GtkWidget *button = gtk_button_new_with_label("Show Alert messages");
    GtkRequisition asked;
    gtk_widget_size_request(button, &asked);
    int room = asked.width - 10;
    gtk_widget_set_size_request(button, 150, 26);
    fit_text(button, room);
    int width, height;
    gtk_widget_get_size_request(button, &width, &height);
    EXPECT_EQ(width, 150) << "the size request stays";
    EXPECT_EQ(height, 26);
    gtk_widget_set_size_request(button, -1, -1);
    gtk_widget_size_request(button, &asked);
    EXPECT_LE(asked.width, room);
}

TEST(FitText, GoesByTheHeightThatIsAskedFor) {
    test_window::open_display();
    GtkWidget *label = new_text();
    EXPECT_EQ(fit_text(label, NATURAL), 100);
    gtk_widget_set_size_request(label, NATURAL, 12);
    fit_text(label, NATURAL);
    int width, height;
    pango_layout_get_pixel_size(gtk_label_get_layout(GTK_LABEL(label)), &width, &height);
    EXPECT_LE(height, 12 + 2);
    gtk_widget_set_size_request(label, NATURAL, NATURAL);
    EXPECT_EQ(fit_text(label, NATURAL), 100) << "it grows again";
}

TEST(FitText, ReachesTheTextBesideAPicture) {
    test_window::open_display();
    GtkWidget *button = gtk_button_new_from_stock(GTK_STOCK_GO_DOWN);
    GtkRequisition asked, smaller;
    gtk_widget_size_request(button, &asked);
    fit_text(button, asked.width - 8);
    gtk_widget_size_request(button, &smaller);
    EXPECT_LE(smaller.width, asked.width - 8);
}

static double scale_of(GtkWidget *label) {
    PangoAttrList *attributes = gtk_label_get_attributes(GTK_LABEL(label));
    if (attributes == nullptr)
        return 1;
    PangoAttrIterator *first = pango_attr_list_get_iterator(attributes);
    PangoAttribute *scale = pango_attr_iterator_get(first, PANGO_ATTR_SCALE);
    double value = reinterpret_cast<PangoAttrFloat *>(scale)->value;
    pango_attr_iterator_destroy(first);
    return value;
}

TEST(FitAlike, WritesAllAsSmallAsTheSmallest) {
    test_window::open_display();
    GtkWidget *wide = new_text();
    GtkWidget *narrow = gtk_label_new("Save");
    int room = text_width(wide) * 85 / 100;
    fit_alike({narrow, wide}, room);
    EXPECT_LE(text_width(wide), room);
    EXPECT_LT(scale_of(wide), 1);
    EXPECT_EQ(scale_of(narrow), scale_of(wide));
}

// ---- Showing

TEST(ShownText, ReplacesWhatIsNoUtf8) {
    EXPECT_EQ(shown_text("L\xC3\xBC"
                         "fter"),
              "L\xC3\xBC"
              "fter");
    EXPECT_EQ(shown_text("L\xFC"
                         "fter"),
              "L\xEF\xBF\xBD"
              "fter");
}

TEST(ShowLabel, SetsTheTextAndShowsTheLabel) {
    test_window::open_display();
    GtkWidget *label = gtk_label_new("before");
    show_label(label, "after");
    EXPECT_EQ(test_window::text_of(label), "after");
    EXPECT_TRUE(gtk_widget_get_visible(label));
    gtk_widget_hide(label);
    show_label(label, "after");
    EXPECT_TRUE(gtk_widget_get_visible(label));
}

TEST(ShowButton, SetsTheTextAndShowsTheButton) {
    test_window::open_display();
    for (GtkWidget *button : {gtk_button_new(), gtk_button_new_with_label("before")}) {
        show_button(button, "after");
        EXPECT_EQ(test_window::text_of(button), "after");
        EXPECT_TRUE(gtk_widget_get_visible(button));
    }
}

static std::string tooltip_of(GtkWidget *widget) {
    char *text = gtk_widget_get_tooltip_text(widget);
    std::string found = text != nullptr ? text : "none";
    g_free(text);
    return found;
}

static bool is_cut(GtkWidget *label) {
    GtkAllocation room = {0, 0, 120, 16};
    gtk_widget_size_allocate(label, &room);
    return pango_layout_is_ellipsized(gtk_label_get_layout(GTK_LABEL(label)));
}

TEST(ShowName, ShortensOnlyWhatCannotBeWrittenSmallEnough) {
    test_window::open_display();
    GtkWidget *label = gtk_label_new("");
    gtk_widget_set_size_request(label, 120, 16);
    static const struct {
        std::string name;
        bool cut;
    } rows[] = {
        {"Fan 1", false},
        {"Power Supply 1 Absence", false}, // 140 pixels or more of the default font
        {"A name of thirty-nine characters, no. 1", true},
        {"Fan 2", false},
    };
    for (const auto &row : rows) {
        show_name(label, row.name.c_str(), 120);
        EXPECT_EQ(is_cut(label), row.cut) << row.name;
        EXPECT_EQ(tooltip_of(label), row.cut ? row.name : "none");
        EXPECT_TRUE(gtk_widget_get_visible(label));
    }
}

// The numbers that tell them apart are at their ends.
TEST(ShowName, LeavesBothEndsOfALongName) {
    test_window::open_display();
    GtkWidget *label = gtk_label_new("");
    show_name(label, "The fan of the chassis in the back, no. 10", 100);
    EXPECT_EQ(gtk_label_get_ellipsize(GTK_LABEL(label)), PANGO_ELLIPSIZE_MIDDLE);
}

static int changes;

static void count_change(GtkEditable *, gpointer) { changes++; }

TEST(SetEntryQuietly, RaisesNoHandler) {
    test_window::open_display();
    GtkWidget *entry = gtk_entry_new();
    changes = 0;
    g_signal_connect(entry, "changed", G_CALLBACK(count_change), nullptr);
    set_entry_quietly(entry, "quiet");
    EXPECT_EQ(test_window::text_of(entry), "quiet");
    EXPECT_EQ(changes, 0);
    gtk_entry_set_text(GTK_ENTRY(entry), "");
    EXPECT_GT(changes, 0) << "heard again afterwards";
}

TEST(SetEntryQuietly, CutsAtWholeCharacters) {
    test_window::open_display();
    GtkWidget *entry = gtk_entry_new();
    gtk_entry_set_max_length(GTK_ENTRY(entry), 3);
    set_entry_quietly(entry, "a\xC3\xBC\xC3\xB6z");
    EXPECT_EQ(test_window::text_of(entry), "a\xC3\xBC\xC3\xB6");
    set_entry_quietly(entry, "abc");
    EXPECT_EQ(test_window::text_of(entry), "abc");
}

TEST(SetEntryQuietly, LeavesTheCursorInATextThatIsShown) {
    test_window::open_display();
    GtkWidget *entry = gtk_entry_new();
    gtk_entry_set_text(GTK_ENTRY(entry), "board");
    gtk_editable_set_position(GTK_EDITABLE(entry), 3);
    set_entry_quietly(entry, "board");
    EXPECT_EQ(gtk_editable_get_position(GTK_EDITABLE(entry)), 3);
}

TEST(SetShown, ShowsAndHides) {
    test_window::open_display();
    GtkWidget *label = gtk_label_new("");
    set_shown(label, true);
    EXPECT_TRUE(gtk_widget_get_visible(label));
    set_shown(label, false);
    EXPECT_FALSE(gtk_widget_get_visible(label));
}
