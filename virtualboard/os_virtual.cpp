// The door to a board made of files. The same program runs over it as over os_linux.cpp.
#include "hw/os.h"

#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "board.h"
#include "device_files.h"
#include "faults.h"
#include "hw/port_grants.h"
#include "mailer.h"
#include "options.h"
#include "private_root.h"
#include "signals.h"
#include "streams.h"
#include "trace.h"

static virtual_options options;
static virtual_board board;
static double slept_s; // how far sleeps moved the board's clock
static unsigned sleep_count;
static timespec switched_on; // by the real, monotonic clock
static time_t started_at;

[[noreturn]] static void refuse_board(const std::string &cause) {
    fprintf(stderr, "kestrel-virtual: %s\n", cause.c_str());
    exit(USAGE_STATUS);
}

static pid_t running_child; // 0: none

// A child that still prepares its files would make some after they were removed.
static void end_child() {
    if (running_child <= 0)
        return;
    kill(running_child, SIGKILL);
    waitpid(running_child, nullptr, 0);
}

static void clean_up() {
    end_child();
    fflush(stdout);
    remove_private_root();
    close_trace();
}

static void end_of_run() {
    clean_up();
    if (remembered_signal() != 0) // it came after the last access
        end_by_signal(remembered_signal());
    if (options.strict && unanswered_count() > 0)
        _exit(STRICT_STATUS);
}

// A closed standard stream would hand its number to the first device that is opened.
static void fill_standard_streams() {
    for (int fd : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO})
        if (fcntl(fd, F_GETFD) == -1 && open("/dev/null", O_RDWR) != fd)
            _exit(USAGE_STATUS);
}

void os_start(int *argc, char ***argv) {
    fill_standard_streams();
    signal(SIGXFSZ, SIG_IGN); // as the real door does
    options = take_virtual_options(argc, argv);
    std::string error;
    if (!load_board(options.board, &board, &error))
        refuse_board(error);
    if (!options.trace_path.empty() && !open_trace(options.trace_path))
        refuse_board(options.trace_path + ": " + strerror(errno));
    remember_signals();
    if (!options.calls_path.empty() && !open_calls(options.calls_path))
        refuse_board(options.calls_path + ": " + strerror(errno));
    plan_faults(options.faults);
    bool made = options.again ? reuse_private_root(options.keep, &error)
                              : make_private_root(board, options.keep, &error);
    atexit(end_of_run); // what is only half made goes, too
    if (!made)
        refuse_board(error);
    clock_gettime(CLOCK_MONOTONIC, &switched_on);
    started_at = options.clock_given ? options.clock : time(nullptr);
}

// Nothing is half done here: a signal that came ends the run.
static void end_if_signalled() {
    if (remembered_signal() == 0)
        return;
    clean_up();
    end_by_signal(remembered_signal());
}

// Seconds since the board was switched on. With a clock that was given, only sleeps move it: two runs are the
// same.
static double board_seconds() {
    if (options.clock_given)
        return slept_s;
    timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    double real = static_cast<double>(now.tv_sec - switched_on.tv_sec) +
                  static_cast<double>(now.tv_nsec - switched_on.tv_nsec) / 1e9;
    real *= options.speed;
    return options.fast ? real + slept_s : real;
}

static int fail_with(int error) {
    errno = error;
    return -1;
}

// ---- Ports

int os_iopl(int level) {
    if (call_fails("iopl %d", level))
        return -1;
    bool refused = level > 0 && board.iopl_error != 0;
    trace("iopl %d%s", level, refused ? " failed" : "");
    if (refused)
        return fail_with(board.iopl_error);
    note_port_level(level);
    return 0;
}

int os_ioperm(uint16_t first, unsigned count, bool on) {
    if (call_fails("ioperm %04x %u %d", first, count, on ? 1 : 0))
        return -1;
    int error = 0;
    for (const auto &[port, refused_with] : board.ioperm_errors)
        if (port >= first && port < first + count)
            error = refused_with;
    trace("ioperm %04x %u %d%s", first, count, on ? 1 : 0, error != 0 ? " failed" : "");
    if (error != 0)
        return fail_with(error);
    note_port_range(first, count, on);
    return 0;
}

static port_answer ask_devices_for(uint16_t port, uint8_t *value) {
    double now_s = board_seconds();
    port_answer answer = superio_inb(&board.superio, port, now_s, value);
    for (monitor_chip &chip : board.monitors)
        if (answer == NOT_MINE)
            answer = monitor_inb(&chip, port, now_s, value);
    for (port_block &block : board.blocks)
        if (answer == NOT_MINE)
            answer = block_inb(&block, port, now_s, value);
    return answer;
}

static port_answer tell_devices(uint16_t port, uint8_t value) {
    double now_s = board_seconds();
    port_answer answer = superio_outb(&board.superio, port, now_s, value);
    for (monitor_chip &chip : board.monitors)
        if (answer == NOT_MINE)
            answer = monitor_outb(&chip, port, now_s, value);
    for (port_block &block : board.blocks)
        if (answer == NOT_MINE)
            answer = block_outb(&block, port, now_s, value);
    for (smbus_adapter &adapter : board.adapters)
        if (answer == NOT_MINE)
            answer = smbus_outb(&adapter, port, value);
    return answer;
}

// The register that the monitor at `port` has selected, for the message.
static std::string register_at(uint16_t port) {
    char text[32] = "";
    for (const monitor_chip &chip : board.monitors)
        if (port == chip.data_port)
            snprintf(text, sizeof text, " (register %02x)", chip.index);
    if (board.superio.index_port != 0 && port == board.superio.data_port)
        snprintf(text, sizeof text, " (register %02x)", board.superio.index);
    return text;
}

int os_inb(uint16_t port, uint8_t *value) {
    end_if_signalled();
    if (call_fails("inb %04x", port))
        return -1;
    if (!ports_granted(port, 1)) {
        trace("inb %04x refused", port);
        return fail_with(EPERM);
    }
    port_answer answer = ask_devices_for(port, value);
    if (answer == FAILED) {
        trace("inb %04x failed", port);
        return fail_with(EIO);
    }
    if (answer != ANSWERED) {
        *value = 0xFF; // as an empty bus reads
        if (answer == NO_REGISTER || board.absent_ports.count(port) == 0)
            report_unanswered("inb %04x%s", port, register_at(port).c_str());
    }
    trace("inb %04x %02x", port, *value);
    return 0;
}

int os_outb(uint16_t port, uint8_t value) {
    end_if_signalled();
    if (call_fails("outb %04x %02x", port, value))
        return -1;
    if (!ports_granted(port, 1)) {
        trace("outb %04x %02x refused", port, value);
        return fail_with(EPERM);
    }
    port_answer answer = tell_devices(port, value);
    trace("outb %04x %02x%s", port, value, answer == FAILED ? " failed" : "");
    if (answer == FAILED)
        return fail_with(EIO);
    if (answer == NO_REGISTER || (answer == NOT_MINE && board.absent_ports.count(port) == 0))
        report_unanswered("outb %04x %02x%s", port, value, register_at(port).c_str());
    return 0;
}

int os_inl(uint16_t port, uint32_t *value) {
    end_if_signalled();
    if (call_fails("inl %04x", port))
        return -1;
    if (!ports_granted(port, 4)) {
        trace("inl %04x refused", port);
        return fail_with(EPERM);
    }
    port_answer answer = pci_inl(&board.pci, port, value);
    for (port_block &block : board.blocks)
        if (answer == NOT_MINE)
            answer = block_inl(&block, port, board_seconds(), value);
    if (answer == FAILED) {
        trace("inl %04x failed", port);
        return fail_with(EIO);
    }
    if (answer == NOT_MINE) {
        *value = 0xFFFFFFFF;
        if (board.absent_ports.count(port) == 0)
            report_unanswered("inl %04x", port);
    }
    trace("inl %04x %08x", port, *value);
    return 0;
}

int os_outl(uint16_t port, uint32_t value) {
    end_if_signalled();
    if (call_fails("outl %04x %08x", port, value))
        return -1;
    if (!ports_granted(port, 4)) {
        trace("outl %04x %08x refused", port, value);
        return fail_with(EPERM);
    }
    port_answer answer = pci_outl(&board.pci, port, value);
    for (port_block &block : board.blocks)
        if (answer == NOT_MINE)
            answer = block_outl(&block, port, board_seconds(), value);
    trace("outl %04x %08x%s", port, value, answer == FAILED ? " failed" : "");
    if (answer == FAILED)
        return fail_with(EIO);
    if (answer == NOT_MINE && board.absent_ports.count(port) == 0)
        report_unanswered("outl %04x %08x", port, value);
    return 0;
}

// A run has a board of its own: there is nobody to take turns with.
void os_begin_turn() {
    count_call("begin_turn");
    hold_signals();
}

void os_end_turn() {
    count_call("end_turn");
    release_signals();
    end_if_signalled();
}

// ---- Devices and files

// A device file that the board has neither nor declares absent.
static void check_device(const char *path) {
    struct stat status;
    if (strncmp(path, "/dev/", 5) == 0 && !has_device(&board, path) &&
        stat(real_path(path).c_str(), &status) != 0 && board.absent_files.count(path) == 0)
        report_unanswered("open %s", path);
}

static int read_half = -1; // a descriptor that has no more bytes after a short read

static const char *outcome(bool failed) { return failed ? " failed" : ""; }

int os_open(const char *path, int flags) {
    end_if_signalled();
    if (call_fails("open %s", path))
        return -1;
    check_device(path);
    int fd = has_device(&board, path) ? open_device(&board, path)
                                      : open(real_path(path).c_str(), flags | O_CLOEXEC);
    trace("open %s%s", path, outcome(fd < 0));
    return fd;
}

// A close that fails has closed all the same.
int os_close(int fd) {
    bool fails = call_fails("close");
    int error = errno;
    if (fd == read_half)
        read_half = -1;
    if (is_device(fd))
        close_device(fd);
    else if (close(fd) != 0)
        return -1;
    return fails ? fail_with(error) : 0;
}

ssize_t os_read(int fd, void *buffer, size_t size) {
    transfer_fault fault = transfer_fails("read %zu", size);
    if (fault == FAILED_TRANSFER)
        return -1;
    if (fd == read_half)
        return 0;
    if (fault == HALF_TRANSFER) {
        read_half = fd;
        size /= 2;
    }
    return is_device(fd) ? device_read(&board, fd, buffer, size) : read(fd, buffer, size);
}

int os_seek(int fd, int64_t offset) {
    if (call_fails("seek %lx", static_cast<unsigned long>(offset)))
        return -1;
    trace("seek %lx", static_cast<unsigned long>(offset));
    if (is_device(fd))
        return device_seek(fd, offset);
    return lseek(fd, offset, SEEK_SET) == offset ? 0 : -1;
}

void *os_map(int fd, int64_t offset, size_t size) {
    if (call_fails("map %lx %zx", static_cast<unsigned long>(offset), size))
        return nullptr;
    void *address = nullptr;
    if (is_device(fd))
        address = device_map(&board, fd, offset, size);
    else
        fail_with(ENODEV);
    trace("map %lx %zx%s", static_cast<unsigned long>(offset), size, outcome(address == nullptr));
    return address;
}

int os_copy(void *to, const void *mapped, size_t size) {
    if (call_fails("copy %zx", size))
        return -1;
    memcpy(to, mapped, size);
    return 0;
}

// What was allocated goes in any case.
int os_unmap(void *address, size_t size) {
    bool fails = call_fails("unmap %zx", size);
    free(address);
    return fails ? -1 : 0;
}

int os_ioctl(int fd, unsigned long request, void *argument) {
    end_if_signalled();
    if (call_fails("ioctl %lx", request))
        return -1;
    return is_device(fd) ? device_ioctl(&board, fd, request, argument, board_seconds()) : fail_with(ENOTTY);
}

int os_wait_readable(int fd, bool *readable) {
    if (call_fails("wait_readable"))
        return -1;
    return is_device(fd) ? device_wait(&board, fd, readable) : fail_with(EBADF);
}

FILE *os_fopen(const char *path, const char *mode) {
    end_if_signalled();
    if (call_fails("fopen %s %s", path, mode))
        return nullptr;
    check_device(path);
    FILE *file = fopen(real_path(path).c_str(), mode);
    trace("fopen %s %s%s", path, mode, outcome(file == nullptr));
    return make_stream(file, path, mode);
}

// As the real door does it.
static FILE *create_private(const char *place, mode_t mode) {
    unlink(place);
    int fd = open(place, O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, mode);
    return fd >= 0 && fchmod(fd, mode) == 0 ? fdopen(fd, "w") : nullptr;
}

FILE *os_create_private(const char *path, mode_t mode) {
    end_if_signalled();
    if (call_fails("create %s %04o", path, mode))
        return nullptr;
    FILE *file = create_private(real_path(path).c_str(), mode);
    trace("create %s %04o%s", path, mode, outcome(file == nullptr));
    return make_stream(file, path, "w");
}

int os_fchmod(FILE *stream, mode_t mode) {
    bool flushed = fflush(stream) == 0;
    if (call_fails("fchmod %04o", mode))
        return -1;
    bool failed = !flushed || fchmod(descriptor_of(stream), mode) != 0;
    trace("fchmod %04o%s", mode, outcome(failed));
    return failed ? -1 : 0;
}

int os_fsync(FILE *stream) {
    bool flushed = fflush(stream) == 0;
    if (call_fails("fsync"))
        return -1;
    bool failed = !flushed || fsync(descriptor_of(stream)) != 0;
    trace("fsync%s", outcome(failed));
    return failed ? -1 : 0;
}

int os_fclose(FILE *stream) { return fclose(stream) == 0 ? 0 : -1; }

// As the real door does it.
bool os_complain_at_once(const char *text) {
    pollfd out = {STDERR_FILENO, POLLOUT, 0};
    return poll(&out, 1, 0) == 1 && fputs(text, stderr) >= 0;
}

void os_share_signals() {}

// Nothing of the board: not counted.
bool os_is_terminal(FILE *stream) { return isatty(fileno(stream)) == 1; }

bool os_exists(const char *path) {
    if (call_fails("exists %s", path))
        return errno != ENOENT && errno != ENOTDIR;
    struct stat status;
    return has_device(&board, path) || stat(real_path(path).c_str(), &status) == 0;
}

int os_mode(const char *path, mode_t *mode) {
    if (call_fails("mode %s", path))
        return -1;
    struct stat status;
    if (stat(real_path(path).c_str(), &status) != 0)
        return -1;
    *mode = status.st_mode & 0777;
    return 0;
}

int os_copy_owner(const char *from, FILE *to) {
    if (call_fails("owner %s", from))
        return -1;
    struct stat status;
    bool known = stat(real_path(from).c_str(), &status) == 0;
    int result = known ? fchown(descriptor_of(to), status.st_uid, status.st_gid) : -1;
    trace("owner %s%s", from, outcome(result != 0));
    return result;
}

// Whoever runs it takes the place of root.
int os_look_at(const char *path, mode_t *mode, uid_t *owner) {
    if (call_fails("look %s", path))
        return -1;
    struct stat status;
    if (lstat(real_path(path).c_str(), &status) != 0)
        return -1;
    *mode = status.st_mode;
    *owner = status.st_uid == geteuid() ? 0 : status.st_uid;
    return 0;
}

int os_read_link(const char *path, std::string *target) {
    if (call_fails("read_link %s", path))
        return -1;
    char text[PATH_MAX];
    ssize_t length = readlink(real_path(path).c_str(), text, sizeof text);
    if (length < 0)
        return -1;
    target->assign(text, static_cast<size_t>(length));
    return 0;
}

int os_link(const char *existing, const char *name) {
    if (call_fails("link %s %s", existing, name))
        return -1;
    int result = link(real_path(existing).c_str(), real_path(name).c_str());
    trace("link %s %s%s", existing, name, outcome(result != 0));
    return result;
}

int os_rename(const char *from, const char *to) {
    if (call_fails("rename %s %s", from, to))
        return -1;
    int result = rename(real_path(from).c_str(), real_path(to).c_str());
    trace("rename %s %s%s", from, to, outcome(result != 0));
    return result;
}

int os_unlink(const char *path) {
    if (call_fails("unlink %s", path))
        return -1;
    int result = unlink(real_path(path).c_str());
    trace("unlink %s%s", path, outcome(result != 0));
    return result;
}

int os_list_directory(const char *path, std::vector<std::string> *names) {
    if (call_fails("list %s", path))
        return -1;
    DIR *directory = opendir(real_path(path).c_str());
    trace("list %s%s", path, outcome(directory == nullptr));
    if (directory == nullptr)
        return -1;
    while (dirent *entry = readdir(directory)) {
        std::string name = entry->d_name;
        if (name != "." && name != "..")
            names->push_back(name);
    }
    return closedir(directory);
}

// ---- Processes and time

constexpr int COMMAND_NOT_FOUND = 127;

static int wait_status(int exit_status) { return exit_status << 8; }

int os_system(const char *command) {
    if (call_fails("system %s", command))
        return -1;
    trace("system %s", command);
    const char remove[] = "rm -f ";
    if (strncmp(command, remove, strlen(remove)) == 0) {
        unlink(real_path(command + strlen(remove)).c_str());
        return 0;
    }
    auto answer = board.commands.find(command);
    if (answer != board.commands.end())
        return wait_status(answer->second.status);
    report_unanswered("the command \"%s\"", command);
    return wait_status(COMMAND_NOT_FOUND);
}

FILE *os_popen(const char *command) {
    if (call_fails("popen %s", command))
        return nullptr;
    trace("popen %s", command);
    auto answer = board.commands.find(command);
    if (answer == board.commands.end())
        report_unanswered("the command \"%s\"", command);
    FILE *file = tmpfile();
    if (file != nullptr && answer != board.commands.end()) {
        fputs(answer->second.output.c_str(), file);
        rewind(file);
    }
    return make_stream(file, command, "r");
}

int os_pclose(FILE *stream) { return fclose(stream); }

// The child shares the trace file's position with its parent: what either has still in its buffer would be
// written twice, or out of order.
pid_t os_fork() {
    end_if_signalled();
    if (call_fails("fork"))
        return -1;
    trace("fork%s", outcome(board.fork_error != 0));
    if (board.fork_error != 0)
        return fail_with(board.fork_error);
    flush_trace();
    running_child = fork();
    if (running_child > 0)
        leave_number_to_child();
    return running_child;
}

void os_exec(const char *path) {
    if (call_fails("exec %s", path))
        return;
    std::string text;
    bool readable = read_script(real_path(path), &text);
    trace("exec %s%s", path, outcome(!readable));
    flush_trace();
    if (readable)
        run_script(board.mail, real_path("/"), path, text, !options.keep.empty());
}

// Nothing is half done while a child is waited for: a signal ends the run then, too.
int os_waitpid(pid_t child) {
    bool fails = call_fails("waitpid");
    int planned = errno;
    wait_unless_signalled(child);
    end_if_signalled();
    pid_t ended;
    do
        ended = waitpid(child, nullptr, 0);
    while (ended == -1 && errno == EINTR);
    running_child = 0;
    if (fails)
        return fail_with(planned);
    int error = ended == child ? board.waitpid_error : errno;
    trace("waitpid%s", outcome(error != 0));
    return error != 0 ? fail_with(error) : 0;
}

bool os_is_ignored(int signal_number) {
    struct sigaction action;
    return sigaction(signal_number, nullptr, &action) == 0 && action.sa_handler == SIG_IGN;
}

static void pass_time(double seconds) {
    if (!options.fast && !options.clock_given)
        sleep_unless_signalled(seconds);
    end_if_signalled();
    slept_s += seconds;
}

void os_sleep(unsigned seconds) {
    count_call("sleep %u", seconds);
    trace("sleep %u", seconds);
    sleep_count++;
    if (options.sleeps != 0 && sleep_count >= options.sleeps)
        exit(0);
    pass_time(seconds);
}

void os_usleep(unsigned microseconds) {
    count_call("usleep %u", microseconds);
    trace("usleep %u", microseconds);
    pass_time(microseconds / 1e6);
}

uint32_t os_getuid() {
    count_call("getuid");
    return options.uid_given ? options.uid : board.uid;
}

// The same in every run.
int os_random(void *bytes, size_t size) {
    if (call_fails("random %zu", size))
        return -1;
    memset(bytes, 0, size);
    return 0;
}

time_t os_time() {
    count_call("time");
    return started_at + static_cast<time_t>(board_seconds());
}

void os_syslog(const char *identity, int log_options, int facility, int priority, const char *message) {
    count_call("syslog");
    trace("syslog %s %d %d %d %s", identity, log_options, facility, priority, message);
}
