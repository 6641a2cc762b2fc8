#include "items/intrusion.h"

#include <cstdio>

// No chip's latch can be cleared yet; nothing is touched.
int reset_Intrusion(const system_settings *, const item_record *, int32_t, const parameter_record *, int32_t,
                    item_record *) {
    fprintf(stderr, "Error: clearing a latch is not supported yet.\n");
    printf("Failed.\n");
    return -1;
}
