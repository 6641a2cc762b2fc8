// The menus: their order and texts, what choosing an item does, the hints in the status bar.
#include "ui/menu.h"

#include <gdk/gdkkeysyms.h>
#include <gtest/gtest.h>
#include <set>
#include <string>
#include <vector>

#include "support/widget_tree.h"
#include "support/window.h"
#include "ui/desktop.h"
#include "ui/windows.h"

using widget_tree::names_of_children;
using widget_tree::registered;

static GtkWidget *new_app() {
    test_window::open_display();
    test_window::take_warnings(); // of an earlier test
    return create_app1();
}

static GtkWidget *menu_of(GtkWidget *app, const char *item) {
    return gtk_menu_item_get_submenu(GTK_MENU_ITEM(registered(app, item)));
}

TEST(Menus, StandInTheirOrder) {
    GtkWidget *app = new_app();
    GtkWidget *bar = gtk_widget_get_parent(registered(app, "file1"));
    ASSERT_TRUE(GTK_IS_MENU_BAR(bar));
    EXPECT_TRUE(gtk_widget_get_visible(bar));
    EXPECT_EQ(names_of_children(bar), (std::vector<std::string>{"file1", "view1", "setup1", "help1"}));
    EXPECT_EQ(names_of_children(menu_of(app, "file1")), (std::vector<std::string>{"quit1"}));
    EXPECT_EQ(names_of_children(menu_of(app, "view1")),
              (std::vector<std::string>{"summary1", "separator4", "fan_speed_charts1", "voltage_charts1",
                                        "thermal_charts1"}));
    EXPECT_EQ(names_of_children(menu_of(app, "setup1")), (std::vector<std::string>{"items1", "alert1"}));
    EXPECT_EQ(names_of_children(menu_of(app, "help1")), (std::vector<std::string>{"about1"}));
}

static const struct {
    const char *item;
    const char *label; // an underscore before the letter that chooses the item
} labels[] = {
    {"file1", "_File"},
    {"view1", "_View"},
    {"setup1", "_Setup"},
    {"help1", "_Help"},
    {"summary1", "Summary"},
    {"fan_speed_charts1", "_Fan Speed Charts"},
    {"voltage_charts1", "_Voltage Charts"},
    {"thermal_charts1", "_Thermal Charts"},
    {"items1", "Ite_ms"},
    {"alert1", "_Alert"},
};

TEST(Menus, HaveTheirLabels) {
    GtkWidget *app = new_app();
    for (const auto &row : labels) {
        auto *item = GTK_MENU_ITEM(registered(app, row.item));
        EXPECT_STREQ(gtk_menu_item_get_label(item), row.label);
        EXPECT_TRUE(gtk_menu_item_get_use_underline(item)) << row.label;
    }
}

static void check_stock(GtkWidget *app, const char *name, const char *stock) {
    GtkWidget *item = registered(app, name);
    ASSERT_TRUE(GTK_IS_IMAGE_MENU_ITEM(item)) << name;
    EXPECT_TRUE(gtk_image_menu_item_get_use_stock(GTK_IMAGE_MENU_ITEM(item))) << name;
    EXPECT_STREQ(gtk_menu_item_get_label(GTK_MENU_ITEM(item)), stock) << name;
}

TEST(Menus, TakeQuitAndAboutFromStock) {
    GtkWidget *app = new_app();
    check_stock(app, "quit1", "gtk-quit");
    check_stock(app, "about1", "gtk-about");
}

// ---- Choosing an item

static const struct {
    const char *item;
    int page;
} page_items[] = {
    // Each from another page than its own.
    {"alert1", 5},          {"summary1", 0},        {"items1", 4},
    {"thermal_charts1", 3}, {"voltage_charts1", 2}, {"fan_speed_charts1", 1},
};

TEST(Menus, BringThePagesToTheTop) {
    GtkWidget *app = new_app();
    auto *notebook = GTK_NOTEBOOK(registered(app, "notebook1"));
    for (const auto &row : page_items) {
        gtk_menu_item_activate(GTK_MENU_ITEM(registered(app, row.item)));
        EXPECT_EQ(gtk_notebook_get_current_page(notebook), row.page) << row.item;
    }
    EXPECT_EQ(test_window::take_warnings(), std::vector<std::string>());
}

TEST(Menus, QuitEndsTheMainLoop) {
    GtkWidget *quit = registered(new_app(), "quit1");
    EXPECT_TRUE(widget_tree::ends_main_loop([quit] { gtk_menu_item_activate(GTK_MENU_ITEM(quit)); }));
}

TEST(Menus, QuitHasTheAcceleratorOfItsStockItem) {
    GtkWidget *app = new_app();
    gtk_widget_show(app);
    test_window::settle();
    GtkStockItem stock;
    ASSERT_TRUE(gtk_stock_lookup(GTK_STOCK_QUIT, &stock));
    ASSERT_EQ(stock.keyval, static_cast<guint>(GDK_q));
    EXPECT_TRUE(widget_tree::ends_main_loop(
        [app, stock] { gtk_accel_groups_activate(G_OBJECT(app), stock.keyval, stock.modifier); }));
    gtk_widget_hide(app);
}

static void count_one(gpointer count, GObject *) { ++*static_cast<unsigned *>(count); }

TEST(Menus, LeaveNoAcceleratorsBehind) {
    GtkWidget *app = new_app();
    GSList *groups = gtk_accel_groups_from_object(G_OBJECT(app));
    ASSERT_EQ(g_slist_length(groups), 1u);
    unsigned gone = 0;
    g_object_weak_ref(G_OBJECT(groups->data), count_one, &gone);
    widget_tree::destroy(app);
    EXPECT_EQ(gone, 1u);
}

TEST(Menus, AboutShowsTheOneAboutBox) {
    GtkWidget *app = new_app();
    myabout2 = create_about2();
    GtkWidget *box = myabout2;
    EXPECT_FALSE(gtk_widget_get_visible(box));
    gtk_menu_item_activate(GTK_MENU_ITEM(registered(app, "about1")));
    EXPECT_EQ(myabout2, box);
    EXPECT_TRUE(gtk_widget_get_visible(box));
    gtk_dialog_response(GTK_DIALOG(box), GTK_RESPONSE_CANCEL);
}

// ---- Hints

static std::string status_of(GtkWidget *app) {
    std::vector<GtkLabel *> found = widget_tree::labels_in(registered(app, "appbar1"));
    return found.size() == 1 ? gtk_label_get_text(found[0]) : "not one label";
}

static const char *const items[] = {
    "quit1",  "summary1", "fan_speed_charts1", "voltage_charts1", "thermal_charts1", "items1",
    "alert1", "about1",
};

TEST(MenuHints, StandInTheStatusBarWhileTheItemIsSelected) {
    GtkWidget *app = new_app();
    gnome_appbar_push(registered(app, "appbar1"), "Ready");
    std::set<std::string> hints = {"", "Ready", "not one label"};
    for (const char *item : items) {
        gtk_menu_item_select(GTK_MENU_ITEM(registered(app, item)));
        EXPECT_TRUE(hints.insert(status_of(app)).second) << item << " shows \"" << status_of(app) << '"';
        gtk_menu_item_deselect(GTK_MENU_ITEM(registered(app, item)));
        EXPECT_EQ(status_of(app), "Ready") << item;
    }
}

TEST(MenuHints, AreNotGivenByASeparator) {
    GtkWidget *app = new_app();
    gnome_appbar_push(registered(app, "appbar1"), "Ready");
    gtk_menu_item_select(GTK_MENU_ITEM(registered(app, "separator4")));
    EXPECT_EQ(status_of(app), "Ready");
}

// Two windows would be built from the same tables, one after the other.
TEST(MenuHints, OfASecondWindowStandInItsOwnBar) {
    GtkWidget *first = new_app();
    GtkWidget *second = create_app1();
    gtk_menu_item_select(GTK_MENU_ITEM(registered(second, "quit1")));
    EXPECT_NE(status_of(second), "");
    EXPECT_EQ(status_of(first), "");
}
