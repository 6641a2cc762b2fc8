// How the about box, the information dialogs and the windows live: shown, closed, forgotten, built again.
#include "ui/windows.h"

#include <algorithm>
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
#include "ui/handlers.h"

using widget_tree::registered;

static void count_one(gpointer count, GObject *) { ++*static_cast<unsigned *>(count); }

static void show(GtkWidget *window) {
    gtk_widget_show(window);
    test_window::settle();
}

// ---- About box: what it says

static GtkAboutDialog *new_about() {
    test_window::open_display();
    return GTK_ABOUT_DIALOG(create_about2());
}

static bool is_empty(const char *text) { return text == nullptr || text[0] == '\0'; }

TEST(AboutBox, NamesTheProgramAndItsVersion) {
    GtkAboutDialog *about = new_about();
    EXPECT_STREQ(gtk_widget_get_name(GTK_WIDGET(about)), "about2");
    EXPECT_STREQ(gtk_about_dialog_get_program_name(about), "Kestrel II");
    EXPECT_STREQ(gtk_about_dialog_get_version(about), "2.87");
    EXPECT_TRUE(is_empty(gtk_about_dialog_get_comments(about)));
    EXPECT_TRUE(is_empty(gtk_about_dialog_get_translator_credits(about)));
    EXPECT_FALSE(gtk_widget_get_visible(GTK_WIDGET(about)));
}

TEST(AboutBox, NamesTheMakerAndItsWebAddress) {
    GtkAboutDialog *about = new_about();
    const char *const *authors = gtk_about_dialog_get_authors(about);
    ASSERT_NE(authors, nullptr);
    ASSERT_EQ(g_strv_length(const_cast<char **>(authors)), 2u);
    EXPECT_EQ(std::string(authors[1]).rfind("http", 0), 0u) << authors[1];
    std::string copyright = gtk_about_dialog_get_copyright(about);
    EXPECT_EQ(std::count(copyright.begin(), copyright.end(), '\n'), 2) << "three lines";
    EXPECT_NE(copyright.find(authors[0]), std::string::npos) << copyright;
    const char *const *documenters = gtk_about_dialog_get_documenters(about);
    EXPECT_TRUE(documenters == nullptr || documenters[0] == nullptr);
}

static std::string pixels_of(GdkPixbuf *picture) {
    if (picture == nullptr)
        return "no picture";
    return std::string(reinterpret_cast<const char *>(gdk_pixbuf_get_pixels(picture)),
                       gdk_pixbuf_get_byte_length(picture));
}

TEST(AboutBox, ShowsTheIconAsItsLogoAndAsTheWindows) {
    GtkAboutDialog *about = new_about();
    GdkPixbuf *icon = gdk_pixbuf_new_from_file(KESTREL_ICON_FILE, nullptr);
    ASSERT_NE(icon, nullptr);
    EXPECT_TRUE(pixels_of(gtk_about_dialog_get_logo(about)) == pixels_of(icon));
    EXPECT_TRUE(pixels_of(gtk_window_get_icon(GTK_WINDOW(about))) == pixels_of(icon));
    g_object_unref(icon);
}

TEST(AboutBox, GivesItsIconToTheOtherWindows) {
    new_about();
    GList *icons = gtk_window_get_default_icon_list();
    ASSERT_EQ(g_list_length(icons), 1u);
    EXPECT_EQ(gdk_pixbuf_get_width(static_cast<GdkPixbuf *>(icons->data)), 128);
    g_list_free(icons);
}

// The program runs as root, and a browser should not. The address is of a kind that no program opens.
TEST(AboutBox, OpensNoBrowser) {
    GtkAboutDialog *about = new_about();
    GList *before = gtk_window_list_toplevels();
    gboolean handled = FALSE;
    g_signal_emit_by_name(about, "activate-link", "kestrel-test:nowhere", &handled);
    GList *after = gtk_window_list_toplevels();
    EXPECT_TRUE(handled);
    EXPECT_EQ(g_list_length(after), g_list_length(before)) << "nor is there a message that it failed";
    g_list_free(before);
    g_list_free(after);
}

// Neither is held by anyone once the box is gone and the next one is there.
TEST(AboutBox, ReleasesItsPictures) {
    GtkAboutDialog *about = new_about();
    unsigned gone = 0;
    g_object_weak_ref(G_OBJECT(gtk_about_dialog_get_logo(about)), count_one, &gone);
    g_object_weak_ref(G_OBJECT(gtk_window_get_icon(GTK_WINDOW(about))), count_one, &gone);
    gtk_widget_destroy(GTK_WIDGET(about));
    gtk_widget_destroy(GTK_WIDGET(new_about()));
    EXPECT_EQ(gone, 2u);
}

// A program whose data is in this directory; the own "share" directory of the tests has no icon.
static void start_with_data_in(const std::string &directory) {
    test_window::open_display();
    gnome_program_init("kestrel", "2.87", libgnomeui_module_info_get(), 0, nullptr, "app-datadir",
                       directory.c_str(), nullptr);
    gtk_window_set_default_icon_list(nullptr);
    test_window::take_warnings();
}

TEST(AboutBox, IsBuiltWithoutPicturesWhenThereIsNoIcon) {
    for (const char *share : {"/usr/local/share", "/usr/share"})
        if (std::filesystem::exists(std::string(share) + "/pixmaps/kestrel/idr_main.ico"))
            GTEST_SKIP() << "an icon is installed in " << share;
    start_with_data_in("/nowhere");
    GtkWidget *about = create_about2();
    EXPECT_EQ(gtk_about_dialog_get_logo(GTK_ABOUT_DIALOG(about)), nullptr);
    EXPECT_EQ(gtk_window_get_icon(GTK_WINDOW(about)), nullptr);
    EXPECT_EQ(test_window::take_warnings(),
              (std::vector<std::string>{"Couldn't find pixmap file: kestrel/idr_main.ico",
                                        "Couldn't find pixmap file: kestrel/idr_main.ico"}));
}

TEST(AboutBox, IsBuiltWithoutPicturesWhenTheIconIsNone) {
    std::string directory = testing::TempDir() + "kestrel-no-icon-" + std::to_string(getpid());
    std::string path = directory + "/pixmaps/kestrel/idr_main.ico";
    std::filesystem::create_directories(directory + "/pixmaps/kestrel");
    std::ofstream(path) << "no picture";
    start_with_data_in(directory);
    GtkWidget *about = nullptr;
    std::string said = test_door::captured_stderr([&about] { about = create_about2(); });
    std::filesystem::remove_all(directory);
    EXPECT_EQ(gtk_about_dialog_get_logo(GTK_ABOUT_DIALOG(about)), nullptr);
    EXPECT_EQ(gtk_window_get_icon(GTK_WINDOW(about)), nullptr);
    std::string line = "Failed to load pixbuf file: " + path + ": ";
    EXPECT_EQ(said.rfind(line, 0), 0u) << said;
    EXPECT_EQ(std::count(said.begin(), said.end(), '\n'), 2) << "once for each picture: " << said;
    EXPECT_EQ(test_window::take_warnings(), std::vector<std::string>());
}

// ---- About box: its life

static GtkWidget *show_about() {
    test_window::open_display();
    myabout2 = nullptr;
    on_about1_activate(nullptr, nullptr);
    return myabout2;
}

// As the information dialogs do: the window manager would keep those below a box that belongs to no window.
TEST(AboutBox, StaysAboveTheApplicationWindow) {
    test_window::open_display();
    myapp1 = create_app1();
    GtkWidget *about = create_about2();
    EXPECT_EQ(gtk_window_get_transient_for(GTK_WINDOW(about)), GTK_WINDOW(myapp1));
    gtk_widget_destroy(about);
}

TEST(AboutBox, IsForgottenAndDestroyedByEveryNegativeResponse) {
    static const int responses[] = {GTK_RESPONSE_CANCEL, GTK_RESPONSE_DELETE_EVENT, GTK_RESPONSE_CLOSE, -1};
    for (int response : responses) {
        GtkWidget *about = show_about();
        ASSERT_NE(about, nullptr);
        unsigned gone = 0;
        g_object_weak_ref(G_OBJECT(about), count_one, &gone);
        gtk_dialog_response(GTK_DIALOG(about), response);
        EXPECT_EQ(myabout2, nullptr) << response;
        EXPECT_EQ(gone, 1u) << response;
    }
}

TEST(AboutBox, IsForgottenAndDestroyedWhenItsWindowIsClosed) {
    GtkWidget *about = show_about();
    test_window::settle();
    unsigned gone = 0;
    g_object_weak_ref(G_OBJECT(about), count_one, &gone);
    widget_tree::close(about);
    EXPECT_EQ(myabout2, nullptr);
    EXPECT_EQ(gone, 1u);
    EXPECT_EQ(test_window::take_warnings(), std::vector<std::string>());
}

TEST(AboutBox, StaysAfterAnyOtherResponse) {
    GtkWidget *about = show_about();
    for (int response : {0, 1, 2}) { // the buttons of the credits and the licence have such numbers
        g_signal_emit_by_name(about, "response", response);
        EXPECT_EQ(myabout2, about) << response;
        EXPECT_TRUE(gtk_widget_get_visible(about)) << response;
    }
    gtk_dialog_response(GTK_DIALOG(about), GTK_RESPONSE_CANCEL);
}

TEST(AboutBox, IsBuiltAnewAfterItWasClosed) {
    GtkWidget *first = show_about();
    g_object_ref(first); // its address is not used again
    gtk_dialog_response(GTK_DIALOG(first), GTK_RESPONSE_CANCEL);
    on_about1_activate(nullptr, nullptr);
    ASSERT_NE(myabout2, nullptr);
    EXPECT_NE(myabout2, first);
    EXPECT_TRUE(gtk_widget_get_visible(myabout2));
    gtk_dialog_response(GTK_DIALOG(myabout2), GTK_RESPONSE_CANCEL);
    g_object_unref(first);
}

// ---- Information dialogs

static std::string message_of(GtkWidget *dialog) {
    return gtk_label_get_text(GTK_LABEL(registered(dialog, "labelInfo")));
}

TEST(InfoDialog, ShowsItsMessage) {
    test_window::open_display();
    GtkWidget *dialog = show_info("Configuration has been saved.");
    EXPECT_TRUE(gtk_widget_get_visible(dialog));
    EXPECT_EQ(message_of(dialog), "Configuration has been saved.");
    EXPECT_STREQ(gtk_window_get_title(GTK_WINDOW(dialog)), "Information / Warning");
    gtk_widget_hide(dialog);
}

TEST(InfoDialog, IsOneOfItsOwnForEachMessage) {
    test_window::open_display();
    GtkWidget *first = show_info("first");
    GtkWidget *second = show_info("second");
    ASSERT_NE(first, second);
    EXPECT_EQ(message_of(first), "first");
    EXPECT_EQ(message_of(second), "second");
    gtk_button_clicked(GTK_BUTTON(registered(first, "okbuttonInfo")));
    EXPECT_FALSE(gtk_widget_get_visible(first));
    EXPECT_TRUE(gtk_widget_get_visible(second));
    gtk_widget_hide(second);
}

TEST(InfoDialog, StaysAboveTheApplicationWindow) {
    test_window::open_display();
    myapp1 = create_app1();
    GtkWidget *dialog = show_info("above");
    EXPECT_EQ(gtk_window_get_transient_for(GTK_WINDOW(dialog)), GTK_WINDOW(myapp1));
    gtk_widget_hide(dialog);
}

TEST(InfoDialog, IsHiddenAndKeptWhenConfirmed) {
    test_window::open_display();
    GtkWidget *dialog = show_info("to be confirmed");
    unsigned gone = 0;
    g_object_weak_ref(G_OBJECT(dialog), count_one, &gone);
    test_window::settle();
    gtk_button_clicked(GTK_BUTTON(registered(dialog, "okbuttonInfo")));
    test_window::settle();
    EXPECT_FALSE(gtk_widget_get_visible(dialog));
    EXPECT_EQ(gone, 0u);
    EXPECT_EQ(message_of(dialog), "to be confirmed");
}

TEST(InfoDialog, IsHiddenAndKeptWhenItsWindowIsClosed) {
    test_window::open_display();
    GtkWidget *dialog = show_info("to be closed");
    unsigned gone = 0;
    g_object_weak_ref(G_OBJECT(dialog), count_one, &gone);
    test_window::settle();
    widget_tree::close(dialog);
    test_window::settle();
    EXPECT_FALSE(gtk_widget_get_visible(dialog));
    EXPECT_EQ(gone, 0u);
}

TEST(InfoDialog, IsShownInTheSizeThatItsBoxAsksFor) {
    test_window::open_display();
    GtkWidget *dialog = create_dialogInfo();
    show(dialog);
    GtkAllocation box;
    gtk_widget_get_allocation(registered(dialog, "dialog_vboxInfo"), &box);
    EXPECT_GE(box.width, 260);
    EXPECT_GE(box.height, 80);
    gtk_widget_hide(dialog);
}

// ---- Alert window

TEST(AlertWindow, IsHiddenAndKeptWhenItIsClosed) {
    test_window::open_display();
    GtkWidget *window = create_windowAlertMessage();
    unsigned gone = 0;
    g_object_weak_ref(G_OBJECT(window), count_one, &gone);
    show(window);
    widget_tree::close(window);
    test_window::settle();
    EXPECT_FALSE(gtk_widget_get_visible(window));
    EXPECT_EQ(gone, 0u);
    show(window);
    EXPECT_TRUE(gtk_widget_get_visible(registered(window, "labelAlertMsg")));
    gtk_widget_hide(window);
}

// It comes up by itself: what the user types goes where it went before.
TEST(AlertWindow, DoesNotTakeTheKeyboard) {
    test_window::open_display();
    EXPECT_FALSE(gtk_window_get_focus_on_map(GTK_WINDOW(create_windowAlertMessage())));
}

// ---- Application window

TEST(AppWindow, EndsTheMainLoopWhenItIsClosed) {
    test_window::open_display();
    GtkWidget *app = create_app1();
    show(app);
    unsigned gone = 0;
    g_object_weak_ref(G_OBJECT(app), count_one, &gone);
    EXPECT_TRUE(widget_tree::ends_main_loop([app] { widget_tree::close(app); }));
    EXPECT_EQ(gone, 1u);
}
