#include "support/os_test.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdarg>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <map>
#include <sstream>
#include <sys/stat.h>
#include <unistd.h>

#include "hw/os.h"
#include "hw/port_grants.h"

namespace test_door {

std::function<uint8_t(uint16_t)> on_inb;
std::function<void(uint16_t, uint8_t)> on_outb;
std::function<uint32_t(uint16_t)> on_inl;
std::function<void(uint16_t, uint32_t)> on_outl;
std::function<int(const std::string &, int)> on_open;
std::function<int(int, unsigned long, void *)> on_ioctl;
std::function<ssize_t(int, void *, size_t)> on_read;
std::function<int(int, bool *)> on_wait;
std::function<int(const char *)> on_system;
std::function<std::string(const char *)> on_popen;
std::function<pid_t()> on_fork;
std::function<void(const char *)> on_exec;
time_t now;
bool in_turn;
int turns_taken;
bool stderr_is_writable;
bool terminal;
std::set<int> turns_of_accesses;

void note_access() { turns_of_accesses.insert(in_turn ? turns_taken : 0); }
uint32_t uid;

static std::string log_text;
static bool level_granted;
static std::filesystem::path root;
static FILE *private_file; // the last one that was made

constexpr int MEMORY_FD = 1000;
static std::map<uint32_t, uint8_t> memory;
static bool has_memory;
static uint64_t refused_maps_from;
static int64_t memory_position;

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
    std::filesystem::create_directories(root / "tmp");
    on_inb = [](uint16_t) { return 0xFF; };
    on_outb = [](uint16_t, uint8_t) {};
    on_inl = [](uint16_t) { return 0xFFFFFFFF; };
    on_outl = [](uint16_t, uint32_t) {};
    on_open = [](const std::string &path, int) {
        return has_memory && path == "/dev/mem" ? MEMORY_FD : NOT_A_DEVICE;
    };
    on_ioctl = [](int, unsigned long, void *) { return -1; };
    on_read = [](int, void *, size_t) -> ssize_t { return -1; };
    on_wait = [](int, bool *) { return -1; };
    on_system = [](const char *) { return 0; };
    on_popen = [](const char *) { return std::string(); };
    on_fork = [] { return CHILD; };
    on_exec = [](const char *) {};
    memory.clear();
    has_memory = false;
    refused_maps_from = UINT64_MAX;
    memory_position = 0;
    now = 0;
    uid = 0;
    in_turn = false;
    turns_taken = 0;
    stderr_is_writable = true;
    terminal = false;
    turns_of_accesses.clear();
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

void log(const std::string &line) { log_text += line + "\n"; }

void put_memory(uint32_t address, const std::string &bytes) {
    has_memory = true;
    for (size_t i = 0; i < bytes.size(); i++)
        memory[static_cast<uint32_t>(address + i)] = static_cast<uint8_t>(bytes[i]);
}

void refuse_maps_from(uint32_t address) { refused_maps_from = address; }

static void copy_memory(uint64_t address, uint8_t *bytes, size_t size) {
    for (size_t i = 0; i < size; i++) {
        auto found = memory.find(static_cast<uint32_t>(address + i));
        bytes[i] = found == memory.end() ? 0 : found->second;
    }
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
    note_access();
    if (fails("inb") || !ports_granted(port, 1)) {
        log_line("inb %04x failed", port);
        return -1;
    }
    *value = on_inb(port);
    log_line("inb %04x %02x", port, *value);
    return 0;
}

int os_outb(uint16_t port, uint8_t value) {
    note_access();
    if (fails("outb") || !ports_granted(port, 1)) {
        log_line("outb %04x %02x failed", port, value);
        return -1;
    }
    log_line("outb %04x %02x", port, value);
    on_outb(port, value);
    return 0;
}

int os_inl(uint16_t port, uint32_t *value) {
    note_access();
    if (fails("inl") || !ports_granted(port, 4)) {
        log_line("inl %04x failed", port);
        return -1;
    }
    *value = on_inl(port);
    log_line("inl %04x %08x", port, *value);
    return 0;
}

int os_outl(uint16_t port, uint32_t value) {
    note_access();
    if (fails("outl") || !ports_granted(port, 4)) {
        log_line("outl %04x %08x failed", port, value);
        return -1;
    }
    log_line("outl %04x %08x", port, value);
    on_outl(port, value);
    return 0;
}

void os_begin_turn() {
    EXPECT_FALSE(in_turn) << "turns do not nest at the door";
    in_turn = true;
    turns_taken++;
}

void os_end_turn() {
    EXPECT_TRUE(in_turn);
    in_turn = false;
}

int os_open(const char *path, int flags) {
    int fd = fails("open") ? -1 : on_open(path, flags);
    if (fd == NOT_A_DEVICE)
        fd = open(real_path(path).c_str(), flags | O_CLOEXEC);
    log_line("open %s %d%s", path, flags, fd < 0 ? " failed" : "");
    return fd < 0 ? -1 : fd;
}

int os_close(int fd) {
    log_line("close %d", fd);
    return 0;
}

ssize_t os_read(int fd, void *buffer, size_t size) {
    if (fails("read"))
        return -1;
    if (fd != MEMORY_FD)
        return on_read(fd, buffer, size);
    copy_memory(static_cast<uint64_t>(memory_position), static_cast<uint8_t *>(buffer), size);
    memory_position += static_cast<int64_t>(size);
    return static_cast<ssize_t>(size);
}

int os_seek(int, int64_t offset) {
    bool failed = fails("seek");
    log_line("seek %lx%s", static_cast<unsigned long>(offset), failed ? " failed" : "");
    if (failed)
        return -1;
    memory_position = offset;
    return 0;
}

// The bytes are at the very end of what was allocated, so that a sanitizer sees the first one read beyond
// them.
void *os_map(int fd, int64_t offset, size_t size) {
    bool refused =
        fails("map") || fd != MEMORY_FD || static_cast<uint64_t>(offset) >= refused_maps_from || size == 0;
    log_line("map %lx %zx%s", static_cast<unsigned long>(offset), size, refused ? " failed" : "");
    if (refused) {
        if (errno == 0)
            errno = EPERM;
        return nullptr;
    }
    auto *bytes = static_cast<uint8_t *>(malloc(size));
    copy_memory(static_cast<uint64_t>(offset), bytes, size);
    return bytes;
}

int os_copy(void *to, const void *mapped, size_t size) {
    if (fails("copy"))
        return -1;
    memcpy(to, mapped, size);
    return 0;
}

int os_unmap(void *address, size_t size) {
    bool failed = fails("unmap");
    log_line("unmap %zx%s", size, failed ? " failed" : "");
    free(address);
    return failed ? -1 : 0;
}

int os_ioctl(int fd, unsigned long request, void *argument) {
    return fails("ioctl") ? -1 : on_ioctl(fd, request, argument);
}

int os_wait_readable(int fd, bool *readable) { return fails("wait") ? -1 : on_wait(fd, readable); }

static ssize_t fill_buffer(void *file, char *bytes, size_t size) {
    if (fails("fread"))
        return -1;
    return static_cast<ssize_t>(fread(bytes, 1, size, static_cast<FILE *>(file)));
}

static ssize_t empty_buffer(void *file, const char *bytes, size_t size) {
    size_t written = fails("fwrite") ? size / 2 : size;
    return static_cast<ssize_t>(fwrite(bytes, 1, written, static_cast<FILE *>(file)));
}

static int close_file(void *file) { return fclose(static_cast<FILE *>(file)); }

// A plain file, unless one of its buffers is to fail.
static FILE *open_file(const char *path, const char *mode) {
    FILE *file = fopen(real_path(path).c_str(), mode);
    if (file == nullptr || failures.count("fread") + failures.count("fwrite") == 0)
        return file;
    return fopencookie(file, mode, {fill_buffer, empty_buffer, nullptr, close_file});
}

FILE *os_fopen(const char *path, const char *mode) {
    return fails("fopen") ? nullptr : open_file(path, mode);
}

FILE *os_create_private(const char *path, mode_t mode) {
    bool failed = fails("create");
    if (!failed)
        unlink(real_path(path).c_str());
    private_file = failed ? nullptr : open_file(path, "w");
    chmod(real_path(path).c_str(), mode);
    log_line("create %s %04o%s", path, mode, private_file == nullptr ? " failed" : "");
    if (private_file != nullptr && fails("write"))
        private_file = freopen("/dev/full", "w", private_file);
    return private_file;
}

// The file's own mode stays, so that the test can read it whoever runs it.
int os_fchmod(FILE *stream, mode_t mode) {
    bool failed = fflush(stream) != 0 || fails("fchmod");
    log_line("fchmod %04o %ld%s", mode, ftell(stream), failed ? " failed" : "");
    return failed ? -1 : 0;
}

int os_fsync(FILE *stream) {
    bool failed = fflush(stream) != 0 || fails("fsync");
    log_line("fsync%s", failed ? " failed" : "");
    return failed ? -1 : 0;
}

bool os_complain_at_once(const char *text) { return stderr_is_writable && fputs(text, stderr) >= 0; }

void os_share_signals() {}

int os_fclose(FILE *stream) {
    bool failed = fails("fclose");
    if (stream == private_file)
        log_line("fclose%s", failed ? " failed" : "");
    int status = fclose(stream);
    return failed ? -1 : status;
}

bool os_is_terminal(FILE *) { return terminal; }

bool os_exists(const char *path) {
    struct stat status;
    return stat(real_path(path).c_str(), &status) == 0 || (errno != ENOENT && errno != ENOTDIR);
}

int os_mode(const char *path, mode_t *mode) {
    struct stat status;
    if (fails("mode") || stat(real_path(path).c_str(), &status) != 0)
        return -1;
    *mode = status.st_mode & 0777;
    return 0;
}

int os_copy_owner(const char *from, FILE *to) {
    bool failed = fails("owner");
    log_line("owner %s%s", from, failed ? " failed" : "");
    struct stat status;
    if (failed || stat(real_path(from).c_str(), &status) != 0)
        return -1;
    return fileno(to) >= 0 ? fchown(fileno(to), status.st_uid, status.st_gid) : 0;
}

// Whoever runs it takes the place of root.
int os_look_at(const char *path, mode_t *mode, uid_t *owner) {
    if (fails("look"))
        return -1;
    struct stat status;
    if (lstat(real_path(path).c_str(), &status) != 0)
        return -1;
    *mode = status.st_mode;
    *owner = status.st_uid == geteuid() ? 0 : status.st_uid;
    return 0;
}

int os_read_link(const char *path, std::string *target) {
    if (fails("read_link"))
        return -1;
    char text[PATH_MAX];
    ssize_t length = readlink(real_path(path).c_str(), text, sizeof text);
    if (length < 0)
        return -1;
    target->assign(text, static_cast<size_t>(length));
    return 0;
}

int os_link(const char *existing, const char *name) {
    bool failed = fails("link");
    log_line("link %s %s%s", existing, name, failed ? " failed" : "");
    return failed ? -1 : link(real_path(existing).c_str(), real_path(name).c_str());
}

int os_rename(const char *from, const char *to) {
    bool failed = fails("rename");
    log_line("rename %s %s%s", from, to, failed ? " failed" : "");
    return failed ? -1 : rename(real_path(from).c_str(), real_path(to).c_str());
}

int os_unlink(const char *path) {
    log_line("unlink %s", path);
    return unlink(real_path(path).c_str());
}

int os_list_directory(const char *path, std::vector<std::string> *names) {
    std::error_code failed;
    for (const auto &entry : std::filesystem::directory_iterator(real_path(path), failed))
        names->push_back(entry.path().filename());
    std::sort(names->begin(), names->end());
    return failed ? -1 : 0;
}

int os_system(const char *command) {
    log_line("system %s", command);
    return on_system(command);
}

FILE *os_popen(const char *command) {
    bool failed = fails("popen");
    log_line("popen %s%s", command, failed ? " failed" : "");
    if (failed)
        return nullptr;
    FILE *stream = tmpfile();
    fputs(on_popen(command).c_str(), stream);
    rewind(stream);
    return stream;
}

int os_pclose(FILE *stream) { return fclose(stream); }

pid_t os_fork() {
    bool failed = fails("fork");
    log_line("fork%s", failed ? " failed" : "");
    return failed ? -1 : on_fork();
}

void os_exec(const char *path) {
    log_line("exec %s", path);
    on_exec(path);
}

int os_waitpid(pid_t child) {
    bool failed = fails("waitpid");
    log_line("waitpid %d%s", child, failed ? " failed" : "");
    return failed ? -1 : 0;
}

bool os_is_ignored(int signal_number) {
    struct sigaction action;
    return sigaction(signal_number, nullptr, &action) == 0 && action.sa_handler == SIG_IGN;
}

void os_sleep(unsigned seconds) { log_line("sleep %u", seconds); }
void os_usleep(unsigned microseconds) { log_line("usleep %u", microseconds); }
uint32_t os_getuid() { return uid; }
time_t os_time() { return now; }

int os_random(void *bytes, size_t size) {
    if (fails("random"))
        return -1;
    memset(bytes, 0xA5, size);
    return 0;
}

void os_syslog(const char *identity, int options, int facility, int priority, const char *message) {
    log_line("syslog %s %d %d %d %s", identity, options, facility, priority, message);
}
