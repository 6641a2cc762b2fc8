#pragma once
// Configuration files for a reader, and records to compare with what it made of them.

#include <cstdio>
#include <cstring>
#include <string>

#include "config/settings.h"
#include "hw/os.h"
#include "support/os_test.h"

inline FILE *stream_of(const std::string &contents) {
    test_door::reset();
    test_door::put_file("/etc/Kestrel.ini", contents);
    return os_fopen("/etc/Kestrel.ini", "r");
}

// Records of which the file gave nothing.
inline item_record empty_item() {
    item_record item = {};
    item.Cat = item.VolFunc = item.BusType = item.ChipCode = item.Slave = item.Offset = 0xFF;
    item.Activate = item.Monitor = item.Source = 0xFF;
    return item;
}

inline parameter_record empty_parameter() { return {"", 0xFF, 0xFF, 0xFF}; }

// Records have no gaps between their fields, so their bytes can be compared.
template <typename RECORD> bool same(const RECORD &a, const RECORD &b) {
    return memcmp(&a, &b, sizeof a) == 0;
}
