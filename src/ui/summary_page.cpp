#include "ui/summary_page.h"

#include <string>
#include <vector>

#include "items/cell_text.h"
#include "items/history.h"
#include "items/limits.h"
#include "ui/widgets.h"

constexpr unsigned SECTIONS = 4;
constexpr unsigned ITEMS_A_ROW = 4;
constexpr unsigned COLUMNS = 2 * ITEMS_A_ROW; // every second one stays empty, as spacing
constexpr unsigned LATCH_BUTTONS = 8; // of the statuses; kept on purpose: a click on the others does nothing

struct summary_section {
    const char *kind; // in the names of its widgets
    const char *heading;
    unsigned slots;
    unsigned rows; // a heading, then two rows for four items
    bool has_separator;
};

static const summary_section sections[SECTIONS] = {
    // by item_category
    {"Fan", "FAN(S)", MAX_FANS, 9, true},
    {"Voltage", "VOLTAGE(S)", MAX_VOLTAGES, 31, true},
    {"Thermal", "TEMPERATURE(S)", MAX_TEMPERATURES, 9, true},
    {"Status", "STATUS(ES)", MAX_SWITCHES, 9, false},
};

static std::string name_of(const char *prefix, const summary_section *section) {
    return std::string(prefix) + section->kind;
}

// ---- Building

static void attach(GtkWidget *table, GtkWidget *widget, unsigned column, unsigned row,
                   GtkAttachOptions across) {
    gtk_table_attach(GTK_TABLE(table), widget, column, column + 1, row, row + 1, across, GTK_FILL, 0, 1);
}

constexpr auto AS_WIDE_AS_COLUMN = static_cast<GtkAttachOptions>(GTK_EXPAND | GTK_FILL);

// The width of a column beside a scroll bar. What is too long for it is written smaller, and there are four
// pixels between a name and the next.
constexpr int COLUMN_WIDTH = 144;

static GtkWidget *new_name_label(const char *name) {
    GtkWidget *label = new_label(name, name, 120, 16);
    gtk_misc_set_padding(GTK_MISC(label), 2, 0);
    return label;
}

static GtkWidget *new_value_button(const char *name, const summary_section *section, unsigned slot) {
    GtkWidget *button = new_button(name, name, 120, 26);
    if (section == &sections[CAT_SWITCH] && slot < LATCH_BUTTONS)
        gtk_widget_set_tooltip_text(button, "A click clears the latch");
    return button;
}

static void add_item(GtkWidget *table, const summary_section *section, unsigned slot) {
    std::string button = slot_name(name_of("buttonSummary", section).c_str(), slot);
    std::string label = slot_name(name_of("labelSummary", section).c_str(), slot);
    unsigned column = 2 * (slot % ITEMS_A_ROW);
    unsigned row = 1 + 2 * (slot / ITEMS_A_ROW);
    attach(table, new_value_button(button.c_str(), section, slot), column, row, GTK_EXPAND);
    attach(table, new_name_label(label.c_str()), column, row + 1, AS_WIDE_AS_COLUMN);
}

// Keeps the width of a column whose widgets are all hidden, so that the sections are aligned below each
// other.
static void keep_width(GtkWidget *table, unsigned column, int width, GtkAttachOptions across) {
    GtkWidget *keeper = size_widget(gtk_label_new(nullptr), width, NATURAL);
    gtk_widget_show(keeper);
    attach(table, keeper, column, 0, across);
}

static GtkWidget *create_section(const summary_section *section, GtkWidget **heading) {
    GtkWidget *table = new_table(name_of("tableSummary", section).c_str(), section->rows, COLUMNS);
    *heading = new_label(name_of("labelSummary", section).c_str(), section->heading, 120, 32);
    attach(table, *heading, 0, 0, AS_WIDE_AS_COLUMN);
    for (unsigned column = 0; column < COLUMNS; column += 2)
        keep_width(table, column, 120, AS_WIDE_AS_COLUMN);
    keep_width(table, COLUMNS - 1, 32, GTK_FILL);
    attach(table, new_warning_image(name_of("imageSummary", section).c_str(), 32, 32), COLUMNS - 1, 0,
           GTK_FILL);
    for (unsigned slot = 0; slot < section->slots; slot++)
        add_item(table, section, slot);
    return table;
}

GtkWidget *create_summary_page() {
    GtkWidget *viewport;
    GtkWidget *page = new_scrolled_viewport("scrolledwindowSummary", "viewportSummary", &viewport);
    GtkWidget *box = name_widget(gtk_vbox_new(FALSE, 0), "vboxSummary");
    gtk_container_add(GTK_CONTAINER(viewport), box);
    std::vector<GtkWidget *> headings;
    for (const summary_section &section : sections) {
        GtkWidget *heading;
        bool grows = &section != &sections[0]; // the first grid takes the room it needs and no more
        gtk_box_pack_start(GTK_BOX(box), create_section(&section, &heading), grows, grows, 0);
        headings.push_back(heading);
        if (section.has_separator)
            gtk_box_pack_start(GTK_BOX(box), new_separator(name_of("hseparatorSummary", &section).c_str()),
                               TRUE, TRUE, 8);
    }
    fit_alike(headings, COLUMN_WIDTH);
    return page;
}

// ---- Refresh

static GtkWidget *part(GtkWidget *window, const char *prefix, const summary_section *section) {
    return lookup_widget(window, name_of(prefix, section).c_str());
}

static GtkWidget *member(GtkWidget *window, const char *prefix, const summary_section *section,
                         unsigned slot) {
    return lookup_slot(window, name_of(prefix, section).c_str(), slot);
}

static void fill_slot(GtkWidget *window, unsigned slot, const item_display *display) {
    const summary_section *section = &sections[display->cat];
    char cell[CELL_SIZE];
    summary_text(display, cell);
    show_name(member(window, "labelSummary", section, slot), shown_text(display->name).c_str(), COLUMN_WIDTH);
    GtkWidget *button = member(window, "buttonSummary", section, slot);
    show_button(button, shown_text(cell).c_str());
    if (display->cat == CAT_SWITCH)
        gtk_widget_set_sensitive(button, TRUE); // it may have been clicked since the last refresh
}

struct summary_state {
    unsigned used[SECTIONS]; // slots
    bool abnormal[SECTIONS]; // any of its items
    bool complete;           // no section had more items than slots
};

static void fill_slots(GtkWidget *window, const item_display *displays, int32_t count, summary_state *state) {
    for (int32_t i = 0; i < count; i++) {
        uint32_t cat = displays[i].cat;
        if (displays[i].monitor != 1 || cat > CAT_SWITCH)
            continue;
        if (state->used[cat] >= sections[cat].slots) {
            g_print(" build_Summary(): idx%s out of range. \n", sections[cat].kind);
            return;
        }
        fill_slot(window, state->used[cat], &displays[i]);
        state->used[cat]++;
        if (isNormalReading(&displays[i]) != 1)
            state->abnormal[cat] = true;
    }
    state->complete = true;
}

static void hide_unused_slots(GtkWidget *window, const summary_section *section, unsigned used) {
    for (unsigned slot = used; slot < section->slots; slot++) {
        gtk_widget_hide(member(window, "labelSummary", section, slot));
        gtk_widget_hide(member(window, "buttonSummary", section, slot));
    }
}

static bool used_below(const summary_state *state, unsigned section) {
    for (unsigned i = section + 1; i < SECTIONS; i++)
        if (state->used[i] > 0)
            return true;
    return false;
}

// A separator is shown only between a section with rows and another with rows further down.
static void show_frame(GtkWidget *window, const summary_state *state, unsigned i) {
    bool used = state->complete && state->used[i] > 0;
    set_shown(part(window, "imageSummary", &sections[i]), state->abnormal[i]);
    set_shown(part(window, "labelSummary", &sections[i]), used);
    if (sections[i].has_separator)
        set_shown(part(window, "hseparatorSummary", &sections[i]), used && used_below(state, i));
}

// With more items than slots the headings and separators stay hidden, and slots that are not used any more
// keep what they showed.
void build_Summary(GtkWidget *window, const item_display *displays, int32_t count) {
    summary_state state = {};
    fill_slots(window, displays, count, &state);
    for (unsigned i = 0; i < SECTIONS; i++) {
        if (state.complete)
            hide_unused_slots(window, &sections[i], state.used[i]);
        show_frame(window, &state, i);
    }
}
