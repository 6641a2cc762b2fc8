#include "ui/menu.h"

#include "ui/desktop.h"
#include "ui/handlers.h"
#include "ui/widgets.h"

static const GnomeUIInfo END = {.type = GNOME_APP_UI_ENDOFINFO};

static GnomeUIInfo file_menu[] = {
    {.type = GNOME_APP_UI_ITEM,
     .hint = "Quit the application",
     .stock_id = GTK_STOCK_QUIT,
     .handler = G_CALLBACK(on_quit1_activate)},
    END,
};

static GnomeUIInfo view_menu[] = {
    {.type = GNOME_APP_UI_ITEM,
     .label = "Summary",
     .hint = "All monitored items at a glance",
     .handler = G_CALLBACK(on_summary1_activate)},
    {.type = GNOME_APP_UI_SEPARATOR},
    {.type = GNOME_APP_UI_ITEM,
     .label = "_Fan Speed Charts",
     .hint = "Readings, limits and history of the fans",
     .handler = G_CALLBACK(on_fan_speed_charts1_activate)},
    {.type = GNOME_APP_UI_ITEM,
     .label = "_Voltage Charts",
     .hint = "Readings, limits and history of the voltages",
     .handler = G_CALLBACK(on_voltage_charts1_activate)},
    {.type = GNOME_APP_UI_ITEM,
     .label = "_Thermal Charts",
     .hint = "Readings, limits and history of the temperatures",
     .handler = G_CALLBACK(on_thermal_charts1_activate)},
    END,
};

static GnomeUIInfo setup_menu[] = {
    {.type = GNOME_APP_UI_ITEM,
     .label = "Ite_ms",
     .hint = "Which items are monitored, and how often they are read",
     .handler = G_CALLBACK(on_items1_activate)},
    {.type = GNOME_APP_UI_ITEM,
     .label = "_Alert",
     .hint = "Who is notified when an item fails or recovers",
     .handler = G_CALLBACK(on_alert1_activate)},
    END,
};

static GnomeUIInfo help_menu[] = {
    {.type = GNOME_APP_UI_ITEM,
     .hint = "About this application",
     .stock_id = GTK_STOCK_ABOUT,
     .handler = G_CALLBACK(on_about1_activate)},
    END,
};

static GnomeUIInfo menu_bar[] = {
    {.type = GNOME_APP_UI_SUBTREE, .label = "_File", .subtree = file_menu},
    {.type = GNOME_APP_UI_SUBTREE, .label = "_View", .subtree = view_menu},
    {.type = GNOME_APP_UI_SUBTREE, .label = "_Setup", .subtree = setup_menu},
    {.type = GNOME_APP_UI_SUBTREE, .label = "_Help", .subtree = help_menu},
    END,
};

static const struct {
    const GnomeUIInfo *info;
    const char *name;
} names[] = {
    {&menu_bar[0], "file1"},
    {&file_menu[0], "quit1"},
    {&menu_bar[1], "view1"},
    {&view_menu[0], "summary1"},
    {&view_menu[1], "separator4"},
    {&view_menu[2], "fan_speed_charts1"},
    {&view_menu[3], "voltage_charts1"},
    {&view_menu[4], "thermal_charts1"},
    {&menu_bar[2], "setup1"},
    {&setup_menu[0], "items1"},
    {&setup_menu[1], "alert1"},
    {&menu_bar[3], "help1"},
    {&help_menu[0], "about1"},
};

void create_menus(GtkWidget *app) {
    gnome_app_create_menus(app, menu_bar);
    for (const auto &entry : names)
        name_widget(entry.info->widget, entry.name);
}

void install_menu_hints(GtkWidget *app) { gnome_app_install_menu_hints(app, menu_bar); }
