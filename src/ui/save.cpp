#include "ui/save.h"

#include <cstring>
#include <gtk/gtk.h>

#include "config/ini_write.h"
#include "config/settings.h"

// Kept on purpose: the messages name the Items page's save whichever page saves.
static const char *message_of(const ini_write_result *result) {
    if (result->failure == INI_NOT_CLOSED)
        return "on_buttonSaveItems_clicked(): fclose() error!\n";
    if (strcmp(result->path, KESTREL_INI) == 0)
        return "on_buttonSaveItems_clicked(): fopen(KESTREL_INI) error!\n";
    return "on_buttonSaveItems_clicked(): fopen() error!\n";
}

void save_INI_File(int mode) {
    const kestrel_context *k = myspKestrel;
    ini_write_result result = mode == SAVE_ITEMS_PAGE ? rewrite_items_page(k->system, k->items, k->item_count)
                                                      : rewrite_alert_page(k->system);
    if (result.failure == INI_WRITTEN)
        return;
    g_print("%s", message_of(&result));
    gtk_main_quit();
}
