#include "driver/graphical.h"

#include <csignal>
#include <glib-unix.h>
#include <gtk/gtk.h>

#include "config/settings.h"
#include "config/version.h"
#include "driver/refresh.h"
#include "hw/os.h"
#include "items/display.h"
#include "ui/desktop.h"
#include "ui/items_page.h"
#include "ui/tick.h"
#include "ui/windows.h"

static bool open_display(int argc, char **argv) {
    return gnome_program_init("kestrel", KESTREL_VERSION, libgnomeui_module_info_get(), argc, argv,
                              "app-datadir", "/usr/local/share", nullptr) != nullptr;
}

static gboolean end_main_loop(gpointer) {
    gtk_main_quit();
    return TRUE;
}

// A signal ends the program between two ticks, as closing the window does: never in the middle of a reading.
// One that is ignored, because of nohup or of a shell's "&", stays so.
static void end_by_signals() {
    for (int number : {SIGINT, SIGTERM, SIGHUP})
        if (!os_is_ignored(number))
            g_unix_signal_add(number, end_main_loop, nullptr);
    os_share_signals();
}

static void create_windows() {
    myapp1 = create_app1();
    mywindowAlertMessage = create_windowAlertMessage();
    myabout2 = create_about2();
    create_dialogInfo(); // kept on purpose, though its result is dropped
}

static int run(void (*build_displays)(bool generated), bool generated) {
    create_windows();
    gtk_window_move(GTK_WINDOW(myapp1), 0, 0);
    gtk_widget_show(myapp1);
    place_alert_window();
    gtk_widget_hide(mywindowAlertMessage);
    build_displays(generated);
    create_item_list(myapp1);
    const kestrel_context *k = myspKestrel;
    build_All(myapp1, allItemDisps, k->system, k->items, k->item_count, k->parameters, k->parameter_count);
    tick = updateAll;
    start_timer(k->system->Polling);
    end_by_signals();
    gtk_main();
    return 0;
}

extern "C" {
extern const graphical_part kestrel_graphical_part;
const graphical_part kestrel_graphical_part = {open_display, run};
}
