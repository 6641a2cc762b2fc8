#include "config/ini_replace.h"

#include "config/settings.h"
#include "hw/os.h"

FILE *open_new_ini(mode_t mode) { return os_create_private(KESTREL_INI_NEW, mode); }

// On the disk before it gets the name: after a power cut the name would stand for an empty file otherwise.
bool close_new_ini(FILE *stream, bool whole) {
    whole = whole && ferror(stream) == 0 && os_fsync(stream) == 0;
    whole = os_fclose(stream) == 0 && whole;
    whole = whole && os_rename(KESTREL_INI_NEW, KESTREL_INI) == 0;
    if (!whole)
        os_unlink(KESTREL_INI_NEW);
    return whole;
}
