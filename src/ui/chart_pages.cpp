#include "ui/chart_pages.h"

#include <string>

#include "items/cell_text.h"
#include "items/history.h"
#include "items/limits.h"
#include "ui/widgets.h"

constexpr unsigned ROWS_AN_ITEM = 4;
constexpr int CHART_WIDTH = 600;
constexpr int CHART_HEIGHT = 100;

struct chart_page {
    const char *kind; // in the names of its widgets
    const char *viewport;
    uint32_t cat;
    unsigned slots;
    float (*history)[HISTORY_LENGTH]; // a row for each slot, used by the item's place in its category
};

static const chart_page fan_page = {"Fan", "viewportFan", CAT_FAN, MAX_FANS, vectorFan};
static const chart_page voltage_page = {"Voltage", "viewportVoltage", CAT_VOLTAGE, MAX_VOLTAGES,
                                        vectorVoltage};
static const chart_page thermal_page = {"Thermal", "viewport4", CAT_TEMP, MAX_TEMPERATURES, vectorThermal};

static std::string name_of(const char *prefix, const chart_page *page, const char *suffix = "") {
    return std::string(prefix) + page->kind + suffix;
}

// ---- Building

static GtkWidget *new_chart(const char *name) {
    GtkWidget *chart = name_widget(gtk_curve_new(), name);
    gtk_curve_set_range(GTK_CURVE(chart), 0, CHART_WIDTH, 0, CHART_HEIGHT);
    gtk_widget_set_sensitive(chart, FALSE);               // a display, not to be edited
    return size_widget(chart, CHART_WIDTH, CHART_HEIGHT); // after the range, which asks for a size of its own
}

static void attach(GtkWidget *table, GtkWidget *widget, unsigned left, unsigned right, unsigned row) {
    gtk_table_attach(GTK_TABLE(table), widget, left, right, row, row + 1, GTK_FILL, GTK_FILL, 0, 0);
}

static GtkWidget *new_slot_label(const std::string &prefix, unsigned slot, int width, int height) {
    std::string name = slot_name(prefix.c_str(), slot);
    return new_label(name.c_str(), name.c_str(), width, height);
}

static GtkWidget *aligned_left(GtkWidget *label) {
    gtk_misc_set_alignment(GTK_MISC(label), 0, 0.5);
    gtk_misc_set_padding(GTK_MISC(label), 8, 0);
    return label;
}

static void add_slot(GtkWidget *table, const chart_page *page, unsigned slot) {
    unsigned row = ROWS_AN_ITEM * slot;
    std::string image = slot_name(name_of("image", page).c_str(), slot);
    std::string chart = slot_name(name_of("curve", page).c_str(), slot);
    std::string separator = slot_name(name_of("hseparator", page).c_str(), slot);
    attach(table, aligned_left(new_slot_label(name_of("label", page), slot, 500, 32)), 0, 1, row);
    attach(table, new_warning_image(image.c_str(), 100, 32), 1, 2, row);
    attach(table, new_chart(chart.c_str()), 0, 2, row + 1);
    attach(table, aligned_left(new_slot_label(name_of("label", page, "Limit"), slot, 500, 16)), 0, 1,
           row + 2);
    attach(table, new_slot_label(name_of("label", page, "Reading"), slot, 100, 16), 1, 2, row + 2);
    attach(table, new_separator(separator.c_str()), 0, 2, row + 3);
}

static GtkWidget *create_page(const chart_page *page) {
    GtkWidget *viewport;
    GtkWidget *scrolled =
        new_scrolled_viewport(name_of("scrolledwindow", page).c_str(), page->viewport, &viewport);
    GtkWidget *table = new_table(name_of("table", page).c_str(), ROWS_AN_ITEM * page->slots, 2);
    gtk_container_add(GTK_CONTAINER(viewport), table);
    for (unsigned slot = 0; slot < page->slots; slot++)
        add_slot(table, page, slot);
    return scrolled;
}

GtkWidget *create_fan_page() { return create_page(&fan_page); }

GtkWidget *create_voltage_page() { return create_page(&voltage_page); }

GtkWidget *create_thermal_page() { return create_page(&thermal_page); }

// ---- Refresh

static GtkWidget *member(GtkWidget *window, const char *prefix, const chart_page *page, const char *suffix,
                         unsigned slot) {
    return lookup_slot(window, name_of(prefix, page, suffix).c_str(), slot);
}

void modify_charts(GtkWidget *window, GtkRcStyle *style) {
    for (const chart_page *page : {&fan_page, &voltage_page, &thermal_page})
        for (unsigned slot = 0; slot < page->slots; slot++)
            gtk_widget_modify_style(member(window, "curve", page, "", slot), style);
}

// A chart that was not drawn yet gets its points anew: the toolkit would place them by the room that the
// chart has been given, but draw them as if they stood in the higher one of the first points, 6 pixels too
// high.
static void set_line(GtkCurve *chart, float *history) {
    if (chart->pixmap == nullptr) {
        g_free(chart->point);
        chart->point = nullptr;
    }
    gtk_curve_set_vector(chart, HISTORY_LENGTH, history);
}

// A table with more items of a category than histories shows those beyond them without a sample.
static void show_chart(GtkWidget *window, const chart_page *page, unsigned slot, unsigned ordinal,
                       int64_t value) {
    static float no_history[HISTORY_LENGTH];
    GtkWidget *chart = member(window, "curve", page, "", slot);
    float *history = no_history;
    if (ordinal < page->slots) {
        history = page->history[ordinal];
        vector_append(history, static_cast<float>(value));
    }
    set_line(GTK_CURVE(chart), history);
    gtk_widget_show(chart);
}

static void fill_slot(GtkWidget *window, const chart_page *page, unsigned slot, unsigned ordinal,
                      const item_display *display) {
    char limits[LIMIT_LINE_SIZE];
    char reading[CELL_SIZE];
    chart_limit_text(display, limits);
    chart_reading_text(display, reading);
    if (slot > 0)
        gtk_widget_show(member(window, "hseparator", page, "", slot - 1));
    show_label(member(window, "label", page, "Limit", slot), limits);
    show_name(member(window, "label", page, "", slot), shown_text(display->name).c_str(), OWN_WIDTH);
    show_label(member(window, "label", page, "Reading", slot), shown_text(reading).c_str());
    show_chart(window, page, slot, ordinal, display->value);
    set_shown(member(window, "image", page, "", slot), isNormalReading(display) != 1);
}

static void hide_slot(GtkWidget *window, const chart_page *page, unsigned slot) {
    gtk_widget_hide(member(window, "label", page, "", slot));
    gtk_widget_hide(member(window, "label", page, "Reading", slot));
    gtk_widget_hide(member(window, "label", page, "Limit", slot));
    gtk_widget_hide(member(window, "curve", page, "", slot));
    gtk_widget_hide(member(window, "image", page, "", slot));
}

// Two numberings, different on purpose: a slot is the item's place among the monitored ones, its history the
// place among all of its category, so that a history follows its item. What stays shown is not hidden before:
// a chart that is hidden and shown again flickers.
static void build_page(GtkWidget *window, const chart_page *page, const item_display *displays,
                       int32_t count) {
    unsigned slot = 0;
    unsigned ordinal = 0;
    for (int32_t i = 0; i < count; i++) {
        if (displays[i].cat != page->cat)
            continue;
        if (displays[i].monitor == 1 && slot >= page->slots) {
            g_print(" build_%s(): idxMoniting%s out of range. \n", page->kind, page->kind);
            break;
        }
        if (displays[i].monitor == 1)
            fill_slot(window, page, slot++, ordinal, &displays[i]);
        ordinal++;
    }
    for (unsigned unused = slot; unused < page->slots; unused++)
        hide_slot(window, page, unused);
    // Separators are shown between rows only, not after the last one.
    for (unsigned i = slot > 0 ? slot - 1 : 0; i < page->slots; i++)
        gtk_widget_hide(member(window, "hseparator", page, "", i));
}

void build_Fan(GtkWidget *window, const item_display *displays, int32_t count) {
    build_page(window, &fan_page, displays, count);
}

void build_Voltage(GtkWidget *window, const item_display *displays, int32_t count) {
    build_page(window, &voltage_page, displays, count);
}

void build_Thermal(GtkWidget *window, const item_display *displays, int32_t count) {
    build_page(window, &thermal_page, displays, count);
}
