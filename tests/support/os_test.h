#pragma once
// A third door, for tests of single functions: the test answers for the ports, and every access is logged;
// files are in a private directory; single calls can be made to fail.
//
// Log lines: "iopl 3", "ioperm 0295 1 1", "outb 0295 4e", "inb 0296 80", "outl 0cf8 80000000", "inl 0cfc
// ffffffff", "open /dev/mem 2" (flags), "close 50", "seek f0000", "map f0000 1000", "unmap 1000", "sleep 1",
// "usleep 550000", "syslog kes2 1 0 4 TEXT", "link A B", "rename A B", "unlink A", "owner A", "system CMD",
// "popen CMD".
// A refused or failed call is followed by " failed". Reads, ioctls and waits are logged only by the test's
// own answers. A private file: "create PATH 0600", "fchmod 0100 212" (bytes in the file by then), "fsync",
// "fclose". Processes: "fork", "exec PATH", "waitpid 4711".

#include <cstdint>
#include <ctime>
#include <functional>
#include <set>
#include <string>
#include <sys/types.h>

namespace test_door {

// Before each test: all ports granted and answering 0xFF, an empty directory, an empty log, no failures.
void reset();

// The log since the last call, one line per access.
std::string take_log();

extern std::function<uint8_t(uint16_t port)> on_inb;
extern std::function<void(uint16_t port, uint8_t value)> on_outb;
extern std::function<uint32_t(uint16_t port)> on_inl;
extern std::function<void(uint16_t port, uint32_t value)> on_outl;

// Devices: a path that `on_open` knows gets the descriptor that it returns (say 50), -1 is a failure with the
// errno that it set; below 0 and -1 both fail. A path for which it returns NOT_A_DEVICE is a file of the
// private directory.
constexpr int NOT_A_DEVICE = -2;
extern std::function<int(const std::string &path, int flags)> on_open;
extern std::function<int(int fd, unsigned long request, void *argument)> on_ioctl;
extern std::function<ssize_t(int fd, void *buffer, size_t size)> on_read;
extern std::function<int(int fd, bool *readable)> on_wait; // as select: a count, -1 with errno
extern std::function<int(const char *command)> on_system;
extern std::function<std::string(const char *command)> on_popen; // what the command prints

// Nothing is forked and nothing run: a fork answers as in the parent, unless the test makes it otherwise.
constexpr pid_t CHILD = 4711;
extern std::function<pid_t()> on_fork;
extern std::function<void(const char *path)> on_exec;

// Physical memory behind /dev/mem (opened through the default `on_open` once this is set): bytes not given
// are 0.
void put_memory(uint32_t address, const std::string &bytes);
void refuse_maps_from(uint32_t address); // mapping at or above it fails with EPERM

void log(const std::string &line); // for the test's own answers

extern time_t now;
extern uint32_t uid;
extern bool in_turn;            // whether there is a turn at the machine just now
extern int turns_taken;         // since the reset
extern bool stderr_is_writable; // true after a reset
extern bool terminal;           // what is printed goes to a terminal; false after a reset

// In which turns there were accesses to ports, or by the recorder of the buses: 0 is outside of one, so {1}
// means that all were made in one and the same.
extern std::set<int> turns_of_accesses;
void note_access();

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
// next). "fread" and "fwrite" are the fillings and emptyings of the buffers of files opened afterwards; a
// write that fails leaves half of its bytes in the file, as a full disk does. "write" makes a private file
// one that cannot be written.
void fail_call(const char *name, int nth, int error);

// Files as the program names them ("/etc/Kestrel.ini").
void put_file(const char *path, const std::string &contents);
bool has_file(const char *path);
std::string file(const char *path); // "" when there is no such file
std::string real_path(const char *path);

// What `call` printed.
std::string captured_stdout(const std::function<void()> &call);
std::string captured_stderr(const std::function<void()> &call);

} // namespace test_door
