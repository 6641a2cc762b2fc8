#include "support/window.h"

#include <cstdlib>
#include <fstream>
#include <stdexcept>

#include "config/ini_read.h"
#include "config/settings.h"
#include "driver/refresh.h"
#include "items/display.h"
#include "ui/desktop.h"
#include "ui/items_page.h"
#include "ui/tick.h"
#include "ui/widgets.h"
#include "ui/windows.h"

static std::vector<std::string> warnings;

static void note_warning(const char *, GLogLevelFlags, const char *message, gpointer) {
    warnings.push_back(message);
}

void test_window::open_display() {
    std::string display;
    std::ifstream(KESTREL_DISPLAY_FILE) >> display;
    if (!display.empty())
        setenv("DISPLAY", display.c_str(), 1);
    setenv("GTK2_RC_FILES", "/dev/null", 1); // not the user's theme
    setenv("TZ", "UTC", 1);
    if (gnome_program_init("kestrel", "2.87", libgnomeui_module_info_get(), 0, nullptr, "app-datadir",
                           KESTREL_SOURCE_DIR, nullptr) == nullptr)
        throw std::runtime_error("no display");
    g_log_set_default_handler(note_warning, nullptr);
}

static void load() {
    static kestrel_context context;
    context.item_count = static_cast<int32_t>(
        loadKestrelINI_and_getItemCount(&context.system, &context.items, &context.parameters));
    context.parameter_count = 2 * context.item_count;
    myspKestrel = &context;
}

void test_window::open_configured() {
    open_display();
    load();
    myapp1 = create_app1();
    mywindowAlertMessage = create_windowAlertMessage();
    myabout2 = create_about2();
    gtk_widget_show(myapp1);
    const kestrel_context *k = myspKestrel;
    allItemDisps = createItemDisps(k->system, k->items, k->item_count, k->parameters, k->parameter_count);
    create_item_list(myapp1);
    build_All(myapp1, allItemDisps, k->system, k->items, k->item_count, k->parameters, k->parameter_count);
    tick = updateAll;
    settle();
}

void test_window::settle() {
    while (gtk_events_pending())
        gtk_main_iteration();
}

GtkWidget *test_window::widget(const std::string &name) { return lookup_widget(myapp1, name.c_str()); }

GtkWidget *test_window::alert_widget(const std::string &name) {
    return lookup_widget(mywindowAlertMessage, name.c_str());
}

std::string test_window::text_of(GtkWidget *widget) {
    if (GTK_IS_LABEL(widget))
        return gtk_label_get_text(GTK_LABEL(widget));
    if (GTK_IS_BUTTON(widget))
        return gtk_button_get_label(GTK_BUTTON(widget));
    return gtk_entry_get_text(GTK_ENTRY(widget));
}

bool test_window::is_shown(const std::string &name) { return gtk_widget_get_visible(widget(name)); }

std::vector<std::string> test_window::messages() {
    std::vector<std::string> found;
    GList *windows = gtk_window_list_toplevels();
    for (GList *entry = windows; entry != nullptr; entry = entry->next) {
        auto *window = static_cast<GtkWidget *>(entry->data);
        if (std::string(gtk_widget_get_name(window)) == "dialogInfo" && gtk_widget_get_visible(window))
            found.push_back(text_of(lookup_widget(window, "labelInfo")));
    }
    g_list_free(windows);
    return found;
}

std::vector<std::string> test_window::take_warnings() {
    std::vector<std::string> taken;
    taken.swap(warnings);
    return taken;
}
