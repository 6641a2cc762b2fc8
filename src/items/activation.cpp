#include "items/activation.h"

#include <cstdio>
#include <cstdlib>

#include "config/ini_write.h"
#include "hw/chip_codes.h"
#include "hw/text.h"
#include "items/limits.h"
#include "items/readings.h"

constexpr int FILE_ERROR_STATUS = 2;

// The temperature of a socket is absent when the socket's core voltage is not monitored.
static const struct {
    const char *temperature;
    const char *voltage;
} sockets[] = {
    {"CPU Temperature", "CPU Core Voltage"},   {"CPU1 Temperature", "CPU1 Core Voltage"},
    {"CPU2 Temperature", "CPU2 Core Voltage"}, {"CPU3 Temperature", "CPU3 Core Voltage"},
    {"CPU4 Temperature", "CPU4 Core Voltage"},
};

// Of several records with the name any one will do.
static bool is_unmonitored(const item_display *displays, int32_t count, const char *name) {
    for (int32_t i = 0; i < count; i++)
        if (displays[i].monitor != 1 && equal_ignoring_case(displays[i].name, name))
            return true;
    return false;
}

static bool socket_is_empty(const item_display *displays, int32_t count, const item_display *display) {
    for (const auto &socket : sockets)
        if (equal_ignoring_case(display->name, socket.temperature))
            return is_unmonitored(displays, count, socket.voltage);
    return false;
}

// The message with which the item is hidden, nullptr when it stays.
static const char *reason_to_hide(const item_display *displays, int32_t count, const item_display *display,
                                  bool was_read) {
    const char *non_activated = ">> Disable monitoring of non-activated item: %s\n";
    if (display->cat == CAT_SWITCH)
        return display->chipcode == CHIP_27 ? ">> Disable monitoring of non-supported item: %s\n" : nullptr;
    if (display->cat > CAT_SWITCH)
        return nullptr;
    if (!was_read)
        return ">> Disable monitoring of non-available item: %s\n";
    if (display->value == 0 && (display->cat == CAT_TEMP || !isNormalReading(display)))
        return non_activated;
    if (display->cat == CAT_TEMP && socket_is_empty(displays, count, display))
        return non_activated;
    return nullptr;
}

// True when the item was hidden.
static bool check_item(item_display *displays, const system_settings *system, item_record *items,
                       int32_t item_count, const parameter_record *parameters, int32_t parameter_count,
                       int32_t i) {
    item_display *display = &displays[i];
    bool was_read =
        display->chipcode != CHIP_27 && get_item_reading(system, items, item_count, parameters,
                                                         parameter_count, &items[i], &display->value) == 0;
    const char *message = reason_to_hide(displays, item_count, display, was_read);
    if (message == nullptr)
        return false;
    printf(message, shown_text(stdout, display->name).c_str());
    display->monitor = 0;
    items[i].Monitor = 0;
    return true;
}

int detect_and_hide_nonactivated_items(item_display *displays, const system_settings *system,
                                       item_record *items, int32_t item_count,
                                       const parameter_record *parameters, int32_t parameter_count) {
    int hidden = 0;
    for (int32_t i = 0; i < item_count; i++)
        if (displays[i].monitor == 1 &&
            check_item(displays, system, items, item_count, parameters, parameter_count, i))
            hidden++;
    if (hidden == 0)
        return 0;
    printf("\n");
    ini_write_result result = rewrite_monitor_lines(items, item_count);
    if (result.failure == INI_WRITTEN)
        return 0;
    const char *format =
        result.failure == INI_NOT_OPENED ? "Error: cannot open %s\n" : "Error: cannot close %s\n";
    fprintf(stderr, format, result.path);
    exit(FILE_ERROR_STATUS);
}
