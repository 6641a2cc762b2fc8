#pragma once
// A door for the fuzz targets: files and memory are what the target puts there, ports and BMC replies come
// from a stream of bytes that the target gives.

#include <cstddef>
#include <cstdint>
#include <string>

namespace fuzz_door {

void reset();
void put_file(const char *path, std::string contents);
void put_memory(uint32_t address, std::string bytes); // one range; everything else is 0
void put_stream(const uint8_t *data, size_t size);    // then 0xFF without end
void put_bmc(bool present);

} // namespace fuzz_door
