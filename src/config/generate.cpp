#include "config/generate.h"

#include "hw/os.h"

uint32_t existFile(const char *path) {
    FILE *stream = os_fopen(path, "r");
    if (stream == nullptr)
        return 0xFFFFFFFF;
    os_fclose(stream);
    return 0;
}

// There are no master files yet to generate from.
uint32_t produce_kestrel_ini(const char *, const char *) { return 0xFFFFFFFF; }

// Never reached yet: it takes an identified board.
void revise_kestrel_ini_for_R2M(const system_settings *, item_record *, int32_t) {}
