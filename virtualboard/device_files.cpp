#include "device_files.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <linux/i2c-dev.h>
#include <linux/i2c.h>
#include <map>
#include <unistd.h>

#include "options.h"
#include "trace.h"

enum device_kind { DEVICE_I2C, DEVICE_BMC, DEVICE_MEMORY };

struct device_file {
    device_kind kind;
    size_t index = 0; // of an adapter
    int64_t position = 0;
};

static std::map<int, device_file> open_files;

static int fail_with(int error) {
    errno = error;
    return -1;
}

static std::string adapter_path(const smbus_adapter &adapter) {
    return "/dev/i2c-" + std::to_string(adapter.number);
}

static bool find_device(const virtual_board *board, const char *path, device_file *file) {
    for (size_t i = 0; i < board->adapters.size(); i++)
        if (adapter_path(board->adapters[i]) == path) {
            *file = {DEVICE_I2C, i, 0};
            return true;
        }
    if (board->bmc.transport != NO_BMC && board->bmc.path == path) {
        *file = {DEVICE_BMC, 0, 0};
        return true;
    }
    if (board->memory.present && strcmp(path, "/dev/mem") == 0) {
        *file = {DEVICE_MEMORY, 0, 0};
        return true;
    }
    return false;
}

bool has_device(const virtual_board *board, const char *path) {
    device_file file;
    return find_device(board, path, &file);
}

int open_device(virtual_board *board, const char *path) {
    device_file file;
    if (!find_device(board, path, &file))
        return fail_with(ENOENT);
    int fd = open("/dev/null", O_RDWR | O_CLOEXEC); // a descriptor that is ours alone
    if (fd >= 0)
        open_files[fd] = file;
    return fd;
}

bool is_device(int fd) { return open_files.count(fd) != 0; }

void close_device(int fd) {
    open_files.erase(fd);
    close(fd);
}

static int bmc_ioctl(bmc_device *bmc, unsigned long request, void *argument, double now_s, bool *known) {
    return bmc->transport == BMC_QXBMC ? qxbmc_ioctl(bmc, request, argument, now_s, known)
                                       : openipmi_ioctl(bmc, request, argument, now_s, known);
}

// As the trace has it: the slave and the register.
static void report_transfer(const smbus_adapter &adapter, const i2c_smbus_ioctl_data *transfer) {
    report_unanswered("i2c-%d %s %02x %02x", adapter.number,
                      transfer->read_write == I2C_SMBUS_READ ? "read" : "write", adapter.taken,
                      transfer->command);
}

int device_ioctl(virtual_board *board, int fd, unsigned long request, void *argument, double now_s) {
    const device_file &file = open_files.at(fd);
    bool known = true;
    int result = fail_with(ENOTTY);
    if (file.kind == DEVICE_I2C)
        result = smbus_ioctl(&board->adapters[file.index], request, argument, now_s, &known);
    if (file.kind == DEVICE_BMC)
        result = bmc_ioctl(&board->bmc, request, argument, now_s, &known);
    if (!known) {
        int error = errno;
        if (file.kind == DEVICE_I2C)
            report_transfer(board->adapters[file.index], static_cast<const i2c_smbus_ioctl_data *>(argument));
        else
            report_unanswered("the last request to %s", board->bmc.path.c_str());
        errno = error;
    }
    return result;
}

ssize_t device_read(virtual_board *board, int fd, void *buffer, size_t size) {
    device_file &file = open_files.at(fd);
    if (file.kind != DEVICE_MEMORY)
        return fail_with(EINVAL);
    read_memory(&board->memory, static_cast<uint64_t>(file.position), static_cast<uint8_t *>(buffer), size);
    file.position += static_cast<int64_t>(size);
    return static_cast<ssize_t>(size);
}

int device_seek(int fd, int64_t offset) {
    open_files.at(fd).position = offset;
    return 0;
}

// A reply that never comes would be waited for without end; the run ends instead.
int device_wait(virtual_board *board, int fd, bool *readable) {
    if (open_files.at(fd).kind != DEVICE_BMC)
        return fail_with(EINVAL);
    if (board->bmc.pending.empty()) {
        trace("ipmi waits for ever");
        fprintf(stderr, "kestrel-virtual: the BMC never answers; kestrel would wait for ever\n");
        exit(SILENT_BMC_STATUS);
    }
    *readable = true;
    return 1;
}

void *device_map(virtual_board *board, int fd, int64_t offset, size_t size) {
    if (open_files.at(fd).kind != DEVICE_MEMORY || board->memory.map_refused || size == 0) {
        fail_with(EPERM);
        return nullptr;
    }
    auto *bytes = static_cast<uint8_t *>(malloc(size));
    if (bytes != nullptr)
        read_memory(&board->memory, static_cast<uint64_t>(offset), bytes, size);
    return bytes;
}
