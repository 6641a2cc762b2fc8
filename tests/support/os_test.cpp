#include "support/os_test.h"

#include <cerrno>
#include <cstdarg>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <map>
#include <sstream>
#include <unistd.h>

#include "hw/os.h"
#include "hw/port_grants.h"

namespace test_door {

std::function<uint8_t(uint16_t)> on_inb;
std::function<void(uint16_t, uint8_t)> on_outb;
time_t now;
uint32_t uid;

static std::string log_text;
static bool level_granted;
static std::filesystem::path root;

struct planned_failure {
    int countdown;
    int error;
};
static std::map<std::string, planned_failure> failures;

[[gnu::format(printf, 1, 2)]] static void log_line(const char *format, ...) {
    char line[1024];
    va_list arguments;
    va_start(arguments, format);
    vsnprintf(line, sizeof line, format, arguments);
    va_end(arguments);
    log_text += line;
    log_text += '\n';
}

static void remove_root() { std::filesystem::remove_all(root); }

void reset() {
    if (root.empty()) {
        char name[] = "/tmp/kestrel-test-XXXXXX";
        root = mkdtemp(name);
        atexit(remove_root);
    }
    std::filesystem::remove_all(root);
    std::filesystem::create_directories(root / "etc");
    on_inb = [](uint16_t) { return 0xFF; };
    on_outb = [](uint16_t, uint8_t) {};
    now = 0;
    uid = 0;
    log_text.clear();
    failures.clear();
    grant_all_ports(true);
}

std::string take_log() {
    std::string taken = log_text;
    log_text.clear();
    return taken;
}

void attach(monitor *chip) {
    on_outb = [chip](uint16_t port, uint8_t value) {
        if (port == chip->index)
            chip->selected = value;
        else if (port == chip->data && chip->selected == 0x4E)
            chip->bank_select = value;
        else if (port == chip->data)
            chip->registers[chip->bank_select & 0x0F][chip->selected] = value;
    };
    on_inb = [chip](uint16_t port) -> uint8_t {
        if (port != chip->data)
            return 0xFF;
        if (chip->selected == 0x4E)
            return chip->bank_select;
        return chip->registers[chip->bank_select & 0x0F][chip->selected];
    };
}

void grant_all_ports(bool on) {
    level_granted = on;
    note_port_level(on ? 3 : 0);
    note_port_range(0, 0x10000, false);
}

void fail_call(const char *name, int nth, int error) { failures[name] = {nth, error}; }

// True when this call is the one that fails.
static bool fails(const char *name) {
    auto planned = failures.find(name);
    if (planned == failures.end() || --planned->second.countdown != 0)
        return false;
    errno = planned->second.error;
    failures.erase(planned);
    return true;
}

std::string real_path(const char *path) {
    return (root / std::filesystem::path(path).relative_path()).string();
}

void put_file(const char *path, const std::string &contents) {
    std::filesystem::create_directories(std::filesystem::path(real_path(path)).parent_path());
    std::ofstream(real_path(path), std::ios::binary) << contents;
}

bool has_file(const char *path) { return std::filesystem::exists(real_path(path)); }

std::string file(const char *path) {
    std::ostringstream contents;
    contents << std::ifstream(real_path(path), std::ios::binary).rdbuf();
    return contents.str();
}

std::string captured_stdout(const std::function<void()> &call) {
    testing::internal::CaptureStdout();
    call();
    return testing::internal::GetCapturedStdout();
}

std::string captured_stderr(const std::function<void()> &call) {
    testing::internal::CaptureStderr();
    call();
    return testing::internal::GetCapturedStderr();
}

} // namespace test_door

using namespace test_door;

static int not_in_tests() {
    errno = ENOSYS;
    return -1;
}

void os_start(int *, char ***) {}

int os_iopl(int level) {
    bool refused = fails("iopl") || (level > 0 && !level_granted);
    log_line("iopl %d%s", level, refused ? " failed" : "");
    if (refused)
        return -1;
    note_port_level(level);
    return 0;
}

int os_ioperm(uint16_t first, unsigned count, bool on) {
    bool refused = fails("ioperm");
    log_line("ioperm %04x %u %d%s", first, count, on, refused ? " failed" : "");
    if (refused)
        return -1;
    note_port_range(first, count, on);
    return 0;
}

int os_inb(uint16_t port, uint8_t *value) {
    if (fails("inb") || !ports_granted(port, 1)) {
        log_line("inb %04x failed", port);
        return -1;
    }
    *value = on_inb(port);
    log_line("inb %04x %02x", port, *value);
    return 0;
}

int os_outb(uint16_t port, uint8_t value) {
    if (fails("outb") || !ports_granted(port, 1)) {
        log_line("outb %04x %02x failed", port, value);
        return -1;
    }
    log_line("outb %04x %02x", port, value);
    on_outb(port, value);
    return 0;
}

int os_inl(uint16_t, uint32_t *) { return not_in_tests(); }
int os_outl(uint16_t, uint32_t) { return not_in_tests(); }
int os_open(const char *, int) { return not_in_tests(); }
int os_close(int) { return not_in_tests(); }
ssize_t os_read(int, void *, size_t) { return not_in_tests(); }
int os_seek(int, int64_t) { return not_in_tests(); }
void *os_map(int, int64_t, size_t) { return nullptr; }
int os_unmap(void *, size_t) { return not_in_tests(); }
int os_ioctl(int, unsigned long, void *) { return not_in_tests(); }
int os_wait_readable(int, bool *) { return not_in_tests(); }

FILE *os_fopen(const char *path, const char *mode) {
    return fails("fopen") ? nullptr : fopen(real_path(path).c_str(), mode);
}

int os_fclose(FILE *stream) {
    bool failed = fails("fclose");
    int status = fclose(stream);
    return failed ? -1 : status;
}

bool os_exists(const char *path) { return has_file(path); }

int os_rename(const char *from, const char *to) {
    bool failed = fails("rename");
    log_line("rename %s %s%s", from, to, failed ? " failed" : "");
    return failed ? -1 : rename(real_path(from).c_str(), real_path(to).c_str());
}

int os_unlink(const char *path) { return unlink(real_path(path).c_str()); }
int os_chmod(const char *, mode_t) { return not_in_tests(); }
int os_list_directory(const char *, std::vector<std::string> *) { return not_in_tests(); }

int os_system(const char *command) {
    log_line("system %s", command);
    return 0;
}

FILE *os_popen(const char *) { return nullptr; }
int os_pclose(FILE *) { return not_in_tests(); }
pid_t os_fork() { return not_in_tests(); }
void os_exec(const char *) {}
int os_waitpid(pid_t) { return not_in_tests(); }
void os_sleep(unsigned seconds) { log_line("sleep %u", seconds); }
void os_usleep(unsigned microseconds) { log_line("usleep %u", microseconds); }
uint32_t os_getuid() { return uid; }
time_t os_time() { return now; }

void os_syslog(const char *identity, int options, int facility, int priority, const char *message) {
    log_line("syslog %s %d %d %d %s", identity, options, facility, priority, message);
}
