#pragma once
// Permission for the I/O ports that readings need. Both return 0 or -1 after messages on standard error; a
// refused port stays refused and its readings fail.

#include "config/settings.h"

int io_open(const system_settings *system);
int io_close(const system_settings *system);
