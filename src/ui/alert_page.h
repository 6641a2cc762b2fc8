#pragma once
// The Alert page, and the alerts: changes of state become a message in the alert window and, if wanted, a
// mail.

#include <cstdint>
#include <gtk/gtk.h>

#include "alert/mail.h"
#include "config/settings.h"
#include "items/display.h"

GtkWidget *create_alert_page(); // to be put into the notebook

// Shows the mail settings, looks for changes and reports them.
void build_Alert(GtkWidget *window, const system_settings *system, const item_display *displays,
                 int32_t count);

// True when the mail's script was run, however it ended. Else what hindered it is reported on standard
// output, if at all.
bool was_mailed(mail_outcome outcome);
