#pragma once
// Physical memory behind /dev/mem: what the board names, and zeros.

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

struct physical_memory {
    bool present = false;     // whether there is a /dev/mem
    bool map_refused = false; // it can be read, but not mapped
    std::map<uint32_t, uint8_t> bytes;
};

void put_memory(physical_memory *memory, uint32_t address, const std::vector<uint8_t> &bytes);
void read_memory(const physical_memory *memory, uint64_t address, uint8_t *bytes, size_t size);

// A DMI table with a BIOS, a system and a base-board record, and its entry point in the BIOS area.
struct dmi_strings {
    std::string manufacturer;
    std::string product;
    std::string version;
};
void put_dmi_table(physical_memory *memory, const dmi_strings &board);
