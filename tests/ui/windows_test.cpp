// The widgets of the four windows: what they are, where they are, how large they are, what they show.
#include "ui/windows.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <iterator>
#include <set>
#include <string>
#include <vector>

#include "support/widget_tree.h"
#include "support/window.h"

using widget_tree::registered;

static constexpr int UNSET = -1; // a side that is left to the widget

struct widget_row {
    const char *name;
    GType (*type)();
    const char *parent;
    int width;
    int height;
    const char *text = nullptr; // of a label, a button, an entry; nullptr for all others
};

// All of the application window that is neither made by the desktop library nor one of a family.
static const widget_row app_rows[] = {
    {"notebook1", gtk_notebook_get_type, "bonobodock1", UNSET, UNSET},

    {"labelSummary", gtk_label_get_type, "notebook1", 70, 16, "Summary"},
    {"scrolledwindowSummary", gtk_scrolled_window_get_type, "notebook1", UNSET, UNSET},
    {"viewportSummary", gtk_viewport_get_type, "scrolledwindowSummary", UNSET, UNSET},
    {"vboxSummary", gtk_vbox_get_type, "viewportSummary", UNSET, UNSET},
    {"tableSummaryFan", gtk_table_get_type, "vboxSummary", UNSET, UNSET},
    {"labelSummaryFan", gtk_label_get_type, "tableSummaryFan", 120, 32, "FAN(S)"},
    {"imageSummaryFan", gtk_image_get_type, "tableSummaryFan", 32, 32},
    {"hseparatorSummaryFan", gtk_hseparator_get_type, "vboxSummary", UNSET, UNSET},
    {"tableSummaryVoltage", gtk_table_get_type, "vboxSummary", UNSET, UNSET},
    {"labelSummaryVoltage", gtk_label_get_type, "tableSummaryVoltage", 120, 32, "VOLTAGE(S)"},
    {"imageSummaryVoltage", gtk_image_get_type, "tableSummaryVoltage", 32, 32},
    {"hseparatorSummaryVoltage", gtk_hseparator_get_type, "vboxSummary", UNSET, UNSET},
    {"tableSummaryThermal", gtk_table_get_type, "vboxSummary", UNSET, UNSET},
    {"labelSummaryThermal", gtk_label_get_type, "tableSummaryThermal", 120, 32, "TEMPERATURE(S)"},
    {"imageSummaryThermal", gtk_image_get_type, "tableSummaryThermal", 32, 32},
    {"hseparatorSummaryThermal", gtk_hseparator_get_type, "vboxSummary", UNSET, UNSET},
    {"tableSummaryStatus", gtk_table_get_type, "vboxSummary", UNSET, UNSET},
    {"labelSummaryStatus", gtk_label_get_type, "tableSummaryStatus", 120, 32, "STATUS(ES)"},
    {"imageSummaryStatus", gtk_image_get_type, "tableSummaryStatus", 32, 32},

    {"labelFan", gtk_label_get_type, "notebook1", 70, 16, "Fan"},
    {"scrolledwindowFan", gtk_scrolled_window_get_type, "notebook1", UNSET, UNSET},
    {"viewportFan", gtk_viewport_get_type, "scrolledwindowFan", UNSET, UNSET},
    {"tableFan", gtk_table_get_type, "viewportFan", UNSET, UNSET},

    {"labelVoltage", gtk_label_get_type, "notebook1", 70, 16, "Voltage"},
    {"scrolledwindowVoltage", gtk_scrolled_window_get_type, "notebook1", UNSET, UNSET},
    {"viewportVoltage", gtk_viewport_get_type, "scrolledwindowVoltage", UNSET, UNSET},
    {"tableVoltage", gtk_table_get_type, "viewportVoltage", UNSET, UNSET},

    {"labelThermal", gtk_label_get_type, "notebook1", 70, 16, "Thermal"},
    {"scrolledwindowThermal", gtk_scrolled_window_get_type, "notebook1", UNSET, UNSET},
    {"viewport4", gtk_viewport_get_type, "scrolledwindowThermal", UNSET, UNSET},
    {"tableThermal", gtk_table_get_type, "viewport4", UNSET, UNSET},

    {"labelItems", gtk_label_get_type, "notebook1", 70, 16, "Items"},
    {"scrolledwindowItems", gtk_scrolled_window_get_type, "notebook1", UNSET, UNSET},
    {"viewport5", gtk_viewport_get_type, "scrolledwindowItems", 500, 130},
    {"vbox1", gtk_vbox_get_type, "viewport5", 500, 130},
    {"hbox1", gtk_hbox_get_type, "vbox1", 500, 32},
    {"label1", gtk_label_get_type, "hbox1", 110, 16, "Polling Interval:"},
    {"entryPolling", gtk_entry_get_type, "hbox1", 40, 24, ""},
    {"label2", gtk_label_get_type, "hbox1", 70, 16, "Seconds"},
    {"label3", gtk_label_get_type, "hbox1", 100, 16, ""},
    {"buttonSelectAll", gtk_button_get_type, "hbox1", 90, 26, "Select All"},
    {"buttonUnselectAll", gtk_button_get_type, "hbox1", 90, 26, "Unselect All"},
    {"buttonItemsSave", gtk_button_get_type, "hbox1", 60, 26, "Save"},
    {"scrolledwindow1", gtk_scrolled_window_get_type, "vbox1", 500, 400},
    {"treeview1", gtk_tree_view_get_type, "scrolledwindow1", UNSET, UNSET},

    {"labelAlert", gtk_label_get_type, "notebook1", 70, 16, "Alert"},
    {"scrolledwindowAlert", gtk_scrolled_window_get_type, "notebook1", UNSET, UNSET},
    {"viewport6", gtk_viewport_get_type, "scrolledwindowAlert", UNSET, UNSET},
    {"vbox2", gtk_vbox_get_type, "viewport6", UNSET, UNSET},
    {"hbox2", gtk_hbox_get_type, "vbox2", 600, 32},
    {"labelNameForThisSystem", gtk_label_get_type, "hbox2", 150, 16, "Name for this system:"},
    {"entryMachineName", gtk_entry_get_type, "hbox2", 220, 24, ""},
    {"label5", gtk_label_get_type, "hbox2", 30, 26, ""},
    {"buttonMailTest", gtk_button_get_type, "hbox2", 100, 26, "E-mail Test"},
    {"buttonAlertSave", gtk_button_get_type, "hbox2", 60, 26, "Save"},
    {"hseparator1", gtk_hseparator_get_type, "vbox2", UNSET, UNSET},
    {"table8", gtk_table_get_type, "vbox2", UNSET, UNSET},
    {"checkbuttonMailAlert", gtk_check_button_get_type, "table8", 100, 20, "E-mail Alert"},
    {"labelInOrderTo", gtk_label_get_type, "table8", 500, 20,
     "* In order to send alerts by e-mail, this system needs to be connected to a network."},
    {"label7", gtk_label_get_type, "table8", 100, 16, "Recipients:"},
    {"entryRecipientMailbox", gtk_entry_get_type, "table8", 500, 24, ""},
    {"hseparator2", gtk_hseparator_get_type, "vbox2", UNSET, UNSET},
    {"hbox3", gtk_hbox_get_type, "vbox2", 198, 32},
    {"buttonShowAlertMessage", gtk_button_get_type, "hbox3", 150, 26, "Show Alert messages"},
};

static const widget_row info_rows[] = {
    {"dialog_vboxInfo", gtk_vbox_get_type, "dialogInfo", 260, 80},
    {"labelInfo", gtk_label_get_type, "dialog_vboxInfo", UNSET, UNSET, "Information / Warning"},
    {"dialog_action_areaInfo", gtk_hbutton_box_get_type, "dialog_vboxInfo", UNSET, UNSET},
    {"okbuttonInfo", gtk_button_get_type, "dialog_action_areaInfo", UNSET, UNSET, "gtk-ok"},
};

static const widget_row alert_rows[] = {
    {"vbox3", gtk_vbox_get_type, "windowAlertMessage", 320, 220},
    {"scrolledwindow2", gtk_scrolled_window_get_type, "vbox3", UNSET, UNSET},
    {"viewport7", gtk_viewport_get_type, "scrolledwindow2", UNSET, UNSET},
    {"labelAlertMsg", gtk_label_get_type, "viewport7", UNSET, UNSET, ""},
    {"table9", gtk_table_get_type, "vbox3", 318, 76},
    {"labelIndexCount", gtk_label_get_type, "table9", 26, 16, "0 / 0"},
    {"buttonUp", gtk_button_get_type, "table9", 90, 30, "gtk-go-up"},
    {"buttonAcknowledge", gtk_button_get_type, "table9", 90, 30, "Acknowledge"},
    {"buttonDismiss", gtk_button_get_type, "table9", 90, 30, "Dismiss"},
    {"buttonDown", gtk_button_get_type, "table9", 90, 30, "gtk-go-down"},
};

// ---- Families: a name and an index

struct family_row {
    const char *prefix;
    unsigned count;
    GType (*type)();
    const char *table;
    int width;
    int height;
};

static const family_row summary_families[] = {
    {"buttonSummaryFan", 16, gtk_button_get_type, "tableSummaryFan", 120, 26},
    {"labelSummaryFan", 16, gtk_label_get_type, "tableSummaryFan", 120, 16},
    {"buttonSummaryVoltage", 60, gtk_button_get_type, "tableSummaryVoltage", 120, 26},
    {"labelSummaryVoltage", 60, gtk_label_get_type, "tableSummaryVoltage", 120, 16},
    {"buttonSummaryThermal", 16, gtk_button_get_type, "tableSummaryThermal", 120, 26},
    {"labelSummaryThermal", 16, gtk_label_get_type, "tableSummaryThermal", 120, 16},
    {"buttonSummaryStatus", 16, gtk_button_get_type, "tableSummaryStatus", 120, 26},
    {"labelSummaryStatus", 16, gtk_label_get_type, "tableSummaryStatus", 120, 16},
};

static const family_row chart_families[] = {
    {"labelFan", 16, gtk_label_get_type, "tableFan", 500, 32},
    {"imageFan", 16, gtk_image_get_type, "tableFan", 100, 32},
    {"curveFan", 16, gtk_curve_get_type, "tableFan", 600, 100},
    {"labelFanLimit", 16, gtk_label_get_type, "tableFan", 500, 16},
    {"labelFanReading", 16, gtk_label_get_type, "tableFan", 100, 16},
    {"hseparatorFan", 16, gtk_hseparator_get_type, "tableFan", UNSET, UNSET},
    {"labelVoltage", 60, gtk_label_get_type, "tableVoltage", 500, 32},
    {"imageVoltage", 60, gtk_image_get_type, "tableVoltage", 100, 32},
    {"curveVoltage", 60, gtk_curve_get_type, "tableVoltage", 600, 100},
    {"labelVoltageLimit", 60, gtk_label_get_type, "tableVoltage", 500, 16},
    {"labelVoltageReading", 60, gtk_label_get_type, "tableVoltage", 100, 16},
    {"hseparatorVoltage", 60, gtk_hseparator_get_type, "tableVoltage", UNSET, UNSET},
    {"labelThermal", 16, gtk_label_get_type, "tableThermal", 500, 32},
    {"imageThermal", 16, gtk_image_get_type, "tableThermal", 100, 32},
    {"curveThermal", 16, gtk_curve_get_type, "tableThermal", 600, 100},
    {"labelThermalLimit", 16, gtk_label_get_type, "tableThermal", 500, 16},
    {"labelThermalReading", 16, gtk_label_get_type, "tableThermal", 100, 16},
    {"hseparatorThermal", 16, gtk_hseparator_get_type, "tableThermal", UNSET, UNSET},
};

// Widgets that the desktop library makes: what they are in more detail is its own affair.
static const widget_row framework_rows[] = {
    {"bonobodock1", gtk_container_get_type, "app1", UNSET, UNSET},
    {"file1", gtk_menu_item_get_type, "bonobodock1", UNSET, UNSET},
    {"quit1", gtk_image_menu_item_get_type, "file1", UNSET, UNSET},
    {"view1", gtk_menu_item_get_type, "bonobodock1", UNSET, UNSET},
    {"summary1", gtk_menu_item_get_type, "view1", UNSET, UNSET},
    {"separator4", gtk_separator_menu_item_get_type, "view1", UNSET, UNSET},
    {"fan_speed_charts1", gtk_menu_item_get_type, "view1", UNSET, UNSET},
    {"voltage_charts1", gtk_menu_item_get_type, "view1", UNSET, UNSET},
    {"thermal_charts1", gtk_menu_item_get_type, "view1", UNSET, UNSET},
    {"setup1", gtk_menu_item_get_type, "bonobodock1", UNSET, UNSET},
    {"items1", gtk_menu_item_get_type, "setup1", UNSET, UNSET},
    {"alert1", gtk_menu_item_get_type, "setup1", UNSET, UNSET},
    {"help1", gtk_menu_item_get_type, "bonobodock1", UNSET, UNSET},
    {"about1", gtk_image_menu_item_get_type, "help1", UNSET, UNSET},
    {"appbar1", gtk_hbox_get_type, "app1", UNSET, UNSET},
};

static std::string member_name(const family_row &family, unsigned member) {
    return family.prefix + std::to_string(member);
}

static void add_members(std::set<std::string> *names, const family_row &family) {
    for (unsigned member = 0; member < family.count; member++)
        names->insert(member_name(family, member));
}

static std::set<std::string> app_names() {
    std::set<std::string> names = {"app1"};
    for (const widget_row &row : framework_rows)
        names.insert(row.name);
    for (const widget_row &row : app_rows)
        names.insert(row.name);
    for (const family_row &family : summary_families)
        add_members(&names, family);
    for (const family_row &family : chart_families)
        add_members(&names, family);
    return names;
}

template <size_t N> static std::set<std::string> names_of(const char *window, const widget_row (&rows)[N]) {
    std::set<std::string> names = {window};
    for (const widget_row &row : rows)
        names.insert(row.name);
    return names;
}

// ---- One widget

static std::string shown_by(GtkWidget *widget) {
    return GTK_IS_LABEL(widget) || GTK_IS_BUTTON(widget) || GTK_IS_ENTRY(widget)
               ? test_window::text_of(widget)
               : "";
}

static void check_size(GtkWidget *widget, int width, int height) {
    int asked_width, asked_height;
    gtk_widget_get_size_request(widget, &asked_width, &asked_height);
    EXPECT_EQ(asked_width, width) << gtk_widget_get_name(widget);
    EXPECT_EQ(asked_height, height) << gtk_widget_get_name(widget);
}

static void check_widget(GtkWidget *window, const std::string &name, GType type, const char *parent) {
    GtkWidget *widget = registered(window, name);
    ASSERT_NE(widget, nullptr) << name;
    EXPECT_STREQ(g_type_name(G_OBJECT_TYPE(widget)), g_type_name(type)) << name;
    EXPECT_EQ(gtk_widget_get_parent(widget), registered(window, parent)) << name;
    EXPECT_EQ(gtk_widget_get_name(widget), name);
}

template <size_t N> static void check_rows(GtkWidget *window, const widget_row (&rows)[N]) {
    for (const widget_row &row : rows) {
        check_widget(window, row.name, row.type(), row.parent);
        GtkWidget *widget = registered(window, row.name);
        check_size(widget, row.width, row.height);
        EXPECT_EQ(shown_by(widget), row.text != nullptr ? row.text : "") << row.name;
    }
}

static void check_family(GtkWidget *window, const family_row &family) {
    for (unsigned member = 0; member < family.count; member++) {
        std::string name = member_name(family, member);
        check_widget(window, name, family.type(), family.table);
        GtkWidget *widget = registered(window, name);
        check_size(widget, family.width, family.height);
        bool has_text = GTK_IS_LABEL(widget) || GTK_IS_BUTTON(widget);
        EXPECT_EQ(shown_by(widget), has_text ? name : "") << name;
    }
}

static GtkWidget *new_app() {
    test_window::open_display();
    test_window::take_warnings(); // of an earlier test
    return create_app1();
}

static GtkWidget *new_alert_window() {
    test_window::open_display();
    return create_windowAlertMessage();
}

static GtkWidget *new_info_dialog() {
    test_window::open_display();
    return create_dialogInfo();
}

TEST(AppWindow, HasEveryWidgetWithItsKindPlaceSizeAndText) {
    GtkWidget *app = new_app();
    check_rows(app, app_rows);
    EXPECT_EQ(test_window::take_warnings(), std::vector<std::string>());
}

TEST(AppWindow, HasEveryMemberOfTheFamilies) {
    GtkWidget *app = new_app();
    for (const family_row &family : summary_families)
        check_family(app, family);
    for (const family_row &family : chart_families)
        check_family(app, family);
}

TEST(AppWindow, HasTheDesktopLibrarysWidgets) {
    GtkWidget *app = new_app();
    for (const widget_row &row : framework_rows) {
        GtkWidget *widget = registered(app, row.name);
        ASSERT_NE(widget, nullptr) << row.name;
        EXPECT_TRUE(g_type_is_a(G_OBJECT_TYPE(widget), row.type())) << row.name;
        EXPECT_EQ(widget_tree::enclosing(app, widget), row.parent) << row.name;
        EXPECT_STREQ(gtk_widget_get_name(widget), row.name);
        check_size(widget, row.width, row.height);
    }
}

TEST(InfoDialog, HasEveryWidgetWithItsKindPlaceSizeAndText) { check_rows(new_info_dialog(), info_rows); }

TEST(AlertWindow, HasEveryWidgetWithItsKindPlaceSizeAndText) { check_rows(new_alert_window(), alert_rows); }

// ---- Registries

TEST(AppWindow, RegistersExactlyItsNamedWidgets) {
    std::set<std::string> names = app_names();
    // 16, 60, 16 and 16 of two kinds on the Summary; 16, 60 and 16 of six on the chart pages.
    ASSERT_EQ(names.size(), 2 * (16 + 60 + 16 + 16) + 6 * (16 + 60 + 16) + std::size(framework_rows) +
                                std::size(app_rows) + 1);
    EXPECT_EQ(widget_tree::registry(new_app()), names);
}

TEST(AlertWindow, RegistersExactlyItsNamedWidgets) {
    EXPECT_EQ(widget_tree::registry(new_alert_window()), names_of("windowAlertMessage", alert_rows));
}

TEST(InfoDialog, RegistersExactlyItsNamedWidgets) {
    EXPECT_EQ(widget_tree::registry(new_info_dialog()), names_of("dialogInfo", info_rows));
}

TEST(AboutBox, RegistersItselfAlone) {
    test_window::open_display();
    EXPECT_EQ(widget_tree::registry(create_about2()), std::set<std::string>{"about2"});
}

// No widget but the registered ones has a name for themes that one might look up.
static void check_names_in_tree(GtkWidget *window, const std::set<std::string> &names) {
    for (GtkWidget *widget : widget_tree::all(window)) {
        std::string name = gtk_widget_get_name(widget);
        if (name == G_OBJECT_TYPE_NAME(widget))
            continue; // no name was given
        EXPECT_EQ(names.count(name), 1u) << name;
        EXPECT_EQ(registered(window, name), widget) << name;
    }
}

TEST(AppWindow, NamesNoOtherWidget) { check_names_in_tree(new_app(), app_names()); }

TEST(AlertWindow, NamesNoOtherWidget) {
    check_names_in_tree(new_alert_window(), names_of("windowAlertMessage", alert_rows));
}

TEST(InfoDialog, NamesNoOtherWidget) {
    check_names_in_tree(new_info_dialog(), names_of("dialogInfo", info_rows));
}

// ---- References

static void count_one(gpointer count) { ++*static_cast<unsigned *>(count); }

// Counts the widget when its last reference is gone; it may be destroyed long before.
static void count_when_freed(GtkWidget *widget, unsigned *freed) {
    g_object_set_data_full(G_OBJECT(widget), "test-freed", freed, count_one);
}

static unsigned depth_of(GtkWidget *widget) {
    unsigned depth = 0;
    while ((widget = gtk_widget_get_parent(widget)) != nullptr)
        depth++;
    return depth;
}

static std::vector<GtkWidget *> deepest_first(GtkWidget *window, const std::set<std::string> &names) {
    std::vector<GtkWidget *> widgets;
    for (const std::string &name : names)
        widgets.push_back(registered(window, name));
    std::stable_sort(widgets.begin(), widgets.end(),
                     [](GtkWidget *a, GtkWidget *b) { return depth_of(a) > depth_of(b); });
    std::erase(widgets, window);
    return widgets;
}

// A destroyed widget lets go of all that held it but the registry.
static void check_references(GtkWidget *window, const std::set<std::string> &names) {
    unsigned freed = 0;
    std::vector<GtkWidget *> widgets = deepest_first(window, names);
    for (GtkWidget *widget : widgets)
        count_when_freed(widget, &freed);
    for (GtkWidget *widget : widgets)
        gtk_widget_destroy(widget);
    EXPECT_EQ(freed, 0u) << "held by the registry";
    count_when_freed(window, &freed);
    widget_tree::destroy(window);
    test_window::settle();
    EXPECT_EQ(freed, names.size()) << "released with the window";
    test_window::take_warnings(); // the toolkit warns of scroll bars that go before their windows
}

TEST(AppWindow, HoldsItsWidgetsUntilItIsDestroyed) { check_references(new_app(), app_names()); }

TEST(AlertWindow, HoldsItsWidgetsUntilItIsDestroyed) {
    check_references(new_alert_window(), names_of("windowAlertMessage", alert_rows));
}

TEST(InfoDialog, HoldsItsWidgetsUntilItIsDestroyed) {
    check_references(new_info_dialog(), names_of("dialogInfo", info_rows));
}

TEST(AppWindow, IsFreedWithAllItsWidgetsAsItStands) {
    GtkWidget *app = new_app();
    std::set<std::string> names = app_names();
    unsigned freed = 0;
    for (const std::string &name : names)
        count_when_freed(registered(app, name), &freed);
    widget_tree::destroy(app);
    test_window::settle();
    EXPECT_EQ(freed, names.size());
    EXPECT_EQ(test_window::take_warnings(), std::vector<std::string>());
}

// ---- Visible and sensitive

TEST(AppWindow, IsNotShownButAllInItIs) {
    GtkWidget *app = new_app();
    EXPECT_FALSE(gtk_widget_get_visible(app));
    for (const std::string &name : app_names())
        EXPECT_EQ(gtk_widget_get_visible(registered(app, name)), name != "app1") << name;
}

TEST(AlertWindow, IsNotShownButAllInItIs) {
    GtkWidget *window = new_alert_window();
    EXPECT_FALSE(gtk_widget_get_visible(window));
    for (const widget_row &row : alert_rows)
        EXPECT_TRUE(gtk_widget_get_visible(registered(window, row.name))) << row.name;
}

TEST(InfoDialog, IsNotShownButAllInItIs) {
    GtkWidget *dialog = new_info_dialog();
    EXPECT_FALSE(gtk_widget_get_visible(dialog));
    for (const widget_row &row : info_rows)
        EXPECT_TRUE(gtk_widget_get_visible(registered(dialog, row.name))) << row.name;
}

TEST(AppWindow, OnlyItsCurvesAreInsensitive) {
    GtkWidget *app = new_app();
    for (const std::string &name : app_names()) {
        if (name == "separator4")
            continue; // of no matter: there is nothing to choose
        bool is_curve = name.rfind("curve", 0) == 0;
        EXPECT_EQ(gtk_widget_get_sensitive(registered(app, name)), !is_curve) << name;
    }
}

// ---- Windows

static std::string title_of(GtkWidget *window) { return gtk_window_get_title(GTK_WINDOW(window)); }

TEST(AppWindow, IsAFixedWindowOfItsSize) {
    GtkWidget *app = new_app();
    ASSERT_EQ(registered(app, "app1"), app);
    EXPECT_STREQ(gtk_widget_get_name(app), "app1");
    EXPECT_EQ(gtk_window_get_window_type(GTK_WINDOW(app)), GTK_WINDOW_TOPLEVEL);
    EXPECT_EQ(title_of(app), "Kestrel II");
    EXPECT_STREQ(gtk_window_get_role(GTK_WINDOW(app)), "Kestrel II") << "the application's id";
    check_size(app, 640, 600);
    int width, height;
    gtk_window_get_default_size(GTK_WINDOW(app), &width, &height);
    EXPECT_EQ(width, 640);
    EXPECT_EQ(height, 560);
    EXPECT_FALSE(gtk_window_get_resizable(GTK_WINDOW(app)));
}

TEST(AppWindow, IsShownInTheSizeThatItAsksFor) {
    GtkWidget *app = new_app();
    gtk_widget_show(app);
    test_window::settle();
    GtkAllocation allocation;
    gtk_widget_get_allocation(app, &allocation);
    EXPECT_EQ(allocation.width, 640);
    EXPECT_EQ(allocation.height, 600);
    gtk_widget_hide(app);
}

TEST(AlertWindow, IsAFixedWindowAtTheCentre) {
    GtkWidget *window = new_alert_window();
    ASSERT_EQ(registered(window, "windowAlertMessage"), window);
    EXPECT_STREQ(gtk_widget_get_name(window), "windowAlertMessage");
    EXPECT_EQ(gtk_window_get_window_type(GTK_WINDOW(window)), GTK_WINDOW_TOPLEVEL);
    EXPECT_EQ(title_of(window), "Alert Messages");
    EXPECT_FALSE(gtk_window_get_resizable(GTK_WINDOW(window)));
    GtkWindowPosition position;
    g_object_get(window, "window-position", &position, nullptr);
    EXPECT_EQ(position, GTK_WIN_POS_CENTER);
}

TEST(InfoDialog, IsATitledDialogWithOneButton) {
    GtkWidget *dialog = new_info_dialog();
    ASSERT_EQ(registered(dialog, "dialogInfo"), dialog);
    ASSERT_TRUE(GTK_IS_DIALOG(dialog));
    EXPECT_STREQ(gtk_widget_get_name(dialog), "dialogInfo");
    EXPECT_EQ(title_of(dialog), "Information / Warning");
    GtkWidget *actions = registered(dialog, "dialog_action_areaInfo");
    EXPECT_EQ(gtk_dialog_get_content_area(GTK_DIALOG(dialog)), registered(dialog, "dialog_vboxInfo"));
    EXPECT_EQ(gtk_dialog_get_action_area(GTK_DIALOG(dialog)), actions);
    EXPECT_EQ(gtk_button_box_get_layout(GTK_BUTTON_BOX(actions)), GTK_BUTTONBOX_END);
    EXPECT_EQ(widget_tree::names_of_children(actions), std::vector<std::string>{"okbuttonInfo"});
    GtkWidget *button = registered(dialog, "okbuttonInfo");
    EXPECT_TRUE(gtk_button_get_use_stock(GTK_BUTTON(button)));
    EXPECT_TRUE(gtk_widget_get_can_default(button));
    EXPECT_EQ(gtk_dialog_get_response_for_widget(GTK_DIALOG(dialog), button), GTK_RESPONSE_OK);
}

// ---- Notebook

static const struct {
    const char *tab;
    const char *content;
} pages[] = {
    {"labelSummary", "scrolledwindowSummary"}, {"labelFan", "scrolledwindowFan"},
    {"labelVoltage", "scrolledwindowVoltage"}, {"labelThermal", "scrolledwindowThermal"},
    {"labelItems", "scrolledwindowItems"},     {"labelAlert", "scrolledwindowAlert"},
};

TEST(AppWindow, HasSixPagesInTheirOrder) {
    GtkWidget *app = new_app();
    auto *notebook = GTK_NOTEBOOK(registered(app, "notebook1"));
    ASSERT_EQ(gtk_notebook_get_n_pages(notebook), static_cast<int>(std::size(pages)));
    EXPECT_EQ(gtk_notebook_get_current_page(notebook), 0);
    for (int page = 0; page < static_cast<int>(std::size(pages)); page++) {
        GtkWidget *content = gtk_notebook_get_nth_page(notebook, page);
        EXPECT_EQ(content, registered(app, pages[page].content)) << page;
        EXPECT_EQ(gtk_notebook_get_tab_label(notebook, content), registered(app, pages[page].tab)) << page;
    }
}

// ---- Boxes: places in them. What is not in the list of a box is neither expanded nor filled.

struct box_row {
    const char *name;
    int place;
    bool expand;
    bool fill;
    unsigned padding;
};

static const box_row app_boxes[] = {
    {"tableSummaryFan", 0, false, false, 0},
    {"hseparatorSummaryFan", 1, true, true, 8},
    {"tableSummaryVoltage", 2, true, true, 0},
    {"hseparatorSummaryVoltage", 3, true, true, 8},
    {"tableSummaryThermal", 4, true, true, 0},
    {"hseparatorSummaryThermal", 5, true, true, 8},
    {"tableSummaryStatus", 6, true, true, 0},

    {"hbox1", 0, false, true, 10},
    {"scrolledwindow1", 1, true, true, 0},
    {"label1", 0, false, false, 0},
    {"entryPolling", 1, false, false, 0},
    {"label2", 2, false, false, 0},
    {"label3", 3, false, false, 0},
    {"buttonSelectAll", 4, false, false, 4},
    {"buttonUnselectAll", 5, false, false, 4},
    {"buttonItemsSave", 6, false, false, 4},

    {"hbox2", 0, false, true, 10},
    {"hseparator1", 1, false, false, 0},
    {"table8", 2, false, true, 10},
    {"hseparator2", 3, false, false, 0},
    {"hbox3", 4, false, false, 10},
    {"labelNameForThisSystem", 0, false, false, 8},
    {"entryMachineName", 1, false, true, 0},
    {"label5", 2, false, false, 8},
    {"buttonMailTest", 3, false, false, 4},
    {"buttonAlertSave", 4, false, false, 4},
    {"buttonShowAlertMessage", 0, false, false, 8},
};

static const box_row alert_boxes[] = {
    {"scrolledwindow2", 0, true, true, 0},
    {"table9", 1, false, true, 0},
};

static void check_packing(GtkWidget *window, const box_row &row) {
    GtkWidget *widget = registered(window, row.name);
    GtkBox *box = GTK_BOX(gtk_widget_get_parent(widget));
    gboolean expand, fill;
    guint padding;
    GtkPackType end;
    gtk_box_query_child_packing(box, widget, &expand, &fill, &padding, &end);
    EXPECT_EQ(expand, row.expand) << row.name;
    EXPECT_EQ(fill, row.fill) << row.name;
    EXPECT_EQ(padding, row.padding) << row.name;
    EXPECT_EQ(end, GTK_PACK_START) << row.name;
}

template <size_t N> static void check_boxes(GtkWidget *window, const box_row (&rows)[N]) {
    for (const box_row &row : rows) {
        check_packing(window, row);
        GtkWidget *widget = registered(window, row.name);
        int place;
        gtk_container_child_get(GTK_CONTAINER(gtk_widget_get_parent(widget)), widget, "position", &place,
                                nullptr);
        EXPECT_EQ(place, row.place) << row.name;
    }
}

TEST(AppWindow, PacksItsBoxesInOrder) { check_boxes(new_app(), app_boxes); }

TEST(AlertWindow, PacksItsBoxInOrder) { check_boxes(new_alert_window(), alert_boxes); }

TEST(InfoDialog, PacksItsLabelAsItIs) { check_packing(new_info_dialog(), {"labelInfo", 0, false, false, 8}); }

TEST(AppWindow, HasNothingElseInItsBoxes) {
    static const struct {
        const char *box;
        size_t children;
    } rows[] = {{"vboxSummary", 7}, {"vbox1", 2}, {"hbox1", 7}, {"vbox2", 5}, {"hbox2", 5}, {"hbox3", 1}};
    GtkWidget *app = new_app();
    for (const auto &row : rows)
        EXPECT_EQ(widget_tree::names_of_children(registered(app, row.box)).size(), row.children) << row.box;
}

// ---- Tables

struct cell {
    unsigned left;
    unsigned right;
    unsigned top;
    unsigned bottom;
    bool operator==(const cell &) const = default;
};

static std::ostream &operator<<(std::ostream &out, const cell &c) {
    return out << "columns " << c.left << " to " << c.right << ", rows " << c.top << " to " << c.bottom;
}

static cell cell_of(GtkWidget *window, const std::string &name) {
    GtkWidget *widget = registered(window, name);
    cell found;
    gtk_container_child_get(GTK_CONTAINER(gtk_widget_get_parent(widget)), widget, "left-attach", &found.left,
                            "right-attach", &found.right, "top-attach", &found.top, "bottom-attach",
                            &found.bottom, nullptr);
    return found;
}

static const struct {
    const char *name;
    unsigned rows;
    unsigned columns;
} app_tables[] = {
    {"tableSummaryFan", 9, 8},     {"tableSummaryVoltage", 31, 8},
    {"tableSummaryThermal", 9, 8}, {"tableSummaryStatus", 9, 8},
    {"tableFan", 64, 2},           {"tableVoltage", 240, 2},
    {"tableThermal", 64, 2},       {"table8", 3, 2},
};

static void check_table_size(GtkWidget *window, const char *name, unsigned rows, unsigned columns) {
    guint found_rows, found_columns;
    gtk_table_get_size(GTK_TABLE(registered(window, name)), &found_rows, &found_columns);
    EXPECT_EQ(found_rows, rows) << name;
    EXPECT_EQ(found_columns, columns) << name;
}

TEST(AppWindow, HasTablesOfTheirSizes) {
    GtkWidget *app = new_app();
    for (const auto &table : app_tables)
        check_table_size(app, table.name, table.rows, table.columns);
}

struct cell_row {
    const char *name;
    cell place; // left, right, top, bottom
};

static const cell_row app_cells[] = {
    {"labelSummaryFan", {0, 1, 0, 1}},
    {"imageSummaryFan", {7, 8, 0, 1}},
    {"labelSummaryVoltage", {0, 1, 0, 1}},
    {"imageSummaryVoltage", {7, 8, 0, 1}},
    {"labelSummaryThermal", {0, 1, 0, 1}},
    {"imageSummaryThermal", {7, 8, 0, 1}},
    {"labelSummaryStatus", {0, 1, 0, 1}},
    {"imageSummaryStatus", {7, 8, 0, 1}},
    {"checkbuttonMailAlert", {0, 1, 0, 1}},
    {"labelInOrderTo", {0, 2, 1, 2}},
    {"label7", {0, 1, 2, 3}},
    {"entryRecipientMailbox", {1, 2, 2, 3}},
    // Members of the families, the places written out.
    {"buttonSummaryFan0", {0, 1, 1, 2}},
    {"labelSummaryFan0", {0, 1, 2, 3}},
    {"buttonSummaryFan3", {6, 7, 1, 2}},
    {"labelSummaryFan15", {6, 7, 8, 9}},
    {"buttonSummaryVoltage4", {0, 1, 3, 4}},
    {"labelSummaryVoltage59", {6, 7, 30, 31}},
    {"labelFan3", {0, 1, 12, 13}},
    {"imageFan3", {1, 2, 12, 13}},
    {"curveFan3", {0, 2, 13, 14}},
    {"labelFanLimit3", {0, 1, 14, 15}},
    {"labelFanReading3", {1, 2, 14, 15}},
    {"hseparatorFan3", {0, 2, 15, 16}},
    {"hseparatorVoltage59", {0, 2, 239, 240}},
};

TEST(AppWindow, AttachesItsWidgetsToTheirCells) {
    GtkWidget *app = new_app();
    for (const cell_row &row : app_cells)
        EXPECT_EQ(cell_of(app, row.name), row.place) << row.name;
}

// Four items a row pair: the button above the name, every second column empty.
TEST(AppWindow, AttachesEverySummaryMemberToItsCell) {
    GtkWidget *app = new_app();
    for (const family_row &family : summary_families)
        for (unsigned member = 0; member < family.count; member++) {
            unsigned column = member % 4 * 2;
            unsigned row = 1 + member / 4 * 2 + (family.type == gtk_label_get_type ? 1 : 0);
            EXPECT_EQ(cell_of(app, member_name(family, member)), (cell{column, column + 1, row, row + 1}))
                << member_name(family, member);
        }
}

// In the order of chart_families.
static const struct {
    unsigned left;
    unsigned right;
    unsigned row; // of a member's four
} chart_places[] = {{0, 1, 0}, {1, 2, 0}, {0, 2, 1}, {0, 1, 2}, {1, 2, 2}, {0, 2, 3}};

TEST(AppWindow, AttachesEveryChartMemberToItsCell) {
    GtkWidget *app = new_app();
    for (size_t f = 0; f < std::size(chart_families); f++)
        for (unsigned member = 0; member < chart_families[f].count; member++) {
            const auto &place = chart_places[f % std::size(chart_places)];
            unsigned row = 4 * member + place.row;
            EXPECT_EQ(cell_of(app, member_name(chart_families[f], member)),
                      (cell{place.left, place.right, row, row + 1}))
                << member_name(chart_families[f], member);
        }
}

TEST(AlertWindow, AttachesItsButtonsToTheirCells) {
    static const cell_row rows[] = {
        {"labelIndexCount", {1, 2, 0, 1}}, {"buttonUp", {2, 3, 0, 1}},   {"buttonAcknowledge", {0, 1, 1, 2}},
        {"buttonDismiss", {1, 2, 1, 2}},   {"buttonDown", {2, 3, 1, 2}},
    };
    GtkWidget *window = new_alert_window();
    check_table_size(window, "table9", 2, 3);
    for (const cell_row &row : rows)
        EXPECT_EQ(cell_of(window, row.name), row.place) << row.name;
}

// ---- What single kinds show

static void check_scrolling(GtkWidget *window, const char *name) {
    GtkPolicyType across, down;
    gtk_scrolled_window_get_policy(GTK_SCROLLED_WINDOW(registered(window, name)), &across, &down);
    EXPECT_EQ(across, GTK_POLICY_AUTOMATIC) << name;
    EXPECT_EQ(down, GTK_POLICY_AUTOMATIC) << name;
}

TEST(AppWindow, HasAutomaticScrollBars) {
    GtkWidget *app = new_app();
    for (const auto &page : pages)
        check_scrolling(app, page.content);
    check_scrolling(app, "scrolledwindow1");
}

TEST(AlertWindow, HasAutomaticScrollBars) { check_scrolling(new_alert_window(), "scrolledwindow2"); }

static void check_image(GtkWidget *app, const std::string &name) {
    char *stock = nullptr;
    GtkIconSize size;
    auto *image = GTK_IMAGE(registered(app, name));
    ASSERT_EQ(gtk_image_get_storage_type(image), GTK_IMAGE_STOCK) << name;
    gtk_image_get_stock(image, &stock, &size);
    EXPECT_STREQ(stock, "gtk-dialog-error") << name;
    EXPECT_EQ(size, 5) << name; // of things that are dragged
}

TEST(AppWindow, ShowsTheErrorPictureInEveryImage) {
    GtkWidget *app = new_app();
    for (const char *name :
         {"imageSummaryFan", "imageSummaryVoltage", "imageSummaryThermal", "imageSummaryStatus"})
        check_image(app, name);
    for (const family_row &family : chart_families)
        for (unsigned member = 0; family.type == gtk_image_get_type && member < family.count; member++)
            check_image(app, member_name(family, member));
}

static void check_curve(GtkWidget *app, const std::string &name) {
    gfloat left, right, low, high;
    g_object_get(registered(app, name), "min-x", &left, "max-x", &right, "min-y", &low, "max-y", &high,
                 nullptr);
    EXPECT_EQ(left, 0) << name;
    EXPECT_EQ(right, 600) << name;
    EXPECT_EQ(low, 0) << name;
    EXPECT_EQ(high, 100) << name;
}

TEST(AppWindow, GivesEveryCurveItsRange) {
    GtkWidget *app = new_app();
    for (const family_row &family : chart_families)
        for (unsigned member = 0; family.type == gtk_curve_get_type && member < family.count; member++)
            check_curve(app, member_name(family, member));
}

static int longest_text(GtkWidget *app, const char *entry) {
    return gtk_entry_get_max_length(GTK_ENTRY(registered(app, entry)));
}

TEST(AppWindow, LimitsTheTextOfItsEntries) {
    GtkWidget *app = new_app();
    EXPECT_EQ(longest_text(app, "entryPolling"), 3);
    EXPECT_EQ(longest_text(app, "entryMachineName"), 30);
    EXPECT_EQ(longest_text(app, "entryRecipientMailbox"), 0); // none
}

TEST(AppWindow, DoesNotSearchItsList) {
    GtkWidget *app = new_app();
    EXPECT_FALSE(gtk_tree_view_get_enable_search(GTK_TREE_VIEW(registered(app, "treeview1"))));
    EXPECT_FALSE(gtk_toggle_button_get_active(GTK_TOGGLE_BUTTON(registered(app, "checkbuttonMailAlert"))));
}

// Lines of a text on one side, and the text on the same side of its room.
static void check_justified(GtkWidget *window, const char *name, GtkJustification side, float alignment) {
    GtkWidget *label = registered(window, name);
    EXPECT_EQ(gtk_label_get_justify(GTK_LABEL(label)), side) << name;
    float across, down;
    gtk_misc_get_alignment(GTK_MISC(label), &across, &down);
    EXPECT_EQ(across, alignment) << name;
}

TEST(AppWindow, JustifiesItsLabels) {
    GtkWidget *app = new_app();
    check_justified(app, "labelInOrderTo", GTK_JUSTIFY_LEFT, 0);
    check_justified(app, "label7", GTK_JUSTIFY_RIGHT, 1);
}

TEST(InfoDialog, JustifiesItsLabel) { check_justified(new_info_dialog(), "labelInfo", GTK_JUSTIFY_LEFT, 0); }

TEST(AlertWindow, JustifiesItsLabels) {
    GtkWidget *window = new_alert_window();
    check_justified(window, "labelAlertMsg", GTK_JUSTIFY_LEFT, 0);
    check_justified(window, "labelIndexCount", GTK_JUSTIFY_RIGHT, 1);
}

TEST(AlertWindow, HasArrowsFromStock) {
    GtkWidget *window = new_alert_window();
    for (const char *name : {"buttonUp", "buttonDown"})
        EXPECT_TRUE(gtk_button_get_use_stock(GTK_BUTTON(registered(window, name)))) << name;
    for (const char *name : {"buttonAcknowledge", "buttonDismiss"})
        EXPECT_FALSE(gtk_button_get_use_stock(GTK_BUTTON(registered(window, name)))) << name;
}
