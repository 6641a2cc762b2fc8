#include "driver/refresh.h"

#include <cstring>

#include "alert/alert_list.h"
#include "items/history.h"
#include "items/readings.h"
#include "items/thermal_text.h"
#include "ui/alert_page.h"
#include "ui/alert_window.h"
#include "ui/chart_pages.h"
#include "ui/desktop.h"
#include "ui/items_page.h"
#include "ui/palette.h"
#include "ui/summary_page.h"
#include "ui/widgets.h"
#include "ui/windows.h"

uint32_t errNoNumber;

static GtkRcStyle *new_style() {
    GtkRcStyle *style = gtk_rc_style_new();
    style->fg[GTK_STATE_NORMAL] = Orange;
    style->fg[GTK_STATE_INSENSITIVE] = LightBlue;
    for (GtkStateType state : {GTK_STATE_NORMAL, GTK_STATE_INSENSITIVE})
        style->color_flags[state] = static_cast<GtkRcFlags>(style->color_flags[state] | GTK_RC_FG);
    return style;
}

// Headings are sensitive, so orange; charts are not, so light blue.
static void set_colours(GtkWidget *window) {
    GtkRcStyle *style = new_style();
    for (const char *heading :
         {"labelSummaryFan", "labelSummaryVoltage", "labelSummaryThermal", "labelSummaryStatus"})
        gtk_widget_modify_style(lookup_widget(window, heading), style);
    modify_charts(window, style);
    g_object_unref(style);
}

static void build_pages(GtkWidget *window, const item_display *displays, const system_settings *system,
                        const item_record *items, int32_t item_count, const parameter_record *parameters) {
    build_Summary(window, displays, item_count);
    build_Fan(window, displays, item_count);
    build_Voltage(window, displays, item_count);
    build_Thermal(window, displays, item_count);
    build_Items(window, displays, system, items, item_count, parameters);
}

static void begin_alert_list() {
    alert_msg_head = new_alert_msg_node();
    current_alert_msg_node = alert_msg_head;
    show_current_message();
}

unsigned build_All(GtkWidget *window, item_display *displays, const system_settings *system,
                   const item_record *items, int32_t item_count, const parameter_record *parameters,
                   int32_t) {
    allItemDisps = displays;
    clear_histories();
    set_colours(window);
    build_pages(window, displays, system, items, item_count, parameters);
    begin_alert_list();
    build_Alert(window, system, displays, item_count);
    return gnome_appbar_push(lookup_widget(window, "appbar1"), "Ready");
}

// Some chips have written their word before their last access fails: it counts only when all went well.
static void read_word(const kestrel_context *k, int32_t i) {
    char word[sizeof item_display::thermal_text];
    memcpy(word, allItemDisps[i].thermal_text, sizeof word);
    if (getThermalText(k->system, &k->items[i], word) == 0)
        memcpy(allItemDisps[i].thermal_text, word, sizeof word);
}

static void read_item(const kestrel_context *k, int32_t i) {
    item_display *display = &allItemDisps[i];
    // The formulas of some chips leave the value as it was, so they are given the last one.
    int64_t value = display->value;
    if (get_item_reading(k->system, k->items, k->item_count, k->parameters, k->parameter_count, &k->items[i],
                         &value) == 0)
        display->value = value;
    else
        errNoNumber++;
    if (display->thermal_text_supported != 0)
        read_word(k, i);
}

int updateAll() {
    const kestrel_context *k = myspKestrel;
    for (int32_t i = 0; i < k->item_count; i++)
        read_item(k, i);
    GtkWidget *window = myapp1;
    build_pages(window, allItemDisps, k->system, k->items, k->item_count, k->parameters);
    build_Alert(window, k->system, allItemDisps, k->item_count);
    return 1;
}
