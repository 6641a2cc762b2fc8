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

static std::map<std::string, std::string> files;
static uint32_t memory_address;
static std::string memory;
static std::string stream;
static size_t stream_at;
static bool bmc;
static int64_t position;

void reset() {
    files.clear();
    memory.clear();
    stream.clear();
    stream_at = 0;
    bmc = false;
}

void put_file(const char *path, std::string contents) { files[path] = std::move(contents); }

void put_memory(uint32_t address, std::string bytes) {
    memory_address = address;
    memory = std::move(bytes);
}

void put_stream(const uint8_t *data, size_t size) {
    stream.assign(reinterpret_cast<const char *>(data), size);
    stream_at = 0;
}

void put_bmc(bool present) { bmc = present; }

static uint8_t next_byte() {
    return stream_at < stream.size() ? static_cast<uint8_t>(stream[stream_at++]) : 0xFF;
}

static void copy_memory(uint64_t address, uint8_t *bytes, size_t size) {
    memset(bytes, 0, size);
    uint64_t first = std::max<uint64_t>(address, memory_address);
    uint64_t last = std::min<uint64_t>(address + size, memory_address + memory.size());
    if (first < last)
        memcpy(bytes + (first - address), memory.data() + (first - memory_address), last - first);
}

// A reply of the length that the stream says, as long as the buffer takes it.
static int receive(ipmi_recv *received) {
    size_t length = std::min<size_t>(next_byte() % 90, received->msg.data_len);
    for (size_t i = 0; i < length; i++)
        received->msg.data[i] = next_byte();
    received->msg.data_len = static_cast<unsigned short>(length);
    return 0;
}

// The maker's driver: the stream says how many bytes came back, which may be more than there is room for.
static int exchange(const uint64_t *words) {
    uint8_t count = next_byte();
    auto *reply = reinterpret_cast<uint8_t *>(words[6]);
    for (uint64_t i = 0; i < std::min<uint64_t>(count, words[7]); i++)
        reply[i] = next_byte();
    *reinterpret_cast<uint64_t *>(words[8]) = count == 255 ? UINT64_MAX : count;
    return 0;
}

} // namespace fuzz_door

using namespace fuzz_door;

static int not_here() {
    errno = ENOENT;
    return -1;
}

constexpr int DEVICE = 50;

void os_start(int *, char ***) {}
int os_iopl(int) { return 0; }
int os_ioperm(uint16_t, unsigned, bool) { return 0; }
void os_hold_signals() {}
void os_release_signals() {}

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
    if (strcmp(path, "/dev/mem") == 0 || strncmp(path, "/dev/i2c-", 9) == 0)
        return DEVICE;
    bool is_bmc = strcmp(path, "/dev/ipmi0") == 0 || strcmp(path, "/dev/qxbmc") == 0;
    return bmc && is_bmc ? DEVICE : not_here();
}

int os_close(int) { return 0; }

ssize_t os_read(int, void *buffer, size_t size) {
    copy_memory(static_cast<uint64_t>(position), static_cast<uint8_t *>(buffer), size);
    position += static_cast<int64_t>(size);
    return static_cast<ssize_t>(size);
}

int os_seek(int, int64_t offset) {
    position = offset;
    return 0;
}

void *os_map(int, int64_t offset, size_t size) {
    auto *bytes = static_cast<uint8_t *>(malloc(size));
    copy_memory(static_cast<uint64_t>(offset), bytes, size);
    return bytes;
}

int os_unmap(void *address, size_t) {
    free(address);
    return 0;
}

int os_ioctl(int, unsigned long request, void *argument) {
    constexpr unsigned long QXBMC_REQUEST = 0x1082;
    if (request == QXBMC_REQUEST)
        return exchange(static_cast<const uint64_t *>(argument));
    if (request == IPMICTL_RECEIVE_MSG)
        return receive(static_cast<ipmi_recv *>(argument));
    if (request == I2C_SMBUS)
        static_cast<i2c_smbus_ioctl_data *>(argument)->data->byte = next_byte();
    return 0;
}

int os_wait_readable(int, bool *readable) {
    *readable = true;
    return 1;
}

// What is written goes nowhere; an empty file is read as one without bytes.
FILE *os_fopen(const char *path, const char *mode) {
    if (mode[0] == 'w')
        return fopen("/dev/null", "w");
    auto found = files.find(path);
    if (found == files.end()) {
        not_here();
        return nullptr;
    }
    if (found->second.empty())
        return fopen("/dev/null", "r");
    return fmemopen(found->second.data(), found->second.size(), "r");
}

FILE *os_create_private(const char *, mode_t) { return fopen("/dev/null", "w"); }
int os_fchmod(FILE *, mode_t) { return 0; }
int os_fsync(FILE *) { return 0; }
int os_fclose(FILE *file) { return fclose(file); }
bool os_exists(const char *path) { return files.count(path) != 0; }
int os_mode(const char *, mode_t *) { return not_here(); }
int os_link(const char *, const char *) { return not_here(); }
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

int os_system(const char *) { return 0; }
FILE *os_popen(const char *) { return fopen("/dev/null", "r"); }
int os_pclose(FILE *file) { return fclose(file); }
pid_t os_fork() { return not_here(); }
void os_exec(const char *) {}
int os_waitpid(pid_t) { return not_here(); }
void os_sleep(unsigned) {}
void os_usleep(unsigned) {}
uint32_t os_getuid() { return 0; }
time_t os_time() { return 0; }
void os_syslog(const char *, int, int, int, const char *) {}
