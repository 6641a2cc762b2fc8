#include "os_fuzz.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <linux/i2c-dev.h>
#include <linux/i2c.h>
#include <linux/ipmi.h>
#include <map>
#include <sys/ioctl.h>

#include "hw/os.h"

namespace fuzz_door {

struct memory_range {
    uint32_t address;
    std::string bytes;
};

static std::map<std::string, std::string> files;
static std::vector<memory_range> memory;
static uint8_t memory_between;
static std::string stream;
static size_t stream_at;
static bool bmc;
static unsigned memory_faults;
static std::string command_output;
static std::vector<std::string> commands;
static int64_t position;

void reset() {
    files.clear();
    memory.clear();
    memory_between = 0;
    stream.clear();
    stream_at = 0;
    bmc = false;
    memory_faults = 0;
    command_output.clear();
    commands.clear();
}

void put_file(const char *path, std::string contents) { files[path] = std::move(contents); }

// The path of a line "@/proc/modules"; empty for every other line.
static std::string path_of(const std::string &line) {
    return line.size() > 2 && line[0] == '@' && line[1] == '/' ? line.substr(1) : "";
}

void put_files(const uint8_t *data, size_t size) {
    std::string all(reinterpret_cast<const char *>(data), size);
    std::string *file = nullptr;
    for (size_t at = 0; at < all.size();) {
        size_t end = std::min(all.find('\n', at), all.size());
        std::string path = path_of(all.substr(at, end - at));
        if (!path.empty())
            file = &(files[path] = "");
        else if (file != nullptr)
            *file += all.substr(at, end + 1 - at);
        at = end + 1;
    }
}

void put_memory(uint32_t address, std::string bytes) { memory.push_back({address, std::move(bytes)}); }

void put_memory_between(uint8_t byte) { memory_between = byte; }

void put_memory_faults(unsigned faults) { memory_faults = faults; }

void put_stream(const uint8_t *data, size_t size) {
    stream.assign(reinterpret_cast<const char *>(data), size);
    stream_at = 0;
}

void put_bmc(bool present) { bmc = present; }

void put_command_output(std::string text) { command_output = std::move(text); }

const std::vector<std::string> &commands_run() { return commands; }

void expect(bool holds, const char *what) {
    if (holds)
        return;
    fprintf(stderr, "Not so: %s\n", what);
    abort();
}

static uint8_t next_byte() {
    return stream_at < stream.size() ? static_cast<uint8_t>(stream[stream_at++]) : 0xFF;
}

static void copy_memory(uint64_t address, uint8_t *bytes, size_t size) {
    memset(bytes, memory_between, size);
    for (const memory_range &range : memory) {
        uint64_t first = std::max<uint64_t>(address, range.address);
        uint64_t last = std::min<uint64_t>(address + size, range.address + range.bytes.size());
        if (first < last)
            memcpy(bytes + (first - address), range.bytes.data() + (first - range.address), last - first);
    }
}

static int fail(int error) {
    errno = error;
    return -1;
}

// What OpenIPMI's driver hands back: first a byte of FAULT_... bits, then the length, which may be a lie, and
// the reply. A fault changes the fields that a reply has besides: where it comes from, what it answers.
static int receive(ipmi_recv *received, uint8_t faults) {
    if ((faults & FAULT_RECEIVE) != 0)
        return fail(EMSGSIZE);
    size_t claimed = next_byte();
    size_t length = std::min<size_t>(claimed, received->msg.data_len);
    for (size_t i = 0; i < length; i++)
        received->msg.data[i] = next_byte();
    bool lies = (faults & FAULT_LENGTH) != 0;
    received->msg.data_len = static_cast<unsigned short>(lies ? claimed * 257 : length);
    if ((faults & FAULT_SENDER) == 0)
        return 0;
    received->recv_type = next_byte();
    received->msgid = next_byte();
    received->msg.netfn = next_byte();
    received->msg.cmd = next_byte();
    memset(received->addr, next_byte(), received->addr_len);
    received->addr_len = next_byte() * 257u;
    return 0;
}

// The same, cut to its room, which takes it away.
static int receive_cut(ipmi_recv *received) {
    for (unsigned i = 0; i < received->msg.data_len; i++)
        received->msg.data[i] = next_byte();
    return fail(EMSGSIZE);
}

// The maker's driver: a byte of FAULT_... bits, then how many bytes it says that came back, which may be more
// than there is room for. A driver that lies fills all of its room, whatever it says.
static int exchange(const uint64_t *words) {
    uint8_t faults = next_byte();
    if ((faults & (FAULT_SEND | FAULT_RECEIVE)) != 0)
        return fail(EIO);
    uint8_t claimed = next_byte();
    bool lies = (faults & FAULT_LENGTH) != 0;
    auto *reply = reinterpret_cast<uint8_t *>(words[6]);
    for (uint64_t i = 0; i < (lies ? words[7] : std::min<uint64_t>(claimed, words[7])); i++)
        reply[i] = next_byte();
    auto *status = reinterpret_cast<uint8_t *>(words[3]);
    memset(status, faults, 16);
    *reinterpret_cast<uint64_t *>(words[8]) = lies ? claimed * 0x0101010101010101u : claimed;
    return 0;
}

static uint8_t faults_of_this_reply;

} // namespace fuzz_door

using namespace fuzz_door;

constexpr int DEVICE = 50;

void os_start(int *, char ***) {}
int os_iopl(int) { return 0; }
int os_ioperm(uint16_t, unsigned, bool) { return 0; }
void os_begin_turn() {}
void os_end_turn() {}

int os_inb(uint16_t, uint8_t *value) {
    *value = next_byte();
    return 0;
}

int os_outb(uint16_t, uint8_t) { return 0; }

int os_inl(uint16_t, uint32_t *value) {
    *value = next_byte() * 0x01010101u;
    return 0;
}

int os_outl(uint16_t, uint32_t) { return 0; }

int os_open(const char *path, int) {
    if (strcmp(path, "/dev/mem") == 0)
        return (memory_faults & FAULT_OPEN) != 0 ? fail(EPERM) : DEVICE;
    if (strncmp(path, "/dev/i2c-", 9) == 0)
        return DEVICE;
    bool is_bmc = strcmp(path, "/dev/ipmi0") == 0 || strcmp(path, "/dev/qxbmc") == 0;
    return bmc && is_bmc ? DEVICE : fail(ENOENT);
}

int os_close(int) { return 0; }

ssize_t os_read(int, void *buffer, size_t size) {
    if ((memory_faults & FAULT_READ) != 0 && position % 4096 == 0) { // every 256th paragraph
        position += static_cast<int64_t>(size);
        return 7;
    }
    copy_memory(static_cast<uint64_t>(position), static_cast<uint8_t *>(buffer), size);
    position += static_cast<int64_t>(size);
    return static_cast<ssize_t>(size);
}

int os_seek(int, int64_t offset) {
    if ((memory_faults & FAULT_SEEK) != 0)
        return fail(EINVAL);
    position = offset;
    return 0;
}

void *os_map(int, int64_t offset, size_t size) {
    expect(offset % 4096 == 0 && size > 0, "what is mapped begins a page and has a size");
    if ((memory_faults & FAULT_MAP) != 0) {
        fail(EPERM);
        return nullptr;
    }
    auto *bytes = static_cast<uint8_t *>(malloc(size));
    copy_memory(static_cast<uint64_t>(offset), bytes, size);
    return bytes;
}

int os_copy(void *to, const void *mapped, size_t size) {
    if ((memory_faults & FAULT_COPY) != 0)
        return fail(EFAULT);
    memcpy(to, mapped, size);
    return 0;
}

int os_unmap(void *address, size_t) {
    free(address);
    return (memory_faults & FAULT_UNMAP) != 0 ? fail(EINVAL) : 0;
}

int os_ioctl(int, unsigned long request, void *argument) {
    constexpr unsigned long QXBMC_REQUEST = 0x1082;
    if (request == QXBMC_REQUEST)
        return exchange(static_cast<const uint64_t *>(argument));
    if (request == IPMICTL_SEND_COMMAND) {
        faults_of_this_reply = next_byte();
        return (faults_of_this_reply & FAULT_SEND) != 0 ? fail(EIO) : 0;
    }
    if (request == IPMICTL_RECEIVE_MSG)
        return receive(static_cast<ipmi_recv *>(argument), faults_of_this_reply);
    if (request == IPMICTL_RECEIVE_MSG_TRUNC)
        return receive_cut(static_cast<ipmi_recv *>(argument));
    if (request == I2C_SMBUS)
        static_cast<i2c_smbus_ioctl_data *>(argument)->data->byte = next_byte();
    return 0;
}

int os_wait_readable(int, bool *readable) {
    if ((faults_of_this_reply & FAULT_WAIT) != 0)
        return fail(EBADF);
    *readable = (faults_of_this_reply & FAULT_SILENT) == 0;
    return *readable ? 1 : 0;
}

static FILE *open_text(std::string &text) {
    return text.empty() ? fopen("/dev/null", "r") : fmemopen(text.data(), text.size(), "r");
}

// What is written goes nowhere.
FILE *os_fopen(const char *path, const char *mode) {
    if (mode[0] == 'w')
        return fopen("/dev/null", "w");
    auto found = files.find(path);
    if (found != files.end())
        return open_text(found->second);
    fail(ENOENT);
    return nullptr;
}

FILE *os_create_private(const char *, mode_t) { return fopen("/dev/null", "w"); }
int os_fchmod(FILE *, mode_t) { return 0; }
int os_fsync(FILE *) { return 0; }
int os_fclose(FILE *file) { return fclose(file); }
bool os_complain_at_once(const char *) { return true; }
void os_share_signals() {}
bool os_is_terminal(FILE *) { return true; }
bool os_exists(const char *path) { return files.count(path) != 0; }
int os_mode(const char *, mode_t *) { return fail(ENOENT); }
int os_copy_owner(const char *, FILE *) { return fail(ENOENT); }
int os_look_at(const char *, mode_t *, uid_t *) { return fail(EACCES); }
int os_read_link(const char *, std::string *) { return fail(ENOENT); }
int os_link(const char *, const char *) { return fail(ENOENT); }
int os_rename(const char *from, const char *to) {
    files[to] = files[from];
    files.erase(from);
    return 0;
}
int os_unlink(const char *) { return 0; }

int os_list_directory(const char *path, std::vector<std::string> *names) {
    std::string below = std::string(path) + "/";
    for (const auto &[name, contents] : files)
        if (name.compare(0, below.size(), below) == 0) {
            std::string rest = name.substr(below.size());
            std::string first = rest.substr(0, rest.find('/'));
            if (names->empty() || names->back() != first)
                names->push_back(first);
        }
    return names->empty() ? -1 : 0;
}

int os_system(const char *command) {
    commands.emplace_back(command);
    return 0;
}
FILE *os_popen(const char *) { return open_text(command_output); }
int os_pclose(FILE *file) { return fclose(file); }
pid_t os_fork() { return fail(ENOSYS); }
void os_exec(const char *) {}
int os_waitpid(pid_t) { return fail(ENOSYS); }
void os_sleep(unsigned) {}
void os_usleep(unsigned) {}
bool os_is_ignored(int) { return false; }
uint32_t os_getuid() { return 0; }
int os_random(void *, size_t) { return fail(ENOSYS); }
time_t os_time() { return 0; }
void os_syslog(const char *, int, int, int, const char *) {}
