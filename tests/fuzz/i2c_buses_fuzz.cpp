// Any bytes as every file that the search for buses reads. An input is lines "@PATH", each followed by what
// is in that file.
#include "hw/i2c_adapters.h"

#include <cstring>

#include "os_fuzz.h"

using fuzz_door::expect;

template <size_t SIZE> static void judge_text(const char (&text)[SIZE]) {
    expect(memchr(text, 0, SIZE) != nullptr, "a text ends within its field");
}

static void judge_buses() {
    expect(counter_i2c_bus_list >= 0 && static_cast<size_t>(counter_i2c_bus_list) <= i2c_bus_list.size(),
           "each bus that is counted has a slot");
    for (const i2c_bus &bus : i2c_bus_list) {
        judge_text(bus.number);
        judge_text(bus.type);
        judge_text(bus.adapter);
        judge_text(bus.algorithm);
    }
}

// Nothing from the files gets into a command, except the names in the program's own table.
static void judge_commands() {
    static const char *const known[] = {
        "modprobe i2c-i801 2>/dev/null",    "modprobe i2c-piix4 2>/dev/null",
        "modprobe i2c-amd8111 2>/dev/null", "modprobe i2c-nforce2 2>/dev/null",
        "modprobe i2c-dev 2>/dev/null",
    };
    for (const std::string &command : fuzz_door::commands_run()) {
        bool found = false;
        for (const char *text : known)
            found = found || command == text;
        expect(found, command.c_str());
    }
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    fuzz_door::reset();
    fuzz_door::put_file("/dev/i2c-0", "");
    fuzz_door::put_files(data, size);
    i2cdetect();
    judge_buses();
    judge_commands();
    for (int fill : {0, 1}) {
        print_i2c_busses(fill);
        judge_buses();
    }
    return 0;
}
