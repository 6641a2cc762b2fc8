// The real machine: the system's own calls, with as little as can be around them.
#include "hw/os.h"

#include <cerrno>
#include <climits>
#include <csetjmp>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <sys/io.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <sys/random.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <syslog.h>
#include <unistd.h>

#include "hw/environment.h"
#include "hw/held_signals.h"
#include "hw/port_grants.h"
#include "hw/turns.h"

// A closed standard stream would hand its number to the first device that is opened, and then what is printed
// would be written into that device.
static void open_standard_streams() {
    for (int fd : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO})
        if (fcntl(fd, F_GETFD) == -1 && open("/dev/null", O_RDWR) != fd)
            _exit(255);
}

static void make_environment() {
    std::vector<std::string> made = safe_environment(environ, roots_own_directory);
    clearenv();
    for (const std::string &entry : made) {
        size_t name_end = entry.find('=');
        setenv(entry.substr(0, name_end).c_str(), entry.c_str() + name_end + 1, 1);
    }
}

void os_start(int *, char ***) {
    open_standard_streams();
    make_environment();
    signal(SIGXFSZ, SIG_IGN); // a write beyond the limit of a file's size fails, and is reported
    catch_signals();
    signal(SIGCHLD, SIG_DFL); // ignored, no child could be waited for
}

int os_iopl(int level) {
    if (iopl(level) != 0)
        return -1;
    note_port_level(level);
    return 0;
}

int os_ioperm(uint16_t first, unsigned count, bool on) {
    if (ioperm(first, count, on ? 1 : 0) != 0)
        return -1;
    note_port_range(first, count, on);
    return 0;
}

// An in or out of a port that the kernel did not grant raises SIGSEGV, so it is refused here instead.
static int refuse_port() {
    errno = EPERM;
    return -1;
}

int os_inb(uint16_t port, uint8_t *value) {
    if (!ports_granted(port, 1))
        return refuse_port();
    asm volatile("inb %1, %0" : "=a"(*value) : "Nd"(port));
    return 0;
}

int os_outb(uint16_t port, uint8_t value) {
    if (!ports_granted(port, 1))
        return refuse_port();
    asm volatile("outb %0, %1" : : "a"(value), "Nd"(port));
    return 0;
}

int os_inl(uint16_t port, uint32_t *value) {
    if (!ports_granted(port, 4))
        return refuse_port();
    asm volatile("inl %1, %0" : "=a"(*value) : "Nd"(port));
    return 0;
}

int os_outl(uint16_t port, uint32_t value) {
    if (!ports_granted(port, 4))
        return refuse_port();
    asm volatile("outl %0, %1" : : "a"(value), "Nd"(port));
    return 0;
}

static bool has_begun; // a turn, whether there is one to be had or not
static bool has_turn;

void os_begin_turn() {
    hold_signals(HOLD_SIGNALS);
    has_begun = true;
    has_turn = take_turn();
}

void os_end_turn() {
    if (has_turn)
        give_turn_back();
    has_begun = false;
    hold_signals(HOLD_NOTHING);
}

bool os_complain_at_once(const char *text) { return write_without_waiting(text); }

void os_share_signals() { share_signals(); }

int os_open(const char *path, int flags) { return open(path, flags | O_CLOEXEC); }

int os_close(int fd) { return close(fd); }

ssize_t os_read(int fd, void *buffer, size_t size) { return read(fd, buffer, size); }

int os_seek(int fd, int64_t offset) { return lseek(fd, offset, SEEK_SET) != -1 ? 0 : -1; }

void *os_map(int fd, int64_t offset, size_t size) {
    void *address = mmap(nullptr, size, PROT_READ, MAP_SHARED, fd, offset);
    return address == MAP_FAILED ? nullptr : address;
}

// A driver that claims physical memory for itself takes away what others have mapped of it; an access raises
// SIGBUS then, as one to broken memory does.
static sigjmp_buf before_copy;

static void break_off_copy(int) { siglongjmp(before_copy, 1); }

static int copy_or_break_off(void *to, const void *mapped, size_t size) {
    if (sigsetjmp(before_copy, 1) != 0) {
        errno = EFAULT;
        return -1;
    }
    memcpy(to, mapped, size);
    return 0;
}

int os_copy(void *to, const void *mapped, size_t size) {
    struct sigaction before;
    struct sigaction breaking = {};
    breaking.sa_handler = break_off_copy;
    sigaction(SIGBUS, &breaking, &before);
    int result = copy_or_break_off(to, mapped, size);
    sigaction(SIGBUS, &before, nullptr);
    return result;
}

int os_unmap(void *address, size_t size) { return munmap(address, size); }

int os_ioctl(int fd, unsigned long request, void *argument) {
    signals_masked masked; // a transfer that a signal cuts short may be the one that puts a bank back
    return ioctl(fd, request, argument);
}

// Outside of a turn Ctrl-Z works as ever.
int os_wait_readable(int fd, bool *readable) {
    if (fd < 0) { // which poll would wait for
        errno = EBADF;
        return -1;
    }
    int before = hold_signals(has_begun ? HOLD_SIGNALS : HOLD_ENDS);
    int count = wait_readable_unless_ended(fd);
    int error = errno;
    hold_signals(before);
    errno = error;
    if (count == 1)
        *readable = true;
    return count;
}

FILE *os_fopen(const char *path, const char *mode) { return fopen(path, mode); }

int os_fclose(FILE *stream) { return fclose(stream) == 0 ? 0 : -1; }

// Gives up the file that was just made.
static FILE *discard_file(const char *path, int fd) {
    int error = errno;
    close(fd);
    unlink(path);
    errno = error;
    return nullptr;
}

FILE *os_create_private(const char *path, mode_t mode) {
    unlink(path); // what cannot be removed makes O_EXCL fail
    int fd = open(path, O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, mode);
    if (fd < 0)
        return nullptr;
    FILE *stream = fchmod(fd, mode) == 0 ? fdopen(fd, "w") : nullptr; // the umask may have taken bits away
    return stream != nullptr ? stream : discard_file(path, fd);
}

int os_fchmod(FILE *stream, mode_t mode) {
    return fflush(stream) == 0 && fchmod(fileno(stream), mode) == 0 ? 0 : -1;
}

int os_fsync(FILE *stream) { return fflush(stream) == 0 && fsync(fileno(stream)) == 0 ? 0 : -1; }

bool os_is_terminal(FILE *stream) { return isatty(fileno(stream)) == 1; }

bool os_exists(const char *path) {
    struct stat status;
    return stat(path, &status) == 0 || (errno != ENOENT && errno != ENOTDIR);
}

int os_mode(const char *path, mode_t *mode) {
    struct stat status;
    if (stat(path, &status) != 0)
        return -1;
    *mode = status.st_mode & 0777;
    return 0;
}

int os_copy_owner(const char *from, FILE *to) {
    struct stat status;
    return stat(from, &status) == 0 ? fchown(fileno(to), status.st_uid, status.st_gid) : -1;
}

int os_look_at(const char *path, mode_t *mode, uid_t *owner) {
    struct stat status;
    if (lstat(path, &status) != 0)
        return -1;
    *mode = status.st_mode;
    *owner = status.st_uid;
    return 0;
}

int os_read_link(const char *path, std::string *target) {
    char text[PATH_MAX];
    ssize_t length = readlink(path, text, sizeof text);
    if (length < 0)
        return -1;
    target->assign(text, static_cast<size_t>(length));
    return 0;
}

int os_link(const char *existing, const char *name) { return link(existing, name); }

int os_rename(const char *from, const char *to) { return rename(from, to); }

int os_unlink(const char *path) { return unlink(path); }

int os_list_directory(const char *path, std::vector<std::string> *names) {
    DIR *directory = opendir(path);
    if (directory == nullptr)
        return -1;
    while (dirent *entry = readdir(directory)) {
        std::string name = entry->d_name;
        if (name != "." && name != "..")
            names->push_back(name);
    }
    return closedir(directory);
}

int os_system(const char *command) { return system(command); }

FILE *os_popen(const char *command) { return popen(command, "r"); }

int os_pclose(FILE *stream) { return pclose(stream); }

pid_t os_fork() { return fork(); }

void os_exec(const char *path) {
    char *no_arguments[] = {nullptr};
    execvp(path, no_arguments);
}

// While mail is being handed over nothing is half done: a signal ends the program at once, and the child goes
// on by itself.
int os_waitpid(pid_t child) {
    ending_at_once nothing_half_done;
    pid_t ended;
    do
        ended = waitpid(child, nullptr, 0);
    while (ended == -1 && errno == EINTR);
    return ended == child ? 0 : -1;
}

bool os_is_ignored(int signal_number) {
    struct sigaction action;
    return sigaction(signal_number, nullptr, &action) == 0 && action.sa_handler == SIG_IGN;
}

// A signal ends one sleep early. sleep() would hand back whole seconds and lose the part of one that is left.
static void sleep_to_the_end(timespec left) {
    while (nanosleep(&left, &left) != 0 && errno == EINTR)
        ;
}

void os_sleep(unsigned seconds) { sleep_to_the_end({static_cast<time_t>(seconds), 0}); }

void os_usleep(unsigned microseconds) {
    constexpr unsigned SECOND_US = 1000000;
    sleep_to_the_end({microseconds / SECOND_US, microseconds % SECOND_US * 1000L});
}

uint32_t os_getuid() { return getuid(); }

int os_random(void *bytes, size_t size) {
    return getrandom(bytes, size, 0) == static_cast<ssize_t>(size) ? 0 : -1;
}

time_t os_time() { return time(nullptr); }

void os_syslog(const char *identity, int options, int facility, int priority, const char *message) {
    openlog(identity, options, facility);
    syslog(priority, "%s\n", message);
    closelog();
}
