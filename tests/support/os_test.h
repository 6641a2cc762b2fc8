#pragma once
// A third door, for tests of single functions: ports are answered by the test and every access is logged;
// files live below a private directory; single calls can be made to fail.
//
// Log lines: "iopl 3", "ioperm 0295 1 1", "outb 0295 4e", "inb 0296 80", "sleep 1", "usleep 550000",
// "syslog kes2 1 0 4 TEXT", "rename A B", "system CMD". A refused or failed call has " failed" behind it.

#include <cstdint>
#include <ctime>
#include <functional>
#include <string>

namespace test_door {

// Before each test: all ports granted and answering 0xFF, an empty directory, an empty log, no failures.
void reset();

// The log since the last call, one line an access.
std::string take_log();

extern std::function<uint8_t(uint16_t port)> on_inb;
extern std::function<void(uint16_t port, uint8_t value)> on_outb;
extern time_t now;
extern uint32_t uid;

// A chip behind an index and a data port: registers by bank, 0x4E as the bank-select register.
struct monitor {
    uint16_t index;
    uint16_t data;
    uint8_t selected = 0;
    uint8_t bank_select = 0;
    uint8_t registers[16][256] = {};
};
void attach(monitor *chip); // answers on_inb and on_outb from it

// Permissions: false makes iopl fail, and leaves the ports to be granted one by one.
void grant_all_ports(bool on);

// Call `name` ("ioperm", "fopen", "fclose", "rename", ...) fails with `error` the `nth` time from now (1: the
// next).
void fail_call(const char *name, int nth, int error);

// Files as the program names them ("/etc/Kestrel.ini").
void put_file(const char *path, const std::string &contents);
bool has_file(const char *path);
std::string file(const char *path); // "" when there is none
std::string real_path(const char *path);

// What `call` printed.
std::string captured_stdout(const std::function<void()> &call);
std::string captured_stderr(const std::function<void()> &call);

} // namespace test_door
