// The real machine. Most of these functions are a single system call; the rest is turns, signals, start-up
// and replacing files.
#include "hw/os.h"

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <iterator>
#include <sys/file.h>
#include <sys/io.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <sys/select.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <syslog.h>
#include <unistd.h>
#include <utility>

#include "hw/port_grants.h"

// A closed standard stream would hand its number to the first device that is opened, and then what is printed
// would be written into that device.
static void open_standard_streams() {
    for (int fd : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO})
        if (fcntl(fd, F_GETFD) == -1 && open("/dev/null", O_RDWR) != fd)
            _exit(255);
}

static bool is_kept(const std::string &name) {
    for (const char *kept : {"DISPLAY", "XAUTHORITY", "TERM", "LANG", "LANGUAGE", "TZ"})
        if (name == kept)
            return true;
    return name.compare(0, 3, "LC_") == 0;
}

// The display's key lies in the home of whom the display belongs to.
static void keep_display_key() {
    const char *home = getenv("HOME");
    if (getenv("XAUTHORITY") == nullptr && home != nullptr)
        setenv("XAUTHORITY", (std::string(home) + "/.Xauthority").c_str(), 1);
}

// After a plain "su" root has an ordinary user's environment: a PATH without modprobe, or with somebody's own
// programs in front, modules for the toolkit, functions and orders for bash. A HOME that is kept (sudo -E)
// has the toolkit's settings, which name what it loads. What runs as root is to be the system's.
static void make_environment() {
    keep_display_key();
    std::vector<std::pair<std::string, std::string>> kept;
    for (char **entry = environ; entry != nullptr && *entry != nullptr; entry++) {
        std::string name(*entry, strcspn(*entry, "="));
        const char *value = getenv(name.c_str());
        if (is_kept(name) && value != nullptr)
            kept.emplace_back(name, value);
    }
    clearenv();
    for (const auto &[name, value] : kept)
        setenv(name.c_str(), value.c_str(), 1);
    setenv("PATH", "/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin", 1);
    setenv("HOME", "/root", 1);
    setenv("USER", "root", 1);
    setenv("LOGNAME", "root", 1);
}

void os_start(int *, char ***) {
    open_standard_streams();
    make_environment();
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

static constexpr int ENDING[] = {SIGHUP, SIGINT, SIGQUIT, SIGTERM};
static int holds;
static sigset_t mask_before;

void os_hold_signals() {
    if (holds++ > 0)
        return;
    sigset_t ending;
    sigemptyset(&ending);
    for (int signal : ENDING)
        sigaddset(&ending, signal);
    sigprocmask(SIG_BLOCK, &ending, &mask_before);
}

void os_release_signals() {
    if (--holds == 0)
        sigprocmask(SIG_SETMASK, &mask_before, nullptr);
}

// ---- Turns: a lock on a file, which the kernel gives back when its holder ends, however it ends

#ifndef KESTREL_LOCK_DIRECTORY // the tests have one of their own
#define KESTREL_LOCK_DIRECTORY "/run/kestrel"
#endif
static const char LOCK_FILE[] = KESTREL_LOCK_DIRECTORY "/lock";

static int lock_depth;
static int lock_fd = -1;
static sigset_t mask_before_lock;

// For root alone: whoever can open the file can lock it, and could keep us waiting for ever.
static int open_lock_file() { return open(LOCK_FILE, O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC, 0600); }

static int open_lock() {
    int fd = open_lock_file();
    if (fd >= 0 || errno != ENOENT)
        return fd;
    if (mkdir(KESTREL_LOCK_DIRECTORY, 0755) != 0 && errno != EEXIST)
        return -1;
    return open_lock_file();
}

// An administrator who waits must soon know for what.
static void tell_of_waiting(int) {
    static const char message[] =
        "Warning: Another copy of this program uses the machine; it is waited for.\n";
    if (write(STDERR_FILENO, message, sizeof message - 1) < 0)
        return; // nobody can be told
}

// The kernel wakes us at each end of a turn; a look every so often would miss it, as the next one begins at
// once.
static int wait_for_lock(int fd) {
    constexpr unsigned PATIENCE_S = 3;
    struct sigaction before;
    struct sigaction telling = {};
    telling.sa_handler = tell_of_waiting;
    sigaction(SIGALRM, &telling, &before);
    alarm(PATIENCE_S);
    int result;
    do
        result = flock(fd, LOCK_EX);
    while (result != 0 && errno == EINTR);
    int error = errno;
    alarm(0);
    sigaction(SIGALRM, &before, nullptr);
    errno = error;
    return result;
}

// The window has handlers for signals, to which its main loop answers. While it waits here there is no loop,
// and nothing is half done: they end it at once.
static int wait_without_handlers(int fd) {
    struct sigaction before[std::size(ENDING)];
    for (size_t i = 0; i < std::size(ENDING); i++) {
        sigaction(ENDING[i], nullptr, &before[i]);
        if (before[i].sa_handler != SIG_IGN)
            signal(ENDING[i], SIG_DFL);
    }
    int result = wait_for_lock(fd);
    for (size_t i = 0; i < std::size(ENDING); i++)
        sigaction(ENDING[i], &before[i], nullptr);
    return result;
}

// False for a file that was removed while it was waited for: the others will lock the one that takes its
// place.
static bool has_a_name(int fd) {
    struct stat status;
    return fstat(fd, &status) != 0 || status.st_nlink > 0;
}

// The descriptor that holds the lock, -1 when there is none to be had.
static int take_lock() {
    for (;;) {
        int fd = open_lock();
        if (fd < 0)
            return -1;
        bool taken = flock(fd, LOCK_EX | LOCK_NB) == 0 || wait_without_handlers(fd) == 0;
        if (taken && has_a_name(fd))
            return fd;
        int error = errno;
        close(fd);
        errno = error;
        if (!taken)
            return -1;
    }
}

static void warn_once() {
    static bool warned;
    if (!warned)
        fprintf(stderr, "Warning: %s: %s; another copy of this program would not be noticed.\n", LOCK_FILE,
                strerror(errno));
    warned = true;
}

// Stopped with the lock in its hand it would keep the others waiting: by Ctrl-Z, which takes effect behind
// it, or by a terminal that stops what writes in the background, which may write then.
static void hold_stop() {
    sigset_t stop;
    sigemptyset(&stop);
    sigaddset(&stop, SIGTSTP);
    sigaddset(&stop, SIGTTOU);
    sigprocmask(SIG_BLOCK, &stop, &mask_before_lock);
}

// Nor may it wait with the lock for whoever reads its complaints: they are written behind it.
static void hold_complaints() {
    static char buffer[1 << 16];
    setvbuf(stderr, buffer, _IOFBF, sizeof buffer);
}

static void release_complaints() {
    fflush(stderr);
    setvbuf(stderr, nullptr, _IONBF, 0);
}

void os_lock_machine() {
    if (lock_depth++ > 0)
        return;
    lock_fd = take_lock();
    if (lock_fd < 0)
        warn_once();
    hold_stop();
    hold_complaints();
}

void os_unlock_machine() {
    if (--lock_depth > 0)
        return;
    if (lock_fd >= 0)
        close(lock_fd);
    sigprocmask(SIG_SETMASK, &mask_before_lock, nullptr);
    release_complaints();
}

int os_open(const char *path, int flags) { return open(path, flags | O_CLOEXEC); }

int os_close(int fd) { return close(fd); }

ssize_t os_read(int fd, void *buffer, size_t size) { return read(fd, buffer, size); }

int os_seek(int fd, int64_t offset) { return lseek(fd, offset, SEEK_SET) != -1 ? 0 : -1; }

void *os_map(int fd, int64_t offset, size_t size) {
    void *address = mmap(nullptr, size, PROT_READ, MAP_SHARED, fd, offset);
    return address == MAP_FAILED ? nullptr : address;
}

int os_unmap(void *address, size_t size) { return munmap(address, size); }

int os_ioctl(int fd, unsigned long request, void *argument) { return ioctl(fd, request, argument); }

int os_wait_readable(int fd, bool *readable) {
    if (fd < 0 || fd >= FD_SETSIZE) {
        errno = EBADF;
        return -1;
    }
    fd_set descriptors;
    FD_ZERO(&descriptors);
    FD_SET(fd, &descriptors);
    int count = select(fd + 1, &descriptors, nullptr, nullptr, nullptr);
    if (count >= 0)
        *readable = FD_ISSET(fd, &descriptors);
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

int os_waitpid(pid_t child) {
    pid_t ended;
    do
        ended = waitpid(child, nullptr, 0);
    while (ended == -1 && errno == EINTR);
    return ended == child ? 0 : -1;
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

time_t os_time() { return time(nullptr); }

void os_syslog(const char *identity, int options, int facility, int priority, const char *message) {
    openlog(identity, options, facility);
    syslog(priority, "%s\n", message);
    closelog();
}
