// The window's share, over a door that costs nothing: one tick of a full window (16 fans, 60 voltages,
// 16 temperatures, 16 switches, all monitored) with each page on top, and the way from the readings to the
// first picture. Readings change from tick to tick, so that every text and every chart is drawn again. CPU
// time is that of the program, without the X server's. docs/performance.md has the figures.
#include <benchmark/benchmark.h>
#include <cstdio>
#include <string>

#include "alert/alert_list.h"
#include "config/ini_read.h"
#include "config/settings.h"
#include "driver/refresh.h"
#include "items/display.h"
#include "items/history.h"
#include "os_free.h"
#include "ui/desktop.h"
#include "ui/items_page.h"
#include "ui/widgets.h"
#include "ui/windows.h"

static std::string items_of(const char *category, unsigned count, const std::string &name) {
    std::string text;
    char block[400];
    for (unsigned i = 0; i < count; i++) {
        snprintf(block, sizeof block,
                 "[Item]\nITEM_NAME=%s %u\nITEM_CAT=%s\nVOL_FUNC=P12V\nITEM_ID=%s%u\nBUSTYPE=2\nCHIPCODE=13\n"
                 "SLAVE=1\nOFFSET=%x\nACTIVATE=1\nMONITOR=TRUE\nSOURCE=0\nPARAINDEX1=H\nPARAINDEX2=L\n\n",
                 name.c_str(), i, category, category, i, 0x20 + i);
        text += block;
    }
    return text;
}

static std::string full_configuration() {
    return "[System]\nBUSTYPE=2\nINDEXREG=295\nDATAREG=296\nPOLLING=5\nMACHINENAME=bench\n\n" +
           items_of("FAN", MAX_FANS, "Chassis Fan") + items_of("VOLTAGE", MAX_VOLTAGES, "Supply Voltage") +
           items_of("TEMP", MAX_TEMPERATURES, "Temperature") +
           items_of("SWITCH", MAX_SWITCHES, "Power Supply") +
           "[Parameter]\nPARAMETER=H\nSLAVE=1\nOFFSET=2B\nBITMASK=30\n\n"
           "[Parameter]\nPARAMETER=L\nSLAVE=1\nOFFSET=2C\nBITMASK=30\n\n";
}

// Until the server has dealt with everything that was drawn.
static void handle_events() {
    do {
        while (gtk_events_pending())
            gtk_main_iteration();
        gdk_display_sync(gdk_display_get_default());
    } while (gtk_events_pending());
}

// As far as the graphical mode comes before it reads the hardware.
static void create_windows() {
    gnome_program_init("kestrel", "", libgnomeui_module_info_get(), 0, nullptr, "app-datadir",
                       "/usr/local/share", nullptr);
    myapp1 = create_app1();
    mywindowAlertMessage = create_windowAlertMessage();
    myabout2 = create_about2();
    create_dialogInfo();
    gtk_window_move(GTK_WINDOW(myapp1), 0, 0);
    gtk_widget_show(myapp1);
    place_alert_window();
    gtk_widget_hide(mywindowAlertMessage);
}

static void read_hardware() {
    free_configuration = full_configuration();
    static kestrel_context context;
    context.item_count = static_cast<int32_t>(
        loadKestrelINI_and_getItemCount(&context.system, &context.items, &context.parameters));
    context.parameter_count = 2 * context.item_count;
    myspKestrel = &context;
    allItemDisps = createItemDisps(context.system, context.items, context.item_count, context.parameters,
                                   context.parameter_count);
}

static gboolean note_map(GtkWidget *, GdkEvent *, gpointer mapped) {
    *static_cast<bool *>(mapped) = true;
    return FALSE;
}

// What follows the reading of the hardware, until the window is there and wholly drawn.
static void show_picture() {
    bool mapped = false;
    g_signal_connect(myapp1, "map-event", G_CALLBACK(note_map), &mapped);
    const kestrel_context *k = myspKestrel;
    create_item_list(myapp1);
    build_All(myapp1, allItemDisps, k->system, k->items, k->item_count, k->parameters, k->parameter_count);
    while (!mapped) // the window manager comes first
        gtk_main_iteration();
    handle_events();
    g_signal_handlers_disconnect_by_func(myapp1, reinterpret_cast<gpointer>(note_map), &mapped);
}

// Once, and before all others: a second window of the same process finds its fonts and icons loaded.
static void BM_FirstPicture(benchmark::State &state) {
    create_windows();
    read_hardware();
    for (auto _ : state)
        show_picture();
}
BENCHMARK(BM_FirstPicture)->Unit(benchmark::kMillisecond)->Iterations(1)->Repetitions(1);

static void show_page(int page) {
    gtk_notebook_set_current_page(GTK_NOTEBOOK(lookup_widget(myapp1, "notebook1")), page);
    handle_events();
}

constexpr int PAGES = 6;

// With every page seen once: a list that was never shown is not measured again when it is filled.
static void make_sure_of_window() {
    if (myapp1 == nullptr) {
        create_windows();
        read_hardware();
        show_picture();
    }
    for (int page = 0; page < PAGES; page++)
        show_page(page);
}

// Readings wander, but stay on their side of the limits: what is measured is a tick without an alert.
static void move_readings() { free_byte = free_byte == 0x64 ? 0x65 : 0x64; }

static void BM_Tick(benchmark::State &state) {
    make_sure_of_window();
    show_page(static_cast<int>(state.range(0)));
    for (auto _ : state) {
        move_readings();
        updateAll();
        handle_events();
    }
}
BENCHMARK(BM_Tick)->ArgName("page")->DenseRange(0, PAGES - 1)->Unit(benchmark::kMillisecond);

static void BM_TickWithoutDrawing(benchmark::State &state) {
    make_sure_of_window();
    show_page(static_cast<int>(state.range(0)));
    for (auto _ : state) {
        move_readings();
        updateAll();
        state.PauseTiming();
        handle_events();
        state.ResumeTiming();
    }
}
BENCHMARK(BM_TickWithoutDrawing)->ArgName("page")->DenseRange(0, PAGES - 1)->Unit(benchmark::kMillisecond);
