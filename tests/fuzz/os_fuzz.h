#pragma once
// A door for the fuzz targets: files and memory are what the target puts there, ports and BMC replies come
// from a stream of bytes that the target gives.

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace fuzz_door {

// What goes wrong behind the door: each reply of the BMC begins with a byte of these,
enum bmc_fault : unsigned {
    FAULT_SEND = 0x01,
    FAULT_WAIT = 0x02,   // the wait fails
    FAULT_SILENT = 0x04, // the wait ends without a reply
    FAULT_RECEIVE = 0x08,
    FAULT_LENGTH = 0x10, // the driver reports another length than it gave
    FAULT_SENDER = 0x20, // the reply is another's: address, message id, function and command
};
// of /dev/mem all calls fail in the same way.
enum memory_fault : unsigned {
    FAULT_OPEN = 0x01,
    FAULT_SEEK = 0x02,
    FAULT_READ = 0x04, // a paragraph a page comes short
    FAULT_MAP = 0x08,
    FAULT_UNMAP = 0x10,
    FAULT_COPY = 0x20,
};

void reset();
void put_file(const char *path, std::string contents);
void put_files(const uint8_t *data, size_t size); // a line "@PATH", then what is in it, and so on
void put_memory(uint32_t address, std::string bytes);
void put_memory_between(uint8_t byte); // what is outside of the ranges; 0 after a reset
void put_memory_faults(unsigned faults);
void put_stream(const uint8_t *data, size_t size); // then 0xFF without end
void put_bmc(bool present);
void put_command_output(std::string text);
const std::vector<std::string> &commands_run();

// Ends the process, which is what a fuzzer takes for a find.
void expect(bool holds, const char *what);

} // namespace fuzz_door
