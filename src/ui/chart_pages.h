#pragma once
// The Fan, Voltage and Thermal pages: a name, a reading, limits and a chart of the last 100 readings for each
// monitored item of the category.

#include <cstdint>
#include <gtk/gtk.h>

#include "items/display.h"

GtkWidget *create_fan_page(); // to be put into the notebook
GtkWidget *create_voltage_page();
GtkWidget *create_thermal_page();

// Show the displays as they are, and append each monitored item's value to its history.
void build_Fan(GtkWidget *window, const item_display *displays, int32_t count);
void build_Voltage(GtkWidget *window, const item_display *displays, int32_t count);
void build_Thermal(GtkWidget *window, const item_display *displays, int32_t count);

void modify_charts(GtkWidget *window, GtkRcStyle *style); // applies the style to every chart
